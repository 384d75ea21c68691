#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "ravokit/frame.h"

namespace {

TEST(Tls, ValuesBelongToThreads) {
    const uint32_t uIndex = R_TlsAlloc();
    ASSERT_LT(uIndex, uint32_t(TLS_SLOTS));
    const uintptr_t uWide = UINTPTR_MAX - 5;
    EXPECT_EQ(R_TlsGetValue(uIndex), 0u);
    EXPECT_EQ(R_TlsSetValue(uIndex, uWide), 1);
    std::thread([uIndex] {
        EXPECT_EQ(R_TlsGetValue(uIndex), 0u);
        EXPECT_EQ(R_TlsSetValue(uIndex, 3), 1);
        EXPECT_EQ(R_TlsGetValue(uIndex), 3u);
    }).join();
    EXPECT_EQ(R_TlsGetValue(uIndex), uWide);

    EXPECT_EQ(R_TlsFree(uIndex), 1);
    EXPECT_EQ(R_TlsFree(uIndex), 0);
    EXPECT_EQ(R_TlsSetValue(uIndex, 1), 0);  // it was the highest, so the count has fallen
    ASSERT_EQ(R_TlsAlloc(), uIndex);
    EXPECT_EQ(R_TlsGetValue(uIndex), 0u);
    EXPECT_EQ(R_TlsFree(uIndex), 1);

    EXPECT_EQ(R_TlsFree(TLS_SLOTS), 0);
    EXPECT_EQ(R_TlsFree(UINT32_MAX), 0);
    EXPECT_EQ(R_TlsGetValue(TLS_SLOTS), 0u);
    EXPECT_EQ(R_TlsSetValue(UINT32_MAX, 1), 0);
}

// Freeing clears the value of the thread that frees; what another one left is there again once the slot is handed out.
TEST(Tls, ReusedSlotKeepsWhatAnotherThreadLeft) {
    const uint32_t uIndex = R_TlsAlloc();
    ASSERT_EQ(R_TlsSetValue(uIndex, 77), 1);
    std::thread([uIndex] {
        EXPECT_EQ(R_TlsSetValue(uIndex, 5), 1);
        EXPECT_EQ(R_TlsFree(uIndex), 1);
        EXPECT_EQ(R_TlsAlloc(), uIndex);  // it was the highest
        EXPECT_EQ(R_TlsGetValue(uIndex), 0u);
    }).join();
    EXPECT_EQ(R_TlsGetValue(uIndex), 77u);
    EXPECT_EQ(R_TlsFree(uIndex), 1);
}

TEST(Tls, SlotsAreReusedOnlyAfterTheTableHasFilledOnce) {
    std::vector<uint32_t> slots;
    const uint32_t uFirst = R_TlsAlloc();
    ASSERT_NE(uFirst, UINT32_MAX);
    slots.push_back(uFirst);
    slots.push_back(R_TlsAlloc());
    slots.push_back(R_TlsAlloc());
    EXPECT_EQ(slots[2], uFirst + 2);
    EXPECT_EQ(R_TlsFree(slots[1]), 1);
    for (uint32_t u; (u = R_TlsAlloc()) != slots[1];) {
        ASSERT_NE(u, UINT32_MAX) << "the freed slot never came back";
        slots.push_back(u);
        ASSERT_EQ(u, uFirst + uint32_t(slots.size()) - 1) << "in order until the table is full";
    }
    EXPECT_EQ(slots.back(), TLS_SLOTS - 1u);
    EXPECT_EQ(R_TlsAlloc(), UINT32_MAX);

    // The highest slot: the count falls, and that slot comes first, before a lower one that is free.
    EXPECT_EQ(R_TlsFree(slots[0]), 1);
    EXPECT_EQ(R_TlsFree(TLS_SLOTS - 1), 1);
    EXPECT_EQ(R_TlsAlloc(), TLS_SLOTS - 1u);
    EXPECT_EQ(R_TlsAlloc(), slots[0]);
    EXPECT_EQ(R_TlsAlloc(), UINT32_MAX);

    for (uint32_t u = TLS_SLOTS; u-- > uFirst;) EXPECT_EQ(R_TlsFree(u), 1) << u;
    EXPECT_EQ(R_TlsAlloc(), uFirst);
    EXPECT_EQ(R_TlsFree(uFirst), 1);
}

TEST(Tls, NoSlotGoesToTwoThreads) {
    std::vector<std::thread> threads;
    std::atomic<int> owners[TLS_SLOTS] = {};
    std::atomic<int> nClashes{0};
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 300; ++n) {
                const uint32_t u = R_TlsAlloc();
                if (u >= TLS_SLOTS || owners[u].fetch_add(1) != 0) {
                    ++nClashes;
                    return;
                }
                R_TlsSetValue(u, uintptr_t(n));
                if (R_TlsGetValue(u) != uintptr_t(n)) ++nClashes;
                owners[u].fetch_sub(1);
                if (R_TlsFree(u) != 1) ++nClashes;
            }
        });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(nClashes, 0);
}

}  // namespace
