// What is done to a bitmap is done to its region: the mask of the region after an operation is the operation on the
// mask. And what writes or counts pixels keeps inside.
#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "ravokit/ravokit.h"
#include "tests/support/bitmaps.h"
#include "tests/support/regions.h"

namespace {

using namespace rv;
using namespace test;

// A shape around the bitmap's upper left part, which reaches out of it.
struct Shape {
    Plane plane;
    explicit Shape(uint32_t seed) {
        std::mt19937 random(seed);
        plane = randomPlane(random);
    }
    bool at(int x, int y) const { return plane.at(x - 20, y - 15); }
    void set(BITMAPRECORD& bm, bool bClip = true) const {
        RavoRgn* const p = regionOf(plane);
        R_OffsetRavoRgn(p, 20, 15);
        R_SetBitmapRgnClip(&bm, bClip);
        ASSERT_EQ(R_SetBitmapRgn(&bm, nullptr, p, RGN_MODE_SET), 1);
    }
};

struct Mask {
    BITMAPRECORD bm{};
    explicit Mask(const BITMAPRECORD& of) { EXPECT_EQ(R_CreateMaskFromBitmapRgn(&of, &bm, sizeof bm), 1); }
    ~Mask() { R_FreeBitmap(&bm); }
    Bytes rows() {
        Bytes out = contents(bm);
        clearPadding(out, bm);
        return out;
    }
};

using Operation = std::function<int32_t(BITMAPRECORD&)>;

std::vector<std::pair<std::string, Operation>> operations() {
    constexpr COLORREF kBlack = 0x01000000;
    std::vector<std::pair<std::string, Operation>> out{
        {"flip", [](BITMAPRECORD& bm) { return R_FlipBitmap(&bm); }},
        {"reverse", [](BITMAPRECORD& bm) { return R_ReverseBitmap(&bm); }},
        {"flip rows", [](BITMAPRECORD& bm) { return R_IntFlipBitmap(&bm); }},
        {"reverse rows", [](BITMAPRECORD& bm) { return R_IntReverseBitmap(&bm); }},
        {"90", [](BITMAPRECORD& bm) { return R_RotateBitmap90(&bm, 1, 0, 100); }},
        {"-90", [](BITMAPRECORD& bm) { return R_RotateBitmap90(&bm, 0, 0, 100); }},
        {"twice the size", [](BITMAPRECORD& bm) { return R_SizeBitmap(&bm, bm.Width * 2, bm.Height * 2, 0); }},
        {"copy of a part",
         [](BITMAPRECORD& bm) {
             return R_CopyBitmapRect(nullptr, &bm, sizeof bm, bm.Width / 3, -2, bm.Width, bm.Height);
         }},
        {"trim", [](BITMAPRECORD& bm) { return R_TrimBitmap(&bm, 2, 3, bm.Width / 2, bm.Height); }},
        {"copy",
         [](BITMAPRECORD& bm) {
             BITMAPRECORD copy;
             const int32_t n = R_CopyBitmap(&copy, &bm, sizeof copy);
             if (n == 1) R_FreeBitmap(&bm), bm = copy;
             return n;
         }},
        {"another class", [](BITMAPRECORD& bm) { return R_SetBitmapMemoryInfo(&bm, BMMEM_DISK, 0, 0, 0, 0, 0, 1); }},
    };
    for (const uint32_t uFlags : {0u, uint32_t(ROT_RESIZE)})
        for (const int32_t nAngle : {9000, 18000, -9000, 1234, 30000})
            out.emplace_back("turn by " + std::to_string(nAngle) + (uFlags ? " whole" : ""),
                             [=](BITMAPRECORD& bm) { return R_RotateBitmap(&bm, nAngle, uFlags, kBlack); });
    for (int32_t nView = 1; nView <= 8; ++nView)
        out.emplace_back("view " + std::to_string(nView),
                         [=](BITMAPRECORD& bm) { return R_ChangeBitmapViewPerspective(nullptr, &bm, 0, nView); });
    for (const int32_t nAngle : {0, 2500, -6100})
        for (const int32_t bHorizontal : {0, 1})
            out.emplace_back("shear by " + std::to_string(nAngle) + (bHorizontal ? " of rows" : " of columns"),
                             [=](BITMAPRECORD& bm) { return R_ShearBitmap(&bm, nAngle, bHorizontal, kBlack); });
    return out;
}

TEST(FollowRegion, MaskAfterAnOperationIsTheOperationOnTheMask) {
    const KeepThresholds keep;
    uint32_t seed = 0;
    for (const auto& [what, operate] : operations())
        for (int32_t nView = 1; nView <= 8; ++nView)
            for (const int32_t nBits : {1, 8})
                for (const Holding holding : holdingsOf(nBits)) {
                    if (holding != Holding::conventional && nView % 8 != int32_t(what.size()) % 8) continue;
                    if (++seed % 8 && holding == Holding::super) continue;  // slow
                    const bool bSquare = seed % 4 == 0;
                    Bitmap bm(nBits, bSquare ? 29 : 43, 29, holding);
                    ASSERT_EQ(bm.nStatus, 1);
                    SCOPED_TRACE(what + ", view " + std::to_string(nView) + ", " + std::to_string(nBits) + " bits, " +
                                 nameOf(holding) + ", shape " + std::to_string(seed));
                    fillRandom(bm.record, seed);
                    bm->ViewPerspective = nView;
                    Shape(seed).set(bm.record);
                    Mask expected(bm.record);
                    ASSERT_EQ(operate(bm.record), 1);
                    ASSERT_EQ(operate(expected.bm), 1);
                    ASSERT_TRUE(bm->pRgnInfo && isWellFormed(*bm->pRgnInfo));
                    Mask mask(bm.record);
                    ASSERT_TRUE(mask.bm.Width == expected.bm.Width && mask.bm.Height == expected.bm.Height);
                    ASSERT_EQ(mask.bm.ViewPerspective, expected.bm.ViewPerspective);
                    ASSERT_EQ(mask.rows(), expected.rows());
                }
}

TEST(FollowRegion, OtherCoursesKeepOrScaleIt) {
    Bitmap bm(24, 60, 40), to(24, 30, 100);
    fillRandom(bm.record, 1);
    Shape(5).set(bm.record);
    const auto scaled = [](RavoRgn& rgn, int w, int h) {
        RavoRgn* p = R_CopyRavoRgnPtr(&rgn, nullptr);
        R_ScaleRavoRgn(p, w, 60, h, 40);
        const RegionOwner owner(p);
        return std::vector<int32_t>(p->pSpans, p->pSpans + p->SpanDataSize / 4);
    };
    const auto spans = [](const BITMAPRECORD& of) {
        return std::vector<int32_t>(of.pRgnInfo->pSpans, of.pRgnInfo->pSpans + of.pRgnInfo->SpanDataSize / 4);
    };
    const auto same = spans(bm.record), small = scaled(*bm->pRgnInfo, 23, 71), wide = scaled(*bm->pRgnInfo, 30, 100);
    R_CopyRavoRgn(&to->pRgnInfo, bm->pRgnInfo);
    ASSERT_EQ(R_ResizeBitmap(&bm, &to, 0), 1);
    EXPECT_EQ(spans(to.record), wide);
    Bitmap alpha;
    ASSERT_EQ(R_GetBitmapAlpha(&bm, &alpha.record, sizeof alpha.record), 1);
    EXPECT_EQ(spans(alpha.record), same);
    ASSERT_EQ(R_ColorResBitmap(&bm, &bm, sizeof bm.record, 8, CRF_FIXEDPALETTE, nullptr, nullptr, 0, nullptr, nullptr),
              1);
    ASSERT_EQ(R_GrayScaleBitmap(&bm, 8), 1);
    EXPECT_EQ(spans(bm.record), same);
    ASSERT_EQ(R_ResampleBitmap(&bm, 23, 71, 0), 1);
    EXPECT_EQ(spans(bm.record), small);
    BITMAPRECORD part;
    ASSERT_EQ(R_DupBitmapNewDim(&part, &bm, sizeof part, 9, 9, 8, DUP_REGION), 1);
    EXPECT_TRUE(part.pRgnInfo->rcBounds.right <= 9 && part.pRgnInfo->rcBounds.bottom <= 9);
    R_FreeDuplicateBitmap(&part, DUP_REGION);
}

// ---- inside ------------------------------------------------------------------------------------------------------

TEST(FollowRegion, FillsKeepInside) {
    const KeepThresholds keep;
    uint32_t seed = 0;
    for (const int32_t nBits : kDepths)
        for (const Holding holding : holdingsOf(nBits)) {
            const Shape shape(++seed);
            Bitmap bm(nBits, 43, 29, holding), all(nBits, 43, 29);
            ASSERT_EQ(bm.nStatus, 1);
            SCOPED_TRACE(std::to_string(nBits) + " bits, " + nameOf(holding) + ", shape " + std::to_string(seed));
            fillRandom(bm.record, seed);
            const Bytes before = contents(bm.record);
            shape.set(bm.record, seed % 2);
            ASSERT_EQ(R_FillBitmap2(&all, 0x3377EE, 99), 1);
            ASSERT_EQ(R_FillBitmap2(&bm, 0x3377EE, 99), 1);
            const Bytes after = contents(bm.record), one = contents(all.record);
            ASSERT_EQ(R_ClearBitmap(&bm), 1);
            const Bytes cleared = contents(bm.record);
            for (int y = 0; y < bm->Height; ++y)
                for (int x = 0; x < bm->Width; ++x) {
                    const size_t at = size_t(y) * bm->BytesPerLine;
                    const uint64_t was = pixelAt(&before[at], nBits, size_t(x));
                    ASSERT_EQ(pixelAt(&after[at], nBits, size_t(x)),
                              shape.at(x, y) ? pixelAt(one.data(), nBits, size_t(x)) : was)
                        << x << " " << y;
                    ASSERT_EQ(pixelAt(&cleared[at], nBits, size_t(x)), shape.at(x, y) ? 0 : was) << x << " " << y;
                }
        }
}

TEST(FollowRegion, PixelsAlphaAndCountsKeepInside) {
    for (uint32_t seed = 0; seed < 6; ++seed) {
        Bitmap bm(32, 40, 30);
        fillRandom(bm.record, seed);
        const Shape shape(seed);
        shape.set(bm.record, seed % 2);
        const RECT box = bm->pRgnInfo->rcBounds;
        std::set<uint64_t> colors;
        const Bytes before = contents(bm.record);
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x)
                if (shape.at(x, y)) colors.insert(pixelAt(&before[size_t(y) * 160], 32, size_t(x)) & 0xFFFFFF);
        uint32_t nColors = 0;
        ASSERT_EQ(R_GetBitmapColorCountExt(&bm, &nColors, nullptr), 1);
        EXPECT_EQ(nColors, colors.size());
        ASSERT_EQ(R_SetBitmapAlphaValues(&bm, 7), 1);
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) ASSERT_EQ(R_PutPixelColor(&bm, y, x, 0x010203), 1);
        const Bytes after = contents(bm.record);
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) {
                const uint64_t was = pixelAt(&before[size_t(y) * 160], 32, size_t(x));
                const bool bRow = y >= box.top && y < box.bottom;  // alpha goes by rows
                const uint64_t color = shape.at(x, y) ? 0x030201 : was & 0xFFFFFF;
                const uint64_t is = pixelAt(&after[size_t(y) * 160], 32, size_t(x));
                ASSERT_EQ(is & 0xFFFFFF, color) << x << " " << y;
                ASSERT_TRUE(shape.at(x, y) || is >> 24 == (bRow ? 7 : was >> 24)) << x << " " << y;
            }
    }
}

}  // namespace
