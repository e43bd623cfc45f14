#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <pulse/pulseaudio.h>
#include <set>
#include <string>

struct PulseMainloopDeleter {
    void operator()(pa_threaded_mainloop* m) const { pa_threaded_mainloop_free(m); }
};
struct PulseContextDeleter {
    void operator()(pa_context* c) const { pa_context_unref(c); }
};
struct PulseOperationDeleter {
    void operator()(pa_operation* o) const { pa_operation_unref(o); }
};
using PulseMainloopPtr = std::unique_ptr<pa_threaded_mainloop, PulseMainloopDeleter>;
using PulseContextPtr = std::unique_ptr<pa_context, PulseContextDeleter>;
using PulseOperationPtr = std::unique_ptr<pa_operation, PulseOperationDeleter>;

// One client connection to the sound server, on a threaded main loop of its
// own. Every request waits at most `timeout`, and returns at once when the
// connection breaks; the next request connects again. So a server that
// hangs or goes away costs one bounded wait and an error code, never a
// frozen caller.
//
// Requests (run) come from one thread at a time (the main thread). The
// request callbacks and the event handler run on the main-loop thread.
class PulseConnection {
public:
    // Long enough for a busy server to load a module; short enough that a
    // dead one does not freeze the interface for long.
    static constexpr std::chrono::milliseconds kDefaultTimeout{5000};
    // After a failed connection attempt, requests fail at once for this
    // long: a dead server then costs one wait, not one per request.
    static constexpr std::chrono::milliseconds kRetryPause{1000};

    // The state a request's callbacks fill in. Derive to carry results;
    // callbacks get the derived object as userdata and end with finish().
    struct Request {
        PulseConnection* connection = nullptr;
        bool done = false; // guarded by the connection's mutex
        bool ok = false;
        void finish(bool success) { connection->finish(*this, success); }
    };
    using EventHandler = std::function<void(pa_subscription_event_type_t type, uint32_t index)>;

    PulseConnection(std::string clientName, pa_subscription_mask_t events,
                    std::chrono::milliseconds timeout = kDefaultTimeout);
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    // Starts an operation with `start` (under the main-loop lock) and waits
    // until its callbacks finish the request. False when it could not start,
    // failed, timed out or the connection broke; lastError() says which.
    bool run(Request& request, const std::function<pa_operation*(pa_context*)>& start);
    // A positive PA_ERR_* code of the last failed run.
    int lastError() const { return lastError_; }

    // Receives the subscribed events (but module removals), on the main-loop
    // thread with its lock held: it must not call run(). Empty to stop.
    void setEventHandler(EventHandler handler);

    // The server acknowledges an unload before the module is gone; this
    // waits for the removal event (the events must include modules).
    // False on timeout or a broken connection.
    bool waitForModuleRemoval(uint32_t index);

    // Changes of the server, its sinks or its sources (as far as subscribed)
    // seen so far; wait for one more than `seen` until `deadline`.
    uint64_t changes();
    bool waitForChange(uint64_t seen, std::chrono::steady_clock::time_point deadline);
    std::chrono::milliseconds timeout() const { return timeout_; }

private:
    class Lock;
    bool connect();
    void noteFailedConnect();
    void finish(Request& request, bool success);
    void dropContext();
    static void onState(pa_context* context, void* self);
    static void onEvent(pa_context* context, pa_subscription_event_type_t type, uint32_t index, void* self);

    const std::string clientName_;
    const pa_subscription_mask_t events_;
    const std::chrono::milliseconds timeout_;
    PulseMainloopPtr mainloop_;
    PulseContextPtr context_; // touched under the main-loop lock
    EventHandler handler_;    // touched under the main-loop lock
    int lastError_ = 0;
    std::chrono::steady_clock::time_point lastFailedConnect_{};
    bool hasFailedConnect_ = false;

    std::mutex mutex_; // taken after the main-loop lock, never before it
    std::condition_variable changed_;
    bool ready_ = false;
    bool broken_ = false;
    std::set<uint32_t> removedModules_;
    uint64_t changes_ = 0;
};
