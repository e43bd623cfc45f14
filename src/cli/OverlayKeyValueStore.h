#pragma once

#include "core/KeyValueStore.h"

// A store that reads through to another one but keeps every write to itself:
// a one-off run (`framedeck record --split-time 60`) can change what the
// engine reads without touching the user's settings.
class OverlayKeyValueStore : public KeyValueStore {
public:
    explicit OverlayKeyValueStore(const KeyValueStore& base) : base_(base) {}

    bool hasKey(std::string_view key) const override { return overlay_.hasKey(key) || base_.hasKey(key); }
    long long integerForKey(std::string_view key) const override {
        return overlay_.hasKey(key) ? overlay_.integerForKey(key) : base_.integerForKey(key);
    }
    bool boolForKey(std::string_view key) const override {
        return overlay_.hasKey(key) ? overlay_.boolForKey(key) : base_.boolForKey(key);
    }
    double doubleForKey(std::string_view key) const override {
        return overlay_.hasKey(key) ? overlay_.doubleForKey(key) : base_.doubleForKey(key);
    }
    std::string stringForKey(std::string_view key) const override {
        return overlay_.hasKey(key) ? overlay_.stringForKey(key) : base_.stringForKey(key);
    }
    void setInteger(std::string_view key, long long value) override { overlay_.setInteger(key, value); }
    void setBool(std::string_view key, bool value) override { overlay_.setBool(key, value); }
    void setDouble(std::string_view key, double value) override { overlay_.setDouble(key, value); }
    void setString(std::string_view key, std::string_view value) override { overlay_.setString(key, value); }
    // A removal cannot reach the base; it is remembered as the absent value.
    void removeKey(std::string_view key) override { overlay_.setInteger(key, 0); }

private:
    const KeyValueStore& base_;
    MemoryKeyValueStore overlay_;
};
