// Painting: what comes out where, against a model that works pixel by pixel.
#include "support/painting.h"

using namespace test;

namespace {

// Rectangles that may reach out of a picture of w x h; one axis may keep its size.
Painting randomPainting(std::mt19937& random, int32_t nView, int32_t w, int32_t h) {
    const auto in = [&](int32_t from, int32_t to) { return from + int32_t(random() % unsigned(to - from)); };
    const auto rect = [&](int32_t left, int32_t top, int32_t right, int32_t bottom) {
        const int32_t x = in(left, right - 1), y = in(top, bottom - 1);
        return RECT{x, y, x + 1 + in(0, right - x), y + 1 + in(0, bottom - y)};
    };
    Painting p{};
    if (random() % 3) p.source = rect(-9, -7, w + 8, h + 9);
    if (random() % 3 == 0) p.sourceClip = rect(-3, -4, w + 4, h + 3);
    p.dest = rect(-40, -30, 100, 80);
    const RECT s = p.source.value_or(RECT{0, 0, w, h});
    const bool bTurned = nView > 4;
    if (random() % 4 == 0) p.dest.right = p.dest.left + (bTurned ? s.bottom - s.top : s.right - s.left);
    if (random() % 4 == 0) p.dest.bottom = p.dest.top + (bTurned ? s.right - s.left : s.bottom - s.top);
    if (random() % 2) p.destClip = rect(-35, -25, 95, 75);
    return p;
}

TEST(Paint, ShowsTheStoredPictureAsItsViewDoes) {
    for (const Format& f : kPaintFormats)
        for (const Holding holding : holdingsOf(f.nBits)) {
            SCOPED_TRACE(std::to_string(f.nBits) + " " + nameOf(holding));
            NoisePicture bm(f, 37, 22, uint32_t(f.nBits), holding);
            Colours colours(bm.record);
            std::mt19937 random(uint32_t(f.nBits * 100 + f.nOrder * 20 + int(holding)));
            const Bytes before = contents(bm.record);
            for (int32_t nView = 1; nView <= 8; ++nView) {
                bm->ViewPerspective = nView;
                const SIZE size = nView > 4 ? SIZE{22, 37} : SIZE{37, 22};
                Sink whole(kDevice);
                expectPainted(whole, {.dest = {3, -2, 3 + size.width, -2 + size.height}}, bm.record, colours);
                for (int i = 0; i < (holding == Holding::conventional ? 25 : 5); ++i) {
                    Sink sink(kDevice);
                    expectPainted(sink, randomPainting(random, nView, 37, 22), bm.record, colours);
                    if (HasFailure()) return;
                }
            }
            EXPECT_EQ(contents(bm.record), before);
        }
}

// Coordinates at the ends of their range, of which a clip leaves some pixels.
TEST(Paint, TakesAllCoordinates) {
    constexpr int32_t kMin = INT32_MIN, kMax = INT32_MAX;
    constexpr RECT kHuge{-1, 0, kMax - 1, kMax};
    const struct {
        Painting p;
        RECT area;
    } cases[] = {
        {{.dest = kHuge, .destClip = RECT{1000000000, 1500000000, 1000000060, 1500000040}},
         {999999990, 1499999990, 1000000070, 1500000050}},
        {{.dest = {kMin, kMin, -1, -1}, .destClip = RECT{kMin, kMin, kMin + 50, kMin + 40}},
         {kMin, kMin, kMin + 60, kMin + 60}},
        {{.dest = {kMin, kMin, -1, -1}, .destClip = RECT{-50, -40, kMax, kMax}}, {-60, -60, 10, 10}},
        {{.dest = {0, 0, kMax, kMax}, .source = RECT{-9, -9, kMax - 9, kMax - 9}}, {-5, -5, 80, 80}},
        {{.dest = {0, 0, 1, 1}}, {-5, -5, 5, 5}},
        {{.dest = {0, 0, 1, kMax}, .destClip = RECT{kMin, kMax / 2, kMax, kMax / 2 + 40}},
         {-2, kMax / 2 - 5, 4, kMax / 2 + 45}},
        {{.dest = {0, 0, 50, 40}, .source = RECT{kMin, kMin, -1, -1}}, {0, 0, 50, 40}},
        {{.dest = {0, 0, 50, 40}, .source = RECT{-1000, -1000, 1000, 1000}}, {0, 0, 50, 40}},
        {{.dest = {0, 0, kMax, kMax},
          .source = RECT{-1073741800, -1073741810, 1073741847, 1073741837},
          .destClip = RECT{1073741790, 1073741790, 1073741860, 1073741860}},
         {1073741790, 1073741790, 1073741860, 1073741860}},
        {{.dest = {kMin, kMin, -1, -1}, .source = RECT{5, 6, kMax, kMax}, .sourceClip = RECT{kMin, kMin, kMax, 9}},
         {kMin, kMin, kMin + 60, kMin + 60}}};
    for (const Format f : {Format{1, ORDER_RGB}, Format{8, ORDER_RGB}, Format{24, ORDER_BGR}}) {
        NoisePicture bm(f, 37, 22, 5);
        Colours colours(bm.record);
        for (int32_t nView = 1; nView <= 8; ++nView)
            for (const auto& c : cases) {
                bm->ViewPerspective = nView;
                Sink sink(c.area);
                expectPainted(sink, c.p, bm.record, colours);
            }
    }
    NoisePicture bm({8, ORDER_RGB}, 37, 22, 5);
    for (const RECT& r : {RECT{kMin, 0, 0, 5}, RECT{0, -1, 5, kMax}}) {
        const Sink sink(kDevice);
        EXPECT_EQ((Painting{.dest = r}.paint(sink, bm.record)), -13);
        EXPECT_EQ((Painting{.dest = {0, 0, 5, 5}, .source = r}.paint(sink, bm.record)), -13);
        EXPECT_EQ(sink.log, "");
    }
    // Nothing to paint is well, and the sink is asked for nothing.
    for (const Painting& p : {Painting{.dest = {5, 5, 5, 9}}, Painting{.dest = {5, 5, 9, 2}},
                              Painting{.dest = {0, 0, 9, 9}, .sourceClip = RECT{37, 0, 50, 22}},
                              Painting{.dest = {0, 0, 9, 9}, .source = RECT{-9, 0, 0, 22}},
                              Painting{.dest = {0, 0, 9, 9}, .source = RECT{9, 5, 3, 22}},
                              Painting{.dest = {0, 0, 9, 9}, .destClip = RECT{9, 0, 20, 9}},
                              Painting{.dest = {0, 0, 1, 1}, .sourceClip = RECT{9, 9, 10, 10}}}) {
        const Sink sink(kDevice);
        EXPECT_EQ(p.paint(sink, bm.record), 1);
        EXPECT_EQ(sink.log, "BE") << tell(p);
    }
}

// A sink that asks for long rows gets few in a band.
TEST(Paint, BandsShowWhatOneDoes) {
    for (const Format& f : {Format{1, ORDER_RGB}, Format{8, ORDER_RGB}, Format{24, ORDER_BGR}})
        for (int32_t nView = 1; nView <= 8; ++nView)
            for (const int32_t nAskedView : {TOP_LEFT, BOTTOM_LEFT}) {
                NoisePicture bm(f, 37, 22, uint32_t(nView));
                Colours colours(bm.record);
                bm->ViewPerspective = nView;
                constexpr std::pair<int32_t, int32_t> kStrides[] = {
                    {1 << 20, 8}, {3 << 20, 2}, {800000, 10}, {9 << 20, 1}};
                for (const auto& [nStride, nBandRows] : kStrides) {
                    const int32_t nSent = nView > 4 && nBandRows > 8 ? nBandRows / 8 * 8 : nBandRows;
                    Sink sink(kDevice);
                    sink.ask(f.nBits, ORDER_BGR, nAskedView, nStride);
                    expectPainted(sink, {.dest = {0, 0, 60, 44}, .destClip = RECT{3, 1, 50, 44}}, bm.record, colours);
                    EXPECT_EQ(sink.nBands, (43 + nSent - 1) / nSent);
                    int32_t y = 1;
                    for (const Band& b : sink.bands) {
                        const int32_t n = std::min(nSent, 44 - y);
                        EXPECT_TRUE(b.y == y && b.h == n && b.sh == n && b.sy == 0);
                        EXPECT_EQ(b.info.Header.biHeight, nAskedView == TOP_LEFT ? -n : n);
                        y += n;
                    }
                }
            }
    // A turned picture whose own blocks are of few columns.
    NoisePicture bm({24, ORDER_BGR}, 50, 300, 7);
    Colours colours(bm.record);
    for (const int32_t nView : {5, 6, 7, 8}) {
        bm->ViewPerspective = nView;
        Sink sink({0, 0, 130000, 45});
        expectPainted(sink, {.dest = {-5, -2, 130000, 43}}, bm.record, colours);
        EXPECT_GT(sink.nBands, 2);
    }
}

TEST(PaintBuffer, ShowsWhatTheBitmapDoes) {
    for (const Format& f : kPaintFormats) {
        NoisePicture bm(f, 37, 22, uint32_t(f.nBits));
        Colours colours(bm.record);
        const Bytes rows = contents(bm.record), given = rows;
        Bitmap empty;
        ASSERT_EQ(R_CreateBitmap(&empty, sizeof(BITMAPRECORD), BMMEM_USER, 37, 22, f.nBits, f.nOrder, bm->pPalette,
                                 TOP_LEFT, nullptr, 0),
                  1);
        const size_t nLine = bm->BytesPerLine;
        std::mt19937 random(uint32_t(f.nBits + f.nOrder));
        for (int32_t nView = 1; nView <= 8; ++nView)
            for (int i = 0; i < 12; ++i) {
                BITMAPRECORD& record = i % 2 ? empty.record : bm.record;
                record.ViewPerspective = nView;
                const SIZE size = nView > 4 ? SIZE{22, 37} : SIZE{37, 22};
                const Painting p = i < 3 ? Painting{.dest = {3, -2, 3 + size.width, -2 + size.height}}
                                         : randomPainting(random, nView, 37, 22);
                Sink strips(kDevice);
                for (int32_t nRow = 0, n; nRow < 22; nRow += n) {
                    n = std::min(1 + int32_t(random() % 22), 22 - nRow);
                    // The last strip is said to reach below the picture.
                    const int32_t nTold = nRow + n < 22 ? n : i % 4 < 2 ? n + 3 : INT32_MAX;
                    ASSERT_EQ(p.paintBuffer(strips, record, &given[size_t(nRow) * nLine], nRow, nTold), 1);
                }
                EXPECT_TRUE(same(strips.canvas, wanted(kDevice, p, nView, colours)))
                    << tell(p) << "view " << nView << ", bits " << f.nBits << ", order " << f.nOrder;
                EXPECT_TRUE(strips.isClosed());
                ASSERT_EQ(given, rows);
            }
        EXPECT_EQ(contents(bm.record), rows);
    }
}

TEST(PaintBuffer, ExpandsRunLists) {
    NoisePicture bm({1, ORDER_RGB}, 70, 30, 3);
    Colours colours(bm.record);
    std::vector<uint16_t> lists(30 * 80);
    ASSERT_EQ(R_CompressRows(lists.data(), contents(bm.record).data(), 70, 30), 1);
    const size_t nFirst = [&] {
        size_t at = 0;
        for (int i = 0; i < 4; ++i) at += 2u + lists[at] + (uint32_t(lists[at + 1]) << 16);
        return at;
    }();
    for (int32_t nView = 1; nView <= 8; ++nView) {
        bm->ViewPerspective = nView;
        Sink whole(kDevice), part(kDevice);
        const Painting p{.dest = {0, 0, 51, 64}};
        ASSERT_EQ(p.paintBuffer(whole, bm.record, lists.data(), 0, -30), 1);
        EXPECT_TRUE(same(whole.canvas, wanted(kDevice, p, nView, colours)));
        ASSERT_EQ(p.paintBuffer(part, bm.record, &lists[nFirst], 4, -20), 1);
        const Painting strip{.dest = p.dest, .sourceClip = RECT{0, 4, 70, 24}};
        EXPECT_TRUE(same(part.canvas, wanted(kDevice, strip, nView, colours)));
    }
    // Rows of the record may be longer than those of the lists.
    Bitmap longer;
    ASSERT_EQ(R_CreateBitmap(&longer, sizeof(BITMAPRECORD), BMMEM_USER, 70, 30, 1, ORDER_RGB, bm->pPalette, TOP_LEFT,
                             nullptr, 0),
              1);
    longer->BytesPerLine += 8;
    Sink far(kDevice);
    const Painting p{.dest = {0, 0, 70, 30}};
    ASSERT_EQ(p.paintBuffer(far, longer.record, lists.data(), 0, -30), 1);
    EXPECT_TRUE(same(far.canvas, wanted(kDevice, p, TOP_LEFT, colours)));

    const Sink sink(kDevice);
    NoisePicture grey({8, ORDER_RGB}, 70, 30, 3);
    EXPECT_EQ((Painting{.dest = {0, 0, 9, 9}}.paintBuffer(sink, grey.record, lists.data(), 0, -30)), -27);
}

// Rows that follow each other as bands do are handed on where they lie.
TEST(PaintBuffer, PassesRowsStraightThrough) {
    NoisePicture bm({8, ORDER_RGB}, 37, 22, 3);
    const Bytes rows = contents(bm.record);
    for (const int32_t nAsked : {0, 1, 4})
        for (int32_t nView = 1; nView <= 8; ++nView) {
            bm->ViewPerspective = nView;
            Sink sink(kDevice);
            if (nAsked) sink.ask(8, ORDER_BGR, nAsked);
            const SIZE size = nView > 4 ? SIZE{22, 37} : SIZE{37, 22};
            const Painting p{.dest = {2, 1, 2 + size.width, 1 + size.height}, .destClip = RECT{5, 3, 20, 18}};
            ASSERT_EQ(p.paintBuffer(sink, bm.record, rows.data(), 0, 22), 1);
            const bool bSuits = nView == (nAsked == 1 ? TOP_LEFT : BOTTOM_LEFT);
            ASSERT_EQ(sink.nBands, 1);
            const uint8_t* const pFirst = &rows[size_t(nView == TOP_LEFT ? 2 : 5) * bm->BytesPerLine];
            EXPECT_EQ(sink.bands[0].pPixels == pFirst, bSuits) << nAsked << nView;
            EXPECT_EQ(sink.log, nView == TOP_LEFT || nView == BOTTOM_LEFT ? "BSCDRE" : "BDE");
        }

    // They may be more bytes than the header can tell. This sink looks at none of them.
    constexpr int32_t kRows = 1000000;
    BITMAPRECORD tall;
    ASSERT_EQ(R_InitBitmap(&tall, sizeof tall, 5000, kRows, 8), 1);
    tall.ViewPerspective = BOTTOM_LEFT;
    BITMAPINFOHEADER told{};
    PAINTCALLBACKS calls{};
    calls.uStructSize = sizeof calls;
    calls.pUserData = &told;
    calls.pfnStretchBits = [](void*, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t,
                              const void*, const PAINTBITMAPINFO* pInfo, uint32_t, uint32_t,
                              void* p) { return *static_cast<BITMAPINFOHEADER*>(p) = pInfo->Header, 1; };
    const RECT dest{0, 0, tall.Width, tall.Height};
    ASSERT_EQ(R_PaintDCBufferCallback(&calls, &tall, nullptr, nullptr, &dest, nullptr, 0, rows.data(), 0, kRows), 1);
    EXPECT_TRUE(told.biHeight == kRows && told.biSizeImage == 0);
}

// The rows of the resize engine, as colours or as samples of a depth. It takes each window of columns for itself.
Colours resized(BITMAPRECORD& bm, int32_t w, int32_t h, int32_t nBits, uint32_t uFlags,
                std::pair<int32_t, int32_t> columns, int32_t nHigh = -1) {
    Colours out(w, h);
    const auto [from, to] = columns;
    void* pState = nullptr;
    EXPECT_EQ(R_StartResizeBitmap2(&bm, w, h, nBits, nullptr, 0, uFlags, nullptr, nullptr, &pState, 0, nHigh), 1);
    Bytes row(size_t(w) * unsigned(nBits) / 8 + 9);
    for (int32_t y = 0; y < h; ++y) {
        EXPECT_EQ(R_GetResizedRowCol(pState, row.data(), y, from, uint32_t((int64_t(to - from) * nBits + 7) / 8)), 1);
        for (int32_t x = from; x < to; ++x) out.at(x, y) = pixelAt(row.data(), nBits, size_t(x - from));
    }
    EXPECT_EQ(R_StopResizeBitmap(pState), 1);
    return out;
}

// A flat bitmap of a part of another one.
struct Part : Bitmap {
    Part(BITMAPRECORD& bm, const RECT& r)
        : Bitmap(bm.BitsPerPixel, r.right - r.left, r.bottom - r.top, Holding::conventional, bm.Order) {
        if (bm.nColors) std::memcpy(record.pPalette, bm.pPalette, bm.nColors * sizeof(RGBQUAD));
        const Bytes from = contents(bm);
        Bytes to(size_t(record.BytesPerLine) * unsigned(record.Height));
        rv::visitDepth(bm.BitsPerPixel, [&](auto bits) {
            for (int32_t y = 0; y < record.Height; ++y)
                for (int32_t x = 0; x < record.Width; ++x)
                    rv::Pixel<bits>::put(
                        &to[size_t(y) * record.BytesPerLine], size_t(x),
                        rv::Pixel<bits>::get(&from[size_t(r.top + y) * bm.BytesPerLine], size_t(r.left + x)));
            return 0;
        });
        setContents(record, to);
    }
};

// The stored columns that a painting shows on the device.
std::pair<int32_t, int32_t> columnsShown(const Painting& p, int32_t nView, int32_t w, int32_t h) {
    std::pair<int32_t, int32_t> range{w, 0};
    Canvas(kDevice).forEach([&](int64_t x, int64_t y, uint64_t&) {
        if (const auto at = p.storedPixel(nView, w, h, x, y))
            range = {std::min(range.first, at->x), std::max(range.second, at->x + 1)};
    });
    return range;
}

TEST(PaintFilters, ShowTheRowsOfTheResizeEngine) {
    for (const Format& f : kPaintFormats)
        for (const Holding holding : holdingsOf(f.nBits)) {
            if (holding != Holding::conventional && holding != Holding::tiledNoView && holding != Holding::super &&
                holding != Holding::compressed)
                continue;
            NoisePicture bm(f, 37, 22, uint32_t(f.nBits), holding);
            for (const RECT& r : {RECT{0, 0, 37, 22}, RECT{5, 3, 30, 22}, RECT{8, 0, 21, 9}})
                for (const uint32_t uMode : {DM_RESAMPLE, DM_BICUBIC})
                    for (const SIZE& size : {SIZE{50, 9}, SIZE{13, 40}, SIZE{60, 61}}) {
                        Part part(bm.record, r);
                        const DisplayMode mode(uMode | DM_INDEXED_PAINT | DM_DITHER);
                        for (int32_t nView = 1; nView <= 8; nView += holding == Holding::conventional ? 1 : 5) {
                            bm->ViewPerspective = nView;
                            const SIZE seen = nView > 4 ? SIZE{size.height, size.width} : size;
                            Painting p{.dest = {1, 2, 1 + seen.width, 2 + seen.height}, .source = r};
                            if (nView % 3) p.destClip = RECT{4, 5, 32, 27};
                            Sink sink(kDevice);
                            const bool bAlpha = f.nBits % 32 == 0 && nView % 2;
                            if (bAlpha) sink.calls.uSinkFlags = PAINTSINK_ALPHA;
                            ASSERT_EQ(p.paint(sink, bm.record), 1);
                            p.source.reset();
                            Colours colours = resized(
                                part.record, size.width, size.height, bAlpha ? 32 : 24,
                                RSR_OUT_BGR | RSR_LUT_AFTER | (uMode == DM_RESAMPLE ? RSR_RESAMPLE : RSR_BICUBIC),
                                columnsShown(p, nView, size.width, size.height));
                            EXPECT_TRUE(same(sink.canvas, wanted(kDevice, p, nView, colours)))
                                << f.nBits << " order " << f.nOrder << nameOf(holding) << " view " << nView << " mode "
                                << uMode << " " << tell(p);
                            if (HasFailure()) return;
                        }
                    }
        }
}

TEST(PaintFilters, TakeThePartThatThePictureHas) {
    const DisplayMode mode(DM_RESAMPLE);
    for (const bool bBuffer : {false, true}) {
        NoisePicture bm({8, ORDER_RGB}, 37, 22, 9);
        Colours colours = resized(bm.record, 74, 44, 24, RSR_OUT_BGR | RSR_LUT_AFTER | RSR_RESAMPLE, {0, 74});
        const Bytes rows = contents(bm.record);
        Sink sink({-10, -10, 90, 80});
        const Painting p{.dest = {0, 0, 84, 56}, .source = RECT{-3, -2, 39, 26}};
        ASSERT_EQ(bBuffer ? p.paintBuffer(sink, bm.record, rows.data(), 0, 22) : p.paint(sink, bm.record), 1);
        EXPECT_TRUE(same(sink.canvas, wanted(sink.canvas.area, {.dest = {6, 4, 80, 48}}, 1, colours)));
    }
    // Gray of 1 bit stays with the nearest pixels; other 1-bit pictures don't.
    NoisePicture bm({1, ORDER_RGB}, 37, 22, 9);
    bm->pPalette[0] = {0, 0, 0, 0};
    bm->pPalette[1] = {255, 255, 255, 0};
    Colours colours(bm.record);
    Sink sink(kDevice);
    expectPainted(sink, {.dest = {0, 0, 51, 40}}, bm.record, colours);
    EXPECT_EQ(sink.bands.at(0).info.Header.biBitCount, 1);
}

// The nearest rows stand for those that a buffer doesn't have.
TEST(PaintFilters, ResizeStrips) {
    const DisplayMode mode(DM_RESAMPLE);
    for (const Format& f : {Format{24, ORDER_BGR}, Format{4, ORDER_RGB}})
        for (const auto& [nFirst, nEnd] : {std::pair{0, 7}, {6, 15}, {15, 22}, {9, 10}}) {
            NoisePicture bm(f, 37, 22, 9), strip(f, 37, 22, 9);
            const Bytes rows = contents(bm.record);
            const size_t nLine = bm->BytesPerLine;
            Bytes nearest(rows.size()), given(rows.begin() + nFirst * int(nLine), rows.begin() + nEnd * int(nLine));
            for (int32_t y = 0; y < 22; ++y)
                std::memcpy(&nearest[size_t(y) * nLine], &rows[size_t(std::clamp(y, nFirst, nEnd - 1)) * nLine], nLine);
            setContents(strip.record, nearest);
            Colours colours = resized(strip.record, 50, 31, 24, RSR_OUT_BGR | RSR_LUT_AFTER | RSR_RESAMPLE, {0, 50});
            Sink sink(kDevice);
            const Painting p{.dest = {0, 0, 50, 31}};
            ASSERT_EQ(p.paintBuffer(sink, bm.record, given.data(), nFirst, nEnd - nFirst), 1);
            const RECT band{0, (nFirst * 31 + 21) / 22, 50, (nEnd * 31 + 21) / 22};
            EXPECT_TRUE(same(sink.canvas, wanted(kDevice, {.dest = p.dest, .destClip = band}, 1, colours))) << nFirst;
        }
}

// The range that is displayed is the one that is resized, with the table after that, before it, or not at all.
TEST(PaintFilters, GoByRangeAndTableOfGray) {
    const DisplayMode mode(DM_RESAMPLE);
    const Bytes noise = randomBytes(256 * sizeof(RGBQUAD), 4);
    std::vector<RGBQUAD> table(256);
    std::memcpy(table.data(), noise.data(), noise.size());
    for (const int32_t nWay : {0, 1, 2, 3}) {  // no table; linear, not linear, not wanted
        NoisePicture bm({12, ORDER_GRAY}, 37, 22, 9);
        bm->LowBit = 2;
        bm->HighBit = 9;
        if (nWay) {
            ASSERT_EQ(R_WindowLevel(&bm, 2, 9, table.data(), 256, 1), 1);
        }
        bm->Flags &= ~uint32_t(BMF_NONLINEAR_LUT);
        if (nWay == 2) bm->Flags |= BMF_NONLINEAR_LUT;
        BITMAPRECORD shown = bm.record;
        shown.PhysicalLowBit = 2;
        shown.PhysicalHighBit = 9;
        constexpr uint32_t kTables[] = {RSR_LUT_AFTER, RSR_LUT_AFTER, 0, RSR_NO_LUT};
        Colours colours = resized(shown, 50, 31, 24, RSR_OUT_BGR | RSR_RESAMPLE | kTables[nWay], {0, 50});
        bm->PhysicalLowBit = 0;
        bm->PhysicalHighBit = 11;
        Sink sink(kDevice);
        sink.ask(24);
        if (nWay == 3) sink.asked.uInfoFlags = SINKINFO_NO_LUT;
        expectPainted(sink, {.dest = {0, 0, 50, 31}}, bm.record, colours);
    }
}

// Gray of any depth that a sink asks for, through a clip at any column.
TEST(PaintFilters, GiveGraySamples) {
    for (const Format& f : {Format{12, ORDER_GRAY}, Format{16, ORDER_GRAY}})
        for (const int32_t nBits : {8, 12, 16})
            for (int32_t nView = 1; nView <= 8; ++nView) {
                NoisePicture bm(f, 37, 22, uint32_t(nView));
                bm->ViewPerspective = nView;
                constexpr uint32_t kFlags = RSR_OUT_GRAY | RSR_GRAY_RANGE | RSR_LUT_AFTER | RSR_RESAMPLE;
                Colours samples = resized(bm.record, 52, 31, nBits, kFlags, {0, 52}, nBits - 1);
                const DisplayMode mode(DM_RESAMPLE);
                Sink sink(kDevice);
                sink.ask(nBits, ORDER_GRAY);
                sink.asked.uInfoFlags = SINKINFO_GRAY_RANGE;
                sink.asked.nInfoHighBit = nBits - 1;
                sink.bRaw = true;
                const SIZE seen = nView > 4 ? SIZE{31, 52} : SIZE{52, 31};
                const Painting p{.dest = {0, 0, seen.width, seen.height}, .destClip = RECT{5, 3, 25, 27}};
                ASSERT_EQ(p.paint(sink, bm.record), 1);
                EXPECT_EQ(sink.bands.at(0).info.Header.biBitCount, nBits);
                EXPECT_TRUE(same(sink.canvas, wanted(kDevice, p, nView, samples)))
                    << f.nBits << " " << nBits << " " << nView;
            }
}

}  // namespace
