// Deep gray to bytes.
//
// A window's table is nearly always a line with flat ends. Where it is one in every entry, levels are computed, which
// vectors do several times faster than a processor looks them up.
#include "internal/paintgray.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "internal/opening.h"
#include "internal/paint_.h"
#include "internal/resizerows_.h"
#include "internal/rowblocks.h"

namespace rv {
namespace {

constexpr size_t kBlock = 1024;  // samples that are worked at once; even, so that those of 12 bits start at bytes

// ---- finding a line ----------------------------------------------------------------------------------------------

// A rising table as what a line has to do: be at or above some points and below others.
struct LineBounds {
    struct Point {
        double x, y;
    };
    Point above[256], below[256];
    int nAbove = 0, nBelow = 0;

    // The way up, at the ends of runs of one value; nothing is asked where the ends are flat. False where the table
    // falls. A table that wavers may get through, and fails when it is tried.
    bool collect(const uint8_t* pTable, uint32_t nCount, uint8_t uFlip) noexcept {
        int32_t nLast = -1;
        for (const uint8_t *p = pTable, *pEnd = pTable + nCount; p != pEnd;) {
            const int32_t v = *p ^ uFlip;
            if (v <= nLast) return false;
            const uint8_t* pNext =
                std::upper_bound(p, pEnd, v, [=](int32_t a, uint8_t b) { return a < int32_t(b ^ uFlip); });
            if (p != pTable) above[nAbove++] = {double(p - pTable), double(v)};
            if (pNext != pEnd) below[nBelow++] = {double(pNext - 1 - pTable), v + 1.0};
            nLast = v;
            p = pNext;
        }
        return true;
    }

    struct Start {
        double dLeast, dMost;  // of what a line of some slope starts with
        bool bTooFlat;
    };
    Start startOf(double dSlope) const noexcept {
        int a = 0, b = 0;
        for (int i = 1; i < nAbove; ++i)
            if (above[i].y - dSlope * above[i].x > above[a].y - dSlope * above[a].x) a = i;
        for (int i = 1; i < nBelow; ++i)
            if (below[i].y - dSlope * below[i].x < below[b].y - dSlope * below[b].x) b = i;
        return {above[a].y - dSlope * above[a].x, below[b].y - dSlope * below[b].x, above[a].x > below[b].x};
    }
};

bool holds(const GrayLine& line, const uint8_t* pTable, uint32_t nCount) noexcept {
    const GrayLineRow row = fastGrayLine() ? fastGrayLine() : plainGrayLine;
    uint16_t levels[kBlock];
    uint8_t bytes[kBlock];
    for (uint32_t k = 0; k < nCount; k += kBlock) {
        const uint32_t n = std::min(nCount - k, uint32_t(kBlock));
        for (uint32_t i = 0; i < n; ++i) levels[i] = uint16_t(k + i);
        row(reinterpret_cast<const uint8_t*>(levels), bytes, n, 0, 0xFFFF, line);
        if (std::memcmp(bytes, pTable + k, n) != 0) return false;
    }
    return true;
}

}  // namespace

bool findGrayLine(const uint8_t* pTable, uint32_t nCount, GrayLine& line) noexcept {
    if (nCount == 0 || nCount > 65536) return false;
    line = {};
    line.uFlip = pTable[0] > pTable[nCount - 1] ? 255 : 0;
    line.uLow = pTable[0] ^ line.uFlip;
    line.uHigh = pTable[nCount - 1] ^ line.uFlip;
    LineBounds bounds;
    if (!bounds.collect(pTable, nCount, line.uFlip)) return false;
    if (bounds.nAbove) {
        // The slope that leaves the most room on either side: that room shrinks on both sides of it.
        double dLow = 0, dHigh = 256, dSlope = 0;
        for (int i = 0; i < 48; ++i) {
            dSlope = (dLow + dHigh) / 2;
            (bounds.startOf(dSlope).bTooFlat ? dLow : dHigh) = dSlope;
        }
        const LineBounds::Start start = bounds.startOf(dSlope);
        if (start.dLeast >= start.dMost) return false;
        line.nCenter = int32_t((bounds.below[0].x + bounds.above[bounds.nAbove - 1].x) / 2);
        line.fSlope = float(dSlope);
        // Rounding takes the half of a step that truncating would have left.
        line.fOffset = float(dSlope * line.nCenter + (start.dLeast + start.dMost) / 2 - 128.5);
    }
    return holds(line, pTable, nCount);
}

// ---- rows by a line ----------------------------------------------------------------------------------------------

void plainGrayLine(const uint8_t* pSrc, uint8_t* pDst, size_t n, uint32_t nShift, uint32_t uMask,
                   const GrayLine& line) noexcept {
    eachPixel<2, 1>(pSrc, pDst, n, [=](const uint8_t* s, uint8_t* d) {
        const auto k = int32_t(loadLittle<uint16_t>(s) >> nShift & uMask);
        const int32_t t = std::clamp(k - line.nCenter, -32768, 32767);
        const float fScaled = float(t) * line.fSlope;
        const long v = std::clamp(std::lrintf(fScaled + line.fOffset), -128L, 127L) + 128;
        *d = uint8_t(std::clamp(v, long(line.uLow), long(line.uHigh)) ^ line.uFlip);
    });
}

#ifdef RV_X86
namespace {
using namespace avx2;

struct LineBlock {
    static constexpr size_t kPixels = 32, kSrcBytes = 64, kDstBytes = 32;
    __m128i shift;
    __m256i mask, center, low, high, flip;
    __m256 slope, offset;

