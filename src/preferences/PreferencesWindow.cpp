#include "preferences/PreferencesWindow.h"

#include "app/AppDelegate.h"
#include "preferences/PreferencesTabs.h"
#include "preferences/ShortcutsTab.h"
#include "preferences/WatermarkTab.h"
#include "widgets/Icons.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QShortcut>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {
// The tab titles, in Tab order.
constexpr const char* kTabTitles[] = {"Pref_Tab_General",   "Pref_Tab_Mouse",           "Pref_Tab_Shortcuts",
                                      "Pref_Tab_Watermark", "Pref_Tab_ScreenRecording", "Pref_Tab_Camera"};
} // namespace

PreferencesWindow::PreferencesWindow(AppDelegate& app, WatermarkState& watermark, EncodeManager& session,
                                     QWidget* parent)
    : QWidget(parent, Qt::Window), app_(app), tabs_(new QTabWidget(this)) {
    setWindowIcon(Icons::applicationIcon());
    // Every tab title in sight, in every language: the window grows to fit.
    tabs_->setUsesScrollButtons(false);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabs_);
    shortcuts_ = new ShortcutsTab(app, this);
    watermark_ = new WatermarkTab(app, watermark, this);
    addTab(new GeneralTab(app, this));
    addTab(new MouseTab(app, this));
    addTab(shortcuts_);
    addTab(watermark_);
    addTab(new ScreenRecordingTab(app, session, this));
    addTab(new CameraTab(app, this));
    connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification, this,
            &PreferencesWindow::ChangeLoanguage);
    // Escape closes, as it does any dialog (a shortcut being recorded takes
    // its keys first).
    connect(new QShortcut(QKeySequence::Cancel, this), &QShortcut::activated, this, &QWidget::close);
    ChangeLoanguage();
    resize(sizeHint().expandedTo({520, 400}));
}

PreferencesWindow::~PreferencesWindow() = default;

void PreferencesWindow::addTab(PreferencesTab* tab) {
    pages_ << tab;
    tabs_->addTab(tab, QString());
    connect(tab, &PreferencesTab::choicesChanged, this, &PreferencesWindow::choicesChanged);
}

void PreferencesWindow::ChangeLoanguage() {
    setWindowTitle(L("Pref_Title"));
    for (int i = 0; i < pages_.size(); ++i) {
        tabs_->setTabText(i, L(kTabTitles[i]));
        pages_[i]->ChangeLoanguage();
    }
}

void PreferencesWindow::present() {
    for (PreferencesTab* page : pages_)
        page->reload();
    if (!isVisible()) {
        if (QScreen* screen = QGuiApplication::primaryScreen())
            move(screen->availableGeometry().center() - rect().center());
    }
    show();
    raise();
    activateWindow();
}

void PreferencesWindow::closeEvent(QCloseEvent* event) {
    shortcuts_->windowShouldClose();
    watermark_->prepareWatermarkImage();
    QWidget::closeEvent(event);
}
