#pragma once

#include "engine/RecordRequest.h"

#include <QMainWindow>
#include <QStringList>

class AppDelegate;
class QComboBox;
class QLabel;
class QMenu;
class QPushButton;
class QStackedWidget;
class QToolButton;
class QButtonGroup;
class LevelMeter;

// The main window: what to record (five kinds), with which audio, in which
// quality and format, and the one button that starts and stops. It shows
// state and forwards the user's choices; the application controller owns
// the recording road. Every text comes from the language manager and is
// re-read on a language change. Main thread only.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(AppDelegate& app, QWidget* parent = nullptr);

    // State shown by the window.
    void setRecordingState(RecordingStatus status);
    // Stopped, with the file still being finished: says so, and the record
    // button waits until setRecordingState(Idle).
    void setFinishing();
    // While the desktop is asked for the screen: the record button waits
    // and says so; afterwards it shows the recording state again.
    void setWaitingForScreen(bool waiting);
    void setDurationTexts(const QString& time, const QString& size);
    void setDisplayNames(const QStringList& names, int current);
    void setCameraNames(const QStringList& names, int current);
    void setCameraOverlayOn(bool on);
    void setAudioLevel(float level);
    void selectKind(int kind);
    int kind() const;
    bool isInfoViewHidden() const;

    // Controls, for tests and the tray.
    QPushButton* recordButton() const { return recordButton_; }
    QPushButton* pauseButton() const { return pauseButton_; }
    // Shown beside the record button while the desktop is asked for the screen.
    QPushButton* cancelWaitButton() const { return cancelWaitButton_; }
    QToolButton* modeButton(int kind) const;
    QComboBox* systemAudioBox() const { return systemAudioBox_; }
    QComboBox* displayBox() const { return displayBox_; }
    QComboBox* micphoneBox() const { return micphoneBox_; }
    QMenu* startSetsMenu() const { return startMenu_; }
    // The tool row: 0 duration limit, 1 auto split, 2 screenshot, 3 settings,
    // 4 drawing tools, 5 file list.
    QToolButton* toolButton(int index) const { return tools_.value(index); }

signals:
    void areaChangeAction(int kind);
    void recordClicked();
    void pauseOrResumeClicked();
    void cancelWaitClicked();
    void frameChangeAction(int index);
    void fpsChangeAction(int index);
    void videoTypeChangeAction(int index);
    void audioExpChangeAction(int index);
    // Items: 1 on, 2 off (item 0 is the box's title).
    void systemAudioBoxChange(int item);
    void micphoneBoxChange(int item);
    void captrueChangeAction(int item);
    void screenItemChange(int index);
    void cameraItemChange(int index);
    // Start pull-down: 1 record, 2 screenshot; countdown 3/5/10 s; auto stop items.
    void startSetsItemChangeAction(int item);
    void countDownAction(int seconds);
    void autoStopSetsAction(int item);
    void screenshotClicked();
    // The duration-limit and auto-split tool buttons.
    void timeSetsClicked();
    void autoSplitSetsClicked();
    // The settings and drawing-tools buttons of the tool row.
    void settingsClicked();
    void drawToolsClicked();
    void fileListClicked();
    void languageChosen(int language);

public slots:
    void ChangeLoanguage();

private:
    void buildHeader(QWidget* parent, class QVBoxLayout* column);
    void buildSettingsPanel(QWidget* parent);
    void buildRunningPanel(QWidget* parent);
    void buildFooter(QWidget* parent, class QVBoxLayout* column);
    void buildMenus();
    void rebuildStartMenu();
    void applyKindVisibility();
    void fillCombo(QComboBox* box, const QStringList& keys, int current);
    void fillOnOff(QComboBox* box, bool on);

    AppDelegate& app_;
    RecordingStatus status_ = RecordingStatus::Idle;
    QButtonGroup* modeGroup_ = nullptr;
    QStackedWidget* panels_ = nullptr;
    QLabel* displayLabel_ = nullptr;
    QComboBox* displayBox_ = nullptr;
    QLabel* cameraLabel_ = nullptr;
    QComboBox* cameraBox_ = nullptr;
    QLabel* qualityLabel_ = nullptr;
    QComboBox* qualityBox_ = nullptr;
    QLabel* fpsLabel_ = nullptr;
    QComboBox* fpsBox_ = nullptr;
    QLabel* formatLabel_ = nullptr;
    QComboBox* formatBox_ = nullptr;
    QLabel* audioFormatLabel_ = nullptr;
    QComboBox* audioFormatBox_ = nullptr;
    QLabel* overlayLabel_ = nullptr;
    QComboBox* overlayBox_ = nullptr;
    QLabel* systemAudioLabel_ = nullptr;
    QComboBox* systemAudioBox_ = nullptr;
    QLabel* micphoneLabel_ = nullptr;
    QComboBox* micphoneBox_ = nullptr;
    QLabel* stateLabel_ = nullptr;
    QLabel* timeLabel_ = nullptr;
    QLabel* sizeLabel_ = nullptr;
    LevelMeter* levelMeter_ = nullptr;
    QPushButton* recordButton_ = nullptr;
    QToolButton* startSetsButton_ = nullptr;
    QMenu* startMenu_ = nullptr;
    QPushButton* pauseButton_ = nullptr;
    QPushButton* cancelWaitButton_ = nullptr;
    bool waitingForScreen_ = false;
    QList<QToolButton*> tools_;
    QMenu* languageMenu_ = nullptr;
    QStringList displayNames_;
    QStringList cameraNames_;
    bool overlayOn_ = false;
};
