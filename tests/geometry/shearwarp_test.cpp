// Shears against shifted rows, warps against the map through the corners in another form, in what is seen.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "geometry/seen.h"
#include "internal/attachments.h"
#include "support/faults.h"

using namespace test;

namespace {

// ---- shear

int32_t sine(int32_t angle) { return int32_t(std::lround(16384 * std::sin(angle * 3.14159265358979323846 / 18000))); }

// The picture sheared to the right, from its lowest row on.
Seen shearedRows(Seen picture, int32_t angle, uint64_t fill) {
    const int64_t s = sine(std::abs(angle)), c = sine(9000 - std::abs(angle));
    Seen out(int32_t(picture.width + picture.height * s / c), picture.height, fill);
    for (int32_t y = 0; y < picture.height; ++y) {
        const int64_t shift = (picture.height - 1 - y) * s / c,
                      left = angle < 0 ? out.width - picture.width - shift : shift;
        for (int32_t x = 0; x < picture.width; ++x) out.at(left + x, y) = picture.at(x, y);
    }
    return out;
}
Seen turned(Seen picture, bool clockwise) {
    Seen out(picture.height, picture.width);
    for (int32_t y = 0; y < out.height; ++y)
        for (int32_t x = 0; x < out.width; ++x)
            out.at(x, y) = clockwise ? picture.at(y, out.width - 1 - x) : picture.at(out.height - 1 - y, x);
    return out;
}
Seen sheared(const Seen& picture, int32_t angle, bool horizontal, uint64_t fill) {
    if (horizontal) return shearedRows(picture, angle, fill);
    return turned(shearedRows(turned(picture, true), angle, fill), false);
}

constexpr COLORREF kWhite = 0xFFFFFF;
uint64_t whitePixel(const BITMAPRECORD& bm) {
    BITMAPRECORD like = bm, one{};
    like.Flags &= ~uint32_t(BMF_COMPRESSED | BMF_SUPERCOMPRESSED | BMF_DISK);
    R_DupBitmapNewDim(&one, &like, sizeof one, 1, 1, bm.BitsPerPixel, DUP_ALLOCATE | DUP_PALETTE);
    R_FillBitmap(&one, kWhite);
    const uint64_t v = Seen(one).at(0, 0);
    R_FreeBitmap(&one);
    return v;
}

TEST(Shear, EveryDepthAndHoldingShiftsItsRows) {
    for (const int32_t bits : kDepths)
        for (const Holding holding : holdingsOf(bits))
            for (const int32_t angle : {1234, -8000, 0, -4500, -1}) {
                if (angle >= -4500 && angle <= 0 && holding != Holding::conventional) continue;
                Bitmap bm(bits, 37, 13, holding);
                ASSERT_EQ(bm.nStatus, 1);
                fillRandom(bm.record, uint32_t(bits));
                const Seen want = sheared(Seen(bm.record), angle, true, whitePixel(bm.record));
                const uint32_t memory = bm->Flags & (BMF_COMPRESSED | BMF_SUPERCOMPRESSED | BMF_DISK);
                R_AccessBitmap(&bm);
                ASSERT_EQ(R_ShearBitmap(&bm, angle, 1, kWhite), 1) << bits << nameOf(holding);
                ASSERT_EQ(bm->nLockCount, 1);
                R_ReleaseBitmap(&bm);
                ASSERT_EQ(Seen(bm.record), want) << bits << nameOf(holding) << " " << angle;
                ASSERT_EQ(bm->Flags & (BMF_COMPRESSED | BMF_SUPERCOMPRESSED | BMF_DISK), memory);
            }
}

// Whether a picture is the other one, but for the end of the canvas that the last step leaves free, and for the side to
// which steps are truncated.
bool looksAlike(Seen got, Seen want, int32_t angle, bool horizontal, uint64_t fill) {
    if (!horizontal) got = turned(got, true), want = turned(want, true);
    if (got.width != want.width || got.height != want.height) return false;
    const int32_t most = sine(std::abs(angle)) / sine(9000 - std::abs(angle)) + 2;
    int32_t low = most, high = -most;
    for (int32_t y = 0; y < want.height; ++y) {
        const auto isMovedBy = [&](int32_t off) {
            for (int32_t x = 0; x < want.width; ++x)
                if (got.at(x, y) != (want.has(x - off, y) ? want.at(x - off, y) : fill)) return false;
            return true;
        };
        int32_t off = -most;
        while (off <= most && !isMovedBy(off)) ++off;
        if (off > most) return false;
        low = std::min(low, off), high = std::max(high, off);
    }
    return high - low <= 1;
}

TEST(Shear, LooksTheSameInEveryView) {
    for (int32_t view = TOP_LEFT; view <= LEFT_BOTTOM; ++view)
        for (const bool horizontal : {true, false})
            for (const int32_t angle : {2500, -7000}) {
                Bitmap bm(24, 11, 18);
                fillRandom(bm.record, 6);
                bm->ViewPerspective = view;
                const uint64_t fill = whitePixel(bm.record);
                const Seen want = sheared(Seen(bm.record), angle, horizontal, fill);
                ASSERT_EQ(R_ShearBitmap(&bm, angle, horizontal, kWhite), 1);
                const Seen got(bm.record);
                ASSERT_TRUE(got == want ||
                            (view != TOP_LEFT && view != BOTTOM_LEFT && looksAlike(got, want, angle, horizontal, fill)))
                    << view << " " << horizontal << " " << angle;
            }
}

std::vector<int32_t> g_heard;
int32_t listen(int32_t percent, void* stop) {
    g_heard.push_back(percent);
    return stop && percent >= 60 ? -100 : 1;
}
class Listening {
    STATUSCALLBACK m_old = nullptr;
    void* m_user = nullptr;

public:
    explicit Listening(bool stop) {
        g_heard.clear();
        R_SetStatusCallBack(listen, stop ? this : nullptr, &m_old, &m_user);
    }
    Listening(const Listening&) = delete;
    ~Listening() { R_SetStatusCallBack(m_old, m_user, nullptr, nullptr); }
};

TEST(Shear, StatusesProgressAndFaults) {
    Bitmap bm(8, 30, 40);
    const Bytes before = fillRandom(bm.record, 2);
    BITMAPRECORD bare{};
    EXPECT_EQ(R_ShearBitmap(nullptr, 9000, 1, 0), -2);
    EXPECT_EQ(R_ShearBitmap(&bare, 9000, 1, 0), -2);
    bm->uStructSize = 1;
    EXPECT_EQ(R_ShearBitmap(&bm, 9000, 1, 0), -789);
    bm->uStructSize = sizeof(BITMAPRECORD);
    for (const int32_t angle : {9000, -9000, INT32_MIN, INT32_MAX}) EXPECT_EQ(R_ShearBitmap(&bm, angle, 1, 0), -13);
    for (const bool horizontal : {true, false}) {
        {
            const Listening stop(true);
            EXPECT_EQ(R_ShearBitmap(&bm, -3000, horizontal, 0), -100);
            EXPECT_TRUE(std::is_sorted(g_heard.begin(), g_heard.end()));
            EXPECT_EQ(g_heard[0], 0);
            EXPECT_EQ(g_heard[1], horizontal ? 5 : 25);
            EXPECT_EQ(R_GetStatusCallBack(nullptr), listen);
        }
        for (int n = 0;; ++n) {
            ASSERT_TRUE(bm->Width == 30 && bm->Height == 40 && contents(bm.record) == before) << n;
            BITMAPRECORD copy{};
            R_CopyBitmap(&copy, &bm, sizeof copy);
            const long blocks = faults::liveBlocks();
            faults::FailFromNthAllocation fail(n);
            const int32_t status = R_ShearBitmap(&copy, 3000, horizontal, 0);
            fail.stop();
            const bool through = !fail.fired();
            EXPECT_EQ(status, through ? 1 : -1) << n;
            if (!through) {
                EXPECT_EQ(faults::liveBlocks(), blocks) << n;
                EXPECT_EQ(contents(copy), before) << n;
            }
            R_FreeBitmap(&copy);
            if (through) break;
        }
    }
    const Listening all(false);
    EXPECT_EQ(R_ShearBitmap(&bm, 100, 0, 0), 1);
    EXPECT_EQ(g_heard.front(), 0);
    EXPECT_EQ(g_heard.back(), 100);
}

// What is asked of the region, by letters; it is copied to the new bitmap, and the old one goes once all is done.
TEST(Shear, CarriesTheRegion) {
    static std::string heard;
    static const auto old = reinterpret_cast<RavoRgn*>(8), fresh = reinterpret_cast<RavoRgn*>(16);
    static rv::Attachments bodies = rv::attachments();
    bodies.copyRegion = [](BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept {
        dst.pRgnInfo = fresh;
        return heard += src.pRgnInfo == old ? "c" : "?", 1;
    };
    bodies.deleteRegion = [](RavoRgn* p) noexcept { heard += p == old ? "d" : "D"; };
    bodies.reverseRegion = [](BITMAPRECORD&) noexcept { return heard += "r", 1; };
    bodies.offsetRegion = [](BITMAPRECORD& bm, int32_t x, int32_t) noexcept {
        return heard += x == 30 - bm.Width ? "o" : "?", 1;
    };
    bodies.shearRegion = [](BITMAPRECORD& bm, int32_t angle) noexcept {
        return heard += "s", bm.pRgnInfo == fresh && std::abs(angle) == 4500 ? 1 : -3;
    };
    const rv::Attachments& before = rv::attachments();
    for (const int32_t angle : {4500, -4500, 4501}) {
        Bitmap bm(8, 30, 10);
        bm->pRgnInfo = old;
        heard.clear();
        rv::registerAttachments(bodies);
        EXPECT_EQ(R_ShearBitmap(&bm, angle, 1, 0), angle == 4501 ? -3 : 1);
        rv::registerAttachments(before);
        EXPECT_EQ(heard, angle < 0 ? "crosrd" : angle == 4500 ? "csd" : "csD");
        EXPECT_EQ(bm->pRgnInfo, angle == 4501 ? old : fresh);
        bm->pRgnInfo = nullptr;
    }
}

// ---- warp

using Corners = std::array<POINT, 4>;

struct Place {
    int32_t left, top, width, height;
};
int32_t warp(BITMAPRECORD& dst, const Corners& to, BITMAPRECORD& src, const Place& p, uint32_t flags) {
    return R_CombineBitmapWarp(&dst, to.data(), &src, p.left, p.top, p.width, p.height, flags);
}

// Blends one pixel's samples with the weights as they stand, rounded down.
uint64_t blendedPixel(const BITMAPRECORD& bm, Seen& from, double x, double y) {
    const auto x0 = int32_t(std::floor(x)), y0 = int32_t(std::floor(y));
    const double u = x - x0, v = y - y0;
    const int32_t x1 = u > 0 ? x0 + 1 : x0, y1 = v > 0 ? y0 + 1 : y0;
    const int32_t depth = bm.BitsPerPixel;
    const bool one = depth <= 12 || bm.Order == ORDER_GRAY;
    const int32_t bits = one ? depth : depth == 16 ? 5 : depth > 32 ? 16 : 8;
    const uint64_t most = (uint64_t(1) << bits) - 1;
    uint64_t out = depth == 16 && !one ? from.at(u >= 0.5 ? x1 : x0, v >= 0.5 ? y1 : y0) & 0x8000 : 0;
    for (int32_t shift = 0; shift + bits <= depth; shift += bits) {
        const auto at = [&](int32_t a, int32_t b) { return double(from.at(a, b) >> shift & most); };
        const double sum =
            at(x0, y0) * (1 - u) * (1 - v) + at(x1, y0) * u * (1 - v) + at(x0, y1) * (1 - u) * v + at(x1, y1) * u * v;
        out |= uint64_t(depth == 1 ? sum + 0.5 : sum) << shift;
    }
    return out;
}

TEST(Warp, ParallelogramsFollowTheAffineFormula) {
    // Corners P, P + U, P + U + V, P + V; the area is 1024 pixels, so that places have short fractions.
    const Place place{3, 2, 17, 9};
    const POINT p{20, 5}, u{32, 8}, v{-16, 28};
    const Corners corners{p, POINT{p.x + u.x, p.y + u.y}, POINT{p.x + u.x + v.x, p.y + u.y + v.y},
                          POINT{p.x + v.x, p.y + v.y}};
    for (const int32_t bits : kDepths)
        for (const int32_t order :
             {defaultOrder(bits), bits >= 16 && bits <= 32 && bits != 24 ? int32_t(ORDER_GRAY) : defaultOrder(bits)})
            for (const Holding holding : holdingsOf(bits))
                for (const uint32_t flags : {0u, uint32_t(WARP_BILINEAR)}) {
                    if ((!flags || order != defaultOrder(bits)) && holding != Holding::conventional) continue;
                    Bitmap to(bits, 61, 53, holding, order), from(bits, 31, 14, holding, order);
                    ASSERT_TRUE(to.nStatus == 1 && from.nStatus == 1);
                    fillRandom(to.record, 1);
                    fillRandom(from.record, 2);
                    Seen want(to.record), source(from.record);
                    const int32_t gray = R_IsGrayScaleBitmap(&to);
                    const bool blend = flags && (bits == 1 || bits > 8 || gray == 1 || gray == 2);
                    const int32_t det = u.x * v.y - u.y * v.x;
                    for (int32_t y = 0; y < want.height; ++y)
                        for (int32_t x = 0; x < want.width; ++x) {
                            const int32_t a = (x - p.x) * v.y - (y - p.y) * v.x, b = (y - p.y) * u.x - (x - p.x) * u.y;
                            if (a < 0 || a > det || b < 0 || b > det) continue;
                            const double sx = place.left + double(a) * (place.width - 1) / det,
                                         sy = place.top + double(b) * (place.height - 1) / det;
                            want.at(x, y) =
                                blend ? blendedPixel(to.record, source, sx, sy)
                                      : source.at(int64_t(std::floor(sx + 0.5)), int64_t(std::floor(sy + 0.5)));
                        }
                    ASSERT_EQ(warp(to.record, corners, from.record, place, flags), 1);
                    ASSERT_EQ(Seen(to.record), want) << bits << nameOf(holding) << " " << order << " " << flags;
                }
}

TEST(Warp, PutsARectangleOntoItselfInEveryViewAndOntoItsOwnBitmap) {
    for (int32_t to = TOP_LEFT; to <= LEFT_BOTTOM; ++to)
        for (int32_t from = TOP_LEFT; from <= LEFT_BOTTOM; ++from)
            for (const uint32_t flags : {0u, uint32_t(WARP_BILINEAR)}) {
                Bitmap a(24, 23, 17), b(24, 19, 31);
                a->ViewPerspective = to;
                b->ViewPerspective = from;
                fillRandom(a.record, 1);
                fillRandom(b.record, 2);
                Seen want(a.record), source(b.record);
                for (int32_t y = 0; y < 9; ++y)
                    for (int32_t x = 0; x < 7; ++x) want.at(x + 4, y + 6) = source.at(x + 3, y + 1);
                ASSERT_EQ(warp(a.record, {{{4, 6}, {10, 6}, {10, 14}, {4, 14}}}, b.record, {3, 1, 7, 9}, flags), 1);
                ASSERT_EQ(Seen(a.record), want) << to << " from " << from;
                // Two rows down, over its own source.
                for (int32_t y = 8; y >= 0; --y)
                    for (int32_t x = 0; x < 7; ++x) want.at(x + 4, y + 8) = want.at(x + 4, y + 6);
                ASSERT_EQ(warp(a.record, {{{4, 8}, {10, 8}, {10, 16}, {4, 16}}}, a.record, {4, 6, 7, 9}, flags), 1);
                ASSERT_EQ(Seen(a.record), want) << to << " onto itself";
            }
}

// A projective map keeps u / (1 - u) in proportion to the distances from the sides where u is 0 and 1; where the
// diagonals meet, u and v are one half.
TEST(Warp, QuadrilateralsAreProjective) {
    const Corners c{POINT{10, 4}, POINT{90, 20}, POINT{70, 95}, POINT{2, 60}};
    Bitmap to(16, 100, 100, Holding::conventional, ORDER_GRAY), from(16, 65, 65, Holding::conventional, ORDER_GRAY);
    Bytes ramp(size_t(from->BytesPerLine) * 65);
    for (uint32_t i = 0; i < 65 * 65; ++i)
        rv::Pixel<16>::put(&ramp[i / 65 * from->BytesPerLine], i % 65, 1 + i % 65 * 512 + i / 65);
    setContents(from.record, ramp);
    ASSERT_EQ(warp(to.record, c, from.record, {0, 0, 65, 65}, 0), 1);
    const auto cross = [&](size_t i, size_t j, double x, double y) {
        return (c[j].x - c[i].x) * (y - c[i].y) - (c[j].y - c[i].y) * (x - c[i].x);
    };
    const double t = cross(1, 3, c[0].x, c[0].y) / (cross(1, 3, c[0].x, c[0].y) - cross(1, 3, c[2].x, c[2].y)),
                 mx = c[0].x + t * (c[2].x - c[0].x), my = c[0].y + t * (c[2].y - c[0].y);
    Seen got(to.record);
    for (int32_t i = 0; i < 100 * 100; ++i) {
        const int32_t x = i % 100, y = i / 100;
        const double top = cross(0, 1, x, y), right = cross(1, 2, x, y), low = cross(2, 3, x, y),
                     left = cross(3, 0, x, y);
        ASSERT_EQ(got.at(x, y) != 0, std::min({top, right, low, left}) >= 0) << x << " " << y;
        if (!got.at(x, y)) continue;
        const double u = left / cross(3, 0, mx, my), notU = right / cross(1, 2, mx, my);
        const double v = top / cross(0, 1, mx, my), notV = low / cross(2, 3, mx, my);
        ASSERT_NEAR(double((got.at(x, y) - 1) / 512), 64 * u / (u + notU), 0.5 + 1e-4) << x << " " << y;
        ASSERT_NEAR(double((got.at(x, y) - 1) % 512), 64 * v / (v + notV), 0.5 + 1e-4) << x << " " << y;
    }
}

TEST(Warp, StatusesInTheirOrder) {
    Bitmap a(8, 20, 10), b(8, 12, 9), deep(24, 12, 9), gray(16, 12, 9, Holding::conventional, ORDER_GRAY),
        rgb(16, 20, 10);
    const Corners whole{POINT{0, 0}, POINT{19, 0}, POINT{19, 9}, POINT{0, 9}};
    const Place all{0, 0, 12, 9};
    BITMAPRECORD bare{}, bad = b.record;
    bad.uStructSize = 2;
    bare.uStructSize = sizeof bare;
    EXPECT_EQ(R_CombineBitmapWarp(nullptr, nullptr, &bad, 0, 0, 0, 0, 0x400), -2);
    EXPECT_EQ(warp(a.record, whole, bare, all, 0x400), -2);
    EXPECT_EQ(warp(a.record, whole, bad, all, 0x400), -789);
    EXPECT_EQ(warp(a.record, whole, deep.record, all, 0x400), -13);
    EXPECT_EQ(R_CombineBitmapWarp(&a, nullptr, &deep, 0, 0, 12, 9, 0), -13);
    const Corners bent[] = {{POINT{0, 0}, POINT{19, 0}, POINT{5, 3}, POINT{0, 9}},   // concave
                            {POINT{0, 0}, POINT{19, 9}, POINT{19, 0}, POINT{0, 9}},  // crossing
                            {POINT{0, 0}, POINT{10, 0}, POINT{19, 0}, POINT{0, 9}},  // three in a line
                            {POINT{0, 0}, POINT{0, 0}, POINT{19, 9}, POINT{0, 9}},
                            {POINT{INT32_MIN, INT32_MIN}, POINT{INT32_MAX, INT32_MAX}, POINT{-1, -1}, POINT{0, 9}}};
    for (const Corners& c : bent) EXPECT_EQ(warp(a.record, c, deep.record, all, 0), -13);
    EXPECT_EQ(warp(a.record,
                   {POINT{INT32_MIN, INT32_MIN}, POINT{INT32_MAX, INT32_MIN}, POINT{INT32_MAX, INT32_MAX},
                    POINT{INT32_MIN, INT32_MAX}},
                   deep.record, all, 0),
              -27)
        << "convex, but far outside";
    EXPECT_EQ(warp(a.record, whole, deep.record, all, 0), -27);
    EXPECT_EQ(warp(rgb.record, whole, gray.record, all, 0), -13);
    for (const Place& p : {Place{0, 0, 0, 9}, Place{0, 0, 12, -1}, Place{-1, 0, 5, 5}, Place{0, 1, 12, 9},
                           Place{1, 0, INT32_MAX, 1}, Place{12, 0, 1, 1}})
        EXPECT_EQ(warp(a.record, whole, b.record, p, 0), -13);
    const Bytes before = contents(a.record);
    EXPECT_EQ(warp(a.record, {POINT{0, 0}, POINT{20, 0}, POINT{19, 9}, POINT{0, 9}}, b.record, all, 0), -13);
    EXPECT_EQ(warp(a.record, {POINT{0, 0}, POINT{19, 0}, POINT{19, 10}, POINT{0, 9}}, b.record, all, 0), -13);
    EXPECT_EQ(contents(a.record), before);
    ++b->pPalette[7].rgbRed;
    EXPECT_EQ(warp(a.record, whole, b.record, all, 0), -13);
    --b->pPalette[7].rgbRed;
    fillRandom(b.record, 5);
    EXPECT_EQ(warp(a.record, whole, b.record, all, 0x3FF), 1);

    // Real corners are taken for the nearest pixels.
    Bitmap c(8, 20, 10);
    const PointD real[] = {{-0.5, 0.2}, {19.4, -0.3}, {18.5, 9.0}, {0.0, 9.49}};
    EXPECT_EQ(R_CombineBitmapWarp2(&c, real, &b, 0, 0, 12, 9, 0), 1);
    EXPECT_EQ(contents(c.record), contents(a.record));
    const PointD wild[] = {{std::nan(""), 0}, {19, 0}, {19, 9}, {0, 1e300}};
    EXPECT_EQ(R_CombineBitmapWarp2(&c, wild, &deep, 0, 0, 12, 9, 0), -13);

    const Listening stop(true);
    EXPECT_EQ(warp(a.record, whole, b.record, all, 0), -100);
    EXPECT_EQ(g_heard, (std::vector<int32_t>{0, 10, 20, 30, 40, 50, 60}));
}

}  // namespace
