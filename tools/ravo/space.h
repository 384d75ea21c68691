// What the samples of a picture are in a colour model.
#pragma once

#include <string>

#include "picture.h"

namespace ravo {

/// A line for each channel: the least, the mean and the largest sample, of 8 bits, or of words on a scale of 16384.
std::string spaceText(Picture& picture, const std::string& model);

}  // namespace ravo
