// Storage thresholds: what decides between memory, tiles and disk when a bitmap is allocated.
#pragma once

#include "types.h"

RV_C_BEGIN

/// The process-wide limit of conventional bitmaps, in bytes. Packed: 12 bytes in both data models.
#pragma pack(push, 1)
typedef struct MEMORYTHRESHOLDS {
    uint32_t uStructSize;
    uint64_t uMaxConventionalSize;
} MEMORYTHRESHOLDS;
#pragma pack(pop)
RV_RECORD_SIZE(MEMORYTHRESHOLDS, 12, 12);

/// Sets the calling thread's thresholds whose bit is set in uFlags, tested and stored in this order: 1 nReservedMemory
/// (bytes to keep free of the assumed 2,000,000,000; -p stands for p x 40,000,000), 2 nMaxConventionalSize (bytes; -p
/// stands for p x 20,000,000),
/// 4 nTileSize (bytes; 0 stands for 0x1000000), 8 nConventionalTiles (-p is p percent of the tiles), 16 nMaxTileViews.
/// Returns 1, or -13 at the first value below -100 (nTileSize: below 0); what stood before it stays stored.
RV_API int32_t R_SetMemoryThresholds(int32_t nReservedMemory, int32_t nMaxConventionalSize, int32_t nTileSize,
                                     int32_t nConventionalTiles, int32_t nMaxTileViews, uint32_t uFlags) RV_NOEXCEPT;
/// Tells the calling thread's thresholds; each pointer may be null. Always 1.
RV_API int32_t R_GetMemoryThresholds(int32_t* pReserved, int32_t* pMaxConventional, int32_t* pTileSize,
                                     int32_t* pConventionalTiles, int32_t* pMaxViews) RV_NOEXCEPT;
/// Sets the process-wide limit; null sets 0, which is none, and all ones the built-in 43199488.
/// Returns 1, or: -789 unknown size, -13 any other negative 64-bit limit.
RV_API int32_t R_SetGlobalMemoryThresholds(const MEMORYTHRESHOLDS* pThresholds) RV_NOEXCEPT;
/// Tells the process-wide limit. Returns 1, or: -789 uStructSize is not 12, -13 null.
RV_API int32_t R_GetGlobalMemoryThresholds(MEMORYTHRESHOLDS* pThresholds, uint32_t uStructSize) RV_NOEXCEPT;
/// -1: the built-in limit 43199488; -2: the built-in size 1536000000; anything else: the limit in force.
RV_API uint64_t R_IntGetMaximumConventionalMemorySize(int32_t nWhich) RV_NOEXCEPT;

RV_C_END
