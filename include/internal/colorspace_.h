// Rows of colour models whose samples are no linear forms of blue, green and red: from the pivot and to it, with 8 and
// with 16 bits a sample. The rows are apart or start at the same byte.
#pragma once

#include "internal/rowkernels.h"

namespace rv {

void hsvFromBgr8(const uint8_t* src, uint8_t* dst, size_t n) noexcept;
void hsvFromBgr16(const uint8_t* src, uint8_t* dst, size_t n) noexcept;
void bgrFromHsv8(const uint8_t* src, uint8_t* dst, size_t n) noexcept;
void bgrFromHsv16(const uint8_t* src, uint8_t* dst, size_t n) noexcept;
void hlsFromBgr8(const uint8_t* src, uint8_t* dst, size_t n) noexcept;
void hlsFromBgr16(const uint8_t* src, uint8_t* dst, size_t n) noexcept;
void bgrFromHls8(const uint8_t* src, uint8_t* dst, size_t n) noexcept;
void bgrFromHls16(const uint8_t* src, uint8_t* dst, size_t n) noexcept;

// The fastest form of hsvFromBgr8 on this processor; the same bytes.
RowKernel bestHsvFromBgr8() noexcept;

}  // namespace rv
