#pragma once

#include <QDialog>

class AppDelegate;
class QLineEdit;

// What the timed-recording dialogs (duration limit, auto stop, auto split)
// have in common: modal, built in code, every control carrying an integer
// tag ("tag" property) so callers and tests find it by number, the hotkeys
// switched off while the dialog is on screen, centred on the primary
// screen, and every text re-read when the language changes.
//
// Main thread only.
class TimedDialog : public QDialog {
    Q_OBJECT
public:
    ~TimedDialog() override;

    // The control carrying `tag`, or null.
    QWidget* control(int tag) const;

public slots:
    // Re-reads every text from the language tables (the application-wide
    // language notification calls it too).
    virtual void ChangeLoanguage() = 0;

protected:
    TimedDialog(AppDelegate& app, QWidget* parent);

    template <class W> static W* tagged(W* widget, int tag) {
        widget->setProperty("tag", tag);
        return widget;
    }

    // Hotkeys off from the moment the dialog shows until it hides, however
    // it closes (OK, Cancel, Escape, the window's close button): a hotkey
    // that started a recording behind a modal dialog would leave the
    // dialog's choices half applied.
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

    AppDelegate& app_;
};

// A line edit sized for `digits` digits of the current font, text centred.
QLineEdit* makeNumberField(QWidget* parent, int digits);
