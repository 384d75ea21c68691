#include "picture.h"

#include <algorithm>

#include "failure.h"
#include "pixel.h"

namespace ravo {

Picture::Picture(int32_t nWidth, int32_t nHeight, int32_t nBits, int32_t nOrder, const Palette& palette,
                 int32_t nView) {
    // The library reads an entry for each index, whatever the file had.
    const bool bPalette = nBits <= 8 && !palette.empty();
    const Palette whole = bPalette ? wholePalette(palette, nBits) : Palette{};
    check(R_CreateBitmap(&m_bm, sizeof m_bm, BMMEM_CONVENTIONAL, nWidth, nHeight, nBits, nOrder,
                         bPalette ? whole.data() : nullptr, nView, nullptr, 0),
          "R_CreateBitmap");
}

Access::Access(Picture& picture) : m_bm(*picture) { check(R_AccessBitmap(&m_bm), "R_AccessBitmap"); }

void getRow(Picture& picture, uint8_t* pRow, int32_t nRow) {
    checkMoved(R_GetBitmapRow(picture.get(), pRow, nRow, picture->BytesPerLine), picture->BytesPerLine,
               "R_GetBitmapRow");
}

void putRow(Picture& picture, const uint8_t* pRow, int32_t nRow) {
    checkMoved(R_PutBitmapRow(picture.get(), pRow, nRow, picture->BytesPerLine), picture->BytesPerLine,
               "R_PutBitmapRow");
}

Palette grayPalette(int32_t nBits, bool bDescending) {
    Palette palette(size_t(1) << nBits);
    const size_t nLast = palette.size() - 1;
    for (size_t i = 0; i <= nLast; ++i) {
        const uint8_t nGray = uint8_t((bDescending ? nLast - i : i) * 255 / nLast);
        palette[i] = {nGray, nGray, nGray, 0};
    }
    return palette;
}

Palette wholePalette(Palette palette, int32_t nBits) {
    palette.resize(size_t(1) << nBits, palette.empty() ? RGBQUAD{} : palette.back());
    return palette;
}

bool samePalette(const Palette& a, const Palette& b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const RGBQUAD& p, const RGBQUAD& q) {
        return p.rgbRed == q.rgbRed && p.rgbGreen == q.rgbGreen && p.rgbBlue == q.rgbBlue;
    });
}

bool isGrayPalette(const Palette& palette) noexcept {
    return !palette.empty() && std::all_of(palette.begin(), palette.end(), [](const RGBQUAD& p) {
        return p.rgbRed == p.rgbGreen && p.rgbGreen == p.rgbBlue;
    });
}

bool hasAlpha(const BITMAPRECORD& bm) noexcept {
    return bm.BitsPerPixel == 64 || (bm.BitsPerPixel == 32 && bm.Order != ORDER_GRAY);
}

SIZE viewedSize(const BITMAPRECORD& bm) noexcept {
    return bm.ViewPerspective >= LEFT_TOP ? SIZE{bm.Height, bm.Width} : SIZE{bm.Width, bm.Height};
}

RECT storedRect(const BITMAPRECORD& bm, RECT viewed) noexcept {
    R_RectToBitmap(&bm, TOP_LEFT, &viewed);
    return viewed;
}

POINT storedPoint(const BITMAPRECORD& bm, int32_t x, int32_t y) noexcept {
    const RECT pixel = storedRect(bm, {x, y, x + 1, y + 1});
    return {pixel.left, pixel.top};
}

const char* viewName(int32_t nView) noexcept {
    static constexpr const char* kNames[] = {"TOP_LEFT", "TOP_RIGHT", "BOTTOM_RIGHT", "BOTTOM_LEFT",
                                             "LEFT_TOP", "RIGHT_TOP", "RIGHT_BOTTOM", "LEFT_BOTTOM"};
    return nView >= TOP_LEFT && nView <= LEFT_BOTTOM ? kNames[nView - 1] : "unknown";
}

Picture upright(Picture& picture) {
    Picture result;
    check(R_ChangeBitmapViewPerspective(result.get(), picture.get(), sizeof(BITMAPRECORD), TOP_LEFT),
          "R_ChangeBitmapViewPerspective");
    return result;
}

}  // namespace ravo
