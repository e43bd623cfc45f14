// The session's setters: validated on the calling thread, stored under the
// session's mutex, refused once encoding has started.

#include "Session.h"

namespace me {

namespace {

// x264's own limit on either side.
constexpr int kMaxDimension = 16384;

} // namespace

int Session::setOutputPath(const char* path) {
    if (!path || !*path)
        return ME_ERR_ARGUMENT;
    if (!chooseContainer(path).muxerName)
        return ME_ERR_UNSUPPORTED;
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    path_ = path;
    return ME_OK;
}

int Session::setImageSize(int32_t width, int32_t height) {
    if (width < 2 || height < 2 || width > kMaxDimension || height > kMaxDimension)
        return ME_ERR_ARGUMENT;
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    width_ = width;
    height_ = height;
    return ME_OK;
}

int Session::setImageFormat(int32_t format) {
    if (format != ME_IMAGE_FORMAT_BGRA)
        return ME_ERR_UNSUPPORTED;
    std::lock_guard lock(mutex_);
    return state_ == State::Configuring ? ME_OK : ME_ERR_STATE;
}

int Session::setOutputSize(int32_t width, int32_t height) {
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    if (width != width_ || height != height_)
        return ME_ERR_UNSUPPORTED; // no scaling
    outWidth_ = width;
    outHeight_ = height;
    return ME_OK;
}

int Session::setFps(double fps) {
    if (!(fps >= 1 && fps <= 240))
        return ME_ERR_ARGUMENT;
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    fps_ = fps;
    return ME_OK;
}

int Session::setVideoBitrate(double kbps) {
    if (!(kbps >= 50 && kbps <= 200000))
        return ME_ERR_ARGUMENT;
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    videoKbps_ = kbps;
    return ME_OK;
}

int Session::setAudioSource(int32_t channels, int32_t rate, int32_t format) {
    if (format != ME_SAMPLE_FORMAT_S32)
        return ME_ERR_UNSUPPORTED;
    if (channels < 1 || channels > 8 || rate < 8000 || rate > 192000)
        return ME_ERR_ARGUMENT;
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    srcChannels_ = channels;
    srcRate_ = rate;
    return ME_OK;
}

int Session::setAudioBitrate(double tensOfBits) {
    if (!(tensOfBits >= 800 && tensOfBits <= 51200))
        return ME_ERR_ARGUMENT;
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    audioBitrate_ = tensOfBits;
    return ME_OK;
}

int Session::setAudioEncode(int32_t channels, int32_t rate) {
    if (channels < 1 || channels > 2)
        return ME_ERR_UNSUPPORTED;
    if (rate < 8000 || rate > 192000)
        return ME_ERR_ARGUMENT;
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    encChannels_ = channels;
    encRate_ = rate;
    return ME_OK;
}

int Session::setLimitTime(uint32_t seconds) {
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    limits_.seconds = seconds;
    return ME_LIMIT_OK;
}

int Session::setLimitSize(uint32_t megabytes) {
    std::lock_guard lock(mutex_);
    if (state_ != State::Configuring)
        return ME_ERR_STATE;
    limits_.megabytes = megabytes;
    return ME_LIMIT_OK;
}

} // namespace me
