#include "support/faults.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

using faults::Kind;

namespace {

struct Plan {
    bool bArmed, bAndAfter, bFired;
    Kind kind;
    int nLeft;  // calls that still succeed; below 0 the one to fail has passed
};
thread_local Plan t_plan{};
thread_local long t_nBlocks = 0, t_nMappedBytes = 0;

constexpr int kErrors[] = {ENOMEM, ENOMEM, EMFILE, ENOSPC};

bool refused(Kind kind) noexcept {
    Plan& plan = t_plan;
    if (!plan.bArmed || plan.kind != kind || plan.nLeft-- > 0) return false;
    if (plan.nLeft < -1 && !plan.bAndAfter) return false;
    plan.bFired = true;
    errno = kErrors[int(kind)];
    return true;
}

void* counted(void* p) noexcept {
    if (p) ++t_nBlocks;
    return p;
}

long pages(size_t n) noexcept { return long((n + 4095) / 4096 * 4096); }

void* countedView(void* p, size_t n) noexcept {
    if (p != MAP_FAILED) t_nMappedBytes += pages(n);
    return p;
}

bool duplicates(int nCommand) noexcept { return nCommand == F_DUPFD || nCommand == F_DUPFD_CLOEXEC; }

}  // namespace

// A function under its own name and, as __real_, under the C library's. Both file-offset forms are there in each data
// model.
#define STAND_BEFORE(kind, failed, result, name, parameters, arguments) \
    result __real_##name parameters;                                    \
    result __wrap_##name parameters;                                    \
    result __wrap_##name parameters {                                   \
        if (refused(Kind::kind)) return failed;                         \
        return __real_##name arguments;                                 \
    }
#define COUNT_BEFORE(name, parameters, arguments) \
    void* __real_##name parameters;               \
    void* __wrap_##name parameters;               \
    void* __wrap_##name parameters { return refused(Kind::allocation) ? nullptr : counted(__real_##name arguments); }
#define MAP_BEFORE(name, offset)                                                             \
    void* __real_##name(void*, size_t, int, int, int, offset);                               \
    void* __wrap_##name(void*, size_t, int, int, int, offset);                               \
    void* __wrap_##name(void* p, size_t n, int nProtect, int nFlags, int fd, offset nFrom) { \
        if (refused(Kind::mapping)) return MAP_FAILED;                                       \
        return countedView(__real_##name(p, n, nProtect, nFlags, fd, nFrom), n);             \
    }
#define OPEN_BEFORE(name)                                                      \
    int __real_##name(const char*, int, ...);                                  \
    int __wrap_##name(const char*, int, mode_t);                               \
    int __wrap_##name(const char* pName, int nFlags, mode_t nMode) {           \
        return refused(Kind::open) ? -1 : __real_##name(pName, nFlags, nMode); \
    }
#define FCNTL_BEFORE(name)                                                                                \
    int __real_##name(int, int, ...);                                                                     \
    int __wrap_##name(int, int, long);                                                                    \
    int __wrap_##name(int fd, int nCommand, long nArgument) {                                             \
        return duplicates(nCommand) && refused(Kind::open) ? -1 : __real_##name(fd, nCommand, nArgument); \
    }

