#include "ravokit/dither.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <vector>

#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

using Table = std::vector<RGBQUAD>;
using Color = std::array<int, 3>;  // blue, green, red

Table fixedTable(int nBits) {
    const RGBQUAD* p = R_IntGetFixedPalette(nBits);
    return Table(p, p + (1 << nBits));
}
Table webTable() { return Table(R_IntGetNetscapePalette(), R_IntGetNetscapePalette() + 256); }
// Every fifth entry may not be found.
Table anyTable(size_t n, uint32_t seed) {
    const Bytes bytes = randomBytes(n * 3, seed);
    Table t(n);
    for (size_t i = 0; i < n; ++i)
        t[i] = {bytes[i * 3], bytes[i * 3 + 1], bytes[i * 3 + 2], uint8_t(i % 5 == 3 ? 1 + i % 2 : 4)};
    return t;
}

// ---- one pixel and one row at a time, with an array of errors for each channel -------------------------------------

struct Weight {
    int dx, dy, w;
};
struct Method {
    int divisor;
    std::vector<Weight> weights;
};
const Method kMethods[] = {
    {1, {}},
    {16, {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}}},
    {42,
     {{1, 0, 8},
      {2, 0, 4},
      {-2, 1, 2},
      {-1, 1, 4},
      {0, 1, 8},
      {1, 1, 4},
      {-2, 1, 1},
      {-1, 1, 2},
      {0, 1, 4},
      {1, 1, 2},
      {2, 1, 1}}},
    {32, {{1, 0, 8}, {2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {1, 1, 4}, {2, 1, 2}}},
    {32,
     {{1, 0, 5}, {2, 0, 3}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 5}, {1, 1, 4}, {2, 1, 2}, {-1, 2, 2}, {0, 2, 3}, {1, 2, 2}}},
    {200,
     {{2, 0, 32},
      {-3, 1, 12},
      {-1, 1, 26},
      {1, 1, 30},
      {3, 1, 16},
      {-2, 2, 12},
      {0, 2, 26},
      {2, 2, 12},
      {-3, 3, 5},
      {-1, 3, 12},
      {1, 3, 12},
      {3, 3, 5}}},
    {48,
     {{1, 0, 7},
      {2, 0, 5},
      {-2, 1, 3},
      {-1, 1, 5},
      {0, 1, 7},
      {1, 1, 5},
      {2, 1, 3},
      {-2, 2, 1},
      {-1, 2, 3},
      {0, 2, 5},
      {1, 2, 3},
      {2, 2, 1}}},
};

// The published matrices, row by row.
constexpr int kMatrices[2][8][8] = {{{0, 128, 32, 160, 8, 136, 40, 168},
                                     {192, 64, 224, 96, 200, 72, 232, 104},
                                     {48, 176, 16, 144, 56, 184, 24, 152},
                                     {236, 112, 208, 80, 244, 120, 216, 88},
                                     {12, 140, 44, 172, 4, 132, 36, 164},
                                     {204, 76, 232, 108, 196, 68, 228, 100},
                                     {60, 188, 28, 156, 52, 180, 20, 148},
                                     {248, 124, 220, 92, 240, 116, 212, 84}},
                                    {{112, 40, 72, 104, 144, 176, 208, 136},
                                     {88, 8, 16, 48, 192, 232, 240, 168},
                                     {56, 24, 0, 80, 160, 224, 248, 200},
                                     {96, 64, 32, 120, 128, 216, 184, 152},
                                     {148, 180, 212, 140, 116, 44, 76, 108},
                                     {196, 236, 244, 172, 92, 12, 20, 52},
                                     {164, 228, 252, 204, 60, 28, 4, 84},
                                     {132, 220, 188, 156, 100, 68, 36, 124}}};

// kind: 1 to 8 a fixed palette of that depth, 9 the web palette, 0 any other.
struct Reference {
    int method, kind, bits;
    Table table;                  // 256 entries
    std::vector<uint32_t> cells;  // of kind 0
    Table searched;
    std::vector<std::vector<Color>> errors;
    size_t nFirst = 0;
    int row = 0;

