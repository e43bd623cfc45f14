// The real FrameDeck application on a Wayland desktop (headless sway, the
// desktop portal, PipeWire; scripts/test-desktop --wayland): the record
// button goes through the portal without stalling the window, the wait can be
// given up, an area dragged in the overlay is what is recorded, and the file
// shows the desktop.
#include "AppFixture.h"
#include "preferences/PreferencesWindow.h"
#include "preferences/ShortcutsTab.h"
#include "selection/RVRecordScreenWindowController.h"

#include <QColor>
#include <QLabel>
#include <QTabWidget>
#include <QTimer>

namespace {

// The desktop's background, which the test desktop announces.
QColor background() {
    return QColor(qEnvironmentVariable("FRAMEDECK_DESKTOP_BACKGROUND", "#336699"));
}

// Within the encoder's colour rounding of the background.
::testing::AssertionResult isBackground(const QImage& frame, QPoint at) {
    const QRgb seen = frame.pixel(at);
    const QColor expected = background();
    if (std::abs(qRed(seen) - expected.red()) <= 12 && std::abs(qGreen(seen) - expected.green()) <= 12 &&
        std::abs(qBlue(seen) - expected.blue()) <= 12)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << at.x() << "," << at.y() << " is " << QColor(seen).name().toStdString();
}

// A text shown in both Chinese interfaces: re-set on the switch, and
// translated rather than left in English.
void expectTranslated(AppDelegate& app, QWidget* window, const std::function<QString()>& shown,
                      const char* key, const QString& english, const QString& picture) {
    const char* tags[] = {"zh-Hans", "zh-Hant"};
    for (int language = 1; language <= 2; ++language) {
        app.setLange(language);
        EXPECT_EQ(shown(), L(key));
        EXPECT_FALSE(shown().startsWith(english)) << language;
        savePicture(window, picture + tags[language - 1]);
    }
    app.setLange(0);
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
    stopRecording();
    EXPECT_TRUE(alerts.isEmpty()) << alerts.join("\n").toStdString();

    const QString path = app->outputPath;
    const probe::Media file = media(path);
    EXPECT_EQ(file.videoSize(), "1920x1080");
    EXPECT_GT(file.duration, 2.0);
    EXPECT_LT(file.duration, 4.6);

    // The windows float at their own size, so the desktop's background shows
    // in the bottom corners; the frame is kept for a person to look at.
    const QImage frame = frameAt(path, 1.5);
    ASSERT_FALSE(frame.isNull());
    frame.save(QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/app/wayland-recorded-frame.png");
    EXPECT_TRUE(isBackground(frame, {40, 1040}));
    EXPECT_TRUE(isBackground(frame, {1880, 1040}));
    // And the second recording uses the kept choice, again from the button.
    const QString first = path;
    recordFor(1500);
    EXPECT_NE(app->outputPath, first);
    EXPECT_EQ(media(app->outputPath).videoSize(), "1920x1080");
}

// The headless compositor has no pointer device to drive, so the drag is
// given to the overlay's view as Qt mouse events; the overlay's window, the
// portal, the stream and the crop are the real ones.
TEST_F(App, WaylandCustomAreaDraggedInTheOverlayIsRecordedAtItsSizeAndPlace) {
    chooseKind(1);
    savePicture(&frameDeck->mainWindow(), "wayland-main-custom-area-en");
    frameDeck->mainWindow().recordButton()->click();
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return !frameDeck->selection().recordWindowControllerArray().empty(); }));
    RVRecordScreenWindowController* overlay = frameDeck->selection().recordWindowControllerArray()[0].get();
    ASSERT_TRUE(QTest::qWaitFor([&] { return overlay->window() && overlay->window()->isVisible(); }));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(overlay->window()));
    // One window filling the output: the compositor says so once it shows it.
    ASSERT_TRUE(QTest::qWaitFor([&] { return overlay->window()->isFullScreen(); }, 10000));
    EXPECT_EQ(overlay->window()->size(), QSize(1920, 1080));
    savePicture(overlay->window(), "wayland-overlay-before-drag-en");

    RVClipView* view = overlay->recordScreenView();
    // Left of the floating main window, below the bar: the background.
    const QPoint from(100, 600);
    const QPoint to(500, 900);
    QTest::mousePress(view, Qt::LeftButton, {}, from);
    QTest::mouseMove(view, (from + to) / 2);
    QTest::mouseMove(view, to);
    QTest::mouseRelease(view, Qt::LeftButton, {}, to);
    QPushButton* start = view->okBtn();
    ASSERT_TRUE(QTest::qWaitFor([&] { return start->isVisible(); }, 5000));
    QTest::qWait(300); // the selection painted and shown by the compositor
    savePicture(overlay->window(), "wayland-overlay-area-en");
    // What the compositor shows, overlay and desktop beneath.
    QProcess::execute(
        "grim", {QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/app/wayland-desktop-overlay-area.png"});
    QTest::mouseClick(start, Qt::LeftButton);
    ASSERT_TRUE(QTest::qWaitFor([&] { return status() != 0; }, 60000)) << alerts.join("\n").toStdString();
    QTest::qWait(2500);
    savePicture(&frameDeck->mainWindow(), "wayland-main-recording-area-en");
    stopRecording();
    EXPECT_TRUE(alerts.isEmpty()) << alerts.join("\n").toStdString();

    const QString path = app->outputPath;
    EXPECT_EQ(media(path).videoSize(), "400x300");
    const QImage frame = frameAt(path, 1.0);
    ASSERT_FALSE(frame.isNull());
    frame.save(QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/app/wayland-recorded-area-frame.png");
    // All of it is the desktop's background: the overlay is gone, and the
    // area was cut where it was dragged (the bar, the main window or a
    // shifted cut would show elsewhere in it).
    for (const QPoint at : {QPoint(4, 4), QPoint(200, 150), QPoint(395, 295)})
        EXPECT_TRUE(isBackground(frame, at));
}

// Wayland lists no windows and this portal shares monitors only: once the
// portal says so, the window kind is greyed out and says why, in each
// language. And the wait for the portal can be given up from the window;
// the next press then records. A screenshot from the tool row comes
// through the portal; the portal offers no global shortcuts, which the
// shortcuts tab says, in the chosen language, keeping the rows for a session
// that has them.
TEST_F(App, WaylandNoWindowKindNorHotkeysAndTheWaitForThePortalCanBeCancelled) {
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

    QToolButton* windowKind = frameDeck->mainWindow().modeButton(2);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return windowKind->toolTip() == L("Main_App_Window_Unavailable_Desktop"); }, 30000))
        << windowKind->toolTip().toStdString();
    EXPECT_FALSE(windowKind->isEnabled());
    savePicture(&frameDeck->mainWindow(), "wayland-main-no-window-kind-en");
    expectTranslated(
        *app, &frameDeck->mainWindow(), [&] { return windowKind->toolTip(); },
        "Main_App_Window_Unavailable_Desktop", "This", "wayland-main-no-window-kind-");

    chooseKind(0);
    QPushButton* record = frameDeck->mainWindow().recordButton();
    QPushButton* cancel = frameDeck->mainWindow().cancelWaitButton();
    EXPECT_FALSE(cancel->isVisible());
    int cancels = 0;
    QObject::connect(app.get(), &AppDelegate::screenShareCancelled, [&] { ++cancels; });
    const auto cancelWhileWaiting =
        QObject::connect(app.get(), &AppDelegate::waitingForScreenChanged, [&](bool waiting) {
            if (!waiting)
                return;
            EXPECT_TRUE(cancel->isVisible());
            EXPECT_EQ(cancel->text(), L("Main_Cancel_Waiting"));
            // Pressed from the event loop, while the portal is being asked.
            QTimer::singleShot(0, cancel, [this, cancel] {
                savePicture(&frameDeck->mainWindow(), "wayland-main-waiting-with-cancel-en");
                cancel->click();
            });
        });
    record->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return cancels == 1; }, 30000));
    EXPECT_FALSE(app->isWaitingForScreen());
    EXPECT_FALSE(cancel->isVisible());
    EXPECT_TRUE(record->isEnabled());
    EXPECT_EQ(record->text(), L("Main_Start_Recording"));
    // Whatever the portal still answers starts nothing.
    QTest::qWait(2000);
    EXPECT_EQ(status(), 0u);
    EXPECT_EQ(started, 0);
    EXPECT_TRUE(alerts.isEmpty()) << alerts.join("\n").toStdString();
    savePicture(&frameDeck->mainWindow(), "wayland-main-after-cancel-en");

    QObject::disconnect(cancelWhileWaiting);
    const QString path = recordFor(1500);
    EXPECT_EQ(media(path).videoSize(), "1920x1080");
    EXPECT_TRUE(alerts.isEmpty()) << alerts.join("\n").toStdString();

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
    expectTranslated(
        *app, window, [&] { return tab.unavailableNotice()->text(); }, "Pref_Shortcut_Unavailable", "Global",
        "wayland-preferences-shortcuts-");
}

int main(int argc, char** argv) {
    return runOnTestDesktop(argc, argv, "WAYLAND_DISPLAY");
}
