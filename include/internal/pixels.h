// The pixel vocabulary: packed pixels of every depth, row arithmetic, and the one switch on depth.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace rv {

constexpr bool isKnownDepth(int32_t nBits) noexcept {
    return (nBits >= 1 && nBits <= 8) || nBits == 12 || nBits == 16 || nBits == 24 || nBits == 32 || nBits == 48 ||
           nBits == 64;
}

// Bytes of a packed row without padding.
constexpr uint64_t packedBytes(uint64_t nPixels, uint32_t nBits) noexcept { return (nPixels * nBits + 7) / 8; }

// The byte that holds a column; fractions of a byte are dropped.
constexpr int64_t columnByte(int64_t nCol, int32_t nBits) noexcept {
    return nCol >= 0 ? nCol * nBits / 8 : -((-nCol * nBits + 7) / 8);
}

// Where a colour becomes grey, at 8 or at 16 bits a sample.
constexpr uint32_t grayOf(uint32_t nBlue, uint32_t nGreen, uint32_t nRed) noexcept {
    return (nBlue + 5 * nGreen + 2 * (nRed + 2)) >> 3;
}

// The low 5 or 6 bits as a byte: the top bits again below.
constexpr uint8_t expand5(uint32_t v) noexcept { return uint8_t((v & 31) << 3 | (v & 31) >> 2); }
constexpr uint8_t expand6(uint32_t v) noexcept { return uint8_t((v & 63) << 2 | (v & 63) >> 4); }

template <class T>
T loadLittle(const uint8_t* p) noexcept {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class T>
void storeLittle(uint8_t* p, T v) noexcept {
    std::memcpy(p, &v, sizeof v);
}
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "rows hold little-endian samples");

// One packed pixel. Depths of 1 to 7 lie in a bit stream, most significant bit first, and may straddle two bytes;
// 12 bits lie two to three bytes, low part first. A write touches the pixel's own bits only.
template <int Bits>
struct Pixel {
    using Value = std::conditional_t<(Bits > 32), uint64_t, uint32_t>;
    static constexpr Value kMax = Bits == 64 ? ~Value(0) : Value((uint64_t(1) << (Bits & 63)) - 1);

    static Value get(const uint8_t* row, size_t x) noexcept {
        if constexpr (Bits < 8) {
            const size_t bit = x * Bits;
            const uint8_t* p = row + bit / 8;
            const int used = int(bit % 8) + Bits;
            if (8 % Bits == 0 || used <= 8) return Value(p[0] >> (8 - used)) & kMax;
            return Value((p[0] << 8 | p[1]) >> (16 - used)) & kMax;
        } else if constexpr (Bits == 12) {
            const uint8_t* p = row + x / 2 * 3;
            return x & 1 ? Value(p[1] >> 4 | p[2] << 4) : Value(p[0] | (p[1] & 15) << 8);
        } else {
            Value v = 0;
            std::memcpy(&v, row + x * (Bits / 8), Bits / 8);
            return v;
        }
    }

    static void put(uint8_t* row, size_t x, Value v) noexcept {
        if constexpr (Bits < 8) {
            const size_t bit = x * Bits;
            uint8_t* p = row + bit / 8;
            const int used = int(bit % 8) + Bits;
            v &= kMax;
            if (8 % Bits == 0 || used <= 8) {
                p[0] = uint8_t((p[0] & ~(kMax << (8 - used))) | v << (8 - used));
            } else {
                const Value both = (Value(p[0] << 8 | p[1]) & ~(kMax << (16 - used))) | v << (16 - used);
                p[0] = uint8_t(both >> 8);
                p[1] = uint8_t(both);
            }
        } else if constexpr (Bits == 12) {
            uint8_t* p = row + x / 2 * 3;
            if (x & 1) {
                p[1] = uint8_t((p[1] & 0x0F) | (v & 15) << 4);
                p[2] = uint8_t(v >> 4);
            } else {
                p[0] = uint8_t(v);
                p[1] = uint8_t((p[1] & 0xF0) | (v >> 8 & 15));
            }
        } else {
            std::memcpy(row + x * (Bits / 8), &v, Bits / 8);
        }
    }
};

template <int Bits>
using Depth = std::integral_constant<int, Bits>;

// Calls f(Depth<Bits>{}) for a known depth: the one place where a run-time depth becomes a compile-time one.
template <class F>
decltype(auto) visitDepth(int32_t nBits, F&& f) {
    switch (nBits) {
        case 1:
            return f(Depth<1>{});
        case 2:
            return f(Depth<2>{});
        case 3:
            return f(Depth<3>{});
        case 4:
            return f(Depth<4>{});
        case 5:
            return f(Depth<5>{});
        case 6:
            return f(Depth<6>{});
        case 7:
            return f(Depth<7>{});
        case 12:
            return f(Depth<12>{});
        case 16:
            return f(Depth<16>{});
        case 24:
            return f(Depth<24>{});
        case 32:
            return f(Depth<32>{});
        case 48:
            return f(Depth<48>{});
        case 64:
            return f(Depth<64>{});
        default:
            return f(Depth<8>{});
    }
}

// Copies count bits of a stream with the most significant bit first; other bits of the first and last byte stay.
// The stretches do not overlap.
void copyBits(uint8_t* dst, uint64_t dstBit, const uint8_t* src, uint64_t srcBit, uint64_t count) noexcept;

// Copies count pixels of any depth from column srcCol to column dstCol; bits outside stay.
void copyPixels(int32_t nBits, uint8_t* dst, uint64_t dstCol, const uint8_t* src, uint64_t srcCol,
                uint64_t count) noexcept;

}  // namespace rv
