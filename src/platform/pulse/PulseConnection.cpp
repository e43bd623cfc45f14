#include "platform/pulse/PulseConnection.h"

#include "core/EMLog.h"

class PulseConnection::Lock {
public:
    explicit Lock(pa_threaded_mainloop* m) : m_(m) { pa_threaded_mainloop_lock(m_); }
    ~Lock() { pa_threaded_mainloop_unlock(m_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    pa_threaded_mainloop* m_;
};

PulseConnection::PulseConnection(std::string clientName, pa_subscription_mask_t events,
                                 std::chrono::milliseconds timeout)
    : clientName_(std::move(clientName)), events_(events), timeout_(timeout),
      mainloop_(pa_threaded_mainloop_new()) {
    if (mainloop_ && pa_threaded_mainloop_start(mainloop_.get()) < 0)
        mainloop_.reset();
    if (!mainloop_)
        EMLog::showMessage("%s %d cannot start the sound server main loop", __func__, __LINE__);
}

PulseConnection::~PulseConnection() {
    if (!mainloop_)
        return;
    {
        Lock lock(mainloop_.get());
        dropContext();
    }
    pa_threaded_mainloop_stop(mainloop_.get());
}

void PulseConnection::dropContext() {
    if (!context_)
        return;
    pa_context_set_state_callback(context_.get(), nullptr, nullptr);
    pa_context_set_subscribe_callback(context_.get(), nullptr, nullptr);
    pa_context_disconnect(context_.get());
    context_.reset();
}

void PulseConnection::onState(pa_context* context, void* self) {
    auto* me = static_cast<PulseConnection*>(self);
    const auto state = pa_context_get_state(context);
    if (state == PA_CONTEXT_READY && me->events_ != PA_SUBSCRIPTION_MASK_NULL) {
        if (pa_operation* op = pa_context_subscribe(context, me->events_, nullptr, nullptr))
            pa_operation_unref(op);
    }
    {
        std::lock_guard guard(me->mutex_);
        me->ready_ = state == PA_CONTEXT_READY;
        me->broken_ = !PA_CONTEXT_IS_GOOD(state);
    }
    me->changed_.notify_all();
}

void PulseConnection::onEvent(pa_context*, pa_subscription_event_type_t type, uint32_t index, void* self) {
    auto* me = static_cast<PulseConnection*>(self);
    const bool module = (type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) == PA_SUBSCRIPTION_EVENT_MODULE;
    {
        std::lock_guard guard(me->mutex_);
        if (!module) {
            ++me->changes_;
        } else if ((type & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_REMOVE) {
            // Removals nobody waits for (other clients') are few; forget
            // them now and then.
            if (me->removedModules_.size() > 1000)
                me->removedModules_.clear();
            me->removedModules_.insert(index);
        }
    }
    me->changed_.notify_all();
    if (!module && me->handler_)
        me->handler_(type, index);
}

uint64_t PulseConnection::changes() {
    std::lock_guard guard(mutex_);
    return changes_;
}

bool PulseConnection::waitForChange(uint64_t seen, std::chrono::steady_clock::time_point deadline) {
    std::unique_lock guard(mutex_);
    return changed_.wait_until(guard, deadline, [&] { return changes_ > seen || broken_; }) && !broken_;
}

bool PulseConnection::waitForModuleRemoval(uint32_t index) {
    std::unique_lock guard(mutex_);
    const bool removed = changed_.wait_for(guard, timeout_, [&] {
        return removedModules_.contains(index) || broken_;
    }) && removedModules_.erase(index) > 0;
    return removed;
}

void PulseConnection::setEventHandler(EventHandler handler) {
    if (!mainloop_)
        return;
    Lock lock(mainloop_.get());
    handler_ = std::move(handler);
}

bool PulseConnection::connect() {
    if (!mainloop_)
        return false;
    {
        Lock lock(mainloop_.get());
        if (context_ && pa_context_get_state(context_.get()) == PA_CONTEXT_READY)
            return true;
        if (hasFailedConnect_ && std::chrono::steady_clock::now() - lastFailedConnect_ < kRetryPause)
            return false;
        dropContext();
        {
            std::lock_guard guard(mutex_);
            ready_ = false;
            broken_ = false;
        }
        context_.reset(pa_context_new(pa_threaded_mainloop_get_api(mainloop_.get()), clientName_.c_str()));
        if (!context_)
            return false;
        pa_context_set_state_callback(context_.get(), &PulseConnection::onState, this);
        pa_context_set_subscribe_callback(context_.get(), &PulseConnection::onEvent, this);
        if (pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
            lastError_ = pa_context_errno(context_.get());
            noteFailedConnect();
            EMLog::showMessage("Failed to get data size");
            EMLog::showMessage("%s %d cannot reach the sound server: %s", __func__, __LINE__,
                               pa_strerror(lastError_));
            dropContext();
            return false;
        }
    }
    std::unique_lock guard(mutex_);
    if (changed_.wait_for(guard, timeout_, [this] { return ready_ || broken_; }) && ready_)
        return true;
    lastError_ = broken_ ? PA_ERR_CONNECTIONREFUSED : PA_ERR_TIMEOUT;
    guard.unlock();
    noteFailedConnect();
    EMLog::showMessage("Failed to get data size");
    EMLog::showMessage("%s %d cannot reach the sound server: %s", __func__, __LINE__,
                       pa_strerror(lastError_));
    return false;
}

void PulseConnection::noteFailedConnect() {
    hasFailedConnect_ = true;
    lastFailedConnect_ = std::chrono::steady_clock::now();
}

void PulseConnection::finish(Request& request, bool success) {
    {
        std::lock_guard guard(mutex_);
        request.done = true;
        request.ok = success;
    }
    changed_.notify_all();
}

bool PulseConnection::run(Request& request, const std::function<pa_operation*(pa_context*)>& start) {
    if (!connect())
        return false;
    request.connection = this;
    PulseOperationPtr op;
    {
        Lock lock(mainloop_.get());
        op.reset(start(context_.get()));
        if (!op) {
            lastError_ = pa_context_errno(context_.get());
            return false;
        }
    }
    bool finished = false;
    bool ok = false;
    bool broken = false;
    {
        std::unique_lock guard(mutex_);
        changed_.wait_for(guard, timeout_, [&] { return request.done || broken_; });
        finished = request.done;
        ok = request.ok;
        broken = broken_;
    }
    Lock lock(mainloop_.get());
    // Once cancelled under the lock, no callback of the operation runs, so
    // the request (on the caller's stack) may go.
    if (!finished)
        pa_operation_cancel(op.get());
    op.reset();
    if (!finished)
        lastError_ = broken ? PA_ERR_CONNECTIONTERMINATED : PA_ERR_TIMEOUT;
    else if (!ok)
        lastError_ = context_ ? pa_context_errno(context_.get()) : 0;
    if (!(finished && ok) && lastError_ == 0)
        lastError_ = PA_ERR_UNKNOWN;
    return finished && ok;
}
