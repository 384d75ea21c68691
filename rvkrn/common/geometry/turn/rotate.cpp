// Turning a bitmap by any angle: every destination row walks through the source along a straight line. The stretch of
// the row that lies in the source is found first, so that no pixel is asked where it stands.
#include <algorithm>
#include <cmath>
#include <utility>

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/colorpixel.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rotate_.h"
#include "internal/rotaterows.h"
#include "internal/rowaccess.h"
#include "internal/storage_.h"
#include "ravokit/compressed.h"
#include "ravokit/copy.h"
#include "ravokit/grayscale.h"

namespace rv {
namespace {

constexpr int32_t kWholeTurn = 36000;
constexpr double kUnit = 1.0 / 16384;

// ---- geometry ----------------------------------------------------------------------------------------------------

struct Center {
    float x, y;
};

// Where the destination's pixels lie in the source: at start for the first one, a step further for each column, and
// (-step.y, step.x) further for each row.
struct Turn {
    int32_t nWidth, nHeight;  // of the destination
    TurnPoint start;
    TurnStep step;
    TurnPoint at(int64_t nCol, int64_t nRow) const noexcept {
        return {start.x + nCol * step.x - nRow * step.y, start.y + nCol * step.y + nRow * step.x};
    }
};

// The bounding box of the turned picture gives the size; center becomes that of the destination. False if it is no
// size that a bitmap can have.
bool growCanvas(const BITMAPRECORD& bm, Turn& turn, Center& center) noexcept {
    const double dCos = turn.step.x * kUnit, dSin = turn.step.y * kUnit;
    double xMin = 0, xMax = 0, yMin = 0, yMax = 0;
    for (int k = 0; k < 4; ++k) {
        // Pixels go the other way than the walk does.
        const double dx = (k == 1 || k == 2 ? bm.Width : 0) - double(center.x),
                     dy = (k >= 2 ? bm.Height : 0) - double(center.y);
        const double x = dx * dCos + dy * dSin + double(center.x), y = dy * dCos - dx * dSin + double(center.y);
        xMin = k ? std::min(xMin, x) : x;
        xMax = k ? std::max(xMax, x) : x;
        yMin = k ? std::min(yMin, y) : y;
        yMax = k ? std::max(yMax, y) : y;
    }
    const double dWidth = xMax - xMin + 0.6, dHeight = yMax - yMin + 0.6;
    if (!(dWidth < 2147483648.0 && dHeight < 2147483648.0)) return false;
    turn.nWidth = int32_t(dWidth);
    turn.nHeight = int32_t(dHeight);
    center = {float(double(center.x) - xMin), float(double(center.y) - yMin)};
    return true;
}

// The whole part and the fraction of a start are cut separately, both toward zero.
int64_t startPlace(float v) noexcept {
    const auto nPixel = int64_t(v);
    return nPixel * kTurnOne + int64_t((v - (float(nPixel) + 0.5f)) * 16384) + kTurnBias;
}

bool planTurn(const BITMAPRECORD& bm, int32_t nAngle, bool bGrow, const Center& center, Turn& turn) noexcept {
    turn.step = {R_CosValue(nAngle), R_SinValue(nAngle)};
    turn.nWidth = bm.Width;
    turn.nHeight = bm.Height;
    Center target{float(bm.Width) / 2, float(bm.Height) / 2};
    if (bGrow) {
        target = center;
        if (!growCanvas(bm, turn, target)) return false;
    }
    const float dx = 0.5f - target.x, dy = 0.5f - target.y;
    const auto fCos = float(turn.step.x), fSin = float(turn.step.y), fUnit = float(kUnit);
    turn.start.x = startPlace(dx * fCos * fUnit - dy * fSin * fUnit + center.x);
    turn.start.y = startPlace(dx * fSin * fUnit + dy * fCos * fUnit + center.y);
    return true;
}

// Dots per inch along an axis that is nAlong pixels of one axis and nAcross of the other, in any unit.
int32_t turnedResolution(double dAlong, double dAcross, int32_t nAlong, int32_t nAcross) noexcept {
    const double d = (dAlong + dAcross) / (dAlong / nAlong + dAcross / nAcross) + 0.5;
    return std::abs(d) < 2147483648.0 ? int32_t(d) : nAlong;
}

void turnResolutions(BITMAPRECORD& dst, const BITMAPRECORD& src, const Turn& turn) noexcept {
    const int32_t nX = src.XResolution, nY = src.YResolution;
    if (!nX || !nY) return;
    const double c = std::abs(turn.step.x), s = std::abs(turn.step.y);
    dst.XResolution = turnedResolution(src.Width * c, src.Height * s, nX, nY);
    dst.YResolution = turnedResolution(src.Height * c, src.Width * s, nY, nX);
}

// ---- stretches ---------------------------------------------------------------------------------------------------

struct Stretch {
    int64_t nFirst, nEnd;
    Stretch cut(int64_t nFrom, int64_t nTo) const noexcept {
        const int64_t n = std::clamp(nFirst, nFrom, nTo);
        return {n, std::clamp(nEnd, n, nTo)};
    }
};

constexpr int64_t floorDiv(int64_t a, int64_t b) noexcept { return a / b - (a % b < 0); }  // b > 0

// The columns of a stretch where nPlace + column * nStep lies in the pixels from nLow to before nHigh.
Stretch columnsWithin(Stretch all, int64_t nPlace, int64_t nStep, int64_t nLow, int64_t nHigh) noexcept {
    const int64_t nFrom = nLow * kTurnOne - nPlace, nTo = nHigh * kTurnOne - nPlace;
    if (nStep == 0) return nFrom <= 0 && 0 < nTo ? all : Stretch{all.nFirst, all.nFirst};
    if (nStep > 0) return Stretch{-floorDiv(-nFrom, nStep), -floorDiv(-nTo, nStep)}.cut(all.nFirst, all.nEnd);
    return Stretch{floorDiv(-nTo, -nStep) + 1, floorDiv(-nFrom, -nStep) + 1}.cut(all.nFirst, all.nEnd);
}

struct RowPlan {
    Stretch picture;  // columns that are pixels of the source
    Stretch inner;    // of these, those for the inner kernel
};

RowPlan planRow(const BITMAPRECORD& src, const Turn& turn, const TurnKernel& kernel, int32_t nRow) noexcept {
    const TurnPoint at = turn.at(0, nRow);
    RowPlan plan;
    plan.picture = columnsWithin({0, turn.nWidth}, at.x, turn.step.x, 0, src.Width);
    plan.picture = columnsWithin(plan.picture, at.y, turn.step.y, 0, src.Height);
    plan.inner = columnsWithin(plan.picture, at.x, turn.step.x, kernel.nLeft, src.Width - kernel.nRight);
    plan.inner = columnsWithin(plan.inner, at.y, turn.step.y, kernel.nAround, src.Height - kernel.nAround);
    return plan;
}

// ---- source ------------------------------------------------------------------------------------------------------

// What filters read around a pixel, and more than kernels do.
constexpr int64_t kSurroundings = 8;
// Columns that begin a byte at every depth.
constexpr int64_t kColumnGroup = 8;

// The pixels of the source: in place where they are one piece of memory, else a copy in memory where that fits, else
// parts of it as they are needed.
class SourcePixels {
    BITMAPRECORD* m_pFrom;
    BitmapOwner m_expanded;
    Buffer<uint8_t> m_buffer;
    uint64_t m_nRoom = 0;
    TurnSource m_source;
    TurnPoint m_origin{0, 0};
    bool m_bWhole = true;

