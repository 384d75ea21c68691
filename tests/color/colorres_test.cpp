#include "ravokit/colorres.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "internal/palette_.h"
#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

using Table = std::vector<RGBQUAD>;

bool sameColor(const RGBQUAD& a, const RGBQUAD& b) {
    return a.rgbBlue == b.rgbBlue && a.rgbGreen == b.rgbGreen && a.rgbRed == b.rgbRed;
}

// A picture with few colours, all of them different: eight levels a channel at most.
Bitmap& paintFew(Bitmap& bm, uint32_t nColors) {
    Bytes data = contents(bm.record);
    for (int32_t y = 0; y < bm->Height; ++y)
        for (int32_t x = 0; x < bm->Width; ++x) {
            const uint32_t n = uint32_t(x * 7 + y * 11) % nColors;
            uint8_t* p = &data[size_t(y) * bm->BytesPerLine + size_t(x) * 3];
            p[0] = uint8_t(n * 29);
            p[1] = uint8_t(n * 3 + 1);
            p[2] = uint8_t(255 - n);
        }
    setContents(bm.record, data);
    return bm;
}

RGBQUAD colorAt(BITMAPRECORD& bm, const Bytes& rows, int32_t x, int32_t y) {
    const uint8_t* row = &rows[size_t(y) * bm.BytesPerLine];
    if (bm.BitsPerPixel <= 8) return bm.pPalette[pixelAt(row, bm.BitsPerPixel, size_t(x))];
    const uint8_t* p = row + x * 3;
    return {p[0], p[1], p[2], 0};
}

// Whether both show the same picture; each is paletted or ORDER_BGR of 24 bits.
void expectSamePicture(BITMAPRECORD& a, BITMAPRECORD& b) {
    const Bytes ra = contents(a), rb = contents(b);
    for (int32_t y = 0; y < a.Height; ++y)
        for (int32_t x = 0; x < a.Width; ++x)
            ASSERT_TRUE(sameColor(colorAt(a, ra, x, y), colorAt(b, rb, x, y))) << x << " " << y;
}

// The rows by the public dither calls, on the bitmap itself.
Bytes dithered(BITMAPRECORD& bm, int32_t nMethod, const RGBQUAD* pTable, uint32_t nColors, int32_t nBits,
               uint32_t* pMatch) {
    const size_t nLine = size_t((int64_t(bm.Width) * nBits + 31) / 32 * 4);
    Bytes out(nLine * size_t(bm.Height)), rows = contents(bm);
    const int32_t nBefore = std::exchange(bm.DitheringMethod, nMethod);
    EXPECT_EQ(R_StartDitheringExt(&bm, pTable, nColors, nBits, pMatch), 1);
    for (int32_t y = 0; y < bm.Height; ++y)
        R_DitherLine(&bm, &rows[size_t(y) * bm.BytesPerLine], &out[size_t(y) * nLine]);
    R_StopDithering(&bm);
    bm.DitheringMethod = nBefore;
    return out;
}

int32_t resolve(Bitmap& src, BITMAPRECORD* pDst, int32_t nBits, uint32_t uFlags, RGBQUAD* pPalette = nullptr,
                uint32_t nColors = 0) {
    return R_ColorResBitmap(&src, pDst, sizeof(BITMAPRECORD), nBits, uFlags, pPalette, nullptr, nColors, nullptr,
                            nullptr);
}

static_assert(uint32_t(BMF_TRANSPARENCY) == uint32_t(CONVERT_TRANSPARENT));

constexpr uint32_t methodBits(uint32_t nMethod) { return nMethod << CRF_DITHERING_SHIFT; }

struct Format {
    int32_t nBits;
    uint32_t uFlags;
    int32_t nOrder;
};
constexpr Format kDeep[] = {{12, 0x7F, ORDER_GRAY},
                            {16, CRF_GRAY, ORDER_GRAY},
                            {16, CRF_GRAY | CRF_BYTEORDERBGR, ORDER_GRAY},
                            {16, 0, ORDER_RGB},
                            {16, CRF_565, ORDER_BGR565},
                            {24, 0, ORDER_RGB},
                            {24, CRF_BYTEORDERBGR | CRF_GRAY, ORDER_BGR},
                            {24, CRF_ROMM, ORDER_ROMM},
                            {32, CRF_GRAY | CRF_CONVERT_EXTRA, ORDER_GRAY},
                            {32, CRF_BYTEORDERBGR, ORDER_BGR},
                            {48, CRF_ROMM, ORDER_ROMM},
                            {48, CRF_BYTEORDERBGR, ORDER_BGR},
                            {64, 0, ORDER_RGB}};

