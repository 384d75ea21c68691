// Affine matrices. Type remembers what a matrix can do, so that simple ones stay cheap and exact.
#include <algorithm>
#include <cmath>

#include "ravokit/numeric.h"

namespace rv {
namespace {

enum : uint32_t { kIdentity = 0, kTranslation = 1, kScaling = 2, kScalingTranslation = 3, kGeneral = 4 };
constexpr MATRIX kIdentityMatrix{1, 0, 0, 1, 0, 0, kIdentity};
constexpr double kRadiansPerDegree = 0.017453292519943295;

bool hasIdentityValues(const MATRIX& m) noexcept {
    return m.M11 == 1 && m.M12 == 0 && m.M21 == 0 && m.M22 == 1 && m.OffsetX == 0 && m.OffsetY == 0;
}

void classify(MATRIX& m) noexcept {
    if (m.M21 != 0 || m.M12 != 0) {
        m.Type = kGeneral;
        return;
    }
    m.Type = (m.M11 != 1 || m.M22 != 1 ? kScaling : kIdentity) |
             (m.OffsetX != 0 || m.OffsetY != 0 ? kTranslation : kIdentity);
}

// Gives a matrix of Type 0 the values it stands for, before some of them are stored.
void fillIdentity(MATRIX& m) noexcept {
    if (m.Type == kIdentity) m = kIdentityMatrix;
}

// Adds what a matrix can do; from kGeneral on it can do everything.
void gain(MATRIX& m, uint32_t uBit) noexcept { m.Type = std::min<uint32_t>(m.Type | uBit, kGeneral); }

double getField(const MATRIX& m, double MATRIX::*field) noexcept {
    return (m.Type == kIdentity ? kIdentityMatrix : m).*field;
}
void setField(MATRIX& m, double MATRIX::*field, double dValue, uint32_t uBit) noexcept {
    fillIdentity(m);
    m.*field = dValue;
    gain(m, uBit);
}

// ---- Products ----

MATRIX multiplyGeneral(const MATRIX& a, const MATRIX& b) noexcept {
    MATRIX out = {a.M11 * b.M11 + a.M12 * b.M21,
                  a.M11 * b.M12 + a.M12 * b.M22,
                  a.M21 * b.M11 + a.M22 * b.M21,
                  a.M21 * b.M12 + a.M22 * b.M22,
                  a.OffsetX * b.M11 + a.OffsetY * b.M21 + b.OffsetX,
                  a.OffsetX * b.M12 + a.OffsetY * b.M22 + b.OffsetY,
                  kGeneral};
    classify(out);
    return out;
}

MATRIX multiplyScales(const MATRIX& a, const MATRIX& b) noexcept {
    MATRIX out = a;
    out.M11 *= b.M11;
    out.M22 *= b.M22;
    if (a.Type == kScalingTranslation) {
        out.OffsetX *= b.M11;
        out.OffsetY *= b.M22;
        if (b.Type == kScalingTranslation) {
            out.OffsetX += b.OffsetX;
            out.OffsetY += b.OffsetY;
        }
    } else if (b.Type == kScalingTranslation) {
        out.OffsetX = b.OffsetX;
        out.OffsetY = b.OffsetY;
        out.Type = kScalingTranslation;
    }
    return out;
}

MATRIX multiply(const MATRIX& a, const MATRIX& b) noexcept {
    if (b.Type == kIdentity) return a;
    if (a.Type == kIdentity) return b;
    if (b.Type == kTranslation) {
        MATRIX out = a;
        out.OffsetX += b.OffsetX;
        out.OffsetY += b.OffsetY;
        gain(out, kTranslation);
        return out;
    }
    if (a.Type == kTranslation) {
        MATRIX out = b;
        out.OffsetX = b.OffsetX + b.M11 * a.OffsetX + b.M21 * a.OffsetY;
        out.OffsetY = b.OffsetY + b.M12 * a.OffsetX + b.M22 * a.OffsetY;
        out.Type = b.Type >= kGeneral ? kGeneral : kScalingTranslation;
        return out;
    }
    return a.Type >= kGeneral || b.Type >= kGeneral ? multiplyGeneral(a, b) : multiplyScales(a, b);
}

// ---- What a matrix is multiplied with ----

// The libraries of the two data models, and even the forms of one library for several processors, differ in the last
// bit of a double's sine. In extended precision their algorithm is the same, and rounding it hides all but its rarest
// errors.
long double radians(double a) noexcept { return R_Double_NormalizeAngle(a) * kRadiansPerDegree; }

MATRIX rotation(double a, double cx, double cy) noexcept {
    const long double t = radians(a);
    const double c = static_cast<double>(std::cos(t)), s = static_cast<double>(std::sin(t));
    return {c, s, -s, c, cx * (1 - c) + cy * s, cy * (1 - c) - cx * s, kGeneral};
}
MATRIX scaling(double sx, double sy) noexcept { return {sx, 0, 0, sy, 0, 0, kScaling}; }
MATRIX scalingAt(double sx, double sy, double cx, double cy) noexcept {
    return {sx, 0, 0, sy, cx - sx * cx, cy - sy * cy, kScalingTranslation};
}
MATRIX skew(double ax, double ay) noexcept {
    const double tx = static_cast<double>(std::tan(radians(ax))), ty = static_cast<double>(std::tan(radians(ay)));
    return {1, ty, tx, 1, 0, 0, kGeneral};
}
MATRIX translation(double dx, double dy) noexcept { return {1, 0, 0, 1, dx, dy, kTranslation}; }

// ---- Transforms ----

// The points p[0] to p[n - 1]; m is a copy, since a matrix might lie among the points.
void transformPoints(const MATRIX m, PointD* p, int32_t n) noexcept {
    switch (m.Type) {
        case kIdentity:
            return;
        case kTranslation:
            for (int32_t i = 0; i < n; ++i) p[i] = {p[i].X + m.OffsetX, p[i].Y + m.OffsetY};
            return;
        case kScaling:
            for (int32_t i = 0; i < n; ++i) p[i] = {p[i].X * m.M11, p[i].Y * m.M22};
            return;
        case kScalingTranslation:
            for (int32_t i = 0; i < n; ++i) p[i] = {p[i].X * m.M11 + m.OffsetX, p[i].Y * m.M22 + m.OffsetY};
            return;
        default:
            for (int32_t i = 0; i < n; ++i)
                p[i] = {p[i].X * m.M11 + p[i].Y * m.M21 + m.OffsetX, p[i].X * m.M12 + p[i].Y * m.M22 + m.OffsetY};
    }
}

void turnRound(double& d, double& dLength) noexcept {
    if (dLength < 0) {
        d += dLength;
        dLength = -dLength;
    }
}

RectD boxOfCorners(const MATRIX& m, const RectD& r) noexcept {
    PointD corners[4];
    R_RectD_TopLeft(&r, &corners[0]);
    R_RectD_TopRight(&r, &corners[1]);
    R_RectD_BottomRight(&r, &corners[2]);
    R_RectD_BottomLeft(&r, &corners[3]);
    transformPoints(m, corners, 4);
    const auto [left, right] = std::minmax({corners[0].X, corners[1].X, corners[2].X, corners[3].X});
    const auto [top, bottom] = std::minmax({corners[0].Y, corners[1].Y, corners[2].Y, corners[3].Y});
    return {left, top, right - left, bottom - top};
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" void R_Matrix_Identity(MATRIX* m) noexcept { *m = kIdentityMatrix; }
extern "C" void R_Matrix_Set(MATRIX* m, double m11, double m12, double m21, double m22, double dx, double dy) noexcept {
    *m = {m11, m12, m21, m22, dx, dy, kIdentity};
    classify(*m);
}
extern "C" int32_t R_Matrix_IsIdentity(const MATRIX* m) noexcept {
    return m->Type == kIdentity || hasIdentityValues(*m);
}
extern "C" int32_t R_Matrix_IsEqual(const MATRIX* a, const MATRIX* b) noexcept {
    if (a->Type == kIdentity || b->Type == kIdentity) return R_Matrix_IsIdentity(a) == R_Matrix_IsIdentity(b);
    return a->M11 == b->M11 && a->M12 == b->M12 && a->M21 == b->M21 && a->M22 == b->M22 && a->OffsetX == b->OffsetX &&
           a->OffsetY == b->OffsetY;
}

extern "C" double R_Matrix_Determinant(const MATRIX* m) noexcept {
    switch (m->Type) {
        case kIdentity:
        case kTranslation:
            return 1;
        case kScaling:
        case kScalingTranslation:
            return m->M11 * m->M22;
        default:
            return m->M11 * m->M22 - m->M12 * m->M21;
    }
}
extern "C" int32_t R_Matrix_HasInverse(const MATRIX* m) noexcept { return !R_Double_IsZero(R_Matrix_Determinant(m)); }

extern "C" int32_t R_Matrix_Invert(MATRIX* m) noexcept {
    if (!R_Matrix_HasInverse(m)) return 0;
    switch (m->Type) {
        case kIdentity:
            break;
        case kTranslation:
            m->OffsetX = -m->OffsetX;
            m->OffsetY = -m->OffsetY;
            break;
        case kScaling:
        case kScalingTranslation:
            m->M11 = 1 / m->M11;
            m->M22 = 1 / m->M22;
            if (m->Type == kScalingTranslation) {
                m->OffsetX = -m->OffsetX * m->M11;
                m->OffsetY = -m->OffsetY * m->M22;
            }
            break;
        default: {
            const double r = 1 / R_Matrix_Determinant(m);
            *m = {m->M22 * r,
                  -m->M12 * r,
                  -m->M21 * r,
                  m->M11 * r,
                  (m->M21 * m->OffsetY - m->M22 * m->OffsetX) * r,
                  (m->M12 * m->OffsetX - m->OffsetY * m->M11) * r,
                  m->Type};
        }
    }
    return 1;
}

extern "C" double R_Matrix_GetM11(const MATRIX* m) noexcept { return getField(*m, &MATRIX::M11); }
extern "C" double R_Matrix_GetM12(const MATRIX* m) noexcept { return getField(*m, &MATRIX::M12); }
extern "C" double R_Matrix_GetM21(const MATRIX* m) noexcept { return getField(*m, &MATRIX::M21); }
extern "C" double R_Matrix_GetM22(const MATRIX* m) noexcept { return getField(*m, &MATRIX::M22); }
extern "C" double R_Matrix_GetOffsetX(const MATRIX* m) noexcept { return getField(*m, &MATRIX::OffsetX); }
extern "C" double R_Matrix_GetOffsetY(const MATRIX* m) noexcept { return getField(*m, &MATRIX::OffsetY); }
extern "C" void R_Matrix_SetM11(MATRIX* m, double value) noexcept { setField(*m, &MATRIX::M11, value, kScaling); }
extern "C" void R_Matrix_SetM22(MATRIX* m, double value) noexcept { setField(*m, &MATRIX::M22, value, kScaling); }
extern "C" void R_Matrix_SetM12(MATRIX* m, double value) noexcept { setField(*m, &MATRIX::M12, value, kGeneral); }
extern "C" void R_Matrix_SetM21(MATRIX* m, double value) noexcept { setField(*m, &MATRIX::M21, value, kGeneral); }
extern "C" void R_Matrix_SetOffsetX(MATRIX* m, double value) noexcept {
    setField(*m, &MATRIX::OffsetX, value, kTranslation);
}
extern "C" void R_Matrix_SetOffsetY(MATRIX* m, double value) noexcept {
    setField(*m, &MATRIX::OffsetY, value, kTranslation);
}

extern "C" void R_Matrix_Multiply(MATRIX* out, const MATRIX* a, const MATRIX* b) noexcept { *out = multiply(*a, *b); }
extern "C" void R_Matrix_Append(MATRIX* m, const MATRIX* x) noexcept { *m = multiply(*m, *x); }
extern "C" void R_Matrix_Prepend(MATRIX* m, const MATRIX* x) noexcept { *m = multiply(*x, *m); }

extern "C" void R_Matrix_Rotate(MATRIX* m, double a) noexcept { R_Matrix_RotateAt(m, a, 0, 0); }
extern "C" void R_Matrix_RotatePrepend(MATRIX* m, double a) noexcept { R_Matrix_RotateAtPrepend(m, a, 0, 0); }
extern "C" void R_Matrix_RotateAt(MATRIX* m, double a, double cx, double cy) noexcept {
    *m = multiply(*m, rotation(a, cx, cy));
}
extern "C" void R_Matrix_RotateAtPrepend(MATRIX* m, double a, double cx, double cy) noexcept {
    *m = multiply(rotation(a, cx, cy), *m);
}
extern "C" void R_Matrix_Scale(MATRIX* m, double sx, double sy) noexcept { *m = multiply(*m, scaling(sx, sy)); }
extern "C" void R_Matrix_ScalePrepend(MATRIX* m, double sx, double sy) noexcept { *m = multiply(scaling(sx, sy), *m); }
extern "C" void R_Matrix_ScaleAt(MATRIX* m, double sx, double sy, double cx, double cy) noexcept {
    *m = multiply(*m, scalingAt(sx, sy, cx, cy));
}
extern "C" void R_Matrix_ScaleAtPrepend(MATRIX* m, double sx, double sy, double cx, double cy) noexcept {
    *m = multiply(scalingAt(sx, sy, cx, cy), *m);
}
extern "C" void R_Matrix_Skew(MATRIX* m, double ax, double ay) noexcept { *m = multiply(*m, skew(ax, ay)); }
extern "C" void R_Matrix_SkewPrepend(MATRIX* m, double ax, double ay) noexcept { *m = multiply(skew(ax, ay), *m); }
extern "C" void R_Matrix_Translate(MATRIX* m, double dx, double dy) noexcept { *m = multiply(*m, translation(dx, dy)); }
extern "C" void R_Matrix_TranslatePrepend(MATRIX* m, double dx, double dy) noexcept {
    *m = multiply(translation(dx, dy), *m);
}

extern "C" void R_Matrix_TransformPoint(const MATRIX* m, PointD* p) noexcept { transformPoints(*m, p, 1); }
extern "C" void R_Matrix_TransformPoints(const MATRIX* m, PointD* p, int32_t n) noexcept { transformPoints(*m, p, n); }
extern "C" void R_Matrix_TransformVector(const MATRIX* m, PointD* v) noexcept {
    switch (m->Type) {
        case kIdentity:
        case kTranslation:
            return;
        case kScaling:
        case kScalingTranslation:
            *v = {v->X * m->M11, v->Y * m->M22};
            return;
        default:
            *v = {v->X * m->M11 + v->Y * m->M21, v->X * m->M12 + v->Y * m->M22};
    }
}
extern "C" void R_Matrix_TransformRect(const MATRIX* m, RectD* r) noexcept {
    if (R_RectD_IsEmpty(r)) return;
    if (m->Type >= kGeneral) {
        *r = boxOfCorners(*m, *r);
        return;
    }
    if (m->Type & kScaling) {
        *r = {r->X * m->M11, r->Y * m->M22, r->Width * m->M11, r->Height * m->M22};
        turnRound(r->X, r->Width);
        turnRound(r->Y, r->Height);
    }
    if (m->Type & kTranslation) {
        r->X += m->OffsetX;
        r->Y += m->OffsetY;
    }
}
