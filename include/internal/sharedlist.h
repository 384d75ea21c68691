// Lists that the process keeps for the file services.
#pragma once

#include <cstdlib>
#include <mutex>

#include "internal/rvclasses_.h"
#include "ravokit/frame.h"

namespace rv {

// A list of pointers that the process shares. It grows by a few entries, and what it holds is given back at the end of
// the process. The caller holds its lock around every call.
template <class T>
class SharedList {
    static constexpr uint32_t kGrowth = 5;
    T** m_pp = nullptr;
    uint32_t m_nCount = 0, m_nCapacity = 0;
    LazyLock m_lock;
    void (*const m_pfnFree)(T*) noexcept;

    static void clear(void* pThis, void*) noexcept {
        auto* p = static_cast<SharedList*>(pThis);
        const std::scoped_lock lock(*p);
        while (p->m_nCount) p->m_pfnFree(p->m_pp[--p->m_nCount]);
        std::free(std::exchange(p->m_pp, nullptr));
        p->m_nCapacity = 0;
    }

public:
    constexpr explicit SharedList(void (*pfnFree)(T*) noexcept) noexcept : m_pfnFree(pfnFree) {}
    void lock() noexcept { m_lock.lock(); }
    void unlock() noexcept { m_lock.unlock(); }

    // The first entry that a test takes; null when there is none.
    template <class Test>
    T* find(Test test) const noexcept {
        for (uint32_t i = 0; i < m_nCount; ++i)
            if (test(*m_pp[i])) return m_pp[i];
        return nullptr;
    }
    bool add(T* p) noexcept {
        if (m_nCount == m_nCapacity) {
            if (!m_pp && R_RegisterCleanupFunction(reinterpret_cast<uintptr_t>(this), clear, this, nullptr) != 1)
                return false;
            auto** pp = static_cast<T**>(std::realloc(m_pp, (size_t(m_nCapacity) + kGrowth) * sizeof(T*)));
            if (!pp) {
                if (!m_pp) R_UnregisterCleanupFunction(reinterpret_cast<uintptr_t>(this), clear, this, nullptr, 0);
                return false;
            }
            m_pp = pp;
            m_nCapacity += kGrowth;
        }
        m_pp[m_nCount++] = p;
        return true;
    }
    // Takes an entry off, without freeing it.
    void remove(const T* p) noexcept {
        uint32_t i = 0;
        while (i < m_nCount && m_pp[i] != p) ++i;
        if (i == m_nCount) return;
        for (--m_nCount; i < m_nCount; ++i) m_pp[i] = m_pp[i + 1];
    }
};

}  // namespace rv
