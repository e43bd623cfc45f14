#include "core/EMLog.h"
#include "platform/pulsecapture/PulseCapture.h"

#include <atomic>
#include <cstring>
#include <pulse/pulseaudio.h>
#include <vector>

namespace pulsecapture {
namespace {

// Clients that ask for nothing get ~2 s fragments from the server; 20 ms
// keeps audio as fresh as the video frames it goes with, at ~50 wake-ups a second.
constexpr pa_usec_t kFragmentUsec = 20 * 1000;

struct MainloopFree {
    void operator()(pa_threaded_mainloop* m) const { pa_threaded_mainloop_free(m); }
};
struct ContextUnref {
    void operator()(pa_context* c) const {
        pa_context_disconnect(c);
        pa_context_unref(c);
    }
};
struct StreamUnref {
    void operator()(pa_stream* s) const {
        pa_stream_disconnect(s);
        pa_stream_unref(s);
    }
};

class PulseSource : public CaptureSource {
public:
    explicit PulseSource(AudioCaptureRequest request) : request_(std::move(request)) {}
    ~PulseSource() override { stop(); }

    bool start(std::string& error) override {
        if (request_.channels < 1 || request_.channels > static_cast<int>(PA_CHANNELS_MAX) ||
            request_.sampleRate <= 0) {
            error = "unsupported audio layout";
            return false;
        }
        loop_.reset(pa_threaded_mainloop_new());
        if (!loop_) {
            error = "cannot create the sound-server client";
            return false;
        }
        pa_threaded_mainloop_set_name(loop_.get(), "AudioDataOutputQueue");
        context_.reset(pa_context_new(pa_threaded_mainloop_get_api(loop_.get()), "FrameDeck"));
        if (!context_) {
            error = "cannot create the sound-server client";
            return false;
        }
        pa_context_set_state_callback(context_.get(), &PulseSource::onContextState, this);
        if (pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 ||
            pa_threaded_mainloop_start(loop_.get()) < 0) {
            error = std::string("no sound server: ") + pa_strerror(pa_context_errno(context_.get()));
            teardown();
            return false;
        }
        pa_threaded_mainloop_lock(loop_.get());
        const bool ok = waitForContext(error) && openStream(error);
        if (ok)
            running_ = true;
        pa_threaded_mainloop_unlock(loop_.get());
        if (!ok)
            teardown();
        return ok;
    }

    void stop() override {
        running_ = false;
        teardown();
    }

    CaptureCapabilities capabilities() const override { return {false, true, false}; }

private:
    // With the loop lock held.
    bool waitForContext(std::string& error) {
        for (;;) {
            const pa_context_state_t state = pa_context_get_state(context_.get());
            if (state == PA_CONTEXT_READY)
                return true;
            if (!PA_CONTEXT_IS_GOOD(state)) {
                error = std::string("no sound server: ") + pa_strerror(pa_context_errno(context_.get()));
                return false;
            }
            pa_threaded_mainloop_wait(loop_.get());
        }
    }

    bool openStream(std::string& error) {
        spec_.format = PA_SAMPLE_S32LE;
        spec_.rate = static_cast<uint32_t>(request_.sampleRate);
        spec_.channels = static_cast<uint8_t>(request_.channels);
        pa_channel_map map;
        pa_channel_map_init_extend(&map, spec_.channels, PA_CHANNEL_MAP_DEFAULT);
        stream_.reset(pa_stream_new(context_.get(), "FrameDeck recording", &spec_, &map));
        if (!stream_) {
            error = std::string("cannot create the record stream: ") +
                    pa_strerror(pa_context_errno(context_.get()));
            return false;
        }
        pa_stream_set_state_callback(stream_.get(), &PulseSource::onStreamState, this);
        pa_stream_set_read_callback(stream_.get(), &PulseSource::onRead, this);
        pa_buffer_attr attr;
        std::memset(&attr, 0xff, sizeof attr);
        attr.fragsize = static_cast<uint32_t>(pa_usec_to_bytes(kFragmentUsec, &spec_));
        const char* device = request_.device.empty() ? nullptr : request_.device.c_str();
        if (pa_stream_connect_record(stream_.get(), device, &attr, PA_STREAM_ADJUST_LATENCY) < 0) {
            error = std::string("cannot record from ") + (device ? device : "the default source") + ": " +
                    pa_strerror(pa_context_errno(context_.get()));
            return false;
        }
        for (;;) {
            const pa_stream_state_t state = pa_stream_get_state(stream_.get());
            if (state == PA_STREAM_READY)
                break;
            if (!PA_STREAM_IS_GOOD(state)) {
                error = std::string("cannot record from ") + (device ? device : "the default source") + ": " +
                        pa_strerror(pa_context_errno(context_.get()));
                return false;
            }
            pa_threaded_mainloop_wait(loop_.get());
        }
        EMLog::showMessage("%s %d recording from %s at %u Hz, %u channels", __func__, __LINE__,
                           pa_stream_get_device_name(stream_.get()), spec_.rate, spec_.channels);
        return true;
    }

