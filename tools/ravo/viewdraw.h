// How the viewer's window looks: the picture on its ground, the outline of its region, the status line, the help page.
#pragma once

#include <string>
#include <vector>

#include "canvas.h"

namespace ravo {

/// How pictures are painted: what R_SetDisplayMode takes, and the depth of the device.
struct PaintMode {
    uint32_t uDisplayMode;  // DM_ bits
    int32_t nDepth;
    /// A part can't be painted alone, as errors spread from what is above and left of it.
    bool spreads() const noexcept;
};

/// Paints a part of the window with the picture that stands at a place of it.
void drawPicture(Canvas& canvas, Picture& picture, const RECT& place, const PaintMode& mode, const RECT& part);
/// The dashed edge of the picture's region, as far as the part has it.
void drawOutline(Canvas& canvas, Picture& picture, const RECT& place, const RECT& part);

/// Dots of the glyphs in a window of this width.
int32_t textScale(int32_t nWidth) noexcept;
int32_t statusHeight(int32_t nWidth) noexcept;
/// A line of text at the left end and one at the right, which comes first where both don't fit.
void drawStatus(Canvas& canvas, const RECT& where, const std::string& left, const std::string& right);
/// Two columns of text on a panel in the middle of a rectangle.
void drawHelp(Canvas& canvas, const RECT& where, const std::vector<std::pair<std::string, std::string>>& lines);

}  // namespace ravo
