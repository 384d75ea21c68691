// Regions to rectangles, and rectangles to the contours of their union.
//
// The union is walked in bands from one row at which rectangles start or end to the next. A contour is a chain of
// corners: at the seam of two bands, corners stand where one of them begins or ends a stretch and the other doesn't do
// the same; upright lines hang from the corner at their upper end until a corner ends them.
#include <algorithm>
#include <vector>

#include "internal/bitmap_.h"
#include "internal/contours_.h"
#include "internal/coverage.h"
#include "internal/region_.h"
#include "internal/rvclasses_.h"

namespace rv {
namespace {

// ---- rectangles of a region --------------------------------------------------------------------------------------

// Rectangles in the order in which they start. Those that the last row continues are still open, from left to right.
void collectRectangles(const RavoRgn& rgn, std::vector<RECT>& rects) {
    std::vector<size_t> open, now;
    for (uint32_t i = 0; i < rowCount(rgn); ++i) {
        const auto words = rowWords(rgn, i);
        const auto y = int32_t(uint32_t(rgn.rcBounds.top) + i);
        now.clear();
        size_t nOpen = 0;
        for (size_t k = 0; k < words.size(); k += 2) {
            while (nOpen < open.size() && rects[open[nOpen]].left < words[k]) ++nOpen;
            if (nOpen < open.size() && rects[open[nOpen]].left == words[k] &&
                rects[open[nOpen]].right == words[k + 1]) {
                rects[open[nOpen]].bottom = y + 1;
                now.push_back(open[nOpen]);
            } else {
                now.push_back(rects.size());
                rects.push_back({words[k], y, words[k + 1], y + 1});
            }
        }
        open.swap(now);
    }
}

int32_t toSegments(const RavoRgn& rgn, POINT** ppPoints, uint32_t** ppTypes, int32_t* pnCount) {
    std::vector<RECT> rects;
    collectRectangles(rgn, rects);
    if (rects.size() > INT32_MAX / 4) return -1;
    POINT* pPoints = nullptr;
    uint32_t* pTypes = nullptr;
    if (!rects.empty()) {
        pPoints = newBlock<POINT>(rects.size() * 4);
        pTypes = newBlock<uint32_t>(rects.size() * 4);
        if (!pPoints || !pTypes) {
            freeBlock(pPoints);
            freeBlock(pTypes);
            return -1;  // Not enough memory available
        }
    }
    for (size_t i = 0; i < rects.size(); ++i) {
        const RECT& r = rects[i];
        const POINT corners[] = {{r.left, r.top}, {r.right, r.top}, {r.right, r.bottom}, {r.left, r.bottom}};
        std::copy_n(corners, 4, pPoints + i * 4);
        for (size_t k = 0; k < 4; ++k) pTypes[i * 4 + k] = k > 0;
    }
    *ppPoints = pPoints;
    *ppTypes = pTypes;
    *pnCount = int32_t(rects.size() * 4);
    return 1;
}

// ---- bands of a union --------------------------------------------------------------------------------------------

// A corner or an end of a stretch in a band.
struct End {
    int32_t x;
    bool bStarts;   // a stretch begins here, else it ends
    size_t nUpper;  // the corner that the upright line through it hangs from
};
using Band = std::vector<End>;

// Corners with the one that follows in the contour.
struct Corner {
    POINT at;
    size_t nNext;
};

class Tracer {
    static constexpr size_t kNone = SIZE_MAX;
    std::vector<Corner> m_corners;

    size_t corner(int32_t x, int32_t y) {
        m_corners.push_back({{x, y}, kNone});
        return m_corners.size() - 1;
    }
    void link(size_t nFrom, size_t nTo) noexcept { m_corners[nFrom].nNext = nTo; }

