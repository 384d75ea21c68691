// Warping a rectangle into a convex quadrilateral. The projective map of the unit square onto the corners is inverted
// and led on into the source's stored pixels, so that one map takes each destination pixel to its place.
//
// P. Heckbert, Fundamentals of Texture Mapping and Image Warping, 1989: the square-to-quadrilateral map and its
// adjoint.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "internal/opening.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rowaccess.h"
#include "internal/simd.h"
#include "internal/views_.h"
#include "internal/warp_.h"
#include "ravokit/combine.h"
#include "ravokit/copy.h"
#include "ravokit/grayscale.h"
#include "ravokit/palette.h"

namespace rv {

// A 3 x 3 matrix by rows.
struct WarpMap {
    double m[9];
};

// The pixels of a row from column nCol on: places that are cut to x and y up to most. Each one is computed from its own
// column, whatever the stretch begins with.
RV_CLONES void findPlaces(const WarpMap& map, int32_t nRow, int32_t nCol, size_t n, const POINT& least,
                          const POINT& most, WarpPlaces& places) noexcept {
    const double* m = map.m;
    const double y = nRow, rx = m[1] * y + m[2], ry = m[4] * y + m[5], rw = m[7] * y + m[8];
    const double xLeast = least.x, yLeast = least.y, xMost = most.x, yMost = most.y;
    for (size_t i = 0; i < n; ++i) {
        const double x = nCol + int32_t(i), scale = 1 / (m[6] * x + rw);
        double px = (m[0] * x + rx) * scale, py = (m[3] * x + ry) * scale;
        px = px > xLeast ? px : xLeast;
        py = py > yLeast ? py : yLeast;
        px = px < xMost ? px : xMost;
        py = py < yMost ? py : yMost;
        // To 1/65536: what rounding left beside a whole number comes back to it.
        const auto nx = int32_t(px), ny = int32_t(py);
        const auto fx = int32_t((px - nx) * 65536 + 0.5), fy = int32_t((py - ny) * 65536 + 0.5);
        places.x[i] = nx + (fx >> 16);
        places.y[i] = ny + (fy >> 16);
        places.xPart[i] = uint32_t(fx & 0xFFFF);
        places.yPart[i] = uint32_t(fy & 0xFFFF);
    }
}

namespace {

// ---- corners -----------------------------------------------------------------------------------------------------

// Compares a * b with c * d, for factors of up to 33 bits and a sign.
int compareProducts(int64_t a, int64_t b, int64_t c, int64_t d) noexcept {
    const auto sign = [](int64_t p, int64_t q) { return p == 0 || q == 0 ? 0 : (p < 0) != (q < 0) ? -1 : 1; };
    const auto size = [](int64_t p, int64_t q) { return uint64_t(p < 0 ? -p : p) * uint64_t(q < 0 ? -q : q); };
    const int n = sign(a, b), k = sign(c, d);
    if (n != k) return n < k ? -1 : 1;
    const uint64_t u = size(a, b), v = size(c, d);
    return u == v ? 0 : (u < v) == (n > 0) ? -1 : 1;
}

// The way that all four corners turn: 1 or -1, or 0 if they don't.
int turningSense(const POINT (&p)[4]) noexcept {
    int nAll = 0;
    for (int i = 0; i < 4; ++i) {
        const POINT &a = p[i], &b = p[(i + 1) % 4], &c = p[(i + 2) % 4];
        const int n = compareProducts(int64_t(b.x) - a.x, int64_t(c.y) - b.y, int64_t(b.y) - a.y, int64_t(c.x) - b.x);
        if (n == 0 || (i > 0 && n != nAll)) return 0;
        nAll = n;
    }
    return nAll;
}

int64_t floorDiv(int64_t a, int64_t b) noexcept { return a / b - (a % b < 0); }  // b > 0

// The columns of a row that lie in the quadrilateral or on its edges.
struct Columns {
    int64_t nFirst, nLast;
};
Columns columnsInside(const POINT (&p)[4], int nSense, int32_t nRow) noexcept {
    Columns c{0, INT32_MAX};
    for (int i = 0; i < 4; ++i) {
        const POINT &a = p[i], &b = p[(i + 1) % 4];
        const int64_t dx = int64_t(b.x) - a.x, dy = int64_t(b.y) - a.y;
        // Inside where nFactor * x + nRest is not negative.
        const int64_t nFactor = -nSense * dy, nRest = nSense * (dx * (int64_t(nRow) - a.y) + dy * a.x);
        if (nFactor > 0)
            c.nFirst = std::max(c.nFirst, -floorDiv(nRest, nFactor));
        else if (nFactor < 0)
            c.nLast = std::min(c.nLast, floorDiv(nRest, -nFactor));
        else if (nRest < 0)
            c.nLast = -1;
    }
    return c;
}

// ---- map ---------------------------------------------------------------------------------------------------------

// From the unit square to the corners, which belong to (0, 0), (1, 0), (1, 1) and (0, 1).
std::optional<WarpMap> fromUnitSquare(const POINT (&p)[4]) noexcept {
    const double x0 = p[0].x, x1 = p[1].x, x2 = p[2].x, x3 = p[3].x, y0 = p[0].y, y1 = p[1].y, y2 = p[2].y, y3 = p[3].y;
    const double sx = x0 - x1 + x2 - x3, sy = y0 - y1 + y2 - y3;
    if (sx == 0 && sy == 0) return WarpMap{{x1 - x0, x2 - x1, x0, y1 - y0, y2 - y1, y0, 0, 0, 1}};
    const double dx1 = x1 - x2, dx2 = x3 - x2, dy1 = y1 - y2, dy2 = y3 - y2, det = dx1 * dy2 - dx2 * dy1;
    if (det == 0) return std::nullopt;
    const double g = (sx * dy2 - dx2 * sy) / det, h = (dx1 * sy - sx * dy1) / det;
    return WarpMap{{x1 - x0 + g * x1, x3 - x0 + h * x3, x0, y1 - y0 + g * y1, y3 - y0 + h * y3, y0, g, h, 1}};
}

WarpMap adjoint(const WarpMap& a) noexcept {
    const double* m = a.m;
    return {{m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4],  //
             m[5] * m[6] - m[3] * m[8], m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5],  //
             m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7], m[0] * m[4] - m[1] * m[3]}};
}

