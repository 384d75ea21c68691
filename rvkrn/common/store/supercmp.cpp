// Super-compressed storage: strips of 32 rows, each compressed by a codec module, one of them open at a time.
//
// A strip that was never saved is clear. The open one stands in the strip buffer, whose rows past the strip's own are
// always clear, so that a strip that grows has clear rows. Opening another saves it first if it was written to. When
// that fails, a read gives up; a write moves the bitmap to another storage class. For that the strip that couldn't be
// saved waits in the scratch buffer, and a strip that can't be loaded is clear.
#include <algorithm>
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/handles.h"
#include "internal/rowstore.h"
#include "internal/rvsystem_.h"
#include "internal/storage_.h"
#include "internal/strips_.h"
#include "ravokit/rows.h"
#include "ravokit/storage.h"

namespace rv {
namespace {

constexpr int32_t kStripRows = 32, kNoStrip = -kStripRows;
constexpr uint32_t kBufferSlack = 31;  // for an aligned form of the strip buffer

struct STRIP {
    RVHANDLE hMapping;         // null: never saved, and clear
    const uint8_t* pView;      // the compressed bytes
    uint32_t nCompressedSize;  // bytes
    uint32_t nRows;            // 32, but for the last
    uint16_t nStoredRows;      // rows in the compressed form
    uint16_t nValidRows;       // those of them that were not cut off since; the others are clear
};

// A block at pData; the records of the strips follow it.
struct SUPERHEADER {
    int32_t nStrips;
    int32_t nOpenRow;  // first row of the open strip, or kNoStrip
    uint8_t* pStrip;   // 32 rows
    uint8_t* pStripBlock;
    uint32_t bDirty;  // the open strip is not as it is stored
    BITMAPINFOHEADER* pInfo;
    uint8_t* pScratch;  // what is compressed goes here
    uint32_t nScratchSize;
    uint32_t nCodec, nFormat;
    int32_t nQuality;
    int32_t nKeptRow;   // first row of the strip that the scratch buffer keeps as it is, or kNoStrip
    uint32_t bLeaving;  // the bitmap is on its way to another class

