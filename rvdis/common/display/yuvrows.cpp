// Row kernels between pixels and the sample layouts of video.
#include "internal/yuvrows.h"

#include <algorithm>

#include "internal/planes.h"
#include "ravokit/yuv.h"

namespace rv {
namespace {

// --- plain forms -----------------------------------------------------------------------------------------------------

uint8_t clampByte(int32_t v) noexcept { return uint8_t(std::clamp(v, 0, 255)); }

// Where the samples of pair i stand, in rows of bytes.
template <int Layout, class Byte>
Byte& lumaAt(Byte* y, size_t x) noexcept {
    return y[Layout == YUV_YUY2 ? 2 * x : x];
}
template <int Layout, class Byte>
Byte& uAt(Byte* y, Byte* u, size_t i) noexcept {
    return Layout == YUV_PLANAR_420 ? u[i] : Layout == YUV_YUY2 ? y[4 * i + 1] : u[2 * i + (Layout == YUV_NV21)];
}
template <int Layout, class Byte>
Byte& vAt(Byte* y, Byte* u, Byte* v, size_t i) noexcept {
    return Layout == YUV_PLANAR_420 ? v[i] : Layout == YUV_YUY2 ? y[4 * i + 3] : u[2 * i + (Layout == YUV_NV12)];
}

template <int Layout, size_t Bytes>
void toPixels(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* dst, size_t n) noexcept {
    for (size_t i = 0; i < n / 2; ++i) {
        const int32_t nU = uAt<Layout>(y, u, i), nV = vAt<Layout>(y, u, v, i);
        for (size_t x = 2 * i; x < 2 * i + 2; ++x) {
            const int32_t c = 1192 * (lumaAt<Layout>(y, x) - 16);
            uint8_t* d = dst + x * Bytes;
            d[0] = clampByte((c + 2066 * nU - 263937) >> 10);
            d[1] = clampByte((c - 401 * nU - 832 * nV + 158335) >> 10);
            d[2] = clampByte((c + 1634 * nV - 208641) >> 10);
            if (Bytes == 4) d[3] = 255;
        }
    }
}

uint8_t lumaOf(const uint8_t* p) noexcept {
    const int32_t y = (9798 * p[2] + 19235 * p[1] + 3736 * p[0]) >> 15;
    return uint8_t(std::clamp(16 + ((219 * y + 128) >> 8), 16, 235));
}
int32_t storedChroma(int32_t nSum) noexcept { return std::clamp(128 + ((224 * (nSum >> 15) + 128) >> 8), 16, 240); }
int32_t uOf(const uint8_t* p) noexcept { return storedChroma((p[0] << 14) - 10846 * p[1] - 5538 * p[2]); }
int32_t vOf(const uint8_t* p) noexcept { return storedChroma((p[2] << 14) - 13730 * p[1] - 2654 * p[0]); }

template <int Layout>
void toSamples(const uint8_t* src0, const uint8_t* src1, uint8_t* y0, uint8_t* y1, uint8_t* u, uint8_t* v,
               size_t n) noexcept {
    for (size_t i = 0; i < n / 2; ++i) {
        const uint8_t *a = src0 + i * 6, *b = a + 3;
        lumaAt<Layout>(y0, 2 * i) = lumaOf(a), lumaAt<Layout>(y0, 2 * i + 1) = lumaOf(b);
        int32_t nU = uOf(a) + uOf(b), nV = vOf(a) + vOf(b);
        if constexpr (Layout == YUV_YUY2) {
            nU >>= 1, nV >>= 1;
        } else {
            const uint8_t *c = src1 + i * 6, *d = c + 3;
            y1[2 * i] = lumaOf(c), y1[2 * i + 1] = lumaOf(d);
            nU = (nU + uOf(c) + uOf(d)) >> 2, nV = (nV + vOf(c) + vOf(d)) >> 2;
        }
        uAt<Layout>(y0, u, i) = uint8_t(nU), vAt<Layout>(y0, u, v, i) = uint8_t(nV);
    }
}

// --- AVX2 ------------------------------------------------------------------------------------------------------------
#ifdef RV_X86
using namespace avx2;

constexpr size_t kBlock = 32;

RV_AVX2_INLINE __m256i words(int n) noexcept { return _mm256_set1_epi16(int16_t(n)); }

// Calls block(x) for blocks of pixels that cover the row; the last one may overlap its neighbour. n is at least a
// block.
template <class Block>
RV_AVX2_INLINE void eachYuvBlock(size_t n, const Block& block) noexcept {
    for (size_t x = 0; x + kBlock <= n; x += kBlock) block(x);
    if (n % kBlock) block(n - kBlock);
}

// The 32 Y of a block, and its 16 U and V as words.
struct Samples {
    __m256i y, u, v;
};

template <int Layout>
RV_AVX2_INLINE Samples loadSamples(const uint8_t* y, const uint8_t* u, const uint8_t* v, size_t x) noexcept {
    const __m256i low = words(255);
    if constexpr (Layout == YUV_PLANAR_420) {
        return {load32(y + x), _mm256_cvtepu8_epi16(load16(u + x / 2)), _mm256_cvtepu8_epi16(load16(v + x / 2))};
    } else {
        __m256i luma, chroma;
        if constexpr (Layout == YUV_YUY2) {
            const uint8_t* p = y + 2 * x;
            const __m256i v0 = loadPair(p, p + 32), v1 = loadPair(p + 16, p + 48);
            luma = _mm256_packus_epi16(_mm256_and_si256(v0, low), _mm256_and_si256(v1, low));
            chroma = _mm256_packus_epi16(_mm256_srli_epi16(v0, 8), _mm256_srli_epi16(v1, 8));
        } else {
            luma = load32(y + x);
            chroma = load32(u + x);
        }
        const __m256i even = _mm256_and_si256(chroma, low), odd = _mm256_srli_epi16(chroma, 8);
        return Layout == YUV_NV21 ? Samples{luma, odd, even} : Samples{luma, even, odd};
    }
}

// A channel (1192 y + c) >> 10 is y + ((21 y + floor(c / 8)) >> 7), which fits words. c / 8 of blue does not quite, so
// that 128 times another number is taken from it and added behind the shift. Chroma counts in eighths where a factor is
// no multiple of 8. Pixels are split into even and odd ones, so that chroma stands beside both.
struct Channels {
    __m256i b, g, r;
};
struct Chroma {
    __m256i b, bWhole, g, r;
};

RV_AVX2_INLINE Chroma chromaOf(__m256i u, __m256i v) noexcept {
    Chroma c;
    // (2066 u - 283009) / 8
    c.b = _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(u, words(18)), words(639)), 3);
    c.bWhole = _mm256_sub_epi16(_mm256_add_epi16(u, u), words(277));
    // (139263 - 401 u - 832 v) / 8
    const __m256i u7 = _mm256_sub_epi16(_mm256_slli_epi16(u, 3), u);
    const __m256i uv = _mm256_add_epi16(_mm256_mullo_epi16(u, words(51)), _mm256_mullo_epi16(v, words(104)));
    c.g = _mm256_sub_epi16(_mm256_add_epi16(_mm256_srli_epi16(_mm256_add_epi16(u7, words(7)), 3), words(17407)), uv);
    // (1634 v - 227713) / 8
    c.r = _mm256_add_epi16(_mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(v, v), words(7)), 3),
                           _mm256_sub_epi16(_mm256_mullo_epi16(v, words(204)), words(28465)));
    return c;
}

