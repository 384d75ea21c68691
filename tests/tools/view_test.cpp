// The viewer: driven without a display by what its window would tell it, and as a process by scripts.
#include "viewer.h"

#include "command.h"
#include "failure.h"
#include "formats.h"
#include "overlay.h"
#include "pictures.h"
#include "viewscript.h"

namespace ravo {
namespace {

constexpr SIZE kWindow{160, 131};

// A viewer with its surface, and a copy that gets only what the viewer says has changed, as a display does.
struct Seat {
    Viewer viewer;
    Canvas canvas{kWindow}, shown{kWindow};

    template <class Content>
    explicit Seat(Content content) : viewer(std::make_unique<Document>(std::move(content)), kWindow) {
        draw();
    }

    void key(const std::string& name, bool bShift = false) {
        viewer.take({.kind = Happening::key, .key = name, .bShift = bShift});
    }
    void move(POINT at) { viewer.take({.kind = Happening::moved, .at = at}); }
    void drag(int32_t nButton, POINT from, POINT to) {
        viewer.take({.kind = Happening::pressed, .at = from, .n = nButton});
        move(to);
        viewer.take({.kind = Happening::released, .at = to, .n = nButton});
    }
    void click(POINT at, bool bShift = false, bool bControl = false) {
        viewer.take({.kind = Happening::pressed, .at = at, .n = 1});
        viewer.take({.kind = Happening::released, .at = at, .n = 1, .bShift = bShift, .bControl = bControl});
    }
    void wheel(int32_t n, bool bAlt = false) { viewer.take({.kind = Happening::wheel, .n = n, .bAlt = bAlt}); }
    void tick(int32_t n) { viewer.take({.kind = Happening::tick, .n = n}); }

