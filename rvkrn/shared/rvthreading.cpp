// Threading tools for sibling modules: event, reader-writer lock, counters, work items. The pool is in threadpool.cpp.
#include <atomic>
#include <new>
#include <utility>

#include "internal/rvsystem_.h"
#include "ravokit/objects.h"
#include "ravokit/threading.h"

using namespace rv;

RV_RECORD_SIZE(RVWaitEvent, 8, 16);
RV_RECORD_SIZE(RVReaderWriterLockItem, 12, 24);

// ---- event -------------------------------------------------------------------------------------------------------

static SysObject* objectOf(void* hEvent) noexcept { return static_cast<SysObject*>(hEvent); }

static void* shared(void* hEvent) noexcept { return hEvent ? sysDuplicateHandle(hEvent, false) : nullptr; }

RVWaitEvent::RVWaitEvent() noexcept = default;
RVWaitEvent::RVWaitEvent(const RVWaitEvent& other) noexcept : hEvent(shared(other.hEvent)) {}
RVWaitEvent& RVWaitEvent::operator=(const RVWaitEvent& other) noexcept {
    void* const hNew = shared(other.hEvent);  // first: the event may be this one's own
    Destroy();
    hEvent = hNew;
    return *this;
}
RVWaitEvent::~RVWaitEvent() { Destroy(); }

int32_t RVWaitEvent::Create(int32_t bManualReset, int32_t bInitialState) noexcept {
    Destroy();
    hEvent = sysEventCreate(bManualReset != 0, bInitialState != 0, nullptr);
    return hEvent ? 1 : -1;
}
void RVWaitEvent::Destroy() noexcept {
    if (hEvent) sysCloseHandle(std::exchange(hEvent, nullptr));
}
int32_t RVWaitEvent::IsCreated() const noexcept { return hEvent != nullptr; }
int32_t RVWaitEvent::Set() noexcept { return hEvent && sysEventSet(*objectOf(hEvent)); }
int32_t RVWaitEvent::Reset() noexcept { return hEvent && sysEventReset(*objectOf(hEvent)); }
int32_t RVWaitEvent::WaitOne(uint32_t uMilliseconds) noexcept {
    if (!hEvent) return 1;
    static_assert(RV_WAIT_FOREVER == kSysForever);
    switch (sysWait(*objectOf(hEvent), uMilliseconds)) {
        case SysWait::kSignalled:
            return 1;
        case SysWait::kTimedOut:
            return -100;  // User has aborted operation
        default:
            return 0;
    }
}

// ---- reader-writer lock ------------------------------------------------------------------------------------------

static SysRwLock& rwLockOf(unsigned char* pArea) noexcept { return *std::launder(reinterpret_cast<SysRwLock*>(pArea)); }

RVReaderWriterLock::RVReaderWriterLock() noexcept {
    static_assert(sizeof lockArea >= sizeof(SysRwLock) && alignof(SysRwLock) <= 16);
    new (lockArea) SysRwLock;
}
RVReaderWriterLock::~RVReaderWriterLock() { Destroy(); }

int32_t RVReaderWriterLock::Create() noexcept {
    Destroy();
    bCreated = sysRwLockInit(rwLockOf(lockArea));
    return bCreated ? 1 : -1;
}
void RVReaderWriterLock::Destroy() noexcept {
    if (std::exchange(bCreated, 0)) sysRwLockDelete(rwLockOf(lockArea));
}
int32_t RVReaderWriterLock::IsCreated() const noexcept { return bCreated; }

