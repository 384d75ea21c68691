// Redirection tables: the process's, a thread's slots over it, and the exchange of slots with a caller's table.
#include <algorithm>
#include <bit>
#include <mutex>

#include "internal/redirect_.h"
#include "internal/rvclasses_.h"
#include "internal/text.h"
#include "internal/threaddata.h"

namespace rv {

constexpr REDIRECTIO kDefaultRedirection{sizeof(REDIRECTIO), 0,       R_OsOpen,   nullptr, R_OsRead,  nullptr,
                                         R_OsWrite,          nullptr, R_OsSeek,   nullptr, R_OsClose, nullptr,
                                         copyFile,           nullptr, deleteFile, nullptr};

namespace {

// What a function may be in a caller's table, beside 0, which leaves the slot alone.
constexpr uintptr_t kEmpty = UINTPTR_MAX, kPutDefault = UINTPTR_MAX - 1;

// A table with its slots as words. Slot i is its function, in the word 2 i, and its user data, in the word behind.
using Words = TEMPOPTIONS;
constexpr size_t kSlots = std::size(Words{}.slots) / 2;
constexpr size_t kFileSlots = 5;  // those about an open file come first

Words wordsOf(const REDIRECTIO& table) noexcept { return std::bit_cast<Words>(table); }
REDIRECTIO tableOf(const Words& words) noexcept { return std::bit_cast<REDIRECTIO>(words); }

void replace(Words& words, uintptr_t uFrom, uintptr_t uTo) noexcept {
    for (size_t i = 0; i < kSlots; ++i)
        if (words.slots[2 * i] == uFrom) words.slots[2 * i] = uTo;
}

void resolveDefaults(Words& words) noexcept {
    const Words byDefault = wordsOf(kDefaultRedirection);
    for (size_t i = 0; i < kSlots; ++i)
        if (words.slots[2 * i] == kPutDefault) std::copy_n(byDefault.slots + 2 * i, 2, words.slots + 2 * i);
}

void exchangeSlots(Words& words, Words& stored) noexcept {
    for (size_t i = 0; i < kSlots; ++i)
        if (words.slots[2 * i]) std::swap_ranges(words.slots + 2 * i, words.slots + 2 * i + 2, stored.slots + 2 * i);
}

// The exchange with a table that may have empty slots: what was empty is given back as what empties it again.
void exchangeOrEmpty(Words& words, Words& stored) noexcept {
    replace(stored, 0, kEmpty);
    exchangeSlots(words, stored);
    replace(stored, kEmpty, 0);
}

struct ProcessTable {
    LazyLock lock;
    REDIRECTIO table = kDefaultRedirection;
};
constinit ProcessTable g_tables[2];

ProcessTable& processTable(RedirectScope scope) noexcept { return g_tables[scope == RedirectScope::temporary]; }
Words& threadTable(THREADDATA& thread, RedirectScope scope) noexcept {
    return scope == RedirectScope::normal ? thread.TempOptions1 : thread.TempOptions2;
}

REDIRECTIO copyOfProcessTable(RedirectScope scope) noexcept {
    ProcessTable& process = processTable(scope);
    const std::scoped_lock lock(process.lock);
    return process.table;
}

// What a function argument puts into a thread's slot i, whose other words are the table's.
uintptr_t slotValue(uintptr_t uFunction, size_t i) noexcept {
    if (uFunction == kPutDefault) return wordsOf(kDefaultRedirection).slots[2 * i];
    return uFunction == kEmpty ? 0 : uFunction;
}

template <class Function>
void exchangeFunction(Function* ppfn, Words& words, size_t i) noexcept {
    if (!ppfn) return;
    uintptr_t& slot = words.slots[2 * i];
    const uintptr_t uOld = slot ? slot : kEmpty;
    if (*ppfn) slot = slotValue(reinterpret_cast<uintptr_t>(*ppfn), i);
    *ppfn = reinterpret_cast<Function>(uOld);
}

bool hasOwnFunctions(const REDIRECTIO& table) noexcept {
    const Words words = wordsOf(table), byDefault = wordsOf(kDefaultRedirection);
    for (size_t i = 0; i < kFileSlots; ++i)
        if (words.slots[2 * i] != byDefault.slots[2 * i]) return true;
    return false;
}

// Stands in a thread's slot for the narrow callback, so that the slot's user data is the caller's own.
thread_local PFNREDIRECTOPENA t_pfnNarrowOpen = nullptr;

RVFILE openByNarrowName(const char16_t* pszName, int32_t nFlags, int32_t nMode, void* pUserData) noexcept {
    const Utf8Text name(pszName);
    if (!t_pfnNarrowOpen || (pszName && !name.get())) return RV_INVALID_FILE;
    return t_pfnNarrowOpen(name.get(), nFlags, nMode, pUserData);
}

}  // namespace

REDIRECTIO effectiveTable(RedirectScope scope) noexcept {
    Words words = wordsOf(copyOfProcessTable(scope));
    THREADDATA* pThread = existingThreadData();
    if (!pThread) return tableOf(words);
    const Words& own = threadTable(*pThread, scope);
    for (size_t i = 0; i < kSlots; ++i)
        if (own.slots[2 * i]) std::copy_n(own.slots + 2 * i, 2, words.slots + 2 * i);
    replace(words, kEmpty, 0);
    return tableOf(words);
}

REDIRECTIO resolvedTable(const REDIRECTIO& table) noexcept {
    Words words = wordsOf(table);
    resolveDefaults(words);
    replace(words, kEmpty, 0);
    return tableOf(words);
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetRedirectFunctions(REDIRECTIO* pTable, int32_t nScope, int32_t bGlobal) noexcept {
    if (!pTable) return -814;                                    // A NULL pointer was passed
    if (pTable->uStructSize != sizeof(REDIRECTIO)) return -789;  // The structure size is invalid
    if (nScope == 2) return -16;                                 // the layer has no table of its own to change
    if (nScope != 0 && nScope != 1) return -13;                  // Invalid parameter passed
    const RedirectScope scope = nScope ? RedirectScope::temporary : RedirectScope::normal;
    Words words = wordsOf(*pTable);
    resolveDefaults(words);
    if (bGlobal) {
        replace(words, kEmpty, 0);
        ProcessTable& process = processTable(scope);
        const std::scoped_lock lock(process.lock);
        Words stored = wordsOf(process.table);
        exchangeSlots(words, stored);
        process.table = tableOf(stored);
    } else {
        exchangeOrEmpty(words, threadTable(threadData(), scope));
    }
    *pTable = tableOf(words);
    return 1;
}

int32_t R_GetRedirectFunctions(REDIRECTIO* pTable, uint32_t uStructSize, int32_t nScope, int32_t bGlobalOnly) noexcept {
    if (!pTable) return -814;                            // A NULL pointer was passed
    if (uStructSize != sizeof(REDIRECTIO)) return -789;  // The structure size is invalid
    switch (nScope) {
        case 0:
        case 1: {
            const RedirectScope scope = nScope ? RedirectScope::temporary : RedirectScope::normal;
            *pTable = bGlobalOnly ? copyOfProcessTable(scope) : effectiveTable(scope);
            return 1;
        }
        case 2:
            *pTable = temporaryLayerTable();
            return 1;
        case 3:
            *pTable = kDefaultRedirection;
            return 1;
        default:
            return -13;  // Invalid parameter passed
    }
}

int32_t R_GetRedirectFunctions2(const char16_t* pszName, REDIRECTIO* pTable, uint32_t uStructSize, int32_t nScope,
                                int32_t bGlobalOnly) noexcept {
    if (!isSchemeName(pszName)) return R_GetRedirectFunctions(pTable, uStructSize, nScope, bGlobalOnly);
    if (!pTable) return -814;                            // A NULL pointer was passed
    if (uStructSize != sizeof(REDIRECTIO)) return -789;  // The structure size is invalid
    return findRegisteredTable(pszName, *pTable);
}

int32_t R_RedirectIO(PFNREDIRECTOPEN pfnOpen, PFNREDIRECTREAD pfnRead, PFNREDIRECTWRITE pfnWrite,
                     PFNREDIRECTSEEK pfnSeek, PFNREDIRECTCLOSE pfnClose, void* pUserData) noexcept {
    const Words given = wordsOf({sizeof(REDIRECTIO), 0, pfnOpen, pUserData, pfnRead, pUserData, pfnWrite, pUserData,
                                 pfnSeek, pUserData, pfnClose, pUserData, nullptr, nullptr, nullptr, nullptr});
    Words& own = threadTable(threadData(), RedirectScope::normal);
    for (size_t i = 0; i < kFileSlots; ++i) {
        own.slots[2 * i] = slotValue(given.slots[2 * i] ? given.slots[2 * i] : kPutDefault, i);
        own.slots[2 * i + 1] = given.slots[2 * i + 1];
    }
    return 1;
}

int32_t R_RedirectIOA(PFNREDIRECTOPENA pfnOpen, PFNREDIRECTREAD pfnRead, PFNREDIRECTWRITE pfnWrite,
                      PFNREDIRECTSEEK pfnSeek, PFNREDIRECTCLOSE pfnClose, void* pUserData) noexcept {
    const auto uOpen = reinterpret_cast<uintptr_t>(pfnOpen);
    const bool bFunction = uOpen && uOpen != kEmpty && uOpen != kPutDefault;
    if (bFunction) t_pfnNarrowOpen = pfnOpen;
    return R_RedirectIO(bFunction ? openByNarrowName : reinterpret_cast<PFNREDIRECTOPEN>(uOpen), pfnRead, pfnWrite,
                        pfnSeek, pfnClose, pUserData);
}

int32_t R_FilterIO(PFNREDIRECTOPEN* ppfnOpen, PFNREDIRECTREAD* ppfnRead, PFNREDIRECTWRITE* ppfnWrite,
                   PFNREDIRECTSEEK* ppfnSeek, PFNREDIRECTCLOSE* ppfnClose, void** ppOpenData, void** ppReadData,
                   void** ppWriteData, void** ppSeekData, void** ppCloseData) noexcept {
    Words& own = threadTable(threadData(), RedirectScope::normal);
    exchangeFunction(ppfnOpen, own, 0);
    exchangeFunction(ppfnRead, own, 1);
    exchangeFunction(ppfnWrite, own, 2);
    exchangeFunction(ppfnSeek, own, 3);
    exchangeFunction(ppfnClose, own, 4);
    size_t i = 0;
    for (void** ppData : {ppOpenData, ppReadData, ppWriteData, ppSeekData, ppCloseData}) {
        uintptr_t& uData = own.slots[2 * i++ + 1];
        if (ppData) *ppData = reinterpret_cast<void*>(std::exchange(uData, reinterpret_cast<uintptr_t>(*ppData)));
    }
    return 1;
}

int32_t R_GetFilterIOData(void** ppOpenData, void** ppReadData, void** ppWriteData, void** ppSeekData,
                          void** ppCloseData) noexcept {
    const REDIRECTIO table = effectiveTable(RedirectScope::normal);
    if (ppOpenData) *ppOpenData = table.pOpenUserData;
    if (ppReadData) *ppReadData = table.pReadUserData;
    if (ppWriteData) *ppWriteData = table.pWriteUserData;
    if (ppSeekData) *ppSeekData = table.pSeekUserData;
    if (ppCloseData) *ppCloseData = table.pCloseUserData;
    return 1;
}

int32_t R_UpdateRedirectFunctions(RVFILE hFile, REDIRECTIO* pTable) noexcept {
    if (!pTable) return -814;                                    // A NULL pointer was passed
    if (pTable->uStructSize != sizeof(REDIRECTIO)) return -789;  // The structure size is invalid
    RFILEHANDLE* pFile = wrapperOf(hFile);
    if (!pFile) return -1852;  // (Internal error) Invalid file handle
    Words words = wordsOf(*pTable), stored = wordsOf(pFile->table);
    resolveDefaults(words);
    exchangeOrEmpty(words, stored);
    pFile->table = tableOf(stored);
    *pTable = tableOf(words);
    return 1;
}

int32_t R_UsesRedirectIO(const char16_t* pszName, RVFILE hFile) noexcept {
    if (hasOwnFunctions(effectiveTable(RedirectScope::normal)) || isSchemeName(pszName)) return 1;
    const RFILEHANDLE* pFile = wrapperOf(hFile);
    return pFile && hasOwnFunctions(pFile->table) ? 1 : 0;
}

}  // extern "C"
