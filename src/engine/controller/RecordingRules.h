#pragma once

#include "engine/capture/CaptureTypes.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The pure rules of the recording controller, apart so they can be tested
// without a recording.
namespace RecordingRules {

// Window recordings: walks `desktopElements` from its last entry to its
// first. Other windows are logged and, unless the selected window's name
// contains "Desktop", removed from the list. The selected window's bounds,
// each rounded down to an even number, are the result (nullopt when the
// window is not in the list).
std::optional<RVRect> walkDesktopElements(std::vector<CaptureWindowInfo>& desktopElements,
                                          uint64_t selectedWindowNumber,
                                          const std::string& selectedWindowName);

} // namespace RecordingRules