// The row converter's public form on each row, with the arguments that a bitmap stands for.
Bytes converted(BITMAPRECORD& src, const Format& f, uint32_t nLine) {
    const Bytes rows = contents(src);
    Bytes out(size_t(nLine) * unsigned(src.Height));
    Bytes work(size_t(R_CalcConvertSize(src.Width, src.BitsPerPixel, src.Width, f.nBits)));
    const bool bGray = src.Order == ORDER_GRAY;
    for (size_t y = 0; y < unsigned(src.Height); ++y) {
        std::fill(work.begin(), work.end(), uint8_t(0));
        std::copy_n(&rows[y * src.BytesPerLine], (size_t(src.Width) * unsigned(src.BitsPerPixel) + 7) / 8,
                    work.begin());
        EXPECT_EQ(R_ConvertBufferExt3(work.data(), src.Width, src.BitsPerPixel, f.nBits, src.Order, f.nOrder,
                                      bGray ? src.pLUT : src.pPalette, nullptr, nullptr, 0,
                                      (bGray ? 5u : 0u) | (src.Flags & BMF_TRANSPARENCY), src.PhysicalLowBit,
                                      src.PhysicalHighBit, src.Transparency),
                  1);
        std::copy_n(work.begin(), (size_t(src.Width) * unsigned(f.nBits) + 7) / 8, &out[y * nLine]);
    }
    return out;
}

void putLUT(BITMAPRECORD& bm, uint32_t nLength) {
    bm.pLUT = static_cast<RGBQUAD*>(R_GlobalAlloc(nLength, sizeof(RGBQUAD), 0, nullptr));
    bm.LUTLength = nLength;
    for (uint32_t i = 0; i < nLength; ++i) bm.pLUT[i] = {uint8_t(i), uint8_t(255 - i), uint8_t(i >> 4), 0};
}

// A user of the thread's settings that puts them back.
struct StatusSetting {
    StatusSetting(STATUSCALLBACK pfn, void* p) { R_SetStatusCallBack(pfn, p, nullptr, nullptr); }
    ~StatusSetting() { R_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr); }
};

TEST(ColorRes, ConvertsEveryDepthToEveryDeepFormat) {
    for (const int32_t nBits : kDepths)
        for (const int32_t nOrder : {defaultOrder(nBits), nBits == 16 || nBits == 32   ? int32_t(ORDER_GRAY)
                                                          : nBits == 24 || nBits == 48 ? int32_t(ORDER_ROMM)
                                                                                       : defaultOrder(nBits)})
            for (const Format& f : kDeep) {
                SCOPED_TRACE(testing::Message() << nBits << "/" << nOrder << " to " << f.nBits << "/" << f.nOrder);
                Bitmap src(nBits, 37, 5, Holding::conventional, nOrder), dst;
                fillRandom(src.record, 3);
                if (nBits == 12) putLUT(src.record, 4096);
                if (nOrder == ORDER_GRAY && nBits == 16) src->PhysicalLowBit = 2, src->PhysicalHighBit = 11;
                if (f.nBits == 32) src->Flags |= BMF_TRANSPARENCY, src->Transparency = 0x01000001;
                ASSERT_EQ(resolve(src, &dst, f.nBits, f.uFlags), 1);
                EXPECT_EQ(dst->Order, f.nOrder);
                Bytes want = converted(src.record, f, dst->BytesPerLine), got = contents(dst.record);
                clearPadding(want, dst.record);
                for (size_t i = 6; nBits == 16 && nOrder == ORDER_GRAY && f.nBits == 64 && i < want.size(); i += 8)
                    want[i] = want[i + 1] = 0;  // alpha that the converter leaves alone: rows start clear
                ASSERT_EQ(got, want);
                if (f.nBits != 32 || f.nOrder != ORDER_GRAY) continue;
                std::set<uint64_t> samples;
                for (size_t i = 0; i < got.size() / 4; ++i) samples.insert(pixelAt(got.data(), 32, i));
                EXPECT_EQ(uint32_t(dst->MinVal), *samples.begin());
                EXPECT_EQ(uint32_t(dst->MaxVal), *samples.rbegin());
            }
}

TEST(ColorRes, WorksOnEveryKindOfStorageAndInPlace) {
    for (const int32_t nBits : {1, 8, 24})
        for (const Holding h : holdingsOf(nBits))
            for (const int32_t nDst : {4, 24}) {
                SCOPED_TRACE(testing::Message() << nBits << " in " << nameOf(h) << " to " << nDst);
                Bitmap src(nBits, 41, 19, h), plain(nBits, 41, 19), want, dst;
                ASSERT_EQ(src.nStatus, 1);
                fillRandom(src.record, 5);
                setContents(plain.record, contents(src.record));
                const uint32_t uFlags = nDst == 4 ? CRF_FIXEDPALETTE | methodBits(DITHER_FLOYD) : 4u;
                ASSERT_EQ(resolve(plain, &want, nDst, uFlags), 1);
                ASSERT_EQ(resolve(src, &dst, nDst, uFlags), 1);
                EXPECT_EQ((dst->Flags & BMF_DISK) != 0, h == Holding::disk);
                EXPECT_EQ(contents(dst.record), contents(want.record));
                R_AccessBitmap(&src);
                ASSERT_EQ(resolve(src, &src, nDst, uFlags), 1);
                EXPECT_EQ(src->nLockCount, 1);
                R_ReleaseBitmap(&src);
                EXPECT_EQ(contents(src.record), contents(want.record));
            }
}

