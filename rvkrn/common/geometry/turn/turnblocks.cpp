// Tiles of pixels turned over their diagonal.
//
// The vector forms rest on one network: of 2^n vectors with 2^n elements each, the first half is interleaved with the
// second one. That rotates the bits of an element's address (vector, place) by one, so n rounds exchange vector and
// place. All works in halves of 16 bytes; rows of the upper half lie behind those of the lower one, so that a
// destination row gets 32 bytes in a row. Depths below a byte first gather the pixels of 8, 4 or 2 rows in a byte.
#include <algorithm>

#include "internal/pixels.h"
#include "internal/rotate_.h"
#include "internal/rowblocks.h"

namespace rv {
namespace {

// ---- plain

template <int Bits>
constexpr bool kPacked = Bits < 8;  // eight pixels fill whole bytes

// Up to eight rows by up to eight pixels of 1 to 7 bits, by way of 64-bit words. nRows and nCols are 1 to 8.
template <int Bits>
void transposeGroup(const uint8_t* src, ptrdiff_t nSrcStep, uint8_t* dst, ptrdiff_t nDstStep, size_t nRows,
                    size_t nCols) noexcept {
    const auto nIn = size_t(packedBytes(nCols, Bits)), nOut = size_t(packedBytes(nRows, Bits));
    uint64_t rows[8] = {};
    for (size_t r = 0; r < nRows; ++r, src += nSrcStep)
        for (size_t i = 0; i < nIn; ++i) rows[r] |= uint64_t(src[i]) << (56 - 8 * i);
    for (size_t c = 0; c < nCols; ++c, dst += nDstStep) {
        uint64_t column = 0;
        for (size_t r = 0; r < 8; ++r) {
            column |= rows[r] >> (64 - Bits) << (64 - Bits * (r + 1));
            rows[r] <<= Bits;
        }
        for (size_t i = 0; i < nOut; ++i) dst[i] = uint8_t(column >> (56 - 8 * i));
    }
}

template <int Bits>
void transposePlain(const uint8_t* src, ptrdiff_t nSrcStep, uint8_t* dst, ptrdiff_t nDstStep, size_t nRows,
                    size_t nCols) noexcept {
    if constexpr (kPacked<Bits>) {
        for (size_t y = 0; y < nRows; y += 8)
            for (size_t x = 0; x < nCols; x += 8)
                transposeGroup<Bits>(src + ptrdiff_t(y) * nSrcStep + x / 8 * Bits, nSrcStep,
                                     dst + ptrdiff_t(x) * nDstStep + y / 8 * Bits, nDstStep,
                                     std::min<size_t>(nRows - y, 8), std::min<size_t>(nCols - x, 8));
    } else {
        for (size_t x = 0; x < nCols; ++x, dst += nDstStep) {
            const uint8_t* p = src;
            for (size_t y = 0; y < nRows; ++y, p += nSrcStep) Pixel<Bits>::put(dst, y, Pixel<Bits>::get(p, x));
        }
    }
}

// ---- vectors

#ifdef RV_X86
using namespace avx2;

template <int Bytes>
RV_AVX2_INLINE __m256i interleaveLow(__m256i a, __m256i b) noexcept {
    if constexpr (Bytes == 1) return _mm256_unpacklo_epi8(a, b);
    if constexpr (Bytes == 2) return _mm256_unpacklo_epi16(a, b);
    if constexpr (Bytes == 4) return _mm256_unpacklo_epi32(a, b);
    if constexpr (Bytes == 8) return _mm256_unpacklo_epi64(a, b);
}
template <int Bytes>
RV_AVX2_INLINE __m256i interleaveHigh(__m256i a, __m256i b) noexcept {
    if constexpr (Bytes == 1) return _mm256_unpackhi_epi8(a, b);
    if constexpr (Bytes == 2) return _mm256_unpackhi_epi16(a, b);
    if constexpr (Bytes == 4) return _mm256_unpackhi_epi32(a, b);
    if constexpr (Bytes == 8) return _mm256_unpackhi_epi64(a, b);
}

// Element i of vector k becomes element k of vector i, in each half.
template <int Bytes>
RV_AVX2_INLINE void exchange(__m256i (&v)[16 / Bytes]) noexcept {
    constexpr int kCount = 16 / Bytes;
    for (int n = 1; n < kCount; n *= 2) {
        __m256i t[kCount];
        for (int i = 0; i < kCount / 2; ++i) {
            t[2 * i] = interleaveLow<Bytes>(v[i], v[i + kCount / 2]);
            t[2 * i + 1] = interleaveHigh<Bytes>(v[i], v[i + kCount / 2]);
        }
        for (int i = 0; i < kCount; ++i) v[i] = t[i];
    }
}

// A block transposes kRows x kCols pixels, and touches no others.

// Pixels of 1, 2, 4 or 8 bytes.
template <int Bytes>
struct WholeBlock {
    static constexpr size_t kCols = 16 / Bytes, kRows = 2 * kCols;
    RV_AVX2_INLINE void operator()(const uint8_t* src, ptrdiff_t nSrcStep, uint8_t* dst,
                                   ptrdiff_t nDstStep) const noexcept {
        constexpr int kCount = 16 / Bytes;
        __m256i v[kCount];
        for (int i = 0; i < kCount; ++i) v[i] = loadPair(src + i * nSrcStep, src + (i + kCount) * nSrcStep);
        exchange<Bytes>(v);
        for (int i = 0; i < kCount; ++i) store32(dst + i * nDstStep, v[i]);
    }
};

// Pixels of 3 or 6 bytes, which travel in elements of 4 or 8: 24 bytes of a row in two halves.
template <int Bytes>
struct OddBlock {
    static constexpr int kElement = Bytes / 3 * 4, kCount = 16 / kElement;
    static constexpr size_t kCols = 24 / Bytes, kRows = 24 / Bytes;

