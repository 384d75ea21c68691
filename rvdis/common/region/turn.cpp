// Quarter turns of a region, and what is made of them: another view, a region in a given view.
//
// A turned region's rows are the columns of the old one. From a column to the next, pixels come and go where spans
// start and end: the edges of all spans, brought into the order of columns, are the pixels in which a row differs from
// the one above it.
#include "internal/region_.h"
#include "internal/rvclasses_.h"
#include "ravokit/view.h"

namespace rv {
namespace {

// Where a quarter turn takes column x and row y of the raster: to row nRow + x or nRow - x, and so on. Edges and pixels
// move alike but for the mirrored ones, which lie before their coordinate.
struct Turn {
    int64_t nRow, nCol;
    bool bMirrorX, bMirrorY;  // of the two exactly one

    int32_t rowOfEdge(int32_t x) const noexcept { return int32_t(bMirrorX ? nRow - x : nRow + x); }
    int32_t colOfPixel(int32_t y) const noexcept { return int32_t(bMirrorY ? nCol - 1 - y : nCol + y); }
};

// The pixels at which rows differ from the ones above them: those of row i of the result are [starts[i], starts[i + 1])
// of cols, in order. The last row is the one below the region.
struct Changes {
    Buffer<uint32_t> starts;
    Buffer<int32_t> cols;
};

// f(column edge, old row) for all edges, so that columns of the result rise.
template <class F>
void forEachEdge(const RavoRgn& rgn, bool bUpward, F&& f) noexcept {
    const uint32_t nRows = rowCount(rgn);
    for (uint32_t i = 0; i < nRows; ++i) {
        const uint32_t nIndex = bUpward ? nRows - 1 - i : i;
        for (const int32_t x : rowWords(rgn, nIndex)) f(x, int32_t(rgn.rcBounds.top + nIndex));
    }
}

bool collect(Changes& changes, const RavoRgn& rgn, const Turn& turn, const RECT& box) noexcept {
    const auto nRows = size_t(int64_t(box.bottom) - box.top) + 1;
    if (!changes.starts.allocateCleared(uint64_t(nRows) + 2) || !changes.cols.allocate(2 * uint64_t(spanCount(rgn))))
        return false;
    uint32_t* const pStarts = changes.starts.get();
    const auto indexOf = [&](int32_t x) { return size_t(turn.rowOfEdge(x) - box.top); };
    forEachEdge(rgn, turn.bMirrorY, [&](int32_t x, int32_t) { ++pStarts[indexOf(x) + 2]; });
    for (size_t i = 2; i < nRows + 2; ++i) pStarts[i] += pStarts[i - 1];
    // One place further on, each start is where the next one of its row goes, and ends as the start of the next row.
    forEachEdge(rgn, turn.bMirrorY,
                [&](int32_t x, int32_t y) { changes.cols[pStarts[indexOf(x) + 1]++] = turn.colOfPixel(y); });
    return true;
}

// The spans of some pixels in order.
std::span<const int32_t> spansOf(int32_t* pWords, const int32_t* pCol, const int32_t* pEnd) noexcept {
    size_t n = 0;
    for (; pCol != pEnd; ++pCol) {
        if (n && pWords[n - 1] == *pCol) {
            pWords[n - 1] = *pCol + 1;
            continue;
        }
        pWords[n++] = *pCol;
        pWords[n++] = *pCol + 1;
    }
    return {pWords, n};
}

int32_t quarterTurn(RavoRgn** ppResult, const RavoRgn& rgn, const Turn& turn) noexcept {
    const RECT& old = rgn.rcBounds;
    const int32_t nRow0 = turn.rowOfEdge(old.left), nRow1 = turn.rowOfEdge(old.right);
    const int32_t nCol0 = turn.colOfPixel(old.top), nCol1 = turn.colOfPixel(old.bottom - 1);
    const RECT box{std::min(nCol0, nCol1), std::min(nRow0, nRow1), std::max(nCol0, nCol1) + 1, std::max(nRow0, nRow1)};
    RgnBuilder builder;
    if (const int32_t n = RgnBuilderBegin(builder, box); n != 1) return n;
    Changes changes;
    Buffer<int32_t> words(2 * uint64_t(rowCount(rgn)));
    if (!words || !collect(changes, rgn, turn, box)) return -1;
    uint32_t nAbove = 0, nAboveWords = 0;  // where the row above stands in the span buffer
    for (uint32_t i = 0; builder.CurrentY < box.bottom; ++i) {
        const std::span<const int32_t> above(builder.pSpanBase + nAbove, nAboveWords);
        const int32_t* const pCols = changes.cols.get();
        const auto differing = spansOf(words.get(), pCols + changes.starts[i], pCols + changes.starts[i + 1]);
        int32_t* const dst = builder.next();
        if (differing.empty())
            builder.copy(above);
        else
            builder.RowWords = uint32_t(exclusiveRow(dst, above, differing) - dst);
        nAbove = builder.SpanWriteWord;
        nAboveWords = builder.RowWords;
        if (const int32_t n = RgnBuilderEndRow(builder); n != 1) return n;
    }
    *ppResult = RgnBuilderFinish(builder);
    return 1;
}

int32_t halfTurn(RavoRgn& rgn, int32_t nWidth, int32_t nHeight) noexcept {
    if (const int32_t n = R_FlipRavoRgn(&rgn, nHeight); n != 1) return n;
    return reverseRegion(rgn, nWidth);
}

constexpr int64_t halfDown(int64_t n) noexcept { return n >> 1; }

// Turns the part of a region that lies in the raster.
int32_t rotateInRaster(RavoRgn** ppResult, const RavoRgn& rgn, int32_t nWidth, int32_t nHeight, bool bWhole,
                       int32_t nAngle) noexcept {
    // A raster that keeps its size turns about its middle; from between two pixels, a half goes down.
    const int64_t nMore = int64_t(nWidth) - nHeight;
    if (nAngle == 9000) {
        const int64_t nShift = bWhole ? 0 : halfDown(nMore);
        return quarterTurn(ppResult, rgn, {-nShift, nHeight + nShift, false, true});
    }
    const int64_t nShift = bWhole ? 0 : halfDown(-nMore);
    return quarterTurn(ppResult, rgn, {nWidth + nShift, -nShift, true, false});
}

int32_t rotateRegion(RavoRgn& rgn, SIZE src, SIZE dst, int32_t nAngle) noexcept {
    const RECT from{0, 0, src.width, src.height}, to{0, 0, dst.width, dst.height};
    RegionOwner fresh;
    if (const int32_t n = copyShape(fresh.out(), rgn); n != 1) return n;
    if (const int32_t n = R_ClipRavoRgnRect(fresh.get(), &from); n != 1) return n;
    if ((*fresh).RowTableSize && nAngle == 18000) {
        if (const int32_t n = halfTurn(*fresh, src.width, src.height); n != 1) return n;
    } else if ((*fresh).RowTableSize) {
        const bool bWhole = src.width != dst.width || src.height != dst.height;
        RegionOwner turned;
        if (const int32_t n = rotateInRaster(turned.out(), *fresh, src.width, src.height, bWhole, nAngle); n != 1)
            return n;
        std::swap(*fresh.out(), *turned.out());
    }
    if (const int32_t n = R_ClipRavoRgnRect(fresh.get(), &to); n != 1) return n;
    replaceContents(rgn, fresh.take());
    return 1;
}

}  // namespace

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_RotateRavoRgn(RavoRgn* pRgn, int32_t nSrcWidth, int32_t nSrcHeight, int32_t nDstWidth, int32_t nDstHeight,
                        int32_t nAngle) noexcept {
    if (!pRgn) return -13;
    nAngle %= 36000;
    if (nAngle < 0) nAngle += 36000;
    if (nAngle == 0) return 1;
    if (nAngle % 9000) return -13;
    return rotateRegion(*pRgn, {nSrcWidth, nSrcHeight}, {nDstWidth, nDstHeight}, nAngle);
}

int32_t UpdateRegionViewPerspective(RavoRgn* pRgn, int32_t nFromView, int32_t nToView, int32_t nWidth,
                                    int32_t nHeight) noexcept {
    if (!pRgn) return -13;
    int32_t bFlip = 0, nAngle = 0;
    if (const int32_t n = R_GetChangeViewPerspectiveParams(nFromView, nToView, &bFlip, &nAngle); n != 1) return n;
    if (bFlip)
        if (const int32_t n = R_FlipRavoRgn(pRgn, nHeight); n != 1) return n;
    if (!nAngle) return 1;
    const bool bOdd = nAngle % 180 != 0;
    const int32_t nStatus =
        R_RotateRavoRgn(pRgn, nWidth, nHeight, bOdd ? nHeight : nWidth, bOdd ? nWidth : nHeight, nAngle * 100);
    if (nStatus != 1 && bFlip) R_FlipRavoRgn(pRgn, nHeight);
    return nStatus;
}

int32_t R_CloneRavoRgn(const BITMAPRECORD* pBitmap, RavoRgn** ppRgn, const RgnMapping* pMapping) noexcept {
    if (!pBitmap || !ppRgn) return -13;
    *ppRgn = nullptr;
    if (!pBitmap->pRgnInfo) return 1;
    RegionOwner copy;
    if (const int32_t n = copyShape(copy.out(), *pBitmap->pRgnInfo); n != 1) return n;
    if (const int32_t n = UpdateRegionViewPerspective(copy.get(), pBitmap->ViewPerspective, TOP_LEFT, pBitmap->Width,
                                                      pBitmap->Height);
        n != 1)
        return n;
    (*copy).DisplayMapping = (*copy).DisplayMapping2 = {TOP_LEFT, 1, 1, 1, 1, 0, 0};
    (*copy).DisplayBitmapView = (*copy).DisplayBitmapView2 = TOP_LEFT;
    if (pMapping) {
        if (const int32_t n = R_OffsetRavoRgn(copy.get(), pMapping->XOffset, pMapping->YOffset); n != 1) return n;
        if (const int32_t n = R_ScaleRavoRgn(copy.get(), pMapping->XScaleNum, pMapping->XScaleDen, pMapping->YScaleNum,
                                             pMapping->YScaleDen);
            n != 1)
            return n;
    }
    *ppRgn = copy.take();
    return 1;
}

}  // extern "C"
