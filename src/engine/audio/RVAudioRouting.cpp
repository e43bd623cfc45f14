#include "engine/audio/RVAudioRouting.h"

#include "core/EMLog.h"
#include "engine/audio/AudioDeviceRules.h"
#include "engine/audio/SoundServer.h"

using namespace AudioDeviceRules;

namespace {

std::optional<EZAudioDevice> findByUID(const std::vector<EZAudioDevice>& list, const std::string& uid) {
    for (const auto& d : list)
        if (!uid.empty() && d.UID == uid)
            return d;
    return std::nullopt;
}

const char* nameOf(const std::optional<EZAudioDevice>& device) {
    return device ? device->name.c_str() : "(none)";
}

} // namespace

RVAudioRouting::RVAudioRouting(SoundServer& server, Hooks hooks)
    : server_(server), hooks_(std::move(hooks)), self_(std::make_shared<RVAudioRouting*>(this)) {
}

RVAudioRouting::~RVAudioRouting() = default;

void RVAudioRouting::later(Task task) {
    if (!hooks_.schedule) {
        task();
        return;
    }
    std::weak_ptr<RVAudioRouting*> alive = self_;
    hooks_.schedule(kFollowUpDelay, [alive, task = std::move(task)] {
        if (alive.lock())
            task();
    });
}

void RVAudioRouting::init() {
    inputDevice = EZAudioDevice::currentInputDevice(server_);
    outputDevice = EZAudioDevice::currentOutputDevice(server_);
    // A default that is one of the application's own devices was left by a
    // run that did not quit cleanly; what the user had before is unknown, so
    // nothing is restored and the rules choose afresh.
    if (inputDevice && isAppDevice(*inputDevice))
        inputDevice.reset();
    if (outputDevice && isAppDevice(*outputDevice))
        outputDevice.reset();
    startupInputUID_ = inputDevice ? inputDevice->UID : std::string();
    startupOutputUID_ = outputDevice ? outputDevice->UID : std::string();
    EMLog::showMessage("%s %d input %s, output %s", __func__, __LINE__, nameOf(inputDevice),
                       nameOf(outputDevice));

    if (!hasInstallSoundFlower()) {
        const int status = server_.loadLoopbackDevice();
        if (status != 0)
            EMLog::showMessage("%s %d loading %s failed: %d", __func__, __LINE__, kLoopbackName.data(),
                               status);
    }
    prepareDevice();
    knownUserDevices_ = userDeviceUIDs();
}

int RVAudioRouting::prepareDevice() {
    const auto choice = chooseInputName(EZAudioDevice::inputDevices(server_), inputDevice);
    if (choice.microphone)
        inputDevice = choice.microphone;
    const auto outputName = chooseOutputName(EZAudioDevice::outputDevices(server_), outputDevice);
    // Without a microphone the loop-back UID stands in as the name; no
    // device name starts with it, so the input step reports 80.
    return prepareDevice(choice.name.empty() ? std::string(kLoopbackUID) : choice.name, outputName);
}

int RVAudioRouting::prepareDevice(const std::string& inputName, const std::string& outputName) {
    if (inputName.empty() || outputName.empty()) {
        EMLog::showMessage("没有找到麦克风");
        return kResultNoMicrophone;
    }
    const int code = loadEZAudioInputDevice(inputName);
    if (code != kResultOK)
        return code;
    return loadEZAudioOutputDevice(outputName);
}

int RVAudioRouting::loadEZAudioInputDevice(const std::string& name) {
    const auto inputs = EZAudioDevice::inputDevices(server_);
    EMLog::showMessage("cnt = %ld ,input Device name %s", static_cast<long>(inputs.size()), name.c_str());
    builtInputDevice.reset();
    soundflowerInputDevcie.reset();
    std::optional<EZAudioDevice> stale;
    for (const auto& d : inputs) {
        if (startsWith(d.name, name))
            builtInputDevice = d;
        if (startsWith(d.name, kLoopbackName))
            soundflowerInputDevcie = d;
        if (startsWith(d.name, kInputAggregateName))
            stale = d;
    }
    if (!builtInputDevice) {
        EMLog::showMessage("未找到内置话筒");
        return kResultNoMicrophone;
    }
    if (!soundflowerInputDevcie) {
        EMLog::showMessage("未找到soundflower输入");
        return kResultNoLoopbackInput;
    }
    if (stale) {
        EMLog::showMessage("destroyAggregateDevice name = %s,id=%u", stale->name.c_str(), stale->deviceID);
        destroyAggregateDevice(*stale);
        aggregateInputDevcie.reset();
    }
    const std::string aggregate(kInputAggregateName);
    if (createAggregateDevice(aggregate, builtInputDevice->UID, soundflowerInputDevcie->UID, false) != 0) {
        EMLog::showMessage("createAggregateDevice %s fail", aggregate.c_str());
        return kResultInputAggregateFailed;
    }
    EMLog::showMessage("createAggregateDevice %s success", aggregate.c_str());
    later([this] { loadMRInputDevice(); });
    EMLog::showMessage("create input AggregateDevice %s success dispatch_after", aggregate.c_str());
    return kResultOK;
}

