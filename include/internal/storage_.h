// Storage classes as the allocator, row access and the freeing of a bitmap see them.
#pragma once

#include "ravokit/bitmap.h"

namespace rv {

// ---- thresholds

struct Thresholds {
    uint64_t nMemoryLimit;  // the most that a conventional bitmap may take
    uint64_t nTileSize;
    int32_t nConventionalTiles;  // tiles kept in memory; -p is p percent of all
    int32_t nMaxTileViews;       // views at one time; negative as splitTiles tells
};
// The limits of the calling thread, with percentages and defaults resolved.
Thresholds threadThresholds() noexcept;
uint64_t globalConventionalLimit() noexcept;  // 0 is none

// Whether temporary files are switched off.
bool temporaryFilesOff() noexcept;

// ---- creation: gives 1 and has set hMemory, pData and nDataOffset, or a status, with the record as it was. Freeing
// gives all of it back.

int32_t createConventional(BITMAPRECORD& bm) noexcept;
void freeConventional(BITMAPRECORD& bm) noexcept;

// Tiles of nTileSize bytes, of which as many as nMemory bytes hold are memory; bNoDisk: all are.
int32_t createTiles(BITMAPRECORD& bm, uint64_t nTileSize, uint64_t nMemory, bool bNoDisk) noexcept;
void freeTiles(BITMAPRECORD& bm) noexcept;

int32_t createDiskFile(BITMAPRECORD& bm) noexcept;
void freeDiskFile(BITMAPRECORD& bm) noexcept;

int32_t createRunLists(BITMAPRECORD& bm) noexcept;
void freeRunLists(BITMAPRECORD& bm) noexcept;

int32_t createStrips(BITMAPRECORD& bm) noexcept;
void freeStrips(BITMAPRECORD& bm) noexcept;

// ---- rows: what row access does in each class, after its opening. Each gives the count moved or a negative status. A
// length beyond the rest of the row runs on into the rows that follow. nColumnByte is the byte of the column in its
// row.

int32_t getDiskBytes(BITMAPRECORD& bm, uint8_t* pBuffer, int32_t nRow, int64_t nColumnByte, uint32_t nBytes) noexcept;
int32_t putDiskBytes(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nRow, int64_t nColumnByte,
                     uint32_t nBytes) noexcept;
int32_t getTileBytes(BITMAPRECORD& bm, uint8_t* pBuffer, int32_t nRow, int64_t nColumnByte, uint32_t nBytes) noexcept;
int32_t putTileBytes(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nRow, int64_t nColumnByte,
                     uint32_t nBytes) noexcept;
int32_t getRunListBytes(BITMAPRECORD& bm, uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes) noexcept;
int32_t putRunListBytes(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes) noexcept;
int32_t getStripBytes(BITMAPRECORD& bm, uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes) noexcept;
int32_t putStripBytes(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes) noexcept;

// The tile of a row as one piece: its rows, and its view, which is mapped if need be; pView is null when the tile has
// none. No rows for a row outside of the bitmap. The view stays until another tile is asked for.
struct TileSpan {
    uint8_t* pView;
    int32_t nFirstRow, nRows;
};
TileSpan tileSpan(BITMAPRECORD& bm, int32_t nRow) noexcept;
// The row in that view, or null.
uint8_t* tileRow(BITMAPRECORD& bm, int32_t nRow) noexcept;
// The row in the open strip, which is opened if need be and taken as written where bWrite; null on failure.
uint8_t* stripRow(BITMAPRECORD& bm, int32_t nRow, bool bWrite) noexcept;

// Moves a bitmap whose open strip can't be saved to memory, or to disk, with the pixels of that strip. 1, or the status
// of the move, and the strips are as they were.
int32_t leaveStrips(BITMAPRECORD& bm) noexcept;

// ---- size and height. A change of height gives 1, or a status; Height is stored by it.

uint64_t runListSize(const BITMAPRECORD& bm) noexcept;
uint64_t stripSize(const BITMAPRECORD& bm) noexcept;
int32_t changeRunListHeight(BITMAPRECORD& bm, int32_t nHeight) noexcept;
int32_t changeStripHeight(BITMAPRECORD& bm, int32_t nHeight) noexcept;
int32_t changeTileHeight(BITMAPRECORD& bm, int32_t nHeight) noexcept;

// ---- files

// A file of nSize bytes that is gone with its handle, its disk room taken; null when there is no such room or name, and
// while temporary files are off.
RVHANDLE newTemporaryFile(uint64_t nSize) noexcept;
// Makes a file of nOld bytes one of nNew, room that is added taken and clear; false with the file as it was.
bool resizeFile(RVHANDLE hFile, uint64_t nOld, uint64_t nNew) noexcept;

}  // namespace rv
