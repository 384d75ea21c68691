// Row kernels to grey: from colour at 8, 12 and 16 bits, and from 16-bit grey to bytes.
#include "internal/pixels.h"
#include "internal/rowblocks.h"

namespace rv {

namespace {

// --- plain forms -----------------------------------------------------------------------------------------------------

template <bool RedFirst>
uint32_t grayOf(const uint8_t* s) noexcept {
    return rv::grayOf(s[RedFirst ? 2 : 0], s[1], s[RedFirst ? 0 : 2]);
}

template <size_t SrcBytes, bool RedFirst>
void gray8(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<SrcBytes, 1>(src, dst, n, [](const uint8_t* s, uint8_t* d) { *d = uint8_t(grayOf<RedFirst>(s)); });
}

// Grey from 24 bits fills a deeper sample, grey from 32 bits is its top eight bits: the converter keeps no more there.
template <size_t SrcBytes, uint32_t Bits>
constexpr uint32_t deepGray(uint32_t g) noexcept {
    return SrcBytes == 3 ? g * ((1u << Bits) - 1) / 255 : g << (Bits - 8);
}

template <size_t SrcBytes, bool RedFirst>
void gray12(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) Pixel<12>::put(dst, i, deepGray<SrcBytes, 12>(grayOf<RedFirst>(src + i * SrcBytes)));
}

template <size_t SrcBytes, bool RedFirst>
void gray16(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<SrcBytes, 2>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        storeLittle(d, uint16_t(deepGray<SrcBytes, 16>(grayOf<RedFirst>(s))));
    });
}

void gray16To8(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<2, 1>(src, dst, n, [](const uint8_t* s, uint8_t* d) { *d = s[1]; });
}

void gray16To8Cut(const uint8_t* src, uint8_t* dst, size_t n, uint32_t nShift, uint32_t uMask) noexcept {
    eachPixel<2, 1>(src, dst, n,
                    [=](const uint8_t* s, uint8_t* d) { *d = uint8_t(loadLittle<uint16_t>(s) >> nShift & uMask); });
}

void gray16To8Scaled(const uint8_t* src, uint8_t* dst, size_t n, uint32_t nShift, uint32_t uMask) noexcept {
    eachPixel<2, 1>(src, dst, n, [=](const uint8_t* s, uint8_t* d) {
        *d = uint8_t((uint32_t(loadLittle<uint16_t>(s)) >> nShift & uMask) * 255 / uMask);
    });
}

// Look-ups bound this one: two loads and a store a sample. Four samples are read before the first is written, so that
// the loads need not wait for the stores.
void gray16To8Table(const uint8_t* src, uint8_t* dst, size_t n, uint32_t nShift, uint32_t uMask,
                    const uint8_t* table) noexcept {
    const auto look = [=](const uint8_t* s) { return table[uint32_t(loadLittle<uint16_t>(s)) >> nShift & uMask]; };
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const uint8_t v0 = look(src + i * 2), v1 = look(src + i * 2 + 2), v2 = look(src + i * 2 + 4),
                      v3 = look(src + i * 2 + 6);
        dst[i] = v0, dst[i + 1] = v1, dst[i + 2] = v2, dst[i + 3] = v3;
    }
    for (; i < n; ++i) dst[i] = look(src + i * 2);
}

// --- AVX2 ------------------------------------------------------------------------------------------------------------
#ifdef RV_X86
using namespace avx2;

// 32 pixels as dwords; the fourth byte may be anything.
template <size_t SrcBytes>
RV_AVX2_INLINE void loadColors(const uint8_t* s, __m256i (&v)[4]) noexcept {
    if constexpr (SrcBytes == 3) {
        load24<false>(s, v);
    } else {
        for (int k = 0; k < 4; ++k) v[k] = load32(s + k * 32);
    }
}

// The grey words of 16 pixels: the low halves of v0 and v1 in the low half, the high halves in the high half.
template <bool RedFirst>
RV_AVX2_INLINE __m256i grayWords(__m256i v0, __m256i v1) noexcept {
    const __m256i weights = _mm256_set1_epi32(RedFirst ? 0x00010502 : 0x00020501), one = _mm256_set1_epi16(1);
    const __m256i sum0 = _mm256_madd_epi16(_mm256_maddubs_epi16(v0, weights), one);
    const __m256i sum1 = _mm256_madd_epi16(_mm256_maddubs_epi16(v1, weights), one);
    // (sum x 4096 + 0x4000) >> 15 is (sum + 4) >> 3
    return _mm256_mulhrs_epi16(_mm256_packus_epi32(sum0, sum1), _mm256_set1_epi16(4096));
}

