// What decides between memory, tiles and disk: thresholds of the thread and one limit of the process.
#include <algorithm>

#include "internal/storage_.h"
#include "internal/threaddata.h"
#include "ravokit/storage.h"

namespace rv {
namespace {

constexpr uint64_t kAssumedMemory = 2'000'000'000;     // bytes that a bitmap may count on
constexpr uint64_t kReservedPercent = 40'000'000;      // one percent of reserved memory
constexpr uint64_t kConventionalPercent = 20'000'000;  // one percent of the largest conventional bitmap
constexpr uint64_t kDefaultTileSize = 0x1000000;
constexpr uint64_t kDefaultGlobalLimit = 43199488, kDefaultMaxSize = 1536000000;

uint64_t g_nGlobalLimit = 0;  // 0 is none

uint64_t bytesOf(int32_t nValue, uint64_t nPercent) noexcept {
    return nValue < 0 ? uint64_t(-int64_t(nValue)) * nPercent : uint64_t(nValue);
}

// Below -100 there are no percents.
bool isThreshold(int32_t n) noexcept { return n >= -100; }

}  // namespace

Thresholds threadThresholds() noexcept {
    const THREADDATA& thread = threadData();
    const uint64_t nReserved = bytesOf(thread.nReservedMemory, kReservedPercent);
    const uint64_t nFree = nReserved <= kAssumedMemory ? kAssumedMemory - nReserved : 0;
    return {std::min(nFree, bytesOf(thread.nMaxConventionalSize, kConventionalPercent)),
            thread.nTileSize > 0 ? uint64_t(thread.nTileSize) : kDefaultTileSize, thread.nConventionalTiles,
            thread.nMaxTileViews};
}

uint64_t globalConventionalLimit() noexcept { return g_nGlobalLimit; }

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetMemoryThresholds(int32_t nReservedMemory, int32_t nMaxConventionalSize, int32_t nTileSize,
                              int32_t nConventionalTiles, int32_t nMaxTileViews, uint32_t uFlags) noexcept {
    THREADDATA& thread = threadData();
    if (uFlags & 1) {
        if (!isThreshold(nReservedMemory)) return -13;
        thread.nReservedMemory = nReservedMemory;
    }
    if (uFlags & 2) {
        if (!isThreshold(nMaxConventionalSize)) return -13;
        thread.nMaxConventionalSize = nMaxConventionalSize;
    }
    if (uFlags & 4) {
        if (nTileSize < 0) return -13;
        thread.nTileSize = nTileSize;
    }
    if (uFlags & 8) {
        if (!isThreshold(nConventionalTiles)) return -13;
        thread.nConventionalTiles = nConventionalTiles;
    }
    if (uFlags & 16) {
        if (!isThreshold(nMaxTileViews)) return -13;
        thread.nMaxTileViews = nMaxTileViews;
    }
    return 1;
}

int32_t R_GetMemoryThresholds(int32_t* pReserved, int32_t* pMaxConventional, int32_t* pTileSize,
                              int32_t* pConventionalTiles, int32_t* pMaxViews) noexcept {
    const THREADDATA& thread = threadData();
    if (pReserved) *pReserved = thread.nReservedMemory;
    if (pMaxConventional) *pMaxConventional = thread.nMaxConventionalSize;
    if (pTileSize) *pTileSize = thread.nTileSize;
    if (pConventionalTiles) *pConventionalTiles = thread.nConventionalTiles;
    if (pMaxViews) *pMaxViews = thread.nMaxTileViews;
    return 1;
}

int32_t R_SetGlobalMemoryThresholds(const MEMORYTHRESHOLDS* pThresholds) noexcept {
    if (!pThresholds) {
        g_nGlobalLimit = 0;
        return 1;
    }
    if (pThresholds->uStructSize != sizeof *pThresholds) return -789;
    const auto n = int64_t(pThresholds->uMaxConventionalSize);
    if (n < -1) return -13;
    g_nGlobalLimit = n == -1 ? kDefaultGlobalLimit : uint64_t(n);
    return 1;
}

int32_t R_GetGlobalMemoryThresholds(MEMORYTHRESHOLDS* pThresholds, uint32_t uStructSize) noexcept {
    if (uStructSize != sizeof *pThresholds) return -789;
    if (!pThresholds) return -13;
    *pThresholds = {uStructSize, g_nGlobalLimit};
    return 1;
}

uint64_t R_IntGetMaximumConventionalMemorySize(int32_t nWhich) noexcept {
    return nWhich == -1 ? kDefaultGlobalLimit : nWhich == -2 ? kDefaultMaxSize : g_nGlobalLimit;
}

}  // extern "C"
