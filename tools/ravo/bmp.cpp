// BMP files: a header of 14 bytes, which is read and written here, before a DIB, which the library reads and writes.
//
// The DIB is put together in a memory handle, whose size the library holds against what the DIB's header tells. It
// closes the gap that a file may have before the rows, and cuts headers that are longer than 40 bytes down to those.
#include <ravokit/alpha.h>
#include <ravokit/dib.h>
#include <ravokit/memory.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "failure.h"
#include "formats.h"
#include "outfile.h"

namespace ravo {

namespace {

constexpr size_t kFileHeader = 14, kOldHeader = 12, kHeader = 40, kAlphaHeader = 56;
constexpr uint32_t kPlainRows = 0, kRuns8 = 1, kRuns4 = 2, kMaskedRows = 3;

template <class T>
T load(const Row& bytes, size_t nAt) noexcept {
    T value;
    std::memcpy(&value, bytes.data() + nAt, sizeof value);
    return value;
}

template <class T>
void store(uint8_t* p, T value) noexcept {
    std::memcpy(p, &value, sizeof value);
}

struct FreeHandle {
    void operator()(MEMHANDLE* h) const noexcept { R_OsFreeHandle(h); }
};
using Handle = std::unique_ptr<MEMHANDLE, FreeHandle>;

struct FreeBlock {
    void operator()(uint8_t* p) const noexcept { R_LocalFree(p); }
};

bool recognises(const uint8_t* pStart, size_t nBytes) {
    return nBytes >= kFileHeader && pStart[0] == 'B' && pStart[1] == 'M';
}

// Blue, green, red and alpha in a byte each, which is how pixels of 32 bits stand without masks.
bool areByteMasks(const Row& bytes, size_t nAt) noexcept {
    return load<uint32_t>(bytes, nAt) == 0xFF0000 && load<uint32_t>(bytes, nAt + 4) == 0xFF00 &&
           load<uint32_t>(bytes, nAt + 8) == 0xFF && load<uint32_t>(bytes, nAt + 12) == 0xFF000000;
}

// The DIB of a file: header and masks, colours, rows.
Row dibOf(const Row& bytes) {
    const auto damaged = [] { return Failure("is damaged: its headers do not fit it"); };
    if (bytes.size() < kFileHeader + kOldHeader) throw damaged();
    const uint32_t nRowsAt = load<uint32_t>(bytes, 10), nHeader = load<uint32_t>(bytes, kFileHeader);
    if (nHeader > bytes.size() - kFileHeader || nRowsAt > bytes.size() || nRowsAt < kFileHeader + nHeader)
        throw damaged();
    if (nHeader != kOldHeader && nHeader < kHeader) throw Failure("has a header of an unknown kind");

    Row dib(bytes.begin() + kFileHeader,
            bytes.begin() + kFileHeader + std::ptrdiff_t(std::min<size_t>(nHeader, kHeader)));
    const size_t nColorsAt = kFileHeader + nHeader;
    size_t nEntry = 3;
    uint64_t nColors = 0;
    const auto nBits = load<uint16_t>(dib, nHeader == kOldHeader ? 10 : 14);
    if (nHeader == kOldHeader) {
        checkSize(load<uint16_t>(dib, 4), load<uint16_t>(dib, 6));
    } else {
        const int64_t nHeight = load<int32_t>(dib, 8);
        checkSize(uint64_t(int64_t(load<int32_t>(dib, 4))), uint64_t(nHeight < 0 ? -nHeight : nHeight));
        const auto uCompression = load<uint32_t>(dib, 16);
        if (uCompression == kRuns8 || uCompression == kRuns4)
            throw Failure("is run-length coded, which is not supported");
        store(dib.data(), uint32_t(kHeader));
        if (uCompression == kMaskedRows) {
            const size_t nMasks = kFileHeader + kHeader;
            if (bytes.size() < nMasks + 12) throw damaged();
            if (nBits == 32 && nHeader >= kAlphaHeader && areByteMasks(bytes, nMasks))
                store(dib.data() + 16, kPlainRows);
            else
                dib.insert(dib.end(), bytes.begin() + std::ptrdiff_t(nMasks),
                           bytes.begin() + std::ptrdiff_t(nMasks + 12));
        }
        nEntry = 4;
        nColors = load<uint32_t>(dib, 32);
        if (nBits > 8) store(dib.data() + 32, uint32_t(0)), nColors = 0;  // hints, which need not come along
    }
    if (nBits <= 8 && nColors == 0) nColors = uint64_t(1) << nBits;
    if (nColors > 256) throw damaged();
    if (nBits <= 8) {
        if (nRowsAt < nColorsAt + nColors * nEntry) throw damaged();
        dib.insert(dib.end(), bytes.begin() + std::ptrdiff_t(nColorsAt),
                   bytes.begin() + std::ptrdiff_t(nColorsAt + nColors * nEntry));
    }
    dib.insert(dib.end(), bytes.begin() + std::ptrdiff_t(nRowsAt), bytes.end());
    return dib;
}

Picture load(const std::string& path) {
    const Row dib = dibOf(readFile(path));
    if (dib.size() > UINT32_MAX) throw Failure("is too large");
    Handle handle(R_OsAllocHandle(0, uint32_t(dib.size()), __LINE__, __FILE__));
    void* pBlock = handle ? R_OsLockHandle(handle.get()) : nullptr;
    if (!pBlock) throw std::bad_alloc();
    std::memcpy(pBlock, dib.data(), dib.size());
    R_OsUnlockHandle(handle.get());
    Picture picture;
    const int32_t nStatus = R_ChangeFromDIB(picture.get(), sizeof(BITMAPRECORD), handle.get());
    if (nStatus == -13) throw Failure("is damaged: its headers do not fit it");
    check(nStatus, "R_ChangeFromDIB");
    handle.release();  // freed
    // The fourth byte is alpha where it tells something; files without alpha leave it 0.
    if (hasAlpha(*picture) && !R_BitmapHasMeaningfulAlpha(picture.get()))
        check(R_SetBitmapAlphaValues(picture.get(), 255), "R_SetBitmapAlphaValues");
    return picture;
}

void save(Picture& picture, const std::string& path) {
    uint32_t nBytes = 0;
    const std::unique_ptr<uint8_t, FreeBlock> dib(static_cast<uint8_t*>(R_ConvertToDIB2(picture.get(), 0, &nBytes)));
    if (!dib) throw Failure("cannot be written: the picture is too large, or memory is short");
    Row header(kFileHeader + kHeader);
    std::memcpy(header.data() + kFileHeader, dib.get(), kHeader);
    const auto nBits = load<uint16_t>(header, kFileHeader + 14);
    uint32_t nColors = load<uint32_t>(header, kFileHeader + 32);
    if (nBits <= 8 && nColors == 0) nColors = 1u << nBits;
    const uint32_t nBeforeRows = uint32_t(kHeader) + nColors * 4;
    if (nBits == 32 && picture->Flags & BMF_PREMULTIPLIED)  // rows without padding are one row
        R_ConvertFromPremultipliedAlpha(32, dib.get() + nBeforeRows, nBytes - nBeforeRows);
    header[0] = 'B';
    header[1] = 'M';
    store(header.data() + 2, uint32_t(std::min<uint64_t>(UINT32_MAX, uint64_t(nBytes) + kFileHeader)));
    store(header.data() + 10, uint32_t(kFileHeader) + nBeforeRows);

    writeFile(path, {header.data(), kFileHeader}, {dib.get(), nBytes});
}

}  // namespace

const Format kBmp{"BMP", ".bmp .dib", recognises, load, save};

}  // namespace ravo
