#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

// The list of everything recorded: an Apple XML property list whose root is
// an array of dictionaries, newest first. Any plist reader reads it back.
//
// A record holds "path", "name", "duration", "size", "date" and either
// "isVideo" (recordings) or "isImage" (screenshots). Recordings store
// "duration" and "size" as reals, screenshots as integers; readers convert.
//
// The file is read and rewritten whole on each change. Main thread only.
namespace FileListStore {

// The records of the file at `path`. A missing, unreadable or malformed file
// (or one whose root is not an array) reads as an empty list and is logged;
// entries that are not dictionaries are skipped.
QVariantList readList(const QString& path);

// Replaces the file with `records`: the new content is written to a temporary
// file first, then the old file is unlinked and the new one renamed into
// place, so a failed write (full disk, read-only folder) leaves the old list
// as it was. Logs "存储数据失败" and returns false on failure.
bool writeList(const QString& path, const QVariantList& records);

// Loads the list, puts `record` first and writes it back.
bool addRecord(const QString& path, const QVariantMap& record);

// The record of a finished recording.
QVariantMap recordingRecord(const QString& path, double durationSeconds, double sizeBytes,
                            const QDateTime& stoppedAt, bool isVideo);
// The files of a recording as they are on disk: `path`, then path_1,
// path_2, ... as the encoder names the parts of a split, up to the first
// one missing. Empty when `path` itself is missing.
QStringList recordingParts(const QString& path);
// The records of a recording that may have been split into parts (`path`,
// then path_1, path_2, ... as the encoder names them, those that exist),
// last part first so the list stays newest first. Sizes are read from the
// disk; the total duration is shared out by `splitSeconds` per part when the
// split was by time (> 0), otherwise in proportion to each part's size.
// Without parts on disk, one record of `path` with `sizeBytes`.
QVariantList recordingRecords(const QString& path, double durationSeconds, double sizeBytes,
                              double splitSeconds, const QDateTime& stoppedAt, bool isVideo);
// Loads the list, puts `records` first (in their order) and writes it back.
bool addRecords(const QString& path, const QVariantList& records);
// The record of a saved screenshot.
QVariantMap screenshotRecord(const QString& path, quint64 sizeBytes, const QDateTime& savedAt);

// Serialisation, exposed for tests and tools.
QByteArray toPlistXml(const QVariantList& records);
// Nullopt-like: `ok` false when `data` is not a property list with an array root.
QVariantList fromPlistData(const QByteArray& data, bool* ok);

} // namespace FileListStore
