#include "FrameDeckApp.h"

#include "app/AppDelegate.h"
#include "app/ProgressTexts.h"
#include "core/EMLog.h"
#include "engine/EncodeManager.h"
#include "engine/RecordRequest.h"
#include "overlays/Hotkeys.h"
#include "selection/RVClipScreenManager.h"
#include "selection/ScreenshotStore.h"
#include "timing/AutoSplitSetsWindow.h"
#include "timing/AutoTimeSetWindow.h"
#include "timing/TimeEndWindowColler.h"
#include "widgets/Alerts.h"
#include "widgets/FileListWindowController.h"
#include "widgets/MainWindow.h"
#include "widgets/StatusItem.h"

#include <QApplication>
#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>
#include <QSystemTrayIcon>
#include <cmath>

namespace {

// Level meter: the loudest sample of a buffer, 0...1.
float peakLevel(const AudioSampleBuffer& buffer) {
    int64_t peak = 0;
    const int64_t n = int64_t(buffer.frames) * buffer.channels;
    for (int64_t i = 0; i < n; i += 4)
        peak = std::max<int64_t>(peak, std::llabs(int64_t(buffer.data[i])));
    return float(double(peak) / 2147483648.0);
}

} // namespace

FrameDeckApp::FrameDeckApp(AppDelegate& app)
    : app_(app), keyListener_([this](const x11input::KeyPress& press) {
          // Listener thread: hand the press to the main thread, where the
          // settings and the controller live.
          QMetaObject::invokeMethod(
              this, [this, code = press.keyCode] { handleHotkey(code); }, Qt::QueuedConnection);
      }) {
    buildEngine();
    window_ = std::make_unique<MainWindow>(app_);
    StatusItem::Actions actions;
    actions.recordScreenClicked = [this] {
        app_.recordScreenClicked();
    };
    actions.pauseOrResumeAction = [this] {
        app_.pauseOrResumeAction();
    };
    actions.OnorOffCaptrueCamera = [this] {
        OnorOffCaptrueCamera();
    };
    actions.screenshort = [this] {
        screenshort();
    };
    actions.showDoodleToolAction = [this] {
        showDoodleToolAction();
    };
    actions.settingAction = [this] {
        settingAction();
    };
    actions.showHomeMainWindow = [this] {
        showHomeMainWindow();
    };
    actions.quit = [this] {
        quit();
    };
    actions.isMainWindowShown = [this] {
        return window_->isVisible() && window_->windowOpacity() >= 1.0;
    };
    tray_ = std::make_unique<StatusItem>(app_.settings(), actions);
    window_->installEventFilter(this);
    connectWindow();
    refreshDisplays();
    refreshCameras();
    progressTimer_.setInterval(1000);
    connect(&progressTimer_, &QTimer::timeout, this, &FrameDeckApp::onProgressTick);
    // Raw key events reach us for our own windows too, so this one listener
    // serves both the background and the foreground: a key is handled once.
    keyListener_.start();
    bindDesktopHotkeys();
}

FrameDeckApp::~FrameDeckApp() {
    // First, so that no press is posted to a half-destroyed application
    // (presses already posted are dropped with this object).
    keyListener_.stop();
    delete fileList_;
    progressTimer_.stop();
    if (stack_) {
        RVRecordManager& manager = stack_->recordManager();
        if (manager.status != RecordingStatus::Idle)
            manager.stopRecording();
        manager.captrueVideoInputEnable(false);
        manager.captrueAudioInputEnable(false);
    }
    cameraWindow_.reset();
    // Before the stack: its tabs edit the stack's watermark and session.
    preferences_.reset();
    if (stack_)
        stack_->destroyDevicesAtQuit();
    app_.setRecordManager(nullptr);
    stack_.reset();
}