    STRIP& strip(int32_t i) noexcept { return reinterpret_cast<STRIP*>(this + 1)[i]; }
    STRIP& stripOf(int32_t nRow) noexcept { return strip(nRow / kStripRows); }
};
static_assert(sizeof(SUPERHEADER) % alignof(STRIP) == 0, "the records follow the header");

SUPERHEADER& headerOf(const BITMAPRECORD& bm) noexcept { return *reinterpret_cast<SUPERHEADER*>(bm.pData); }

int32_t stripsOf(int32_t nHeight) noexcept { return int32_t((int64_t(nHeight) + kStripRows - 1) / kStripRows); }
uint32_t rowsOfStrip(int32_t i, int32_t nHeight) noexcept {
    return uint32_t(std::min(nHeight - i * kStripRows, kStripRows));
}
uint64_t headerBytes(int32_t nStrips) noexcept { return sizeof(SUPERHEADER) + uint64_t(nStrips) * sizeof(STRIP); }
size_t bytesOf(const BITMAPRECORD& bm, uint32_t nRows) noexcept { return size_t(bm.BytesPerLine) * nRows; }
uint8_t* bufferRow(const BITMAPRECORD& bm, uint32_t nRow) noexcept { return headerOf(bm).pStrip + bytesOf(bm, nRow); }

uint64_t scratchBytes(const BITMAPRECORD& bm) noexcept {
    if (bm.BitsPerPixel == 1) return (uint64_t(uint32_t(bm.Width)) * 6 + 17) / 8 * kStripRows;
    return uint64_t(bm.BytesPerLine) * 2 * kStripRows;
}

void clearRows(const BITMAPRECORD& bm, uint32_t nFrom) noexcept {
    std::memset(bufferRow(bm, nFrom), 0, bytesOf(bm, kStripRows - nFrom));
}

void closeStrip(STRIP& strip) noexcept {
    closeHandle(strip.hMapping);
    strip = {nullptr, nullptr, 0, strip.nRows, 0, 0};
}

// The header's own buffers, of a header that may be half made.
void freeBuffers(SUPERHEADER& h) noexcept {
    freeBlock(h.pStripBlock);
    freeBlock(h.pInfo);
    R_LocalFree(h.pScratch);
}

bool makeBuffers(const BITMAPRECORD& bm, SUPERHEADER& h) noexcept {
    const uint64_t nStrip = uint64_t(bm.BytesPerLine) * kStripRows, nScratch = scratchBytes(bm);
    const uint64_t nAll = std::max(nScratch, nStrip);  // a strip that can't be compressed has to fit, too
    if (nAll > UINT32_MAX) return false;
    h.pStripBlock = h.pStrip = newBlock<uint8_t>(nStrip + kBufferSlack);
    h.pInfo = newBlock<BITMAPINFOHEADER>(1);
    h.pScratch = static_cast<uint8_t*>(R_LocalAlloc(uint32_t(nAll), 1, __LINE__, __FILE__));
    h.nScratchSize = uint32_t(nScratch);
    return h.pStrip && h.pInfo && h.pScratch;
}

// The form that the codec is told, for so many rows.
const BITMAPINFOHEADER& infoOf(SUPERHEADER& h, uint32_t nRows) noexcept {
    h.pInfo->biHeight = -int32_t(nRows);
    return *h.pInfo;
}

// Stores the open strip; false with its stored form as it was.
bool saveStrip(BITMAPRECORD& bm) noexcept {
    SUPERHEADER& h = headerOf(bm);
    STRIP& strip = h.stripOf(h.nOpenRow);
    const auto nRows = uint16_t(strip.nRows);
    const uint32_t nSize =
        encodeStrip(h.nCodec, infoOf(h, nRows), h.pStrip, uint32_t(bytesOf(bm, nRows)), h.pScratch, h.nScratchSize);
    SysMemory* pMemory = nSize ? sysMemoryCreate(nSize) : nullptr;
    if (!pMemory) return false;
    std::memcpy(pMemory->pData, h.pScratch, nSize);
    const uint8_t* pView = pMemory->pData;
    RVHANDLE hMapping = wrapHandle(static_cast<SysObject*>(pMemory));
    if (!hMapping) return false;
    if (!storeDataSize(bm, dataSize(bm) - strip.nCompressedSize + nSize)) {
        closeHandle(hMapping);
        return false;
    }
    closeHandle(strip.hMapping);
    strip = {hMapping, pView, nSize, nRows, nRows, nRows};
    h.bDirty = 0;
    return true;
}

// Brings a strip into the buffer in the place of one that is saved; false leaves none there.
bool openStrip(BITMAPRECORD& bm, int32_t nFirstRow) noexcept {
    SUPERHEADER& h = headerOf(bm);
    const STRIP& strip = h.stripOf(nFirstRow);
    uint32_t nValid = strip.nValidRows;
    h.nOpenRow = kNoStrip;
    if (h.nKeptRow == nFirstRow) {
        nValid = kStripRows;
        std::memcpy(h.pStrip, h.pScratch, bytesOf(bm, kStripRows));
    } else if (strip.hMapping) {
        const int32_t n = decodeStrip(h.nCodec, infoOf(h, strip.nStoredRows), strip.pView, strip.nCompressedSize,
                                      h.pStrip, uint32_t(bytesOf(bm, strip.nStoredRows)));
        // Only what is lost anyway may be left behind: short of memory, the strip can be had another time.
        if (n != 1 && (!h.bLeaving || n == -1)) return false;
        if (n != 1) nValid = 0;
    }
    clearRows(bm, nValid);
    h.nOpenRow = nFirstRow;
    return true;
}

bool ensureStrip(BITMAPRECORD& bm, int64_t nRow) noexcept {
    if (nRow < 0 || nRow >= bm.Height) return false;
    SUPERHEADER& h = headerOf(bm);
    const int32_t nFirstRow = int32_t(nRow) / kStripRows * kStripRows;
    if (nFirstRow == h.nOpenRow) return true;
    return (!h.bDirty || saveStrip(bm)) && openStrip(bm, nFirstRow);
}

// Calls move(address in the buffer, bytes before, bytes) for each strip that a request touches. Gives the bytes moved,
// fewer where a strip can't be opened or the rows are at their end; bFailed tells that it was the former.
template <class Move>
uint32_t walkStrips(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, uint32_t nBytes, bool& bFailed, Move move) noexcept {
    // Columns count three bytes at 8 bits, too.
    const int64_t nColumnByte = bm.BitsPerPixel == 1 ? nCol / 8 : int64_t(nCol) * 3;
    const auto nLine = int64_t(bm.BytesPerLine);
    int64_t nAt = nLine * nRow + nColumnByte;
    const int64_t nEnd = nLine * bm.Height;
    uint32_t nDone = 0;
    bFailed = false;
    while (nDone < nBytes && nAt >= 0 && nAt < nEnd) {
        if (!ensureStrip(bm, nAt / nLine)) {
            bFailed = true;
            break;
        }
        SUPERHEADER& h = headerOf(bm);
        const int64_t nInStrip = nAt - nLine * h.nOpenRow;
        const int64_t nLeft = nLine * h.stripOf(h.nOpenRow).nRows - nInStrip;
        const auto nPiece = uint32_t(std::min<int64_t>(nLeft, nBytes - nDone));
        move(h, h.pStrip + nInStrip, nDone, nPiece);
        nDone += nPiece;
        nAt += nPiece;
    }
    return nDone;
}

}  // namespace

int32_t createStrips(BITMAPRECORD& bm) noexcept {
    const uint32_t nCodec = bm.BitsPerPixel == 1 ? kFaxCodec : kPhotoCodec;
    if (const int32_t n = acquireCodec(nCodec); n != 1) return n;
    const int32_t nStrips = stripsOf(bm.Height);
    int32_t nStatus = nStrips < 1 ? -2 : -1;
    uint8_t* pBlock = nStrips < 1 ? nullptr : newBlock<uint8_t>(headerBytes(nStrips));
    if (pBlock) {
        std::memset(pBlock, 0, size_t(headerBytes(nStrips)));
        SUPERHEADER& h = *reinterpret_cast<SUPERHEADER*>(pBlock);
        if (makeBuffers(bm, h)) {
            nStatus = 1;
            *h.pInfo = {sizeof *h.pInfo, bm.Width, 0, 1, uint16_t(bm.BitsPerPixel), 0, 0, 0, 0, 0, 0};
            h.nStrips = nStrips;
            h.nKeptRow = kNoStrip;
            h.nCodec = nCodec;
            h.nFormat = stripCodec(nCodec).nFormat;
            h.nQuality = stripCodec(nCodec).nQuality;
            for (int32_t i = 0; i < nStrips; ++i) h.strip(i).nRows = rowsOfStrip(i, bm.Height);
        } else {
            freeBuffers(h);
            freeBlock(pBlock);
        }
    }
    if (nStatus != 1) {
        releaseCodec(nCodec);
        return nStatus;
    }
    bm.hMemory = nullptr;
    bm.pData = pBlock;
    storeDataSize(bm, 0);
    clearRows(bm, 0);
    return 1;
}

void freeStrips(BITMAPRECORD& bm) noexcept {
    SUPERHEADER& h = headerOf(bm);
    for (int32_t i = 0; i < h.nStrips; ++i) closeStrip(h.strip(i));
    freeBuffers(h);
    releaseCodec(h.nCodec);
    freeBlock(bm.pData);
    // The size of the rows again, as for any bitmap without storage.
    storeDataSize(bm, uint64_t(bm.BytesPerLine) * uint32_t(bm.Height));
}

uint8_t* stripRow(BITMAPRECORD& bm, int32_t nRow, bool bWrite) noexcept {
    if (!ensureStrip(bm, nRow)) return nullptr;
    SUPERHEADER& h = headerOf(bm);
    if (bWrite) h.bDirty = 1;
    return bufferRow(bm, uint32_t(nRow - h.nOpenRow));
}

int32_t getStripBytes(BITMAPRECORD& bm, uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes) noexcept {
    bool bFailed;
    return int32_t(walkStrips(
        bm, nRow, nCol, nBytes, bFailed,
        [=](SUPERHEADER&, const uint8_t* p, uint32_t nDone, uint32_t n) { copyRow(pBuffer + nDone, p, n); }));
}

int32_t putStripBytes(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t nBytes) noexcept {
    bool bFailed;
    const uint32_t nDone =
        walkStrips(bm, nRow, nCol, nBytes, bFailed, [=](SUPERHEADER& h, uint8_t* p, uint32_t nBefore, uint32_t n) {
            copyRow(p, pBuffer + nBefore, n);
            h.bDirty = 1;
        });
    if (!bFailed) return int32_t(nDone);
    // The same bytes are another column at 8 bits, where the other classes count by pixels.
    if (const int32_t n = leaveStrips(bm); n != 1) return n;
    if (bm.BitsPerPixel != 8) return R_PutBitmapRowCol(&bm, pBuffer, nRow, nCol, nBytes);
    const int64_t nAt = int64_t(bm.BytesPerLine) * nRow + int64_t(nCol) * 3;
    return R_PutBitmapRowCol(&bm, pBuffer, int32_t(nAt / bm.BytesPerLine), int32_t(nAt % bm.BytesPerLine), nBytes);
}

int32_t leaveStrips(BITMAPRECORD& bm) noexcept {
    SUPERHEADER& h = headerOf(bm);
    const bool bKeep = h.bDirty != 0;
    if (bKeep) {
        std::memcpy(h.pScratch, h.pStrip, bytesOf(bm, kStripRows));
        h.nKeptRow = h.nOpenRow;
        h.bDirty = 0;
    }
    h.bLeaving = 1;
    int32_t nStatus = R_SetBitmapMemoryInfo(&bm, BMMEM_CONVENTIONAL, 0, 0, 0, 0, 0, SETMEM_MEMORY);
    if (nStatus != 1) nStatus = R_SetBitmapMemoryInfo(&bm, BMMEM_DISK, 0, 0, 0, 0, 0, SETMEM_MEMORY);
    if (nStatus == 1) return 1;
    // Nowhere to go: all is as it was. A strip that only stood in for one that can't be loaded is not to be kept.
    h.bLeaving = 0;
    h.nOpenRow = kNoStrip;
    if (bKeep) {
        openStrip(bm, h.nKeptRow);
        h.nKeptRow = kNoStrip;
        h.bDirty = 1;
    }
    return nStatus;
}

uint64_t stripSize(const BITMAPRECORD& bm) noexcept {
    SUPERHEADER& h = headerOf(bm);
    uint64_t nSize = 0;
    for (int32_t i = 0; i < h.nStrips; ++i) nSize += h.strip(i).nCompressedSize;
    return nSize;
}

int32_t changeStripHeight(BITMAPRECORD& bm, int32_t nHeight) noexcept {
    const int32_t nOld = headerOf(bm).nStrips, nNew = stripsOf(nHeight);
    if (nNew > nOld) {
        const uint64_t nBytes = headerBytes(nNew);
        void* p = nBytes > UINT32_MAX ? nullptr : R_GlobalRealloc(bm.pData, uint32_t(nBytes));
        if (!p) return -1;
        bm.pData = static_cast<uint8_t*>(p);
        std::memset(bm.pData + headerBytes(nOld), 0, size_t(nBytes - headerBytes(nOld)));
    }
    SUPERHEADER& h = headerOf(bm);
    for (int32_t i = nNew; i < nOld; ++i) {
        storeDataSize(bm, dataSize(bm) - h.strip(i).nCompressedSize);
        closeStrip(h.strip(i));
    }
    h.nStrips = nNew;
    for (int32_t i = std::min(nOld, nNew) - 1; i < nNew; ++i) {
        STRIP& strip = h.strip(i);
        strip.nRows = rowsOfStrip(i, nHeight);
        strip.nValidRows = uint16_t(std::min<uint32_t>(strip.nValidRows, strip.nRows));
        if (h.nOpenRow == i * kStripRows) clearRows(bm, strip.nRows);
    }
    if (h.nOpenRow / kStripRows >= nNew) {
        h.nOpenRow = kNoStrip;
        h.bDirty = 0;
    }
    bm.Height = nHeight;
    return 1;
}

}  // namespace rv
