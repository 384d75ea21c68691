// Tiled storage: a bitmap as bands of whole rows, some in memory and the others in files, of which a few are in view at
// a time. Here are its making, its rows and its height; views are in tileviews.cpp.
#include <algorithm>
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/rowstore.h"
#include "internal/rvsystem_.h"
#include "internal/text.h"
#include "internal/tiles_.h"
#include "ravokit/tempfile.h"

namespace rv {
namespace {

constexpr uint64_t kAssumedMemory = 2'000'000'000;  // what memory and swap are taken to give beside the disk
constexpr uint64_t kLeastHalved = 0x800000;         // tiles up to this size are not halved
constexpr uint64_t kLeastHalvedRows = 8;            // nor are tiles of this many rows
constexpr uint32_t kDiskFull = 112;

uint64_t tableBytes(uint32_t nTiles) noexcept { return sizeof(TILETABLE) + uint64_t(nTiles) * sizeof(TILE); }

// Whether nSize bytes can be expected to find a place.
bool hasRoom(uint64_t nSize) noexcept {
    char16_t szDirectory[RV_TEMP_NAME_SIZE];
    uint64_t nFree = 0;
    const FileName directory(R_GetTempDirectory(szDirectory, RV_TEMP_NAME_SIZE) == 1 ? szDirectory : nullptr);
    if (!directory.get() || !sysDiskFree(directory.get(), nFree)) nFree = 0;
    return nSize <= nFree || nSize - nFree <= kAssumedMemory;
}

void closeTiles(TILETABLE& table, uint32_t nFirst, uint32_t nEnd) noexcept {
    while (nEnd > nFirst) closeTile(table.tile(--nEnd));
}

// A file that can't be made is no room on the disk, unless there are to be none.
int32_t fileStatus() noexcept { return temporaryFilesOff() ? -1 : -295; }

// Makes the tiles in order. nMade tells how many there are, on failure too.
int32_t makeTiles(BITMAPRECORD& bm, bool bNoDisk, uint32_t& nMade) noexcept {
    TILETABLE& table = tileTable(bm);
    for (nMade = 0; nMade < table.nTiles; ++nMade) {
        const uint64_t nBytes = tileBytes(bm, table, nMade, bm.Height);
        if (nMade < table.nConventionalTiles) {
            if (makeMemoryTile(table.tile(nMade), nBytes)) continue;
            if (bNoDisk) return -1;
            // Memory is short: what was wanted of it becomes files, in view as far as that goes.
            const uint32_t nWanted = table.nConventionalTiles - nMade;
            table.nMaxTileViews = std::min(table.nMaxTileViews + nWanted, table.nTiles);
            table.nConventionalTiles = nMade;
        }
        if (!makeFileTile(table.tile(nMade), nBytes)) return fileStatus();
    }
    const bool bFiles = table.nConventionalTiles < table.nTiles;
    return bFiles ? setTileViews(bm, std::min(table.nMaxTileViews, 1u)) : 1;
}

// Gives the last tile a share of nHeight rows, with its bytes kept and new ones clear. The new tile stands before the
// old one goes.
bool resizeTile(BITMAPRECORD& bm, uint32_t t, int32_t nHeight) noexcept {
    TILETABLE& table = tileTable(bm);
    TILE& tile = table.tile(t);
    const uint64_t nOld = tileBytes(bm, table, t, bm.Height), nNew = tileBytes(bm, table, t, nHeight);
    if (nOld == nNew) return true;
    if (!isMemoryTile(tile)) {
        dropTileView(table, t);  // it has the old size
        return resizeFile(tile.hFile, nOld, nNew);
    }
    TILE fresh{};
    if (!makeMemoryTile(fresh, nNew)) return false;
    std::memcpy(fresh.pView, tile.pView, size_t(std::min(nOld, nNew)));
    closeTile(tile);
    fresh.nQueueTile = tile.nQueueTile;  // the queue is not the tile's
    tile = fresh;
    return true;
}

void shrinkTiles(BITMAPRECORD& bm, uint32_t nTiles) noexcept {
    TILETABLE& table = tileTable(bm);
    for (uint32_t t = nTiles; t < table.nTiles; ++t) dropTileView(table, t);
    closeTiles(table, nTiles, table.nTiles);
    table.nTiles = nTiles;
}

// Adds file tiles up to nTiles of a bitmap of nHeight rows; on failure those made stay.
int32_t addTiles(BITMAPRECORD& bm, uint32_t nTiles, int32_t nHeight) noexcept {
    TILETABLE& table = tileTable(bm);
    for (; table.nTiles < nTiles; ++table.nTiles)
        if (!makeFileTile(table.tile(table.nTiles), tileBytes(bm, table, table.nTiles, nHeight))) return fileStatus();
    return 1;
}

bool growTable(BITMAPRECORD& bm, uint32_t nTiles) noexcept {
    const uint64_t nBytes = tableBytes(nTiles);
    void* p = nBytes > UINT32_MAX ? nullptr : R_GlobalRealloc(bm.pData, uint32_t(nBytes));
    if (p) bm.pData = static_cast<uint8_t*>(p);
    return p != nullptr;
}

// Where a request starts.
struct Place {
    uint64_t nTile, nOffset;
};
Place placeOf(const BITMAPRECORD& bm, TILETABLE& table, int32_t nRow, int64_t nColumnByte) noexcept {
    // Mostly the tile is that of the last request, and the division can be left out.
    uint32_t nInTile = uint32_t(nRow) - table.nLastFirstRow;
    if (nInTile >= table.nRowsPerTile) {
        nInTile = uint32_t(nRow) % table.nRowsPerTile;
        table.nLastFirstRow = uint32_t(nRow) - nInTile;
        table.nLastTile = uint32_t(nRow) / table.nRowsPerTile;
    }
    return {table.nLastTile, uint64_t(nInTile) * bm.BytesPerLine + uint64_t(nColumnByte)};
}

// The bytes of a request that lies in the view of one tile, or null.
uint8_t* bytesInView(TILETABLE& table, Place place, uint32_t nBytes) noexcept {
    if (place.nTile >= table.nTiles) return nullptr;
    const TILE& tile = table.tile(uint32_t(place.nTile));  // one without a view has no bytes in it
    return place.nOffset < tile.nViewSize && nBytes <= tile.nViewSize - place.nOffset ? tile.pView + place.nOffset
                                                                                      : nullptr;
}

// Calls move(tile, offset in the tile, bytes before, bytes) for each tile that a request touches, which has its view by
// then if it can have one. Gives the bytes of the request that lie in tiles; a move that gives false ends it.
template <class Move>
uint32_t walkTiles(BITMAPRECORD& bm, Place place, uint32_t nBytes, Move move) noexcept {
    TILETABLE& table = tileTable(bm);
    const uint64_t nFull = uint64_t(table.nRowsPerTile) * bm.BytesPerLine;
    uint64_t t = place.nTile + place.nOffset / nFull;  // a column past the last row's end is in another tile
    uint64_t nOffset = place.nOffset % nFull;
    uint32_t nDone = 0;
    for (; t < table.nTiles && nDone < nBytes; ++t, nOffset = 0) {
        const uint64_t nTile = tileBytes(bm, table, uint32_t(t), bm.Height);
        if (nOffset >= nTile) break;
        ensureTileView(bm, uint32_t(t));
        const auto nPiece = uint32_t(std::min<uint64_t>(nTile - nOffset, nBytes - nDone));
        if (!move(table.tile(uint32_t(t)), nOffset, nDone, nPiece)) break;
        nDone += nPiece;
    }
    return nDone;
}

}  // namespace

TileCounts splitTiles(uint32_t nTiles, uint64_t nTileSize, uint64_t nMemory) noexcept {
    const Thresholds limits = threadThresholds();
    const double n = nTiles;
    const int64_t nWanted = limits.nConventionalTiles < 0 ? int64_t(n * -double(limits.nConventionalTiles) / 100)
                                                          : limits.nConventionalTiles;
    const int64_t c = int64_t(std::min(uint64_t(nWanted), nMemory / nTileSize));
    if (c >= int64_t(nTiles)) return {nTiles, 0};
    int64_t v = limits.nMaxTileViews;
    if (v < 0) {
        v = v == -100 ? c : int64_t((n - double(c)) * -double(v) / double(v + 100));
        v = std::max<int64_t>(v, 1);
    }
    if (v <= c) return {uint32_t(c - v), uint32_t(v)};
    return {0, uint32_t(std::max<int64_t>(c, 1))};
}

uint32_t rowsPerTile(const BITMAPRECORD& bm, uint64_t nTileSize) noexcept {
    const uint64_t nRows = std::max<uint64_t>(nTileSize / bm.BytesPerLine, 1);
    return uint32_t(std::min<uint64_t>(nRows, INT32_MAX));
}

uint32_t tilesOf(int32_t nHeight, uint32_t nRowsPerTile) noexcept {
    return uint32_t((uint64_t(uint32_t(nHeight)) + nRowsPerTile - 1) / nRowsPerTile);
}

int32_t buildTiles(BITMAPRECORD& bm, uint32_t nRowsPerTile, TileCounts counts, bool bNoDisk) noexcept {
    if (bm.Height <= 0) return -2;
    const uint32_t nTiles = tilesOf(bm.Height, nRowsPerTile);
    if (bNoDisk) counts = {nTiles, 0};
    BITMAPRECORD fresh = bm;
    fresh.pData = newBlock<uint8_t>(tableBytes(nTiles));
    if (!fresh.pData) return -1;
    TILETABLE& table = tileTable(fresh);
    table.nTiles = nTiles;
    table.nRowsPerTile = nRowsPerTile;
    table.nConventionalTiles = std::min(counts.nConventional, nTiles);
    table.nMaxTileViews = std::min(counts.nMaxViews, nTiles);
    uint32_t nMade = 0;
    if (const int32_t nStatus = makeTiles(fresh, bNoDisk, nMade); nStatus != 1) {
        const uint32_t uReason = sysLastError();
        closeTiles(table, 0, nMade);
        freeBlock(fresh.pData);
        sysSetLastError(uReason);
        return nStatus;
    }
    bm.hMemory = nullptr;
    bm.pData = fresh.pData;
    bm.nDataOffset = 0;
    return 1;
}

int32_t createTiles(BITMAPRECORD& bm, uint64_t nTileSize, uint64_t nMemory, bool bNoDisk) noexcept {
    const auto build = [&] {
        const uint32_t nRows = rowsPerTile(bm, nTileSize);
        return buildTiles(bm, nRows, splitTiles(tilesOf(bm.Height, nRows), uint64_t(nRows) * bm.BytesPerLine, nMemory),
                          bNoDisk);
    };
    const bool bRetry = !bNoDisk && hasRoom(dataSize(bm));
    const uint64_t nLeast = std::max(kLeastHalvedRows * bm.BytesPerLine, kLeastHalved);
    int32_t nStatus = build();
    // Smaller pieces may be had where large ones were refused, but not from a full disk.
    while (nStatus != 1 && bRetry && sysLastError() != kDiskFull && nTileSize > nLeast) {
        nTileSize /= 2;
        nStatus = build();
    }
    return nStatus;
}

void freeTiles(BITMAPRECORD& bm) noexcept {
    TILETABLE& table = tileTable(bm);
    closeTiles(table, 0, table.nTiles);
    freeBlock(bm.pData);
}

TileSpan tileSpan(BITMAPRECORD& bm, int32_t nRow) noexcept {
    TILETABLE& table = tileTable(bm);
    if (nRow < 0 || nRow >= bm.Height) return {nullptr, 0, 0};
    const auto t = uint32_t(placeOf(bm, table, nRow, 0).nTile);
    ensureTileView(bm, t);
    const auto nFirst = int32_t(table.nLastFirstRow);
    return {table.tile(t).pView, nFirst, int32_t(std::min(table.nRowsPerTile, uint32_t(bm.Height - nFirst)))};
}

uint8_t* tileRow(BITMAPRECORD& bm, int32_t nRow) noexcept {
    const TileSpan span = tileSpan(bm, nRow);
    return span.pView ? span.pView + uint64_t(nRow - span.nFirstRow) * bm.BytesPerLine : nullptr;
}

// A read gives all that was asked for, whatever became of it; what can't be had is clear.
int32_t getTileBytes(BITMAPRECORD& bm, uint8_t* pBuffer, int32_t nRow, int64_t nColumnByte, uint32_t nBytes) noexcept {
    TILETABLE& table = tileTable(bm);
    const Place place = placeOf(bm, table, nRow, nColumnByte);
    if (const uint8_t* p = bytesInView(table, place, nBytes)) {
        copyRow(pBuffer, p, nBytes);
        return int32_t(nBytes);
    }
    const auto get = [&](const TILE& tile, uint64_t nOffset, uint32_t nBefore, uint32_t n) {
        uint8_t* const pTo = pBuffer + nBefore;
        if (tile.pView)
            copyRow(pTo, tile.pView + nOffset, n);
        else if (sysFileReadAt(tile.hFile->pBlock, pTo, n, int64_t(nOffset)) != n)
            std::memset(pTo, 0, n);
        return true;
    };
    const uint32_t nDone = walkTiles(bm, place, nBytes, get);
    if (nDone < nBytes) std::memset(pBuffer + nDone, 0, nBytes - nDone);
    return int32_t(nBytes);
}

int32_t putTileBytes(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nRow, int64_t nColumnByte,
                     uint32_t nBytes) noexcept {
    TILETABLE& table = tileTable(bm);
    const Place place = placeOf(bm, table, nRow, nColumnByte);
    if (uint8_t* p = bytesInView(table, place, nBytes)) {
        copyRow(p, pBuffer, nBytes);
        return int32_t(nBytes);
    }
    bool bWritten = true;
    walkTiles(bm, place, nBytes, [&](const TILE& tile, uint64_t nOffset, uint32_t nBefore, uint32_t n) {
        const uint8_t* const pFrom = pBuffer + nBefore;
        if (tile.pView)
            copyRow(tile.pView + nOffset, pFrom, n);
        else
            bWritten = sysFileWriteAt(tile.hFile->pBlock, pFrom, n, int64_t(nOffset)) == n;
        return bWritten;
    });
    return bWritten ? int32_t(nBytes) : -1;
}

// The last tile that stays, or that was last, changes first: nothing else has changed when that fails.
int32_t changeTileHeight(BITMAPRECORD& bm, int32_t nHeight) noexcept {
    const uint32_t nOld = tileTable(bm).nTiles, nNew = tilesOf(nHeight, tileTable(bm).nRowsPerTile);
    if (nNew > nOld && !growTable(bm, nNew)) return -1;
    if (!resizeTile(bm, std::min(nOld, nNew) - 1, nHeight)) return -1;
    TILETABLE& table = tileTable(bm);
    int32_t nStatus = 1;
    if (nNew < nOld)
        shrinkTiles(bm, nNew);
    else
        nStatus = addTiles(bm, nNew, nHeight);
    table.nConventionalTiles = std::min(table.nConventionalTiles, nNew);
    bm.Height = nStatus == 1 ? nHeight : int32_t(table.nRowsPerTile * table.nTiles);
    storeDataSize(bm, uint64_t(bm.BytesPerLine) * uint32_t(bm.Height));
    return nStatus;
}

}  // namespace rv
