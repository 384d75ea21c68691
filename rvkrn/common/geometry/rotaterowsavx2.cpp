// Rows of a turned picture with AVX2, for pixels whose surroundings lie in the picture: where they stand is found for
// chunks of a row at once, as 32-bit offsets; then pixels are fetched one by one, which is faster than gathering them,
// and blended in vectors.
#include <algorithm>

#include "internal/pixels.h"
#include "internal/rotaterows.h"
#include "internal/rowblocks.h"

#ifdef RV_X86

namespace rv {
namespace {

constexpr int64_t kChunk = 256;
// Some lanes past the chunk are worked out, but not used.
constexpr size_t kRoom = kChunk + 8;

template <class T>
struct alignas(32) Lanes {
    T v[kRoom];
    T* operator+(size_t i) noexcept { return v + i; }
};

RV_AVX2_INLINE __m256i loadLanes(const void* p) noexcept { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
RV_AVX2_INLINE void storeLanes(void* p, __m256i v) noexcept { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

// Columns of a chunk, so that the offsets of the rows that it can reach fit 31 bits. 1 always does.
int64_t chunkOf(int64_t nStride) noexcept {
    return std::clamp<int64_t>((int64_t(1) << 30) / std::max<int64_t>(nStride, 1) - 4, 1, kChunk);
}

// Eight places in a row of a chunk, counted from the pixel that the chunk starts in.
struct Walk8 {
    __m256i x, y, stepX, stepY, stride;

    RV_AVX2_INLINE Walk8(const TurnSource& src, TurnPoint at, TurnStep step) noexcept {
        const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
        const __m256i sx = _mm256_set1_epi32(step.x), sy = _mm256_set1_epi32(step.y);
        x = _mm256_add_epi32(_mm256_set1_epi32(int32_t(at.x & (kTurnOne - 1))), _mm256_mullo_epi32(lanes, sx));
        y = _mm256_add_epi32(_mm256_set1_epi32(int32_t(at.y & (kTurnOne - 1))), _mm256_mullo_epi32(lanes, sy));
        stepX = _mm256_slli_epi32(sx, 3);
        stepY = _mm256_slli_epi32(sy, 3);
        stride = _mm256_set1_epi32(int32_t(src.nStride));
    }
    RV_AVX2_INLINE void next() noexcept {
        x = _mm256_add_epi32(x, stepX);
        y = _mm256_add_epi32(y, stepY);
    }
    // Bytes to pixels that stand so many columns and rows from the first.
    template <int Bytes>
    RV_AVX2_INLINE __m256i offset(__m256i dx, __m256i dy) const noexcept {
        return _mm256_add_epi32(_mm256_mullo_epi32(dy, stride), _mm256_mullo_epi32(dx, _mm256_set1_epi32(Bytes)));
    }
    static RV_AVX2_INLINE __m256i pixel(__m256i v) noexcept { return _mm256_srai_epi32(v, kTurnBits); }
    static RV_AVX2_INLINE __m256i fraction(__m256i v) noexcept {
        return _mm256_sub_epi32(_mm256_and_si256(v, _mm256_set1_epi32(kTurnOne - 1)), _mm256_set1_epi32(kTurnBias));
    }
};

// Calls f(pixel that the chunk starts in, place, first column, count) for the chunks of a row.
template <int Bytes, class F>
RV_AVX2_INLINE void eachChunk(const TurnSource& src, TurnPoint at, TurnStep step, size_t n, F&& f) noexcept {
    const auto nMost = size_t(chunkOf(src.nStride));
    for (size_t i = 0; i < n; i += nMost) {
        f(src.row(turnPixel(at.y)) + int64_t(turnPixel(at.x)) * Bytes, at, i, std::min(nMost, n - i));
        at.x += int64_t(nMost) * step.x;
        at.y += int64_t(nMost) * step.y;
    }
}

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

struct BilinearChunk {
    Lanes<int32_t> at, besideX, besideY;  // offsets
    Lanes<uint16_t> wx, wy;               // of the neighbours, of 32768

    template <int Bytes>
    RV_AVX2_INLINE void locate(Walk8 walk, size_t n) noexcept {
        for (size_t i = 0; i < n; i += 8, walk.next()) {
            const __m256i fx = walk.fraction(walk.x), fy = walk.fraction(walk.y);
            const __m256i offset = walk.offset<Bytes>(walk.pixel(walk.x), walk.pixel(walk.y));
            const __m256i one = _mm256_set1_epi32(1);
            storeLanes(at + i, offset);
            storeLanes(besideX + i,
                       _mm256_add_epi32(offset, _mm256_sign_epi32(_mm256_set1_epi32(Bytes), _mm256_or_si256(fx, one))));
            storeLanes(besideY + i, _mm256_add_epi32(offset, _mm256_sign_epi32(walk.stride, _mm256_or_si256(fy, one))));
            const __m256i w =
                _mm256_slli_epi16(_mm256_packus_epi32(_mm256_abs_epi32(fx), _mm256_abs_epi32(fy)), 1);  // x y, x y
            const __m256i both = _mm256_permute4x64_epi64(w, 0xD8);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(wx + i), _mm256_castsi256_si128(both));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(wy + i), _mm256_extracti128_si256(both, 1));
        }
    }
};

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
    BilinearChunk chunk;
    Lanes<uint32_t> c, nx, ny;
    eachChunk<Bytes>(
        src, start, step, nCount, [&](const uint8_t* pFirst, TurnPoint at, size_t nFrom, size_t n) RV_AVX2 {
            if (n < 8) {
                plainTurn(Bytes * 8, TurnFilter::bilinear, false).inner(src, at, step, pRow, nCol + nFrom, n);
                return;
            }
            chunk.template locate<Bytes>(Walk8(src, at, step), n);
            for (size_t i = 0; i < n; ++i) {
                std::memcpy(c + i, pFirst + chunk.at.v[i], 4);
                std::memcpy(nx + i, pFirst + chunk.besideX.v[i], 4);
                std::memcpy(ny + i, pFirst + chunk.besideY.v[i], 4);
            }
            uint8_t* const p = pRow + (nCol + nFrom) * Bytes;
            eachGroup(n, [&](size_t i) RV_AVX2 {
                Pixels8 v(c + i);
                v.blendTo(Pixels8(nx + i), chunk.wx + i);
                v.blendTo(Pixels8(ny + i), chunk.wy + i);
                storePixels<Bytes>(p + i * Bytes, _mm256_packus_epi16(v.low, v.high));
            });
        });
}

// One sample a pixel: sixteen at a time, as far as they go.
RV_AVX2 void bilinearRow8(const TurnSource& src, TurnPoint start, TurnStep step, uint8_t* pRow, size_t nCol,
                          size_t nCount) noexcept {
    BilinearChunk chunk;
    alignas(32) uint8_t c[kRoom], nx[kRoom], ny[kRoom], out[kRoom];
    eachChunk<1>(src, start, step, nCount, [&](const uint8_t* pFirst, TurnPoint at, size_t nFrom, size_t n) RV_AVX2 {
        chunk.locate<1>(Walk8(src, at, step), n);
        for (size_t i = 0; i < n; ++i) {
            c[i] = pFirst[chunk.at.v[i]];
            nx[i] = pFirst[chunk.besideX.v[i]];
            ny[i] = pFirst[chunk.besideY.v[i]];
        }
        for (size_t i = 0; i < n; i += 8) {
            const auto words = [&](const uint8_t* p) RV_AVX2 {
                return _mm256_castsi128_si256(
                    _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + i))));
            };
            const auto weights = [&](const uint16_t* p) RV_AVX2 {
                return _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i)));
            };
            const __m256i v =
                blend(blend(words(c), words(nx), weights(chunk.wx + 0)), words(ny), weights(chunk.wy + 0));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm256_castsi256_si128(_mm256_packus_epi16(v, v)));
        }
        std::memcpy(pRow + nCol + nFrom, out, n);
    });
}

