// Run lists: the kernels against each other, lists on plain buffers, and compressed bitmaps against flat ones.
#include <gtest/gtest.h>

#include <numeric>

#include "internal/runlists_.h"
#include "internal/storage_.h"
#include "support/bitmaps.h"
#include "support/faults.h"
#include "support/storage.h"

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

// Rows of runs of about the length asked for: 1 is a comb, 0 noise.
Bytes randomRow(size_t width, uint32_t length, uint32_t seed) {
    if (length == 0) return randomBytes((width + 31) / 32 * 4, seed);
    Bytes row((width + 31) / 32 * 4);
    Random random(seed);
    bool on = random(2);
    for (size_t x = 0; x < width; on = !on)
        for (size_t n = 1 + random(2 * length - 1); n-- && x < width; ++x) setBit(row.data(), x, on);
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
    for (const size_t width : {1u, 7u, 8u, 57u, 61u, 63u, 64u, 65u, 67u, 68u, 129u, 200u, 1000u, 65600u, 140000u})
        for (const uint32_t length : {0u, 1u, 9u, 300u, 100000u})
            for (const uint32_t phase : {0u, 1u, 3u, 7u}) {
                const Bytes row = randomRow(width + phase, length, uint32_t(width) + length + phase);
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

TEST(RunLists, RowsNeverWrittenAreWhite) {
    Compressed narrow(300, 3), wide(70000, 70000);
    Runs got(70003);
    uint8_t bits[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(R_GetBitmapRow(&narrow, bits, 1, 8), 8);
    EXPECT_EQ(rv::loadLittle<uint64_t>(bits), 0u);
    EXPECT_EQ(R_GetBitmapRowCompressed(&narrow, nullptr, got.data(), 1, 1), 1);
    EXPECT_EQ(values(got), Runs{300});
    EXPECT_EQ(R_GetBitmapRowCompressed(&wide, nullptr, got.data(), 69999, 5), 1) << "cut to the last row";
    EXPECT_EQ(values(got), (Runs{65535, 0, 4465}));
    EXPECT_EQ(R_GetBitmapRowColCompressed(&wide, nullptr, got.data(), 40000, 0, 70000), 1);
    EXPECT_EQ(values(got), (Runs{32767, 32767, 4466}));
    EXPECT_EQ(R_GetBitmapRowColCompressed(&wide, nullptr, got.data(), 40000, 100, 69000), 1);
    EXPECT_EQ(values(got), (Runs{65535, 0, 3465}));
    EXPECT_EQ(wide.Size64, 3u * 0x400000) << "a heap for every 32768 rows";

    // A row whose pixels are set and cleared again still reads white.
    const uint8_t ink[] = {0xFF}, none[] = {0};
    EXPECT_EQ(R_PutBitmapRowCol(&wide, ink, 69999, 69000, 1), 1);
    EXPECT_EQ(R_GetBitmapRowCompressed(&wide, nullptr, got.data(), 69999, 1), 1);
    EXPECT_EQ(values(got), (Runs{65535, 0, 3465, 8, 992}));
    EXPECT_EQ(R_PutBitmapRowCol(&wide, none, 69999, 69000, 1), 1);
    EXPECT_EQ(R_GetBitmapRowCompressed(&wide, nullptr, got.data(), 69999, 1), 1);
    EXPECT_EQ(values(got), (Runs{65535, 0, 4465}));
    EXPECT_TRUE(rv::isWellFormedRunLists(wide));
}

TEST(RunLists, ListsAreStoredAsTheyAreWhereTheyFit) {
    Compressed bm(16, 70000);
    Runs got(40);
    const auto stored = [&](const Runs& list) {
        EXPECT_EQ(R_PutBitmapRowColCompressed(&bm, nullptr, record(list).data(), 33000, 0, 16), 1);
        EXPECT_EQ(R_GetBitmapRowCompressed(&bm, nullptr, got.data(), 33000, 1), 1);
        EXPECT_TRUE(rv::isWellFormedRunLists(bm));
        return values(got);
    };
    EXPECT_EQ(stored({3, 0, 5, 8}), (Runs{3, 0, 5, 8}));
    EXPECT_EQ(stored({3, 20}), (Runs{3, 13})) << "too long";
    EXPECT_EQ(stored({3, 2}), (Runs{3, 2, 11})) << "too short";
    EXPECT_EQ(stored({}), Runs{16});
    Runs zeros(30, 0);
    zeros.back() = 16;
    EXPECT_EQ(stored(zeros), (Runs{0, 16})) << "more values than a row may have";
    // A list with as many runs of length 0 as fit gives way when pixels need the room.
    zeros.assign(17, 0);
    zeros.back() = 16;
    EXPECT_EQ(stored(zeros), zeros);
    const uint8_t comb[] = {0x55};
    EXPECT_EQ(R_PutBitmapRowCol(&bm, comb, 33000, 8, 1), 1);
    EXPECT_EQ(R_GetBitmapRowCompressed(&bm, nullptr, got.data(), 33000, 1), 1);
    EXPECT_EQ(values(got), (Runs{9, 1, 1, 1, 1, 1, 1, 1}));
    EXPECT_TRUE(rv::isWellFormedRunLists(bm));
}

TEST(RunLists, MoveThroughEveryOtherHolding) {
    for (const Holding holding : holdingsOf(1)) {
        if (holding == Holding::compressed) continue;
        Bitmap flat(1, 77, 4, holding);
        ASSERT_EQ(flat.nStatus, 1) << nameOf(holding);
        const Bytes before = fillRandom(flat.record, 5);
        Runs got(80 * 4);
        R_AccessBitmap(&flat);
        ASSERT_EQ(R_GetBitmapRowCompressed(&flat, nullptr, got.data(), 0, 9), 1);
        const uint16_t* p = got.data();
        for (size_t y = 0; y < 4; ++y, p = rv::nextRecord(p))
            ASSERT_EQ(Runs(p + 2, rv::nextRecord(p)), slowRuns(&before[y * 12], 0, 77)) << nameOf(holding);
        R_FlipCompressedBuffer(Runs(got).data(), got.data(), 4);
        ASSERT_EQ(R_PutBitmapRowCompressed(&flat, nullptr, got.data(), 0, 4), 1);
        Bytes row(12);
        R_GetBitmapRow(&flat, row.data(), 3, 12);
        for (size_t x = 0; x < 77; ++x) ASSERT_EQ(bitAt(row.data(), x), bitAt(before.data(), x)) << nameOf(holding);
        ASSERT_EQ(R_GetBitmapRowColCompressed(&flat, row.data(), got.data(), 3, 13, 70), 1) << "cut at the width";
        ASSERT_EQ(values(got), slowRuns(before.data(), 13, 64)) << nameOf(holding);
        ASSERT_EQ(R_PutBitmapRowColCompressed(&flat, nullptr, record({0, 5}).data(), 0, 19, 10), 1);
        R_GetBitmapRow(&flat, row.data(), 0, 12);
        EXPECT_EQ(row[2], 0xF8) << "whole bytes from that of the column";
        EXPECT_EQ(row[3], 0);
        R_ReleaseBitmap(&flat);
    }
}

TEST(RunLists, StatusesInOrder) {
    Compressed bm(40, 40);
    Bitmap flat(1, 40, 40), deep(8, 40, 40);
    BITMAPRECORD bad = bm;
    bad.uStructSize = 5;
    uint16_t rec[50] = {1, 0, 40};
    uint8_t bits[400] = {};
    EXPECT_EQ(R_GetBitmapRowCompressed(nullptr, nullptr, rec, 0, 1), -13);
    EXPECT_EQ(R_GetBitmapRowCompressed(&bad, nullptr, nullptr, 0, 1), -13);
    EXPECT_EQ(R_GetBitmapRowCompressed(&bad, nullptr, rec, 0, 1), -789);
    EXPECT_EQ(R_GetBitmapRowCompressed(&bm, nullptr, rec, -1, 1), -13);
    for (BITMAPRECORD* p : {static_cast<BITMAPRECORD*>(&bm), &flat}) {
        rec[0] = 0xABC;
        EXPECT_EQ(R_GetBitmapRowCompressed(p, nullptr, rec, 40, 1), 1) << "no rows left";
        EXPECT_EQ(R_PutBitmapRowCompressed(p, nullptr, rec, 41, 1), 1);
        EXPECT_EQ(R_PutBitmapRowCompressed(p, nullptr, rec, 0, 0), 1);
        EXPECT_EQ(rec[0], 0xABC);
        EXPECT_EQ(R_GetBitmapRowColCompressed(p, nullptr, rec, 0, 40, 1), -13);
        EXPECT_EQ(R_PutBitmapRowColCompressed(p, nullptr, rec, 40, 0, 1), -13);
    }
    EXPECT_EQ(R_PutBitmapRowCompressed(&bm, nullptr, nullptr, 0, 1), -13);
    EXPECT_EQ(R_PutBitmapRowColCompressed(&bad, nullptr, rec, 0, 0, 1), -789);
    EXPECT_EQ(R_GetBitmapRowCol(&bm, bits, 0, 40, 1), -13);
    EXPECT_EQ(R_PutBitmapRowCol(&bm, bits, 0, -1, 1), -13);
    EXPECT_EQ(R_GetBitmapRow(&bm, bits, 40, 1), -13);
    EXPECT_EQ(R_GetBitmapRow(&bm, bits, 39, 400), 400) << "rows past the last one are zeros";

    EXPECT_EQ(R_ChangeBitmapCompression(nullptr, 1), -2);
    EXPECT_EQ(R_ChangeBitmapCompression(&bad, 7), -789);
    EXPECT_EQ(R_ChangeBitmapCompression(&bm, 7), -13);
    {
        const FilesOff off;  // which turns flags that no class is left of into conventional memory
        Bitmap words(16, 40, 40);
        EXPECT_EQ(R_ChangeBitmapCompression(&deep, 1), -13);
        EXPECT_EQ(R_ChangeBitmapCompression(&words, 2), -13);
    }
    EXPECT_EQ(R_ChangeBitmapCompression(&deep, 0), 1);
    EXPECT_EQ(R_ToggleBitmapCompression(&deep), -2);
    EXPECT_EQ(R_ToggleBitmapCompression(&bad), -789);
    EXPECT_EQ(R_TrimBitmapHeap(&flat, 0), -13);
    EXPECT_EQ(R_TrimBitmapHeap(&bad, 0), -789);
    EXPECT_EQ(R_GrowBitmapHeap(nullptr, 0), -13);
}

TEST(RunLists, CompressionComesAndGoes) {
    Bitmap bm(1, 1000, 3000);
    Bytes page;
    for (uint32_t y = 0; y < 3000; ++y) {
        const Bytes row = randomRow(1000, 100, y);
        page.insert(page.end(), row.begin(), row.end());
    }
    for (size_t i = 124; i < page.size(); i += 128) std::memset(&page[i], 0, 4), page[i] = 0x80;
    for (size_t i = 125; i < page.size(); i += 128) page[i] = 0;
    setContents(bm.record, page);
    const Bytes before = contents(bm.record);
    R_AccessBitmap(&bm);
    ASSERT_EQ(R_ToggleBitmapCompression(&bm), 1);
    EXPECT_TRUE(bm->Flags & BMF_COMPRESSED);
    EXPECT_EQ(bm->nLockCount, 1);
    EXPECT_EQ(contents(bm.record), before);
    EXPECT_LT(bm->Size, 0x40000u) << "trimmed";
    EXPECT_TRUE(rv::isWellFormedRunLists(bm.record));

    BITMAPRECORD copy;
    ASSERT_EQ(R_CopyBitmap(&copy, &bm, kSize), 1);
    EXPECT_TRUE(copy.Flags & BMF_COMPRESSED);
    EXPECT_EQ(contents(copy), before);
    EXPECT_TRUE(rv::isWellFormedRunLists(copy));
    R_FreeBitmap(&copy);
    EXPECT_EQ(copy.Size64, uint64_t(copy.BytesPerLine) * 3000) << "its geometry can be allocated again";

    // Noise put as lists until they take more than the rows would.
    Runs list(1003);
    int32_t y = 0;
    for (; y < 3000 && bm->Flags & BMF_COMPRESSED; ++y) {
        R_CompressRow(list.data(), randomRow(1000, 0, uint32_t(y)).data(), 0, 1000);
        ASSERT_EQ(R_PutBitmapRowCompressed(&bm, nullptr, list.data(), y, 1), 1);
    }
    EXPECT_TRUE(y > 10 && y < 3000) << y;
    EXPECT_EQ(bm->Size, uint32_t(before.size()));
    const Bytes after = contents(bm.record);
    EXPECT_EQ(Bytes(after.begin() + y * 128, after.end()), Bytes(before.begin() + y * 128, before.end()));
    R_ReleaseBitmap(&bm);
}

TEST(RunLists, HeightsAndHeapsChange) {
    Compressed bm(100, 40000);
    const Bytes row = randomRow(100, 3, 1);
    for (int32_t y = 0; y < 40000; y += 7) R_PutBitmapRow(&bm, row.data(), y, 16);
    const auto isRow = [&](int32_t y, bool set) {
        Bytes got(16), want = set ? row : Bytes(16);
        for (size_t x = 100; x < 128; ++x) setBit(want.data(), x, false);
        return R_GetBitmapRow(&bm, got.data(), y, 16) == 16 && got == want;
    };
    EXPECT_TRUE(rv::isWellFormedRunLists(bm));
    EXPECT_EQ(R_GrowBitmapHeap(&bm, 0x100000), 1);
    EXPECT_GE(bm.Size64, 2u * 0x80000);
    EXPECT_EQ(R_TrimBitmapHeap(&bm, 0), 1);
    EXPECT_EQ(R_TrimBitmapHeap(&bm, 0), 0) << "nothing left to give";
    EXPECT_TRUE(rv::isWellFormedRunLists(bm));
    for (const int32_t height : {40500, 32769, 20000, 32768, 100000, 1, 40000}) {
        const int32_t old = bm.Height;
        ASSERT_EQ(rv::changeRunListHeight(bm, height), 1);
        EXPECT_EQ(bm.Height, height);
        EXPECT_TRUE(rv::isWellFormedRunLists(bm)) << height;
        if (height > old) {
            EXPECT_TRUE(isRow(old + (7 - old % 7) % 7, false)) << "a new row is white: " << height;
        }
        EXPECT_TRUE(isRow(0, true));
        ASSERT_EQ(R_PutBitmapRow(&bm, row.data(), height - 1, 16), 16);
        EXPECT_TRUE(isRow(height - 1, true));
    }
    Compressed fresh(100, 100);
    EXPECT_EQ(R_TrimBitmapHeap(&fresh, 0), 1);
    EXPECT_EQ(fresh.Size64, 188u);
}

TEST(RunLists, ShortMemoryLeavesTheRowsAsTheyWere) {
    const auto walk = [](const char* name, auto&& op) {
        for (int k = 0;; ++k) {
            ASSERT_LT(k, 40) << name << " never gets through";
            Compressed bm(4000, 40);
            for (int32_t y = 0; y < 40; ++y) R_PutBitmapRow(&bm, randomRow(4000, 30, uint32_t(y)).data(), y, 500);
            R_TrimBitmapHeap(&bm, 0);  // no room for what comes
            const Bytes before = contents(bm), noise = randomRow(4000, 0, 3);
            Runs list(4003);
            R_CompressRow(list.data(), noise.data(), 0, 4000);
            const long blocks = faults::liveBlocks();
            faults::FailFromNthAllocation fail(k);
            const int32_t status = op(bm, noise, list);
            fail.stop();
            if (!fail.fired()) {
                EXPECT_GE(status, 1) << name;
                return;
            }
            EXPECT_EQ(status, -1) << name << " " << k;
            EXPECT_EQ(faults::liveBlocks(), blocks) << name << " " << k;
            EXPECT_TRUE(rv::isWellFormedRunLists(bm)) << name << " " << k;
            ASSERT_EQ(contents(bm), before) << name << " " << k;
        }
    };
    walk("row", [](auto& bm, auto& noise, auto&) { return R_PutBitmapRow(&bm, noise.data(), 3, 500); });
    walk("stretch", [](auto& bm, auto& noise, auto&) { return R_PutBitmapRowCol(&bm, noise.data(), 3, 800, 300); });
    walk("stretch of a list", [](auto& bm, auto&, auto& list) {
        return R_PutBitmapRowColCompressed(&bm, nullptr, list.data(), 3, 11, 3000);
    });
    walk("segments", [](auto& bm, auto& noise, auto&) {
        const uint32_t words[] = {5, 1500, 1700, 3900};
        return R_PutBitmapRowSegments(&bm, noise.data(), 3, 0, words, 4, 0);
    });
    walk("height", [](auto& bm, auto&, auto&) { return rv::changeRunListHeight(bm, 70000); });
    walk("no compression", [](auto& bm, auto&, auto&) { return R_ChangeBitmapCompression(&bm, 0); });
    walk("allocation", [](auto&, auto&, auto&) {
        BITMAPRECORD other;
        R_InitBitmap(&other, kSize, 70000, 70000, 1);
        const int32_t status = R_AllocateBitmap(&other, BMMEM_COMPRESSED);
        R_FreeBitmap(&other);
        return status;
    });
}

}  // namespace