    int32_t readRows(int32_t nLeft, int32_t nTop, int32_t nBottom, uint32_t nBytes) noexcept {
        for (int32_t y = nTop; y < nBottom; ++y)
            if (const int32_t n =
                    readRow(*m_pFrom, m_buffer.get() + int64_t(y - nTop) * m_source.nStride, y, nBytes, nLeft);
                n < 0)
                return n;
        return 1;
    }
    // Parts of rows are slow to get from compressed ones.
    int32_t expand() noexcept {
        BITMAPRECORD& record = m_expanded.record;
        const int32_t n = R_CopyBitmap2(&record, m_pFrom, sizeof record, BMMEM_CONVENTIONAL);
        if (n == 1) m_pFrom = &record;
        return n;
    }
    bool takeFlat() noexcept {
        m_source.pPixels = flatRow(*m_pFrom, 0);
        return m_source.pPixels != nullptr;
    }

public:
    SourcePixels(BITMAPRECORD& bm, uint64_t uFill) noexcept
        : m_pFrom(&bm), m_source{nullptr, bm.BytesPerLine, {0, 0, bm.Width, bm.Height}, uFill} {}

    int32_t open() noexcept {
        if (takeFlat()) return 1;
        const uint64_t nBytes = uint64_t(m_pFrom->BytesPerLine) * uint32_t(m_pFrom->Height);
        if (nBytes <= threadThresholds().nMemoryLimit && m_buffer.allocate(nBytes)) {
            m_source.pPixels = m_buffer.get();
            return readRows(0, 0, m_pFrom->Height, m_pFrom->BytesPerLine);
        }
        if (m_pFrom->Flags & (BMF_COMPRESSED | BMF_SUPERCOMPRESSED)) {
            if (const int32_t n = expand(); n != 1) return n;
            if (takeFlat()) return 1;
        }
        m_bWhole = false;
        return 1;
    }
    bool isWhole() const noexcept { return m_bWhole; }
    const TurnSource& source() const noexcept { return m_source; }
    TurnPoint placeIn(TurnPoint at) const noexcept { return {at.x - m_origin.x, at.y - m_origin.y}; }

