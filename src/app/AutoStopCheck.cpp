#include "app/AutoStopCheck.h"

namespace AutoStopCheck {

Reason decide(const Tick& t) {
    if (!t.recording)
        return Reason::None;
    // The menu's delay is measured on the wall clock from the moment it was
    // chosen, pauses included: "stop in 10 minutes" means ten minutes from now.
    if (t.autoStop_Duration > 0 && t.autoStop_withTime && t.now - t.autoStop_StartTime > t.autoStop_Duration)
        return Reason::MenuDelay;
    if (!t.isAutoStop)
        return Reason::None;
    if (t.isRecordEndSizeType) {
        if (t.recordEndFileSize > 0 && t.bytes / 1000000.0 >= t.recordEndFileSize)
            return Reason::FileSize;
    } else if (t.recordEndTimeDuration > 0 && double(t.seconds) >= t.recordEndTimeDuration) {
        return Reason::Duration;
    }
    return Reason::None;
}

} // namespace AutoStopCheck
