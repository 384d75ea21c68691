// Window level: which bits of a deep grey sample count, the table that gives their levels colours, and the curves that
// fill such tables. Pixels never change: the fields of the record do, and conversions and painting go by them.
//
// To show the levels 1000 to 1400 of a bitmap of 16 bits from black to white:
//
//     RGBQUAD* pTable = malloc(65536 * sizeof *pTable);
//     R_WindowLevelFillLUT(pTable, 65536, 0x000000, 0xFFFFFF, 1000, 1400, 0, 15, 0, 65535, 0,
//                          FILLLUT_INSIDE | FILLLUT_LINEAR);
//     R_WindowLevel(&bm, 0, 15, pTable, 65536, 1);
#pragma once

#include "bitmap.h"

RV_C_BEGIN

// ---- bits and tables of a bitmap ---------------------------------------------------------------------------------

/// Chooses the bits nLowBit to nHighBit of the samples, and gives them a table of colours, of which a copy is kept; a
/// null one, or one without entries, leaves the bitmap without. A negative nLowBit is 0, a negative nHighBit the top
/// bit. nMode 1 puts bits and table in force, 0 only records them.
///
/// LowBit and HighBit are set; in mode 1 the physical bits too, and if that changes them, MinVal becomes 0 and MaxVal
/// 2^bits - 1, cut to 32 bits. pLUT and, in the current form of the record, pLUT16 (by R_DuplicateLUT) hold the table.
/// BMF_USE_LUT tells the mode, also where there is no table; BMF_NONLINEAR_LUT is set in mode 1 if R_IsNonLinearLUT
/// finds the table to be so, else cleared.
///
/// A bitmap of 8 bits gets a palette of 256 entries in place of the table, and BMF_USE_LUT is cleared. Level k is the
/// top eight, or fewer, of the chosen bits of an index: the index takes entry k, black where the table ends before it;
/// without a table it takes the grey k, which is not scaled.
///
/// pLUT may be the bitmap's own, which then stays, or lie in what the bitmap has.
/// Returns 1, or: -2 null, -789 unknown record size, -13 low bit above high bit, entries with a null table, another
/// mode; -1 no memory, when the bits have changed and the bitmap has no tables, but for its own that was given.
RV_API int32_t R_WindowLevel(BITMAPRECORD* pBitmap, int32_t nLowBit, int32_t nHighBit, const RGBQUAD* pLUT,
                             uint32_t uLUTLength, int32_t nMode) RV_NOEXCEPT;
/// The same with a table of 16-bit samples, for bitmaps of 8 bits and ORDER_GRAY ones; others give -13, as the
/// arguments do. pLUT holds the high bytes. The palette of 8 bits is (v + 127) >> 8 of the samples, at most 255. In the
/// older form of the record only high bytes are kept: it is R_WindowLevel with them.
RV_API int32_t R_WindowLevelExt(BITMAPRECORD* pBitmap, int32_t nLowBit, int32_t nHighBit, const RGBQUAD64* pLUT,
                                uint32_t uLUTLength, int32_t nMode) RV_NOEXCEPT;
/// R_WindowLevelExt by another name.
RV_API int32_t R_Dis_WindowLevelExt(BITMAPRECORD* pBitmap, int32_t nLowBit, int32_t nHighBit, const RGBQUAD64* pLUT,
                                    uint32_t uLUTLength, int32_t nMode) RV_NOEXCEPT;

/// 1 if blue, green or red both rises and falls along the table, else 0; 0 also for null. If bSigned is not 0, the
/// entries of negative samples stand in the upper half: both halves are walked, and the step from one to the other
/// doesn't count.
RV_API int32_t R_IsNonLinearLUT(int32_t bSigned, const RGBQUAD* pLUT, uint32_t uLUTLength) RV_NOEXCEPT;
RV_API int32_t R_IsNonLinearLUT16(int32_t bSigned, const RGBQUAD64* pLUT, uint32_t uLUTLength) RV_NOEXCEPT;

// ---- filling tables ----------------------------------------------------------------------------------------------

/// uFlags of the calls that fill tables: one of the first two and one of the curves; bits above these aren't consulted.
enum {
    FILLLUT_INSIDE = 1,   ///< the curve between both colours runs across the window
    FILLLUT_OUTSIDE = 2,  ///< the start colour below the window, the end colour above, a ramp inside
    FILLLUT_LINEAR = 16,
    FILLLUT_EXP = 32,
    FILLLUT_LOG = 48,  ///< nFactor must not be negative
    FILLLUT_SIGMOID = 64,
    FILLLUT_SIGNED = 256,     ///< signed samples: entry i of a negative one stands at i + the length
    FILLLUT_NO_EXTEND = 4096  ///< INSIDE writes nothing outside of the window; OUTSIDE takes the colours for its ramp
};

