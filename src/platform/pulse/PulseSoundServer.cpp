#include "platform/pulse/PulseSoundServer.h"

#include "core/EMLog.h"
#include "engine/audio/AudioDeviceRules.h"

#include <algorithm>

using AudioDeviceRules::kLoopbackName;
using AudioDeviceRules::kLoopbackUID;

namespace {

// Loopbacks delay the microphone and system audio in the input aggregate by
// about this much. Shorter ones underrun (audible gaps) as soon as the
// machine is busy, and a recorder keeps it busy encoding; a tenth of a
// second of sound lagging the picture is not noticed.
constexpr const char* kLoopbackLatencyMsec = "100";

// How long a new default may take to show before it is asked for again.
constexpr std::chrono::milliseconds kDefaultRetry{250};

std::string property(const pa_proplist* list, const char* key) {
    const char* value = pa_proplist_gets(list, key);
    return value ? value : "";
}

bool isBuiltIn(const pa_proplist* list) {
    const auto formFactor = property(list, PA_PROP_DEVICE_FORM_FACTOR);
    const auto bus = property(list, PA_PROP_DEVICE_BUS);
    return formFactor == "internal" || bus == "pci" || bus == "platform";
}

template <class Info> EZAudioDevice deviceFrom(const Info& info, bool isInput) {
    EZAudioDevice d;
    d.deviceID = info.index;
    d.name = info.description ? info.description : info.name;
    d.UID = info.name ? info.name : "";
    d.manufacturer = property(info.proplist, PA_PROP_DEVICE_VENDOR_NAME);
    (isInput ? d.inputChannelCount : d.outputChannelCount) = info.channel_map.channels;
    d.builtIn = isBuiltIn(info.proplist);
    return d;
}

struct DeviceList : PulseConnection::Request {
    std::vector<EZAudioDevice> devices;
};

void onSink(pa_context*, const pa_sink_info* info, int eol, void* userdata) {
    auto* r = static_cast<DeviceList*>(userdata);
    if (eol != 0)
        return r->finish(eol > 0);
    r->devices.push_back(deviceFrom(*info, false));
}

void onSource(pa_context*, const pa_source_info* info, int eol, void* userdata) {
    auto* r = static_cast<DeviceList*>(userdata);
    if (eol != 0)
        return r->finish(eol > 0);
    // A sink's monitor is that output seen as an input, not a device of its own.
    if (info->monitor_of_sink == PA_INVALID_INDEX)
        r->devices.push_back(deviceFrom(*info, true));
}

struct ServerInfo : PulseConnection::Request {
    std::string defaultSink;
    std::string defaultSource;
};

void onServerInfo(pa_context*, const pa_server_info* info, void* userdata) {
    auto* r = static_cast<ServerInfo*>(userdata);
    if (info) {
        r->defaultSink = info->default_sink_name ? info->default_sink_name : "";
        r->defaultSource = info->default_source_name ? info->default_source_name : "";
    }
    r->finish(info != nullptr);
}

struct ModuleList : PulseConnection::Request {
    std::vector<PulseSoundServer::Module> modules;
};

void onModule(pa_context*, const pa_module_info* info, int eol, void* userdata) {
    auto* r = static_cast<ModuleList*>(userdata);
    if (eol != 0)
        return r->finish(eol > 0);
    r->modules.push_back({info->index, info->name ? info->name : "", info->argument ? info->argument : ""});
}

struct IndexResult : PulseConnection::Request {
    uint32_t index = PA_INVALID_INDEX;
};

void onIndex(pa_context*, uint32_t index, void* userdata) {
    auto* r = static_cast<IndexResult*>(userdata);
    r->index = index;
    r->finish(index != PA_INVALID_INDEX);
}

void onSuccess(pa_context*, int success, void* userdata) {
    static_cast<PulseConnection::Request*>(userdata)->finish(success != 0);
}

// key=value for module arguments, quoted when the value needs it.
std::string arg(const std::string& key, const std::string& value) {
    if (value.find_first_of(" \t\"'\\") == std::string::npos)
        return key + "=" + value;
    std::string quoted = key + "=\"";
    for (char c : value) {
        if (c == '"' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

// The device description as a property list argument of a module.
std::string described(const std::string& key, const std::string& description) {
    std::string escaped;
    for (char c : description) {
        if (c == '\'' || c == '\\')
            escaped += '\\';
        escaped += c;
    }
    return arg(key, "device.description='" + escaped + "'");
}

// Does `argument` name `token` as a device, or a part of it ("<token>.mix")?
bool mentions(const std::string& argument, const std::string& token) {
    if (token.empty())
        return false;
    static const std::string before = "= ,\"'";
    static const std::string after = " .,\"'";
    for (auto at = argument.find(token); at != std::string::npos; at = argument.find(token, at + 1)) {
        const auto end = at + token.size();
        const bool startOk = at == 0 || before.find(argument[at - 1]) != std::string::npos;
        const bool endOk = end == argument.size() || after.find(argument[end]) != std::string::npos;
        if (startOk && endOk)
            return true;
    }
    return false;
}

bool hasDevice(const std::vector<EZAudioDevice>& list, const std::string& uid, bool input) {
    return std::any_of(list.begin(), list.end(), [&](const EZAudioDevice& d) {
        return d.UID == uid && (input ? d.inputChannelCount : d.outputChannelCount) > 0;
    });
}

} // namespace

PulseSoundServer::PulseSoundServer(std::chrono::milliseconds timeout)
    : connection_(
          "FrameDeck audio routing",
          static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE |
                                              PA_SUBSCRIPTION_MASK_MODULE | PA_SUBSCRIPTION_MASK_SERVER),
          timeout) {
}

PulseSoundServer::~PulseSoundServer() {
    connection_.setEventHandler({});
}

int PulseSoundServer::error() const {
    return connection_.lastError();
}

std::string PulseSoundServer::loopbackInputUID() {
    return std::string(kLoopbackUID) + ".input";
}

std::vector<EZAudioDevice> PulseSoundServer::listDevices() {
    DeviceList sinks, sources;
    const bool ok = connection_.run(sinks, [&](pa_context* c) {
        return pa_context_get_sink_info_list(c, onSink, &sinks);
    }) && connection_.run(sources, [&](pa_context* c) {
        return pa_context_get_source_info_list(c, onSource, &sources);
    });
    if (!ok) {
        EMLog::showMessage("Failed to get device IDs for available devices on OSX");
        EMLog::showMessage("%s %d %s", __func__, __LINE__, pa_strerror(error()));
        return {};
    }
    auto all = std::move(sinks.devices);
    all.insert(all.end(), sources.devices.begin(), sources.devices.end());
    return all;
}

std::string PulseSoundServer::defaultInputUID() {
    ServerInfo info;
    if (!connection_.run(info,
                         [&](pa_context* c) { return pa_context_get_server_info(c, onServerInfo, &info); })) {
        EMLog::showMessage("Failed to get device property (%u)", static_cast<unsigned>(error()));
        return {};
    }
    return info.defaultSource;
}

std::string PulseSoundServer::defaultOutputUID() {
    ServerInfo info;
    if (!connection_.run(info,
                         [&](pa_context* c) { return pa_context_get_server_info(c, onServerInfo, &info); })) {
        EMLog::showMessage("Failed to get device property (%u)", static_cast<unsigned>(error()));
        return {};
    }
    return info.defaultSink;
}

std::vector<PulseSoundServer::Module> PulseSoundServer::listModules(bool* ok) {
    ModuleList list;
    const bool done = connection_.run(
        list, [&](pa_context* c) { return pa_context_get_module_info_list(c, onModule, &list); });
    if (ok)
        *ok = done;
    return done ? std::move(list.modules) : std::vector<Module>{};
}

int PulseSoundServer::loadModule(const std::string& name, const std::string& argument, uint32_t* index) {
    IndexResult result;
    if (!connection_.run(result, [&](pa_context* c) {
            return pa_context_load_module(c, name.c_str(), argument.c_str(), onIndex, &result);
        })) {
        EMLog::showMessage("%s %d %s %s: %s", __func__, __LINE__, name.c_str(), argument.c_str(),
                           pa_strerror(error()));
        return error();
    }
    if (index)
        *index = result.index;
    return 0;
}

int PulseSoundServer::unloadModule(uint32_t index) {
    PulseConnection::Request request;
    if (!connection_.run(
            request, [&](pa_context* c) { return pa_context_unload_module(c, index, onSuccess, &request); }))
        return error();
    // Until it is really gone its devices are still listed and their names
    // still taken.
    if (!connection_.waitForModuleRemoval(index))
        EMLog::showMessage("%s %d module %u not gone yet", __func__, __LINE__, index);
    return 0;
}

int PulseSoundServer::unloadModulesMentioning(const std::string& token) {
    bool ok = false;
    auto modules = listModules(&ok);
    if (!ok)
        return -1;
    std::sort(modules.begin(), modules.end(),
              [](const Module& a, const Module& b) { return a.index > b.index; });
    int unloaded = 0;
    for (const auto& m : modules) {
        // A part whose device went first may have unloaded itself already.
        if (mentions(m.argument, token) && unloadModule(m.index) == 0)
            ++unloaded;
    }
    return unloaded;
}

bool PulseSoundServer::waitUntilListed(const std::string& uid, bool input) {
    // PipeWire lists a module's device a moment after the load returned.
    const auto deadline = std::chrono::steady_clock::now() + connection_.timeout();
    for (uint64_t seen = connection_.changes();; seen = connection_.changes()) {
        if (hasDevice(listDevices(), uid, input))
            return true;
        if (!connection_.waitForChange(seen, deadline))
            return false;
    }
}

int PulseSoundServer::createAggregateDevice(const AggregateDescription& description) {
    const std::string& uid = description.uid;
    // Leftovers of the same name, even half-built ones from a crash, would
    // make the server rename the new device.
    if (unloadModulesMentioning(uid) < 0)
        return error();
    std::vector<std::string> parts;
    for (const auto& sub : description.subdevices)
        if (!sub.empty() && std::find(parts.begin(), parts.end(), sub) == parts.end())
            parts.push_back(sub);
    if (uid.empty() || parts.empty())
        return PA_ERR_INVALID;

    std::vector<uint32_t> loaded;
    auto load = [&](const char* module, const std::string& argument) {
        uint32_t index = PA_INVALID_INDEX;
        if (loadModule(module, argument, &index) != 0)
            return false;
        loaded.push_back(index);
        return true;
    };
    const bool stacked = description.stacked.value_or(0) == 1;
    bool ok = true;
    if (stacked) {
        // Plays everything on every sub-device at once.
        std::string slaves;
        for (const auto& p : parts)
            slaves += (slaves.empty() ? "" : ",") + p;
        ok = load("module-combine-sink", arg("sink_name", uid) + " " + arg("slaves", slaves) + " " +
                                             described("sink_properties", description.name));
    } else {
        // Mixes the sub-devices into one sink and offers what it plays as an input.
        const std::string mix = uid + ".mix";
        ok = load("module-null-sink", arg("sink_name", mix) + " channels=2 " +
                                          described("sink_properties", description.name + " mix"));
        for (const auto& p : parts)
            ok = ok &&
                 load("module-loopback",
                      arg("source", p) + " " + arg("sink", mix) +
                          " source_dont_move=true sink_dont_move=true latency_msec=" + kLoopbackLatencyMsec);
        ok = ok &&
             load("module-remap-source", arg("master", mix + ".monitor") + " " + arg("source_name", uid) +
                                             " " + described("source_properties", description.name));
    }
    if (ok && waitUntilListed(uid, !stacked))
        return 0;
    const int status = ok ? PA_ERR_TIMEOUT : error();
    for (auto it = loaded.rbegin(); it != loaded.rend(); ++it)
        unloadModule(*it);
    return status != 0 ? status : PA_ERR_UNKNOWN;
}

int PulseSoundServer::destroyAggregateDevice(const EZAudioDevice& device) {
    const int unloaded = unloadModulesMentioning(device.UID);
    if (unloaded < 0)
        return error();
    return unloaded > 0 ? 0 : PA_ERR_NOENTITY;
}

int PulseSoundServer::loadLoopbackDevice() {
    // An unreachable server lists nothing; the load below then reports it.
    const auto devices = listDevices();
    const std::string sink(kLoopbackUID);
    const std::string name(kLoopbackName);
    if (!hasDevice(devices, sink, false)) {
        const int status = loadModule("module-null-sink", arg("sink_name", sink) + " channels=2 " +
                                                              described("sink_properties", name));
        if (status != 0)
            return status;
    }
    if (!hasDevice(devices, loopbackInputUID(), true)) {
        const int status = loadModule("module-remap-source", arg("master", sink + ".monitor") + " " +
                                                                 arg("source_name", loopbackInputUID()) +
                                                                 " " + described("source_properties", name));
        if (status != 0)
            return status;
    }
    return waitUntilListed(sink, false) && waitUntilListed(loopbackInputUID(), true) ? 0 : PA_ERR_TIMEOUT;
}

int PulseSoundServer::unloadLoopbackDevice() {
    const int unloaded = unloadModulesMentioning(std::string(kLoopbackUID));
    return unloaded < 0 ? error() : 0;
}

int PulseSoundServer::setDefault(const std::string& uid, bool input) {
    // PipeWire lists a device a moment after its module loaded, acknowledges
    // a new default at once and lets its session manager apply it a moment
    // later, or, for a device the manager has not fully seen yet, not at
    // all: ask again until the server reports it.
    const auto deadline = std::chrono::steady_clock::now() + connection_.timeout();
    while (true) {
        const uint64_t seen = connection_.changes();
        const auto askAgain = std::min(deadline, std::chrono::steady_clock::now() + kDefaultRetry);
        PulseConnection::Request request;
        if (!connection_.run(request, [&](pa_context* c) {
                return input ? pa_context_set_default_source(c, uid.c_str(), onSuccess, &request)
                             : pa_context_set_default_sink(c, uid.c_str(), onSuccess, &request);
            })) {
            if (error() != PA_ERR_NOENTITY || std::chrono::steady_clock::now() >= deadline)
                return error();
            connection_.waitForChange(seen, askAgain);
            continue;
        }
        for (uint64_t changes = seen;; changes = connection_.changes()) {
            if ((input ? defaultInputUID() : defaultOutputUID()) == uid)
                return 0;
            if (!connection_.waitForChange(changes, askAgain))
                break;
        }
        if (std::chrono::steady_clock::now() >= deadline)
            break;
    }
    EMLog::showMessage("%s %d the server did not take %s as its default", __func__, __LINE__, uid.c_str());
    return PA_ERR_TIMEOUT;
}

int PulseSoundServer::setDefaultInput(const EZAudioDevice& device) {
    return setDefault(device.UID, true);
}

int PulseSoundServer::setDefaultOutput(const EZAudioDevice& device) {
    return setDefault(device.UID, false);
}

void PulseSoundServer::setDevicesChangedHandler(std::function<void()> handler) {
    if (!handler) {
        connection_.setEventHandler({});
        return;
    }
    connection_.setEventHandler([handler = std::move(handler)](pa_subscription_event_type_t type, uint32_t) {
        const auto facility = type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
        const auto kind = type & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
        const bool device =
            facility == PA_SUBSCRIPTION_EVENT_SINK || facility == PA_SUBSCRIPTION_EVENT_SOURCE;
        if (device && (kind == PA_SUBSCRIPTION_EVENT_NEW || kind == PA_SUBSCRIPTION_EVENT_REMOVE))
            handler();
    });
}
