#pragma once

// The samples of a fragmented MPEG-4 file, read back from its fragment
// headers: what a complete index needs. Any thread; no shared state.

#include "Mp4Box.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace me::mp4 {

// A run of samples stored one after the other.
struct Chunk {
    uint64_t offset;
    uint32_t samples;
    uint32_t description;
};

// One track of the movie and the samples its fragments held, in decode order.
struct Track {
    uint32_t id = 0;
    uint32_t handler = 0;
    uint32_t timescale = 0;
    // Defaults from the movie's track extends box.
    uint32_t defaultDescription = 1;
    uint32_t defaultDuration = 0;
    uint32_t defaultSize = 0;
    uint32_t defaultFlags = 0;
    Box* trak = nullptr;

    std::vector<uint32_t> sizes;
    std::vector<uint32_t> durations;
    std::vector<int32_t> offsets; // composition minus decode time
    std::vector<uint32_t> syncSamples;
    std::vector<Chunk> chunks;
    int64_t firstDts = -1;
    int64_t nextDts = 0;
    int64_t firstPts = std::numeric_limits<int64_t>::max();
    int64_t presentationEnd = 0;
};

// Reads the tracks of a fragmented movie header and their fragment
// defaults. The tracks point into `moov`.
bool readTracks(Box& moov, std::vector<Track>& tracks);
// Adds the samples of one track fragment found in the fragment header at
// `moofOffset`. False when it is not one this library could have written or
// its media lies past `fileSize`.
bool readTrackFragment(const Box& traf, int64_t moofOffset, int64_t fileSize, std::vector<Track>& tracks);
// The muxer writes the last sample of a stream with no duration when it
// cannot know it; it gets the duration of the one before (or one tick), so
// that it is shown.
void closeLastSample(Track& t);
// The word after the creation and modification times of mvhd, tkhd or mdhd:
// the timescale, or the track id.
bool headerWord(const Box& box, uint32_t& word);
// Where those times end.
size_t afterTimes(const Box& box);

} // namespace me::mp4
