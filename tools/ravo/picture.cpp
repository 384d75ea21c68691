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

POINT storedPoint(const BITMAPRECORD& bm, int32_t x, int32_t y) noexcept {
    const int32_t nRight = bm.Width - 1, nBottom = bm.Height - 1;
    switch (bm.ViewPerspective) {
        case TOP_RIGHT:
            return {nRight - x, y};
        case BOTTOM_RIGHT:
            return {nRight - x, nBottom - y};
        case BOTTOM_LEFT:
            return {x, nBottom - y};
        case LEFT_TOP:
            return {y, x};
        case RIGHT_TOP:
            return {y, nBottom - x};
        case RIGHT_BOTTOM:
            return {nRight - y, nBottom - x};
        case LEFT_BOTTOM:
            return {nRight - y, x};
        default:
            return {x, y};
    }
}

RECT storedRect(const BITMAPRECORD& bm, RECT viewed) noexcept {
    const POINT a = storedPoint(bm, viewed.left, viewed.top);
    const POINT b = storedPoint(bm, viewed.right - 1, viewed.bottom - 1);
    // The two corners of an empty or turned-round rectangle stay that way: its size is judged by the call that gets it.
    const bool bSwapX = bm.ViewPerspective == TOP_RIGHT || bm.ViewPerspective == BOTTOM_RIGHT ||
                        bm.ViewPerspective == RIGHT_BOTTOM || bm.ViewPerspective == LEFT_BOTTOM;
    const bool bSwapY = bm.ViewPerspective == BOTTOM_RIGHT || bm.ViewPerspective == BOTTOM_LEFT ||
                        bm.ViewPerspective == RIGHT_TOP || bm.ViewPerspective == RIGHT_BOTTOM;
    const auto [left, right] = bSwapX ? std::pair(b.x, a.x) : std::pair(a.x, b.x);
    const auto [top, bottom] = bSwapY ? std::pair(b.y, a.y) : std::pair(a.y, b.y);
    return {left, top, right + 1, bottom + 1};
}

const char* viewName(int32_t nView) noexcept {
    static constexpr const char* kNames[] = {"TOP_LEFT", "TOP_RIGHT", "BOTTOM_RIGHT", "BOTTOM_LEFT",
                                             "LEFT_TOP", "RIGHT_TOP", "RIGHT_BOTTOM", "LEFT_BOTTOM"};
    return nView >= TOP_LEFT && nView <= LEFT_BOTTOM ? kNames[nView - 1] : "unknown";
}

Picture upright(Picture& picture) {
    const SIZE size = viewedSize(*picture);
    Picture result(size.width, size.height, picture->BitsPerPixel, picture->Order, picture.palette());
    result->Flags |= picture->Flags & (BMF_TRANSPARENCY | BMF_PREMULTIPLIED | BMF_SIGNED);
    result->Transparency = picture->Transparency;
    const bool bTurned = picture->ViewPerspective >= LEFT_TOP;
    result->XResolution = bTurned ? picture->YResolution : picture->XResolution;
    result->YResolution = bTurned ? picture->XResolution : picture->YResolution;
    result->LowBit = picture->LowBit;
    result->HighBit = picture->HighBit;

    // A stored row may become a column, so the source is held as a whole.
    const size_t nStride = picture->BytesPerLine;
    Row stored(nStride * size_t(picture->Height)), row(result->BytesPerLine);
    const Access lockFrom(picture), lockTo(result);
    for (int32_t y = 0; y < picture->Height; ++y) getRow(picture, stored.data() + nStride * size_t(y), y);
    for (int32_t y = 0; y < size.height; ++y) {
        for (int32_t x = 0; x < size.width; ++x) {
            const POINT p = storedPoint(*picture, x, y);
            writePixel(row.data(), x, result->BitsPerPixel,
                       readPixel(stored.data() + nStride * size_t(p.y), p.x, picture->BitsPerPixel));
        }
        putRow(result, row.data(), y);
    }
    return result;
}

}  // namespace ravo
