// Row kernels, plain and vector, against a slow converter of single pixels and against the formulas over whole ranges.
#include "internal/rowkernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ravokit/alpha.h"

namespace rv {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes randomBytes(size_t n, uint32_t uSeed) {
    std::mt19937 random(uSeed);
    Bytes v(n);
    // Extremes are where rounding and carries go wrong.
    for (uint8_t& b : v) b = random() % 8 == 0 ? (random() % 2 ? 255 : 0) : uint8_t(random());
    return v;
}

// One pixel of any format here, as eight-bit samples. Grey levels are computed on writing.
struct Color {
    uint32_t r, g, b, a;
};
struct Format {
    const char* name;
    size_t nBits;
    bool bRedLow;     // red in the first byte, or in the low bits
    uint32_t nGreen;  // bits of green, of 16-bit colours
};
constexpr Format kFormats[] = {
    {"bgr24", 24, false, 0},  {"rgb24", 24, true, 0},   {"bgr32", 32, false, 0},  {"rgb32", 32, true, 0},
    {"bgr48", 48, false, 0},  {"rgb48", 48, true, 0},   {"bgr64", 64, false, 0},  {"rgb64", 64, true, 0},
    {"rgb555", 16, true, 5},  {"bgr555", 16, false, 5}, {"bgr565", 16, false, 6}, {"gray8", 8, false, 0},
    {"gray12", 12, false, 0}, {"gray16", 16, false, 0}, {"top12", 12, false, 0},  {"top16", 16, false, 0}};

const Format& format(const std::string& name) {
    return *std::find_if(std::begin(kFormats), std::end(kFormats), [&](const Format& f) { return name == f.name; });
}

Color readPixel(const Format& f, const uint8_t* row, size_t x) {
    uint32_t c[4] = {0, 0, 0, 255};  // in the order of the row
    if (f.nGreen) {
        const uint32_t v = row[x * 2] + row[x * 2 + 1] * 256u;
        const uint32_t low = v % 32, green = v / 32 % (1u << f.nGreen), high = v / 32 / (1u << f.nGreen) % 32;
        c[0] = low * 8 + low / 4, c[2] = high * 8 + high / 4;
        c[1] = f.nGreen == 5 ? green * 8 + green / 4 : green * 4 + green / 16;
    } else {
        const size_t nSampleBytes = f.nBits > 32 ? 2 : 1, nBytes = f.nBits / 8;
        for (size_t i = 0; i < nBytes / nSampleBytes; ++i) c[i] = row[x * nBytes + (i + 1) * nSampleBytes - 1];
    }
    return f.bRedLow ? Color{c[0], c[1], c[2], c[3]} : Color{c[2], c[1], c[0], c[3]};
}

void writePixel(const Format& f, uint8_t* row, size_t x, Color p, bool bAlphaBit) {
    const uint32_t c[4] = {f.bRedLow ? p.r : p.b, p.g, f.bRedLow ? p.b : p.r, p.a};
    const uint32_t gray = (p.b + 5 * p.g + 2 * (p.r + 2)) / 8;
    const std::string name = f.name;
    if (name == "gray8") {
        row[x] = uint8_t(gray);
    } else if (name == "gray16") {
        row[x * 2] = row[x * 2 + 1] = uint8_t(gray);
    } else if (name == "top16") {
        row[x * 2] = 0, row[x * 2 + 1] = uint8_t(gray);
    } else if (name == "gray12" || name == "top12") {
        const uint32_t v = name == "top12" ? gray * 16 : gray * 4095 / 255;
        uint8_t* q = row + x / 2 * 3;
        if (x % 2) {
            q[1] = uint8_t(q[1] % 16 + v % 16 * 16), q[2] = uint8_t(v / 16);
        } else {
            q[0] = uint8_t(v), q[1] = uint8_t(q[1] / 16 * 16 + v / 256);
        }
    } else if (f.nGreen) {
        uint32_t v = c[0] / 8 + c[1] / (1u << (8 - f.nGreen)) * 32 + c[2] / 8 * 32 * (1u << f.nGreen);
        if (bAlphaBit && f.nGreen == 5 && p.a >= 128) v += 32768;
        row[x * 2] = uint8_t(v), row[x * 2 + 1] = uint8_t(v / 256);
    } else if (f.nBits > 32) {
        for (size_t i = 0; i < f.nBits / 16; ++i)
            row[x * f.nBits / 8 + i * 2] = row[x * f.nBits / 8 + i * 2 + 1] = uint8_t(c[i]);
    } else {
        for (size_t i = 0; i < f.nBits / 8; ++i) row[x * f.nBits / 8 + i] = uint8_t(c[i]);
    }
}

using Run = std::function<void(const RowKernels&, const uint8_t*, uint8_t*, size_t)>;
using Reference = std::function<void(const uint8_t*, uint8_t*, size_t x)>;  // one pixel from row to row

size_t rowBytes(size_t n, size_t nBits) { return (n * nBits + 7) / 8; }

// Both tables, apart and in place, over widths past two blocks, and some where the stores are aligned. The rows end
// where their memory ends, so that a checker of addresses sees a read beyond, and bytes around the destination must
// stay.
void expectRows(const std::string& name, size_t nSrcBits, size_t nDstBits, const Run& run, const Reference& reference) {
    for (const RowKernels* kernels : {&kPlainRowKernels, &bestRowKernels()}) {
        for (size_t n = 0; n <= 1100; n += n < 140 ? 1 : 53) {
            const size_t nSrc = rowBytes(n, nSrcBits), nDst = rowBytes(n, nDstBits), nShift = n * 7 % 32;
            const Bytes row = randomBytes(nSrc, uint32_t(n));
            const std::string what = name + " n=" + std::to_string(n) + (kernels == &kPlainRowKernels ? " plain" : "");

            Bytes src(nShift + nSrc), got = randomBytes(nShift + nDst, 5), want = got;
            std::copy(row.begin(), row.end(), src.begin() + ptrdiff_t(nShift));
            src.shrink_to_fit();
            for (size_t x = 0; x < n; ++x) reference(row.data(), want.data() + nShift, x);
            run(*kernels, src.data() + nShift, got.data() + nShift, n);
            ASSERT_EQ(got, want) << what;

            // In place: what the destination does not cover keeps the source's bytes.
            Bytes both(nShift + std::max(nSrc, nDst));
            std::copy(row.begin(), row.end(), both.begin() + ptrdiff_t(nShift));
            want = both;
            for (size_t x = 0; x < n; ++x) reference(row.data(), want.data() + nShift, x);
            run(*kernels, both.data() + nShift, both.data() + nShift, n);
            ASSERT_EQ(both, want) << what << " in place";

            // A store past the end shows in bytes behind it.
            Bytes guarded(nDst + 64, 0xA5);
            run(*kernels, row.data(), guarded.data(), n);
            ASSERT_TRUE(
                std::all_of(guarded.begin() + ptrdiff_t(nDst), guarded.end(), [](uint8_t b) { return b == 0xA5; }))
                << what << " writes past its end";
        }
    }
}

void expectPair(const char* from, const char* to, RowKernel (*pick)(const RowKernels&)) {
    const Format &src = format(from), &dst = format(to);
    expectRows(
        std::string(from) + " to " + to, src.nBits, dst.nBits,
        [&](const RowKernels& k, const uint8_t* s, uint8_t* d, size_t n) { pick(k)(s, d, n); },
        [&](const uint8_t* s, uint8_t* d, size_t x) { writePixel(dst, d, x, readPixel(src, s, x), src.nBits == 32); });
}

#define PAIR(from, to, member) expectPair(from, to, [](const RowKernels& k) { return k.member; })

TEST(RowKernels, ShufflesMatchSinglePixels) {
    PAIR("bgr24", "rgb24", shuffle.swap24);
    PAIR("bgr32", "rgb32", shuffle.swap32);
    PAIR("bgr24", "bgr32", shuffle.widen24To32[kKeepOrder]);
    PAIR("bgr24", "rgb32", shuffle.widen24To32[kSwapOrder]);
    PAIR("bgr32", "bgr24", shuffle.narrow32To24[kKeepOrder]);
    PAIR("rgb32", "bgr24", shuffle.narrow32To24[kSwapOrder]);
    PAIR("bgr48", "bgr24", shuffle.narrow48To24[kKeepOrder]);
    PAIR("bgr48", "rgb24", shuffle.narrow48To24[kSwapOrder]);
    PAIR("bgr64", "bgr32", shuffle.narrow64To32[kKeepOrder]);
    PAIR("bgr64", "rgb32", shuffle.narrow64To32[kSwapOrder]);
    PAIR("bgr24", "bgr48", shuffle.widen24To48[kKeepOrder]);
    PAIR("bgr24", "rgb48", shuffle.widen24To48[kSwapOrder]);
}

TEST(RowKernels, GrayRowsMatchSinglePixels) {
    PAIR("bgr24", "gray8", gray.gray8From24[kBlueFirst]);
    PAIR("rgb24", "gray8", gray.gray8From24[kRedFirst]);
    PAIR("bgr32", "gray8", gray.gray8From32[kBlueFirst]);
    PAIR("rgb32", "gray8", gray.gray8From32[kRedFirst]);
    PAIR("bgr24", "gray12", gray.gray12From24[kBlueFirst]);
    PAIR("rgb24", "gray12", gray.gray12From24[kRedFirst]);
    PAIR("bgr32", "top12", gray.gray12From32[kBlueFirst]);
    PAIR("rgb32", "top12", gray.gray12From32[kRedFirst]);
    PAIR("bgr24", "gray16", gray.gray16From24[kBlueFirst]);
    PAIR("rgb24", "gray16", gray.gray16From24[kRedFirst]);
    PAIR("bgr32", "top16", gray.gray16From32[kBlueFirst]);
    PAIR("rgb32", "top16", gray.gray16From32[kRedFirst]);

    // Every level in every colour: grey r = g = b = v is v, and 12 and 16 bits scale it.
    Bytes levels(256 * 3), got(512);
    for (size_t v = 0; v < 256; ++v) std::fill_n(levels.begin() + ptrdiff_t(v * 3), 3, uint8_t(v));
    bestRowKernels().gray.gray12From24[kBlueFirst](levels.data(), got.data(), 256);
    for (uint32_t v = 0; v < 256; ++v) {
        const uint32_t word = got[v / 2 * 3 + v % 2] + got[v / 2 * 3 + v % 2 + 1] * 256u;
        ASSERT_EQ(v % 2 ? word >> 4 : word & 0xFFF, v * 4095 / 255);
    }
}

TEST(RowKernels, PackedColoursMatchSinglePixels) {
    PAIR("rgb555", "bgr24", packed16.to24[kRgb555][kBlueFirst]);
    PAIR("rgb555", "rgb24", packed16.to24[kRgb555][kRedFirst]);
    PAIR("bgr555", "bgr24", packed16.to24[kBgr555][kBlueFirst]);
    PAIR("bgr555", "rgb24", packed16.to24[kBgr555][kRedFirst]);
    PAIR("bgr565", "bgr24", packed16.to24[kBgr565][kBlueFirst]);
    PAIR("bgr565", "rgb24", packed16.to24[kBgr565][kRedFirst]);
    PAIR("rgb555", "bgr32", packed16.to32[kRgb555][kBlueFirst]);
    PAIR("rgb555", "rgb32", packed16.to32[kRgb555][kRedFirst]);
    PAIR("bgr555", "bgr32", packed16.to32[kBgr555][kBlueFirst]);
    PAIR("bgr555", "rgb32", packed16.to32[kBgr555][kRedFirst]);
    PAIR("bgr565", "bgr32", packed16.to32[kBgr565][kBlueFirst]);
    PAIR("bgr565", "rgb32", packed16.to32[kBgr565][kRedFirst]);
    PAIR("bgr24", "rgb555", packed16.from24[kRgb555][kBlueFirst]);
    PAIR("rgb24", "rgb555", packed16.from24[kRgb555][kRedFirst]);
    PAIR("bgr24", "bgr555", packed16.from24[kBgr555][kBlueFirst]);
    PAIR("rgb24", "bgr555", packed16.from24[kBgr555][kRedFirst]);
    PAIR("bgr24", "bgr565", packed16.from24[kBgr565][kBlueFirst]);
    PAIR("rgb24", "bgr565", packed16.from24[kBgr565][kRedFirst]);
    PAIR("bgr32", "rgb555", packed16.from32[kRgb555][kBlueFirst]);
    PAIR("rgb32", "rgb555", packed16.from32[kRgb555][kRedFirst]);
    PAIR("bgr32", "bgr555", packed16.from32[kBgr555][kBlueFirst]);
    PAIR("rgb32", "bgr555", packed16.from32[kBgr555][kRedFirst]);
    PAIR("bgr32", "bgr565", packed16.from32[kBgr565][kBlueFirst]);
    PAIR("rgb32", "bgr565", packed16.from32[kBgr565][kRedFirst]);

    // Every word, out and back: the way out keeps the top bits, so the way back finds the word again.
    Bytes words(65536 * 2), wide(65536 * 4), back(65536 * 2);
    for (size_t v = 0; v < 65536; ++v) words[v * 2] = uint8_t(v), words[v * 2 + 1] = uint8_t(v >> 8);
    for (int f : {kRgb555, kBgr555, kBgr565}) {
        bestRowKernels().packed16.to32[f][kBlueFirst](words.data(), wide.data(), 65536);
        bestRowKernels().packed16.from32[f][kBlueFirst](wide.data(), back.data(), 65536);
        for (size_t v = 0; v < 65536; ++v) {
            const size_t kept = f == kBgr565 ? v : v | 0x8000;  // opaque
            ASSERT_EQ(back[v * 2] + back[v * 2 + 1] * 256u, kept) << "format " << f;
        }
    }
}

TEST(RowKernels, PaletteRowsMatchSinglePixels) {
    const Bytes entries = randomBytes(256 * 4, 3);
    std::vector<RGBQUAD> table(256);
    for (size_t i = 0; i < 256; ++i)
        table[i] = {entries[i * 4], entries[i * 4 + 1], entries[i * 4 + 2], entries[i * 4 + 3]};
    const auto bit = [](const uint8_t* s, size_t x) { return s[x / 8] >> (7 - x % 8) & 1; };
    const uint32_t uColors[2] = {0x12345678, 0xFEDCBA98};

    for (size_t nBytes : {3u, 4u}) {
        expectRows(
            "palette to " + std::to_string(nBytes) + " bytes", 8, nBytes * 8,
            [&](const RowKernels& k, const uint8_t* s, uint8_t* d, size_t n) {
                (nBytes == 3 ? k.palette.pal8To24 : k.palette.pal8To32)(s, d, n, table.data());
            },
            [&](const uint8_t* s, uint8_t* d, size_t x) {
                std::copy_n(entries.begin() + s[x] * 4, nBytes, d + x * nBytes);
            });
    }
    for (size_t nBytes : {1u, 3u, 4u}) {
        expectRows(
            "bits to " + std::to_string(nBytes) + " bytes", 1, nBytes * 8,
            [&](const RowKernels& k, const uint8_t* s, uint8_t* d, size_t n) {
                const auto& p = k.palette;
                (nBytes == 1 ? p.bit1To8 : nBytes == 3 ? p.bit1To24 : p.bit1To32)(s, d, n, uColors[0], uColors[1]);
            },
            [&](const uint8_t* s, uint8_t* d, size_t x) {
                for (size_t i = 0; i < nBytes; ++i) d[x * nBytes + i] = uint8_t(uColors[bit(s, x)] >> (i * 8));
            });
    }
    expectRows(
        "nibbles to bytes", 4, 8,
        [&](const RowKernels& k, const uint8_t* s, uint8_t* d, size_t n) {
            k.palette.nibble4To8(s, d, n, entries.data());
        },
        [&](const uint8_t* s, uint8_t* d, size_t x) { d[x] = entries[x % 2 ? s[x / 2] % 16 : s[x / 2] / 16]; });
}

TEST(RowKernels, GraySamplesToBytes) {
    const auto sample = [](const uint8_t* s, size_t x) { return s[x * 2] + s[x * 2 + 1] * 256u; };
    expectRows(
        "high bytes", 16, 8,
        [](const RowKernels& k, const uint8_t* s, uint8_t* d, size_t n) { k.gray.gray16To8(s, d, n); },
        [&](const uint8_t* s, uint8_t* d, size_t x) { d[x] = uint8_t(sample(s, x) / 256); });
    for (const auto& levels : {std::pair(0u, 255u), {4u, 255u}, {11u, 31u}, {3u, 0xFFFu}}) {
        const uint32_t nShift = levels.first, uMask = levels.second;
        const Bytes table = randomBytes(uMask + 1, 9);
        expectRows(
            "shift and mask", 16, 8,
            [=](const RowKernels& k, const uint8_t* s, uint8_t* d, size_t n) {
                k.gray.gray16To8Cut(s, d, n, nShift, uMask);
            },
            [=](const uint8_t* s, uint8_t* d, size_t x) { d[x] = uint8_t(sample(s, x) >> nShift & uMask); });
        expectRows(
            "table", 16, 8,
            [&, nShift, uMask](const RowKernels& k, const uint8_t* s, uint8_t* d, size_t n) {
                k.gray.gray16To8Table(s, d, n, nShift, uMask, table.data());
            },
            [&, nShift, uMask](const uint8_t* s, uint8_t* d, size_t x) {
                d[x] = table[sample(s, x) >> nShift & uMask];
            });
    }
    // Scaling divides by a reciprocal: every sample, width and position.
    Bytes words(65536 * 2), got(65536);
    for (size_t v = 0; v < 65536; ++v) words[v * 2] = uint8_t(v), words[v * 2 + 1] = uint8_t(v >> 8);
    for (const RowKernels* kernels : {&kPlainRowKernels, &bestRowKernels()})
        for (uint32_t nBits = 1; nBits <= 8; ++nBits)
            for (uint32_t nShift = 0; nShift + nBits <= 16; ++nShift) {
                const uint32_t uMask = (1u << nBits) - 1;
                kernels->gray.gray16To8Scaled(words.data(), got.data(), 65536 - 5, nShift, uMask);
                for (uint32_t v = 0; v < 65536 - 5; ++v)
                    ASSERT_EQ(got[v], (v >> nShift & uMask) * 255 / uMask) << "bits " << nBits << " shift " << nShift;
            }
}

// Every sample with every alpha at 8 bits; at 16 bits every sample with the alphas where divisions turn.
TEST(RowKernels, AlphaIsExact) {
    Bytes row(65536 * 4);
    for (size_t i = 0; i < 65536; ++i) {
        const uint8_t c = uint8_t(i), a = uint8_t(i >> 8);
        row[i * 4] = c, row[i * 4 + 1] = uint8_t(~c), row[i * 4 + 2] = uint8_t(c * 7), row[i * 4 + 3] = a;
    }
    for (const RowKernels* kernels : {&kPlainRowKernels, &bestRowKernels()}) {
        Bytes to(row.size()), from(row.size());
        kernels->alpha.premultiply32(row.data(), to.data(), 65536);
        kernels->alpha.unpremultiply32(row.data(), from.data(), 65536);
        for (size_t i = 0; i < row.size(); ++i) {
            const uint32_t c = row[i], a = row[i | 3];
            ASSERT_EQ(to[i], i % 4 == 3 ? a : c * a / 255) << "c=" << c << " a=" << a;
            ASSERT_EQ(from[i], i % 4 == 3 ? a : a ? c * 255 / a % 256 : 0) << "c=" << c << " a=" << a;
        }
    }

    std::vector<uint32_t> alphas = {0, 1, 2, 3, 255, 256, 257, 32767, 32768, 65281, 65534, 65535};
    std::mt19937 random(11);
    for (int i = 0; i < 30; ++i) alphas.push_back(random() % 65536);
    std::vector<uint16_t> wide(65536 / 2 * 4), to(wide.size()), from(wide.size());
    const auto bytes = [](std::vector<uint16_t>& v) { return reinterpret_cast<uint8_t*>(v.data()); };
    for (const uint32_t a : alphas) {
        for (size_t i = 0; i < wide.size(); i += 4) {
            wide[i] = uint16_t(i / 2), wide[i + 1] = uint16_t(i / 2 + 1), wide[i + 2] = uint16_t(random());
            wide[i + 3] = uint16_t(a);
        }
        for (const RowKernels* kernels : {&kPlainRowKernels, &bestRowKernels()}) {
            kernels->alpha.premultiply64(bytes(wide), bytes(to), wide.size() / 4);
            kernels->alpha.unpremultiply64(bytes(wide), bytes(from), wide.size() / 4);
            for (size_t i = 0; i < wide.size(); ++i) {
                const uint64_t c = wide[i];
                ASSERT_EQ(to[i], i % 4 == 3 ? a : c * a / 65535) << "c=" << c << " a=" << a;
                ASSERT_EQ(from[i], i % 4 == 3 ? a : a ? c * 65535 / a % 65536 : 0) << "c=" << c << " a=" << a;
            }
        }
    }
}

TEST(PremultipliedAlpha, Rows) {
    // 200 x 100 / 255 is 78.4; 200 x 255 / 100 is 510, cut to 254. The third pixel is not whole.
    const Bytes row = {200, 100, 0, 100, 9, 9, 9, 0, 200, 100, 50};
    Bytes v = row;
    EXPECT_EQ(R_ConvertToPremultipliedAlpha(32, v.data(), uint32_t(v.size())), 1);
    EXPECT_EQ(v, (Bytes{78, 39, 0, 100, 0, 0, 0, 0, 200, 100, 50}));
    v = row;
    EXPECT_EQ(R_ConvertFromPremultipliedAlpha(32, v.data(), uint32_t(v.size())), 1);
    EXPECT_EQ(v, (Bytes{254, 255, 0, 100, 0, 0, 0, 0, 200, 100, 50}));
    // At 64 bits: 0x8000 x 0x4000 / 65535 = 0x2000, with a remainder.
    v = {0, 0x80, 0, 0x40, 0, 0, 0, 0x40, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(R_ConvertToPremultipliedAlpha(64, v.data(), uint32_t(v.size())), 1);
    EXPECT_EQ(v, (Bytes{0, 0x20, 0, 0x10, 0, 0, 0, 0x40, 1, 2, 3, 4, 5, 6, 7}));
    for (int32_t nBits : {8, 16, 24, 48, 0, -1}) {
        v = row;
        EXPECT_EQ(R_ConvertToPremultipliedAlpha(nBits, v.data(), uint32_t(v.size())), 1);
        EXPECT_EQ(R_ConvertFromPremultipliedAlpha(nBits, v.data(), uint32_t(v.size())), 1);
        EXPECT_EQ(v, row);
    }
}

}  // namespace
}  // namespace rv
