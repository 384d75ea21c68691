// The persisted form of a region: bounds, row entries and span words in one block of 32-bit words.
#include "internal/region_.h"

namespace rv {
namespace {

constexpr size_t kRowsAt = 20;  // behind the bounds and the count of rows

template <class T>
T read(const uint8_t* p) noexcept {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}
template <class T>
uint8_t* write(uint8_t* p, const T* pValues, size_t nBytes) noexcept {
    if (nBytes) std::memcpy(p, pValues, nBytes);
    return p + nBytes;
}

uint64_t dataSizeOf(uint64_t nRows, uint64_t nWords) noexcept {
    return kRowsAt + nRows * sizeof(RgnRow) + sizeof(uint32_t) + nWords * sizeof(int32_t);
}

void writeData(uint8_t* p, const RavoRgn& rgn) noexcept {
    const uint32_t nRows = rowCount(rgn), nWords = 2 * spanCount(rgn);
    p = write(p, &rgn.rcBounds, sizeof rgn.rcBounds);
    p = write(p, &nRows, sizeof nRows);
    p = write(p, rgn.pRows, rgn.RowTableSize);
    p = write(p, &nWords, sizeof nWords);
    write(p, rgn.pSpans, rgn.SpanDataSize);
}

int32_t readData(RavoRgn** ppRgn, const uint8_t* pData) noexcept {
    const auto nRows = read<uint32_t>(pData + kRowsAt - sizeof(uint32_t));
    const uint8_t* const pWords = pData + kRowsAt + size_t(nRows) * sizeof(RgnRow);
    const auto nWords = read<uint32_t>(pWords);
    if (nRows > UINT32_MAX / sizeof(RgnRow) || nWords > UINT32_MAX / sizeof(int32_t)) return -1;
    RavoRgn told{};  // its tables are none: only the sizes count
    told.RowTableSize = nRows * uint32_t(sizeof(RgnRow));
    told.SpanDataSize = nWords * uint32_t(sizeof(int32_t));
    RegionOwner fresh;
    if (const int32_t n = newShape(fresh.out(), told); n != 1) return n;
    (*fresh).rcBounds = read<RECT>(pData);
    if (nRows) std::memcpy((*fresh).pRows, pData + kRowsAt, told.RowTableSize);
    if (nWords) std::memcpy((*fresh).pSpans, pWords + sizeof(uint32_t), told.SpanDataSize);
    *ppRgn = fresh.take();
    return 1;
}

}  // namespace

int32_t readRegionData(const uint8_t* pData, size_t nBytes, RavoRgn** ppRgn) noexcept {
    if (!pData || !ppRgn || nBytes < dataSizeOf(0, 0)) return -13;
    const auto nRows = read<uint32_t>(pData + kRowsAt - sizeof(uint32_t));
    if (nBytes < dataSizeOf(nRows, 0)) return -13;
    const auto nWords = read<uint32_t>(pData + kRowsAt + size_t(nRows) * sizeof(RgnRow));
    if (nBytes != dataSizeOf(nRows, nWords)) return -13;
    RegionOwner fresh;
    if (const int32_t n = readData(fresh.out(), pData); n != 1) return n;
    if (!isWellFormed(*fresh)) return -13;
    *ppRgn = fresh.take();
    return 1;
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_GetRavoRgnData(const RavoRgn* pRgn, uint8_t* pBuffer, uint32_t* puSize) noexcept {
    if (!puSize || (!pRgn && !pBuffer)) return -13;
    if (!pRgn) {
        *pBuffer = 0;
        *puSize = 0;
        return 1;
    }
    const uint64_t nBytes = dataSizeOf(rowCount(*pRgn), 2 * uint64_t(spanCount(*pRgn)));
    if (nBytes > UINT32_MAX) return -1;
    if (pBuffer && *puSize != nBytes) return -13;
    if (pBuffer) writeData(pBuffer, *pRgn);
    *puSize = uint32_t(nBytes);
    return 1;
}

int32_t R_SetRavoRgnData(RavoRgn** ppRgn, const uint8_t* pData) noexcept {
    return ppRgn && pData ? readData(ppRgn, pData) : -13;
}

}  // extern "C"
