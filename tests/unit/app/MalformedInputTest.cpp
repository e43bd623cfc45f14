// Inputs the fuzz targets (tests/fuzz) found to break the readers of the
// application's own files, each kept here once fixed.
#include "app/FileListStore.h"

#include <QByteArray>
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
