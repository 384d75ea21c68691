// What the AVX2 rows of a turned picture have in common: where the pixels of a row stand, found for chunks of a row at
// once as 32-bit offsets, and what the filters weigh them by. Pixels are then fetched one by one, which is faster than
// gathering them.
#pragma once

#include <algorithm>

#include "internal/rotaterows.h"
#include "internal/rowblocks.h"

#ifdef RV_X86
namespace rv::turn {

inline constexpr int64_t kChunk = 256;
// Some lanes past the chunk are worked out, but not used.
inline constexpr size_t kRoom = kChunk + 8;

template <class T>
struct alignas(32) Lanes {
    T v[kRoom];
    T* operator+(size_t i) noexcept { return v + i; }
};

RV_AVX2_INLINE __m256i loadLanes(const void* p) noexcept { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
RV_AVX2_INLINE void storeLanes(void* p, __m256i v) noexcept { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

// Columns of a chunk, so that the offsets of the rows that it can reach fit 31 bits. 1 always does.
inline int64_t chunkOf(int64_t nStride) noexcept {
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

// Where a blend along the row and then down the column finds its three pixels.
struct BilinearPlaces {
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

// The spline at eight fractions, as TurnSpline has it.
struct SplineLanes {
    Lanes<float> u, t, m1, m2;

    static RV_AVX2_INLINE __m256 curve(__m256 t) noexcept {  // (t * t * t - t) / 6
        return _mm256_div_ps(_mm256_sub_ps(_mm256_mul_ps(_mm256_mul_ps(t, t), t), t), _mm256_set1_ps(6));
    }
    // The factors of the curvatures times a power of 2, which changes no rounding.
    RV_AVX2_INLINE void set(size_t i, __m256i fraction, float fScale) noexcept {
        const __m256 vt = _mm256_mul_ps(_mm256_cvtepi32_ps(fraction), _mm256_set1_ps(1.0f / kTurnOne));
        const __m256 vu = _mm256_sub_ps(_mm256_set1_ps(1), vt), scale = _mm256_set1_ps(fScale);
        _mm256_storeu_ps(u + i, vu);
        _mm256_storeu_ps(t + i, vt);
        _mm256_storeu_ps(m1 + i, _mm256_mul_ps(curve(vu), scale));
        _mm256_storeu_ps(m2 + i, _mm256_mul_ps(curve(vt), scale));
    }
};

// Weights for eight lanes.
struct Spline8 {
    __m256 u, t, m1, m2;
    RV_AVX2_INLINE Spline8(SplineLanes& lanes, size_t i) noexcept
        : u(_mm256_loadu_ps(lanes.u + i)),
          t(_mm256_loadu_ps(lanes.t + i)),
          m1(_mm256_loadu_ps(lanes.m1 + i)),
          m2(_mm256_loadu_ps(lanes.m2 + i)) {}
    // Those of pixel i for the low half, of the next one for the high half.
    struct Pair {};
    RV_AVX2_INLINE Spline8(SplineLanes& lanes, size_t i, Pair) noexcept
        : u(both(lanes.u + i)), t(both(lanes.t + i)), m1(both(lanes.m1 + i)), m2(both(lanes.m2 + i)) {}

    RV_AVX2_INLINE __m256 operator()(__m256 p0, __m256 p1, __m256 p2, __m256 p3) const noexcept {
        const __m256 e =
            _mm256_mul_ps(_mm256_set1_ps(1.5f), _mm256_add_ps(_mm256_sub_ps(p0, _mm256_add_ps(p1, p1)), p2));
        const __m256 d = _mm256_add_ps(_mm256_sub_ps(p1, _mm256_add_ps(p2, p2)), p3);
        const __m256 bent = _mm256_cmp_ps(d, _mm256_setzero_ps(), _CMP_NEQ_UQ);
        const __m256 M2 = _mm256_and_ps(
            bent, _mm256_mul_ps(_mm256_sub_ps(_mm256_mul_ps(_mm256_set1_ps(6), d), e), _mm256_set1_ps(0.266667f)));
        const __m256 M1 = _mm256_sub_ps(e, _mm256_mul_ps(_mm256_set1_ps(0.25f), M2));
        const __m256 line = _mm256_add_ps(_mm256_mul_ps(u, p1), _mm256_mul_ps(t, p2));
        return _mm256_add_ps(_mm256_add_ps(line, _mm256_mul_ps(m1, M1)), _mm256_mul_ps(m2, M2));
    }

private:
    static RV_AVX2_INLINE __m256 both(const float* p) noexcept {
        return _mm256_set_m128(_mm_broadcast_ss(p + 1), _mm_broadcast_ss(p));
    }
};

// Where a spline of 4 x 4 pixels finds the first of them.
struct BicubicPlaces {
    Lanes<int32_t> at;  // offsets
    SplineLanes across, down;

    // Calls f(i, fractions along the row) for each eight.
    template <int Bytes, class F>
    RV_AVX2_INLINE void locate(Walk8 walk, size_t n, float fScaleAcross, F&& f) noexcept {
        const __m256i mask = _mm256_set1_epi32(kTurnOne - 1), one = _mm256_set1_epi32(1);
        for (size_t i = 0; i < n; i += 8, walk.next()) {
            const __m256i fx = walk.fraction(walk.x), fy = walk.fraction(walk.y);
            // A negative fraction counts from the pixel before.
            const __m256i x = _mm256_add_epi32(walk.pixel(walk.x), _mm256_srai_epi32(fx, 31));
            const __m256i y = _mm256_add_epi32(walk.pixel(walk.y), _mm256_srai_epi32(fy, 31));
            storeLanes(at + i, walk.offset<Bytes>(_mm256_sub_epi32(x, one), _mm256_sub_epi32(y, one)));
            const __m256i part = _mm256_and_si256(fx, mask);
            across.set(i, part, fScaleAcross);
            down.set(i, _mm256_and_si256(fy, mask), 1);
            f(i, part);
        }
    }
};

}  // namespace rv::turn
#endif
