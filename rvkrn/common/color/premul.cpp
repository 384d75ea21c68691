// Premultiplied alpha: colour samples times alpha, and back.
#include "internal/pixels.h"
#include "internal/rowblocks.h"
#include "ravokit/alpha.h"

namespace rv {

namespace {

// --- plain forms -----------------------------------------------------------------------------------------------------

// The rule for one pixel at either depth. Alpha 0 and full alpha follow from the division, but for 0 / 0.
template <class T, bool Multiply>
void plainRow(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    constexpr uint32_t kFull = T(~T(0));
    eachPixel<4 * sizeof(T), 4 * sizeof(T)>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const uint32_t a = loadLittle<T>(s + 3 * sizeof(T));
        for (size_t c = 0; c < 3; ++c) {
            const uint32_t v = loadLittle<T>(s + c * sizeof(T));  // at most 65535 x 65535 below
            storeLittle(d + c * sizeof(T), T(Multiply ? v * a / kFull : a ? v * kFull / a : 0));
        }
        storeLittle(d + 3 * sizeof(T), T(a));
    });
}

// --- AVX2 ------------------------------------------------------------------------------------------------------------
#ifdef RV_X86
using namespace avx2;

// Brings bytes of a dword of each pixel to all four words of a pixel: of the two pixels in the low half of the 16
// bytes, or of the two in the high half. kNone leaves 0.
constexpr Bytes32 toWords(int nLowByte, int nHighByte, bool bHighHalf) {
    return bytes32([=](int i) {
        const int nByte = i % 2 ? nHighByte : nLowByte;
        return nByte == kNone ? kNone : i % 16 / 8 * 4 + (bHighHalf ? 8 : 0) + nByte;
    });
}

RV_AVX2_INLINE __m256i keepAlpha32(__m256i colors, __m256i alpha) noexcept {
    return _mm256_blendv_epi8(colors, alpha, _mm256_set1_epi32(int32_t(0xFF000000)));
}

// x / 255 is (x + 1) x 257 >> 16 for every product of two bytes.
struct Premultiply32 {
    static constexpr size_t kPixels = 16, kSrcBytes = 64, kDstBytes = 64;
    RV_AVX2_INLINE static __m256i half(__m256i colors, __m256i alpha) noexcept {
        const __m256i product = _mm256_add_epi16(_mm256_mullo_epi16(colors, alpha), _mm256_set1_epi16(1));
        return _mm256_mulhi_epu16(product, _mm256_set1_epi16(257));
    }
    RV_AVX2_INLINE static __m256i pixels(__m256i v) noexcept {
        static constexpr Bytes32 kLow = toWords(3, kNone, false), kHigh = toWords(3, kNone, true);
        const __m256i zero = _mm256_setzero_si256();
        const __m256i low = half(_mm256_unpacklo_epi8(v, zero), _mm256_shuffle_epi8(v, kLow.vector()));
        const __m256i high = half(_mm256_unpackhi_epi8(v, zero), _mm256_shuffle_epi8(v, kHigh.vector()));
        return keepAlpha32(_mm256_packus_epi16(low, high), v);
    }
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i v0 = load32(s), v1 = load32(s + 32);
        store32(d, pixels(v0));
        store32(d + 32, pixels(v1));
    }
};

// With R = floor(255 x 65536 / a) + 1 the quotient c x 255 / a is c x R >> 16: R is too large by at most 1, so that c x
// R is too large by at most 255 / 65536, less than the 1 / a that the next whole is away. Only the low byte counts, so
// words do: the high half of c x low(R), plus c x high(R). The division in single precision rounds a quotient below
// 2^23 to one that lies less than one half above it. Of alpha 0 the conversion makes 2^31, and c x 2^31 leaves 0 in the
// byte.
struct Unpremultiply32 {
    static constexpr size_t kPixels = 8, kSrcBytes = 32, kDstBytes = 32;
    RV_AVX2_INLINE static __m256i half(__m256i colors, __m256i low, __m256i high) noexcept {
        const __m256i sum = _mm256_add_epi16(_mm256_mulhi_epu16(colors, low), _mm256_mullo_epi16(colors, high));
        return _mm256_and_si256(sum, _mm256_set1_epi16(255));
    }
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        static constexpr Bytes32 kLow0 = toWords(0, 1, false), kLow1 = toWords(0, 1, true),
                                 kHigh0 = toWords(2, 3, false), kHigh1 = toWords(2, 3, true);
        const __m256i v = load32(s), zero = _mm256_setzero_si256();
        const __m256 alpha = _mm256_cvtepi32_ps(_mm256_srli_epi32(v, 24));
        const __m256i r = _mm256_add_epi32(_mm256_cvttps_epi32(_mm256_div_ps(_mm256_set1_ps(255.0f * 65536), alpha)),
                                           _mm256_set1_epi32(1));
        const __m256i low = half(_mm256_unpacklo_epi8(v, zero), _mm256_shuffle_epi8(r, kLow0.vector()),
                                 _mm256_shuffle_epi8(r, kHigh0.vector()));
        const __m256i high = half(_mm256_unpackhi_epi8(v, zero), _mm256_shuffle_epi8(r, kLow1.vector()),
                                  _mm256_shuffle_epi8(r, kHigh1.vector()));
        store32(d, keepAlpha32(_mm256_packus_epi16(low, high), v));
    }
};

