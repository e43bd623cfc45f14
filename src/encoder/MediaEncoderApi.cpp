// The C entry points: handle validation and dispatch to the session.

#include "MediaEncoder.h"
#include "Session.h"

#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

namespace {

// Handles are numbers that are never reused, not addresses: a stale or
// foreign handle is refused instead of touching freed memory, and a close that
// races with pushes leaves the session alive until the last push returns.
struct Registry {
    std::mutex mutex;
    std::unordered_map<uintptr_t, std::shared_ptr<me::Session>> sessions;
    uintptr_t next = 1;
};

Registry& registry() {
    static Registry r;
    return r;
}

std::shared_ptr<me::Session> find(void* handle) {
    if (!handle)
        return nullptr;
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    const auto it = r.sessions.find(reinterpret_cast<uintptr_t>(handle));
    return it == r.sessions.end() ? nullptr : it->second;
}

template <class F> int32_t withSession(void* handle, F&& f) {
    const std::shared_ptr<me::Session> s = find(handle);
    return s ? f(*s) : ME_ERR_HANDLE;
}

} // namespace

extern "C" {

void* apiEncoderCreate(void) {
    std::shared_ptr<me::Session> session(new (std::nothrow) me::Session);
    if (!session)
        return nullptr;
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    const uintptr_t id = r.next++;
    r.sessions.emplace(id, std::move(session));
    return reinterpret_cast<void*>(id);
}

int32_t apiEncoderSetOutputPath(void* handle, const char* path) {
    return withSession(handle, [&](me::Session& s) { return s.setOutputPath(path); });
}

int32_t apiEncoderSetImageSize(void* handle, int32_t width, int32_t height) {
    return withSession(handle, [&](me::Session& s) { return s.setImageSize(width, height); });
}

int32_t apiEncoderSetImageFormat(void* handle, int32_t format) {
    return withSession(handle, [&](me::Session& s) { return s.setImageFormat(format); });
}

int32_t apiEncoderSetOutputSize(void* handle, int32_t width, int32_t height) {
    return withSession(handle, [&](me::Session& s) { return s.setOutputSize(width, height); });
}

int32_t apiEncoderSetFps(void* handle, double fps) {
    return withSession(handle, [&](me::Session& s) { return s.setFps(fps); });
}

int32_t apiEncoderSetVideoBitrate(void* handle, double bitrate) {
    return withSession(handle, [&](me::Session& s) { return s.setVideoBitrate(bitrate); });
}

int32_t apiEncoderSetAudioSrcContext(void* handle, int32_t channels, int32_t sampleRate,
                                     int32_t sampleFormat) {
    return withSession(handle,
                       [&](me::Session& s) { return s.setAudioSource(channels, sampleRate, sampleFormat); });
}

int32_t apiEncoderSetAudioBitrate(void* handle, double bitrate) {
    return withSession(handle, [&](me::Session& s) { return s.setAudioBitrate(bitrate); });
}

int32_t apiEncoderSetAudioEncodeContext(void* handle, int32_t channels, int32_t sampleRate) {
    return withSession(handle, [&](me::Session& s) { return s.setAudioEncode(channels, sampleRate); });
}

int32_t apiEncoderSetLimitTime(void* handle, uint32_t seconds) {
    return withSession(handle, [&](me::Session& s) { return s.setLimitTime(seconds); });
}

int32_t apiEncoderSetLimitSize(void* handle, uint32_t megabytes) {
    return withSession(handle, [&](me::Session& s) { return s.setLimitSize(megabytes); });
}

int32_t apiEncoderEncode(void* handle) {
    return withSession(handle, [](me::Session& s) { return s.start(); });
}

int32_t apiEncoderPushVideo(void* handle, const EncoderVideoFrame* frame, int64_t timestampMs) {
    return withSession(handle, [&](me::Session& s) { return s.pushVideo(frame, timestampMs); });
}

int32_t apiEncoderPushAudio(void* handle, const EncoderAudioFrame* frame) {
    return withSession(handle, [&](me::Session& s) { return s.pushAudio(frame); });
}

int32_t apiEncodePushVideoTrailer(void* handle) {
    return withSession(handle, [](me::Session& s) { return s.endVideo(); });
}

int32_t apiEncodePushAudioTrailer(void* handle) {
    return withSession(handle, [](me::Session& s) { return s.endAudio(); });
}

int32_t apiEncodeIsDone(void* handle) {
    return withSession(handle, [](me::Session& s) { return s.isDone(); });
}

int64_t apiEncoderGetEncodedTimestamp(void* handle) {
    const std::shared_ptr<me::Session> s = find(handle);
    return s ? s->encodedMs() : ME_ERR_HANDLE;
}

int64_t apiEncoderGetFileSize(void* handle) {
    const std::shared_ptr<me::Session> s = find(handle);
    return s ? s->fileSize() : ME_ERR_HANDLE;
}

int32_t apiEncoderClose(void* handle) {
    std::shared_ptr<me::Session> session;
    {
        Registry& r = registry();
        std::lock_guard lock(r.mutex);
        const auto it = handle ? r.sessions.find(reinterpret_cast<uintptr_t>(handle)) : r.sessions.end();
        if (it == r.sessions.end())
            return ME_ERR_HANDLE;
        session = std::move(it->second);
        r.sessions.erase(it);
    }
    // Pushes still running hold their own reference; they see a closed session.
    return session->close();
}

} // extern "C"
