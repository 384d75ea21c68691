// Rows of a resized picture on demand.
#include <algorithm>
#include <cstring>

#include "internal/resizerows_.h"

namespace rv {

// The span that serves the stretch, or the one that was used longest ago, prepared for it; null with nStatus.
ResizeSpan* RESIZESTATE::spanFor(int32_t nCol, uint32_t uBytes, int32_t& nStatus) noexcept {
    ResizeSpan* pOldest = spans;
    for (ResizeSpan& span : spans) {
        if (span.serves(nCol, uBytes)) {
            span.nUsed = ++nRequests;
            return &span;
        }
        if (span.nUsed < pOldest->nUsed) pOldest = &span;
    }
    nStatus = pOldest->prepare(*this, nCol, uBytes);
    pOldest->nUsed = nStatus == 1 ? ++nRequests : 0;
    return nStatus == 1 ? pOldest : nullptr;
}

namespace {

// Colours by their alpha, where the picture keeps its size. At 64 bits the alpha is one byte of the row's first pixel,
// as it has always been.
void premultiplyRow(const RESIZESTATE& state, uint8_t* pRow, uint32_t uBytes) noexcept {
    const ResizeFormats& f = state.formats;
    if (f.bGray || !(state.uFlags & RSR_BICUBIC)) return;
    if (f.nSrcBits == 32) {
        for (; uBytes >= 4; uBytes -= 4, pRow += 4)
            for (int c = 0; c < 3; ++c) pRow[c] = uint8_t(pRow[c] * (pRow[3] + 1u) >> 8);
    } else if (f.nSrcBits == 64 && uBytes >= 8) {
        const uint32_t nFactor = pRow[3] + 1u;
        for (; uBytes >= 8; uBytes -= 8, pRow += 8)
            for (int c = 0; c < 6; c += 2)
                storeLittle(pRow + c, uint16_t(loadLittle<uint16_t>(pRow + c) * nFactor >> 16));
    }
}

// The bitmap's own pixels, as they are stored.
int32_t copyChunk(RESIZESTATE& state, uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t uBytes) noexcept {
    const ResizeFormats& f = state.formats;
    ColumnWindow w = columnWindow(state.shape, f.nSrcBits, f.nSrcBits, nCol, uBytes);
    w.uFetchBytes = std::min<uint64_t>(w.uFetchBytes, uBytes);
    Buffer<uint8_t> own;  // where the row source gives more than was asked for
    const bool bOwn = state.rows.bufferBytes(w) > uBytes;
    if (bOwn && !own.allocate(state.rows.bufferBytes(w))) return -1;  // Not enough memory available
    const uint8_t* pRow = nullptr;
    if (const int32_t n = state.rows.read(nRow, w, bOwn ? own.get() : pBuffer, pRow); n != 1) return n;
    if (pRow != pBuffer) std::memcpy(pBuffer, pRow, size_t(w.uFetchBytes));
    std::memset(pBuffer + size_t(w.uFetchBytes), 0, size_t(uBytes - w.uFetchBytes));
    premultiplyRow(state, pBuffer, uint32_t(w.uFetchBytes));
    return 1;
}

int32_t makeChunk(RESIZESTATE& state, uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint32_t uBytes) noexcept {
    if (state.bSameSize) return copyChunk(state, pBuffer, nRow, nCol, uBytes);
    int32_t nStatus = 1;
    ResizeSpan* pSpan = state.spanFor(nCol, uBytes, nStatus);
    if (!pSpan) return nStatus;
    const ColumnWindow& w = pSpan->window();
    if (w.nOutPixels < 1) {
        std::memset(pBuffer, 0, uBytes);
        return 1;
    }
    if (pSpan->isDirect(state)) {
        const auto nWhole = size_t(w.nOutPixels) * size_t(state.formats.nDstBits / 8);
        std::memset(pBuffer + nWhole, 0, uBytes - nWhole);
        pSpan->lineTo(state, nRow, pBuffer);
        return 1;
    }
    const uint8_t* pLine = nullptr;
    nStatus = pSpan->line(state, nRow, pLine);
    return nStatus == 1 ? emitLine(state, w, pLine, nRow, nCol, pBuffer, uBytes) : nStatus;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_GetResizedRowCol(void* pResizeData, uint8_t* pBuffer, int32_t nRow, int32_t nCol,
                                      uint32_t uBytes) noexcept {
    auto* pState = static_cast<RESIZESTATE*>(pResizeData);
    if (!pState || pState->uStructSize != sizeof(RESIZESTATE) || !pBuffer || nCol < 0) return -13;
    if (uBytes == 0) return 1;
    RESIZESTATE& state = *pState;
    const uint32_t nChunks = (uBytes - 1) / state.uOutRowBytes + 1;
    if (int64_t(nCol) + int64_t(nChunks - 1) * state.nChunkPixels >= state.shape.nDstWidth)
        return -74;  // Internal error
    nRow = std::clamp(nRow, 0, state.shape.nDstHeight - 1);
    for (uint32_t i = 0; i < nChunks; ++i) {
        const uint32_t n = std::min(uBytes, state.uOutRowBytes);
        const auto nChunkCol = int32_t(nCol + int64_t(i) * state.nChunkPixels);
        if (const int32_t nStatus = makeChunk(state, pBuffer, nRow, nChunkCol, n); nStatus != 1) return nStatus;
        pBuffer += n;
        uBytes -= n;
    }
    return 1;
}
