// Alpha out of bitmaps and in again, set to a value, and told from none.
#include <gtest/gtest.h>

#include "support/bitmaps.h"
#include "support/directory.h"
#include "support/faults.h"

using namespace test;

namespace {

// Alpha of a pixel as the contract has it, at 8 bits or, of 64-bit pixels, at 16.
uint64_t alphaAt(BITMAPRECORD& bm, const Bytes& rows, int32_t x, int32_t y) {
    const uint64_t p = pixelAt(&rows[size_t(y) * bm.BytesPerLine], bm.BitsPerPixel, size_t(x));
    return bm.BitsPerPixel == 32 ? p >> 24 : bm.BitsPerPixel == 64 ? p >> 48 : p >> 15;
}
uint64_t colorAt(BITMAPRECORD& bm, const Bytes& rows, int32_t x, int32_t y) {
    const uint64_t p = pixelAt(&rows[size_t(y) * bm.BytesPerLine], bm.BitsPerPixel, size_t(x));
    return bm.BitsPerPixel == 32 ? p & 0xFFFFFF : bm.BitsPerPixel == 64 ? p << 16 : p & 0x7FFF;
}

// Puts grey into the bitmap and looks at what became of it: alpha is wanted(x, y), colour stays.
template <class Wanted>
void expectAlpha(Bitmap& bm, Bitmap& alpha, Wanted&& wanted) {
    const Bytes before = contents(bm.record), greys = contents(alpha.record);
    const int32_t nBits = bm->BitsPerPixel;
    ASSERT_EQ(R_SetBitmapAlpha(&bm, &alpha), 1);
    ASSERT_EQ(bm->BitsPerPixel, nBits);
    EXPECT_EQ(contents(alpha.record), greys);
    const Bytes after = contents(bm.record);
    for (int32_t y = 0; y < bm->Height; ++y)
        for (int32_t x = 0; x < bm->Width; ++x) {
            ASSERT_EQ(colorAt(bm.record, after, x, y), colorAt(bm.record, before, x, y)) << x << " " << y;
            const bool bCovered = x < alpha->Width && y < alpha->Height;
            ASSERT_EQ(alphaAt(bm.record, after, x, y),
                      bCovered
                          ? wanted(pixelAt(&greys[size_t(y) * alpha->BytesPerLine], alpha->BitsPerPixel, size_t(x)))
                          : alphaAt(bm.record, before, x, y))
                << x << " " << y;
        }
}

}  // namespace

TEST(Alpha, OutOfEveryFormat) {
    const TemporaryDirectory directory;
    for (int32_t nBits : kDepths)
        for (Holding h : {Holding::conventional, Holding::movable, Holding::callbacks, Holding::disk}) {
            SCOPED_TRACE(std::to_string(nBits) + nameOf(h));
            Bitmap bm(nBits, 19, 4, h), alpha;
            const Bytes rows = fillRandom(bm.record, 9);
            bm->XResolution = 321;
            ASSERT_EQ(R_GetBitmapAlpha(&bm, &alpha, sizeof(BITMAPRECORD)), 1);
            EXPECT_EQ(alpha->BitsPerPixel, nBits == 64 ? 16 : 8);
            EXPECT_EQ(alpha->XResolution, 321);
            EXPECT_EQ((alpha->Flags & BMF_DISK) != 0, h == Holding::disk);
            EXPECT_EQ(R_IsGrayScaleBitmap(&alpha), GRAYKIND_ASCENDING);
            const Bytes got = contents(alpha.record);
            for (int32_t y = 0; y < 4; ++y)
                for (int32_t x = 0; x < 19; ++x)
                    ASSERT_EQ(pixelAt(&got[size_t(y) * alpha->BytesPerLine], alpha->BitsPerPixel, size_t(x)),
                              nBits == 32 || nBits == 64 ? alphaAt(bm.record, rows, x, y) : 255);
        }
    Bitmap bm(32, 2, 2);
    BITMAPRECORD none{};
    EXPECT_EQ(R_GetBitmapAlpha(&none, &none, 1), -13);
    EXPECT_EQ(R_GetBitmapAlpha(&bm, nullptr, 1), -13);
    EXPECT_EQ(R_GetBitmapAlpha(&bm, &none, 1), -789);
}

