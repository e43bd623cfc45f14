#include "timing/AutoSplitSetsWindow.h"

#include "app/AppDelegate.h"
#include "app/SettingsSchema.h"
#include "engine/EncodeManager.h"
#include "timing/TimedRules.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QRadioButton>
#include <algorithm>
#include <cstdint>

namespace {

namespace S = SettingsKeys;

// "SplitType" values, as the encoder session reads them.
constexpr long long kSplitOff = 0;
constexpr long long kSplitByTime = 1;
constexpr long long kSplitBySize = 2;

// The session keeps 32-bit lengths; a longer number typed in saturates.
int32_t sessionLength(const QString& text) {
    return static_cast<int32_t>(std::clamp<long long>(TimedRules::integerValue(text), INT32_MIN, INT32_MAX));
}

} // namespace

AutoSplitSetsWindow::AutoSplitSetsWindow(AppDelegate& app, EncodeManager& session, QWidget* parent)
    : AutoLengthDialog(app,
                       {"Auto_Title", "lblEnabledAutoSplit", "lblSplitByTime", "Auto_lblSecond",
                        "lblSplitBySize", "Auto_lblMB", "Auto_lblStopSettingOnce",
                        "Auto_lblStopSettingEveryTime"},
                       parent),
      session_(session) {
    const SettingsStore& store = app.settings();
    timeField_->setText(QString::number(session.splitTime));
    sizeField_->setText(QString::number(session.splitSize));
    const long long type = store.integerForKey(S::SplitType);
    enabledBox_->setChecked(type != kSplitOff);
    if (type == kSplitByTime)
        byTime_->setChecked(true);
    else if (type == kSplitBySize)
        bySize_->setChecked(true);
    (store.boolForKey(S::SplitAlway) ? everyTime_ : once_)->setChecked(true);
    connect(enabledBox_, &QCheckBox::toggled, this, &AutoSplitSetsWindow::autoSplitRecordBtnChange);
    updateEnabled();
    ChangeLoanguage();
}

void AutoSplitSetsWindow::autoSplitRecordBtnChange() {
    updateEnabled();
}

void AutoSplitSetsWindow::okBtnAction() {
    SettingsStore& store = app_.settings();
    if (!enabledBox_->isChecked()) {
        store.setInteger(S::SplitType, kSplitOff);
        accept();
        return;
    }
    app_.isAutoSplitOnce = once_->isChecked();
    session_.setSplitTime(sessionLength(timeField_->text()));
    session_.setSplitSize(sessionLength(sizeField_->text()));
    const long long type = byTime_->isChecked()   ? kSplitByTime
                           : bySize_->isChecked() ? kSplitBySize
                                                  : kSplitOff;
    store.setInteger(S::SplitType, type);
    store.setInteger(S::SplitTime, session_.splitTime);
    store.setInteger(S::SplitSize, session_.splitSize);
    store.setBool(S::SplitAlway, everyTime_->isChecked());
    accept();
}
