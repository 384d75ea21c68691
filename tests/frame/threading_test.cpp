#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include "internal/rvsystem_.h"
#include "internal/threadpool.h"
#include "ravokit/objects.h"
#include "ravokit/threading.h"
#include "support/faults.h"

namespace {

using namespace std::chrono_literals;

bool isMultiCore() { return RVThreadToolsManaged::GetCoreCount() > 1; }

template <class Body>
void inThreads(int nThreads, Body body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < nThreads; ++i) threads.emplace_back(body);
    for (std::thread& t : threads) t.join();
}

TEST(ThreadEvent, SignalsAreTakenOrStay) {
    RVWaitEvent event;
    EXPECT_EQ(event.IsCreated(), 0);
    EXPECT_EQ(event.WaitOne(RV_WAIT_FOREVER), 1);
    EXPECT_EQ(event.Set(), 0);
    EXPECT_EQ(event.Reset(), 0);

    ASSERT_EQ(event.Create(0, 1), 1);
    EXPECT_EQ(event.WaitOne(0), 1);
    EXPECT_EQ(event.WaitOne(1), -100);
    EXPECT_EQ(event.Set(), 1);
    EXPECT_EQ(event.Reset(), 1);
    EXPECT_EQ(event.WaitOne(0), -100);

    RVWaitEvent copy(event), assigned;
    ASSERT_EQ(assigned.Create(1, 1), 1);
    assigned = copy;
    assigned = *&assigned;
    event.Destroy();
    EXPECT_EQ(event.IsCreated(), 0);
    std::thread([&] { copy.Set(); }).join();
    EXPECT_EQ(assigned.WaitOne(0), 1);  // shared, and it outlives the first

    ASSERT_EQ(event.Create(1, 0), 1);
    ASSERT_EQ(event.Create(1, 1), 1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(event.WaitOne(0), 1);
    {
        const long nBlocks = faults::liveBlocks();
        faults::FailFromNthAllocation fail(0);
        EXPECT_EQ(event.Create(0, 0), -1);
        fail.stop();
        EXPECT_EQ(event.IsCreated(), 0);
        EXPECT_LT(faults::liveBlocks(), nBlocks);
    }
}

TEST(ThreadLock, WritersExcludeAllAndReadersShare) {
    RVReaderWriterLock lock;
    ASSERT_EQ(lock.Create(), 1);
    ASSERT_EQ(lock.Create(), 1);
    int64_t nFirst = 0, nSecond = 0;  // equal outside of the writers' side
    std::atomic<int> nTorn{0};
    inThreads(4, [&] {
        for (int i = 0; i < 500; ++i) {
            if (i % 3 == 0) {
                const auto guard = lock.AcquireReaderLock();
                nTorn += nFirst != nSecond;
            } else if (i % 3 == 1) {
                const auto guard = lock.AcquireWriterLock();
                ++nFirst;
                ++nSecond;
            } else {
                lock.Lock();
                ++nFirst;
                ++nSecond;
                lock.Unlock();
            }
        }
    });
    EXPECT_EQ(nTorn, 0);
    EXPECT_EQ(nFirst, 4 * 333);

    std::latch both(2);
    inThreads(2, [&] {
        const auto guard = lock.AcquireReaderLock();
        both.arrive_and_wait();  // hangs if one reader keeps the other out
    });
}

TEST(ThreadLock, ReadersThatKeepComingDontStarveAWriter) {
    RVReaderWriterLock lock;
    ASSERT_EQ(lock.Create(), 1);
    std::atomic<int> nReaders{0};
    std::atomic<bool> bWritten{false};
    // A reader leaves only once another one is in, so that the lock is never free of them until the writer waits.
    const auto read = [&] {
        for (const auto end = std::chrono::steady_clock::now() + 20s; !bWritten;) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "the writer starves";
            const auto guard = lock.AcquireReaderLock();
            ++nReaders;
            for (const auto tick = std::chrono::steady_clock::now() + 5ms;
                 nReaders < 2 && !bWritten && std::chrono::steady_clock::now() < tick;)
                std::this_thread::yield();
            std::this_thread::sleep_for(100us);
            --nReaders;
        }
    };
    std::thread first(read), second(read), third(read);
    std::this_thread::sleep_for(10ms);
    {
        const auto guard = lock.AcquireWriterLock();
        EXPECT_EQ(nReaders, 0);
        bWritten = true;
    }
    for (std::thread* t : {&first, &second, &third}) t->join();
}

