// Combines in place of the photo with another, and of a page with itself from bottom to top, for rows.cpp.
#pragma once

void combines(const Bitmap& photo) {
    Bitmap second(24, kWidth, kHeight, ORDER_BGR), out(24, kWidth, kHeight, ORDER_BGR);
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t i = 0; i < kWidth * 3; ++i)
            second.row(y)[i] = uint8_t(photo.row(kHeight - 1 - y)[kWidth * 3 - 1 - i] + int(mix(uint32_t(i)) % 64));
    const auto start = [&] { std::memcpy(out.pData, photo.pData, photo.Size); };
    const auto combine = [](Bitmap& to, const Bitmap& from, uint32_t flags) {
        R_CombineBitmapKrn(&to, 0, 0, to.Width, to.Height, const_cast<Bitmap*>(&from), 0, 0, flags);
    };
    const auto check = [&](auto sample) {
        return sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
            for (int32_t i = x * 3; i < x * 3 + 3; ++i)
                if (out.row(y)[i] != sample(photo.row(y)[i], second.row(y)[i])) return false;
            return true;
        });
    };
    start();
    run(
        "combine.add_24", 12, 108, [&] { combine(out, second, COMBINE_ADD); },
        [&] { return check([](int a, int b) { return std::min(a + b, 255); }); });
    start();
    run(
        "combine.min_24", 12, 108, [&] { combine(out, second, COMBINE_MIN); },
        [&] { return check([](int a, int b) { return std::min(a, b); }); });

    Bitmap page(1, kPageWidth, kPageHeight, ORDER_RGB), flipped(1, kPageWidth, kPageHeight, ORDER_RGB),
        target(1, kPageWidth, kPageHeight, ORDER_RGB);
    const std::vector<uint8_t> ink = textpage::make();
    for (int32_t y = 0; y < kPageHeight; ++y)
        for (Bitmap* to : {&page, &target})
            std::memcpy(to->row(y), &ink[size_t(y) * (ink.size() / kPageHeight)], (kPageWidth + 7) / 8);
    for (int32_t y = 0; y < kPageHeight; ++y)
        std::memcpy(flipped.row(y), page.row(kPageHeight - 1 - y), page.BytesPerLine);
    const auto bit = [](const Bitmap& bm, int32_t x, int32_t y) { return bm.row(y)[x >> 3] >> (7 - (x & 7)) & 1; };
    run(
        "combine.xor_1", 35, 13.125, [&] { combine(target, flipped, COMBINE_XOR); },
        [&] {
            return sampled(kPageWidth, kPageHeight, [&](int32_t x, int32_t y) {
                return bit(target, x, y) == (bit(page, x, y) ^ bit(flipped, x, y));
            });
        });
}
