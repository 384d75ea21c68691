// What a row conversion consists of: from the formats and flags to a list of steps.
//
// The source is read to levels, colours or wide colours. From there each destination has its tail: addColorTail from
// colours of 8 bits, addWideTail from those of 16, and the grey levels of 12, 16 and 32-bit samples have their own.
#include <algorithm>
#include <cstring>

#include "internal/grayrows.h"

namespace rv {

KeptBits keptBits(int32_t nHigh, int32_t nLow, uint32_t nLimit) noexcept {
    const int64_t nRange = int64_t(nHigh) - nLow + 1;
    const auto nBits = uint32_t(std::clamp<int64_t>(std::min<int64_t>(nRange, nLimit), 1, 32));
    return {nBits, uint32_t(std::clamp<int64_t>(int64_t(nHigh) - nBits + 1, 0, 63))};
}

namespace {

bool has(const ConvertArgs& a, uint32_t uFlag) noexcept { return (a.uFlags & uFlag) != 0; }

// Depth 0 counts as the eight bits that it is.
uint32_t sampleBits(int32_t nDepth) noexcept { return nDepth ? uint32_t(nDepth) : 8; }

// ---- kept bits ---------------------------------------------------------------------------------------------------

// Where grey goes, from sources other than 12, 16 and 32 bits. 48 and 64 bits take bit 15 for the top of an open range,
// whatever the destination.
KeptBits keptOfTarget(const ConvertArgs& a) noexcept {
    const uint32_t nDst = sampleBits(a.nBitsDst);
    if (!has(a, CONVERT_DST_BITRANGE)) return {nDst, 0};
    const int32_t nTop = a.nBitsSrc >= 48 ? 15 : int32_t(nDst) - 1;
    return keptBits(a.nHighBit < 0 ? nTop : a.nHighBit, std::max(a.nLowBit, 0), nDst);
}

// The level of a grey source of 12, 16 or 32 bits, and where the grey of a coloured one of 16 or 32 bits goes.
KeptBits keptOfSource(const ConvertArgs& a) noexcept {
    const uint32_t nSrc = uint32_t(a.nBitsSrc), nDst = sampleBits(a.nBitsDst);
    const bool bTable = a.pPaletteSrc || a.pLUT16Src;
    const bool bGraySrc = has(a, CONVERT_SRC_GRAY), bGrayDst = has(a, CONVERT_DST_GRAY);
    const int32_t nLow = std::max(a.nLowBit, 0);

    if (has(a, CONVERT_SRC_BITRANGE)) {
        const bool bColor = (nDst == 16 || nDst == 32) && !bGrayDst;
        const uint32_t nLimit = bTable ? nSrc : nDst >= 48 ? 16 : bColor ? 8 : nDst == 24 ? 8 : nDst;
        return keptBits(a.nHighBit < 0 ? int32_t(nSrc) - 1 : a.nHighBit, nLow, nLimit);
    }
    if (has(a, CONVERT_DST_BITRANGE)) {
        const uint32_t nLimit = a.pLUT16Src ? 16 : a.pPaletteSrc ? 8 : nDst;
        return keptBits(a.nHighBit < 0 ? int32_t(nDst) - 1 : a.nHighBit, nLow, nLimit);
    }
    if (bGrayDst && (!bGraySrc || bTable)) {
        const bool bWords = nDst >= 48 || a.pLUT16Src || (nDst == 16 && nSrc == 16);
        return keptBits(int32_t(nDst) - 1, 0, bWords ? 16 : 8);
    }
    const uint32_t nLimit = bGraySrc && bTable ? nSrc : nDst >= 48 ? 16 : bGrayDst ? nDst : 8;
    return keptBits(int32_t(nSrc) - 1, 0, nLimit);
}

template <auto Row>
void roundedRow(RowWork& w, size_t n) noexcept {
    const uint32_t uMask = w.source.mask();
    Row(uint32_t(n), w.pSrc, w.pDst, uMask, int32_t(w.source.nShift), 0, uMask);
}

// ---- the planner -------------------------------------------------------------------------------------------------

class Planner {
    const ConvertArgs& a;
    RowWork& w;
    RowPlan plan;
    const int32_t S, D;  // depths
    const bool bGrayDst;
    const bool bKernels;

