#include "info.h"

#include <ravokit/bitmaprgn.h>

#include <cinttypes>
#include <cstdio>
#include <string>

#include "failure.h"
#include "formats.h"
#include "storage.h"

namespace ravo {

namespace {

const char* orderName(const BITMAPRECORD& bm) noexcept {
    switch (bm.Order) {
        case ORDER_RGB:
            return "ORDER_RGB";
        case ORDER_BGR:
            return "ORDER_BGR";
        case ORDER_GRAY:
            return "ORDER_GRAY";
        case ORDER_ROMM:
            return "ORDER_ROMM";
        default:
            return "unknown";
    }
}

std::string paletteText(const Picture& picture) {
    const Palette palette = picture.palette();
    if (palette.empty()) return "none";
    const char* pKind = samePalette(palette, grayPalette(picture->BitsPerPixel))         ? ", grey from black to white"
                        : samePalette(palette, grayPalette(picture->BitsPerPixel, true)) ? ", grey from white to black"
                        : isGrayPalette(palette)                                         ? ", grey"
                                                                                         : "";
    return std::to_string(palette.size()) + " entries" + pKind;
}

}  // namespace

void printInfo(const std::string& path, const Picture& picture) {
    const BITMAPRECORD& bm = *picture;
    std::printf("%s\n", path.c_str());
    std::printf("  format      %s\n", formatOfFile(path).pName);
    std::printf("  size        %d x %d pixels\n", bm.Width, bm.Height);
    std::printf("  depth       %d bit%s per pixel%s\n", bm.BitsPerPixel, bm.BitsPerPixel == 1 ? "" : "s",
                bm.Flags & BMF_SIGNED ? ", signed samples" : "");
    std::printf("  order       %s\n", orderName(bm));
    std::printf("  palette     %s\n", paletteText(picture).c_str());
    if (bm.Flags & BMF_TRANSPARENCY) {
        const uint32_t cr = bm.Transparency;
        if (cr >> 24 == 1)
            std::printf("  transparent palette entry %u\n", cr & 0xFFFF);
        else
            std::printf("  transparent #%02X%02X%02X\n", cr & 255, cr >> 8 & 255, cr >> 16 & 255);
    }
    if (bm.Flags & BMF_PREMULTIPLIED) std::printf("  alpha       colour is multiplied by it\n");
    std::printf("  view        %s\n", viewName(bm.ViewPerspective));
    if (R_BitmapHasRgn(&bm)) {
        const RgnMapping asSeen{TOP_LEFT, 1, 1, 1, 1, 0, 0};
        RECT box;
        uint32_t nPixels = 0;
        check(R_GetBitmapRgnBounds(&bm, &asSeen, &box), "R_GetBitmapRgnBounds");
        check(R_GetBitmapRgnArea(&bm, &nPixels), "R_GetBitmapRgnArea");
        std::printf("  region      %u pixels within %d,%d,%dx%d\n", nPixels, box.left, box.top, box.right - box.left,
                    box.bottom - box.top);
    }
    std::printf("  resolution  %d x %d dots per inch\n", bm.XResolution, bm.YResolution);
    std::printf("  storage     %s\n", storageText(bm).c_str());
    std::printf("  bytes       %" PRIu64 ", %u a row\n", uint64_t(bm.BytesPerLine) * uint32_t(bm.Height),
                bm.BytesPerLine);
}

}  // namespace ravo
