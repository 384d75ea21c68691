// Super-compressed rows in order, both ways, against the flat class in the same run: a photograph of 24 bits, a grey
// one and a page. "ratio" is the pixels' bytes to the compressed ones.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "ravokit/ravokit.h"

namespace {

constexpr int32_t kWidth = 2048, kHeight = 1024;

struct Picture {
    BITMAPRECORD bm{};
    std::vector<uint8_t> rows;
    int32_t nStatus;
    Picture(uint32_t uMemoryFlags, int32_t nBits) {
        nStatus = R_CreateBitmap(&bm, sizeof bm, uMemoryFlags, kWidth, kHeight, nBits,
                                 nBits == 24 ? ORDER_BGR : ORDER_RGB, nullptr, TOP_LEFT, nullptr, 0);
        if (nStatus != 1) return;
        R_AccessBitmap(&bm);
        rows.resize(size_t(bm.BytesPerLine) * kHeight);
        std::mt19937 random(1);
        std::normal_distribution<float> grain(0, 2);
        for (int32_t y = 0; y < kHeight; ++y)
            for (int32_t x = 0; x < kWidth; ++x) draw(y, x, nBits, grain(random), [&] { return grain(random); });
        put();
        uint8_t b;  // opens the first strip, so that the last is saved
        R_GetBitmapRow(&bm, &b, 0, 1);
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { R_FreeBitmap(&bm); }

    // Slow waves with a grain, or lines of something like letters.
    template <class Grain>
    void draw(int32_t y, int32_t x, int32_t nBits, float first, Grain grain) {
        uint8_t* p = &rows[size_t(y) * bm.BytesPerLine];
        if (nBits == 1) {
            const bool bInk = y % 32 < 20 && (x / 5 * 7919 + y / 32 * 104729) % 11 < 4 && (x + y) % 7 < 5;
            p[x / 8] = uint8_t(p[x / 8] | (bInk ? 0x80 >> x % 8 : 0));
            return;
        }
        for (int32_t c = 0; c < nBits / 8; ++c)
            p[x * (nBits / 8) + c] = uint8_t(128 + 60 * std::sin(float(x) / float(90 + 7 * c)) +
                                             50 * std::cos(float(y) / float(60 + 5 * c)) + (c ? grain() : first));
    }
    void put() {
        for (int32_t y = 0; y < kHeight; ++y)
            R_PutBitmapRow(&bm, &rows[size_t(y) * bm.BytesPerLine], y, bm.BytesPerLine);
    }
};

void moveRows(benchmark::State& state, uint32_t uMemoryFlags, int32_t nBits, bool bPut) {
    Picture picture(uMemoryFlags, nBits);
    if (picture.nStatus != 1) return state.SkipWithError("no such codec");
    std::vector<uint8_t> row(picture.bm.BytesPerLine);
    for (auto _ : state)
        if (bPut) {
            picture.put();
        } else {
            for (int32_t y = 0; y < kHeight; ++y) R_GetBitmapRow(&picture.bm, row.data(), y, picture.bm.BytesPerLine);
            benchmark::ClobberMemory();
        }
    state.counters["pixels"] =
        benchmark::Counter(double(state.iterations()) * kWidth * kHeight, benchmark::Counter::kIsRate);
    state.counters["ratio"] = double(picture.rows.size()) / double(picture.bm.Size64);
}

const bool g_bRegistered = [] {
    for (const int32_t nBits : {24, 8, 1})
        for (const bool bPut : {false, true})
            for (const uint32_t uMemoryFlags : {uint32_t(BMMEM_CONVENTIONAL), uint32_t(BMMEM_SUPERCOMPRESSED)})
                benchmark::RegisterBenchmark((std::string(bPut ? "put" : "get") + std::to_string(nBits) +
                                              (uMemoryFlags == BMMEM_CONVENTIONAL ? "/flat" : "/strips"))
                                                 .c_str(),
                                             moveRows, uMemoryFlags, nBits, bPut)
                    ->Unit(benchmark::kMillisecond);
    return true;
}();

}  // namespace