TEST(ColorRes, CarriesWhatBelongsToThePicture) {
    for (const bool bInPlace : {false, true}) {
        Bitmap src(24, 9, 3), other;
        src->ViewPerspective = RIGHT_TOP;
        src->XResolution = 77, src->YResolution = 78;
        src->Flags |= BMF_RGN_NOCLIP | BMF_PREMULTIPLIED | BMF_NONLINEAR_LUT | BMF_SIGNED;
        src->Delay = 31, src->Left = 4, src->nCarriedTag = 99;
        ASSERT_EQ(R_SetBitmapExtraData(&src, 7, 5, "tags"), 1);
        ASSERT_EQ(resolve(src, bInPlace ? &src : &other, 16, CRF_BYTEORDERBGR, nullptr, 12), 1);
        BITMAPRECORD& dst = bInPlace ? src.record : other.record;
        EXPECT_EQ(dst.ViewPerspective, RIGHT_TOP);
        EXPECT_EQ(dst.XResolution * 1000 + dst.YResolution, 77078);
        EXPECT_EQ(dst.Flags & 0x70200, 0x70000u);
        EXPECT_EQ(dst.Delay * 10 + unsigned(dst.Left), 314u);
        EXPECT_EQ(dst.nColors, 12u);
        EXPECT_EQ(dst.nCarriedTag, bInPlace ? 99u : 0u);
        char text[8] = {};
        uint32_t nSize = sizeof text;
        ASSERT_EQ(R_GetBitmapExtraData(&dst, 7, &nSize, text), 1);
        EXPECT_STREQ(text, "tags");
    }
}

TEST(ColorRes, DithersToFixedWebUserAndLogicalPalettes) {
    Bitmap src(24, 45, 17);
    fillRandom(src.record, 9);
    for (int32_t nBits = 1; nBits <= 8; ++nBits)
        for (const uint32_t nMethod : {0u, 1u, 5u, 7u}) {
            SCOPED_TRACE(testing::Message() << nBits << " bits, method " << nMethod);
            const uint32_t nMost = 1u << nBits, nUsed = nBits == 1 ? 2 : nMost - 1;
            const RGBQUAD* pFixed = R_IntGetFixedPalette(nBits);
            Bitmap fixed, web, user, logical;
            ASSERT_EQ(resolve(src, &fixed, nBits, CRF_FIXEDPALETTE | methodBits(nMethod)), 1);
            EXPECT_EQ(contents(fixed.record), dithered(src.record, int32_t(nMethod), pFixed, nMost, nBits, nullptr));
            EXPECT_EQ(fixed->nColors, nMost);
            EXPECT_EQ(std::memcmp(fixed->pPalette, pFixed, nMost * sizeof(RGBQUAD)), 0);

            const RGBQUAD* pWeb = nBits == 8 ? R_IntGetNetscapePalette() : pFixed;
            ASSERT_EQ(resolve(src, &web, nBits, CRF_FIXEDPALETTE | CRF_NETSCAPEPALETTE | methodBits(nMethod)), 1);
            EXPECT_EQ(contents(web.record), dithered(src.record, int32_t(nMethod), pWeb, nMost, nBits, nullptr));

            // A user's palette with an entry that is not dithered to, and one that is no colour at all.
            Table table(nMost + 1);
            const Bytes random = randomBytes(table.size() * 4, unsigned(nBits));
            for (size_t i = 0; i < table.size(); ++i)
                table[i] = {random[i * 4], random[i * 4 + 1], random[i * 4 + 2], 0};
            if (nBits > 2) table[1].rgbReserved = 1, table[2].rgbReserved = 2;
            ASSERT_EQ(resolve(src, &user, nBits, CRF_USERPALETTE | methodBits(nMethod), table.data(), nUsed), 1);
            EXPECT_EQ(contents(user.record),
                      dithered(src.record, int32_t(nMethod), table.data(), nUsed, nBits, nullptr));
            EXPECT_EQ(user->nColors, nUsed);

            // The same by a handle whose flags 1 and 4 say no more than fixed; what it lacks is free.
            Table flags(table.begin(), table.begin() + int(nUsed));
            Table roles = flags;
            flags[0].rgbReserved = 4;
            if (nBits > 2) roles[1].rgbReserved = 0;
            roles.resize(nMost, {0, 0, 0, 2});
            const HPALETTE h = R_CreatePalette(flags.data(), nUsed);
            ASSERT_EQ(R_ColorResBitmap(&src, &logical, sizeof logical.record, nBits,
                                       CRF_LOGICALPALETTE | methodBits(nMethod), nullptr, h, 0, nullptr, nullptr),
                      1);
            EXPECT_EQ(contents(logical.record),
                      dithered(src.record, int32_t(nMethod), roles.data(), nMost, nBits, nullptr));
            R_WinCloseHandle(reinterpret_cast<RVHANDLE>(h), 0, nullptr);
        }
}

