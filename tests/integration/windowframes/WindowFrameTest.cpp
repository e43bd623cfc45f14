// A window recording captures the rectangle the selection overlay highlights
// for that window: the same size (evened, as every recording is) and the same
// place, whether a window manager draws the frame in a window of its own
// around the client or only announces it with _NET_FRAME_EXTENTS.
#include "integration/recording/MediaProbe.h"
#include "integration/selection/DesktopHelpers.h"
#include "platform/x11capture/X11Capture.h"
#include "selection/X11WindowServer.h"

#include <QRect>
#include <QTemporaryDir>
#include <algorithm>
#include <atomic>
#include <cstring>
#include <future>
#include <memory>
#include <xcb/xcb.h>

static void PrintTo(const QRect& r, std::ostream* out) {
    *out << r.width() << "x" << r.height() << "+" << r.x() << "+" << r.y();
}

namespace {

template <class T> std::unique_ptr<T, void (*)(void*)> reply(T* r) {
    return {r, &free};
}

// The test's own connection, playing a client's or a window manager's part.
struct X {
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    ~X() { xcb_disconnect(c); }
    xcb_atom_t atom(const char* name) {
        const auto r = reply(
            xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, std::uint16_t(std::strlen(name)), name), nullptr));
        return r ? r->atom : xcb_atom_t(XCB_NONE);
    }
    void sync() { free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)); }
    std::vector<xcb_atom_t> rootProperties() {
        const auto list = reply(xcb_list_properties_reply(c, xcb_list_properties(c, root), nullptr));
        const xcb_atom_t* first = list ? xcb_list_properties_atoms(list.get()) : nullptr;
        return {first, first + (list ? xcb_list_properties_atoms_length(list.get()) : 0)};
    }
};

// openbox, a reparenting window manager, for one test. The desktop is shared with the tests that
// follow, so the root properties it leaves behind (stale _NET_SUPPORTING_WM_CHECK, work areas) go too.
class Openbox {
public:
    explicit Openbox(X& x) : x_(x), before_(x.rootProperties()) {
        process_.start("openbox", {"--sm-disable"});
    }
    ~Openbox() {
        process_.terminate();
        process_.waitForFinished(-1);
        for (xcb_atom_t property : x_.rootProperties())
            if (std::ranges::find(before_, property) == before_.end())
                xcb_delete_property(x_.c, x_.root, property);
        x_.sync();
    }
    bool started() { return process_.waitForStarted(-1); }

private:
    X& x_;
    std::vector<xcb_atom_t> before_;
    QProcess process_;
};

const auto* const kApp = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QCoreApplication>);

class WindowFrames : public ::testing::Test {
protected:
    // The overlay's rectangle for `window` (in root coordinates: the desktop's one monitor lies at
    // 0, 0), checked against a one-second `framedeck record` and the window source's first picture.
    QRect recordAgainstOverlay(std::uint32_t window) {
        QRect overlay;
        for (const WindowInfo& w : X11WindowServer().onScreenWindows())
            if (w.number == window)
                overlay = QRect(int(w.bounds.x), int(w.bounds.y), int(w.bounds.width), int(w.bounds.height));
        EXPECT_FALSE(overlay.isEmpty()) << "the overlay does not list the window";
        if (overlay.isEmpty())
            return overlay;
        const QRect evened(overlay.topLeft(), QSize(overlay.width() / 2 * 2, overlay.height() / 2 * 2));

        const QString file = dir_.filePath("window.mp4");
        QProcess record;
        record.start(FRAMEDECK_PATH, {"record", "--mode", "window", "--window", QString::number(window),
                                      "--audio", "none", "--seconds", "1", "--fps", "10", "--output", file});
        EXPECT_TRUE(record.waitForFinished(-1) && record.exitCode() == 0)
            << record.readAllStandardError().toStdString();
        EXPECT_EQ(probe::probe(file.toStdString()).videoSize(),
                  std::to_string(evened.width()) + "x" + std::to_string(evened.height()));

        // The source finds the frame again on its own for every picture.
        WindowCaptureRequest request;
        request.window = window;
        request.width = evened.width();
        request.height = evened.height();
        const std::unique_ptr<CaptureSource> source = x11capture::createWindowSource(request);
        std::promise<QRect> first;
        std::atomic_flag delivered;
        source->setVideoCallback([&](const VideoFramePtr& f) {
            if (!delivered.test_and_set())
                first.set_value(QRect(f->originX, f->originY, f->pixels.width, f->pixels.height));
        });
        std::future<QRect> grab = first.get_future();
        std::string error;
        if (source->start(error) && grab.wait_for(std::chrono::minutes(1)) == std::future_status::ready)
            EXPECT_EQ(grab.get(), evened);
        else
            ADD_FAILURE() << "the window source delivered no picture " << error;
        source->stop();
        return overlay;
    }

