#pragma once

#include "selection/WindowServer.h"

// A window server whose lists the test fills in. Installs itself as the
// shared server for its lifetime.
class FakeWindowServer : public WindowServer {
public:
    FakeWindowServer() { WindowServer::setShared(this); }
    ~FakeWindowServer() override { WindowServer::setShared(nullptr); }

    std::vector<DisplayInfo> displays() override { return displayList; }
    std::vector<WindowInfo> onScreenWindows() override { return windowList; }
    std::optional<std::uint32_t> mainDisplayId() override { return mainId; }
    PointD mouseLocationInWindowList() override { return mouse; }
    QImage windowIcon(std::uint32_t) override { return {}; }
    QImage captureRect(const RectD& rect, const std::vector<std::uint32_t>&) override {
        captured.push_back(rect);
        return {};
    }
    int currentProcessId() const override { return selfPid; }

    std::vector<DisplayInfo> displayList;
    std::vector<WindowInfo> windowList;
    std::optional<std::uint32_t> mainId;
    PointD mouse;
    std::vector<RectD> captured;
    int selfPid = 4242;
};
