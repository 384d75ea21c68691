// Regions of all pixels that pass a test of their colour: what each call asks, as a test, and the scan that they share.
//
// A palette is asked once, entry by entry, and if no entry passes there is no scan. Rows of deeper pixels become masks
// by vectors (rgncolormask.cpp), and the spans are where the bits of a mask change.
#include <algorithm>

#include "internal/bgrrows.h"
#include "internal/region_.h"
#include "internal/rgncolor_.h"
#include "ravokit/bitmaprgn.h"
#include "ravokit/colorspace.h"

namespace rv {
namespace {

// ---- colours as limits -------------------------------------------------------------------------------------------

// The plain colour of a grey level: its high byte in all channels.
COLORREF plainOf(COLORREF cr) noexcept { return COLOR_IS_GRAY(cr) ? (cr >> 8 & 0xFF) * 0x010101 : cr & 0xFFFFFF; }

// Channels stand as in rows: blue first.
void setBox(ByteTest& test, COLORREF crLow, COLORREF crHigh) noexcept {
    for (int i = 0; i < 3; ++i) {
        test.low[i] = uint8_t(crLow >> (16 - 8 * i));
        test.high[i] = uint8_t(crHigh >> (16 - 8 * i));
    }
}

void setColors(const BITMAPRECORD& bm, PixelTest& test) noexcept {
    if (bm.BitsPerPixel > 8) {
        test.samples = PixelTest::kColors;
        test.bWholeRange = (bm.Flags & BMF_SIGNED) != 0;
        return;
    }
    passEntries(bm, PaletteOf(bm).entries, test,
                [&](const RGBQUAD& q) { return test.bytes.passes(q.rgbBlue, q.rgbGreen, q.rgbRed); });
}

// ---- the tests of the calls --------------------------------------------------------------------------------------

void colorTest(const BITMAPRECORD& bm, COLORREF cr, PixelTest& test) noexcept {
    if (COLOR_IS_GRAY(cr) && isWideGray(bm)) {
        test.samples = PixelTest::kGrays;
        test.words.low = test.words.high = uint16_t(cr);
        return;
    }
    const bool bIndex = bm.BitsPerPixel <= 8 && kindOf(cr) == kPaletteRef;
    if (bIndex) {
        test.samples = PixelTest::kIndices;
        test.indices.pass(cr & ((1u << bm.BitsPerPixel) - 1));
        return;
    }
    setBox(test.bytes, plainOf(cr), plainOf(cr));
    if (bm.BitsPerPixel >= 8) return setColors(bm, test);
    bool bFound = false;  // only the first entry counts
    passEntries(bm, PaletteOf(bm).entries, test, [&](const RGBQUAD& q) {
        return !bFound && (bFound = test.bytes.passes(q.rgbBlue, q.rgbGreen, q.rgbRed));
    });
}

uint32_t grayRangeLimit(COLORREF cr, bool bHigh) noexcept {
    if (COLOR_IS_GRAY(cr)) return cr & 0xFFFF;
    const uint32_t r = cr & 255, g = cr >> 8 & 255, b = cr >> 16 & 255;
    return (bHigh ? std::min({r, g, b}) : std::max({r, g, b})) * 256;
}

void rgbRangeTest(const BITMAPRECORD& bm, COLORREF crLow, COLORREF crHigh, PixelTest& test) noexcept {
    if (isDeepGray(bm) && (COLOR_IS_GRAY(crLow) || COLOR_IS_GRAY(crHigh))) {
        const uint32_t uLow = grayRangeLimit(crLow, false), uHigh = grayRangeLimit(crHigh, true);
        test.samples = PixelTest::kGrays;
        if (bm.Flags & BMF_SIGNED) {
            test.bWholeRange = true;
            test.words = signedRange(bm, int16_t(uLow), int16_t(uHigh));
        } else {
            test.words.low = uint16_t(uLow);
            test.words.high = uint16_t(uHigh);
        }
        return;
    }
    const auto limit = [&](COLORREF cr) {
        if (COLOR_IS_GRAY(cr) || bm.Order != ORDER_GRAY) return plainOf(cr);
        return COLORREF(grayOf(cr >> 16 & 255, cr >> 8 & 255, cr & 255) * 0x010101);
    };
    setBox(test.bytes, limit(crLow), limit(crHigh));
    setColors(bm, test);
}

void hsvRangeTest(const BITMAPRECORD& bm, uint32_t hsvLow, uint32_t hsvHigh, PixelTest& test) noexcept {
    const auto part = [](uint32_t hsv, int i) { return uint8_t(hsv >> (8 * i)); };
    const uint8_t nLowHue = part(hsvLow, 0), nHighHue = part(hsvHigh, 0);
    if (isWideGray(bm)) {
        if ((nLowHue && nLowHue <= nHighHue) || part(hsvLow, 1)) return;  // neither hue nor saturation is 0
        test.samples = PixelTest::kGrays;
        test.words.low = uint16_t(part(hsvLow, 2) * 257);
        test.words.high = uint16_t(part(hsvHigh, 2) * 257);
        return;
    }
    ByteTest& bytes = test.bytes;  // of hue, saturation, value; the hue limits are those of values too
    for (int i = 1; i < 3; ++i) bytes.low[i] = part(hsvLow, i), bytes.high[i] = part(hsvHigh, i);
    if (nLowHue <= nHighHue) {
        bytes.high[0] = 255;
        bytes.low[2] = std::max(bytes.low[2], nLowHue);
        bytes.high[2] = std::min(bytes.high[2], nHighHue);
    } else {
        bytes.kind = ByteTest::kEither;
        bytes.low[0] = nLowHue;
        bytes.high[0] = 255;
        bytes.high[3] = nHighHue;
    }
    if (bm.BitsPerPixel > 8) {
        setColors(bm, test);
        test.samples = PixelTest::kHsv;
        return;
    }
    passEntries(bm, PaletteOf(bm).entries, test, [&](const RGBQUAD& q) {
        const uint32_t hsv = R_RGBtoHSV(plainColor(q));
        return bytes.passes(part(hsv, 0), part(hsv, 1), part(hsv, 2));
    });
}

// ---- the scan ----------------------------------------------------------------------------------------------------

int32_t scanRows(BITMAPRECORD& bm, const PixelTest& test, RgnBuilder& builder) noexcept {
    MaskRows rows(bm, test);
    Buffer<uint64_t> mask(maskWords(uint32_t(bm.Width)));
    if (!mask) return -1;
    if (rows.status() != 1) return rows.status();
    for (int32_t y = 0; y < bm.Height; ++y) {
        if (!rows.read(y, mask.get())) return rows.status();
        addMaskRow(builder, mask.get(), uint32_t(bm.Width));
        if (const int32_t n = RgnBuilderEndRow(builder); n != 1) return n;
    }
    return 1;
}

int32_t regionOf(BITMAPRECORD& bm, const PixelTest& test, RavoRgn** ppRgn) noexcept {
    RgnBuilder builder;
    const bool bScan = test.samples != PixelTest::kNothing;
    if (const int32_t n = RgnBuilderBegin(builder, bScan ? RECT{0, 0, bm.Width, bm.Height} : RECT{}); n != 1) return n;
    if (bScan) {
        BitmapLock lock(bm);
        if (lock.status() != 1) return lock.status();
        if (const int32_t n = lock.release(scanRows(bm, test, builder)); n != 1) return n;
    }
    *ppRgn = RgnBuilderFinish(builder);
    return 1;
}

}  // namespace

int32_t regionOfColor(BITMAPRECORD& bm, COLORREF crColor, RavoRgn** ppRgn) noexcept {
    PixelTest test;
    colorTest(bm, crColor, test);
    return regionOf(bm, test, ppRgn);
}

int32_t regionOfRgbRange(BITMAPRECORD& bm, COLORREF crLow, COLORREF crHigh, RavoRgn** ppRgn) noexcept {
    PixelTest test;
    rgbRangeTest(bm, crLow, crHigh, test);
    return regionOf(bm, test, ppRgn);
}

int32_t regionOfHsvRange(BITMAPRECORD& bm, uint32_t hsvLow, uint32_t hsvHigh, RavoRgn** ppRgn) noexcept {
    PixelTest test;
    hsvRangeTest(bm, hsvLow, hsvHigh, test);
    return regionOf(bm, test, ppRgn);
}

namespace {

// The opening and the end of all calls: find(bm, ppRgn) makes the region.
template <class Find>
int32_t setFound(BITMAPRECORD* pBitmap, uint32_t uMode, bool bCheckSize, Find&& find) noexcept {
    if (bCheckSize && pBitmap && !isKnownRecordSize(pBitmap->uStructSize))
        return -789;                       // The structure size is invalid
    if (!isAllocated(pBitmap)) return -2;  // Invalid image
    RegionOwner found;
    if (const int32_t n = find(*pBitmap, found.out()); n != 1) return n;
    const int32_t n = R_SetBitmapRgn(pBitmap, nullptr, found.get(), uMode);
    if (n != -2 && n != -789) found.take();
    return n;
}

int32_t setColor(BITMAPRECORD* pBitmap, COLORREF crColor, uint32_t uMode, bool bCheckSize) noexcept {
    return setFound(pBitmap, uMode, bCheckSize,
                    [&](BITMAPRECORD& bm, RavoRgn** pp) { return regionOfColor(bm, crColor, pp); });
}

int32_t setWand(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, const COLORREF* pBorder, COLORREF crLower,
                COLORREF crUpper, uint32_t uMode, bool bCheckSize) noexcept {
    return setFound(pBitmap, uMode, bCheckSize, [&](BITMAPRECORD& bm, RavoRgn** pp) {
        return regionOfWand(bm, nRow, nCol, pBorder, crLower, crUpper, pp);
    });
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetBitmapRgnColor(BITMAPRECORD* pBitmap, COLORREF crColor, uint32_t uMode) noexcept {
    return setColor(pBitmap, crColor, uMode, true);
}

int32_t R_IntSetBitmapRgnColor(BITMAPRECORD* pBitmap, COLORREF crColor, uint32_t uMode) noexcept {
    return setColor(pBitmap, crColor, uMode, false);
}

int32_t R_SetBitmapRgnColorRGBRange(BITMAPRECORD* pBitmap, COLORREF crLow, COLORREF crHigh, uint32_t uMode) noexcept {
    return setFound(pBitmap, uMode, true,
                    [&](BITMAPRECORD& bm, RavoRgn** pp) { return regionOfRgbRange(bm, crLow, crHigh, pp); });
}

int32_t R_SetBitmapRgnColorHSVRange(BITMAPRECORD* pBitmap, uint32_t hsvLow, uint32_t hsvHigh, uint32_t uMode) noexcept {
    return R_SetBitmapRgnColorHSVRange2(pBitmap, &hsvLow, &hsvHigh, uMode);
}

int32_t R_SetBitmapRgnColorHSVRange2(BITMAPRECORD* pBitmap, const uint32_t* pHsvLow, const uint32_t* pHsvHigh,
                                     uint32_t uMode) noexcept {
    return setFound(pBitmap, uMode, true, [&](BITMAPRECORD& bm, RavoRgn** pp) {
        return pHsvLow && pHsvHigh ? regionOfHsvRange(bm, *pHsvLow, *pHsvHigh, pp) : -13;  // Invalid parameter passed
    });
}

int32_t R_SetBitmapRgnMagicWand(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crLower, COLORREF crUpper,
                                uint32_t uMode) noexcept {
    return setWand(pBitmap, nRow, nCol, nullptr, crLower, crUpper, uMode, true);
}

int32_t R_IntSetBitmapRgnMagicWand(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crLower,
                                   COLORREF crUpper, uint32_t uMode) noexcept {
    return setWand(pBitmap, nRow, nCol, nullptr, crLower, crUpper, uMode, false);
}

int32_t R_SetBitmapRgnBorder(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crBorder, COLORREF crLower,
                             COLORREF crUpper, uint32_t uMode) noexcept {
    return setWand(pBitmap, nRow, nCol, &crBorder, crLower, crUpper, uMode, true);
}

}  // extern "C"
