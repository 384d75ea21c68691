#include "overlay.h"

#include <ravokit/overlay.h>

#include <algorithm>
#include <cctype>

#include "convert.h"
#include "failure.h"
#include "formats.h"
#include "parse.h"

namespace ravo {

namespace {

constexpr COLORREF kUsualColor = 0x0000FF;
constexpr uint32_t kAllAttributes =
    OVERLAYATTR_ORIGIN | OVERLAYATTR_COLOUR | OVERLAYATTR_FLAGS | OVERLAYATTR_BIT_POSITION | OVERLAYATTR_TEXT;
constexpr int32_t kSlotNotInUse = -815;

struct Wanted {
    std::string path{};
    POINT at{};
    COLORREF color = kUsualColor;
};

bool isNumber(const std::string& text) {
    const size_t nSign = text.starts_with('-') ? 1 : 0;
    return text.size() > nSign && text.find_first_not_of("0123456789", nSign) == std::string::npos;
}

bool isColor(const std::string& text) {
    return text.size() == 6 && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isxdigit(c); });
}

// Read from its end, as the name of a file may have commas.
Wanted parseOverlay(const std::string& text) {
    const std::vector<std::string> parts = split(text, ',');
    size_t nParts = parts.size();
    Wanted result;
    const auto endsWithPlace = [&](size_t n) { return n > 2 && isNumber(parts[n - 2]) && isNumber(parts[n - 1]); };
    if (isColor(parts[nParts - 1]) && endsWithPlace(nParts - 1)) result.color = parseColor("#" + parts[--nParts]).cr;
    if (endsWithPlace(nParts)) {
        result.at = {parseNumber(parts[nParts - 2]), parseNumber(parts[nParts - 1])};
        nParts -= 2;
    }
    result.path = parts[0];
    for (size_t i = 1; i < nParts; ++i) result.path += "," + parts[i];
    return result;
}

bool isInUse(const Picture& picture, uint32_t uSlot) {
    OVERLAYATTRIBUTES attributes{};
    const int32_t nStatus = R_GetOverlayAttributes(&*picture, uSlot, &attributes, sizeof attributes, 0);
    if (nStatus == kSlotNotInUse) return false;
    check(nStatus, "R_GetOverlayAttributes");
    return true;
}

uint32_t freeSlot(const Picture& picture) {
    for (uint32_t uSlot = 0; uSlot < OVERLAY_COUNT; ++uSlot)
        if (!isInUse(picture, uSlot)) return uSlot;
    throw Failure("all " + std::to_string(OVERLAY_COUNT) + " overlays are in use");
}

// Whatever the file's palette is, index 1 is white.
Picture loadPlane(const std::string& path) {
    Picture loaded = loadPicture(path);
    if (loaded->BitsPerPixel != 1) throw Failure("an overlay has 1 bit per pixel, and " + path + " has more");
    return convertPicture(loaded, {1, ORDER_RGB, grayPalette(1)}, DITHER_NONE);
}

}  // namespace

void addOverlay(Picture& picture, const std::string& text) {
    const Wanted wanted = parseOverlay(text);
    Picture plane = loadPlane(wanted.path);
    const uint32_t uSlot = freeSlot(picture);
    OVERLAYATTRIBUTES attributes{};
    attributes.uStructSize = sizeof attributes;
    attributes.nOriginX = wanted.at.x;
    attributes.nOriginY = wanted.at.y;
    attributes.Colour = wanted.color;
    attributes.uFlags = OVERLAY_SHOW;
    check(R_SetOverlayBitmap(picture.get(), uSlot, plane.get(), OVERLAY_MOVE), "R_SetOverlayBitmap");
    check(R_SetOverlayAttributes(picture.get(), uSlot, &attributes,
                                 OVERLAYATTR_ORIGIN | OVERLAYATTR_COLOUR | OVERLAYATTR_FLAGS),
          "R_SetOverlayAttributes");
}

void copyOverlays(Picture& from, Picture& to) {
    for (uint32_t uSlot = 0; uSlot < OVERLAY_COUNT; ++uSlot) {
        if (!isInUse(from, uSlot)) continue;
        OVERLAYATTRIBUTES attributes{};
        Picture plane;
        check(R_GetOverlayAttributes(from.get(), uSlot, &attributes, sizeof attributes, kAllAttributes),
              "R_GetOverlayAttributes");
        check(R_GetOverlayBitmap(from.get(), uSlot, plane.get(), sizeof(BITMAPRECORD), OVERLAY_COPY),
              "R_GetOverlayBitmap");
        check(R_SetOverlayBitmap(to.get(), uSlot, plane.get(), OVERLAY_MOVE), "R_SetOverlayBitmap");
        check(R_SetOverlayAttributes(to.get(), uSlot, &attributes, kAllAttributes), "R_SetOverlayAttributes");
    }
}

}  // namespace ravo
