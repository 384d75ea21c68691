// The alpha of bitmaps: out into a grey bitmap, in from one, set to a value, and whether it tells anything.
#include <algorithm>

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/pixels.h"
#include "internal/rowaccess.h"
#include "internal/simd.h"
#include "ravokit/alpha.h"
#include "ravokit/colorres.h"
#include "ravokit/copy.h"
#include "ravokit/extradata.h"
#include "ravokit/grayscale.h"
#include "ravokit/palette.h"

namespace rv {

// ---- rows --------------------------------------------------------------------------------------------------------

// From the alpha of colour, and back. n pixels.
using AlphaRow = void (*)(const uint8_t* src, uint8_t* dst, size_t n) noexcept;

RV_CLONES void takeAlpha32(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) dst[i] = src[i * 4 + 3];
}
RV_CLONES void takeAlpha64(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) storeLittle(dst + i * 2, loadLittle<uint16_t>(src + i * 8 + 6));
}

RV_CLONES void giveAlpha32(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i)
        storeLittle(dst + i * 4, (loadLittle<uint32_t>(dst + i * 4) & 0xFFFFFF) | uint32_t(src[i]) << 24);
}
RV_CLONES void giveAlpha64(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) storeLittle(dst + i * 8 + 6, loadLittle<uint16_t>(src + i * 2));
}
RV_CLONES void giveAlpha16(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i)
        storeLittle(dst + i * 2, uint16_t((loadLittle<uint16_t>(dst + i * 2) & 0x7FFF) | (src[i] & 0x80) << 8));
}
void giveAlphaBits(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i)
        storeLittle(dst + i * 2, uint16_t((loadLittle<uint16_t>(dst + i * 2) & 0x7FFF) | Pixel<1>::get(src, i) << 15));
}

