// The record of a thread: its settings and the values of its slots.
#pragma once

#include "internal/rvsystem_.h"
#include "ravokit/frame.h"

namespace rv {

// A thread's table of file callbacks, which the file services own. It has the size and layout of their record: two
// 32-bit words and seven pairs of function and user data.
struct TEMPOPTIONS {
    uint32_t uStructSize;
    uint32_t uReserved;
    uintptr_t slots[14];
};
RV_RECORD_SIZE(TEMPOPTIONS, 64, 120);

struct THREADDATA {
    void* pUserMatchTable;
    uint32_t nDefaultDithering;
    int32_t nDefaultXResolution;  // dots per inch, as the next
    int32_t nDefaultYResolution;
    uint32_t nDefaultMemoryType;   // BMMEM_CONVENTIONAL or BMMEM_DISK
    int32_t nMaxConventionalSize;  // the five thresholds: see R_SetMemoryThresholds
    int32_t nReservedMemory;
    int32_t nTileSize;           // bytes; 0 stands for 0x1000000
    int32_t nConventionalTiles;  // negative is a percentage
    int32_t nMaxTileViews;       // negative is a percentage
    STATUSCALLBACK pfnStatusCallback;
    void* pStatusUserData;
    STATUSCALLBACK pfnCopyStatusCallback;
    void* pCopyStatusUserData;
    uintptr_t* pTlsValues;  // TLS_SLOTS of them, owned
    uint32_t uReserved[2002];
    TEMPOPTIONS TempOptions1, TempOptions2;
    uint32_t nLastError;
};

// Stands in for the record of a thread that couldn't be given one. It is shared and unguarded, and its defaults are 0.
extern THREADDATA FallbackThreadData;

// The record in force: the thread's own, which is made on first need, else FallbackThreadData. Never fails.
THREADDATA& threadData() noexcept;

// The same without making one: null for a thread that has no record and was never refused one.
THREADDATA* existingThreadData() noexcept;

// Makes the process-wide thread slot, and the lock of R_TlsAlloc with it, unless they stand.
bool ensureThreadSlot() noexcept;

// Frees the calling thread's record and gives the slot up: its exit hook must not outlive the library's code.
void releaseThreadSlot() noexcept;

extern SysLock g_tlsLock;  // guards the table of R_TlsAlloc

}  // namespace rv
