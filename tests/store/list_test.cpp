#include "ravokit/list.h"

#include <gtest/gtest.h>

#include <vector>

#include "internal/list_.h"
#include "support/bitmaps.h"

namespace {

// Records that are told apart by their width.
BITMAPRECORD page(int32_t nWidth) {
    BITMAPRECORD bm{};
    EXPECT_EQ(
        R_CreateBitmap(&bm, sizeof bm, BMMEM_CONVENTIONAL, nWidth, 2, 8, ORDER_RGB, nullptr, TOP_LEFT, nullptr, 0), 1);
    return bm;
}

std::vector<int32_t> widths(HBITMAPLIST hList) {
    uint32_t nCount = 0;
    EXPECT_EQ(R_GetBitmapListCount(hList, &nCount), 1);
    std::vector<int32_t> out;
    for (uint32_t i = 0; i < nCount; ++i) {
        BITMAPRECORD bm{};
        EXPECT_EQ(R_GetBitmapListItem(hList, i, &bm, sizeof bm), 1);
        out.push_back(bm.Width);
    }
    return out;
}

class BitmapList : public testing::Test {
protected:
    HBITMAPLIST hList = nullptr;
    void SetUp() override { ASSERT_EQ(R_CreateBitmapList(&hList), 1); }
    void TearDown() override { R_DestroyBitmapList(hList); }
    void insert(uint32_t uIndex, int32_t nWidth) {
        const BITMAPRECORD bm = page(nWidth);
        ASSERT_EQ(R_InsertBitmapListItem(hList, uIndex, &bm), 1);
    }
    void fill(int32_t nCount) {
        for (int32_t i = 1; i <= nCount; ++i) insert(UINT32_MAX, i);
    }
};
using Widths = std::vector<int32_t>;

TEST_F(BitmapList, OrderOfItems) {
    insert(100, 5);
    EXPECT_EQ(widths(hList), Widths({5}));
    insert(0, 4);
    insert(1, 9);
    insert(UINT32_MAX, 7);
    EXPECT_EQ(widths(hList), Widths({4, 9, 5, 7}));

    BITMAPRECORD out{};
    EXPECT_EQ(R_RemoveBitmapListItem(hList, 4, &out), -13);
    EXPECT_EQ(R_RemoveBitmapListItem(hList, 1, &out), 1);
    EXPECT_EQ(out.Width, 9);
    EXPECT_EQ(widths(hList), Widths({4, 5, 7}));
    EXPECT_EQ(R_InsertBitmapListItem(hList, 0, &out), 1);

    EXPECT_EQ(R_DeleteBitmapListItems(hList, 4, 1), -13);
    EXPECT_EQ(R_DeleteBitmapListItems(hList, 0, 0), -13);
    EXPECT_EQ(R_DeleteBitmapListItems(hList, 1, 2), 1);
    EXPECT_EQ(widths(hList), Widths({9, 7}));
    EXPECT_EQ(R_DeleteBitmapListItems(hList, 1, UINT32_MAX), 1);
    EXPECT_EQ(R_DeleteBitmapListItems(hList, 0, UINT32_MAX), 1);
    EXPECT_EQ(hList->pItems, nullptr);
    EXPECT_EQ(R_DeleteBitmapListItems(hList, 0, UINT32_MAX), -13);
    insert(3, 6);
    EXPECT_EQ(widths(hList), Widths({6}));
}

TEST_F(BitmapList, ReplaceAndSet) {
    fill(3);
    BITMAPRECORD bm = page(20), old{};
    EXPECT_EQ(R_ReplaceBitmapListItem(hList, 3, &bm, nullptr, 0), -13);
    EXPECT_EQ(R_ReplaceBitmapListItem(hList, 0, &bm, &old, 7), -789);
    EXPECT_EQ(R_ReplaceBitmapListItem(hList, UINT32_MAX, &bm, &old, sizeof old), 1);
    EXPECT_EQ(old.Width, 3);
    EXPECT_EQ(R_ReplaceBitmapListItem(hList, 0, &old, &old, sizeof old), 1);  // an exchange
    EXPECT_EQ(old.Width, 1);
    EXPECT_EQ(widths(hList), Widths({3, 2, 20}));
    EXPECT_EQ(R_ReplaceBitmapListItem(hList, 1, &old, nullptr, 0), 1);  // frees the item
    EXPECT_EQ(widths(hList), Widths({3, 1, 20}));

    // What the list lends goes back changed; a null record empties the item without freeing.
    EXPECT_EQ(R_GetBitmapListItem(hList, 1, &bm, sizeof bm), 1);
    bm.Delay = 77;
    EXPECT_EQ(R_SetBitmapListItem(hList, 1, &bm), 1);
    EXPECT_EQ(hList->pItems[1].Delay, 77u);
    EXPECT_EQ(R_SetBitmapListItem(hList, 1, nullptr), 1);
    EXPECT_EQ(hList->pItems[1].uStructSize, sizeof(BITMAPRECORD));
    EXPECT_EQ(hList->pItems[1].Flags, 0u);
    R_FreeBitmap(&bm);
    bm.uStructSize = 5;
    EXPECT_EQ(R_SetBitmapListItem(hList, 1, &bm), -789);
    EXPECT_EQ(R_InsertBitmapListItem(hList, 1, &bm), -789);
    EXPECT_EQ(R_ReplaceBitmapListItem(hList, 1, &bm, nullptr, 0), -789);
    EXPECT_EQ(R_SetBitmapListItem(hList, 3, nullptr), -13);
}

TEST_F(BitmapList, OlderRecords) {
    // A block of just the older form's size: nothing may be read or written past it.
    std::vector<uint8_t> room(BITMAPRECORD_OLD_SIZE + 8, 0xA5);
    auto* pOld = reinterpret_cast<BITMAPRECORD*>(room.data());
    ASSERT_EQ(R_CreateBitmap(pOld, BITMAPRECORD_OLD_SIZE, BMMEM_CONVENTIONAL, 8, 8, 8, ORDER_RGB, nullptr, TOP_LEFT,
                             nullptr, 0),
              1);
    EXPECT_EQ(R_InsertBitmapListItem(hList, 0, pOld), 1);
    const BITMAPRECORD& item = hList->pItems[0];
    EXPECT_EQ(item.uStructSize, sizeof(BITMAPRECORD));
    EXPECT_TRUE(!item.pLUT16 && !item.pPaintLUT16 && !item.LUT16Length && !item.reserved2[4]);
    hList->pItems[0].pPaintLUT16 = static_cast<uint16_t*>(R_GlobalAlloc(65536, 2, 0, nullptr));
    EXPECT_EQ(R_GetBitmapListItem(hList, 0, pOld, 3), -789);
    EXPECT_NE(item.pPaintLUT16, nullptr);
    EXPECT_EQ(R_GetBitmapListItem(hList, 0, pOld, BITMAPRECORD_OLD_SIZE), 1);
    EXPECT_EQ(item.pPaintLUT16, nullptr);
    EXPECT_EQ(pOld->uStructSize, BITMAPRECORD_OLD_SIZE);
    EXPECT_EQ(pOld->Width, 8);

    // A replaced item stays of the older form and is handed out as such.
    insert(1, 9);
    BITMAPRECORD out{};
    EXPECT_EQ(R_SetBitmapListItem(hList, 0, nullptr), 1);
    EXPECT_EQ(R_ReplaceBitmapListItem(hList, 1, pOld, nullptr, 0), 1);
    EXPECT_EQ(R_GetBitmapListItem(hList, 1, &out, sizeof out), 1);
    EXPECT_EQ(out.uStructSize, BITMAPRECORD_OLD_SIZE);
    EXPECT_EQ(out.pData, pOld->pData);
    for (size_t i = BITMAPRECORD_OLD_SIZE; i < room.size(); ++i) EXPECT_EQ(room[i], 0xA5);
}

TEST_F(BitmapList, CopiesAndMoves) {
    fill(5);
    const test::Bytes pixels = test::fillRandom(hList->pItems[2], 4);
    HBITMAPLIST hNew = nullptr;
    EXPECT_EQ(R_CopyBitmapListItems(&hNew, hList, 5, 1), -13);
    EXPECT_EQ(R_CopyBitmapListItems(&hNew, hList, 0, 0), -13);
    EXPECT_EQ(hNew, nullptr);
    ASSERT_EQ(R_CopyBitmapListItems(&hNew, hList, 2, 100), 1);
    EXPECT_EQ(widths(hNew), Widths({3, 4, 5}));
    EXPECT_NE(hNew->pItems[0].pData, hList->pItems[2].pData);
    EXPECT_EQ(test::contents(hNew->pItems[0]), pixels);
    R_DestroyBitmapList(hNew);

    hNew = nullptr;
    const BITMAPRECORD before = hList->pItems[2];
    EXPECT_EQ(R_MoveBitmapListItems(&hNew, hList, 9, 1), -13);
    ASSERT_EQ(R_MoveBitmapListItems(&hNew, hList, 1, 3), 1);
    EXPECT_EQ(widths(hNew), Widths({2, 3, 4}));
    EXPECT_EQ(widths(hList), Widths({1, 5}));
    EXPECT_EQ(std::memcmp(&hNew->pItems[1], &before, sizeof before), 0);
    R_DestroyBitmapList(hNew);

    // One item that can't be copied: nothing of the new list stays.
    hNew = nullptr;
    BITMAPRECORD bm{};
    ASSERT_EQ(R_RemoveBitmapListItem(hList, 1, &bm), 1);
    R_FreeBitmap(&bm);
    ASSERT_EQ(R_InsertBitmapListItem(hList, 1, &bm), 1);
    EXPECT_EQ(R_CopyBitmapListItems(&hNew, hList, 0, 2), -13);
    EXPECT_EQ(hNew, nullptr);

    hList->pItems[1].uStructSize = 4;  // spoilt
    EXPECT_EQ(R_MoveBitmapListItems(&hNew, hList, 0, 2), -789);
    EXPECT_EQ(R_InsertBitmapListItem(hList, 0, &bm), -789);
    hList->pItems[1].uStructSize = sizeof bm;
}

TEST(BitmapListCalls, RefuseNull) {
    HBITMAPLIST hNew = nullptr;
    BITMAPRECORD bm{};
    uint32_t n = 0;
    EXPECT_EQ(R_CreateBitmapList(nullptr), -13);
    EXPECT_EQ(R_DestroyBitmapList(nullptr), -13);
    EXPECT_EQ(R_GetBitmapListCount(nullptr, &n), -13);
    EXPECT_EQ(R_GetBitmapListItem(nullptr, 0, &bm, sizeof bm), -13);
    EXPECT_EQ(R_SetBitmapListItem(nullptr, 0, &bm), -13);
    EXPECT_EQ(R_InsertBitmapListItem(nullptr, 0, &bm), -13);
    EXPECT_EQ(R_RemoveBitmapListItem(nullptr, 0, &bm), -13);
    EXPECT_EQ(R_ReplaceBitmapListItem(nullptr, 0, &bm, nullptr, 0), -13);
    EXPECT_EQ(R_DeleteBitmapListItems(nullptr, 0, 1), -13);
    EXPECT_EQ(R_CopyBitmapListItems(&hNew, nullptr, 0, 1), -13);
    EXPECT_EQ(R_MoveBitmapListItems(&hNew, nullptr, 0, 1), -13);
}

}  // namespace
