// Pictures as they are seen, pixel by pixel, for the tests of calls that take coordinates of what is seen.
#pragma once

#include "support/bitmaps.h"

namespace test {

// Where the pixel (x, y) of a picture of w x h, as it is seen, is stored. The corner that a view is named for holds row
// 0 and column 0.
inline POINT storedAt(int32_t view, int32_t w, int32_t h, int32_t x, int32_t y) {
    const bool mirrored = view == 2 || view == 3 || view == 6 || view == 7, flipped = view % 4 == 3 || view % 4 == 0;
    if (mirrored) x = w - 1 - x;
    if (flipped) y = h - 1 - y;
    return view > 4 ? POINT{y, x} : POINT{x, y};
}

struct Seen {
    int32_t width = 0, height = 0;
    std::vector<uint64_t> pixels;

    Seen(int32_t w, int32_t h, uint64_t fill = 0) : width(w), height(h), pixels(size_t(w) * unsigned(h), fill) {}
    explicit Seen(BITMAPRECORD& bm)
        : Seen(bm.ViewPerspective > 4 ? bm.Height : bm.Width, bm.ViewPerspective > 4 ? bm.Width : bm.Height) {
        const Bytes rows = contents(bm);
        for (int32_t y = 0; y < height; ++y)
            for (int32_t x = 0; x < width; ++x) {
                const POINT p = storedAt(bm.ViewPerspective, width, height, x, y);
                at(x, y) = pixelAt(&rows[size_t(p.y) * bm.BytesPerLine], bm.BitsPerPixel, size_t(p.x));
            }
    }
    bool has(int64_t x, int64_t y) const { return x >= 0 && x < width && y >= 0 && y < height; }
    uint64_t& at(int64_t x, int64_t y) { return pixels[size_t(y) * unsigned(width) + size_t(x)]; }
    bool operator==(const Seen&) const = default;
};

}  // namespace test
