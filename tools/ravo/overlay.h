// Overlays that pictures are given: planes of one bit, drawn over them where they are painted.
#pragma once

#include <string>

#include "picture.h"

namespace ravo {

/// FILE, FILE,X,Y or FILE,X,Y,RRGGBB: the white pixels of a picture of one bit, from X,Y on, in a colour; red if none
/// is told. It takes the next slot that is free, and shows.
void addOverlay(Picture& picture, const std::string& text);

/// Gives to a picture the overlays of another one of the same size and view.
void copyOverlays(Picture& from, Picture& to);

}  // namespace ravo