    static constexpr Bytes32 spread(int nFrom) {
        return bytes32([=](int i) {
            const int c = i % kElement;
            return c >= Bytes ? kNone : i % 16 / kElement * Bytes + c + nFrom;
        });
    }
    RV_AVX2_INLINE void operator()(const uint8_t* src, ptrdiff_t nSrcStep, uint8_t* dst,
                                   ptrdiff_t nDstStep) const noexcept {
        static constexpr Bytes32 kSpread[2] = {spread(0), spread(4)};
        static constexpr Bytes32 kPack =
            bytes32([](int i) { return i % 16 >= 12 ? kNone : i % 16 / Bytes * kElement + i % 16 % Bytes; });
        const __m256i pack = kPack.vector(), close = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
        for (int nHalf = 0; nHalf < 2; ++nHalf, src += 8) {
            const __m256i order = kSpread[nHalf].vector();
            __m256i v[kCount];
            for (int i = 0; i < kCount; ++i)
                v[i] = _mm256_shuffle_epi8(loadPair(src + i * nSrcStep, src + (i + kCount) * nSrcStep), order);
            exchange<kElement>(v);
            for (int i = 0; i < kCount; ++i, dst += nDstStep) {
                const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(v[i], pack), close);
                store16(dst, _mm256_castsi256_si128(bytes));
                _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + 16), _mm256_extracti128_si256(bytes, 1));
            }
        }
    }
};

// Pixels of 2 or 4 bits: phase k of a byte's pixels is gathered from a group of rows, then bytes are exchanged.
template <int Bits>
struct PartBlock {
    static constexpr int kGroup = 8 / Bits;  // pixels of a byte
    static constexpr size_t kCols = 16 * kGroup, kRows = 32 * kGroup;
    static constexpr int kMask = (1 << Bits) - 1;

    template <int Phase>
    RV_AVX2_INLINE static __m256i gather(const uint8_t* low, const uint8_t* high, ptrdiff_t nSrcStep) noexcept {
        __m256i all = _mm256_setzero_si256();
        for (int j = 0; j < kGroup; ++j) {
            const __m256i v = loadPair(low + j * nSrcStep, high + j * nSrcStep);
            const int nShift = Bits * (Phase - j);  // to the left
            const __m256i moved = nShift >= 0 ? _mm256_slli_epi16(v, nShift) : _mm256_srli_epi16(v, -nShift);
            const __m256i mask = _mm256_set1_epi8(char(kMask << (Bits * (kGroup - 1 - j))));
            all = _mm256_or_si256(all, _mm256_and_si256(moved, mask));
        }
        return all;
    }
    template <int Phase>
    RV_AVX2_INLINE static void phase(const uint8_t* src, ptrdiff_t nSrcStep, uint8_t* dst,
                                     ptrdiff_t nDstStep) noexcept {
        __m256i v[16];
        for (int i = 0; i < 16; ++i)
            v[i] = gather<Phase>(src + i * kGroup * nSrcStep, src + (i + 16) * kGroup * nSrcStep, nSrcStep);
        exchange<1>(v);
        for (int i = 0; i < 16; ++i) store32(dst + (i * kGroup + Phase) * nDstStep, v[i]);
        if constexpr (Phase + 1 < kGroup) phase<Phase + 1>(src, nSrcStep, dst, nDstStep);
    }
    RV_AVX2_INLINE void operator()(const uint8_t* src, ptrdiff_t nSrcStep, uint8_t* dst,
                                   ptrdiff_t nDstStep) const noexcept {
        phase<0>(src, nSrcStep, dst, nDstStep);
    }
};

