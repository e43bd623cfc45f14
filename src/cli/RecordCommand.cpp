#include "cli/RecordCommand.h"

#include "app/AppDelegate.h"
#include "app/AppIdentity.h"
#include "app/FileListStore.h"
#include "app/OutputNaming.h"
#include "app/SettingsSchema.h"
#include "app/SettingsStore.h"
#include "cli/OverlayKeyValueStore.h"
#include "core/EMLog.h"
#include "engine/EncodeManager.h"
#include "engine/audio/RVAudioRouting.h"
#include "engine/controller/RVRecordManager.h"
#include "overlays/RecordingDecorations.h"
#include "overlays/StoredDecorations.h"
#include "platform/pulse/PulseSoundServer.h"
#include "platform/pulsecapture/PulseCapture.h"
#include "platform/x11/X11Inventory.h"
#include "platform/x11capture/X11Capture.h"

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
constexpr unsigned kVideoTypeWindow = 2;
constexpr unsigned kVideoTypeCamera = 3;
constexpr unsigned kAudioTypeNone = 3;
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

// Work that other threads hand to the main thread (capture failures, device checks).
class MainQueue {
public:
    void post(std::function<void()> task) {
        std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    void run() {
        std::vector<std::function<void()>> tasks;
        {
            std::lock_guard lock(mutex_);
            tasks.swap(tasks_);
        }
        for (auto& task : tasks)
            task();
    }

private:
    std::mutex mutex_;
    std::vector<std::function<void()>> tasks_;
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

// The file itself and the parts a split started: name_1.ext, name_2.ext, ...
std::vector<std::string> writtenFiles(const std::string& path) {
    std::vector<std::string> files;
    const QFileInfo info(QString::fromStdString(path));
    if (info.exists())
        files.push_back(path);
    for (int part = 1;; ++part) {
        const QString name = info.absolutePath() + "/" + info.completeBaseName() + "_" +
                             QString::number(part) + "." + info.suffix();
        if (!QFileInfo::exists(name))
            break;
        files.push_back(name.toStdString());
    }
    return files;
}

// The cursor, its highlight, the click ring and the watermark, drawn into
// screen frames as the main window's recordings have them. Members are
// destroyed in reverse order: the decorations go before the pictures' and
// fonts' application object.
struct ScreenDecorations {
    std::unique_ptr<QGuiApplication> application;
    WatermarkState watermark;
    std::unique_ptr<RecordingDecorations> decorations;
    CursorEffectFlags flags;
    QRect primaryInRoot;
};

// The primary RandR monitor in root coordinates (the first one when none is
// marked primary): the origin of the decoration space, as the main window
// takes it from its primary screen.
QRect primaryMonitorInRoot() {
    x11::Connection connection;
    if (!connection.isOpen())
        return {};
    const auto monitors = x11::Inventory(connection).monitors();
    for (const x11::Monitor& m : monitors)
        if (m.primary)
            return {m.x, m.y, m.width, m.height};
    return monitors.empty() ? QRect()
                            : QRect(monitors[0].x, monitors[0].y, monitors[0].width, monitors[0].height);
}

// Decorations for a screen recording, or null when the settings switch all of
// them off. Fonts and pictures need a GUI application; the offscreen platform
// gives one without a window or a second display connection.
std::unique_ptr<ScreenDecorations> makeScreenDecorations(const SettingsStore& settings) {
    constexpr unsigned kWatermarkNone = 2;
    const CursorEffectFlags flags = storedCursorEffectFlags(settings);
    // Never written (no first run yet) means the first-run kind: none.
    const bool watermark = settings.hasKey(SettingsKeys::WatermarkType) &&
                           settings.integerForKey(SettingsKeys::WatermarkType) < kWatermarkNone;
    if (!flags.isMouseHight && !flags.isMouseClickEffect && !flags.isShowMouse && !watermark)
        return nullptr;
    auto d = std::make_unique<ScreenDecorations>();
    if (!QCoreApplication::instance()) {
        static int qtArgc = 3;
        static char qtName[] = "framedeck";
        static char qtPlatformFlag[] = "-platform";
        static char qtPlatform[] = "offscreen";
        static char* qtArgv[] = {qtName, qtPlatformFlag, qtPlatform, nullptr};
        d->application = std::make_unique<QGuiApplication>(qtArgc, qtArgv);
    } else if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        EMLog::showMessage("recording without decorations: no graphical application object");
        return nullptr;
    }
    d->watermark.setModel(storedWatermarkModel(settings));
    d->watermark.setPlacement(readWatermarkPlacement(settings));
    d->flags = flags;
    d->primaryInRoot = primaryMonitorInRoot();
    d->decorations = std::make_unique<RecordingDecorations>(d->watermark);
    return d;
}

} // namespace

