// The row kernels of textures.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rv {

struct UnderlayKernels {
    // Each byte becomes p + t, t signed, cut to 0 and 255.
    void (*shift)(uint8_t* p, const uint8_t* t, size_t n) noexcept;
    // grey - 128 of n pixels, three times each.
    void (*spread24)(const uint8_t* gray, uint8_t* t, size_t n) noexcept;
};

extern const UnderlayKernels kPlainUnderlay;
const UnderlayKernels& bestUnderlay() noexcept;

}  // namespace rv
