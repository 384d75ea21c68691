// Whole bitmaps by the sample filters.
//
// A source row becomes one of a work format, is resized along itself, and goes with its neighbours into the rows of the
// destination, which leave the work format again. Rows are asked for in sequence, and the last four stand ready. Where
// both bitmaps are in the work format already, filters read and write their rows in place.
#include "ravokit/resample.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "internal/attachments.h"
#include "internal/bgrrows.h"
#include "internal/bitmap_.h"
#include "internal/progress.h"
#include "internal/rowfilters.h"
#include "ravokit/copy.h"
#include "ravokit/dither.h"
#include "ravokit/grayscale.h"
#include "ravokit/resize.h"

namespace rv {
namespace {

// ---- formats -----------------------------------------------------------------------------------------------------

struct WorkPlan {
    WorkFormat format;
    int32_t nBits;  // of a pixel; 0 for a byte of grey
    int32_t nOrder = ORDER_BGR;
    bool bRawIn = false, bRawOut = false;  // rows of the source, of the destination, are in the work format
    bool bDither = false;
    int32_t nBitsOut;  // as the converter is told it: 0 for a byte of grey

    uint32_t pixelBytes() const noexcept { return bytesOf(format.type) * uint32_t(format.nSamples); }
};

bool isGray8(const BITMAPRECORD& bm) noexcept {
    return bm.BitsPerPixel == 8 && R_IntIsGrayScaleBitmap(&bm, 0) > GRAYKIND_NONE;
}

WorkPlan formatFor(const BITMAPRECORD& dst) noexcept {
    const int32_t nBits = dst.BitsPerPixel;
    WorkPlan plan{{SampleType::u8, 3}, 24, ORDER_BGR, false, false, false, nBits};
    if (dst.Order == ORDER_GRAY && nBits > 8) {
        plan.nBits = nBits == 32 ? 32 : 16;
        plan.nOrder = ORDER_GRAY;
        plan.format = {nBits == 32 ? SampleType::u32 : SampleType::u16, 1};
    } else if (nBits == 48 || nBits == 64) {
        plan.nBits = nBits;
        plan.format = {SampleType::u16, nBits / 16};
    } else if (nBits == 32 || (nBits == 16 && dst.Order != ORDER_BGR565)) {
        plan.nBits = 32;
        plan.format.nSamples = 4;
    } else if (isGray8(dst)) {
        plan.nBitsOut = 0;
    } else {
        plan.bDither = nBits < 16;
    }
    return plan;
}

// bSplineRows: a spline along rows doesn't treat all samples of a pixel alike, so it has them as they are told: blue
// comes first, and grey is three of them.
WorkPlan planFor(const BITMAPRECORD& src, const BITMAPRECORD& dst, bool bSplineRows) noexcept {
    WorkPlan plan = formatFor(dst);
    if (plan.nBitsOut == 0 && !bSplineRows && isGray8(src)) {
        // The grey of three equal samples is that sample: (8 v + 4) >> 3.
        plan.format.nSamples = 1;
        plan.nBits = 0;
        plan.bRawIn = plan.bRawOut = true;
        return plan;
    }
    const bool bSame = src.BitsPerPixel == plan.nBits && dst.BitsPerPixel == plan.nBits && src.Order == dst.Order;
    if (bSame && !(bSplineRows && dst.Order == ORDER_RGB)) plan.nOrder = dst.Order;
    plan.bRawIn = src.BitsPerPixel == plan.nBits && src.Order == plan.nOrder;
    plan.bRawOut = dst.BitsPerPixel == plan.nBits && dst.Order == plan.nOrder;
    if (plan.bRawIn && (src.Flags & BMF_SIGNED) && plan.format.type == SampleType::u16)
        plan.format.type = SampleType::s16;
    return plan;
}

// Rows of the source in the work format.
class WorkRows {
    BITMAPRECORD& m_bm;
    ConvertArgs m_args;
    std::optional<RowReader> m_reader;
    std::optional<BgrRows> m_colors;
    Buffer<uint8_t> m_row;
    int32_t m_nStatus = 1;

