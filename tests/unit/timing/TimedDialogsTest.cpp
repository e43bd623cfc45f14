// The three timed-recording dialogs driven offscreen, without exec(): the
// tests show them, work the controls and press the buttons.
// (The QApplication comes from the environment in CountdownTest.cpp.)
#include "TempHome.h"
#include "app/AppDelegate.h"
#include "app/SettingsSchema.h"
#include "engine/EncodeManager.h"
#include "timing/AutoSplitSetsWindow.h"
#include "timing/AutoTimeSetWindow.h"
#include "timing/TimeEndWindowColler.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <utility>

namespace S = SettingsKeys;

namespace {

// A settings store that notes which setter wrote each key.
class WatchedStore : public SettingsStore {
public:
    using SettingsStore::SettingsStore;
    void setInteger(std::string_view k, long long v) override {
        written[std::string(k)] = SettingType::Integer, SettingsStore::setInteger(k, v);
    }
    void setBool(std::string_view k, bool v) override {
        written[std::string(k)] = SettingType::Bool, SettingsStore::setBool(k, v);
    }
    void setDouble(std::string_view k, double v) override {
        written[std::string(k)] = SettingType::Double, SettingsStore::setDouble(k, v);
    }
    // The keys written since the last call, each checked against its declared type.
    std::set<std::string> take() {
        std::set<std::string> keys;
        for (const auto& [key, type] : std::exchange(written, {})) {
            const auto* declared = findSetting(key);
            EXPECT_TRUE(declared && declared->type == type)
                << key << " written with another type than declared";
            keys.insert(key);
        }
        return keys;
    }
    std::map<std::string, SettingType> written;
};

class TimedDialogs : public ::testing::Test {
protected:
    void SetUp() override {
        auto owned = std::make_unique<WatchedStore>(home.path() + "/settings.conf");
        store = owned.get();
        app = std::make_unique<AppDelegate>(std::move(owned), FRAMEDECK_RESOURCE_DIR);
        store->written.clear(); // the launch load's own
    }
    static QAbstractButton* button(TimedDialog& d, int tag) {
        return qobject_cast<QAbstractButton*>(d.control(tag));
    }
    static QLineEdit* field(TimedDialog& d, int tag) { return qobject_cast<QLineEdit*>(d.control(tag)); }
    // Types over the whole field, as a user replaces its text ("" empties it).
    static void type(QLineEdit* field, const char* text) {
        field->selectAll();
        QTest::keyClick(field, Qt::Key_Backspace);
        QTest::keyClicks(field, text);
    }
    static QString hms(TimeEndWindowColler& d) {
        return d.hourTime->text() + d.minTime->text() + d.secTime->text();
    }

    TempHome home;
    WatchedStore* store = nullptr;
    std::unique_ptr<AppDelegate> app;
};

using Tags = AutoLengthDialog;
using Items = TimeEndWindowColler;

} // namespace

TEST_F(TimedDialogs, DurationLimit) {
    {
        TimeEndWindowColler d(*app);
        d.show();
        EXPECT_FALSE(app->isCanKeyEvent);
        EXPECT_FALSE(d.hourTime->isEnabled());
        button(d, Items::CustonTime)->click();
        EXPECT_EQ(app->endTimeType, 3);
        type(d.hourTime, "01");
        type(d.minTime, "30");
        d.okBtnAction();
        EXPECT_TRUE(app->isCanKeyEvent);
        EXPECT_EQ(app->recordEndTimeDuration, 5400);
    }
    {
        TimeEndWindowColler d(*app);
        EXPECT_TRUE(button(d, Items::CustonTime)->isChecked());
        EXPECT_EQ(hms(d), "013000");
        // Leaving custom sets the fields back to 00 and locks them.
        button(d, Items::Min30Time)->click();
        EXPECT_EQ(app->endTimeType, 1);
        EXPECT_EQ(hms(d), "000000");
        EXPECT_FALSE(d.minTime->isEnabled());

        button(d, Items::CustonTime)->click();
        type(d.minTime, "75");
        EXPECT_EQ(d.minTime->text(), "59");
        type(d.minTime, "60");
        d.okBtnAction();
        EXPECT_EQ(app->recordEndTimeDuration, 3600);
    }
    {
        // A custom 00:00:00 is no limit.
        TimeEndWindowColler d(*app);
        button(d, Items::NoTime)->click();
        button(d, Items::CustonTime)->click();
        d.okBtnAction();
        EXPECT_EQ(app->recordEndTimeDuration, 0);
        EXPECT_EQ(app->endTimeType, 0);
        EXPECT_TRUE(button(d, Items::NoTime)->isChecked());
    }
    EXPECT_TRUE(store->take().empty()); // the limit is never stored
}