    // Reads the part with the pixels of an area and their surroundings.
    int32_t load(int64_t nLeft, int64_t nTop, int64_t nRight, int64_t nBottom) noexcept {
        const int32_t nWidth = m_pFrom->Width, nHeight = m_pFrom->Height, nBits = m_pFrom->BitsPerPixel;
        nLeft = std::max<int64_t>(nLeft - kSurroundings, 0) / kColumnGroup * kColumnGroup;
        nTop = std::max<int64_t>(nTop - kSurroundings, 0);
        nRight = std::min<int64_t>(nRight + kSurroundings, nWidth);
        nBottom = std::min<int64_t>(nBottom + kSurroundings, nHeight);
        const auto nBytes = uint32_t(packedBytes(uint64_t(nRight - nLeft), uint32_t(nBits)));
        const uint64_t nRoom = uint64_t(nBytes) * uint64_t(nBottom - nTop);
        if (nRoom > m_nRoom) {
            if (!m_buffer.allocate(nRoom)) return -1;
            m_nRoom = nRoom;
        }
        m_source.pPixels = m_buffer.get();
        m_source.nStride = nBytes;
        m_source.bounds = {int32_t(-nLeft), int32_t(-nTop), int32_t(nWidth - nLeft), int32_t(nHeight - nTop)};
        m_origin = {nLeft * kTurnOne, nTop * kTurnOne};
        return readRows(int32_t(nLeft), int32_t(nTop), int32_t(nBottom), nBytes);
    }
};

// ---- rows --------------------------------------------------------------------------------------------------------

// Blocks of the destination. A walk that is little inclined goes along the source's rows, which the caches like best
// where it is long; a steeper one goes through so many rows that their pixels are to be used up while they are at hand.
constexpr int32_t kBlockRows = 32, kLongBlock = 8192, kSteepBlock = 512, kSteep = 3 * kTurnOne / 8;
// Blocks of a source that is read in parts.
constexpr int32_t kPartSide = 256;
constexpr uint32_t kMostBuffered = 16u << 20;

class TurnRows {
    BITMAPRECORD &m_src, &m_dst;
    const Turn& m_turn;
    const TurnKernel m_kernel;
    SourcePixels m_pixels;
    Buffer<uint8_t> m_fill, m_rows;  // a row of the fill; the rows of a block where the destination isn't flat
    RowPlan m_plans[kPartSide];
    int32_t m_nBlockRows = 0, m_nBlockColumns = 0;

