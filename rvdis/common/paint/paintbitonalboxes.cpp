// Counting the bits of boxes: rows into planes, planes into counts, counts into gray.
#include <algorithm>
#include <bit>

#include "internal/bitboxes.h"
#include "internal/bitcounts.h"
#include "internal/pixels.h"
#include "internal/rowblocks.h"
#include "internal/simd.h"

namespace rv {
namespace {

// ---- rows into planes

// Adds a bit to sums of Planes bits, of which the highest is a new one if New.
template <int Planes, bool New>
[[gnu::always_inline]] inline void addBits(uint64_t uCarry, uint64_t& plane, auto&... higher) noexcept {
    const uint64_t u = plane;
    if constexpr (Planes > 1) {
        plane = u ^ uCarry;
        addBits<Planes - 1, New>(u & uCarry, higher...);
    } else {
        plane = New ? uCarry : u ^ uCarry;
    }
}
using Plane = uint64_t* __restrict;
template <int Planes, bool New>
[[gnu::always_inline]] inline void addWords(const uint8_t* __restrict row, size_t nBytes, Plane p0, Plane p1, Plane p2,
                                            Plane p3, Plane p4) noexcept {
    const size_t n = nBytes / 8;
    for (size_t i = 0; i < n; ++i)
        addBits<Planes, New>(loadLittle<uint64_t>(row + i * 8), p0[i], p1[i], p2[i], p3[i], p4[i]);
    if (nBytes % 8) {
        uint64_t u = 0;
        std::memcpy(&u, row + n * 8, nBytes % 8);
        addBits<Planes, New>(u, p0[n], p1[n], p2[n], p3[n], p4[n]);
    }
}

}  // namespace

// The nAfter-th row.
RV_CLONES void addRowToPlanes(uint64_t* planes, size_t nStride, const uint8_t* row, size_t nBytes,
                              int32_t nAfter) noexcept {
    static_assert(kMostPlanes == 5);
    uint64_t *const p0 = planes, *const p1 = p0 + nStride, *const p2 = p1 + nStride, *const p3 = p2 + nStride,
                    *const p4 = p3 + nStride;
    switch (nAfter) {
        case 1:
            return addWords<1, true>(row, nBytes, p0, p1, p2, p3, p4);
        case 2:
            return addWords<2, true>(row, nBytes, p0, p1, p2, p3, p4);
        case 3:
            return addWords<2, false>(row, nBytes, p0, p1, p2, p3, p4);
        case 4:
            return addWords<3, true>(row, nBytes, p0, p1, p2, p3, p4);
        case 8:
            return addWords<4, true>(row, nBytes, p0, p1, p2, p3, p4);
        case 16:
            return addWords<5, true>(row, nBytes, p0, p1, p2, p3, p4);
    }
    if (nAfter < 8) return addWords<3, false>(row, nBytes, p0, p1, p2, p3, p4);
    if (nAfter < 16) return addWords<4, false>(row, nBytes, p0, p1, p2, p3, p4);
    addWords<5, false>(row, nBytes, p0, p1, p2, p3, p4);
}

bool BitPlanes::allocate(size_t nRowBytes) noexcept {
    m_nRowBytes = nRowBytes;
    m_nStride = (nRowBytes + 7) / 8 + 2;
    return m_planes.allocateCleared(uint64_t(m_nStride) * kMostPlanes);
}
void BitPlanes::add(const uint8_t* row) noexcept {
    addRowToPlanes(m_planes.get(), m_nStride, row, m_nRowBytes, ++m_nRows);
}
int32_t BitPlanes::count() const noexcept { return int32_t(std::bit_width(uint32_t(m_nRows))); }

// ---- planes into counts

namespace {

[[gnu::always_inline]] inline void countPlain(const BitBoxes& boxes, const BitPlanes& planes, bool bAdd,
                                              uint32_t* counts) noexcept {
    const int32_t nPlanes = planes.count();
    for (size_t i = 0; i < boxes.n; ++i) {
        const uint8_t* row = planes.first();
        uint32_t n = bAdd ? counts[i] : 0;
        for (int32_t k = 0; k < nPlanes; ++k, row += planes.stride())
            n += countOnes(row, boxes.starts[i], boxes.ends[i]) << k;
        counts[i] = n;
    }
}
void countOnPlain(const BitBoxes& boxes, const BitPlanes& planes, bool bAdd, uint32_t* counts) noexcept {
    countPlain(boxes, planes, bAdd, counts);
}
void spreadPlain(const BitBoxes& boxes, const BitPlanes& planes, uint8_t uFlip, uint8_t* out) noexcept {
    const uint8_t* row = planes.first();
    for (size_t i = 0; i < boxes.n; ++i) out[i] = uint8_t((0 - Pixel<1>::get(row, boxes.starts[i])) ^ uFlip);
}

#ifdef __x86_64__
RV_AVX2 void countWide(const BitBoxes& boxes, const BitPlanes& planes, bool bAdd, uint32_t* counts) noexcept {
    countPlain(boxes, planes, bAdd, counts);
}

// The 1-bits of each byte.
RV_AVX2_INLINE __m256i onesOfBytes(__m256i v) noexcept {
    const __m256i ones = _mm256_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4, 0, 1, 1, 2, 1, 2, 2, 3, 1, 2,
                                          2, 3, 2, 3, 3, 4);
    const __m256i low = _mm256_set1_epi8(15);
    return _mm256_add_epi8(_mm256_shuffle_epi8(ones, _mm256_and_si256(v, low)),
                           _mm256_shuffle_epi8(ones, _mm256_and_si256(_mm256_srli_epi16(v, 4), low)));
}

RV_AVX2_INLINE void putCounts(uint32_t* counts, __m256i v, bool bAdd) noexcept {
    const auto p = reinterpret_cast<__m256i*>(counts);
    _mm256_storeu_si256(p, bAdd ? _mm256_add_epi32(v, _mm256_loadu_si256(p)) : v);
}

// Sums of bytes, lane by lane.
template <int LaneBits>
RV_AVX2_INLINE void putLanes(uint32_t* counts, __m256i bytes, bool bAdd) noexcept {
    const __m256i pairs = _mm256_maddubs_epi16(bytes, _mm256_set1_epi8(1));
    if constexpr (LaneBits == 16) {
        putCounts(counts, _mm256_cvtepu16_epi32(_mm256_castsi256_si128(pairs)), bAdd);
        putCounts(counts + 8, _mm256_cvtepu16_epi32(_mm256_extracti128_si256(pairs, 1)), bAdd);
    } else if constexpr (LaneBits == 32) {
        putCounts(counts, _mm256_madd_epi16(pairs, _mm256_set1_epi16(1)), bAdd);
    } else {
        const __m256i sums = _mm256_sad_epu8(bytes, _mm256_setzero_si256());
        const __m128i four =
            _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(sums, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6)));
        const auto p = reinterpret_cast<__m128i*>(counts);
        _mm_storeu_si128(p, bAdd ? _mm_add_epi32(four, _mm_loadu_si128(p)) : four);
    }
}

