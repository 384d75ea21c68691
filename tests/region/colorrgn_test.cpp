// Colour regions against rules that look at one pixel after the other.
#include <gtest/gtest.h>

#include "internal/pixelmasks.h"
#include "internal/rgncolor_.h"
#include "ravokit/ravokit.h"
#include "region/fewcolors.h"
#include "support/faults.h"

namespace {

using namespace test;

// ---- the rules ---------------------------------------------------------------------------------------------------

struct Rules {
    Picture& picture;
    BITMAPRECORD& bm = picture.bm();
    bool bDeepGray = bm.Order == ORDER_GRAY && (bm.BitsPerPixel == 12 || bm.BitsPerPixel == 16);
    bool bSigned = bm.Flags & BMF_SIGNED;
    const RGBQUAD* pLUT = bm.Flags & BMF_USE_LUT ? bm.pLUT : nullptr;

    // One pixel by one call, so that nothing but the arguments is shared with the scans.
    uint64_t converted(int32_t y, int32_t x, int32_t nBits, bool bAllBits) {
        uint8_t pixel[8] = {};
        const uint64_t v = picture.at(y, x);
        std::memcpy(pixel, &v, 8);
        const uint32_t uFlags = bm.Order == ORDER_GRAY ? CONVERT_SRC_GRAY | CONVERT_SRC_BITRANGE : 0;
        EXPECT_EQ(
            R_ConvertBufferExt(pixel, 1, bm.BitsPerPixel, nBits, bm.Order, nBits == 16 ? ORDER_GRAY : ORDER_BGR,
                               bm.Order == ORDER_GRAY ? pLUT : nullptr, nullptr, uFlags,
                               bAllBits ? 0 : bm.PhysicalLowBit, bAllBits ? bm.BitsPerPixel - 1 : bm.PhysicalHighBit),
            1);
        return nBits == 16 ? rv::loadLittle<uint16_t>(pixel) : rv::loadLittle<uint32_t>(pixel) & 0xFFFFFF;
    }
    // Red in the low byte.
    COLORREF colorAt(int32_t y, int32_t x) {
        if (bm.BitsPerPixel <= 8) {
            const RGBQUAD& q = bm.pPalette[picture.at(y, x)];
            return COLORREF(q.rgbRed | q.rgbGreen << 8 | q.rgbBlue << 16);
        }
        return COLORREF(__builtin_bswap32(uint32_t(converted(y, x, 24, bSigned))) >> 8);
    }
    uint32_t levelAt(int32_t y, int32_t x, bool bAllBits = false) { return uint32_t(converted(y, x, 16, bAllBits)); }

    template <class F>
    Selection where(F passes) {
        Selection out;
        for (int32_t y = 0; y < bm.Height; ++y)
            for (int32_t x = 0; x < bm.Width; ++x) out.push_back(passes(y, x));
        return out;
    }
    static uint32_t channel(COLORREF cr, int i) { return cr >> (8 * i) & 255; }
    static COLORREF gray(uint32_t n) { return n * 0x010101; }

    Selection color(COLORREF cr) {
        if (COLOR_IS_GRAY(cr) && bDeepGray && !pLUT)
            return where([&](int32_t y, int32_t x) { return levelAt(y, x) == (cr & 0xFFFF); });
        if (COLOR_IS_GRAY(cr)) cr = gray(cr >> 8 & 255);
        if (bm.BitsPerPixel <= 8 && cr >> 24 == 1)
            return where(
                [&](int32_t y, int32_t x) { return picture.at(y, x) == (cr & ((1u << bm.BitsPerPixel) - 1)); });
        cr &= 0xFFFFFF;
        if (bm.BitsPerPixel >= 8) return where([&](int32_t y, int32_t x) { return colorAt(y, x) == cr; });
        uint32_t i = 0;
        while (i < bm.nColors &&
               COLORREF(bm.pPalette[i].rgbRed | bm.pPalette[i].rgbGreen << 8 | bm.pPalette[i].rgbBlue << 16) != cr)
            ++i;
        return where([&](int32_t y, int32_t x) { return picture.at(y, x) == i; });
    }

