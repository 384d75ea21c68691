// The kernel's own thread-local slots: a table of slots in use, and a value of each in every thread's record.
#include <atomic>
#include <cstring>

#include "internal/threaddata.h"

namespace rv {
namespace {

constexpr uint8_t kInUse = 255;
constexpr uint32_t kNoSlot = UINT32_MAX;

uint8_t g_inUse[TLS_SLOTS];         // under the lock, as changes of the count
std::atomic<uint32_t> g_nCount{0};  // slots at or above it have never been handed out, or were freed from the top

class TlsLock {
public:
    TlsLock() noexcept { sysLockEnter(g_tlsLock); }
    TlsLock(const TlsLock&) = delete;
    TlsLock& operator=(const TlsLock&) = delete;
    ~TlsLock() { sysLockLeave(g_tlsLock); }
};

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

uint32_t R_TlsAlloc() noexcept {
    if (!ensureThreadSlot()) return kNoSlot;
    const TlsLock lock;
    uint32_t uIndex = g_nCount.load(std::memory_order_relaxed);
    if (uIndex < TLS_SLOTS) {
        g_nCount.store(uIndex + 1, std::memory_order_release);
    } else {
        const auto* p = static_cast<const uint8_t*>(std::memchr(g_inUse, 0, TLS_SLOTS));
        if (!p) return kNoSlot;
        uIndex = uint32_t(p - g_inUse);
    }
    g_inUse[uIndex] = kInUse;
    return uIndex;
}

int32_t R_TlsFree(uint32_t uIndex) noexcept {
    if (uIndex >= TLS_SLOTS || !ensureThreadSlot()) return 0;
    const TlsLock lock;
    const uint32_t nCount = g_nCount.load(std::memory_order_relaxed);
    if (uIndex >= nCount || !g_inUse[uIndex]) return 0;
    if (THREADDATA* p = existingThreadData()) p->pTlsValues[uIndex] = 0;
    g_inUse[uIndex] = 0;
    if (uIndex + 1 == nCount) g_nCount.store(uIndex, std::memory_order_release);
    return 1;
}

uintptr_t R_TlsGetValue(uint32_t uIndex) noexcept {
    const THREADDATA* p = existingThreadData();
    return p && uIndex < g_nCount.load(std::memory_order_acquire) ? p->pTlsValues[uIndex] : 0;
}

int32_t R_TlsSetValue(uint32_t uIndex, uintptr_t uValue) noexcept {
    THREADDATA& td = threadData();
    if (uIndex >= g_nCount.load(std::memory_order_acquire)) return 0;
    td.pTlsValues[uIndex] = uValue;
    return 1;
}

}  // extern "C"
