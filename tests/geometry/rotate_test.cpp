// Turns by any angle against a walk that adds, carries and looks where it stands, one pixel at a time; sine and cosine.
#include <gtest/gtest.h>

#include <cmath>

#include "internal/rotaterows.h"
#include "internal/rvclasses_.h"
#include "support/bitmaps.h"
#include "support/faults.h"
#include "support/progress.h"

using namespace test;

namespace {

// ---- the model ---------------------------------------------------------------------------------------------------

struct Picture {
    int32_t nBits, nWidth, nHeight;
    bool bSigned = false;
    std::vector<uint64_t> pixels;
    uint64_t at(int32_t x, int32_t y, uint64_t uFill) const {
        const bool bIn = x >= 0 && y >= 0 && x < nWidth && y < nHeight;
        return bIn ? pixels[size_t(y) * size_t(nWidth) + size_t(x)] : uFill;
    }
    int sampleBits() const { return nBits == 12 ? 12 : nBits == 16 || nBits >= 48 ? 16 : nBits > 8 ? 8 : nBits; }
    int64_t most() const { return (int64_t(1) << (sampleBits() - bSigned)) - 1; }
    int64_t sample(uint64_t v, int k) const {
        const int n = sampleBits();
        const auto s = int64_t(v >> (k * n) & ((uint64_t(1) << n) - 1));
        return s > most() ? s - (int64_t(1) << n) : s;
    }
};

Picture pictureOf(BITMAPRECORD& bm) {
    Picture out{bm.BitsPerPixel, bm.Width, bm.Height, (bm.Flags & BMF_SIGNED) != 0, {}};
    const Bytes rows = contents(bm);
    for (int32_t y = 0; y < bm.Height; ++y)
        for (int32_t x = 0; x < bm.Width; ++x)
            out.pixels.push_back(pixelAt(&rows[size_t(y) * bm.BytesPerLine], bm.BitsPerPixel, size_t(x)));
    return out;
}

float spline(float p0, float p1, float p2, float p3, int32_t nFraction) {
    const float t = float(nFraction) * 6.1035156e-05f, u = 1 - t;
    if (!(t > 0)) return p1;
    const float e = 1.5f * (p0 - 2 * p1 + p2), bend = p1 - 2 * p2 + p3;
    const float m2 = bend == 0 ? 0 : (6 * bend - e) * 0.266667f, m1 = e - 0.25f * m2;
    return u * p1 + t * p2 + ((u * u * u - u) / 6) * m1 + ((t * t * t - t) / 6) * m2;
}

uint64_t sampled(const Picture& src, int32_t x, int32_t y, int32_t fx, int32_t fy, uint32_t uFilter, uint64_t uFill) {
    if (uFilter == 0) return src.at(x, y, uFill);
    const int n = src.sampleBits();
    uint64_t v = 0;
    for (int k = 0; k < src.nBits / n; ++k) {
        const auto get = [&](int32_t col, int32_t row) { return src.sample(src.at(col, row, uFill), k); };
        int64_t c = get(x, y);
        if (uFilter & ROT_BICUBIC) {
            const int32_t left = x - (fx < 0), top = y - (fy < 0), tx = fx + 16384 * (fx < 0),
                          ty = fy + 16384 * (fy < 0);
            float rows[4];
            for (int j = 0; j < 4; ++j)
                rows[j] = spline(float(get(left - 1, top - 1 + j)), float(get(left, top - 1 + j)),
                                 float(get(left + 1, top - 1 + j)), float(get(left + 2, top - 1 + j)), tx);
            c = int64_t(double(spline(rows[0], rows[1], rows[2], rows[3], ty)) + 0.5);
            c = std::clamp<int64_t>(c, src.bSigned ? -src.most() - 1 : 0, src.most());
        } else {
            if (fx < 0) c += (c - get(x - 1, y)) * fx / 16384;
            if (fx > 0) c += (get(x + 1, y) - c) * fx / 16384;
            if (fy < 0) c += (c - get(x, y - 1)) * fy / 16384;
            if (fy > 0) c += (get(x, y + 1) - c) * fy / 16384;
        }
        v |= (uint64_t(c) & ((uint64_t(1) << n) - 1)) << (k * n);
    }
    return v;
}

void carry(int32_t& n, int32_t& f) {
    if (f > 8192) ++n, f -= 16384;
    if (f < -8191) --n, f += 16384;
}

struct Case {
    int32_t nAngle;  // of the walk: 0 to 35999
    uint32_t uFlags, uFilter;
    uint64_t uFill;
    float cx, cy;  // in the source
};

Picture turned(const Picture& src, const Case& c) {
    const int32_t nCos = R_CosValue(c.nAngle), nSin = R_SinValue(c.nAngle);
    Picture out = src;
    float dcx = float(src.nWidth) / 2, dcy = float(src.nHeight) / 2;
    if (c.uFlags & (ROT_RESIZE | ROT_CENTER)) {
        double xs[4], ys[4];
        for (int k = 0; k < 4; ++k) {
            const double x = k % 2 * src.nWidth - double(c.cx), y = k / 2 * src.nHeight - double(c.cy);
            xs[k] = (x * nCos + y * nSin) / 16384 + double(c.cx);
            ys[k] = (y * nCos - x * nSin) / 16384 + double(c.cy);
        }
        const auto [x0, x1] = std::minmax_element(xs, xs + 4);
        const auto [y0, y1] = std::minmax_element(ys, ys + 4);
        out.nWidth = int32_t(*x1 - *x0 + 0.6);
        out.nHeight = int32_t(*y1 - *y0 + 0.6);
        dcx = float(double(c.cx) - *x0), dcy = float(double(c.cy) - *y0);
    }
    const float dx = 0.5f - dcx, dy = 0.5f - dcy, unit = 6.1035156e-05f;
    const float x0 = dx * float(nCos) * unit - dy * float(nSin) * unit + c.cx;
    const float y0 = dx * float(nSin) * unit + dy * float(nCos) * unit + c.cy;
    auto rx = int32_t(x0), ry = int32_t(y0);
    auto rfx = int32_t((x0 - (float(rx) + 0.5f)) * 16384), rfy = int32_t((y0 - (float(ry) + 0.5f)) * 16384);
    carry(rx, rfx), carry(ry, rfy);
    out.pixels.clear();
    for (int32_t row = 0; row < out.nHeight; ++row) {
        int32_t x = rx, y = ry, fx = rfx, fy = rfy;
        for (int32_t col = 0; col < out.nWidth; ++col) {
            const bool bIn = x >= 0 && x < src.nWidth && y >= 0 && y < src.nHeight;
            out.pixels.push_back(bIn ? sampled(src, x, y, fx, fy, c.uFilter, c.uFill) : c.uFill);
            fx += nCos, fy += nSin;
            carry(x, fx), carry(y, fy);
        }
        rfx -= nSin, rfy += nCos;
        carry(rx, rfx), carry(ry, rfy);
    }
    return out;
}

// What a fill with the colour leaves in a pixel.
uint64_t fillOf(const Bitmap& like, COLORREF cr) {
    BITMAPRECORD one{};
    R_DupBitmapNewDim(&one, const_cast<BITMAPRECORD*>(&like.record), sizeof one, 1, 1, like.record.BitsPerPixel, 3);
    R_FillBitmap(&one, cr);
    const uint64_t v = pictureOf(one).pixels[0];
    R_FreeBitmap(&one);
    return v;
}

// Turns the bitmap by nAngle, which with its view makes the walk nWalk (see Case), and compares with the model.
void expectTurn(Bitmap& bm, int32_t nAngle, int32_t nWalk, uint32_t uFlags, uint32_t uFilter, COLORREF cr = 0x3060C0) {
    const float cx = uFlags & ROT_CENTER ? 11.25f : float(bm->Width) / 2,
                cy = uFlags & ROT_CENTER ? -3.5f : float(bm->Height) / 2;
    const Picture want = turned(pictureOf(bm.record), {nWalk, uFlags, uFilter, fillOf(bm, cr), cx, cy});
    ASSERT_EQ(R_IntRotateBitmap(&bm, nAngle, uFlags, cr, 0, 100, cx, cy), 1);
    ASSERT_EQ(std::pair(bm->Width, bm->Height), std::pair(want.nWidth, want.nHeight));
    const Picture got = pictureOf(bm.record);
    for (size_t i = 0; i < want.pixels.size(); ++i)
        ASSERT_EQ(got.pixels[i], want.pixels[i])
            << "column " << i % size_t(want.nWidth) << " row " << i / size_t(want.nWidth);
}

std::string name(int32_t nBits, Holding h, int32_t nAngle, uint32_t uFlags) {
    return std::to_string(nBits) + " bits, " + nameOf(h) + ", angle " + std::to_string(nAngle) + ", flags " +
           std::to_string(uFlags);
}

using test::Progress;

}  // namespace

