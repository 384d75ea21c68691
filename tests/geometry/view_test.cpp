// Flips, views, and the mirror kernels below them.
#include <gtest/gtest.h>

#include <utility>

#include "internal/mirror.h"
#include "internal/runlists_.h"
#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

// The same pixels in reverse, one by one.
Bytes mirrored(const uint8_t* row, int32_t nBits, size_t n) {
    Bytes out((n * size_t(nBits) + 7) / 8 + 1, 0);
    for (size_t i = 0; i < n; ++i)
        rv::visitDepth(nBits, [&](auto bits) {
            using P = rv::Pixel<bits>;
            P::put(out.data(), i, P::get(row, n - 1 - i));
        });
    out.pop_back();
    return out;
}

}  // namespace

TEST(Mirror, RowsInPlaceAndApartAtEveryDepth) {
    for (const int32_t nBits : kDepths)
        for (size_t n = 0; n <= 300; n += n < 140 ? 1 : 37) {
            const size_t nBytes = (n * size_t(nBits) + 7) / 8, nGuard = 5;
            const Bytes row = randomBytes(nBytes + 2 * nGuard, uint32_t(n) * 64 + uint32_t(nBits));
            Bytes want = row;
            const Bytes reverse = mirrored(&row[nGuard], nBits, n);
            std::copy(reverse.begin(), reverse.end(), want.begin() + nGuard);
            for (const rv::MirrorKernel mirror : {rv::plainMirrorKernel(nBits), rv::mirrorKernel(nBits)}) {
                Bytes inPlace = row, apart = row;
                mirror(&inPlace[nGuard], &inPlace[nGuard], n);
                mirror(&row[nGuard], &apart[nGuard], n);
                ASSERT_EQ(inPlace, want) << nBits << " bits, " << n;
                ASSERT_EQ(apart, want) << nBits << " bits, " << n;
            }
        }
}

TEST(Mirror, LineLeavesUnknownDepthsAlone) {
    Bytes row = {0xD0, 0x7F};
    EXPECT_EQ(R_MirrorLine(nullptr, 8, 1), -13);
    EXPECT_EQ(R_MirrorLine(row.data(), 2, 9), 1);
    EXPECT_EQ(R_MirrorLine(row.data(), -3, 8), 1);
    EXPECT_EQ(R_MirrorLine(row.data(), 10, 1), 1);  // 1101000001 and six bits behind it
    EXPECT_EQ(row, (Bytes{0x82, 0xC0}));
}

namespace {

struct Spot {
    int32_t x, y;
    bool operator==(const Spot&) const = default;
};

// Where a stored pixel of a bitmap of w x h is seen.
Spot seenAt(int32_t nView, int32_t w, int32_t h, Spot p) {
    const int32_t x = w - 1 - p.x, y = h - 1 - p.y;
    const Spot spots[] = {{p.x, p.y}, {x, p.y}, {x, y}, {p.x, y}, {p.y, p.x}, {y, p.x}, {y, x}, {p.y, x}};
    return spots[nView - 1];
}

bool seesColumns(int32_t nView) { return nView >= 5; }
bool isWrapped(int32_t nOld, int32_t nNew) { return nOld == 2 && nNew == 8; }  // its turn is told as -90

void stopAt(int32_t nPercent) {  // 101: never
    static int32_t nStop;
    nStop = nPercent;
    R_SetStatusCallBack([](int32_t n, void*) { return n >= nStop ? -777 : 1; }, nullptr, nullptr, nullptr);
}

// All rows, with nothing behind the last pixels.
Bytes pixelsOf(BITMAPRECORD& bm) {
    Bytes out = contents(bm);
    clearPadding(out, bm);
    return out;
}

Bytes flippedRows(const Bytes& rows, size_t nLine) {
    Bytes out;
    for (size_t at = rows.size(); at; at -= nLine) out.insert(out.end(), &rows[at - nLine], &rows[at - nLine] + nLine);
    return out;
}

Bytes reversedRows(const Bytes& rows, const BITMAPRECORD& bm) {
    Bytes out = rows;
    for (size_t at = 0; at < rows.size(); at += bm.BytesPerLine) {
        const Bytes row = mirrored(&rows[at], bm.BitsPerPixel, size_t(bm.Width));
        std::copy(row.begin(), row.end(), &out[at]);
    }
    return out;
}

}  // namespace