template <size_t SrcBytes, bool RedFirst>
struct Gray8 {
    static constexpr size_t kPixels = 32, kSrcBytes = 32 * SrcBytes, kDstBytes = 32;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        __m256i v[4];
        loadColors<SrcBytes>(s, v);
        const __m256i g = _mm256_packus_epi16(grayWords<RedFirst>(v[0], v[1]), grayWords<RedFirst>(v[2], v[3]));
        store32(d, _mm256_permutevar8x32_epi32(g, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
    }
};

// The 12-bit levels of 16 pixels, eight of them in the low 12 bytes of each half.
template <size_t SrcBytes>
RV_AVX2_INLINE __m256i pack12(__m256i g) noexcept {
    static constexpr Bytes32 kPack = bytes32([](int i) { return i % 16 < 12 ? i % 16 / 3 * 4 + i % 16 % 3 : kNone; });
    g = _mm256_permute4x64_epi64(g, 0xD8);
    __m256i level = _mm256_slli_epi16(g, 4);
    // g x 4095 / 255 is 16g + g / 17, and g x 3856 >> 16 is g / 17 for a byte
    if constexpr (SrcBytes == 3) level = _mm256_add_epi16(level, _mm256_mulhi_epu16(g, _mm256_set1_epi16(3856)));
    const __m256i pairs = _mm256_madd_epi16(level, _mm256_set1_epi32(0x10000001));  // first + second x 4096
    return _mm256_shuffle_epi8(pairs, kPack.vector());
}

template <size_t SrcBytes, bool RedFirst>
struct Gray12 {
    static constexpr size_t kPixels = 32, kSrcBytes = 32 * SrcBytes, kDstBytes = 48;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        __m256i v[4];
        loadColors<SrcBytes>(s, v);
        const __m256i p0 = _mm256_permutevar8x32_epi32(pack12<SrcBytes>(grayWords<RedFirst>(v[0], v[1])),
                                                       _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
        const __m256i p1 = _mm256_permutevar8x32_epi32(pack12<SrcBytes>(grayWords<RedFirst>(v[2], v[3])),
                                                       _mm256_setr_epi32(2, 4, 5, 6, 3, 7, 0, 1));
        store32(d, _mm256_blend_epi32(p0, p1, 0xC0));
        store16(d + 32, _mm256_castsi256_si128(p1));
    }
};

template <size_t SrcBytes, bool RedFirst>
struct Gray16 {
    static constexpr size_t kPixels = 32, kSrcBytes = 32 * SrcBytes, kDstBytes = 64;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        __m256i v[4];
        loadColors<SrcBytes>(s, v);
        const __m256i scale = _mm256_set1_epi16(SrcBytes == 3 ? 257 : 256);
        const __m256i g0 = _mm256_mullo_epi16(grayWords<RedFirst>(v[0], v[1]), scale);
        const __m256i g1 = _mm256_mullo_epi16(grayWords<RedFirst>(v[2], v[3]), scale);
        store32(d, _mm256_permute4x64_epi64(g0, 0xD8));
        store32(d + 32, _mm256_permute4x64_epi64(g1, 0xD8));
    }
};

struct Gray16To8 {
    static constexpr size_t kPixels = 64, kSrcBytes = 128, kDstBytes = 64;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i v0 = highBytes(s, s + 32), v1 = highBytes(s + 64, s + 96);
        store32(d, v0);
        store32(d + 32, v1);
    }
};

template <bool Scaled>
struct Levels {
    static constexpr size_t kPixels = 32, kSrcBytes = 64, kDstBytes = 32;
    __m128i shift, after;
    __m256i mask, factor, reciprocal;

