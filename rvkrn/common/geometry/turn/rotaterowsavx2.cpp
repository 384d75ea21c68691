// Rows of a turned picture with AVX2, for pixels whose surroundings lie in the picture: whole pixels of any size, and
// filters for pixels of three and four bytes.
#include <cstring>

#include "internal/turnlanes.h"

#ifdef RV_X86

namespace rv {
namespace {

using namespace turn;

// Eight pixels of a dword each, without their fourth byte for three-byte pixels.
template <int Bytes>
RV_AVX2_INLINE void storePixels(uint8_t* p, __m256i v) noexcept {
    if constexpr (Bytes == 4) {
        avx2::store32(p, v);
    } else {
        const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,  //
                                              0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
        v = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(v, pack), _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
        avx2::store16(p, _mm256_castsi256_si128(v));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 16), _mm256_extracti128_si256(v, 1));
    }
}

// Calls f(i) for groups of eight that cover n lanes, the last one backed up to end with the lanes. n is at least 8.
template <class F>
RV_AVX2_INLINE void eachGroup(size_t n, F&& f) noexcept {
    for (size_t i = 0; i + 8 <= n; i += 8) f(i);
    if (n % 8) f(n - 8);
}

// ---- nearest -----------------------------------------------------------------------------------------------------

// Three-byte pixels are moved by four, the fourth being overwritten by the next.
template <int Bytes>
RV_AVX2 void nearestRow(const TurnSource& src, TurnPoint start, TurnStep step, uint8_t* pRow, size_t nCol,
                        size_t nCount) noexcept {
    Lanes<int32_t> offsets;
    eachChunk<Bytes>(src, start, step, nCount,
                     [&](const uint8_t* pFirst, TurnPoint at, size_t nFrom, size_t n) RV_AVX2 {
                         Walk8 walk(src, at, step);
                         for (size_t i = 0; i < n; i += 8, walk.next())
                             storeLanes(offsets + i, walk.offset<Bytes>(walk.pixel(walk.x), walk.pixel(walk.y)));
                         uint8_t* p = pRow + (nCol + nFrom) * Bytes;
                         constexpr size_t kMoved = Bytes == 3 ? 4 : Bytes;
                         size_t i = 0;
                         for (; i + (Bytes == 3) < n; ++i, p += Bytes) std::memcpy(p, pFirst + offsets.v[i], kMoved);
                         for (; i < n; ++i, p += Bytes) std::memcpy(p, pFirst + offsets.v[i], Bytes);
                     });
}

// ---- bilinear ----------------------------------------------------------------------------------------------------

// c + (n - c) * w / 32768 in words, toward c. w is at most 16384; the products of the doubled difference, at most 510,
// have the quotient in their high words.
RV_AVX2_INLINE __m256i blend(__m256i c, __m256i n, __m256i w) noexcept {
    const __m256i d = _mm256_sub_epi16(n, c);
    const __m256i part = _mm256_mulhi_epi16(_mm256_slli_epi16(_mm256_abs_epi16(d), 1), w);
    return _mm256_add_epi16(c, _mm256_sign_epi16(part, d));
}

// Words of the four samples of eight pixels: 0, 1, 4, 5 in low and 2, 3, 6, 7 in high.
struct Pixels8 {
    __m256i low, high;
    RV_AVX2_INLINE explicit Pixels8(const uint32_t* p) noexcept {
        const __m256i v = loadLanes(p);
        low = _mm256_unpacklo_epi8(v, _mm256_setzero_si256());
        high = _mm256_unpackhi_epi8(v, _mm256_setzero_si256());
    }
    // Each by its own weight.
    RV_AVX2_INLINE void blendTo(const Pixels8& to, const uint16_t* pWeights) noexcept {
        const __m256i w = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(pWeights)));
        const __m256i spread = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3,  //
                                                8, 9, 8, 9, 8, 9, 8, 9, 10, 11, 10, 11, 10, 11, 10, 11);
        low = blend(low, to.low, _mm256_shuffle_epi8(w, spread));
        high = blend(high, to.high, _mm256_shuffle_epi8(w, _mm256_add_epi8(spread, _mm256_set1_epi8(4))));
    }
};

