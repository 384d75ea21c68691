// Dithering: the life of its state, the cache of colours, and the run of a row.
#include <algorithm>
#include <cstring>
#include <new>

#include "internal/bgrrows.h"
#include "internal/dither_.h"

namespace rv {
namespace {

// The least depth of so many colours.
int32_t depthOf(uint32_t nColors) noexcept {
    int32_t nBits = 1;
    while (nBits < 8 && nColors > 1u << nBits) ++nBits;
    return nBits;
}

bool isSame(const RGBQUAD* p, const RGBQUAD* q, uint32_t nCount) noexcept {
    return std::memcmp(p, q, nCount * sizeof(RGBQUAD)) == 0;
}

DitherKind kindOfPalette(const RGBQUAD* pPalette, uint32_t nColors) noexcept {
    const int32_t nBits = depthOf(nColors);
    if (isSame(pPalette, R_IntGetFixedPalette(nBits), nColors)) return DitherKind(kTwoColors + nBits - 1);
    if (nBits == 8 && isSame(pPalette, R_IntGetNetscapePalette(), nColors)) return kWebColors;
    return kAnyPalette;
}

uint32_t answerOf(const DITHERDATA& data, uint32_t nIndex) noexcept {
    return pixelOf(data.DstPalette[nIndex]) | nIndex << 24;
}

// The colours that the search sees, and the cells that their own colours lie in.
void primeCache(DITHERDATA& data) noexcept {
    for (uint32_t i = 0; i < data.nColors; ++i) {
        if (data.DstPalette[i].rgbReserved & 3) continue;
        RGBQUAD& q = data.Searchable[data.nSearchable++];
        q = data.DstPalette[i];
        q.rgbReserved = uint8_t(i);
    }
    const RGBQUAD* pEntries = data.nSearchable ? data.Searchable : data.DstPalette;
    const uint32_t nEntries = data.nSearchable ? data.nSearchable : data.nColors;
    for (uint32_t i = 0; i < nEntries; ++i)
        if (uint32_t& cell = data.pColorCache[colorKey(pixelOf(pEntries[i]))]; cell == 0) cell = i + 1;

    // Values past the searchable entries lead to index 0.
    data.Answers[0] = answerOf(data, 0);
    for (uint32_t i = 0; i < kMostColors; ++i) data.Answers[i + 1] = answerOf(data, data.Searchable[i].rgbReserved);
}

template <class Blue, class Green, class Red>
void fillParts(DITHERDATA& data, Blue partOfBlue, Green partOfGreen, Red partOfRed) noexcept {
    for (uint32_t v = 0; v < 256; ++v) {
        data.Parts[0][v] = uint16_t(partOfBlue(v));
        data.Parts[1][v] = uint16_t(partOfGreen(v));
        data.Parts[2][v] = uint16_t(partOfRed(v));
    }
}

// The gray rule, before it is divided by 8.
void fillGrayParts(DITHERDATA& data, uint32_t nShift) noexcept {
    fillParts(
        data, [](uint32_t b) { return b; }, [](uint32_t g) { return 5 * g; }, [](uint32_t r) { return 2 * (r + 2); });
    data.nPartShift = nShift;
}

// What each channel adds to the code of a fixed kind.
void setParts(DITHERDATA& data) noexcept {
    for (uint32_t i = 0; i < kMostColors; ++i) data.Answers[i] = answerOf(data, i);
    visitKind(data.nPaletteKind, [&](auto kind) {
        constexpr int nKind = kind;
        if constexpr (nKind == k4Colors) {
            fillGrayParts(data, 9);
        } else if constexpr (nKind == k16Colors) {  // the bright half of the palette, but for black
            fillParts(
                data, [](uint32_t b) { return b >> 7 << 2; }, [](uint32_t g) { return g >> 7 << 1; },
                [](uint32_t r) { return r >> 7; });
            for (uint32_t i = 1; i < 8; ++i) data.Answers[i] = answerOf(data, i | 8);
        } else if constexpr (nKind > kTwoColors) {
            fillParts(
                data, [](uint32_t b) { return fixedIndex<nKind>(b, 0, 0); },
                [](uint32_t g) { return fixedIndex<nKind>(0, g, 0); },
                [](uint32_t r) { return fixedIndex<nKind>(0, 0, r); });
        }
    });
}

bool setPalette(DITHERDATA& data, const RGBQUAD* pPalette, uint32_t nColors, uint32_t* pUserMatchTable) noexcept {
    if (!pPalette) pPalette = R_IntGetFixedPalette(depthOf(nColors));
    data.nColors = nColors;
    std::copy_n(pPalette, nColors, data.DstPalette);
    data.nPaletteKind = pUserMatchTable ? kUserTable : kindOfPalette(pPalette, nColors);
    data.pColorCache = pUserMatchTable;
    if (data.nPaletteKind == kAnyPalette) {
        if (!data.OwnCache.allocateCleared(kColorKeys)) return false;
        data.pColorCache = data.OwnCache.get();
    }
    if (!data.pColorCache) {
        setParts(data);
        return true;
    }
    primeCache(data);
    return data.nMethod != DITHER_NONE || prepareFound(data);
}

bool setErrors(DITHERDATA& data, uint32_t nWidth) noexcept {
    const ErrorShape shape = errorShape(data.nMethod);
    if (!shape.nRows) return true;
    if (nWidth > UINT32_MAX - 2 * shape.nSide) return false;
    data.nErrorRows = shape.nRows;
    data.nErrorRowLength = nWidth + 2 * shape.nSide;
    return data.Errors.allocateCleared(uint64_t(2) * shape.nRows * data.nErrorRowLength * 4);
}

void setSource(DITHERDATA& data, const BITMAPRECORD& bm) noexcept {
    data.nBitsPerPixelSrc = bm.BitsPerPixel;
    if (bm.BitsPerPixel <= 8) std::copy_n(PaletteOf(bm).entries, kMostColors, data.SrcPalette);
    const bool bTable = bm.pLUT || (hasWideFields(bm) && bm.pLUT16);
    const KeptBits kept = keptBits(bm.PhysicalHighBit < 0 ? bm.BitsPerPixel - 1 : bm.PhysicalHighBit,
                                   std::max(bm.PhysicalLowBit, 0), bTable ? uint32_t(bm.BitsPerPixel) : 8);
    data.nGrayBits = int32_t(kept.nBits);
    data.uGrayMask = kept.mask();
    data.nGrayShift = int32_t(kept.nShift);
}

bool isDiffusion(int32_t nMethod) noexcept { return nMethod >= DITHER_FLOYD && nMethod <= DITHER_JARVIS; }

}  // namespace

void decideByGrays(DITHERDATA& data, const uint8_t* pGrays) noexcept {
    data.nPaletteKind = kTwoByTable;
    data.pGrays = pGrays;
    for (uint32_t i = 0; i < 256; ++i) data.Answers[i] = answerOf(data, pGrays[i] >> 7);
    fillGrayParts(data, 3);
}

uint32_t fillCell(DITHERDATA& data, uint32_t nKey) noexcept {
    const auto channel = [nKey](uint32_t nShift) { return int32_t(nKey >> nShift & 31) * 8; };
    const int32_t n = R_FindPaletteIndex(data.Searchable, data.nSearchable, channel(10), channel(5), channel(0));
    return data.pColorCache[nKey] = uint32_t(n + 1);
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_StartDitheringExt(BITMAPRECORD* pBitmap, const RGBQUAD* pPalette, uint32_t uColors, int32_t nBitsPerPixelDst,
                            uint32_t* pUserMatchTable) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!isKnownDepth(pBitmap->BitsPerPixel) || uColors < 1 || uColors > kMostColors) return -13;
    if (nBitsPerPixelDst < 1 || nBitsPerPixelDst > 8) return -13;
    if (pBitmap->DitheringMethod < DITHER_NONE || pBitmap->DitheringMethod > DITHER_CLUSTERED) return -13;

