// Rows that painting converts and dithers, pixel by pixel against the rules.
#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "internal/muldiv.h"
#include "internal/paint_.h"
#include "internal/paintgray.h"
#include "support/bitmaps.h"

using namespace test;
using namespace rv;

namespace {

// A format, the random rows in it, and a paint table.
struct Rows {
    BITMAPRECORD format{};
    Bytes source, paint = randomBytes(256, 3);
    std::vector<RGBQUAD> palette, lut;
    int32_t nWidth;

    Rows(int32_t nBits, int32_t nOrder, int32_t width, bool bPaint = false) : nWidth(width) {
        R_InitBitmap(&format, sizeof format, width, 1, nBits);
        format.Order = nOrder;
        source = randomBytes(size_t(packedBytes(uint32_t(width), uint32_t(nBits))), uint32_t(nBits + nOrder));
        palette.resize(256);
        std::memcpy(palette.data(), randomBytes(1024, 9).data(), 1024);
        if (nBits <= 8) format.pPalette = palette.data();
        format.pPaintLUT = paint.data();
        if (bPaint) format.Flags |= BMF_PAINT_LUT;
    }
    void setLut(std::vector<RGBQUAD> entries) {
        lut = std::move(entries);
        format.pLUT = lut.data();
        format.LUTLength = uint32_t(lut.size());
        format.Flags |= BMF_USE_LUT;
    }
    uint64_t at(int32_t x) const { return pixelAt(source.data(), format.BitsPerPixel, size_t(x)); }
    int painted(int v) const { return format.Flags & BMF_PAINT_LUT ? paint[size_t(v)] : v; }

