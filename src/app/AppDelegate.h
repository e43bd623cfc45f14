#pragma once

#include "app/LanguageManager.h"
#include "app/LaunchSettings.h"
#include "app/SettingsStore.h"

#include <QDateTime>
#include <QObject>
#include <memory>

// The one application controller. Its first use loads the settings into its
// properties (AppProperties); it owns the settings store and the language
// manager, and offers the naming and storage helpers as class methods.
//
// Main thread only.
class AppDelegate : public QObject, public AppProperties {
    Q_OBJECT
public:
    // The shared controller over the user's own settings, created and loaded
    // on first use.
    static AppDelegate* sharedInstance();
    // A controller over the given store and resources (tests, tools). The
    // first one constructed becomes the shared instance until destroyed.
    AppDelegate(std::unique_ptr<SettingsStore> store, const QString& resourceDir,
                const LaunchHooks& hooks = {});
    ~AppDelegate() override;

    SettingsStore& settings() { return *store_; }
    LanguageManager& language() { return *language_; }

    // The language menu's action: store, switch tables, notify, re-title.
    void setLange(int language);
    // Re-reads everything language-dependent that the controller owns.
    void changeLanguage();

    // The extension of an audio-only recording: the entry the audio-format
    // pop-up shows. Until a window sets it, the stored "AudioTypeIndex".
    QString audioExtensionTitle() const;
    void setAudioExtensionTitle(const QString& title) { audioExtensionTitle_ = title; }

    // Output naming and storage.
    // The folder + date-time name + extension; creates the folder.
    static QString createoutputPath(bool isVideo);
    static QString getFileNameForNowTime();
    static QString dateToString(const QDateTime& date);
    // ~/.cache/org.framedeck.FrameDeck/filelist.plist; creates the folder and
    // an empty list when missing.
    static QString plistPath();
    static QString timeFromString(qulonglong seconds);
    static QString timeFrom_String(qulonglong seconds);
    // Seconds since the epoch, microsecond resolution.
    static double getNowTimeTimestamp();

    // Free space of the cache folder's file system, in decimal gigabytes.
    void generateMemoryInfo();
    QString systemFreeSpace() const;
    double freeSpace = 0;

signals:
    // Emitted by changeLanguage() after the controller's own texts are updated.
    void languageApplied();

private:
    std::unique_ptr<SettingsStore> store_;
    std::unique_ptr<LanguageManager> language_;
    QString audioExtensionTitle_;
};
