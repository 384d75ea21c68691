// Threads on Linux: the per-thread slot, recursive locks, sleep, forks.
#include <pthread.h>
#include <time.h>

#include <new>

#include "internal/rvsystem_.h"

namespace rv {
namespace {

pthread_key_t g_slot;

}  // namespace

bool sysSlotCreate(void (*pfnThreadExit)(void*)) noexcept { return pthread_key_create(&g_slot, pfnThreadExit) == 0; }
void sysSlotDelete() noexcept { pthread_key_delete(g_slot); }
void* sysSlotGet() noexcept { return pthread_getspecific(g_slot); }
bool sysSlotSet(void* pValue) noexcept { return pthread_setspecific(g_slot, pValue) == 0; }

void sysSleep(uint32_t nMilliseconds) noexcept {
    const timespec t{time_t(nMilliseconds / 1000), long(nMilliseconds % 1000) * 1000000};
    nanosleep(&t, nullptr);
}

bool sysOnFork(void (*pfnBefore)(), void (*pfnInParent)(), void (*pfnInChild)()) noexcept {
    return pthread_atfork(pfnBefore, pfnInParent, pfnInChild) == 0;
}

static_assert(sizeof(pthread_mutex_t) <= sizeof(SysLock));

static pthread_mutex_t* mutexOf(SysLock& lock) noexcept {
    return std::launder(reinterpret_cast<pthread_mutex_t*>(lock.storage));
}

bool sysLockInit(SysLock& lock) noexcept {
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0) return false;
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    const int n = pthread_mutex_init(new (lock.storage) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return n == 0;
}
void sysLockDelete(SysLock& lock) noexcept { pthread_mutex_destroy(mutexOf(lock)); }
void sysLockEnter(SysLock& lock) noexcept { pthread_mutex_lock(mutexOf(lock)); }
void sysLockLeave(SysLock& lock) noexcept { pthread_mutex_unlock(mutexOf(lock)); }

}  // namespace rv
