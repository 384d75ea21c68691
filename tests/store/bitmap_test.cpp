// The record's life: initialising, allocating, locking, handing on, freeing.
#include <gtest/gtest.h>

#include "internal/rvsystem_.h"
#include "internal/storage_.h"
#include "support/bitmaps.h"

using namespace test;

namespace {

constexpr uint32_t kSize = sizeof(BITMAPRECORD);

TEST(BitmapInit, GeometryAndDefaults) {
    const struct {
        int32_t width, bits;
        uint32_t line;
    } lines[] = {{100, 1, 16}, {100, 12, 152}, {100, 24, 300}, {1, 64, 8}, {5, 3, 4}, {0, 24, 0}};
    for (const auto& t : lines) {
        BITMAPRECORD bm;
        ASSERT_EQ(R_InitBitmap(&bm, kSize, t.width, 7, t.bits), 1);
        EXPECT_EQ(bm.BytesPerLine, t.line) << t.width << " x " << t.bits;
        EXPECT_EQ(bm.Size64, uint64_t(t.line) * 7);
    }
    const struct {
        int32_t bits, high, order;
        uint32_t colors;
        int32_t max;
    } defaults[] = {{1, 0, ORDER_RGB, 2, 1},       {7, 6, ORDER_RGB, 128, 127},   {8, 7, ORDER_RGB, 256, 255},
                    {12, 11, ORDER_GRAY, 0, 4095}, {16, 15, ORDER_BGR, 0, 65535}, {24, 7, ORDER_BGR, 0, 0xFFFFFF},
                    {32, -1, ORDER_BGR, 0, -1},    {48, 15, ORDER_BGR, 0, -1},    {64, 15, ORDER_BGR, 0, -1}};
    for (const auto& t : defaults) {
        BITMAPRECORD bm;
        std::memset(static_cast<void*>(&bm), 0xA5, sizeof bm);
        ASSERT_EQ(R_InitBitmap(&bm, kSize, 10, 10, t.bits), 1);
        EXPECT_EQ(bm.HighBit, t.high) << t.bits;
        EXPECT_EQ(bm.PhysicalHighBit, t.high) << t.bits;
        EXPECT_EQ(bm.Order, t.order) << t.bits;
        EXPECT_EQ(bm.nColors, t.colors) << t.bits;
        EXPECT_EQ(bm.MaxVal, t.max) << t.bits;
        EXPECT_EQ(bm.ViewPerspective, BOTTOM_LEFT);
        EXPECT_EQ(bm.PaintGamma, 100u);
        EXPECT_EQ(bm.DitheringMethod, 7);
        EXPECT_EQ(bm.XResolution, 150);
        EXPECT_EQ(bm.Flags, 0u);
        EXPECT_EQ(bm.pData, nullptr);
    }
}

TEST(BitmapInit, StatusesInOrder) {
    BITMAPRECORD bm;
    EXPECT_EQ(R_InitBitmap(nullptr, 1, -1, -1, 99), -13);
    bm.Width = 77;
    EXPECT_EQ(R_InitBitmap(&bm, kSize - 1, -1, -1, 99), -789);
    EXPECT_EQ(bm.Width, 77) << "a bad size changes nothing";
    EXPECT_EQ(R_InitBitmap(&bm, kSize, -1, -1, 99), -11);
    EXPECT_EQ(bm.Width, 0);
    EXPECT_EQ(bm.uStructSize, kSize);
    EXPECT_EQ(R_InitBitmap(&bm, kSize, 5, -1, 24), -11);
    EXPECT_EQ(R_InitBitmap(&bm, kSize, 0, 5, 0), -27);
    for (const int32_t bits : {-1, 9, 10, 11, 13, 15, 25, 33, 63, 65, 128})
        EXPECT_EQ(R_InitBitmap(&bm, kSize, 5, 5, bits), -27);

    // Nothing at all keeps the bare record.
    std::memset(static_cast<void*>(&bm), 0xA5, sizeof bm);
    EXPECT_EQ(R_InitBitmap(&bm, kSize, 0, 0, 0), 1);
    BITMAPRECORD bare{};
    bare.uStructSize = kSize;
    EXPECT_EQ(std::memcmp(&bm, &bare, sizeof bm), 0);

    // The older form can't tell large sizes; a row wider than the stride can tell is refused.
    EXPECT_EQ(R_InitBitmap(&bm, BITMAPRECORD_OLD_SIZE, 40000, 40000, 24), -3);
    EXPECT_EQ(bm.uStructSize, 0u);
    EXPECT_EQ(R_InitBitmap(&bm, kSize, 40000, 40000, 24), 1);
    EXPECT_EQ(bm.Size64, 4800000000u);
    EXPECT_EQ(bm.Size, uint32_t(4800000000u));
    EXPECT_EQ(R_InitBitmap(&bm, kSize, INT32_MAX, 1, 64), -11);
    EXPECT_EQ(R_InitBitmap(&bm, kSize, 0xFFFFFFF, 1, 64), -11);
}

TEST(BitmapInit, OlderFormIsNotOverrun) {
    alignas(BITMAPRECORD) uint8_t bytes[sizeof(BITMAPRECORD)];
    std::memset(bytes, 0xA5, sizeof bytes);
    auto* p = reinterpret_cast<BITMAPRECORD*>(bytes);
    ASSERT_EQ(
        R_CreateBitmap(p, BITMAPRECORD_OLD_SIZE, BMMEM_CONVENTIONAL, 33, 9, 8, ORDER_GRAY, nullptr, 0, nullptr, 0), 1);
    R_FillBitmap(p, 0x123456);
    R_FreeBitmap(p);
    for (size_t i = BITMAPRECORD_OLD_SIZE; i < sizeof bytes; ++i) ASSERT_EQ(bytes[i], 0xA5) << i;
}

TEST(BitmapCreate, OrderPaletteAndView) {
    BITMAPRECORD bm;
    const auto create = [&](int32_t bits, int32_t order, const RGBQUAD* palette, int32_t view) {
        return R_CreateBitmap(&bm, kSize, BMMEM_CONVENTIONAL, 8, 8, bits, order, palette, view, nullptr, 0);
    };
    ASSERT_EQ(create(0, ORDER_BGR, nullptr, 0), 1);
    EXPECT_EQ(bm.BitsPerPixel, 8);
    EXPECT_EQ(bm.Order, ORDER_RGB);
    EXPECT_EQ(bm.ViewPerspective, TOP_LEFT);
    EXPECT_EQ(bm.pPalette[200].rgbGreen, 200);
    R_FreeBitmap(&bm);

    ASSERT_EQ(create(4, ORDER_GRAY, nullptr, 3), 1);
    EXPECT_EQ(bm.Order, ORDER_RGB);
    EXPECT_EQ(bm.ViewPerspective, 3);
    EXPECT_EQ(bm.pPalette[1].rgbRed, 17);
    R_FreeBitmap(&bm);

    const RGBQUAD two[2] = {{1, 2, 3, 4}, {5, 6, 7, 8}};
    ASSERT_EQ(create(1, ORDER_RGB, two, 1), 1);
    EXPECT_NE(bm.pPalette, two);
    EXPECT_EQ(std::memcmp(bm.pPalette, two, sizeof two), 0);
    R_FreeBitmap(&bm);

    ASSERT_EQ(create(3, ORDER_BGR, nullptr, 1), 1);
    EXPECT_EQ(bm.pPalette[4].rgbRed, 255) << "the fixed palette";
    R_FreeBitmap(&bm);

    ASSERT_EQ(create(16, ORDER_GRAY, nullptr, 1), 1);
    EXPECT_EQ(bm.Order, ORDER_GRAY);
    EXPECT_EQ(bm.pPalette, nullptr);
    R_FreeBitmap(&bm);

    EXPECT_EQ(create(16, ORDER_ROMM, nullptr, 9), -27) << "the order is tested before the view";
    EXPECT_EQ(create(32, ORDER_ROMM, nullptr, 1), -27);
    EXPECT_EQ(create(24, ORDER_RGB, nullptr, 9), -13);
    EXPECT_EQ(create(9, ORDER_RGB, nullptr, 1), -27);
    EXPECT_FALSE(bm.Flags & BMF_ALLOCATED);
}

TEST(BitmapAllocate, FlagsOutsideTheirSet) {
    BITMAPRECORD bm;
    ASSERT_EQ(R_InitBitmap(&bm, kSize, 10, 10, 8), 1);
    EXPECT_EQ(R_AllocateBitmap(nullptr, 1), -13);
    for (const uint32_t flags : {0u, 3u, 5u, 12u, 129u, 512u, 513u | 2u, 2048u}) {
        EXPECT_EQ(R_AllocateBitmap(&bm, flags), -13) << flags;
        EXPECT_FALSE(bm.Flags & BMF_ALLOCATED);
        EXPECT_EQ(bm.pPaintLUT, nullptr);
    }
    for (const uint32_t flags : {1u, 8u, 9u, 256u, 257u, 264u, 265u, 513u}) {  // run lists fall away at 8 bits
        ASSERT_EQ(R_AllocateBitmap(&bm, flags), 1) << flags;
        EXPECT_EQ(bm.Flags, uint32_t(BMF_ALLOCATED | BMF_CONVENTIONAL));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(bm.pData) % 32, 0u);
        EXPECT_EQ(bm.pPaintLUT[77], 77);
        R_FreeBitmap(&bm);
        EXPECT_EQ(bm.Flags, 0u);
        EXPECT_EQ(bm.Width, 10) << "geometry survives";
    }
    ASSERT_EQ(R_AllocateBitmap(&bm, BMMEM_USER | BMMEM_NO_DISK | BMMEM_NO_TILED), 1)
        << "what the caller's data doesn't need is dropped";
    EXPECT_EQ(bm.Flags, uint32_t(BMF_ALLOCATED | BMF_CONVENTIONAL | BMF_USER_DATA));
    R_FreeBitmap(&bm);
    ASSERT_EQ(R_InitBitmap(&bm, kSize, 0, 10, 8), 1);
    EXPECT_EQ(R_AllocateBitmap(&bm, 1), -11);
    // A tile set for what fits one tile is plain memory.
    ASSERT_EQ(R_InitBitmap(&bm, kSize, 100, 10, 8), 1);
    ASSERT_EQ(R_AllocateBitmap(&bm, BMMEM_TILED), 1);
    EXPECT_EQ(bm.Flags, uint32_t(BMF_ALLOCATED | BMF_CONVENTIONAL));
    R_FreeBitmap(&bm);
}

