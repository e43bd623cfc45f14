#include "selection/SelectionSession.h"

#include "core/EMLog.h"
#include "engine/RecordRequest.h"
#include "selection/Screenshot.h"
#include "selection/WindowServer.h"

#include <QTimer>

SelectionSession::SelectionSession(KeyValueStore& settings, QObject* parent)
    : QObject(parent), settings_(settings) {
    qRegisterMetaType<RegionSelection>();
}

SelectionSession::~SelectionSession() {
    clearRecordWindowControllerArray();
}

void SelectionSession::readyToRecordScreen(int recordingStatus, const QImage& desktop) {
    if (recordingStatus != 0)
        return;
    EMLog::showMessage("%s %d", __func__, __LINE__);
    isDisableChangeScreen_ = false;
    clearRecordWindowControllerArray();
    WindowServer& server = WindowServer::shared();
    // Everything is taken before the first overlay appears, so that neither
    // the pictures nor the window list contain an overlay.
    const std::vector<WindowInfo> windows = server.onScreenWindows();
    const std::vector<ScreenInfo> screens = server.screens();
    std::vector<QImage> pictures;
    for (const ScreenInfo& s : screens) {
        QImage picture =
            Screenshot::imageRectangleScreen(server.desktopToWindowList(server.screenToDesktop(s.frame)), {});
        if (picture.isNull() && !desktop.isNull()) {
            const RectD r = server.desktopToWindowList(server.screenToDesktop(s.frame));
            picture = desktop.copy(int(r.x), int(r.y), int(r.width), int(r.height));
        }
        pictures.push_back(picture);
    }
    for (std::size_t i = 0; i < screens.size(); ++i)
        controllers_.push_back(std::make_unique<RVRecordScreenWindowController>(this, settings_));
    // Full screen may choose at once inside startRecorderScreen, which can
    // close the other overlays: start them from a copy of the list.
    std::vector<RVRecordScreenWindowController*> started;
    for (auto& c : controllers_)
        started.push_back(c.get());
    for (std::size_t i = 0; i < started.size(); ++i) {
        if (i < controllers_.size() && controllers_[i].get() == started[i] && started[i]->status == 0)
            started[i]->startRecorderScreen(screens[i], pictures[i], windows);
    }
    if (const std::optional<ScreenInfo> underMouse = currentScreenForMouseLocation();
        underMouse && recordVideoTypeFromInt(options_.recordVideoType) != RecordVideoType::FullScreen)
        changeKeyWindowWithScreen(*underMouse);
}

void SelectionSession::clearRecordWindowControllerArray() {
    for (auto& c : controllers_)
        c->cleanup();
    // Controllers may be on the call stack (a button press led here), so
    // they go once control is back in the event loop.
    for (auto& c : controllers_)
        c.release()->deleteLater();
    controllers_.clear();
    active_ = nullptr;
}

std::optional<ScreenInfo> SelectionSession::chosenFullScreen() const {
    const std::vector<ScreenInfo> screens = WindowServer::shared().screens();
    if (screens.size() > 1 && options_.fullScreenIndex >= 0 &&
        std::size_t(options_.fullScreenIndex) < screens.size())
        return screens[std::size_t(options_.fullScreenIndex)];
    return std::nullopt;
}

void SelectionSession::changeKeyWindowWithScreen(const ScreenInfo& target) {
    for (auto& c : controllers_) {
        if (c->screen.screenNumber == target.screenNumber)
            c->makeKeyWindow();
    }
}

void SelectionSession::setSelectedWindow(std::uint32_t number, const QString& name) {
    selectedWindowNumber_ = number;
    selectedWindowName_ = name;
}

void SelectionSession::recordScreenWindowControllerDidSelectRegion(
    RVRecordScreenWindowController* controller) {
    active_ = controller;
    controller->selectedRegion.selectedWindowNumber = selectedWindowNumber_;
    controller->selectedRegion.selectedWindowName = selectedWindowName_;
    selection_ = controller->selectedRegion;
    // Only the chosen screen's overlay stays.
    for (auto it = controllers_.begin(); it != controllers_.end();) {
        if (it->get() == controller) {
            ++it;
            continue;
        }
        (*it)->cleanup();
        it->release()->deleteLater();
        it = controllers_.erase(it);
    }
    emit regionSelected(selection_);
}

void SelectionSession::recordScreenWindowControllerDidCancel(RVRecordScreenWindowController*) {
    // Escape ends the whole selection, on every screen.
    QTimer::singleShot(0, this, [this] { clearRecordWindowControllerArray(); });
    emit selectionCancelled();
}

void SelectionSession::recordScreenWindowControllerRemoveEventMonitor(RVRecordScreenWindowController*) {
    for (auto& c : controllers_)
        c->removeEventMonitor();
}

void SelectionSession::recordScreenWindowControllerFinishRecord(RVRecordScreenWindowController*,
                                                                const QString& fileName, bool saveToLocal) {
    emit recordingFinished(fileName, saveToLocal);
}

void SelectionSession::startRecording(RVRecordScreenWindowController*) {
    emit recordingShouldStart(selection_);
}

void SelectionSession::pauseRecording() {
    if (active_)
        active_->pauseRecording();
}

void SelectionSession::resumeRecording() {
    if (active_)
        active_->resumeRecording();
}

void SelectionSession::stopRecording() {
    if (active_)
        active_->stopRecording();
    clearRecordWindowControllerArray();
}