RV_AVX2_INLINE Channels channelsOf(__m256i y, const Chroma& c) noexcept {
    const __m256i y21 = _mm256_mullo_epi16(y, words(21));
    return {_mm256_add_epi16(_mm256_add_epi16(y, c.bWhole), _mm256_srli_epi16(_mm256_add_epi16(y21, c.b), 7)),
            _mm256_add_epi16(y, _mm256_srai_epi16(_mm256_add_epi16(y21, c.g), 7)),
            _mm256_add_epi16(y, _mm256_srai_epi16(_mm256_add_epi16(y21, c.r), 7))};
}

template <size_t Bytes>
RV_AVX2_INLINE void storePixels(uint8_t* d, __m256i b, __m256i g, __m256i r) noexcept {
    if constexpr (Bytes == 3) {
        storePlanes<EvenThenOdd>(d, b, g, r);
    } else {
        static constexpr Bytes32 kOrder = bytes32([](int i) { return EvenThenOdd::byteOf(i % 16); });
        const __m256i order = kOrder.vector(), opaque = _mm256_set1_epi8(-1);
        b = _mm256_shuffle_epi8(b, order), g = _mm256_shuffle_epi8(g, order), r = _mm256_shuffle_epi8(r, order);
        const __m256i bg0 = _mm256_unpacklo_epi8(b, g), bg1 = _mm256_unpackhi_epi8(b, g),
                      ra0 = _mm256_unpacklo_epi8(r, opaque), ra1 = _mm256_unpackhi_epi8(r, opaque);
        const __m256i q[4] = {_mm256_unpacklo_epi16(bg0, ra0), _mm256_unpackhi_epi16(bg0, ra0),
                              _mm256_unpacklo_epi16(bg1, ra1), _mm256_unpackhi_epi16(bg1, ra1)};
        store32(d, _mm256_permute2x128_si256(q[0], q[1], 0x20));
        store32(d + 32, _mm256_permute2x128_si256(q[2], q[3], 0x20));
        store32(d + 64, _mm256_permute2x128_si256(q[0], q[1], 0x31));
        store32(d + 96, _mm256_permute2x128_si256(q[2], q[3], 0x31));
    }
}