    Reference(int nMethod, int nKind, int nBits, const Table& given, std::vector<uint32_t> user = {})
        : method(nMethod), kind(nKind), bits(nBits), table(given), cells(std::move(user)) {
        if (kind == 0) {
            cells.resize(32768);
            for (size_t i = 0; i < given.size(); ++i)
                if (!(given[i].rgbReserved & 3)) {
                    searched.push_back(given[i]);
                    searched.back().rgbReserved = uint8_t(i);
                }
            const Table& primed = searched.empty() ? given : searched;
            for (size_t i = 0; i < primed.size(); ++i) {
                uint32_t& cell = cells[key({primed[i].rgbBlue, primed[i].rgbGreen, primed[i].rgbRed})];
                if (!cell) cell = uint32_t(i) + 1;
            }
        }
        table.resize(256);
    }
    static size_t key(const Color& c) { return size_t(c[2] / 8 * 1024 + c[1] / 8 * 32 + c[0] / 8); }

    int find(const Color& c) {
        const int b = c[0], g = c[1], r = c[2], weighed = 5 * g + 2 * (r + 2) + b;
        switch (kind) {
            case 1:
                return weighed / 1024;
            case 2:
                return weighed / 512;
            case 3:
                return r / 128 * 4 + g / 128 * 2 + b / 128;
            case 4:
                return (r < 128 && g < 128 && b < 128) ? 0 : 8 + b / 128 * 4 + g / 128 * 2 + r / 128;
            case 5:
                return r / 64 * 8 + g / 64 * 2 + b / 128;
            case 6:
                return r / 64 * 16 + g / 64 * 4 + b / 64;
            case 7:
                return r / 64 * 32 + g / 32 * 4 + b / 64;
            case 8:
                return r / 32 * 32 + g / 32 * 4 + b / 64;
            case 9:
                return r / 51 * 36 + g / 51 * 6 + b / 51;
            default:
                break;
        }
        uint32_t& cell = cells[key(c)];
        if (!cell)
            cell = uint32_t(R_FindPaletteIndex(searched.data(), uint32_t(searched.size()), r & ~7, g & ~7, b & ~7) + 1);
        return cell && cell <= searched.size() ? searched[cell - 1].rgbReserved : 0;
    }

    int findOrdered(Color c, int t) {
        if (kind == 1) return (c[0] + 5 * c[1] + 2 * (c[2] + 2)) / 8 > t;
        if (kind == 4) {
            const int v = (c[2] > t) + 2 * (c[1] > t) + 4 * (c[0] > t);
            return v ? v + 8 : 0;
        }
        const int add[] = {0,          t - 128,    t / 2 - 64, t / 3 - 42, t / 4 - 32,
                           t / 5 - 25, t / 6 - 21, t / 7 - 18, t / 8 - 16};
        for (int& v : c) v = std::clamp(v + (kind == 9 ? add[6] : add[kind ? kind : bits]), 0, 255);
        return find(c);
    }

    std::vector<int> dither(const std::vector<Color>& in) {
        std::vector<int> out(in.size());
        // Right of a row that is shorter than the first, errors stay where they are.
        const size_t nReach = std::min(nFirst = std::max(nFirst, in.size()), in.size() + (method == 1   ? 1
                                                                                          : method == 5 ? 3
                                                                                                        : 2));
        errors.resize(4, std::vector<Color>(nFirst));
        const auto before = errors;
        for (size_t x = 0; x < in.size(); ++x) {
            Color c = in[x];
            if (method >= 7) {
                out[x] = findOrdered(c, kMatrices[method - 7][row % 8][x % 8]);
                continue;
            }
            const Method& m = kMethods[method];
            for (size_t i = 0; i < 3; ++i) c[i] = std::clamp(c[i] + errors[0][x][i] / m.divisor, 0, 255);
            out[x] = find(c);
            const RGBQUAD& q = table[size_t(out[x])];
            const Color e = {c[0] - q.rgbBlue, c[1] - q.rgbGreen, c[2] - q.rgbRed};
            for (const Weight& w : m.weights)
                if (const int64_t to = int64_t(x) + w.dx; to >= 0 && to < int64_t(nReach))
                    for (size_t i = 0; i < 3; ++i) errors[size_t(w.dy)][size_t(to)][i] += w.w * e[i];
        }
        errors.erase(errors.begin());
        for (size_t y = 0; y < errors.size(); ++y)
            std::copy(before[y].begin() + int64_t(nReach), before[y].end(), errors[y].begin() + int64_t(nReach));
        ++row;
        return out;
    }
};

// ---- sources -------------------------------------------------------------------------------------------------------

