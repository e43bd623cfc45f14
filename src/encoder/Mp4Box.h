#pragma once

// Just enough of the ISO base media file format (MP4, MOV, M4A) to read the
// fragments this library writes and to write an ordinary index for them.
// Everything is big-endian. Any thread; no shared state.

#include <cstdint>
#include <string_view>
#include <vector>

namespace me::mp4 {

constexpr uint32_t fourcc(std::string_view s) {
    return static_cast<uint32_t>(static_cast<unsigned char>(s[0])) << 24 |
           static_cast<uint32_t>(static_cast<unsigned char>(s[1])) << 16 |
           static_cast<uint32_t>(static_cast<unsigned char>(s[2])) << 8 |
           static_cast<uint32_t>(static_cast<unsigned char>(s[3]));
}

// Reads from a byte range; every read past the end fails softly: ok() turns
// false and the value is 0, so a parser checks once at the end of a box.
class Reader {
public:
    Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    explicit Reader(const std::vector<uint8_t>& bytes) : Reader(bytes.data(), bytes.size()) {}

    uint8_t u8() { return static_cast<uint8_t>(take(1)); }
    uint32_t u24() { return static_cast<uint32_t>(take(3)); }
    uint32_t u32() { return static_cast<uint32_t>(take(4)); }
    uint64_t u64() { return take(8); }
    void skip(size_t n) {
        if (n <= size_ - pos_)
            pos_ += n;
        else
            fail();
    }
    bool ok() const { return ok_; }
    size_t pos() const { return pos_; }
    size_t left() const { return size_ - pos_; }
    const uint8_t* here() const { return data_ + pos_; }

private:
    uint64_t take(size_t n);
    void fail() {
        ok_ = false;
        pos_ = size_;
    }
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
    bool ok_ = true;
};

class Writer {
public:
    void u8(uint8_t v) { bytes_.push_back(v); }
    void u16(uint16_t v) { put(v, 2); }
    void u32(uint32_t v) { put(v, 4); }
    void u64(uint64_t v) { put(v, 8); }
    void append(const uint8_t* data, size_t n) { bytes_.insert(bytes_.end(), data, data + n); }
    void append(const std::vector<uint8_t>& data) { append(data.data(), data.size()); }
    // Opens a box whose size is filled in by end().
    size_t begin(uint32_t type);
    size_t beginFull(uint32_t type, uint8_t version, uint32_t flags);
    void end(size_t start);
    std::vector<uint8_t>& bytes() { return bytes_; }

private:
    void put(uint64_t v, int n);
    std::vector<uint8_t> bytes_;
};

// A box kept in memory: containers hold their children, leaves their payload
// (everything after the 8-byte header).
struct Box {
    uint32_t type = 0;
    std::vector<uint8_t> payload;
    std::vector<Box> children;
    bool container = false;

    Box* child(uint32_t t);
    const Box* child(uint32_t t) const;
    void removeChildren(uint32_t t);
};

// Parses the payload of a container box; the boxes named in `containers`
// are descended into, the rest kept whole. False when a size is broken.
bool parseChildren(const uint8_t* data, size_t size, Box& parent, const std::vector<uint32_t>& containers);
void writeBox(const Box& box, Writer& out);

} // namespace me::mp4
