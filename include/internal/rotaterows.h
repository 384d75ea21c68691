// Rows of a turned picture. A destination row walks through the source along a straight line, in steps of 1/16384
// pixel; a kernel samples a stretch of it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ravokit/types.h"

namespace rv {

constexpr int32_t kTurnBits = 14;
constexpr int32_t kTurnOne = 1 << kTurnBits;

// A place in the source, in 1/16384 pixel from the middle of pixel 0, plus 8191: so the pixel is what stands above the
// fraction's bits, and the distance from its middle, -8191 to 8192, is what stands in them less 8191. A walk that adds
// and carries comes to the same numbers.
constexpr int32_t kTurnBias = kTurnOne / 2 - 1;
struct TurnPoint {
    int64_t x, y;
};
// From a column to the next one; each is at most 16384 in size.
struct TurnStep {
    int32_t x, y;
};

constexpr int32_t turnPixel(int64_t nPlace) noexcept { return int32_t(nPlace >> kTurnBits); }
constexpr int32_t turnFraction(int64_t nPlace) noexcept { return int32_t(nPlace & (kTurnOne - 1)) - kTurnBias; }

// Pixels in memory: the picture, or a part of it around the pixel 0, 0.
struct TurnSource {
    const uint8_t* pPixels;
    int64_t nStride;
    RECT bounds;     // of the picture
    uint64_t uFill;  // the pixel that stands for all outside of it
    const uint8_t* row(int64_t y) const noexcept { return pPixels + y * nStride; }
};

enum class TurnFilter { nearest, bilinear, bicubic };

// Writes n pixels of a row from column nCol on.
using TurnRow = void (*)(const TurnSource& src, TurnPoint at, TurnStep step, uint8_t* pRow, size_t nCol,
                         size_t n) noexcept;

struct TurnKernel {
    TurnRow edge;                    // for any pixel of the picture
    TurnRow inner;                   // for those that are as far from its edges as told here
    int32_t nLeft, nRight, nAround;  // columns before and after, and rows to either side
};

// The natural spline of four samples at nFraction, 0 to 16383, of the way from p1 to p2. Where the upper three lie on a
// line there is no curvature at p2.
struct TurnSpline {
    float t, u, m1, m2;
    explicit TurnSpline(int32_t nFraction) noexcept
        : t(float(nFraction) * (1.0f / kTurnOne)), u(1 - t), m1((u * u * u - u) / 6), m2((t * t * t - t) / 6) {}
    // With t 0 this is p1: the other terms are 0.
    float operator()(float p0, float p1, float p2, float p3) const noexcept {
        const float e = 1.5f * (p0 - 2 * p1 + p2), d = p1 - 2 * p2 + p3;
        const float M2 = d == 0 ? 0 : (6 * d - e) * 0.266667f, M1 = e - 0.25f * M2;
        return u * p1 + t * p2 + m1 * M1 + m2 * M2;
    }
};

// The plain form, and the fastest one that this processor has; the same pixels. bSigned counts at samples of 12 and 16
// bits; filters other than nearest are there from 8 bits on.
TurnKernel plainTurn(int32_t nBits, TurnFilter filter, bool bSigned) noexcept;
TurnKernel bestTurn(int32_t nBits, TurnFilter filter, bool bSigned) noexcept;

// Puts the AVX2 form in the place of a plain inner form, where there is one; the second gives those that work by
// samples, or null.
void useAvx2Turn(TurnKernel& kernel, int32_t nBits, TurnFilter filter, bool bSigned) noexcept;
TurnRow avx2TurnPlanes(int32_t nBits, TurnFilter filter, bool bSigned) noexcept;

}  // namespace rv