RV_AVX2_INLINE __m256i alphaWords64(__m256i v) noexcept {
    static constexpr Bytes32 kAlpha = bytes32([](int i) { return i % 16 / 8 * 8 + 6 + i % 2; });
    return _mm256_shuffle_epi8(v, kAlpha.vector());
}

// With x = 65536h + l a product of two words, x / 65535 is h, and one more if l + h reaches 65535.
struct Premultiply64 {
    static constexpr size_t kPixels = 8, kSrcBytes = 64, kDstBytes = 64;
    RV_AVX2_INLINE static __m256i pixels(__m256i v) noexcept {
        const __m256i alpha = alphaWords64(v);
        const __m256i high = _mm256_mulhi_epu16(v, alpha), low = _mm256_mullo_epi16(v, alpha);
        const __m256i carry = _mm256_cmpeq_epi16(_mm256_adds_epu16(low, high), _mm256_set1_epi16(-1));
        return _mm256_blend_epi16(_mm256_sub_epi16(high, carry), v, 0x88);
    }
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i v0 = load32(s), v1 = load32(s + 32);
        store32(d, pixels(v0));
        store32(d + 32, pixels(v1));
    }
};

// One division a pixel, in double precision: R = 65535 / a, made larger by 2^-50 of it, which is more than all the
// roundings take and less than the 1 / a that c x R is away from the next whole. The low 16 bits of c x R, which is
// below 2^32, are those of its sum with 2^52. Of alpha 0 come infinities and NaNs, whose low bits are 0.
struct Unpremultiply64 {
    static constexpr size_t kPixels = 4, kSrcBytes = 32, kDstBytes = 32;
    RV_AVX2_INLINE static __m256i quotients(const uint8_t* s, __m256d r) noexcept {
        const __m256d v = _mm256_cvtepi32_pd(_mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(s))));
        const __m256d whole = _mm256_round_pd(_mm256_mul_pd(v, r), _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
        return _mm256_and_si256(_mm256_castpd_si256(_mm256_add_pd(whole, _mm256_set1_pd(0x1p52))),
                                _mm256_set1_epi64x(0xFFFF));
    }
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i v = load32(s);
        const __m256d two52 = _mm256_set1_pd(0x1p52);
        const __m256i alphaBits = _mm256_or_si256(_mm256_srli_epi64(v, 48), _mm256_castpd_si256(two52));
        const __m256d alpha = _mm256_sub_pd(_mm256_castsi256_pd(alphaBits), two52);
        const __m256d r = _mm256_mul_pd(_mm256_div_pd(_mm256_set1_pd(65535), alpha), _mm256_set1_pd(1 + 0x1p-50));
        const __m256i q[4] = {
            quotients(s, _mm256_permute4x64_pd(r, 0x00)), quotients(s + 8, _mm256_permute4x64_pd(r, 0x55)),
            quotients(s + 16, _mm256_permute4x64_pd(r, 0xAA)), quotients(s + 24, _mm256_permute4x64_pd(r, 0xFF))};
        // Packing twice leaves the first two samples of each pixel in the low half, the last two in the high half.
        const __m256i packed = _mm256_packus_epi32(_mm256_packus_epi32(q[0], q[1]), _mm256_packus_epi32(q[2], q[3]));
        const __m256i ordered = _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
        store32(d, _mm256_blend_epi16(ordered, v, 0x88));
    }
};
#endif

}  // namespace

constinit const AlphaKernels kPlainAlpha{
    .premultiply32 = plainRow<uint8_t, true>,
    .premultiply64 = plainRow<uint16_t, true>,
    .unpremultiply32 = plainRow<uint8_t, false>,
    .unpremultiply64 = plainRow<uint16_t, false>,
};

#ifdef RV_X86
constinit const AlphaKernels kAvx2Alpha{
    .premultiply32 = blockRow<Premultiply32, plainRow<uint8_t, true>>,
    .premultiply64 = blockRow<Premultiply64, plainRow<uint16_t, true>>,
    .unpremultiply32 = blockRow<Unpremultiply32, plainRow<uint8_t, false>>,
    .unpremultiply64 = blockRow<Unpremultiply64, plainRow<uint16_t, false>>,
};
#endif

}  // namespace rv

extern "C" int32_t R_ConvertToPremultipliedAlpha(int32_t nBitsPerPixel, uint8_t* pRow, uint32_t uBytes) noexcept {
    const rv::AlphaKernels& rows = rv::bestRowKernels().alpha;
    if (pRow && nBitsPerPixel == 32) rows.premultiply32(pRow, pRow, uBytes / 4);
    if (pRow && nBitsPerPixel == 64) rows.premultiply64(pRow, pRow, uBytes / 8);
    return 1;
}

extern "C" int32_t R_ConvertFromPremultipliedAlpha(int32_t nBitsPerPixel, uint8_t* pRow, uint32_t uBytes) noexcept {
    const rv::AlphaKernels& rows = rv::bestRowKernels().alpha;
    if (pRow && nBitsPerPixel == 32) rows.unpremultiply32(pRow, pRow, uBytes / 4);
    if (pRow && nBitsPerPixel == 64) rows.unpremultiply64(pRow, pRow, uBytes / 8);
    return 1;
}
