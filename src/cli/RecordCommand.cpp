#include "cli/RecordCommand.h"

#include "app/AppDelegate.h"
#include "app/AppIdentity.h"
#include "app/FileListStore.h"
#include "app/OutputNaming.h"
#include "app/ProgressTexts.h"
#include "app/SettingsSchema.h"
#include "app/SettingsStore.h"
#include "cli/OverlayKeyValueStore.h"
#include "core/EMLog.h"
#include "engine/EncodeManager.h"
#include "overlays/FrameDecorator.h"
#include "overlays/StoredDecorations.h"
#include "stack/PlatformLoader.h"
#include "stack/RecordingStack.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <chrono>
#include <csignal>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitNoDisplay = 3;
constexpr int kExitNoSound = 4;
constexpr int kExitOutput = 5;
// The output stopped taking data mid-recording (full disk, folder or file
// gone); the file holds what was recorded until then.
constexpr int kExitWriteFailed = 6;
// The loop wakes this often to run posted work and check the length; the
// display refresh still runs once a second.
constexpr std::chrono::milliseconds kTick{50};
// How long a sound source may stay silent after it opened before the
// recording starts without waiting for it any longer.
constexpr std::chrono::seconds kAudioWarmUp{4};

int fail(int code, const std::string& message) {
    std::fprintf(stderr, "framedeck record: %s\n", message.c_str());
    return code;
}

// Work that other threads hand to the main thread (capture failures, device
// changes), and the audio routing's delayed follow-ups.
class MainQueue {
public:
    using Clock = std::chrono::steady_clock;
    void post(std::function<void()> task, Clock::duration delay = {}) {
        std::lock_guard lock(mutex_);
        tasks_.push_back({Clock::now() + delay, std::move(task)});
    }
    // Runs what is due.
    void run() {
        std::vector<std::function<void()>> due;
        {
            std::lock_guard lock(mutex_);
            const auto now = Clock::now();
            for (auto it = tasks_.begin(); it != tasks_.end();) {
                if (it->due <= now) {
                    due.push_back(std::move(it->task));
                    it = tasks_.erase(it);
                } else {
                    ++it;
                }
            }
        }
        for (auto& task : due)
            task();
    }

private:
    struct Task {
        Clock::time_point due;
        std::function<void()> task;
    };
    std::mutex mutex_;
    std::vector<Task> tasks_;
};

// SIGINT / SIGTERM stop, SIGUSR1 toggles pause. They are blocked before any
// thread starts, so every thread inherits the mask and only the main loop's
// sigtimedwait takes them; restored when the command returns.
class SignalMask {
public:
    SignalMask() {
        sigemptyset(&set_);
        for (int s : {SIGINT, SIGTERM, SIGUSR1})
            sigaddset(&set_, s);
        pthread_sigmask(SIG_BLOCK, &set_, &previous_);
    }
    ~SignalMask() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    // The signal that came within `wait`, or 0.
    int wait(std::chrono::milliseconds wait) const {
        timespec ts{static_cast<time_t>(wait.count() / 1000),
                    static_cast<long>((wait.count() % 1000) * 1000000)};
        const int s = sigtimedwait(&set_, nullptr, &ts);
        return s > 0 ? s : 0;
    }

private:
    sigset_t set_;
    sigset_t previous_;
};

bool prepareOutput(RecordPlan& plan, std::string& error) {
    std::string& path = plan.request.outputPath;
    if (path.empty()) {
        const QString folder = AppIdentity::moviesFolder();
        path = OutputNaming::outputPath(folder, QDateTime::currentDateTime(),
                                        QString::fromStdString(plan.extension))
                   .toStdString();
    }
    const QFileInfo file(QString::fromStdString(path));
    const QString folder = file.absolutePath();
    if (!QDir().mkpath(folder) || !QFileInfo(folder).isWritable() || (file.exists() && !file.isWritable())) {
        error = "cannot write " + path;
        return false;
    }
    return true;
}

// The graphical application object that the decorations' fonts and pictures
// need: the offscreen platform gives one without a window or a second
// display connection. Null when the settings switch every decoration off.
std::unique_ptr<QGuiApplication> decorationsApplication(const SettingsStore& settings, bool& decorate) {
    const CursorEffectFlags flags = storedCursorEffectFlags(settings);
    constexpr long long kWatermarkNone = 2;
    // Never written (no first run yet) means the first-run kind: none.
    const bool watermark = settings.hasKey(SettingsKeys::WatermarkType) &&
                           settings.integerForKey(SettingsKeys::WatermarkType) < kWatermarkNone;
    decorate = flags.isMouseHight || flags.isMouseClickEffect || flags.isShowMouse || watermark;
    if (!decorate || QCoreApplication::instance()) {
        if (decorate && !qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
            EMLog::showMessage("recording without decorations: no graphical application object");
            decorate = false;
        }
        return nullptr;
    }
    static int qtArgc = 3;
    static char qtName[] = "framedeck";
    static char qtPlatformFlag[] = "-platform";
    static char qtPlatform[] = "offscreen";
    static char* qtArgv[] = {qtName, qtPlatformFlag, qtPlatform, nullptr};
    return std::make_unique<QGuiApplication>(qtArgc, qtArgv);
}

