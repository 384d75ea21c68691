// Two pictures in one: combined pixel by pixel, or one drawn out of its shape onto a canvas.
#pragma once

#include <array>
#include <string>

#include "picture.h"
#include "turn.h"

namespace ravo {

/// Combines a file with the picture, inside its region: FILE,OP or FILE,OP,X,Y. The file is brought into the picture's
/// form first, by a method of dithering where colours are reduced.
void combineFile(Picture& picture, const std::string& text, uint32_t uDither);

/// Draws the picture into a convex quadrilateral of a canvas of its size, its corners clockwise from the top left one.
/// The region stays where it is.
void warpPicture(Picture& picture, const std::array<POINT, 4>& corners, const GeometrySettings& settings);

}  // namespace ravo
