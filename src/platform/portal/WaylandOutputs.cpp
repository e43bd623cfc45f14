#include "platform/portal/PortalCapture.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <wayland-client.h>

namespace portalcapture {
namespace {

struct DisplayDeleter {
    void operator()(wl_display* display) const { wl_display_disconnect(display); }
};
struct RegistryDeleter {
    void operator()(wl_registry* registry) const { wl_registry_destroy(registry); }
};
struct OutputDeleter {
    void operator()(wl_output* output) const { wl_output_destroy(output); }
};

// The output's name came with version 4.
constexpr uint32_t kOutputVersion = 4;

struct Output {
    std::unique_ptr<wl_output, OutputDeleter> proxy;
    RVScreen screen;
    // The monitor's maker and model, for a name where the compositor gives
    // the output none (wl_output before version 4, as GNOME 43's).
    std::string makeAndModel;
};

struct Inventory {
    std::vector<std::unique_ptr<Output>> outputs;
};

const wl_output_listener kOutputListener = {
    // geometry: the position in the compositor's space.
    [](void* data, wl_output*, int32_t x, int32_t y, int32_t, int32_t, int32_t, const char* make,
       const char* model, int32_t) {
        auto* output = static_cast<Output*>(data);
        output->screen.x = x;
        output->screen.y = y;
        const std::string maker = make ? make : "";
        const std::string product = model ? model : "";
        output->makeAndModel = maker.empty() || product.empty() ? maker + product : maker + " " + product;
    },
    // mode: the current one is the size of the output's pictures in pixels.
    [](void* data, wl_output*, uint32_t flags, int32_t width, int32_t height, int32_t) {
        if (!(flags & WL_OUTPUT_MODE_CURRENT))
            return;
        auto* output = static_cast<Output*>(data);
        output->screen.width = width;
        output->screen.height = height;
    },
    [](void*, wl_output*) {},
    [](void*, wl_output*, int32_t) {},
    [](void* data, wl_output*, const char* name) { static_cast<Output*>(data)->screen.name = name; },
    [](void*, wl_output*, const char*) {},
};

const wl_registry_listener kRegistryListener = {
    [](void* data, wl_registry* registry, uint32_t id, const char* interface, uint32_t version) {
        if (std::strcmp(interface, wl_output_interface.name) != 0)
            return;
        auto output = std::make_unique<Output>();
        output->proxy.reset(static_cast<wl_output*>(
            wl_registry_bind(registry, id, &wl_output_interface, std::min(version, kOutputVersion))));
        wl_output_add_listener(output->proxy.get(), &kOutputListener, output.get());
        static_cast<Inventory*>(data)->outputs.push_back(std::move(output));
    },
    [](void*, wl_registry*, uint32_t) {},
};

} // namespace

bool sessionAvailable(std::string* error) {
    std::unique_ptr<wl_display, DisplayDeleter> display(wl_display_connect(nullptr));
    if (!display) {
        if (error)
            *error = "cannot connect to the Wayland compositor (WAYLAND_DISPLAY)";
        return false;
    }
    return true;
}

std::vector<RVScreen> listOutputs() {
    std::unique_ptr<wl_display, DisplayDeleter> display(wl_display_connect(nullptr));
    if (!display)
        return {};
    Inventory inventory;
    {
        std::unique_ptr<wl_registry, RegistryDeleter> registry(wl_display_get_registry(display.get()));
        wl_registry_add_listener(registry.get(), &kRegistryListener, &inventory);
        // The first round trip lists the outputs, the second their details.
        wl_display_roundtrip(display.get());
        wl_display_roundtrip(display.get());
    }
    std::vector<RVScreen> screens;
    for (const auto& output : inventory.outputs) {
        RVScreen screen = output->screen;
        if (screen.name.empty())
            screen.name = output->makeAndModel;
        // Two monitors of one model are told apart by their place in the list.
        const bool taken = std::any_of(screens.begin(), screens.end(),
                                       [&](const RVScreen& other) { return other.name == screen.name; });
        if (screen.name.empty() || taken)
            screen.name =
                (screen.name.empty() ? "output" : screen.name) + " " + std::to_string(screens.size() + 1);
        // Wayland names no primary output; the first one stands in for it.
        screen.primary = screens.empty();
        if (screen.isValid())
            screens.push_back(screen);
    }
    return screens;
}

} // namespace portalcapture
