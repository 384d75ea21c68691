// Two regions combined row by row.
//
// No operation makes more spans than its operands have together, so the result's table is made once for both and
// trimmed: rows are merged straight into it. Rows that only one operand has are copied whole.
#include "internal/region_.h"

namespace rv {
namespace {

// A row kernel merges two rows that both have spans into dst and returns the end of what it wrote.
using Words = std::span<const int32_t>;
using RowKernel = int32_t* (*)(int32_t* dst, Words a, Words b) noexcept;

int32_t* copyWords(int32_t* dst, const int32_t* p, const int32_t* pEnd) noexcept {
    const auto n = size_t(pEnd - p);
    std::memcpy(dst, p, n * sizeof *p);
    return dst + n;
}

int32_t* intersectRow(int32_t* dst, Words a, Words b) noexcept {
    const int32_t *pA = a.data(), *pB = b.data(), *const pEndA = pA + a.size(), *const pEndB = pB + b.size();
    for (;;) {
        const int32_t nRightA = pA[1], nRightB = pB[1];
        dst[0] = std::max(pA[0], pB[0]);
        dst[1] = std::min(nRightA, nRightB);
        dst += dst[0] < dst[1] ? 2 : 0;
        if (nRightA <= nRightB && (pA += 2) == pEndA) return dst;
        if (nRightB <= nRightA && (pB += 2) == pEndB) return dst;
    }
}

// One row has no more spans: what of the other lies beyond ends the union. Its gap starts at nGap, and p is behind it.
int32_t* uniteRest(int32_t* dst, int32_t nRight, int32_t nGap, const int32_t* p, const int32_t* pEnd) noexcept {
    for (; p != pEnd; p += 2) {
        nRight = std::max(nRight, nGap);
        if (nRight < p[0]) {
            *dst++ = nRight;
            return copyWords(dst, p, pEnd);
        }
        nGap = p[1];
    }
    *dst++ = std::max(nRight, nGap);
    return dst;
}

// A union's gaps are what is in the gaps of both. Its first one, to the left of all, has no start.
int32_t* uniteRow(int32_t* dst, Words a, Words b) noexcept {
    const int32_t *pA = a.data(), *pB = b.data(), *const pEndA = pA + a.size(), *const pEndB = pB + b.size();
    int32_t nGapA = INT32_MIN, nGapB = INT32_MIN, nEndA = pA[0], nEndB = pB[0];
    *dst++ = std::min(nEndA, nEndB);
    for (;;) {
        if (nEndA <= nEndB) {
            nGapA = pA[1];
            if ((pA += 2) == pEndA) return uniteRest(dst, nGapA, nGapB, pB, pEndB);
        }
        if (nEndB <= nEndA) {
            nGapB = pB[1];
            if ((pB += 2) == pEndB) return uniteRest(dst, nGapB, nGapA, pA, pEndA);
        }
        nEndA = pA[0];
        nEndB = pB[0];
        dst[0] = std::max(nGapA, nGapB);
        dst[1] = std::min(nEndA, nEndB);
        dst += dst[0] < dst[1] ? 2 : 0;
    }
}

int32_t* subtractRow(int32_t* dst, Words a, Words b) noexcept {
    const int32_t *pB = b.data(), *const pEndB = pB + b.size(), *const pEndA = a.data() + a.size();
    for (const int32_t* pA = a.data(); pA != pEndA; pA += 2) {
        int32_t nLeft = pA[0];
        const int32_t nRight = pA[1];
        while (pB != pEndB && pB[1] <= nLeft) pB += 2;
        while (pB != pEndB && pB[0] < nRight) {
            dst[0] = nLeft;
            dst[1] = pB[0];
            dst += nLeft < pB[0] ? 2 : 0;
            nLeft = pB[1];
            if (nLeft >= nRight) break;  // the same span of b may reach into the next one of a
            pB += 2;
        }
        dst[0] = nLeft;
        dst[1] = nRight;
        dst += nLeft < nRight ? 2 : 0;
        if (pB == pEndB) return copyWords(dst, pA + 2, pEndA);
    }
    return dst;
}

struct Operation {
    RowKernel merge;
    bool bWithoutA, bWithoutB;  // whether a row stays that only b, only a has
};
constexpr Operation kOperations[] = {
    {intersectRow, false, false}, {subtractRow, false, true}, {uniteRow, true, true}, {exclusiveRow, true, true}};

// Empty operands have no place.
RECT commonBox(const RECT& a, const RECT& b, const Operation& op) noexcept {
    if (isEmptyBox(a)) return op.bWithoutA ? b : RECT{};
    if (!op.bWithoutB) return intersection(a, b);
    if (isEmptyBox(b) || !op.bWithoutA) return a;
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right), std::max(a.bottom, b.bottom)};
}

int32_t combineMode(RavoRgn** ppResult, const RavoRgn* pA, const RavoRgn* pB, int32_t nMode) noexcept {
    constexpr RowOp kOps[] = {RowOp::kIntersection, {}, {}, RowOp::kDifference, RowOp::kUnion, RowOp::kSymmetric};
    if (!ppResult || nMode < 0 || nMode > 5 || nMode == 2) return -13;
    if (nMode == 1) return R_CopyRavoRgn(ppResult, pA);
    if (!pA || !pB) return -13;
    return combineRegions(ppResult, *pA, *pB, kOps[nMode]);
}

}  // namespace

int32_t* exclusiveRow(int32_t* dst, Words a, Words b) noexcept {
    const int32_t *pA = a.data(), *pB = b.data(), *const pEndA = pA + a.size(), *const pEndB = pB + b.size();
    while (pA != pEndA && pB != pEndB) {  // edges in order; where both rows have one, neither counts
        const int32_t nA = *pA, nB = *pB;
        if (nA != nB) *dst++ = std::min(nA, nB);
        pA += nA <= nB;
        pB += nB <= nA;
    }
    dst = copyWords(dst, pA, pEndA);
    return copyWords(dst, pB, pEndB);
}

int32_t combineRegions(RavoRgn** ppResult, const RavoRgn& a, const RavoRgn& b, RowOp which) noexcept {
    const Operation& op = kOperations[int(which)];
    const RECT box = commonBox(a.rcBounds, b.rcBounds, op);
    const uint64_t nSpanBytes = uint64_t(a.SpanDataSize) + b.SpanDataSize;
    if (nSpanBytes > UINT32_MAX) return -1;
    RgnBuilder builder;
    if (const int32_t n = RgnBuilderBegin(builder, box, 0, nSpanBytes); n != 1) return n;
    while (builder.CurrentY < box.bottom) {
        const Words rowA = wordsAt(a, builder.CurrentY), rowB = wordsAt(b, builder.CurrentY);
        int32_t* const dst = builder.next();
        if (!rowA.empty() && !rowB.empty())
            builder.RowWords = uint32_t(op.merge(dst, rowA, rowB) - dst);
        else if (const Words row = rowA.empty() ? rowB : rowA; rowA.empty() ? op.bWithoutA : op.bWithoutB)
            builder.copy(row);
        if (const int32_t n = RgnBuilderEndRow(builder); n != 1) return n;
    }
    *ppResult = RgnBuilderFinish(builder);
    return 1;
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_CombineRavoRgn(RavoRgn** ppResult, const RavoRgn* pA, const RavoRgn* pB, int32_t nMode) noexcept {
    return combineMode(ppResult, pA, pB, nMode);
}
int32_t CombineRavoRgn(RavoRgn** ppResult, const RavoRgn* pA, const RavoRgn* pB, int32_t nMode) noexcept {
    return combineMode(ppResult, pA, pB, nMode);
}

}  // extern "C"
