// The surface, its clip and its sink. The way of a band: each row is fetched into pixels of 32 bits, stretched where
// the sizes differ, and merged into the spans of the clip; a row without alpha that keeps its size is fetched in place.
#include "canvas.h"

#include <algorithm>
#include <cstring>

#include "canvasrows.h"
#include "failure.h"
#include "rgnhandle.h"

namespace ravo {

// The spans of a clip region, row by row. The handle stays, so that the next region can be cut by this one.
struct Canvas::Region {
    RgnHandle handle{CreateRectRgn(0, 0, 0, 0)};
    RECT box{};
    std::vector<size_t> first;  // of each row of the box, and one behind
    std::vector<std::pair<int32_t, int32_t>> spans;

    void readSpans() {
        for (const RECT& r : rectsOf(handle.get()))
            for (int32_t y = r.top; y < r.bottom; ++y) {
                while (int32_t(first.size()) <= y - box.top) first.push_back(spans.size());
                spans.emplace_back(r.left, r.right);
            }
        first.resize(size_t(box.bottom - box.top) + 1, spans.size());
    }
};

struct Canvas::Band {
    int32_t x, y, nWidth, nHeight, nSrcX, nSrcY, nSrcWidth, nSrcHeight;
    const uint8_t* pPixels;
    size_t nStride;
    bool bBottomUp;
    FetchRow fetch;
    MergeRow merge;  // null: the pixels just go there
    uint32_t table[256];

