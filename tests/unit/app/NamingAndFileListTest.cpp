#include "TempHome.h"
#include "app/AppDelegate.h"
#include "app/FileListStore.h"
#include "app/OutputNaming.h"
#include "app/ProgressTexts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

TEST(OutputNaming, NamesAndDurationTexts) {
    const QDateTime t(QDate(2024, 1, 31), QTime(23, 59, 59));
    EXPECT_EQ(OutputNaming::outputPath("/v", t, ".mov"), "/v/20240131_235959.mov");
    EXPECT_EQ(OutputNaming::dateText(t), "2024/01/31 23:59:59");

    // The main window's and the command line's clocks: hours wrap at 60.
    const std::pair<uint64_t, const char*> clocks[] = {
        {0, "00:00:00"}, {3725, "01:02:05"}, {216000, "00:00:00"}, {219599, "00:59:59"}};
    for (const auto& [seconds, text] : clocks) {
        EXPECT_EQ(OutputNaming::timeFromString(seconds), text) << seconds;
        EXPECT_EQ(ProgressTexts::durationText(seconds), text) << seconds;
    }
    EXPECT_EQ(OutputNaming::timeFrom_String(125), "02分05秒");
    EXPECT_EQ(OutputNaming::timeFrom_String(3725), "01时02分05秒");
    EXPECT_EQ(OutputNaming::timeFrom_String(60 * 3600 + 5), "00分05秒");

    EXPECT_EQ(OutputNaming::freeSpaceText(12.345), "12.35 G");
    EXPECT_EQ(OutputNaming::freeSpaceText(0.5), "512.00 MB");
    EXPECT_EQ(ProgressTexts::fileSizeText(1234567, "12.30 G"), "1.23 MB / 12.30 G");
    EXPECT_EQ(ProgressTexts::fileSizeText(0, ""), "0.00 MB / ");
}

TEST(OutputPaths, FirstUseCreatesTheFoldersAndAnEmptyList) {
    TempHome home;
    const QString path = AppDelegate::createoutputPath(true);
    EXPECT_TRUE(
        path.startsWith(QStandardPaths::writableLocation(QStandardPaths::MoviesLocation) + "/FrameDeck/"));
    EXPECT_TRUE(path.endsWith(".mov"));
    EXPECT_TRUE(QFileInfo(path).dir().exists());
    EXPECT_TRUE(AppDelegate::createoutputPath(false).endsWith(".mp3"));

    const QString list = AppDelegate::plistPath();
    EXPECT_EQ(list, home.path() + "/.cache/org.framedeck.FrameDeck/filelist.plist");
    EXPECT_TRUE(QFile::exists(list));
    EXPECT_TRUE(FileListStore::readList(list).isEmpty());
}

TEST(FileList, NewestFirstWithTheRecordTypes) {
    TempHome home;
    const QString list = AppDelegate::plistPath();
    const QDateTime when(QDate(2025, 3, 1), QTime(10, 0, 0));
    ASSERT_TRUE(FileListStore::addRecord(
        list, FileListStore::recordingRecord("/v/a.mov", 12.5, 12345678.0, when, true)));
    ASSERT_TRUE(FileListStore::addRecord(list, FileListStore::screenshotRecord("/v/b.png", 4096, when)));

    const QVariantList records = FileListStore::readList(list);
    ASSERT_EQ(records.size(), 2);
    const QVariantMap shot = records[0].toMap();
    const QVariantMap video = records[1].toMap();
    EXPECT_EQ(shot["name"], "b.png");
    EXPECT_EQ(shot["isImage"].toInt(), 1);
    EXPECT_FALSE(shot.contains("isVideo"));
    EXPECT_EQ(shot["size"].typeId(), QMetaType::LongLong);
    EXPECT_EQ(video["size"].typeId(), QMetaType::Double);
    EXPECT_DOUBLE_EQ(video["duration"].toDouble(), 12.5);
    EXPECT_EQ(video["date"], "2025/03/01 10:00:00");
    EXPECT_EQ(video["isVideo"].toInt(), 1);

    // A real Apple XML property list: another reader agrees on the structure.
    QFile f(list);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray xml = f.readAll();
    EXPECT_TRUE(xml.contains("<!DOCTYPE plist"));
    EXPECT_TRUE(xml.contains("<key>size</key>\n\t\t<real>"));
    EXPECT_TRUE(xml.contains("<key>size</key>\n\t\t<integer>4096</integer>"));
    if (!QStandardPaths::findExecutable("python3").isEmpty()) {
        QProcess py;
        py.start("python3", {"-c",
                             "import plistlib,sys; l=plistlib.load(open(sys.argv[1],'rb')); "
                             "print(len(l), l[0]['name'], l[1]['duration'])",
                             list});
        ASSERT_TRUE(py.waitForFinished(-1));
        EXPECT_EQ(py.readAllStandardOutput().trimmed(), "2 b.png 12.5");
    }
}