template <int Bytes>
RV_AVX2 void bilinearRow(const TurnSource& src, TurnPoint start, TurnStep step, uint8_t* pRow, size_t nCol,
                         size_t nCount) noexcept {
    BilinearPlaces places;
    Lanes<uint32_t> c, nx, ny;
    eachChunk<Bytes>(
        src, start, step, nCount, [&](const uint8_t* pFirst, TurnPoint at, size_t nFrom, size_t n) RV_AVX2 {
            if (n < 8) {
                plainTurn(Bytes * 8, TurnFilter::bilinear, false).inner(src, at, step, pRow, nCol + nFrom, n);
                return;
            }
            places.template locate<Bytes>(Walk8(src, at, step), n);
            for (size_t i = 0; i < n; ++i) {
                std::memcpy(c + i, pFirst + places.at.v[i], 4);
                std::memcpy(nx + i, pFirst + places.besideX.v[i], 4);
                std::memcpy(ny + i, pFirst + places.besideY.v[i], 4);
            }
            uint8_t* const p = pRow + (nCol + nFrom) * Bytes;
            eachGroup(n, [&](size_t i) RV_AVX2 {
                Pixels8 v(c + i);
                v.blendTo(Pixels8(nx + i), places.wx + i);
                v.blendTo(Pixels8(ny + i), places.wy + i);
                storePixels<Bytes>(p + i * Bytes, _mm256_packus_epi16(v.low, v.high));
            });
        });
}

// ---- bicubic -----------------------------------------------------------------------------------------------------

// Byte of sample nSample of pixel k, of four.
template <int Bytes>
constexpr int tapByte(int nSample, int k) {
    return nSample < Bytes ? k * Bytes + nSample : avx2::kNone;
}

// What the spline makes of four bytes is worked out in integers as far as floating point would be exact: with e and d
// as in TurnSpline, 2 e, 2 e - 12 d and the linear part, times 16384. All is kept 16384 times as large, which changes
// no rounding; so the factors of the curvatures, that are twice as large, are multiplied by 8192.
struct BicubicChunk {
    BicubicPlaces places;
    Lanes<uint32_t> linear;  // words: 16384 less the fraction along the row, and the fraction

    template <int Bytes>
    RV_AVX2_INLINE void locate(const Walk8& walk, size_t n) noexcept {
        places.template locate<Bytes>(walk, n, kTurnOne / 2, [&](size_t i, __m256i f) RV_AVX2 {
            storeLanes(linear + i,
                       _mm256_or_si256(_mm256_sub_epi32(_mm256_set1_epi32(kTurnOne), f), _mm256_slli_epi32(f, 16)));
        });
    }

    // Along two rows of four pixels: the four samples of each.
    template <int Bytes>
    RV_AVX2_INLINE __m256 rows(const uint8_t* p, const uint8_t* q, size_t i) noexcept {
        static constexpr avx2::Bytes32 kTaps = avx2::bytes32([](int b) { return tapByte<Bytes>(b % 16 / 4, b % 4); });
        static constexpr avx2::Bytes32 kMiddle =
            avx2::bytes32([](int b) { return b % 2 ? avx2::kNone : tapByte<Bytes>(b % 16 / 4, 1 + b % 4 / 2); });
        const __m256i v = avx2::loadPair(p, q), ones = _mm256_set1_epi16(1);
        const __m256i taps = _mm256_shuffle_epi8(v, kTaps.vector());
        const __m256i bend = _mm256_madd_epi16(                                         // 2 e - 12 d
            _mm256_maddubs_epi16(taps, _mm256_set1_epi32(int32_t(0xF41BEE03))), ones);  // 3, -18, 27, -12
        const __m256i twice = _mm256_madd_epi16(                                        // 2 e
            _mm256_maddubs_epi16(taps, _mm256_set1_epi32(0x0003FA03)), ones);           // 3, -6, 3, 0
        const __m256i line =
            _mm256_madd_epi16(_mm256_shuffle_epi8(v, kMiddle.vector()), _mm256_set1_epi32(int32_t(linear.v[i])));
        const __m256 M2 = _mm256_andnot_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(bend, twice)),
                                           _mm256_mul_ps(_mm256_cvtepi32_ps(bend), _mm256_set1_ps(-0.266667f)));
        const __m256 M1 = _mm256_sub_ps(_mm256_cvtepi32_ps(twice), _mm256_mul_ps(_mm256_set1_ps(0.25f), M2));
        return _mm256_add_ps(
            _mm256_add_ps(_mm256_cvtepi32_ps(line), _mm256_mul_ps(_mm256_set1_ps(places.across.m1.v[i]), M1)),
            _mm256_mul_ps(_mm256_set1_ps(places.across.m2.v[i]), M2));
    }

    // Down the columns of two pixels, whose rows stand in pairs; as rounded integers.
    RV_AVX2_INLINE __m256i columns(__m256 upper0, __m256 lower0, __m256 upper1, __m256 lower1, size_t i) noexcept {
        const __m256 y = Spline8(places.down, i, Spline8::Pair{})(
            _mm256_permute2f128_ps(upper0, upper1, 0x20), _mm256_permute2f128_ps(upper0, upper1, 0x31),
            _mm256_permute2f128_ps(lower0, lower1, 0x20), _mm256_permute2f128_ps(lower0, lower1, 0x31));
        // Half a unit is added as an integer, so that no sum is rounded up to it.
        return _mm256_srai_epi32(_mm256_add_epi32(_mm256_cvttps_epi32(y), _mm256_set1_epi32(kTurnOne / 2)), kTurnBits);
    }
};

