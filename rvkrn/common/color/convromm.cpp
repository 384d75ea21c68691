// The wide gamut: matrices to and from ORDER_ROMM in 13-bit fixed point, on samples in the order blue, green, red.
#include <algorithm>

#include "internal/convsteps.h"
#include "internal/simd.h"

namespace rv {
namespace {

template <class T>
struct Bgr {
    T c0, c1, c2;
};

// Truncated by the store: the blue of 48 bits may exceed its word by little.
template <class T>
constexpr Bgr<T> toRomm(uint32_t c0, uint32_t c1, uint32_t c2) noexcept {
    return {T((7151 * c0 + 897 * c1 + 145 * c2 + 4095) >> 13), T((394 * c0 + 7067 * c1 + 731 * c2 + 4095) >> 13),
            T((1067 * c0 + 2841 * c1 + 4284 * c2 + 4095) >> 13)};
}

// The largest product, 16846 x 65535, fits 31 bits. Division towards zero.
template <class T>
constexpr Bgr<T> fromRomm(int32_t c0, int32_t c1, int32_t c2) noexcept {
    const auto sample = [](int32_t n) { return T(std::clamp((n + 4095) / 8192, 0, int32_t(T(~T(0))))); };
    return {sample(9467 * c0 - 1151 * c1 - 125 * c2), sample(10232 * c1 - 305 * c0 - 1735 * c2),
            sample(16846 * c2 - 2156 * c0 - 6498 * c1)};
}

}  // namespace

RV_CLONES void forwardRomm24(uint8_t* pRow, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i, pRow += 3) {
        const Bgr<uint8_t> c = toRomm<uint8_t>(pRow[0], pRow[1], pRow[2]);
        pRow[0] = c.c0, pRow[1] = c.c1, pRow[2] = c.c2;
    }
}

RV_CLONES void forwardRomm48(uint8_t* pRow, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i, pRow += 6) {
        const Bgr<uint16_t> c = toRomm<uint16_t>(loadLittle<uint16_t>(pRow), loadLittle<uint16_t>(pRow + 2),
                                                 loadLittle<uint16_t>(pRow + 4));
        storeLittle(pRow, c.c0), storeLittle(pRow + 2, c.c1), storeLittle(pRow + 4, c.c2);
    }
}

RV_CLONES void inverseRommColor(RowWork& w, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) {
        const Bgr<uint8_t> c = fromRomm<uint8_t>(w.color[i].b, w.color[i].g, w.color[i].r);
        w.color[i] = {c.c0, c.c1, c.c2, w.color[i].a};
    }
}

RV_CLONES void inverseRommWide(RowWork& w, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) {
        const Bgr<uint16_t> c = fromRomm<uint16_t>(w.wide[i].b, w.wide[i].g, w.wide[i].r);
        w.wide[i] = {c.c0, c.c1, c.c2, w.wide[i].a};
    }
}

}  // namespace rv
