// Row kernels from palette indices of 1, 4 and 8 bits.
#include "internal/pixels.h"
#include "internal/rowblocks.h"

namespace rv {

namespace {

// --- 8 bits: bound by the look-ups, so plain loops are all there is --------------------------------------------------

inline uint32_t colorAt(const RGBQUAD* table, size_t nIndex) noexcept {
    return loadLittle<uint32_t>(reinterpret_cast<const uint8_t*>(table + nIndex));
}

inline void store3(uint8_t* d, uint32_t v) noexcept {
    storeLittle(d, uint16_t(v));
    d[2] = uint8_t(v >> 16);
}

// Sixteen pixels at a time: all indices are read first, then each colour is stored with four bytes whose last one the
// next pixel overwrites. Only the last pixel of a block is stored as three.
void pal8To24(const uint8_t* src, uint8_t* dst, size_t n, const RGBQUAD* table) noexcept {
    constexpr size_t kBlock = 16;
    const auto block = [table](const uint8_t* s, uint8_t* d) {
        uint64_t index[2] = {loadLittle<uint64_t>(s), loadLittle<uint64_t>(s + 8)};
        for (size_t i = 0; i < kBlock - 1; ++i) {
            storeLittle(d + i * 3, colorAt(table, index[i / 8] & 255));
            index[i / 8] >>= 8;
        }
        store3(d + (kBlock - 1) * 3, colorAt(table, index[1] & 255));
    };
    const auto rest = [table](const uint8_t* s, uint8_t* d, size_t nRest) {
        eachPixel<1, 3>(s, d, nRest, [table](const uint8_t* p, uint8_t* q) { store3(q, colorAt(table, *p)); });
    };
    const size_t nBlocks = n / kBlock;
    rest(src + nBlocks * kBlock, dst + nBlocks * kBlock * 3, n % kBlock);
    eachPixel<kBlock, kBlock * 3>(src, dst, nBlocks, block);
}

void pal8To32(const uint8_t* src, uint8_t* dst, size_t n, const RGBQUAD* table) noexcept {
    constexpr size_t kBlock = 8;
    const auto block = [table](const uint8_t* s, uint8_t* d) {
        uint64_t index = loadLittle<uint64_t>(s);
        for (size_t i = 0; i < kBlock; ++i, index >>= 8) storeLittle(d + i * 4, colorAt(table, index & 255));
    };
    const size_t nBlocks = n / kBlock;
    eachPixel<1, 4>(src + nBlocks * kBlock, dst + nBlocks * kBlock * 4, n % kBlock,
                    [table](const uint8_t* s, uint8_t* d) { storeLittle(d, colorAt(table, *s)); });
    eachPixel<kBlock, kBlock * 4>(src, dst, nBlocks, block);
}

// --- 1 and 4 bits, plain forms ---------------------------------------------------------------------------------------

template <size_t DstBytes>
void bit1(const uint8_t* src, uint8_t* dst, size_t n, uint32_t uColor0, uint32_t uColor1) noexcept {
    for (size_t i = n; i-- > 0;) {
        const uint32_t v = Pixel<1>::get(src, i) ? uColor1 : uColor0;
        uint8_t* d = dst + i * DstBytes;
        if constexpr (DstBytes == 1) *d = uint8_t(v);
        if constexpr (DstBytes == 3) store3(d, v);
        if constexpr (DstBytes == 4) storeLittle(d, v);
    }
}

void nibble4To8(const uint8_t* src, uint8_t* dst, size_t n, const uint8_t* table) noexcept {
    for (size_t i = n; i-- > 0;) dst[i] = table[Pixel<4>::get(src, i)];
}

// --- AVX2 ------------------------------------------------------------------------------------------------------------
#ifdef RV_X86
using namespace avx2;

RV_AVX2_INLINE __m256i broadcast32Bits(const uint8_t* s) noexcept { return _mm256_set1_epi32(loadLittle<int32_t>(s)); }

// Destination byte i of 32 pixels belongs to pixel i / DstBytes. Each vector brings the byte of the pixel's bit to its
// place, tests the bit, and takes one of the two colours.
template <int DstBytes>
struct Bit1 {
    static constexpr size_t kPixels = 32, kSrcBytes = 4, kDstBytes = 32 * DstBytes;
    static constexpr Bytes32 byteOf(int nVector) {
        return bytes32([=](int i) { return (nVector * 32 + i) / DstBytes / 8; });
    }
    static constexpr Bytes32 bitOf(int nVector) {
        return bytes32([=](int i) { return 0x80 >> ((nVector * 32 + i) / DstBytes % 8); });
    }
    static constexpr Bytes32 kByte[3] = {byteOf(0), byteOf(1), byteOf(2)}, kBit[3] = {bitOf(0), bitOf(1), bitOf(2)};

