// Extra data: raw and tagged blocks that travel with a bitmap; and the fields of playback, which travel too.
#include "ravokit/extradata.h"

#include <cstring>
#include <utility>

#include "internal/bitmap_.h"
#include "internal/pixels.h"

namespace rv {
namespace {

constexpr uint32_t kHeader = 8;       // the magic and the number of entries
constexpr uint32_t kEntryHeader = 8;  // size and tag

constexpr uint8_t kMagic[4] = {'R', 'A', 'V', 'O'};

void replaceBlock(BITMAPRECORD& bm, uint8_t* pBlock, uint32_t nSize) noexcept {
    freeBlock(bm.pExtraData);
    bm.pExtraData = pBlock;
    bm.ExtraDataSize = nSize;
}

const uint8_t* blockOf(const BITMAPRECORD& bm) noexcept { return static_cast<const uint8_t*>(bm.pExtraData); }

bool isTagged(const BITMAPRECORD& bm) noexcept {
    return bm.pExtraData && bm.ExtraDataSize >= kHeader && std::memcmp(bm.pExtraData, kMagic, sizeof kMagic) == 0;
}

uint32_t entryCount(const uint8_t* pBlock) noexcept { return loadLittle<uint32_t>(pBlock + 4); }
uint32_t entrySize(const uint8_t* pEntry) noexcept { return loadLittle<uint32_t>(pEntry); }
uint32_t entryTag(const uint8_t* pEntry) noexcept { return loadLittle<uint32_t>(pEntry + 4); }

// What a walk over the entries finds. Entries that reach past the block end the walk.
struct Walk {
    uint32_t nEntries = 0;     // sound ones
    uint32_t nEnd = kHeader;   // where they end
    uint32_t nFound = 0;       // where the tag's entry starts; 0 none
    uint32_t nFoundBytes = 0;  // its header and data
};

Walk findTag(const BITMAPRECORD& bm, uint32_t uTag) noexcept {
    Walk walk;
    const uint8_t* pBlock = blockOf(bm);
    const uint32_t nTold = entryCount(pBlock);
    for (; walk.nEntries < nTold && bm.ExtraDataSize - walk.nEnd >= kEntryHeader; ++walk.nEntries) {
        const uint8_t* pEntry = pBlock + walk.nEnd;
        if (entrySize(pEntry) > bm.ExtraDataSize - walk.nEnd - kEntryHeader) break;
        const uint32_t nBytes = kEntryHeader + entrySize(pEntry);
        if (!walk.nFound && entryTag(pEntry) == uTag) {
            walk.nFound = walk.nEnd;
            walk.nFoundBytes = nBytes;
        }
        walk.nEnd += nBytes;
    }
    return walk;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_AllocateBitmapExtraData(BITMAPRECORD* pBitmap, uint32_t uReserved, uint32_t nSize) noexcept {
    if (!pBitmap) return -2;         // Invalid image
    if (uReserved != 0) return -13;  // Invalid parameter passed
    replaceBlock(*pBitmap, nullptr, 0);
    if (nSize == 0) return 1;
    uint8_t* pBlock = newBlock<uint8_t>(nSize);
    if (!pBlock) return -1;  // Not enough memory available
    replaceBlock(*pBitmap, pBlock, nSize);
    return 1;
}

int32_t R_FreeBitmapExtraData(BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;  // Invalid parameter passed
    replaceBlock(*pBitmap, nullptr, 0);
    return 1;
}

int32_t R_CopyBitmapExtraData(BITMAPRECORD* pDst, const BITMAPRECORD* pSrc, uint32_t uReserved) noexcept {
    if (uReserved != 0 || !pDst || !pSrc || pDst == pSrc) return -13;  // Invalid parameter passed
    const uint32_t nSize = pSrc->pExtraData ? pSrc->ExtraDataSize : 0;
    uint8_t* pBlock = nSize ? newBlock<uint8_t>(nSize) : nullptr;
    if (nSize && !pBlock) return -1;  // Not enough memory available
    if (pBlock) std::memcpy(pBlock, pSrc->pExtraData, nSize);
    if (pDst->pExtraData == pSrc->pExtraData) pDst->pExtraData = nullptr;  // it stays with the source
    replaceBlock(*pDst, pBlock, nSize);
    return 1;
}

int32_t R_SetBitmapExtraData(BITMAPRECORD* pBitmap, uint32_t uTag, uint32_t nSize, const void* pData) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (nSize && !pData) return -814;                           // A NULL pointer was passed
    if (!isTagged(*pBitmap)) replaceBlock(*pBitmap, nullptr, 0);
    const Walk walk = pBitmap->pExtraData ? findTag(*pBitmap, uTag) : Walk{};
    if (nSize == 0 && !walk.nFound) return 1;
    if (nSize && walk.nFoundBytes == uint64_t(nSize) + kEntryHeader) {
        std::memmove(static_cast<uint8_t*>(pBitmap->pExtraData) + walk.nFound + kEntryHeader, pData, nSize);
        return 1;
    }

    // The new block: the entries before, this one at its old place or at the end, the entries behind.
    const uint8_t* pOld = blockOf(*pBitmap);
    const uint32_t nPlace = walk.nFound ? walk.nFound : walk.nEnd, nBehind = nPlace + walk.nFoundBytes;
    const uint32_t nEntryBytes = nSize ? kEntryHeader + nSize : 0;
    const uint64_t nNew = uint64_t(walk.nEnd) - walk.nFoundBytes + nSize + (nSize ? kEntryHeader : 0);
    uint8_t* pBlock = newBlock<uint8_t>(nNew);  // null too for what 32 bits can't tell
    if (!pBlock) return -1;                     // Not enough memory available
    std::memcpy(pBlock, kMagic, sizeof kMagic);
    storeLittle<uint32_t>(pBlock + 4, walk.nEntries + (walk.nFound ? 0 : 1) - (nSize ? 0 : 1));
    if (pOld) std::memcpy(pBlock + kHeader, pOld + kHeader, nPlace - kHeader);
    if (nSize) {
        storeLittle<uint32_t>(pBlock + nPlace, nSize);
        storeLittle<uint32_t>(pBlock + nPlace + 4, uTag);
        std::memcpy(pBlock + nPlace + kEntryHeader, pData, nSize);
    }
    if (pOld) std::memcpy(pBlock + nPlace + nEntryBytes, pOld + nBehind, walk.nEnd - nBehind);
    replaceBlock(*pBitmap, pBlock, uint32_t(nNew));
    return 1;
}

int32_t R_GetBitmapExtraData(const BITMAPRECORD* pBitmap, uint32_t uTag, uint32_t* pnSize, void* pData) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!pnSize) return -814;                                   // A NULL pointer was passed
    constexpr uint32_t nLeast = kHeader + kEntryHeader;
    if (!isTagged(*pBitmap) || pBitmap->ExtraDataSize < nLeast || entryCount(blockOf(*pBitmap)) == 0) return -404;
    const uint8_t* pEntry = blockOf(*pBitmap) + kHeader;
    if (entryTag(pEntry) != uTag || entrySize(pEntry) > pBitmap->ExtraDataSize - nLeast) return -404;  // Tag not found
    const uint32_t nSize = entrySize(pEntry), nRoom = std::exchange(*pnSize, nSize);
    if (!pData) return 1;
    if (nRoom < nSize) return -290;  // The buffer size is too small
    std::memcpy(pData, pEntry + kEntryHeader, nSize);
    return 1;
}

int32_t R_CopyPlaybackParms(BITMAPRECORD* pDst, const BITMAPRECORD* pSrc) noexcept {
    constexpr uint32_t nFlags = BMF_WAIT_USER_INPUT | BMF_TRANSPARENCY;
    if (!pDst || !pSrc) return -13;  // Invalid parameter passed
    pDst->Left = pSrc->Left;
    pDst->Top = pSrc->Top;
    pDst->Delay = pSrc->Delay;
    pDst->Background = pSrc->Background;
    pDst->Transparency = pSrc->Transparency;
    pDst->DisposalMethod = pSrc->DisposalMethod;
    pDst->Flags = (pDst->Flags & ~nFlags) | (pSrc->Flags & nFlags);
    return 1;
}

}  // extern "C"