namespace {

bool hasAlphaBit(const BITMAPRECORD& bm) noexcept {
    return bm.BitsPerPixel == 16 && (bm.Order == ORDER_RGB || bm.Order == ORDER_BGR);
}

RV_CLONES void setAlpha32(uint8_t* p, size_t n, uint32_t uAlpha) noexcept {
    for (size_t i = 0; i < n; ++i) storeLittle(p + i * 4, (loadLittle<uint32_t>(p + i * 4) & 0xFFFFFF) | uAlpha << 24);
}
RV_CLONES void setAlpha64(uint8_t* p, size_t n, uint32_t uAlpha) noexcept {
    for (size_t i = 0; i < n; ++i) storeLittle(p + i * 8 + 6, uint16_t(uAlpha));
}

// Whether some alpha of a row differs from uAlpha. Block by block, so that a picture with alpha is found out early.
RV_CLONES bool differs32(const uint8_t* p, size_t n, uint8_t uAlpha) noexcept {
    constexpr size_t kBlock = 256;
    const uint32_t uSame = uint32_t(uAlpha) << 24;
    for (size_t iFirst = 0; iFirst < n; iFirst += kBlock) {
        const size_t nCount = std::min(kBlock, n - iFirst);
        uint32_t uDifference = 0;
        for (size_t i = 0; i < nCount; ++i) uDifference |= loadLittle<uint32_t>(p + (iFirst + i) * 4) ^ uSame;
        if (uDifference >> 24) return true;
    }
    return false;
}

// ---- out ---------------------------------------------------------------------------------------------------------

int32_t takeRows(BITMAPRECORD& dst, BITMAPRECORD& src) noexcept {
    const bool bSample = hasAlphaSample(src);
    RowReader from(src, src.BytesPerLine);
    RowEditor to(dst);
    if (to.status() != 1 || from.status() != 1) return -1;
    for (int32_t y = 0; y < src.Height; ++y) {
        if (bSample) {
            const uint8_t* pRow = from.read(y);
            if (!pRow) return from.status();
            (src.BitsPerPixel == 32 ? takeAlpha32 : takeAlpha64)(pRow, to.place(y), size_t(src.Width));
        } else {
            std::memset(to.place(y), 255, size_t(dst.Width));
        }
        if (const int32_t n = to.write(y); n != 1) return n;
    }
    return 1;
}

// Runs body with both bitmaps locked. The worst status wins.
template <class Body>
int32_t withBoth(BITMAPRECORD& a, BITMAPRECORD& b, Body&& body) noexcept {
    BitmapLock lockA(a), lockB(b);
    if (lockA.status() != 1) return lockA.status();
    if (lockB.status() != 1) return lockB.status();
    return lockA.release(lockB.release(body()));
}

// The alpha bitmap's record and storage.
int32_t makeAlpha(BITMAPRECORD& alpha, const BITMAPRECORD& src) noexcept {
    alpha.ViewPerspective = src.ViewPerspective;
    alpha.XResolution = src.XResolution;
    alpha.YResolution = src.YResolution;
    alpha.Flags |= src.Flags & BMF_RGN_NOCLIP;
    if (alpha.BitsPerPixel > 8) {
        alpha.Order = ORDER_GRAY;
        R_InitGrayParams(&alpha);
    } else if (const int32_t n = R_CreateBitmapGrayPalette(&alpha); n != 1) {
        return n;
    }
    if (src.pRgnInfo)
        if (const int32_t n = attachments().copyRegion(alpha, src); n != 1) return n;
    return allocateBitmap(alpha, src.Flags & BMF_DISK ? BMMEM_DISK : BMMEM_CONVENTIONAL, alpha.pPalette);
}

// ---- in ----------------------------------------------------------------------------------------------------------

// What a bitmap without alpha becomes.
int32_t resolveToAlpha(BITMAPRECORD& bm) noexcept {
    const bool bRgb = bm.BitsPerPixel > 16 && bm.Order == ORDER_RGB;
    return R_ColorResBitmap(&bm, &bm, bm.uStructSize, bm.BitsPerPixel == 48 ? 64 : 32,
                            bRgb ? 0u : uint32_t(CRF_BYTEORDERBGR), nullptr, nullptr, 0, nullptr, nullptr);
}

// Whether an alpha bitmap serves as it stands.
bool servesAsIs(const BITMAPRECORD& alpha, const BITMAPRECORD& bm, int32_t nDepth) noexcept {
    const bool bDepth = alpha.BitsPerPixel == nDepth || (alpha.BitsPerPixel == 1 && hasAlphaBit(bm));
    return bDepth && alpha.ViewPerspective == bm.ViewPerspective;
}

int32_t giveRows(BITMAPRECORD& bm, BITMAPRECORD& alpha) noexcept {
    const AlphaRow give = bm.BitsPerPixel == 64     ? giveAlpha64
                          : bm.BitsPerPixel == 32   ? giveAlpha32
                          : alpha.BitsPerPixel == 1 ? giveAlphaBits
                                                    : giveAlpha16;
    const int32_t nRows = std::min(bm.Height, alpha.Height);
    const auto nPixels = size_t(std::min(bm.Width, alpha.Width));
    RowReader from(alpha, alpha.BytesPerLine);
    RowEditor to(bm);
    if (to.status() != 1 || from.status() != 1) return -1;
    for (int32_t y = 0; y < nRows; ++y) {
        const uint8_t* pAlpha = from.read(y);
        if (!pAlpha) return from.status();
        uint8_t* const pRow = to.read(y);
        if (!pRow) return to.status();
        give(pAlpha, pRow, nPixels);
        if (const int32_t n = to.write(y); n != 1) return n;
    }
    return 1;
}

int32_t giveAlpha(BITMAPRECORD& bm, BITMAPRECORD& alpha) noexcept {
    const int32_t nDepth = bm.BitsPerPixel == 48 || bm.BitsPerPixel == 64 ? 16 : 8;
    const int32_t nKind = R_IntIsGrayScaleBitmap(&alpha, 0);
    if (nKind < 0) return nKind;
    BitmapOwner copy;
    const bool bAsIs = &alpha != &bm && nKind == GRAYKIND_ASCENDING && servesAsIs(alpha, bm, nDepth);
    if (!bAsIs) {
        if (const int32_t n = R_CopyBitmap(&copy.record, &alpha, alpha.uStructSize); n != 1) return n;
        if (const int32_t n = R_GrayScaleBitmap(&copy.record, nDepth); n != 1) return n;
    }
    if (!hasAlphaSample(bm) && !hasAlphaBit(bm))
        if (const int32_t n = resolveToAlpha(bm); n != 1) return n;
    BITMAPRECORD& greys = bAsIs ? alpha : copy.record;
    return withBoth(bm, greys, [&] { return giveRows(bm, greys); });
}

int32_t setRows(BITMAPRECORD& bm, uint32_t uAlpha) noexcept {
    const RECT bounds = attachments().regionBounds(bm);
    const int32_t nBottom = std::min(bounds.bottom, bm.Height);
    RowEditor rows(bm);
    if (rows.status() != 1) return -1;
    for (int32_t y = std::max(bounds.top, 0); y < nBottom; ++y) {
        uint8_t* const pRow = rows.read(y);
        if (!pRow) return rows.status();
        R_SetRowAlphaValues(bm.BitsPerPixel, pRow, bm.BytesPerLine, uAlpha);
        if (const int32_t n = rows.write(y); n != 1) return n;
    }
    return 1;
}

bool differs(BITMAPRECORD& bm) noexcept {
    RowReader rows(bm, bm.BytesPerLine);
    const uint8_t* pRow = rows.status() == 1 && bm.Height > 0 && bm.Width > 0 ? rows.read(0) : nullptr;
    if (!pRow) return false;
    const uint8_t uAlpha = pRow[3];
    if (uAlpha != 0 && uAlpha != 255) return true;
    for (int32_t y = 0; y < bm.Height; ++y) {
        pRow = rows.read(y);
        if (!pRow) return false;
        if (differs32(pRow, size_t(bm.Width), uAlpha)) return true;
    }
    return false;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetRowAlphaValues(int32_t nBitsPerPixel, uint8_t* pRow, uint32_t uBytes, uint32_t uAlpha) noexcept {
    if (pRow && nBitsPerPixel == 32) setAlpha32(pRow, uBytes / 4, uAlpha);
    if (pRow && nBitsPerPixel == 64) setAlpha64(pRow, uBytes / 8, uAlpha);
    return 1;
}

int32_t R_GetBitmapAlpha(BITMAPRECORD* pBitmap, BITMAPRECORD* pAlphaBitmap, uint32_t uStructSize) noexcept {
    if (!isAllocated(pBitmap) || !pAlphaBitmap) return -13;  // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize) || !isKnownRecordSize(uStructSize))
        return -789;  // The structure size is invalid
    BITMAPRECORD &bm = *pBitmap, &alpha = *pAlphaBitmap;
    const int32_t nDepth = bm.BitsPerPixel == 64 ? 16 : 8;
    if (const int32_t n = R_InitBitmap(&alpha, uStructSize, bm.Width, bm.Height, nDepth); n != 1) return n;
    int32_t nStatus = makeAlpha(alpha, bm);
    if (nStatus == 1) nStatus = withBoth(bm, alpha, [&] { return takeRows(alpha, bm); });
    if (nStatus != 1) R_FreeBitmap(&alpha);
    return nStatus;
}

int32_t R_SetBitmapAlpha(BITMAPRECORD* pBitmap, BITMAPRECORD* pAlphaBitmap) noexcept {
    if (!isAllocated(pBitmap) || !isAllocated(pAlphaBitmap)) return -13;  // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize) || !isKnownRecordSize(pAlphaBitmap->uStructSize)) return -789;
    return giveAlpha(*pBitmap, *pAlphaBitmap);
}

int32_t R_SetBitmapAlphaValues(BITMAPRECORD* pBitmap, uint32_t uAlpha) noexcept {
    if (!isAllocated(pBitmap)) return -13;                      // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD& bm = *pBitmap;
    if (!hasAlphaSample(bm)) return 1;
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    return lock.release(setRows(bm, uAlpha));
}

int32_t R_BitmapHasMeaningfulAlpha(BITMAPRECORD* pBitmap) noexcept {
    if (!isAllocated(pBitmap) || !isKnownRecordSize(pBitmap->uStructSize)) return 0;
    if (pBitmap->BitsPerPixel != 32 || !hasAlphaSample(*pBitmap)) return 0;
    BitmapLock lock(*pBitmap);
    return lock.status() == 1 && differs(*pBitmap);
}

}  // extern "C"
