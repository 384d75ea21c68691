// Start and stop of the library: with the process where it is linked in, else when it is loaded and unloaded.
#include "internal/library.h"

#include <atomic>

#include "internal/diagnostics.h"
#include "internal/threaddata.h"
#include "internal/threadpool.h"

namespace rv {
namespace {

const void* g_pModule = nullptr;
std::atomic<int32_t> g_nLoads{0};
std::atomic<void (*)() noexcept> g_pfnReleaseResidentModule{nullptr};

// A thread record that can't be had does not refuse the load: the system gives a library no way to. Calls of this
// thread then try again, and work with the fallback record meanwhile.
[[gnu::constructor]] void start() noexcept {
    g_pModule = sysModule();
    R_SetResourceDirectory(0, u"");
    R_AllocThreadData(1);
    g_nLoads.fetch_add(1, std::memory_order_relaxed);
    g_bLockTrace.store(false, std::memory_order_relaxed);
}

[[gnu::destructor]] void stop() noexcept {
    if (const auto pfn = g_pfnReleaseResidentModule.load(std::memory_order_acquire)) pfn();
    g_nLoads.fetch_sub(1, std::memory_order_relaxed);
    runCleanupPass();
    finishThreadPool(true);
    R_SetResourceDirectory(0, u"");
    releaseThreadSlot();  // last: the functions above may want the thread's record
}

}  // namespace

void setReleaseResidentModule(void (*pfn)() noexcept) noexcept {
    g_pfnReleaseResidentModule.store(pfn, std::memory_order_release);
}
const void* libraryModule() noexcept { return g_pModule; }
int32_t libraryLoadCount() noexcept { return g_nLoads.load(std::memory_order_relaxed); }

}  // namespace rv
