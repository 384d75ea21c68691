// The resizer of single rows: nearest columns by an integer walk, forward or from the row's end, and the count of how
// often a row is to be used.
#include "internal/scanline.h"

#include "internal/bitmap_.h"
#include "internal/resize_.h"
#include "ravokit/resize.h"

namespace rv {
namespace {

// The walk from its last place to its first, where it moves on the carry alone.
struct BackwardWalk {
    int64_t nRem, nDenominator, nAt, nAcc;

    BackwardWalk(int64_t at, int64_t acc, int64_t rem, int64_t denominator, int64_t nCount) noexcept
        : nRem(rem), nDenominator(denominator) {
        const int64_t nTotal = acc + rem * (nCount - 1);
        nAt = at + nTotal / denominator;
        nAcc = nTotal % denominator;
    }
    size_t next() noexcept {
        const int64_t nHere = nAt;
        nAcc -= nRem;
        const bool bBorrow = nAcc < 0;
        nAcc += bBorrow ? nDenominator : 0;
        nAt -= bBorrow;
        return size_t(nHere);
    }
};

bool overlap(const uint8_t* a, size_t nA, const uint8_t* b, size_t nB) noexcept {
    const auto uA = reinterpret_cast<uintptr_t>(a), uB = reinterpret_cast<uintptr_t>(b);
    return uA < uB + nB && uB < uA + nA;
}

// Rows that the kernels for even steps can do.
EveryNthRow evenSteps(int32_t nBits, const AxisWalk& walk, const uint8_t* src, const uint8_t* dst, size_t n) noexcept {
    if (walk.nRem != 0 || walk.nAcc < 0 || walk.nAcc >= walk.nDenominator) return nullptr;
    const EveryNthRow row = everyNthRow(nBits, int32_t(walk.nStep));
    const size_t nPixel = size_t(nBits) / 8;
    return row && !overlap(src, n * nPixel * size_t(walk.nStep), dst, n * nPixel) ? row : nullptr;
}

bool isTold(const uint8_t* pSrc, const uint8_t* pDst, int32_t nBits, int32_t nDenominator) noexcept {
    return pSrc && pDst && isKnownDepth(nBits) && nDenominator > 0;
}

// How often a row is used: nRepeat, and once more where the remainder carries. A row that follows the last one upwards
// asks for the carry into its place, all others for the one out of it.
int32_t timesUsed(RESIZEDATA& data, int32_t nRow) noexcept {
    const int64_t nDistance = int64_t(nRow) - data.nLastRow;
    const bool bTurn = data.bBackward != (nDistance == -1);
    data.bBackward = nDistance == -1;
    if (bTurn || (nDistance != 1 && nDistance != -1))
        data.nAccY = int32_t(int64_t(data.nRemY) * nRow % data.nOldHeight);
    data.nLastRow = nRow;
    int64_t nAcc = int64_t(data.nAccY) + (data.bBackward ? -data.nRemY : data.nRemY);
    int32_t nTimes = data.nRepeat;
    if (data.bBackward ? nAcc < 0 : nAcc >= data.nOldHeight) {
        nAcc += data.bBackward ? data.nOldHeight : -data.nOldHeight;
        ++nTimes;
    }
    data.nAccY = int32_t(nAcc);
    return nTimes;
}

}  // namespace

void clearBehindPixels(int32_t nBits, uint8_t* pRow, size_t n, size_t nBytes) noexcept {
    if (nBits >= 8 && nBits != 12) return;
    const auto nUsed = uint64_t(n) * uint32_t(nBits);
    if (nUsed % 8) pRow[nUsed / 8] &= uint8_t(nBits == 12 ? 0x0F : 0xFF00 >> nUsed % 8);
    const size_t nFull = size_t((nUsed + 7) / 8);
    if (nBytes > nFull) std::memset(pRow + nFull, 0, nBytes - nFull);
}

}  // namespace rv

using namespace rv;

