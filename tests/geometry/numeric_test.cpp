// Value types: tolerant doubles, matrices, rectangles, the integer square root.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>

#include "ravokit/numeric.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity(), kNan = std::numeric_limits<double>::quiet_NaN();

uint64_t bitsOf(double d) { return std::bit_cast<uint64_t>(d); }
bool isSame(const RECT& a, const RECT& b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
::testing::AssertionResult isSame(const RectD& r, double x, double y, double w, double h) {
    if (r.X == x && r.Y == y && r.Width == w && r.Height == h) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << r.X << ", " << r.Y << ", " << r.Width << ", " << r.Height;
}

MATRIX make(double m11, double m12, double m21, double m22, double dx, double dy) {
    MATRIX m;
    R_Matrix_Set(&m, m11, m12, m21, m22, dx, dy);
    return m;
}
std::array<double, 6> fieldsOf(const MATRIX& m) {
    return {R_Matrix_GetM11(&m), R_Matrix_GetM12(&m),     R_Matrix_GetM21(&m),
            R_Matrix_GetM22(&m), R_Matrix_GetOffsetX(&m), R_Matrix_GetOffsetY(&m)};
}
// One of each Type; the identity's fields are rubbish, since they don't count.
std::array<MATRIX, 5> oneOfEach() {
    return {MATRIX{7, 7, 7, 7, 7, 7, 0}, make(1, 0, 0, 1, 3, -5), make(2, 0, 0, -0.5, 0, 0), make(4, 0, 0, 3, 6, 7),
            make(1, 2, -3, 5, 8, -9)};
}
// The product by the textbook, blind to Types.
std::array<double, 6> slowProduct(const MATRIX& a, const MATRIX& b) {
    const auto f = fieldsOf(a), g = fieldsOf(b);
    const double x[3][3] = {{f[0], f[1], 0}, {f[2], f[3], 0}, {f[4], f[5], 1}};
    const double y[3][3] = {{g[0], g[1], 0}, {g[2], g[3], 0}, {g[4], g[5], 1}};
    double z[3][3] = {};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) z[i][j] += x[i][k] * y[k][j];
    return {z[0][0], z[0][1], z[1][0], z[1][1], z[2][0], z[2][1]};
}

TEST(Doubles, Tolerance) {
    EXPECT_TRUE(R_Double_AreClose(0, 1e-15));
    EXPECT_TRUE(R_Double_AreClose(0, 2.2e-15) && !R_Double_AreClose(0, 2.3e-15));
    EXPECT_TRUE(R_Double_AreClose(1e6, 1e6 + 4e-10));
    EXPECT_FALSE(R_Double_AreClose(1e6, 1e6 + 5e-10));
    EXPECT_TRUE(R_Double_AreClose(kInf, kInf));
    EXPECT_FALSE(R_Double_AreClose(kInf, -kInf) || R_Double_AreClose(kInf, 1) || R_Double_AreClose(kNan, kNan));
    EXPECT_TRUE(R_Double_IsOne(1 - 2e-15) && !R_Double_IsOne(1 + 3e-15) && R_Double_IsZero(-2e-15));
    EXPECT_FALSE(R_Double_IsZero(2.220446049250313e-15));
    EXPECT_TRUE(R_Double_IsBetweenZeroAndOne(-1e-15) && R_Double_IsBetweenZeroAndOne(1 + 1e-15));
    EXPECT_FALSE(R_Double_IsBetweenZeroAndOne(-1e-14) || R_Double_IsBetweenZeroAndOne(1.1));
    EXPECT_TRUE(R_Double_IsInfinity(kNan) && R_Double_IsInfinity(-kInf) && !R_Double_IsInfinity(DBL_MAX));

    for (double b : {5.0, 5 + 1e-15, 5 + 1e-14, 5 - 1e-14, -5.0}) {  // one of three, and the weak forms follow
        const int nClose = R_Double_AreClose(5, b), nLess = R_Double_LessThan(5, b), nMore = R_Double_GreaterThan(5, b);
        EXPECT_EQ(nClose + nLess + nMore, 1) << b;
        EXPECT_EQ(R_Double_LessThanOrClose(5, b), !nMore) << b;
        EXPECT_EQ(R_Double_GreaterThanOrClose(5, b), !nLess) << b;
    }
}

