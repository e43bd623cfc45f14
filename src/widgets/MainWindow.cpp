#include "widgets/MainWindow.h"

#include "app/AppDelegate.h"
#include "app/IndexTables.h"
#include "widgets/Icons.h"
#include "widgets/LevelMeter.h"

#include <QActionGroup>
#include <QButtonGroup>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

const char* const kModeKeys[] = {"Main_Full_Screen", "Main_Custom_Area", "Main_App_Window", "Main_Camera",
                                 "Main_Audio_Only"};
constexpr int kAppWindowKind = 2;
const Icons::Glyph kModeGlyphs[] = {Icons::Glyph::Monitor, Icons::Glyph::Area, Icons::Glyph::Window,
                                    Icons::Glyph::CameraOn, Icons::Glyph::Microphone};

struct ToolSpec {
    Icons::Glyph glyph;
    const char* toolTipKey;
};
const ToolSpec kTools[] = {
    {Icons::Glyph::Timer, "timeSetsBtn.toolTip"},         {Icons::Glyph::Split, "splitSetsBtn.toolTip"},
    {Icons::Glyph::Screenshot, "screenShortBtn.toolTip"}, {Icons::Glyph::Settings, "setsBtn.toolTip"},
    {Icons::Glyph::Doodle, "doodletoolBtn.toolTip"},      {Icons::Glyph::FileList, "fileListBtn.toolTip"},
};
enum Panel { kVideoPanel = 0, kAudioPanel = 1, kRunningPanel = 2 };

const QColor kGlyphColor(70, 76, 90);
const QColor kAccent(217, 58, 58);

} // namespace

MainWindow::MainWindow(AppDelegate& app, QWidget* parent) : QMainWindow(parent), app_(app) {
    setWindowIcon(Icons::applicationIcon());
    auto* central = new QWidget(this);
    auto* column = new QVBoxLayout(central);
    column->setContentsMargins(20, 16, 20, 16);
    column->setSpacing(14);
    buildHeader(central, column);
    panels_ = new QStackedWidget(central);
    buildSettingsPanel(central);
    buildRunningPanel(central);
    column->addWidget(panels_);
    buildFooter(central, column);
    setCentralWidget(central);
    buildMenus();
    connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification, this,
            &MainWindow::ChangeLoanguage);
    selectKind(app_.recordVideoType);
    // The window kind may have become unavailable (and the kind full screen).
    connect(&app_, &AppDelegate::windowKindAvailabilityChanged, this,
            [this] { selectKind(app_.recordVideoType); });
    ChangeLoanguage();
}

void MainWindow::buildHeader(QWidget* parent, QVBoxLayout* column) {
    auto* row = new QHBoxLayout;
    row->setSpacing(6);
    modeGroup_ = new QButtonGroup(this);
    modeGroup_->setExclusive(true);
    for (int kind = 0; kind < 5; ++kind) {
        auto* button = new QToolButton(parent);
        button->setCheckable(true);
        button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
        button->setIcon(Icons::glyph(kModeGlyphs[kind], kGlyphColor));
        button->setIconSize({26, 26});
        button->setMinimumSize(84, 62);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        button->setStyleSheet(
            "QToolButton { border: 1px solid palette(mid); border-radius: 8px; padding: 4px; }"
            "QToolButton:checked { background: rgba(217, 58, 58, 30); border-color: #d93a3a; }");
        modeGroup_->addButton(button, kind);
        row->addWidget(button);
    }
    connect(modeGroup_, &QButtonGroup::idClicked, this, [this](int kind) {
        applyKindVisibility();
        emit areaChangeAction(kind);
    });
    column->addLayout(row);
}

