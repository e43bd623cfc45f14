#include "overlays/PictureBlend.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

// Each of the four bytes of `x` times a / 255, rounded, two bytes at a time.
inline uint32_t scaleBytes(uint32_t x, uint32_t a) {
    uint32_t lowPair = (x & 0x00ff00ffu) * a + 0x00800080u;
    lowPair = ((lowPair + ((lowPair >> 8) & 0x00ff00ffu)) >> 8) & 0x00ff00ffu;
    uint32_t highPair = ((x >> 8) & 0x00ff00ffu) * a + 0x00800080u;
    highPair = (highPair + ((highPair >> 8) & 0x00ff00ffu)) & 0xff00ff00u;
    return highPair | lowPair;
}

// Source-over of one premultiplied pixel onto the 4 bytes at `dst`. Frame
// rows need not be 4-byte aligned (odd strides): go through memcpy.
inline void blendPixel(uint32_t s, uint8_t* dst) {
    const uint32_t alpha = s >> 24;
    if (alpha == 0)
        return;
    uint32_t d = s;
    if (alpha != 255) {
        std::memcpy(&d, dst, 4);
        d = s + scaleBytes(d, 255 - alpha);
    }
    std::memcpy(dst, &d, 4);
}

#ifdef __SSE2__
// The same for four pixels at once, with the same rounding.
inline void blendFour(const uint32_t* src, uint8_t* dst) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
    const __m128i alpha = _mm_srli_epi32(s, 24);
    const int clear = _mm_movemask_epi8(_mm_cmpeq_epi32(alpha, zero));
    if (clear == 0xffff)
        return;
    const __m128i full = _mm_set1_epi32(255);
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(alpha, full)) == 0xffff) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), s);
        return;
    }
    __m128i inverse = _mm_sub_epi32(full, alpha);
    inverse = _mm_or_si128(inverse, _mm_slli_epi32(inverse, 16));
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dst));
    const __m128i half = _mm_set1_epi16(128);
    auto scale = [&](__m128i channels, __m128i factor) {
        __m128i t = _mm_add_epi16(_mm_mullo_epi16(channels, factor), half);
        return _mm_srli_epi16(_mm_add_epi16(t, _mm_srli_epi16(t, 8)), 8);
    };
    const __m128i low = scale(_mm_unpacklo_epi8(d, zero), _mm_unpacklo_epi32(inverse, inverse));
    const __m128i high = scale(_mm_unpackhi_epi8(d, zero), _mm_unpackhi_epi32(inverse, inverse));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_add_epi8(s, _mm_packus_epi16(low, high)));
}
#endif

} // namespace

void blendPicture(const PixelBufferView& frame, const QImage& picture, PixelPosition topLeft) {
    if (!frame.data || picture.isNull() || picture.format() != QImage::Format_ARGB32_Premultiplied)
        return;
    const int firstColumn = std::max(0, -topLeft.column);
    const int firstRow = std::max(0, -topLeft.row);
    const int endColumn = std::min(picture.width(), frame.width - topLeft.column);
    const int endRow = std::min(picture.height(), frame.height - topLeft.row);
    if (firstColumn >= endColumn || firstRow >= endRow)
        return;

    for (int row = firstRow; row < endRow; ++row) {
        const auto* src = reinterpret_cast<const uint32_t*>(picture.constScanLine(row));
        uint8_t* dst = frame.row(topLeft.row + row) + static_cast<std::ptrdiff_t>(topLeft.column) * 4;
        int column = firstColumn;
#ifdef __SSE2__
        for (; column + 4 <= endColumn; column += 4)
            blendFour(src + column, dst + static_cast<std::ptrdiff_t>(column) * 4);
#endif
        for (; column < endColumn; ++column)
            blendPixel(src[column], dst + static_cast<std::ptrdiff_t>(column) * 4);
    }
}
