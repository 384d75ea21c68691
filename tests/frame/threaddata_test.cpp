#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "internal/threaddata.h"
#include "support/faults.h"

namespace {

using rv::FallbackThreadData;
using rv::threadData;

void onNewThread(void (*pfn)()) { std::thread(pfn).join(); }

TEST(ThreadData, StartsFromTheDefaultsAndInheritsNothing) {
    const int32_t nOld = R_SetDefaultXResolution(300);
    R_SetStatusCallBack([](int32_t, void*) { return 1; }, nullptr, nullptr, nullptr);
    onNewThread([] {
        EXPECT_EQ(R_GetDefaultXResolution(), 150);
        EXPECT_EQ(R_GetDefaultYResolution(), 150);
        EXPECT_EQ(R_GetDefaultDithering(), 7u);
        uint32_t nType = 0;
        EXPECT_EQ(R_GetDefaultMemoryType(&nType), 1);
        EXPECT_EQ(nType, 1u);
        EXPECT_EQ(R_GetStatusCallBack(nullptr), nullptr);
        const rv::THREADDATA& td = threadData();
        EXPECT_EQ(td.nMaxConventionalSize, 0x7FFFFFFF);
        EXPECT_EQ(td.nReservedMemory, 0);
        EXPECT_EQ(td.nTileSize, 0);
        EXPECT_EQ(td.nConventionalTiles, -100);
        EXPECT_EQ(td.nMaxTileViews, 1);
        EXPECT_EQ(td.TempOptions1.uStructSize, sizeof(void*) == 4 ? 64u : sizeof td.TempOptions1);
        EXPECT_EQ(td.TempOptions2.uStructSize, sizeof td.TempOptions2);
        R_SetDefaultXResolution(72);
    });
    EXPECT_EQ(R_GetDefaultXResolution(), 300);
    R_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    R_SetDefaultXResolution(nOld);
}

TEST(ThreadData, ThreadsComeAndGoAtOnce) {
    std::vector<std::thread> threads;
    for (int32_t i = 0; i < 8; ++i)
        threads.emplace_back([i] {
            if (i == 0) return;  // a thread that never touches the library
            for (int32_t n = 0; n < 200; ++n) {
                R_SetDefaultXResolution(i * 1000 + n);
                ASSERT_EQ(R_GetDefaultXResolution(), i * 1000 + n);
            }
        });
    for (std::thread& t : threads) t.join();
}

// Refused memory leads to the shared record, without a leak; the first call that gets memory leads to a record of its
// own.
TEST(ThreadData, ThreadWithoutMemorySharesTheFallback) {
    const uint32_t uIndex = R_TlsAlloc();
    ASSERT_NE(uIndex, UINT32_MAX);
    bool bRefused = true;
    for (int k = 0; bRefused && k < 8; ++k) {
        std::thread([&] {
            const long nBlocks = faults::liveBlocks();
            faults::FailFromNthAllocation fail(k);
            const int32_t nMade = R_AllocThreadData(0), nDefault = R_GetDefaultYResolution();
            const int32_t nOld = R_SetDefaultXResolution(42), nNew = R_GetDefaultXResolution();
            const int32_t nSet = R_TlsSetValue(uIndex, 7);
            const uintptr_t uValue = R_TlsGetValue(uIndex);
            fail.stop();
            EXPECT_EQ(nSet, 1);
            EXPECT_EQ(uValue, 7u);
            EXPECT_EQ(nNew, 42);
            bRefused = fail.fired();
            if (!bRefused) {
                EXPECT_EQ(nMade, 1);
                EXPECT_EQ(nDefault, 150);
                return;
            }
            EXPECT_EQ(nMade, 0) << k;
            EXPECT_EQ(nDefault, 0) << k;
            EXPECT_EQ(nOld, 0) << k;
            EXPECT_EQ(FallbackThreadData.nDefaultXResolution, 42) << k;
            EXPECT_EQ(faults::liveBlocks(), nBlocks) << k;
            onNewThread([] { EXPECT_EQ(R_GetDefaultXResolution(), 150); });

            EXPECT_EQ(R_GetDefaultXResolution(), 150) << k;
            EXPECT_EQ(R_TlsGetValue(uIndex), 0u) << k;
            FallbackThreadData.nDefaultXResolution = 0;
            FallbackThreadData.pTlsValues[uIndex] = 0;
        }).join();
        EXPECT_TRUE(bRefused || k >= 2) << "record and values are two allocations";
    }
    EXPECT_FALSE(bRefused);
    EXPECT_EQ(R_TlsFree(uIndex), 1);
}

}  // namespace
