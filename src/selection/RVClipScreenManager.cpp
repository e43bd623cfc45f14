#include "selection/RVClipScreenManager.h"

#include "app/AppIdentity.h"
#include "core/EMLog.h"
#include "selection/Screenshot.h"
#include "selection/ScreenshotStore.h"
#include "selection/ShutterSound.h"

#include <QCoreApplication>
#include <QPointer>

namespace {
QString screenText(const ScreenInfo& s) {
    return QString::asprintf("%u {{%g, %g}, {%g, %g}}", s.screenNumber, s.frame.x, s.frame.y, s.frame.width,
                             s.frame.height);
}
} // namespace

RVClipScreenManager* RVClipScreenManager::sharedInstance() {
    static QPointer<RVClipScreenManager> shared;
    if (!shared)
        shared = new RVClipScreenManager(QCoreApplication::instance());
    return shared;
}

RVClipScreenManager::RVClipScreenManager(QObject* parent) : QObject(parent) {
    EMLog::showMessage("%s %d", __func__, __LINE__);
    audioPlayer_ = std::make_unique<SoundPlayer>(AppIdentity::displayName().toStdString());
    auto sound = std::make_shared<SoundPlayer::Sound>();
    sound->name = ShutterSound::kName;
    sound->sampleRate = ShutterSound::kSampleRate;
    sound->channels = ShutterSound::kChannels;
    sound->samples = ShutterSound::synthesize(ShutterSound::kSampleRate);
    shutterSound_ = std::move(sound);
}

RVClipScreenManager::~RVClipScreenManager() {
    // Nothing of the event loop is left to delete them later.
    for (auto& c : clipWindowControllerArray_)
        c->cleanup();
    clipWindowControllerArray_.clear();
}

void RVClipScreenManager::playShutterSound() {
    audioPlayer_->play(shutterSound_);
}

void RVClipScreenManager::startCapture() {
    if (isWorking) {
        EMLog::showMessage("%s %d a capture is already running", __func__, __LINE__);
        return;
    }
    WindowServer& server = WindowServer::shared();
    const std::vector<ScreenInfo> screens = server.screens();
    if (screens.empty()) {
        EMLog::showMessage("%s %d no screen to capture", __func__, __LINE__);
        return;
    }
    isWorking = true;
    clearClipWindowControllerArray();
    // The window list and the pictures are taken before the first overlay
    // appears, so that none of them holds an overlay.
    arrayRect = server.onScreenWindows();
    std::vector<QImage> pictures;
    for (const ScreenInfo& s : screens)
        pictures.push_back(Screenshot::imageRectangleScreen(
            server.desktopToWindowList(server.screenToDesktop(s.frame)), {}));
    for (std::size_t i = 0; i < screens.size(); ++i) {
        EMLog::showMessage("__func:%s %d screen:%s", __func__, __LINE__, qPrintable(screenText(screens[i])));
        auto controller = std::make_unique<RVClipWindowController>(this);
        controller->setScreen(screens[i]);
        controller->startCaptureWithScreen(screens[i], pictures[i]);
        clipWindowControllerArray_.push_back(std::move(controller));
    }
    showUploadWindowToFront();
}

void RVClipScreenManager::changeKeyWindowWithScreen(const ScreenInfo& screen) {
    for (auto& c : clipWindowControllerArray_) {
        if (c->screen.screenNumber == screen.screenNumber)
            c->makeKeyWindow();
    }
}

void RVClipScreenManager::showUploadWindowToFront() {
    for (auto& c : clipWindowControllerArray_) {
        if (c->window())
            c->window()->raise();
    }
    if (const std::optional<ScreenInfo> underMouse = currentScreenForMouseLocation())
        changeKeyWindowWithScreen(*underMouse);
}

void RVClipScreenManager::clearClipWindowControllerArray() {
    for (auto& c : clipWindowControllerArray_)
        c->cleanup();
    // A controller may be on the call stack (its button led here), so they
    // go once control is back in the event loop.
    for (auto& c : clipWindowControllerArray_)
        c.release()->deleteLater();
    clipWindowControllerArray_.clear();
}

void RVClipScreenManager::reset() {
    clearClipWindowControllerArray();
    arrayRect.clear();
    isWorking = false;
}

void RVClipScreenManager::clipWindowController(RVClipWindowController*, const QImage& image) {
    EMLog::showMessage("%s %d", __func__, __LINE__);
    playShutterSound();
    reset();
    const QString path = ScreenshotStore::saveImage(image);
    emit screenshotSaved(path);
}

void RVClipScreenManager::clipWindowControllerDidCancel(RVClipWindowController*) {
    EMLog::showMessage("%s %d", __func__, __LINE__);
    reset();
    emit captureCancelled();
}