void FrameDeckApp::buildEngine() {
    RecordingStackOptions options;
    options.settings = &app_.settings();
    // The text kind draws its text as a picture, rendered once here and again
    // whenever the text or its style changes.
    options.watermark = loadWatermarkModel(app_, app_.settings());
    if (options.watermark.watermarkType == 0)
        options.watermark.watermarkImage =
            options.watermark.saveImageWithText(options.watermark.watermarkTextString);
    options.watermarkPlacement = readWatermarkPlacement(app_.settings());

    RecordingStackHost host;
    host.runOnMainThread = [this](std::function<void()> task) {
        QMetaObject::invokeMethod(this, std::move(task), Qt::QueuedConnection);
    };
    host.schedule = [this](std::chrono::milliseconds delay, std::function<void()> task) {
        QTimer::singleShot(delay, this, std::move(task));
    };
    host.showMicrophoneAlert = [this] {
        showModalAlert(window_.get(), L("Alert_Mic_Message"));
    };
    host.audioRoutingChanged = [this](RecordAudioType kind) {
        app_.recordAudioType = toInt(kind);
    };
    host.cursorEffectFlags = [this] {
        return CursorEffectFlags{app_.isMouseHight, app_.isMouseClickEffect, app_.isShowMouse};
    };
    stack_ = std::make_unique<RecordingStack>(std::move(options), std::move(host));
    RVRecordManager& manager = stack_->recordManager();
    const SplitLengths split = launchSplitLengths(app_.settings());
    manager.encodeManager().setSplitTime(split.splitTime);
    manager.encodeManager().setSplitSize(split.splitSize);
    app_.setRecordManager(&manager);
    app_.hasCamera = [this] {
        return !stack_->captureFactory().cameras().empty();
    };
    if (PlatformLoader::ScreenShare* share = stack_->screenShare()) {
        app_.shareScreen = [this, share](bool window, unsigned screenNumber,
                                         std::function<void(const QString& error)> done) {
            const std::vector<RVScreen> screens = stack_->captureFactory().screens();
            const RVScreen monitor = screenNumber < screens.size() ? screens[screenNumber] : RVScreen{};
            share->request(window, monitor, [done = std::move(done)](const std::string& error) {
                done(QString::fromStdString(error));
            });
        };
        app_.cancelShareScreen = [share] {
            share->cancel();
        };
        // Wayland lists no windows to a client: the window is picked in the
        // desktop's own dialog, where the desktop has one.
        share->askWindowSharing([this](bool offered) {
            if (!offered)
                app_.setWindowKindUnavailable("Main_App_Window_Unavailable_Desktop");
        });
    }

    FrameCompositor::Hooks compositorHooks;
    compositorHooks.cameraPreview = [this](const PixelBufferView& frame) {
        // The window outlives the camera input: it is closed only after the
        // camera is switched off.
        if (CaptrueVideoInputWindowController* window = cameraWindow_.get())
            window->showFrame(frame);
    };
    compositorHooks.audioVolum = [this](const AudioSampleBuffer& buffer) {
        const float level = peakLevel(buffer);
        QMetaObject::invokeMethod(
            this, [this, level] { window_->setAudioLevel(level); }, Qt::QueuedConnection);
    };
    stack_->setCompositorHooks(compositorHooks);

    RVRecordHost events;
    events.recordingStarted = [this] {
        tray_->setRecording(true);
        soundLossTold_ = false;
    };
    events.recordingStopped = [this] {
        tray_->setRecording(false);
    };
    events.statusChanged = [this](RecordingStatus) {
        refreshStateMenuItem();
    };
    events.clockTick = [this](const RecordingProgress& progress) {
        const QString time = QString::fromStdString(ProgressTexts::durationText(uint64_t(progress.seconds)));
        QString size = QString::fromStdString(
            ProgressTexts::fileSizeText(progress.bytes, app_.systemFreeSpace().toStdString()));
        if (progress.droppedFrames > 0)
            size += " · " + LF("Main_Dropped_Frames", {QString::number(progress.droppedFrames)});
        window_->setDurationTexts(time, size);
        tray_->trayIcon()->setToolTip(LF("Menu_Tray_ToolTip_Recording", {time}));
        app_.recordScreenTimeDuration(progress.seconds, progress.bytes);
    };
    events.sourceFailed = [this](CaptureSourceKind kind, const std::string& message) {
        EMLog::showMessage("%s capture failed: %s", captureSourceName(kind), message.c_str());
        RVRecordManager& manager = stack_->recordManager();
        if (manager.status == RecordingStatus::Idle)
            return;
        // The picture of the recording is gone (its window closed, the camera
        // of a camera recording unplugged): what was recorded is finished and
        // listed. Sound and a picture-in-picture camera are not worth ending
        // a recording for; the log says what stopped.
        const bool pictureGone =
            (kind == CaptureSourceKind::Screen && manager.recordVideoType != RecordVideoType::Camera) ||
            (kind == CaptureSourceKind::Camera && manager.recordVideoType == RecordVideoType::Camera);
        if (kind == CaptureSourceKind::Audio && !soundLossTold_) {
            // The recording goes on and the sound comes back by itself; the
            // user hears of it once, without a box that stops everything.
            soundLossTold_ = true;
            showNotice(window_.get(), L("Alert_Audio_Lost"));
        }
        if (!pictureGone)
            return;
        app_.recordScreenClicked();
        showModalAlert(window_.get(),
                       L(kind == CaptureSourceKind::Camera ? "Alert_Camera_Lost" : "Alert_Picture_Lost"));
    };
    events.outputFailed = [this](const std::string& outputPath) {
        // Stopped through the user's own stop, so that what was written is
        // finished and listed; then the user hears why.
        const QString path = QString::fromStdString(outputPath);
        const bool recorded = stack_->recordManager().encodeManager().isWorking;
        const bool kept = QFileInfo::exists(path);
        if (stack_->recordManager().status != RecordingStatus::Idle)
            app_.recordScreenClicked();
        const char* message = !recorded ? "Alert_Output_NotWritable"
                              : kept    ? "Alert_Output_Failed"
                                        : "Alert_Output_Removed";
        showModalAlert(window_.get(), LF(message, {path}));
    };
    stack_->setHost(events);
    // The stored audio kind, unless it wants a microphone that is not there.
    if (app_.recordAudioType == toInt(RecordAudioType::Microphone) && !stack_->hasUsableMicrophone())
        app_.recordAudioType = toInt(RecordAudioType::System);
    manager.recordAudioType = recordAudioTypeFromInt(app_.recordAudioType);
    manager.switchRecordType(manager.recordAudioType);
    // The sound runs from launch, as it does in the level meter: a fresh
    // stream can take a couple of seconds to deliver its first samples, and
    // a recording must not lose its beginning to that.
    manager.startCapture();

    selection_ = std::make_unique<SelectionSession>(app_.settings());
    connect(selection_.get(), &SelectionSession::recordingShouldStart, this,
            [this](const RegionSelection& region) {
                RecordRequest request;
                const QRect area = region.desktopRect;
                const auto screens = stack_->captureFactory().screens();
                for (unsigned i = 0; i < screens.size(); ++i) {
                    const RVScreen& s = screens[i];
                    if (QRect(s.x, s.y, s.width, s.height).contains(area.center())) {
                        request.screenNumber = i;
                        request.captureRect = {double(area.x() - s.x), double(area.y() - s.y),
                                               double(area.width()), double(area.height())};
                        break;
                    }
                }
                request.selectedWindowNumber = region.selectedWindowNumber;
                request.selectedWindowName = region.selectedWindowName.toStdString();
                app_.recordSelectedRegion(request);
            });
}

