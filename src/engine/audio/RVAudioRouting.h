#pragma once

#include "engine/RecordRequest.h"
#include "engine/audio/EZAudioDevice.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

class SoundServer;

// Routes system audio and the microphone through the sound server's own
// devices: the loop-back device "BlackHole 2ch", the input aggregate
// "MR-InputDevice" (microphone plus loop-back input) and the output
// aggregate "MR-OutputDevice" (built-in output plus loop-back output, so the
// user still hears what is recorded). The recording controller owns one and
// forwards its device operations to it.
//
// Main thread only, like the controller. The hooks are called on the main
// thread from inside the member that triggers them.
class RVAudioRouting {
public:
    using Task = std::function<void()>;
    struct Hooks {
        // Runs `task` after `delay` on the main thread (the controller uses a
        // single-shot Qt timer). Empty: run it at once.
        std::function<void(std::chrono::milliseconds delay, Task task)> schedule;
        // A microphone mode was asked for and there is no microphone: show
        // the modal alert "Alert_Mic_Message".
        std::function<void()> showMicrophoneAlert;
        // After devices appeared or vanished the audio kind had to change
        // (or the input to open did): the controller stores the kind, shows
        // it in the audio pop-ups and reopens the audio capture on `input`.
        std::function<void(RecordAudioType recordAudioType, const std::optional<EZAudioDevice>& input)>
            audioRoutingChanged;
    };

    // A new loaded device is listed by the server only a moment later.
    static constexpr std::chrono::milliseconds kFollowUpDelay{500};

    RVAudioRouting(SoundServer& server, Hooks hooks = {});
    RVAudioRouting(const RVAudioRouting&) = delete;
    RVAudioRouting& operator=(const RVAudioRouting&) = delete;
    // Leaves the devices in place (they outlive a recording): quit calls
    // destroyDevicesAtQuit() first.
    ~RVAudioRouting();

    // Start-up: remembers the system's input and output (restored at quit),
    // creates the loop-back device when missing, then prepareDevice().
    // Called by the controller's init.
    void init();

    // The routing steps; each logs and returns a result code (0 success,
    // 80/81/82 input side, 90/91 output side). prepareDevice() is called by
    // init() and the device check; the controller forwards its own
    // prepareDevice to it. The rest are its steps, public for the controller
    // and for tests.
    int prepareDevice();
    int prepareDevice(const std::string& inputName, const std::string& outputName);
    int loadEZAudioInputDevice(const std::string& name);
    int loadEZAudioOutputDevice(const std::string& name);
    void loadMRInputDevice();
    void loadMROutPutDevice();
    // Server statuses: 0 success.
    int createAggregateDevice(const std::string& name, const std::string& id1, const std::string& id2,
                              bool isOut);
    int destroyAggregateDevice(const EZAudioDevice& device);
    int setSystemDefaultInput(const EZAudioDevice& device);
    int setSystemDefaultOutPut(const EZAudioDevice& device);
    bool hasInstallSoundFlower();

    // Applies an audio kind (0 system, 1 microphone, 2 both, 3 none): the
    // matching input and the output aggregate become the system defaults.
    // Called by the controller's switchRecordType (the audio pop-ups, the
    // start-up load).
    // Returns the input the audio capture opens (by its name, or its UID on
    // the server). The controller sets the encoder's audio settings itself.
    std::optional<EZAudioDevice> switchRecordType(RecordAudioType recordType);

    // Is there a microphone the "microphone only" mode can use? (The
    // start-up load asks before it keeps a stored microphone mode.)
    bool hasUsableMicrophone();

    // The device check: the repeating timer of the audio capture and the
    // server's device events both call it. When the user's devices changed
    // it rebuilds the choice, keeps an audio kind that the devices allow
    // (alerting when a microphone mode lost its microphone) and tells the
    // controller. The application's own devices coming and going (its own
    // rebuilds) are not a change.
    void checkAudioDevice();

    // After the sound server went away and came back (it then has none of
    // the application's devices): loads the loop-back device again when it
    // is missing and rebuilds the aggregates. Cheap when nothing is missing.
    void restoreDevices();

    // Quit: gives the user back the defaults of start-up and removes both
    // aggregates and the loop-back device.
    void destroyDevicesAtQuit();

    // The controller's device fields. The misspellings are the interface's.
    std::optional<EZAudioDevice> builtInputDevice;
    std::optional<EZAudioDevice> builtOutputDevice;
    std::optional<EZAudioDevice> soundflowerInputDevcie;
    std::optional<EZAudioDevice> aggregateInputDevcie;
    std::optional<EZAudioDevice> aggregateOutputDevice;
    std::optional<EZAudioDevice> selectInputDevice;
    std::optional<EZAudioDevice> selectOutputDevice;
    // The chosen input and output (the system's at start-up).
    std::optional<EZAudioDevice> inputDevice;
    std::optional<EZAudioDevice> outputDevice;
    RecordAudioType recordAudioType = RecordAudioType::System;

private:
    void later(Task task);
    // UIDs of the devices that are not the application's own.
    std::set<std::string> userDeviceUIDs();
    bool hasMicrophone() const;

    SoundServer& server_;
    Hooks hooks_;
    // Scheduled follow-ups hold a weak reference and do nothing once the
    // routing is gone.
    std::shared_ptr<RVAudioRouting*> self_;
    std::string startupInputUID_;
    std::string startupOutputUID_;
    std::set<std::string> knownUserDevices_;
};
