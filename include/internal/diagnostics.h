// Diagnostics: the trace that goes nowhere, reports to whoever listens, and the lock trace.
#pragma once

#include <atomic>
#include <cstdint>

namespace rv {

// Formats and discards. It never fails, whatever the text.
[[gnu::format(printf, 1, 2)]] void Trace(const char* pFormat, ...) noexcept;

// Formats at most 4095 characters, and tells an attached debugger and the diagnostics sink (R_IntStartupBuffers).
// Reports are written in ASCII. A message dialog belongs to the sink: this platform has none of its own.
[[gnu::format(printf, 2, 3)]] void ReportMessage(const char* pTitle, const char* pFormat, ...) noexcept;

// The lock trace: while it is on, the calls that know a bitmap's legal lock counts report one outside them. Off at
// start.
extern std::atomic<bool> g_bLockTrace;

// pName is the reporting call; the row calls end their line in "\r\n".
void reportLockCount(const char* pName, int32_t nLockCount, bool bRowCall = false) noexcept;

inline void traceLockCount(const char* pName, int32_t nLockCount, bool bLegal, bool bRowCall = false) noexcept {
    if (!bLegal && g_bLockTrace.load(std::memory_order_relaxed)) [[unlikely]]
        reportLockCount(pName, nLockCount, bRowCall);
}

}  // namespace rv
