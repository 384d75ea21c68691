// Clock, diagnostics and locale on Linux.
#include <dlfcn.h>
#include <fcntl.h>
#include <locale.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "internal/rvsystem_.h"

namespace rv {

uint64_t sysTickCount64() noexcept {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return uint64_t(t.tv_sec) * 1000 + uint64_t(t.tv_nsec) / 1000000;
}

bool sysIsDebuggerPresent() noexcept {
    // The kernel tells the tracer's process number, 0 for none.
    char text[2048];
    const int fd = open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const ssize_t n = read(fd, text, sizeof text - 1);
    close(fd);
    if (n <= 0) return false;
    text[n] = 0;
    const char* p = std::strstr(text, "TracerPid:");
    int nTracer = 0;
    return p && std::sscanf(p + 10, "%d", &nTracer) == 1 && nTracer != 0;
}

void sysDebugWrite(const char* pUtf8) noexcept { std::fputs(pUtf8, stderr); }

SysInfo sysInfo() noexcept {
    const auto nPageSize = uint32_t(sysconf(_SC_PAGESIZE));
    return {nPageSize, uint32_t(sysconf(_SC_NPROCESSORS_ONLN)), uint64_t(sysconf(_SC_PHYS_PAGES)) * nPageSize,
            sizeof(void*) == 8};
}

const void* sysModule() noexcept {
    Dl_info info{};
    return dladdr(reinterpret_cast<const void*>(&sysModule), &info) ? info.dli_fbase : nullptr;
}

bool sysWithLocale(const char* pLanguage, void (*pfn)(void*), void* pArg) noexcept {
    static constexpr struct {
        const char *pLanguage, *pLocale;
    } kLocales[] = {{"Japanese", "ja_JP.UTF-8"}, {"Chinese", "zh_CN.UTF-8"}};
    const char* pName = pLanguage;
    for (const auto& entry : kLocales)
        if (std::strcmp(entry.pLanguage, pLanguage) == 0) pName = entry.pLocale;
    const locale_t named = newlocale(LC_ALL_MASK, pName, locale_t(nullptr));
    if (!named) return false;
    const locale_t old = uselocale(named);
    pfn(pArg);
    uselocale(old);
    freelocale(named);
    return true;
}

}  // namespace rv
