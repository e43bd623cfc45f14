#include "IndexAtEnd.h"

#include "FragmentSamples.h"
#include "Log.h"
#include "MediaEncoder.h"
#include "Mp4Box.h"

extern "C" {
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <limits>
#include <unistd.h>

namespace me {

namespace {

using mp4::Box;
using mp4::Chunk;
using mp4::fourcc;
using mp4::Reader;
using mp4::Track;
using mp4::Writer;

// A fragment header holds about 16 bytes per sample and one second of media;
// anything near this size is not a file this library wrote.
constexpr int64_t kMaxFragmentHeaderBytes = 64 * 1024 * 1024;

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

// pread/pwrite until all of it is done; false on an error or the end of the file.
template <typename Byte, typename Io> bool wholeAt(Io io, int fd, int64_t offset, Byte* data, size_t size) {
    while (size > 0) {
        const ssize_t n = io(fd, data, size, offset);
        if (n <= 0)
            return false;
        data += n;
        size -= static_cast<size_t>(n);
        offset += n;
    }
    return true;
}

bool readAt(int fd, int64_t offset, uint8_t* data, size_t size) {
    return wholeAt(::pread, fd, offset, data, size);
}

bool writeAt(int fd, int64_t offset, const uint8_t* data, size_t size) {
    return wholeAt(::pwrite, fd, offset, data, size);
}

struct TopBox {
    uint32_t type = 0;
    int64_t offset = 0;
    int64_t size = 0;
    int header = 0;
};

// Lists the boxes at the top of the file. A process killed while writing
// leaves the last box cut short; the file then ends, for this purpose, before
// it, and before the fragment header whose media it held. Returns where the
// complete boxes end, or -1 when the file is not a sequence of boxes.
int64_t scanTopLevel(int fd, int64_t fileSize, std::vector<TopBox>& boxes) {
    int64_t pos = 0;
    auto cutShort = [&boxes, &pos] {
        if (!boxes.empty() && boxes.back().type == fourcc("moof")) {
            pos = boxes.back().offset;
            boxes.pop_back();
        }
        return pos;
    };
    while (pos < fileSize) {
        uint8_t head[16];
        if (fileSize - pos < 8)
            return cutShort();
        if (!readAt(fd, pos, head, 8))
            return -1;
        Reader r(head, 8);
        TopBox box;
        box.offset = pos;
        box.size = r.u32();
        box.type = r.u32();
        box.header = 8;
        if (box.size == 1) {
            if (fileSize - pos < 16)
                return cutShort();
            if (!readAt(fd, pos + 8, head + 8, 8))
                return -1;
            Reader large(head + 8, 8);
            box.size = static_cast<int64_t>(large.u64());
            box.header = 16;
        } else if (box.size == 0) {
            box.size = fileSize - pos;
        }
        if (box.size < box.header)
            return -1;
        if (box.size > fileSize - pos)
            return cutShort();
        boxes.push_back(box);
        pos += box.size;
    }
    return pos;
}

// Writes the duration, which follows `middle` bytes after the times (the
// timescale, or the track id and a reserved word), in version 1 only when
// it does not fit version 0.
bool setDuration(Box& box, size_t middle, uint64_t duration) {
    Reader r(box.payload);
    const uint32_t versionFlags = r.u32();
    const bool wide = versionFlags >> 24 == 1;
    const uint64_t created = wide ? r.u64() : r.u32();
    const uint64_t modified = wide ? r.u64() : r.u32();
    const size_t middleAt = r.pos();
    r.skip(middle + (wide ? 8 : 4));
    if (!r.ok())
        return false;
    const size_t restAt = r.pos();
    const bool wideOut = wide || duration > std::numeric_limits<uint32_t>::max();
    Writer w;
    w.u32((wideOut ? 1u << 24 : 0u) | (versionFlags & 0xffffff));
    if (wideOut) {
        w.u64(created);
        w.u64(modified);
    } else {
        w.u32(static_cast<uint32_t>(created));
        w.u32(static_cast<uint32_t>(modified));
    }
    w.append(box.payload.data() + middleAt, middle);
    if (wideOut)
        w.u64(duration);
    else
        w.u32(static_cast<uint32_t>(duration));
    w.append(box.payload.data() + restAt, box.payload.size() - restAt);
    box.payload = std::move(w.bytes());
    return true;
}

Box leaf(const char* type, Writer& w) {
    Box box;
    box.type = fourcc(type);
    box.payload = std::move(w.bytes());
    return box;
}

void fullHeader(Writer& w, uint8_t version, uint32_t flags = 0) {
    w.u32(static_cast<uint32_t>(version) << 24 | flags);
}

// The sample table boxes for what the fragments held; the sample
// descriptions (codec set-up) stay as the muxer wrote them.
void fillSampleTable(const Track& t, Box& stbl) {
    for (const char* stale : {"stts", "ctts", "cslg", "stss", "stps", "stsc", "stsz", "stz2", "stco", "co64",
                              "sdtp", "sbgp", "sgpd", "subs"})
        stbl.removeChildren(fourcc(stale));
    const size_t n = t.sizes.size();

    auto runs = [n](auto value, Writer& w) {
        std::vector<std::pair<uint32_t, uint32_t>> list;
        for (size_t i = 0; i < n; ++i) {
            const uint32_t v = value(i);
            if (!list.empty() && list.back().second == v)
                ++list.back().first;
            else
                list.emplace_back(1, v);
        }
        w.u32(static_cast<uint32_t>(list.size()));
        for (auto [count, v] : list) {
            w.u32(count);
            w.u32(v);
        }
    };
    Writer stts;
    fullHeader(stts, 0);
    runs([&t](size_t i) { return t.durations[i]; }, stts);
    stbl.children.push_back(leaf("stts", stts));

    if (std::any_of(t.offsets.begin(), t.offsets.end(), [](int32_t o) { return o != 0; })) {
        const bool negative =
            std::any_of(t.offsets.begin(), t.offsets.end(), [](int32_t o) { return o < 0; });
        Writer ctts;
        fullHeader(ctts, negative ? 1 : 0);
        runs([&t](size_t i) { return static_cast<uint32_t>(t.offsets[i]); }, ctts);
        stbl.children.push_back(leaf("ctts", ctts));
    }
    if (t.syncSamples.size() != n) {
        Writer stss;
        fullHeader(stss, 0);
        stss.u32(static_cast<uint32_t>(t.syncSamples.size()));
        for (uint32_t s : t.syncSamples)
            stss.u32(s);
        stbl.children.push_back(leaf("stss", stss));
    }

    Writer stsc;
    fullHeader(stsc, 0);
    std::vector<std::array<uint32_t, 3>> entries;
    for (size_t c = 0; c < t.chunks.size(); ++c) {
        const Chunk& chunk = t.chunks[c];
        if (entries.empty() || entries.back()[1] != chunk.samples || entries.back()[2] != chunk.description)
            entries.push_back({static_cast<uint32_t>(c + 1), chunk.samples, chunk.description});
    }
    stsc.u32(static_cast<uint32_t>(entries.size()));
    for (const auto& e : entries) {
        for (uint32_t v : e)
            stsc.u32(v);
    }
    stbl.children.push_back(leaf("stsc", stsc));

    Writer stsz;
    fullHeader(stsz, 0);
    const bool sameSize = n > 0 && std::all_of(t.sizes.begin(), t.sizes.end(),
                                               [&t](uint32_t s) { return s == t.sizes.front(); });
    stsz.u32(sameSize ? t.sizes.front() : 0);
    stsz.u32(static_cast<uint32_t>(n));
    if (!sameSize) {
        for (uint32_t s : t.sizes)
            stsz.u32(s);
    }
    stbl.children.push_back(leaf("stsz", stsz));

    const bool wide = std::any_of(t.chunks.begin(), t.chunks.end(), [](const Chunk& c) {
        return c.offset > std::numeric_limits<uint32_t>::max();
    });
    Writer stco;
    fullHeader(stco, 0);
    stco.u32(static_cast<uint32_t>(t.chunks.size()));
    for (const Chunk& c : t.chunks) {
        if (wide)
            stco.u64(c.offset);
        else
            stco.u32(static_cast<uint32_t>(c.offset));
    }
    stbl.children.push_back(leaf(wide ? "co64" : "stco", stco));
}

// The edit list: which media time is shown at the start of the movie. The
// muxer starts every track's fragments at 0, so video starts with its first
// picture (after the encoder's reordering delay) and audio after the codec's
// priming: both start together. A track whose first sample comes later
// starts with an empty edit of that length. Returns the track's duration in
// the movie timescale.
int64_t addEditList(const Track& t, const FinishJob& job, uint32_t movieTimescale) {
    int64_t zero = t.firstPts;
    if (t.handler == fourcc("soun"))
        zero = job.audioSampleRate > 0 ? av_rescale(job.audioPrimingSamples, t.timescale, job.audioSampleRate)
                                       : job.audioPrimingSamples;
    auto toMovie = [&](int64_t ticks) {
        // Rounded up: a track of one short sample still lasts one tick.
        return av_rescale_rnd(ticks, movieTimescale, t.timescale, static_cast<AVRounding>(AV_ROUND_UP));
    };
    struct Edit {
        int64_t duration;
        int64_t mediaTime;
    };
    std::vector<Edit> edits;
    int64_t mediaTime = zero;
    if (t.firstPts > zero) {
        edits.push_back({av_rescale(t.firstPts - zero, movieTimescale, t.timescale), -1});
        mediaTime = t.firstPts;
    }
    edits.push_back({toMovie(std::max<int64_t>(t.presentationEnd - mediaTime, 0)), mediaTime});
    int64_t total = 0;
    bool wide = false;
    for (const Edit& e : edits) {
        total += e.duration;
        wide = wide || e.duration > std::numeric_limits<uint32_t>::max() ||
               e.mediaTime > std::numeric_limits<int32_t>::max();
    }
    Writer elst;
    fullHeader(elst, wide ? 1 : 0);
    elst.u32(static_cast<uint32_t>(edits.size()));
    for (const Edit& e : edits) {
        if (wide) {
            elst.u64(static_cast<uint64_t>(e.duration));
            elst.u64(static_cast<uint64_t>(e.mediaTime));
        } else {
            elst.u32(static_cast<uint32_t>(e.duration));
            elst.u32(static_cast<uint32_t>(e.mediaTime));
        }
        elst.u32(0x00010000); // rate 1.0
    }
    Box edts;
    edts.type = fourcc("edts");
    edts.container = true;
    edts.children.push_back(leaf("elst", elst));
    auto& children = t.trak->children;
    std::erase_if(children, [](const Box& b) { return b.type == fourcc("edts"); });
    auto tkhd =
        std::find_if(children.begin(), children.end(), [](const Box& b) { return b.type == fourcc("tkhd"); });
    children.insert(tkhd == children.end() ? children.begin() : tkhd + 1, std::move(edts));
    return total;
}

int refuse(const FinishJob& job, const char* why) {
    log("cannot index %s in place (%s)", job.path.c_str(), why);
    return ME_ERR_ENCODER;
}

} // namespace

int writeIndexAtEnd(const FinishJob& job, IndexStep upTo) {
    FileDescriptor fd(::open(job.path.c_str(), O_RDWR | O_CLOEXEC));
    if (fd.get() < 0)
        return ME_ERR_IO;
    const int64_t onDisk = ::lseek(fd.get(), 0, SEEK_END);
    std::vector<TopBox> top;
    const int64_t fileSize = onDisk > 0 ? scanTopLevel(fd.get(), onDisk, top) : -1;
    if (fileSize <= 0)
        return refuse(job, "its boxes do not add up");
    const auto moovAt =
        std::find_if(top.begin(), top.end(), [](const TopBox& b) { return b.type == fourcc("moov"); });
    if (moovAt == top.end() || moovAt->size < 16 || moovAt->size > kMaxFragmentHeaderBytes ||
        std::count_if(top.begin(), top.end(), [](const TopBox& b) { return b.type == fourcc("moov"); }) != 1)
        return refuse(job, "no single movie header");

    std::vector<uint8_t> bytes(static_cast<size_t>(moovAt->size - moovAt->header));
    Box moov;
    moov.type = fourcc("moov");
    const std::vector<uint32_t> containers{fourcc("moov"), fourcc("trak"), fourcc("mdia"), fourcc("minf"),
                                           fourcc("stbl"), fourcc("mvex"), fourcc("edts")};
    std::vector<Track> tracks;
    if (!readAt(fd.get(), moovAt->offset + moovAt->header, bytes.data(), bytes.size()) ||
        !parseChildren(bytes.data(), bytes.size(), moov, containers) || !readTracks(moov, tracks))
        return refuse(job, "not a fragmented movie header");

    for (const TopBox& b : top) {
        if (b.type != fourcc("moof"))
            continue;
        if (b.offset < moovAt->offset || b.size > kMaxFragmentHeaderBytes)
            return refuse(job, "a fragment out of place");
        bytes.resize(static_cast<size_t>(b.size - b.header));
        Box moof;
        if (!readAt(fd.get(), b.offset + b.header, bytes.data(), bytes.size()) ||
            !parseChildren(bytes.data(), bytes.size(), moof, {fourcc("traf")}))
            return refuse(job, "a broken fragment header");
        for (const Box& traf : moof.children) {
            if (traf.type == fourcc("traf") && !readTrackFragment(traf, b.offset, fileSize, tracks))
                return refuse(job, "a fragment it cannot read");
        }
    }

    uint32_t movieTimescale = 0;
    Box* mvhd = moov.child(fourcc("mvhd"));
    if (!mvhd || !headerWord(*mvhd, movieTimescale) || movieTimescale == 0)
        return refuse(job, "no movie timescale");
    int64_t movieDuration = 0;
    for (Track& t : tracks) {
        Box* mdia = t.trak->child(fourcc("mdia"));
        Box* minf = mdia->child(fourcc("minf"));
        Box* stbl = minf ? minf->child(fourcc("stbl")) : nullptr;
        if (!stbl)
            return refuse(job, "a track without a sample table");
        closeLastSample(t);
        fillSampleTable(t, *stbl);
        const int64_t mediaDuration = t.sizes.empty() ? 0 : t.nextDts - t.firstDts;
        if (!setDuration(*mdia->child(fourcc("mdhd")), 4, static_cast<uint64_t>(mediaDuration)))
            return refuse(job, "a short media header");
        // Adding the edit list moves the track's boxes: no pointer into it
        // survives this line.
        const int64_t trackDuration = t.sizes.empty() ? 0 : addEditList(t, job, movieTimescale);
        if (!setDuration(*t.trak->child(fourcc("tkhd")), 8, static_cast<uint64_t>(trackDuration)))
            return refuse(job, "a short track header");
        movieDuration = std::max(movieDuration, trackDuration);
    }
    if (!setDuration(*mvhd, 4, static_cast<uint64_t>(movieDuration)))
        return refuse(job, "a short movie header");
    moov.removeChildren(fourcc("mvex"));

    Writer out;
    writeBox(moov, out);
    // What a killed writer left cut short goes first: the fragments before it
    // still play.
    if (fileSize < onDisk && ::ftruncate(fd.get(), fileSize) != 0)
        return ME_ERR_IO;
    // Step 2: a second movie header after everything; the first still rules.
    if (!writeAt(fd.get(), fileSize, out.bytes().data(), out.bytes().size())) {
        log("cannot write the index of %s; it stays fragmented", job.path.c_str());
        if (::ftruncate(fd.get(), fileSize) != 0)
            log("cannot cut %s back to its fragments", job.path.c_str());
        return ME_ERR_IO;
    }
    if (upTo == IndexStep::AppendOnly)
        return ME_OK;
    // Step 3: one write, within one page, makes the old header, the fragment
    // headers and the media the payload of a single media-data box.
    const uint64_t span = static_cast<uint64_t>(fileSize - moovAt->offset);
    Writer head;
    if (span <= std::numeric_limits<uint32_t>::max()) {
        head.u32(static_cast<uint32_t>(span));
        head.u32(fourcc("mdat"));
    } else {
        head.u32(1);
        head.u32(fourcc("mdat"));
        head.u64(span);
    }
    if (!writeAt(fd.get(), moovAt->offset, head.bytes().data(), head.bytes().size())) {
        log("cannot write the index of %s; it stays fragmented", job.path.c_str());
        return ME_ERR_IO;
    }
    return ME_OK;
}

} // namespace me
