#pragma once

#include <QByteArray>
#include <QTemporaryDir>
#include <QtGlobal>
#include <gtest/gtest.h>

// Points HOME and the XDG folders at a fresh temporary folder for the life of
// a test, so nothing a test writes reaches a real user's files.
class TempHome {
public:
    TempHome() {
        EXPECT_TRUE(dir_.isValid());
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
            saved_.append({name, qgetenv(name)});
        qputenv("HOME", dir_.path().toUtf8());
        qputenv("XDG_CONFIG_HOME", (dir_.path() + "/.config").toUtf8());
        qputenv("XDG_CACHE_HOME", (dir_.path() + "/.cache").toUtf8());
        qputenv("XDG_DATA_HOME", (dir_.path() + "/.local/share").toUtf8());
    }
    ~TempHome() {
        for (const auto& [name, value] : saved_)
            qputenv(name, value);
    }
    QString path() const { return dir_.path(); }

private:
    QTemporaryDir dir_;
    QList<QPair<const char*, QByteArray>> saved_;
};
