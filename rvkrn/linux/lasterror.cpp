// The reason of a failure on Linux, by the numbers that callers know.
#include <errno.h>

#include "internal/rvsystem_.h"

namespace rv {
namespace {

constexpr struct {
    uint32_t nError;
    int nSystem;
} kErrors[] = {{2, ENOENT},  {2, ENOTDIR}, {5, EACCES},   {5, EPERM},    {5, EROFS},  {8, ENOMEM},
               {29, EIO},    {80, EEXIST}, {112, ENOSPC}, {112, EDQUOT}, {122, ERANGE}};

// Numbers without a counterpart are kept above the system's own.
constexpr int kForeign = 0x10000;

}  // namespace

uint32_t sysLastError() noexcept {
    for (const auto& entry : kErrors)
        if (entry.nSystem == errno) return entry.nError;
    return uint32_t(errno >= kForeign ? errno - kForeign : errno);
}

void sysSetLastError(uint32_t nError) noexcept {
    for (const auto& entry : kErrors)
        if (entry.nError == nError) {
            errno = entry.nSystem;
            return;
        }
    errno = nError < 0x10000 ? int(nError) + kForeign : 0;
}

}  // namespace rv
