// Bi-level rows of painting against a count pixel by pixel: every method, scale, frame, window and kind of storage,
// rows in any order.
#include <gtest/gtest.h>

#include "internal/bitboxes.h"
#include "internal/paint_.h"
#include "internal/simd.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"

using rv::PaintAxis;
using rv::PaintMethod;
using test::Bitmap;
using test::Bytes;
using test::Holding;

namespace {

constexpr PaintMethod kMethods[] = {PaintMethod::coverage, PaintMethod::coverageInverted, PaintMethod::smooth,
                                    PaintMethod::smoothInverted};

// The slow way, from the rows of a picture.
struct Model {
    Bytes rows;
    size_t nStride;
    int32_t nWidth, nHeight;
    PaintMethod method;
    PaintAxis x, y;
    std::vector<Bytes> counted = {};  // per pixel whether it counts

    void prepare() {
        const bool bSmooth = method == PaintMethod::smooth || method == PaintMethod::smoothInverted;
        const double dArea = std::max(double(x.nSrc) / x.nDst, 1.0) * std::max(double(y.nSrc) / y.nDst, 1.0);
        auto r = int32_t(std::sqrt(dArea) + 1e-9);
        r = !bSmooth ? 0 : r <= 2 ? 1 : r <= 4 ? r - 1 : r;
        for (int32_t v = 0; v < nHeight; ++v) {
            Bytes row(size_t(nWidth), 0);
            for (int32_t u = 0; u < nWidth; ++u)
                if (rv::Pixel<1>::get(&rows[size_t(v) * nStride], size_t(u)) == (method != PaintMethod::smooth))
                    for (int32_t k = std::max(0, u - r / 2); k <= std::min(nWidth - 1, u + r - r / 2); ++k)
                        row[size_t(k)] = 1;
            counted.push_back(row);
        }
    }
    static int32_t end(const PaintAxis& a, int32_t d, int32_t nSize) {
        const int64_t nNext = a.nSrcFirst + (int64_t(d) + 1) * a.nSrc / a.nDst;
        return int32_t(std::min<int64_t>(std::max<int64_t>(nNext, int64_t(a.source(d)) + 1), nSize));
    }
    Bytes row(int32_t nRow) const {
        Bytes out;
        const int32_t nTop = y.source(nRow), nBottom = end(y, nRow, nHeight);
        for (int32_t d = x.nFrom; d < x.nFrom + x.nCount; ++d) {
            const int32_t nLeft = x.source(d), nRight = end(x, d, nWidth);
            int64_t n = 0;
            for (int32_t v = nTop; v < nBottom; ++v)
                n += std::count(&counted[size_t(v)][size_t(nLeft)], &counted[size_t(v)][0] + nRight, 1);
            const auto uGray = uint8_t(n * 255 / (int64_t(nBottom - nTop) * (nRight - nLeft)));
            out.push_back(uint8_t(method == PaintMethod::coverage ? uGray : 255 - uGray));
        }
        return out;
    }
};

// An axis whose painted pixels start inside of nSize: a frame that may reach out, and a window of it.
PaintAxis randomAxis(int32_t nSize, std::mt19937& random) {
    const auto from = [&](int32_t nLow, int32_t nHigh) {
        return std::uniform_int_distribution<int32_t>(nLow, nHigh)(random);
    };
    const bool bWhole = from(0, 2) == 0;
    PaintAxis a{bWhole ? 0 : from(-nSize / 2, nSize - 1), bWhole ? nSize : from(1, nSize * 2), 1, 0, 0};
    a.nSrc = std::max(a.nSrc, 1 - a.nSrcFirst);  // so that a part of it is inside
    constexpr double kScales[] = {1, 2.4, 0.9, 1 / 2.0, 1 / 3.7, 1 / 5.0, 1 / 8.6, 1 / 17.3, 1 / 40.0, 1 / 100.0, 0};
    a.nDst = std::max(1, int32_t(a.nSrc * kScales[from(0, 10)]));
    std::vector<int32_t> inside;
    for (int32_t d = 0; d < a.nDst; ++d)
        if (a.source(d) >= 0 && a.source(d) < nSize) inside.push_back(d);
    if (inside.empty()) return randomAxis(nSize, random);
    const int32_t n = int32_t(inside.size()), nSkip = bWhole ? 0 : from(0, n - 1);
    a.nFrom = inside[size_t(nSkip)];
    a.nCount = from(bWhole ? n : 1, n - nSkip);
    return a;
}

std::string describe(const PaintAxis& a) {
    return testing::PrintToString(std::vector<int32_t>{a.nSrcFirst, a.nSrc, a.nDst, a.nFrom, a.nCount});
}

// Ink of some pixels on clear or on full rows, with rows that are all of one colour.
void fill(BITMAPRECORD& bm, uint32_t seed) {
    Bytes data = test::fillRandom(bm, seed);
    for (uint32_t k = 1; k <= seed % 4; ++k) {
        const Bytes other = test::randomBytes(data.size(), seed + 1000 * k);
        for (size_t i = 0; i < data.size(); ++i) data[i] &= other[i];
    }
    if (seed & 4)
        for (auto& b : data) b = uint8_t(~b);
    for (int32_t y = 0; y < bm.Height; y += 3)
        std::memset(&data[size_t(y) * bm.BytesPerLine], y % 2 * 255, bm.BytesPerLine);
    test::clearPadding(data, bm);
    test::setContents(bm, data);
}

void expectModel(BITMAPRECORD& bm, PaintMethod method, const PaintAxis& x, const PaintAxis& y, std::mt19937& random) {
    SCOPED_TRACE("method " + std::to_string(int(method)) + " x " + describe(x) + " y " + describe(y));
    Model model{test::contents(bm), bm.BytesPerLine, bm.Width, bm.Height, method, x, y};
    model.prepare();
    R_AccessBitmap(&bm);
    std::unique_ptr<rv::PaintRows> pRows;
    ASSERT_EQ(rv::makeBitonalRows(bm, method, x, y, pRows), 1);
    ASSERT_EQ(pRows->format().BitsPerPixel, 8);
    std::vector<int32_t> order;
    for (int32_t d = y.nFrom; d < y.nFrom + y.nCount; ++d) order.push_back(d);
    if (random() % 2) std::shuffle(order.begin(), order.end(), random);
    for (const int32_t d : order) {
        Bytes buffer(size_t(x.nCount) + 16, 0xA5), want = model.row(d);
        want.resize(buffer.size(), 0xA5);  // nothing behind the row is touched
        ASSERT_EQ(pRows->row(d, buffer.data()), buffer.data());
        ASSERT_EQ(buffer, want) << "row " << d;
        ASSERT_EQ(pRows->areSame(d, y.nFrom), y.source(d) == y.source(y.nFrom));
    }
    R_ReleaseBitmap(&bm);
}

}  // namespace