TEST(Doubles, AnglesLoseWholeTurns) {
    const auto slow = [](double a) {
        while (a > 360) a -= 360;
        while (a < 0) a += 360;
        return a;
    };
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> any(-2e6, 2e6);
    for (int i = 0; i < 2000; ++i) {
        const double a = i < 41 ? (i - 20) * 180.0 : any(random);
        ASSERT_EQ(bitsOf(R_Double_NormalizeAngle(a)), bitsOf(slow(a))) << a;
    }
    EXPECT_EQ(R_Double_NormalizeAngle(360), 360);
    EXPECT_EQ(R_Double_NormalizeAngle(-1), 359);
    EXPECT_EQ(R_Double_NormalizeAngle(-1e-30), 360);
    EXPECT_EQ(R_Double_NormalizeAngle(0x1p60), 136);  // 2^60 is 0 modulo 8 and, as 2^12, 1 modulo 45
    EXPECT_EQ(R_Double_NormalizeAngle(-0x1p60), 224);
    EXPECT_TRUE(std::isnan(R_Double_NormalizeAngle(kInf)) && std::isnan(R_Double_NormalizeAngle(-kInf)));
}

TEST(Doubles, BecomeIntegers) {
    const struct {
        double d;
        int32_t n;
    } cases[] = {{0, 0},
                 {0.5, 1},
                 {-0.5, -1},
                 {2.4999, 2},
                 {-2.5, -3},
                 {kNan, 0},
                 {kInf, INT32_MAX},
                 {-kInf, INT32_MIN},
                 {1e18, INT32_MAX},
                 {2147483646.4, 2147483646},
                 {-1e18, INT32_MIN},
                 {2147483647.5, INT32_MAX},
                 {-2147483648.4, INT32_MIN},
                 {-2147483647.4, -2147483647}};
    for (const auto& c : cases) {
        EXPECT_EQ(R_Double_DoubleToInt(c.d), c.n) << c.d;
        const PointD p{c.d, -1.5};
        POINT point;
        R_PointD_ToPoint(&p, &point);
        EXPECT_TRUE(point.x == c.n && point.y == -2) << c.d;
    }
    RECT rect;
    const RectD wide{2e9, -1.5, 2e9, 1.25}, empty{5, 5, DBL_MIN, 5};  // position and size round each for itself
    R_RectD_ToRect(&wide, &rect);
    EXPECT_TRUE(isSame(rect, {2000000000, -2, -294967296, -1}));
    R_RectD_ToRect(&empty, &rect);
    EXPECT_TRUE(isSame(rect, {0, 0, 0, 0}));
    SIZE size;
    const SizeD half{DBL_MIN, 5};
    R_SizeD_ToSize(&half, &size);
    EXPECT_TRUE(R_Size_IsEmpty(&size));
}

TEST(Doubles, EmptyRecords) {
    PointD p;
    R_PointD_Empty(&p);
    EXPECT_EQ(bitsOf(p.X), 0x7FFFFFFFFFFFFFFFu);
    EXPECT_EQ(bitsOf(p.Y), 0x7FFFFFFFFFFFFFFFu);
    const PointD q{kNan, kNan}, half{kNan, 1};
    EXPECT_TRUE(R_PointD_IsEqual(&p, &q) && !R_PointD_IsEmpty(&half) && !R_PointD_IsEqual(&half, &half));
    EXPECT_FALSE(R_PointD_IsEqual(&p, &half) || R_PointD_IsEqual(&half, &p));
    RectD r;
    R_RectD_Empty(&r);
    EXPECT_EQ(bitsOf(r.X), 0x7FEFFFFFFFFFFFFFu);
    EXPECT_EQ(bitsOf(r.Height), 0x0010000000000000u);
    const RectD thin{1, 2, 3, DBL_MIN}, near{DBL_MAX, DBL_MAX, 0, 0};  // near: close in every field, but not empty
    EXPECT_TRUE(R_RectD_IsEqual(&r, &thin));
    EXPECT_FALSE(R_RectD_IsEqual(&r, &near) || R_RectD_IsEqual(&near, &r));
    const SizeD none{DBL_MIN, DBL_MIN}, zero{0, 0};
    EXPECT_TRUE(!R_SizeD_IsEqual(&none, &zero) && R_SizeD_IsEqual(&zero, &none));
}

