// Grey bitmaps against a slow formula for one pixel, on every format; grey kinds; ranges; negative samples.
#include <gtest/gtest.h>

#include <cmath>

#include "support/bitmaps.h"
#include "support/directory.h"
#include "support/faults.h"
#include "support/progress.h"

using namespace test;

namespace {

uint64_t grayRule(uint64_t b, uint64_t g, uint64_t r) { return (b + 5 * g + 2 * (r + 2)) / 8; }
uint64_t fullOf(int32_t nBits) { return (uint64_t(1) << nBits) - 1; }

template <class T, class Entry>
void setTable(T*& p, uint32_t& nLength, uint32_t n, Entry&& entryOf) {
    if (p) R_GlobalFree(p);
    p = static_cast<T*>(R_GlobalAlloc(1, uint32_t(n * sizeof(T)), __LINE__, __FILE__));
    for (uint32_t i = 0; i < n; ++i) p[i] = entryOf(i);
    nLength = n;
}

enum class Lut { none, bytes, words };
struct Source {
    int32_t nBits, nOrder, nLow = 0, nHigh = -1;
    Lut lut = Lut::none;
};
void PrintTo(const Source& s, std::ostream* pOut) {
    *pOut << s.nBits << " order " << s.nOrder << " bits " << s.nLow << ".." << s.nHigh << " lut " << int(s.lut);
}

std::vector<Source> sources() {
    std::vector<Source> all;
    for (int32_t n : {1, 2, 3, 4, 5, 6, 7, 8}) all.push_back({n, ORDER_RGB});
    for (int32_t n : {16, 24, 32, 48, 64}) all.push_back({n, ORDER_RGB}), all.push_back({n, ORDER_BGR});
    for (int32_t n : {12, 16, 32})
        for (auto [nLow, nHigh] : {std::pair{0, -1}, {0, 9}, {3, 11}, {4, 6}})
            all.push_back({n, ORDER_GRAY, nLow, nHigh});
    for (int32_t n : {12, 16})
        for (Lut lut : {Lut::bytes, Lut::words})
            all.push_back({n, ORDER_GRAY, 2, 10, lut}), all.push_back({n, ORDER_GRAY, 0, n - 1, lut});
    return all;
}

// A picture of that format, with the tables that it asks for.
void paint(Bitmap& bm, const Source& s, uint32_t nSeed) {
    fillRandom(bm.record, nSeed);
    if (s.nBits <= 8)
        for (uint32_t i = 0; i < bm->nColors; ++i)
            bm->pPalette[i] = {uint8_t(i * 37 + 5), uint8_t(250 - i * 3), uint8_t(i * i), 0};
    if (s.nOrder != ORDER_GRAY) return;
    bm->LowBit = bm->PhysicalLowBit = s.nLow;
    bm->HighBit = bm->PhysicalHighBit = s.nHigh;
    if (s.lut == Lut::none) return;
    const uint32_t n = 1u << (s.nHigh - s.nLow + 1);
    setTable(bm->pLUT, bm->LUTLength, n, [](uint32_t i) {
        return RGBQUAD{uint8_t(i * 3), uint8_t(i >> 2), uint8_t(255 - i), 0};
    });
    if (s.lut == Lut::bytes) return;
    setTable(bm->pLUT16, bm->LUT16Length, n, [](uint32_t i) {
        return RGBQUAD64{uint16_t(i * 771), uint16_t(i * 15), uint16_t(65535 - i), 0};
    });
    bm->Flags |= BMF_USE_LUT;
}

// What the contract says of one pixel, where 32-bit grey has the range nMin to nMax.
uint64_t grayPixel(const BITMAPRECORD& bm, uint64_t p, int32_t nDst, uint64_t nMin, uint64_t nMax) {
    const uint64_t nFull = fullOf(nDst);
    const int32_t S = bm.BitsPerPixel;
    const auto sample = [&](int i, int nBits) { return p >> (i * nBits) & fullOf(nBits); };
    if (S <= 8) {
        const RGBQUAD& q = bm.pPalette[p];
        return grayRule(q.rgbBlue, q.rgbGreen, q.rgbRed) * nFull / 255;
    }
    if (bm.Order != ORDER_GRAY) {
        const int nWide = S >= 48 ? 16 : S == 16 ? 5 : 8, nBlue = bm.Order == ORDER_RGB ? 2 : 0;
        uint64_t b = sample(nBlue, nWide), g = sample(1, nWide), r = sample(2 - nBlue, nWide);
        if (nWide == 16 && nDst > 8) {
            const uint64_t n = grayRule(b, g, r);
            return nDst == 32 ? n * 65537 : n >> (16 - nDst);
        }
        if (nWide == 16) b >>= 8, g >>= 8, r >>= 8;
        if (nWide == 5) b = b * 8 + b / 4, g = g * 8 + g / 4, r = r * 8 + r / 4;
        return grayRule(b, g, r) * nFull / 255;
    }
    const int32_t nHigh = bm.PhysicalHighBit < 0 ? S - 1 : bm.PhysicalHighBit;
    const int32_t nMost = bm.pLUT ? S : S == 32 ? 32 : nDst, nKept = std::min(nHigh - bm.PhysicalLowBit + 1, nMost);
    const uint64_t v = p >> (nHigh - nKept + 1) & fullOf(nKept), nMask = fullOf(nKept);
    if (bm.pLUT16) {
        const RGBQUAD64& q = bm.pLUT16[v];
        return grayRule(q.rgbBlue, q.rgbGreen, q.rgbRed) >> (nDst == 8 ? 8 : nDst == 12 ? 4 : 0);
    }
    if (bm.pLUT) {
        const uint64_t g = grayRule(bm.pLUT[v].rgbBlue, bm.pLUT[v].rgbGreen, bm.pLUT[v].rgbRed);
        return S == 12 && nDst == 12 ? (g << 4) + g / 17 : g * nFull / 255;
    }
    if (S == 32 && nDst != 32) return ((v - nMin) * nFull + (nMax - nMin) / 2) / (nMax - nMin);
    return v * nFull / nMask;
}

// Greys the picture and compares every pixel with the formula on a copy of it.
void expectGray(Bitmap& bm, int32_t nDst) {
    BITMAPRECORD before{};
    ASSERT_EQ(R_CopyBitmap(&before, &bm, sizeof before), 1);
    int64_t nMin = 0, nMax = 0;
    ASSERT_EQ(R_IntGetMinMaxValGray(&before, &nMin, &nMax), 1);
    R_AccessBitmap(&bm);
    ASSERT_EQ(R_GrayScaleBitmap(&bm, nDst), 1);
    EXPECT_EQ(bm->nLockCount, 1);
    R_ReleaseBitmap(&bm);
    EXPECT_EQ(bm->BitsPerPixel, nDst);
    EXPECT_EQ(bm->ViewPerspective, before.ViewPerspective);
    EXPECT_EQ(R_IsGrayScaleBitmap(&bm), GRAYKIND_ASCENDING);
    EXPECT_FALSE(R_HasLUT(&bm));
    const Bytes from = contents(before), to = contents(bm.record);
    for (int32_t y = 0; y < before.Height; ++y)
        for (int32_t x = 0; x < before.Width; ++x) {
            const uint64_t p = pixelAt(&from[size_t(y) * before.BytesPerLine], before.BitsPerPixel, size_t(x));
            ASSERT_EQ(pixelAt(&to[size_t(y) * bm->BytesPerLine], nDst, size_t(x)),
                      grayPixel(before, p, nDst, uint64_t(nMin), uint64_t(nMax)))
                << "pixel " << std::hex << p << std::dec << " column " << x;
        }
    R_FreeBitmap(&before);
}

using test::Progress;

}  // namespace