RVReaderWriterLockItem RVReaderWriterLock::AcquireReaderLock() noexcept { return AcquireReaderLock(1); }
RVReaderWriterLockItem RVReaderWriterLock::AcquireReaderLock(int32_t bAcquire) noexcept {
    if (!bAcquire || !bCreated) return {nullptr, 1};
    sysRwLockEnterShared(rwLockOf(lockArea));
    return {this, 1};
}
RVReaderWriterLockItem RVReaderWriterLock::AcquireWriterLock() noexcept { return AcquireWriterLock(1); }
RVReaderWriterLockItem RVReaderWriterLock::AcquireWriterLock(int32_t bAcquire) noexcept {
    if (!bAcquire || !bCreated) return {nullptr, 0};
    Lock();
    return {this, 0};
}
void RVReaderWriterLock::ReleaseReaderLock() noexcept {
    if (bCreated) sysRwLockLeaveShared(rwLockOf(lockArea));
}
void RVReaderWriterLock::ReleaseWriterLock() noexcept {
    if (bCreated) sysRwLockLeaveExclusive(rwLockOf(lockArea));
}
void RVReaderWriterLock::Lock() noexcept {
    if (bCreated) sysRwLockEnterExclusive(rwLockOf(lockArea));
}
void RVReaderWriterLock::Unlock() noexcept { ReleaseWriterLock(); }

RVReaderWriterLockItem::RVReaderWriterLockItem() noexcept = default;
RVReaderWriterLockItem::RVReaderWriterLockItem(RVReaderWriterLock* pHeld, int32_t bHeldByReader) noexcept
    : pLock(pHeld), bReader(bHeldByReader) {}
RVReaderWriterLockItem::RVReaderWriterLockItem(const RVReaderWriterLockItem&) noexcept = default;
RVReaderWriterLockItem& RVReaderWriterLockItem::operator=(const RVReaderWriterLockItem&) noexcept = default;
RVReaderWriterLockItem::~RVReaderWriterLockItem() {
    if (!pLock) return;
    bReader ? pLock->ReleaseReaderLock() : pLock->ReleaseWriterLock();
    pLock = nullptr;
}

// ---- counters and threads ----------------------------------------------------------------------------------------

int32_t RVThreadToolsManaged::_coreCount = 0;

int32_t RVThreadToolsManaged::GetCoreCount() noexcept {
    static const bool bFilled = [] {
        const uint32_t n = sysInfo().nProcessors;
        _coreCount = n == 0 || n > uint32_t(INT32_MAX) ? 1 : int32_t(n);
        return true;
    }();
    (void)bFilled;
    return _coreCount;
}

int32_t RVThreadToolsUnmanaged::RVInterlockedIncrement(volatile int32_t* pValue) noexcept {
    return __atomic_add_fetch(pValue, 1, __ATOMIC_SEQ_CST);
}
int32_t RVThreadToolsUnmanaged::RVInterlockedDecrement(volatile int32_t* pValue) noexcept {
    return __atomic_sub_fetch(pValue, 1, __ATOMIC_SEQ_CST);
}

extern "C" int32_t R_RavoThreadCreateAndRun(RAVOTHREADDATA* pThreadData) noexcept {
    if (!pThreadData || !pThreadData->pfnThread) return -13;  // Invalid parameter passed
    RVHANDLE const hThread = R_WinCreateThread(nullptr, 0, pThreadData->pfnThread, pThreadData, 0, nullptr);
    if (!hThread) return -1;  // Not enough memory available
    pThreadData->hThread = hThread;
    return 1;
}

// ---- work items --------------------------------------------------------------------------------------------------

namespace {

struct Work {
    RVWorkItems* pItems;
    PFNWORKITEM pfnItem;
    void* pUserData;
};

constexpr uint32_t kAnyLock = WORK_LOCK | WORK_LOCK_CANCEL | WORK_STATUS;

// Workers look at what other threads set, and not always under the lock.
int32_t load(int32_t& n) noexcept { return std::atomic_ref(n).load(std::memory_order_relaxed); }
void store(int32_t& n, int32_t nValue) noexcept { std::atomic_ref(n).store(nValue, std::memory_order_relaxed); }

}  // namespace