    void describe(const WorkPlan& plan, bool bGray8) noexcept {
        m_args.nWidth = m_bm.Width;
        m_args.nBitsSrc = bGray8 ? 0 : m_bm.BitsPerPixel;
        m_args.nBitsDst = plan.nBits;
        m_args.nOrderSrc = m_bm.BitsPerPixel <= 8 ? int32_t(ORDER_RGB) : m_bm.Order;
        m_args.nOrderDst = plan.nOrder;
        if (m_bm.BitsPerPixel <= 8) {
            if (!bGray8) m_args.pPaletteSrc = m_bm.pPalette;
        } else if (m_bm.Order == ORDER_GRAY && plan.nOrder != ORDER_GRAY) {
            m_args.uFlags = CONVERT_SRC_GRAY | CONVERT_SRC_BITRANGE;
            m_args.nLowBit = m_bm.PhysicalLowBit;
            m_args.nHighBit = m_bm.PhysicalHighBit;
            const KeptBits kept = physicalBits(m_bm);
            if (m_bm.pLUT && coversLevels(m_bm.LUTLength, kept)) m_args.pPaletteSrc = m_bm.pLUT;
            if (hasWideFields(m_bm) && coversLevels(m_bm.LUT16Length, kept)) m_args.pLUT16Src = m_bm.pLUT16;
        }
    }

public:
    WorkRows(BITMAPRECORD& bm, const WorkPlan& plan) noexcept : m_bm(bm) {
        const bool bGray8 = isGray8(bm);
        if (!plan.bRawIn && plan.nBits == 24 && !bGray8) {
            m_colors.emplace(bm);
            m_nStatus = m_colors->status();
            return;
        }
        m_reader.emplace(bm, bm.BytesPerLine);
        m_nStatus = m_reader->status();
        if (plan.bRawIn) return;
        describe(plan, bGray8);
        if (!m_row.allocate(R_CalcConvertSize(bm.Width, bm.BitsPerPixel, bm.Width, plan.nBits))) m_nStatus = -1;
    }
    int32_t status() const noexcept { return m_nStatus; }

    // The row, or null; status() tells why.
    const uint8_t* read(int32_t nRow) noexcept {
        const uint8_t* pRow = m_colors ? m_colors->read(nRow) : m_reader->read(nRow);
        if (!pRow) {
            m_nStatus = m_colors ? m_colors->status() : m_reader->status();
            return nullptr;
        }
        if (!m_row) return pRow;
        int32_t n;
        if (m_args.nOrderSrc == ORDER_ROMM) {  // its matrix works in place
            std::memcpy(m_row.get(), pRow, size_t(packedBytes(uint32_t(m_bm.Width), uint32_t(m_bm.BitsPerPixel))));
            n = convertInPlace(m_args, m_row.get());
        } else {
            n = convertRow(m_args, m_row.get(), pRow);
        }
        if (n != 1) m_nStatus = n;
        return n == 1 ? m_row.get() : nullptr;
    }
};

// Rows of the destination out of the work format. Where the views differ, the last row comes first.
class WorkSink {
    BITMAPRECORD& m_bm;
    RowEditor m_editor;
    bool m_bMirror, m_bRaw, m_bDither;
    ConvertArgs m_args;
    BITMAPRECORD m_source{};  // that dithering sees
    Buffer<uint8_t> m_row;
    int32_t m_nStatus;

