#include "ravokit/convert.h"

#include <gtest/gtest.h>

#include <climits>

#include "convert_reference.h"
#include "internal/grayrows.h"
#include "internal/muldiv.h"
#include "support/bitmaps.h"

namespace test {
namespace {

using rv::ConvertArgs;
using rv::ConvertLoops;

struct Format {
    int32_t nBits, nOrder;
};

constexpr Format kSources[] = {
    {0, 0},           {1, 0},          {2, 1},           {3, 0},           {4, 0},
    {5, 0},           {6, 0},          {7, ORDER_GRAY},  {8, 0},           {8, ORDER_GRAY},
    {12, ORDER_GRAY}, {16, ORDER_RGB}, {16, ORDER_BGR},  {16, ORDER_GRAY}, {16, ORDER_BGR565},
    {24, ORDER_RGB},  {24, ORDER_BGR}, {24, ORDER_ROMM}, {32, ORDER_RGB},  {32, ORDER_BGR},
    {32, ORDER_GRAY}, {48, ORDER_RGB}, {48, ORDER_BGR},  {48, ORDER_ROMM}, {64, ORDER_RGB},
    {64, ORDER_BGR}};
constexpr Format kTargets[] = {{0, 0},
                               {0, ORDER_GRAY},
                               {0, ORDER_ROMM},
                               {1, 0},
                               {2, 0},
                               {3, 0},
                               {4, 0},
                               {5, 0},
                               {6, 0},
                               {7, 1},
                               {8, 0},
                               {8, ORDER_GRAY},
                               {8, ORDER_ROMM},
                               {4, ORDER_GRAY},
                               {12, ORDER_GRAY},
                               {16, ORDER_RGB},
                               {16, ORDER_BGR},
                               {16, ORDER_GRAY},
                               {16, ORDER_BGR565},
                               {24, ORDER_RGB},
                               {24, ORDER_BGR},
                               {24, ORDER_ROMM},
                               {32, ORDER_RGB},
                               {32, ORDER_BGR},
                               {32, ORDER_GRAY},
                               {32, ORDER_ROMM},
                               {48, ORDER_RGB},
                               {48, ORDER_BGR},
                               {48, ORDER_ROMM},
                               {64, ORDER_RGB},
                               {64, ORDER_BGR},
                               {64, ORDER_ROMM}};

size_t rowBytes(int32_t nWidth, int32_t nBits) { return (size_t(nWidth) * unsigned(nBits ? nBits : 8) + 7) / 8; }

// Tables that hold an entry for every level that a test makes. Bytes come from a few values, so that colours recur.
struct Tables {
    std::vector<RGBQUAD> source, target;
    std::vector<RGBQUAD64> wide;
    rv::MatchCell* root;

