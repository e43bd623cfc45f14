// The settings file as the application reads it at launch: the bytes become
// the INI file, SettingsStore opens it (moving it aside when QSettings cannot
// parse it), the launch load copies every key into the controller's
// properties, and the typed readers run over every key the file holds.
#include "FuzzSupport.h"
#include "app/LanguageManager.h"
#include "app/LaunchSettings.h"
#include "app/SettingsStore.h"

#include <QStringList>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quietLog();
    const QString path = fuzz::writeScratchFile("FrameDeck.conf", data, size);
    {
        SettingsStore store(path);
        // The launch reads the stored language before it reads the tables,
        // so the language keys in the input choose which table is parsed.
        LanguageManager language(store, QStringLiteral(FRAMEDECK_SOURCE_DIR "/resources"),
                                 [] { return QStringList{"en"}; });
        LaunchHooks hooks;
        hooks.hasUsableMicrophone = [] {
            return false;
        };
        hooks.applyRecordTypes = [](int, unsigned) {
        };
        const AppProperties properties = loadAtLaunch(store, language, hooks);
        (void)properties;
        (void)launchSplitLengths(store);

        // Keys the launch does not read still reach the readers of the
        // preferences and watermark windows.
        QSettings raw(path, QSettings::IniFormat);
        for (const QString& key : raw.allKeys()) {
            const std::string k = key.toStdString();
            (void)store.integerForKey(k);
            (void)store.doubleForKey(k);
            (void)store.boolForKey(k);
            (void)store.stringForKey(k);
            (void)store.colorTripleForKey(k);
            (void)store.colorDictionaryForKey(k);
            (void)store.stringListForKey(k);
        }
        store.synchronize();
    }
    fuzz::clearScratch();
    return 0;
}