// First b, then a.
WarpMap product(const WarpMap& a, const WarpMap& b) noexcept {
    WarpMap r;
    for (int i = 0; i < 9; ++i) {
        const double *row = a.m + i / 3 * 3, *col = b.m + i % 3;
        r.m[i] = row[0] * col[0] + row[1] * col[3] + row[2] * col[6];
    }
    return r;
}

// ---- source ------------------------------------------------------------------------------------------------------

// Rows of a bitmap that isn't flat, as many as fit: row y has the slot y modulo their number.
class RowSlots {
    static constexpr uint64_t kMostBytes = 64u << 20;
    BITMAPRECORD& m_bm;
    Buffer<uint8_t> m_rows;
    Buffer<int32_t> m_held;  // the row of each slot, or -1
    int32_t m_nSlots = 0;

    int32_t load(int32_t y) noexcept {
        int32_t& held = m_held[size_t(y % m_nSlots)];
        if (held == y) return 1;
        held = -1;
        const int32_t n = readRow(m_bm, slot(y), y, m_bm.BytesPerLine);
        if (n < 0) return n;
        held = y;
        return 1;
    }
    uint8_t* slot(int32_t y) const noexcept { return m_rows.get() + ptrdiff_t(y % m_nSlots) * m_bm.BytesPerLine; }

public:
    explicit RowSlots(BITMAPRECORD& bm) noexcept : m_bm(bm) {}
    bool open() noexcept {
        const auto nMost = int32_t(std::min<uint64_t>(uint32_t(m_bm.Height), kMostBytes / m_bm.BytesPerLine));
        m_nSlots = std::max(nMost, 2);
        if (!m_rows.allocate(uint64_t(m_nSlots) * m_bm.BytesPerLine) || !m_held.allocate(uint32_t(m_nSlots)))
            return false;
        std::fill_n(m_held.get(), m_nSlots, -1);
        return true;
    }
    // The rows y and, where bNext, y + 1.
    int32_t take(int32_t y, bool bNext, WarpSource& source) noexcept {
        if (const int32_t n = load(y); n != 1) return n;
        if (bNext)
            if (const int32_t n = load(y + 1); n != 1) return n;
        source = {slot(y), slot(y + 1) - slot(y), y};
        return 1;
    }
};

// ---- rows --------------------------------------------------------------------------------------------------------

struct Plan {
    POINT corners[4];  // stored, of the destination
    int nSense;
    WarpMap map;        // from the destination to the source, both stored
    POINT least, most;  // pixels of the source
    bool bBlend;
};

class Warp {
    BITMAPRECORD &m_dst, &m_src;
    const Plan& m_plan;
    WarpKernel m_kernel;
    uint32_t m_uSignBit;
    RowEditor m_editor;
    RowSlots m_slots;
    WarpPlaces m_places;