    Selection rgbRange(COLORREF low, COLORREF high) {
        if (bDeepGray && (COLOR_IS_GRAY(low) || COLOR_IS_GRAY(high))) {
            uint32_t uLow = low & 0xFFFF, uHigh = high & 0xFFFF;
            if (!COLOR_IS_GRAY(low)) uLow = 256 * std::max({channel(low, 0), channel(low, 1), channel(low, 2)});
            if (!COLOR_IS_GRAY(high)) uHigh = 256 * std::min({channel(high, 0), channel(high, 1), channel(high, 2)});
            return where([&](int32_t y, int32_t x) {
                if (!bSigned) return uLow <= levelAt(y, x) && levelAt(y, x) <= uHigh;
                const int32_t nPower = 1 << (bm.BitsPerPixel - bm.PhysicalHighBit - 1);
                const int32_t n = int16_t(levelAt(y, x, true) * uint32_t(nPower)) / nPower;
                return int16_t(uLow) <= n && n <= int16_t(uHigh);
            });
        }
        const auto limit = [&](COLORREF cr) {
            if (COLOR_IS_GRAY(cr)) return gray(cr >> 8 & 255);
            if (bm.Order != ORDER_GRAY) return cr;
            return gray((5 * channel(cr, 1) + 2 * (channel(cr, 0) + 2) + channel(cr, 2)) / 8);
        };
        low = limit(low), high = limit(high);
        return where([&](int32_t y, int32_t x) {
            const COLORREF cr = colorAt(y, x);
            bool b = true;
            for (int i = 0; i < 3; ++i)
                b = b && channel(low, i) <= channel(cr, i) && channel(cr, i) <= channel(high, i);
            return b;
        });
    }

