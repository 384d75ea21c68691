// The region of a bitmap, set, combined and read back, against planes of pixels.
#include "ravokit/bitmaprgn.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "internal/bitmaprgn_.h"
#include "ravokit/ravokit.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"
#include "tests/support/regions.h"

namespace {

using namespace rv;
using namespace test;

constexpr RECT kWide{-30, -30, 70, 60};

// Pixels at random in a box.
Plane noise(uint32_t seed, const RECT& box) {
    std::mt19937 random(seed);
    return Plane::where([&](int x, int y) {
        return x >= box.left && x < box.right && y >= box.top && y < box.bottom && random() % 8 < 3;
    });
}

const RgnMapping kPlain{TOP_LEFT, 1, 1, 1, 1, 0, 0};
RgnMapping seenAs(int32_t nView) { return {nView, 1, 1, 1, 1, 0, 0}; }

struct Handle {
    RVHANDLE h = nullptr;
    ~Handle() { DeleteObject(h); }
    RavoRgn& region() const { return *static_cast<RavoRgn*>(h->pBlock); }
};

TEST(BitmapRgn, ModesCombineNewAndOld) {
    for (const bool bClip : {true, false})
        for (const bool bOld : {true, false})
            for (uint32_t uMode = 0; uMode <= 6; ++uMode) {
                Bitmap bm(8, 40, 25);
                R_SetBitmapRgnClip(&bm, bClip);
                EXPECT_EQ(R_GetBitmapRgnClip(&bm), bClip);
                const Plane a = noise(1, kWide), b = noise(2, kWide);
                const RECT box = bClip ? RECT{0, 0, 40, 25} : kWide;
                const auto inBox = [&](int x, int y) {
                    return x >= box.left && x < box.right && y >= box.top && y < box.bottom;
                };
                if (bOld) {
                    ASSERT_EQ(R_SetBitmapRgn(&bm, &kPlain, regionOf(b), RGN_MODE_SET), 1);
                }
                ASSERT_EQ(R_SetBitmapRgn(&bm, nullptr, regionOf(a), uMode), 1);
                ASSERT_EQ(planeOf(*bm->pRgnInfo), Plane::where([&](int x, int y) {
                              const bool o = bOld ? b.at(x, y) : inBox(x, y), n = a.at(x, y);
                              const bool out[] = {n && o, n, n && !o, o && !n, n || o, n != o, !n};
                              return inBox(x, y) && out[uMode];
                          }))
                    << uMode << bOld << bClip;
                uint32_t nArea = 0;
                ASSERT_EQ(R_GetBitmapRgnArea(&bm, &nArea), 1);
                const Plane is = planeOf(*bm->pRgnInfo);
                EXPECT_EQ(nArea, std::count(is.bytes.begin(), is.bytes.end(), 1));
                for (int y = -3; y < 28; ++y) {  // the segments are those of the row inside the bitmap
                    uint32_t nMax = 0, nWords = 99;
                    R_GetBitmapClipSegmentsMax(&bm, &nMax);
                    std::vector<uint32_t> words(nMax + 1, 77);
                    ASSERT_EQ(R_GetBitmapClipSegments(&bm, y, words.data(), &nWords), 1);
                    ASSERT_TRUE(nWords <= nMax && words[nMax] == 77);
                    std::vector<uint8_t> row(40), want(40);
                    for (uint32_t k = 0; k < nWords; k += 2)
                        for (uint32_t x = words[k]; x < words[k + 1]; ++x) row.at(x) = 1;
                    for (int x = 0; x < 40 && y >= 0 && y < 25; ++x) want[size_t(x)] = is.at(x, y);
                    ASSERT_EQ(row, want) << y;
                    EXPECT_EQ(R_IsPtInBitmapRgn(&bm, y, 5), is.at(5, y));
                }
            }
}

TEST(BitmapRgn, MappingsLeadInAndOut) {
    for (int32_t nFrom = 1; nFrom <= 8; ++nFrom)
        for (int32_t nTo = 1; nTo <= 8; ++nTo) {
            // The same picture in both views: its mask moves by pixels, its region through the mapping.
            Bitmap from(1, 37, 22);
            from->ViewPerspective = nFrom;
            const Plane shape = noise(uint32_t(nFrom), {0, 0, 37, 22});
            RegionOwner rgn(regionOf(shape));
            ASSERT_EQ(R_SetBitmapRgn(&from, nullptr, R_CopyRavoRgnPtr(rgn.get(), nullptr), RGN_MODE_SET), 1);
            BITMAPRECORD mask{};
            ASSERT_EQ(R_CreateMaskFromBitmapRgn(&from, &mask, sizeof mask), 1);
            ASSERT_EQ(R_ChangeBitmapViewPerspective(nullptr, &mask, 0, nTo), 1);
            Bitmap to(8, mask.Width, mask.Height), want(8, mask.Width, mask.Height);
            to->ViewPerspective = want->ViewPerspective = nTo;
            ASSERT_EQ(R_SetBitmapRgnFromMask(&want, nullptr, &mask, RGN_MODE_SET), 1);
            R_FreeBitmap(&mask);
            const RgnMapping mapping = seenAs(nFrom);
            ASSERT_EQ(R_SetBitmapRgn(&to, &mapping, R_CopyRavoRgnPtr(rgn.get(), nullptr), RGN_MODE_SET), 1);
            EXPECT_EQ(planeOf(*to->pRgnInfo), planeOf(*want->pRgnInfo)) << nFrom << " to " << nTo;
            if (nTo == TOP_RIGHT && nFrom == LEFT_BOTTOM) continue;  // rectangles don't turn there
            Handle h;
            ASSERT_EQ(R_GetBitmapRgnHandle(&to, &mapping, &h.h), 1);
            EXPECT_EQ(planeOf(h.region()), shape) << nFrom << " to " << nTo;
        }
    Bitmap bm(8, 60, 50);
    const RECT box{-3, 2, 9, 7};
    const RgnMapping mapping{BOTTOM_LEFT, 3, 2, 2, 1, 5, -1};
    ASSERT_EQ(R_SetBitmapRgnRect(&bm, &mapping, &box, RGN_MODE_SET), 1);
    RECT r{};
    R_GetBitmapRgnBounds(&bm, nullptr, &r);  // (2,1)-(14,6), then (3,2)-(21,12), then flipped
    EXPECT_TRUE(r.left == 3 && r.right == 21 && r.top == 38 && r.bottom == 48) << r.left << " " << r.top;
    const RgnMapping out{LEFT_BOTTOM, 1, 2, 1, 4, 100, 10};
    ASSERT_EQ(R_GetBitmapRgnBounds(&bm, &out, &r),
              1);  // (2,3)-(12,21), left and right rounded up
    EXPECT_TRUE(r.left == 101 && r.right == 106 && r.top == 10 && r.bottom == 15) << r.left << " " << r.top;
    ASSERT_EQ(R_GetBitmapRgnBoundsClip(&bm, &out, &r), 1);
    EXPECT_TRUE(r.left == 0 && r.bottom == 0);
    constexpr struct {
        int32_t value, num, den, up, down;
    } kValues[] = {{0, 5, 3, 0, 0},
                   {7, 3, 2, 11, 10},
                   {-7, 3, 2, -10, -10},
                   {7, -3, 2, -10, -10},
                   {2000000000, 3, 4, 1500000000, 1500000000},
                   {2000000001, 3, 4, 1500000001, 1500000000},
                   {INT32_MIN, 7, 1, INT32_MIN, INT32_MIN},
                   {INT32_MAX, 9, -1, INT32_MIN, INT32_MIN},
                   {-INT32_MAX, 1, -1, INT32_MAX, INT32_MAX},
                   {46341, 46341, 46341, 46341, 46341}};
    for (const auto& v : kValues) {
        EXPECT_EQ(RgnMapValue(v.value, v.num, v.den, true), v.up) << v.value;
        EXPECT_EQ(RgnMapValue(v.value, v.num, v.den, false), v.down) << v.value;
    }
}

TEST(BitmapRgn, DisplayHandlesAreKept) {
    Bitmap bm(8, 40, 25);
    RVHANDLE h = nullptr, again = nullptr;
    int32_t bOwned = 0;
    RECT r{};
    ASSERT_EQ(R_IntGetBitmapRgnHandle(&bm, nullptr, &h, &bOwned), 1);
    EXPECT_EQ(GetRgnBox(h, &r), 2);
    EXPECT_TRUE(bOwned == 1 && r.right == 40 && r.bottom == 25);
    DeleteObject(h);
    const Plane shape = noise(3, {0, 0, 40, 25});
    ASSERT_EQ(R_SetBitmapRgn(&bm, nullptr, regionOf(shape), RGN_MODE_SET), 1);
    ASSERT_EQ(R_IntGetBitmapRgnHandle(&bm, nullptr, &h, &bOwned), 1);
    EXPECT_TRUE(bOwned == 0 && planeOf(*static_cast<RavoRgn*>(h->pBlock)) == shape);
    RgnMapping mapping = kPlain;
    mapping.XOffset = 4;
    mapping.YOffset = -7;
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(R_IntGetBitmapRgnHandle(&bm, &mapping, &again, &bOwned), 1);
        EXPECT_TRUE(again == h && bOwned == 0);
        EXPECT_EQ(planeOf(*static_cast<RavoRgn*>(h->pBlock)), Plane::where([&](int x, int y) {
                      return x >= 4 && x < 44 && y >= -7 && y < 18 && shape.at(x - 4, y + 7);
                  }));
    }
    mapping.YScaleNum = 2;
    ASSERT_EQ(R_IntGetBitmapRgnHandle(&bm, &mapping, &h, &bOwned), 1);
    EXPECT_EQ(static_cast<RavoRgn*>(h->pBlock)->rcBounds.bottom, 2 * 25 - 7);
    const uint32_t nRects = uint32_t(R_GetBitmapRgnData(&bm, &mapping, 0, nullptr)) / 16 - 2;
    EXPECT_EQ(nRects, spanCount(*static_cast<RavoRgn*>(h->pBlock)));
    std::vector<RECT> list(nRects + 2);
    auto* const pData = reinterpret_cast<RGNDATA*>(list.data());
    EXPECT_EQ(R_GetBitmapRgnData(&bm, &mapping, int32_t(nRects * 16), pData), int32_t(nRects + 2) * 16);
    EXPECT_EQ(pData->nCount, 0u);
    ASSERT_EQ(R_GetBitmapRgnData(&bm, nullptr, int32_t(nRects + 2) * 16, pData),
              R_GetBitmapRgnData(&bm, nullptr, 0, 0));
    Bitmap other(8, 40, 25);
    ASSERT_EQ(R_SetBitmapRgnData(&other, nullptr, int32_t(nRects + 2) * 16, pData, RGN_MODE_SET), 1);
    EXPECT_EQ(planeOf(*other->pRgnInfo), shape);
    EXPECT_EQ(R_SetBitmapRgnData(&other, nullptr, 31, pData, RGN_MODE_SET), -1);
    EXPECT_EQ(R_SetBitmapRgnData(&other, nullptr, 0, nullptr, RGN_MODE_SET), 1);
    EXPECT_EQ(R_BitmapHasRgn(&other), 0);

