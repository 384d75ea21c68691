// A bitmap in a temporary file, and the temporary files of all storage: without a name from the start, with their disk
// room taken, so that a write into a view of one can't fail for want of it.
#include "internal/bitmap_.h"
#include "internal/handles.h"
#include "internal/rvsystem_.h"
#include "internal/storage_.h"
#include "internal/text.h"
#include "ravokit/tempfile.h"

namespace rv {
namespace {

// Closes a file, and the reason of the failure before it stays.
void closeFailed(RVHANDLE hFile) noexcept {
    const uint32_t uReason = sysLastError();
    closeHandle(hFile);
    sysSetLastError(uReason);
}

int64_t offsetOf(const BITMAPRECORD& bm, int32_t nRow, int64_t nColumnByte) noexcept {
    return int64_t(bm.BytesPerLine) * nRow + nColumnByte;
}

// A place that the file's position can't be moved to.
bool isNoPlace(const BITMAPRECORD& bm, int64_t nOffset) noexcept {
    return nOffset < 0 || !isHandleOf(bm.hMemory, kHandleSystem);
}

}  // namespace

RVHANDLE newTemporaryFile(uint64_t nSize) noexcept {
    if (temporaryFilesOff()) return nullptr;
    char16_t szDirectory[RV_TEMP_NAME_SIZE];
    const FileName directory(R_GetTempDirectory(szDirectory, RV_TEMP_NAME_SIZE) == 1 ? szDirectory : nullptr);
    if (!directory.get()) return nullptr;
    RVHANDLE hFile = wrapHandle(sysUnnamedFile(directory.get()));
    if (!hFile || isAllOnes(hFile)) return nullptr;
    if (sysFileReserve(hFile->pBlock, nSize)) return hFile;
    closeFailed(hFile);
    return nullptr;
}

bool resizeFile(RVHANDLE hFile, uint64_t nOld, uint64_t nNew) noexcept {
    const auto cutTo = [&](uint64_t n) {
        return n <= INT64_MAX && sysFileSeek(hFile->pBlock, int64_t(n), 0) == int64_t(n) &&
               sysFileSetEnd(hFile->pBlock);
    };
    if (!isHandleOf(hFile, kHandleSystem)) return false;
    if (nNew <= nOld) return cutTo(nNew);
    if (sysFileReserve(hFile->pBlock, nNew)) return true;
    cutTo(nOld);
    return false;
}

int32_t createDiskFile(BITMAPRECORD& bm) noexcept {
    RVHANDLE hFile = newTemporaryFile(dataSize(bm));
    if (!hFile) return -1;
    bm.hMemory = hFile;
    bm.pData = nullptr;
    bm.nDataOffset = 0;
    return 1;
}

void freeDiskFile(BITMAPRECORD& bm) noexcept {
    closeHandle(bm.hMemory);
    bm.hMemory = nullptr;
}

int32_t getDiskBytes(BITMAPRECORD& bm, uint8_t* pBuffer, int32_t nRow, int64_t nColumnByte, uint32_t nBytes) noexcept {
    const int64_t nOffset = offsetOf(bm, nRow, nColumnByte);
    if (isNoPlace(bm, nOffset)) return -4;
    return sysFileReadAt(bm.hMemory->pBlock, pBuffer, nBytes, nOffset) == nBytes ? int32_t(nBytes) : -7;
}

int32_t putDiskBytes(BITMAPRECORD& bm, const uint8_t* pBuffer, int32_t nRow, int64_t nColumnByte,
                     uint32_t nBytes) noexcept {
    const int64_t nOffset = offsetOf(bm, nRow, nColumnByte);
    if (isNoPlace(bm, nOffset)) return -4;
    return sysFileWriteAt(bm.hMemory->pBlock, pBuffer, nBytes, nOffset) == nBytes ? int32_t(nBytes) : -5;
}

}  // namespace rv
