// The magic wand on a picture of smooth light with grain, and regions by colour.
#pragma once

// The part of rows.cpp that it is included in comes before it: run, mix, sampled, Bitmap and the headers.

struct NoiseOctave {
    int32_t nCell, nAmplitude;
};

// Adds the sum of bilinear noises on lattices to a plane.
inline std::vector<int32_t> smoothNoise(uint32_t uSeed, std::initializer_list<NoiseOctave> octaves) {
    std::vector<int32_t> plane(size_t(kWidth) * kHeight);
    for (const NoiseOctave& o : octaves) {
        ++uSeed;
        const auto lattice = [&](int32_t i, int32_t j) {
            const uint32_t n = mix(mix(uint32_t(i) * 0x9e3779b9u + uSeed) + uint32_t(j));
            return int32_t(n % uint32_t(2 * o.nAmplitude + 1)) - o.nAmplitude;
        };
        std::vector<int32_t> node(size_t(kWidth / o.nCell + 2));
        for (int32_t y = 0; y < kHeight; ++y) {
            const int32_t j = y / o.nCell, fy = y % o.nCell;
            for (size_t i = 0; i < node.size(); ++i)
                node[i] = (lattice(int32_t(i), j) * (o.nCell - fy) + lattice(int32_t(i), j + 1) * fy) * 16 / o.nCell;
            for (int32_t x = 0; x < kWidth; ++x) {
                const auto i = size_t(x / o.nCell);
                const int32_t fx = x % o.nCell;
                plane[size_t(y) * kWidth + size_t(x)] += (node[i] * (o.nCell - fx) + node[i + 1] * fx) / (16 * o.nCell);
            }
        }
    }
    return plane;
}

inline void paintSmooth(Bitmap& bm) {
    const auto light = smoothNoise(1, {{800, 80}, {200, 36}, {50, 14}, {12, 6}});
    const auto cold = smoothNoise(101, {{600, 40}, {100, 10}}), warm = smoothNoise(201, {{600, 40}, {100, 10}});
    for (size_t i = 0; i < light.size(); ++i) {
        const uint32_t n = mix(uint32_t(i) + 1);
        const auto grain = [&](int shift) { return int32_t((shift ? n >> shift & 0xFFFFFF : n) % 9) - 4; };
        const auto byte = [](int32_t v) { return uint8_t(std::clamp(v, 0, 255)); };
        const int32_t y = 128 + light[i];
        uint8_t* p = bm.row(int32_t(i / kWidth)) + i % kWidth * 3;
        p[0] = byte(y + cold[i] + grain(0));
        p[1] = byte(y - (cold[i] + warm[i]) / 4 + grain(8));
        p[2] = byte(y + warm[i] + grain(16));
    }
}

inline void colorRegions() {
    if (std::string_view("fill.flood region.color24 region.color8 region.color32 region.hsv24").find(g_filter) ==
        std::string_view::npos)
        return;
    Bitmap photo(24, kWidth, kHeight, ORDER_BGR);
    paintSmooth(photo);
    constexpr int32_t kRow = 1500, kCol = 2000, kTolerance = 45;
    const uint8_t* seed = photo.row(kRow) + kCol * 3;
    const auto isNear = [&](int32_t x, int32_t y) {
        const uint8_t* p = photo.row(y) + x * 3;
        return std::abs(p[0] - seed[0]) <= kTolerance && std::abs(p[1] - seed[1]) <= kTolerance &&
               std::abs(p[2] - seed[2]) <= kTolerance;
    };
    const auto isSelected = [](Bitmap& bm, int32_t x, int32_t y) { return R_IsPtInBitmapRgn(&bm, y, x) == 1; };
    // A pixel is in just where it matches and one beside it that matches is in.
    run(
        "fill.flood", 12, 36,
        [&] {
            R_SetBitmapRgnMagicWand(&photo, kRow, kCol, kTolerance * 0x010101, kTolerance * 0x010101, RGN_MODE_SET);
        },
        [&] {
            uint32_t nArea = 0;
            R_GetBitmapRgnArea(&photo, &nArea);
            return nArea > 1000000 && sampled(kWidth - 1, kHeight, [&](int32_t x, int32_t y) {
                       const bool a = isSelected(photo, x, y), b = isSelected(photo, x + 1, y);
                       return (!a || isNear(x, y)) && (a == b || !isNear(x, y) || !isNear(x + 1, y));
                   });
        });
    const auto range = [&](const char* name, Bitmap& bm, double megabytes,
                           const std::function<bool(int32_t, int32_t)>& isIn) {
        run(
            name, 12, megabytes, [&] { R_SetBitmapRgnColorRGBRange(&bm, 0x505050, 0xA0A0A0, RGN_MODE_SET); },
            [&] {
                return sampled(kWidth, kHeight,
                               [&](int32_t x, int32_t y) { return isSelected(bm, x, y) == isIn(x, y); });
            });
    };
    const auto isMiddle = [](const uint8_t* p) {
        return std::min({p[0], p[1], p[2]}) >= 0x50 && std::max({p[0], p[1], p[2]}) <= 0xA0;
    };
    Bitmap bgra(32, kWidth, kHeight, ORDER_BGR), gray(8, kWidth, kHeight, ORDER_RGB, R_IntGetFixedPalette(8));
    convert(photo, bgra, 32, ORDER_BGR, ORDER_BGR);
    convert(photo, gray, 0, ORDER_BGR, ORDER_RGB);
    range("region.color24", photo, 36, [&](int32_t x, int32_t y) { return isMiddle(photo.row(y) + x * 3); });
    range("region.color32", bgra, 48, [&](int32_t x, int32_t y) { return isMiddle(bgra.row(y) + x * 4); });
    range("region.color8", gray, 12, [&](int32_t x, int32_t y) {
        const RGBQUAD& q = gray.pPalette[gray.row(y)[x]];
        return isMiddle(&q.rgbBlue);
    });
    run(
        "region.hsv24", 12, 36, [&] { R_SetBitmapRgnColorHSVRange(&photo, 0x500080, 0xA0FF20, RGN_MODE_SET); },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                const uint8_t* p = photo.row(y) + x * 3;
                const uint32_t hsv = R_RGBtoHSV(p[2] | uint32_t(p[1]) << 8 | uint32_t(p[0]) << 16), v = hsv >> 16 & 255;
                return isSelected(photo, x, y) == (v >= 0x50 && v <= 0xA0 && ((hsv & 255) >= 0x80 || v <= 0x20));
            });
        });
}
