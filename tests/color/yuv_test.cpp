// Bitmaps and samples of video: the formulas over all samples and colours, both forms of the kernels, every way to hold
// the data, statuses and failures.
#include "ravokit/yuv.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "internal/rowaccess.h"
#include "internal/yuvrows.h"
#include "support/bitmaps.h"
#include "support/faults.h"

namespace {

using namespace test;

constexpr const char* kNames[] = {"420", "NV12", "NV21", "YUY2"};

int clampTo(int v, int low, int high) { return std::min(std::max(v, low), high); }
// The floor of a quotient, without shifts.
int floorDiv(int a, int b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

// Sample k (0 to 2: Y, U, V) for pixel (x, y) of a picture.
size_t sampleAt(int nFormat, size_t nWidth, size_t nHeight, size_t x, size_t y, int k) {
    if (nFormat == YUV_YUY2) return (y * nWidth + x / 2 * 2) * 2 + (k == 0 ? x % 2 * 2 : k == 1 ? 1 : 3);
    if (k == 0) return y * nWidth + x;
    const size_t nChroma = nWidth * nHeight, i = y / 2 * (nWidth / 2) + x / 2;
    if (nFormat == YUV_PLANAR_420) return nChroma + (k == 2 ? nChroma / 4 : 0) + i;
    return nChroma + i * 2 + ((k == 2) == (nFormat == YUV_NV12));
}
size_t sizeOf(int nFormat, size_t nWidth, size_t nHeight) {
    return nFormat == YUV_YUY2 ? nWidth * nHeight * 2 : nWidth * nHeight * 3 / 2;
}

void pixelOf(int y, int u, int v, uint8_t* p) {
    const int c = 1192 * (y - 16);
    p[0] = uint8_t(clampTo(floorDiv(c + 2066 * u - 263937, 1024), 0, 255));
    p[1] = uint8_t(clampTo(floorDiv(c - 401 * u - 832 * v + 158335, 1024), 0, 255));
    p[2] = uint8_t(clampTo(floorDiv(c + 1634 * v - 208641, 1024), 0, 255));
}
int samplePlain(int k, const uint8_t* p) {
    const int b = p[0], g = p[1], r = p[2];
    if (k == 0)
        return clampTo(16 + floorDiv(219 * floorDiv(9798 * r + 19235 * g + 3736 * b, 32768) + 128, 256), 16, 235);
    const int sum = k == 1 ? 16384 * b - 10846 * g - 5538 * r : 16384 * r - 13730 * g - 2654 * b;
    return clampTo(128 + floorDiv(224 * floorDiv(sum, 32768) + 128, 256), 16, 240);
}

// All 2^24 triples of samples through the fast kernel, as NV12 rows of 256 Y for each U and V; each Y is an even and an
// odd pixel.
TEST(Yuv, AllSamplesToPixels) {
    const rv::YuvKernels& fast = rv::bestYuv();
    Bytes y(512), uv(512), got(512 * 3), plain(512 * 3);
    for (size_t i = 0; i < 512; ++i) y[i] = uint8_t(i / 2);
    for (int u = 0; u < 256; ++u)
        for (int v = 0; v < 256; ++v) {
            for (size_t i = 0; i < 256; ++i) uv[2 * i] = uint8_t(u), uv[2 * i + 1] = uint8_t(v);
            fast.toPixels24[YUV_NV12](y.data(), uv.data(), nullptr, got.data(), 512);
            rv::kPlainYuv.toPixels24[YUV_NV12](y.data(), uv.data(), nullptr, plain.data(), 512);
            ASSERT_TRUE(got == plain) << "u " << u << " v " << v;
            if ((u * 7 + v) % 13) continue;
            for (int i = 0; i < 256; ++i) {
                uint8_t want[3];
                pixelOf(i, u, v, want);
                ASSERT_EQ(std::memcmp(want, &got[size_t(i) * 6], 3), 0) << i << " " << u << " " << v;
            }
        }
}

// All 2^24 colours: each fills a block of two by two, so that means change nothing.
TEST(Yuv, AllColorsToSamples) {
    const rv::YuvKernels& fast = rv::bestYuv();
    Bytes src(512 * 3), got(512 * 2), plain(512 * 2);
    for (int b = 0; b < 256; ++b)
        for (int g = 0; g < 256; ++g) {
            for (size_t i = 0; i < 512; ++i)
                src[i * 3] = uint8_t(b), src[i * 3 + 1] = uint8_t(g), src[i * 3 + 2] = uint8_t(i / 2);
            const auto run = [&](const rv::YuvKernels& k, Bytes& to) {
                k.toSamples[YUV_YUY2](src.data(), nullptr, to.data(), nullptr, nullptr, nullptr, 512);
            };
            run(fast, got), run(rv::kPlainYuv, plain);
            ASSERT_TRUE(got == plain) << "b " << b << " g " << g;
            if ((b * 7 + g) % 13) continue;
            for (size_t r = 0; r < 256; ++r)
                for (int k = 0; k < 3; ++k)
                    ASSERT_EQ(got[r * 4 + (k == 0   ? 0
                                           : k == 1 ? 1
                                                    : 3)],
                              samplePlain(k, &src[r * 6]))
                        << b << " " << g << " " << r;
        }
}

// Pictures of every layout and depth, held in every way, against single pixels; odd sizes lose their last row or
// column.
TEST(Yuv, PicturesOfEveryLayoutDepthAndHolding) {
    const KeepThresholds keep;
    for (int nFormat = 0; nFormat < 4; ++nFormat)
        for (const int32_t nBits : {8, 24, 32})
            for (const Holding holding : holdingsOf(nBits))
                for (const int32_t nWidth : {2, 30, 32, 102}) {
                    SCOPED_TRACE(std::string(kNames[nFormat]) + " " + std::to_string(nBits) + " " + nameOf(holding) +
                                 " " + std::to_string(nWidth));
                    const int32_t nHeight = nFormat == YUV_YUY2 ? 41 : 40;
                    const size_t w = size_t(nWidth), h = size_t(nHeight), nBytes = w * size_t(nBits) / 8;
                    const bool bLossy = holding == Holding::super && nBits != 1;
                    Bitmap bm(nBits, nWidth, nHeight, holding);
                    ASSERT_EQ(bm.nStatus, 1);
                    const Bytes samples = randomBytes(sizeOf(nFormat, w, h), uint32_t(nWidth));
                    ASSERT_EQ(R_SetBitmapYUVData(&bm, samples.data(), uint32_t(samples.size()), nFormat), 1);
                    EXPECT_EQ(bm->Order, nBits == 8 ? ORDER_RGB : ORDER_BGR);
                    EXPECT_EQ(bm->nLockCount, 0);
                    const Bytes pixels = contents(bm.record);
                    for (size_t y = 0; y < h && !bLossy; ++y) {
                        Bytes want(nBytes, 255);
                        for (size_t x = 0; x < w; ++x) {
                            const auto s = [&](int k) { return samples[sampleAt(nFormat, w, h, x, y, k)]; };
                            if (nBits == 8)
                                want[x] = s(0);
                            else
                                pixelOf(s(0), s(1), s(2), &want[x * size_t(nBits) / 8]);
                        }
                        ASSERT_EQ(std::memcmp(want.data(), &pixels[y * bm->BytesPerLine], nBytes), 0) << "row " << y;
                    }

                    // Back: the size is told, and not a byte more is written.
                    uint32_t uSize = 0;
                    ASSERT_EQ(R_GetBitmapYUVData(&bm, nullptr, &uSize, nFormat), 1);
                    ASSERT_EQ(uSize, samples.size());
                    Bytes got(uSize + 8, 0xA5), want = got;
                    for (size_t y = 0; y < h; ++y)
                        for (size_t x = 0; x < w; ++x) {
                            const size_t nRows = nFormat == YUV_YUY2 ? 1 : 2, y0 = y / nRows * nRows, x0 = x / 2 * 2;
                            const auto at = [&](size_t i, size_t j) {
                                return &pixels[j * bm->BytesPerLine + i * size_t(nBits) / 8];
                            };
                            for (int k = 0; k < 3; ++k) {
                                uint8_t& to = want[sampleAt(nFormat, w, h, x, y, k)];
                                int sum = 0;
                                for (size_t i = 0; i < 2 * nRows; ++i)
                                    sum += nBits == 8 ? 0 : samplePlain(k, at(x0 + i % 2, y0 + i / 2));
                                if (k == 0)
                                    to = nBits == 8 ? *at(x, y) : uint8_t(samplePlain(0, at(x, y)));
                                else
                                    to = uint8_t(nBits == 8 ? 128 : sum / int(2 * nRows));
                            }
                        }
                    uSize += 8;
                    ASSERT_EQ(R_GetBitmapYUVData(&bm, got.data(), &uSize, nFormat), 1);
                    ASSERT_EQ(got, want);
                }
}

TEST(Yuv, OddSizesAndOtherOrdersAreRead) {
    for (const int32_t nBits : {8, 24, 32})
        for (int nFormat = 0; nFormat < 4; ++nFormat) {
            Bitmap odd(nBits, 67, 7), even(nBits, 66, nFormat == YUV_YUY2 ? 7 : 6);
            fillRandom(odd.record, 3);
            for (int32_t y = 0; y < even->Height; ++y)
                std::memcpy(rv::flatRow(even.record, y), rv::flatRow(odd.record, y), 66 * size_t(nBits) / 8);
            uint32_t uSize = 0, uOdd = 0;
            EXPECT_EQ(R_GetBitmapYUVData(&even, nullptr, &uSize, nFormat), 1);
            EXPECT_EQ(R_GetBitmapYUVData(&odd, nullptr, &uOdd, nFormat), 1);
            ASSERT_EQ(uOdd, uSize);
            Bytes a(uSize), b(uSize), c(uSize);
            EXPECT_EQ(R_GetBitmapYUVData(&even, a.data(), &uSize, nFormat), 1);
            EXPECT_EQ(R_GetBitmapYUVData(&odd, b.data(), &uSize, nFormat), 1);
            EXPECT_EQ(a, b) << nBits << " " << kNames[nFormat];
            if (nBits == 8) continue;
            for (int32_t y = 0; y < even->Height; ++y)
                for (size_t x = 0; x < 66; ++x) {
                    uint8_t* p = rv::flatRow(even.record, y) + x * size_t(nBits) / 8;
                    std::swap(p[0], p[2]);
                }
            even->Order = ORDER_RGB;
            EXPECT_EQ(R_GetBitmapYUVData(&even, c.data(), &uSize, nFormat), 1);
            EXPECT_EQ(a, c) << nBits << " " << kNames[nFormat];
        }
}

YUVDESCRIPTOR describe(const Bytes& samples, int32_t nWidth, int32_t nHeight, int32_t nFormat) {
    YUVDESCRIPTOR d{};
    d.Width = nWidth, d.Height = nHeight, d.pYBuffer = samples.data(), d.uYSize = uint32_t(samples.size());
    d.nFormat = nFormat, d.nPlanes = 3;
    return d;
}

TEST(Yuv, GenericPlanesHaveStepsOfTheirOwn) {
    constexpr int32_t kWidth = 9, kHeight = 5;
    const Bytes samples = randomBytes(1000, 8);
    for (const int32_t nBits : {8, 24, 32}) {
        YUVDESCRIPTOR d = describe(samples, kWidth, kHeight, YUV_GENERIC);
        d.nYRowStep = 40, d.nYPixelStep = 3;
        d.pUBuffer = samples.data() + 999, d.nURowStep = -50, d.nUPixelStep = -7;
        d.pVBuffer = samples.data() + 400, d.nVRowStep = 31, d.nVPixelStep = 1;
        if (nBits == 8) d.pUBuffer = d.pVBuffer = nullptr;
        BITMAPRECORD bm;
        ASSERT_EQ(R_BitmapFromYUV(&bm, sizeof bm, &d, nBits), 1);
        EXPECT_EQ(bm.ViewPerspective, TOP_LEFT);
        EXPECT_EQ(bm.pPalette != nullptr, nBits == 8);
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                const int Y = samples[size_t(y * 40 + x * 3)], U = samples[size_t(999 - y / 2 * 50 - x / 2 * 7)],
                          V = samples[size_t(400 + y / 2 * 31 + x / 2)];
                const uint8_t* p = rv::flatRow(bm, y) + x * nBits / 8;
                if (nBits == 8) {
                    ASSERT_EQ(p[0], Y);
                    continue;
                }
                ASSERT_EQ(p[0], clampTo(Y + U * 1814 / 1024 - 227, 0, 255)) << x << " " << y;
                ASSERT_EQ(p[1], clampTo(Y - U * 46549 / 131072 - V * 93604 / 131072 + 135, 0, 255)) << x << " " << y;
                ASSERT_EQ(p[2], clampTo(Y + V * 1436 / 1024 - 179, 0, 255)) << x << " " << y;
                ASSERT_TRUE(nBits == 24 || p[3] == 255);
            }
        R_FreeBitmap(&bm);
    }
}

// Each status hides those that come after it, and a refusal changes nothing.
TEST(Yuv, StatusesInTheirOrder) {
    const Bytes samples(96, 100);
    Bitmap bm(24, 8, 8);
    const Bytes before = fillRandom(bm.record, 1);
    const auto set = [&](const uint8_t* p, uint32_t n, int32_t f) { return R_SetBitmapYUVData(&bm, p, n, f); };
    EXPECT_EQ(R_SetBitmapYUVData(nullptr, samples.data(), 96, 0), -814);
    bm->uStructSize = 5, bm->BitsPerPixel = 16, bm->Height = 7;
    EXPECT_EQ(set(nullptr, 95, 9), -814);
    EXPECT_EQ(set(samples.data(), 95, 9), -789);
    bm->uStructSize = sizeof(BITMAPRECORD);
    EXPECT_EQ(set(samples.data(), 95, 9), -27);
    bm->BitsPerPixel = 24;
    for (const int32_t nBad : {-1, 4, 9}) EXPECT_EQ(set(samples.data(), 95, nBad), -1782);
    EXPECT_EQ(set(samples.data(), 95, YUV_NV12), -11);
    EXPECT_EQ(set(samples.data(), 95, YUV_YUY2), -1783);  // takes an odd height
    bm->Height = 8;
    EXPECT_EQ(set(samples.data(), 95, YUV_PLANAR_420), -1783);
    EXPECT_EQ(set(samples.data(), 96, YUV_YUY2), -1783);
    bm->Width = 0x7FFFFFFE, bm->Height = 0x2AAAAAAC;  // in 32 bits that would do
    EXPECT_EQ(set(samples.data(), uint32_t(3ull * 0x7FFFFFFE * 0x2AAAAAAC / 2), YUV_NV12), -1783);
    bm->Width = bm->Height = 8;
    EXPECT_EQ(contents(bm.record), before);

    Bytes out(96, 9);
    uint32_t uSize = 95;
    const auto get = [&](uint8_t* p, uint32_t* pu, int32_t f) { return R_GetBitmapYUVData(&bm, p, pu, f); };
    EXPECT_EQ(R_GetBitmapYUVData(nullptr, out.data(), &uSize, 0), -2);
    bm->Flags &= ~uint32_t(BMF_ALLOCATED);
    bm->uStructSize = 5, bm->BitsPerPixel = 16;
    EXPECT_EQ(get(out.data(), nullptr, 9), -2);
    bm->Flags |= BMF_ALLOCATED;
    EXPECT_EQ(get(out.data(), nullptr, 9), -789);
    bm->uStructSize = sizeof(BITMAPRECORD);
    EXPECT_EQ(get(out.data(), nullptr, 9), -814);
    EXPECT_EQ(get(out.data(), &uSize, 9), -27);
    bm->BitsPerPixel = 24;
    EXPECT_EQ(get(out.data(), &uSize, YUV_GENERIC), -1782);
    EXPECT_EQ(uSize, 95u);
    EXPECT_EQ(get(out.data(), &uSize, YUV_NV21), -1783);
    EXPECT_EQ(uSize, 96u);
    EXPECT_EQ(out, Bytes(96, 9));

    YUVDESCRIPTOR d = describe(samples, 7, 8, YUV_GENERIC);
    d.pYBuffer = nullptr, d.nPlanes = 2;
    BITMAPRECORD fresh{};
    const auto make = [&](uint32_t u, int32_t nBits) { return R_BitmapFromYUV(&fresh, u, &d, nBits); };
    EXPECT_EQ(R_BitmapFromYUV(nullptr, BITMAPRECORD_OLD_SIZE, nullptr, 1), -789);
    EXPECT_EQ(R_BitmapFromYUV(nullptr, sizeof fresh, &d, 1), -814);
    EXPECT_EQ(make(sizeof fresh, 1), -814);
    d.pYBuffer = samples.data();
    EXPECT_EQ(make(sizeof fresh, 16), -27);
    EXPECT_EQ(make(sizeof fresh, 24), -794);
    d.nPlanes = 3;
    EXPECT_EQ(make(sizeof fresh, 24), -814);  // no chroma
    d.nFormat = 5;
    EXPECT_EQ(make(sizeof fresh, 24), -1782);
    d.nFormat = YUV_NV12;
    EXPECT_EQ(make(sizeof fresh, 24), -11);
    d.Width = 8, d.uYSize = 97;
    EXPECT_EQ(make(sizeof fresh, 24), -1783);
    EXPECT_EQ(fresh.uStructSize, 0u);
}

TEST(Yuv, ShortRowsEndTheWork) {
    static int s_nRows;
    s_nRows = 0;
    BITMAPDATACALLBACKS callbacks{};
    callbacks.uStructSize = sizeof callbacks;
    callbacks.pfnPutRow = [](BITMAPRECORD*, const uint8_t*, int32_t nRow, int32_t, uint32_t nBytes, void*) {
        return ++s_nRows, nRow == 2 ? 5 : int32_t(nBytes);
    };
    callbacks.pfnGetRow = [](BITMAPRECORD*, uint8_t*, int32_t nRow, int32_t, uint32_t nBytes, void*) {
        return nRow == 3 ? -7 : int32_t(nBytes);
    };
    BITMAPRECORD bm;
    R_InitBitmapWithCallbacks(&bm, sizeof bm, 8, 8, 32, &callbacks);
    Bytes samples(96, 100);
    EXPECT_EQ(R_SetBitmapYUVData(&bm, samples.data(), 96, YUV_NV21), 5);  // and made the storage
    EXPECT_EQ(s_nRows, 3);
    uint32_t uSize = 96;
    EXPECT_EQ(R_GetBitmapYUVData(&bm, samples.data(), &uSize, YUV_NV21), -7);
    EXPECT_EQ(bm.nLockCount, 0);
    R_FreeBitmap(&bm);
}

TEST(Yuv, FailuresLeakNothing) {
    Bytes samples = randomBytes(64 * 64 * 3 / 2, 4);
    const YUVDESCRIPTOR d = describe(samples, 64, 64, YUV_PLANAR_420);
    const long nBlocks = faults::liveBlocks(), nMapped = faults::liveMappedBytes();
    for (const int32_t nBits : {8, 24}) {
        bool bDone = false;
        for (int k = 0; !bDone; ++k) {
            BITMAPRECORD bm{};
            faults::FailFromNthAllocation fail(k);
            const int32_t nStatus = R_BitmapFromYUV(&bm, sizeof bm, &d, nBits);
            fail.stop();
            bDone = !fail.fired();
            EXPECT_EQ(nStatus, bDone ? 1 : -1) << k;
            EXPECT_EQ((bm.Flags & BMF_ALLOCATED) != 0, bDone) << k;
            if (bDone) R_FreeBitmap(&bm);
            ASSERT_EQ(faults::liveBlocks(), nBlocks) << k;
            ASSERT_EQ(faults::liveMappedBytes(), nMapped) << k;
        }
    }
}

}  // namespace
