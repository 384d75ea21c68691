// Flips: stored rows exchanged from both ends, or each mirrored in place. Run lists change places or direction without
// being expanded. Other rows that are not flat are exchanged band by band, so that tiles, files and strips are not
// called up anew for every row.
#include <algorithm>

#include "internal/attachments.h"
#include "internal/mirror.h"
#include "internal/opening.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rowaccess.h"
#include "internal/rowblocks.h"
#include "internal/runlists_.h"
#include "internal/views_.h"
#include "ravokit/compressed.h"
#include "ravokit/view.h"

namespace rv {
namespace {

// ---- two rows ----------------------------------------------------------------------------------------------------

// Exchanges two rows of whole words that are apart.
using RowExchange = void (*)(uint8_t* first, uint8_t* second, size_t nBytes) noexcept;

void exchangeWords(uint8_t* __restrict first, uint8_t* __restrict second, size_t nBytes) noexcept {
    for (size_t i = 0; i < nBytes; i += 4) {
        const auto a = loadLittle<uint32_t>(first + i), b = loadLittle<uint32_t>(second + i);
        storeLittle(first + i, b);
        storeLittle(second + i, a);
    }
}

#ifdef RV_X86
// The next row to be the second is the one in front of it. That way goes against the processor's guess: so it is
// fetched meanwhile.
RV_AVX2 void exchangeLines(uint8_t* first, uint8_t* second, size_t nBytes) noexcept {
    using namespace avx2;
    size_t i = 0;
    for (; i + 128 <= nBytes; i += 128) {
        __m256i a[4], b[4];
        for (size_t k = 0; k < 4; ++k) a[k] = load32(first + i + k * 32), b[k] = load32(second + i + k * 32);
        _mm_prefetch(reinterpret_cast<const char*>(second + i) - nBytes, _MM_HINT_T0);
        _mm_prefetch(reinterpret_cast<const char*>(second + i) - nBytes + 64, _MM_HINT_T0);
        for (size_t k = 0; k < 4; ++k) store32(first + i + k * 32, b[k]);
        for (size_t k = 0; k < 4; ++k) store32(second + i + k * 32, a[k]);
    }
    exchangeWords(first + i, second + i, nBytes - i);
}
#endif

RowExchange bestExchange() noexcept {
#ifdef RV_X86
    if (cpuHasAvx2()) return exchangeLines;
#endif
    return exchangeWords;
}

// Calls step(i, n), which does n items from i on and gives a status, until nTotal are done, at most nMost at a time.
template <class Step>
int32_t inSteps(int32_t nTotal, int32_t nMost, Step&& step) noexcept {
    ProgressStepper progress(nTotal);
    if (const int32_t n = progress.start(); n != 1) return n;
    for (int32_t i = 0; i < nTotal; i += nMost) {
        const int32_t nNow = std::min(nMost, nTotal - i);
        if (const int32_t n = step(i, nNow); n != 1) return n;
        for (int32_t k = 0; k < nNow; ++k)
            if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

// ---- top to bottom -----------------------------------------------------------------------------------------------

int32_t flipFlat(BITMAPRECORD& bm) noexcept {
    const RowExchange exchange = bestExchange();
    return inSteps(rowPairs(bm), 1, [&](int32_t y, int32_t) {
        const int32_t nOther = bm.Height - 1 - y;
        if (y != nOther) exchange(flatRow(bm, y), flatRow(bm, nOther), bm.BytesPerLine);
        return 1;
    });
}

// Lists of different blocks are copied. That may end the compression, where it has stopped to pay.
int32_t flipRunLists(BITMAPRECORD& bm) noexcept {
    if (!bm.pData) return -2;
    Buffer<uint16_t> first, second;
    Buffer<uint8_t> work;
    if (blockCount(bm.Height) > 1) {
        const uint64_t nRecord = kRecordHead + mostRuns(uint32_t(bm.Width));
        if (!first.allocate(nRecord) || !second.allocate(nRecord) || !work.allocate(bm.BytesPerLine)) return -1;
    }
    return inSteps(rowPairs(bm), 1, [&](int32_t y, int32_t) {
        const int32_t nOther = bm.Height - 1 - y;
        if ((bm.Flags & BMF_COMPRESSED) && swapRunLists(bm, y, nOther)) return 1;
        int32_t n = R_GetBitmapRowCompressed(&bm, work.get(), first.get(), y, 1);
        if (n == 1) n = R_GetBitmapRowCompressed(&bm, work.get(), second.get(), nOther, 1);
        if (n == 1) n = R_PutBitmapRowCompressed(&bm, work.get(), second.get(), y, 1);
        if (n == 1) n = R_PutBitmapRowCompressed(&bm, work.get(), first.get(), nOther, 1);
        return n;
    });
}

constexpr uint32_t kBandBytes = 0x100000;
constexpr int32_t kStripRows = 32;  // a band of a bitmap in strips has whole ones

class Band {
    BITMAPRECORD& m_bm;
    Buffer<uint8_t> m_rows;

    uint8_t* row(int32_t k) noexcept { return m_rows.get() + size_t(m_bm.BytesPerLine) * uint32_t(k); }

public:
    Band(BITMAPRECORD& bm, int32_t nRows) noexcept : m_bm(bm), m_rows(uint64_t(bm.BytesPerLine) * uint32_t(nRows)) {}
    explicit operator bool() const noexcept { return bool(m_rows); }

    int32_t read(int32_t nFirst, int32_t nRows) noexcept {
        for (int32_t k = 0; k < nRows; ++k)
            if (const int32_t n = readRow(m_bm, row(k), nFirst + k, m_bm.BytesPerLine); n < 0) return n;
        return 1;
    }
    // From the last row to the first.
    int32_t writeFlipped(int32_t nFirst, int32_t nRows) noexcept {
        for (int32_t k = 0; k < nRows; ++k)
            if (const int32_t n = putWholeRow(m_bm, row(nRows - 1 - k), nFirst + k); n != 1) return n;
        return 1;
    }
};

int32_t flipBands(BITMAPRECORD& bm) noexcept {
    const int32_t nLeast = bm.Flags & BMF_SUPERCOMPRESSED ? kStripRows : 1;
    const int32_t nRows = std::max(int32_t(kBandBytes / bm.BytesPerLine) / nLeast * nLeast, nLeast);
    Band top(bm, nRows), bottom(bm, nRows);
    if (!top || !bottom) return -1;
    return inSteps(rowPairs(bm), nRows, [&](int32_t y, int32_t nPairs) {
        if (y + nPairs > bm.Height / 2) --nPairs;
        const int32_t nOther = bm.Height - y - nPairs;
        // Of strips, that of the top is still open when it is written.
        int32_t n = bottom.read(nOther, nPairs);
        if (n == 1) n = top.read(y, nPairs);
        if (n == 1) n = bottom.writeFlipped(y, nPairs);
        if (n == 1) n = top.writeFlipped(nOther, nPairs);
        return n;
    });
}

int32_t flipRows(BITMAPRECORD& bm) noexcept {
    if (bm.Flags & BMF_COMPRESSED) return flipRunLists(bm);
    return flatRow(bm, 0) ? flipFlat(bm) : flipBands(bm);
}

// ---- left to right -----------------------------------------------------------------------------------------------

int32_t reverseRunLists(BITMAPRECORD& bm) noexcept {
    if (!bm.pData) return -2;
    return inSteps(bm.Height, 1, [&](int32_t y, int32_t) { return mirrorRunList(bm, y); });
}

int32_t reverseRows(BITMAPRECORD& bm) noexcept {
    if (bm.Flags & BMF_COMPRESSED) return reverseRunLists(bm);
    const MirrorKernel mirror = mirrorKernel(bm.BitsPerPixel);
    RowEditor rows(bm);
    if (rows.status() != 1) return rows.status();
    return inSteps(bm.Height, 1, [&](int32_t y, int32_t) {
        uint8_t* const pRow = rows.read(y);
        if (!pRow) return rows.status();
        mirror(pRow, pRow, size_t(bm.Width));
        return rows.write(y);
    });
}

using Hook = int32_t (*)(BITMAPRECORD& bm) noexcept;

// Moves the pixels, then what hangs on the bitmap.
int32_t mirrorBitmap(BITMAPRECORD& bm, Hook pfnPixels, Hook pfnRegion, Hook pfnOverlays) noexcept {
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    int32_t nStatus = pfnPixels(bm);
    if (nStatus == 1) nStatus = pfnRegion(bm);
    if (nStatus == 1) nStatus = pfnOverlays(bm);
    return lock.release(nStatus);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_FlipBitmap(BITMAPRECORD* pBitmap) noexcept {
    if (!isAllocated(pBitmap)) return -13;                      // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    return hasRowsAsColumns(*pBitmap) ? R_IntReverseBitmap(pBitmap) : R_IntFlipBitmap(pBitmap);
}

int32_t R_IntFlipBitmap(BITMAPRECORD* pBitmap) noexcept {
    if (!isAllocated(pBitmap)) return -2;  // Invalid image
    return mirrorBitmap(*pBitmap, flipRows, attachments().flipRegion, attachments().flipOverlays);
}

int32_t R_ReverseBitmap(BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap) return -13;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    return hasRowsAsColumns(*pBitmap) ? R_IntFlipBitmap(pBitmap) : R_IntReverseBitmap(pBitmap);
}

int32_t R_IntReverseBitmap(BITMAPRECORD* pBitmap) noexcept {
    if (!isAllocated(pBitmap)) return -2;
    return mirrorBitmap(*pBitmap, reverseRows, attachments().reverseRegion, attachments().reverseOverlays);
}

}  // extern "C"
