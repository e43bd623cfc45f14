#pragma once

#include "ContainerChoice.h"
#include "FfmpegPtr.h"

#include <cstdint>
#include <vector>

namespace me {

class PacketSink;

struct AudioParams {
    AudioCodec codec = AudioCodec::None;
    int sourceChannels = 0; // interleaved signed 32-bit input
    int sourceRate = 0;
    int channels = 0; // encoded
    int rate = 0;
    int64_t bitRate = 0; // bit/s
    bool globalHeader = false;
};

// Resampler, sample FIFO and encoder of the audio stream. Used by the encode
// thread only (open() runs on the thread starting the session).
//
// Positions are sample counts: the first sample pushed is time 0 and every
// later one follows without gaps, so audio cannot drift against the sample
// clock that produced it.
class AudioEncoder {
public:
    AudioEncoder() = default;
    AudioEncoder(const AudioEncoder&) = delete;
    AudioEncoder& operator=(const AudioEncoder&) = delete;
    ~AudioEncoder() { freeBuffer(); }

    int open(const AudioParams& params);
    AVCodecContext* context() const { return ctx_.get(); }
    AVRational timeBase() const { return ctx_->time_base; }
    int encodeInterleaved(const uint8_t* data, int frames, PacketSink& sink);
    // Inserts `frames` source frames of silence (audio dropped on overflow).
    int encodeSilence(int64_t frames, PacketSink& sink);
    int flush(PacketSink& sink);

private:
    int growBuffer(int frames);
    int drainFifo(bool final, PacketSink& sink);
    int drainPackets(PacketSink& sink);
    void freeBuffer();

    CodecContextPtr ctx_;
    SwrPtr swr_;
    AudioFifoPtr fifo_;
    FramePtr frame_;
    PacketPtr packet_;
    int frameSize_ = 0;
    int sourceChannels_ = 0;
    int64_t nextPts_ = 0;
    // Resampler output, in the encoder's sample format; grows to the largest push.
    uint8_t** converted_ = nullptr;
    int convertedCapacity_ = 0;
    std::vector<uint8_t> silence_;
};

} // namespace me