template <int Layout, size_t Bytes>
RV_AVX2 void toPixelsAvx2(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* dst, size_t n) noexcept {
    if (n < kBlock) return toPixels<Layout, Bytes>(y, u, v, dst, n);
    eachYuvBlock(n, [=](size_t x) RV_AVX2 {
        const Samples s = loadSamples<Layout>(y, u, v, x);
        const Chroma chroma = chromaOf(s.u, s.v);
        const Channels even = channelsOf(_mm256_and_si256(s.y, words(255)), chroma),
                       odd = channelsOf(_mm256_srli_epi16(s.y, 8), chroma);
        storePixels<Bytes>(dst + x * Bytes, _mm256_packus_epi16(even.b, odd.b), _mm256_packus_epi16(even.g, odd.g),
                           _mm256_packus_epi16(even.r, odd.r));
    });
}

// Weights of blue and red as a pair of words, and of green.
struct Weights {
    int32_t nBlueRed, nGreen;
};
constexpr Weights weights(int nBlue, int nGreen, int nRed) {
    return {int32_t(uint32_t(nRed) << 16 | (uint32_t(nBlue) & 0xFFFF)), int32_t(uint32_t(nGreen) & 0xFFFF)};
}
constexpr Weights kLuma = weights(3736, 19235, 9798), kU = weights(16384, -10846, -5538),
                  kV = weights(-2654, -13730, 16384);

// 32 pixels, as dwords with blue and red, and with green. Sums of eight and eight of them are words in the order 0 to
// 3, 8 to 11 in the low half, 4 to 7, 12 to 15 in the high half.
struct Pixels {
    __m256i br[4], g[4];
};
RV_AVX2_INLINE Pixels loadPixels(const uint8_t* p) noexcept {
    __m256i v[4];
    load24<false>(p, v);
    Pixels out;
    for (int k = 0; k < 4; ++k) {
        out.br[k] = _mm256_and_si256(v[k], _mm256_set1_epi32(0x00FF00FF));
        out.g[k] = _mm256_srli_epi16(v[k], 8);
    }
    return out;
}
RV_AVX2_INLINE __m256i sums(const Pixels& p, int k, const Weights& w) noexcept {
    const __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(p.br[k], _mm256_set1_epi32(w.nBlueRed)),
                                         _mm256_madd_epi16(p.g[k], _mm256_set1_epi32(w.nGreen)));
    return _mm256_srai_epi32(sum, 15);
}
RV_AVX2_INLINE __m256i sumWords(const Pixels& p, int k, const Weights& w) noexcept {
    return _mm256_packs_epi32(sums(p, 2 * k, w), sums(p, 2 * k + 1, w));
}

// No sum reaches the limits, so that they need no test.
RV_AVX2_INLINE __m256i lumaBytes(const Pixels& p) noexcept {
    __m256i y[2];
    for (int k = 0; k < 2; ++k)
        y[k] =
            _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(sumWords(p, k, kLuma), words(219)), words(128)), 8);
    const __m256i bytes = _mm256_add_epi8(_mm256_packus_epi16(y[0], y[1]), _mm256_set1_epi8(16));
    return _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}
// Stored chroma less 128.
RV_AVX2_INLINE __m256i chromaWords(const Pixels& p, int k, const Weights& w) noexcept {
    const __m256i product = _mm256_mullo_epi16(sumWords(p, k, w), words(224));
    return _mm256_srai_epi16(_mm256_add_epi16(product, words(128)), 8);
}

