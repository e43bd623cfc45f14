#pragma once

#include "ContainerChoice.h"
#include "FfmpegPtr.h"
#include "IndexAtEnd.h"

#include <cstdint>
#include <string>

namespace me {

// One file being written (one part of a split recording). Encode thread only.
//
// Crash safety lives here: the data is flushed to the kernel at least every
// kFlushIntervalUs of media, MPEG-4 files are written as fragments of
// kFragmentUs, and a WAV header is rewritten at every flush. A process killed
// at any moment therefore leaves a file that plays up to about a second (plus
// the encoder's own delay) before the kill.
class OutputFile {
public:
    static constexpr int64_t kFlushIntervalUs = 250000;
    static constexpr int64_t kFragmentUs = 1000000;

    // Creates the file and writes its header. Codec contexts may be null for
    // an absent stream.
    int open(const std::string& path, const ContainerChoice& choice, const AVCodecContext* video,
             const AVCodecContext* audio);
    // Writes one packet whose timestamps are in `timeBase` and already
    // relative to the start of this file. Takes the packet's data.
    int write(AVPacket* packet, bool isVideo, AVRational timeBase);
    // Writes the trailer and closes the file. Returns ME_ERR_IO when any write failed.
    int finish();

    int64_t size() const { return size_; }
    int64_t videoPackets() const { return videoPackets_; }
    int64_t audioPackets() const { return audioPackets_; }
    bool failed() const { return failed_; }
    bool isOpen() const { return ctx_ != nullptr; }
    const std::string& path() const { return path_; }

private:
    void flushToDisk(int64_t mediaUs);
    void patchWavHeader();
    void markFailed(const char* what, int err);

    OutputContextPtr ctx_;
    ContainerChoice choice_;
    std::string path_;
    int videoIndex_ = -1;
    int audioIndex_ = -1;
    int64_t lastFlushUs_ = 0;
    int64_t firstEndUs_ = INT64_MAX; // while waiting for both streams to start
    int64_t wavDataStart_ = 0;
    int64_t size_ = 0;
    int64_t videoPackets_ = 0;
    int64_t audioPackets_ = 0;
    bool failed_ = false;
};

// Rewrites through a hidden temporary file next to it that then replaces it.
// On any failure the fragmented file is left as it is (it plays). Large files
// are written in one pass, into index space reserved at the front; small ones
// with a second pass that moves the index, which wastes no space. Logs
// progress when it takes more than a second. Any thread.
int rewriteAsFastStart(const FinishJob& job);

// writeIndexAtEnd, and when the file is not one it can read, the slower
// rewrite. Any thread.
int finishFragmentedFile(const FinishJob& job);

} // namespace me
