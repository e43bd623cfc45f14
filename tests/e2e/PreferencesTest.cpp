// The preferences window in the real application on the test desktop: its
// tabs store what they show, a new shortcut recorded in it works from
// another program's window, and the watermark placed in its preview is
// where recordings then show it.
#include "AppFixture.h"
#include "integration/selection/DesktopHelpers.h"
#include "preferences/PreferencesWindow.h"
#include "preferences/ShortcutsTab.h"
#include "preferences/WatermarkTab.h"
#include "widgets/StatusItem.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>

namespace {

void waitForStatus(const std::function<unsigned()>& status, unsigned wanted) {
    while (status() != wanted)
        QTest::qWait(20);
}

} // namespace

class Preferences : public App {
protected:
    PreferencesWindow& open() {
        frameDeck->mainWindow().toolButton(3)->click();
        PreferencesWindow* window = frameDeck->preferencesWindow();
        EXPECT_NE(window, nullptr);
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window));
        return *window;
    }
    SettingsStore& settings() { return app->settings(); }
};

TEST_F(Preferences, EveryTabInEveryLanguageStoresWhatItShows) {
    PreferencesWindow& window = open();
    // The tray item opens the same window.
    window.close();
    frameDeck->statusItem().preferencesItem()->trigger();
    EXPECT_TRUE(window.isVisible());

    window.tabs()->setCurrentIndex(PreferencesWindow::Mouse);
    auto boxes = window.tabs()->currentWidget()->findChildren<QCheckBox*>();
    ASSERT_EQ(boxes.size(), 3);
    boxes[1]->click(); // highlight, off at first run
    EXPECT_TRUE(app->isMouseHight);
    EXPECT_TRUE(settings().boolForKey("IsMouseHighlight"));

    window.tabs()->setCurrentIndex(PreferencesWindow::ScreenRecording);
    auto combos = window.tabs()->currentWidget()->findChildren<QComboBox*>();
    ASSERT_EQ(combos.size(), 4);
    combos[0]->setCurrentIndex(1);
    emit combos[0]->activated(1); // .mp4
    EXPECT_EQ(settings().integerForKey("VideoTypeIndex"), 1);
    EXPECT_EQ(app->videoTypeBoxIndex, 1);

    window.tabs()->setCurrentIndex(PreferencesWindow::Camera);
    window.tabs()->currentWidget()->findChild<QCheckBox*>()->click();
    EXPECT_FALSE(settings().boolForKey("IsCaptrueMirrored"));

    const char* tags[] = {"en", "zh-Hans", "zh-Hant"};
    for (int language : {1, 2, 0}) {
        app->setLange(language);
        EXPECT_EQ(window.windowTitle(), L("Pref_Title"));
        EXPECT_EQ(window.tabs()->tabText(PreferencesWindow::Watermark), L("Pref_Tab_Watermark"));
        for (int tab = 0; tab < window.tabs()->count(); ++tab) {
            window.tabs()->setCurrentIndex(tab);
            settle(100);
            for (QWidget* w : window.tabs()->currentWidget()->findChildren<QWidget*>()) {
                if (!w->isVisible() || !(w->inherits("QAbstractButton") || w->inherits("QComboBox")))
                    continue;
                EXPECT_GE(w->width(), w->sizeHint().width())
                    << tags[language] << " tab " << tab << ": " << w->metaObject()->className() << " cut off";
            }
            savePicture(&window, QString("preferences-tab%1-%2").arg(tab).arg(tags[language]));
        }
    }
    // The main window shows the container chosen here.
    EXPECT_EQ(settings().integerForKey("VideoTypeIndex"), 1);
}

TEST_F(Preferences, ARecordedShortcutStartsAndStopsFromAnotherWindow) {
    PreferencesWindow& window = open();
    window.tabs()->setCurrentIndex(PreferencesWindow::Shortcuts);
    ShortcutsTab& tab = *window.shortcutsTab();
    tab.setButton(0)->click(); // start or stop
    EXPECT_TRUE(app->isResetEventMonitor);
    EXPECT_EQ(tab.keyButton(0)->text(), L("Set_selectEventBtn"));
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));

    // A key without a modifier is not taken; and while recording, the old
    // key does nothing.
    xdotool({"key", "j"});
    xdotool({"key", "1"});
    EXPECT_EQ(settings().integerForKey("EventStartOrStop"), 18);
    EXPECT_EQ(status(), 0u);
    xdotool({"key", "ctrl+k"});
    EXPECT_EQ(settings().integerForKey("EventStartOrStop"), 40);
    EXPECT_EQ(settings().stringForKey("EventStartOrStopChar"), "^ K");
    EXPECT_EQ(tab.keyButton(0)->text(), "^ K");
    savePicture(&window, "preferences-shortcut-recorded");
    window.close();
    EXPECT_FALSE(app->isResetEventMonitor);

    chooseKind(0);
    XWindows other({"100,100,400,300,FdOther,Other,cc6633"});
    ASSERT_EQ(other.ids.size(), 1u);
    xdotool({"windowfocus", "--sync", QString::number(other.ids[0])});
    xdotool({"key", "1"});
    settle(400);
    EXPECT_EQ(status(), 0u) << "the old key still starts";
    xdotool({"key", "k"});
    waitForStatus([this] { return status(); }, 1);
    settle(1500);
    xdotool({"key", "k"});
    waitForStatus([this] { return status(); }, 0);
    EXPECT_TRUE(probe(app->outputPath).contains("video"));

    // The screenshot key (4) lists a picture.
    const int before = int(list().size());
    xdotool({"key", "4"});
    ASSERT_TRUE(QTest::qWaitFor([&] { return int(list().size()) == before + 1; }, 10000));
    EXPECT_TRUE(list()[0].toMap()["path"].toString().endsWith(".png"));
}

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (!qEnvironmentVariableIsSet("DISPLAY")) {
        std::printf(
            "e2e_preferences needs the test desktop (scripts/test-desktop run -- ctest ...); skipped\n");
        return 0;
    }
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
