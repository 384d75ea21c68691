// Workloads of rows.cpp: sizes by the nearest pixel, and of 1-bit pages by counting black.
#pragma once

void resizes(Bitmap& photo) {
    Bitmap half(24, kWidth / 2, kHeight / 2, ORDER_BGR);
    run(
        "resize.nearest_half24", 12, 27, [&] { R_IntResizeBitmap(&photo, &half, 0); },
        [&] {
            return sampled(kWidth / 2, kHeight / 2, [&](int32_t x, int32_t y) {
                return !std::memcmp(half.row(y) + x * 3, photo.row(2 * y) + x * 6, 3);
            });
        });

    const RGBQUAD inkOnPaper[2] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
    Bitmap page(1, kPageWidth, kPageHeight, ORDER_RGB, inkOnPaper),
        small(1, kPageWidth / 4, kPageHeight / 4, ORDER_RGB, inkOnPaper);
    const std::vector<uint8_t> text = textpage::make();
    for (int32_t y = 0; y < kPageHeight; ++y)
        std::memcpy(page.row(y), &text[size_t(y) * textpage::kStride], textpage::kStride);
    const auto ink = [](const Bitmap& bm, int32_t x, int32_t y) { return bm.row(y)[x >> 3] >> (7 - (x & 7)) & 1; };
    run(
        "resize.bit1_scale_to_gray", 35, 4.65, [&] { R_IntResizeBitmap(&page, &small, RSZ_FAVOUR_BLACK); },
        [&] {
            return sampled(kPageWidth / 4, kPageHeight / 4, [&](int32_t x, int32_t y) {
                int n = 0;
                for (int32_t i = 0; i < 16; ++i) n += ink(page, x * 4 + i % 4, y * 4 + i / 4);
                return ink(small, x, y) == (n >= 3);
            });
        });
}
