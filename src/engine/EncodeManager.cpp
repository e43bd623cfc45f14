#include "engine/EncodeManager.h"

#include "core/EMLog.h"
#include "core/KeyValueStore.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <pthread.h>
#include <thread>

namespace {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <class T> using Malloced = std::unique_ptr<T, FreeDeleter>;

// How often a finish asks the library whether the file is written: a few
// milliseconds of delay cost nothing, and the asking is not free.
constexpr std::chrono::milliseconds kFinishPoll{2};

} // namespace

EncodeManager::EncodeManager(KeyValueStore& settings) : settings_(settings) {
    initHandle();
}

EncodeManager::~EncodeManager() {
    waitForFinish();
    if (void* h = handle.exchange(nullptr))
        apiEncoderClose(h);
}

void EncodeManager::initHandle() {
    // A file still being finished owns the library until it is complete.
    waitForFinish();
    // The library handle is owned here: one that is replaced is closed, not leaked.
    if (void* old = handle.exchange(apiEncoderCreate()))
        apiEncoderClose(old);
}

void EncodeManager::setOutputPath(const std::string& path) {
    outputPath = path;
    const int32_t ret = apiEncoderSetOutputPath(handle, outputPath.c_str());
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：设置输出路径", ret);
}

void EncodeManager::setImageSize(EncodeImageSize size) {
    std::lock_guard lock(imageSizeMutex_);
    imageSize_ = size;
}

EncodeImageSize EncodeManager::imageSize() const {
    std::lock_guard lock(imageSizeMutex_);
    return imageSize_;
}

void EncodeManager::setUpVideoSettings() {
    void* h = handle;
    const EncodeImageSize size = imageSize();
    const auto width = static_cast<int32_t>(size.width);
    const auto height = static_cast<int32_t>(size.height);
    int32_t ret = apiEncoderSetImageSize(h, width, height);
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：设置初始数据源帧大小", ret);
    ret = apiEncoderSetImageFormat(h, ME_IMAGE_FORMAT_BGRA);
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：设置输出格式", ret);
    ret = apiEncoderSetOutputSize(h, width, height);
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：设置输出文件帧大小", ret);
    ret = apiEncoderSetFps(h, fps.load());
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：设置视频帧率", ret);
    ret = apiEncoderSetVideoBitrate(h, static_cast<double>(videoBitrate.load()));
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：设置视频码率", ret);
}

void EncodeManager::setUpAudioSettings() {
    void* h = handle;
    const int32_t channels = audioChannels;
    const int32_t samples = audioSamples;
    int32_t ret = apiEncoderSetAudioSrcContext(h, channels, samples, ME_SAMPLE_FORMAT_S32);
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：设置音频源数据格式", ret);
    ret = apiEncoderSetAudioBitrate(h, audioBitrate);
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：设置音频码率", ret);
    ret = apiEncoderSetAudioEncodeContext(h, channels, samples);
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：设置音频输出声道和采样率", ret);
}

void EncodeManager::setSplit() {
    const auto type = static_cast<SplitType>(settings_.integerForKey("SplitType"));
    uint32_t timeLimit = 0;
    uint32_t sizeLimit = 0;
    if (type == SplitType::BySize)
        sizeLimit = static_cast<uint32_t>(splitSize);
    else if (type == SplitType::ByTime)
        timeLimit = static_cast<uint32_t>(splitTime);

    void* h = handle;
    if (apiEncoderSetLimitTime(h, timeLimit) == 1)
        EMLog::showMessage("设置时间分段，%s:line:%d time:%d", __func__, __LINE__, splitTime);
    else
        EMLog::showMessage("设置时间分段失败，%s:line:%d", __func__, __LINE__);
    if (apiEncoderSetLimitSize(h, sizeLimit) == 1)
        EMLog::showMessage("设置大小分段，%s:line:%d time:%d", __func__, __LINE__, splitSize);
    else
        EMLog::showMessage("设置大小分段失败，%s:line:%d", __func__, __LINE__);
}

bool EncodeManager::startEncoderEncode() {
    setSplit();
    outputFailureReported_ = false;
    const int32_t ret = apiEncoderEncode(handle);
    if (ret >= 0) {
        nTotalAudiosize = 0;
        isWorking = true;
        EMLog::showMessage("====开始编码");
        return true;
    }
    EMLog::showMessage("错误码:%d ->描述：开始编码失败", ret);
    return false;
}

void EncodeManager::checkPush(int32_t ret) {
    // Only a write failure ends a recording; a refused or dropped push is the
    // library's business and the next one may well go through.
    if (ret == ME_ERR_IO)
        reportOutputFailure();
}

void EncodeManager::reportOutputFailure() {
    if (!outputFailureReported_.exchange(true) && outputFailed)
        outputFailed();
}

void EncodeManager::encoderPushVideo(const EncoderVideoFrame* frame, double pts) {
    void* h = handle;
    if (!isWorking || !h || !frame) {
        // The library did not see this picture, so it cannot be told what
        // changed since it.
        videoPushSkipped_ = true;
        return;
    }
    EncoderVideoFrame record = *frame;
    if (videoPushSkipped_.exchange(false))
        record.changedRows = 0;
    const int32_t ret = apiEncoderPushVideo(h, &record, static_cast<int64_t>(pts));
    // A push that lost the race with a stop (the trailers went first) is
    // refused by the library; that is the stop working, not an error.
    if (ret < 0 && isWorking) {
        EMLog::showMessage("错误码:%d ->描述：送入视频数据失败", ret);
        checkPush(ret);
    }
}

