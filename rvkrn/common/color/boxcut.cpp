// Cutting the colour cube: dominating colours are peeled off as boxes of their own, and then the box of the largest
// variance is cut at its mean until there are enough.
#include <algorithm>
#include <iterator>

#include "internal/optpal_.h"

namespace rv {
namespace {

constexpr uint32_t kPeeledFrom = 64, kPeeledFromFast = 2;  // wanted boxes from which the first colour is peeled off

constexpr uint32_t kShiftOf[] = {10, 5, 0};  // of red, green and blue in a key
constexpr uint32_t channel(uint32_t nKey, int nAxis) noexcept { return nKey >> kShiftOf[nAxis] & 31; }

constexpr uint64_t dividedToNearest(uint64_t nSum, uint64_t nBy) noexcept { return (nSum + (nBy - 1) / 2) / nBy; }

class Cutter {
    const uint32_t* m_pCells;
    uint32_t* m_pKeys;
    OPTBOX* m_pBoxes;
    uint32_t m_nBoxes = 0, m_nMost;
    Buffer<uint32_t> m_scratch;

public:
    Cutter(Histogram& histogram, OPTBOX* pBoxes, uint32_t nMost) noexcept
        : m_pCells(histogram.cells()),
          m_pKeys(histogram.keys()),
          m_pBoxes(pBoxes),
          m_nMost(nMost),
          m_scratch(histogram.keyCount()) {
        if (!histogram.keyCount()) return;
        m_pBoxes[m_nBoxes++] = {.nFirst = 0, .nCount = histogram.keyCount()};
    }
    explicit operator bool() const noexcept { return bool(m_scratch); }
    uint32_t count() const noexcept { return m_nBoxes; }

    // Peels off the colours that have more than twice the pixels of any other that is left.
    void peel(uint32_t nFrom) noexcept {
        for (; m_nBoxes && m_nMost >= nFrom && m_pBoxes[m_nBoxes - 1].nCount >= 2; ++nFrom) {
            OPTBOX& box = m_pBoxes[m_nBoxes - 1];
            uint32_t* const pFirst = m_pKeys + box.nFirst;
            uint32_t nLargest = 0, nNext = 0, nAt = 0;
            for (uint32_t i = 0; i < box.nCount; ++i) {
                const uint32_t n = m_pCells[pFirst[i]];
                if (n > nLargest) {
                    nNext = nLargest;
                    nLargest = n;
                    nAt = i;
                } else {
                    nNext = std::max(nNext, n);
                }
            }
            if (nLargest <= uint64_t(nNext) * 2) break;
            std::rotate(pFirst, pFirst + nAt, pFirst + nAt + 1);  // all others keep their order
            m_pBoxes[m_nBoxes++] = {.nFirst = box.nFirst + 1, .nCount = box.nCount - 1};
            box.nCount = 1;
            sum(box);
            describe(box);
        }
        if (!m_nBoxes) return;
        sum(m_pBoxes[m_nBoxes - 1]);
        describe(m_pBoxes[m_nBoxes - 1]);
    }

    void cut() noexcept {
        while (m_nBoxes && m_nBoxes < m_nMost) {
            OPTBOX& box = *std::max_element(m_pBoxes, m_pBoxes + m_nBoxes, [](const OPTBOX& a, const OPTBOX& b) {
                return a.nVarTotal != b.nVarTotal ? a.nVarTotal < b.nVarTotal : a.nCount < b.nCount;
            });
            if (box.nCount < 2) break;
            divide(box, leftOf(box));
        }
    }

private:
    void sum(OPTBOX& box) const noexcept {
        for (uint32_t i = box.nFirst; i < box.nFirst + box.nCount; ++i) {
            const uint32_t nKey = m_pKeys[i];
            const uint64_t n = m_pCells[nKey];
            const uint32_t r = channel(nKey, 0), g = channel(nKey, 1), b = channel(nKey, 2);
            box.nWeight += n;
            box.nSumRed += n * r, box.nSumGreen += n * g, box.nSumBlue += n * b;
            box.nSquareRed += n * r * r, box.nSquareGreen += n * g * g, box.nSquareBlue += n * b * b;
        }
    }

