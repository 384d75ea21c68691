// The fixed palettes: constant tables of each depth, the web palette, grey ramps, and new tables made of them.
#include <array>
#include <bit>
#include <cstring>

#include "internal/opening.h"
#include "internal/palette_.h"
#include "ravokit/memory.h"

namespace rv {
namespace {

// Levels of a channel of one, two and three bits.
constexpr uint8_t kLevels2[] = {0, 255};
constexpr uint8_t kLevels4[] = {0, 85, 170, 255};
constexpr uint8_t kLevels8[] = {0, 36, 73, 109, 146, 182, 219, 255};

constexpr RGBQUAD rgb(uint8_t nRed, uint8_t nGreen, uint8_t nBlue) { return {nBlue, nGreen, nRed, 0}; }

// Every combination of the levels, blue running fastest.
template <size_t R, size_t G, size_t B>
constexpr std::array<RGBQUAD, R * G * B> colorCube(const uint8_t (&red)[R], const uint8_t (&green)[G],
                                                   const uint8_t (&blue)[B]) {
    std::array<RGBQUAD, R * G * B> table{};
    for (size_t i = 0; i < table.size(); ++i) table[i] = rgb(red[i / (G * B)], green[i / B % G], blue[i % B]);
    return table;
}

constexpr std::array<RGBQUAD, 256> webPalette() {
    std::array<RGBQUAD, 256> table{};
    for (size_t i = 0; i < 216; ++i)
        table[i] = rgb(uint8_t(51 * (i / 36)), uint8_t(51 * (i / 6 % 6)), uint8_t(51 * (i % 6)));
    return table;
}

constexpr RGBQUAD kFixed1[] = {rgb(0, 0, 0), rgb(255, 255, 255)};
constexpr RGBQUAD kFixed2[] = {rgb(0, 0, 0), rgb(85, 85, 85), rgb(170, 170, 170), rgb(255, 255, 255)};
constexpr auto kFixed3 = colorCube(kLevels2, kLevels2, kLevels2);
constexpr RGBQUAD kFixed4[] = {
    rgb(0, 0, 0),     rgb(128, 0, 0),     rgb(0, 128, 0),     rgb(128, 128, 0),   rgb(0, 0, 128), rgb(128, 0, 128),
    rgb(0, 128, 128), rgb(128, 128, 128), rgb(192, 192, 192), rgb(255, 0, 0),     rgb(0, 255, 0), rgb(255, 255, 0),
    rgb(0, 0, 255),   rgb(255, 0, 255),   rgb(0, 255, 255),   rgb(255, 255, 255),
};
constexpr auto kFixed5 = colorCube(kLevels4, kLevels4, kLevels2);
constexpr auto kFixed6 = colorCube(kLevels4, kLevels4, kLevels4);
constexpr auto kFixed7 = colorCube(kLevels4, kLevels8, kLevels4);
constexpr auto kFixed8 = colorCube(kLevels8, kLevels8, kLevels4);
constexpr auto kWeb = webPalette();

constexpr const RGBQUAD* kFixed[] = {nullptr,        kFixed1,        kFixed2,        kFixed3.data(), kFixed4,
                                     kFixed5.data(), kFixed6.data(), kFixed7.data(), kFixed8.data()};

// The table of bitmaps with four colours: the two-colour one and the constants that have always followed it.
constexpr RGBQUAD kFourColors[] = {kFixed1[0], kFixed1[1], rgb(0x42, 0, 3), rgb(6, 0, 0x4A)};

}  // namespace

void fillGrayRamp(RGBQUAD* pEntries, uint32_t nCount) noexcept {
    for (uint32_t i = 0; i < nCount; ++i) {
        const auto v = uint8_t(i * 255 / (nCount - 1));
        pEntries[i] = rgb(v, v, v);
    }
}

RGBQUAD* newTable() noexcept { return static_cast<RGBQUAD*>(R_GlobalAlloc(kMostColors, sizeof(RGBQUAD), 0, nullptr)); }

RGBQUAD* newTable(const RGBQUAD* pEntries, uint32_t nCount) noexcept {
    if (!pEntries || nCount == 0 || nCount > kMostColors) return nullptr;
    RGBQUAD* p = newTable();
    if (p) std::memcpy(p, pEntries, nCount * sizeof(RGBQUAD));
    return p;
}

void replaceTable(BITMAPRECORD& bm, RGBQUAD* pNew) noexcept {
    if (bm.pPalette) R_GlobalFree(bm.pPalette);
    bm.pPalette = pNew;
}

}  // namespace rv

