// Another size, and another way round: pictures as seen, through the library's geometry.
#pragma once

#include <ravokit/resize.h>
#include <ravokit/rotate.h>
#include <ravokit/scramble.h>
#include <ravokit/view.h>

#include "parse.h"
#include "picture.h"

namespace ravo {

/// How pictures are resized and turned.
struct GeometrySettings {
    uint32_t uFilter = 0;  // RSZ_ bit; 0 takes the nearest pixel
    bool bAlphaWeighted = false;
    uint32_t uTurn = 0;  // ROT_ bits
    Color background{0xFFFFFF, 255};
};

/// To a size as seen.
void resizePicture(Picture& picture, SIZE size, const GeometrySettings& settings);
/// Clockwise, in hundredths of a degree.
void turnPicture(Picture& picture, int32_t nAngle, const GeometrySettings& settings);
/// Rows of the picture as seen move, or columns, in hundredths of a degree, -8999 to 8999.
void shearPicture(Picture& picture, int32_t nAngle, bool bHorizontal, const GeometrySettings& settings);
void flipPicture(Picture& picture);
void mirrorPicture(Picture& picture);
/// Stores the picture for another view; it looks as before.
void storeForView(Picture& picture, int32_t nView);
/// SCR_ENCRYPT or SCR_DECRYPT.
void scramblePicture(Picture& picture, uint32_t uKey, uint32_t uDirection);

}  // namespace ravo
