// What can be waited for on Linux: events, mutexes and threads.
//
// Each object is a lock and a condition. A signal is given under the lock, so that the one that it wakes may destroy
// the object at once.
#include <limits.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <new>
#include <thread>
#include <utility>

#include "rvkrn/linux/named.h"
#include "rvkrn/linux/perthread.h"

namespace rv {
namespace {

using Lock = std::unique_lock<std::mutex>;

struct Monitor {
    std::mutex mutex;
    std::condition_variable changed;

    // Waits until ready() holds; false when the time is over. The lock is held before and after.
    template <class Ready>
    bool wait(Lock& lock, uint32_t nMilliseconds, Ready ready) {
        if (nMilliseconds != kSysForever)
            return changed.wait_for(lock, std::chrono::milliseconds(nMilliseconds), ready);
        changed.wait(lock, ready);
        return true;
    }
};

class Event final : public NamedObject {
    Monitor m_monitor;
    const bool m_bManualReset;
    bool m_bSignalled;

public:
    Event(bool bManualReset, bool bSignalled) noexcept : m_bManualReset(bManualReset), m_bSignalled(bSignalled) {}

    SysWait wait(uint32_t nMilliseconds) noexcept override {
        Lock lock(m_monitor.mutex);
        if (!m_monitor.wait(lock, nMilliseconds, [this] { return m_bSignalled; })) return SysWait::kTimedOut;
        m_bSignalled = m_bManualReset;
        return SysWait::kSignalled;
    }
    void set(bool bSignalled) noexcept {
        const Lock lock(m_monitor.mutex);
        m_bSignalled = bSignalled;
        if (bSignalled) m_bManualReset ? m_monitor.changed.notify_all() : m_monitor.changed.notify_one();
    }
};

class Mutex;

// The mutexes that a thread owns: those that it still has when it ends are abandoned. Each owned one is referenced.
class OwnedMutexes {
    Mutex* m_pFirst = nullptr;

public:
    void add(Mutex& mutex) noexcept;
    void remove(Mutex& mutex) noexcept;
    ~OwnedMutexes();
};
PerThread<OwnedMutexes> g_owned;

class Mutex final : public NamedObject {
    friend class OwnedMutexes;

    Monitor m_monitor;
    std::thread::id m_owner;  // of no thread while the mutex is free
    uint32_t m_nTaken = 0;
    bool m_bAbandoned = false;
    Mutex* m_pNextOwned = nullptr;

    void giveBack(bool bAbandoned) noexcept {
        {
            const Lock lock(m_monitor.mutex);
            m_owner = {};
            m_nTaken = 0;
            m_bAbandoned = bAbandoned;
            m_monitor.changed.notify_one();
        }
        sysCloseHandle(static_cast<SysObject*>(this));
    }

public:
    // Owned only where it was made so and its name could not be kept.
    ~Mutex() override {
        if (m_nTaken) g_owned.get()->remove(*this);
    }

    SysWait wait(uint32_t nMilliseconds) noexcept override {
        const auto self = std::this_thread::get_id();
        OwnedMutexes* pOwned = g_owned.get();
        if (!pOwned) return SysWait::kFailed;
        Lock lock(m_monitor.mutex);
        const auto isOurs = [&] { return m_owner == std::thread::id{} || m_owner == self; };
        if (!m_monitor.wait(lock, nMilliseconds, isOurs)) return SysWait::kTimedOut;
        if (m_nTaken++ == 0) {
            m_owner = self;
            pOwned->add(*this);
        }
        return std::exchange(m_bAbandoned, false) ? SysWait::kAbandoned : SysWait::kSignalled;
    }
    bool release() noexcept {
        {
            const Lock lock(m_monitor.mutex);
            if (m_owner != std::this_thread::get_id()) return false;
            if (--m_nTaken) return true;
        }
        g_owned.get()->remove(*this);
        giveBack(false);
        return true;
    }
};

void OwnedMutexes::add(Mutex& mutex) noexcept {
    mutex.nReferences.fetch_add(1, std::memory_order_relaxed);
    mutex.m_pNextOwned = std::exchange(m_pFirst, &mutex);
}
void OwnedMutexes::remove(Mutex& mutex) noexcept {
    Mutex** pp = &m_pFirst;
    while (*pp != &mutex) pp = &(*pp)->m_pNextOwned;
    *pp = mutex.m_pNextOwned;
}
OwnedMutexes::~OwnedMutexes() {
    while (Mutex* p = m_pFirst) {
        m_pFirst = p->m_pNextOwned;
        p->giveBack(true);
    }
}

class Thread final : public SysObject {
    Monitor m_monitor;
    uint32_t (*const m_pfn)(void*);
    void* const m_pArg;
    pthread_t m_thread{};
    uint32_t m_nId = 0;
    bool m_bEnded = false, m_bJoined = false;

