#pragma once

#include <cstdint>
#include <string>

namespace me {

// A fragmented MPEG-4 file (MP4, MOV, M4V, M4A) that OutputFile has closed,
// to be made an ordinary one.
struct FinishJob {
    std::string path;
    const char* muxerName = nullptr;
    // The audio codec's priming (encoder delay) at the start of this file; 0
    // for a part that does not start the recording.
    int64_t audioPrimingSamples = 0;
    int audioSampleRate = 0;
    int64_t videoPackets = 0; // bound the size of the index
    int64_t audioPackets = 0;
};

// How far writeIndexAtEnd goes; tests stop after the first step to check
// that a process killed there leaves a file that plays.
enum class IndexStep { AppendOnly, Complete };

// Makes the file ordinary without moving its media, in time that depends on
// the number of samples, not on the size of the media:
//  1. reads the fragment headers and builds one complete index (sample
//     sizes, times, keyframes, where each run of samples lies, and the edit
//     lists that hide the codec's priming and start audio and video together);
//  2. appends it to the file as a second index, which players skip while the
//     first, fragmented one is still in place;
//  3. with one small write turns everything between the file type and the new
//     index (the old index, the fragment headers and the media) into the
//     payload of one media-data box, so players see a file type, the media
//     and the index at the end.
// A process killed at any moment leaves either the complete fragmented file
// or the complete ordinary one. A file whose writer was killed is indexed
// too: what was cut short at its end is left out. On failure the file stays fragmented (it
// plays) and an error is returned. Any thread.
int writeIndexAtEnd(const FinishJob& job, IndexStep upTo = IndexStep::Complete);

} // namespace me