    // The line of a left side goes up, that of a right side down: clockwise around what is inside.
    void endUpright(const End& end, size_t nCorner) noexcept {
        end.bStarts ? link(nCorner, end.nUpper) : link(end.nUpper, nCorner);
    }

public:
    // Passes from the band above row y to the one below.
    void seam(int32_t y, const Band& above, Band& below) {
        bool bAbove = false;   // inside the upper band on the left of the place
        size_t nLine = kNone;  // the left end of the line along the seam that is open
        for (size_t a = 0, b = 0; a < above.size() || b < below.size();) {
            const bool bA = a < above.size() && (b == below.size() || above[a].x <= below[b].x);
            const bool bB = b < below.size() && (a == above.size() || below[b].x <= above[a].x);
            const int32_t x = bA ? above[a].x : below[b].x;
            if (bA && bB && above[a].bStarts == below[b].bStarts) {  // straight on, down
                below[b].nUpper = above[a].nUpper;
            } else {
                const bool bTop = !bAbove;  // of the line on the left: its inside is below
                if (bA && bB) {             // two parts touch: a corner for each
                    const size_t nLeft = corner(x, y), nRight = corner(x, y);
                    bTop ? link(nLine, nLeft) : link(nLeft, nLine);
                    // The part above lies on one side of the place, the part below on the other.
                    endUpright(above[a], above[a].bStarts ? nRight : nLeft);
                    below[b].nUpper = below[b].bStarts ? nRight : nLeft;
                    nLine = nRight;
                } else {
                    const size_t n = corner(x, y);
                    if (nLine == kNone) {
                        nLine = n;
                    } else {
                        bTop ? link(nLine, n) : link(n, nLine);
                        nLine = kNone;
                    }
                    if (bA) endUpright(above[a], n);
                    if (bB) below[b].nUpper = n;
                }
            }
            if (bA) bAbove = above[a++].bStarts;
            if (bB) ++b;
        }
    }

    int32_t write(SEGMENTLINES& lines);
};

int32_t Tracer::write(SEGMENTLINES& lines) {
    std::vector<int32_t> counts;
    std::vector<POINT> points;
    points.reserve(m_corners.size());
    for (size_t i = 0; i < m_corners.size(); ++i) {
        const size_t nBefore = points.size();
        for (size_t n = i; m_corners[n].nNext != kNone;) {
            points.push_back(m_corners[n].at);
            n = std::exchange(m_corners[n].nNext, kNone);
        }
        if (points.size() > nBefore) counts.push_back(int32_t(points.size() - nBefore));
    }
    if (counts.empty()) return 1;
    lines.pPointsPerContour = newBlock<int32_t>(counts.size());
    lines.pContourClosed = newBlock<int32_t>(counts.size());
    lines.ppContourPoints = newBlock<POINT*>(counts.size());
    POINT* p = newBlock<POINT>(points.size());
    if (!lines.pPointsPerContour || !lines.pContourClosed || !lines.ppContourPoints || !p) {
        freeBlock(p);
        R_FreeSegmentLines(&lines);
        return -1;  // Not enough memory available
    }
    lines.nContours = int32_t(counts.size());
    std::copy(points.begin(), points.end(), p);
    for (size_t i = 0; i < counts.size(); ++i) {
        lines.pPointsPerContour[i] = counts[i];
        lines.pContourClosed[i] = 1;
        lines.ppContourPoints[i] = p;
        p += counts[i];
    }
    return 1;
}

// The stretches that rectangles cover, from band to band. All those of a band are gone through for as long as few lie
// upon each other.
class Bands {
    const std::vector<RECT>& m_rects;  // by their tops
    std::vector<RECT> m_active;        // by their left sides
    std::vector<RECT> m_ending;        // by their bottoms; once too many lie upon each other
    Coverage m_coverage;
    size_t m_nNext = 0, m_nEnd = 0;
    uint64_t m_nLookedAt = 0, m_nTold = 0;