// ---- bicubic -----------------------------------------------------------------------------------------------------

// What the spline makes of four bytes is worked out in integers as far as floating point would be exact: with e and d
// as in TurnSpline, 2 e, 2 e - 12 d and the linear part, times 16384. All is kept 16384 times as large, which changes
// no rounding; so the factors of the curvatures, that are twice as large, are multiplied by 8192.
// Byte of sample nSample of pixel k, of four.
template <int Bytes>
constexpr int tapByte(int nSample, int k) {
    return nSample < Bytes ? k * Bytes + nSample : avx2::kNone;
}

struct BicubicChunk {
    Lanes<int32_t> at;              // offsets of the first of 4 x 4 pixels
    Lanes<uint32_t> linear;         // words: 16384 less the fraction, and the fraction, along the row
    Lanes<float> m1x, m2x;          // factors along the row
    Lanes<float> uy, ty, m1y, m2y;  // and down the column

    static RV_AVX2_INLINE __m256 curve(__m256 t) noexcept {  // (t * t * t - t) / 6
        return _mm256_div_ps(_mm256_sub_ps(_mm256_mul_ps(_mm256_mul_ps(t, t), t), t), _mm256_set1_ps(6));
    }
    template <int Bytes>
    RV_AVX2_INLINE void locate(Walk8 walk, size_t n) noexcept {
        const __m256i mask = _mm256_set1_epi32(kTurnOne - 1), one = _mm256_set1_epi32(1);
        const __m256 one32 = _mm256_set1_ps(1), unit = _mm256_set1_ps(1.0f / kTurnOne), scale = _mm256_set1_ps(8192);
        for (size_t i = 0; i < n; i += 8, walk.next()) {
            const __m256i fx = walk.fraction(walk.x), fy = walk.fraction(walk.y);
            // A negative fraction is all ones more: the pixel before, and the one before that.
            const __m256i x = _mm256_add_epi32(walk.pixel(walk.x), _mm256_srai_epi32(fx, 31));
            const __m256i y = _mm256_add_epi32(walk.pixel(walk.y), _mm256_srai_epi32(fy, 31));
            storeLanes(at + i, walk.offset<Bytes>(_mm256_sub_epi32(x, one), _mm256_sub_epi32(y, one)));
            const __m256i f = _mm256_and_si256(fx, mask);
            storeLanes(linear + i,
                       _mm256_or_si256(_mm256_sub_epi32(_mm256_set1_epi32(kTurnOne), f), _mm256_slli_epi32(f, 16)));
            const __m256 tx = _mm256_mul_ps(_mm256_cvtepi32_ps(f), unit);
            const __m256 t = _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_and_si256(fy, mask)), unit);
            const __m256 u = _mm256_sub_ps(one32, t);
            _mm256_store_ps(m1x + i, _mm256_mul_ps(curve(_mm256_sub_ps(one32, tx)), scale));
            _mm256_store_ps(m2x + i, _mm256_mul_ps(curve(tx), scale));
            _mm256_store_ps(uy + i, u);
            _mm256_store_ps(ty + i, t);
            _mm256_store_ps(m1y + i, curve(u));
            _mm256_store_ps(m2y + i, curve(t));
        }
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
        return _mm256_add_ps(_mm256_add_ps(_mm256_cvtepi32_ps(line), _mm256_mul_ps(_mm256_set1_ps(m1x.v[i]), M1)),
                             _mm256_mul_ps(_mm256_set1_ps(m2x.v[i]), M2));
    }

    // Down the columns of two pixels, whose rows stand in pairs; as rounded integers.
    RV_AVX2_INLINE __m256i columns(__m256 upper0, __m256 lower0, __m256 upper1, __m256 lower1, size_t i) noexcept {
        const __m256 p0 = _mm256_permute2f128_ps(upper0, upper1, 0x20),
                     p1 = _mm256_permute2f128_ps(upper0, upper1, 0x31);
        const __m256 p2 = _mm256_permute2f128_ps(lower0, lower1, 0x20),
                     p3 = _mm256_permute2f128_ps(lower0, lower1, 0x31);
        const auto each = [&](const float* p)
                              RV_AVX2 { return _mm256_set_m128(_mm_broadcast_ss(p + i + 1), _mm_broadcast_ss(p + i)); };
        const __m256 e =
            _mm256_mul_ps(_mm256_set1_ps(1.5f), _mm256_add_ps(_mm256_sub_ps(p0, _mm256_add_ps(p1, p1)), p2));
        const __m256 d = _mm256_add_ps(_mm256_sub_ps(p1, _mm256_add_ps(p2, p2)), p3);
        const __m256 bent = _mm256_cmp_ps(d, _mm256_setzero_ps(), _CMP_NEQ_UQ);
        const __m256 M2 = _mm256_and_ps(
            bent, _mm256_mul_ps(_mm256_sub_ps(_mm256_mul_ps(_mm256_set1_ps(6), d), e), _mm256_set1_ps(0.266667f)));
        const __m256 M1 = _mm256_sub_ps(e, _mm256_mul_ps(_mm256_set1_ps(0.25f), M2));
        const __m256 line = _mm256_add_ps(_mm256_mul_ps(each(uy + 0), p1), _mm256_mul_ps(each(ty + 0), p2));
        const __m256 y =
            _mm256_add_ps(_mm256_add_ps(line, _mm256_mul_ps(each(m1y + 0), M1)), _mm256_mul_ps(each(m2y + 0), M2));
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
                    const uint8_t* const p = pFirst + chunk.at.v[a];
                    const uint8_t* const q = pFirst + chunk.at.v[b];
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
void useAvx2Turn(TurnKernel& kernel, int32_t nBits, TurnFilter filter) noexcept {
    const int32_t nMore = nBits == 24;
    TurnRow fast = nullptr;
    if (filter == TurnFilter::nearest)
        fast = nearestOf(nBits);
    else if (filter == TurnFilter::bilinear)
        fast = nBits == 8 ? bilinearRow8 : nBits == 24 ? bilinearRow<3> : nBits == 32 ? bilinearRow<4> : nullptr;
    else
        fast = nBits == 24 ? bicubicRow<3> : nBits == 32 ? bicubicRow<4> : nullptr;
    if (!fast) return;
    kernel.inner = fast;
    kernel.nRight += filter == TurnFilter::bicubic ? 2 * nMore : nMore;
}

}  // namespace rv
#endif
