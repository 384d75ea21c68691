// Filling a bitmap, or its region, with a colour: a row is built once in the bitmap's format and written by segments.
#include <algorithm>
#include <cstring>

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/colorpixel.h"
#include "internal/palette_.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rowaccess.h"
#include "internal/rowstore.h"
#include "ravokit/copy.h"
#include "ravokit/palette.h"

namespace rv {
namespace {

// The index that a palette bitmap takes: a palette reference names it, any other colour its nearest entry.
uint32_t paletteIndex(BITMAPRECORD& bm, COLORREF cr) noexcept {
    if (kindOf(cr) == kPaletteRef) {
        if ((cr & 0xFFFF) < bm.nColors) return cr & 0xFFFF;
        cr = 0;  // no such entry: black
    }
    if (kindOf(cr) == kGrayRef) cr = (cr >> 8 & 0xFF) * 0x010101;
    return uint32_t(R_GetNearestPaletteIndex(&bm, cr));
}

void setAlpha(const BITMAPRECORD& bm, uint8_t* pPixel, uint32_t uAlpha) noexcept {
    if (bm.Order == ORDER_GRAY) return;
    if (bm.BitsPerPixel == 32)
        pPixel[3] = uint8_t(uAlpha);
    else if (bm.BitsPerPixel == 64)
        storeLittle(pPixel + 6, uint16_t((uAlpha & 0xFF) * 257));
}

}  // namespace

uint64_t fillPixel(BITMAPRECORD& bm, COLORREF cr, uint32_t uAlpha) noexcept {
    if (bm.BitsPerPixel <= 8) return paletteIndex(bm, cr);
    uint64_t uPixel = 0;
    deepPixel(bm, R_TranslateBitmapColor(&bm, &bm, cr), {bm.LowBit, bm.HighBit}, uPixel);
    uint8_t pixel[8];
    storeLittle(pixel, uPixel);
    setAlpha(bm, pixel, uAlpha);
    return loadLittle<uint64_t>(pixel);
}

// Eight pixels of any depth end on a byte: they are set one by one, then doubled.
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

namespace {

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
