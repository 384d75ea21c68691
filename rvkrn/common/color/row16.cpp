// Row kernels between colours in 16 bits (5-5-5 in two orders, and 5-6-5) and bytes.
#include "internal/pixels.h"
#include "internal/rowblocks.h"

namespace rv {

namespace {

// Kernels know the three-byte pixel as "low first": the sample of the low bits is the first byte. Whether that is blue
// or red is the business of the tables at the end.

// --- plain forms -----------------------------------------------------------------------------------------------------

// Green has GreenBits bits from bit 5.
template <int GreenBits, bool LowFirst, size_t DstBytes>
void expand16(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<2, DstBytes>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const uint32_t v = loadLittle<uint16_t>(s);
        const uint8_t low = expand5(v), high = expand5(v >> (5 + GreenBits));
        d[0] = LowFirst ? low : high;
        d[1] = GreenBits == 6 ? expand6(v >> 5) : expand5(v >> 5);
        d[2] = LowFirst ? high : low;
        if constexpr (DstBytes == 4) d[3] = 255;
    });
}

template <int GreenBits, bool LowFirst, size_t SrcBytes>
void pack16(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<SrcBytes, 2>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const uint32_t low = s[LowFirst ? 0 : 2], high = s[LowFirst ? 2 : 0];
        uint32_t v = low >> 3 | uint32_t(s[1]) >> (8 - GreenBits) << 5 | high >> 3 << (5 + GreenBits);
        if constexpr (SrcBytes == 4 && GreenBits == 5) v |= uint32_t(s[3]) >> 7 << 15;
        storeLittle(d, uint16_t(v));
    });
}

// --- AVX2 ------------------------------------------------------------------------------------------------------------
#ifdef RV_X86
using namespace avx2;

// x << 3 | x >> 2 is 33x >> 2, and x << 2 | x >> 4 is 65x >> 4, so that each sample is its field, in place, times a
// constant, the high half of it.
struct Samples {
    __m256i low, green, high;
};
template <int GreenBits>
RV_AVX2_INLINE Samples samplesOf(__m256i v) noexcept {
    const __m256i low = _mm256_slli_epi16(v, 11);
    const __m256i green = _mm256_and_si256(v, _mm256_set1_epi16(GreenBits == 6 ? 0x07E0 : 0x03E0));
    const __m256i high = _mm256_and_si256(v, _mm256_set1_epi16(GreenBits == 6 ? int16_t(0xF800) : 0x7C00));
    return {_mm256_mulhi_epu16(low, _mm256_set1_epi16(33 << 3)),
            _mm256_mulhi_epu16(green, _mm256_set1_epi16(GreenBits == 6 ? 65 << 7 : 33 << 9)),
            _mm256_mulhi_epu16(high, _mm256_set1_epi16(GreenBits == 6 ? 33 << 3 : 33 << 4))};
}

template <int GreenBits, bool LowFirst>
struct Expand32 {
    static constexpr size_t kPixels = 32, kSrcBytes = 64, kDstBytes = 128;
    RV_AVX2_INLINE static void half(__m256i v, uint8_t* d) noexcept {
        const Samples x = samplesOf<GreenBits>(_mm256_permute4x64_epi64(v, 0xD8));
        const __m256i firstTwo = _mm256_or_si256(LowFirst ? x.low : x.high, _mm256_slli_epi16(x.green, 8));
        const __m256i lastTwo = _mm256_or_si256(LowFirst ? x.high : x.low, _mm256_set1_epi16(int16_t(0xFF00)));
        store32(d, _mm256_unpacklo_epi16(firstTwo, lastTwo));
        store32(d + 32, _mm256_unpackhi_epi16(firstTwo, lastTwo));
    }
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i v0 = load32(s), v1 = load32(s + 32);
        half(v0, d);
        half(v1, d + 64);
    }
};

// Three planes of 32 pixels as 96 bytes. In thirds a byte stays in its half of the vector, and the places of a plane
// differ from third to third, so that one shuffle of the plane serves all of them.
RV_AVX2_INLINE void storePlanes(uint8_t* d, __m256i c0, __m256i c1, __m256i c2) noexcept {
    const auto places = [](int c) constexpr {
        return bytes32([=](int i) { return (16 * ((c + 2 * (i % 16)) % 3) + i % 16) / 3; });
    };
    static constexpr Bytes32 kPlaces[3] = {places(0), places(1), places(2)};
    const auto isPlane = [](int r) constexpr {
        return bytes32([=](int i) { return i % 16 % 3 == r ? 0xFF : 0; });
    };
    static constexpr Bytes32 kResidue[3] = {isPlane(0), isPlane(1), isPlane(2)};

    c0 = _mm256_shuffle_epi8(c0, kPlaces[0].vector());
    c1 = _mm256_shuffle_epi8(c1, kPlaces[1].vector());
    c2 = _mm256_shuffle_epi8(c2, kPlaces[2].vector());
    const __m256i at1 = kResidue[1].vector(), at2 = kResidue[2].vector();
    __m256i v[3] = {_mm256_blendv_epi8(_mm256_blendv_epi8(c0, c1, at1), c2, at2),
                    _mm256_blendv_epi8(_mm256_blendv_epi8(c1, c2, at1), c0, at2),
                    _mm256_blendv_epi8(_mm256_blendv_epi8(c2, c0, at1), c1, at2)};
    fromThirds(v);
    for (int k = 0; k < 3; ++k) store32(d + k * 32, v[k]);
}