    // The middle of the picture at twice its size, at (10, 20); the handle outlives what it was made for.
    const RECT src{5, 5, 25, 15}, dst{10, 20, 50, 40};
    Handle sized;
    ASSERT_EQ(R_GetResizedRgnHandle(&bm, &src, &dst, &sized.h, &bOwned), 1);
    EXPECT_EQ(bOwned, 1);
    EXPECT_EQ(planeOf(sized.region()), Plane::where([&](int x, int y) {
                  return x >= 10 && x < 50 && y >= 20 && y < 40 && shape.at((x - 10) / 2 + 5, (y - 20) / 2 + 5);
              }));
    ASSERT_EQ(R_GetResizedRgnHandle(&bm, nullptr, &src, &h, &bOwned), 1);
    EXPECT_EQ(bOwned, 0);
    const RECT nowhere{90, 90, 95, 95};
    ASSERT_EQ(R_SetBitmapRgnRect(&bm, nullptr, &nowhere, RGN_MODE_SET), 1);
    ASSERT_EQ(R_IntGetBitmapRgnHandle(&bm, nullptr, &h, &bOwned), 1);
    EXPECT_EQ(GetRgnBox(h, &r), 1);
    EXPECT_EQ(R_GetBitmapRgnData(&bm, nullptr, 0, nullptr), 48);
}

