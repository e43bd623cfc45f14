#pragma once

#include "app/LaunchSettings.h"
#include "core/KeyValueStore.h"
#include "overlays/FlippedGeometry.h"

#include <QColor>
#include <QFont>
#include <QImage>
#include <QSizeF>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <mutex>

// The watermark the application controller holds: what kind, the text and
// its look, the picture, the time formats.
//
// A value type; the live copy sits in a WatermarkState.
struct WatermarkModel {
    // 0 text, 1 picture, 2 none.
    unsigned watermarkType = 2;
    // Within the text kind: the current date and time instead of the user's
    // text. Wins over `watermarkType` whatever it says. Starts false at every
    // launch.
    bool isTimeTextWatermark = false;
    QString watermarkTextString;
    QFont textWatermarkFont;
    QColor textWatermarkColor = QColor(255, 0, 0);
    // Opacity of the text and time kinds, 0...1.
    float watermarkAlpha = 1;
    // Kept and restored; nothing draws a shadow.
    bool isWatermarkShadow = false;
    // What the text and picture kinds draw (for the text kind: the rendered
    // text). Format_ARGB32_Premultiplied, or null.
    QImage watermarkImage;
    QStringList timeFramStyles;
    long long timeFramStyleIndex = 0;

    // One line (or, past 1080 pixels, several wrapped lines) of text drawn
    // with this model's font, colour and opacity into a transparent picture
    // exactly as large as the text measures. A missing text gives a null
    // picture. Font sizes count as pixels. Any thread.
    QImage saveImageWithText(const QString& text) const;
    // The time format in use: the chosen one, or the first when the index
    // lies outside the list (a language switch shortens it).
    QString timeFramStyle() const;
};

// Where and how large the watermark sits in a frame, as the preview stored it
// ("Watermark_center_x", "Watermark_center_y", "Watermark_scale"; absent
// reads as 0).
struct WatermarkPlacement {
    // Centre as a fraction of the frame's width (from the left) and height
    // (from the bottom).
    float centerX = 0;
    float centerY = 0;
    float scale = 0;
};

WatermarkPlacement readWatermarkPlacement(const KeyValueStore& store);

// The controller's watermark at launch, from what the launch load copied into
// the controller's properties, plus the picture from "Watermark_imagePath"
// when that file can be read (a missing or unreadable file leaves the
// picture empty, and is logged). Main thread: needs the GUI application for
// fonts.
WatermarkModel loadWatermarkModel(const AppProperties& properties, const KeyValueStore& store);

// A picture wider than this is treated as this wide, keeping its aspect
// ratio, both in the preview and in frames.
inline constexpr double kWatermarkMaxBaseWidth = 560;
// The width of the preview's sample picture: a watermark at scale 1 covers
// the same share of a frame's width as it did of the preview.
inline constexpr float kWatermarkReferenceWidth = 594;

// The picture's size after the 560 cap. Pure: any thread.
QSizeF cappedWatermarkSize(QSizeF picture);

// Where a watermark picture goes in a W x H frame: the bottom-left corner in
// the frame's bottom-left-origin space and the drawn size in pixels.
struct WatermarkFrameRect {
    ScreenPoint origin;
    int width = 0;
    int height = 0;
    bool operator==(const WatermarkFrameRect&) const = default;
};

// The placement arithmetic. The factor k = (W / 594) x scale is single
// precision; the drawn size is the integer part of k times the capped size;
// the time kind moves an unplaced centre (<= 0 on an axis) so that the
// picture sits in the corner, while the text and picture kinds keep it, so an
// unplaced watermark is centred on the corner. The horizontal origin is
// truncated to a whole pixel. Pure: any thread.
WatermarkFrameRect watermarkFrameRect(QSizeF picture, bool timeKind, const WatermarkPlacement& placement,
                                      int frameWidth, int frameHeight);

// The live watermark shared by the main thread, which edits it, and the
// screen thread, which draws it into every frame. Readers compare
// generation() with the one they drew last and copy the model only when it
// changed (copies share their pictures and strings).
//
// Thread-safe.
class WatermarkState {
public:
    WatermarkState() = default;
    WatermarkState(WatermarkModel model, WatermarkPlacement placement);

    // Main thread.
    void setModel(WatermarkModel model);
    void setPlacement(const WatermarkPlacement& placement);
    void setTimeTextWatermark(bool on);

    struct Snapshot {
        WatermarkModel model;
        WatermarkPlacement placement;
        uint64_t generation = 0;
    };
    // Any thread.
    Snapshot snapshot() const;
    uint64_t generation() const;

private:
    mutable std::mutex mutex_;
    WatermarkModel model_;
    WatermarkPlacement placement_;
    uint64_t generation_ = 1;
};
