// Single pixels: what is put is read again, next to neighbours that stay, in every depth and kind of storage.
#include <gtest/gtest.h>

#include "internal/attachments.h"
#include "support/bitmaps.h"
#include "support/directory.h"

using namespace test;

namespace {

constexpr COLORREF kNone = 0x80000000;

COLORREF plain(const RGBQUAD& q) { return q.rgbRed | uint32_t(q.rgbGreen) << 8 | uint32_t(q.rgbBlue) << 16; }

}  // namespace

TEST(PixelColor, PutIsReadAgainAndNothingElseChanges) {
    const TemporaryDirectory directory;
    for (int32_t nBits : kDepths)
        for (Holding h : holdingsOf(nBits)) {
            if (h == Holding::super && nBits > 1) continue;  // lossy
            SCOPED_TRACE(std::to_string(nBits) + nameOf(h));
            Bitmap bm(nBits, 19, 8, h);
            ASSERT_EQ(bm.nStatus, 1);
            fillRandom(bm.record, 7);
            const COLORREF put = nBits <= 8    ? plain(bm->pPalette[(1u << nBits) - 1])
                                 : nBits == 12 ? 0x04F6F7F7
                                 : nBits == 16 ? 0x00E7FF84
                                               : 0x00123456;
            for (int32_t x = 0; x < 19; ++x) {
                const int32_t y = x % 8;
                const Bytes before = contents(bm.record);
                ASSERT_EQ(R_PutPixelColor(&bm, y, x, put), 1);
                const COLORREF got = R_GetPixelColor(&bm, y, x);
                ASSERT_EQ(got, nBits == 12 ? 0x0400F7FEu : put);  // 0xF7F of 12 bits, scaled
                const Bytes after = contents(bm.record);
                for (int32_t r = 0; r < 8; ++r)
                    for (int32_t c = 0; c < 19; ++c) {
                        if (r == y && c == x) continue;
                        const size_t at = size_t(r) * bm->BytesPerLine;
                        ASSERT_EQ(pixelAt(&after[at], nBits, size_t(c)), pixelAt(&before[at], nBits, size_t(c)))
                            << x << " changed " << r << " " << c;
                    }
            }
        }
}

TEST(PixelColor, FormatsByHand) {
    const auto at = [](int32_t nBits, int32_t nOrder, uint64_t uPixel, uint8_t* pAlpha = nullptr) {
        Bitmap bm(nBits, 1, 1, Holding::conventional, nOrder);
        std::memcpy(bm->pData, &uPixel, size_t(nBits / 8));
        return R_IntGetPixelColor(&bm, 0, 0, pAlpha);
    };
    uint8_t uAlpha = 0;
    EXPECT_EQ(at(24, ORDER_BGR, 0x112233, &uAlpha), 0x332211u);
    EXPECT_EQ(uAlpha, 255);
    EXPECT_EQ(at(32, ORDER_BGR, 0x44112233, &uAlpha), 0x332211u);
    EXPECT_EQ(uAlpha, 0x44);
    EXPECT_EQ(at(16, ORDER_BGR, 31 << 10 | 1 << 5), 0x0008FFu);
    EXPECT_EQ(at(48, ORDER_RGB, 0x99FF88FF77FF), 0x998877u);
    for (auto [uWord, uWanted] : {std::pair{0, 0}, {1, 0}, {257, 1}, {65534, 254}, {65535, 255}}) {
        at(64, ORDER_BGR, uint64_t(uWord) << 48, &uAlpha);
        EXPECT_EQ(uAlpha, uWanted) << uWord;
    }
    EXPECT_EQ(at(32, ORDER_GRAY, 5, &uAlpha), kNone);
    EXPECT_EQ(uAlpha, 255);
}

