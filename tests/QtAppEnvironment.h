#pragma once

// One Qt application for a whole test program, made before the first test
// and destroyed after the last, while Qt's own globals still exist (a
// function-local static would outlive them). Unit tests draw on Qt's
// offscreen platform; the desktop tests on the test desktop's display. A
// program whose files each register one gets a single application.
#include <QCoreApplication>
#include <gtest/gtest.h>

template <class App, bool kOffscreen = false> class QtAppEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        if (QCoreApplication::instance())
            return;
        if (kOffscreen)
            qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "framedeck_test";
        static char* argv[] = {name, nullptr};
        app_ = new App(argc, argv);
    }
    void TearDown() override {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        delete app_;
        app_ = nullptr;
    }

private:
    App* app_ = nullptr;
};
