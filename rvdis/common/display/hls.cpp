// Hue, lightness, saturation.
#include <algorithm>

#include "internal/colorspace_.h"
#include "internal/pixels.h"
#include "internal/rowblocks.h"

namespace rv {
namespace {

// Scales of the two sample sizes. The wider one is reckoned in whole numbers of 64 bits: truncated, they are what
// double precision makes of quotients whose divisors are so small.
template <class T>
struct Scale;
template <>
struct Scale<uint8_t> {
    using Wide = int32_t;
    static constexpr Wide kFull = 255, kHalf = 127, kThird = 85, kSixth = 43, kMiddle = 128, kFourSixths = 171;
};
template <>
struct Scale<uint16_t> {
    using Wide = int64_t;
    static constexpr Wide kFull = 65535, kHalf = 32767, kThird = 21845, kSixth = 10922, kMiddle = 32768,
                          kFourSixths = 43690;
};

template <class T>
void hlsRow(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    using S = Scale<T>;
    using Wide = typename S::Wide;
    eachPixel<3 * sizeof(T), 3 * sizeof(T)>(src, dst, n, [](const uint8_t* p, uint8_t* d) {
        const Wide b = loadLittle<T>(p), g = loadLittle<T>(p + sizeof(T)), r = loadLittle<T>(p + 2 * sizeof(T));
        const Wide nLeast = std::min({b, g, r}), nMost = std::max({b, g, r}), nSpan = nMost - nLeast;
        const Wide nSum = nLeast + nMost, l = nSum >> 1;
        Wide h = 0, s = 0;
        if (nSpan) {  // never so small against the divisor that saturation would be 0
            s = nSpan * S::kFull / (l <= S::kHalf ? nSum : 2 * S::kFull - nSum);
            if (nMost == r)
                h = (g - b) * S::kFull / (6 * nSpan);
            else if (nMost == g)
                h = (b - r) * S::kFull / (6 * nSpan) + S::kThird;
            else
                h = (r - g) * S::kFull / (6 * nSpan) + 2 * S::kThird;
            if (h < 0) h += S::kFull;
        }
        storeLittle(d, T(h)), storeLittle(d + sizeof(T), T(l)), storeLittle(d + 2 * sizeof(T), T(s));
    });
}

// The channel at a place of the circle, between nLow and nHigh.
template <class S, class Wide = typename S::Wide>
Wide channelAt(Wide t, Wide nLow, Wide nHigh) noexcept {
    if (t < S::kSixth) return std::min(nLow + (nHigh - nLow) * t * 6 / S::kFull, S::kFull);
    if (t < S::kMiddle) return nHigh;
    if (t < S::kFourSixths) return std::min(nLow + (4 * S::kFull - 6 * t) * (nHigh - nLow) / S::kFull, S::kFull);
    return nLow;
}

template <class T>
void bgrRow(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    using S = Scale<T>;
    using Wide = typename S::Wide;
    eachPixel<3 * sizeof(T), 3 * sizeof(T)>(src, dst, n, [](const uint8_t* p, uint8_t* d) {
        const Wide h = loadLittle<T>(p), l = loadLittle<T>(p + sizeof(T)), s = loadLittle<T>(p + 2 * sizeof(T));
        Wide b = l, g = l, r = l;
        if (s) {
            const Wide nHigh = l <= S::kHalf ? (s + S::kFull) * l / S::kFull : s - s * l / S::kFull + l;
            const Wide nLow = 2 * l - nHigh;
            const Wide tRed = h + S::kThird, tBlue = h - S::kThird;
            r = channelAt<S>(tRed > S::kFull ? tRed - S::kFull : tRed, nLow, nHigh);
            g = channelAt<S>(h, nLow, nHigh);
            b = channelAt<S>(tBlue < 0 ? tBlue + S::kFull : tBlue, nLow, nHigh);
        }
        storeLittle(d, T(b)), storeLittle(d + sizeof(T), T(g)), storeLittle(d + 2 * sizeof(T), T(r));
    });
}

}  // namespace

void hlsFromBgr8(const uint8_t* src, uint8_t* dst, size_t n) noexcept { hlsRow<uint8_t>(src, dst, n); }
void hlsFromBgr16(const uint8_t* src, uint8_t* dst, size_t n) noexcept { hlsRow<uint16_t>(src, dst, n); }
void bgrFromHls8(const uint8_t* src, uint8_t* dst, size_t n) noexcept { bgrRow<uint8_t>(src, dst, n); }
void bgrFromHls16(const uint8_t* src, uint8_t* dst, size_t n) noexcept { bgrRow<uint16_t>(src, dst, n); }

}  // namespace rv
