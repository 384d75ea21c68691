// The temporary-file layer: a file that is in memory, or on disk through the temporary table, behind one handle. It
// lies between the calls for temporary files and that table.
#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>

#include "internal/redirect_.h"
#include "internal/tempfile_.h"
#include "internal/text.h"

namespace rv {
namespace {

constexpr int32_t kAccess = 3, kAppend = 0x08;  // of the open flags
constexpr int32_t kKeptBySpill = 0xC003;

struct RTEMPFILE {
    char magic[4];
    RVFILE hFile;           // on disk; RV_INVALID_FILE while there is none
    MEMTEMPFILE* pMemFile;  // in memory; null when it has moved
    int32_t nFlags, nMode;
    TEMPFILEOPTIONS options;
    REDIRECTIO table;
};
constexpr char kMagic[4] = {'R', 'T', 'M', 'P'};

RTEMPFILE* tempFile(RVFILE h) noexcept {
    auto* p = static_cast<RTEMPFILE*>(h);
    return isOpenFile(h) && std::memcmp(p->magic, kMagic, sizeof kMagic) == 0 ? p : nullptr;
}

// ---- the list of memory files: what has handles at the end of the process goes with the last of them

constinit SharedList<MEMTEMPFILE> g_memoryFiles([](MEMTEMPFILE* p) noexcept {
    if (p->nRefCount > 0)
        p->bDeleted = true;
    else
        delete p;
});

MEMTEMPFILE* findMemoryFile(const char16_t* pszName) noexcept {
    return g_memoryFiles.find([=](const MEMTEMPFILE& file) { return isSameName(file.name.get(), pszName); });
}

// One more handle to the memory file of a name, if there is one; the list is locked.
MEMTEMPFILE* shareLocked(const char16_t* pszName, int32_t nFlags) noexcept {
    MEMTEMPFILE* p = findMemoryFile(pszName);
    if (!p) return nullptr;
    ++p->nRefCount;
    if (nFlags & kOpenTruncate) emptyMemoryFile(*p);
    p->nPosition = nFlags & kAppend ? p->nLength : 0;
    return p;
}

MEMTEMPFILE* shareMemoryFile(const char16_t* pszName, int32_t nFlags) noexcept {
    const std::scoped_lock lock(g_memoryFiles);
    return shareLocked(pszName, nFlags);
}

void releaseMemoryFile(MEMTEMPFILE* p) noexcept {
    {
        const std::scoped_lock lock(g_memoryFiles);
        if (--p->nRefCount > 0 || (!p->bDeleted && !p->bDeleteOnClose)) return;
        g_memoryFiles.remove(p);
    }
    if (p->bDeleteOnClose) R_DeleteTempFile(p->name.get());  // its name, and what stands for it on disk
    delete p;
}

// The memory file's contents are not wanted any more, now or once its other handles are closed.
void dropMemoryFile(MEMTEMPFILE* p) noexcept {
    {
        const std::scoped_lock lock(g_memoryFiles);
        p->bDeleted = true;
        p->bDeleteOnClose = false;
    }
    releaseMemoryFile(p);
}

MEMTEMPFILE* createMemoryFile(const char16_t* pszName, int32_t nFlags, uint32_t uBlockMB) noexcept {
    std::unique_ptr<MEMTEMPFILE> fresh(new (std::nothrow) MEMTEMPFILE(uBlockMB));
    const size_t nRoom = wideLength(pszName) + 1;
    if (!fresh || !fresh->name.allocate(nRoom)) return nullptr;
    copyText(fresh->name.get(), pszName, nRoom);
    fresh->bDeleteOnClose = (nFlags & kOpenTemporary) && (nFlags & kOpenCreate);
    {
        const std::scoped_lock lock(g_memoryFiles);
        if (MEMTEMPFILE* p = shareLocked(pszName, nFlags)) return p;  // another thread was first
        if (!g_memoryFiles.add(fresh.get())) return nullptr;
    }
    MEMTEMPFILE* p = fresh.release();
    if (addTemporaryName(pszName)) return p;
    dropMemoryFile(p);
    return nullptr;
}

// Whether there is one. It is off the list at once if it has no handles.
bool deleteMemoryFile(const char16_t* pszName) noexcept {
    std::unique_ptr<MEMTEMPFILE> unused;
    const std::scoped_lock lock(g_memoryFiles);
    MEMTEMPFILE* p = findMemoryFile(pszName);
    if (!p) return false;
    p->bDeleted = true;
    if (p->nRefCount == 0) {
        g_memoryFiles.remove(p);
        unused.reset(p);
    }
    return true;
}

// ---- from memory to disk

// Writes all blocks in order, and goes to the memory file's position.
int32_t copyToDisk(const MEMTEMPFILE& mem, const REDIRECTIO& table, RVFILE hFile) noexcept {
    constexpr uint32_t kPiece = 0x7FFFFFF;  // what a write is sure to count
    if (!table.pfnWrite || !table.pfnSeek) return -1;
    uint32_t nLeft = mem.nLength;
    for (uint32_t i = 0; nLeft; ++i) {
        const uint32_t nBlock = std::min(nLeft, mem.nBlockSize);
        for (uint32_t n, nDone = 0; nDone < nBlock; nDone += n) {
            n = std::min(nBlock - nDone, kPiece);
            if (table.pfnWrite(hFile, mem.ppBlocks[i] + nDone, n, table.pWriteUserData) != int32_t(n))
                return R_OsGetLastError(-5);  // Error writing file
        }
        nLeft -= nBlock;
    }
    if (table.pfnSeek(hFile, mem.nPosition, 0, table.pSeekUserData) != mem.nPosition) return -4;  // Error seeking file
    return 1;
}

// Moves a file to disk: 1, or a status with the file as it was.
int32_t spill(RTEMPFILE& file) noexcept {
    MEMTEMPFILE& mem = *file.pMemFile;
    const REDIRECTIO& table = file.table;
    if (!table.pfnOpen) return -1;
    const int32_t nFlags = (file.nFlags & kKeptBySpill) | kOpenCreate | (mem.bDeleteOnClose ? kOpenTemporary : 0);
    const RVFILE hFile = table.pfnOpen(mem.name.get(), nFlags, file.nMode, table.pOpenUserData);
    if (hFile == RV_INVALID_FILE) return -1;
    const int32_t nStatus = copyToDisk(mem, table, hFile);
    if (nStatus != 1) {
        if (table.pfnClose) table.pfnClose(hFile, table.pCloseUserData);
        if (table.pfnDelete) table.pfnDelete(mem.name.get(), table.pDeleteUserData);
        return nStatus;
    }
    file.hFile = hFile;
    dropMemoryFile(std::exchange(file.pMemFile, nullptr));
    return 1;
}

// ---- the layer's callbacks

bool openIn(RTEMPFILE& file, const char16_t* pszName) noexcept {
    file.pMemFile = shareMemoryFile(pszName, file.nFlags);
    if (file.pMemFile) return true;
    const uint32_t uMode = file.options.uMode;
    if (uMode == 3 && !(file.nFlags & kOpenCreate)) return false;
    if (uMode == 3 || (uMode == 2 && memoryFileTotal() < uint64_t(file.options.uTotalMemoryMB) << 20)) {
        file.pMemFile = createMemoryFile(pszName, file.nFlags, file.options.uBlockMB);
        return file.pMemFile;
    }
    const REDIRECTIO& table = file.table;
    if (table.pfnOpen) file.hFile = table.pfnOpen(pszName, file.nFlags, file.nMode, table.pOpenUserData);
    return file.hFile != RV_INVALID_FILE;
}

RVFILE layerOpen(const char16_t* pszName, int32_t nFlags, int32_t nMode, void*) noexcept {
    if (!pszName || !*pszName) return RV_INVALID_FILE;
    std::unique_ptr<RTEMPFILE> file(new (std::nothrow) RTEMPFILE{
        {}, RV_INVALID_FILE, nullptr, nFlags, nMode, tempFileOptions(), effectiveTable(RedirectScope::temporary)});
    if (!file || !openIn(*file, pszName)) return RV_INVALID_FILE;
    std::memcpy(file->magic, kMagic, sizeof kMagic);
    return file.release();
}

int32_t layerRead(RVFILE h, void* pBuffer, uint32_t uBytes, void*) noexcept {
    RTEMPFILE* p = tempFile(h);
    if (!p) return -1;
    if (p->pMemFile) return readMemoryFile(*p->pMemFile, pBuffer, uBytes);
    return p->table.pfnRead ? p->table.pfnRead(p->hFile, pBuffer, uBytes, p->table.pReadUserData) : -1;
}

int32_t layerWrite(RVFILE h, const void* pBuffer, uint32_t uBytes, void*) noexcept {
    RTEMPFILE* p = tempFile(h);
    if (!p) return -1;
    if (p->pMemFile) {
        if (!(p->nFlags & kAccess) || (!pBuffer && uBytes)) return -1;
        const int32_t n = writeMemoryFile(*p->pMemFile, p->options, pBuffer, uBytes);
        if (n >= 0) return n;
        if (p->options.uMode == 3 || spill(*p) != 1) return -1;
    }
    return p->table.pfnWrite ? p->table.pfnWrite(p->hFile, pBuffer, uBytes, p->table.pWriteUserData) : -1;
}

int64_t layerSeek(RVFILE h, int64_t nOffset, int32_t nOrigin, void*) noexcept {
    RTEMPFILE* p = tempFile(h);
    if (!p) return -1;
    if (p->pMemFile) return seekMemoryFile(*p->pMemFile, nOffset, nOrigin);
    return p->table.pfnSeek ? p->table.pfnSeek(p->hFile, nOffset, nOrigin, p->table.pSeekUserData) : -1;
}

int32_t layerClose(RVFILE h, void*) noexcept {
    if (!h) return -814;
    RTEMPFILE* p = tempFile(h);
    if (!p) return -261;  // Invalid handle
    int32_t nStatus = 0;
    if (p->pMemFile)
        releaseMemoryFile(p->pMemFile);
    else if (p->table.pfnClose)
        nStatus = p->table.pfnClose(p->hFile, p->table.pCloseUserData);
    if (nStatus < 0) return nStatus;  // it is still open
    p->magic[0] = 0;
    delete p;
    return nStatus;
}

int32_t layerCopy(const char16_t* pszSource, const char16_t* pszDest, uint32_t uFlags, void*) noexcept {
    const REDIRECTIO table = effectiveTable(RedirectScope::temporary);
    return table.pfnCopy ? table.pfnCopy(pszSource, pszDest, uFlags, table.pCopyUserData) : 0;
}

int32_t layerDelete(const char16_t* pszName, void*) noexcept { return R_DeleteTempFile(pszName); }

// A call with a narrow name, which may be null.
template <class Call, class Result>
Result withWideName(const char* pszName, Call call, Result noMemory) noexcept {
    const WideText name(pszName);
    return pszName && !name.get() ? noMemory : call(name.get());
}
RVFILE openNarrow(const char* pszName, int32_t nFlags, int32_t nMode) noexcept {
    return withWideName(
        pszName, [=](const char16_t* psz) { return R_RedirectedTempFileOpen(psz, nFlags, nMode); }, RV_INVALID_FILE);
}

}  // namespace

REDIRECTIO temporaryLayerTable() noexcept {
    return {sizeof(REDIRECTIO), 0,       layerOpen,  nullptr, layerRead, nullptr, layerWrite,  nullptr,
            layerSeek,          nullptr, layerClose, nullptr, layerCopy, nullptr, layerDelete, nullptr};
}

bool hasMemoryFile(const char16_t* pszName) noexcept {
    const std::scoped_lock lock(g_memoryFiles);
    return findMemoryFile(pszName);
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_DeleteTempFile(const char16_t* pszName) noexcept {
    if (!pszName || !*pszName) return 1;
    const bool bInMemory = deleteMemoryFile(pszName);
    removeTemporaryName(pszName);
    if (bInMemory && R_GetTempFileMode() == 3) return 1;
    const REDIRECTIO table = effectiveTable(RedirectScope::temporary);
    return table.pfnDelete ? table.pfnDelete(pszName, table.pDeleteUserData) : -1847;  // Error deleting file
}
int32_t R_DeleteTempFileA(const char* pszName) noexcept { return withWideName(pszName, R_DeleteTempFile, -1); }
int32_t R_DeleteTempFileUTF8(const char* pszName) noexcept { return withWideName(pszName, R_DeleteTempFile, -1); }

RVFILE R_RedirectedTempFileOpen(const char16_t* pszName, int32_t nFlags, int32_t nMode) noexcept {
    if (isSchemeName(pszName)) return R_RedirectedOpen(pszName, nFlags, nMode);
    return openWrapped(pszName, nFlags, nMode, temporaryLayerTable(), RedirectKind::temporary);
}
RVFILE R_RedirectedTempFileOpenA(const char* pszName, int32_t nFlags, int32_t nMode) noexcept {
    return openNarrow(pszName, nFlags, nMode);
}
RVFILE R_RedirectedTempFileOpenUTF8(const char* pszName, int32_t nFlags, int32_t nMode) noexcept {
    return openNarrow(pszName, nFlags, nMode);
}

int32_t R_RedirectedTempFileRead(RVFILE hFile, void* pBuffer, uint32_t uBytes) noexcept {
    return R_RedirectedRead(hFile, pBuffer, uBytes);
}
int32_t R_RedirectedTempFileWrite(RVFILE hFile, const void* pBuffer, uint32_t uBytes) noexcept {
    return R_RedirectedWrite(hFile, pBuffer, uBytes);
}
int64_t R_RedirectedTempFileWriteBig(RVFILE hFile, const void* pBuffer, uint64_t uBytes) noexcept {
    return R_RedirectedWriteBig(hFile, pBuffer, uBytes);
}
int64_t R_RedirectedTempFileSeek(RVFILE hFile, int64_t nOffset, int32_t nOrigin) noexcept {
    return R_RedirectedSeek(hFile, nOffset, nOrigin);
}
int32_t R_RedirectedTempFileClose(RVFILE hFile) noexcept { return R_RedirectedClose(hFile); }

}  // extern "C"
