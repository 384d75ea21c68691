// Rows of pixels as masks: a bit for each pixel, set where the pixel passes a test. Pixel i is bit i % 64 of word i /
// 64; the bits past the row are 0.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace rv {

constexpr uint64_t maskWords(uint64_t nPixels) noexcept { return (nPixels + 63) / 64; }

// ---- tests -------------------------------------------------------------------------------------------------------

// Palette indices that pass.
struct IndexTest {
    uint8_t flags[256] = {};      // 0 or 1
    uint8_t columns[2][16] = {};  // the same by low digit: bit k of half h stands for the high digit 8 h + k
    void pass(uint32_t i) noexcept {
        flags[i] = 1;
        columns[i >> 7][i & 15] |= uint8_t(1 << (i >> 4 & 7));
    }
};

// Three bytes that lie within limits, whatever a fourth one is.
struct ByteTest {
    enum Kind {
        kBox,    // each within its own
        kStops,  // and none is its stop
        kEither  // the second and the third within their own, and the first within its own or the third within the last
    };
    Kind kind = kBox;
    uint8_t low[4] = {}, high[4] = {}, stop[4] = {};

    static bool within(uint8_t c, uint8_t nLow, uint8_t nHigh) noexcept { return nLow <= c && c <= nHigh; }
    bool within(int i, uint8_t c) const noexcept { return within(c, low[i], high[i]); }
    bool passes(uint8_t c0, uint8_t c1, uint8_t c2) const noexcept {
        const bool bFirst = within(0, c0) || (kind == kEither && within(3, c2));
        const bool bStop = kind == kStops && (c0 == stop[0] || c1 == stop[1] || c2 == stop[2]);
        return bFirst && within(1, c1) && within(2, c2) && !bStop;
    }
};

// Words that lie within limits and are none of the stops. Signed ones are shifted to the top first; their limits are in
// the same form as they are then: shifted, with the sign bit the other way round.
struct WordTest {
    uint16_t low = 0, high = 0;
    uint16_t uFlip = 0;
    int32_t nShift = 0;
    bool bStops = false;
    uint16_t stop[3] = {};

    bool passes(uint16_t v) const noexcept {
        const auto t = uint16_t((v << nShift) ^ uFlip);
        return low <= t && t <= high && !(bStops && (v == stop[0] || v == stop[1] || v == stop[2]));
    }
};

// ---- kernels -----------------------------------------------------------------------------------------------------

// The kernels read n pixels and write maskWords(n) words.
struct MaskOps {
    using Indices = void (*)(const uint8_t* pRow, uint64_t* pMask, size_t n, const IndexTest& test) noexcept;
    using Bytes = void (*)(const uint8_t* pRow, uint64_t* pMask, size_t n, const ByteTest& test) noexcept;
    using Words = void (*)(const uint8_t* pRow, uint64_t* pMask, size_t n, const WordTest& test) noexcept;
    using Spans = int32_t* (*)(const uint64_t* pMask, size_t n, int32_t* pSpans) noexcept;

    Indices indices[9];  // by depth, 1 to 8
    Bytes bytes24[3];    // by kind
    Bytes bytes32[2];    // kBox and kStops
    Words words16;
    // Left and right of each stretch of set bits, into room for as many values as there are pixels, rounded up to a
    // pair; the end of what was written.
    Spans spans;
};
extern const MaskOps kPlainMasks;
const MaskOps& bestMasks() noexcept;

}  // namespace rv
