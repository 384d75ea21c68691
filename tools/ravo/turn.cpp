#include "turn.h"

#include <ravokit/combine.h>

#include "failure.h"
#include "progress.h"

namespace ravo {

void resizePicture(Picture& picture, SIZE size, const GeometrySettings& settings) {
    const Progress progress("resizing");
    if (picture->ViewPerspective >= LEFT_TOP) std::swap(size.width, size.height);
    const uint32_t uFlags = settings.uFilter | (settings.bAlphaWeighted ? RSZ_ALPHA_WEIGHTED : 0);
    check(R_SizeBitmap(picture.get(), size.width, size.height, uFlags), "R_SizeBitmap");
}

void turnPicture(Picture& picture, int32_t nAngle, const GeometrySettings& settings) {
    const Progress progress("turning");
    if (picture->ViewPerspective >= LEFT_TOP) storeForView(picture, TOP_LEFT);  // the canvas keeps its stored shape
    check(R_RotateBitmap(picture.get(), nAngle, settings.uTurn, settings.background.cr), "R_RotateBitmap");
}

void shearPicture(Picture& picture, int32_t nAngle, bool bHorizontal, const GeometrySettings& settings) {
    const Progress progress("shearing");
    check(R_ShearBitmap(picture.get(), nAngle, bHorizontal, settings.background.cr), "R_ShearBitmap");
}

void flipPicture(Picture& picture) {
    const Progress progress("flipping");
    check(R_FlipBitmap(picture.get()), "R_FlipBitmap");
}

void mirrorPicture(Picture& picture) {
    const Progress progress("mirroring");
    check(R_ReverseBitmap(picture.get()), "R_ReverseBitmap");
}

void storeForView(Picture& picture, int32_t nView) {
    check(R_ChangeBitmapViewPerspective(nullptr, picture.get(), sizeof(BITMAPRECORD), nView),
          "R_ChangeBitmapViewPerspective");
}

void scramblePicture(Picture& picture, uint32_t uKey, uint32_t uDirection) {
    const Progress progress("scrambling");
    const SIZE size = viewedSize(*picture);
    check(R_ScrambleBitmap(picture.get(), 0, 0, size.width, size.height, uKey, uDirection), "R_ScrambleBitmap");
}

}  // namespace ravo
