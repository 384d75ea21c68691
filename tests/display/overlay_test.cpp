// Overlays: handed in and out, moved between bitmap and bit plane, and staying on the content of their picture.
#include <gtest/gtest.h>

#include <functional>

#include "geometry/seen.h"
#include "internal/opening.h"
#include "internal/overlay_.h"
#include "support/faults.h"

using namespace test;

namespace {

OVERLAYATTRIBUTES attributes(int32_t x, int32_t y, int32_t nBit) {
    OVERLAYATTRIBUTES a{};
    a.uStructSize = sizeof a;
    a.nOriginX = x;
    a.nOriginY = y;
    a.uFlags = OVERLAY_IN_BIT_PLANE | 0x80000000u;
    a.nBitPosition = nBit;
    return a;
}

constexpr uint32_t kNumbers = 1 | 4 | 8;

// Hangs a copy of the overlay on the bitmap.
void hang(BITMAPRECORD& bm, BITMAPRECORD& overlay, uint32_t uIndex, int32_t x, int32_t y, int32_t nBit) {
    const OVERLAYATTRIBUTES a = attributes(x, y, nBit);
    ASSERT_EQ(R_SetOverlayAttributes(&bm, uIndex, &a, kNumbers), 1);
    ASSERT_EQ(R_SetOverlayBitmap(&bm, uIndex, &overlay, OVERLAY_COPY), 1);
}

// What a picture looks like with the overlay in one of its bits, pixel by pixel.
Seen burnt(Seen picture, Seen overlay, int32_t nX, int32_t nY, int32_t nBit) {
    for (int32_t y = 0; y < overlay.height; ++y)
        for (int32_t x = 0; x < overlay.width; ++x)
            if (picture.has(nX + x, nY + y)) {
                uint64_t& v = picture.at(nX + x, nY + y);
                v = (v & ~(uint64_t(1) << nBit)) | overlay.at(x, y) << nBit;
            }
    return picture;
}

TEST(Overlay, MovesBetweenBitmapAndPlane) {
    for (const int32_t nBits : {8, 12, 16})
        for (const Holding holding : holdingsOf(nBits))
            for (const Holding own : holdingsOf(1))
                for (int32_t nView = 1; nView <= 8; ++nView) {
                    if (holding != Holding::conventional && (own != Holding::conventional || nView % 4)) continue;
                    if (own != Holding::conventional && nView % 4 == 0) continue;
                    const int32_t nOwnView = (nView * 3 + int(own)) % 8 + 1, nBit = (nView * 5 + int(own)) % nBits;
                    const int32_t nX = nView % 3 * 20 - 20, nY = nView % 2 ? -3 : 4;
                    Bitmap bm(nBits, 37, 22, holding), overlay(1, 33, 18, own);
                    ASSERT_TRUE(bm.nStatus == 1 && overlay.nStatus == 1);
                    bm->ViewPerspective = nView;
                    overlay->ViewPerspective = nOwnView;
                    fillRandom(bm.record, uint32_t(nView));
                    fillRandom(overlay.record, uint32_t(nBits));
                    hang(bm.record, overlay.record, 3, nX, nY, nBit);
                    BITMAPRECORD& mine = *rv::usedSlot(bm.record, 3)->pBitmap;
                    const Seen before(bm.record), image(mine), after = burnt(before, image, nX, nY, nBit);
                    ASSERT_EQ(image, Seen(overlay.record));
                    ASSERT_EQ(R_UpdateBitmapOverlayBits(&bm, 3, OVERLAYBITS_PUT), 1);
                    ASSERT_EQ(Seen(bm.record), after) << nBits << nameOf(holding) << nameOf(own) << nView;
                    ASSERT_EQ(Seen(mine), image);
                    setContents(mine, Bytes(size_t(mine.BytesPerLine) * unsigned(mine.Height)));
                    ASSERT_EQ(R_UpdateBitmapOverlayBits(&bm, 3, OVERLAYBITS_TAKE), 1);
                    Seen got(mine), blank(image.width, image.height);
                    EXPECT_EQ(Seen(bm.record), burnt(before, blank, nX, nY, nBit));
                    EXPECT_EQ(mine.ViewPerspective, nOwnView);
                    EXPECT_EQ(burnt(before, got, nX, nY, nBit), after) << nBits << nameOf(holding) << nView;
                    for (int32_t y = 0; y < got.height; ++y)  // what lies outside is not touched
                        for (int32_t x = 0; x < got.width; ++x)
                            if (!before.has(nX + x, nY + y)) {
                                ASSERT_EQ(got.at(x, y), 0u);
                            }
                }
}

struct Operation {
    const char* pName;
    std::function<int32_t(BITMAPRECORD&)> run;
};

// Operations that lose no pixel's identity, with an overlay of noise that may lie partly outside.
std::vector<Operation> exactOperations() {
    std::vector<Operation> all{
        {"flip", [](BITMAPRECORD& b) { return R_FlipBitmap(&b); }},
        {"reverse", [](BITMAPRECORD& b) { return R_ReverseBitmap(&b); }},
        {"stored rows", [](BITMAPRECORD& b) { return R_IntFlipBitmap(&b); }},
        {"stored columns", [](BITMAPRECORD& b) { return R_IntReverseBitmap(&b); }},
        {"left", [](BITMAPRECORD& b) { return R_RotateBitmap90(&b, 0, 0, 100); }},
        {"right", [](BITMAPRECORD& b) { return R_RotateBitmap90(&b, 1, 0, 100); }},
        {"trim", [](BITMAPRECORD& b) { return R_TrimBitmap(&b, 5, 3, 21, 12); }},
        {"twice", [](BITMAPRECORD& b) { return R_SizeBitmap(&b, b.Width * 2, b.Height * 3, 0); }},
        {"flipped view", [](BITMAPRECORD& b) { return R_FlipBitmapViewPerspective(&b); }},
        {"reversed view", [](BITMAPRECORD& b) { return R_ReverseBitmapViewPerspective(&b); }},
        {"turned view", [](BITMAPRECORD& b) { return R_RotateBitmapViewPerspective(&b, 270); }}};
    for (const int32_t nAngle : {-9000, 0, 9000, 18000, 45000})
        all.push_back({"turn", [=](BITMAPRECORD& b) { return R_RotateBitmap(&b, nAngle, ROT_RESIZE, 0); }});
    for (int32_t nView = 1; nView <= 8; ++nView)
        all.push_back({"view", [=](BITMAPRECORD& b) { return R_ChangeBitmapViewPerspective(nullptr, &b, 0, nView); }});
    return all;
}

// The operation on the picture with two overlays, which are burnt in afterwards, is that on the burnt picture.
void expectFollows(const Operation& operation, int32_t nView, int32_t nOwnView, bool bSolid, const POINT& origin) {
    Bitmap bm(12, 37, 22), overlay(1, 17, 11);
    bm->ViewPerspective = nView;
    overlay->ViewPerspective = nOwnView;
    fillRandom(bm.record, 1);
    fillRandom(overlay.record, 2);
    if (bSolid) {
        setContents(bm.record, Bytes(size_t(bm->BytesPerLine) * 22));
        setContents(overlay.record, Bytes(size_t(overlay->BytesPerLine) * 11, 0xFF));
    }
    hang(bm.record, overlay.record, 0, origin.x, origin.y, 7);
    hang(bm.record, overlay.record, 15, 3, 2, 9);
    BITMAPRECORD plain{};
    ASSERT_EQ(R_CopyBitmap(&plain, &bm, sizeof plain), 1);
    for (const uint32_t i : {0u, 15u}) ASSERT_EQ(R_UpdateBitmapOverlayBits(&plain, i, OVERLAYBITS_PUT), 1);
    rv::attachments().freeOverlays(plain);
    ASSERT_EQ(operation.run(plain), 1);
    ASSERT_EQ(operation.run(bm.record), 1);
    for (const uint32_t i : {0u, 15u}) ASSERT_EQ(R_UpdateBitmapOverlayBits(&bm, i, OVERLAYBITS_PUT), 1);
    EXPECT_EQ(Seen(bm.record), Seen(plain)) << operation.pName << " view " << nView << " own " << nOwnView;
    R_FreeBitmap(&plain);
}

TEST(Overlay, StaysOnTheContent) {
    for (const Operation& operation : exactOperations())
        for (int32_t nView = 1; nView <= 8; ++nView)
            for (int32_t nOwnView = 1; nOwnView <= 8; ++nOwnView)
                for (const POINT& origin : {POINT{-6, 4}, POINT{13, -5}})
                    expectFollows(operation, nView, nOwnView, false, origin);
    // The edges are exact in any proportion. Off the edge the picture gains nothing to compare with.
    for (const auto& [nWidth, nHeight] : {POINT{23, 41}, POINT{12, 9}, POINT{100, 22}})
        for (int32_t nView = 1; nView <= 8; ++nView) {
            const Operation size{"size", [&](BITMAPRECORD& b) { return R_SizeBitmap(&b, nWidth, nHeight, 0); }};
            expectFollows(size, nView, nView, true, {4, 9});
        }
}

// Filters, and pictures that are filled from others, take their overlays along by the same rule.
TEST(Overlay, FollowsEveryWayToSize) {
    const std::function<int32_t(BITMAPRECORD&)> ways[] = {
        [](BITMAPRECORD& b) { return R_SizeBitmap(&b, 61, 11, RSZ_RESAMPLE); },
        [](BITMAPRECORD& b) { return R_SizeBitmap(&b, 61, 11, RSZ_BICUBIC); },
        [](BITMAPRECORD& b) { return R_SizeBitmap(&b, 61, 11, 0); }};
    for (const auto& way : ways) {
        Bitmap bm(8, 40, 22), overlay(1, 10, 8);
        hang(bm.record, overlay.record, 1, 5, 3, 0);
        R_SetOverlayBitmap(&bm, 2, nullptr, 0);
        ASSERT_EQ(way(bm.record), 1);
        const OVERLAYSLOT& slot = *rv::usedSlot(bm.record, 1);
        EXPECT_TRUE(slot.nOriginX == 8 && slot.nOriginY == 2) << slot.nOriginX << " " << slot.nOriginY;
        EXPECT_TRUE(slot.pBitmap->Width == 15 && slot.pBitmap->Height == 4);
        const BITMAPRECORD& whole = *rv::usedSlot(bm.record, 2)->pBitmap;  // without storage
        EXPECT_TRUE(whole.Width == 61 && whole.Height == 11 && whole.BytesPerLine == 8 && !rv::isAllocated(&whole));
    }
}

TEST(Overlay, TurnsAboutTheMiddle) {
    for (int32_t nView = 1; nView <= 8; ++nView)
        for (const int32_t nAngle : {1000, 3000, -12345})
            for (const uint32_t uFlags : {0u, uint32_t(ROT_RESIZE)}) {
                Bitmap bm(8, 200, 160), overlay(1, 31, 16);
                bm->ViewPerspective = nView;
                setContents(overlay.record, Bytes(size_t(overlay->BytesPerLine) * 16, 0xFF));
                hang(bm.record, overlay.record, 0, 100, 75, 1);
                hang(bm.record, overlay.record, 1, 100, 75, 2);
                ASSERT_EQ(R_UpdateBitmapOverlayBits(&bm, 0, OVERLAYBITS_PUT), 1);  // goes with the pixels
                ASSERT_EQ(R_RotateBitmap(&bm, nAngle, uFlags, 0), 1);
                ASSERT_EQ(R_UpdateBitmapOverlayBits(&bm, 1, OVERLAYBITS_PUT), 1);
                Seen seen(bm.record);
                double sums[3][2]{};
                for (int32_t y = 0; y < seen.height; ++y)
                    for (int32_t x = 0; x < seen.width; ++x)
                        for (int i = 0; i < 2; ++i) {
                            const double d = double(seen.at(x, y) >> (i + 1) & 1);
                            sums[0][i] += d, sums[1][i] += d * x, sums[2][i] += d * y;
                        }
                for (int axis = 1; axis < 3; ++axis)
                    EXPECT_NEAR(sums[axis][0] / sums[0][0], sums[axis][1] / sums[0][1], 1.01) << nView << " " << nAngle;
                EXPECT_NEAR(sums[0][0], sums[0][1], 20);
            }
}

TEST(Overlay, BitmapsChangeHands) {
    long nBlocks = 0;
    for (const bool bAgain : {false, true}) {  // what is made once for good stays behind the first time
        if (bAgain) nBlocks = faults::liveBlocks();
        Bitmap bm(8, 40, 25), source(1, 12, 9);
        bm->ViewPerspective = RIGHT_TOP;
        fillRandom(source.record, 4);
        const Bytes rows = contents(source.record);
        const RGBQUAD red{0, 0, 255, 0};
        source->pPalette[1] = red;
        source->nColors = 9;
        const OVERLAYATTRIBUTES a = attributes(4, -3, 0);
        R_SetOverlayAttributes(&bm, 2, &a, kNumbers);
        ASSERT_EQ(R_SetOverlayBitmap(&bm, 2, &source, OVERLAY_SHARE), 1);
        OVERLAYSLOT& slot = *rv::usedSlot(bm.record, 2);
        EXPECT_TRUE(slot.uFlags == OVERLAY_IN_BIT_PLANE);  // packed: no reference to it
        EXPECT_TRUE(slot.pBitmap->pData == source->pData && slot.pBitmap->pPalette == source->pPalette);
        EXPECT_TRUE(source->nColors == 2 && source->pPalette[1].rgbRed == 255);
        // Handed in again, shared storage isn't freed under the record that brings it.
        BITMAPRECORD out{};
        ASSERT_EQ(R_GetOverlayBitmap(&bm, 2, &out, BITMAPRECORD_OLD_SIZE, OVERLAY_SHARE), 1);
        EXPECT_EQ(out.uStructSize, BITMAPRECORD_OLD_SIZE);
        ASSERT_EQ(R_SetOverlayBitmap(&bm, 2, &out, OVERLAY_MOVE), 1);
        EXPECT_TRUE(out.Width == 0 && !out.pData && contents(*slot.pBitmap) == rows);
        R_InitBitmap(&source, sizeof source.record, 0, 0, 0);
        ASSERT_EQ(R_GetOverlayBitmap(&bm, 2, &source, sizeof source.record, OVERLAY_COPY), 1);
        EXPECT_TRUE(source->pData != slot.pBitmap->pData && contents(source.record) == rows);
        // Moved out, the slot stays in use.
        ASSERT_EQ(R_GetOverlayBitmap(&bm, 2, &out, sizeof out, OVERLAY_MOVE), 1);
        EXPECT_EQ(contents(out), rows);
        R_FreeBitmap(&out);
        uint32_t n = 0;
        ASSERT_EQ(R_GetOverlayCount(&bm, &n), 1);
        EXPECT_EQ(n, 1u);
        EXPECT_EQ(slot.pBitmap->uStructSize, sizeof out);
        EXPECT_EQ(R_GetOverlayBitmap(&bm, 2, &out, sizeof out, OVERLAY_COPY), -13);
        // What is left of the picture from the origin on, as it is seen; taking bits makes storage.
        ASSERT_EQ(R_SetOverlayBitmap(&bm, 2, nullptr, OVERLAY_COPY), 1);
        EXPECT_TRUE(slot.pBitmap->Width == 25 - 4 && slot.pBitmap->Height == 40 + 3 && !slot.pBitmap->pData);
        fillRandom(bm.record, 6);
        const Seen before(bm.record);
        ASSERT_EQ(R_UpdateBitmapOverlayBits(&bm, 2, OVERLAYBITS_TAKE), 1);
        EXPECT_EQ(burnt(Seen(bm.record), Seen(*slot.pBitmap), 4, -3, 0), before);
    }
    EXPECT_EQ(faults::liveBlocks(), nBlocks);
}

TEST(Overlay, AttributesAreSelected) {
    Bitmap bm(8, 4, 4);
    OVERLAYATTRIBUTES in = attributes(-7, 9, 5), out{}, none{};
    in.Colour = 0x04332211;
    std::memset(&in.Text, 0x41, sizeof in.Text);
    for (uint32_t uBit = 1; uBit <= 16; uBit *= 2) ASSERT_EQ(R_SetOverlayAttributes(&bm, 0, &in, uBit), 1);
    ASSERT_EQ(R_GetOverlayAttributes(&bm, 0, &out, sizeof out, 31), 1);
    in.Colour = 0x332211;
    EXPECT_EQ(std::memcmp(&in, &out, sizeof in), 0);
    ASSERT_EQ(R_SetOverlayAttributes(&bm, 1, &in, OVERLAYATTR_ORIGIN | OVERLAYATTR_TEXT), 1);
    none.uStructSize = sizeof none;
    none.nOriginX = -7;
    none.nOriginY = 9;
    none.Text = in.Text;
    R_GetOverlayAttributes(&bm, 1, &out, sizeof out, OVERLAYATTR_COLOUR | OVERLAYATTR_FLAGS);
    EXPECT_TRUE(out.Colour == 0 && out.uFlags == 0 && out.nBitPosition == 5);
    ASSERT_EQ(R_GetOverlayAttributes(&bm, 1, &out, sizeof out, 31), 1);
    EXPECT_EQ(std::memcmp(&none, &out, sizeof out), 0);

    // Narrow: a text with a character of each length, one that is no UTF-8, and one without an end.
    OVERLAYATTRIBUTESA narrow{}, back{};
    narrow.uStructSize = sizeof narrow;
    std::strcpy(narrow.Text.szText[0], "a\u00e9\u20ac\U0001F600");
    std::strcpy(narrow.Text.szText[1], "caf\xE9");
    std::memset(narrow.Text.szText[2], 'z', sizeof narrow.Text.szText[2]);
    std::memset(narrow.Text.Data, 0x5A, sizeof narrow.Text.Data);
    narrow.Text.uLast = 77;
    narrow.Text.uStyle[1] = 66;
    ASSERT_EQ(R_SetOverlayAttributesA(&bm, 2, &narrow, 31), 1);
    ASSERT_EQ(R_GetOverlayAttributes(&bm, 2, &out, sizeof out, 31), 1);
    char16_t text[OVERLAY_TEXT_SIZE];
    std::memcpy(text, &out.Text.szText[0], sizeof text);
    EXPECT_EQ(std::u16string(text), u"a\u00e9\u20ac\U0001F600");
    EXPECT_TRUE(out.Text.uLast == 77 && out.Text.uStyle[1] == 66 && out.Text.Data[27] == 0x5A);
    ASSERT_EQ(R_GetOverlayAttributesA(&bm, 2, &back, sizeof back, 31), 1);
    EXPECT_STREQ(back.Text.szText[0], narrow.Text.szText[0]);
    EXPECT_STREQ(back.Text.szText[1], "caf\u00e9");
    EXPECT_EQ(std::string(back.Text.szText[2]), std::string(64, 'z'));
    EXPECT_TRUE(back.Text.uLast == 77 && back.Text.uStyle[1] == 66 && back.Text.Data[0] == 0x5A);
    // 64 bytes end inside a pair of surrogates, which goes as a whole.
    std::u16string longText(61, u'x');
    longText += u"\U0001F600";
    std::memset(&out.Text.szText[0], 0, sizeof text);
    std::memcpy(&out.Text.szText[0], longText.data(), longText.size() * 2);
    R_SetOverlayAttributes(&bm, 2, &out, OVERLAYATTR_TEXT);
    R_GetOverlayAttributesA(&bm, 2, &back, sizeof back, OVERLAYATTR_TEXT);
    EXPECT_EQ(std::string(back.Text.szText[0]), std::string(61, 'x'));
}

TEST(Overlay, StatusesInOrder) {
    Bitmap bm(8, 8, 8), one(1, 4, 4), eight(8, 4, 4), deep(24, 4, 4);
    BITMAPRECORD bad{}, out{};
    uint32_t n = 9;
    ASSERT_EQ(R_GetOverlayCount(&bm, &n), 1);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(R_GetOverlayCount(nullptr, nullptr), -2);
    EXPECT_EQ(R_GetOverlayCount(&bad, nullptr), -789);
    EXPECT_EQ(R_GetOverlayCount(&bm, nullptr), -814);
    EXPECT_EQ(R_SetOverlayBitmap(nullptr, 16, &bad, 2), -2);
    EXPECT_EQ(R_SetOverlayBitmap(&bad, 16, &one, 2), -789);
    EXPECT_EQ(R_SetOverlayBitmap(&bm, 16, &bad, 2), -789);
    EXPECT_EQ(R_SetOverlayBitmap(&bm, 0, &one, 2), -13);
    EXPECT_EQ(R_SetOverlayBitmap(&bm, 16, &one, 0), -13);
    EXPECT_EQ(R_SetOverlayBitmap(&one, 0, &one, OVERLAY_MOVE), -13);
    EXPECT_EQ(R_GetOverlayBitmap(&bm, 0, &out, sizeof out, 0), -815);
    EXPECT_EQ(R_GetOverlayBitmap(nullptr, 0, &out, 5, 0), -2);
    EXPECT_EQ(R_GetOverlayBitmap(&bm, 16, &out, 5, 0), -789);
    EXPECT_EQ(R_GetOverlayBitmap(&bm, 16, &out, sizeof out, 0), -13);
    EXPECT_EQ(R_GetOverlayBitmap(&bm, 0, &out, sizeof out, 2), -13);
    OVERLAYATTRIBUTES a = attributes(0, 0, 8), badSize{};
    EXPECT_EQ(R_SetOverlayAttributes(nullptr, 16, nullptr, 0), -814);
    EXPECT_EQ(R_SetOverlayAttributes(nullptr, 16, &badSize, 0), -789);
    EXPECT_EQ(R_SetOverlayAttributes(nullptr, 16, &a, 0), -2);
    EXPECT_EQ(R_SetOverlayAttributes(&bm, 16, &a, 0), -13);
    EXPECT_EQ(R_GetOverlayAttributes(&bm, 16, nullptr, 5, 0), -13);
    EXPECT_EQ(R_GetOverlayAttributes(&bm, 16, &a, 5, 0), -789);
    EXPECT_EQ(R_GetOverlayAttributes(&bm, 16, &a, sizeof a, 0), -13);
    EXPECT_EQ(R_GetOverlayAttributes(&bm, 0, &a, sizeof a, 0), -815);
    EXPECT_EQ(R_GetOverlayAttributesA(&bm, 0, nullptr, 512, 0), -13);
    EXPECT_EQ(bm->pOverlays, nullptr);
    EXPECT_EQ(R_UpdateBitmapOverlayBits(nullptr, 16, 0), -2);
    EXPECT_EQ(R_UpdateBitmapOverlayBits(&bad, 16, 0), -789);
    EXPECT_EQ(R_UpdateBitmapOverlayBits(&deep, 16, 0), -13);
    EXPECT_EQ(R_UpdateBitmapOverlayBits(&deep, 0, 0), -27);
    EXPECT_EQ(R_UpdateBitmapOverlayBits(&bm, 0, 0), -815);
    ASSERT_EQ(R_SetOverlayBitmap(&bm, 0, &one, OVERLAY_COPY), 1);
    EXPECT_EQ(R_UpdateBitmapOverlayBits(&bm, 0, 0), -816);
    ASSERT_EQ(R_SetOverlayAttributes(&bm, 0, &a, kNumbers), 1);
    EXPECT_EQ(R_UpdateBitmapOverlayBits(&bm, 0, 0), -816);
    a.nBitPosition = 7;
    ASSERT_EQ(R_SetOverlayAttributes(&bm, 0, &a, kNumbers), 1);
    EXPECT_EQ(R_SetOverlayBitmap(&bm, 0, &eight, OVERLAY_MOVE), -27);  // the slot is empty then
    EXPECT_TRUE(eight->pData && !rv::usedSlot(bm.record, 0)->pBitmap->pData);
    EXPECT_EQ(R_UpdateBitmapOverlayBits(&bm, 0, OVERLAYBITS_PUT), -815);
    EXPECT_EQ(R_UpdateBitmapOverlayBits(&bm, 0, OVERLAYBITS_TAKE), 1);
}

// With memory that ends at each allocation of an operation: -1, overlays as before, nothing kept.
TEST(Overlay, MemoryRunsOut) {
    const std::function<int32_t(BITMAPRECORD&)> courses[] = {
        [](BITMAPRECORD& b) { return R_SizeBitmap(&b, 50, 70, 0); },
        [](BITMAPRECORD& b) { return R_RotateBitmap(&b, 9000, ROT_RESIZE, 0); },
        [](BITMAPRECORD& b) { return R_RotateBitmap(&b, 0, 0, 0); },
        [](BITMAPRECORD& b) { return R_RotateBitmap(&b, 1234, 0, 0); },
        [](BITMAPRECORD& b) { return R_TrimBitmap(&b, 2, 2, 9, 9); },
        [](BITMAPRECORD& b) { return R_UpdateBitmapOverlayBits(&b, 0, OVERLAYBITS_PUT); },
        [](BITMAPRECORD& b) { return R_UpdateBitmapOverlayBits(&b, 9, OVERLAYBITS_TAKE); }};
    for (size_t nCourse = 0; nCourse < std::size(courses); ++nCourse)
        for (int n = 0;; ++n) {
            Bitmap bm(8, 40, 25), overlay(1, 12, 9);
            fillRandom(overlay.record, 3);
            hang(bm.record, overlay.record, 0, 5, 6, 1);
            hang(bm.record, overlay.record, 9, 7, 8, 2);
            ASSERT_EQ(R_SetOverlayBitmap(&bm, 9, nullptr, 0), 1);
            bm->ViewPerspective = TOP_RIGHT;
            const OVERLAYSLOT& slot = *rv::usedSlot(bm.record, 0);
            const Seen before(*slot.pBitmap), picture(bm.record);
            const long nBlocks = faults::liveBlocks();
            faults::FailFromNthAllocation fail(n);
            const int32_t nStatus = courses[nCourse](bm.record);
            fail.stop();
            if (!fail.fired()) {
                EXPECT_TRUE(nStatus == 1 && n > 0) << nCourse;
                break;
            }
            ASSERT_EQ(nStatus, -1) << nCourse << " " << n;
            ASSERT_EQ(faults::liveBlocks(), nBlocks) << nCourse << " " << n;
            ASSERT_TRUE(Seen(*slot.pBitmap) == before && Seen(bm.record) == picture);
            ASSERT_TRUE(slot.nOriginX == 5 && slot.nOriginY == 6 && bm->ViewPerspective == TOP_RIGHT);
            ASSERT_FALSE(rv::isAllocated(rv::usedSlot(bm.record, 9)->pBitmap));
        }
    // A slot that can't be filled is empty, and the caller keeps what he brought.
    for (const uint32_t uFlags : {OVERLAY_COPY, OVERLAY_MOVE})
        for (int n = 0;; ++n) {
            Bitmap bm(8, 40, 25), overlay(1, 12, 9);
            R_GlobalFree(std::exchange(overlay->pPalette, nullptr));
            faults::FailFromNthAllocation fail(n);
            const int32_t nStatus = R_SetOverlayBitmap(&bm, 4, &overlay, uFlags);
            fail.stop();
            if (!fail.fired()) break;
            ASSERT_EQ(nStatus, -1) << n;
            ASSERT_TRUE(overlay->pData && overlay->Width == 12);
            if (const OVERLAYSLOT* p = rv::usedSlot(bm.record, 4)) {
                ASSERT_TRUE(p->pBitmap->Width == 0 && !p->pBitmap->pData);
            }
        }
}

}  // namespace