std::unique_ptr<QCoreApplication> portalApplication() {
    static int qtArgc = 1;
    static char qtName[] = "framedeck";
    static char* qtArgv[] = {qtName, nullptr};
    return std::make_unique<QCoreApplication>(qtArgc, qtArgv);
}

} // namespace

void printRecordUsage(std::FILE* out) {
    std::fprintf(out, "Usage: framedeck record [--mode full|area|window|camera|audio] [--area X,Y,W,H]\n"
                      "                        [--window XID] [--screen N] [--audio system|mic|both|none]\n"
                      "                        [--format mov|mp4|m4v|flv|avi|mp3|wav|m4a] [--fps F]\n"
                      "                        [--quality original|hd|sd] [--seconds N] [--split-time S]\n"
                      "                        [--split-size MB] [--output PATH] [--backend x11|portal]\n"
                      "  Records the screen, an area of it, one window, the camera or sound only, through\n"
                      "  the same engine as the main window. The stored settings apply; flags override them\n"
                      "  for this run only.\n"
                      "  --area       pixels of the chosen monitor, origin at its top left\n"
                      "  --window     the X window to record; through the portal the desktop asks\n"
                      "               which window instead, and --window is left out\n"
                      "  --backend    how the screen is read: x11 (the X server) or portal (the desktop\n"
                      "               portal of a Wayland session, which may ask which monitor to share);\n"
                      "               by default portal in a Wayland session, x11 otherwise\n"
                      "  --seconds    stop after this much recorded time (pauses not counted);\n"
                      "               otherwise record until SIGINT or SIGTERM. SIGUSR1 pauses and resumes.\n"
                      "  Prints the path of every file written, one per line.\n"
                      "  Exit status: 0 done, 1 recording failed (or the desktop's share dialog was\n"
                      "  cancelled, or interrupted), 2 bad flags, 3 no display,\n"
                      "  4 no sound server, 5 output not writable, 6 the output stopped taking data\n"
                      "  while recording (disk full, folder or file gone; what was recorded is kept).\n");
}