    uint8_t* place(int32_t nTop, int32_t i) noexcept {
        return m_rows ? m_rows.get() + size_t(i) * m_dst.BytesPerLine : flatRow(m_dst, nTop + i);
    }
    void fill(uint8_t* pRow, int64_t nFrom, int64_t nTo) noexcept {
        if (nFrom < nTo)
            copyPixels(m_dst.BitsPerPixel, pRow, uint64_t(nFrom), m_fill.get(), uint64_t(nFrom), uint64_t(nTo - nFrom));
    }
    void sample(TurnRow kernel, uint8_t* pRow, int32_t nRow, int64_t nFrom, int64_t nTo) noexcept {
        if (nFrom < nTo)
            kernel(m_pixels.source(), m_pixels.placeIn(m_turn.at(nFrom, nRow)), m_turn.step, pRow, size_t(nFrom),
                   size_t(nTo - nFrom));
    }
    // Reads the part of the source that columns of a block need; false if they need none.
    bool loadPart(int32_t nTop, int32_t nRows, int64_t nFrom, int64_t nTo, int32_t& nStatus) noexcept {
        int64_t nLeft = INT64_MAX, nRight = INT64_MIN, nFirst = INT64_MAX, nEnd = INT64_MIN;
        for (int32_t i = 0; i < nRows; ++i) {
            const Stretch s = m_plans[i].picture.cut(nFrom, nTo);
            for (const int64_t nCol : {s.nFirst, s.nEnd - 1}) {
                if (s.nFirst == s.nEnd) break;
                const TurnPoint at = m_turn.at(nCol, nTop + i);
                const int32_t x = turnPixel(at.x), y = turnPixel(at.y);
                nLeft = std::min<int64_t>(nLeft, x);
                nRight = std::max<int64_t>(nRight, x + 1);
                nFirst = std::min<int64_t>(nFirst, y);
                nEnd = std::max<int64_t>(nEnd, y + 1);
            }
        }
        if (nLeft >= nRight) return false;
        nStatus = m_pixels.load(nLeft, nFirst, nRight, nEnd);
        return nStatus == 1;
    }
    int32_t turnBlock(int32_t nTop, int32_t nRows) noexcept {
        for (int32_t i = 0; i < nRows; ++i) {
            m_plans[i] = planRow(m_src, m_turn, m_kernel, nTop + i);
            fill(place(nTop, i), 0, m_plans[i].picture.nFirst);
            fill(place(nTop, i), m_plans[i].picture.nEnd, m_turn.nWidth);
        }
        for (int64_t nFrom = 0; nFrom < m_turn.nWidth; nFrom += m_nBlockColumns) {
            const int64_t nTo = std::min<int64_t>(nFrom + m_nBlockColumns, m_turn.nWidth);
            int32_t nStatus = 1;
            if (!m_pixels.isWhole() && !loadPart(nTop, nRows, nFrom, nTo, nStatus)) {
                if (nStatus != 1) return nStatus;
                continue;
            }
            for (int32_t i = 0; i < nRows; ++i) {
                const Stretch picture = m_plans[i].picture.cut(nFrom, nTo), inner = m_plans[i].inner.cut(nFrom, nTo);
                uint8_t* const pRow = place(nTop, i);
                if (inner.nFirst == inner.nEnd) {
                    sample(m_kernel.edge, pRow, nTop + i, picture.nFirst, picture.nEnd);
                    continue;
                }
                sample(m_kernel.edge, pRow, nTop + i, picture.nFirst, inner.nFirst);
                sample(m_kernel.inner, pRow, nTop + i, inner.nFirst, inner.nEnd);
                sample(m_kernel.edge, pRow, nTop + i, inner.nEnd, picture.nEnd);
            }
        }
        return 1;
    }

public:
    TurnRows(BITMAPRECORD& src, BITMAPRECORD& dst, const Turn& turn, TurnFilter filter, uint64_t uFill) noexcept
        : m_src(src),
          m_dst(dst),
          m_turn(turn),
          m_kernel(bestTurn(src.BitsPerPixel, filter, src.Flags & BMF_SIGNED)),
          m_pixels(src, uFill) {}