TEST(ColorRes, TheThreadsMatchTableDecides) {
    Bitmap src(24, 30, 1), dst;
    Table table(3);
    std::vector<uint32_t> cells(32768, 3);  // whatever the colour, the third entry
    R_SetUserMatchTable(cells.data());
    ASSERT_EQ(resolve(src, &dst, 8, CRF_USERPALETTE | CRF_USERMATCHTABLE, table.data(), 3), 1);
    EXPECT_EQ(R_SetUserMatchTable(nullptr), cells.data());
    EXPECT_EQ(std::count(dst->pData, dst->pData + 30, 2), 30);
}

TEST(ColorRes, FewColorsBecomeThePaletteExactly) {
    for (const uint32_t uFlags : {0u, 2u, 8u, 10u, 0x200u, 0x202u, 0x20Au, 0x402u}) {
        Bitmap src(24, 50, 13), dst;
        paintFew(src, 27);
        ASSERT_EQ(resolve(src, &dst, 5, uFlags | methodBits(DITHER_FLOYD)), 1);
        EXPECT_EQ(dst->nColors, 27u) << "the five slots left over are cut off";
        expectSamePicture(src.record, dst.record);
    }
    // A palette takes its own colours along, in their order.
    Bitmap src(3, 21, 4), dst;
    fillRandom(src.record, 1);
    ASSERT_EQ(resolve(src, &dst, 4, CRF_OPTIMIZEDPALETTE), 1);
    EXPECT_EQ(dst->nColors, 8u);
    expectSamePicture(src.record, dst.record);
    // So does each pixel format whose samples have more bits than the entries.
    for (const int32_t nBits : {16, 32, 48, 64}) {
        Bitmap deep(nBits, 15, 15), few, back;
        fillRandom(deep.record, 8);  // 225 pixels
        ASSERT_EQ(resolve(deep, &few, 8, CRF_OPTIMIZEDPALETTE), 1);
        ASSERT_EQ(resolve(deep, &back, 24, CRF_BYTEORDERBGR), 1);
        expectSamePicture(back.record, few.record);
    }
}

TEST(ColorRes, ManyColorsAreMappedToTheBestPalette) {
    Bitmap src(24, 64, 64);
    fillRandom(src.record, 4);
    for (const uint32_t uFlags : {2u, 0x202u, 0x402u})
        for (const uint32_t nMethod : {0u, 1u}) {
            SCOPED_TRACE(testing::Message() << uFlags << " method " << nMethod);
            Bitmap dst;
            Table best(200);
            uint32_t nBest = 200, *pMatch = nullptr;
            int32_t bCut = 0;
            ASSERT_EQ(R_CreateBitmapOptPal(&src, best.data(), &nBest, 256, nullptr, 0,
                                           uFlags & CRF_NOOPTIMIZEDMATCH ? nullptr : &pMatch, &bCut, uFlags == 0x402),
                      1);
            ASSERT_EQ(resolve(src, &dst, 8, uFlags | methodBits(nMethod), nullptr, 200), 1);
            EXPECT_EQ(dst->nColors, 200u);
            EXPECT_EQ(std::memcmp(dst->pPalette, best.data(), 200 * sizeof(RGBQUAD)), 0);
            EXPECT_EQ(contents(dst.record), dithered(src.record, int32_t(nMethod), best.data(), 200, 8, pMatch));
            R_FreeUserMatchTable(pMatch);
        }
}

TEST(ColorRes, ColorsBehindTablesAndGamutsAreFoundWhereTheyEndUp) {
    for (const int32_t nOrder : {ORDER_ROMM, ORDER_GRAY}) {
        Bitmap src(nOrder == ORDER_GRAY ? 16 : 24, 40, 5, Holding::conventional, nOrder), direct, few;
        if (nOrder == ORDER_ROMM) paintFew(src, 9);
        if (nOrder == ORDER_GRAY) {
            Bytes data(size_t(src->BytesPerLine) * 5);
            for (size_t i = 0; i < data.size(); i += 2) data[i + 1] = uint8_t(i % 14 * 16);
            setContents(src.record, data);
            putLUT(src.record, 65536);
        }
        ASSERT_EQ(resolve(src, &few, 8, CRF_OPTIMIZEDPALETTE), 1);
        ASSERT_EQ(resolve(src, &direct, 24, CRF_BYTEORDERBGR), 1);
        const Bytes ra = contents(direct.record), rb = contents(few.record);
        for (int32_t x = 0; x < 40; ++x) {
            const RGBQUAD a = colorAt(direct.record, ra, x, 0), b = colorAt(few.record, rb, x, 0);
            EXPECT_LT(std::abs(a.rgbGreen - b.rgbGreen), 9) << nOrder << " " << x;
            EXPECT_LT(std::abs(a.rgbBlue - b.rgbBlue), 9) << nOrder << " " << x;
        }
    }
}