struct Source {
    int32_t bits, order;
};
constexpr Source kSources[] = {{24, ORDER_BGR},  {24, ORDER_RGB},   {32, ORDER_BGR}, {32, ORDER_RGB},  {16, ORDER_BGR},
                               {16, ORDER_RGB},  {48, ORDER_BGR},   {48, ORDER_RGB}, {64, ORDER_BGR},  {64, ORDER_RGB},
                               {1, ORDER_RGB},   {2, ORDER_RGB},    {3, ORDER_RGB},  {4, ORDER_RGB},   {5, ORDER_RGB},
                               {6, ORDER_RGB},   {7, ORDER_RGB},    {8, ORDER_RGB},  {12, ORDER_GRAY}, {16, ORDER_GRAY},
                               {32, ORDER_GRAY}, {16, ORDER_BGR565}};

// Pixels that wander, with jumps, so that errors neither vanish nor always clamp.
Bytes wanderingRow(int32_t nBits, size_t nWidth, uint32_t seed) {
    Bytes row = randomBytes((nWidth * size_t(nBits) + 7) / 8 + 8, seed);
    if (nBits < 24) return row;
    const size_t nSample = nBits >= 48 ? 2 : 1, nStride = size_t(nBits) / 8;
    for (size_t i = nStride; i < nWidth * nStride; ++i)
        if (i % nSample == nSample - 1 && row[i] % 61)
            row[i] = uint8_t(std::clamp(row[i - nStride] + row[i] % 17 - 8, 0, 255));
    return row;
}

Color colorOf(const BITMAPRECORD& bm, const uint8_t* row, size_t x) {
    const uint64_t v = pixelAt(row, bm.BitsPerPixel, x);
    const auto channel = [&](int nShift) { return int(v >> nShift & 255); };
    const auto wide = [](int n) { return n * 8 + n / 4; };
    Color c;
    if (bm.BitsPerPixel <= 8) {
        const RGBQUAD& q = bm.pPalette[v];
        return {q.rgbBlue, q.rgbGreen, q.rgbRed};
    }
    if (bm.Order == ORDER_GRAY) {
        const int n = int(v >> (bm.BitsPerPixel - 8) & 255);
        return {n, n, n};
    }
    if (bm.Order == ORDER_BGR565)
        c = {wide(int(v & 31)), int(v >> 5 & 63) * 4 + int(v >> 9 & 3), wide(int(v >> 11 & 31))};
    else if (bm.BitsPerPixel == 16)
        c = {wide(int(v & 31)), wide(int(v >> 5 & 31)), wide(int(v >> 10 & 31))};
    else if (bm.BitsPerPixel >= 48)
        c = {channel(8), channel(24), channel(40)};
    else
        c = {channel(0), channel(8), channel(16)};
    if (bm.Order == ORDER_RGB) std::swap(c[0], c[2]);
    return c;
}

// Dithers random rows of a bitmap and compares each with the reference.
void expectSame(BITMAPRECORD& bm, Reference reference, const RGBQUAD* pPalette, uint32_t uColors, uint32_t* pUser,
                int nRows, uint32_t seed) {
    bm.DitheringMethod = reference.method;
    ASSERT_EQ(R_StartDitheringExt(&bm, pPalette, uColors, reference.bits, pUser), 1);
    const int32_t nWidth = bm.Width;
    for (int y = 0; y < nRows; ++y) {
        bm.Width = y % 4 == 2 ? (nWidth + 2) / 3 : nWidth;
        const auto n = size_t(bm.Width);
        Bytes in = wanderingRow(bm.BitsPerPixel, n, seed + uint32_t(y));
        std::vector<Color> colors(n);
        for (size_t x = 0; x < n; ++x) colors[x] = colorOf(bm, in.data(), x);
        const std::vector<int> indices = reference.dither(colors);
        Bytes got = randomBytes((n * size_t(reference.bits) + 7) / 8 + 9, seed), want = got;
        rv::visitDepth(reference.bits, [&](auto bits) {
            for (size_t x = 0; x < n; ++x) rv::Pixel<bits>::put(want.data(), x, uint32_t(indices[x]));
        });
        ASSERT_EQ(R_DitherLine(&bm, in.data(), got.data()), 1);
        ASSERT_EQ(got, want) << "method " << reference.method << " kind " << reference.kind << " to " << reference.bits
                             << " from " << bm.BitsPerPixel << " order " << bm.Order << " width " << n << " row " << y;
    }
    bm.Width = nWidth;
    EXPECT_EQ(R_StopDithering(&bm), 1);
    EXPECT_EQ(bm.pDitherData, nullptr);
    EXPECT_TRUE(!pUser || std::equal(reference.cells.begin(), reference.cells.end(), pUser));
}

