#include "platform/x11/X11Inventory.h"

#include "platform/x11/Edid.h"
#include "platform/x11/WindowFrame.h"
#include "platform/x11/XcbPtr.h"

#include <algorithm>
#include <cstring>
#include <xcb/randr.h>
#include <xcb/xcb.h>

namespace x11 {

namespace {
// An EDID base block is 128 bytes; extensions follow in further blocks that
// the name never lives in. 64 longs = 256 bytes covers the base block.
constexpr std::uint32_t kEdidLongs = 64;
// A window list property holds one long per window; no desktop has more.
constexpr std::uint32_t kMaxWindows = 65536;
// Icons can be large (a 256 px icon is 64 Ki longs); 4 Mi longs covers the
// usual set of sizes without letting a broken client exhaust memory.
constexpr std::uint32_t kMaxIconLongs = 4u << 20;
} // namespace

std::vector<std::uint32_t> Inventory::cardinals(std::uint32_t window, std::uint32_t property,
                                                std::uint32_t type, std::uint32_t maxLongs) {
    std::vector<std::uint32_t> values;
    if (!property)
        return values;
    XcbPtr<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        c_.get(), xcb_get_property(c_.get(), 0, window, property, type, 0, maxLongs), nullptr));
    if (!reply || reply->format != 32)
        return values;
    const int n = xcb_get_property_value_length(reply.get()) / 4;
    const auto* data = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    values.assign(data, data + n);
    return values;
}

std::optional<std::string> Inventory::text(std::uint32_t window, std::uint32_t property) {
    if (!property)
        return std::nullopt;
    XcbPtr<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        c_.get(), xcb_get_property(c_.get(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 4096),
        nullptr));
    if (!reply || reply->type == XCB_NONE || reply->format != 8)
        return std::nullopt;
    const char* data = static_cast<const char*>(xcb_get_property_value(reply.get()));
    return std::string(data, static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
}

std::vector<Monitor> Inventory::monitors() {
    std::vector<Monitor> result;
    if (!c_.isOpen())
        return result;
    xcb_connection_t* conn = c_.get();
    XcbPtr<xcb_randr_query_version_reply_t> version(
        xcb_randr_query_version_reply(conn, xcb_randr_query_version(conn, 1, 5), nullptr));
    const bool hasMonitors = version && (version->major_version > 1 || version->minor_version >= 5);
    if (hasMonitors) {
        XcbPtr<xcb_randr_get_monitors_reply_t> reply(
            xcb_randr_get_monitors_reply(conn, xcb_randr_get_monitors(conn, c_.root(), 1), nullptr));
        if (reply) {
            const std::uint32_t edidAtom = c_.atom("EDID");
            for (auto it = xcb_randr_get_monitors_monitors_iterator(reply.get()); it.rem;
                 xcb_randr_monitor_info_next(&it)) {
                const xcb_randr_monitor_info_t* info = it.data;
                Monitor m;
                m.x = info->x;
                m.y = info->y;
                m.width = info->width;
                m.height = info->height;
                m.primary = info->primary != 0;
                XcbPtr<xcb_get_atom_name_reply_t> name(
                    xcb_get_atom_name_reply(conn, xcb_get_atom_name(conn, info->name), nullptr));
                if (name)
                    m.name.assign(xcb_get_atom_name_name(name.get()),
                                  static_cast<std::size_t>(xcb_get_atom_name_name_length(name.get())));
                const int outputCount = xcb_randr_monitor_info_outputs_length(info);
                const xcb_randr_output_t* outputs = xcb_randr_monitor_info_outputs(info);
                m.id = outputCount > 0 ? outputs[0] : info->name;
                if (outputCount > 0 && edidAtom) {
                    XcbPtr<xcb_randr_get_output_property_reply_t> edid(xcb_randr_get_output_property_reply(
                        conn,
                        xcb_randr_get_output_property(conn, outputs[0], edidAtom, XCB_GET_PROPERTY_TYPE_ANY,
                                                      0, kEdidLongs, 0, 0),
                        nullptr));
                    if (edid && edid->format == 8) {
                        const std::uint8_t* bytes = xcb_randr_get_output_property_data(edid.get());
                        const auto len =
                            static_cast<std::size_t>(xcb_randr_get_output_property_data_length(edid.get()));
                        if (auto n = edidMonitorName({bytes, len}))
                            m.productName = std::move(n);
                    }
                }
                result.push_back(std::move(m));
            }
        }
    }
    if (result.empty()) {
        Monitor whole;
        whole.id = c_.root();
        whole.name = "screen";
        whole.width = c_.rootWidth();
        whole.height = c_.rootHeight();
        whole.primary = true;
        result.push_back(whole);
    }
    return result;
}

