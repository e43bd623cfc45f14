#include "engine/capture/RowBands.h"

#include <algorithm>
#include <limits>

void RowBands::add(int first, int end, int height) {
    first = std::max(first, 0);
    end = std::min(end, height);
    if (first >= end)
        return;
    // The bands that touch or overlap [first, end) fold into it.
    auto begin = std::lower_bound(bands_.begin(), bands_.end(), first,
                                  [](const Band& b, int row) { return b.end < row; });
    auto stop = begin;
    while (stop != bands_.end() && stop->first <= end) {
        first = std::min(first, stop->first);
        end = std::max(end, stop->end);
        ++stop;
    }
    const auto at = bands_.erase(begin, stop);
    bands_.insert(at, Band{first, end});
}

void RowBands::add(const RowBands& other, int height) {
    for (const Band& b : other.bands_)
        add(b.first, b.end, height);
}

int64_t RowBands::rowCount() const {
    int64_t rows = 0;
    for (const Band& b : bands_)
        rows += b.end - b.first;
    return rows;
}

void RowBands::limitTo(std::size_t maxBands) {
    maxBands = std::max<std::size_t>(maxBands, 1);
    while (bands_.size() > maxBands) {
        std::size_t narrowest = 0;
        int gap = std::numeric_limits<int>::max();
        for (std::size_t i = 0; i + 1 < bands_.size(); ++i) {
            if (bands_[i + 1].first - bands_[i].end < gap) {
                gap = bands_[i + 1].first - bands_[i].end;
                narrowest = i;
            }
        }
        bands_[narrowest].end = bands_[narrowest + 1].end;
        bands_.erase(bands_.begin() + static_cast<std::ptrdiff_t>(narrowest) + 1);
    }
}