void MainWindow::buildSettingsPanel(QWidget* parent) {
    auto* page = new QWidget(parent);
    auto* grid = new QGridLayout(page);
    grid->setContentsMargins(4, 4, 4, 4);
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(9);
    grid->setColumnStretch(1, 1);
    int row = 0;
    auto add = [&](QLabel*& label, QComboBox*& box) {
        label = new QLabel(page);
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        box = new QComboBox(page);
        box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        box->setMinimumContentsLength(14);
        grid->addWidget(label, row, 0);
        grid->addWidget(box, row, 1);
        ++row;
    };
    add(displayLabel_, displayBox_);
    add(cameraLabel_, cameraBox_);
    add(qualityLabel_, qualityBox_);
    add(fpsLabel_, fpsBox_);
    add(formatLabel_, formatBox_);
    add(audioFormatLabel_, audioFormatBox_);
    add(overlayLabel_, overlayBox_);
    add(systemAudioLabel_, systemAudioBox_);
    add(micphoneLabel_, micphoneBox_);
    levelMeter_ = new LevelMeter(page);
    grid->addWidget(levelMeter_, row, 1);
    panels_->addWidget(page);
    // The audio-only kind shows the same page with only its own rows.
    panels_->addWidget(new QWidget(parent));

    connect(qualityBox_, &QComboBox::activated, this, &MainWindow::frameChangeAction);
    connect(fpsBox_, &QComboBox::activated, this, &MainWindow::fpsChangeAction);
    connect(formatBox_, &QComboBox::activated, this, &MainWindow::videoTypeChangeAction);
    connect(audioFormatBox_, &QComboBox::activated, this, &MainWindow::audioExpChangeAction);
    // On/off boxes hold "On" then "Off": items 1 and 2 of a box whose item 0 is its title.
    connect(systemAudioBox_, &QComboBox::activated, this,
            [this](int i) { emit systemAudioBoxChange(i + 1); });
    connect(micphoneBox_, &QComboBox::activated, this, [this](int i) { emit micphoneBoxChange(i + 1); });
    connect(overlayBox_, &QComboBox::activated, this, [this](int i) { emit captrueChangeAction(i + 1); });
    connect(displayBox_, &QComboBox::activated, this, &MainWindow::screenItemChange);
    connect(cameraBox_, &QComboBox::activated, this, &MainWindow::cameraItemChange);
}

void MainWindow::buildRunningPanel(QWidget* parent) {
    auto* page = new QWidget(parent);
    auto* column = new QVBoxLayout(page);
    column->addStretch(1);
    stateLabel_ = new QLabel(page);
    stateLabel_->setAlignment(Qt::AlignCenter);
    stateLabel_->setStyleSheet("color: #d93a3a; font-weight: 600;");
    timeLabel_ = new QLabel("00:00:00", page);
    timeLabel_->setAlignment(Qt::AlignCenter);
    QFont big = timeLabel_->font();
    big.setPointSizeF(big.pointSizeF() * 2.6);
    big.setWeight(QFont::Light);
    big.setStyleHint(QFont::Monospace);
    timeLabel_->setFont(big);
    sizeLabel_ = new QLabel(page);
    sizeLabel_->setAlignment(Qt::AlignCenter);
    sizeLabel_->setStyleSheet("color: palette(mid);");
    column->addWidget(stateLabel_);
    column->addWidget(timeLabel_);
    column->addWidget(sizeLabel_);
    column->addStretch(1);
    panels_->addWidget(page);
}

