// Regions from outlines, by an edge table that is walked once from the top row down.
//
// An edge crosses the rows from its upper end to before its lower one. So a row through a vertex counts it once where
// the outline goes on to the other side, and twice or not at all where it turns back; edges along a row never count.
// The way back from each polygon to the start of the list would be crossed twice in opposite directions, which changes
// neither parity nor winding: each polygon is closed by itself.
#include <cmath>

#include "internal/contours_.h"
#include "internal/region_.h"
#include "internal/rvclasses_.h"

namespace rv {
namespace {

// The box of an outline starts from these values, which takes in more than the points where they lie beyond.
constexpr int32_t kSmallestStart = 100000, kLargestStart = 0;

// Up to these numbers the exact crossing and the one in double precision lie in the same pixel: products are exact,
// and a fraction is at least 2^-25, which outweighs the rounding.
constexpr double kExact = 1 << 25;

// An edge on its way down: where it crosses the current row, as the first pixel that has the crossing at or left of it.
struct Edge {
    POINT from;  // its points in the order of the outline
    POINT to;
    int32_t nTop, nBottom;
    int32_t nWinding;                  // 1 downward, -1 upward
    int32_t x;                         // of row nTop at first
    int32_t nStep, nRem, nAcc, nRows;  // by quotient and remainder; nRows is 0 for numbers beyond the exact ones

    double crossing(int32_t y) const noexcept {
        return (double(to.x) - from.x) * (double(y) - from.y) / (double(to.y) - from.y) + from.x;
    }
    static int32_t ceiling(double d) noexcept {
        const auto n = int32_t(d);  // toward zero
        return n + (d > n);
    }

    // To row nTop.
    void start() noexcept {
        const POINT &upper = nWinding > 0 ? from : to, &lower = nWinding > 0 ? to : from;
        const double dx = double(lower.x) - upper.x, dy = double(lower.y) - upper.y;
        nRows = nStep = nRem = nAcc = 0;
        if (std::abs(dx) > kExact || dy > kExact || std::abs(double(x)) > kExact) return;
        nRows = lower.y - upper.y;
        const int32_t nWide = lower.x - upper.x;
        nStep = nWide / nRows - (nWide % nRows < 0);
        nRem = nWide - nStep * nRows;
        nAcc = nRows - 1;
    }
    // To the row after.
    void advance(int32_t y) noexcept {
        if (nRows == 0) [[unlikely]] {
            x = ceiling(crossing(y));
            return;
        }
        nAcc += nRem;
        const int32_t nCarry = nAcc >= nRows;
        nAcc -= nCarry ? nRows : 0;
        x += nStep + nCarry;
    }
};

class EdgeTable {
    Buffer<Edge> m_edges;
    uint32_t m_nEdges = 0;

    void add(POINT a, POINT b) noexcept {
        if (a.y == b.y) return;
        Edge& e = m_edges[m_nEdges++];
        e.from = a;
        e.to = b;
        e.nTop = std::min(a.y, b.y);
        e.nBottom = std::max(a.y, b.y);
        e.nWinding = b.y > a.y ? 1 : -1;
        e.x = e.nWinding > 0 ? a.x : b.x;
    }

public:
    int32_t prepare(uint64_t nCount) noexcept { return m_edges.allocate(nCount) ? 1 : -1; }

    void addPolygon(const POINT* p, size_t n) noexcept {
        if (n < 3) return;  // there and back, perhaps over hundreds of millions of rows
        for (size_t i = 0; i + 1 < n; ++i) add(p[i], p[i + 1]);
        add(p[n - 1], p[0]);
    }
    void addRectangle(const POINT& a, const POINT& b) noexcept {
        const int32_t nTop = std::min(a.y, b.y), nBottom = std::max(a.y, b.y);
        add({std::min(a.x, b.x), nTop}, {std::min(a.x, b.x), nBottom});
        add({std::max(a.x, b.x), nBottom}, {std::max(a.x, b.x), nTop});
    }

