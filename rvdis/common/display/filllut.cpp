// Curves that fill tables of window levels. One form for entries of bytes and of words: a colour is four samples in the
// entry's order, of which a table of bytes leaves the fourth 0.
#include <algorithm>
#include <array>
#include <cmath>
#include <type_traits>

#include "ravokit/windowlevel.h"

namespace rv {
namespace {

// ---- entries -----------------------------------------------------------------------------------------------------

using Samples = std::array<int32_t, 4>;

template <class Entry>
constexpr int32_t kFull = std::is_same_v<Entry, RGBQUAD> ? 255 : 65535;

Samples samplesOf(COLORREF cr) noexcept {
    return {int32_t(cr >> 16 & 255), int32_t(cr >> 8 & 255), int32_t(cr & 255), 0};
}
Samples samplesOf(uint64_t uColor) noexcept {
    const auto sample = [uColor](int n) { return int32_t(uColor >> 16 * n & 65535); };
    return {sample(0), sample(1), sample(2), sample(3)};
}

template <class Entry>
Entry entryOf(const Samples& s) noexcept {
    using Sample = decltype(Entry::rgbRed);
    return {Sample(s[0]), Sample(s[1]), Sample(s[2]), Sample(s[3])};
}

// The table by sample values: those below 0 stand behind the others.
template <class Entry>
class Table {
    Entry* m_p;
    int64_t m_nLength;

public:
    const int64_t nFirst, nLast;

    Table(Entry* p, uint32_t uLength, bool bSigned) noexcept
        : m_p(p),
          m_nLength(uLength),
          nFirst(bSigned ? -(m_nLength / 2) : 0),
          nLast(bSigned ? (m_nLength - 1) / 2 : m_nLength - 1) {}
    Entry& operator[](int64_t i) const noexcept { return m_p[i < 0 ? i + m_nLength : i]; }
    void fill(int64_t nFrom, int64_t nTo, const Entry& entry) const noexcept {
        for (int64_t i = nFrom; i <= nTo; ++i) (*this)[i] = entry;
    }
};

// ---- what is asked for -------------------------------------------------------------------------------------------

constexpr uint32_t kModeField = 0xF, kCurveField = 0xF0, kSignField = 0xF00;

struct Ask {
    int64_t nLow, nHigh;
    uint32_t uLowBit, uHighBit;
    int64_t nMin, nMax;
    int32_t nFactor;
    uint32_t uFlags;

    bool isInside() const noexcept { return (uFlags & kModeField) == FILLLUT_INSIDE; }
    bool isSigned() const noexcept { return uFlags & FILLLUT_SIGNED; }
    bool isExtended() const noexcept { return !(uFlags & FILLLUT_NO_EXTEND); }
    uint32_t curve() const noexcept { return uFlags & kCurveField; }

    bool isSound() const noexcept {
        const uint32_t uMode = uFlags & kModeField, uSign = uFlags & kSignField;
        if (uMode != FILLLUT_INSIDE && uMode != FILLLUT_OUTSIDE) return false;
        if (curve() < FILLLUT_LINEAR || curve() > FILLLUT_SIGMOID) return false;
        if (uSign != 0 && uSign != FILLLUT_SIGNED) return false;
        if (curve() == FILLLUT_LOG && nFactor < 0) return false;
        return uLowBit <= uHighBit && nMin <= nMax && nLow <= nHigh;
    }
    // Samples of at most 16 bits, in a table that holds them.
    bool isInRange(int64_t nLength) const noexcept {
        const int64_t nFrom = std::clamp(nLow, nMin, nMax), nTo = std::clamp(nHigh, nMin, nMax);
        if (isSigned() && (nFrom < -32768 || nTo > 32767 || (nFrom < 0 && nTo - nFrom >= nLength))) return false;
        return (isSigned() || nTo <= 65535) && nTo < nLength;
    }
};

// The window, and the part of it that the table has.
struct Span {
    int64_t nLow, nHigh, nFrom, nTo;

    template <class Entry>
    Span(const Ask& ask, const Table<Entry>& table, uint32_t uShift) noexcept : nLow(ask.nLow), nHigh(ask.nHigh) {
        const auto clamped = [&](int64_t n) {
            return std::clamp(std::clamp(n, ask.nMin, ask.nMax), table.nFirst, table.nLast);
        };
        nFrom = clamped(nLow);
        nTo = clamped(nHigh);
        uShift = std::min(uShift, 32u);  // only the sign is left
        for (int64_t* p : {&nLow, &nHigh, &nFrom, &nTo}) *p >>= uShift;
    }
};

// ---- curves ------------------------------------------------------------------------------------------------------

// How far a curve has come at a sample: dPart of dWhole.
class Bend {
    uint32_t m_uCurve;
    double m_dLow, m_dWidth, m_dX, m_dMiddle, m_dStart = 0;

