#include "selection/ScreenshotStore.h"

#include "app/AppDelegate.h"
#include "app/AppIdentity.h"
#include "app/FileListStore.h"
#include "core/EMLog.h"
#include "selection/RVClipScreenManager.h"
#include "selection/WindowServer.h"

#include <QBuffer>
#include <QDateTime>
#include <QDir>
#include <QSaveFile>

namespace {

QByteArray encodePng(const QImage& image) {
    QByteArray png;
    if (image.isNull())
        return png;
    QBuffer buffer(&png);
    if (!buffer.open(QIODevice::WriteOnly) || !image.save(&buffer, "PNG"))
        png.clear();
    return png;
}

// Temporary file + rename: the PNG appears whole or not at all.
bool writeAtomically(const QString& path, const QByteArray& data) {
    if (data.isEmpty())
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        EMLog::showMessage("%s %d cannot write %s: %s", __func__, __LINE__, qPrintable(path),
                           qPrintable(file.errorString()));
        return false;
    }
    if (file.write(data) != data.size()) {
        EMLog::showMessage("%s %d cannot write %s: %s", __func__, __LINE__, qPrintable(path),
                           qPrintable(file.errorString()));
        file.cancelWriting();
        return false;
    }
    if (!file.commit()) {
        EMLog::showMessage("%s %d cannot write %s: %s", __func__, __LINE__, qPrintable(path),
                           qPrintable(file.errorString()));
        return false;
    }
    return true;
}

} // namespace

ScreenshotStore::SavedImage ScreenshotStore::saveImageAt(const QImage& image, const QString& path,
                                                         const QString& plistPath) {
    SavedImage saved;
    saved.path = path;
    const QByteArray png = encodePng(image);
    saved.size = quint64(png.size());
    saved.written = writeAtomically(path, png);
    EMLog::showMessage("Save Image: %d", int(saved.written));
    EMLog::showMessage("%s %d isSuccess:%d", __func__, __LINE__, int(saved.written));
    FileListStore::addRecord(plistPath,
                             FileListStore::screenshotRecord(path, saved.size, QDateTime::currentDateTime()));
    return saved;
}

QString ScreenshotStore::pathForNow() {
    const QString folder = AppIdentity::moviesFolder();
    if (!QDir().mkpath(folder))
        EMLog::showMessage("%s %d cannot create the output folder %s", __func__, __LINE__,
                           qPrintable(folder));
    return folder + "/" + AppDelegate::getFileNameForNowTime() + ".png";
}

QString ScreenshotStore::saveImage(const QImage& image) {
    return saveImageAt(image, pathForNow(), AppDelegate::plistPath()).path;
}

QImage ScreenshotStore::getmainDesktopImage() {
    WindowServer& server = WindowServer::shared();
    const std::vector<DisplayInfo> displays = server.displays();
    if (displays.empty())
        return {};
    const DisplayInfo* main = &displays.front();
    for (const DisplayInfo& d : displays) {
        if (d.primary) {
            main = &d;
            break;
        }
    }
    const QImage image = server.captureRect(main->bounds, {});
    if (image.isNull())
        return {};
    // Opaque: the picture of a screen has nothing to see through.
    return image.convertToFormat(QImage::Format_RGB32);
}

QString takeMainDisplayScreenshot() {
    EMLog::showMessage("%s %d", __func__, __LINE__);
    RVClipScreenManager::sharedInstance()->playShutterSound();
    const QImage image = ScreenshotStore::getmainDesktopImage();
    if (image.isNull()) {
        EMLog::showMessage("%s %d the main display could not be captured", __func__, __LINE__);
        return {};
    }
    return ScreenshotStore::saveImage(image);
}
