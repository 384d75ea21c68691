// The options of temporary files, and the directory that they are made in.
#include <cstring>
#include <mutex>

#include "internal/storage_.h"
#include "internal/tempfile_.h"
#include "internal/text.h"

namespace rv {
namespace {

LazyLock g_optionsLock;
TEMPFILEOPTIONS g_options{sizeof(TEMPFILEOPTIONS), 2, 0, 64, 8, 16};

LazyLock g_directoryLock;
char16_t g_szDirectory[RV_TEMP_NAME_SIZE];  // empty until one is set or asked for

bool takeSystemDirectory() noexcept {
    char szPath[RV_TEMP_NAME_SIZE];
    if (!sysTempDirectory(szPath, sizeof szPath)) return false;
    wideFromUtf8(szPath, std::strlen(szPath) + 1, g_szDirectory);
    return true;
}

}  // namespace

TEMPFILEOPTIONS tempFileOptions() noexcept {
    const std::scoped_lock lock(g_optionsLock);
    return g_options;
}

bool temporaryFilesOff() noexcept { return R_GetTempFileMode() == 3; }

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetTempFileOptions(const TEMPFILEOPTIONS* pOptions) noexcept {
    if (!pOptions) return -814;
    if (pOptions->uStructSize != sizeof *pOptions) return -789;
    const std::scoped_lock lock(g_optionsLock);
    g_options = *pOptions;
    if (g_options.uMode == 0) g_options.uMode = 2;
    return 1;
}

int32_t R_GetTempFileOptions(TEMPFILEOPTIONS* pOptions, uint32_t uStructSize) noexcept {
    if (!pOptions) return -814;
    if (uStructSize != sizeof *pOptions) return -789;
    *pOptions = tempFileOptions();
    return 1;
}

uint32_t R_GetTempFileMode() noexcept { return tempFileOptions().uMode; }

int32_t R_SetTempDirectory(const char16_t* pszPath) noexcept {
    if (!pszPath) return -814;
    const FileName name(pszPath);
    if (!name.get()) return -1;
    const SysFileKind kind = sysFileKind(name.get());
    if (kind == SysFileKind::none) return -13;
    if (kind != SysFileKind::directory) return 0;
    const std::scoped_lock lock(g_directoryLock);
    copyText(g_szDirectory, pszPath, RV_TEMP_NAME_SIZE);
    return 1;
}

int32_t R_GetTempDirectory(char16_t* pszPath, uint32_t uSize) noexcept {
    if (!pszPath) return -814;
    const std::scoped_lock lock(g_directoryLock);
    if (!g_szDirectory[0] && !takeSystemDirectory()) return -74;
    if (uSize <= wideLength(g_szDirectory)) return -290;  // The buffer size is too small
    copyText(pszPath, g_szDirectory, uSize);
    return 1;
}

}  // extern "C"