TEST(BitmapRgn, MasksComeBack) {
    const KeepThresholds keep;
    for (int32_t nWidth = 1; nWidth < 150; ++nWidth)
        for (const bool bInverse : {false, true}) {
            Bitmap mask(1, nWidth, 5), bm(8, nWidth, 5);
            fillRandom(mask.record, uint32_t(nWidth));
            if (nWidth % 5 == 0) R_FillBitmap(&mask, 0x01000001);
            const RGBQUAD palette[] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
            if (bInverse) std::copy_n(palette, 2, mask->pPalette);
            ASSERT_EQ(R_SetBitmapRgnFromMask(&bm, nullptr, &mask, RGN_MODE_SET), 1);
            ASSERT_TRUE(isWellFormed(*bm->pRgnInfo));
            const Bytes rows = contents(mask.record);
            for (int y = 0; y < 5; ++y)
                for (int x = 0; x < nWidth; ++x)
                    ASSERT_EQ(R_IsPtInBitmapRgn(&bm, y, x),
                              int(pixelAt(&rows[size_t(y) * mask->BytesPerLine], 1, size_t(x)) != bInverse))
                        << nWidth << " " << x;
        }
    for (const Holding holding : holdingsOf(1)) {
        Bitmap mask(1, 75, 40, holding), bm(24, 75, 40);
        ASSERT_EQ(mask.nStatus, 1);
        fillRandom(mask.record, 5);
        ASSERT_EQ(R_SetBitmapRgnFromMask(&bm, nullptr, &mask, RGN_MODE_SET), 1);
        BITMAPRECORD back{};
        ASSERT_EQ(R_CreateMaskFromBitmapRgn(&bm, &back, BITMAPRECORD_OLD_SIZE), 1);
        Bytes is = contents(back), was = contents(mask.record);
        clearPadding(is, back);
        clearPadding(was, back);
        EXPECT_EQ(is, was) << nameOf(holding);
        R_FreeBitmap(&back);
    }
    Bitmap deep(24, 40, 25), bm(8, 40, 25);  // any other picture in black and white
    setContents(deep.record, Bytes(size_t(deep->BytesPerLine) * 25));
    const RECT box{3, 4, 30, 9};
    ASSERT_EQ(R_SetBitmapRgnRect(&deep, nullptr, &box, RGN_MODE_SET), 1);
    R_FillBitmap(&deep, 0xFFFFFF);
    ASSERT_EQ(R_SetBitmapRgnFromMask(&bm, nullptr, &deep, RGN_MODE_SET), 1);
    EXPECT_EQ(planeOf(*bm->pRgnInfo), planeOf(*deep->pRgnInfo));
}

