// Outlines: the scan conversion against one edge walk for each run, contours against the pixels that they surround,
// curves by what they pass through.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>

#include "internal/contours_.h"
#include "internal/region_.h"
#include "tests/support/faults.h"

namespace {

using Points = std::vector<POINT>;
using Types = std::vector<uint32_t>;
using Pixels = std::set<std::pair<int32_t, int32_t>>;  // row, column

// Ends what the calls made.
struct Region {
    RavoRgn* p = nullptr;
    Region() = default;
    Region(const Region&) = delete;
    ~Region() {
        if (p) R_DeleteRavoRgn(p);
    }
};

Pixels pixelsOf(const RavoRgn& rgn) {
    Pixels out;
    rv::forEachSpan(rgn, [&](int32_t y, int32_t nLeft, int32_t nRight) {
        for (int32_t x = nLeft; x < nRight; ++x) out.insert({y, x});
    });
    return out;
}

// Pixel by pixel over one outline of all polygons, each of which goes back to the start of the list.
Pixels filled(const Points& points, const Types& types, int32_t nFillMode) {
    Points outline;
    POINT open{};
    for (size_t i = 0; i < points.size(); ++i) {
        if (i == 0 || (!types.empty() && types[i] == 0)) {
            if (i) outline.insert(outline.end(), {open, points[0]});
            open = points[i];
        }
        outline.push_back(points[i]);
    }
    outline.insert(outline.end(), {open, points[0]});
    RECT box{INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN};
    for (const POINT& p : points)
        box = {std::min(box.left, p.x), std::min(box.top, p.y), std::max(box.right, p.x), std::max(box.bottom, p.y)};
    Pixels out;
    for (int32_t y = box.top; y < box.bottom; ++y) {
        for (int32_t x = box.left; x < box.right; ++x) {
            int nCrossings = 0, nWinding = 0;
            for (size_t i = 0; i + 1 < outline.size(); ++i) {
                const double x0 = outline[i].x, y0 = outline[i].y, x1 = outline[i + 1].x, y1 = outline[i + 1].y;
                if ((y0 <= y) == (y1 <= y)) continue;
                if ((x1 - x0) * (y - y0) / (y1 - y0) + x0 <= x) ++nCrossings;
                const double side = (x1 - x0) * (y - y0) - (y1 - y0) * (x - x0);
                if (y0 > y && side < 0) --nWinding;
                if (y0 <= y && side > 0) ++nWinding;
            }
            if (nCrossings % 2 || (nFillMode == 0 && nWinding)) out.insert({y, x});
        }
    }
    return out;
}

Points randomPoints(std::mt19937& random, size_t n, int32_t nFrom, int32_t nSize, int32_t nHeight) {
    Points out(n);
    for (POINT& p : out)
        p = {nFrom + int32_t(random() % unsigned(nSize)), nFrom + int32_t(random() % unsigned(nHeight))};
    return out;
}

TEST(Outlines, FillWhatAnEdgeWalkForEachPixelFills) {
    std::mt19937 random(7);
    for (int nCase = 0; nCase < 400; ++nCase) {
        const bool bCrowd = nCase >= 396;  // edges that change places by the thousand
        const size_t n = bCrowd ? 300 : 1 + random() % 12;
        // Small boxes have many vertices on rows, edges along rows and columns, and points twice.
        const int32_t nFrom = nCase % 4 == 0 ? -40 : nCase % 4 == 1 ? 100010 : -3;
        const int32_t nSize = nCase % 3 ? 8 : 35;
        const Points points = randomPoints(random, n, nFrom, bCrowd ? 200 : nSize, nSize);
        Types types;
        if (nCase % 2) {
            for (size_t i = 0; i < n; ++i) types.push_back(uint32_t(random() % 3));
            types[0] = 0;
        }
        for (const int32_t nFillMode : {0, 1}) {
            Region region;
            ASSERT_EQ(R_SegmentsToRegion(&region.p, points.data(), types.empty() ? nullptr : types.data(), int32_t(n),
                                         nFillMode),
                      1);
            ASSERT_TRUE(rv::isWellFormed(*region.p)) << nCase;
            if (n == 4 && types.empty()) continue;  // may be a rectangle, whose sense of turning doesn't count
            ASSERT_EQ(pixelsOf(*region.p), filled(points, types, nFillMode)) << nCase << " mode " << nFillMode;
        }
    }
}

TEST(Outlines, RectanglesComeBackAsTheSameRegion) {
    std::mt19937 random(3);
    for (int nCase = 0; nCase < 60; ++nCase) {
        Points corners;
        Types types;
        Pixels all, odd;
        std::vector<RECT> rects;
        for (size_t i = 0, n = random() % 9; i < n; ++i) {
            const POINT a{int32_t(random() % 30) - 9, int32_t(random() % 30) - 9};
            const POINT b{a.x + int32_t(random() % 9), a.y + int32_t(random() % 9)};
            if (i % 2)
                corners.insert(corners.end(), {a, {a.x, b.y}, b, {b.x, a.y}});
            else
                corners.insert(corners.end(), {a, {b.x, a.y}, b, {a.x, b.y}});
            types.insert(types.end(), {0, 1, 1, 1});
            if (a.x < b.x && a.y < b.y) rects.push_back({a.x, a.y, b.x, b.y});
            for (int32_t y = a.y; y < b.y; ++y)
                for (int32_t x = a.x; x < b.x; ++x)
                    all.insert({y, x}), odd.count({y, x}) ? odd.erase({y, x}) : odd.insert({y, x}).second;
        }
        Region whole, parity, back;
        const auto n = int32_t(corners.size());
        corners.resize(corners.size() + 1);  // so that data() isn't null
        ASSERT_EQ(R_SegmentsToRegion(&whole.p, corners.data(), types.data(), n, 0), 1);
        ASSERT_EQ(R_SegmentsToRegion(&parity.p, corners.data(), types.data(), n, 1), 1);
        ASSERT_EQ(pixelsOf(*whole.p), all);
        ASSERT_EQ(pixelsOf(*parity.p), odd);
        std::sort(rects.begin(), rects.end(), [](const RECT& a, const RECT& b) { return a.top < b.top; });
        for (const bool bParity : {false, true}) {
            Region covered;
            ASSERT_EQ(rv::coverRegion(&covered.p, rects.data(), rects.size(), bParity), 1);
            ASSERT_TRUE(rv::isWellFormed(*covered.p));
            ASSERT_EQ(pixelsOf(*covered.p), bParity ? odd : all) << nCase;
        }

        POINT* pPoints = nullptr;
        uint32_t* pTypes = nullptr;
        int32_t nCount = -1;
        ASSERT_EQ(R_RegionToSegments(parity.p, &pPoints, &pTypes, &nCount), 1);
        ASSERT_EQ(nCount % 4, 0);
        ASSERT_EQ(R_SegmentsToRegion(&back.p, pPoints ? pPoints : corners.data(), pTypes, nCount, nCase % 2), 1);
        ASSERT_EQ(pixelsOf(*back.p), odd) << nCase;

        // The contours surround the same pixels, and each of their points is a corner.
        if (nCount) {
            SEGMENTLINES lines;
            ASSERT_EQ(R_SegmentsToLines(pPoints, nCount, &lines), 1);
            Points outline;
            Types starts;
            for (int32_t i = 0; i < lines.nContours; ++i) {
                ASSERT_EQ(lines.pContourClosed[i], 1);
                const int32_t k = lines.pPointsPerContour[i];
                const POINT* p = lines.ppContourPoints[i];
                for (int32_t j = 0; j < k; ++j) {
                    const POINT &a = p[j], &b = p[(j + 1) % k], &c = p[(j + 2) % k];
                    ASSERT_TRUE((a.x == b.x && b.y == c.y && a.y != b.y && b.x != c.x) ||
                                (a.y == b.y && b.x == c.x && a.x != b.x && b.y != c.y));
                    outline.push_back(a);
                    starts.push_back(j > 0);
                }
            }
            // Clockwise around what is inside: holes take back what their surroundings wound.
            ASSERT_EQ(filled(outline, starts, 0), odd) << nCase;
            ASSERT_EQ(filled(outline, starts, 1), odd) << nCase;
            EXPECT_EQ(R_FreeSegmentLines(&lines), 1);
            EXPECT_EQ(lines.ppContourPoints, nullptr);
        }
        R_FreeRegionSegments(&pPoints, &pTypes);
        EXPECT_EQ(pPoints, nullptr);
        EXPECT_EQ(pTypes, nullptr);
    }
}

TEST(Outlines, StarsAndEllipses) {
    Points star;
    for (int i = 0; i < 5; ++i) {
        const double a = i * 2 * 2 * 3.14159265358979 / 5;
        star.push_back({int32_t(100 + 90 * std::sin(a)), int32_t(100 - 90 * std::cos(a))});
    }
    for (size_t nStart = 0; nStart < star.size(); ++nStart) {
        Region wound, odd;
        ASSERT_EQ(R_SegmentsToRegion(&wound.p, star.data(), nullptr, 5, 0), 1);
        ASSERT_EQ(R_SegmentsToRegion(&odd.p, star.data(), nullptr, 5, 1), 1);
        EXPECT_TRUE(R_IsPtInRavoRgn(wound.p, 100, 100));
        EXPECT_FALSE(R_IsPtInRavoRgn(odd.p, 100, 100));
        EXPECT_EQ(pixelsOf(*wound.p), filled(star, {}, 0));
        std::rotate(star.begin(), star.begin() + 1, star.end());
    }
    RVHANDLE h = CreateEllipticRgn(0, 0, 5, 5), hEven = CreateEllipticRgn(0, 0, 4, 4),
             hBig = CreateEllipticRgn(-50, 10, 151, 111);
    RavoRgn *pOdd = nullptr, *pEven = nullptr, *pBig = nullptr;
    ASSERT_TRUE(rv::regionOfHandle(h, &pOdd) && rv::regionOfHandle(hEven, &pEven) && rv::regionOfHandle(hBig, &pBig));
    EXPECT_EQ(pixelsOf(*pOdd), pixelsOf(*pEven));
    EXPECT_NEAR(double(pixelsOf(*pBig).size()), 3.14159 * 100 * 50, 240);
    EXPECT_EQ(pBig->rcBounds.right, 150);
    EXPECT_EQ(DeleteObject(h) && DeleteObject(hEven) && DeleteObject(hBig), 1);
    h = CreateEllipticRgn(0, 0, 0, 10);
    ASSERT_TRUE(rv::regionOfHandle(h, &pOdd));
    EXPECT_EQ(pOdd, nullptr);
    DeleteObject(h);
}

TEST(Outlines, ExtremesEndWithAStatus) {
    const Points wide{{INT32_MIN, 0}, {INT32_MAX, 3}, {INT32_MIN, 6}}, tall{{0, INT32_MIN}, {9, INT32_MAX}, {3, 0}};
    Region region, none;
    ASSERT_EQ(R_SegmentsToRegion(&region.p, wide.data(), nullptr, 3, 0), 1);
    EXPECT_TRUE(rv::isWellFormed(*region.p));
    EXPECT_EQ(region.p->rcBounds.bottom, 6);
    EXPECT_EQ(R_SegmentsToRegion(&none.p, tall.data(), nullptr, 3, 0), -1);  // 2^32 rows
    EXPECT_EQ(none.p, nullptr);
    EXPECT_EQ(R_SegmentsToRegion(nullptr, wide.data(), nullptr, 3, 0), -13);
    EXPECT_EQ(R_SegmentsToRegion(&none.p, nullptr, nullptr, 3, 0), -13);
    const POINT corners[] = {
        {INT32_MIN, INT32_MIN}, {INT32_MAX, INT32_MIN}, {INT32_MAX, INT32_MAX}, {INT32_MIN, INT32_MAX}, {0, 0}};
    SEGMENTLINES lines;
    EXPECT_EQ(R_SegmentsToLines(corners, 5, &lines), -13);
    ASSERT_EQ(R_SegmentsToLines(corners, 4, &lines), 1);
    EXPECT_EQ(lines.nContours, 1);
    R_FreeSegmentLines(&lines);

    const long nBlocks = faults::liveBlocks();
    for (int nFail = 0, bDone = 0; !bDone; ++nFail) {
        faults::FailFromNthAllocation fail(nFail);
        Region made;
        POINT* pPoints = nullptr;
        uint32_t* pTypes = nullptr;
        int32_t n = 0, nStatus = R_SegmentsToRegion(&made.p, wide.data(), nullptr, 3, 0);
        if (nStatus == 1) nStatus = R_RegionToSegments(made.p, &pPoints, &pTypes, &n);
        if (nStatus == 1) nStatus = R_SegmentsToLines(pPoints, n, &lines);
        bDone = nStatus == 1;
        if (bDone)
            R_FreeSegmentLines(&lines);
        else
            ASSERT_EQ(nStatus, -1) << nFail;
        R_FreeRegionSegments(&pPoints, &pTypes);
    }
    EXPECT_EQ(faults::liveBlocks(), nBlocks);
}

// Minutes for whoever goes through all rectangles, or all edges of a row, for each row or edge.
TEST(Outlines, AreMadeInTimeOfRectanglesInRectanglesAndManyEdges) {
    constexpr int32_t kDeep = 200000;
    std::vector<RECT> list(2);
    Points corners;
    Types types;
    for (int32_t i = 0; i < kDeep; ++i) {
        const RECT r{i, i, 2 * kDeep - i, 2 * kDeep - i};
        list.push_back(r);
        corners.insert(corners.end(), {{r.left, r.top}, {r.right, r.top}, {r.right, r.bottom}, {r.left, r.bottom}});
        types.insert(types.end(), {0, 1, 1, 1});
    }
    const RGNDATA header{32, 1, kDeep, 16 * kDeep, {}};
    std::memcpy(list.data(), &header, sizeof header);
    RVHANDLE h = ExtCreateRegion(nullptr, uint32_t(list.size() * 16), reinterpret_cast<const RGNDATA*>(list.data()));
    RECT box{};
    EXPECT_EQ(GetRgnBox(h, &box), 2);
    EXPECT_EQ(box.right, 2 * kDeep);
    DeleteObject(h);
    Region whole, crowd;
    ASSERT_EQ(R_SegmentsToRegion(&whole.p, corners.data(), types.data(), 4 * kDeep, 0), 1);
    EXPECT_TRUE(rv::RgnIsRectangle(*whole.p) && whole.p->rcBounds.bottom == 2 * kDeep);
    SEGMENTLINES lines;
    ASSERT_EQ(R_SegmentsToLines(corners.data(), 4 * kDeep, &lines), 1);
    EXPECT_TRUE(lines.nContours == 1 && lines.pPointsPerContour[0] == 4);
    R_FreeSegmentLines(&lines);
    std::mt19937 random(9);
    const Points many = randomPoints(random, 400000, 0, 1 << 22, 4);
    ASSERT_EQ(R_SegmentsToRegion(&crowd.p, many.data(), nullptr, int32_t(many.size()), 1), 1);
    EXPECT_TRUE(rv::isWellFormed(*crowd.p));
}

// The point of a Bézier span.
double at(double p0, double p1, double p2, double p3, double u) {
    const double v = 1 - u;
    return p0 * v * v * v + 3 * p1 * v * v * u + 3 * p2 * v * u * u + p3 * u * u * u;
}

TEST(Curves, PassThroughTheirPointsAndBendSmoothly) {
    const Points points{{0, 0}, {6000, 9000}, {20000, 3000}, {26000, -8000}, {30000, 1000}};
    for (const int32_t nType : {1, 2}) {
        for (const int32_t nMode : {0, 1, 2}) {
            CURVE curve{};
            curve.uStructSize = sizeof curve;
            curve.nType = nType;
            curve.nPointCount = 5;
            curve.pPoints = points.data();
            curve.dTension = 0.5;
            curve.uCloseMode = nMode;
            int32_t n = 0;
            ASSERT_EQ(R_CurveToBezier(&curve, &n, nullptr), 1);
            ASSERT_EQ(n, nMode == 1 ? 16 : nType == 1 && nMode == 0 ? 7 : 13);
            Points out(static_cast<size_t>(n));
            ASSERT_EQ(R_CurveToBezier(&curve, &n, out.data()), 1);
            const size_t nFirst = nType == 1 && nMode == 0 ? 1 : 0;
            for (size_t i = 0; i < out.size(); i += 3) {
                EXPECT_EQ(out[i].x, points[(nFirst + i / 3) % 5].x);
                EXPECT_EQ(out[i].y, points[(nFirst + i / 3) % 5].y);
                // The slopes on both sides of a knot agree, of the interpolating spline the bends too; a closed curve
                // has no ends.
                const bool bEnd = i == 0 || i + 1 == out.size();
                if (bEnd && nMode != 1) continue;
                const POINT &knot = out[i], &a = bEnd ? out[out.size() - 2] : out[i - 1],
                            &b = bEnd ? out[1] : out[i + 1];
                EXPECT_NEAR(knot.x - a.x, b.x - knot.x, 2) << nType << " " << nMode << " " << i;
                EXPECT_NEAR(knot.y - a.y, b.y - knot.y, 2);
                if (nType == 1) continue;
                const POINT &a2 = bEnd ? out[out.size() - 3] : out[i - 2], &b2 = bEnd ? out[2] : out[i + 2];
                EXPECT_NEAR(knot.y - 2.0 * a.y + a2.y, knot.y - 2.0 * b.y + b2.y, 6);
            }
            if (nType == 2 && nMode == 0) {
                EXPECT_NEAR(out[0].x - 2.0 * out[1].x + out[2].x, 0, 3);
            }
            if (nType == 2 && nMode == 2) {
                EXPECT_NEAR(out[1].y, 3000, 2);
            }
        }
    }
    // Tension 0.5 on a straight row of points is the line itself, evenly walked.
    const Points line{{0, 0}, {300, 0}, {600, 0}, {900, 0}};
    CURVE curve{sizeof(CURVE), 1, 4, line.data(), 0, 0, 0.5, 0};
    POINT out[4];
    int32_t n = 0;
    ASSERT_EQ(R_CurveToBezier(&curve, &n, out), 1);
    EXPECT_NEAR(at(out[0].x, out[1].x, out[2].x, out[3].x, 0.25), 375, 1);
    curve.nPointCount = 3;
    EXPECT_EQ(R_CurveToBezier(&curve, &n, out), -13);
    curve.uCloseMode = 3;
    EXPECT_EQ(R_CurveToBezier(&curve, &n, out), -13);
    curve.uStructSize = 35;
    EXPECT_EQ(R_CurveToBezier(&curve, &n, out), -789);
    EXPECT_EQ(R_CurveToBezier(nullptr, &n, out), -13);
}

}  // namespace
