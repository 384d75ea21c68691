#include "alpha.h"

#include <ravokit/alpha.h>
#include <ravokit/bitmaprgn.h>

#include <string>

#include "convert.h"
#include "failure.h"
#include "progress.h"

namespace ravo {

namespace {

// Alpha of samples as wide as the picture's own, and colours free of the old one.
void prepare(Picture& picture) {
    const bool bWide = picture->BitsPerPixel >= 48 || picture->Order == ORDER_GRAY;
    if (!hasAlpha(*picture)) picture = convertPicture(picture, {bWide ? 64 : 32, ORDER_RGB});
    multiplyAlpha(picture, false);
}

}  // namespace

Picture alphaOf(Picture& picture) {
    Picture result;
    check(R_GetBitmapAlpha(picture.get(), result.get(), sizeof(BITMAPRECORD)), "R_GetBitmapAlpha");
    return result;
}

void setAlpha(Picture& picture, Picture alpha) {
    const SIZE wanted = viewedSize(*picture), got = viewedSize(*alpha);
    if (wanted.width != got.width || wanted.height != got.height)
        throw Failure("its size of " + std::to_string(got.width) + " x " + std::to_string(got.height) +
                      " is not that of the picture, " + std::to_string(wanted.width) + " x " +
                      std::to_string(wanted.height));
    if (picture->ViewPerspective != alpha->ViewPerspective) {  // pixels are paired as they are stored
        picture = upright(picture);
        alpha = upright(alpha);
    }
    prepare(picture);
    const Progress progress("setting alpha");
    check(R_SetBitmapAlpha(picture.get(), alpha.get()), "R_SetBitmapAlpha");
}

void setAlpha(Picture& picture, uint32_t nAlpha) {
    prepare(picture);
    if (R_BitmapHasRgn(picture.get())) {   // the call that takes values takes whole rows
        Picture alpha = alphaOf(picture);  // with the region
        check(R_FillBitmap(alpha.get(), nAlpha * 0x010101), "R_FillBitmap");
        check(R_SetBitmapAlpha(picture.get(), alpha.get()), "R_SetBitmapAlpha");
        return;
    }
    check(R_SetBitmapAlphaValues(picture.get(), picture->BitsPerPixel == 64 ? nAlpha * 257 : nAlpha),
          "R_SetBitmapAlphaValues");
}

void multiplyAlpha(Picture& picture, bool bMultiply) {
    if (((picture->Flags & BMF_PREMULTIPLIED) != 0) == bMultiply) return;
    Row row(picture->BytesPerLine);
    const Access lock(picture);
    for (int32_t y = 0; y < picture->Height; ++y) {
        getRow(picture, row.data(), y);
        (bMultiply ? R_ConvertToPremultipliedAlpha : R_ConvertFromPremultipliedAlpha)(picture->BitsPerPixel, row.data(),
                                                                                      picture->BytesPerLine);
        putRow(picture, row.data(), y);
    }
    picture->Flags ^= BMF_PREMULTIPLIED;
}

}  // namespace ravo