/// Fills a table of window levels. It spans the samples 0 to uLUTLength - 1, signed ones -(uLUTLength / 2) to
/// (uLUTLength - 1) / 2. The window is nLow to nHigh; L and H are both, clamped to nMinValue and nMaxValue, then to the
/// span. A curve goes by nLow and nHigh, and is written from L to H. Colours are plain ones; the fourth byte is 0.
///
/// FILLLUT_INSIDE: the curve from crStart to crEnd. Unless FILLLUT_NO_EXTEND is set, entries below take that of L, and
/// those above, if nHigh itself ends before the span does, that of H.
/// FILLLUT_OUTSIDE: crStart below L, crEnd above H. If nLow is less than nHigh - 1, a curve from black to white, or
/// with FILLLUT_NO_EXTEND from crStart to crEnd, runs from L to H; else these entries stay as they are.
///
/// For a sample i, with n = nHigh - nLow, and from s to e in each channel, a curve is
/// - linear: s + (i - nLow) x (e - s) / n, truncated; so are all others where nFactor is 0;
/// - exponential, x = nFactor / 10: s + trunc((exp((i - nLow) x / n) - 1) (e - s) / (exp(x) - 1) + 0.000005);
/// - logarithmic: s + trunc(log((i - nLow) x / n + 1) (e - s) / log(x + 1) + 0.000005);
/// - sigmoid, c = (nLow + nHigh) / 2, k = nFactor / 5, g(v) = 1 / (exp((v - c) k / n) + 1):
///   s + trunc((g(i) - g(nLow)) (e - s) / (g(nHigh) - g(nLow)) + 0.000005).
/// The value is clamped to the range of a sample, which only a sole entry outside of the window leaves, and factors in
/// the thousands. Where nHigh is nLow, or a quotient is not a number, s stands.
///
/// uLowBit and uHighBit are checked only. Returns 1, or -13: a null table, one without entries, flags other than those
/// above, a negative factor of FILLLUT_LOG, uLowBit above uHighBit, nMinValue above nMaxValue, nLow above nHigh.
RV_API int32_t R_WindowLevelFillLUT(RGBQUAD* pLUT, uint32_t uLUTLength, COLORREF crStart, COLORREF crEnd, int32_t nLow,
                                    int32_t nHigh, uint32_t uLowBit, uint32_t uHighBit, int32_t nMinValue,
                                    int32_t nMaxValue, int32_t nFactor, uint32_t uFlags) RV_NOEXCEPT;
/// The same for samples whose bits start at uLowBit: nLow, nHigh, L and H are shifted right by it, with their sign.
/// FILLLUT_INSIDE is the curve and nothing else; FILLLUT_OUTSIDE draws its curve from crStart to crEnd if the shifted
/// nLow is less than the shifted nHigh; FILLLUT_NO_EXTEND is not consulted.
/// -13 also where the window, clamped to nMinValue and nMaxValue, but neither to the span nor shifted yet, leaves 16
/// bits, signed or not, or ends at uLUTLength or behind; or starts below 0, with FILLLUT_SIGNED, and is longer than the
/// table.
RV_API int32_t R_WindowLevelFillLUT2(RGBQUAD* pLUT, uint32_t uLUTLength, COLORREF crStart, COLORREF crEnd, int32_t nLow,
                                     int32_t nHigh, uint32_t uLowBit, uint32_t uHighBit, int32_t nMinValue,
                                     int32_t nMaxValue, int32_t nFactor, uint32_t uFlags) RV_NOEXCEPT;
/// Fills a table of 16-bit samples, with the checks and shifts of R_WindowLevelFillLUT2. Colours are four samples, that
/// of rgbBlue in the lowest bits; all four go by the curve.
///
/// FILLLUT_INSIDE: the curve from uStart to uEnd. Unless FILLLUT_NO_EXTEND is set, the samples of entries below L are 0
/// and those above H, if the shifted nHigh ends before the span does, 65535, whatever the colours are.
/// FILLLUT_OUTSIDE: as R_WindowLevelFillLUT by the shifted window; its ramp of its own is 0 to 65535.
RV_API int32_t R_WindowLevelFillLUTExt(RGBQUAD64* pLUT, uint32_t uLUTLength, uint64_t uStart, uint64_t uEnd,
                                       int32_t nLow, int32_t nHigh, uint32_t uLowBit, uint32_t uHighBit,
                                       int32_t nMinValue, int32_t nMaxValue, int32_t nFactor,
                                       uint32_t uFlags) RV_NOEXCEPT;
/// The same, with each colour as its two words, the lower one first. -13 also for a null colour.
RV_API int32_t R_WindowLevelFillLUTExt2(RGBQUAD64* pLUT, uint32_t uLUTLength, const uint32_t* pStart,
                                        const uint32_t* pEnd, int32_t nLow, int32_t nHigh, uint32_t uLowBit,
                                        uint32_t uHighBit, int32_t nMinValue, int32_t nMaxValue, int32_t nFactor,
                                        uint32_t uFlags) RV_NOEXCEPT;

RV_C_END
