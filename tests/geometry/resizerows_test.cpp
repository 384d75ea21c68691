// Resized rows on demand: the nearest pixels and the steps between rows by slow formulas, and that a row depends on its
// number and columns alone.
#include "ravokit/resizerows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "internal/resize_.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"

using test::Bitmap;
using test::Bytes;
using test::Holding;

namespace {

struct Wanted {
    int32_t nWidth, nHeight, nBits;
    uint32_t uFlags = 0;
    std::vector<RGBQUAD> palette = {};
    RESIZEROWCALLBACK pfn = nullptr;
    void* pUser = nullptr;
    int32_t nLow = 0, nHigh = -1;

    int32_t bytes(int32_t nPixels) const { return (nPixels * (nBits ? nBits : 8) + 7) / 8; }
};

struct Pull {
    void* pState = nullptr;
    int32_t nStatus;
    Pull(BITMAPRECORD& bm, const Wanted& w)
        : nStatus(R_StartResizeBitmap2(&bm, w.nWidth, w.nHeight, w.nBits, w.palette.empty() ? nullptr : &w.palette[0],
                                       uint32_t(w.palette.size()), w.uFlags, w.pfn, w.pUser, &pState, w.nLow,
                                       w.nHigh)) {}
    Pull(const Pull&) = delete;
    ~Pull() {
        if (pState) R_StopResizeBitmap(pState);
    }
    // Guard bytes stay behind the row.
    Bytes row(int32_t nRow, int32_t nCol, int32_t nBytes) {
        Bytes out(size_t(nBytes) + 8, 0xA5);
        const int32_t n = R_GetResizedRowCol(pState, out.data(), nRow, nCol, uint32_t(nBytes));
        EXPECT_EQ(n, 1) << "row " << nRow << " col " << nCol << " bytes " << nBytes;
        EXPECT_TRUE(std::all_of(out.end() - 8, out.end(), [](uint8_t b) { return b == 0xA5; }));
        out.resize(size_t(nBytes));
        return out;
    }
    Bytes row(int32_t nRow, const Wanted& w) { return row(nRow, 0, w.bytes(w.nWidth)); }
};

std::vector<RGBQUAD> randomPalette(uint32_t nColors, uint32_t seed) {
    std::vector<RGBQUAD> out(nColors);
    const Bytes bytes = test::randomBytes(nColors * 3, seed);
    for (uint32_t i = 0; i < nColors; ++i) out[i] = {bytes[i * 3], bytes[i * 3 + 1], bytes[i * 3 + 2], 0};
    return out;
}

// Colours of a palette where there is one, so that it isn't grey.
void fill(Bitmap& bm, uint32_t seed) {
    if (bm->BitsPerPixel <= 8)
        R_SetBitmapNewPalette(&bm, randomPalette(1u << bm->BitsPerPixel, seed).data(), 1u << bm->BitsPerPixel);
    test::fillRandom(bm.record, seed);
}

Bytes sourceRow(BITMAPRECORD& bm, int32_t y) {
    Bytes row(bm.BytesPerLine);
    R_AccessBitmap(&bm);
    R_GetBitmapRow(&bm, row.data(), y, bm.BytesPerLine);
    R_ReleaseBitmap(&bm);
    return row;
}

constexpr std::pair<int32_t, int32_t> kSizes[] = {{61, 40}, {37, 40}, {17, 9}, {74, 9}, {11, 60}, {3, 1}, {200, 23}};

TEST(ResizedRows, NearestPixels) {
    for (const int32_t nBits : test::kDepths)
        for (const Holding holding : test::holdingsOf(nBits)) {
            Bitmap bm(nBits, 37, 23, holding);
            ASSERT_EQ(bm.nStatus, 1);
            fill(bm, 5);
            for (const auto& [nWidth, nHeight] : kSizes) {
                SCOPED_TRACE(testing::Message()
                             << nBits << " bits, " << test::nameOf(holding) << ", to " << nWidth << " x " << nHeight);
                const Wanted w{nWidth, nHeight, 32};
                Pull pull(bm.record, w);
                ASSERT_EQ(pull.nStatus, 1);
                for (const int32_t nCol : {0, nWidth / 3, nWidth - 1})
                    for (int32_t y = 0; y < nHeight; y += 3) {
                        const Bytes got = pull.row(y, nCol, (nWidth - nCol) * 4);
                        const Bytes src =
                            sourceRow(bm.record, nHeight < 23 ? y * 23 / nHeight : ((y + 1) * 23 - 1) / nHeight);
                        for (int32_t x = nCol; x < nWidth; ++x) {
                            uint8_t px[8] = {}, want[8] = {};
                            rv::copyPixels(nBits, px, 0, src.data(), unsigned(x * 37 / nWidth), 1);
                            R_ConvertRow(want, px, 1, nBits, 32, bm->Order, ORDER_RGB, bm->pPalette, nullptr);
                            ASSERT_EQ(std::memcmp(want, &got[size_t(x - nCol) * 4], 4), 0) << x << ", " << y;
                        }
                    }
            }
        }
}

// ---- between rows ------------------------------------------------------------------------------------------------

// All rows of a picture that keeps its width, by walks that carry remainders along from row to row.
using Rows = std::vector<std::vector<int32_t>>;

Rows linearRows(const Rows& src, int32_t nDst) {
    const auto nSrc = int32_t(src.size());
    const int32_t nStep = nDst / nSrc, nRem = nDst % nSrc;
    Rows out(size_t(nStep / 2), src[0]);
    for (int32_t i = 0, nAcc = 0; i < nSrc; ++i) {
        int32_t nRun = nStep;
        if ((nAcc += nRem) >= nSrc) nAcc -= nSrc, ++nRun;
        const auto &a = src[size_t(i)], &b = src[size_t(std::min(i + 1, nSrc - 1))];
        std::vector<int32_t> line = a, carry(a.size());
        for (int32_t k = 0; k < nRun; ++k) {
            out.push_back(line);
            for (size_t x = 0; x < a.size(); ++x) {
                const auto d = int32_t(std::floor(double(b[x] - a[x]) / nRun));
                line[x] += d;
                if ((carry[x] += b[x] - a[x] - d * nRun) >= nRun) carry[x] -= nRun, ++line[x];
            }
        }
    }
    out.resize(size_t(nDst));
    return out;
}

Rows splineRows(const Rows& src, int32_t nDst, int32_t nMin, int32_t nMax) {
    const auto nLast = int32_t(src.size()) - 1;
    const float fScale = float(src.size()) / float(nDst);
    Rows out;
    for (int32_t y = 0; y < nDst; ++y) {
        const int32_t r = std::max(0, y - int32_t(0.5f / fScale));
        const float fAt = float(r) * fScale;
        const auto n = int32_t(fAt);
        const float t = fAt - float(n), u = 1 - t;
        std::vector<int32_t> line;
        for (size_t x = 0; x < src[0].size(); ++x) {
            float p[4];
            for (int32_t i = 0; i < 4; ++i) p[i] = float(src[size_t(std::clamp(n - 1 + i, 0, nLast))][x]);
            const float e = 1.5f * (p[0] - 2 * p[1] + p[2]);
            const float m2 = (6 * (p[1] - 2 * p[2] + p[3]) - e) * 0.266667f, m1 = e - 0.25f * m2;
            const float v = u * p[1] + t * p[2] + ((u * u * u - u) / 6) * m1 + ((t * t * t - t) / 6) * m2;
            line.push_back(t > 0 ? std::clamp(int32_t(double(v) + 0.49999), nMin, nMax) : int32_t(p[1]));
        }
        out.push_back(line);
    }
    return out;
}

// bEnds: the steps lead from the first row to the last one.
Rows meanRows(const Rows& src, int32_t nDst, bool bEnds) {
    const auto nSrc = int32_t(src.size());
    const int32_t nLess = bEnds && nDst > 1, nStep = (nSrc - nLess) / (nDst - nLess),
                  nRem = (nSrc - nLess) % (nDst - nLess);
    Rows out;
    for (int32_t y = 0; y < nDst; ++y) {
        const int32_t nFirst = y * nSrc / nDst, n = nStep + (y * nSrc % nDst + nRem >= nDst);
        std::vector<int32_t> line(src[0].size());
        for (size_t x = 0; x < line.size(); ++x) {
            for (int32_t i = 0; i < n; ++i) line[x] += src[size_t(std::min(nFirst + i, nSrc - 1))][x];
            line[x] /= n;
        }
        out.push_back(line);
    }
    return out;
}

// Width 19 stays; width 1 becomes 2, with the same pixels, and a spline has its own steps for height then.
TEST(ResizedRows, StepsBetweenRows) {
    constexpr int32_t nHeight = 13;
    for (const auto& [nKind, nWidth] : {std::pair{8, 19}, {16, 19}, {-16, 19}, {8, 1}, {-16, 1}})
        for (const int32_t nDst : {1, 2, 5, 12, 13, 14, 26, 40, 131}) {
            const int32_t nBits = std::abs(nKind), nMin = nKind < 0 ? -32768 : 0, nOut = nWidth == 1 ? 2 : nWidth;
            const int32_t nMax = nKind == 8 ? 255 : nKind == 16 ? 65535 : 32767;
            Bitmap bm(nBits, nWidth, nHeight, Holding::conventional, nBits == 8 ? ORDER_RGB : ORDER_GRAY);
            if (nBits == 8) R_CreateBitmapGrayPalette(&bm);
            if (nKind < 0) bm->Flags |= BMF_SIGNED;
            test::fillRandom(bm.record, 11);
            const auto sample = [nBits, nMin](const Bytes& row, size_t x) {
                if (nBits == 8) return int32_t(row[x]);
                const uint32_t v = rv::Pixel<16>::get(row.data(), x);
                return nMin < 0 ? int32_t(int16_t(v)) : int32_t(v);
            };
            Rows src(nHeight);
            for (int32_t y = 0; y < nHeight; ++y)
                for (int32_t x = 0; x < nWidth; ++x)
                    src[size_t(y)].push_back(sample(sourceRow(bm.record, y), size_t(x)));
            for (const uint32_t uFlags : {RSR_RESAMPLE, RSR_BICUBIC}) {
                SCOPED_TRACE(testing::Message() << nKind << " to " << nDst << " rows, flags " << uFlags);
                const Rows want = nDst < nHeight           ? meanRows(src, nDst, nOut == 2 && uFlags == RSR_BICUBIC)
                                  : uFlags == RSR_RESAMPLE ? linearRows(src, nDst)
                                                           : splineRows(src, nDst, nMin, nMax);
                const Wanted w{nOut, nDst, nBits == 8 ? 0 : 16, uFlags | (nBits == 8 ? 0u : uint32_t(RSR_OUT_GRAY))};
                Pull pull(bm.record, w);
                ASSERT_EQ(pull.nStatus, 1);
                for (int32_t y = 0; y < nDst; ++y) {
                    const Bytes got = pull.row(y, w);
                    for (int32_t x = 0; x < nOut; ++x)
                        ASSERT_EQ(sample(got, size_t(x)), want[size_t(y)][size_t(x * nWidth / nOut)]) << x << ", " << y;
                }
            }
        }
}

// ---- a row depends on nothing but its number and columns ---------------------------------------------------------

TEST(ResizedRows, AnyOrderGivesWhatAFreshStateGives) {
    for (const int32_t nBits : test::kDepths)
        for (const uint32_t uFlags : {0, int(RSR_RESAMPLE), int(RSR_BICUBIC)})
            for (const int32_t nOut : {0, 1, 4, 8, 16, 24, 32, 64})
                for (const auto& [nWidth, nHeight] : kSizes) {
                    SCOPED_TRACE(testing::Message() << nBits << " to " << nOut << " bits, flags " << uFlags << ", "
                                                    << nWidth << " x " << nHeight);
                    Bitmap bm(nBits, 37, 23);
                    fill(bm, 3);
                    const Wanted w{nWidth, nHeight, nOut, uFlags | DITHER_ORDERED << 16};
                    Pull pull(bm.record, w);
                    ASSERT_EQ(pull.nStatus, 1);
                    int32_t y = 0;
                    for (const int32_t nStep : {0, 1, -1, 1, 1, 5, -1, -1, -2, 17, 1, -9}) {
                        y = std::clamp(y + nStep, 0, nHeight - 1);
                        const int32_t nCol = nStep == 5 || nStep == -2 ? nWidth / 16 * 8 : 0;
                        Pull fresh(bm.record, w);
                        const int32_t nBytes = w.bytes(nWidth - nCol);
                        ASSERT_EQ(pull.row(y, nCol, nBytes), fresh.row(y, nCol, nBytes)) << y;
                    }
                }
}

// Stretches of a row are slices of it, also across chunks. A spline hardly feels that it is cut off.
TEST(ResizedRows, StretchesAreSlices) {
    Bitmap bm(24, 37, 4), wide(24, 5000, 24);
    fill(bm, 9), fill(wide, 10);
    const auto check = [](Bitmap& source, const Wanted& w, const std::vector<int32_t>& columns, int32_t nMost) {
        Pull pull(source.record, w);
        const int32_t nPixel = w.nBits / 8;
        const Bytes whole = pull.row(2, w);
        for (const int32_t nCol : columns)
            for (const int32_t n : {1, w.nWidth / 9, w.nWidth - nCol}) {
                if (n < 1 || n > std::min(4096, w.nWidth - nCol)) continue;
                const Bytes got = pull.row(2, nCol, n * nPixel);
                for (size_t i = 0; i < got.size(); ++i)
                    ASSERT_LE(std::abs(got[i] - whole[size_t(nCol * nPixel) + i]), nMost)
                        << w.nWidth << " flags " << w.uFlags << " col " << nCol << " pixels " << n << " at " << i;
            }
    };
    std::vector<int32_t> all(150);
    for (int32_t i = 0; i < 150; ++i) all[size_t(i)] = i;
    for (const uint32_t uBits : {24u, 32u})
        for (const int32_t nWidth : {150, 185, 370, 40}) {
            const std::vector<int32_t> columns(all.begin(), all.begin() + std::min(nWidth, 150));
            check(bm, {nWidth, 4, int32_t(uBits)}, columns, 0);
            check(bm, {nWidth, 8, int32_t(uBits), RSR_RESAMPLE}, columns, 0);
            check(bm, {nWidth, 8, int32_t(uBits), RSR_BICUBIC}, columns, 3);
        }
    const std::vector<int32_t> far = {0, 1, 4095, 4096, 4097, 8192, 8999};
    check(wide, {9000, 50, 24}, far, 0);
    check(wide, {9000, 50, 32, RSR_RESAMPLE}, far, 0);
    check(wide, {9000, 50, 32, RSR_BICUBIC}, far, 3);
}

// ---- what goes out -----------------------------------------------------------------------------------------------

TEST(ResizedRows, DitheredAsLinesAre) {
    Bitmap bm(24, 50, 30), small(24, 21, 9);
    fill(bm, 1);
    for (int32_t y = 0; y < 9; ++y) {
        const Bytes src = sourceRow(bm.record, y * 30 / 9);
        Bytes row(small->BytesPerLine);
        for (size_t x = 0; x < 21; ++x) std::memcpy(&row[x * 3], &src[x * 50 / 21 * 3], 3);
        R_PutBitmapRow(&small, row.data(), y, small->BytesPerLine);
    }
    for (const int32_t nMethod : {DITHER_NONE, DITHER_FLOYD, DITHER_CLUSTERED})
        for (int32_t nBits = 1; nBits <= 8; ++nBits) {
            const Wanted w{21, 9, nBits, uint32_t(nMethod) << 16, randomPalette(1u << nBits, 4)};
            Pull pull(bm.record, w);
            small->DitheringMethod = nMethod;
            ASSERT_EQ(R_StartDitheringExt(&small, w.palette.data(), 1u << nBits, nBits, nullptr), 1);
            for (int32_t y = 0; y < 9; ++y) {
                Bytes src = sourceRow(small.record, y), want(size_t(w.bytes(21)));
                R_DitherLine(&small, src.data(), want.data());
                ASSERT_EQ(pull.row(y, w), want) << nBits << " bits, method " << nMethod << ", row " << y;
                if (nBits == 8 && nMethod == DITHER_CLUSTERED) {
                    ASSERT_EQ(pull.row(y, 13, 8), Bytes(want.begin() + 13, want.end())) << y;
                }
            }
            R_StopDithering(&small);
        }
}

TEST(ResizedRows, TablesBeforeAndAfter) {
    // Levels are bits 2 to 9. The average of levels 10 and 21 is 15; of what the table makes of them, as told.
    Bitmap bm(16, 2, 2, Holding::conventional, ORDER_GRAY);
    for (int32_t y = 0; y < 2; ++y) {
        const uint16_t row[2] = {10 << 2, 21 << 2};
        R_PutBitmapRow(&bm, reinterpret_cast<const uint8_t*>(row), y, 4);
    }
    bm->LowBit = bm->PhysicalLowBit = 2, bm->HighBit = bm->PhysicalHighBit = 9;
    for (const bool b16 : {false, true}) {
        bm->LUTLength = bm->LUT16Length = 256;
        if (!b16) bm->pLUT = static_cast<RGBQUAD*>(R_GlobalAllocInit(1, 256 * 4, 0, ""));
        if (b16) bm->pLUT16 = static_cast<RGBQUAD64*>(R_GlobalAllocInit(1, 256 * 8, 0, ""));
        ASSERT_TRUE(bm->pLUT);
        for (const auto& [i, b] : {std::pair{10, 100}, {21, 50}, {15, 7}}) {
            bm->pLUT[i] = {uint8_t(b), uint8_t(b + 1), uint8_t(b + 2), 0};
            if (b16) bm->pLUT16[i] = {uint16_t(b << 8), uint16_t((b + 1) << 8), uint16_t((b + 2) << 8), 0};
        }
        bm->Flags |= BMF_USE_LUT;
        const auto pixel = [&](uint32_t uFlags, int32_t nBits = 24) {
            const Wanted w{1, 2, nBits, uFlags | RSR_RESAMPLE};
            return Pull(bm.record, w).row(1, w);
        };
        EXPECT_EQ(pixel(RSR_OUT_BGR), (Bytes{75, 76, 77})) << b16;
        EXPECT_EQ(pixel(RSR_OUT_BGR | RSR_LUT_AFTER), (Bytes{7, 8, 9})) << b16;
        EXPECT_EQ(pixel(RSR_LUT_AFTER), (Bytes{9, 8, 7})) << b16;
        EXPECT_EQ(pixel(RSR_OUT_GRAY | RSR_LUT_AFTER, 8), (Bytes{8})) << b16;
        EXPECT_EQ(pixel(RSR_OUT_GRAY | RSR_NO_LUT, 8), (Bytes{15})) << b16;
    }
    const Wanted ranged{1, 2, 16, RSR_OUT_GRAY | RSR_NO_LUT | RSR_GRAY_RANGE, {}, nullptr, nullptr, 4, 11};
    EXPECT_EQ(Pull(bm.record, ranged).row(0, ranged), (Bytes{10 << 4, 0}));
    Bitmap deep(32, 2, 1, Holding::conventional, ORDER_GRAY);
    deep->PhysicalLowBit = 4, deep->PhysicalHighBit = 11;
    const uint32_t row[2] = {0xABC, 0xFF0};
    R_PutBitmapRow(&deep, reinterpret_cast<const uint8_t*>(row), 0, 8);
    const Wanted w16{2, 2, 16, RSR_OUT_GRAY}, w8{2, 2, 0};
    EXPECT_EQ(Pull(deep.record, w16).row(1, w16), (Bytes{0xAB, 0xAB, 0xFF, 0xFF}));
    EXPECT_EQ(Pull(deep.record, w8).row(1, w8), (Bytes{0xAB, 0xFF}));
}

TEST(ResizedRows, SameSizeIsCopied) {
    for (const int32_t nBits : test::kDepths) {
        Bitmap bm(nBits, 41, 3);
        fill(bm, 6);
        for (const uint32_t uFlags : {uint32_t(RSR_OUT_BGR), uint32_t(RSR_RESAMPLE | RSR_OUT_GRAY)}) {
            const Wanted w{41, 3, nBits, uFlags};
            Pull pull(bm.record, w);
            Bytes src = sourceRow(bm.record, 1);
            const Bytes got = pull.row(1, 0, int32_t(src.size()));
            test::clearPadding(src, bm.record);
            EXPECT_TRUE(std::equal(got.begin(), got.begin() + 41 * nBits / 8, src.begin())) << nBits;
        }
    }
    Bitmap bm32(32, 2, 1), bm64(64, 2, 1);
    const uint8_t row[16] = {100, 200, 255, 127, 4, 8, 12, 255, 0, 128, 255, 255, 1, 2, 3, 4};
    R_PutBitmapRow(&bm32, row, 0, 8), R_PutBitmapRow(&bm64, row, 0, 16);
    const Wanted w32{2, 1, 32, RSR_BICUBIC}, w64{2, 1, 64, RSR_BICUBIC};
    EXPECT_EQ(Pull(bm32.record, w32).row(0, 0, 7), (Bytes{50, 100, 127, 127, 0, 0, 0}));
    // All by 128 / 65536, after the high byte of the first pixel's second sample.
    EXPECT_EQ(Pull(bm64.record, w64).row(0, 0, 16), (Bytes{100, 0, 63, 0, 4, 0, 12, 255, 64, 0, 127, 0, 1, 0, 3, 4}));
}

// ---- row sources, statuses, memory -------------------------------------------------------------------------------

struct Source {
    std::vector<int32_t> fetched;
    int32_t nFailing = -1;
    static int32_t get(BITMAPRECORD* pBitmap, uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t uBytes,
                       void* pUser) {
        auto& self = *static_cast<Source*>(pUser);
        self.fetched.push_back(nRow);
        if (nRow == self.nFailing) return -4711;
        return R_GetBitmapRowCol(pBitmap, pBuffer, nRow, nCol, uBytes) == int32_t(uBytes) ? 1 : -7;
    }
};

TEST(ResizedRows, RowSource) {
    Bitmap bm(24, 5000, 40), small(24, 7, 40);
    fill(bm, 2), fill(small, 2);
    struct Case {
        BITMAPRECORD* pSource;
        int32_t nWidth, nHeight;
        uint32_t uFlags;
        size_t nFetches;
    };
    for (const auto& [pSource, nWidth, nHeight, uFlags, nFetches] : {Case{&small, 9, 90, 0, 40},
                                                                     {&small, 9, 90, RSR_RESAMPLE, 40},
                                                                     {&small, 9, 90, RSR_BICUBIC, 40},
                                                                     {&small, 5, 20, RSR_RESAMPLE, 40},
                                                                     {&small, 5, 10, 0, 10},
                                                                     {&bm, 9000, 90, RSR_RESAMPLE, 3 * 40},
                                                                     {&bm, 4500, 10, RSR_RESAMPLE, 40}}) {
        Source source;
        const Wanted w{nWidth, nHeight, 32, uFlags, {}, Source::get, &source}, plain{nWidth, nHeight, 32, uFlags};
        Pull pull(*pSource, w), direct(*pSource, plain);
        for (int32_t y = 0; y < nHeight; ++y) ASSERT_EQ(pull.row(y, w), direct.row(y, plain)) << y;
        EXPECT_EQ(source.fetched.size(), nFetches) << nWidth << " x " << nHeight << " flags " << uFlags;
        // A row that fails ends its request with the source's status, and the next request starts over.
        source.nFailing = 20;
        const int32_t nLast = nHeight - 1;
        pull.row(0, w);
        Bytes out(size_t(w.bytes(nWidth)));
        EXPECT_EQ(R_GetResizedRowCol(pull.pState, out.data(), nHeight / 2, 0, uint32_t(out.size())), -4711);
        EXPECT_EQ(pull.row(nLast, w), direct.row(nLast, plain));
        source.nFailing = -1;
        EXPECT_EQ(pull.row(nHeight / 2, w), direct.row(nHeight / 2, plain));
    }
}

TEST(ResizedRows, Statuses) {
    Bitmap bm(24, 40, 20);
    void* p = nullptr;
    const auto start = [&](BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, int32_t nBits, uint32_t uFlags,
                           void** pp) {
        return R_StartResizeBitmap(pBitmap, nWidth, nHeight, nBits, nullptr, 0, uFlags, nullptr, nullptr, pp);
    };
    BITMAPRECORD unknown = bm.record;
    unknown.uStructSize = 3;
    EXPECT_EQ(start(nullptr, 0, 0, 24, 0, nullptr), -2);
    EXPECT_EQ(start(&unknown, 0, 0, 24, 0, nullptr), -789);
    EXPECT_EQ(start(&bm, 10, 10, 24, 0, nullptr), -13);
    for (const auto& [nWidth, nHeight] : {std::pair{0, 0}, {-1, 5}, {5, -1}})
        EXPECT_EQ(start(&bm, nWidth, nHeight, 24, 0, &p), -13);
    EXPECT_EQ(start(&bm, 10, 10, 13, 0, &p), -13);
    EXPECT_EQ(start(&bm, 10, 10, 4, 9 << 16, &p), -13) << "no such method of dithering";
    EXPECT_EQ(bm->nLockCount, 0);
    EXPECT_EQ(p, nullptr);

    const Wanted w{30, 0, 24};  // 15 rows
    Pull pull(bm.record, w);
    EXPECT_EQ(bm->nLockCount, 1);
    uint8_t row[100];
    EXPECT_EQ(R_GetResizedRowCol(nullptr, row, 0, 0, 90), -13);
    EXPECT_EQ(R_GetResizedRowCol(pull.pState, nullptr, 0, 0, 90), -13);
    EXPECT_EQ(R_GetResizedRowCol(pull.pState, row, 0, -1, 3), -13);
    EXPECT_EQ(R_GetResizedRowCol(pull.pState, row, 0, 0, 93), -74);
    EXPECT_EQ(R_GetResizedRowCol(pull.pState, row, 0, 30, 3), -74);
    EXPECT_EQ(pull.row(99, w), pull.row(14, w));
    EXPECT_EQ(R_StopResizeBitmap(nullptr), -13);

    for (const auto& [nSrc, nOther, nWant] : {std::tuple{20, 15, 30}, {20, 41, 82}, {3, 1, 13}, {41, 1, 0}}) {
        int32_t nWidth = 0, nHeight = nOther;
        EXPECT_EQ(rv::repairSize(40, nSrc, nWidth, nHeight) ? nWidth : 0, nWant) << nSrc << ", " << nOther;
    }
}

TEST(ResizedRows, ShortOfMemory) {
    Bitmap bm(8, 5000, 40);
    fill(bm, 8);
    Source source;
    source.fetched.reserve(10000);
    const Wanted w{4500, 10, 4, RSR_RESAMPLE | DITHER_FLOYD << 16, randomPalette(16, 3), Source::get, &source};
    const Bytes want = Pull(bm.record, w).row(3, w);
    Bytes out(want.size());
    const auto blocks = faults::liveBlocks();
    for (int n = 0, bDone = 0; !bDone; ++n) {
        void* p = nullptr;
        faults::FailFromNthAllocation fail(n);
        int32_t nStatus = R_StartResizeBitmap2(&bm, w.nWidth, w.nHeight, w.nBits, w.palette.data(), 16, w.uFlags, w.pfn,
                                               w.pUser, &p, 0, 0);
        if (nStatus == 1) nStatus = R_GetResizedRowCol(p, out.data(), 3, 0, uint32_t(out.size()));
        fail.stop();
        bDone = !fail.fired();
        if (nStatus == 1)
            EXPECT_EQ(out, want) << n;  // short of memory for the cache, rows are read again
        else
            EXPECT_EQ(nStatus, -1) << n;
        if (p) R_StopResizeBitmap(p);
        ASSERT_EQ(bm->nLockCount, 0);
    }
    EXPECT_EQ(faults::liveBlocks(), blocks);
}

}  // namespace