void FrameDeckApp::connectWindow() {
    MainWindow* w = window_.get();
    connect(w, &MainWindow::recordClicked, this, [this] { app_.recordScreenClicked(); });
    connect(w, &MainWindow::pauseOrResumeClicked, this, [this] { app_.pauseOrResumeAction(); });
    connect(w, &MainWindow::areaChangeAction, this, [this](int kind) {
        app_.areaChangeAction(kind);
        if (kind == 3)
            refreshCameras();
    });
    // The display pop-up: which screen a full-screen recording takes.
    connect(w, &MainWindow::screenItemChange, this, [this](int index) { displayIndex_ = index; });
    // Screens plugged in or out (or monitors redefined) change the pop-up.
    connect(qApp, &QGuiApplication::screenAdded, this, &FrameDeckApp::refreshDisplays, Qt::QueuedConnection);
    connect(qApp, &QGuiApplication::screenRemoved, this, &FrameDeckApp::refreshDisplays,
            Qt::QueuedConnection);
    connect(w, &MainWindow::frameChangeAction, this, [this](int i) { app_.frameChangeAction(i); });
    connect(w, &MainWindow::fpsChangeAction, this, [this](int i) { app_.fpsChangeAction(i); });
    connect(w, &MainWindow::videoTypeChangeAction, this, [this](int i) { app_.videoTypeChangeAction(i); });
    connect(w, &MainWindow::audioExpChangeAction, this, [this](int i) { app_.audioExpChangeAction(i); });
    connect(w, &MainWindow::systemAudioBoxChange, this,
            [this](int item) { app_.systemAudioBoxChange(item); });
    connect(w, &MainWindow::micphoneBoxChange, this, [this](int item) { app_.micphoneBoxChange(item); });
    connect(w, &MainWindow::captrueChangeAction, this, [this](int item) {
        if ((item == 1) != app_.isCaptrue)
            OnorOffCaptrueCamera();
    });
    connect(w, &MainWindow::cameraItemChange, this, [this](int index) {
        const auto cameras = stack_->captureFactory().cameras();
        if (index >= 0 && index < int(cameras.size()))
            app_.selectedCamera = QString::fromStdString(cameras[index].device);
    });
    connect(w, &MainWindow::startSetsItemChangeAction, this,
            [this](int item) { app_.startSetsItemChangeAction(item); });
    connect(w, &MainWindow::countDownAction, this, [this](int seconds) { app_.countDownAction(seconds); });
    connect(w, &MainWindow::autoStopSetsAction, this, [this](int item) { app_.autoStopSetsAction(item); });
    connect(w, &MainWindow::timeSetsClicked, this, [this] { app_.timeSetsAction(); });
    connect(w, &MainWindow::autoSplitSetsClicked, this, [this] { app_.autoSplitSetsAction(); });
    connect(&app_, &AppDelegate::timeSetsDialogRequested, this,
            [this] { showTimedDialog(new TimeEndWindowColler(app_, window_.get())); });
    connect(&app_, &AppDelegate::autoStopDialogRequested, this,
            [this] { showTimedDialog(new AutoTimeSetWindow(app_, window_.get())); });
    connect(&app_, &AppDelegate::autoSplitDialogRequested, this, [this] {
        showTimedDialog(
            new AutoSplitSetsWindow(app_, stack_->recordManager().encodeManager(), window_.get()));
    });
    connect(w, &MainWindow::screenshotClicked, this, &FrameDeckApp::screenshort);
    connect(w, &MainWindow::fileListClicked, this, &FrameDeckApp::enterFileListAction);
    connect(w, &MainWindow::settingsClicked, this, &FrameDeckApp::settingAction);
    connect(w, &MainWindow::drawToolsClicked, this, &FrameDeckApp::showDoodleToolAction);
    connect(w, &MainWindow::languageChosen, this, [this](int language) { app_.setLange(language); });

    connect(&app_, &AppDelegate::regionSelectionRequested, this, [this] {
        SelectionSession::Options options;
        options.recordVideoType = app_.recordVideoType;
        // The desktop's dialog picks the window (Wayland): the overlay only
        // counts down, as for a full screen.
        if (stack_->screenShare() &&
            recordVideoTypeFromInt(app_.recordVideoType) == RecordVideoType::AppWindow)
            options.recordVideoType = toInt(RecordVideoType::FullScreen);
        options.isShowReverseTime = app_.isShowReverseTime;
        options.fullScreenIndex = displayIndex_;
        selection_->setOptions(options);
        stack_->recordManager().startRecordScreen();
        if (!stack_->screenShare() ||
            recordVideoTypeFromInt(app_.recordVideoType) != RecordVideoType::CustomArea) {
            selection_->readyToRecordScreen(0);
            return;
        }
        // Wayland: the overlay has no picture of the screen of its own, and a
        // compositor may show black behind a full-screen window (sway does):
        // the area is chosen on the portal's picture of the desktop. Without
        // one, it is chosen over what the compositor shows beneath.
        PlatformLoader::portalDesktopScreenshot(
            this, [this](const QImage& desktop, const std::string& error) {
                if (desktop.isNull())
                    EMLog::showMessage("%s %d no picture of the desktop for the area's overlay: %s", __func__,
                                       __LINE__, error.c_str());
                if (stack_->recordManager().status == RecordingStatus::Idle && !app_.isWaitingForScreen())
                    selection_->readyToRecordScreen(0, desktop);
            });
    });
    connect(&app_, &AppDelegate::recordingStarted, this, &FrameDeckApp::onRecordingStarted);
    connect(&app_, &AppDelegate::recordingPaused, this, [this](bool paused) {
        window_->setRecordingState(paused ? RecordingStatus::Paused : RecordingStatus::Resumed);
        tray_->setPaused(paused);
        paused ? selection_->pauseRecording() : selection_->resumeRecording();
        refreshStateMenuItem();
    });
    connect(&app_, &AppDelegate::recordingStopped, this, [this](const QString&) {
        startOrStopProgress(false);
        selection_->stopRecording();
        window_->setRecordingState(RecordingStatus::Idle);
        refreshStateMenuItem();
    });
    connect(&app_, &AppDelegate::recordingFinishing, this, [this](const QString&) {
        window_->setFinishing();
        tray_->trayIcon()->setToolTip(L("Main_Finishing"));
    });
    connect(&app_, &AppDelegate::waitingForScreenChanged, this, [this](bool waiting) {
        window_->setWaitingForScreen(waiting);
        tray_->trayIcon()->setToolTip(L(waiting ? "Main_Waiting_For_Screen" : "Meun_App"));
    });
    connect(w, &MainWindow::cancelWaitClicked, this, [this] { app_.cancelWaitingForScreen(); });
    connect(&app_, &AppDelegate::screenShareCancelled, this, [this] {
        // The overlay of the chosen area stays up until the recording starts.
        selection_->stopRecording();
        window_->setRecordingState(RecordingStatus::Idle);
    });
    connect(&app_, &AppDelegate::screenShareFailed, this, [this](const QString& error) {
        // The area's frame was put up for a recording that does not come.
        selection_->stopRecording();
        window_->setRecordingState(RecordingStatus::Idle);
        // Cancelled in the desktop's own dialog: the user knows, no alert.
        if (!PlatformLoader::screenShareDeclined(error.toStdString()))
            showModalAlert(window_.get(), LF("Alert_Screen_Share_Failed", {error}));
    });
    connect(&app_, &AppDelegate::durationTextsChanged, w, &MainWindow::setDurationTexts);
    connect(&app_, &AppDelegate::alertRequested, this,
            [this](const QString& message) { showModalAlert(window_.get(), message); });
    connect(&app_, &AppDelegate::fileListRequested, this, &FrameDeckApp::enterFileListAction);
    connect(&app_, &AppDelegate::screenshotRequested, this, &FrameDeckApp::screenshort);
    connect(&app_, &AppDelegate::quitRequested, this, &FrameDeckApp::quit, Qt::QueuedConnection);
}