void MainWindow::buildFooter(QWidget* parent, QVBoxLayout* column) {
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    recordButton_ = new QPushButton(parent);
    recordButton_->setMinimumHeight(46);
    recordButton_->setIconSize({20, 20});
    recordButton_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    recordButton_->setStyleSheet(
        "QPushButton { background: #d93a3a; color: white; border: none; border-radius: 10px;"
        " font-weight: 600; font-size: 15px; padding: 0 18px; }"
        "QPushButton:hover { background: #e24a4a; }"
        "QPushButton:pressed { background: #b92f2f; }"
        "QPushButton:disabled { background: #e8a0a0; }");
    connect(recordButton_, &QPushButton::clicked, this, &MainWindow::recordClicked);
    startSetsButton_ = new QToolButton(parent);
    startSetsButton_->setText(QString::fromUtf8("▾"));
    startSetsButton_->setMinimumSize(46, 46);
    startSetsButton_->setPopupMode(QToolButton::InstantPopup);
    startSetsButton_->setStyleSheet("QToolButton { border: 1px solid palette(mid); border-radius: 10px; }"
                                    "QToolButton::menu-indicator { image: none; }");
    startMenu_ = new QMenu(this);
    startSetsButton_->setMenu(startMenu_);
    connect(startMenu_, &QMenu::aboutToShow, this, &MainWindow::rebuildStartMenu);
    pauseButton_ = new QPushButton(parent);
    pauseButton_->setMinimumHeight(46);
    pauseButton_->setIconSize({20, 20});
    connect(pauseButton_, &QPushButton::clicked, this, &MainWindow::pauseOrResumeClicked);
    cancelWaitButton_ = new QPushButton(parent);
    cancelWaitButton_->setMinimumHeight(46);
    cancelWaitButton_->setVisible(false);
    connect(cancelWaitButton_, &QPushButton::clicked, this, &MainWindow::cancelWaitClicked);
    row->addWidget(recordButton_, 1);
    row->addWidget(pauseButton_);
    row->addWidget(cancelWaitButton_);
    row->addWidget(startSetsButton_);
    column->addLayout(row);

    auto* tools = new QHBoxLayout;
    tools->setSpacing(4);
    tools->addStretch(1);
    for (const ToolSpec& spec : kTools) {
        auto* button = new QToolButton(parent);
        button->setIcon(Icons::glyph(spec.glyph, kGlyphColor));
        button->setIconSize({22, 22});
        button->setAutoRaise(true);
        tools->addWidget(button);
        tools_ << button;
    }
    tools->addStretch(1);
    column->addLayout(tools);
    connect(tools_[0], &QToolButton::clicked, this, &MainWindow::timeSetsClicked);
    connect(tools_[1], &QToolButton::clicked, this, &MainWindow::autoSplitSetsClicked);
    connect(tools_[2], &QToolButton::clicked, this, &MainWindow::screenshotClicked);
    connect(tools_[3], &QToolButton::clicked, this, &MainWindow::settingsClicked);
    connect(tools_[4], &QToolButton::clicked, this, &MainWindow::drawToolsClicked);
    connect(tools_[5], &QToolButton::clicked, this, &MainWindow::fileListClicked);
}

void MainWindow::buildMenus() {
    languageMenu_ = menuBar()->addMenu(QString());
    auto* group = new QActionGroup(this);
    for (int language = 0; language < 3; ++language) {
        QAction* action = languageMenu_->addAction(QString());
        action->setCheckable(true);
        action->setData(language);
        group->addAction(action);
        connect(action, &QAction::triggered, this, [this, language] { emit languageChosen(language); });
    }
}

void MainWindow::rebuildStartMenu() {
    startMenu_->clear();
    if (status_ != RecordingStatus::Idle) {
        // While recording the same pull-down offers when to stop.
        for (int item = 1; item <= 4; ++item) {
            const QByteArray key = QByteArray("ID_MENU_STOPRECORD_") + QByteArray::number(item);
            startMenu_->addAction(L(key.constData()), this,
                                  [this, item] { emit startSetsItemChangeAction(item); });
        }
        // Any later item opens the auto-stop dialog.
        startMenu_->addSeparator();
        startMenu_->addAction(L("ID_MAINPOPMENU_AUTOSTOP_2"), this,
                              [this] { emit startSetsItemChangeAction(5); });
        return;
    }
    QAction* record = startMenu_->addAction(L("ID_MAINPOPMENU_RECORD"), this,
                                            [this] { emit startSetsItemChangeAction(1); });
    record->setShortcut(QKeySequence("1"));
    QAction* snapshot = startMenu_->addAction(L("ID_MAINPOPMENU_SNAPSHOT"), this,
                                              [this] { emit startSetsItemChangeAction(2); });
    snapshot->setShortcut(QKeySequence("2"));
    QMenu* countdown = startMenu_->addMenu(L("ID_MAINPOPMENU_COUNTDOWN"));
    const std::pair<const char*, int> times[] = {{"ID_MAINPOPMENU_RECORDTIME1", 3},
                                                 {"ID_MAINPOPMENU_RECORDTIME2", 5},
                                                 {"ID_MAINPOPMENU_RECORDTIME3", 10}};
    for (const auto& [key, seconds] : times)
        countdown->addAction(L(key), this, [this, s = seconds] { emit countDownAction(s); });
    QMenu* autoStop = startMenu_->addMenu(L("ID_MAINPOPMENU_AUTOSTOP"));
    autoStop->addAction(L("ID_MAINPOPMENU_AUTOSTOP_1"), this, [this] { emit autoStopSetsAction(1); });
    autoStop->addAction(L("ID_MAINPOPMENU_AUTOSTOP_2"), this, [this] { emit autoStopSetsAction(2); });
}