int RVAudioRouting::loadEZAudioOutputDevice(const std::string& name) {
    const auto outputs = EZAudioDevice::outputDevices(server_);
    EMLog::showMessage("enum output devices count = %ld", static_cast<long>(outputs.size()));
    builtOutputDevice.reset();
    std::optional<EZAudioDevice> loopbackOutput, stale;
    for (const auto& d : outputs) {
        if (startsWith(d.name, name))
            builtOutputDevice = d;
        if (startsWith(d.name, kLoopbackName))
            loopbackOutput = d;
        if (startsWith(d.name, kOutputAggregateName))
            stale = d;
    }
    if (!builtOutputDevice || !loopbackOutput) {
        EMLog::showMessage("未找到 内置输出");
        return kResultNoBuiltInOutput;
    }
    if (stale) {
        EMLog::showMessage("destroyOutputDevice name = %s,id=%u", stale->name.c_str(), stale->deviceID);
        destroyAggregateDevice(*stale);
        aggregateOutputDevice.reset();
    }
    const std::string aggregate(kOutputAggregateName);
    if (createAggregateDevice(aggregate, builtOutputDevice->UID, loopbackOutput->UID, true) != 0) {
        EMLog::showMessage("create output AggregateDevice fail  name= %s", aggregate.c_str());
        return kResultOutputAggregateFailed;
    }
    later([this] { loadMROutPutDevice(); });
    return kResultOK;
}

void RVAudioRouting::loadMRInputDevice() {
    aggregateInputDevcie.reset();
    for (const auto& d : EZAudioDevice::inputDevices(server_)) {
        if (startsWith(d.name, kInputAggregateName)) {
            aggregateInputDevcie = d;
            EMLog::showMessage("aggregateInputDevcie = %s", d.description().c_str());
        }
    }
}

void RVAudioRouting::loadMROutPutDevice() {
    aggregateOutputDevice.reset();
    for (const auto& d : EZAudioDevice::outputDevices(server_)) {
        if (startsWith(d.name, kOutputAggregateName)) {
            aggregateOutputDevice = d;
            EMLog::showMessage("loaded aggregateOutputDevice = %s", d.description().c_str());
        }
    }
}

int RVAudioRouting::createAggregateDevice(const std::string& name, const std::string& id1,
                                          const std::string& id2, bool isOut) {
    AggregateDescription description;
    description.name = name;
    description.uid = isOut ? kOutputAggregateName : kInputAggregateName;
    description.subdevices = {id1, id2};
    description.master = id1;
    if (isOut)
        description.stacked = 1;
    const int status = server_.createAggregateDevice(description);
    if (status != 0)
        EMLog::showMessage("AudioHardwareCreateAggregateDevice Error: %d\n", status);
    else
        EMLog::showMessage("AudioHardwareCreateAggregateDevice success");
    return status;
}

int RVAudioRouting::destroyAggregateDevice(const EZAudioDevice& device) {
    const int status = server_.destroyAggregateDevice(device);
    if (status != 0)
        EMLog::showMessage("destroyAggregateDevice Error: %d\n", status);
    else
        EMLog::showMessage("destroyAggregateDevice success");
    return status;
}

int RVAudioRouting::setSystemDefaultInput(const EZAudioDevice& device) {
    const int status = server_.setDefaultInput(device);
    if (status == 0)
        EMLog::showMessage("setSystemDefaultInput %s", device.name.c_str());
    return status;
}

int RVAudioRouting::setSystemDefaultOutPut(const EZAudioDevice& device) {
    const int status = server_.setDefaultOutput(device);
    if (status == 0)
        EMLog::showMessage("setSystemDefaultOutPut %s", device.name.c_str());
    return status;
}

bool RVAudioRouting::hasInstallSoundFlower() {
    for (const auto& d : EZAudioDevice::inputDevices(server_))
        if (startsWith(d.name, kLoopbackName))
            return true;
    return false;
}

std::optional<EZAudioDevice> RVAudioRouting::switchRecordType(RecordAudioType recordType) {
    EMLog::showMessage("switchRecordType name = %d,", static_cast<int>(recordType));
    if (!aggregateOutputDevice)
        loadMROutPutDevice();
    // The same for the input aggregate, which may be asked for before its
    // follow-up load ran.
    if (recordType != RecordAudioType::System && recordType != RecordAudioType::Microphone &&
        !aggregateInputDevcie)
        loadMRInputDevice();
    recordAudioType = recordType;
    const auto& wanted = recordType == RecordAudioType::System       ? soundflowerInputDevcie
                         : recordType == RecordAudioType::Microphone ? builtInputDevice
                                                                     : aggregateInputDevcie;
    if (wanted)
        selectInputDevice = wanted;
    if (aggregateOutputDevice)
        selectOutputDevice = aggregateOutputDevice;
    if (selectInputDevice)
        setSystemDefaultInput(*selectInputDevice);
    if (selectOutputDevice)
        setSystemDefaultOutPut(*selectOutputDevice);
    return selectInputDevice;
}