    void run() noexcept {
        {
            const Lock lock(m_monitor.mutex);
            m_nId = uint32_t(gettid());
            m_monitor.changed.notify_all();
        }
        m_pfn(m_pArg);
        {
            const Lock lock(m_monitor.mutex);
            m_bEnded = true;
            m_monitor.changed.notify_all();
        }
        sysCloseHandle(static_cast<SysObject*>(this));
    }

public:
    Thread(uint32_t (*pfn)(void*), void* pArg) noexcept : m_pfn(pfn), m_pArg(pArg) {}

    bool start(size_t nStackSize) noexcept {
        pthread_attr_t attributes;
        if (pthread_attr_init(&attributes) != 0) return false;
        bool bDone = true;
        if (nStackSize) {
            const size_t nPage = size_t(sysconf(_SC_PAGESIZE)), nPages = nStackSize / nPage + (nStackSize % nPage != 0);
            const bool bFits = nPages <= SIZE_MAX / nPage;
            const size_t nLeast = size_t(PTHREAD_STACK_MIN);
            bDone = bFits && pthread_attr_setstacksize(&attributes, std::max(nPages * nPage, nLeast)) == 0;
        }
        const auto entry = [](void* p) -> void* {
            static_cast<Thread*>(p)->run();
            return nullptr;
        };
        nReferences.fetch_add(1, std::memory_order_relaxed);  // the running thread's own
        bDone = bDone && pthread_create(&m_thread, &attributes, entry, this) == 0;
        pthread_attr_destroy(&attributes);
        return bDone;
    }
    uint32_t id() noexcept {
        Lock lock(m_monitor.mutex);
        m_monitor.wait(lock, kSysForever, [this] { return m_nId != 0; });
        return m_nId;
    }

    SysWait wait(uint32_t nMilliseconds) noexcept override {
        Lock lock(m_monitor.mutex);
        if (!m_monitor.wait(lock, nMilliseconds, [this] { return m_bEnded; })) return SysWait::kTimedOut;
        // It has left the lock for good, and runs no more than its exit hooks.
        if (!m_bJoined && !pthread_equal(m_thread, pthread_self())) {
            pthread_join(m_thread, nullptr);
            m_bJoined = true;
        }
        return SysWait::kSignalled;
    }
    bool close() noexcept override {
        if (!m_bJoined) pthread_detach(m_thread);
        delete this;
        return true;
    }
};

}  // namespace

SysWait sysWait(SysObject& object, uint32_t nMilliseconds) noexcept { return object.wait(nMilliseconds); }

SysObject* sysEventCreate(bool bManualReset, bool bSignalled, const char16_t* pName) noexcept {
    return NamedObject::openOrMake<Event>(pName, [=] { return new (std::nothrow) Event(bManualReset, bSignalled); });
}
bool sysEventSet(SysObject& event) noexcept {
    auto* p = dynamic_cast<Event*>(&event);
    if (p) p->set(true);
    return p != nullptr;
}
bool sysEventReset(SysObject& event) noexcept {
    auto* p = dynamic_cast<Event*>(&event);
    if (p) p->set(false);
    return p != nullptr;
}

SysObject* sysMutexCreate(bool bOwned, const char16_t* pName) noexcept {
    return NamedObject::openOrMake<Mutex>(pName, [=]() -> Mutex* {
        auto* p = new (std::nothrow) Mutex;
        if (!p || !bOwned || p->wait(0) == SysWait::kSignalled) return p;
        delete p;
        return nullptr;
    });
}
bool sysMutexRelease(SysObject& mutex) noexcept {
    auto* p = dynamic_cast<Mutex*>(&mutex);
    return p && p->release();
}

SysObject* sysThreadCreate(uint32_t (*pfn)(void*), void* pArg, size_t nStackSize, uint32_t* pId) noexcept {
    auto* p = new (std::nothrow) Thread(pfn, pArg);
    if (!p) return nullptr;
    if (!p->start(nStackSize)) {
        delete p;
        return nullptr;
    }
    if (pId) *pId = p->id();
    return p;
}

}  // namespace rv
