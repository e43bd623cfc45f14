#include "Mp4Box.h"

#include <algorithm>

namespace me::mp4 {

uint64_t Reader::take(size_t n) {
    if (n > size_ - pos_) {
        fail();
        return 0;
    }
    uint64_t v = 0;
    for (size_t i = 0; i < n; ++i)
        v = v << 8 | data_[pos_ + i];
    pos_ += n;
    return v;
}

void Writer::put(uint64_t v, int n) {
    for (int i = n - 1; i >= 0; --i)
        bytes_.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

size_t Writer::begin(uint32_t type) {
    const size_t start = bytes_.size();
    u32(0);
    u32(type);
    return start;
}

size_t Writer::beginFull(uint32_t type, uint8_t version, uint32_t flags) {
    const size_t start = begin(type);
    u32(static_cast<uint32_t>(version) << 24 | (flags & 0xffffff));
    return start;
}

void Writer::end(size_t start) {
    const uint64_t size = bytes_.size() - start;
    for (int i = 0; i < 4; ++i)
        bytes_[start + i] = static_cast<uint8_t>(size >> (8 * (3 - i)));
}

Box* Box::child(uint32_t t) {
    auto it = std::find_if(children.begin(), children.end(), [t](const Box& b) { return b.type == t; });
    return it == children.end() ? nullptr : &*it;
}

const Box* Box::child(uint32_t t) const {
    return const_cast<Box*>(this)->child(t);
}

void Box::removeChildren(uint32_t t) {
    std::erase_if(children, [t](const Box& b) { return b.type == t; });
}

bool parseChildren(const uint8_t* data, size_t size, Box& parent, const std::vector<uint32_t>& containers) {
    parent.container = true;
    Reader r(data, size);
    while (r.left() > 0) {
        const size_t start = r.pos();
        uint64_t boxSize = r.u32();
        const uint32_t type = r.u32();
        if (boxSize == 1)
            boxSize = r.u64();
        else if (boxSize == 0)
            boxSize = size - start;
        const size_t header = r.pos() - start;
        if (!r.ok() || boxSize < header || boxSize > size - start)
            return false;
        Box box;
        box.type = type;
        const uint8_t* body = data + start + header;
        const size_t bodySize = static_cast<size_t>(boxSize) - header;
        if (std::find(containers.begin(), containers.end(), type) != containers.end()) {
            if (!parseChildren(body, bodySize, box, containers))
                return false;
        } else {
            box.payload.assign(body, body + bodySize);
        }
        parent.children.push_back(std::move(box));
        r.skip(bodySize);
    }
    return true;
}

void writeBox(const Box& box, Writer& out) {
    const size_t start = out.begin(box.type);
    if (box.container) {
        for (const Box& c : box.children)
            writeBox(c, out);
    } else {
        out.append(box.payload);
    }
    out.end(start);
}

} // namespace me::mp4
