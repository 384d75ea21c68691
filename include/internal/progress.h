// Progress of row loops, by integer stepping: no division per row, and the callback hears only a percent that changed.
#pragma once

#include "ravokit/frame.h"

namespace rv {

// Which of the thread's two callbacks is told: that of operations, or that of copies.
enum class Progress { operation, copy };

// The first percent at the start, then a step per row. Each call returns the callback's status: 1 goes on, all else
// ends the loop.
class ProgressStepper {
    void* m_pUser = nullptr;  // before the call that sets it
    STATUSCALLBACK m_pfn;
    int64_t m_nPercent, m_nRows, m_nStep = 0, m_nRest = 0, m_nAcc = 0;

public:
    explicit ProgressStepper(int32_t nRows, Progress which = Progress::operation) noexcept
        : ProgressStepper(nRows, 0, 100, which) {}

    // A part of an operation, from nFirst to nLast percent.
    ProgressStepper(int32_t nRows, int32_t nFirst, int32_t nLast, Progress which = Progress::operation) noexcept
        : m_pfn(which == Progress::copy ? R_GetCopyStatusCallBack(&m_pUser) : R_GetStatusCallBack(&m_pUser)),
          m_nPercent(nFirst),
          m_nRows(nRows) {
        if (nRows <= 0) return;
        const int64_t nTotal = int64_t(nLast) - nFirst;
        m_nRest = (nTotal % nRows + nRows) % nRows;  // not negative where the percentage falls
        m_nStep = (nTotal - m_nRest) / nRows;
    }

    int32_t start() noexcept { return m_pfn ? m_pfn(int32_t(m_nPercent), m_pUser) : 1; }

    int32_t step() noexcept {
        if (!m_pfn) return 1;
        m_nPercent += m_nStep;
        m_nAcc += m_nRest;
        if (m_nAcc >= m_nRows) {
            ++m_nPercent;
            m_nAcc -= m_nRows;
        } else if (m_nStep == 0) {
            return 1;
        }
        return m_pfn(int32_t(m_nPercent), m_pUser);
    }
};

// Rows of a loop that works on all of them at the same time: as many are told as are its share of the work that is
// done.
class ProgressShare {
    ProgressStepper m_stepper;
    int32_t m_nRows, m_nTold = 0;
    double m_dAll;

public:
    // dAll: the work, in any unit. start() is to be called first.
    ProgressShare(int32_t nRows, double dAll, int32_t nFirst, int32_t nLast) noexcept
        : m_stepper(nRows, nFirst, nLast), m_nRows(nRows), m_dAll(dAll) {}

    int32_t start() noexcept { return m_stepper.start(); }

    int32_t done(double dDone) noexcept {
        const int32_t nRows = dDone >= m_dAll ? m_nRows : int32_t(m_nRows * (dDone / m_dAll));
        for (; m_nTold < nRows; ++m_nTold)
            if (const int32_t n = m_stepper.step(); n != 1) return n;
        return 1;
    }
};

// One of the thread's callbacks, that of operations or that of copies, is out of force for a scope.
template <auto pfnSet>
class CallbackSetAside {
    STATUSCALLBACK m_pfn = nullptr;
    void* m_pUser = nullptr;

public:
    CallbackSetAside() noexcept { pfnSet(nullptr, nullptr, &m_pfn, &m_pUser); }
    CallbackSetAside(const CallbackSetAside&) = delete;
    CallbackSetAside& operator=(const CallbackSetAside&) = delete;
    ~CallbackSetAside() { pfnSet(m_pfn, m_pUser, nullptr, nullptr); }
};
using StatusSetAside = CallbackSetAside<R_SetStatusCallBack>;
using CopyStatusSetAside = CallbackSetAside<R_SetCopyStatusCallBack>;

// What an operation that finds nothing to do tells the thread's callback: the first percent, and the last one if it is
// another. Its status, which is 1 without one.
inline int32_t tellNothingToDo(int32_t nFirst = 0, int32_t nLast = 100) noexcept {
    void* pUser = nullptr;
    const STATUSCALLBACK pfn = R_GetStatusCallBack(&pUser);
    const int32_t n = pfn ? pfn(nFirst, pUser) : 1;
    return pfn && n == 1 && nLast != nFirst ? pfn(nLast, pUser) : n;
}

}  // namespace rv
