#include "platform/portal/PortalRules.h"

#include <algorithm>
#include <cmath>

namespace portalcapture {

std::string requestPath(const std::string& uniqueName, const std::string& token) {
    std::string sender = uniqueName.starts_with(':') ? uniqueName.substr(1) : uniqueName;
    std::replace(sender.begin(), sender.end(), '.', '_');
    return "/org/freedesktop/portal/desktop/request/" + sender + "/" + token;
}

uint32_t chooseCursorMode(uint32_t available) {
    if (available & kCursorMetadata)
        return kCursorMetadata;
    if (available & kCursorEmbedded)
        return kCursorEmbedded;
    return kCursorHidden;
}

StreamArea streamAreaFor(const RVScreen& screen, const RVRect& captureRect, int streamWidth,
                         int streamHeight) {
    if (streamWidth <= 0 || streamHeight <= 0)
        return {};
    if (captureRect.isZero())
        return {0, 0, streamWidth, streamHeight};
    const double sx = screen.isValid() ? double(streamWidth) / screen.width : 1.0;
    const double sy = screen.isValid() ? double(streamHeight) / screen.height : 1.0;
    const int left = std::clamp(static_cast<int>(std::lround(captureRect.x * sx)), 0, streamWidth);
    const int top = std::clamp(static_cast<int>(std::lround(captureRect.y * sy)), 0, streamHeight);
    const int right = std::clamp(static_cast<int>(std::lround((captureRect.x + captureRect.width) * sx)),
                                 left, streamWidth);
    const int bottom = std::clamp(static_cast<int>(std::lround((captureRect.y + captureRect.height) * sy)),
                                  top, streamHeight);
    // The encoder takes even sizes; a pixel less beats a pixel outside.
    const int width = (right - left) & ~1;
    const int height = (bottom - top) & ~1;
    if (width <= 0 || height <= 0)
        return {};
    return {left, top, width, height};
}

std::optional<std::pair<int, int>> pointerInRoot(const RVScreen& screen, int x, int y, int streamWidth,
                                                 int streamHeight) {
    if (x < 0 || y < 0 || x >= streamWidth || y >= streamHeight)
        return std::nullopt;
    return std::make_pair(screen.x + x, screen.y + y);
}

StreamArea mainOutputIn(int pictureWidth, int pictureHeight, const std::vector<RVScreen>& outputs) {
    if (pictureWidth <= 0 || pictureHeight <= 0)
        return {};
    const RVScreen* main = nullptr;
    int left = 0, top = 0, right = 0, bottom = 0;
    for (const RVScreen& s : outputs) {
        if (!s.isValid())
            continue;
        if (!main) {
            left = s.x;
            top = s.y;
            right = s.x + s.width;
            bottom = s.y + s.height;
        }
        if (!main || (s.primary && !main->primary))
            main = &s;
        left = std::min(left, s.x);
        top = std::min(top, s.y);
        right = std::max(right, s.x + s.width);
        bottom = std::max(bottom, s.y + s.height);
    }
    if (!main)
        return {0, 0, pictureWidth, pictureHeight};
    const double sx = double(pictureWidth) / (right - left);
    const double sy = double(pictureHeight) / (bottom - top);
    const int x0 = std::clamp(static_cast<int>(std::lround((main->x - left) * sx)), 0, pictureWidth);
    const int y0 = std::clamp(static_cast<int>(std::lround((main->y - top) * sy)), 0, pictureHeight);
    const int x1 =
        std::clamp(static_cast<int>(std::lround((main->x + main->width - left) * sx)), x0, pictureWidth);
    const int y1 =
        std::clamp(static_cast<int>(std::lround((main->y + main->height - top) * sy)), y0, pictureHeight);
    if (x1 <= x0 || y1 <= y0)
        return {};
    return {x0, y0, x1 - x0, y1 - y0};
}

} // namespace portalcapture