    __m256i color0[DstBytes], color1[DstBytes];

    RV_AVX2_INLINE static void fill(__m256i (&v)[DstBytes], uint32_t uColor) noexcept {
        uint8_t bytes[32 * DstBytes];
        for (int i = 0; i < 32 * DstBytes; ++i) bytes[i] = uint8_t(uColor >> (i % DstBytes * 8));
        for (int k = 0; k < DstBytes; ++k) v[k] = load32(bytes + k * 32);
    }
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i bits = broadcast32Bits(s);
        for (int k = 0; k < DstBytes; ++k) {
            const __m256i bit = kBit[k].vector();
            const __m256i in = _mm256_and_si256(_mm256_shuffle_epi8(bits, kByte[k].vector()), bit);
            store32(d + k * 32, _mm256_blendv_epi8(color0[k], color1[k], _mm256_cmpeq_epi8(in, bit)));
        }
    }
};

// Four bytes a pixel: the bits are tested where they are, eight pixels at a time.
template <>
struct Bit1<4> {
    static constexpr size_t kPixels = 32, kSrcBytes = 4, kDstBytes = 128;
    __m256i color0[1], color1[1];

    RV_AVX2_INLINE static void fill(__m256i (&v)[1], uint32_t uColor) noexcept {
        v[0] = _mm256_set1_epi32(int32_t(uColor));
    }
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i bits = broadcast32Bits(s);
        const __m256i first = _mm256_setr_epi32(0x80, 0x40, 0x20, 0x10, 8, 4, 2, 1);
        for (int k = 0; k < 4; ++k) {
            const __m256i bit = _mm256_slli_epi32(first, k * 8);
            const __m256i isOne = _mm256_cmpeq_epi32(_mm256_and_si256(bits, bit), bit);
            store32(d + k * 32, _mm256_blendv_epi8(color0[0], color1[0], isOne));
        }
    }
};

template <int DstBytes>
RV_AVX2 void bit1Avx2(const uint8_t* src, uint8_t* dst, size_t n, uint32_t uColor0, uint32_t uColor1) noexcept {
    Bit1<DstBytes> block;
    block.fill(block.color0, uColor0);
    block.fill(block.color1, uColor1);
    eachBlock(src, dst, n, block, [=](const uint8_t* s, uint8_t* d, size_t nRest) {
        bit1<size_t(DstBytes)>(s, d, nRest, uColor0, uColor1);
    });
}

struct Nibble4To8 {
    static constexpr size_t kPixels = 64, kSrcBytes = 32, kDstBytes = 64;
    __m256i table;

    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i nibble = _mm256_set1_epi8(15), v = _mm256_permute4x64_epi64(load32(s), 0xD8);
        const __m256i high = _mm256_shuffle_epi8(table, _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble));
        const __m256i low = _mm256_shuffle_epi8(table, _mm256_and_si256(v, nibble));
        store32(d, _mm256_unpacklo_epi8(high, low));
        store32(d + 32, _mm256_unpackhi_epi8(high, low));
    }
};

RV_AVX2 void nibble4To8Avx2(const uint8_t* src, uint8_t* dst, size_t n, const uint8_t* table) noexcept {
    const Nibble4To8 block{loadPair(table, table)};
    eachBlock(src, dst, n, block, [=](const uint8_t* s, uint8_t* d, size_t nRest) { nibble4To8(s, d, nRest, table); });
}
#endif

}  // namespace

constinit const PaletteKernels kPlainPalette{
    .pal8To24 = pal8To24,
    .pal8To32 = pal8To32,
    .bit1To8 = bit1<1>,
    .bit1To24 = bit1<3>,
    .bit1To32 = bit1<4>,
    .nibble4To8 = nibble4To8,
};

#ifdef RV_X86
constinit const PaletteKernels kAvx2Palette{
    .pal8To24 = pal8To24,
    .pal8To32 = pal8To32,
    .bit1To8 = bit1Avx2<1>,
    .bit1To24 = bit1Avx2<3>,
    .bit1To32 = bit1Avx2<4>,
    .nibble4To8 = nibble4To8Avx2,
};
#endif

}  // namespace rv