    bool keepsWidth() const noexcept { return nWidth == nSrcWidth; }
    // The row in memory that row y of the canvas shows.
    int32_t sourceRow(int32_t yCanvas) const noexcept {
        const auto n = int32_t(int64_t(yCanvas - y) * nSrcHeight / nHeight);
        return nSrcY + (bBottomUp ? nSrcHeight - 1 - n : n);
    }
    int32_t sourceColumn(int32_t xCanvas) const noexcept {
        return nSrcX + int32_t(int64_t(xCanvas - x) * nSrcWidth / nWidth);
    }
    const uint8_t* row(int32_t n) const noexcept { return pPixels + size_t(n) * nStride; }
};

// ---- surface -----------------------------------------------------------------------------------------------------

Canvas::Canvas(SIZE size)
    : m_own(size_t(size.width) * size_t(size.height) * 4),
      m_pPixels(m_own.data()),
      m_size(size),
      m_nStride(size_t(size.width) * 4),
      m_clip{rect(), nullptr} {
    fill(rect(), 0);
}

Canvas::Canvas(void* pPixels, SIZE size, size_t nStride)
    : m_pPixels(static_cast<uint8_t*>(pPixels)), m_size(size), m_nStride(nStride), m_clip{rect(), nullptr} {}

void Canvas::setClip(const RECT& where) noexcept { m_clip = {intersection(where, rect()), nullptr}; }

// Calls body with each stretch of row y that is visible.
template <class Body>
void Canvas::forSpans(int32_t y, const RECT& visible, Body&& body) const {
    const Region* pRegion = m_clip.pRegion.get();
    if (!pRegion) {
        body(visible.left, visible.right);
        return;
    }
    if (y < pRegion->box.top || y >= pRegion->box.bottom) return;
    const size_t nRow = size_t(y - pRegion->box.top);
    for (size_t i = pRegion->first[nRow]; i < pRegion->first[nRow + 1]; ++i) {
        const int32_t nLeft = std::max(pRegion->spans[i].first, visible.left);
        const int32_t nRight = std::min(pRegion->spans[i].second, visible.right);
        if (nLeft < nRight) body(nLeft, nRight);
    }
}

void Canvas::fill(const RECT& where, uint32_t uColor) noexcept {
    const RECT visible = intersection(where, m_clip.rect);
    if (isEmpty(visible)) return;
    for (int32_t y = visible.top; y < visible.bottom; ++y)
        forSpans(y, visible,
                 [&](int32_t nLeft, int32_t nRight) { std::fill(row(y) + nLeft, row(y) + nRight, uColor | kOpaque); });
}

void Canvas::scroll(const RECT& where, int32_t dx, int32_t dy) noexcept {
    const RECT from = intersection(where, rect());
    const RECT to = intersection(from, {from.left + dx, from.top + dy, from.right + dx, from.bottom + dy});
    if (isEmpty(to)) return;
    const size_t nBytes = size_t(to.right - to.left) * 4;
    const int32_t nRows = to.bottom - to.top;
    for (int32_t i = 0; i < nRows; ++i) {
        const int32_t y = dy > 0 ? to.bottom - 1 - i : to.top + i;  // no row is overwritten before it has moved
        std::memmove(row(y) + to.left, row(y - dy) + to.left - dx, nBytes);
    }
}

Picture Canvas::picture(const RECT& part) const {
    const RECT cut = intersection(part, rect());
    if (isEmpty(cut)) throw Failure("there is no such part of the canvas");
    Picture result(cut.right - cut.left, cut.bottom - cut.top, 24, ORDER_BGR);
    Row line(result->BytesPerLine);
    const Access lock(result);
    for (int32_t y = cut.top; y < cut.bottom; ++y) {
        for (int32_t x = cut.left; x < cut.right; ++x) std::memcpy(&line[size_t(x - cut.left) * 3], row(y) + x, 3);
        putRow(result, line.data(), y - cut.top);
    }
    return result;
}

// ---- bands -------------------------------------------------------------------------------------------------------

void Canvas::drawRow(const Band& band, int32_t y, const RECT& visible) {
    const int32_t nRow = band.sourceRow(y);
    if (band.keepsWidth() && !band.merge) {
        forSpans(y, visible, [&](int32_t nLeft, int32_t nRight) {
            band.fetch(row(y) + nLeft, band.row(nRow), band.sourceColumn(nLeft), nRight - nLeft, band.table);
        });
        return;
    }
    // Enlarged, a row shows several times.
    if (nRow != m_nFetchedRow) {
        const int32_t nFirst = band.sourceColumn(visible.left);
        band.fetch(m_fetched.data(), band.row(nRow), nFirst, int32_t(m_fetched.size()), band.table);
        if (!band.keepsWidth())
            gatherRow(m_placed.data(), m_fetched.data(), m_columns.data(), visible.right - visible.left);
        m_nFetchedRow = nRow;
    }
    const uint32_t* pPlaced = band.keepsWidth() ? m_fetched.data() : m_placed.data();
    forSpans(y, visible, [&](int32_t nLeft, int32_t nRight) {
        const uint32_t* pFrom = pPlaced + (nLeft - visible.left);
        if (band.merge)
            band.merge(row(y) + nLeft, pFrom, nRight - nLeft);
        else
            std::copy(pFrom, pFrom + (nRight - nLeft), row(y) + nLeft);
    });
}

void Canvas::stretch(const Band& band) {
    const RECT place{band.x, band.y, band.x + band.nWidth, band.y + band.nHeight};
    RECT visible = intersection(place, m_clip.rect);
    if (m_clip.pRegion) visible = intersection(visible, m_clip.pRegion->box);
    if (isEmpty(visible)) return;
    const size_t nVisible = size_t(visible.right - visible.left);
    const int32_t nFirst = band.sourceColumn(visible.left);
    m_nFetchedRow = -1;
    m_fetched.resize(size_t(band.sourceColumn(visible.right - 1) - nFirst) + 1);
    if (!band.keepsWidth()) {
        m_placed.resize(nVisible);
        m_columns.resize(nVisible);
        for (size_t i = 0; i < nVisible; ++i) m_columns[i] = band.sourceColumn(visible.left + int32_t(i)) - nFirst;
    }
    for (int32_t y = visible.top; y < visible.bottom; ++y) drawRow(band, y, visible);
    m_drawn = bounds(m_drawn, visible);
}

bool Canvas::selectRegion(RVHANDLE h, int32_t nMode) {
    const bool bCut = nMode == PAINTCLIP_AND;
    const auto pRegion = std::make_shared<Region>();
    const RVHANDLE hNew = pRegion->handle.get();
    const bool bBoth = bCut && m_clip.pRegion;
    if (!hNew || !CombineRgn(hNew, bBoth ? m_clip.pRegion->handle.get() : h, h, bBoth ? 1 : 5)) return false;
    const bool bRectangle = GetRgnBox(hNew, &pRegion->box) <= 2;
    if (!bRectangle) pRegion->readSpans();
    m_clip = {intersection(bCut ? m_clip.rect : rect(), pRegion->box), bRectangle ? nullptr : pRegion};
    return true;
}

// ---- the sink ----------------------------------------------------------------------------------------------------

// The callbacks. Nothing is thrown through the library.
struct Canvas::Calls {
    static Canvas& of(void* pUserData) noexcept { return *static_cast<Canvas*>(pUserData); }

    static int32_t deviceCaps(void*, int32_t nIndex, void* pUserData) {
        switch (nIndex) {
            case PAINTCAPS_TECHNOLOGY:
                return 1;  // a screen
            case PAINTCAPS_BITS:
                return of(pUserData).m_nDeviceBits;
            case PAINTCAPS_PLANES:
                return 1;
            default:
                return 0;
        }
    }
    static int32_t stretchMode(void*, void*) { return PAINTSTRETCH_COLOR; }
    static int32_t setStretchMode(void*, int32_t, void*) { return PAINTSTRETCH_COLOR; }