QToolButton* MainWindow::modeButton(int kind) const {
    return qobject_cast<QToolButton*>(modeGroup_->button(kind));
}

int MainWindow::kind() const {
    return std::max(0, modeGroup_->checkedId());
}

bool MainWindow::isInfoViewHidden() const {
    return !isVisible() || windowOpacity() < 1.0;
}

void MainWindow::selectKind(int kind) {
    if (QAbstractButton* button = modeGroup_->button(std::clamp(kind, 0, 4)))
        button->setChecked(true);
    applyKindVisibility();
}

void MainWindow::applyKindVisibility() {
    const int k = kind();
    const bool audioOnly = k == 4;
    const bool recording = status_ != RecordingStatus::Idle;
    panels_->setCurrentIndex(recording ? kRunningPanel : kVideoPanel);
    auto show = [](QLabel* label, QWidget* box, bool visible) {
        label->setVisible(visible);
        box->setVisible(visible);
    };
    show(displayLabel_, displayBox_, k == 0 && displayNames_.size() >= 2);
    show(cameraLabel_, cameraBox_, k == 3);
    show(qualityLabel_, qualityBox_, !audioOnly);
    show(fpsLabel_, fpsBox_, !audioOnly);
    show(formatLabel_, formatBox_, !audioOnly);
    show(overlayLabel_, overlayBox_, k <= 1);
    show(audioFormatLabel_, audioFormatBox_, audioOnly);
    levelMeter_->setVisible(audioOnly);
    for (QAbstractButton* b : modeGroup_->buttons())
        b->setEnabled(!recording);
    // Kept in its place, greyed, so that the tool tip can say why.
    const char* windowUnavailable = app_.windowKindUnavailableKey();
    modeGroup_->button(kAppWindowKind)->setEnabled(!recording && !*windowUnavailable);
    modeGroup_->button(kAppWindowKind)->setToolTip(*windowUnavailable ? L(windowUnavailable) : QString());
}

void MainWindow::setRecordingState(RecordingStatus status) {
    status_ = status;
    const bool recording = status != RecordingStatus::Idle;
    recordButton_->setEnabled(true);
    recordButton_->setText(L(recording ? "Main_Stop_Recording" : "Main_Start_Recording"));
    recordButton_->setIcon(Icons::glyph(recording ? Icons::Glyph::Stop : Icons::Glyph::Record, Qt::white));
    pauseButton_->setVisible(recording);
    pauseButton_->setText(L(status == RecordingStatus::Paused ? "Main_Resume" : "Main_Pause"));
    pauseButton_->setIcon(Icons::glyph(
        status == RecordingStatus::Paused ? Icons::Glyph::Resume : Icons::Glyph::Pause, kGlyphColor));
    stateLabel_->setText(L(status == RecordingStatus::Paused ? "Main_Paused" : "Main_Recording"));
    applyKindVisibility();
}

void MainWindow::setFinishing() {
    recordButton_->setEnabled(false);
    recordButton_->setText(L("Main_Finishing"));
    recordButton_->setIcon(QIcon());
    pauseButton_->setVisible(false);
    stateLabel_->setText(L("Main_Finishing"));
}

void MainWindow::setWaitingForScreen(bool waiting) {
    waitingForScreen_ = waiting;
    cancelWaitButton_->setVisible(waiting);
    // Its menu has nothing to offer meanwhile, and the waiting text needs
    // the room the cancel button takes.
    startSetsButton_->setVisible(!waiting);
    if (!waiting) {
        setRecordingState(status_);
        return;
    }
    recordButton_->setEnabled(false);
    recordButton_->setText(L("Main_Waiting_For_Screen"));
    recordButton_->setIcon(QIcon());
}

void MainWindow::setDurationTexts(const QString& time, const QString& size) {
    timeLabel_->setText(time);
    sizeLabel_->setText(size);
}

