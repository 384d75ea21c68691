// Playback: the frames of an animation, which are a bitmap list, composed one after the other onto a target bitmap.
//
// A playback is a state machine without a thread of its own. The caller runs one transition after the other, shows what
// changed, and ends his loop at PB_END or goes on, and then the animation starts again over the old picture:
//
//     R_CreatePlayback(&hPlayback, &screen, hFrames);
//     while (R_ProcessPlayback(hPlayback, &nState) == 1 && nState != PB_END) {
//         if (nState == PB_RENDERED || nState == PB_ADVANCE) {
//             R_GetPlaybackUpdateRect(hPlayback, &rect, 1);
//             ... show that part of the screen ...
//         }
//         R_GetPlaybackDelay(hPlayback, &uDelay);
//         ... sleep for so long at most ...
//     }
//     R_DestroyPlayback(hPlayback, NULL);
//
// Frames tell their place (Left, Top), time (Delay, in milliseconds), what becomes of them (DisposalMethod) and whether
// they wait for the user (BMF_WAIT_USER_INPUT). Where a frame has a region only its pixels are placed, with
// BMF_TRANSPARENCY without those of the colour Transparency. A region of the target holds for all that is painted.
//
// A playback belongs to one thread at a time, but R_CancelPlaybackWait may be called from any. No call waits.
// All calls return 1, or -13 for a handle that is no playback's, and what they tell themselves, in this order.
#pragma once

#include "list.h"

RV_C_BEGIN

/// A memory handle of the library.
typedef RVHANDLE HPLAYBACK;

/// BITMAPRECORD::DisposalMethod: what is done to the target when a frame's time is over. Any other value leaves it.
/// Frames are placed as the target is seen, but the area of a disposal is Left and Top in its stored columns and rows,
/// or rows from the end for BOTTOM_LEFT. So on a target of any view but TOP_LEFT and BOTTOM_LEFT it isn't the frame's.
enum {
    DISPOSE_BACKGROUND = 2,  ///< the frame's area is filled with the target's Background
    DISPOSE_RESTORE = 3      ///< what lay under the frame comes back
};

/// The states. What is told here is what R_ProcessPlayback does in a state; then it goes on to the next.
enum {
    PB_CLEAR_TARGET = 0,      ///< fills the target with its Background; on to 1
    PB_ADVANCE_FIRST = 1,     ///< to the first frame; on to 2, or to 10 where there is none
    PB_RENDER = 2,            ///< places the frame; on to 4. The last frame goes to 3 instead while lines are awaited
    PB_AWAIT_LINES = 3,       ///< the same; stays as long as lines are missing
    PB_RENDERED = 4,          ///< on to 6, or 7 if the user may cut the delay; without a Delay to 8, or 5
    PB_WAIT_INPUT = 5,        ///< nothing, until R_CancelPlaybackWait
    PB_WAIT_DELAY = 6,        ///< nothing, until Delay has passed; on to 8
    PB_WAIT_INPUT_DELAY = 7,  ///< the same
    PB_DISPOSE = 8,           ///< what DisposalMethod tells; on to 9
    PB_ADVANCE = 9,           ///< to the next frame; on to 2, or to 10 behind the last one
    PB_END = 10               ///< back to frame 0; on to 2
};

/// Makes a playback that composes onto pTarget, which stays the caller's and outlives the playback. A null list makes
/// an empty one that the playback owns. It starts in PB_CLEAR_TARGET, with the index -1.
/// Returns 1, or: -13 null, or a target without storage; -789 unknown record size; -1 no memory.
RV_API int32_t R_CreatePlayback(HPLAYBACK* phPlayback, BITMAPRECORD* pTarget, HBITMAPLIST hList) RV_NOEXCEPT;
/// Ends a playback. With phList the list becomes the caller's, whosever it was; without it a list that the playback
/// made is destroyed.
RV_API int32_t R_DestroyPlayback(HPLAYBACK hPlayback, HBITMAPLIST* phList) RV_NOEXCEPT;

/// Runs one transition, and tells the new state; pnState may be null. What fails in it is not told: the machine goes
/// on. An index without a frame counts as an empty frame.
RV_API int32_t R_ProcessPlayback(HPLAYBACK hPlayback, int32_t* pnState) RV_NOEXCEPT;
/// Also -13: null.
RV_API int32_t R_GetPlaybackState(HPLAYBACK hPlayback, int32_t* pnState) RV_NOEXCEPT;
/// The current frame, -1 before the first, the list's count behind the last. Also -13: null.
RV_API int32_t R_GetPlaybackIndex(HPLAYBACK hPlayback, int32_t* pnIndex) RV_NOEXCEPT;
/// Composes the frames up to nIndex without waiting, from the start where it lies behind the current frame. The frame
/// itself is next to be placed. Lines are no longer awaited. Also -13: an index below -1 or above the list's count.
RV_API int32_t R_SetPlaybackIndex(HPLAYBACK hPlayback, int32_t nIndex) RV_NOEXCEPT;
/// Milliseconds that are left of the delay in PB_WAIT_DELAY and PB_WAIT_INPUT_DELAY, else 0. Also -13: null.
RV_API int32_t R_GetPlaybackDelay(HPLAYBACK hPlayback, uint32_t* puDelay) RV_NOEXCEPT;
/// Ends a wait: PB_WAIT_INPUT, PB_WAIT_DELAY and PB_WAIT_INPUT_DELAY become PB_DISPOSE.
RV_API int32_t R_CancelPlaybackWait(HPLAYBACK hPlayback) RV_NOEXCEPT;

/// The part of the target, in its rows and columns, that changed since this was last cleared; it always reaches to
/// (0, 0), and may be more than what changed. pRect may be null; bClear clears it afterwards.
RV_API int32_t R_GetPlaybackUpdateRect(HPLAYBACK hPlayback, RECT* pRect, int32_t bClear) RV_NOEXCEPT;
RV_API int32_t R_ClearPlaybackUpdateRect(HPLAYBACK hPlayback) RV_NOEXCEPT;

/// Appends a frame, whose storage is then the list's, and awaits its lines: it isn't placed before all of them have
/// been validated. Lines of an earlier frame are no longer awaited. A playback in PB_END goes on with the frame. The
/// caller's record keeps its locks; the one in the list has none.
/// Also: -13 null, -789 unknown record size, -1 no memory, those of R_InsertBitmapListItem.
RV_API int32_t R_AppendPlayback(HPLAYBACK hPlayback, const BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Tells that rows nRow to nRow + nLines - 1 of the frame that was appended last are there; those outside of it don't
/// count, nor does a row that is told again.
RV_API int32_t R_ValidatePlaybackLines(HPLAYBACK hPlayback, int32_t nRow, int32_t nLines) RV_NOEXCEPT;

RV_C_END