int runRecordCommand(int argc, char** argv) {
    // A file-size limit (ulimit -f) is a write that fails, not a reason to be
    // killed with the file half written.
    std::signal(SIGXFSZ, SIG_IGN);
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string error;
    auto options = parseRecordOptions(args, error);
    if (!options) {
        printRecordUsage(stderr);
        return fail(kExitUsage, error);
    }
    if (options->help) {
        printRecordUsage(stdout);
        return 0;
    }
    SignalMask signalMask;
    SettingsStore userSettings;
    OverlayKeyValueStore settings(userSettings);
    RecordPlan plan;
    if (!buildRecordPlan(*options, settings, plan, error))
        return fail(kExitUsage, error);
    RecordRequest& request = plan.request;
    const bool wantsScreen = plan.isVideo && request.recordVideoType != RecordVideoType::Camera;
    const bool wantsSound = request.recordAudioType != RecordAudioType::None;
    const PlatformLoader::ScreenBackend backend = options->backend
                                                      ? *PlatformLoader::screenBackendNamed(*options->backend)
                                                      : PlatformLoader::sessionScreenBackend();
    // Wayland lists no windows to a client: through the portal the desktop
    // asks the user which window, and X window ids mean nothing there.
    const bool portal = backend == PlatformLoader::ScreenBackend::Portal;
    if (request.recordVideoType == RecordVideoType::AppWindow && !portal && !options->window)
        return fail(kExitUsage, "--mode window needs --window XID");
    if (options->window && portal)
        return fail(kExitUsage, "--window takes an X window id, which the desktop portal (Wayland) does not "
                                "know: leave it out, and the desktop asks which window to record");
    if (wantsScreen && !PlatformLoader::displayAvailable(backend, &error))
        return fail(kExitNoDisplay, error);
    if (wantsSound && !PlatformLoader::soundServerAvailable(&error))
        return fail(kExitNoSound, "no sound server (" + error + ")");
    if (!prepareOutput(plan, error))
        return fail(kExitOutput, error);

    // Made before the stack, so it outlives the decorations' fonts and pictures.
    bool decorate = false;
    std::unique_ptr<QGuiApplication> application;
    if (wantsScreen && framesCarryDecorations(request.recordVideoType))
        application = decorationsApplication(userSettings, decorate);
    // The portal is reached over D-Bus, which needs an application object.
    std::unique_ptr<QCoreApplication> busApplication;
    if (wantsScreen && backend == PlatformLoader::ScreenBackend::Portal && !QCoreApplication::instance())
        busApplication = portalApplication();

    MainQueue mainQueue;
    RecordingStackOptions stackOptions;
    stackOptions.settings = &settings;
    // System audio and "both" go through the same loop-back and aggregate
    // devices the application builds; they are removed again at the end.
    stackOptions.audioRouting = wantsSound && request.audioDevice.empty();
    stackOptions.decorations = decorate;
    stackOptions.screenBackend = backend;
    if (decorate) {
        stackOptions.watermark = storedWatermarkModel(userSettings);
        stackOptions.watermarkPlacement = readWatermarkPlacement(userSettings);
    }
    RecordingStackHost stackHost;
    stackHost.runOnMainThread = [&mainQueue](std::function<void()> task) {
        mainQueue.post(std::move(task));
    };
    stackHost.schedule = [&mainQueue](std::chrono::milliseconds delay, std::function<void()> task) {
        mainQueue.post(std::move(task), delay);
    };
    stackHost.cursorEffectFlags = [&userSettings] {
        return storedCursorEffectFlags(userSettings);
    };
    RecordingStack stack(std::move(stackOptions), std::move(stackHost));
    struct DevicesCleanup {
        RecordingStack& stack;
        ~DevicesCleanup() { stack.destroyDevicesAtQuit(); }
    } devicesCleanup{stack};
    RVRecordManager& manager = stack.recordManager();

    if (wantsScreen) {
        const auto screens = stack.captureFactory().screens();
        if (request.screenNumber >= screens.size())
            return fail(kExitUsage, "there is no monitor " + std::to_string(request.screenNumber));
        const RVScreen& screen = screens[request.screenNumber];
        const RVRect& a = request.captureRect;
        if (!a.isZero() && (a.x + a.width > screen.width || a.y + a.height > screen.height))
            return fail(kExitUsage, "--area reaches outside the monitor (" + std::to_string(screen.width) +
                                        "x" + std::to_string(screen.height) + ")");
    }
    if (request.recordVideoType == RecordVideoType::AppWindow && !portal) {
        bool found = false;
        for (const CaptureWindowInfo& w : stack.captureFactory().onScreenWindows())
            if (w.number == request.selectedWindowNumber) {
                // What the selection overlay hands over for a window: its
                // title and its frame's bounds, which the start evens.
                request.selectedWindowName = w.name;
                request.captureRect = w.bounds;
                found = true;
            }
        if (!found)
            return fail(kExitUsage,
                        "no window with id " + std::to_string(request.selectedWindowNumber) + " is shown");
    }

    // The desktop may show its own share dialog (Wayland) and wait for the
    // user: asked before anything starts, with Ctrl-C heard meanwhile. Its
    // answer is kept for the recording's start.
    if (PlatformLoader::ScreenShare* share = wantsScreen ? stack.screenShare() : nullptr) {
        std::optional<std::string> answer;
        const std::vector<RVScreen> screens = stack.captureFactory().screens();
        share->request(request.recordVideoType == RecordVideoType::AppWindow,
                       request.screenNumber < screens.size() ? screens[request.screenNumber] : RVScreen{},
                       [&answer](const std::string& error) { answer = error; });
        while (!answer) {
            if (const int s = signalMask.wait(kTick); s == SIGINT || s == SIGTERM) {
                share->cancel();
                return fail(kExitFailed, "interrupted while the desktop asked which screen to share; nothing "
                                         "was recorded");
            }
            QCoreApplication::processEvents();
        }
        if (PlatformLoader::screenShareDeclined(*answer))
            return fail(kExitFailed, "the screen was not shared (" + *answer + "); nothing was recorded");
        if (!answer->empty())
            return fail(kExitNoDisplay, "the desktop did not share the screen: " + *answer);
    }

    RVRecordHost events;
    events.clockTick = [](const RecordingProgress& progress) {
        EMLog::showMessage("recorded %s, %s",
                           ProgressTexts::durationText(static_cast<uint64_t>(progress.seconds)).c_str(),
                           ProgressTexts::fileSizeText(progress.bytes, "").c_str());
    };
    // The picture of the recording gone (its window closed, the camera of a
    // camera recording unplugged) ends it; anything else it records on without.
    bool pictureGone = false;
    // Told once each: the sound lost, the sound back.
    enum class Sound { Fine, Lost, Back } sound = Sound::Fine;
    events.sourceFailed = [&](CaptureSourceKind kind, const std::string& message) {
        pictureGone =
            pictureGone ||
            (kind == CaptureSourceKind::Screen && request.recordVideoType != RecordVideoType::Camera) ||
            (kind == CaptureSourceKind::Camera && request.recordVideoType == RecordVideoType::Camera);
        const bool soundGone = kind == CaptureSourceKind::Audio && manager.status != RecordingStatus::Idle;
        if (soundGone && sound != Sound::Fine)
            return;
        if (soundGone)
            sound = Sound::Lost;
        std::fprintf(stderr, "framedeck record: %s capture stopped: %s; %s\n", captureSourceName(kind),
                     message.c_str(),
                     pictureGone ? "the recording ends here"
                     : soundGone ? "recording goes on, with silence until the sound is back"
                                 : "recording goes on");
    };
    events.sourceStarted = [&](CaptureSourceKind kind) {
        if (kind == CaptureSourceKind::Audio && sound == Sound::Lost) {
            sound = Sound::Back;
            std::fprintf(stderr, "framedeck record: the sound is back\n");
        }
    };
    bool outputFailed = false;
    events.outputFailed = [&outputFailed](const std::string&) {
        outputFailed = true;
    };
    stack.setHost(events);

    manager.configure(request);
    if (wantsSound) {
        manager.switchRecordType(request.recordAudioType);
        manager.startCapture();
        if (!manager.hasAudioSession())
            return fail(kExitNoSound, "cannot record sound: " + manager.lastCaptureError);
        // A fresh record stream can take a moment (up to ~2 s on an idle null
        // sink) before its first samples; video must not start ahead of it,
        // since the encoder lines up the first frame with the first sample.
        const auto giveUp = std::chrono::steady_clock::now() + kAudioWarmUp;
        while (manager.compositor().audioBuffersReceived() == 0 &&
               std::chrono::steady_clock::now() < giveUp) {
            if (const int s = signalMask.wait(kTick); s == SIGINT || s == SIGTERM)
                return fail(kExitFailed, "interrupted before the recording started");
            mainQueue.run();
        }
    }
    manager.startRecording();
    const bool videoRunning = request.recordVideoType == RecordVideoType::Camera ? manager.hasVideoSession()
                                                                                 : manager.hasScreenSession();
    if (plan.isVideo && !videoRunning) {
        const std::string why = manager.lastCaptureError;
        manager.stopRecording();
        return fail(request.recordVideoType == RecordVideoType::Camera ? kExitFailed : kExitNoDisplay,
                    "cannot capture the picture: " + why);
    }
    if (!manager.encodeManager().isWorking) {
        manager.stopRecording();
        return fail(kExitOutput, "the encoder cannot write " + request.outputPath);
    }

    using Clock = std::chrono::steady_clock;
    auto nextRefresh = Clock::now() + std::chrono::seconds(1);
    for (;;) {
        const int signal = signalMask.wait(kTick);
        mainQueue.run();
        if (signal == SIGINT || signal == SIGTERM || outputFailed || pictureGone)
            break;
        if (signal == SIGUSR1) {
            if (manager.status == RecordingStatus::Paused)
                manager.resumeRecording();
            else
                manager.pauseRecording();
        }
        if (plan.seconds > 0 && manager.recordedSeconds() >= plan.seconds)
            break;
        if (Clock::now() >= nextRefresh) {
            manager.timerDurationTimeOut();
            nextRefresh += std::chrono::seconds(1);
        }
    }
    const double duration = manager.recordedSeconds();
    manager.stopRecording();
    if (manager.hasAudioSession())
        manager.captrueAudioInputEnable(false);
    manager.captrueVideoInputEnable(false);
    mainQueue.run();

    const QStringList files = FileListStore::recordingParts(QString::fromStdString(request.outputPath));
    if (files.empty() && outputFailed)
        return fail(kExitWriteFailed, request.outputPath + " or its folder was deleted while recording");
    if (files.empty())
        return fail(kExitFailed, "nothing was written to " + request.outputPath);
    // The file list gets the records a stop in the main window adds.
    const QString path = QString::fromStdString(request.outputPath);
    const double splitSeconds =
        static_cast<SplitType>(settings.integerForKey(SettingsKeys::SplitType)) == SplitType::ByTime
            ? request.splitTime
            : 0;
    FileListStore::addRecords(
        AppDelegate::plistPath(),
        FileListStore::recordingRecords(path, duration, static_cast<double>(QFileInfo(path).size()),
                                        splitSeconds, QDateTime::currentDateTime(), plan.isVideo));
    for (const QString& file : files)
        std::printf("%s\n", qPrintable(file));
    std::fflush(stdout);
    if (outputFailed) {
        std::fprintf(stderr,
                     "framedeck record: %s could not be written any more (the disk is full, or the folder or "
                     "the file is gone); the recording stopped after %.1f s and the file keeps what was "
                     "recorded until then\n",
                     request.outputPath.c_str(), duration);
        return kExitWriteFailed;
    }
    return 0;
}
