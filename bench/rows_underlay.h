// A texture under the photo, as tiles of an odd size and stretched. Part of rows.cpp.
#pragma once

void underlays(const Bitmap& photo) {
    Bitmap out(24, kWidth, kHeight, ORDER_BGR);
    const auto textured = [&](const char* name, int32_t nWidth, int32_t nHeight, uint32_t uMode) {
        Bitmap gray(8, nWidth, nHeight, ORDER_GRAY);
        for (int32_t y = 0; y < nHeight; ++y)
            for (int32_t x = 0; x < nWidth; ++x) gray.row(y)[x] = uint8_t(118 + mix(uint32_t(y * nWidth + x)) % 21);
        int nCalls = 0;
        std::memcpy(out.pData, photo.pData, photo.Size);
        run(
            name, 12, 72, [&] { nCalls += R_UnderlayBitmap(&out, &gray, uMode); },
            [&] {
                return nCalls == 1 && sampled(kWidth, kHeight, [&](int32_t x, int32_t y) {
                           const bool bTile = uMode == UNDERLAY_TILE;
                           const int n = gray.row(bTile ? y % nHeight : y)[bTile ? x % nWidth : x] - 128;
                           for (int32_t i = x * 3; i < x * 3 + 3; ++i)
                               if (out.row(y)[i] != std::clamp(photo.row(y)[i] + n, 0, 255)) return false;
                           return true;
                       });
            });
    };
    textured("underlay.tile_24", 61, 47, UNDERLAY_TILE);
    textured("underlay.stretch_24", kWidth, kHeight, UNDERLAY_STRETCH);
}