    static int32_t intersectClip(void*, int32_t left, int32_t top, int32_t right, int32_t bottom, void* pUserData) {
        Clip& clip = of(pUserData).m_clip;
        clip.rect = intersection(clip.rect, {left, top, right, bottom});
        return 1;
    }
    static int32_t saveState(void*, void* pUserData) {
        Canvas& canvas = of(pUserData);
        try {
            canvas.m_saved.push_back(canvas.m_clip);
        } catch (const std::bad_alloc&) {
            return 0;
        }
        return int32_t(canvas.m_saved.size());
    }
    static int32_t restoreState(void*, int32_t, void* pUserData) {
        Canvas& canvas = of(pUserData);
        if (canvas.m_saved.empty()) return 0;
        canvas.m_clip = std::move(canvas.m_saved.back());
        canvas.m_saved.pop_back();
        return 1;
    }
    static int32_t origin(void*, POINT* pOrigin, void*) {
        *pOrigin = {0, 0};
        return 1;
    }
    static int32_t selectClipRgn(void*, RVHANDLE hRgn, int32_t nMode, void* pUserData) {
        try {
            return of(pUserData).selectRegion(hRgn, nMode);
        } catch (const std::bad_alloc&) {
            return 0;
        }
    }
    static int32_t begin(void*, const BITMAPRECORD* pBitmap, const RECT*, void* pUserData) {
        of(pUserData).m_bPremultiplied = pBitmap->Flags & BMF_PREMULTIPLIED;
        return 1;
    }

    static int32_t stretchBits(void*, int32_t x, int32_t y, int32_t nWidth, int32_t nHeight, int32_t nSrcX,
                               int32_t nSrcY, int32_t nSrcWidth, int32_t nSrcHeight, const void* pPixels,
                               const PAINTBITMAPINFO* pInfo, uint32_t uUsage, uint32_t uRop, void* pUserData) {
        const BITMAPINFOHEADER& header = pInfo->Header;
        const int32_t nBits = header.biBitCount;
        const int64_t nRows = std::abs(int64_t(header.biHeight));
        const bool bInside = nSrcX >= 0 && nSrcY >= 0 && nSrcWidth >= 0 && nSrcHeight >= 0 &&
                             int64_t(nSrcX) + nSrcWidth <= header.biWidth && int64_t(nSrcY) + nSrcHeight <= nRows;
        const FetchRow fetch = fetchRowOf(nBits);
        if (!fetch || !bInside || nWidth < 0 || nHeight < 0 || uUsage != PAINTUSAGE_COLORS) return -1;
        if (!nWidth || !nHeight || !nSrcWidth || !nSrcHeight) return 0;

        Canvas& canvas = of(pUserData);
        const bool bOverlay = uRop & PAINTROP_OVERLAY;
        const MergeRow merge = bOverlay                  ? maskRow
                               : nBits < 32              ? nullptr
                               : canvas.m_bPremultiplied ? blendPremultipliedRow
                                                         : blendRow;
        Band band{x,
                  y,
                  nWidth,
                  nHeight,
                  nSrcX,
                  nSrcY,
                  nSrcWidth,
                  nSrcHeight,
                  static_cast<const uint8_t*>(pPixels),
                  size_t((int64_t(header.biWidth) * nBits + 31) / 32 * 4),
                  header.biHeight > 0,
                  fetch,
                  merge,
                  {}};
        if (nBits <= 8)
            for (size_t i = 0; i < size_t(1) << nBits; ++i) {
                const RGBQUAD& entry = pInfo->Table.Colors[i];
                band.table[i] = kOpaque | uint32_t(entry.rgbRed) << 16 | uint32_t(entry.rgbGreen) << 8 | entry.rgbBlue;
            }
        if (bOverlay) band.table[0] = 0;
        try {
            canvas.stretch(band);
            return nSrcHeight;
        } catch (const std::bad_alloc&) {
            return -1;
        }
    }
};

PAINTCALLBACKS Canvas::sink() noexcept {
    PAINTCALLBACKS sink{};
    sink.uStructSize = sizeof sink;
    sink.uSinkFlags = PAINTSINK_NO_INDICES | PAINTSINK_ALPHA;
    sink.pUserData = this;
    sink.pfnGetDeviceCaps = Calls::deviceCaps;
    sink.pfnGetStretchMode = Calls::stretchMode;
    sink.pfnSetStretchMode = Calls::setStretchMode;
    sink.pfnIntersectClip = Calls::intersectClip;
    sink.pfnSaveState = Calls::saveState;
    sink.pfnRestoreState = Calls::restoreState;
    sink.pfnStretchBits = Calls::stretchBits;
    sink.pfnGetOrigin = Calls::origin;
    sink.pfnSelectClipRgn = Calls::selectClipRgn;
    sink.pfnBegin = Calls::begin;
    return sink;
}

}  // namespace ravo
