#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Plays short sounds (the shutter click) through the sound server, on a
// thread of its own so that the caller never waits for the server. Each
// sound gets a connection and a playback stream of its own: sounds are rare,
// and a server restarted in between costs nothing. Without a sound server a
// sound is dropped with a log line.
//
// Every wait on the server is bounded, so a hung server delays only the
// sound, and the destructor returns after at most one bounded playback.
class SoundPlayer {
public:
    // 16-bit signed samples, interleaved when there are several channels.
    struct Sound {
        std::string name; // what the server shows for the stream
        int sampleRate = 44100;
        int channels = 1;
        std::vector<std::int16_t> samples;
        std::chrono::milliseconds duration() const;
    };
    // Whether the sound reached the server and finished playing. Told on
    // the player's thread; at once on the caller's when play() drops it.
    using Done = std::function<void(bool played)>;

    // How long connecting and opening the stream may take before the sound
    // is given up.
    static constexpr std::chrono::milliseconds kServerTimeout{2000};
    // How long draining may take beyond the sound's own length: a server
    // plays out the buffer it keeps ahead of the sink first, which on a busy
    // machine (or a sink with a long latency) was seen to take two seconds
    // for a sound of 0.15.
    static constexpr std::chrono::milliseconds kDrainTimeout{6000};
    // Sounds asked for while this many wait are dropped: a burst of
    // screenshots does not need a queue of clicks trailing behind it.
    static constexpr std::size_t kMaxPending = 4;

    // `clientName` is how the server lists this application.
    explicit SoundPlayer(std::string clientName);
    // Finishes the sound being played; drops the waiting ones (their Done
    // is told false). Main thread.
    ~SoundPlayer();
    SoundPlayer(const SoundPlayer&) = delete;
    SoundPlayer& operator=(const SoundPlayer&) = delete;

    // Queues `sound` and returns at once. Thread-safe.
    void play(std::shared_ptr<const Sound> sound, Done done = {});

private:
    struct Job {
        std::shared_ptr<const Sound> sound;
        Done done;
    };
    void run();
    bool playNow(const Sound& sound);

    const std::string clientName_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Job> pending_; // guarded by mutex_
    bool stopping_ = false;   // guarded by mutex_
    std::thread thread_;
};