    // Means and variances from the sums. The sum of n (c - mean)^2 is told by those of n, n c and n c^2.
    static void describe(OPTBOX& box) noexcept {
        const auto axis = [&](uint64_t nSum, uint64_t nSquare, uint32_t& nAvg, uint32_t& nVar) {
            nAvg = uint32_t(dividedToNearest(nSum, box.nWeight));
            const uint64_t nSpread = nSquare + box.nWeight * nAvg * nAvg - 2 * nAvg * nSum;
            nVar = uint32_t(dividedToNearest(nSpread, box.nWeight));
        };
        axis(box.nSumRed, box.nSquareRed, box.nAvgRed, box.nVarRed);
        axis(box.nSumGreen, box.nSquareGreen, box.nAvgGreen, box.nVarGreen);
        axis(box.nSumBlue, box.nSquareBlue, box.nAvgBlue, box.nVarBlue);
        box.nVarTotal = box.nVarRed + box.nVarGreen + box.nVarBlue;
    }

    // Sorts the keys of a box into those below the mean of its widest axis, at it and above it, each in their order;
    // gives the number of those that stay.
    uint32_t leftOf(const OPTBOX& box) const noexcept {
        const bool bRed = box.nVarRed >= box.nVarGreen && box.nVarRed >= box.nVarBlue;
        const int nAxis = bRed ? 0 : box.nVarGreen >= box.nVarBlue ? 1 : 2;
        const uint32_t nMean = nAxis == 0 ? box.nAvgRed : nAxis == 1 ? box.nAvgGreen : box.nAvgBlue;
        uint32_t *const pFirst = m_pKeys + box.nFirst, *const pEnd = pFirst + box.nCount;
        uint32_t* pTo = m_scratch.get();
        const auto take = [&](auto wanted) {
            uint32_t* const pFrom = pTo;
            pTo = std::copy_if(pFirst, pEnd, pTo, [&](uint32_t nKey) { return wanted(channel(nKey, nAxis)); });
            return uint32_t(pTo - pFrom);
        };
        const uint32_t nBelow = take([=](uint32_t n) { return n < nMean; });
        const uint32_t nAt = take([=](uint32_t n) { return n == nMean; });
        const uint32_t nAbove = take([=](uint32_t n) { return n > nMean; });
        std::copy(m_scratch.get(), pTo, pFirst);
        if (nBelow < nAbove) return nBelow + nAt;
        return nBelow == 0 ? (nAt + 1) / 2 : nBelow;  // without spread on the axis, in the middle
    }

    void divide(OPTBOX& box, uint32_t nLeft) noexcept {
        const OPTBOX whole = box;
        OPTBOX& right = m_pBoxes[m_nBoxes++];
        box = {.nFirst = whole.nFirst, .nCount = nLeft};
        right = {.nFirst = whole.nFirst + nLeft, .nCount = whole.nCount - nLeft};
        OPTBOX &smaller = box.nCount < right.nCount ? box : right, &larger = &smaller == &box ? right : box;
        sum(smaller);
        larger.nWeight = whole.nWeight - smaller.nWeight;
        larger.nSumRed = whole.nSumRed - smaller.nSumRed;
        larger.nSumGreen = whole.nSumGreen - smaller.nSumGreen;
        larger.nSumBlue = whole.nSumBlue - smaller.nSumBlue;
        larger.nSquareRed = whole.nSquareRed - smaller.nSquareRed;
        larger.nSquareGreen = whole.nSquareGreen - smaller.nSquareGreen;
        larger.nSquareBlue = whole.nSquareBlue - smaller.nSquareBlue;
        describe(box);
        describe(right);
    }
};

}  // namespace

int32_t cutHistogram(Histogram& histogram, OPTBOX* pBoxes, uint32_t nMost, bool bFast) noexcept {
    Cutter cutter(histogram, pBoxes, nMost);
    if (!cutter) return -1;
    cutter.peel(bFast ? kPeeledFromFast : kPeeledFrom);
    cutter.cut();
    return int32_t(cutter.count());
}

}  // namespace rv
