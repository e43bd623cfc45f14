#include "engine/controller/RecordingRules.h"

#include "core/EMLog.h"

#include <cmath>

namespace RecordingRules {

std::optional<RVRect> walkDesktopElements(std::vector<CaptureWindowInfo>& desktopElements,
                                          uint64_t selectedWindowNumber,
                                          const std::string& selectedWindowName) {
    std::optional<RVRect> found;
    const bool keepOthers = selectedWindowName.find("Desktop") != std::string::npos;
    for (auto i = static_cast<long long>(desktopElements.size()) - 1; i >= 0; --i) {
        const CaptureWindowInfo& window = desktopElements[static_cast<std::size_t>(i)];
        const RVRect& b = window.bounds;
        if (window.number != selectedWindowNumber) {
            EMLog::showMessage("windowDic:%s,%s,%d |||||||| %f-%f-%f-%f", window.ownerName.c_str(),
                               window.name.c_str(), static_cast<int>(window.number), b.x, b.y, b.width,
                               b.height);
            if (!keepOthers)
                desktopElements.erase(desktopElements.begin() + i);
            continue;
        }
        // Encoders want even sizes; the origin is evened the same way so the
        // area stays inside the window.
        const auto even = [](double v) {
            return std::floor(v / 2) * 2;
        };
        found = RVRect{even(b.x), even(b.y), even(b.width), even(b.height)};
        EMLog::showMessage("windowDic11:{number=%llu, name=%s, bounds={X=%g, Y=%g, Width=%g, Height=%g}}",
                           static_cast<unsigned long long>(window.number), window.name.c_str(), b.x, b.y,
                           b.width, b.height);
    }
    return found;
}

} // namespace RecordingRules
