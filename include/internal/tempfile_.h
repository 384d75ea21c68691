// The temporary-file layer inside: its options and its lists.
#pragma once

#include <cstdlib>
#include <mutex>

#include "internal/rvclasses_.h"
#include "ravokit/frame.h"
#include "ravokit/tempfile.h"

namespace rv {

TEMPFILEOPTIONS tempFileOptions() noexcept;

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

// ---- names that the layer has given out or taken up. "/" and "\\" are the same in them.

bool isSameName(const char16_t* pszA, const char16_t* pszB) noexcept;
bool addTemporaryName(const char16_t* pszName) noexcept;  // if it is missing; false when memory is short
void removeTemporaryName(const char16_t* pszName) noexcept;

// Whether a memory file has a name, be it one that is deleted with its last handle. Its lock may be taken while the
// names are locked, but not the other way round.
bool hasMemoryFile(const char16_t* pszName) noexcept;

// ---- a file in memory: blocks of one size, of which the last grows up to it. What is allocated past the length is 0.

struct MEMTEMPFILE {
    uint32_t nBlockSize;
    uint32_t nLength = 0;
    uint32_t nLastBlockSize = 0;  // allocated of the last block
    uint8_t** ppBlocks = nullptr;
    uint32_t nBlocks = 0;
    uint32_t nPosition = 0;  // of all its handles
    Buffer<char16_t> name;
    int32_t nRefCount = 1;  // its handles: guarded by the list's lock, as the next
    bool bDeleted = false;
    bool bDeleteOnClose = false;

    explicit MEMTEMPFILE(uint32_t uBlockMB) noexcept;
    MEMTEMPFILE(const MEMTEMPFILE&) = delete;
    MEMTEMPFILE& operator=(const MEMTEMPFILE&) = delete;
    ~MEMTEMPFILE();
};

// Bytes that all memory files hold.
uint64_t memoryFileTotal() noexcept;

// Each at the file's position, with the count or -1. A write that gives -1 wants more room than the options leave or
// memory has, and changed nothing; one of 0 bytes ends the file here.
int32_t readMemoryFile(MEMTEMPFILE& file, void* pBuffer, uint32_t nBytes) noexcept;
int32_t writeMemoryFile(MEMTEMPFILE& file, const TEMPFILEOPTIONS& options, const void* pBuffer,
                        uint32_t nBytes) noexcept;
int64_t seekMemoryFile(MEMTEMPFILE& file, int64_t nOffset, int32_t nOrigin) noexcept;
void emptyMemoryFile(MEMTEMPFILE& file) noexcept;

}  // namespace rv
