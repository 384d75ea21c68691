// The temporary-file layer inside: its options and its lists.
#pragma once

#include "internal/sharedlist.h"
#include "ravokit/tempfile.h"

namespace rv {

TEMPFILEOPTIONS tempFileOptions() noexcept;

// ---- names that the layer has given out or taken up. "/" and "\\" are the same in them.

bool isSameName(const char16_t* pszA, const char16_t* pszB) noexcept;
bool addTemporaryName(const char16_t* pszName) noexcept;  // if it is missing; false when memory is short
void removeTemporaryName(const char16_t* pszName) noexcept;

// Whether a memory file has a name, be it one that is deleted with its last handle. Its lock may be taken while the
// names are locked, but not the other way round.
bool hasMemoryFile(const char16_t* pszName) noexcept;

// ---- a file in memory: blocks of one size, of which the last grows up to it. What is allocated past the length is 0.

struct MEMTEMPFILE {
    uint32_t nBlockSize;
    uint32_t nLength = 0;
    uint32_t nLastBlockSize = 0;  // allocated of the last block
    uint8_t** ppBlocks = nullptr;
    uint32_t nBlocks = 0;
    uint32_t nPosition = 0;  // of all its handles
    Buffer<char16_t> name;
    int32_t nRefCount = 1;  // its handles: guarded by the list's lock, as the next
    bool bDeleted = false;
    bool bDeleteOnClose = false;

    explicit MEMTEMPFILE(uint32_t uBlockMB) noexcept;
    MEMTEMPFILE(const MEMTEMPFILE&) = delete;
    MEMTEMPFILE& operator=(const MEMTEMPFILE&) = delete;
    ~MEMTEMPFILE();
};

// Bytes that all memory files hold.
uint64_t memoryFileTotal() noexcept;

// Each at the file's position, with the count or -1. A write that gives -1 wants more room than the options leave or
// memory has, and changed nothing; one of 0 bytes ends the file here.
int32_t readMemoryFile(MEMTEMPFILE& file, void* pBuffer, uint32_t nBytes) noexcept;
int32_t writeMemoryFile(MEMTEMPFILE& file, const TEMPFILEOPTIONS& options, const void* pBuffer,
                        uint32_t nBytes) noexcept;
int64_t seekMemoryFile(MEMTEMPFILE& file, int64_t nOffset, int32_t nOrigin) noexcept;
void emptyMemoryFile(MEMTEMPFILE& file) noexcept;

}  // namespace rv
