// The polygon of an ellipse: four cubic Bézier arcs, each flattened into its start and eleven points of the curve.
#include "internal/contours_.h"

namespace rv {
namespace {

// The distance of control points is 0.5522847498 of the radius; the constant is half of that.
constexpr double kHalfControl = 0.2761423749154;
constexpr double kStep = 0.1;  // ten of them stay just below 1, so that an arc has eleven points

struct PointReal {
    double x, y;
};

// The curve in s = 2 u - 1.
double cubicAt(double p0, double p1, double p2, double p3, double s) noexcept {
    const double a = (p3 - p0 + 3 * (p1 - p2)) / 8;
    const double b = 3 * (p3 - p2 - p1 + p0) / 8;
    const double c = (p3 - p0) / 2 - a;
    const double d = (p3 + p0) / 2 - b;
    return ((a * s + b) * s + c) * s + d;
}

int32_t rounded(double d) noexcept { return int32_t(int64_t(d + 0.5)); }

}  // namespace

void ellipsePolygon(int32_t nLeft, int32_t nTop, int64_t nWidth, int64_t nHeight,
                    POINT (&points)[kEllipsePoints]) noexcept {
    const int64_t rx = nWidth / 2, ry = nHeight / 2;
    const auto kx = double(int64_t(0.5 + 2 * double(rx) * kHalfControl));
    const auto ky = double(int64_t(0.5 + 2 * double(ry) * kHalfControl));
    const double left = nLeft, top = nTop, cx = double(nLeft + rx), cy = double(nTop + ry);
    const double right = cx + double(rx), bottom = cy + double(ry);
    const PointReal control[] = {{left, cy},        {left, cy - ky},  {cx - kx, top},    {cx, top},
                                 {cx + kx, top},    {right, cy - ky}, {right, cy},       {right, cy + ky},
                                 {cx + kx, bottom}, {cx, bottom},     {cx - kx, bottom}, {left, cy + ky},
                                 {left, cy}};
    POINT* pOut = points;
    for (const PointReal* p = control; p < control + 12; p += 3) {
        *pOut++ = {rounded(p[0].x), rounded(p[0].y)};
        for (double u = 0; u < 1.0; u += kStep) {
            const double s = 2 * u - 1;
            *pOut++ = {rounded(cubicAt(p[0].x, p[1].x, p[2].x, p[3].x, s)),
                       rounded(cubicAt(p[0].y, p[1].y, p[2].y, p[3].y, s))};
        }
    }
}

}  // namespace rv