TEST(ThreadLock, GuardsWithoutALockHoldNothing) {
    RVReaderWriterLock lock;
    {
        const auto none = lock.AcquireWriterLock();  // not created
        ASSERT_EQ(lock.Create(), 1);
        const auto reader = lock.AcquireReaderLock(0), writer = lock.AcquireWriterLock(0);
        lock.Lock();  // free, although three guards live
        lock.Unlock();
        std::thread([&] { const auto guard = lock.AcquireWriterLock(1); }).join();
    }
    lock.Lock();  // nothing was released that wasn't held
    std::atomic<bool> bIn{false};
    std::thread other([&] {
        const auto guard = lock.AcquireReaderLock();
        bIn = true;
    });
    std::this_thread::sleep_for(10ms);
    EXPECT_FALSE(bIn);
    lock.Unlock();
    other.join();
    lock.Destroy();
    EXPECT_EQ(lock.IsCreated(), 0);
    lock.Lock();
    lock.Unlock();
}

TEST(ThreadTools, CountersAreAtomicAndThreadsRun) {
    int32_t n = INT32_MAX;
    EXPECT_EQ(RVThreadToolsUnmanaged::RVInterlockedIncrement(&n), INT32_MIN);
    EXPECT_EQ(RVThreadToolsUnmanaged::RVInterlockedDecrement(&n), INT32_MAX);
    n = 0;
    inThreads(4, [&n] {
        for (int i = 0; i < 3000; ++i)
            i % 3 ? RVThreadToolsUnmanaged::RVInterlockedIncrement(&n)
                  : RVThreadToolsUnmanaged::RVInterlockedDecrement(&n);
    });
    EXPECT_EQ(n, 4000);

    struct Record : RAVOTHREADDATA {
        std::thread::id id;
    } record{};
    EXPECT_EQ(R_RavoThreadCreateAndRun(nullptr), -13);
    EXPECT_EQ(R_RavoThreadCreateAndRun(&record), -13);
    record.pfnThread = [](void* p) -> uint32_t {
        static_cast<Record*>(static_cast<RAVOTHREADDATA*>(p))->id = std::this_thread::get_id();
        return 0;
    };
    ASSERT_EQ(R_RavoThreadCreateAndRun(&record), 1);
    auto& thread = *static_cast<rv::SysObject*>(R_ExtractHandle(record.hThread));
    EXPECT_EQ(rv::sysWait(thread, rv::kSysForever), rv::SysWait::kSignalled);
    EXPECT_NE(record.id, std::thread::id{});
    EXPECT_NE(record.id, std::this_thread::get_id());
    EXPECT_EQ(CloseHandle(record.hThread), 1);
}

// ---- pool --------------------------------------------------------------------------------------------------------

int32_t addOne(void* p) {
    ++*static_cast<std::atomic<int>*>(p);
    return 1;
}

TEST(ThreadPool, RunsEachItemOnceBeforeItIsFinished) {
    EXPECT_EQ(RVThreadPool::QueueUserWorkItem(nullptr, nullptr, 0), -13);
    for (int nRound = 0; nRound < 3; ++nRound) {  // it starts anew after its end
        std::vector<std::atomic<int>> ran(4000);
        inThreads(4, [&, nNext = std::make_shared<std::atomic<size_t>>(0)] {
            for (size_t i; (i = (*nNext)++) < ran.size();)
                EXPECT_EQ(RVThreadPool::QueueUserWorkItem(addOne, &ran[i], 0), 1);
        });
        rv::finishThreadPool(false);
        for (size_t i = 0; i < ran.size(); ++i) ASSERT_EQ(ran[i], 1) << i;
    }
}

// More items than run at once, each of which waits for all the others.
TEST(ThreadPool, ItemsMayWaitForLaterOnes) {
    const int n = std::max(RVThreadToolsManaged::GetCoreCount(), 4) + 2;
    if (n > 100) GTEST_SKIP() << "the pool is bounded";
    std::latch all(n);
    const auto wait = [](void* p) -> int32_t {
        static_cast<std::latch*>(p)->arrive_and_wait();
        return 1;
    };
    for (int i = 0; i < n; ++i) ASSERT_EQ(RVThreadPool::QueueUserWorkItem(wait, &all, 0), 1);
    all.wait();
    rv::finishThreadPool(false);
}

