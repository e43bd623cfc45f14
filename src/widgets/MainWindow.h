#pragma once

#include <QMainWindow>

class AppDelegate;
class QComboBox;
class QLabel;
class QMenu;
class QPushButton;

// The main window: what to record, with which audio and in which format.
// Every text comes from the language manager and is re-read on a language
// change. Main thread only.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(AppDelegate& app, QWidget* parent = nullptr);

public slots:
    // Re-reads every text; connected to the language-change notification.
    void ChangeLoanguage();

private:
    void buildMenus();
    void buildContent();
    void fillCombo(QComboBox* box, const QStringList& keys, int current);
    void refreshStatus();

    AppDelegate& app_;
    QMenu* languageMenu_ = nullptr;
    QComboBox* modeBox_ = nullptr;
    QComboBox* audioBox_ = nullptr;
    QComboBox* qualityBox_ = nullptr;
    QComboBox* fpsBox_ = nullptr;
    QComboBox* formatBox_ = nullptr;
    QLabel* modeLabel_ = nullptr;
    QLabel* audioLabel_ = nullptr;
    QLabel* qualityLabel_ = nullptr;
    QLabel* fpsLabel_ = nullptr;
    QLabel* formatLabel_ = nullptr;
    QLabel* statusLabel_ = nullptr;
    QPushButton* recordButton_ = nullptr;
    QPushButton* folderButton_ = nullptr;
};