TEST(Alpha, InWithAndWithoutAConversion) {
    for (int32_t nBits : {16, 32, 64})
        for (Holding h : {Holding::conventional, Holding::callbacks}) {
            SCOPED_TRACE(std::to_string(nBits) + nameOf(h));
            const auto atDepth = [&](uint64_t v, int nFrom) -> uint64_t {  // grey of nFrom bits as that alpha
                const uint64_t full = (uint64_t(1) << nFrom) - 1;
                if (nBits == 16) return v * 255 / full >> 7;
                return v * (nBits == 64 ? 65535 : 255) / full;
            };
            Bitmap bm(nBits, 23, 5, h), bit(1, 23, 5), byte(8, 20, 9, Holding::conventional, ORDER_GRAY),
                word(16, 30, 3, Holding::conventional, ORDER_GRAY);
            fillRandom(bm.record, 1), fillRandom(bit.record, 2), fillRandom(byte.record, 3), fillRandom(word.record, 4);
            expectAlpha(bm, bit, [&](uint64_t v) { return atDepth(v, 1); });
            expectAlpha(bm, byte, [&](uint64_t v) { return atDepth(v, 8); });
            expectAlpha(bm, word, [&](uint64_t v) { return nBits == 64 ? v : nBits == 32 ? v >> 8 : v >> 15; });
            for (uint32_t i = 0; i < 256; ++i)
                byte->pPalette[i] = {uint8_t(255 - i), uint8_t(255 - i), uint8_t(255 - i), 0};
            expectAlpha(bm, byte, [&](uint64_t v) { return atDepth(255 - v, 8); });
        }
}

TEST(Alpha, BitmapsWithoutItAreResolved) {
    struct Case {
        int32_t nBits, nOrder, nBecomes, nOrderThen;
    };
    for (auto [nBits, nOrder, nBecomes, nOrderThen] : {Case{4, ORDER_RGB, 32, ORDER_BGR},
                                                       {8, ORDER_RGB, 32, ORDER_BGR},
                                                       {12, ORDER_GRAY, 32, ORDER_BGR},
                                                       {16, ORDER_GRAY, 32, ORDER_BGR},
                                                       {16, ORDER_BGR565, 32, ORDER_BGR},
                                                       {24, ORDER_RGB, 32, ORDER_RGB},
                                                       {24, ORDER_BGR, 32, ORDER_BGR},
                                                       {48, ORDER_RGB, 64, ORDER_RGB},
                                                       {32, ORDER_GRAY, 32, ORDER_BGR}}) {
        SCOPED_TRACE(std::to_string(nBits) + " order " + std::to_string(nOrder));
        Bitmap bm(nBits, 6, 3, Holding::conventional, nOrder), alpha(8, 6, 3, Holding::conventional, ORDER_GRAY);
        fillRandom(bm.record, 1);
        const Bytes greys = fillRandom(alpha.record, 2);
        ASSERT_EQ(R_SetBitmapAlpha(&bm, &alpha), 1);
        EXPECT_EQ(std::pair(bm->BitsPerPixel, bm->Order), std::pair(nBecomes, nOrderThen));
        const Bytes rows = contents(bm.record);
        EXPECT_EQ(alphaAt(bm.record, rows, 5, 2), greys[2 * alpha->BytesPerLine + 5] * (nBecomes == 64 ? 257u : 1u));
    }
    Bitmap own(8, 6, 3, Holding::conventional, ORDER_GRAY);  // its own alpha
    const Bytes greys = fillRandom(own.record, 5);
    ASSERT_EQ(R_SetBitmapAlpha(&own, &own), 1);
    EXPECT_EQ(alphaAt(own.record, contents(own.record), 4, 1), greys[8 + 4]);
    BITMAPRECORD none{};
    EXPECT_EQ(R_SetBitmapAlpha(&own, &none), -13);
    EXPECT_EQ(R_SetBitmapAlpha(&none, &own), -13);
}

