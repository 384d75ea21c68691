#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "internal/handles.h"
#include "ravokit/memory.h"
#include "support/faults.h"

namespace {

bool allZero(const void* p, size_t n) {
    const auto* pBytes = static_cast<const uint8_t*>(p);
    for (size_t i = 0; i < n; ++i)
        if (pBytes[i]) return false;
    return true;
}

MEMHANDLE* wordBefore(const void* p) {
    MEMHANDLE* h;
    std::memcpy(&h, static_cast<const uint8_t*>(p) - sizeof h, sizeof h);
    return h;
}

MEMHANDLE* const kAllOnes = reinterpret_cast<MEMHANDLE*>(UINTPTR_MAX);

TEST(Alloc, PlainHeap) {
    EXPECT_EQ(R_LocalAlloc(0x10000, 0x10000, __LINE__, "x"), nullptr);
    EXPECT_EQ(R_LocalAllocInit(UINT32_MAX, UINT32_MAX, 0, nullptr), nullptr);
    void* pNone = R_LocalAlloc(3, 0, 0, nullptr);
    EXPECT_NE(pNone, nullptr);
    R_LocalFree(pNone);

    auto* p = static_cast<uint8_t*>(R_LocalAllocInit(10, 10, 0, nullptr));
    ASSERT_TRUE(p && allZero(p, 100));
    std::memset(p, 0xA5, 100);
    p = static_cast<uint8_t*>(R_LocalReallocInit(p, 50, 3000, 0, nullptr));
    ASSERT_TRUE(p);
    EXPECT_EQ(p[49], 0xA5);
    EXPECT_TRUE(allZero(p + 50, 2950));
    p = static_cast<uint8_t*>(R_LocalReallocInit(p, 3000, 49, 0, nullptr));
    EXPECT_EQ(p[48], 0xA5);
    void* pFresh = R_LocalReallocInit(p, 0, 64, 0, nullptr);  // p is dropped, not freed
    EXPECT_NE(pFresh, p);
    EXPECT_TRUE(allZero(pFresh, 64));
    R_LocalFree(p);
    R_KrnLocalFree(R_LocalRealloc(pFresh, 0, 0, nullptr));
    R_FreeBuffer(R_LocalRealloc(nullptr, 8, 0, nullptr));
    p = static_cast<uint8_t*>(R_KrnLocalAlloc(500, 1));
    EXPECT_TRUE(allZero(p, 500));
    R_FreeBuffer(p);
}

TEST(Alloc, BlocksKnowTheirHandle) {
    for (uint32_t n : {0u, 1u, 100u, 1000000u}) {
        auto* p = static_cast<uint8_t*>(R_GlobalAlloc(n, 1, 0, nullptr));
        ASSERT_TRUE(p);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % alignof(std::max_align_t), 0u);
        EXPECT_TRUE(allZero(p, n));
        MEMHANDLE* h = wordBefore(p);
        EXPECT_EQ(WinGlobalHandle(p), h);
        EXPECT_EQ(h->uKind, 3u);
        EXPECT_EQ(WinGlobalFlags(h), 66u);
        EXPECT_EQ(WinGlobalSize(h), n);
        EXPECT_EQ(WinGlobalLock(h), p);
        std::memset(p, 0xA5, n);
        auto* pNew = static_cast<uint8_t*>(R_GlobalRealloc(p, n + 100000));
        ASSERT_TRUE(pNew);
        EXPECT_EQ(wordBefore(pNew), h);
        EXPECT_EQ(WinGlobalSize(h), n + 100000);
        EXPECT_TRUE(n == 0 || pNew[n - 1] == 0xA5);
        EXPECT_TRUE(allZero(pNew + n, 100000));
        EXPECT_EQ(R_GlobalFree(pNew), 1);
    }
    EXPECT_EQ(R_GlobalAlloc(0x10000, 0x10000, 0, nullptr), nullptr);
    EXPECT_EQ(R_KrnGlobalFree(R_KrnGlobalAlloc(10, 1)), 1);