// An item that queues itself again for ever would keep the process from ending.
TEST(ThreadPool, RefusesItemsWhileItIsFinished) {
    struct Again {
        std::atomic<int> nStatus{1};
        static int32_t run(void* p) {
            auto& self = *static_cast<Again*>(p);
            std::this_thread::sleep_for(1ms);
            self.nStatus = RVThreadPool::QueueUserWorkItem(run, p, 0);
            return 1;
        }
    } again;
    ASSERT_EQ(RVThreadPool::QueueUserWorkItem(Again::run, &again, 0), 1);
    std::this_thread::sleep_for(5ms);
    rv::finishThreadPool(false);
    EXPECT_EQ(again.nStatus, -1);
}

// The copy has neither the workers nor the items, and ends all the same.
TEST(ThreadPool, ACopiedProcessHasAPoolOfItsOwn) {
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    constexpr int kItems = 0;  // a copy may wait for ever for locks of theirs that other threads had
#else
    constexpr int kItems = 10;
#endif
    std::atomic<int> nRan{0};
    std::latch hold(1);
    const auto wait = [](void* p) -> int32_t {
        static_cast<std::latch*>(p)->wait();
        return 1;
    };
    for (int i = 0; i < 200; ++i) ASSERT_EQ(RVThreadPool::QueueUserWorkItem(wait, &hold, 0), 1);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(20);
        for (int i = 0; i < kItems; ++i)
            if (RVThreadPool::QueueUserWorkItem(addOne, &nRan, 0) != 1) _exit(2);
        rv::finishThreadPool(true);
        if (RVThreadPool::QueueUserWorkItem(addOne, &nRan, 0) != -1) _exit(3);
        if (nRan != kItems) _exit(4);
        _exit(0);
    }
    int nStatus = -1;
    ASSERT_EQ(waitpid(child, &nStatus, 0), child);
    EXPECT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 0);
    hold.count_down();
    rv::finishThreadPool(false);
}