// Four levels of a range of 16-bit samples: each is as bright in a palette as it is at 8 bits.
TEST(ColorRes, LevelsOfARangeOfGreyKeepTheirBrightness) {
    for (const int32_t nHigh : {15, 11, 5})
        for (const int32_t nBits : {2, 4, 8}) {
            Bitmap src(16, 40, 3, Holding::conventional, ORDER_GRAY), dst;
            Bytes data(src->BytesPerLine * 3u);
            for (size_t i = 0; i < data.size(); i += 2) {
                const uint32_t v = uint32_t(i / 2 % 4) * ((2u << nHigh) - 1) / 3;
                data[i] = uint8_t(v), data[i + 1] = uint8_t(v >> 8);
            }
            setContents(src.record, data);
            src->HighBit = src->PhysicalHighBit = nHigh;
            ASSERT_EQ(resolve(src, &dst, nBits, CRF_OPTIMIZEDPALETTE), 1);
            const Bytes rows = contents(dst.record);
            for (int32_t x = 0; x < 40; ++x)
                EXPECT_NEAR(colorAt(dst.record, rows, x, 0).rgbGreen, x % 4 * 85, 9)
                    << nHigh << " " << nBits << " " << x;
        }
}

TEST(ColorRes, FixedEntriesKeepTheirPlacesAndFreeSlotsAreFilled) {
    const RGBQUAD kFree = {9, 9, 9, 2};
    Bitmap src(24, 50, 13);
    paintFew(src, 12);
    // Slots that are no run from the start, an entry that the picture has, and one behind the slots left over.
    Table table(16, kFree);
    table[0] = {1, 2, 3, 0};
    table[5] = {29, 4, 254, 0};  // the picture's second colour
    table[15] = {4, 5, 6, 1};
    const Table before = table;
    Bitmap dst;
    ASSERT_EQ(resolve(src, &dst, 4, CRF_OPTIMIZEDPALETTE, table.data()), 1);
    expectSamePicture(src.record, dst.record);
    for (const size_t i : {0, 5, 15}) EXPECT_TRUE(sameColor(dst->pPalette[i], before[i])) << i;
    std::set<uint32_t> seen;
    for (size_t i = 0; i < 16; ++i) {
        seen.insert(dst->pPalette[i].rgbRed * 65536u + dst->pPalette[i].rgbGreen * 256u + dst->pPalette[i].rgbBlue);
        if (i != 0 && i != 5 && i < 13) {
            EXPECT_TRUE(sameColor(table[i], dst->pPalette[i])) << i;
        }
    }
    EXPECT_EQ(seen.size(), 15u) << "eleven found, three fixed, and the slots left over, which look alike";
    EXPECT_EQ(table[13].rgbReserved, 2);

    // With more colours than slots nothing goes to the entry that is not for dithering.
    fillRandom(src.record, 6);
    table = before;
    table[15] = {120, 120, 120, 1};
    Bitmap many;
    ASSERT_EQ(resolve(src, &many, 4, CRF_OPTIMIZEDPALETTE | methodBits(DITHER_JARVIS), table.data()), 1);
    const Bytes rows = contents(many.record);
    std::set<uint64_t> used;
    for (size_t i = 0; i < 650; ++i) used.insert(pixelAt(&rows[i / 50 * many->BytesPerLine], 4, i % 50));
    EXPECT_GT(used.size(), 10u);
    EXPECT_EQ(used.count(15), 0u);

    // No free slots: the palette stands, and the rows are dithered to it.
    const RGBQUAD* pFixed = R_IntGetFixedPalette(4);
    Table full(pFixed, pFixed + 16);
    full[3] = {7, 7, 7, 0};
    Bitmap none;
    ASSERT_EQ(resolve(src, &none, 4, CRF_OPTIMIZEDPALETTE, full.data()), 1);
    EXPECT_EQ(contents(none.record), dithered(src.record, 0, full.data(), 16, 4, nullptr));
}

