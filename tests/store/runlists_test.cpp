// Run lists: the kernels against each other, lists on plain buffers, and compressed bitmaps against flat ones.
#include <gtest/gtest.h>

#include <numeric>

#include "internal/runlists_.h"
#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

using Runs = std::vector<uint16_t>;

constexpr uint32_t kSize = sizeof(BITMAPRECORD);

struct Random {
    std::mt19937 m_engine;
    explicit Random(uint32_t seed) : m_engine(seed) {}
    uint32_t operator()(uint32_t below) { return uint32_t(m_engine() % below); }
};

bool bitAt(const uint8_t* row, size_t x) { return row[x / 8] >> (7 - x % 8) & 1; }
void setBit(uint8_t* row, size_t x, bool on) { rv::Pixel<1>::put(row, x, on); }

// Rows of runs of about the length asked for; 0 is noise.
Bytes randomRow(size_t width, uint32_t length, uint32_t seed) {
    if (length == 0) return randomBytes((width + 31) / 32 * 4, seed);
    Bytes row((width + 31) / 32 * 4);
    Random random(seed);
    bool on = random(2);
    for (size_t x = 0; x < width; on = !on)
        for (size_t n = random(2 * length) + 1; n-- && x < width; ++x) setBit(row.data(), x, on);
    return row;
}

// The list of a row pixel by pixel, by the definition.
Runs slowRuns(const uint8_t* row, size_t first, size_t width) {
    Runs runs;
    uint32_t run = 0;
    bool colour = false;
    for (size_t x = first; x < first + width; ++x) {
        if (bitAt(row, x) != colour) {
            runs.push_back(uint16_t(run));
            run = 0;
            colour = !colour;
        } else if (run == 65535) {
            runs.insert(runs.end(), {65535, 0});
            run = 0;
        }
        ++run;
    }
    runs.push_back(uint16_t(run));
    return runs;
}

Runs record(const Runs& values) {
    Runs out{uint16_t(values.size()), uint16_t(values.size() >> 16)};
    out.insert(out.end(), values.begin(), values.end());
    return out;
}
Runs values(const Runs& rec) { return {rec.begin() + 2, rec.begin() + 2 + rv::recordWords(rec.data())}; }

std::vector<const rv::RunOps*> allOps() {
    std::vector<const rv::RunOps*> ops{&rv::kPlainRuns, &rv::kWordRuns};
    if (&rv::bestRuns() != &rv::kWordRuns) ops.push_back(&rv::bestRuns());
    return ops;
}

TEST(RunLists, EveryKernelWritesTheSameListAndReadsItBack) {
    for (const size_t width : {1u, 7u, 8u, 63u, 64u, 65u, 67u, 68u, 129u, 200u, 1000u, 65600u, 140000u})
        for (const uint32_t length : {0u, 1u, 9u, 300u, 100000u})
            for (const uint32_t phase : {0u, 1u, 7u}) {
                const Bytes row = randomRow(width + phase, length, uint32_t(width) + length);
                const Runs want = slowRuns(row.data(), phase, width);
                for (size_t k = 0; k < allOps().size(); ++k) {
                    const rv::RunOps& ops = *allOps()[k];
                    Runs got(width + 2, 0xA5A5);  // a guard behind the values that there may be
                    rv::OpenRuns open{got.data(), 0, 0};
                    ops.encode(open, row.data(), phase, uint32_t(width));
                    *open.p++ = uint16_t(open.nRun);
                    ASSERT_EQ(got[width + 1], 0xA5A5) << k << " " << width << " " << length << " " << phase;
                    got.resize(size_t(open.p - got.data()));
                    ASSERT_EQ(got, want) << k << " " << width << " " << length << " " << phase;
                    // Split anywhere, the second half goes on from the open run.
                    const size_t first = width / 3;
                    Runs halves(width + 2);
                    open = {halves.data(), 0, 0};
                    ops.encode(open, row.data(), phase, uint32_t(first));
                    ops.encode(open, row.data() + (phase + first) / 8, uint32_t(phase + first) % 8,
                               uint32_t(width - first));
                    *open.p++ = uint16_t(open.nRun);
                    halves.resize(size_t(open.p - halves.data()));
                    ASSERT_EQ(halves, want) << k << " " << width << " " << length << " " << phase;

                    Bytes bits((width + 7) / 8 + 1), straight(bits);
                    bits.back() = 0xA5;
                    ops.expand({want.data(), uint32_t(want.size())}, bits.data(), uint32_t(width));
                    ASSERT_EQ(bits.back(), 0xA5);
                    for (size_t x = 0; x < width; ++x) setBit(straight.data(), x, bitAt(row.data(), phase + x));
                    straight.back() = 0xA5;
                    ASSERT_EQ(bits, straight) << k << " " << width << " " << length << " " << phase;
                }
            }
}