    // The high bytes of blue, green, red and alpha.
    std::array<int, 4> color(int32_t x) const {
        const int32_t nBits = format.BitsPerPixel, nSample = nBits < 48 ? 8 : 16;
        uint64_t v = at(x);
        if (format.Order == ORDER_ROMM)
            R_ConvertBuffer(reinterpret_cast<uint8_t*>(&v), 1, nBits, nBits, ORDER_ROMM, ORDER_BGR, nullptr, nullptr);
        std::array<int, 4> c;
        for (int i = 0; i < 4; ++i) c[size_t(i)] = int(v >> (nSample * i + nSample - 8) & 255);
        if (nBits == 16) {
            const bool b6 = format.Order == ORDER_BGR565;
            const int p = int(v), b = p & 31, g = p >> 5 & (b6 ? 63 : 31), r = p >> (b6 ? 11 : 10) & 31;
            c = {b << 3 | b >> 2, b6 ? g << 2 | g >> 4 : g << 3 | g >> 2, r << 3 | r >> 2, 0};
        }
        if (format.Order == ORDER_RGB) std::swap(c[0], c[2]);
        return c;
    }
    Bytes convert(const PaintWish& wish, int32_t nBits, PaintTable table) const {
        const Bytes before = source;
        std::unique_ptr<PaintRenderer> p;
        EXPECT_EQ(makeRowConverter(format, wish, p), 1) << format.BitsPerPixel << " order " << format.Order;
        if (!p) return {};
        EXPECT_TRUE(p->bits() == nBits && p->table() == table && p->isPure());
        Bytes out(size_t(packedBytes(uint32_t(nWidth), uint32_t(nBits))) + 8, 0xA5);
        p->render(source.data(), out.data(), size_t(nWidth), 0);
        p->render(source.data(), out.data(), size_t(nWidth), 1);  // by now tables have become lines
        EXPECT_TRUE(std::all_of(out.end() - 8, out.end(), [](uint8_t v) { return v == 0xA5; }) && before == source);
        return out;
    }
};

PaintWish asked(int32_t nBits, int32_t nOrder, uint32_t uFlags = 0, int32_t nLow = 0, int32_t nHigh = 0) {
    return {0, nBits, false, true, nOrder, uFlags, nLow, nHigh};
}

TEST(PaintRows, ColoursGoOutInTheirDepthAndOrder) {
    const PaintWish plain, alpha{0, 24, true}, swapped{DM_RGB_SWAP};
    for (const int32_t nBits : {16, 24, 32, 48, 64})
        for (const int32_t nOrder : {ORDER_RGB, ORDER_BGR, ORDER_ROMM, ORDER_BGR565})
            for (const PaintWish& wish : {plain, alpha, swapped, asked(24, ORDER_RGB), asked(24, ORDER_BGR),
                                          asked(32, ORDER_RGB), asked(nBits, ORDER_BGR), asked(48, ORDER_RGB)}) {
                if (nOrder == ORDER_BGR565 ? nBits != 16 : nOrder == ORDER_ROMM && nBits != 24 && nBits != 48) continue;
                const Rows rows(nBits, nOrder, 1037, true);
                const bool bAlpha = nBits == 32 || nBits == 64;
                const int32_t nOut = wish.bAsked ? wish.nDeviceBits : wish.bAlpha && bAlpha ? 32 : 24;
                std::unique_ptr<PaintRenderer> p;
                if (nOut != 24 && nOut != nBits && !(nOut == 32 && nBits == 64)) {
                    ASSERT_EQ(makeRowConverter(rows.format, wish, p), -27) << nBits << " to " << nOut;
                    continue;
                }
                const Bytes out = rows.convert(wish, nOut, PaintTable::none);
                const bool bStays = wish.uMode && nOrder == ORDER_RGB && nBits > 16;
                const bool bRed = bStays || (wish.bAsked && wish.nOrder == ORDER_RGB);
                for (int32_t x = 0; x < rows.nWidth; ++x) {
                    const auto c = rows.color(x);
                    const uint64_t v = pixelAt(out.data(), nOut, size_t(x));
                    if (nOut == 16) {
                        ASSERT_EQ(v, rows.at(x));
                    }
                    for (int i = 0; i < 3 && nOut != 16; ++i) {
                        const int want = c[size_t(bRed ? 2 - i : i)];
                        ASSERT_EQ(int(v >> (nOut < 48 ? 8 * i : 16 * i + 8) & 255), nOut < 48 ? rows.painted(want) : want)
                            << nBits << " order " << nOrder << " to " << nOut << " at " << x;
                    }
                    if (nOut == 32) {
                        ASSERT_EQ(int(v >> 24), c[3]);
                    }
                }
            }
    for (const int32_t nOrder : {ORDER_RGB, ORDER_ROMM}) {
        const Rows rows(48, nOrder, 700, true);
        Bytes out = rows.convert(asked(48, ORDER_BGR, SINKINFO_AS_STORED), 48, PaintTable::none);
        out.resize(rows.source.size());
        EXPECT_EQ(out, rows.source);
    }
}

TEST(PaintRows, IndicesStayAndBecomeColours) {
    for (int32_t nBits = 1; nBits <= 8; ++nBits) {
        const Rows rows(nBits, ORDER_RGB, 1037, true);
        const int32_t nOut = nBits == 1 ? 1 : nBits <= 4 ? 4 : 8;
        const Bytes out = rows.convert({}, nOut, PaintTable::picture), wide = rows.convert(asked(8, ORDER_GRAY), 8, PaintTable::picture);
        const Bytes colors = rows.convert(asked(24, ORDER_RGB), 24, PaintTable::none);
        for (int32_t x = 0; x < rows.nWidth; ++x) {
            ASSERT_EQ(pixelAt(out.data(), nOut, size_t(x)), rows.at(x)) << nBits;
            ASSERT_EQ(wide[size_t(x)], rows.at(x)) << nBits;
            const RGBQUAD q = rows.palette[size_t(rows.at(x))];
            ASSERT_EQ(colors[size_t(x) * 3], rows.painted(q.rgbRed)) << nBits;
            ASSERT_EQ(colors[size_t(x) * 3 + 2], rows.painted(q.rgbBlue)) << nBits;
        }
    }
}

RGBQUAD grayEntry(int v) { return {uint8_t(v), uint8_t(v), uint8_t(v), 0}; }
int grayOf(const RGBQUAD& q) { return (5 * q.rgbGreen + 2 * (q.rgbRed + 2) + q.rgbBlue) / 8; }

TEST(PaintRows, GrayByItsWindowAndTable) {
    for (const int32_t nBits : {12, 16})
        for (const POINT window : {POINT{-1, -1}, POINT{0, 7}, POINT{4, 11}, POINT{3, 5}, POINT{0, 11}, POINT{2, 9}})
            for (const int nTable : {0, 1, 2, 3}) {  // none in force, none at all, short and random, a line
                Rows rows(nBits, ORDER_GRAY, 70001, true);
                rows.format.LowBit = window.x, rows.format.HighBit = window.y;
                const int nLow = std::max(window.x, 0), nHigh = window.y < 0 ? nBits - 1 : window.y;
                const int nCount = 1 << (nHigh - nLow + 1);
                std::vector<RGBQUAD> lut(size_t(nTable == 3 ? nCount : nCount - 3));
                for (int k = 0; k < int(lut.size()); ++k)
                    lut[size_t(k)] = nTable == 3 ? grayEntry(std::clamp((k - nCount / 5) * 300 / nCount, 0, 255))
                                                 : RGBQUAD{uint8_t(k * 7), uint8_t(k * 31 + 5), uint8_t(k / 3), 0};
                if (nTable != 1) rows.setLut(lut);
                rows.format.Flags |= BMF_USE_LUT;
                if (nTable == 0) rows.format.Flags &= ~uint32_t(BMF_USE_LUT);
                const bool bLut = nTable >= 2;
                const int nUsed = std::min(nHigh - nLow + 1, bLut ? nBits : 8), nMask = (1 << nUsed) - 1;
                const Bytes out = rows.convert({}, 8, PaintTable::grayRamp);
                const Bytes placed = rows.convert(asked(8, ORDER_GRAY, SINKINFO_GRAY_RANGE | SINKINFO_NO_LUT, 1, 6), 8,
                                                  PaintTable::grayRamp);
                const Bytes colors = rows.convert(asked(24, ORDER_BGR), 24, PaintTable::none);
                for (int32_t x = 0; x < rows.nWidth; ++x) {
                    const int nSample = int(rows.at(x)), k = nSample >> (nHigh - nUsed + 1) & nMask;
                    const RGBQUAD q = !bLut             ? grayEntry(k * 255 / nMask)
                                      : k < int(lut.size()) ? lut[size_t(k)]
                                                            : RGBQUAD{};
                    ASSERT_EQ(out[size_t(x)], grayOf(q))
                        << nBits << " bits " << nLow << " to " << nHigh << " table " << nTable << " sample " << nSample;
                    ASSERT_EQ(colors[size_t(x) * 3 + 2], rows.painted(q.rgbRed));
                    const int nTop = std::min(nHigh - nLow + 1, 8), nFull = (1 << nTop) - 1;
                    const int nGray = (nSample >> (nHigh - nTop + 1) & nFull) * 255 / nFull;
                    ASSERT_EQ(placed[size_t(x)], nGray >> 2 << 1);
                }
            }
}

TEST(PaintRows, GrayStaysDeepWhereThatIsAsked) {
    for (const int32_t nBits : {12, 16})
        for (const int32_t nOut : {12, 16}) {
            Rows rows(nBits, ORDER_GRAY, 1037);
            rows.format.LowBit = 2, rows.format.HighBit = 9;
            std::vector<RGBQUAD> lut(256);
            for (int k = 0; k < 256; ++k) lut[size_t(k)] = grayEntry(k * k / 255);
            const Bytes same = rows.convert(asked(nOut, ORDER_GRAY), nOut, PaintTable::none);
            const Bytes moved = rows.convert(asked(nOut, ORDER_GRAY, SINKINFO_GRAY_RANGE, 3, 8), nOut, PaintTable::none);
            rows.setLut(lut);
            rows.format.PhysicalLowBit = 2, rows.format.PhysicalHighBit = 9;
            const Bytes mapped = rows.convert(asked(nOut, ORDER_GRAY), nOut, PaintTable::none);
            for (int32_t x = 0; x < rows.nWidth; ++x) {
                const auto i = size_t(x);
                const int v = int(rows.at(x) >> 2 & 255), nShort = 16 - nOut;
                if (nOut == nBits) {
                    ASSERT_EQ(pixelAt(same.data(), nOut, i), rows.at(x));
                }
                ASSERT_EQ(int(pixelAt(moved.data(), nOut, i)), v >> 2 << 3) << nBits << " to " << nOut;
                ASSERT_EQ(int(pixelAt(mapped.data(), nOut, i)), lut[size_t(v)].rgbRed * 257 >> nShort) << nBits;
            }
        }
}

TEST(PaintRows, Gray32ByItsRange) {
    for (const POINT range : {POINT{0, 1000}, POINT{-500, 70000}, POINT{5, 5}, POINT{0, -1}, POINT{-9, -9}}) {
        Rows rows(32, ORDER_GRAY, 99);
        rows.format.MinVal = range.x, rows.format.MaxVal = range.y;
        const bool bSigned = range.x <= range.y && range.y >= 0;
        const auto nSpan = bSigned ? uint32_t(range.y - range.x) : uint32_t(range.y) - uint32_t(range.x);
        for (int32_t x = 0; x < 99; ++x) {
            const uint32_t v = uint32_t(range.x) + uint32_t(uint64_t(nSpan) * unsigned(x) / 98);
            std::memcpy(&rows.source[size_t(x) * 4], &v, 4);
        }
        const Bytes out = rows.convert({}, 8, PaintTable::grayRamp);
        for (int32_t x = 0; x < 99; ++x) {
            const uint64_t v = uint32_t(rows.at(x)) - uint32_t(range.x);
            ASSERT_EQ(out[size_t(x)], nSpan ? (v * 255 + nSpan / 2) / nSpan : 255) << range.x << " " << range.y;
        }
    }
}

TEST(PaintRows, LinesAreTheirTables) {
    const Bytes samples = randomBytes(2 * 4099, 4);
    GrayLine line;
    for (const int nLow : {-20000, 0, 777, 40000})
        for (const int nWidth : {1, 2, 60, 255, 256, 300, 4095, 30000, 65535})
            for (const int nKind : {0, 1, 2}) {
                Bytes table(65536);
                for (int k = 0; k < 65536; ++k) {
                    const int v = int(int64_t(k - nLow) * 255 / nWidth);
                    table[size_t(k)] = uint8_t(std::clamp(nKind == 1 ? 255 - v : v, nKind == 2 ? 30 : 0, 240));
                }
                ASSERT_TRUE(findGrayLine(table.data(), 65536, line)) << nLow << " " << nWidth << " " << nKind;
                for (const uint32_t nShift : {0u, 3u})
                    for (size_t n : {0, 1, 31, 32, 33, 70, 4099}) {
                        Bytes plain(n + 1, 0xA5), fast = plain;
                        plainGrayLine(samples.data(), plain.data(), n, nShift, 0xFFFF >> nShift, line);
                        if (fastGrayLine()) fastGrayLine()(samples.data(), fast.data(), n, nShift, 0xFFFF >> nShift, line);
                        for (size_t i = 0; i < n; ++i)
                            ASSERT_EQ(plain[i], table[pixelAt(samples.data(), 16, i) >> nShift]) << nWidth;
                        ASSERT_TRUE(!fastGrayLine() || plain == fast) << n;
                    }
                table[30000] ^= 8;
                ASSERT_FALSE(findGrayLine(table.data(), 65536, line));
            }
}

// ---- dithering ---------------------------------------------------------------------------------------------------

using Pixel8 = std::array<int, 3>;  // red, green, blue
int nearest(const RGBQUAD* palette, int32_t nBits, Pixel8 c) {
    return R_FindPaletteIndex(palette, 1u << nBits, c[0] & ~7, c[1] & ~7, c[2] & ~7);
}
int grayOf(Pixel8 c) { return (5 * c[1] + 2 * (c[0] + 2) + c[2]) / 8; }

// Rows 0 to 9 of a picture that repeats one row, by the rule and by the library.
void checkDither(const Rows& rows, int32_t nDevice, uint32_t uMode, int32_t nColumn,
                 const std::function<Pixel8(int32_t)>& color) {
    static constexpr uint8_t kFirstRow[2][8] = {{12, 140, 44, 172, 4, 132, 36, 164},
                                                {148, 180, 212, 140, 116, 44, 76, 108}};  // of row 4
    const int32_t nBits = std::min(nDevice, 8), n = rows.nWidth;
    const RGBQUAD* palette = devicePalette(nDevice, uMode);
    std::unique_ptr<PaintRenderer> p;
    ASSERT_EQ(makeRowDither(rows.format, {uMode, nDevice}, size_t(n), nColumn, p), 1);
    ASSERT_TRUE(p->bits() == nBits && p->table() == (nBits == 1 ? PaintTable::blackWhite : PaintTable::device) &&
                !p->isPure());
    const bool bOrdered = uMode & DM_ORDERED_DITHER;
    std::vector<Pixel8> errors(size_t(n) + 2), next(errors.size());
    for (int32_t nRow = bOrdered ? 4 : -1; nRow < 10; nRow += bOrdered ? 8 : 1) {
        Bytes want(size_t(n) + 8), got = want;
        std::fill(next.begin(), next.end(), Pixel8{});
        Pixel8 carry = errors[1];
        for (int32_t x = 0; x < n; ++x) {
            Pixel8 c = color(x);
            const int t = kFirstRow[uMode & DM_DITHER_CLUSTERED ? 1 : 0][(nColumn + x) & 7];
            for (size_t i = 0; i < 3; ++i) {
                const int nAdd = !bOrdered ? carry[i] / 16 : nBits == 4 ? (t >> 2) - 32 : nBits == 8 ? (t >> 3) - 16 : 0;
                c[i] = std::clamp(c[i] + nAdd, 0, 255);
            }
            const int g = rows.painted(grayOf(c));
            const int v = nBits > 1 ? nearest(palette, nBits, c) : bOrdered ? g > t : g > 127;
            want[size_t(x)] = uint8_t(v);
            const Pixel8 taken = {palette[v].rgbRed, palette[v].rgbGreen, palette[v].rgbBlue};
            for (size_t i = 0; i < 3 && !bOrdered; ++i) {
                const int d = c[i] - taken[i];
                const auto k = size_t(x) + 1;
                carry[i] = errors[k + 1][i] + 7 * d;
                next[k - 1][i] += 3 * d, next[k][i] += 5 * d, next[k + 1][i] += d;
            }
        }
        std::swap(errors, next);
        if (nRow < 0) continue;  // the first row's errors, before its own turn
        p->render(rows.source.data(), got.data(), size_t(n), nRow);
        for (int32_t x = 0; x < n; ++x)
            ASSERT_EQ(pixelAt(got.data(), nBits, size_t(x)), want[size_t(x)])
                << rows.format.BitsPerPixel << " to " << nBits << " mode " << uMode << " row " << nRow << " at " << x;
    }
}

TEST(PaintRows, DitheredAsTheRuleSays) {
    const uint32_t kModes[] = {0, DM_ORDERED_DITHER, DM_ORDERED_DITHER | DM_DITHER_CLUSTERED, DM_FIXED_PALETTE_ALT};
    for (const bool bPaint : {false, true})
        for (const int32_t nDevice : {1, 4, 8, 24})
            for (const uint32_t uMode : kModes)
                for (const int32_t nColumn : {0, 5, 1003}) {
                    for (const int32_t nOrder : {ORDER_BGR, ORDER_RGB, ORDER_ROMM}) {
                        const Rows rows(24, nOrder, 1300, bPaint);
                        checkDither(rows, nDevice, uMode, nColumn, [&](int32_t x) {
                            const auto c = rows.color(x);
                            return Pixel8{c[2], c[1], c[0]};
                        });
                    }
                    if (HasFatalFailure()) return;
                }
    Rows deep(16, ORDER_GRAY, 77), wide(32, ORDER_GRAY, 77);
    deep.setLut(std::vector<RGBQUAD>(65536, RGBQUAD{10, 200, 90, 0}));
    checkDither(deep, 8, 0, 0, [](int32_t) { return Pixel8{90, 200, 10}; });
    deep.format.Flags &= ~uint32_t(BMF_USE_LUT);
    checkDither(deep, 1, 0, 0, [&](int32_t x) {
        const int v = int(deep.at(x) >> 8);
        return Pixel8{v, v, v};
    });
    wide.format.MinVal = 0, wide.format.MaxVal = 98;
    for (int32_t x = 0; x < 77; ++x) {
        const uint32_t v = uint32_t(x);
        std::memcpy(&wide.source[size_t(x) * 4], &v, 4);
    }
    checkDither(wide, 8, 0, 0, [](int32_t x) {
        const int v = mulDiv(x, 255, 98);
        return Pixel8{v, v, v};
    });
}

TEST(PaintRows, DevicePalettes) {
    const RGBQUAD* p = devicePalette(4, 0);
    const auto is = [&](int i, int b, int g, int r) { return p[i].rgbBlue == b && p[i].rgbGreen == g && p[i].rgbRed == r; };
    EXPECT_TRUE(is(0, 0, 0, 0) && is(1, 128, 0, 0) && is(3, 128, 128, 0) && is(4, 0, 0, 128) && is(7, 128, 128, 128));
    EXPECT_TRUE(is(8, 192, 192, 192) && is(9, 255, 0, 0) && is(11, 255, 255, 0) && is(12, 0, 0, 255) && is(15, 255, 255, 255));
    EXPECT_TRUE(devicePalette(1, 0)[1].rgbRed == 255 && devicePalette(24, 0)[31].rgbRed == 0);
    EXPECT_EQ(devicePalette(8, DM_FIXED_PALETTE_ALT)[36].rgbRed, 51);
}

}  // namespace
