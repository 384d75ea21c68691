#include "internal/palette_.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

#include "ravokit/memory.h"
#include "support/bitmaps.h"
#include "support/faults.h"

namespace {

using Table = std::vector<RGBQUAD>;

constexpr RGBQUAD rgb(int r, int g, int b) { return {uint8_t(b), uint8_t(g), uint8_t(r), 0}; }
constexpr COLORREF cr(uint32_t r, uint32_t g, uint32_t b) { return r | g << 8 | b << 16; }
constexpr COLORREF ref(uint32_t nIndex) { return 0x01000000 | nIndex; }
COLORREF colorOf(const RGBQUAD& q) { return cr(q.rgbRed, q.rgbGreen, q.rgbBlue); }

// Few levels, so that there are many equal distances and equal colours.
Table randomTable(size_t n, uint32_t seed, int nLevels = 4) {
    std::mt19937 random(seed);
    Table table(n);
    const auto level = [&] { return int(random() % unsigned(nLevels)) * 255 / (nLevels - 1); };
    for (auto& q : table) {
        q = rgb(level(), level(), level());
        q.rgbReserved = uint8_t(random());
    }
    return table;
}

// The search as one walk, step by step.
int32_t walk(const Table& t, int r, int g, int b) {
    const auto is = [&](const RGBQUAD& q, int v) { return q.rgbRed == v && q.rgbGreen == v && q.rgbBlue == v; };
    if (r == 0 && g == 0 && b == 0 && is(t.front(), 0)) return 0;
    if (r == 0 && g == 0 && b == 0 && is(t.back(), 0)) return int32_t(t.size()) - 1;
    if (r == 255 && g == 255 && b == 255 && is(t.back(), 255)) return int32_t(t.size()) - 1;
    if (r == 255 && g == 255 && b == 255 && is(t.front(), 255)) return 0;
    const auto rank = [](int x, int y, int z) {
        const int hi = x > z ? x : z, lo = x > z ? z : x;
        return (x < z ? 4 : 0) + (y < lo ? 2 : 0) + (hi < (y > lo ? y : lo) ? 1 : 0);
    };
    uint32_t nBest = UINT32_MAX;
    int32_t nIndex = -1;
    for (size_t i = 0; i < t.size() && nBest; ++i) {
        const int64_t dr = int64_t(t[i].rgbRed) - r, dg = int64_t(t[i].rgbGreen) - g, db = int64_t(t[i].rgbBlue) - b;
        const auto d = uint32_t(uint64_t(dr * dr) + uint64_t(dg * dg) + uint64_t(db * db));
        if (d < nBest || (d == nBest && rank(t[i].rgbRed, t[i].rgbGreen, t[i].rgbBlue) == rank(r, g, b))) {
            nBest = d;
            nIndex = int32_t(i);
        }
    }
    return nIndex;
}

TEST(PaletteSearch, FindsWhatAPlainWalkFinds) {
    std::mt19937 random(3);
    for (const size_t n : {1u, 2u, 7u, 8u, 9u, 15u, 16u, 17u, 31u, 100u, 255u, 256u, 257u, 1000u})
        for (int nLevels : {2, 4, 16, 256}) {
            const Table table = randomTable(n, uint32_t(n) * 7u + uint32_t(nLevels), nLevels);
            for (int k = 0; k < 200; ++k) {
                int c[3];
                for (int& v : c) v = k % 2 ? int(random() & 255) : int(random() % 5) * 255 / 4;
                ASSERT_EQ(R_FindPaletteIndex(table.data(), uint32_t(n), c[0], c[1], c[2]),
                          walk(table, c[0], c[1], c[2]))
                    << "n=" << n << " levels=" << nLevels << " rgb=" << c[0] << ',' << c[1] << ',' << c[2];
                // Channels that are no bytes are not cut to some.
                constexpr int kOdd[] = {-1, -256, 256, 257, 65536, 65791, -65281, INT32_MAX, INT32_MIN};
                c[k % 3] = kOdd[random() % std::size(kOdd)];
                if (k % 4 == 0) c[(k + 1) % 3] = c[(k + 2) % 3] = c[k % 3];
                ASSERT_EQ(R_FindPaletteIndex(table.data(), uint32_t(n), c[0], c[1], c[2]),
                          walk(table, c[0], c[1], c[2]))
                    << "n=" << n << " levels=" << nLevels << " rgb=" << c[0] << ',' << c[1] << ',' << c[2];
            }
        }
}

TEST(PaletteSearch, FastFormEqualsPlainForm) {
    std::mt19937 random(5);
    for (uint32_t n = 0; n <= 264; ++n) {
        const Table table = randomTable(n + 1, n, 3);
        const auto* p = reinterpret_cast<const uint8_t*>(table.data() + 1);  // not aligned to a vector
        for (int k = 0; k < 20; ++k) {
            const auto a = uint8_t(random()), b = uint8_t(random() % 3 * 127), c = uint8_t(random());
            const rv::Nearest want = rv::nearestPlain(p, n, a, b, c), got = rv::bestNearest()(p, n, a, b, c);
            ASSERT_TRUE(got.nDistance == want.nDistance && got.nFirst == want.nFirst && got.nLast == want.nLast) << n;
        }
    }
}

TEST(PaletteSearch, PureColoursAndTies) {
    const RGBQUAD inverted[] = {rgb(255, 255, 255), rgb(0, 0, 0), rgb(0, 0, 0)};
    EXPECT_EQ(R_FindPaletteIndex(inverted, 3, 0, 0, 0), 2);  // the last entry, though an earlier one is black too
    EXPECT_EQ(R_FindPaletteIndex(inverted, 3, 255, 255, 255), 0);

    // Between entries: the later one wins if its channels rank as the colour's do, else the earlier.
    const RGBQUAD pair[] = {rgb(100, 100, 90), rgb(100, 100, 110)};  // red above blue; red below blue
    EXPECT_EQ(R_FindPaletteIndex(pair, 2, 99, 100, 100), 1);
    const RGBQUAD swapped[] = {pair[1], pair[0]};
    EXPECT_EQ(R_FindPaletteIndex(swapped, 2, 99, 100, 100), 0);
    // The other search takes the first, and a colour with a kind names its own index.
    HPALETTE h = R_CreatePalette(pair, 2);
    EXPECT_EQ(GetNearestPaletteIndex(h, cr(99, 100, 100)), 0u);
    EXPECT_EQ(GetNearestPaletteIndex(h, 0x02000000 | cr(77, 101, 100)), 77u);
    EXPECT_EQ(GetNearestPaletteIndex(nullptr, 0), 0u);
    R_WinCloseHandle(reinterpret_cast<RVHANDLE>(h), 0, nullptr);

    EXPECT_EQ(R_FindPaletteIndex(nullptr, 2, 1, 2, 3), 0);
    EXPECT_EQ(R_FindPaletteIndex(pair, 0, 0, 0, 0), -1);
}

TEST(Palette, FixedTables) {
    for (const int32_t nBits : {-1, 0, 9, INT32_MAX}) EXPECT_EQ(R_IntGetFixedPalette(nBits), nullptr) << nBits;
    const auto at = [](int32_t nBits, uint32_t i) { return colorOf(R_IntGetFixedPalette(nBits)[i]); };
    EXPECT_EQ(at(1, 1), cr(255, 255, 255));
    EXPECT_EQ(at(2, 2), cr(170, 170, 170));
    EXPECT_EQ(at(3, 6), cr(255, 255, 0));
    EXPECT_EQ(at(4, 3), cr(128, 128, 0));
    EXPECT_EQ(at(4, 8), cr(192, 192, 192));
    EXPECT_EQ(at(5, 8 * 1 + 2 * 3 + 0), cr(85, 255, 0));
    EXPECT_EQ(at(6, 16 * 2 + 4 * 1 + 3), cr(170, 85, 255));
    EXPECT_EQ(at(7, 32 * 1 + 4 * 5 + 2), cr(85, 182, 170));
    EXPECT_EQ(at(8, 32 * 3 + 4 * 6 + 1), cr(109, 219, 85));
    for (int32_t nBits = 1; nBits <= 8; ++nBits) EXPECT_EQ(at(nBits, (1u << nBits) - 1), cr(255, 255, 255)) << nBits;
    const RGBQUAD* pWeb = R_IntGetNetscapePalette();
    EXPECT_EQ(colorOf(pWeb[36 * 4 + 6 * 1 + 5]), cr(204, 51, 255));
    EXPECT_EQ(colorOf(pWeb[215]), cr(255, 255, 255));
    EXPECT_EQ(colorOf(pWeb[216]) | colorOf(pWeb[255]), 0u);

    RGBQUAD out[257];
    out[256] = rgb(1, 2, 3);
    EXPECT_EQ(R_GetFixedPalette(nullptr, 1), -13);
    EXPECT_EQ(R_GetFixedPalette(out, 9), -13);
    EXPECT_EQ(R_GetFixedPalette(out, 0), 1);
    for (uint32_t i = 0; i < 256; ++i) ASSERT_EQ(colorOf(out[i]), cr(i, i, i));
    EXPECT_EQ(colorOf(out[256]), cr(1, 2, 3));

    EXPECT_EQ(R_CreateFixedPalette(9), nullptr);
    RGBQUAD* p = R_CreateFixedPalette(0);
    EXPECT_EQ(colorOf(p[0]), 0u);
    EXPECT_EQ(colorOf(p[1]), cr(255, 255, 255));
    R_GlobalFree(p);
    p = R_CreateGrayPalette(3);  // 255 * i / 7
    EXPECT_EQ(colorOf(p[1]), cr(36, 36, 36));
    EXPECT_EQ(colorOf(p[3]), cr(109, 109, 109));
    EXPECT_EQ(colorOf(p[7]), cr(255, 255, 255));
    R_GlobalFree(p);
}

TEST(Palette, GreyKinds) {
    const auto kind = [](const Table& t) { return R_IsGrayScalePalette(t.data(), uint32_t(t.size())); };
    const auto greys = [](std::vector<int> levels) {
        Table t;
        for (const int v : levels) t.push_back(rgb(v, v, v));
        return t;
    };
    EXPECT_EQ(R_IsGrayScalePalette(nullptr, 2), -13);
    EXPECT_EQ(kind(greys({0, 85, 170, 255})), GRAYKIND_ASCENDING);
    EXPECT_EQ(kind(greys({255, 170, 85, 0})), GRAYKIND_DESCENDING);
    EXPECT_EQ(kind(greys({0, 170, 85, 255})), GRAYKIND_UNORDERED);
    EXPECT_EQ(kind(greys({10, 95, 180, 255})), GRAYKIND_UNORDERED);
    // Steps of 36, truncated: a ramp of eight that ends at 252 is one, that ends at 255 is none.
    EXPECT_EQ(kind(greys({0, 36, 72, 108, 144, 180, 216, 252})), GRAYKIND_ASCENDING);
    EXPECT_EQ(kind(greys({0, 36, 72, 109, 145, 182, 218, 255})), GRAYKIND_UNORDERED);
    EXPECT_EQ(kind(greys({0})), GRAYKIND_ASCENDING);
    EXPECT_EQ(kind(greys({255})), GRAYKIND_DESCENDING);
    EXPECT_EQ(kind(greys({9})), GRAYKIND_UNORDERED);
    EXPECT_EQ(kind({rgb(0, 0, 0), rgb(255, 255, 254)}), GRAYKIND_NONE);
    for (int32_t nBits = 1; nBits <= 8; ++nBits) {
        RGBQUAD* p = R_CreateGrayPalette(nBits);
        const bool bWholeSteps = nBits == 1 || nBits == 2 || nBits == 4 || nBits == 8;
        EXPECT_EQ(R_IsGrayScalePalette(p, 1u << nBits), bWholeSteps ? GRAYKIND_ASCENDING : GRAYKIND_UNORDERED) << nBits;
        R_GlobalFree(p);
    }
}

TEST(Palette, TranslationTables) {
    const Table small = randomTable(16, 1), large = randomTable(64, 2, 8);
    std::vector<uint8_t> out(64, 0xA5);
    Table longer = small;
    longer.push_back(rgb(1, 2, 3));
    EXPECT_TRUE(rv::buildTranslation(small.data(), 16, longer.data(), 17, out.data()));
    for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(out[i], i);  // although colours repeat
    EXPECT_EQ(out[16], 0xA5);

    longer[3].rgbReserved ^= 1;  // all four bytes count
    EXPECT_FALSE(rv::buildTranslation(small.data(), 16, longer.data(), 17, out.data()));
    EXPECT_FALSE(rv::buildTranslation(longer.data(), 17, small.data(), 16, out.data()));  // longer than the destination
    EXPECT_FALSE(rv::buildTranslation(small.data(), 16, small.data(), 15, out.data()));
    EXPECT_FALSE(rv::buildTranslation(large.data(), 64, small.data(), 16, out.data()));
    for (uint32_t i = 0; i < 64; ++i)
        ASSERT_EQ(out[i], walk(small, large[i].rgbRed, large[i].rgbGreen, large[i].rgbBlue)) << i;
    EXPECT_FALSE(rv::buildTranslation(nullptr, 64, small.data(), 16, out.data()));
    for (int i = 0; i < 64; ++i) ASSERT_EQ(out[size_t(i)], walk(small, i, i, i)) << i;

    const RGBQUAD primaries[] = {rgb(255, 0, 0), rgb(0, 255, 0), rgb(0, 0, 255), rgb(255, 255, 255)};
    EXPECT_FALSE(rv::buildTranslation(primaries, 4, nullptr, 0, out.data()));
    EXPECT_EQ(out[0], (255 * 2 + 4) / 8);
    EXPECT_EQ(out[1], (255 * 5 + 4) / 8);
    EXPECT_EQ(out[2], (255 + 4) / 8);
    EXPECT_EQ(out[3], 255);
    EXPECT_TRUE(rv::buildTranslation(nullptr, 4, nullptr, 0, out.data()));
    EXPECT_EQ(out[3], 255);  // nothing was written
}

TEST(Palette, MatchTables) {
    for (const int nLevels : {2, 3, 6, 256}) {
        const Table table = randomTable(256, uint32_t(nLevels), nLevels);
        rv::MatchCell* pRoot = rv::buildMatchTable(table.data(), 256);
        ASSERT_NE(pRoot, nullptr);
        for (const RGBQUAD& q : table) {
            int32_t nFirst = 0;
            while (colorOf(table[size_t(nFirst)]) != colorOf(q)) ++nFirst;
            ASSERT_EQ(rv::matchLookup(pRoot, q.rgbBlue, q.rgbGreen, q.rgbRed), nFirst) << nLevels;
        }
        rv::freeMatchTable(pRoot);
    }
    // A blue of one entry answers for all greens and reds; a shared one needs a known green; a shared pair a known red.
    const RGBQUAD few[] = {rgb(1, 2, 10), rgb(3, 4, 20), rgb(5, 6, 20), rgb(7, 6, 20),
                           rgb(5, 6, 20), rgb(8, 8, 30), rgb(8, 8, 30)};
    rv::MatchCell* pRoot = rv::buildMatchTable(few, 7);
    EXPECT_EQ(rv::matchLookup(pRoot, 10, 99, 99), 0);
    EXPECT_EQ(rv::matchLookup(pRoot, 11, 2, 1), -1);
    EXPECT_EQ(rv::matchLookup(pRoot, 20, 4, 99), 1);
    EXPECT_EQ(rv::matchLookup(pRoot, 20, 5, 3), -1);
    EXPECT_EQ(rv::matchLookup(pRoot, 20, 6, 5), 2);
    EXPECT_EQ(rv::matchLookup(pRoot, 20, 6, 7), 3);
    EXPECT_EQ(rv::matchLookup(pRoot, 20, 6, 8), -1);
    EXPECT_EQ(rv::matchLookup(pRoot, 30, 8, 99), 5);  // equal colours are one
    EXPECT_EQ(rv::matchLookup(pRoot, 30, 9, 8), -1);
    rv::freeMatchTable(pRoot);

    const Table palette = randomTable(50, 9, 9);
    uint32_t* pUser = R_CreateUserMatchTable(palette.data(), 50);
    for (uint32_t i = 0; i < 32768; i += 13)
        ASSERT_EQ(int32_t(pUser[i]), walk(palette, int(i / 1024) * 8, int(i / 32 % 32) * 8, int(i % 32) * 8) + 1) << i;
    EXPECT_EQ(R_FreeUserMatchTable(pUser), 1);
    EXPECT_EQ(R_CreateUserMatchTable(nullptr, 5), nullptr);
}

TEST(LogicalPalette, EntriesAndHandles) {
    Table in = randomTable(20, 4, 200);
    HPALETTE h = R_CreatePalette(in.data(), 20);
    ASSERT_NE(h, nullptr);
    Table out(25, rgb(1, 1, 1));
    EXPECT_EQ(R_GetPaletteEntries(h, 15, 10, out.data()), 5u);
    EXPECT_EQ(std::memcmp(out.data(), &in[15], 20), 0);
    EXPECT_EQ(colorOf(out[5]), cr(1, 1, 1));
    EXPECT_EQ(R_GetPaletteEntries(h, 20, 1, out.data()), 0u);
    EXPECT_EQ(R_SetPaletteEntries(h, 19, UINT32_MAX, out.data()), 1u);
    PALETTEENTRY stored{};
    EXPECT_EQ(GetPaletteEntries(h, 19, 1, &stored), 1u);
    EXPECT_EQ(cr(stored.peRed, stored.peGreen, stored.peBlue), colorOf(in[15]));
    EXPECT_EQ(GetPaletteEntries(h, 0, 500, nullptr), 20u);
    EXPECT_EQ(SetPaletteEntries(h, 20, 1, &stored), 0u);
    EXPECT_EQ(SetPaletteEntries(h, 0, 1, &stored), 1u);

    HPALETTE hCopy = R_DupPalette(h);
    R_WinCloseHandle(reinterpret_cast<RVHANDLE>(h), 0, nullptr);
    EXPECT_EQ(R_GetPaletteSize(hCopy), 20u);
    EXPECT_EQ(R_GetPaletteEntries(hCopy, 0, 1, out.data()), 1u);
    EXPECT_EQ(colorOf(out[0]), colorOf(in[15]));
    uint16_t nCount = 0;
    EXPECT_EQ(GetObject(hCopy, 2, &nCount), 2);
    EXPECT_EQ(nCount, 20);
    EXPECT_EQ(GetObject(hCopy, 4, &nCount), 0);
    R_WinCloseHandle(reinterpret_cast<RVHANDLE>(hCopy), 0, nullptr);

    const LOGPALETTE single{0x300, 1, {{9, 8, 7, 0}}};
    h = R_WinCreatePalette(&single);
    EXPECT_EQ(R_GetPaletteEntries(h, 0, 1, out.data()), 1u);
    EXPECT_EQ(colorOf(out[0]), cr(9, 8, 7));
    R_WinCloseHandle(reinterpret_cast<RVHANDLE>(h), 0, nullptr);

    EXPECT_EQ(R_CreatePalette(in.data(), 0), nullptr);
    EXPECT_EQ(R_CreatePalette(in.data(), 257), nullptr);
    EXPECT_EQ(R_CreatePalette(nullptr, 2), nullptr);
    MEMHANDLE* hOther = WinGlobalAlloc(66, 16);
    for (void* bad : {static_cast<void*>(nullptr), reinterpret_cast<void*>(UINTPTR_MAX), static_cast<void*>(hOther)}) {
        const auto hBad = static_cast<HPALETTE>(bad);
        EXPECT_EQ(R_DupPalette(hBad), nullptr);
        EXPECT_EQ(R_GetPaletteSize(hBad) + R_GetPaletteEntries(hBad, 0, 1, out.data()), 0u);
        EXPECT_EQ(R_SetPaletteEntries(hBad, 0, 1, out.data()) + GetPaletteEntries(hBad, 0, 1, &stored), 0u);
        EXPECT_EQ(GetObject(hBad, 2, &nCount), 0);
    }
    WinGlobalFree(hOther);
}

// A record without pixels: palettes need none.
class PaletteOfBitmap : public testing::Test {
protected:
    BITMAPRECORD bm{}, other{};
    void SetUp() override {
        for (BITMAPRECORD* p : {&bm, &other}) {
            p->uStructSize = sizeof *p;
            p->BitsPerPixel = 8;
            p->Flags = BMF_ALLOCATED;
        }
    }
    void TearDown() override {
        rv::replaceTable(bm, nullptr);
        rv::replaceTable(other, nullptr);
    }
    static void set(BITMAPRECORD& to, const Table& t) {
        ASSERT_EQ(R_SetBitmapNewPalette(&to, t.data(), uint32_t(t.size())), 1);
    }
};

TEST_F(PaletteOfBitmap, IsReplaced) {
    const Table in = randomTable(256, 6, 99);
    set(bm, in);
    EXPECT_EQ(bm.nColors, 256u);
    EXPECT_EQ(R_SetBitmapNewPalette(&bm, bm.pPalette + 250, 6), 1);  // out of its own table
    EXPECT_EQ(std::memcmp(bm.pPalette, &in[250], 6 * sizeof(RGBQUAD)), 0);
    EXPECT_EQ(R_SetBitmapNewPalette(&bm, nullptr, 3), 1);
    EXPECT_EQ(bm.pPalette, nullptr);
    EXPECT_EQ(bm.nColors, 6u);
    set(bm, in);
    EXPECT_EQ(R_SetBitmapNewPalette(&bm, in.data(), 257), -1);
    EXPECT_EQ(bm.pPalette, nullptr);
    EXPECT_EQ(bm.nColors, 257u);

    HPALETTE h1 = R_CreatePalette(in.data(), 1), h9 = R_CreatePalette(in.data(), 9);
    EXPECT_EQ(R_SetBitmapPalette(&bm, h1), -13);
    EXPECT_EQ(R_SetBitmapPalette(&bm, nullptr), -13);
    EXPECT_EQ(R_SetBitmapPalette(&bm, h9), 1);
    EXPECT_EQ(bm.nColors, 9u);
    HPALETTE hBack = R_DupBitmapPalette(&bm);
    EXPECT_EQ(R_GetPaletteSize(hBack), 9u);
    for (HPALETTE h : {h1, h9, hBack}) R_WinCloseHandle(reinterpret_cast<RVHANDLE>(h), 0, nullptr);

    EXPECT_EQ(R_CopyBitmapPalette(&other, &bm), 1);
    EXPECT_NE(other.pPalette, bm.pPalette);
    EXPECT_EQ(R_CompareBitmapToPalette(&other, in.data(), 256), 1);
    other.pPalette[8].rgbReserved ^= 1;  // the fourth byte doesn't count
    EXPECT_EQ(R_CompareBitmapToPalette(&other, in.data(), 256), 1);
    other.pPalette[8].rgbGreen ^= 1;
    EXPECT_EQ(R_CompareBitmapToPalette(&other, in.data(), 256), 0);
    EXPECT_EQ(R_CompareBitmapToPalette(&other, in.data(), 8), 1);
    BITMAPRECORD shared = bm;  // a table of two records stays with the source
    EXPECT_EQ(R_CopyBitmapPalette(&shared, &bm), 1);
    EXPECT_NE(shared.pPalette, bm.pPalette);
    EXPECT_EQ(std::memcmp(bm.pPalette, in.data(), 36), 0);
    rv::replaceTable(shared, nullptr);
    BITMAPRECORD empty = bm;
    empty.pPalette = nullptr;
    EXPECT_EQ(R_CopyBitmapPalette(&other, &empty), 1);
    EXPECT_EQ(other.pPalette, nullptr);
    EXPECT_EQ(R_CompareBitmapToPalette(&other, in.data(), 256), 1);
    EXPECT_EQ(R_CompareBitmapToPalette(nullptr, in.data(), 256), 0);
    EXPECT_EQ(R_CopyBitmapPalette(nullptr, &bm), -13);
    empty.uStructSize = 1;
    EXPECT_EQ(R_CopyBitmapPalette(&bm, &empty), -789);
}

TEST_F(PaletteOfBitmap, FixedAndGrey) {
    for (const uint32_t n : {2u, 8u, 16u, 32u, 64u, 128u, 256u}) {
        bm.nColors = n;
        ASSERT_EQ(R_CreateBitmapFixedPalette(&bm), 1);
        EXPECT_EQ(colorOf(bm.pPalette[n - 1]), cr(255, 255, 255)) << n;
    }
    bm.nColors = 4;
    EXPECT_EQ(R_CreateBitmapFixedPalette(&bm), 1);
    const RGBQUAD want[] = {rgb(0, 0, 0), rgb(255, 255, 255), rgb(0x42, 0, 3), rgb(6, 0, 0x4A)};
    EXPECT_EQ(std::memcmp(bm.pPalette, want, sizeof want), 0);
    for (const uint32_t n : {0u, 1u, 3u, 255u, 512u}) {
        bm.nColors = n;
        EXPECT_EQ(R_CreateBitmapFixedPalette(&bm), 0) << n;
    }
    bm.BitsPerPixel = 4;
    EXPECT_EQ(R_CreateBitmapGrayPalette(&bm), 1);
    EXPECT_EQ(bm.nColors, 16u);
    EXPECT_EQ(colorOf(bm.pPalette[15]), cr(255, 255, 255));
    bm.BitsPerPixel = 12;
    EXPECT_EQ(R_CreateBitmapGrayPalette(&bm), -27);
    EXPECT_EQ(R_CreateBitmapGrayPalette(nullptr), -13);
}

TEST_F(PaletteOfBitmap, ColoursInAndOut) {
    const Table in = randomTable(16, 8, 99);
    Table out(16, rgb(1, 2, 3));
    bm.nColors = 16;
    EXPECT_EQ(R_GetBitmapColors(&bm, 0, 1, out.data()), -13);  // no table yet
    EXPECT_EQ(R_PutBitmapColors(&bm, 14, 2, in.data()), 1);
    EXPECT_EQ(R_GetBitmapColors(&bm, 13, 3, out.data()), 1);
    EXPECT_EQ(colorOf(out[0]), 0u);
    EXPECT_EQ(std::memcmp(&out[1], in.data(), 8), 0);
    EXPECT_EQ(R_PutBitmapColors(&bm, 15, 2, in.data()), -13);
    EXPECT_EQ(R_PutBitmapColors(&bm, -1, 1, in.data()), -13);
    EXPECT_EQ(R_PutBitmapColors(&bm, INT32_MAX, INT32_MAX, in.data()), -13);
    EXPECT_EQ(R_GetBitmapPaletteEntries(&bm, 15, 2, out.data()), -13);
    EXPECT_EQ(R_GetBitmapPaletteEntries(&bm, -1, 2, out.data()), -13);
    EXPECT_EQ(R_GetBitmapColors(&bm, 0, 0, out.data()), -13);
    EXPECT_EQ(R_GetBitmapColors(nullptr, 0, 1, out.data()), -2);
    bm.Flags = 0;
    EXPECT_EQ(R_PutBitmapColors(&bm, 0, 1, in.data()), -2);
    EXPECT_EQ(R_GetBitmapColors(&bm, 15, 1, out.data()), 1);  // needs no storage
    bm.BitsPerPixel = 24;
    EXPECT_EQ(R_GetBitmapColors(&bm, 15, 1, out.data()), -13);
}

// An nColors above 256, which a caller may set, reaches no further than the table does.
TEST_F(PaletteOfBitmap, MoreColoursThanATableHolds) {
    const Table in = randomTable(512, 12, 99);
    Table out(512, rgb(1, 2, 3));
    for (const bool bTable : {false, true}) {
        if (bTable) set(bm, Table(in.begin(), in.begin() + 256));
        bm.nColors = 512;
        EXPECT_EQ(R_PutBitmapColors(&bm, 250, 7, in.data()), -13);
        EXPECT_EQ(R_PutBitmapColors(&bm, 256, 1, in.data()), -13);
        EXPECT_EQ(R_PutBitmapColors(&bm, 0, 512, in.data()), -13);
        EXPECT_EQ(bm.pPalette != nullptr, bTable);
        EXPECT_EQ(R_PutBitmapColors(&bm, 250, 6, &in[250]), 1);
        EXPECT_EQ(std::memcmp(bm.pPalette + 250, &in[250], 6 * sizeof(RGBQUAD)), 0);
    }
    EXPECT_EQ(R_GetBitmapColors(&bm, 255, 2, out.data()), -13);
    EXPECT_EQ(R_GetBitmapColors(&bm, 256, 1, out.data()), -13);
    EXPECT_EQ(colorOf(out[0]), cr(1, 2, 3));
    EXPECT_EQ(R_GetBitmapColors(&bm, 0, 256, out.data()), 1);
    EXPECT_EQ(std::memcmp(out.data(), in.data(), 256 * sizeof(RGBQUAD)), 0);
    EXPECT_EQ(R_CompareBitmapToPalette(&bm, in.data(), 512), 1);
    EXPECT_EQ(R_GetTrueColorValue(&bm, ref(255)), colorOf(in[255]));
    BITMAPRECORD deep = bm;
    deep.BitsPerPixel = 24;
    EXPECT_EQ(R_TranslateBitmapColor(&deep, &bm, ref(256)), 0u);  // no such entry: black
    EXPECT_EQ(R_DupBitmapPalette(&bm), nullptr);
    EXPECT_EQ(R_GetNearestPaletteIndex(&bm, colorOf(in[7])), 0);
}

// Fails the first allocation, then the second, until the call gets through. op works on a bitmap that has a table or
// none; a failed call leaves none, and nothing else.
TEST_F(PaletteOfBitmap, ShortOfMemory) {
    const Table in = randomTable(16, 13, 99);
    set(other, in);
    const auto run = [&](const char* name, bool bTable, uint32_t nColors, const std::function<int32_t()>& op) {
        for (int k = 0;; ++k) {
            ASSERT_LT(k, 10) << name << " never gets through";
            rv::replaceTable(bm, nullptr);
            bm.nColors = 32;
            const long nBlocks = faults::liveBlocks();
            if (bTable) rv::replaceTable(bm, rv::newTable());
            faults::FailFromNthAllocation fail(k);
            const int32_t nStatus = op();
            fail.stop();
            EXPECT_EQ(bm.nColors, nColors) << name;
            if (!fail.fired()) {
                EXPECT_GT(k, 0) << name << " allocates nothing";
                EXPECT_EQ(nStatus, 1) << name;
                EXPECT_NE(bm.pPalette, nullptr) << name;
                return;
            }
            EXPECT_EQ(nStatus, -1) << name << " at allocation " << k;
            EXPECT_EQ(bm.pPalette, nullptr) << name << " at allocation " << k;
            EXPECT_EQ(faults::liveBlocks(), nBlocks) << name << " at allocation " << k;
        }
    };
    run("fixed", true, 32, [&] { return R_CreateBitmapFixedPalette(&bm); });
    run("grey", true, 256, [&] { return R_CreateBitmapGrayPalette(&bm); });
    run("new", true, 16, [&] { return R_SetBitmapNewPalette(&bm, in.data(), 16); });
    run("put", false, 32, [&] { return R_PutBitmapColors(&bm, 2, 16, in.data()); });
    run("copy", true, 16, [&] { return R_CopyBitmapPalette(&bm, &other); });
    EXPECT_EQ(std::memcmp(other.pPalette, in.data(), sizeof(RGBQUAD) * 16), 0);

    const Table many = randomTable(256, 14, 3);  // a tree of three levels
    for (int k = 0, bDone = 0; !bDone; ++k) {
        ASSERT_LT(k, 50);
        const long nBlocks = faults::liveBlocks();
        faults::FailFromNthAllocation fail(k);
        rv::MatchCell* pRoot = rv::buildMatchTable(many.data(), 256);
        fail.stop();
        bDone = !fail.fired();
        EXPECT_EQ(pRoot != nullptr, bool(bDone)) << k;
        EXPECT_EQ(bool(bDone), k == 1 + 3 + 9) << k;
        rv::freeMatchTable(pRoot);
        EXPECT_EQ(faults::liveBlocks(), nBlocks) << k;
    }
}

TEST_F(PaletteOfBitmap, ColourReferences) {
    set(bm, {rgb(0, 0, 0), rgb(255, 0, 0), rgb(0, 0, 255), rgb(10, 20, 30)});
    set(other, {rgb(255, 255, 255), rgb(255, 0, 0), rgb(9, 19, 29), rgb(1, 1, 1)});
    BITMAPRECORD deep{};
    deep.uStructSize = sizeof deep;
    deep.BitsPerPixel = 24;
    const COLORREF level = 0x04000000;

    EXPECT_EQ(R_TranslateBitmapColor(nullptr, &bm, ref(3)), ref(3));
    EXPECT_EQ(R_TranslateBitmapColor(&deep, &bm, ref(3)), cr(10, 20, 30));
    EXPECT_EQ(R_TranslateBitmapColor(&other, &bm, ref(1)), ref(1));  // the same colour at the same index
    EXPECT_EQ(R_TranslateBitmapColor(&other, &bm, ref(3)), ref(2));
    EXPECT_EQ(R_TranslateBitmapColor(&other, &bm, ref(4)), ref(3));  // no such index: black
    EXPECT_EQ(R_TranslateBitmapColor(&other, nullptr, ref(1)), ref(3));
    EXPECT_EQ(R_TranslateBitmapColor(&deep, &deep, ref(1)), 0u);
    EXPECT_EQ(R_TranslateBitmapColor(&deep, &bm, cr(1, 2, 3)), cr(1, 2, 3));
    EXPECT_EQ(R_TranslateBitmapColor(&deep, &bm, 0x02000000 | cr(1, 2, 3)), 0x02000000 | cr(1, 2, 3));
    EXPECT_EQ(R_TranslateBitmapColor(&other, &bm, 0x02000000 | cr(250, 5, 5)), ref(1));
    EXPECT_EQ(R_TranslateBitmapColor(&deep, &bm, level | 0x1280FF), cr(0x80, 0x80, 0x80));
    EXPECT_EQ(R_TranslateBitmapColor(&other, &bm, level | 0xFF00), ref(0));

    BITMAPRECORD gray = deep;
    gray.BitsPerPixel = 16;
    gray.Order = ORDER_GRAY;
    EXPECT_EQ(R_TranslateBitmapColor(&gray, nullptr, level | 0x1234), level | 0x1234);
    RGBQUAD lut[] = {rgb(0, 0, 0), rgb(9, 8, 7), rgb(200, 100, 50)};
    RGBQUAD64 lut16[] = {{}, {}, {}, {0x1234, 0x5678, 0x9ABC, 0}};
    gray.pLUT = lut;
    gray.LUTLength = 3;
    gray.pLUT16 = lut16;
    gray.LUT16Length = 4;
    EXPECT_EQ(R_GetTrueColorValue(&gray, level | 2), cr(200, 100, 50));
    EXPECT_EQ(R_GetTrueColorValue(&gray, level | 3), cr(0x9A, 0x56, 0x12));
    EXPECT_EQ(R_GetTrueColorValue(&gray, level | 4), level | 4);
    gray.Flags |= BMF_USE_LUT;
    EXPECT_EQ(R_TranslateBitmapColor(&gray, nullptr, level | cr(190, 110, 60)), ref(2));

    EXPECT_EQ(R_GetTrueColorValue(&bm, ref(3)), cr(10, 20, 30));
    EXPECT_EQ(R_GetTrueColorValue(&bm, cr(11, 21, 31)), cr(10, 20, 30));
    EXPECT_EQ(R_GetTrueColorValue(&bm, ref(99)), 0u);
    EXPECT_EQ(R_GetTrueColorValue(&deep, level | 0x7700), cr(0x77, 0x77, 0x77));
    EXPECT_EQ(R_GetTrueColorValue(nullptr, ref(1)), 0u);
    EXPECT_EQ(R_GetNearestPaletteIndex(&bm, 0x55000000 | cr(12, 20, 30)), 3);
    EXPECT_EQ(R_GetNearestPaletteIndex(&deep, cr(1, 2, 3)), 0);
}

}  // namespace
