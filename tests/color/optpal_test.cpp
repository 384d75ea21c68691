// The optimised palette against a literal walk of its rules, and the colour count against a set.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "internal/optpal_.h"
#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

using Colors = std::vector<uint32_t>;  // red, green, blue from the top of 24 bits

Colors colorsOf(const RGBQUAD* p, size_t n) {
    Colors out;
    for (size_t i = 0; i < n; ++i) out.push_back(uint32_t(p[i].rgbRed << 16 | p[i].rgbGreen << 8 | p[i].rgbBlue));
    return out;
}

// A 24-bit picture from colours, row by row.
void fill(BITMAPRECORD& bm, const Colors& colors) {
    Bytes row(bm.BytesPerLine);
    for (int32_t y = 0; y < bm.Height; ++y) {
        for (int32_t x = 0; x < bm.Width; ++x) {
            const uint32_t c = colors[size_t(y) * unsigned(bm.Width) + unsigned(x)];
            row[unsigned(x) * 3] = uint8_t(c), row[unsigned(x) * 3 + 1] = uint8_t(c >> 8);
            row[unsigned(x) * 3 + 2] = uint8_t(c >> 16);
        }
        R_PutBitmapRow(&bm, row.data(), y, bm.BytesPerLine);
    }
}

uint32_t keyOf(uint32_t c) { return (c >> 19 & 31) << 10 | (c >> 11 & 31) << 5 | (c >> 3 & 31); }

// The rules one by one on vectors; statistics always from scratch, in the form of their definition.
struct Model {
    std::map<uint32_t, uint64_t> cells;
    using Box = std::vector<uint32_t>;
    std::vector<Box> boxes{Box{}};

    explicit Model(const Colors& pixels) {
        for (uint32_t c : pixels)
            if (cells[keyOf(c)]++ == 0) boxes[0].push_back(keyOf(c));
    }
    static uint64_t at(uint32_t key, int axis) { return key >> (10 - 5 * axis) & 31; }
    uint64_t mean(const Box& box, int axis) const {
        uint64_t weight = 0, sum = 0;
        for (uint32_t k : box) weight += cells.at(k), sum += cells.at(k) * at(k, axis);
        return (sum + (weight - 1) / 2) / weight;
    }
    uint64_t variance(const Box& box, int axis) const {
        const int64_t m = int64_t(mean(box, axis));
        uint64_t weight = 0, sum = 0;
        for (uint32_t k : box)
            weight += cells.at(k),
                sum += cells.at(k) * uint64_t((int64_t(at(k, axis)) - m) * (int64_t(at(k, axis)) - m));
        return (sum + (weight - 1) / 2) / weight;
    }
    uint64_t total(const Box& box) const { return variance(box, 0) + variance(box, 1) + variance(box, 2); }

    void peel(size_t wanted, size_t limit) {
        while (wanted >= limit && boxes.back().size() >= 2) {
            Box sorted = boxes.back();
            std::stable_sort(sorted.begin(), sorted.end(), [&](uint32_t a, uint32_t b) { return cells[a] > cells[b]; });
            if (cells[sorted[0]] <= 2 * cells[sorted[1]]) return;
            Box rest = boxes.back();
            rest.erase(std::find(rest.begin(), rest.end(), sorted[0]));
            boxes.back() = {sorted[0]};
            boxes.push_back(rest);
            ++limit;
        }
    }
    void cut(size_t wanted) {
        while (boxes.size() < wanted) {
            size_t best = 0;
            for (size_t i = 1; i < boxes.size(); ++i) {
                const auto rank = [&](size_t n) { return std::pair(total(boxes[n]), boxes[n].size()); };
                if (rank(i) > rank(best)) best = i;
            }
            const Box box = boxes[best];
            if (box.size() < 2) return;
            int axis = 0;
            for (int a = 1; a < 3; ++a)
                if (variance(box, a) > variance(box, axis)) axis = a;
            std::array<Box, 3> groups;
            for (uint32_t k : box)
                groups[at(k, axis) < mean(box, axis) ? 0 : at(k, axis) == mean(box, axis) ? 1 : 2].push_back(k);
            auto& [below, equal, above] = groups;
            Box left = below, right;
            if (below.size() < above.size()) {
                left.insert(left.end(), equal.begin(), equal.end());
            } else if (below.empty()) {
                left.assign(equal.begin(), equal.begin() + long(equal.size() + 1) / 2);
                right.assign(equal.begin() + long(left.size()), equal.end());
            } else {
                right = equal;
            }
            right.insert(right.end(), above.begin(), above.end());
            boxes[best] = left;
            boxes.push_back(right);
        }
    }
    uint32_t color(const Box& box) const {
        uint32_t c = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const auto m = uint32_t(mean(box, axis));
            c = c << 8 | (m << 3 | m >> 2);
        }
        return c;
    }
};

