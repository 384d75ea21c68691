// Choosing a bitmap's storage class: from flags, thresholds and what the machine gives, along the chain memory, tiles,
// temporary file.
#include <algorithm>
#include <iterator>
#include <numeric>

#include "internal/bitmap_.h"
#include "internal/callbacks_.h"
#include "internal/tiles_.h"

namespace rv {
namespace {

constexpr uint32_t kAcceptedFlags[] = {1, 2, 4, 8, 9, 128, 256, 257, 260, 264, 265, 768, 769, 1024, 1025, 1280, 1281};
constexpr uint32_t kCompressedFlags = BMMEM_COMPRESSED | BMMEM_NO_DISK;  // 768

ALLOCATEBITMAPCALLBACK g_pfnAllocate = nullptr;
void* g_pAllocateUser = nullptr;

// What the asked flags come to for a bitmap of this depth.
uint32_t normalise(uint32_t uFlags, int32_t nBits) noexcept {
    if (uFlags & BMMEM_USER) {
        uFlags &= ~uint32_t(BMMEM_NO_DISK | BMMEM_NO_TILED);
    } else if (temporaryFilesOff()) {
        uFlags = (uFlags & ~uint32_t(BMMEM_DISK | BMMEM_NO_DISK)) | BMMEM_NO_DISK;
    }
    if (uFlags & BMMEM_COMPRESSED) uFlags = nBits == 1 ? kCompressedFlags : uFlags & ~uint32_t(BMMEM_COMPRESSED);
    if (nBits != 24 && nBits != 8 && nBits != 1) uFlags &= ~uint32_t(BMMEM_SUPERCOMPRESSED);
    return uFlags;
}

bool isAccepted(uint32_t uFlags) noexcept {
    return std::find(std::begin(kAcceptedFlags), std::end(kAcceptedFlags), uFlags) != std::end(kAcceptedFlags);
}

bool allocatePaintTables(BITMAPRECORD& bm) noexcept {
    freeBlock(bm.pPaintLUT);
    bm.pPaintLUT = newBlock<uint8_t>(256);
    if (bm.pPaintLUT) std::iota(bm.pPaintLUT, bm.pPaintLUT + 256, uint8_t(0));
    if (hasWideFields(bm)) bm.pPaintLUT16 = nullptr;
    return bm.pPaintLUT != nullptr;
}

// Sets uFlags to what the size of the bitmap makes of them, and gives the memory that its tiles may take.
uint64_t fixLimit(const BITMAPRECORD& bm, uint32_t& uFlags) noexcept {
    const uint64_t nSize = dataSize(bm), nGlobal = globalConventionalLimit();
    const Thresholds limits = threadThresholds();
    if (uFlags & BMMEM_TILED) {
        if (nSize <= limits.nTileSize) uFlags &= ~uint32_t(BMMEM_TILED);
        return 0;
    }
    if (nGlobal && nSize > nGlobal && !(uFlags & BMMEM_NO_DISK)) {
        uFlags = (uFlags & ~uint32_t(BMMEM_TILED)) | BMMEM_DISK;
        return 0;
    }
    if (uFlags == BMMEM_DISK) return 0;
    if (nSize > limits.nMemoryLimit && !(uFlags & BMMEM_NO_TILED)) uFlags |= BMMEM_TILED;
    return limits.nMemoryLimit;
}

constexpr uint32_t kTiledFlags = BMF_ALLOCATED | BMF_CONVENTIONAL | BMF_TILED;

bool noDisk(uint32_t uFlags) noexcept { return (uFlags & BMMEM_NO_DISK) || temporaryFilesOff(); }

// The chain. Gives 1 and has set the storage bits, or the status of the class that was asked for.
int32_t allocateStorage(BITMAPRECORD& bm, uint32_t uFlags) noexcept {
    if (uFlags == BMMEM_USER) {
        bm.hMemory = nullptr;
        bm.pData = nullptr;
        bm.Flags |= BMF_ALLOCATED | BMF_CONVENTIONAL | BMF_USER_DATA;
        return 1;
    }
    if (uFlags & BMMEM_COMPRESSED) {
        if (createRunLists(bm) != 1) return -1;
        bm.Flags |= BMF_ALLOCATED | BMF_CONVENTIONAL | BMF_COMPRESSED;
        return 1;
    }
    if (uFlags & BMMEM_SUPERCOMPRESSED) {
        const int32_t nStatus = createStrips(bm);
        if (nStatus == 1) bm.Flags |= BMF_ALLOCATED | BMF_CONVENTIONAL | BMF_SUPERCOMPRESSED;
        return nStatus;
    }
    const uint64_t nMemory = fixLimit(bm, uFlags);
    if (!(uFlags & (BMMEM_TILED | BMMEM_DISK)) && createConventional(bm) == 1) {
        bm.Flags |= BMF_ALLOCATED | BMF_CONVENTIONAL;
        return 1;
    }
    if (!(uFlags & (BMMEM_DISK | BMMEM_NO_TILED)) &&
        createTiles(bm, threadThresholds().nTileSize, nMemory, noDisk(uFlags)) == 1) {
        bm.Flags |= kTiledFlags;
        return 1;
    }
    if (!(uFlags & BMMEM_NO_DISK) && createDiskFile(bm) == 1) {
        bm.Flags = (bm.Flags | BMF_ALLOCATED | BMF_DISK) & ~uint32_t(BMF_USER_DATA | BMF_GLOBAL);
        return 1;
    }
    return -1;  // Not enough memory available
}

// Asks the bitmap's own callback. 1 goes on; 2: the callback supplied the data; all else ends the allocation.
int32_t askCallback(BITMAPRECORD& bm, uint32_t& uFlags, const RGBQUAD* pPalette) noexcept {
    if (!bm.pCallbacks || !bm.pCallbacks->pfnAllocate) return 1;
    bm.hMemory = nullptr;
    bm.pData = nullptr;
    BITMAPALLOCATEINFO info = allocateInfo(bm, uFlags, pPalette);
    const int32_t nStatus = bm.pCallbacks->pfnAllocate(&bm, &info, bm.pCallbacks->pUserData);
    uFlags = info.uMemoryFlags;
    return nStatus;
}

// An allocation around the making of its storage: check(flags) gives 1 for flags to go on with, allocate(flags) gives 1
// and has set the storage bits; else both give a status.
template <class Check, class Allocate>
int32_t allocateWith(BITMAPRECORD& bm, uint32_t uMemoryFlags, const RGBQUAD* pPalette, Check check,
                     Allocate allocate) noexcept {
    if (dataSize(bm) == 0) return -11;  // Invalid width or height
    if (g_pfnAllocate) {
        BITMAPALLOCATEINFO info = allocateInfo(bm, uMemoryFlags, pPalette);
        info.BytesPerLine = 0;
        if (const int32_t nStatus = g_pfnAllocate(&info, g_pAllocateUser); nStatus != 1) return nStatus;
        uMemoryFlags = info.uMemoryFlags;
    }
    uMemoryFlags = normalise(uMemoryFlags, bm.BitsPerPixel);
    bm.Flags &= ~kStorageFlags;
    if (const int32_t n = check(uMemoryFlags); n != 1) return n;
    if (!allocatePaintTables(bm)) return -1;

    int32_t nStatus = askCallback(bm, uMemoryFlags, pPalette);
    if (nStatus == 2) {
        bm.Flags |= BMF_ALLOCATED | BMF_USER_DATA;
        return 1;
    }
    if (nStatus == 1) nStatus = allocate(uMemoryFlags);
    if (nStatus != 1) freeBlock(bm.pPaintLUT);
    return nStatus;
}

}  // namespace

int32_t allocateBitmap(BITMAPRECORD& bm, uint32_t uMemoryFlags, const RGBQUAD* pPalette) noexcept {
    return allocateWith(
        bm, uMemoryFlags, pPalette, [](uint32_t uFlags) { return isAccepted(uFlags) ? 1 : -13; },
        [&](uint32_t uFlags) { return allocateStorage(bm, uFlags); });
}

int32_t allocateTiled(BITMAPRECORD& bm, uint32_t uMemoryFlags, const RGBQUAD* pPalette, uint32_t nRowsPerTile,
                      TileCounts counts) noexcept {
    // All that the callbacks can say here is that they want no tiles, or no files.
    const auto check = [](uint32_t uFlags) { return uFlags & BMMEM_NO_TILED ? -1 : 1; };
    return allocateWith(bm, uMemoryFlags, pPalette, check, [&](uint32_t uFlags) {
        int32_t nStatus = check(uFlags);
        if (nStatus == 1) nStatus = buildTiles(bm, nRowsPerTile, counts, noDisk(uFlags));
        if (nStatus == 1) bm.Flags |= kTiledFlags;
        return nStatus;
    });
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_AllocateBitmap(BITMAPRECORD* pBitmap, uint32_t uMemoryFlags) noexcept {
    if (!pBitmap) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    return allocateBitmap(*pBitmap, uMemoryFlags, pBitmap->pPalette);
}

int32_t R_SetAllocateBitmapCallback(ALLOCATEBITMAPCALLBACK pfn, void* pUser, ALLOCATEBITMAPCALLBACK* ppfnOld,
                                    void** ppUserOld) noexcept {
    if (ppfnOld) *ppfnOld = g_pfnAllocate;
    if (ppUserOld) *ppUserOld = g_pAllocateUser;
    g_pfnAllocate = pfn;
    g_pAllocateUser = pUser;
    return 1;
}

}  // extern "C"
