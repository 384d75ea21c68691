// What the pipeline of painting is made of, besides rows: the sink, the rows as they are stored and as they are seen,
// and the bands.
#pragma once

#include <algorithm>
#include <numeric>

#include "internal/mirror.h"
#include "internal/paint_.h"
#include "internal/views_.h"

namespace rv {

// ---- the sink
// --------------------------------------------------------------------------------------------------------

// A working copy of the caller's sink, from pfnBegin to pfnEnd.
class PaintSink {
    PAINTCALLBACKS m{};
    const BITMAPRECORD* m_pBegun = nullptr;

public:
    PaintSink() = default;
    PaintSink(const PaintSink&) = delete;
    PaintSink& operator=(const PaintSink&) = delete;
    ~PaintSink();
    // Of a known size. 1, -13 without pfnStretchBits, or the status of pfnBegin.
    int32_t open(const PAINTCALLBACKS& sink, const BITMAPRECORD& bm, const RECT* pDestClip) noexcept;

    const PAINTCALLBACKS& calls() const noexcept { return m; }
    bool takesIndices(uint32_t uMode) const noexcept {
        return (uMode & DM_INDEXED_PAINT) && !(m.uSinkFlags & PAINTSINK_NO_INDICES);
    }
    // The depth of the device: 1, 4, 8 or 24.
    int32_t deviceBits() const noexcept;
    // What it wants of rows nWidth pixels wide: 1, 0 for nothing special, -1491, or what it said.
    int32_t ask(const BITMAPRECORD& bm, int32_t nWidth, SINKBITMAPINFO& info) const noexcept;

    void saveState() const noexcept;
    void restoreState() const noexcept;
    void intersectClip(const RECT& r) const noexcept;
    // 1, or -1.
    int32_t stretchBits(const RECT& dst, const RECT& src, const void* pPixels, const PAINTBITMAPINFO& info,
                        uint32_t uUsage, uint32_t uRop) const noexcept;
};

// ---- the method
// ------------------------------------------------------------------------------------------------------

// How rows of that format go out; bPicture: they are a bitmap's own, of 1 bit maybe smoothed.
PaintMethod paintMethod(const BITMAPRECORD& format, const PaintWish& wish, bool bPicture) noexcept;
constexpr bool isBitonal(PaintMethod method) noexcept { return method >= PaintMethod::coverage; }

// ---- rows as they are stored
// -----------------------------------------------------------------------------------------

// The stored rows that a paint reads: those of a locked bitmap, or nCount rows from nFirst on in a buffer of the
// caller's.
struct PaintStore {
    BITMAPRECORD& bm;
    const uint8_t* pBuffer = nullptr;
    int32_t nFirst = 0, nCount = 0;

    // A row where it lies in memory, else null. A row that is not there is the nearest one that is.
    const uint8_t* inMemory(int32_t nRow) const noexcept;
    // What read() needs of a buffer.
    uint64_t bufferBytes(int32_t nCol, uint32_t nBytes) const noexcept;
    // nBytes bytes of a row from column nCol on, which starts on a byte: in pTo, or where they lie; null with nStatus.
    const uint8_t* read(int32_t nRow, int32_t nCol, uint32_t nBytes, uint8_t* pTo, int32_t& nStatus) const noexcept;

private:
    int32_t nearest(int32_t nRow) const noexcept;
    bool takesWholeRows() const noexcept;
};
// Pixels of a depth that fill whole bytes, so that every so many columns start on a byte.
constexpr int32_t pixelsToByte(int32_t nBits) noexcept { return 8 / std::gcd(8, nBits); }

// A record that tells the format of the rows and has neither storage nor attachments.
BITMAPRECORD formatOf(const BITMAPRECORD& bm) noexcept;

// Rows by the nearest pixels, in the bitmap's format.
int32_t makeNearestRows(const PaintStore& store, const PaintAxis& x, const PaintAxis& y,
                        std::unique_ptr<PaintRows>& pRows) noexcept;
// What the filters make: rows of nBits in nOrder, or nothing where they can't take the picture or give what is wanted.
struct FilterOutput {
    int32_t nBits = 0, nOrder = ORDER_BGR;
    explicit operator bool() const noexcept { return nBits != 0; }
};
FilterOutput filterOutput(const BITMAPRECORD& bm, const PaintWish& wish) noexcept;
// Rows of the filters, resampled or by splines.
int32_t makeFilteredRows(const PaintStore& store, const PaintWish& wish, const PaintAxis& x, const PaintAxis& y,
                         std::unique_ptr<PaintRows>& pRows) noexcept;

// ---- rows as they are seen
// -------------------------------------------------------------------------------------------

// How a view sees stored pixels: along columns or rows, from which end.
struct PaintView {
    bool bColumns;        // seen rows are stored columns
    bool bFlipX, bFlipY;  // the seen left top corner is in the last stored column, row