extern "C" {

void R_GetResizedScanLine(int32_t nBitsPerPixel, uint32_t uDstBytes, int32_t nStartCol, int32_t nStep, int32_t nAcc,
                          int32_t nRem, const uint8_t* pSrc, uint8_t* pDst, int32_t nCount, int32_t nDenominator,
                          int32_t bEnlarge) noexcept {
    if (!isTold(pSrc, pDst, nBitsPerPixel, nDenominator)) return;
    AxisWalk walk(nStartCol, bEnlarge ? 0 : nStep, nAcc, nRem, nDenominator);
    const size_t n = size_t(nCount > 0 ? nCount : 0);
    visitDepth(nBitsPerPixel, [&](auto bits) {
        if constexpr (bits % 8 == 0) {
            const uint8_t* pFirst = pSrc + int64_t(nStartCol) * (bits / 8);
            if (const EveryNthRow row = evenSteps(bits, walk, pFirst, pDst, n)) return row(pFirst, pDst, n);
        }
        pickPixels<bits>(pSrc, pDst, n, [&walk] { return walk.next(); });
    });
    clearBehindPixels(nBitsPerPixel, pDst, n, uDstBytes);
}

void R_ReverseGetResizedScanLine(int32_t nBitsPerPixel, uint32_t uDstBytes, int32_t nStartCol, int32_t nStep,
                                 int32_t nAcc, int32_t nRem, const uint8_t* pSrc, uint8_t* pDst, int32_t nCount,
                                 int32_t nDenominator, int32_t bEnlarge) noexcept {
    if (!bEnlarge)
        return R_GetResizedScanLine(nBitsPerPixel, uDstBytes, nStartCol, nStep, nAcc, nRem, pSrc, pDst, nCount,
                                    nDenominator, bEnlarge);
    if (!isTold(pSrc, pDst, nBitsPerPixel, nDenominator)) return;
    const size_t n = size_t(nCount > 0 ? nCount : 0);
    BackwardWalk walk(nStartCol, nAcc, nRem, nDenominator, nCount);
    visitDepth(nBitsPerPixel, [&](auto bits) {
        for (size_t i = n; i-- > 0;) Pixel<bits>::put(pDst, i, Pixel<bits>::get(pSrc, walk.next()));
    });
    clearBehindPixels(nBitsPerPixel, pDst, n, uDstBytes);
}

int32_t R_StartResize(int32_t nOldWidth, int32_t nOldHeight, int32_t nNewWidth, int32_t nNewHeight,
                      void** ppResizeData) noexcept {
    if (!ppResizeData) return -13;                                              // Invalid parameter passed
    if (!repairSize(nOldWidth, nOldHeight, nNewWidth, nNewHeight)) return -13;  // Invalid parameter passed
    auto* pData = newBlock<RESIZEDATA>(1);
    if (!pData) return -1;  // Not enough memory available
    *pData = {};
    pData->nLastRow = -1;
    pData->nOldWidth = nOldWidth;
    pData->nOldHeight = nOldHeight;
    pData->nNewWidth = nNewWidth;
    pData->nNewHeight = nNewHeight;
    pData->nStepX = nOldWidth / nNewWidth;
    pData->nRemX = nOldWidth % nNewWidth;
    pData->nRepeat = nNewHeight / nOldHeight;
    pData->nRemY = nNewHeight % nOldHeight;
    *ppResizeData = pData;
    return 1;
}

int32_t R_Resize(uint8_t* pBuffer, int32_t nRow, int32_t nBitsPerPixel, int32_t* pXSize, int32_t* pYSize,
                 void* pResizeData) noexcept {
    if (!pBuffer || !pXSize || !pYSize || !pResizeData) return -13;  // Invalid parameter passed
    RESIZEDATA& data = *static_cast<RESIZEDATA*>(pResizeData);
    *pXSize = data.nNewWidth;
    *pYSize = 1;
    if (data.nOldWidth == data.nNewWidth && data.nOldHeight == data.nNewHeight) return 1;
    *pYSize = timesUsed(data, nRow);
    if (*pYSize == 0 || data.nOldWidth == data.nNewWidth) return *pYSize;
    const bool bEnlarge = data.nNewWidth > data.nOldWidth;
    (bEnlarge ? R_ReverseGetResizedScanLine : R_GetResizedScanLine)(
        nBitsPerPixel, 0, 0, data.nStepX, 0, data.nRemX, pBuffer, pBuffer, data.nNewWidth, data.nNewWidth, bEnlarge);
    return *pYSize;
}

int32_t R_StopResize(void* pResizeData) noexcept {
    if (!pResizeData) return -13;  // Invalid parameter passed
    R_GlobalFree(pResizeData);
    return 1;
}

}  // extern "C"
