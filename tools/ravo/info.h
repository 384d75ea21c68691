// `ravo info`: the record of a picture.
#pragma once

#include <string>

#include "picture.h"

namespace ravo {

/// path is the file that the picture came from.
void printInfo(const std::string& path, const Picture& picture);

}  // namespace ravo
