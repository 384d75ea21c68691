// One paint: how its rows come and how they go out is settled, then they go to the sink.
#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "internal/bitmap_.h"
#include "internal/opening.h"
#include "internal/paintwork.h"
#include "internal/pixels.h"
#include "ravokit/grayscale.h"
#include "ravokit/palette.h"

namespace rv {
namespace {

// ---- a sink's own converter ----------------------------------------------------------------------------------------

// Rows that the sink converts in the library's place, to the same depth. The paint table stays the library's work.
class SinkConverter final : public PaintRenderer {
    const PAINTCONVERTROW m_pfnConvert;
    const BITMAPRECORD& m_bm;
    const std::unique_ptr<PaintRenderer> m_pOwn;

public:
    SinkConverter(PAINTCONVERTROW pfnConvert, const BITMAPRECORD& bm, std::unique_ptr<PaintRenderer> pOwn) noexcept
        : m_pfnConvert(pfnConvert), m_bm(bm), m_pOwn(std::move(pOwn)) {}
    int32_t bits() const noexcept override { return m_pOwn->bits(); }
    PaintTable table() const noexcept override { return m_pOwn->table(); }
    bool isPure() const noexcept override { return false; }  // it is the sink's to say
    void render(const uint8_t* pSource, uint8_t* pDest, size_t n, int32_t) noexcept override {
        m_pfnConvert(pDest, pSource, &m_bm, 0, int32_t(n));
        const uint8_t* const pPaint = bits() == 24 ? paintTable(m_bm) : nullptr;
        for (size_t i = 0; pPaint && i < n * 3; ++i) pDest[i] = pPaint[pDest[i]];
    }
};

// What shows of an overlay's bits becomes bits again.
class AnyInk final : public PaintRenderer {
public:
    int32_t bits() const noexcept override { return 1; }
    PaintTable table() const noexcept override { return PaintTable::picture; }
    bool isPure() const noexcept override { return true; }
    void render(const uint8_t* pSource, uint8_t* pDest, size_t n, int32_t) noexcept override {
        for (size_t i = 0; i < n; i += 8) {
            uint32_t v = 0;
            for (size_t k = i; k < i + 8; ++k) v = v << 1 | (k < n && pSource[k] != 0);
            pDest[i / 8] = uint8_t(v);
        }
    }
};

// ---- one paint
// -------------------------------------------------------------------------------------------------------

class Paint final : public PaintRowsMaker {
    const PaintSink& m_sink;
    const PaintJob& m_job;
    const PaintPlace& m_place;
    PaintStore m_store;
    PaintWish m_wish;
    SINKBITMAPINFO m_asked{};
    PaintMethod m_method = PaintMethod::asStored;
    bool m_bFiltered = false;
    std::unique_ptr<PaintRenderer> m_pRenderer;
    BandFormat m_format;

public:
    Paint(const PaintSink& sink, const PaintJob& job, const PaintPlace& place, const PaintStore& store) noexcept
        : m_sink(sink), m_job(job), m_place(place), m_store(store) {}
    int32_t run() noexcept;

