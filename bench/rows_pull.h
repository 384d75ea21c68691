// Rows of a resized picture on demand, a whole picture in sequence.
#pragma once

constexpr int32_t kPaintWidth = 1280, kPaintHeight = 960;

void pullRows(Bitmap& photo, Bitmap& out, uint32_t uFlags) {
    void* pState = nullptr;
    if (R_StartResizeBitmap(&photo, out.Width, out.Height, out.BitsPerPixel, nullptr, 0, uFlags | RSR_OUT_BGR, nullptr,
                            nullptr, &pState) != 1)
        return;
    for (int32_t y = 0; y < out.Height; ++y) R_GetResizedRowCol(pState, out.row(y), y, 0, out.BytesPerLine);
    R_StopResizeBitmap(pState);
}

// Whether the pixels are those near their place in the photo, which is smooth but for noise.
bool resembles(const Bitmap& photo, const Bitmap& out) {
    return sampled(out.Width, out.Height, [&](int32_t x, int32_t y) {
        const int32_t sx = int32_t(int64_t(x) * photo.Width / out.Width),
                      sy = int32_t(int64_t(y) * photo.Height / out.Height);
        const uint8_t *p = out.row(y) + x * 4, *q = photo.row(sy) + sx * 3;
        for (int c = 0; c < 3; ++c)
            if (std::abs(p[c] - q[c]) > 9) return false;
        return p[3] == 255;
    });
}

void pulledRows(Bitmap& photo) {
    Bitmap out(32, kPaintWidth, kPaintHeight, ORDER_BGR), large(32, kWidth * 3 / 2, 2000, ORDER_BGR);
    const double mbOut = 4e-6 * kPaintWidth * kPaintHeight;
    run(
        "paint.scaled_blit_24_to_32", 12, 36 + mbOut, [&] { pullRows(photo, out, 0); },
        [&] { return resembles(photo, out); });
    run(
        "paint.scaled_blit_24_to_32.area", 12, 36 + mbOut, [&] { pullRows(photo, out, RSR_RESAMPLE); },
        [&] { return resembles(photo, out); });
    Bitmap part(24, kWidth / 2, 1500, ORDER_BGR);
    for (int32_t y = 0; y < part.Height; ++y) std::memcpy(part.row(y), photo.row(y), part.BytesPerLine);
    const double mpixLarge = 1e-6 * large.Width * large.Height;
    run(
        "pull.enlarged_24_to_32.linear", mpixLarge, 9 + 4 * mpixLarge, [&] { pullRows(part, large, RSR_RESAMPLE); },
        [&] { return resembles(part, large); });
    run(
        "pull.enlarged_24_to_32.spline", mpixLarge, 9 + 4 * mpixLarge, [&] { pullRows(part, large, RSR_BICUBIC); },
        [&] { return resembles(part, large); });
}