    Tables() : source(65536), target(256), wide(65536) {
        std::mt19937 random(5);
        const auto any = [&] { return uint8_t("\x00\x00\x12\x80\xFE\xFF\xFF"[random() % 7]); };
        for (auto& q : source) q = {any(), any(), any(), any()};
        for (auto& q : target) q = {any(), any(), any(), any()};
        for (auto& q : wide) q = {uint16_t(random()), uint16_t(random()), uint16_t(any() << 8), uint16_t(random())};
        for (size_t i = 0; i < wide.size(); i += 3) wide[i] = {0x8012, 0x12FE, 0xFF00, 0};
        root = rv::buildMatchTable(target.data(), 256);
    }
    Tables(const Tables&) = delete;
    Tables& operator=(const Tables&) = delete;
    ~Tables() { rv::freeMatchTable(root); }
};

// Row data of random bytes with runs of 0x12 and 0xFF in between, so that whole pixels recur.
Bytes rowData(size_t n, uint32_t seed) {
    Bytes row = randomBytes(n, seed);
    std::mt19937 random(seed + 1);
    for (size_t i = 0; i < n; i += 1 + random() % 24) {
        const uint8_t v = random() & 1 ? 0x12 : 0xFF;
        for (const size_t nEnd = std::min(n, i + random() % 16); i < nEnd; ++i) row[i] = v;
    }
    return row;
}

enum Use { kNoTables = 0, kSourceTable = 1, kTargetTable = 2, kWideTable = 4, kMatch = 8, kSameTables = 16 };
struct Variant {
    uint32_t uFlags;
    int32_t nLow, nHigh;
    int uses;
    COLORREF crTransparent;
};

constexpr uint32_t kSrc = CONVERT_SRC_BITRANGE, kDst = CONVERT_DST_BITRANGE, kClear = CONVERT_TRANSPARENT,
                   kSigned = CONVERT_SIGNED;
constexpr Variant kVariants[] = {
    {0, -1, -1, kNoTables, 0},
    {0, -1, -1, kSourceTable | kTargetTable, 0},
    {0, 3, 7, kSameTables, 0},
    {0, -1, -1, kSourceTable | kTargetTable | kMatch, 0},
    {kSrc, 0, 11, kNoTables, 0},
    {kSrc, 4, 11, kTargetTable, 0},
    {kSrc, 2, -1, kNoTables, 0},
    {kSrc, 0, 3, kNoTables, 0},
    {kSrc, 9, 9, kNoTables, 0},
    {kSrc, 6, 10, kNoTables, 0},
    {kSrc, 14, 24, kNoTables, 0},
    {kSrc | kSigned, 4, 19, kNoTables, 0},
    {kSrc, 3, 9, kSourceTable | kTargetTable | kMatch, 0},
    {kSrc, 4, 11, kWideTable, 0},
    {kDst, 4, -1, kNoTables, 0},
    {kDst, 2, 9, kNoTables, 0},
    {kDst, 0, 5, kNoTables, 0},
    {kDst | kSigned, 0, 13, kNoTables, 0},
    {kDst, 3, 10, kSourceTable, 0},
    {kDst, 1, 10, kWideTable, 0},
    {kSigned, -1, -1, kNoTables, 0},
    {0, -1, -1, kWideTable | kTargetTable, 0},
    {0, -1, -1, kWideTable | kSourceTable | kMatch | kTargetTable, 0},
    {kClear, -1, -1, kNoTables, 0x00121212},
    {kClear, -1, -1, kNoTables, 0x00FFFFFF},
    {kClear, -1, -1, kNoTables, 0x01000012},
    {kClear, -1, -1, kSourceTable, 0x00FF1280},
    {kClear, -1, -1, kSourceTable, 0x010000FF},
    {kClear, -1, -1, kWideTable, 0x008012FF},
    {kClear | kSrc, 4, 11, kWideTable, 0x01000011},
    {kClear | kSrc, 4, 7, kNoTables, 0x01000001},
};

// Converts a row in all the ways there are and holds each to the reference, with the bytes around the row.
void compareWithReference(const ConvertArgs& args, uint32_t seed, const std::string& label) {
    const size_t nSrc = rowBytes(args.nWidth, args.nBitsSrc), nDst = rowBytes(args.nWidth, args.nBitsDst);
    const size_t nBuffer = std::max(nSrc, nDst) + 9;
    Bytes buffer = rowData(nBuffer, seed);
    if (args.nBitsSrc == 32 && args.nOrderSrc == ORDER_GRAY && (args.pPaletteSrc || args.pLUT16Src))
        for (size_t i = 0; i < nSrc; i += 4) buffer[i + 2] = buffer[i + 3] = 0;  // levels that the tables hold

    const ConvertReference reference(args);
    Bytes want = buffer;
    const int32_t nStatus = reference.run(buffer, want);
    for (const auto loops : {ConvertLoops::best, ConvertLoops::general}) {
        Bytes got = buffer;
        ASSERT_EQ(rv::convertInPlace(args, got.data(), loops), nStatus) << label;
        ASSERT_EQ(got, want) << label << " in place, loops " << int(loops);
    }
    if (args.nOrderSrc == ORDER_ROMM || args.nOrderDst == ORDER_ROMM) return;
    buffer.resize(nSrc);
    buffer.shrink_to_fit();
    Bytes apart = randomBytes(nDst + 5, seed + 1);
    want = apart;
    reference.run(buffer, want);
    for (const auto loops : {ConvertLoops::best, ConvertLoops::general}) {
        Bytes got = apart;
        ASSERT_EQ(rv::convertRow(args, got.data(), buffer.data(), loops), 1) << label;
        ASSERT_EQ(got, want) << label << " apart, loops " << int(loops);
    }
}

TEST(Convert, EveryPairOfFormats) {
    const Tables tables;
    std::mt19937 random(1);
    constexpr int32_t kWidths[] = {1, 2, 3, 5, 8, 15, 16, 21, 40, 255, 256, 257, 600};
    for (const Format& s : kSources) {
        for (const Format& d : kTargets) {
            const bool bFewBits = s.nBits >= 1 && s.nBits <= 4;
            if (d.nBits == 32 && d.nOrder == ORDER_ROMM && !bFewBits) continue;
            for (size_t i = 0; i < std::size(kVariants); ++i) {
                const Variant& v = kVariants[i];
                if (v.uFlags & kDst && d.nOrder != ORDER_GRAY) continue;
                if (v.uFlags & kSrc && s.nOrder != ORDER_GRAY) continue;
                const int uses = v.uses;
                ConvertArgs args{0, s.nBits, d.nBits, s.nOrder, d.nOrder};
                if (uses & kSourceTable) args.pPaletteSrc = tables.source.data();
                if (uses & kTargetTable) args.pPaletteDst = tables.target.data();
                if (uses & kSameTables) args.pPaletteSrc = args.pPaletteDst = tables.source.data();
                if (uses & kWideTable) args.pLUT16Src = tables.wide.data();
                if (uses & kMatch) args.pMatchRoot = tables.root;
                args.uFlags = v.uFlags;
                args.nLowBit = v.nLow;
                args.nHighBit = v.nHigh;
                args.crTransparent = v.crTransparent;
                for (int k = 0; k < 2; ++k) {
                    args.nWidth = kWidths[random() % std::size(kWidths)];
                    compareWithReference(args, uint32_t(random()),
                                         std::to_string(s.nBits) + "/" + std::to_string(s.nOrder) + " to " +
                                             std::to_string(d.nBits) + "/" + std::to_string(d.nOrder) + " variant " +
                                             std::to_string(i) + " width " + std::to_string(args.nWidth));
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

// ---- examples worked out by hand ---------------------------------------------------------------------------------

Bytes converted(Bytes row, int32_t nWidth, Format s, Format d, uint32_t uFlags = 0, int32_t nLow = -1,
                int32_t nHigh = -1, COLORREF cr = 0, const RGBQUAD* pSrc = nullptr, const RGBQUAD* pDst = nullptr,
                const RGBQUAD64* pWide = nullptr) {
    EXPECT_EQ(R_ConvertBufferExt3(row.data(), nWidth, s.nBits, d.nBits, s.nOrder, d.nOrder, pSrc, pDst, pWide, 0,
                                  uFlags, nLow, nHigh, cr),
              1);
    return row;
}

TEST(Convert, ColourExamples) {
    constexpr Format bgr{24, ORDER_BGR}, rgb{24, ORDER_RGB}, packed{16, ORDER_BGR}, six{16, ORDER_BGR565};
    EXPECT_EQ(converted({1, 2, 3, 4, 5, 6}, 2, bgr, rgb), (Bytes{3, 2, 1, 6, 5, 4}));
    // 200 + 5 x 100 + 2 x 52 = 804, an eighth of which is 100.
    EXPECT_EQ(converted({200, 100, 50}, 1, bgr, {0, 0})[0], 100);
    // 5-5-5 with red 1, green 2, blue 3: 8, 16, 24, and bit 15 that counts at 64 bits only.
    EXPECT_EQ(converted({0x43, 0x04, 0, 0}, 1, packed, {32, ORDER_BGR}), (Bytes{24, 16, 8, 255}));
    EXPECT_EQ(converted({0x43, 0x04, 0, 0, 0, 0, 0, 0}, 1, packed, {64, ORDER_BGR}),
              (Bytes{24, 24, 16, 16, 8, 8, 0, 0}));
    EXPECT_EQ(converted({0x00, 0xF8, 1, 1, 1, 1, 1, 1}, 1, six, {64, ORDER_BGR}),
              (Bytes{0, 0, 0, 0, 255, 255, 255, 255}));
    EXPECT_EQ(converted({0xE0, 0xFF}, 1, six, packed), (Bytes{0xE0, 0x7F}));  // the top bit of red is no alpha
    // Grey of 32-bit colour takes 8 bits at the top of the destination, that of 24 bits its full scale.
    EXPECT_EQ(converted({9, 9, 9, 0}, 1, {32, ORDER_BGR}, {16, ORDER_GRAY}), (Bytes{0, 9, 9, 0}));
    EXPECT_EQ(converted({9, 9, 9, 0}, 1, bgr, {16, ORDER_GRAY}), (Bytes{9, 9, 9, 0}));
    // The top of an open range is bit 15 for 48 bits: (0x1234 >> 4) << 4 in the low 12 bits.
    EXPECT_EQ(converted({0x34, 0x12, 0x34, 0x12, 0x34, 0x12}, 1, {48, ORDER_BGR}, {12, ORDER_GRAY},
                        CONVERT_DST_BITRANGE, 2, -1),
              (Bytes{0x30, 0x12, 0x34, 0x12, 0x34, 0x12}));
    // A grey level is no scaled grey: four bits reach entry 15 at most.
    std::vector<RGBQUAD> ramp(256);
    for (size_t i = 0; i < 256; ++i) ramp[i] = {uint8_t(i), uint8_t(i), uint8_t(i), 0};
    EXPECT_EQ(
        converted({0xFF, 0x0F, 0}, 1, {12, ORDER_GRAY}, {8, 0}, CONVERT_SRC_BITRANGE, 0, 3, 0, nullptr, ramp.data())[0],
        15);
    EXPECT_EQ(converted({0xFF, 0x0F, 0}, 1, {12, ORDER_GRAY}, {0, 0}, CONVERT_SRC_BITRANGE, 0, 3)[0], 255);
}

TEST(Convert, AlphaExamples) {
    const Bytes eight{7, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    constexpr Format gray8{0, 0}, wide{64, ORDER_BGR};
    EXPECT_EQ(converted(eight, 2, gray8, wide), (Bytes{7, 7, 7, 7, 7, 7, 0, 0, 9, 9, 9, 9, 9, 9, 0, 0}));
    EXPECT_EQ(converted(eight, 2, gray8, wide, CONVERT_TRANSPARENT, -1, -1, 0x090909),
              (Bytes{7, 7, 7, 7, 7, 7, 0, 0, 9, 9, 9, 9, 9, 9, 255, 255}));
    EXPECT_EQ(converted(eight, 2, gray8, {32, ORDER_BGR}, CONVERT_TRANSPARENT, -1, -1, 0x01000009),
              (Bytes{7, 7, 7, 255, 9, 9, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    // A palette reference never names a true colour.
    EXPECT_EQ(converted({9, 0, 0, 0}, 1, {24, ORDER_RGB}, {32, ORDER_RGB}, CONVERT_TRANSPARENT, -1, -1, 0x01000009)[3],
              255);
    // 16-bit grey leaves the fourth word of the buffer alone.
    EXPECT_EQ(converted({0x34, 0x12, 1, 2, 3, 4, 5, 6}, 1, {16, ORDER_GRAY}, wide),
              (Bytes{0x34, 0x12, 0x34, 0x12, 0x34, 0x12, 5, 6}));
    EXPECT_EQ(converted({1, 2, 3, 4, 5, 6, 0x34, 0x12}, 1, wide, {32, ORDER_RGB}),
              (Bytes{6, 4, 2, 0x12, 5, 6, 0x34, 0x12}));
}

TEST(Convert, BitsBehindTheLastPixelStay) {
    EXPECT_EQ(converted({255, 255, 255, 255, 255, 255, 255, 255, 255}, 3, {24, ORDER_BGR}, {3, 0})[1], 255);
    EXPECT_EQ(converted({0, 0, 0, 0x5A, 0, 0, 0, 0, 0}, 3, {24, ORDER_BGR}, {3, 0}),
              (Bytes{0, 0, 0, 0x5A, 0, 0, 0, 0, 0}));
    Bytes odd{0x11, 0xA2};
    ASSERT_EQ(R_ConvertBuffer(odd.data(), 1, 0, 12, 0, ORDER_GRAY, nullptr, nullptr), 1);
    EXPECT_EQ(odd, (Bytes{0x11, 0xA1}));  // 0x11 x 4095 / 255 is 0x111; the high half-byte stays
}

// The 48-bit row passes its own matrix before that of the destination. White is white in both gamuts.
TEST(Convert, WideGamut) {
    EXPECT_EQ(converted({255, 255, 255}, 1, {24, ORDER_BGR}, {24, ORDER_ROMM}), (Bytes{255, 255, 255}));
    // Blue 100 alone: 715100 + 4095 >> 13 = 87, 43495 >> 13 = 5, 110795 >> 13 = 13.
    EXPECT_EQ(converted({0, 0, 100}, 1, {24, ORDER_RGB}, {24, ORDER_ROMM}), (Bytes{87, 5, 13}));
    // And back, with the division towards zero: 823629 - 5755 - 1625 + 4095 = 820344, and 820344 / 8192 = 100.
    EXPECT_EQ(converted({87, 5, 13}, 1, {24, ORDER_ROMM}, {24, ORDER_RGB}), (Bytes{0, 0, 100}));

    Bytes once{0, 0x40, 0, 0x20, 0, 0x60}, twice = once;
    rv::forwardRomm48(once.data(), 1);
    rv::forwardRomm48(once.data(), 1);
    ASSERT_EQ(R_ConvertBuffer(twice.data(), 1, 48, 48, ORDER_BGR, ORDER_ROMM, nullptr, nullptr), 1);
    EXPECT_EQ(twice, once);
    Bytes same{1, 2, 3, 4, 5, 6};
    ASSERT_EQ(R_ConvertBuffer(same.data(), 1, 48, 48, ORDER_ROMM, ORDER_ROMM, nullptr, nullptr), 1);
    EXPECT_EQ(same, (Bytes{1, 2, 3, 4, 5, 6}));
    // Both sides wide: the first byte counts as red.
    Bytes gray{255, 0, 0};
    ASSERT_EQ(R_ConvertBuffer(gray.data(), 1, 24, 0, ORDER_ROMM, ORDER_ROMM, nullptr, nullptr), 1);
    EXPECT_EQ(gray[0], (2 * 257) >> 3);
}

TEST(Convert, EqualTablesLeaveTheRow) {
    std::vector<RGBQUAD> black(256);  // a search would give index 0 for all
    for (size_t i = 0; i < 256; ++i) black[i].rgbReserved = uint8_t(i);
    const std::vector<RGBQUAD> copy = black;
    for (const size_t n : {size_t(5), size_t(300)}) {
        const Bytes row = randomBytes(n, 3);
        EXPECT_EQ(converted(row, int32_t(n), {8, 0}, {8, 0}, 0, -1, -1, 0, black.data(), copy.data()), row);
        Bytes few = randomBytes(n, 4);
        for (auto& b : few) b &= 15;
        Bytes packed = few;
        for (size_t i = 0; i < n; ++i) rv::Pixel<4>::put(packed.data(), i, few[i]);
        EXPECT_EQ(converted(packed, int32_t(n), {4, 0}, {8, 0}, 0, -1, -1, 0, black.data(), copy.data()), few);
    }
    black[0].rgbReserved = 1;
    EXPECT_EQ(converted({5, 6}, 2, {8, 0}, {8, 0}, 0, -1, -1, 0, black.data(), copy.data()), (Bytes{0, 0}));
}

TEST(Convert, MatchTable) {
    const RGBQUAD colors[] = {{1, 2, 3, 0}, {1, 2, 4, 0}, {9, 9, 9, 0}};
    rv::MatchCell* pRoot = rv::buildMatchTable(colors, 3);
    Bytes row{1, 2, 4, 9, 0, 0, 7, 7, 7, 1, 2, 3};  // second: the only colour of that blue; third: none
    EXPECT_EQ(rv::IntConvertBuffer(row.data(), 4, 24, 8, ORDER_BGR, 0, nullptr, nullptr, nullptr, 0, -1, -1, 0, &pRoot),
              1);
    EXPECT_EQ(Bytes(row.begin(), row.begin() + 4), (Bytes{1, 2, 255, 0}));
    rv::freeMatchTable(pRoot);
}

// ---- statuses ----------------------------------------------------------------------------------------------------

TEST(Convert, Statuses) {
    Bytes row = randomBytes(64, 9);
    const Bytes before = row;
    const auto status = [&](int32_t nWidth, Format s, Format d, uint32_t uFlags = 0, int32_t nLow = 2,
                            int32_t nHigh = 5) {
        return R_ConvertBufferExt(row.data(), nWidth, s.nBits, d.nBits, s.nOrder, d.nOrder, nullptr, nullptr, uFlags,
                                  nLow, nHigh);
    };
    constexpr Format rgb{24, ORDER_RGB}, gray{16, ORDER_GRAY};
    EXPECT_EQ(R_ConvertBuffer(nullptr, 1, 24, 24, 0, 0, nullptr, nullptr), -13);
    EXPECT_EQ(status(0, rgb, rgb), -13);
    EXPECT_EQ(status(1, gray, gray, kSrc | kDst), -13);
    EXPECT_EQ(status(1, gray, {24, ORDER_BGR}, kDst), -13);
    EXPECT_EQ(status(1, {12, ORDER_RGB}, rgb), -13);
    EXPECT_EQ(status(1, rgb, {12, ORDER_RGB}), -13);
    for (const int32_t nBits : {-1, 9, 10, 11, 13, 15, 17, 40, 65, INT_MAX}) {
        EXPECT_EQ(status(1, {nBits, ORDER_RGB}, rgb), -13) << nBits;
        EXPECT_EQ(status(1, rgb, {nBits, ORDER_RGB}), -13) << nBits;
    }
    for (const int32_t nOrder : {0, 1, 2, 3, 4, 5, 6, 7, -1}) {
        const bool bPlain = nOrder == ORDER_RGB || nOrder == ORDER_BGR, bGray = nOrder == ORDER_GRAY;
        const bool bRomm = nOrder == ORDER_ROMM, b565 = nOrder == ORDER_BGR565;
        const auto source = [&](int32_t nBits) { return status(-1, {nBits, nOrder}, {8, 0}); };
        const auto target = [&](int32_t nBits, int32_t nFrom) { return status(-1, {nFrom, 0}, {nBits, nOrder}); };
        EXPECT_EQ(source(16), bPlain || bGray || b565 ? 1 : -13) << nOrder;
        EXPECT_EQ(source(24), bPlain || bRomm ? 1 : -13) << nOrder;
        EXPECT_EQ(source(32), bPlain || bGray ? 1 : -13) << nOrder;
        EXPECT_EQ(source(48), bPlain || bRomm ? 1 : -13) << nOrder;
        EXPECT_EQ(source(64), bPlain ? 1 : -13) << nOrder;
        EXPECT_EQ(source(4), 1) << nOrder;
        EXPECT_EQ(target(16, 8), bPlain || bGray || b565 ? 1 : -13) << nOrder;
        EXPECT_EQ(target(24, 8), bPlain || bRomm ? 1 : -13) << nOrder;
        EXPECT_EQ(target(32, 8), bPlain || bGray ? 1 : -13) << nOrder;
        EXPECT_EQ(target(32, 4), bPlain || bGray ? 1 : bRomm ? -16 : -13) << nOrder;
        EXPECT_EQ(target(48, 8), bPlain || bRomm ? 1 : -13) << nOrder;
        EXPECT_EQ(target(64, 8), bPlain ? 1 : bRomm ? -16 : -13) << nOrder;
        EXPECT_EQ(target(8, 24), bRomm ? -16 : 1) << nOrder;
    }
    EXPECT_EQ(row, before) << "neither failures nor negative widths change anything";

    Bytes apart(8);
    EXPECT_EQ(R_ConvertRow(apart.data(), row.data(), 2, 24, 24, ORDER_RGB, ORDER_ROMM, nullptr, nullptr), -13);
    EXPECT_EQ(R_ConvertRow(nullptr, row.data(), 2, 24, 24, ORDER_RGB, ORDER_BGR, nullptr, nullptr), -13);
    EXPECT_EQ(R_ConvertRow(apart.data(), nullptr, 2, 24, 24, ORDER_RGB, ORDER_BGR, nullptr, nullptr), -13);
    EXPECT_EQ(R_ConvertRow(apart.data(), row.data(), 0, 24, 24, ORDER_RGB, ORDER_BGR, nullptr, nullptr), -13);
    EXPECT_EQ(R_ConvertRow(apart.data(), row.data(), 2, 24, 24, ORDER_RGB, ORDER_BGR, nullptr, nullptr), 1);
    EXPECT_EQ(apart, (Bytes{row[2], row[1], row[0], row[5], row[4], row[3], 0, 0}));
}

// A range that makes no sense gives some grey, but stays inside the row. The sanitized build watches the arithmetic.
TEST(Convert, NonsenseRanges) {
    constexpr int32_t kBits[] = {INT_MIN, -1, 0, 1, 7, 11, 16, 31, 32, 40, 100, INT_MAX};
    for (const Format& s : kSources) {
        for (const Format& d : kTargets) {
            if (d.nBits == 32 && d.nOrder == ORDER_ROMM) continue;
            for (const int32_t nLow : kBits) {
                for (const int32_t nHigh : kBits) {
                    const uint32_t uFlag = d.nOrder == ORDER_GRAY && (nLow ^ nHigh) & 1 ? kDst : kSrc;
                    Bytes row = randomBytes(9 * 8 + 4, 11);
                    const size_t nUsed = std::max(rowBytes(9, s.nBits), rowBytes(9, d.nBits));
                    const Bytes before = row;
                    R_ConvertBufferExt(row.data(), 9, s.nBits, d.nBits, s.nOrder, d.nOrder, nullptr, nullptr, uFlag,
                                       nLow, nHigh);
                    ASSERT_TRUE(
                        std::equal(row.begin() + ptrdiff_t(nUsed), row.end(), before.begin() + ptrdiff_t(nUsed)))
                        << s.nBits << " to " << d.nBits << ", " << nLow << " to " << nHigh;
                }
            }
        }
    }
}

// ---- what stands beside the converter ----------------------------------------------------------------------------

TEST(Convert, BufferSize) {
    EXPECT_EQ(R_CalcConvertSize(10, 24, 5, 32), 32u);
    EXPECT_EQ(R_CalcConvertSize(5, 1, 33, 0), 36u);  // 33 bytes of grey
    EXPECT_EQ(R_CalcConvertSize(5, 64, 33, 1), 264u);
    EXPECT_EQ(R_CalcConvertSize(-5, 64, -33, 1), 0u);
    EXPECT_EQ(R_CalcConvertSize(1, 1, INT_MAX, 64), uint64_t(INT_MAX) * 8);
}

TEST(Convert, PaddedRange) {
    const auto padded = [](uint16_t v, int32_t nHigh, int32_t nLow, int32_t nPad) {
        Bytes row{uint8_t(v), uint8_t(v >> 8), 0xEE};
        EXPECT_EQ(R_PadPixelData(row.data(), 16, 1, nHigh, nLow, nPad), 1);
        EXPECT_EQ(row[2], 0xEE);
        return row[0] | row[1] << 8;
    };
    EXPECT_EQ(padded(4095, 11, 0, 10), 4085);
    EXPECT_EQ(padded(0, 11, 0, 10), 0);            // the lower end only where bits lie below
    EXPECT_EQ(padded(0xF003, 11, 2, 10), 0xF02B);  // 10 << 2, with the bits outside
    EXPECT_EQ(padded(0xFFFF, 11, 2, 10), 0xFFF7);  // 4085 within the bits 2 to 11
    EXPECT_EQ(padded(0xFFFF, 15, 4, 10), 0xFFFF);  // no upper bound at bit 15
    EXPECT_EQ(padded(0x0005, 15, 4, 10), 0x00A5);
    EXPECT_EQ(padded(255, 7, 0, 1000), 191);  // at most a quarter
    EXPECT_EQ(padded(3, 16, 0, 1), 2);        // 16 counts as 1: two bits
    EXPECT_EQ(padded(1, -4, 5, 1), 1);
    EXPECT_EQ(padded(0, 15, 0, 9), 0);
    EXPECT_EQ(padded(4095, 11, 0, -5), 4095);
    Bytes row(2);
    EXPECT_EQ(R_PadPixelData(nullptr, 16, 1, 11, 0, 1), -13);
    EXPECT_EQ(R_PadPixelData(row.data(), 12, 1, 11, 0, 1), -13);
}

TEST(Convert, MulDiv) {
    EXPECT_EQ(rv::mulDiv(5, 7, 2), 18);
    EXPECT_EQ(rv::mulDiv(-5, 7, 2), -18);
    EXPECT_EQ(rv::mulDiv(-5, -7, -2), -18);
    EXPECT_EQ(rv::mulDiv(4, 1, 3), 1);
    EXPECT_EQ(rv::mulDiv(-5, 1, 3), -2);
    EXPECT_EQ(rv::mulDiv(INT_MAX, INT_MAX, INT_MAX), INT_MAX);
    EXPECT_EQ(rv::mulDiv(INT_MIN, INT_MIN, INT_MIN), INT_MIN);
    EXPECT_EQ(rv::mulDiv(INT_MIN, 2, -2), -1) << "2^31 is one too many";
    EXPECT_EQ(rv::mulDiv(INT_MAX, 3, 2), -1);
    EXPECT_EQ(rv::mulDiv(6, 7, 0), -1);
}

// The three rows of 32-bit samples, apart and in place, with a byte behind them.
template <int Bits>
std::vector<int64_t> gray32Row(const std::vector<int64_t>& samples, int64_t Min, int64_t Max,
                               uint32_t uMask = 0xFFFFFFFF, int32_t nShift = 0) {
    const size_t n = samples.size(), nUsed = (n * Bits + 7) / 8;
    Bytes row(n * 4), apart(nUsed + 1, 0xCD);
    for (size_t i = 0; i < n; ++i) rv::Pixel<32>::put(row.data(), i, uint32_t(samples[i]));
    const auto pfnRow = Bits == 8 ? R_Gray32To8 : Bits == 12 ? rv::gray32To12 : R_Gray32To16;
    pfnRow(uint32_t(n), row.data(), apart.data(), uMask, nShift, Min, Max);
    pfnRow(uint32_t(n), row.data(), row.data(), uMask, nShift, Min, Max);
    EXPECT_EQ(apart[nUsed], 0xCD);
    std::vector<int64_t> got(n);
    for (size_t i = 0; i < n; ++i) {
        got[i] = rv::Pixel<Bits>::get(apart.data(), i);
        EXPECT_EQ(rv::Pixel<Bits>::get(row.data(), i), got[i]) << "in place, " << i;
    }
    return got;
}

TEST(Convert, Gray32Examples) {
    using Levels = std::vector<int64_t>;
    const Levels window{-1000, -1, 0, 1000};  // 999 of 2000 is below the middle, 1000 a tie
    EXPECT_EQ(gray32Row<8>(window, -1000, 1000), (Levels{0, 127, 128, 255}));
    EXPECT_EQ(gray32Row<12>(window, -1000, 1000), (Levels{0, 2045, 2048, 4095}));
    EXPECT_EQ(gray32Row<16>(window, -1000, 1000), (Levels{0, 32735, 32768, 65535}));
    EXPECT_EQ(gray32Row<8>(window, -1000, 1000, 0xFFFF), (Levels{0xA4, 0x23, 128, 255}));  // no signs: 8356, 8483

    const Levels ties{1, 3, -1, -3};  // 0.5, 1.5, -0.5, -1.5
    EXPECT_EQ(gray32Row<8>(ties, 0, 510), (Levels{1, 2, 0xFF, 0xFE}));
    EXPECT_EQ(gray32Row<12>(ties, 0, 8190), (Levels{1, 2, 0xFFF, 0xFFE}));
    EXPECT_EQ(gray32Row<16>(ties, 0, 131070), (Levels{1, 2, 0xFFFF, 0xFFFE}));
    EXPECT_EQ(gray32Row<8>(ties, 0, -510), (Levels{0xFF, 0xFE, 1, 2}));
    EXPECT_EQ(gray32Row<8>(ties, -1 - (int64_t(1) << 32), 509), (Levels{1, 2, 0, 0xFF}));  // 2, 4, 0, -2 of 510

    EXPECT_EQ(gray32Row<8>({0x7FFFFF, 0x1000000, -0x1000000}, 0, 1), (Levels{1, 0xFF, 0xFF}));  // too large: -1
    EXPECT_EQ(gray32Row<12>({7, 0}, -(int64_t(1) << 32), 0), (Levels{0xFFF, 0xFFF}));           // no range is left

    Bytes src(24), out(14, 0);
    R_Gray32To16(6, src.data(), out.data(), 1, 0, 3, 3);
    EXPECT_EQ(out, (Bytes{255, 255, 255, 255, 255, 255, 0, 0, 0, 0, 0, 0, 0, 0}));  // half the row
    R_Gray32To8(6, src.data(), out.data(), 1, 40, INT64_MAX, INT64_MIN);            // absurd, but no trap
    R_Gray32To8(6, src.data(), out.data(), 1, -1, INT64_MIN + 1, INT64_MIN);
}

TEST(Convert, Gray32Rows) {
    std::mt19937 random(31);
    std::vector<int64_t> samples(600);
    for (auto& v : samples) v = int64_t(random() >> random() % 32) * (random() & 1 ? 1 : -1);
    const auto rows = [&](int64_t Min, int64_t Max, uint32_t uMask = 0xFFFFFFFF, int32_t nShift = 0) {
        const auto compare = [&](const std::vector<int64_t>& got, int64_t nScale) {
            const int64_t nRange = Max - Min;
            for (size_t i = 0; i < got.size(); ++i) {
                const int64_t d = int64_t(uint32_t(samples[i]) >> nShift & uMask) - Min;
                const int64_t want = Max == int32_t(Max) ? rv::mulDiv(int32_t(d), int32_t(nScale), int32_t(nRange))
                                                         : (d * nScale + nRange / 2) / nRange;
                ASSERT_EQ(got[i], want & nScale) << samples[i] << " from " << Min << " to " << Max;
            }
        };
        compare(gray32Row<8>(samples, Min, Max, uMask, nShift), 255);
        compare(gray32Row<12>(samples, Min, Max, uMask, nShift), 4095);
        compare(gray32Row<16>(samples, Min, Max, uMask, nShift), 65535);
    };
    rows(0, 65535, 65535, 4);
    for (const int64_t Max : {-1, 1, 2, -3, 10, 1000, -1000, 65536, 131071, INT_MAX, INT_MIN})
        for (const int64_t Min : {0, 5, -999, INT_MIN}) {
            if (Min != Max) rows(Min, Max);
            rows(Min + (int64_t(1) << 33), Max);
        }
    rows(0, 0xFFFFFFFF);
    rows(-1000000, 3000000000);
    rows(-1000000, -3000000000);
    rows(INT64_MIN / 70000, INT64_MAX / 70000);  // past what floating point holds
}

TEST(Convert, GrayRows) {
    const Tables tables;
    const auto rule = [](auto q) { return (q.rgbBlue + 5u * q.rgbGreen + 2u * (q.rgbRed + 2u)) / 8; };
    const auto expected = [&](int32_t nSrc, int32_t nDst, int use, uint32_t v, uint32_t uMask) -> uint64_t {
        const uint64_t wide = v;
        if (use == 2) return rule(tables.wide[v]) >> (16 - nDst);
        if (use == 1) {
            const uint32_t g = rule(tables.source[v]);
            return nDst == 8 ? g : nDst == 16 ? g * 257 : nSrc == 12 ? (g << 4) + g / 17 : g * 4095 / 255;
        }
        if (nDst == 8) return uMask < 255 ? wide * 255 / uMask : v;
        if (nDst == 16) return wide * 65535 / uMask;
        return nSrc == 12 || uMask < 4095 ? wide * 4095 / uMask : v;
    };
    for (const int32_t nSrc : {12, 16}) {
        for (const int32_t nDst : {8, 12, 16}) {
            for (const uint32_t uMask : {15u, 255u, 4095u, 65535u}) {
                for (const int use : {0, 1, 2}) {
                    const uint32_t nShift = uMask == 4095 ? 0 : 2;
                    const RGBQUAD* pPalette = use == 1 ? tables.source.data() : nullptr;
                    const RGBQUAD64* pWide = use == 2 ? tables.wide.data() : nullptr;
                    Bytes row = randomBytes(1200, 21), got(1200, 0x3C), want = got;
                    rv::visitDepth(nDst, [&](auto bits) {
                        for (size_t i = 0; i < 500; ++i) {
                            const uint32_t s =
                                nSrc == 12 ? rv::Pixel<12>::get(row.data(), i) : rv::Pixel<16>::get(row.data(), i);
                            const uint64_t v = expected(nSrc, nDst, use, s >> nShift & uMask, uMask);
                            using Packed = rv::Pixel<decltype(bits)::value>;
                            Packed::put(want.data(), i, typename Packed::Value(v & Packed::kMax));
                        }
                    });
                    rv::grayRow(nSrc, nDst, 500, pPalette, pWide, row.data(), got.data(), uMask, nShift);
                    EXPECT_EQ(got, want) << nSrc << " to " << nDst << " mask " << uMask << " table " << use;
                }
            }
        }
    }
}

}  // namespace
}  // namespace test