template <int LaneBits, int Planes>
RV_AVX2 void countLanes(const BitBoxes& boxes, const BitPlanes& planes, bool bAdd, uint32_t* counts) noexcept {
    constexpr size_t kBoxes = 256 / LaneBits;
    const uint8_t* const first = planes.first();
    const size_t nStride = planes.stride();
    const BoxLanes* lanes = boxes.lanes;
    for (size_t i = 0; i < boxes.n; i += kBoxes, ++lanes) {
        const __m256i shuffle = avx2::load32(lanes->shuffle), mask = avx2::load32(lanes->mask);
        const uint8_t *p = first + lanes->nByte[0], *q = first + lanes->nByte[1];
        __m256i sum = _mm256_setzero_si256();
        for (size_t k = Planes; k-- > 0;) {
            const __m256i v = avx2::loadPair(p + k * nStride, q + k * nStride);
            const __m256i n = onesOfBytes(_mm256_and_si256(_mm256_shuffle_epi8(v, shuffle), mask));
            sum = _mm256_add_epi8(_mm256_add_epi8(sum, sum), n);
        }
        putLanes<LaneBits>(counts + i, sum, bAdd);
    }
}

template <int LaneBits>
void countOfPlanes(const BitBoxes& boxes, const BitPlanes& planes, bool bAdd, uint32_t* counts) noexcept {
    static_assert(kMostPlanes == 5);
    switch (planes.count()) {
        case 1:
            return countLanes<LaneBits, 1>(boxes, planes, bAdd, counts);
        case 2:
            return countLanes<LaneBits, 2>(boxes, planes, bAdd, counts);
        case 3:
            return countLanes<LaneBits, 3>(boxes, planes, bAdd, counts);
        case 4:
            return countLanes<LaneBits, 4>(boxes, planes, bAdd, counts);
        case 5:
            return countLanes<LaneBits, 5>(boxes, planes, bAdd, counts);
        default:
            return countWide(boxes, planes, bAdd, counts);
    }
}

void countOnAvx2(const BitBoxes& boxes, const BitPlanes& planes, bool bAdd, uint32_t* counts) noexcept {
    if (!boxes.lanes) return countWide(boxes, planes, bAdd, counts);
    if (boxes.nLaneBits == 16) return countOfPlanes<16>(boxes, planes, bAdd, counts);
    if (boxes.nLaneBits == 32) return countOfPlanes<32>(boxes, planes, bAdd, counts);
    countOfPlanes<64>(boxes, planes, bAdd, counts);
}