TEST(View, PointsAndRectanglesStayOnTheirPixels) {
    constexpr int32_t kW = 7, kH = 4;
    BITMAPRECORD bm;
    R_InitBitmap(&bm, sizeof bm, kW, kH, 8);
    for (int32_t nOld = 1; nOld <= 8; ++nOld)
        for (int32_t nNew = 1; nNew <= 8; ++nNew) {
            SCOPED_TRACE(testing::Message() << nOld << " to " << nNew);
            int32_t bFlip = -1, nAngle = -1;
            ASSERT_EQ(R_GetChangeViewPerspectiveParams(nOld, nNew, &bFlip, &nAngle), 1);
            if (nOld == nNew) {
                ASSERT_EQ((Spot{bFlip, nAngle}), (Spot{0, 0}));
            }
            if (isWrapped(nOld, nNew)) {
                ASSERT_EQ((Spot{bFlip, nAngle}), (Spot{1, -90}));
                continue;
            }
            ASSERT_TRUE(nAngle >= 0 && nAngle < 360 && nAngle % 90 == 0);
            bm.ViewPerspective = nOld;
            const bool bTurned = seesColumns(nOld) != seesColumns(nNew);
            for (Spot at{0, 0}; at.y < kH; at.x == kW - 1 ? at = {0, at.y + 1} : at = {at.x + 1, at.y}) {
                Spot to = at;
                ASSERT_EQ(R_PointFromBitmap(&bm, nNew, &to.x, &to.y), 1);
                ASSERT_EQ(seenAt(nNew, bTurned ? kH : kW, bTurned ? kW : kH, to), seenAt(nOld, kW, kH, at));
                RECT r{at.x, at.y, at.x + 1, at.y + 1};
                ASSERT_EQ(R_RectFromBitmap(&bm, nNew, &r), 1);
                ASSERT_TRUE(r.left == to.x && r.top == to.y && r.right == to.x + 1 && r.bottom == to.y + 1);
                // The way back takes the size of the views 5 and 7 for that of their mirrored kin.
                if (nNew == 5 || nNew == 7 || isWrapped(nNew, nOld)) continue;
                ASSERT_EQ(R_RectToBitmap(&bm, nNew, &r), 1);
                ASSERT_TRUE(r.left == at.x && r.top == at.y && r.right == at.x + 1 && r.bottom == at.y + 1);
                if (seesColumns(nOld)) continue;
                ASSERT_EQ(R_PointToBitmap(&bm, nNew, &to.x, &to.y), 1);
                ASSERT_EQ(to, at);
            }
        }
    bm.ViewPerspective = 1;
    Spot p{1, 2};
    EXPECT_EQ(R_PointToBitmap(&bm, 7, &p.x, &p.y), 1);
    EXPECT_EQ(p, (Spot{kH - 1 - 2, kW - 1 - 1}));
}

