// Row kernels in which bytes change places or width: swaps, three and four bytes, eight and sixteen bits a sample.
#include "internal/pixels.h"
#include "internal/rowblocks.h"

namespace rv {

namespace {

// --- plain forms -----------------------------------------------------------------------------------------------------

void swap24(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<3, 3>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const uint8_t c0 = s[0], c1 = s[1], c2 = s[2];
        d[0] = c2, d[1] = c1, d[2] = c0;
    });
}

constexpr uint32_t swapFirstThird(uint32_t v) noexcept {
    return (v & 0xFF00FF00) | (v & 0xFF) << 16 | (v >> 16 & 0xFF);
}

void swap32(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<4, 4>(src, dst, n,
                    [](const uint8_t* s, uint8_t* d) { storeLittle(d, swapFirstThird(loadLittle<uint32_t>(s))); });
}

template <bool Swap>
void widen24To32(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<3, 4>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const uint32_t v = s[0] | uint32_t(s[1]) << 8 | uint32_t(s[2]) << 16 | 0xFF000000;
        storeLittle(d, Swap ? swapFirstThird(v) : v);
    });
}

template <bool Swap>
void narrow32To24(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<4, 3>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const uint8_t c0 = s[0], c1 = s[1], c2 = s[2];
        d[0] = Swap ? c2 : c0, d[1] = c1, d[2] = Swap ? c0 : c2;
    });
}

template <bool Swap>
void narrow48To24(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<6, 3>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const uint8_t c0 = s[1], c1 = s[3], c2 = s[5];
        d[0] = Swap ? c2 : c0, d[1] = c1, d[2] = Swap ? c0 : c2;
    });
}

template <bool Swap>
void narrow64To32(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<8, 4>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const uint8_t c0 = s[1], c1 = s[3], c2 = s[5], c3 = s[7];
        d[0] = Swap ? c2 : c0, d[1] = c1, d[2] = Swap ? c0 : c2, d[3] = c3;
    });
}

template <bool Swap>
void widen24To48(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<3, 6>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const uint8_t c0 = s[Swap ? 2 : 0], c1 = s[1], c2 = s[Swap ? 0 : 2];
        d[0] = d[1] = c0, d[2] = d[3] = c1, d[4] = d[5] = c2;
    });
}

// --- AVX2 ------------------------------------------------------------------------------------------------------------
#ifdef RV_X86
using namespace avx2;

// The first and third byte of each pixel change places. In thirds but one byte comes from a neighbour at each of the
// two seams inside a group.
RV_AVX2_INLINE void swapThirds(__m256i (&t)[3]) noexcept {
    const auto inner = [](int nThird) constexpr {
        return bytes32([=](int i) {
            const int at = i % 16 + nThird * 16, from = at + (at % 3 == 0 ? 2 : at % 3 == 2 ? -2 : 0) - nThird * 16;
            return from >= 0 && from < 16 ? from : kNone;
        });
    };
    const auto single = [](int nTo, int nFrom) constexpr {
        return bytes32([=](int i) { return i % 16 == nTo ? nFrom : kNone; });
    };
    static constexpr Bytes32 kInner[3] = {inner(0), inner(1), inner(2)};
    static constexpr Bytes32 k15From17 = single(15, 1), k17From15 = single(1, 15), k30From32 = single(14, 0),
                             k32From30 = single(0, 14);

    const __m256i a =
        _mm256_or_si256(_mm256_shuffle_epi8(t[0], kInner[0].vector()), _mm256_shuffle_epi8(t[1], k15From17.vector()));
    const __m256i b = _mm256_or_si256(
        _mm256_shuffle_epi8(t[1], kInner[1].vector()),
        _mm256_or_si256(_mm256_shuffle_epi8(t[0], k17From15.vector()), _mm256_shuffle_epi8(t[2], k30From32.vector())));
    const __m256i c =
        _mm256_or_si256(_mm256_shuffle_epi8(t[2], kInner[2].vector()), _mm256_shuffle_epi8(t[1], k32From30.vector()));
    t[0] = a, t[1] = b, t[2] = c;
}

struct Swap24 {
    static constexpr size_t kPixels = 32, kSrcBytes = 96, kDstBytes = 96;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        __m256i v[3] = {load32(s), load32(s + 32), load32(s + 64)};
        toThirds(v);
        swapThirds(v);
        fromThirds(v);
        for (int k = 0; k < 3; ++k) store32(d + k * 32, v[k]);
    }
};

RV_AVX2_INLINE __m256i swapBlock32(__m256i v) noexcept {
    static constexpr Bytes32 kSwap = bytes32([](int i) { return i % 16 / 4 * 4 + (i % 4 == 3 ? 3 : 2 - i % 4); });
    return _mm256_shuffle_epi8(v, kSwap.vector());
}

