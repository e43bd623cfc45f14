#include "QtAppEnvironment.h"
#include "TempHome.h"
#include "app/AppDelegate.h"
#include "app/FileListStore.h"
#include "widgets/FileListWindowController.h"
#include "widgets/FileTableView.h"
#include "widgets/Icons.h"
#include "widgets/StatusItem.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <gtest/gtest.h>

namespace {

const auto* const kApp = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QApplication, true>);

struct FileListWindow : ::testing::Test {
    TempHome home;
    std::unique_ptr<AppDelegate> app{
        new AppDelegate(std::make_unique<SettingsStore>(home.path() + "/s.conf"), FRAMEDECK_RESOURCE_DIR)};
    QString list = AppDelegate::plistPath();

    QString makeFile(const QString& name) {
        const QString path = home.path() + "/" + name;
        QFile f(path);
        EXPECT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("x");
        return path;
    }
};

} // namespace

TEST(FileCells, SizeAndDurationTexts) {
    EXPECT_EQ(fileSizeText({{"size", 12345678.0}}), "12.35 M");
    EXPECT_EQ(fileSizeText({{"size", 4096}}), "0.00 M");
    EXPECT_EQ(fileDurationText({{"duration", 3725.9}}), "01:02:05");
    EXPECT_EQ(fileDurationText({{"duration", 0}, {"isImage", 1}}), "");
}

TEST_F(FileListWindow, DeleteRemovesTheLastMatchingRecordAndTheFile) {
    const QString a = makeFile("a.mov");
    const QString b = makeFile("b.png");
    const QDateTime t = QDateTime::currentDateTime();
    // Newest first: a (again), b, a.
    FileListStore::addRecord(list, FileListStore::recordingRecord(a, 1, 10, t.addSecs(-20), true));
    FileListStore::addRecord(list, FileListStore::screenshotRecord(b, 1, t.addSecs(-10)));
    FileListStore::addRecord(list, FileListStore::recordingRecord(a, 2, 20, t, true));

    FileListWindowController window;
    ASSERT_EQ(window.tableView->rowCount(), 3);
    EXPECT_EQ(window.tableView->item(1, 1)->text(), ""); // a screenshot has no duration
    window.tableView->selectRow(0);
    EXPECT_TRUE(window.playBtn->isEnabled());
    window.deletedBtnAction();

    const QVariantList stored = FileListStore::readList(list);
    ASSERT_EQ(stored.size(), 2);
    EXPECT_EQ(stored[0].toMap()["duration"].toDouble(), 2.0); // the newer entry of a stays
    EXPECT_EQ(stored[1].toMap()["path"], b);
    EXPECT_FALSE(QFile::exists(a));
    EXPECT_EQ(window.tableView->selectedRow(), 0);
    EXPECT_FALSE(window.playBtn->isEnabled());
    EXPECT_FALSE(window.deletedBtn->isEnabled());

    // Deleting everything leaves an empty list and no selection.
    window.tableView->selectRow(1);
    window.deletedBtnAction();
    window.tableView->selectRow(0);
    window.deletedBtnAction();
    EXPECT_TRUE(FileListStore::readList(list).isEmpty());
    EXPECT_EQ(window.tableView->selectedRow(), -1);
}

TEST_F(FileListWindow, DeletingKeepsRecordsAddedSinceTheWindowReadTheList) {
    const QString a = makeFile("a.mov");
    FileListStore::addRecord(list, FileListStore::recordingRecord(a, 1, 10, {}, true));
    FileListWindowController window;
    // `framedeck screenshot` adds a picture while the window is open.
    FileListStore::addRecord(list, FileListStore::screenshotRecord(makeFile("c.png"), 1, {}));
    window.tableView->selectRow(0);
    window.deletedBtnAction();
    const QVariantList stored = FileListStore::readList(list);
    ASSERT_EQ(stored.size(), 1);
    EXPECT_TRUE(stored[0].toMap()["path"].toString().endsWith("c.png"));
    EXPECT_EQ(window.tableView->rowCount(), 1);
}

