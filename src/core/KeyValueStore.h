#pragma once

#include <map>
#include <string>
#include <string_view>
#include <variant>

// The per-user settings as the engine sees them: flat keys, typed reads.
// Absent keys read as 0, false, 0.0 or "" (callers rely on that).
// The application backs this with its persistent store; tests use
// MemoryKeyValueStore. Implementations are used from the main thread only
// unless they say otherwise.
class KeyValueStore {
public:
    virtual ~KeyValueStore() = default;

    virtual bool hasKey(std::string_view key) const = 0;
    virtual long long integerForKey(std::string_view key) const = 0;
    virtual bool boolForKey(std::string_view key) const = 0;
    virtual double doubleForKey(std::string_view key) const = 0;
    virtual std::string stringForKey(std::string_view key) const = 0;

    virtual void setInteger(std::string_view key, long long value) = 0;
    virtual void setBool(std::string_view key, bool value) = 0;
    virtual void setDouble(std::string_view key, double value) = 0;
    virtual void setString(std::string_view key, std::string_view value) = 0;
    virtual void removeKey(std::string_view key) = 0;
};

// In-memory store with the same read rules, for tests and headless tools.
class MemoryKeyValueStore : public KeyValueStore {
public:
    using Value = std::variant<long long, bool, double, std::string>;

    bool hasKey(std::string_view key) const override { return values_.count(std::string(key)) != 0; }
    long long integerForKey(std::string_view key) const override;
    bool boolForKey(std::string_view key) const override { return integerForKey(key) != 0; }
    double doubleForKey(std::string_view key) const override;
    std::string stringForKey(std::string_view key) const override;

    void setInteger(std::string_view key, long long value) override { values_[std::string(key)] = value; }
    void setBool(std::string_view key, bool value) override { values_[std::string(key)] = value; }
    void setDouble(std::string_view key, double value) override { values_[std::string(key)] = value; }
    void setString(std::string_view key, std::string_view value) override {
        values_[std::string(key)] = std::string(value);
    }
    void removeKey(std::string_view key) override { values_.erase(std::string(key)); }

private:
    std::map<std::string, Value> values_;
};