TEST(BitmapRgn, ShapesAndStatuses) {
    Bitmap bm(8, 40, 25), ways[] = {Bitmap(), Bitmap()};
    BITMAPRECORD unknown{};  // its size
    const RECT box{4, 2, 24, 20}, upside{4, 2, 24, -16};
    ASSERT_EQ(R_SetBitmapRgnEllipse(&bm, nullptr, &box, RGN_MODE_SET), 1);
    const Plane ellipse = planeOf(*bm->pRgnInfo);
    ASSERT_EQ(R_SetBitmapRgnEllipse(&bm, nullptr, &upside, RGN_MODE_SET), 1);
    EXPECT_EQ(planeOf(*bm->pRgnInfo), ellipse);
    ASSERT_EQ(R_SetBitmapRgnEllipse(&bm, nullptr, &box, RGN_MODE_XOR | RGN_ELLIPSE_HANDLE), 1);
    EXPECT_TRUE(R_BitmapHasRgn(&bm) && !bm->pRgnInfo->RowTableSize);
    EXPECT_EQ(R_SetBitmapRgnEllipse(nullptr, nullptr, &box, 8), -13);
    EXPECT_EQ(R_SetBitmapRgnEllipse(nullptr, nullptr, &box, 0), -2);
    EXPECT_EQ(R_SetBitmapRgnEllipse(&unknown, nullptr, nullptr, 8), -13);
    EXPECT_EQ(R_SetBitmapRgnEllipse(&unknown, nullptr, nullptr, 0), -789);
    const POINT triangle[] = {{0, 0}, {10, 0}, {0, 10}};
    ASSERT_EQ(R_SetBitmapRgnPolygon(&bm, nullptr, triangle, 3, 0, RGN_MODE_OR), 1);
    EXPECT_TRUE(R_IsPtInBitmapRgn(&bm, 1, 1) && !R_IsPtInBitmapRgn(&bm, 9, 9));
    ASSERT_EQ(R_SetBitmapRgnPolygon(&bm, nullptr, nullptr, 0, 0, RGN_MODE_OR), 1);
    EXPECT_FALSE(R_BitmapHasRgn(&bm));

    ASSERT_EQ(R_OffsetBitmapRgn(&bm, -5, 7), 1);  // without a region: of all that still lies in the bitmap
    RECT r{};
    R_GetBitmapRgnBounds(&bm, nullptr, &r);
    EXPECT_TRUE(r.left == 7 && r.top == 0 && r.right == 40 && r.bottom == 20);
    EXPECT_EQ(R_OffsetBitmapRgn(&bm, INT32_MIN, INT32_MIN), 1);
    EXPECT_EQ(bm->pRgnInfo->RowTableSize, 0u);

    const Handle h{CreateRectRgn(2, 2, 9, 9)}, none{CreateEllipticRgn(0, 0, 0, 5)}, other{R_OsAllocHandle(0, 8, 0, 0)};
    ASSERT_EQ(R_SetBitmapRgnHandle(&bm, nullptr, h.h, RGN_MODE_OR), 1);
    const RavoRgn* const pKept = bm->pRgnInfo;
    const RgnMapping badView = seenAs(9), badScale{1, 1, 0, 1, 1, 0, 0};
    RVHANDLE out = nullptr;
    int32_t bOwned = 0;
    uint32_t n = 0, words[4];
    const RgnMapping* const kBad[] = {&badView, &badScale};
    for (const RgnMapping* p : kBad) {
        EXPECT_EQ(R_SetBitmapRgnRect(&bm, p, &box, RGN_MODE_OR), -13);
        EXPECT_EQ(R_GetBitmapRgnBounds(&bm, p, &r), -13);
        EXPECT_EQ(R_IntGetBitmapRgnHandle(&bm, p, &out, &bOwned), -13);
        EXPECT_EQ(R_GetBitmapRgnHandle(&bm, p, &out), 0);
        EXPECT_EQ(R_GetBitmapRgnData(&bm, p, 0, nullptr), 0);
    }
    for (const int32_t status :
         {R_SetBitmapRgnRect(&bm, nullptr, &box, 7), R_SetBitmapRgnRect(&bm, nullptr, nullptr, 1),
          R_SetBitmapRgnHandle(&bm, nullptr, RVHANDLE(UINTPTR_MAX), 1), R_SetBitmapRgnHandle(&bm, nullptr, other.h, 1),
          R_SetBitmapRgnHandle(nullptr, nullptr, h.h, 1), R_SetBitmapRgnData(&bm, nullptr, -1, nullptr, 1),
          R_FreeBitmapRgn(nullptr), R_SetBitmapRgn(&bm, nullptr, bm->pRgnInfo, 1), R_GetBitmapRgnArea(&bm, nullptr),
          R_GetBitmapRgnHandle(&bm, nullptr, nullptr), R_GetResizedRgnHandle(&bm, &box, nullptr, &out, &bOwned),
          R_GetBitmapRgnData(&bm, nullptr, -1, nullptr), R_CopyBitmapRgn(&bm, nullptr, 0, 0),
          R_SetBitmapRgnFromMask(&bm, nullptr, &ways[0].record, 1), R_GetBitmapClipSegments(&bm, 0, nullptr, &n),
          R_IntShearBitmapRgn(&bm, 9000), R_CreateMaskFromBitmapRgn(&bm, nullptr, sizeof bm.record)})
        EXPECT_EQ(status, -13);
    for (const int32_t status :
         {R_SetBitmapRgn(nullptr, nullptr, nullptr, 1), R_SetBitmapRgnRect(nullptr, nullptr, &box, 1),
          R_GetBitmapRgnBounds(&bm, nullptr, nullptr), R_GetBitmapRgnBounds(nullptr, nullptr, &r),
          R_GetBitmapRgnArea(nullptr, &n), R_GetBitmapClipSegments(nullptr, 0, words, &n),
          R_IntGetBitmapRgnHandle(nullptr, nullptr, &out, &bOwned), R_SizeBitmapRgn(nullptr, 5, 5)})
        EXPECT_EQ(status, -2);
    EXPECT_EQ(bm->pRgnInfo, pKept);
    bm->uStructSize = 5;
    for (const int32_t status : {R_SetBitmapRgn(&bm, nullptr, bm->pRgnInfo, 9), R_GetBitmapRgnArea(&bm, &n),
                                 R_FlipBitmapRgn(&bm), R_GetBitmapRgnData(&bm, nullptr, 0, nullptr),
                                 R_CreateMaskFromBitmapRgn(&bm, &ways[0].record, sizeof bm.record)})
        EXPECT_EQ(status, -789);
    bm->uStructSize = sizeof bm.record;
    ASSERT_EQ(R_SetBitmapRgnHandle(&bm, nullptr, none.h, RGN_MODE_OR), 1);  // holds none: removes
    EXPECT_FALSE(R_BitmapHasRgn(&bm));
}

