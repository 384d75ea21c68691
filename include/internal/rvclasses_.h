// Guards and buffers: what was taken is given back on every way out.
#pragma once

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

#include "internal/rvsystem_.h"
#include "ravokit/bitmap.h"

namespace rv {

// Exceptions end here: nothing throws across the interface.
template <class Body>
int32_t guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return -1;  // Not enough memory available
    } catch (...) {
        return 0;  // Function not successful
    }
}

// A plain array that is freed with its scope and tells failure by being null. Its contents start undefined.
template <class T>
class Buffer {
    T* m_p = nullptr;

public:
    Buffer() = default;
    explicit Buffer(uint64_t nCount) noexcept { allocate(nCount); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { std::free(m_p); }

    bool allocate(uint64_t nCount) noexcept {
        std::free(std::exchange(m_p, nullptr));
        if (nCount <= PTRDIFF_MAX / sizeof(T))
            m_p = static_cast<T*>(std::malloc(nCount ? size_t(nCount) * sizeof(T) : 1));
        return m_p != nullptr;
    }
    // The same with the contents cleared; large ones are cleared as they are first touched.
    bool allocateCleared(uint64_t nCount) noexcept {
        std::free(std::exchange(m_p, nullptr));
        if (nCount <= PTRDIFF_MAX / sizeof(T)) m_p = static_cast<T*>(std::calloc(nCount ? size_t(nCount) : 1, sizeof(T)));
        return m_p != nullptr;
    }
    T* get() const noexcept { return m_p; }
    explicit operator bool() const noexcept { return m_p != nullptr; }
    T& operator[](size_t i) const noexcept { return m_p[i]; }
};

// The lock of a bitmap for the time of a scope.
class BitmapLock {
    BITMAPRECORD& m_bm;
    int32_t m_bLocked = 0;
    int32_t m_nStatus;  // in this order: the lock call sets m_bLocked

public:
    explicit BitmapLock(BITMAPRECORD& bm) noexcept : m_bm(bm), m_nStatus(R_IntAccessBitmap(&bm, &m_bLocked)) {}
    BitmapLock(const BitmapLock&) = delete;
    BitmapLock& operator=(const BitmapLock&) = delete;
    ~BitmapLock() { release(1); }
    int32_t status() const noexcept { return m_nStatus; }
    // Releases now, and hands n through as R_IntReleaseBitmap does.
    int32_t release(int32_t n) noexcept { return R_IntReleaseBitmap(&m_bm, std::exchange(m_bLocked, 0), n); }
};

// A bitmap under construction: freed with its scope unless it was handed on.
class BitmapOwner {
public:
    BITMAPRECORD record{};
    BitmapOwner() = default;
    BitmapOwner(const BitmapOwner&) = delete;
    BitmapOwner& operator=(const BitmapOwner&) = delete;
    ~BitmapOwner() { R_FreeBitmap(&record); }  // a record without a size is left alone
};

// A lock that waits by sleeping; held across pointer swaps only.
class SpinLock {
    std::atomic<int32_t> m_n{0};

public:
    void lock() noexcept {
        while (m_n.fetch_add(1, std::memory_order_acquire) + 1 > 1) {
            m_n.fetch_sub(1, std::memory_order_relaxed);
            sysSleep(1);
        }
    }
    void unlock() noexcept { m_n.fetch_sub(1, std::memory_order_release); }
};

// A critical section that is made on first use and dies with the process, through the cleanup registry.
class LazyLock {
    std::atomic<bool> m_bReady{false};
    SysLock m_lock{};

    static void destroy(void* pThis, void*) noexcept;
    void prepare() noexcept;

public:
    void lock() noexcept {
        if (!isReady()) prepare();
        sysLockEnter(m_lock);
    }
    void unlock() noexcept { sysLockLeave(m_lock); }
    bool isReady() const noexcept { return m_bReady.load(std::memory_order_acquire); }
};

}  // namespace rv
