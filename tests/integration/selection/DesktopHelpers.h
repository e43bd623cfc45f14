#pragma once

#include "QtAppEnvironment.h"
#include "TempHome.h"
#include "app/LanguageManager.h"
#include "app/SettingsStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QPointF>
#include <QProcess>
#include <QStringList>
#include <QThread>
#include <functional>
#include <gtest/gtest.h>

// Helpers for tests that run on the private test desktop.

// Runs the event loop until `done` holds. The bound only keeps a broken run
// from hanging until ctest's own timeout; no test relies on its length.
inline bool waitFor(const std::function<bool()>& done, int guardMilliseconds = 60000) {
    QElapsedTimer guard;
    guard.start();
    while (!done()) {
        if (guard.elapsed() > guardMilliseconds)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(10);
    }
    return true;
}

// Lets queued events, repaints and the X server settle for a moment.
inline void settle(int milliseconds = 300) {
    QElapsedTimer t;
    t.start();
    waitFor([&] { return t.elapsed() >= milliseconds; });
}

// Synthetic input through XTEST.
inline void xdotool(const QStringList& args) {
    QProcess p;
    p.start("xdotool", args);
    ASSERT_TRUE(p.waitForFinished(-1));
    ASSERT_EQ(p.exitCode(), 0) << p.readAllStandardError().toStdString();
    settle(150);
}

// A left click at `at`, in root coordinates.
inline void xdotoolClick(QPoint at) {
    xdotool({"mousemove", QString::number(at.x()), QString::number(at.y()), "click", "1"});
}

// A left-button drag from `from` through the middle to `to`, as a hand does it.
inline void xdotoolDrag(QPointF from, QPointF to) {
    const auto move = [](QPointF p) {
        return QStringList{"mousemove", QString::number(int(p.x())), QString::number(int(p.y()))};
    };
    xdotool(move(from) << "mousedown"
                       << "1");
    xdotool(move((from + to) / 2));
    xdotool(move(to) << "mouseup"
                     << "1");
}

// Windows of another process (test_xwindows), kept until destruction.
class XWindows {
public:
    explicit XWindows(const QStringList& specs) {
        process_.start(TEST_XWINDOWS_PATH, specs);
        EXPECT_TRUE(process_.waitForStarted(-1));
        while (!process_.canReadLine() && process_.state() == QProcess::Running)
            process_.waitForReadyRead(100);
        const QStringList words = QString::fromUtf8(process_.readLine()).trimmed().split(' ');
        EXPECT_EQ(words.value(0), "ready");
        for (int i = 1; i < words.size(); ++i)
            ids.push_back(words[i].toUInt());
    }
    ~XWindows() {
        process_.closeWriteChannel();
        process_.waitForFinished(-1);
    }
    int pid() const { return int(process_.processId()); }
    std::vector<std::uint32_t> ids;

private:
    QProcess process_;
};

// Splits the virtual screen into two monitors for one test and puts the
// single monitor back afterwards, even when the test fails.
class TwoMonitors {
public:
    TwoMonitors() {
        run({"--setmonitor", "left", "1280/254x1080/286+0+0", "screen"});
        run({"--setmonitor", "right", "640/254x480/286+1280+0", "none"});
        settle(500);
    }
    ~TwoMonitors() {
        run({"--delmonitor", "right"});
        run({"--delmonitor", "left"});
        settle(500);
    }

private:
    static void run(const QStringList& args) {
        QProcess p;
        p.start("xrandr", args);
        p.waitForFinished(-1);
        EXPECT_EQ(p.exitCode(), 0) << p.readAllStandardError().toStdString();
    }
};

// Every pixel of `image` is `colour`.
inline bool allPixels(const QImage& image, QRgb colour) {
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if ((image.pixel(x, y) | 0xFF000000u) != colour)
                return false;
    return !image.isNull();
}

// The interface in English, from a settings file of its own, while it lives.
class EnglishInterface {
public:
    EnglishInterface() {
        store_.setInteger("AppLanguage", 0);
        store_.setBool("isLanguageChanged", true);
        LanguageManager::setShared(&language_);
    }
    ~EnglishInterface() { LanguageManager::setShared(nullptr); }

private:
    TempHome home_;
    SettingsStore store_{home_.path() + "/settings.ini"};
    LanguageManager language_{store_, QString(FRAMEDECK_RESOURCE_DIR)};
};

// Keeps a picture for a person to look at: build*/test-artifacts/selection/.
inline void saveArtifact(const QImage& image, const QString& name) {
    const QString dir = QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/selection";
    QDir().mkpath(dir);
    image.save(dir + "/" + name);
}
