// The row converter inside the library: its full argument list, and the ways to run it.
#pragma once

#include "internal/palette_.h"
#include "ravokit/convert.h"

namespace rv {

// R_ConvertBufferExt3 with a match table (the address of the variable that holds its root, or null): colours that go to
// a palette of 1 to 8 bits are looked up there instead of searched, also those of grey with a table. A colour that it
// doesn't hold becomes -1 cut to the width of the index.
int32_t IntConvertBuffer(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                         int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc, const RGBQUAD* pPaletteDst,
                         const RGBQUAD64* pLUT16Src, uint32_t uFlags, int32_t nLowBit, int32_t nHighBit,
                         COLORREF crTransparent, const MatchCell* const* pMatchTable) noexcept;

// The bits of a grey sample that count: level = (sample >> nShift) & mask(). At least one bit is kept.
struct KeptBits {
    uint32_t nBits = 8, nShift = 0;
    constexpr uint32_t mask() const noexcept { return uint32_t((uint64_t(1) << nBits) - 1); }
};

// The top nLimit bits of the range nLow to nHigh, or all of it if it has fewer. Nonsense gives bits within reason.
KeptBits keptBits(int32_t nHigh, int32_t nLow, uint32_t nLimit) noexcept;

// What a conversion is told. Depths and orders as in R_ConvertBuffer.
struct ConvertArgs {
    int32_t nWidth = 0;
    int32_t nBitsSrc = 0, nBitsDst = 0;
    int32_t nOrderSrc = ORDER_RGB, nOrderDst = ORDER_RGB;
    const RGBQUAD *pPaletteSrc = nullptr, *pPaletteDst = nullptr;
    const RGBQUAD64* pLUT16Src = nullptr;
    uint32_t uFlags = 0;
    int32_t nLowBit = -1, nHighBit = -1;
    COLORREF crTransparent = 0;
    const MatchCell* pMatchRoot = nullptr;
};

// Which loops may run: the kernels of the hot pairs where there is one, or the general steps alone. The results are the
// same; tests ask for either.
enum class ConvertLoops { best, general };

// IntConvertBuffer on collected arguments.
int32_t convertInPlace(ConvertArgs args, uint8_t* pBuffer, ConvertLoops loops = ConvertLoops::best) noexcept;
// The same between rows that don't overlap; -13 for ORDER_ROMM.
int32_t convertRow(ConvertArgs args, uint8_t* pDst, const uint8_t* pSrc,
                   ConvertLoops loops = ConvertLoops::best) noexcept;

}  // namespace rv
