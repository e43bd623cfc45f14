#include "FragmentSamples.h"

#include <algorithm>
#include <limits>

namespace me::mp4 {

namespace {

// Fragment header flags (ISO/IEC 14496-12, track fragment and track run boxes).
constexpr uint32_t kTfhdBaseDataOffset = 0x1;
constexpr uint32_t kTfhdDescriptionIndex = 0x2;
constexpr uint32_t kTfhdDefaultDuration = 0x8;
constexpr uint32_t kTfhdDefaultSize = 0x10;
constexpr uint32_t kTfhdDefaultFlags = 0x20;
constexpr uint32_t kTfhdBaseIsMoof = 0x20000;
constexpr uint32_t kTrunDataOffset = 0x1;
constexpr uint32_t kTrunFirstFlags = 0x4;
constexpr uint32_t kTrunDuration = 0x100;
constexpr uint32_t kTrunSize = 0x200;
constexpr uint32_t kTrunFlags = 0x400;
constexpr uint32_t kTrunCompositionOffset = 0x800;
constexpr uint32_t kSampleIsNotSync = 0x10000;

Track* trackById(std::vector<Track>& tracks, uint32_t id) {
    for (Track& t : tracks) {
        if (t.id == id)
            return &t;
    }
    return nullptr;
}

// Moves the decode clock of the track to a fragment's start time. Fragments
// normally follow each other exactly; a gap or an overlap is absorbed by the
// duration of the sample before it, which is what players do with it too.
bool placeFragment(Track& t, int64_t start) {
    if (t.firstDts < 0) {
        t.firstDts = t.nextDts = start;
        return true;
    }
    if (start == t.nextDts)
        return true;
    if (t.durations.empty())
        return false;
    const int64_t last = static_cast<int64_t>(t.durations.back()) + start - t.nextDts;
    if (last < 0 || last > std::numeric_limits<uint32_t>::max())
        return false;
    t.durations.back() = static_cast<uint32_t>(last);
    t.nextDts = start;
    return true;
}

bool readTrackRun(const Box& trun, uint64_t base, uint64_t& pos, uint32_t description, uint32_t duration,
                  uint32_t size, uint32_t flags, int64_t fileSize, Track& t) {
    Reader r(trun.payload);
    const uint32_t versionFlags = r.u32();
    const uint32_t version = versionFlags >> 24;
    const uint32_t tf = versionFlags & 0xffffff;
    const uint32_t count = r.u32();
    if (tf & kTrunDataOffset)
        pos = base + static_cast<int64_t>(static_cast<int32_t>(r.u32()));
    const bool hasFirstFlags = tf & kTrunFirstFlags;
    const uint32_t firstFlags = hasFirstFlags ? r.u32() : 0;
    const int fields =
        !!(tf & kTrunDuration) + !!(tf & kTrunSize) + !!(tf & kTrunFlags) + !!(tf & kTrunCompositionOffset);
    if (!r.ok() || static_cast<uint64_t>(count) * 4 * fields > r.left())
        return false;
    if (count == 0)
        return true;
    t.chunks.push_back({pos, count, description});
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t d = tf & kTrunDuration ? r.u32() : duration;
        const uint32_t s = tf & kTrunSize ? r.u32() : size;
        // As players read it: the first sample's own flags replace the
        // per-sample field rather than come with it.
        const bool first = i == 0 && hasFirstFlags;
        const uint32_t f = first ? firstFlags : tf & kTrunFlags ? r.u32() : flags;
        int64_t offset = 0;
        if (tf & kTrunCompositionOffset) {
            const uint32_t raw = r.u32();
            offset = version == 0 ? static_cast<int64_t>(raw) : static_cast<int32_t>(raw);
            if (offset > std::numeric_limits<int32_t>::max())
                return false;
        }
        const int64_t dts = t.nextDts;
        t.sizes.push_back(s);
        t.durations.push_back(d);
        t.offsets.push_back(static_cast<int32_t>(offset));
        if (!(f & kSampleIsNotSync))
            t.syncSamples.push_back(static_cast<uint32_t>(t.sizes.size()));
        t.firstPts = std::min(t.firstPts, dts + offset);
        t.presentationEnd = std::max(t.presentationEnd, dts + offset + d);
        t.nextDts += d;
        pos += s;
    }
    return r.ok() && pos <= static_cast<uint64_t>(fileSize);
}

} // namespace

