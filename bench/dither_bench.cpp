// Dithering of a 24-bit picture row by row, by every method to two colours and to a palette that is searched.
#include "ravokit/dither.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ravokit/palette.h"

namespace {

constexpr int32_t kWidth = 4000, kHeight = 500;
constexpr const char* kMethods[] = {"none",           "floyd",  "stucki",  "burkes",   "sierra",
                                    "stevenson_arce", "jarvis", "ordered", "clustered"};

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The rows and a memcpy that reads and writes as many bytes, in turn.
void measure(benchmark::State& state, int32_t method, bool bSearched) {
    const size_t nSrcRow = kWidth * 3, nDstRow = bSearched ? kWidth : kWidth / 8;
    std::mt19937 random(1);
    RGBQUAD palette[256];
    for (RGBQUAD& q : palette) q = {uint8_t(random()), uint8_t(random()), uint8_t(random()), 0};
    std::vector<uint8_t> photo(nSrcRow * kHeight), out(nDstRow * kHeight), from((nSrcRow + nDstRow) / 2 * kHeight, 1),
        to(from.size());
    for (size_t i = 0; i < photo.size(); ++i)  // smooth, with noise
        photo[i] = uint8_t(30 + i % nSrcRow * 90 / nSrcRow + i / nSrcRow * 90 / kHeight + i % 3 * 10 + random() % 9);
    BITMAPRECORD bm;
    R_InitBitmap(&bm, sizeof bm, kWidth, kHeight, 24);
    bm.DitheringMethod = method;
    double best = 1e9, bestCopy = 1e9;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
        bestCopy = std::min(bestCopy, secondsSince(start));
        start = std::chrono::steady_clock::now();
        R_StartDithering(&bm, bSearched ? palette : nullptr, bSearched ? 256 : 2);
        for (size_t y = 0; y < kHeight; ++y) R_DitherLine(&bm, &photo[y * nSrcRow], &out[y * nDstRow]);
        R_StopDithering(&bm);
        benchmark::ClobberMemory();
        const double seconds = secondsSince(start);
        best = std::min(best, seconds);
        state.SetIterationTime(seconds);
    }
    state.counters["Mpix/s"] = double(kWidth) * kHeight / best / 1e6;
    state.counters["vs_memcpy"] = bestCopy / best;
}

const bool kRegistered = [] {
    for (int32_t method = DITHER_NONE; method <= DITHER_CLUSTERED; ++method)
        for (const bool bSearched : {false, true})
            benchmark::RegisterBenchmark(
                (std::string("dither/") + kMethods[method] + (bSearched ? "/24_to_palette" : "/24_to_1")).c_str(),
                [=](benchmark::State& state) { measure(state, method, bSearched); })
                ->UseManualTime();
    return true;
}();

}  // namespace