TEST(PixelColor, GreyLevelsAndTables) {
    Bitmap bm(16, 2, 1, Holding::conventional, ORDER_GRAY);
    bm->PhysicalLowBit = 4, bm->PhysicalHighBit = 7;
    bm->pData[0] = 0x9F, bm->pData[1] = 0x12;
    EXPECT_EQ(R_GetPixelColor(&bm, 0, 0), 0x04000000u + 9 * 65535 / 15);
    EXPECT_EQ(R_PutPixelColor(&bm, 0, 1, 0xFFFFFF), 1);  // to the range
    EXPECT_EQ(bm->pData[2] | bm->pData[3] << 8, 0x00F0);
    bm->pLUT = static_cast<RGBQUAD*>(R_GlobalAlloc(1, 16 * sizeof(RGBQUAD), __LINE__, __FILE__));
    bm->LUTLength = 16;
    for (uint8_t i = 0; i < 16; ++i) bm->pLUT[i] = {uint8_t(i * 2), i, uint8_t(i * 3), 0};
    EXPECT_EQ(R_GetPixelColor(&bm, 0, 0), 0x04000000u + 9 * 65535 / 15);  // not in use
    bm->Flags |= BMF_USE_LUT;
    EXPECT_EQ(R_GetPixelColor(&bm, 0, 0), plain(bm->pLUT[9]));
    EXPECT_EQ(R_PutPixelColor(&bm, 0, 1, 0x04000000 | plain(bm->pLUT[6])), 1);  // becomes the entry's index
    EXPECT_EQ(bm->pData[2], 0x60);
}

TEST(PixelColor, Refusals) {
    Bitmap bm(24, 3, 2);
    const Bytes before = fillRandom(bm.record, 1);
    for (auto [nRow, nCol] : {std::pair{-1, 0}, {2, 0}, {0, -1}, {0, 3}}) {
        EXPECT_EQ(R_GetPixelColor(&bm, nRow, nCol), kNone);
        EXPECT_EQ(R_PutPixelColor(&bm, nRow, nCol, 0), -13);
    }
    rv::Attachments keepsOut = rv::kNoAttachments;  // a region that ends before column 1
    keepsOut.isInRegion = [](const BITMAPRECORD&, int32_t, int32_t nCol) noexcept { return nCol < 1; };
    const rv::Attachments& old = rv::attachments();
    rv::registerAttachments(keepsOut);
    int region = 0;
    bm->pRgnInfo = reinterpret_cast<RavoRgn*>(&region);
    EXPECT_EQ(R_PutPixelColor(&bm, 0, 1, 0x654321), 1);
    EXPECT_EQ(contents(bm.record), before);
    EXPECT_EQ(R_PutPixelColor(&bm, 0, 0, 0x654321), 1);
    EXPECT_EQ(R_GetPixelColor(&bm, 0, 0), 0x654321u);
    bm->pRgnInfo = nullptr;
    rv::registerAttachments(old);
}

TEST(PixelData, BytesThatHoldAPixel) {
    Bitmap bm(3, 8, 2);
    setContents(bm.record, {0x12, 0x34, 0x56, 0, 0x9A, 0xBC, 0xDE, 0});
    uint8_t bytes[4] = {};
    EXPECT_EQ(R_GetPixelData(&bm, bytes, 1, 2, 1), -13);  // bits 6 to 8
    EXPECT_EQ(R_GetPixelData(&bm, bytes, 1, 2, 2), 1);
    EXPECT_EQ(bytes[0] << 8 | bytes[1], 0x9ABC);
    EXPECT_EQ(R_GetPixelData(&bm, bytes, 0, 7, 1), 1);
    EXPECT_EQ(bytes[0], 0x56);
    bytes[0] = 0x77;
    EXPECT_EQ(R_PutPixelData(&bm, bytes, 0, 7, 4), 1);
    EXPECT_EQ(contents(bm.record), Bytes({0x12, 0x34, 0x77, 0, 0x9A, 0xBC, 0xDE, 0}));
    EXPECT_EQ(R_GetPixelData(&bm, bytes, 2, 0, 4), -13);
    EXPECT_EQ(R_PutPixelData(&bm, bytes, 0, 8, 4), -13);
}
