// The codecs of super-compressed storage, as their strips use them.
#pragma once

#include "ravokit/codec.h"

namespace rv {

enum : uint32_t { kPhotoCodec = 0, kFaxCodec = 1 };

struct StripCodec {
    uint32_t nFormat;
    int32_t nQuality;
};
const StripCodec& stripCodec(uint32_t nCodec) noexcept;

// Takes a reference to the codec's module. 1, or the status that tells which is missing.
int32_t acquireCodec(uint32_t nCodec) noexcept;
void releaseCodec(uint32_t nCodec) noexcept;

// Through the codec's module, for those that have a reference. encodeStrip gives the bytes it wrote, 0 on failure.
uint32_t encodeStrip(uint32_t nCodec, const BITMAPINFOHEADER& info, const uint8_t* pPixels, uint32_t uPixelBytes,
                     uint8_t* pData, uint32_t uDataSize) noexcept;
int32_t decodeStrip(uint32_t nCodec, const BITMAPINFOHEADER& info, const uint8_t* pData, uint32_t uDataBytes,
                    uint8_t* pPixels, uint32_t uPixelSize) noexcept;

}  // namespace rv
