// The version, and what is told about the system.
#include "internal/rvsystem_.h"
#include "ravokit/frame.h"

namespace {

#if defined(__x86_64__)
#define PLATFORM "x86-64"
constexpr uint32_t kArchitecture = 9;
#elif defined(__i386__)
#define PLATFORM "x86"
constexpr uint32_t kArchitecture = 0;
#elif defined(__aarch64__)
#define PLATFORM "arm64"
constexpr uint32_t kArchitecture = 12;
#elif defined(__arm__)
#define PLATFORM "arm"
constexpr uint32_t kArchitecture = 5;
#else
#define PLATFORM "another processor"
constexpr uint32_t kArchitecture = 0xFFFF;
#endif

constexpr VERSIONINFO kVersion{
    sizeof(VERSIONINFO), "Ravokit for Linux " PLATFORM, 1, RV_VERSION_MAJOR, RV_VERSION_MINOR, __DATE__, __TIME__, 0};

constexpr int32_t kScreenDpi = 96;

}  // namespace

extern "C" {

int32_t R_VersionInfo(VERSIONINFO* pInfo, uint32_t uStructSize) noexcept {
    if (!pInfo) return -13;                               // Invalid parameter passed
    if (uStructSize != sizeof(VERSIONINFO)) return -789;  // The structure size is invalid
    *pInfo = kVersion;
    return 1;
}

int32_t R_GetSystemInfo(SYSTEMINFO* pInfo) noexcept {
    if (!pInfo) return -13;
    const rv::SysInfo info = rv::sysInfo();
    *pInfo = {kArchitecture, info.nPageSize, info.nProcessors, info.nPageSize};  // a view may start on any page
    return 1;
}

int32_t R_KrnGetOSInfo(OSINFO* pInfo) noexcept {
    if (!pInfo) return -13;
    if (pInfo->uStructSize != sizeof(OSINFO)) return -789;
    pInfo->nMajor = 7;
    pInfo->nMinor = 1;
    return 1;
}

int32_t R_GetScreenDpiX() noexcept { return kScreenDpi; }
int32_t R_GetScreenDpiY() noexcept { return kScreenDpi; }

}  // extern "C"
