#include "progress.h"

#include <ravokit/frame.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace ravo {

namespace {

Progress* g_pCurrent = nullptr;

int32_t hear(int32_t nPercent, void*) noexcept {
    if (g_pCurrent) g_pCurrent->percent(nPercent);
    return 1;
}

bool isTerminal() noexcept {
    static const bool bTerminal = isatty(STDERR_FILENO) != 0;
    return bTerminal;
}

}  // namespace

Progress::Progress(std::string label) : m_label(std::move(label)), m_pOuter(std::exchange(g_pCurrent, this)) {
    if (!isTerminal()) return;
    R_SetStatusCallBack(hear, nullptr, nullptr, nullptr);
    R_SetCopyStatusCallBack(hear, nullptr, nullptr, nullptr);
}

Progress::~Progress() {
    if (m_nShown >= 0) std::fputs("\r\033[K", stderr);
    g_pCurrent = m_pOuter;
}

void Progress::report(int64_t nDone, int64_t nAll) noexcept {
    if (g_pCurrent) g_pCurrent->part(nDone, nAll);
}

void Progress::percent(int32_t nPercent) noexcept {
    if (!isTerminal() || nPercent == m_nShown) return;
    if (std::chrono::steady_clock::now() - m_start < std::chrono::milliseconds(300)) return;
    m_nShown = nPercent;
    std::fprintf(stderr, "\r%s  %3d%%\033[K", m_label.c_str(), nPercent);
    std::fflush(stderr);
}

}  // namespace ravo
