// Rows that painting converts and dithers, pixel by pixel against the rules.
#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "internal/muldiv.h"
#include "internal/paint_.h"
#include "internal/paintgray.h"
#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;
using namespace rv;

namespace {

using Renderer = std::unique_ptr<PaintRenderer>;
using Color = std::array<int, 4>;  // blue, green, red, alpha
constexpr RGBQUAD grayEntry(int v) { return {uint8_t(v), uint8_t(v), uint8_t(v), 0}; }
int grayOf(int b, int g, int r) { return (5 * g + 2 * (r + 2) + b) / 8; }

// A format, a row of random pixels in it, and a paint table.
struct Rows {
    BITMAPRECORD format{};
    Bytes source, paint = randomBytes(256, 3);
    std::vector<RGBQUAD> palette, lut;
    int32_t nWidth;

    Rows(int32_t nBits, int32_t nOrder, int32_t width, bool bPaint = false) : palette(256), nWidth(width) {
        R_InitBitmap(&format, sizeof format, width, 1, nBits);
        format.Order = nOrder;
        source = randomBytes(size_t(packedBytes(uint32_t(width), uint32_t(nBits))), uint32_t(nBits + nOrder));
        std::memcpy(palette.data(), randomBytes(1024, 9).data(), 1024);
        if (nBits <= 8) format.pPalette = palette.data();
        format.pPaintLUT = paint.data();
        if (bPaint) format.Flags |= BMF_PAINT_LUT;
    }
    void setLut(const std::vector<RGBQUAD>& entries) {
        lut = entries;
        format.pLUT = lut.data();
        format.LUTLength = uint32_t(lut.size());
        format.Flags |= BMF_USE_LUT;
    }
    void setSample32(int32_t x, uint32_t v) { std::memcpy(&source[size_t(x) * 4], &v, 4); }
    uint64_t at(int32_t x) const { return pixelAt(source.data(), format.BitsPerPixel, size_t(x)); }
    int painted(int v) const { return format.Flags & BMF_PAINT_LUT ? paint[size_t(v)] : v; }