TEST(BitmapAllocate, FreshStorageIsClearAtEverySize) {
    for (const int32_t height : {1, 100, 5000, 6000}) {  // small blocks come from the heap, large ones are mapped
        for (int round = 0; round < 2; ++round) {
            Bitmap bm(24, 1000, height);
            ASSERT_EQ(bm.nStatus, 1);
            const uint8_t* p = bm->pData;
            size_t nonzero = 0;
            for (size_t i = 0; i < bm->Size; ++i) nonzero += p[i] != 0;
            ASSERT_EQ(nonzero, 0u) << height;
            std::memset(bm->pData, 0xFF, bm->Size);
        }
    }
}

// No sum on the way to the system wraps round to a size that it would give.
TEST(BitmapAllocate, AbsurdSizesAreRefused) {
    for (const uint64_t n : {UINT64_MAX, UINT64_MAX - 100, UINT64_MAX - (2u << 20), uint64_t(PTRDIFF_MAX)})
        EXPECT_EQ(rv::sysMemoryCreate(n), nullptr) << n;
    for (const uint64_t n : {UINT64_MAX, UINT64_MAX - 30, UINT64_MAX - 31, UINT64_MAX - (2u << 20) - 31}) {
        BITMAPRECORD bm;
        ASSERT_EQ(R_InitBitmap(&bm, kSize, 10, 10, 24), 1);
        bm.Size64 = n;
        EXPECT_EQ(rv::createConventional(bm), -1) << n;
        EXPECT_EQ(bm.hMemory, nullptr);
        EXPECT_EQ(R_AllocateBitmap(&bm, BMMEM_NO_TILED | BMMEM_NO_DISK | BMMEM_CONVENTIONAL), -1) << n;
        EXPECT_FALSE(bm.Flags & BMF_ALLOCATED);
    }
}

