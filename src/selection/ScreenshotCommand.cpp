#include "selection/ScreenshotCommand.h"

#include "app/AppDelegate.h"
#include "platform/x11/X11Connection.h"
#include "selection/ScreenshotStore.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitNoDisplay = 3;

int fail(int code, const char* message) {
    std::fprintf(stderr, "framedeck screenshot: %s\n", message);
    return code;
}

} // namespace

void printScreenshotUsage(std::FILE* out) {
    std::fprintf(out, "Usage: framedeck screenshot [--output PATH]\n"
                      "  Saves a PNG picture of the main display, by default in the recordings\n"
                      "  folder named by the date and time, lists it with the recordings and\n"
                      "  prints its path.\n"
                      "  --output PATH   write the picture to PATH instead\n");
}

int runScreenshotCommand(int argc, char** argv, const DesktopPicture& desktopPicture) {
    QString output;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            printScreenshotUsage(stdout);
            return 0;
        }
        if (std::strcmp(argv[i], "--output") == 0 && i + 1 < argc && *argv[i + 1]) {
            output = QString::fromLocal8Bit(argv[++i]);
            continue;
        }
        std::fprintf(stderr, "framedeck screenshot: unknown or incomplete argument '%s'\n", argv[i]);
        printScreenshotUsage(stderr);
        return kExitUsage;
    }

    QImage image;
    static int qtArgc = 1;
    static char qtName[] = "framedeck";
    static char* qtArgv[] = {qtName, nullptr};
    // In a Wayland session the desktop takes the picture: no client may read
    // the screen itself. Its portal needs an application object for D-Bus.
    std::unique_ptr<QCoreApplication> ownApplication;
    if (desktopPicture) {
        if (!QCoreApplication::instance())
            ownApplication = std::make_unique<QCoreApplication>(qtArgc, qtArgv);
        std::string error;
        image = desktopPicture(error);
        if (image.isNull())
            return fail(kExitFailed, ("the desktop took no picture: " + error).c_str());
    } else if (!QCoreApplication::instance()) {
        // Without an application object, one is made here; the picture is
        // read from the X server.
        const char* display = std::getenv("DISPLAY");
        if (!display || !*display)
            return fail(kExitNoDisplay, "no X display to capture (DISPLAY is not set).");
        // Qt would abort on a display it cannot reach; say so plainly instead.
        if (!x11::Connection(display).isOpen())
            return fail(kExitNoDisplay,
                        qPrintable(QString("cannot connect to the X display '%1'.").arg(display)));
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "xcb");
        ownApplication = std::make_unique<QGuiApplication>(qtArgc, qtArgv);
    } else if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        return fail(kExitNoDisplay, "needs a graphical application object.");
    }
    if (image.isNull())
        image = ScreenshotStore::getmainDesktopImage();
    if (image.isNull())
        return fail(kExitFailed, "the main display could not be captured.");

    QString path;
    if (output.isEmpty()) {
        path = ScreenshotStore::pathForNow();
    } else {
        path = QFileInfo(output).absoluteFilePath();
        QDir().mkpath(QFileInfo(path).absolutePath());
    }
    const ScreenshotStore::SavedImage saved =
        ScreenshotStore::saveImageAt(image, path, AppDelegate::plistPath());
    if (!saved.written)
        return fail(kExitFailed, qPrintable("cannot write " + saved.path));
    std::printf("%s\n", qPrintable(saved.path));
    std::fflush(stdout);
    return 0;
}