    int32_t startDither() noexcept {
        if (const int32_t n = R_InitBitmap(&m_source, sizeof m_source, m_bm.Width, m_bm.Height, 24); n != 1) return n;
        m_source.Order = ORDER_BGR;
        m_source.DitheringMethod = DITHER_FLOYD;
        const PaletteOf palette(m_bm);
        const uint32_t nAll = 1u << m_bm.BitsPerPixel;
        const uint32_t nColors = m_bm.pPalette && m_bm.nColors ? std::min(m_bm.nColors, nAll) : nAll;
        return R_StartDitheringExt(&m_source, palette.entries, nColors, m_bm.BitsPerPixel, nullptr);
    }
    int32_t convert(uint8_t* pOut) noexcept {
        if (m_bDither) return R_DitherLine(&m_source, m_row.get(), pOut);
        if (m_args.nOrderDst != ORDER_ROMM) return convertRow(m_args, pOut, m_row.get());
        const int32_t n = convertInPlace(m_args, m_row.get());
        if (n == 1)
            std::memcpy(pOut, m_row.get(), size_t(packedBytes(uint32_t(m_bm.Width), uint32_t(m_bm.BitsPerPixel))));
        return n;
    }
    int32_t rowOf(int32_t d) const noexcept { return m_bMirror ? m_bm.Height - 1 - d : d; }

public:
    WorkSink(BITMAPRECORD& bm, const WorkPlan& plan, bool bMirror) noexcept
        : m_bm(bm), m_editor(bm), m_bMirror(bMirror), m_bRaw(plan.bRawOut), m_bDither(plan.bDither) {
        m_nStatus = m_editor.status();
        if (m_bRaw || m_nStatus != 1) return;
        if (!m_row.allocate(R_CalcConvertSize(bm.Width, plan.nBits, bm.Width, bm.BitsPerPixel))) {
            m_nStatus = -1;  // Not enough memory available
        } else if (m_bDither) {
            m_nStatus = startDither();
        } else {
            m_args.nWidth = bm.Width;
            m_args.nBitsSrc = plan.nBits;
            m_args.nBitsDst = plan.nBitsOut;
            m_args.nOrderSrc = plan.nOrder;
            m_args.nOrderDst = plan.nBitsOut ? bm.Order : int32_t(ORDER_RGB);
        }
    }
    WorkSink(const WorkSink&) = delete;
    WorkSink& operator=(const WorkSink&) = delete;
    ~WorkSink() { R_StopDithering(&m_source); }
    int32_t status() const noexcept { return m_nStatus; }
    // Where row d goes in the work format.
    uint8_t* place(int32_t d) noexcept { return m_bRaw ? m_editor.place(rowOf(d)) : m_row.get(); }
    int32_t store(int32_t d) noexcept {
        if (!m_bRaw)
            if (const int32_t n = convert(m_editor.place(rowOf(d))); n != 1) return n;
        return m_editor.write(rowOf(d));
    }
};

// ---- rows --------------------------------------------------------------------------------------------------------

// How a size is made.
struct Method {
    bool bSpline;
    uint32_t nWeights;
    bool bAlphaWeighted;

    FilterKind along(int32_t nSrc, int32_t nDst) const noexcept {
        return nDst < nSrc ? FilterKind::area : bSpline ? FilterKind::spline : FilterKind::linear;
    }
};

class Resampler {
    BITMAPRECORD &m_src, &m_dst;
    Method m_method;
    WorkPlan m_plan;
    WorkRows m_rows;
    WorkSink m_sink;
    RowFilter m_filter;
    size_t m_nRowBytes, m_nSamples;
    Buffer<uint8_t> m_ring;  // the last four rows
    int32_t m_nNext = 0;     // the row to come
    int32_t m_nStatus = 1;
    ProgressStepper m_progress;

    // A source row, resized along itself, into pOut.
    int32_t make(int32_t y, uint8_t* pOut) noexcept {
        const uint8_t* const pRow = m_rows.read(y);
        if (!pRow) return m_rows.status();
        m_filter.apply(pRow, pOut);
        return 1;
    }
    // Resized row y, or null; rows are asked for upwards, or among the last four.
    const uint8_t* rowAt(int32_t y) noexcept {
        const auto slot = [&](int32_t n) { return m_ring.get() + size_t(n & 3) * m_nRowBytes; };
        for (; m_nNext <= y; ++m_nNext)
            if ((m_nStatus = make(m_nNext, slot(m_nNext))) != 1) return nullptr;
        return slot(y);
    }
    int32_t finish(int32_t d) noexcept {
        const int32_t n = m_sink.store(d);
        return n == 1 ? m_progress.step() : n;
    }

    int32_t keepRows() noexcept {
        for (int32_t d = 0; d < m_dst.Height; ++d) {
            if (const int32_t n = make(d, m_sink.place(d)); n != 1) return n;
            if (const int32_t n = finish(d); n != 1) return n;
        }
        return 1;
    }

    int32_t shrinkRows() noexcept {
        Buffer<AreaSpan> spans{uint64_t(m_dst.Height)};
        if (!spans) return -1;  // Not enough memory available
        walkAreas(wholeRowWindow(m_src.Height, m_dst.Height), m_method.nWeights, spans.get(), m_method.bSpline);
        RowSums sums;
        const uint64_t nRows = uint64_t(m_src.Height / m_dst.Height + 2) * m_method.nWeights;
        const bool bAlpha = m_method.bAlphaWeighted && m_plan.format.nSamples == 4;
        if (sums.prepare(m_plan.format.type, m_nSamples, nRows, bAlpha) != 1) return -1;
        for (int32_t d = 0; d < m_dst.Height; ++d) {
            const AreaSpan& span = spans[size_t(d)];
            sums.clear();
            for (int32_t i = 0; i <= span.nWhole + (span.w1 > 0); ++i) {
                const uint8_t* const pRow = rowAt(std::min(span.nFirst + i, m_src.Height - 1));
                if (!pRow) return m_nStatus;
                sums.add(pRow, i == 0 ? span.w0 : i <= span.nWhole ? m_method.nWeights : span.w1);
            }
            sums.mean(m_sink.place(d), span.weight(m_method.nWeights));
            if (const int32_t n = finish(d); n != 1) return n;
        }
        return 1;
    }

