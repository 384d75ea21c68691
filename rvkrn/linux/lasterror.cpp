// The reason of a failure on Linux, by the numbers that callers know.
#include <errno.h>

#include "internal/rvsystem_.h"

namespace rv {
namespace {

constexpr struct {
    uint32_t nError;
    int nSystem;
} kErrors[] = {{2, ENOENT}, {2, ENOTDIR}, {5, EACCES},   {5, EPERM},    {5, EROFS},   {8, ENOMEM},
               {29, EIO},   {80, EEXIST}, {112, ENOSPC}, {112, EDQUOT}, {122, ERANGE}};

// Numbers without a counterpart are kept above the system's own, and the system's own are told above the published.
constexpr int kForeign = 0x10000;
constexpr uint32_t kOwn = 0x20000000;

}  // namespace

uint32_t sysLastError() noexcept {
    for (const auto& entry : kErrors)
        if (entry.nSystem == errno) return entry.nError;
    return errno >= kForeign ? uint32_t(errno - kForeign) : errno ? kOwn + uint32_t(errno) : 0;
}

void sysSetLastError(uint32_t nError) noexcept {
    for (const auto& entry : kErrors)
        if (entry.nError == nError) {
            errno = entry.nSystem;
            return;
        }
    if (nError >= kOwn)
        errno = int(nError - kOwn) & (kForeign - 1);
    else
        errno = nError && nError < 0x10000 ? int(nError) + kForeign : 0;
}

}  // namespace rv
