// Painting through regions, with overlays, and from several threads.
#include <thread>

#include "geometry/seen.h"
#include "support/painting.h"

using namespace test;

namespace {

// What a picture of 37 x 22 covers; size is in hundredths.
Painting placed(int32_t nView, const std::optional<RECT>& source, const SIZE& size) {
    const RECT s = source.value_or(RECT{0, 0, 37, 22});
    SIZE seen{s.right - s.left, s.bottom - s.top};
    if (nView > 4) std::swap(seen.width, seen.height);
    const RECT dest{-8, -5, -8 + seen.width * size.width / 100, -5 + seen.height * size.height / 100};
    return {.dest = dest, .source = source};
}

// ---- regions ------------------------------------------------------------------------------------------------------

// What is left of a canvas where the picture's mask, shown as the picture is, has its bits.
Canvas masked(Canvas canvas, const Painting& p, BITMAPRECORD& bm) {
    Bitmap mask;
    EXPECT_EQ(R_CreateMaskFromBitmapRgn(&bm, &mask, sizeof(BITMAPRECORD)), 1);
    const Bytes bits = contents(mask.record);
    canvas.forEach([&](int64_t x, int64_t y, uint64_t& v) {
        const auto at = p.storedPixel(bm.ViewPerspective, bm.Width, bm.Height, x, y);
        if (!at || pixelAt(&bits[size_t(at->y) * mask->BytesPerLine], 1, size_t(at->x)) == 0) v = Canvas::kBlank;
    });
    return canvas;
}

struct WithRegion : NoisePicture {
    explicit WithRegion(int32_t nView) : NoisePicture({24, ORDER_BGR}, 37, 22, 3) {
        record.ViewPerspective = nView;
        const RECT ellipse{3, 2, 30, 17}, hole{10, 5, 15, 13};
        EXPECT_EQ(R_SetBitmapRgnEllipse(&record, nullptr, &ellipse, RGN_MODE_SET), 1);
        EXPECT_EQ(R_SetBitmapRgnRect(&record, nullptr, &hole, RGN_MODE_OLD_MINUS_NEW), 1);
    }
};

TEST(PaintRegion, IsAPaintThroughTheMask) {
    for (int32_t nView = 1; nView <= 8; ++nView)
        for (const int32_t nScale : {100, 200, 300, 145})
            for (const bool bPart : {false, true}) {
                if (nScale == 145 && nView != TOP_LEFT) continue;
                WithRegion bm(nView);
                Colours colours(bm.record);
                std::optional<RECT> source;
                if (bPart) source = RECT{5, 1, 28, 20};
                Painting p = placed(nView, source, {nScale, nScale});
                p.destClip = RECT{-20, 0, 60, 60};
                const Canvas want = masked(wanted(kDevice, p, nView, colours), p, bm.record);
                const auto label = [&] { return testing::Message() << nView << " x " << nScale << " part " << bPart; };
                Sink sink(kDevice), buffer(kDevice);
                sink.calls.pfnIntersectClip(nullptr, -25, -15, 40, 50, &sink);
                ASSERT_EQ(p.paintRgn(sink, bm.record), 1);
                Canvas inside = want;
                inside.forEach([](int64_t x, int64_t y, uint64_t& v) {
                    if (x >= 40 || y >= 50) v = Canvas::kBlank;
                });
                EXPECT_TRUE(same(sink.canvas, inside)) << label();
                EXPECT_EQ(sink.log, "CBSGDRE");
                EXPECT_EQ(sink.nClipMode, PAINTCLIP_AND);
                EXPECT_TRUE(sink.isClosed());

                const Bytes rows = contents(bm.record);
                buffer.calls.pfnGetOrigin = [](void*, POINT* pPoint, void*) { return *pPoint = {5, 5}, 1; };
                const int32_t n = R_PaintRgnDCBufferCallback(
                    &buffer.calls, &bm, Painting::of(p.source), nullptr, &p.dest, Painting::of(p.destClip),
                    PAINTROP_OVERLAY * uint32_t(nScale == 300), rows.data(), 0, 22);
                ASSERT_EQ(n, 1);
                EXPECT_TRUE(same(buffer.canvas, want)) << label();
                EXPECT_EQ(buffer.nClipMode, PAINTCLIP_COPY);
                EXPECT_TRUE(buffer.isClosed());
            }
}

TEST(PaintRegion, FollowsOriginAndTransform) {
    const Painting p{.dest = {0, 0, 37, 22}};
    WithRegion bm(TOP_LEFT);
    Colours colours(bm.record);
    const Canvas want = masked(wanted(kDevice, p, TOP_LEFT, colours), p, bm.record);
    for (int i = 0; i < 2; ++i) {  // the shared handle stays where it was
        Sink sink(kDevice);
        sink.origin = {11, -7};
        ASSERT_EQ(p.paintRgn(sink, bm.record), 1);
        Canvas moved(kDevice);
        moved.forEach([&](int64_t x, int64_t y, uint64_t& v) {
            if (want.has(x - 11, y + 7)) v = want.pixels[want.index(x - 11, y + 7)];
        });
        EXPECT_TRUE(same(sink.canvas, moved));
    }
    // Only a display with a transform that moves something is asked, and the pixels are the sink's affair.
    const struct {
        bool bDisplay;
        int32_t nMode;
        uint32_t uFlags;
        float dx;
        bool bMoves;
    } cases[] = {{true, 2, 0, 5, true},
                 {true, 2, 0, 0, false},
                 {false, 2, 0, 5, false},
                 {true, 1, 0, 5, false},
                 {true, 2, PAINTSINK_NO_TRANSFORM, 5, false}};
    for (const auto& c : cases) {
        Sink sink(kDevice);
        if (c.bDisplay) sink.calls.pDisplay = &sink;
        sink.nGraphicsMode = c.nMode;
        sink.calls.uSinkFlags = c.uFlags;
        sink.transform[4] = c.dx;
        ASSERT_EQ(p.paintRgn(sink, bm.record), 1);
        Canvas got = wanted(kDevice, p, TOP_LEFT, colours);
        got.forEach([&](int64_t x, int64_t y, uint64_t& v) {
            const int64_t from = x - (c.bMoves ? 5 : 0);
            if (!want.has(from, y) || want.pixels[want.index(from, y)] == Canvas::kBlank) v = Canvas::kBlank;
        });
        EXPECT_TRUE(same(sink.canvas, got)) << c.dx << c.nMode;
    }
}

TEST(PaintRegion, LeavesTheClipForMore) {
    WithRegion bm(TOP_LEFT);
    Sink sink(kDevice);
    const Painting p{.dest = {0, 0, 37, 22}, .uRop = PAINTROP_OVERLAY | 0xCC0020};
    ASSERT_EQ(p.paintRgn(sink, bm.record), 1);
    EXPECT_EQ(sink.log, "BSGDE");
    EXPECT_EQ(sink.bands.at(0).uRop, 0xCC0020u);
    EXPECT_FALSE(sink.isClosed());
}

// ---- overlays -----------------------------------------------------------------------------------------------------

constexpr uint64_t kRed = 0xFF2010;

void hang(BITMAPRECORD& bm, uint32_t uSlot, BITMAPRECORD& overlay, int32_t x, int32_t y, uint32_t uFlags) {
    OVERLAYATTRIBUTES a{};
    a.uStructSize = sizeof a;
    a.nOriginX = x;
    a.nOriginY = y;
    a.Colour = 0x1020FF;
    a.uFlags = uFlags;
    ASSERT_EQ(R_SetOverlayAttributes(&bm, uSlot, &a, OVERLAYATTR_ORIGIN | OVERLAYATTR_COLOUR | OVERLAYATTR_FLAGS), 1);
    ASSERT_EQ(R_SetOverlayBitmap(&bm, uSlot, &overlay, OVERLAY_COPY), 1);
}

// Draws an overlay where the picture's pixels, inside of the picture or not, would stand on the device.
void drawOverlay(Canvas& canvas, Seen& overlay, const POINT& origin, BITMAPRECORD& bm, const Painting& p,
                 bool bLetOut) {
    const int32_t view = bm.ViewPerspective;
    canvas.forEach([&](int64_t x, int64_t y, uint64_t& v) {
        if (p.destClip && !contains(*p.destClip, x, y)) return;
        const auto [col, row] = p.storedPlace(view, bm.Width, bm.Height, x, y);
        if (p.sourceClip && !contains(*p.sourceClip, col, row)) return;
        if (!bLetOut && !p.storedPixel(view, bm.Width, bm.Height, x, y)) return;
        int64_t sx = view > 4 ? row : col, sy = view > 4 ? col : row;
        const SIZE size = view > 4 ? SIZE{bm.Height, bm.Width} : SIZE{bm.Width, bm.Height};
        if (view == 2 || view == 3 || view == 6 || view == 7) sx = size.width - 1 - sx;
        if (view % 4 == 3 || view % 4 == 0) sy = size.height - 1 - sy;
        if (overlay.has(sx - origin.x, sy - origin.y) && overlay.at(sx - origin.x, sy - origin.y)) v = kRed;
    });
}

TEST(PaintOverlay, IsShownInItsPlace) {
    for (int32_t nView = 1; nView <= 8; ++nView)
        for (int32_t nOwnView = 1; nOwnView <= 8; ++nOwnView)
            for (const uint32_t uFlags : {1u, 3u})  // shown, and let out
                for (const POINT& origin : {POINT{-6, 4}, POINT{30, 14}, POINT{5, -3}, POINT{60, 2}})
                    for (int i = 0; i < 12; ++i) {  // scale, and source or clips
                        // Other scales step along the rows and columns of the overlay's own view.
                        constexpr SIZE kSizes[] = {{100, 100}, {200, 100}, {137, 219}, {73, 180}};
                        if (i % 4 > 1 && nView != nOwnView) continue;
                        NoisePicture bm({8, ORDER_RGB}, 37, 22, 3), overlay({1, ORDER_RGB}, 17, 11, 5);
                        bm->ViewPerspective = nView;
                        overlay->ViewPerspective = nOwnView;
                        hang(bm.record, uint32_t(nView), overlay.record, origin.x, origin.y, uFlags);
                        hang(bm.record, 0, overlay.record, 1, 1, 0);  // hidden
                        std::optional<RECT> source;
                        if (i / 4 == 1) source = RECT{5, 1, 28, 20};
                        Painting p = placed(nView, source, kSizes[i % 4]);
                        if (i / 4 == 1) p.destClip = RECT{-20, -8, 70, 30};
                        if (i / 4 == 2) p.sourceClip = RECT{2, 4, 33, 22};
                        Colours colours(bm.record);
                        Canvas want = wanted(kDevice, p, nView, colours);
                        Seen shown(overlay.record);
                        drawOverlay(want, shown, origin, bm.record, p, uFlags & OVERLAY_LET_OUT);
                        Sink sink(kDevice);
                        ASSERT_EQ(p.paint(sink, bm.record), 1);
                        EXPECT_TRUE(same(sink.canvas, want)) << nView << " own " << nOwnView << " flags " << uFlags
                                                             << " origin " << origin.x << " case " << i;
                        EXPECT_TRUE(sink.isClosed());
                        // A strip shows what lies on its rows; an overlay leaves the source, but not these.
                        const Bytes rows = contents(bm.record);
                        Sink strip(kDevice);
                        const uint8_t* const pRows = &rows[size_t(9) * bm->BytesPerLine];
                        ASSERT_EQ(p.paintBuffer(strip, bm.record, pRows, 9, 4), 1);
                        RECT kept = p.sourceClip.value_or(RECT{0, 0, 37, 22});
                        kept.top = std::max(kept.top, 9), kept.bottom = std::min(kept.bottom, 13);
                        p.sourceClip = kept;
                        Canvas inside = wanted(kDevice, p, nView, colours);
                        drawOverlay(inside, shown, origin, bm.record, p, uFlags & OVERLAY_LET_OUT);
                        EXPECT_TRUE(same(strip.canvas, inside)) << nView << " own " << nOwnView << " case " << i;
                        for (size_t k = 1; k < sink.bands.size(); ++k) {
                            EXPECT_TRUE(sink.bands[k].uRop == PAINTROP_OVERLAY &&
                                        sink.bands[k].info.Header.biBitCount == 1);
                        }
                        if (HasFailure()) return;
                    }
}

// Where pages are smoothed, a pixel that shrinks keeps the ink of its box, however large that is.
TEST(PaintOverlay, KeepsItsInkWhereItShrinks) {
    for (const uint32_t uMode : {uint32_t(DM_BITONAL_COVERAGE), uint32_t(DM_BITONAL_SMOOTH)})
        for (const int32_t nBox : {2, 3, 40})
            for (int32_t nView = 1; nView <= 8; ++nView) {
                const DisplayMode mode(uMode);
                NoisePicture bm({8, ORDER_RGB}, 10 * nBox, 6 * nBox, 3);
                Bitmap overlay(1, 7 * nBox, 5 * nBox);
                bm->ViewPerspective = nView;
                overlay->ViewPerspective = 9 - nView;
                for (int32_t i = 0; i < 9; ++i)
                    ASSERT_EQ(R_PutPixelColor(&overlay, i * 11 % (5 * nBox), i * 17 % (7 * nBox), 0xFFFFFF), 1);
                hang(bm.record, 3, overlay.record, nBox, 0, OVERLAY_SHOW);
                Colours colours(bm.record);
                const Painting p{.dest = nView > 4 ? RECT{0, 0, 6, 10} : RECT{0, 0, 10, 6}};
                Canvas want = wanted(kDevice, p, nView, colours);
                Seen shown(overlay.record);
                for (int32_t y = 0; y < shown.height; ++y)
                    for (int32_t x = 0; x < shown.width; ++x)
                        if (shown.at(x, y) && contains(p.dest, x / nBox + 1, y / nBox)) {
                            want.at(x / nBox + 1, y / nBox) = kRed;
                        }
                Sink sink(kDevice);
                ASSERT_EQ(p.paint(sink, bm.record), 1);
                EXPECT_TRUE(same(sink.canvas, want)) << nView << " boxes of " << nBox << " mode " << uMode;
            }
}

TEST(PaintOverlay, IsLeftOutWhereTheSinkSaysSo) {
    NoisePicture bm({8, ORDER_RGB}, 37, 22, 3), overlay({1, ORDER_RGB}, 17, 11, 5);
    hang(bm.record, 3, overlay.record, 2, 2, OVERLAY_SHOW);
    hang(bm.record, 4, overlay.record, 2, 2, OVERLAY_SHOW);
    ASSERT_EQ(R_SetOverlayBitmap(&bm, 4, nullptr, OVERLAY_COPY), 1);  // a record without storage
    hang(bm.record, 5, overlay.record, 9, 9, OVERLAY_SHOW);
    Colours colours(bm.record);
    const Painting p{.dest = {0, 0, 37, 22}};
    Sink skips(kDevice), refuses(kDevice), fails(kDevice);
    skips.nBeginOverlay = -815;
    expectPainted(skips, p, bm.record, colours);
    EXPECT_EQ(skips.log, "BDSCBRSCBRE");
    refuses.nBeginOverlay = -9;
    EXPECT_EQ(p.paint(refuses, bm.record), -9);
    EXPECT_EQ(refuses.log, "BDSCBRE");
    fails.nFailAt = 1;
    EXPECT_EQ(p.paint(fails, bm.record), -1);
    EXPECT_EQ(fails.log, "BDSCBDERE");
}

// ---- threads ------------------------------------------------------------------------------------------------------

TEST(ThreadPaint, GoesByTheModeOfItsThread) {
    const auto work = [](uint32_t uMode, int32_t nBits, int32_t nDevice, bool bIndices) {
        const DisplayMode mode(uMode);
        for (int i = 0; i < 20; ++i) {
            NoisePicture bm({nBits, defaultOrder(nBits)}, 37, 22, uint32_t(i));
            bm->ViewPerspective = i % 8 + 1;
            Sink sink(kDevice);
            sink.nBits = nDevice;
            std::vector<RGBQUAD> palette(256);
            sink.pIndexColors = palette.data();
            ASSERT_EQ((Painting{.dest = {0, 0, 50, 40}}.paint(sink, bm.record)), 1);
            ASSERT_EQ(sink.bands.at(0).uUsage == PAINTUSAGE_INDICES, bIndices);
            ASSERT_EQ(sink.bands[0].info.Header.biBitCount, bIndices ? nDevice : 24);
        }
    };
    std::thread first(work, DM_DITHER | DM_INDEXED_PAINT, 24, 4, true);
    std::thread second(work, DM_RESAMPLE, 8, 8, false);
    work(DM_INDEXED_PAINT, 8, 8, true);
    first.join();
    second.join();
}

}  // namespace
