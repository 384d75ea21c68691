// Playback: the state machine that walks the frames of an animation, and its calls.
//
// All states but the waits are left by the thread that the playback belongs to. Out of a wait another thread may lead
// to PB_DISPOSE, so a wait that lasts is not written again, and one is cancelled only while it stands.
#include <algorithm>
#include <atomic>
#include <new>

#include "internal/bitmap_.h"
#include "internal/handles.h"
#include "internal/opening.h"
#include "internal/playback_.h"
#include "ravokit/copy.h"
#include "ravokit/playback.h"

namespace rv {

uint64_t (*g_pfnPlaybackTicks)() noexcept = sysTickCount64;

namespace {

struct PlaybackState {
    int32_t nIndex = -1;
    std::atomic<int32_t> nState{PB_CLEAR_TARGET};
    BITMAPRECORD* pTarget = nullptr;
    bool bOwnsList = false;
    HBITMAPLIST pList = nullptr;
    uint32_t StartTicks = 0;
    RECT rcUpdate{};
    BITMAPRECORD Saved{};
    bool bLinesPending = false;
    int32_t nLinesLeft = 0;
    uint8_t* pLineBits = nullptr;
    int32_t nLines = 0;  // that pLineBits tells of
};
static_assert(std::atomic<int32_t>::is_always_lock_free);

// The playback of a handle, or null.
PlaybackState* playbackOf(HPLAYBACK h) noexcept {
    if (!isHandleOf(h, kHandleMemory) || WinGlobalSize(h) < sizeof(PlaybackState)) return nullptr;
    return static_cast<PlaybackState*>(R_OsLockHandle(h));
}

bool isWait(int32_t nState) noexcept { return nState >= PB_WAIT_INPUT && nState <= PB_WAIT_INPUT_DELAY; }

uint32_t ticks() noexcept { return uint32_t(g_pfnPlaybackTicks()); }

uint32_t frameCount(const PlaybackState& p) noexcept {
    uint32_t uCount = 0;
    R_GetBitmapListCount(p.pList, &uCount);
    return uCount;
}

// The record of a frame, or an empty one.
BITMAPRECORD frameAt(const PlaybackState& p, uint32_t uIndex) noexcept {
    BITMAPRECORD frame{};
    R_GetBitmapListItem(p.pList, uIndex, &frame, sizeof frame);
    return frame;
}

void grow(RECT& rect, const RECT& by) noexcept {
    rect = {std::min(rect.left, by.left), std::min(rect.top, by.top), std::max(rect.right, by.right),
            std::max(rect.bottom, by.bottom)};
}

void freeSaved(PlaybackState& p) noexcept {
    R_FreeBitmap(&p.Saved);
    p.Saved = {};
}

void dropLines(PlaybackState& p) noexcept {
    freeBlock(p.pLineBits);
    p.bLinesPending = false;
    p.nLinesLeft = p.nLines = 0;
}

// ---- the states; each tells the next one -------------------------------------------------------------------------

int32_t clearTarget(PlaybackState& p) noexcept {
    R_FillBitmap(p.pTarget, p.pTarget->Background);
    BITMAPRECORD whole = *p.pTarget;
    whole.Left = whole.Top = 0;
    grow(p.rcUpdate, frameArea(*p.pTarget, whole));
    return PB_ADVANCE_FIRST;
}

int32_t advance(PlaybackState& p) noexcept {
    ++p.nIndex;
    return uint32_t(p.nIndex) >= frameCount(p) ? PB_END : PB_RENDER;
}

int32_t render(PlaybackState& p, const BITMAPRECORD& frame) noexcept {
    if (p.bLinesPending && uint32_t(p.nIndex) + 1 == frameCount(p)) return PB_AWAIT_LINES;
    if (!isAllocated(&frame)) return PB_RENDERED;
    if (frame.DisposalMethod == DISPOSE_RESTORE) {
        freeSaved(p);
        saveArea(p.Saved, *p.pTarget, disposalArea(*p.pTarget, frame));
    }
    bool bPainted = false;
    mergeFrame(*p.pTarget, frame, &bPainted);
    if (bPainted) grow(p.rcUpdate, frameArea(*p.pTarget, frame));
    return PB_RENDERED;
}

int32_t startWait(PlaybackState& p, const BITMAPRECORD& frame) noexcept {
    const bool bInput = frame.Flags & BMF_WAIT_USER_INPUT;
    if (!frame.Delay) return bInput ? PB_WAIT_INPUT : PB_DISPOSE;
    p.StartTicks = ticks();
    return bInput ? PB_WAIT_INPUT_DELAY : PB_WAIT_DELAY;
}

int32_t waitOn(const PlaybackState& p, const BITMAPRECORD& frame, int32_t nState) noexcept {
    return ticks() - p.StartTicks < frame.Delay ? nState : int32_t(PB_DISPOSE);
}

int32_t dispose(PlaybackState& p, const BITMAPRECORD& frame) noexcept {
    const RECT area = disposalArea(*p.pTarget, frame);
    if (frame.DisposalMethod == DISPOSE_BACKGROUND) {
        fillArea(*p.pTarget, area);
        grow(p.rcUpdate, area);
    } else if (frame.DisposalMethod == DISPOSE_RESTORE && isAllocated(&p.Saved)) {
        restoreArea(p.Saved, *p.pTarget, area);
        grow(p.rcUpdate, area);
    }
    return PB_ADVANCE;
}

int32_t nextState(PlaybackState& p, int32_t nState) noexcept {
    const BITMAPRECORD frame = frameAt(p, uint32_t(p.nIndex));
    switch (nState) {
        case PB_CLEAR_TARGET:
            return clearTarget(p);
        case PB_ADVANCE_FIRST:
        case PB_ADVANCE:
            return advance(p);
        case PB_RENDER:
        case PB_AWAIT_LINES:
            return render(p, frame);
        case PB_RENDERED:
            return startWait(p, frame);
        case PB_WAIT_DELAY:
        case PB_WAIT_INPUT_DELAY:
            return waitOn(p, frame, nState);
        case PB_DISPOSE:
            return dispose(p, frame);
        case PB_END:
            p.nIndex = 0;
            return PB_RENDER;
        default:
            return nState;
    }
}

void process(PlaybackState& p) noexcept {
    const int32_t nState = p.nState;
    if (const int32_t nNext = nextState(p, nState); nNext != nState) p.nState = nNext;
}

void cancelWait(PlaybackState& p) noexcept {
    int32_t nState = p.nState;
    while (isWait(nState) && !p.nState.compare_exchange_weak(nState, PB_DISPOSE)) continue;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_CreatePlayback(HPLAYBACK* phPlayback, BITMAPRECORD* pTarget, HBITMAPLIST hList) noexcept {
    if (!phPlayback || !isAllocated(pTarget)) return -13;       // Invalid parameter passed
    if (!isKnownRecordSize(pTarget->uStructSize)) return -789;  // The structure size is invalid
    MEMHANDLE* h = WinGlobalAlloc(66, sizeof(PlaybackState));
    if (!h) return -1;  // Not enough memory available
    HBITMAPLIST hOwn = nullptr;
    if (const int32_t n = hList ? 1 : R_CreateBitmapList(&hOwn); n != 1) {
        WinGlobalFree(h);
        return n;
    }
    auto& p = *new (R_OsLockHandle(h)) PlaybackState;
    p.pTarget = pTarget;
    p.bOwnsList = hOwn != nullptr;
    p.pList = hOwn ? hOwn : hList;
    *phPlayback = h;
    return 1;
}

int32_t R_DestroyPlayback(HPLAYBACK hPlayback, HBITMAPLIST* phList) noexcept {
    PlaybackState* p = playbackOf(hPlayback);
    if (!p) return -13;
    freeSaved(*p);
    dropLines(*p);
    if (phList)
        *phList = p->pList;
    else if (p->bOwnsList)
        R_DestroyBitmapList(p->pList);
    p->~PlaybackState();
    WinGlobalFree(hPlayback);
    return 1;
}

int32_t R_ProcessPlayback(HPLAYBACK hPlayback, int32_t* pnState) noexcept {
    PlaybackState* p = playbackOf(hPlayback);
    if (!p) return -13;
    process(*p);
    if (pnState) *pnState = p->nState;
    return 1;
}

int32_t R_GetPlaybackState(HPLAYBACK hPlayback, int32_t* pnState) noexcept {
    PlaybackState* p = playbackOf(hPlayback);
    if (!p || !pnState) return -13;
    *pnState = p->nState;
    return 1;
}

int32_t R_GetPlaybackIndex(HPLAYBACK hPlayback, int32_t* pnIndex) noexcept {
    PlaybackState* p = playbackOf(hPlayback);
    if (!p || !pnIndex) return -13;
    *pnIndex = p->nIndex;
    return 1;
}

int32_t R_SetPlaybackIndex(HPLAYBACK hPlayback, int32_t nIndex) noexcept {
    PlaybackState* p = playbackOf(hPlayback);
    if (!p || nIndex < -1 || (nIndex >= 0 && uint32_t(nIndex) > frameCount(*p))) return -13;
    dropLines(*p);
    if (nIndex < p->nIndex) {
        freeSaved(*p);
        p->nState = PB_CLEAR_TARGET;
        p->nIndex = -1;
    }
    while (p->nIndex < nIndex) {
        process(*p);
        cancelWait(*p);
    }
    return 1;
}

int32_t R_GetPlaybackDelay(HPLAYBACK hPlayback, uint32_t* puDelay) noexcept {
    PlaybackState* p = playbackOf(hPlayback);
    if (!p || !puDelay) return -13;
    *puDelay = 0;
    if (const int32_t n = p->nState; n != PB_WAIT_DELAY && n != PB_WAIT_INPUT_DELAY) return 1;
    const uint32_t uDelay = frameAt(*p, uint32_t(p->nIndex)).Delay, uPassed = ticks() - p->StartTicks;
    if (uPassed < uDelay) *puDelay = uDelay - uPassed;
    return 1;
}

int32_t R_CancelPlaybackWait(HPLAYBACK hPlayback) noexcept {
    PlaybackState* p = playbackOf(hPlayback);
    if (!p) return -13;
    cancelWait(*p);
    return 1;
}

int32_t R_GetPlaybackUpdateRect(HPLAYBACK hPlayback, RECT* pRect, int32_t bClear) noexcept {
    PlaybackState* p = playbackOf(hPlayback);
    if (!p) return -13;
    if (pRect) *pRect = p->rcUpdate;
    if (bClear) p->rcUpdate = {};
    return 1;
}

int32_t R_ClearPlaybackUpdateRect(HPLAYBACK hPlayback) noexcept {
    return R_GetPlaybackUpdateRect(hPlayback, nullptr, 1);
}

int32_t R_AppendPlayback(HPLAYBACK hPlayback, const BITMAPRECORD* pBitmap) noexcept {
    PlaybackState* p = playbackOf(hPlayback);
    if (!p || !pBitmap) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    dropLines(*p);
    p->pLineBits = newBlock<uint8_t>(uint32_t(std::max(pBitmap->Height, 1)));
    if (!p->pLineBits) return -1;
    BITMAPRECORD frame{};
    R_CopyBitmapHandle(&frame, pBitmap, pBitmap->uStructSize);
    frame.nLockCount = 0;
    if (const int32_t n = R_InsertBitmapListItem(p->pList, UINT32_MAX, &frame); n != 1) {
        dropLines(*p);
        return n;
    }
    p->bLinesPending = true;
    p->nLinesLeft = p->nLines = frame.Height;
    if (p->nState == PB_END) p->nState = PB_RENDER;
    return 1;
}

int32_t R_ValidatePlaybackLines(HPLAYBACK hPlayback, int32_t nRow, int32_t nLines) noexcept {
    PlaybackState* p = playbackOf(hPlayback);
    if (!p) return -13;
    if (!p->bLinesPending) return 1;
    const int64_t nEnd = std::min<int64_t>(int64_t(nRow) + nLines, p->nLines);
    for (int32_t y = std::max(nRow, 0); y < nEnd; ++y) {
        uint8_t& bits = p->pLineBits[y / 8];
        const auto bit = uint8_t(0x80 >> y % 8);
        if (!(bits & bit)) --p->nLinesLeft;
        bits |= bit;
    }
    if (p->nLinesLeft == 0) dropLines(*p);
    return 1;
}

}  // extern "C"
