// Rows in reverse. Every form takes a block from both ends, and stores each where the other came from once it has
// loaded both: so one loop serves rows in place and rows apart.
//
// Pixels of 1, 2 and 4 bits go by bytes, reversed in order and inside. The bits that are left behind the last pixel
// would come out in front: so the stream is shifted back by them on its way, before each byte is reversed.
#include "internal/mirror.h"

#include <cstring>

#include "internal/pixels.h"
#include "internal/rowblocks.h"
#include "ravokit/view.h"

namespace rv {
namespace {

constexpr bool isWholeByte(int nBits) { return nBits % 8 == 0; }
constexpr bool dividesByte(int nBits) { return 8 % nBits == 0; }

// --- plain forms -----------------------------------------------------------------------------------------------------

template <int Bits>
void mirrorPixels(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    for (size_t i = 0, j = n; i < j; ++i) {
        const auto a = Pixel<Bits>::get(src, i), b = Pixel<Bits>::get(src, --j);
        Pixel<Bits>::put(dst, i, b);
        Pixel<Bits>::put(dst, j, a);
    }
    if (const size_t nUsed = n * Bits % 8) dst[n * Bits / 8] &= uint8_t(Bits == 12 ? 0x0F : 0xFF00 >> nUsed);
}

// The pixels of a byte in reverse.
template <int Bits>
constexpr uint32_t reversedByte(uint32_t v) noexcept {
    v = v >> 4 | (v & 15) << 4;
    if (Bits < 4) v = (v >> 2 & 0x33) | (v & 0x33) << 2;
    if (Bits < 2) v = (v >> 1 & 0x55) | (v & 0x55) << 1;
    return v;
}

// Mirrors the nBytes bytes of a stream from src to dst, shifted back by nShift bits. uBefore is the byte in front of
// it.
template <int Bits>
void mirrorBytes(const uint8_t* src, uint8_t* dst, size_t nBytes, uint32_t nShift, uint32_t uBefore) noexcept {
    const auto turned = [nShift](uint32_t uFirst, uint32_t uSecond) {
        return uint8_t(reversedByte<Bits>((uFirst << 8 | uSecond) >> nShift & 255));
    };
    size_t i = 0, j = nBytes;
    for (; i + 1 < j; ++i) {
        const uint32_t a = src[i], b = src[--j], uBeforeB = src[j - 1];
        dst[i] = turned(uBeforeB, b);
        dst[j] = turned(uBefore, a);
        uBefore = a;
    }
    if (i < j) dst[i] = turned(uBefore, src[i]);
}

template <int Bits>
void mirrorPlain(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    if constexpr (Bits < 8 && dividesByte(Bits)) {
        const size_t nBytes = n / (8 / Bits) + (n % (8 / Bits) > 0);
        mirrorBytes<Bits>(src, dst, nBytes, uint32_t(nBytes * 8 - n * Bits) & 7, 0);
    } else {
        mirrorPixels<Bits>(src, dst, n);
    }
}

// --- AVX2 ------------------------------------------------------------------------------------------------------------
#ifdef RV_X86
using namespace avx2;

constexpr size_t kVector = 32;

// A block is loaded in reverse, and stored.
template <int Bytes>
struct PixelBlock {
    static constexpr size_t kBytes = kVector;
    __m256i v;

    RV_AVX2_INLINE explicit PixelBlock(const uint8_t* p) noexcept {
        static constexpr Bytes32 kReverse =
            bytes32([](int i) { return 16 - Bytes - i % 16 / Bytes * Bytes + i % Bytes; });
        v = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(load32(p), kReverse.vector()), 0x4E);
    }
    RV_AVX2_INLINE void store(uint8_t* p) const noexcept { store32(p, v); }
};

// Pixels of three or six bytes: two groups of 48 bytes, each in three thirds. Each third of the result comes from two
// or three of the other group's.
template <int Bytes, int To, int From>
constexpr Bytes32 thirdOrder() {
    return bytes32([](int i) {
        const int at = To * 16 + i % 16, from = 48 - Bytes - at / Bytes * Bytes + at % Bytes - From * 16;
        return from >= 0 && from < 16 ? from : kNone;
    });
}

template <int Bytes>
struct ThirdsBlock {
    static constexpr size_t kBytes = 96;
    __m256i v[3];

