// The pool of worker threads: one queue, workers that are started as they are wanted, and an end that leaves none
// behind.
//
// The number of items that run at once has a limit, which follows the cores. Items that wait for others could fill it
// for ever, so an idle worker watches a queue that stands still at the limit, and raises it; the limit falls back once
// the queue is empty. Workers are kept until the pool is finished, and the limit keeps too many of them from running.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#include "internal/rvsystem_.h"
#include "internal/threadpool.h"
#include "ravokit/threading.h"

namespace rv {
namespace {

using Clock = std::chrono::steady_clock;
using Lock = std::unique_lock<std::mutex>;

constexpr uint32_t kLeast = 4;  // run at once, however few the cores
constexpr uint32_t kMost = 128;
constexpr std::chrono::milliseconds kStandstill{250};

struct Item {
    PFNPOOLWORK pfnWork;
    void* pContext;
    Item* pNext;
};

class Pool {
    struct Worker {
        SysObject* pThread = nullptr;
        std::thread::id id;  // told by the worker itself, before it runs items
    };

    std::mutex m_mutex;
    std::condition_variable m_wanted;  // an item, or the end of the workers
    std::condition_variable m_finished;
    Item* m_pFirst = nullptr;
    Item* m_pLast = nullptr;
    Clock::time_point m_moved;  // when the queue last moved on: it began, or an item of it was started
    uint32_t m_nLimit, m_nRunning = 0, m_nIdle = 0;
    uint32_t m_nWorkers = 0;
    Worker m_workers[kMost];
    bool m_bWatched = false;  // by an idle worker
    bool m_bOnExit = false;   // the end of the process is asked to finish the pool
    bool m_bOnFork = false;   // a copy of the process is asked to restart it
    bool m_bFinishing = false, m_bEnded = false;

    static uint32_t leastLimit() noexcept {
        return std::clamp(uint32_t(RVThreadToolsManaged::GetCoreCount()), kLeast, kMost);
    }
    Worker* self() noexcept {
        const auto id = std::this_thread::get_id();
        Worker* const pEnd = m_workers + m_nWorkers;
        Worker* const p = std::find_if(m_workers, pEnd, [id](const Worker& w) { return w.id == id; });
        return p == pEnd ? nullptr : p;
    }
    bool startWorker() noexcept;
    void provide() noexcept;
    void runFirst(Lock& lock) noexcept;
    void watch(Lock& lock) noexcept;
    void work(Worker& worker) noexcept;

public:
    Pool() noexcept : m_nLimit(leastLimit()) {}
    int32_t queue(PFNPOOLWORK pfnWork, void* pContext) noexcept;
    void finish(bool bForGood) noexcept;

