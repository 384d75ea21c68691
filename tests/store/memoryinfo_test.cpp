// What a bitmap tells of its storage, and its moves to other storage.
#include <gtest/gtest.h>

#include "support/bitmaps.h"
#include "support/faults.h"
#include "support/storage.h"

using namespace test;

namespace {

TEST(MemoryInfo, StatusesInOrder) {
    uint32_t u = 77;
    Bitmap bm(8, 40, 40);
    BITMAPRECORD bad = bm.record;
    bad.uStructSize = 5;
    EXPECT_EQ(R_GetBitmapMemoryInfo(nullptr, &u, nullptr, nullptr, nullptr, nullptr, nullptr), -2);
    EXPECT_EQ(R_GetBitmapMemoryInfo(&bad, nullptr, &u, nullptr, nullptr, nullptr, nullptr), -789);
    EXPECT_EQ(R_GetBitmapMemoryInfo(&bm, nullptr, &u, nullptr, nullptr, nullptr, nullptr), -13);
    EXPECT_EQ(u, 77u);
    EXPECT_EQ(R_SetBitmapMemoryInfo(nullptr, 1, 0, 0, 0, 0, 0, 1), -2);
    bad.Flags = 0;
    EXPECT_EQ(R_GetBitmapMemoryInfo(&bad, &u, nullptr, nullptr, nullptr, nullptr, nullptr), -2);
    EXPECT_EQ(R_SetBitmapMemoryInfo(&bad, 1, 0, 0, 0, 0, 0, 1), -789) << "the size before the storage";
    bad.uStructSize = sizeof bad;
    EXPECT_EQ(R_SetBitmapMemoryInfo(&bad, 1, 0, 0, 0, 0, 0, 1), -2);

    const BITMAPRECORD before = bm.record;
    EXPECT_EQ(R_SetBitmapMemoryInfo(&bm, 1, 0, 0, 0, 0, 0, 1), 1);
    EXPECT_EQ(R_SetBitmapMemoryInfo(&bm, 128, 9, 9, 9, 9, 9, 62), 1) << "nothing of that is for it";
    EXPECT_EQ(R_SetBitmapMemoryInfo(&bm, 0, 0, 0, 0, 0, 0, 1), -13);
    EXPECT_EQ(R_SetBitmapMemoryInfo(&bm, 512, 0, 0, 0, 0, 0, 1), -13) << "run lists are for 1 bit";
    EXPECT_EQ(std::memcmp(&before, &bm.record, sizeof before), 0);
    EXPECT_EQ(Info(bm.record), Info(1, 0, 0, 0, 0, 0));
}

// Every move keeps the pixels, the locks, and what hangs on the bitmap.
TEST(MemoryInfo, MovesKeepTheBitmap) {
    const ThresholdScope thresholds;
    const long files = openFiles();
    for (const uint32_t size : {uint32_t(sizeof(BITMAPRECORD)), BITMAPRECORD_OLD_SIZE}) {
        struct {
            BITMAPRECORD bm;
            uint64_t guard = 0x5A5A5A5A5A5A5A5A;
        } r;
        auto* const end = reinterpret_cast<uint8_t*>(&r.bm) + size;
        ASSERT_EQ(R_CreateBitmap(&r.bm, size, 1, 40, 50, 8, ORDER_RGB, nullptr, TOP_RIGHT, nullptr, 0), 1);
        const Bytes pixels = fillRandom(r.bm, 3);
        const RGBQUAD* const palette = r.bm.pPalette;
        ASSERT_EQ(R_SetBitmapExtraData(&r.bm, 1, 5, "five"), 1);
        r.bm.pPaintLUT[7] = 99;
        R_AccessBitmap(&r.bm);
        R_AccessBitmap(&r.bm);
        std::memset(end, 0xA5, sizeof r.bm - size);
        const auto move = [&](uint32_t memory, uint32_t tileSize, uint32_t total, uint32_t conventional, uint32_t max,
                              uint32_t views, uint32_t flags, const Info& want) {
            ASSERT_EQ(R_SetBitmapMemoryInfo(&r.bm, memory, tileSize, total, conventional, max, views, flags), 1);
            EXPECT_EQ(Info(r.bm), want);
            EXPECT_EQ(contents(r.bm), pixels);
            EXPECT_EQ(r.bm.nLockCount, 2);
            EXPECT_EQ(r.bm.pPalette, palette);
            EXPECT_EQ(r.bm.pPaintLUT[7], 99);
            EXPECT_EQ(r.bm.ViewPerspective, TOP_RIGHT);
            EXPECT_EQ(r.bm.uStructSize, size);
            EXPECT_GT(r.bm.ExtraDataSize, 0u);
            for (uint8_t* p = end; p < reinterpret_cast<uint8_t*>(&r.bm + 1); ++p) ASSERT_EQ(*p, 0xA5);
        };
        move(4, 401, 0, 3, 2, 1, 59, {4, 440, 5, 3, 2, 1});        // rounded up to eleven rows
        move(4, 440, 0, 0, 0, 0, 2, {4, 440, 5, 3, 2, 2});         // no other rows: nothing to do
        move(0, 300, 0, 1, 0, 0, 10, {4, 320, 7, 1, 2, 2});        // the limit stays
        move(0, 0, 0, 9, 9, 9, 56, {4, 320, 7, 7, 0, 0});          // all in memory
        move(0, 0, 0, 0, 3, 9, 56, {4, 320, 7, 0, 3, 3});          // and back, as many views as allowed
        move(128, 0, 0, 0, 0, 0, 1, {128, 0, 0, 0, 0, 0});         //
        move(4 | 256, 400, 0, 0, 2, 2, 51, {4, 400, 5, 5, 0, 0});  // no files
        move(0, 300, 0, 0, 0, 0, 2, {4, 320, 7, 7, 0, 0});         // all in memory stays so
        move(1, 0, 0, 0, 0, 0, 1, {1, 0, 0, 0, 0, 0});
        move(4, 2000, 0, 0, 0, 0, 3, {1, 0, 0, 0, 0, 0});  // one tile holds it
        move(4, 0, 4, 0, 0, 0, 5, {4, 520, 4, 0, 1, 1});   // four tiles of thirteen rows
        move(1, 0, 0, 0, 0, 0, 1, {1, 0, 0, 0, 0, 0});
        R_FreeBitmap(&r.bm);
        EXPECT_EQ(r.guard, 0x5A5A5A5A5A5A5A5Au);
    }
    EXPECT_EQ(openFiles(), files);
}

TEST(MemoryInfo, FailedMovesChangeNothing) {
    const ThresholdScope thresholds;
    const TempDirectory directory;
    Bitmap bm(8, 40, 50);
    const Bytes pixels = fillRandom(bm.record, 3);
    R_AccessBitmap(&bm);
    const BITMAPRECORD before = bm.record;
    const auto expectAsBefore = [&](const char* what) {
        EXPECT_EQ(std::memcmp(&before, &bm.record, sizeof before), 0) << what;
        EXPECT_EQ(contents(bm.record), pixels) << what;
    };
    const auto noTiles = [](BITMAPALLOCATEINFO* p, void*) { return p->uMemoryFlags |= BMMEM_NO_TILED, 1; };
    R_SetAllocateBitmapCallback(noTiles, nullptr, nullptr, nullptr);
    EXPECT_EQ(R_SetBitmapMemoryInfo(&bm, 4 | 256, 400, 0, 0, 0, 0, 3), -1) << "the callback wants none";
    R_SetAllocateBitmapCallback(nullptr, nullptr, nullptr, nullptr);
    expectAsBefore("callback");

    const auto stop = [](int32_t percent, void*) { return percent > 50 ? -100 : 1; };
    R_SetCopyStatusCallBack(stop, nullptr, nullptr, nullptr);
    EXPECT_EQ(R_SetBitmapMemoryInfo(&bm, 4, 400, 0, 0, 0, 0, 3), -100);
    R_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    expectAsBefore("stopped copy");

    directory.remove();
    EXPECT_EQ(R_SetBitmapMemoryInfo(&bm, 128, 0, 0, 0, 0, 0, 1), -1);
    EXPECT_EQ(R_SetBitmapMemoryInfo(&bm, 4, 400, 0, 2, 0, 0, 11), -295);
    expectAsBefore("no files");

    for (int k = 0;; ++k) {
        ASSERT_LT(k, 60);
        const long blocks = faults::liveBlocks();
        faults::FailFromNthAllocation fail(k);
        const int32_t status = R_SetBitmapMemoryInfo(&bm, 4 | 256, 400, 0, 0, 0, 0, 3);
        fail.stop();
        if (!fail.fired()) {
            EXPECT_EQ(status, 1);
            break;
        }
        EXPECT_EQ(status, -1) << k;
        EXPECT_EQ(faults::liveBlocks(), blocks) << k;
        expectAsBefore("short memory");
    }
    EXPECT_EQ(contents(bm.record), pixels);
}

}  // namespace
