// What is built to take a bitmap's place, in every operation that does so: wherever memory ends, the old bitmap stands;
// the copy of its callbacks has ended, and nothing of a dither is left behind.
#include <gtest/gtest.h>

#include <string>

#include "ravokit/combine.h"
#include "ravokit/compressed.h"
#include "ravokit/dither.h"
#include "ravokit/grayscale.h"
#include "ravokit/resample.h"
#include "ravokit/resize.h"
#include "ravokit/rotate.h"
#include "ravokit/storage.h"
#include "ravokit/view.h"
#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

struct Operation {
    const char* name;
    int32_t bits;
    int32_t (*run)(BITMAPRECORD* p);
};
constexpr Operation kOperations[] = {
    {"memory", 8, [](BITMAPRECORD* p) { return R_SetBitmapMemoryInfo(p, BMMEM_TILED, 0, 4, 4, 0, 0, 13); }},
    {"compression", 1, [](BITMAPRECORD* p) { return R_ChangeBitmapCompression(p, 1); }},
    {"trim", 8, [](BITMAPRECORD* p) { return R_TrimBitmap(p, 1, 1, 9, 9); }},
    {"rectangle", 8,
     [](BITMAPRECORD* p) { return R_CopyBitmapRect2(nullptr, p, p->uStructSize, 1, 1, 9, 9, BMMEM_CONVENTIONAL); }},
    {"rows", 8, [](BITMAPRECORD* p) { return R_ShearBitmap(p, -3000, 1, 0); }},
    {"columns", 8, [](BITMAPRECORD* p) { return R_ShearBitmap(p, 3000, 0, 0); }},
    {"quarter", 8, [](BITMAPRECORD* p) { return R_RotateBitmap90(p, 1, 0, 100); }},
    {"slanted", 8, [](BITMAPRECORD* p) { return R_RotateBitmap(p, 3000, ROT_RESIZE, 0); }},
    {"size", 8, [](BITMAPRECORD* p) { return R_SizeBitmap(p, 9, 30, 0); }},
    {"resample", 24, [](BITMAPRECORD* p) { return R_ResampleBitmap(p, 9, 30, 0); }},
    {"gray", 24, [](BITMAPRECORD* p) { return R_GrayScaleBitmap(p, 8); }},
};

// A source whose copies have its callbacks; m_nOpen counts the copies that began and have not ended.
class Counted : public Bitmap {
    int m_nOpen = 0;

public:
    explicit Counted(int32_t bits) : Bitmap(bits, 20, 24) {
        BITMAPDATACALLBACKS c{};
        c.uStructSize = sizeof c;
        c.pUserData = &m_nOpen;
        c.pfnBeginCopy = [](BITMAPRECORD* pSource, int32_t, BITMAPALLOCATEINFO*, BITMAPDATACALLBACKS* pNew, void* p) {
            *pNew = *pSource->pCallbacks;
            return ++*static_cast<int*>(p), 1;
        };
        c.pfnEndCopy = [](BITMAPRECORD*, int32_t, void* p, BITMAPDATACALLBACKS*) { return --*static_cast<int*>(p), 1; };
        EXPECT_EQ(R_SetBitmapDataCallbacks(&record, &c), 1);
        R_AccessBitmap(&record);
        EXPECT_EQ(R_StartDithering(&record, nullptr, 256), 1);
    }
    ~Counted() { R_StopDithering(&record); }
    int open() const { return m_nOpen; }
};

// Runs the operation with memory for n allocations; whether it was enough.
bool isEnough(const Operation& operation, int n, int& failed) {
    Counted bm(operation.bits);
    const Bytes before = fillRandom(bm.record, 3);
    const long blocks = faults::liveBlocks();
    faults::FailFromNthAllocation fail(n);
    const int32_t status = operation.run(&bm.record);
    fail.stop();
    EXPECT_EQ(bm.open(), 0);
    EXPECT_EQ(bm->nLockCount, 1);
    if (status != 1) {
        ++failed;
        EXPECT_TRUE(status == -1 || status == -295) << status;
        EXPECT_TRUE(fail.fired());
        EXPECT_EQ(faults::liveBlocks(), blocks);
        EXPECT_EQ(contents(bm.record), before);
    }
    return !fail.fired();
}

TEST(Replace, EveryCopyThatBeginsEnds) {
    for (const Operation& operation : kOperations) {
        int failed = 0;
        isEnough(operation, INT32_MAX, failed);  // what is made once, and kept
        for (int n = 0, enough = 0; !enough; ++n) {
            SCOPED_TRACE(operation.name + std::to_string(n));
            const long blocks = faults::liveBlocks();
            enough = isEnough(operation, n, failed);
            EXPECT_EQ(faults::liveBlocks(), blocks);
        }
        EXPECT_GT(failed, 3) << operation.name;
    }
}

}  // namespace
