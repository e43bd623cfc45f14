// `framedeck screenshot` as a program of its own, so the tests can run the
// command in a fresh process (no Qt application object yet, own DISPLAY),
// called the way the executable's main() calls it.
#include "selection/ScreenshotCommand.h"

#include <cstring>

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "screenshot") == 0)
        return runScreenshotCommand(argc - 1, argv + 1);
    return 2;
}