std::optional<TopLevelWindow> Inventory::describe(std::uint32_t window) {
    if (!c_.isOpen())
        return std::nullopt;
    FrameAtoms atoms;
    atoms.frameExtents = c_.atom("_NET_FRAME_EXTENTS");
    const std::optional<FrameRect> frame = windowFrame(c_.get(), c_.root(), window, atoms);
    if (!frame)
        return std::nullopt;
    TopLevelWindow w;
    w.id = window;
    w.x = frame->x;
    w.y = frame->y;
    w.width = frame->width;
    w.height = frame->height;
    if (auto pid = cardinals(window, c_.atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, 1); !pid.empty())
        w.pid = pid[0];
    if (auto cls = text(window, XCB_ATOM_WM_CLASS)) {
        // "instance\0class\0"
        const std::string& raw = *cls;
        const std::size_t split = raw.find('\0');
        std::string instance = raw.substr(0, split);
        std::string klass = split == std::string::npos ? std::string() : raw.substr(split + 1);
        if (const std::size_t end = klass.find('\0'); end != std::string::npos)
            klass.resize(end);
        if (!klass.empty())
            w.wmClass = klass;
        else if (!instance.empty())
            w.wmClass = instance;
    }
    if (auto name = text(window, c_.atom("_NET_WM_NAME")))
        w.title = *name;
    else if (auto legacy = text(window, XCB_ATOM_WM_NAME))
        w.title = *legacy;
    if (auto opacity = cardinals(window, c_.atom("_NET_WM_WINDOW_OPACITY"), XCB_ATOM_CARDINAL, 1);
        !opacity.empty())
        w.opacity = static_cast<double>(opacity[0]) / 0xFFFFFFFFu;
    const std::uint32_t desktop = c_.atom("_NET_WM_WINDOW_TYPE_DESKTOP");
    const std::uint32_t dock = c_.atom("_NET_WM_WINDOW_TYPE_DOCK");
    for (std::uint32_t type : cardinals(window, c_.atom("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32)) {
        if (type == desktop) {
            w.kind = WindowKind::Desktop;
            break;
        }
        if (type == dock) {
            w.kind = WindowKind::Dock;
            break;
        }
    }
    return w;
}

std::vector<TopLevelWindow> Inventory::windowsFrontToBack() {
    std::vector<TopLevelWindow> result;
    if (!c_.isOpen())
        return result;
    xcb_connection_t* conn = c_.get();
    // Both sources list bottom to top.
    std::vector<std::uint32_t> stacking =
        cardinals(c_.root(), c_.atom("_NET_CLIENT_LIST_STACKING"), XCB_ATOM_WINDOW, kMaxWindows);
    const bool managed = !stacking.empty();
    if (!managed) {
        XcbPtr<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(conn, xcb_query_tree(conn, c_.root()), nullptr));
        if (tree) {
            const xcb_window_t* children = xcb_query_tree_children(tree.get());
            stacking.assign(children, children + xcb_query_tree_children_length(tree.get()));
        }
    }
    std::vector<xcb_get_window_attributes_cookie_t> cookies;
    cookies.reserve(stacking.size());
    for (std::uint32_t w : stacking)
        cookies.push_back(xcb_get_window_attributes(conn, w));
    std::vector<std::uint32_t> viewable;
    for (std::size_t i = 0; i < stacking.size(); ++i) {
        XcbPtr<xcb_get_window_attributes_reply_t> attr(
            xcb_get_window_attributes_reply(conn, cookies[i], nullptr));
        if (!attr || attr->map_state != XCB_MAP_STATE_VIEWABLE ||
            attr->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT)
            continue;
        if (!managed && attr->override_redirect)
            continue;
        viewable.push_back(stacking[i]);
    }
    for (auto it = viewable.rbegin(); it != viewable.rend(); ++it) {
        if (auto w = describe(*it))
            result.push_back(std::move(*w));
    }
    return result;
}

QImage Inventory::windowIcon(std::uint32_t window, int preferredSide) {
    const std::vector<std::uint32_t> data =
        cardinals(window, c_.atom("_NET_WM_ICON"), XCB_ATOM_CARDINAL, kMaxIconLongs);
    // A sequence of (width, height, width * height ARGB pixels).
    std::size_t best = data.size();
    std::uint32_t bestW = 0;
    std::uint32_t bestH = 0;
    for (std::size_t at = 0; at + 2 <= data.size();) {
        const std::uint32_t w = data[at];
        const std::uint32_t h = data[at + 1];
        const std::uint64_t count = std::uint64_t(w) * h;
        if (w == 0 || h == 0 || w > 4096 || h > 4096 || at + 2 + count > data.size())
            break;
        const bool bigEnough = int(w) >= preferredSide;
        const bool bestBigEnough = best < data.size() && int(bestW) >= preferredSide;
        const bool better = best == data.size() || (bigEnough && (!bestBigEnough || w < bestW)) ||
                            (!bigEnough && !bestBigEnough && w > bestW);
        if (better) {
            best = at;
            bestW = w;
            bestH = h;
        }
        at += 2 + static_cast<std::size_t>(count);
    }
    if (best == data.size())
        return {};
    QImage image(int(bestW), int(bestH), QImage::Format_ARGB32);
    for (std::uint32_t row = 0; row < bestH; ++row)
        std::memcpy(image.scanLine(int(row)), &data[best + 2 + std::size_t(row) * bestW], bestW * 4);
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

std::optional<std::pair<int, int>> Inventory::pointer() {
    if (!c_.isOpen())
        return std::nullopt;
    XcbPtr<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(c_.get(), xcb_query_pointer(c_.get(), c_.root()), nullptr));
    if (!reply)
        return std::nullopt;
    return std::make_pair(int(reply->root_x), int(reply->root_y));
}

std::optional<std::uint32_t> Inventory::activeWindow() {
    if (!c_.isOpen())
        return std::nullopt;
    const std::vector<std::uint32_t> v =
        cardinals(c_.root(), c_.atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW, 1);
    if (v.empty() || v[0] == 0)
        return std::nullopt;
    return v[0];
}

QImage grabRootArea(Connection& connection, int x, int y, int width, int height) {
    if (!connection.isOpen() || width <= 0 || height <= 0)
        return {};
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(0xFF000000u);
    // GetImage fails for any part outside the root window, so only the
    // overlap is asked for.
    const int x0 = std::max(x, 0);
    const int y0 = std::max(y, 0);
    const int x1 = std::min(x + width, connection.rootWidth());
    const int y1 = std::min(y + height, connection.rootHeight());
    if (x1 <= x0 || y1 <= y0)
        return image;
    xcb_connection_t* conn = connection.get();
    XcbPtr<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        conn,
        xcb_get_image(conn, XCB_IMAGE_FORMAT_Z_PIXMAP, connection.root(), std::int16_t(x0), std::int16_t(y0),
                      std::uint16_t(x1 - x0), std::uint16_t(y1 - y0), ~0u),
        nullptr));
    if (!reply)
        return {};
    // Depth 24 and 32 come as 32 bits per pixel, B G R X in memory on the
    // little-endian machines we run on: QImage's RGB32 layout.
    const int w = x1 - x0;
    const int h = y1 - y0;
    const auto* data = xcb_get_image_data(reply.get());
    const int length = xcb_get_image_data_length(reply.get());
    if (length < w * h * 4 || (reply->depth != 24 && reply->depth != 32))
        return {};
    const int stride = length / h;
    for (int row = 0; row < h; ++row) {
        auto* dst = reinterpret_cast<std::uint32_t*>(image.scanLine(row + (y0 - y))) + (x0 - x);
        const auto* src = reinterpret_cast<const std::uint32_t*>(data + std::size_t(row) * stride);
        for (int col = 0; col < w; ++col)
            dst[col] = src[col] | 0xFF000000u;
    }
    return image;
}

} // namespace x11
