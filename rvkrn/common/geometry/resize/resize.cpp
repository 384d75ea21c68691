// Whole bitmaps into another size: what is made ready for it, which filter runs, and the nearest pixel.
#include "ravokit/resize.h"

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/progress.h"
#include "internal/resize_.h"
#include "internal/rowaccess.h"
#include "internal/rowstore.h"
#include "internal/scanline.h"
#include "ravokit/colorres.h"
#include "ravokit/copy.h"
#include "ravokit/grayscale.h"
#include "ravokit/resample.h"
#include "ravokit/view.h"

namespace rv {
namespace {

// ---- the nearest pixel

int32_t nearestRows(BITMAPRECORD& src, BITMAPRECORD& dst) noexcept {
    NearestColumns columns;
    if (const int32_t n = columns.prepare(src.BitsPerPixel, src.Width, dst.Width); n != 1) return n;
    RowReader reader(src, src.BytesPerLine);
    if (reader.status() != 1) return reader.status();
    RowEditor rows(dst);
    if (rows.status() != 1) return rows.status();
    ProgressStepper progress(dst.Height);
    if (const int32_t n = progress.start(); n != 1) return n;

    const bool bMirrored = src.ViewPerspective != dst.ViewPerspective;
    AxisWalk walk(axisSteps(src.Height, dst.Height));
    int32_t nLastRow = -1;
    const uint8_t* pLast = nullptr;
    for (int32_t y = 0; y < dst.Height; ++y) {
        const int32_t nPut = bMirrored ? dst.Height - 1 - y : y, nRow = int32_t(walk.next());
        uint8_t* pPlace = rows.place(nPut);
        if (nRow > nLastRow) {
            const uint8_t* pRow = reader.read(nRow);
            if (!pRow) return reader.status();
            columns.apply(pRow, pPlace, dst.BytesPerLine);
            nLastRow = nRow;
        } else if (pPlace != pLast) {
            copyRow(pPlace, pLast, dst.BytesPerLine);
        }
        pLast = pPlace;
        if (const int32_t n = rows.write(nPut); n != 1) return n;
        if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

// Runs rows(src, dst) with both locked.
template <class Rows>
int32_t withLocks(BITMAPRECORD& src, BITMAPRECORD& dst, Rows rows) noexcept {
    BitmapLock lockSrc(src);
    if (lockSrc.status() != 1) return lockSrc.status();
    BitmapLock lockDst(dst);
    if (lockDst.status() != 1) return lockDst.status();
    return lockSrc.release(lockDst.release(rows(src, dst)));
}

// ---- what goes along

// The region of pDst's own, told in the source's size.
int32_t sizeOwnRegion(BITMAPRECORD& src, BITMAPRECORD& dst) noexcept {
    if (!dst.pRgnInfo || dst.pRgnInfo == src.pRgnInfo) return 1;
    RavoRgn* const pKept = std::exchange(src.pRgnInfo, dst.pRgnInfo);
    const int32_t n = attachments().sizeRegion(src, dst.Width, dst.Height);
    dst.pRgnInfo = std::exchange(src.pRgnInfo, pKept);
    return n;
}

int32_t sizeAttachments(BITMAPRECORD& src, BITMAPRECORD& dst) noexcept {
    if (const int32_t n = sizeOwnRegion(src, dst); n != 1) return n;
    if (!dst.pOverlays || dst.pOverlays == src.pOverlays) return 1;
    return attachments().sizeOverlays(dst, src.Width, src.Height);
}

// ---- in place

// Drops the flags that are for 1-bit grey where the bitmap is none, and the filter that they take the place of. Whether
// the result has 8 bits.
bool settleGrayFlags(const BITMAPRECORD& bm, uint32_t& uFlags) noexcept {
    constexpr uint32_t kGrayOnly = RSZ_FAVOUR_BLACK | RSZ_TO_GRAY;
    const bool bGray = (uFlags & kGrayOnly) && bm.BitsPerPixel == 1 && R_IntIsGrayScaleBitmap(&bm, 0) > 0;
    if (!bGray) uFlags &= ~kGrayOnly;
    if (uFlags & kGrayOnly) uFlags &= ~uint32_t(RSZ_RESAMPLE);
    return uFlags & RSZ_TO_GRAY;
}

// The copy has its own region and overlays, so that nothing of the caller's changes until all is done.
constexpr uint32_t kDupFlags =
    DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | kDupWholeRegion | DUP_OVERLAYS | DUP_BEGIN_REPLACE;

int32_t sizeInto(BITMAPRECORD& fresh, BITMAPRECORD& bm, bool bToGray, uint32_t uFlags) noexcept {
    if (bToGray) {
        if (const int32_t n = R_CreateBitmapGrayPalette(&fresh); n != 1) return n;
        uFlags = (uFlags ^ RSZ_TO_GRAY) | RSZ_RESAMPLE;
    }
    if (const int32_t n = R_IntResizeBitmap(&bm, &fresh, uFlags); n != 1) return n;
    return sizeAttachments(bm, fresh);
}

int32_t sizeByCopy(BITMAPRECORD& bm, int32_t nWidth, int32_t nHeight, bool bToGray, uint32_t uFlags) noexcept {
    BITMAPRECORD fresh{};
    const int32_t nBits = bToGray ? 8 : bm.BitsPerPixel;
    if (const int32_t n = R_DupBitmapNewDim(&fresh, &bm, bm.uStructSize, nWidth, nHeight, nBits, kDupFlags); n != 1)
        return n;
    const int32_t nStatus = sizeInto(fresh, bm, bToGray, uFlags);
    if (nStatus == 1)
        replaceBitmap(bm, fresh, false);
    else
        dropDuplicate(fresh, bm, kDupFlags);
    return nStatus;
}

// ---- into another bitmap

bool areSeenAlike(int32_t a, int32_t b) noexcept {
    return a == b || (a == TOP_LEFT && b == BOTTOM_LEFT) || (a == BOTTOM_LEFT && b == TOP_LEFT);
}

// The copy of the source that the resize can start from, if the source itself isn't one: in the destination's view and
// depth.
class FittingCopy : public BitmapOwner {
    bool m_bThere = false;

public:
    ~FittingCopy() { releaseAll(record); }

    BITMAPRECORD& of(BITMAPRECORD& src) noexcept { return m_bThere ? record : src; }
    int32_t turn(BITMAPRECORD& src, int32_t nView) noexcept {
        const int32_t n = R_IntChangeBitmapViewPerspective(&record, &src, sizeof record, nView, 63);
        m_bThere = n == 1;
        return n;
    }
    int32_t resolve(BITMAPRECORD& src, int32_t nBits) noexcept {
        if (!m_bThere)
            if (const int32_t n = R_CopyBitmap(&record, &src, sizeof record); n != 1) return n;
        m_bThere = true;
        return R_ColorResBitmap(&record, &record, sizeof record, nBits,
                                nBits > 8 ? CRF_BYTEORDERBGR : CRF_OPTIMIZEDPALETTE, nullptr, nullptr, 0, nullptr,
                                nullptr);
    }
};

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SizeBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, uint32_t uFlags) noexcept {
    if (!isAllocated(pBitmap)) return -13;                      // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD& bm = *pBitmap;
    if (bm.Width == nWidth && bm.Height == nHeight) return 1;
    if ((uFlags & RSZ_ALPHA_WEIGHTED) && hasAlphaSample(bm))
        if (const int32_t n = bleedColors(bm, bm.Width <= nWidth, bm.Height <= nHeight); n != 1) return n;
    const bool bToGray = settleGrayFlags(bm, uFlags);
    if (uFlags & (RSZ_RESAMPLE_COARSE | RSZ_RESAMPLE)) return R_ResampleBitmap(&bm, nWidth, nHeight, uFlags);
    if (uFlags & RSZ_BICUBIC) {
        const bool bGrows = nHeight > bm.Height || nWidth > bm.Width;
        return (bGrows ? R_BicubicResampleBitmap : R_ResampleBitmap)(&bm, nWidth, nHeight, uFlags);
    }
    return sizeByCopy(bm, nWidth, nHeight, bToGray, uFlags);
}

int32_t R_ResizeBitmap(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t uFlags) noexcept {
    if (!pSource || !pDest) return -13;  // Invalid parameter passed
    if (!isKnownRecordSize(pSource->uStructSize) || !isKnownRecordSize(pDest->uStructSize))
        return -789;                                              // The structure size is invalid
    if (!isAllocated(pSource) || !isAllocated(pDest)) return -2;  // Invalid image
    FittingCopy copy;
    if (!areSeenAlike(pSource->ViewPerspective, pDest->ViewPerspective))
        if (const int32_t n = copy.turn(*pSource, pDest->ViewPerspective); n != 1) return n;
    if (pSource->BitsPerPixel != pDest->BitsPerPixel) {
        if (pDest->BitsPerPixel > 1 && (uFlags & RSZ_TO_GRAY)) uFlags = RSZ_RESAMPLE;
        if (const int32_t n = copy.resolve(*pSource, pDest->BitsPerPixel); n != 1) return n;
    }
    BITMAPRECORD& src = copy.of(*pSource);
    if (const int32_t n = R_IntResizeBitmap(&src, pDest, uFlags); n != 1) return n;
    return sizeAttachments(src, *pDest);
}

int32_t R_IntResizeBitmap(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t uFlags) noexcept {
    if (!isAllocated(pSource) || !isAllocated(pDest)) return -2;  // Invalid image
    BITMAPRECORD &src = *pSource, &dst = *pDest;
    if (src.Width < 1 || src.Height < 1 || dst.Width < 1 || dst.Height < 1) return -2;
    const bool bBlack = (uFlags & RSZ_FAVOUR_BLACK) && src.BitsPerPixel == 1 && dst.BitsPerPixel == 1;
    const bool bGrows = dst.Height > src.Height || dst.Width > src.Width;
    if (!bBlack && (uFlags & RSZ_RESAMPLE)) return R_ResampleBitmapInt(&src, &dst, dst.uStructSize, uFlags);
    if (!bBlack && (uFlags & RSZ_BICUBIC))
        return (bGrows ? R_BicubicResampleBitmapInt : R_ResampleBitmapInt)(&src, &dst, dst.uStructSize, uFlags);
    if (src.BitsPerPixel != dst.BitsPerPixel) return -27;  // Invalid bits per pixel
    return withLocks(src, dst, bBlack ? favourBlack : nearestRows);
}

}  // extern "C"
