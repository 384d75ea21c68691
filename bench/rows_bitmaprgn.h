// The region of a mask of blobs, and a fill through a region of 20000 spans beside the same fill without one.
#pragma once

// The part of rows.cpp that it is included in comes before it: run, mix, Bitmap and the headers.

// Light that changes over cells of three sizes, above a threshold.
inline void paintBlobs(Bitmap& mask) {
    struct Octave {
        int32_t cell, amplitude;
        uint32_t seed;
    };
    const auto lightAt = [](const Octave& o, int32_t x, int32_t y) {
        const auto node = [&](int32_t i, int32_t j) {
            return int32_t(mix(mix(uint32_t(i) * 0x9e3779b9u + o.seed) + uint32_t(j)) % uint32_t(2 * o.amplitude + 1)) -
                   o.amplitude;
        };
        const int32_t i = x / o.cell, j = y / o.cell, fx = x % o.cell, fy = y % o.cell;
        const auto along = [&](int32_t k) { return node(k, j) * (o.cell - fy) + node(k, j + 1) * fy; };
        return (along(i) * (o.cell - fx) + along(i + 1) * fx) / (o.cell * o.cell);
    };
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; ++x) {
            const int32_t light =
                lightAt({400, 80, 10}, x, y) + lightAt({90, 40, 11}, x, y) + lightAt({16, 9, 12}, x, y);
            if (light > 10) mask.row(y)[x >> 3] |= uint8_t(0x80 >> (x & 7));
        }
}

inline void bitmapRegions() {
    constexpr double kMegapixels = double(kWidth) * kHeight / 1e6;
    Bitmap mask(1, kWidth, kHeight, ORDER_RGB), target(24, kWidth, kHeight, ORDER_BGR);
    paintBlobs(mask);
    run(
        "region.from_mask", kMegapixels, kMegapixels / 8,
        [&] { R_SetBitmapRgnFromMask(&target, nullptr, &mask, RGN_MODE_SET); },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                return R_IsPtInBitmapRgn(&target, y, x) == (mask.row(y)[x >> 3] >> (7 - (x & 7)) & 1);
            });
        });
    R_FreeBitmapRgn(&target);

    // Per pixel that is written.
    const auto fill = [&](const char* name) {
        uint32_t nPixels = 0, nColor = 0;
        R_GetBitmapRgnArea(&target, &nPixels);
        run(
            name, nPixels / 1e6, nPixels * 3 / 1e6, [&] { R_FillBitmap(&target, ++nColor & 0xFFFFFF); },
            [&] {
                return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                    return !R_IsPtInBitmapRgn(&target, y, x) ||
                           target.row(y)[x * 3] + target.row(y)[x * 3 + 1] * 256u + target.row(y)[x * 3 + 2] * 65536u ==
                               ((nColor & 0xFF) << 16 | (nColor & 0xFF00) | nColor >> 16);
                });
            });
    };
    fill("fill.whole_24");
    const auto spans = movingSpans(1);
    std::vector<RECT> list(2);
    const auto nCount = uint32_t(spans.size());
    const RGNDATA header{sizeof(RGNDATA), 1, nCount, nCount * 16, {}};
    std::memcpy(list.data(), &header, sizeof header);
    list.insert(list.end(), spans.begin(), spans.end());
    R_SetBitmapRgnData(&target, nullptr, int32_t(list.size() * 16), reinterpret_cast<const RGNDATA*>(list.data()),
                       RGN_MODE_SET);
    fill("fill.region_24");
    R_FreeBitmapRgn(&target);
}
