// Dithering without errors: the ordered methods, and the nearest colour.
#include <algorithm>
#include <array>

#include "internal/dither_.h"
#include "internal/pixels.h"
#include "internal/rowkernels.h"
#include "internal/simd.h"

namespace rv {
namespace {

using Matrix = uint8_t[8][8];

// Some values stand twice, as they always have.
constexpr Matrix kOrdered = {
    {0, 128, 32, 160, 8, 136, 40, 168},   {192, 64, 224, 96, 200, 72, 232, 104},
    {48, 176, 16, 144, 56, 184, 24, 152}, {236, 112, 208, 80, 244, 120, 216, 88},
    {12, 140, 44, 172, 4, 132, 36, 164},  {204, 76, 232, 108, 196, 68, 228, 100},
    {60, 188, 28, 156, 52, 180, 20, 148}, {248, 124, 220, 92, 240, 116, 212, 84},
};
constexpr Matrix kClustered = {
    {112, 40, 72, 104, 144, 176, 208, 136}, {88, 8, 16, 48, 192, 232, 240, 168},
    {56, 24, 0, 80, 160, 224, 248, 200},    {96, 64, 32, 120, 128, 216, 184, 152},
    {148, 180, 212, 140, 116, 44, 76, 108}, {196, 236, 244, 172, 92, 12, 20, 52},
    {164, 228, 252, 204, 60, 28, 4, 84},    {132, 220, 188, 156, 100, 68, 36, 124},
};

// What is added to each channel before the index is found; the palettes of two and sixteen colours compare instead.
int32_t offsetOf(const DITHERDATA& data, int32_t t) noexcept {
    if (data.nPaletteKind == kWebColors) return t / 6 - 21;
    const bool bSearched = data.nPaletteKind == kAnyPalette || data.nPaletteKind == kUserTable;
    switch (bSearched ? data.nBitsPerPixelDst : data.nPaletteKind - kTwoColors + 1) {
        case 1:
            return t - 128;
        case 2:
            return (t >> 1) - 64;
        case 3:
            return t / 3 - 42;
        case 4:
            return (t >> 2) - 32;
        case 5:
            return t / 5 - 25;
        case 6:
            return t / 6 - 21;
        case 7:
            return t / 7 - 18;
        default:
            return (t >> 3) - 16;
    }
}

constexpr size_t kBlock = 256;  // pixels that are worked at once
static_assert(kBlock % 8 == 0);
using Thresholds = std::array<int16_t, kBlock>;

template <int Kind>
RV_INLINE void orderLoop(const uint8_t* p, uint8_t* pIndices, const Thresholds& add, size_t n) noexcept {
    for (size_t x = 0; x < n; ++x, p += 4) {
        const auto moved = [&](int32_t v) { return uint32_t(std::clamp(v + add[x], 0, 255)); };
        pIndices[x] = uint8_t(fixedIndex<Kind>(moved(p[0]), moved(p[1]), moved(p[2])));
    }
}

// Not a template itself: those can't be built for several processors.
RV_CLONES void orderFixed(int32_t nKind, const uint8_t* p, uint8_t* pIndices, const Thresholds& add,
                          size_t n) noexcept {
    switch (nKind) {
        case k4Colors:
            return orderLoop<k4Colors>(p, pIndices, add, n);
        case k8Colors:
            return orderLoop<k8Colors>(p, pIndices, add, n);
        case k32Colors:
            return orderLoop<k32Colors>(p, pIndices, add, n);
        case k64Colors:
            return orderLoop<k64Colors>(p, pIndices, add, n);
        case k128Colors:
            return orderLoop<k128Colors>(p, pIndices, add, n);
        case k256Colors:
            return orderLoop<k256Colors>(p, pIndices, add, n);
        default:
            return orderLoop<kWebColors>(p, pIndices, add, n);
    }
}

RV_CLONES void order2Colors(const uint8_t* pGray, uint8_t* pIndices, const Thresholds& t, size_t n) noexcept {
    for (size_t x = 0; x < n; ++x) pIndices[x] = pGray[x] > t[x];
}

RV_CLONES void order16Colors(const uint8_t* p, uint8_t* pIndices, const Thresholds& t, size_t n) noexcept {
    for (size_t x = 0; x < n; ++x, p += 4) {
        const int32_t v = (p[2] > t[x]) | (p[1] > t[x]) << 1 | (p[0] > t[x]) << 2;
        pIndices[x] = uint8_t(v ? v | 8 : 0);
    }
}

template <int Kind>
void orderSearched(DITHERDATA& data, const uint8_t* p, uint8_t* pIndices, const Thresholds& add, size_t n) noexcept {
    const Finder<Kind> find{data};
    for (size_t x = 0; x < n; ++x, p += 4) {
        const auto moved = [&](int32_t v) { return uint32_t(std::clamp(v + add[x], 0, 255)); };
        pIndices[x] = uint8_t(find(moved(p[0]) | moved(p[1]) << 8 | moved(p[2]) << 16) >> 24);
    }
}

void orderBlock(DITHERDATA& data, const uint8_t* p, uint8_t* pIndices, const Thresholds& t, size_t n) noexcept {
    switch (data.nPaletteKind) {
        case kAnyPalette:
            return orderSearched<kAnyPalette>(data, p, pIndices, t, n);
        case kUserTable:
            return orderSearched<kUserTable>(data, p, pIndices, t, n);
        case kTwoColors:
        case kTwoByTable:
            bestRowKernels().gray.gray8From32[kBlueFirst](p, pIndices, n);
            for (size_t x = 0; data.pGrays && x < n; ++x) pIndices[x] = data.pGrays[pIndices[x]];
            return order2Colors(pIndices, pIndices, t, n);
        case k16Colors:
            return order16Colors(p, pIndices, t, n);
        default:
            return orderFixed(data.nPaletteKind, p, pIndices, t, n);
    }
}

// ---- the nearest colour ------------------------------------------------------------------------------------------

// The index behind a cell, which is filled if it is empty.
uint8_t foundAt(DITHERDATA& data, uint32_t nKey) noexcept {
    uint32_t n = data.pColorCache[nKey];
    if (n == 0) n = fillCell(data, nKey);
    return uint8_t(data.Answers[n > kMostColors ? 0 : n] >> 24);
}

// The cells take a table of bytes that stays in the nearest cache of the processor. One index stands for a cell that
// has to be asked, and so do pixels that have this index: it is none that a picture's black or white would have.
constexpr uint8_t kNotFound = 127;

template <int Bytes>
void lookUpRow(DITHERDATA& data, ColorKeyRows::Row keysOf, const uint8_t* p, uint8_t* pIndices, size_t n) noexcept {
    uint16_t keys[kBlock];
    uint8_t* const pFound = data.Found.get();
    for (size_t nBlock; n; n -= nBlock, p += nBlock * Bytes, pIndices += nBlock) {
        nBlock = std::min(n, kBlock);
        keysOf(p, keys, nBlock);
        bool bAsk = false;
        for (size_t i = 0; i < nBlock; ++i) {
            const uint8_t v = pFound[keys[i]];
            pIndices[i] = v;
            bAsk |= v == kNotFound;
        }
        for (size_t i = 0; bAsk && i < nBlock; ++i)
            if (pIndices[i] == kNotFound) pIndices[i] = pFound[keys[i]] = foundAt(data, keys[i]);
    }
}

}  // namespace

void orderRow(DITHERDATA& data, const uint8_t* pPixels, uint8_t* pIndices, size_t n) noexcept {
    const auto& row = (data.nMethod == DITHER_ORDERED ? kOrdered : kClustered)[data.nOrderedRow++ & 7];
    const int32_t nKind = data.nPaletteKind;
    const bool bCompares = nKind == kTwoColors || nKind == k16Colors || nKind == kTwoByTable;
    Thresholds t;
    for (size_t x = 0; x < 8; ++x) {
        const int32_t nEntry = row[(x + data.nOrderedColumn) & 7];
        t[x] = int16_t(bCompares ? nEntry : offsetOf(data, nEntry));
    }
    for (size_t x = 8; x < std::min(n, kBlock); ++x) t[x] = t[x - 8];
    for (size_t x = 0; x < n; x += kBlock) orderBlock(data, pPixels + x * 4, pIndices + x, t, std::min(n - x, kBlock));
}

bool prepareFound(DITHERDATA& data) noexcept {
    if (!data.Found.allocate(kColorKeys)) return false;
    for (uint32_t i = 0; i < kColorKeys; ++i) data.Found[i] = data.pColorCache[i] ? foundAt(data, i) : kNotFound;
    return true;
}

void nearestRow(DITHERDATA& data, const uint8_t* pPixels, uint8_t* pIndices, size_t n) noexcept {
    if (data.Found) return lookUpRow<4>(data, bestColorKeys().row32, pPixels, pIndices, n);
    visitFinder(data.nPaletteKind, [&](auto kind) {
        const Finder<kind> find{data};
        for (size_t x = 0; x < n; ++x) pIndices[x] = uint8_t(find(loadLittle<uint32_t>(pPixels + x * 4)) >> 24);
    });
}

void nearestRow24(DITHERDATA& data, const uint8_t* pPixels, uint8_t* pIndices, size_t n) noexcept {
    lookUpRow<3>(data, bestColorKeys().row24, pPixels, pIndices, n);
}

}  // namespace rv
