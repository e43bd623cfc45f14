#include "preferences/ShortcutsTab.h"

#include "app/AppDelegate.h"
#include "core/EMLog.h"
#include "platform/x11input/VirtualKeyCodes.h"

#include <QApplication>
#include <QGridLayout>
#include <QKeyEvent>
#include <QKeySequence>
#include <QLabel>
#include <QPushButton>

namespace {

// Rows are shown in the tray menu's order: start, pause, camera,
// screenshot, drawing tools.
constexpr int kRowOrder[] = {0, 3, 2, 4, 1};

// The virtual code of a key event. X11 and Wayland hand Qt the keysym as
// the native key; where a platform gives none (offscreen), a Latin-1 Qt key
// is its own keysym.
std::optional<uint16_t> virtualCodeOf(const QKeyEvent& event) {
    if (event.nativeVirtualKey() != 0)
        if (auto code = x11input::virtualKeyCodeFromKeysym(event.nativeVirtualKey()))
            return code;
    if (event.key() > 0 && event.key() <= 0xff)
        return x11input::virtualKeyCodeFromKeysym(static_cast<uint32_t>(event.key()));
    return std::nullopt;
}

// A modifier key's code as the modifier table knows it: a right-hand key
// counts as its left-hand twin (Linux keyboards put Control and Alt on both
// sides, and either is what a user means by "Control").
std::optional<uint16_t> modifierCodeOf(const QKeyEvent& event) {
    namespace vk = x11input::vk;
    switch (event.key()) {
    case Qt::Key_Control:
        return vk::Control;
    case Qt::Key_Shift:
        return vk::Shift;
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
        return vk::Option;
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
        return vk::Command;
    default:
        return std::nullopt;
    }
}

bool isModifierKey(const QKeyEvent& event) {
    return modifierCodeOf(event).has_value() || event.key() == Qt::Key_CapsLock;
}

} // namespace

ShortcutsTab::ShortcutsTab(AppDelegate& app, QWidget* parent)
    : PreferencesTab(parent), app_(app), hint_(new QLabel(this)), notice_(new QLabel(this)) {
    auto* grid = new QGridLayout(this);
    for (std::size_t i = 0; i < kHotkeyBindings.size(); ++i) {
        names_ << new QLabel(this);
        // The key's own button records a new key too, as its Change does.
        const int tag = kHotkeyBindings[i].recordingTag;
        auto* key = new QPushButton(this);
        key->setMinimumWidth(140);
        key->setFocusPolicy(Qt::NoFocus);
        key->setEnabled(tag != 0);
        keyButtons_ << key;
        auto* set = new QPushButton(this);
        set->setProperty("tag", tag);
        set->setVisible(tag != 0);
        connect(set, &QPushButton::clicked, this, [this, tag] { resetEventAction(tag); });
        connect(key, &QPushButton::clicked, this, [this, tag] { resetEventAction(tag); });
        setButtons_ << set;
    }
    for (int row = 0; row < int(std::size(kRowOrder)); ++row) {
        const int i = kRowOrder[row];
        grid->addWidget(names_[i], row, 0);
        grid->addWidget(keyButtons_[i], row, 1);
        grid->addWidget(setButtons_[i], row, 2);
    }
    hint_->setWordWrap(true);
    grid->addWidget(hint_, int(std::size(kRowOrder)), 0, 1, 3);
    notice_->setWordWrap(true);
    notice_->setStyleSheet("color: #b35c00;");
    notice_->setVisible(false);
    grid->addWidget(notice_, int(std::size(kRowOrder)) + 1, 0, 1, 3);
    grid->setRowStretch(int(std::size(kRowOrder)) + 2, 1);
    connect(&app_, &AppDelegate::globalHotkeysChanged, this, &ShortcutsTab::reload);
    grid->setColumnStretch(0, 1);
}

ShortcutsTab::~ShortcutsTab() {
    windowShouldClose();
}

void ShortcutsTab::reload() {
    // The rows stay editable: the keys are kept for a session that has
    // global hotkeys.
    notice_->setVisible(app_.globalHotkeysUnavailable());
    for (std::size_t i = 0; i < kHotkeyBindings.size(); ++i)
        if (keyButtons_[int(i)] != selectEventBtn)
            keyButtons_[int(i)]->setText(
                QString::fromStdString(app_.settings().stringForKey(kHotkeyBindings[i].textKey)));
}

void ShortcutsTab::ChangeLoanguage() {
    for (std::size_t i = 0; i < kHotkeyBindings.size(); ++i) {
        // A literal of the table, so ended by a zero.
        names_[int(i)]->setText(L(kHotkeyBindings[i].titleKey.data()));
        setButtons_[int(i)]->setText(L("Pref_Shortcut_Change"));
    }
    hint_->setText(L("Pref_Shortcut_Hint"));
    notice_->setText(L("Pref_Shortcut_Unavailable"));
    if (selectEventBtn)
        selectEventBtn->setText(L("Set_selectEventBtn"));
    reload();
}

void ShortcutsTab::resetEventAction(int tag) {
    if (!recorder_.resetEventAction(tag))
        return;
    app_.isResetEventMonitor = true;
    if (selectEventBtn)
        reload();
    selectEventBtn = nullptr;
    for (std::size_t i = 0; i < kHotkeyBindings.size(); ++i)
        if (kHotkeyBindings[i].recordingTag == tag)
            selectEventBtn = keyButtons_[int(i)];
    selectEventBtn->setText(L("Set_selectEventBtn"));
    if (!monitoring_) {
        qApp->installEventFilter(this);
        monitoring_ = true;
    }
}

void ShortcutsTab::windowShouldClose() {
    app_.isResetEventMonitor = false;
    stopMonitors();
    recorder_.reset();
    selectEventBtn = nullptr;
    app_.setIsCanKeyEvent(true);
}

void ShortcutsTab::stopMonitors() {
    if (monitoring_) {
        qApp->removeEventFilter(this);
        monitoring_ = false;
    }
}

bool ShortcutsTab::eventFilter(QObject* watched, QEvent* event) {
    // One press reaches the filter once per widget it propagates through;
    // only its first delivery, to a window's widget, counts.
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
        if (!watched->isWidgetType())
            return false;
        auto* key = static_cast<QKeyEvent*>(event);
        return event->type() == QEvent::KeyPress ? handleKeyPress(*key) : handleKeyRelease(*key);
    }
    return false;
}

bool ShortcutsTab::handleKeyPress(const QKeyEvent& event) {
    if (event.isAutoRepeat())
        return true;
    if (isModifierKey(event)) {
        recorder_.flagsChanged(modifierCodeOf(event));
        return true;
    }
    const std::optional<uint16_t> code = virtualCodeOf(event);
    if (!code) {
        EMLog::showMessage("%s %d key %d has no hotkey code", __func__, __LINE__, event.key());
        return true;
    }
    const QString text = QKeySequence(event.key()).toString(QKeySequence::NativeText).toUpper();
    if (const auto write = recorder_.keyDown(*code, text.toStdString(), app_.settings());
        write && selectEventBtn)
        selectEventBtn->setText(QString::fromStdString(write->text));
    return true;
}

bool ShortcutsTab::handleKeyRelease(const QKeyEvent& event) {
    if (event.isAutoRepeat())
        return true;
    if (isModifierKey(event))
        recorder_.flagsChanged(std::nullopt);
    else
        recorder_.keyUp();
    return true;
}