TEST(Gray, EveryFormatToEveryDepth) {
    for (const Source& s : sources())
        for (int32_t nDst : {8, 12, 16, 32})
            for (int32_t nWidth : {1, 37, 300}) {
                SCOPED_TRACE(testing::PrintToString(s) + " to " + std::to_string(nDst) + " width " +
                             std::to_string(nWidth));
                Bitmap bm(s.nBits, nWidth, 3, Holding::conventional, s.nOrder);
                bm->ViewPerspective = BOTTOM_LEFT;
                paint(bm, s, uint32_t(s.nBits * 10 + nDst));
                if (s.nBits == 32 && s.nOrder == ORDER_GRAY && nWidth == 1) continue;  // no range
                expectGray(bm, nDst);
                if (HasFatalFailure()) return;
            }
    for (int32_t nBits : {24, 48}) {  // the wide gamut is left first
        Bitmap bm(nBits, 40, 2, Holding::conventional, ORDER_ROMM);
        Bytes row = fillRandom(bm.record, 3);
        ASSERT_EQ(R_GrayScaleBitmap(&bm, 8), 1);
        ASSERT_EQ(R_ConvertBuffer(row.data(), 40, nBits, 0, ORDER_ROMM, ORDER_RGB, nullptr, nullptr), 1);
        EXPECT_EQ(std::memcmp(row.data(), bm->pData, 40), 0) << nBits;
    }
}

