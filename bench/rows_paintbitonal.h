// A page of text painted as gray, smaller, by counting and by growing its ink first. Part of rows.cpp.
#pragma once

void bitonalPaints() {
    const std::vector<uint8_t> text = textpage::make();
    Bitmap page(1, kPageWidth, kPageHeight, ORDER_RGB);
    for (int32_t y = 0; y < kPageHeight; ++y)
        std::memcpy(page.row(y), &text[size_t(y) * textpage::kStride], textpage::kStride);
    BITMAPRECORD lists{};
    R_CopyBitmap(&lists, &page, sizeof lists);
    R_ChangeBitmapCompression(&lists, 1);
    const uint32_t uBefore = R_SetDisplayMode(0xFFF, DM_BITONAL_COVERAGE);

    // Takes the bands, which come from the bottom up, as a picture.
    struct Sheet {
        std::vector<uint8_t> pixels;
        int32_t nWidth, nHeight;
        PAINTCALLBACKS calls{};
        Sheet(double factor) : nWidth(int32_t(kPageWidth / factor)), nHeight(int32_t(kPageHeight / factor)) {
            pixels.resize(size_t(nWidth) * size_t(nHeight));
            calls.uStructSize = sizeof calls;
            calls.uSinkFlags = PAINTSINK_NO_INDICES;
            calls.pUserData = this;
            calls.pfnStretchBits = draw;
        }
        static int32_t draw(void*, int32_t, int32_t y, int32_t nBandWidth, int32_t nRows, int32_t, int32_t, int32_t,
                            int32_t, const void* pPixels, const PAINTBITMAPINFO*, uint32_t, uint32_t, void* pUser) {
            auto& self = *static_cast<Sheet*>(pUser);
            const size_t nBytes = size_t(nBandWidth), nStride = (nBytes + 3) / 4 * 4;
            for (int32_t i = 0; i < nRows; ++i)
                std::memcpy(&self.pixels[size_t(y + i) * nBytes],
                            static_cast<const uint8_t*>(pPixels) + size_t(nRows - 1 - i) * nStride, nBytes);
            return nRows;
        }
    };
    const auto painted = [&](const char* name, BITMAPRECORD& bm, double factor, uint32_t uMode) {
        Sheet sheet(factor);
        const RECT place{0, 0, sheet.nWidth, sheet.nHeight};
        run(
            name, 35, 4.375 + 35 / factor / factor,
            [&] {
                R_SetDisplayMode(DM_BITONAL_COVERAGE | DM_BITONAL_SMOOTH, uMode);
                R_PaintDCCallback(&sheet.calls, &bm, nullptr, nullptr, &place, nullptr, 0);
            },
            [&] {
                return sampled(sheet.nWidth, sheet.nHeight, [&](int32_t x, int32_t y) {
                    const auto at = [](int32_t n, int32_t nOld, int32_t nNew) {
                        return int32_t(int64_t(n) * nOld / nNew);
                    };
                    const int32_t nTop = at(y, kPageHeight, sheet.nHeight),
                                  nBottom = at(y + 1, kPageHeight, sheet.nHeight),
                                  nLeft = at(x, kPageWidth, sheet.nWidth), nRight = at(x + 1, kPageWidth, sheet.nWidth);
                    int n = 0;
                    for (int32_t v = nTop; v < nBottom; ++v)
                        for (int32_t u = nLeft; u < nRight; ++u) n += page.row(v)[u / 8] >> (7 - u % 8) & 1;
                    const int nGray = sheet.pixels[size_t(y) * size_t(sheet.nWidth) + size_t(x)],
                              nPlain = n * 255 / ((nBottom - nTop) * (nRight - nLeft));
                    return uMode == DM_BITONAL_COVERAGE ? nGray == nPlain : nGray <= nPlain;
                });
            });
    };
    painted("resize.bit1_scale_to_gray.paint_4", page, 4, DM_BITONAL_COVERAGE);
    painted("resize.bit1_scale_to_gray.paint_5", page, 5, DM_BITONAL_COVERAGE);
    painted("resize.bit1_scale_to_gray.paint_3.7", page, 3.7, DM_BITONAL_COVERAGE);
    painted("resize.bit1_scale_to_gray.paint_5_smooth", page, 5, DM_BITONAL_SMOOTH);
    painted("resize.bit1_scale_to_gray.paint_5_lists", lists, 5, DM_BITONAL_COVERAGE);
    painted("resize.bit1_scale_to_gray.paint_5_lists_smooth", lists, 5, DM_BITONAL_SMOOTH);
    painted("resize.bit1_scale_to_gray.paint_1", page, 1, DM_BITONAL_COVERAGE);
    R_SetDisplayMode(0xFFF, uBefore);
    R_FreeBitmap(&lists);
}
