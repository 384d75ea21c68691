// System handles on Linux: descriptors and objects behind one closer, and the names of objects.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "internal/text.h"
#include "rvkrn/linux/named.h"

namespace rv {

bool sysCloseHandle(void* hOs) noexcept {
    const auto n = reinterpret_cast<uintptr_t>(hOs);
    if (n < kSysDescriptorEnd) return ::close(int(n)) == 0;
    auto* pObject = static_cast<SysObject*>(hOs);
    return pObject->nReferences.fetch_sub(1, std::memory_order_acq_rel) > 1 || pObject->close();
}

void* sysDuplicateHandle(void* hOs, bool bInherit) noexcept {
    const auto n = reinterpret_cast<uintptr_t>(hOs);
    if (n >= kSysDescriptorEnd) {
        static_cast<SysObject*>(hOs)->nReferences.fetch_add(1, std::memory_order_relaxed);
        return hOs;
    }
    const int fd = fcntl(int(n), bInherit ? F_DUPFD : F_DUPFD_CLOEXEC, 1);
    if (fd < 0) return nullptr;
    if (uintptr_t(fd) < kSysDescriptorEnd) return reinterpret_cast<void*>(uintptr_t(fd));
    ::close(fd);
    return nullptr;
}

std::mutex NamedObject::s_lock;
NamedObject* NamedObject::s_pFirst = nullptr;

NamedObject* NamedObject::find(const char16_t* pName) noexcept {
    const size_t nBytes = (wideLength(pName) + 1) * sizeof(char16_t);
    for (NamedObject* p = s_pFirst; p; p = p->m_pNext)
        if (p->nReferences.load(std::memory_order_relaxed) && wideLength(p->m_name.get()) == wideLength(pName) &&
            std::memcmp(p->m_name.get(), pName, nBytes) == 0)
            return p;
    return nullptr;
}

bool NamedObject::addReference() noexcept {
    uint32_t n = nReferences.load(std::memory_order_relaxed);
    while (n && !nReferences.compare_exchange_weak(n, n + 1, std::memory_order_relaxed)) {
    }
    return n != 0;
}

bool NamedObject::enter(const char16_t* pName) noexcept {
    const size_t n = wideLength(pName) + 1;
    if (!m_name.allocate(n)) return false;
    copyText(m_name.get(), pName, n);
    m_pNext = s_pFirst;
    s_pFirst = this;
    return true;
}

bool NamedObject::close() noexcept {
    if (m_name) {
        const std::scoped_lock lock(s_lock);
        NamedObject** pp = &s_pFirst;
        while (*pp != this) pp = &(*pp)->m_pNext;
        *pp = m_pNext;
    }
    delete this;
    return true;
}

}  // namespace rv
