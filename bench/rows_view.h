// Flips in place; each call undoes the one before. Part of rows.cpp.
#pragma once

void flips(const Bitmap& photo) {
    Bitmap bm(24, kWidth, kHeight, ORDER_BGR);
    const auto fresh = [&] { std::memcpy(bm.pData, photo.pData, size_t(photo.BytesPerLine) * uint32_t(kHeight)); };
    const auto shows = [&](bool bRight, bool bDown) {
        return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
            const int32_t nFromX = bRight ? kWidth - 1 - x : x, nFromY = bDown ? kHeight - 1 - y : y;
            return !std::memcmp(bm.row(y) + x * 3, photo.row(nFromY) + nFromX * 3, 3);
        });
    };
    fresh();
    run(
        "flip.vertical_24", 12, 72, [&] { R_FlipBitmap(&bm); }, [&] { return shows(false, true); });
    fresh();
    run(
        "flip.horizontal_24", 12, 72, [&] { R_ReverseBitmap(&bm); }, [&] { return shows(true, false); });

    Bitmap page(1, kPageWidth, kPageHeight, ORDER_RGB), other(1, kPageWidth, kPageHeight, ORDER_RGB);
    const std::vector<uint8_t> text = textpage::make();
    std::copy(text.begin(), text.end(), page.pData);
    std::copy(text.begin(), text.end(), other.pData);
    const auto bit = [](const Bitmap& from, int32_t x, int32_t y) { return from.row(y)[x >> 3] >> (7 - (x & 7)) & 1; };
    run(
        "flip.horizontal_1", 35, 8.75, [&] { R_ReverseBitmap(&page); },
        [&] {
            return sampled(kPageWidth, kPageHeight,
                           [&](int32_t x, int32_t y) { return bit(page, x, y) == bit(other, kPageWidth - 1 - x, y); });
        });
}
