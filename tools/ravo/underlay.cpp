#include "underlay.h"

#include <ravokit/underlay.h>

#include "failure.h"
#include "formats.h"
#include "progress.h"

namespace ravo {

void underlayPicture(Picture& picture, const std::string& argument) {
    static const std::string kStretch = ",stretch";
    const bool bStretch = argument.ends_with(kStretch);
    Picture texture = loadPicture(argument.substr(0, argument.size() - (bStretch ? kStretch.size() : 0)));
    const Progress progress("underlaying");
    check(R_UnderlayBitmap(picture.get(), texture.get(), bStretch ? UNDERLAY_STRETCH : UNDERLAY_TILE),
          "R_UnderlayBitmap");
}

}  // namespace ravo