    int32_t stretch(uint8_t* pRow, int32_t nRow, int32_t nCol, size_t n) noexcept {
        findPlaces(m_plan.map, nRow, nCol, n, m_plan.least, m_plan.most, m_places);
        if (const uint8_t* pFlat = flatRow(m_src, 0)) {
            m_kernel({pFlat, ptrdiff_t(m_src.BytesPerLine), 0}, m_places, 0, n, pRow, size_t(nCol), m_uSignBit);
            return 1;
        }
        for (size_t i = 0, nEnd; i < n; i = nEnd) {
            const int32_t y = m_places.y[i];
            bool bNext = false;
            for (nEnd = i; nEnd < n && m_places.y[nEnd] == y; ++nEnd) bNext |= m_places.yPart[nEnd] != 0;
            WarpSource source;
            if (const int32_t nStatus = m_slots.take(y, bNext, source); nStatus != 1) return nStatus;
            m_kernel(source, m_places, i, nEnd, pRow, size_t(nCol) + i, m_uSignBit);
        }
        return 1;
    }
    int32_t row(int32_t y) noexcept {
        const Columns columns = columnsInside(m_plan.corners, m_plan.nSense, y);
        if (columns.nFirst > columns.nLast) return 1;
        uint8_t* const pRow = m_editor.read(y);
        if (!pRow) return m_editor.status();
        for (int64_t x = columns.nFirst; x <= columns.nLast; x += kWarpBlock) {
            const auto n = size_t(std::min<int64_t>(columns.nLast + 1 - x, kWarpBlock));
            if (const int32_t nStatus = stretch(pRow, y, int32_t(x), n); nStatus != 1) return nStatus;
        }
        return m_editor.write(y);
    }

public:
    Warp(BITMAPRECORD& dst, BITMAPRECORD& src, const Plan& plan) noexcept
        : m_dst(dst),
          m_src(src),
          m_plan(plan),
          m_kernel(warpKernel(dst, plan.bBlend)),
          m_uSignBit(signBit(dst)),
          m_editor(dst),
          m_slots(src) {}

    int32_t rows() noexcept {
        if (m_editor.status() != 1 || (!flatRow(m_src, 0) && !m_slots.open())) return -1;
        const auto [top, bottom] =
            std::minmax_element(m_plan.corners, m_plan.corners + 4, [](auto& a, auto& b) { return a.y < b.y; });
        ProgressStepper progress(bottom->y - top->y + 1);
        int32_t nStatus = progress.start();
        for (int32_t y = top->y; y <= bottom->y && nStatus == 1; ++y) {
            nStatus = row(y);
            if (nStatus == 1) nStatus = progress.step();
        }
        return nStatus;
    }
};

int32_t warpRows(BITMAPRECORD& dst, BITMAPRECORD& src, const Plan& plan) noexcept {
    BitmapLock lock(dst);
    if (lock.status() != 1) return lock.status();
    BitmapLock sourceLock(src);
    if (sourceLock.status() != 1) return lock.release(sourceLock.status());
    const int32_t nStatus = Warp(dst, src, plan).rows();
    return lock.release(sourceLock.release(nStatus));
}

// ---- checks ------------------------------------------------------------------------------------------------------

// The entries that both have.
bool haveEqualPalettes(const BITMAPRECORD& a, const BITMAPRECORD& b) noexcept {
    if (!a.pPalette || !b.pPalette) return a.pPalette == b.pPalette;
    const uint32_t n = std::min({a.nColors, b.nColors, 1u << a.BitsPerPixel});
    return std::equal(a.pPalette, a.pPalette + n, b.pPalette, [](const RGBQUAD& p, const RGBQUAD& q) {
        return p.rgbBlue == q.rgbBlue && p.rgbGreen == q.rgbGreen && p.rgbRed == q.rgbRed;
    });
}

// Whether the mean of two pixel values is what lies between them.
bool hasLevels(const BITMAPRECORD& bm) noexcept {
    if (bm.Order == ORDER_GRAY && (bm.pLUT || (hasWideFields(bm) && bm.pLUT16))) return false;
    if (bm.BitsPerPixel == 1 || bm.BitsPerPixel > 8) return true;
    const int32_t nKind = R_IsGrayScaleBitmap(&bm);
    return nKind == GRAYKIND_ASCENDING || nKind == GRAYKIND_DESCENDING;
}

bool isInside(SIZE size, int64_t x, int64_t y) noexcept {
    return x >= 0 && x < size.width && y >= 0 && y < size.height;
}

struct Place {
    int32_t nLeft, nTop, nWidth, nHeight;
    int64_t right() const noexcept { return int64_t(nLeft) + nWidth; }
    int64_t bottom() const noexcept { return int64_t(nTop) + nHeight; }
};

