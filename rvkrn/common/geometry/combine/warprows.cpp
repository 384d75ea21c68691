// The pixels of a warp: the nearest one, or the blend of four, at every depth.
#include "internal/pixels.h"
#include "internal/warp_.h"

namespace rv {
namespace {

constexpr uint32_t kOne = 65536, kHalf = kOne / 2;

struct Parts {
    uint64_t x, y;
};

// The weighted sum of four samples, times 2^32. Samples of 32 bits just fit.
inline uint64_t weighted(uint64_t a, uint64_t b, uint64_t c, uint64_t d, Parts part) noexcept {
    return (a * (kOne - part.x) + b * part.x) * (kOne - part.y) + (c * (kOne - part.x) + d * part.x) * part.y;
}
inline uint64_t blended(uint64_t a, uint64_t b, uint64_t c, uint64_t d, Parts part) noexcept {
    return weighted(a, b, c, d, part) >> 32;
}

template <int Bits>
void nearestRow(const WarpSource& source, const WarpPlaces& places, size_t nFirst, size_t nEnd, uint8_t* pRow,
                size_t nCol, uint32_t) noexcept {
    for (size_t i = nFirst; i < nEnd; ++i) {
        const auto x = size_t(places.x[i] + int32_t(places.xPart[i] >= kHalf));
        const int32_t y = places.y[i] + int32_t(places.yPart[i] >= kHalf);
        Pixel<Bits>::put(pRow, nCol + (i - nFirst), Pixel<Bits>::get(source.row(y), x));
    }
}

// Calls f(row above, row below, column left, column right, fractions, destination column) for each pixel.
template <class F>
inline void eachFour(const WarpSource& source, const WarpPlaces& places, size_t nFirst, size_t nEnd, size_t nCol,
                     F f) noexcept {
    for (size_t i = nFirst; i < nEnd; ++i) {
        const Parts part{places.xPart[i], places.yPart[i]};
        const auto x = size_t(places.x[i]);
        f(source.row(places.y[i]), source.row(places.y[i] + (part.y != 0)), x, x + (part.x != 0), part,
          nCol + (i - nFirst));
    }
}

// Pixels of one sample. Signed ones are moved to where they are ordered as unsigned ones.
template <int Bits>
void blendRow(const WarpSource& source, const WarpPlaces& places, size_t nFirst, size_t nEnd, uint8_t* pRow,
              size_t nCol, uint32_t uSignBit) noexcept {
    eachFour(source, places, nFirst, nEnd, nCol,
             [=](const uint8_t* p, const uint8_t* q, size_t x0, size_t x1, Parts part, size_t nTo) {
                 using P = Pixel<Bits>;
                 const uint64_t sum = weighted(P::get(p, x0) ^ uSignBit, P::get(p, x1) ^ uSignBit,
                                               P::get(q, x0) ^ uSignBit, P::get(q, x1) ^ uSignBit, part);
                 const uint64_t v = Bits == 1 ? sum >> 31 : sum >> 32;  // a bit is set from half the weight on
                 P::put(pRow, nTo, typename P::Value((Bits == 1 ? uint64_t(v != 0) : v) ^ uSignBit));
             });
}

template <int Samples, class T>
void blendSamples(const WarpSource& source, const WarpPlaces& places, size_t nFirst, size_t nEnd, uint8_t* pRow,
                  size_t nCol, uint32_t uSignBit) noexcept {
    eachFour(source, places, nFirst, nEnd, nCol,
             [=](const uint8_t* p, const uint8_t* q, size_t x0, size_t x1, Parts part, size_t nTo) {
                 constexpr size_t kBytes = Samples * sizeof(T);
                 const auto at = [uSignBit](const uint8_t* r, size_t x, size_t k) {
                     return uint64_t(loadLittle<T>(r + x * kBytes + k * sizeof(T)) ^ uSignBit);
                 };
                 for (size_t k = 0; k < Samples; ++k)
                     storeLittle(pRow + nTo * kBytes + k * sizeof(T),
                                 T(blended(at(p, x0, k), at(p, x1, k), at(q, x0, k), at(q, x1, k), part) ^ uSignBit));
             });
}

// Three samples of 5 bits; the bit above them is the nearest pixel's.
void blend555(const WarpSource& source, const WarpPlaces& places, size_t nFirst, size_t nEnd, uint8_t* pRow,
              size_t nCol, uint32_t) noexcept {
    eachFour(source, places, nFirst, nEnd, nCol,
             [=](const uint8_t* p, const uint8_t* q, size_t x0, size_t x1, Parts part, size_t nTo) {
                 using P = Pixel<16>;
                 const uint32_t a = P::get(p, x0), b = P::get(p, x1), c = P::get(q, x0), d = P::get(q, x1);
                 const bool bRight = part.x >= kHalf, bBelow = part.y >= kHalf;
                 uint32_t v = (bBelow ? bRight ? d : c : bRight ? b : a) & 0x8000;
                 for (int n = 0; n < 15; n += 5)
                     v |= uint32_t(blended(a >> n & 31, b >> n & 31, c >> n & 31, d >> n & 31, part)) << n;
                 P::put(pRow, nTo, v);
             });
}

}  // namespace

WarpKernel warpKernel(const BITMAPRECORD& bm, bool bBlend) noexcept {
    return visitDepth(bm.BitsPerPixel, [&](auto bits) -> WarpKernel {
        const bool bGray = bm.Order == ORDER_GRAY;
        if (!bBlend) return nearestRow<bits>;
        if constexpr (bits == 24) return blendSamples<3, uint8_t>;
        if constexpr (bits == 48) return blendSamples<3, uint16_t>;
        if constexpr (bits == 64) return blendSamples<4, uint16_t>;
        if constexpr (bits == 16)
            if (!bGray) return blend555;
        if constexpr (bits == 32)
            if (!bGray) return blendSamples<4, uint8_t>;
        if constexpr (bits <= 32) return blendRow<bits>;
        return nullptr;
    });
}

uint32_t signBit(const BITMAPRECORD& bm) noexcept {
    if (!(bm.Flags & BMF_SIGNED) || bm.BitsPerPixel < 12 || bm.BitsPerPixel == 24) return 0;
    if (bm.BitsPerPixel <= 32) return bm.Order == ORDER_GRAY ? 1u << (bm.BitsPerPixel - 1) : 0;
    return 0x8000;
}

}  // namespace rv