    // 1, -1, or for rectangles kTooDeep, when another way is quicker.
    int32_t scan(RavoRgn** ppRgn, const RECT& box, bool bWinding, bool bRectangles) noexcept;
};

constexpr int32_t kTooDeep = 0;

// Sorted from row to row by insertion: crossings seldom change places. How many others moved.
inline uint32_t insert(Edge* p, uint32_t i, const Edge& e) noexcept {
    const uint32_t nFrom = i;
    for (; i > 0 && p[i - 1].x > e.x; --i) p[i] = p[i - 1];
    p[i] = e;
    return nFrom - i;
}

// Takes the edges from pFrom to pTo, which are in order, in among those of p; how many there are then.
uint32_t mergeIn(Edge* p, uint32_t n, const Edge* pFrom, const Edge* pTo) noexcept {
    const uint32_t nAll = n + uint32_t(pTo - pFrom);
    for (Edge* pOut = p + nAll; pTo != pFrom;) *--pOut = n > 0 && p[n - 1].x > pTo[-1].x ? p[--n] : *--pTo;
    return nAll;
}

int32_t EdgeTable::scan(RavoRgn** ppRgn, const RECT& box, bool bWinding, bool bRectangles) noexcept {
    RgnBuilder builder;
    if (const int32_t n = RgnBuilderBegin(builder, box, m_nEdges); n != 1) return n;
    const Buffer<Edge> active(m_nEdges);
    if (!active) return -1;
    Edge* const pEdges = m_edges.get();
    std::sort(pEdges, pEdges + m_nEdges,
              [](const Edge& a, const Edge& b) { return a.nTop != b.nTop ? a.nTop < b.nTop : a.x < b.x; });
    Edge* const p = active.get();
    uint32_t nActive = 0, nNext = 0;
    uint64_t nLookedAt = 0;
    for (int32_t y = box.top; nActive || nNext < m_nEdges; ++y) {
        if (!nActive) y = pEdges[nNext].nTop;
        if (isTooDeep(nLookedAt += nActive, builder) && bRectangles) return kTooDeep;
        uint32_t nKept = 0;
        uint64_t nMoved = 0;
        const uint64_t nMayMove = 16 * uint64_t(nActive);
        for (uint32_t i = 0; i < nActive; ++i) {
            if (p[i].nBottom == y) continue;
            p[i].advance(y);
            if (nMoved > nMayMove)
                p[nKept] = p[i];
            else if (nKept < i || (i > 0 && p[i - 1].x > p[i].x))
                nMoved += insert(p, nKept, Edge(p[i]));
            ++nKept;
        }
        if (nMoved > nMayMove) std::sort(p, p + nKept, [](const Edge& a, const Edge& b) { return a.x < b.x; });
        const uint32_t nFirst = nNext;
        for (; nNext < m_nEdges && pEdges[nNext].nTop == y; ++nNext) pEdges[nNext].start();
        nActive = mergeIn(p, nKept, pEdges + nFirst, pEdges + nNext);
        if (!nActive) continue;

        RgnBuilderSkipTo(builder, y);
        if (!bWinding) {
            for (uint32_t i = 0; i + 1 < nActive; i += 2) builder.addTouching(p[i].x, p[i + 1].x);
        } else {
            int32_t nWinding = 0;
            for (uint32_t i = 0; i + 1 < nActive; ++i) {
                nWinding += p[i].nWinding;
                if (nWinding) builder.addTouching(p[i].x, p[i + 1].x);
            }
        }
        if (const int32_t n = RgnBuilderEndRow(builder); n != 1) return n;
    }
    *ppRgn = RgnBuilderFinish(builder);
    return 1;
}

// Calls f(first point, number of points) for each polygon, until one gives false.
template <class F>
bool eachPolygon(const POINT* pPoints, const uint32_t* pTypes, size_t nCount, F&& f) noexcept {
    for (size_t i = 0, nEnd; i < nCount; i = nEnd) {
        for (nEnd = i + 1; nEnd < nCount && (!pTypes || pTypes[nEnd]);) ++nEnd;
        if (!f(pPoints + i, nEnd - i)) return false;
    }
    return true;
}

bool isRectangle(const POINT* p, size_t n) noexcept {
    if (n == 5 && p[4].x == p[0].x && p[4].y == p[0].y) n = 4;
    if (n != 4) return false;
    return (p[0].y == p[1].y && p[1].x == p[2].x && p[2].y == p[3].y && p[3].x == p[0].x) ||
           (p[0].x == p[1].x && p[1].y == p[2].y && p[2].x == p[3].x && p[3].y == p[0].y);
}

// The same region where so many rectangles lie upon each other that all edges of each row are too many.
int32_t deepRectangles(RavoRgn** ppRgn, const POINT* pPoints, const uint32_t* pTypes, size_t nCount,
                       bool bParity) noexcept {
    const Buffer<RECT> rects(nCount / 4);
    if (!rects) return -1;  // Not enough memory available
    RECT* pEnd = rects.get();
    eachPolygon(pPoints, pTypes, nCount, [&](const POINT* p, size_t) {
        const RECT r{std::min(p[0].x, p[2].x), std::min(p[0].y, p[2].y), std::max(p[0].x, p[2].x),
                     std::max(p[0].y, p[2].y)};
        if (!isEmptyBox(r)) *pEnd++ = r;
        return true;
    });
    std::sort(rects.get(), pEnd, [](const RECT& a, const RECT& b) { return a.top < b.top; });
    return coverRegion(ppRgn, rects.get(), size_t(pEnd - rects.get()), bParity);
}

}  // namespace
}  // namespace rv

extern "C" {

int32_t R_SegmentsToRegion(RavoRgn** ppRgn, const POINT* pPoints, const uint32_t* pTypes, int32_t nCount,
                           int32_t nFillMode) noexcept {
    using namespace rv;
    if (!ppRgn || !pPoints || nCount < 0) return -13;  // Invalid parameter passed
    const auto n = size_t(nCount);
    RECT box{kSmallestStart, kSmallestStart, kLargestStart, kLargestStart};
    for (size_t i = 0; i < n; ++i) {
        const POINT& p = pPoints[i];
        box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x), std::max(box.bottom, p.y)};
    }
    EdgeTable table;
    if (isEmptyBox(box)) return table.scan(ppRgn, {}, false, false);
    if (table.prepare(n) != 1) return -1;  // Not enough memory available
    const bool bRectangles = eachPolygon(pPoints, pTypes, n, isRectangle);
    eachPolygon(pPoints, pTypes, n, [&](const POINT* p, size_t nPoints) {
        bRectangles ? table.addRectangle(p[0], p[2]) : table.addPolygon(p, nPoints);
        return true;
    });
    const int32_t nStatus = table.scan(ppRgn, box, nFillMode == 0, bRectangles);
    return nStatus == kTooDeep ? deepRectangles(ppRgn, pPoints, pTypes, n, nFillMode != 0) : nStatus;
}

}  // extern "C"
