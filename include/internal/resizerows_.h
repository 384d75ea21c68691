// The engine of resized rows: what a request goes through, from source rows to the caller's buffer.
//
// The formats are settled at the start. A request names a stretch of a row; for the columns of a stretch there is a
// window (which source columns it takes), and a ResizeSpan that makes stretches of rows with these columns: it fetches
// source rows, converts them to the work format, resizes them, and combines them to the row that was asked for. That is
// converted or dithered into the caller's buffer. What a span keeps are rows by their number, so that a result never
// depends on the requests before it.
#pragma once

#include <optional>

#include "internal/convert_.h"
#include "internal/resample_.h"
#include "internal/rowaccess.h"
#include "internal/scanline.h"
#include "ravokit/resizerows.h"

namespace rv {

enum class Scaling { nearest, resample, spline };

struct ResizeShape {
    int32_t nSrcWidth, nSrcHeight, nDstWidth, nDstHeight;
    Scaling scaling;
    bool bEnlargeX, bEnlargeY;  // equal sizes count as such
    int32_t nStepY, nRemY;      // of the larger height over the smaller one
    float fScaleY;

    // Whether the columns of a source row are taken as they are, or left out or repeated.
    bool choosesColumns() const noexcept { return scaling == Scaling::nearest || nSrcWidth == nDstWidth; }
};

// ---- columns -----------------------------------------------------------------------------------------------------

// The source columns that a stretch of a row takes.
struct ColumnWindow {
    int32_t nOutPixels;    // pixels that go out
    int32_t nFirstOutCol;  // of these the first one, and the first one that is made
    int32_t nFirstCol;
    int32_t nFirstSrcCol;  // where the walk starts
    int32_t nFetchCol;     // the first column that is needed; those before nFirstSrcCol prime a spline
    int32_t nAlignedCol;   // the column at or before it that starts on a byte
    int32_t nEndSrcCol;    // exclusive
    int32_t nAccX;
    int32_t nLeftOut;  // pixels of a line or a spline that aren't made, before nFirstCol
    uint64_t uFetchBytes;

    int32_t skipped() const noexcept { return nFirstOutCol - nFirstCol; }
    int32_t made() const noexcept { return nOutPixels + skipped(); }
    int32_t fetched() const noexcept { return nEndSrcCol - nAlignedCol; }
};
// That of uBytes bytes of nDstBits pixels from column nCol on, which lies in the row.
ColumnWindow columnWindow(const ResizeShape& shape, int32_t nSrcBits, int32_t nDstBits, int32_t nCol,
                          uint32_t uBytes) noexcept;

// Pixels of three bytes, from their places in a row, to opaque ones of four; the other swaps blue and red.
using WidenFn = void (*)(const uint8_t* pSrc, const uint32_t* pPlaces, uint8_t* pDst, size_t n) noexcept;
void widenColumns24(const uint8_t* pSrc, const uint32_t* pPlaces, uint8_t* pDst, size_t n) noexcept;
void swapColumns24(const uint8_t* pSrc, const uint32_t* pPlaces, uint8_t* pDst, size_t n) noexcept;

// ---- formats -----------------------------------------------------------------------------------------------------

struct BitWindow {
    int32_t nLow = -1, nHigh = -1;  // -1: the whole sample
    bool isWhole(int32_t nBits) const noexcept { return nLow < 1 && (nHigh < 0 || nHigh == nBits - 1); }
};

// Where gray bytes go that RSR_GRAY_RANGE moves: their top bits, to that range.
inline KeptBits placeOfGrayBytes(const BitWindow& range) noexcept {
    return keptBits(range.nHigh < 0 || range.nHigh > 7 ? 7 : range.nHigh, range.nLow < 0 ? 0 : range.nLow, 8);
}
constexpr uint8_t placedGray(uint32_t v, const KeptBits& place) noexcept {
    return uint8_t(v >> (8 - place.nBits) << place.nShift);
}

// What R_StartResizeBitmap2 is told of the rows that are wanted.
struct ResizeOutput {
    int32_t nBits;
    const RGBQUAD* pPalette;
    uint32_t uColors;
    uint32_t uFlags;
    BitWindow range;
};

// How fetched pixels become work pixels.
enum class FetchStep {
    keep,        // they are
    convert,     // by the converter
    inPlace,     // the same where it can't go from row to row
    grayTo16,    // 32-bit grey, stretched to 16 bits
    grayToFull,  // 32-bit grey, stretched and then converted
};

struct ResizeFormats {
    int32_t nSrcBits = 0;
    bool bGray = false;  // the source has grey samples
    BitWindow window;    // of these
    KeptBits levels;     // the bits of the window
    KeptBits gray32;     // of 32-bit samples
    FetchStep step = FetchStep::convert;
    ConvertArgs fetch;          // to the work format
    bool bPremultiply = false;  // colours by their alpha, after the fetch

