#include "platform/x11input/KeyListener.h"

#include "core/EMLog.h"
#include "platform/x11input/RawInput.h"
#include "platform/x11input/VirtualKeyCodes.h"

#include <algorithm>
#include <pthread.h>
#include <span>
#include <xcb/xinput.h>

namespace x11input {

namespace {

constexpr const char* kNoHotkeys = "hotkeys will not work";

} // namespace

KeyListener::KeyListener(KeyCallback onKey) : onKey_(std::move(onKey)) {
}

KeyListener::~KeyListener() {
    stop();
}

bool KeyListener::start(const char* display) {
    if (isRunning())
        return true;
    auto connection = std::make_unique<Connection>(display);
    if (!connection->conn) {
        EMLog::showMessage("%s %d no X display: %s", __func__, __LINE__, kNoHotkeys);
        return false;
    }
    // Releases too, to know which modifiers are held at a press.
    const auto opcode = selectRawEvents(
        *connection, XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE,
        kNoHotkeys);
    if (!opcode)
        return false;
    connection_ = std::move(connection);
    if (!loadKeyboardMapping()) {
        EMLog::showMessage("%s %d the keyboard mapping could not be read: %s", __func__, __LINE__,
                           kNoHotkeys);
        connection_.reset();
        return false;
    }
    wakeFd_.reset(makeWakeFd());
    if (wakeFd_.get() < 0) {
        connection_.reset();
        return false;
    }
    xinputOpcode_ = *opcode;
    heldModifierKeys_.clear();
    thread_ = std::thread([this] { run(); });
    return true;
}

void KeyListener::stop() {
    if (thread_.joinable()) {
        wake(wakeFd_.get());
        thread_.join();
    }
    wakeFd_.reset();
    connection_.reset();
}

bool KeyListener::loadKeyboardMapping() {
    xcb_connection_t* c = connection_->conn;
    const xcb_setup_t* setup = xcb_get_setup(c);
    const uint8_t first = setup->min_keycode;
    const uint8_t count = static_cast<uint8_t>(setup->max_keycode - first + 1);
    Reply<xcb_get_keyboard_mapping_reply_t> reply(
        xcb_get_keyboard_mapping_reply(c, xcb_get_keyboard_mapping(c, first, count), nullptr));
    if (!reply)
        return false;
    const std::span<const xcb_keysym_t> keysyms(xcb_get_keyboard_mapping_keysyms(reply.get()),
                                                xcb_get_keyboard_mapping_keysyms_length(reply.get()));
    const std::size_t perKey = reply->keysyms_per_keycode;
    minKeycode_ = first;
    codeOfKeycode_.assign(count, -1);
    for (std::size_t key = 0; key < count && perKey > 0 && (key + 1) * perKey <= keysyms.size(); ++key) {
        if (const auto code = virtualKeyCodeFromKeysyms(keysyms.subspan(key * perKey, perKey)))
            codeOfKeycode_[key] = *code;
    }
    return true;
}

void KeyListener::onRawKey(uint8_t eventType, uint32_t keycode, uint32_t flags) {
    if (keycode < minKeycode_ || keycode - minKeycode_ >= codeOfKeycode_.size())
        return;
    const int code = codeOfKeycode_[keycode - minKeycode_];
    if (code < 0)
        return;
    const auto virtualCode = static_cast<uint16_t>(code);
    const bool isModifier = modifierFlagOfVirtualKey(virtualCode) != 0;
    const auto held = std::find(heldModifierKeys_.begin(), heldModifierKeys_.end(), virtualCode);
    if (eventType == XCB_INPUT_RAW_KEY_RELEASE) {
        if (held != heldModifierKeys_.end())
            heldModifierKeys_.erase(held);
        return;
    }
    if (flags & XCB_INPUT_KEY_EVENT_FLAGS_KEY_REPEAT)
        return;
    if (isModifier && held == heldModifierKeys_.end())
        heldModifierKeys_.push_back(virtualCode);
    KeyPress press{virtualCode, 0};
    for (const uint16_t modifierKey : heldModifierKeys_)
        press.modifiers |= modifierFlagOfVirtualKey(modifierKey);
    if (onKey_)
        onKey_(press);
}

void KeyListener::run() {
    pthread_setname_np(pthread_self(), "KeyListener");
    xcb_connection_t* c = connection_->conn;
    for (;;) {
        // Events may already sit in the queue (read while waiting for a
        // mapping reply): take them all before sleeping.
        while (Reply<xcb_generic_event_t> event{xcb_poll_for_event(c)}) {
            const uint8_t type = event->response_type & 0x7f;
            if (type == XCB_MAPPING_NOTIFY) {
                // Another layout, or a tool (xdotool among them) borrowing a
                // spare keycode for a key the layout lacks.
                const auto* notify = reinterpret_cast<const xcb_mapping_notify_event_t*>(event.get());
                if (notify->request == XCB_MAPPING_KEYBOARD && !loadKeyboardMapping())
                    EMLog::showMessage("%s %d the new keyboard mapping could not be read", __func__,
                                       __LINE__);
                continue;
            }
            if (type != XCB_GE_GENERIC)
                continue;
            const auto* generic = reinterpret_cast<const xcb_ge_generic_event_t*>(event.get());
            if (generic->extension != xinputOpcode_)
                continue;
            if (generic->event_type != XCB_INPUT_RAW_KEY_PRESS &&
                generic->event_type != XCB_INPUT_RAW_KEY_RELEASE)
                continue;
            const auto* key = reinterpret_cast<const xcb_input_raw_key_press_event_t*>(event.get());
            onRawKey(static_cast<uint8_t>(generic->event_type), key->detail, key->flags);
        }
        if (!waitForEvents(c, wakeFd_.get(), "hotkeys no longer work"))
            return;
    }
}

} // namespace x11input
