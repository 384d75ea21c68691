// Sizes by the sample filters, into a picture that is kept: the workloads of rows.cpp, which includes this.
#pragma once

// Whether the picture is the mean of areas, less what two truncations take.
bool isBoxMean(const Bitmap& out, const Bitmap& src) {
    const int32_t nSamples = src.BitsPerPixel / 8;
    return sampled(out.Width, out.Height, [&](int32_t x, int32_t y) {
        const double x0 = double(x) * src.Width / out.Width, x1 = double(x + 1) * src.Width / out.Width;
        const double y0 = double(y) * src.Height / out.Height, y1 = double(y + 1) * src.Height / out.Height;
        for (int32_t c = 0; c < nSamples; ++c) {
            double sum = 0, weight = 0;
            for (int32_t j = int32_t(y0); j < y1 && j < src.Height; ++j)
                for (int32_t i = int32_t(x0); i < x1 && i < src.Width; ++i) {
                    const double part = (std::min(x1, i + 1.0) - std::max(x0, double(i))) *
                                        (std::min(y1, j + 1.0) - std::max(y0, double(j)));
                    sum += part * src.row(j)[i * nSamples + c];
                    weight += part;
                }
            const double lost = sum / weight - out.row(y)[x * nSamples + c];
            if (lost < -0.1 || lost > 2.1) return false;
        }
        return true;
    });
}

bool isNearSource(const Bitmap& out, const Bitmap& src) {
    return sampled(out.Width, out.Height, [&](int32_t x, int32_t y) {
        const uint8_t* p =
            src.row(int32_t((y + 0.5) * src.Height / out.Height)) + int32_t((x + 0.5) * src.Width / out.Width) * 3;
        const uint8_t* q = out.row(y) + x * 3;
        return std::abs(p[0] - q[0]) < 10 && std::abs(p[1] - q[1]) < 10 && std::abs(p[2] - q[2]) < 10;
    });
}

void resamples(Bitmap& photo) {
    const auto shrink = [](const char* name, double megabytes, Bitmap& src, Bitmap& out) {
        run(
            name, 12, megabytes, [&] { R_ResampleBitmapInt(&src, &out, sizeof(BITMAPRECORD), 0); },
            [&] { return isBoxMean(out, src); });
    };
    Bitmap quarter(24, kWidth / 4, kHeight / 4, ORDER_BGR), odd(24, 1037, 777, ORDER_BGR);
    shrink("resize.area_4to1_24", 38.25, photo, quarter);
    shrink("resize.area_odd_24", 38.4, photo, odd);
    Bitmap small(24, 1000, 750, ORDER_BGR), twice(24, 2000, 1500, ORDER_BGR), cubic(24, 1700, 1275, ORDER_BGR);
    paintPhoto(small);
    run(
        "resize.linear_2x_24", 3, 11.25, [&] { R_ResampleBitmapInt(&small, &twice, sizeof(BITMAPRECORD), 0); },
        [&] { return isNearSource(twice, small); });
    run(
        "resize.cubic_1p7_24", 1700 * 1275 * 1e-6, 8.75,
        [&] { R_BicubicResampleBitmapInt(&small, &cubic, sizeof(BITMAPRECORD), 0); },
        [&] { return isNearSource(cubic, small); });
    Bitmap gray(0, kWidth, kHeight, ORDER_RGB), grayQuarter(0, kWidth / 4, kHeight / 4, ORDER_RGB);
    convert(photo, gray, 0, ORDER_BGR, ORDER_RGB);
    shrink("resize.area_4to1_gray8", 12.75, gray, grayQuarter);
}
