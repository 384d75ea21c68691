// Compressed rows on plain buffers: records made from rows and expanded to rows, records reordered.
#include <algorithm>
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/runs.h"
#include "ravokit/compressed.h"

using namespace rv;

extern "C" {

int32_t R_CompressRow(uint16_t* pRecord, const uint8_t* pBits, int32_t nStartCol, int32_t nWidth) noexcept {
    if (!pRecord || !pBits || nWidth < 0) return -13;
    writeRecord(pRecord, pBits, uint32_t(nStartCol) & 7, uint32_t(nWidth));
    return nWidth;
}

int32_t R_CompressRows(uint16_t* pRecords, const uint8_t* pBits, int32_t nWidth, int32_t nRows) noexcept {
    if (!pRecords || !pBits || nWidth < 0) return -13;
    const auto nStride = size_t(rowBytes(uint32_t(nWidth), 1));
    for (; nRows > 0; --nRows, pBits += nStride) pRecords = writeRecord(pRecords, pBits, 0, uint32_t(nWidth));
    return 1;
}

int32_t R_ExpandRow(const uint16_t* pRecord, uint8_t* pBits, int32_t nStartCol, int32_t nWidth) noexcept {
    if (!pRecord || !pBits || nStartCol < 0 || nWidth < 0) return -13;
    expandRuns(recordRuns(pRecord), uint32_t(nStartCol), pBits, uint32_t(nWidth),
               uint32_t(packedBytes(uint32_t(nWidth), 1)));
    return 1;
}

int32_t R_ExpandRows(const uint16_t* pRecords, uint8_t* pBits, int32_t nWidth, int32_t nRows) noexcept {
    if (!pRecords || !pBits || nWidth < 0) return -13;
    const auto nStride = size_t(rowBytes(uint32_t(nWidth), 1));
    const auto nBytes = uint32_t(packedBytes(uint32_t(nWidth), 1));
    for (; nRows > 0; --nRows, pBits += nStride, pRecords = nextRecord(pRecords))
        expandRuns(recordRuns(pRecords), 0, pBits, uint32_t(nWidth), nBytes);
    return 1;
}

int32_t R_FlipCompressedBuffer(const uint16_t* pIn, uint16_t* pOut, int32_t nRows) noexcept {
    if (!pIn || !pOut) return -13;
    const uint16_t* pEnd = pIn;
    for (int32_t i = 0; i < nRows; ++i) pEnd = nextRecord(pEnd);
    pOut += pEnd - pIn;
    for (; nRows > 0; --nRows) {
        const uint16_t* pNext = nextRecord(pIn);
        const size_t nWords = size_t(pNext - pIn);
        pOut -= nWords;
        std::memcpy(pOut, pIn, nWords * sizeof *pIn);
        pIn = pNext;
    }
    return 1;
}

int32_t R_MirrorCompressedBuffer(const uint16_t* pIn, uint16_t* pOut, int32_t nRows) noexcept {
    if (!pIn || !pOut) return -13;
    for (; nRows > 0; --nRows) {
        const uint16_t *p = pIn + kRecordHead, *const pEnd = nextRecord(pIn);
        // In an even list the last run, which becomes the first, is of 1-bits.
        const bool bEven = (pEnd - p) % 2 == 0;
        if (pEnd - p > 1 && *p == 0) ++p;
        uint16_t* pTo = pOut + kRecordHead;
        if (bEven && p != pEnd) *pTo++ = 0;
        pOut = closeRecord(pOut, std::reverse_copy(p, pEnd, pTo));
        pIn = pEnd;
    }
    return 1;
}

}  // extern "C"
