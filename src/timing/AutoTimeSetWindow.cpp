#include "timing/AutoTimeSetWindow.h"

#include "app/AppDelegate.h"
#include "app/SettingsSchema.h"
#include "timing/TimedRules.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>

namespace {

namespace S = SettingsKeys;

// finshpopIndex values, as the controller acts on them after a stop.
constexpr int kFinishDoNothing = 1;
constexpr int kFinishQuit = 2;

} // namespace

AutoTimeSetWindow::AutoTimeSetWindow(AppDelegate& app, QWidget* parent)
    : AutoLengthDialog(app,
                       {"Title", "lblEnabledAutoStop", "lblFileSizeSetTime", "lblSecond",
                        "lblFileSizeSetSizeNum", "lblMB", "lblStopSettingOnce", "lblStopSettingEveryTime"},
                       parent) {
    completeLabel_ = new QLabel(this);
    finshpopBtn = new QComboBox(this);
    finshpopBtn->addItem(QString(), kFinishDoNothing);
    finshpopBtn->addItem(QString(), kFinishQuit);
    finshpopBtn->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    addDependentRow(completeLabel_, finshpopBtn);

    enabledBox_->setChecked(app.isAutoStop);
    (app.isRecordEndSizeType ? bySize_ : byTime_)->setChecked(true);
    timeField_->setText(QString::number(app.recordEndTimeDuration));
    sizeField_->setText(QString::number(app.recordEndFileSize));
    (app.everyTime ? everyTime_ : once_)->setChecked(true);
    const int finish = finshpopBtn->findData(static_cast<int>(app.finshpopIndex));
    finshpopBtn->setCurrentIndex(finish >= 0 ? finish : 0);
    connect(enabledBox_, &QCheckBox::toggled, this, &AutoTimeSetWindow::autoStopRecordBtnChange);
    updateEnabled();
    ChangeLoanguage();
}

void AutoTimeSetWindow::autoStopRecordBtnChange() {
    updateEnabled();
}

void AutoTimeSetWindow::ChangeLoanguage() {
    AutoLengthDialog::ChangeLoanguage();
    completeLabel_->setText(L("lbComplete1"));
    finshpopBtn->setItemText(0, L("chCtrl1"));
    finshpopBtn->setItemText(1, L("chCtrl4"));
}

void AutoTimeSetWindow::okBtnAction() {
    SettingsStore& store = app_.settings();
    if (!enabledBox_->isChecked()) {
        app_.everyTime = false;
        app_.autoStop_withTime = false;
        app_.isAutoStop = false;
        store.setBool(S::AutoStopEveryTime, false);
        store.setBool(S::IsAutoStop, false);
        accept();
        return;
    }
    app_.isAutoStopOnce = once_->isChecked();
    app_.recordEndTimeDuration = TimedRules::integerValue(timeField_->text());
    app_.recordEndFileSize = TimedRules::integerValue(sizeField_->text());
    app_.everyTime = everyTime_->isChecked();
    app_.isRecordEndSizeType = bySize_->isChecked();
    app_.finshpopIndex = finshpopBtn->currentData().toLongLong();
    store.setDouble(S::AutoStopTime, static_cast<double>(app_.recordEndTimeDuration));
    store.setDouble(S::AutoStopFileSize, static_cast<double>(app_.recordEndFileSize));
    store.setBool(S::AutoStopType, app_.isRecordEndSizeType);
    store.setInteger(S::AutoStopFinshIndex, app_.finshpopIndex);
    store.setBool(S::AutoStopEveryTime, app_.everyTime);
    store.setBool(S::IsAutoStop, true);
    app_.autoStop_withTime = true;
    // Armed at once, so that "record now, then set auto stop" stops the
    // recording already running (each start also reads "IsAutoStop" again).
    app_.isAutoStop = true;
    accept();
}
