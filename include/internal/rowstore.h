// Copying rows faster than memcpy does: of a few kilobytes in the cache, or past the caches.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rv {

// memcpy for rows.
void copyRow(uint8_t* dst, const uint8_t* src, size_t n) noexcept;

// Copies n bytes past the caches. endStream() after the last such row makes the bytes visible in order.
void streamRow(uint8_t* dst, const uint8_t* src, size_t n) noexcept;
void endStream() noexcept;

}  // namespace rv
