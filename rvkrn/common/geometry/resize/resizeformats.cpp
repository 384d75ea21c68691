// The formats that pixels pass through on their way from a source row to the caller: how they are fetched, what the
// filters work on, and what goes out.
//
// Grey samples of 12, 16 and 32 bits are worked on at full scale in 16 bits. A lookup table is applied as rows are
// fetched, and the work is colour then, unless the caller wants it after the resizing or the result is grey anyway.
#include <algorithm>
#include <cstring>

#include "internal/bgrrows.h"
#include "internal/dither_.h"
#include "internal/resizerows_.h"
#include "ravokit/grayscale.h"

namespace rv {
namespace {

constexpr uint32_t kGrayToGray = CONVERT_SRC_GRAY | CONVERT_DST_GRAY;

int32_t outputOrder(uint32_t uFlags) noexcept {
    if (uFlags & RSR_OUT_BGR) return ORDER_BGR;
    if (uFlags & RSR_OUT_GRAY) return ORDER_GRAY;
    return uFlags & RSR_OUT_ORDER7 ? ORDER_BGR565 : ORDER_RGB;
}

void setWork(ResizeFormats& f, int32_t nBits, int32_t nSampleBits, int32_t nOrder) noexcept {
    f.nWorkBits = nBits;
    f.nSampleBits = nSampleBits;
    f.nWorkOrder = nOrder;
}

// ---- tables ------------------------------------------------------------------------------------------------------

// The table of grey levels, or a longer copy of one that hasn't all of them; what it lacks is black.
template <class Entry>
bool coverLevels(const Entry*& pTable, uint32_t nLength, const KeptBits& kept, Buffer<Entry>& own) noexcept {
    if (!pTable || coversLevels(nLength, kept)) return true;
    if (!own.allocateCleared(uint64_t(kept.mask()) + 1)) return false;
    std::copy_n(pTable, nLength, own.get());
    pTable = own.get();
    return true;
}

bool isSameTable(const RGBQUAD* p, const RGBQUAD* q, uint32_t nCount) noexcept {
    return std::memcmp(p, q, nCount * sizeof(RGBQUAD)) == 0;
}

// The key that no entry has and that is nearest to a colour's; its own if all are taken.
uint32_t nearestFreeKey(uint32_t nKey, const Buffer<uint8_t>& taken) noexcept {
    const auto distance = [nKey](uint32_t n) {
        int32_t nSum = 0;
        for (uint32_t nShift = 0; nShift <= 10; nShift += 5) {
            const int32_t d = int32_t(n >> nShift & 31) - int32_t(nKey >> nShift & 31);
            nSum += d * d;
        }
        return nSum;
    };
    uint32_t nBest = nKey;
    for (uint32_t n = 0; n < kColorKeys; ++n)
        if (!taken[n] && (nBest == nKey || distance(n) < distance(nBest))) nBest = n;
    return nBest;
}

// Gives entries that repeat a colour one of their own, as near as the cache of a dither can tell apart, so that
// pixels find back to their index. False for no memory.
bool makeUnique(RGBQUAD* pEntries, uint32_t nCount) noexcept {
    Buffer<uint8_t> taken;
    if (!taken.allocateCleared(kColorKeys)) return false;
    for (uint32_t i = 0; i < nCount; ++i) taken[colorKey(pixelOf(pEntries[i]))] = 1;
    for (uint32_t i = 1; i < nCount; ++i) {
        RGBQUAD& q = pEntries[i];
        const bool bRepeats =
            std::any_of(pEntries, &q, [&](const RGBQUAD& other) { return plainColor(other) == plainColor(q); });
        if (!bRepeats) continue;
        const uint32_t nKey = nearestFreeKey(colorKey(pixelOf(q)), taken);
        taken[nKey] = 1;
        q.rgbRed = uint8_t(nKey >> 10 << 3);
        q.rgbGreen = uint8_t((nKey >> 5 & 31) << 3);
        q.rgbBlue = uint8_t((nKey & 31) << 3);
    }
    return true;
}

// ---- the choice --------------------------------------------------------------------------------------------------

class Chooser {
    const BITMAPRECORD& m_bm;
    const ResizeOutput& m_out;
    const bool m_bFiltered;
    ResizeFormats& f;
    const int32_t m_nKind;  // of grey

