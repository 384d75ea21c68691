// Small pictures of few colours in patches, of every depth and order, with what else decides a pixel's colour.
#pragma once

#include "internal/bitmap_.h"
#include "internal/region_.h"
#include "support/bitmaps.h"

namespace test {

inline constexpr Format kFormats[] = {
    {1, ORDER_RGB},  {2, ORDER_RGB},  {3, ORDER_RGB},   {4, ORDER_RGB},  {5, ORDER_RGB},  {6, ORDER_RGB},
    {7, ORDER_RGB},  {8, ORDER_RGB},  {12, ORDER_GRAY}, {16, ORDER_RGB}, {16, ORDER_BGR}, {16, ORDER_GRAY},
    {24, ORDER_RGB}, {24, ORDER_BGR}, {24, ORDER_ROMM}, {32, ORDER_RGB}, {32, ORDER_BGR}, {32, ORDER_GRAY},
    {48, ORDER_RGB}, {48, ORDER_BGR}, {48, ORDER_ROMM}, {64, ORDER_RGB}, {64, ORDER_BGR}};

// A byte for each pixel, 1 where it is in, row by row.
using Selection = std::vector<uint8_t>;

class Picture {
    Bitmap m_bm;
    Bytes m_rows;

public:
    std::mt19937 random;
    uint32_t roll(uint32_t n) { return uint32_t(random() % n); }

    Picture(const Format& f, uint32_t seed, Holding holding = Holding::conventional)
        : m_bm(f.nBits, int32_t(1 + seed * 7919 % 150), int32_t(1 + seed * 31 % 9), holding, f.nOrder), random(seed) {
        BITMAPRECORD& bm = m_bm.record;
        const bool bGray = f.nOrder == ORDER_GRAY;
        for (uint32_t i = 0; bm.pPalette && i < bm.nColors; ++i) {
            const uint32_t n = roll(5);
            bm.pPalette[i] = {uint8_t(n * 40), uint8_t(roll(2) ? n * 40 : roll(4) * 20), uint8_t(n * 50), 0};
        }
        if (roll(3) == 0) bm.Flags |= BMF_SIGNED;
        if (bGray && roll(2))
            bm.PhysicalHighBit = int32_t(roll(uint32_t(f.nBits))), bm.PhysicalLowBit = bm.PhysicalHighBit / 4;
        if (bGray && f.nBits < 32 && roll(3) == 0) {
            bm.LUTLength = 1u << f.nBits;
            bm.pLUT = rv::newBlock<RGBQUAD>(bm.LUTLength);
            for (uint32_t i = 0; i < bm.LUTLength; ++i)
                bm.pLUT[i] = {uint8_t(i * 5), uint8_t(i * 5 + roll(3)), uint8_t(i * 5), 0};
            if (roll(3)) bm.Flags |= BMF_USE_LUT;
        }
        m_rows.assign(size_t(bm.BytesPerLine) * unsigned(bm.Height), 0);
        uint64_t values[4];
        for (uint64_t& v : values) v = random() | uint64_t(random()) << 32;
        if (roll(2)) values[1] = values[0] + 0x0101'0100'0103ull;  // near the first
        for (int32_t y = 0; y < bm.Height; ++y)
            for (int32_t x = 0; x < bm.Width; ++x)
                put(y, x, roll(3) && x ? at(y, x - 1) : roll(2) && y ? at(y - 1, x) : values[roll(4)]);
        setContents(bm, m_rows);
    }
    BITMAPRECORD& bm() { return m_bm.record; }
    bool isHeld() const { return m_bm.nStatus == 1; }
    uint8_t* row(int32_t y) { return &m_rows[size_t(y) * bm().BytesPerLine]; }
    uint64_t at(int32_t y, int32_t x) { return pixelAt(row(y), bm().BitsPerPixel, size_t(x)); }
    void put(int32_t y, int32_t x, uint64_t v) {
        rv::visitDepth(bm().BitsPerPixel, [&](auto bits) {
            using P = rv::Pixel<bits>;
            P::put(row(y), size_t(x), typename P::Value(v & P::kMax));
        });
    }
    int32_t randomRow() { return int32_t(roll(uint32_t(bm().Height))); }
    int32_t randomCol() { return int32_t(roll(uint32_t(bm().Width))); }

    // The region that the bitmap has.
    Selection selected() {
        Selection out;
        const RavoRgn* pRgn = bm().pRgnInfo;
        if (!pRgn || !rv::isWellFormed(*pRgn)) return out;
        for (int32_t y = 0; y < bm().Height; ++y)
            for (int32_t x = 0; x < bm().Width; ++x) out.push_back(uint8_t(R_IsPtInRavoRgn(pRgn, y, x)));
        return out;
    }
};

// Counts what is neither empty nor full, so that a sweep can tell that it had something to test.
inline int isMixed(const Selection& plane) {
    return std::count(plane.begin(), plane.end(), 1) && std::count(plane.begin(), plane.end(), 0);
}

}  // namespace test
