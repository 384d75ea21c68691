// A system that refuses in the middle of a call: its n-th allocation, mapping, file or write, alone or with all after
// it, for every n until the call gets through. Each time the status is one that is told, every pixel is the old or the
// new one, and nothing leaks.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <ostream>
#include <set>

#include "internal/rowaccess.h"
#include "support/bitmaps.h"
#include "support/directory.h"
#include "support/faults.h"

using namespace test;
using faults::FailNth;
using faults::Kind;

namespace {

constexpr uint32_t kSize = sizeof(BITMAPRECORD);
const std::set<int32_t> kTold{-1, -4, -5, -7, -295, -356, -357};

// What the process holds.
struct Held {
    long nBlocks = faults::liveBlocks(), nMapped = faults::liveMappedBytes();
    int nDescriptors = faults::liveDescriptors();
    bool operator==(const Held&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Held& held) {
        return out << held.nBlocks << " blocks, " << held.nMapped << " mapped, " << held.nDescriptors << " files";
    }
};

using Op = std::function<int32_t(BITMAPRECORD&)>;

struct Result {
    int32_t nStatus, nHeight;
    uint32_t nLine;
    Bytes rows;
};
Result resultOf(BITMAPRECORD& bm, int32_t nStatus) { return {nStatus, bm.Height, bm.BytesPerLine, contents(bm)}; }

// A call that failed may have come as far as some of the rows.
void expectOldOrNewRows(const Result& got, const Result& before, const Result& after) {
    ASSERT_EQ(got.nLine, before.nLine);
    ASSERT_GE(got.nHeight, std::min(before.nHeight, after.nHeight));
    ASSERT_LE(got.nHeight, std::max(before.nHeight, after.nHeight));
    const auto hasRow = [&](const Result& r, int32_t y) {
        const size_t at = size_t(y) * got.nLine;
        return y < r.nHeight && r.nLine == got.nLine && std::memcmp(&got.rows[at], &r.rows[at], got.nLine) == 0;
    };
    for (int32_t y = 0; y < got.nHeight; ++y)
        ASSERT_TRUE(hasRow(before, y) || hasRow(after, y)) << "row " << y << " is neither the old nor the new one";
}

void walk(const std::string& name, Holding holding, int32_t bits, const Op& op) {
    const auto make = [&](Bitmap& bm) {
        ASSERT_EQ(bm.nStatus, 1);
        fillRandom(bm.record, 11);
        ASSERT_EQ(R_SetBitmapExtraData(&bm, 1, 5, "five"), 1);
    };
    Result before, after;
    {
        Bitmap bm(bits, 40, 70, holding);
        make(bm);
        before = resultOf(bm.record, 1);
        const int32_t status = op(bm.record);
        ASSERT_GE(status, 1);
        after = resultOf(bm.record, status);
        // Has the framework make what it makes once, before anything is counted.
        ASSERT_NO_FATAL_FAILURE(expectOldOrNewRows(before, before, after));
    }
    for (const Kind kind : faults::kKinds)
        for (const bool andAfter : {false, true}) {
            bool fired = true;
            for (int k = 0; fired; ++k) {
                SCOPED_TRACE(name + ", " + nameOf(holding) + ", " + std::to_string(bits) + " bits, " + nameOf(kind) +
                             " " + std::to_string(k) + (andAfter ? " and after" : ""));
                ASSERT_LT(k, 500);
                const Held held;
                {
                    Bitmap bm(bits, 40, 70, holding);
                    make(bm);
                    FailNth fail(kind, k, andAfter);
                    const int32_t status = op(bm.record);
                    fail.stop();
                    fired = fail.fired();
                    const Result got = resultOf(bm.record, status);
                    if (status == after.nStatus) {
                        ASSERT_EQ(got.rows, after.rows);
                        ASSERT_EQ(got.nHeight, after.nHeight);
                    } else {
                        ASSERT_TRUE(fired && kTold.count(status)) << status;
                        ASSERT_NO_FATAL_FAILURE(expectOldOrNewRows(got, before, after));
                    }
                    ASSERT_EQ(bm->nLockCount, 0);
                }
                ASSERT_EQ(Held(), held);
            }
        }
}

constexpr Holding kOwned[] = {Holding::conventional, Holding::disk,        Holding::tiledMemory, Holding::tiledFile,
                              Holding::tiledMixed,   Holding::tiledNoView, Holding::compressed,  Holding::super};

class StorageFaults : public testing::TestWithParam<Holding> {
    const TemporaryDirectory m_directory;
    // Holds the codecs, so that no load of them is refused: what they link makes objects that can't do without memory.
    const Bitmap m_fax{1, 8, 8, Holding::super}, m_photo{8, 8, 8, Holding::super};

protected:
    void TearDown() override { EXPECT_TRUE(m_directory.isEmpty()) << "a file is left behind"; }
    void walkDepths(const std::string& name, const std::function<Op(int32_t bits)>& op) {
        for (const int32_t bits : {1, 8, 24})
            if (allows(GetParam(), bits)) {
                ASSERT_NO_FATAL_FAILURE(walk(name, GetParam(), bits, op(bits)));
            }
    }
    void walkDepths(const std::string& name, const Op& op) {
        walkDepths(name, [&](int32_t) { return op; });
    }
};

// Frees what a call made beside its bitmap.
int32_t freed(BITMAPRECORD& other, int32_t status) {
    EXPECT_EQ(status == 1, (other.Flags & BMF_ALLOCATED) != 0);
    R_FreeBitmap(&other);
    return status;
}

TEST_P(StorageFaults, InCreationAndCopies) {
    walkDepths("create", [](int32_t bits) {
        return [=](BITMAPRECORD&) {
            Bitmap other(bits, 30, 33, GetParam());
            return other.nStatus == Bitmap::kOtherClass ? 1 : other.nStatus;
        };
    });
    walkDepths("copy", [](BITMAPRECORD& bm) {
        BITMAPRECORD other{};
        return freed(other, R_CopyBitmap(&other, &bm, kSize));
    });
    walkDepths("rectangle", [](BITMAPRECORD& bm) {
        BITMAPRECORD other{};
        return freed(other, R_CopyBitmapRect2(&other, &bm, kSize, 3, 3, 20, 40, BMMEM_CONVENTIONAL));
    });
    walkDepths("trim", [](BITMAPRECORD& bm) { return R_TrimBitmap(&bm, 3, 3, 20, 40); });
}

TEST_P(StorageFaults, InRowsColumnsAndSegments) {
    const Bytes data = randomBytes(4096, 5);
    const auto locked = [](auto op) {
        return [=](BITMAPRECORD& bm) {
            R_AccessBitmap(&bm);
            const int32_t status = op(bm);
            R_ReleaseBitmap(&bm);
            return status;
        };
    };
    walkDepths("row", locked([&](BITMAPRECORD& bm) { return R_PutBitmapRow(&bm, data.data(), 40, bm.BytesPerLine); }));
    walkDepths("rows", locked([&](BITMAPRECORD& bm) {
                   return R_PutBitmapRowCol(&bm, data.data(), 1, 8, 3 * bm.BytesPerLine);
               }));
    walkDepths("column", locked([&](BITMAPRECORD& bm) { return rv::R_PutBitmapCol(&bm, data.data(), 17, 70, true); }));
    walkDepths("segments", locked([&](BITMAPRECORD& bm) {
                   const uint32_t words[] = {0, 2, 5, 20};
                   return R_PutBitmapRowSegments(&bm, data.data(), 66, 3, words, 4, 0);
               }));
    walkDepths("fill", [](BITMAPRECORD& bm) { return R_FillBitmap(&bm, 0x0100'0001); });
}

TEST_P(StorageFaults, InChangesOfHeight) {
    for (const int32_t height : {71, 100, 69, 9})
        walkDepths("height " + std::to_string(height),
                   [=](BITMAPRECORD& bm) { return R_ChangeBitmapHeight(&bm, height); });
}

TEST_P(StorageFaults, InChangesOfClass) {
    for (const Holding to :
         {Holding::conventional, Holding::disk, Holding::tiledFile, Holding::compressed, Holding::super})
        for (const int32_t bits : {1, 8, 24}) {
            if (!allows(GetParam(), bits) || !allows(to, bits)) continue;
            walk("to " + nameOf(to), GetParam(), bits, [=](BITMAPRECORD& bm) {
                const KeepThresholds keep;
                const uint32_t memory = memoryFlags(to, bm.Size64, bm.BytesPerLine, bm.Height);
                return R_SetBitmapMemoryInfo(&bm, memory, bm.BytesPerLine * 18, 0, 1, 1, 1, 63 & ~4);
            });
            if (to == Holding::conventional || to == Holding::compressed || to == Holding::super)
                walk("compression to " + nameOf(to), GetParam(), bits, [=](BITMAPRECORD& bm) {
                    return R_ChangeBitmapCompression(&bm, to == Holding::super ? 2 : to == Holding::compressed);
                });
        }
    for (const uint32_t tiles : {0u, 2u, 100u})
        walkDepths("tiles in memory " + std::to_string(tiles),
                   [=](BITMAPRECORD& bm) { return R_SetBitmapMemoryInfo(&bm, 0, 0, 0, tiles, 3, 3, 8 | 16 | 32); });
}
INSTANTIATE_TEST_SUITE_P(Classes, StorageFaults, testing::ValuesIn(kOwned),
                         [](const auto& p) { return nameOf(p.param); });

// Memory, then tiles, then a file: a bitmap too large for the heap goes along the chain as the system refuses.
TEST(StorageFaultsLarge, GoAlongTheChain) {
    const TemporaryDirectory directory;
    for (const Kind kind : faults::kKinds)
        for (const bool andAfter : {false, true}) {
            bool fired = true;
            for (int k = 0; fired; ++k) {
                SCOPED_TRACE(std::string(faults::nameOf(kind)) + " " + std::to_string(k) +
                             (andAfter ? " and after" : ""));
                ASSERT_LT(k, 500);
                const Held held;
                {
                    FailNth fail(kind, k, andAfter);
                    Bitmap bm(24, 3000, 2100);
                    fail.stop();
                    fired = fail.fired();
                    const bool made = bm.nStatus == 1 || bm.nStatus == Bitmap::kOtherClass;
                    ASSERT_TRUE(made || (fired && bm.nStatus == -1)) << bm.nStatus;
                    EXPECT_TRUE(made || kind != Kind::mapping) << "files need no mapping";
                    if (made) {
                        const Bytes row = randomBytes(bm->BytesPerLine, 3);
                        Bytes got(row.size());
                        R_AccessBitmap(&bm);
                        ASSERT_EQ(R_PutBitmapRow(&bm, row.data(), 2099, bm->BytesPerLine), int32_t(bm->BytesPerLine));
                        ASSERT_EQ(R_GetBitmapRow(&bm, got.data(), 2099, bm->BytesPerLine), int32_t(bm->BytesPerLine));
                        ASSERT_EQ(got, row);
                    }
                }
                ASSERT_EQ(Held(), held);
            }
        }
}

TEST(StorageFiles, AreGoneWithTheirProcess) {
    const TemporaryDirectory directory;
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        Bitmap disk(24, 50, 60, Holding::disk), tiles(24, 50, 60, Holding::tiledFile);
        fillRandom(disk.record, 1);
        fillRandom(tiles.record, 2);
        const char made = disk.nStatus == 1 && tiles.nStatus == 1;
        if (write(ready[1], &made, 1) == 1) pause();
        _exit(1);
    }
    char made = 0;
    EXPECT_EQ(read(ready[0], &made, 1), 1);
    EXPECT_TRUE(made);
    kill(child, SIGKILL);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_TRUE(directory.isEmpty());
    close(ready[0]);
    close(ready[1]);
}

TEST(StorageFiles, WithoutADirectoryMemoryServes) {
    TemporaryDirectory directory;
    directory.remove();
    for (const Holding holding : {Holding::disk, Holding::tiledFile}) {
        const Held held;
        Bitmap bm(8, 50, 60, holding);
        EXPECT_EQ(bm.nStatus, -1) << nameOf(holding);
        EXPECT_FALSE(bm->Flags & BMF_ALLOCATED);
        EXPECT_EQ(Held(), held);
    }
    for (const Holding holding : {Holding::conventional, Holding::tiledMemory}) {
        Bitmap bm(8, 50, 60, holding);
        ASSERT_EQ(bm.nStatus, 1) << nameOf(holding);
        const Bytes data = fillRandom(bm.record, 7);
        EXPECT_LT(R_SetBitmapMemoryInfo(&bm, BMMEM_DISK, 0, 0, 0, 0, 0, 1), 0);
        EXPECT_EQ(contents(bm.record), data);
    }
}

}  // namespace
