// Threading tools for sibling modules: an event, a lock of many readers or one writer, a pool of worker threads, and
// sets of work items that are waited for as a whole. The library's own row loops use none of them.
//
// The classes are C++ only. Flags and truth values are int32_t, times are milliseconds.
#pragma once

#include "types.h"

RV_C_BEGIN

/// A thread to be run: the opening of a record of the caller's.
typedef struct RAVOTHREADDATA {
    uint32_t (*pfnThread)(void* pThreadData);  ///< receives the record itself
    RVHANDLE hThread;                          ///< receives the thread's handle, which CloseHandle closes
} RAVOTHREADDATA;
RV_RECORD_SIZE(RAVOTHREADDATA, 8, 16);

/// Runs pThreadData->pfnThread(pThreadData) on a new thread, which may be under way before hThread is filled. The
/// record has to outlive the thread's use of it; closing the handle leaves the thread running. Returns 1, or: -13 null
/// record or function, -1 no thread, with the record unchanged.
RV_API int32_t R_RavoThreadCreateAndRun(RAVOTHREADDATA* pThreadData) RV_NOEXCEPT;

RV_C_END

#ifdef __cplusplus

/// RVWaitEvent::WaitOne without a limit.
inline constexpr uint32_t RV_WAIT_FOREVER = 0xFFFFFFFF;

/// An event: signalled or not. Threads may set, reset and wait for it freely; making, closing and copying it want the
/// object to themselves.
class RV_API RVWaitEvent {
    void* hEvent = nullptr;

public:
    RVWaitEvent() noexcept;
    /// Copies share the event, which goes with the last of them. They aren't for general use.
    RVWaitEvent(const RVWaitEvent& other) noexcept;
    RVWaitEvent& operator=(const RVWaitEvent& other) noexcept;
    virtual ~RVWaitEvent();

    /// Makes an event in the place of an old one. With bManualReset it stays signalled until it is reset, else it lets
    /// one wait through. Returns 1, or -1 when memory is short, with no event left.
    int32_t Create(int32_t bManualReset, int32_t bInitialState) noexcept;
    void Destroy() noexcept;
    int32_t IsCreated() const noexcept;
    /// 1, or 0 without an event.
    int32_t Set() noexcept;
    int32_t Reset() noexcept;
    /// Returns 1 when signalled or without an event, -100 when the time is over, 0 when waiting fails.
    int32_t WaitOne(uint32_t uMilliseconds) noexcept;
};

class RVReaderWriterLockItem;

/// A lock of many readers or one writer. A thread must not take it again while it has it, on either side: a writer that
/// waits keeps further readers out, so that readers that keep coming can't starve it. Create and Destroy want it free.
class RV_API RVReaderWriterLock {
    friend class RVReaderWriterLockItem;
    alignas(16) unsigned char lockArea[64];
    int32_t bCreated = 0;

    void ReleaseReaderLock() noexcept;
    void ReleaseWriterLock() noexcept;

public:
    RVReaderWriterLock() noexcept;
    RVReaderWriterLock(const RVReaderWriterLock&) = delete;
    RVReaderWriterLock& operator=(const RVReaderWriterLock&) = delete;
    virtual ~RVReaderWriterLock();

    /// Makes the lock, anew if it stands. Returns 1, or -1 when the system refuses, with no lock left.
    int32_t Create() noexcept;
    void Destroy() noexcept;
    int32_t IsCreated() const noexcept;

    /// Takes a side of the lock for the life of the guard. With bAcquire 0, and for a lock that isn't created, the
    /// guard holds nothing.
    RVReaderWriterLockItem AcquireReaderLock() noexcept;
    RVReaderWriterLockItem AcquireReaderLock(int32_t bAcquire) noexcept;
    RVReaderWriterLockItem AcquireWriterLock() noexcept;
    RVReaderWriterLockItem AcquireWriterLock(int32_t bAcquire) noexcept;

    /// The writer's side without a guard; nothing for a lock that isn't created.
    void Lock() noexcept;
    void Unlock() noexcept;
};

/// The guard of a reader-writer lock, which has to outlive it: releases on destruction what it holds, unless the lock
/// is no longer created. A copy holds the same again, so only one of the two may be let live.
class RV_API RVReaderWriterLockItem {
    friend class RVReaderWriterLock;
    RVReaderWriterLock* pLock = nullptr;
    int32_t bReader = 0;

    RVReaderWriterLockItem() noexcept;
    RVReaderWriterLockItem(RVReaderWriterLock* pHeld, int32_t bHeldByReader) noexcept;

public:
    RVReaderWriterLockItem(const RVReaderWriterLockItem& other) noexcept;
    RVReaderWriterLockItem& operator=(const RVReaderWriterLockItem& other) noexcept;
    virtual ~RVReaderWriterLockItem();
};