    // A block of the plain heap carries no handle.
    auto* p = static_cast<uint8_t*>(R_LocalAllocInit(64, 1, 0, nullptr));
    EXPECT_EQ(WinGlobalHandle(p), nullptr);
    EXPECT_EQ(R_GlobalFree(p), 1);
    p[63] = 1;  // it stands
    void* pFresh = R_GlobalRealloc(p, 1000);
    ASSERT_TRUE(pFresh);
    EXPECT_EQ(WinGlobalSize(WinGlobalHandle(pFresh)), 66u);
    EXPECT_EQ(WinGlobalFlags(WinGlobalHandle(pFresh)), 1000u);
    R_GlobalFree(pFresh);
    // Nor does a word that happens to hold the address of one.
    uintptr_t words[4] = {};
    MEMHANDLE* h = WinGlobalAlloc(2, 10);
    words[1] = reinterpret_cast<uintptr_t>(h);
    EXPECT_EQ(WinGlobalHandle(words + 2), nullptr);
    EXPECT_EQ(WinGlobalFree(h), nullptr);
    R_LocalFree(p);
}

TEST(Alloc, Handles) {
    MEMHANDLE* h = WinGlobalAlloc(0x42, 100);
    ASSERT_TRUE(h);
    EXPECT_TRUE(allZero(WinGlobalLock(h), 100));
    EXPECT_EQ(h->nLocks, 0);
    EXPECT_EQ(WinGlobalUnlock(h), 1);
    EXPECT_EQ(WinGlobalReAlloc(h, 10, 0x80 | 0x40 | 2), h);
    EXPECT_EQ(WinGlobalSize(h), 100u);
    EXPECT_EQ(WinGlobalFlags(h), 2u);
    EXPECT_EQ(WinGlobalReAlloc(h, 10, 0x80), h);
    EXPECT_EQ(WinGlobalFlags(h), 0u);
    std::memset(WinGlobalLock(h), 0xA5, 100);
    h->nLocks = 1;  // a count, wherever it comes from, keeps grown bytes from being cleared, and is reset
    EXPECT_EQ(R_OsReallocHandle(h, 40, 0x40), h);
    EXPECT_EQ(h->nLocks, 0);
    EXPECT_EQ(R_OsReallocHandle(h, 100, 0x40), h);
    const auto* p = static_cast<const uint8_t*>(R_OsLockHandle(h));
    EXPECT_EQ(p[39], 0xA5);
    EXPECT_TRUE(allZero(p + 40, 60));
    EXPECT_EQ(R_OsFreeHandle(h), 0);

    h = WinGlobalReAlloc(nullptr, 0x42, 77);  // the crossed rule: 77 bytes, flags 0x42
    EXPECT_EQ(WinGlobalSize(h), 77u);
    EXPECT_EQ(WinGlobalFlags(h), 0x42u);
    EXPECT_TRUE(allZero(WinGlobalLock(h), 77));
    EXPECT_EQ(WinGlobalFree(h), nullptr);
    h = R_OsAllocHandleInit(0, 12, 0, nullptr);
    EXPECT_EQ(WinGlobalFlags(h), 66u);
    EXPECT_EQ(R_WinCloseHandle(h, 0, nullptr), 1);

    MEMHANDLE other{};
    other.uKind = 4;
    for (MEMHANDLE* hBad : {static_cast<MEMHANDLE*>(nullptr), kAllOnes, &other}) {
        EXPECT_EQ(WinGlobalLock(hBad), nullptr);
        EXPECT_EQ(WinGlobalSize(hBad), 0u);
        EXPECT_EQ(WinGlobalFlags(hBad), 32768u);
        EXPECT_EQ(WinGlobalFree(hBad), hBad);
        EXPECT_EQ(R_OsFreeHandle(hBad), 0);
    }
    for (MEMHANDLE* hBad : {kAllOnes, &other}) EXPECT_EQ(WinGlobalReAlloc(hBad, 10, 0), nullptr);
    EXPECT_EQ(WinGlobalHandle(nullptr), nullptr);
    EXPECT_EQ(R_ResourceAdd(&other), &other);
}