TEST(Rotate, SineTableIsExact) {
    for (int32_t i = 0; i < 36000; ++i) {
        const long double v = 16384 * std::sin(i * (std::acos(-1.0L) / 18000));
        ASSERT_GT(std::abs(std::abs(v - std::trunc(v)) - 0.5L), 1e-6L) << i;  // no doubt about its rounding
        ASSERT_EQ(R_SinValue(i), std::lround(v)) << i;
        ASSERT_EQ(R_CosValue((i + 27000) % 36000), R_SinValue(i)) << i;
    }
}

TEST(Rotate, EqualsTheWalkOnEveryDepth) {
    for (const int32_t bits : kDepths)
        for (const bool bSigned : {false, true})
            for (const uint32_t uFlags : {0, 1, 2, 3, 4, 5, 6, 8 | 2, 8 | 4})
                for (const int32_t nAngle : {1, 1700, 4500, 9000, 12345, 20011, 35900, INT32_MAX - 5, INT32_MIN + 3}) {
                    if (bSigned && (bits < 12 || bits == 24 || bits == 32)) continue;
                    if (nAngle == 9000 && (uFlags & ROT_RESIZE)) continue;  // an exact turn
                    SCOPED_TRACE(name(bits, Holding::conventional, nAngle, uFlags) + (bSigned ? " signed" : ""));
                    Bitmap bm(bits, 61, 45);
                    if (bits == 8) R_CreateBitmapGrayPalette(&bm);
                    fillRandom(bm.record, unsigned(bits));
                    if (bSigned) bm->Flags |= BMF_SIGNED;
                    const uint32_t uFilter = bits < 8 ? 0 : uFlags & (ROT_BILINEAR | ROT_BICUBIC);
                    const auto nWalk = int32_t(((-int64_t(nAngle)) % 36000 + 36000) % 36000);
                    ASSERT_NO_FATAL_FAILURE(expectTurn(bm, nAngle, nWalk, uFlags, uFilter));
                }
}

