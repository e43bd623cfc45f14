#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

class QObject;

namespace portalcapture {

// Global shortcuts through the desktop portal
// (org.freedesktop.portal.GlobalShortcuts), which some Wayland desktops
// offer (KDE Plasma) and others do not (wlroots, GNOME 43): the actions are
// bound by id with a description, the desktop lets the user give them keys
// in its own settings, and each press comes back as the action's id.
//
// Main thread only; `context` must outlive the object, and the callbacks run
// on its thread. Dropping the object closes the portal session.
class GlobalShortcuts {
public:
    struct Shortcut {
        std::string id;
        std::string description;
    };
    using Activated = std::function<void(const std::string& id)>;
    // Empty error: bound, and presses arrive through Activated.
    using Bound = std::function<void(const std::string& error)>;

    explicit GlobalShortcuts(QObject* context);
    ~GlobalShortcuts();
    GlobalShortcuts(const GlobalShortcuts&) = delete;
    GlobalShortcuts& operator=(const GlobalShortcuts&) = delete;

    // Asks the portal on a thread of its own (the desktop may ask the user
    // to confirm). Once per object.
    void bind(std::vector<Shortcut> shortcuts, Activated activated, Bound bound);

    struct State;

private:
    QObject* context_;
    std::shared_ptr<State> state_;
};

} // namespace portalcapture
