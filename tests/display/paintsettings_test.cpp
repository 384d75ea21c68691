// Display mode, paint tables, and where pictures go.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "support/bitmaps.h"
#include "support/faults.h"

namespace {

using test::Bitmap;
using test::Holding;

TEST(PaintSettings, DisplayModeIsOfItsThread) {
    EXPECT_EQ(R_GetDisplayMode(), uint32_t(DM_INDEXED_PAINT | DM_DITHER));
    EXPECT_EQ(R_SetDisplayMode(DM_DITHER | DM_RESAMPLE, DM_RESAMPLE | DM_BICUBIC),
              uint32_t(DM_INDEXED_PAINT | DM_DITHER));
    EXPECT_EQ(R_GetDisplayMode(), uint32_t(DM_INDEXED_PAINT | DM_RESAMPLE));
    uint32_t uOther = 0;
    std::thread([&] { uOther = R_GetDisplayMode(); }).join();
    EXPECT_EQ(uOther, uint32_t(DM_INDEXED_PAINT | DM_DITHER));
    R_SetDisplayMode(~0u, DM_INDEXED_PAINT | DM_DITHER);
}

// The byte table by its formulas, entry by entry.
int byteEntry(int i, int nContrast, int nIntensity, double gamma) {
    double v = i;
    const int c = std::abs(nContrast);
    if (c) {
        const int a = int(std::lround(c * 128 / 4000.0));
        const int b = 256 - int(5.34 * std::pow(1.5, std::log2(c * 128 / 1000.0)));
        if (nContrast < 0)
            v = a + std::clamp(std::round(double(i) * (b - a) / 256), 0.0, 255.0);
        else
            v = i < a ? 0 : i >= b ? 255 : std::clamp(std::round((i - a) * 256.0 / (b - a)), 0.0, 255.0);
    }
    v = std::clamp(v + (nIntensity * 255 + 500) / 1000, 0.0, 255.0);
    return int(0.5 + std::pow(v / 255, 100 / gamma) * 255);
}

TEST(PaintSettings, TablesFollowTheValues) {
    Bitmap bm(16, 4, 4, Holding::conventional, ORDER_GRAY);
    EXPECT_EQ(R_SetPaintContrast(&bm, 0), 1);
    EXPECT_EQ(bm->pPaintLUT16, nullptr);  // nothing was asked for
    for (const auto& [nContrast, nIntensity, uGamma] :
         {std::tuple{0, 0, 220u}, {300, 0, 100u}, {1000, 120, 50u}, {-700, -300, 180u}, {1, -1, 100u}, {-1, 0, 100u}}) {
        ASSERT_EQ(R_SetPaintContrast(&bm, nContrast), 1);
        ASSERT_EQ(R_SetPaintIntensity(&bm, nIntensity), 1);
        ASSERT_EQ(R_SetPaintGamma(&bm, uGamma), 1);
        EXPECT_EQ(R_GetPaintContrast(&bm), nContrast);
        EXPECT_EQ(R_GetPaintIntensity(&bm), nIntensity);
        EXPECT_EQ(uint32_t(R_GetPaintGamma(&bm)), uGamma);
        EXPECT_TRUE(bm->Flags & BMF_PAINT_LUT);
        for (int i = 0; i < 256; ++i)
            ASSERT_EQ(bm->pPaintLUT[i], byteEntry(i, nContrast, nIntensity, uGamma)) << nContrast << " at " << i;
        ASSERT_NE(bm->pPaintLUT16, nullptr);
        if (nIntensity) continue;  // the offset of the wide table runs away
        for (int i = 0; i < 256; ++i)
            ASSERT_NEAR(bm->pPaintLUT16[i * 257] / 257.0, bm->pPaintLUT[i], 1.5) << nContrast << " at " << i;
    }
    R_SetPaintContrast(&bm, 0);
    R_SetPaintIntensity(&bm, 0);
    R_SetPaintGamma(&bm, 100);
    EXPECT_FALSE(bm->Flags & BMF_PAINT_LUT);
    for (int i = 0; i < 65536; ++i) ASSERT_EQ(bm->pPaintLUT16[i], i);

    // A copy carries both tables.
    R_SetPaintGamma(&bm, 150);
    Bitmap copy;
    ASSERT_EQ(R_CopyBitmap(&copy.record, &bm, sizeof(BITMAPRECORD)), 1);
    ASSERT_NE(copy->pPaintLUT16, nullptr);
    EXPECT_TRUE(std::equal(copy->pPaintLUT16, copy->pPaintLUT16 + 65536, bm->pPaintLUT16));
    EXPECT_EQ(copy->PaintGamma, 150u);
}

TEST(PaintSettings, StatusesAndMemory) {
    Bitmap bm(12, 4, 4, Holding::conventional, ORDER_GRAY);
    EXPECT_EQ(R_SetPaintContrast(&bm, 1001), -13);
    EXPECT_EQ(R_SetPaintIntensity(&bm, -1001), -13);
    EXPECT_EQ(R_SetPaintGamma(&bm, 0), -13);
    EXPECT_EQ(R_SetPaintGamma(nullptr, 50), -13);
    EXPECT_EQ(R_GetPaintGamma(nullptr), -13);
    bm->uStructSize = 5;
    EXPECT_EQ(R_SetPaintContrast(&bm, 1001), -789);
    EXPECT_EQ(R_GetPaintContrast(&bm), -789);
    bm->uStructSize = sizeof(BITMAPRECORD);
    R_FreeGrayParams(&bm);  // both tables are to be made
    for (const int n : {0, 2}) {
        faults::FailFromNthAllocation fail(n);
        EXPECT_EQ(R_SetPaintContrast(&bm, 10), -1);
        fail.stop();
        EXPECT_TRUE(!bm->pPaintLUT && !bm->pPaintLUT16) << n;
    }
    EXPECT_EQ(bm->PaintContrast, 0);
    EXPECT_EQ(bm->Flags & BMF_PAINT_LUT, 0u);
}

TEST(PaintSettings, PlacesWithinARectangle) {
    const auto place = [](int32_t w, int32_t h, uint32_t uFit, uint32_t uAcross, uint32_t uDown) {
        RECT r{10, 20, 110, 70};
        EXPECT_EQ(R_CalculatePaintModeRectangle(w, h, &r, uFit, uAcross, uDown), 1);
        return std::array{r.left, r.top, r.right, r.bottom};
    };
    using Place = std::array<int32_t, 4>;
    EXPECT_EQ(place(30, 20, FIT_NORMAL, ALIGN_START, ALIGN_END), (Place{10, 50, 40, 70}));
    EXPECT_EQ(place(31, 21, FIT_IF_LARGER, ALIGN_CENTER, ALIGN_CENTER), (Place{45, 35, 76, 56}));
    EXPECT_EQ(place(200, 50, FIT_IF_LARGER, ALIGN_CENTER, ALIGN_CENTER), (Place{10, 33, 110, 58}));
    EXPECT_EQ(place(50, 50, FIT_ALWAYS, ALIGN_END, ALIGN_START), (Place{60, 20, 110, 70}));
    EXPECT_EQ(place(50, 50, FIT_WIDTH, ALIGN_CENTER, ALIGN_CENTER_ALWAYS), (Place{10, -5, 110, 95}));
    EXPECT_EQ(place(50, 50, FIT_WIDTH, ALIGN_CENTER, ALIGN_CENTER), (Place{10, 20, 110, 120}));
    EXPECT_EQ(place(3, 999, FIT_STRETCH, ALIGN_END, ALIGN_END), (Place{10, 20, 110, 70}));
    EXPECT_EQ(place(10, 25, FIT_HEIGHT, ALIGN_START, ALIGN_START), (Place{10, 20, 30, 70}));
    RECT r{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
    EXPECT_EQ(R_CalculatePaintModeRectangle(1, INT32_MAX, &r, FIT_WIDTH, ALIGN_END, ALIGN_CENTER_ALWAYS), 1);
    EXPECT_EQ(r.right, INT32_MAX);
    EXPECT_EQ(R_CalculatePaintModeRectangle(1, 1, nullptr, 0, 0, 0), -13);
    EXPECT_EQ(R_CalculatePaintModeRectangle(0, 1, &r, 0, 0, 0), -13);
    EXPECT_EQ(R_CalculatePaintModeRectangle(1, 1, &r, 6, 0, 0), -13);
    EXPECT_EQ(R_CalculatePaintModeRectangle(1, 1, &r, 0, 4, 0), -13);
}

}  // namespace
