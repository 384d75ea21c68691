// The bitmap store against plain memory: row calls, the life of a small bitmap, copies of large ones. Each line stands
// beside the memcpy or malloc of the same bytes in the same run.
#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "ravokit/ravokit.h"

namespace {

constexpr int32_t kWidth = 4000, kHeight = 64;  // rows that stay in the cache

struct Rows {
    BITMAPRECORD bm;
    std::vector<uint8_t> buffer = std::vector<uint8_t>(kWidth * 3);
    Rows() {
        R_CreateBitmap(&bm, sizeof bm, BMMEM_CONVENTIONAL, kWidth, kHeight, 24, ORDER_BGR, nullptr, TOP_LEFT, nullptr,
                       0);
        R_AccessBitmap(&bm);
    }
    ~Rows() { R_FreeBitmap(&bm); }
};

template <class Op>
void perRow(benchmark::State& state, Op op) {
    Rows rows;
    const auto bytes = uint32_t(state.range(0));
    int32_t y = 0;
    for (auto _ : state) {
        op(rows, y, bytes);
        benchmark::ClobberMemory();
        y = (y + 1) % kHeight;
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * bytes * 2);
}

void memcpyFromRow(benchmark::State& state) {
    perRow(state, [](Rows& r, int32_t y, uint32_t n) {
        std::memcpy(r.buffer.data(), r.bm.pData + size_t(y) * r.bm.BytesPerLine, n);
    });
}
void memcpyToRow(benchmark::State& state) {
    perRow(state, [](Rows& r, int32_t y, uint32_t n) {
        std::memcpy(r.bm.pData + size_t(y) * r.bm.BytesPerLine, r.buffer.data(), n);
    });
}
void rowGet(benchmark::State& state) {
    perRow(state, [](Rows& r, int32_t y, uint32_t n) { R_GetBitmapRow(&r.bm, r.buffer.data(), y, n); });
}
void rowPut(benchmark::State& state) {
    perRow(state, [](Rows& r, int32_t y, uint32_t n) { R_PutBitmapRow(&r.bm, r.buffer.data(), y, n); });
}
BENCHMARK(memcpyFromRow)->Arg(kWidth * 3)->Arg(16);
BENCHMARK(rowGet)->Arg(kWidth * 3)->Arg(16);
BENCHMARK(memcpyToRow)->Arg(kWidth * 3)->Arg(16);
BENCHMARK(rowPut)->Arg(kWidth * 3)->Arg(16);

void smallMalloc(benchmark::State& state) {
    for (auto _ : state) {
        void* p = std::malloc(64 * 64 * 3);
        benchmark::DoNotOptimize(p);
        std::free(p);
    }
}
void smallBitmap(benchmark::State& state) {
    for (auto _ : state) {
        BITMAPRECORD bm;
        R_CreateBitmap(&bm, sizeof bm, BMMEM_CONVENTIONAL, 64, 64, 24, ORDER_BGR, nullptr, TOP_LEFT, nullptr, 0);
        R_AccessBitmap(&bm);
        benchmark::DoNotOptimize(bm.pData);
        R_ReleaseBitmap(&bm);
        R_FreeBitmap(&bm);
    }
}
BENCHMARK(smallMalloc);
BENCHMARK(smallBitmap);

constexpr int32_t kLargeWidth = 4000, kLargeHeight = 4000;  // 48 MB at 24 bits

// Fresh memory is memory that the process has never touched: both sides get it from the system anew each time.
void largeMemcpy(benchmark::State& state) {
    const size_t n = size_t(kLargeWidth) * kLargeHeight * 3;
    std::vector<uint8_t> from(n, 1);
    for (auto _ : state) {
        void* p = mmap(nullptr, n, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        std::memcpy(p, from.data(), n);
        benchmark::ClobberMemory();
        munmap(p, n);
    }
}
void largeMemcpyHugePages(benchmark::State& state) {
    const size_t n = size_t(kLargeWidth) * kLargeHeight * 3, all = n + (2u << 20);
    std::vector<uint8_t> from(n, 1);
    for (auto _ : state) {
        auto* p = static_cast<uint8_t*>(mmap(nullptr, all, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        auto* q = p + (-reinterpret_cast<uintptr_t>(p) & ((2u << 20) - 1));
        madvise(q, n, MADV_HUGEPAGE);
        std::memcpy(q, from.data(), n);
        benchmark::ClobberMemory();
        munmap(p, all);
    }
}
void largeCopyBitmap(benchmark::State& state) {
    BITMAPRECORD src, dst;
    R_CreateBitmap(&src, sizeof src, BMMEM_CONVENTIONAL, kLargeWidth, kLargeHeight, 24, ORDER_BGR, nullptr, TOP_LEFT,
                   nullptr, 0);
    R_FillBitmap(&src, 0x123456);
    for (auto _ : state) {
        R_CopyBitmap(&dst, &src, sizeof dst);
        benchmark::ClobberMemory();
        R_FreeBitmap(&dst);
    }
    R_FreeBitmap(&src);
}
BENCHMARK(largeMemcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(largeMemcpyHugePages)->Unit(benchmark::kMillisecond);
BENCHMARK(largeCopyBitmap)->Unit(benchmark::kMillisecond);

}  // namespace