TEST_F(FileListWindow, OpeningRevealingAndMissingFiles) {
    const QString present = makeFile("here.mp4");
    FileListStore::addRecord(list, FileListStore::recordingRecord(home.path() + "/gone.mov", 1, 1, {}, true));
    FileListStore::addRecord(list, FileListStore::recordingRecord(present, 1, 1, {}, true));

    FileListWindowController window;
    QList<QUrl> opened;
    QStringList revealed, alerts;
    window.openUrl = [&](const QUrl& url) {
        return opened << url, true;
    };
    window.revealFile = [&](const QString& path) {
        return revealed << path, true;
    };
    window.showAlert = [&](const QString& message) {
        alerts << message;
    };

    window.tableView->selectRow(0);
    window.playBtnAction();
    window.openDirBtnAction();
    EXPECT_EQ(opened, QList<QUrl>{QUrl::fromLocalFile(present)});
    EXPECT_EQ(revealed, QStringList{present});

    window.tableView->selectRow(1);
    window.editBtnAction();
    EXPECT_EQ(alerts, QStringList{L("Alert_DisableOpenFile_Message")});
    EXPECT_FALSE(alerts.first().isEmpty());
    emit window.tableView->cellDoubleClicked(1, 0); // double click on a missing file: nothing
    EXPECT_EQ(alerts.size(), 1);
    EXPECT_EQ(opened.size(), 1);
}

TEST_F(FileListWindow, TrayItemsFollowTheRecordingState) {
    QStringList calls;
    const auto note = [&](const char* name) -> std::function<void()> {
        return [&calls, name] {
            calls << name;
        };
    };
    StatusItem::Actions actions;
    actions.recordScreenClicked = note("record");
    actions.pauseOrResumeAction = note("pause");
    actions.OnorOffCaptrueCamera = note("camera");
    actions.screenshort = note("screenshot");
    actions.showDoodleToolAction = note("doodle");
    StatusItem tray(app->settings(), actions);
    tray.addStatusItem();
    const auto& items = tray.stateItems();
    ASSERT_EQ(items.size(), 5);
    EXPECT_EQ(items[0]->shortcut(), QKeySequence("Ctrl+1")); // from the stored "⌘ 1"
    for (QAction* item : items)
        item->trigger();
    EXPECT_EQ(calls, (QStringList{"record", "pause", "camera", "screenshot", "doodle"}));

    // After a refresh while idle: no pause, and items 2 and 3 trade places.
    calls.clear();
    tray.refreshStateMenuItem(false, RecordingStatus::Idle);
    EXPECT_FALSE(items[1]->isEnabled());
    for (QAction* item : items)
        item->trigger();
    EXPECT_EQ(calls, (QStringList{"record", "screenshot", "camera", "doodle"}));

    calls.clear();
    tray.refreshStateMenuItem(false, RecordingStatus::Recording);
    items[1]->trigger();
    EXPECT_EQ(calls, QStringList{"pause"});

    calls.clear();
    tray.refreshStateMenuItem(true, RecordingStatus::Recording);
    for (QAction* item : items) {
        EXPECT_FALSE(item->isEnabled());
        item->trigger();
    }
    EXPECT_TRUE(calls.isEmpty());
}

// The tray shows whether a recording runs and whether it is paused; a pause
// does not outlive its recording.
TEST_F(FileListWindow, TrayIconShowsIdleRecordingAndPaused) {
    StatusItem tray(app->settings(), {});
    tray.addStatusItem();
    const auto picture = [&] {
        return tray.trayIcon()->icon().pixmap(16, 16).toImage();
    };
    const QImage idle = picture();
    tray.setPaused(true); // nothing recording, nothing to pause
    EXPECT_EQ(picture(), idle);

    tray.setRecording(true);
    const QImage recording = picture();
    tray.setPaused(true);
    const QImage paused = picture();
    EXPECT_NE(recording, idle);
    EXPECT_NE(paused, recording);
    EXPECT_NE(paused, idle);
    tray.setPaused(false);
    EXPECT_EQ(picture(), recording);

    tray.setPaused(true);
    tray.setRecording(false);
    EXPECT_EQ(picture(), idle);
    tray.setRecording(true);
    EXPECT_EQ(picture(), recording);
}

// The window icon is drawn from the SVGs compiled into the program; a missing
// or unreadable resource would leave every window with a blank icon.
TEST(ApplicationIcon, ShowsTheRedLampAtMenuAndLargeSizes) {
    const QIcon icon = Icons::applicationIcon();
    for (int size : {16, 256}) {
        SCOPED_TRACE(size);
        const QImage image = icon.pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32);
        ASSERT_EQ(image.size(), QSize(size, size));
        const QColor lamp = image.pixelColor(size / 2, size / 2);
        EXPECT_GT(lamp.red(), 200);
        EXPECT_LT(lamp.green(), 130);
        EXPECT_LT(lamp.blue(), 130);
        const QColor body = image.pixelColor(size / 2, size * 7 / 8);
        EXPECT_EQ(body.alpha(), 255);
        EXPECT_LT(body.value(), 100);
    }
    // Round corners: outside them the icon is transparent.
    EXPECT_EQ(icon.pixmap(256, 256).toImage().pixelColor(2, 2).alpha(), 0);
}
