#include "widgets/StatusItem.h"

#include "app/LanguageManager.h"
#include "app/SettingsSchema.h"
#include "core/KeyValueStore.h"
#include "widgets/Icons.h"

#include <QMenu>
#include <QSystemTrayIcon>

namespace {

struct ItemSpec {
    const char* titleKey;
    std::string_view hotkeyTextKey;
};

constexpr ItemSpec kItems[] = {
    {"Menu_Edit_Start", SettingsKeys::EventStartOrStopChar},
    {"Menu_Edit_Pause", SettingsKeys::EventResumeOrPauseChar},
    {"Menu_Edit_Captrue", SettingsKeys::EventOnOrOffCaptrueChar},
    {"Menu_Edit_ScreenShort", SettingsKeys::EventScreenshotChar},
    {"Menu_Edit_DooleTool", SettingsKeys::EventShowDrawToolChar},
};

// "⌘ 1" → "1": the key of the hotkey text, shown with the Ctrl modifier that
// stands for the Command key of the stored hotkey texts.
QKeySequence keyEquivalent(const QString& hotkeyText) {
    const QString key = hotkeyText.section(' ', -1, -1, QString::SectionSkipEmpty);
    return key.isEmpty() ? QKeySequence() : QKeySequence("Ctrl+" + key);
}

} // namespace

StatusItem::StatusItem(KeyValueStore& settings, Actions actions, QObject* parent)
    : QObject(parent), settings_(settings), actions_(std::move(actions)) {
    connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification, this,
            &StatusItem::ChangeLoanguage);
}

StatusItem::~StatusItem() {
    delete menu_;
}

void StatusItem::addStatusItem() {
    if (!tray_) {
        menu_ = new QMenu;
        for (std::size_t i = 0; i < std::size(kItems); ++i) {
            QAction* item = menu_->addAction(QString());
            const int index = static_cast<int>(i);
            connect(item, &QAction::triggered, this, [this, index] {
                if (index < assigned_.size() && assigned_[index])
                    assigned_[index]();
            });
            items_ << item;
        }
        assigned_ = {actions_.recordScreenClicked, actions_.pauseOrResumeAction,
                     actions_.OnorOffCaptrueCamera, actions_.screenshort, actions_.showDoodleToolAction};
        menu_->addSeparator();
        preferences_ = menu_->addAction(QString());
        connect(preferences_, &QAction::triggered, this, [this] {
            if (actions_.settingAction)
                actions_.settingAction();
        });
        showHide_ = menu_->addAction(QString());
        connect(showHide_, &QAction::triggered, this, [this] {
            if (actions_.showHomeMainWindow)
                actions_.showHomeMainWindow();
        });
        quit_ = menu_->addAction(QString());
        connect(quit_, &QAction::triggered, this, [this] {
            if (actions_.quit)
                actions_.quit();
        });
        connect(menu_, &QMenu::aboutToShow, this, &StatusItem::ChangeLoanguage);
        tray_ = new QSystemTrayIcon(this);
        showState();
        tray_->setContextMenu(menu_);
        tray_->show();
    }
    ChangeLoanguage();
}

void StatusItem::ChangeLoanguage() {
    if (!menu_)
        return;
    menu_->setTitle(L("Menu_State"));
    for (int i = 0; i < items_.size(); ++i) {
        items_[i]->setText(L(kItems[i].titleKey));
        items_[i]->setShortcut(
            keyEquivalent(QString::fromStdString(settings_.stringForKey(kItems[i].hotkeyTextKey))));
        items_[i]->setShortcutVisibleInContextMenu(true);
    }
    const bool shown = !actions_.isMainWindowShown || actions_.isMainWindowShown();
    preferences_->setText(L("Menu_Preferences"));
    showHide_->setText(L(shown ? "hideMain" : "showMain"));
    quit_->setText(L("Menu_Quit"));
    tray_->setToolTip(L("Meun_App"));
}

void StatusItem::assign(int index, const std::function<void()>& action) {
    assigned_[index] = action;
    items_[index]->setEnabled(static_cast<bool>(action));
}

void StatusItem::refreshStateMenuItem(bool infoViewHidden, RecordingStatus recordingStatus) {
    if (items_.isEmpty())
        return;
    if (infoViewHidden) {
        for (int i = 0; i < items_.size(); ++i)
            assign(i, {});
        return;
    }
    assign(0, actions_.recordScreenClicked);
    assign(1,
           recordingStatus != RecordingStatus::Idle ? actions_.pauseOrResumeAction : std::function<void()>{});
    assign(2, actions_.screenshort);
    assign(3, actions_.OnorOffCaptrueCamera);
    assign(4, actions_.showDoodleToolAction);
}

void StatusItem::setRecording(bool recording) {
    recording_ = recording;
    paused_ = false;
    if (!tray_)
        return;
    showState();
    // The recording's time (or "finishing") no longer applies.
    if (!recording)
        tray_->setToolTip(L("Meun_App"));
}

void StatusItem::setPaused(bool paused) {
    paused_ = recording_ && paused;
    if (tray_)
        showState();
}

void StatusItem::showState() {
    using Icons::TrayState;
    tray_->setIcon(Icons::trayIcon(!recording_ ? TrayState::Idle
                                   : paused_   ? TrayState::Paused
                                               : TrayState::Recording));
}