void FrameDeckApp::onRecordingStarted() {
    window_->setRecordingState(RecordingStatus::Recording);
    window_->setDurationTexts("00:00:00",
                              QString::asprintf("%.2f MB / %s", 0.0, qPrintable(app_.systemFreeSpace())));
    startOrStopProgress(true);
    refreshStateMenuItem();
}

void FrameDeckApp::showTimedDialog(QDialog* dialog) {
    // One at a time: a second request while one is open raises it.
    if (timedDialog_) {
        delete dialog;
        timedDialog_->raise();
        timedDialog_->activateWindow();
        return;
    }
    timedDialog_ = dialog;
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setModal(true);
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
}

void FrameDeckApp::startOrStopProgress(bool recording) {
    if (recording)
        progressTimer_.start();
    else
        progressTimer_.stop();
}

void FrameDeckApp::onProgressTick() {
    if (stack_->recordManager().status == RecordingStatus::Idle)
        return;
    stack_->recordManager().timerDurationTimeOut();
}

void FrameDeckApp::refreshStateMenuItem() {
    tray_->refreshStateMenuItem(window_->isInfoViewHidden(), stack_->recordManager().status);
}

void FrameDeckApp::show() {
    tray_->addStatusItem();
    window_->show();
    refreshStateMenuItem();
}

