// The optimised palette inside: a histogram of 15-bit colours, and the boxes that it is cut into.
#pragma once

#include "internal/palette_.h"
#include "internal/rvclasses_.h"

namespace rv {

// Pixels for each key of 5 bits of red, green and blue, and the keys that occur in the order of their first sight.
class Histogram {
    uint32_t* m_pCells = nullptr;  // a user match table in the making
    Buffer<uint32_t> m_second;     // every other pixel of a row counts here, so that equal neighbours don't wait
    Buffer<uint32_t> m_keys;
    uint32_t m_nKeys = 0;
    uint64_t m_nPixels = 0;  // counted in two since both were joined

    void join() noexcept;
    void count(uint32_t nKey) noexcept;

public:
    // A cell never passes this: then all cells are halved, rounding up.
    static constexpr uint32_t kFullCell = 0x80000000;

    Histogram() noexcept;
    ~Histogram() { R_FreeUserMatchTable(m_pCells); }
    Histogram(const Histogram&) = delete;
    Histogram& operator=(const Histogram&) = delete;
    explicit operator bool() const noexcept { return m_pCells && m_second && m_keys; }

    // Counts n pixels of blue, green and red.
    void addRow(const uint8_t* pBgr, size_t n) noexcept;

    // To be called when all is counted, before any of the following.
    void finish() noexcept { join(); }
    uint32_t* cells() noexcept { return m_pCells; }
    uint32_t* keys() noexcept { return m_keys.get(); }
    uint32_t keyCount() const noexcept { return m_nKeys; }
    // The caller frees the cells from now on.
    uint32_t* takeCells() noexcept { return std::exchange(m_pCells, nullptr); }
};

struct OPTBOX {
    uint32_t nFirst = 0, nCount = 0;  // its keys, a run of the histogram's
    uint32_t nAvgRed = 0, nAvgGreen = 0, nAvgBlue = 0;
    uint32_t nVarRed = 0, nVarGreen = 0, nVarBlue = 0, nVarTotal = 0;
    uint64_t nWeight = 0;  // pixels
    uint64_t nSumRed = 0, nSumGreen = 0, nSumBlue = 0;
    uint64_t nSquareRed = 0, nSquareGreen = 0, nSquareBlue = 0;  // weighted sums of the squares
};

// Cuts a finished histogram into at most nMost boxes, at pBoxes, reordering its keys; gives their number. -1 for no
// memory.
int32_t cutHistogram(Histogram& histogram, OPTBOX* pBoxes, uint32_t nMost, bool bFast) noexcept;

}  // namespace rv