RVWorkItems::RVWorkItems() noexcept = default;
RVWorkItems::~RVWorkItems() { Destroy(); }

int32_t RVWorkItems::Create(uint32_t uNumber, uint32_t uWorkFlags, uint32_t uForPool) noexcept {
    if (bCreated) Destroy();
    if (!(uWorkFlags & WORK_NO_THREADS) && RVThreadToolsManaged::GetCoreCount() > 1) {
        if (Event.Create(0, 0) != 1) return -1;
        if (const int32_t n = uWorkFlags & kAnyLock ? Lock.Create() : 1; n != 1) {
            Event.Destroy();
            return n;
        }
    }
    bCreated = 1;
    uFlags = uWorkFlags;
    uPoolFlags = uForPool;
    uCount = uNumber;
    nPending = int32_t(uNumber);
    store(nStatus, 1);
    store(bCanceled, 0);
    return 1;
}

void RVWorkItems::Destroy() noexcept {
    Event.Destroy();
    Lock.Destroy();
    uCount = 0;
    bCreated = 0;
    store(bCanceled, 0);
    store(nStatus, 1);
}

int32_t RVWorkItems::IsCreated() const noexcept { return bCreated; }
int32_t RVWorkItems::IsThreaded() const noexcept { return Event.IsCreated(); }
RVReaderWriterLock& RVWorkItems::GetLock() noexcept { return Lock; }

// The one that reaches 0 lets the waiter go, which may destroy the set: nothing of it is touched afterwards.
void RVWorkItems::countDown() noexcept {
    if (uCount && RVThreadToolsUnmanaged::RVInterlockedDecrement(&nPending) == 0) Event.Set();
}

int32_t RVWorkItems::WaitCallback(void* pWork) noexcept {
    const Work work = *static_cast<Work*>(pWork);
    delete static_cast<Work*>(pWork);
    int32_t nResult = 1;
    if (!work.pItems->IsCanceled()) {
        nResult = work.pfnItem(work.pItems, work.pUserData);
        if (work.pItems->uFlags & WORK_STATUS) work.pItems->SetStatus(nResult);
        if (nResult == -100) work.pItems->Cancel();
    }
    work.pItems->countDown();
    return nResult;
}

int32_t RVWorkItems::QueueItem(PFNWORKITEM pfnItem, void* pUserData) noexcept {
    if (!pfnItem) return -13;
    if (IsCanceled()) {
        if (IsThreaded()) countDown();  // else whoever waits for as many as were announced would wait for ever
        return 1;
    }
    if (!IsThreaded()) {
        store(nStatus, pfnItem(this, pUserData));
        return 1;
    }
    Work* const pWork = new (std::nothrow) Work{this, pfnItem, pUserData};
    if (!pWork) return -1;
    const int32_t n = RVThreadPool::QueueUserWorkItem(WaitCallback, pWork, uPoolFlags);
    if (n != 1) delete pWork;
    return n;
}

void RVWorkItems::Wait() noexcept {
    if (bCreated) Event.WaitOne(RV_WAIT_FOREVER);  // which returns at once without an event
}
void RVWorkItems::Finish() noexcept { Event.Set(); }

int32_t RVWorkItems::GetStatus() noexcept {
    const auto guard = Lock.AcquireReaderLock();
    return load(nStatus);
}
void RVWorkItems::SetStatus(int32_t nNewStatus) noexcept {
    const auto guard = Lock.AcquireWriterLock();
    store(nStatus, nNewStatus);
}
void RVWorkItems::Cancel() noexcept {
    const auto guard = Lock.AcquireWriterLock(uFlags & WORK_LOCK_CANCEL ? 1 : 0);
    store(bCanceled, 1);
}
int32_t RVWorkItems::IsCanceled() noexcept {
    const auto guard = Lock.AcquireReaderLock(uFlags & WORK_LOCK_CANCEL ? 1 : 0);
    return load(bCanceled);
}
