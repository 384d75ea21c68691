// Turns of the photo by 17 degrees, for rows.cpp.
#pragma once

#include <cmath>

void rotations(const Bitmap& photo) {
    const double angle = 17 * 3.14159265358979 / 180;
    BITMAPRECORD bm{};
    // A bitmap over the photo's pixels, which stay the caller's.
    const auto turn = [&](uint32_t flags) {
        R_FreeBitmap(&bm);
        R_CreateBitmap(&bm, sizeof bm, BMMEM_USER, kWidth, kHeight, 24, ORDER_BGR, nullptr, TOP_LEFT, photo.pData, 0);
        R_RotateBitmap(&bm, 1700, ROT_RESIZE | flags, 0xFFFFFF);
    };
    const auto looksTurned = [&] {
        double sum = 0;
        int count = 0;
        sampled(bm.Width, bm.Height, [&](int32_t x, int32_t y) {
            const double dx = x + 0.5 - bm.Width / 2.0, dy = y + 0.5 - bm.Height / 2.0;
            const auto sx = int32_t(std::floor(kWidth / 2.0 + dx * std::cos(angle) + dy * std::sin(angle)));
            const auto sy = int32_t(std::floor(kHeight / 2.0 - dx * std::sin(angle) + dy * std::cos(angle)));
            if (sx < 3 || sy < 3 || sx >= kWidth - 3 || sy >= kHeight - 3) return true;
            sum += std::abs(bm.pData[size_t(y) * bm.BytesPerLine + size_t(x) * 3] - photo.row(sy)[sx * 3]);
            return ++count > 0;
        });
        return bm.Width == 4702 && count > 1500 && sum / count <= 8;
    };
    const double megabytes = 36 + 4702 * 4039 * 3e-6;
    run(
        "rotate.17deg_nearest_24", 12, megabytes, [&] { turn(0); }, looksTurned);
    run(
        "rotate.17deg_bilinear_24", 12, megabytes, [&] { turn(ROT_BILINEAR); }, looksTurned);
    run(
        "rotate.17deg_bicubic_24", 12, megabytes, [&] { turn(ROT_BICUBIC); }, looksTurned);
    R_FreeBitmap(&bm);
}
