// DIBs to bitmaps. The header is read and judged first, in 64 bits; only then are colours and rows touched.
#include <algorithm>
#include <bit>
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/convert_.h"
#include "internal/dib_.h"
#include "internal/handles.h"
#include "internal/rowaccess.h"
#include "ravokit/dib.h"
#include "ravokit/frame.h"

namespace rv {
namespace {

constexpr uint32_t kPlainRows = 0, kMaskedRows = 3;  // biCompression; all others are four-character codes
constexpr uint32_t kMostHints = 256;                 // colours that may stand before rows above 8 bits

// Where the DIB is, and how many bytes there are at most.
struct DibBlock {
    const uint8_t* p = nullptr;
    uint64_t nSize = UINT64_MAX;
    MEMHANDLE* h = nullptr;  // where it is given as one
};

DibBlock blockOf(const void* pDIB) noexcept { return {static_cast<const uint8_t*>(pDIB)}; }

// What R_ChangeFromDIB is given: the first word of a handle is its kind, that of a DIB the size of its header, and that
// is never the same. Calls that take an address alone don't ask, so that no header can pass for a handle there.
DibBlock blockOrHandle(void* pDIB) noexcept {
    if (!pDIB || isAllOnes(pDIB)) return {};
    const bool bAligned = reinterpret_cast<uintptr_t>(pDIB) % alignof(MEMHANDLE) == 0;
    if (!bAligned || loadLittle<uint32_t>(static_cast<uint8_t*>(pDIB)) != kHandleMemory) return blockOf(pDIB);
    auto* const h = static_cast<MEMHANDLE*>(pDIB);
    return {static_cast<const uint8_t*>(R_OsLockHandle(h)), WinGlobalSize(h), h};
}

// One channel of masked rows.
struct Channel {
    uint32_t uMask = 0, nShift = 0, nBits = 0;

    // False for a mask that is not one run of bits inside a pixel.
    bool set(uint32_t u, uint32_t nPixelBits) noexcept {
        uMask = u;
        if (!u) return true;
        nShift = uint32_t(std::countr_zero(u));
        nBits = uint32_t(std::popcount(u));
        return uint64_t(u) >> nShift == (uint64_t(1) << nBits) - 1 && nShift + nBits <= nPixelBits;
    }
    // The top nWanted bits, or what stands for fewer.
    uint32_t value(uint32_t uPixel, uint32_t nWanted) const noexcept {
        if (!nBits) return 0;
        const uint32_t v = (uPixel & uMask) >> nShift;
        if (nBits >= nWanted) return v >> (nBits - nWanted);
        return v * ((1u << nWanted) - 1) / ((1u << nBits) - 1);
    }
};

// What a header tells, once it was found sound.
struct DibFormat {
    int32_t nWidth = 0, nHeight = 0;
    bool bTopDown = false;
    uint32_t nBits = 0;
    uint32_t nColors = 0;      // of the palette
    uint32_t nColorBytes = 4;  // of an entry
    uint32_t nStride = 0;
    uint64_t nColorsAt = 0, nRowsAt = 0, nEnd = 0;
    int32_t nXPels = 0, nYPels = 0;
    bool bMasked = false;
    Channel blue, green, red;
    const FrameLayout* pFrame = nullptr;

