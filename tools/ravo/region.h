// The region of a picture: set by what the command line tells, kept while a rectangle is filled, and written to files.
#pragma once

#include <ravokit/bitmaprgn.h>

#include <memory>
#include <string>

#include "parse.h"
#include "picture.h"

namespace ravo {

struct DeleteRegion {
    void operator()(RavoRgn* pRgn) const noexcept { R_DeleteRavoRgn(pRgn); }
};
using Region = std::unique_ptr<RavoRgn, DeleteRegion>;

/// How regions are made from here on.
struct RegionSettings {
    uint32_t uMode = RGN_MODE_SET;
    int32_t nFillMode = 0;  // of polygons, as R_SegmentsToRegion takes it
};

uint32_t parseMode(const std::string& text);
int32_t parseFillMode(const std::string& text);

// All coordinates are those of the picture as seen.

/// How many arguments follow a kind of region.
int32_t argumentsOfKind(const std::string& kind) noexcept;
/// Sets the region that "KIND" or "KIND ARGUMENT" tells.
void setRegion(Picture& picture, const std::string& text, const RegionSettings& settings);
/// The region of a picture, or all of it.
Region regionOf(const Picture& picture);
/// Fills what a rectangle has in common with the region.
void fillRect(Picture& picture, RECT rect, Color color);

// Files; those to be written are replaced by complete ones only.
/// A picture of 1 bit, white where the region is.
void saveMask(const Picture& picture, const std::string& path);
/// The region's contours as one SVG path.
void saveOutline(const Picture& picture, const std::string& path);
/// The persisted form of a region. One that is damaged throws.
void saveRegion(const Picture& picture, const std::string& path);
Region loadRegion(const std::string& path);
/// Sets the region of such a file.
void setRegionOfFile(Picture& picture, const std::string& path, const RegionSettings& settings);

}  // namespace ravo
