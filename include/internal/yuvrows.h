// Row kernels between pixels and the sample layouts of video. Counts are of pixels and even; the rows lie apart.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rv {

constexpr int kYuvLayouts = 4;  // YUV_PLANAR_420 to YUV_YUY2

struct YuvKernels {
    // A row of samples to n pixels, blue first; the fourth byte is 255. Layouts with U and V in one plane have it in u;
    // YUV_YUY2 has all samples in y.
    using ToPixels = void (*)(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* dst, size_t n) noexcept;
    // n pixels of 24 bits, blue first, of each of two rows, to two rows of Y and one of chroma, which lie in the same
    // way. YUV_YUY2 takes src0 alone to y0.
    using ToSamples = void (*)(const uint8_t* src0, const uint8_t* src1, uint8_t* y0, uint8_t* y1, uint8_t* u,
                               uint8_t* v, size_t n) noexcept;

    ToPixels toPixels24[kYuvLayouts], toPixels32[kYuvLayouts];
    ToSamples toSamples[kYuvLayouts];
};

extern const YuvKernels kPlainYuv;
// The fastest table of this processor; the same bytes.
const YuvKernels& bestYuv() noexcept;

}  // namespace rv
