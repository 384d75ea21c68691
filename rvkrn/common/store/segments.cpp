// Writing the pixels of a list of segments of a row, and no others: how regions write.
#include "internal/bitmap_.h"
#include "internal/diagnostics.h"
#include "internal/pixels.h"
#include "internal/rowaccess.h"
#include "internal/rowstore.h"
#include "internal/runlists_.h"
#include "internal/storage_.h"
#include "ravokit/compressed.h"

namespace rv {
namespace {

// Copies all of a stretch of pixels but their alpha.
void copyColor(const BITMAPRECORD& bm, uint8_t* pTo, const uint8_t* pFrom, uint32_t nLeft, uint32_t nRight) noexcept {
    constexpr uint32_t kColor16 = 0x7FFF;
    for (size_t x = nLeft; x < nRight; ++x) {
        if (bm.BitsPerPixel == 16) {
            const uint32_t uAlpha = Pixel<16>::get(pTo, x) & ~kColor16;
            Pixel<16>::put(pTo, x, (Pixel<16>::get(pFrom, x) & kColor16) | uAlpha);
        } else if (bm.BitsPerPixel == 32) {
            std::memcpy(pTo + x * 4, pFrom + x * 4, 3);
        } else {
            std::memcpy(pTo + x * 8, pFrom + x * 8, 6);
        }
    }
}

bool hasAlpha(const BITMAPRECORD& bm) noexcept {
    if (bm.Order == ORDER_BGR565) return false;
    return bm.BitsPerPixel == 32 || bm.BitsPerPixel == 64 || (bm.BitsPerPixel == 16 && bm.Order != ORDER_GRAY);
}

// Whether the segments are the whole row, to its last byte.
bool isWhole(const BITMAPRECORD& bm, const Segments& segments, bool bKeepAlpha) noexcept {
    return !bKeepAlpha && segments.nCol == 0 && isWholeRow(bm, segments.pWords, segments.nWords);
}

void merge(const BITMAPRECORD& bm, uint8_t* pTo, const uint8_t* pRow, const Segments& segments,
           bool bKeepAlpha) noexcept {
    if (isWhole(bm, segments, bKeepAlpha))
        return copyRow(pTo, pRow, size_t(packedBytes(uint32_t(bm.Width), uint32_t(bm.BitsPerPixel))));
    segments.each([&](uint32_t nLeft, uint32_t nRight) {
        if (bKeepAlpha)
            copyColor(bm, pTo, pRow, nLeft, nRight);
        else
            copyPixels(bm.BitsPerPixel, pTo, nLeft, pRow, nLeft, nRight - nLeft);
    });
}

// The row where it lies in memory; null where it can be reached by row calls only.
uint8_t* rowInMemory(BITMAPRECORD& bm, int32_t nRow) noexcept {
    if (bm.Flags & BMF_TILED) return tileRow(bm, nRow);
    if (bm.Flags & BMF_SUPERCOMPRESSED) return stripRow(bm, nRow, true);
    return flatRow(bm, nRow);
}

int32_t putThroughBuffer(BITMAPRECORD& bm, const uint8_t* pRow, int32_t nRow, const Segments& segments, bool bKeepAlpha,
                         uint8_t* pScratch) noexcept {
    const auto put = [&](const uint8_t* p, uint32_t nBytes) {
        const int32_t n = R_PutBitmapRowCol(&bm, p, nRow, 0, nBytes);
        return n < 0 ? n : n == int32_t(nBytes) ? 1 : -1;
    };
    const BITMAPDATACALLBACKS* pCallbacks = bm.pCallbacks;
    const bool bAsk = pCallbacks && pCallbacks->pfnGetRowBuffer;
    if (!bAsk && isWhole(bm, segments, bKeepAlpha))
        return put(pRow, uint32_t(packedBytes(uint32_t(bm.Width), uint32_t(bm.BitsPerPixel))));
    uint8_t* pTo = nullptr;
    if (bAsk && pCallbacks->pfnGetRowBuffer(&bm, &pTo, bm.BytesPerLine, pCallbacks->pUserData) != 1) pTo = nullptr;
    if (!pTo) pTo = pScratch;
    Buffer<uint8_t> own;
    if (!pTo) {
        if (!own.allocate(bm.BytesPerLine)) return -1;
        pTo = own.get();
    }
    if (const int32_t n = readRow(bm, pTo, nRow, bm.BytesPerLine); n < 0) return n;
    merge(bm, pTo, pRow, segments, bKeepAlpha);
    return put(pTo, bm.BytesPerLine);
}

// A null pScratch is allocated where it is needed.
int32_t putSegments(BITMAPRECORD& bm, const uint8_t* pRow, int32_t nRow, const Segments& segments, bool bKeepAlpha,
                    uint8_t* pScratch) noexcept {
    if (!bm.pCallbacks) {
        if (nRow < 0 || nRow >= bm.Height) return -13;
        if (bm.Flags & BMF_COMPRESSED) return putRunListSegments(bm, pRow, nRow, segments);
        if ((bm.Flags & BMF_SUPERCOMPRESSED) && !stripRow(bm, nRow, true))
            if (const int32_t n = leaveStrips(bm); n != 1) return n;
        if (uint8_t* pTo = rowInMemory(bm, nRow)) {
            merge(bm, pTo, pRow, segments, bKeepAlpha);
            return 1;
        }
    }
    return putThroughBuffer(bm, pRow, nRow, segments, bKeepAlpha, pScratch);
}

}  // namespace

int32_t putRowSegments(BITMAPRECORD& bm, const uint8_t* pRow, int32_t nRow, const uint32_t* pWords, uint32_t nWords,
                       uint8_t* pScratch) noexcept {
    return putSegments(bm, pRow, nRow, {pWords, nWords, 0, bm.Width}, false, pScratch);
}

}  // namespace rv

using namespace rv;

extern "C" int32_t R_PutBitmapRowSegments(BITMAPRECORD* pBitmap, const uint8_t* pRow, int32_t nRow, int32_t nCol,
                                          const uint32_t* pSegments, uint32_t nSegmentWords,
                                          int32_t bKeepAlpha) noexcept {
    if (!pBitmap || !pRow || !pSegments) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    BITMAPRECORD& bm = *pBitmap;
    traceLockCount("R_PutBitmapRowSegments", bm.nLockCount, bm.nLockCount >= 1, true);
    return putSegments(bm, pRow, nRow, {pSegments, nSegmentWords, nCol, bm.Width}, bKeepAlpha && hasAlpha(bm), nullptr);
}