// Sizes of all kinds in plain memory, and one of several tiles and strips in every storage.
TEST(PaintBitonal, CountsEachBox) {
    std::mt19937 random(11);
    constexpr int32_t kSizes[][2] = {{333, 70}, {1, 1}, {9, 40}, {64, 3}, {331, 20}, {1500, 75}, {6000, 9}};
    for (const Holding holding : test::holdingsOf(1))
        for (uint32_t i = 0; i < (holding == Holding::conventional ? 700 : 24); ++i) {
            SCOPED_TRACE(nameOf(holding));
            const auto& size = kSizes[holding == Holding::conventional ? i % 7 : 0];
            Bitmap bm(1, size[0], size[1], holding);
            ASSERT_EQ(bm.nStatus, 1);
            if (i) fill(bm.record, i);  // one stays as it was made
            const PaintAxis x = randomAxis(size[0], random), y = randomAxis(size[1], random);
            expectModel(bm.record, kMethods[random() % 4], x, y, random);
            if (HasFatalFailure()) return;
        }
}

TEST(PaintBitonal, BoxKernelsAgree) {
#ifdef __x86_64__
    if (!rv::cpuHasAvx2()) GTEST_SKIP();
    for (uint32_t nWidest = 1; nWidest <= 60; ++nWidest)
        for (uint32_t nRows = 1; nRows <= uint32_t(rv::kMostPlaneRows); nRows += nWidest % 3 + 1) {
            const Bytes data = test::randomBytes(400, nWidest * 100 + nRows);
            std::vector<uint32_t> starts, ends;
            for (uint32_t at = nWidest % 8; at + nWidest <= 3100 - nRows;
                 at = ends.back() - (nWidest == 1 && starts.size() % 3)) {
                starts.push_back(at);
                ends.push_back(at + std::max(1u, nWidest - data[starts.size() % 400] % 2));
            }
            rv::BitBoxes boxes{starts.data(), ends.data(), starts.size(), nullptr, 0};
            rv::Buffer<rv::BoxLanes> lanes;
            ASSERT_TRUE(rv::makeBoxLanes(boxes, nWidest, lanes));
            rv::BitPlanes planes;
            ASSERT_TRUE(planes.allocate(390));
            for (uint32_t y = 0; y < nRows; ++y) planes.add(y % 2 ? data.data() : test::randomBytes(390, y).data());
            const auto counts = [&](const rv::BitBoxOps& ops) {
                std::vector<uint32_t> out(boxes.n + rv::kBoxPadding, 7);
                for (const bool bAdd : {false, true}) ops.count(boxes, planes, bAdd, out.data());
                return out.resize(boxes.n), out;
            };
            ASSERT_EQ(counts(rv::kPlainBitBoxes), counts(rv::kAvx2BitBoxes)) << nWidest << " wide, rows " << nRows;
            const auto grays = [&](const rv::BitBoxOps& ops) {
                Bytes out(boxes.n + 16, 7);
                ops.spread(boxes, planes, uint8_t(boxes.n % 2 * 255), out.data());
                return out;
            };
            if (nWidest == 1) {
                ASSERT_EQ(grays(rv::kPlainBitBoxes), grays(rv::kAvx2BitBoxes));
            }
        }
#endif
}

