// Single pixels as colours and as bytes, by row access.
#include <algorithm>
#include <cstring>

#include "internal/attachments.h"
#include "internal/bgrrows.h"
#include "internal/colorpixel.h"
#include "internal/pixels.h"
#include "ravokit/pixel.h"

namespace rv {
namespace {

constexpr COLORREF kNoColor = 0x80000000;

bool isInside(const BITMAPRECORD& bm, int32_t nRow, int32_t nCol) noexcept {
    return nRow >= 0 && nRow < bm.Height && nCol >= 0 && nCol < bm.Width;
}

// A level of nLevelBits at the place of a bit range, scaled to fill it. With 0 bits it is an index, which is only cut
// to the range.
uint32_t inBitRange(int32_t nBits, const BitRange& range, uint32_t nLevel, int32_t nLevelBits) noexcept {
    const int32_t nHigh = range.nHigh < 0 ? nBits - 1 : std::min(range.nHigh, nBits - 1);
    const int32_t nLow = std::clamp(range.nLow, 0, nHigh), nRange = nHigh - nLow + 1;
    const uint64_t nMost = (uint64_t(1) << nRange) - 1;
    if (nLevelBits == 0) return uint32_t((nLevel & nMost) << nLow);
    if (nRange <= nLevelBits) return nLevel >> (nLevelBits - nRange) << nLow;
    return uint32_t(nLevel * nMost / ((uint64_t(1) << nLevelBits) - 1) << nLow);
}

// The bytes that hold a pixel and begin one, so that its place in them is a column again.
template <int Bits>
class PixelBytes {
    static constexpr int32_t kGroup = Bits < 8 ? 8 : Bits == 12 ? 2 : 1;  // pixels from byte to byte
    BITMAPRECORD& m_bm;
    const int32_t m_nRow, m_nFirst;
    const size_t m_nPlace;
    const uint32_t m_nBytes;
    uint8_t m_bytes[8] = {};

public:
    static constexpr bool kShared = kGroup > 1;  // with neighbours

