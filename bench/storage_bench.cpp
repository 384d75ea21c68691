// The storage classes against what they rest on, whole pictures row by row in order: tiles in memory against the flat
// class, tiles in files with one view against a mapping of one file, the disk class against pread and pwrite. Each pair
// moves the same rows in the same run; files are in the page cache.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ravokit/ravokit.h"

namespace {

constexpr int32_t kWidth = 8000, kHeight = 3000;  // 72 MB at 24 bits
constexpr uint32_t kLine = kWidth * 3;
constexpr uint64_t kBytes = uint64_t(kLine) * kHeight;

void setBytes(benchmark::State& state) { state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kBytes) * 2); }

struct Picture {
    BITMAPRECORD bm{};
    std::vector<uint8_t> row = std::vector<uint8_t>(kLine, 0x5A);
    int32_t nStatus;
    explicit Picture(uint32_t uMemoryFlags) {
        nStatus =
            R_CreateBitmap(&bm, sizeof bm, uMemoryFlags, kWidth, kHeight, 24, ORDER_BGR, nullptr, TOP_LEFT, nullptr, 0);
        R_AccessBitmap(&bm);
        for (int32_t y = 0; y < kHeight && nStatus == 1; ++y) R_PutBitmapRow(&bm, row.data(), y, kLine);
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { R_FreeBitmap(&bm); }
};

template <bool bPut>
void moveRows(benchmark::State& state, uint32_t uMemoryFlags) {
    Picture picture(uMemoryFlags);
    if (picture.nStatus != 1) return state.SkipWithError("no such storage");
    for (auto _ : state)
        for (int32_t y = 0; y < kHeight; ++y) {
            if constexpr (bPut)
                R_PutBitmapRow(&picture.bm, picture.row.data(), y, kLine);
            else
                R_GetBitmapRow(&picture.bm, picture.row.data(), y, kLine);
            benchmark::ClobberMemory();
        }
    setBytes(state);
}
void getRows(benchmark::State& state, uint32_t uMemoryFlags) { moveRows<false>(state, uMemoryFlags); }
void putRows(benchmark::State& state, uint32_t uMemoryFlags) { moveRows<true>(state, uMemoryFlags); }
BENCHMARK_CAPTURE(getRows, flat, BMMEM_CONVENTIONAL)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(getRows, tilesInMemory, BMMEM_TILED | BMMEM_NO_DISK)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(putRows, flat, BMMEM_CONVENTIONAL)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(putRows, tilesInMemory, BMMEM_TILED | BMMEM_NO_DISK)->Unit(benchmark::kMillisecond);

// A file that is gone with its descriptor, filled.
struct File {
    int fd;
    std::vector<uint8_t> row = std::vector<uint8_t>(kLine, 0x5A);
    File() {
        const char* pDirectory = std::getenv("TMPDIR");
        std::string name = std::string(pDirectory ? pDirectory : "/tmp") + "/bench.XXXXXX";
        fd = mkstemp(name.data());
        unlink(name.c_str());
        for (int32_t y = 0; y < kHeight; ++y)
            if (pwrite(fd, row.data(), kLine, off_t(y) * kLine) != ssize_t(kLine)) std::abort();
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { close(fd); }
};

// Tiles are mapped again on each pass, so the file is, too.
template <bool bPut>
void mappedFile(benchmark::State& state) {
    File file;
    for (auto _ : state) {
        auto* p = static_cast<uint8_t*>(mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.fd, 0));
        for (int32_t y = 0; y < kHeight; ++y) {
            uint8_t* pRow = p + uint64_t(y) * kLine;
            std::memcpy(bPut ? pRow : file.row.data(), bPut ? file.row.data() : pRow, kLine);
            benchmark::ClobberMemory();
        }
        munmap(p, kBytes);
    }
    setBytes(state);
}
BENCHMARK(mappedFile<false>)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(getRows, fileTilesOneView, BMMEM_TILED)->Unit(benchmark::kMillisecond);
BENCHMARK(mappedFile<true>)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(putRows, fileTilesOneView, BMMEM_TILED)->Unit(benchmark::kMillisecond);

template <bool bPut>
void plainFile(benchmark::State& state) {
    File file;
    for (auto _ : state)
        for (int32_t y = 0; y < kHeight; ++y) {
            const off_t nAt = off_t(y) * kLine;
            const ssize_t n =
                bPut ? pwrite(file.fd, file.row.data(), kLine, nAt) : pread(file.fd, file.row.data(), kLine, nAt);
            if (n != ssize_t(kLine)) std::abort();
        }
    setBytes(state);
}
BENCHMARK(plainFile<false>)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(getRows, disk, BMMEM_DISK)->Unit(benchmark::kMillisecond);
BENCHMARK(plainFile<true>)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(putRows, disk, BMMEM_DISK)->Unit(benchmark::kMillisecond);

}  // namespace
