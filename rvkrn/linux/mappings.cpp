// Mappings of files and of memory on Linux.
#define _FILE_OFFSET_BITS 64  // sizes of 64 bits in the 32-bit build too
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <new>

#include "rvkrn/linux/descriptor.h"
#include "rvkrn/linux/named.h"

namespace rv {
namespace {

class Mapping final : public NamedObject {
    const Descriptor m_file;
    const SysProtect m_protect;
    const uint64_t m_nSize;

public:
    Mapping(Descriptor&& file, SysProtect protect, uint64_t nSize) noexcept
        : m_file(std::move(file)), m_protect(protect), m_nSize(nSize) {}

    void* view(uint64_t nOffset, size_t nBytes) noexcept {
        if (!nBytes || nOffset > m_nSize || nBytes > m_nSize - nOffset) return nullptr;
        const int nProtect = m_protect == SysProtect::kRead ? PROT_READ : PROT_READ | PROT_WRITE;
        const int nShared = m_protect == SysProtect::kWriteCopy ? MAP_PRIVATE : MAP_SHARED;
        void* p = ::mmap(nullptr, nBytes, nProtect, nShared, m_file.get(), off_t(nOffset));
        return p == MAP_FAILED ? nullptr : p;
    }
};

Mapping* makeMapping(void* hFile, SysProtect protect, uint64_t nSize) noexcept {
    const bool bMemory = hFile == kSysNoHandle;
    if (nSize > INT64_MAX || (bMemory && !nSize) || (!bMemory && !isDescriptor(hFile))) return nullptr;
    Descriptor file(bMemory ? ::memfd_create("ravokit", MFD_CLOEXEC)
                            : ::fcntl(descriptorOf(hFile), F_DUPFD_CLOEXEC, 1));
    struct stat info;
    if (!file || ::fstat(file.get(), &info) != 0) return nullptr;
    const int nAccess = ::fcntl(file.get(), F_GETFL);
    const bool bMayRead = !(nAccess & O_PATH) && (nAccess & O_ACCMODE) != O_WRONLY;
    const bool bMayWrite = (nAccess & O_ACCMODE) == O_RDWR;
    if (!S_ISREG(info.st_mode) || !bMayRead || (protect == SysProtect::kReadWrite && !bMayWrite)) return nullptr;
    const auto nFile = uint64_t(info.st_size);
    if (nSize == 0) nSize = nFile;
    if (nSize == 0) return nullptr;
    if (nSize > nFile && !bMemory && protect != SysProtect::kReadWrite) return nullptr;
    if (nSize > nFile && ::ftruncate(file.get(), off_t(nSize)) != 0) return nullptr;
    return new (std::nothrow) Mapping(std::move(file), protect, nSize);
}

}  // namespace

SysObject* sysMappingCreate(void* hFile, SysProtect protect, uint64_t nSize, const char16_t* pName) noexcept {
    return NamedObject::openOrMake<Mapping>(pName, [=] { return makeMapping(hFile, protect, nSize); });
}

void* sysMapView(SysObject& mapping, uint64_t nOffset, size_t nBytes) noexcept {
    auto* p = dynamic_cast<Mapping*>(&mapping);
    return p ? p->view(nOffset, nBytes) : nullptr;
}
void sysUnmapView(void* pView, size_t nBytes) noexcept { ::munmap(pView, nBytes); }

}  // namespace rv
