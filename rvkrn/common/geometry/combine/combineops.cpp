// The working form of a combine's flags: a truth table for whatever is bit logic, and masks for the operands of
// samples.
#include "internal/bgrrows.h"
#include "internal/combine_.h"
#include "internal/pixels.h"

namespace rv {
namespace {

constexpr uint32_t kSource = 0xC, kDest = 0xA, kOnes = 0xF;  // as truth tables

// An operand or the result by its digit: as is, inverted, zeros, ones.
constexpr uint32_t digitTable(uint32_t uDigit, uint32_t uTable) noexcept {
    const uint32_t tables[] = {uTable, uTable ^ kOnes, 0, kOnes};
    return tables[uDigit];
}
constexpr bool isConstant(uint32_t uDigit) noexcept { return uDigit >= 2; }

constexpr uint32_t bitLogic(uint32_t uOperation, uint32_t s, uint32_t d) noexcept {
    switch (uOperation) {
        case 0x0:
        case 0x6:
        case 0xA:
            return s & d;
        case 0x2:
            return s ^ d;
        case 0x4:
            return d & ~s;
        case 0x5:
            return s & ~d;
        case 0x7:
            return d;
        case 0x8:
            return s;
        default:
            return s | d;
    }
}

// Quotients and means of a constant are no bit logic.
constexpr bool needsSamples(uint32_t uOperation) noexcept { return uOperation >= 7 && uOperation <= 9; }

SampleLayout grayLayout(const BITMAPRECORD& bm, SampleLayout::Kind kind) noexcept {
    const auto nDepth = uint32_t(bm.BitsPerPixel);
    const KeptBits kept = physicalBits(bm);
    if (kept.nBits + kept.nShift > nDepth) return {kind, nDepth};
    return {kind, kept.nBits, kept.nShift, kept.nBits == nDepth};
}

}  // namespace

SampleLayout sampleLayout(const BITMAPRECORD& bm) noexcept {
    using L = SampleLayout;
    const bool bGray = bm.Order == ORDER_GRAY;
    switch (bm.BitsPerPixel) {
        case 1:
            return {L::bits, 1};
        case 12:
            return grayLayout(bm, L::gray12);
        case 16:
            return bGray ? grayLayout(bm, L::gray16) : L{L::color555, 5, 0, false};
        case 32:
            return bGray ? grayLayout(bm, L::gray32) : L{L::bytes};
        case 48:
        case 64:
            return {L::words, 16};
        default:
            return bm.BitsPerPixel < 8 ? L{L::packed, uint32_t(bm.BitsPerPixel)} : L{L::bytes};
    }
}

bool areCombineFlags(uint32_t uFlags) noexcept {
    return uFlags <= 0x3FFF && (uFlags & 0xF) <= 3 && (uFlags & 0xF0) <= 0x30 && (uFlags & 0xF00) <= 0xB00;
}

CombineForm combineForm(uint32_t uFlags, const SampleLayout& layout) noexcept {
    CombineForm f;
    const uint32_t uResult = uFlags >> 12 & 0xF;
    f.uOperation = uFlags >> 8 & 0xF;
    f.uSource = uFlags & 0xF;
    f.uDest = uFlags >> 4 & 0xF;
    f.bInvert = uResult == 1;
    f.uTable =
        digitTable(uResult, bitLogic(f.uOperation, digitTable(f.uSource, kSource), digitTable(f.uDest, kDest)) & kOnes);
    // With a constant operand the arithmetic of most operations is their bit logic on every sample.
    const bool bLogic = (isConstant(f.uSource) || isConstant(f.uDest)) && !needsSamples(f.uOperation);
    const bool bSamples = layout.kind != SampleLayout::bits && f.uOperation > 2 && !isConstant(uResult);
    f.bTable = !bSamples || (bLogic && layout.bWhole);
    if (!bSamples || bLogic) {
        f.bChanges = f.uTable != kDest;
        f.bReadsSource = (f.uTable >> 2) != (f.uTable & 3);
    } else {
        // D x M / M is D.
        f.bChanges = !(f.uOperation == 7 && f.uSource == 3 && f.uDest == uResult && !isConstant(f.uDest));
        f.bReadsSource = !isConstant(f.uSource);
    }
    return f;
}

SampleTerms sampleTerms(const CombineForm& form, const SampleLayout& layout) noexcept {
    SampleTerms t{};
    t.nBits = layout.nBits;
    t.nLow = layout.nLow;
    const auto mask = [&](bool b) { return b ? t.max() : 0; };
    t.uSrcAnd = mask(!isConstant(form.uSource));
    t.uDstAnd = mask(!isConstant(form.uDest));
    t.uSrcXor = mask(form.uSource & 1);
    t.uDstXor = mask(form.uDest & 1);
    t.uXor = mask(form.bInvert);
    return t;
}

}  // namespace rv
