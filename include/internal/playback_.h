// What frames of an animation do to the target of a playback, and the clock of playbacks.
#pragma once

#include "internal/rvclasses_.h"

namespace rv {

// Milliseconds; tests put a clock of their own in its place.
extern uint64_t (*g_pfnPlaybackTicks)() noexcept;

// What a frame covers of the target as it is seen, in the target's rows and columns, cut to it: its region's bounds, or
// all of it.
RECT frameArea(const BITMAPRECORD& target, const BITMAPRECORD& frame) noexcept;

// The area of a disposal: stored column Left of the target, and stored row Top, or as many rows from the end where the
// view is BOTTOM_LEFT. Cut to the target.
RECT disposalArea(const BITMAPRECORD& target, const BITMAPRECORD& frame) noexcept;

// Places a frame on the target, within the regions of both, the frame's without its transparent pixels. The frame stays
// as it is. 1, or a status; *pbPainted tells whether there may be pixels of it on the target.
int32_t mergeFrame(BITMAPRECORD& target, const BITMAPRECORD& frame, bool* pbPainted) noexcept;

// Fills an area that lies in the target with its Background.
int32_t fillArea(BITMAPRECORD& target, const RECT& area) noexcept;

// A copy of an area of the target, and the way back. saved holds nothing before the first and after the second.
int32_t saveArea(BITMAPRECORD& saved, BITMAPRECORD& target, const RECT& area) noexcept;
int32_t restoreArea(BITMAPRECORD& saved, BITMAPRECORD& target, const RECT& area) noexcept;

}  // namespace rv
