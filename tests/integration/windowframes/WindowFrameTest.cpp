// A window recording captures the rectangle the selection overlay highlights
// for that window: the same size (evened, as every recording is) and the same
// place, whether a window manager draws the frame in a window of its own
// around the client or only announces it with _NET_FRAME_EXTENTS.
#include "integration/selection/DesktopHelpers.h"
#include "platform/x11capture/X11Capture.h"
#include "selection/X11WindowServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPoint>
#include <QTemporaryDir>
#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <poll.h>
#include <xcb/xcb.h>

namespace {

// A broken run must not hang until ctest's own timeout; no check relies on it.
constexpr int kGuardMilliseconds = 60000;

struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const Rect&) const = default;
    bool contains(const Rect& r) const {
        return r.x >= x && r.y >= y && r.x + r.width <= x + width && r.y + r.height <= y + height;
    }
};

std::ostream& operator<<(std::ostream& out, const Rect& r) {
    return out << r.width << "x" << r.height << "+" << r.x << "+" << r.y;
}

// The test's own connection, playing a client's or a window manager's part.
class XServer {
public:
    XServer() : c_(xcb_connect(nullptr, nullptr)) {
        root_ = xcb_setup_roots_iterator(xcb_get_setup(c_)).data->root;
    }
    ~XServer() { xcb_disconnect(c_); }

    xcb_atom_t atom(const char* name) {
        xcb_intern_atom_reply_t* r = xcb_intern_atom_reply(
            c_, xcb_intern_atom(c_, 0, std::uint16_t(std::strlen(name)), name), nullptr);
        const xcb_atom_t a = r ? r->atom : xcb_atom_t(XCB_NONE);
        free(r);
        return a;
    }
    void setFrameExtents(xcb_window_t w, std::uint32_t left, std::uint32_t right, std::uint32_t top,
                         std::uint32_t bottom) {
        const std::uint32_t extents[] = {left, right, top, bottom};
        xcb_change_property(c_, XCB_PROP_MODE_REPLACE, w, atom("_NET_FRAME_EXTENTS"), XCB_ATOM_CARDINAL, 32,
                            4, extents);
        free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr));
    }
    // The client area of `w` in root coordinates.
    Rect clientRect(xcb_window_t w) {
        xcb_get_geometry_reply_t* g = xcb_get_geometry_reply(c_, xcb_get_geometry(c_, w), nullptr);
        xcb_translate_coordinates_reply_t* t =
            xcb_translate_coordinates_reply(c_, xcb_translate_coordinates(c_, w, root_, 0, 0), nullptr);
        const Rect r = g && t ? Rect{t->dst_x, t->dst_y, g->width, g->height} : Rect{};
        free(g);
        free(t);
        return r;
    }
    // Plays a reparenting window manager without frame extents (twm's way):
    // a frame window with an X border of its own, the client inside it at
    // `offset`, and the client list naming the client.
    void frame(xcb_window_t client, const Rect& frame, int border, QPoint offset) {
        const xcb_window_t id = xcb_generate_id(c_);
        const std::uint32_t black = 0;
        xcb_create_window(c_, XCB_COPY_FROM_PARENT, id, root_, std::int16_t(frame.x), std::int16_t(frame.y),
                          std::uint16_t(frame.width), std::uint16_t(frame.height), std::uint16_t(border),
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL, &black);
        xcb_reparent_window(c_, client, id, std::int16_t(offset.x()), std::int16_t(offset.y()));
        xcb_map_window(c_, id);
        xcb_change_property(c_, XCB_PROP_MODE_REPLACE, root_, atom("_NET_CLIENT_LIST_STACKING"),
                            XCB_ATOM_WINDOW, 32, 1, &client);
        free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr));
    }
    void forgetClientList() {
        xcb_delete_property(c_, root_, atom("_NET_CLIENT_LIST_STACKING"));
        free(xcb_get_input_focus_reply(c_, xcb_get_input_focus(c_), nullptr));
    }
    // Managed: inside a frame window, shown, and its frame extents announced.
    bool managed(xcb_window_t w) {
        xcb_query_tree_reply_t* tree = xcb_query_tree_reply(c_, xcb_query_tree(c_, w), nullptr);
        const bool reparented = tree && tree->parent != root_;
        free(tree);
        xcb_get_window_attributes_reply_t* attr =
            xcb_get_window_attributes_reply(c_, xcb_get_window_attributes(c_, w), nullptr);
        const bool viewable = attr && attr->map_state == XCB_MAP_STATE_VIEWABLE;
        free(attr);
        xcb_get_property_reply_t* extents = xcb_get_property_reply(
            c_, xcb_get_property(c_, 0, w, atom("_NET_FRAME_EXTENTS"), XCB_ATOM_CARDINAL, 0, 4), nullptr);
        const bool announced = extents && xcb_get_property_value_length(extents) == 16;
        free(extents);
        return reparented && viewable && announced;
    }
    // Waits for `done`, checked again on every structure or property change
    // of `w` (reparenting, mapping, _NET_FRAME_EXTENTS).
    bool waitUntil(xcb_window_t w, const std::function<bool()>& done) {
        const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(c_, w, XCB_CW_EVENT_MASK, &mask);
        QElapsedTimer guard;
        guard.start();
        while (!done()) {
            if (guard.elapsed() > kGuardMilliseconds)
                return false;
            // Events that arrived while the check waited for its replies are
            // queued already; only wait on the socket when there are none.
            bool any = false;
            while (xcb_generic_event_t* e = xcb_poll_for_event(c_)) {
                free(e);
                any = true;
            }
            if (!any) {
                pollfd p{xcb_get_file_descriptor(c_), POLLIN, 0};
                poll(&p, 1, 1000);
            }
        }
        return true;
    }

