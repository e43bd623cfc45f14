#include "FrameDeckApp.h"

#include "app/AppDelegate.h"
#include "core/EMLog.h"
#include "engine/EncodeManager.h"
#include "engine/controller/RecordRequest.h"
#include "overlays/RecordingDecorations.h"
#include "selection/RVClipScreenManager.h"
#include "selection/ScreenshotStore.h"
#include "widgets/Alerts.h"
#include "widgets/FileListWindowController.h"
#include "widgets/MainWindow.h"
#include "widgets/StatusItem.h"

#include <QApplication>
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

FrameDeckApp::FrameDeckApp(AppDelegate& app) : app_(app) {
    // The text kind draws its text as a picture, rendered once here and again
    // whenever the text or its style changes.
    WatermarkModel watermark = loadWatermarkModel(app_, app_.settings());
    if (watermark.watermarkType == 0)
        watermark.watermarkImage = watermark.saveImageWithText(watermark.watermarkTextString);
    watermark_.setModel(watermark);
    watermark_.setPlacement(readWatermarkPlacement(app_.settings()));
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
    actions.showDoodleToolAction = [] {
        EMLog::showMessage("drawing tools are not available yet");
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
    connectWindow();
    refreshDisplays();
    refreshCameras();
    progressTimer_.setInterval(1000);
    connect(&progressTimer_, &QTimer::timeout, this, &FrameDeckApp::onProgressTick);
}

FrameDeckApp::~FrameDeckApp() {
    delete fileList_;
    progressTimer_.stop();
    if (recordManager_ && recordManager_->status != 0)
        recordManager_->stopRecording();
    if (recordManager_) {
        recordManager_->captrueVideoInputEnable(false);
        recordManager_->captrueAudioInputEnable(false);
    }
    cameraWindow_.reset();
    if (routing_)
        routing_->destroyDevicesAtQuit();
}

void FrameDeckApp::buildEngine() {
    soundServer_ = std::make_unique<PulseSoundServer>();
    RVAudioRouting::Hooks routingHooks;
    routingHooks.schedule = [this](std::chrono::milliseconds delay, RVAudioRouting::Task task) {
        QTimer::singleShot(delay, this, std::move(task));
    };
    routingHooks.showMicrophoneAlert = [this] {
        showModalAlert(window_.get(), L("Alert_Mic_Message"));
    };
    routingHooks.audioRoutingChanged = [this](unsigned kind, const std::optional<EZAudioDevice>& input) {
        routedInput_ = input;
        app_.recordAudioType = kind;
        if (recordManager_) {
            recordManager_->recordAudioType = kind;
            recordManager_->captrueAudioInputEnable(kind != 3);
        }
    };
    routing_ = std::make_unique<RVAudioRouting>(*soundServer_, routingHooks);
    routing_->init();
    soundServer_->setDevicesChangedHandler([this] {
        QMetaObject::invokeMethod(
            this, [this] { routing_->checkAudioDevice(); }, Qt::QueuedConnection);
    });

    RVRecordManager::Collaborators collaborators;
    collaborators.settings = &app_.settings();
    recordManager_ = std::make_unique<RVRecordManager>(std::move(collaborators));
    app_.setRecordManager(recordManager_.get());
    app_.hasCamera = [this] {
        return !recordManager_->captureFactory().cameras().empty();
    };

    RVAudioRoutingHooks engineRouting;
    engineRouting.prepareDevice = [this] {
        routing_->prepareDevice();
    };
    engineRouting.switchRecordType = [this](unsigned kind) {
        routedInput_ = routing_->switchRecordType(kind);
    };
    engineRouting.inputDeviceName = [this](unsigned) {
        return routedInput_ ? routedInput_->UID : std::string();
    };
    engineRouting.checkAudioDevice = [this] {
        routing_->checkAudioDevice();
    };
    recordManager_->setAudioRouting(engineRouting);

    decorations_ = std::make_unique<RecordingDecorations>(watermark_);
    FrameCompositor::Hooks compositorHooks;
    compositorHooks.appendMouseCursor = decorations_->hook();
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
    recordManager_->setCompositorHooks(compositorHooks);

    RVRecordHost host;
    host.setRecording = [this](bool recording) {
        tray_->setRecording(recording);
    };
    host.refreshStateMenuItem = [this] {
        refreshStateMenuItem();
    };
    host.isCaptrue = [this] {
        return app_.isCaptrue;
    };
    host.currentOutputPath = [this] {
        return app_.outputPath.toStdString();
    };
    host.showDuration = [this](const std::string& time, const std::string& size) {
        window_->setDurationTexts(QString::fromStdString(time), QString::fromStdString(size));
        tray_->trayIcon()->setToolTip(LF("Menu_Tray_ToolTip_Recording", {QString::fromStdString(time)}));
    };
    host.systemFreeSpace = [this] {
        return app_.systemFreeSpace().toStdString();
    };
    host.runOnMainThread = [this](std::function<void()> task) {
        QMetaObject::invokeMethod(this, std::move(task), Qt::QueuedConnection);
    };
    host.captureSessionRuntimeError = [this](const std::string& source, const std::string& message) {
        EMLog::showMessage("%s capture failed: %s", source.c_str(), message.c_str());
    };
    recordManager_->setHost(host);
    // The stored audio kind, unless it wants a microphone that is not there.
    if (app_.recordAudioType == 1 && !routing_->hasUsableMicrophone())
        app_.recordAudioType = 0;
    recordManager_->recordAudioType = app_.recordAudioType;
    recordManager_->switchRecordType(app_.recordAudioType);
    // The sound runs from launch, as it does in the level meter: a fresh
    // stream can take a couple of seconds to deliver its first samples, and
    // a recording must not lose its beginning to that.
    recordManager_->startCapture();

    selection_ = std::make_unique<SelectionSession>(app_.settings());
    connect(selection_.get(), &SelectionSession::recordingShouldStart, this,
            [this](const RegionSelection& region) {
                RecordRequest request;
                const QRect area = region.desktopRect;
                const auto screens = recordManager_->captureFactory().screens();
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
        const auto cameras = recordManager_->captureFactory().cameras();
        if (index >= 0 && index < int(cameras.size()))
            app_.selectedCamera = QString::fromStdString(cameras[index].device);
    });
    connect(w, &MainWindow::startSetsItemChangeAction, this,
            [this](int item) { app_.startSetsItemChangeAction(item); });
    connect(w, &MainWindow::countDownAction, this, [this](int seconds) { app_.countDownAction(seconds); });
    connect(w, &MainWindow::autoStopSetsAction, this, [this](int item) {
        if (item == 1)
            app_.recordScreenClicked();
    });
    connect(w, &MainWindow::screenshotClicked, this, &FrameDeckApp::screenshort);
    connect(w, &MainWindow::fileListClicked, this, &FrameDeckApp::enterFileListAction);
    connect(w, &MainWindow::languageChosen, this, [this](int language) { app_.setLange(language); });

    connect(&app_, &AppDelegate::regionSelectionRequested, this, [this] {
        SelectionSession::Options options;
        options.recordVideoType = app_.recordVideoType;
        options.isShowReverseTime = app_.isShowReverseTime;
        selection_->setOptions(options);
        recordManager_->startRecordScreen();
        selection_->readyToRecordScreen(0);
    });
    connect(&app_, &AppDelegate::recordingStarted, this, &FrameDeckApp::onRecordingStarted);
    connect(&app_, &AppDelegate::recordingPaused, this, [this](bool paused) {
        window_->setRecordingState(paused ? 2 : 1);
        paused ? selection_->pauseRecording() : selection_->resumeRecording();
        refreshStateMenuItem();
    });
    connect(&app_, &AppDelegate::recordingStopped, this, [this](const QString&) {
        startOrStopProgress(false);
        selection_->stopRecording();
        window_->setRecordingState(0);
        refreshStateMenuItem();
    });
    connect(&app_, &AppDelegate::durationTextsChanged, w, &MainWindow::setDurationTexts);
    connect(&app_, &AppDelegate::alertRequested, this,
            [this](const QString& message) { showModalAlert(window_.get(), message); });
    connect(&app_, &AppDelegate::fileListRequested, this, &FrameDeckApp::enterFileListAction);
    connect(&app_, &AppDelegate::screenshotRequested, this, &FrameDeckApp::screenshort);
    connect(&app_, &AppDelegate::quitRequested, this, &FrameDeckApp::quit, Qt::QueuedConnection);
}

void FrameDeckApp::onRecordingStarted() {
    CursorEffectFlags flags{app_.isMouseHight, app_.isMouseClickEffect, app_.isShowMouse};
    const QScreen* primary = QGuiApplication::primaryScreen();
    const QRect primaryRect = primary ? primary->geometry() : QRect();
    decorations_->prepare(flags, primaryRect, recordManager_->recordVideoType != 2);
    window_->setRecordingState(1);
    window_->setDurationTexts("00:00:00",
                              QString::asprintf("%.2f MB / %s", 0.0, qPrintable(app_.systemFreeSpace())));
    startOrStopProgress(true);
    refreshStateMenuItem();
}

void FrameDeckApp::startOrStopProgress(bool recording) {
    if (recording)
        progressTimer_.start();
    else
        progressTimer_.stop();
}

void FrameDeckApp::onProgressTick() {
    if (recordManager_->status == 0)
        return;
    recordManager_->timerDurationTimeOut();
    app_.updateRecordingProgress();
    // The stop-after choice of the pull-down.
    if (app_.autoStop_Duration > 0 &&
        AppDelegate::getNowTimeTimestamp() - app_.autoStop_StartTime >= app_.autoStop_Duration)
        app_.recordScreenClicked();
}

void FrameDeckApp::refreshStateMenuItem() {
    tray_->refreshStateMenuItem(window_->isInfoViewHidden(), recordManager_->status);
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
    const QString path = takeMainDisplayScreenshot();
    if (path.isEmpty())
        EMLog::showMessage("%s %d the screen could not be captured", __func__, __LINE__);
    else if (fileList_)
        fileList_->setUPData();
}

void FrameDeckApp::OnorOffCaptrueCamera() {
    if (!app_.isCaptrue && recordManager_->captureFactory().cameras().empty()) {
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
        RecordRequest request = app_.currentRequest();
        request.recordVideoType = 3;
        recordManager_->selectedVideoDevice = request.cameraDevice;
        recordManager_->captrueVideoInputEnable(true);
        cameraWindow_->setWindowTitle(app_.selectedCamera);
        cameraWindow_->show();
        cameraWindow_->raise();
    } else {
        recordManager_->captrueVideoInputEnable(false);
        cameraWindow_.reset();
    }
}

void FrameDeckApp::refreshCameras() {
    QStringList names;
    for (const CameraInfo& camera : recordManager_->captureFactory().cameras())
        names << QString::fromStdString(camera.name);
    if (app_.selectedCamera.isEmpty() && !names.isEmpty())
        app_.selectedCamera =
            QString::fromStdString(recordManager_->captureFactory().cameras().front().device);
    window_->setCameraNames(names, names.isEmpty() ? -1 : 0);
}

void FrameDeckApp::refreshDisplays() {
    QStringList names;
    for (const RVScreen& screen : recordManager_->captureFactory().screens())
        names << QString::fromStdString(screen.name);
    window_->setDisplayNames(names, 0);
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

void FrameDeckApp::quit() {
    EMLog::showMessage("%s %d", __func__, __LINE__);
    if (recordManager_->status != 0)
        app_.recordScreenClicked();
    recordManager_->captrueVideoInputEnable(false);
    recordManager_->captrueAudioInputEnable(false);
    cameraWindow_.reset();
    routing_->destroyDevicesAtQuit();
    app_.settings().synchronize();
    QApplication::quit();
}