    void add(Step step) noexcept { plan.add(step); }
    bool redFirst(int32_t nOrder) const noexcept { return nOrder == ORDER_RGB; }
    bool isPaletteDst() const noexcept { return D >= 1 && D <= 8; }
    bool isColorDst() const noexcept { return D >= 24 ? !bGrayDst : D == 16 && !bGrayDst; }

    // The table that is searched.
    void setTarget() noexcept {
        w.pPaletteDst = a.pPaletteDst ? a.pPaletteDst : R_IntGetFixedPalette(D);
        w.nColorsDst = 1u << D;
    }

    // Colours to an index; leaves a level.
    void addIndex() noexcept {
        w.uColor = UINT32_MAX;
        w.pMatchRoot = a.pMatchRoot;
        if (!a.pMatchRoot) setTarget();
        add(a.pMatchRoot ? colorToMatch : colorToIndex);
    }

    // ---- alpha ---------------------------------------------------------------------------------------------------

    // Pixels that equal crTransparent get uHit, others uMiss. bIndexed: a palette reference is compared with the level.
    void addTransparent(bool bWide, bool bIndexed, uint8_t uHit, uint8_t uMiss) noexcept {
        const COLORREF cr = a.crTransparent;
        const bool bReference = kindOf(cr) == kPaletteRef;
        w.uAlphaHit = uHit;
        w.uAlphaMiss = uMiss;
        if (!has(a, CONVERT_TRANSPARENT) || (bReference && !bIndexed)) {
            if (uMiss != 255) add(fillAlpha);  // opaque is what a pixel without alpha is read as
        } else if (bReference) {
            w.uTransparent = cr & 0xFF;
            add(bWide ? alphaByWideIndex : alphaByIndex);
        } else {
            w.uTransparent = (cr & 0xFF) << 16 | (cr & 0xFF00) | (cr >> 16 & 0xFF);
            add(bWide ? alphaByWide : alphaByColor);
        }
    }

    bool marksTransparent() const noexcept { return has(a, CONVERT_TRANSPARENT) && D == 32; }
    bool hasAlphaDst() const noexcept { return (D == 32 && !bGrayDst) || D == 64; }

    // ---- tails ---------------------------------------------------------------------------------------------------

    void addColorTail() noexcept {
        if (isPaletteDst()) {
            addIndex();
            add(levelWriter(D));
        } else if (D == 0 || bGrayDst) {
            add(colorToGray);
            if (D != 0) add(placeGray);
            add(levelWriter(D));
        } else if (D >= 48) {
            add(colorToWide);
            add(wideWriter(D, redFirst(a.nOrderDst), true));
        } else {
            const bool bAlpha = S == 32 || (S == 16 && a.nOrderSrc != ORDER_BGR565);
            add(colorWriter(D, a.nOrderDst, bAlpha && !has(a, CONVERT_SRC_GRAY)));
        }
    }

    void addWideTail(bool bAlpha = true) noexcept {
        if (D >= 48) {
            add(wideWriter(D, redFirst(a.nOrderDst), bAlpha));
        } else if (D >= 12 && bGrayDst) {
            add(wideToGray);
            add(D == 32 ? placeWideGray32 : placeWideGray);
            add(levelWriter(D));
        } else {
            add(wideToColor);
            addColorTail();
        }
    }

    // ---- indices and 8-bit grey ----------------------------------------------------------------------------------

    // A table of all levels pays only where the row has as many pixels.
    bool tablePays(uint32_t nLevels) const noexcept { return uint32_t(a.nWidth) >= nLevels; }

    void addTable() noexcept {
        if ((S == 8 || S == 0) && (D == 8 || D == 0)) {
            plan.bWhole = true;
            return add(mapBytes);
        }
        if (bKernels && addTableKernel(plan, w, S, D)) return;
        add(levelReader(S));
        add(levelToTable);
        add(levelWriter(D));
    }