    Selection hsvRange(uint32_t low, uint32_t high) {
        const auto [lowH, lowS, lowV] = std::array{channel(low, 0), channel(low, 1), channel(low, 2)};
        const auto [highH, highS, highV] = std::array{channel(high, 0), channel(high, 1), channel(high, 2)};
        return where([&, lowH = lowH, lowS = lowS, lowV = lowV, highH = highH, highS = highS, highV = highV](
                         int32_t y, int32_t x) {
            if (bDeepGray && !pLUT) {
                const uint32_t h = 0, s = 0, v = levelAt(y, x);
                const bool bHue = lowH > highH ? h >= lowH || h <= highH : h >= lowH && h <= highH;
                return bHue && lowS <= s && s <= highS && lowV * 257 <= v && v <= highV * 257;
            }
            const uint32_t hsv = R_RGBtoHSV(colorAt(y, x)), h = channel(hsv, 0), s = channel(hsv, 1),
                           v = channel(hsv, 2);
            const bool bHue = (lowH <= v && v <= highH) || (lowH > highH && (lowH <= h || v <= highH));
            return bHue && lowS <= s && s <= highS && lowV <= v && v <= highV;
        });
    }
};

// ---- the calls ---------------------------------------------------------------------------------------------------

TEST(ColorRegion, SelectsTheSamePixelsAsTheRules) {
    int nMixed = 0, nRuns = 0;
    for (const Format& f : kFormats)
        for (uint32_t seed = 1; seed <= (f.nOrder == ORDER_GRAY ? 600 : 60); ++seed) {
            Picture picture(f, seed * 100 + uint32_t(f.nBits));
            ASSERT_TRUE(picture.isHeld());
            BITMAPRECORD& bm = picture.bm();
            Rules rules{picture};
            const auto roll = [&](uint32_t n) { return picture.roll(n); };
            const auto colorOfPixel = [&] {
                const int32_t y = picture.randomRow(), x = picture.randomCol();
                if (roll(3) == 0 && rules.bDeepGray) return 0x4000000 | rules.levelAt(y, x, rules.bSigned && roll(2));
                if (roll(8) == 0) return 0x4000000 | uint32_t(picture.random() & 0xFFFF);
                if (roll(6) == 0) return 0x1000000 | uint32_t(picture.at(y, x) & 0xFFFFFF);
                return rules.colorAt(y, x);
            };
            const auto moved = [&](COLORREF cr, bool bUp) {
                for (int i = 0; i < 3; ++i) {
                    const uint32_t c = Rules::channel(cr, i), n = roll(60);
                    const uint32_t to = bUp ? std::min(c + n, 255u) : c - std::min(c, n);
                    cr = (cr & ~(255u << 8 * i)) | to << 8 * i;
                }
                return cr;
            };
            const auto check = [&](const char* name, int32_t nStatus, const Selection& want, uint32_t a, uint32_t b) {
                nMixed += isMixed(want), ++nRuns;
                ASSERT_EQ(nStatus, 1);
                ASSERT_EQ(picture.selected(), want) << name << " " << a << " " << b << " bits " << f.nBits << " order "
                                                    << f.nOrder << " seed " << seed << " flags " << bm.Flags;
            };
            const COLORREF cr = colorOfPixel();
            check("color", R_SetBitmapRgnColor(&bm, cr, RGN_MODE_SET), rules.color(cr), cr, 0);
            const COLORREF low = moved(colorOfPixel(), false), high = moved(roll(2) ? low : colorOfPixel(), true);
            check("rgb", R_SetBitmapRgnColorRGBRange(&bm, low, high, RGN_MODE_SET), rules.rgbRange(low, high), low,
                  high);
            const uint32_t hsv = R_RGBtoHSV(colorOfPixel()), hues = roll(4) ? roll(256) | roll(256) << 8 : 0;
            const uint32_t hsvLow = (moved(hsv, false) & 0xFFFF00) | (hues & 255),
                           hsvHigh = (moved(hsv, true) & 0xFFFF00) | hues >> 8;
            check("hsv", R_SetBitmapRgnColorHSVRange(&bm, hsvLow, hsvHigh, RGN_MODE_SET),
                  rules.hsvRange(hsvLow, hsvHigh), hsvLow, hsvHigh);
            if (HasFatalFailure()) return;
        }
    EXPECT_GT(nMixed, nRuns / 4);
}

TEST(ColorRegion, StatusesInOrder) {
    Bitmap bm(8, 4, 4);
    const uint32_t hsv = 0;
    BITMAPRECORD bad = bm.record, empty = bm.record;
    bad.uStructSize = 7, bad.Flags = 0;
    empty.Flags &= ~uint32_t(BMF_ALLOCATED);
    for (BITMAPRECORD* p : {static_cast<BITMAPRECORD*>(nullptr), &empty, &bad}) {
        const int32_t n = p == &bad ? -789 : -2;
        EXPECT_EQ(R_SetBitmapRgnColor(p, 0, 99), n);
        EXPECT_EQ(R_SetBitmapRgnColorRGBRange(p, 0, 0, 99), n);
        EXPECT_EQ(R_SetBitmapRgnColorHSVRange(p, 0, 0, 99), n);
        EXPECT_EQ(R_SetBitmapRgnColorHSVRange2(p, nullptr, &hsv, 99), n);
        EXPECT_EQ(R_SetBitmapRgnMagicWand(p, -1, 0, 0, 0, 99), n);
        EXPECT_EQ(R_SetBitmapRgnBorder(p, -1, 0, 0, 0, 0, 99), n);
        EXPECT_EQ(R_IntSetBitmapRgnColor(p, 0, 99), -2);
        EXPECT_EQ(R_IntSetBitmapRgnMagicWand(p, 0, 0, 0, 0, 99), -2);
    }
    EXPECT_EQ(R_SetBitmapRgnColorHSVRange2(&bm, &hsv, nullptr, 99), -13);
    for (const auto& [y, x] : {std::pair{-1, 0}, {4, 0}, {0, -1}, {0, 4}})
        EXPECT_EQ(R_SetBitmapRgnMagicWand(&bm, y, x, 0, 0, 1), -13);
    EXPECT_EQ(R_SetBitmapRgnColor(&bm, 0, 7), -13);
    EXPECT_EQ(R_BitmapHasRgn(&bm), 0);
    bm->uStructSize = 7;  // the scan itself doesn't ask
    EXPECT_EQ(R_IntSetBitmapRgnColor(&bm, 0xFE01FE, 1), -789);
    bm->uStructSize = sizeof bm.record;
}

TEST(ColorRegion, EveryHoldingAndNoMemory) {
    for (const Format& f : kFormats)
        for (const Holding holding : holdingsOf(f.nBits)) {
            if (holding == Holding::super && f.nBits > 8) continue;  // keeps no exact colours
            Picture flat(f, 77), other(f, 77, holding);
            ASSERT_TRUE(other.isHeld()) << nameOf(holding);
            const auto calls = [](BITMAPRECORD& bm, int n) {
                return n == 0   ? R_SetBitmapRgnColorRGBRange(&bm, 0x101010, 0xE0E0E0, RGN_MODE_OR)
                       : n == 1 ? R_SetBitmapRgnColorHSVRange(&bm, 0x100010, 0xFFFF08, RGN_MODE_XOR)
                       : n == 2 ? R_SetBitmapRgnColor(&bm, 0, RGN_MODE_SET_NOT)
                                : R_SetBitmapRgnMagicWand(&bm, 0, 0, 0x202020, 0x202020, RGN_MODE_SET);
            };
            for (int n = f.nBits == 32 && f.nOrder == ORDER_GRAY ? 2 : 3; n >= 0; --n) {
                ASSERT_EQ(calls(flat.bm(), n), 1);
                const Selection before = other.selected();
                const long nBlocks = faults::liveBlocks();
                int32_t nStatus = 0;
                for (int k = 0; nStatus != 1; ++k) {
                    faults::FailFromNthAllocation fail(k);
                    nStatus = calls(other.bm(), n);
                    fail.stop();
                    if (nStatus == 1) break;
                    ASSERT_TRUE(fail.fired() && (nStatus == -1 || (n == 3 && nStatus == -13))) << nStatus;
                    ASSERT_EQ(other.selected(), before);
                    if (holding == Holding::conventional) {  // others keep views and strips
                        ASSERT_EQ(faults::liveBlocks(), nBlocks) << "bits " << f.nBits << " call " << n << " k " << k;
                    }
                }
                ASSERT_EQ(other.selected(), flat.selected()) << nameOf(holding) << " bits " << f.nBits << " call " << n;
            }
        }
}

// ---- kernels -----------------------------------------------------------------------------------------------------

TEST(ColorRegion, FastMasksAreThePlainOnes) {
    const rv::MaskOps &fast = rv::bestMasks(), &plain = rv::kPlainMasks;
    std::mt19937 random(5);
    for (size_t n = 0; n <= 200; ++n) {
        const Bytes row = randomBytes(n * 4, uint32_t(n) + 1);  // as long as needed, so that reads past it are seen
        rv::IndexTest indices;
        for (uint32_t i = 0; i < 256; ++i)
            if (random() % 3 == 0) indices.pass(i);
        rv::ByteTest bytes;
        for (int i = 0; i < 4; ++i)
            bytes.low[i] = uint8_t(random() % 140), bytes.high[i] = uint8_t(100 + random() % 156),
            bytes.stop[i] = row.empty() ? uint8_t(0) : row[random() % row.size()];
        rv::WordTest words;
        words.low = uint16_t(random() % 40000), words.high = uint16_t(20000 + random() % 45000),
        words.uFlip = random() % 2 ? 0x8000 : 0;
        words.nShift = int32_t(random() % 5), words.bStops = random() % 2;
        for (auto& s : words.stop) s = n ? rv::loadLittle<uint16_t>(&row[random() % n * 2]) : uint16_t(0);
        const auto same = [&](auto a, auto b, size_t nBytes, const auto& test, const char* name) {
            const Bytes pixels(row.begin(), row.begin() + std::ptrdiff_t(nBytes));
            std::vector<uint64_t> got(size_t(rv::maskWords(n)) + 1, 0xA5), want = got;
            a(pixels.data(), got.data(), n, test), b(pixels.data(), want.data(), n, test);
            ASSERT_EQ(got, want) << name << " n " << n;
            if (n % 64) {
                ASSERT_EQ(want[n / 64] >> n % 64, 0u) << name;
            }
        };
        for (size_t nBits = 1; nBits <= 8; ++nBits)
            same(fast.indices[nBits], plain.indices[nBits], (n * nBits + 7) / 8, indices, "indices");
        for (const auto kind : {rv::ByteTest::kBox, rv::ByteTest::kStops, rv::ByteTest::kEither}) {
            bytes.kind = kind;
            same(fast.bytes24[kind], plain.bytes24[kind], n * 3, bytes, "24");
            if (kind != rv::ByteTest::kEither) same(fast.bytes32[kind], plain.bytes32[kind], n * 4, bytes, "32");
        }
        same(fast.words16, plain.words16, n * 2, words, "16");
        if (HasFatalFailure()) return;
    }
}

TEST(ColorRegion, SpansOfMasks) {
    std::mt19937 random(9);
    for (size_t n = 1; n <= 330; ++n) {
        std::vector<uint64_t> mask(size_t(rv::maskWords(n)));
        const uint32_t nKind = uint32_t(n % 4);
        bool b = random() % 2;
        std::vector<int32_t> want;
        for (size_t i = 0, bLast = 0; i <= n; bLast = b && i < n, ++i) {
            if (nKind == 0 || random() % (nKind * 20) == 0) b = !b;
            if (i < n) mask[i / 64] |= uint64_t(b) << i % 64;
            if ((b && i < n) != bool(bLast)) want.push_back(int32_t(i));
        }
        for (const rv::MaskOps* p : {&rv::bestMasks(), &rv::kPlainMasks}) {
            const size_t nRoom = (n + 1) / 2 * 2;
            std::vector<int32_t> got(nRoom + 8, -7);
            const auto nUsed = size_t(p->spans(mask.data(), n, got.data()) - got.data());
            ASSERT_EQ(std::count(got.begin() + std::ptrdiff_t(nRoom), got.end(), -7), 8) << n;
            got.resize(nUsed);
            ASSERT_EQ(got, want) << n;
        }
    }
}

}  // namespace
