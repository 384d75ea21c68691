// Hue, saturation, value. Hue is a ratio of two channels over each third of the circle, not the usual hexagon.
#include <algorithm>
#include <array>

#include "internal/colorspace_.h"
#include "internal/pixels.h"
#include "internal/planes.h"
#include "ravokit/colorspace.h"

namespace rv {
namespace {

struct Hsv {
    uint32_t h, s, v;
};
struct Bgr {
    uint32_t b, g, r;
};

// --- plain forms -----------------------------------------------------------------------------------------------------

// Scales of the two sample sizes. A third of the circle is 120 degrees in units of which 360 make one of hue; half a
// unit at 8 bits, and its like at 16, is added before the division.
template <class T>
constexpr uint32_t kFull = T(~T(0));
template <class T>
constexpr int64_t kThird = sizeof(T) == 1 ? 30720 : 7895040;
template <class T>
constexpr int64_t kRounding = sizeof(T) == 1 ? 180 : 46260;

// The fractions at 16 bits are those of double precision: quotients whose divisors are so small round to no other whole
// number than they truncate to.
template <class T>
constexpr Hsv hsvOf(const Bgr& c) noexcept {
    using Wide = std::conditional_t<sizeof(T) == 1, int32_t, int64_t>;
    const uint32_t nLeast = std::min({c.b, c.g, c.r}), nMost = std::max({c.b, c.g, c.r});
    if (nLeast == nMost) return {0, 0, nMost};
    uint32_t nPart = c.r, nOther = c.b, nThirds = 2;
    if (c.b == nLeast)
        nPart = c.g, nOther = c.r, nThirds = 0;
    else if (c.r == nLeast)
        nPart = c.b, nOther = c.g, nThirds = 1;
    const Wide nAngle = Wide(nPart - nLeast) * Wide(kThird<T>) / Wide(nPart + nOther - 2 * nLeast) +
                        Wide(nThirds) * Wide(kThird<T>) + Wide(kRounding<T>);
    // An angle of a full circle or more is cut to the sample.
    return {T(nAngle / 360), uint32_t(uint64_t(nMost - nLeast) * kFull<T> / nMost), nMost};
}

// A colour of a hue in degrees: nLow is the smallest channel, nMost the largest; the third falls or rises between.
template <class N>
constexpr Bgr colorOf(N nHue, N nLow, N nMost) noexcept {
    const N d = nMost - nLow;
    const auto bgr = [](N b, N g, N r) { return Bgr{uint32_t(b), uint32_t(g), uint32_t(r)}; };
    if (nHue <= 60) return bgr(nLow, nLow + d * nHue / (120 - nHue), nMost);
    if (nHue <= 120) return bgr(nLow, nMost, nLow + (120 - nHue) * d / nHue);
    if (nHue <= 180) return bgr(nLow + (nHue - 120) * d / (240 - nHue), nMost, nLow);
    if (nHue <= 240) return bgr(nMost, nLow + (240 - nHue) * d / (nHue - 120), nLow);
    if (nHue <= 300) return bgr(nMost, nLow, nLow + (nHue - 240) * d / (360 - nHue));
    return bgr(nLow + (360 - nHue) * d / (nHue - 240), nLow, nMost);
}

// What a hue adds to the smallest channel, in 65536ths of the way to the largest. One more than the truncated share
// makes d x share >> 16 the truncated quotient: it exceeds that by less than the least divisor's 1 / 120.
constexpr auto kShares = [] {
    std::array<Bgr, 256> shares{};
    for (int32_t h = 0; h < 256; ++h) {
        const Bgr c = colorOf<int32_t>(h * 360 >> 8, 0, 65536);
        shares[size_t(h)] = {c.b + 1, c.g + 1, c.r + 1};
    }
    return shares;
}();

// Without saturation nothing is added, and all channels are the value.
constexpr Bgr bgrOf8(const Hsv& c) noexcept {
    const uint32_t nLow = (255 - c.s) * c.v / 255, d = c.v - nLow;
    const Bgr& share = kShares[c.h];
    return {nLow + (d * share.b >> 16), nLow + (d * share.g >> 16), nLow + (d * share.r >> 16)};
}

// In double precision throughout, with degrees and the smallest channel as they come; the circle is that of hsvOf.
constexpr Bgr bgrOf16(const Hsv& c) noexcept {
    if (c.s == 0) return {c.v, c.v, c.v};
    return colorOf<double>(c.h * 360.0 / 65792, (65535.0 - c.s) * c.v / 65535, c.v);
}

template <class T>
void hsvRow(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    constexpr size_t kSize = sizeof(T);
    eachPixel<3 * kSize, 3 * kSize>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const Hsv c = hsvOf<T>({loadLittle<T>(s), loadLittle<T>(s + kSize), loadLittle<T>(s + 2 * kSize)});
        storeLittle(d, T(c.h)), storeLittle(d + kSize, T(c.s)), storeLittle(d + 2 * kSize, T(c.v));
    });
}

