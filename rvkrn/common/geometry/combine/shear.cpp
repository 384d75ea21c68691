// Shearing: rows placed further to the right the later they come, in a wider bitmap. Columns are sheared as rows of the
// turned picture.
#include <cstdlib>

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/colorpixel.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rowaccess.h"
#include "internal/views_.h"
#include "ravokit/combine.h"
#include "ravokit/compressed.h"
#include "ravokit/copy.h"
#include "ravokit/rotate.h"

namespace rv {
namespace {

constexpr int32_t kTurnPercent = 20, kReversePercent = 5;

// What palette and overlays share with the old bitmap, and what the region doesn't.
constexpr uint32_t kShearedDup = DUP_ALLOCATE | DUP_REGION | kDupWholeRegion | DUP_BEGIN_REPLACE;
constexpr uint32_t kWorkDup = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS | DUP_BEGIN_REPLACE;

// A call inside, which doesn't tell the thread's callback.
template <class Call>
int32_t quietly(Call call) noexcept {
    const StatusSetAside aside;
    return call();
}

int32_t tell(int32_t nPercent) noexcept {
    void* pUser = nullptr;
    const STATUSCALLBACK pfn = R_GetStatusCallBack(&pUser);
    return pfn ? pfn(nPercent, pUser) : 1;
}

// How far each row is moved: k x nSin / nCos for row k, by quotient and remainder.
class Slope {
    int32_t m_nStep, m_nRest, m_nDen, m_nAcc = 0, m_nShift = 0;

public:
    Slope(int32_t nSin, int32_t nCos) noexcept : m_nStep(nSin / nCos), m_nRest(nSin % nCos), m_nDen(nCos) {}
    int32_t shift() const noexcept { return m_nShift; }
    void next() noexcept {
        m_nShift += m_nStep;
        m_nAcc += m_nRest;
        if (m_nAcc < m_nDen) return;
        m_nAcc -= m_nDen;
        ++m_nShift;
    }
};

struct Shear {
    int32_t nAngle;
    COLORREF crFill;
    int32_t nFirst, nLast;  // percent of the rows
    int32_t sine() const noexcept { return R_SinValue(std::abs(nAngle)); }
    int32_t cosine() const noexcept { return R_CosValue(std::abs(nAngle)); }
};

int32_t moveRows(BITMAPRECORD& src, BITMAPRECORD& dst, const Shear& shear) noexcept {
    RowReader reader(src, src.BytesPerLine);
    RowEditor editor(dst);
    Buffer<uint8_t> fill(dst.BytesPerLine);
    if (reader.status() != 1 || editor.status() != 1 || !fill) return -1;
    fillRow(dst, fillPixel(dst, shear.crFill, 255), fill.get());
    const auto nWidth = uint32_t(src.Width), nAll = uint32_t(dst.Width);
    Slope slope(shear.sine(), shear.cosine());
    const bool bFromRow0 = isMirrored(src);  // so that what is seen shears the same way in every view
    ProgressStepper progress(src.Height, shear.nFirst, shear.nLast);
    int32_t nStatus = progress.start();
    for (int32_t k = 0; k < src.Height && nStatus == 1; ++k, slope.next()) {
        const int32_t y = bFromRow0 ? k : src.Height - 1 - k;
        const uint8_t* pFrom = reader.read(y);
        if (!pFrom) return reader.status();
        uint8_t* pTo = editor.place(y);
        const auto nShift = uint32_t(slope.shift()), nLeft = shear.nAngle < 0 ? nAll - nWidth - nShift : nShift,
                   nRight = nLeft + nWidth;
        copyPixels(src.BitsPerPixel, pTo, 0, fill.get(), 0, nLeft);
        copyPixels(src.BitsPerPixel, pTo, nLeft, pFrom, 0, nWidth);
        copyPixels(src.BitsPerPixel, pTo, nRight, fill.get(), nRight, nAll - nRight);
        nStatus = editor.write(y);
        if (nStatus == 1) nStatus = progress.step();
    }
    return nStatus;
}

int32_t buildSheared(BITMAPRECORD& bm, BITMAPRECORD& fresh, const Shear& shear) noexcept {
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    BitmapLock freshLock(fresh);
    if (freshLock.status() != 1) return lock.release(freshLock.status());
    const int32_t nStatus = moveRows(bm, fresh, shear);
    return lock.release(freshLock.release(nStatus));
}

// The region's shear goes to the right; for the other way it is mirrored before and after.
int32_t shearRegion(BITMAPRECORD& fresh, int32_t nOldWidth, int32_t nAngle) noexcept {
    if (!fresh.pRgnInfo) return 1;
    const Attachments& bodies = attachments();
    if (nAngle >= 0) return bodies.shearRegion(fresh, nAngle);
    if (const int32_t n = bodies.reverseRegion(fresh); n != 1) return n;
    if (const int32_t n = bodies.offsetRegion(fresh, nOldWidth - fresh.Width, 0); n != 1) return n;
    if (const int32_t n = bodies.shearRegion(fresh, nAngle); n != 1) return n;
    return bodies.reverseRegion(fresh);
}

// Shears stored rows.
int32_t shearStored(BITMAPRECORD& bm, const Shear& shear) noexcept {
    const int64_t nWidth = bm.Width + int64_t(bm.Height) * shear.sine() / shear.cosine();
    if (nWidth > INT32_MAX) return -1;  // Not enough memory available
    BITMAPRECORD fresh;
    if (const int32_t n =
            R_DupBitmapNewDim(&fresh, &bm, bm.uStructSize, int32_t(nWidth), bm.Height, bm.BitsPerPixel, kShearedDup);
        n != 1)
        return n;
    int32_t nStatus = buildSheared(bm, fresh, shear);
    if (nStatus == 1) nStatus = shearRegion(fresh, bm.Width, shear.nAngle);
    if (nStatus != 1) {
        dropDuplicate(fresh, bm, kShearedDup);
        return nStatus;
    }
    if (fresh.Flags & BMF_COMPRESSED) R_TrimBitmapHeap(&fresh, 0);
    if (fresh.pOverlays)
        attachments().offsetOverlays(fresh, bm.Width, bm.Height, shear.nAngle < 0 ? fresh.Width - bm.Width : 0, 0);
    if (bm.pRgnInfo) attachments().deleteRegion(bm.pRgnInfo);
    replaceBitmap(bm, fresh, true);
    return 1;
}

// Shears the turned picture. All is done on a copy, as what was turned may not be turned back where memory is short.
int32_t shearColumns(BITMAPRECORD& bm, const Shear& shear) noexcept {
    BITMAPRECORD work;
    if (const int32_t n = R_DupBitmapNewDim(&work, &bm, bm.uStructSize, bm.Width, bm.Height, bm.BitsPerPixel, kWorkDup);
        n != 1)
        return n;
    int32_t nStatus = R_CopyBitmapData(&work, &bm);
    if (nStatus == 1) nStatus = quietly([&] { return R_RotateBitmap90(&work, 1, 0, kTurnPercent); });
    if (nStatus == 1) nStatus = shearStored(work, shear);
    if (nStatus == 1) nStatus = quietly([&] { return R_RotateBitmap(&work, -9000, ROT_RESIZE, shear.crFill); });
    if (nStatus == 1) nStatus = tell(100);
    if (nStatus != 1) {
        dropDuplicate(work, bm, kWorkDup);
        return nStatus;
    }
    replaceBitmap(bm, work, false);
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_ShearBitmap(BITMAPRECORD* pBitmap, int32_t nAngle, int32_t bHorizontal, COLORREF crFill) noexcept {
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (nAngle < -8999 || nAngle > 8999) return -13;            // Invalid parameter passed
    const bool bRows = (bHorizontal != 0) != hasRowsAsColumns(*pBitmap);
    const int32_t nAside = (bRows ? 0 : kTurnPercent) + (nAngle < 0 ? kReversePercent : 0);
    const Shear shear{nAngle, crFill, nAside, 100 - nAside};
    if (const int32_t n = nAside ? tell(0) : 1; n != 1) return n;
    if (!bRows) return shearColumns(*pBitmap, shear);
    return shearStored(*pBitmap, shear);
}