    Color color(int32_t x) const {
        const int32_t nBits = format.BitsPerPixel, nSample = nBits < 48 ? 8 : 16;
        uint64_t v = at(x);
        if (format.Order == ORDER_ROMM)
            R_ConvertBuffer(reinterpret_cast<uint8_t*>(&v), 1, nBits, nBits, ORDER_ROMM, ORDER_BGR, nullptr, nullptr);
        Color c;
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
        Bytes out(size_t(packedBytes(uint32_t(nWidth), uint32_t(nBits))) + 8, 0xA5);
        Renderer p;
        EXPECT_EQ(makeRowConverter(format, wish, p), 1) << format.BitsPerPixel << " order " << format.Order;
        if (!p) return out;
        EXPECT_TRUE(p->bits() == nBits && p->table() == table && p->isPure());
        for (int i = 0; i < 2; ++i)  // the second time, tables may have become lines
            p->render(source.data(), out.data(), size_t(nWidth), i);
        EXPECT_TRUE(std::all_of(out.end() - 8, out.end(), [](uint8_t v) { return v == 0xA5; }) && before == source);
        return out;
    }
};

PaintWish asked(int32_t nBits, int32_t nOrder, uint32_t uFlags = 0, int32_t nLow = 0, int32_t nHigh = 0) {
    return {0, nBits, false, true, nOrder, uFlags, nLow, nHigh};
}

void checkColors(const Rows& rows, const PaintWish& wish) {
    const int32_t nBits = rows.format.BitsPerPixel;
    const bool bAlpha = wish.bAlpha && (nBits == 32 || nBits == 64);
    const int32_t nOut = wish.bAsked ? wish.nDeviceBits : bAlpha ? 32 : 24;
    if (nOut != 24 && nOut != nBits && !(nOut == 32 && nBits == 64)) {
        Renderer p;
        ASSERT_EQ(makeRowConverter(rows.format, wish, p), -27) << nBits << " to " << nOut;
        return;
    }
    const Bytes out = rows.convert(wish, nOut, PaintTable::none);
    const bool bStays = wish.uMode && rows.format.Order == ORDER_RGB && nBits > 16;
    const bool bRed = bStays || (wish.bAsked && wish.nOrder == ORDER_RGB);
    for (int32_t x = 0; x < rows.nWidth; ++x) {
        Color c = rows.color(x), got;
        const uint64_t v = pixelAt(out.data(), nOut, size_t(x));
        for (int i = 0; i < 4; ++i) got[size_t(i)] = int(v >> (nOut < 48 ? 8 * i : 16 * i + 8) & 255);
        if (bRed) std::swap(c[0], c[2]);
        for (size_t i = 0; i < 3 && nOut < 48; ++i) c[i] = rows.painted(c[i]);
        if (nOut != 32) got[3] = c[3];
        ASSERT_TRUE(nOut == 16 ? v == rows.at(x) : got == c)
            << nBits << " order " << rows.format.Order << " to " << nOut << " at " << x;
    }
}

TEST(PaintRows, ColoursGoOutInTheirDepthAndOrder) {
    const PaintWish plain, alpha{0, 24, true}, swapped{DM_RGB_SWAP};
    for (const int32_t nBits : {16, 24, 32, 48, 64})
        for (const int32_t nOrder : {ORDER_RGB, ORDER_BGR, ORDER_ROMM, ORDER_BGR565})
            for (const PaintWish& wish : {plain, alpha, swapped, asked(24, ORDER_RGB), asked(24, ORDER_BGR),
                                          asked(32, ORDER_RGB), asked(nBits, ORDER_BGR), asked(48, ORDER_RGB)})
                if (nOrder < ORDER_ROMM || (nOrder == ORDER_BGR565 ? nBits == 16 : nBits == 24 || nBits == 48))
                    checkColors(Rows(nBits, nOrder, 1037, true), wish);
    for (const int32_t nOrder : {ORDER_RGB, ORDER_ROMM}) {
        const Rows rows(48, nOrder, 700);
        const Bytes out = rows.convert(asked(48, ORDER_BGR, SINKINFO_AS_STORED), 48, PaintTable::none);
        EXPECT_TRUE(std::equal(rows.source.begin(), rows.source.end(), out.begin()));
    }
}

TEST(PaintRows, IndicesStayAndBecomeColours) {
    for (int32_t nBits = 1; nBits <= 8; ++nBits) {
        const Rows rows(nBits, ORDER_RGB, 1037, true);
        const int32_t nOut = nBits == 1 ? 1 : nBits <= 4 ? 4 : 8;
        const Bytes out = rows.convert({}, nOut, PaintTable::picture);
        const Bytes bytes = rows.convert(asked(8, ORDER_GRAY), 8, PaintTable::picture);
        const Bytes colors = rows.convert(asked(24, ORDER_RGB), 24, PaintTable::none);
        for (int32_t x = 0; x < rows.nWidth; ++x) {
            const RGBQUAD q = rows.palette[size_t(rows.at(x))];
            ASSERT_EQ(pixelAt(out.data(), nOut, size_t(x)), rows.at(x)) << nBits;
            ASSERT_EQ(bytes[size_t(x)], rows.at(x)) << nBits;
            ASSERT_EQ(colors[size_t(x) * 3], rows.painted(q.rgbRed)) << nBits;
        }
    }
}

// nTable: 0 none in force, 1 none at all, 2 an uneven one that is too short, 3 a line.
void checkGray(int32_t nBits, int32_t nLow, int32_t nHigh, int nTable) {
    Rows rows(nBits, ORDER_GRAY, 70001, true);
    rows.format.LowBit = nLow, rows.format.HighBit = nHigh;
    nLow = std::max(nLow, 0), nHigh = nHigh < 0 ? nBits - 1 : nHigh;
    const int nRange = nHigh - nLow + 1, nCount = 1 << nRange;
    std::vector<RGBQUAD> lut(size_t(nTable == 3 ? nCount : nCount - 3));
    for (int k = 0; k < int(lut.size()); ++k)
        lut[size_t(k)] = nTable == 3 ? grayEntry(std::clamp((k - nCount / 5) * 300 / nCount, 0, 255))
                                     : RGBQUAD{uint8_t(k * 7), uint8_t(k * 31 + 5), uint8_t(k / 3), 0};
    if (nTable != 1) rows.setLut(lut);
    rows.format.Flags = nTable ? rows.format.Flags | BMF_USE_LUT : rows.format.Flags & ~uint32_t(BMF_USE_LUT);
    const int nTop = std::min(nRange, 8), nFull = (1 << nTop) - 1;
    const Bytes out = rows.convert({}, 8, PaintTable::grayRamp), colors = rows.convert(asked(24, ORDER_BGR), 24, {});
    const Bytes placed =
        rows.convert(asked(8, ORDER_GRAY, SINKINFO_GRAY_RANGE | SINKINFO_NO_LUT, 1, 6), 8, PaintTable::grayRamp);
    for (int32_t x = 0; x < rows.nWidth; ++x) {
        const int nSample = int(rows.at(x)), k = nSample >> nLow & (nCount - 1);
        const int nGray = (nSample >> (nHigh - nTop + 1) & nFull) * 255 / nFull;
        const RGBQUAD q = nTable < 2 ? grayEntry(nGray) : k < int(lut.size()) ? lut[size_t(k)] : RGBQUAD{};
        ASSERT_EQ(out[size_t(x)], grayOf(q.rgbBlue, q.rgbGreen, q.rgbRed)) << nSample;
        ASSERT_EQ(colors[size_t(x) * 3 + 2], rows.painted(q.rgbRed)) << nSample;
        ASSERT_EQ(placed[size_t(x)], nGray >> 2 << 1) << nSample;
    }
}

TEST(PaintRows, GrayByItsWindowAndTable) {
    for (const int32_t nBits : {12, 16})
        for (const POINT window : {POINT{-1, -1}, POINT{0, 7}, POINT{4, 11}, POINT{3, 5}, POINT{0, 11}, POINT{2, 9}})
            for (const int nTable : {0, 1, 2, 3}) {
                SCOPED_TRACE(testing::Message() << nBits << ": " << window.x << " to " << window.y << ", " << nTable);
                ASSERT_NO_FATAL_FAILURE(checkGray(nBits, window.x, window.y, nTable));
            }
}

TEST(PaintRows, GrayStaysDeepWhereThatIsAsked) {
    for (const int32_t nBits : {12, 16})
        for (const int32_t nOut : {12, 16}) {
            Rows rows(nBits, ORDER_GRAY, 1037);
            rows.format.LowBit = rows.format.PhysicalLowBit = 2;
            rows.format.HighBit = rows.format.PhysicalHighBit = 9;
            const Bytes same = rows.convert(asked(nOut, ORDER_GRAY), nOut, {});
            const Bytes moved = rows.convert(asked(nOut, ORDER_GRAY, SINKINFO_GRAY_RANGE, 3, 8), nOut, {});
            std::vector<RGBQUAD> lut(256);
            for (int k = 0; k < 256; ++k) lut[size_t(k)] = grayEntry(k * k / 255);
            rows.setLut(lut);
            const Bytes mapped = rows.convert(asked(nOut, ORDER_GRAY), nOut, {});
            for (int32_t x = 0; x < rows.nWidth; ++x) {
                const auto at = [&](const Bytes& bytes) { return int(pixelAt(bytes.data(), nOut, size_t(x))); };
                const int v = int(rows.at(x) >> 2 & 255);
                ASSERT_TRUE(nOut != nBits || at(same) == int(rows.at(x)));
                ASSERT_EQ(at(moved), v >> 2 << 3) << nBits << " to " << nOut;
                ASSERT_EQ(at(mapped), lut[size_t(v)].rgbRed * 257 >> (16 - nOut)) << nBits << " to " << nOut;
            }
        }
}

TEST(PaintRows, Gray32ByItsRange) {
    for (const POINT range : {POINT{0, 1000}, POINT{-500, 70000}, POINT{5, 5}, POINT{0, -1}, POINT{-9, -9}}) {
        Rows rows(32, ORDER_GRAY, 99);
        rows.format.MinVal = range.x, rows.format.MaxVal = range.y;
        const uint32_t nSpan = uint32_t(range.y) - uint32_t(range.x);
        const auto step = [&](int32_t x) { return uint64_t(nSpan) * unsigned(x) / 98; };
        for (int32_t x = 0; x < 99; ++x) rows.setSample32(x, uint32_t(range.x) + uint32_t(step(x)));
        const Bytes out = rows.convert({}, 8, PaintTable::grayRamp);
        for (int32_t x = 0; x < 99; ++x)
            ASSERT_EQ(out[size_t(x)], nSpan ? (step(x) * 255 + nSpan / 2) / nSpan : 255) << range.x << " " << range.y;
    }
}

TEST(PaintRows, LinesAreTheirTables) {
    const Bytes samples = randomBytes(2 * 4099, 4);
    const auto row = fastGrayLine() ? fastGrayLine() : plainGrayLine;
    GrayLine line;
    for (const int nLow : {-20000, 0, 777, 40000})
        for (const int nSpan : {1, 2, 60, 255, 256, 300, 4095, 30000, 65535})
            for (const int nKind : {0, 1, 2}) {
                Bytes table(65536);
                for (int k = 0; k < 65536; ++k) {
                    const int v = int(int64_t(k - nLow) * 255 / nSpan);
                    table[size_t(k)] = uint8_t(std::clamp(nKind == 1 ? 255 - v : v, nKind == 2 ? 30 : 0, 240));
                }
                ASSERT_TRUE(findGrayLine(table.data(), 65536, line)) << nLow << " " << nSpan << " " << nKind;
                for (size_t n : {0, 1, 31, 32, 33, 70, 4099}) {
                    Bytes want(n + 1, 0xA5), plain = want, fast = want;
                    for (size_t i = 0; i < n; ++i) want[i] = table[size_t(pixelAt(samples.data(), 16, i))];
                    plainGrayLine(samples.data(), plain.data(), n, 0, 0xFFFF, line);
                    row(samples.data(), fast.data(), n, 0, 0xFFFF, line);
                    ASSERT_TRUE(plain == want && fast == want) << nLow << " " << nSpan << " " << nKind << " " << n;
                }
                table[30000] ^= 8;
                ASSERT_FALSE(findGrayLine(table.data(), 65536, line));
            }
}

// ---- dithering ---------------------------------------------------------------------------------------------------

// Rows 0 to 9 of a picture that repeats one row, or its row 4 in order, by the rule and by the library.
void checkDither(const Rows& rows, int32_t nDevice, uint32_t uMode, int32_t nColumn,
                 const std::function<Color(int32_t)>& color) {
    static constexpr uint8_t kRow4[2][8] = {{12, 140, 44, 172, 4, 132, 36, 164},
                                            {148, 180, 212, 140, 116, 44, 76, 108}};
    const int32_t nBits = std::min(nDevice, 8), n = rows.nWidth;
    const RGBQUAD* palette = devicePalette(nDevice, uMode);
    Renderer p;
    ASSERT_EQ(makeRowDither(rows.format, {uMode, nDevice}, size_t(n), nColumn, p), 1);
    ASSERT_TRUE(p->bits() == nBits && !p->isPure());
    ASSERT_EQ(p->table(), nBits == 1 ? PaintTable::blackWhite : PaintTable::device);
    const bool bOrdered = uMode & DM_ORDERED_DITHER;
    std::vector<Color> errors(size_t(n) + 2), next(errors.size());
    for (int32_t nRow = bOrdered ? 4 : -1; nRow < 10; nRow += bOrdered ? 8 : 1) {
        Bytes want(rows.source.size()), got = want;
        next.assign(next.size(), {});
        Color carry = errors[1];
        for (size_t x = 0; x < size_t(n); ++x) {
            Color c = color(int32_t(x));
            const int t = kRow4[uMode & DM_DITHER_CLUSTERED ? 1 : 0][(size_t(nColumn) + x) & 7];
            const int nOffset = nBits == 4 ? (t >> 2) - 32 : nBits == 8 ? (t >> 3) - 16 : 0;
            for (size_t i = 0; i < 3; ++i) c[i] = std::clamp(c[i] + (bOrdered ? nOffset : carry[i] / 16), 0, 255);
            const int g = rows.painted(grayOf(c[0], c[1], c[2]));
            const int v = nBits > 1 ? R_FindPaletteIndex(palette, 1u << nBits, c[2] & ~7, c[1] & ~7, c[0] & ~7)
                                    : g > (bOrdered ? t : 127);
            want[x] = uint8_t(v);
            const Color taken = {palette[v].rgbBlue, palette[v].rgbGreen, palette[v].rgbRed};
            for (size_t i = 0; i < 3 && !bOrdered; ++i) {
                const int d = c[i] - taken[i];
                carry[i] = errors[x + 2][i] + 7 * d;
                next[x][i] += 3 * d, next[x + 1][i] += 5 * d, next[x + 2][i] += d;
            }
        }
        std::swap(errors, next);
        if (nRow < 0) continue;  // the first row's errors, before its own turn
        p->render(rows.source.data(), got.data(), size_t(n), nRow);
        for (size_t x = 0; x < size_t(n); ++x)
            ASSERT_EQ(pixelAt(got.data(), nBits, x), want[x]) << nBits << " bits, mode " << uMode << ", row " << nRow;
    }
}

TEST(PaintRows, DitheredAsTheRuleSays) {
    for (const bool bPaint : {false, true})
        for (const int32_t nOrder : {ORDER_BGR, ORDER_RGB, ORDER_ROMM})
            for (const int32_t nDevice : {1, 4, 8, 24})
                for (const uint32_t uMode : {0u, 1u, 33u, 256u})
                    for (const int32_t nColumn : {0, 5, 1003}) {
                        const Rows rows(24, nOrder, 1300, bPaint);
                        const auto color = [&](int32_t x) { return rows.color(x); };
                        ASSERT_NO_FATAL_FAILURE(checkDither(rows, nDevice, uMode, nColumn, color));
                    }
    Rows deep(16, ORDER_GRAY, 77), wide(32, ORDER_GRAY, 77);
    const auto gray = [](int v) { return Color{v, v, v}; };
    deep.setLut(std::vector<RGBQUAD>(65536, RGBQUAD{10, 200, 90, 0}));
    checkDither(deep, 8, 0, 0, [](int32_t) { return Color{10, 200, 90}; });
    deep.format.Flags &= ~uint32_t(BMF_USE_LUT);
    checkDither(deep, 1, 0, 0, [&](int32_t x) { return gray(int(deep.at(x) >> 8)); });
    deep.format.LowBit = 4, deep.format.HighBit = 11;  // the bits that other conversions go by stay
    checkDither(deep, 1, 0, 0, [&](int32_t x) { return gray(int(deep.at(x) >> 4 & 255)); });
    wide.format.MinVal = 0, wide.format.MaxVal = 98;
    for (int32_t x = 0; x < 77; ++x) wide.setSample32(x, uint32_t(x));
    checkDither(wide, 8, 0, 0, [&](int32_t x) { return gray(mulDiv(x, 255, 98)); });

    const RGBQUAD* p = devicePalette(4, 0);
    constexpr uint32_t kColors[] = {0,        0x800000, 0x8000, 0x808000, 0x80, 0x800080, 0x8080, 0x808080,
                                    0xC0C0C0, 0xFF0000, 0xFF00, 0xFFFF00, 0xFF, 0xFF00FF, 0xFFFF, 0xFFFFFF};
    for (int i = 0; i < 16; ++i) EXPECT_EQ(plainColor(p[i]), kColors[i]) << i;
    EXPECT_EQ(devicePalette(8, DM_FIXED_PALETTE_ALT)[36].rgbRed, 51);
}

TEST(PaintRows, NoMemoryLeavesNothing) {
    Rows gray(16, ORDER_GRAY, 99), romm(24, ORDER_ROMM, 99), wide(32, ORDER_GRAY, 99);
    gray.setLut(std::vector<RGBQUAD>(65536));
    const auto make = [&](int nKind, Renderer& p) {
        if (nKind < 2) return makeRowDither((nKind ? romm : wide).format, {0, 8}, 99, 0, p);
        return makeRowConverter(gray.format, asked(nKind * 8 % 32, ORDER_GRAY), p);  // 16, 24, 8 bits
    };
    for (const int nKind : {0, 1, 2, 3, 5})
        for (int n = 0, nStatus = -1; nStatus != 1; ++n) {
            const long nBlocks = faults::liveBlocks();
            Renderer p;
            faults::FailFromNthAllocation fail(n);
            nStatus = make(nKind, p);
            fail.stop();
            ASSERT_TRUE(fail.fired() ? nStatus == -1 && !p : nStatus == 1 && p) << nKind << " " << n;
            p.reset();
            ASSERT_EQ(faults::liveBlocks(), nBlocks) << nKind << " " << n;
        }
}

}  // namespace
