// Regions changed in place: cut, moved, mirrored, scaled.
#include "internal/muldiv.h"
#include "internal/region_.h"

namespace rv {
namespace {

// For as long as the 32-bit product of a bound and the numerator overflows, the fraction loses a bit. False where there
// is no more to lose.
bool narrowFraction(int32_t nBound, int32_t& nNum, int32_t& nDen) noexcept {
    const int64_t nSize = nBound < 0 ? -int64_t(nBound) : nBound;
    while (nNum && nSize > INT32_MAX / (nNum < 0 ? -int64_t(nNum) : nNum)) {
        if (nNum == -1 && nDen == -1) return false;  // which a shift doesn't change
        nNum >>= 1;
        nDen >>= 1;
        if (nDen) continue;
        nDen = 1;
        return false;
    }
    return true;
}

// A row's spans scaled; those that come to touch are one, and those without width none.
void scaleRow(RgnBuilder& builder, std::span<const int32_t> words, int32_t nNum, int32_t nDen) noexcept {
    int32_t nLeft = 0, nRight = 0;
    for (size_t k = 0; k < words.size(); k += 2) {
        const int32_t nNextLeft = mulDiv(words[k], nNum, nDen), nNextRight = mulDiv(words[k + 1], nNum, nDen);
        if (nNextLeft != nRight) {
            if (nLeft < nRight) builder.add(nLeft, nRight);
            nLeft = nNextLeft;
        }
        nRight = nNextRight;
    }
    if (nLeft < nRight) builder.add(nLeft, nRight);
}

int32_t scaleRegion(RavoRgn* pRgn, int32_t nXNum, int32_t nXDen, int32_t nYNum, int32_t nYDen) noexcept {
    if (!pRgn || !nXDen || !nYDen) return -13;
    if (nXNum == nXDen && nYNum == nYDen) return 1;
    const RECT old = pRgn->rcBounds;
    if (narrowFraction(old.left, nXNum, nXDen)) narrowFraction(old.right, nXNum, nXDen);
    if (narrowFraction(old.top, nYNum, nYDen)) narrowFraction(old.bottom, nYNum, nYDen);
    const RECT box{mulDiv(old.left, nXNum, nXDen), mulDiv(old.top, nYNum, nYDen), mulDiv(old.right, nXNum, nXDen),
                   mulDiv(old.bottom, nYNum, nYDen)};
    if (isEmptyBox(box)) {
        releaseContents(*pRgn);
        return 1;
    }
    // The width isn't told: past 32 bits the scaled edges don't keep to the scaled bounds.
    RgnBuilder builder;
    if (const int32_t n = RgnBuilderBegin(builder, {0, box.top, INT32_MAX, box.bottom}, longestRow(*pRgn)); n != 1)
        return n;
    for (int32_t y = old.top; y < old.bottom; ++y) {
        const int32_t nFrom = std::max(mulDiv(y, nYNum, nYDen), builder.CurrentY);
        const int32_t nTo = std::min(mulDiv(y + 1, nYNum, nYDen), box.bottom);
        if (nFrom >= nTo) continue;
        RgnBuilderSkipTo(builder, nFrom);
        scaleRow(builder, wordsAt(*pRgn, y), nXNum, nXDen);
        if (const int32_t n = RgnBuilderRepeatRow(builder, uint32_t(nTo - nFrom)); n != 1) return n;
    }
    replaceContents(*pRgn, RgnBuilderFinish(builder));
    return 1;
}

int32_t clipRegion(RavoRgn* pRgn, const RECT* pRect) noexcept {
    if (!pRgn || !pRect) return -13;
    const RECT box = intersection(pRgn->rcBounds, *pRect);
    if (isEmptyBox(box)) {
        releaseContents(*pRgn);
        return 1;
    }
    if (!std::memcmp(&box, &pRgn->rcBounds, sizeof box)) return 1;
    uint64_t nSpanBytes = 0;
    for (int32_t y = box.top; y < box.bottom; ++y) nSpanBytes += wordsAt(*pRgn, y).size_bytes();
    RgnBuilder builder;
    if (const int32_t n = RgnBuilderBegin(builder, box, 0, nSpanBytes); n != 1) return n;
    while (builder.CurrentY < box.bottom) {
        builder.copy(wordsWithin(wordsAt(*pRgn, builder.CurrentY), box.left, box.right));
        if (builder.RowWords) {
            int32_t* const pRow = builder.pSpanBase + builder.SpanWriteWord;
            pRow[0] = std::max(pRow[0], box.left);
            builder.next()[-1] = std::min(builder.next()[-1], box.right);
        }
        if (const int32_t n = RgnBuilderEndRow(builder); n != 1) return n;
    }
    replaceContents(*pRgn, RgnBuilderFinish(builder));
    return 1;
}

// Both edges of bounds, moved; false where 32 bits don't hold them.
bool moveEdges(int32_t& nFrom, int32_t& nTo, int64_t nBy) noexcept {
    if (nFrom + nBy < INT32_MIN || nTo + nBy > INT32_MAX) return false;
    nFrom = int32_t(nFrom + nBy);
    nTo = int32_t(nTo + nBy);
    return true;
}

}  // namespace

int32_t reverseRegion(RavoRgn& rgn, int32_t nWidth) noexcept {
    if (!rgn.RowTableSize) return 1;
    RECT box = rgn.rcBounds;
    if (!moveEdges(box.left, box.right, int64_t(nWidth) - box.right - box.left)) return -13;
    releaseDisplayHandles(rgn);
    rgn.rcBounds = box;
    for (uint32_t i = 0; i < rowCount(rgn); ++i) {
        int32_t* const p = rgn.pSpans + rgn.pRows[i].SpanOffset / sizeof(int32_t);
        std::reverse(p, p + rgn.pRows[i].SpanWords);
        for (uint32_t k = 0; k < rgn.pRows[i].SpanWords; ++k) p[k] = int32_t(int64_t(nWidth) - p[k]);
    }
    return 1;
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_ClipRavoRgnRect(RavoRgn* pRgn, const RECT* pRect) noexcept { return clipRegion(pRgn, pRect); }
int32_t ClipRavoRgnRect(RavoRgn* pRgn, const RECT* pRect) noexcept { return clipRegion(pRgn, pRect); }

int32_t R_OffsetRavoRgn(RavoRgn* pRgn, int32_t dx, int32_t dy) noexcept {
    if (!pRgn) return -13;
    if (!pRgn->RowTableSize || (!dx && !dy)) return 1;
    RECT box = pRgn->rcBounds;
    if (!moveEdges(box.left, box.right, dx) || !moveEdges(box.top, box.bottom, dy)) return -13;
    releaseDisplayHandles(*pRgn);
    pRgn->rcBounds = box;
    const size_t nWords = dx ? 2 * size_t(spanCount(*pRgn)) : 0;
    for (size_t i = 0; i < nWords; ++i) pRgn->pSpans[i] += dx;
    return 1;
}

int32_t R_FlipRavoRgn(RavoRgn* pRgn, int32_t nHeight) noexcept {
    if (!pRgn) return -13;
    if (!pRgn->RowTableSize) return 1;
    RECT box = pRgn->rcBounds;
    if (!moveEdges(box.top, box.bottom, int64_t(nHeight) - box.bottom - box.top)) return -13;
    releaseDisplayHandles(*pRgn);
    pRgn->rcBounds = box;
    std::reverse(pRgn->pRows, pRgn->pRows + rowCount(*pRgn));
    return 1;
}

int32_t R_ScaleRavoRgn(RavoRgn* pRgn, int32_t nXNum, int32_t nXDen, int32_t nYNum, int32_t nYDen) noexcept {
    return scaleRegion(pRgn, nXNum, nXDen, nYNum, nYDen);
}
int32_t ScaleRavoRgn(RavoRgn* pRgn, int32_t nXNum, int32_t nXDen, int32_t nYNum, int32_t nYDen) noexcept {
    return scaleRegion(pRgn, nXNum, nXDen, nYNum, nYDen);
}

}  // extern "C"
