// The inside of regions: the spans of a row, the builder that every new region comes from, and what the parts of the
// region code share.
//
//     RgnBuilder builder;
//     if (const int32_t n = RgnBuilderBegin(builder, box); n != 1) return n;
//     for (int32_t y = box.top; y < box.bottom; ++y) {
//         for (...) builder.add(nLeft, nRight);
//         if (const int32_t n = RgnBuilderEndRow(builder); n != 1) return n;
//     }
//     *ppRgn = RgnBuilderFinish(builder);
#pragma once

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

#include "internal/handles.h"
#include "ravokit/region.h"

namespace rv {

// ---- reading -----------------------------------------------------------------------------------------------------

inline uint32_t rowCount(const RavoRgn& rgn) noexcept { return rgn.RowTableSize / uint32_t(sizeof(RgnRow)); }
inline uint32_t spanCount(const RavoRgn& rgn) noexcept { return rgn.SpanDataSize / 8; }

// The words of a row, counted from the region's first: left, right, left, right ...
inline std::span<const int32_t> rowWords(const RavoRgn& rgn, size_t nIndex) noexcept {
    const RgnRow& row = rgn.pRows[nIndex];
    return {rgn.pSpans + row.SpanOffset / sizeof(int32_t), row.SpanWords};
}

// The words of row y of the raster, none outside of the bounds.
inline std::span<const int32_t> wordsAt(const RavoRgn& rgn, int32_t y) noexcept {
    if (y < rgn.rcBounds.top || y >= rgn.rcBounds.bottom) return {};
    return rowWords(rgn, uint32_t(y) - uint32_t(rgn.rcBounds.top));
}

// f(y, left, right) for each span, top to bottom and left to right.
template <class F>
void forEachSpan(const RavoRgn& rgn, F&& f) {
    for (uint32_t i = 0; i < rowCount(rgn); ++i) {
        const auto words = rowWords(rgn, i);
        for (size_t k = 0; k < words.size(); k += 2) f(int32_t(uint32_t(rgn.rcBounds.top) + i), words[k], words[k + 1]);
    }
}

inline bool isInWords(std::span<const int32_t> words, int32_t x) noexcept {
    if (words.empty() || x < words.front() || x >= words.back()) return false;
    size_t k = 0;
    while (x >= words[k + 1]) k += 2;
    return x >= words[k];
}

// The spans of a row that reach into [nLeft, nRight): the first and the last may stick out.
inline std::span<const int32_t> wordsWithin(std::span<const int32_t> words, int32_t nLeft, int32_t nRight) noexcept {
    size_t nFrom = 0, nTo = words.size();
    while (nFrom < nTo && words[nFrom + 1] <= nLeft) nFrom += 2;
    while (nTo > nFrom && words[nTo - 2] >= nRight) nTo -= 2;
    return words.subspan(nFrom, nTo - nFrom);
}

inline bool isEmptyBox(const RECT& r) noexcept { return r.left >= r.right || r.top >= r.bottom; }
inline RECT intersection(const RECT& a, const RECT& b) noexcept {
    const RECT r{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                 std::min(a.bottom, b.bottom)};
    return isEmptyBox(r) ? RECT{} : r;
}

// Words of the longest row.
uint32_t longestRow(const RavoRgn& rgn) noexcept;

// Whether all that is promised of a region holds; safe for any numbers in tables of the sizes told. The rows' spans
// stand in pSpans in the order of the rows, or in the reverse of it, without gaps.
bool isWellFormed(const RavoRgn& rgn) noexcept;

// ---- building ----------------------------------------------------------------------------------------------------

// A region in the making. Rows come from the top of a box down; within a row spans from left to right, none empty or
// touching. What isn't finished is released with the builder.
struct RgnBuilder {
    RavoRgn* pRgn = nullptr;
    int32_t* pSpanBase = nullptr;  // the region's span buffer
    uint32_t RowWords = 0;         // words of the current row so far
    RgnRow* pRowTable = nullptr;
    uint32_t RowTableBytes = 0;  // in use, empty rows at the end with them
    uint32_t MaxRowBytes = 0;    // that a row may take without asking
    uint32_t GrowBytes = 0;
    uint32_t SpanCapacity = 0;  // bytes
    int32_t CurrentY = 0;
    uint32_t RowIndex = 0;
    uint32_t SpanWriteWord = 0;  // where the current row starts in the buffer