TEST(Gray, EveryHolding) {
    const TemporaryDirectory directory;
    for (Holding h : holdingsOf(1)) {
        SCOPED_TRACE(nameOf(h));
        Bitmap bm(1, 50, 12, h);
        fillRandom(bm.record, 5);
        expectGray(bm, 16);
        EXPECT_EQ((bm->Flags & BMF_DISK) != 0, h == Holding::disk);
    }
}

TEST(Gray, FlatPicturesAndTheQuietPath) {
    Bitmap deep(32, 5, 1, Holding::conventional, ORDER_GRAY), same(16, 5, 4, Holding::conventional, ORDER_GRAY);
    ASSERT_EQ(R_GrayScaleBitmap(&deep, 16), 1);
    EXPECT_EQ(Bytes(deep->pData, deep->pData + 10), Bytes({255, 255, 255, 255, 255, 0, 0, 0, 0, 0}));  // half the row
    Progress progress;
    EXPECT_EQ(R_GrayScaleBitmap(&same, 16), 1);
    same->PhysicalHighBit = 11;  // no longer the whole sample
    EXPECT_EQ(R_GrayScaleBitmap(&same, 16), 1);
    EXPECT_EQ(progress.heard, (std::vector<int32_t>{0, 100, 0, 25, 50, 75, 100}));
}

