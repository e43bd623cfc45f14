#pragma once

#include <cstddef>
#include <cstdint>

// Views of the media buffers that capture sources hand to the engine. Neither
// owns its memory; each is valid for the duration of the callback that
// delivers it.

// One buffer of captured audio: `channels` planes of `frames` signed 32-bit
// samples each, stored one plane after the other in one block (all of
// channel 0, then all of channel 1, ...), as the audio capture delivers it.
struct AudioSampleBuffer {
    const int32_t* data = nullptr;
    int channels = 0;
    int sampleRate = 0;
    int frames = 0;

    const int32_t* plane(int channel) const { return data + static_cast<std::ptrdiff_t>(channel) * frames; }
    // Length of the whole data block in bytes.
    std::size_t byteLength() const {
        return static_cast<std::size_t>(channels) * static_cast<std::size_t>(frames) * sizeof(int32_t);
    }
};

// A 32-bit BGRA picture (B, G, R, A bytes in memory), rows `stride` bytes apart.
struct PixelBufferView {
    uint8_t* data = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;

    uint8_t* row(int y) const { return data + static_cast<std::ptrdiff_t>(y) * stride; }
    std::size_t byteLength() const {
        return height > 0 ? static_cast<std::size_t>(stride) * static_cast<std::size_t>(height - 1) +
                                static_cast<std::size_t>(width) * 4
                          : 0;
    }
};
