// Files on Linux: opening, the position, moving, and mappings.
#define _FILE_OFFSET_BITS 64  // positions of 64 bits in the 32-bit build too
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <utility>

#include "rvkrn/linux/named.h"

namespace rv {
namespace {

// A descriptor that is closed with its scope, unless it was handed on.
class Descriptor {
    int m_fd;

public:
    explicit Descriptor(int fd) noexcept : m_fd(fd) {}
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~Descriptor() {
        const int nError = errno;  // the reason of the failure that ends the scope
        if (m_fd >= 0) ::close(m_fd);
        errno = nError;
    }
    int get() const noexcept { return m_fd; }
    int release() noexcept { return std::exchange(m_fd, -1); }
    explicit operator bool() const noexcept { return m_fd >= 0; }
};

bool fail(int nError) noexcept {
    errno = nError;
    return false;
}

bool isDescriptor(const void* hFile) noexcept {
    return reinterpret_cast<uintptr_t>(hFile) < kSysDescriptorEnd || fail(EBADF);
}
int descriptorOf(const void* hFile) noexcept { return int(reinterpret_cast<uintptr_t>(hFile)); }

// The open flags of an access and a disposition; -1 for what is neither.
int openFlags(uint32_t uAccess, uint32_t uDisposition) noexcept {
    const bool bRead = uAccess & (kSysRead | kSysAll | kSysReadData);
    const bool bWrite = uAccess & (kSysWrite | kSysAll | kSysWriteData);
    const bool bAppend = !bWrite && (uAccess & kSysAppendData);
    int nFlags = bWrite || bAppend ? (bRead ? O_RDWR : O_WRONLY) : O_RDONLY;
    if (bAppend) nFlags |= O_APPEND;
    switch (uDisposition) {
        case kSysCreateNew:
            return nFlags | O_CREAT | O_EXCL;
        case kSysCreateAlways:
            return nFlags | O_CREAT | O_TRUNC;
        case kSysOpenExisting:
            // Without any access only the file's being there counts, whoever may read it.
            return bRead || bWrite || bAppend ? nFlags : O_PATH;
        case kSysOpenAlways:
            return nFlags | O_CREAT;
        case kSysTruncateExisting:
            return bWrite ? nFlags | O_TRUNC : -1;
        default:
            return -1;
    }
}

bool mayBeHandle(int fd, uint32_t uFlags) noexcept {
    if (uintptr_t(fd) >= kSysDescriptorEnd) return fail(EMFILE);
    struct stat info;
    if (::fstat(fd, &info) != 0) return false;
    return !S_ISDIR(info.st_mode) || (uFlags & kSysDirectory) || fail(EISDIR);
}

// A path's directory, so that what happened to its names can be made to last.
void syncDirectoryOf(const char* pPath) noexcept {
    const char* pSlash = std::strrchr(pPath, '/');
    const size_t n = pSlash ? size_t(pSlash - pPath) + 1 : 0;
    const Buffer<char> directory(n + 2);
    if (!directory) return;
    std::memcpy(directory.get(), pPath, n);
    std::memcpy(directory.get() + n, ".", 2);
    if (const Descriptor fd(::open(directory.get(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); fd) ::fsync(fd.get());
}

bool rename(const char* pOld, const char* pNew, bool bReplace) noexcept {
    struct stat target;
    if (bReplace) {
        // A directory is not replaced, though the system would take one that is empty.
        if (::lstat(pNew, &target) == 0 && S_ISDIR(target.st_mode)) return fail(EEXIST);
        return ::rename(pOld, pNew) == 0;
    }
    if (::renameat2(AT_FDCWD, pOld, AT_FDCWD, pNew, RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // A file system without that call: looking first is the best there is.
    if (::lstat(pNew, &target) == 0) return fail(EEXIST);
    return ::rename(pOld, pNew) == 0;
}

bool copyContents(int fdFrom, int fdTo) noexcept {
    for (;;) {
        const ssize_t n = ::sendfile(fdTo, fdFrom, nullptr, size_t(1) << 30);
        if (n == 0) return true;
        if (n < 0 && errno != EINTR) return false;
    }
}

// Copies beside the target and renames, so that no half a file ever has the target's name.
bool moveByCopy(const char* pOld, const char* pNew, uint32_t uFlags) noexcept {
    const Descriptor from(::open(pOld, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat info;
    if (!from || ::fstat(from.get(), &info) != 0) return false;
    if (!S_ISREG(info.st_mode)) return fail(EXDEV);

    static constexpr char kEnding[] = ".XXXXXX";
    const size_t n = std::strlen(pNew);
    const Buffer<char> temporary(n + sizeof kEnding);
    if (!temporary) return fail(ENOMEM);
    std::memcpy(temporary.get(), pNew, n);
    std::memcpy(temporary.get() + n, kEnding, sizeof kEnding);
    const Descriptor to(::mkostemp(temporary.get(), O_CLOEXEC));
    if (!to) return false;

    const timespec times[2] = {info.st_atim, info.st_mtim};
    const bool bDone = copyContents(from.get(), to.get()) && ::fchmod(to.get(), info.st_mode & 07777) == 0 &&
                       ::futimens(to.get(), times) == 0 &&
                       (!(uFlags & kSysMoveWriteThrough) || ::fsync(to.get()) == 0) &&
                       rename(temporary.get(), pNew, uFlags & kSysMoveReplace);
    if (!bDone) {
        const int nError = errno;
        ::unlink(temporary.get());
        return fail(nError);
    }
    ::unlink(pOld);  // where that is refused, the copy stands beside the source
    return true;
}

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

void* sysFileOpen(const char* pName, uint32_t uAccess, uint32_t uDisposition, uint32_t uFlags) noexcept {
    int nFlags = openFlags(uAccess, uDisposition);
    if (nFlags < 0) {
        errno = EINVAL;
        return kSysNoHandle;
    }
    nFlags |= O_CLOEXEC;
    if (uFlags & kSysWriteThrough) nFlags |= O_SYNC;
    Descriptor file(::open(pName, nFlags, uFlags & kSysReadOnly ? 0444 : 0666));
    if (file.get() == 0) file = Descriptor(::fcntl(0, F_DUPFD_CLOEXEC, 1));  // 0 is no handle
    if (!file || !mayBeHandle(file.get(), uFlags)) return kSysNoHandle;
    if ((uFlags & kSysDeleteOnClose) && ::unlink(pName) != 0) return kSysNoHandle;
    return reinterpret_cast<void*>(uintptr_t(file.release()));
}

int64_t sysFileSeek(void* hFile, int64_t nOffset, uint32_t uOrigin) noexcept {
    static constexpr int kOrigins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (!isDescriptor(hFile)) return -1;
    if (uOrigin >= 3) {
        errno = EINVAL;
        return -1;
    }
    return ::lseek(descriptorOf(hFile), nOffset, kOrigins[uOrigin]);
}

bool sysFileMove(const char* pOld, const char* pNew, uint32_t uFlags) noexcept {
    if (uFlags & ~uint32_t(kSysMoveReplace | kSysMoveCopy | kSysMoveWriteThrough)) return fail(EINVAL);
    bool bDone = rename(pOld, pNew, uFlags & kSysMoveReplace);
    if (!bDone && errno == EXDEV && (uFlags & kSysMoveCopy)) bDone = moveByCopy(pOld, pNew, uFlags);
    if (bDone && (uFlags & kSysMoveWriteThrough)) {
        syncDirectoryOf(pNew);
        syncDirectoryOf(pOld);
    }
    return bDone;
}

SysObject* sysMappingCreate(void* hFile, SysProtect protect, uint64_t nSize, const char16_t* pName) noexcept {
    return NamedObject::openOrMake<Mapping>(pName, [=] { return makeMapping(hFile, protect, nSize); });
}

void* sysMapView(SysObject& mapping, uint64_t nOffset, size_t nBytes) noexcept {
    auto* p = dynamic_cast<Mapping*>(&mapping);
    return p ? p->view(nOffset, nBytes) : nullptr;
}
void sysUnmapView(void* pView, size_t nBytes) noexcept { ::munmap(pView, nBytes); }

}  // namespace rv
