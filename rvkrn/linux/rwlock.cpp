// Locks of many readers or one writer on Linux.
#include <pthread.h>

#include <new>

#include "internal/rvsystem_.h"

namespace rv {

static_assert(sizeof(pthread_rwlock_t) <= sizeof(SysRwLock));

static pthread_rwlock_t* rwlockOf(SysRwLock& lock) noexcept {
    return std::launder(reinterpret_cast<pthread_rwlock_t*>(lock.storage));
}

// By default readers that keep coming would keep a writer out for ever.
bool sysRwLockInit(SysRwLock& lock) noexcept {
    pthread_rwlockattr_t attributes;
    if (pthread_rwlockattr_init(&attributes) != 0) return false;
    pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
    const int n = pthread_rwlock_init(new (lock.storage) pthread_rwlock_t, &attributes);
    pthread_rwlockattr_destroy(&attributes);
    return n == 0;
}
void sysRwLockDelete(SysRwLock& lock) noexcept { pthread_rwlock_destroy(rwlockOf(lock)); }
void sysRwLockEnterShared(SysRwLock& lock) noexcept { pthread_rwlock_rdlock(rwlockOf(lock)); }
void sysRwLockLeaveShared(SysRwLock& lock) noexcept { pthread_rwlock_unlock(rwlockOf(lock)); }
void sysRwLockEnterExclusive(SysRwLock& lock) noexcept { pthread_rwlock_wrlock(rwlockOf(lock)); }
void sysRwLockLeaveExclusive(SysRwLock& lock) noexcept { pthread_rwlock_unlock(rwlockOf(lock)); }

}  // namespace rv
