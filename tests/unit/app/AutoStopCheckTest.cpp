#include "app/AutoStopCheck.h"

#include <gtest/gtest.h>

using AutoStopCheck::Reason;

// Each row changes one thing from an armed, running recording.
TEST(AutoStopCheck, EachCriterionAtItsBoundary) {
    AutoStopCheck::Tick base;
    base.recording = true;
    base.isAutoStop = true;
    base.recordEndTimeDuration = 10;
    base.recordEndFileSize = 100;
    base.now = 1000;
    struct Row {
        const char* what;
        void (*change)(AutoStopCheck::Tick&);
        Reason expected;
    };
    const Row rows[] = {
        {"9 s of 10", [](auto& t) { t.seconds = 9; }, Reason::None},
        {"10 s of 10: at least", [](auto& t) { t.seconds = 10; }, Reason::Duration},
        {"no limit", [](auto& t) { t.seconds = 99, t.recordEndTimeDuration = 0; }, Reason::None},
        {"disarmed", [](auto& t) { t.seconds = 99, t.isAutoStop = false; }, Reason::None},
        {"not recording", [](auto& t) { t.seconds = 99, t.recording = false; }, Reason::None},
        {"size: 100 MB is 10^8 bytes, not 2^20",
         [](auto& t) { t.isRecordEndSizeType = true, t.bytes = 99999999; }, Reason::None},
        {"size reached", [](auto& t) { t.isRecordEndSizeType = true, t.bytes = 100000000; },
         Reason::FileSize},
        {"size kind ignores the duration", [](auto& t) { t.isRecordEndSizeType = true, t.seconds = 99; },
         Reason::None},
        {"menu delay: exactly 600 s is not more",
         [](auto& t) { t.autoStop_withTime = true, t.autoStop_Duration = 600, t.autoStop_StartTime = 400; },
         Reason::None},
        {"menu delay passed",
         [](auto& t) { t.autoStop_withTime = true, t.autoStop_Duration = 600, t.autoStop_StartTime = 399.9; },
         Reason::MenuDelay},
        {"menu delay comes first",
         [](auto& t) {
             t.seconds = 99, t.autoStop_withTime = true, t.autoStop_Duration = 1, t.autoStop_StartTime = 0;
         },
         Reason::MenuDelay},
        {"menu delay without its switch",
         [](auto& t) { t.isAutoStop = false, t.autoStop_Duration = 1, t.autoStop_StartTime = 0; },
         Reason::None},
    };
    for (const Row& row : rows) {
        AutoStopCheck::Tick t = base;
        row.change(t);
        EXPECT_EQ(AutoStopCheck::decide(t), row.expected) << row.what;
    }
}
