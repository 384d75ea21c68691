// Tiles in memory, in files and in view: the queue of views, and tiles that change from one form to another.
#include <cstring>

#include "internal/rvsystem_.h"
#include "internal/tiles_.h"

namespace rv {
namespace {

uint64_t tileBytes(const BITMAPRECORD& bm, uint32_t t) noexcept { return tileBytes(bm, tileTable(bm), t, bm.Height); }

void closeView(TILE& tile) noexcept {
    if (tile.pView && !isMemoryTile(tile)) sysUnmapView(tile.pView, size_t(tile.nViewSize));
    closeHandle(tile.hMapping);  // the memory of a memory tile goes with it
    tile.hMapping = nullptr;
    tile.pView = nullptr;
    tile.nViewSize = 0;
}

// Takes entry k out of the queue; those behind it move up.
void leaveQueue(TILETABLE& table, uint32_t k) noexcept {
    for (; k + 1 < table.nTileViews; ++k) table.tile(k).nQueueTile = table.tile(k + 1).nQueueTile;
    --table.nTileViews;
}

void evictOldest(TILETABLE& table) noexcept { dropTileView(table, table.tile(0).nQueueTile); }

bool mapView(BITMAPRECORD& bm, uint32_t t) noexcept {
    TILETABLE& table = tileTable(bm);
    TILE& tile = table.tile(t);
    const uint64_t nBytes = tileBytes(bm, t);
    if (nBytes > SIZE_MAX) return false;
    SysObject* pMapping = sysMappingCreate(tile.hFile->pBlock, SysProtect::kReadWrite, nBytes, nullptr);
    RVHANDLE hMapping = wrapHandle(pMapping);
    void* p = hMapping ? sysMapView(*pMapping, 0, size_t(nBytes)) : nullptr;
    if (!p) {
        closeHandle(hMapping);
        return false;
    }
    tile.hMapping = hMapping;
    tile.pView = static_cast<uint8_t*>(p);
    tile.nViewSize = nBytes;
    table.tile(table.nTileViews++).nQueueTile = t;
    return true;
}

}  // namespace

bool makeMemoryTile(TILE& tile, uint64_t nBytes) noexcept {
    SysMemory* pMemory = sysMemoryCreate(nBytes);
    if (!pMemory) return false;
    uint8_t* const pData = pMemory->pData;
    RVHANDLE h = wrapHandle(static_cast<SysObject*>(pMemory));
    if (!h) return false;
    tile.hMapping = h;
    tile.pView = pData;
    tile.nViewSize = nBytes;
    tile.hFile = kNoFile;
    return true;
}

bool makeFileTile(TILE& tile, uint64_t nBytes) noexcept {
    RVHANDLE hFile = newTemporaryFile(nBytes);
    if (!hFile) return false;
    tile.hMapping = nullptr;
    tile.pView = nullptr;
    tile.nViewSize = 0;
    tile.hFile = hFile;
    return true;
}

void closeTile(TILE& tile) noexcept {
    closeView(tile);
    if (!isMemoryTile(tile)) closeHandle(tile.hFile);
    tile.hFile = nullptr;
}

bool ensureTileView(BITMAPRECORD& bm, uint32_t t) noexcept {
    TILETABLE& table = tileTable(bm);
    if (table.tile(t).pView) return true;
    if (table.bNoViews) return false;
    for (;;) {
        if (table.nTileViews < table.nMaxTileViews && mapView(bm, t)) return true;
        if (table.nTileViews == 0) return false;
        evictOldest(table);
    }
}

void dropTileView(TILETABLE& table, uint32_t t) noexcept {
    for (uint32_t k = 0; k < table.nTileViews; ++k)
        if (table.tile(k).nQueueTile == t) {
            leaveQueue(table, k);
            if (!isMemoryTile(table.tile(t))) closeView(table.tile(t));
            return;
        }
}

int32_t setTileViews(BITMAPRECORD& bm, uint32_t n) noexcept {
    TILETABLE& table = tileTable(bm);
    while (table.nTileViews > n) evictOldest(table);
    for (uint32_t t = table.nConventionalTiles; table.nTileViews < n && t < table.nTiles; ++t) {
        if (isMemoryTile(table.tile(t))) {
            if (t == table.nConventionalTiles) ++table.nConventionalTiles;
            continue;
        }
        if (table.tile(t).pView) continue;
        while (table.nTileViews < n && !mapView(bm, t)) {
            if (table.nConventionalTiles == 0) return 1;
            if (const int32_t nStatus = demoteTile(bm); nStatus != 1) return nStatus;
        }
    }
    return 1;
}

int32_t demoteTile(BITMAPRECORD& bm) noexcept {
    TILETABLE& table = tileTable(bm);
    const uint32_t t = table.nConventionalTiles - 1;
    TILE& tile = table.tile(t);
    TILE memory = tile;
    const uint64_t nBytes = tileBytes(bm, t);
    if (!makeFileTile(tile, nBytes)) return -295;  // Not enough disk space
    if (ensureTileView(bm, t)) {
        std::memcpy(tile.pView, memory.pView, size_t(nBytes));
    } else if (sysFileWriteAt(tile.hFile->pBlock, memory.pView, size_t(nBytes), 0) != int64_t(nBytes)) {
        closeTile(tile);
        memory.nQueueTile = tile.nQueueTile;  // the queue is not the tile's
        tile = memory;
        return -5;  // Error writing file
    }
    closeTile(memory);
    --table.nConventionalTiles;
    return 1;
}

int32_t promoteTile(BITMAPRECORD& bm) noexcept {
    TILETABLE& table = tileTable(bm);
    const uint32_t t = table.nConventionalTiles;
    TILE& tile = table.tile(t);
    const uint64_t nBytes = tileBytes(bm, t);
    TILE memory{};
    if (!makeMemoryTile(memory, nBytes)) return -1;  // Not enough memory available
    if (tile.pView) {
        std::memcpy(memory.pView, tile.pView, size_t(nBytes));
        dropTileView(table, t);
    } else if (sysFileReadAt(tile.hFile->pBlock, memory.pView, size_t(nBytes), 0) != int64_t(nBytes)) {
        closeTile(memory);
        return -7;  // Error reading file
    }
    closeTile(tile);
    memory.nQueueTile = tile.nQueueTile;  // the queue is not the tile's
    tile = memory;
    ++table.nConventionalTiles;
    return 1;
}

}  // namespace rv
