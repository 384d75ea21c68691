// What hangs on a bitmap and belongs to a higher floor: regions and overlays. Lower operations carry them along through
// these calls alone. Each has a body for bitmaps that carry nothing, which is all that exists until a higher floor
// registers its own.
#pragma once

#include "ravokit/bitmap.h"

namespace rv {

struct Attachments {
    // ---- region
    void (*deleteRegion)(RavoRgn* pRegion) noexcept;
    // Cut to dst unless BMF_RGN_NOCLIP is set there; so is one that was moved.
    int32_t (*copyRegion)(BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept;
    int32_t (*offsetRegion)(BITMAPRECORD& bm, int32_t nX, int32_t nY) noexcept;
    // The region of a picture whose stored rows were exchanged, or mirrored.
    int32_t (*flipRegion)(BITMAPRECORD& bm) noexcept;
    int32_t (*reverseRegion)(BITMAPRECORD& bm) noexcept;
    // To a picture of another size; bm has the old one still.
    int32_t (*sizeRegion)(BITMAPRECORD& bm, int32_t nWidth, int32_t nHeight) noexcept;
    // bm has the new size already; the picture was nOldWidth x nOldHeight and was turned by nAngle hundredths of a
    // degree, clockwise as its view sees it.
    int32_t (*rotateRegion)(BITMAPRECORD& bm, int32_t nOldWidth, int32_t nOldHeight, int32_t nAngle) noexcept;
    // bm has the new size already; its rows moved as R_ShearBitmap tells. The sign of the angle is not looked at.
    int32_t (*shearRegion)(BITMAPRECORD& bm, int32_t nAngle) noexcept;
    // The region's bounds in storage rows and columns, cut to the bitmap.
    RECT (*regionBounds)(const BITMAPRECORD& bm) noexcept;
    // Words that a row's segments can need, and the segments of a row: pairs (start, end), end exclusive.
    uint32_t (*clipSegmentsMax)(const BITMAPRECORD& bm) noexcept;
    int32_t (*clipSegments)(const BITMAPRECORD& bm, int32_t nRow, uint32_t* pWords, uint32_t* pnWords) noexcept;
    // Whether a pixel in storage coordinates is in the region.
    bool (*isInRegion)(const BITMAPRECORD& bm, int32_t nRow, int32_t nCol) noexcept;
    // Closes a handle of kind 4.
    void (*closeRegionHandle)(MEMHANDLE& h) noexcept;

    // ---- overlays
    void (*freeOverlays)(BITMAPRECORD& bm) noexcept;
    int32_t (*copyOverlays)(BITMAPRECORD& dst, const BITMAPRECORD& src) noexcept;
    // The stored pixels of a picture of nOldWidth x nOldHeight went to columns nX and rows nY further, in bm.
    void (*offsetOverlays)(BITMAPRECORD& bm, int32_t nOldWidth, int32_t nOldHeight, int32_t nX, int32_t nY) noexcept;
    // The stored pixels of bm, which were seen through nOldView, stay where they are.
    void (*viewOverlays)(BITMAPRECORD& bm, int32_t nOldView) noexcept;
    // With a picture of nOldWidth x nOldHeight that became bm: its stored rows were exchanged, or mirrored; it was
    // resized, or turned by nAngle hundredths of a degree, clockwise as it is seen, about the middle of both. On
    // failure overlays that were resized or turned are as before.
    int32_t (*flipOverlays)(BITMAPRECORD& bm) noexcept;
    int32_t (*reverseOverlays)(BITMAPRECORD& bm) noexcept;
    int32_t (*sizeOverlays)(BITMAPRECORD& bm, int32_t nOldWidth, int32_t nOldHeight) noexcept;
    int32_t (*rotateOverlays)(BITMAPRECORD& bm, int32_t nOldWidth, int32_t nOldHeight, int32_t nAngle) noexcept;
};

// The bodies in force.
const Attachments& attachments() noexcept;

// The bodies for bitmaps without region and overlays.
extern const Attachments kNoAttachments;

// Puts other bodies in force; a higher floor calls it when it starts.
void registerAttachments(const Attachments& bodies) noexcept;

}  // namespace rv
