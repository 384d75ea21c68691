// The fill of the magic wand, by whole words of masks.
//
// A row that the fill reaches is tested once, into a mask of the pixels that are left to fill; those that are filled
// move to a second mask. A row is worked by taking what is left beside filled pixels of the rows above and below, and
// spreading that along the row. The sum of the mask and of a seed in it carries from the seed to the end of its run, so
// 64 pixels spread to the right in one addition; to the left, in steps that double. Rows wait with the range of words
// that changed beside them, and are worked in sweeps down and up, so that the work goes by the words that change.
//
// The connected area is the same in any order. What the order is known by stays: a fill from row 0 starts at the pixel
// (0, 0) besides, on a way up, from which the row below is entered only behind the first column.
#include <algorithm>
#include <cstring>

#include "internal/magicwand_.h"

namespace rv {
namespace {

// All that the bits of uSeeds reach toward bit 0 inside uRuns, which has them all.
inline uint64_t spreadDown(uint64_t uSeeds, uint64_t uRuns) noexcept {
    for (int nStep = 1; nStep < 64; nStep *= 2) {
        uSeeds |= uRuns & uSeeds >> nStep;
        uRuns &= uRuns >> nStep;
    }
    return uSeeds;
}

struct WordRange {
    int32_t first = INT32_MAX, last = -1;
    bool empty() const noexcept { return first > last; }
    void include(int32_t n) noexcept { first = std::min(first, n), last = std::max(last, n); }
    void include(const WordRange& r) noexcept { first = std::min(first, r.first), last = std::max(last, r.last); }
};

class WandFill {
    MaskRows& m_rows;
    const int32_t m_nWidth, m_nHeight, m_nWords;
    Buffer<uint64_t> m_masks;  // of each known row: what is left, then what is filled
    Buffer<uint64_t> m_clear;  // a row
    Buffer<uint64_t> m_fresh;  // of the row that is worked; one more word
    Buffer<WordRange> m_waiting;
    Buffer<uint8_t> m_known;
    WordRange m_rowsWaiting;  // at least; since the sweep began

    uint64_t* left(int32_t y) const noexcept { return m_masks.get() + uint64_t(y) * 2 * uint64_t(m_nWords); }
    uint64_t* filled(int32_t y) const noexcept { return left(y) + m_nWords; }
    bool isKnown(int32_t y) const noexcept { return y >= 0 && y < m_nHeight && m_known[size_t(y)]; }
    const uint64_t* filledOrClear(int32_t y) const noexcept { return isKnown(y) ? filled(y) : m_clear.get(); }

    bool know(int32_t y) noexcept {
        if (m_known[size_t(y)]) return true;
        std::memset(filled(y), 0, size_t(m_nWords) * sizeof *filled(y));
        m_known[size_t(y)] = m_rows.read(y, left(y));
        return m_known[size_t(y)];
    }

    void wait(int32_t y, const WordRange& range) noexcept {
        if (range.empty() || y < 0 || y >= m_nHeight) return;
        m_waiting[size_t(y)].include(range);
        m_rowsWaiting.include(y);
    }