template <class T>
void bgrRow(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    constexpr size_t kSize = sizeof(T);
    eachPixel<3 * kSize, 3 * kSize>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const Hsv hsv{loadLittle<T>(s), loadLittle<T>(s + kSize), loadLittle<T>(s + 2 * kSize)};
        const Bgr c = kSize == 1 ? bgrOf8(hsv) : bgrOf16(hsv);
        storeLittle(d, T(c.b)), storeLittle(d + kSize, T(c.g)), storeLittle(d + 2 * kSize, T(c.r));
    });
}

// --- AVX2 ------------------------------------------------------------------------------------------------------------
#ifdef RV_X86
using namespace avx2;

// With n the part of the circle before the hue, in thirds of den, hue is the whole part of n / den x 256 / 3 + 1 / 2,
// and saturation that of 255 (most - least) / most. Both come from one division, 1 / (den x most). An exact value lies
// at least 1 / (6 x 510) or 1 / 255 below the next whole number; single precision errs by less than 0.0001, and what is
// added is more than that and keeps the sum below these distances. Grey has n and most - least of 0, and its divisor is
// taken for 1.
struct HueAndSaturation {
    __m256i h, s;
};
RV_AVX2_INLINE HueAndSaturation divide(__m256i n, __m256i den, __m256i span, __m256i most) noexcept {
    const __m256 fDen = _mm256_cvtepi32_ps(den), fMost = _mm256_cvtepi32_ps(most);
    const __m256 fInverse =
        _mm256_div_ps(_mm256_set1_ps(1), _mm256_max_ps(_mm256_mul_ps(fDen, fMost), _mm256_set1_ps(1)));
    const __m256 fHue = _mm256_mul_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(n), fMost), fInverse);
    const __m256 fSpan = _mm256_mul_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(span), fDen), fInverse);
    return {
        _mm256_cvttps_epi32(_mm256_add_ps(_mm256_mul_ps(fHue, _mm256_set1_ps(256.0f / 3)), _mm256_set1_ps(0.50015f))),
        _mm256_cvttps_epi32(_mm256_add_ps(_mm256_mul_ps(fSpan, _mm256_set1_ps(255)), _mm256_set1_ps(0.001f)))};
}

