// Doubles compared with tolerance and rounded, and the small records made of them: points, sizes, lengths.
#include <bit>
#include <cfloat>
#include <cmath>

#include "ravokit/numeric.h"

namespace rv {
namespace {

constexpr double kEpsilon = 2.220446049250313e-16;    // of the machine
constexpr double kTolerance = 2.220446049250313e-15;  // of tests against a constant
constexpr double kEmptyCoordinate = std::bit_cast<double>(uint64_t(0x7FFFFFFFFFFFFFFF));

bool areClose(double a, double b) noexcept {
    if (a == b) return true;  // infinities have no difference
    const double dLimit = (std::fabs(a) + std::fabs(b) + 10.0) * kEpsilon, dDifference = a - b;
    return -dLimit < dDifference && dDifference < dLimit;
}

bool areClosePairs(double a0, double a1, double b0, double b1) noexcept { return areClose(a0, b0) && areClose(a1, b1); }

bool isEmpty(const PointD& p) noexcept { return std::isnan(p.X) && std::isnan(p.Y); }
bool isEmpty(const SizeD& s) noexcept { return s.Width == DBL_MIN || s.Height == DBL_MIN; }

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_Double_AreClose(double a, double b) noexcept { return areClose(a, b); }
extern "C" int32_t R_Double_LessThan(double a, double b) noexcept { return a < b && !areClose(a, b); }
extern "C" int32_t R_Double_GreaterThan(double a, double b) noexcept { return a > b && !areClose(a, b); }
extern "C" int32_t R_Double_LessThanOrClose(double a, double b) noexcept { return a < b || areClose(a, b); }
extern "C" int32_t R_Double_GreaterThanOrClose(double a, double b) noexcept { return a > b || areClose(a, b); }
extern "C" int32_t R_Double_IsOne(double a) noexcept { return std::fabs(a - 1.0) < kTolerance; }
extern "C" int32_t R_Double_IsZero(double a) noexcept { return std::fabs(a) < kTolerance; }

extern "C" int32_t R_Double_IsBetweenZeroAndOne(double a) noexcept {
    return (a > 0 || areClose(a, 0)) && (a < 1 || areClose(a, 1));
}

extern "C" int32_t R_Double_AreClosePoints(const PointD* a, const PointD* b) noexcept {
    return areClosePairs(a->X, a->Y, b->X, b->Y);
}
extern "C" int32_t R_Double_AreCloseSizes(const SizeD* a, const SizeD* b) noexcept {
    return areClosePairs(a->Width, a->Height, b->Width, b->Height);
}
extern "C" int32_t R_Double_AreCloseRects(const RectD* a, const RectD* b) noexcept {
    if (R_RectD_IsEmpty(a) || R_RectD_IsEmpty(b)) return R_RectD_IsEmpty(a) && R_RectD_IsEmpty(b);
    return areClosePairs(a->X, a->Y, b->X, b->Y) && areClosePairs(a->Height, a->Width, b->Height, b->Width);
}

extern "C" int32_t R_Double_DoubleToInt(double a) noexcept {
    if (std::isnan(a)) return 0;
    const double d = a <= 0 ? a - 0.5 : a + 0.5;
    if (d >= INT32_MAX) return INT32_MAX;
    if (d <= INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(d);
}

extern "C" int32_t R_Double_RectHasNaN(const RectD* r) noexcept {
    return std::isnan(r->X) || std::isnan(r->Y) || std::isnan(r->Width) || std::isnan(r->Height);
}
extern "C" int32_t R_Double_IsNaN(double a) noexcept { return std::isnan(a); }
extern "C" int32_t R_Double_IsInfinity(double a) noexcept { return !std::isfinite(a); }

// The remainder is what subtracting turn after turn leaves, as long as each of those differences is exact: up to 2^56.
// From there on a turn gets lost in rounding, and in the end none would change the angle at all; the remainder stays
// exact.
extern "C" double R_Double_NormalizeAngle(double a) noexcept {
    if (a > 360) {
        a = std::fmod(a, 360);
        return a == 0 ? 360 : a;
    }
    if (a < 0) {
        if (a < -360) a = std::fmod(a, 360);
        return a == 0 ? 0 : a + 360;
    }
    return a;
}

extern "C" void R_PointD_Empty(PointD* p) noexcept { *p = {kEmptyCoordinate, kEmptyCoordinate}; }
extern "C" int32_t R_PointD_IsEmpty(const PointD* p) noexcept { return isEmpty(*p); }
extern "C" int32_t R_PointD_IsEqual(const PointD* a, const PointD* b) noexcept {
    return isEmpty(*a) ? isEmpty(*b) : areClosePairs(a->X, a->Y, b->X, b->Y);
}
extern "C" void R_PointD_Multiply(PointD* p, const MATRIX* m) noexcept { R_Matrix_TransformPoint(m, p); }
extern "C" void R_PointD_ToPoint(const PointD* p, POINT* out) noexcept {
    *out = {R_Double_DoubleToInt(p->X), R_Double_DoubleToInt(p->Y)};  // a NaN is 0, so an empty point needs no test
}

extern "C" void R_SizeD_Make(SizeD* s, double w, double h) noexcept { *s = {w, h}; }
extern "C" void R_SizeD_Empty(SizeD* s) noexcept { *s = {DBL_MIN, DBL_MIN}; }
extern "C" int32_t R_SizeD_IsEmpty(const SizeD* s) noexcept { return isEmpty(*s); }
extern "C" int32_t R_SizeD_IsEqual(const SizeD* a, const SizeD* b) noexcept {
    return isEmpty(*a) ? isEmpty(*b) : areClosePairs(a->Width, a->Height, b->Width, b->Height);
}
extern "C" void R_SizeD_ToSize(const SizeD* s, SIZE* out) noexcept {
    *out = isEmpty(*s) ? SIZE{0, 0} : SIZE{R_Double_DoubleToInt(s->Width), R_Double_DoubleToInt(s->Height)};
}

extern "C" void R_LengthD_Make(LengthD* l, double value) noexcept { l->Value = value; }
extern "C" int32_t R_LengthD_IsEqual(const LengthD* a, const LengthD* b) noexcept {
    return areClose(a->Value, b->Value);
}