// The means of pairs of one row, or of pairs of two, as words: 0, 1, 4, 5, 8, 9, 12, 13 in the low half.
template <bool TwoRows>
RV_AVX2_INLINE __m256i chromaMeans(const Pixels& p0, const Pixels& p1, const Weights& w) noexcept {
    __m256i sum[2];
    for (int k = 0; k < 2; ++k) {
        sum[k] = chromaWords(p0, k, w);
        if constexpr (TwoRows) sum[k] = _mm256_add_epi16(sum[k], chromaWords(p1, k, w));
        sum[k] = _mm256_madd_epi16(sum[k], words(1));
    }
    return _mm256_add_epi16(_mm256_srai_epi16(_mm256_packs_epi32(sum[0], sum[1]), TwoRows ? 2 : 1), words(128));
}

template <int Layout>
RV_AVX2 void toSamplesAvx2(const uint8_t* src0, const uint8_t* src1, uint8_t* y0, uint8_t* y1, uint8_t* u, uint8_t* v,
                           size_t n) noexcept {
    if (n < kBlock) return toSamples<Layout>(src0, src1, y0, y1, u, v, n);
    eachYuvBlock(n, [=](size_t x) RV_AVX2 {
        constexpr bool kTwoRows = Layout != YUV_YUY2;
        static constexpr Bytes32 kOrder = bytes32([](int i) { return i % 4 / 2 * 8 + i % 16 / 4 * 2 + i % 2; });
        const Pixels p0 = loadPixels(src0 + x * 3), p1 = kTwoRows ? loadPixels(src1 + x * 3) : p0;
        const __m256i both = _mm256_packus_epi16(chromaMeans<kTwoRows>(p0, p1, kU), chromaMeans<kTwoRows>(p0, p1, kV));
        const __m256i chroma = _mm256_shuffle_epi8(_mm256_permute4x64_epi64(both, 0xD8), kOrder.vector());
        const __m128i us = _mm256_castsi256_si128(chroma), vs = _mm256_extracti128_si256(chroma, 1);
        const __m128i first = Layout == YUV_NV21 ? vs : us, second = Layout == YUV_NV21 ? us : vs;
        const __m128i low = _mm_unpacklo_epi8(first, second), high = _mm_unpackhi_epi8(first, second);

        const __m256i luma = lumaBytes(p0);
        if constexpr (Layout == YUV_YUY2) {
            const __m256i uv = _mm256_set_m128i(high, low);
            const __m256i q0 = _mm256_unpacklo_epi8(luma, uv), q1 = _mm256_unpackhi_epi8(luma, uv);
            store32(y0 + 2 * x, _mm256_permute2x128_si256(q0, q1, 0x20));
            store32(y0 + 2 * x + 32, _mm256_permute2x128_si256(q0, q1, 0x31));
        } else {
            store32(y0 + x, luma);
            store32(y1 + x, lumaBytes(p1));
            if constexpr (Layout == YUV_PLANAR_420) {
                store16(u + x / 2, us);
                store16(v + x / 2, vs);
            } else {
                store16(u + x, low);
                store16(u + x + 16, high);
            }
        }
    });
}

constinit const YuvKernels kAvx2Yuv{
    .toPixels24 = {toPixelsAvx2<YUV_PLANAR_420, 3>, toPixelsAvx2<YUV_NV12, 3>, toPixelsAvx2<YUV_NV21, 3>,
                   toPixelsAvx2<YUV_YUY2, 3>},
    .toPixels32 = {toPixelsAvx2<YUV_PLANAR_420, 4>, toPixelsAvx2<YUV_NV12, 4>, toPixelsAvx2<YUV_NV21, 4>,
                   toPixelsAvx2<YUV_YUY2, 4>},
    .toSamples = {toSamplesAvx2<YUV_PLANAR_420>, toSamplesAvx2<YUV_NV12>, toSamplesAvx2<YUV_NV21>,
                  toSamplesAvx2<YUV_YUY2>},
};
#endif

}  // namespace

constinit const YuvKernels kPlainYuv{
    .toPixels24 = {toPixels<YUV_PLANAR_420, 3>, toPixels<YUV_NV12, 3>, toPixels<YUV_NV21, 3>, toPixels<YUV_YUY2, 3>},
    .toPixels32 = {toPixels<YUV_PLANAR_420, 4>, toPixels<YUV_NV12, 4>, toPixels<YUV_NV21, 4>, toPixels<YUV_YUY2, 4>},
    .toSamples = {toSamples<YUV_PLANAR_420>, toSamples<YUV_NV12>, toSamples<YUV_NV21>, toSamples<YUV_YUY2>},
};

#ifdef RV_X86
const YuvKernels& bestYuv() noexcept { return cpuHasAvx2() ? kAvx2Yuv : kPlainYuv; }
#else
const YuvKernels& bestYuv() noexcept { return kPlainYuv; }
#endif

}  // namespace rv
