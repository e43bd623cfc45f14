#include "platform/x11input/ClickListener.h"

#include "core/EMLog.h"
#include "platform/x11input/RawInput.h"

#include <pthread.h>
#include <unistd.h>
#include <xcb/xinput.h>

namespace x11input {

namespace {

// The wheel reports its notches as presses of these buttons.
constexpr int kFirstWheelButton = 4;
constexpr int kLastWheelButton = 7;

constexpr const char* kNoClicks = "clicks will not be shown";

} // namespace

void UniqueFd::reset(int fd) {
    if (fd_ >= 0)
        close(fd_);
    fd_ = fd;
}

PointerReader::PointerReader(const char* display) : connection_(std::make_unique<Connection>(display)) {
    if (!connection_->conn)
        connection_.reset();
}

PointerReader::~PointerReader() = default;

bool PointerReader::isOpen() const {
    return connection_ != nullptr;
}

std::optional<RootPointer> PointerReader::position() {
    if (!connection_ || xcb_connection_has_error(connection_->conn))
        return std::nullopt;
    return connection_->queryPointer();
}

ClickListener::ClickListener(ClickCallback onClick) : onClick_(std::move(onClick)) {
}

ClickListener::~ClickListener() {
    stop();
}

bool ClickListener::start(const char* display) {
    if (isRunning())
        return true;
    auto connection = std::make_unique<Connection>(display);
    if (!connection->conn) {
        EMLog::showMessage("%s %d no X display: clicks will not be shown", __func__, __LINE__);
        return false;
    }
    const auto opcode = selectRawEvents(*connection, XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS, kNoClicks);
    if (!opcode)
        return false;
    wakeFd_.reset(makeWakeFd());
    if (wakeFd_.get() < 0)
        return false;
    xinputOpcode_ = *opcode;
    connection_ = std::move(connection);
    thread_ = std::thread([this] { run(); });
    return true;
}

void ClickListener::stop() {
    if (thread_.joinable()) {
        wake(wakeFd_.get());
        thread_.join();
    }
    wakeFd_.reset();
    connection_.reset();
}

void ClickListener::run() {
    pthread_setname_np(pthread_self(), "ClickListener");
    xcb_connection_t* c = connection_->conn;
    for (;;) {
        // Events may already sit in the queue (read while waiting for the
        // pointer reply): take them all before sleeping.
        while (Reply<xcb_generic_event_t> event{xcb_poll_for_event(c)}) {
            if ((event->response_type & 0x7f) != XCB_GE_GENERIC)
                continue;
            const auto* generic = reinterpret_cast<const xcb_ge_generic_event_t*>(event.get());
            if (generic->extension != xinputOpcode_ || generic->event_type != XCB_INPUT_RAW_BUTTON_PRESS)
                continue;
            const auto* press = reinterpret_cast<const xcb_input_raw_button_press_event_t*>(event.get());
            const int button = static_cast<int>(press->detail);
            if (button >= kFirstWheelButton && button <= kLastWheelButton)
                continue;
            if (onClick_)
                onClick_(button, connection_->queryPointer());
        }
        if (!waitForEvents(c, wakeFd_.get(), "clicks are no longer shown"))
            return;
    }
}

} // namespace x11input
