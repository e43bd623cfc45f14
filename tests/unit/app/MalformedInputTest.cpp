// Inputs the fuzz targets (tests/fuzz) found to break the readers of the
// application's own files, each kept here once fixed.
#include "TempHome.h"
#include "app/FileListStore.h"
#include "app/SettingsStore.h"
#include "core/Saturating.h"
#include "overlays/Watermark.h"

#include <QByteArray>
#include <QFile>
#include <gtest/gtest.h>

namespace {

QByteArray listWithPath(const QByteArray& path) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<plist version=\"1.0\">\n<array>\n\t<dict>\n"
           "\t\t<key>name</key>\n\t\t<string>a.mp4</string>\n"
           "\t\t<key>path</key>\n\t\t<string>" +
           path +
           "</string>\n"
           "\t\t<key>size</key>\n\t\t<real>3456789</real>\n"
           "\t</dict>\n</array>\n</plist>\n";
}

} // namespace

// libplist aborts (an assertion) when a string holding a zero byte is read
// with plist_get_string_val; a torn or hand-edited list must not take the
// application down with it. The text reads up to the zero byte.
TEST(FileListMalformed, ZeroByteInsideAStringReadsUpToIt) {
    bool ok = false;
    const QVariantList records =
        FileListStore::fromPlistData(listWithPath(QByteArray("/home/u/\0\0\0\0es/a.mp4", 21)), &ok);
    ASSERT_TRUE(ok);
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].toMap().value("path").toString(), "/home/u/");
    EXPECT_EQ(records[0].toMap().value("name").toString(), "a.mp4");
}

// libplist refuses a &#0; reference outright: the file is not a list then,
// and reads as empty like any other damaged file.
TEST(FileListMalformed, ZeroCharacterReferenceIsADamagedFile) {
    bool ok = true;
    const QVariantList records = FileListStore::fromPlistData(listWithPath("/v/&#0;x.mp4"), &ok);
    EXPECT_FALSE(ok);
    EXPECT_TRUE(records.isEmpty());
}

// Numbers beyond every range in a damaged settings file: integers and
// floats saturate, the placement of a watermark scaled beyond reason draws
// nothing; none of it is an undefined conversion.
TEST(SettingsMalformed, NumbersBeyondTheirRangeSaturate) {
    TempHome home;
    const QString path = home.path() + "/huge.conf";
    {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("[General]\nRecordAudioType=0666666666666666666666666666666666\nFpsItemIndex=-1e300\n"
                "Watermark_alpha=1e300\nWatermark_scale=1e300\nWatermark_center_x=nan\n");
    }
    SettingsStore store(path);
    EXPECT_EQ(store.integerForKey("RecordAudioType"), 9200000000000000000LL);
    EXPECT_EQ(store.integerForKey("FpsItemIndex"), -9200000000000000000LL);
    EXPECT_EQ(saturatingFloat(store.doubleForKey("Watermark_alpha")), 3.4e38f);
    const WatermarkPlacement placement = readWatermarkPlacement(store);
    const WatermarkFrameRect r = watermarkFrameRect(QSizeF(300, 60), false, placement, 1920, 1080);
    EXPECT_EQ(r.width, 0);
    EXPECT_EQ(r.height, 0);
}