bool readTrackFragment(const Box& traf, int64_t moofOffset, int64_t fileSize, std::vector<Track>& tracks) {
    const Box* tfhd = traf.child(fourcc("tfhd"));
    if (!tfhd)
        return false;
    Reader r(tfhd->payload);
    const uint32_t flags = r.u32() & 0xffffff;
    Track* t = trackById(tracks, r.u32());
    if (!t)
        return false;
    uint64_t base = static_cast<uint64_t>(moofOffset);
    if (flags & kTfhdBaseDataOffset)
        base = r.u64();
    else if (!(flags & kTfhdBaseIsMoof))
        return false; // relative to the previous fragment's data: not written here
    const uint32_t description = flags & kTfhdDescriptionIndex ? r.u32() : t->defaultDescription;
    const uint32_t duration = flags & kTfhdDefaultDuration ? r.u32() : t->defaultDuration;
    const uint32_t size = flags & kTfhdDefaultSize ? r.u32() : t->defaultSize;
    const uint32_t sampleFlags = flags & kTfhdDefaultFlags ? r.u32() : t->defaultFlags;
    if (!r.ok())
        return false;
    int64_t start = t->firstDts < 0 ? 0 : t->nextDts;
    if (const Box* tfdt = traf.child(fourcc("tfdt"))) {
        Reader d(tfdt->payload);
        const bool wide = d.u32() >> 24 == 1;
        start = static_cast<int64_t>(wide ? d.u64() : d.u32());
        if (!d.ok() || start < 0)
            return false;
    }
    if (!placeFragment(*t, start))
        return false;
    uint64_t pos = base;
    for (const Box& trun : traf.children) {
        if (trun.type == fourcc("trun") &&
            !readTrackRun(trun, base, pos, description, duration, size, sampleFlags, fileSize, *t))
            return false;
    }
    return true;
}

// mvhd, tkhd and mdhd start alike: version and flags, creation and
// modification times (32 or 64 bits by version), then a word that is the
// timescale or the track id, and later the duration.
void closeLastSample(Track& t) {
    if (t.durations.empty() || t.durations.back() != 0)
        return;
    const uint32_t d =
        t.durations.size() > 1 ? std::max<uint32_t>(t.durations[t.durations.size() - 2], 1) : 1;
    t.durations.back() = d;
    t.nextDts += d;
    const int64_t lastPts = t.nextDts - d + t.offsets.back();
    t.presentationEnd = std::max(t.presentationEnd, lastPts + d);
}

size_t afterTimes(const Box& box) {
    return box.payload.size() > 0 && box.payload[0] == 1 ? 20 : 12;
}

bool headerWord(const Box& box, uint32_t& word) {
    Reader r(box.payload);
    r.skip(afterTimes(box));
    word = r.u32();
    return r.ok();
}

bool readTracks(Box& moov, std::vector<Track>& tracks) {
    const Box* mvex = moov.child(fourcc("mvex"));
    if (!mvex)
        return false;
    for (Box& trak : moov.children) {
        if (trak.type != fourcc("trak"))
            continue;
        Track t;
        t.trak = &trak;
        Box* tkhd = trak.child(fourcc("tkhd"));
        Box* mdia = trak.child(fourcc("mdia"));
        Box* mdhd = mdia ? mdia->child(fourcc("mdhd")) : nullptr;
        const Box* hdlr = mdia ? mdia->child(fourcc("hdlr")) : nullptr;
        if (!tkhd || !mdhd || !hdlr || !headerWord(*tkhd, t.id) || !headerWord(*mdhd, t.timescale))
            return false;
        Reader h(hdlr->payload);
        h.skip(8);
        t.handler = h.u32();
        if (!h.ok() || t.timescale == 0)
            return false;
        tracks.push_back(t);
    }
    for (const Box& trex : mvex->children) {
        if (trex.type != fourcc("trex"))
            continue;
        Reader r(trex.payload);
        r.skip(4);
        Track* t = trackById(tracks, r.u32());
        if (!t)
            return false;
        t->defaultDescription = r.u32();
        t->defaultDuration = r.u32();
        t->defaultSize = r.u32();
        t->defaultFlags = r.u32();
        if (!r.ok())
            return false;
    }
    return !tracks.empty();
}

} // namespace me::mp4
