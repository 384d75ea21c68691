// Frames on the target of a playback: how they are placed, what area they take, how it is put back.
//
// Combining looks at the target's region alone. So where only part of a frame is to be placed, that part is the
// target's region meanwhile, within its own.
#include <cstring>

#include "internal/bgrrows.h"
#include "internal/bitmaprgn_.h"
#include "internal/playback_.h"
#include "internal/views_.h"
#include "ravokit/colorres.h"
#include "ravokit/colorrgn.h"
#include "ravokit/combine.h"
#include "ravokit/copy.h"
#include "ravokit/dither.h"

namespace rv {
namespace {

// Another region of a bitmap for the time of a scope.
class OtherRegion {
    BITMAPRECORD& m_bm;
    RavoRgn* m_pOld;

public:
    OtherRegion(BITMAPRECORD& bm, RavoRgn* pRgn) noexcept : m_bm(bm), m_pOld(std::exchange(bm.pRgnInfo, pRgn)) {}
    OtherRegion(const OtherRegion&) = delete;
    OtherRegion& operator=(const OtherRegion&) = delete;
    ~OtherRegion() { m_bm.pRgnInfo = m_pOld; }
};

// Reduces a region to that of a bitmap. 1 or -1.
int32_t keepWithin(const BITMAPRECORD& bm, RegionOwner& rgn) noexcept {
    if (!bm.pRgnInfo) return 1;
    RegionOwner both;
    if (const int32_t n = combineRegions(both.out(), *rgn, *bm.pRgnInfo, RowOp::kIntersection); n != 1) return n;
    std::swap(*rgn.out(), *both.out());
    return 1;
}

bool samePalette(const BITMAPRECORD& a, const BITMAPRECORD& b) noexcept {
    if (a.nColors != b.nColors || !a.pPalette != !b.pPalette) return false;
    return !a.pPalette || std::memcmp(a.pPalette, b.pPalette, a.nColors * sizeof(RGBQUAD)) == 0;
}

bool isCompatible(const BITMAPRECORD& target, const BITMAPRECORD& frame) noexcept {
    if (target.BitsPerPixel != frame.BitsPerPixel) return false;
    return target.BitsPerPixel <= 8 ? samePalette(target, frame) : target.Order == frame.Order;
}

// The frame in the target's format.
int32_t convertFrame(const BITMAPRECORD& target, BITMAPRECORD& frame, BITMAPRECORD& converted) noexcept {
    uint32_t uFlags = target.Order == ORDER_BGR || target.Order == ORDER_ROMM ? CRF_BYTEORDERBGR : 0;
    if (target.BitsPerPixel > 8)
        return R_ColorResBitmap(&frame, &converted, sizeof converted, target.BitsPerPixel, uFlags, nullptr, nullptr,
                                target.nColors, nullptr, nullptr);
    uFlags = CRF_USERPALETTE | DITHER_FLOYD << CRF_DITHERING_SHIFT;
    PaletteOf fixed(target);
    RGBQUAD* pPalette = target.pPalette ? target.pPalette : fixed.entries;
    return R_ColorResBitmap(&frame, &converted, sizeof converted, target.BitsPerPixel, uFlags, pPalette, nullptr,
                            target.nColors, nullptr, nullptr);
}

// The pixels of the target that a frame with a region may change.
int32_t regionOnTarget(const BITMAPRECORD& target, const BITMAPRECORD& frame, RegionOwner& rgn) noexcept {
    if (const int32_t n = R_CloneRavoRgn(&frame, rgn.out(), nullptr); n != 1) return n;
    const RgnMapping place{TOP_LEFT, 1, 1, 1, 1, frame.Left, frame.Top};
    if (const int32_t n = RgnApplyMapping(target, &place, *rgn); n != 1) return n;
    return keepWithin(target, rgn);
}

int32_t placeFrame(BITMAPRECORD& target, BITMAPRECORD& frame, bool* pbPainted) noexcept {
    RegionOwner rgn;
    if (frame.pRgnInfo)
        if (const int32_t n = regionOnTarget(target, frame, rgn); n != 1) return n;
    BitmapOwner converted;
    BITMAPRECORD* pFrame = &frame;
    if (!isCompatible(target, frame)) {
        if (const int32_t n = convertFrame(target, frame, converted.record); n != 1) return n;
        pFrame = &converted.record;
    }
    const OtherRegion meanwhile(target, rgn.get() ? rgn.get() : target.pRgnInfo);
    const SIZE size = seenSize(frame);
    *pbPainted = true;
    return R_CombineBitmapKrn(&target, frame.Left, frame.Top, size.width, size.height, pFrame, 0, 0, COMBINE_COPY);
}

// A box within the raster of nWidth x nHeight, from a corner that may lie anywhere.
RECT cutBox(int64_t nLeft, int64_t nTop, SIZE size, int32_t nWidth, int32_t nHeight) noexcept {
    const auto x = [=](int64_t n) { return int32_t(std::clamp<int64_t>(n, 0, nWidth)); };
    const auto y = [=](int64_t n) { return int32_t(std::clamp<int64_t>(n, 0, nHeight)); };
    const RECT r{x(nLeft), y(nTop), x(nLeft + size.width), y(nTop + size.height)};
    return isEmptyBox(r) ? RECT{} : r;
}

}  // namespace

RECT frameArea(const BITMAPRECORD& target, const BITMAPRECORD& frame) noexcept {
    RECT r = wholeOf(frame);
    if (frame.pRgnInfo) r = intersection(r, frame.pRgnInfo->rcBounds);
    if (frame.ViewPerspective != TOP_LEFT)
        R_ChangeRectViewPerspective(frame.ViewPerspective, frame.Width, frame.Height, TOP_LEFT, &r);
    const SIZE seen = seenSize(target), size{r.right - r.left, r.bottom - r.top};
    r = cutBox(int64_t(r.left) + frame.Left, int64_t(r.top) + frame.Top, size, seen.width, seen.height);
    if (target.ViewPerspective != TOP_LEFT && !isEmptyBox(r))
        R_ChangeRectViewPerspective(TOP_LEFT, seen.width, seen.height, target.ViewPerspective, &r);
    return r;
}

RECT disposalArea(const BITMAPRECORD& target, const BITMAPRECORD& frame) noexcept {
    SIZE size{frame.Width, frame.Height};
    if (hasRowsAsColumns(target) != hasRowsAsColumns(frame)) std::swap(size.width, size.height);
    const bool bFromEnd = target.ViewPerspective == BOTTOM_LEFT;
    const int64_t nTop = bFromEnd ? int64_t(target.Height) - frame.Top - size.height : frame.Top;
    return cutBox(frame.Left, nTop, size, target.Width, target.Height);
}

int32_t mergeFrame(BITMAPRECORD& target, const BITMAPRECORD& frame, bool* pbPainted) noexcept {
    *pbPainted = false;
    BITMAPRECORD reduced = frame;  // with a region of its own, if any
    if (!(frame.Flags & BMF_TRANSPARENCY)) return placeFrame(target, reduced, pbPainted);
    RegionOwner rgn;
    if (frame.pRgnInfo)
        if (const int32_t n = copyShape(rgn.out(), *frame.pRgnInfo); n != 1) return n;
    reduced.pRgnInfo = rgn.take();
    int32_t n = R_IntSetBitmapRgnColor(&reduced, frame.Transparency, RGN_MODE_OLD_MINUS_NEW);
    if (n == 1) n = placeFrame(target, reduced, pbPainted);
    replaceBitmapRegion(reduced, nullptr);
    return n;
}

int32_t fillArea(BITMAPRECORD& target, const RECT& area) noexcept {
    if (isEmptyBox(area)) return 1;
    RegionOwner rgn;
    if (const int32_t n = R_CreateRavoRgnRect(rgn.out(), &area); n != 1) return n;
    if (const int32_t n = keepWithin(target, rgn); n != 1) return n;
    const OtherRegion meanwhile(target, rgn.get());
    return R_FillBitmap(&target, target.Background);
}

int32_t saveArea(BITMAPRECORD& saved, BITMAPRECORD& target, const RECT& area) noexcept {
    if (isEmptyBox(area)) return 1;
    BITMAPRECORD copy{};
    const int32_t n = R_CopyBitmapRect(&copy, &target, sizeof copy, area.left, area.top, area.right - area.left,
                                       area.bottom - area.top);
    if (n == 1) saved = copy;
    return n;
}

int32_t restoreArea(BITMAPRECORD& saved, BITMAPRECORD& target, const RECT& area) noexcept {
    RECT seen = area;
    int32_t n = R_RectFromBitmap(&target, TOP_LEFT, &seen);
    if (n == 1)
        n = R_CombineBitmapKrn(&target, seen.left, seen.top, seen.right - seen.left, seen.bottom - seen.top, &saved, 0,
                               0, COMBINE_COPY);
    R_FreeBitmap(&saved);
    saved = {};
    return n;
}

}  // namespace rv
