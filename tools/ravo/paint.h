// The picture painted as a device would get it.
#pragma once

#include <ravokit/paintsettings.h>

#include <optional>
#include <string>

#include "parse.h"
#include "picture.h"

namespace ravo {

struct PaintSettings {
    uint32_t uFit = FIT_STRETCH;
    int32_t nDeviceBits = 24;
    std::optional<uint32_t> displayMode{};  // else that of the thread
    int32_t nIntensity = 0, nContrast = 0;
    uint32_t uGamma = 100;
};

uint32_t parseFit(const std::string& text);
int32_t parseDevice(const std::string& text);
/// Names of DM_ bits without their prefix, in lower case and with hyphens, joined by +; or a number.
uint32_t parseDisplayMode(const std::string& text);

/// Paints the picture and its overlays, inside its region, into the middle of a new picture of 24 bits.
void paintPicture(Picture& picture, SIZE size, const PaintSettings& settings, const Color& background);

}  // namespace ravo