template <int GreenBits, bool LowFirst>
struct Expand24 {
    static constexpr size_t kPixels = 32, kSrcBytes = 64, kDstBytes = 96;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const Samples x0 = samplesOf<GreenBits>(loadPair(s, s + 32));
        const Samples x1 = samplesOf<GreenBits>(loadPair(s + 16, s + 48));
        const __m256i low = _mm256_packus_epi16(x0.low, x1.low), high = _mm256_packus_epi16(x0.high, x1.high);
        storePlanes(d, LowFirst ? low : high, _mm256_packus_epi16(x0.green, x1.green), LowFirst ? high : low);
    }
};

// Eight pixels as dwords to eight 16-bit colours as dwords. The fields are put together three bits too high, where the
// samples of the low and high field come by one multiplication.
template <int GreenBits, bool LowFirst, bool Alpha>
RV_AVX2_INLINE __m256i packDwords(__m256i v) noexcept {
    constexpr int32_t kHigh = 1 << (5 + GreenBits);
    const __m256i outer = _mm256_madd_epi16(_mm256_and_si256(v, _mm256_set1_epi32(0x00F800F8)),
                                            _mm256_set1_epi32(LowFirst ? kHigh << 16 | 1 : 1 << 16 | kHigh));
    __m256i inner;
    if constexpr (Alpha) {  // bit 31 goes to 28 and, by the multiplication, to 18
        inner = _mm256_and_si256(_mm256_srli_epi32(v, 3), _mm256_set1_epi32(0x10001F00));
        inner = _mm256_madd_epi16(inner, _mm256_set1_epi32(64 << 16 | 1));
    } else {
        constexpr int nShift = 8 - GreenBits;
        inner = _mm256_and_si256(_mm256_srli_epi32(v, nShift), _mm256_set1_epi32(GreenBits == 6 ? 0x3F00 : 0x1F00));
    }
    return _mm256_srli_epi32(_mm256_or_si256(outer, inner), 3);
}

template <int GreenBits, bool LowFirst, size_t SrcBytes>
struct Pack16 {
    static constexpr size_t kPixels = 32, kSrcBytes = 32 * SrcBytes, kDstBytes = 64;
    static constexpr bool kAlpha = SrcBytes == 4 && GreenBits == 5;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        __m256i v[4];
        if constexpr (SrcBytes == 3) {
            load24<false>(s, v);
        } else {
            for (int k = 0; k < 4; ++k) v[k] = load32(s + k * 32);
        }
        for (__m256i& x : v) x = packDwords<GreenBits, LowFirst, kAlpha>(x);
        store32(d, _mm256_permute4x64_epi64(_mm256_packus_epi32(v[0], v[1]), 0xD8));
        store32(d + 32, _mm256_permute4x64_epi64(_mm256_packus_epi32(v[2], v[3]), 0xD8));
    }
};

template <int G, bool LowFirst>
constexpr RowKernel kTo24 = blockRow<Expand24<G, LowFirst>, expand16<G, LowFirst, 3>>;
template <int G, bool LowFirst>
constexpr RowKernel kTo32 = blockRow<Expand32<G, LowFirst>, expand16<G, LowFirst, 4>>;
template <int G, bool LowFirst>
constexpr RowKernel kFrom24 = blockRow<Pack16<G, LowFirst, 3>, pack16<G, LowFirst, 3>>;
template <int G, bool LowFirst>
constexpr RowKernel kFrom32 = blockRow<Pack16<G, LowFirst, 4>, pack16<G, LowFirst, 4>>;
#endif

}  // namespace

// [kRgb555, kBgr555, kBgr565][kBlueFirst, kRedFirst]: the low bits are red, blue, blue.
constinit const Packed16Kernels kPlainPacked16{
    .to24 = {{expand16<5, false, 3>, expand16<5, true, 3>},
             {expand16<5, true, 3>, expand16<5, false, 3>},
             {expand16<6, true, 3>, expand16<6, false, 3>}},
    .to32 = {{expand16<5, false, 4>, expand16<5, true, 4>},
             {expand16<5, true, 4>, expand16<5, false, 4>},
             {expand16<6, true, 4>, expand16<6, false, 4>}},
    .from24 = {{pack16<5, false, 3>, pack16<5, true, 3>},
               {pack16<5, true, 3>, pack16<5, false, 3>},
               {pack16<6, true, 3>, pack16<6, false, 3>}},
    .from32 = {{pack16<5, false, 4>, pack16<5, true, 4>},
               {pack16<5, true, 4>, pack16<5, false, 4>},
               {pack16<6, true, 4>, pack16<6, false, 4>}},
};

#ifdef RV_X86
constinit const Packed16Kernels kAvx2Packed16{
    .to24 = {{kTo24<5, false>, kTo24<5, true>}, {kTo24<5, true>, kTo24<5, false>}, {kTo24<6, true>, kTo24<6, false>}},
    .to32 = {{kTo32<5, false>, kTo32<5, true>}, {kTo32<5, true>, kTo32<5, false>}, {kTo32<6, true>, kTo32<6, false>}},
    .from24 = {{kFrom24<5, false>, kFrom24<5, true>},
               {kFrom24<5, true>, kFrom24<5, false>},
               {kFrom24<6, true>, kFrom24<6, false>}},
    .from32 = {{kFrom32<5, false>, kFrom32<5, true>},
               {kFrom32<5, true>, kFrom32<5, false>},
               {kFrom32<6, true>, kFrom32<6, false>}},
};
#endif

}  // namespace rv
