#pragma once

#include "engine/RecordRequest.h"

#include <QObject>
#include <functional>

class QAction;
class QMenu;
class QSystemTrayIcon;
class KeyValueStore;

// The tray icon and its "Menu_State" menu: start/stop, pause/resume, camera,
// screenshot, drawing tools, then show/hide of the main window and quit.
// Main thread only.
class StatusItem : public QObject {
    Q_OBJECT
public:
    struct Actions {
        std::function<void()> recordScreenClicked;
        std::function<void()> pauseOrResumeAction;
        std::function<void()> OnorOffCaptrueCamera;
        std::function<void()> screenshort;
        std::function<void()> showDoodleToolAction;
        std::function<void()> settingAction;
        std::function<void()> showHomeMainWindow;
        std::function<void()> quit;
        // True while the main window is shown ("hideMain") rather than hidden ("showMain").
        std::function<bool()> isMainWindowShown;
    };

    StatusItem(KeyValueStore& settings, Actions actions, QObject* parent = nullptr);
    ~StatusItem() override;

    // Creates the tray icon and its menu (titles, key equivalents from the
    // stored hotkey texts). Safe to call again: rebuilds the texts.
    void addStatusItem();
    // Re-assigns what the five items do. With the main window's info view
    // hidden every item is disabled. Otherwise item 0 starts/stops, item 1
    // pauses/resumes only while recording, item 2 takes a screenshot and
    // item 3 toggles the camera (the reverse of their titles: a long-standing
    // behaviour users' habits rely on), item 4 opens the drawing tools.
    void refreshStateMenuItem(bool infoViewHidden, RecordingStatus recordingStatus);
    // The tray icon follows the recording: idle, recording, paused. A stop
    // clears the pause.
    void setRecording(bool recording);
    void setPaused(bool paused);

    QMenu* menu() const { return menu_; }
    QSystemTrayIcon* trayIcon() const { return tray_; }
    // The five state items, in menu order.
    const QList<QAction*>& stateItems() const { return items_; }
    QAction* preferencesItem() const { return preferences_; }

public slots:
    void ChangeLoanguage();

private:
    void assign(int index, const std::function<void()>& action);

    KeyValueStore& settings_;
    Actions actions_;
    void showState();

    QSystemTrayIcon* tray_ = nullptr;
    bool recording_ = false;
    bool paused_ = false;
    QMenu* menu_ = nullptr;
    QList<QAction*> items_;
    QList<std::function<void()>> assigned_;
    QAction* preferences_ = nullptr;
    QAction* showHide_ = nullptr;
    QAction* quit_ = nullptr;
};
