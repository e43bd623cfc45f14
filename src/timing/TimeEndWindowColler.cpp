#include "timing/TimeEndWindowColler.h"

#include "app/AppDelegate.h"
#include "core/EMLog.h"
#include "engine/RecordRequest.h"
#include "timing/TimedRules.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {

constexpr long long kHalfHour = 30 * 60;
constexpr long long kHour = 60 * 60;
const char* const kItemKeys[] = {"TM_NoTime", "TM_30MinTime", "TM_60MinTime", "TM_CustonTime"};
const QString kZero = QStringLiteral("00");

} // namespace

TimeEndWindowColler::TimeEndWindowColler(AppDelegate& app, QWidget* parent) : TimedDialog(app, parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(22, 18, 22, 16);
    column->setSpacing(10);
    column->setSizeConstraint(QLayout::SetFixedSize);
    messageLabel_ = new QLabel(this);
    QFont bold = messageLabel_->font();
    bold.setWeight(QFont::DemiBold);
    messageLabel_->setFont(bold);
    column->addWidget(messageLabel_);

    items_ = new QButtonGroup(this);
    auto* choices = new QVBoxLayout;
    choices->setContentsMargins(12, 0, 0, 0);
    choices->setSpacing(8);
    for (int tag = NoTime; tag <= CustonTime; ++tag)
        items_->addButton(tagged(new QRadioButton(this), tag), tag);
    for (int tag = NoTime; tag < CustonTime; ++tag)
        choices->addWidget(items_->button(tag));

    auto* custom = new QHBoxLayout;
    custom->setSpacing(6);
    custom->addWidget(items_->button(CustonTime));
    custom->addSpacing(4);
    hourTime = makeField(this);
    minTime = makeField(this);
    secTime = makeField(this);
    hourLabel_ = new QLabel(this);
    minuteLabel_ = new QLabel(this);
    secondLabel_ = new QLabel(this);
    custom->addWidget(hourTime);
    custom->addWidget(hourLabel_);
    custom->addSpacing(4);
    custom->addWidget(minTime);
    custom->addWidget(minuteLabel_);
    custom->addSpacing(4);
    custom->addWidget(secTime);
    custom->addWidget(secondLabel_);
    custom->addStretch(1);
    choices->addLayout(custom);
    column->addLayout(choices);

    okBtn = new QPushButton(this);
    okBtn->setDefault(true);
    okBtn->setMinimumWidth(88);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(okBtn);
    column->addSpacing(4);
    column->addLayout(buttons);

    setTabOrder(hourTime, minTime);
    setTabOrder(minTime, secTime);
    setTabOrder(secTime, okBtn);
    connect(items_, &QButtonGroup::idClicked, this, &TimeEndWindowColler::itemChangeAction);
    connect(okBtn, &QPushButton::clicked, this, &TimeEndWindowColler::okBtnAction);

    const int type = items_->button(app.endTimeType) ? app.endTimeType : NoTime;
    items_->button(type)->setChecked(true);
    const bool isCustom = type == CustonTime;
    if (isCustom) {
        const TimedRules::HourMinuteSecond parts = TimedRules::splitDuration(app.recordEndTimeDuration);
        hourTime->setText(TimedRules::twoDigits(parts.hours));
        minTime->setText(TimedRules::twoDigits(parts.minutes));
        secTime->setText(TimedRules::twoDigits(parts.seconds));
    }
    for (QLineEdit* field : {hourTime, minTime, secTime})
        field->setEnabled(isCustom);
    ChangeLoanguage();
}

QLineEdit* TimeEndWindowColler::makeField(QWidget* parent) {
    QLineEdit* field = makeNumberField(parent, 2);
    field->setMaxLength(2);
    field->setText(kZero);
    connect(field, &QLineEdit::textEdited, this, [field](const QString& text) {
        const QString kept = TimedRules::durationWhileTyping(text);
        if (kept == text)
            return;
        field->setText(kept);
        // An emptied field shows "00" selected, so the next digit replaces it.
        if (kept == kZero)
            field->selectAll();
    });
    connect(field, &QLineEdit::editingFinished, this,
            [field] { field->setText(TimedRules::durationWhenEditingEnds(field->text())); });
    field->installEventFilter(this);
    return field;
}

void TimeEndWindowColler::ChangeLoanguage() {
    setWindowTitle(L("TM_MessageLabel_Title"));
    const bool audioOnly = recordVideoTypeFromInt(app_.recordVideoType) == RecordVideoType::AudioOnly;
    messageLabel_->setText(L(audioOnly ? "TM_MessageLabel_Audio" : "TM_MessageLabel_Video"));
    for (int tag = NoTime; tag <= CustonTime; ++tag)
        items_->button(tag)->setText(L(kItemKeys[tag]));
    hourLabel_->setText(L("TM_Hour"));
    minuteLabel_->setText(L("TM_Minute"));
    secondLabel_->setText(L("TM_Second"));
    okBtn->setText(L("TM_OK"));
}

void TimeEndWindowColler::itemChangeAction(int tag) {
    QAbstractButton* item = items_->button(tag);
    if (!item)
        return;
    app_.endTimeType = tag;
    item->setChecked(true);
    const bool custom = tag == CustonTime;
    for (QLineEdit* field : {hourTime, minTime, secTime}) {
        field->setEnabled(custom);
        if (!custom)
            field->setText(kZero);
    }
    if (custom) {
        hourTime->setFocus();
        hourTime->selectAll();
    }
}

void TimeEndWindowColler::textBecomeAction(QLineEdit* field) {
    QLineEdit* next = field == hourTime ? minTime : field == minTime ? secTime : nullptr;
    if (!next)
        return;
    next->setFocus(Qt::TabFocusReason);
    next->selectAll();
}

bool TimeEndWindowColler::eventFilter(QObject* watched, QEvent* event) {
    // Enter in the hours or minutes moves on instead of pressing OK; in the
    // seconds it falls through to the dialog, where it presses OK.
    if (event->type() == QEvent::KeyPress && (watched == hourTime || watched == minTime)) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            auto* field = static_cast<QLineEdit*>(watched);
            field->setText(TimedRules::durationWhenEditingEnds(field->text()));
            textBecomeAction(field);
            return true;
        }
    }
    return TimedDialog::eventFilter(watched, event);
}

long long TimeEndWindowColler::customSeconds() const {
    // Read through the end-of-editing rule: OK may come before the field
    // being typed in has finished editing.
    auto part = [](const QLineEdit* field) {
        return TimedRules::integerValue(TimedRules::durationWhenEditingEnds(field->text()));
    };
    return part(hourTime) * kHour + part(minTime) * 60 + part(secTime);
}

void TimeEndWindowColler::okBtnAction() {
    accept();
    long long value = 0;
    switch (items_->checkedId()) {
    case Min30Time:
        value = kHalfHour;
        break;
    case Min60Time:
        value = kHour;
        break;
    case CustonTime:
        value = customSeconds();
        break;
    default:
        break;
    }
    app_.recordEndTimeDuration = value;
    if (value == 0)
        itemChangeAction(NoTime);
    EMLog::showMessage("定时：%lf", static_cast<double>(value));
}
