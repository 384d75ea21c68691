// Alpha of a picture: taken out, set, multiplied in.
#pragma once

#include "picture.h"

namespace ravo {

/// The alpha as a grey picture; opaque where there is none.
Picture alphaOf(Picture& picture);

// A picture without alpha gets it. Colours that were multiplied by the alpha before are divided by it first.
/// Sets the alpha to the greys of another picture of the same size as seen.
void setAlpha(Picture& picture, Picture alpha);
/// Sets the alpha of all pixels, or of those in the region, 0 to 255.
void setAlpha(Picture& picture, uint32_t nAlpha);

/// Multiplies the colours by the alpha, or divides them by it, unless they are that way already.
void multiplyAlpha(Picture& picture, bool bMultiply);

}  // namespace ravo
