// Filling a bitmap, or its region, with a colour: a row is built once in the bitmap's format and written by segments.
#include <algorithm>
#include <cstring>

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/convert_.h"
#include "internal/palette_.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rowaccess.h"
#include "internal/rowstore.h"
#include "ravokit/copy.h"
#include "ravokit/palette.h"

namespace rv {
namespace {

// A level of nLevelBits at the place of the bit range that the bitmap displays, scaled to fill it. With 0 bits it is an
// index, which is only cut to the range.
uint32_t inBitRange(const BITMAPRECORD& bm, uint32_t nLevel, int32_t nLevelBits) noexcept {
    const int32_t nHigh = bm.HighBit < 0 ? bm.BitsPerPixel - 1 : std::min(bm.HighBit, bm.BitsPerPixel - 1);
    const int32_t nLow = std::clamp(bm.LowBit, 0, nHigh), nRange = nHigh - nLow + 1;
    const uint64_t nMost = (uint64_t(1) << nRange) - 1;
    if (nLevelBits == 0) return uint32_t((nLevel & nMost) << nLow);
    if (nRange <= nLevelBits) return nLevel >> (nLevelBits - nRange) << nLow;
    return uint32_t(nLevel * nMost / ((uint64_t(1) << nLevelBits) - 1) << nLow);
}

// The index that a palette bitmap takes: a palette reference names it, any other colour its nearest entry.
uint32_t paletteIndex(BITMAPRECORD& bm, COLORREF cr) noexcept {
    if (kindOf(cr) == kPaletteRef) {
        if ((cr & 0xFFFF) < bm.nColors) return cr & 0xFFFF;
        cr = 0;  // no such entry: black
    }
    if (kindOf(cr) == kGrayRef) cr = (cr >> 8 & 0xFF) * 0x010101;
    return uint32_t(R_GetNearestPaletteIndex(&bm, cr));
}

// The pixel of a bitmap of more than 8 bits, by the row converter from a pixel of 24 bits.
void convertedPixel(const BITMAPRECORD& bm, COLORREF cr, uint8_t* pPixel) noexcept {
    pPixel[0] = uint8_t(cr >> 16);
    pPixel[1] = uint8_t(cr >> 8);
    pPixel[2] = uint8_t(cr);
    const uint32_t uFlags = bm.Order == ORDER_GRAY ? CONVERT_DST_GRAY | CONVERT_DST_BITRANGE : 0;
    IntConvertBuffer(pPixel, 1, 24, bm.BitsPerPixel, ORDER_BGR, bm.Order, nullptr, nullptr, nullptr, uFlags, bm.LowBit,
                     bm.HighBit, 0, nullptr);
}

void setAlpha(const BITMAPRECORD& bm, uint8_t* pPixel, uint32_t uAlpha) noexcept {
    if (bm.Order == ORDER_GRAY) return;
    if (bm.BitsPerPixel == 32)
        pPixel[3] = uint8_t(uAlpha);
    else if (bm.BitsPerPixel == 64)
        storeLittle(pPixel + 6, uint16_t((uAlpha & 0xFF) * 257));
}

// One pixel of the fill in the bitmap's format, in its low-order bytes.
uint64_t fillPixel(BITMAPRECORD& bm, COLORREF cr, uint32_t uAlpha) noexcept {
    if (bm.BitsPerPixel <= 8) return paletteIndex(bm, cr);
    const bool bGray = bm.Order == ORDER_GRAY;
    cr = R_TranslateBitmapColor(&bm, &bm, cr);
    if (bGray && kindOf(cr) == kPaletteRef)
        return inBitRange(bm, cr & 0xFFFF, 0);                                    // an entry of the window-level table
    if (bGray && kindOf(cr) == kGrayRef) return inBitRange(bm, cr & 0xFFFF, 16);  // a level of 16 bits
    uint8_t pixel[8] = {};
    convertedPixel(bm, cr, pixel);
    setAlpha(bm, pixel, uAlpha);
    return loadLittle<uint64_t>(pixel);
}

// Repeats the pixel over a whole row. Eight pixels of any depth end on a byte: they are set one by one, then doubled.
void fillRow(const BITMAPRECORD& bm, uint64_t uPixel, uint8_t* pRow) noexcept {
    const size_t nBytes = bm.BytesPerLine;
    uint8_t group[64] = {};
    visitDepth(bm.BitsPerPixel, [&](auto bits) {
        for (size_t i = 0; i < 8; ++i) Pixel<bits>::put(group, i, typename Pixel<bits>::Value(uPixel));
    });
    size_t nDone = std::min(nBytes, size_t(bm.BitsPerPixel));
    std::memcpy(pRow, group, nDone);
    for (; nDone < nBytes; nDone += std::min(nDone, nBytes - nDone))
        std::memcpy(pRow + nDone, pRow, std::min(nDone, nBytes - nDone));
}

// Areas of more bytes than the caches hold are stored past them.
constexpr uint64_t kStreamedArea = 24u << 20;

// Writes the row over every row of the area, where the clip segments let it.
int32_t putRows(BITMAPRECORD& bm, const RECT& area, const uint8_t* pRow, uint32_t* pWords, uint8_t* pScratch) noexcept {
    ProgressStepper progress(area.bottom - area.top);
    const bool bTell = bm.Flags & BMF_DISK;
    if (const int32_t n = bTell ? progress.start() : 1; n != 1) return n;
    const uint64_t nRowBytes = packedBytes(uint32_t(bm.Width), uint32_t(bm.BitsPerPixel));
    const bool bStream = nRowBytes * uint32_t(std::max(area.bottom - area.top, 0)) > kStreamedArea && flatRow(bm, 0);
    int32_t nStatus = 1;
    for (int32_t y = area.top; y < area.bottom && nStatus == 1; ++y) {
        uint32_t nWords = 0;
        nStatus = attachments().clipSegments(bm, y, pWords, &nWords);
        if (nStatus != 1) break;
        if (bStream && isWholeRow(bm, pWords, nWords))
            streamRow(flatRow(bm, y), pRow, size_t(nRowBytes));
        else
            nStatus = putRowSegments(bm, pRow, y, pWords, nWords, pScratch);
        if (nStatus == 1 && bTell) nStatus = progress.step();
    }
    if (bStream) endStream();
    return nStatus;
}

// The opening and the frame of both fills; makeRow builds the row.
template <class MakeRow>
int32_t fillBitmap(BITMAPRECORD* pBitmap, MakeRow&& makeRow) noexcept {
    if (!isAllocated(pBitmap)) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    BITMAPRECORD& bm = *pBitmap;
    const RECT bounds = attachments().regionBounds(bm);
    const RECT area{0, std::max(bounds.top, 0), bm.Width, std::min(bounds.bottom, bm.Height)};
    Buffer<uint8_t> row(bm.BytesPerLine), scratch(bm.BytesPerLine);
    Buffer<uint32_t> words(std::max(attachments().clipSegmentsMax(bm), 2u));
    if (!row || !scratch || !words) return -1;
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    makeRow(bm, row.get());
    return lock.release(putRows(bm, area, row.get(), words.get(), scratch.get()));
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_FillBitmap2(BITMAPRECORD* pBitmap, COLORREF crFill, uint32_t uAlpha) noexcept {
    return fillBitmap(pBitmap,
                      [=](BITMAPRECORD& bm, uint8_t* pRow) { fillRow(bm, fillPixel(bm, crFill, uAlpha), pRow); });
}

int32_t R_FillBitmap(BITMAPRECORD* pBitmap, COLORREF crFill) noexcept { return R_FillBitmap2(pBitmap, crFill, 255); }

int32_t R_ClearBitmap(BITMAPRECORD* pBitmap) noexcept {
    return fillBitmap(pBitmap, [](BITMAPRECORD& bm, uint8_t* pRow) { std::memset(pRow, 0, bm.BytesPerLine); });
}

}  // extern "C"
