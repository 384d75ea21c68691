// Scrambling: the pixels of a rectangle change places by a permutation that a number makes. The pixels stand apart in
// whole bytes meanwhile, so that an index is all that finds one.
#include "ravokit/scramble.h"

#include "internal/muldiv.h"
#include "internal/opening.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rowaccess.h"
#include "internal/views_.h"
#include "ravokit/view.h"

namespace rv {
namespace {

struct SCRAMBLETABLE {
    uint32_t nSeed;
    int32_t nLeft, nTop, nWidth, nHeight;
    uint32_t nCount;   // nWidth x nHeight
    uint32_t* pIndex;  // where in the rectangle, row by row, each place gets its pixel from
};

// One generator for all machines: 15 bits of a linear congruence.
class Generator {
    uint32_t m_uState;

public:
    explicit Generator(uint32_t uSeed) noexcept : m_uState(uSeed) {}
    uint32_t next() noexcept {
        m_uState = m_uState * 214013 + 2531011;
        return m_uState >> 16 & 0x7FFF;
    }
};

// The shuffle from the inside out.
void fillTable(const SCRAMBLETABLE& table) noexcept {
    Generator random(table.nSeed);
    for (uint32_t i = 0; i < table.nCount; ++i) {
        const uint32_t uHigh = random.next(), uLow = random.next();
        const uint32_t j = (uLow + uHigh * 0x8000) % (i + 1);
        table.pIndex[i] = table.pIndex[j];
        table.pIndex[j] = i;
    }
}

constexpr int wholeBytes(int nBits) { return (nBits + 7) / 8 * 8; }

// With bBack pixel k goes to the place that index k came from.
template <int Bits>
int32_t scrambleRows(BITMAPRECORD& bm, const SCRAMBLETABLE& table, bool bBack) noexcept {
    using Apart = Pixel<wholeBytes(Bits)>;
    const auto nLeft = uint32_t(table.nLeft), nWidth = uint32_t(table.nWidth);
    Buffer<uint8_t> pixels(uint64_t(table.nCount) * (wholeBytes(Bits) / 8));
    RowReader from(bm, bm.BytesPerLine);
    RowEditor to(bm);
    if (!pixels || from.status() != 1 || to.status() != 1) return -1;
    const uint32_t* const pIndex = table.pIndex;
    const int32_t nEnd = table.nTop + table.nHeight;
    uint32_t k = 0;
    for (int32_t y = table.nTop; y < nEnd; ++y, k += nWidth) {
        const uint8_t* pRow = from.read(y);
        if (!pRow) return from.status();
        for (uint32_t i = 0; i < nWidth; ++i)
            Apart::put(pixels.get(), bBack ? pIndex[k + i] : k + i, Pixel<Bits>::get(pRow, nLeft + i));
    }
    ProgressStepper progress(table.nHeight);
    if (const int32_t n = progress.start(); n != 1) return n;
    k = 0;
    for (int32_t y = table.nTop; y < nEnd; ++y, k += nWidth) {
        uint8_t* pRow = to.read(y);
        if (!pRow) return to.status();
        for (uint32_t i = 0; i < nWidth; ++i)
            Pixel<Bits>::put(pRow, nLeft + i, Apart::get(pixels.get(), bBack ? k + i : pIndex[k + i]));
        if (const int32_t n = to.write(y); n != 1) return n;
        if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

constexpr uint32_t kAllFlags = 0x3FF;

bool isFlagPattern(uint32_t uFlags) noexcept {
    const uint32_t uWay = uFlags & (SCR_ENCRYPT | SCR_DECRYPT);
    return uFlags <= kAllFlags && (uWay == SCR_ENCRYPT || uWay == SCR_DECRYPT);
}

// A rectangle that reaches past all numbers ends there.
int32_t edge(int32_t nStart, int32_t nLength) noexcept { return saturated(int64_t(nStart) + nLength); }

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_ScrambleBitmap(BITMAPRECORD* pBitmap, int32_t nLeft, int32_t nTop, int32_t nWidth, int32_t nHeight,
                                    uint32_t uKey, uint32_t uFlags) noexcept {
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!isFlagPattern(uFlags)) return -13;                     // Invalid parameter passed
    BITMAPRECORD& bm = *pBitmap;
    RECT r{nLeft, nTop, edge(nLeft, nWidth), edge(nTop, nHeight)};
    if (uFlags & SCR_CLIP) {  // as it is seen: past the picture a coordinate could wrap on its way to the bitmap
        const SIZE seen = seenSize(bm);
        const RECT whole{0, 0, seen.width, seen.height};
        R_Rect_Intersect(&r, &r, &whole);
    }
    if (const int32_t n = R_RectToBitmap(&bm, TOP_LEFT, &r); n != 1) return n;
    if (r.left < 0 || r.top < 0 || r.right > bm.Width || r.bottom > bm.Height) return -13;
    if (r.left >= r.right || r.top >= r.bottom) return -13;

    SCRAMBLETABLE table{uKey, r.left, r.top, r.right - r.left, r.bottom - r.top, 0, nullptr};
    const uint64_t nCount = uint64_t(uint32_t(table.nWidth)) * uint32_t(table.nHeight);
    Buffer<uint32_t> index;
    if (nCount > UINT32_MAX || !index.allocate(nCount)) return -1;  // Not enough memory available
    table.nCount = uint32_t(nCount);
    table.pIndex = index.get();
    fillTable(table);
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    return lock.release(
        visitDepth(bm.BitsPerPixel, [&](auto bits) { return scrambleRows<bits>(bm, table, !(uFlags & SCR_ENCRYPT)); }));
}
