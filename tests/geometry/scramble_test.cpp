// Scrambling against the formula, pixel by pixel.
#include <gtest/gtest.h>

#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

// Where the pixel of each place comes from.
std::vector<uint32_t> shuffled(uint32_t nCount, uint32_t uKey) {
    std::vector<uint32_t> index(nCount, ~0u);
    const auto next = [&] {
        uKey = uKey * 214013 + 2531011;
        return uKey / 65536 % 32768;
    };
    for (uint32_t i = 0; i < nCount; ++i) {
        const uint32_t r1 = next(), r2 = next(), j = (r2 + r1 * 32768) % (i + 1);
        index[i] = index[j];
        index[j] = i;
    }
    return index;
}

}  // namespace

TEST(Scramble, FollowsTheFormulaAndGoesBack) {
    constexpr int32_t kLeft = 5, kTop = 3, kWidth = 33, kHeight = 31;
    constexpr uint32_t kKey = 0xDEADBEEF, kCount = kWidth * kHeight;
    const auto index = shuffled(kCount, kKey);
    for (const int32_t nBits : kDepths)
        for (const Holding holding : holdingsOf(nBits)) {
            SCOPED_TRACE(testing::Message() << nBits << " bits, " << nameOf(holding));
            Bitmap bm(nBits, 43, 37, holding);
            ASSERT_EQ(bm.nStatus, 1);
            fillRandom(bm.record, 8);
            const Bytes was = contents(bm.record);
            Bytes want = was;
            const auto rowOf = [&](uint32_t i) { return (kTop + i / kWidth) * bm->BytesPerLine; };
            for (uint32_t i = 0; i < kCount; ++i)
                rv::visitDepth(nBits, [&](auto bits) {
                    using P = rv::Pixel<bits>;
                    P::put(&want[rowOf(i)], kLeft + i % kWidth,
                           P::get(&was[rowOf(index[i])], kLeft + index[i] % kWidth));
                });
            const auto scramble = [&](uint32_t uFlags) {
                return R_ScrambleBitmap(&bm, kLeft, kTop, kWidth, kHeight, kKey, uFlags);
            };
            ASSERT_EQ(scramble(SCR_ENCRYPT), 1);
            ASSERT_EQ(contents(bm.record), want);
            ASSERT_EQ(scramble(SCR_DECRYPT | 0x3F8), 1);
            ASSERT_EQ(contents(bm.record), was);
            ASSERT_EQ(bm->nLockCount, 0);
        }
}

TEST(Scramble, TheRectangleIsOfThePictureAsItIsSeen) {
    Bitmap bm(8, 9, 4);
    const Bytes was = fillRandom(bm.record, 1);
    bm->ViewPerspective = RIGHT_TOP;  // seen 4 x 9; the row of stored row 3 is the first column
    EXPECT_EQ(R_ScrambleBitmap(&bm, 0, 0, 1, 9, 77, SCR_ENCRYPT), 1);
    const Bytes now = contents(bm.record);
    const long nLast = 3 * long(bm->BytesPerLine);
    EXPECT_TRUE(std::equal(was.begin(), was.begin() + nLast, now.begin()));
    EXPECT_FALSE(std::equal(was.begin() + nLast, was.end(), now.begin() + nLast));
    // Past the picture it fails, or is cut; then it is the same column.
    EXPECT_EQ(R_ScrambleBitmap(&bm, -3, -1, 4, 11, 77, SCR_DECRYPT), -13);
    EXPECT_EQ(R_ScrambleBitmap(&bm, -3, -1, 4, 11, 77, SCR_DECRYPT | SCR_CLIP), 1);
    EXPECT_EQ(contents(bm.record), was);
    EXPECT_EQ(R_ScrambleBitmap(&bm, 1, 1, INT32_MAX, INT32_MAX, 77, SCR_DECRYPT | SCR_CLIP), 1);
    // From the far left to column 1; the mirrored right edge would be past all numbers.
    bm->ViewPerspective = TOP_RIGHT;
    EXPECT_EQ(R_ScrambleBitmap(&bm, INT32_MIN + 3, 0, INT32_MAX, 4, 77, SCR_ENCRYPT | SCR_CLIP), 1);
    EXPECT_EQ(R_ScrambleBitmap(&bm, INT32_MIN + 3, 0, INT32_MAX, 4, 77, SCR_ENCRYPT), -13);
}

TEST(Scramble, RefusedShortOfMemoryAndStopped) {
    Bitmap bm(24, 9, 4);
    const Bytes was = fillRandom(bm.record, 1);
    EXPECT_EQ(R_ScrambleBitmap(nullptr, 0, 0, 9, 4, 1, 0), -2);
    bm->uStructSize = 1;
    EXPECT_EQ(R_ScrambleBitmap(&bm, 0, 0, 9, 4, 1, 0), -789);
    bm->uStructSize = sizeof(BITMAPRECORD);
    for (const uint32_t uFlags : {0u, 3u, 4u, 0x401u}) EXPECT_EQ(R_ScrambleBitmap(&bm, 0, 0, 9, 4, 1, uFlags), -13);
    EXPECT_EQ(R_ScrambleBitmap(&bm, 3, 0, -2, 4, 1, SCR_ENCRYPT), -13);
    EXPECT_EQ(R_ScrambleBitmap(&bm, 9, 0, 2, 4, 1, SCR_ENCRYPT | SCR_CLIP), -13);
    for (int k = 0;; ++k) {
        const long nBlocks = faults::liveBlocks();
        faults::FailFromNthAllocation fail(k);
        const int32_t nStatus = R_ScrambleBitmap(&bm, 0, 0, 9, 4, 1, SCR_ENCRYPT);
        fail.stop();
        EXPECT_EQ(faults::liveBlocks(), nBlocks);
        if (!fail.fired()) break;
        EXPECT_EQ(nStatus, -1);
        EXPECT_EQ(contents(bm.record), was);
    }
    // Stopped after the second of four rows.
    setContents(bm.record, was);
    R_SetStatusCallBack([](int32_t n, void*) { return n < 50 ? 1 : -777; }, nullptr, nullptr, nullptr);
    EXPECT_EQ(R_ScrambleBitmap(&bm, 0, 0, 9, 4, 1, SCR_ENCRYPT), -777);
    R_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    const Bytes now = contents(bm.record);
    const long nLine = bm->BytesPerLine;
    EXPECT_FALSE(std::equal(was.begin() + nLine, was.begin() + 2 * nLine, now.begin() + nLine));
    EXPECT_TRUE(std::equal(was.begin() + 2 * nLine, was.end(), now.begin() + 2 * nLine));
}
