// DIBs inside: the header's layout, and the frames of video codecs.
#pragma once

#include "internal/pixels.h"
#include "internal/rvclasses_.h"

namespace rv {

struct DibHeader {
    uint32_t biSize;
    int32_t biWidth;
    int32_t biHeight;
    uint16_t biPlanes;
    uint16_t biBitCount;
    uint32_t biCompression;
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
};
static_assert(sizeof(DibHeader) == 40);
constexpr uint32_t kCoreHeaderSize = 12;

// A four-character code as it stands in biCompression.
constexpr uint32_t fourCC(const char (&code)[5]) noexcept {
    return uint32_t(uint8_t(code[0])) | uint32_t(uint8_t(code[1])) << 8 | uint32_t(uint8_t(code[2])) << 16 |
           uint32_t(uint8_t(code[3])) << 24;
}

struct FrameLayout;

// The layout of a frame of these dimensions and depth, or null where the code takes none such.
const FrameLayout* findFrameLayout(uint32_t uCode, uint32_t nWidth, uint32_t nHeight, uint32_t nBits) noexcept;
// Bytes of a frame.
uint64_t frameSize(const FrameLayout& layout, uint32_t nWidth, uint32_t nHeight) noexcept;
// Expands row y of a frame to blue, green, red.
void expandFrameRow(const FrameLayout& layout, const uint8_t* pFrame, uint32_t nWidth, uint32_t nHeight, uint32_t y,
                    uint8_t* pBgr) noexcept;

}  // namespace rv
