#include "preferences/PreferencesTabs.h"

#include "app/AppDelegate.h"
#include "app/AppIdentity.h"
#include "app/IndexTables.h"
#include "app/SettingsSchema.h"
#include "engine/EncodeManager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>

namespace S = SettingsKeys;

namespace {

// The entry limits of the split lengths: three digits of seconds, four of
// megabytes. Zero would split every frame into a file of its own.
constexpr int kMaxSplitSeconds = 999;
constexpr int kMaxSplitMegabytes = 9999;

QCheckBox* checkBox(QWidget* parent, QVBoxLayout* column) {
    auto* box = new QCheckBox(parent);
    column->addWidget(box);
    return box;
}

// A check box that writes a bool property of the controller and its key.
void bindFlag(QCheckBox* box, bool& property, std::string_view key, SettingsStore& store) {
    QObject::connect(box, &QCheckBox::toggled, box, [&property, key, &store](bool on) {
        property = on;
        store.setBool(key, on);
    });
}

void setChecked(QCheckBox* box, bool on) {
    const QSignalBlocker quiet(box);
    box->setChecked(on);
}

int clampedIndex(long long index, int count) {
    return static_cast<int>(std::clamp<long long>(index, 0, count - 1));
}

} // namespace

GeneralTab::GeneralTab(AppDelegate& app, QWidget* parent)
    : PreferencesTab(parent), app_(app), languageLabel_(new QLabel(this)), languageBox_(new QComboBox(this)),
      folderLabel_(new QLabel(this)), folderPath_(new QLabel(this)), openFolder_(new QPushButton(this)) {
    auto* column = new QVBoxLayout(this);
    auto* language = new QHBoxLayout;
    language->addWidget(languageLabel_);
    language->addWidget(languageBox_, 1);
    column->addLayout(language);
    countdownBox_ = checkBox(this, column);
    column->addSpacing(12);
    column->addWidget(folderLabel_);
    folderPath_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    folderPath_->setWordWrap(true);
    auto* folder = new QHBoxLayout;
    folder->addWidget(folderPath_, 1);
    folder->addWidget(openFolder_);
    column->addLayout(folder);
    column->addStretch(1);

    bindFlag(countdownBox_, app_.isShowReverseTime, S::IsShowReverseTime, app_.settings());
    connect(languageBox_, &QComboBox::activated, this, [this](int language) {
        if (language != app_.language().effectiveLanguage())
            app_.setLange(language);
    });
    connect(openFolder_, &QPushButton::clicked, this, [] {
        const QString folder = AppIdentity::moviesFolder();
        QDir().mkpath(folder);
        QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
    });
}

void GeneralTab::reload() {
    setChecked(countdownBox_, app_.isShowReverseTime);
    folderPath_->setText(QDir::toNativeSeparators(AppIdentity::moviesFolder()));
    languageBox_->setCurrentIndex(app_.language().effectiveLanguage());
}

void GeneralTab::ChangeLoanguage() {
    languageLabel_->setText(L("Pref_Language"));
    {
        const QSignalBlocker quiet(languageBox_);
        languageBox_->clear();
        for (const char* key :
             {"Menu_Language_English", "Menu_Language_SimplifiedChinese", "Menu_Language_TraditionalChinese"})
            languageBox_->addItem(L(key));
    }
    countdownBox_->setText(L("Pref_ShowCountdown"));
    folderLabel_->setText(L("Pref_OutputFolder"));
    openFolder_->setText(L("Pref_OpenFolder"));
    reload();
}

MouseTab::MouseTab(AppDelegate& app, QWidget* parent) : PreferencesTab(parent), app_(app) {
    auto* column = new QVBoxLayout(this);
    showMouse_ = checkBox(this, column);
    highlight_ = checkBox(this, column);
    clickEffect_ = checkBox(this, column);
    column->addStretch(1);
    // The compositor asks the controller for these on every frame.
    bindFlag(showMouse_, app_.isShowMouse, S::IsShowMouse, app_.settings());
    bindFlag(highlight_, app_.isMouseHight, S::IsMouseHighlight, app_.settings());
    bindFlag(clickEffect_, app_.isMouseClickEffect, S::IsMouseClickEffect, app_.settings());
}

void MouseTab::reload() {
    setChecked(showMouse_, app_.isShowMouse);
    setChecked(highlight_, app_.isMouseHight);
    setChecked(clickEffect_, app_.isMouseClickEffect);
}

void MouseTab::ChangeLoanguage() {
    showMouse_->setText(L("Pref_ShowMouse"));
    highlight_->setText(L("Pref_MouseHighlight"));
    clickEffect_->setText(L("Pref_MouseClickEffect"));
}