TEST(Alpha, FailuresLeaveTheBitmap) {
    Bitmap bm(24, 40, 5), alpha(12, 40, 5);
    const Bytes before = fillRandom(bm.record, 1);
    fillRandom(alpha.record, 2);
    const long nBlocks = faults::liveBlocks();
    for (int n = 0;; ++n) {
        faults::FailFromNthAllocation fail(n);
        const int32_t nStatus = R_SetBitmapAlpha(&bm, &alpha);
        fail.stop();
        if (!fail.fired()) {
            EXPECT_EQ(nStatus, 1);
            break;
        }
        ASSERT_EQ(nStatus, -1) << n;
        ASSERT_EQ(faults::liveBlocks(), nBlocks) << n;
        ASSERT_TRUE(bm->BitsPerPixel != 24 || contents(bm.record) == before) << n;
    }
}

TEST(Alpha, OneValueForAll) {
    for (int32_t nBits : {24, 32, 64}) {
        Bytes row = randomBytes(41, 3), want = row;
        EXPECT_EQ(R_SetRowAlphaValues(nBits, row.data(), 41, 0x1234A5), 1);
        for (size_t i = 0; nBits == 32 && i < 10; ++i) want[i * 4 + 3] = 0xA5;
        for (size_t i = 0; nBits == 64 && i < 5; ++i) want[i * 8 + 6] = 0xA5, want[i * 8 + 7] = 0x34;
        EXPECT_EQ(row, want) << nBits;
    }
    for (Holding h : {Holding::conventional, Holding::movable, Holding::callbacks}) {
        Bitmap bm(32, 9, 3, h);
        Bytes rows = fillRandom(bm.record, 6);
        ASSERT_EQ(R_SetBitmapAlphaValues(&bm, 17), 1);
        for (size_t i = 3; i < rows.size(); i += 4) rows[i] = 17;
        EXPECT_EQ(contents(bm.record), rows) << nameOf(h);
    }
    BITMAPRECORD none{};
    EXPECT_EQ(R_SetBitmapAlphaValues(&none, 1), -13);
}

TEST(Alpha, WhetherItTellsAnything) {
    for (Holding h : {Holding::conventional, Holding::movable, Holding::callbacks})
        for (int32_t nWidth : {1, 7, 600})
            for (uint32_t uAlpha : {0u, 255u}) {
                Bitmap bm(32, nWidth, 3, h);
                fillRandom(bm.record, 8);
                R_SetBitmapAlphaValues(&bm, uAlpha);
                EXPECT_EQ(R_BitmapHasMeaningfulAlpha(&bm), 0);
                Bytes rows = contents(bm.record);
                rows[rows.size() - 1] ^= 1;  // the very last pixel
                setContents(bm.record, rows);
                EXPECT_EQ(R_BitmapHasMeaningfulAlpha(&bm), 1) << nWidth;
                R_SetBitmapAlphaValues(&bm, 254);
                EXPECT_EQ(R_BitmapHasMeaningfulAlpha(&bm), 1);
            }
    Bitmap wide(64, 3, 3), gray(32, 3, 3, Holding::conventional, ORDER_GRAY);
    fillRandom(wide.record, 1), fillRandom(gray.record, 1);
    EXPECT_EQ(R_BitmapHasMeaningfulAlpha(&wide) + R_BitmapHasMeaningfulAlpha(&gray), 0);
    EXPECT_EQ(R_BitmapHasMeaningfulAlpha(nullptr), 0);
}