    void planPalette() noexcept {
        const uint32_t nColors = 1u << S;
        w.pPaletteSrc = a.pPaletteSrc ? a.pPaletteSrc : R_IntGetFixedPalette(S);
        if (isPaletteDst()) {
            setTarget();
            const bool bSame = D >= S && std::memcmp(w.pPaletteSrc, w.pPaletteDst, nColors * sizeof(RGBQUAD)) == 0;
            if (bSame && S == D) return;
            if (bSame && (D != 8 || !tablePays(nColors))) {
                add(levelReader(S));
                return add(levelWriter(D));
            }
            if (tablePays(nColors)) {
                buildTranslation(w.pPaletteSrc, nColors, w.pPaletteDst, w.nColorsDst, w.table);
                return addTable();
            }
            w.uColor = UINT32_MAX;
            add(levelReader(S));
            add(levelToColor);
            add(colorToIndex);
            return add(levelWriter(D));
        }
        if (D == 0 && tablePays(nColors)) {
            buildTranslation(w.pPaletteSrc, nColors, nullptr, 0, w.table);
            return addTable();
        }
        w.target = keptOfTarget(a);
        if (bKernels && !bGrayDst && !marksTransparent() && tablePays(nColors) &&
            addPaletteKernel(plan, w, S, D, a.nOrderDst))
            return;
        add(levelReader(S));
        add(levelToColor);
        if (hasAlphaDst()) addTransparent(false, true, 0, 255);
        addColorTail();
    }

    // Grey levels of nLevels to indices, unscaled. The level is read by what has been added so far.
    void addGrayIndex(uint32_t nLevels) noexcept {
        setTarget();
        if (tablePays(nLevels)) {
            buildTranslation(nullptr, nLevels, w.pPaletteDst, w.nColorsDst, w.table);
            add(levelToTable);
        } else {
            w.uColor = UINT32_MAX;
            add(levelToGrayColor);
            add(colorToIndex);
        }
        add(levelWriter(D));
    }

    void planGray8() noexcept {
        if (D == 0) return;
        w.target = keptOfTarget(a);
        if (D == 8 && !a.pMatchRoot && tablePays(256)) {
            setTarget();
            buildTranslation(nullptr, 256, w.pPaletteDst, w.nColorsDst, w.table);
            return addTable();
        }
        add(levelReader(S));
        if (isPaletteDst() && !a.pMatchRoot) return addGrayIndex(256);
        if (!isPaletteDst() && !isColorDst()) {  // the grey rule leaves grey as it is
            add(placeGray);
            return add(levelWriter(D));
        }
        add(levelToGrayColor);
        if (D == 32) addTransparent(false, true, 0, 255);
        if (D == 64) addTransparent(false, true, 255, 0);  // the reverse of all others, as it has always been
        addColorTail();
    }

    // ---- colours -------------------------------------------------------------------------------------------------

    // Both sides in the wide gamut: copied by 24 and 48 bits and more, else taken as red, green, blue.
    int32_t sourceOrder() const noexcept {
        return a.nOrderSrc == ORDER_ROMM && a.nOrderDst == ORDER_ROMM && D <= 8 ? int32_t(ORDER_RGB) : a.nOrderSrc;
    }
    bool leavesRomm() const noexcept { return a.nOrderSrc == ORDER_ROMM && a.nOrderDst != ORDER_ROMM; }
    bool isSameLayout() const noexcept {
        if (S != D || bGrayDst || leavesRomm()) return false;
        return S == 16 ? a.nOrderSrc == a.nOrderDst : redFirst(a.nOrderSrc) == redFirst(a.nOrderDst);
    }

    // The kernels to grey fill the sample of the destination, those from 32 bits its top eight bits.
    bool addColorKernel() noexcept {
        const uint32_t nGray = S == 32 ? 8 : uint32_t(D);
        const bool bFull = !bGrayDst || D == 0 || (w.target.nBits == nGray && w.target.nShift == uint32_t(D) - nGray);
        if (!bKernels || !bFull || leavesRomm() || (S == 24 && marksTransparent())) return false;
        w.pfnRow = colorKernel(S, sourceOrder(), D, a.nOrderDst);
        if (!w.pfnRow) return false;
        plan.bWhole = true;
        add([](RowWork& r, size_t n) noexcept { r.pfnRow(r.pSrc, r.pDst, n); });
        return true;
    }