TEST(RunLists, RecordsByHand) {
    uint16_t out[16] = {};
    const uint8_t bits[] = {0xFF, 0xC0, 0x00, 0x00};
    EXPECT_EQ(R_CompressRow(out, bits, 0, 10), 10);
    EXPECT_EQ(values({out, out + 16}), (Runs{0, 10}));
    EXPECT_EQ(R_CompressRow(out, bits, 8 + 6, 7), 7) << "only the low bits of the column count";
    EXPECT_EQ(values({out, out + 16}), (Runs{0, 4, 3}));
    EXPECT_EQ(R_CompressRow(out, bits + 2, 0, 16), 16);
    EXPECT_EQ(values({out, out + 16}), (Runs{16}));

    uint8_t row[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    const Runs list = record({2, 3, 1, 0, 2, 8});
    EXPECT_EQ(R_ExpandRow(list.data(), row, 3, 14), 1);
    EXPECT_EQ(row[0], 0b11000111);
    EXPECT_EQ(row[1], 0b11111000) << "ends where the list does";
    EXPECT_EQ(row[2], 0xEE);
    EXPECT_EQ(R_ExpandRow(record({1, 60000, 60000}).data(), row, 0, 12), 1) << "a list that is too long";
    EXPECT_EQ(row[1], 0xF0);

    Runs three = record({0, 3, 5}), two = record({2, 3}), in = three;
    in.insert(in.end(), two.begin(), two.end());
    Runs flipped(in.size()), mirrored(in.size() + 2);
    EXPECT_EQ(R_FlipCompressedBuffer(in.data(), flipped.data(), 2), 1);
    two.insert(two.end(), three.begin(), three.end());
    EXPECT_EQ(flipped, two);
    EXPECT_EQ(R_MirrorCompressedBuffer(in.data(), mirrored.data(), 2), 1);
    EXPECT_EQ(mirrored, (Runs{2, 0, 5, 3, 3, 0, 0, 3, 2, 0, 0}));

    EXPECT_EQ(R_CompressRow(nullptr, bits, 0, 8), -13);
    EXPECT_EQ(R_CompressRows(out, nullptr, 8, 1), -13);
    EXPECT_EQ(R_CompressRows(out, bits, 8, 0), 1);
    EXPECT_EQ(R_ExpandRow(list.data(), row, -1, 8), -13);
    EXPECT_EQ(R_ExpandRows(list.data(), row, -1, 1), -13);
    EXPECT_EQ(R_FlipCompressedBuffer(in.data(), nullptr, 1), -13);
    EXPECT_EQ(R_MirrorCompressedBuffer(nullptr, out, 1), -13);
}

TEST(RunLists, RowsAndMirrorsComeBack) {
    constexpr int32_t kWidth = 213, kRows = 9;
    Bytes page;
    for (uint32_t y = 0; y < kRows; ++y) {
        const Bytes row = randomRow(kWidth, y % 4 * 5, y);
        page.insert(page.end(), row.begin(), row.end());
    }
    Runs records((kWidth + 3) * kRows), mirrored(records), back(records);
    ASSERT_EQ(R_CompressRows(records.data(), page.data(), kWidth, kRows), 1);
    Bytes got(page.size(), 0xEE);
    ASSERT_EQ(R_ExpandRows(records.data(), got.data(), kWidth, kRows), 1);
    for (size_t y = 0; y < kRows; ++y)
        for (size_t x = 0; x < kWidth; ++x) ASSERT_EQ(bitAt(&got[y * 28], x), bitAt(&page[y * 28], x));
    EXPECT_EQ(got[27], 0xEE) << "what lies between rows stays";
    R_MirrorCompressedBuffer(records.data(), mirrored.data(), kRows);
    R_ExpandRows(mirrored.data(), got.data(), kWidth, kRows);
    for (size_t x = 0; x < kWidth; ++x) ASSERT_EQ(bitAt(&got[28], x), bitAt(&page[28], kWidth - 1 - x));
    R_MirrorCompressedBuffer(mirrored.data(), back.data(), kRows);
    EXPECT_EQ(back, records);
}

// A compressed bitmap that frees itself.
struct Compressed : BITMAPRECORD {
    Compressed(int32_t width, int32_t height) {
        EXPECT_EQ(
            R_CreateBitmap(this, kSize, BMMEM_COMPRESSED, width, height, 1, ORDER_RGB, nullptr, TOP_LEFT, nullptr, 0),
            1);
    }
    Compressed(const Compressed&) = delete;
    ~Compressed() { R_FreeBitmap(this); }
};

// A list of n pixels, sometimes with runs of length 0, too long or short.
Runs randomList(uint32_t n, Random& random) {
    Runs list;
    for (uint32_t x = 0; x < n; x += list.back()) list.push_back(uint16_t(random(4) ? random(40) : 0));
    if (random(8) == 0 && list.size() > 1) list.pop_back();
    return record(list);
}

// The model of a list: its pixels, 0-bits where it ends early.
void drawList(uint8_t* row, uint32_t x, const Runs& rec, uint32_t n) {
    const uint32_t end = x + n;
    for (size_t i = 2; i < rec.size(); ++i)
        for (uint32_t k = 0; k < rec[i] && x < end; ++k) setBit(row, x++, i % 2);
    while (x < end) setBit(row, x++, false);
}

// One random write of any kind, and the same on the row of a flat model.
void randomWrite(BITMAPRECORD& bm, Bytes& model, Random& random) {
    const auto width = uint32_t(bm.Width), stride = bm.BytesPerLine;
    const uint32_t y = random(uint32_t(bm.Height)), x = random(width), left = width - x;
    const uint32_t n = random(8) ? 1 + random(std::min(left, 200u)) : left;
    uint8_t* row = &model[size_t(y) * stride];
    switch (random(4)) {
        case 0: {  // pixels by bytes, perhaps over several rows
            const uint32_t most = stride * (uint32_t(bm.Height) - y) - x / 8;
            const uint32_t bytes = std::min(random(4) ? (n + 7) / 8 : stride + stride / 2, most);
            const Bytes data = randomRow(bytes * 8, random(3) * 10, random(1000));
            ASSERT_EQ(R_PutBitmapRowCol(&bm, data.data(), int32_t(y), int32_t(x), bytes), int32_t(bytes));
            std::memcpy(row + x / 8, data.data(), bytes);
            for (uint32_t r = 0; r < uint32_t(bm.Height); ++r)  // what lies beyond the width is not kept
                for (uint32_t k = width; k < stride * 8; ++k) setBit(&model[r * stride], k, false);
            break;
        }
        case 1: {  // a whole list
            const Runs list = randomList(width, random);
            ASSERT_EQ(R_PutBitmapRowColCompressed(&bm, nullptr, list.data(), int32_t(y), 0, bm.Width), 1);
            drawList(row, 0, list, width);
            break;
        }
        case 2: {
            const Runs list = randomList(n, random);
            ASSERT_EQ(R_PutBitmapRowColCompressed(&bm, nullptr, list.data(), int32_t(y), int32_t(x), int32_t(n)), 1);
            drawList(row, x, list, n);
            break;
        }
        default: {
            const Bytes from = randomRow(width, random(3) * 10, random(1000));
            std::vector<uint32_t> words;
            for (uint32_t at = 0; at < n + 20; at = words.back() + random(30)) {
                words.push_back(at);
                words.push_back(at + random(50));
            }
            ASSERT_EQ(R_PutBitmapRowSegments(&bm, from.data(), int32_t(y), int32_t(x), words.data(),
                                             uint32_t(words.size()), 1),
                      1);
            for (size_t k = 0; k < words.size(); k += 2)
                for (uint32_t at = x + words[k]; at < std::min(x + words[k + 1], width); ++at)
                    setBit(row, at, bitAt(from.data(), at));
        }
    }
}

TEST(RunLists, RandomWritesMatchAFlatModel) {
    constexpr int32_t kHeight = 6;
    for (const int32_t width : {5, 64, 333, 70000}) {
        Compressed bm(width, kHeight);
        const uint32_t stride = bm.BytesPerLine;
        Bytes model(stride * kHeight), got(stride * kHeight);
        Random random{uint32_t(width)};
        R_AccessBitmap(&bm);
        for (int i = 0; i < (width > 1000 ? 300 : 3000); ++i) {
            randomWrite(bm, model, random);
            ASSERT_TRUE(rv::isWellFormedRunLists(bm)) << width << " step " << i;
            ASSERT_EQ(R_GetBitmapRow(&bm, got.data(), 0, stride * kHeight), int32_t(stride * kHeight));
            ASSERT_EQ(got, model) << width << " step " << i;
            const uint32_t y = random(kHeight), x = random(uint32_t(width)), n = 1 + random(uint32_t(width) - x);
            const uint8_t* row = &model[y * stride];
            Runs list(n + 3);
            ASSERT_EQ(R_GetBitmapRowColCompressed(&bm, nullptr, list.data(), int32_t(y), int32_t(x), int32_t(n)), 1);
            if (n < uint32_t(width)) {  // a whole row comes as it is stored
                ASSERT_EQ(values(list), slowRuns(row, x, n)) << width << " step " << i;
            }
            const uint32_t bytes = (uint32_t(width) - x / 8 * 8 + 7) / 8;
            ASSERT_EQ(R_GetBitmapRowCol(&bm, got.data(), int32_t(y), int32_t(x), bytes), int32_t(bytes));
            ASSERT_EQ(std::memcmp(got.data(), row + x / 8, bytes), 0) << width << " step " << i;
        }
        R_ReleaseBitmap(&bm);
    }
}

}  // namespace