TEST(BitmapAllocate, Thresholds) {
    EXPECT_EQ(R_SetMemoryThresholds(-101, 0, 0, 0, 0, 1), -13);
    EXPECT_EQ(R_SetMemoryThresholds(5, -101, 0, 0, 0, 3), -13);
    int32_t reserved = 0, tile = 0;
    R_GetMemoryThresholds(&reserved, nullptr, &tile, nullptr, nullptr);
    EXPECT_EQ(reserved, 5) << "what stood before the bad value is stored";
    EXPECT_EQ(R_SetMemoryThresholds(0, 0, -1, 0, 0, 4), -13);

    // A bitmap of exactly the limit is conventional; one byte more needs another class, which these flags cut off.
    EXPECT_EQ(R_SetMemoryThresholds(0, 4000, 0, 0, 0, 3), 1);
    BITMAPRECORD bm;
    ASSERT_EQ(R_InitBitmap(&bm, kSize, 100, 40, 8), 1);
    EXPECT_EQ(R_AllocateBitmap(&bm, BMMEM_CONVENTIONAL | BMMEM_NO_DISK), 1);
    EXPECT_FALSE(bm.Flags & BMF_TILED);
    R_FreeBitmap(&bm);
    ASSERT_EQ(R_InitBitmap(&bm, kSize, 100, 41, 8), 1);
    EXPECT_TRUE(R_AllocateBitmap(&bm, BMMEM_CONVENTIONAL | BMMEM_NO_DISK) != 1 || (bm.Flags & BMF_TILED));
    R_FreeBitmap(&bm);
    // Without tiles the limit is no reason to refuse.
    EXPECT_EQ(R_AllocateBitmap(&bm, BMMEM_CONVENTIONAL | BMMEM_NO_TILED | BMMEM_NO_DISK), 1);
    R_FreeBitmap(&bm);
    EXPECT_EQ(R_SetMemoryThresholds(0, 0x7FFFFFFF, 0, 0, 0, 3), 1);

    // Reserving everything leaves nothing for conventional memory.
    EXPECT_EQ(R_SetMemoryThresholds(-50, 0, 0, 0, 0, 1), 1);
    EXPECT_TRUE(R_AllocateBitmap(&bm, BMMEM_CONVENTIONAL | BMMEM_NO_DISK) != 1 || (bm.Flags & BMF_TILED));
    R_FreeBitmap(&bm);
    EXPECT_EQ(R_SetMemoryThresholds(0, 0, 0, 0, 0, 1), 1);

    // The limit of the process sends what exceeds it to disk, unless that is cut off.
    MEMORYTHRESHOLDS limit{sizeof limit, 4100};
    EXPECT_EQ(R_SetGlobalMemoryThresholds(&limit), 1);
    EXPECT_EQ(R_AllocateBitmap(&bm, BMMEM_CONVENTIONAL), 1);
    EXPECT_EQ(bm.Flags & (BMF_CONVENTIONAL | BMF_DISK), uint32_t(BMF_CONVENTIONAL));
    R_FreeBitmap(&bm);
    limit.uMaxConventionalSize = 4099;
    EXPECT_EQ(R_SetGlobalMemoryThresholds(&limit), 1);
    EXPECT_TRUE(R_AllocateBitmap(&bm, BMMEM_CONVENTIONAL) != 1 || (bm.Flags & BMF_DISK));
    R_FreeBitmap(&bm);
    EXPECT_EQ(R_AllocateBitmap(&bm, BMMEM_CONVENTIONAL | BMMEM_NO_DISK), 1);
    R_FreeBitmap(&bm);
    limit.uMaxConventionalSize = UINT64_MAX;
    EXPECT_EQ(R_SetGlobalMemoryThresholds(&limit), 1);
    EXPECT_EQ(R_IntGetMaximumConventionalMemorySize(0), 43199488u);
    limit.uMaxConventionalSize = uint64_t(-2);
    EXPECT_EQ(R_SetGlobalMemoryThresholds(&limit), -13);
    EXPECT_EQ(R_GetGlobalMemoryThresholds(&limit, 11), -789);
    EXPECT_EQ(R_GetGlobalMemoryThresholds(&limit, 12), 1);
    EXPECT_EQ(uint64_t(limit.uMaxConventionalSize), 43199488u);
    EXPECT_EQ(R_SetGlobalMemoryThresholds(nullptr), 1);
    EXPECT_EQ(R_IntGetMaximumConventionalMemorySize(-2), 1536000000u);
}