    int32_t nWorkBits = 0, nSampleBits = 8, nWorkOrder = ORDER_BGR;
    bool bSigned = false;

    int32_t nOutBits = 0;  // 0: the grey or the indices of work pixels of 8 bits, or grey of others
    int32_t nDstBits = 0;  // of a pixel in the caller's buffer
    int32_t nDstOrder = ORDER_RGB;
    bool bDither = false, bLutAfter = false;
    bool bKeepOut = false;  // work pixels go out as they are
    ConvertArgs lut;        // grey work through its table, where grey goes out
    ConvertArgs out;        // from the work format
    KeptBits grayOut;       // where grey bytes go; of 8 bits: they stay

    RGBQUAD SrcPalette[kMostColors] = {}, DstPalette[kMostColors] = {};
    uint32_t nSrcColors = 0, nDstColors = 0;
    const RGBQUAD* pLUT8 = nullptr;
    const RGBQUAD64* pLUT16 = nullptr;
    Buffer<RGBQUAD> ownLUT8;  // where the bitmap's is too short for its levels
    Buffer<RGBQUAD64> ownLUT16;

    int32_t bytesPerPixel() const noexcept { return nWorkBits / 8; }
    WorkFormat workFormat() const noexcept;
};

// Settles them for a bitmap of a known depth; 1, or -1 for no memory.
int32_t chooseFormats(const BITMAPRECORD& bm, const ResizeOutput& output, bool bFiltered,
                      ResizeFormats& formats) noexcept;

// ---- source rows -------------------------------------------------------------------------------------------------

// Whole source rows, the latest used first.
class RowCache {
    struct Node {
        int32_t nRow = -1;
        Node* pNext = nullptr;
        Buffer<uint8_t> bytes;
    };
    Node* m_pFirst = nullptr;
    uint32_t m_nCount = 0, m_nCapacity = 0;
    int32_t m_nLow = 0, m_nHigh = -1;  // the lowest and the highest row held

    Node* find(int32_t nRow) noexcept;
    Node* takeNode(uint32_t uRowBytes) noexcept;

public:
    RowCache() = default;
    RowCache(const RowCache&) = delete;
    RowCache& operator=(const RowCache&) = delete;
    ~RowCache();
    void setCapacity(uint32_t nRows) noexcept { m_nCapacity = nRows; }
    explicit operator bool() const noexcept { return m_nCapacity != 0; }
    // The row, read by read(buffer) unless it is held. Null with nStatus 1: no memory; null with another: that of read.
    template <class Read>
    const uint8_t* get(int32_t nRow, uint32_t uRowBytes, int32_t& nStatus, Read&& read) noexcept {
        nStatus = 1;
        if (const Node* p = find(nRow)) return p->bytes.get();
        Node* p = takeNode(uRowBytes);
        if (!p) return nullptr;
        nStatus = read(p->bytes.get());
        if (nStatus != 1) return nullptr;
        p->nRow = nRow;
        if (m_nLow > m_nHigh) m_nLow = m_nHigh = nRow;
        m_nLow = nRow < m_nLow ? nRow : m_nLow;
        m_nHigh = nRow > m_nHigh ? nRow : m_nHigh;
        return p->bytes.get();
    }
};

// Where source rows come from: the bitmap's memory, or the row source, with the cache before it.
class SourceRows {
    BITMAPRECORD* m_pBitmap = nullptr;
    RESIZEROWCALLBACK m_pfn = nullptr;
    void* m_pUser = nullptr;
    bool m_bDefault = false, m_bWholeRows = false;
    RowCache m_cache;

