// The cleanup registry: functions that run when the process ends or the library goes, and the locks that die with it.
#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "internal/library.h"
#include "internal/rvclasses_.h"
#include "internal/threadpool.h"
#include "ravokit/frame.h"

namespace rv {
namespace {

struct CleanupEntry {
    uintptr_t uKey;
    CLEANUPFUNCTION pfnCleanup;
    void* pParam1;
    void* pParam2;
};

struct CleanupRegistry {
    uint32_t nCount;
    uint32_t nCapacity;
    CleanupEntry* pEntries;
};

constexpr uint32_t kGrowth = 5;

SpinLock g_registryLock;  // never held across a cleanup function
CleanupRegistry* g_pRegistry = nullptr;

SpinLock g_lazyLock;  // serialises the making of all lazy locks

void runEntry(const CleanupEntry& entry) noexcept {
    if (entry.pfnCleanup) entry.pfnCleanup(entry.pParam1, entry.pParam2);
}

bool growEntries(CleanupRegistry& registry) noexcept {
    const uint64_t nBytes = (uint64_t(registry.nCapacity) + kGrowth) * sizeof(CleanupEntry);
    void* pEntries = nBytes > PTRDIFF_MAX ? nullptr : std::realloc(registry.pEntries, size_t(nBytes));
    if (!pEntries) return false;
    registry.pEntries = static_cast<CleanupEntry*>(pEntries);
    registry.nCapacity += kGrowth;
    return true;
}

// Takes the newest matching entry below nEnd out; nEnd becomes its place. False when none is left.
bool takeMatch(uintptr_t uKey, CLEANUPFUNCTION pfn, const void* pParam1, uint32_t& nEnd, CleanupEntry& taken) noexcept {
    const std::scoped_lock lock(g_registryLock);
    if (!g_pRegistry) return false;
    CleanupRegistry& registry = *g_pRegistry;
    if (nEnd > registry.nCount) nEnd = registry.nCount;  // entries went while a function ran
    while (nEnd-- > 0) {
        CleanupEntry* p = registry.pEntries + nEnd;
        if (p->uKey != uKey || (pfn && (p->pfnCleanup != pfn || p->pParam1 != pParam1))) continue;
        taken = *p;
        std::copy(p + 1, registry.pEntries + registry.nCount, p);
        --registry.nCount;
        return true;
    }
    return false;
}

}  // namespace

void runCleanupPass() noexcept {
    for (;;) {
        finishThreadPool(false);  // work may still use what the functions take away
        CleanupRegistry round{};
        {
            const std::scoped_lock lock(g_registryLock);
            if (!g_pRegistry) return;
            round = std::exchange(*g_pRegistry, CleanupRegistry{});
            if (!round.pEntries) {  // the functions of the last round have registered nothing
                std::free(std::exchange(g_pRegistry, nullptr));
                return;
            }
        }
        while (round.nCount > 0) runEntry(round.pEntries[--round.nCount]);
        std::free(round.pEntries);
    }
}

void LazyLock::prepare() noexcept {
    const std::scoped_lock lock(g_lazyLock);
    if (m_bReady.load(std::memory_order_relaxed)) return;
    sysLockInit(m_lock);
    R_RegisterCleanupFunction(reinterpret_cast<uintptr_t>(this), destroy, this, nullptr);
    m_bReady.store(true, std::memory_order_release);
}

void LazyLock::destroy(void* pThis, void*) noexcept {
    auto* p = static_cast<LazyLock*>(pThis);
    p->m_bReady.store(false, std::memory_order_relaxed);  // whoever comes later makes it anew
    sysLockDelete(p->m_lock);
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_RegisterCleanupFunction(uintptr_t uKey, CLEANUPFUNCTION pfn, void* pParam1, void* pParam2) noexcept {
    bool bCreated, bStored;
    {
        const std::scoped_lock lock(g_registryLock);
        bCreated = !g_pRegistry;
        if (bCreated) g_pRegistry = static_cast<CleanupRegistry*>(std::calloc(1, sizeof(CleanupRegistry)));
        if (!g_pRegistry) return 0;
        CleanupRegistry& registry = *g_pRegistry;
        bStored = registry.nCount < registry.nCapacity || growEntries(registry);
        if (bStored) registry.pEntries[registry.nCount++] = {uKey, pfn, pParam1, pParam2};
    }
    // The stop of the library runs the pass too, but at exit that is after the destructors of those who registered.
    if (bCreated) std::atexit(runCleanupPass);
    return bStored ? 1 : 0;
}

void R_UnregisterCleanupFunction(uintptr_t uKey, CLEANUPFUNCTION pfn, void* pParam1, void*, int32_t bCall) noexcept {
    CleanupEntry taken;
    for (uint32_t nEnd = UINT32_MAX; takeMatch(uKey, pfn, pParam1, nEnd, taken);)
        if (bCall) runEntry(taken);
}

}  // extern "C"
