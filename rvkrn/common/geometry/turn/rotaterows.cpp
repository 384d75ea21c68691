// Rows of a turned picture, pixel by pixel: every depth and filter from one template. The form without tests of the
// bounds is for pixels whose surroundings lie inside.
#include <algorithm>
#include <cstdlib>

#include "internal/pixels.h"
#include "internal/rotaterows.h"
#include "internal/simd.h"

namespace rv {
namespace {

// The samples of a pixel as the filters see them, whatever the pixel means.
template <int Bits, bool Signed>
struct Samples {
    using Value = typename Pixel<Bits>::Value;
    static constexpr int kBits = Bits == 12 ? 12 : Bits == 16 || Bits >= 48 ? 16 : 8, kCount = Bits / kBits;
    static constexpr int32_t kMax = (1 << (kBits - Signed)) - 1, kMin = Signed ? -kMax - 1 : 0;

    static int32_t get(Value v, int k) noexcept {
        const auto n = int32_t(v >> (k * kBits) & ((Value(1) << kBits) - 1));
        return n > kMax ? n + 2 * kMin : n;
    }
    static void add(Value& v, int k, int32_t n) noexcept {
        v |= (Value(uint32_t(n)) & ((Value(1) << kBits) - 1)) << (k * kBits);
    }
};

template <int Bits, bool Checked>
typename Pixel<Bits>::Value pixelAt(const TurnSource& src, int32_t x, int32_t y) noexcept {
    if constexpr (Checked)
        if (x < src.bounds.left || x >= src.bounds.right || y < src.bounds.top || y >= src.bounds.bottom)
            return typename Pixel<Bits>::Value(src.uFill);
    return Pixel<Bits>::get(src.row(y), size_t(x));
}

template <int Bits>
struct Nearest {
    static auto sample(const TurnSource& src, TurnPoint at) noexcept {
        return pixelAt<Bits, false>(src, turnPixel(at.x), turnPixel(at.y));
    }
};

template <int Bits, bool Signed, bool Checked>
struct Bilinear {
    using S = Samples<Bits, Signed>;

    static int32_t blend(int32_t c, int32_t n, int32_t nFraction) noexcept {
        return c + (n - c) * std::abs(nFraction) / kTurnOne;
    }
    static auto sample(const TurnSource& src, TurnPoint at) noexcept {
        const int32_t x = turnPixel(at.x), y = turnPixel(at.y), fx = turnFraction(at.x), fy = turnFraction(at.y);
        const auto c = pixelAt<Bits, false>(src, x, y), nx = pixelAt<Bits, Checked>(src, x + (fx < 0 ? -1 : 1), y),
                   ny = pixelAt<Bits, Checked>(src, x, y + (fy < 0 ? -1 : 1));
        typename S::Value v = 0;
        for (int k = 0; k < S::kCount; ++k)
            S::add(v, k, blend(blend(S::get(c, k), S::get(nx, k), fx), S::get(ny, k), fy));
        return v;
    }
};

template <int Bits, bool Signed, bool Checked>
struct Bicubic {
    using S = Samples<Bits, Signed>;

    static int32_t round(float y) noexcept {
        return int32_t(std::clamp(double(y) + 0.5, double(S::kMin), double(S::kMax)));
    }
    static auto sample(const TurnSource& src, TurnPoint at) noexcept {
        const int32_t fx = turnFraction(at.x), fy = turnFraction(at.y);
        const int32_t x = turnPixel(at.x) - (fx < 0) - 1, y = turnPixel(at.y) - (fy < 0) - 1;
        typename S::Value p[4][4];
        for (int j = 0; j < 4; ++j)
            for (int i = 0; i < 4; ++i) p[j][i] = pixelAt<Bits, Checked>(src, x + i, y + j);
        const TurnSpline across(fx & (kTurnOne - 1)), down(fy & (kTurnOne - 1));
        typename S::Value v = 0;
        for (int k = 0; k < S::kCount; ++k) {
            float rows[4];
            for (int j = 0; j < 4; ++j)
                rows[j] = across(float(S::get(p[j][0], k)), float(S::get(p[j][1], k)), float(S::get(p[j][2], k)),
                                 float(S::get(p[j][3], k)));
            S::add(v, k, round(down(rows[0], rows[1], rows[2], rows[3])));
        }
        return v;
    }
};

// Below 8 bits, eight pixels end on a byte: whole groups are put together first.
template <int Bits, class Sampler>
void walk(const TurnSource& src, TurnPoint at, TurnStep step, uint8_t* pRow, size_t nCol, size_t n) noexcept {
    const auto next = [&] {
        const auto v = Sampler::sample(src, at);
        at.x += step.x;
        at.y += step.y;
        return v;
    };
    const size_t nEnd = nCol + n;
    if constexpr (Bits < 8) {
        for (; nCol < nEnd && nCol % 8; ++nCol) Pixel<Bits>::put(pRow, nCol, next());
        for (; nEnd - nCol >= 8; nCol += 8) {
            uint64_t u = 0;
            for (int i = 0; i < 8; ++i) u = u << Bits | next();
            uint8_t* const p = pRow + nCol / 8 * Bits;
            for (int i = Bits; i-- > 0; u >>= 8) p[i] = uint8_t(u);
        }
    }
    for (; nCol < nEnd; ++nCol) Pixel<Bits>::put(pRow, nCol, next());
}

template <int Bits, bool Signed>
TurnKernel filtered(TurnFilter filter) noexcept {
    if (filter == TurnFilter::bilinear)
        return {walk<Bits, Bilinear<Bits, Signed, true>>, walk<Bits, Bilinear<Bits, Signed, false>>, 1, 1, 1};
    return {walk<Bits, Bicubic<Bits, Signed, true>>, walk<Bits, Bicubic<Bits, Signed, false>>, 2, 2, 2};
}

}  // namespace

TurnKernel plainTurn(int32_t nBits, TurnFilter filter, bool bSigned) noexcept {
    return visitDepth(nBits, [=](auto bits) -> TurnKernel {
        constexpr int kBits = bits;
        constexpr bool kWide = kBits == 12 || kBits == 16 || kBits >= 48;
        if constexpr (kBits >= 8) {
            if (filter != TurnFilter::nearest) {
                if constexpr (kWide)
                    if (bSigned) return filtered<kBits, true>(filter);
                return filtered<kBits, false>(filter);
            }
        }
        return {walk<kBits, Nearest<kBits>>, walk<kBits, Nearest<kBits>>, 0, 0, 0};
    });
}

TurnKernel bestTurn(int32_t nBits, TurnFilter filter, bool bSigned) noexcept {
    TurnKernel kernel = plainTurn(nBits, filter, bSigned);
#ifdef RV_X86
    if (cpuHasAvx2()) useAvx2Turn(kernel, nBits, filter, bSigned);
#endif
    return kernel;
}

}  // namespace rv
