// `ravo info`: the record of a picture as loaded.
#pragma once

#include <string>

namespace ravo {

void printInfo(const std::string& path);

}  // namespace ravo
