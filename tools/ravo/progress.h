// The progress line: shown on a terminal, and only once an operation has taken a while.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace ravo {

class Progress {
    std::string m_label;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    int32_t m_nShown = -1;
    Progress* m_pOuter;

public:
    /// Starts an operation; the library's operations on this thread report here until the object goes.
    explicit Progress(std::string label);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    void percent(int32_t nPercent) noexcept;
    /// Tells the operation that is under way, if any, how far it has come.
    static void report(int64_t nDone, int64_t nAll) noexcept;
    void part(int64_t nDone, int64_t nAll) noexcept { percent(nAll > 0 ? int32_t(nDone * 100 / nAll) : 100); }
};

}  // namespace ravo
