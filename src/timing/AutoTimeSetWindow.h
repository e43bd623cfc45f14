#pragma once

#include "timing/AutoLengthDialog.h"

class QComboBox;

// The auto-stop dialog: stop a recording once it is this many seconds long
// or its file this many megabytes, for the next recording or every one,
// then do nothing or quit. Opens on the controller's properties; OK stores
// them in the controller and the settings ("AutoStop_…", "IsAutoStop").
//
// Main thread only.
class AutoTimeSetWindow : public AutoLengthDialog {
    Q_OBJECT
public:
    explicit AutoTimeSetWindow(AppDelegate& app, QWidget* parent = nullptr);

    // The check box changed: the rest follows it.
    void autoStopRecordBtnChange();
    void okBtnAction() override;
    void ChangeLoanguage() override;

    // What happens after an automatic stop; item data is finshpopIndex
    // (1 do nothing, 2 quit).
    QComboBox* finshpopBtn = nullptr;

private:
    QLabel* completeLabel_ = nullptr;
};