    explicit PaintView(int32_t nView) noexcept;
};

// What makes stored rows for a window of columns.
class PaintRowsMaker {
public:
    virtual int32_t bits() const noexcept = 0;  // of their pixels
    virtual int32_t make(const PaintAxis& x, const PaintAxis& y, std::unique_ptr<PaintRows>& pRows) noexcept = 0;

protected:
    ~PaintRowsMaker() = default;
};

// The rows of the painted part as they are seen, the first one 0.
class SeenRows {
    PaintView m_view;
    PaintRowsMaker& m_maker;
    PaintAxis m_x, m_y;
    std::unique_ptr<PaintRows> m_pRows;
    BITMAPRECORD m_format{};
    int32_t m_nStatus = 1;
    Buffer<uint8_t> m_row;  // to be mirrored
    MirrorKernel m_mirror = nullptr;
    Buffer<uint8_t> m_block, m_seen;  // of columns: as stored, and turned
    uint32_t m_uSeenStride = 0;
    int32_t m_nBlockRows = 0, m_nBlock = -1;

    int32_t storedRow(int32_t nRow) const noexcept;
    bool turnBlock(int32_t nBlock) noexcept;

public:
    SeenRows(PaintView view, PaintRowsMaker& maker, const PaintAxis& x, const PaintAxis& y) noexcept
        : m_view(view), m_maker(maker), m_x(x), m_y(y) {}
    int32_t prepare() noexcept;
    const BITMAPRECORD& format() const noexcept { return m_format; }
    int32_t status() const noexcept { return m_nStatus; }
    // The row in pBuffer, of its whole bytes, or where it lies; null with status().
    const uint8_t* row(int32_t nRow, uint8_t* pBuffer) noexcept;
    bool areSame(int32_t nRow, int32_t nOther) const noexcept;
};

// ---- bands
// -----------------------------------------------------------------------------------------------------------

constexpr uint32_t kBandBytes = 8u << 20;

// How bands go out: their info, and what goes with it.
struct BandFormat {
    PAINTBITMAPINFO info{};
    uint32_t uStride = 0;
    uint32_t uUsage = PAINTUSAGE_COLORS;
    uint32_t uRop = 0;
    bool bTopDown = false;

    // Of rows nWidth pixels wide; 1, -1491 a stride of the sink's that is too short, -1 rows past 2^31 - 1 bytes.
    int32_t setSize(int32_t nWidth, int32_t nBits, int32_t nAskedStride) noexcept;
    void setRows(int32_t nRows) noexcept;
    // Rows of a band of nRows in all; whole eights for turned pictures.
    int32_t bandRows(int32_t nRows, bool bTurned) const noexcept;
};

// Collects rows, and hands them to the sink band by band.
class PaintBands {
    const PaintSink& m_sink;
    BandFormat& m_format;
    RECT m_area;  // of the device
    uint32_t m_uRowBytes = 0;
    int32_t m_nBandRows = 0, m_nRow = 0, m_nInBand = 0, m_nThisBand = 0;
    Buffer<uint8_t> m_rows;

    uint8_t* placeOf(int32_t nInBand) const noexcept;

public:
    PaintBands(const PaintSink& sink, BandFormat& format, const RECT& area) noexcept
        : m_sink(sink), m_format(format), m_area(area) {}
    int32_t prepare(int32_t nBandRows) noexcept;
    // Where the next row goes.
    uint8_t* place() const noexcept { return placeOf(m_nInBand); }
    // It is there: 1, or -1.
    int32_t done() noexcept;
};

// ---- a paint
// ---------------------------------------------------------------------------------------------------------

inline bool isEmpty(const RECT& r) noexcept { return r.left >= r.right || r.top >= r.bottom; }
inline RECT both(const RECT& a, const RECT& b) noexcept {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}

// What is painted where: the arguments of the calls.
struct PaintJob {
    BITMAPRECORD& bm;
    RECT source;  // the whole picture, if none was given
    const RECT* pSourceClip;
    RECT dest;
    const RECT* pDestClip;
    uint32_t uRop;
    const uint8_t* pRows = nullptr;  // a buffer of the caller's
    int32_t nRow = 0, nRows = 0;
    const RGBQUAD* pOverlayColor = nullptr;  // of an overlay: nothing but stored bits, in this colour
};

// Where a job goes: the axes of the store, and what is painted of the destination.
struct PaintPlace {
    PaintView view;
    PaintAxis x{}, y{};
    RECT area{};                            // of the device
    int32_t nSeenColumn = 0, nSeenRow = 0;  // of its corner in the destination

    explicit PaintPlace(const PaintJob& job) noexcept : view(job.bm.ViewPerspective) {}
    // For what is left of the job's rectangles, whose own sizes fit 31 bits. False where nothing is to be painted.
    bool find(const PaintJob& job, const RECT& source, const RECT& dest) noexcept;
    bool keepsSize() const noexcept { return x.keepsSize() && y.keepsSize(); }
    int32_t width() const noexcept { return area.right - area.left; }
    int32_t height() const noexcept { return area.bottom - area.top; }
};

// Paints what the place says. 1 or a status.
int32_t paintPlace(const PaintSink& sink, const PaintJob& job, const PaintPlace& place,
                   const PaintStore& store) noexcept;
// Paints through an open sink, with the overlays of a picture. 1 or a status.
int32_t paintJob(const PaintSink& sink, const PaintJob& job) noexcept;
// The overlays that are shown; area is where the picture was painted.
int32_t paintOverlays(const PaintSink& sink, const PaintJob& job, const RECT& area) noexcept;
// Brings out the picture's region for the job and makes it the sink's clip, after pfnSaveState; see the calls. 1 or a
// status, with nothing changed.
int32_t selectRegion(const PaintSink& sink, const PaintJob& job, const RECT* pSource, int32_t nMode) noexcept;

}  // namespace rv
