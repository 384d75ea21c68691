// How a bitmap is stored, and moving it to another storage class or tile layout.
//
// Tiles change where they stand as long as their size stays. Everything else is a new bitmap that takes the old one's
// place when it is complete.
#include <algorithm>

#include "internal/bitmap_.h"
#include "internal/tiles_.h"
#include "ravokit/copy.h"
#include "ravokit/storage.h"

namespace rv {
namespace {

uint32_t memoryTypeOf(const BITMAPRECORD& bm) noexcept {
    if (!(bm.Flags & BMF_CONVENTIONAL)) return BMMEM_DISK;
    if (bm.Flags & BMF_COMPRESSED) return BMMEM_COMPRESSED;
    if (bm.Flags & BMF_SUPERCOMPRESSED) return BMMEM_SUPERCOMPRESSED;
    return bm.Flags & BMF_TILED ? BMMEM_TILED : BMMEM_CONVENTIONAL;
}

// The arguments of a call as they came; those without their bit are not to be read.
struct Wanted {
    uint32_t uMemory, uTileSize, uTotalTiles, uConventionalTiles, uMaxTileViews, uTileViews, uFlags;
    bool has(uint32_t uFlag) const noexcept { return (uFlags & uFlag) != 0; }
};

// The rows of a tile size, rounded up; a size of 0 is the thread's.
uint32_t rowsOfSize(const BITMAPRECORD& bm, uint32_t uTileSize) noexcept {
    if (uTileSize == 0) return rowsPerTile(bm, threadThresholds().nTileSize);
    return rowsPerTile(bm, uint64_t(uTileSize) + bm.BytesPerLine - 1);
}

// Rows of a tile for a layout built anew: as told, else for the number of tiles told, else as now, else the thread's.
uint32_t wantedRows(const BITMAPRECORD& bm, const Wanted& wanted) noexcept {
    if (wanted.has(SETMEM_TILE_SIZE)) return rowsOfSize(bm, wanted.uTileSize);
    if (wanted.has(SETMEM_TOTAL_TILES) && wanted.uTotalTiles)
        return tilesOf(bm.Height, std::min(wanted.uTotalTiles, uint32_t(bm.Height)));
    if (bm.Flags & BMF_TILED) return tileTable(bm).nRowsPerTile;
    return rowsOfSize(bm, 0);
}

// Counts for a layout built anew of nTiles tiles. What is not told is as now; a bitmap that has no tiles takes what
// BMMEM_TILED would give it.
TileCounts wantedCounts(const BITMAPRECORD& bm, const Wanted& wanted, uint32_t nTiles, uint32_t nRows) noexcept {
    TileCounts counts = splitTiles(nTiles, uint64_t(nRows) * bm.BytesPerLine, 0);
    if (bm.Flags & BMF_TILED) {
        const TILETABLE& now = tileTable(bm);
        const bool bAll = now.nConventionalTiles == now.nTiles;  // then all of the new ones are, however many
        counts = {bAll ? nTiles : now.nConventionalTiles, now.nMaxTileViews};
    }
    if (wanted.has(SETMEM_CONVENTIONAL_TILES)) counts.nConventional = wanted.uConventionalTiles;
    counts.nConventional = std::min(counts.nConventional, nTiles);
    if (wanted.has(SETMEM_MAX_TILE_VIEWS)) counts.nMaxViews = wanted.uMaxTileViews;
    counts.nMaxViews = std::min(counts.nMaxViews, nTiles - counts.nConventional);
    return counts;
}

// The views asked for. None stays none: row access maps nothing until views are asked for again.
int32_t applyViews(BITMAPRECORD& bm, const Wanted& wanted, uint32_t nNow) noexcept {
    TILETABLE& table = tileTable(bm);
    if (wanted.has(SETMEM_TILE_VIEWS))
        table.bNoViews = wanted.uTileViews == 0;
    else if (wanted.has(SETMEM_MAX_TILE_VIEWS))
        table.bNoViews = false;
    return setTileViews(bm, std::min(wanted.has(SETMEM_TILE_VIEWS) ? wanted.uTileViews : nNow, table.nMaxTileViews));
}

int32_t adjustTiles(BITMAPRECORD& bm, const Wanted& wanted) noexcept {
    TILETABLE& table = tileTable(bm);
    const uint32_t nTarget = wanted.has(SETMEM_CONVENTIONAL_TILES) ? std::min(wanted.uConventionalTiles, table.nTiles)
                                                                   : table.nConventionalTiles;
    if (wanted.has(SETMEM_MAX_TILE_VIEWS)) table.nMaxTileViews = std::min(wanted.uMaxTileViews, table.nTiles - nTarget);
    const uint32_t nNow = table.nTileViews;
    int32_t nStatus = 1;
    while (nStatus == 1 && table.nConventionalTiles < nTarget) nStatus = promoteTile(bm);
    while (nStatus == 1 && table.nConventionalTiles > nTarget) nStatus = demoteTile(bm);
    return nStatus == 1 ? applyViews(bm, wanted, nNow) : nStatus;
}

// Storage for the new bitmap in the class that uMemory asks for.
int32_t allocateFresh(BITMAPRECORD& fresh, const BITMAPRECORD& old, uint32_t uMemory, const Wanted& wanted) noexcept {
    if ((uMemory & ~uint32_t(BMMEM_NO_DISK)) != BMMEM_TILED) return allocateBitmap(fresh, uMemory, old.pPalette);
    const uint32_t nRows = wantedRows(old, wanted), nTiles = tilesOf(old.Height, nRows);
    if (nTiles <= 1) return allocateBitmap(fresh, BMMEM_CONVENTIONAL | (uMemory & BMMEM_NO_DISK), old.pPalette);
    return allocateTiled(fresh, uMemory, old.pPalette, nRows, wantedCounts(old, wanted, nTiles, nRows));
}

// The copy at the end of which the new bitmap is as the old one. Locks come before pixels, so that they can be reached.
int32_t fillFresh(BITMAPRECORD& fresh, BITMAPRECORD& old, const Wanted& wanted) noexcept {
    copyPaintTables(fresh, old);
    if (const int32_t n = copyLockCount(fresh, old); n != 1) return n;
    if (const int32_t n = R_CopyBitmapData(&fresh, &old); n != 1) return n;
    if (!(fresh.Flags & BMF_TILED)) return 1;
    const bool bTiled = (old.Flags & BMF_TILED) != 0;
    if (bTiled) tileTable(fresh).bNoViews = tileTable(old).bNoViews;
    return applyViews(fresh, wanted, bTiled ? tileTable(old).nTileViews : tileTable(fresh).nTileViews);
}

int32_t rebuild(BITMAPRECORD& bm, uint32_t uMemory, const Wanted& wanted) noexcept {
    BITMAPRECORD fresh;
    int32_t nStatus = R_DupBitmapNewDim(&fresh, &bm, bm.uStructSize, bm.Width, bm.Height, bm.BitsPerPixel, 0);
    if (nStatus != 1) return nStatus;
    nStatus = R_IntBeginCopyBitmap(&fresh, &bm, 0, &uMemory);
    if (nStatus != 1) {
        R_FreeDuplicateBitmap(&fresh, 0);
        return nStatus;
    }
    nStatus = allocateFresh(fresh, bm, uMemory, wanted);
    if (nStatus == 1) nStatus = fillFresh(fresh, bm, wanted);
    if (nStatus == 1)
        replaceBitmap(bm, fresh, true);
    else
        dropDuplicate(fresh, bm, DUP_BEGIN_REPLACE);
    return nStatus;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_GetBitmapMemoryInfo(const BITMAPRECORD* pBitmap, uint32_t* puMemory, uint32_t* puTileSize,
                              uint32_t* puTotalTiles, uint32_t* puConventionalTiles, uint32_t* puMaxTileViews,
                              uint32_t* puTileViews) noexcept {
    if (!isAllocated(pBitmap)) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (!puMemory) return -13;
    const BITMAPRECORD& bm = *pBitmap;
    *puMemory = memoryTypeOf(bm);
    const TILETABLE none{}, &table = *puMemory == BMMEM_TILED ? tileTable(bm) : none;
    if (puTileSize) *puTileSize = table.nRowsPerTile * bm.BytesPerLine;
    if (puTotalTiles) *puTotalTiles = table.nTiles;
    if (puConventionalTiles) *puConventionalTiles = table.nConventionalTiles;
    if (puMaxTileViews) *puMaxTileViews = table.nMaxTileViews;
    if (puTileViews) *puTileViews = table.nTileViews;
    return 1;
}

int32_t R_SetBitmapMemoryInfo(BITMAPRECORD* pBitmap, uint32_t uMemory, uint32_t uTileSize, uint32_t uTotalTiles,
                              uint32_t uConventionalTiles, uint32_t uMaxTileViews, uint32_t uTileViews,
                              uint32_t uFlags) noexcept {
    if (!pBitmap) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (!isAllocated(pBitmap)) return -2;
    BITMAPRECORD& bm = *pBitmap;
    const Wanted wanted{uMemory, uTileSize, uTotalTiles, uConventionalTiles, uMaxTileViews, uTileViews, uFlags};
    const uint32_t uNow = memoryTypeOf(bm);
    if (wanted.has(SETMEM_MEMORY) && uMemory != uNow) return rebuild(bm, uMemory, wanted);
    if (uNow != BMMEM_TILED) return 1;
    if (wanted.has(SETMEM_TILE_SIZE) && rowsOfSize(bm, uTileSize) != tileTable(bm).nRowsPerTile)
        return rebuild(bm, BMMEM_TILED, wanted);
    return adjustTiles(bm, wanted);
}

}  // extern "C"