TEST(Matrix, ProductsOfAllTypes) {
    constexpr uint32_t kTypes[5][5] = {
        {0, 1, 2, 3, 4}, {1, 1, 3, 3, 4}, {2, 3, 2, 3, 4}, {3, 3, 3, 3, 4}, {4, 4, 4, 4, 4}};
    const auto all = oneOfEach();
    for (uint32_t i = 0; i < 5; ++i) {
        ASSERT_EQ(all[i].Type, i);
        for (uint32_t j = 0; j < 5; ++j) {
            MATRIX product, appended = all[i], prepended = all[j];
            R_Matrix_Multiply(&product, &all[i], &all[j]);
            EXPECT_EQ(product.Type, kTypes[i][j]) << i << j;
            EXPECT_EQ(fieldsOf(product), slowProduct(all[i], all[j])) << i << j;  // small integers: exact
            R_Matrix_Append(&appended, &all[j]);
            R_Matrix_Prepend(&prepended, &all[i]);
            EXPECT_TRUE(fieldsOf(appended) == fieldsOf(product) && fieldsOf(prepended) == fieldsOf(product)) << i << j;
            EXPECT_TRUE(appended.Type == product.Type && prepended.Type == product.Type) << i << j;

            // First a, then b, is a x b.
            PointD p{3, -7}, q = p, v = p, points[3] = {{0, 0}, {3, -7}, {1, 0}};
            R_Matrix_TransformPoint(&all[i], &p);
            R_PointD_Multiply(&p, &all[j]);
            R_Matrix_TransformPoint(&product, &q);
            R_Matrix_TransformPoints(&product, points, 3);
            R_Matrix_TransformVector(&product, &v);
            EXPECT_TRUE(p.X == q.X && p.Y == q.Y && p.X == points[1].X && p.Y == points[1].Y) << i << j;
            EXPECT_TRUE(v.X == p.X - points[0].X && v.Y == p.Y - points[0].Y) << i << j;
        }
        MATRIX square = all[i];
        R_Matrix_Append(&square, &square);
        EXPECT_EQ(fieldsOf(square), slowProduct(all[i], all[i])) << i;
    }
    // Only a general product is classified: it may come down to an identity, a product of scales stays a scale.
    MATRIX shear = make(1, 1, 0, 1, 0, 0), back = make(1, -1, 0, 1, 0, 0), twice = make(2, 0, 0, 2, 0, 0);
    R_Matrix_Append(&shear, &back);
    EXPECT_EQ(shear.Type, 0u);
    R_Matrix_Scale(&twice, 0.5, 0.5);
    EXPECT_EQ(twice.Type, 2u);
    EXPECT_TRUE(R_Matrix_IsIdentity(&twice));
}

TEST(Matrix, InverseUndoes) {
    for (const MATRIX& m : oneOfEach()) {
        MATRIX inverse = m, product;
        ASSERT_EQ(R_Matrix_Invert(&inverse), 1);
        EXPECT_EQ(inverse.Type, m.Type);
        R_Matrix_Multiply(&product, &m, &inverse);
        const auto f = fieldsOf(product), one = fieldsOf(MATRIX{});
        for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(f[i], one[i], 1e-14) << m.Type << ' ' << i;
    }
    MATRIX flat = make(2, 4, 1, 2 + 2e-16, 5, 6), before = flat, tiny = make(1e-8, 0, 0, 1e-8, 1, 1);
    EXPECT_TRUE(R_Matrix_Invert(&flat) == 0 && R_Matrix_IsEqual(&flat, &before) && flat.Type == 4);
    EXPECT_TRUE(!R_Matrix_HasInverse(&tiny) && R_Matrix_Determinant(&tiny) != 0);
}