    static void add(Band& band, int32_t nLeft, int32_t nRight) {
        if (!band.empty() && nLeft <= band.back().x) {
            band.back().x = std::max(band.back().x, nRight);
        } else {
            band.push_back({nLeft, true, 0});
            band.push_back({nRight, false, 0});
        }
    }
    bool goDeep(int32_t y) {
        if (!m_coverage.prepare(m_rects.data(), m_rects.size(), false)) return false;
        m_ending = m_rects;
        std::sort(m_ending.begin(), m_ending.end(), [](const RECT& a, const RECT& b) { return a.bottom < b.bottom; });
        while (m_ending[m_nEnd].bottom < y) ++m_nEnd;
        for (const RECT& r : m_active) m_coverage.come(r);
        return true;
    }
    void nextShallow(int32_t y, Band& below) {
        std::erase_if(m_active, [y](const RECT& r) { return r.bottom <= y; });
        for (; m_nNext < m_rects.size() && m_rects[m_nNext].top == y; ++m_nNext) {
            const auto place = std::upper_bound(m_active.begin(), m_active.end(), m_rects[m_nNext],
                                                [](const RECT& a, const RECT& b) { return a.left < b.left; });
            m_nLookedAt += size_t(m_active.end() - place) / 16;  // moved as one block
            m_active.insert(place, m_rects[m_nNext]);
        }
        for (const RECT& r : m_active) add(below, r.left, r.right);
        m_nLookedAt += m_active.size();
        m_nTold += below.size();
    }
    void nextDeep(int32_t y, Band& below) {
        while (m_nEnd < m_nNext && m_ending[m_nEnd].bottom == y) m_coverage.go(m_ending[m_nEnd++]);
        while (m_nNext < m_rects.size() && m_rects[m_nNext].top == y) m_coverage.come(m_rects[m_nNext++]);
        m_coverage.forEachPiece([&](int32_t nLeft, int32_t nRight) { add(below, nLeft, nRight); });
    }

public:
    explicit Bands(const std::vector<RECT>& rects) noexcept : m_rects(rects) {}

    // The band that starts at y, the next row at which rectangles start or end. 1 or -1.
    int32_t next(int32_t y, Band& below) {
        below.clear();
        if (m_ending.empty() && m_nLookedAt > (1u << 22) + 8 * m_nTold && !goDeep(y)) return -1;
        m_ending.empty() ? nextShallow(y, below) : nextDeep(y, below);
        return 1;
    }
};

int32_t traceUnion(const POINT* pPoints, size_t nRects, SEGMENTLINES& lines) {
    std::vector<RECT> rects;
    std::vector<int32_t> seams;
    for (size_t i = 0; i < nRects; ++i) {
        const POINT &a = pPoints[i * 4], &b = pPoints[i * 4 + 2];
        const RECT r{std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y)};
        if (isEmptyBox(r)) continue;
        rects.push_back(r);
        seams.push_back(r.top);
        seams.push_back(r.bottom);
    }
    std::sort(rects.begin(), rects.end(), [](const RECT& a, const RECT& b) { return a.top < b.top; });
    std::sort(seams.begin(), seams.end());
    seams.erase(std::unique(seams.begin(), seams.end()), seams.end());

    Tracer tracer;
    Band above, below;
    Bands bands(rects);
    for (const int32_t y : seams) {
        if (bands.next(y, below) != 1) return -1;  // Not enough memory available
        tracer.seam(y, above, below);
        above.swap(below);
    }
    return tracer.write(lines);
}

}  // namespace
}  // namespace rv

extern "C" {

int32_t R_RegionToSegments(const RavoRgn* pRgn, POINT** ppPoints, uint32_t** ppTypes, int32_t* pnCount) noexcept {
    if (!pRgn || !ppPoints || !ppTypes || !pnCount) return -13;  // Invalid parameter passed
    return rv::guarded([&] { return rv::toSegments(*pRgn, ppPoints, ppTypes, pnCount); });
}

void R_FreeRegionSegments(POINT** ppPoints, uint32_t** ppTypes) noexcept {
    if (ppPoints) rv::freeBlock(*ppPoints);
    if (ppTypes) rv::freeBlock(*ppTypes);
}

int32_t R_SegmentsToLines(const POINT* pPoints, int32_t nCount, SEGMENTLINES* pLines) noexcept {
    if (pLines) *pLines = {};
    if (!pPoints || !pLines || nCount < 4 || nCount % 4) return -13;  // Invalid parameter passed
    return rv::guarded([&] { return rv::traceUnion(pPoints, size_t(nCount / 4), *pLines); });
}

int32_t R_FreeSegmentLines(SEGMENTLINES* pLines) noexcept {
    if (!pLines) return -13;  // Invalid parameter passed
    if (pLines->ppContourPoints) rv::freeBlock(pLines->ppContourPoints[0]);
    rv::freeBlock(pLines->ppContourPoints);
    rv::freeBlock(pLines->pPointsPerContour);
    rv::freeBlock(pLines->pContourClosed);
    pLines->nContours = 0;
    return 1;
}

}  // extern "C"
