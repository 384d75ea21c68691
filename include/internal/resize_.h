// What the calls that resize share.
#pragma once

#include <cstdint>

namespace rv {

// Completes the size that a picture of nSrcWidth x nSrcHeight is to have: a 0 becomes what keeps the aspect ratio.
// False where there is no such size: an empty picture, a negative or a second 0, a result below 1 or past the type.
bool repairSize(int32_t nSrcWidth, int32_t nSrcHeight, int32_t& nWidth, int32_t& nHeight) noexcept;

}  // namespace rv
