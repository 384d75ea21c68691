// The heap of run lists against a model: what its nodes hold, and that they lie end to end.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "internal/heap_.h"

namespace {

uint8_t* bytesAt(HEAP* heap, uint32_t offset) { return reinterpret_cast<uint8_t*>(rv::heapRuns(heap, offset)); }

TEST(Heap, StartsWithOneFreeNode) {
    for (const auto& [wanted, total] : {std::pair<uint64_t, uint32_t>{0, 0x40000},
                                        {0x40000 - 12, 0x40000},
                                        {0x40000 - 11, 0x400000},
                                        {1u << 30, 0x400000}}) {
        HEAP* heap = rv::newHeap(wanted);
        ASSERT_TRUE(heap && rv::isWellFormed(heap));
        EXPECT_EQ(heap->nTotalSize, total);
        EXPECT_EQ(rv::heapNode(heap, heap->nFreeHead).nSize, total - 36);
        R_HeapTerm(heap);
    }
    R_HeapTerm(nullptr);
    R_HeapFree(nullptr, 12);
}

TEST(Heap, KeepsWhatItsNodesHold) {
    HEAP* heap = rv::newHeap(1000);
    std::mt19937 random(3);
    std::map<uint32_t, std::vector<uint8_t>> nodes;  // by offset
    for (int i = 0; i < 20000; ++i) {
        const auto n = uint32_t(random() % 8 ? random() % 300 : random() % 30000) + 1;
        auto some = nodes.lower_bound(uint32_t(random() % heap->nTotalSize));
        if (some == nodes.end()) some = nodes.begin();
        const uint32_t op = random() % 8;
        if (some == nodes.end() || op < 3) {
            const uint32_t offset = rv::heapAlloc(heap, n);
            ASSERT_TRUE(offset && !nodes.count(offset));
            nodes[offset] = std::vector<uint8_t>(n, uint8_t(random()));
            std::memcpy(bytesAt(heap, offset), nodes[offset].data(), n);
        } else if (op < 5) {
            R_HeapFree(heap, some->first);
            nodes.erase(some);
        } else if (op < 7) {
            std::vector<uint8_t> data = some->second;
            const uint32_t offset = rv::heapRealloc(heap, some->first, n);
            ASSERT_TRUE(offset);
            nodes.erase(some);
            const size_t kept = std::min<size_t>(n, data.size());
            ASSERT_EQ(std::memcmp(bytesAt(heap, offset), data.data(), kept), 0);
            data.resize(n, uint8_t(random()));
            std::memcpy(bytesAt(heap, offset), data.data(), n);
            nodes[offset] = data;
        } else if (i % 16 == 0) {
            rv::trimHeap(heap);
        }
        ASSERT_TRUE(rv::isWellFormed(heap)) << i << " op " << op;
        if (i % 100) continue;
        for (const auto& [offset, data] : nodes)
            ASSERT_EQ(std::memcmp(bytesAt(heap, offset), data.data(), data.size()), 0) << i;
    }
    for (const auto& [offset, data] : nodes) R_HeapFree(heap, offset);
    EXPECT_TRUE(rv::isWellFormed(heap));
    EXPECT_EQ(heap->nFreeHead, heap->nLastNode) << "all joined to one free node again";
    EXPECT_EQ(heap->nLastNode, 12u);
    R_HeapTerm(heap);
}

TEST(Heap, GrowsByWholeStepsAndOnlyWhereItMust) {
    HEAP* heap = rv::newHeap(1000);
    EXPECT_TRUE(rv::growHeap(heap, 0x40000 - 36));
    EXPECT_EQ(heap->nTotalSize, 0x40000u) << "the room was there";
    EXPECT_TRUE(rv::growHeap(heap, 0x40000 - 35));
    EXPECT_EQ(heap->nTotalSize, 0x80000u);
    EXPECT_TRUE(rv::trimHeap(heap));
    EXPECT_EQ(heap->nTotalSize, 36u + 128 + 24);
    EXPECT_FALSE(rv::trimHeap(heap));
    ASSERT_TRUE(rv::heapAlloc(heap, 128));
    ASSERT_TRUE(rv::heapAlloc(heap, 4)) << "beyond a last node that is used";
    EXPECT_EQ(heap->nTotalSize, 0x40000u);
    EXPECT_TRUE(rv::isWellFormed(heap));
    EXPECT_EQ(rv::heapAlloc(heap, UINT32_MAX - 1), 0u) << "more than a heap can tell";
    EXPECT_TRUE(rv::isWellFormed(heap));
    R_HeapTerm(heap);
}

}  // namespace
