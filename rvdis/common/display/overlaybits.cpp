// Overlays between their bitmaps and the bits of samples. The overlay is looked at through the picture's view first, so
// that the rows of both run alike.
#include <algorithm>

#include "internal/opening.h"
#include "internal/overlay_.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rowaccess.h"
#include "ravokit/view.h"

namespace rv {
namespace {

// ---- rows --------------------------------------------------------------------------------------------------------

// n samples from column nCol on, under the overlay's pixels from nOwn on.
struct Stretch {
    size_t nCol, nOwn, n;
};

struct PlaneRows {
    void (*put)(uint8_t* pRow, const uint8_t* pOverlay, const Stretch& s, int32_t nPosition) noexcept;
    void (*take)(const uint8_t* pRow, uint8_t* pOverlay, const Stretch& s, int32_t nPosition) noexcept;
    void (*clear)(uint8_t* pRow, const Stretch& s, int32_t nPosition) noexcept;
};

template <int Bits>
constexpr PlaneRows kPlaneRows{
    [](uint8_t* pRow, const uint8_t* pOverlay, const Stretch& s, int32_t nPosition) noexcept {
        const uint32_t uKeep = ~(1u << nPosition);
        for (size_t i = 0; i < s.n; ++i)
            Pixel<Bits>::put(pRow, s.nCol + i,
                             (Pixel<Bits>::get(pRow, s.nCol + i) & uKeep) | Pixel<1>::get(pOverlay, s.nOwn + i)
                                                                                << nPosition);
    },
    [](const uint8_t* pRow, uint8_t* pOverlay, const Stretch& s, int32_t nPosition) noexcept {
        for (size_t i = 0; i < s.n; ++i)
            Pixel<1>::put(pOverlay, s.nOwn + i, Pixel<Bits>::get(pRow, s.nCol + i) >> nPosition);
    },
    [](uint8_t* pRow, const Stretch& s, int32_t nPosition) noexcept {
        const uint32_t uKeep = ~(1u << nPosition);
        for (size_t i = 0; i < s.n; ++i) Pixel<Bits>::put(pRow, s.nCol + i, Pixel<Bits>::get(pRow, s.nCol + i) & uKeep);
    }};

const PlaneRows& planeRows(int32_t nBits) noexcept {
    return nBits == 8 ? kPlaneRows<8> : nBits == 12 ? kPlaneRows<12> : kPlaneRows<16>;
}

// ---- bitmaps -----------------------------------------------------------------------------------------------------

class PlaneMove {
    BITMAPRECORD& m_bm;
    BITMAPRECORD& m_overlay;  // in the picture's view
    const PlaneRows& m_rows;
    const int32_t m_nPosition;
    const RECT m_place;
    RECT m_area;  // of it, what lies in the picture
    Stretch m_stretch{};

public:
    PlaneMove(BITMAPRECORD& bm, BITMAPRECORD& overlay, const OVERLAYSLOT& slot) noexcept
        : m_bm(bm),
          m_overlay(overlay),
          m_rows(planeRows(bm.BitsPerPixel)),
          m_nPosition(slot.nBitPosition),
          m_place(overlayPlace(slot, bm.ViewPerspective, bm.Width, bm.Height)),
          m_area{std::max(m_place.left, 0), std::max(m_place.top, 0), std::min(m_place.right, bm.Width),
                 std::min(m_place.bottom, bm.Height)} {
        if (m_area.left >= m_area.right) m_area.bottom = m_area.top;
        m_stretch = {size_t(m_area.left), size_t(int64_t(m_area.left) - m_place.left),
                     size_t(int64_t(m_area.right) - m_area.left)};
    }