private:
    xcb_connection_t* c_;
    xcb_window_t root_ = 0;
};

// openbox for the length of one test: a window manager that reparents. The
// desktop is shared with the tests that follow, so the root properties that
// openbox leaves behind (a stale _NET_SUPPORTING_WM_CHECK, work areas) go
// with it.
class ReparentingManager {
public:
    ReparentingManager() : before_(rootProperties()) {
        process_.start("openbox", {"--sm-disable"});
        started = process_.waitForStarted(-1);
    }
    ~ReparentingManager() {
        process_.terminate();
        process_.waitForFinished(-1);
        xcb_connection_t* c = xcb_connect(nullptr, nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        for (xcb_atom_t property : rootProperties()) {
            if (std::find(before_.begin(), before_.end(), property) == before_.end())
                xcb_delete_property(c, root, property);
        }
        free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        xcb_disconnect(c);
    }
    bool started = false;

private:
    static std::vector<xcb_atom_t> rootProperties() {
        xcb_connection_t* c = xcb_connect(nullptr, nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        xcb_list_properties_reply_t* list =
            xcb_list_properties_reply(c, xcb_list_properties(c, root), nullptr);
        std::vector<xcb_atom_t> atoms;
        if (list) {
            const xcb_atom_t* first = xcb_list_properties_atoms(list);
            atoms.assign(first, first + xcb_list_properties_atoms_length(list));
        }
        free(list);
        xcb_disconnect(c);
        return atoms;
    }

    std::vector<xcb_atom_t> before_;
    QProcess process_;
};

int evened(int v) {
    return v / 2 * 2;
}

// What the overlay highlights. The test desktop's one monitor is the primary
// and lies at 0, 0, so window-list space is root coordinates here.
std::optional<Rect> overlayRect(std::uint32_t window) {
    X11WindowServer server;
    for (const WindowInfo& w : server.onScreenWindows()) {
        if (w.number == window)
            return Rect{int(w.bounds.x), int(w.bounds.y), int(w.bounds.width), int(w.bounds.height)};
    }
    return std::nullopt;
}

// The rectangle the recording engine is handed for the window.
std::optional<Rect> captureListRect(std::uint32_t window) {
    for (const CaptureWindowInfo& w : x11capture::listWindows()) {
        if (w.number == window)
            return Rect{int(w.bounds.x), int(w.bounds.y), int(w.bounds.width), int(w.bounds.height)};
    }
    return std::nullopt;
}

// The first picture the window source delivers, where it was taken and what
// it shows.
struct Grab {
    Rect where;
    QImage picture;
};

std::optional<Grab> firstGrab(std::uint32_t window, int width, int height) {
    WindowCaptureRequest request;
    request.window = window;
    request.width = width;
    request.height = height;
    std::unique_ptr<CaptureSource> source = x11capture::createWindowSource(request);
    std::mutex mutex;
    std::condition_variable arrived;
    std::optional<Grab> grab;
    source->setVideoCallback([&](const VideoFramePtr& frame) {
        std::lock_guard lock(mutex);
        if (grab)
            return;
        const PixelBufferView& p = frame->pixels;
        QImage picture(p.width, p.height, QImage::Format_RGB32);
        for (int row = 0; row < p.height; ++row)
            std::memcpy(picture.scanLine(row), p.row(row), std::size_t(p.width) * 4);
        grab = Grab{{frame->originX, frame->originY, p.width, p.height}, picture};
        arrived.notify_all();
    });
    std::string error;
    if (!source->start(error)) {
        ADD_FAILURE() << "the window source did not start: " << error;
        return std::nullopt;
    }
    {
        std::unique_lock lock(mutex);
        arrived.wait_for(lock, std::chrono::milliseconds(kGuardMilliseconds),
                         [&] { return grab.has_value(); });
    }
    source->stop();
    return grab;
}

// The video size of a one-second `framedeck record --mode window`.
std::optional<std::pair<int, int>> recordedSize(std::uint32_t window, const QString& file) {
    QProcess record;
    record.start(RECORD_TOOL_PATH, {"record", "--mode", "window", "--window", QString::number(window),
                                    "--audio", "none", "--seconds", "1", "--fps", "10", "--output", file});
    if (!record.waitForFinished(-1) || record.exitCode() != 0) {
        ADD_FAILURE() << "framedeck record failed: " << record.readAllStandardError().toStdString();
        return std::nullopt;
    }
    QProcess probe;
    probe.start("ffprobe", {"-v", "error", "-select_streams", "v:0", "-show_entries", "stream=width,height",
                            "-of", "csv=p=0:s=x", file});
    probe.waitForFinished(-1);
    const QStringList size = QString::fromUtf8(probe.readAllStandardOutput()).trimmed().split('x');
    if (size.size() != 2)
        return std::nullopt;
    return std::make_pair(size[0].toInt(), size[1].toInt());
}

const auto* const kApp = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QCoreApplication>);

class WindowFrames : public ::testing::Test {
protected:
    // The recording of `window` against the overlay's rectangle, which is returned.
    Rect expectRecordingMatchesOverlay(std::uint32_t window, const QString& pictureName) {
        const std::optional<Rect> overlay = overlayRect(window);
        EXPECT_TRUE(overlay) << "the overlay does not list the window";
        if (!overlay)
            return {};
        EXPECT_EQ(captureListRect(window), overlay) << "the recording's window list disagrees";

        const int width = evened(overlay->width);
        const int height = evened(overlay->height);
        const auto recorded = recordedSize(window, dir_.filePath(pictureName + ".mp4"));
        EXPECT_EQ(recorded, std::make_pair(width, height)) << "overlay " << *overlay;

        const std::optional<Grab> grab = firstGrab(window, width, height);
        EXPECT_TRUE(grab) << "the window source delivered no picture";
        if (grab) {
            EXPECT_EQ(grab->where, (Rect{overlay->x, overlay->y, width, height})) << "overlay " << *overlay;
            // For a person to look at: build*/test-artifacts/windowframes/.
            const QString artifacts = QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/windowframes";
            QDir().mkpath(artifacts);
            grab->picture.save(artifacts + "/" + pictureName + ".png");
        }
        return *overlay;
    }

