// Where bitmaps keep their pixels: the thresholds that decide between memory, tiles and disk when a bitmap is
// allocated, how one is stored, moving it to other storage, and changing its height.
#pragma once

#include "bitmap.h"

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

/// Tells how a bitmap is stored. *puMemory: BMMEM_CONVENTIONAL (also movable memory and the caller's data),
/// BMMEM_TILED, BMMEM_DISK, BMMEM_COMPRESSED or BMMEM_SUPERCOMPRESSED. The others may be null, and are 0 for a bitmap
/// without tiles: bytes of a tile (all but the last), tiles in all, tiles in memory, the most views of file tiles at
/// one time, and how many are mapped now. Returns 1, or, with nothing changed: -2 null or without storage, -789 unknown
/// record size, -13 null puMemory.
RV_API int32_t R_GetBitmapMemoryInfo(const BITMAPRECORD* pBitmap, uint32_t* puMemory, uint32_t* puTileSize,
                                     uint32_t* puTotalTiles, uint32_t* puConventionalTiles, uint32_t* puMaxTileViews,
                                     uint32_t* puTileViews) RV_NOEXCEPT;

/// Bits of R_SetBitmapMemoryInfo's uFlags: which of its arguments count.
enum {
    SETMEM_MEMORY = 1,
    SETMEM_TILE_SIZE = 2,
    SETMEM_TOTAL_TILES = 4,
    SETMEM_CONVENTIONAL_TILES = 8,
    SETMEM_MAX_TILE_VIEWS = 16,
    SETMEM_TILE_VIEWS = 32
};

/// Moves a bitmap to another storage class, or changes the layout of its tiles; the pixels, and all else that the
/// bitmap has, stay. uMemory is one of the types above, or other flags of R_AllocateBitmap; BMMEM_NO_DISK may stand
/// beside.
///
/// A uMemory that isn't the bitmap's type, or a uTileSize that comes to other rows in a tile, builds the bitmap anew.
/// The tile size is rounded up to rows; 0 is the thread's. Without one, uTotalTiles tells how many tiles a bitmap that
/// is built anew is cut into. One that fits one tile goes to conventional memory. What isn't told is as it was; a
/// bitmap that had no tiles takes file tiles with one view, as an allocation with BMMEM_TILED does, and memory tiles
/// only where there are to be no files.
///
/// All else is done where the tiles stand: uConventionalTiles of them are memory from now on, the first ones; at most
/// uMaxTileViews of the others have views at one time; uTileViews views are mapped. With uTileViews 0 row access maps
/// none either until views are asked for again: it goes through the files. On a bitmap without
/// tiles these three do nothing.
///
/// Returns 1, or: -2 null, -789 unknown record size, -2 without storage; of a bitmap that is built anew those of
/// R_DupBitmapNewDim, of the callbacks, -1 a callback wants no tiles, those of R_AllocateBitmap and R_CopyBitmapData,
/// and the bitmap is as it was then; -1 no memory for a tile, -295 no file for one, -5 it can't be written, -7 it can't
/// be read, with the tiles as far as they got.
RV_API int32_t R_SetBitmapMemoryInfo(BITMAPRECORD* pBitmap, uint32_t uMemory, uint32_t uTileSize, uint32_t uTotalTiles,
                                     uint32_t uConventionalTiles, uint32_t uMaxTileViews, uint32_t uTileViews,
                                     uint32_t uFlags) RV_NOEXCEPT;

/// Cuts rows off the end of the stored rows, or adds clear ones there. What hangs on the bitmap stays as it is.
/// Tiles that are added are file tiles.
/// Returns 1, or: -2 null or without storage; -789 unknown record size; -13 the caller's data, or movable memory that
/// is locked; 1 for the same height; -11 not a positive one; -3 too large for the older form of the record; -1 no
/// memory or disk room, with nothing changed; -295 no file for an added tile (-1 while temporary files are off): the
/// bitmap then has the rows of the tiles that could be made; those of compressed storage.
RV_API int32_t R_ChangeBitmapHeight(BITMAPRECORD* pBitmap, int32_t nHeight) RV_NOEXCEPT;

RV_C_END
