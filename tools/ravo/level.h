// Window level: deep grey to the eight bits of a screen.
#pragma once

#include <string>

#include "picture.h"

namespace ravo {

/// The samples from black to white, by a curve (FILLLUT_) with its factor in tenths.
struct Window {
    int32_t nLow, nHigh;
    uint32_t uCurve;
    int32_t nFactor;
};
/// CENTER,WIDTH; at least 2 wide, from black to white in even steps.
Window parseWindow(const std::string& text);
/// LOW,HIGH[,linear|exp|log|sigmoid[,FACTOR]]
Window parseLevel(const std::string& text);

/// Gives grey of up to 16 bits the table of a window, which conversions and paints go by; pixels stay. Signed samples
/// are told by bSigned: BMF_SIGNED is cleared.
void setWindow(Picture& picture, const Window& window, bool bSigned);
/// Grey of 8 bits: black up to the window, white behind it. Colours become grey first; signed samples count as such.
void showWindow(Picture& picture, const Window& window);

}  // namespace ravo
