// Progress of row loops, by integer stepping: no division per row, and the callback hears only a percent that changed.
#pragma once

#include "ravokit/frame.h"

namespace rv {

// Which of the thread's two callbacks is told: that of operations, or that of copies.
enum class Progress { operation, copy };

// 0 at the start, then a step per row. Each call returns the callback's status: 1 goes on, all else ends the loop.
class ProgressStepper {
    void* m_pUser = nullptr;  // before the call that sets it
    STATUSCALLBACK m_pfn;
    int32_t m_nRows, m_nStep, m_nRest, m_nPercent = 0, m_nAcc = 0;

public:
    explicit ProgressStepper(int32_t nRows, Progress which = Progress::operation) noexcept
        : m_pfn(which == Progress::copy ? R_GetCopyStatusCallBack(&m_pUser) : R_GetStatusCallBack(&m_pUser)),
          m_nRows(nRows),
          m_nStep(nRows > 0 ? 100 / nRows : 0),
          m_nRest(nRows > 0 ? 100 % nRows : 0) {}

    int32_t start() noexcept { return m_pfn ? m_pfn(0, m_pUser) : 1; }

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
        return m_pfn(m_nPercent, m_pUser);
    }
};

// The thread's callback of operations is out of force for a scope.
class StatusSetAside {
    STATUSCALLBACK m_pfn = nullptr;
    void* m_pUser = nullptr;

public:
    StatusSetAside() noexcept { R_SetStatusCallBack(nullptr, nullptr, &m_pfn, &m_pUser); }
    StatusSetAside(const StatusSetAside&) = delete;
    StatusSetAside& operator=(const StatusSetAside&) = delete;
    ~StatusSetAside() { R_SetStatusCallBack(m_pfn, m_pUser, nullptr, nullptr); }
};

// What an operation that finds nothing to do tells the thread's callback: 0 and 100. Its status, which is 1 without
// one.
inline int32_t tellNothingToDo() noexcept {
    void* pUser = nullptr;
    const STATUSCALLBACK pfn = R_GetStatusCallBack(&pUser);
    const int32_t n = pfn ? pfn(0, pUser) : 1;
    return pfn && n == 1 ? pfn(100, pUser) : n;
}

}  // namespace rv
