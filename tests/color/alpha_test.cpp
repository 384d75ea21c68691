// Alpha out of bitmaps and in again, set to a value, and told from none.
#include <gtest/gtest.h>

#include "support/bitmaps.h"
#include "support/directory.h"

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
            ASSERT_EQ(R_GetBitmapAlpha(&bm, &alpha, sizeof(BITMAPRECORD)), 1);
            EXPECT_EQ(alpha->BitsPerPixel, nBits == 64 ? 16 : 8);
            EXPECT_EQ((alpha->Flags & BMF_DISK) != 0, h == Holding::disk);
            EXPECT_EQ(R_IsGrayScaleBitmap(&alpha), GRAYKIND_ASCENDING);
            const Bytes got = contents(alpha.record);
            for (int32_t y = 0; y < 4; ++y)
                for (int32_t x = 0; x < 19; ++x)
                    ASSERT_EQ(pixelAt(&got[size_t(y) * alpha->BytesPerLine], alpha->BitsPerPixel, size_t(x)),
                              nBits == 32 || nBits == 64 ? alphaAt(bm.record, rows, x, y) : 255);
        }
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
}

TEST(Alpha, OneValueForAllTellsNothing) {
    Bytes row = randomBytes(41, 3), want = row;
    R_SetRowAlphaValues(24, row.data(), 41, 1);
    R_SetRowAlphaValues(64, row.data(), 41, 0x1234A5);
    for (size_t i = 0; i < 5; ++i) want[i * 8 + 6] = 0xA5, want[i * 8 + 7] = 0x34;
    EXPECT_EQ(row, want);
    for (Holding h : {Holding::movable, Holding::callbacks})
        for (uint32_t uAlpha : {0u, 254u, 255u}) {
            Bitmap bm(32, 600, 3, h);
            Bytes rows = fillRandom(bm.record, 6);
            ASSERT_EQ(R_SetBitmapAlphaValues(&bm, uAlpha), 1);
            for (size_t i = 3; i < rows.size(); i += 4) rows[i] = uint8_t(uAlpha);
            EXPECT_EQ(contents(bm.record), rows) << nameOf(h);
            EXPECT_EQ(R_BitmapHasMeaningfulAlpha(&bm), uAlpha == 254);
            rows[rows.size() - 1] ^= 1;  // the very last pixel
            setContents(bm.record, rows);
            EXPECT_EQ(R_BitmapHasMeaningfulAlpha(&bm), 1);
        }
}
