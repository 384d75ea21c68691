// Row kernels on a row of 4000 pixels in the cache, in place and apart, and on pictures of 12 Mpixel apart, row by row.
#include "internal/rowkernels.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace rv;

constexpr size_t kWidth = 4000, kHeight = 3000;
enum class Place { kRowInPlace, kRowApart, kPicture };

using Run = std::function<void(const uint8_t* src, uint8_t* dst, size_t n)>;

// Seconds of the fastest of some calls: what the memory lets through, without the neighbours' noise.
template <class F>
double bestSeconds(F f, int nCalls) {
    double best = 1e9;
    for (int i = 0; i < nCalls; ++i) {
        const auto start = std::chrono::steady_clock::now();
        f();
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

// The kernel and a memcpy that reads and writes as many bytes, in turn, so that both meet the same machine.
void measure(benchmark::State& state, const Run& run, size_t nSrcBits, size_t nDstBits, Place place) {
    const size_t nRows = place == Place::kPicture ? kHeight : 1, nRepeat = place == Place::kPicture ? 1 : 200;
    const size_t nSrcRow = (kWidth * nSrcBits + 7) / 8, nDstRow = (kWidth * nDstBits + 7) / 8;
    const size_t nCopyRow = (nSrcRow + nDstRow) / 2;
    std::vector<uint8_t> src(place == Place::kRowInPlace ? std::max(nSrcRow, nDstRow) : nSrcRow * nRows);
    std::vector<uint8_t> dst(nDstRow * nRows), from(nCopyRow * nRows, 1), to(nCopyRow * nRows, 2);
    std::mt19937 random(1);
    for (uint8_t& b : src) b = uint8_t(random());

    const auto kernel = [&] {
        for (size_t i = 0; i < nRepeat; ++i)
            for (size_t y = 0; y < nRows; ++y) {
                run(src.data() + y * nSrcRow, place == Place::kRowInPlace ? src.data() : dst.data() + y * nDstRow,
                    kWidth);
                benchmark::ClobberMemory();
            }
    };
    const auto copy = [&] {
        for (size_t i = 0; i < nRepeat; ++i) {
            std::memcpy(to.data(), from.data(), from.size());
            benchmark::ClobberMemory();
        }
    };
    double kernelBest = 1e9, copyBest = 1e9;
    for (auto _ : state) {
        copyBest = std::min(copyBest, bestSeconds(copy, 1));
        const double seconds = bestSeconds(kernel, 1);
        kernelBest = std::min(kernelBest, seconds);
        state.SetIterationTime(seconds);
    }
    state.counters["Mpix/s"] = double(kWidth * nRows * nRepeat) / kernelBest / 1e6;
    state.counters["vs_memcpy"] = copyBest / kernelBest;
}

void add(const std::string& name, size_t nSrcBits, size_t nDstBits, const Run& run) {
    const std::pair<const char*, Place> places[] = {
        {"/row_in_place", Place::kRowInPlace}, {"/row", Place::kRowApart}, {"/picture", Place::kPicture}};
    for (const auto& [suffix, place] : places)
        benchmark::RegisterBenchmark((name + suffix).c_str(), [=, where = place](benchmark::State& state) {
            measure(state, run, nSrcBits, nDstBits, where);
        })->UseManualTime();
}

const bool kRegistered = [] {
    const RowKernels& k = bestRowKernels();
    add("24_to_rgb24", 24, 24, k.shuffle.swap24);
    add("32_to_rgb32", 32, 32, k.shuffle.swap32);
    add("24_to_32", 24, 32, k.shuffle.widen24To32[kKeepOrder]);
    add("32_to_24", 32, 24, k.shuffle.narrow32To24[kKeepOrder]);
    add("48_to_24", 48, 24, k.shuffle.narrow48To24[kKeepOrder]);
    add("48_to_rgb24", 48, 24, k.shuffle.narrow48To24[kSwapOrder]);
    add("64_to_32", 64, 32, k.shuffle.narrow64To32[kKeepOrder]);
    add("64_to_rgb32", 64, 32, k.shuffle.narrow64To32[kSwapOrder]);
    add("24_to_48", 24, 48, k.shuffle.widen24To48[kKeepOrder]);
    add("24_to_rgb48", 24, 48, k.shuffle.widen24To48[kSwapOrder]);
    add("24_to_gray8", 24, 8, k.gray.gray8From24[kBlueFirst]);
    add("32_to_gray8", 32, 8, k.gray.gray8From32[kBlueFirst]);
    add("24_to_gray12", 24, 12, k.gray.gray12From24[kBlueFirst]);
    add("32_to_gray12", 32, 12, k.gray.gray12From32[kBlueFirst]);
    add("24_to_gray16", 24, 16, k.gray.gray16From24[kBlueFirst]);
    add("32_to_gray16", 32, 16, k.gray.gray16From32[kBlueFirst]);
    add("gray16_to_8", 16, 8, k.gray.gray16To8);
    add("gray16_bits_to_8", 16, 8,
        [&k](const uint8_t* s, uint8_t* d, size_t n) { k.gray.gray16To8Cut(s, d, n, 4, 255); });
    add("gray16_scaled_to_8", 16, 8,
        [&k](const uint8_t* s, uint8_t* d, size_t n) { k.gray.gray16To8Scaled(s, d, n, 5, 127); });
    const std::vector<uint8_t> levels(65536, 3);
    add("gray16_table_to_8", 16, 8, [&k, levels](const uint8_t* s, uint8_t* d, size_t n) {
        k.gray.gray16To8Table(s, d, n, 4, 0xFFF, levels.data());
    });
    const std::vector<RGBQUAD> palette(256, RGBQUAD{1, 2, 3, 255});
    add("pal8_to_24", 8, 24,
        [&k, palette](const uint8_t* s, uint8_t* d, size_t n) { k.palette.pal8To24(s, d, n, palette.data()); });
    add("pal8_to_32", 8, 32,
        [&k, palette](const uint8_t* s, uint8_t* d, size_t n) { k.palette.pal8To32(s, d, n, palette.data()); });
    add("1_to_8", 1, 8, [&k](const uint8_t* s, uint8_t* d, size_t n) { k.palette.bit1To8(s, d, n, 0, 255); });
    add("1_to_24", 1, 24, [&k](const uint8_t* s, uint8_t* d, size_t n) { k.palette.bit1To24(s, d, n, 0, 0xABCDEF); });
    add("1_to_32", 1, 32, [&k](const uint8_t* s, uint8_t* d, size_t n) { k.palette.bit1To32(s, d, n, 0, ~0u); });
    add("4_to_8", 4, 8,
        [&k, levels](const uint8_t* s, uint8_t* d, size_t n) { k.palette.nibble4To8(s, d, n, levels.data()); });
    add("555_to_24", 16, 24, k.packed16.to24[kBgr555][kBlueFirst]);
    add("565_to_24", 16, 24, k.packed16.to24[kBgr565][kBlueFirst]);
    add("565_to_32", 16, 32, k.packed16.to32[kBgr565][kBlueFirst]);
    add("24_to_555", 24, 16, k.packed16.from24[kBgr555][kBlueFirst]);
    add("24_to_565", 24, 16, k.packed16.from24[kBgr565][kBlueFirst]);
    add("32_to_555", 32, 16, k.packed16.from32[kBgr555][kBlueFirst]);
    add("32_to_565", 32, 16, k.packed16.from32[kBgr565][kBlueFirst]);
    add("premultiply_32", 32, 32, k.alpha.premultiply32);
    add("premultiply_64", 64, 64, k.alpha.premultiply64);
    add("unpremultiply_32", 32, 32, k.alpha.unpremultiply32);
    add("unpremultiply_64", 64, 64, k.alpha.unpremultiply64);
    return true;
}();

}  // namespace
