// Huge memory: windows over a mapping against a plain model.
#include <gtest/gtest.h>

#include "internal/rvsystem_.h"
#include "support/bitmaps.h"
#include "support/storage.h"

using namespace test;

namespace {

struct Huge {
    HUGEMEMORY* p;
    explicit Huge(HUGEMEMORY* pHuge) : p(pHuge) {}
    ~Huge() { R_FreeHugeMemory(p); }
    HUGEMEMORY* operator->() const { return p; }
};

TEST(HugeMemory, WindowsServeEveryRange) {
    const long files = openFiles();
    const size_t page = rv::sysInfo().nPageSize, size = 40 * page + 123;
    for (const size_t limit : {size, size_t(1), 4 * page}) {  // one block, windows of a page, of four
        const Huge huge(R_AllocHugeMemory(size, limit));
        ASSERT_TRUE(huge.p);
        EXPECT_EQ(huge->bMapped, limit < size);
        ASSERT_EQ(R_ZeroHugeMemory(huge.p, 0, size), 1);
        Bytes model(size);
        std::mt19937 random{uint32_t(limit)};
        for (int i = 0; i < 500; ++i) {
            const size_t at = random() % (size + 1), n = random() % (std::min(size - at, 6 * page) + 1);
            uint8_t* p = nullptr;
            uint64_t available = 0;
            ASSERT_EQ(R_AccessHugeMemory(huge.p, &p, at, n, &available), 1);
            ASSERT_GE(available, n);
            ASSERT_LE(at + available, size);
            ASSERT_TRUE(limit == size || huge->nViewSize <= std::max(limit, 7 * page));
            ASSERT_EQ(std::memcmp(p, model.data() + at, size_t(available)), 0) << "limit " << limit << " at " << at;
            if (i % 7 == 0) {
                ASSERT_EQ(R_ZeroHugeMemory(huge.p, at, n), 1);
                std::fill_n(model.begin() + ptrdiff_t(at), n, uint8_t(0));
            } else {
                const Bytes data = randomBytes(n + 1, uint32_t(random()));
                std::memcpy(p, data.data(), n);
                std::memcpy(model.data() + at, data.data(), n);
            }
        }
    }
    EXPECT_EQ(openFiles(), files);
}

TEST(HugeMemory, OneWindowAtATimeAndTheEnds) {
    const size_t page = rv::sysInfo().nPageSize, size = 16 * page;
    const Huge huge(R_AllocHugeMemory(size, 4 * page));
    ASSERT_TRUE(huge.p);
    uint8_t *a, *b, *c;
    uint64_t available;
    ASSERT_EQ(R_AccessHugeMemory(huge.p, &a, 5 * page + 10, 20, nullptr), 1);
    ASSERT_EQ(R_AccessHugeMemory(huge.p, &b, 9 * page - 10, 10, &available), 1);
    EXPECT_EQ(uint64_t(b - a), 4 * page - 20) << "one window";
    EXPECT_EQ(available, 10u);
    EXPECT_EQ(huge->nViewOffset, 5 * page);
    ASSERT_EQ(R_AccessHugeMemory(huge.p, &c, 9 * page - 10, 11, nullptr), 1);
    EXPECT_EQ(huge->nViewOffset, 8 * page) << "another";
    EXPECT_EQ(R_AccessHugeMemory(huge.p, &a, size - 1, 1, nullptr), 1);
    EXPECT_EQ(R_AccessHugeMemory(huge.p, &a, size, 0, nullptr), 1);
    EXPECT_EQ(R_AccessHugeMemory(huge.p, &a, size - 1, 2, nullptr), -13);
    EXPECT_EQ(R_AccessHugeMemory(huge.p, &a, 2, UINT64_MAX, nullptr), -13);
    EXPECT_EQ(R_AccessHugeMemory(nullptr, &a, 0, 1, nullptr), -814);
    EXPECT_EQ(R_ZeroHugeMemory(nullptr, 0, 1), -814);
    EXPECT_EQ(R_ZeroHugeMemory(huge.p, size, 1), -13);
    R_FreeHugeMemory(nullptr);
}

TEST(HugeMemory, PastTheMachineItIsAFile) {
    const TempDirectory directory;
    const MEMORYTHRESHOLDS limit{sizeof limit, 100000};
    const ThresholdScope thresholds;
    ASSERT_EQ(R_SetGlobalMemoryThresholds(&limit), 1);
    const Huge plain(R_AllocHugeMemory(100000, 0)), mapped(R_AllocHugeMemory(100001, 0));
    EXPECT_EQ(plain->bMapped, 0u);
    EXPECT_EQ(mapped->bMapped, 1u) << "the process's limit counts";
    EXPECT_EQ(R_AllocHugeMemory(uint64_t(1) << 60, 0), nullptr) << "no disk has that";
    EXPECT_TRUE(directory.isEmpty());
}

TEST(HugeMemory, WrapsOrCopiesAPointer) {
    Bytes data = randomBytes(5000, 1);
    const Bytes before = data;
    const Huge wrapped(R_CreateHugeMemoryFromPtr(data.data(), data.size(), 0));
    const Huge copied(R_CreateHugeMemoryFromPtr(data.data(), data.size(), 1));
    const Huge fresh(R_CreateHugeMemoryFromPtr(nullptr, 5000, 0));
    uint8_t* p;
    uint64_t available;
    ASSERT_EQ(R_AccessHugeMemory(wrapped.p, &p, 100, 1, &available), 1);
    EXPECT_EQ(p, data.data() + 100);
    EXPECT_EQ(available, 4900u);
    ASSERT_EQ(R_ZeroHugeMemory(copied.p, 0, 10), 1);
    ASSERT_EQ(R_AccessHugeMemory(copied.p, &p, 10, 4990, nullptr), 1);
    EXPECT_EQ(std::memcmp(p, &before[10], 4990), 0);
    EXPECT_EQ(data, before);
    ASSERT_EQ(R_AccessHugeMemory(fresh.p, &p, 0, 5000, nullptr), 1);
}

}  // namespace
