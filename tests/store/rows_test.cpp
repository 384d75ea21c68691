// Row access over all depths and holdings, columns, and the movement of packed pixels.
#include <gtest/gtest.h>

#include "internal/rowaccess.h"
#include "internal/rowstore.h"
#include "support/bitmaps.h"

using namespace test;

namespace {

TEST(Pixels, PutAndGetTouchOnlyTheirOwnBits) {
    for (const int32_t bits : kDepths)
        rv::visitDepth(bits, [](auto depth) {
            constexpr int kBits = depth;
            using P = rv::Pixel<kBits>;
            constexpr size_t kPixels = 23;
            Bytes row = randomBytes(kPixels * 8 + 16, kBits), values = randomBytes(kPixels * 8, 99);
            for (size_t x = 0; x < kPixels; ++x) {
                const Bytes before = row;
                const auto v = typename P::Value(rv::loadLittle<uint64_t>(&values[x * 8]) & P::kMax);
                P::put(row.data(), x, v);
                ASSERT_EQ(P::get(row.data(), x), v) << kBits;
                for (size_t k = 0; k < kPixels + 2; ++k) {
                    if (k == x) continue;
                    ASSERT_EQ(P::get(row.data(), k), P::get(before.data(), k)) << kBits << " " << x << " " << k;
                }
            }
        });
    const uint8_t three[] = {0b00101001, 0b11001011, 0b10111000};  // 1 2 3 4 5 6 7 0 in three bits each
    for (uint32_t x = 0; x < 8; ++x) EXPECT_EQ(rv::Pixel<3>::get(three, x), (x + 1) & 7);
    const uint8_t twelve[] = {0x21, 0x43, 0x65};
    EXPECT_EQ(rv::Pixel<12>::get(twelve, 0), 0x321u);
    EXPECT_EQ(rv::Pixel<12>::get(twelve, 1), 0x654u);
}

TEST(Pixels, CopiesAtEveryPhaseEqualPixelByPixel) {
    for (const int32_t bits : kDepths) {
        const Bytes src = randomBytes(900, unsigned(bits));
        for (uint32_t from = 0; from < 9; ++from)
            for (uint32_t to = 0; to < 9; ++to)
                for (const uint32_t count : {0u, 1u, 2u, 3u, 7u, 8u, 9u, 31u, 70u}) {
                    Bytes got = randomBytes(900, 5), want = got;
                    rv::visitDepth(bits, [&](auto depth) {
                        for (uint32_t i = 0; i < count; ++i)
                            rv::Pixel<depth>::put(want.data(), to + i, rv::Pixel<depth>::get(src.data(), from + i));
                    });
                    rv::copyPixels(bits, got.data(), to, src.data(), from, count);
                    ASSERT_EQ(got, want) << bits << " bits, " << from << " to " << to << ", " << count;
                }
    }
}

TEST(Rows, RandomReadsAndWritesMatchAModelInEveryHolding) {
    for (const int32_t bits : kDepths)
        for (const Holding holding : holdingsOf(bits)) {
            Bitmap bm(bits, 61, 37, holding);
            ASSERT_EQ(bm.nStatus, 1) << nameOf(holding) << " " << bits;
            const bool wideColumns = holding == Holding::super && bits == 8;  // strips count three bytes a column
            Bytes model(size_t(bm->BytesPerLine) * 37);
            std::mt19937 random{uint32_t(bits)};
            ASSERT_EQ(R_AccessBitmap(&bm), 1);
            for (int i = 0; i < 300; ++i) {
                const auto row = int32_t(random() % 37), col = int32_t(random() % (wideColumns ? 20 : 61));
                const bool whole = random() % 3 == 0;
                const size_t column = wideColumns ? size_t(col) * 3 : size_t(col) * unsigned(bits) / 8;
                const size_t at = size_t(row) * bm->BytesPerLine + (whole ? 0 : column);
                const auto n = uint32_t(
                    random() % std::min<size_t>(model.size() - at + 1, 3 * bm->BytesPerLine));  // over several rows
                const Bytes data = randomBytes(n + 1, uint32_t(random()));
                Bytes got(n + 1);
                const auto read = [&] {
                    return whole ? R_GetBitmapRow(&bm, got.data(), row, n)
                                 : R_GetBitmapRowCol(&bm, got.data(), row, col, n);
                };
                if (n == 0 && holding == Holding::callbacks) continue;  // no bytes is the callback's 0
                ASSERT_EQ(
                    whole ? R_PutBitmapRow(&bm, data.data(), row, n) : R_PutBitmapRowCol(&bm, data.data(), row, col, n),
                    int32_t(n));
                std::memcpy(model.data() + at, data.data(), n);
                if (holding == Holding::compressed) clearPadding(model, bm.record);
                ASSERT_EQ(read(), int32_t(n));
                ASSERT_EQ(std::memcmp(got.data(), model.data() + at, n), 0) << nameOf(holding) << " " << bits;
            }
            R_ReleaseBitmap(&bm);
            EXPECT_TRUE(bm.isHeld(holding)) << nameOf(holding) << " " << bits;
            ASSERT_EQ(contents(bm.record), model) << nameOf(holding) << " " << bits;
        }
}

TEST(Rows, LongRowsArriveWholeAtEveryAlignment) {
    const Bytes from = randomBytes(140000, 1);
    for (const size_t n : {511u, 512u, 513u, 639u, 640u, 12000u, 131072u, 131073u})
        for (const size_t shift : {0u, 1u, 31u, 32u, 63u}) {
            for (const auto copy : {rv::copyRow, rv::streamRow}) {
                Bytes got(n + 128, 0xA5), want = got;
                copy(got.data() + shift, from.data() + 3, n);
                rv::endStream();
                std::memcpy(want.data() + shift, from.data() + 3, n);
                ASSERT_EQ(got, want) << n << " bytes, shift " << shift;
            }
        }
}

TEST(Rows, StatusesAndCallbackResults) {
    Bitmap bm(24, 8, 8);
    uint8_t row[64] = {};
    EXPECT_EQ(R_GetBitmapRow(nullptr, row, 0, 4), -13);
    EXPECT_EQ(R_PutBitmapRowCol(&bm, nullptr, 0, 0, 4), -13);
    BITMAPRECORD bad = bm.record;
    bad.uStructSize = 5;
    EXPECT_EQ(R_GetBitmapRowCol(&bad, row, 0, 0, 4), -789);
    BITMAPRECORD none;
    R_InitBitmap(&none, sizeof none, 8, 8, 24);
    EXPECT_EQ(R_GetBitmapRow(&none, row, 0, 4), -1) << "no class";
    none.Flags = BMF_CONVENTIONAL;
    EXPECT_EQ(R_GetBitmapRow(&none, row, 0, 4), -2) << "no data";

    static int32_t answer, heardCol;
    BITMAPDATACALLBACKS c{};
    c.uStructSize = sizeof c;
    c.pfnGetRow = [](BITMAPRECORD*, uint8_t*, int32_t, int32_t col, uint32_t, void*) { return heardCol = col, answer; };
    ASSERT_EQ(R_SetBitmapDataCallbacks(&bm, &c), 1);
    answer = 0;
    EXPECT_EQ(R_GetBitmapRowCol(&bm, row, 1, 3, 4), 4) << "0 lets the storage answer";
    EXPECT_EQ(heardCol, 3);
    answer = -99;
    EXPECT_EQ(R_GetBitmapRow(&bm, row, 1, 4), -99);
    EXPECT_EQ(heardCol, 0);
    EXPECT_EQ(R_PutBitmapRow(&bm, row, 1, 4), 4) << "writes have a callback of their own";

    // Columns of flat memory go straight there.
    c.pfnPutRow = [](BITMAPRECORD*, const uint8_t*, int32_t, int32_t, uint32_t, void*) { return answer; };
    ASSERT_EQ(R_SetBitmapDataCallbacks(&bm, &c), 1);
    const Bytes column(24, 0x5A);
    EXPECT_EQ(rv::R_PutBitmapCol(&bm, column.data(), 2, 8, false), 1);
    EXPECT_EQ(pixelAt(bm->pData + bm->BytesPerLine, 24, 2), 0x5A5A5Au);
}

TEST(Rows, ColumnsEqualPixelByPixel) {
    constexpr int32_t kWidth = 19, kHeight = 13;
    for (const int32_t bits : kDepths)
        for (const Holding holding : holdingsOf(bits))
            for (const bool reverse : {false, true})
                for (int32_t col = 0; col < kWidth; ++col) {
                    Bitmap bm(bits, kWidth, kHeight, holding);
                    Bytes want = fillRandom(bm.record, unsigned(col));
                    R_AccessBitmap(&bm);
                    const Bytes column = randomBytes(kHeight * 8 + 8, 77);
                    rv::visitDepth(bits, [&](auto depth) {
                        for (int32_t i = 0; i < kHeight; ++i)
                            rv::Pixel<depth>::put(&want[size_t(reverse ? kHeight - 1 - i : i) * bm->BytesPerLine],
                                                  size_t(col), rv::Pixel<depth>::get(column.data(), size_t(i)));
                    });
                    ASSERT_EQ(rv::R_PutBitmapCol(&bm, column.data(), col, kHeight, reverse), 1);
                    R_ReleaseBitmap(&bm);
                    ASSERT_EQ(contents(bm.record), want) << nameOf(holding) << " " << bits << " column " << col;
                }
}

TEST(Rows, SegmentsLeaveTheRestAlone) {
    const uint32_t words[] = {0, 3, 5, 6, 9, 20, 30, 41};
    for (const int32_t bits : kDepths)
        for (const Holding holding : holdingsOf(bits)) {
            Bitmap bm(bits, 41, 3, holding);
            Bytes want = fillRandom(bm.record, 3), row = randomBytes(bm->BytesPerLine, 4), scratch(bm->BytesPerLine);
            for (size_t i = 0; i < std::size(words); i += 2)
                rv::visitDepth(bits, [&](auto depth) {
                    for (uint32_t x = words[i]; x < words[i + 1]; ++x)
                        rv::Pixel<depth>::put(&want[bm->BytesPerLine], x, rv::Pixel<depth>::get(row.data(), x));
                });
            R_AccessBitmap(&bm);
            ASSERT_EQ(rv::putRowSegments(bm.record, row.data(), 1, words, std::size(words), scratch.data()), 1);
            R_ReleaseBitmap(&bm);
            ASSERT_EQ(contents(bm.record), want) << nameOf(holding) << " " << bits;
        }
}

}  // namespace
