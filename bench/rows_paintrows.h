// Paints that keep the size and change the rows: windows of deep gray, conversions, dithering. Part of rows.cpp.
#pragma once

// A picture painted to a device of nBits; test judges pixels of 32 bits.
void paintedRows(const char* name, Bitmap& bm, double megabytes, int32_t nBits, uint32_t uMode,
                 const std::function<bool(const Bitmap&)>& test) {
    static int32_t nDevice;
    nDevice = nBits;
    const RECT whole{0, 0, bm.Width, bm.Height};
    const uint32_t uBefore = R_SetDisplayMode(0xFFF, uMode);
    Bitmap out(32, bm.Width, bm.Height, ORDER_BGR);
    BenchSink counting(nullptr), drawing(&out);
    for (BenchSink* p : {&counting, &drawing})
        p->calls.pfnGetDeviceCaps = [](void*, int32_t nIndex, void*) {
            return nIndex == PAINTCAPS_BITS ? nDevice : nIndex == PAINTCAPS_PLANES ? 1 : 0;
        };
    const auto paint = [&](BenchSink& sink) {
        return R_PaintDCCallback(&sink.calls, &bm, nullptr, nullptr, &whole, nullptr, 0);
    };
    run(
        name, bm.Width * bm.Height * 1e-6, megabytes, [&] { paint(counting); },
        [&] { return paint(drawing) == 1 && test(out); });
    R_SetDisplayMode(0xFFF, uBefore);
}

// The window of a straight line, and one of a curve.
void paintedLevels() {
    Bitmap deep(16, kGray, kGray, ORDER_GRAY);
    for (int32_t y = 0; y < kGray; ++y)
        for (int32_t x = 0; x < kGray; ++x) {
            const auto v = uint16_t((1000 + (x + y) / 3) * 16 + int(mix(uint32_t(y * kGray + x)) % 256));
            std::memcpy(deep.row(y) + x * 2, &v, 2);
        }
    for (const bool bCurve : {false, true}) {
        std::vector<RGBQUAD> table(65536);
        R_WindowLevelFillLUT(table.data(), 65536, 0x000000, 0xFFFFFF, 16000, 46000, 0, 15, 0, 65535, bCurve ? 10 : 0,
                             FILLLUT_INSIDE | (bCurve ? FILLLUT_SIGMOID : FILLLUT_LINEAR));
        R_WindowLevel(&deep, 0, 15, table.data(), 65536, 1);
        paintedRows(bCurve ? "level.gray16_lut_gray8.curve" : "level.gray16_lut_gray8", deep, 27, 24, 0,
                    [&](const Bitmap& out) {
                        return sampled(kGray, kGray, [&](int32_t x, int32_t y) {
                            uint16_t v;
                            std::memcpy(&v, deep.row(y) + x * 2, 2);
                            return out.row(y)[x * 4] == table[v].rgbGreen;
                        });
                    });
    }
}

void paintedPhotos(Bitmap& photo) {
    const auto resembles = [&](const Bitmap& out) {  // by the means of blocks
        return sampled(kWidth / 32, kHeight / 32, [&](int32_t bx, int32_t by) {
            int difference = 0;
            for (int32_t y = by * 32; y < by * 32 + 32; ++y)
                for (int32_t x = bx * 32; x < bx * 32 + 32; ++x)
                    difference += grayOf(out.row(y) + x * 4) - grayOf(photo.row(y) + x * 3);
            return std::abs(difference) < 12 * 1024;
        });
    };
    Bitmap wide(48, kWidth, kHeight, ORDER_BGR);
    convert(photo, wide, 48, ORDER_BGR, ORDER_BGR);
    paintedRows("paint.rows_48_to_24", wide, 108, 24, 0, resembles);
    paintedRows("paint.dither_floyd_24_to_1", photo, 37.5, 1, DM_DITHER, resembles);
    paintedRows("paint.dither_ordered_24_to_1", photo, 37.5, 1, DM_DITHER | DM_ORDERED_DITHER, resembles);
    paintedRows("paint.dither_floyd_24_to_8", photo, 48, 8, DM_DITHER | DM_DITHER_8BIT, resembles);
    R_SetPaintIntensity(&photo, 30);
    paintedRows("paint.rows_24.table", photo, 72, 24, 0, resembles);
    paintedRows("paint.dither_floyd_24_to_1.table", photo, 37.5, 1, DM_DITHER, resembles);
    R_SetPaintIntensity(&photo, 0);
}
