// The three timed-recording dialogs driven offscreen, without exec(): shown, worked, buttons
// pressed. (The QApplication comes from the environment in CountdownTest.cpp.)
#include "TempHome.h"
#include "app/AppDelegate.h"
#include "app/SettingsSchema.h"
#include "engine/EncodeManager.h"
#include "timing/AutoSplitSetsWindow.h"
#include "timing/AutoTimeSetWindow.h"
#include "timing/TimeEndWindowColler.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <utility>

namespace {

// A settings store that notes which setter wrote each key.
struct WatchedStore : SettingsStore {
    using SettingsStore::SettingsStore;
    using Base = SettingsStore;
    using T = SettingType;
    void setInteger(std::string_view k, long long v) override { note(k, T::Integer), Base::setInteger(k, v); }
    void setBool(std::string_view k, bool v) override { note(k, T::Bool), Base::setBool(k, v); }
    void setDouble(std::string_view k, double v) override { note(k, T::Double), Base::setDouble(k, v); }
    void note(std::string_view k, T type) { written[std::string(k)] = type; }
    std::map<std::string, SettingType> written;
};

class TimedDialogs : public ::testing::Test {
protected:
    TimedDialogs() { store->written.clear(); } // the launch load's own
    static auto* button(TimedDialog& d, int tag) { return qobject_cast<QAbstractButton*>(d.control(tag)); }
    static auto* field(TimedDialog& d, int tag) { return qobject_cast<QLineEdit*>(d.control(tag)); }
    // Types over the whole field, as a user replaces its text.
    static void type(QLineEdit* f, const char* text) { f->selectAll(), QTest::keyClicks(f, text); }
    // The keys written since the last call, each checked against its declared type.
    std::set<std::string> take() {
        std::set<std::string> keys;
        for (const auto& [key, type] : std::exchange(store->written, {})) {
            EXPECT_TRUE(findSetting(key) && findSetting(key)->type == type) << key << " has another type";
            keys.insert(key);
        }
        return keys;
    }
    TempHome home;
    WatchedStore* store = new WatchedStore(home.path() + "/settings.conf");
    AppDelegate app{std::unique_ptr<SettingsStore>(store), FRAMEDECK_RESOURCE_DIR};
};

using Tags = AutoLengthDialog;
using Items = TimeEndWindowColler;

} // namespace

TEST_F(TimedDialogs, DurationLimit) {
    // Enter walks hours, minutes, seconds, then presses OK.
    TimeEndWindowColler keyed(app);
    keyed.show();
    EXPECT_FALSE(app.isCanKeyEvent);
    button(keyed, Items::CustonTime)->click();
    QTest::keyClicks(keyed.hourTime, "1"); // selected on arrival, so this replaces "00"
    QTest::keyClick(keyed.hourTime, Qt::Key_Return);
    QTest::keyClicks(keyed.focusWidget(), "30");
    QTest::keyClick(keyed.focusWidget(), Qt::Key_Enter);
    EXPECT_EQ(keyed.focusWidget(), keyed.secTime);
    QTest::keyClick(keyed.focusWidget(), Qt::Key_Return);
    EXPECT_TRUE(app.isCanKeyEvent);
    EXPECT_EQ(app.recordEndTimeDuration, 5400);
    // Reopened it shows the limit; minutes above 60 become 59, 60 stays.
    TimeEndWindowColler reopened(app);
    EXPECT_EQ(reopened.hourTime->text() + "/" + reopened.minTime->text() + "/" + reopened.secTime->text(),
              "01/30/00");
    type(reopened.minTime, "75");
    EXPECT_EQ(reopened.minTime->text(), "59");
    type(reopened.minTime, "60");
    reopened.okBtnAction();
    EXPECT_EQ(app.recordEndTimeDuration, 7200); // 01:60:00
    // A custom 00:00:00 is no limit.
    button(reopened, Items::NoTime)->click();
    button(reopened, Items::CustonTime)->click();
    reopened.okBtnAction();
    EXPECT_EQ(app.recordEndTimeDuration, 0);
    EXPECT_EQ(app.endTimeType, Items::NoTime);
    EXPECT_TRUE(button(reopened, Items::NoTime)->isChecked());
    EXPECT_TRUE(take().empty()); // the limit is never stored
}

