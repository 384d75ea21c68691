// Critical sections, the clock and the locale of a thread: calls of the process that forward to the platform.
#include <new>

#include "internal/rvsystem_.h"
#include "ravokit/objects.h"

namespace rv {
namespace {

static_assert(sizeof(CRITICALSECTION) == sizeof(SysLock) && alignof(CRITICALSECTION) == alignof(SysLock));

SysLock& lockOf(CRITICALSECTION* p) noexcept { return *std::launder(reinterpret_cast<SysLock*>(p->storage)); }

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_IntInitializeCriticalSection(CRITICALSECTION* pSection) noexcept {
    return sysLockInit(*new (pSection->storage) SysLock) ? 1 : 0;
}
void R_IntDeleteCriticalSection(CRITICALSECTION* pSection) noexcept { sysLockDelete(lockOf(pSection)); }
void R_IntEnterCriticalSection(CRITICALSECTION* pSection) noexcept { sysLockEnter(lockOf(pSection)); }
void R_IntLeaveCriticalSection(CRITICALSECTION* pSection) noexcept { sysLockLeave(lockOf(pSection)); }

uint64_t GetCurrentTime() noexcept { return sysTickCount64(); }

const char* R_Setlocale(int32_t nCategory, const char* pLocale) noexcept { return sysSetLocale(nCategory, pLocale); }
const char16_t* R_SetlocaleW(int32_t nCategory, const char16_t* pLocale) noexcept {
    return sysSetLocaleWide(nCategory, pLocale);
}

}  // extern "C"
