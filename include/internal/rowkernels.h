// Row kernels of the hot pairs of formats: pointers, a count of pixels, and nothing chosen per pixel.
//
// Every kernel takes rows of any alignment that start at a byte, reads nothing outside the n source pixels and writes
// nothing outside the n destination pixels. The two rows either do not overlap at all, or start at the same byte; then
// the buffer holds the larger row. n may be 0.
//
// The plain table is the fallback, the tail of the vector forms and the reference of the tests; all tables give the
// same bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ravokit/types.h"

namespace rv {

// Indices of the tables below. ByteOrder is that of the three- or four-byte pixel of the pair: blue or red first.
// Reorder tells whether blue and red change places between the two.
enum ByteOrder { kBlueFirst = 0, kRedFirst = 1 };
enum Reorder { kKeepOrder = 0, kSwapOrder = 1 };
// Colours in 16 bits: 5-5-5 with red or blue in the low bits (ORDER_RGB, ORDER_BGR), and 5-6-5 with blue there.
enum Packed16 { kRgb555 = 0, kBgr555 = 1, kBgr565 = 2 };

using RowKernel = void (*)(const uint8_t* src, uint8_t* dst, size_t n) noexcept;

// Bytes change places or width.
struct ShuffleKernels {
    RowKernel swap24;           // first and third byte
    RowKernel swap32;           // the fourth stays
    RowKernel widen24To32[2];   // [Reorder], fourth byte 255
    RowKernel narrow32To24[2];  // [Reorder]
    RowKernel narrow48To24[2];  // [Reorder], the high byte of each sample
    RowKernel narrow64To32[2];  // [Reorder]
    RowKernel widen24To48[2];   // [Reorder], each sample x 257
};

// Colour to grey by (b + 5g + 2(r + 2)) >> 3, and 16-bit grey to bytes. [ByteOrder] is that of the source.
struct GrayKernels {
    using Levels = void (*)(const uint8_t* src, uint8_t* dst, size_t n, uint32_t nShift, uint32_t uMask) noexcept;
    using Lookup = void (*)(const uint8_t* src, uint8_t* dst, size_t n, uint32_t nShift, uint32_t uMask,
                            const uint8_t* table) noexcept;

    RowKernel gray8From24[2], gray8From32[2];
    RowKernel gray12From24[2];                   // g x 4095 / 255; at an odd n the last high nibble stays
    RowKernel gray12From32[2];                   // g << 4, likewise
    RowKernel gray16From24[2], gray16From32[2];  // g x 257, and g << 8
    RowKernel gray16To8;                         // the high byte
    Levels gray16To8Cut;                         // (s >> nShift) & uMask, cut to a byte
    Levels gray16To8Scaled;                      // v x 255 / uMask, truncated; uMask is 2^k - 1, k 1 to 8
    Lookup gray16To8Table;                       // table[v], with 2^k entries for uMask = 2^k - 1
};

// Palette indices to colours. The four bytes of an entry are those of the pixel, whatever order they stand for; 24 bits
// take the first three. Of two colours given as words the low byte is the first one.
struct PaletteKernels {
    using Indexed = void (*)(const uint8_t* src, uint8_t* dst, size_t n, const RGBQUAD* table) noexcept;
    using TwoColors = void (*)(const uint8_t* src, uint8_t* dst, size_t n, uint32_t uColor0, uint32_t uColor1) noexcept;
    using Bytes = void (*)(const uint8_t* src, uint8_t* dst, size_t n, const uint8_t* table) noexcept;

    Indexed pal8To24, pal8To32;             // 256 entries
    TwoColors bit1To8, bit1To24, bit1To32;  // the most significant bit is the first pixel
    Bytes nibble4To8;                       // 16 entries; the high nibble is the first pixel
};

// Colours in 16 bits. A five-bit x stands for (x << 3) | (x >> 2), a six-bit one for (x << 2) | (x >> 4).
struct Packed16Kernels {
    RowKernel to24[3][2];    // [Packed16][ByteOrder]
    RowKernel to32[3][2];    // fourth byte 255
    RowKernel from24[3][2];  // top bits of each sample; bit 15 of 5-5-5 is clear
    RowKernel from32[3][2];  // bit 15 of 5-5-5 is set where the fourth byte is 128 or more
};

// Alpha multiplied in and taken out, as told at R_ConvertToPremultipliedAlpha.
struct AlphaKernels {
    RowKernel premultiply32, premultiply64;
    RowKernel unpremultiply32, unpremultiply64;
};

struct RowKernels {
    const ShuffleKernels& shuffle;
    const GrayKernels& gray;
    const PaletteKernels& palette;
    const Packed16Kernels& packed16;
    const AlphaKernels& alpha;
};

extern const RowKernels kPlainRowKernels;

// The fastest table of this processor.
const RowKernels& bestRowKernels() noexcept;

}  // namespace rv