TEST(FileList, EveryPartOfASplitRecordingIsListedLastPartFirst) {
    TempHome home;
    const QString base = QDir(home.path()).filePath("20250301_100000.mp4");
    const auto write = [](const QString& path, int bytes) {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(QByteArray(bytes, 'x'));
    };
    const QDateTime when(QDate(2025, 3, 1), QTime(10, 0, 10));
    // Not split: one record, the encoder's size when the file is not there yet.
    QVariantList one = FileListStore::recordingRecords(base, 3, 777, 0, when, true);
    ASSERT_EQ(one.size(), 1);
    EXPECT_EQ(one[0].toMap()["size"].toDouble(), 777);

    write(base, 400);
    write(QDir(home.path()).filePath("20250301_100000_1.mp4"), 400);
    write(QDir(home.path()).filePath("20250301_100000_2.mp4"), 200);
    // Split every 4 s, 10 s in all: 4 + 4 + 2, the last part on top.
    const QVariantList byTime = FileListStore::recordingRecords(base, 10, 1000, 4, when, true);
    ASSERT_EQ(byTime.size(), 3);
    EXPECT_EQ(byTime[0].toMap()["name"], "20250301_100000_2.mp4");
    EXPECT_EQ(byTime[2].toMap()["name"], "20250301_100000.mp4");
    EXPECT_DOUBLE_EQ(byTime[0].toMap()["duration"].toDouble(), 2);
    EXPECT_DOUBLE_EQ(byTime[1].toMap()["duration"].toDouble(), 4);
    EXPECT_DOUBLE_EQ(byTime[2].toMap()["size"].toDouble(), 400);
    // Split by size: the time follows the bytes, and still adds up.
    const QVariantList bySize = FileListStore::recordingRecords(base, 10, 1000, 0, when, true);
    EXPECT_DOUBLE_EQ(bySize[2].toMap()["duration"].toDouble(), 4);
    EXPECT_DOUBLE_EQ(bySize[0].toMap()["duration"].toDouble(), 2);

    ASSERT_TRUE(FileListStore::addRecords(AppDelegate::plistPath(), byTime));
    EXPECT_EQ(FileListStore::readList(AppDelegate::plistPath())[0].toMap()["name"], "20250301_100000_2.mp4");
}

TEST(FileList, DamagedFilesReadAsEmptyAndAreReplaced) {
    TempHome home;
    const QString list = AppDelegate::plistPath();
    const QByteArray damaged[] = {
        "",
        "not a plist at all",
        "<?xml version=\"1.0\"?><plist><array><dict><key>path</key>",
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key><string>b</string></dict></plist>",
        QByteArray("bplist00\xff\xff\xff\xff\x00\x01", 14),
        QByteArray(4096, '\xAB')};
    for (const QByteArray& bytes : damaged) {
        QFile f(list);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(bytes);
        f.close();
        EXPECT_TRUE(FileListStore::readList(list).isEmpty());
        ASSERT_TRUE(FileListStore::addRecord(list, FileListStore::screenshotRecord("/v/c.png", 1, {})));
        EXPECT_EQ(FileListStore::readList(list).size(), 1);
    }
}

TEST(FileList, FailedWritesKeepTheOldList) {
    TempHome home;
    const QString list = AppDelegate::plistPath();
    ASSERT_TRUE(FileListStore::addRecord(list, FileListStore::screenshotRecord("/v/old.png", 1, {})));

    // A full disk: writes past a small size fail (works as root too).
    signal(SIGXFSZ, SIG_IGN);
    rlimit saved{};
    getrlimit(RLIMIT_FSIZE, &saved);
    rlimit tiny = saved;
    tiny.rlim_cur = 64;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tiny), 0);
    const bool written = FileListStore::addRecord(list, FileListStore::screenshotRecord("/v/new.png", 1, {}));
    setrlimit(RLIMIT_FSIZE, &saved);
    EXPECT_FALSE(written);

    // A folder that is not there (and cannot be made: its parent is a file).
    EXPECT_FALSE(FileListStore::writeList(list + "/inside-a-file.plist", {}));

    const QVariantList records = FileListStore::readList(list);
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].toMap()["name"], "old.png");
}
