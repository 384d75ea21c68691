// The platform's short list: all that the library asks of the operating system. Implemented in rvkrn/linux, the only
// place that includes the system's headers.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace rv {

// ---- threads -----------------------------------------------------------------------------------------------------

// A per-thread pointer. The exit hook runs in each ending thread whose value is not null, with that value.
bool sysSlotCreate(void (*pfnThreadExit)(void*)) noexcept;
void sysSlotDelete() noexcept;  // values are dropped, and the hook runs no more
void* sysSlotGet() noexcept;
bool sysSlotSet(void* pValue) noexcept;

void sysSleep(uint32_t nMilliseconds) noexcept;

// Runs pfnBefore in a thread that is about to copy the process, then pfnInParent and, in the copy, pfnInChild, which has
// this thread only. False when memory is short.
bool sysOnFork(void (*pfnBefore)(), void (*pfnInParent)(), void (*pfnInChild)()) noexcept;

// A recursive lock, in storage of its own so that it can be a static object that costs nothing until it is made.
struct SysLock {
    alignas(std::max_align_t) unsigned char storage[64];
};
bool sysLockInit(SysLock& lock) noexcept;
void sysLockDelete(SysLock& lock) noexcept;
void sysLockEnter(SysLock& lock) noexcept;
void sysLockLeave(SysLock& lock) noexcept;

// A lock of many readers or one writer, not recursive.
struct SysRwLock {
    alignas(std::max_align_t) unsigned char storage[64];
};
bool sysRwLockInit(SysRwLock& lock) noexcept;
void sysRwLockDelete(SysRwLock& lock) noexcept;
void sysRwLockEnterShared(SysRwLock& lock) noexcept;
void sysRwLockLeaveShared(SysRwLock& lock) noexcept;
void sysRwLockEnterExclusive(SysRwLock& lock) noexcept;
void sysRwLockLeaveExclusive(SysRwLock& lock) noexcept;

// ---- objects behind handles of kind 9 ----------------------------------------------------------------------------

enum class SysWait { kSignalled, kAbandoned, kTimedOut, kFailed };  // abandoned: signalled, by its owner's end
inline constexpr uint32_t kSysForever = UINT32_MAX;

// A system handle is a file descriptor as a number, or the address of one of these.
struct SysObject {
    std::atomic<uint32_t> nReferences{1};
    virtual bool close() noexcept = 0;                                    // destroys the object
    virtual SysWait wait(uint32_t) noexcept { return SysWait::kFailed; }  // an object that isn't waited for

protected:
    ~SysObject() = default;
};

// No object lies below this, and no descriptor at or above it; 0 is no descriptor either.
inline constexpr uintptr_t kSysDescriptorEnd = 1u << 20;
inline void* const kSysNoHandle = reinterpret_cast<void*>(UINTPTR_MAX);  // what a file that can't be opened gives

// Closes either form: an object with its last reference. False when the system refuses.
bool sysCloseHandle(void* hOs) noexcept;
// Another handle to the same file or object; null when the system refuses.
void* sysDuplicateHandle(void* hOs, bool bInherit) noexcept;

// Anonymous memory, cleared, aligned to 64 bytes at least: heap while small, a mapping of its own when large.
struct SysMemory final : SysObject {
    uint8_t* pData = nullptr;
    uint64_t nSize = 0;
    bool bMapped = false;
    bool close() noexcept override;
};
SysMemory* sysMemoryCreate(uint64_t nSize) noexcept;

// Objects with a name, which may be null, are the process's own: making one whose name is taken gives another reference
// to that object, or null if it is of another kind. Null, too, when memory or descriptors are short.

// Waits for an object to be signalled, at most so many milliseconds.
SysWait sysWait(SysObject& object, uint32_t nMilliseconds) noexcept;

// An event: waiting leaves it signalled if its reset is manual, else takes the signal. False for another object.
SysObject* sysEventCreate(bool bManualReset, bool bSignalled, const char16_t* pName) noexcept;
bool sysEventSet(SysObject& event) noexcept;
bool sysEventReset(SysObject& event) noexcept;

// A mutex: waiting takes it, again if this thread has it, and fails when memory is short. An owner that ends leaves it
// abandoned to the next one. False for another object, and where this thread is not the owner.
SysObject* sysMutexCreate(bool bOwned, const char16_t* pName) noexcept;
bool sysMutexRelease(SysObject& mutex) noexcept;

// A thread, signalled once it has ended, its exit hooks with it. It needs no reference to run. nStackSize 0 is the
// system's default. *pId receives the system's number of the thread.
SysObject* sysThreadCreate(uint32_t (*pfn)(void*), void* pArg, size_t nStackSize, uint32_t* pId) noexcept;

// ---- files -------------------------------------------------------------------------------------------------------

// Names are UTF-8. The reason of a failure is left in errno.

// Access, disposition and flags are told at R_WinCreateFileW.
enum : uint32_t {
    kSysRead = 0x80000000,
    kSysWrite = 0x40000000,
    kSysAll = 0x10000000,
    kSysReadData = 1,
    kSysWriteData = 2,
    kSysAppendData = 4
};
enum : uint32_t { kSysCreateNew = 1, kSysCreateAlways, kSysOpenExisting, kSysOpenAlways, kSysTruncateExisting };
enum : uint32_t {
    kSysReadOnly = 1,
    kSysDirectory = 0x02000000,
    kSysDeleteOnClose = 0x04000000,
    kSysWriteThrough = 0x80000000
};
void* sysFileOpen(const char* pName, uint32_t uAccess, uint32_t uDisposition, uint32_t uFlags) noexcept;