// ---- tests ---------------------------------------------------------------------------------------------------------

// Every method, palette and source; widths of one pixel, of odd tails, and of rows that are walked in stretches.
TEST(Dither, RowsAreThoseOfAPlainWalk) {
    constexpr int32_t kWidths[] = {1, 2, 3, 4, 5, 8, 13, 17, 31, 40, 64, 1031};
    uint32_t seed = 0;
    for (int method = 0; method <= 8; ++method)
        for (int kind = 0; kind <= 10; ++kind)
            for (const Source source : kSources) {
                const int32_t width = kWidths[++seed % std::size(kWidths)];
                Bitmap bm(source.bits, width, 1, Holding::conventional, source.order);
                ASSERT_EQ(bm.nStatus, 1);
                const int bits = kind == 10 ? 6 : kind == 9 ? 8 : kind ? kind : int(seed % 8) + 1;
                const Table table = kind == 10  ? anyTable(50, seed)
                                    : kind == 9 ? webTable()
                                    : kind      ? fixedTable(kind)
                                                : anyTable(size_t(1) << bits, seed);
                std::vector<uint32_t> user;  // the caller's cache: some cells are filled, some of them wrongly
                if (kind == 10) user.resize(32768);
                for (size_t i = 0; i < user.size(); i += 3) user[i] = i % 2 ? uint32_t(i % 60) : 0xFFFFFFF0;
                const bool bNull = kind >= 1 && kind <= 8 && seed % 2;
                expectSame(bm.record, Reference(method, kind % 10, bits, table, user), bNull ? nullptr : table.data(),
                           uint32_t(table.size()), user.empty() ? nullptr : user.data(), width > 1000 ? 6 : 10, seed);
                if (HasFatalFailure()) return;
            }
}

// Rows in which different pasts never meet, and such in which they do: guesses fail, and the rows are the same.
TEST(Dither, LongRowsOfOneColour) {
    for (const int method : {1, 2, 4, 5})
        for (const int level : {0, 64, 127, 128, 255})
            for (const int kind : {0, 1, 4, 8}) {
                Bitmap bm(24, 1500, 1);
                const Table table = kind ? fixedTable(kind) : anyTable(16, 5);
                Reference reference(method, kind, std::max(kind, 4), table);
                bm->DitheringMethod = method;
                ASSERT_EQ(R_StartDitheringExt(&bm, table.data(), uint32_t(table.size()), 8, nullptr), 1);
                Bytes in(4500, uint8_t(level)), got(1500);
                for (int y = 0; y < 8; ++y) {
                    in[size_t(y) * 3] ^= 0x55;  // and a spot of another
                    std::vector<Color> colors(1500);
                    for (size_t x = 0; x < 1500; ++x) colors[x] = {in[x * 3], in[x * 3 + 1], in[x * 3 + 2]};
                    ASSERT_EQ(R_DitherLine(&bm, in.data(), got.data()), 1);
                    const std::vector<int> want = reference.dither(colors);
                    ASSERT_TRUE(std::equal(want.begin(), want.end(), got.begin()))
                        << "method " << method << " level " << level << " kind " << kind << " row " << y;
                }
                R_StopDithering(&bm);
            }
}