    RV_AVX2_INLINE __m256i rounded(__m256i t) const noexcept {
        return _mm256_cvtps_epi32(_mm256_add_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(t), slope), offset));
    }
    RV_AVX2_INLINE __m256i words(__m256i v) const noexcept {
        const __m256i k = _mm256_and_si256(_mm256_srl_epi16(v, shift), mask);
        const __m256i t = _mm256_subs_epi16(_mm256_xor_si256(k, _mm256_set1_epi16(INT16_MIN)), center);
        return _mm256_packs_epi32(rounded(_mm256_srai_epi32(_mm256_unpacklo_epi16(t, t), 16)),
                                  rounded(_mm256_srai_epi32(_mm256_unpackhi_epi16(t, t), 16)));
    }
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        __m256i v = _mm256_packs_epi16(words(loadPair(s, s + 32)), words(loadPair(s + 16, s + 48)));
        v = _mm256_xor_si256(v, _mm256_set1_epi8(INT8_MIN));
        store32(d, _mm256_xor_si256(_mm256_min_epu8(_mm256_max_epu8(v, low), high), flip));
    }
};

RV_AVX2 void avx2GrayLine(const uint8_t* pSrc, uint8_t* pDst, size_t n, uint32_t nShift, uint32_t uMask,
                          const GrayLine& line) noexcept {
    LineBlock block;
    block.shift = _mm_cvtsi32_si128(int32_t(nShift));
    block.mask = _mm256_set1_epi16(int16_t(uMask));
    block.center = _mm256_set1_epi16(int16_t(line.nCenter - 32768));
    block.low = _mm256_set1_epi8(int8_t(line.uLow));
    block.high = _mm256_set1_epi8(int8_t(line.uHigh));
    block.flip = _mm256_set1_epi8(int8_t(line.uFlip));
    block.slope = _mm256_set1_ps(line.fSlope);
    block.offset = _mm256_set1_ps(line.fOffset);
    eachBlock(pSrc, pDst, n, block, [=, &line](const uint8_t* s, uint8_t* d, size_t nRest) {
        plainGrayLine(s, d, nRest, nShift, uMask, line);
    });
}

}  // namespace

GrayLineRow fastGrayLine() noexcept { return cpuHasAvx2() ? avx2GrayLine : nullptr; }
#else
GrayLineRow fastGrayLine() noexcept { return nullptr; }
#endif

// ---- the rule ----------------------------------------------------------------------------------------------------

const RGBQUAD* paintLUT(const BITMAPRECORD& format, uint32_t uInfoFlags) noexcept {
    return format.Flags & BMF_USE_LUT && !(uInfoFlags & SINKINFO_NO_LUT) ? format.pLUT : nullptr;
}

KeptBits paintLevels(const BITMAPRECORD& format, bool bTable) noexcept {
    const int32_t nTop = format.BitsPerPixel - 1;
    const int32_t nHigh = format.HighBit < 0 ? nTop : std::min(format.HighBit, nTop);
    return keptBits(nHigh, std::clamp(format.LowBit, 0, nHigh), bTable ? uint32_t(format.BitsPerPixel) : 8);
}

bool GrayBytes::start(const BITMAPRECORD& format, const RGBQUAD* pLUT, KeptBits place) noexcept {
    m_b12 = format.BitsPerPixel == 12;
    m_levels = paintLevels(format, pLUT);
    if (!pLUT && place.nBits == 8) return true;
    const uint32_t uMask = m_levels.mask(), nCount = uMask + 1;
    if (!m_table.allocateCleared(nCount)) return false;  // past the end of a table is black
    if (pLUT)
        bestRowKernels().gray.gray8From32[kBlueFirst](&pLUT->rgbBlue, m_table.get(),
                                                      std::min(format.LUTLength, nCount));
    for (uint32_t k = 0; !pLUT && k < nCount; ++k) m_table[k] = uint8_t(k * 255 / uMask);
    for (uint32_t k = 0; place.nBits < 8 && k < nCount; ++k) m_table[k] = placedGray(m_table[k], place);
    m_nUntilLine = fastGrayLine() ? std::max(nCount, uint32_t(kBlock)) : 0;
    return true;
}

// A line costs as much to find as so many levels to look up.
void GrayBytes::tryLine(size_t n) noexcept {
    m_nUntilLine -= uint32_t(std::min<size_t>(n, m_nUntilLine));
    if (!m_nUntilLine) m_bLine = findGrayLine(m_table.get(), m_levels.mask() + 1, m_line);
}

void GrayBytes::row16(const uint8_t* pSrc, uint8_t* pDst, size_t n) noexcept {
    const GrayKernels& k = bestRowKernels().gray;
    const uint32_t nShift = m_levels.nShift, uMask = m_levels.mask();
    if (m_bLine)
        fastGrayLine()(pSrc, pDst, n, nShift, uMask, m_line);
    else if (m_table)
        k.gray16To8Table(pSrc, pDst, n, nShift, uMask, m_table.get());
    else if (nShift == 8 && uMask == 255)
        k.gray16To8(pSrc, pDst, n);
    else
        k.gray16To8Scaled(pSrc, pDst, n, nShift, uMask);
}

void GrayBytes::row(const uint8_t* pSrc, uint8_t* pDst, size_t n) noexcept {
    if (m_nUntilLine) tryLine(n);
    if (!m_b12) return row16(pSrc, pDst, n);
    uint16_t levels[kBlock];
    for (size_t x = 0; x < n; x += kBlock, pSrc += kBlock / 2 * 3, pDst += kBlock) {
        const size_t nNow = std::min(n - x, kBlock);
        for (size_t i = 0; i < nNow; ++i) levels[i] = uint16_t(Pixel<12>::get(pSrc, i));
        row16(reinterpret_cast<const uint8_t*>(levels), pDst, nNow);
    }
}

}  // namespace rv