    RV_AVX2_INLINE __m256i level(__m256i v) const noexcept {
        v = _mm256_and_si256(_mm256_srl_epi16(v, shift), mask);
        if constexpr (!Scaled) return v;
        return _mm256_srl_epi16(_mm256_mulhi_epu16(_mm256_mullo_epi16(v, factor), reciprocal), after);
    }
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i v0 = level(loadPair(s, s + 32)), v1 = level(loadPair(s + 16, s + 48));
        store32(d, _mm256_packus_epi16(v0, v1));
    }
};

RV_AVX2 void gray16To8CutAvx2(const uint8_t* src, uint8_t* dst, size_t n, uint32_t nShift, uint32_t uMask) noexcept {
    Levels<false> block;
    block.shift = _mm_cvtsi32_si128(int32_t(nShift));
    block.mask = _mm256_set1_epi16(int16_t(uMask & 255));
    eachBlock(src, dst, n, block,
              [=](const uint8_t* s, uint8_t* d, size_t nRest) { gray16To8Cut(s, d, nRest, nShift, uMask); });
}

// v x 255 is at most 127 x 255 here, and is divided by uMask = 2^k - 1 with the reciprocal 2^(15 + k) / uMask, rounded
// up: its error stays below the distance to the next level over that whole range. For k = 1 it would be 65536, so that
// the factor takes half of it.
RV_AVX2 void gray16To8ScaledAvx2(const uint8_t* src, uint8_t* dst, size_t n, uint32_t nShift, uint32_t uMask) noexcept {
    if (uMask == 255) return gray16To8CutAvx2(src, dst, n, nShift, uMask);
    const uint32_t nBits = 32 - uint32_t(__builtin_clz(uMask));
    Levels<true> block;
    block.shift = _mm_cvtsi32_si128(int32_t(nShift));
    block.after = _mm_cvtsi32_si128(int32_t(nBits - 1));
    block.mask = _mm256_set1_epi16(int16_t(uMask));
    block.factor = _mm256_set1_epi16(nBits == 1 ? 510 : 255);
    block.reciprocal = _mm256_set1_epi16(int16_t(nBits == 1 ? 0x8000 : ((0x8000u << nBits) + uMask - 1) / uMask));
    eachBlock(src, dst, n, block,
              [=](const uint8_t* s, uint8_t* d, size_t nRest) { gray16To8Scaled(s, d, nRest, nShift, uMask); });
}
#endif

}  // namespace

constinit const GrayKernels kPlainGray{
    .gray8From24 = {gray8<3, false>, gray8<3, true>},
    .gray8From32 = {gray8<4, false>, gray8<4, true>},
    .gray12From24 = {gray12<3, false>, gray12<3, true>},
    .gray12From32 = {gray12<4, false>, gray12<4, true>},
    .gray16From24 = {gray16<3, false>, gray16<3, true>},
    .gray16From32 = {gray16<4, false>, gray16<4, true>},
    .gray16To8 = gray16To8,
    .gray16To8Cut = gray16To8Cut,
    .gray16To8Scaled = gray16To8Scaled,
    .gray16To8Table = gray16To8Table,
};

#ifdef RV_X86
constinit const GrayKernels kAvx2Gray{
    .gray8From24 = {blockRow<Gray8<3, false>, gray8<3, false>>, blockRow<Gray8<3, true>, gray8<3, true>>},
    .gray8From32 = {blockRow<Gray8<4, false>, gray8<4, false>>, blockRow<Gray8<4, true>, gray8<4, true>>},
    .gray12From24 = {blockRow<Gray12<3, false>, gray12<3, false>>, blockRow<Gray12<3, true>, gray12<3, true>>},
    .gray12From32 = {blockRow<Gray12<4, false>, gray12<4, false>>, blockRow<Gray12<4, true>, gray12<4, true>>},
    .gray16From24 = {blockRow<Gray16<3, false>, gray16<3, false>>, blockRow<Gray16<3, true>, gray16<3, true>>},
    .gray16From32 = {blockRow<Gray16<4, false>, gray16<4, false>>, blockRow<Gray16<4, true>, gray16<4, true>>},
    .gray16To8 = blockRow<Gray16To8, gray16To8>,
    .gray16To8Cut = gray16To8CutAvx2,
    .gray16To8Scaled = gray16To8ScaledAvx2,
    .gray16To8Table = gray16To8Table,
};
#endif

}  // namespace rv
