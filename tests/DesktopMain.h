#pragma once

// The main() of a test that needs the private test desktop: off it (a plain
// ctest on a developer's machine) the program says why and passes.
#include <QApplication>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>

inline int runOnTestDesktop(int argc, char** argv, const char* display = "DISPLAY",
                            const std::function<int()>& afterwards = {}) {
    ::testing::InitGoogleTest(&argc, argv);
    if (!qEnvironmentVariableIsSet(display)) {
        std::printf("%s needs the test desktop (scripts/test-desktop run, with %s); skipped\n", argv[0],
                    display);
        return 0;
    }
    QApplication application(argc, argv);
    const int failures = RUN_ALL_TESTS();
    return afterwards ? failures | afterwards() : failures;
}
