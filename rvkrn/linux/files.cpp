// Files on Linux: opening, reading, writing, moving, names and directories.
#define _FILE_OFFSET_BITS 64  // positions of 64 bits in the 32-bit build too
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstring>

#include "internal/rvclasses_.h"
#include "rvkrn/linux/descriptor.h"

namespace rv {
namespace {

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

void* handleOf(Descriptor&& file) noexcept { return reinterpret_cast<void*>(uintptr_t(file.release())); }

// 0 is no handle.
Descriptor notZero(Descriptor&& file) noexcept {
    return file.get() == 0 ? Descriptor(::fcntl(0, F_DUPFD_CLOEXEC, 1)) : std::move(file);
}

// Makes an empty file of a new name in a directory; pName receives it.
Descriptor makeTempFile(const char* pDirectory, const char* pPrefix, char* pName, size_t nRoom) noexcept {
    static constexpr char kEnding[] = ".tmp";
    const size_t n = std::strlen(pDirectory);
    const char* pSlash = n && pDirectory[n - 1] != '/' ? "/" : "";
    const int nLength = std::snprintf(pName, nRoom, "%s%s%sXXXXXX%s", pDirectory, pSlash, pPrefix, kEnding);
    if (nLength >= 0 && size_t(nLength) < nRoom)
        return Descriptor(::mkostemps(pName, int(sizeof kEnding - 1), O_CLOEXEC));
    errno = ENAMETOOLONG;
    return Descriptor(-1);
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

// Goes on until all is moved, the other side has no more, or an error comes before the first byte.
template <class Byte, class Move>
int64_t moveBytes(Byte* p, size_t nBytes, Move move) noexcept {
    constexpr size_t kPiece = size_t(1) << 30;  // the system moves less than 2 GiB at a time
    size_t nDone = 0;
    while (nDone < nBytes) {
        const size_t nLeft = nBytes - nDone;
        const ssize_t n = move(p + nDone, nLeft < kPiece ? nLeft : kPiece);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && nDone == 0) return -1;
        if (n <= 0) break;
        nDone += size_t(n);
    }
    return int64_t(nDone);
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
    Descriptor file = notZero(Descriptor(::open(pName, nFlags, uFlags & kSysReadOnly ? 0444 : 0666)));
    if (!file || !mayBeHandle(file.get(), uFlags)) return kSysNoHandle;
    if ((uFlags & kSysDeleteOnClose) && ::unlink(pName) != 0) return kSysNoHandle;
    return handleOf(std::move(file));
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

int64_t sysFileRead(void* hFile, void* pBuffer, size_t nBytes) noexcept {
    if (!isDescriptor(hFile)) return -1;
    const int64_t n = moveBytes(static_cast<uint8_t*>(pBuffer), nBytes,
                                [=](uint8_t* p, size_t nPiece) { return ::read(descriptorOf(hFile), p, nPiece); });
    if (n < 0 && errno == EIO) sysSetLastError(30);  // elsewhere that is a write fault
    return n;
}
int64_t sysFileWrite(void* hFile, const void* pBuffer, size_t nBytes) noexcept {
    return isDescriptor(hFile)
               ? moveBytes(static_cast<const uint8_t*>(pBuffer), nBytes,
                           [=](const uint8_t* p, size_t n) { return ::write(descriptorOf(hFile), p, n); })
               : -1;
}
int64_t sysFileReadAt(void* hFile, void* pBuffer, size_t nBytes, int64_t nOffset) noexcept {
    if (!isDescriptor(hFile)) return -1;
    auto* pStart = static_cast<uint8_t*>(pBuffer);
    return moveBytes(pStart, nBytes,
                     [=](uint8_t* p, size_t n) { return ::pread(descriptorOf(hFile), p, n, nOffset + (p - pStart)); });
}
int64_t sysFileWriteAt(void* hFile, const void* pBuffer, size_t nBytes, int64_t nOffset) noexcept {
    if (!isDescriptor(hFile)) return -1;
    const auto* pStart = static_cast<const uint8_t*>(pBuffer);
    return moveBytes(pStart, nBytes, [=](const uint8_t* p, size_t n) {
        return ::pwrite(descriptorOf(hFile), p, n, nOffset + (p - pStart));
    });
}

bool sysFileSetEnd(void* hFile) noexcept {
    if (!isDescriptor(hFile)) return false;
    const off_t n = ::lseek(descriptorOf(hFile), 0, SEEK_CUR);
    return n >= 0 && ::ftruncate(descriptorOf(hFile), n) == 0;
}

bool sysFileReserve(void* hFile, uint64_t nSize) noexcept {
    if (!isDescriptor(hFile) || nSize == 0) return nSize == 0;
    if (nSize > INT64_MAX) return fail(EFBIG);
    if (::fallocate(descriptorOf(hFile), 0, 0, off_t(nSize)) == 0) return true;
    if (errno != EOPNOTSUPP && errno != ENOSYS) return false;
    // A file system without that call: the last byte makes the length at least.
    struct stat info;
    if (::fstat(descriptorOf(hFile), &info) != 0) return false;
    return uint64_t(info.st_size) >= nSize || ::pwrite(descriptorOf(hFile), "", 1, off_t(nSize) - 1) == 1;
}

bool sysFileDelete(const char* pName) noexcept { return ::unlink(pName) == 0; }

SysFileKind sysFileKind(const char* pName) noexcept {
    struct stat info;
    if (::stat(pName, &info) != 0) return SysFileKind::none;
    return S_ISDIR(info.st_mode) ? SysFileKind::directory : SysFileKind::file;
}

bool sysIsSameFile(const char* pNameA, const char* pNameB) noexcept {
    struct stat a, b;
    return ::stat(pNameA, &a) == 0 && ::stat(pNameB, &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool sysDiskFree(const char* pDirectory, uint64_t& nBytes) noexcept {
    struct statvfs info;
    if (::statvfs(pDirectory, &info) != 0) return false;
    nBytes = uint64_t(info.f_bavail) * info.f_frsize;
    return true;
}

bool sysTempDirectory(char* pBuffer, size_t nRoom) noexcept {
    const char* pSet = ::getenv("TMPDIR");
    const char* pDirectory = pSet && sysFileKind(pSet) == SysFileKind::directory ? pSet : P_tmpdir;
    const size_t n = std::strlen(pDirectory);
    if (n + 2 > nRoom) return fail(ENAMETOOLONG);
    std::memcpy(pBuffer, pDirectory, n + 1);
    if (n && pDirectory[n - 1] != '/') std::memcpy(pBuffer + n, "/", 2);
    return true;
}

bool sysTempFile(const char* pDirectory, const char* pPrefix, char* pName, size_t nRoom) noexcept {
    return bool(makeTempFile(pDirectory, pPrefix, pName, nRoom));
}

void* sysUnnamedFile(const char* pDirectory) noexcept {
    Descriptor file = notZero(Descriptor(::open(pDirectory, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600)));
    if (!file && (errno == EOPNOTSUPP || errno == EISDIR || errno == ENOENT)) {
        // A file system without them: a name for the moment. An older kernel takes the call for one on the directory.
        char szName[PATH_MAX];
        file = notZero(makeTempFile(pDirectory, "R_", szName, sizeof szName));
        if (file) ::unlink(szName);
    }
    return file && mayBeHandle(file.get(), 0) ? handleOf(std::move(file)) : kSysNoHandle;
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

}  // namespace rv
