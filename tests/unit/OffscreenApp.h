#pragma once

// One offscreen QApplication for a whole unit test program of widgets: made
// before the first test, destroyed after the last.
#include <QApplication>
#include <gtest/gtest.h>

class OffscreenApp : public ::testing::Environment {
public:
    void SetUp() override {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "unit_test";
        static char* argv[] = {name, nullptr};
        app_ = new QApplication(argc, argv);
    }
    void TearDown() override {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        delete app_;
    }

private:
    QApplication* app_ = nullptr;
};