// Storage in memory, read in whole, and with less memory than that, in parts of a picture that has several.
TEST(Rotate, EqualsTheWalkInEveryStorage) {
    const KeepThresholds keep;
    for (const int32_t bits : {1, 8, 12, 24})
        for (const Holding holding : holdingsOf(bits))
            for (const bool bLittleMemory : {false, true}) {
                const uint32_t uFilter = bits < 8 ? 0 : bLittleMemory ? ROT_BICUBIC : ROT_BILINEAR;
                SCOPED_TRACE(name(bits, holding, 3700, uFilter | 1) + (bLittleMemory ? " in parts" : ""));
                Bitmap bm(bits, 300, 290, holding);
                ASSERT_EQ(bm.nStatus, 1);
                if (bits == 8) R_CreateBitmapGrayPalette(&bm);
                fillRandom(bm.record, unsigned(bits));
                if (bLittleMemory) R_SetMemoryThresholds(0, 10000, 60000, 0, 0, 2 | 4);
                const uint32_t uClass = bm->Flags & (BMF_COMPRESSED | BMF_SUPERCOMPRESSED | BMF_DISK);
                ASSERT_NO_FATAL_FAILURE(expectTurn(bm, 3700, 32300, uFilter | ROT_RESIZE, uFilter));
                const uint32_t uNow = bm->Flags & (BMF_COMPRESSED | BMF_SUPERCOMPRESSED | BMF_DISK);
                EXPECT_TRUE(bLittleMemory || uNow == uClass);
                R_SetMemoryThresholds(0, -100, 0, 0, 0, 2 | 4);
            }
}

