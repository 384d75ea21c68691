// Whole bitmaps to grey beside the bare row kernel on the same rows, and scans that look at every pixel.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>

#include "ravokit/alpha.h"
#include "ravokit/convert.h"
#include "ravokit/grayscale.h"

namespace {

constexpr int32_t kWidth = 4000, kHeight = 1000;

template <class Op>
double secondsOf(Op&& op) {
    const auto start = std::chrono::steady_clock::now();
    op();
    benchmark::ClobberMemory();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Picture {
    BITMAPRECORD record{};
    Picture(int32_t nBits, int32_t nOrder) {
        R_CreateBitmap(&record, sizeof record, 1, kWidth, kHeight, nBits, nOrder, nullptr, TOP_LEFT, nullptr, 0);
        std::mt19937 random(1);
        for (uint32_t i = 0; i < record.Size; ++i) record.pData[i] = uint8_t(random());
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { R_FreeBitmap(&record); }
};

// op and, in turn, what it is measured against.
template <class Op, class Other>
void measure(benchmark::State& state, const char* pAgainst, Op&& op, Other&& other) {
    double best = 1e9, bestOther = 1e9;
    for (auto _ : state) {
        bestOther = std::min(bestOther, secondsOf(other));
        const double seconds = secondsOf(op);
        best = std::min(best, seconds);
        state.SetIterationTime(seconds);
    }
    state.counters["Mpix/s"] = double(kWidth) * kHeight / best / 1e6;
    state.counters[pAgainst] = bestOther / best;
}

// A record of the caller's data stands for the picture, so that every run starts from it.
void grayBitmap(benchmark::State& state, int32_t nBits, int32_t nDst) {
    Picture picture(nBits, ORDER_BGR), out(nDst, nDst == 8 ? ORDER_RGB : ORDER_GRAY);
    measure(
        state, "vs_rows",
        [&] {
            BITMAPRECORD bm;
            R_CreateBitmap(&bm, sizeof bm, BMMEM_USER, kWidth, kHeight, nBits, ORDER_BGR, nullptr, TOP_LEFT,
                           picture.record.pData, picture.record.Size);
            R_GrayScaleBitmap(&bm, nDst);
            R_FreeBitmap(&bm);
        },
        [&] {
            for (size_t y = 0; y < kHeight; ++y)
                R_ConvertRow(out.record.pData + y * out.record.BytesPerLine,
                             picture.record.pData + y * picture.record.BytesPerLine, kWidth, nBits,
                             nDst == 8 ? 0 : nDst, ORDER_BGR, nDst == 8 ? ORDER_RGB : ORDER_GRAY, nullptr, nullptr);
        });
}
BENCHMARK_CAPTURE(grayBitmap, 24_to_8, 24, 8)->UseManualTime();
BENCHMARK_CAPTURE(grayBitmap, 24_to_16, 24, 16)->UseManualTime();
BENCHMARK_CAPTURE(grayBitmap, 48_to_8, 48, 8)->UseManualTime();

// Scans beside a copy of the bytes that they read.
void scan(benchmark::State& state, bool bAlpha) {
    Picture picture(32, bAlpha ? ORDER_BGR : ORDER_GRAY), copy(32, ORDER_BGR);
    if (bAlpha) R_SetBitmapAlphaValues(&picture.record, 255);
    int64_t nMin, nMax;
    measure(
        state, "vs_memcpy",
        [&] {
            if (bAlpha)
                benchmark::DoNotOptimize(R_BitmapHasMeaningfulAlpha(&picture.record));
            else
                benchmark::DoNotOptimize(R_IntGetMinMaxValGray(&picture.record, &nMin, &nMax));
        },
        [&] { std::memcpy(copy.record.pData, picture.record.pData, copy.record.Size); });
}
BENCHMARK_CAPTURE(scan, meaningful_alpha, true)->UseManualTime();
BENCHMARK_CAPTURE(scan, gray_range, false)->UseManualTime();

}  // namespace