TEST(View, TheViewAloneChangesWhatIsSeen) {
    constexpr int32_t kW = 7, kH = 4;
    BITMAPRECORD bm;
    R_InitBitmap(&bm, sizeof bm, kW, kH, 8);
    bm.XResolution = 100;
    for (int32_t nView = 1; nView <= 8; ++nView) {
        const Spot was = seenAt(nView, kW, kH, {2, 1});
        const int32_t x = (seesColumns(nView) ? kH : kW) - 1 - was.x, y = (seesColumns(nView) ? kW : kH) - 1 - was.y;
        const auto now = [&](int32_t nStatus) {
            EXPECT_EQ(nStatus, 1);
            return seenAt(std::exchange(bm.ViewPerspective, nView), kW, kH, {2, 1});
        };
        bm.ViewPerspective = nView;
        EXPECT_EQ(now(R_FlipBitmapViewPerspective(&bm)), (Spot{was.x, y})) << nView;
        EXPECT_EQ(now(R_ReverseBitmapViewPerspective(&bm)), (Spot{x, was.y})) << nView;
        const Spot turned[] = {was, {y, was.x}, {x, y}, {was.y, x}};
        for (const int32_t nAngle : {90, -270, 450, 180, 270, -90, 360}) {
            bm.YResolution = 300 - bm.XResolution;
            const int32_t nTurns = (nAngle + 720) / 90 % 4, nResolution = bm.XResolution;
            EXPECT_EQ(now(R_RotateBitmapViewPerspective(&bm, nAngle)), turned[nTurns]) << nView << " by " << nAngle;
            EXPECT_EQ(bm.XResolution, nTurns % 2 ? 300 - nResolution : nResolution);
        }
        EXPECT_EQ(R_IntRotateBitmapViewPerspective(&bm, 45), -13);
        EXPECT_EQ(bm.ViewPerspective, nView);
    }
}

TEST(View, Statuses) {
    Bitmap bm(8, 7, 4);
    BITMAPRECORD none, copy{};
    R_InitBitmap(&none, sizeof none, 7, 4, 8);
    int32_t n = 0;
    EXPECT_EQ(R_GetChangeViewPerspectiveParams(0, 1, &n, &n), -13);
    EXPECT_EQ(R_GetChangeViewPerspectiveParams(1, 1, nullptr, &n), -13);
    EXPECT_EQ(R_PointToBitmap(&bm, 9, &n, &n), -13);
    EXPECT_EQ(R_FlipBitmap(&none), -13);
    EXPECT_EQ(R_IntFlipBitmap(&none), -2);
    EXPECT_EQ(R_ReverseBitmap(nullptr), -13);
    EXPECT_EQ(R_ReverseBitmap(&none), -2);
    EXPECT_EQ(R_ChangeBitmapViewPerspective(nullptr, &none, 0, 2), -13);
    EXPECT_EQ(R_ChangeBitmapViewPerspective(&copy, &bm, 1, 2), -789);
    EXPECT_EQ(R_ChangeBitmapViewPerspective(&copy, &bm, sizeof copy, 9), -13);
    EXPECT_FALSE(copy.Flags & BMF_ALLOCATED);
    bm->uStructSize = 1;
    for (const auto call : {R_FlipBitmap, R_ReverseBitmap, R_FlipBitmapViewPerspective}) EXPECT_EQ(call(&bm), -789);
    EXPECT_EQ(R_PointFromBitmap(&bm, 1, &n, &n), -789);
    bm->uStructSize = sizeof(BITMAPRECORD);
}

TEST(Flip, RowsChangePlacesAndPixelsDirectionInEveryHolding) {
    for (const int32_t nBits : kDepths)
        for (const Holding holding : holdingsOf(nBits))
            for (const int32_t nHeight : {4, 71}) {
                SCOPED_TRACE(testing::Message() << nBits << " bits, " << nameOf(holding) << ", " << nHeight);
                Bitmap bm(nBits, 77, nHeight, holding);
                ASSERT_EQ(bm.nStatus, 1);
                fillRandom(bm.record, uint32_t(nBits));
                const Bytes was = pixelsOf(bm.record);
                const Bytes flipped = flippedRows(was, bm->BytesPerLine), reversed = reversedRows(was, bm.record);
                ASSERT_EQ(R_FlipBitmap(&bm), 1);
                ASSERT_EQ(pixelsOf(bm.record), flipped);
                bm->ViewPerspective = 7;
                ASSERT_EQ(R_ReverseBitmap(&bm), 1);
                ASSERT_EQ(pixelsOf(bm.record), was);
                ASSERT_EQ(R_FlipBitmap(&bm), 1);
                ASSERT_EQ(pixelsOf(bm.record), reversed);
                bm->ViewPerspective = 3;
                ASSERT_EQ(R_ReverseBitmap(&bm), 1);
                ASSERT_EQ(pixelsOf(bm.record), was);
                ASSERT_EQ(bm->nLockCount, 0);
            }
}