TEST(Dither, PaletteChoosesTheKind) {
    Bitmap bm(24, 1, 1);
    bm->DitheringMethod = DITHER_NONE;
    const auto index = [&](const Table& table, uint32_t uColors, int b, int g, int r) {
        EXPECT_EQ(R_StartDitheringExt(&bm, table.data(), uColors, 8, nullptr), 1);
        uint8_t in[3] = {uint8_t(b), uint8_t(g), uint8_t(r)}, out = 0xEE;
        EXPECT_EQ(R_DitherLine(&bm, in, &out), 1);
        R_StopDithering(&bm);
        return int(out);
    };
    // Pure red is 9 in the fixed palette by search and by rule; dark red is 1 only by search.
    Table table = fixedTable(4);
    EXPECT_EQ(index(table, 16, 0, 0, 255), 9);
    EXPECT_EQ(index(table, 16, 0, 0, 128), 9);
    EXPECT_EQ(index(table, 9, 0, 0, 255), 9);  // the first entries are enough, and may be fewer than there are indices
    table[15].rgbReserved = 4;                 // all four bytes count
    EXPECT_EQ(index(table, 16, 0, 0, 128), 1);
    table[1].rgbReserved = 2;  // not to be found
    EXPECT_NE(index(table, 16, 0, 0, 128), 1);
    for (RGBQUAD& q : table) q.rgbReserved = 1;
    EXPECT_EQ(index(table, 16, 255, 255, 255), 0);  // nothing is left
    table = webTable();
    EXPECT_EQ(index(table, 256, 100, 100, 100), 36 + 6 + 1);
    EXPECT_EQ(index(table, 129, 100, 100, 100), 36 + 6 + 1);
    EXPECT_EQ(index(table, 128, 100, 100, 100), 2 * (36 + 6 + 1));  // searched: 96 is nearer to 102
    // Entries past uColors are black, also those of a fixed palette.
    bm->DitheringMethod = DITHER_FLOYD;
    Bitmap two(24, 2, 1);
    two->DitheringMethod = DITHER_FLOYD;
    ASSERT_EQ(R_StartDitheringExt(&two, nullptr, 1, 1, nullptr), 1);
    uint8_t in[6] = {200, 200, 200, 45, 45, 45}, out = 0;
    ASSERT_EQ(R_DitherLine(&two, in, &out), 1);
    EXPECT_EQ(out & 0xC0, 0xC0);  // 45 + 200 * 7 / 16 = 132
    R_StopDithering(&two);
}

// Levels of a physical range, with and without tables.
TEST(Dither, GreyLevels) {
    const auto shades = [](BITMAPRECORD& bm, uint16_t v) {  // of the fixed palette of 256, whose blue has two bits
        bm.DitheringMethod = DITHER_NONE;
        EXPECT_EQ(R_StartDithering(&bm, nullptr, 256), 1);
        uint8_t in[2] = {uint8_t(v), uint8_t(v >> 8)}, out = 0;
        EXPECT_EQ(R_DitherLine(&bm, in, &out), 1);
        R_StopDithering(&bm);
        return int(out);
    };
    const auto shade = [](int r, int g, int b) { return r / 32 * 32 + g / 32 * 4 + b / 64; };
    Bitmap bm(16, 1, 1, Holding::conventional, ORDER_GRAY);
    bm->PhysicalLowBit = 3;
    bm->PhysicalHighBit = 6;
    EXPECT_EQ(shades(bm.record, 0xFF87 | 5 << 3), shade(85, 85, 85));  // level 5 of 15
    bm->PhysicalHighBit = -1;
    EXPECT_EQ(shades(bm.record, 0x9FFF), shade(0x9F, 0x9F, 0x9F));  // the top eight bits
    bm->PhysicalHighBit = 11;
    EXPECT_EQ(shades(bm.record, 0xF7FF), shade(0x7F, 0x7F, 0x7F));  // of bits 3 to 11 the top eight

    RGBQUAD lut[512] = {};
    lut[300] = {1, 128, 255, 0};
    bm->pLUT = lut;
    bm->LUTLength = 301;
    EXPECT_EQ(shades(bm.record, 300 << 3), shade(255, 128, 1));  // all nine bits, whatever the flags say
    bm->LUTLength = 300;
    EXPECT_EQ(shades(bm.record, 300 << 3), 0);
    RGBQUAD64 wide[512] = {};
    wide[300] = {0xFF00, 0x7FFF, 0x20FF, 0};
    bm->pLUT16 = wide;
    bm->LUT16Length = 512;
    EXPECT_EQ(shades(bm.record, 300 << 3), shade(0x20, 0x7F, 0xFF));
    bm->uStructSize = BITMAPRECORD_OLD_SIZE;
    bm->LUTLength = 512;
    EXPECT_EQ(shades(bm.record, 300 << 3), shade(255, 128, 1));
    bm->uStructSize = sizeof(BITMAPRECORD);
    bm->pLUT = nullptr;
    bm->pLUT16 = nullptr;
}