    int32_t open() noexcept {
        if (!m_fill.allocate(m_dst.BytesPerLine)) return -1;
        fillRow(m_dst, m_pixels.source().uFill, m_fill.get());
        if (const int32_t n = m_pixels.open(); n != 1) return n;
        m_nBlockRows = m_pixels.isWhole() ? kBlockRows : kPartSide;
        m_nBlockColumns = !m_pixels.isWhole() ? kPartSide : std::abs(m_turn.step.y) > kSteep ? kSteepBlock : kLongBlock;
        if (flatRow(m_dst, 0)) return 1;
        m_nBlockRows = int32_t(std::clamp(kMostBuffered / m_dst.BytesPerLine, 1u, uint32_t(m_nBlockRows)));
        return m_rows.allocateCleared(uint64_t(m_dst.BytesPerLine) * uint32_t(m_nBlockRows)) ? 1 : -1;
    }
    int32_t run(int32_t nStart, int32_t nEnd) noexcept {
        ProgressStepper progress(m_turn.nHeight, nStart, nEnd);
        if (const int32_t n = progress.start(); n != 1) return n;
        for (int32_t nTop = 0, nRows; nTop < m_turn.nHeight; nTop += nRows) {
            nRows = std::min(m_nBlockRows, m_turn.nHeight - nTop);
            if (const int32_t n = turnBlock(nTop, nRows); n != 1) return n;
            for (int32_t i = 0; i < nRows; ++i) {
                if (m_rows)
                    if (const int32_t n = putWholeRow(m_dst, place(nTop, i), nTop + i); n != 1) return n;
                if (const int32_t n = progress.step(); n != 1) return n;
            }
        }
        return 1;
    }
};

// ---- bitmap ------------------------------------------------------------------------------------------------------

// Whether neighbouring pixel values can be blended.
bool isLinear(const BITMAPRECORD& bm) noexcept {
    if (bm.BitsPerPixel < 8) return false;
    const int32_t nKind = R_IsGrayScaleBitmap(&bm);
    const bool bRamp = nKind == GRAYKIND_ASCENDING || nKind == GRAYKIND_DESCENDING;
    if (bm.BitsPerPixel == 8 && bm.Order != ORDER_GRAY && !bRamp) return false;
    const bool bGray = bm.Order == ORDER_GRAY || bm.BitsPerPixel == 8;
    return !bGray || !(bm.pLUT || (hasWideFields(bm) && bm.pLUT16));
}

TurnFilter filterOf(const BITMAPRECORD& bm, uint32_t uFlags) noexcept {
    if (!(uFlags & (ROT_BILINEAR | ROT_BICUBIC)) || !isLinear(bm)) return TurnFilter::nearest;
    return uFlags & ROT_BICUBIC ? TurnFilter::bicubic : TurnFilter::bilinear;
}

struct Request {
    int32_t nAngle;  // clockwise, of the picture in its normal view
    uint32_t uFlags;
    COLORREF crFill;
    int32_t nStart, nEnd;
};

int32_t fillTarget(BITMAPRECORD& dst, BITMAPRECORD& src, const Turn& turn, const Request& request) noexcept {
    BitmapLock lockSrc(src);
    if (lockSrc.status() != 1) return lockSrc.status();
    BitmapLock lockDst(dst);
    if (lockDst.status() != 1) return lockDst.status();
    TurnRows rows(src, dst, turn, filterOf(src, request.uFlags), fillPixel(src, request.crFill, 255));
    int32_t nStatus = rows.open();
    if (nStatus == 1) nStatus = rows.run(request.nStart, request.nEnd);
    return lockSrc.release(lockDst.release(nStatus));
}

// Region and overlays of the new bitmap are its own, so that the old one stands as it was if they can't be turned.
constexpr uint32_t kDuplicate =
    DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | kDupWholeRegion | DUP_OVERLAYS | DUP_BEGIN_REPLACE;

int32_t turnBitmap(BITMAPRECORD& bm, const Turn& turn, const Request& request) noexcept {
    BITMAPRECORD fresh;
    if (const int32_t n =
            R_DupBitmapNewDim(&fresh, &bm, bm.uStructSize, turn.nWidth, turn.nHeight, bm.BitsPerPixel, kDuplicate);
        n != 1)
        return n;
    turnResolutions(fresh, bm, turn);
    int32_t nStatus = fillTarget(fresh, bm, turn, request);
    if (nStatus == 1) nStatus = attachments().rotateRegion(fresh, bm.Width, bm.Height, request.nAngle);
    if (nStatus == 1) nStatus = attachments().rotateOverlays(fresh, bm.Width, bm.Height, request.nAngle);
    if (nStatus != 1) {
        dropDuplicate(fresh, bm, kDuplicate);
        return nStatus;
    }
    if (fresh.Flags & BMF_COMPRESSED) R_TrimBitmapHeap(&fresh, 0);
    replaceBitmap(bm, fresh, false);
    return 1;
}

void seeThrough(BITMAPRECORD& bm, int32_t nView) noexcept {
    const int32_t nOld = std::exchange(bm.ViewPerspective, nView);
    if (bm.pOverlays && nOld != nView) attachments().viewOverlays(bm, nOld);
}

// The views that are turned or mirrored become 1, or 4 with its rows from bottom to top, and more of an angle.
int32_t normaliseView(BITMAPRECORD& bm) noexcept {
    static constexpr struct {
        int32_t nView, nAngle;
    } kViews[] = {{TOP_LEFT, 0},       {BOTTOM_LEFT, 18000}, {TOP_LEFT, 18000},    {BOTTOM_LEFT, 0},
                  {BOTTOM_LEFT, 9000}, {TOP_LEFT, 9000},     {BOTTOM_LEFT, 27000}, {TOP_LEFT, 27000}};
    if (bm.ViewPerspective < TOP_LEFT || bm.ViewPerspective > LEFT_BOTTOM) return 0;
    const auto& view = kViews[bm.ViewPerspective - TOP_LEFT];
    seeThrough(bm, view.nView);
    return view.nAngle;
}

// The view is normal by now; nAngle, 0 to 35999, is that of the walk through the source.
int32_t turnBy(BITMAPRECORD& bm, int32_t nAngle, const Request& request, Center center) noexcept {
    const bool bGrow = request.uFlags & (ROT_RESIZE | ROT_CENTER);
    if (!(request.uFlags & ROT_CENTER)) {
        if (nAngle == 18000) return rotate180(bm, request.nStart, request.nEnd);
        if (nAngle == 0) return tellNothingToDo(request.nStart, request.nEnd);
        if (nAngle % 9000 == 0 && (bGrow || bm.Width == bm.Height))
            return R_RotateBitmap90(&bm, nAngle == 27000, request.nStart, request.nEnd);
        center = {float(bm.Width) / 2, float(bm.Height) / 2};
    }
    if (bm.ViewPerspective == BOTTOM_LEFT) nAngle = (kWholeTurn - nAngle) % kWholeTurn;
    Turn turn;
    if (!planTurn(bm, nAngle, bGrow, center, turn)) return -11;  // Invalid width or height
    return turnBitmap(bm, turn, request);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_IntRotateBitmap(BITMAPRECORD* pBitmap, int32_t nAngle, uint32_t uFlags, COLORREF crFill, int32_t nStart,
                          int32_t nEnd, float fCenterX, float fCenterY) noexcept {
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    // Places in the source are numbers of 64 bits from here on.
    constexpr float kFarthest = 1 << 30;
    if ((uFlags & ROT_CENTER) && !(std::abs(fCenterX) <= kFarthest && std::abs(fCenterY) <= kFarthest)) return -13;
    const int32_t nView = pBitmap->ViewPerspective;
    const auto nClockwise = int32_t((int64_t(nAngle) + normaliseView(*pBitmap)) % kWholeTurn);
    const int32_t nStatus = turnBy(*pBitmap, (kWholeTurn - nClockwise) % kWholeTurn,
                                   {nClockwise, uFlags, crFill, nStart, nEnd}, {fCenterX, fCenterY});
    if (nStatus != 1) seeThrough(*pBitmap, nView);
    return nStatus;
}

int32_t R_RotateBitmap(BITMAPRECORD* pBitmap, int32_t nAngle, uint32_t uFlags, COLORREF crFill) noexcept {
    if (pBitmap && !isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    return R_IntRotateBitmap(pBitmap, nAngle, uFlags, crFill, 0, 100, 0, 0);
}

}  // extern "C"