    template <int To, int From>
    RV_AVX2_INLINE static __m256i part(__m256i third) noexcept {
        static constexpr Bytes32 kOrder = thirdOrder<Bytes, To, From>();
        return _mm256_shuffle_epi8(third, kOrder.vector());
    }
    RV_AVX2_INLINE explicit ThirdsBlock(const uint8_t* p) noexcept {
        const __m256i t0 = loadPair(p + 48, p), t1 = loadPair(p + 64, p + 16), t2 = loadPair(p + 80, p + 32);
        v[0] = _mm256_or_si256(part<0, 1>(t1), part<0, 2>(t2));
        v[1] = _mm256_or_si256(_mm256_or_si256(part<1, 0>(t0), part<1, 1>(t1)), part<1, 2>(t2));
        v[2] = _mm256_or_si256(part<2, 0>(t0), part<2, 1>(t1));
    }
    RV_AVX2_INLINE void store(uint8_t* p) const noexcept {
        for (int k = 0; k < 3; ++k) {
            store16(p + k * 16, _mm256_castsi256_si128(v[k]));
            store16(p + k * 16 + 48, _mm256_extracti128_si256(v[k], 1));
        }
    }
};

template <int Bytes>
RV_AVX2 void mirrorBlocks(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    using Block = std::conditional_t<Bytes % 3 == 0, ThirdsBlock<Bytes>, PixelBlock<Bytes>>;
    size_t i = 0, j = n * Bytes;
    // The last two blocks may overlap; both give the shared bytes the same value.
    for (; i + Block::kBytes <= j; i += Block::kBytes) {
        const Block front(src + i), back(src + (j -= Block::kBytes));
        back.store(dst + i);
        front.store(dst + j);
        if (j < i + Block::kBytes) return;
    }
    uint8_t middle[Block::kBytes];
    std::memcpy(middle, src + i, j - i);
    mirrorPlain<Bytes * 8>(middle, dst + i, (j - i) / Bytes);
}

// The first row is walked up and the second one down, so that in a whole picture two streams of memory are read.
template <int Bytes>
RV_AVX2 void exchangeBlocks(uint8_t* first, uint8_t* second, size_t n) noexcept {
    using Block = std::conditional_t<Bytes % 3 == 0, ThirdsBlock<Bytes>, PixelBlock<Bytes>>;
    size_t i = 0, j = n * Bytes;
    for (; j >= Block::kBytes; i += Block::kBytes) {
        j -= Block::kBytes;
        const Block up(first + i), down(second + j);
        down.store(first + i);
        up.store(second + j);
    }
    uint8_t rest[Block::kBytes];
    std::memcpy(rest, first + i, j);
    mirrorPlain<Bytes * 8>(second, first + i, j / Bytes);
    mirrorPlain<Bytes * 8>(rest, second, j / Bytes);
}

// A vector of a stream, and the same one byte earlier: shifted back by some bits, and in reverse.
template <int Bits>
struct StreamShift {
    __m128i right, left;
    __m256i kept, added;

    RV_AVX2_INLINE explicit StreamShift(uint32_t nShift) noexcept
        : right(_mm_cvtsi32_si128(int32_t(nShift))),
          left(_mm_cvtsi32_si128(int32_t(8 - nShift))),
          kept(_mm256_set1_epi8(int8_t(uint8_t(0xFF >> nShift)))),
          added(_mm256_set1_epi8(int8_t(uint8_t(0xFF00 >> nShift)))) {}