// A record of what the callbacks heard, and what they are to answer.
struct Heard {
    int allocate = 0, free = 0, access = 0, release = 0, begin = 0, end = 0;
    int32_t answer = 1;
    uint32_t flags = 0;
};
BITMAPDATACALLBACKS listening(Heard& heard) {
    BITMAPDATACALLBACKS c{};
    c.uStructSize = sizeof c;
    c.pUserData = &heard;
    c.pfnAllocate = [](BITMAPRECORD*, BITMAPALLOCATEINFO* info, void* p) {
        auto& h = *static_cast<Heard*>(p);
        ++h.allocate;
        if (h.flags) info->uMemoryFlags = h.flags;
        return h.answer;
    };
    c.pfnFree = [](BITMAPRECORD*, void* p) { return ++static_cast<Heard*>(p)->free, static_cast<Heard*>(p)->answer; };
    c.pfnAccess = [](BITMAPRECORD*, void* p) {
        return ++static_cast<Heard*>(p)->access, static_cast<Heard*>(p)->answer;
    };
    c.pfnRelease = [](BITMAPRECORD*, void* p) {
        return ++static_cast<Heard*>(p)->release, static_cast<Heard*>(p)->answer;
    };
    return c;
}

TEST(BitmapCallbacks, AllocationAndFreeing) {
    Heard heard;
    const BITMAPDATACALLBACKS callbacks = listening(heard);
    BITMAPRECORD bm;
    ASSERT_EQ(R_InitBitmapWithCallbacks(&bm, kSize, 10, 10, 24, &callbacks), 1);
    ASSERT_NE(bm.pCallbacks, &callbacks);
    BITMAPDATACALLBACKS out, *pOut = &out;
    ASSERT_EQ(R_GetBitmapDataCallbacks(&bm, &pOut), 1);
    EXPECT_EQ(out.pfnFree, callbacks.pfnFree);

    heard.answer = -123;
    EXPECT_EQ(R_AllocateBitmap(&bm, 1), -123);
    EXPECT_FALSE(bm.Flags & BMF_ALLOCATED);
    EXPECT_EQ(bm.pPaintLUT, nullptr);

    heard.answer = 1;
    heard.flags = BMMEM_USER;
    ASSERT_EQ(R_AllocateBitmap(&bm, 1), 1);
    EXPECT_TRUE(bm.Flags & BMF_USER_DATA) << "the callback's flags count";

    heard.answer = 2;
    heard.flags = 0;
    R_FreeBitmap(&bm);
    EXPECT_EQ(heard.free, 1);
    EXPECT_EQ(bm.pCallbacks, nullptr);
    ASSERT_EQ(R_InitBitmapWithCallbacks(&bm, kSize, 10, 10, 24, &callbacks), 1);
    ASSERT_EQ(R_AllocateBitmap(&bm, 1), 1);
    EXPECT_EQ(bm.Flags, uint32_t(BMF_ALLOCATED | BMF_USER_DATA));
    EXPECT_EQ(bm.pData, nullptr);
    R_FreeBitmap(&bm);

    BITMAPDATACALLBACKS bad = callbacks;
    bad.uStructSize = 1;
    ASSERT_EQ(R_InitBitmap(&bm, kSize, 10, 10, 24), 1);
    EXPECT_EQ(R_SetBitmapDataCallbacks(&bm, &bad), -789);
    EXPECT_EQ(R_SetBitmapDataCallbacks(nullptr, &callbacks), -13);
    ASSERT_EQ(R_InitBitmap(&bm, kSize, 0, 0, 0), 1);
    EXPECT_EQ(R_SetBitmapDataCallbacks(&bm, &callbacks), -11);
}