TEST(Gray, RefusalsAndFailuresLeaveTheBitmap) {
    Bitmap bm(24, 30, 6);
    const Bytes before = fillRandom(bm.record, 2);
    uint8_t record[sizeof(BITMAPRECORD)];
    std::memcpy(record, &bm.record, sizeof record);
    const auto isUntouched = [&] {
        return !std::memcmp(record, &bm.record, sizeof record) && contents(bm.record) == before;
    };

    EXPECT_EQ(R_GrayScaleBitmap(&bm, 9), -27);
    for (int n : {0, 3, 6}) {
        Progress progress(n);
        ASSERT_EQ(R_GrayScaleBitmap(&bm, 8), -777);
        ASSERT_TRUE(isUntouched()) << n;
    }
    const long nBlocks = faults::liveBlocks();
    for (int n = 0;; ++n) {
        faults::FailFromNthAllocation fail(n);
        const int32_t nStatus = R_GrayScaleBitmap(&bm, 8);
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

TEST(Gray, CopiesOfARange) {
    for (auto [nHighBit, nBits] : {std::pair{-1, 12}, {7, 8}, {8, 12}, {15, 16}, {16, 32}}) {
        Bitmap src(16, 9, 3, Holding::conventional, ORDER_GRAY), dst(24, 3, 3);
        paint(src, {16, ORDER_GRAY, 4, 13}, 8);
        const Bytes before = contents(src.record);
        ASSERT_EQ(R_CreateGrayScaleBitmap(&dst, &src, nHighBit), 1);
        EXPECT_EQ(contents(src.record), before);
        ASSERT_EQ(R_CreateGrayScaleBitmap(&src, &src, nHighBit), 1);
        EXPECT_EQ(std::pair(dst->BitsPerPixel, src->BitsPerPixel), std::pair(nBits, nBits));
        EXPECT_EQ(contents(src.record), contents(dst.record));
    }
}

TEST(GrayKind, LookupTables) {
    Bitmap bm(12, 2, 2);
    bm->HighBit = bm->PhysicalHighBit = 9;
    const auto kindOf = [&](auto&& levelAt) {  // by pLUT alone, and by pLUT16 too
        setTable(bm->pLUT, bm->LUTLength, 1024, [&](uint32_t i) {
            const auto v = uint8_t(uint32_t(levelAt(i)) >> 8);
            return RGBQUAD{v, v, v, 0};
        });
        if (bm->pLUT16) R_GlobalFree(std::exchange(bm->pLUT16, nullptr));
        const int32_t nBytes = R_IntIsGrayScaleBitmap(&bm, 1);
        setTable(bm->pLUT16, bm->LUT16Length, 1024, [&](uint32_t i) {
            const auto v = uint16_t(levelAt(i));
            return RGBQUAD64{v, v, v, 0};
        });
        return std::pair{nBytes, R_IntIsGrayScaleBitmap(&bm, 1)};
    };
    const auto both = [](int32_t n) { return std::pair{n, n}; };
    const auto ramp = [](int32_t i, int32_t nFrom, int32_t nTo) {
        return i <= nFrom ? 0 : i >= nTo ? 65535 : int32_t(int64_t(i - nFrom) * 65535 / (nTo - nFrom));
    };
    EXPECT_EQ(kindOf([&](uint32_t i) { return ramp(int32_t(i), 0, 1023); }), both(1));
    EXPECT_EQ(kindOf([&](uint32_t i) { return 65535 - ramp(int32_t(i), 0, 1023); }), both(2));
    EXPECT_EQ(kindOf([&](uint32_t i) { return ramp(int32_t(i), 200, 700); }), both(1));
    EXPECT_EQ(kindOf([&](uint32_t i) { return 65535 - ramp(int32_t(i), 200, 1023); }), both(2));
    EXPECT_EQ(kindOf([&](uint32_t i) { return std::max(600, ramp(int32_t(i), 0, 1023)); }), both(3));  // not from black
    EXPECT_EQ(kindOf([&](uint32_t i) { return std::min(65535, ramp(int32_t(i), 0, 1023) + 200); }),
              both(1));  // near it
    EXPECT_EQ(kindOf([&](uint32_t i) { return i * i / 16 + (i == 1023 ? 128 : 0); }).second, 3);
    EXPECT_EQ(kindOf([&](uint32_t i) { return ramp(int32_t(i ^ 512), 0, 1023); }), both(3));
    bm->Flags |= BMF_SIGNED;  // the upper half is the dark one
    EXPECT_EQ(kindOf([&](uint32_t i) { return ramp(int32_t(i ^ 512), 0, 1023); }), both(1));
    EXPECT_EQ(kindOf([&](uint32_t i) { return ramp(int32_t(i < 512 ? i : 1023 - (i - 512)), 0, 1023); }), both(3));
    EXPECT_EQ(R_IsGrayScaleBitmap(&bm), GRAYKIND_ASCENDING);  // the table is not in use
    bm->Flags |= BMF_USE_LUT;
    EXPECT_EQ(R_IsGrayScaleBitmap(&bm), GRAYKIND_UNORDERED);
    bm->pLUT16[1].rgbBlue ^= 1;
    EXPECT_EQ(R_IsGrayScaleBitmap(&bm), GRAYKIND_NONE);
    bm->LUTLength = 1000;
    EXPECT_EQ(R_IsGrayScaleBitmap(&bm), -1486);
    EXPECT_EQ(R_GrayScaleBitmap(&bm, 9), -1486);
}

TEST(GrayRange, Of32Bits) {
    Bitmap bm(32, 5, 2, Holding::callbacks, ORDER_GRAY);
    Bytes data(40, 0x88);
    const uint32_t nLow = 0xFFFFF00Fu, nHigh = 0x123ABCDu;
    std::memcpy(&data[8], &nLow, 4), std::memcpy(&data[36], &nHigh, 4);
    setContents(bm.record, data);
    int64_t nMin = -5, nMax = -5;
    ASSERT_EQ(R_IntGetMinMaxValGray(&bm, &nMin, &nMax), 1);
    EXPECT_EQ(std::pair(nMin, nMax), std::pair(int64_t(nHigh), int64_t(nLow)));
    bm->PhysicalLowBit = 4, bm->PhysicalHighBit = 15;
    ASSERT_EQ(R_IntGetMinMaxValGray(&bm, &nMin, &nMax), 1);
    EXPECT_EQ(std::pair(nMin, nMax), std::pair(int64_t(0x888), int64_t(0xF00)));
}

TEST(Negative, EverySampleWidth) {
    for (int32_t nBits : kDepths)
        for (int32_t nOrder : {int32_t(ORDER_BGR), int32_t(ORDER_GRAY)})
            for (Holding h : {Holding::movable, Holding::callbacks}) {
                const bool bGray = nOrder == ORDER_GRAY;
                if (bGray ? nBits != 16 && nBits != 32 : nBits == 16) continue;
                SCOPED_TRACE(std::to_string(nBits) + " order " + std::to_string(nOrder) + nameOf(h));
                Bitmap bm(nBits, 21, 2, h, nBits == 12 ? int32_t(ORDER_GRAY) : nOrder);
                const Bytes before = fillRandom(bm.record, 4);
                bm->Flags |= BMF_SIGNED;
                ASSERT_EQ(R_ClearNegativePixels(&bm), 1);
                EXPECT_FALSE(bm->Flags & BMF_SIGNED);
                const Bytes after = contents(bm.record);
                const int nSample = nBits >= 48 ? 16 : nBits == 24 || (nBits == 32 && !bGray) ? 8 : nBits;
                for (size_t x = 0; x < 21; ++x)
                    for (int i = 0; i < nBits / nSample; ++i) {
                        const auto sample = [&](const Bytes& row) {
                            return pixelAt(&row[bm->BytesPerLine], nBits, x) >> (i * nSample) & fullOf(nSample);
                        };
                        const uint64_t v = sample(before);
                        ASSERT_EQ(sample(after), v >> (nSample - 1) ? 0 : v) << x;
                    }
            }
}
