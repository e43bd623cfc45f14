#include "core/KeyValueStore.h"

#include <cstdlib>

long long MemoryKeyValueStore::integerForKey(std::string_view key) const {
    const auto it = values_.find(std::string(key));
    if (it == values_.end())
        return 0;
    return std::visit(
        [](const auto& v) -> long long {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, std::string>)
                return std::strtoll(v.c_str(), nullptr, 10);
            else
                return static_cast<long long>(v);
        },
        it->second);
}

double MemoryKeyValueStore::doubleForKey(std::string_view key) const {
    const auto it = values_.find(std::string(key));
    if (it == values_.end())
        return 0.0;
    return std::visit(
        [](const auto& v) -> double {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, std::string>)
                return std::strtod(v.c_str(), nullptr);
            else
                return static_cast<double>(v);
        },
        it->second);
}

std::string MemoryKeyValueStore::stringForKey(std::string_view key) const {
    const auto it = values_.find(std::string(key));
    if (it == values_.end())
        return {};
    if (const auto* s = std::get_if<std::string>(&it->second))
        return *s;
    return {};
}