// Moves the position from the start (0), the position (1) or the end (2). The new position, or -1 with nothing changed.
int64_t sysFileSeek(void* hFile, int64_t nOffset, uint32_t uOrigin) noexcept;

// Renames or moves; the flags are told at R_MoveFileEx.
enum : uint32_t { kSysMoveReplace = 1, kSysMoveCopy = 2, kSysMoveWriteThrough = 8 };
bool sysFileMove(const char* pOld, const char* pNew, uint32_t uFlags) noexcept;

// Reads or writes at the position, which moves along. The count, less than asked at the end of the file or of the
// disk's room; -1 on an error.
int64_t sysFileRead(void* hFile, void* pBuffer, size_t nBytes) noexcept;
int64_t sysFileWrite(void* hFile, const void* pBuffer, size_t nBytes) noexcept;
// The same at a place of its own, with the position left alone; a negative offset is an error.
int64_t sysFileReadAt(void* hFile, void* pBuffer, size_t nBytes, int64_t nOffset) noexcept;
int64_t sysFileWriteAt(void* hFile, const void* pBuffer, size_t nBytes, int64_t nOffset) noexcept;
// The file ends at its position from now on.
bool sysFileSetEnd(void* hFile) noexcept;
// Takes the disk room of the first nSize bytes now, and makes the file that long if it is shorter.
bool sysFileReserve(void* hFile, uint64_t nSize) noexcept;
bool sysFileDelete(const char* pName) noexcept;

enum class SysFileKind { none, file, directory };
SysFileKind sysFileKind(const char* pName) noexcept;
// Whether two names are there, and lead to one file.
bool sysIsSameFile(const char* pNameA, const char* pNameB) noexcept;

// Bytes free for this user on the disk of a directory; false when the system can't tell.
bool sysDiskFree(const char* pDirectory, uint64_t& nBytes) noexcept;

// The directory for temporary files, ending in a slash; false when it doesn't fit.
bool sysTempDirectory(char* pBuffer, size_t nRoom) noexcept;
// Makes an empty file of a new name in a directory: prefix, something unique, ".tmp". pName receives its whole name.
bool sysTempFile(const char* pDirectory, const char* pPrefix, char* pName, size_t nRoom) noexcept;
// Opens a new file in a directory, to be read and written, that has no name and is gone with its handle.
void* sysUnnamedFile(const char* pDirectory) noexcept;

// The reason of the last failure by its published number: 2 not found, 5 access denied, 8 no memory, 29 write fault,
// 30 read fault, 80 exists, 112 disk full, 122 buffer too small; other reasons give a number above all published ones.
uint32_t sysLastError() noexcept;
void sysSetLastError(uint32_t nError) noexcept;

// A mapping of a file, or of cleared memory where hFile is kSysNoHandle; nSize 0 is the size of the file.
enum class SysProtect { kRead, kReadWrite, kWriteCopy };
SysObject* sysMappingCreate(void* hFile, SysProtect protect, uint64_t nSize, const char16_t* pName) noexcept;
// A view of nBytes from nOffset on, which is a multiple of the page size; writes are allowed as the mapping allows
// them. Null when the system refuses. The view outlives its mapping, and is given back with its size.
void* sysMapView(SysObject& mapping, uint64_t nOffset, size_t nBytes) noexcept;
void sysUnmapView(void* pView, size_t nBytes) noexcept;

// ---- modules -----------------------------------------------------------------------------------------------------

// Loads a shared library by the name of its file, in the platform's form or in that of the family, or by its bare name;
// null with *pbNoMemory telling why. The code stays as long as it has not been given back as often as it was loaded.
void* sysModuleOpen(const char* pName, bool* pbNoMemory) noexcept;
void* sysModuleSymbol(void* hModule, const char* pName) noexcept;  // null when it has none
bool sysModuleClose(void* hModule) noexcept;

// The directory that the library's own file is in, ending in a slash; false when it can't be told or doesn't fit.
bool sysLibraryDirectory(char* pBuffer, size_t nRoom) noexcept;

// ---- clock and diagnostics ---------------------------------------------------------------------------------------

uint64_t sysTickCount64() noexcept;  // milliseconds, never going back

bool sysIsDebuggerPresent() noexcept;
void sysDebugWrite(const char* pUtf8) noexcept;

struct SysInfo {
    uint32_t nPageSize;
    uint32_t nProcessors;
    uint64_t nMemory;  // bytes of the machine
    bool b64Bit;
};
SysInfo sysInfo() noexcept;

// Where the library's code is loaded; null when the system can't tell.
const void* sysModule() noexcept;

// Runs a piece of code with this thread alone in the locale of a language, "Japanese" or "Chinese", or in one of the
// system's by name; false when the system doesn't have it.
bool sysWithLocale(const char* pLanguage, void (*pfn)(void*), void* pArg) noexcept;

// This thread's locale, category by category as setlocale tells it; the name is valid until the thread's next call.
// Null, with nothing changed, where the system doesn't have the category or the locale; null when memory is too short.
const char* sysSetLocale(int32_t nCategory, const char* pLocale) noexcept;
const char16_t* sysSetLocaleWide(int32_t nCategory, const char16_t* pLocale) noexcept;

}  // namespace rv
