// The entry of the row converter: flags and checks, the run, and the matrices that follow it.
#include <algorithm>

#include "internal/convsteps.h"

namespace rv {
namespace {

constexpr uint32_t kBothRanges = CONVERT_SRC_BITRANGE | CONVERT_DST_BITRANGE;

bool isConvertDepth(int32_t nBits) noexcept { return nBits == 0 || isKnownDepth(nBits); }

template <class... Orders>
bool isOneOf(int32_t nOrder, Orders... orders) noexcept {
    return ((nOrder == orders) || ...);
}

bool takesSourceOrder(int32_t nBits, int32_t nOrder) noexcept {
    switch (nBits) {
        case 16:
            return isOneOf(nOrder, ORDER_RGB, ORDER_BGR, ORDER_GRAY, ORDER_BGR565);
        case 32:
            return isOneOf(nOrder, ORDER_RGB, ORDER_BGR, ORDER_GRAY);
        case 24:
        case 48:
            return isOneOf(nOrder, ORDER_RGB, ORDER_BGR, ORDER_ROMM);
        case 64:
            return isOneOf(nOrder, ORDER_RGB, ORDER_BGR);
        default:
            return true;
    }
}

bool takesTargetOrder(int32_t nBits, int32_t nOrder, int32_t nBitsSrc) noexcept {
    switch (nBits) {
        case 32:
            return takesSourceOrder(32, nOrder) || (nOrder == ORDER_ROMM && nBitsSrc >= 1 && nBitsSrc <= 4);
        case 64:
            return takesSourceOrder(48, nOrder);
        default:
            return takesSourceOrder(nBits, nOrder);
    }
}

bool isWholeSample(const ConvertArgs& a, int32_t nBits) noexcept {
    return a.nLowBit < 1 && (a.nHighBit < 0 || a.nHighBit == (nBits ? nBits : 8) - 1);
}

// Settles the flags by the orders and drops a range that is none; false for what can't be converted.
bool settle(ConvertArgs& a) noexcept {
    if (a.nOrderSrc == ORDER_GRAY)
        a.uFlags |= CONVERT_SRC_GRAY;
    else
        a.uFlags &= ~uint32_t(CONVERT_SRC_GRAY | CONVERT_SRC_BITRANGE);
    if (a.nOrderDst == ORDER_GRAY)
        a.uFlags |= CONVERT_DST_GRAY;
    else
        a.uFlags &= ~uint32_t(CONVERT_DST_GRAY);

    if ((a.uFlags & kBothRanges) == kBothRanges) return false;
    if (a.uFlags & CONVERT_DST_BITRANGE && a.nOrderDst != ORDER_GRAY) return false;
    if (a.nBitsSrc == 12 && a.nOrderSrc != ORDER_GRAY) return false;
    if (a.nBitsDst == 12 && a.nOrderDst != ORDER_GRAY) return false;
    if (a.uFlags & CONVERT_SRC_BITRANGE && isWholeSample(a, a.nBitsSrc)) a.uFlags &= ~uint32_t(CONVERT_SRC_BITRANGE);
    if (a.uFlags & CONVERT_DST_BITRANGE && isWholeSample(a, a.nBitsDst)) a.uFlags &= ~uint32_t(CONVERT_DST_BITRANGE);
    return isConvertDepth(a.nBitsSrc) && isConvertDepth(a.nBitsDst) && takesSourceOrder(a.nBitsSrc, a.nOrderSrc) &&
           takesTargetOrder(a.nBitsDst, a.nOrderDst, a.nBitsSrc);
}

// The kernel of a pair of formats that no flag, table or order complicates, or null. It is asked before all else: to
// settle a plan would take as long as some hundred pixels.
RowKernel pairKernel(const ConvertArgs& a, ConvertLoops loops) noexcept {
    if (loops != ConvertLoops::best || a.uFlags || a.pLUT16Src || a.nWidth <= 0) return nullptr;
    if (!isConvertDepth(a.nBitsSrc) || !isConvertDepth(a.nBitsDst)) return nullptr;
    const bool bSrc = isOneOf(a.nOrderSrc, ORDER_RGB, ORDER_BGR) || (a.nBitsSrc == 16 && a.nOrderSrc == ORDER_BGR565);
    const bool bDst = isOneOf(a.nOrderDst, ORDER_RGB, ORDER_BGR) || (a.nBitsDst == 16 && a.nOrderDst == ORDER_BGR565) ||
                      (a.nOrderDst == ORDER_GRAY && isOneOf(a.nBitsDst, 0, 12, 16));
    if (bSrc && bDst && (a.nBitsSrc != a.nBitsDst || a.nOrderSrc != a.nOrderDst))
        return colorKernel(a.nBitsSrc, a.nOrderSrc, a.nBitsDst, a.nOrderDst);
    if (a.nBitsSrc == 16 && a.nOrderSrc == ORDER_GRAY && a.nBitsDst == 0 && bDst && !a.pPaletteSrc)
        return bestRowKernels().gray.gray16To8;
    return nullptr;
}

}  // namespace

int32_t convertInPlace(ConvertArgs args, uint8_t* pBuffer, ConvertLoops loops) noexcept {
    if (const RowKernel kernel = pairKernel(args, loops); kernel && pBuffer) {
        kernel(pBuffer, pBuffer, size_t(args.nWidth));
        return 1;
    }
    if (!pBuffer || args.nWidth == 0 || !settle(args)) return -13;  // Invalid parameter passed
    const auto n = size_t(std::max(args.nWidth, 0));
    if (n) {
        RowWork w;
        runPlan(planConversion(args, w, loops), w, n, args.nBitsSrc, args.nBitsDst, pBuffer, pBuffer);
    }
    if (args.nOrderDst != ORDER_ROMM || args.nOrderSrc == ORDER_ROMM) return 1;

    // 48 bits have a matrix of their own before the one of the destination, and it takes the buffer for 48-bit pixels
    // whatever is there by now: rows that were written so are read back so.
    if (args.nBitsSrc == 48) forwardRomm48(pBuffer, n);
    if (args.nBitsDst == 24)
        forwardRomm24(pBuffer, n);
    else if (args.nBitsDst == 48)
        forwardRomm48(pBuffer, n);
    else
        return -16;
    return 1;
}

int32_t convertRow(ConvertArgs args, uint8_t* pDst, const uint8_t* pSrc, ConvertLoops loops) noexcept {
    if (const RowKernel kernel = pairKernel(args, loops); kernel && pDst && pSrc) {
        kernel(pSrc, pDst, size_t(args.nWidth));
        return 1;
    }
    if (!pDst || !pSrc || args.nWidth == 0 || args.nOrderSrc == ORDER_ROMM || args.nOrderDst == ORDER_ROMM ||
        !settle(args))
        return -13;  // Invalid parameter passed
    if (args.nWidth < 0) return 1;
    RowWork w;
    const RowPlan plan = planConversion(args, w, loops);
    if (plan.nSteps)
        runPlan(plan, w, size_t(args.nWidth), args.nBitsSrc, args.nBitsDst, pDst, pSrc);
    else
        copyPixels(args.nBitsDst ? args.nBitsDst : 8, pDst, 0, pSrc, 0, size_t(args.nWidth));
    return 1;
}

int32_t IntConvertBuffer(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                         int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc, const RGBQUAD* pPaletteDst,
                         const RGBQUAD64* pLUT16Src, uint32_t uFlags, int32_t nLowBit, int32_t nHighBit,
                         COLORREF crTransparent, const MatchCell* const* pMatchTable) noexcept {
    return convertInPlace({nWidth, nBitsPerPixelSrc, nBitsPerPixelDst, nOrderSrc, nOrderDst, pPaletteSrc, pPaletteDst,
                           pLUT16Src, uFlags, nLowBit, nHighBit, crTransparent, pMatchTable ? *pMatchTable : nullptr},
                          pBuffer);
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_ConvertBuffer(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                        int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc,
                        const RGBQUAD* pPaletteDst) noexcept {
    return IntConvertBuffer(pBuffer, nWidth, nBitsPerPixelSrc, nBitsPerPixelDst, nOrderSrc, nOrderDst, pPaletteSrc,
                            pPaletteDst, nullptr, 0, -1, -1, 0, nullptr);
}

int32_t R_ConvertBufferExt(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                           int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc, const RGBQUAD* pPaletteDst,
                           uint32_t uFlags, int32_t nLowBit, int32_t nHighBit) noexcept {
    return IntConvertBuffer(pBuffer, nWidth, nBitsPerPixelSrc, nBitsPerPixelDst, nOrderSrc, nOrderDst, pPaletteSrc,
                            pPaletteDst, nullptr, uFlags, nLowBit, nHighBit, 0, nullptr);
}

int32_t R_ConvertBufferExt2(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                            int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc,
                            const RGBQUAD* pPaletteDst, const RGBQUAD64* pLUT16Src, uint32_t, uint32_t uFlags,
                            int32_t nLowBit, int32_t nHighBit) noexcept {
    return IntConvertBuffer(pBuffer, nWidth, nBitsPerPixelSrc, nBitsPerPixelDst, nOrderSrc, nOrderDst, pPaletteSrc,
                            pPaletteDst, pLUT16Src, uFlags, nLowBit, nHighBit, 0, nullptr);
}

int32_t R_ConvertBufferExt3(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                            int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc,
                            const RGBQUAD* pPaletteDst, const RGBQUAD64* pLUT16Src, uint32_t, uint32_t uFlags,
                            int32_t nLowBit, int32_t nHighBit, COLORREF crTransparent) noexcept {
    return IntConvertBuffer(pBuffer, nWidth, nBitsPerPixelSrc, nBitsPerPixelDst, nOrderSrc, nOrderDst, pPaletteSrc,
                            pPaletteDst, pLUT16Src, uFlags, nLowBit, nHighBit, crTransparent, nullptr);
}

int32_t R_ConvertRow(uint8_t* pDst, const uint8_t* pSrc, int32_t nWidth, int32_t nBitsPerPixelSrc,
                     int32_t nBitsPerPixelDst, int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc,
                     const RGBQUAD* pPaletteDst) noexcept {
    ConvertArgs args{nWidth, nBitsPerPixelSrc, nBitsPerPixelDst, nOrderSrc, nOrderDst, pPaletteSrc, pPaletteDst};
    return convertRow(args, pDst, pSrc);
}

uint64_t R_CalcConvertSize(int32_t nWidthSrc, int32_t nBitsPerPixelSrc, int32_t nWidthDst,
                           int32_t nBitsPerPixelDst) noexcept {
    const auto bytes = [](int32_t nWidth, int32_t nBits) {
        const auto nRowBits = uint64_t(std::max(nWidth, 0)) * uint64_t(std::max(nBits ? nBits : 8, 0));
        return (nRowBits + 31) / 32 * 4;
    };
    return std::max(
        {bytes(nWidthSrc, nBitsPerPixelSrc), bytes(nWidthDst, nBitsPerPixelSrc), bytes(nWidthDst, nBitsPerPixelDst)});
}

}  // extern "C"
