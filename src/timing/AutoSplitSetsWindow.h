#pragma once

#include "timing/AutoLengthDialog.h"

class EncodeManager;

// The auto-split dialog: start a new file every so many seconds or
// megabytes, for the next recording or every one. The lengths live in the
// encoder session (it hands them to the encoder at each start); the choice
// of kind lives in "SplitType" (0 off, 1 by length, 2 by size), which the
// session reads when a recording starts.
//
// Main thread only.
class AutoSplitSetsWindow : public AutoLengthDialog {
    Q_OBJECT
public:
    AutoSplitSetsWindow(AppDelegate& app, EncodeManager& session, QWidget* parent = nullptr);

    // The check box changed: the rest follows it.
    void autoSplitRecordBtnChange();
    void okBtnAction() override;

private:
    EncodeManager& session_;
};