void MainWindow::setDisplayNames(const QStringList& names, int current) {
    displayNames_ = names;
    displayBox_->clear();
    displayBox_->addItems(names);
    displayBox_->setCurrentIndex(current);
    applyKindVisibility();
}

void MainWindow::setCameraNames(const QStringList& names, int current) {
    cameraNames_ = names;
    cameraBox_->clear();
    cameraBox_->addItems(names);
    if (names.isEmpty())
        cameraBox_->setPlaceholderText(L("SelectCaptrue"));
    cameraBox_->setCurrentIndex(current);
}

void MainWindow::setCameraOverlayOn(bool on) {
    overlayOn_ = on;
    fillOnOff(overlayBox_, on);
}

void MainWindow::setAudioLevel(float level) {
    levelMeter_->setLevel(level);
}

void MainWindow::fillCombo(QComboBox* box, const QStringList& keys, int current) {
    box->clear();
    for (const QString& key : keys)
        box->addItem(L(key.toUtf8().constData()));
    box->setCurrentIndex(std::clamp(current, 0, static_cast<int>(keys.size()) - 1));
}

void MainWindow::fillOnOff(QComboBox* box, bool on) {
    box->clear();
    box->addItems({L("Main_On"), L("Main_Off")});
    box->setCurrentIndex(on ? 0 : 1);
}

void MainWindow::ChangeLoanguage() {
    setWindowTitle(L("Meun_App"));
    languageMenu_->setTitle(L("Menu_Language"));
    const char* languageKeys[] = {"Menu_Language_English", "Menu_Language_SimplifiedChinese",
                                  "Menu_Language_TraditionalChinese"};
    const int current = app_.language().effectiveLanguage();
    for (QAction* action : languageMenu_->actions()) {
        action->setText(L(languageKeys[action->data().toInt()]));
        action->setChecked(action->data().toInt() == current);
    }
    for (int k = 0; k < 5; ++k)
        modeGroup_->button(k)->setText(L(kModeKeys[k]));
    for (int i = 0; i < tools_.size(); ++i)
        tools_[i]->setToolTip(L(kTools[i].toolTipKey));

    displayLabel_->setText(L("Main_Display"));
    cameraLabel_->setText(L("Main_Camera"));
    qualityLabel_->setText(L("Main_Quality"));
    fpsLabel_->setText(L("Main_FrameRate"));
    formatLabel_->setText(L("Main_VideoFormat"));
    audioFormatLabel_->setText(L("Main_AudioFormat"));
    overlayLabel_->setText(L("Main_CaptureCamera"));
    systemAudioLabel_->setText(L("Main_SystemAudio"));
    cancelWaitButton_->setText(L("Main_Cancel_Waiting"));
    micphoneLabel_->setText(L("Main_Micphone"));

    fillCombo(qualityBox_, IndexTables::frameTitleKeys(), static_cast<int>(app_.framItemIndex));
    fpsBox_->clear();
    fpsBox_->addItems(IndexTables::fpsTitles());
    fpsBox_->setCurrentIndex(static_cast<int>(std::clamp<long long>(app_.fpsItemIndex, 0, 5)));
    formatBox_->clear();
    formatBox_->addItems(IndexTables::videoTypes());
    formatBox_->setCurrentIndex(static_cast<int>(std::clamp<long long>(app_.videoTypeBoxIndex, 0, 4)));
    audioFormatBox_->clear();
    audioFormatBox_->addItems(IndexTables::audioExtensions());
    audioFormatBox_->setCurrentIndex(static_cast<int>(std::clamp<long long>(app_.audioExtensionIndex, 0, 2)));
    const unsigned audio = app_.recordAudioType;
    fillOnOff(systemAudioBox_, audio == 0 || audio == 2);
    fillOnOff(micphoneBox_, audio == 1 || audio == 2);
    fillOnOff(overlayBox_, overlayOn_);
    if (cameraNames_.isEmpty())
        cameraBox_->setPlaceholderText(L("SelectCaptrue"));
    if (waitingForScreen_)
        setWaitingForScreen(true);
    else
        setRecordingState(status_);
}