void FrameDeckApp::showHomeMainWindow() {
    // Toggles between shown and hidden; hidden lets the desktop be used and
    // recorded without the window in the way.
    if (window_->isVisible()) {
        window_->hide();
    } else {
        window_->show();
        window_->raise();
        window_->activateWindow();
    }
    refreshStateMenuItem();
}

void FrameDeckApp::showMainWindow() {
    if (!window_->isVisible())
        showHomeMainWindow();
    window_->raise();
    window_->activateWindow();
}

void FrameDeckApp::screenshort() {
    if (stack_->screenShare()) {
        // Wayland: the desktop portal takes it, off the main thread.
        PlatformLoader::portalMainDisplayScreenshot(
            this, [this](const QImage& image, const std::string& error) {
                if (image.isNull()) {
                    EMLog::showMessage("%s %d the desktop portal took no picture: %s", __func__, __LINE__,
                                       error.c_str());
                    return;
                }
                RVClipScreenManager::sharedInstance()->playShutterSound();
                ScreenshotStore::saveImage(image);
                if (fileList_)
                    fileList_->setUPData();
            });
        return;
    }
    const QString path = takeMainDisplayScreenshot();
    if (path.isEmpty())
        EMLog::showMessage("%s %d the screen could not be captured", __func__, __LINE__);
    else if (fileList_)
        fileList_->setUPData();
}

