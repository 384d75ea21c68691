// Grey levels: cutting them out of samples, making them of colours, bringing them to another scale; and the rows of
// 12, 16 and 32-bit samples made of that.
#include "internal/grayrows.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "internal/simd.h"

namespace rv {

// ---- levels out of samples ---------------------------------------------------------------------------------------

RV_CLONES void cutLevel(RowWork& w, size_t n) noexcept {
    const uint32_t nShift = w.source.nShift, uMask = w.source.mask();
    for (size_t i = 0; i < n; ++i) w.level[i] = nShift > 31 ? 0 : w.level[i] >> nShift & uMask;
}

RV_CLONES void cutSignedLevel(RowWork& w, size_t n) noexcept {
    const int32_t nShift = int32_t(w.source.nShift > 31 ? 31 : w.source.nShift);
    const uint32_t uMask = w.source.mask();
    for (size_t i = 0; i < n; ++i) w.level[i] = uint16_t(int16_t(w.level[i]) >> nShift) & uMask;
}

RV_CLONES void shiftLevelDown(RowWork& w, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) w.level[i] >>= w.nShift;
}

// ---- levels out of colours ---------------------------------------------------------------------------------------

RV_CLONES void colorToGray(RowWork& w, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) w.level[i] = grayOf(w.color[i].b, w.color[i].g, w.color[i].r);
}

RV_CLONES void wideToGray(RowWork& w, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) w.level[i] = grayOf(w.wide[i].b, w.wide[i].g, w.wide[i].r);
}

// ---- other scales ------------------------------------------------------------------------------------------------

// A quotient of integers below 2^53 is as exact in floating point, once truncated, as in integers, and vectors divide
// that way.
RV_CLONES void scaleLevel(RowWork& w, size_t n) noexcept {
    const double dFull = w.nFull, dMask = w.source.mask();
    for (size_t i = 0; i < n; ++i) w.level[i] = uint32_t(int32_t(int32_t(w.level[i]) * dFull / dMask));
}

void scaleLevelWide(RowWork& w, size_t n) noexcept {
    const uint64_t nFull = w.nFull;
    const uint32_t uMask = w.source.mask();
    for (size_t i = 0; i < n; ++i) w.level[i] = uint32_t(w.level[i] * nFull / uMask);
}

namespace {

// Grey of full scale nWhite to nBits, then up by nUp. Only depth 32 keeps more than 16 bits.
template <uint32_t nWhite>
void placeOf(RowWork& w, size_t n) noexcept {
    const uint32_t nUp = w.target.nShift, nFull = w.target.mask();
    if (nFull <= 65535 && nUp < 16)
        for (size_t i = 0; i < n; ++i) w.level[i] = w.level[i] * nFull / nWhite << nUp;
    else
        for (size_t i = 0; i < n; ++i) w.level[i] = uint32_t(uint64_t(w.level[i]) * nFull / nWhite << nUp);
}

}  // namespace

void placeGray(RowWork& w, size_t n) noexcept {
    const uint32_t nBits = w.target.nBits, nUp = w.target.nShift;
    if (nBits > 8) return placeOf<255>(w, n);
    for (size_t i = 0; i < n; ++i) w.level[i] = uint32_t(uint64_t(w.level[i] >> (8 - nBits)) << nUp);
}

void placeTableGray(RowWork& w, size_t n) noexcept { placeOf<65535>(w, n); }

void placeWideGray(RowWork& w, size_t n) noexcept {
    const uint32_t nDown = 16 - w.target.nBits, nUp = w.target.nShift;
    for (size_t i = 0; i < n; ++i) w.level[i] = uint32_t(uint64_t(w.level[i] >> nDown) << nUp);
}

// As it has always been: the shift down is that of a 32-bit grey.
void placeWideGray32(RowWork& w, size_t n) noexcept {
    const uint32_t nDown = 32 - w.target.nBits, nUp = w.target.nShift;
    for (size_t i = 0; i < n; ++i) w.level[i] = uint32_t(uint64_t(w.level[i] >> nDown) << nUp) * 65537u;
}

void moveSample(RowWork& w, size_t n) noexcept {
    const uint32_t nUp = w.target.nShift, nBits = w.target.nBits;
    const uint32_t nDown = w.nShift > nBits ? w.nShift - nBits : 0, nWiden = w.nShift > nBits ? 0 : nBits - w.nShift;
    for (size_t i = 0; i < n; ++i) w.level[i] = uint32_t((uint64_t(w.level[i]) << nWiden >> nDown) << nUp);
}

// ---- whole rows --------------------------------------------------------------------------------------------------

void addScaleLevels(RowPlan& plan, RowWork& w, uint32_t nFull) noexcept {
    const uint32_t uMask = w.source.mask();
    w.nFull = nFull;
    if (uMask < nFull) plan.add(nFull <= 65535 ? scaleLevel : scaleLevelWide);
}

void addLevelsToGray(RowPlan& plan, RowWork& w, int32_t nBitsDst, const RGBQUAD* pPalette,
                     const RGBQUAD64* pLUT16) noexcept {
    if (pLUT16) {
        w.pLUT16Src = pLUT16;
        plan.add(levelToWide);
        plan.add(wideToGray);
        w.nShift = nBitsDst == 8 ? 8 : nBitsDst == 12 ? 4 : 0;  // a 16-bit grey stays one at 32 bits
        if (w.nShift) plan.add(shiftLevelDown);
    } else if (pPalette) {
        w.pPaletteSrc = pPalette;
        w.target = {uint32_t(nBitsDst), 0};
        plan.add(levelToColor);
        plan.add(colorToGray);
        if (nBitsDst > 8) plan.add(placeGray);
    } else {
        addScaleLevels(plan, w, uint32_t((uint64_t(1) << nBitsDst) - 1));
    }
}