int32_t warp(BITMAPRECORD* pDest, const POINT* pPoints, BITMAPRECORD* pSource, const Place& place,
             uint32_t uFlags) noexcept {
    if (!isAllocated(pDest) || !isAllocated(pSource)) return -2;  // Invalid image
    if (!isKnownRecordSize(pDest->uStructSize) || !isKnownRecordSize(pSource->uStructSize)) return -789;
    if (uFlags > 0x3FF || !pPoints) return -13;  // Invalid parameter passed
    Plan plan{};
    std::copy_n(pPoints, 4, plan.corners);
    if (!turningSense(plan.corners)) return -13;
    BITMAPRECORD &dst = *pDest, *pFrom = pSource;
    if (dst.BitsPerPixel != pSource->BitsPerPixel) return -27;  // Invalid bits per pixel
    if (dst.BitsPerPixel <= 8 && !haveEqualPalettes(dst, *pSource)) return -13;
    if (dst.BitsPerPixel == 16 && (dst.Order == ORDER_GRAY) != (pSource->Order == ORDER_GRAY)) return -13;
    const SIZE from = seenSize(*pSource);
    if (place.nWidth <= 0 || place.nHeight <= 0 || !isInside(from, place.nLeft, place.nTop) ||
        !isInside(from, place.right() - 1, place.bottom() - 1))
        return -13;
    for (POINT& p : plan.corners) {
        if (!isInside(seenSize(dst), p.x, p.y)) return -13;
        if (toStored(dst, p) != 1) return -13;
    }
    plan.nSense = turningSense(plan.corners);
    const auto square = fromUnitSquare(plan.corners);
    if (!square) return -13;
    plan.bBlend = (uFlags & WARP_BILINEAR) && hasLevels(dst);

    RECT area{place.nLeft, place.nTop, int32_t(place.right()), int32_t(place.bottom())};
    POINT origin{area.left, area.top}, right{area.right - 1, area.top}, down{area.left, area.bottom - 1};
    for (POINT* p : {&origin, &right, &down})
        if (toStored(*pSource, *p) != 1) return -13;
    if (toStored(*pSource, area) != 1) return -13;
    BitmapOwner copy;
    if (isSameData(dst, *pSource)) {
        if (const int32_t n = R_CopyBitmapRect2(&copy.record, pSource, pSource->uStructSize, area.left, area.top,
                                                area.right - area.left, area.bottom - area.top, BMMEM_CONVENTIONAL);
            n != 1)
            return n;
        for (POINT* p : {&origin, &right, &down}) *p = {p->x - area.left, p->y - area.top};
        area = {0, 0, area.right - area.left, area.bottom - area.top};
        pFrom = &copy.record;
    }
    plan.least = {area.left, area.top};
    plan.most = {area.right - 1, area.bottom - 1};
    const WarpMap onto{{double(right.x) - origin.x, double(down.x) - origin.x, double(origin.x),
                        double(right.y) - origin.y, double(down.y) - origin.y, double(origin.y), 0, 0, 1}};
    plan.map = product(onto, adjoint(*square));
    return warpRows(dst, *pFrom, plan);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_CombineBitmapWarp(BITMAPRECORD* pDest, const POINT* pPoints, BITMAPRECORD* pSource, int32_t nSrcLeft,
                            int32_t nSrcTop, int32_t nSrcWidth, int32_t nSrcHeight, uint32_t uFlags) noexcept {
    return warp(pDest, pPoints, pSource, {nSrcLeft, nSrcTop, nSrcWidth, nSrcHeight}, uFlags);
}

int32_t R_CombineBitmapWarp2(BITMAPRECORD* pDest, const PointD* pPoints, BITMAPRECORD* pSource, int32_t nSrcLeft,
                             int32_t nSrcTop, int32_t nSrcWidth, int32_t nSrcHeight, uint32_t uFlags) noexcept {
    POINT points[4]{};
    bool bPixels = pPoints;
    for (int i = 0; i < 4 && bPixels; ++i) {
        const double x = std::floor(pPoints[i].X + 0.5), y = std::floor(pPoints[i].Y + 0.5);
        bPixels = std::abs(x) <= INT32_MAX && std::abs(y) <= INT32_MAX;
        if (bPixels) points[i] = {int32_t(x), int32_t(y)};
    }
    return warp(pDest, bPixels ? points : nullptr, pSource, {nSrcLeft, nSrcTop, nSrcWidth, nSrcHeight}, uFlags);
}

}  // extern "C"
