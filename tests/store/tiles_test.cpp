// Tiles and temporary files: which class an allocation takes, how tiles are split, the queue of views, tiles that
// change their form, rows over tile borders, heights.
#include <gtest/gtest.h>

#include "internal/rowaccess.h"
#include "internal/tiles_.h"
#include "support/bitmaps.h"
#include "support/faults.h"
#include "support/storage.h"

using namespace test;

namespace {

constexpr int32_t kRowsPerTile = 4, kTiles = 6, kHeight = 22, kWidth = 50;

// kTiles tiles of kRowsPerTile rows, the last of two; uFlags beside BMMEM_TILED.
struct Tiled {
    ThresholdScope thresholds;
    BITMAPRECORD bm{};
    int32_t status;
    explicit Tiled(uint32_t uFlags = 0, int32_t nBits = 24) {
        R_InitBitmap(&bm, sizeof bm, kWidth, kHeight, nBits);
        R_SetMemoryThresholds(0, 0, int32_t(bm.BytesPerLine) * kRowsPerTile, 0, 0, 4);
        status = R_AllocateBitmap(&bm, BMMEM_TILED | uFlags);
        R_AccessBitmap(&bm);
    }
    ~Tiled() { R_FreeBitmap(&bm); }
    rv::TILETABLE& table() { return rv::tileTable(bm); }
    std::vector<uint32_t> queue() {
        std::vector<uint32_t> out;
        for (uint32_t k = 0; k < table().nTileViews; ++k) out.push_back(table().tile(k).nQueueTile);
        return out;
    }
    int32_t set(uint32_t conventional, uint32_t maxViews, uint32_t views, uint32_t flags) {
        return R_SetBitmapMemoryInfo(&bm, 0, 0, 0, conventional, maxViews, views, flags);
    }
    void touch(int32_t tile) {
        uint8_t b;
        R_GetBitmapRow(&bm, &b, tile * kRowsPerTile, 1);
    }
};
using Queue = std::vector<uint32_t>;

// The queue has each file tile with a view once, and nothing else; memory tiles come first, and have their memory.
bool isWellFormed(const BITMAPRECORD& bm) {
    rv::TILETABLE& table = rv::tileTable(bm);
    std::vector<uint32_t> entries(table.nTiles);
    for (uint32_t k = 0; k < table.nTileViews; ++k) {
        const uint32_t tile = table.tile(k).nQueueTile;
        if (tile >= table.nTiles) return false;
        ++entries[tile];
    }
    for (uint32_t i = 0; i < table.nTiles; ++i) {
        const rv::TILE& tile = table.tile(i);
        const bool bMemory = i < table.nConventionalTiles, bQueued = !bMemory && tile.pView;
        if (rv::isMemoryTile(tile) != bMemory || (bMemory && !tile.pView) || entries[i] != uint32_t(bQueued))
            return false;
        if (tile.pView && tile.nViewSize != rv::tileBytes(bm, table, i, bm.Height)) return false;
    }
    return true;
}

TEST(Tiles, SplitComesOutOfTheMemoryBudget) {
    const ThresholdScope thresholds;
    const struct {
        int32_t conventional, views;
        uint32_t tiles;
        uint64_t memory;
        uint32_t wantConventional, wantViews;
    } cases[] = {
        {-100, 1, 10, 1000, 10, 0},  // all fit
        {-100, 1, 10, 999, 8, 1},    // nine fit; one of them becomes the view
        {-100, 1, 10, 0, 0, 1},      // no memory: one view all the same
        {-50, 1, 7, 9999, 2, 1},     // 3.5 cut to 3
        {4, 9, 10, 9999, 0, 4},      // more views than the budget holds
        {4, 0, 10, 9999, 4, 0},      // no views wanted
        {5, -50, 10, 9999, 0, 5},    // (10 - 5) * 50 / 50 = 5
        {6, -20, 10, 9999, 5, 1},    // 4 * 20 / 80 = 1
        {8, -10, 10, 9999, 7, 1},    // 2 * 10 / 90 = 0, and 0 means 1
        {3, -100, 10, 9999, 0, 3},   // as many as there are memory tiles
        {0, -100, 10, 9999, 0, 1},   // of none: one
        {3, -80, 10, 9999, 0, 3},    // 7 * 80 / 20 = 28
        {100, 1, 10, 1500, 10, 0},   // more than there are
    };
    for (const auto& c : cases) {
        ASSERT_EQ(R_SetMemoryThresholds(0, 0, 0, c.conventional, c.views, 8 | 16), 1);
        const rv::TileCounts got = rv::splitTiles(c.tiles, 100, c.memory);
        EXPECT_TRUE(got.nConventional == c.wantConventional && got.nMaxViews == c.wantViews)
            << c.conventional << " " << c.views << ": " << got.nConventional << ", " << got.nMaxViews;
    }
}

// The class that an allocation takes, 0 for a failure.
uint32_t classOf(uint32_t uFlags, int32_t nWidth, int32_t nHeight, Info* pInfo = nullptr) {
    BITMAPRECORD bm;
    R_InitBitmap(&bm, sizeof bm, nWidth, nHeight, 8);
    if (R_AllocateBitmap(&bm, uFlags) != 1) return 0;
    const Info info(bm);
    if (pInfo) *pInfo = info;
    R_FreeBitmap(&bm);
    return info.memory;
}

TEST(Tiles, AllocationChoosesTheClass) {
    const ThresholdScope thresholds;
    const TempDirectory directory;
    Info info(0, 0, 0, 0, 0, 0);
    constexpr int32_t kMega = 1 << 20;
    EXPECT_EQ(classOf(BMMEM_TILED, kMega, 16), 1u) << "one tile holds it";
    EXPECT_EQ(classOf(BMMEM_TILED, kMega, 17, &info), 4u);
    EXPECT_EQ(info, Info(4, 16 * kMega, 2, 0, 1, 1));
    EXPECT_EQ(classOf(BMMEM_TILED | BMMEM_NO_DISK, kMega, 17, &info), 4u);
    EXPECT_EQ(info, Info(4, 16 * kMega, 2, 2, 0, 0));
    EXPECT_EQ(classOf(BMMEM_DISK, 100, 100), 128u);

    ASSERT_EQ(R_SetMemoryThresholds(0, 9999, 1000, 0, 0, 2 | 4), 1);
    EXPECT_EQ(classOf(1, 100, 99), 1u);
    EXPECT_EQ(classOf(1, 100, 100, &info), 4u) << "past the thread's limit";
    EXPECT_EQ(info, Info(4, 1000, 10, 8, 1, 1)) << "nine fit the limit, and one of them is a view";
    EXPECT_EQ(classOf(1 | BMMEM_NO_DISK, 100, 100, &info), 4u);
    EXPECT_EQ(info, Info(4, 1000, 10, 10, 0, 0));
    EXPECT_EQ(classOf(1 | BMMEM_NO_TILED, 100, 100), 1u);

    const MEMORYTHRESHOLDS limit{sizeof limit, 5000};
    ASSERT_EQ(R_SetGlobalMemoryThresholds(&limit), 1);
    EXPECT_EQ(classOf(1, 100, 50), 1u);
    EXPECT_EQ(classOf(1, 100, 51), 128u);
    EXPECT_EQ(classOf(1 | BMMEM_NO_DISK, 100, 51), 1u);

    {
        const FilesOff off;
        EXPECT_EQ(classOf(BMMEM_DISK, 100, 51), 1u) << "no files";
        EXPECT_EQ(classOf(BMMEM_TILED, 100, 51, &info), 4u);
        EXPECT_EQ(info.conventional, info.tiles);
    }

    directory.remove();
    EXPECT_EQ(classOf(BMMEM_DISK, 100, 100), 0u);
    EXPECT_EQ(classOf(BMMEM_TILED, 100, 100), 0u);
}

TEST(Tiles, OldestViewGoesFirstAndAHitMovesNone) {
    Tiled t;
    ASSERT_EQ(Info(t.bm), Info(4, t.bm.BytesPerLine * kRowsPerTile, kTiles, 0, 1, 1));
    ASSERT_EQ(t.set(0, 3, 2, 16 | 32), 1);
    EXPECT_EQ(t.queue(), (Queue{0, 1}));
    t.touch(4);
    EXPECT_EQ(t.queue(), (Queue{0, 1, 4})) << "up to the limit";
    t.touch(0);
    EXPECT_EQ(t.queue(), (Queue{0, 1, 4})) << "a hit";
    t.touch(5);
    EXPECT_EQ(t.queue(), (Queue{1, 4, 5}));
    EXPECT_FALSE(t.table().tile(0).pView);
    ASSERT_EQ(t.set(0, 0, 1, 32), 1);
    EXPECT_EQ(t.queue(), Queue{5});
    ASSERT_EQ(t.set(0, 99, 4, 16 | 32), 1);
    EXPECT_EQ(t.queue(), (Queue{5, 0, 1, 2}));
    ASSERT_EQ(t.set(2, 0, 0, 8), 1);
    EXPECT_EQ(t.queue(), (Queue{5, 2, 3, 4})) << "promoted tiles leave the queue, and others come";
    EXPECT_EQ(Info(t.bm).conventional, 2u);
    ASSERT_EQ(t.set(1, 2, 2, 8 | 16 | 32), 1);
    EXPECT_EQ(t.queue(), (Queue{4, 1})) << "the demoted tile took a view, and the oldest went";

    ASSERT_EQ(t.set(0, 0, 0, 32), 1);
    t.touch(3);
    EXPECT_EQ(Info(t.bm).views, 0u) << "none stays none";
    EXPECT_EQ(rv::tileRow(t.bm, 12), nullptr);
    ASSERT_EQ(t.set(0, 0, 1, 32), 1);
    t.touch(3);
    EXPECT_EQ(t.queue(), (Queue{1, 3})) << "tile 1 by the call, 3 by the row";
}

// Whatever form the tiles take in between, reads, writes and columns see a range of bytes.
TEST(Tiles, RowsAndColumnsCrossTilesInEveryForm) {
    const long files = openFiles();
    for (const int32_t bits : kDepths) {
        const TempDirectory directory;
        Tiled t(0, bits);
        ASSERT_EQ(t.status, 1);
        EXPECT_TRUE(directory.isEmpty()) << "files have no names";
        BITMAPRECORD& bm = t.bm;
        EXPECT_EQ(contents(bm), Bytes(bm.Size)) << "clear at first";
        Bytes model = fillRandom(bm, unsigned(bits));
        std::mt19937 random{uint32_t(bits)};
        const auto below = [&](uint32_t n) { return uint32_t(random() % n); };
        for (int i = 0; i < 400; ++i) {
            if (i % 20 == 0) {
                ASSERT_EQ(t.set(below(kTiles + 1), below(5), below(5), 8 | 16 | 32), 1);
            }
            const auto row = int32_t(random() % kHeight), col = int32_t(random() % kWidth);
            const size_t at = size_t(row) * bm.BytesPerLine + size_t(rv::columnByte(col, bits));
            const auto n = uint32_t(random() % (model.size() - at) + 1);
            const Bytes data = randomBytes(n, uint32_t(random()));
            if (i % 3 == 0) {
                ASSERT_EQ(R_PutBitmapRowCol(&bm, data.data(), row, col, n), int32_t(n));
                std::memcpy(&model[at], data.data(), n);
            } else if (i % 3 == 1) {
                const Bytes column = randomBytes(kHeight * 8, uint32_t(random()));
                const bool reverse = random() % 2;
                ASSERT_EQ(rv::R_PutBitmapCol(&bm, column.data(), col, kHeight, reverse), 1);
                rv::visitDepth(bits, [&](auto depth) {
                    for (int32_t y = 0; y < kHeight; ++y)
                        rv::Pixel<depth>::put(&model[size_t(reverse ? kHeight - 1 - y : y) * bm.BytesPerLine],
                                              size_t(col), rv::Pixel<depth>::get(column.data(), size_t(y)));
                });
            }
            Bytes got(n);
            ASSERT_EQ(R_GetBitmapRowCol(&bm, got.data(), row, col, n), int32_t(n));
            ASSERT_EQ(std::memcmp(got.data(), &model[at], n), 0) << bits << " bits, step " << i;
            const uint8_t* p = rv::tileRow(bm, row);
            ASSERT_TRUE(isWellFormed(bm)) << bits << " bits, step " << i;
            ASSERT_EQ(p ? std::memcmp(p, &model[size_t(row) * bm.BytesPerLine], bm.BytesPerLine) : 0, 0);
        }
        ASSERT_EQ(contents(bm), model) << bits;
    }
    EXPECT_EQ(openFiles(), files);
}

// A file that the system refuses to read or write.
struct Broken {
    RVHANDLE h;
    void* old;
    explicit Broken(RVHANDLE hFile)
        : h(hFile), old(std::exchange(h->pBlock, reinterpret_cast<void*>(rv::kSysDescriptorEnd - 1))) {}
    ~Broken() { h->pBlock = old; }
};

TEST(Tiles, BrokenFilesTell) {
    Tiled t;
    Bytes row(t.bm.BytesPerLine * 6, 9), clear(t.bm.BytesPerLine * 2);
    fillRandom(t.bm, 1);
    ASSERT_EQ(t.set(0, 0, 0, 32), 1);
    {
        const Broken file(t.table().tile(1).hFile);
        EXPECT_EQ(R_GetBitmapRow(&t.bm, row.data(), 2, uint32_t(row.size())), int32_t(row.size())) << "all the same";
        EXPECT_EQ(std::memcmp(&row[clear.size()], clear.data(), clear.size()), 0) << "what can't be read is clear";
        EXPECT_EQ(R_PutBitmapRow(&t.bm, row.data(), 2, uint32_t(row.size())), -1);
        EXPECT_EQ(R_PutBitmapRow(&t.bm, row.data(), 8, 1), 1) << "another tile";
        EXPECT_EQ(t.set(6, 0, 0, 8), -7) << "promotion stops there";
        EXPECT_EQ(Info(t.bm).conventional, 1u);
    }
    BITMAPRECORD disk;
    R_InitBitmap(&disk, sizeof disk, 8, 8, 8);
    ASSERT_EQ(R_AllocateBitmap(&disk, BMMEM_DISK), 1);
    EXPECT_EQ(R_GetBitmapRow(&disk, row.data(), 7, 8), 8);
    EXPECT_EQ(R_GetBitmapRow(&disk, row.data(), 7, 9), -7) << "past the end";
    EXPECT_EQ(R_GetBitmapRow(&disk, row.data(), -1, 8), -4);
    EXPECT_EQ(R_PutBitmapRow(&disk, row.data(), -1, 8), -4);
    {
        const Broken file(disk.hMemory);
        EXPECT_EQ(R_GetBitmapRow(&disk, row.data(), 0, 8), -7);
        EXPECT_EQ(R_PutBitmapRow(&disk, row.data(), 0, 8), -5);
    }
    R_FreeBitmap(&disk);
}

TEST(Tiles, NoFilesAndNoMemoryLeaveTheTilesAsTheyAre) {
    const TempDirectory directory;
    Tiled t;
    Bytes model = fillRandom(t.bm, 4);
    ASSERT_EQ(t.set(4, 2, 2, 8 | 16 | 32), 1);
    directory.remove();
    EXPECT_EQ(t.set(0, 0, 0, 8), -295);
    EXPECT_EQ(Info(t.bm).conventional, 4u);
    EXPECT_EQ(contents(t.bm), model);

    // Growing stops at the last tile that could be made whole.
    EXPECT_EQ(R_ChangeBitmapHeight(&t.bm, 40), -295);
    EXPECT_EQ(t.bm.Height, kTiles * kRowsPerTile);
    EXPECT_EQ(t.bm.Size64, uint64_t(t.bm.Height) * t.bm.BytesPerLine);
    model.resize(size_t(t.bm.Size64));
    EXPECT_EQ(contents(t.bm), model);

    faults::FailFromNthAllocation fail(0);
    const int32_t status = t.set(5, 0, 0, 8);
    fail.stop();
    EXPECT_EQ(status, -1);
    EXPECT_EQ(Info(t.bm).conventional, 4u);
    EXPECT_EQ(contents(t.bm), model);
}

TEST(Height, KeepsRowsAndClearsNewOnesInEveryClass) {
    const ThresholdScope thresholds;
    const long files = openFiles();
    for (const uint32_t flags : {1u, 4u, 4u | 256, 128u, 2u})  // 2 stands for movable memory
        for (int seed = 0; seed < 5; ++seed) {
            BITMAPRECORD bm;
            R_InitBitmap(&bm, sizeof bm, 3000, kHeight, 8);  // tiles of several pages
            R_SetMemoryThresholds(0, 0, int32_t(bm.BytesPerLine) * kRowsPerTile, 0, 0, 4);
            ASSERT_EQ(R_AllocateBitmap(&bm, flags), 1);
            if (flags == 2) {
                bm.hMemory = WinGlobalAlloc(66, bm.Size);
                bm.Flags = (bm.Flags & ~uint32_t(BMF_USER_DATA)) | BMF_GLOBAL;
            }
            Bytes model = fillRandom(bm, unsigned(seed));
            std::mt19937 random{uint32_t(seed)};
            const auto below = [&](uint32_t n) { return uint32_t(random() % n); };
            for (int i = 0; i < 12; ++i) {
                const auto height = int32_t(random() % 40 + 1);
                if (flags == 4) R_SetBitmapMemoryInfo(&bm, 0, 0, 0, below(7), below(4), below(4), 56);
                ASSERT_EQ(R_ChangeBitmapHeight(&bm, height), 1);
                model.resize(size_t(height) * bm.BytesPerLine);
                ASSERT_EQ(bm.Height, height);
                if (flags & 4) {
                    ASSERT_TRUE(isWellFormed(bm)) << "to " << height;
                }
                ASSERT_EQ(bm.Size64, model.size());
                ASSERT_EQ(contents(bm), model) << "flags " << flags << ", to " << height;
                if (random() % 2) model = fillRandom(bm, uint32_t(random()));
            }
            R_FreeBitmap(&bm);
        }
    EXPECT_EQ(openFiles(), files);
}

TEST(Height, StatusesInOrder) {
    EXPECT_EQ(R_ChangeBitmapHeight(nullptr, 1), -2);
    BITMAPRECORD bm;
    R_InitBitmap(&bm, BITMAPRECORD_OLD_SIZE, 100000, 4, 24);
    EXPECT_EQ(R_ChangeBitmapHeight(&bm, 1), -2);
    ASSERT_EQ(R_AllocateBitmap(&bm, 1), 1);
    bm.Flags |= BMF_LOCKED;
    EXPECT_EQ(R_ChangeBitmapHeight(&bm, 4), -13) << "locked, even with the same height";
    bm.uStructSize = 7;
    EXPECT_EQ(R_ChangeBitmapHeight(&bm, 4), -789);
    bm.uStructSize = BITMAPRECORD_OLD_SIZE;
    bm.Flags &= ~uint32_t(BMF_LOCKED);
    EXPECT_EQ(R_ChangeBitmapHeight(&bm, 4), 1);
    EXPECT_EQ(R_ChangeBitmapHeight(&bm, 0), -11);
    EXPECT_EQ(R_ChangeBitmapHeight(&bm, 20000), -3) << "the older form can't tell 6 GB";
    EXPECT_EQ(bm.Height, 4);
    R_FreeBitmap(&bm);
}

}  // namespace
