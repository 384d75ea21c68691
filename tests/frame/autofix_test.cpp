#include <gtest/gtest.h>

#include <cmath>

#include "ravokit/frame.h"

namespace {

struct Result {
    int32_t nStatus, nX = -1, nY = -1;
    bool operator==(const Result&) const = default;
};

Result fix(int32_t nWidth, int32_t nHeight, int32_t nX, int32_t nY) {
    Result r{};
    r.nX = r.nY = -1;
    r.nStatus = R_IntAutoFixBitmapResolution(nWidth, nHeight, nX, nY, &r.nX, &r.nY);
    return r;
}

class AutoFix : public testing::Test {
protected:
    AUTOFIXOPTIONS m_old{};
    void SetUp() override { ASSERT_EQ(R_GetAutoFixBitmapResolutionOptions(&m_old, sizeof m_old), 1); }
    void TearDown() override { ASSERT_EQ(R_SetAutoFixBitmapResolutionOptions(&m_old), 1); }
};

TEST_F(AutoFix, PageFits) {
    EXPECT_EQ(fix(2550, 3300, 72, 72), (Result{1, 300, 300}));
    EXPECT_EQ(fix(3300, 2550, 72, 72), (Result{1, 300, 300}));  // sideways
    EXPECT_EQ(fix(1000, 3300, 72, 72), (Result{1, 300, 300}));  // height decides: 3300 dots on 11 inches
    EXPECT_EQ(fix(2550, 100, 72, 72), (Result{1, 231, 231}));   // sideways: 2550 dots on 11 inches
    EXPECT_EQ(fix(2550, 3300, 72, 36), (Result{1, 300, 150}));  // the image is measured by X alone
    EXPECT_EQ(fix(2550, 3300, 36, 72), (Result{1, 300, 600}));
    EXPECT_EQ(fix(612, 792, 72, 72), (Result{2}));  // just the page
    EXPECT_EQ(fix(2550, 3300, 96, 72), (Result{2}));
    EXPECT_EQ(fix(2550, 3300, 72, 96), (Result{2}));
    EXPECT_EQ(fix(2550, 3300, 95, 95).nStatus, 1);
    EXPECT_EQ(fix(0, 3300, 72, 72), (Result{2}));
    EXPECT_EQ(fix(2550, 0, 72, 72), (Result{2}));
    EXPECT_EQ(fix(2550, 3300, 0, 72), (Result{2}));  // no resolution at all
    EXPECT_EQ(fix(2550, 3300, 72, 0), (Result{2}));  // new Y would be 0
    EXPECT_EQ(fix(INT32_MAX, INT32_MAX, 95, -95), (Result{2}));
}

TEST_F(AutoFix, GoesByItsOptions) {
    AUTOFIXOPTIONS options{sizeof(AUTOFIXOPTIONS), 5, 96, 8.5 * 25.400000025908, 11 * 25.400000025908,
                           AUTOFIX_MILLIMETRES};
    EXPECT_EQ(R_SetAutoFixBitmapResolutionOptions(&options), 1);
    const Result r = fix(2550, 3300, 72, 72);
    EXPECT_EQ(r.nStatus, 1);
    EXPECT_NEAR(r.nX, 300, 1);  // the page in inches is within a rounding of 8.5 x 11

    options.nMinResolution = 72;
    EXPECT_EQ(R_SetAutoFixBitmapResolutionOptions(&options), 1);
    EXPECT_EQ(fix(2550, 3300, 72, 72), (Result{2}));
    options.nMinResolution = 96;
    for (double dPage : {0.0, 1e-300, std::nan("")}) {  // no whole number comes out
        options.dPageWidth = options.dPageHeight = dPage;
        EXPECT_EQ(R_SetAutoFixBitmapResolutionOptions(&options), 1);
        EXPECT_EQ(fix(2550, 3300, 72, 72), (Result{2})) << dPage;
    }

    AUTOFIXOPTIONS got{};
    options.uUnit = AUTOFIX_OFF;
    EXPECT_EQ(R_SetAutoFixBitmapResolutionOptions(&options), -13);
    options.uStructSize = 31;
    EXPECT_EQ(R_SetAutoFixBitmapResolutionOptions(&options), -789);
    EXPECT_EQ(R_SetAutoFixBitmapResolutionOptions(nullptr), -814);
    EXPECT_EQ(R_GetAutoFixBitmapResolutionOptions(nullptr, 31), -814);
    EXPECT_EQ(R_GetAutoFixBitmapResolutionOptions(&got, 31), -789);
    EXPECT_EQ(R_GetAutoFixBitmapResolutionOptions(&got, 32), 1);
    EXPECT_EQ(got.uUnit, uint32_t(AUTOFIX_MILLIMETRES));
    EXPECT_EQ(got.uFlags, 5u);
}

TEST_F(AutoFix, WorksOnABitmap) {
    BITMAPRECORD bm{};
    bm.uStructSize = sizeof bm;
    bm.Width = 2550;
    bm.Height = 3300;
    bm.XResolution = bm.YResolution = 72;
    EXPECT_EQ(R_AutoFixBitmapResolution(&bm, 0), 1);
    EXPECT_EQ(bm.XResolution, 300);
    EXPECT_EQ(bm.YResolution, 300);
    EXPECT_EQ(R_AutoFixBitmapResolution(&bm, 0), 2);
    bm.uStructSize = BITMAPRECORD_OLD_SIZE;
    bm.XResolution = bm.YResolution = 72;
    EXPECT_EQ(R_AutoFixBitmapResolution(&bm, sizeof bm), -789);
    EXPECT_EQ(bm.XResolution, 72);
    EXPECT_EQ(R_AutoFixBitmapResolution(nullptr, sizeof bm), -814);
    int32_t n = 0;
    EXPECT_EQ(R_IntAutoFixBitmapResolution(2550, 3300, 72, 72, nullptr, &n), -814);
    EXPECT_EQ(R_IntAutoFixBitmapResolution(2550, 3300, 72, 72, &n, nullptr), -814);
    EXPECT_EQ(n, 0);
}

}  // namespace
