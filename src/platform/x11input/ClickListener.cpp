#include "platform/x11input/ClickListener.h"

#include "core/EMLog.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

namespace x11input {

namespace {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <class T> using Reply = std::unique_ptr<T, FreeDeleter>;

// The wheel reports its notches as presses of these buttons.
constexpr int kFirstWheelButton = 4;
constexpr int kLastWheelButton = 7;

} // namespace

// One X connection and its default screen's root window.
struct Connection {
    explicit Connection(const char* display) {
        int screenNumber = 0;
        conn = xcb_connect(display, &screenNumber);
        if (xcb_connection_has_error(conn)) {
            xcb_disconnect(conn);
            conn = nullptr;
            return;
        }
        xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(conn));
        for (int i = 0; i < screenNumber && it.rem; ++i)
            xcb_screen_next(&it);
        root = it.rem ? it.data->root : 0;
    }
    ~Connection() {
        if (conn)
            xcb_disconnect(conn);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    std::optional<RootPointer> queryPointer() const {
        Reply<xcb_query_pointer_reply_t> reply(
            xcb_query_pointer_reply(conn, xcb_query_pointer(conn, root), nullptr));
        if (!reply)
            return std::nullopt;
        return RootPointer{reply->root_x, reply->root_y};
    }

    xcb_connection_t* conn = nullptr;
    xcb_window_t root = 0;
};

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
    xcb_connection_t* c = connection->conn;
    const xcb_query_extension_reply_t* ext = xcb_get_extension_data(c, &xcb_input_id);
    if (!ext || !ext->present) {
        EMLog::showMessage("%s %d the X server has no XInput extension: clicks will not be shown", __func__,
                           __LINE__);
        return false;
    }
    Reply<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
    if (!version || version->major_version < 2) {
        EMLog::showMessage("%s %d XInput 2 missing: clicks will not be shown", __func__, __LINE__);
        return false;
    }

    // Master devices only: each click arrives once, whichever physical (or
    // XTEST) device made it.
    struct {
        xcb_input_event_mask_t head;
        uint32_t bits;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS};
    Reply<xcb_generic_error_t> error(
        xcb_request_check(c, xcb_input_xi_select_events_checked(c, connection->root, 1, &mask.head)));
    if (error) {
        EMLog::showMessage("%s %d selecting raw button events failed (X error %d)", __func__, __LINE__,
                           error->error_code);
        return false;
    }

    wakeFd_.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (wakeFd_.get() < 0) {
        EMLog::showMessage("%s %d eventfd failed: errno %d", __func__, __LINE__, errno);
        return false;
    }
    xinputOpcode_ = ext->major_opcode;
    connection_ = std::move(connection);
    thread_ = std::thread([this] { run(); });
    return true;
}

void ClickListener::stop() {
    if (thread_.joinable()) {
        const uint64_t one = 1;
        if (write(wakeFd_.get(), &one, sizeof one) < 0)
            EMLog::showMessage("%s %d waking the click listener failed: errno %d", __func__, __LINE__, errno);
        thread_.join();
    }
    wakeFd_.reset();
    connection_.reset();
}

void ClickListener::run() {
    pthread_setname_np(pthread_self(), "ClickListener");
    xcb_connection_t* c = connection_->conn;
    pollfd fds[2] = {{xcb_get_file_descriptor(c), POLLIN, 0}, {wakeFd_.get(), POLLIN, 0}};
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
        if (xcb_connection_has_error(c)) {
            EMLog::showMessage("%s %d the X connection broke: clicks are no longer shown", __func__,
                               __LINE__);
            return;
        }
        if (poll(fds, 2, -1) < 0 && errno != EINTR) {
            EMLog::showMessage("%s %d poll failed: errno %d", __func__, __LINE__, errno);
            return;
        }
        if (fds[1].revents & POLLIN)
            return;
    }
}

} // namespace x11input