TEST(ColorRes, RefusesWhatCannotBeAskedForAndChangesNothing) {
    Bitmap src(24, 5, 5), dst(8, 3, 3);
    fillRandom(src.record, 1);
    RGBQUAD table[256] = {};
    const HPALETTE h = R_CreatePalette(table, 4);
    const auto call = [&](BITMAPRECORD* p, uint32_t uSize, int32_t nBits, uint32_t uFlags, RGBQUAD* pTable,
                          HPALETTE hTable) {
        const BITMAPRECORD before = dst.record;
        const int32_t n = R_ColorResBitmap(p, &dst, uSize, nBits, uFlags, pTable, hTable, 0, nullptr, nullptr);
        EXPECT_EQ(std::memcmp(&before, &dst.record, sizeof before), 0);
        return n;
    };
    BITMAPRECORD bad = src.record, empty = src.record;
    bad.uStructSize = 5;
    empty.uStructSize = 5;
    empty.Flags = 0;
    const uint32_t uSize = sizeof(BITMAPRECORD);
    EXPECT_EQ(call(nullptr, uSize, 24, 0, nullptr, nullptr), -13);
    EXPECT_EQ(call(&empty, uSize, 24, 0, nullptr, nullptr), -13);
    EXPECT_EQ(call(&bad, uSize, 9, 0, table, h), -789);
    EXPECT_EQ(call(&src, 5, 9, 0, table, h), -789);
    EXPECT_EQ(call(&src, uSize, 24, 0, table, h), -13);
    for (const int32_t nBits : {-1, 0, 9, 15, 23, 40, 96})
        EXPECT_EQ(call(&src, uSize, nBits, 0, nullptr, nullptr), -13);
    for (const int32_t nBits : {24, 48, 64}) EXPECT_EQ(call(&src, uSize, nBits, CRF_GRAY, nullptr, nullptr), -27);
    for (const int32_t nBits : {16, 32, 64}) EXPECT_EQ(call(&src, uSize, nBits, CRF_ROMM, nullptr, nullptr), -27);
    for (const uint32_t u : {CRF_ROMM | CRF_GRAY, CRF_565 | CRF_BYTEORDERBGR, CRF_565 | CRF_ROMM})
        EXPECT_EQ(call(&src, uSize, 24, u, nullptr, nullptr), -13);
    EXPECT_EQ(call(&src, uSize, 24, CRF_565, nullptr, nullptr), -13);
    EXPECT_EQ(call(&src, uSize, 8, CRF_USERPALETTE, nullptr, nullptr), -13);
    EXPECT_EQ(call(&src, uSize, 4, CRF_NETSCAPEPALETTE, nullptr, nullptr), -13);
    EXPECT_EQ(call(&src, uSize, 8, CRF_FIXEDPALETTE | methodBits(9), nullptr, nullptr), -13);
    EXPECT_EQ(call(&src, uSize, 8, CRF_OPTIMIZEDPALETTE, nullptr, h), -13) << "a handle is the user's palette";
    R_WinCloseHandle(reinterpret_cast<RVHANDLE>(h), 0, nullptr);
    EXPECT_EQ(call(&src, uSize, 8, 0, nullptr, reinterpret_cast<HPALETTE>(UINTPTR_MAX)), -13) << "no palette";

    const std::set<uint32_t> allowed = {0, 1, 2, 8, 10, 16, 34, 48, 64, 65, 512, 514, 520, 522, 0x222, 256, 288};
    for (uint32_t u = 0; u < 1024; ++u) {
        if (u & (CRF_BYTEORDERBGR | CRF_GRAY)) continue;
        const int32_t n = R_ColorResBitmap(&src, nullptr, 0, 8, u | 0x4084, table, nullptr, 0, nullptr, nullptr);
        const bool bLogical = (u & 0x100) && allowed.count((u & ~0x100u) | 0x10);
        EXPECT_EQ(n, allowed.count(u) || bLogical ? 1 : -13) << u;
    }
    // An old record is asked for and made.
    Bitmap old;
    ASSERT_EQ(R_ColorResBitmap(&src, &old, BITMAPRECORD_OLD_SIZE, 24, 4, nullptr, nullptr, 0, nullptr, nullptr), 1);
    EXPECT_EQ(old->uStructSize, BITMAPRECORD_OLD_SIZE);
    expectSamePicture(src.record, old.record);
}

TEST(ColorRes, KeysOfARowAreThoseOfItsPixels) {
    for (size_t n = 0; n <= 70; ++n)
        for (const int nBytes : {3, 4}) {
            const Bytes pixels = randomBytes(n * size_t(nBytes), uint32_t(n));  // nothing may be read behind
            std::vector<uint16_t> got(n + 16, 0xA5A5), want = got;
            for (size_t i = 0; i < n; ++i) {
                const uint8_t* p = &pixels[i * size_t(nBytes)];
                want[i] = uint16_t(p[2] / 8 * 1024 + p[1] / 8 * 32 + p[0] / 8);
            }
            const auto& best = rv::bestColorKeys();
            (nBytes == 3 ? best.row24 : best.row32)(pixels.data(), got.data(), n);
            ASSERT_EQ(got, want) << n << " pixels of " << nBytes;
        }
}

