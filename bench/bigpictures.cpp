// Pictures larger than the memory they may take: a 24-bit one in tiles on disk, written in order, read back in random
// order and checked; a 1-bit page as run lists. Prints times and the most memory that was ever resident.
//
//   bigpictures [WIDTH HEIGHT [PAGE_WIDTH PAGE_HEIGHT]]
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "ravokit/ravokit.h"

namespace {

constexpr uint64_t kMostResident = 300u << 20;

class Stopwatch {
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();

public:
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count(); }
};

// The system's own figure: the process's largest resident set, in bytes.
uint64_t peakResident() {
    uint64_t nKiB = 0;
    if (FILE* pFile = std::fopen("/proc/self/status", "r")) {
        char line[256];
        while (std::fgets(line, sizeof line, pFile)) std::sscanf(line, "VmHWM: %" SCNu64, &nKiB);
        std::fclose(pFile);
    }
    return nKiB << 10;
}

[[noreturn]] void fail(const char* pWhat, int32_t nStatus) {
    std::fprintf(stderr, "%s gave %d\n", pWhat, nStatus);
    std::exit(1);
}

BITMAPRECORD create(uint32_t uMemoryFlags, int32_t nWidth, int32_t nHeight, int32_t nBits) {
    BITMAPRECORD bm;
    const int32_t nStatus = R_CreateBitmap(&bm, sizeof bm, uMemoryFlags, nWidth, nHeight, nBits,
                                           nBits <= 8 ? ORDER_RGB : ORDER_BGR, nullptr, TOP_LEFT, nullptr, 0);
    if (nStatus != 1) fail("R_CreateBitmap", nStatus);
    R_AccessBitmap(&bm);
    return bm;
}

// A row that its number tells apart from all others.
void paint(std::vector<uint8_t>& row, int32_t y) {
    uint64_t u = uint64_t(y) * 0x9E3779B97F4A7C15u + 1;
    for (size_t i = 0; i < row.size(); i += 8, u = u * 6364136223846793005u + 1442695040888963407u)
        std::memcpy(&row[i], &u, std::min<size_t>(8, row.size() - i));
}
// Lines of text with white between them: runs of some pixels.
void print(std::vector<uint8_t>& row, int32_t y) {
    std::fill(row.begin(), row.end(), uint8_t(0));
    if (y % 100 < 40) return;
    for (size_t i = 20; i + 20 < row.size(); i += 40 + (i * 7 + size_t(y) / 5) % 51) row[i] = uint8_t(0x3C + y % 4);
}

template <class Make>
void writeAndCheck(BITMAPRECORD& bm, Make make) {
    std::vector<uint8_t> row(size_t(bm.Width) * unsigned(bm.BitsPerPixel) / 8), got(row.size());
    const auto nBytes = uint32_t(row.size());
    const Stopwatch writing;
    for (int32_t y = 0; y < bm.Height; ++y) {
        make(row, y);
        if (const int32_t n = R_PutBitmapRow(&bm, row.data(), y, nBytes); n != int32_t(nBytes))
            fail("R_PutBitmapRow", n);
    }
    std::printf("  written in order in %.1f s\n", writing.seconds());
    std::vector<int32_t> order(size_t(bm.Height), 0);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(1));
    order.resize(std::min<size_t>(order.size(), 20000));  // random rows map a tile each
    const Stopwatch reading;
    for (const int32_t y : order) {
        make(row, y);
        if (const int32_t n = R_GetBitmapRow(&bm, got.data(), y, nBytes); n != int32_t(nBytes))
            fail("R_GetBitmapRow", n);
        if (got != row) fail("the row that was read", y);
    }
    std::printf("  %zu rows in random order read and right in %.1f s\n", order.size(), reading.seconds());
}

}  // namespace

int main(int argc, char** argv) {
    const auto argument = [=](int i, int32_t nDefault) { return argc > i ? std::atoi(argv[i]) : nDefault; };
    {
        BITMAPRECORD bm = create(BMMEM_TILED, argument(1, 40000), argument(2, 40000), 24);
        uint32_t uMemory = 0, nTileBytes = 0, nTiles = 0;
        R_GetBitmapMemoryInfo(&bm, &uMemory, &nTileBytes, &nTiles, nullptr, nullptr, nullptr);
        std::printf("%d x %d pixels of 24 bits: %u tiles of %u bytes\n", bm.Width, bm.Height, nTiles, nTileBytes);
        writeAndCheck(bm, paint);
        const Stopwatch freeing;
        R_FreeBitmap(&bm);
        std::printf("  freed in %.2f s\n", freeing.seconds());
    }
    {
        BITMAPRECORD bm = create(BMMEM_COMPRESSED, argument(3, 200000), argument(4, 70000), 1);
        writeAndCheck(bm, print);
        std::printf("%d x %d pixels of 1 bit: %" PRIu64 " bytes of run lists\n", bm.Width, bm.Height, bm.Size64);
        R_FreeBitmap(&bm);
    }
    std::printf("most memory resident: %.0f MB\n", double(peakResident()) / (1 << 20));
    return peakResident() <= kMostResident ? 0 : 1;
}
