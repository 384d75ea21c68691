// Diagnostics: Trace, ReportMessage and the lock trace.
#include "internal/diagnostics.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "internal/rvsystem_.h"
#include "ravokit/frame.h"

namespace rv {
namespace {

constexpr size_t kTraceLength = 2048, kReportLength = 4096, kTitleLength = 264;
constexpr uint32_t kWarningDialog = 48;

std::atomic<DIAGNOSTICSINK> g_pfnSink{nullptr};

struct TraceText {
    const char* pFormat;
    va_list args;
    int nError;
};

void formatTrace(void* pArg) noexcept {
    auto* p = static_cast<TraceText*>(pArg);
    char text[kTraceLength];
    va_list args;
    va_copy(args, p->args);
    errno = 0;
    p->nError = std::vsnprintf(text, sizeof text, p->pFormat, args) < 0 ? errno : 0;
    va_end(args);
}

void widen(char16_t* pDst, const char* pSrc, size_t nRoom) noexcept {
    size_t n = 0;
    for (; n + 1 < nRoom && pSrc[n]; ++n) pDst[n] = static_cast<unsigned char>(pSrc[n]);
    pDst[n] = 0;
}

}  // namespace

std::atomic<bool> g_bLockTrace{false};

void Trace(const char* pFormat, ...) noexcept {
    const int nKept = errno;  // tracing is not to be noticed
    TraceText trace{};
    trace.pFormat = pFormat;
    va_start(trace.args, pFormat);
    formatTrace(&trace);
    for (const char* pLanguage : {"Japanese", "Chinese"})
        if (trace.nError == EILSEQ) sysWithLocale(pLanguage, formatTrace, &trace);
    va_end(trace.args);
    errno = nKept;
}

void ReportMessage(const char* pTitle, const char* pFormat, ...) noexcept {
    char text[kReportLength] = "";
    va_list args;
    va_start(args, pFormat);
    std::vsnprintf(text, sizeof text, pFormat, args);
    va_end(args);
    if (sysIsDebuggerPresent()) {
        static constexpr char kFrame[] = "****************************************************************\n";
        static_assert(sizeof kFrame == 64 + 2);
        sysDebugWrite(kFrame);
        sysDebugWrite(text);
        sysDebugWrite(kFrame);
    }
    if (const DIAGNOSTICSINK pfnSink = g_pfnSink.load(std::memory_order_acquire)) {
        char16_t wideText[kReportLength], wideTitle[kTitleLength];
        widen(wideText, text, kReportLength);
        widen(wideTitle, pTitle, kTitleLength);
        pfnSink(nullptr, wideText, wideTitle, kWarningDialog);
    }
}

void reportLockCount(const char* pName, int32_t nLockCount, bool bRowCall) noexcept {
    ReportMessage(pName, bRowCall ? "pBitmap->nLockCount = %d\r\n" : "pBitmap->nLockCount = %d\n", nLockCount);
}

}  // namespace rv

extern "C" int32_t R_IntStartupBuffers(DIAGNOSTICSINK pSink, uint32_t uCode) noexcept {
    if (uCode != STARTUP_DIAGNOSTICS_SINK) return 0;
    rv::g_pfnSink.store(pSink, std::memory_order_release);
    return 1;
}
