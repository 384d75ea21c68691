// A temporary file in memory: blocks, their budget, and reading and writing across them.
#include <algorithm>
#include <atomic>
#include <cstring>

#include "internal/tempfile_.h"

namespace rv {
namespace {

constexpr uint64_t kMiB = 1 << 20;
constexpr uint64_t kLeastBlock = 2048, kGrowth = kMiB;
constexpr uint64_t kLongest = UINT32_MAX;  // of a file

std::atomic<uint64_t> g_nTotal{0};

uint64_t allocated(const MEMTEMPFILE& file) noexcept {
    return file.nBlocks ? uint64_t(file.nBlocks - 1) * file.nBlockSize + file.nLastBlockSize : 0;
}

uint32_t blocksOf(const MEMTEMPFILE& file, uint64_t nSize) noexcept {
    return uint32_t((nSize + file.nBlockSize - 1) / file.nBlockSize);
}

bool resizeLastBlock(MEMTEMPFILE& file, uint32_t nSize) noexcept {
    uint8_t*& pBlock = file.ppBlocks[file.nBlocks - 1];
    auto* p = static_cast<uint8_t*>(std::realloc(pBlock, nSize));
    if (!p) return false;
    pBlock = p;
    if (nSize > file.nLastBlockSize) std::memset(p + file.nLastBlockSize, 0, nSize - file.nLastBlockSize);
    g_nTotal += uint64_t(nSize) - file.nLastBlockSize;  // a difference below 0 wraps, and so does the sum
    file.nLastBlockSize = nSize;
    return true;
}

// Allocates up to nSize bytes; on failure a part of it.
bool allocateTo(MEMTEMPFILE& file, uint64_t nSize) noexcept {
    const uint32_t nBlocks = blocksOf(file, nSize);
    if (nBlocks > file.nBlocks) {
        auto** pp = static_cast<uint8_t**>(std::realloc(file.ppBlocks, nBlocks * sizeof(uint8_t*)));
        if (!pp) return false;
        file.ppBlocks = pp;
    }
    const auto sizeOfBlock = [&](uint32_t i) {
        return uint32_t(std::min<uint64_t>(file.nBlockSize, nSize - uint64_t(i) * file.nBlockSize));
    };
    if (file.nBlocks && !resizeLastBlock(file, sizeOfBlock(file.nBlocks - 1))) return false;
    while (file.nBlocks < nBlocks) {
        const uint32_t n = sizeOfBlock(file.nBlocks);
        auto* p = static_cast<uint8_t*>(std::calloc(n, 1));
        if (!p) return false;
        file.ppBlocks[file.nBlocks++] = p;
        file.nLastBlockSize = n;
        g_nTotal += n;
    }
    return true;
}

// Gives back what is allocated past nSize, which is not above it.
void shrinkTo(MEMTEMPFILE& file, uint64_t nSize) noexcept {
    for (const uint32_t nKept = blocksOf(file, nSize); file.nBlocks > nKept; file.nLastBlockSize = file.nBlockSize) {
        std::free(file.ppBlocks[--file.nBlocks]);
        g_nTotal -= file.nLastBlockSize;
    }
    if (!file.nBlocks) {
        file.nLastBlockSize = 0;
        return;
    }
    const auto nFill = uint32_t(nSize - uint64_t(file.nBlocks - 1) * file.nBlockSize);
    if (nFill < file.nLastBlockSize && !resizeLastBlock(file, nFill))
        std::memset(file.ppBlocks[file.nBlocks - 1] + nFill, 0, file.nLastBlockSize - nFill);
}

// What a file may hold that has allocated so much.
uint64_t budgetOf(const TEMPFILEOPTIONS& options, uint64_t nAllocated) noexcept {
    if (options.uMode == 3) return kLongest;
    if (options.uMode == 1) return 0;
    const uint64_t nUsedMB = memoryFileTotal() / kMiB;
    if (nUsedMB >= options.uTotalMemoryMB) return 0;
    // What is used is taken off as a number of MiB and not of bytes, so that the last file in may use all of its own
    // limit. Callers' options are tuned to this.
    const uint64_t nRest = options.uTotalMemoryMB * kMiB - nUsedMB + nAllocated;
    return std::min({nRest, options.uMaxFileMB * kMiB, kLongest});
}

bool reserve(MEMTEMPFILE& file, const TEMPFILEOPTIONS& options, uint64_t nEnd) noexcept {
    const uint64_t nAllocated = allocated(file);
    if (nEnd <= nAllocated) return true;
    const uint64_t nBudget = budgetOf(options, nAllocated);
    if (nBudget < nEnd) return false;
    if (allocateTo(file, std::min(nEnd + kGrowth, nBudget))) return true;
    shrinkTo(file, nAllocated);
    return false;
}

// Takes the pieces of n bytes from the position on, which moves behind them; they are allocated.
template <class Take>
void advance(MEMTEMPFILE& file, uint32_t n, Take take) noexcept {
    while (n) {
        const uint32_t nOffset = file.nPosition % file.nBlockSize;
        const uint32_t nPiece = std::min(n, file.nBlockSize - nOffset);
        take(file.ppBlocks[file.nPosition / file.nBlockSize] + nOffset, nPiece);
        file.nPosition += nPiece;
        n -= nPiece;
    }
}

}  // namespace

MEMTEMPFILE::MEMTEMPFILE(uint32_t uBlockMB) noexcept
    : nBlockSize(uint32_t(std::clamp(uBlockMB * kMiB, kLeastBlock, kLongest))) {}

MEMTEMPFILE::~MEMTEMPFILE() {
    shrinkTo(*this, 0);
    std::free(ppBlocks);
}

uint64_t memoryFileTotal() noexcept { return g_nTotal; }

int32_t readMemoryFile(MEMTEMPFILE& file, void* pBuffer, uint32_t nBytes) noexcept {
    if (!pBuffer) return 0;
    if (file.nPosition > file.nLength) return -1;
    const uint32_t n = std::min({nBytes, file.nLength - file.nPosition, uint32_t(INT32_MAX)});
    auto* pTo = static_cast<uint8_t*>(pBuffer);
    advance(file, n, [&](const uint8_t* p, uint32_t nPiece) {
        std::memcpy(pTo, p, nPiece);
        pTo += nPiece;
    });
    return int32_t(n);
}

int32_t writeMemoryFile(MEMTEMPFILE& file, const TEMPFILEOPTIONS& options, const void* pBuffer,
                        uint32_t nBytes) noexcept {
    const uint32_t n = std::min(nBytes, uint32_t(INT32_MAX));
    if (!reserve(file, options, uint64_t(file.nPosition) + n)) return -1;
    auto* pFrom = static_cast<const uint8_t*>(pBuffer);
    advance(file, n, [&](uint8_t* p, uint32_t nPiece) {
        std::memcpy(p, pFrom, nPiece);
        pFrom += nPiece;
    });
    if (n == 0) shrinkTo(file, file.nPosition);
    file.nLength = n ? std::max(file.nLength, file.nPosition) : file.nPosition;
    return int32_t(n);
}

int64_t seekMemoryFile(MEMTEMPFILE& file, int64_t nOffset, int32_t nOrigin) noexcept {
    if (nOrigin < 0 || nOrigin > 2) return -1;
    constexpr int64_t kMost = UINT32_MAX;
    if (nOffset < -kMost || nOffset > kMost) return -1;
    const int64_t n = nOffset + (nOrigin == 0 ? 0 : nOrigin == 1 ? file.nPosition : file.nLength);
    if (n < 0 || n > kMost) return -1;
    file.nPosition = uint32_t(n);
    return n;
}

void emptyMemoryFile(MEMTEMPFILE& file) noexcept {
    shrinkTo(file, 0);
    file.nLength = file.nPosition = 0;
}

}  // namespace rv
