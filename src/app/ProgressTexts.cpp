#include "app/ProgressTexts.h"

#include <cstdio>

namespace ProgressTexts {

std::string durationText(uint64_t seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%02lu:%02lu:%02lu", static_cast<unsigned long>((seconds / 3600) % 60),
                  static_cast<unsigned long>((seconds / 60) % 60), static_cast<unsigned long>(seconds % 60));
    return text;
}

std::string fileSizeText(double bytes, const std::string& freeSpace) {
    char text[64];
    std::snprintf(text, sizeof text, "%.2f MB / ", bytes / 1000000.0);
    return text + freeSpace;
}

} // namespace ProgressTexts