    void draw() {
        for (const RECT& r : viewer.draw(canvas))
            for (int32_t y = r.top; y < r.bottom; ++y)
                std::copy(canvas.row(y) + r.left, canvas.row(y) + r.right, shown.row(y) + r.left);
    }
    uint32_t at(int32_t x, int32_t y) { return shown.row(y)[x] & 0xFFFFFF; }
    std::vector<uint32_t> pixels() const {
        std::vector<uint32_t> all;
        for (int32_t y = 0; y < kWindow.height; ++y) all.insert(all.end(), shown.row(y), shown.row(y) + kWindow.width);
        return all;
    }
    // What the display has is what a whole drawing gives. Filters start anew at each column that is the first one, and
    // come out a little different.
    void expectWhole(const std::string& where) {
        draw();
        ASSERT_FALSE(viewer.isStale()) << where;
        const std::vector<uint32_t> got = pixels();
        viewer.forgetSurface();
        draw();
        const std::vector<uint32_t> want = pixels();
        const int32_t nMost = viewer.viewport().zoom() == 1 ? 0 : 8;
        const auto isNear = [&](uint32_t a, uint32_t b) {
            for (int k = 0; k < 24; k += 8)
                if (std::abs(int32_t(a >> k & 255) - int32_t(b >> k & 255)) > nMost) return false;
            return true;
        };
        const size_t nFirst = size_t(std::mismatch(got.begin(), got.end(), want.begin(), isNear).first - got.begin());
        ASSERT_EQ(nFirst, want.size()) << nFirst % size_t(kWindow.width) << "," << nFirst / size_t(kWindow.width)
                                       << " after " << where;
    }
};

Picture colors(int32_t nWidth, int32_t nHeight, int32_t nBits = 24) {
    return randomPicture(nWidth, nHeight, nBits, ORDER_BGR);
}

Picture grays(int32_t nWidth, int32_t nHeight, int32_t nBits, bool bSigned) {
    Picture picture(nWidth, nHeight, nBits, ORDER_GRAY);
    if (bSigned) picture->Flags |= BMF_SIGNED;
    Row row(picture->BytesPerLine);
    const Access lock(picture);
    for (int32_t y = 0; y < nHeight; ++y) {
        for (int32_t x = 0; x < nWidth; ++x)
            writePixel(row.data(), x, nBits, uint64_t(int64_t(10 * x - (bSigned ? 500 : 0))) & ((1u << nBits) - 1));
        putRow(picture, row.data(), y);
    }
    return picture;
}

TEST(RavoView, PlacesFitAndPointsStayWhereTheyAre) {
    Viewport port;
    port.setWindow({200, 100});
    port.setPicture({400, 300});
    EXPECT_EQ(port.place().top, 0);
    EXPECT_EQ(port.place().right - port.place().left, 133);
    port.fit(FIT_WIDTH);
    EXPECT_EQ(port.place().bottom, 150);
    port.fit(FIT_NORMAL);
    const POINT at{150, 20};
    for (const double dZoom : {2.0, 5.5, 3.0, 40.0, 1.0}) {
        const POINT before = *port.pictureAt(at);
        port.zoomTo(at, dZoom);
        const POINT after = *port.pictureAt(at);
        EXPECT_LE(std::abs(before.x - after.x), 1) << dZoom;
        EXPECT_LE(std::abs(before.y - after.y), 1) << dZoom;
    }
    port.pan({-9000, 9000});
    EXPECT_EQ(port.place().right, 200) << "no gap beside what is larger";
    EXPECT_EQ(port.place().top, 0);
    port.zoomTo(at, 0.1);
    EXPECT_EQ(port.place().left, 80) << "what is smaller stands in the middle";
    EXPECT_FALSE(port.pictureAt({79, 50}));
    EXPECT_EQ(port.pictureAt({80, 35})->x, 0);
}

TEST(RavoView, OwnSizeIsThePicture) {
    Picture picture = colors(300, 200);
    const Row want = [&] {
        Row bytes(picture->BytesPerLine);
        const Access lock(picture);
        getRow(picture, bytes.data(), 40);
        return bytes;
    }();
    Seat seat(std::move(picture));
    seat.key("1");
    seat.draw();
    const RECT place = seat.viewer.viewport().place();
    for (int32_t x = 0; x < kWindow.width; ++x) {
        const uint8_t* p = &want[size_t(x - place.left) * 3];
        ASSERT_EQ(seat.at(x, 40 + place.top), uint32_t(p[0] | p[1] << 8 | p[2] << 16)) << x;
    }
}

// Whatever happens, what is moved and mended on the display equals a fresh drawing.
TEST(RavoView, PartsEqualTheWhole) {
    for (const int32_t nCase : {0, 1, 2, 3}) {
        Seat seat(nCase == 1 ? colors(210, 260, 32) : nCase == 2 ? grays(400, 300, 16, true) : colors(300, 200));
        std::mt19937 random(uint32_t(nCase + 5));
        const auto any = [&](int32_t n) { return int32_t(random() % uint32_t(n)); };
        for (int32_t i = 0; i < 150; ++i) {
            static constexpr const char* kKeys[] = {"Left", "Up", "Right", "Down", "Left", "Up", "Right", "Down",
                                                    "b",    "g",  "c",     "n",    "1",    "r",  "h",     "v",
                                                    "s",    "F1", "i",     "w",    "d",    "o"};
            std::string what;
            for (int32_t nActions = 1 + any(3); nActions; --nActions) {
                const POINT at{any(kWindow.width), any(kWindow.height)}, to{any(kWindow.width), any(kWindow.height)};
                const int32_t nWhat = any(10);
                what += std::to_string(nWhat) + " ";
                if (nWhat < 4) {
                    const char* pKey = kKeys[any(int32_t(std::size(kKeys)) - (nCase == 3 ? 0 : 2))];
                    what += pKey;
                    seat.key(pKey, any(3) == 0);
                } else if (nWhat < 7) {
                    seat.drag(2 + any(2), at, to);
                } else if (nWhat == 7) {
                    seat.wheel(any(5) - 2);
                } else if (nWhat == 8) {
                    seat.click(at, any(2), any(4) == 0);
                } else {
                    seat.move(at);
                }
            }
            seat.expectWhole(std::to_string(nCase) + ", " + std::to_string(i) + ":" + what);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(RavoView, LeftDragsSetTheWindow) {
    for (const int32_t nBits : {12, 16})
        for (const bool bSigned : {false, true}) {
            const int32_t nFirst = bSigned ? -500 : 0;
            Seat seat(grays(100, 60, nBits, bSigned));
            EXPECT_EQ(seat.viewer.document().center(), nFirst + 495);
            EXPECT_EQ(seat.viewer.document().width(), 991);
            const auto grayAt = [&](int32_t x) { return seat.at(30 + x, 40) & 255; };  // it stands in the middle
            EXPECT_EQ(grayAt(0), 0u);
            EXPECT_EQ(grayAt(99), 255u);
            seat.drag(1, {80, 50}, {20, 38});  // narrower and brighter
            EXPECT_EQ(seat.viewer.document().width(), 991 - 60 * 990 / 512);
            EXPECT_EQ(seat.viewer.document().center(), nFirst + 495 - 23);
            seat.draw();
            const int32_t nWidth = seat.viewer.document().width(), nLow = seat.viewer.document().center() - nWidth / 2;
            for (int32_t x = 0; x < 100; ++x)
                ASSERT_EQ(grayAt(x), uint32_t(std::clamp((10 * x + nFirst - nLow) * 255 / (nWidth - 1), 0, 255))) << x;
            seat.key("l");
            seat.draw();
            EXPECT_EQ(grayAt(99), 255u);
            EXPECT_EQ(grayAt(50), 128u);
        }
}

TEST(RavoView, TheWandSelects) {
    Picture picture(120, 100, 24, ORDER_BGR);
    check(R_FillBitmap(picture.get(), 0x202020), "R_FillBitmap");
    const auto box = [&](RECT r, COLORREF cr) {
        R_SetBitmapRgnRect(picture.get(), nullptr, &r, RGN_MODE_SET);
        check(R_FillBitmap(picture.get(), cr), "R_FillBitmap");
        R_FreeBitmapRgn(picture.get());
    };
    box({10, 10, 30, 30}, 0x808080);
    box({60, 10, 90, 30}, 0xA0A0A0);
    box({30, 10, 60, 30}, 0x8A8A8A);
    Seat seat(std::move(picture));
    const RECT place = seat.viewer.viewport().place();
    ASSERT_EQ(place.right - place.left, 120);
    const auto in = [&](int32_t x, int32_t y) { return POINT{place.left + x, place.top + y}; };
    const auto area = [&] {
        uint32_t uPixels = 0;
        R_GetBitmapRgnArea(seat.viewer.document().picture().get(), &uPixels);
        return seat.viewer.document().hasRegion() ? int32_t(uPixels) : -1;
    };
    seat.click(in(20, 20));
    EXPECT_EQ(area(), 50 * 20) << "both that are near enough";
    seat.draw();
    const auto marked = [&](int32_t x, int32_t y) {
        const uint32_t u = seat.at(in(x, y).x, in(x, y).y);
        return u == 0 || u == 0xFFFFFF;
    };
    for (int32_t y = 0; y < 100; ++y)
        for (int32_t x = 0; x < 120; ++x) {
            const bool bInside = x >= 10 && x < 60 && y >= 10 && y < 30;
            const bool bEdge = bInside && (x == 10 || x == 59 || y == 10 || y == 29);
            ASSERT_EQ(marked(x, y), bEdge) << x << "," << y;
        }
    seat.click(in(70, 20), true);
    EXPECT_EQ(area(), 80 * 20);
    seat.wheel(-8, true);
    EXPECT_EQ(area(), 80 * 20) << "the box that was added is of one colour";
    seat.click(in(20, 20), false, true);
    EXPECT_EQ(area(), 60 * 20);
    seat.wheel(8, true);
    EXPECT_EQ(area(), 30 * 20) << "again with the wider tolerance, from what was there before";
    seat.wheel(-8, true);
    EXPECT_EQ(area(), 60 * 20);
    seat.key("Escape");
    EXPECT_EQ(area(), -1);
    seat.key("Escape");
    EXPECT_FALSE(seat.viewer.ended());
    seat.key("Escape");
    EXPECT_TRUE(seat.viewer.ended());
}

TEST(RavoView, KeysChangeWhatIsSeen) {
    Picture picture = colors(120, 90);
    Picture plane(120, 90, 1, ORDER_RGB, grayPalette(1));
    check(R_FillBitmap(plane.get(), 0xFFFFFF), "R_FillBitmap");
    const TemporaryDirectory directory;
    savePicture(plane, directory / "plane.png");
    addOverlay(picture, (directory / "plane.png") + ",50,40,12FE56");
    Seat seat(std::move(picture));
    const RECT place = seat.viewer.viewport().place();
    const auto countOf = [&](uint32_t uColor) {
        int32_t n = 0;
        for (int32_t y = place.top; y < place.bottom; ++y)
            for (int32_t x = place.left; x < place.right; ++x) n += seat.at(x, y) == uColor;
        return n;
    };
    const auto light = [&] {
        uint64_t u = 0;
        for (int32_t y = place.top; y < place.top + 40; ++y)
            for (int32_t x = place.left; x < place.right; ++x) u += seat.at(x, y) >> 8 & 255;
        return double(u) / (40.0 * 120);
    };
    EXPECT_GE(countOf(0x12FE56), 70 * 50);
    const std::vector<uint32_t> first = seat.pixels();
    const double dLight = light();
    seat.key("y");
    seat.draw();
    EXPECT_LT(countOf(0x12FE56), 70 * 50);
    seat.key("y");
    for (const char* pKey : {"b", "g"}) {
        for (int32_t i = 0; i < 4; ++i) seat.key(pKey);
        seat.draw();
        EXPECT_GT(light(), dLight + 10) << pKey;
        for (int32_t i = 0; i < 8; ++i) seat.key(pKey, true);
        seat.draw();
        EXPECT_LT(light(), dLight - 10) << pKey;
        seat.key("n");
    }
    seat.key("F1");
    seat.draw();
    EXPECT_GT(countOf(0xF0C060), 200) << "keys on the help page";
    seat.key("F1");
    for (int32_t i = 0; i < 3; ++i) seat.key("d");
    std::vector<std::vector<uint32_t>> dithers;
    for (int32_t i = 0; i < 3; ++i) {  // diffused, ordered, clustered
        seat.draw();
        dithers.push_back(seat.pixels());
        EXPECT_EQ(countOf(0) + countOf(0xFFFFFF) + countOf(0x12FE56), 120 * 90) << i;
        EXPECT_NEAR(light(), dLight, 12) << i;
        seat.key("o");
    }
    for (auto& pixels : dithers) pixels.resize(100 * size_t(kWindow.width));  // without the line that names them
    EXPECT_TRUE(dithers[0] != dithers[1] && dithers[1] != dithers[2] && dithers[2] != dithers[0]);
    seat.key("d");
    seat.key("r");
    EXPECT_EQ(seat.viewer.document().size().width, 90);
    seat.key("r", true);
    for (const char* pKey : {"h", "h", "v", "v", "i", "i"}) seat.key(pKey);
    seat.move({0, 0});
    seat.draw();
    const std::vector<uint32_t> last = seat.pixels();
    EXPECT_TRUE(std::equal(first.begin(), first.begin() + 100 * kWindow.width, last.begin())) << "all is back";
}

constexpr COLORREF kFrameColors[] = {0x0000FF, 0x00FF00, 0xFF0000};

// Three frames of one colour each: all of the picture, and two boxes in it.
Animation boxes(uint32_t uPlays) {
    Animation animation;
    animation.size = {40, 30};
    animation.uPlays = uPlays;
    for (int32_t i = 0; i < 3; ++i) {
        Picture frame(i ? 10 : 40, i ? 10 : 30, 24, ORDER_BGR);
        check(R_FillBitmap(frame.get(), kFrameColors[i]), "R_FillBitmap");
        frame->Left = frame->Top = 5 * i;
        frame->Delay = i == 1 ? 50 : 100;
        frame->DisposalMethod = uint32_t(i + 1);  // stays, background, what was there before
        animation.frames.append(std::move(frame));
    }
    return animation;
}

TEST(RavoView, AnimationsGoByTheClock) {
    Picture target = canvasOf(boxes(2));
    Player player(boxes(2), target);
    const auto colorAt = [&](int32_t n) { return R_GetPixelColor(target.get(), n, n); };
    EXPECT_EQ(player.advance(1000).right, 40);
    EXPECT_EQ(player.due(), 1100u);
    EXPECT_EQ(colorAt(7), kFrameColors[0]);
    EXPECT_TRUE(isEmpty(player.advance(1099)));
    EXPECT_EQ(player.advance(1100).right, 15);
    EXPECT_EQ(colorAt(7), kFrameColors[1]);
    player.advance(1160);
    EXPECT_EQ(colorAt(12), kFrameColors[2]);
    EXPECT_EQ(player.due(), 1250u) << "by the frames' times, not by when they were asked for";
    player.advance(1499);
    EXPECT_EQ(player.frame(), 2) << "two at once, on the second round";
    player.advance(1500);
    EXPECT_FALSE(player.runs());
    EXPECT_EQ(player.due(), Player::kNever);
    player.run(true, 2000);
    player.advance(2000);
    EXPECT_EQ(player.frame(), 0);
    player.step(2010);
    EXPECT_EQ(player.frame(), 1);
    EXPECT_FALSE(player.runs());
}

TEST(RavoView, PlayersGoOnWhereTheyStopped) {
    Picture target = canvasOf(boxes(1));
    Player player(boxes(1), target);
    player.advance(0);
    player.advance(1000);
    EXPECT_FALSE(player.runs());
    player.step(2000);
    EXPECT_EQ(player.frame(), 0);
    player.run(true, 2000);
    player.advance(2000);
    player.advance(2050);
    EXPECT_EQ(player.frame(), 2);
    player.advance(2150);
    EXPECT_FALSE(player.runs()) << "what was left of the round, and no further one";

    Animation waiting;
    waiting.size = {8, 8};
    for (int32_t i = 0; i < 2; ++i) {
        Picture frame(8, 8, 24, ORDER_BGR);
        frame->Flags |= BMF_WAIT_USER_INPUT;
        waiting.frames.append(std::move(frame));
    }
    target = canvasOf(waiting);
    Player waiter(std::move(waiting), target);
    waiter.advance(0);
    EXPECT_FALSE(waiter.runs());
    EXPECT_EQ(waiter.due(), Player::kNever);
    waiter.run(!waiter.runs(), 10);
    waiter.advance(10);
    EXPECT_EQ(waiter.frame(), 1) << "at the user's first word";
}

TEST(RavoView, TurnedAnimationsAreComposedAlike) {
    Picture upright = canvasOf(boxes(0)), turned = canvasOf(boxes(0));
    Player one(boxes(0), upright), other(boxes(0), turned);
    for (int32_t i = 0; i < 8; ++i) {
        check(R_RotateBitmapViewPerspective(turned.get(), 90), "R_RotateBitmapViewPerspective");
        if (i == 3) check(R_FlipBitmapViewPerspective(turned.get()), "R_FlipBitmapViewPerspective");
        const int32_t nView = turned->ViewPerspective;
        const RECT a = one.step(0), b = other.step(0);
        EXPECT_EQ(a.right * 100 + a.bottom, b.right * 100 + b.bottom) << i;
        EXPECT_EQ(turned->ViewPerspective, nView);
        EXPECT_EQ(pixelsOf(turned), pixelsOf(upright)) << i;
    }
}

TEST(RavoView, AnimationsAreShownByParts) {
    Seat seat(boxes(0));
    seat.key("a");
    const auto shownAt = [&](int32_t n) {
        const RECT& place = seat.viewer.viewport().place();
        return seat.at(place.left + (place.right - place.left) * n / 40,
                       place.top + (place.bottom - place.top) * n / 30);
    };
    seat.expectWhole("the first frame");
    EXPECT_EQ(shownAt(7), 0xFF0000u);
    for (int32_t i = 1; i < 9; ++i) {
        seat.tick(i % 3 == 2 ? 50 : 100);
        EXPECT_EQ(seat.viewer.document().player()->frame(), i % 3);
        seat.expectWhole("frame " + std::to_string(i));
        EXPECT_EQ(shownAt(7 + 5 * (i % 3 == 2)), i % 3 == 0 ? 0xFF0000u : i % 3 == 1 ? 0x00FF00u : 0x0000FFu) << i;
    }
    seat.wheel(4);
    for (const char* pKey : {"Right", "Right", "Down"}) seat.key(pKey);
    for (int32_t i = 0; i < 6; ++i) {  // the edge of what changes comes into sight
        for (const char* pKey : {"Right", "Down"}) seat.key(pKey);
        seat.draw();
        seat.tick(50);
        seat.key("Left");
        seat.key("Up");
        seat.expectWhole("moved");
    }
    seat.key("r");
    for (int32_t i = 0; i < 4; ++i) {
        seat.draw();
        seat.tick(100);
        seat.expectWhole("turned");
    }
    seat.click({80, 50});
    EXPECT_TRUE(seat.viewer.document().hasRegion());
    EXPECT_EQ(seat.viewer.due(), Player::kNever) << "the wand stops it";
    seat.key("Space");
    EXPECT_FALSE(seat.viewer.document().hasRegion());
    EXPECT_NE(seat.viewer.due(), Player::kNever);
}

TEST(RavoView, ScriptsAreReadWithCare) {
    const auto script = parseScript(
        "# a script\n\nkey PageDown shift\nmove 3 -4\ndown right ctrl\nwheel -2 alt\n"
        "shot a b.png\r\n  # between\nquit\n");
    ASSERT_EQ(script.size(), 6u);
    EXPECT_TRUE(script[0].bShift && script[0].text == "PageDown" && script[0].nLine == 3);
    EXPECT_EQ(script[1].n[1], -4);
    EXPECT_TRUE(script[2].bControl && script[2].n[0] == 3);
    EXPECT_TRUE(script[3].bAlt && script[3].n[0] == -2);
    EXPECT_EQ(script[4].text, "a b.png");
    for (const char* pWrong : {"jump", "key", "move 3", "move a b", "down 1", "key q twice", "shot", "quit now",
                               "tick -1", "wait -1", "resize 0 9", "move 2000000 0"})
        EXPECT_THROW(parseScript(pWrong), Failure) << pWrong;
}

TEST(RavoView, FilesFollowEachOther) {
    const TemporaryDirectory directory;
    Picture a = colors(30, 20), b = colors(40, 10);
    savePicture(a, directory / "a.png");
    savePicture(b, directory / "b.png");
    Viewer viewer({directory / "none.png", directory / "a.png", directory / "gone.png", directory / "b.png"},
                  kWindow);
    const auto key = [&](const char* pKey) { viewer.take({.kind = Happening::key, .key = pKey}); };
    EXPECT_EQ(viewer.document().name(), "a.png");
    key("a");
    key("1");
    key("PageDown");
    EXPECT_EQ(viewer.document().name(), "b.png") << "past one that isn't there";
    EXPECT_EQ(viewer.viewport().zoom(), 4) << "fitted as was chosen last";
    key("x");
    viewer.take({.kind = Happening::wheel, .n = 0});  // sideways
    EXPECT_EQ(viewer.viewport().place().bottom, viewer.area().bottom);
    key("PageUp");
    EXPECT_EQ(viewer.document().name(), "a.png");
    EXPECT_EQ(viewer.viewport().place().bottom, viewer.area().bottom) << "stretched";
}

// ---- the window --------------------------------------------------------------------------------------------------

const std::string kNoLeaks = "ASAN_OPTIONS=detect_leaks=0 ";  // those of a display's libraries are not ours

// The same script for the window and for a viewer in this process.
void compareWithWindow(const std::string& display) {
    const TemporaryDirectory directory;
    Picture a = colors(300, 200), b = grays(90, 80, 16, false);
    savePicture(a, directory / "a.png");
    savePicture(b, directory / "b.png");
    std::ofstream(directory / "script")
        << "expect-title a.png\nkey 1\nmove 30 40\ndown middle\nmove 10 35\nmove 5 20\nup middle\nkey Down\n"
        << "move 50 60\ndown left\nup left\nwheel 30 alt\nshot " << directory / "1.png"
        << "\nkey PageDown\nexpect-title b.png - 90 x 80, 16 bits - 2 of 2\ndown left\nmove 90 70\nup left\nkey F1\n"
        << "wait 20\nshot " << directory / "2.png"
        << "\nkey F1\nresize 200 150\nshot " << directory / "3.png"
        << "\nkey q\n";
    const Result result = ravo("view " + (directory / "a.png") + " " + (directory / "b.png") +
                                   " --size 160x131 --script " + (directory / "script"),
                               kNoLeaks + display);
    if (has(result.output, "without SDL")) GTEST_SKIP() << result.output;
    ASSERT_EQ(result.nExit, 0) << result.output;

    Canvas canvas(kWindow);
    Viewer viewer({directory / "a.png", directory / "b.png"}, kWindow);
    const auto compare = [&](const char* pShot, Canvas& with) {
        viewer.forgetSurface();
        viewer.draw(with);
        Picture got = loadPicture(directory / pShot), want = with.picture();
        savePicture(want, directory / "want.png");  // so that both have the file's order
        want = loadPicture(directory / "want.png");
        EXPECT_EQ(pixelsOf(got), pixelsOf(want)) << pShot;
    };
    const auto move = [&](POINT at) { viewer.take({.kind = Happening::moved, .at = at}); };
    const auto button = [&](Happening kind, POINT at, int32_t n) { viewer.take({.kind = kind, .at = at, .n = n}); };
    viewer.take({.kind = Happening::key, .key = "1"});
    button(Happening::pressed, {30, 40}, 2);
    move({5, 20});
    button(Happening::released, {5, 20}, 2);
    viewer.take({.kind = Happening::key, .key = "Down"});
    move({50, 60});
    button(Happening::pressed, {50, 60}, 1);
    button(Happening::released, {50, 60}, 1);
    viewer.take({.kind = Happening::wheel, .n = 30, .bAlt = true});
    compare("1.png", canvas);
    viewer.take({.kind = Happening::key, .key = "PageDown"});
    button(Happening::pressed, {50, 60}, 1);
    move({90, 70});
    button(Happening::released, {90, 70}, 1);
    viewer.take({.kind = Happening::key, .key = "F1"});
    compare("2.png", canvas);
    viewer.take({.kind = Happening::key, .key = "F1"});
    viewer.take({.kind = Happening::resized, .at = {200, 150}});
    Canvas larger({200, 150});
    compare("3.png", larger);
}

TEST(RavoView, TheWindowShowsIt) {
    compareWithWindow("SDL_VIDEODRIVER=dummy");
    if (std::system("command -v xvfb-run >/dev/null && command -v xauth >/dev/null") == 0)
        compareWithWindow("SDL_VIDEODRIVER=x11 xvfb-run -a -s '-screen 0 640x480x24'");
}

TEST(RavoView, ScriptsAndFilesThatFailAreTold) {
    const TemporaryDirectory directory;
    Picture a = colors(30, 20);
    savePicture(a, directory / "a.png");
    std::ofstream(directory / "script") << "expect-title b.png\n";
    const auto view = [&](const std::string& file, const char* pScript = "script") {
        return ravo("view " + file + " --script " + (directory / pScript), kNoLeaks + "SDL_VIDEODRIVER=dummy");
    };
    const Result failed = view(directory / "a.png"), missing = view(directory / "none.png"),
                 bare = view((directory / "a.png") + " --overlay marks.png"),
                 silent = view(directory / "a.png", "play");
    for (const Result* pResult : {&failed, &missing, &bare, &silent}) EXPECT_EQ(pResult->nExit, 1);
    if (!has(failed.output, "without SDL")) {
        EXPECT_TRUE(has(failed.output, "line 1 of the script: the title is 'a.png - 30 x 20")) << failed.output;
        EXPECT_TRUE(has(missing.output, "none.png: cannot be opened")) << missing.output;
        EXPECT_TRUE(has(bare.output, "a.png: --overlay marks.png: cannot be opened")) << bare.output;
        EXPECT_TRUE(has(silent.output, "play: cannot be opened")) << silent.output;
    }
    EXPECT_EQ(view("--frames").nExit, 2);
    EXPECT_EQ(view("").nExit, 2);
}

}  // namespace
}  // namespace ravo