TEST(Matrix, FieldsAndTypes) {
    MATRIX m{};  // zeros act as an identity
    const MATRIX zeros{};
    EXPECT_TRUE(R_Matrix_IsIdentity(&m) && R_Matrix_GetM22(&m) == 1 && R_Matrix_Determinant(&m) == 1);
    R_Matrix_SetM11(&m, 1);
    EXPECT_EQ(m.Type, 2u);  // and stays a scale, though it does nothing
    EXPECT_TRUE(m.M22 == 1 && R_Matrix_IsIdentity(&m) && R_Matrix_IsEqual(&m, &zeros));
    R_Matrix_SetOffsetY(&m, 5);
    EXPECT_EQ(m.Type, 3u);
    EXPECT_FALSE(R_Matrix_IsEqual(&m, &zeros));
    MATRIX same = make(1, 0, 0, 1, 0, 5);
    EXPECT_TRUE(same.Type == 1 && R_Matrix_IsEqual(&m, &same));  // Type doesn't count
    same.OffsetY = std::nextafter(5.0, 6.0);
    EXPECT_FALSE(R_Matrix_IsEqual(&m, &same));  // and there is no tolerance
    R_Matrix_SetM21(&m, 0);
    EXPECT_EQ(m.Type, 4u);
    R_Matrix_SetM22(&m, 2);
    R_Matrix_Translate(&m, 1, 2);
    EXPECT_EQ(m.Type, 4u);
    EXPECT_EQ(fieldsOf(m), (std::array<double, 6>{1, 0, 0, 2, 1, 7}));
    R_Matrix_TranslatePrepend(&m, 10, 10);
    EXPECT_EQ(fieldsOf(m), (std::array<double, 6>{1, 0, 0, 2, 11, 27}));
    MATRIX moved{};
    R_Matrix_Translate(&moved, 0, 0);
    EXPECT_TRUE(moved.Type == 1 && moved.M11 == 1 && moved.M22 == 1);
    MATRIX scaled{};
    R_Matrix_ScaleAt(&scaled, 3, 4, 10, 20);
    EXPECT_EQ(fieldsOf(scaled), (std::array<double, 6>{3, 0, 0, 4, -20, -60}));
    EXPECT_EQ(scaled.Type, 3u);
}

// Taylor's series in 113 bits: as good as exact but where the result vanishes.
double slowSine(double t, int nFirstPower) {
    __float128 term = nFirstPower ? t : 1, sum = 0;
    for (int n = nFirstPower; n < 80; n += 2) {
        sum += term;
        term *= -(__float128(t) * t) / ((n + 1) * (n + 2));
    }
    return static_cast<double>(sum);
}

// Neighbouring doubles of one sign have neighbouring bits.
uint64_t ulps(double a, double b) { return std::max(bitsOf(a), bitsOf(b)) - std::min(bitsOf(a), bitsOf(b)); }

TEST(Matrix, RotationAndSkew) {
    uint64_t uDigest = 0xCBF29CE484222325;
    for (int i = 0; i < 1440; ++i) {
        if (i % 360 == 0) continue;
        const double t = i * 0.25 * 0.017453292519943295;
        MATRIX m{};
        R_Matrix_Rotate(&m, i * 0.25 - 360);
        ASSERT_LE(ulps(m.M11, slowSine(t, 0)), 1u) << i;
        ASSERT_LE(ulps(m.M12, slowSine(t, 1)), 1u) << i;
        ASSERT_TRUE(m.M21 == -m.M12 && m.M22 == m.M11 && m.Type == 4) << i;
        MATRIX s{};
        R_Matrix_SkewPrepend(&s, i * 0.25, 0);
        ASSERT_NEAR(s.M21 / (slowSine(t, 1) / slowSine(t, 0)), 1, 1e-15) << i;
        ASSERT_TRUE(s.M11 == 1 && s.M12 == 0 && s.M22 == 1) << i;
        for (double d : {m.M11, m.M12, s.M21}) uDigest = (uDigest ^ bitsOf(d)) * 0x100000001B3u;
    }
    EXPECT_EQ(uDigest, 1123107664561160968u);  // the same bits in every build
    MATRIX quarter{}, half{};
    R_Matrix_RotateAt(&quarter, 90, 10, 20);
    EXPECT_EQ(quarter.M11, 6.123233995736766e-17);  // the cosine of the double nearest to a right angle
    PointD p{11, 20};
    R_Matrix_TransformPoint(&quarter, &p);
    EXPECT_TRUE(R_Double_AreClose(p.X, 10) && R_Double_AreClose(p.Y, 21));
    R_Matrix_Rotate(&half, -180);
    EXPECT_EQ(half.M12, 1.2246467991473532e-16);

    MATRIX after = make(2, 0, 0, 1, 0, 0), before = after;  // order counts
    R_Matrix_RotateAt(&after, 90, 0, 0);
    R_Matrix_RotateAtPrepend(&before, 90, 0, 0);
    PointD a{1, 0}, b{1, 0};
    R_Matrix_TransformPoint(&after, &a);
    R_Matrix_TransformPoint(&before, &b);
    EXPECT_TRUE(R_Double_AreClose(a.Y, 2) && R_Double_AreClose(b.Y, 1));
}

