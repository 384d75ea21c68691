// Run lists against plain memory: a page of text compressed and expanded, and stretches written into the rows of a
// compressed bitmap. Mpixel/s are items; the memcpy of the same rows in the same run is the measure.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "bench/textpage.h"
#include "internal/runs.h"
#include "ravokit/ravokit.h"

namespace {

using textpage::kHeight;
using textpage::kStride;
using textpage::kWidth;

struct Page {
    std::vector<uint8_t> bits = textpage::make(), out = bits;
    std::vector<uint16_t> records = std::vector<uint16_t>(size_t(kWidth + 3) * kHeight);
    Page() { R_CompressRows(records.data(), bits.data(), kWidth, kHeight); }
};
Page& page() {
    static Page p;
    return p;
}

template <class Op>
void perPage(benchmark::State& state, Op op) {
    Page& p = page();
    for (auto _ : state) {
        op(p);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kWidth * kHeight);
    if (std::memcmp(p.bits.data(), p.out.data(), p.bits.size()) != 0) state.SkipWithError("the page is another one");
}

void pageMemcpy(benchmark::State& state) {
    perPage(state, [](Page& p) { std::memcpy(p.out.data(), p.bits.data(), p.bits.size()); });
}
void pageCompress(benchmark::State& state) {
    perPage(state, [](Page& p) { R_CompressRows(p.records.data(), p.bits.data(), kWidth, kHeight); });
}
void pageCompressPlain(benchmark::State& state) {
    perPage(state, [](Page& p) {
        uint16_t* to = p.records.data();
        for (int32_t y = 0; y < kHeight; ++y) {
            rv::OpenRuns open{to + rv::kRecordHead, 0, 0};
            rv::kPlainRuns.encode(open, &p.bits[size_t(y) * kStride], 0, kWidth);
            *open.p++ = uint16_t(open.nRun);
            to = rv::closeRecord(to, open.p);
        }
    });
}
void pageExpand(benchmark::State& state) {
    perPage(state, [](Page& p) { R_ExpandRows(p.records.data(), p.out.data(), kWidth, kHeight); });
}
BENCHMARK(pageMemcpy);
BENCHMARK(pageCompress);
BENCHMARK(pageCompressPlain);
BENCHMARK(pageExpand);

// 64 pixels at random places of the rows of a compressed page, of text (0) or of noise all over (1).
void spliceStretch(benchmark::State& state) {
    BITMAPRECORD bm;
    R_CreateBitmap(&bm, sizeof bm, BMMEM_COMPRESSED, kWidth, kHeight, 1, ORDER_RGB, nullptr, TOP_LEFT, nullptr, 0);
    R_AccessBitmap(&bm);
    std::mt19937 random(7);
    std::vector<uint8_t> noise(kStride * 16);
    for (auto& b : noise) b = uint8_t(random());
    for (int32_t y = 0; y < kHeight; ++y)
        R_PutBitmapRow(&bm, state.range(0) ? &noise[random() % 8 * kStride] : &page().bits[size_t(y) * kStride], y,
                       kStride);
    for (auto _ : state) {
        const auto at = uint32_t(random());
        R_PutBitmapRowCol(&bm, &noise[at % (kStride * 15)], int32_t(at / 64 % kHeight), int32_t(random() % kWidth), 8);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * 64);
    R_FreeBitmap(&bm);
}
BENCHMARK(spliceStretch)->Arg(0)->Arg(1);

}  // namespace
