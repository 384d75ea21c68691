// Overlays inside the library: the slots of a bitmap, their bitmaps, and the places that these take.
#pragma once

#include "internal/attachments.h"
#include "internal/rvclasses_.h"
#include "ravokit/copy.h"
#include "ravokit/overlay.h"

namespace rv {

inline OVERLAYSET* overlaysOf(const BITMAPRECORD& bm) noexcept { return static_cast<OVERLAYSET*>(bm.pOverlays); }

// The slot, or null if it is not in use; uIndex is one of a slot.
inline OVERLAYSLOT* usedSlot(const BITMAPRECORD& bm, uint32_t uIndex) noexcept {
    OVERLAYSLOT* const p = bm.pOverlays ? &overlaysOf(bm)->Slots[uIndex] : nullptr;
    return p && p->pBitmap ? p : nullptr;
}

// Calls f(slot, its bitmap) for each slot in use, until one gives a status other than 1.
template <class F>
int32_t forOverlays(const BITMAPRECORD& bm, F&& f) noexcept {
    for (uint32_t i = 0; bm.pOverlays && i < OVERLAY_COUNT; ++i)
        if (OVERLAYSLOT* const p = usedSlot(bm, i))
            if (const int32_t n = f(*p, *p->pBitmap); n != 1) return n;
    return 1;
}

// All that an overlay's bitmap owns goes, storage or not; the record keeps only its size.
void emptyOverlay(BITMAPRECORD& overlay) noexcept;
// A full copy, with storage if src has some.
int32_t copyOverlay(BITMAPRECORD& dst, BITMAPRECORD& src) noexcept;
// A record without storage, of what the seen picture has from the slot's origin on to the right and down.
int32_t initRemaining(BITMAPRECORD& overlay, const BITMAPRECORD& bm, const OVERLAYSLOT& slot) noexcept;

// Stored rows and columns that an overlay covers, inside the picture or not, in a picture of that view and size.
RECT overlayPlace(const OVERLAYSLOT& slot, int32_t nView, int32_t nWidth, int32_t nHeight) noexcept;

// The bodies of the overlays' part.
void setOverlayBodies(Attachments& bodies) noexcept;

}  // namespace rv