    PixelBytes(BITMAPRECORD& bm, int32_t nRow, int32_t nCol) noexcept
        : m_bm(bm),
          m_nRow(nRow),
          m_nFirst(nCol - nCol % kGroup),
          m_nPlace(size_t(nCol % kGroup)),
          m_nBytes(uint32_t(packedBytes(m_nPlace + 1, Bits))) {}
    int32_t read() noexcept {
        const int32_t n = readRow(m_bm, m_bytes, m_nRow, m_nBytes, m_nFirst);
        return n < 0 ? n : 1;
    }
    int32_t write() noexcept {
        const int32_t n = R_PutBitmapRowCol(&m_bm, m_bytes, m_nRow, m_nFirst, m_nBytes);
        return n == int32_t(m_nBytes) ? 1 : n < 0 ? n : -1;
    }
    uint64_t get() const noexcept { return Pixel<Bits>::get(m_bytes, m_nPlace); }
    void put(uint64_t v) noexcept { Pixel<Bits>::put(m_bytes, m_nPlace, typename Pixel<Bits>::Value(v)); }
};

// ---- reading -----------------------------------------------------------------------------------------------------

COLORREF indexColor(const BITMAPRECORD& bm, uint32_t nIndex) noexcept {
    return bm.pPalette ? plainColor(bm.pPalette[nIndex]) : COLORREF(kPaletteRef << 24 | nIndex);
}

COLORREF levelColor(const BITMAPRECORD& bm, uint32_t nSample) noexcept {
    const KeptBits kept = physicalBits(bm);
    const uint32_t v = kept.nShift > 31 ? 0 : nSample >> kept.nShift & kept.mask();
    if ((bm.Flags & BMF_USE_LUT) && bm.pLUT && v < bm.LUTLength) return plainColor(bm.pLUT[v]);
    return kGrayRef << 24 | uint32_t(uint64_t(v) * 65535 / kept.mask());
}

COLORREF convertedColor(const BITMAPRECORD& bm, uint64_t uPixel) noexcept {
    uint8_t pixel[8];
    storeLittle(pixel, uPixel);
    const int32_t n = IntConvertBuffer(pixel, 1, bm.BitsPerPixel, 24, bm.Order, ORDER_BGR, nullptr, nullptr, nullptr, 0,
                                       -1, -1, 0, nullptr);
    return n == 1 ? plainColor({pixel[0], pixel[1], pixel[2], 0}) : kNoColor;
}

uint8_t alphaOf(int32_t nBits, uint64_t uPixel) noexcept {
    if (nBits == 32) return uint8_t(uPixel >> 24);
    return nBits == 64 ? uint8_t(double(uPixel >> 48) / 65535 * 255) : uint8_t(255);
}

COLORREF IntGetPixelColor(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, uint8_t* pAlpha) noexcept {
    if (pAlpha) *pAlpha = 255;
    if (!isAllocated(pBitmap) || !isKnownRecordSize(pBitmap->uStructSize)) return kNoColor;
    BITMAPRECORD& bm = *pBitmap;
    if (!isInside(bm, nRow, nCol) || (bm.BitsPerPixel == 32 && bm.Order == ORDER_GRAY)) return kNoColor;
    uint64_t uPixel = 0;
    BitmapLock lock(bm);
    if (lock.status() != 1) return kNoColor;
    const int32_t nStatus = visitDepth(bm.BitsPerPixel, [&](auto bits) {
        PixelBytes<bits> bytes(bm, nRow, nCol);
        const int32_t n = bytes.read();
        uPixel = bytes.get();
        return n;
    });
    if (lock.release(nStatus) != 1) return kNoColor;
    if (bm.BitsPerPixel <= 8) return indexColor(bm, uint32_t(uPixel));
    if (bm.Order == ORDER_GRAY) return levelColor(bm, uint32_t(uPixel));
    const COLORREF cr = convertedColor(bm, uPixel);
    if (pAlpha && cr != kNoColor) *pAlpha = alphaOf(bm.BitsPerPixel, uPixel);
    return cr;
}

// ---- writing -----------------------------------------------------------------------------------------------------

int32_t storePixel(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, uint64_t uPixel) noexcept {
    return visitDepth(bm.BitsPerPixel, [&](auto bits) {
        PixelBytes<bits> bytes(bm, nRow, nCol);
        if constexpr (PixelBytes<bits>::kShared)
            if (const int32_t n = bytes.read(); n != 1) return n;
        bytes.put(uPixel);
        return bytes.write();
    });
}

int32_t IntPutPixelColor(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crColor) noexcept {
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD& bm = *pBitmap;
    if (!isInside(bm, nRow, nCol)) return -13;  // Invalid parameter passed
    if (bm.pRgnInfo && !attachments().isInRegion(bm, nRow, nCol)) return 1;
    const COLORREF cr = R_TranslateBitmapColor(&bm, nullptr, crColor);
    uint64_t uPixel = cr & 0xFF;  // an index
    if (bm.BitsPerPixel > 8)
        if (const int32_t n = deepPixel(bm, cr, {bm.PhysicalLowBit, bm.PhysicalHighBit}, uPixel); n != 1) return n;
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    return lock.release(storePixel(bm, nRow, nCol, uPixel));
}

// ---- bytes -------------------------------------------------------------------------------------------------------

// The opening and the frame of both; move(bytes) gives the count that it moved.
template <class Move>
int32_t movePixelBytes(BITMAPRECORD* pBitmap, const void* pData, int32_t nRow, int32_t nCol, uint32_t uSize,
                       Move&& move) noexcept {
    if (!isAllocated(pBitmap) || !pData) return -2;             // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD& bm = *pBitmap;
    if (!isInside(bm, nRow, nCol)) return -13;  // Invalid parameter passed
    const auto nBytes = uint32_t(packedBytes(uint64_t(nCol) + 1, uint32_t(bm.BitsPerPixel)) -
                                 uint64_t(columnByte(nCol, bm.BitsPerPixel)));
    if (uSize < nBytes) return -13;
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    return lock.release(move(nBytes) < int32_t(nBytes) ? -1 : 1);
}

}  // namespace

int32_t deepPixel(const BITMAPRECORD& bm, COLORREF cr, const BitRange& range, uint64_t& uPixel) noexcept {
    const bool bGray = bm.Order == ORDER_GRAY;
    if (bGray && (kindOf(cr) == kPaletteRef || kindOf(cr) == kGrayRef)) {
        uPixel = inBitRange(bm.BitsPerPixel, range, cr & 0xFFFF, kindOf(cr) == kGrayRef ? 16 : 0);
        return 1;
    }
    uint8_t pixel[8] = {uint8_t(cr >> 16), uint8_t(cr >> 8), uint8_t(cr)};
    const uint32_t uFlags = bGray ? CONVERT_DST_GRAY | CONVERT_DST_BITRANGE : 0;
    const int32_t n = IntConvertBuffer(pixel, 1, 24, bm.BitsPerPixel, ORDER_BGR, bm.Order, nullptr, nullptr, nullptr,
                                       uFlags, range.nLow, range.nHigh, 0, nullptr);
    uPixel = loadLittle<uint64_t>(pixel);
    return n;
}

}  // namespace rv

using namespace rv;

extern "C" {

COLORREF R_GetPixelColor(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol) noexcept {
    return IntGetPixelColor(pBitmap, nRow, nCol, nullptr);
}

COLORREF R_IntGetPixelColor(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, uint8_t* pAlpha) noexcept {
    return IntGetPixelColor(pBitmap, nRow, nCol, pAlpha);
}

int32_t R_PutPixelColor(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crColor) noexcept {
    return IntPutPixelColor(pBitmap, nRow, nCol, crColor);
}

int32_t R_IntPutPixelColor(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crColor) noexcept {
    return IntPutPixelColor(pBitmap, nRow, nCol, crColor);
}

int32_t R_GetPixelData(BITMAPRECORD* pBitmap, void* pData, int32_t nRow, int32_t nCol, uint32_t uSize) noexcept {
    return movePixelBytes(pBitmap, pData, nRow, nCol, uSize, [&](uint32_t nBytes) {
        return R_GetBitmapRowCol(pBitmap, static_cast<uint8_t*>(pData), nRow, nCol, nBytes);
    });
}

int32_t R_PutPixelData(BITMAPRECORD* pBitmap, const void* pData, int32_t nRow, int32_t nCol, uint32_t uSize) noexcept {
    return movePixelBytes(pBitmap, pData, nRow, nCol, uSize, [&](uint32_t nBytes) {
        return R_PutBitmapRowCol(pBitmap, static_cast<const uint8_t*>(pData), nRow, nCol, nBytes);
    });
}

}  // extern "C"