    double sigmoid(double v) const noexcept { return 1 / (std::exp((v - m_dMiddle) * (2 * m_dX) / m_dWidth) + 1); }

public:
    double dWhole;

    Bend(const Span& span, uint32_t uCurve, int32_t nFactor) noexcept
        : m_uCurve(uCurve),
          m_dLow(double(span.nLow)),
          m_dWidth(double(span.nHigh - span.nLow)),
          m_dX(nFactor / 10.0),
          m_dMiddle(double(span.nLow + span.nHigh) / 2) {
        if (uCurve == FILLLUT_SIGMOID) m_dStart = sigmoid(m_dLow);
        dWhole = uCurve == FILLLUT_EXP   ? std::exp(m_dX) - 1
                 : uCurve == FILLLUT_LOG ? std::log(m_dX + 1)
                                         : sigmoid(double(span.nHigh)) - m_dStart;
    }
    double part(int64_t i) const noexcept {
        const double d = double(i);
        if (m_uCurve == FILLLUT_EXP) return std::exp((d - m_dLow) * m_dX / m_dWidth) - 1;
        if (m_uCurve == FILLLUT_LOG) return std::log((d - m_dLow) * m_dX / m_dWidth + 1);
        return sigmoid(d) - m_dStart;
    }
};

// A sample outside of the window, or a factor in the thousands, may carry a curve out of what an integer holds.
int64_t truncated(double d) noexcept {
    constexpr double kMost = 1e15;
    return std::isnan(d) ? 0 : int64_t(std::clamp(d, -kMost, kMost));
}

template <class Entry>
void drawCurve(const Table<Entry>& table, const Ask& ask, const Span& span, const Samples& start,
               const Samples& end) noexcept {
    const int64_t nWidth = span.nHigh - span.nLow;
    if (nWidth == 0) return table.fill(span.nFrom, span.nTo, entryOf<Entry>(start));
    // Stops for each entry: channel c goes on from start[c] by what part of nRise[c] is told.
    const auto draw = [&](auto&& risen) {
        for (int64_t i = span.nFrom; i <= span.nTo; ++i) {
            const auto at = risen(i);
            Samples s;
            for (size_t c = 0; c < 4; ++c) {
                const bool bSame = c > 0 && start[c] == start[c - 1] && end[c] == end[c - 1];
                if (bSame) {
                    s[c] = s[c - 1];
                    continue;
                }
                const int64_t n = start[c] + at(end[c] - start[c]);
                s[c] = int32_t(std::clamp<int64_t>(n, 0, kFull<Entry>));
            }
            table[i] = entryOf<Entry>(s);
        }
    };
    if (ask.nFactor == 0 || ask.curve() == FILLLUT_LINEAR)
        return draw(
            [&](int64_t i) { return [&span, nWidth, i](int64_t nRise) { return (i - span.nLow) * nRise / nWidth; }; });
    const Bend bend(span, ask.curve(), ask.nFactor);
    draw([&](int64_t i) {
        return [dPart = bend.part(i), dWhole = bend.dWhole](int32_t nRise) {
            return truncated(dPart * nRise / dWhole + 0.000005);
        };
    });
}

// The window's outside in two colours, and a curve in it where it is wide enough.
template <class Entry>
void drawOutside(const Table<Entry>& table, const Ask& ask, const Span& span, const Samples& start, const Samples& end,
                 bool bCurve, bool bOwnRamp) noexcept {
    constexpr int32_t n = kFull<Entry>;
    table.fill(table.nFirst, span.nFrom - 1, entryOf<Entry>(start));
    if (bCurve && bOwnRamp)
        drawCurve(table, ask, span, {}, {n, n, n, std::is_same_v<Entry, RGBQUAD> ? 0 : n});
    else if (bCurve)
        drawCurve(table, ask, span, start, end);
    table.fill(span.nTo + 1, table.nLast, entryOf<Entry>(end));
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_WindowLevelFillLUT(RGBQUAD* pLUT, uint32_t uLUTLength, COLORREF crStart, COLORREF crEnd, int32_t nLow,
                             int32_t nHigh, uint32_t uLowBit, uint32_t uHighBit, int32_t nMinValue, int32_t nMaxValue,
                             int32_t nFactor, uint32_t uFlags) noexcept {
    const Ask ask{nLow, nHigh, uLowBit, uHighBit, nMinValue, nMaxValue, nFactor, uFlags};
    if (!pLUT || uLUTLength == 0 || !ask.isSound()) return -13;  // Invalid parameter passed
    const Table<RGBQUAD> table(pLUT, uLUTLength, ask.isSigned());
    const Span span(ask, table, 0);
    const Samples start = samplesOf(crStart), end = samplesOf(crEnd);
    if (!ask.isInside()) {
        drawOutside(table, ask, span, start, end, span.nLow < span.nHigh - 1, ask.isExtended());
        return 1;
    }
    drawCurve(table, ask, span, start, end);
    if (!ask.isExtended()) return 1;
    table.fill(table.nFirst, span.nFrom - 1, table[span.nFrom]);
    if (span.nHigh < table.nLast) table.fill(span.nTo + 1, table.nLast, table[span.nTo]);
    return 1;
}

int32_t R_WindowLevelFillLUT2(RGBQUAD* pLUT, uint32_t uLUTLength, COLORREF crStart, COLORREF crEnd, int32_t nLow,
                              int32_t nHigh, uint32_t uLowBit, uint32_t uHighBit, int32_t nMinValue, int32_t nMaxValue,
                              int32_t nFactor, uint32_t uFlags) noexcept {
    const Ask ask{nLow, nHigh, uLowBit, uHighBit, nMinValue, nMaxValue, nFactor, uFlags};
    if (!pLUT || uLUTLength == 0 || !ask.isSound() || !ask.isInRange(uLUTLength)) return -13;
    const Table<RGBQUAD> table(pLUT, uLUTLength, ask.isSigned());
    const Span span(ask, table, uLowBit);
    const Samples start = samplesOf(crStart), end = samplesOf(crEnd);
    if (ask.isInside())
        drawCurve(table, ask, span, start, end);
    else
        drawOutside(table, ask, span, start, end, span.nLow < span.nHigh, false);
    return 1;
}

int32_t R_WindowLevelFillLUTExt(RGBQUAD64* pLUT, uint32_t uLUTLength, uint64_t uStart, uint64_t uEnd, int32_t nLow,
                                int32_t nHigh, uint32_t uLowBit, uint32_t uHighBit, int32_t nMinValue,
                                int32_t nMaxValue, int32_t nFactor, uint32_t uFlags) noexcept {
    const Ask ask{nLow, nHigh, uLowBit, uHighBit, nMinValue, nMaxValue, nFactor, uFlags};
    if (!pLUT || uLUTLength == 0 || !ask.isSound() || !ask.isInRange(uLUTLength)) return -13;
    const Table<RGBQUAD64> table(pLUT, uLUTLength, ask.isSigned());
    const Span span(ask, table, uLowBit);
    const Samples start = samplesOf(uStart), end = samplesOf(uEnd);
    if (!ask.isInside()) {
        drawOutside(table, ask, span, start, end, span.nLow < span.nHigh - 1, ask.isExtended());
        return 1;
    }
    drawCurve(table, ask, span, start, end);
    if (!ask.isExtended()) return 1;
    table.fill(table.nFirst, span.nFrom - 1, {});
    if (span.nHigh < table.nLast) table.fill(span.nTo + 1, table.nLast, {65535, 65535, 65535, 65535});
    return 1;
}

int32_t R_WindowLevelFillLUTExt2(RGBQUAD64* pLUT, uint32_t uLUTLength, const uint32_t* pStart, const uint32_t* pEnd,
                                 int32_t nLow, int32_t nHigh, uint32_t uLowBit, uint32_t uHighBit, int32_t nMinValue,
                                 int32_t nMaxValue, int32_t nFactor, uint32_t uFlags) noexcept {
    if (!pStart || !pEnd) return -13;  // Invalid parameter passed
    const auto color = [](const uint32_t* p) { return uint64_t(p[1]) << 32 | p[0]; };
    return R_WindowLevelFillLUTExt(pLUT, uLUTLength, color(pStart), color(pEnd), nLow, nHigh, uLowBit, uHighBit,
                                   nMinValue, nMaxValue, nFactor, uFlags);
}

}  // extern "C"
