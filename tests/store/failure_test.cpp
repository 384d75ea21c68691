// Memory that runs short in the middle: fail from the first allocation on, then from the second, until the call gets
// through. Each time the status is -1, the bitmap is as before and nothing leaks.
#include <gtest/gtest.h>

#include <functional>

#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

constexpr uint32_t kSize = sizeof(BITMAPRECORD);

// op works on the bitmap, and may make another in its second argument.
void walk(const char* name, const std::function<int32_t(BITMAPRECORD&, BITMAPRECORD&)>& op) {
    Bitmap bm(8, 40, 30);
    const Bytes before = fillRandom(bm.record, 11);
    ASSERT_EQ(R_SetBitmapExtraData(&bm, 1, 5, "five"), 1);
    for (int k = 0;; ++k) {
        ASSERT_LT(k, 50) << name << " never gets through";
        BITMAPRECORD other{};
        const BITMAPRECORD record = bm.record;
        const long blocks = faults::liveBlocks();
        faults::FailFromNthAllocation fail(k);
        const int32_t status = op(bm.record, other);
        fail.stop();
        if (!fail.fired()) {
            EXPECT_EQ(status, 1) << name;
            R_FreeBitmap(&other);
            return;
        }
        EXPECT_EQ(status, -1) << name << " at allocation " << k;
        EXPECT_FALSE(other.Flags & BMF_ALLOCATED) << name << " at allocation " << k;
        EXPECT_EQ(faults::liveBlocks(), blocks) << name << " at allocation " << k;
        ASSERT_EQ(std::memcmp(&record, &bm.record, sizeof record), 0) << name << " at allocation " << k;
        ASSERT_EQ(contents(bm.record), before) << name << " at allocation " << k;
    }
}

TEST(ShortMemory, IsWalkedThroughTheBitmapCalls) {
    if (!faults::available()) GTEST_SKIP() << "allocations can't be refused in this build";
    for (const int32_t bits : {8, 24})
        walk("create", [=](BITMAPRECORD&, BITMAPRECORD& other) {
            return R_CreateBitmap(&other, kSize, BMMEM_CONVENTIONAL, 20, 20, bits, ORDER_BGR, nullptr, 0, nullptr, 0);
        });
    walk("copy", [](BITMAPRECORD& bm, BITMAPRECORD& other) { return R_CopyBitmap(&other, &bm, kSize); });
    walk("copy into", [](BITMAPRECORD& bm, BITMAPRECORD& other) { return R_CopyBitmap2(&other, &bm, kSize, 1); });
    walk("rectangle",
         [](BITMAPRECORD& bm, BITMAPRECORD& other) { return R_CopyBitmapRect(&other, &bm, kSize, 3, 3, 20, 20); });
    walk("trim", [](BITMAPRECORD& bm, BITMAPRECORD&) { return R_TrimBitmap(&bm, 3, 3, 20, 20); });
    walk("fill", [](BITMAPRECORD& bm, BITMAPRECORD&) { return R_FillBitmap(&bm, 0xFF); });
    walk("extra data", [](BITMAPRECORD& bm, BITMAPRECORD&) { return R_SetBitmapExtraData(&bm, 2, 3, "abc"); });
}

}  // namespace
