#pragma once

#include <QWidget>
#include <functional>

class AppDelegate;
class EncodeManager;
class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QSpinBox;

// A tab of the preferences window: reads its controls from the controller
// and the settings when shown, re-titles itself on a language change.
// Main thread only.
class PreferencesTab : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;
    // Every control shows what is stored now (the main window may have
    // changed some of it since).
    virtual void reload() = 0;
    virtual void ChangeLoanguage() = 0;

signals:
    // Something the main window also shows was changed here.
    void choicesChanged();
};

// Language, countdown, where recordings go.
class GeneralTab : public PreferencesTab {
    Q_OBJECT
public:
    GeneralTab(AppDelegate& app, QWidget* parent = nullptr);
    void reload() override;
    void ChangeLoanguage() override;

private:
    AppDelegate& app_;
    QLabel* languageLabel_;
    QComboBox* languageBox_;
    QCheckBox* countdownBox_;
    QLabel* folderLabel_;
    QLabel* folderPath_;
    QPushButton* openFolder_;
};

// The pointer in recordings: shown, highlighted, clicks ringed. Recordings
// under way follow at once.
class MouseTab : public PreferencesTab {
    Q_OBJECT
public:
    MouseTab(AppDelegate& app, QWidget* parent = nullptr);
    void reload() override;
    void ChangeLoanguage() override;

private:
    AppDelegate& app_;
    QCheckBox* showMouse_;
    QCheckBox* highlight_;
    QCheckBox* clickEffect_;
};

// Containers, frame rate, quality and the split lengths.
class ScreenRecordingTab : public PreferencesTab {
    Q_OBJECT
public:
    ScreenRecordingTab(AppDelegate& app, EncodeManager& session, QWidget* parent = nullptr);
    void reload() override;
    void ChangeLoanguage() override;

private:
    AppDelegate& app_;
    EncodeManager& session_;
    QLabel* videoFormatLabel_;
    QComboBox* videoFormat_;
    QLabel* audioFormatLabel_;
    QComboBox* audioFormat_;
    QLabel* fpsLabel_;
    QComboBox* fps_;
    QLabel* qualityLabel_;
    QComboBox* quality_;
    QLabel* splitTimeLabel_;
    QSpinBox* splitTime_;
    QLabel* splitSizeLabel_;
    QSpinBox* splitSize_;
    bool reloading_ = false;
};

// The camera picture's mirroring.
class CameraTab : public PreferencesTab {
    Q_OBJECT
public:
    CameraTab(AppDelegate& app, QWidget* parent = nullptr);
    void reload() override;
    void ChangeLoanguage() override;

private:
    AppDelegate& app_;
    QCheckBox* mirror_;
};