void grayRow(int32_t nBitsSrc, int32_t nBitsDst, size_t nCount, const RGBQUAD* pPalette, const RGBQUAD64* pLUT16,
             const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, uint32_t nShift) noexcept {
    RowWork w;
    RowPlan plan;
    w.source = {uint32_t(uMask ? std::bit_width(uMask) : 1), nShift};
    plan.add(levelReader(nBitsSrc));
    plan.add(cutLevel);
    addLevelsToGray(plan, w, nBitsDst, pPalette, pLUT16);
    if (nBitsSrc == 12 && nBitsDst == 12 && uMask > 4095 && !pPalette && !pLUT16) plan.add(scaleLevel);
    plan.add(levelWriter(nBitsDst));
    runPlan(plan, w, nCount, nBitsSrc, nBitsDst, pDst, pSrc);
}

// ---- 32-bit samples ----------------------------------------------------------------------------------------------

namespace {

// mulDiv of every number, with a scale of 16 bits: so the sums stay below 2^53, and their quotients are exact once
// truncated. The divisor isn't zero.
RV_CLONES void mulDivRow(uint32_t* p, size_t n, int32_t nScale, int32_t nDivisor) noexcept {
    const double dScale = nScale, dDivisor = nDivisor, dHalf = double(std::abs(int64_t(nDivisor)) / 2);
    for (size_t i = 0; i < n; ++i) {
        const double dProduct = int32_t(p[i]) * dScale;
        const double dQuotient = (dProduct + (dProduct < 0 ? -dHalf : dHalf)) / dDivisor;
        p[i] = uint32_t(int32_t(dQuotient > -2147483649.0 && dQuotient < 2147483648.0 ? dQuotient : -1.0));
    }
}

// In two's complement, whatever the bounds.
int64_t wrap(uint64_t v) noexcept { return int64_t(v); }

// (v - Min) x scale / (Max - Min). With Max in the range of a signed 32-bit number both differences are cut to such
// numbers, which makes signed samples of unsigned ones, and go by mulDiv. Else all is done in 64 bits, rounding by half
// the divisor; bounds near the range of a sample again go by floating point.
template <int Bits>
void gray32Row(uint32_t nCount, const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, int32_t nShift, int64_t Min,
               int64_t Max) noexcept {
    constexpr int32_t kScale = Pixel<Bits>::kMax;
    constexpr int64_t kNear = int64_t(1) << 33;
    const bool bShift = nShift >= 0 && nShift < 32;
    const uint32_t uCut = bShift ? uMask : 0, nDown = bShift ? uint32_t(nShift) : 0;
    const auto level = [=](size_t i) { return Pixel<32>::get(pSrc, i) >> nDown & uCut; };
    const int64_t nRange = wrap(uint64_t(Max) - uint64_t(Min));

    if (Max >= INT32_MIN && Max <= INT32_MAX) {
        const auto nDivisor = int32_t(uint32_t(nRange));
        uint32_t values[kChunk];  // of which all are read before one is written
        for (size_t iFirst = 0; iFirst < nCount; iFirst += kChunk) {
            const size_t n = std::min(kChunk, nCount - iFirst);
            for (size_t i = 0; i < n; ++i) values[i] = level(iFirst + i) - uint32_t(Min);
            if (nDivisor)
                mulDivRow(values, n, kScale, nDivisor);
            else
                std::fill_n(values, n, ~0u);
            for (size_t i = 0; i < n; ++i) Pixel<Bits>::put(pDst, iFirst + i, values[i]);
        }
    } else if (Min > -kNear && Min < kNear && Max > -kNear && Max < kNear) {
        const double dHalf = double(nRange / 2), dRange = double(nRange);
        for (size_t i = 0; i < nCount; ++i) {
            const double dSum = double((level(i) - Min) * kScale) + dHalf;
            Pixel<Bits>::put(pDst, i, uint32_t(int64_t(dSum / dRange)));
        }
    } else {
        for (size_t i = 0; i < nCount; ++i) {
            const int64_t nSum = wrap((level(i) - uint64_t(Min)) * kScale + uint64_t(nRange / 2));
            const int64_t q = nRange == -1 ? wrap(0 - uint64_t(nSum)) : nSum / nRange;  // the one quotient too large
            Pixel<Bits>::put(pDst, i, uint32_t(q));
        }
    }
}

}  // namespace

void gray32To12(uint32_t nCount, const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, int32_t nShift, int64_t Min,
                int64_t Max) noexcept {
    if (Min != Max) return gray32Row<12>(nCount, pSrc, pDst, uMask, nShift, Min, Max);
    for (size_t i = 0; i < nCount; ++i) Pixel<12>::put(pDst, i, Pixel<12>::kMax);
}

}  // namespace rv

extern "C" {

void R_Gray32To8(uint32_t nCount, const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, int32_t nShift, int64_t Min,
                 int64_t Max) noexcept {
    if (Min != Max) return rv::gray32Row<8>(nCount, pSrc, pDst, uMask, nShift, Min, Max);
    std::memset(pDst, 0xFF, nCount);
}

void R_Gray32To16(uint32_t nCount, const uint8_t* pSrc, uint8_t* pDst, uint32_t uMask, int32_t nShift, int64_t Min,
                  int64_t Max) noexcept {
    if (Min != Max) return rv::gray32Row<16>(nCount, pSrc, pDst, uMask, nShift, Min, Max);
    std::memset(pDst, 0xFF, nCount);
}

}  // extern "C"