// Colours around a few centres, some of which dominate.
Colors blobs(size_t n, uint32_t seed) {
    std::mt19937 random(seed);
    Colors out;
    for (size_t i = 0; i < n; ++i) {
        const auto blob = uint32_t(random() % 12);
        uint32_t c = blob * 0x152A3F & 0xFFFFFF;
        if (blob > 4) {
            const auto wander = [&](int shift, uint32_t range) {
                const auto v = uint32_t((c >> shift) + random() % range) & 255;
                c = (c & ~(255u << shift)) | v << shift;
            };
            wander(0, 1 + seed % 60), wander(8, 30), wander(16, 1 + seed * 7 % 90);
        }
        out.push_back(c);
    }
    return out;
}

}  // namespace

TEST(OptimisedPalette, FollowsTheRules) {
    for (uint32_t seed = 1; seed <= 12; ++seed)
        for (const uint32_t wanted : {2u, 16u, 70u, 100u, 256u})
            for (const bool bFast : {false, true}) {
                SCOPED_TRACE(testing::Message() << "seed " << seed << " wanted " << wanted << " fast " << bFast);
                const Colors pixels = blobs(61 * 47, seed);
                Bitmap bm(24, 61, 47);
                fill(bm.record, pixels);
                uint32_t n = wanted, *pMatch = nullptr;
                int32_t bProcessed = -1;
                std::vector<RGBQUAD> palette(wanted + 1, RGBQUAD{9, 9, 9, 9});
                ASSERT_EQ(R_CreateBitmapOptPal(&bm, palette.data(), &n, 1, nullptr, 0, &pMatch, &bProcessed, bFast), 1);
                ASSERT_EQ(bProcessed, 1);
                ASSERT_EQ(n, wanted);
                Model model(pixels);
                model.peel(wanted, bFast ? 2 : 64);
                model.cut(wanted);
                Colors want;
                for (const auto& box : model.boxes) want.push_back(model.color(box));
                std::sort(want.begin(), want.end());
                const size_t nBoxes = want.size();
                want.resize(wanted);
                EXPECT_EQ(colorsOf(palette.data(), wanted), want);
                EXPECT_EQ(palette[wanted].rgbBlue, 9);
                ASSERT_NE(pMatch, nullptr);
                for (const auto& box : model.boxes)
                    for (uint32_t k : box) {
                        ASSERT_TRUE(pMatch[k] >= 1 && pMatch[k] <= nBoxes) << k;
                        ASSERT_EQ(want[pMatch[k] - 1], model.color(box)) << k;
                    }
                R_FreeUserMatchTable(pMatch);
            }
}

// Wherever a cell would pass its limit, all are halved; the fast rows must come to the same.
TEST(OptimisedPalette, FullCellsHalveAll) {
    rv::Histogram histogram;
    ASSERT_TRUE(bool(histogram));
    const Bytes row{0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 16, 0, 0};  // keys 0, 1, 0, 0, 2
    histogram.addRow(row.data(), 5);
    histogram.finish();
    EXPECT_EQ(histogram.cells()[0], 3u);
    histogram.cells()[0] = rv::Histogram::kFullCell - 1;
    histogram.cells()[1] = 7;
    histogram.finish();
    histogram.addRow(row.data(), 5);
    histogram.finish();
    // 0: full; 1: 8; 0: halved to 2^30, then 2^30 + 1; 0: 2^30 + 2; 2: (1 + 1) / 2 + 1
    EXPECT_EQ(histogram.cells()[0], (1u << 30) + 2);
    EXPECT_EQ(histogram.cells()[1], 4u);
    EXPECT_EQ(histogram.cells()[2], 2u);
    EXPECT_EQ(histogram.keyCount(), 3u);
}

