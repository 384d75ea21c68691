// Text on a canvas, in glyphs of 5 x 7 dots: what the viewer has to say.
#pragma once

#include <string>

#include "canvas.h"

namespace ravo {

constexpr int32_t kGlyphWidth = 6, kGlyphHeight = 7;  // with the gap to the next one

/// Draws a line of text from its left top corner on, each dot nScale pixels wide and high. ASCII has glyphs; any other
/// character shows as a question mark.
void drawText(Canvas& canvas, POINT at, const std::string& text, uint32_t uColor, int32_t nScale) noexcept;
/// Pixels that the text takes.
int32_t textWidth(const std::string& text, int32_t nScale) noexcept;

}  // namespace ravo