    QTemporaryDir dir_;
};

} // namespace

TEST_F(WindowFrames, ReparentingManagerFrameIsWhatIsRecorded) {
    X x;
    Openbox openbox(x);
    ASSERT_TRUE(openbox.started()) << "openbox is missing: run scripts/bootstrap";
    XWindows client({"500,300,301,201,FdFramed,Framed by openbox,3060c0"});
    ASSERT_EQ(client.ids.size(), 1u);
    const std::uint32_t w = client.ids[0];
    const xcb_atom_t extents = x.atom("_NET_FRAME_EXTENTS");
    // Managed: inside a frame window, shown, and its frame extents announced.
    ASSERT_TRUE(waitFor([&] {
        const auto tree = reply(xcb_query_tree_reply(x.c, xcb_query_tree(x.c, w), nullptr));
        const auto shown =
            reply(xcb_get_window_attributes_reply(x.c, xcb_get_window_attributes(x.c, w), nullptr));
        const auto announced = reply(xcb_get_property_reply(
            x.c, xcb_get_property(x.c, 0, w, extents, XCB_ATOM_CARDINAL, 0, 4), nullptr));
        return tree && tree->parent != x.root && shown && shown->map_state == XCB_MAP_STATE_VIEWABLE &&
               announced && xcb_get_property_value_length(announced.get()) == 16;
    })) << "openbox never managed the window";

    const QRect overlay = recordAgainstOverlay(w);
    // The frame holds the client and the title bar above it.
    const auto size = reply(xcb_get_geometry_reply(x.c, xcb_get_geometry(x.c, w), nullptr));
    const auto place =
        reply(xcb_translate_coordinates_reply(x.c, xcb_translate_coordinates(x.c, w, x.root, 0, 0), nullptr));
    ASSERT_TRUE(size && place);
    const QRect inside(place->dst_x, place->dst_y, size->width, size->height);
    EXPECT_TRUE(overlay.contains(inside)) << "the client lies outside the frame";
    EXPECT_GT(overlay.height(), inside.height());
}

TEST_F(WindowFrames, FrameWindowBorderBelongsToTheFrame) {
    XWindows client({"100,100,301,201,FdBordered,Framed with a border,30c060"});
    ASSERT_EQ(client.ids.size(), 1u);
    std::uint32_t w = client.ids[0];
    // A reparenting window manager without frame extents (twm's way): a frame window with a 3-pixel
    // X border of its own, the client inside it at 10,40, and the client list naming the client.
    X x;
    const xcb_window_t frame = xcb_generate_id(x.c);
    const std::uint32_t black = 0;
    xcb_create_window(x.c, XCB_COPY_FROM_PARENT, frame, x.root, 600, 400, 321, 251, 3,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL, &black);
    xcb_reparent_window(x.c, w, frame, 10, 40);
    xcb_map_window(x.c, frame);
    const xcb_atom_t clients = x.atom("_NET_CLIENT_LIST_STACKING");
    xcb_change_property(x.c, XCB_PROP_MODE_REPLACE, x.root, clients, XCB_ATOM_WINDOW, 32, 1, &w);
    x.sync();

    EXPECT_EQ(recordAgainstOverlay(w), QRect(600, 400, 327, 257));
    xcb_delete_property(x.c, x.root, clients);
    x.sync();
}

TEST_F(WindowFrames, FrameExtentsWithoutFrameWindowAreRecorded) {
    XWindows client({"400,300,301,201,FdExtents,Decorated beside,c06030"});
    ASSERT_EQ(client.ids.size(), 1u);
    // Decorations drawn beside the client, as by a compositing manager: left, right, top, bottom.
    X x;
    const std::uint32_t extents[] = {3, 5, 21, 4};
    xcb_change_property(x.c, XCB_PROP_MODE_REPLACE, client.ids[0], x.atom("_NET_FRAME_EXTENTS"),
                        XCB_ATOM_CARDINAL, 32, 4, extents);
    x.sync();
    EXPECT_EQ(recordAgainstOverlay(client.ids[0]), QRect(397, 279, 309, 226));
}