    int32_t targetBits() const noexcept { return pFrame ? 24 : int32_t(nBits); }
};

bool readHeader(const DibBlock& block, DibHeader& header, DibFormat& f) noexcept {
    if (block.nSize < kCoreHeaderSize) return false;
    header.biSize = loadLittle<uint32_t>(block.p);
    if (header.biSize == kCoreHeaderSize) {
        header.biWidth = loadLittle<uint16_t>(block.p + 4);
        header.biHeight = loadLittle<uint16_t>(block.p + 6);
        header.biPlanes = loadLittle<uint16_t>(block.p + 8);
        header.biBitCount = loadLittle<uint16_t>(block.p + 10);
        f.nColorBytes = 3;
    } else {
        if (header.biSize != sizeof header || block.nSize < sizeof header) return false;
        std::memcpy(&header, block.p, sizeof header);
    }
    return header.biPlanes == 1 && header.biHeight != INT32_MIN;
}

int32_t judgeDepth(const DibBlock& block, const DibHeader& header, DibFormat& f) noexcept {
    const bool bMasks = header.biCompression == kMaskedRows;
    if (bMasks) {
        if (f.nBits != 16 && f.nBits != 32) return -16;
        if (block.nSize < f.nColorsAt + 12) return -13;
        const uint8_t* p = block.p + f.nColorsAt;
        if (!f.red.set(loadLittle<uint32_t>(p), f.nBits) || !f.green.set(loadLittle<uint32_t>(p + 4), f.nBits) ||
            !f.blue.set(loadLittle<uint32_t>(p + 8), f.nBits))
            return -16;
        f.bMasked = true;
        f.nColorsAt += 12;
    } else if (header.biCompression != kPlainRows) {
        if (f.nWidth < 0) return -11;
        f.pFrame = findFrameLayout(header.biCompression, uint32_t(f.nWidth), uint32_t(f.nHeight), f.nBits);
        return f.pFrame ? 1 : -16;  // also for frames that a codec module would have to read
    }
    return f.nBits == 1 || f.nBits == 4 || f.nBits == 8 || f.nBits == 16 || f.nBits == 24 || f.nBits == 32 ? 1 : -27;
}

// 1, or the status of a DIB that can't be read.
int32_t judge(const DibBlock& block, DibFormat& f) noexcept {
    DibHeader header{};
    if (!readHeader(block, header, f)) return -13;
    f.nWidth = header.biWidth;
    f.nHeight = header.biHeight < 0 ? -header.biHeight : header.biHeight;
    f.bTopDown = header.biHeight < 0;
    f.nBits = header.biBitCount;
    f.nXPels = header.biXPelsPerMeter;
    f.nYPels = header.biYPelsPerMeter;
    f.nColorsAt = header.biSize;
    if (const int32_t n = judgeDepth(block, header, f); n != 1) return n;
    if (f.nWidth < 1 || f.nHeight < 1) return -11;

    const bool bPalette = f.targetBits() <= 8;
    const uint32_t nMost = bPalette ? 1u << f.nBits : kMostHints;
    if (header.biClrUsed > nMost) return -13;
    f.nColors = bPalette && !header.biClrUsed ? nMost : header.biClrUsed;
    f.nRowsAt = f.nColorsAt + uint64_t(f.nColors) * f.nColorBytes;
    const uint64_t nStride = rowBytes(uint32_t(f.nWidth), f.nBits);
    f.nEnd = f.nRowsAt +
             (f.pFrame ? frameSize(*f.pFrame, uint32_t(f.nWidth), uint32_t(f.nHeight)) : nStride * uint32_t(f.nHeight));
    if (f.nEnd > block.nSize || f.nEnd > PTRDIFF_MAX) return -13;
    if (nStride > INT32_MAX) return -11;
    f.nStride = uint32_t(nStride);
    return 1;
}

int32_t resolutionOf(int32_t nPels, int32_t nDefault) noexcept {
    return nPels > 0 ? int32_t((int64_t(nPels) * 254 + 5000) / 10000) : nDefault;
}

int32_t takePalette(BITMAPRECORD& bm, const DibFormat& f, const uint8_t* p) noexcept {
    RGBQUAD entries[kMostColors];
    for (uint32_t i = 0; i < f.nColors; ++i, p += f.nColorBytes) entries[i] = {p[0], p[1], p[2], 0};
    return R_SetBitmapNewPalette(&bm, entries, f.nColors);
}

// Row y of the DIB in the bitmap's format: the row itself, or pRow, where it is made.
const uint8_t* rowOf(const DibFormat& f, const uint8_t* pRows, uint32_t y, uint8_t* pRow) noexcept {
    const auto nWidth = uint32_t(f.nWidth);
    if (f.pFrame) {
        expandFrameRow(*f.pFrame, pRows, nWidth, uint32_t(f.nHeight), y, pRow);
        return pRow;
    }
    const uint8_t* p = pRows + size_t(f.nStride) * y;
    if (!f.bMasked) return p;
    for (size_t x = 0; x < nWidth; ++x) {
        if (f.nBits == 16) {
            const uint32_t u = Pixel<16>::get(p, x);
            Pixel<16>::put(pRow, x, f.red.value(u, 5) << 10 | f.green.value(u, 5) << 5 | f.blue.value(u, 5));
        } else {
            const uint32_t u = Pixel<32>::get(p, x);
            Pixel<32>::put(pRow, x,
                           0xFF000000 | f.red.value(u, 8) << 16 | f.green.value(u, 8) << 8 | f.blue.value(u, 8));
        }
    }
    return pRow;
}

int32_t takeRows(BITMAPRECORD& bm, const DibFormat& f, const uint8_t* pRows, bool bMirror) noexcept {
    const bool bMade = f.bMasked || f.pFrame;
    Buffer<uint8_t> row;
    if (bMade && !row.allocateCleared(bm.BytesPerLine)) return -1;
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    for (int32_t y = 0; y < bm.Height; ++y) {
        const uint8_t* p = rowOf(f, pRows, uint32_t(y), row.get());
        const int32_t n = R_PutBitmapRow(&bm, p, bMirror ? bm.Height - 1 - y : y, bm.BytesPerLine);
        if (n != int32_t(bm.BytesPerLine)) return n < 0 ? n : -1;
    }
    return lock.release(1);
}

int32_t build(BITMAPRECORD& bm, uint32_t uStructSize, const DibFormat& f, const uint8_t* p, bool bMirror) noexcept {
    if (const int32_t n = R_InitBitmap(&bm, uStructSize, f.nWidth, f.nHeight, f.targetBits()); n != 1) return n;
    bm.ViewPerspective = f.bTopDown != bMirror ? TOP_LEFT : BOTTOM_LEFT;
    bm.XResolution = resolutionOf(f.nXPels, bm.XResolution);
    bm.YResolution = resolutionOf(f.nYPels, bm.YResolution);
    if (bm.BitsPerPixel <= 8)
        if (const int32_t n = takePalette(bm, f, p + f.nColorsAt); n != 1) return n;
    if (const int32_t n = allocateBitmap(bm, BMMEM_CONVENTIONAL, bm.pPalette); n != 1) return n;
    return takeRows(bm, f, p + f.nRowsAt, bMirror);
}

int32_t fromDib(BITMAPRECORD* pBitmap, uint32_t uStructSize, const DibBlock& block, bool bMirror) noexcept {
    if (!isKnownRecordSize(uStructSize)) return -789;  // The structure size is invalid
    if (!pBitmap || !block.p) return -13;              // Invalid parameter passed
    DibFormat format;
    if (const int32_t n = judge(block, format); n != 1) return n;
    BitmapOwner fresh;
    if (const int32_t n = build(fresh.record, uStructSize, format, block.p, bMirror); n != 1) return n;
    std::memcpy(static_cast<void*>(pBitmap), &fresh.record, uStructSize);
    fresh.record.uStructSize = 0;  // handed on
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_ConvertFromDIB(BITMAPRECORD* pBitmap, uint32_t uStructSize, const void* pDIB, uint32_t) noexcept {
    return fromDib(pBitmap, uStructSize, blockOf(pDIB), false);
}

int32_t R_ChangeFromDIB(BITMAPRECORD* pBitmap, uint32_t uStructSize, void* pDIB) noexcept {
    const DibBlock block = blockOrHandle(pDIB);
    const int32_t nStatus = fromDib(pBitmap, uStructSize, block, false);
    if (nStatus == 1 && block.h) R_OsFreeHandle(block.h);
    return nStatus;
}

int32_t R_MirrorFromDIB(BITMAPRECORD* pBitmap, uint32_t uStructSize, const void* pDIB) noexcept {
    return fromDib(pBitmap, uStructSize, blockOf(pDIB), true);
}

}  // extern "C"
