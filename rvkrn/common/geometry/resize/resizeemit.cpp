// Work pixels to the caller's buffer: through the table that waited, dithered, converted, or as they are.
#include <algorithm>
#include <cstring>

#include "internal/dither_.h"
#include "internal/resizerows_.h"

namespace rv {
namespace {

constexpr int32_t kMatrix = 8;  // columns and rows of ordered dithers

// Ordered dithers stand where the picture does, whatever is asked for and in whatever order: the row is told, and a
// stretch that starts inside the matrix gets columns before it, which are then dropped.
int32_t dither(RESIZESTATE& state, const ColumnWindow& window, const uint8_t* pLine, int32_t nRow, int32_t nCol,
               uint8_t* pBuffer) noexcept {
    BITMAPRECORD& bm = state.DitherBitmap;
    const ResizeFormats& f = state.formats;
    auto& data = *static_cast<DITHERDATA*>(bm.pDitherData);
    data.nOrderedRow = uint32_t(nRow);
    const bool bOrdered = bm.DitheringMethod == DITHER_ORDERED || bm.DitheringMethod == DITHER_CLUSTERED;
    const int32_t nBefore = bOrdered ? nCol % kMatrix : 0;
    bm.Width = nBefore + window.nOutPixels;
    auto* pIn = const_cast<uint8_t*>(pLine);  // only another order than that of the work would be changed in place
    if (nBefore == 0) return R_DitherLine(&bm, pIn, pBuffer);

    const auto nPixelBytes = size_t(f.bytesPerPixel());
    uint8_t* const pRow = state.scratch.get();
    uint8_t* const pIndices = pRow + size_t(state.nChunkPixels + kMatrix) * nPixelBytes;
    std::memset(pRow, 0, size_t(nBefore) * nPixelBytes);
    std::memcpy(pRow + size_t(nBefore) * nPixelBytes, pLine, size_t(window.nOutPixels) * nPixelBytes);
    const int32_t nStatus = R_DitherLine(&bm, pRow, pIndices);
    copyBits(pBuffer, 0, pIndices, uint64_t(nBefore) * uint64_t(f.nOutBits),
             uint64_t(window.nOutPixels) * uint64_t(f.nOutBits));
    return nStatus;
}

int32_t convertLine(RESIZESTATE& state, size_t n, const uint8_t* pLine, uint8_t* pBuffer) noexcept {
    const ResizeFormats& f = state.formats;
    if (f.lut.nBitsSrc && f.nDstOrder == ORDER_GRAY) {
        ConvertArgs args = f.lut;
        args.nWidth = int32_t(n);
        if (const int32_t nStatus = convertRow(args, state.scratch.get(), pLine); nStatus != 1) return nStatus;
        pLine = state.scratch.get();
    }
    ConvertArgs args = f.out;
    args.nWidth = int32_t(n);
    const int32_t nStatus = convertRow(args, pBuffer, pLine);
    if (f.grayOut.nBits != 8)
        for (size_t i = 0; i < n; ++i) pBuffer[i] = placedGray(pBuffer[i], f.grayOut);
    return nStatus;
}

}  // namespace

int32_t emitLine(RESIZESTATE& state, const ColumnWindow& window, const uint8_t* pLine, int32_t nRow, int32_t nCol,
                 uint8_t* pBuffer, uint32_t uBytes) noexcept {
    const ResizeFormats& f = state.formats;
    const auto n = size_t(window.nOutPixels);
    // What stands behind the last whole byte of pixels.
    const auto nWhole = size_t(uint64_t(n) * uint64_t(f.nDstBits) / 8);
    std::memset(pBuffer + nWhole, 0, uBytes - nWhole);
    if (f.bDither) return dither(state, window, pLine, nRow, nCol, pBuffer);
    if (!f.bKeepOut) return convertLine(state, n, pLine, pBuffer);
    std::memcpy(pBuffer, pLine, n * size_t(f.bytesPerPixel()));
    return 1;
}

}  // namespace rv
