// The table of a tiled bitmap, and what is done to single tiles and their views.
//
// A tile is in memory, or in a file with a view, or in a file without one. Views write through to their files, so that
// giving one up costs nothing but the mapping. Which file tiles have views is a queue: the oldest view goes first,
// however often it was used.
#pragma once

#include "internal/handles.h"
#include "internal/storage_.h"

namespace rv {

struct TILE {
    RVHANDLE hMapping;    // of the view: a mapping of the file, or the memory itself; null without a view
    uint8_t* pView;       // the tile's bytes, or null
    uint64_t nViewSize;   // bytes
    RVHANDLE hFile;       // all ones for a memory tile
    uint32_t nQueueTile;  // entry of the queue, not of this tile: record k has the tile that was mapped k-th
};

// A block at pData; the records of the tiles follow it.
struct TILETABLE {
    uint32_t nTiles;
    uint32_t nConventionalTiles;  // the first ones are memory tiles
    uint32_t nRowsPerTile;        // in all but the last
    uint32_t nTileViews;          // entries of the queue
    uint32_t nMaxTileViews;
    uint32_t nLastTile, nLastFirstRow;  // the tile of the last request, and its first row
    uint32_t bNoViews;                  // views were set to none: row access goes through the files

    TILE& tile(uint32_t t) noexcept { return reinterpret_cast<TILE*>(this + 1)[t]; }
};
static_assert(sizeof(TILETABLE) % alignof(TILE) == 0, "the records follow the table");

inline TILETABLE& tileTable(const BITMAPRECORD& bm) noexcept { return *reinterpret_cast<TILETABLE*>(bm.pData); }
inline bool isMemoryTile(const TILE& tile) noexcept { return isAllOnes(tile.hFile); }

// Bytes of tile t in a bitmap of nHeight rows.
inline uint64_t tileBytes(const BITMAPRECORD& bm, const TILETABLE& table, uint32_t t, int32_t nHeight) noexcept {
    const uint64_t nLeft = uint64_t(uint32_t(nHeight)) - uint64_t(t) * table.nRowsPerTile;
    return bm.BytesPerLine * (nLeft < table.nRowsPerTile ? nLeft : table.nRowsPerTile);
}

// ---- creation

struct TileCounts {
    uint32_t nConventional, nMaxViews;
};
// How many of nTiles are memory and how many may have a view, by the thread's thresholds and nMemory bytes. The views
// come out of the memory budget.
TileCounts splitTiles(uint32_t nTiles, uint64_t nTileSize, uint64_t nMemory) noexcept;

// Rows of a tile of nTileSize bytes, one at least; and the tiles that a bitmap is then.
uint32_t rowsPerTile(const BITMAPRECORD& bm, uint64_t nTileSize) noexcept;
uint32_t tilesOf(int32_t nHeight, uint32_t nRowsPerTile) noexcept;

// createTiles with all that it decides decided. bNoDisk: all tiles are memory.
int32_t buildTiles(BITMAPRECORD& bm, uint32_t nRowsPerTile, TileCounts counts, bool bNoDisk) noexcept;

// allocateBitmap for tiles of that layout: the callbacks are asked as there.
int32_t allocateTiled(BITMAPRECORD& bm, uint32_t uMemoryFlags, const RGBQUAD* pPalette, uint32_t nRowsPerTile,
                      TileCounts counts) noexcept;

// Gives a tile the memory, or the file without a view; false, and nothing is taken, when there is none.
bool makeMemoryTile(TILE& tile, uint64_t nBytes) noexcept;
bool makeFileTile(TILE& tile, uint64_t nBytes) noexcept;
// Gives all of a tile back. Its entry of the queue, if it has one, is left to the caller.
void closeTile(TILE& tile) noexcept;

// ---- views

// Maps a view of tile t unless it has one. At the limit, and while the system refuses, the oldest views go. False when
// there can be no view: the tile is then used through its file.
bool ensureTileView(BITMAPRECORD& bm, uint32_t t) noexcept;
// Ends the view of tile t, if it is one of a file.
void dropTileView(TILETABLE& table, uint32_t t) noexcept;
// Has n views mapped: the oldest go, or the first tiles without one are mapped. Where the system refuses, memory tiles
// become file tiles from the last one on. 1 with as many as could be had, or the status of that.
int32_t setTileViews(BITMAPRECORD& bm, uint32_t n) noexcept;

// The last memory tile becomes a file tile: 1, -295 no file, -5 it can't be written.
int32_t demoteTile(BITMAPRECORD& bm) noexcept;
// The first file tile becomes a memory tile: 1, -1 no memory, -7 the file can't be read.
int32_t promoteTile(BITMAPRECORD& bm) noexcept;

}  // namespace rv
