#include "widgets/MainWindow.h"

#include "app/AppDelegate.h"
#include "app/AppIdentity.h"
#include "app/IndexTables.h"
#include "app/SettingsSchema.h"

#include <QActionGroup>
#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QFormLayout>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace {

const QStringList kModeKeys = {"Main_Full_Screen", "Main_Custom_Area", "Main_App_Window", "Main_Camera",
                               "Main_Audio_Only"};

} // namespace

MainWindow::MainWindow(AppDelegate& app, QWidget* parent) : QMainWindow(parent), app_(app) {
    buildMenus();
    buildContent();
    connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification, this,
            &MainWindow::ChangeLoanguage);
    ChangeLoanguage();
}

void MainWindow::buildMenus() {
    languageMenu_ = menuBar()->addMenu(QString());
    auto* group = new QActionGroup(this);
    for (int language = 0; language < 3; ++language) {
        QAction* action = languageMenu_->addAction(QString());
        action->setCheckable(true);
        action->setData(language);
        group->addAction(action);
        connect(action, &QAction::triggered, this, [this, language] { app_.setLange(language); });
    }
}

void MainWindow::buildContent() {
    auto* central = new QWidget(this);
    auto* column = new QVBoxLayout(central);
    column->setContentsMargins(24, 20, 24, 20);
    column->setSpacing(14);

    auto* form = new QFormLayout;
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->setHorizontalSpacing(16);
    form->setVerticalSpacing(10);
    auto row = [&](QLabel*& label, QComboBox*& box) {
        label = new QLabel(central);
        box = new QComboBox(central);
        box->setMinimumWidth(220);
        form->addRow(label, box);
    };
    row(modeLabel_, modeBox_);
    row(audioLabel_, audioBox_);
    row(qualityLabel_, qualityBox_);
    row(fpsLabel_, fpsBox_);
    row(formatLabel_, formatBox_);
    column->addLayout(form);

    recordButton_ = new QPushButton(central);
    recordButton_->setMinimumHeight(44);
    recordButton_->setStyleSheet("QPushButton { background: #d93a3a; color: white; border-radius: 8px;"
                                 " font-weight: 600; font-size: 15px; }"
                                 "QPushButton:disabled { background: #c9a0a0; }");
    // Recording is wired in once the engine is in place.
    recordButton_->setEnabled(false);
    column->addWidget(recordButton_);

    folderButton_ = new QPushButton(central);
    connect(folderButton_, &QPushButton::clicked, this, [] {
        const QString folder = AppIdentity::moviesFolder();
        QDir().mkpath(folder);
        QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
    });
    column->addWidget(folderButton_);

    statusLabel_ = new QLabel(central);
    statusLabel_->setWordWrap(true);
    statusLabel_->setStyleSheet("color: palette(mid);");
    column->addWidget(statusLabel_);
    column->addStretch(1);
    setCentralWidget(central);

    connect(qualityBox_, &QComboBox::activated, this, [this](int index) {
        app_.framItemIndex = index;
        app_.settings().setInteger(SettingsKeys::FramItemIndex, index);
    });
    connect(fpsBox_, &QComboBox::activated, this, [this](int index) {
        app_.fpsItemIndex = index;
        app_.fps = IndexTables::fpsForIndex(index);
        app_.settings().setInteger(SettingsKeys::FpsItemIndex, index);
    });
    connect(audioBox_, &QComboBox::activated, this, [this](int index) {
        app_.recordAudioType = static_cast<unsigned>(index);
        app_.settings().setInteger(SettingsKeys::RecordAudioType, index);
    });
}

void MainWindow::fillCombo(QComboBox* box, const QStringList& keys, int current) {
    box->clear();
    for (const QString& key : keys)
        box->addItem(L(key.toUtf8().constData()));
    box->setCurrentIndex(std::clamp(current, 0, static_cast<int>(keys.size()) - 1));
}

void MainWindow::ChangeLoanguage() {
    setWindowTitle(L("Meun_App"));
    languageMenu_->setTitle(L("Menu_Language"));
    const char* languageKeys[] = {"Menu_Language_English", "Menu_Language_SimplifiedChinese",
                                  "Menu_Language_TraditionalChinese"};
    const int current = app_.language().effectiveLanguage();
    for (QAction* action : languageMenu_->actions()) {
        const int language = action->data().toInt();
        action->setText(L(languageKeys[language]));
        action->setChecked(language == current);
    }
    modeLabel_->setText(L("Main_RecordMode"));
    audioLabel_->setText(L("Main_AudioSource"));
    qualityLabel_->setText(L("Main_Quality"));
    fpsLabel_->setText(L("Main_FrameRate"));
    formatLabel_->setText(L("Main_VideoFormat"));
    fillCombo(modeBox_, kModeKeys, app_.recordVideoType);
    fillCombo(audioBox_, IndexTables::audioKindTitleKeys(), static_cast<int>(app_.recordAudioType));
    fillCombo(qualityBox_, IndexTables::frameTitleKeys(), static_cast<int>(app_.framItemIndex));
    fpsBox_->clear();
    fpsBox_->addItems(IndexTables::fpsTitles());
    fpsBox_->setCurrentIndex(
        static_cast<int>(std::clamp<long long>(app_.fpsItemIndex, 0, IndexTables::fpsTitles().size() - 1)));
    formatBox_->clear();
    formatBox_->addItems(IndexTables::videoTypes());
    formatBox_->setCurrentIndex(static_cast<int>(
        std::clamp<long long>(app_.videoTypeBoxIndex, 0, IndexTables::videoTypes().size() - 1)));
    recordButton_->setText(L("Main_Start_Recording"));
    folderButton_->setText(L("Pref_OpenFolder"));
    refreshStatus();
}

void MainWindow::refreshStatus() {
    app_.generateMemoryInfo();
    statusLabel_->setText(L("Pref_OutputFolder") + " " +
                          QDir::toNativeSeparators(AppIdentity::moviesFolder()) + "\n" +
                          LF("Main_FreeSpace", {app_.systemFreeSpace()}));
}