    int32_t put() noexcept {
        RowEditor to(m_bm);
        RowReader from(m_overlay, m_overlay.BytesPerLine);
        if (to.status() != 1 || from.status() != 1) return -1;
        for (int32_t y = m_area.top; y < m_area.bottom; ++y) {
            uint8_t* const pRow = to.read(y);
            const uint8_t* const pOwn = from.read(ownRow(y));
            if (!pRow) return to.status();
            if (!pOwn) return from.status();
            m_rows.put(pRow, pOwn, m_stretch, m_nPosition);
            if (const int32_t n = to.write(y); n != 1) return n;
        }
        return 1;
    }
    // The samples stay as they are.
    int32_t take() noexcept {
        RowReader from(m_bm, m_bm.BytesPerLine);
        RowEditor to(m_overlay);
        if (to.status() != 1 || from.status() != 1) return -1;
        for (int32_t y = m_area.top; y < m_area.bottom; ++y) {
            const uint8_t* const pRow = from.read(y);
            uint8_t* const pOwn = to.read(ownRow(y));
            if (!pRow) return from.status();
            if (!pOwn) return to.status();
            m_rows.take(pRow, pOwn, m_stretch, m_nPosition);
            if (const int32_t n = to.write(ownRow(y)); n != 1) return n;
        }
        return 1;
    }
    int32_t clear() noexcept {
        RowEditor rows(m_bm);
        if (rows.status() != 1) return -1;
        for (int32_t y = m_area.top; y < m_area.bottom; ++y) {
            uint8_t* const pRow = rows.read(y);
            if (!pRow) return rows.status();
            m_rows.clear(pRow, m_stretch, m_nPosition);
            if (const int32_t n = rows.write(y); n != 1) return n;
        }
        return 1;
    }

private:
    int32_t ownRow(int32_t y) const noexcept { return int32_t(int64_t(y) - m_place.top); }
};

// Locks both, and hands the status of body through.
template <class Body>
int32_t withBothLocked(BITMAPRECORD& bm, BITMAPRECORD& overlay, Body&& body) noexcept {
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    BitmapLock lockOwn(overlay);
    if (lockOwn.status() != 1) return lock.release(lockOwn.status());
    return lock.release(lockOwn.release(body()));
}

// The bits reach the slot before any leaves the samples.
int32_t movePlane(BITMAPRECORD& bm, const OVERLAYSLOT& slot, bool bPut) noexcept {
    const CopyStatusSetAside noCopyStatus;
    BITMAPRECORD& overlay = *slot.pBitmap;
    BitmapOwner turned;
    const bool bTurned = overlay.ViewPerspective != bm.ViewPerspective;
    if (bTurned)
        if (const int32_t n =
                R_ChangeBitmapViewPerspective(&turned.record, &overlay, sizeof turned.record, bm.ViewPerspective);
            n != 1)
            return n;
    BITMAPRECORD& alike = bTurned ? turned.record : overlay;
    PlaneMove move(bm, alike, slot);
    if (bPut) return withBothLocked(bm, alike, [&] { return move.put(); });
    return withBothLocked(bm, alike, [&] {
        if (const int32_t n = move.take(); n != 1) return n;
        if (bTurned) {
            if (const int32_t n = R_ChangeBitmapViewPerspective(nullptr, &alike, 0, overlay.ViewPerspective); n != 1)
                return n;
            if (const int32_t n = R_CopyBitmapData(&overlay, &alike); n != 1) return n;
        }
        return move.clear();
    });
}

// Storage for a bitmap that has none.
int32_t makeRoom(BITMAPRECORD& overlay, const BITMAPRECORD& bm, const OVERLAYSLOT& slot) noexcept {
    if (overlay.Width <= 0 || overlay.Height <= 0 || overlay.BitsPerPixel != 1) {
        emptyOverlay(overlay);
        if (const int32_t n = initRemaining(overlay, bm, slot); n != 1) return n;
    }
    return R_AllocateBitmap(&overlay, BMMEM_CONVENTIONAL);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_UpdateBitmapOverlayBits(BITMAPRECORD* pBitmap, uint32_t uIndex, uint32_t uFlags) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (uIndex >= OVERLAY_COUNT) return -13;                    // Invalid parameter passed
    BITMAPRECORD& bm = *pBitmap;
    const int32_t nBits = bm.BitsPerPixel;
    if (nBits != 8 && nBits != 12 && nBits != 16) return -27;  // Invalid bits per pixel
    OVERLAYSLOT* const pSlot = usedSlot(bm, uIndex);
    if (!pSlot) return -815;  // The overlay does not exist
    if (!(pSlot->uFlags & OVERLAY_IN_BIT_PLANE) || pSlot->nBitPosition < 0 || pSlot->nBitPosition >= nBits)
        return -816;  // Something is wrong with the overlay index
    if (!isAllocated(pBitmap)) return -2;
    const bool bPut = uFlags & OVERLAYBITS_PUT;
    BITMAPRECORD& overlay = *pSlot->pBitmap;
    if (isAllocated(&overlay)) return movePlane(bm, *pSlot, bPut);
    if (bPut) return -815;
    if (const int32_t n = makeRoom(overlay, bm, *pSlot); n != 1) return n;
    const int32_t n = movePlane(bm, *pSlot, bPut);
    if (n != 1) R_FreeBitmap(&overlay);
    return n;
}