class RV_API RVThreadToolsManaged {
    static int32_t _coreCount;

public:
    /// Processors of the machine, at least 1, as they were when this was first asked.
    static int32_t GetCoreCount() noexcept;
};

class RV_API RVThreadToolsUnmanaged {
public:
    /// Atomic, with a full memory barrier. Return the new value; they wrap around.
    static int32_t RVInterlockedIncrement(volatile int32_t* pValue) noexcept;
    static int32_t RVInterlockedDecrement(volatile int32_t* pValue) noexcept;
};

typedef int32_t (*PFNPOOLWORK)(void* pContext);

/// The process-wide pool of worker threads. Threads are started as they are wanted. As many items run at once as the
/// machine has cores, and at least 4; while all of those are blocked, one more is let run every quarter of a second, up
/// to 128, so that items may wait for items that were queued later. Items start in the order of their queueing.
///
/// When the process exits, and when the library is unloaded, the items that are queued are run and the workers end
/// before anything else goes; new items are refused meanwhile. So an item that never ends keeps the process from
/// ending, and an item must not be the one that unloads the library. A process that was copied by fork starts with an
/// empty pool.
class RV_API RVThreadPool {
public:
    RVThreadPool() noexcept;
    /// Runs pfnWork(pContext) once, on a worker, some time later. The function must not throw; its result is dropped.
    /// uFlags is not consulted. Any thread may call this, also from an item. Returns 1, or: -13 null function, -1 no
    /// memory or no thread, or the library is ending.
    static int32_t QueueUserWorkItem(PFNPOOLWORK pfnWork, void* pContext, uint32_t uFlags) noexcept;
};

/// Flags of RVWorkItems::Create.
enum : uint32_t {
    WORK_LOCK = 1,         ///< a lock for the caller, through GetLock
    WORK_LOCK_CANCEL = 2,  ///< the sign of cancel is read and written under the lock
    WORK_STATUS = 4,       ///< the result of each item becomes the status
    WORK_NO_THREADS = 8    ///< items run on the calling thread
};

class RVWorkItems;
typedef int32_t (*PFNWORKITEM)(RVWorkItems* pItems, void* pUserData);

/// A set of work items. One thread makes it, queues into it, waits for it and destroys it; items may call GetLock,
/// GetStatus, SetStatus, Cancel and IsCanceled, and the same calls are safe from any thread. An item that holds the
/// lock of GetLock must not call those that take it again.
class RV_API RVWorkItems {
    uint32_t uFlags = 0;
    int32_t bCreated = 0;
    uint32_t uCount = 0;   ///< items that are expected; 0: not counted
    int32_t nPending = 0;  ///< counted down as they finish
    RVWaitEvent Event;     ///< where threaded: all have finished
    int32_t bCanceled = 0;
    RVReaderWriterLock Lock;
    int32_t nStatus = 1;
    uint32_t uPoolFlags = 0;

    static int32_t WaitCallback(void* pWork) noexcept;
    void countDown() noexcept;

public:
    RVWorkItems() noexcept;
    RVWorkItems(const RVWorkItems&) = delete;
    RVWorkItems& operator=(const RVWorkItems&) = delete;
    /// As Destroy.
    virtual ~RVWorkItems();

    /// Opens a set of uNumber items, destroying an old one. On a single core, and with WORK_NO_THREADS, it has neither
    /// threads nor a lock. uForPool is the uFlags of RVThreadPool::QueueUserWorkItem. Returns 1, or -1 when memory is
    /// short, with no set left.
    int32_t Create(uint32_t uNumber, uint32_t uWorkFlags, uint32_t uForPool) noexcept;
    /// Closes the set; no item may be queued or running.
    void Destroy() noexcept;
    int32_t IsCreated() const noexcept;
    int32_t IsThreaded() const noexcept;
    /// The lock that stands in a threaded set with WORK_LOCK, WORK_LOCK_CANCEL or WORK_STATUS.
    RVReaderWriterLock& GetLock() noexcept;

    /// Runs pfnItem(this, pUserData): on a worker, or at once where the set isn't threaded, with the result stored as
    /// the status in any case. A result of -100 from a worker cancels the set. Once the set is canceled no item starts;
    /// those that were queued, and those that are queued later, count as finished. The function must not throw.
    /// Returns, in order of test: -13 null function; 1 canceled; what the pool refuses with, -1 no memory, and then the
    /// item doesn't count; 1.
    int32_t QueueItem(PFNWORKITEM pfnItem, void* pUserData) noexcept;
    /// Waits in a threaded set until as many items have finished as were announced, or for Finish: so whoever queues
    /// fewer, or announces 0, calls Finish.
    void Wait() noexcept;
    /// Lets one Wait end at once, whatever still runs.
    void Finish() noexcept;

    /// The result of the work, 1 at first.
    int32_t GetStatus() noexcept;
    void SetStatus(int32_t nNewStatus) noexcept;
    void Cancel() noexcept;
    int32_t IsCanceled() noexcept;
};

#endif