    RgnBuilder() = default;
    RgnBuilder(const RgnBuilder&) = delete;
    RgnBuilder& operator=(const RgnBuilder&) = delete;
    ~RgnBuilder();

    // Where the next word goes; one who writes there himself adds to RowWords.
    int32_t* next() const noexcept { return pSpanBase + SpanWriteWord + RowWords; }
    // All spans of the row at once.
    void copy(std::span<const int32_t> words) noexcept {
        if (!words.empty()) std::memcpy(next(), words.data(), words.size_bytes());
        RowWords += uint32_t(words.size());
    }
    void add(int32_t nLeft, int32_t nRight) noexcept {
        int32_t* p = next();
        p[0] = nLeft;
        p[1] = nRight;
        RowWords += 2;
    }
    // A span that may be empty, or touch the one before it.
    void addTouching(int32_t nLeft, int32_t nRight) noexcept {
        if (nLeft == nRight) return;
        if (RowWords && next()[-1] == nLeft)
            next()[-1] = nRight;
        else
            add(nLeft, nRight);
    }
};

// Starts a region inside a box. A row may take the words that spans which don't touch need in the box's width, or
// nMaxRowWords where that is less. nSpanBytes is a guess at all spans, and with nMaxRowWords 0 what they take at most.
// Memory goes by the rows of the box and these two. 1, or -1.
int32_t RgnBuilderBegin(RgnBuilder& builder, const RECT& box, uint32_t nMaxRowWords = UINT32_MAX,
                        uint64_t nSpanBytes = 0) noexcept;

int32_t RgnBuilderGrow(RgnBuilder& builder) noexcept;

// Ends the current row. 1, or -1: then the builder is of no more use.
inline int32_t RgnBuilderEndRow(RgnBuilder& builder) noexcept {
    if (!builder.RowWords) {
        if (builder.RowIndex) {  // rows without spans at the start vanish, those at the end stay outside RowTableSize
            builder.pRowTable[builder.RowIndex++] = {};
            builder.RowTableBytes += uint32_t(sizeof(RgnRow));
        }
        ++builder.CurrentY;
        return 1;
    }
    RavoRgn& rgn = *builder.pRgn;
    const int32_t nLeft = builder.pSpanBase[builder.SpanWriteWord], nRight = builder.next()[-1];
    if (!builder.RowIndex) rgn.rcBounds = {nLeft, builder.CurrentY, nRight, builder.CurrentY};
    rgn.rcBounds.left = std::min(rgn.rcBounds.left, nLeft);
    rgn.rcBounds.right = std::max(rgn.rcBounds.right, nRight);
    rgn.rcBounds.bottom = ++builder.CurrentY;
    builder.pRowTable[builder.RowIndex++] = {builder.RowWords, rgn.SpanDataSize};
    rgn.RowTableSize = builder.RowTableBytes += uint32_t(sizeof(RgnRow));
    rgn.SpanDataSize += builder.RowWords * uint32_t(sizeof(int32_t));
    builder.SpanWriteWord += std::exchange(builder.RowWords, 0);
    if (builder.SpanCapacity - rgn.SpanDataSize < builder.MaxRowBytes) return RgnBuilderGrow(builder);
    return 1;
}

// Ends rows without spans until y is the current one.
inline void RgnBuilderSkipTo(RgnBuilder& builder, int32_t y) noexcept {
    if (!builder.RowIndex) builder.CurrentY = std::max(builder.CurrentY, y);
    while (builder.CurrentY < y) RgnBuilderEndRow(builder);  // an empty row can't fail
}

// Ends the current row nRows times over. 1 or -1.
inline int32_t RgnBuilderRepeatRow(RgnBuilder& builder, uint32_t nRows) noexcept {
    const uint32_t nStart = builder.SpanWriteWord, nWords = builder.RowWords;
    for (uint32_t i = 0; i < nRows; ++i) {
        if (i) builder.copy({builder.pSpanBase + nStart, nWords});
        if (const int32_t n = RgnBuilderEndRow(builder); n != 1) return n;
    }
    return 1;
}

// Trims the tables and hands the region over.
RavoRgn* RgnBuilderFinish(RgnBuilder& builder) noexcept;

// ---- records and tables ------------------------------------------------------------------------------------------

// A region that is deleted with its scope unless it was taken.
class RegionOwner {
    RavoRgn* m_p = nullptr;

public:
    RegionOwner() = default;
    explicit RegionOwner(RavoRgn* p) noexcept : m_p(p) {}
    RegionOwner(const RegionOwner&) = delete;
    RegionOwner& operator=(const RegionOwner&) = delete;
    ~RegionOwner();
    RavoRgn** out() noexcept { return &m_p; }  // only while empty
    RavoRgn* get() const noexcept { return m_p; }
    RavoRgn& operator*() const noexcept { return *m_p; }
    RavoRgn* take() noexcept { return std::exchange(m_p, nullptr); }
};

// Closes the cached copies in display coordinates, as every change of shape does.
void releaseDisplayHandles(RavoRgn& rgn) noexcept;

// Leaves an empty region.
void releaseContents(RavoRgn& rgn) noexcept;

// Puts the shape of fresh, which is deleted, into the record that others point at.
void replaceContents(RavoRgn& rgn, RavoRgn* pFresh) noexcept;

enum class RowOp { kIntersection, kDifference, kUnion, kSymmetric };

// What an operation makes of two regions. 1 or -1.
int32_t combineRegions(RavoRgn** ppResult, const RavoRgn& a, const RavoRgn& b, RowOp op) noexcept;

// The row with the pixels that one of two rows has alone, into dst; its end. No word past that is touched.
int32_t* exclusiveRow(int32_t* dst, std::span<const int32_t> a, std::span<const int32_t> b) noexcept;

// What rectangles cover, or with bParity what an odd number of them does. They come by their tops, none empty. Work
// goes by their number and by what the region holds, however many lie upon each other. 1 or -1.
int32_t coverRegion(RavoRgn** ppRgn, const RECT* pRects, size_t nRects, bool bParity) noexcept;

// Going through all rectangles of a row, row by row, is quicker where few lie upon each other. Whether that has looked
// at more of them than what it wrote explains.
inline bool isTooDeep(uint64_t nLookedAt, const RgnBuilder& builder) noexcept {
    return nLookedAt > (1u << 22) + 2 * uint64_t(builder.pRgn->SpanDataSize);
}

// A region with the bounds of another, and tables of the same sizes that hold nothing yet. 1 or -1.
int32_t newShape(RavoRgn** ppRgn, const RavoRgn& like) noexcept;
// A copy of the shape alone. 1 or -1.
int32_t copyShape(RavoRgn** ppRgn, const RavoRgn& rgn) noexcept;

// Mirrors left to right within a raster of nWidth columns: the spans of a row, as they stand in the table. 1, or -13 a
// place that 32 bits don't hold.
int32_t reverseRegion(RavoRgn& rgn, int32_t nWidth) noexcept;

// True for one span from left to right of the bounds on every row, and for an empty region.
bool RgnIsRectangle(const RavoRgn& rgn) noexcept;

// The region behind a handle of kind 4, which may be null there; false for any other handle.
bool regionOfHandle(const MEMHANDLE* h, RavoRgn** ppRgn) noexcept;
// A handle to the region that make(ppRgn) makes; null when that or the handle fails.
template <class Make>
RVHANDLE newRegionHandle(Make make) noexcept {
    RegionOwner rgn;
    if (make(rgn.out()) != 1) return nullptr;
    MEMHANDLE* h = newHandle(kHandleRegion);
    if (h) h->pBlock = rgn.take();
    return h;
}
// A handle to a copy of the region behind h. Null for null, and when memory is short.
RVHANDLE DuplicateRgnHandle(RVHANDLE h) noexcept;

// R_SetRavoRgnData for data that isn't trusted: -13 for a block whose size isn't the one that its counts ask for, or
// that tells of no region which the library could have made.
int32_t readRegionData(const uint8_t* pData, size_t nBytes, RavoRgn** ppRgn) noexcept;

}  // namespace rv
