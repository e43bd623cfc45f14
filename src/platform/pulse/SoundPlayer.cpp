#include "platform/pulse/SoundPlayer.h"

#include "core/EMLog.h"
#include "platform/pulse/PulseConnection.h"

#include <pulse/pulseaudio.h>

namespace {

struct PulseStreamDeleter {
    void operator()(pa_stream* s) const { pa_stream_unref(s); }
};
struct PulseProplistDeleter {
    void operator()(pa_proplist* p) const { pa_proplist_free(p); }
};
using PulseStreamPtr = std::unique_ptr<pa_stream, PulseStreamDeleter>;
using PulseProplistPtr = std::unique_ptr<pa_proplist, PulseProplistDeleter>;

using Clock = std::chrono::steady_clock;

// What the main-loop callbacks report. They run on the main-loop thread
// with its lock held and take `mutex` after it; the player's thread waits
// on `changed` without holding the main-loop lock, so the order is one way.
struct Progress {
    std::mutex mutex;
    std::condition_variable changed;
    pa_context_state_t context = PA_CONTEXT_UNCONNECTED;
    pa_stream_state_t stream = PA_STREAM_UNCONNECTED;
    bool drained = false;
    bool drainOk = false;

    template <class F> void update(F&& f) {
        {
            std::lock_guard lock(mutex);
            f();
        }
        changed.notify_all();
    }
    // Waits until `done` holds or `deadline` passes; true when it holds.
    template <class F> bool waitUntil(Clock::time_point deadline, F&& done) {
        std::unique_lock lock(mutex);
        return changed.wait_until(lock, deadline, done);
    }
    bool contextDead() const { return context == PA_CONTEXT_FAILED || context == PA_CONTEXT_TERMINATED; }
    bool streamDead() const { return stream == PA_STREAM_FAILED || stream == PA_STREAM_TERMINATED; }
};

// One playback: a main loop, its connection and the stream, torn down in
// the order the library wants (stream, then connection, under the loop's
// lock; then the loop).
class Playback {
public:
    explicit Playback(Progress& progress) : progress_(progress), mainloop_(pa_threaded_mainloop_new()) {}
    ~Playback() {
        if (!mainloop_)
            return;
        if (started_) {
            pa_threaded_mainloop_lock(mainloop_.get());
            drop();
            pa_threaded_mainloop_unlock(mainloop_.get());
        } else {
            drop();
        }
        mainloop_.reset(); // stops the loop's thread first
    }
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    bool start() {
        started_ = mainloop_ && pa_threaded_mainloop_start(mainloop_.get()) >= 0;
        return started_;
    }
    void lock() { pa_threaded_mainloop_lock(mainloop_.get()); }
    void unlock() { pa_threaded_mainloop_unlock(mainloop_.get()); }

    // Under the lock.
    bool connect(const std::string& clientName) {
        context_.reset(pa_context_new(pa_threaded_mainloop_get_api(mainloop_.get()), clientName.c_str()));
        if (!context_)
            return false;
        pa_context_set_state_callback(context_.get(), &Playback::onContextState, &progress_);
        return pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0;
    }
    // Under the lock.
    bool openStream(const SoundPlayer::Sound& sound) {
        const pa_sample_spec format{PA_SAMPLE_S16LE, std::uint32_t(sound.sampleRate),
                                    std::uint8_t(sound.channels)};
        if (!pa_sample_spec_valid(&format))
            return false;
        PulseProplistPtr properties(pa_proplist_new());
        // Lets the server treat it as an event sound (own volume, no ducking).
        pa_proplist_sets(properties.get(), PA_PROP_MEDIA_ROLE, "event");
        stream_.reset(pa_stream_new_with_proplist(context_.get(), sound.name.c_str(), &format, nullptr,
                                                  properties.get()));
        if (!stream_)
            return false;
        pa_stream_set_state_callback(stream_.get(), &Playback::onStreamState, &progress_);
        return pa_stream_connect_playback(stream_.get(), nullptr, nullptr, PA_STREAM_NOFLAGS, nullptr,
                                          nullptr) >= 0;
    }
    // Under the lock: hands over every sample and asks to be told when the
    // last one has been played.
    bool writeAndDrain(const SoundPlayer::Sound& sound) {
        const std::size_t bytes = sound.samples.size() * sizeof(std::int16_t);
        if (pa_stream_write(stream_.get(), sound.samples.data(), bytes, nullptr, 0, PA_SEEK_RELATIVE) < 0)
            return false;
        drain_.reset(pa_stream_drain(stream_.get(), &Playback::onDrained, &progress_));
        return drain_ != nullptr;
    }
    int error() { return context_ ? pa_context_errno(context_.get()) : PA_ERR_UNKNOWN; }

private:
    // Under the lock (or before the loop runs).
    void drop() {
        if (drain_) {
            // No callback may reach `progress_` once this playback is gone.
            pa_operation_cancel(drain_.get());
            drain_.reset();
        }
        if (stream_) {
            pa_stream_set_state_callback(stream_.get(), nullptr, nullptr);
            pa_stream_disconnect(stream_.get());
            stream_.reset();
        }
        if (context_) {
            pa_context_set_state_callback(context_.get(), nullptr, nullptr);
            pa_context_disconnect(context_.get());
            context_.reset();
        }
    }
    static void onContextState(pa_context* c, void* userdata) {
        auto* progress = static_cast<Progress*>(userdata);
        const pa_context_state_t state = pa_context_get_state(c);
        progress->update([&] { progress->context = state; });
    }
    static void onStreamState(pa_stream* s, void* userdata) {
        auto* progress = static_cast<Progress*>(userdata);
        const pa_stream_state_t state = pa_stream_get_state(s);
        progress->update([&] { progress->stream = state; });
    }
    static void onDrained(pa_stream*, int success, void* userdata) {
        auto* progress = static_cast<Progress*>(userdata);
        progress->update([&] {
            progress->drained = true;
            progress->drainOk = success != 0;
        });
    }

