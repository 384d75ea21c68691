// Run lists against plain memory: a page of text compressed and expanded, and stretches written into the rows of a
// compressed bitmap. Mpixel/s are items; the memcpy of the same rows in the same run is the measure.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "internal/runs.h"
#include "ravokit/ravokit.h"

namespace {

constexpr int32_t kWidth = 5000, kHeight = 7000;  // a sheet at 600 dots per inch
constexpr uint32_t kStride = (kWidth + 31) / 32 * 4;

void setRun(uint8_t* row, int32_t from, int32_t to) {
    for (int32_t x = from; x < to && x < kWidth; ++x) row[x / 8] = uint8_t(row[x / 8] | 0x80 >> x % 8);
}

// Lines of words of letters, each a stem or two that lean, with a bar.
std::vector<uint8_t> textPage() {
    std::vector<uint8_t> page(size_t(kStride) * kHeight);
    std::mt19937 random(5);
    const auto upTo = [&](uint32_t n) { return int32_t(random() % n); };
    for (int32_t top = 300; top < kHeight - 360; top += 88)
        for (int32_t x = 420; x < 4560;) {
            if (upTo(6) == 0) {
                x += 26;
                continue;
            }
            const int32_t width = 20 + upTo(18), stem = 5 + upTo(4), slant = upTo(5), bar = upTo(46), second = upTo(2);
            for (int32_t y = 0; y < 50; ++y) {
                uint8_t* row = &page[size_t(top + 60 - y) * kStride];
                const int32_t at = x + slant * y / 12;
                setRun(row, at, at + (y >= bar && y < bar + 5 ? width : stem));
                if (second) setRun(row, at + width - stem, at + width);
            }
            x += width + 7;
        }
    return page;
}

struct Page {
    std::vector<uint8_t> bits = textPage(), out = bits;
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