struct Heard {
    Bytes rows;
    std::vector<int32_t> numbers;
    std::vector<uint32_t> places;
    int32_t nStopAt = -1;
    BITMAPRECORD* pBitmap = nullptr;

    int32_t hear(BITMAPRECORD* p, uint8_t* pRow, int32_t nRow, int32_t nLines) {
        if (nRow == nStopAt) return -77;
        EXPECT_EQ(nLines, 1);
        pBitmap = p;
        numbers.push_back(nRow);
        rows.insert(rows.end(), pRow, pRow + p->BytesPerLine);
        return 1;
    }
    static int32_t one(BITMAPRECORD* p, uint8_t* pRow, int32_t nRow, int32_t nLines, void* pThis) {
        return static_cast<Heard*>(pThis)->hear(p, pRow, nRow, nLines);
    }
    static int32_t many(BITMAPRECORD* p, uint8_t* pRow, int32_t nRow, int32_t nLines, uint32_t uIndex, void* pThis) {
        static_cast<Heard*>(pThis)->places.push_back(uIndex);
        return static_cast<Heard*>(pThis)->hear(p, pRow, nRow, nLines);
    }
};

TEST(ColorRes, TheCallbackHearsTheRowsWithAndWithoutADestination) {
    Bitmap src(24, 23, 6), dst;
    fillRandom(src.record, 12);
    for (const int32_t nBits : {3, 16}) {
        const uint32_t uFlags = nBits == 3 ? 1u : 4u;
        Heard with, without;
        R_FreeBitmap(&dst);
        ASSERT_EQ(
            R_ColorResBitmap(&src, &dst, sizeof dst.record, nBits, uFlags, nullptr, nullptr, 0, Heard::one, &with), 1);
        ASSERT_EQ(R_ColorResBitmap(&src, nullptr, 0, nBits, uFlags, nullptr, nullptr, 0, Heard::one, &without), 1);
        EXPECT_EQ(with.pBitmap, &dst);
        EXPECT_EQ(with.rows, contents(dst.record));
        EXPECT_EQ(without.rows, with.rows);
        EXPECT_EQ(without.numbers, (std::vector<int32_t>{0, 1, 2, 3, 4, 5}));
    }
}

TEST(ColorRes, AFailedRunInPlaceLeavesTheSourceAsItWas) {
    Bitmap src(24, 23, 30);
    fillRandom(src.record, 13);
    R_SetBitmapExtraData(&src, 1, 3, "ab");
    const BITMAPRECORD before = src.record;
    const Bytes rows = contents(src.record);
    const auto expectWhole = [&](const char* pWhat) {
        EXPECT_EQ(std::memcmp(&before, &src.record, sizeof before), 0) << pWhat;
        EXPECT_EQ(contents(src.record), rows) << pWhat;
    };
    Heard stop;
    stop.nStopAt = 17;
    EXPECT_EQ(R_ColorResBitmap(&src, &src, sizeof before, 8, 2, nullptr, nullptr, 0, Heard::one, &stop), -77);
    expectWhole("the row callback stops");
    {
        int32_t nHeard = 0;
        const StatusSetting status(
            [](int32_t nPercent, void* p) { return ++*static_cast<int32_t*>(p), nPercent > 50 ? 0 : 1; }, &nHeard);
        EXPECT_EQ(resolve(src, &src, 48, 0), 0);
        EXPECT_EQ(nHeard, 17);  // 0, then 3 1/3 a row
    }
    expectWhole("the status callback stops");
    for (const uint32_t uFlags : {2u, uint32_t(CRF_FIXEDPALETTE) | methodBits(1)})
        for (int k = 0;; ++k) {
            BITMAPRECORD kept = src.record;
            const long nBlocks = faults::liveBlocks();
            faults::FailNth fail(faults::Kind::allocation, k, true);
            const int32_t n = resolve(src, &src, 8, uFlags);
            fail.stop();
            if (!fail.fired()) {
                ASSERT_EQ(n, 1);
                Bitmap again(24, 23, 30);
                std::swap(again.record, src.record);  // the resolved one goes
                setContents(src.record, rows);
                break;
            }
            ASSERT_EQ(n, -1) << k;
            ASSERT_EQ(faults::liveBlocks(), nBlocks) << k;
            ASSERT_EQ(std::memcmp(&kept, &src.record, sizeof kept), 0) << k;
            ASSERT_EQ(contents(src.record), rows) << k;
        }
}

// ---- lists -------------------------------------------------------------------------------------------------------

