#pragma once

#include <cstdint>

// Keeps the sound of a recording in step with its picture. The encoder places
// audio by its sample count alone, so every stretch of sound that never
// arrives (the sound server restarting, the stream being moved to another
// device, a device that stalled) would pull everything after it earlier.
// The timeline compares the samples pushed with the recording clock at the
// time each buffer was captured, and asks for the missing time as silence.
//
// One stretch of the recording clock (from a start or a resume to the next
// pause) is one anchor: the first buffer of a stretch fixes where the clock
// and the sample count meet, and only later buffers are measured against
// it. Paused time is never asked for.
//
// Used on the audio thread only (a replaced source runs after the previous
// one has ended), so it needs no lock.
class AudioTimeline {
public:
    // Gaps below this are the jitter of the sound server's fragments and of
    // thread scheduling; real losses (a restart, a move) last far longer.
    static constexpr double kGapSeconds = 0.25;
    // A gap longer than this is a clock that jumped, not lost sound: the
    // timeline re-anchors instead of asking for a day of silence.
    static constexpr double kMaxGapSeconds = 24 * 3600;

    // `stretchStart` identifies the clock's current stretch (its start on the
    // capture clock; a new value re-anchors), `recordedSeconds` is the
    // recording clock at the newest sample of the buffer, `frames` its
    // length. Returns how many frames of silence go before the buffer; the
    // caller pushes them, then the buffer.
    int64_t place(double stretchStart, double recordedSeconds, int frames, int sampleRate);

    // Frames pushed in the current stretch, silence included.
    int64_t framesPlaced() const { return placed_; }
    // How far the sound placed so far is ahead of the clock at
    // `recordedSeconds`, in seconds (negative: behind). What a clock-drift
    // correction works off.
    double leadSeconds(double recordedSeconds) const;
    // The buffer just placed was pushed `frames` longer (shorter when
    // negative), resampled to correct drift.
    void adjust(int64_t frames) { placed_ += frames; }
    // The last place() started a new anchor.
    bool anchoredAfresh() const { return anchoredAfresh_; }

private:
    double stretchStart_ = 0;
    bool anchored_ = false;
    int sampleRate_ = 0;
    // The sample count at recordedSeconds == 0, as fixed by the anchor.
    double origin_ = 0;
    int64_t placed_ = 0;
    bool anchoredAfresh_ = false;
};
