// The choice of the paint method.
#include <cstring>

#include "internal/paintwork.h"
#include "ravokit/grayscale.h"
#include "ravokit/palette.h"

namespace rv {
namespace {

// Whether the picture's colours are those of the device's fixed palette.
bool hasDevicePalette(const BITMAPRECORD& bm, int32_t nBits, uint32_t uMode) noexcept {
    const RGBQUAD* const pFixed = devicePalette(nBits, uMode);
    if (!bm.pPalette || bm.nColors != 1u << nBits) return false;
    for (uint32_t i = 0; i < bm.nColors; ++i) {
        const RGBQUAD &a = bm.pPalette[i], &b = pFixed[i];
        if (a.rgbBlue != b.rgbBlue || a.rgbGreen != b.rgbGreen || a.rgbRed != b.rgbRed) return false;
    }
    return true;
}

PaintMethod whenDithered(bool bDithered, PaintMethod otherwise) noexcept {
    return bDithered ? PaintMethod::dither : otherwise;
}

PaintMethod oneBitMethod(const BITMAPRECORD& bm, const PaintWish& wish, bool bPicture) noexcept {
    if (bPicture && (wish.uMode & (DM_BITONAL_COVERAGE | DM_BITONAL_SMOOTH))) {
        const bool bCoverage = (wish.uMode & DM_BITONAL_COVERAGE) && wish.nDeviceBits > 1;
        const int32_t nKind = bCoverage || (wish.uMode & DM_BITONAL_SMOOTH) ? R_IsGrayScaleBitmap(&bm) : 0;
        if (nKind == GRAYKIND_ASCENDING) return bCoverage ? PaintMethod::coverage : PaintMethod::smooth;
        if (nKind == GRAYKIND_DESCENDING)
            return bCoverage ? PaintMethod::coverageInverted : PaintMethod::smoothInverted;
    }
    constexpr uint32_t kBoth = DM_DITHER | DM_DITHER_8BIT;
    return whenDithered((wish.uMode & kBoth) == kBoth && wish.nDeviceBits == 8, PaintMethod::asStored);
}

}  // namespace

PaintMethod paintMethod(const BITMAPRECORD& bm, const PaintWish& wish, bool bPicture) noexcept {
    const int32_t nDevice = wish.nDeviceBits;
    const bool bDither = wish.uMode & DM_DITHER, b8Bit = wish.uMode & DM_DITHER_8BIT;
    const bool bFew = bDither && (nDevice < 8 || (nDevice == 8 && b8Bit));  // deep gray may be dithered for these
    const bool bDeepFew = bDither && nDevice < 9;                           // and colours for these
    switch (bm.BitsPerPixel) {
        case 1:
            return oneBitMethod(bm, wish, bPicture);
        case 4:
            return whenDithered(bDither && (nDevice < 4 || (nDevice == 4 && !hasDevicePalette(bm, 4, wish.uMode)) ||
                                            (nDevice < 8 && b8Bit)),
                                PaintMethod::asStored);
        case 8:
            return whenDithered(
                bDither && (nDevice < 8 || (nDevice == 8 && b8Bit && !hasDevicePalette(bm, 8, wish.uMode))),
                PaintMethod::asStored);
        case 12:
        case 16:
            return whenDithered(bm.Order == ORDER_GRAY ? bFew : bDeepFew, PaintMethod::convert);
        case 24: {
            if (bDeepFew) return PaintMethod::dither;
            if (bm.Order == ORDER_ROMM) return PaintMethod::convert;
            // Rows go out with blue first, or as the sink asked.
            const bool bAsStored = wish.bAsked
                                       ? bm.Order == wish.nOrder
                                       : bm.Order == ORDER_BGR || (bm.Order == ORDER_RGB && (wish.uMode & DM_RGB_SWAP));
            return bAsStored ? PaintMethod::asStored : PaintMethod::convert;
        }
        case 32: {
            const bool bStays = wish.bAlpha && bm.Order == wish.nOrder;
            return whenDithered(bDeepFew, bStays ? PaintMethod::asStored : PaintMethod::convert);
        }
        case 48:
        case 64:
            return whenDithered(bDeepFew, PaintMethod::convert);
        default:
            return whenDithered(bFew, PaintMethod::convert);
    }
}

}  // namespace rv
