#include "app/SettingsStore.h"

#include "core/EMLog.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QVariantMap>
#include <algorithm>
#include <cmath>

namespace {

QString qkey(std::string_view key) {
    return QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size()));
}

QString userSettingsPath() {
    // Resolve the path QSettings would use for the user scope, then open it
    // explicitly so the corrupt-file handling below applies to it too.
    QSettings probe(QSettings::NativeFormat, QSettings::UserScope, "FrameDeck", "FrameDeck");
    return probe.fileName();
}

// Reads a number from either a number variant or the text the INI file holds.
std::optional<double> toNumber(const QVariant& v) {
    if (!v.isValid())
        return std::nullopt;
    if (v.typeId() == QMetaType::Bool)
        return v.toBool() ? 1.0 : 0.0;
    const QString text = v.toString().trimmed();
    if (text.compare("true", Qt::CaseInsensitive) == 0)
        return 1.0;
    if (text.compare("false", Qt::CaseInsensitive) == 0)
        return 0.0;
    bool ok = false;
    const double d = v.toDouble(&ok);
    return ok ? std::optional<double>(d) : std::nullopt;
}

} // namespace

SettingsStore::SettingsStore() {
    open(userSettingsPath());
}

SettingsStore::SettingsStore(const QString& iniPath) {
    open(iniPath);
}

SettingsStore::~SettingsStore() = default;

void SettingsStore::open(const QString& path) {
    settings_ = std::make_unique<QSettings>(path, QSettings::IniFormat);
    switch (settings_->status()) {
    case QSettings::NoError:
        return;
    case QSettings::FormatError: {
        const QString aside = path + ".corrupt-" + QDateTime::currentDateTime().toString("yyyyMMdd_HHmmss");
        settings_.reset();
        const bool moved = QFile::rename(path, aside);
        EMLog::showMessage("settings file %s could not be parsed; %s, continuing with defaults",
                           qPrintable(path), moved ? qPrintable("kept as " + aside) : "left in place");
        settings_ = std::make_unique<QSettings>(path, QSettings::IniFormat);
        return;
    }
    case QSettings::AccessError:
        EMLog::showMessage("settings file %s cannot be read; continuing with defaults, changes are not saved",
                           qPrintable(path));
        return;
    }
}

QVariant SettingsStore::raw(std::string_view key) const {
    return settings_->value(qkey(key));
}

void SettingsStore::put(std::string_view key, const QVariant& value) {
    settings_->setValue(qkey(key), value);
}

bool SettingsStore::hasKey(std::string_view key) const {
    return settings_->contains(qkey(key));
}

long long SettingsStore::integerForKey(std::string_view key) const {
    const QVariant v = raw(key);
    bool ok = false;
    // The INI file gives text; a fractional number read as an integer is
    // truncated, never rounded.
    const long long i =
        v.typeId() == QMetaType::QString ? v.toString().trimmed().toLongLong(&ok) : v.toLongLong(&ok);
    if (ok && v.typeId() != QMetaType::Double && v.typeId() != QMetaType::Float)
        return i;
    const auto d = toNumber(v);
    if (!d || std::isnan(*d))
        return 0;
    // A damaged or hand-edited number beyond the integer range saturates
    // (converting it as it is would be undefined).
    constexpr double kLimit = 9.2e18;
    return static_cast<long long>(std::clamp(*d, -kLimit, kLimit));
}

bool SettingsStore::boolForKey(std::string_view key) const {
    const auto d = toNumber(raw(key));
    return d && *d != 0.0;
}

double SettingsStore::doubleForKey(std::string_view key) const {
    return toNumber(raw(key)).value_or(0.0);
}

std::string SettingsStore::stringForKey(std::string_view key) const {
    return qstringForKey(key).toStdString();
}

QString SettingsStore::qstringForKey(std::string_view key) const {
    const QVariant v = raw(key);
    // A list read as a string has no meaning; treat it as absent.
    if (v.typeId() == QMetaType::QStringList || v.typeId() == QMetaType::QVariantList)
        return {};
    return v.toString();
}

void SettingsStore::setInteger(std::string_view key, long long value) {
    put(key, value);
}
void SettingsStore::setBool(std::string_view key, bool value) {
    put(key, value);
}
void SettingsStore::setDouble(std::string_view key, double value) {
    put(key, value);
}
void SettingsStore::setString(std::string_view key, std::string_view value) {
    put(key, qkey(value));
}
void SettingsStore::removeKey(std::string_view key) {
    settings_->remove(qkey(key));
}

std::optional<std::array<double, 3>> SettingsStore::colorTripleForKey(std::string_view key) const {
    const QVariantList list = raw(key).toList();
    if (list.size() < 3)
        return std::nullopt;
    std::array<double, 3> rgb{};
    for (int i = 0; i < 3; ++i) {
        const auto d = toNumber(list[i]);
        if (!d)
            return std::nullopt;
        rgb[static_cast<std::size_t>(i)] = *d;
    }
    return rgb;
}

void SettingsStore::setColorTriple(std::string_view key, const std::array<double, 3>& rgb) {
    put(key, QVariantList{rgb[0], rgb[1], rgb[2]});
}

std::optional<RGBAColor> SettingsStore::colorDictionaryForKey(std::string_view key) const {
    const QVariant v = raw(key);
    if (v.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap map = v.toMap();
    RGBAColor c;
    const std::pair<const char*, double*> parts[] = {{"r", &c.r}, {"g", &c.g}, {"b", &c.b}, {"a", &c.a}};
    for (const auto& [name, slot] : parts) {
        const auto d = toNumber(map.value(name));
        if (!d)
            return std::nullopt;
        *slot = *d;
    }
    return c;
}

void SettingsStore::setColorDictionary(std::string_view key, const RGBAColor& color) {
    put(key, QVariantMap{{"r", color.r}, {"g", color.g}, {"b", color.b}, {"a", color.a}});
}

QStringList SettingsStore::stringListForKey(std::string_view key) const {
    const QVariant v = raw(key);
    if (!v.isValid())
        return {};
    return v.toStringList();
}

void SettingsStore::setStringList(std::string_view key, const QStringList& list) {
    put(key, list);
}

bool SettingsStore::synchronize() {
    settings_->sync();
    if (settings_->status() != QSettings::NoError) {
        EMLog::showMessage("settings could not be written to %s", qPrintable(settings_->fileName()));
        return false;
    }
    return true;
}

QString SettingsStore::fileName() const {
    return settings_->fileName();
}
