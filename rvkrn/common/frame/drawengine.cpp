// The drawing engine: its options, and its calls, which the drawing module serves.
#include <atomic>
#include <mutex>

#include "internal/library.h"
#include "internal/modules_.h"
#include "internal/rvclasses_.h"
#include "internal/text.h"

namespace rv {
namespace {

LazyLock g_optionsLock;
DRAWENGINEOPTIONS g_options{sizeof g_options, 0, 0};

constexpr char kAddFromFile[] = "R_Drw_AddUserFontFromFile", kAddFromMemory[] = "R_Drw_AddUserFontFromMemory",
               kClear[] = "R_Drw_ClearUserFonts";

SharedModule g_drawing;
std::atomic<bool> g_bResident{false};

// Passes a call on. One reference stays, so that the module's fonts do.
template <class... Args>
int32_t callDrawing(const char* pName, Args... args) noexcept {
    const int32_t nStatus = g_drawing.acquire(RV_LIBID_DRAWING, 0, {kAddFromFile, kAddFromMemory, kClear});
    if (nStatus != 1) return nStatus;
    const auto pfn = reinterpret_cast<int32_t (*)(Args...)>(g_drawing.function(pName));
    const int32_t nResult = pfn(args...);
    if (g_bResident.exchange(true))
        g_drawing.release();
    else
        setReleaseResidentModule([]() noexcept {
            if (g_bResident.exchange(false)) g_drawing.release();
        });
    return nResult;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_DrawGetEngineOptions(DRAWENGINEOPTIONS* pOptions) noexcept {
    if (!pOptions) return -13;
    if (pOptions->uStructSize != sizeof *pOptions) return -789;
    const std::scoped_lock lock(g_optionsLock);
    *pOptions = g_options;
    return 1;
}
int32_t R_DrawSetEngineOptions(const DRAWENGINEOPTIONS* pOptions) noexcept {
    if (!pOptions) return -13;
    if (pOptions->uStructSize != sizeof *pOptions) return -789;
    const std::scoped_lock lock(g_optionsLock);
    g_options = *pOptions;
    return 1;
}

int32_t R_DrawAddUserFontFromFile(const char16_t* pFile) noexcept {
    return pFile ? callDrawing(kAddFromFile, pFile) : -13;
}
int32_t R_DrawAddUserFontFromFileA(const char* pFile) noexcept {
    if (!pFile) return -13;
    const WideText wide(pFile);
    return wide.get() ? R_DrawAddUserFontFromFile(wide.get()) : -1;
}
int32_t R_DrawAddUserFontFromMemory(const void* pData, uint32_t uSize) noexcept {
    return pData ? callDrawing(kAddFromMemory, pData, uSize) : -13;
}
int32_t R_DrawClearUserFonts() noexcept { return callDrawing(kClear); }

}  // extern "C"
