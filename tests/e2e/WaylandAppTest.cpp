// The real FrameDeck application on a Wayland desktop (headless sway, the
// desktop portal, PipeWire; scripts/test-desktop --wayland): the record
// button goes through the portal without stalling the window, and the file
// shows the desktop.
#include "AppFixture.h"
#include "app/LanguageManager.h"
#include "preferences/PreferencesWindow.h"
#include "preferences/ShortcutsTab.h"

#include <QApplication>
#include <QColor>
#include <QLabel>
#include <QTabWidget>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

// The desktop's background, which the test desktop announces.
QColor background() {
    return QColor(qEnvironmentVariable("FRAMEDECK_DESKTOP_BACKGROUND", "#336699"));
}

bool near(QRgb seen, const QColor& expected) {
    // The encoder's colour rounding.
    return std::abs(qRed(seen) - expected.red()) <= 12 && std::abs(qGreen(seen) - expected.green()) <= 12 &&
           std::abs(qBlue(seen) - expected.blue()) <= 12;
}

QString probeSize(const QString& path) {
    QProcess p;
    p.start("ffprobe", {"-v", "error", "-select_streams", "v:0", "-show_entries", "stream=width,height",
                        "-of", "csv=p=0:s=x", path});
    p.waitForFinished(-1);
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}

} // namespace

TEST_F(App, WaylandFullScreenThroughThePortalFromTheButton) {
    ASSERT_TRUE(app->shareScreen) << "a Wayland session records through the portal, which is asked first";
    chooseKind(0);
    savePicture(&frameDeck->mainWindow(), "wayland-main-full-screen-en");

    QPushButton* record = frameDeck->mainWindow().recordButton();
    // While the portal is asked, the window says so and its event loop keeps
    // turning (a zero timer fires on every turn); a start that blocked on the
    // portal would show neither.
    bool sawWaiting = false;
    int turnsWhileWaiting = 0;
    QTimer turns;
    turns.setInterval(0);
    QObject::connect(&turns, &QTimer::timeout, [&] { turnsWhileWaiting += app->isWaitingForScreen(); });
    turns.start();
    QObject::connect(app.get(), &AppDelegate::waitingForScreenChanged, [&](bool waiting) {
        if (!waiting)
            return;
        sawWaiting = true;
        EXPECT_FALSE(record->isEnabled());
        EXPECT_EQ(record->text(), L("Main_Waiting_For_Screen"));
        savePicture(&frameDeck->mainWindow(), "wayland-main-waiting-en");
    });
    record->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return status() != 0; }, 60000)) << alerts.join("\n").toStdString();
    turns.stop();
    EXPECT_TRUE(sawWaiting);
    EXPECT_GT(turnsWhileWaiting, 0);
    EXPECT_FALSE(app->isWaitingForScreen());
    EXPECT_TRUE(record->isEnabled());
    QTest::qWait(3000);
    savePicture(&frameDeck->mainWindow(), "wayland-main-recording-en");
    record->click();
    waitForFinishedStop();
    EXPECT_TRUE(alerts.isEmpty()) << alerts.join("\n").toStdString();

    const QString path = app->outputPath;
    ASSERT_TRUE(QFile::exists(path)) << path.toStdString();
    EXPECT_EQ(probeSize(path), "1920x1080");
    const QString streams = probe(path);
    const double duration = streams.section('\n', -2, -2).toDouble();
    EXPECT_GT(duration, 2.0) << streams.toStdString();
    EXPECT_LT(duration, 4.6) << streams.toStdString();

    // The windows float at their own size, so the desktop's background shows
    // in the bottom corners; the frame is kept for a person to look at.
    const QImage frame = frameAt(path, 1.5);
    ASSERT_FALSE(frame.isNull());
    frame.save(QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/app/wayland-recorded-frame.png");
    EXPECT_TRUE(near(frame.pixel(40, 1040), background()))
        << QColor(frame.pixel(40, 1040)).name().toStdString();
    EXPECT_TRUE(near(frame.pixel(1880, 1040), background()))
        << QColor(frame.pixel(1880, 1040)).name().toStdString();
    // And the second recording uses the kept choice, again from the button.
    const QString first = path;
    recordFor(1500);
    EXPECT_NE(app->outputPath, first);
    EXPECT_EQ(probeSize(app->outputPath), "1920x1080");
}

TEST_F(App, WaylandScreenshotThroughThePortalFromTheToolRow) {
    ASSERT_TRUE(list().isEmpty());
    // The tool row's third button; the portal's answer comes later, on the
    // main thread.
    frameDeck->mainWindow().toolButton(2)->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !list().isEmpty(); }, 60000));
    const QVariantMap shot = list()[0].toMap();
    EXPECT_EQ(shot["isImage"].toInt(), 1);
    const QImage picture(shot["path"].toString());
    ASSERT_FALSE(picture.isNull()) << shot["path"].toString().toStdString();
    EXPECT_EQ(picture.size(), QSize(1920, 1080));
    // The desktop around the floating window, exactly (a PNG).
    EXPECT_EQ(QColor(picture.pixel(40, 1040)), background());
}

// This desktop's portal offers no global shortcuts: the shortcuts tab says
// so, in the chosen language, and the rows stay for a session that has them.
TEST_F(App, WaylandShortcutsTabSaysHotkeysAreUnavailable) {
    ASSERT_TRUE(QTest::qWaitFor([&] { return app->globalHotkeysUnavailable(); }, 30000));
    frameDeck->mainWindow().toolButton(3)->click(); // settings
    PreferencesWindow* window = frameDeck->preferencesWindow();
    ASSERT_NE(window, nullptr);
    window->tabs()->setCurrentIndex(PreferencesWindow::Shortcuts);
    ShortcutsTab& tab = *window->shortcutsTab();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    EXPECT_TRUE(tab.unavailableNotice()->isVisible());
    EXPECT_EQ(tab.unavailableNotice()->text(), L("Pref_Shortcut_Unavailable"));
    EXPECT_TRUE(tab.unavailableNotice()->text().startsWith("Global shortcuts are not available"));
    EXPECT_TRUE(tab.setButton(0)->isVisible());
    savePicture(window, "wayland-preferences-shortcuts-en");
    const char* tags[] = {"zh-Hans", "zh-Hant"};
    for (int language = 1; language <= 2; ++language) {
        app->setLange(language);
        EXPECT_EQ(tab.unavailableNotice()->text(), L("Pref_Shortcut_Unavailable"));
        EXPECT_FALSE(tab.unavailableNotice()->text().startsWith("Global")) << language;
        savePicture(window, QString("wayland-preferences-shortcuts-%1").arg(tags[language - 1]));
    }
    app->setLange(0);
}

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (!qEnvironmentVariableIsSet("WAYLAND_DISPLAY")) {
        std::printf(
            "e2e_wayland_app needs the Wayland test desktop (scripts/test-desktop --wayland run); skipped\n");
        return 0;
    }
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