// Rows so long that few columns of a chunk can be told in 32 bits.
TEST(Rotate, FastRowsEqualPlainOnesInVeryLongRows) {
    using namespace rv;
    const int64_t nStride = 1 << 25;
    Buffer<uint8_t> rows;
    ASSERT_TRUE(rows.allocateCleared(7 * uint64_t(nStride)));
    const Bytes noise = randomBytes(500, 3);
    for (int y = 0; y < 7; ++y) std::copy(noise.begin() + y, noise.end(), rows.get() + y * nStride);
    for (const int32_t bits : {8, 16, 24, 32, 48, 64})
        for (const TurnFilter filter : {TurnFilter::nearest, TurnFilter::bilinear, TurnFilter::bicubic}) {
            const TurnSource src{rows.get(), nStride, {0, 0, 500 * 8 / bits, 7}, 0};
            Bytes got(400, 0xA5), want = got;
            const auto n = size_t(320 / bits + 22);  // chunks of 28 end with few pixels
            for (auto [kernel, out] :
                 {std::pair(bestTurn(bits, filter, false), &got), {plainTurn(bits, filter, false), &want}})
                kernel.inner(src, {3 * kTurnOne + 77, 3 * kTurnOne}, {16380, 300}, out->data(), 1, n);
            EXPECT_EQ(got, want) << bits << " bits, filter " << int(filter);
        }
}

TEST(Rotate, ViewsAndFilterSwitches) {
    static constexpr int32_t kAdded[] = {0, 18000, 18000, 0, 9000, 9000, 27000, 27000};
    for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView)
        for (const uint32_t uFlags : {0, 1}) {
            SCOPED_TRACE("view " + std::to_string(nView));
            Bitmap bm(24, 37, 29);
            fillRandom(bm.record, 7);
            bm->ViewPerspective = nView;
            const int32_t nNormal = nView == 2 || nView == 4 || nView == 5 || nView == 7 ? BOTTOM_LEFT : TOP_LEFT;
            const int32_t nTurn = (2500 + kAdded[nView - 1]) % 36000;
            ASSERT_NO_FATAL_FAILURE(expectTurn(bm, 2500, nNormal == BOTTOM_LEFT ? nTurn : 36000 - nTurn, uFlags, 0));
            EXPECT_EQ(bm->ViewPerspective, nNormal);
        }
    // A palette that is no ramp, and a table over greys.
    Bitmap colors(8, 40, 30);
    fillRandom(colors.record, 8);
    ASSERT_NO_FATAL_FAILURE(expectTurn(colors, 1000, 35000, ROT_BICUBIC, 0));
    Bitmap gray(16, 40, 30, Holding::conventional, ORDER_GRAY);
    fillRandom(gray.record, 9);
    gray->LUTLength = 65536;
    gray->pLUT = static_cast<RGBQUAD*>(R_GlobalAlloc(1, 4 * 65536, __LINE__, __FILE__));
    ASSERT_NO_FATAL_FAILURE(expectTurn(gray, 1000, 35000, ROT_BILINEAR, 0));
}

