#include "support/faults.h"

#include <cerrno>
#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

namespace faults {

bool available() noexcept { return false; }
long liveBlocks() noexcept { return 0; }
FailFromNthAllocation::FailFromNthAllocation(int) noexcept {}
void FailFromNthAllocation::stop() noexcept {}

}  // namespace faults

#else

// The C library's heap under its inner names; the outer ones are defined here.
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);
}

namespace {

thread_local bool t_bArmed = false;
thread_local int t_nLeft = 0;  // allocations that still succeed
thread_local bool t_bFired = false;
thread_local long t_nLive = 0;

bool refused() noexcept {
    if (!t_bArmed) return false;
    if (t_nLeft > 0) {
        --t_nLeft;
        return false;
    }
    t_bFired = true;
    errno = ENOMEM;
    return true;
}

void* counted(void* p) noexcept {
    if (p) ++t_nLive;
    return p;
}

}  // namespace

extern "C" {

void* malloc(size_t n) noexcept { return refused() ? nullptr : counted(__libc_malloc(n)); }
void* calloc(size_t n, size_t nSize) noexcept { return refused() ? nullptr : counted(__libc_calloc(n, nSize)); }
void* realloc(void* p, size_t n) noexcept {
    if (refused()) return nullptr;
    void* pNew = __libc_realloc(p, n);
    if (!p) return counted(pNew);
    if (!pNew && n == 0) --t_nLive;
    return pNew;
}
void* memalign(size_t nAlignment, size_t n) noexcept {
    return refused() ? nullptr : counted(__libc_memalign(nAlignment, n));
}
void* aligned_alloc(size_t nAlignment, size_t n) noexcept {
    return refused() ? nullptr : counted(__libc_memalign(nAlignment, n));
}
int posix_memalign(void** pp, size_t nAlignment, size_t n) noexcept {
    void* p = refused() ? nullptr : counted(__libc_memalign(nAlignment, n));
    if (!p) return ENOMEM;
    *pp = p;
    return 0;
}
void free(void* p) noexcept {
    if (p) --t_nLive;
    __libc_free(p);
}

}  // extern "C"

namespace faults {

bool available() noexcept { return true; }
long liveBlocks() noexcept { return t_nLive; }

FailFromNthAllocation::FailFromNthAllocation(int n) noexcept {
    t_nLeft = n;
    t_bFired = false;
    t_bArmed = true;
}

void FailFromNthAllocation::stop() noexcept {
    if (!t_bArmed) return;
    t_bArmed = false;
    m_bFired = t_bFired;
}

}  // namespace faults

#endif
