// The start and the end of the engine of resized rows.
#include <algorithm>
#include <cstring>
#include <new>

#include "internal/dither_.h"
#include "internal/opening.h"
#include "internal/resize_.h"
#include "internal/resizerows_.h"

namespace rv {

RESIZESTATE::~RESIZESTATE() {
    if (DitherBitmap.pDitherData) R_StopDithering(&DitherBitmap);
    if (bAccessed) R_ReleaseBitmap(pBitmap);
}

namespace {

ResizeShape shapeOf(const BITMAPRECORD& bm, int32_t nWidth, int32_t nHeight, uint32_t uFlags) noexcept {
    ResizeShape shape{};
    shape.nSrcWidth = bm.Width;
    shape.nSrcHeight = bm.Height;
    shape.nDstWidth = nWidth;
    shape.nDstHeight = nHeight;
    shape.bEnlargeX = nWidth >= bm.Width;
    shape.bEnlargeY = nHeight >= bm.Height;
    const bool bGrows = nWidth > bm.Width || nHeight > bm.Height;
    if (uFlags & RSR_BICUBIC)
        shape.scaling = bGrows ? Scaling::spline : Scaling::resample;
    else
        shape.scaling = uFlags & RSR_RESAMPLE ? Scaling::resample : Scaling::nearest;
    int32_t nLarge = std::max(nHeight, bm.Height), nSmall = std::min(nHeight, bm.Height);
    if (shape.scaling == Scaling::spline && nSmall > 1) --nLarge, --nSmall;  // from first row to last row
    shape.nStepY = nLarge / nSmall;
    shape.nRemY = nLarge % nSmall;
    shape.fScaleY = float(bm.Height) / float(nHeight);
    return shape;
}

// Makes the bitmap that is dithered, of which only the format counts.
int32_t startDithering(RESIZESTATE& state, int32_t nBits, uint32_t uMethod) noexcept {
    BITMAPRECORD& bm = state.DitherBitmap;
    const ResizeFormats& f = state.formats;
    if (const int32_t n = R_InitBitmap(&bm, sizeof bm, state.shape.nDstWidth, state.shape.nDstHeight, f.nWorkBits);
        n != 1)
        return n;
    bm.DitheringMethod = int32_t(uMethod);
    RGBQUAD ramp[kMostColors];
    if (f.nWorkBits == 8) {
        fillGrayRamp(ramp, kMostColors);
        bm.pPalette = ramp;
        bm.nColors = kMostColors;
    } else {
        bm.Order = f.nWorkOrder;
    }
    if (f.nWorkOrder == ORDER_GRAY) {  // work is of full scale: levels are its top bits
        bm.PhysicalLowBit = f.bLutAfter ? 16 - int32_t(f.levels.nBits) : 0;
        bm.PhysicalHighBit = 15;
        if (f.bLutAfter) {
            const uint32_t nLength = f.levels.mask() + 1;
            bm.pLUT = const_cast<RGBQUAD*>(f.pLUT8);
            bm.LUTLength = f.pLUT8 ? nLength : 0;
            bm.pLUT16 = const_cast<RGBQUAD64*>(f.pLUT16);
            bm.LUT16Length = f.pLUT16 ? nLength : 0;
        }
    }
    const bool bPalette = f.nDstColors != 0;  // all depths that aren't indices go without dithering
    const uint32_t nColors = bPalette ? f.nDstColors : 1u << nBits;
    const int32_t nStatus = R_StartDitheringExt(&bm, bPalette ? f.DstPalette : nullptr, nColors, nBits, nullptr);
    bm.pPalette = nullptr;
    return nStatus;
}

// The kernel for columns that can go from the source's row to the caller's without a stop.
WidenFn directColumns(const RESIZESTATE& state) noexcept {
    const ResizeFormats& f = state.formats;
    if (state.shape.scaling != Scaling::nearest || f.step != FetchStep::keep) return nullptr;
    if (f.nWorkBits != 24 || f.nOutBits != 32) return nullptr;
    return f.nDstOrder == ORDER_BGR ? widenColumns24 : f.nDstOrder == ORDER_RGB ? swapColumns24 : nullptr;
}

int32_t startRows(RESIZESTATE& state, const ResizeOutput& output, RESIZEROWCALLBACK pfn, void* pUser) noexcept {
    BITMAPRECORD& bm = *state.pBitmap;
    ResizeFormats& f = state.formats;
    const ResizeShape& shape = state.shape;
    state.bSameSize = shape.nDstWidth == bm.Width && shape.nDstHeight == bm.Height && output.nBits == bm.BitsPerPixel;
    const bool bFiltered = shape.scaling != Scaling::nearest;
    if (const int32_t n = chooseFormats(bm, output, bFiltered, f); n != 1) return n;
    if (f.bDither && !state.bSameSize) {
        const int32_t n = startDithering(state, output.nBits, output.uFlags >> 16 & 0xFF);
        if (n != 1) return n;
    }
    if (const int32_t n = R_AccessBitmap(&bm); n != 1) return n;
    state.bAccessed = true;

    state.nChunkPixels = std::min(shape.nDstWidth, kChunkPixels);
    const auto nChunk = uint64_t(state.nChunkPixels);
    state.uOutRowBytes = uint32_t((nChunk * uint64_t(f.nDstBits) + 31) / 32 * 4);
    state.rows.start(bm, pfn, pfn ? pUser : &state);
    if (bFiltered && !shape.bEnlargeY && shape.nStepY > 2 && shape.nDstWidth > state.nChunkPixels)
        state.rows.keep(uint32_t(shape.nStepY) + 1);
    if (state.bSameSize) return 1;
    state.pfnDirect = directColumns(state);
    if (!state.scratch.allocate((nChunk + 8) * uint64_t(f.bytesPerPixel() + 1))) return -1;  // Not enough memory
    int32_t nStatus = 1;
    state.spanFor(0, state.uOutRowBytes, nStatus);
    return nStatus;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_StartResizeBitmap2(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, int32_t nBitsPerPixel,
                             const RGBQUAD* pPalette, uint32_t uPaletteEntries, uint32_t uFlags,
                             RESIZEROWCALLBACK pfnCallback, void* pUserData, void** ppResizeData, int32_t nLowBit,
                             int32_t nHighBit) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!ppResizeData) return -13;                              // Invalid parameter passed
    if (!repairSize(pBitmap->Width, pBitmap->Height, nWidth, nHeight)) return -13;
    if (!isKnownDepth(pBitmap->BitsPerPixel)) return -27;  // Bits per pixel
    if (nBitsPerPixel != 0 && !isKnownDepth(nBitsPerPixel)) return -13;
    auto* pState = new (std::nothrow) RESIZESTATE;
    if (!pState) return -1;  // Not enough memory available
    pState->pBitmap = pBitmap;
    pState->uFlags = uFlags;
    pState->shape = shapeOf(*pBitmap, nWidth, nHeight, uFlags);
    const ResizeOutput output{nBitsPerPixel, pPalette, uPaletteEntries, uFlags, {nLowBit, nHighBit}};
    const int32_t nStatus = startRows(*pState, output, pfnCallback, pUserData);
    if (nStatus != 1) {
        delete pState;
        return nStatus;
    }
    *ppResizeData = pState;
    return 1;
}

int32_t R_StartResizeBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, int32_t nBitsPerPixel,
                            const RGBQUAD* pPalette, uint32_t uPaletteEntries, uint32_t uFlags,
                            RESIZEROWCALLBACK pfnCallback, void* pUserData, void** ppResizeData) noexcept {
    return R_StartResizeBitmap2(pBitmap, nWidth, nHeight, nBitsPerPixel, pPalette, uPaletteEntries,
                                uFlags & ~uint32_t(RSR_GRAY_RANGE), pfnCallback, pUserData, ppResizeData, 0, 0);
}

int32_t R_StopResizeBitmap(void* pResizeData) noexcept {
    auto* pState = static_cast<RESIZESTATE*>(pResizeData);
    if (!pState || pState->uStructSize != sizeof(RESIZESTATE)) return -13;  // Invalid parameter passed
    delete pState;
    return 1;
}

}  // extern "C"
