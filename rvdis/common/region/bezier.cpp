// Curves through points as Bézier spans.
//
// Both kinds come down to the ends of each span and what its inner control points are: the point plus a third of the
// slope there, and the next point less a third of the slope that arrives.
#include "ravokit/contours.h"

#include <algorithm>

#include "internal/rvclasses_.h"

namespace rv {
namespace {

enum : int32_t { kCardinal = 1, kInterpolating = 2 };
enum : int32_t { kOpen = 0, kClosed = 1, kKeepTangents = 2 };

struct Axes {
    double x, y;
};

POINT truncated(const Axes& a) noexcept {
    const auto whole = [](double d) {
        return d >= 2147483647.0 ? INT32_MAX : d <= -2147483648.0 ? INT32_MIN : d == d ? int32_t(d) : 0;
    };
    return {whole(a.x), whole(a.y)};
}

int64_t spanCount(const CURVE& curve) noexcept {
    if (curve.uCloseMode == kClosed) return curve.nPointCount;
    return int64_t(curve.nPointCount) - (curve.nType == kCardinal && curve.uCloseMode == kOpen ? 3 : 1);
}

// ---- the cardinal spline -----------------------------------------------------------------------------------------

// A span from four neighbours by the matrix of the cardinal spline, whose polynomial is turned into control points.
void cardinalSpan(const POINT (&p)[4], double t, POINT* pOut) noexcept {
    const auto control = [t](double p0, double p1, double p2, double p3, double(&out)[3]) {
        const double a = -t * p0 + (2 - t) * p1 + (t - 2) * p2 + t * p3;
        const double b = 2 * t * p0 + (t - 3) * p1 + (3 - 2 * t) * p2 - t * p3;
        const double c = -t * p0 + t * p2;
        const double d = p1;
        out[0] = c / 3 + d;
        out[1] = b / 3 + c * 2 / 3 + d;
        out[2] = a + b + c + d;
    };
    double x[3], y[3];
    control(p[0].x, p[1].x, p[2].x, p[3].x, x);
    control(p[0].y, p[1].y, p[2].y, p[3].y, y);
    for (int i = 0; i < 2; ++i) pOut[i] = truncated({x[i], y[i]});
    pOut[2] = p[2];  // the sum is this point but for rounding
}

void cardinal(const CURVE& curve, POINT* pOut) noexcept {
    const int64_t nPoints = curve.nPointCount, nFirst = curve.uCloseMode == kOpen ? 1 : 0;
    const auto at = [&](int64_t i) {
        if (curve.uCloseMode == kClosed) return curve.pPoints[(i + nPoints) % nPoints];
        return curve.pPoints[std::clamp<int64_t>(i, 0, nPoints - 1)];
    };
    *pOut++ = at(nFirst);
    for (int64_t i = nFirst, nEnd = nFirst + spanCount(curve); i < nEnd; ++i, pOut += 3)
        cardinalSpan({at(i - 1), at(i), at(i + 1), at(i + 2)}, curve.dTension, pOut);
}

// ---- the interpolating spline ------------------------------------------------------------------------------------

// Second derivatives M of the spline with its knots at distance 1: M[i-1] + 4 M[i] + M[i+1] = 6 (second difference).
// One sweep down and one up; a closed curve is solved a second time for what its corner entries add (Sherman-Morrison).
class Tridiagonal {
    size_t m_n;
    Buffer<double> m_upper;  // what the sweep leaves above the diagonal

public:
    explicit Tridiagonal(size_t n) noexcept : m_n(n), m_upper(n) {}
    explicit operator bool() const noexcept { return bool(m_upper); }

