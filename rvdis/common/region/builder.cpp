// The builder of regions, the tables behind one, and what must hold of a region.
//
// Tables are blocks that any module can free. They start undefined: the builder writes each word that it counts.
#include "internal/alloc.h"
#include "internal/bitmap_.h"
#include "internal/handles.h"
#include "internal/region_.h"

namespace rv {
namespace {

constexpr uint32_t kGrowBeyondRow = 16384;

void* newTable(uint64_t nBytes) noexcept {
    if (nBytes > UINT32_MAX) return nullptr;
    return MemoryAlloc(MemoryKind::kBlock, false, kMemoryMovable, 1, uint32_t(nBytes), __LINE__, __FILE__);
}
template <class T>
bool resizeTable(T*& p, uint64_t nBytes) noexcept {
    if (nBytes > UINT32_MAX) return false;
    void* pNew = MemoryRealloc(MemoryKind::kBlock, kMemoryMovable, p, uint32_t(nBytes));
    if (pNew) p = static_cast<T*>(pNew);
    return pNew;
}

// A table of no bytes is none; one that can't shrink stays as it is.
template <class T>
void trimTable(T*& p, uint32_t nBytes) noexcept {
    if (!nBytes)
        freeBlock(p);
    else
        resizeTable(p, nBytes);
}

uint64_t extent(int32_t nFrom, int32_t nTo) noexcept { return nTo > nFrom ? uint64_t(int64_t(nTo) - nFrom) : 0; }

bool isSorted(std::span<const int32_t> words) noexcept {
    for (size_t k = 1; k < words.size(); ++k)
        if (words[k - 1] >= words[k]) return false;
    return true;
}

}  // namespace

RgnBuilder::~RgnBuilder() {
    if (pRgn) R_DeleteRavoRgn(pRgn);
}

int32_t RgnBuilderBegin(RgnBuilder& builder, const RECT& box, uint32_t nMaxRowWords, uint64_t nSpanBytes) noexcept {
    const uint64_t nRows = extent(box.top, box.bottom);
    const uint64_t nRowWords = std::min<uint64_t>((extent(box.left, box.right) + 1) & ~uint64_t(1), nMaxRowWords);
    const uint64_t nRowBytes = nRowWords * sizeof(int32_t);
    if (nRows * sizeof(RgnRow) > UINT32_MAX || nRowBytes + kGrowBeyondRow > UINT32_MAX) return -1;
    builder.pRgn = newBlock<RavoRgn>(1);
    if (!builder.pRgn) return -1;
    RavoRgn& rgn = *builder.pRgn;
    builder.CurrentY = box.top;
    if (nRows && !(builder.pRowTable = rgn.pRows = static_cast<RgnRow*>(newTable(nRows * sizeof(RgnRow))))) return -1;
    if (!nRowBytes && !nSpanBytes) return 1;
    builder.MaxRowBytes = uint32_t(nRowBytes);
    builder.GrowBytes = builder.MaxRowBytes + kGrowBeyondRow;
    builder.SpanCapacity =
        nSpanBytes ? uint32_t(std::clamp<uint64_t>(nSpanBytes + nRowBytes, nRowBytes, UINT32_MAX)) : builder.GrowBytes;
    builder.pSpanBase = rgn.pSpans = static_cast<int32_t*>(newTable(builder.SpanCapacity));
    return rgn.pSpans ? 1 : -1;
}

// By half of what there is, so that a long region is moved a few times only.
int32_t RgnBuilderGrow(RgnBuilder& builder) noexcept {
    RavoRgn& rgn = *builder.pRgn;
    const uint64_t nUsed = rgn.SpanDataSize, nLeast = nUsed + builder.MaxRowBytes;
    const uint64_t nWanted = std::min<uint64_t>(std::max(nUsed + builder.GrowBytes, nUsed + nUsed / 2), UINT32_MAX);
    if (nWanted < nLeast || !resizeTable(rgn.pSpans, nWanted)) return -1;
    builder.pSpanBase = rgn.pSpans;
    builder.SpanCapacity = uint32_t(nWanted);
    return 1;
}

RavoRgn* RgnBuilderFinish(RgnBuilder& builder) noexcept {
    RavoRgn& rgn = *builder.pRgn;
    trimTable(rgn.pRows, rgn.RowTableSize);
    trimTable(rgn.pSpans, rgn.SpanDataSize);
    return std::exchange(builder.pRgn, nullptr);
}

RegionOwner::~RegionOwner() {
    if (m_p) R_DeleteRavoRgn(m_p);
}

void releaseDisplayHandles(RavoRgn& rgn) noexcept {
    closeHandle(std::exchange(rgn.hDisplayRgn, nullptr));
    closeHandle(std::exchange(rgn.hDisplayRgn2, nullptr));
}

void releaseContents(RavoRgn& rgn) noexcept {
    releaseDisplayHandles(rgn);
    freeBlock(rgn.pRows);
    freeBlock(rgn.pSpans);
    rgn.RowTableSize = rgn.SpanDataSize = 0;
    rgn.rcBounds = {};
}

void replaceContents(RavoRgn& rgn, RavoRgn* pFresh) noexcept {
    releaseDisplayHandles(rgn);
    std::swap(rgn.rcBounds, pFresh->rcBounds);
    std::swap(rgn.RowTableSize, pFresh->RowTableSize);
    std::swap(rgn.pRows, pFresh->pRows);
    std::swap(rgn.SpanDataSize, pFresh->SpanDataSize);
    std::swap(rgn.pSpans, pFresh->pSpans);
    R_DeleteRavoRgn(pFresh);
}

int32_t newShape(RavoRgn** ppRgn, const RavoRgn& like) noexcept {
    RegionOwner fresh(newBlock<RavoRgn>(1));
    if (!fresh.get()) return -1;
    RavoRgn& rgn = *fresh;
    if (like.RowTableSize && !(rgn.pRows = static_cast<RgnRow*>(newTable(like.RowTableSize)))) return -1;
    if (like.SpanDataSize && !(rgn.pSpans = static_cast<int32_t*>(newTable(like.SpanDataSize)))) return -1;
    rgn.rcBounds = like.rcBounds;
    rgn.RowTableSize = like.RowTableSize;
    rgn.SpanDataSize = like.SpanDataSize;
    *ppRgn = fresh.take();
    return 1;
}

int32_t copyShape(RavoRgn** ppRgn, const RavoRgn& rgn) noexcept {
    RavoRgn* pCopy = nullptr;
    if (const int32_t n = newShape(&pCopy, rgn); n != 1) return n;
    std::copy_n(rgn.pRows, rowCount(rgn), pCopy->pRows);
    std::copy_n(rgn.pSpans, 2 * size_t(spanCount(rgn)), pCopy->pSpans);
    *ppRgn = pCopy;
    return 1;
}

uint32_t longestRow(const RavoRgn& rgn) noexcept {
    uint32_t n = 0;
    for (uint32_t i = 0; i < rowCount(rgn); ++i) n = std::max(n, rgn.pRows[i].SpanWords);
    return n;
}

bool isWellFormed(const RavoRgn& rgn) noexcept {
    const RECT& box = rgn.rcBounds;
    const uint32_t nRows = rowCount(rgn);
    if (!nRows)
        return !rgn.RowTableSize && !rgn.SpanDataSize && !rgn.pRows && !rgn.pSpans && !box.left && !box.top &&
               !box.right && !box.bottom;
    if (rgn.RowTableSize % sizeof(RgnRow) || rgn.SpanDataSize % 8 || !rgn.pRows || !rgn.pSpans) return false;
    if (box.top >= box.bottom || extent(box.top, box.bottom) != nRows) return false;
    if (!rgn.pRows[0].SpanWords || !rgn.pRows[nRows - 1].SpanWords) return false;
    const bool bUpward = rgn.pRows[0].SpanOffset != 0;  // rows were exchanged since the region was built
    uint64_t nBytes = 0;
    int32_t nLeft = INT32_MAX, nRight = INT32_MIN;
    for (uint32_t i = 0; i < nRows; ++i) {
        const RgnRow& row = rgn.pRows[bUpward ? nRows - 1 - i : i];
        if (!row.SpanWords) {
            if (row.SpanOffset) return false;
            continue;
        }
        const uint64_t nEnd = nBytes + uint64_t(row.SpanWords) * sizeof(int32_t);
        if (row.SpanWords % 2 || row.SpanOffset != nBytes || nEnd > rgn.SpanDataSize) return false;
        const std::span<const int32_t> words(rgn.pSpans + nBytes / sizeof(int32_t), row.SpanWords);
        if (!isSorted(words)) return false;
        nLeft = std::min(nLeft, words.front());
        nRight = std::max(nRight, words.back());
        nBytes = nEnd;
    }
    return nBytes == rgn.SpanDataSize && nLeft == box.left && nRight == box.right;
}

bool RgnIsRectangle(const RavoRgn& rgn) noexcept {
    if (uint64_t(rowCount(rgn)) * 8 != rgn.SpanDataSize) return false;
    for (uint32_t i = 0; i < rowCount(rgn); ++i) {
        const auto words = rowWords(rgn, i);
        if (words.size() != 2 || words[0] != rgn.rcBounds.left || words[1] != rgn.rcBounds.right) return false;
    }
    return true;
}

}  // namespace rv
