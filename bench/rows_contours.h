// Shapes into regions: a polygon of 200 corners that winds three times round the middle, and an ellipse. A "pixel" is
// one of the box around them.
#pragma once

// The part of rows.cpp that it is included in comes before it: run, mix and the headers.

inline std::vector<POINT> windingPolygon() {
    std::vector<POINT> out;
    for (uint32_t k = 0; k < 200; ++k) {
        const double a = 2 * 3.14159265358979 * ((k * 3) % 200) / 200, r = 1480 - mix(k) % 700;
        out.push_back({2000 + int32_t(r * 1.3 * std::cos(a)), 1500 + int32_t(r * std::sin(a))});
    }
    return out;
}

inline void shapes() {
    const auto corners = windingPolygon();
    RavoRgn* pRgn = nullptr;
    const auto again = [&] {
        if (pRgn) R_DeleteRavoRgn(std::exchange(pRgn, nullptr));
        return &pRgn;
    };
    run(
        "region.polygon_fill", 12, 0,
        [&] { R_SegmentsToRegion(again(), corners.data(), nullptr, int32_t(corners.size()), 1); },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                bool bIn = false;
                for (size_t i = 0, j = corners.size() - 1; i < corners.size(); j = i++) {
                    const POINT &a = corners[i], &b = corners[j];
                    if ((a.y > y) != (b.y > y) && double(b.x - a.x) * (y - a.y) / (b.y - a.y) + a.x <= x) bIn = !bIn;
                }
                return R_IsPtInRavoRgn(pRgn, y, x) == bIn;
            });
        });
    run(
        "region.ellipse", 12, 0,
        [&] {
            RVHANDLE h = CreateEllipticRgn(0, 0, kWidth, kHeight);
            R_ConvertHandleToRgn(h, again());
            DeleteObject(h);
        },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                const double dx = (x - kWidth / 2) / (kWidth / 2.0), dy = (y - kHeight / 2) / (kHeight / 2.0);
                const double d = dx * dx + dy * dy;  // the polygon of 48 points stays within 1 %
                return R_IsPtInRavoRgn(pRgn, y, x) == (d < 1) || std::abs(d - 1) < 0.01;
            });
        });
    again();
}