    // Solves in place for a diagonal of 4 but for its ends, and 1 beside it.
    void solve(Axes* r, double first, double firstUpper, double last, double lastLower) const noexcept {
        double diagonal = first;
        r[0] = {r[0].x / diagonal, r[0].y / diagonal};
        m_upper[0] = firstUpper / diagonal;
        for (size_t i = 1; i < m_n; ++i) {
            const double lower = i + 1 == m_n ? lastLower : 1;
            diagonal = (i + 1 == m_n ? last : 4) - lower * m_upper[i - 1];
            m_upper[i] = 1 / diagonal;
            r[i] = {(r[i].x - lower * r[i - 1].x) / diagonal, (r[i].y - lower * r[i - 1].y) / diagonal};
        }
        for (size_t i = m_n - 1; i-- > 0;) r[i] = {r[i].x - m_upper[i] * r[i + 1].x, r[i].y - m_upper[i] * r[i + 1].y};
    }
};

Axes secondDifference(const POINT& a, const POINT& b, const POINT& c) noexcept {
    return {6 * (a.x - 2.0 * b.x + c.x), 6 * (a.y - 2.0 * b.y + c.y)};
}

bool solveSpline(const CURVE& curve, Axes* M) noexcept {
    const auto n = size_t(curve.nPointCount);
    const POINT* p = curve.pPoints;
    const Tridiagonal system(n);
    if (!system) return false;
    for (size_t i = 1; i + 1 < n; ++i) M[i] = secondDifference(p[i - 1], p[i], p[i + 1]);
    M[0] = M[n - 1] = {0, 0};
    if (curve.uCloseMode == kOpen) {
        system.solve(M, 1, 0, 1, 0);  // no bend at the ends
    } else if (curve.uCloseMode == kKeepTangents) {
        system.solve(M, 2, 1, 2, 1);  // the slope at an end is that of its chord
    } else {
        M[0] = secondDifference(p[n - 1], p[0], p[1]);
        M[n - 1] = secondDifference(p[n - 2], p[n - 1], p[0]);
        Buffer<Axes> corner(n);
        if (!corner) return false;
        constexpr double kGamma = -4;
        std::fill_n(corner.get(), n, Axes{0, 0});
        corner[0] = {kGamma, kGamma};
        corner[n - 1] = {1, 1};
        system.solve(M, 4 - kGamma, 1, 4 - 1 / kGamma, 1);
        system.solve(corner.get(), 4 - kGamma, 1, 4 - 1 / kGamma, 1);
        const double divisor = 1 + corner[0].x + corner[n - 1].x / kGamma;
        const Axes f{(M[0].x + M[n - 1].x / kGamma) / divisor, (M[0].y + M[n - 1].y / kGamma) / divisor};
        for (size_t i = 0; i < n; ++i) M[i] = {M[i].x - f.x * corner[i].x, M[i].y - f.y * corner[i].y};
    }
    return true;
}

int32_t interpolating(const CURVE& curve, POINT* pOut) noexcept {
    const auto n = size_t(curve.nPointCount), nSpans = size_t(spanCount(curve));
    Buffer<Axes> M(n);
    if (!M || !solveSpline(curve, M.get())) return -1;  // Not enough memory available
    *pOut++ = curve.pPoints[0];
    for (size_t i = 0; i < nSpans; ++i) {
        const size_t j = i + 1 < n ? i + 1 : 0;
        const POINT &a = curve.pPoints[i], &b = curve.pPoints[j];
        const auto near = [](double p, double q, double m, double mq) { return (2 * p + q) / 3 - (2 * m + mq) / 18; };
        *pOut++ = truncated({near(a.x, b.x, M[i].x, M[j].x), near(a.y, b.y, M[i].y, M[j].y)});
        *pOut++ = truncated({near(b.x, a.x, M[j].x, M[i].x), near(b.y, a.y, M[j].y, M[i].y)});
        *pOut++ = b;
    }
    return 1;
}

}  // namespace
}  // namespace rv

extern "C" int32_t R_CurveToBezier(const CURVE* pCurve, int32_t* pnCount, POINT* pPoints) noexcept {
    using namespace rv;
    if (!pCurve || !pnCount) return -13;                    // Invalid parameter passed
    if (pCurve->uStructSize != sizeof(CURVE)) return -789;  // The structure size is invalid
    if (!pCurve->pPoints) return -13;
    if (pCurve->nType != kCardinal && pCurve->nType != kInterpolating) return -13;
    if (pCurve->uCloseMode < kOpen || pCurve->uCloseMode > kKeepTangents) return -13;
    const bool bNeedsEnds = pCurve->nType == kCardinal && pCurve->uCloseMode == kOpen;
    if (pCurve->nPointCount < (bNeedsEnds ? 4 : 3)) return -13;
    const int64_t nCount = 3 * spanCount(*pCurve) + 1;
    if (nCount > INT32_MAX) return -13;
    if (pPoints) {
        if (pCurve->nType == kCardinal)
            cardinal(*pCurve, pPoints);
        else if (interpolating(*pCurve, pPoints) != 1)
            return -1;  // Not enough memory available
    }
    *pnCount = int32_t(nCount);
    return 1;
}
