// Exact turns of whole pictures; rows.cpp includes this.
#pragma once

// Turns a bitmap again and again, as it comes; op has turned it once when the check looks at it.
inline void turn90(const char* name, const Bitmap& first, double mpix, double megabytes) {
    Bitmap bm(first.BitsPerPixel, first.Width, first.Height, first.Order);
    std::memcpy(bm.pData, first.pData, size_t(first.BytesPerLine) * size_t(first.Height));
    const auto bits = size_t(first.BitsPerPixel);
    const auto same = [bits](const uint8_t* a, int32_t x, const uint8_t* b, int32_t u) {
        if (bits == 1) return (a[x >> 3] >> (7 - (x & 7)) & 1) == (b[u >> 3] >> (7 - (u & 7)) & 1);
        return !std::memcmp(a + size_t(x) * bits / 8, b + size_t(u) * bits / 8, bits / 8);
    };
    run(
        name, mpix, megabytes, [&] { R_RotateBitmap90(&bm, 1, 0, 100); },
        [&] {
            return bm.Width == first.Height && sampled(bm.Width, bm.Height, [&](int32_t x, int32_t y) {
                       return same(bm.row(y), x, first.row(first.Height - 1 - x), y);
                   });
        });
}

inline void turns(const Bitmap& photo) {
    Bitmap page(1, kPageWidth, kPageHeight, ORDER_RGB), gray(8, kWidth, kHeight, ORDER_RGB),
        wide(32, kWidth, kHeight, ORDER_BGR), upright(24, kWidth, kHeight, ORDER_BGR);
    for (int32_t y = 0; y < kPageHeight; ++y)
        for (uint32_t i = 0; i < page.BytesPerLine; ++i)
            page.row(y)[i] = mix(i / 3 + uint32_t(y) / 40 * 977) % 3 ? 0 : uint8_t(mix(i));
    convert(photo, gray, 0, ORDER_BGR, ORDER_RGB);
    convert(photo, wide, 32, ORDER_BGR, ORDER_BGR);
    turn90("rotate.90_1", page, 35, 8.75);
    turn90("rotate.90_8", gray, 12, 24);
    turn90("rotate.90_24", photo, 12, 72);
    turn90("rotate.90_32", wide, 12, 96);
    std::memcpy(upright.pData, photo.pData, photo.Size);
    run(
        "rotate.180_24", 12, 72, [&] { R_RotateBitmap(&upright, 18000, 0, 0); },
        [&] {
            return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                return !std::memcmp(upright.row(y) + x * 3, photo.row(kHeight - 1 - y) + (kWidth - 1 - x) * 3, 3);
            });
        });
}
