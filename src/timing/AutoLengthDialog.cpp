#include "timing/AutoLengthDialog.h"

#include "app/LanguageManager.h"
#include "timing/TimedRules.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {

// Seconds and megabytes both run to a few days or gigabytes: room for 7
// digits keeps any sensible value in view.
constexpr int kLengthDigits = 7;
// Grid columns below the check box.
enum Column { kChoice = 0, kField = 1, kUnit = 2, kColumns = 3 };
// The rows the check box governs are indented under it, like a sub-list.
constexpr int kIndent = 22;

} // namespace

AutoLengthDialog::AutoLengthDialog(AppDelegate& app, const TextKeys& keys, QWidget* parent)
    : TimedDialog(app, parent), keys_(keys) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(22, 18, 22, 16);
    column->setSpacing(10);
    column->setSizeConstraint(QLayout::SetFixedSize);

    enabledBox_ = tagged(new QCheckBox(this), EnabledBox);
    QFont bold = enabledBox_->font();
    bold.setWeight(QFont::DemiBold);
    enabledBox_->setFont(bold);
    column->addWidget(enabledBox_);

    grid_ = new QGridLayout;
    grid_->setContentsMargins(kIndent, 0, 0, 0);
    grid_->setHorizontalSpacing(8);
    grid_->setVerticalSpacing(8);
    grid_->setColumnStretch(kUnit, 1);
    byTime_ = tagged(new QRadioButton(this), ByTime);
    bySize_ = tagged(new QRadioButton(this), BySize);
    timeField_ = makeLengthField(TimeField);
    sizeField_ = makeLengthField(SizeField);
    secondsLabel_ = new QLabel(this);
    megabytesLabel_ = new QLabel(this);
    grid_->addWidget(byTime_, 0, kChoice);
    grid_->addWidget(timeField_, 0, kField);
    grid_->addWidget(secondsLabel_, 0, kUnit);
    grid_->addWidget(bySize_, 1, kChoice);
    grid_->addWidget(sizeField_, 1, kField);
    grid_->addWidget(megabytesLabel_, 1, kUnit);
    auto* kinds = new QButtonGroup(this);
    kinds->addButton(byTime_, ByTime);
    kinds->addButton(bySize_, BySize);

    once_ = tagged(new QRadioButton(this), Once);
    everyTime_ = tagged(new QRadioButton(this), EveryTime);
    auto* pair = new QHBoxLayout;
    pair->setSpacing(18);
    pair->addWidget(once_);
    pair->addWidget(everyTime_);
    pair->addStretch(1);
    grid_->addLayout(pair, 2, kChoice, 1, kColumns);
    auto* repeats = new QButtonGroup(this);
    repeats->addButton(once_, Once);
    repeats->addButton(everyTime_, EveryTime);
    column->addLayout(grid_);

    auto* buttons = new QDialogButtonBox(this);
    okBtn = new QPushButton(this);
    cancelBtn = new QPushButton(this);
    okBtn->setDefault(true);
    buttons->addButton(okBtn, QDialogButtonBox::AcceptRole);
    buttons->addButton(cancelBtn, QDialogButtonBox::RejectRole);
    column->addSpacing(4);
    column->addWidget(buttons);

    connect(kinds, &QButtonGroup::idToggled, this, &AutoLengthDialog::updateEnabled);
    connect(okBtn, &QPushButton::clicked, this, &AutoLengthDialog::okBtnAction);
    connect(cancelBtn, &QPushButton::clicked, this, &AutoLengthDialog::cancelBtnAction);
}

QLineEdit* AutoLengthDialog::makeLengthField(int tag) {
    QLineEdit* field = tagged(makeNumberField(this, kLengthDigits), tag);
    field->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(field, &QLineEdit::textEdited, this, [field](const QString& text) {
        const QString kept = TimedRules::lengthFieldAfterEdit(text);
        if (kept != text)
            field->setText(kept);
    });
    return field;
}

void AutoLengthDialog::addDependentRow(QLabel* label, QWidget* control) {
    const int row = grid_->rowCount();
    auto* line = new QHBoxLayout;
    line->setSpacing(8);
    line->addWidget(label);
    line->addWidget(control);
    line->addStretch(1);
    grid_->addLayout(line, row, kChoice, 1, kColumns);
    dependents_ << label << control;
}

void AutoLengthDialog::updateEnabled() {
    const bool on = enabledBox_->isChecked();
    const QList<QWidget*> governed{byTime_, bySize_, secondsLabel_, megabytesLabel_, once_, everyTime_};
    for (QWidget* w : governed + dependents_)
        w->setEnabled(on);
    timeField_->setEnabled(on && byTime_->isChecked());
    sizeField_->setEnabled(on && bySize_->isChecked());
}

void AutoLengthDialog::cancelBtnAction() {
    reject();
}

void AutoLengthDialog::ChangeLoanguage() {
    setWindowTitle(L(keys_.title));
    enabledBox_->setText(L(keys_.enabled));
    byTime_->setText(L(keys_.byTime));
    secondsLabel_->setText(L(keys_.seconds));
    bySize_->setText(L(keys_.bySize));
    megabytesLabel_->setText(L(keys_.megabytes));
    once_->setText(L(keys_.once));
    everyTime_->setText(L(keys_.everyTime));
    okBtn->setText(L("btnOK"));
    cancelBtn->setText(L("btnCancel"));
}
