#pragma once

#include "core/EMLog.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>
#include <cstddef>
#include <cstdint>

// Shared by the fuzz targets: a private scratch folder for the process and
// a quiet trace, so a run spends its time in the code under test rather
// than in printing the same log line a million times.
namespace fuzz {

inline const QTemporaryDir& scratch() {
    static const QTemporaryDir dir(QDir::tempPath() + "/framedeck-fuzz-XXXXXX");
    return dir;
}

inline void quietLog() {
    static const bool once = [] {
        EMLog::setEchoToStderr(false);
        return true;
    }();
    (void)once;
}

// Writes `data` to `name` inside the scratch folder and returns its path.
inline QString writeScratchFile(const char* name, const uint8_t* data, size_t size) {
    const QString path = scratch().filePath(QString::fromUtf8(name));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    return path;
}

// Empties the scratch folder: a run of millions of inputs must not leave
// millions of files (the settings loader keeps unparsable files aside).
inline void clearScratch() {
    QDir dir(scratch().path());
    for (const QString& entry : dir.entryList(QDir::Files | QDir::Hidden | QDir::System))
        dir.remove(entry);
}

} // namespace fuzz