    auto* pData = new (std::nothrow) DITHERDATA;
    if (!pData) return -1;  // Not enough memory available
    pData->nMethod = pBitmap->DitheringMethod;
    pData->nBitsPerPixelDst = nBitsPerPixelDst;
    pData->nWidth = std::max(pBitmap->Width, 0);
    setSource(*pData, *pBitmap);
    const auto nWidth = uint32_t(pData->nWidth);
    if (!setPalette(*pData, pPalette, uColors, pUserMatchTable) || !setErrors(*pData, nWidth) ||
        !pData->Pixels.allocate(nWidth) || !pData->Indices.allocate(nWidth)) {
        delete pData;
        return -1;
    }
    pBitmap->pDitherData = pData;
    return 1;
}

int32_t R_StartDithering(BITMAPRECORD* pBitmap, const RGBQUAD* pPalette, uint32_t uColors) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    const int32_t nBits = depthOf(uColors);
    if (uColors > 2 && uColors != 1u << nBits) return -13;
    return R_StartDitheringExt(pBitmap, pPalette, uColors, nBits, nullptr);
}

int32_t R_DitherLine(BITMAPRECORD* pBitmap, uint8_t* pRowIn, uint8_t* pRowOut) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!pRowIn || !pRowOut || !pBitmap->pDitherData) return -13;
    if (pBitmap->Width < 1) return 1;
    auto& data = *static_cast<DITHERDATA*>(pBitmap->pDitherData);
    if (pBitmap->Width > data.nWidth) return -13;

    const auto n = size_t(pBitmap->Width);
    uint8_t* pIndices = data.nBitsPerPixelDst == 8 ? pRowOut : data.Indices.get();
    const bool b24 = data.Found && data.nBitsPerPixelSrc == 24 && pBitmap->Order == ORDER_BGR;
    const uint8_t* pPixels = b24 ? pRowIn : readDitherRow(data, *pBitmap, pRowIn, n);
    if (b24)
        nearestRow24(data, pPixels, pIndices, n);
    else if (isDiffusion(data.nMethod))
        diffuseRow(data, pPixels, pIndices, n);
    else if (data.nMethod == DITHER_NONE)
        nearestRow(data, pPixels, pIndices, n);
    else
        orderRow(data, pPixels, pIndices, n);
    if (pIndices != pRowOut) packIndices(data.nBitsPerPixelDst, pIndices, pRowOut, n);
    return 1;
}

int32_t R_StopDithering(BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;                                   // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    delete static_cast<DITHERDATA*>(pBitmap->pDitherData);
    pBitmap->pDitherData = nullptr;
    return 1;
}

}  // extern "C"