ScreenRecordingTab::ScreenRecordingTab(AppDelegate& app, EncodeManager& session, QWidget* parent)
    : PreferencesTab(parent), app_(app), session_(session), videoFormatLabel_(new QLabel(this)),
      videoFormat_(new QComboBox(this)), audioFormatLabel_(new QLabel(this)),
      audioFormat_(new QComboBox(this)), fpsLabel_(new QLabel(this)), fps_(new QComboBox(this)),
      qualityLabel_(new QLabel(this)), quality_(new QComboBox(this)), splitTimeLabel_(new QLabel(this)),
      splitTime_(new QSpinBox(this)), splitSizeLabel_(new QLabel(this)), splitSize_(new QSpinBox(this)) {
    auto* form = new QFormLayout(this);
    form->addRow(videoFormatLabel_, videoFormat_);
    form->addRow(audioFormatLabel_, audioFormat_);
    form->addRow(fpsLabel_, fps_);
    form->addRow(qualityLabel_, quality_);
    form->addRow(splitTimeLabel_, splitTime_);
    form->addRow(splitSizeLabel_, splitSize_);
    splitTime_->setRange(1, kMaxSplitSeconds);
    splitSize_->setRange(1, kMaxSplitMegabytes);
    videoFormat_->addItems(IndexTables::videoTypes());
    audioFormat_->addItems(IndexTables::audioExtensions());
    fps_->addItems(IndexTables::fpsTitles());

    // The main window's own actions: they write the property and the key.
    connect(videoFormat_, &QComboBox::activated, this, [this](int i) {
        app_.videoTypeChangeAction(i);
        emit choicesChanged();
    });
    connect(audioFormat_, &QComboBox::activated, this, [this](int i) {
        app_.audioExpChangeAction(i);
        emit choicesChanged();
    });
    connect(fps_, &QComboBox::activated, this, [this](int i) {
        app_.fpsChangeAction(i);
        emit choicesChanged();
    });
    connect(quality_, &QComboBox::activated, this, [this](int i) {
        app_.frameChangeAction(i);
        emit choicesChanged();
    });
    // The session splits by what it holds; the keys carry the lengths to the
    // next launch and to the split dialog.
    connect(splitTime_, &QSpinBox::valueChanged, this, [this](int seconds) {
        if (reloading_)
            return;
        session_.setSplitTime(seconds);
        app_.settings().setInteger(S::SplitTime, seconds);
    });
    connect(splitSize_, &QSpinBox::valueChanged, this, [this](int megabytes) {
        if (reloading_)
            return;
        session_.setSplitSize(megabytes);
        app_.settings().setInteger(S::SplitSize, megabytes);
    });
}

void ScreenRecordingTab::reload() {
    reloading_ = true;
    videoFormat_->setCurrentIndex(clampedIndex(app_.videoTypeBoxIndex, videoFormat_->count()));
    audioFormat_->setCurrentIndex(clampedIndex(app_.audioExtensionIndex, audioFormat_->count()));
    fps_->setCurrentIndex(clampedIndex(app_.fpsItemIndex, fps_->count()));
    quality_->setCurrentIndex(clampedIndex(app_.framItemIndex, quality_->count()));
    splitTime_->setValue(std::clamp<int>(session_.splitTime, 1, kMaxSplitSeconds));
    splitSize_->setValue(std::clamp<int>(session_.splitSize, 1, kMaxSplitMegabytes));
    reloading_ = false;
}

void ScreenRecordingTab::ChangeLoanguage() {
    videoFormatLabel_->setText(L("Pref_VideoFormat"));
    audioFormatLabel_->setText(L("Pref_AudioFormat"));
    fpsLabel_->setText(L("Pref_FrameRate"));
    qualityLabel_->setText(L("Pref_Quality"));
    splitTimeLabel_->setText(L("Pref_SplitTime"));
    splitSizeLabel_->setText(L("Pref_SplitSize"));
    splitTime_->setSuffix(" " + L("Auto_lblSecond"));
    splitSize_->setSuffix(" " + L("Auto_lblMB"));
    quality_->clear();
    for (const QString& key : IndexTables::frameTitleKeys())
        quality_->addItem(L(key.toUtf8().constData()));
    reload();
}

CameraTab::CameraTab(AppDelegate& app, QWidget* parent) : PreferencesTab(parent), app_(app) {
    auto* column = new QVBoxLayout(this);
    mirror_ = checkBox(this, column);
    column->addStretch(1);
    // Read when a recording starts.
    bindFlag(mirror_, app_.isCaptrueMirror, S::IsCaptrueMirrored, app_.settings());
}

void CameraTab::reload() {
    setChecked(mirror_, app_.isCaptrueMirror);
}

void CameraTab::ChangeLoanguage() {
    mirror_->setText(L("Pref_CameraMirror"));
}