void FrameDeckApp::OnorOffCaptrueCamera() {
    if (!app_.isCaptrue && stack_->captureFactory().cameras().empty()) {
        showModalAlert(window_.get(), L("Alert_Camera_Message"));
        window_->setCameraOverlayOn(false);
        return;
    }
    app_.isCaptrue = !app_.isCaptrue;
    window_->setCameraOverlayOn(app_.isCaptrue);
    if (app_.isCaptrue) {
        // The floating camera picture, which screen recordings then film.
        if (!cameraWindow_) {
            cameraWindow_ = std::make_unique<CaptrueVideoInputWindowController>();
            if (const QScreen* screen = QGuiApplication::primaryScreen()) {
                const QRect area = screen->availableGeometry();
                cameraWindow_->move(area.right() - cameraWindow_->width() - 40,
                                    area.bottom() - cameraWindow_->height() - 40);
            }
        }
        stack_->recordManager().selectedVideoDevice = app_.currentRequest().cameraDevice;
        stack_->recordManager().captrueVideoInputEnable(true);
        cameraWindow_->setWindowTitle(app_.selectedCamera);
        cameraWindow_->show();
        cameraWindow_->raise();
    } else {
        stack_->recordManager().captrueVideoInputEnable(false);
        cameraWindow_.reset();
    }
}

void FrameDeckApp::settingAction() {
    if (!preferences_) {
        preferences_ = std::make_unique<PreferencesWindow>(app_, stack_->watermark(),
                                                           stack_->recordManager().encodeManager());
        // The main window's pop-ups show the same choices.
        connect(preferences_.get(), &PreferencesWindow::choicesChanged, window_.get(),
                &MainWindow::ChangeLoanguage);
    }
    preferences_->present();
}

void FrameDeckApp::showDoodleToolAction() {
    if (!drawTools_)
        drawTools_ = std::make_unique<DrawSettingsWindowController>(app_.settings());
    drawTools_->initDraw(); // raises it when already open
}

void FrameDeckApp::handleHotkey(uint16_t keyCode) {
    // An open pop-up menu takes the keys itself (the start pull-down's "1"
    // and "2" items): acting on them here as well would run the press twice.
    if (QApplication::activePopupWidget())
        return;
    const auto actions = hotkeyActionsFor(readHotkeyCodes(app_.settings()), keyCode, app_.isCanKeyEvent,
                                          app_.isResetEventMonitor);
    for (const HotkeyAction action : actions)
        runHotkeyAction(action);
}

