#pragma once

#include "overlays/Hotkeys.h"
#include "preferences/PreferencesTabs.h"

#include <QList>

class QKeyEvent;
class QPushButton;

// The five hotkeys, each with the text of its key, and a button to record a
// new key for the four that can change (the drawing tools keep theirs).
//
// While a row records, key events of the whole application come here first
// (the window's local key monitors): a held modifier and a key make the new
// shortcut. The global hotkeys rest meanwhile (`isResetEventMonitor`) until
// the window closes. Main thread only.
class ShortcutsTab : public PreferencesTab {
    Q_OBJECT
public:
    ShortcutsTab(AppDelegate& app, QWidget* parent = nullptr);
    ~ShortcutsTab() override;

    void reload() override;
    void ChangeLoanguage() override;

    // resetEventAction: the set button of the row with `tag` (100...400).
    void resetEventAction(int tag);
    // The window closes: stop recording, hotkeys back on.
    void windowShouldClose();

    // The button showing the key of action `index` (kHotkeyBindings order).
    QPushButton* keyButton(int index) const { return keyButtons_.value(index); }
    QPushButton* setButton(int index) const { return setButtons_.value(index); }
    const ShortcutRecorder& recorder() const { return recorder_; }
    // Shown while the session has no global hotkeys (a Wayland desktop
    // without the GlobalShortcuts portal).
    class QLabel* unavailableNotice() const {
        return notice_;
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void stopMonitors();
    bool handleKeyPress(const QKeyEvent& event);
    bool handleKeyRelease(const QKeyEvent& event);

    AppDelegate& app_;
    ShortcutRecorder recorder_;
    // The row being recorded (selectEventBtn), or null.
    QPushButton* selectEventBtn = nullptr;
    bool monitoring_ = false;
    QList<class QLabel*> names_;
    QList<QPushButton*> keyButtons_;
    QList<QPushButton*> setButtons_;
    class QLabel* hint_;
    class QLabel* notice_;
};
