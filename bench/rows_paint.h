// Paints through a sink: one that only counts, and one that makes pixels of 32 bits of what it gets.
#pragma once

struct BenchSink {
    PAINTCALLBACKS calls{};
    Bitmap* pTarget = nullptr;  // of 32 bits, from the top down; null: nothing is drawn
    int64_t nPixels = 0;
    uint32_t uSum = 0;  // of a pixel of each band, so that it is looked at

    explicit BenchSink(Bitmap* p) : pTarget(p) {
        calls.uStructSize = sizeof calls;
        calls.uSinkFlags = PAINTSINK_NO_INDICES;
        calls.pUserData = this;
        calls.pfnStretchBits = draw;
    }
    static int32_t draw(void*, int32_t x, int32_t y, int32_t nWidth, int32_t nHeight, int32_t, int32_t, int32_t,
                        int32_t, const void* pPixels, const PAINTBITMAPINFO* pInfo, uint32_t, uint32_t, void* pUser) {
        auto& self = *static_cast<BenchSink*>(pUser);
        const int32_t nBits = pInfo->Header.biBitCount;
        const size_t nStride = (size_t(nWidth) * size_t(nBits) + 31) / 32 * 4;
        const auto* p = static_cast<const uint8_t*>(pPixels);
        self.nPixels += int64_t(nWidth) * nHeight;
        self.uSum += p[nStride * size_t(nHeight / 2)];
        for (int32_t i = 0; self.pTarget && i < nHeight; ++i)
            R_ConvertRow(self.pTarget->row(y + i) + size_t(x) * 4, p + size_t(nHeight - 1 - i) * nStride, nWidth, nBits,
                         32, ORDER_BGR, ORDER_BGR, pInfo->Table.Colors, nullptr);
        return nHeight;
    }
};

void paints(Bitmap& photo) {
    const RECT whole{0, 0, photo.Width, photo.Height}, place{0, 0, kPaintWidth, kPaintHeight};
    const uint32_t uBefore = R_SetDisplayMode(0xFFF, DM_INDEXED_PAINT | DM_DITHER);
    const double mbOut = 4e-6 * kPaintWidth * kPaintHeight;
    Bitmap out(32, kPaintWidth, kPaintHeight, ORDER_BGR), copy(24, photo.Width, photo.Height, ORDER_BGR);

    // What a paint of the same size costs beside a plain copy: rows are turned into bands once.
    run(
        "paint.copy_of_24", 12, 72, [&] { std::memcpy(copy.pData, photo.pData, photo.Size); },
        [&] { return std::memcmp(copy.pData, photo.pData, photo.Size) == 0; });
    BenchSink counting(nullptr);
    int32_t nStatus = 0;
    const auto counted = [&] { return nStatus == 1 && std::exchange(counting.nPixels, 0) == 12'000'000; };
    run(
        "paint.same_size_24", 12, 72,
        [&] {
            counting.nPixels = 0;
            nStatus = R_PaintDCCallback(&counting.calls, &photo, nullptr, nullptr, &whole, nullptr, 0);
        },
        counted);
    run(
        "paint.same_size_24.buffer", 12, 72,
        [&] {
            counting.nPixels = 0;
            nStatus = R_PaintDCBufferCallback(&counting.calls, &photo, nullptr, nullptr, &whole, nullptr, 0,
                                              photo.pData, 0, photo.Height);
        },
        counted);

    const auto scaled = [&](const char* name, uint32_t uMode) {
        BenchSink drawing(&out);
        run(
            name, 12, 36 + mbOut,
            [&] {
                R_SetDisplayMode(DM_RESAMPLE | DM_BICUBIC, uMode);
                R_PaintDCCallback(&drawing.calls, &photo, nullptr, nullptr, &place, nullptr, 0);
                R_SetDisplayMode(DM_RESAMPLE | DM_BICUBIC, 0);
            },
            [&] { return resembles(photo, out); });
    };
    scaled("paint.scaled_blit_24_to_32.sink", 0);
    scaled("paint.scaled_blit_24_to_32.sink_area", DM_RESAMPLE);
    R_SetDisplayMode(0xFFF, uBefore);
}