    // Whole boxes: both directions in one pass.
    bool areBoxes() const noexcept {
        const int32_t nWide = m_src.Width / m_dst.Width, nHigh = m_src.Height / m_dst.Height;
        const bool bAlpha = m_method.bAlphaWeighted && m_plan.format.nSamples == 4;
        return m_plan.format.type == SampleType::u8 && !bAlpha && m_plan.bRawIn && m_src.Width % m_dst.Width == 0 &&
               m_src.Height % m_dst.Height == 0 && flatRow(m_src, 0) && hasBoxes8(m_plan.format.nSamples, nWide, nHigh);
    }
    int32_t shrinkBoxes() noexcept {
        const int32_t nWide = m_src.Width / m_dst.Width, nHigh = m_src.Height / m_dst.Height;
        for (int32_t d = 0; d < m_dst.Height; ++d) {
            boxMeans8(m_plan.format.nSamples, nWide, flatRow(m_src, d * nHigh), m_src.BytesPerLine, uint32_t(nHigh),
                      m_sink.place(d), size_t(m_dst.Width));
            if (const int32_t n = finish(d); n != 1) return n;
        }
        return 1;
    }

    int32_t growRows() noexcept {
        Buffer<LinearPoint> points{uint64_t(m_dst.Height)};
        if (!points) return -1;
        walkLinear(wholeRowWindow(m_src.Height, m_dst.Height), points.get());
        for (int32_t d = 0; d < m_dst.Height; ++d) {
            const LinearPoint& p = points[size_t(d)];
            const bool bPlain = p.nStep == 0 || p.nA == p.nB;
            const uint8_t* const pB = bPlain ? nullptr : rowAt(p.nB);
            const uint8_t* const pA = rowAt(p.nA);
            if (!pA || (!bPlain && !pB)) return m_nStatus;
            if (bPlain)
                std::memcpy(m_sink.place(d), pA, m_nRowBytes);
            else
                linearBetween(m_plan.format.type, pA, pB, m_sink.place(d), m_nSamples, p.nStep, p.nRun);
            if (const int32_t n = finish(d); n != 1) return n;
        }
        return 1;
    }

    int32_t bendRows() noexcept {
        const float fScale = float(m_src.Height) / float(m_dst.Height);
        const int32_t nLast = m_src.Height - 1;
        float t = 0;
        int32_t s = 0;
        for (int32_t d = 0; d < m_dst.Height; ++d) {
            const auto near = [&](int32_t i) { return rowAt(std::clamp(s + i, 0, nLast)); };
            const uint8_t *const p3 = near(2), *const p0 = near(-1), *const p1 = near(0), *const p2 = near(1);
            if (!p3) return m_nStatus;
            splineBetween(m_plan.format.type, p0, p1, p2, p3, m_sink.place(d), m_nSamples, t);
            if (const int32_t n = finish(d); n != 1) return n;
            for (t += fScale; t >= 1; t -= 1) ++s;
        }
        return 1;
    }

public:
    Resampler(BITMAPRECORD& src, BITMAPRECORD& dst, const Method& method) noexcept
        : m_src(src),
          m_dst(dst),
          m_method(method),
          m_plan(planFor(src, dst, method.bSpline && dst.Width > src.Width)),
          m_rows(src, m_plan),
          m_sink(dst, m_plan, src.ViewPerspective != dst.ViewPerspective),
          m_nRowBytes(size_t(dst.Width) * m_plan.pixelBytes()),
          m_nSamples(size_t(dst.Width) * size_t(m_plan.format.nSamples)),
          m_progress(dst.Height) {}

