// The life of a bitmap: initialising its record, creating it with palette and view, locking, freeing, handing it on.
#include <cstring>

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/diagnostics.h"
#include "internal/handles.h"
#include "internal/pixels.h"
#include "internal/storage_.h"
#include "internal/threaddata.h"
#include "ravokit/dither.h"
#include "ravokit/palette.h"

namespace rv {
namespace {

constexpr int32_t kFallbackResolution = 150;      // dots per inch, for a thread whose default is not positive
constexpr uint64_t kWidestRow = 0x1FFFFFFC;       // bytes that a row may have
constexpr uint64_t kLargestOldSize = 0xFFFF0000;  // bytes that the older form of the record can tell
constexpr uint32_t kClassFlags = BMF_COMPRESSED | BMF_TILED | BMF_SUPERCOMPRESSED;

int32_t highBitOf(int32_t nBits) noexcept {
    switch (nBits) {
        case 16:
        case 48:
        case 64:
            return 15;
        case 24:
            return 7;
        case 32:
            return -1;
        default:
            return nBits - 1;
    }
}

// Everything but the callbacks; the record is clear and its dimensions were tested.
void setDefaults(BITMAPRECORD& bm) noexcept {
    const THREADDATA& thread = threadData();
    bm.DitheringMethod = int32_t(thread.nDefaultDithering);
    bm.ViewPerspective = BOTTOM_LEFT;
    bm.nColors = bm.BitsPerPixel <= 8 ? 1u << bm.BitsPerPixel : 0;
    bm.Order = bm.BitsPerPixel <= 8 ? ORDER_RGB : bm.BitsPerPixel == 12 ? ORDER_GRAY : ORDER_BGR;
    bm.XResolution = thread.nDefaultXResolution > 0 ? thread.nDefaultXResolution : kFallbackResolution;
    bm.YResolution = thread.nDefaultYResolution > 0 ? thread.nDefaultYResolution : kFallbackResolution;
    bm.HighBit = bm.PhysicalHighBit = highBitOf(bm.BitsPerPixel);
    bm.MaxVal = bm.BitsPerPixel >= 32 ? -1 : int32_t((1u << bm.BitsPerPixel) - 1);
    bm.PaintGamma = 100;
}

// The palette of a created bitmap of at most 8 bits.
RGBQUAD* paletteFor(const BITMAPRECORD& bm, int32_t nWantedBits, bool bGray, const RGBQUAD* pPalette) noexcept {
    if (nWantedBits == 0) return R_CreateGrayPalette(8);
    if (pPalette) return R_CreateNewPalette(pPalette, bm.nColors);
    return bGray ? R_CreateGrayPalette(bm.BitsPerPixel) : R_CreateFixedPalette(bm.BitsPerPixel);
}

// The storage goes by the first class that applies.
void freeStorage(BITMAPRECORD& bm) noexcept {
    if (bm.Flags & BMF_USER_DATA) {
        bm.Flags &= ~kStorageFlags;
    } else if (bm.Flags & BMF_CONVENTIONAL) {
        if (bm.Flags & BMF_COMPRESSED)
            freeRunLists(bm);
        else if (bm.Flags & BMF_TILED)
            freeTiles(bm);
        else if (bm.Flags & BMF_SUPERCOMPRESSED)
            freeStrips(bm);
        else
            freeConventional(bm);
        bm.Flags &= ~uint32_t(BMF_CONVENTIONAL | BMF_GLOBAL | BMF_LOCKED | kClassFlags);
    } else if (bm.Flags & BMF_DISK) {
        freeDiskFile(bm);
        bm.Flags &= ~uint32_t(BMF_DISK);
    }
}

// Movable memory is reached only under a lock; all other data stays where it is.
bool isPlainConventional(const BITMAPRECORD& bm) noexcept {
    return (bm.Flags & BMF_CONVENTIONAL) && !(bm.Flags & kClassFlags);
}

}  // namespace

bool storeDataSize(BITMAPRECORD& bm, uint64_t nBytes) noexcept {
    if (!hasWideFields(bm) && nBytes > kLargestOldSize) return false;
    bm.Size = uint32_t(nBytes);
    if (hasWideFields(bm)) bm.Size64 = nBytes;
    return true;
}

void unlinkShared(BITMAPRECORD& bm) noexcept {
    bm.pPalette = nullptr;
    bm.pLUT = nullptr;
    bm.pRgnInfo = nullptr;
    bm.pOverlays = nullptr;
    if (hasWideFields(bm)) bm.pLUT16 = nullptr;
}

int32_t copyLockCount(BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept {
    while (dst.nLockCount < src.nLockCount)
        if (const int32_t nStatus = R_AccessBitmap(&dst); nStatus != 1) return nStatus;
    return 1;
}

void releaseAll(BITMAPRECORD& bm) noexcept {
    while (bm.nLockCount > 0) R_ReleaseBitmap(&bm);
}

void replaceBitmap(BITMAPRECORD& old, const BITMAPRECORD& fresh, bool bShared) noexcept {
    if (bShared) unlinkShared(old);
    R_IntEndCopyBitmap(&old, 0);
    R_StopDithering(&old);  // its rows are gone
    releaseAll(old);
    R_FreeBitmap(&old);
    std::memcpy(&old, &fresh, old.uStructSize);
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_InitBitmapWithCallbacks(BITMAPRECORD* pBitmap, uint32_t uStructSize, int32_t Width, int32_t Height,
                                  int32_t BitsPerPixel, const BITMAPDATACALLBACKS* pCallbacks) noexcept {
    if (!pBitmap) return -13;
    if (!isKnownRecordSize(uStructSize)) return -789;
    std::memset(static_cast<void*>(pBitmap), 0, uStructSize);
    pBitmap->uStructSize = uStructSize;
    if (Width < 0) return -11;
    if (Width == 0 && Height == 0 && BitsPerPixel == 0) return 1;
    if (Height < 0) return -11;
    if (!isKnownDepth(BitsPerPixel)) return -27;
    const uint64_t nRow = rowBytes(uint32_t(Width), uint32_t(BitsPerPixel));
    if (nRow > kWidestRow) return -11;
    if (!storeDataSize(*pBitmap, nRow * uint32_t(Height))) {
        std::memset(static_cast<void*>(pBitmap), 0, uStructSize);
        return -3;
    }
    pBitmap->BytesPerLine = uint32_t(nRow);
    pBitmap->Width = Width;
    pBitmap->Height = Height;
    pBitmap->BitsPerPixel = BitsPerPixel;
    setDefaults(*pBitmap);
    R_SetBitmapDataCallbacks(pBitmap, pCallbacks);
    return 1;
}

int32_t R_InitBitmap(BITMAPRECORD* pBitmap, uint32_t uStructSize, int32_t Width, int32_t Height,
                     int32_t BitsPerPixel) noexcept {
    return R_InitBitmapWithCallbacks(pBitmap, uStructSize, Width, Height, BitsPerPixel, nullptr);
}

int32_t R_CreateBitmapWithCallbacks(BITMAPRECORD* pBitmap, uint32_t uStructSize, uint32_t uMemoryFlags, int32_t Width,
                                    int32_t Height, int32_t BitsPerPixel, int32_t Order, const RGBQUAD* pPalette,
                                    int32_t ViewPerspective, uint8_t* pData, uint32_t dwDataSize,
                                    const BITMAPDATACALLBACKS* pCallbacks) noexcept {
    int32_t nStatus =
        R_InitBitmapWithCallbacks(pBitmap, uStructSize, Width, Height, BitsPerPixel ? BitsPerPixel : 8, pCallbacks);
    if (nStatus != 1) return nStatus;
    const bool bPaletted = pBitmap->BitsPerPixel <= 8;
    const bool bGray = bPaletted && Order == ORDER_GRAY && !pPalette;
    pBitmap->Order = BitsPerPixel == 0 || bGray ? int32_t(ORDER_RGB) : Order;
    if (pBitmap->Order == ORDER_ROMM && BitsPerPixel != 24 && BitsPerPixel != 48) return -27;
    if (ViewPerspective < 0 || ViewPerspective > LEFT_BOTTOM) return -13;
    pBitmap->ViewPerspective = ViewPerspective ? ViewPerspective : int32_t(TOP_LEFT);

    nStatus = allocateBitmap(*pBitmap, uMemoryFlags, pPalette);
    if (nStatus != 1) return nStatus;
    if (bPaletted) {
        pBitmap->Order = ORDER_RGB;
        pBitmap->pPalette = paletteFor(*pBitmap, BitsPerPixel, bGray, pPalette);
        if (!pBitmap->pPalette) {
            R_FreeBitmap(pBitmap);
            return -1;
        }
    }
    if (uMemoryFlags == BMMEM_USER && pData) return R_SetBitmapDataPointer(pBitmap, pData, dwDataSize);
    return 1;
}

int32_t R_CreateBitmap(BITMAPRECORD* pBitmap, uint32_t uStructSize, uint32_t uMemoryFlags, int32_t Width,
                       int32_t Height, int32_t BitsPerPixel, int32_t Order, const RGBQUAD* pPalette,
                       int32_t ViewPerspective, uint8_t* pData, uint32_t dwDataSize) noexcept {
    return R_CreateBitmapWithCallbacks(pBitmap, uStructSize, uMemoryFlags, Width, Height, BitsPerPixel, Order, pPalette,
                                       ViewPerspective, pData, dwDataSize, nullptr);
}

void R_FreeBitmap(BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap || !isKnownRecordSize(pBitmap->uStructSize)) return;
    BITMAPRECORD& bm = *pBitmap;
    traceLockCount("R_FreeBitmap", bm.nLockCount, bm.nLockCount == 0);
    if (bm.pRgnInfo) attachments().deleteRegion(bm.pRgnInfo);
    bm.pRgnInfo = nullptr;
    freeBlock(bm.pPalette);
    if (bm.pOverlays) attachments().freeOverlays(bm);
    if (bm.Flags & BMF_ALLOCATED) {
        if (bm.pCallbacks && bm.pCallbacks->pfnFree && bm.pCallbacks->pfnFree(&bm, bm.pCallbacks->pUserData) == 2)
            bm.Flags &= ~uint32_t(BMF_CONVENTIONAL | BMF_DISK | BMF_COMPRESSED | BMF_USER_DATA | BMF_TILED |
                                  BMF_SUPERCOMPRESSED);
        freeStorage(bm);
        bm.Flags &= ~uint32_t(BMF_ALLOCATED);
        freeBlock(bm.pLUT);
        freeBlock(bm.pPaintLUT);
        if (hasWideFields(bm)) {
            freeBlock(bm.pLUT16);
            freeBlock(bm.pPaintLUT16);
        }
        freeBlock(bm.pExtraData);
        bm.ExtraDataSize = 0;
    }
    if (bm.pCallbacks) R_SetBitmapDataCallbacks(&bm, nullptr);
}

int32_t R_AccessBitmap(BITMAPRECORD* pBitmap) noexcept {
    BITMAPRECORD& bm = *pBitmap;
    traceLockCount("R_AccessBitmap", bm.nLockCount, bm.nLockCount >= 0);
    if (++bm.nLockCount > 1) return 1;
    if (bm.pCallbacks && bm.pCallbacks->pfnAccess) {
        const int32_t nStatus = bm.pCallbacks->pfnAccess(&bm, bm.pCallbacks->pUserData);
        if (nStatus == 2) return 1;
        if (nStatus != 1) {
            --bm.nLockCount;
            return nStatus;
        }
    }
    if (isPlainConventional(bm) && (bm.Flags & BMF_GLOBAL) && !(bm.Flags & BMF_LOCKED)) {
        auto* p = static_cast<uint8_t*>(R_OsLockHandle(bm.hMemory));
        bm.pData = p ? p + bm.nDataOffset : nullptr;
        bm.Flags |= BMF_LOCKED;
    }
    return 1;
}

int32_t R_ReleaseBitmap(BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -814;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    BITMAPRECORD& bm = *pBitmap;
    if (--bm.nLockCount > 0) return 1;
    if (bm.pCallbacks && bm.pCallbacks->pfnRelease) {
        const int32_t nStatus = bm.pCallbacks->pfnRelease(&bm, bm.pCallbacks->pUserData);
        if (nStatus != 1) return nStatus == 2 ? 1 : nStatus;
    }
    const bool bOwnUserData = (bm.Flags & BMF_USER_DATA) && !(bm.Flags & BMF_GLOBAL);
    if (isPlainConventional(bm) && (bm.Flags & BMF_LOCKED) && !bOwnUserData) {
        bm.pData = nullptr;
        bm.Flags &= ~uint32_t(BMF_LOCKED);
    }
    return 1;
}

int32_t R_IntAccessBitmap(BITMAPRECORD* pBitmap, int32_t* pbLocked) noexcept {
    const int32_t nStatus = R_AccessBitmap(pBitmap);
    if (pbLocked) *pbLocked = nStatus == 1;
    return nStatus;
}

int32_t R_IntReleaseBitmap(BITMAPRECORD* pBitmap, int32_t bLocked, int32_t nStatus) noexcept {
    if (!pBitmap) return -814;
    if (!bLocked) return nStatus;
    const int32_t nReleased = R_ReleaseBitmap(pBitmap);
    return nStatus == 1 ? nReleased : nStatus;
}

int32_t R_CopyBitmapHandle(BITMAPRECORD* pDst, const BITMAPRECORD* pSrc, uint32_t uStructSize) noexcept {
    if (!pSrc || !isKnownRecordSize(pSrc->uStructSize) || !isKnownRecordSize(uStructSize)) return -789;
    if (!pDst) return 1;
    const uint32_t nSize = pSrc->uStructSize < uStructSize ? pSrc->uStructSize : uStructSize;
    std::memmove(static_cast<void*>(pDst), pSrc, nSize);
    pDst->uStructSize = nSize;
    return 1;
}

int32_t R_SetBitmapDataPointer(BITMAPRECORD* pBitmap, uint8_t* pData, uint32_t dwSize) noexcept {
    if (!pBitmap) return -2;
    const bool bCallersData = (pBitmap->Flags & (BMF_ALLOCATED | BMF_USER_DATA)) == (BMF_ALLOCATED | BMF_USER_DATA) &&
                              !(pBitmap->Flags & BMF_GLOBAL);
    if (!bCallersData && pData && dwSize != dataSize(*pBitmap)) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    pBitmap->pData = pData;
    return 1;
}

int32_t R_UpdateBitmapSize(BITMAPRECORD* pBitmap, uint32_t) noexcept {
    if (!isAllocated(pBitmap)) return -2;
    const BITMAPRECORD& bm = *pBitmap;
    const uint64_t nSize = bm.Flags & BMF_COMPRESSED        ? runListSize(bm)
                           : bm.Flags & BMF_SUPERCOMPRESSED ? stripSize(bm)
                                                            : uint64_t(bm.BytesPerLine) * uint32_t(bm.Height);
    return storeDataSize(*pBitmap, nSize) ? 1 : -3;
}

}  // extern "C"
