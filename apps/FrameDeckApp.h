#pragma once

#include "annotation/DrawSettingsWindowController.h"
#include "engine/controller/RVRecordManager.h"
#include "overlays/Hotkeys.h"
#include "platform/x11input/KeyListener.h"
#include "preferences/PreferencesWindow.h"
#include "selection/SelectionSession.h"
#include "stack/RecordingStack.h"
#include "widgets/CaptrueVideoInputWindowController.h"
#include "widgets/FileListWindowController.h"

#include <QDialog>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <memory>

class AppDelegate;
class MainWindow;
class StatusItem;

// The running application: builds the recording stack (src/stack), the
// selection overlays, the main window and the tray, and connects them to the
// application controller. Main thread only.
class FrameDeckApp : public QObject {
    Q_OBJECT
public:
    explicit FrameDeckApp(AppDelegate& app);
    ~FrameDeckApp() override;

    void show();
    MainWindow& mainWindow() { return *window_; }
    StatusItem& statusItem() { return *tray_; }
    RVRecordManager& recordManager() { return stack_->recordManager(); }
    FileListWindowController* fileListWindow() { return fileList_; }
    SelectionSession& selection() { return *selection_; }
    CaptrueVideoInputWindowController* cameraWindow() { return cameraWindow_.get(); }
    // The open timed-recording dialog (duration limit, auto stop or auto
    // split), if any.
    QDialog* timedDialog() const { return timedDialog_; }
    // The preferences window, once opened.
    PreferencesWindow* preferencesWindow() const { return preferences_.get(); }
    // The drawing toolbar, once opened.
    DrawSettingsWindowController* drawTools() const { return drawTools_.get(); }
    // The settings button and the tray's "Preferences…": opens the
    // preferences window or brings it to the front.
    void settingAction();

    // Opens (or raises) the recorded-file list.
    void enterFileListAction();
    // The quit routine: stop a recording, remove our audio devices, leave.
    void quit();
    bool isQuitting() const { return quitting_; }
    // Shows the main window if hidden, hides it if shown.
    void showHomeMainWindow();
    // Brings the main window back (a second start of the application).
    void showMainWindow();

protected:
    // The main window closing: with a tray icon FrameDeck stays in the tray;
    // without one there is no way back, so it quits.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildEngine();
    void connectWindow();
    void startOrStopProgress(bool recording);
    void onProgressTick();
    void onRecordingStarted();
    void refreshStateMenuItem();
    void screenshort();
    void OnorOffCaptrueCamera();
    void showDoodleToolAction();
    // A key pressed anywhere on the desktop (main thread): runs the hotkeys
    // stored for its code.
    void handleHotkey(uint16_t keyCode);
    void runHotkeyAction(HotkeyAction action);
    // Wayland: the hotkeys through the desktop's shortcuts portal, where it
    // offers one; otherwise the shortcuts tab says they are unavailable.
    void bindDesktopHotkeys();
    void refreshCameras();
    void refreshDisplays();
    void showTimedDialog(QDialog* dialog);

    AppDelegate& app_;
    std::unique_ptr<RecordingStack> stack_;
    std::unique_ptr<SelectionSession> selection_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<StatusItem> tray_;
    QPointer<FileListWindowController> fileList_;
    QPointer<QDialog> timedDialog_;
    std::unique_ptr<CaptrueVideoInputWindowController> cameraWindow_;
    std::unique_ptr<PreferencesWindow> preferences_;
    std::unique_ptr<DrawSettingsWindowController> drawTools_;
    QTimer progressTimer_;
    bool quitting_ = false;
    bool soundLossTold_ = false; // once per recording
    // The display pop-up's choice: index into the capture factory's screens.
    int displayIndex_ = 0;
    // Desktop-wide key presses for the hotkeys; started at launch.
    x11input::KeyListener keyListener_;
    std::unique_ptr<PlatformLoader::PortalHotkeys> portalHotkeys_;
};
