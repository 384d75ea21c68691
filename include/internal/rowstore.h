// Storing rows into memory that the caches can't hold.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rv {

// Copies n bytes past the caches. endStream() after the last such row makes the bytes visible in order.
void streamRow(uint8_t* dst, const uint8_t* src, size_t n) noexcept;
void endStream() noexcept;

}  // namespace rv