TEST(Matrix, Rectangles) {
    RectD r{1, 2, 3, 4};
    MATRIX m = make(-2, 0, 0, -3, 10, 20);
    R_Matrix_TransformRect(&m, &r);
    EXPECT_TRUE(isSame(r, 2, 2, 6, 12));
    MATRIX general = make(0, 1, -1, 0, 10, 0);  // (x, y) becomes (10 - y, x)
    r = {1, 2, 3, 4};
    R_RectD_Transform(&r, &general);
    EXPECT_TRUE(isSame(r, 4, 1, 4, 3));
    r = {1, 2, -3, 4};  // a translation doesn't turn it round
    m = make(1, 0, 0, 1, 1, 1);
    R_Matrix_TransformRect(&m, &r);
    EXPECT_TRUE(isSame(r, 2, 3, -3, 4));
    r = {1, 2, DBL_MIN, 4};
    R_Matrix_TransformRect(&general, &r);
    EXPECT_TRUE(isSame(r, 1, 2, DBL_MIN, 4));
}

TEST(Rect, SetsOfPoints) {
    std::vector<RECT> all;
    for (int l = -1; l < 3; ++l)
        for (int w = 0; w < 3; ++w)
            for (int t = 0; t < 3; ++t)
                for (int h = 0; h < 3; ++h) all.push_back({l, t, l + w, t + h});
    for (const RECT& a : all)
        for (const RECT& b : all) {
            RECT both, box = b;
            R_Rect_Intersect(&both, &a, &b);
            R_Rect_Union(&box, &a, &box);
            int nShared = 0;
            for (POINT p{-2, -2}; p.y < 6; p.x = p.x < 6 ? p.x + 1 : (++p.y, -2)) {
                const bool bInA = R_Rect_ContainsPoint(&a, &p), bInB = R_Rect_ContainsPoint(&b, &p);
                nShared += bInA && bInB;
                ASSERT_EQ(bInA && bInB, R_Rect_ContainsPoint(&both, &p) != 0);
            }
            ASSERT_EQ(nShared, R_Rect_Width(&both) * R_Rect_Height(&both));
            ASSERT_TRUE(!nShared || (R_Rect_IntersectsWith(&a, &b) && R_Rect_ContainsRect(&a, &both)));
            ASSERT_TRUE(R_Rect_ContainsRect(&box, &a) && R_Rect_ContainsRect(&box, &b));
            ASSERT_TRUE(box.left == std::min(a.left, b.left) && box.bottom == std::max(a.bottom, b.bottom));
        }
    const RECT a{0, 0, 4, 4}, touching{4, 1, 6, 3}, apart{5, 0, 6, 1}, line{3, 3, 3, 8};
    RECT out;
    R_Rect_Intersect(&out, &a, &touching);
    EXPECT_TRUE(isSame(out, {4, 1, 4, 3}) && !R_Rect_IsEmpty(&out) && !R_Rect_IntersectsWith(&a, &touching));
    R_Rect_Intersect(&out, &a, &apart);
    EXPECT_TRUE(isSame(out, {0, 0, 0, 0}) && R_Rect_IsEmpty(&out));
    EXPECT_FALSE(R_Rect_IsEmpty(&line));
}