    Progress& progress_;
    PulseMainloopPtr mainloop_;
    bool started_ = false;
    PulseContextPtr context_;
    PulseStreamPtr stream_;
    PulseOperationPtr drain_;
};

} // namespace

std::chrono::milliseconds SoundPlayer::Sound::duration() const {
    if (sampleRate <= 0 || channels <= 0)
        return std::chrono::milliseconds(0);
    const auto frames = static_cast<long long>(samples.size()) / channels;
    return std::chrono::milliseconds(frames * 1000 / sampleRate);
}

SoundPlayer::SoundPlayer(std::string clientName) : clientName_(std::move(clientName)) {
    thread_ = std::thread([this] { run(); });
}

SoundPlayer::~SoundPlayer() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

void SoundPlayer::play(std::shared_ptr<const Sound> sound, Done done) {
    bool accepted = false;
    if (sound) {
        std::lock_guard lock(mutex_);
        if (!stopping_ && pending_.size() < kMaxPending) {
            pending_.push_back({std::move(sound), done});
            accepted = true;
        }
    }
    if (accepted) {
        wake_.notify_all();
        return;
    }
    EMLog::showMessage("%s %d sound dropped", __func__, __LINE__);
    if (done)
        done(false);
}

void SoundPlayer::run() {
    for (;;) {
        Job job;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return stopping_ || !pending_.empty(); });
            if (stopping_) {
                std::deque<Job> dropped;
                dropped.swap(pending_);
                lock.unlock();
                for (Job& j : dropped) {
                    if (j.done)
                        j.done(false);
                }
                return;
            }
            job = std::move(pending_.front());
            pending_.pop_front();
        }
        const bool played = playNow(*job.sound);
        if (job.done)
            job.done(played);
    }
}

bool SoundPlayer::playNow(const Sound& sound) {
    Progress progress;
    Playback playback(progress);
    if (!playback.start()) {
        EMLog::showMessage("%s %d no sound: the sound server's main loop did not start", __func__, __LINE__);
        return false;
    }
    Clock::time_point deadline = Clock::now() + kServerTimeout;

    playback.lock();
    bool ok = playback.connect(clientName_);
    int error = ok ? 0 : playback.error();
    playback.unlock();
    if (ok) {
        ok = progress.waitUntil(deadline, [&] {
            return progress.context == PA_CONTEXT_READY || progress.contextDead();
        }) && progress.context == PA_CONTEXT_READY;
        if (!ok) {
            playback.lock();
            error = playback.error();
            playback.unlock();
        }
    }
    if (!ok) {
        EMLog::showMessage("%s %d no sound server, \"%s\" not played: %s", __func__, __LINE__,
                           sound.name.c_str(), pa_strerror(error));
        return false;
    }

    playback.lock();
    ok = playback.openStream(sound);
    playback.unlock();
    ok = ok && progress.waitUntil(deadline, [&] {
        return progress.stream == PA_STREAM_READY || progress.streamDead() || progress.contextDead();
    });
    ok = ok && progress.stream == PA_STREAM_READY;
    if (ok) {
        playback.lock();
        ok = playback.writeAndDrain(sound);
        playback.unlock();
        deadline = Clock::now() + sound.duration() + kDrainTimeout;
        ok = ok && progress.waitUntil(deadline, [&] {
            return progress.drained || progress.streamDead() || progress.contextDead();
        });
        ok = ok && progress.drained && progress.drainOk;
    }
    if (!ok) {
        playback.lock();
        error = playback.error();
        playback.unlock();
        EMLog::showMessage("%s %d \"%s\" not played: %s", __func__, __LINE__, sound.name.c_str(),
                           pa_strerror(error));
    }
    return ok;
}