    void planColor() noexcept {
        if (isSameLayout()) return;
        w.target = S == 24 ? keptOfTarget(a) : keptOfSource(a);
        if (addColorKernel()) return;
        add(colorReader(S, sourceOrder()));
        if (leavesRomm()) add(inverseRommColor);
        if (S == 24 && hasAlphaDst()) addTransparent(false, false, 0, 255);
        if (S == 16 && D == 32) {
            w.uAlphaMiss = 255;
            add(fillAlpha);  // bit 15 doesn't count here
        }
        addColorTail();
    }

    void planWide() noexcept {
        if (isSameLayout()) return;
        w.target = keptOfTarget(a);
        if (addColorKernel()) return;
        add(wideReader(S, redFirst(sourceOrder())));
        if (leavesRomm()) add(inverseRommWide);
        if (S == 48 && D == 64) addTransparent(true, false, 0, 255);
        if (S == 48 && D == 32 && !bGrayDst) {
            add(wideToColor);
            addTransparent(false, false, 0, 255);
            return addColorTail();
        }
        addWideTail();
    }

    // ---- grey samples of 12, 16 and 32 bits ----------------------------------------------------------------------

    void addCut(bool bSigned) noexcept {
        if (bSigned)
            add(cutSignedLevel);
        else if (w.source.nShift || int32_t(w.source.nBits) < S)
            add(cutLevel);
    }

    void planGray() noexcept {
        w.source = keptOfSource(a);
        if (bKernels && addBytesKernel()) return;
        if (bGrayDst && D >= 8) return planGrayToGray();

        const bool bRange = has(a, CONVERT_SRC_BITRANGE), bTable = a.pLUT16Src || a.pPaletteSrc;
        if (D == 0 && bRange && !bTable && S == 32) return addRounded();
        add(levelReader(S));
        if (S == 32 || !bTable || bRange || has(a, CONVERT_DST_BITRANGE)) addCut(false);

        w.pPaletteSrc = a.pPaletteSrc;
        w.pLUT16Src = a.pLUT16Src;
        const bool bMark = (D == 32 && !bGrayDst) || (D == 64 && S == 12), bAlpha = S != 16;
        if (a.pLUT16Src) {
            add(levelToWide);
            if (D == 0) return addWordsToGray8();
            if (bMark) addTransparent(true, true, 0, 255);
            addWideTail(bAlpha);
        } else if (a.pPaletteSrc) {
            add(levelToColor);
            if (bMark) addTransparent(false, true, 0, 255);
            if (D < 48) return addColorTail();
            add(colorToWide);
            addWideTail(bAlpha);
        } else if (D == 0) {
            addScaleLevels(plan, w, 255);
            add(levelWriter(0));
        } else if (isPaletteDst()) {
            addGrayIndex(1u << w.source.nBits);
        } else if (D < 48) {
            add(levelToGrayColor);
            addColorTail();
        } else {
            addScaleLevels(plan, w, 65535);
            add(levelToGrayWide);
            if (D == 64 && S == 12) addScaledTransparent();
            addWideTail(bAlpha);
        }
    }

    // Levels of 16-bit samples without a table to grey bytes or indices of 8 bits.
    bool addBytesKernel() noexcept {
        const bool bIndex = D == 8 && !bGrayDst, bMoved = D == 8 && has(a, CONVERT_DST_BITRANGE);
        if (S != 16 || (D != 0 && D != 8) || bMoved || a.pLUT16Src || a.pPaletteSrc) return false;
        const uint32_t nLevels = 1u << w.source.nBits;
        if (bIndex) {
            if (!tablePays(nLevels)) return false;
            setTarget();
            buildTranslation(nullptr, nLevels, w.pPaletteDst, w.nColorsDst, w.table);
        }
        return addLevelKernel(plan, w, bIndex);
    }