// Pixels of a bit: with the bytes of 32 rows side by side, eight of them from the last row to the first, the top bits
// are the 32 pixels of a column.
struct BitBlock {
    static constexpr size_t kCols = 128, kRows = 32;
    RV_AVX2_INLINE void operator()(const uint8_t* src, ptrdiff_t nSrcStep, uint8_t* dst,
                                   ptrdiff_t nDstStep) const noexcept {
        __m256i v[16];
        for (int i = 0; i < 16; ++i) {
            const int nRow = (i & 8) + 7 - (i & 7);
            v[i] = loadPair(src + nRow * nSrcStep, src + (nRow + 16) * nSrcStep);
        }
        exchange<1>(v);
        for (int i = 0; i < 16; ++i) {
            for (int n = 0; n < 8; ++n, dst += nDstStep) {
                storeLittle(dst, _mm256_movemask_epi8(v[i]));
                v[i] = _mm256_add_epi8(v[i], v[i]);
            }
        }
    }
};

// Block by block; what is left goes by the plain form. Where a pixel is whole bytes, the last block goes back over
// pixels that are done instead.
template <int Bits, class Block>
RV_AVX2 void transposeBlocks(const uint8_t* src, ptrdiff_t nSrcStep, uint8_t* dst, ptrdiff_t nDstStep, size_t nRows,
                             size_t nCols) noexcept {
    constexpr size_t kRows = Block::kRows, kCols = Block::kCols;
    if (nRows < kRows || nCols < kCols) return transposePlain<Bits>(src, nSrcStep, dst, nDstStep, nRows, nCols);
    const auto from = [=](size_t y, size_t x) { return src + ptrdiff_t(y) * nSrcStep + x * Bits / 8; };
    const auto to = [=](size_t y, size_t x) { return dst + ptrdiff_t(x) * nDstStep + y * Bits / 8; };
    const Block block{};
    const auto bandOfRows = [&](size_t y) RV_AVX2 {
        size_t x = 0;
        for (; x + kCols <= nCols; x += kCols) block(from(y, x), nSrcStep, to(y, x), nDstStep);
        if (x == nCols) return;
        if constexpr (Bits >= 8)
            block(from(y, nCols - kCols), nSrcStep, to(y, nCols - kCols), nDstStep);
        else
            transposePlain<Bits>(from(y, x), nSrcStep, to(y, x), nDstStep, kRows, nCols - x);
    };
    size_t y = 0;
    for (; y + kRows <= nRows; y += kRows) bandOfRows(y);
    if (y == nRows) return;
    if constexpr (Bits >= 8)
        bandOfRows(nRows - kRows);
    else
        transposePlain<Bits>(from(y, 0), nSrcStep, to(y, 0), nDstStep, nRows - y, nCols);
}

template <int Bits>
constexpr TransposeTile vectorForm() noexcept {
    if constexpr (Bits == 1) return transposeBlocks<1, BitBlock>;
    if constexpr (Bits == 2 || Bits == 4) return transposeBlocks<Bits, PartBlock<Bits>>;
    if constexpr (Bits == 8 || Bits == 16 || Bits == 32 || Bits == 64)
        return transposeBlocks<Bits, WholeBlock<Bits / 8>>;
    if constexpr (Bits == 24 || Bits == 48) return transposeBlocks<Bits, OddBlock<Bits / 8>>;
    return transposePlain<Bits>;
}
#endif

}  // namespace

TransposeTile plainTranspose(int32_t nBits) noexcept {
    return visitDepth(nBits, [](auto bits) -> TransposeTile { return transposePlain<bits>; });
}

TransposeTile bestTranspose(int32_t nBits) noexcept {
#ifdef RV_X86
    if (cpuHasAvx2()) return visitDepth(nBits, [](auto bits) { return vectorForm<bits>(); });
#endif
    return plainTranspose(nBits);
}

}  // namespace rv
