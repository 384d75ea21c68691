// How overlays follow their bitmap. What is moved is a place among stored rows and columns, so that one rule serves all
// views; the origin is read off what is seen of it afterwards.
#include <algorithm>
#include <cmath>
#include <utility>

#include "internal/bitmap_.h"
#include "internal/muldiv.h"
#include "internal/overlay_.h"
#include "internal/progress.h"
#include "internal/views_.h"
#include "ravokit/numeric.h"
#include "ravokit/resize.h"
#include "ravokit/rotate.h"
#include "ravokit/view.h"

namespace rv {
namespace {

constexpr int32_t kWholeTurn = 36000;
constexpr COLORREF kClear = 0x01000000;  // entry 0 of the palette

// The place of stored pixels of bm as it is seen.
RECT seenPlace(const BITMAPRECORD& bm, RECT place) noexcept {
    R_ChangeRectViewPerspective(bm.ViewPerspective, bm.Width, bm.Height, TOP_LEFT, &place);
    return place;
}

void moveTo(OVERLAYSLOT& slot, const RECT& seen) noexcept {
    slot.nOriginX = seen.left;
    slot.nOriginY = seen.top;
}

// The thread's callbacks hear of the picture only.
struct Quiet {
    StatusSetAside noStatus;
    CopyStatusSetAside noCopyStatus;
};

// ---- life

void freeOverlays(BITMAPRECORD& bm) noexcept {
    forOverlays(bm, [](OVERLAYSLOT& slot, BITMAPRECORD& overlay) {
        emptyOverlay(overlay);
        R_GlobalFree(&overlay);
        slot.pBitmap = nullptr;
        return 1;
    });
    freeBlock(bm.pOverlays);
}

int32_t copyOverlays(BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept {
    dst.pOverlays = nullptr;
    if (!src.pOverlays) return 1;
    OVERLAYSET* const pCopy = newBlock<OVERLAYSET>(1);
    if (!pCopy) return -1;
    *pCopy = *overlaysOf(src);
    for (OVERLAYSLOT& slot : pCopy->Slots) slot.pBitmap = nullptr;
    dst.pOverlays = pCopy;
    const Quiet quiet;
    const int32_t n = forOverlays(src, [&](const OVERLAYSLOT& from, BITMAPRECORD& overlay) {
        BITMAPRECORD* const pRecord = newBlock<BITMAPRECORD>(1);
        if (!pRecord) return -1;
        pRecord->uStructSize = sizeof *pRecord;
        pCopy->Slots[&from - overlaysOf(src)->Slots].pBitmap = pRecord;
        return copyOverlay(*pRecord, overlay);
    });
    if (n != 1) freeOverlays(dst);
    return n;
}

// ---- without another size

// Moves all places by the rule, in the rows of a picture of nOldWidth x nOldHeight in that view, to the rows of bm.
template <class Rule>
void movePlaces(BITMAPRECORD& bm, int32_t nOldView, int32_t nOldWidth, int32_t nOldHeight, Rule rule) noexcept {
    forOverlays(bm, [&](OVERLAYSLOT& slot, const BITMAPRECORD&) {
        moveTo(slot, seenPlace(bm, rule(overlayPlace(slot, nOldView, nOldWidth, nOldHeight))));
        return 1;
    });
}

void offsetOverlays(BITMAPRECORD& bm, int32_t nOldWidth, int32_t nOldHeight, int32_t nX, int32_t nY) noexcept {
    movePlaces(bm, bm.ViewPerspective, nOldWidth, nOldHeight, [=](const RECT& r) {
        const auto moved = [](int32_t n, int32_t nBy) { return saturated(int64_t(n) + nBy); };
        return RECT{moved(r.left, nX), moved(r.top, nY), moved(r.right, nX), moved(r.bottom, nY)};
    });
}

// What leads from one view to the other leads from each overlay's own view to its new one.
void seeAlike(int32_t nOldView, int32_t nNewView, BITMAPRECORD& overlay) noexcept {
    for (const bool bFlip : {false, true})
        for (int32_t nAngle = 0; nAngle < 360; nAngle += 90) {
            BITMAPRECORD probe{};
            probe.ViewPerspective = nOldView;
            const auto change = [&](BITMAPRECORD& bm) {
                if (bFlip) R_IntFlipBitmapViewPerspective(&bm);
                R_IntRotateBitmapViewPerspective(&bm, nAngle);
            };
            change(probe);
            if (probe.ViewPerspective == nNewView) return change(overlay);
        }
}

void viewOverlays(BITMAPRECORD& bm, int32_t nOldView) noexcept {
    movePlaces(bm, nOldView, bm.Width, bm.Height, [](const RECT& r) { return r; });
    forOverlays(bm, [&](const OVERLAYSLOT&, BITMAPRECORD& overlay) {
        seeAlike(nOldView, bm.ViewPerspective, overlay);
        return 1;
    });
}

// In place: what was mirrored until one fails is mirrored back.
using Mirror = int32_t (*)(BITMAPRECORD*) noexcept;

int32_t mirrorPixels(BITMAPRECORD& bm, Mirror mirror) noexcept {
    const Quiet quiet;
    const BITMAPRECORD* pFailed = nullptr;
    const int32_t nStatus = forOverlays(bm, [&](const OVERLAYSLOT&, BITMAPRECORD& overlay) {
        const int32_t n = isAllocated(&overlay) ? mirror(&overlay) : 1;
        if (n != 1) pFailed = &overlay;
        return n;
    });
    if (pFailed)
        forOverlays(bm, [&](const OVERLAYSLOT&, BITMAPRECORD& overlay) {
            if (&overlay == pFailed) return 0;
            if (isAllocated(&overlay)) mirror(&overlay);
            return 1;
        });
    return nStatus;
}

int32_t flipOverlays(BITMAPRECORD& bm) noexcept {
    if (!bm.pOverlays) return 1;
    const int32_t n = mirrorPixels(bm, hasRowsAsColumns(bm) ? R_ReverseBitmap : R_FlipBitmap);
    if (n != 1) return n;
    movePlaces(bm, bm.ViewPerspective, bm.Width, bm.Height, [&](const RECT& r) {
        return RECT{r.left, saturated(int64_t(bm.Height) - r.bottom), r.right, saturated(int64_t(bm.Height) - r.top)};
    });
    return 1;
}

int32_t reverseOverlays(BITMAPRECORD& bm) noexcept {
    if (!bm.pOverlays) return 1;
    const int32_t n = mirrorPixels(bm, hasRowsAsColumns(bm) ? R_FlipBitmap : R_ReverseBitmap);
    if (n != 1) return n;
    movePlaces(bm, bm.ViewPerspective, bm.Width, bm.Height, [&](const RECT& r) {
        return RECT{saturated(int64_t(bm.Width) - r.right), r.top, saturated(int64_t(bm.Width) - r.left), r.bottom};
    });
    return 1;
}

// ---- with another size

// Overlays that are built beside the old ones, and take their place together.
class Rebuilt {
    BITMAPRECORD& m_bm;
    BITMAPRECORD m_records[OVERLAY_COUNT]{};
    POINT m_origins[OVERLAY_COUNT]{};

    size_t indexOf(const OVERLAYSLOT& slot) const noexcept { return size_t(&slot - overlaysOf(m_bm)->Slots); }

public:
    explicit Rebuilt(BITMAPRECORD& bm) noexcept : m_bm(bm) {}
    Rebuilt(const Rebuilt&) = delete;
    Rebuilt& operator=(const Rebuilt&) = delete;
    ~Rebuilt() {
        for (BITMAPRECORD& record : m_records)
            if (record.uStructSize) emptyOverlay(record);
    }

    // build(slot, its copy, its new origin), for each; then all are exchanged, or none on failure.
    template <class Build>
    int32_t run(Build&& build) noexcept {
        const int32_t nStatus = forOverlays(m_bm, [&](const OVERLAYSLOT& slot, BITMAPRECORD& old) {
            BITMAPRECORD& copy = m_records[indexOf(slot)];
            const int32_t n = copyOverlay(copy, old);
            return n == 1 ? build(slot, copy, m_origins[indexOf(slot)]) : n;
        });
        if (nStatus != 1) return nStatus;
        return forOverlays(m_bm, [&](OVERLAYSLOT& slot, BITMAPRECORD& old) {
            std::swap(old, m_records[indexOf(slot)]);
            slot.nOriginX = m_origins[indexOf(slot)].x;
            slot.nOriginY = m_origins[indexOf(slot)].y;
            return 1;
        });
    }
};

// Of a record without storage; the rest stays.
int32_t changeSize(BITMAPRECORD& overlay, int32_t nWidth, int32_t nHeight) noexcept {
    BITMAPRECORD sized;
    if (const int32_t n = R_InitBitmap(&sized, sizeof sized, nWidth, nHeight, 1); n != 1) return n;
    overlay.Width = nWidth;
    overlay.Height = nHeight;
    overlay.BytesPerLine = sized.BytesPerLine;
    return storeDataSize(overlay, sized.Size64) ? 1 : -3;
}

bool hasSize(const BITMAPRECORD& overlay) noexcept { return overlay.Width > 0 && overlay.Height > 0; }

// The first pixel whose nearest old one is n or behind it.
int64_t sizedEdge(int64_t n, int32_t nOld, int32_t nNew) noexcept {
    const int64_t nProduct = n * nNew;
    return nProduct / nOld + (nProduct % nOld > 0);
}

// The edges of a stretch, which keeps a pixel if it has some.
void sizeStretch(int32_t& nFirst, int32_t& nEnd, int32_t nOld, int32_t nNew) noexcept {
    const bool bEmpty = nFirst >= nEnd;
    const int64_t a = sizedEdge(nFirst, nOld, nNew), b = sizedEdge(nEnd, nOld, nNew);
    nFirst = saturated(a);
    nEnd = saturated(bEmpty ? a : std::max(b, a + 1));
}

int32_t sizeOverlays(BITMAPRECORD& bm, int32_t nOldWidth, int32_t nOldHeight) noexcept {
    if (!bm.pOverlays || nOldWidth <= 0 || nOldHeight <= 0) return 1;
    const Quiet quiet;
    return Rebuilt(bm).run([&](const OVERLAYSLOT& slot, BITMAPRECORD& overlay, POINT& origin) {
        RECT place = overlayPlace(slot, bm.ViewPerspective, nOldWidth, nOldHeight);
        sizeStretch(place.left, place.right, nOldWidth, bm.Width);
        sizeStretch(place.top, place.bottom, nOldHeight, bm.Height);
        const RECT seen = seenPlace(bm, place);
        origin = {seen.left, seen.top};
        if (!hasSize(overlay)) return 1;
        const SIZE size = sizeThrough(overlay.ViewPerspective, saturated(int64_t(seen.right) - seen.left),
                                      saturated(int64_t(seen.bottom) - seen.top));
        return isAllocated(&overlay) ? R_SizeBitmap(&overlay, size.width, size.height, 0)
                                     : changeSize(overlay, size.width, size.height);
    });
}

struct Angle {
    int32_t nAngle;  // 0 to 35999, clockwise
    double dSin, dCos;

    explicit Angle(int32_t n) noexcept
        : nAngle((n % kWholeTurn + kWholeTurn) % kWholeTurn),
          dSin(R_SinValue(nAngle) / 16384.0),
          dCos(R_CosValue(nAngle) / 16384.0) {}
};

int32_t turnPixels(BITMAPRECORD& overlay, const Angle& angle) noexcept {
    if (isAllocated(&overlay)) return R_RotateBitmap(&overlay, angle.nAngle, ROT_RESIZE, kClear);
    const double s = std::abs(angle.dSin), c = std::abs(angle.dCos);
    const double dWidth = overlay.Width * c + overlay.Height * s, dHeight = overlay.Width * s + overlay.Height * c;
    return changeSize(overlay, saturated(int64_t(dWidth + 0.6)), saturated(int64_t(dHeight + 0.6)));
}

int32_t rotateOverlays(BITMAPRECORD& bm, int32_t nOldWidth, int32_t nOldHeight, int32_t nAngle) noexcept {
    if (!bm.pOverlays) return 1;
    const Quiet quiet;
    const Angle angle(nAngle);
    const SIZE oldSize = sizeThrough(bm.ViewPerspective, nOldWidth, nOldHeight), newSize = seenSize(bm);
    return Rebuilt(bm).run([&](const OVERLAYSLOT& slot, BITMAPRECORD& overlay, POINT& origin) {
        // From the middle of the picture to that of the overlay, doubled.
        const SIZE was = seenSize(overlay);
        const double dx = 2.0 * slot.nOriginX + was.width - oldSize.width;
        const double dy = 2.0 * slot.nOriginY + was.height - oldSize.height;
        if (hasSize(overlay))
            if (const int32_t n = turnPixels(overlay, angle); n != 1) return n;
        const SIZE is = seenSize(overlay);
        const auto place = [](double dMiddle, int32_t nAll, int32_t nOwn) {
            return saturated(int64_t(std::floor((dMiddle + nAll - nOwn + 1) / 2)));
        };
        origin = {place(dx * angle.dCos - dy * angle.dSin, newSize.width, is.width),
                  place(dx * angle.dSin + dy * angle.dCos, newSize.height, is.height)};
        return 1;
    });
}

}  // namespace

RECT overlayPlace(const OVERLAYSLOT& slot, int32_t nView, int32_t nWidth, int32_t nHeight) noexcept {
    const SIZE own = seenSize(*slot.pBitmap), all = sizeThrough(nView, nWidth, nHeight);
    RECT place{slot.nOriginX, slot.nOriginY, saturated(int64_t(slot.nOriginX) + own.width),
               saturated(int64_t(slot.nOriginY) + own.height)};
    R_ChangeRectViewPerspective(TOP_LEFT, all.width, all.height, nView, &place);
    return place;
}

void setOverlayBodies(Attachments& bodies) noexcept {
    bodies.freeOverlays = freeOverlays;
    bodies.copyOverlays = copyOverlays;
    bodies.offsetOverlays = offsetOverlays;
    bodies.viewOverlays = viewOverlays;
    bodies.flipOverlays = flipOverlays;
    bodies.reverseOverlays = reverseOverlays;
    bodies.sizeOverlays = sizeOverlays;
    bodies.rotateOverlays = rotateOverlays;
}

}  // namespace rv
