#include "QtAppEnvironment.h"
#include "core/KeyValueStore.h"
#include "timing/CircleCounter.h"
#include "timing/CircleDownCounter.h"
#include "timing/CountdownPictures.h"

#include <QApplication>
#include <gtest/gtest.h>

namespace {

// Holds the one pending tick; the test fires it by hand, so no test waits.
class ManualScheduler : public CountdownScheduler {
public:
    void scheduleOnce(double seconds, std::function<void()> tick) override {
        intervals.push_back(seconds);
        pending = std::move(tick);
    }
    void cancel() override { pending = nullptr; }
    bool fire() {
        if (!pending)
            return false;
        auto tick = std::move(pending);
        pending = nullptr;
        tick();
        return true;
    }
    std::function<void()> pending;
    std::vector<double> intervals;
};

struct Recorder {
    long long length = 3;
    bool attached = true;
    int finished = 0;
    std::vector<QString> shown; // "" for a blank second
    CircleCounter::Hooks hooks() {
        return {[this] { return length; },
                [this] { return attached; },
                [this] { ++finished; },
                [this](const CircleCounter::Step& s) {
                    if (shown.empty())
                        shown.emplace_back();
                    shown.back() = s.numberName + "/" + s.backgroundName;
                },
                {},
                {}};
    }
};

// Runs the count tick by tick, noting what each tick showed.
void run(CircleCounter& counter, ManualScheduler& scheduler, Recorder& r, float seconds) {
    r.shown.push_back("");
    counter.startWithSeconds(seconds);
    do
        r.shown.push_back("");
    while (scheduler.fire());
    r.shown.pop_back();
}

} // namespace

TEST(CircleCounter, ShowsBlankThenEachSecondsPicturesAndFinishesOnce) {
    struct Row {
        float seconds;
        long long length; // read afresh on every tick
        std::vector<QString> shown;
    };
    const Row rows[] = {
        {3, 3, {"", "3.png/003.png", "2.png/002.png", "1.png/001.png", ""}},
        {10,
         10,
         {"", "10.png/010.png", "9.png/009.png", "8.png/008.png", "7.png/007.png", "6.png/006.png",
          "5.png/005.png", "4.png/004.png", "3.png/003.png", "2.png/002.png", "1.png/001.png", ""}},
        {3, 1, {"", "", "", "1.png/001.png", ""}}, // shorter than the count: pictures start late
    };
    for (const Row& row : rows) {
        ManualScheduler scheduler;
        Recorder r;
        r.length = row.length;
        CircleCounter counter(scheduler, r.hooks());
        run(counter, scheduler, r, row.seconds);
        EXPECT_EQ(r.shown, row.shown) << row.seconds << "/" << row.length;
        EXPECT_EQ(scheduler.intervals, std::vector<double>(row.shown.size() - 1, 1.0));
        EXPECT_EQ(r.finished, 1);
    }
}

TEST(CircleCounter, NoStartForZeroOrWhileRunningNoReportWhenDetachedAndTenthsByTheSmallerInterval) {
    ManualScheduler scheduler;
    Recorder r;
    CircleCounter counter(scheduler, r.hooks());
    counter.startWithSeconds(0);
    counter.startWithSeconds(-2);
    EXPECT_FALSE(counter.mIsRunning);
    EXPECT_FALSE(scheduler.pending);

    counter.startWithSeconds(3);
    counter.startWithSeconds(5); // ignored
    EXPECT_EQ(counter.mTimeInSeconds, 4);
    r.attached = false;
    int ticks = 0;
    while (scheduler.fire())
        ++ticks;
    EXPECT_EQ(ticks, 4);
    EXPECT_EQ(r.finished, 0);

    // Tenths run down with the smaller interval.
    r.attached = true;
    CircleCounter tenths(scheduler, r.hooks());
    tenths.startWithSeconds(0.05f, 0.1f); // the interval becomes 0.05
    EXPECT_FLOAT_EQ(tenths.mTimeInterval, 0.05f);
    ticks = 0;
    while (scheduler.fire())
        ++ticks;
    // The two lead seconds are seconds whatever the interval: 2.05 s in
    // steps of 0.05 is 41 ticks, the first at the start.
    EXPECT_EQ(ticks, 40);
    EXPECT_EQ(r.finished, 1);
}

const auto* const kApp = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QApplication, true>);

TEST(CountdownView, BadgeSizes) {
    EXPECT_EQ(CircleDownCounter::badgeSide({300, 150}), 75);
    EXPECT_EQ(CircleDownCounter::badgeSide({500, 400}), 200);
    EXPECT_EQ(CircleDownCounter::badgeSide({200, 900}), 200);
    EXPECT_EQ(CircleDownCounter::badgeSide({199, 900}), 99);
    QWidget host;
    host.resize(500, 400);
    EXPECT_EQ(CircleDownCounter::frameOfCircleViewOfSize({200, 200}, &host), QRect(150, 100, 200, 200));
}

TEST(CountdownView, ShowingReplacesTheBadgeAndStartsByType) {
    MemoryKeyValueStore store;
    store.setInteger("RECORDTIME_DURATION", 3);
    CircleDownCounter& shared = CircleDownCounter::circleDownCounter();
    std::vector<ManualScheduler*> schedulers;
    shared.setSchedulerFactory([&] {
        auto s = std::make_unique<ManualScheduler>();
        schedulers.push_back(s.get());
        return s;
    });
    QWidget host;
    host.resize(400, 300);
    CircleCounterView* first = shared.showCircleDownWithSeconds(3, &host, {150, 150}, 0, &store);
    EXPECT_TRUE(first->counter().mIsRunning);
    CircleCounterView* second = shared.showCircleDownWithSeconds(3, &host, {150, 150}, 1, &store);
    EXPECT_EQ(CircleDownCounter::circleViewInView(&host), second);
    EXPECT_FLOAT_EQ(second->counter().mTimeInterval, 0.1f);
    EXPECT_EQ(second->timeFormatString, "%.1f");
    CircleCounterView* idle = shared.showCircleDownWithSeconds(3, &host, {150, 150}, 7, &store);
    EXPECT_FALSE(idle->counter().mIsRunning);
    shared.setSchedulerFactory(nullptr);
}

TEST(CountdownView, PicturesExistForOneToTenOnly) {
    for (const char* present : {"1.png", "10.png", "001.png", "010.png"})
        EXPECT_FALSE(countdownPicture(present, 64).isNull()) << present;
    for (const char* missing : {"0.png", "11.png", "03.png", "0010.png", "004", "x.png"})
        EXPECT_TRUE(countdownPicture(missing, 64).isNull()) << missing;
}