TEST_F(TimedDialogs, AutoStop) {
    {
        AutoTimeSetWindow d(*app);
        d.show();
        EXPECT_FALSE(app->isCanKeyEvent);
        // Off: nothing below the check box can be used.
        for (int tag :
             {Tags::ByTime, Tags::TimeField, Tags::BySize, Tags::SizeField, Tags::Once, Tags::EveryTime})
            EXPECT_FALSE(d.control(tag)->isEnabled()) << tag;
        EXPECT_FALSE(d.finshpopBtn->isEnabled());
        button(d, Tags::EnabledBox)->click();
        EXPECT_TRUE(d.finshpopBtn->isEnabled());
        button(d, Tags::BySize)->click();
        EXPECT_FALSE(field(d, Tags::TimeField)->isEnabled());
        EXPECT_TRUE(field(d, Tags::SizeField)->isEnabled());
        type(field(d, Tags::SizeField), "50x");
        EXPECT_EQ(field(d, Tags::SizeField)->text(), "50");
        d.cancelBtn->click();
        EXPECT_TRUE(app->isCanKeyEvent);
        EXPECT_TRUE(store->take().empty());
    }
    {
        // Armed by size, every time, quitting afterwards.
        AutoTimeSetWindow d(*app);
        button(d, Tags::EnabledBox)->click();
        button(d, Tags::BySize)->click();
        type(field(d, Tags::SizeField), "500");
        button(d, Tags::EveryTime)->click();
        d.finshpopBtn->setCurrentIndex(1);
        d.okBtnAction();
        EXPECT_EQ(store->take(),
                  (std::set<std::string>{"AutoStop_EveryTime", "AutoStop_FileSize", "AutoStop_FinshIndex",
                                         "AutoStop_Time", "AutoStop_Type", "IsAutoStop"}));
        EXPECT_TRUE(app->isRecordEndSizeType && app->everyTime && app->autoStop_withTime && app->isAutoStop);
        EXPECT_FALSE(app->isAutoStopOnce);
        EXPECT_EQ(app->recordEndFileSize, 500);
        EXPECT_EQ(app->finshpopIndex, 2);
        EXPECT_EQ(store->doubleForKey(S::AutoStopFileSize), 500.0);
    }
    {
        AutoTimeSetWindow d(*app);
        EXPECT_TRUE(button(d, Tags::BySize)->isChecked() && button(d, Tags::EveryTime)->isChecked());
        EXPECT_EQ(field(d, Tags::SizeField)->text(), "500");
        EXPECT_EQ(d.finshpopBtn->currentIndex(), 1);
        button(d, Tags::EnabledBox)->click();
        d.okBtnAction();
        EXPECT_EQ(store->take(), (std::set<std::string>{"AutoStop_EveryTime", "IsAutoStop"}));
        EXPECT_FALSE(app->isAutoStop || app->everyTime || app->autoStop_withTime);
    }
}

TEST_F(TimedDialogs, AutoSplit) {
    EncodeManager session(app->settings());
    session.setSplitTime(20);
    session.setSplitSize(10);
    {
        AutoSplitSetsWindow d(*app, session);
        d.show();
        EXPECT_FALSE(app->isCanKeyEvent);
        EXPECT_EQ(field(d, Tags::TimeField)->text() + "/" + field(d, Tags::SizeField)->text(), "20/10");
        button(d, Tags::EnabledBox)->click();
        button(d, Tags::ByTime)->click();
        type(field(d, Tags::TimeField), "600");
        d.okBtn->click();
        EXPECT_TRUE(app->isCanKeyEvent);
        EXPECT_EQ(store->take(),
                  (std::set<std::string>{"SplitAlway", "SplitSize", "SplitTime", "SplitType"}));
        EXPECT_EQ(store->integerForKey(S::SplitType), 1);
        EXPECT_EQ(session.splitTime, 600);
        EXPECT_TRUE(app->isAutoSplitOnce);
    }
    {
        AutoSplitSetsWindow d(*app, session);
        EXPECT_TRUE(button(d, Tags::EnabledBox)->isChecked() && button(d, Tags::ByTime)->isChecked());
        type(field(d, Tags::TimeField), "");
        button(d, Tags::BySize)->click();
        type(field(d, Tags::SizeField), "");
        button(d, Tags::EveryTime)->click();
        d.okBtnAction();
        EXPECT_EQ(session.splitTime + session.splitSize, 0);
        EXPECT_EQ(store->integerForKey(S::SplitTime) + store->integerForKey(S::SplitSize), 0);
        EXPECT_TRUE(store->boolForKey(S::SplitAlway));
        store->take();
    }
    {
        AutoSplitSetsWindow d(*app, session);
        d.show();
        EXPECT_TRUE(button(d, Tags::EveryTime)->isChecked());
        button(d, Tags::EnabledBox)->click();
        d.close(); // the window's close button
        EXPECT_TRUE(app->isCanKeyEvent);
        EXPECT_TRUE(store->take().empty());
        d.okBtnAction(); // switched off: only the kind is stored
        EXPECT_EQ(store->take(), std::set<std::string>{"SplitType"});
    }
}