void FrameDeckApp::runHotkeyAction(HotkeyAction action) {
    switch (action) {
    case HotkeyAction::StartOrStop:
        app_.recordScreenClicked();
        break;
    case HotkeyAction::ShowDrawTool:
        showDoodleToolAction();
        break;
    case HotkeyAction::OnOrOffCaptrue:
        OnorOffCaptrueCamera();
        break;
    case HotkeyAction::ResumeOrPause:
        // Asked now, after any start on the same key.
        if (stack_->recordManager().status != RecordingStatus::Idle)
            app_.pauseOrResumeAction();
        break;
    case HotkeyAction::Screenshot:
        screenshort();
        break;
    }
}

void FrameDeckApp::bindDesktopHotkeys() {
    if (PlatformLoader::sessionScreenBackend() != PlatformLoader::ScreenBackend::Portal)
        return;
    // Unavailable until the desktop has bound them.
    app_.setGlobalHotkeysUnavailable(true);
    std::vector<PlatformLoader::HotkeyName> names;
    for (const HotkeyBinding& binding : kHotkeyBindings)
        names.push_back({std::string(binding.desktopId), L(binding.titleKey.data()).toStdString()});
    portalHotkeys_ = PlatformLoader::bindPortalHotkeys(
        this, std::move(names),
        [this](const std::string& id) {
            const std::optional<HotkeyAction> action = hotkeyActionForDesktopId(id);
            // The same gates as a key press: not while a modal dialog is
            // open or a new key is being recorded.
            if (action && app_.isCanKeyEvent && !app_.isResetEventMonitor &&
                !QApplication::activePopupWidget())
                runHotkeyAction(*action);
        },
        [this](const std::string& error) {
            if (!error.empty())
                EMLog::showMessage("%s %d no global hotkeys in this session: %s", __func__, __LINE__,
                                   error.c_str());
            app_.setGlobalHotkeysUnavailable(!error.empty());
        });
}

void FrameDeckApp::refreshCameras() {
    QStringList names;
    for (const CameraInfo& camera : stack_->captureFactory().cameras())
        names << QString::fromStdString(camera.name);
    if (app_.selectedCamera.isEmpty() && !names.isEmpty())
        app_.selectedCamera = QString::fromStdString(stack_->captureFactory().cameras().front().device);
    window_->setCameraNames(names, names.isEmpty() ? -1 : 0);
}

void FrameDeckApp::refreshDisplays() {
    QStringList names;
    for (const RVScreen& screen : stack_->captureFactory().screens())
        names << QString::fromStdString(screen.name);
    // The main screen is chosen until the user picks another.
    displayIndex_ = 0;
    window_->setDisplayNames(names, displayIndex_);
}

void FrameDeckApp::enterFileListAction() {
    if (!fileList_) {
        fileList_ = new FileListWindowController;
        fileList_->setAttribute(Qt::WA_DeleteOnClose);
    } else {
        fileList_->setUPData();
    }
    fileList_->show();
    fileList_->raise();
    fileList_->activateWindow();
}

bool FrameDeckApp::eventFilter(QObject* watched, QEvent* event) {
    if (watched == window_.get() && event->type() == QEvent::Close &&
        !QSystemTrayIcon::isSystemTrayAvailable())
        QMetaObject::invokeMethod(this, &FrameDeckApp::quit, Qt::QueuedConnection);
    return QObject::eventFilter(watched, event);
}

void FrameDeckApp::quit() {
    EMLog::showMessage("%s %d", __func__, __LINE__);
    quitting_ = true;
    if (stack_->recordManager().status != RecordingStatus::Idle)
        app_.recordScreenClicked();
    stack_->recordManager().captrueVideoInputEnable(false);
    stack_->recordManager().captrueAudioInputEnable(false);
    cameraWindow_.reset();
    stack_->destroyDevicesAtQuit();
    app_.settings().synchronize();
    QApplication::quit();
}