TEST_F(TimedDialogs, AutoStop) {
    AutoTimeSetWindow cancelled(app);
    cancelled.show();
    EXPECT_FALSE(app.isCanKeyEvent);
    button(cancelled, Tags::EnabledBox)->click();
    cancelled.cancelBtn->click();
    EXPECT_TRUE(app.isCanKeyEvent);
    EXPECT_TRUE(take().empty());
    // Armed by size (a letter typed is dropped), every time, quitting afterwards.
    AutoTimeSetWindow armed(app);
    for (int tag : {Tags::EnabledBox, Tags::BySize, Tags::EveryTime})
        button(armed, tag)->click();
    type(field(armed, Tags::SizeField), "x500");
    armed.finshpopBtn->setCurrentIndex(1);
    armed.okBtnAction();
    EXPECT_EQ(take(), (std::set<std::string>{"AutoStop_EveryTime", "AutoStop_FileSize", "AutoStop_FinshIndex",
                                             "AutoStop_Time", "AutoStop_Type", "IsAutoStop"}));
    EXPECT_TRUE(app.isAutoStop && app.autoStop_withTime && !app.isAutoStopOnce);
    EXPECT_EQ(store->doubleForKey("AutoStop_FileSize"), 500.0);
    // Reopened it shows what was stored; switched off, OK stores only that.
    AutoTimeSetWindow off(app);
    EXPECT_TRUE(button(off, Tags::BySize)->isChecked() && button(off, Tags::EveryTime)->isChecked());
    EXPECT_EQ(field(off, Tags::SizeField)->text() + "/" + QString::number(off.finshpopBtn->currentIndex()),
              "500/1");
    button(off, Tags::EnabledBox)->click();
    off.okBtnAction();
    EXPECT_EQ(take(), (std::set<std::string>{"AutoStop_EveryTime", "IsAutoStop"}));
    EXPECT_FALSE(app.isAutoStop || app.everyTime || app.autoStop_withTime);
}

TEST_F(TimedDialogs, AutoSplit) {
    EncodeManager session(app.settings());
    session.setSplitTime(20);
    session.setSplitSize(10);
    app.isAutoSplitOnce = true; // an earlier choice
    AutoSplitSetsWindow armed(app, session);
    armed.show();
    EXPECT_FALSE(app.isCanKeyEvent);
    EXPECT_EQ(field(armed, Tags::TimeField)->text() + "/" + field(armed, Tags::SizeField)->text(), "20/10");
    for (int tag : {Tags::EnabledBox, Tags::ByTime, Tags::EveryTime})
        button(armed, tag)->click();
    type(field(armed, Tags::TimeField), "600");
    field(armed, Tags::SizeField)->clear(); // an emptied field is 0
    armed.okBtn->click();
    EXPECT_TRUE(app.isCanKeyEvent);
    EXPECT_EQ(take(), (std::set<std::string>{"SplitAlway", "SplitSize", "SplitTime", "SplitType"}));
    EXPECT_EQ(store->integerForKey("SplitType"), 1);
    EXPECT_EQ(session.splitTime, 600);
    EXPECT_EQ(session.splitSize + store->integerForKey("SplitSize"), 0);
    EXPECT_FALSE(app.isAutoSplitOnce);
    // Reopened it shows what was stored; switched off, only the kind is stored.
    AutoSplitSetsWindow off(app, session);
    EXPECT_TRUE(button(off, Tags::ByTime)->isChecked() && button(off, Tags::EveryTime)->isChecked());
    button(off, Tags::EnabledBox)->click();
    off.okBtnAction();
    EXPECT_EQ(take(), std::set<std::string>{"SplitType"});
    EXPECT_EQ(store->integerForKey("SplitType"), 0);
}
