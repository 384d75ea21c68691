// Deep gray to bytes, as painting shows it: the bits of the window, through the bitmap's table.
#pragma once

#include "internal/convert_.h"
#include "internal/rvclasses_.h"

namespace rv {

// A table of levels whose entries lie on a straight line between a lowest and a highest one: with t = k - nCenter, cut
// to 16 bits, entry k is t * fSlope + fOffset, rounded to an integer, + 128, kept from uLow to uHigh, its bits turned
// by uFlip.
struct GrayLine {
    int32_t nCenter = 0;
    float fSlope = 0, fOffset = 0;
    uint8_t uLow = 0, uHigh = 0, uFlip = 0;
};

// Finds the line of a table of up to 65536 entries, and tries it on each of them. False if there is none: then, or
// without vectors, rows look their levels up.
bool findGrayLine(const uint8_t* pTable, uint32_t nCount, GrayLine& line) noexcept;

// Entry (sample >> nShift) & uMask of the line for n samples of 16 bits; nShift is at most 15. Both forms give the same
// bytes; the fast one is null where the processor hasn't got it.
using GrayLineRow = void (*)(const uint8_t* pSrc, uint8_t* pDst, size_t n, uint32_t nShift, uint32_t uMask,
                             const GrayLine& line) noexcept;
void plainGrayLine(const uint8_t* pSrc, uint8_t* pDst, size_t n, uint32_t nShift, uint32_t uMask,
                   const GrayLine& line) noexcept;
GrayLineRow fastGrayLine() noexcept;

// pLUT where painting goes by it, else null.
const RGBQUAD* paintLUT(const BITMAPRECORD& format, uint32_t uInfoFlags) noexcept;
// The bits LowBit to HighBit of samples, which a table takes whole; without one their top eight show.
KeptBits paintLevels(const BITMAPRECORD& format, bool bTable) noexcept;

// Rows of gray samples of 12 and 16 bits to bytes.
class GrayBytes {
    KeptBits m_levels;
    bool m_b12 = false;
    Buffer<uint8_t> m_table;  // where one is in force
    uint32_t m_nUntilLine = 0;
    bool m_bLine = false;
    GrayLine m_line;

    void row16(const uint8_t* pSrc, uint8_t* pDst, size_t n) noexcept;
    void tryLine(size_t n) noexcept;

public:
    // place: where the bytes' top bits go, as told at RSR_GRAY_RANGE; of 8 bits, they stay. False for no memory.
    bool start(const BITMAPRECORD& format, const RGBQUAD* pLUT, KeptBits place) noexcept;
    void row(const uint8_t* pSrc, uint8_t* pDst, size_t n) noexcept;
};

}  // namespace rv