TEST(Flip, LongBitmapsGoByBands) {
    for (const Holding holding : {Holding::tiledFile, Holding::super}) {
        if (!allows(holding, 24)) continue;
        Bitmap bm(24, 1500, 1101, holding);
        ASSERT_EQ(bm.nStatus, 1);
        const Bytes was = fillRandom(bm.record, 5);
        ASSERT_EQ(R_IntFlipBitmap(&bm), 1);
        EXPECT_TRUE(contents(bm.record) == flippedRows(was, bm->BytesPerLine)) << nameOf(holding);
    }
}

// Three blocks of rows, some of them white; noise ends the compression on the way.
TEST(Flip, RunListsOfManyRows) {
    for (const bool bNoise : {false, true}) {
        Bitmap bm(1, bNoise ? 40 : 2400, 70001, Holding::compressed);
        ASSERT_EQ(bm.nStatus, 1);
        Bytes rows = randomBytes(size_t(bm->BytesPerLine) * 70001, 3);
        for (size_t i = 0; !bNoise && i < rows.size(); ++i) rows[i] = i / 800 % 3 || i % 61 ? 0 : rows[i];
        clearPadding(rows, bm.record);
        setContents(bm.record, rows);
        ASSERT_EQ(R_IntFlipBitmap(&bm), 1);
        ASSERT_EQ((bm->Flags & BMF_COMPRESSED) != 0, !bNoise);
        EXPECT_TRUE(pixelsOf(bm.record) == flippedRows(rows, bm->BytesPerLine));
        EXPECT_TRUE(bNoise || rv::isWellFormedRunLists(bm.record));
    }
}

TEST(Flip, RunListsMirrorInPlace) {
    using List = std::vector<uint16_t>;  // records: a count in two values, then the runs
    const std::pair<List, List> cases[] = {{{2, 0, 2, 3}, {3, 0, 0, 3, 2}},
                                           {{3, 0, 0, 3, 2}, {2, 0, 2, 3}},
                                           {{2, 0, 0, 5}, {2, 0, 0, 5}},
                                           {{1, 0, 5}, {1, 0, 5}},
                                           {{6, 0, 3, 0, 0, 0, 0, 2}, {3, 0, 0, 2, 3}}};
    for (const auto& [from, to] : cases) {
        Bitmap bm(1, 5, 1, Holding::compressed);
        ASSERT_EQ(R_PutBitmapRowColCompressed(&bm, nullptr, from.data(), 0, 0, 5), 1);
        ASSERT_EQ(R_IntReverseBitmap(&bm), 1);
        List got(16, 99);
        ASSERT_EQ(R_GetBitmapRowCompressed(&bm, nullptr, got.data(), 0, 1), 1);
        got.resize(got[0] + 2u);
        EXPECT_EQ(got, to);
        EXPECT_TRUE(rv::isWellFormedRunLists(bm.record));
    }
}

TEST(Flip, AStoppedOneKeepsTheRowsDone) {
    Bitmap bm(24, 5, 10);
    const Bytes was = fillRandom(bm.record, 2);
    const auto nDone = long(bm->BytesPerLine) * 2;  // two pairs of rows of five, four rows of ten
    Bytes want = flippedRows(was, bm->BytesPerLine);
    std::copy(was.begin() + nDone, was.end() - nDone, want.begin() + nDone);
    stopAt(40);
    EXPECT_EQ(R_IntFlipBitmap(&bm), -777);
    EXPECT_EQ(contents(bm.record), want);
    setContents(bm.record, was);
    EXPECT_EQ(R_IntReverseBitmap(&bm), -777);
    want = reversedRows(was, bm.record);
    std::copy(was.begin() + 2 * nDone, was.end(), want.begin() + 2 * nDone);
    EXPECT_EQ(contents(bm.record), want);
    stopAt(101);
}