TEST(OptimisedPalette, ColoursThatFitAreThePalette) {
    Bitmap bm(24, 4, 2);
    fill(bm.record, {0x0000FF, 0x102030, 0x0000FF, 0x00FF00, 0xFF0000, 0x102030, 0x102030, 0x0000FE});
    RGBQUAD palette[8];
    const auto run = [&](uint32_t n, uint32_t limit, std::vector<RGBQUAD> fixed, Colors want, int32_t processed) {
        int32_t b = -1;
        uint32_t* pMatch = nullptr;
        std::fill(std::begin(palette), std::end(palette), RGBQUAD{1, 1, 1, 1});
        const uint32_t wanted = n;
        ASSERT_EQ(R_CreateBitmapOptPal(&bm, palette, &n, limit, fixed.data(), uint32_t(fixed.size()), &pMatch, &b, 0),
                  1);
        EXPECT_EQ(b, processed);
        EXPECT_EQ(pMatch != nullptr, processed == 1);
        R_FreeUserMatchTable(pMatch);
        if (processed) return;
        EXPECT_EQ(n, want.size());
        want.resize(wanted);
        EXPECT_EQ(colorsOf(palette, wanted), want);
    };
    const Colors all{0x0000FE, 0x0000FF, 0x00FF00, 0x102030, 0xFF0000};
    run(5, 256, {}, all, 0);
    run(8, 256, {}, all, 0);
    run(4, 256, {}, {}, 1);
    run(5, 4, {}, {}, 1);  // more than the exact pass may list
    const RGBQUAD green{0, 255, 0, 77}, other{5, 5, 5, 0};
    run(4, 256, {green}, {0x0000FE, 0x0000FF, 0x102030, 0xFF0000}, 0);
    run(4, 256, {other}, {}, 1);  // room for one fixed entry, but it isn't there to be left out
}

TEST(OptimisedPalette, SmallDepthsGiveTheirPaletteAndListsMerge) {
    const auto makePalette = [](std::initializer_list<uint32_t> colors) {
        std::vector<RGBQUAD> out(256);
        size_t i = 0;
        for (uint32_t c : colors) out[i++] = {uint8_t(c), uint8_t(c >> 8), uint8_t(c >> 16), 3};
        return out;
    };
    const auto p1 = makePalette({0xFF0000, 0x000001, 0x00FF00, 0x0000FF}),
               p2 = makePalette({0x000001, 0x123456, 0xFF0000, 0});
    BITMAPRECORD records[2];
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(R_CreateBitmap(&records[i], sizeof records[i], BMMEM_CONVENTIONAL, 5, 3, 2, ORDER_RGB,
                                 (i ? p2 : p1).data(), TOP_LEFT, nullptr, 0),
                  1);
    RGBQUAD palette[8];
    uint32_t n = 6;
    int32_t b = -1;
    ASSERT_EQ(R_CreateBitmapOptPal(&records[0], palette, &n, 256, nullptr, 0, nullptr, &b, 0), 1);
    EXPECT_EQ(b, 0);
    EXPECT_EQ(n, 4u);
    EXPECT_EQ(colorsOf(palette, 6), (Colors{0xFF0000, 0x000001, 0x00FF00, 0x0000FF, 0, 0}));  // unsorted, padded

    HBITMAPLIST list = nullptr;
    ASSERT_EQ(R_CreateBitmapList(&list), 1);
    EXPECT_EQ(R_CreateBitmapListOptPal(list, palette, &n, nullptr, &b), -2);
    for (auto& record : records) ASSERT_EQ(R_InsertBitmapListItem(list, ~0u, &record), 1);
    n = 6;
    ASSERT_EQ(R_CreateBitmapListOptPal(list, palette, &n, nullptr, &b), 1);
    EXPECT_EQ(b, 0);
    EXPECT_EQ(n, 6u);
    EXPECT_EQ(colorsOf(palette, 6), (Colors{0, 0x000001, 0x0000FF, 0x00FF00, 0x123456, 0xFF0000}));
    n = 5;  // they don't fit: cut together, and pixels of both are all of index 0
    uint32_t* pMatch = nullptr;
    ASSERT_EQ(R_CreateBitmapListOptPal(list, palette, &n, &pMatch, &b), 1);
    EXPECT_EQ(b, 1);
    EXPECT_EQ(n, 5u);
    EXPECT_EQ(colorsOf(palette, 3), (Colors{0x000000, 0xFF0000, 0}));
    ASSERT_NE(pMatch, nullptr);
    EXPECT_EQ(pMatch[31 << 10], 2u);
    R_FreeUserMatchTable(pMatch);
    n = 0;
    EXPECT_EQ(R_CreateBitmapListOptPal(list, palette, &n, nullptr, &b), -13);
    R_DestroyBitmapList(list);
}