// The code of a library that still has work may not go before the work is done, and then it goes.
TEST(ThreadPool, UnloadingTheLibraryRunsWhatIsQueued) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer calls functions of atexit after their library has gone";
#endif
    using Queue = int32_t (*)(PFNPOOLWORK, void*, uint32_t);
    for (int nRound = 0; nRound < 3; ++nRound) {
        void* const library = dlopen(RAVOKIT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        const auto queue = Queue(dlsym(library, "_ZN12RVThreadPool17QueueUserWorkItemEPFiPvES0_j"));
        static uintptr_t (*getValue)(uint32_t);
        getValue = reinterpret_cast<uintptr_t (*)(uint32_t)>(dlsym(library, "R_TlsGetValue"));
        ASSERT_TRUE(queue && getValue);
        std::atomic<int> nRan{0};
        const auto item = [](void* p) -> int32_t {
            std::this_thread::sleep_for(1ms);
            getValue(0);  // what belongs to the thread is to be had while the library goes
            return addOne(p);
        };
        for (int i = 0; i < 100; ++i) ASSERT_EQ(queue(item, &nRan, 0), 1);
        EXPECT_EQ(dlclose(library), 0);
        EXPECT_EQ(nRan, 100);
        EXPECT_EQ(dlopen(RAVOKIT_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
    }
}

// ---- work items --------------------------------------------------------------------------------------------------

int32_t countItem(RVWorkItems*, void* p) { return addOne(p); }

TEST(ThreadWorkItems, WaitEndsWhenAllHaveRun) {
    RVWorkItems items;
    EXPECT_EQ(items.QueueItem(nullptr, nullptr), -13);
    items.Wait();
    for (const uint32_t uFlags : {0u, WORK_LOCK | 0u, WORK_LOCK_CANCEL | WORK_STATUS | 0u, WORK_NO_THREADS | 0u}) {
        for (int nRound = 0; nRound < 20; ++nRound) {  // made anew each time
            std::vector<int> ran(100);                 // plain: what items write is there after the wait
            ASSERT_EQ(items.Create(100, uFlags, 0), 1);
            EXPECT_EQ(items.IsThreaded(), isMultiCore() && !(uFlags & WORK_NO_THREADS));
            EXPECT_EQ(items.GetLock().IsCreated(), items.IsThreaded() && (uFlags & 7));
            for (int& n : ran)
                ASSERT_EQ(items.QueueItem([](RVWorkItems*, void* p) -> int32_t { return ++*static_cast<int*>(p); }, &n),
                          1);
            items.Wait();
            ASSERT_EQ(ran, std::vector<int>(100, 1)) << uFlags;
        }
    }
    items.Destroy();
    EXPECT_EQ(items.IsCreated(), 0);
    EXPECT_EQ(items.IsThreaded(), 0);
}

TEST(ThreadWorkItems, ResultsBecomeTheStatusWhereTheyAreAskedFor) {
    const auto fail = [](RVWorkItems*, void*) -> int32_t { return -9; };
    RVWorkItems items;
    for (const uint32_t uFlags : {0u, WORK_LOCK | 0u, WORK_STATUS | 0u}) {
        ASSERT_EQ(items.Create(1, uFlags, 0), 1);
        EXPECT_EQ(items.GetStatus(), 1);
        ASSERT_EQ(items.QueueItem(fail, nullptr), 1);
        items.Wait();
        EXPECT_EQ(items.GetStatus(), uFlags & WORK_STATUS || !isMultiCore() ? -9 : 1) << uFlags;
    }
    ASSERT_EQ(items.Create(1, WORK_NO_THREADS, 0), 1);
    const auto here = std::this_thread::get_id();
    std::thread::id id;
    ASSERT_EQ(items.QueueItem(
                  [](RVWorkItems* pItems, void* p) -> int32_t {
                      *static_cast<std::thread::id*>(p) = std::this_thread::get_id();
                      return pItems->IsThreaded() ? 1 : -100;
                  },
                  &id),
              1);
    EXPECT_EQ(id, here);
    EXPECT_EQ(items.GetStatus(), -100);
    EXPECT_EQ(items.IsCanceled(), 0);  // a result cancels on a worker only
    items.SetStatus(5);
    EXPECT_EQ(items.GetStatus(), 5);
    items.Destroy();
    EXPECT_EQ(items.GetStatus(), 1);
}

TEST(ThreadWorkItems, CanceledItemsDontRunButCount) {
    if (!isMultiCore()) GTEST_SKIP() << "one core";
    struct Shared {
        std::latch hold{1};
        std::atomic<int> nRan{0};
    };
    const auto cancel = [](RVWorkItems*, void* p) -> int32_t {
        auto& shared = *static_cast<Shared*>(p);
        shared.hold.wait();
        ++shared.nRan;
        return -100;
    };
    for (const uint32_t uFlags : {0u, WORK_LOCK_CANCEL | 0u}) {
        Shared shared;
        RVWorkItems items;
        ASSERT_EQ(items.Create(300, uFlags, 0), 1);
        for (int i = 0; i < 290; ++i) ASSERT_EQ(items.QueueItem(cancel, &shared), 1);
        shared.hold.count_down();
        while (!items.IsCanceled()) std::this_thread::yield();
        for (int i = 0; i < 10; ++i) EXPECT_EQ(items.QueueItem(countItem, &shared.nRan), 1);
        items.Wait();
        EXPECT_GE(shared.nRan, 1);
        EXPECT_LT(shared.nRan, 290);  // those that were under way at the time
        ASSERT_EQ(items.Create(1, uFlags, 0), 1);
        EXPECT_EQ(items.IsCanceled(), 0);
        items.Cancel();
        const int nBefore = shared.nRan;
        EXPECT_EQ(items.QueueItem(countItem, &shared.nRan), 1);
        items.Wait();
        EXPECT_EQ(shared.nRan, nBefore);
    }
}

TEST(ThreadWorkItems, UncountedItemsAreFinishedByHand) {
    if (!isMultiCore()) GTEST_SKIP() << "one core";
    std::atomic<int> nRan{0};
    RVWorkItems items;
    ASSERT_EQ(items.Create(0, WORK_LOCK, 0), 1);
    for (int i = 0; i < 50; ++i) ASSERT_EQ(items.QueueItem(countItem, &nRan), 1);
    std::thread waiter([&] { items.Wait(); });
    rv::finishThreadPool(false);
    EXPECT_EQ(nRan, 50);
    items.Finish();  // hangs if this doesn't let the waiter go
    waiter.join();

    ASSERT_EQ(items.Create(1, WORK_LOCK, 0), 1);
    {
        for (int n = 0, bDone = 0; !bDone; ++n) {
            const int nBefore = nRan;
            faults::FailFromNthAllocation fail(n);
            const int32_t nStatus = items.QueueItem(countItem, &nRan);
            fail.stop();
            bDone = !fail.fired();
            ASSERT_EQ(nStatus, bDone || nStatus == 1 ? 1 : -1);
            ASSERT_TRUE(nStatus == 1 || nRan == nBefore);
        }
        items.Wait();
        rv::finishThreadPool(false);
        RVWorkItems other;
        faults::FailFromNthAllocation fail(0);
        EXPECT_EQ(other.Create(1, WORK_LOCK, 0), -1);
        fail.stop();
        EXPECT_EQ(other.IsCreated(), 0);
    }
}

}  // namespace