bool RVAudioRouting::hasMicrophone() const {
    return builtInputDevice && !isAppDevice(*builtInputDevice);
}

bool RVAudioRouting::hasUsableMicrophone() {
    const auto inputs = EZAudioDevice::inputDevices(server_);
    const auto choice = chooseInputName(inputs, inputDevice);
    for (const auto& d : inputs)
        if (!choice.name.empty() && startsWith(d.name, choice.name) && !isAppDevice(d))
            return true;
    return false;
}

std::set<std::string> RVAudioRouting::userDeviceUIDs() {
    std::set<std::string> uids;
    for (const auto& d : server_.listDevices())
        if (!isAppDevice(d))
            uids.insert((d.inputChannelCount > 0 ? "in:" : "out:") + d.UID);
    return uids;
}

void RVAudioRouting::checkAudioDevice() {
    // A server that lists nothing has gone away (a running one always has
    // the loop-back device at least); that is no change of the user's
    // devices, and nothing is rebuilt until it is back.
    if (server_.listDevices().empty())
        return;
    auto now = userDeviceUIDs();
    if (now == knownUserDevices_)
        return;
    knownUserDevices_ = std::move(now);
    EMLog::showMessage("%s %d audio devices changed, rebuilding the routing", __func__, __LINE__);
    prepareDevice();
    // The server lists a loaded device as soon as the load returns; the
    // scheduled follow-ups only confirm what these find now.
    loadMRInputDevice();
    loadMROutPutDevice();

    const RecordAudioType wanted = recordAudioType;
    const bool microphone = hasMicrophone();
    if ((wanted == RecordAudioType::Microphone || wanted == RecordAudioType::Both) && !microphone) {
        EMLog::showMessage("%s %d no microphone for audio type %u", __func__, __LINE__, toInt(wanted));
        if (hooks_.showMicrophoneAlert)
            hooks_.showMicrophoneAlert();
    }
    const RecordAudioType type = consistentAudioType(wanted, microphone, soundflowerInputDevcie.has_value(),
                                                     aggregateInputDevcie.has_value());
    const auto input = switchRecordType(type);
    if (hooks_.audioRoutingChanged)
        hooks_.audioRoutingChanged(type, input);
}

void RVAudioRouting::restoreDevices() {
    const auto all = server_.listDevices();
    const auto listed = [&all](const std::optional<EZAudioDevice>& d) {
        return d && findByUID(all, d->UID).has_value();
    };
    if (listed(soundflowerInputDevcie) && listed(aggregateInputDevcie) && listed(aggregateOutputDevice))
        return;
    EMLog::showMessage("%s %d the application's devices are missing, loading them again", __func__, __LINE__);
    if (!hasInstallSoundFlower()) {
        const int status = server_.loadLoopbackDevice();
        if (status != 0) {
            EMLog::showMessage("%s %d loading %s failed: %d", __func__, __LINE__, kLoopbackName.data(),
                               status);
            return;
        }
    }
    prepareDevice();
    knownUserDevices_ = userDeviceUIDs();
}

void RVAudioRouting::destroyDevicesAtQuit() {
    const auto all = server_.listDevices();
    const auto inputs = EZAudioDevice::inputsOf(all);
    const auto outputs = EZAudioDevice::outputsOf(all);
    // The user's devices become the defaults again before the application's
    // go, so that playing streams move back to them and not to whatever the
    // server would fall back to.
    if (auto d = findByUID(inputs, startupInputUID_))
        setSystemDefaultInput(*d);
    if (auto d = findByUID(outputs, startupOutputUID_))
        setSystemDefaultOutPut(*d);
    for (const auto& d : inputs)
        if (startsWith(d.name, kInputAggregateName))
            destroyAggregateDevice(d);
    for (const auto& d : outputs)
        if (startsWith(d.name, kOutputAggregateName))
            destroyAggregateDevice(d);
    const int status = server_.unloadLoopbackDevice();
    if (status != 0)
        EMLog::showMessage("%s %d removing %s failed: %d", __func__, __LINE__, kLoopbackName.data(), status);
    aggregateInputDevcie.reset();
    aggregateOutputDevice.reset();
    soundflowerInputDevcie.reset();
    selectInputDevice.reset();
    selectOutputDevice.reset();
}