    int32_t fetch(uint8_t* pBuffer, int32_t nRow, int32_t nCol, uint64_t uBytes) noexcept {
        return m_pfn(m_pBitmap, pBuffer, nRow, nCol, uint32_t(uBytes), m_pUser);
    }

public:
    void start(BITMAPRECORD& bm, RESIZEROWCALLBACK pfn, void* pUser) noexcept;
    // Keeps so many rows where they have to be fetched.
    void keep(uint32_t nRows) noexcept;
    // Bytes of a buffer that read() needs.
    uint64_t bufferBytes(const ColumnWindow& w) const noexcept;
    // The bytes from nAlignedCol on of a row that lies in memory, else null.
    const uint8_t* inMemory(int32_t nRow, const ColumnWindow& w) const noexcept;
    // The same in the buffer or elsewhere; 1 or a status.
    int32_t read(int32_t nRow, const ColumnWindow& w, uint8_t* pBuffer, const uint8_t*& pRow) noexcept;
};

// ---- stretches of rows -------------------------------------------------------------------------------------------

struct RESIZESTATE;

class ResizeSpan {
    static constexpr uint32_t kRows = 4;  // a spline takes as many

    int32_t m_nCol = -1;
    uint32_t m_uBytes = 0;
    ColumnWindow m_window{};
    NearestColumns m_columns;     // where columns are chosen
    bool m_bChooseFirst = false;  // before they are converted
    Buffer<uint32_t> m_places;    // of three-byte pixels that go out at once
    std::optional<RowFilter> m_filter;
    Buffer<uint8_t> m_fetched, m_chosen, m_work;
    Buffer<uint8_t> m_rows[kRows];  // resized rows, each in the place of its number
    int32_t m_nHeld[kRows];
    Buffer<uint8_t> m_made;
    RowSums m_sums;
    const uint8_t* m_pLine = nullptr;  // the row made last
    int32_t m_nLine = -1;

    int32_t toWork(RESIZESTATE& state, const uint8_t* pSrc, size_t n, uint8_t* pBuffer, const uint8_t*& pWork) noexcept;
    int32_t resizeRow(RESIZESTATE& state, int32_t nRow, uint8_t* pDst) noexcept;
    int32_t heldRow(RESIZESTATE& state, int32_t nRow, const uint8_t*& pRow) noexcept;
    int32_t averageRows(RESIZESTATE& state, int32_t nRow) noexcept;
    int32_t betweenRows(RESIZESTATE& state, int32_t nRow) noexcept;
    int32_t splineRows(RESIZESTATE& state, int32_t nRow) noexcept;
    size_t samples(const RESIZESTATE& state) const noexcept;

public:
    uint64_t nUsed = 0;  // when it was asked last

    bool serves(int32_t nCol, uint32_t uBytes) const noexcept { return nCol == m_nCol && uBytes == m_uBytes; }
    const ColumnWindow& window() const noexcept { return m_window; }
    // For a stretch of uBytes bytes from column nCol on. 1, or -1 for no memory.
    int32_t prepare(RESIZESTATE& state, int32_t nCol, uint32_t uBytes) noexcept;
    // The stretch of row nRow as work pixels, nOutPixels of them. 1 or a status.
    int32_t line(RESIZESTATE& state, int32_t nRow, const uint8_t*& pLine) noexcept;
    // Whether chosen columns can go from the bitmap's memory into the caller's buffer at once; and that.
    bool isDirect(const RESIZESTATE& state) const noexcept;
    void lineTo(RESIZESTATE& state, int32_t nRow, uint8_t* pDst) noexcept;
};

// Converts or dithers a line to the caller's buffer of uBytes; 1 or a status.
int32_t emitLine(RESIZESTATE& state, const ColumnWindow& window, const uint8_t* pLine, int32_t nRow, int32_t nCol,
                 uint8_t* pBuffer, uint32_t uBytes) noexcept;

constexpr int32_t kChunkPixels = 4096;

struct RESIZESTATE {
    static constexpr uint32_t kSpans = 4;

    uint32_t uStructSize = sizeof(RESIZESTATE);
    BITMAPRECORD* pBitmap = nullptr;
    bool bAccessed = false, bSameSize = false;
    uint32_t uFlags = 0;
    ResizeShape shape{};
    ResizeFormats formats;
    SourceRows rows;
    BITMAPRECORD DitherBitmap{};
    WidenFn pfnDirect = nullptr;  // from the bitmap to the caller
    int32_t nChunkPixels = 0;
    uint32_t uOutRowBytes = 0;  // of a chunk
    Buffer<uint8_t> scratch;    // a chunk of work pixels, and of those that go out, with room before the first
    ResizeSpan spans[kSpans];
    uint64_t nRequests = 0;

    RESIZESTATE() = default;
    RESIZESTATE(const RESIZESTATE&) = delete;
    RESIZESTATE& operator=(const RESIZESTATE&) = delete;
    ~RESIZESTATE();
    ResizeSpan* spanFor(int32_t nCol, uint32_t uBytes, int32_t& nStatus) noexcept;
};

}  // namespace rv
