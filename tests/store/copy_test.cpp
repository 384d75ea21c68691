// Duplicates, copies, rectangles and fills.
#include <gtest/gtest.h>

#include "support/bitmaps.h"

using namespace test;

namespace {

constexpr uint32_t kSize = sizeof(BITMAPRECORD);

// The rectangle by single pixels; what lies outside the source is 0.
void expectRect(const Bytes& from, const BITMAPRECORD& src, BITMAPRECORD& dst, int32_t col, int32_t row) {
    const Bytes got = contents(dst);
    for (int32_t y = 0; y < dst.Height; ++y)
        for (int32_t x = 0; x < dst.Width; ++x) {
            const bool inside = x + col >= 0 && x + col < src.Width && y + row >= 0 && y + row < src.Height;
            const uint64_t want =
                inside ? pixelAt(&from[size_t(y + row) * src.BytesPerLine], src.BitsPerPixel, size_t(x + col)) : 0;
            ASSERT_EQ(pixelAt(&got[size_t(y) * dst.BytesPerLine], dst.BitsPerPixel, size_t(x)), want)
                << src.BitsPerPixel << " bits, from " << col << "," << row << " at " << x << "," << y;
        }
}

TEST(CopyRect, EqualsPixelByPixelAtEveryPhase) {
    const struct {
        int32_t col, row, width, height;
    } rects[] = {{0, 0, 37, 11},  {3, 2, 20, 5},  {8, 0, 9, 11},  {-5, -2, 30, 9},
                 {30, 7, 20, 20}, {-3, 3, 50, 2}, {36, 10, 1, 1}, {100, 0, 8, 8}};
    for (const int32_t bits : kDepths)
        for (const Holding holding : holdingsOf(bits)) {
            Bitmap src(bits, 37, 11, holding);
            const Bytes data = fillRandom(src.record, unsigned(bits));
            for (const auto& r : rects) {
                Bitmap dst;
                ASSERT_EQ(R_CopyBitmapRect2(&dst, &src, kSize, r.col, r.row, r.width, r.height, BMMEM_CONVENTIONAL), 1);
                ASSERT_NO_FATAL_FAILURE(expectRect(data, src.record, dst.record, r.col, r.row)) << nameOf(holding);
                EXPECT_EQ(src->nLockCount, 0);
            }
        }
    Bitmap page(1, 16, 1);
    setContents(page.record, {0x10, 0, 0, 0});
    Bitmap cut;
    ASSERT_EQ(R_CopyBitmapRect(&cut, &page, kSize, 3, 0, 5, 1), 1);
    EXPECT_EQ(cut->pData[0], 0x80);
}

TEST(CopyRect, InPlaceKeepsLocksAndIdentity) {
    for (const int32_t bits : {1, 8, 12, 24}) {
        Bitmap bm(bits, 40, 20);
        const Bytes data = fillRandom(bm.record, 8);
        const BITMAPRECORD before = bm.record;
        bm->nCarriedTag = 4711;
        bm->XResolution = 77;
        ASSERT_EQ(R_SetBitmapExtraData(&bm, 7, 4, "abc"), 1);
        R_AccessBitmap(&bm);
        R_AccessBitmap(&bm);
        ASSERT_EQ(R_CopyBitmapRect(bits == 1 ? nullptr : &bm, &bm, kSize, 5, 3, 30, 10), 1);
        EXPECT_EQ(bm->nLockCount, 2);
        EXPECT_EQ(bm->nCarriedTag, 4711u);
        EXPECT_EQ(bm->XResolution, 77);
        EXPECT_GE(bm->ExtraDataSize, 12u);
        ASSERT_NO_FATAL_FAILURE(expectRect(data, before, bm.record, 5, 3));
    }
    alignas(BITMAPRECORD) uint8_t bytes[kSize];
    std::memset(bytes, 0xA5, sizeof bytes);
    auto* pOld = reinterpret_cast<BITMAPRECORD*>(bytes);
    ASSERT_EQ(R_CreateBitmap(pOld, BITMAPRECORD_OLD_SIZE, 1, 9, 9, 24, ORDER_BGR, nullptr, 0, nullptr, 0), 1);
    EXPECT_EQ(R_CopyBitmapRect(pOld, pOld, kSize, 1, 1, 3, 3), 1);
    EXPECT_EQ(pOld->uStructSize, BITMAPRECORD_OLD_SIZE);
    EXPECT_EQ(bytes[BITMAPRECORD_OLD_SIZE], 0xA5) << "an older record stays one";
    R_FreeBitmap(pOld);
}

TEST(CopyRect, StatusesAndTrim) {
    Bitmap bm(8, 20, 10);
    BITMAPRECORD out;
    EXPECT_EQ(R_CopyBitmapRect(&out, nullptr, kSize, 0, 0, 5, 5), -13);
    EXPECT_EQ(R_CopyBitmapRect(&out, &bm, 5, 0, 0, 5, 5), -789);
    EXPECT_EQ(R_CopyBitmapRect(&out, &bm, kSize, 0, 0, -5, 5), -11);
    EXPECT_EQ(R_CopyBitmapRect(nullptr, &bm, kSize, 0, 0, 0, 5), -11);
    EXPECT_EQ(bm->Width, 20);
    EXPECT_EQ(R_CopyBitmapRect(&out, &bm, kSize, INT32_MAX, INT32_MAX, 5, 5), 1);
    R_FreeBitmap(&out);
    EXPECT_EQ(R_TrimBitmap(nullptr, 0, 0, 1, 1), -13);
    EXPECT_EQ(R_TrimBitmap(&bm, 20, 0, 5, 5), -11);
    EXPECT_EQ(R_TrimBitmap(&bm, 0, 0, INT32_MIN, 5), -11);
    EXPECT_EQ(R_TrimBitmap(&bm, -5, -5, 15, INT32_MAX), 1);
    EXPECT_EQ(bm->Width, 10);
    EXPECT_EQ(bm->Height, 10);
}

TEST(Copy, WholeBitmapsWithAllTheyCarry) {
    for (const int32_t bits : kDepths)
        for (const Holding holding : holdingsOf(bits)) {
            Bitmap src(bits, 35, 9, holding);
            const Bytes data = fillRandom(src.record, 3);
            src->ViewPerspective = LEFT_TOP;
            src->Delay = 33;
            src->Flags |= BMF_SIGNED | BMF_PREMULTIPLIED;
            ASSERT_EQ(R_SetBitmapExtraData(&src, 9, 3, "xyz"), 1);
            Bitmap dst, second;
            ASSERT_EQ(R_CopyBitmap(&dst, &src, kSize), 1);
            EXPECT_EQ(contents(dst.record), data) << nameOf(holding) << " " << bits;
            EXPECT_EQ(dst->ViewPerspective, LEFT_TOP);
            EXPECT_EQ(dst->Delay, 33u);
            EXPECT_EQ(dst->Flags & (BMF_SIGNED | BMF_PREMULTIPLIED), uint32_t(BMF_SIGNED | BMF_PREMULTIPLIED));
            EXPECT_EQ(dst->ExtraDataSize, src->ExtraDataSize);
            if (bits <= 8) {
                ASSERT_NE(dst->pPalette, src->pPalette);
                EXPECT_EQ(std::memcmp(dst->pPalette, src->pPalette, sizeof(RGBQUAD) << bits), 0);
            }
            ASSERT_EQ(R_CopyBitmap2(&second, &src, BITMAPRECORD_OLD_SIZE, BMMEM_CONVENTIONAL | BMMEM_NO_DISK), 1);
            EXPECT_EQ(contents(second.record), data);
        }
    Bitmap bm(24, 4, 4);
    EXPECT_EQ(R_CopyBitmap(&bm, &bm, 5), 1) << "the same object comes before the size";
    EXPECT_EQ(R_CopyBitmap(nullptr, &bm, kSize), -13);
    BITMAPRECORD none{}, out;
    EXPECT_EQ(R_CopyBitmap(&out, &none, kSize), -13);
    EXPECT_EQ(R_CopyBitmap(&out, &bm, 5), -789);
    EXPECT_EQ(R_CopyBitmapData(&none, &bm), -2);
    EXPECT_EQ(R_CopyBitmapData(&bm, &bm), 1);
    EXPECT_EQ(R_CopyBitmap2(&out, &bm, kSize, 3), -13);
    EXPECT_FALSE(out.Flags & BMF_ALLOCATED);
}

TEST(Copy, CarriesThePaintTable) {
    Bitmap src(8, 6, 6);
    src->pPaintLUT[5] = 99;
    src->Flags |= BMF_PAINT_LUT;
    src->PaintGamma = 150;
    src->PaintContrast = 3;
    const auto expectPaint = [](const BITMAPRECORD& bm, const char* how) {
        EXPECT_EQ(bm.pPaintLUT[5], 99) << how;
        EXPECT_TRUE(bm.Flags & BMF_PAINT_LUT) << how;
        EXPECT_EQ(bm.PaintGamma, 150u) << how;
        EXPECT_EQ(bm.PaintContrast, 3) << how;
    };
    Bitmap whole, into, rect;
    ASSERT_EQ(R_CopyBitmap(&whole, &src, kSize), 1);
    expectPaint(whole.record, "copy");
    ASSERT_EQ(R_CopyBitmap2(&into, &src, kSize, BMMEM_CONVENTIONAL), 1);
    expectPaint(into.record, "copy into");
    ASSERT_EQ(R_CopyBitmapRect2(&rect, &src, kSize, 1, 1, 3, 3, BMMEM_CONVENTIONAL), 1);
    expectPaint(rect.record, "rectangle into");
    ASSERT_EQ(R_TrimBitmap(&src, 1, 1, 3, 3), 1);
    expectPaint(src.record, "in place");
}

TEST(Copy, ShortReadsAreFilledUpWithZeros) {
    Bitmap src(8, 8, 2), dst;
    fillRandom(src.record, 5);
    BITMAPDATACALLBACKS c{};
    c.uStructSize = sizeof c;
    c.pfnGetRow = [](BITMAPRECORD*, uint8_t* to, int32_t, int32_t, uint32_t, void*) { return to[0] = 7, 1; };
    ASSERT_EQ(R_SetBitmapDataCallbacks(&src, &c), 1);
    ASSERT_EQ(R_CopyBitmap(&dst, &src, kSize), 1);
    EXPECT_EQ(contents(dst.record), (Bytes{7, 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(Copy, DataBetweenRowsOfUnequalLength) {
    Bitmap narrow(24, 5, 4), wide(24, 9, 3);
    const Bytes from = fillRandom(narrow.record, 1);
    fillRandom(wide.record, 2);
    ASSERT_EQ(R_CopyBitmapData(&wide, &narrow), 1);
    const Bytes got = contents(wide.record);
    for (size_t y = 0; y < 3; ++y) {
        EXPECT_EQ(std::memcmp(&got[y * wide->BytesPerLine], &from[y * narrow->BytesPerLine], narrow->BytesPerLine), 0);
        EXPECT_EQ(got[y * wide->BytesPerLine + narrow->BytesPerLine], 0);
    }
}

TEST(Copy, ProgressGoesToTheCopyCallbackAndCanStop) {
    static std::vector<int32_t> heard;
    static int32_t stopAt;
    heard.clear();
    stopAt = 1000;
    const STATUSCALLBACK pfn = [](int32_t percent, void*) {
        return heard.push_back(percent), percent >= stopAt ? -100 : 1;
    };
    const STATUSCALLBACK never = [](int32_t, void*) { return -1; };
    R_SetCopyStatusCallBack(pfn, nullptr, nullptr, nullptr);
    R_SetStatusCallBack(never, nullptr, nullptr, nullptr);
    Bitmap src(8, 10, 7), dst;
    EXPECT_EQ(R_CopyBitmap(&dst, &src, kSize), 1);
    EXPECT_EQ(heard, (std::vector<int32_t>{0, 14, 28, 42, 57, 71, 85, 100}));
    stopAt = 50;
    BITMAPRECORD out;
    EXPECT_EQ(R_CopyBitmap(&out, &src, kSize), -100);
    EXPECT_FALSE(out.Flags & BMF_ALLOCATED);
    EXPECT_EQ(R_TrimBitmap(&src, 0, 0, 5, 5), -100);
    EXPECT_EQ(src->Width, 10) << "a stopped trim leaves the bitmap";
    EXPECT_EQ(src->nLockCount, 0);
    heard.clear();
    stopAt = 1000;
    Bitmap tall(8, 1, 250), copy;
    EXPECT_EQ(R_CopyBitmap(&copy, &tall, kSize), 1);
    EXPECT_EQ(heard.size(), 101u) << "only a changed percent is told";
    EXPECT_EQ(heard.back(), 100);
    R_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    R_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
}

struct CopyCalls {
    std::string log;
    int32_t answer = 2;
};

TEST(Copy, AsksTheSourcesCallbacks) {
    CopyCalls calls;
    BITMAPDATACALLBACKS c{};
    c.uStructSize = sizeof c;
    c.pUserData = &calls;
    c.pfnBeginCopy = [](BITMAPRECORD*, int32_t flag, BITMAPALLOCATEINFO* info, BITMAPDATACALLBACKS* fresh, void* p) {
        auto& k = *static_cast<CopyCalls*>(p);
        k.log.append("begin").append(std::to_string(flag)).append(":").append(std::to_string(info->Width)).append(" ");
        fresh->pUserData = p;
        return k.answer;
    };
    c.pfnEndCopy = [](BITMAPRECORD*, int32_t flag, void* p, BITMAPDATACALLBACKS*) {
        static_cast<CopyCalls*>(p)->log.append("end").append(std::to_string(flag)).append(" ");
        return 1;
    };
    Bitmap src(8, 10, 5);
    ASSERT_EQ(R_SetBitmapDataCallbacks(&src, &c), 1);
    {
        Bitmap dst;
        ASSERT_EQ(R_CopyBitmap(&dst, &src, kSize), 1);
        EXPECT_EQ(calls.log, "begin1:10 end1 ");
        EXPECT_EQ(dst->pCallbacks, nullptr);
        calls.answer = 1;
        Bitmap own;
        ASSERT_EQ(R_CopyBitmap(&own, &src, kSize), 1);
        ASSERT_NE(own->pCallbacks, nullptr);
    }
    calls.answer = -55;
    BITMAPRECORD out;
    EXPECT_EQ(R_CopyBitmap(&out, &src, kSize), -55);
    EXPECT_EQ(R_TrimBitmap(&src, 0, 0, 3, 3), -55);
    EXPECT_EQ(src->Width, 10);
    calls.answer = 2;
    calls.log.clear();
    EXPECT_EQ(R_TrimBitmap(&src, 0, 0, 3, 3), 1);
    EXPECT_EQ(calls.log, "begin0:3 end0 ");
    calls.log.clear();
    ASSERT_EQ(R_SetBitmapDataCallbacks(&src, &c), 1);
    EXPECT_EQ(R_CopyBitmapRect2(nullptr, &src, kSize, 0, 0, 2, 2, BMMEM_CONVENTIONAL), 1);
    EXPECT_EQ(calls.log, "begin0:2 end0 ");
}

TEST(Duplicate, SharesOrOwnsWhatTheFlagsTell) {
    Bitmap src(16, 10, 5, Holding::conventional, ORDER_GRAY);
    src->pLUT = static_cast<RGBQUAD*>(R_GlobalAlloc(65536, 4, 0, ""));
    src->LUTLength = 65536;
    BITMAPRECORD dst;
    ASSERT_EQ(R_DupBitmapNewDim(&dst, &src, kSize, 3, 3, 16, 0), 1);
    EXPECT_FALSE(dst.Flags & BMF_ALLOCATED);
    EXPECT_EQ(dst.pLUT, src->pLUT);
    EXPECT_EQ(dst.Order, ORDER_GRAY);
    R_FreeDuplicateBitmap(&dst, 0);
    ASSERT_EQ(R_DupBitmapNewDim(&dst, &src, kSize, 3, 3, 16, DUP_ALLOCATE | DUP_PALETTE), 1);
    EXPECT_NE(dst.pLUT, src->pLUT);
    ASSERT_NE(dst.pLUT, nullptr);
    R_FreeBitmap(&dst);
    ASSERT_EQ(R_DupBitmapNewDim(&dst, &src, kSize, 3, 3, 24, 0), 1);
    EXPECT_EQ(dst.Order, ORDER_BGR);
    EXPECT_EQ(R_DupBitmapNewDim(&dst, &src, kSize, 3, 3, 11, 0), -27);
    EXPECT_EQ(R_DupBitmapNewDim(nullptr, &src, kSize, 3, 3, 24, 0), -13);
    EXPECT_EQ(R_DupBitmapNewDim(&dst, &src, 3, 3, 3, 24, 0), -789);

    // A palette of fewer entries than the new depth indexes is made long enough.
    Bitmap four(4, 5, 5);
    ASSERT_EQ(R_DupBitmapNewDim(&dst, &four, kSize, 5, 5, 8, DUP_ALLOCATE | DUP_PALETTE), 1);
    EXPECT_EQ(dst.nColors, 16u);
    EXPECT_EQ(WinGlobalSize(WinGlobalHandle(dst.pPalette)), 1024u);
    R_FreeBitmap(&dst);
}

TEST(Fill, EveryDepthTakesTheColour) {
    const COLORREF color = 0x4080C0;  // red 0xC0, green 0x80, blue 0x40
    for (const int32_t bits : kDepths)
        for (const Holding holding : holdingsOf(bits)) {
            Bitmap bm(bits, 27, 5, holding);
            const Bytes before = fillRandom(bm.record, 3);
            ASSERT_EQ(R_FillBitmap2(&bm, color, 0x7F), 1);
            uint64_t want = 0;
            if (bits <= 8)
                want = uint64_t(R_GetNearestPaletteIndex(&bm, color));
            else if (bits == 12)
                want = 0x88u * 4095 / 255;  // gray (0x40 + 5 * 0x80 + 2 * 0xC2) >> 3 is 0x88
            else if (bits == 16)
                want = 0xC0 >> 3 << 10 | 0x80 >> 3 << 5 | 0x40 >> 3;
            else if (bits == 24)
                want = 0xC08040;
            else if (bits == 32)
                want = 0x7FC08040;
            else
                want = 0xC0C080804040 | (bits == 64 ? uint64_t(0x7F7F) << 48 : 0);
            const Bytes got = contents(bm.record);
            for (size_t y = 0; y < 5; ++y)
                for (size_t x = 0; x < 27; ++x)
                    ASSERT_EQ(pixelAt(&got[y * bm->BytesPerLine], bits, x), want)
                        << nameOf(holding) << " " << bits << " " << x;
            EXPECT_EQ(bm->nLockCount, 0);
            ASSERT_EQ(R_ClearBitmap(&bm), 1);
            EXPECT_EQ(pixelAt(contents(bm.record).data(), bits, 26), 0u);
        }
}

TEST(Fill, LargePartsOfABitmapAreFilledToTheirEdges) {
    // A part of a bitmap that exceeds the caches, at an odd place: rows go past them.
    Bitmap canvas(24, 4001, 3000);
    BITMAPRECORD part;
    ASSERT_EQ(R_CreateBitmap(&part, kSize, BMMEM_USER, 3971, 2990, 24, ORDER_BGR, nullptr, TOP_LEFT,
                             canvas->pData + 5 * size_t(canvas->BytesPerLine) + 7 * 3, 0),
              1);
    part.BytesPerLine = canvas->BytesPerLine;
    ASSERT_EQ(R_FillBitmap(&part, 0x332211), 1);
    R_FreeBitmap(&part);
    Bytes inside(4001 * 3), outside(canvas->BytesPerLine);
    for (size_t x = 7; x < 7 + 3971; ++x)
        for (size_t c = 0; c < 3; ++c) inside[x * 3 + c] = uint8_t(0x33 - 0x11 * c);
    inside.resize(canvas->BytesPerLine);
    for (int32_t y = 0; y < 3000; ++y) {
        const uint8_t* row = canvas->pData + size_t(y) * canvas->BytesPerLine;
        const Bytes& want = y >= 5 && y < 2995 ? inside : outside;
        ASSERT_EQ(std::memcmp(row, want.data(), want.size()), 0) << y;
    }
}

TEST(Fill, GrayRangesAndReferences) {
    Bitmap gray(16, 5, 2, Holding::conventional, ORDER_GRAY);
    gray->LowBit = 2;
    gray->HighBit = 11;
    ASSERT_EQ(R_FillBitmap(&gray, 0xFFFFFF), 1);
    EXPECT_EQ(pixelAt(gray->pData, 16, 3), 0x3FFu << 2);
    ASSERT_EQ(R_FillBitmap(&gray, 0x04000000 | 0x8000), 1) << "a level of 16 bits";
    EXPECT_EQ(pixelAt(gray->pData, 16, 3), 0x200u << 2);

    Bitmap indexed(8, 5, 2);
    ASSERT_EQ(R_FillBitmap(&indexed, 0x010000F3), 1);
    EXPECT_EQ(indexed->pData[0], 0xF3);
    ASSERT_EQ(R_FillBitmap(&indexed, 0x0400FF00), 1);
    EXPECT_EQ(indexed->pData[0], 255) << "a gray level of 255 is white";
    Bitmap deep(24, 5, 2);
    ASSERT_EQ(R_FillBitmap(&deep, 0x04005A00), 1);
    EXPECT_EQ(pixelAt(deep->pData, 24, 1), 0x5A5A5Au);

    EXPECT_EQ(R_FillBitmap(nullptr, 0), -13);
    BITMAPRECORD bad = deep.record;
    bad.uStructSize = 7;
    EXPECT_EQ(R_FillBitmap(&bad, 0), -789);
    EXPECT_EQ(R_ClearBitmap(&bad), -789);
}

}  // namespace
