// The hot pairs of formats, which have row kernels of their own: where there is one, it is the only step.
#include "internal/convsteps.h"

namespace rv {
namespace {

ByteOrder byteOrder(int32_t nOrder) noexcept { return nOrder == ORDER_RGB ? kRedFirst : kBlueFirst; }
Reorder reorder(int32_t nFrom, int32_t nTo) noexcept {
    return byteOrder(nFrom) == byteOrder(nTo) ? kKeepOrder : kSwapOrder;
}
Packed16 packed16(int32_t nOrder) noexcept {
    return nOrder == ORDER_BGR565 ? kBgr565 : nOrder == ORDER_BGR ? kBgr555 : kRgb555;
}

// An entry with its bytes in the order of the destination; alpha is opaque.
uint32_t entryWord(const RGBQUAD& q, ByteOrder order) noexcept {
    const auto v = loadLittle<uint32_t>(&q.rgbBlue);
    return (order == kBlueFirst ? v : (v & 0xFF) << 16 | (v & 0xFF00) | (v >> 16 & 0xFF)) | 0xFF000000;
}

// All entries of a palette of 8 bits. A loop over words: it is run for every row.
void orderEntries(const RGBQUAD* pFrom, RGBQUAD* pTo, ByteOrder order) noexcept {
    for (size_t i = 0; i < 256; ++i) storeLittle(&pTo[i].rgbBlue, entryWord(pFrom[i], order));
}

bool addWhole(RowPlan& plan, Step step) noexcept {
    plan.bWhole = true;
    plan.add(step);
    return true;
}

}  // namespace

RowKernel colorKernel(int32_t nBitsSrc, int32_t nOrderSrc, int32_t nBitsDst, int32_t nOrderDst) noexcept {
    const RowKernels& k = bestRowKernels();
    const ByteOrder from = byteOrder(nOrderSrc), to = byteOrder(nOrderDst);
    const Reorder move = reorder(nOrderSrc, nOrderDst);
    if (nOrderDst == ORDER_GRAY || nBitsDst == 0) {
        switch (nBitsSrc * 100 + nBitsDst) {
            case 2400:
                return k.gray.gray8From24[from];
            case 2412:
                return k.gray.gray12From24[from];
            case 2416:
                return k.gray.gray16From24[from];
            case 3200:
                return k.gray.gray8From32[from];
            case 3212:
                return k.gray.gray12From32[from];
            case 3216:
                return k.gray.gray16From32[from];
            default:
                return nullptr;
        }
    }
    switch (nBitsSrc * 100 + nBitsDst) {
        case 1624:
            return k.packed16.to24[packed16(nOrderSrc)][to];
        case 1632:
            return k.packed16.to32[packed16(nOrderSrc)][to];
        case 2416:
            return k.packed16.from24[packed16(nOrderDst)][from];
        case 3216:
            return k.packed16.from32[packed16(nOrderDst)][from];
        case 2424:
            return k.shuffle.swap24;
        case 3232:
            return k.shuffle.swap32;
        case 2432:
            return k.shuffle.widen24To32[move];
        case 3224:
            return k.shuffle.narrow32To24[move];
        case 4824:
            return k.shuffle.narrow48To24[move];
        case 6432:
            return k.shuffle.narrow64To32[move];
        case 2448:
            return k.shuffle.widen24To48[move];
        default:
            return nullptr;
    }
}

bool addPaletteKernel(RowPlan& plan, RowWork& w, int32_t nBitsSrc, int32_t nBitsDst, int32_t nOrderDst) noexcept {
    const ByteOrder order = byteOrder(nOrderDst);
    if ((nBitsDst != 24 && nBitsDst != 32) || (nBitsSrc != 1 && nBitsSrc != 8)) return false;
    if (nBitsSrc == 1) {
        w.uColor0 = entryWord(w.pPaletteSrc[0], order);
        w.uColor1 = entryWord(w.pPaletteSrc[1], order);
        if (nBitsDst == 24)
            return addWhole(plan, [](RowWork& r, size_t n) noexcept {
                bestRowKernels().palette.bit1To24(r.pSrc, r.pDst, n, r.uColor0, r.uColor1);
            });
        return addWhole(plan, [](RowWork& r, size_t n) noexcept {
            bestRowKernels().palette.bit1To32(r.pSrc, r.pDst, n, r.uColor0, r.uColor1);
        });
    }
    if (nBitsDst == 24 && order == kBlueFirst)
        return addWhole(plan, [](RowWork& r, size_t n) noexcept {
            bestRowKernels().palette.pal8To24(r.pSrc, r.pDst, n, r.pPaletteSrc);
        });
    orderEntries(w.pPaletteSrc, w.entries, order);
    if (nBitsDst == 24)
        return addWhole(plan, [](RowWork& r, size_t n) noexcept {
            bestRowKernels().palette.pal8To24(r.pSrc, r.pDst, n, r.entries);
        });
    return addWhole(
        plan, [](RowWork& r, size_t n) noexcept { bestRowKernels().palette.pal8To32(r.pSrc, r.pDst, n, r.entries); });
}

bool addTableKernel(RowPlan& plan, RowWork& w, int32_t nBitsSrc, int32_t nBitsDst) noexcept {
    if (nBitsDst != 0 && nBitsDst != 8) return false;
    if (nBitsSrc == 4)
        return addWhole(plan, [](RowWork& r, size_t n) noexcept {
            bestRowKernels().palette.nibble4To8(r.pSrc, r.pDst, n, r.table);
        });
    if (nBitsSrc != 1) return false;
    w.uColor0 = w.table[0];
    w.uColor1 = w.table[1];
    return addWhole(plan, [](RowWork& r, size_t n) noexcept {
        bestRowKernels().palette.bit1To8(r.pSrc, r.pDst, n, r.uColor0, r.uColor1);
    });
}

bool addLevelKernel(RowPlan& plan, RowWork& w, bool bTable) noexcept {
    if (w.source.nShift > 15 || w.source.nBits > 8) return false;
    if (bTable)
        return addWhole(plan, [](RowWork& r, size_t n) noexcept {
            bestRowKernels().gray.gray16To8Table(r.pSrc, r.pDst, n, r.source.nShift, r.source.mask(), r.table);
        });
    if (w.source.nShift == 8 && w.source.nBits == 8)
        return addWhole(plan,
                        [](RowWork& r, size_t n) noexcept { bestRowKernels().gray.gray16To8(r.pSrc, r.pDst, n); });
    return addWhole(plan, [](RowWork& r, size_t n) noexcept {
        bestRowKernels().gray.gray16To8Scaled(r.pSrc, r.pDst, n, r.source.nShift, r.source.mask());
    });
}

}  // namespace rv
