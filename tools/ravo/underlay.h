// A texture under a picture.
#pragma once

#include <string>

#include "picture.h"

namespace ravo {

/// FILE[,stretch]: the picture of a file, repeated, or resized to the picture.
void underlayPicture(Picture& picture, const std::string& argument);

}  // namespace ravo
