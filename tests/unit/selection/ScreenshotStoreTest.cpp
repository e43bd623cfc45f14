#include "selection/ScreenshotStore.h"

#include "FakeWindowServer.h"
#include "TempHome.h"
#include "app/AppDelegate.h"
#include "app/FileListStore.h"
#include "core/EMLog.h"
#include "selection/ShutterSound.h"

#include <QFile>
#include <QFileInfo>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>

namespace {

QImage smallPicture() {
    QImage image(8, 6, QImage::Format_RGB32);
    image.fill(QColor(0x33, 0x66, 0xcc));
    image.setPixel(7, 5, qRgb(0xff, 0x00, 0x00));
    return image;
}

QString readText(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

} // namespace

TEST(ShutterSound, IsAShortAudibleClickThatEndsInSilence) {
    const std::vector<std::int16_t> samples = ShutterSound::synthesize(ShutterSound::kSampleRate);
    // 150 ms at 44.1 kHz.
    ASSERT_EQ(samples.size(), 6615u);
    double energy = 0;
    int peak = 0;
    for (std::int16_t s : samples) {
        energy += double(s) * s;
        peak = std::max(peak, std::abs(int(s)));
    }
    const double rms = std::sqrt(energy / double(samples.size())) / 32768.0;
    EXPECT_GT(rms, 0.02);
    EXPECT_GT(peak, 20000);
    EXPECT_LT(peak, 32767); // headroom, no clipping
    // No click of its own at the end, and the same sound every time.
    EXPECT_EQ(samples.back(), 0);
    EXPECT_EQ(samples, ShutterSound::synthesize(ShutterSound::kSampleRate));
    EXPECT_EQ(ShutterSound::synthesize(48000).size(), 7200u);
}

TEST(ScreenshotStore, AnUnwritableFolderIsLoggedAndStillListed) {
    TempHome home;
    const QString log = home.path() + "/trace.log";
    EMLog::setLogFile(log.toStdString());
    // A folder that is a file: no one, root included, can write below it.
    QFile blocker(home.path() + "/notAFolder");
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const QString path = home.path() + "/notAFolder/shot.png";
    const QString plist = AppDelegate::plistPath();

    const ScreenshotStore::SavedImage saved = ScreenshotStore::saveImageAt(smallPicture(), path, plist);
    EMLog::setLogFile("");
    EXPECT_FALSE(saved.written);
    EXPECT_GT(saved.size, 0u);
    EXPECT_FALSE(QFileInfo::exists(path));
    const QString trace = readText(log);
    EXPECT_TRUE(trace.contains("Save Image: 0")) << trace.toStdString();
    EXPECT_TRUE(trace.contains("isSuccess:0"));
    const QVariantList list = FileListStore::readList(plist);
    ASSERT_EQ(list.size(), 1);
    EXPECT_EQ(list[0].toMap()["path"].toString(), path);

    // A picture that could not be taken is listed with no bytes and writes nothing.
    const ScreenshotStore::SavedImage empty =
        ScreenshotStore::saveImageAt(QImage(), home.path() + "/empty.png", plist);
    EXPECT_FALSE(empty.written);
    EXPECT_EQ(empty.size, 0u);
    EXPECT_FALSE(QFileInfo::exists(home.path() + "/empty.png"));
}

TEST(ScreenshotStore, TheMainDisplayIsThePrimaryOneWhereverItIsListed) {
    FakeWindowServer server;
    server.displayList = {DisplayInfo{9, {-1280, 0, 1280, 1024}, std::nullopt, false},
                          DisplayInfo{7, {0, 0, 1920, 1080}, std::nullopt, true}};
    server.mainId = 9; // the active window is on the other display
    EXPECT_TRUE(ScreenshotStore::getmainDesktopImage().isNull());
    ASSERT_EQ(server.captured.size(), 1u);
    EXPECT_EQ(server.captured[0], (RectD{0, 0, 1920, 1080}));
}