    int32_t run() noexcept {
        if (m_rows.status() != 1) return m_rows.status();
        if (m_sink.status() != 1) return m_sink.status();
        if (m_filter.prepare(m_method.along(m_src.Width, m_dst.Width), m_plan.format, m_method.nWeights,
                             m_method.bAlphaWeighted, wholeRowWindow(m_src.Width, m_dst.Width)) != 1)
            return -1;  // Not enough memory available
        if (m_src.Height != m_dst.Height && !m_ring.allocate(uint64_t(m_nRowBytes) * 4)) return -1;
        if (const int32_t n = m_progress.start(); n != 1) return n;
        if (areBoxes()) return shrinkBoxes();
        if (m_src.Height == m_dst.Height) return keepRows();
        if (m_src.Height > m_dst.Height) return shrinkRows();
        return m_method.bSpline ? bendRows() : growRows();
    }
};

int32_t resampleInto(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t nStructSize, const Method& method) noexcept {
    if (!isAllocated(pSource) || !isAllocated(pDest)) return -2;  // Invalid image
    if (!isKnownRecordSize(pSource->uStructSize) || !isKnownRecordSize(pDest->uStructSize) ||
        !isKnownRecordSize(nStructSize))
        return -789;  // The structure size is invalid
    BitmapLock lockSrc(*pSource);
    if (lockSrc.status() != 1) return lockSrc.status();
    BitmapLock lockDst(*pDest);
    if (lockDst.status() != 1) return lockDst.status();
    const int32_t n = Resampler(*pSource, *pDest, method).run();
    return lockSrc.release(lockDst.release(n));
}

// ---- in place ----------------------------------------------------------------------------------------------------

// The rows, and what follows the size: the copy's own overlays, and last, since it is the caller's, the region.
int32_t resampleDuplicate(BITMAPRECORD& fresh, BITMAPRECORD& bm, const Method& method) noexcept {
    if (const int32_t n = resampleInto(&bm, &fresh, bm.uStructSize, method); n != 1) return n;
    if (const int32_t n = attachments().sizeOverlays(fresh, bm.Width, bm.Height); n != 1) return n;
    const int32_t n = attachments().sizeRegion(bm, fresh.Width, fresh.Height);
    fresh.pRgnInfo = bm.pRgnInfo;
    return n;
}

int32_t resampleInPlace(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, const Method& method) noexcept {
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD& bm = *pBitmap;
    constexpr uint32_t kDupFlags = DUP_ALLOCATE | DUP_OVERLAYS | DUP_BEGIN_REPLACE;
    const bool bToColor = bm.Order == ORDER_GRAY && (bm.Flags & BMF_NONLINEAR_LUT);
    BITMAPRECORD fresh{};
    const int32_t nBits = bToColor ? 24 : bm.BitsPerPixel;
    if (const int32_t n = R_DupBitmapNewDim(&fresh, &bm, bm.uStructSize, nWidth, nHeight, nBits, kDupFlags); n != 1)
        return n;
    const int32_t nStatus = resampleDuplicate(fresh, bm, method);
    if (nStatus != 1) {
        dropDuplicate(fresh, bm, kDupFlags);
        return nStatus;
    }
    bm.pRgnInfo = nullptr;
    if (bm.pOverlays) attachments().freeOverlays(bm);
    replaceBitmap(bm, fresh, !bToColor);  // the tables of grey end with it where the colours are new
    return 1;
}

Method methodOf(bool bSpline, uint32_t uFlags) noexcept {
    const bool bCoarse = !bSpline && (uFlags & RSZ_RESAMPLE_COARSE);
    return {bSpline, bCoarse ? kCoarseWeights : kFineWeights, (uFlags & RSZ_ALPHA_WEIGHTED) != 0};
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_ResampleBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, uint32_t uFlags) noexcept {
    return resampleInPlace(pBitmap, nWidth, nHeight, methodOf(false, uFlags));
}

int32_t R_ResampleBitmapInt(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t nStructSize,
                            uint32_t uFlags) noexcept {
    return resampleInto(pSource, pDest, nStructSize, methodOf(false, uFlags));
}

int32_t R_BicubicResampleBitmap(BITMAPRECORD* pBitmap, int32_t nWidth, int32_t nHeight, uint32_t uFlags) noexcept {
    return resampleInPlace(pBitmap, nWidth, nHeight, methodOf(true, uFlags));
}

int32_t R_BicubicResampleBitmapInt(BITMAPRECORD* pSource, BITMAPRECORD* pDest, uint32_t nStructSize,
                                   uint32_t uFlags) noexcept {
    return resampleInto(pSource, pDest, nStructSize, methodOf(true, uFlags));
}

}  // extern "C"
