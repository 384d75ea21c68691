// Nearest columns: which pixels of a row the pixels of a resized row are.
#pragma once

#include <numeric>

#include "internal/pixels.h"
#include "internal/rvclasses_.h"

namespace rv {

// How an axis is walked, by quotient and remainder over the new length. Each pixel adds nRem; a carry at nDenominator
// moves one further than nStep. An axis that keeps its length or grows moves on the carry alone, so its step is 0.
struct AxisSteps {
    int32_t nStep, nRem, nDenominator;
    bool bEnlarge;
};
constexpr AxisSteps axisSteps(int32_t nOld, int32_t nNew) noexcept {
    if (nOld == nNew) return {0, nNew, nNew, true};
    return {nOld / nNew, nOld % nNew, nNew, nNew > nOld};
}

// A place on the old axis, that goes along with the pixels of the new one.
struct AxisWalk {
    int64_t nStep, nRem, nDenominator;
    int64_t nAt = 0, nAcc = 0;

    explicit AxisWalk(const AxisSteps& steps) noexcept
        : nStep(steps.nStep), nRem(steps.nRem), nDenominator(steps.nDenominator) {}
    AxisWalk(int64_t at, int64_t step, int64_t acc, int64_t rem, int64_t denominator) noexcept
        : nStep(step), nRem(rem), nDenominator(denominator), nAt(at), nAcc(acc) {}

    // From a place on the new axis on; old places count from nOldFirst.
    AxisWalk(int32_t nOld, int32_t nNew, int64_t nFirst, int64_t nOldFirst) noexcept : AxisWalk(axisSteps(nOld, nNew)) {
        nAt = nFirst * nOld / nNew - nOldFirst;
        nAcc = nFirst * nOld % nNew;
    }

    // The place, and a step from it.
    size_t next() noexcept {
        const int64_t nHere = nAt;
        nAcc += nRem;
        const bool bCarry = nAcc >= nDenominator;
        nAcc -= bCarry ? nDenominator : 0;
        nAt += nStep + bCarry;
        return size_t(nHere);
    }
};

// Writes n pixels from the columns that next() gives. Each is read before its place is written, and no place behind it
// is touched, so that a row may shrink in place. The bits behind the last pixel become 0 below 8 bits.
template <int Bits, class Next>
[[gnu::always_inline]] inline void pickPixels(const uint8_t* src, uint8_t* dst, size_t n, Next next) noexcept {
    if constexpr (Bits < 8) {
        // As many pixels as fill whole bytes are packed at once.
        constexpr size_t kPixels = 8 / std::gcd(8, Bits), kBytes = kPixels * Bits / 8;
        const auto pack = [&](size_t nPixels, size_t nBytes) {
            uint64_t v = 0;
            for (size_t i = 0; i < nPixels; ++i) v = v << Bits | Pixel<Bits>::get(src, next());
            v <<= (kPixels - nPixels) * Bits;
            for (size_t i = 0; i < nBytes; ++i) *dst++ = uint8_t(v >> (kBytes - 1 - i) * 8);
        };
        for (; n >= kPixels; n -= kPixels) pack(kPixels, kBytes);
        if (n) pack(n, (n * Bits + 7) / 8);
    } else if constexpr (Bits == 12) {
        for (; n >= 2; n -= 2, dst += 3) {
            const uint32_t nFirst = Pixel<12>::get(src, next()), v = nFirst | Pixel<12>::get(src, next()) << 12;
            storeLittle(dst, uint16_t(v));
            dst[2] = uint8_t(v >> 16);
        }
        if (n) Pixel<12>::put(dst, 0, Pixel<12>::get(src, next()));
    } else {
        for (size_t i = 0; i < n; ++i) Pixel<Bits>::put(dst, i, Pixel<Bits>::get(src, next()));
    }
}

// Clears what stands behind n packed pixels in the nBytes bytes of a row, where the depth isn't whole bytes.
void clearBehindPixels(int32_t nBits, uint8_t* pRow, size_t n, size_t nBytes) noexcept;

// The kernel that makes n pixels of every nStep-th one; null where there is none. It reads nothing behind the last
// pixel that it takes, or its byte. The rows don't overlap.
using EveryNthRow = void (*)(const uint8_t* src, uint8_t* dst, size_t n) noexcept;
EveryNthRow everyNthRow(int32_t nBits, int32_t nStep) noexcept;

// The columns of a picture's rows, worked out once.
class NearestColumns {
    using Row = void (*)(const uint8_t* src, uint8_t* dst, const uint32_t* places, size_t n, size_t nInside) noexcept;

    EveryNthRow m_every = nullptr;
    Row m_row = nullptr;
    Buffer<uint32_t> m_places;  // bytes; columns where pixels aren't whole bytes
    size_t m_n = 0, m_nInside = 0;
    int32_t m_nBits = 0;

public:
    // 1, or -1 for no memory.
    int32_t prepare(int32_t nBits, int32_t nOldWidth, int32_t nNewWidth) noexcept {
        return prepare(nBits, nOldWidth, nNewWidth, 0, nNewWidth, 0, nOldWidth);
    }
    // The same of nCount new columns from nCol on, and of rows that hold the old ones from nOldCol to nOldEnd,
    // exclusive.
    int32_t prepare(int32_t nBits, int32_t nOldWidth, int32_t nNewWidth, int32_t nCol, int32_t nCount, int32_t nOldCol,
                    int32_t nOldEnd) noexcept;
    // Makes a row of nDstBytes bytes; the rows don't overlap. Bits behind the last pixel become 0 where pixels aren't
    // whole bytes.
    void apply(const uint8_t* src, uint8_t* dst, size_t nDstBytes) const noexcept;
};

}  // namespace rv