    void teardown() {
        if (!loop_)
            return;
        pa_threaded_mainloop_lock(loop_.get());
        stream_.reset();
        context_.reset();
        pa_threaded_mainloop_unlock(loop_.get());
        pa_threaded_mainloop_stop(loop_.get());
        loop_.reset();
    }

    void failed(const char* what) {
        // Once per source, and only after a successful start: a failing start
        // is reported through start()'s error instead.
        if (!running_.exchange(false))
            return;
        EMLog::showMessage("%s %d audio capture stopped: %s", __func__, __LINE__, what);
        deliverFailure(what);
    }

    static void onContextState(pa_context* c, void* self) {
        auto* source = static_cast<PulseSource*>(self);
        if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(c)))
            source->failed("the sound server went away");
        pa_threaded_mainloop_signal(source->loop_.get(), 0);
    }

    static void onStreamState(pa_stream* s, void* self) {
        auto* source = static_cast<PulseSource*>(self);
        if (!PA_STREAM_IS_GOOD(pa_stream_get_state(s)))
            source->failed("the recording device went away");
        pa_threaded_mainloop_signal(source->loop_.get(), 0);
    }

    static void onRead(pa_stream* s, size_t, void* self) { static_cast<PulseSource*>(self)->read(s); }

    // On the loop's thread ("AudioDataOutputQueue").
    void read(pa_stream* s) {
        const std::size_t frameBytes = 4u * spec_.channels;
        for (;;) {
            const void* data = nullptr;
            std::size_t bytes = 0;
            if (pa_stream_peek(s, &data, &bytes) < 0 || bytes == 0)
                return;
            const int frames = static_cast<int>(bytes / frameBytes);
            planar_.assign(static_cast<std::size_t>(frames) * spec_.channels, 0);
            // A hole (data null) is silence of that length; real samples are
            // split into one plane per channel.
            if (data) {
                const auto* in = static_cast<const int32_t*>(data);
                for (int f = 0; f < frames; ++f)
                    for (int ch = 0; ch < spec_.channels; ++ch)
                        planar_[static_cast<std::size_t>(ch) * frames + f] = in[f * spec_.channels + ch];
            }
            pa_stream_drop(s);
            if (frames > 0 && running_) {
                AudioSampleBuffer buffer;
                buffer.data = planar_.data();
                buffer.channels = spec_.channels;
                buffer.sampleRate = static_cast<int>(spec_.rate);
                buffer.frames = frames;
                // The time of the read stands for the time of its newest sample: the
                // server's latency reports swing by hundreds of milliseconds
                // on a freshly loaded loop-back chain, far more than the
                // delay they would correct.
                deliverAudio(buffer, captureClockNow());
            }
        }
    }

    AudioCaptureRequest request_;
    pa_sample_spec spec_{};
    std::unique_ptr<pa_threaded_mainloop, MainloopFree> loop_;
    std::unique_ptr<pa_context, ContextUnref> context_;
    std::unique_ptr<pa_stream, StreamUnref> stream_;
    std::vector<int32_t> planar_;
    std::atomic<bool> running_{false};
};

} // namespace

std::unique_ptr<CaptureSource> createAudioSource(const AudioCaptureRequest& request) {
    return std::make_unique<PulseSource>(request);
}

bool serverAvailable(std::string* error) {
    std::unique_ptr<pa_threaded_mainloop, MainloopFree> loop(pa_threaded_mainloop_new());
    if (!loop)
        return false;
    std::unique_ptr<pa_context, ContextUnref> context(
        pa_context_new(pa_threaded_mainloop_get_api(loop.get()), "FrameDeck probe"));
    if (!context)
        return false;
    struct Waiter {
        pa_threaded_mainloop* loop;
    } waiter{loop.get()};
    pa_context_set_state_callback(
        context.get(),
        [](pa_context*, void* w) { pa_threaded_mainloop_signal(static_cast<Waiter*>(w)->loop, 0); }, &waiter);
    bool ok = false;
    if (pa_context_connect(context.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0 &&
        pa_threaded_mainloop_start(loop.get()) >= 0) {
        pa_threaded_mainloop_lock(loop.get());
        for (;;) {
            const pa_context_state_t state = pa_context_get_state(context.get());
            if (state == PA_CONTEXT_READY || !PA_CONTEXT_IS_GOOD(state)) {
                ok = state == PA_CONTEXT_READY;
                break;
            }
            pa_threaded_mainloop_wait(loop.get());
        }
        if (!ok && error)
            *error = pa_strerror(pa_context_errno(context.get()));
        pa_context_set_state_callback(context.get(), nullptr, nullptr);
        pa_threaded_mainloop_unlock(loop.get());
    } else if (error) {
        *error = pa_strerror(pa_context_errno(context.get()));
    }
    pa_threaded_mainloop_lock(loop.get());
    context.reset();
    pa_threaded_mainloop_unlock(loop.get());
    pa_threaded_mainloop_stop(loop.get());
    return ok;
}

} // namespace pulsecapture
