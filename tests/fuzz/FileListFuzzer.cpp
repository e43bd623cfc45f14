// The recorded-file list (filelist.plist) as the file list window reads it,
// and the add-a-record path that reads it back before rewriting it.
#include "FuzzSupport.h"
#include "app/FileListStore.h"

#include <QDateTime>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quietLog();
    const QString path = fuzz::writeScratchFile("filelist.plist", data, size);
    const QVariantList records = FileListStore::readList(path);
    for (const QVariant& record : records) {
        // The window's columns convert whatever types the file holds.
        const QVariantMap map = record.toMap();
        (void)map.value("path").toString();
        (void)map.value("name").toString();
        (void)map.value("duration").toDouble();
        (void)map.value("size").toDouble();
        (void)map.value("date").toDateTime();
        (void)map.value("isVideo").toBool();
    }
    // A record added to whatever was read must write out and read back.
    const QVariantMap added =
        FileListStore::screenshotRecord("/tmp/shot.png", 1234, QDateTime::fromSecsSinceEpoch(1700000000));
    if (FileListStore::addRecord(path, added)) {
        const QVariantList after = FileListStore::readList(path);
        if (after.isEmpty() || after.first().toMap().value("path") != added.value("path"))
            __builtin_trap();
    }
    fuzz::clearScratch();
    return 0;
}