struct HsvFromBgr8 {
    static constexpr size_t kPixels = 32, kSrcBytes = 96, kDstBytes = 96;
    RV_AVX2_INLINE static __m256i words(int k, __m256i v) noexcept {
        const __m256i zero = _mm256_setzero_si256();
        return k ? _mm256_unpackhi_epi8(v, zero) : _mm256_unpacklo_epi8(v, zero);
    }
    RV_AVX2_INLINE void operator()(const uint8_t* src, uint8_t* dst) const noexcept {
        const __m256i zero = _mm256_setzero_si256();
        __m256i c[3];
        loadPlanes(src, c);
        const __m256i least = _mm256_min_epu8(_mm256_min_epu8(c[0], c[1]), c[2]);
        const __m256i most = _mm256_max_epu8(_mm256_max_epu8(c[0], c[1]), c[2]);
        const __m256i b = _mm256_sub_epi8(c[0], least), g = _mm256_sub_epi8(c[1], least),
                      r = _mm256_sub_epi8(c[2], least), span = _mm256_sub_epi8(most, least);
        const __m256i noBlue = _mm256_cmpeq_epi8(b, zero), noRed = _mm256_cmpeq_epi8(r, zero);
        const __m256i part = _mm256_blendv_epi8(_mm256_blendv_epi8(r, b, noRed), g, noBlue);
        const __m256i other = _mm256_blendv_epi8(_mm256_blendv_epi8(b, g, noRed), r, noBlue);
        const __m256i thirds = _mm256_andnot_si256(noBlue, _mm256_add_epi8(_mm256_set1_epi8(2), noRed));

        __m256i hue[2], saturation[2];
        for (int k = 0; k < 2; ++k) {
            const __m256i p = words(k, part), den = _mm256_add_epi16(p, words(k, other));
            const __m256i n = _mm256_add_epi16(p, _mm256_mullo_epi16(words(k, thirds), den));
            const __m256i wSpan = words(k, span), wMost = words(k, most);
            const HueAndSaturation low = divide(_mm256_unpacklo_epi16(n, zero), _mm256_unpacklo_epi16(den, zero),
                                                _mm256_unpacklo_epi16(wSpan, zero), _mm256_unpacklo_epi16(wMost, zero));
            const HueAndSaturation high =
                divide(_mm256_unpackhi_epi16(n, zero), _mm256_unpackhi_epi16(den, zero),
                       _mm256_unpackhi_epi16(wSpan, zero), _mm256_unpackhi_epi16(wMost, zero));
            hue[k] = _mm256_and_si256(_mm256_packs_epi32(low.h, high.h), _mm256_set1_epi16(255));
            saturation[k] = _mm256_packs_epi32(low.s, high.s);
        }
        storePlanes<InOrder>(dst, _mm256_packus_epi16(hue[0], hue[1]),
                             _mm256_packus_epi16(saturation[0], saturation[1]), most);
    }
};
#endif

}  // namespace

void hsvFromBgr8(const uint8_t* src, uint8_t* dst, size_t n) noexcept { hsvRow<uint8_t>(src, dst, n); }
void hsvFromBgr16(const uint8_t* src, uint8_t* dst, size_t n) noexcept { hsvRow<uint16_t>(src, dst, n); }
void bgrFromHsv8(const uint8_t* src, uint8_t* dst, size_t n) noexcept { bgrRow<uint8_t>(src, dst, n); }
void bgrFromHsv16(const uint8_t* src, uint8_t* dst, size_t n) noexcept { bgrRow<uint16_t>(src, dst, n); }

#ifdef RV_X86
RowKernel bestHsvFromBgr8() noexcept { return cpuHasAvx2() ? blockRow<HsvFromBgr8, hsvFromBgr8> : hsvFromBgr8; }
#else
RowKernel bestHsvFromBgr8() noexcept { return hsvFromBgr8; }
#endif

}  // namespace rv

extern "C" {

uint32_t R_RGBtoHSV(COLORREF crColor) noexcept {
    const rv::Hsv c = rv::hsvOf<uint8_t>({crColor >> 16 & 255, crColor >> 8 & 255, crColor & 255});
    return c.h | c.s << 8 | c.v << 16;
}

void R_RGBtoHSV2(COLORREF crColor, uint32_t* pHSV) noexcept {
    if (pHSV) *pHSV = R_RGBtoHSV(crColor);
}

COLORREF R_HSVtoRGB(uint32_t hsv) noexcept {
    const rv::Bgr c = rv::bgrOf8({hsv & 255, hsv >> 8 & 255, hsv >> 16 & 255});
    return c.r | c.g << 8 | c.b << 16;
}

COLORREF R_HSVtoRGB2(const uint32_t* pHSV) noexcept { return pHSV ? R_HSVtoRGB(*pHSV) : 0; }
}
