// The per-thread record: made on first need, freed when its thread ends, and one shared record for want of memory.
#include "internal/threaddata.h"

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "internal/rvclasses_.h"

namespace rv {
namespace {

std::atomic<bool> g_bSlot{false};
bool g_bTlsLock = false;  // under g_slotLock; the lock outlives the slot
SpinLock g_slotLock;

// Whether this thread was refused a record; it then reads the shared values that it wrote.
thread_local bool t_bFallback = false;

uintptr_t g_fallbackTlsValues[TLS_SLOTS];

void freeRecord(void* pRecord) noexcept {
    std::free(static_cast<THREADDATA*>(pRecord)->pTlsValues);
    std::free(pRecord);
}

THREADDATA* newRecord() noexcept {
    auto* p = static_cast<THREADDATA*>(std::calloc(1, sizeof(THREADDATA)));
    if (!p) return nullptr;
    p->pTlsValues = static_cast<uintptr_t*>(std::calloc(TLS_SLOTS, sizeof(uintptr_t)));
    if (!p->pTlsValues) {
        std::free(p);
        return nullptr;
    }
    p->nDefaultDithering = 7;
    p->nDefaultXResolution = p->nDefaultYResolution = 150;
    p->nDefaultMemoryType = BMMEM_CONVENTIONAL;
    p->nMaxConventionalSize = INT32_MAX;
    p->nConventionalTiles = -100;
    p->nMaxTileViews = 1;
    p->TempOptions1.uStructSize = p->TempOptions2.uStructSize = sizeof(TEMPOPTIONS);
    return p;
}

THREADDATA* ownRecord() noexcept {
    return g_bSlot.load(std::memory_order_acquire) ? static_cast<THREADDATA*>(sysSlotGet()) : nullptr;
}

}  // namespace

constinit THREADDATA FallbackThreadData = [] {
    THREADDATA td{};
    td.pTlsValues = g_fallbackTlsValues;
    return td;
}();
SysLock g_tlsLock;

bool ensureThreadSlot() noexcept {
    if (g_bSlot.load(std::memory_order_acquire)) return true;
    const std::scoped_lock lock(g_slotLock);
    if (g_bSlot.load(std::memory_order_relaxed)) return true;
    if (!g_bTlsLock && !(g_bTlsLock = sysLockInit(g_tlsLock))) return false;
    if (!sysSlotCreate(freeRecord)) return false;
    g_bSlot.store(true, std::memory_order_release);
    return true;
}

void releaseThreadSlot() noexcept {
    const std::scoped_lock lock(g_slotLock);
    if (!g_bSlot.load(std::memory_order_relaxed)) return;
    if (void* pRecord = sysSlotGet()) freeRecord(pRecord);
    g_bSlot.store(false, std::memory_order_release);
    sysSlotDelete();
}

THREADDATA* existingThreadData() noexcept {
    if (THREADDATA* p = ownRecord()) return p;
    return t_bFallback ? &FallbackThreadData : nullptr;
}

THREADDATA& threadData() noexcept {
    if (THREADDATA* p = ownRecord()) return *p;
    if (R_AllocThreadData(0) == 1)
        if (THREADDATA* p = ownRecord()) return *p;
    t_bFallback = true;
    return FallbackThreadData;
}

}  // namespace rv

using namespace rv;

extern "C" int32_t R_AllocThreadData(uint32_t) noexcept {
    if (!ensureThreadSlot()) return 0;
    if (ownRecord()) return 1;
    THREADDATA* p = newRecord();
    if (!p) return 0;
    if (sysSlotSet(p)) return 1;
    freeRecord(p);
    return 0;
}