TEST(Dither, WideGamutRowsAreChangedAsTheyAreRead) {
    for (const int32_t bits : {24, 48}) {
        Bitmap romm(bits, 50, 1, Holding::conventional, ORDER_ROMM), bgr(bits, 50, 1);
        Bytes in = wanderingRow(bits, 50, 3), plain = in, got(50), want(50);
        R_ConvertBuffer(plain.data(), 50, bits, bits, ORDER_ROMM, ORDER_BGR, nullptr, nullptr);
        for (BITMAPRECORD* p : {&romm, &bgr}) {
            p->DitheringMethod = DITHER_FLOYD;
            ASSERT_EQ(R_StartDitheringExt(p, nullptr, 256, 8, nullptr), 1);
        }
        ASSERT_EQ(R_DitherLine(&bgr, Bytes(plain).data(), want.data()), 1);
        ASSERT_EQ(R_DitherLine(&romm, in.data(), got.data()), 1);
        EXPECT_EQ(got, want) << bits;
        EXPECT_EQ(in, plain) << bits;
        R_StopDithering(&romm);
        R_StopDithering(&bgr);
    }
}

TEST(Dither, StatusesInTheirOrder) {
    Bitmap bm(24, 8, 1);
    uint8_t in[24] = {}, out[8];
    EXPECT_EQ(R_StartDithering(nullptr, nullptr, 3), -13);
    EXPECT_EQ(R_DitherLine(nullptr, in, out), -13);
    EXPECT_EQ(R_StopDithering(nullptr), -13);
    bm->uStructSize = 5;
    EXPECT_EQ(R_StartDithering(&bm, nullptr, 3), -789);
    EXPECT_EQ(R_StartDitheringExt(&bm, nullptr, 0, 1, nullptr), -789);
    EXPECT_EQ(R_DitherLine(&bm, nullptr, nullptr), -789);
    EXPECT_EQ(R_StopDithering(&bm), -789);
    bm->uStructSize = sizeof(BITMAPRECORD);

    for (const uint32_t u : {0u, 3u, 5u, 100u, 255u, 257u, UINT32_MAX})
        EXPECT_EQ(R_StartDithering(&bm, nullptr, u), -13) << u;
    for (const uint32_t u : {0u, 257u}) EXPECT_EQ(R_StartDitheringExt(&bm, nullptr, u, 8, nullptr), -13) << u;
    for (const int32_t n : {0, 9, -1}) EXPECT_EQ(R_StartDitheringExt(&bm, nullptr, 2, n, nullptr), -13) << n;
    for (const int32_t n : {-1, 9}) {
        bm->DitheringMethod = n;
        EXPECT_EQ(R_StartDithering(&bm, nullptr, 2), -13) << n;
    }
    bm->DitheringMethod = DITHER_JARVIS;
    bm->BitsPerPixel = 20;
    EXPECT_EQ(R_StartDithering(&bm, nullptr, 2), -13);
    bm->BitsPerPixel = 24;
    EXPECT_EQ(bm->pDitherData, nullptr);
    EXPECT_EQ(R_DitherLine(&bm, in, out), -13);
    EXPECT_EQ(R_StopDithering(&bm), 1);

    ASSERT_EQ(R_StartDithering(&bm, nullptr, 1), 1);
    EXPECT_EQ(R_DitherLine(&bm, nullptr, out), -13);
    EXPECT_EQ(R_DitherLine(&bm, in, nullptr), -13);
    bm->Width = 9;  // errors have no room for it
    EXPECT_EQ(R_DitherLine(&bm, in, out), -13);
    bm->Width = 0;
    out[0] = 0xA5;
    EXPECT_EQ(R_DitherLine(&bm, in, out), 1);
    EXPECT_EQ(out[0], 0xA5);
    bm->Width = 3;
    EXPECT_EQ(R_DitherLine(&bm, in, out), 1);
    EXPECT_EQ(out[0], 0x05);
    R_StopDithering(&bm);
}

TEST(Dither, ShortMemoryIsWalked) {
    Bitmap bm(24, 30, 1);
    bm->DitheringMethod = DITHER_FLOYD;
    const Table table = anyTable(30, 1);
    for (int k = 0;; ++k) {
        ASSERT_LT(k, 20);
        const long blocks = faults::liveBlocks();
        faults::FailFromNthAllocation fail(k);
        const int32_t status = R_StartDitheringExt(&bm, table.data(), 30, 8, nullptr);
        fail.stop();
        if (!fail.fired()) {
            EXPECT_EQ(status, 1);
            R_StopDithering(&bm);
            EXPECT_EQ(faults::liveBlocks(), blocks);
            return;
        }
        EXPECT_EQ(status, -1) << k;
        EXPECT_EQ(bm->pDitherData, nullptr) << k;
        EXPECT_EQ(faults::liveBlocks(), blocks) << k;
    }
}

}  // namespace