namespace {

// The picture as the top-left view sees it.
std::vector<uint64_t> seenPixels(BITMAPRECORD& bm) {
    const Bytes rows = contents(bm);
    std::vector<uint64_t> out(size_t(bm.Width) * unsigned(bm.Height));
    const int32_t nSeenWidth = seesColumns(bm.ViewPerspective) ? bm.Height : bm.Width;
    for (int32_t y = 0; y < bm.Height; ++y)
        for (int32_t x = 0; x < bm.Width; ++x) {
            Spot at{x, y};
            R_PointFromBitmap(&bm, 1, &at.x, &at.y);
            out.at(size_t(at.y * nSeenWidth + at.x)) =
                pixelAt(&rows[size_t(y) * bm.BytesPerLine], bm.BitsPerPixel, size_t(x));
        }
    return out;
}

}  // namespace

// All pairs of views: the same pixels are seen, and the way back brings back every byte.
TEST(ChangeView, ThePictureStaysAsItIsSeen) {
    for (const int32_t nBits : {1, 8, 24})
        for (int32_t nOld = 1; nOld <= 8; ++nOld)
            for (int32_t nNew = 1; nNew <= 8; ++nNew) {
                SCOPED_TRACE(testing::Message() << nBits << " bits, " << nOld << " to " << nNew);
                Bitmap bm(nBits, 13, 6), copy;
                fillRandom(bm.record, 9);
                bm->ViewPerspective = nOld;
                bm->XResolution = 100, bm->YResolution = 200;
                const Bytes was = pixelsOf(bm.record);
                stopAt(0);  // is set aside
                const int32_t nStatus = R_ChangeBitmapViewPerspective(&copy, &bm, sizeof(BITMAPRECORD), nNew);
                ASSERT_EQ(R_GetStatusCallBack(nullptr)(100, nullptr), -777);
                stopAt(101);
                ASSERT_EQ(nStatus, 1);
                ASSERT_EQ(pixelsOf(bm.record), was);
                ASSERT_EQ(copy->ViewPerspective, nNew);
                ASSERT_EQ(copy->XResolution, seesColumns(nOld) == seesColumns(nNew) ? 100 : 200);
                ASSERT_EQ(seenPixels(copy.record), seenPixels(bm.record));
                ASSERT_EQ(R_ChangeBitmapViewPerspective(nullptr, &copy, 0, nOld), 1);
                ASSERT_EQ(pixelsOf(copy.record), was);
            }
}

TEST(ChangeView, MemoryFailuresChangeNothingToSee) {
    for (int32_t nOld = 1; nOld <= 8; ++nOld)
        for (int k = 0;; ++k) {
            const int32_t nNew = (nOld + 3) % 8 + 1;  // a flip and a quarter turn
            Bitmap bm(24, 13, 6), copy;
            fillRandom(bm.record, 9);
            bm->ViewPerspective = nOld;
            const auto was = seenPixels(bm.record);
            const long nBlocks = faults::liveBlocks();
            faults::FailFromNthAllocation fail(k);
            const int32_t nCopy = R_ChangeBitmapViewPerspective(&copy, &bm, sizeof(BITMAPRECORD), nNew);
            EXPECT_TRUE(nCopy == 1 || faults::liveBlocks() == nBlocks);
            const int32_t nStatus = R_ChangeBitmapViewPerspective(nullptr, &bm, 0, nNew);
            fail.stop();
            ASSERT_EQ(seenPixels(bm.record), was) << nOld << ", " << k;
            if (!fail.fired()) break;
            ASSERT_EQ(nCopy == 1 ? nStatus : nCopy, -1) << nOld << ", " << k;
        }
}
