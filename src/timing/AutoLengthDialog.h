#pragma once

#include "timing/TimedDialog.h"

class QButtonGroup;
class QCheckBox;
class QGridLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

// The frame the auto-stop and auto-split dialogs share: a check box that
// switches everything below it on or off; "by length" with a seconds field
// or "by size" with a megabytes field, each radio enabling only its own
// field; "next recording only" or "every recording"; Cancel and OK. What is
// read at opening and stored at OK belongs to the subclasses.
//
// Main thread only.
class AutoLengthDialog : public TimedDialog {
    Q_OBJECT
public:
    enum Tag {
        EnabledBox = 100,
        ByTime = 1,
        TimeField = 1000,
        BySize = 2,
        SizeField = 2000,
        Once = 200,
        EveryTime = 300,
    };

    // Stores the choices, then closes.
    virtual void okBtnAction() = 0;
    // Closes, storing nothing.
    void cancelBtnAction();

    void ChangeLoanguage() override;

    QPushButton* okBtn = nullptr;
    QPushButton* cancelBtn = nullptr;

protected:
    struct TextKeys {
        const char* title;
        const char* enabled;
        const char* byTime;
        const char* seconds;
        const char* bySize;
        const char* megabytes;
        const char* once;
        const char* everyTime;
    };
    AutoLengthDialog(AppDelegate& app, const TextKeys& keys, QWidget* parent);

    // Enables the controls below the check box as it and the radios say.
    void updateEnabled();
    // Adds a row under the once / every-time pair that the check box
    // switches along with the rest.
    void addDependentRow(QLabel* label, QWidget* control);

    QCheckBox* enabledBox_ = nullptr;
    QRadioButton* byTime_ = nullptr;
    QRadioButton* bySize_ = nullptr;
    QLineEdit* timeField_ = nullptr;
    QLineEdit* sizeField_ = nullptr;
    QRadioButton* once_ = nullptr;
    QRadioButton* everyTime_ = nullptr;

private:
    QLineEdit* makeLengthField(int tag);

    TextKeys keys_;
    QGridLayout* grid_ = nullptr;
    QLabel* secondsLabel_ = nullptr;
    QLabel* megabytesLabel_ = nullptr;
    QList<QWidget*> dependents_;
};
