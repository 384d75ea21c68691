// Rectangles of doubles.
#include <algorithm>
#include <cfloat>

#include "ravokit/numeric.h"

namespace rv {
namespace {

constexpr RectD kEmpty{DBL_MAX, DBL_MAX, DBL_MIN, DBL_MIN};

bool isEmpty(const RectD& r) noexcept { return r.Width == DBL_MIN || r.Height == DBL_MIN; }

// The edges of one dimension, after its position and length. A negative length puts the low edge above the position.
double lowEdge(double d, double dLength) noexcept { return dLength >= 0 ? d : d - dLength; }
double highEdge(double d, double dLength) noexcept { return dLength >= 0 ? d + dLength : d; }

double unionLength(double dLengthA, double dLengthB, double dHigh, double dLow) noexcept {
    return dLengthA == DBL_MAX || dLengthB == DBL_MAX ? DBL_MAX : std::max(0.0, dHigh - dLow);
}

void scaleSpan(double& d, double& dLength, double dScale) noexcept {
    d *= dScale;
    dLength *= dScale;
    if (dScale < 0) {
        d += dLength;
        dLength = -dLength;
    }
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" void R_RectD_Make(RectD* r, double x, double y, double w, double h) noexcept { *r = {x, y, w, h}; }
extern "C" void R_RectD_FromLTRB(RectD* r, double l, double t, double rt, double b) noexcept {
    const double x = std::min(l, rt), y = std::min(t, b);
    *r = {x, y, std::max(l, rt) - x, std::max(t, b) - y};
}
extern "C" void R_RectD_Empty(RectD* r) noexcept { *r = kEmpty; }
extern "C" int32_t R_RectD_IsEmpty(const RectD* r) noexcept { return isEmpty(*r); }
extern "C" int32_t R_RectD_IsEqual(const RectD* a, const RectD* b) noexcept { return R_Double_AreCloseRects(a, b); }

extern "C" double R_RectD_Left(const RectD* r) noexcept { return lowEdge(r->X, r->Width); }
extern "C" double R_RectD_Top(const RectD* r) noexcept { return lowEdge(r->Y, r->Height); }
extern "C" double R_RectD_Right(const RectD* r) noexcept { return highEdge(r->X, r->Width); }
extern "C" double R_RectD_Bottom(const RectD* r) noexcept { return highEdge(r->Y, r->Height); }
extern "C" void R_RectD_TopLeft(const RectD* r, PointD* out) noexcept { *out = {R_RectD_Left(r), R_RectD_Top(r)}; }
extern "C" void R_RectD_TopRight(const RectD* r, PointD* out) noexcept { *out = {R_RectD_Right(r), R_RectD_Top(r)}; }
extern "C" void R_RectD_BottomRight(const RectD* r, PointD* out) noexcept {
    *out = {R_RectD_Right(r), R_RectD_Bottom(r)};
}
extern "C" void R_RectD_BottomLeft(const RectD* r, PointD* out) noexcept {
    *out = {R_RectD_Left(r), R_RectD_Bottom(r)};
}
extern "C" void R_RectD_Size(const RectD* r, SizeD* out) noexcept { *out = {r->Width, r->Height}; }

extern "C" int32_t R_RectD_ContainsPoint(const RectD* r, const PointD* p) noexcept {
    return !isEmpty(*r) && p->X >= r->X && p->X - r->Width <= r->X && p->Y >= r->Y && p->Y - r->Height <= r->Y;
}
extern "C" int32_t R_RectD_ContainsRect(const RectD* r, const RectD* q) noexcept {
    return !isEmpty(*r) && !isEmpty(*q) && r->X <= q->X && r->Y <= q->Y && r->X + r->Width >= q->X + q->Width &&
           r->Y + r->Height >= q->Y + q->Height;
}
extern "C" int32_t R_RectD_IntersectsWith(const RectD* a, const RectD* b) noexcept {
    return !isEmpty(*a) && !isEmpty(*b) && R_RectD_Left(b) <= R_RectD_Right(a) && R_RectD_Right(b) >= R_RectD_Left(a) &&
           R_RectD_Top(b) <= R_RectD_Bottom(a) && R_RectD_Bottom(b) >= R_RectD_Top(a);
}

extern "C" void R_RectD_Intersect(RectD* out, const RectD* a, const RectD* b) noexcept {
    if (!R_RectD_IntersectsWith(a, b)) {
        *out = kEmpty;
        return;
    }
    const double x = std::max(R_RectD_Left(a), R_RectD_Left(b)), y = std::max(R_RectD_Top(a), R_RectD_Top(b));
    *out = {x, y, std::max(0.0, std::min(R_RectD_Right(a), R_RectD_Right(b)) - x),
            std::max(0.0, std::min(R_RectD_Bottom(a), R_RectD_Bottom(b)) - y)};
}
extern "C" void R_RectD_Union(RectD* out, const RectD* a, const RectD* b) noexcept {
    if (isEmpty(*a) || isEmpty(*b)) {
        *out = isEmpty(*a) ? *b : *a;
        return;
    }
    const double x = std::min(R_RectD_Left(a), R_RectD_Left(b)), y = std::min(R_RectD_Top(a), R_RectD_Top(b));
    *out = {x, y, unionLength(a->Width, b->Width, std::max(R_RectD_Right(a), R_RectD_Right(b)), x),
            unionLength(a->Height, b->Height, std::max(R_RectD_Bottom(a), R_RectD_Bottom(b)), y)};
}

extern "C" void R_RectD_Offset(RectD* r, const PointD* p) noexcept {
    *r = {r->X + p->X, r->Y + p->Y, r->Width, r->Height};
}
// Each length grows twice by the size, not once by its double: the sums round differently.
extern "C" void R_RectD_Inflate(RectD* r, const SizeD* s) noexcept {
    *r = {r->X - s->Width, r->Y - s->Height, r->Width + s->Width + s->Width, r->Height + s->Height + s->Height};
}
extern "C" void R_RectD_Scale(RectD* r, double sx, double sy) noexcept {
    if (isEmpty(*r)) return;
    scaleSpan(r->X, r->Width, sx);
    scaleSpan(r->Y, r->Height, sy);
}
extern "C" void R_RectD_Transform(RectD* r, const MATRIX* m) noexcept { R_Matrix_TransformRect(m, r); }

extern "C" void R_RectD_ToRect(const RectD* r, RECT* out) noexcept {
    if (isEmpty(*r))
        *out = {0, 0, 0, 0};
    else
        R_Rect_Make(out, R_Double_DoubleToInt(r->X), R_Double_DoubleToInt(r->Y), R_Double_DoubleToInt(r->Width),
                    R_Double_DoubleToInt(r->Height));
}