// The boxes of a vector of the narrowest lanes.
RV_AVX2_INLINE __m128i spreadLanes(const uint8_t* row, const BoxLanes& lanes, __m128i flip) noexcept {
    const __m256i mask = avx2::load32(lanes.mask), v = avx2::loadPair(row + lanes.nByte[0], row + lanes.nByte[1]);
    const __m256i bits = _mm256_and_si256(_mm256_shuffle_epi8(v, avx2::load32(lanes.shuffle)), mask);
    const __m256i ones = _mm256_cmpeq_epi16(bits, mask);
    return _mm_xor_si128(_mm_packs_epi16(_mm256_castsi256_si128(ones), _mm256_extracti128_si256(ones, 1)), flip);
}
RV_AVX2 void spreadOnAvx2(const BitBoxes& boxes, const BitPlanes& planes, uint8_t uFlip, uint8_t* out) noexcept {
    if (!boxes.lanes) return spreadPlain(boxes, planes, uFlip, out);
    const __m128i flip = _mm_set1_epi8(char(uFlip));
    const BoxLanes* lanes = boxes.lanes;
    size_t i = 0;
    for (; i + 16 <= boxes.n; i += 16) avx2::store16(out + i, spreadLanes(planes.first(), *lanes++, flip));
    if (i < boxes.n) {
        uint8_t last[16];
        avx2::store16(last, spreadLanes(planes.first(), *lanes, flip));
        std::memcpy(out + i, last, boxes.n - i);
    }
}
#endif

// Bits of a lane are at most 7 fewer than a box may have columns. All boxes of a half then lie in its 16 bytes.
uint32_t laneBitsFor(uint32_t nWidest) noexcept {
    return nWidest <= 9 ? 16 : nWidest <= 25 ? 32 : nWidest <= 57 ? 64 : 0;
}

void setLane(BoxLanes& lanes, uint32_t nLane, uint32_t nLaneBytes, uint32_t nFrom, uint32_t nTo) noexcept {
    const uint32_t nAt = nLane * nLaneBytes, nHalf = nAt / 16;
    if (nAt % 16 == 0) lanes.nByte[nHalf] = nFrom / 8;
    for (uint32_t i = 0; i < nLaneBytes; ++i) lanes.shuffle[nAt + i] = uint8_t(nFrom / 8 - lanes.nByte[nHalf] + i);
    for (uint32_t x = nFrom; x < nTo; ++x)
        lanes.mask[nAt + x / 8 - nFrom / 8] = uint8_t(lanes.mask[nAt + x / 8 - nFrom / 8] | 0x80 >> x % 8);
}

}  // namespace

constexpr BitBoxOps kPlainBitBoxes{countOnPlain, spreadPlain};
#ifdef __x86_64__
constexpr BitBoxOps kAvx2BitBoxes{countOnAvx2, spreadOnAvx2};
#endif
const BitBoxOps& bestBitBoxes() noexcept {
#ifdef __x86_64__
    if (cpuHasAvx2()) return kAvx2BitBoxes;
#endif
    return kPlainBitBoxes;
}

bool makeBoxLanes(BitBoxes& boxes, uint32_t nWidest, Buffer<BoxLanes>& lanes) noexcept {
    boxes.lanes = nullptr;
    boxes.nLaneBits = laneBitsFor(nWidest);
    if (boxes.nLaneBits == 0 || &bestBitBoxes() == &kPlainBitBoxes) return true;
    const uint32_t nBoxes = 256 / boxes.nLaneBits;
    if (!lanes.allocateCleared((uint64_t(boxes.n) + nBoxes - 1) / nBoxes)) return false;
    for (size_t i = 0; i < boxes.n; ++i)
        setLane(lanes[i / nBoxes], uint32_t(i % nBoxes), boxes.nLaneBits / 8, boxes.starts[i], boxes.ends[i]);
    boxes.lanes = lanes.get();
    return true;
}

// ---- counts into gray

namespace {

// Half a pixel more keeps whole quotients whole; the errors of the factors are far below it.
template <class Real>
[[gnu::always_inline]] inline void grays(const uint32_t* __restrict counts, const Real* __restrict inverses,
                                         uint32_t nHeight, uint8_t uFlip, uint8_t* __restrict out, size_t n) noexcept {
    const Real each = Real(255) / Real(nHeight), half = Real(0.5) / Real(nHeight);
    for (size_t i = 0; i < n; ++i)
        out[i] = uint8_t(int32_t((Real(int32_t(counts[i])) * each + half) * inverses[i]) ^ uFlip);
}

}  // namespace

RV_CLONES void graysOfCounts(const uint32_t* counts, const float* inverses, uint32_t nHeight, uint8_t uFlip,
                             uint8_t* out, size_t n) noexcept {
    grays(counts, inverses, nHeight, uFlip, out, n);
}
RV_CLONES void graysOfCounts(const uint32_t* counts, const double* inverses, uint32_t nHeight, uint8_t uFlip,
                             uint8_t* out, size_t n) noexcept {
    grays(counts, inverses, nHeight, uFlip, out, n);
}

// A division bit by bit of the factor, which has eight: no product leaves 64 bits.
uint8_t grayOfCount(uint64_t nCount, uint64_t nTotal) noexcept {
    uint64_t nRest = 0, nQuotient = 0;
    for (int32_t i = 0; i < 8; ++i) {
        nRest = nRest * 2 + nCount;
        nQuotient = nQuotient * 2 + nRest / nTotal;
        nRest %= nTotal;
    }
    return uint8_t(nQuotient);
}

}  // namespace rv
