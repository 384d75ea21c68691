// Playback on a clock of the test: the transitions, and what is composed against a model that works pixel by pixel.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "geometry/seen.h"
#include "internal/playback_.h"
#include "support/faults.h"

using namespace test;

namespace {

uint64_t g_now;

class PlaybackTest : public ::testing::Test {
    uint64_t (*m_pfnOld)() noexcept = std::exchange(rv::g_pfnPlaybackTicks, []() noexcept { return g_now; });

protected:
    Bitmap target{24, 20, 14};
    HBITMAPLIST frames = nullptr;
    HPLAYBACK playback = nullptr;

    PlaybackTest() {
        g_now = 0xFFFFFFF0;  // the low 32 bits wrap soon
        R_CreateBitmapList(&frames);
    }
    ~PlaybackTest() override {
        R_DestroyPlayback(playback, nullptr);
        R_DestroyBitmapList(frames);
        rv::g_pfnPlaybackTicks = m_pfnOld;
    }
    BITMAPRECORD frame(COLORREF color, uint32_t delay = 0, bool waits = false, int32_t bits = 24) {
        BITMAPRECORD bm;
        EXPECT_EQ(R_CreateBitmap(&bm, sizeof bm, 1, 5, 4, bits, defaultOrder(bits), nullptr, TOP_LEFT, nullptr, 0), 1);
        R_FillBitmap(&bm, color);
        bm.Delay = delay;
        if (waits) bm.Flags |= BMF_WAIT_USER_INPUT;
        return bm;
    }
    void add(const BITMAPRECORD& bm) { ASSERT_EQ(R_InsertBitmapListItem(frames, UINT32_MAX, &bm), 1); }
    void start() { ASSERT_EQ(R_CreatePlayback(&playback, &target, frames), 1); }
    int32_t step() {
        int32_t state = -1;
        EXPECT_EQ(R_ProcessPlayback(playback, &state), 1);
        return state;
    }
    int32_t stepTo(int32_t state) {
        for (int i = 0; i < 100; ++i)
            if (step() == state) return state;
        return -1;
    }
    int32_t index() {
        int32_t n = -2;
        EXPECT_EQ(R_GetPlaybackIndex(playback, &n), 1);
        return n;
    }
    uint32_t delay() {
        uint32_t n = 99;
        EXPECT_EQ(R_GetPlaybackDelay(playback, &n), 1);
        return n;
    }
    std::vector<int32_t> steps(int count) {
        std::vector<int32_t> out;
        while (count-- > 0) out.push_back(step());
        return out;
    }
};

using States = std::vector<int32_t>;

TEST_F(PlaybackTest, WaitsAsFramesTell) {
    add(frame(0));
    add(frame(0, 0, true));
    add(frame(0, 40));
    add(frame(0, 40, true));
    start();
    EXPECT_EQ(steps(6), (States{1, 2, 4, 8, 9, 2}));
    EXPECT_EQ(steps(4), (States{4, 5, 5, 5}));
    EXPECT_EQ(delay(), 0u);
    R_CancelPlaybackWait(playback);
    EXPECT_EQ(steps(4), (States{9, 2, 4, 6}));
    EXPECT_EQ(delay(), 40u);
    g_now += 39;  // past the wrap
    EXPECT_EQ(delay(), 1u);
    EXPECT_EQ(step(), PB_WAIT_DELAY);
    g_now += 1;
    EXPECT_EQ(delay(), 0u);
    EXPECT_EQ(steps(4), (States{8, 9, 2, 4}));
    R_CancelPlaybackWait(playback);  // no wait yet
    EXPECT_EQ(steps(2), (States{7, 7}));
    g_now += 50;
    EXPECT_EQ(delay(), 0u);
    EXPECT_EQ(index(), 3);
    EXPECT_EQ(steps(3), (States{8, 9, 10}));
    EXPECT_EQ(index(), 4);
    R_FillBitmap(&target, 0x123456);
    EXPECT_EQ(step(), PB_RENDER);  // again, over the old picture
    EXPECT_EQ(index(), 0);
    step();
    EXPECT_EQ(R_GetPixelColor(&target, 13, 19), 0x123456u);
}

TEST_F(PlaybackTest, AnEmptyListEndsAtOnce) {
    start();
    EXPECT_EQ(steps(3), (States{1, 10, 2}));
    EXPECT_EQ(index(), 0);
    EXPECT_EQ(stepTo(PB_END), PB_END);
    ASSERT_EQ(R_SetPlaybackIndex(playback, -1), 1);
    EXPECT_EQ(step(), PB_ADVANCE_FIRST);
    EXPECT_EQ(R_SetPlaybackIndex(playback, 0), 1);
    EXPECT_EQ(R_SetPlaybackIndex(playback, 1), -13);
    EXPECT_EQ(R_SetPlaybackIndex(playback, -2), -13);
}

// Frames in any view, of any place, with regions and transparent pixels, on targets of both usual views.
TEST_F(PlaybackTest, ComposesWhatTheFramesTell) {
    constexpr COLORREF kGround = 0x112233, kClear = 0xFFFFFF;
    constexpr uint64_t kGroundPixel = 0x332211;
    for (const int32_t view : {TOP_LEFT, BOTTOM_LEFT}) {
        for (const bool clipped : {false, true}) {
            std::mt19937 random(unsigned(view + clipped));
            const auto below = [&](int n) { return int32_t(random() % unsigned(n)); };
            R_DeleteBitmapListItems(frames, 0, UINT32_MAX);
            for (int i = 0; i < 60; ++i) {
                BITMAPRECORD bm = frame(0, 3);
                R_FreeBitmap(&bm);
                R_CreateBitmap(&bm, sizeof bm, 1, 1 + below(16), 1 + below(16), 24, ORDER_BGR, nullptr,
                               TOP_LEFT + i % 8, nullptr, 0);
                fillRandom(bm, uint32_t(random()));
                for (int k = 0; k < 40; ++k) R_PutPixelColor(&bm, below(bm.Height), below(bm.Width), kClear);
                bm.Left = below(30) - 8;
                bm.Top = below(24) - 8;
                bm.DisposalMethod = uint32_t(below(4));
                if (below(2)) bm.Flags |= BMF_TRANSPARENCY;
                bm.Transparency = kClear;
                const RECT box{1, 2, 9, 7};
                if (below(3) == 0) R_SetBitmapRgnEllipse(&bm, nullptr, &box, RGN_MODE_SET);
                add(bm);
            }
            target->ViewPerspective = view;
            target->Background = kGround;
            target->Left = 7;  // of no account
            const RECT box{3, 0, 18, 13};
            R_FreeBitmapRgn(&target);
            R_ClearBitmap(&target);
            if (clipped) R_SetBitmapRgnEllipse(&target, nullptr, &box, RGN_MODE_SET);
            R_DestroyPlayback(playback, nullptr);
            start();

            Seen model(20, 14), saved = model, last = model;
            const auto put = [&](int32_t x, int32_t y, uint64_t value) {
                const POINT p = storedAt(view, 20, 14, x, y);
                if (model.has(x, y) && R_IsPtInBitmapRgn(&target, p.y, p.x)) model.at(x, y) = value;
            };
            const auto check = [&] {
                ASSERT_EQ(Seen(target.record), model) << "frame " << index() << " view " << view;
                RECT rect;
                ASSERT_EQ(R_GetPlaybackUpdateRect(playback, &rect, 1), 1);
                ASSERT_TRUE(rect.left == 0 && rect.top == 0 && rect.right <= 20 && rect.bottom <= 14);
                for (int32_t y = 0; y < 14; ++y)
                    for (int32_t x = 0; x < 20; ++x) {
                        const POINT p = storedAt(view, 20, 14, x, y);
                        ASSERT_TRUE(model.at(x, y) == last.at(x, y) || (p.x < rect.right && p.y < rect.bottom));
                    }
                last = model;
            };
            for (int32_t y = 0; y < 14; ++y)
                for (int32_t x = 0; x < 20; ++x) put(x, y, kGroundPixel);
            step();
            ASSERT_NO_FATAL_FAILURE(check());
            for (uint32_t i = 0; i < 60; ++i) {
                BITMAPRECORD bm{};
                R_GetBitmapListItem(frames, i, &bm, sizeof bm);
                Seen picture(bm);
                saved = model;
                for (int32_t y = 0; y < picture.height; ++y)
                    for (int32_t x = 0; x < picture.width; ++x) {
                        const POINT p = storedAt(bm.ViewPerspective, picture.width, picture.height, x, y);
                        const uint64_t value = picture.at(x, y);
                        if (!R_IsPtInBitmapRgn(&bm, p.y, p.x) || ((bm.Flags & BMF_TRANSPARENCY) && value == kClear))
                            continue;
                        put(x + bm.Left, y + bm.Top, value);
                    }
                ASSERT_EQ(stepTo(PB_RENDERED), PB_RENDERED);
                ASSERT_NO_FATAL_FAILURE(check());
                for (int32_t y = bm.Top; y < bm.Top + picture.height; ++y)
                    for (int32_t x = bm.Left; x < bm.Left + picture.width; ++x) {
                        if (!model.has(x, y)) continue;
                        if (bm.DisposalMethod == DISPOSE_BACKGROUND) put(x, y, kGroundPixel);
                        if (bm.DisposalMethod == DISPOSE_RESTORE) put(x, y, saved.at(x, y));
                    }
                g_now += 5;
                ASSERT_EQ(stepTo(PB_ADVANCE), PB_ADVANCE);
                ASSERT_NO_FATAL_FAILURE(check());
            }
            ASSERT_EQ(step(), PB_END);
        }
    }
}

// A red frame on targets of other depths, orders and palettes.
TEST_F(PlaybackTest, FramesTakeTheFormatOfTheTarget) {
    const int32_t kForms[][2] = {{1, 0},          {4, 0},          {8, 0},          {16, ORDER_RGB},
                                 {24, ORDER_RGB}, {32, ORDER_BGR}, {48, ORDER_ROMM}};
    for (const auto& [bits, order] : kForms) {
        for (const int32_t from : {1, 8, 24, 64}) {
            Bitmap to(bits, 20, 14, Holding::conventional, order);
            if (bits == 8) std::swap(to->pPalette[3], to->pPalette[249]);
            const COLORREF color = bits == 1 || from == 1 ? 0xFFFFFF : 0x0000FF;
            R_DeleteBitmapListItems(frames, 0, UINT32_MAX);
            add(frame(color, 0, false, from));
            R_DestroyPlayback(playback, nullptr);
            ASSERT_EQ(R_CreatePlayback(&playback, &to, frames), 1);
            stepTo(PB_RENDERED);
            const bool isRomm = order == ORDER_ROMM && color != 0xFFFFFF;  // its samples are no plain colour's
            const COLORREF got = R_GetPixelColor(&to, 3, 4);
            EXPECT_TRUE(got == color || isRomm) << std::hex << bits << " from " << from << ": " << got;
            EXPECT_EQ(R_GetPixelColor(&to, 4, 4), 0u) << bits;
        }
    }
}

TEST_F(PlaybackTest, SeekingComposesWithoutWaiting) {
    for (uint32_t i = 0; i < 6; ++i) {
        BITMAPRECORD bm = frame(0x10203 * (i + 1), i % 2 * 1000, i % 3 == 1);
        bm.Left = bm.Top = int32_t(i);
        bm.DisposalMethod = i % 4;
        add(bm);
    }
    start();
    std::vector<Bytes> played;
    for (int i = 0; i < 6; ++i) {
        stepTo(PB_RENDERED);
        played.push_back(contents(target.record));
        step();
        R_CancelPlaybackWait(playback);
    }
    for (const int32_t to : {2, 3, 0, 5, 1, 6}) {
        ASSERT_EQ(R_SetPlaybackIndex(playback, to), 1);
        EXPECT_EQ(index(), to);
        if (to == 6) break;
        ASSERT_EQ(step(), PB_RENDERED);
        ASSERT_EQ(R_SetPlaybackIndex(playback, to), 1);  // nothing to do
        EXPECT_EQ(contents(target.record), played[size_t(to)]) << to;
        if (to == 3) {
            EXPECT_EQ(steps(2), (States{6, 6}));
        }
    }
    EXPECT_EQ(step(), PB_RENDER);  // out of the end
    EXPECT_EQ(index(), 0);
}

TEST_F(PlaybackTest, AnAppendedFrameWaitsForItsLines) {
    ASSERT_EQ(R_CreatePlayback(&playback, &target, nullptr), 1);
    stepTo(PB_END);
    BITMAPRECORD first = frame(0xFF), second = frame(0xFF00);
    R_AccessBitmap(&first);
    ASSERT_EQ(R_AppendPlayback(playback, &first), 1);
    EXPECT_EQ(first.nLockCount, 1);
    EXPECT_EQ(steps(3), (States{3, 3, 3}));
    EXPECT_EQ(R_GetPixelColor(&target, 0, 0), 0u);
    EXPECT_EQ(R_ValidatePlaybackLines(playback, -3, 4), 1);  // row 0
    EXPECT_EQ(R_ValidatePlaybackLines(playback, 0, 3), 1);
    EXPECT_EQ(R_ValidatePlaybackLines(playback, 1, 2), 1);
    EXPECT_EQ(step(), PB_AWAIT_LINES);
    EXPECT_EQ(R_ValidatePlaybackLines(playback, 3, INT32_MAX), 1);
    EXPECT_EQ(R_ValidatePlaybackLines(playback, 0, 9), 1);
    EXPECT_EQ(steps(4), (States{4, 8, 9, 10}));
    EXPECT_EQ(R_GetPixelColor(&target, 0, 0), 0xFFu);
    ASSERT_EQ(R_AppendPlayback(playback, &second), 1);
    EXPECT_EQ(index(), 1);
    EXPECT_EQ(step(), PB_AWAIT_LINES);
    HBITMAPLIST list = nullptr;
    ASSERT_EQ(R_DestroyPlayback(std::exchange(playback, nullptr), &list), 1);
    BITMAPRECORD item{};
    ASSERT_EQ(R_GetBitmapListItem(list, 0, &item, sizeof item), 1);
    EXPECT_TRUE(item.nLockCount == 0 && item.pData == first.pData);
    R_DestroyBitmapList(list);
}

TEST_F(PlaybackTest, RefusesWhatIsNoPlayback) {
    BITMAPRECORD empty{};
    int32_t n = 0;
    EXPECT_EQ(R_CreatePlayback(&playback, &empty, frames), -13);
    empty.uStructSize = 7;
    empty.Flags = BMF_ALLOCATED;
    EXPECT_EQ(R_CreatePlayback(&playback, &empty, frames), -789);
    const RVHANDLE memory = WinGlobalAlloc(66, 8), region = CreateRectRgn(0, 0, 1, 1);
    for (const RVHANDLE h : {RVHANDLE(nullptr), reinterpret_cast<RVHANDLE>(UINTPTR_MAX), memory, region})
        EXPECT_TRUE(R_ProcessPlayback(h, &n) == -13 && R_CancelPlaybackWait(h) == -13 &&
                    R_AppendPlayback(h, &target) == -13 && R_DestroyPlayback(h, nullptr) == -13);
    DeleteObject(memory);
    DeleteObject(region);
    start();
    EXPECT_EQ(R_AppendPlayback(playback, nullptr), -13);
    EXPECT_EQ(R_AppendPlayback(playback, &empty), -789);
    EXPECT_EQ(R_ProcessPlayback(playback, nullptr), 1);
}

// Whatever fails, the machine goes on and nothing is lost; with memory again it composes as ever.
TEST_F(PlaybackTest, GoesOnWhenMemoryIsShort) {
    for (uint32_t i = 1; i < 4; ++i) {
        BITMAPRECORD bm = frame(0xFF, 0, false, 8);
        bm.DisposalMethod = i;
        bm.Flags |= BMF_TRANSPARENCY;
        add(bm);
    }
    start();
    ASSERT_EQ(R_SetPlaybackIndex(playback, 3), 1);
    const Bytes want = contents(target.record);
    const long blocks = faults::liveBlocks();
    for (int n = 0, fired = 1; fired; ++n) {
        faults::FailFromNthAllocation fail(n);
        ASSERT_EQ(R_SetPlaybackIndex(playback, 0), 1);
        ASSERT_EQ(R_SetPlaybackIndex(playback, 3), 1);
        fail.stop();
        fired = fail.fired();
        ASSERT_EQ(faults::liveBlocks(), blocks) << n;
    }
    EXPECT_EQ(contents(target.record), want);
}

// The machine never misses a cancel that comes while it waits, and none leads it astray.
TEST_F(PlaybackTest, ThreadsMayCancelAWait) {
    for (int i = 0; i < 3; ++i) add(frame(0, 0, true));
    start();
    std::atomic<bool> done{false};
    std::thread other([&] {
        while (!done) R_CancelPlaybackWait(playback);
    });
    int32_t last = step();
    int ends = 0;
    for (int64_t i = 0; ends < 100 && i < 100000000; ++i) {
        const int32_t state = step();
        if (state == PB_WAIT_INPUT) std::this_thread::yield();
        if (state == PB_END) ++ends;
        if (state == PB_ADVANCE) {
            ASSERT_TRUE(last == PB_WAIT_INPUT || last == PB_DISPOSE) << last;
        }
        last = state;
    }
    done = true;
    other.join();
    EXPECT_EQ(ends, 100);
}

}  // namespace
