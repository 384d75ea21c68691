// Stretches of a row, as callers tell them.
#pragma once

#include <algorithm>
#include <cstdint>

namespace rv {

// Pairs (start, end) of pixels, end exclusive, counted from a column.
struct Segments {
    const uint32_t* pWords;
    uint32_t nWords;
    int32_t nCol;
    int32_t nWidth;  // of the row

    // Calls f(left, right) for each one that has pixels, cut to the row and to what comes after the one before.
    template <class F>
    void each(F&& f) const noexcept {
        int64_t nDone = 0;
        for (uint32_t i = 0; i + 1 < nWords; i += 2) {
            const int64_t nLeft = std::max(int64_t(pWords[i]) + nCol, nDone);
            const int64_t nRight = std::min<int64_t>(int64_t(pWords[i + 1]) + nCol, nWidth);
            if (nLeft >= nRight) continue;
            f(uint32_t(nLeft), uint32_t(nRight));
            nDone = nRight;
        }
    }
};

}  // namespace rv
