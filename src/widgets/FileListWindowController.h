#pragma once

#include <QUrl>
#include <QWidget>
#include <functional>

class FileTableView;
class QLabel;
class QPushButton;

// The window listing every recording and screenshot, newest first, read from
// the file list. Play/edit open the file with the desktop's default
// application, reveal shows it in the file manager, delete removes the entry
// and the file. Main thread only.
class FileListWindowController : public QWidget {
    Q_OBJECT
public:
    explicit FileListWindowController(QWidget* parent = nullptr);

    // Reads the list again and shows it from the top.
    void setUPData();

    void playBtnAction();
    void editBtnAction();
    void openDirBtnAction();
    void deletedBtnAction();

    FileTableView* tableView = nullptr;
    QVariantList tableContents;
    QPushButton* playBtn = nullptr;
    QPushButton* editBtn = nullptr;
    QPushButton* openDirBtn = nullptr;
    QPushButton* deletedBtn = nullptr;

    // How files are opened and revealed; replaceable so tests do not start
    // real applications. Return false when nothing could be opened.
    std::function<bool(const QUrl&)> openUrl;
    std::function<bool(const QString& path)> revealFile;
    // How the missing-file message is shown; tests replace it too.
    std::function<void(const QString& message)> showAlert;

public slots:
    void ChangeLoanguage();

private:
    void openSelected(bool fromButton);
    void updateButtons(int row);
    bool validRow(int row) const { return row >= 0 && row < tableContents.size(); }

    QLabel* emptyLabel_ = nullptr;
};

// Shows `path` selected in the desktop's file manager (FileManager1 over
// D-Bus), or opens its folder when no file manager answers.
bool revealInFileManager(const QString& path);