struct Swap32 {
    static constexpr size_t kPixels = 32, kSrcBytes = 128, kDstBytes = 128;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i v0 = load32(s), v1 = load32(s + 32), v2 = load32(s + 64), v3 = load32(s + 96);
        store32(d, swapBlock32(v0));
        store32(d + 32, swapBlock32(v1));
        store32(d + 64, swapBlock32(v2));
        store32(d + 96, swapBlock32(v3));
    }
};

template <bool Swap>
struct Widen24To32 {
    static constexpr size_t kPixels = 32, kSrcBytes = 96, kDstBytes = 128;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        __m256i v[4];
        load24<Swap>(s, v);
        const __m256i opaque = _mm256_set1_epi32(int32_t(0xFF000000));
        for (int k = 0; k < 4; ++k) store32(d + k * 32, _mm256_or_si256(v[k], opaque));
    }
};

template <bool Swap>
struct Narrow32To24 {
    static constexpr size_t kPixels = 32, kSrcBytes = 128, kDstBytes = 96;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i v[4] = {load32(s), load32(s + 32), load32(s + 64), load32(s + 96)};
        store24<Swap>(d, v);
    }
};

template <bool Swap>
struct Narrow48To24 {
    static constexpr size_t kPixels = 32, kSrcBytes = 192, kDstBytes = 96;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        __m256i v[3];
        if constexpr (Swap) {
            for (int k = 0; k < 3; ++k) v[k] = highBytes(s + k * 32, s + 96 + k * 32);
            swapThirds(v);
            fromThirds(v);
        } else {
            for (int k = 0; k < 3; ++k) v[k] = highBytes(s + k * 64, s + k * 64 + 32);
        }
        for (int k = 0; k < 3; ++k) store32(d + k * 32, v[k]);
    }
};

template <bool Swap>
struct Narrow64To32 {
    static constexpr size_t kPixels = 16, kSrcBytes = 128, kDstBytes = 64;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        const __m256i v0 = highBytes(s, s + 32), v1 = highBytes(s + 64, s + 96);
        store32(d, Swap ? swapBlock32(v0) : v0);
        store32(d + 32, Swap ? swapBlock32(v1) : v1);
    }
};

template <bool Swap>
struct Widen24To48 {
    static constexpr size_t kPixels = 32, kSrcBytes = 96, kDstBytes = 192;
    RV_AVX2_INLINE void operator()(const uint8_t* s, uint8_t* d) const noexcept {
        __m256i v[3] = {load32(s), load32(s + 32), load32(s + 64)};
        if constexpr (Swap) {
            toThirds(v);
            swapThirds(v);
            fromThirds(v);
        }
        for (int k = 0; k < 3; ++k) {
            const __m256i halves = _mm256_permute4x64_epi64(v[k], 0xD8);
            store32(d + k * 64, _mm256_unpacklo_epi8(halves, halves));
            store32(d + k * 64 + 32, _mm256_unpackhi_epi8(halves, halves));
        }
    }
};
#endif

}  // namespace

constinit const ShuffleKernels kPlainShuffle{
    .swap24 = swap24,
    .swap32 = swap32,
    .widen24To32 = {widen24To32<false>, widen24To32<true>},
    .narrow32To24 = {narrow32To24<false>, narrow32To24<true>},
    .narrow48To24 = {narrow48To24<false>, narrow48To24<true>},
    .narrow64To32 = {narrow64To32<false>, narrow64To32<true>},
    .widen24To48 = {widen24To48<false>, widen24To48<true>},
};

#ifdef RV_X86
constinit const ShuffleKernels kAvx2Shuffle{
    .swap24 = blockRow<Swap24, swap24>,
    .swap32 = blockRow<Swap32, swap32>,
    .widen24To32 = {blockRow<Widen24To32<false>, widen24To32<false>>, blockRow<Widen24To32<true>, widen24To32<true>>},
    .narrow32To24 = {blockRow<Narrow32To24<false>, narrow32To24<false>>,
                     blockRow<Narrow32To24<true>, narrow32To24<true>>},
    .narrow48To24 = {blockRow<Narrow48To24<false>, narrow48To24<false>>,
                     blockRow<Narrow48To24<true>, narrow48To24<true>>},
    .narrow64To32 = {blockRow<Narrow64To32<false>, narrow64To32<false>>,
                     blockRow<Narrow64To32<true>, narrow64To32<true>>},
    .widen24To48 = {blockRow<Widen24To48<false>, widen24To48<false>>, blockRow<Widen24To48<true>, widen24To48<true>>},
};
#endif

}  // namespace rv