using namespace rv;

extern "C" {

const RGBQUAD* R_IntGetFixedPalette(int32_t nBitsPerPixel) noexcept {
    return nBitsPerPixel >= 1 && nBitsPerPixel <= 8 ? kFixed[nBitsPerPixel] : nullptr;
}

const RGBQUAD* R_IntGetNetscapePalette(void) noexcept { return kWeb.data(); }

int32_t R_GetFixedPalette(RGBQUAD* pPalette, int32_t nBitsPerPixel) noexcept {
    if (!pPalette || nBitsPerPixel < 0 || nBitsPerPixel > 8) return -13;  // Invalid parameter passed
    if (nBitsPerPixel == 0)
        fillGrayRamp(pPalette, kMostColors);
    else
        std::memcpy(pPalette, kFixed[nBitsPerPixel], sizeof(RGBQUAD) << nBitsPerPixel);
    return 1;
}

RGBQUAD* R_CreateFixedPalette(int32_t nBitsPerPixel) noexcept {
    if (nBitsPerPixel < 0 || nBitsPerPixel > 8) return nullptr;
    if (nBitsPerPixel == 0) nBitsPerPixel = 1;
    return newTable(kFixed[nBitsPerPixel], 1u << nBitsPerPixel);
}

RGBQUAD* R_CreateGrayPalette(int32_t nBitsPerPixel) noexcept {
    if (nBitsPerPixel < 0 || nBitsPerPixel > 8) return nullptr;
    RGBQUAD* p = newTable();
    if (p) fillGrayRamp(p, nBitsPerPixel ? 1u << nBitsPerPixel : kMostColors);
    return p;
}

RGBQUAD* R_CreateNewPalette(const RGBQUAD* pEntries, uint32_t uCount) noexcept { return newTable(pEntries, uCount); }

int32_t R_IsGrayScalePalette(const RGBQUAD* pPalette, uint32_t uCount) noexcept {
    if (!pPalette) return -13;  // Invalid parameter passed
    for (uint32_t i = 0; i < uCount; ++i)
        if (pPalette[i].rgbRed != pPalette[i].rgbGreen || pPalette[i].rgbRed != pPalette[i].rgbBlue)
            return GRAYKIND_NONE;
    if (uCount == 0) return GRAYKIND_NONE;

    const uint8_t nFirst = pPalette[0].rgbRed;
    const int32_t nKind = nFirst == 0 ? GRAYKIND_ASCENDING : GRAYKIND_DESCENDING;
    if (uCount == 1) return nFirst == 0 || nFirst == 255 ? nKind : GRAYKIND_UNORDERED;

    const auto nStep = uint8_t(255 / (uCount - 1));
    uint8_t nIdeal = nFirst == 0 ? 0 : 255;
    for (uint32_t i = 0; i < uCount; ++i) {
        if (pPalette[i].rgbRed != nIdeal) return GRAYKIND_UNORDERED;
        nIdeal = uint8_t(nFirst == 0 ? nIdeal + nStep : nIdeal - nStep);
    }
    return nKind;
}

int32_t R_CreateBitmapFixedPalette(BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    const uint32_t nCount = pBitmap->nColors;
    if (nCount < 2 || nCount > kMostColors || (nCount & (nCount - 1))) return 0;
    const RGBQUAD* pFixed = nCount == 4 ? kFourColors : kFixed[std::countr_zero(nCount)];
    replaceTable(*pBitmap, newTable(pFixed, nCount));
    return pBitmap->pPalette ? 1 : -1;  // Not enough memory available
}

int32_t R_CreateBitmapGrayPalette(BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;                                                // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;               // The structure size is invalid
    if (pBitmap->BitsPerPixel < 1 || pBitmap->BitsPerPixel > 8) return -27;  // Invalid bits per pixel
    replaceTable(*pBitmap, R_CreateGrayPalette(pBitmap->BitsPerPixel));
    pBitmap->nColors = 1u << pBitmap->BitsPerPixel;
    return pBitmap->pPalette ? 1 : -1;  // Not enough memory available
}

}  // extern "C"
