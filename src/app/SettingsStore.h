#pragma once

#include "core/KeyValueStore.h"

#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <array>
#include <memory>
#include <optional>

struct RGBAColor {
    double r = 0, g = 0, b = 0, a = 1;
    bool operator==(const RGBAColor&) const = default;
};

// The per-user settings store, persisted by QSettings as an INI file
// ($XDG_CONFIG_HOME/FrameDeck/FrameDeck.conf). Values are read back with the
// loose conversions the rest of the application expects: an absent integer is
// 0, an absent bool false, a double stored where an integer is read is
// truncated.
//
// A file that cannot be parsed is moved aside (kept, never deleted) and the
// store starts empty, so the application runs on its defaults; an unreadable
// file leaves the store in memory only. Both are logged.
//
// Main thread only.
class SettingsStore : public KeyValueStore {
public:
    // The user's store.
    SettingsStore();
    // A store in an explicit file (tests, tools).
    explicit SettingsStore(const QString& iniPath);
    ~SettingsStore() override;

    bool hasKey(std::string_view key) const override;
    long long integerForKey(std::string_view key) const override;
    bool boolForKey(std::string_view key) const override;
    double doubleForKey(std::string_view key) const override;
    std::string stringForKey(std::string_view key) const override;

    void setInteger(std::string_view key, long long value) override;
    void setBool(std::string_view key, bool value) override;
    void setDouble(std::string_view key, double value) override;
    void setString(std::string_view key, std::string_view value) override;
    void removeKey(std::string_view key) override;

    QString qstringForKey(std::string_view key) const;
    // [red, green, blue]; absent or malformed reads as nullopt.
    std::optional<std::array<double, 3>> colorTripleForKey(std::string_view key) const;
    void setColorTriple(std::string_view key, const std::array<double, 3>& rgb);
    // {"r", "g", "b", "a"}; absent or malformed reads as nullopt.
    std::optional<RGBAColor> colorDictionaryForKey(std::string_view key) const;
    void setColorDictionary(std::string_view key, const RGBAColor& color);
    QStringList stringListForKey(std::string_view key) const;
    void setStringList(std::string_view key, const QStringList& list);

    // Writes pending changes to disk now. False when the file cannot be written.
    bool synchronize();
    QString fileName() const;

private:
    void open(const QString& path);
    QVariant raw(std::string_view key) const;
    void put(std::string_view key, const QVariant& value);

    std::unique_ptr<QSettings> settings_;
};
