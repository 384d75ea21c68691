// Textures under pictures, against the formula pixel by pixel.
#include "ravokit/underlay.h"

#include <gtest/gtest.h>

#include "geometry/seen.h"
#include "internal/underlay_.h"
#include "support/faults.h"

using namespace test;

namespace {

constexpr int32_t kWidth = 77, kHeight = 13;

// Greys, as a bitmap of 8 bits with the grey palette.
struct Texture : Bitmap {
    Texture(int32_t width, int32_t height, int32_t view = TOP_LEFT) {
        nStatus = R_CreateBitmap(&record, sizeof record, 1, width, height, 8, ORDER_GRAY, nullptr, view, nullptr, 0);
        fillRandom(record, 99);
    }
};

uint64_t clamped(uint64_t channel, uint64_t gray) {
    return uint64_t(std::clamp(int64_t(channel) + int64_t(gray) - 128, int64_t(0), int64_t(255)));
}

// What becomes of a pixel of the deeper formats.
uint64_t shifted(int32_t bits, int32_t order, uint64_t v, uint64_t gray) {
    if (bits == 12) return clamped(v >> 4, gray) * 4095 / 255;
    if (bits == 16 && order == ORDER_GRAY) return clamped(v >> 8, gray) * 257;
    uint64_t out = 0;
    for (int i = 0; i < 3; ++i) {
        if (bits == 16) {
            const uint64_t five = v >> (5 * i) & 31;
            out |= clamped(five << 3 | five >> 2, gray) >> 3 << (5 * i);
        } else if (bits > 32) {
            out |= clamped(v >> (16 * i + 8) & 255, gray) * 257 << (16 * i);
        } else {
            out |= clamped(v >> (8 * i) & 255, gray) << (8 * i);
        }
    }
    const int alpha = bits == 16 ? 15 : bits == 32 ? 24 : bits == 64 ? 48 : 0;
    return alpha ? out | v >> alpha << alpha : out;
}

TEST(Underlay, ShiftsByTheGreysOfTheTexture) {
    const int32_t kForms[][2] = {{12, ORDER_GRAY}, {16, ORDER_BGR}, {16, ORDER_GRAY}, {24, ORDER_BGR},
                                 {24, ORDER_RGB},  {32, ORDER_RGB}, {48, ORDER_BGR},  {64, ORDER_RGB}};
    for (const auto& [bits, order] : kForms)
        for (const Holding holding : holdingsOf(bits)) {
            if (holding == Holding::super) continue;  // its codec loses
            for (const bool clipped : {false, true})
                for (const SIZE tile : {SIZE{1, 1}, SIZE{7, 5}, SIZE{77, 1}, SIZE{200, 30}}) {
                    if (holding != Holding::conventional && tile.width != 7) continue;
                    Bitmap bm(bits, kWidth, kHeight, holding, order);
                    Texture texture(tile.width, tile.height);
                    ASSERT_TRUE(bm.nStatus == 1 && texture.nStatus == 1);
                    const Bytes before = fillRandom(bm.record, 5), grays = contents(texture.record);
                    const RECT box{3, 2, 70, 12};
                    if (clipped) R_SetBitmapRgnEllipse(&bm, nullptr, &box, RGN_MODE_SET);
                    ASSERT_EQ(R_UnderlayBitmap(&bm, &texture, UNDERLAY_TILE), 1);
                    const Bytes after = contents(bm.record);
                    EXPECT_EQ(contents(texture.record), grays);
                    for (int32_t y = 0; y < kHeight; ++y)
                        for (int32_t x = 0; x < kWidth; ++x) {
                            const size_t row = size_t(y) * bm->BytesPerLine;
                            const uint64_t
                                was = pixelAt(&before[row], bits, size_t(x)),
                                gray = grays[size_t(y % tile.height) * texture->BytesPerLine + size_t(x % tile.width)],
                                want = R_IsPtInBitmapRgn(&bm, y, x) ? shifted(bits, order, was, gray) : was;
                            ASSERT_EQ(pixelAt(&after[row], bits, size_t(x)), want)
                                << bits << " " << nameOf(holding) << " " << tile.width << " at " << x << "," << y;
                        }
                }
        }
}

// The texture is seen upright, whatever the views of the two.
TEST(Underlay, BringsTheTextureToTheView) {
    for (int32_t view = TOP_LEFT; view <= LEFT_BOTTOM; ++view)
        for (int32_t from = TOP_LEFT; from <= LEFT_BOTTOM; ++from) {
            Bitmap bm(24, kWidth, kHeight);
            bm->ViewPerspective = view;
            R_FillBitmap(&bm, 0x808080);
            const bool turned = view > 4;
            const SIZE seen = turned ? SIZE{kHeight, kWidth} : SIZE{kWidth, kHeight};
            Texture texture(from > 4 ? seen.height : seen.width, from > 4 ? seen.width : seen.height, from);
            ASSERT_EQ(R_UnderlayBitmap(&bm, &texture, UNDERLAY_TILE), 1);
            Seen got(bm.record), want(texture.record);
            for (uint64_t& n : want.pixels) n *= 0x010101;
            ASSERT_EQ(got, want) << view << " from " << from;
        }
}

TEST(Underlay, StretchesTheTexture) {
    Bitmap a(24, kWidth, kHeight), b(24, kWidth, kHeight), color(24, 9, 4);
    fillRandom(a.record, 1);
    fillRandom(b.record, 1);
    fillRandom(color.record, 2);
    ASSERT_EQ(R_UnderlayBitmap(&a, &color, UNDERLAY_STRETCH), 1);
    ASSERT_EQ(R_GrayScaleBitmap(&color, 8), 1);
    ASSERT_EQ(R_SizeBitmap(&color, kWidth, kHeight, 0), 1);
    ASSERT_EQ(R_UnderlayBitmap(&b, &color, UNDERLAY_TILE), 1);
    EXPECT_EQ(contents(a.record), contents(b.record));
}

// Grey 128 leaves every pixel of colours that differ in their top five bits; black darkens those of the region alone.
TEST(Underlay, DithersPaletteDepths) {
    for (int32_t bits = 1; bits <= 5; ++bits)
        for (const int32_t gray : {128, 0}) {
            Bitmap bm(bits, kWidth, kHeight, bits == 1 ? Holding::compressed : Holding::disk);
            for (uint32_t i = 0; i < bm->nColors; ++i)
                bm->pPalette[i] = {uint8_t(i * 255 / (bm->nColors - 1)), uint8_t(~i * 7), uint8_t(i * 3), 0};
            const Bytes before = fillRandom(bm.record, 3);
            const RECT box{10, 3, 50, 9};
            R_SetBitmapRgnRect(&bm, nullptr, &box, RGN_MODE_SET);
            Texture flat(1, 1);
            setContents(flat.record, {uint8_t(gray), 0, 0, 0});
            ASSERT_EQ(R_UnderlayBitmap(&bm, &flat, UNDERLAY_TILE), 1);
            const Bytes after = contents(bm.record);
            int64_t nDarker = 0;
            for (int32_t y = 0; y < kHeight; ++y)
                for (int32_t x = 0; x < kWidth; ++x) {
                    const size_t row = size_t(y) * bm->BytesPerLine;
                    const uint64_t a = pixelAt(&before[row], bits, size_t(x)),
                                   b = pixelAt(&after[row], bits, size_t(x));
                    ASSERT_TRUE(a == b || (gray == 0 && R_IsPtInBitmapRgn(&bm, y, x))) << bits;
                    nDarker += bm->pPalette[a].rgbBlue - bm->pPalette[b].rgbBlue;
                }
            EXPECT_TRUE(gray ? nDarker == 0 : nDarker > 0) << bits;
        }
}

TEST(Underlay, KernelsGiveTheSameBytes) {
    for (size_t n = 0; n <= 140; ++n)
        for (size_t at = 0; at < 3; ++at) {
            const Bytes grays = randomBytes(n + at, 1), row = randomBytes(3 * n + at + 32, 2);
            Bytes a = row, b = row, t(3 * n + 32, 0xA5), u = t;
            rv::kPlainUnderlay.spread24(grays.data() + at, t.data(), n);
            rv::bestUnderlay().spread24(grays.data() + at, u.data(), n);
            ASSERT_EQ(t, u) << n;
            rv::kPlainUnderlay.shift(a.data() + at, t.data(), 3 * n - std::min<size_t>(n, at));
            rv::bestUnderlay().shift(b.data() + at, t.data(), 3 * n - std::min<size_t>(n, at));
            ASSERT_EQ(a, b) << n;
        }
}

TEST(Underlay, RefusesAndFailsWithoutLeaks) {
    Bitmap bm(4, kWidth, kHeight, Holding::disk), empty;
    Texture texture(7, 5, BOTTOM_LEFT);
    EXPECT_EQ(R_UnderlayBitmap(nullptr, &texture, 0), -2);
    EXPECT_EQ(R_UnderlayBitmap(&bm, &empty, 9), -2);
    texture->uStructSize = 7;
    EXPECT_EQ(R_UnderlayBitmap(&bm, &texture, 9), -789);
    texture->uStructSize = sizeof(BITMAPRECORD);
    EXPECT_EQ(R_UnderlayBitmap(&bm, &texture, 2), -13);
    const Bytes before = fillRandom(bm.record, 4);
    for (int n = 0;; ++n) {
        const long blocks = faults::liveBlocks();
        faults::FailFromNthAllocation fail(n);
        const int32_t status = R_UnderlayBitmap(&bm, &texture, UNDERLAY_STRETCH);
        fail.stop();
        ASSERT_EQ(faults::liveBlocks(), blocks) << n;
        if (!fail.fired()) {
            EXPECT_EQ(status, 1);
            break;
        }
        ASSERT_EQ(status, -1) << n;
    }
    // A short read is the status, and what was written stays.
    BITMAPDATACALLBACKS callbacks{};
    callbacks.uStructSize = sizeof callbacks;
    callbacks.pfnGetRow = [](BITMAPRECORD*, uint8_t*, int32_t row, int32_t, uint32_t, void*) {
        return row == 3 ? 17 : 0;
    };
    Bitmap shortRows(24, kWidth, kHeight);
    R_SetBitmapDataCallbacks(&shortRows, &callbacks);
    EXPECT_EQ(R_UnderlayBitmap(&shortRows, &texture, UNDERLAY_TILE), 17);
}

}  // namespace
