#pragma once

#include "platform/x11input/ClickListener.h" // UniqueFd, Connection

#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

// Key presses anywhere on the X desktop, for the hotkeys.
//
// Keys come from XInput2 raw key events selected on the root window: they
// reach us whichever window has the focus, ours included, and nobody's
// keyboard grab hides them. Nothing is grabbed, so the focused window still
// gets the key as well (a passive monitor, not a shortcut that eats keys).
namespace x11input {

struct KeyPress {
    // The key's virtual code (VirtualKeyCodes.h): 18 for the 1 key.
    uint16_t keyCode = 0;
    // ModifierFlag bits of the modifier keys held down, this key included
    // when it is one itself.
    unsigned modifiers = 0;
};

// Listens for key presses on its own thread ("KeyListener") and calls back
// for each key that has a virtual code. Auto-repeat is left out: holding the
// start/stop key must not start and stop a recording over and over.
class KeyListener {
public:
    // Called on the listener thread; keep it short (post the press on).
    using KeyCallback = std::function<void(const KeyPress&)>;

    // Main thread.
    explicit KeyListener(KeyCallback onKey);
    // Stops the thread.
    ~KeyListener();
    KeyListener(const KeyListener&) = delete;
    KeyListener& operator=(const KeyListener&) = delete;

    // Main thread. Connects to `display` (or $DISPLAY), reads the keyboard
    // mapping, selects the raw key events and starts the thread. Once it
    // returns true, every later press is reported. False (logged) without a
    // display or without XInput 2; hotkeys then do nothing.
    bool start(const char* display = nullptr);
    // Main thread. Returns once the thread has ended; no callback after that.
    void stop();
    bool isRunning() const { return thread_.joinable(); }

private:
    void run();
    // Keycode -> virtual code for every key, from the core keyboard mapping.
    // At start, and again on the listener thread when the mapping changes.
    bool loadKeyboardMapping();
    void onRawKey(uint8_t eventType, uint32_t keycode, uint32_t flags);

    KeyCallback onKey_;
    std::unique_ptr<Connection> connection_;
    uint8_t xinputOpcode_ = 0;
    UniqueFd wakeFd_;
    std::thread thread_;
    // Listener thread only (after start()).
    uint8_t minKeycode_ = 0;
    std::vector<int> codeOfKeycode_; // -1: the key has no virtual code
    std::vector<uint16_t> heldModifierKeys_;
};

} // namespace x11input
