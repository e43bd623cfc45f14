#pragma once

#include "overlays/FlippedGeometry.h"

#include <QImage>
#include <array>
#include <cstdint>
#include <mutex>

// The click state behind the click ring. A click (any thread: the click
// listener) restarts the ring; the screen thread advances it once per frame.
// One mutex keeps the three fields consistent, and a click that arrives while
// a frame is being decorated is never overwritten by that frame's update.
//
// Thread-safe.
class CursorClickState {
public:
    struct Values {
        bool isCursorClick = false;
        // 30 right after a click, +2 per decorated frame, 0 once the ring is over.
        float cursorEffectWidth = 0;
        // Bottom-left corner of the ring's 60 x 60 box, latched on the first
        // frame after a click.
        ScreenPoint cursorCenter;
    };

    // Click listener (any thread): a mouse button went down somewhere.
    void click();
    // Recording controller, at the start of a recording: no ring left over.
    void reset();

    Values load() const { return loadWithGeneration().first; }
    // Screen thread: the values and the count of clicks seen so far.
    std::pair<Values, uint64_t> loadWithGeneration() const;
    // Screen thread: stores a frame's update of the values, unless a click
    // came in after `generation` was loaded; that click wins and the next
    // frame starts its ring.
    void commit(const Values& updated, uint64_t generation);

    static constexpr float kClickWidth = 30;

private:
    mutable std::mutex mutex_;
    Values values_;
    uint64_t clicks_ = 0;
};

// What one frame draws of the highlight and the click ring, and the click
// state it leaves behind.
struct CursorEffectsStep {
    bool drawHighlight = false;
    bool drawRing = false;
    // The width after this frame's growth; the ring's radius is width / 2 - 6.
    float ringWidth = 0;
    // Bottom-left corner of the ring's 60 x 60 box.
    ScreenPoint ringOrigin;
};

// One frame of the highlight and click-ring rules. `centre` is the middle of
// the cursor picture as drawn in this frame; `values` is advanced in place.
// Pure: any thread.
CursorEffectsStep stepCursorEffects(CursorClickState::Values& values, ScreenPoint centre, bool isMouseHight,
                                    bool isMouseClickEffect);

// The highlight disc and the ring pictures, drawn once and reused.
// One instance per screen thread; not thread-safe.
class CursorEffectPictures {
public:
    static constexpr int kHighlightSize = 40;
    static constexpr int kRingBoxSize = 60;

    // A cyan disc at alpha 0.6 filling a 40 x 40 box.
    const QImage& highlight();
    // The ring of a given width: 60 x 60 box, circle centred in it with
    // radius width / 2 - 6, 3 pixels wide, colour 56/116/175.
    const QImage& ring(float width);

private:
    QImage highlight_;
    // Widths 32, 34, ... 58: the ones a click goes through.
    std::array<QImage, 14> rings_;
    // Any other width (never reached by clicks, but drawn correctly).
    QImage oddRing_;
    float oddRingWidth_ = -1;
};
