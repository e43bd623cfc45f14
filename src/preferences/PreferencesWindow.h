#pragma once

#include <QWidget>

class AppDelegate;
class EncodeManager;
class GeneralTab;
class MouseTab;
class PreferencesTab;
class QTabWidget;
class ScreenRecordingTab;
class CameraTab;
class ShortcutsTab;
class WatermarkState;
class WatermarkTab;

// The preferences window (the settings button, the tray's "Preferences…"):
// tabs general, mouse, shortcuts, watermark, screen recording and camera.
// Each control writes its setting as soon as it changes; there is no OK.
//
// Closing it ends a shortcut recording, gives the hotkeys back and renders
// the text watermark from its field. Main thread only.
class PreferencesWindow : public QWidget {
    Q_OBJECT
public:
    enum Tab { General, Mouse, Shortcuts, Watermark, ScreenRecording, Camera };

    PreferencesWindow(AppDelegate& app, WatermarkState& watermark, EncodeManager& session,
                      QWidget* parent = nullptr);
    ~PreferencesWindow() override;

    QTabWidget* tabs() const { return tabs_; }
    ShortcutsTab* shortcutsTab() const { return shortcuts_; }
    WatermarkTab* watermarkTab() const { return watermark_; }
    // Shows the window (or brings it to the front), every control re-read.
    void present();

public slots:
    void ChangeLoanguage();

signals:
    // A choice the main window also offers changed here.
    void choicesChanged();

protected:
    // windowShouldClose.
    void closeEvent(class QCloseEvent* event) override;

private:
    void addTab(PreferencesTab* tab);

    AppDelegate& app_;
    QTabWidget* tabs_;
    QList<PreferencesTab*> pages_;
    ShortcutsTab* shortcuts_ = nullptr;
    WatermarkTab* watermark_ = nullptr;
};