// Every course with memory that ends at each of its allocations: -1 or 0, the region as before, nothing kept.
TEST(BitmapRgn, MemoryRunsOut) {
    const Plane shape = noise(7, {0, 0, 40, 25});
    const RECT box{3, 3, 30, 20};
    Bitmap mask(1, 40, 25);
    fillRandom(mask.record, 9);
    const RgnMapping turned{RIGHT_TOP, 3, 2, 3, 2, 1, 1};
    const std::function<int32_t(BITMAPRECORD&)> courses[] = {
        [&](BITMAPRECORD& bm) { return R_SetBitmapRgnRect(&bm, nullptr, &box, RGN_MODE_XOR); },
        [&](BITMAPRECORD& bm) { return R_SetBitmapRgnEllipse(&bm, &turned, &box, RGN_MODE_SET_NOT); },
        [&](BITMAPRECORD& bm) { return R_SetBitmapRgnFromMask(&bm, nullptr, &mask, RGN_MODE_SET); },
        [&](BITMAPRECORD& bm) { return R_OffsetBitmapRgn(&bm, 3, 3); },
        [&](BITMAPRECORD& bm) { return R_IntRotateBitmapRgn(&bm, 44, 21, 1234); },
        [&](BITMAPRECORD& bm) {
            RVHANDLE h = nullptr;
            int32_t bOwned = 0;
            const int32_t n = R_GetResizedRgnHandle(&bm, &box, &box, &h, &bOwned);
            if (h) DeleteObject(h);
            return n;
        },
        [&](BITMAPRECORD& bm) {
            RVHANDLE h = nullptr;
            const int32_t n = R_GetBitmapRgnHandle(&bm, &turned, &h);
            if (h) DeleteObject(h);
            R_OffsetRavoRgn(bm.pRgnInfo, 1, 1), R_OffsetRavoRgn(bm.pRgnInfo, -1, -1);  // drops the kept one
            return n;
        },
        [&](BITMAPRECORD& bm) {
            BITMAPRECORD made{};
            const int32_t n = R_CreateMaskFromBitmapRgn(&bm, &made, sizeof made);
            R_FreeBitmap(&made);
            return n;
        }};
    for (size_t which = 0; which < std::size(courses); ++which)
        for (int n = 0, status = 0; status != 1; ++n) {
            Bitmap bm(8, 40, 25);
            ASSERT_EQ(R_SetBitmapRgn(&bm, nullptr, regionOf(shape), RGN_MODE_SET), 1);
            const long blocks = faults::liveBlocks();
            {
                const faults::FailFromNthAllocation fail(n);
                status = courses[which](bm.record);
            }
            ASSERT_TRUE(status == 1 ? n > 0 : status <= 0) << which << " " << n;
            if (status == 1) break;  // perhaps with a table that could not be trimmed
            ASSERT_EQ(faults::liveBlocks(), blocks) << which << " " << n;
            ASSERT_EQ(planeOf(*bm->pRgnInfo), shape) << which << " " << n;
        }
}

}  // namespace
