#pragma once

#include <cstdint>
#include <map>
#include <string>

struct xcb_connection_t;

namespace x11 {

// One connection to the X server with its default screen's root window.
// Owns the connection; not copyable. Use it from one thread at a time.
class Connection {
public:
    // Opens `display`, or $DISPLAY when null. Check isOpen().
    explicit Connection(const char* display = nullptr);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool isOpen() const { return conn_ != nullptr; }
    xcb_connection_t* get() const { return conn_; }
    std::uint32_t root() const { return root_; }
    int rootWidth() const { return rootWidth_; }
    int rootHeight() const { return rootHeight_; }
    int rootDepth() const { return rootDepth_; }
    // The X screen the display name chose (the "1" of ":0.1").
    int screenNumber() const { return screenNumber_; }

    // The atom of `name`, interned once and cached; 0 on failure.
    std::uint32_t atom(const std::string& name);
    // A round trip: every request sent before has been handled on return.
    void sync();

    // True when a compositing manager runs on X screen `screenNumber`: it
    // owns the "_NET_WM_CM_S<n>" selection while it runs. Without one, a
    // window with an alpha channel shows its transparent parts as black.
    bool hasCompositingManager(int screenNumber);

private:
    xcb_connection_t* conn_ = nullptr;
    std::uint32_t root_ = 0;
    int rootWidth_ = 0;
    int rootHeight_ = 0;
    int rootDepth_ = 0;
    int screenNumber_ = 0;
    std::map<std::string, std::uint32_t> atoms_;
};

} // namespace x11