// Quotients at and just below whole numbers, where factors could round them wrongly.
TEST(PaintBitonal, GrayIsExact) {
    const auto check = [](auto one, uint32_t nWidth, uint32_t nHeight) {
        const uint64_t nTotal = uint64_t(nWidth) * nHeight;
        const std::vector<decltype(one)> inverses(511, one / decltype(one)(nWidth));
        std::vector<uint32_t> counts;
        for (uint64_t q = 0; q <= 255; ++q) {
            counts.push_back(uint32_t((q * nTotal + 254) / 255));
            if (q) counts.push_back(counts.back() - 1);
        }
        Bytes out(511), want;
        for (const uint32_t n : counts) want.push_back(uint8_t(n * uint64_t(255) / nTotal));
        rv::graysOfCounts(counts.data(), inverses.data(), nHeight, 0, out.data(), 511);
        ASSERT_EQ(out, want) << nWidth << " x " << nHeight;
        for (size_t i = 0; i < 511; ++i) ASSERT_EQ(rv::grayOfCount(counts[i], nTotal), want[i]);
    };
    for (uint32_t nWidth = 1; nWidth <= rv::kMostFloat; ++nWidth)
        for (uint32_t nHeight = 1; nWidth * nHeight <= rv::kMostFloat; ++nHeight) check(1.0F, nWidth, nHeight);
    for (uint32_t nWidth : {1u, 3u, 255u, 46337u, 1000003u, 2147483647u})
        for (uint32_t k = 0; k < 5; ++k) check(1.0, nWidth, std::max(1u, uint32_t(INT32_MAX) / nWidth - k));
    EXPECT_EQ(rv::grayOfCount(uint64_t(1) << 62, uint64_t(1) << 62), 255);
    EXPECT_EQ(rv::grayOfCount((uint64_t(1) << 62) - 1, uint64_t(1) << 62), 254);
}

// More bits than 32 bits can count, in one box.
TEST(PaintBitonal, CountsPast32Bits) {
    constexpr int32_t kWide = 65600, kTall = 70000;
    Bitmap bm(1, kWide, kTall, Holding::compressed);
    ASSERT_EQ(bm.nStatus, 1);
    R_AccessBitmap(&bm);
    const uint16_t record[] = {4, 0, 0, 65535, 0, 65};
    for (int32_t y = 0; y < kTall; ++y)
        if (y % 100) {
            ASSERT_EQ(R_PutBitmapRowCompressed(&bm, nullptr, record, y, 1), 1);
        }
    std::unique_ptr<rv::PaintRows> pRows;
    const PaintAxis x{0, kWide, 1, 0, 1}, y{0, kTall, 1, 0, 1};
    ASSERT_EQ(rv::makeBitonalRows(bm.record, PaintMethod::coverage, x, y, pRows), 1);
    uint8_t uGray = 0;
    ASSERT_TRUE(pRows->row(0, &uGray));
    EXPECT_EQ(uGray, 252);
    R_ReleaseBitmap(&bm);
}

TEST(PaintBitonal, FailsCleanly) {
    Bitmap bm(1, 100, 10, Holding::disk);
    R_AccessBitmap(&bm);
    const PaintAxis x{0, 100, 30, 0, 30}, y{0, 10, 20, 0, 20};
    const long nBlocks = faults::liveBlocks();
    for (int k = 0, bDone = 0; !bDone; ++k) {
        std::unique_ptr<rv::PaintRows> pRows;
        faults::FailFromNthAllocation fail(k);
        const int32_t n = rv::makeBitonalRows(bm.record, PaintMethod::smooth, x, y, pRows);
        fail.stop();
        bDone = !fail.fired();
        ASSERT_EQ(n, bDone ? 1 : -1) << k;
        pRows.reset();
        ASSERT_EQ(faults::liveBlocks(), nBlocks) << k;
    }
    R_ReleaseBitmap(&bm);

    Bitmap broken(1, 100, 10);
    BITMAPDATACALLBACKS callbacks{};
    callbacks.uStructSize = sizeof callbacks;
    callbacks.pfnGetRow = [](BITMAPRECORD*, uint8_t*, int32_t, int32_t, uint32_t, void*) { return -42; };
    ASSERT_EQ(R_SetBitmapDataCallbacks(&broken, &callbacks), 1);
    std::unique_ptr<rv::PaintRows> pRows;
    uint8_t row[30];
    ASSERT_EQ(rv::makeBitonalRows(broken.record, PaintMethod::coverage, x, y, pRows), 1);
    EXPECT_FALSE(pRows->row(3, row));
    EXPECT_EQ(pRows->status(), -42);
}