TEST(BitmapCallbacks, ProcessWide) {
    static BITMAPALLOCATEINFO seen;
    static int32_t answer = 1;
    const ALLOCATEBITMAPCALLBACK pfn = [](BITMAPALLOCATEINFO* info, void* user) {
        seen = *info;
        *static_cast<int*>(user) += 1;
        info->uMemoryFlags = BMMEM_USER;
        return answer;
    };
    int calls = 0;
    R_SetAllocateBitmapCallback(pfn, &calls, nullptr, nullptr);
    BITMAPRECORD bm;
    ASSERT_EQ(R_InitBitmap(&bm, kSize, 10, 20, 16), 1);
    EXPECT_EQ(R_AllocateBitmap(&bm, 1), 1);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(seen.uStructSize, sizeof seen);
    EXPECT_EQ(uint64_t(seen.Size), 400u);
    EXPECT_EQ(seen.BytesPerLine, 0u);
    EXPECT_TRUE(bm.Flags & BMF_USER_DATA);
    R_FreeBitmap(&bm);
    answer = -5;
    EXPECT_EQ(R_AllocateBitmap(&bm, 1), -5);
    ALLOCATEBITMAPCALLBACK pfnOld = nullptr;
    void* pOld = nullptr;
    R_SetAllocateBitmapCallback(nullptr, nullptr, &pfnOld, &pOld);
    EXPECT_EQ(pfnOld, pfn);
    EXPECT_EQ(pOld, &calls);
}