    bool isGrayOut() const noexcept { return f.nDstOrder == ORDER_GRAY; }
    bool hasFlag(uint32_t uFlag) const noexcept { return m_out.uFlags & uFlag; }

    // ---- grey samples --------------------------------------------------------------------------------------------

    BitWindow sampleWindow() const noexcept {
        const bool bPhysical = m_bm.Flags & BMF_USE_LUT;
        const int32_t nLow = bPhysical ? m_bm.PhysicalLowBit : m_bm.LowBit;
        const int32_t nHigh = bPhysical ? m_bm.PhysicalHighBit : m_bm.HighBit;
        const int32_t nTop = nHigh < 0 ? f.nSrcBits - 1 : std::min(nHigh, f.nSrcBits - 1);
        return {std::clamp(nLow, 0, nTop), nTop};
    }

    // Colour of tables is worked on where it can't wait.
    bool staysGray() const noexcept {
        return m_out.nBits == 0 || f.bLutAfter || (!(m_bm.Flags & BMF_USE_LUT) && isGrayOut());
    }

    bool chooseGray() noexcept {
        f.window = sampleWindow();
        setWork(f, 16, 16, ORDER_GRAY);
        if (f.nSrcBits == 32) {
            f.gray32 = physicalBits(m_bm);
        } else if (m_out.nBits != 0 && !hasFlag(RSR_NO_LUT)) {
            f.pLUT16 = hasWideFields(m_bm) ? m_bm.pLUT16 : nullptr;
            f.pLUT8 = f.pLUT16 ? nullptr : m_bm.pLUT;
            f.bLutAfter = (f.pLUT8 || f.pLUT16) && hasFlag(RSR_LUT_AFTER);
            if (f.pLUT16 && !staysGray())
                setWork(f, m_out.nBits < 25 ? 24 : 48, m_out.nBits < 25 ? 8 : 16, ORDER_BGR);
            else if (f.pLUT8 && !staysGray())
                setWork(f, 24, 8, ORDER_BGR);
        }
        f.levels = keptBits(f.window.nHigh, f.window.nLow, 32);
        if (!coverLevels(f.pLUT8, m_bm.LUTLength, f.levels, f.ownLUT8) ||
            (f.pLUT16 && !coverLevels(f.pLUT16, m_bm.LUT16Length, f.levels, f.ownLUT16)))
            return false;
        f.fetch.uFlags = CONVERT_SRC_GRAY | CONVERT_SRC_BITRANGE;
        f.fetch.nLowBit = f.window.nLow;
        f.fetch.nHighBit = f.window.nHigh;
        f.fetch.pPaletteSrc = f.bLutAfter ? nullptr : f.pLUT8;
        f.fetch.pLUT16Src = f.bLutAfter ? nullptr : f.pLUT16;
        return true;
    }

    // ---- colours and indices -------------------------------------------------------------------------------------

    void chooseColor() noexcept {
        f.fetch.pPaletteSrc = f.SrcPalette;
        if (f.nSrcBits <= 8 && m_nKind > GRAYKIND_NONE)
            setWork(f, 8, 8, ORDER_BGR);
        else if (f.nSrcBits > 24 && m_out.nBits == 24)
            setWork(f, 24, 8, ORDER_BGR);
        else if (f.nSrcBits >= 48)
            setWork(f, f.nSrcBits, 16, ORDER_BGR);
        else
            setWork(f, f.nSrcBits == 32 ? 32 : 24, 8, ORDER_BGR);
    }

    // Pixels of 8 bits and less keep the number that they have.
    void keepIndices() noexcept {
        setWork(f, 8, 8, ORDER_BGR);
        f.fetch.nBitsDst = 8;
        f.fetch.pPaletteDst = f.fetch.pPaletteSrc = f.SrcPalette;
        f.nOutBits = 0;
        if (f.nSrcBits == 8) f.step = FetchStep::keep;
    }

    // ---- palettes ------------------------------------------------------------------------------------------------