extern "C" {

COUNT_BEFORE(malloc, (size_t n), (n))
COUNT_BEFORE(calloc, (size_t n, size_t nSize), (n, nSize))
COUNT_BEFORE(memalign, (size_t nAlignment, size_t n), (nAlignment, n))
COUNT_BEFORE(aligned_alloc, (size_t nAlignment, size_t n), (nAlignment, n))
COUNT_BEFORE(strdup, (const char* p), (p))

void* __real_realloc(void*, size_t);
void* __wrap_realloc(void*, size_t);
void* __wrap_realloc(void* p, size_t n) {
    if (refused(Kind::allocation)) return nullptr;
    void* pNew = __real_realloc(p, n);
    if (!p) return counted(pNew);
    if (!pNew && n == 0) --t_nBlocks;
    return pNew;
}
int __real_posix_memalign(void**, size_t, size_t);
int __wrap_posix_memalign(void**, size_t, size_t);
int __wrap_posix_memalign(void** pp, size_t nAlignment, size_t n) {
    const int nError = refused(Kind::allocation) ? ENOMEM : __real_posix_memalign(pp, nAlignment, n);
    if (nError == 0) ++t_nBlocks;
    return nError;
}
void __real_free(void*);
void __wrap_free(void*);
void __wrap_free(void* p) {
    if (p) --t_nBlocks;
    __real_free(p);
}

MAP_BEFORE(mmap, long)
MAP_BEFORE(mmap64, int64_t)
STAND_BEFORE(mapping, -1, int, memfd_create, (const char* pName, unsigned uFlags), (pName, uFlags))
void* __real_mremap(void*, size_t, size_t, int, ...);
void* __wrap_mremap(void*, size_t, size_t, int, void*);
void* __wrap_mremap(void* p, size_t nOld, size_t nNew, int nFlags, void* pWhere) {
    if (refused(Kind::mapping)) return MAP_FAILED;
    void* pNew = countedView(__real_mremap(p, nOld, nNew, nFlags, pWhere), nNew);
    if (pNew != MAP_FAILED) t_nMappedBytes -= pages(nOld);
    return pNew;
}
int __real_munmap(void*, size_t);
int __wrap_munmap(void*, size_t);
int __wrap_munmap(void* p, size_t n) {
    const int nResult = __real_munmap(p, n);
    if (nResult == 0) t_nMappedBytes -= pages(n);
    return nResult;
}

OPEN_BEFORE(open)
OPEN_BEFORE(open64)
STAND_BEFORE(open, -1, int, mkostemp, (char* p, int nFlags), (p, nFlags))
STAND_BEFORE(open, -1, int, mkostemp64, (char* p, int nFlags), (p, nFlags))
STAND_BEFORE(open, -1, int, mkostemps, (char* p, int nEnding, int nFlags), (p, nEnding, nFlags))
STAND_BEFORE(open, -1, int, mkostemps64, (char* p, int nEnding, int nFlags), (p, nEnding, nFlags))
FCNTL_BEFORE(fcntl)
FCNTL_BEFORE(fcntl64)

STAND_BEFORE(write, -1, ssize_t, write, (int fd, const void* p, size_t n), (fd, p, n))
STAND_BEFORE(write, -1, ssize_t, pwrite, (int fd, const void* p, size_t n, long nAt), (fd, p, n, nAt))
STAND_BEFORE(write, -1, ssize_t, pwrite64, (int fd, const void* p, size_t n, int64_t nAt), (fd, p, n, nAt))
STAND_BEFORE(write, -1, int, ftruncate, (int fd, long n), (fd, n))
STAND_BEFORE(write, -1, int, ftruncate64, (int fd, int64_t n), (fd, n))
STAND_BEFORE(write, -1, int, fallocate, (int fd, int nMode, long nAt, long n), (fd, nMode, nAt, n))
STAND_BEFORE(write, -1, int, fallocate64, (int fd, int nMode, int64_t nAt, int64_t n), (fd, nMode, nAt, n))
STAND_BEFORE(write, -1, ssize_t, sendfile, (int to, int from, long* pAt, size_t n), (to, from, pAt, n))
STAND_BEFORE(write, -1, ssize_t, sendfile64, (int to, int from, int64_t* pAt, size_t n), (to, from, pAt, n))

}  // extern "C"

// What the standard library allocates goes the same way.
void* operator new(size_t n) {
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void* operator new(size_t n, const std::nothrow_t&) noexcept { return std::malloc(n ? n : 1); }
void* operator new(size_t n, std::align_val_t alignment) {
    if (void* p =
            std::aligned_alloc(size_t(alignment), (n + size_t(alignment)) / size_t(alignment) * size_t(alignment)))
        return p;
    throw std::bad_alloc();
}
void* operator new[](size_t n) { return operator new(n); }
void* operator new[](size_t n, const std::nothrow_t& t) noexcept { return operator new(n, t); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace faults {

const char* nameOf(Kind kind) noexcept {
    constexpr const char* kNames[] = {"allocation", "mapping", "open", "write"};
    return kNames[int(kind)];
}

long liveBlocks() noexcept { return t_nBlocks; }
long liveMappedBytes() noexcept { return t_nMappedBytes; }
int liveDescriptors() noexcept {
    int n = 0;
    for (int fd = 0; fd < 256; ++fd) n += ::fcntl(fd, F_GETFD) >= 0;
    return n;
}

FailNth::FailNth(Kind kind, int n, bool bAndAfter) noexcept { t_plan = {true, bAndAfter, false, kind, n}; }

void FailNth::stop() noexcept {
    if (!t_plan.bArmed) return;
    t_plan.bArmed = false;
    m_bFired = t_plan.bFired;
}

}  // namespace faults