TEST(BitmapLocks, NestAndAskCallbacks) {
    Heard heard;
    const BITMAPDATACALLBACKS callbacks = listening(heard);
    BITMAPRECORD bm;
    ASSERT_EQ(R_CreateBitmapWithCallbacks(&bm, kSize, 1, 4, 4, 24, ORDER_BGR, nullptr, 1, nullptr, 0, &callbacks), 1);
    EXPECT_EQ(R_AccessBitmap(&bm), 1);
    EXPECT_EQ(R_AccessBitmap(&bm), 1);
    EXPECT_EQ(heard.access, 1);
    EXPECT_EQ(R_ReleaseBitmap(&bm), 1);
    EXPECT_EQ(heard.release, 0);
    heard.answer = -77;
    EXPECT_EQ(R_ReleaseBitmap(&bm), -77);
    EXPECT_EQ(bm.nLockCount, 0) << "the count has fallen all the same";
    int32_t locked = 9;
    EXPECT_EQ(R_IntAccessBitmap(&bm, &locked), -77);
    EXPECT_EQ(locked, 0);
    EXPECT_EQ(bm.nLockCount, 0);
    heard.answer = 1;
    EXPECT_EQ(R_IntAccessBitmap(&bm, &locked), 1);
    EXPECT_EQ(R_IntReleaseBitmap(nullptr, 0, 1), -814);
    EXPECT_EQ(R_IntReleaseBitmap(&bm, 0, -4), -4);
    EXPECT_EQ(R_IntReleaseBitmap(&bm, locked, -4), -4);
    EXPECT_EQ(bm.nLockCount, 0);
    EXPECT_EQ(R_ReleaseBitmap(nullptr), -814);
    R_FreeBitmap(&bm);
}

TEST(BitmapLocks, MovableMemoryIsReachedUnderALock) {
    Bitmap bm(8, 10, 10, Holding::movable);
    uint8_t row[12] = {};
    EXPECT_EQ(R_GetBitmapRow(&bm, row, 0, 10), -2);
    ASSERT_EQ(R_AccessBitmap(&bm), 1);
    EXPECT_NE(bm->pData, nullptr);
    EXPECT_TRUE(bm->Flags & BMF_LOCKED);
    EXPECT_EQ(R_GetBitmapRow(&bm, row, 0, 10), 10);
    ASSERT_EQ(R_ReleaseBitmap(&bm), 1);
    EXPECT_EQ(bm->pData, nullptr);
    EXPECT_FALSE(bm->Flags & BMF_LOCKED);
}

TEST(BitmapHandle, ShallowCopiesAndDataPointers) {
    Bitmap bm(24, 10, 10);
    BITMAPRECORD copy;
    EXPECT_EQ(R_CopyBitmapHandle(nullptr, &bm, 5), -789);
    EXPECT_EQ(R_CopyBitmapHandle(nullptr, &bm, kSize), 1);
    ASSERT_EQ(R_CopyBitmapHandle(&copy, &bm, BITMAPRECORD_OLD_SIZE), 1);
    EXPECT_EQ(copy.uStructSize, BITMAPRECORD_OLD_SIZE);
    EXPECT_EQ(copy.pData, bm->pData);
    EXPECT_EQ(copy.Size, bm->Size);

    uint8_t data[640];
    EXPECT_EQ(R_SetBitmapDataPointer(nullptr, data, 1), -2);
    EXPECT_EQ(R_SetBitmapDataPointer(&bm, data, 1), -13);
    BITMAPRECORD user;
    ASSERT_EQ(R_CreateBitmap(&user, kSize, BMMEM_USER, 10, 10, 24, ORDER_BGR, nullptr, 0, data, 7), 1) << "any size";
    EXPECT_EQ(user.pData, data);
    R_AccessBitmap(&user);
    R_ReleaseBitmap(&user);
    EXPECT_EQ(user.pData, data);
    R_FreeBitmap(&user);

    bm->Height = 5;
    EXPECT_EQ(R_UpdateBitmapSize(&bm, 0), 1);
    EXPECT_EQ(bm->Size64, 160u);
    EXPECT_EQ(R_UpdateBitmapSize(nullptr, 0), -2);
    EXPECT_EQ(R_UpdateBitmapSize(&user, 0), -2);
}

}  // namespace
