// Pictures and files for the tests of the command.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "picture.h"
#include "pixel.h"

namespace ravo {

/// A directory that goes with its test.
class TemporaryDirectory {
    std::filesystem::path m_path;

public:
    TemporaryDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ravo_test.XXXXXX").string();
        if (!mkdtemp(pattern.data())) std::abort();
        m_path = pattern;
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() { std::filesystem::remove_all(m_path); }
    std::string operator/(const std::string& name) const { return (m_path / name).string(); }
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(m_path)) result.push_back(entry.path().filename());
        std::sort(result.begin(), result.end());
        return result;
    }
};

using Bytes = std::vector<uint8_t>;

inline Bytes readBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

inline void writeBytes(const std::string& path, const uint8_t* p, size_t n) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(p), std::streamsize(n));
}

inline Palette randomPalette(int32_t nBits, uint32_t uSeed) {
    std::mt19937 random(uSeed);
    Palette palette(size_t(1) << nBits);
    for (RGBQUAD& entry : palette) entry = {uint8_t(random()), uint8_t(random()), uint8_t(random()), 0};
    return palette;
}

inline Picture randomPicture(int32_t nWidth, int32_t nHeight, int32_t nBits, int32_t nOrder,
                             const Palette& palette = {}, int32_t nView = TOP_LEFT) {
    Picture picture(nWidth, nHeight, nBits, nOrder, palette, nView);
    std::mt19937 random(uint32_t(nBits * 1000 + nWidth));
    Row row(picture->BytesPerLine);
    const Access lock(picture);
    for (int32_t y = 0; y < nHeight; ++y) {
        for (uint8_t& n : row) n = uint8_t(random());
        clearTail(row.data(), nWidth, nBits, row.size());
        putRow(picture, row.data(), y);
    }
    return picture;
}

/// The inverse of readPixel.
inline void writePixel(uint8_t* pRow, int32_t x, int32_t nBits, uint64_t nValue) noexcept {
    if (nBits < 8) {
        const size_t nBit = size_t(x) * size_t(nBits);
        uint8_t* p = pRow + (nBit >> 3);
        const uint32_t nShift = 16 - uint32_t(nBit & 7) - uint32_t(nBits);
        const uint32_t nMask = ((1u << nBits) - 1) << nShift;
        const uint32_t nWord = uint32_t(nValue) << nShift;
        p[0] = uint8_t((p[0] & ~(nMask >> 8)) | nWord >> 8);
        if (nMask & 0xFF) p[1] = uint8_t((p[1] & ~nMask) | (nWord & 0xFF));
    } else if (nBits == 12) {
        uint8_t* p = pRow + size_t(x >> 1) * 3;
        if (x & 1) {
            p[1] = uint8_t((p[1] & 0x0F) | (nValue & 15) << 4);
            p[2] = uint8_t(nValue >> 4);
        } else {
            p[0] = uint8_t(nValue);
            p[1] = uint8_t((p[1] & 0xF0) | (nValue >> 8 & 15));
        }
    } else {
        std::memcpy(pRow + size_t(x) * size_t(nBits / 8), &nValue, size_t(nBits / 8));
    }
}

/// A pixel as stored.
inline uint64_t pixelAt(Picture& picture, int32_t x, int32_t y) {
    Row row(picture->BytesPerLine);
    const Access lock(picture);
    getRow(picture, row.data(), y);
    return readPixel(row.data(), x, picture->BitsPerPixel);
}

inline std::vector<uint64_t> pixelsOf(Picture& picture) {
    std::vector<uint64_t> pixels;
    Row row(picture->BytesPerLine);
    const Access lock(picture);
    for (int32_t y = 0; y < picture->Height; ++y) {
        getRow(picture, row.data(), y);
        for (int32_t x = 0; x < picture->Width; ++x) pixels.push_back(readPixel(row.data(), x, picture->BitsPerPixel));
    }
    return pixels;
}

inline std::vector<uint64_t> colorsOf(Picture& picture) {
    std::vector<uint64_t> pixels = pixelsOf(picture);
    for (uint64_t& n : pixels) {
        const RGBQUAD& entry = picture->pPalette[n];
        n = uint64_t(entry.rgbRed | entry.rgbGreen << 8 | entry.rgbBlue << 16);
    }
    return pixels;
}

}  // namespace ravo
