// Colour models against formulas written out for single pixels, the vector form against the plain one over all colours,
// and the statuses.
#include "ravokit/colorspace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "internal/colorspace_.h"
#include "support/bitmaps.h"
#include "support/faults.h"

namespace {

using test::Bytes;
using Samples = std::vector<int64_t>;

struct Model {
    const char* name;
    int32_t n8, n16;
    size_t nSamples;
    bool bSigned;
};
constexpr Model kModels[] = {
    {"bgr", COLORSPACE_BGR, COLORSPACE_BGR16, 3, false},    {"yuv", COLORSPACE_YUV, COLORSPACE_YUV16, 3, true},
    {"cmyk", COLORSPACE_CMYK, COLORSPACE_CMYK16, 4, false}, {"hsv", COLORSPACE_HSV, COLORSPACE_HSV16, 3, false},
    {"hls", COLORSPACE_HLS, COLORSPACE_HLS16, 3, false},    {"yiq", COLORSPACE_YIQ, COLORSPACE_YIQ16, 3, true},
    {"cmy", COLORSPACE_CMY, COLORSPACE_CMY16, 3, false}};

bool wordsOf(const Model& m, bool bWide) { return bWide || m.bSigned; }
size_t bytesOf(const Model& m, bool bWide) { return m.nSamples * (wordsOf(m, bWide) ? 2 : 1); }

Bytes pack(const Model& m, bool bWide, const Samples& samples) {
    Bytes out;
    for (const int64_t v : samples) {
        out.push_back(uint8_t(v));
        if (wordsOf(m, bWide)) out.push_back(uint8_t(v >> 8));
    }
    return out;
}

// Whole quotients, truncated, of numbers that double precision holds.
int64_t quotient(double a, double b) { return int64_t(std::trunc(a / b)); }

// What the models make of a colour, sample by sample, in double precision and from the definitions.
Samples fromBgr(const std::string& model, double full, double b, double g, double r) {
    const double least = std::min({b, g, r}), most = std::max({b, g, r}), span = most - least, sum = most + least;
    const auto scale = [=](double v) { return double(quotient(v * 16384, full)); };
    const double sb = scale(b), sg = scale(g), sr = scale(r);
    const int64_t y = quotient(299 * sr + 587 * sg + 114 * sb, 1000);
    const bool bWide = full > 255;
    if (model == "yuv") return {y, int64_t(sb) - y, int64_t(sr) - y};
    if (model == "yiq")
        return {y, quotient(596 * sr - 275 * sg - 321 * sb, 1000), quotient(212 * sr - 528 * sg + 311 * sb, 1000)};
    if (model == "cmy") return {int64_t(full - r), int64_t(full - g), int64_t(full - b)};
    if (model == "cmyk") return {int64_t(most - r), int64_t(most - g), int64_t(most - b), int64_t(full - most)};
    if (model == "hsv") {
        if (span == 0) return {0, 0, int64_t(most)};
        const double third = bWide ? 7895040 : 30720, round = bWide ? 46260 : 180;
        const double angle = least == b   ? (g - b) / (r + g - 2 * b)
                             : least == r ? (b - r) / (g + b - 2 * r) + 1
                                          : (r - g) / (r + b - 2 * g) + 2;
        // The exact angle is no closer to the next whole number than one in 360 x 131070.
        return {int64_t(std::floor((angle * third + round) / 360 + 1e-9)), quotient(span * full, most), int64_t(most)};
    }
    if (model == "hls") {
        const auto l = int64_t(sum) / 2;
        if (span == 0) return {0, l, 0};
        int64_t h = most == r   ? quotient((g - b) * full, 6 * span)
                    : most == g ? quotient((b - r) * full, 6 * span) + int64_t(full) / 3
                                : quotient((r - g) * full, 6 * span) + int64_t(full) / 3 * 2;
        if (h < 0) h += int64_t(full);
        return {h, l, quotient(span * full, l <= int64_t(full) / 2 ? sum : 2 * full - sum)};
    }
    return {int64_t(b), int64_t(g), int64_t(r)};
}

Samples toBgr(const std::string& model, double full, const Samples& c) {
    const bool bWide = full > 255;
    const double c0 = double(c[0]), c1 = double(c[1]), c2 = double(c[2]);
    const auto unscale = [=](int64_t v) { return quotient(double(v) * full, 16384); };
    if (model == "yuv") {
        const int64_t b = c[1] + c[0], r = c[2] + c[0];
        return {unscale(b), unscale(quotient(double(1000 * c[0] - 299 * r - 114 * b), 587)), unscale(r)};
    }
    if (model == "yiq")
        return {unscale(quotient(1008 * c0 - 1110 * c1 + 1700 * c2, 1000)),
                unscale(quotient(997 * c0 - 271 * c1 - 645 * c2, 1000)),
                unscale(quotient(1003 * c0 + 955 * c1 + 618 * c2, 1000))};
    if (model == "cmy") return {int64_t(full - c2), int64_t(full - c1), int64_t(full - c0)};
    if (model == "cmyk") {
        const int64_t d = int64_t(full) - c[3];
        return {std::max<int64_t>(d - c[2], 0), std::max<int64_t>(d - c[1], 0), std::max<int64_t>(d - c[0], 0)};
    }
    if (model == "hsv") {
        if (c[1] == 0) return {c[2], c[2], c[2]};
        const auto whole = [=](double v) { return bWide ? v : std::trunc(v); };
        const double h = bWide ? c0 * 360 / 65792 : std::floor(c0 * 360 / 256), low = whole((full - c1) * c2 / full);
        // The side that rises from a multiple of 120 degrees, up to the middle of the third, and falls thereafter.
        const double third = h <= 120 ? 0 : h <= 240 ? 120 : 240, t = h - third;
        const double mid = low + whole(t <= 60 ? (c2 - low) * t / (120 - t) : (120 - t) * (c2 - low) / t);
        const int64_t n = int64_t(mid), m = int64_t(c2), l = int64_t(low);
        if (third == 0) return t <= 60 ? Samples{l, n, m} : Samples{l, m, n};
        if (third == 120) return t <= 60 ? Samples{n, m, l} : Samples{m, n, l};
        return t <= 60 ? Samples{m, l, n} : Samples{n, l, m};
    }
    if (model == "hls") {
        if (c[2] == 0) return {c[1], c[1], c[1]};
        const int64_t p =
            c1 <= std::floor(full / 2) ? quotient((c2 + full) * c1, full) : c[2] - quotient(c2 * c1, full) + c[1];
        const int64_t q = 2 * c[1] - p, n = int64_t(full);
        const auto channel = [&](int64_t t) {
            if (t > n) t -= n;
            if (t < 0) t += n;
            if (t < (bWide ? 10922 : 43)) return q + quotient(double((p - q) * t * 6), full);
            if (t < (bWide ? 32768 : 128)) return p;
            if (t < (bWide ? 43690 : 171)) return q + quotient(double((4 * n - 6 * t) * (p - q)), full);
            return q;
        };
        return {channel(c[0] - n / 3), channel(c[0]), channel(c[0] + n / 3)};
    }
    return c;
}

// Random pixels with many equal channels and many extremes.
Samples randomPixel(std::mt19937& random, const Model& m, int64_t nFull) {
    Samples c(m.nSamples);
    for (size_t i = 0; i < c.size(); ++i) {
        const auto n = uint32_t(random());
        c[i] = n % 5 == 0 ? nFull : n % 5 == 1 ? 0 : n % 5 == 2 && i ? c[i - 1] : int64_t(n >> 8) % (nFull + 1);
    }
    if (m.bSigned)  // that of a colour, or for once any words
        c = random() % 4 ? fromBgr(m.name, double(nFull), double(c[0]), double(c[1]), double(c[2]))
                         : Samples{int16_t(random()), int16_t(random()), int16_t(random())};
    return c;
}

Bytes convert(const Model& src, const Model& dst, bool bWide, const Bytes& from, int32_t n) {
    Bytes to(size_t(n) * bytesOf(dst, bWide) + 8, 0xA5);
    EXPECT_EQ(R_ConvertColorSpace(from.data(), to.data(), n, bWide ? src.n16 : src.n8, bWide ? dst.n16 : dst.n8), 1);
    EXPECT_EQ(Bytes(to.end() - 8, to.end()), Bytes(8, 0xA5)) << "written past the end";
    to.resize(to.size() - 8);
    return to;
}

// Every pair goes by way of the pivot, with what that loses.
TEST(ColorSpace, EveryPairOfModelsFollowsTheFormulas) {
    std::mt19937 random(5);
    for (const bool bWide : {false, true})
        for (const Model& src : kModels)
            for (const Model& dst : kModels) {
                constexpr int32_t kPixels = 700;
                const double full = bWide ? 65535 : 255;
                Bytes from, want;
                for (int32_t i = 0; i < kPixels; ++i) {
                    const Samples c = randomPixel(random, src, int64_t(full));
                    Samples pivot = toBgr(src.name, full, c);
                    for (int64_t& v : pivot) v &= int64_t(full);
                    const Bytes in = pack(src, bWide, c),
                                out =
                                    pack(dst, bWide,
                                         fromBgr(dst.name, full, double(pivot[0]), double(pivot[1]), double(pivot[2])));
                    from.insert(from.end(), in.begin(), in.end());
                    want.insert(want.end(), out.begin(), out.end());
                }
                const Bytes got = convert(src, dst, bWide, from, kPixels);
                const size_t at = size_t(std::mismatch(got.begin(), got.end(), want.begin()).first - got.begin());
                ASSERT_EQ(got, want) << src.name << " to " << dst.name << (bWide ? " at 16 bits" : "") << ", pixel "
                                     << at / bytesOf(dst, bWide);
                // In one buffer that has room for both.
                Bytes both = from;
                both.resize(std::max(from.size(), want.size()));
                R_ConvertColorSpace(both.data(), both.data(), kPixels, bWide ? src.n16 : src.n8,
                                    bWide ? dst.n16 : dst.n8);
                both.resize(want.size());
                ASSERT_EQ(both, want) << src.name << " to " << dst.name << " in place";
            }
}

// One division in single precision stands for two of whole numbers.
TEST(ColorSpace, FastHueIsExactForAllColors) {
    const rv::RowKernel fast = rv::bestHsvFromBgr8();
    constexpr size_t kRow = 65536;
    Bytes src(kRow * 3), got(kRow * 3), want(kRow * 3);
    for (uint32_t nRed = 0; nRed < 256; ++nRed) {
        for (size_t i = 0; i < kRow; ++i)
            src[i * 3] = uint8_t(i), src[i * 3 + 1] = uint8_t(i >> 8), src[i * 3 + 2] = uint8_t(nRed);
        fast(src.data(), got.data(), kRow);
        rv::hsvFromBgr8(src.data(), want.data(), kRow);
        ASSERT_TRUE(got == want) << "red " << nRed;
    }
    const Bytes random = test::randomBytes(100 * 3, 3);
    for (size_t n = 0; n <= 100; ++n)
        for (const size_t nShift : {0u, 1u, 5u, 31u}) {
            Bytes to(n * 3 + nShift + 8, 0xA5), plain = to;
            fast(random.data(), to.data() + nShift, n);
            rv::hsvFromBgr8(random.data(), plain.data() + nShift, n);
            ASSERT_EQ(to, plain) << n << " pixels at " << nShift;
        }
}

// What stands between the channels depends on the hue and on their distance alone.
TEST(ColorSpace, ColorsOfEveryHueAndSpan) {
    for (uint32_t h = 0; h < 256; ++h)
        for (uint32_t v = 0; v < 256; ++v) {
            const Samples c = toBgr("hsv", 255, {h, 255, v});
            ASSERT_EQ(R_HSVtoRGB(h | 255u << 8 | v << 16), uint32_t(c[2] | c[1] << 8 | c[0] << 16)) << h << " " << v;
        }
}

TEST(ColorSpace, SingleColors) {
    EXPECT_EQ(R_RGBtoHSV(0x777777) & 0xFFFFFF, 0x770000u);
    EXPECT_EQ(R_RGBtoHSV(0) & 0xFFFFFF, 0u);
    EXPECT_EQ(R_RGBtoHSV(0x0000FF) & 0xFFFFFF, 0xFFFF00u);  // red
    EXPECT_EQ(R_RGBtoHSV(0x00FF00) & 0xFFFFFF, 0xFFFF55u);  // green: 30900 / 360
    EXPECT_EQ(R_RGBtoHSV(0xFF0000) & 0xFFFFFF, 0xFFFFABu);  // blue: 61620 / 360
    EXPECT_EQ(R_RGBtoHSV(0x0100FF) & 0xFFFFFF, 0xFFFF00u);  // a hue of 256 leaves the saturation alone
    EXPECT_EQ(R_HSVtoRGB(0xFFFF00), 0x0000FFu);
    EXPECT_EQ(R_HSVtoRGB(0xEE11FF00), R_HSVtoRGB(0x11FF00));  // the top byte is not consulted
    EXPECT_EQ(R_HSVtoRGB(0x770012), 0x777777u);               // no saturation
    uint32_t hsv = 0;
    R_RGBtoHSV2(0x123456, &hsv);
    EXPECT_EQ(hsv, R_RGBtoHSV(0x123456));
    EXPECT_EQ(R_HSVtoRGB2(&hsv), R_HSVtoRGB(hsv));
    R_RGBtoHSV2(0x123456, nullptr);
    EXPECT_EQ(R_HSVtoRGB2(nullptr), 0u);
    for (uint32_t cr = 0; cr < 0x1000000; cr += 4099) {  // there and back
        const uint32_t back = R_HSVtoRGB(R_RGBtoHSV(cr));
        for (int i = 0; i < 24; i += 8)
            ASSERT_NEAR(double(back >> i & 255), double(cr >> i & 255), 10) << std::hex << cr << " " << back;
    }
}

TEST(ColorSpace, Statuses) {
    Bytes a(64, 7), b(64, 9);
    const auto call = [&](const uint8_t* p, uint8_t* q, int32_t n, int32_t from, int32_t to) {
        return R_ConvertColorSpace(p, q, n, from, to);
    };
    EXPECT_EQ(call(nullptr, b.data(), 1, COLORSPACE_BGR, COLORSPACE_HSV), -13);
    EXPECT_EQ(call(a.data(), nullptr, 1, COLORSPACE_BGR, COLORSPACE_HSV), -13);
    for (const Model& m : kModels) {
        EXPECT_EQ(call(a.data(), b.data(), 1, m.n8, COLORSPACE_BGR16), -13);
        EXPECT_EQ(call(a.data(), b.data(), 1, COLORSPACE_BGR, m.n16), -13);
    }
    for (const int32_t nBad : {-1, 7, 15}) EXPECT_EQ(call(a.data(), b.data(), 1, nBad, COLORSPACE_HSV), -13);
    for (const int32_t nBad : {17, 63, 113, 128}) EXPECT_EQ(call(a.data(), b.data(), 1, COLORSPACE_HSV16, nBad), -13);
    EXPECT_EQ(call(a.data(), b.data(), -1, COLORSPACE_BGR, COLORSPACE_HSV), -13);
    EXPECT_EQ(call(a.data(), b.data(), 0, COLORSPACE_YIQ, COLORSPACE_HSV), 1);
    EXPECT_EQ(b, Bytes(64, 9));

    const long nBlocks = faults::liveBlocks();
    {
        faults::FailFromNthAllocation fail(0);
        EXPECT_EQ(call(a.data(), b.data(), 4, COLORSPACE_HLS, COLORSPACE_CMYK), -1);
    }
    EXPECT_EQ(b, Bytes(64, 9));
    EXPECT_EQ(call(a.data(), b.data(), 4, COLORSPACE_HLS, COLORSPACE_CMYK), 1);
    EXPECT_EQ(faults::liveBlocks(), nBlocks);
}

}  // namespace