    WordRange spread(int32_t y, WordRange range, const uint64_t* pBeside, const uint64_t* pBeside2) noexcept;
    void keep(int32_t y, const WordRange& range) noexcept;
    bool work(int32_t y) noexcept;

public:
    WandFill(MaskRows& rows, int32_t nWidth, int32_t nHeight) noexcept
        : m_rows(rows), m_nWidth(nWidth), m_nHeight(nHeight), m_nWords(int32_t(maskWords(uint32_t(nWidth)))) {}
    bool allocate() noexcept {
        const uint64_t nHeight = uint64_t(m_nHeight), nWords = uint64_t(m_nWords);
        if (!m_masks.allocate(nHeight * 2 * nWords) || !m_clear.allocateCleared(nWords) ||
            !m_fresh.allocate(nWords + 1) || !m_waiting.allocate(nHeight) || !m_known.allocateCleared(nHeight))
            return false;
        std::fill_n(m_waiting.get(), nHeight, WordRange{});
        return true;
    }
    bool start(int32_t y, int32_t x) noexcept;
    bool startAtCorner(bool& bAlone) noexcept;
    bool sweep() noexcept;
    void fillPixel(int32_t y, int32_t x) noexcept { filled(y)[x / 64] |= uint64_t(1) << x % 64; }
    int32_t addRows(RgnBuilder& builder) const noexcept;
};

// Finds what is left in row y beside set bits of the two masks, within a range of words, with all that is connected to
// it along the row; into the fresh row. The words that it takes.
WordRange WandFill::spread(int32_t y, WordRange range, const uint64_t* pBeside, const uint64_t* pBeside2) noexcept {
    const uint64_t* const pLeft = left(y);
    uint64_t* const pFresh = m_fresh.get();
    uint64_t uCarry = 0;
    int32_t w = range.first;
    for (; w <= range.last || (uCarry && w < m_nWords); ++w) {
        const uint64_t uLeft = pLeft[w], uBeside = w <= range.last ? pBeside[w] | pBeside2[w] : 0;
        const uint64_t uSeeds = (uBeside | uCarry) & uLeft, uSum = uLeft + uSeeds;
        uCarry = uSum < uLeft;
        pFresh[w] = (uLeft & ~uSum) | uSeeds;
    }
    range.last = w - 1;
    uCarry = 0;
    while (--w >= range.first || (uCarry && w >= 0)) {
        const uint64_t uLeft = pLeft[w];
        uint64_t uFresh = ((w >= range.first ? pFresh[w] : 0) | uCarry << 63) & uLeft;
        if (uLeft & ~uFresh & uFresh >> 1) uFresh = spreadDown(uFresh, uLeft);
        pFresh[w] = uFresh;
        uCarry = uFresh & 1;
    }
    range.first = w + 1;
    return range;
}

// Moves the fresh pixels of a row over to the filled ones; rows beside it wait where they have pixels next to these. Of
// one that isn't known yet, any may be.
void WandFill::keep(int32_t y, const WordRange& range) noexcept {
    const bool bAbove = isKnown(y - 1), bBelow = isKnown(y + 1);
    const uint64_t *const pAbove = bAbove ? left(y - 1) : m_fresh.get(), *const pBelow =
                                                                             bBelow ? left(y + 1) : m_fresh.get();
    uint64_t *const pLeft = left(y), *const pFilled = filled(y);
    WordRange above, below;
    for (int32_t w = range.first; w <= range.last; ++w) {
        const uint64_t uFresh = m_fresh[size_t(w)];
        if (!uFresh) continue;
        pLeft[w] &= ~uFresh;
        pFilled[w] |= uFresh;
        if (uFresh & pAbove[w]) above.include(w);
        if (uFresh & pBelow[w]) below.include(w);
    }
    wait(y - 1, above);
    wait(y + 1, below);
}

bool WandFill::work(int32_t y) noexcept {
    WordRange& waiting = m_waiting[size_t(y)];
    if (waiting.empty()) return true;
    if (!know(y)) return false;
    keep(y, spread(y, std::exchange(waiting, {}), filledOrClear(y - 1), filledOrClear(y + 1)));
    return true;
}

// Fills the run of a pixel, if that passes.
bool WandFill::start(int32_t y, int32_t x) noexcept {
    if (!know(y)) return false;
    WordRange range;
    range.include(x / 64);
    m_clear[size_t(x / 64)] = uint64_t(1) << x % 64;
    range = spread(y, range, m_clear.get(), m_clear.get());
    m_clear[size_t(x / 64)] = 0;
    keep(y, range);
    return true;
}

// bAlone: the pixel (0, 0) passes, but nothing behind it, so that it is all that it fills. It is no longer left then.
bool WandFill::startAtCorner(bool& bAlone) noexcept {
    if (!know(0)) return false;
    bAlone = (*left(0) & 3) == 1;
    if (bAlone) *left(0) &= ~uint64_t(1);
    return bAlone || start(0, 0);
}

bool WandFill::sweep() noexcept {
    for (bool bDown = true; !m_rowsWaiting.empty(); bDown = !bDown) {
        const WordRange rows = std::exchange(m_rowsWaiting, {});
        if (bDown) {
            for (int32_t y = rows.first; y <= std::max(rows.last, m_rowsWaiting.last); ++y)
                if (!work(y)) return false;
        } else {
            for (int32_t y = rows.last; y >= std::min(rows.first, m_rowsWaiting.first); --y)
                if (!work(y)) return false;
        }
    }
    return true;
}

int32_t WandFill::addRows(RgnBuilder& builder) const noexcept {
    for (int32_t y = 0; y < m_nHeight; ++y) {
        if (isKnown(y)) addMaskRow(builder, filled(y), uint32_t(m_nWidth));
        if (const int32_t n = RgnBuilderEndRow(builder); n != 1) return n;
    }
    return 1;
}

int32_t fill(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, const PixelTest& test, RgnBuilder& builder) noexcept {
    MaskRows rows(bm, test);
    if (rows.status() != 1) return rows.status();
    WandFill wand(rows, bm.Width, bm.Height);
    bool bAlone = false;
    if (!wand.allocate()) return -1;
    if (!(nRow ? wand.start(nRow - 1, nCol) : wand.startAtCorner(bAlone))) return rows.status();
    if (!wand.start(nRow, nCol) || !wand.sweep()) return rows.status();
    if (bAlone) wand.fillPixel(0, 0);
    return wand.addRows(builder);
}

}  // namespace

int32_t fillFrom(BITMAPRECORD& bm, int32_t nRow, int32_t nCol, const PixelTest& test, RavoRgn** ppRgn) noexcept {
    RgnBuilder builder;
    if (const int32_t n = RgnBuilderBegin(builder, {0, 0, bm.Width, bm.Height}); n != 1) return n;
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    if (const int32_t n = lock.release(fill(bm, nRow, nCol, test, builder)); n != 1) return n;
    *ppRgn = RgnBuilderFinish(builder);
    return 1;
}

}  // namespace rv
