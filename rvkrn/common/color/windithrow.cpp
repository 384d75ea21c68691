// Rows of a dither on their way in and out: any format to pixels of four bytes, and indices to packed bits.
#include <cstring>

#include "internal/convert_.h"
#include "internal/dither_.h"
#include "internal/opening.h"
#include "internal/pixels.h"

namespace rv {
namespace {

constexpr uint32_t gray(uint32_t v) noexcept { return v * 0x010101; }
// The high bytes.
constexpr uint32_t widePixelOf(const RGBQUAD64& q) noexcept {
    return q.rgbBlue >> 8 | (q.rgbGreen & 0xFF00u) | (q.rgbRed & 0xFF00u) << 8;
}

template <int Bits, class Color>
void readLevels(const DITHERDATA& data, const uint8_t* src, uint8_t* dst, size_t n, Color color) noexcept {
    for (size_t x = 0; x < n; ++x)
        storeLittle(dst + x * 4,
                    color(uint32_t(uint64_t(Pixel<Bits>::get(src, x)) >> data.nGrayShift) & data.uGrayMask));
}

template <int Bits>
void readGray(const DITHERDATA& data, const BITMAPRECORD& bm, const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    if (hasWideFields(bm) && bm.pLUT16)
        readLevels<Bits>(data, src, dst, n,
                         [&](uint32_t v) { return v < bm.LUT16Length ? widePixelOf(bm.pLUT16[v]) : 0u; });
    else if (bm.pLUT)
        readLevels<Bits>(data, src, dst, n, [&](uint32_t v) { return v < bm.LUTLength ? pixelOf(bm.pLUT[v]) : 0u; });
    else if (data.nGrayBits < 8)
        readLevels<Bits>(data, src, dst, n, [&](uint32_t v) { return gray(v * 255 / data.uGrayMask); });
    else
        readLevels<Bits>(data, src, dst, n, [](uint32_t v) { return gray(v & 255); });
}

// Eight indices are a whole number of bytes.
template <int Bits>
void packRow(const uint8_t* pIndices, uint8_t* pRow, size_t n) noexcept {
    const size_t nWhole = n - n % 8;
    for (size_t x = 0; x < nWhole; x += 8, pRow += Bits) {
        uint64_t v = loadLittle<uint64_t>(pIndices + x) & Pixel<Bits>::kMax * 0x0101010101010101;
        if constexpr (Bits == 1) {
            *pRow = uint8_t(v * 0x8040201008040201 >> 56);  // each byte's bit to a place of its own in the top byte
        } else {
            // Neighbours join to groups of two, four and eight; the first one is the low byte and becomes the top bits.
            v = (v & 0x00FF00FF00FF00FF) << Bits | (v & 0xFF00FF00FF00FF00) >> 8;
            v = (v & 0x0000FFFF0000FFFF) << 2 * Bits | (v & 0xFFFF0000FFFF0000) >> 16;
            v = (v & 0x00000000FFFFFFFF) << 4 * Bits | v >> 32;
            v = __builtin_bswap64(v << (64 - 8 * Bits));
            std::memcpy(pRow, &v, Bits);
        }
    }
    for (size_t x = 0; x < n - nWhole; ++x) Pixel<Bits>::put(pRow, x, pIndices[nWhole + x]);
}

}  // namespace

const uint8_t* readDitherRow(DITHERDATA& data, const BITMAPRECORD& bm, uint8_t* pRow, size_t n) noexcept {
    const int32_t nBits = data.nBitsPerPixelSrc;
    auto* pPixels = reinterpret_cast<uint8_t*>(data.Pixels.get());
    if (nBits == 12 || (bm.Order == ORDER_GRAY && (nBits == 16 || nBits == 32))) {
        if (nBits == 12) readGray<12>(data, bm, pRow, pPixels, n);
        if (nBits == 16) readGray<16>(data, bm, pRow, pPixels, n);
        if (nBits == 32) readGray<32>(data, bm, pRow, pPixels, n);
        return pPixels;
    }
    if (bm.Order == ORDER_ROMM && (nBits == 24 || nBits == 48))
        R_ConvertBuffer(pRow, int32_t(n), nBits, nBits, ORDER_ROMM, ORDER_BGR, nullptr, nullptr);
    const bool bKeeps = bm.Order == ORDER_RGB || (bm.Order == ORDER_BGR565 && nBits == 16);
    const int32_t nOrder = bKeeps ? bm.Order : int32_t(ORDER_BGR);
    if (nBits == 32 && nOrder == ORDER_BGR) return pRow;
    ConvertArgs args{int32_t(n), nBits, 32, nOrder, ORDER_BGR, data.SrcPalette};
    convertRow(args, pPixels, pRow);
    return pPixels;
}

void packIndices(int32_t nBits, const uint8_t* pIndices, uint8_t* pRow, size_t n) noexcept {
    visitDepth(nBits, [&](auto bits) {
        if constexpr (bits < 8)
            packRow<bits>(pIndices, pRow, n);
        else
            std::memcpy(pRow, pIndices, n);
    });
}

}  // namespace rv
