#pragma once

#include "timing/TimedDialog.h"

class QButtonGroup;
class QLabel;
class QLineEdit;
class QPushButton;

// The duration-limit dialog: no limit, 30 minutes, 60 minutes or a custom
// h:m:s. OK stores the limit in the controller's recordEndTimeDuration
// (seconds, 0 = none); radio choices set endTimeType as they are made.
// Nothing is written to the settings: the limit lasts until the
// application quits.
//
// Main thread only.
class TimeEndWindowColler : public TimedDialog {
    Q_OBJECT
public:
    // Radio tags; endTimeType holds the same numbers.
    enum Item { NoTime = 0, Min30Time = 1, Min60Time = 2, CustonTime = 3 };

    // Shows endTimeType's choice; a custom limit shows its h, m and s.
    explicit TimeEndWindowColler(AppDelegate& app, QWidget* parent = nullptr);

    // Chooses the radio of `tag` and stores it in endTimeType. Only the custom
    // choice edits the fields (and focuses the hours); the others set them
    // back to "00".
    void itemChangeAction(int tag);
    // Enter in a field: hours go on to minutes, minutes to seconds.
    void textBecomeAction(QLineEdit* field);
    // Closes and stores the limit. A limit of 0 selects "no limit" again.
    void okBtnAction();

    void ChangeLoanguage() override;

    QLineEdit* hourTime = nullptr;
    QLineEdit* minTime = nullptr;
    QLineEdit* secTime = nullptr;
    QPushButton* okBtn = nullptr;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QLineEdit* makeField(QWidget* parent);
    long long customSeconds() const;

    QButtonGroup* items_ = nullptr;
    QLabel* messageLabel_ = nullptr;
    QLabel* hourLabel_ = nullptr;
    QLabel* minuteLabel_ = nullptr;
    QLabel* secondLabel_ = nullptr;
};
