// Stretches of resized rows with the same columns: from source rows to one row of work pixels.
//
// A source row is fetched, converted and resized to the width of the stretch at most once while it is held; the row
// that was asked for is made of such rows by its number alone.
#include <algorithm>
#include <cstring>

#include "internal/resizerows_.h"
#include "ravokit/grayscale.h"

namespace rv {
namespace {

// ---- source pixels to work pixels --------------------------------------------------------------------------------

// The kept bits of 32-bit grey at full scale.
void stretchGray32(uint8_t* pRow, size_t n, const KeptBits& kept) noexcept {
    const uint32_t uMask = kept.nShift > 31 ? 0 : kept.mask(), nShift = std::min(kept.nShift, 31u);
    const uint64_t uFull = kept.mask();
    for (size_t i = 0; i < n; ++i) {
        const uint32_t v = loadLittle<uint32_t>(pRow + i * 4) >> nShift & uMask;
        storeLittle(pRow + i * 4, uint32_t(v * uint64_t(UINT32_MAX) / uFull));
    }
}

// Colour samples times alpha + 1, by whole samples.
template <class T>
void premultiply(uint8_t* pRow, size_t n) noexcept {
    constexpr int kBits = 8 * sizeof(T);
    for (size_t i = 0; i < n; ++i, pRow += 4 * sizeof(T)) {
        const uint64_t f = uint64_t(loadLittle<T>(pRow + 3 * sizeof(T))) + 1;
        for (size_t c = 0; c < 3; ++c)
            storeLittle(pRow + c * sizeof(T), T(loadLittle<T>(pRow + c * sizeof(T)) * f >> kBits));
    }
}

bool isAligned(const uint8_t* p, int32_t nSampleBits) noexcept {
    return reinterpret_cast<uintptr_t>(p) % uintptr_t(nSampleBits / 8) == 0;
}

}  // namespace

// n source pixels as work pixels: where they are, or in the buffer.
int32_t ResizeSpan::toWork(RESIZESTATE& state, const uint8_t* pSrc, size_t n, uint8_t* pBuffer,
                           const uint8_t*& pWork) noexcept {
    const ResizeFormats& f = state.formats;
    pWork = pSrc;
    if (f.step == FetchStep::keep && !f.bPremultiply && isAligned(pSrc, f.nSampleBits)) return 1;
    pWork = pBuffer;
    if (n == 0) return 1;
    const auto nSrcBytes = size_t(packedBytes(n, uint32_t(f.nSrcBits)));
    ConvertArgs args = f.fetch;
    args.nWidth = int32_t(n);
    int32_t nStatus = 1;
    switch (f.step) {
        case FetchStep::keep:
            std::memcpy(pBuffer, pSrc, nSrcBytes);
            break;
        case FetchStep::convert:
            nStatus = convertRow(args, pBuffer, pSrc);
            break;
        case FetchStep::inPlace:
            std::memcpy(pBuffer, pSrc, nSrcBytes);
            nStatus = convertInPlace(args, pBuffer);
            break;
        case FetchStep::grayTo16:
            R_Gray32To16(uint32_t(n), pSrc, pBuffer, f.gray32.mask(), int32_t(f.gray32.nShift), 0, f.gray32.mask());
            break;
        case FetchStep::grayToFull:
            std::memcpy(pBuffer, pSrc, nSrcBytes);
            stretchGray32(pBuffer, n, f.gray32);
            nStatus = convertInPlace(args, pBuffer);
            break;
    }
    if (f.bPremultiply) f.nWorkBits == 32 ? premultiply<uint8_t>(pBuffer, n) : premultiply<uint16_t>(pBuffer, n);
    return nStatus;
}

// ---- what depends on the columns ---------------------------------------------------------------------------------

int32_t ResizeSpan::prepare(RESIZESTATE& state, int32_t nCol, uint32_t uBytes) noexcept {
    const ResizeFormats& f = state.formats;
    const ResizeShape& shape = state.shape;
    m_nCol = -1;
    m_nLine = -1;
    m_pLine = nullptr;
    std::fill_n(m_nHeld, kRows, -1);
    m_window = columnWindow(shape, f.nSrcBits, f.nDstBits, nCol, uBytes);
    const ColumnWindow& w = m_window;

    const auto nMade = uint64_t(w.made()), nFetched = uint64_t(w.fetched());
    const auto nWorkBytes = uint64_t(f.bytesPerPixel());
    const uint64_t nWidest = uint64_t(std::max(f.nSrcBits + 7, f.nWorkBits + 7) / 8);
    const uint64_t uFetchBytes = state.rows.bufferBytes(w);
    if (uFetchBytes > UINT32_MAX || !m_fetched.allocate(uFetchBytes)) return -1;  // Not enough memory
    m_bChooseFirst = nMade < nFetched;
    const bool bChooses = shape.choosesColumns();
    if (!m_work.allocate((bChooses && m_bChooseFirst ? nMade : nFetched) * nWidest)) return -1;
    if (bChooses) {
        const int32_t nBits = m_bChooseFirst ? f.nSrcBits : f.nWorkBits;
        if (nFetched * nWidest > UINT32_MAX) return -1;
        if (m_bChooseFirst && !m_chosen.allocate(packedBytes(nMade, uint32_t(nBits)))) return -1;
        if (m_columns.prepare(nBits, shape.nSrcWidth, shape.nDstWidth, w.nFirstCol, w.made(), w.nAlignedCol,
                              w.nEndSrcCol) != 1)
            return -1;
        if (state.pfnDirect) {
            if (!m_places.allocate(nMade)) return -1;
            AxisWalk walk(shape.nSrcWidth, shape.nDstWidth, w.nFirstCol, w.nAlignedCol);
            for (size_t i = 0; i < nMade; ++i) m_places[i] = uint32_t(walk.next() * 3);
        }
    } else {
        const FilterKind kind = !shape.bEnlargeX                   ? FilterKind::area
                                : shape.scaling == Scaling::spline ? FilterKind::spline
                                                                   : FilterKind::linear;
        const RowWindow row{shape.nSrcWidth, shape.nDstWidth,          w.nFetchCol,    w.nFirstSrcCol, w.nEndSrcCol,
                            w.nAccX,         w.nFirstCol - w.nLeftOut, int32_t(nMade), w.nLeftOut};
        if (m_filter.emplace().prepare(kind, f.workFormat(), kFineWeights, false, row) != 1) return -1;
    }
    for (Buffer<uint8_t>& row : m_rows)
        if (!row.allocate(nMade * nWorkBytes)) return -1;
    if (!m_made.allocate(nMade * nWorkBytes)) return -1;
    const bool bSums = shape.scaling != Scaling::nearest && !shape.bEnlargeY;
    if (bSums && m_sums.prepare(f.workFormat().type, samples(state), uint64_t(shape.nStepY) + 1) != 1) return -1;
    m_nCol = nCol;
    m_uBytes = uBytes;
    return 1;
}

size_t ResizeSpan::samples(const RESIZESTATE& state) const noexcept {
    return size_t(m_window.made()) * size_t(state.formats.workFormat().nSamples);
}

int32_t ResizeSpan::resizeRow(RESIZESTATE& state, int32_t nRow, uint8_t* pDst) noexcept {
    const ResizeFormats& f = state.formats;
    const ColumnWindow& w = m_window;
    const auto nMade = size_t(w.made());
    const uint8_t* pSrc = nullptr;
    const uint8_t* pWork = nullptr;
    if (const int32_t n = state.rows.read(nRow, w, m_fetched.get(), pSrc); n != 1) return n;
    if (!state.shape.choosesColumns()) {
        if (const int32_t n = toWork(state, pSrc, size_t(w.fetched()), m_work.get(), pWork); n != 1) return n;
        m_filter->apply(pWork + size_t(w.nFetchCol - w.nAlignedCol) * size_t(f.bytesPerPixel()), pDst);
    } else if (!m_bChooseFirst) {
        if (const int32_t n = toWork(state, pSrc, size_t(w.fetched()), m_work.get(), pWork); n != 1) return n;
        m_columns.apply(pWork, pDst, nMade * size_t(f.bytesPerPixel()));
    } else if (f.step == FetchStep::keep && !f.bPremultiply) {
        m_columns.apply(pSrc, pDst, nMade * size_t(f.bytesPerPixel()));
    } else {
        m_columns.apply(pSrc, m_chosen.get(), size_t(packedBytes(nMade, uint32_t(f.nSrcBits))));
        if (const int32_t n = toWork(state, m_chosen.get(), nMade, m_work.get(), pWork); n != 1) return n;
        std::memcpy(pDst, pWork, nMade * size_t(f.bytesPerPixel()));
    }
    return 1;
}

// A source row, resized; of rows in sequence as many stay as any step needs.
int32_t ResizeSpan::heldRow(RESIZESTATE& state, int32_t nRow, const uint8_t*& pRow) noexcept {
    const uint32_t i = uint32_t(nRow) % kRows;
    pRow = m_rows[i].get();
    if (m_nHeld[i] == nRow) return 1;
    m_nHeld[i] = -1;
    const int32_t nStatus = resizeRow(state, nRow, m_rows[i].get());
    if (nStatus == 1) m_nHeld[i] = nRow;
    return nStatus;
}

// ---- the rows between and over others ----------------------------------------------------------------------------

// The average of the rows that a shrunken one covers. Past the last source row that one counts again.
int32_t ResizeSpan::averageRows(RESIZESTATE& state, int32_t nRow) noexcept {
    const ResizeShape& shape = state.shape;
    const int64_t nAt = int64_t(nRow) * shape.nSrcHeight;
    const auto nFirst = int32_t(nAt / shape.nDstHeight);
    const int64_t nAcc = nAt % shape.nDstHeight + shape.nRemY;
    const int32_t nRows = shape.nStepY + (nAcc >= shape.nDstHeight);
    const uint8_t* pRow = nullptr;
    m_sums.clear();
    for (int32_t i = 0; i < nRows; ++i) {
        if (i < shape.nSrcHeight - nFirst)
            if (const int32_t n = heldRow(state, nFirst + i, pRow); n != 1) return n;
        m_sums.add(pRow);
    }
    m_sums.mean(m_made.get(), uint64_t(nRows));
    m_pLine = m_made.get();
    return 1;
}

// On the straight line from a source row to the next. The picture stands half a run lower.
int32_t ResizeSpan::betweenRows(RESIZESTATE& state, int32_t nRow) noexcept {
    const ResizeShape& shape = state.shape;
    const int64_t nSrc = shape.nSrcHeight, nDst = shape.nDstHeight;
    const int32_t nShifted = std::max(0, nRow - shape.nStepY / 2);
    const auto nFirst = int32_t(((int64_t(nShifted) + 1) * nSrc - 1) / nDst);
    const int64_t nStart = nFirst * nDst / nSrc, nRun = (nFirst + int64_t(1)) * nDst / nSrc - nStart;
    const int64_t nStep = nShifted - nStart;
    const uint8_t *pA = nullptr, *pB = nullptr;
    if (const int32_t n = heldRow(state, nFirst, pA); n != 1) return n;
    m_pLine = pA;
    if (nStep == 0 || nFirst + 1 >= shape.nSrcHeight) return 1;
    if (const int32_t n = heldRow(state, nFirst + 1, pB); n != 1) return n;
    linearBetween(state.formats.workFormat().type, pA, pB, m_made.get(), samples(state), uint32_t(nStep),
                  uint32_t(nRun));
    m_pLine = m_made.get();
    return 1;
}

int32_t ResizeSpan::splineRows(RESIZESTATE& state, int32_t nRow) noexcept {
    const ResizeShape& shape = state.shape;
    const int32_t nShifted = std::max(0, nRow - int32_t(0.5f / shape.fScaleY));
    const float fAt = float(nShifted) * shape.fScaleY;
    const int32_t nLast = shape.nSrcHeight - 1, nFirst = fAt >= float(nLast) ? nLast : int32_t(fAt);
    const float t = fAt - float(nFirst);
    const uint8_t* p[kRows] = {};
    if (!(t > 0)) return heldRow(state, nFirst, m_pLine);
    for (int32_t i = 0; i < int32_t(kRows); ++i)
        if (const int32_t n = heldRow(state, std::clamp(nFirst - 1 + i, 0, nLast), p[i]); n != 1) return n;
    splineBetween(state.formats.workFormat().type, p[0], p[1], p[2], p[3], m_made.get(), samples(state), t);
    m_pLine = m_made.get();
    return 1;
}

// ---- the row -----------------------------------------------------------------------------------------------------

namespace {

// Where a row of the picture is one of the source. Growing, a source row stands from where its run starts.
int32_t nearestRow(const ResizeShape& shape, int32_t nRow) noexcept {
    const int64_t nSrc = shape.nSrcHeight, nDst = shape.nDstHeight;
    return int32_t(shape.bEnlargeY ? ((int64_t(nRow) + 1) * nSrc - 1) / nDst : nRow * nSrc / nDst);
}

}  // namespace

int32_t ResizeSpan::line(RESIZESTATE& state, int32_t nRow, const uint8_t*& pLine) noexcept {
    if (m_nLine != nRow) {
        m_nLine = -1;
        const ResizeShape& shape = state.shape;
        const int32_t nStatus = shape.scaling == Scaling::nearest  ? heldRow(state, nearestRow(shape, nRow), m_pLine)
                                : !shape.bEnlargeY                 ? averageRows(state, nRow)
                                : shape.scaling == Scaling::spline ? splineRows(state, nRow)
                                                                   : betweenRows(state, nRow);
        if (nStatus != 1) return nStatus;
        m_nLine = nRow;
    }
    pLine = m_pLine + size_t(m_window.skipped()) * size_t(state.formats.bytesPerPixel());
    return 1;
}

bool ResizeSpan::isDirect(const RESIZESTATE& state) const noexcept {
    return state.pfnDirect && state.rows.inMemory(0, m_window);
}

void ResizeSpan::lineTo(RESIZESTATE& state, int32_t nRow, uint8_t* pDst) noexcept {
    // Rows mostly come in sequence: while this one is picked, the next one is on its way from memory.
    const int64_t nNext = 2 * int64_t(nRow) - std::exchange(m_nLine, nRow);
    const uint8_t* const pSrc = state.rows.inMemory(nearestRow(state.shape, nRow), m_window);
    const uint8_t* const pNext = state.rows.inMemory(
        nearestRow(state.shape, int32_t(std::clamp<int64_t>(nNext, 0, state.shape.nDstHeight - 1))), m_window);
    const auto nMade = size_t(m_window.made());
    constexpr size_t kPiece = 64, kLine = 64;
    for (size_t i = 0; i < nMade; i += kPiece) {
        const size_t n = std::min(kPiece, nMade - i);
        for (size_t at = m_places[i]; at <= m_places[i + n - 1]; at += kLine) __builtin_prefetch(pNext + at);
        state.pfnDirect(pSrc, m_places.get() + i, pDst + i * 4, n);
    }
}

}  // namespace rv
