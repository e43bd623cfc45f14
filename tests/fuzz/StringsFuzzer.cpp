// The .strings parser over raw bytes (any encoding it detects), and the
// property the interface relies on: every key it reports is in the table.
#include "app/StringsParser.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const StringsTable table = parseStrings(bytes);
    for (const QString& key : table.keysInOrder)
        if (!table.entries.contains(key))
            __builtin_trap();
    return 0;
}