TEST(Rotate, GivesSizeResolutionAndAngleZero) {
    Bitmap bm(24, 100, 40);
    ASSERT_EQ(R_RotateBitmap(&bm, 4500, ROT_RESIZE, 0), 1);
    EXPECT_EQ(std::pair(bm->Width, bm->Height), std::pair(99, 99));  // 140 / sqrt(2) + 0.6
    Bitmap fine(24, 100, 40);
    fine->XResolution = 300, fine->YResolution = 150;
    ASSERT_EQ(R_RotateBitmap(&fine, 3000, 0, 0), 1);
    // 1746580 / (1418900 / 300 + 327680 / 150), 1386760 / (567560 / 150 + 819200 / 300)
    EXPECT_EQ(std::pair(fine->XResolution, fine->YResolution), std::pair(253, 213));
    for (const auto& [nAngle, nView, nAfter] : {std::tuple(-72000, 4, 4), {18000, 3, 1}, {9000, 8, 1}}) {
        bm->ViewPerspective = nView;
        const Bytes before = contents(bm.record);
        Progress progress;
        ASSERT_EQ(R_IntRotateBitmap(&bm, nAngle, 0, 0, 20, 70, 0, 0), 1);
        EXPECT_EQ(contents(bm.record), before);
        EXPECT_EQ(bm->ViewPerspective, nAfter);
        EXPECT_EQ(progress.heard, (std::vector<int32_t>{20, 70}));
    }
    Progress progress;
    ASSERT_EQ(R_IntRotateBitmap(&bm, 100, 0, 0, 20, 70, 0, 0), 1);
    EXPECT_EQ(std::pair(progress.heard.front(), progress.heard.back()), std::pair(20, 70));
    EXPECT_EQ(progress.heard.size(), 51u);
}

TEST(Rotate, QuarterAndHalfTurnsAreExact) {
    for (const auto& [nAngle, uFlags, nWidth] :
         {std::tuple(9000, 1, 50), {-9000, 3, 50}, {27000, 0, 30}, {18000, 4, 50}})
        for (const int32_t nView : {TOP_LEFT, BOTTOM_LEFT}) {
            Bitmap bm(24, nWidth, 30), other(24, nWidth, 30);
            fillRandom(bm.record, 3);
            fillRandom(other.record, 3);
            bm->ViewPerspective = other->ViewPerspective = nView;
            ASSERT_EQ(R_RotateBitmap(&bm, nAngle, uint32_t(uFlags), 0), 1);
            for (int32_t n = nAngle == 18000 ? 2 : 1; n > 0; --n)
                ASSERT_EQ(R_RotateBitmap90(&other, nAngle == 9000, 0, 100), 1);
            EXPECT_EQ(std::pair(bm->Width, bm->Height), std::pair(other->Width, other->Height));
            EXPECT_EQ(pictureOf(bm.record).pixels, pictureOf(other.record).pixels) << nAngle << " view " << nView;
        }
}

TEST(Rotate, StatusesAndFailuresLeaveTheBitmap) {
    EXPECT_EQ(R_RotateBitmap(nullptr, 100, 0, 0), -2);
    Bitmap bm(8, 70, 60, Holding::disk);
    BITMAPRECORD unknown = bm.record;
    unknown.uStructSize = 8;
    EXPECT_EQ(R_RotateBitmap(&unknown, 100, 0, 0), -789);
    unknown = bm.record;
    unknown.Flags = 0;
    EXPECT_EQ(R_RotateBitmap(&unknown, 100, 0, 0), -2);
    EXPECT_EQ(R_IntRotateBitmap(&bm, 100, ROT_CENTER, 0, 0, 100, NAN, 0), -13);

    fillRandom(bm.record, 5);
    bm->ViewPerspective = RIGHT_TOP;
    const Bytes data = contents(bm.record);
    const BITMAPRECORD before = bm.record;
    const auto isUntouched = [&] {
        return !std::memcmp(&bm.record, &before, sizeof before) && contents(bm.record) == data;
    };
    for (const int n : {0, 1, 30}) {
        Progress progress(n);
        ASSERT_EQ(R_RotateBitmap(&bm, 100, ROT_BILINEAR, 0), -777);
        ASSERT_TRUE(isUntouched()) << n;
    }
    const long nBlocks = faults::liveBlocks();
    for (int n = 0;; ++n) {
        faults::FailFromNthAllocation fail(n);
        const int32_t nStatus = R_RotateBitmap(&bm, 100, ROT_RESIZE, 0);
        fail.stop();
        if (!fail.fired()) {
            EXPECT_EQ(nStatus, 1);
            break;
        }
        ASSERT_EQ(nStatus, -1) << n;
        ASSERT_TRUE(isUntouched()) << n;
        ASSERT_EQ(faults::liveBlocks(), nBlocks) << n;
    }
}
