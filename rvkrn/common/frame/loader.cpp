// Loading modules: where one is looked for, how many use it, and the functions that were resolved from it.
#include "ravokit/loader.h"

#include <map>
#include <string>
#include <string_view>

#include "internal/rvclasses_.h"
#include "internal/text.h"
#include "ravokit/frame.h"

// Behind a pointer, so that nothing of the standard library's crosses the interface. A missing function has null.
struct DLLFUNCTIONS {
    std::map<std::string, void*, std::less<>> map;
};

namespace rv {
namespace {

LOADLIBCALLBACK g_pfnLoadLib = nullptr;
void* g_pLoadLibUser = nullptr;

constexpr uint32_t kPathLength = 1024;  // a directory and a name

bool isSeparator(char16_t ch) noexcept { return ch == u'/' || ch == u'\\' || ch == u':'; }

// Where modules without a directory are looked for: as it was set, else beside the library itself.
void moduleDirectory(char16_t (&directory)[kPathLength]) noexcept {
    R_GetResourceDirectory(0, directory, RESOURCE_DIRECTORY_LENGTH);
    char own[4 * RESOURCE_DIRECTORY_LENGTH];
    if (directory[0] || !sysLibraryDirectory(own, sizeof own)) return;
    if (const WideText wide(own); wide.get()) copyText(directory, wide.get(), kPathLength);
}

void* openModule(const char16_t* pszPath, bool& bNoMemory) noexcept {
    const FileName name(pszPath);
    if (!name.get()) {
        bNoMemory = true;
        return nullptr;
    }
    bool b = false;
    void* h = sysModuleOpen(name.get(), &b);
    bNoMemory |= b;
    return h;
}

}  // namespace
}  // namespace rv

using namespace rv;

R_DllLoader::R_DllLoader() noexcept
    : hInstance(nullptr), pFunctions(nullptr), nRefCount(0), nErrorIfMissing(-9), bOutOfMemory(0), szName{} {}
R_DllLoader::~R_DllLoader() { Free(); }

void R_DllLoader::Free() noexcept {
    delete std::exchange(pFunctions, nullptr);
    if (hInstance) sysModuleClose(std::exchange(hInstance, nullptr));
}

int32_t R_DllLoader::MyLoadLibrary(const char16_t* pszDir, const char16_t* pszFile) noexcept {
    bool bNoMemory = false;
    hInstance = openModule(pszFile, bNoMemory);
    if (!hInstance && pszDir) {
        char16_t path[kPathLength + 1];
        size_t n = copyText(path, pszDir, kPathLength);
        if (n && !isSeparator(path[n - 1])) path[n++] = u'/';
        copyText(path + n, pszFile, std::size(path) - n);
        hInstance = openModule(path, bNoMemory);
    }
    bOutOfMemory = !hInstance && (bNoMemory || bOutOfMemory);  // of all that one load tries
    if (hInstance) copyText(szName, pszFile, LIBRARY_NAME_LENGTH);
    return hInstance != nullptr;
}

int32_t R_DllLoader::LoadLibName(const char16_t* pszName, void*) noexcept {
    if (nRefCount >= 1) {
        ++nRefCount;
        return hInstance != nullptr;
    }
    bOutOfMemory = 0;
    if (!pszName || !*pszName) return 0;
    if (!hInstance && !MyLoadLibrary(nullptr, pszName)) {
        char16_t directory[kPathLength];
        const char16_t* pszFile = R_SkipPath(pszName);
        if (pszFile != pszName)
            GetDir(pszName, pszFile, directory, kPathLength);
        else
            moduleDirectory(directory);
        if (!directory[0] || !MyLoadLibrary(directory, pszFile)) return 0;
    }
    delete pFunctions;  // one that a count below 1 left behind
    pFunctions = new (std::nothrow) DLLFUNCTIONS;
    if (!pFunctions) {
        Free();
        bOutOfMemory = 1;
        return 0;
    }
    ++nRefCount;
    return 1;
}

int32_t R_DllLoader::LoadLib(int32_t nLibId, int32_t nFormat, void* pUserData) noexcept {
    char16_t name[LIBRARY_NAME_LENGTH] = u"";
    if (g_pfnLoadLib) g_pfnLoadLib(nLibId, nFormat, name, LIBRARY_NAME_LENGTH, g_pLoadLibUser);
    if (!name[0]) R_GetLibName(0, nLibId, nFormat, name, LIBRARY_NAME_LENGTH);
    return LoadLibName(name, pUserData);
}

int32_t R_DllLoader::IsLoaded() const noexcept { return nRefCount > 0; }
void R_DllLoader::Load() noexcept { ++nRefCount; }
void R_DllLoader::Unload() noexcept {
    if (nRefCount-- == 1) Free();
}

int32_t R_DllLoader::GetErrorIfMissing() const noexcept { return nErrorIfMissing; }
void R_DllLoader::SetErrorIfMissing(int32_t nError) noexcept { nErrorIfMissing = nError; }

int32_t R_DllLoader::AddFunction(const char* pszFunction) noexcept { return AddFunction(pszFunction, 0); }
int32_t R_DllLoader::AddFunction(const char* pszFunction, uint32_t nFlags) noexcept {
    if (!pszFunction) return -13;
    if (!hInstance || !pFunctions) return nErrorIfMissing;
    return guarded([&] {
        auto& map = pFunctions->map;
        auto it = map.find(std::string_view(pszFunction));
        if (it == map.end()) {
            std::string name(pszFunction);
            void* p = sysModuleSymbol(hInstance, name.c_str());
            if (!p && !name.empty()) p = sysModuleSymbol(hInstance, (name + "A").c_str());
            it = map.emplace(std::move(name), p).first;
        }
        return it->second || !(nFlags & ADDFUNCTION_REQUIRED) ? 1 : nErrorIfMissing;
    });
}
int32_t R_DllLoader::IsFunctionOk(const char* pszFunction) const noexcept {
    return GetFunction(pszFunction) != nullptr;
}
void* R_DllLoader::GetFunction(const char* pszFunction) const noexcept {
    if (!hInstance || !pFunctions || !pszFunction) return nullptr;
    const auto it = pFunctions->map.find(std::string_view(pszFunction));
    return it == pFunctions->map.end() ? nullptr : it->second;
}

void* R_DllLoader::GetHInstance() const noexcept { return hInstance; }
int32_t R_DllLoader::IsSystemOutOfMemory() const noexcept { return bOutOfMemory; }

int32_t R_DllLoader::GetDir(const char16_t* pszPath, const char16_t* pszFile, char16_t* pszDir,
                            uint32_t uSize) noexcept {
    if (!pszPath || !pszDir || uSize < 2) return -13;
    if (!pszFile) pszFile = R_SkipPath(pszPath);
    size_t n = size_t(pszFile - pszPath);
    if (n >= 2 && pszPath[n - 1] != u':') --n;
    n = copyText(pszDir, pszPath, n < uSize - 1 ? n + 1 : uSize - 1);
    pszDir[n + 1] = 0;
    return 1;
}

extern "C" {

int32_t R_SetLoadLibCallback(LOADLIBCALLBACK pfn, void* pUserData) noexcept {
    g_pfnLoadLib = pfn;
    g_pLoadLibUser = pUserData;
    return 1;
}
LOADLIBCALLBACK R_GetLoadLibCallback(void** ppUserData) noexcept {
    if (ppUserData) *ppUserData = g_pLoadLibUser;
    return g_pfnLoadLib;
}

}  // extern "C"
