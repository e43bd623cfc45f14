#pragma once

// The real FrameDeck application on the test desktop, for the end-to-end
// tests: a fresh home, the real main window, and helpers to record and to
// read what was written.
#include "DesktopMain.h"
#include "FrameDeckApp.h"
#include "TempHome.h"
#include "app/AppDelegate.h"
#include "app/FileListStore.h"
#include "integration/recording/MediaProbe.h"
#include "widgets/Alerts.h"
#include "widgets/MainWindow.h"

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QPushButton>
#include <QTest>
#include <QToolButton>
#include <gtest/gtest.h>

// What FFmpeg reads in a recording: its streams, length and picture size.
inline probe::Media media(const QString& path) {
    return probe::probe(path.toStdString());
}

// The frame shown `seconds` into a recording (before its end when negative),
// decoded by FFmpeg.
inline QImage frameAt(const QString& path, double seconds) {
    QProcess p;
    p.start("ffmpeg", {"-v", "error", seconds < 0 ? "-sseof" : "-ss", QString::number(seconds), "-i", path,
                       "-frames:v", "1", "-c:v", "png", "-f", "image2pipe", "-"});
    p.waitForFinished(-1);
    return QImage::fromData(p.readAllStandardOutput(), "PNG").convertToFormat(QImage::Format_RGB32);
}

// What the font and colour dialogs answer in the tests: DejaVu Sans 40 bold,
// magenta; both stand out in a recorded frame.
inline std::optional<QFont> boldFont(const QFont&, QWidget*) {
    return QFont("DejaVu Sans", 40, QFont::Bold);
}
inline std::optional<QColor> magenta(const QColor&, QWidget*) {
    return QColor(255, 0, 255);
}

// Pictures of the windows for a person to look at: build/test-artifacts/app.
inline void savePicture(QWidget* widget, const QString& name) {
    const QString dir = QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/app";
    QDir().mkpath(dir);
    widget->grab().save(dir + "/" + name + ".png");
}

class App : public ::testing::Test {
protected:
    void SetUp() override {
        if (!qEnvironmentVariableIsSet("DISPLAY") && !qEnvironmentVariableIsSet("WAYLAND_DISPLAY"))
            GTEST_SKIP();
        setAlertPresenter([this](QWidget*, const QString& message) { alerts << message; });
        app = std::make_unique<AppDelegate>(std::make_unique<SettingsStore>(home.path() + "/settings.conf"),
                                            FRAMEDECK_RESOURCE_DIR);
        QObject::connect(app.get(), &AppDelegate::recordingStarted, [this] { ++started; });
        QObject::connect(app.get(), &AppDelegate::recordingStopped, [this] { ++stopped; });
        frameDeck = std::make_unique<FrameDeckApp>(*app);
        frameDeck->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&frameDeck->mainWindow()));
    }
    void TearDown() override {
        frameDeck.reset();
        app.reset();
        setAlertPresenter({});
    }
    unsigned status() { return toInt(frameDeck->recordManager().status.load()); }
    // Stopped, and the file finished (the window's "Finishing the file…" is
    // over): what a user waits for before opening the file.
    bool finishedStop() const {
        return toInt(frameDeck->recordManager().status.load()) == 0 && stopped == started;
    }
    void waitForFinishedStop() {
        EXPECT_TRUE(QTest::qWaitFor([&] { return finishedStop(); }, 60000)) << "the file was never finished";
    }
    void chooseKind(int kind) {
        frameDeck->mainWindow().modeButton(kind)->click();
        QTest::qWait(50);
    }
    // Presses record; true once the recording runs.
    bool startRecording() {
        frameDeck->mainWindow().recordButton()->click();
        return QTest::qWaitFor([&] { return status() != 0; }, 20000);
    }
    void waitForStatus(unsigned wanted) {
        while (status() != wanted)
            QTest::qWait(20);
    }
    // Presses record again to stop, and waits for the file.
    void stopRecording() {
        frameDeck->mainWindow().recordButton()->click();
        EXPECT_EQ(status(), 0u);
        waitForFinishedStop();
    }
    // Presses record, waits for the recording, lets it run, presses again.
    QString recordFor(int milliseconds) {
        EXPECT_TRUE(startRecording());
        QTest::qWait(milliseconds);
        stopRecording();
        return app->outputPath;
    }
    QVariantList list() { return FileListStore::readList(AppDelegate::plistPath()); }

    TempHome home;
    QStringList alerts;
    int started = 0; // recordings begun and files finished, as the app signals them
    int stopped = 0;
    std::unique_ptr<AppDelegate> app;
    std::unique_ptr<FrameDeckApp> frameDeck;
};
