#pragma once

#include <QImage>
#include <cstdio>
#include <functional>
#include <string>

// `framedeck screenshot [--output PATH]`: a picture of the main display from
// the command line, stored like the screenshot action stores it (a PNG
// beside the recordings, or at PATH, and an image record at the top of the
// recorded-file list).
//
// `argv[0]` is "screenshot", the flags follow; call it from main() as
//   if (argc > 1 && std::strcmp(argv[1], "screenshot") == 0)
//       return runScreenshotCommand(argc - 1, argv + 1);
// Prints the PNG's path on stdout and nothing else there; messages go to
// stderr. Exit status: 0 saved, 1 the display could not be captured or the
// file not written, 2 bad flags, 3 no X display.
//
// `desktopPicture`, when set, takes the picture instead of the X server (a
// Wayland session's portal, chosen above this layer): it returns the main
// display's picture, or a null one and why. It needs only a
// QCoreApplication, which is made for it when there is none.
// Main thread. Makes the Qt application object (X11) when there is none.
using DesktopPicture = std::function<QImage(std::string& error)>;
int runScreenshotCommand(int argc, char** argv, const DesktopPicture& desktopPicture = {});

// The help text of the subcommand (for `framedeck --help` too).
void printScreenshotUsage(std::FILE* out);