class List {
public:
    HBITMAPLIST h = nullptr;
    List() { R_CreateBitmapList(&h); }
    ~List() { R_DestroyBitmapList(h); }
    void add(Bitmap& bm) {
        R_InsertBitmapListItem(h, UINT32_MAX, &bm);
        bm.record = {};
    }
    BITMAPRECORD item(uint32_t i) const {
        BITMAPRECORD bm{};
        EXPECT_EQ(R_GetBitmapListItem(h, i, &bm, sizeof bm), 1);
        return bm;
    }
};

TEST(ColorResList, BitmapsShareTheBestPalette) {
    List list, alone;
    std::vector<Bytes> before;
    for (const uint32_t seed : {1u, 2u, 3u}) {
        Bitmap a(24, 20 + int32_t(seed), 9), b(24, 20 + int32_t(seed), 9);
        setContents(b.record, fillRandom(a.record, seed));
        list.add(a), alone.add(b);
    }
    Table best(256);
    uint32_t nBest = 256, *pMatch = nullptr;
    int32_t bCut = 0;
    ASSERT_EQ(R_CreateBitmapListOptPal(alone.h, best.data(), &nBest, &pMatch, &bCut), 1);
    uint32_t cell = 0;
    R_SetUserMatchTable(&cell);  // the caller's own, which the call must not touch
    Heard heard;
    ASSERT_EQ(R_ColorResBitmapListExt(list.h, 8, CRF_OPTIMIZEDPALETTE | methodBits(DITHER_FLOYD), nullptr, nullptr, 0,
                                      Heard::many, &heard),
              1);
    EXPECT_EQ(R_SetUserMatchTable(nullptr), &cell);
    Bytes all;
    for (uint32_t i = 0; i < 3; ++i) {
        BITMAPRECORD got = list.item(i), src = alone.item(i);
        EXPECT_EQ(std::memcmp(got.pPalette, best.data(), 256 * sizeof(RGBQUAD)), 0);
        const Bytes want = dithered(src, DITHER_FLOYD, best.data(), 256, 8, pMatch);
        EXPECT_EQ(contents(got), want) << i;
        all.insert(all.end(), want.begin(), want.end());
    }
    R_FreeUserMatchTable(pMatch);
    EXPECT_EQ(heard.rows, all);
    for (int32_t i = 0; i < 27; ++i) {
        EXPECT_EQ(heard.numbers[size_t(i)], i);
        EXPECT_EQ(heard.places[size_t(i)], uint32_t(i / 9));
    }
}

TEST(ColorResList, UserPalettesDeepFormatsAndStops) {
    List list;
    for (const uint32_t seed : {5u, 6u}) {
        Bitmap a(24, 31, 4);
        fillRandom(a.record, seed);
        list.add(a);
    }
    ASSERT_EQ(R_ColorResBitmapList(list.h, 32, 0, nullptr, nullptr, 0), 1);
    BITMAPRECORD first = list.item(0), second = list.item(1);
    EXPECT_EQ(first.BitsPerPixel + second.BitsPerPixel, 64);
    EXPECT_EQ(first.Order, ORDER_RGB);

    Table table = {{0, 0, 0, 0}, {255, 255, 255, 0}, {20, 30, 200, 0}};
    const Bytes want = dithered(first, DITHER_STUCKI, table.data(), 3, 2, nullptr);
    Heard stop;
    stop.nStopAt = 6;  // the third row of the second bitmap
    EXPECT_EQ(R_ColorResBitmapListExt(list.h, 2, CRF_USERPALETTE | CRF_GRAY | methodBits(DITHER_STUCKI), table.data(),
                                      nullptr, 3, Heard::many, &stop),
              -77);
    first = list.item(0);
    EXPECT_EQ(contents(first), want);
    EXPECT_EQ(list.item(1).BitsPerPixel, 32);

    const HPALETTE h = R_CreatePalette(table.data(), 3);
    EXPECT_EQ(R_ColorResBitmapList(nullptr, 8, 2, nullptr, nullptr, 0), -13);
    EXPECT_EQ(R_ColorResBitmapList(list.h, 8, 2, table.data(), h, 0), -13);
    EXPECT_EQ(R_ColorResBitmapList(list.h, 9, 0, nullptr, nullptr, 0), -13);
    EXPECT_EQ(R_ColorResBitmapList(list.h, 8, 3, nullptr, nullptr, 0), -13);
    EXPECT_EQ(R_ColorResBitmapList(list.h, 2, CRF_LOGICALPALETTE, nullptr, h, 0), 1);
    EXPECT_EQ(list.item(1).BitsPerPixel, 2);
    R_WinCloseHandle(reinterpret_cast<RVHANDLE>(h), 0, nullptr);
    List empty;
    EXPECT_EQ(R_ColorResBitmapList(empty.h, 8, 2, nullptr, nullptr, 0), -2);
    EXPECT_EQ(R_ColorResBitmapList(empty.h, 24, 0, nullptr, nullptr, 0), 1);
}

}  // namespace
