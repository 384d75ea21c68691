// The limits of the magic wand: from a seed pixel, tolerances and a border colour to a test of pixels.
#include <algorithm>
#include <array>

#include "internal/bgrrows.h"
#include "internal/magicwand_.h"
#include "ravokit/pixel.h"

namespace rv {
namespace {

using Channels = std::array<int32_t, 3>;  // blue, green, red

// 16 bits a channel where bWide, else 8.
Channels channelsOf(COLORREF cr, bool bWide) noexcept {
    if (COLOR_IS_GRAY(cr)) {
        const auto n = int32_t(bWide ? cr & 0xFFFF : cr >> 8 & 0xFF);
        return {n, n, n};
    }
    const int32_t nScale = bWide ? 257 : 1;
    return {int32_t(cr >> 16 & 255) * nScale, int32_t(cr >> 8 & 255) * nScale, int32_t(cr & 255) * nScale};
}

// The tightest of three tolerances stands for all on grey.
Channels toleranceOf(const BITMAPRECORD& bm, COLORREF cr) noexcept {
    Channels c = channelsOf(cr, isWideGray(bm));
    if (bm.Order == ORDER_GRAY) c.fill(std::min({c[0], c[1], c[2]}));
    return c;
}

// A pixel of a bitmap without a table reads as an index, which stands for an entry of the fixed palette.
COLORREF seedColor(BITMAPRECORD& bm, int32_t nRow, int32_t nCol) noexcept {
    const COLORREF cr = R_GetPixelColor(&bm, nRow, nCol);
    return kindOf(cr) == kPaletteRef ? plainColor(PaletteOf(bm).entries[cr & 255]) : cr;
}

// Around the stored sample of the seed. The border is held against channels of 0.
int32_t rawTest(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, const COLORREF* pBorder, COLORREF crLower,
                COLORREF crUpper, PixelTest& test) noexcept {
    uint8_t bytes[4] = {};
    if (const int32_t n = R_GetPixelData(&bm, bytes, nRow, nCol, sizeof bytes); n != 1) return n;
    const uint32_t uSample = bm.BitsPerPixel == 16 ? loadLittle<uint16_t>(bytes)
                             : nCol % 2            ? uint32_t(bytes[0] >> 4 | bytes[1] << 4)
                                                   : uint32_t(bytes[0] | (bytes[1] & 15) << 8);
    if (pBorder) {
        const Channels stop = channelsOf(*pBorder, isWideGray(bm));
        if (std::ranges::count(stop, 0)) return 1;
    }
    const auto nLower = int32_t(crLower & 0xFFFF), nUpper = int32_t(crUpper & 0xFFFF);
    test.samples = PixelTest::kRawGrays;
    if (bm.Flags & BMF_SIGNED) {
        const int32_t nShift = signedRange(bm, 0, 0).nShift, n = int16_t(uSample << nShift) >> nShift;
        test.words = signedRange(bm, std::max(n - nLower, INT16_MIN), std::min(n + nUpper, INT16_MAX));
    } else {
        const auto n = int32_t(uSample);
        test.words.low = uint16_t(std::max(n - nLower, 0));
        test.words.high = uint16_t(std::min(n + nUpper, 65535));
    }
    return 1;
}

void wideTest(const BITMAPRECORD& bm, int32_t nSeed, int32_t nLower, int32_t nUpper, const COLORREF* pBorder,
              PixelTest& test) noexcept {
    const bool bSigned = bm.Flags & BMF_SIGNED, bSignedLimits = bSigned && !(bm.Flags & BMF_USE_LUT);
    if (bSignedLimits) nSeed = int16_t(nSeed);
    WordTest& words = test.words;
    test.samples = PixelTest::kGrays;
    words.uFlip = bSigned ? 0x8000 : 0;
    words.low = uint16_t(std::max(nSeed - nLower, bSignedLimits ? INT16_MIN : 0) ^ words.uFlip);
    words.high = uint16_t(std::min(nSeed + nUpper, bSignedLimits ? INT16_MAX : 65535) ^ words.uFlip);
    if (!pBorder) return;
    const Channels stop = channelsOf(*pBorder, true);
    words.bStops = true;
    for (size_t i = 0; i < 3; ++i) words.stop[i] = uint16_t(stop[i]);
}

void byteTest(const Channels& seed, const Channels& lower, const Channels& upper, const COLORREF* pBorder,
              ByteTest& bytes) noexcept {
    for (size_t i = 0; i < 3; ++i) {
        bytes.low[i] = uint8_t(std::max(seed[i] - lower[i], 0));
        bytes.high[i] = uint8_t(std::min(seed[i] + upper[i], 255));
    }
    if (!pBorder) return;
    const Channels stop = channelsOf(*pBorder, false);
    bytes.kind = ByteTest::kStops;
    for (size_t i = 0; i < 3; ++i) bytes.stop[i] = uint8_t(stop[i]);
}

int32_t wandTest(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, const COLORREF* pBorder, COLORREF crLower,
                 COLORREF crUpper, PixelTest& test) noexcept {
    if (isDeepGray(bm) && COLOR_IS_GRAY(crLower) && COLOR_IS_GRAY(crUpper))
        return rawTest(bm, nRow, nCol, pBorder, crLower, crUpper, test);
    const COLORREF crSeed = seedColor(bm, nRow, nCol);
    if (crSeed == 0x80000000) return -13;  // Invalid parameter passed
    const bool bWide = isWideGray(bm);
    const Channels seed = channelsOf(crSeed, bWide), lower = toleranceOf(bm, crLower), upper = toleranceOf(bm, crUpper);
    if (bWide) {
        wideTest(bm, seed[0], lower[0], upper[0], pBorder, test);
        return 1;
    }
    ByteTest& bytes = test.bytes;
    byteTest(seed, lower, upper, pBorder, bytes);
    if (bm.BitsPerPixel > 8)
        test.samples = PixelTest::kColors;
    else
        passEntries(bm, PaletteOf(bm).entries, test,
                    [&](const RGBQUAD& q) { return bytes.passes(q.rgbBlue, q.rgbGreen, q.rgbRed); });
    return 1;
}

}  // namespace

int32_t regionOfWand(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, const COLORREF* pBorder, COLORREF crLower,
                     COLORREF crUpper, RavoRgn** ppRgn) noexcept {
    PixelTest test;
    if (const int32_t n = wandTest(bm, nRow, nCol, pBorder, crLower, crUpper, test); n != 1) return n;
    return fillFrom(bm, nRow, nCol, test, ppRgn);
}

}  // namespace rv