TEST(OptimisedPalette, KeepsNothingWhenMemoryIsShort) {
    const Colors pixels = blobs(40 * 40, 3);
    Bitmap bm(24, 40, 40);
    fill(bm.record, pixels);
    const long blocks = faults::liveBlocks();
    for (int k = 0;; ++k) {
        RGBQUAD palette[16];
        uint32_t n = 16, *pMatch = nullptr;
        int32_t b;
        faults::FailFromNthAllocation fail(k);
        const int32_t nStatus = R_CreateBitmapOptPal(&bm, palette, &n, 256, nullptr, 0, &pMatch, &b, 0);
        fail.stop();
        R_FreeUserMatchTable(pMatch);
        ASSERT_EQ(faults::liveBlocks(), blocks) << k;
        if (!fail.fired()) {
            ASSERT_EQ(nStatus, 1);
            break;
        }
        ASSERT_EQ(nStatus, -1) << k;
        ASSERT_EQ(pMatch, nullptr);
    }
}

TEST(ColorCount, CountsWhatASetCounts) {
    for (const int32_t bits : kDepths)
        for (const int32_t order : {int32_t(ORDER_BGR), int32_t(ORDER_RGB), int32_t(ORDER_GRAY), int32_t(ORDER_ROMM)}) {
            const bool bGray = order == ORDER_GRAY && (bits == 12 || bits == 16 || bits == 32);
            if (bits <= 8 ? order != ORDER_RGB : (bits == 12) != (order == ORDER_GRAY) && !bGray) continue;
            if (order == ORDER_ROMM && bits != 24 && bits != 48) continue;
            if (order == ORDER_GRAY && !bGray) continue;
            SCOPED_TRACE(testing::Message() << bits << " bits, order " << order);
            Bitmap bm(bits, 45, 20, Holding::conventional, order);
            Bytes data = fillRandom(bm.record, uint32_t(bits + order));
            if (bGray) bm->PhysicalLowBit = bm->LowBit = 3, bm->PhysicalHighBit = bm->HighBit = bits == 12 ? 9 : 14;
            std::set<uint32_t> seen;
            std::vector<uint32_t> order24;
            for (int32_t y = 0; y < bm->Height; ++y)
                for (size_t x = 0; x < 45; ++x) {
                    const uint8_t* row = &data[size_t(y) * bm->BytesPerLine];
                    uint32_t key;
                    if (bits <= 8 || bGray) {
                        key = uint32_t(pixelAt(row, bits, x));
                        if (bGray) key = key >> 3 & ((1u << (bm->PhysicalHighBit - 2)) - 1);
                    } else if (bits == 16) {
                        key = uint32_t(pixelAt(row, 16, x)) & 0x7FFF;
                    } else {
                        const size_t bytes = size_t(bits) / 8, step = bits >= 48 ? 2 : 1;
                        const uint8_t* p = row + x * bytes + step - 1;
                        key = uint32_t(p[0] | p[step] << 8 | p[2 * step] << 16);
                    }
                    if (seen.insert(key).second) order24.push_back(key);
                }
            uint32_t n = 0;
            ASSERT_EQ(R_GetBitmapColorCountExt(&bm, &n, nullptr), 1);
            EXPECT_EQ(n, seen.size());
            if (n < 2) continue;
            std::vector<RGBQUAD> list(n);
            const uint32_t all = n;
            n = all - 1;
            ASSERT_EQ(R_GetBitmapColorCountExt(&bm, &n, list.data()), 1);
            EXPECT_EQ(n, all);
            ASSERT_EQ(R_GetBitmapColorCountExt(&bm, &n, list.data()), 1);
            for (uint32_t i = 0; i < all; ++i) {
                uint32_t want = order24[i];
                if (bits <= 8) want = colorsOf(&bm->pPalette[want], 1)[0];
                if (bGray) want = (bits == 12 ? want * 255 / 127 : want >> 4) * 0x010101;
                if (bits == 16 && !bGray) continue;  // expanded fields: the converter's own tests
                if (bits >= 24 && order == ORDER_RGB) want = (want & 0xFF00) | want >> 16 | (want & 0xFF) << 16;
                ASSERT_EQ(colorsOf(&list[i], 1)[0], want) << i;
            }
        }
    uint32_t n = 3;
    EXPECT_EQ(R_GetBitmapColorCountExt(nullptr, &n, nullptr), -13);
    EXPECT_EQ(n, 3u);
}