    QTemporaryDir dir_;
};

} // namespace

TEST_F(WindowFrames, ReparentingManagerFrameIsWhatIsRecorded) {
    ReparentingManager manager;
    ASSERT_TRUE(manager.started) << "openbox is missing: run scripts/bootstrap";
    XWindows client({"500,300,301,201,FdFramed,Framed by openbox,3060c0"});
    ASSERT_EQ(client.ids.size(), 1u);
    const std::uint32_t window = client.ids[0];
    XServer x;
    ASSERT_TRUE(x.waitUntil(window, [&] { return x.managed(window); })) << "openbox never managed the window";

    const Rect overlay = expectRecordingMatchesOverlay(window, "openbox-frame");
    // The frame holds the client and the title bar above it.
    const Rect inside = x.clientRect(window);
    EXPECT_TRUE(overlay.contains(inside)) << overlay << " around " << inside;
    EXPECT_GT(overlay.height, inside.height);
}

TEST_F(WindowFrames, FrameWindowBorderBelongsToTheFrame) {
    XWindows client({"100,100,301,201,FdBordered,Framed with a border,30c060"});
    ASSERT_EQ(client.ids.size(), 1u);
    XServer x;
    x.frame(client.ids[0], {600, 400, 321, 251}, 3, {10, 40});

    const Rect overlay = expectRecordingMatchesOverlay(client.ids[0], "bordered-frame");
    x.forgetClientList();
    EXPECT_EQ(overlay, (Rect{600, 400, 327, 257}));
}

TEST_F(WindowFrames, FrameExtentsWithoutFrameWindowAreRecorded) {
    XWindows client({"400,300,301,201,FdExtents,Decorated beside,c06030"});
    ASSERT_EQ(client.ids.size(), 1u);
    XServer x;
    // As a compositing manager that draws decorations beside the client does.
    x.setFrameExtents(client.ids[0], 3, 5, 21, 4);

    const Rect overlay = expectRecordingMatchesOverlay(client.ids[0], "extents-frame");
    EXPECT_EQ(overlay, (Rect{397, 279, 309, 226}));
}
