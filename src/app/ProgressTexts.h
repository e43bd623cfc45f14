#pragma once

#include <cstdint>
#include <string>

// The texts of the running recording's labels (main window, audio panel,
// tray tool tip). Pure functions, any thread.
namespace ProgressTexts {

// "%02lu:%02lu:%02lu" of whole seconds; the hours field wraps at 60 like the
// others (60 hours show as 00:00:00).
std::string durationText(uint64_t seconds);
// "%.2f MB / %s": bytes in decimal megabytes, then the free-space text.
std::string fileSizeText(double bytes, const std::string& freeSpace);

} // namespace ProgressTexts
