// Rows of tiled and disk bitmaps against the same bytes from flat memory, from a mapped file and by pread.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "ravokit/ravokit.h"

namespace {

constexpr int32_t kWidth = 8000, kHeight = 8000;  // 192 MB
constexpr size_t kRow = size_t(kWidth) * 3, kAll = kRow * kHeight;

struct Store {
    BITMAPRECORD bm;
    std::vector<uint8_t> buffer = std::vector<uint8_t>(kRow, 7);
    explicit Store(uint32_t uFlags, int32_t nTileSize = 0) {
        R_SetMemoryThresholds(0, 0, nTileSize, 0, 0, 4);
        R_CreateBitmap(&bm, sizeof bm, uFlags, kWidth, kHeight, 24, ORDER_BGR, nullptr, TOP_LEFT, nullptr, 0);
        R_AccessBitmap(&bm);
        for (int32_t y = 0; y < kHeight; ++y) R_PutBitmapRow(&bm, buffer.data(), y, kRow);
    }
    ~Store() { R_FreeBitmap(&bm); }
};

// Whole rows in order, and a few bytes of each row.
void get(benchmark::State& state, uint32_t uFlags, int32_t nTileSize = 0) {
    Store store(uFlags, nTileSize);
    const auto n = uint32_t(state.range(0));
    for (auto _ : state)
        for (int32_t y = 0; y < kHeight; ++y) {
            R_GetBitmapRow(&store.bm, store.buffer.data(), y, n);
            benchmark::ClobberMemory();
        }
    state.SetBytesProcessed(int64_t(state.iterations()) * n * kHeight);
}
void put(benchmark::State& state, uint32_t uFlags) {
    Store store(uFlags);
    for (auto _ : state)
        for (int32_t y = 0; y < kHeight; ++y) R_PutBitmapRow(&store.bm, store.buffer.data(), y, kRow);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kAll));
}

struct File {
    int fd;
    std::vector<uint8_t> buffer = std::vector<uint8_t>(kRow, 7);
    File() {
        std::string name = (std::filesystem::temp_directory_path() / "rowsXXXXXX").string();
        fd = mkstemp(name.data());
        unlink(name.c_str());
        for (int32_t y = 0; y < kHeight; ++y)
            if (write(fd, buffer.data(), kRow) != ssize_t(kRow)) std::abort();
    }
    ~File() { close(fd); }
};

// The file as one mapping, made anew for each pass as views are.
void mappedFile(benchmark::State& state) {
    File file;
    const auto n = size_t(state.range(0));
    for (auto _ : state) {
        auto* p = static_cast<uint8_t*>(mmap(nullptr, kAll, PROT_READ | PROT_WRITE, MAP_SHARED, file.fd, 0));
        for (int32_t y = 0; y < kHeight; ++y) {
            std::memcpy(file.buffer.data(), p + size_t(y) * kRow, n);
            benchmark::ClobberMemory();
        }
        munmap(p, kAll);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n) * kHeight);
}
void preadFile(benchmark::State& state) {
    File file;
    const auto n = size_t(state.range(0));
    for (auto _ : state)
        for (int32_t y = 0; y < kHeight; ++y) {
            if (pread(file.fd, file.buffer.data(), n, off_t(size_t(y) * kRow)) != ssize_t(n)) std::abort();
            benchmark::ClobberMemory();
        }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(n) * kHeight);
}

constexpr int32_t kFew = 64, kWhole = int32_t(kRow);
BENCHMARK_CAPTURE(get, flat, BMMEM_CONVENTIONAL)->Arg(kWhole)->Arg(kFew)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(get, memoryTiles, BMMEM_TILED | BMMEM_NO_DISK)->Arg(kWhole)->Arg(kFew)->Unit(benchmark::kMillisecond);
BENCHMARK(mappedFile)->Arg(kWhole)->Arg(kFew)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(get, fileTiles, BMMEM_TILED)->Arg(kWhole)->Arg(kFew)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(get, smallFileTiles, BMMEM_TILED, 0x100000)->Arg(kWhole)->Arg(kFew)->Unit(benchmark::kMillisecond);
BENCHMARK(preadFile)->Arg(kWhole)->Arg(kFew)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(get, disk, BMMEM_DISK)->Arg(kWhole)->Arg(kFew)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(put, flat, BMMEM_CONVENTIONAL)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(put, memoryTiles, BMMEM_TILED | BMMEM_NO_DISK)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(put, fileTiles, BMMEM_TILED)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(put, disk, BMMEM_DISK)->Unit(benchmark::kMillisecond);

}  // namespace