    bool isSourcePalette() const noexcept {
        const RGBQUAD* pOwn = m_bm.pPalette ? m_bm.pPalette : R_IntGetFixedPalette(m_bm.BitsPerPixel);
        return f.nSrcBits <= 8 && f.nDstColors == f.nSrcColors && isSameTable(f.DstPalette, pOwn, f.nSrcColors);
    }

    void setPalettes() noexcept {
        if (f.nSrcBits <= 8) {
            const PaletteOf own(m_bm);
            std::copy_n(own.entries, kMostColors, f.SrcPalette);
            f.nSrcColors = 1u << f.nSrcBits;
            if (m_bm.pPalette && m_bm.nColors) f.nSrcColors = std::min(m_bm.nColors, f.nSrcColors);
        }
        f.nDstColors = hasPalette() ? m_out.uColors : f.nSrcColors;
        if (hasPalette())
            std::copy_n(m_out.pPalette, std::min(f.nDstColors, kMostColors), f.DstPalette);
        else if (m_bm.pPalette && f.nSrcBits <= 8)
            std::copy_n(m_bm.pPalette, f.nSrcColors, f.DstPalette);
        else
            std::copy_n(f.SrcPalette, kMostColors, f.DstPalette);
    }
    bool hasPalette() const noexcept { return m_out.pPalette && m_out.uColors; }
    bool isGrayPalette() const noexcept {
        return f.nDstColors == kMostColors && R_IsGrayScalePalette(f.DstPalette, kMostColors) > GRAYKIND_NONE;
    }

    // Which requests are dithered.
    void chooseOutput() noexcept {
        const int32_t n = m_out.nBits;
        f.nOutBits = n;
        f.nDstBits = n ? n : 8;
        if (n == 0 || isGrayOut() || n == 12 || n == 16 || n == 24 || n == 32 || n == 48 || n == 64) return;
        f.bDither = true;
        if (n != 8) return;
        const bool bGray = m_nKind > GRAYKIND_NONE || (f.bGray && f.nWorkOrder == ORDER_GRAY && !f.bLutAfter);
        if (hasPalette() ? isGrayPalette() : bGray) {
            f.nOutBits = 0;
            f.bDither = false;
        } else if (f.nSrcBits == 8 && !f.bGray && !m_bFiltered && isSourcePalette()) {
            keepIndices();
            f.bDither = false;
        }
    }

    // ---- the conversions -----------------------------------------------------------------------------------------

    void chooseFetch() noexcept {
        f.fetch.nBitsSrc = f.nSrcBits;
        f.fetch.nOrderSrc = m_bm.Order;
        f.fetch.nOrderDst = f.nWorkOrder;
        if (f.step == FetchStep::keep) return;
        if (f.fetch.nBitsDst == 0) f.fetch.nBitsDst = f.nWorkBits == 8 ? 0 : f.nWorkBits;  // 0 is grey of 8 bits
        if (f.bGray && f.nSrcBits == 32) {
            f.step = f.nWorkBits == 16 ? FetchStep::grayTo16 : FetchStep::grayToFull;
            f.fetch.uFlags = 0;
            f.fetch.nLowBit = f.fetch.nHighBit = -1;
            return;
        }
        const bool bTable = f.bGray && (f.fetch.pPaletteSrc || f.fetch.pLUT16Src);
        const bool bSame = f.nSrcBits == f.nWorkBits && f.nSrcBits > 8 && m_bm.Order == f.nWorkOrder;
        // Grey indices that ascend are greys; others go out by the caller's leave only.
        const bool bGreys = f.nSrcBits == 8 && f.nWorkBits == 8 && f.nSrcColors == kMostColors &&
                            (m_nKind == GRAYKIND_ASCENDING || (f.nOutBits == 0 && isSourcePalette()));
        if (bGreys || (bSame && !bTable && (!f.bGray || f.window.isWhole(f.nSrcBits))))
            f.step = FetchStep::keep;
        else
            f.step = m_bm.Order == ORDER_ROMM ? FetchStep::inPlace : FetchStep::convert;
    }

