// Writes by segments: every depth and holding, alpha that is kept, segments that make no sense, the callback's buffer.
#include <gtest/gtest.h>

#include "internal/runlists_.h"
#include "support/bitmaps.h"

using namespace test;

namespace {

constexpr int32_t kWidth = 41, kRow = 1, kCol = 2;
const uint32_t kWords[] = {0, 3, 5, 6, 9, 20, 30, 60, 4};  // the last pair is beyond the row, a word is left over

uint64_t alphaMask(int32_t bits, int32_t order) {
    if (bits == 32) return 0xFF000000;
    if (bits == 64) return 0xFFFF000000000000;
    return bits == 16 && order != ORDER_GRAY ? 0x8000 : 0;
}

TEST(Segments, EveryDepthAndHoldingEqualsPixelByPixel) {
    for (const int32_t bits : kDepths)
        for (const Holding holding : holdingsOf(bits))
            for (const int32_t order : {defaultOrder(bits), int32_t(bits == 16 ? ORDER_GRAY : defaultOrder(bits))})
                for (const bool keep : {false, true}) {
                    Bitmap bm(bits, kWidth, 3, holding, order);
                    ASSERT_EQ(bm.nStatus, 1) << nameOf(holding) << " " << bits;
                    Bytes want = fillRandom(bm.record, 3);
                    const Bytes row = randomBytes(bm->BytesPerLine, 4);
                    rv::visitDepth(bits, [&](auto depth) {
                        using P = rv::Pixel<depth>;
                        const auto kept = typename P::Value(keep ? alphaMask(bits, bm->Order) : 0);
                        uint8_t* to = &want[bm->BytesPerLine];
                        for (size_t i = 0; i + 1 < std::size(kWords); i += 2)
                            for (uint32_t x = kCol + kWords[i]; x < std::min(kCol + kWords[i + 1], 41u); ++x)
                                P::put(to, x, (P::get(to, x) & kept) | (P::get(row.data(), x) & ~kept));
                    });
                    R_AccessBitmap(&bm);
                    ASSERT_EQ(R_PutBitmapRowSegments(&bm, row.data(), kRow, kCol, kWords, std::size(kWords), keep), 1);
                    R_ReleaseBitmap(&bm);
                    ASSERT_EQ(contents(bm.record), want) << nameOf(holding) << " " << bits << " keep " << keep;
                }
}

TEST(Segments, ThatMakeNoSenseWriteNothingOutside) {
    // Ends before starts, overlaps, columns before and far beyond the row.
    const uint32_t words[] = {9, 4, UINT32_MAX - 3, UINT32_MAX, 2, 8, 5, 12, 0, 3, 40, UINT32_MAX};
    for (const uint32_t memory : {uint32_t(BMMEM_CONVENTIONAL), uint32_t(BMMEM_COMPRESSED)}) {
        BITMAPRECORD bm;
        ASSERT_EQ(R_CreateBitmap(&bm, sizeof bm, memory, kWidth, 3, 1, ORDER_RGB, nullptr, TOP_LEFT, nullptr, 0), 1);
        const Bytes ink(8, 0xFF);
        for (const int32_t col : {0, -4, -2000000000, 2000000000}) {
            R_ClearBitmap(&bm);
            ASSERT_EQ(R_PutBitmapRowSegments(&bm, ink.data(), kRow, col, words, std::size(words), 0), 1);
            for (int32_t x = 0; x < kWidth; ++x) {
                const int64_t at = int64_t(x) - col;
                const bool on = (at >= 2 && at < 12) || at >= 40;
                ASSERT_EQ(pixelAt(&contents(bm)[8], 1, size_t(x)), uint64_t(on)) << memory << " " << col << " " << x;
            }
            ASSERT_TRUE(!(bm.Flags & BMF_COMPRESSED) || rv::isWellFormedRunLists(bm));
        }
        EXPECT_EQ(R_PutBitmapRowSegments(&bm, ink.data(), 3, 0, words, 2, 0), -13);
        EXPECT_EQ(R_PutBitmapRowSegments(&bm, ink.data(), 0, 0, nullptr, 2, 0), -13);
        EXPECT_EQ(R_PutBitmapRowSegments(nullptr, ink.data(), 0, 0, words, 2, 0), -13);
        bm.uStructSize = 5;
        EXPECT_EQ(R_PutBitmapRowSegments(&bm, ink.data(), 0, 0, words, 2, 0), -789);
        bm.uStructSize = sizeof bm;
        R_FreeBitmap(&bm);
    }
}

TEST(Segments, AskForTheCallbacksBuffer) {
    struct Heard {
        Bytes buffer;
        const uint8_t* put = nullptr;
        int32_t answer = 1;
    } heard;
    Bitmap bm(8, kWidth, 3);
    heard.buffer.resize(bm->BytesPerLine);
    BITMAPDATACALLBACKS c{};
    c.uStructSize = sizeof c;
    c.pUserData = &heard;
    c.pfnGetRowBuffer = [](BITMAPRECORD*, uint8_t** pp, uint32_t n, void* user) {
        auto& h = *static_cast<Heard*>(user);
        *pp = n == h.buffer.size() ? h.buffer.data() : nullptr;
        return h.answer;
    };
    c.pfnPutRow = [](BITMAPRECORD*, const uint8_t* from, int32_t, int32_t, uint32_t, void* user) {
        static_cast<Heard*>(user)->put = from;
        return 0;  // the storage writes it
    };
    ASSERT_EQ(R_SetBitmapDataCallbacks(&bm, &c), 1);
    const Bytes row(bm->BytesPerLine, 7);
    const uint32_t all[] = {0, uint32_t(kWidth)};
    EXPECT_EQ(R_PutBitmapRowSegments(&bm, row.data(), 2, 0, all, 2, 0), 1);
    EXPECT_EQ(heard.put, heard.buffer.data());
    EXPECT_EQ(bm->pData[2 * bm->BytesPerLine], 7);
    heard.answer = 0;
    const uint32_t some[] = {4, 8};
    EXPECT_EQ(R_PutBitmapRowSegments(&bm, row.data(), 0, 0, some, 2, 0), 1);
    EXPECT_NE(heard.put, heard.buffer.data()) << "a buffer of the library's own";
    EXPECT_EQ(bm->pData[3], 0);
    EXPECT_EQ(bm->pData[4], 7);
}

}  // namespace
