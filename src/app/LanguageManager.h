#pragma once

#include "app/StringsParser.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <map>
#include <optional>

class SettingsStore;

// Application-wide notifier of a language change. Every window connects its
// ChangeLoanguage() slot to ChangeLanguageNotification() and re-reads its texts.
class LanguageNotifier : public QObject {
    Q_OBJECT
public:
    static LanguageNotifier& instance();
signals:
    void ChangeLanguageNotification();
};

// Looks every visible text up by key in the "Localizable.strings" table of
// the interface language: "en.lproj", "zh-Hans.lproj" or "zh-Hant.lproj"
// inside the resource folder. Tables are parsed once and kept.
//
// The language is "AppLanguage" (0 English, 1 Simplified, 2 Traditional
// Chinese) once the user picked one in the application ("isLanguageChanged"),
// and the system's preferred language before that.
//
// Main thread only.
class LanguageManager {
public:
    using LanguageList = std::function<QStringList()>;

    // `systemLanguages` gives the desktop's preferred languages, most
    // preferred first (default: QLocale's uiLanguages()).
    LanguageManager(SettingsStore& store, QString resourceDir, LanguageList systemLanguages = {});

    // The shared manager that free look-ups use; set by the application at start.
    static LanguageManager* shared();
    static void setShared(LanguageManager* manager);

    // True while "AppLanguage" is below 1. Deliberately does not consult the
    // system language, so the time-watermark formats stay English until the
    // user picks a Chinese interface in the application.
    bool isEnglishLanguage() const;
    // Marks that the user chose a language and loads that language's table.
    void setLanguage();
    // The text of `key`; `value` when the table lacks it.
    QString localizedStringForKey(const QString& key, const QString& value) const;
    QString localizedStringForKey(const QString& key) const {
        return localizedStringForKey(key, QString(""));
    }
    // 0 English, 1 Simplified Chinese, 2 Traditional Chinese, from the first
    // entry of the preferred-language list.
    int getSystemLanguage() const;
    static QString getCurrentBundleIdentifier();

    // Stores the choice, records the matching preferred-language tag, switches
    // tables and posts ChangeLanguageNotification. (The application controller
    // wraps this in its setLange() and re-titles its own controls.)
    void applyLanguage(int language);

    // The language the look-up uses now: 0, 1 or 2.
    int effectiveLanguage() const;
    static QString folderForLanguage(int language);
    // <executable>/../share/framedeck, or $FRAMEDECK_RESOURCE_DIR when set.
    static QString defaultResourceDir();

    // The key set of one language's table (tests and diagnostics).
    const StringsTable* table(const QString& folder) const;

private:
    QStringList preferredLanguages() const;

    SettingsStore& store_;
    QString resourceDir_;
    LanguageList systemLanguages_;
    mutable std::map<QString, std::optional<StringsTable>> tables_;
};

// Interprets one language tag ("zh-Hans-CN", "zh_TW", "en-US", ...) as 0, 1 or 2.
int languageForTag(const QString& tag);

// Short form for widgets: the shared manager's text of `key`.
QString L(const char* key);
// The text of `key` with each "%@" replaced by the next of `args`, in order.
QString LF(const char* key, const QStringList& args);