    void chooseOut() noexcept {
        f.out.nBitsSrc = f.nWorkBits == 8 ? 0 : f.nWorkBits;
        f.out.nBitsDst = f.nOutBits;
        f.out.nOrderSrc = f.nWorkOrder;
        f.out.nOrderDst = f.nDstOrder;
        f.out.pPaletteDst = hasPalette() ? f.DstPalette : nullptr;
        f.grayOut = {8, 0};
        if (f.nWorkOrder == ORDER_GRAY) f.out.uFlags = kGrayToGray | CONVERT_SRC_BITRANGE;
        if (f.bLutAfter) {
            ConvertArgs& args = isGrayOut() ? f.lut : f.out;
            args.pPaletteSrc = f.pLUT8;
            args.pLUT16Src = f.pLUT16;
            args.uFlags = kGrayToGray | CONVERT_SRC_BITRANGE;
            args.nLowBit = 16 - int32_t(f.levels.nBits);  // work is of full scale
            args.nHighBit = 15;
            f.lut.nBitsSrc = f.lut.nBitsDst = 16;
            f.lut.nOrderSrc = f.lut.nOrderDst = ORDER_GRAY;
        }
        if (isGrayOut() && hasFlag(RSR_GRAY_RANGE)) {
            const int32_t nHigh = m_out.range.nHigh < 0 ? f.nDstBits - 1 : m_out.range.nHigh;
            if (f.nOutBits == 8) {
                f.grayOut = placeOfGrayBytes(m_out.range);
            } else if (f.nOutBits != 0) {
                f.out.uFlags = kGrayToGray | CONVERT_DST_BITRANGE;
                f.out.nLowBit = m_out.range.nLow;
                f.out.nHighBit = nHigh;
            }
        }
        if (isGrayOut() && f.nOutBits == 8) f.out.nBitsDst = 0;  // grey bytes, no indices
        const bool bSame = f.out.nBitsSrc == f.out.nBitsDst && (f.nWorkBits == 8 || f.nWorkOrder == f.nDstOrder);
        f.bKeepOut = bSame && !f.bLutAfter && !(f.out.uFlags & CONVERT_DST_BITRANGE) && f.grayOut.nBits == 8;
    }

public:
    Chooser(const BITMAPRECORD& bm, const ResizeOutput& output, bool bFiltered, ResizeFormats& formats) noexcept
        : m_bm(bm), m_out(output), m_bFiltered(bFiltered), f(formats), m_nKind(R_IntIsGrayScaleBitmap(&bm, 0)) {}

    bool choose() noexcept {
        f.nSrcBits = m_bm.BitsPerPixel;
        f.bGray = m_bm.Order == ORDER_GRAY && f.nSrcBits > 8;
        f.nDstOrder = outputOrder(m_out.uFlags);
        setPalettes();
        if (f.bGray && !chooseGray()) return false;
        if (!f.bGray) chooseColor();
        const bool bTable = f.bGray && (f.fetch.pPaletteSrc || f.fetch.pLUT16Src);
        f.bSigned = (m_bm.Flags & BMF_SIGNED) && f.nSampleBits == 16 && !bTable;
        chooseOutput();
        if (m_out.nBits == 0) {
            if (f.nSrcBits <= 8) keepIndices();
            setWork(f, 8, 8, ORDER_BGR);
        }
        f.bPremultiply = hasFlag(RSR_BICUBIC) && (f.nWorkBits == 32 || f.nWorkBits == 64);
        chooseFetch();
        chooseOut();
        if (!f.bDither || m_bFiltered || !isSourcePalette()) return true;
        if (!makeUnique(f.DstPalette, f.nDstColors)) return false;
        std::copy_n(f.DstPalette, kMostColors, f.SrcPalette);
        return true;
    }
};

}  // namespace

WorkFormat ResizeFormats::workFormat() const noexcept {
    const SampleType type = nSampleBits == 8 ? SampleType::u8 : bSigned ? SampleType::s16 : SampleType::u16;
    return {type, nWorkBits / nSampleBits};
}

int32_t chooseFormats(const BITMAPRECORD& bm, const ResizeOutput& output, bool bFiltered,
                      ResizeFormats& formats) noexcept {
    return Chooser(bm, output, bFiltered, formats).choose() ? 1 : -1;
}

}  // namespace rv