void printRecordUsage(std::FILE* out) {
    std::fprintf(out, "Usage: framedeck record [--mode full|area|window|camera|audio] [--area X,Y,W,H]\n"
                      "                        [--window XID] [--screen N] [--audio system|mic|both|none]\n"
                      "                        [--format mov|mp4|m4v|flv|avi|mp3|wav|m4a] [--fps F]\n"
                      "                        [--quality original|hd|sd] [--seconds N] [--split-time S]\n"
                      "                        [--split-size MB] [--output PATH]\n"
                      "  Records the screen, an area of it, one window, the camera or sound only, through\n"
                      "  the same engine as the main window. The stored settings apply; flags override them\n"
                      "  for this run only.\n"
                      "  --area       pixels of the chosen monitor, origin at its top left\n"
                      "  --seconds    stop after this much recorded time (pauses not counted);\n"
                      "               otherwise record until SIGINT or SIGTERM. SIGUSR1 pauses and resumes.\n"
                      "  Prints the path of every file written, one per line.\n"
                      "  Exit status: 0 done, 1 recording failed, 2 bad flags, 3 no display,\n"
                      "  4 no sound server, 5 output not writable.\n");
}

int runRecordCommand(int argc, char** argv) {
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
    const bool wantsScreen = plan.isVideo && request.recordVideoType != kVideoTypeCamera;
    if (wantsScreen && !x11capture::displayAvailable(&error))
        return fail(kExitNoDisplay, error);
    if (request.recordAudioType != kAudioTypeNone && !pulsecapture::serverAvailable(&error))
        return fail(kExitNoSound, "no sound server (" + error + ")");
    if (!prepareOutput(plan, error))
        return fail(kExitOutput, error);

    // Made before the controller, so the screen thread's hook never outlives them.
    std::unique_ptr<ScreenDecorations> decorations;
    if (wantsScreen && framesCarryDecorations(static_cast<int>(request.recordVideoType)))
        decorations = makeScreenDecorations(userSettings);

    RVRecordManager::Collaborators collaborators;
    collaborators.settings = &settings;
    RVRecordManager manager(std::move(collaborators));
    if (wantsScreen) {
        const auto screens = manager.captureFactory().screens();
        if (request.screenNumber >= screens.size())
            return fail(kExitUsage, "there is no monitor " + std::to_string(request.screenNumber));
        const RVScreen& screen = screens[request.screenNumber];
        const RVRect& a = request.captureRect;
        if (!a.isZero() && (a.x + a.width > screen.width || a.y + a.height > screen.height))
            return fail(kExitUsage, "--area reaches outside the monitor (" + std::to_string(screen.width) +
                                        "x" + std::to_string(screen.height) + ")");
    }
    if (request.recordVideoType == kVideoTypeWindow) {
        bool found = false;
        for (const CaptureWindowInfo& w : manager.captureFactory().onScreenWindows())
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

    MainQueue mainQueue;
    RVRecordHost host;
    host.runOnMainThread = [&mainQueue](std::function<void()> task) {
        mainQueue.post(std::move(task));
    };
    host.showDuration = [](const std::string& time, const std::string& size) {
        EMLog::showMessage("recorded %s, %s", time.c_str(), size.c_str());
    };
    host.captureSessionRuntimeError = [](const std::string& source, const std::string& message) {
        std::fprintf(stderr, "framedeck record: %s capture stopped: %s; recording goes on\n", source.c_str(),
                     message.c_str());
    };
    manager.setHost(host);
    if (decorations) {
        FrameCompositor::Hooks hooks;
        hooks.appendMouseCursor = decorations->decorations->hook();
        manager.setCompositorHooks(std::move(hooks));
    }

    // System audio and "both" go through the same loop-back and aggregate
    // devices the application builds; they are removed again at the end.
    std::unique_ptr<PulseSoundServer> soundServer;
    std::unique_ptr<RVAudioRouting> routing;
    std::optional<EZAudioDevice> routedInput;
    if (request.recordAudioType != kAudioTypeNone && request.audioDevice.empty()) {
        soundServer = std::make_unique<PulseSoundServer>();
        RVAudioRouting::Hooks hooks;
        // The half-second follow-ups run at the next turn of the loop below.
        hooks.schedule = [&mainQueue](std::chrono::milliseconds, RVAudioRouting::Task task) {
            mainQueue.post(std::move(task));
        };
        hooks.audioRoutingChanged = [&routedInput](unsigned, const std::optional<EZAudioDevice>& input) {
            routedInput = input;
        };
        routing = std::make_unique<RVAudioRouting>(*soundServer, hooks);
        routing->init();
        RVAudioRoutingHooks engineRouting;
        engineRouting.prepareDevice = [&routing] {
            routing->prepareDevice();
        };
        engineRouting.switchRecordType = [&](unsigned kind) {
            routedInput = routing->switchRecordType(kind);
        };
        engineRouting.inputDeviceName = [&](unsigned) {
            return routedInput ? routedInput->UID : std::string();
        };
        engineRouting.checkAudioDevice = [&routing] {
            routing->checkAudioDevice();
        };
        manager.setAudioRouting(engineRouting);
    }
    struct RoutingCleanup {
        std::unique_ptr<RVAudioRouting>& routing;
        ~RoutingCleanup() {
            if (routing)
                routing->destroyDevicesAtQuit();
        }
    } routingCleanup{routing};

    manager.configure(request);
    if (request.recordAudioType != kAudioTypeNone) {
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
    if (decorations)
        decorations->decorations->prepare(decorations->flags, decorations->primaryInRoot, true);
    manager.startRecording();
    const bool videoRunning =
        request.recordVideoType == kVideoTypeCamera ? manager.hasVideoSession() : manager.hasScreenSession();
    if (plan.isVideo && !videoRunning) {
        const std::string why = manager.lastCaptureError;
        manager.stopRecording();
        return fail(request.recordVideoType == kVideoTypeCamera ? kExitFailed : kExitNoDisplay,
                    "cannot capture the picture: " + why);
    }
    if (!manager.encodeManager().isWorking) {
        manager.stopRecording();
        return fail(kExitOutput, "the encoder cannot write " + request.outputPath);
    }

    using Clock = std::chrono::steady_clock;
    auto stretchStart = Clock::now();
    double recordedBefore = 0;
    bool paused = false;
    auto nextRefresh = Clock::now() + std::chrono::seconds(1);
    const auto recorded = [&] {
        return recordedBefore +
               (paused ? 0 : std::chrono::duration<double>(Clock::now() - stretchStart).count());
    };
    for (;;) {
        const int signal = signalMask.wait(kTick);
        mainQueue.run();
        if (signal == SIGINT || signal == SIGTERM)
            break;
        if (signal == SIGUSR1) {
            if (paused) {
                manager.resumeRecording();
                stretchStart = Clock::now();
            } else {
                recordedBefore = recorded();
                manager.pauseRecording();
            }
            paused = !paused;
        }
        if (plan.seconds > 0 && recorded() >= plan.seconds)
            break;
        if (Clock::now() >= nextRefresh) {
            manager.timerDurationTimeOut();
            nextRefresh += std::chrono::seconds(1);
        }
    }
    const double duration = recorded();
    manager.stopRecording();
    if (manager.hasAudioSession())
        manager.captrueAudioInputEnable(false);
    manager.captrueVideoInputEnable(false);
    mainQueue.run();
    if (routing) {
        routing->destroyDevicesAtQuit();
        routing.reset();
    }

    const auto files = writtenFiles(request.outputPath);
    if (files.empty())
        return fail(kExitFailed, "nothing was written to " + request.outputPath);
    // The file list gets the record a stop in the main window adds.
    const QString path = QString::fromStdString(request.outputPath);
    FileListStore::addRecord(AppDelegate::plistPath(),
                             FileListStore::recordingRecord(path, duration,
                                                            static_cast<double>(QFileInfo(path).size()),
                                                            QDateTime::currentDateTime(), plan.isVideo));
    for (const auto& file : files)
        std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    return 0;
}
