// The platform's short list: all that the library asks of the operating system. Implemented in rvkrn/linux, the only
// place that includes the system's headers.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rv {

// ---- threads -----------------------------------------------------------------------------------------------------

// A per-thread pointer. The exit hook runs in each ending thread whose value is not null, with that value.
bool sysSlotCreate(void (*pfnThreadExit)(void*)) noexcept;
void sysSlotDelete() noexcept;  // values are dropped, and the hook runs no more
void* sysSlotGet() noexcept;
bool sysSlotSet(void* pValue) noexcept;

void sysSleep(uint32_t nMilliseconds) noexcept;

// A recursive lock, in storage of its own so that it can be a static object that costs nothing until it is made.
struct SysLock {
    alignas(std::max_align_t) unsigned char storage[64];
};
bool sysLockInit(SysLock& lock) noexcept;
void sysLockDelete(SysLock& lock) noexcept;
void sysLockEnter(SysLock& lock) noexcept;
void sysLockLeave(SysLock& lock) noexcept;

// ---- objects behind handles of kind 9 ----------------------------------------------------------------------------

// A system handle is a file descriptor as a number, or the address of one of these.
struct SysObject {
    virtual bool close() noexcept = 0;  // destroys the object

protected:
    ~SysObject() = default;
};

// Closes either form. False when the system refuses.
bool sysCloseHandle(void* hOs) noexcept;

// Anonymous memory, cleared, aligned to 64 bytes at least: heap while small, a mapping of its own when large.
struct SysMemory final : SysObject {
    uint8_t* pData = nullptr;
    uint64_t nSize = 0;
    bool bMapped = false;
    bool close() noexcept override;
};
SysMemory* sysMemoryCreate(uint64_t nSize) noexcept;

// ---- clock and diagnostics ---------------------------------------------------------------------------------------

uint64_t sysTickCount64() noexcept;  // milliseconds, never going back

bool sysIsDebuggerPresent() noexcept;
void sysDebugWrite(const char* pUtf8) noexcept;

struct SysInfo {
    uint32_t nPageSize;
    uint32_t nProcessors;
    bool b64Bit;
};
SysInfo sysInfo() noexcept;

// Where the library's code is loaded; null when the system can't tell.
const void* sysModule() noexcept;

// Runs a piece of code with this thread alone in the locale of a language, "Japanese" or "Chinese", or in one of the
// system's by name; false when the system doesn't have it.
bool sysWithLocale(const char* pLanguage, void (*pfn)(void*), void* pArg) noexcept;

}  // namespace rv
