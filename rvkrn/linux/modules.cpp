// Shared libraries on Linux.
//
// The family names its modules with ".DLL" at the end. A file of that very name is taken as it is; else one with the
// platform's form of the name, "lib", the name without that ending, ".so".
#include <dlfcn.h>
#include <errno.h>
#include <limits.h>
#include <stdlib.h>

#include <cstring>

#include "internal/rvclasses_.h"

namespace rv {
namespace {

constexpr char kEnding[] = ".DLL", kPrefix[] = "lib", kSuffix[] = ".so";

void* load(const char* pName, bool& bNoMemory) noexcept {
    errno = 0;
    void* h = ::dlopen(pName, RTLD_NOW | RTLD_LOCAL);
    if (!h && errno == ENOMEM) bNoMemory = true;
    return h;
}

// The part of a name that both forms share.
size_t stemLength(const char* pFile) noexcept {
    const size_t n = std::strlen(pFile), nEnding = sizeof kEnding - 1;
    return n > nEnding && std::strcmp(pFile + n - nEnding, kEnding) == 0 ? n - nEnding : n;
}

}  // namespace

void* sysModuleOpen(const char* pName, bool* pbNoMemory) noexcept {
    bool bNoMemory = false;
    // The empty name would be the program itself.
    void* h = *pName ? load(pName, bNoMemory) : nullptr;
    const char* pSlash = std::strrchr(pName, '/');
    const char* pFile = pSlash ? pSlash + 1 : pName;
    if (!h && *pFile) {
        const size_t nDirectory = size_t(pFile - pName), nStem = stemLength(pFile);
        const Buffer<char> name(nDirectory + sizeof kPrefix + nStem + sizeof kSuffix);
        if (name) {
            char* p = name.get();
            std::memcpy(p, pName, nDirectory);
            std::memcpy(p += nDirectory, kPrefix, sizeof kPrefix - 1);
            std::memcpy(p += sizeof kPrefix - 1, pFile, nStem);
            std::memcpy(p + nStem, kSuffix, sizeof kSuffix);
            h = load(name.get(), bNoMemory);
        } else {
            bNoMemory = true;
        }
    }
    if (pbNoMemory) *pbNoMemory = !h && bNoMemory;
    return h;
}

void* sysModuleSymbol(void* hModule, const char* pName) noexcept { return ::dlsym(hModule, pName); }

bool sysModuleClose(void* hModule) noexcept { return ::dlclose(hModule) == 0; }

bool sysLibraryDirectory(char* pBuffer, size_t nRoom) noexcept {
    Dl_info info{};
    if (!::dladdr(reinterpret_cast<const void*>(&sysLibraryDirectory), &info) || !info.dli_fname) return false;
    // Linked into a program, the library is told by the name that the program was called by, which may be a bare one.
    char path[PATH_MAX];
    if (!::realpath(std::strchr(info.dli_fname, '/') ? info.dli_fname : "/proc/self/exe", path)) return false;
    const size_t n = size_t(std::strrchr(path, '/') - path) + 1;
    if (n >= nRoom) return false;
    std::memcpy(pBuffer, path, n);
    pBuffer[n] = 0;
    return true;
}

}  // namespace rv