    RV_AVX2_INLINE __m256i operator()(__m256i v, __m256i before) const noexcept {
        static constexpr Bytes32 kLow = bytes32([](int i) { return int(reversedByte<Bits>(uint32_t(i % 16))); });
        static constexpr Bytes32 kHigh = bytes32([](int i) { return int(reversedByte<Bits>(uint32_t(i % 16) << 4)); });
        static constexpr Bytes32 kReverse = bytes32([](int i) { return 15 - i % 16; });
        const __m256i nibble = _mm256_set1_epi8(15);
        v = _mm256_or_si256(_mm256_and_si256(_mm256_srl_epi16(v, right), kept),
                            _mm256_and_si256(_mm256_sll_epi16(before, left), added));
        v = _mm256_permute4x64_epi64(_mm256_shuffle_epi8(v, kReverse.vector()), 0x4E);
        return _mm256_or_si256(_mm256_shuffle_epi8(kLow.vector(), _mm256_and_si256(v, nibble)),
                               _mm256_shuffle_epi8(kHigh.vector(), _mm256_and_si256(_mm256_srli_epi16(v, 4), nibble)));
    }
};

template <int Bits>
RV_AVX2 void mirrorStream(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    const size_t nBytes = n / (8 / Bits) + (n % (8 / Bits) > 0);
    const uint32_t nShift = uint32_t(nBytes * 8 - n * Bits) & 7;
    const StreamShift<Bits> turned(nShift);
    size_t i = 0, j = nBytes;
    // In place the byte in front of the front block is overwritten already: the block before it keeps it.
    __m256i last = _mm256_setzero_si256();
    uint32_t uBefore = 0;
    // Longer than a vector, so that the back block has its byte in front.
    for (; i + kVector < j; i += kVector) {
        const __m256i front = load32(src + i);
        const __m256i before = _mm256_alignr_epi8(front, _mm256_permute2x128_si256(last, front, 0x21), 15);
        const __m256i back = load32(src + (j -= kVector)), beforeBack = load32(src + j - 1);
        uBefore = src[i + kVector - 1];
        store32(dst + i, turned(back, beforeBack));
        store32(dst + j, turned(front, before));
        if (j <= i + kVector) return;
        last = front;
    }
    uint8_t middle[kVector];
    std::memcpy(middle, src + i, j - i);
    mirrorBytes<Bits>(middle, dst + i, j - i, nShift, uBefore);
}

template <int Bits>
constexpr MirrorKernel vectorKernel() noexcept {
    if constexpr (isWholeByte(Bits))
        return mirrorBlocks<Bits / 8>;
    else if constexpr (dividesByte(Bits))
        return mirrorStream<Bits>;
    else
        return mirrorPlain<Bits>;
}

template <int Bits>
constexpr MirrorExchange vectorExchange() noexcept {
    if constexpr (isWholeByte(Bits))
        return exchangeBlocks<Bits / 8>;
    else
        return nullptr;
}
#endif

}  // namespace

MirrorKernel plainMirrorKernel(int32_t nBits) noexcept {
    if (!isKnownDepth(nBits)) return nullptr;
    return visitDepth(nBits, [](auto bits) -> MirrorKernel { return mirrorPlain<bits>; });
}

MirrorKernel mirrorKernel(int32_t nBits) noexcept {
#ifdef RV_X86
    if (cpuHasAvx2() && isKnownDepth(nBits))
        return visitDepth(nBits, [](auto bits) -> MirrorKernel { return vectorKernel<bits>(); });
#endif
    return plainMirrorKernel(nBits);
}

MirrorExchange mirrorExchange([[maybe_unused]] int32_t nBits) noexcept {
#ifdef RV_X86
    if (cpuHasAvx2() && isKnownDepth(nBits))
        return visitDepth(nBits, [](auto bits) -> MirrorExchange { return vectorExchange<bits>(); });
#endif
    return nullptr;
}

}  // namespace rv

using namespace rv;

extern "C" int32_t R_MirrorLine(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixel) noexcept {
    if (!pBuffer) return -13;  // Invalid parameter passed
    const MirrorKernel mirror = mirrorKernel(nBitsPerPixel);
    if (mirror && nWidth > 0) mirror(pBuffer, pBuffer, size_t(nWidth));
    return 1;
}
