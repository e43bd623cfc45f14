#include "widgets/FileListWindowController.h"

#include "app/AppDelegate.h"
#include "app/AppIdentity.h"
#include "app/FileListStore.h"
#include "app/LanguageManager.h"
#include "core/EMLog.h"
#include "widgets/Alerts.h"
#include "widgets/FileTableView.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

bool revealInFileManager(const QString& path) {
    QDBusInterface fileManager("org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                               "org.freedesktop.FileManager1", QDBusConnection::sessionBus());
    if (fileManager.isValid()) {
        const QDBusMessage reply =
            fileManager.call("ShowItems", QStringList{QUrl::fromLocalFile(path).toString()}, QString());
        if (reply.type() == QDBusMessage::ReplyMessage)
            return true;
    }
    return QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absolutePath()));
}

FileListWindowController::FileListWindowController(QWidget* parent) : QWidget(parent, Qt::Window) {
    openUrl = [](const QUrl& url) {
        return QDesktopServices::openUrl(url);
    };
    revealFile = revealInFileManager;
    showAlert = [this](const QString& message) {
        showModalAlert(this, message);
    };

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(16, 16, 16, 16);
    column->setSpacing(12);
    tableView = new FileTableView(this);
    column->addWidget(tableView, 1);
    emptyLabel_ = new QLabel(this);
    emptyLabel_->setAlignment(Qt::AlignCenter);
    emptyLabel_->setStyleSheet("color: palette(mid); font-size: 14px;");
    column->addWidget(emptyLabel_);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(8);
    playBtn = new QPushButton(this);
    editBtn = new QPushButton(this);
    openDirBtn = new QPushButton(this);
    deletedBtn = new QPushButton(this);
    buttons->addWidget(playBtn);
    buttons->addWidget(editBtn);
    buttons->addWidget(openDirBtn);
    buttons->addStretch(1);
    buttons->addWidget(deletedBtn);
    column->addLayout(buttons);

    connect(playBtn, &QPushButton::clicked, this, &FileListWindowController::playBtnAction);
    connect(editBtn, &QPushButton::clicked, this, &FileListWindowController::editBtnAction);
    connect(openDirBtn, &QPushButton::clicked, this, &FileListWindowController::openDirBtnAction);
    connect(deletedBtn, &QPushButton::clicked, this, &FileListWindowController::deletedBtnAction);
    connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification, this,
            &FileListWindowController::ChangeLoanguage);

    resize(720, 460);
    ChangeLoanguage();
    setUPData();
}

void FileListWindowController::ChangeLoanguage() {
    setWindowTitle(L("FileList"));
    tableView->retitle();
    playBtn->setText(L("FileList_Play"));
    editBtn->setText(L("FileList_Edit"));
    openDirBtn->setText(L("FileList_Reveal"));
    deletedBtn->setText(L("FileList_Delete"));
    emptyLabel_->setText(L("FileList_Empty"));
}

void FileListWindowController::setUPData() {
    QDir().mkpath(AppIdentity::moviesFolder());
    tableContents = FileListStore::readList(AppDelegate::plistPath());
    tableView->items = tableContents;
    tableView->selectItemBlock = [this](int row) {
        updateButtons(row);
    };
    tableView->selectItemDoubleClickBlock = [this](int) {
        openSelected(false);
    };
    tableView->reloadData();
    tableView->scrollToTop();
    emptyLabel_->setVisible(tableContents.isEmpty());
    updateButtons(tableView->selectedRow());
}

void FileListWindowController::updateButtons(int row) {
    const bool valid = validRow(row);
    deletedBtn->setEnabled(row >= 0);
    openDirBtn->setEnabled(row >= 0);
    playBtn->setEnabled(valid);
    editBtn->setEnabled(valid);
}

void FileListWindowController::openSelected(bool fromButton) {
    const int row = tableView->selectedRow();
    if (!validRow(row))
        return;
    const QString path = tableContents[row].toMap().value("path").toString();
    if (!QFile::exists(path)) {
        EMLog::showMessage("%s %d no file at %s", __func__, __LINE__, qPrintable(path));
        if (fromButton)
            showAlert(L("Alert_DisableOpenFile_Message"));
        return;
    }
    // The desktop's default image viewer or video player, by the file's type.
    if (!openUrl(QUrl::fromLocalFile(path)))
        EMLog::showMessage("%s %d no application opened %s", __func__, __LINE__, qPrintable(path));
}

void FileListWindowController::playBtnAction() {
    openSelected(true);
}

void FileListWindowController::editBtnAction() {
    openSelected(true);
}

void FileListWindowController::openDirBtnAction() {
    const int row = tableView->selectedRow();
    if (!validRow(row))
        return;
    const QString path = tableContents[row].toMap().value("path").toString();
    if (QFileInfo(path).absoluteDir().exists())
        revealFile(path);
}

void FileListWindowController::deletedBtnAction() {
    const int row = tableView->selectedRow();
    if (!validRow(row))
        return;
    const QString path = tableContents[row].toMap().value("path").toString();
    // From the list as it is on disk now: a recording or screenshot the
    // command line added since this window read it must stay.
    tableContents = FileListStore::readList(AppDelegate::plistPath());
    // Only one record goes: the last one in the list with that path.
    for (qsizetype i = tableContents.size() - 1; i >= 0; --i) {
        if (tableContents[i].toMap().value("path").toString() == path) {
            tableContents.removeAt(i);
            break;
        }
    }
    FileListStore::writeList(AppDelegate::plistPath(), tableContents);
    QFile::remove(path);

    tableView->items = tableContents;
    tableView->reloadData();
    tableView->selectRow(std::min<int>(row, static_cast<int>(tableContents.size()) - 1));
    emptyLabel_->setVisible(tableContents.isEmpty());
    editBtn->setEnabled(false);
    playBtn->setEnabled(false);
    deletedBtn->setEnabled(false);
}
