#include "app/AppDelegate.h"

#include "app/AppIdentity.h"
#include "app/FileListStore.h"
#include "app/IndexTables.h"
#include "app/OutputNaming.h"
#include "core/EMLog.h"

#include <QDir>
#include <QFile>
#include <QStorageInfo>
#include <chrono>

namespace {

AppDelegate* g_instance = nullptr;

} // namespace

AppDelegate* AppDelegate::sharedInstance() {
    if (!g_instance) {
        // Owned by the process: the controller lives until exit.
        new AppDelegate(std::make_unique<SettingsStore>(), LanguageManager::defaultResourceDir());
    }
    return g_instance;
}

AppDelegate::AppDelegate(std::unique_ptr<SettingsStore> store, const QString& resourceDir,
                         const LaunchHooks& hooks)
    : store_(std::move(store)), language_(std::make_unique<LanguageManager>(*store_, resourceDir)) {
    if (!g_instance) {
        g_instance = this;
        LanguageManager::setShared(language_.get());
    }
    static_cast<AppProperties&>(*this) = loadAtLaunch(*store_, *language_, hooks);
    store_->synchronize();
}

AppDelegate::~AppDelegate() {
    if (g_instance == this) {
        g_instance = nullptr;
        LanguageManager::setShared(nullptr);
    }
}

void AppDelegate::setLange(int language) {
    language_->applyLanguage(language);
    changeLanguage();
}

void AppDelegate::changeLanguage() {
    timeFramStyles = IndexTables::timeFramStyles(language_->isEnglishLanguage());
    emit languageApplied();
}

QString AppDelegate::audioExtensionTitle() const {
    return audioExtensionTitle_.isEmpty() ? IndexTables::audioExtensionForIndex(audioExtensionIndex)
                                          : audioExtensionTitle_;
}

QString AppDelegate::createoutputPath(bool isVideo) {
    const QString folder = AppIdentity::moviesFolder();
    if (!QDir().mkpath(folder))
        EMLog::showMessage("%s %d cannot create the output folder %s", __func__, __LINE__,
                           qPrintable(folder));
    QString extension;
    if (g_instance)
        extension = isVideo ? IndexTables::videoTypeForIndex(g_instance->videoTypeBoxIndex)
                            : g_instance->audioExtensionTitle();
    else
        extension = isVideo ? IndexTables::videoTypeForIndex(0) : IndexTables::audioExtensionForIndex(0);
    return OutputNaming::outputPath(folder, QDateTime::currentDateTime(), extension);
}

QString AppDelegate::getFileNameForNowTime() {
    return OutputNaming::fileNameForTime(QDateTime::currentDateTime());
}

QString AppDelegate::dateToString(const QDateTime& date) {
    return OutputNaming::dateText(date);
}

QString AppDelegate::plistPath() {
    EMLog::showMessage("%s %d", __func__, __LINE__);
    const QString folder = AppIdentity::cacheFolder();
    const QString path = folder + "/filelist.plist";
    if (!QDir().mkpath(folder))
        EMLog::showMessage("%s %d cannot create %s", __func__, __LINE__, qPrintable(folder));
    else if (!QFile::exists(path))
        FileListStore::writeList(path, {}); // an empty list any plist reader accepts
    EMLog::showMessage("%s %d", __func__, __LINE__);
    return path;
}

QString AppDelegate::timeFromString(qulonglong seconds) {
    return OutputNaming::timeFromString(seconds);
}

QString AppDelegate::timeFrom_String(qulonglong seconds) {
    return OutputNaming::timeFrom_String(seconds);
}

double AppDelegate::getNowTimeTimestamp() {
    using namespace std::chrono;
    const auto us = duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
    return static_cast<double>(us) / 1e6;
}

void AppDelegate::generateMemoryInfo() {
    const QString folder = AppIdentity::cacheFolder();
    QDir().mkpath(folder);
    const QStorageInfo info(folder);
    freeSpace = info.isValid() ? static_cast<double>(info.bytesAvailable()) / 1e9 : 0.0;
}

QString AppDelegate::systemFreeSpace() const {
    return OutputNaming::freeSpaceText(freeSpace);
}
