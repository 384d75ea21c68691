#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "internal/library.h"
#include "internal/rvclasses_.h"
#include "ravokit/frame.h"
#include "support/faults.h"

namespace {

constexpr uintptr_t kKey = 0x1234;
std::string g_ran;

void note(void* pText, void*) { g_ran += static_cast<const char*>(pText); }
void noteBoth(void* pText, void* pMore) {
    note(pText, nullptr);
    note(pMore, nullptr);
}

void add(uintptr_t uKey, CLEANUPFUNCTION pfn, const char* pText, const char* pMore = nullptr) {
    ASSERT_EQ(R_RegisterCleanupFunction(uKey, pfn, const_cast<char*>(pText), const_cast<char*>(pMore)), 1);
}

std::string pass() {
    g_ran.clear();
    rv::runCleanupPass();
    return g_ran;
}

TEST(Cleanup, PassRunsTheNewestFirstAndOnce) {
    pass();
    EXPECT_EQ(pass(), "");
    static const char kDigits[] = "0\0001\0002\0003\0004\0005\0006\0007\0008\0009\0a\0b\0";
    for (int i = 0; i < 12; ++i) add(kKey, note, kDigits + 2 * i);  // past two growths of five
    add(kKey, nullptr, "never");
    add(kKey, noteBoth, "x", "y");
    EXPECT_EQ(pass(), "xyba9876543210");
    EXPECT_EQ(pass(), "");
}

TEST(Cleanup, FunctionMayRegisterAndRemove) {
    pass();
    add(kKey, note, "1");
    add(
        kKey,
        [](void* pText, void*) {
            note(pText, nullptr);
            R_UnregisterCleanupFunction(kKey, nullptr, nullptr, nullptr, 1);  // this round is no longer listed
            add(kKey + 1, note, "[later]");
        },
        "2");
    add(kKey, note, "3");
    EXPECT_EQ(pass(), "321[later]");
}

TEST(Cleanup, UnregisterTakesEveryMatch) {
    static const char *a = "a", *b = "b", *c = "c";
    const auto fill = [] {
        pass();
        for (const char* p : {a, b, a, c}) add(kKey, note, p);
        add(kKey + 1, note, a);
        add(kKey, noteBoth, a, "+");
        g_ran.clear();
    };
    void* const pA = const_cast<char*>(a);
    fill();
    R_UnregisterCleanupFunction(kKey, note, pA, nullptr, 0);
    EXPECT_EQ(g_ran, "");
    EXPECT_EQ(pass(), "a+acb");
    fill();
    R_UnregisterCleanupFunction(kKey, note, pA, nullptr, 1);
    EXPECT_EQ(g_ran, "aa");
    EXPECT_EQ(pass(), "a+acb");
    fill();
    R_UnregisterCleanupFunction(kKey, nullptr, const_cast<char*>(b), nullptr, 1);  // no function: all of the key
    EXPECT_EQ(g_ran, "a+caba");
    EXPECT_EQ(pass(), "a");
    fill();
    R_UnregisterCleanupFunction(kKey + 2, nullptr, nullptr, nullptr, 1);
    EXPECT_EQ(pass(), "a+acaba");
    R_UnregisterCleanupFunction(kKey, nullptr, nullptr, nullptr, 1);  // no registry at all
    EXPECT_EQ(g_ran, "a+acaba");
}

// A called function changes the registry under the scan: nothing is lost, nothing runs twice, and the scan ends.
TEST(Cleanup, CalledFunctionMayChangeTheRegistry) {
    pass();
    add(kKey, note, "1");
    add(kKey + 1, note, "2");
    add(kKey, note, "3");
    add(
        kKey,
        [](void* pText, void*) {
            note(pText, nullptr);
            R_UnregisterCleanupFunction(kKey + 1, nullptr, nullptr, nullptr, 1);
            for (int i = 0; i < 4; ++i) add(kKey + 2, note, "n");
            R_UnregisterCleanupFunction(kKey, note, const_cast<char*>("no such"), nullptr, 1);
        },
        "4");
    g_ran.clear();
    R_UnregisterCleanupFunction(kKey, nullptr, nullptr, nullptr, 1);
    EXPECT_EQ(g_ran, "4231");
    EXPECT_EQ(pass(), "nnnn");

    add(kKey, note, "1");
    add(
        kKey,
        [](void* pText, void*) {
            note(pText, nullptr);
            add(kKey, note, "new");
        },
        "2");
    g_ran.clear();
    R_UnregisterCleanupFunction(kKey, nullptr, nullptr, nullptr, 1);
    EXPECT_EQ(g_ran, "21");  // what came meanwhile is not among the matches
    EXPECT_EQ(pass(), "new");
}

TEST(Cleanup, RegistrationWithoutMemoryChangesNothing) {
    pass();
    for (int k = 0; k < 2; ++k) {  // the registry, then its array
        faults::FailFromNthAllocation fail(k);
        EXPECT_EQ(R_RegisterCleanupFunction(kKey, note, const_cast<char*>("x"), nullptr), 0) << k;
    }
    EXPECT_EQ(pass(), "");
    for (int i = 0; i < 5; ++i) add(kKey, note, "x");
    {
        faults::FailFromNthAllocation fail(0);
        EXPECT_EQ(R_RegisterCleanupFunction(kKey, note, const_cast<char*>("y"), nullptr), 0);
    }
    EXPECT_EQ(pass(), "xxxxx");
}

TEST(Cleanup, RegistryServesThreads) {
    pass();
    static std::atomic<int> nRan;
    nRan = 0;
    const auto count = [](void*, void*) { ++nRan; };
    std::vector<std::thread> threads;
    for (uintptr_t i = 0; i < 4; ++i)
        threads.emplace_back([=] {
            for (uintptr_t n = 0; n < 50; ++n) {
                R_RegisterCleanupFunction(kKey + i, count, reinterpret_cast<void*>(n), nullptr);
                if (n % 2) R_UnregisterCleanupFunction(kKey + i, count, reinterpret_cast<void*>(n), nullptr, 1);
            }
        });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(nRan, 4 * 25);
    pass();
    EXPECT_EQ(nRan, 4 * 50);
}

TEST(Cleanup, LazyLockIsMadeOnceByThreadsAndDiesWithThePass) {
    static rv::LazyLock lock;
    static int nShared;
    for (int nRound = 1; nRound <= 2; ++nRound) {  // after the pass it is made anew
        EXPECT_FALSE(lock.isReady()) << nRound;
        nShared = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([] {
                for (int n = 0; n < 1000; ++n) {
                    const std::scoped_lock outer(lock);
                    const std::scoped_lock inner(lock);  // recursive, as a critical section is
                    ++nShared;
                }
            });
        for (std::thread& t : threads) t.join();
        EXPECT_EQ(nShared, 4000) << nRound;
        EXPECT_TRUE(lock.isReady()) << nRound;
        rv::runCleanupPass();
    }
    EXPECT_FALSE(lock.isReady());
}

TEST(CleanupDeathTest, RunsAtExitBeforeStaticObjectsOfBefore) {
    EXPECT_EXIT(
        {
            rv::runCleanupPass();
            std::atexit([] { std::fputs("older", stderr); });
            R_RegisterCleanupFunction(
                kKey, [](void*, void*) { std::fputs("cleaned ", stderr); }, nullptr, nullptr);
            std::exit(3);
        },
        testing::ExitedWithCode(3), "^cleaned older$");
}

TEST(Library, IsStarted) {
    EXPECT_EQ(rv::libraryLoadCount(), 1);
    EXPECT_NE(rv::libraryModule(), nullptr);
}

}  // namespace
