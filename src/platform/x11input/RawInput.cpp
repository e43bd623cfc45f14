#include "platform/x11input/RawInput.h"

#include "core/EMLog.h"

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/xinput.h>

namespace x11input {

Connection::Connection(const char* display) {
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

Connection::~Connection() {
    if (conn)
        xcb_disconnect(conn);
}

std::optional<RootPointer> Connection::queryPointer() const {
    Reply<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(conn, xcb_query_pointer(conn, root), nullptr));
    if (!reply)
        return std::nullopt;
    return RootPointer{reply->root_x, reply->root_y};
}

std::optional<uint8_t> selectRawEvents(const Connection& connection, uint32_t eventMask,
                                       const char* consequence) {
    xcb_connection_t* c = connection.conn;
    const xcb_query_extension_reply_t* ext = xcb_get_extension_data(c, &xcb_input_id);
    if (!ext || !ext->present) {
        EMLog::showMessage("%s %d the X server has no XInput extension: %s", __func__, __LINE__, consequence);
        return std::nullopt;
    }
    Reply<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
    if (!version || version->major_version < 2) {
        EMLog::showMessage("%s %d XInput 2 missing: %s", __func__, __LINE__, consequence);
        return std::nullopt;
    }
    struct {
        xcb_input_event_mask_t head;
        uint32_t bits;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, eventMask};
    Reply<xcb_generic_error_t> error(
        xcb_request_check(c, xcb_input_xi_select_events_checked(c, connection.root, 1, &mask.head)));
    if (error) {
        EMLog::showMessage("%s %d selecting raw events failed (X error %d): %s", __func__, __LINE__,
                           error->error_code, consequence);
        return std::nullopt;
    }
    return ext->major_opcode;
}

int makeWakeFd() {
    const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd < 0)
        EMLog::showMessage("%s %d eventfd failed: errno %d", __func__, __LINE__, errno);
    return fd;
}

void wake(int wakeFd) {
    const uint64_t one = 1;
    if (write(wakeFd, &one, sizeof one) < 0)
        EMLog::showMessage("%s %d waking a listener failed: errno %d", __func__, __LINE__, errno);
}

bool waitForEvents(xcb_connection_t* conn, int wakeFd, const char* consequence) {
    if (xcb_connection_has_error(conn)) {
        EMLog::showMessage("%s %d the X connection broke: %s", __func__, __LINE__, consequence);
        return false;
    }
    pollfd fds[2] = {{xcb_get_file_descriptor(conn), POLLIN, 0}, {wakeFd, POLLIN, 0}};
    if (poll(fds, 2, -1) < 0 && errno != EINTR) {
        EMLog::showMessage("%s %d poll failed: errno %d", __func__, __LINE__, errno);
        return false;
    }
    return !(fds[1].revents & POLLIN);
}

} // namespace x11input
