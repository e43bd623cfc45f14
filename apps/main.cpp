#include "FrameDeckApp.h"
#include "SingleInstance.h"
#include "app/AppDelegate.h"
#include "app/AppIdentity.h"
#include "cli/RecordCommand.h"
#include "core/EMLog.h"
#include "selection/ScreenshotCommand.h"
#include "stack/PlatformLoader.h"
#include "widgets/Icons.h"
#include "widgets/MainWindow.h"

#include <QApplication>
#include <QDir>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kExitNoDisplay = 3;
constexpr int kExitUsage = 2;

void printUsage() {
    std::printf("Usage: framedeck [--toggle-main-window] [--quit-after SECONDS]\n"
                "       framedeck --version | --help\n"
                "  Starts the FrameDeck recorder on the current desktop. When it already\n"
                "  runs, shows its main window (or shows/hides it with --toggle-main-window).\n"
                "  --quit-after SECONDS  quit by itself after that long\n"
                "  --version             print the version and exit\n\n");
    printRecordUsage(stdout);
    std::printf("\n");
    printScreenshotUsage(stdout);
}

bool haveDisplay() {
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x11 && *x11) || (wayland && *wayland);
}

void startLogging() {
    const QString cache = AppIdentity::cacheFolder();
    if (QDir().mkpath(cache))
        EMLog::setLogFile(AppIdentity::logFilePath().toStdString());
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "screenshot") == 0) {
        // A Wayland session's picture comes from the desktop portal.
        DesktopPicture portal;
        if (PlatformLoader::sessionScreenBackend() == PlatformLoader::ScreenBackend::Portal)
            portal = [](std::string& error) {
                return PlatformLoader::portalMainDisplayScreenshot(error);
            };
        return runScreenshotCommand(argc - 1, argv + 1, portal);
    }
    if (argc > 1 && std::strcmp(argv[1], "record") == 0)
        return runRecordCommand(argc - 1, argv + 1);

    // A file-size limit is a failed write the recording reports, not a kill.
    std::signal(SIGXFSZ, SIG_IGN);
    int quitAfterSeconds = 0;
    bool toggleMainWindow = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            printUsage();
            return 0;
        }
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("FrameDeck %s\n", FRAMEDECK_VERSION);
            return 0;
        }
        if (std::strcmp(argv[i], "--toggle-main-window") == 0) {
            toggleMainWindow = true;
            continue;
        }
        if (std::strcmp(argv[i], "--quit-after") == 0 && i + 1 < argc) {
            quitAfterSeconds = std::atoi(argv[++i]);
            continue;
        }
        std::fprintf(stderr, "framedeck: unknown argument '%s'\n", argv[i]);
        printUsage();
        return kExitUsage;
    }

    if (!haveDisplay()) {
        std::fprintf(stderr, "framedeck: no desktop to show the window on (DISPLAY is not set).\n"
                             "Run it from a terminal inside your desktop session, or use ./run, which\n"
                             "starts a private virtual desktop when there is none.\n");
        return kExitNoDisplay;
    }

    QApplication application(argc, argv);
    QApplication::setApplicationName("FrameDeck");
    QApplication::setApplicationVersion(FRAMEDECK_VERSION);
    QApplication::setOrganizationName("FrameDeck");
    QApplication::setApplicationDisplayName(AppIdentity::displayName());
    QApplication::setDesktopFileName(AppIdentity::bundleIdentifier());
    // Every window (file list, camera, dialogs) carries the desktop icon.
    QApplication::setWindowIcon(Icons::applicationIcon());
    startLogging();

    // One FrameDeck at a time: a second start talks to the first.
    if (SingleInstance::sendToRunning(toggleMainWindow ? "toggle" : "show"))
        return 0;
    SingleInstance instance;
    instance.listen();

    AppDelegate* app = AppDelegate::sharedInstance();
    for (QScreen* screen : QGuiApplication::screens())
        EMLog::showMessage("display %s %dx%d at %d,%d", qPrintable(screen->name()),
                           screen->geometry().width(), screen->geometry().height(), screen->geometry().x(),
                           screen->geometry().y());

    FrameDeckApp frameDeck(*app);
    MainWindow& window = frameDeck.mainWindow();
    window.adjustSize();
    window.resize(std::max(window.width(), 600), window.height());
    if (QScreen* screen = QGuiApplication::primaryScreen())
        window.move(screen->availableGeometry().center() - window.rect().center());
    frameDeck.show();
    // Only the main window's close button (with no tray icon to come back
    // from) or the Quit item end the application; FrameDeckApp decides.
    QApplication::setQuitOnLastWindowClosed(false);
    QObject::connect(&instance, &SingleInstance::requestReceived, &frameDeck,
                     [&frameDeck](const QString& request) {
                         if (request == "toggle")
                             frameDeck.showHomeMainWindow();
                         else
                             frameDeck.showMainWindow();
                     });

    if (quitAfterSeconds > 0)
        QTimer::singleShot(quitAfterSeconds * 1000, &frameDeck, &FrameDeckApp::quit);
    const int rc = application.exec();
    app->settings().synchronize();
    return rc;
}
