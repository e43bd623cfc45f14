#include "app/LanguageManager.h"

#include "app/AppIdentity.h"
#include "app/SettingsSchema.h"
#include "app/SettingsStore.h"
#include "core/EMLog.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <algorithm>

namespace {

LanguageManager* g_shared = nullptr;

constexpr int kMaxStoredLanguage = 8;

} // namespace

LanguageNotifier& LanguageNotifier::instance() {
    static LanguageNotifier notifier;
    return notifier;
}

LanguageManager::LanguageManager(SettingsStore& store, QString resourceDir, LanguageList systemLanguages)
    : store_(store), resourceDir_(std::move(resourceDir)), systemLanguages_(std::move(systemLanguages)) {
    if (!systemLanguages_)
        systemLanguages_ = [] {
            return QLocale::system().uiLanguages();
        };
}

LanguageManager* LanguageManager::shared() {
    return g_shared;
}
void LanguageManager::setShared(LanguageManager* manager) {
    g_shared = manager;
}

int languageForTag(const QString& rawTag) {
    const QString tag = QString(rawTag).replace('_', '-');
    if (tag.contains("zh-Hans", Qt::CaseInsensitive))
        return 1;
    if (tag.contains("zh-Hant", Qt::CaseInsensitive))
        return 2;
    // Linux locales name regions, not scripts.
    static const QStringList traditional = {"zh-TW", "zh-HK", "zh-MO"};
    for (const QString& t : traditional)
        if (tag.startsWith(t, Qt::CaseInsensitive))
            return 2;
    // zh-CN, zh-SG and a bare "zh" read as Simplified Chinese, the script of
    // most Chinese desktops.
    if (tag.compare("zh", Qt::CaseInsensitive) == 0 || tag.startsWith("zh-", Qt::CaseInsensitive))
        return 1;
    return 0;
}

QStringList LanguageManager::preferredLanguages() const {
    const QStringList own = store_.stringListForKey(SettingsKeys::AppleLanguages);
    return own.isEmpty() ? systemLanguages_() : own;
}

int LanguageManager::getSystemLanguage() const {
    const QStringList list = preferredLanguages();
    return list.isEmpty() ? 0 : languageForTag(list.first());
}

bool LanguageManager::isEnglishLanguage() const {
    return store_.integerForKey(SettingsKeys::AppLanguage) < 1;
}

int LanguageManager::effectiveLanguage() const {
    long long n = store_.integerForKey(SettingsKeys::AppLanguage);
    n = std::clamp<long long>(n, 0, kMaxStoredLanguage);
    if (!store_.boolForKey(SettingsKeys::IsLanguageChanged))
        n = getSystemLanguage();
    return (n == 1 || n == 2) ? static_cast<int>(n) : 0;
}

QString LanguageManager::folderForLanguage(int language) {
    switch (language) {
    case 1:
        return "zh-Hans";
    case 2:
        return "zh-Hant";
    default:
        return "en";
    }
}

const StringsTable* LanguageManager::table(const QString& folder) const {
    auto it = tables_.find(folder);
    if (it == tables_.end()) {
        std::optional<StringsTable> loaded;
        QFile file(resourceDir_ + "/" + folder + ".lproj/Localizable.strings");
        if (file.open(QIODevice::ReadOnly)) {
            loaded = parseStrings(file.readAll());
            for (const QString& problem : loaded->problems)
                EMLog::showMessage("%s/Localizable.strings %s (entry skipped)", qPrintable(folder),
                                   qPrintable(problem));
        } else {
            EMLog::showMessage("no string table at %s", qPrintable(file.fileName()));
        }
        it = tables_.emplace(folder, std::move(loaded)).first;
    }
    return it->second ? &*it->second : nullptr;
}

QString LanguageManager::localizedStringForKey(const QString& key, const QString& value) const {
    if (const StringsTable* chosen = table(folderForLanguage(effectiveLanguage())))
        return chosen->entries.value(key, value);
    // The chosen language is not installed: fall back to the base table,
    // with an empty default, like a look-up in the application's own bundle.
    if (const StringsTable* base = table("en"))
        return base->entries.value(key, QString(""));
    return QString("");
}

void LanguageManager::setLanguage() {
    store_.setBool(SettingsKeys::IsLanguageChanged, true);
    table(folderForLanguage(effectiveLanguage()));
}

void LanguageManager::applyLanguage(int language) {
    store_.setInteger(SettingsKeys::AppLanguage, language);
    // The tag the desktop's own texts would follow on the next start.
    const char* tag = language == 2 ? "zh_HK" : language == 1 ? "zh_CN" : "en";
    store_.setStringList(SettingsKeys::AppleLanguages, {tag});
    store_.synchronize();
    setLanguage();
    emit LanguageNotifier::instance().ChangeLanguageNotification();
}

QString LanguageManager::getCurrentBundleIdentifier() {
    return AppIdentity::bundleIdentifier();
}

QString LanguageManager::defaultResourceDir() {
    const QByteArray fromEnv = qgetenv("FRAMEDECK_RESOURCE_DIR");
    if (!fromEnv.isEmpty())
        return QString::fromLocal8Bit(fromEnv);
    return QDir(AppIdentity::executableDir() + "/../share/framedeck").absolutePath();
}

QString L(const char* key) {
    LanguageManager* manager = LanguageManager::shared();
    return manager ? manager->localizedStringForKey(QString::fromUtf8(key)) : QString::fromUtf8(key);
}

QString LF(const char* key, const QStringList& args) {
    QString text = L(key);
    qsizetype from = 0;
    for (const QString& arg : args) {
        const qsizetype at = text.indexOf("%@", from);
        if (at < 0)
            break;
        text.replace(at, 2, arg);
        from = at + arg.size();
    }
    return text;
}
