// What the codec modules share: the check of their arguments, and the form of their data.
//
// Data opens with a byte that tells its form. Pixels that the codec would only make longer stand as they are, so that
// the data is never longer than the pixels and that byte. Coded data ends with its checksum, because decoders believe
// the lengths and repetitions that they read, and may work for minutes on a byte that has changed.
#pragma once

#include <ravokit/codec.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>

namespace {

enum Form : uint8_t { kPlain, kCoded, kCodedWithPadding };

struct Strip {
    uint32_t nWidth, nRows, nStride;
    uint64_t bytes() const { return uint64_t(nStride) * nRows; }
};

// 1, or the status of the first argument that is not as it should be.
int32_t openStrip(const BITMAPINFOHEADER* pInfo, const uint8_t* pPixels, uint32_t uPixelBytes, Strip& strip) {
    if (!pInfo || !pPixels) return -13;
    if (pInfo->biSize != sizeof *pInfo) return -789;
    if (pInfo->biWidth <= 0 || pInfo->biHeight == 0 || pInfo->biHeight == INT32_MIN || pInfo->biPlanes != 1) return -13;
    const uint64_t nStride = (uint64_t(pInfo->biWidth) * pInfo->biBitCount + 31) / 32 * 4;
    if (nStride > INT32_MAX) return -13;
    strip = {uint32_t(pInfo->biWidth), uint32_t(std::abs(pInfo->biHeight)), uint32_t(nStride)};
    return strip.bytes() == uPixelBytes ? 1 : -13;
}

constexpr int32_t kCorrupted = -1859;

// What one codec takes.
struct Accepted {
    uint32_t uFormat;
    int32_t nQuality;
    uint16_t nDepths[2];
    uint8_t nLastForm;
};

// The checks of both directions, after those of the strip.
int32_t checkFormat(const Accepted& accepted, const BITMAPINFOHEADER& info, uint32_t uFormat) {
    if (uFormat != accepted.uFormat) return -15;  // Unknown compression format
    return info.biBitCount == accepted.nDepths[0] || info.biBitCount == accepted.nDepths[1] ? 1 : -27;
}

// The opening of a save; 1, or a status.
int32_t openSave(const Accepted& accepted, const BITMAPINFOHEADER* pInfo, const uint8_t* pPixels, uint32_t uPixelBytes,
                 const uint8_t* pData, const uint32_t* puWritten, uint32_t uFormat, int32_t nQuality, Strip& strip) {
    if (const int32_t n = openStrip(pInfo, pPixels, uPixelBytes, strip); n != 1) return n;
    if (const int32_t n = checkFormat(accepted, *pInfo, uFormat); n != 1) return n;
    if (nQuality != accepted.nQuality) return -21;  // Invalid QFactor specified
    return pData && puWritten ? 1 : -13;
}

// The opening of a load, up to the form of the data; 1, or a status.
int32_t openLoad(const Accepted& accepted, const BITMAPINFOHEADER* pInfo, const uint8_t* pData, uint32_t uDataBytes,
                 const uint8_t* pPixels, uint32_t uPixelSize, uint32_t uFormat, Strip& strip) {
    if (const int32_t n = openStrip(pInfo, pPixels, uPixelSize, strip); n != 1) return n;
    if (const int32_t n = checkFormat(accepted, *pInfo, uFormat); n != 1) return n;
    if (!pData) return -13;
    return uDataBytes && pData[0] <= accepted.nLastForm ? 1 : kCorrupted;
}

constexpr uint32_t kChecksumBytes = 4;

// Puts the checksum of n bytes behind them.
void seal(uint8_t* pData, size_t n) {
    const auto uSum = uint32_t(crc32_z(0, pData, n));
    std::memcpy(pData + n, &uSum, sizeof uSum);
}

// Whether coded data is as it was written; n becomes the length without the checksum.
bool unseal(const uint8_t* pData, uint32_t& n) {
    uint32_t uSum = 0;
    if (n <= kChecksumBytes) return false;
    n -= kChecksumBytes;
    std::memcpy(&uSum, pData + n, sizeof uSum);
    return uSum == uint32_t(crc32_z(0, pData, n));
}

// The plain form, where the codec's data would be no shorter.
int32_t savePlain(const uint8_t* pPixels, uint32_t uPixelBytes, uint8_t* pData, uint32_t uDataSize,
                  uint32_t* puWritten) {
    if (uDataSize <= uPixelBytes) return -290;  // The buffer size is too small
    pData[0] = kPlain;
    std::memcpy(pData + 1, pPixels, uPixelBytes);
    *puWritten = uPixelBytes + 1;
    return 1;
}

int32_t loadPlain(const uint8_t* pData, uint32_t uDataBytes, uint8_t* pPixels, uint32_t uPixelSize) {
    if (uDataBytes - 1 != uPixelSize) return kCorrupted;
    std::memcpy(pPixels, pData + 1, uPixelSize);
    return 1;
}

}  // namespace