    int32_t bits() const noexcept override;
    int32_t make(const PaintAxis& x, const PaintAxis& y, std::unique_ptr<PaintRows>& pRows) noexcept override;

private:
    int32_t ask() noexcept;
    void chooseMethod() noexcept;
    int32_t makeRenderer(const BITMAPRECORD& rows) noexcept;
    void setTable(PaintTable table, int32_t nBits) noexcept;
    bool isStraight() const noexcept;
    bool canGoWhole() const noexcept;
    int32_t sendWhole() noexcept;
    int32_t passThrough() noexcept;
    int32_t sendRows(SeenRows& rows) noexcept;
    int32_t paintBands() noexcept;
};

// The thread's mode, and what the sink takes.
int32_t Paint::ask() noexcept {
    m_wish.uMode = R_GetDisplayMode();
    m_wish.bAlpha = m_sink.calls().uSinkFlags & PAINTSINK_ALPHA;
    if (m_job.pOverlayColor) return 1;  // its rows are what they are
    const int32_t n = m_sink.ask(m_job.bm, m_place.width(), m_asked);
    if (n == 0) m_wish.nDeviceBits = m_sink.deviceBits();
    if (n != 1) return n == 0 ? 1 : n;
    m_wish.bAsked = true;
    m_wish.nDeviceBits = m_asked.nBitsPerPixel;
    m_wish.nOrder = m_asked.nOrder;
    m_wish.uInfoFlags = m_asked.uInfoFlags;
    m_wish.nLowBit = m_asked.nInfoLowBit;
    m_wish.nHighBit = m_asked.nInfoHighBit;
    m_wish.bAlpha = m_wish.bAlpha && (m_asked.nBitsPerPixel == 32 || m_asked.nBitsPerPixel == 64);
    if (m_wish.bAlpha && hasAlphaSample(m_job.bm)) m_wish.uInfoFlags |= SINKINFO_ALPHA;
    m_format.bTopDown = m_asked.nViewPerspective == TOP_LEFT;
    return 1;
}

void Paint::chooseMethod() noexcept {
    const BITMAPRECORD& bm = m_job.bm;
    if (m_job.pOverlayColor) {
        // Stored bits; but where pages shrink by counting, lines of annotations are not to get lost either.
        const bool bShrinks = m_place.x.nSrc > m_place.x.nDst || m_place.y.nSrc > m_place.y.nDst;
        if (bShrinks && (m_wish.uMode & (DM_BITONAL_COVERAGE | DM_BITONAL_SMOOTH))) m_method = PaintMethod::anyBit;
        return;
    }
    m_method = paintMethod(bm, m_wish, !m_store.pBuffer);
    // Without a scale there is nothing to smooth.
    if (m_method >= PaintMethod::smooth && m_place.keepsSize()) m_method = PaintMethod::asStored;
    m_bFiltered = !m_place.keepsSize() && !isBitonal(m_method) && (m_wish.uMode & (DM_RESAMPLE | DM_BICUBIC)) &&
                  filterOutput(bm, m_wish) && !(bm.BitsPerPixel == 1 && R_IsGrayScaleBitmap(&bm) > 0);
}

int32_t Paint::bits() const noexcept {
    if (isBitonal(m_method)) return 8;
    return m_bFiltered ? filterOutput(m_job.bm, m_wish).nBits : m_job.bm.BitsPerPixel;
}

int32_t Paint::make(const PaintAxis& x, const PaintAxis& y, std::unique_ptr<PaintRows>& pRows) noexcept {
    if (isBitonal(m_method)) return makeBitonalRows(m_job.bm, m_method, x, y, pRows);
    if (m_bFiltered) return makeFilteredRows(m_store, m_wish, x, y, pRows);
    return makeNearestRows(m_store, x, y, pRows);
}

// What brings the rows to the form in which they go out: nothing where they have it.
int32_t Paint::makeRenderer(const BITMAPRECORD& rows) noexcept {
    if (m_job.pOverlayColor) {
        if (isBitonal(m_method)) m_pRenderer.reset(new (std::nothrow) AnyInk);
        if (isBitonal(m_method) && !m_pRenderer) return -1;  // Not enough memory available
        setTable(PaintTable::picture, 1);
        return 1;
    }
    if (isBitonal(m_method)) {
        if (m_wish.bAsked && m_wish.nDeviceBits != 8) return -27;  // Invalid bits per pixel
        setTable(PaintTable::grayRamp, 8);
        return 1;
    }
    const PaintMethod method = m_bFiltered ? paintMethod(rows, m_wish, false) : m_method;
    const bool bReady = m_bFiltered && m_wish.bAsked && rows.BitsPerPixel == m_wish.nDeviceBits;
    const bool bTabled = paintTable(rows) && (rows.BitsPerPixel == 24 || rows.BitsPerPixel == 32);
    const bool bOther = m_wish.bAsked && rows.BitsPerPixel != m_wish.nDeviceBits;  // than the sink wants
    if (method == PaintMethod::dither) {
        if (const int32_t n = makeRowDither(rows, m_wish, size_t(m_place.width()), m_place.nSeenColumn, m_pRenderer);
            n != 1)
            return n;
    } else if (bTabled || bOther || (method == PaintMethod::convert && !bReady)) {
        if (const int32_t n = makeRowConverter(rows, m_wish, m_pRenderer); n != 1) return n;
        const PAINTCONVERTROW pfnConvert = m_sink.calls().pfnConvertRow;
        if (pfnConvert && method == PaintMethod::convert && !m_bFiltered) {
            auto* const p = new (std::nothrow) SinkConverter(pfnConvert, m_job.bm, std::move(m_pRenderer));
            if (!p) return -1;  // Not enough memory available
            m_pRenderer.reset(p);
        }
    }
    const int32_t nBits = m_pRenderer ? m_pRenderer->bits() : rows.BitsPerPixel;
    if (m_wish.bAsked && nBits != m_wish.nDeviceBits) return -27;  // Invalid bits per pixel
    const bool bGray = bReady && nBits <= 8;
    setTable(m_pRenderer  ? m_pRenderer->table()
             : bGray      ? PaintTable::grayRamp
             : nBits <= 8 ? PaintTable::picture
                          : PaintTable::none,
             nBits);
    return 1;
}

// The table of rows of up to 8 bits: colours, through the paint table, or indices.
void Paint::setTable(PaintTable table, int32_t nBits) noexcept {
    if (table == PaintTable::none) return;
    const BITMAPRECORD& bm = m_job.bm;
    const uint32_t nEntries = 1u << nBits;
    auto& info = m_format.info;
    info.Header.biClrUsed = nEntries;
    const uint8_t* pPaint = paintTable(bm);
    const bool bPalette = table == PaintTable::picture || table == PaintTable::device;
    if (bPalette && !pPaint && !m_job.pOverlayColor && m_sink.takesIndices(m_wish.uMode)) {
        for (uint32_t i = 0; i < nEntries; ++i) info.Table.Indices[i] = uint16_t(i);
        m_format.uUsage = PAINTUSAGE_INDICES;
        return;
    }
    RGBQUAD* const pColors = info.Table.Colors;
    if (m_job.pOverlayColor) {
        pColors[1] = *m_job.pOverlayColor;
        return;
    }
    if (table == PaintTable::grayRamp) {
        for (uint32_t i = 0; i < nEntries; ++i) pColors[i] = {uint8_t(i), uint8_t(i), uint8_t(i), 0};
    } else {
        const RGBQUAD* p = table == PaintTable::picture ? bm.pPalette : devicePalette(nBits, m_wish.uMode);
        uint32_t n = table == PaintTable::picture ? bm.nColors : nEntries;
        if (!p) {
            p = R_IntGetFixedPalette(bm.BitsPerPixel);
            n = 1u << bm.BitsPerPixel;
        }
        for (uint32_t i = 0; i < std::min(n, nEntries); ++i) pColors[i] = {p[i].rgbBlue, p[i].rgbGreen, p[i].rgbRed, 0};
    }
    if (!pPaint || table == PaintTable::blackWhite) return;
    for (uint32_t i = 0; i < nEntries; ++i)
        pColors[i] = {pPaint[pColors[i].rgbBlue], pPaint[pColors[i].rgbGreen], pPaint[pColors[i].rgbRed], 0};
}

// ---- without rows
// ----------------------------------------------------------------------------------------------------

// Whether stored rows follow each other as bands do.
bool Paint::isStraight() const noexcept {
    const BITMAPRECORD& bm = m_job.bm;
    return !m_place.view.bColumns && !m_place.view.bFlipX && m_store.inMemory(m_place.y.source(m_place.y.nFrom)) &&
           bm.BytesPerLine == rowBytes(uint32_t(bm.Width), uint32_t(bm.BitsPerPixel));
}

// A picture may go to the sink whole, for that to scale it.
bool Paint::canGoWhole() const noexcept {
    const BITMAPRECORD& bm = m_job.bm;
    if (!(m_wish.uMode & DM_DIRECT_STRETCH) || m_sink.calls().pDisplay || m_store.pBuffer || m_job.pOverlayColor)
        return false;
    if (m_place.keepsSize() || m_method > PaintMethod::convert || !isStraight()) return false;
    const RECT& s = m_job.source;
    if (s.left < 0 || s.top < 0 || s.right > bm.Width || s.bottom > bm.Height) return false;
    const bool bGray = bm.Order == ORDER_GRAY;
    const int32_t nHigh = bm.HighBit < 0 ? bm.BitsPerPixel - 1 : bm.HighBit;
    const bool bMatches = m_wish.bAsked && bm.BitsPerPixel == m_wish.nDeviceBits &&
                          (bm.BitsPerPixel <= 8 || bm.Order == m_wish.nOrder) &&
                          (!bGray || (std::max(bm.LowBit, 0) == m_wish.nLowBit && nHigh == m_wish.nHighBit)) &&
                          (m_asked.nBytesPerLine == 0 || uint32_t(m_asked.nBytesPerLine) == bm.BytesPerLine);
    if (m_wish.bAsked && !bMatches) return false;
    switch (bm.BitsPerPixel) {
        case 1:
        case 4:
        case 8:
            return true;
        case 12:
            return bMatches;
        case 16:
            return bMatches || (!bGray && bm.Order == ORDER_BGR);
        case 24:
            return m_method == PaintMethod::asStored && !paintTable(bm);
        case 32:
            return bMatches || (bm.Order == ORDER_BGR && m_wish.bAlpha);
        default:
            return false;
    }
}

int32_t Paint::sendWhole() noexcept {
    const BITMAPRECORD& bm = m_job.bm;
    if (const int32_t n = m_format.setSize(bm.Width, bm.BitsPerPixel, 0); n != 1) return n;
    if (bm.BitsPerPixel <= 8) setTable(PaintTable::picture, bm.BitsPerPixel);
    m_format.bTopDown = !m_place.view.bFlipY;
    m_format.setRows(bm.Height);
    const PAINTCALLBACKS& calls = m_sink.calls();
    m_sink.saveState();
    if (calls.pfnSetStretchMode) calls.pfnSetStretchMode(calls.pDisplay, PAINTSTRETCH_HALFTONE, calls.pUserData);
    m_sink.intersectClip(m_place.area);
    const int32_t n = m_sink.stretchBits(m_job.dest, m_job.source, m_store.inMemory(0), m_format.info, m_format.uUsage,
                                         m_format.uRop);
    m_sink.restoreState();
    return n;
}

// Rows that are in memory as the sink wants them.
int32_t Paint::passThrough() noexcept {
    const PaintAxis &x = m_place.x, &y = m_place.y;
    if (const int32_t n = m_format.setSize(m_job.bm.Width, m_job.bm.BitsPerPixel, m_asked.nBytesPerLine); n != 1)
        return n;
    const int32_t nCol = x.source(x.nFrom);
    m_format.setRows(y.nCount);
    return m_sink.stretchBits(m_place.area, {nCol, 0, nCol + x.nCount, y.nCount}, m_store.inMemory(y.source(y.nFrom)),
                              m_format.info, m_format.uUsage, m_format.uRop);
}

// ---- with rows
// -------------------------------------------------------------------------------------------------------

int32_t Paint::sendRows(SeenRows& rows) noexcept {
    const int32_t nWidth = m_place.width(), nHeight = m_place.height();
    const BITMAPRECORD& from = rows.format();
    if (const int32_t n =
            m_format.setSize(nWidth, m_pRenderer ? m_pRenderer->bits() : from.BitsPerPixel, m_asked.nBytesPerLine);
        n != 1)
        return n;
    PaintBands bands(m_sink, m_format, m_place.area);
    if (const int32_t n = bands.prepare(m_format.bandRows(nHeight, m_place.view.bColumns)); n != 1) return n;
    const auto uBytes = size_t(packedBytes(uint32_t(nWidth), m_format.info.Header.biBitCount));
    Buffer<uint8_t> scratch;
    if (m_pRenderer && !scratch.allocate(packedBytes(uint32_t(nWidth), uint32_t(from.BitsPerPixel)))) return -1;

    const bool bPure = !m_pRenderer || m_pRenderer->isPure();
    const uint8_t* pBefore = nullptr;
    for (int32_t j = 0; j < nHeight; ++j) {
        uint8_t* const pTo = bands.place();
        if (pBefore && bPure && rows.areSame(j, j - 1)) {
            if (pTo != pBefore) std::memcpy(pTo, pBefore, uBytes);
        } else {
            const uint8_t* const p = rows.row(j, m_pRenderer ? scratch.get() : pTo);
            if (!p) return rows.status();
            if (m_pRenderer)
                m_pRenderer->render(p, pTo, size_t(nWidth), m_place.nSeenRow + j);
            else if (p != pTo)
                std::memcpy(pTo, p, uBytes);
        }
        pBefore = pTo;
        if (const int32_t n = bands.done(); n != 1) return n;
    }
    return 1;
}

int32_t Paint::paintBands() noexcept {
    SeenRows rows(m_place.view, *this, m_place.x, m_place.y);
    if (const int32_t n = rows.prepare(); n != 1) return n;
    if (const int32_t n = makeRenderer(rows.format()); n != 1) return n;
    const BITMAPRECORD& bm = m_job.bm;
    const bool bCopies = !m_pRenderer && !isBitonal(m_method) && m_place.keepsSize();
    const bool bShortcut = bCopies && m_store.pBuffer && !m_place.view.bColumns && !m_place.view.bFlipX;
    if (bShortcut) {
        m_sink.saveState();
        m_sink.intersectClip(m_place.area);
    }
    const bool bAsWanted = m_place.view.bFlipY != m_format.bTopDown && isStraight() &&
                           (m_asked.nBytesPerLine == 0 || uint32_t(m_asked.nBytesPerLine) == bm.BytesPerLine);
    const int32_t n = bCopies && bAsWanted ? passThrough() : sendRows(rows);
    if (bShortcut) m_sink.restoreState();
    return n;
}

int32_t Paint::run() noexcept {
    m_format.uRop = m_job.uRop;
    if (const int32_t n = ask(); n != 1) return n;
    chooseMethod();
    return canGoWhole() ? sendWhole() : paintBands();
}

}  // namespace

int32_t paintPlace(const PaintSink& sink, const PaintJob& job, const PaintPlace& place,
                   const PaintStore& store) noexcept {
    return Paint(sink, job, place, store).run();
}

}  // namespace rv
