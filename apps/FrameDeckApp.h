#pragma once

#include "engine/audio/RVAudioRouting.h"
#include "engine/controller/RVRecordManager.h"
#include "overlays/Watermark.h"
#include "platform/pulse/PulseSoundServer.h"
#include "selection/SelectionSession.h"
#include "widgets/CaptrueVideoInputWindowController.h"
#include "widgets/FileListWindowController.h"

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <memory>
#include <optional>

class AppDelegate;
class MainWindow;
class RecordingDecorations;
class StatusItem;

// The running application: builds the recording engine, the audio routing,
// the selection overlays, the decorations, the main window and the tray, and
// connects them to the application controller. Main thread only.
class FrameDeckApp : public QObject {
    Q_OBJECT
public:
    explicit FrameDeckApp(AppDelegate& app);
    ~FrameDeckApp() override;

    void show();
    MainWindow& mainWindow() { return *window_; }
    StatusItem& statusItem() { return *tray_; }
    RVRecordManager& recordManager() { return *recordManager_; }
    FileListWindowController* fileListWindow() { return fileList_; }
    SelectionSession& selection() { return *selection_; }
    CaptrueVideoInputWindowController* cameraWindow() { return cameraWindow_.get(); }

    // Opens (or raises) the recorded-file list.
    void enterFileListAction();
    // The quit routine: stop a recording, remove our audio devices, leave.
    void quit();
    // Shows the main window if hidden, hides it if shown.
    void showHomeMainWindow();
    // Brings the main window back (a second start of the application).
    void showMainWindow();

private:
    void buildEngine();
    void connectWindow();
    void startOrStopProgress(bool recording);
    void onProgressTick();
    void onRecordingStarted();
    void refreshStateMenuItem();
    void screenshort();
    void OnorOffCaptrueCamera();
    void refreshCameras();
    void refreshDisplays();

    AppDelegate& app_;
    WatermarkState watermark_;
    std::unique_ptr<PulseSoundServer> soundServer_;
    std::unique_ptr<RVAudioRouting> routing_;
    std::optional<EZAudioDevice> routedInput_;
    std::unique_ptr<RVRecordManager> recordManager_;
    std::unique_ptr<RecordingDecorations> decorations_;
    std::unique_ptr<SelectionSession> selection_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<StatusItem> tray_;
    QPointer<FileListWindowController> fileList_;
    std::unique_ptr<CaptrueVideoInputWindowController> cameraWindow_;
    QTimer progressTimer_;
    QTimer deviceTimer_;
};