    void beforeFork() noexcept { m_mutex.lock(); }
    void afterFork() noexcept { m_mutex.unlock(); }
    void restart() noexcept;  // while the lock is held
};

// Never destroyed: the end of the library asks it to finish, whatever went before.
alignas(Pool) unsigned char g_storage[sizeof(Pool)];

Pool& pool() noexcept {
    static Pool* const p = new (g_storage) Pool;
    return *p;
}

bool Pool::startWorker() noexcept {
    if (m_nWorkers == kMost) return false;
    m_bOnFork =
        m_bOnFork || sysOnFork([] { pool().beforeFork(); }, [] { pool().afterFork(); }, [] { pool().restart(); });
    m_bOnExit = m_bOnExit || std::atexit([] { finishThreadPool(false); }) == 0;
    if (!m_bOnFork || !m_bOnExit) return false;
    Worker& worker = m_workers[m_nWorkers];
    const auto entry = [](void* p) -> uint32_t {
        pool().work(*static_cast<Worker*>(p));
        return 0;
    };
    worker.pThread = sysThreadCreate(entry, &worker, 0, nullptr);
    if (!worker.pThread) return false;
    ++m_nWorkers;
    ++m_nIdle;  // as good as idle: it looks at the queue as soon as it runs
    return true;
}

// Sees to it that an idle worker is there for the first item: to run it, or at the limit to watch.
void Pool::provide() noexcept {
    if (!m_pFirst) return;
    if (m_nIdle)
        m_wanted.notify_one();
    else
        startWorker();
}

void Pool::runFirst(Lock& lock) noexcept {
    Item* const pItem = m_pFirst;
    m_pFirst = pItem->pNext;
    m_moved = Clock::now();
    ++m_nRunning;
    provide();
    lock.unlock();
    pItem->pfnWork(pItem->pContext);
    delete pItem;
    lock.lock();
    --m_nRunning;
    if (!m_pFirst) m_nLimit = std::max(leastLimit(), m_nRunning);
}

void Pool::watch(Lock& lock) noexcept {
    m_bWatched = true;
    m_wanted.wait_until(lock, m_moved + kStandstill);
    m_bWatched = false;
    if (m_pFirst && m_nRunning == m_nLimit && m_nLimit < kMost && Clock::now() >= m_moved + kStandstill) ++m_nLimit;
}

void Pool::work(Worker& worker) noexcept {
    Lock lock(m_mutex);
    worker.id = std::this_thread::get_id();
    --m_nIdle;
    while (m_pFirst || !m_bFinishing) {
        if (m_pFirst && m_nRunning < m_nLimit) {
            runFirst(lock);
            continue;
        }
        ++m_nIdle;
        if (m_pFirst && !m_bWatched)
            watch(lock);
        else
            m_wanted.wait(lock);
        --m_nIdle;
    }
    self()->id = {};
    m_wanted.notify_all();  // those that waited beside the last items
}

int32_t Pool::queue(PFNPOOLWORK pfnWork, void* pContext) noexcept {
    auto* const pItem = new (std::nothrow) Item{pfnWork, pContext, nullptr};
    if (!pItem) return -1;  // Not enough memory available
    const Lock lock(m_mutex);
    if (m_bFinishing || m_bEnded || (m_nWorkers == 0 && !startWorker())) {
        delete pItem;
        return -1;
    }
    if (m_pFirst) {
        m_pLast->pNext = pItem;
    } else {
        m_pFirst = pItem;
        m_moved = Clock::now();
    }
    m_pLast = pItem;
    provide();
    return 1;
}

void Pool::finish(bool bForGood) noexcept {
    Lock lock(m_mutex);
    m_bEnded |= bForGood;
    Worker* const pSelf = self();
    if (m_bFinishing) {  // by another thread, which waits for this one if it is a worker
        if (!pSelf) m_finished.wait(lock, [this] { return !m_bFinishing; });
        return;
    }
    m_bFinishing = true;
    m_bOnExit = false;  // this may be the one call that was asked for
    m_wanted.notify_all();
    for (uint32_t i = 0; i < m_nWorkers; ++i) {  // the last items may still want more workers
        if (m_workers + i == pSelf) continue;
        SysObject* const pThread = m_workers[i].pThread;
        lock.unlock();
        sysWait(*pThread, kSysForever);
        sysCloseHandle(pThread);
        lock.lock();
    }
    const Worker own = pSelf ? *pSelf : Worker{};
    std::fill_n(m_workers, m_nWorkers, Worker{});
    if (pSelf) m_workers[0] = own;
    m_nWorkers = pSelf ? 1 : 0;
    m_bFinishing = false;
    m_finished.notify_all();
}

// In a copy of the process, which has none of the workers but the one that may have called for the copy. Its items are
// the original's to run.
void Pool::restart() noexcept {
    const bool bWorker = self(), bEnded = m_bEnded, bOnExit = m_bOnExit;
    new (this) Pool;  // the conditions, too, count threads that are not there
    m_bEnded = bEnded;
    m_bOnExit = bOnExit;
    m_bOnFork = true;
    if (!bWorker) return;
    m_workers[0].id = std::this_thread::get_id();
    m_nWorkers = m_nRunning = 1;
}

}  // namespace

void finishThreadPool(bool bForGood) noexcept { pool().finish(bForGood); }

}  // namespace rv

RVThreadPool::RVThreadPool() noexcept = default;

int32_t RVThreadPool::QueueUserWorkItem(PFNPOOLWORK pfnWork, void* pContext, uint32_t) noexcept {
    return pfnWork ? rv::pool().queue(pfnWork, pContext) : -13;
}