    // The grey rule on whole words, of which the high byte is taken.
    void addWordsToGray8() noexcept {
        w.nShift = 8;
        add(wideToGray);
        add(shiftLevelDown);
        add(levelWriter(0));
    }

    // By now the levels are scaled, and so is the one that a palette reference names.
    void addScaledTransparent() noexcept {
        addTransparent(true, true, 0, 255);
        if (!has(a, CONVERT_TRANSPARENT) || kindOf(a.crTransparent) != kPaletteRef) return;
        const uint32_t uMask = w.source.mask();
        w.uTransparent = w.uTransparent <= uMask ? w.uTransparent * 65535 / uMask : UINT32_MAX;
    }

    void planGrayToGray() noexcept {
        const bool bTable = a.pLUT16Src || a.pPaletteSrc;
        if (has(a, CONVERT_SRC_BITRANGE)) {
            if (!bTable && S == 32 && (D == 12 || D == 16)) return addRounded();
            add(levelReader(S));
            addCut(S == 16 && D == 16 && has(a, CONVERT_SIGNED));
            addLevelsToGray(plan, w, D, a.pPaletteSrc, a.pLUT16Src);
        } else if (bTable) {
            w.target = w.source;
            w.pPaletteSrc = a.pPaletteSrc;
            w.pLUT16Src = a.pLUT16Src;
            add(levelReader(S));
            if (S == 32) addCut(false);
            add(a.pLUT16Src ? levelToWide : levelToColor);
            add(a.pLUT16Src ? wideToGray : colorToGray);
            add(a.pLUT16Src ? placeTableGray : placeGray);
        } else if (has(a, CONVERT_DST_BITRANGE)) {
            w.target = w.source;
            w.nShift = uint32_t(S);
            add(levelReader(S));
            add(moveSample);  // the sign is shifted out of what is kept
        } else {
            if (S == D) return;
            add(levelReader(S));
            w.nShift = uint32_t(S - D);
            if (S > D)
                add(shiftLevelDown);
            else
                addScaleLevels(plan, w, uint32_t((uint64_t(1) << D) - 1));
        }
        add(levelWriter(D));
    }

    // 32-bit samples with a range and no table round to nearest, where all others truncate.
    void addRounded() noexcept {
        plan.bWhole = true;
        add(D == 0 ? roundedRow<R_Gray32To8> : D == 12 ? roundedRow<gray32To12> : roundedRow<R_Gray32To16>);
    }

public:
    Planner(const ConvertArgs& args, RowWork& work, ConvertLoops loops) noexcept
        : a(args),
          w(work),
          S(args.nBitsSrc),
          D(args.nBitsDst),
          bGrayDst(has(args, CONVERT_DST_GRAY)),
          bKernels(loops == ConvertLoops::best) {}

    const RowPlan& make() noexcept {
        if (S == 0)
            planGray8();
        else if (S <= 8)
            planPalette();
        else if (S >= 48)
            planWide();
        else if (has(a, CONVERT_SRC_GRAY))
            planGray();
        else
            planColor();
        return plan;
    }
};

}  // namespace

RowPlan planConversion(const ConvertArgs& args, RowWork& w, ConvertLoops loops) noexcept {
    return Planner(args, w, loops).make();
}

void runPlan(const RowPlan& plan, RowWork& w, size_t n, int32_t nBitsSrc, int32_t nBitsDst, uint8_t* pDst,
             const uint8_t* pSrc) noexcept {
    const size_t nSrc = sampleBits(nBitsSrc), nDst = sampleBits(nBitsDst);
    const size_t nChunk = plan.bWhole ? n : kChunk, nChunks = (n + nChunk - 1) / nChunk;
    for (size_t k = 0; k < nChunks; ++k) {
        const size_t nFrom = (nDst > nSrc ? nChunks - 1 - k : k) * nChunk, nCount = std::min(n - nFrom, nChunk);
        w.pSrc = pSrc + nFrom / 8 * nSrc;
        w.pDst = pDst + nFrom / 8 * nDst;
        for (size_t i = 0; i < plan.nSteps; ++i) plan.steps[i](w, nCount);
    }
}

}  // namespace rv
