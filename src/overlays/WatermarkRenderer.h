#pragma once

#include "core/SampleBuffers.h"
#include "overlays/UnicodeDateFormat.h"
#include "overlays/Watermark.h"

#include <QImage>
#include <ctime>
#include <functional>
#include <optional>
#include <utility>

// Draws the watermark into captured frames. Everything that can be prepared
// is prepared once and kept: the time text is formatted and rendered again
// only when the second (and with it the text) changes, and the picture is
// scaled again only when its size or place in the frame changes. A frame in
// which nothing changed costs one look at the shared state and one blend.
//
// One per recording, screen thread only.
class WatermarkRenderer {
public:
    using Clock = std::function<std::time_t()>;

    // `now` gives the current time (tests pass a fixed one); empty: the
    // system clock. Times are shown in the system's local time zone.
    explicit WatermarkRenderer(const WatermarkState& state, Clock now = {},
                               WeekRules weekRules = weekRulesForLocale(QLocale::system()));

    // Draws the watermark into `frame` (bottom-left origin for placement).
    // Returns the rows drawn on, [first, second), or nothing.
    std::optional<std::pair<int, int>> draw(const PixelBufferView& frame);

    // What the next draw() would show: the watermark's settings, and the
    // second for a time watermark. Equal signatures draw equal pixels.
    struct Signature {
        uint64_t generation = 0;
        int64_t second = -1;
        bool operator==(const Signature&) const = default;
    };
    Signature signature();

    // The text the time kind showed in the last frame (tests, traces).
    const QString& lastTimeText() const { return timeText_; }

private:
    // The unscaled picture this frame shows, or null.
    const QImage* currentPicture();
    // The picture scaled into its place in the frame and cut to the frame.
    const QImage& preparedPicture(const QImage& source, const WatermarkFrameRect& rect, int frameWidth,
                                  int frameHeight, PixelPosition& topLeft);

    const WatermarkState& state_;
    Clock now_;
    WeekRules weekRules_;
    WatermarkState::Snapshot snapshot_;

    std::time_t timeSecond_ = -1;
    uint64_t timeGeneration_ = 0;
    QString timeText_;
    QImage timePicture_;

    struct Prepared {
        qint64 sourceKey = 0;
        PixelPosition topLeft;
        int width = 0;
        int height = 0;
        int frameWidth = 0;
        int frameHeight = 0;
        QImage picture;
        PixelPosition visibleTopLeft;
    } prepared_;
};