TEST(Alloc, ClosingByKind) {
    EXPECT_EQ(rv::closeHandle(kAllOnes), 0);
    EXPECT_EQ(rv::closeHandle(nullptr), 1);
    EXPECT_EQ(R_WinCloseHandle(kAllOnes, 0, nullptr), 1);

    EXPECT_EQ(R_CreateHandle(nullptr), nullptr);
    EXPECT_EQ(R_CreateHandle(kAllOnes), kAllOnes);
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    MEMHANDLE* h = R_CreateHandle(reinterpret_cast<void*>(intptr_t(fd)));
    ASSERT_TRUE(h);
    EXPECT_EQ(h->uKind, 9u);
    EXPECT_EQ(rv::closeHandle(h), 1);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);  // the system's handle is closed
    EXPECT_EQ(rv::closeHandle(R_CreateHandle(reinterpret_cast<void*>(intptr_t(fd)))), 0);  // closed already

    static uint32_t uClosed;
    uClosed = 0;
    rv::setCloseHandleEx([](RVHANDLE hOther) {
        uClosed = uClosed * 10 + hOther->uKind;
        R_LocalFree(hOther);
        return int32_t(5);
    });
    for (uint32_t uKind : {2u, 6u, 7u, 8u}) EXPECT_EQ(rv::closeHandle(rv::newHandle(uKind)), 5);
    EXPECT_EQ(uClosed, 2678u);
    rv::setCloseHandleEx(nullptr);
    EXPECT_EQ(rv::closeHandle(rv::newHandle(2)), 1);
}

TEST(Alloc, ShortMemoryLeavesThingsAsTheyWere) {
    const long nBlocks = faults::liveBlocks();
    for (int k = 0; k < 2; ++k) {
        faults::FailFromNthAllocation fail(k);
        EXPECT_EQ(R_GlobalAlloc(10, 10, 0, nullptr), nullptr) << k;
        fail.stop();
        EXPECT_TRUE(fail.fired());
        EXPECT_EQ(faults::liveBlocks(), nBlocks) << k;
    }
    MEMHANDLE* h = WinGlobalAlloc(66, 100);
    std::memset(WinGlobalLock(h), 0xA5, 100);
    {
        faults::FailFromNthAllocation fail(0);
        EXPECT_EQ(WinGlobalReAlloc(h, 1u << 20, 66), nullptr);
        EXPECT_EQ(R_CreateHandle(&h), nullptr);
    }
    EXPECT_EQ(WinGlobalSize(h), 100u);
    EXPECT_EQ(static_cast<uint8_t*>(WinGlobalLock(h))[99], 0xA5);
    EXPECT_EQ(WinGlobalFree(h), nullptr);
    EXPECT_EQ(faults::liveBlocks(), nBlocks);
}

TEST(Alloc, Primitives) {
    const char text[] = "Mixed CASE @[`{";
    EXPECT_EQ(R_MemoryChr(text, 'x', 2), nullptr);
    EXPECT_EQ(R_MemoryChr(text, 'x', 3), text + 2);
    EXPECT_EQ(R_MemoryChr(text, 'M', 0), nullptr);
    EXPECT_EQ(R_MemoryChr(nullptr, 'a', 0), nullptr);
    EXPECT_EQ(R_MemoryCompareI("mIXED case", text, 10), 0);
    EXPECT_LT(R_MemoryCompareI("a", "B", 1), 0);
    EXPECT_GT(R_MemoryCompareI("_", "B", 1) * R_MemoryCompareI("B", "_", 1) * -1, 0);  // antisymmetric
    EXPECT_LT(R_MemoryCompareI("Z", "{", 1), 0);
    EXPECT_NE(R_MemoryCompareI("@", "`", 1), 0);     // neighbours of the letters are no letters
    EXPECT_GT(R_MemoryCompareI("\xC0", "z", 1), 0);  // bytes are unsigned
    char got[16];
    EXPECT_EQ(R_MemorySet(got, 0x141, sizeof got), got);
    EXPECT_EQ(R_MemoryCopy(got, text, 5), got);
    EXPECT_EQ(R_MemoryMove(got + 1, got, 5), got + 1);
    EXPECT_EQ(R_MemoryCompare(got, "MMixedAAAAAAAAAA", 16), 0);
}

}  // namespace
