// The main() of the tests that need the test desktop's X11 display and
// nothing more of their own.
#include "DesktopMain.h"

int main(int argc, char** argv) {
    return runOnTestDesktop(argc, argv);
}