TEST(Rect, WrapsAround) {
    RECT r;
    R_Rect_Make(&r, INT32_MAX, INT32_MIN, 2, -1);
    EXPECT_TRUE(isSame(r, {INT32_MAX, INT32_MIN, INT32_MIN + 1, INT32_MAX}));
    EXPECT_TRUE(R_Rect_Width(&r) == 2 && R_Rect_Height(&r) == -1);
    const SIZE grow{INT32_MIN, 1};
    R_Rect_Inflate(&r, &grow);
    EXPECT_TRUE(isSame(r, {-1, INT32_MAX, 1, INT32_MIN}));
    const POINT by{INT32_MAX, 1};
    R_Rect_Offset(&r, &by);
    EXPECT_TRUE(isSame(r, {INT32_MAX - 1, INT32_MIN, INT32_MIN, INT32_MIN + 1}));
    R_Rect_FromLTRB(&r, 5, -1, 2, -9);
    EXPECT_TRUE(isSame(r, {2, -9, 5, -1}));
    RectD wide;
    const RECT whole{INT32_MAX, INT32_MIN, INT32_MIN, INT32_MAX};
    R_Rect_ToRectD(&whole, &wide);
    EXPECT_TRUE(isSame(wide, -2147483648.0, -2147483648.0, 4294967295.0, 4294967295.0));
}

TEST(RectD, Rules) {
    const RectD a{0, 0, 4, 4}, touching{4, 1, 2, 2}, apart{4.5, 0, 1, 1}, thin{1, 1, DBL_MIN, 9},
        endless{1, 1, DBL_MAX, 1}, backwards{10, 5, -3, 2};
    EXPECT_TRUE(R_RectD_Left(&backwards) == 13 && R_RectD_Right(&backwards) == 10 && R_RectD_Bottom(&backwards) == 7);
    PointD corner;
    R_RectD_TopRight(&a, &corner);
    EXPECT_TRUE(corner.X == 4 && corner.Y == 0 && R_RectD_ContainsPoint(&a, &corner));
    R_RectD_BottomLeft(&a, &corner);
    EXPECT_TRUE(corner.X == 0 && corner.Y == 4);
    corner.Y = std::nextafter(4.0, 5.0);
    EXPECT_FALSE(R_RectD_ContainsPoint(&a, &corner));
    RectD out;
    R_RectD_Intersect(&out, &a, &touching);
    EXPECT_TRUE(isSame(out, 4, 1, 0, 2) && !R_RectD_IsEmpty(&out) && R_RectD_ContainsRect(&a, &out));
    R_RectD_Intersect(&out, &a, &apart);
    EXPECT_TRUE(isSame(out, DBL_MAX, DBL_MAX, DBL_MIN, DBL_MIN));
    EXPECT_FALSE(R_RectD_IntersectsWith(&a, &thin) || R_RectD_ContainsRect(&a, &thin));
    R_RectD_Union(&out, &thin, &a);
    EXPECT_TRUE(isSame(out, 0, 0, 4, 4));
    R_RectD_Union(&out, &out, &thin);
    EXPECT_TRUE(isSame(out, 0, 0, 4, 4));
    R_RectD_Union(&out, &out, &endless);
    EXPECT_TRUE(isSame(out, 0, 0, DBL_MAX, 4));
    R_RectD_Union(&out, &a, &apart);
    EXPECT_TRUE(isSame(out, 0, 0, 5.5, 4));
    R_RectD_Scale(&out, -2, 3);
    EXPECT_TRUE(isSame(out, -11, 0, 11, 12));
    const SizeD grow{1, 2};
    R_RectD_Inflate(&out, &grow);
    EXPECT_TRUE(isSame(out, -12, -2, 13, 16));
    out = thin;
    R_RectD_Scale(&out, 2, 2);
    EXPECT_TRUE(isSame(out, 1, 1, DBL_MIN, 9));
    R_RectD_FromLTRB(&out, 5, 1, 2, 3);
    EXPECT_TRUE(isSame(out, 2, 1, 3, 2));
    R_RectD_Make(&out, 0, 0, kNan, 0);
    EXPECT_TRUE(R_Double_RectHasNaN(&out) && !R_Double_RectHasNaN(&a));
}

TEST(SquareRoot, IsTheFloor) {
    const auto check = [](uint32_t n) {
        const uint64_t s = R_SQRT(n);
        return s * s <= n && (s + 1) * (s + 1) > n;
    };
    for (uint64_t s = 1; s < 65536; ++s) {
        ASSERT_TRUE(check(uint32_t(s * s)) && check(uint32_t(s * s - 1))) << s;
        ASSERT_TRUE(check(uint32_t(s * s + s)) && check(uint32_t(s * s + 2 * s))) << s;
    }
}

}  // namespace
