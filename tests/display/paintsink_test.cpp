// Painting and its sink: what is asked and told, statuses, failures, tables, pictures that go whole.
#include <array>

#include "internal/paintwork.h"
#include "support/faults.h"
#include "support/painting.h"

using namespace test;

namespace {

constexpr Painting kWhole{.dest = {2, 1, 39, 23}};
constexpr Painting kScaled{.dest = {2, 1, 76, 23}};

// ---- the sink -----------------------------------------------------------------------------------------------------

TEST(PaintSink, GetsTheRowsItAsksFor) {
    for (const Format& f : kPaintFormats) {
        if (f.nBits < 24) continue;
        NoisePicture bm(f, 37, 22, 3);
        Colours colours(bm.record);
        for (const int32_t nView : {1, 3, 6, 7})
            for (const int32_t nOrder : {ORDER_RGB, ORDER_BGR})
                for (const int32_t nAskedView : {TOP_LEFT, BOTTOM_LEFT})
                    for (const int32_t nStride : {0, 240, 277})
                        for (const uint32_t uMode : {0u, uint32_t(DM_RGB_SWAP)}) {
                            bm->ViewPerspective = nView;
                            const DisplayMode mode(uMode);
                            Sink sink(kDevice);
                            sink.ask(24, nOrder, nAskedView, nStride);
                            expectPainted(sink, {.dest = {-4, 0, 76, 60}}, bm.record, colours);
                            EXPECT_EQ(sink.log, "BDE");
                            EXPECT_EQ(sink.bands.at(0).info.Header.biHeight, nAskedView == TOP_LEFT ? -60 : 60);
                        }
    }
    // An order that no colours go out in has blue first, filtered or not.
    for (const uint32_t uMode : {0u, uint32_t(DM_RESAMPLE)}) {
        const DisplayMode mode(uMode);
        NoisePicture bm({24, ORDER_ROMM}, 37, 22, 3);
        Sink blue(kDevice), odd(kDevice);
        blue.ask(24, ORDER_BGR);
        odd.ask(24, ORDER_ROMM);
        EXPECT_TRUE(kScaled.paint(blue, bm.record) == 1 && kScaled.paint(odd, bm.record) == 1);
        EXPECT_TRUE(same(odd.canvas, blue.canvas)) << uMode;
    }
    // Colours of 12 bits aren't filtered.
    NoisePicture table({12, ORDER_RGB}, 37, 22, 3);
    Sink nearest(kDevice), filtered(kDevice);
    EXPECT_EQ(kScaled.paint(nearest, table.record), 1);
    {
        const DisplayMode mode(DM_BICUBIC);
        EXPECT_EQ(kScaled.paint(filtered, table.record), 1);
    }
    EXPECT_TRUE(same(filtered.canvas, nearest.canvas));
    // Deep rows as they are stored.
    for (const Format& f : {Format{48, ORDER_BGR}, Format{64, ORDER_RGB}, Format{16, ORDER_GRAY}}) {
        NoisePicture bm(f, 37, 22, 3);
        const Bytes rows = contents(bm.record);
        Sink sink(kDevice);
        sink.ask(f.nBits, f.nOrder);
        sink.asked.uInfoFlags = SINKINFO_AS_STORED;
        sink.asked.nInfoHighBit = 15;
        sink.bRaw = true;
        ASSERT_EQ(kWhole.paint(sink, bm.record), 1);
        for (int32_t y = 0; y < 22; ++y)
            for (int32_t x = 0; x < 37; ++x)
                ASSERT_EQ(sink.canvas.at(2 + x, 1 + y),
                          pixelAt(&rows[size_t(y) * bm->BytesPerLine], f.nBits, size_t(x)));
    }
}

TEST(PaintSink, TakesAlphaWhereItSaysSo) {
    for (const Format& f : {Format{32, ORDER_BGR}, Format{32, ORDER_RGB}, Format{64, ORDER_BGR}})
        for (const bool bAsks : {false, true})
            for (const uint32_t uMode : {0u, uint32_t(DM_RESAMPLE)}) {
                NoisePicture bm(f, 37, 22, 3);
                bm->ViewPerspective = 6;
                const DisplayMode mode(uMode);
                Colours colours(bm.record);
                const Bytes rows = contents(bm.record);
                for (int32_t y = 0; y < 22; ++y)
                    for (int32_t x = 0; x < 37; ++x) {
                        const uint64_t v = pixelAt(&rows[size_t(y) * bm->BytesPerLine], f.nBits, size_t(x));
                        colours.at(x, y) |= v >> (f.nBits - 8) << 24;
                    }
                Sink sink(kDevice), plain(kDevice);
                sink.calls.uSinkFlags = PAINTSINK_ALPHA;
                if (bAsks) sink.ask(32);
                expectPainted(sink, {.dest = {0, 0, 22, 37}}, bm.record, colours);
                EXPECT_EQ(sink.bands.at(0).info.Header.biBitCount, 32);
                for (uint64_t& pixel : colours.pixels) pixel &= 0xFFFFFF;
                if (bAsks) {  // it could take alpha, but wants none
                    plain.calls.uSinkFlags = PAINTSINK_ALPHA;
                    plain.ask(24);
                }
                expectPainted(plain, {.dest = {0, 0, 22, 37}}, bm.record, colours);
                EXPECT_EQ(plain.bands.at(0).info.Header.biBitCount, 24);
            }
}

TEST(PaintSink, SaysWhatIsWrong) {
    NoisePicture bm({24, ORDER_BGR}, 37, 22, 3), indexed({8, ORDER_RGB}, 37, 22, 3);
    const auto status = [&](BITMAPRECORD& b, auto&& spoil) {
        Sink sink(kDevice);
        sink.ask(24);
        spoil(sink);
        const int32_t n = kWhole.paint(sink, b);
        EXPECT_EQ(sink.log, n == 1 ? "BDE" : "BE");
        EXPECT_EQ(b.nLockCount, 0);
        return n;
    };
    EXPECT_EQ(status(bm.record, [](Sink&) {}), 1);
    EXPECT_EQ(status(bm.record, [](Sink& s) { s.asked.uInfoLimit = 65535, s.asked.nPlanes = 1; }), 1);
    EXPECT_EQ(status(bm.record, [](Sink& s) { s.asked.uStructSize = 40; }), -1491);
    for (const int32_t n : {0, 2, 3, 5, -1})
        EXPECT_EQ(status(bm.record, [=](Sink& s) { s.asked.nViewPerspective = n; }), -1491);
    for (const int32_t n : {0, -24}) EXPECT_EQ(status(bm.record, [=](Sink& s) { s.asked.nBitsPerPixel = n; }), -1491);
    for (const int32_t n : {2, -1}) EXPECT_EQ(status(bm.record, [=](Sink& s) { s.asked.nPlanes = n; }), -1491);
    for (const int32_t n : {110, -1}) EXPECT_EQ(status(bm.record, [=](Sink& s) { s.asked.nBytesPerLine = n; }), -1491);
    EXPECT_EQ(status(bm.record, [](Sink& s) { s.asked.uInfoLimit = 65536; }), -1491);
    for (const int32_t n : {12, 16, 32}) EXPECT_EQ(status(bm.record, [=](Sink& s) { s.ask(n); }), -27);
    EXPECT_EQ(status(indexed.record, [](Sink&) {}), 1);  // colours of a palette go out in 24 bits
    EXPECT_EQ(status(indexed.record, [](Sink& s) { s.ask(16); }), -27);
    EXPECT_EQ(status(bm.record, [](Sink& s) { s.nAsked = -1234; }), -1234);
    // What a sink says that has nothing special to say is not looked at.
    for (const int32_t n : {0, 2}) EXPECT_EQ(status(indexed.record, [=](Sink& s) { s.nAsked = n; }), 1);
}

TEST(PaintSink, MindsTheFormAndTheEmptySlots) {
    NoisePicture bm({16, ORDER_BGR}, 37, 22, 3);
    Colours colours(bm.record);
    Sink old(kDevice);
    old.ask(8);  // beyond the end of the older form, as the rest is
    old.calls.uStructSize = PAINTCALLBACKS_OLD_SIZE;
    expectPainted(old, kWhole, bm.record, colours);
    EXPECT_EQ(old.log, "D");

    Sink least(kDevice);
    const PAINTCALLBACKS full = least.calls;
    least.calls = {};
    least.calls.uStructSize = full.uStructSize;
    least.calls.pUserData = full.pUserData;
    least.calls.pfnStretchBits = full.pfnStretchBits;
    expectPainted(least, kScaled, bm.record, colours);
    ASSERT_EQ(R_SetBitmapRgnRect(&bm, nullptr, &kDevice, RGN_MODE_SET), 1);
    EXPECT_EQ(kScaled.paintRgn(least, bm.record), 1);
    EXPECT_EQ(kWhole.paintBuffer(least, bm.record, contents(bm.record).data(), 0, 22), 1);

    Sink refusing(kDevice), forgotten(kDevice), dumb(kDevice);
    refusing.nBegin = -77;
    EXPECT_EQ(kWhole.paint(refusing, bm.record), -77);
    EXPECT_EQ(kWhole.paintRgn(refusing, bm.record), -77);
    EXPECT_EQ(kWhole.paintBuffer(refusing, bm.record, bm->pData, 0, 22), -77);
    EXPECT_EQ(refusing.log, "BBB");
    forgotten.nValid = 0;
    EXPECT_EQ(kWhole.paint(forgotten, bm.record), -13);
    dumb.calls.pfnStretchBits = nullptr;
    EXPECT_EQ(kWhole.paint(dumb, bm.record), -13);
    EXPECT_EQ(forgotten.log + dumb.log, "");
}

TEST(PaintSink, ConvertsRowsItself) {
    NoisePicture bm({16, ORDER_BGR}, 37, 22, 3), plain({24, ORDER_BGR}, 37, 22, 3);
    Colours colours(37, 22);
    const Bytes rows = contents(bm.record);
    for (int32_t y = 0; y < 22; ++y)
        for (int32_t x = 0; x < 37; ++x)
            colours.at(x, y) = pixelAt(&rows[size_t(y) * bm->BytesPerLine], 16, size_t(x)) | 0x770000;
    const auto convert = [](uint8_t* pDest, const uint8_t* pSource, const BITMAPRECORD* p, int32_t nCol, int32_t nEnd) {
        EXPECT_EQ(p->BitsPerPixel, 16);
        for (int32_t i = nCol; i < nEnd; ++i, pDest += 3) {
            pDest[0] = pSource[2 * i], pDest[1] = pSource[2 * i + 1];
            pDest[2] = 0x77;
        }
    };
    for (const int32_t nView : {1, 6}) {
        bm->ViewPerspective = nView;
        Sink sink(kDevice), untouched(kDevice);
        sink.calls.pfnConvertRow = untouched.calls.pfnConvertRow = convert;
        expectPainted(sink, kScaled, bm.record, colours);
        Colours own(plain.record);  // no conversion is needed
        expectPainted(untouched, kScaled, plain.record, own);
    }
}

TEST(PaintSink, LooksAtArgumentsInOrder) {
    NoisePicture bm({12, ORDER_GRAY}, 37, 22, 3);
    const Sink sink(kDevice);
    const auto paint = [&](const PAINTCALLBACKS* pSink, BITMAPRECORD* p, const RECT* pDest) {
        const int32_t n = R_PaintDCCallback(pSink, p, nullptr, nullptr, pDest, nullptr, 0);
        EXPECT_EQ(R_PaintRgnDCCallback(pSink, p, nullptr, nullptr, pDest, nullptr, 0), n);
        return n;
    };
    const auto paintBuffer = [&](const PAINTCALLBACKS* pSink, BITMAPRECORD* p, const RECT* pDest, const void* pRows) {
        const auto* const pBytes = static_cast<const uint8_t*>(pRows);
        const int32_t n = R_PaintDCBufferCallback(pSink, p, nullptr, nullptr, pDest, nullptr, 0, pBytes, 0, 22);
        EXPECT_EQ(R_PaintRgnDCBufferCallback(pSink, p, nullptr, nullptr, pDest, nullptr, 0, pBytes, 0, 22), n);
        return n;
    };
    const RECT dest{0, 0, 37, 22}, wide{INT32_MIN, 0, 5, 22};
    const Bytes rows = contents(bm.record);
    PAINTCALLBACKS odd = sink.calls;
    odd.uStructSize -= 4;
    BITMAPRECORD empty{};
    EXPECT_EQ(paint(nullptr, nullptr, nullptr), -2);
    EXPECT_EQ(paint(nullptr, &empty, nullptr), -2);
    EXPECT_EQ(paintBuffer(nullptr, nullptr, nullptr, nullptr), -2);
    EXPECT_EQ(paintBuffer(nullptr, &empty, nullptr, nullptr), -789);
    bm->uStructSize -= 4;
    EXPECT_EQ(paint(nullptr, &bm, nullptr), -789);
    bm->uStructSize += 4;
    RGBQUAD table[3] = {};
    bm->pLUT = table;
    bm->LUTLength = 3;
    bm->Flags |= BMF_USE_LUT;
    EXPECT_EQ(paintBuffer(nullptr, &bm, nullptr, nullptr), -13);
    EXPECT_EQ(paintBuffer(nullptr, &bm, &dest, nullptr), -1486);
    bm->Flags &= ~uint32_t(BMF_USE_LUT);
    bm->pLUT = nullptr;
    bm->LUTLength = 0;
    const PAINTCALLBACKS* const kBad[] = {nullptr, &odd};
    for (const PAINTCALLBACKS* pSink : kBad) {
        EXPECT_EQ(paint(pSink, &bm, nullptr), -13);
        EXPECT_EQ(paint(pSink, &bm, &dest), -13);
        EXPECT_EQ(paintBuffer(pSink, &bm, &dest, rows.data()), -13);
    }
    EXPECT_EQ(paint(&sink.calls, &bm, &wide), -13);
    EXPECT_EQ(paintBuffer(&sink.calls, &bm, &dest, nullptr), -13);
    EXPECT_EQ(sink.log, "");
}

// Every allocation of a paint fails in turn: the sink is told the end, and nothing else is left.
TEST(PaintSink, LearnsOfTheEndWhateverFails) {
    const struct {
        Format f;
        Holding holding;
        uint32_t uMode;
        int32_t nWay;  // 0 bitmap, 1 its region, 2 buffer, 3 run lists
    } cases[] = {{{24, ORDER_BGR}, Holding::callbacks, 0, 0},
                 {{24, ORDER_RGB}, Holding::conventional, DM_RESAMPLE, 0},
                 {{24, ORDER_RGB}, Holding::callbacks, DM_BICUBIC, 0},
                 {{24, ORDER_BGR}, Holding::conventional, DM_DITHER, 0},
                 {{24, ORDER_BGR}, Holding::conventional, DM_DITHER | DM_RESAMPLE | DM_ORDERED_DITHER, 0},
                 {{16, ORDER_BGR}, Holding::conventional, 0, 1},
                 {{12, ORDER_GRAY}, Holding::conventional, 0, 2},
                 {{1, ORDER_RGB}, Holding::conventional, 0, 3},
                 {{1, ORDER_RGB}, Holding::compressed, DM_BITONAL_COVERAGE, 0}};
    const RECT part{1, 2, 30, 19};
    for (const auto& c : cases)
        for (const int32_t nView : {1, 3, 6}) {
            NoisePicture bm(c.f, 37, 22, 3, c.holding);
            if (c.uMode == DM_BITONAL_COVERAGE) bm->pPalette[0] = {0, 0, 0, 0}, bm->pPalette[1] = {255, 255, 255, 0};
            Bitmap overlay(1, 9, 9);
            bm->ViewPerspective = nView;
            const Bytes rows = contents(bm.record);
            std::vector<uint16_t> lists(22 * 40);
            ASSERT_EQ(R_CompressRows(lists.data(), rows.data(), 37, c.f.nBits == 1 ? 22 : 0), 1);
            ASSERT_EQ(R_SetOverlayBitmap(&bm, 2, &overlay, OVERLAY_COPY), 1);
            OVERLAYATTRIBUTES shown{};
            shown.uStructSize = sizeof shown;
            shown.uFlags = OVERLAY_SHOW;
            ASSERT_EQ(R_SetOverlayAttributes(&bm, 2, &shown, OVERLAYATTR_FLAGS), 1);
            if (c.nWay == 1) {
                ASSERT_EQ(R_SetBitmapRgnEllipse(&bm, nullptr, &part, RGN_MODE_SET), 1);
            }
            const DisplayMode mode(c.uMode);
            const auto paint = [&](Sink& sink) {
                sink.bOnlyCounts = true;
                sink.nBits = c.uMode & DM_DITHER ? 8 : 24;
                sink.origin = {3, 4};
                if (c.nWay == 1) return kScaled.paintRgn(sink, bm.record);
                if (c.nWay == 2) return kScaled.paintBuffer(sink, bm.record, rows.data(), 0, 22);
                if (c.nWay == 3) return kScaled.paintBuffer(sink, bm.record, lists.data(), 0, -22);
                return kScaled.paint(sink, bm.record);
            };
            Sink first(kDevice);
            ASSERT_EQ(paint(first), 1) << c.f.nBits << " " << c.nWay;  // what is made once is made
            EXPECT_EQ(first.nBands, 2);
            if (c.nWay == 1) R_FreeBitmapRgn(&bm), R_SetBitmapRgnEllipse(&bm, nullptr, &part, RGN_MODE_SET);
            bool bDone = false;
            for (int n = 0; !bDone; ++n) {
                SCOPED_TRACE("bits " + std::to_string(c.f.nBits) + ", allocation " + std::to_string(n));
                Sink sink(kDevice);
                const long nBefore = faults::liveBlocks();
                faults::FailNth fail(faults::Kind::allocation, n, true);
                const int32_t nStatus = paint(sink);
                fail.stop();
                bDone = !fail.fired();
                ASSERT_EQ(nStatus, bDone ? 1 : -1);
                const auto count = [&](char k) { return std::count(sink.log.begin(), sink.log.end(), k); };
                EXPECT_TRUE(count('B') == count('E') && count('S') == count('R') && sink.log.back() == 'E') << sink.log;
                EXPECT_EQ(bm->nLockCount, 0);
                if (c.nWay != 1) {
                    EXPECT_EQ(faults::liveBlocks(), nBefore);  // a region keeps its last handle
                }
                ASSERT_LT(n, 100);
            }
        }
}

TEST(PaintSink, EndsAPaintByFailing) {
    NoisePicture bm({24, ORDER_BGR}, 37, 22, 3);
    Colours colours(bm.record);
    for (int32_t nFail = 0; nFail < 4; ++nFail) {
        Sink sink(kDevice);
        sink.ask(24, ORDER_BGR, BOTTOM_LEFT, 1 << 20);  // 8 rows
        sink.nFailAt = nFail;
        EXPECT_EQ(kWhole.paint(sink, bm.record), nFail < 3 ? -1 : 1);
        constexpr const char* kLogs[] = {"BDE", "BDDE", "BDDDE", "BDDDE"};
        EXPECT_EQ(sink.log, kLogs[nFail]);
        Painting drawn = kWhole;
        drawn.destClip = RECT{0, 0, 40, 1 + 8 * nFail};
        EXPECT_TRUE(same(sink.canvas, wanted(kDevice, drawn, TOP_LEFT, colours)));
        EXPECT_EQ(bm->nLockCount, 0);
    }
}

// ---- methods --------------------------------------------------------------------------------------------------------

// Bits of a band, which tell how a picture went out; 0 on failure.
int32_t bandBits(BITMAPRECORD& bm, const Painting& p, Sink& sink) {
    return p.paint(sink, bm) == 1 ? sink.bands.at(0).info.Header.biBitCount : 0;
}

TEST(PaintMethods, SuitDeviceAndMode) {
    for (const Format& f : kPaintFormats)
        for (const int32_t nDevice : {1, 4, 8, 24})
            for (const uint32_t uMode : {0u, uint32_t(DM_DITHER), uint32_t(DM_DITHER_8BIT), 136u, 2048u})
                for (const bool bFixed : {false, true}) {
                    NoisePicture bm(f, 8, 8, 3);
                    if (bFixed && (f.nBits == 4 || f.nBits == 8))
                        std::copy_n(rv::devicePalette(f.nBits, uMode), bm->nColors, bm->pPalette);
                    rv::PaintWish wish;
                    wish.uMode = uMode;
                    wish.nDeviceBits = nDevice;
                    const bool b8 = uMode & DM_DITHER_8BIT, bOwn = bFixed && (f.nBits == 4 || f.nBits == 8);
                    bool bDither = nDevice < 9;
                    if (f.nBits < 8 || f.nOrder == ORDER_GRAY) bDither = nDevice < 8 || (b8 && nDevice == 8);
                    if (f.nBits == 1) bDither = b8 && nDevice == 8;
                    if (f.nBits == 4) bDither = nDevice < 4 || (nDevice == 4 && !bOwn) || (b8 && nDevice < 8);
                    if (f.nBits == 8) bDither = nDevice < 8 || (b8 && nDevice == 8 && !bOwn);
                    const bool bSwap = f.nOrder == ORDER_BGR || (f.nOrder == ORDER_RGB && uMode & DM_RGB_SWAP);
                    const bool bStays = f.nBits == 24 ? bSwap : f.nBits == 1 || f.nBits == 4 || f.nBits == 8;
                    const int32_t nWant = bDither && uMode & DM_DITHER ? 2 : bStays ? 0 : 1;
                    EXPECT_EQ(int32_t(rv::paintMethod(bm.record, wish, true)), nWant)
                        << f.nBits << " order " << f.nOrder << " device " << nDevice << " mode " << uMode << bFixed;
                }
    // What the device is taken for.
    const DisplayMode mode(DM_DITHER);
    for (const auto& [nTechnology, nBits, nPlanes, nSent] :
         {std::array{0, 1, 4, 4}, {0, 3, 1, 1}, {0, 16, 1, 8}, {0, 8, 3, 24}, {2, 7, 1, 4}, {5, 1, 1, 24}}) {
        NoisePicture bm({24, ORDER_BGR}, 37, 22, 3);
        Sink sink(kDevice);
        sink.nTechnology = nTechnology, sink.nBits = nBits, sink.nPlanes = nPlanes;
        EXPECT_EQ(bandBits(bm.record, kWhole, sink), nSent) << nBits << " x " << nPlanes;
    }
}

// Gray of 1 bit is smoothed where it changes its size, and counted in any case, in whatever order the palette is.
TEST(PaintMethods, SmoothPages) {
    constexpr RGBQUAD kBlack{0, 0, 0, 0}, kWhite{255, 255, 255, 0};
    for (const uint32_t uMode : {uint32_t(DM_BITONAL_COVERAGE), uint32_t(DM_BITONAL_SMOOTH)})
        for (int32_t nView = 1; nView <= 8; ++nView) {
            const DisplayMode mode(uMode);
            NoisePicture bm({1, ORDER_RGB}, 37, 22, 3), inverse({1, ORDER_RGB}, 37, 22, 3);
            bm->ViewPerspective = inverse->ViewPerspective = nView;
            bm->pPalette[0] = inverse->pPalette[1] = kBlack;
            bm->pPalette[1] = inverse->pPalette[0] = kWhite;
            Bytes rows = contents(bm.record);
            Colours colours(bm.record);
            for (uint8_t& b : rows) b = uint8_t(~b);
            setContents(inverse.record, rows);
            const SIZE size = nView > 4 ? SIZE{22, 37} : SIZE{37, 22};
            const bool bCounts = uMode == DM_BITONAL_COVERAGE;
            const Painting whole{.dest = {0, 0, size.width, size.height}};
            Sink same1(kDevice), few(kDevice), bits(kDevice), deep(kDevice), buffer(kDevice);
            expectPainted(same1, whole, bm.record, colours);
            EXPECT_EQ(same1.bands.at(0).info.Header.biBitCount, bCounts ? 8 : 1);
            few.nBits = 1;
            EXPECT_EQ(bandBits(bm.record, kScaled, few), bCounts ? 1 : 8);
            deep.ask(24);
            EXPECT_EQ(kScaled.paint(deep, bm.record), -27);
            bits.ask(8);
            EXPECT_EQ(bandBits(bm.record, kScaled, bits), 8);
            ASSERT_EQ(kScaled.paintBuffer(buffer, bm.record, contents(bm.record).data(), 0, 22), 1);
            EXPECT_EQ(buffer.bands.at(0).info.Header.biBitCount, 1);
            for (const RECT& dest : {RECT{0, 0, 17, 11}, RECT{0, 0, 61, 55}, RECT{0, 0, 15, 60}}) {
                Sink one(kDevice), other(kDevice), part(kDevice);
                ASSERT_EQ(bandBits(bm.record, {.dest = dest}, one), 8);
                ASSERT_EQ(bandBits(inverse.record, {.dest = dest}, other), 8);
                other.canvas.forEach([&](int64_t x, int64_t y, uint64_t& v) {  // the quotient was rounded the other way
                    const uint64_t nGray = one.canvas.at(x, y);
                    if (nGray != Canvas::kBlank && v == nGray + 0x10101) v = nGray;
                });
                EXPECT_TRUE(same(one.canvas, other.canvas)) << nView << " mode " << uMode;
                const RECT clip{3, 2, 14, 9};
                ASSERT_EQ(bandBits(bm.record, {.dest = dest, .destClip = clip}, part), 8);
                one.canvas.forEach([&](int64_t x, int64_t y, uint64_t& v) {
                    if (!contains(clip, x, y)) v = Canvas::kBlank;
                });
                EXPECT_TRUE(same(part.canvas, one.canvas)) << nView << " mode " << uMode;
            }
        }
}

// ---- tables and modes ---------------------------------------------------------------------------------------------

TEST(PaintTables, HoldIndicesOrColours) {
    for (const Format& f : kPaintFormats)
        for (const int32_t nWay : {0, 1, 2, 3}) {  // indices, not by the mode, not by the sink, not under a paint table
            NoisePicture bm(f, 37, 22, 3);
            if (nWay == 3) {
                ASSERT_EQ(R_SetPaintGamma(&bm, 170), 1);
                ASSERT_EQ(R_SetPaintContrast(&bm, 200), 1);
            }
            Colours colours(bm.record);
            if (nWay == 3) colours.through(bm->pPaintLUT);
            const DisplayMode mode(nWay == 1 ? 0 : DM_INDEXED_PAINT);
            for (const Painting& p : {kWhole, kScaled}) {
                Sink sink(kDevice);
                if (nWay == 2) sink.calls.uSinkFlags = PAINTSINK_NO_INDICES;
                expectPainted(sink, p, bm.record, colours);
                const bool bIndices = nWay == 0 && f.nBits <= 8;
                EXPECT_EQ(sink.bands.at(0).uUsage, bIndices ? PAINTUSAGE_INDICES : PAINTUSAGE_COLORS) << f.nBits;
                const BITMAPINFOHEADER& header = sink.bands[0].info.Header;
                EXPECT_TRUE(header.biSize == 40 && header.biPlanes == 1 && header.biCompression == 0);
                EXPECT_EQ(header.biClrUsed, header.biBitCount <= 8 ? 1u << header.biBitCount : 0u);
            }
        }
}

// Filters come before the paint table, and dithering after both scale and view, at the place in the destination.
TEST(PaintTables, ComeAfterTheScale) {
    constexpr uint32_t kDithers[] = {DM_DITHER, DM_DITHER | DM_ORDERED_DITHER,
                                     DM_DITHER | DM_ORDERED_DITHER | DM_DITHER_CLUSTERED, 0};
    for (const uint32_t uDither : kDithers)
        for (const uint32_t uScale : {0u, uint32_t(DM_RESAMPLE)})
            for (const int32_t nDevice : {1, 4, 8})
                for (int32_t nView = 1; nView <= 8; ++nView) {
                    SCOPED_TRACE(std::to_string(uDither | uScale) + " " + std::to_string(nView));
                    NoisePicture bm({24, ORDER_RGB}, 37, 22, 3);
                    bm->ViewPerspective = nView;
                    const RECT dest{0, 0, 45, 50};
                    Sink plain(dest);  // colours, without dithering
                    {
                        const DisplayMode mode(uScale);
                        ASSERT_EQ((Painting{.dest = dest}.paint(plain, bm.record)), 1);
                    }
                    Bitmap scaled(24, 45, 50);
                    Bytes rows(size_t(scaled->BytesPerLine) * 50);
                    plain.canvas.forEach([&](int64_t x, int64_t y, uint64_t v) {
                        rv::Pixel<24>::put(&rows[size_t(y) * scaled->BytesPerLine], size_t(x), uint32_t(v));
                    });
                    setContents(scaled.record, rows);
                    ASSERT_EQ(R_SetPaintGamma(&bm, 170), 1);
                    ASSERT_EQ(R_SetPaintGamma(&scaled, 170), 1);

                    const DisplayMode mode(uDither | uScale);
                    Sink want(kDevice), got(kDevice), clipped(kDevice), banded(kDevice);
                    for (Sink* const pSink : {&want, &got, &clipped, &banded}) pSink->nBits = nDevice;
                    ASSERT_EQ((Painting{.dest = dest}.paint(want, scaled.record)), 1);
                    ASSERT_EQ((Painting{.dest = dest}.paint(got, bm.record)), 1);
                    EXPECT_EQ(want.bands.at(0).info.Header.biBitCount, uDither ? nDevice : 24);
                    EXPECT_TRUE(same(got.canvas, want.canvas));
                    if (uDither == DM_DITHER) continue;  // errors go from pixel to pixel
                    const RECT part{3, 5, 42, 44};
                    ASSERT_EQ((Painting{.dest = dest, .destClip = part}.paint(clipped, bm.record)), 1);
                    want.canvas.forEach([&](int64_t x, int64_t y, uint64_t& v) {
                        if (x < 3 || x >= 42 || y < 5 || y >= 44) v = Canvas::kBlank;
                    });
                    EXPECT_TRUE(same(clipped.canvas, want.canvas));
                }
}

TEST(PaintTables, LeaveRedFirstUnderItsMode) {
    NoisePicture bm({24, ORDER_RGB}, 37, 22, 3);
    Colours colours(bm.record);
    for (uint64_t& v : colours.pixels) v = v >> 16 | (v & 0xFF00) | (v & 0xFF) << 16;
    const DisplayMode mode(DM_RGB_SWAP);
    for (const Painting& p : {kWhole, kScaled}) {
        Sink sink(kDevice);
        expectPainted(sink, p, bm.record, colours);
    }
}

// ---- pictures that go whole ---------------------------------------------------------------------------------------

TEST(PaintDirect, LeavesTheScaleToTheSink) {
    const DisplayMode mode(DM_DIRECT_STRETCH | DM_INDEXED_PAINT);
    const Painting p{.dest = {-6, 2, 50, 36}, .source = RECT{3, 4, 31, 21}, .destClip = RECT{-4, 0, 33, 30}};
    for (const Format& f : kPaintFormats)
        for (const int32_t nView : {TOP_LEFT, BOTTOM_LEFT, TOP_RIGHT, LEFT_TOP})
            for (const Holding holding : {Holding::conventional, Holding::user, Holding::tiledMemory})
                for (const int32_t nOther : {0, 1, 2, 3, 4, 5}) {  // that keep it from going whole, if above 0
                    NoisePicture bm(f, 37, 22, 3, holding);
                    bm->ViewPerspective = nView;
                    if (nOther == 3) {
                        ASSERT_EQ(R_SetPaintGamma(&bm, 170), 1);
                    }
                    Colours colours(bm.record);
                    if (nOther == 3) colours.through(bm->pPaintLUT);
                    Sink sink(kDevice);
                    if (nOther == 1) sink.calls.pDisplay = &sink;
                    if (nOther == 2) R_SetDisplayMode(DM_DIRECT_STRETCH, 0);
                    const bool bSuits = f.nBits == 1 || f.nBits == 4 || f.nBits == 8 ||
                                        (f.nOrder == ORDER_BGR && f.nBits == 24 && nOther != 3);
                    // Of 16 bits the sink scales before the library would have converted, which is the same here.
                    const bool b16 = f.nBits == 16 && f.nOrder == ORDER_BGR;
                    const bool bPlain = (nView == TOP_LEFT || nView == BOTTOM_LEFT) && holding != Holding::tiledMemory;
                    const bool bWhole = (bSuits || b16) && bPlain && (nOther == 0 || nOther == 3);
                    Painting own = p;
                    if (nView == LEFT_TOP) own.dest = {-6, 2, 28, 58};
                    if (nOther == 4) own.dest = nView == LEFT_TOP ? RECT{0, 0, 17, 28} : RECT{0, 0, 28, 17};
                    if (nOther == 5) own.source = RECT{-2, 4, 26, 21};
                    if (b16 && bWhole) sink.bRaw = true;
                    ASSERT_EQ(own.paint(sink, bm.record), 1);
                    R_SetDisplayMode(DM_DIRECT_STRETCH, DM_DIRECT_STRETCH);
                    EXPECT_EQ(sink.log, bWhole ? "BSMCDRE" : "BDE") << f.nBits << " " << nView << nameOf(holding);
                    if (!sink.bRaw) {
                        EXPECT_TRUE(same(sink.canvas, wanted(kDevice, own, nView, colours))) << f.nBits;
                    }
                    if (!bWhole) continue;
                    const Band& b = sink.bands.at(0);
                    EXPECT_EQ(sink.nStretchMode, PAINTSTRETCH_HALFTONE);
                    EXPECT_TRUE(b.x == -6 && b.y == 2 && b.w == 56 && b.h == 34);
                    EXPECT_TRUE(b.sx == 3 && b.sy == 4 && b.sw == 28 && b.sh == 17);
                    EXPECT_EQ(b.info.Header.biHeight, nView == BOTTOM_LEFT ? 22 : -22);
                }
}

// A sink that says what rows it wants gets the picture whole if that has such.
TEST(PaintDirect, AsksForTheStoredFormat) {
    const DisplayMode mode(DM_DIRECT_STRETCH);
    for (const auto& [nBits, nOrder, nHigh, bWhole] : {std::tuple{12, ORDER_GRAY, 11, true},
                                                       {12, ORDER_GRAY, 10, false},
                                                       {16, ORDER_GRAY, 15, true},
                                                       {16, ORDER_BGR, 0, true},
                                                       {24, ORDER_RGB, 0, true},
                                                       {24, ORDER_BGR, 0, true}}) {
        NoisePicture bm({nBits, nOrder}, 40, 22, 3);
        for (const int32_t nAskedOrder : {ORDER_RGB, ORDER_BGR, ORDER_GRAY}) {
            Sink sink(kDevice);
            sink.ask(nBits, nAskedOrder);
            sink.asked.nInfoHighBit = nHigh;
            sink.bOnlyCounts = true;
            ASSERT_EQ(kScaled.paint(sink, bm.record), 1);
            EXPECT_EQ(sink.log == "BSMCRE", bWhole && nAskedOrder == nOrder) << nBits << " " << nOrder << sink.log;
            EXPECT_EQ(sink.nBands, 1);
        }
    }
}

}  // namespace