template <int Bytes>
RV_AVX2 void bicubicRow(const TurnSource& src, TurnPoint start, TurnStep step, uint8_t* pRow, size_t nCol,
                        size_t nCount) noexcept {
    BicubicChunk chunk;
    const auto nStride = ptrdiff_t(src.nStride);
    eachChunk<Bytes>(
        src, start, step, nCount, [&](const uint8_t* pFirst, TurnPoint at, size_t nFrom, size_t n) RV_AVX2 {
            if (n < 8) {
                plainTurn(Bytes * 8, TurnFilter::bicubic, false).inner(src, at, step, pRow, nCol + nFrom, n);
                return;
            }
            chunk.template locate<Bytes>(Walk8(src, at, step), n);
            uint8_t* const pDst = pRow + (nCol + nFrom) * Bytes;
            eachGroup(n, [&](size_t i) RV_AVX2 {
                __m256i v[4];
                for (size_t k = 0; k < 4; ++k) {
                    const size_t a = i + 2 * k, b = a + 1;
                    const uint8_t* const p = pFirst + chunk.places.at.v[a];
                    const uint8_t* const q = pFirst + chunk.places.at.v[b];
                    v[k] = chunk.columns(chunk.template rows<Bytes>(p, p + nStride, a),
                                         chunk.template rows<Bytes>(p + 2 * nStride, p + 3 * nStride, a),
                                         chunk.template rows<Bytes>(q, q + nStride, b),
                                         chunk.template rows<Bytes>(q + 2 * nStride, q + 3 * nStride, b), a);
                }
                // Pixels 0 2 4 6, 1 3 5 7.
                const __m256i bytes =
                    _mm256_packus_epi16(_mm256_packs_epi32(v[0], v[1]), _mm256_packs_epi32(v[2], v[3]));
                storePixels<Bytes>(pDst + i * Bytes,
                                   _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
            });
        });
}

TurnRow nearestOf(int32_t nBits) noexcept {
    switch (nBits) {
        case 8:
            return nearestRow<1>;
        case 16:
            return nearestRow<2>;
        case 24:
            return nearestRow<3>;
        case 32:
            return nearestRow<4>;
        case 48:
            return nearestRow<6>;
        case 64:
            return nearestRow<8>;
        default:
            return nullptr;
    }
}

}  // namespace

// Three-byte pixels are read by four bytes, and four of them by sixteen: up to two pixels more to the right.
void useAvx2Turn(TurnKernel& kernel, int32_t nBits, TurnFilter filter, bool bSigned) noexcept {
    const bool bPacked = nBits == 24 || nBits == 32;
    TurnRow fast = nullptr;
    if (filter == TurnFilter::nearest)
        fast = nearestOf(nBits);
    else if (!bPacked)
        fast = avx2TurnPlanes(nBits, filter, bSigned);
    else if (filter == TurnFilter::bilinear)
        fast = nBits == 24 ? bilinearRow<3> : bilinearRow<4>;
    else
        fast = nBits == 24 ? bicubicRow<3> : bicubicRow<4>;
    if (!fast) return;
    kernel.inner = fast;
    if (nBits == 24) kernel.nRight += filter == TurnFilter::bicubic ? 2 : 1;
}

}  // namespace rv
#endif
