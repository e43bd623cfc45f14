#include "app/AppIdentity.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace AppIdentity {

QString displayName() {
    return QStringLiteral("FrameDeck");
}

QString bundleIdentifier() {
    return QStringLiteral("org.framedeck.FrameDeck");
}

QString moviesFolder() {
    QString movies = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (movies.isEmpty())
        movies = QDir::homePath() + "/Videos";
    return movies + "/" + displayName();
}

QString cacheFolder() {
    QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    if (cache.isEmpty())
        cache = QDir::homePath() + "/.cache";
    return cache + "/" + bundleIdentifier();
}

QString logFilePath() {
    return cacheFolder() + "/framedeck.log";
}

QString executableDir() {
    if (QCoreApplication::instance())
        return QCoreApplication::applicationDirPath();
    return QFileInfo(QFileInfo("/proc/self/exe").canonicalFilePath()).absolutePath();
}

} // namespace AppIdentity