void EncodeManager::encoderPushAudio(const AudioSampleBuffer& buffer) {
    void* h = handle;
    if (!isWorking || !h)
        return;
    const std::size_t length = buffer.byteLength();
    Malloced<EncoderAudioFrame> record(
        static_cast<EncoderAudioFrame*>(std::calloc(1, sizeof(EncoderAudioFrame))));
    Malloced<int32_t> buffRead(static_cast<int32_t*>(std::malloc(length ? length : 1)));
    if (!record || !buffRead) {
        EMLog::showMessage("buffRead malloc failed");
        return;
    }
    // Zero-filled, so a buffer too short to interleave goes out as silence.
    Malloced<int32_t> output(static_cast<int32_t*>(std::calloc(length ? length : 1, 1)));
    if (!output) {
        EMLog::showMessage("audioFrame->buffer  malloc failed");
        return;
    }
    if (length)
        std::memcpy(buffRead.get(), buffer.data, length);

    const int32_t channels = audioChannels;
    const std::size_t words = length / 4;
    if (channels >= 2) {
        // The capture delivers planes: all of channel 0, then all of channel 1.
        const std::size_t frames = words / static_cast<std::size_t>(channels);
        if (words >= static_cast<std::size_t>(channels) && channels == 2) {
            const int32_t* in = buffRead.get();
            int32_t* out = output.get();
            for (std::size_t i = 0; i < std::max<std::size_t>(frames, 1); ++i) {
                out[2 * i] = in[i];
                out[2 * i + 1] = in[i + frames];
            }
        }
    } else if (length) {
        std::memcpy(output.get(), buffRead.get(), length);
    }

    record->data = reinterpret_cast<const uint8_t*>(output.get());
    record->dataLength = static_cast<uint32_t>(length);
    const int32_t ret = apiEncoderPushAudio(h, record.get());
    if (ret < 0 && isWorking) {
        EMLog::showMessage("错误码:%d ->描述：送入音频数据失败", ret);
        checkPush(ret);
    }
    nTotalAudiosize += static_cast<int64_t>(length);
}

double EncodeManager::filesize() {
    const int64_t size = apiEncoderGetFileSize(handle);
    return size > 0 ? static_cast<double>(size) : 0.0;
}

double EncodeManager::countRecordedDuration() {
    const int64_t encoded = apiEncoderGetEncodedTimestamp(handle);
    const RecordVideoType videoType =
        recordVideoTypeProvider ? recordVideoTypeProvider() : RecordVideoType::FullScreen;
    if (videoType == RecordVideoType::AudioOnly) {
        // 4 bytes a sample times 2 channels; whole seconds by integer steps.
        if (audioSamples == 0)
            return 0;
        const int64_t total = nTotalAudiosize;
        return static_cast<double>(((total / 8) / audioSamples) * 1000);
    }
    return static_cast<double>(encoded);
}

void EncodeManager::stopEncoderVideo() {
    const int32_t ret = apiEncodePushVideoTrailer(handle);
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：标识视频数据送入结束", ret);
}

void EncodeManager::stopEncoderAudio() {
    const int32_t ret = apiEncodePushAudioTrailer(handle);
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：标识音频数据送入结束", ret);
}

void EncodeManager::stopEncoderEncode() {
    waitForFinish();
    if (void* h = endEncoding())
        finishAndClose(h);
}

void EncodeManager::stopEncoderEncodeInBackground(std::function<void()> finished) {
    waitForFinish();
    void* h = endEncoding();
    if (!h) {
        if (finished)
            finished();
        return;
    }
    finishing_ = true;
    finisher_ = std::thread([this, h, finished = std::move(finished)] {
        pthread_setname_np(pthread_self(), "EncoderFinisher");
        finishAndClose(h);
        finishing_ = false;
        if (finished)
            finished();
    });
}

void EncodeManager::waitForFinish() {
    if (finisher_.joinable())
        finisher_.join();
}

void* EncodeManager::endEncoding() {
    if (!isWorking) {
        EMLog::showMessage("没有编码");
        return nullptr;
    }
    isWorking = false;
    // Out of the session first: pushes racing with the stop and the clock's
    // size and duration queries see no handle instead of a closing one.
    void* h = handle.exchange(nullptr);
    apiEncodePushVideoTrailer(h);
    apiEncodePushAudioTrailer(h);
    return h;
}

void EncodeManager::finishAndClose(void* h) {
    // The library answers 1 when everything is written. A negative answer means
    // the handle is gone, and there is nothing left to wait for.
    for (;;) {
        const int32_t done = apiEncodeIsDone(h);
        if (done == 1 || done < 0)
            break;
        std::this_thread::sleep_for(kFinishPoll);
    }
    const int32_t ret = apiEncoderClose(h);
    if (ret < 0)
        EMLog::showMessage("错误码:%d ->描述：关闭编码器", ret);
    EMLog::showMessage("关闭编码器");
}
