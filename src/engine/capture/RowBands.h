#pragma once

#include <cstdint>
#include <vector>

// A set of picture rows, kept as sorted, disjoint bands [first, end). Screen
// sources use it to remember which rows of a frame buffer no longer show the
// screen (the screen changed there, or decorations were drawn there), so
// that the buffer is brought up to date by grabbing those rows alone: whole
// rows, because a band of whole rows is one contiguous block of the buffer
// and one request to the server.
//
// Not thread-safe; owned by one thread at a time.
class RowBands {
public:
    struct Band {
        int first = 0;
        int end = 0; // one past the last row
        bool operator==(const Band&) const = default;
    };

    // Adds rows [first, end), clipped to [0, height); merges what touches.
    void add(int first, int end, int height);
    void add(const RowBands& other, int height);
    void addAll(int height) { add(0, height, height); }
    void clear() { bands_.clear(); }

    bool operator==(const RowBands&) const = default;
    bool empty() const { return bands_.empty(); }
    const std::vector<Band>& bands() const { return bands_; }
    int64_t rowCount() const;

    // Joins the bands separated by the smallest gaps until at most
    // `maxBands` remain: a few more rows grabbed cost less than a round
    // trip to the server each.
    void limitTo(std::size_t maxBands);

private:
    std::vector<Band> bands_;
};
