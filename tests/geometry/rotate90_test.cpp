// Quarter and half turns against a literal model: where each pixel goes, at all depths, in all storage.
#include <gtest/gtest.h>

#include "internal/attachments.h"
#include "internal/bitmap_.h"
#include "internal/rotate_.h"
#include "internal/runlists_.h"
#include "tests/support/bitmaps.h"
#include "tests/support/faults.h"

namespace {

using namespace test;

size_t lineOf(int32_t nWidth, int32_t nBits) { return size_t(rv::rowBytes(uint32_t(nWidth), uint32_t(nBits))); }

// A picture as its packed rows.
struct Picture {
    int32_t nBits = 0, nWidth = 0, nHeight = 0;
    Bytes rows;

    Picture(int32_t bits, int32_t width, int32_t height)
        : nBits(bits), nWidth(width), nHeight(height), rows(lineOf(width, bits) * size_t(height)) {}
    explicit Picture(BITMAPRECORD& bm) : nBits(bm.BitsPerPixel), nWidth(bm.Width), nHeight(bm.Height) {
        rows = contents(bm);
        clearPadding(rows, bm);
    }
    uint8_t* row(int32_t y) { return &rows[lineOf(nWidth, nBits) * size_t(y)]; }
    bool operator==(const Picture&) const = default;

    // Pixel (x, y) of the result is pixel from(x, y) of this one.
    template <class From>
    Picture map(int32_t width, int32_t height, From from) {
        Picture out(nBits, width, height);
        for (int32_t y = 0; y < height; ++y)
            for (int32_t x = 0; x < width; ++x) {
                const auto [u, v] = from(x, y);
                const uint64_t n = pixelAt(row(v), nBits, size_t(u));
                rv::visitDepth(nBits, [&](auto bits) {
                    using P = rv::Pixel<bits>;
                    P::put(out.row(y), size_t(x), typename P::Value(n));
                });
            }
        return out;
    }
    Picture clockwise() {
        return map(nHeight, nWidth, [&](int32_t x, int32_t y) { return std::pair(y, nHeight - 1 - x); });
    }
    Picture counterclockwise() { return clockwise().half(); }
    // By the call for buffers, where the model would take long.
    Picture turned(int32_t bClockwise) const {
        Picture out(nBits, nHeight, nWidth);
        R_RotateBuffer90(rows.data(), out.rows.data(), bClockwise, nWidth, nHeight, nBits);
        return out;
    }
    Picture half() {
        return map(nWidth, nHeight, [&](int32_t x, int32_t y) { return std::pair(nWidth - 1 - x, nHeight - 1 - y); });
    }
};
void PrintTo(const Picture& p, std::ostream* pOut) { *pOut << p.nWidth << " x " << p.nHeight; }

// Rows with long runs, some many times, and some without any bit.
Bytes runsOf(const BITMAPRECORD& bm) {
    Bytes rows(size_t(bm.BytesPerLine) * unsigned(bm.Height));
    for (int32_t y = 0; y < bm.Height; ++y) {
        std::mt19937 random(unsigned(y / 200 * 200 + std::max(y % 200 - 195, 0)));
        if (random() % 4 == 0) continue;
        for (size_t x = random() % 400; x < size_t(bm.Width); x += 1 + random() % 3000)
            for (size_t n = random() % 2000; n-- > 0 && x < size_t(bm.Width); ++x)
                rv::Pixel<1>::put(&rows[size_t(y) * bm.BytesPerLine], x, 1);
    }
    return rows;
}

// The status callback of this thread for the time of a scope: keeps what it is told, and stops at a call.
class Listener {
    int32_t m_nStopAt;
    static int32_t hear(int32_t nPercent, void* p) {
        auto& self = *static_cast<Listener*>(p);
        self.heard.push_back(nPercent);
        return int32_t(self.heard.size()) == self.m_nStopAt ? -100 : 1;
    }

public:
    std::vector<int32_t> heard;
    explicit Listener(int32_t nStopAt = 0) : m_nStopAt(nStopAt) { R_SetStatusCallBack(hear, this, nullptr, nullptr); }
    ~Listener() { R_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr); }
};

TEST(Rotate90, buffersOfAllDepthsAndSizesTurnLikeTheModel) {
    constexpr size_t kGuard = 64;
    for (const int32_t nBits : kDepths)
        for (const int32_t nWidth : {1, 7, 8, 33, 128, 131, 517})
            for (const int32_t nHeight : {1, 5, 16, 31, 32, 67, 130, 545}) {
                SCOPED_TRACE(testing::Message() << nBits << " bits, " << nWidth << " x " << nHeight);
                Picture src(nBits, nWidth, nHeight);
                src.rows = randomBytes(src.rows.size(), 3);
                const auto turned = [&](Picture want, auto&& turn) {
                    Picture got(nBits, want.nWidth, want.nHeight);
                    const Bytes guard = randomBytes(kGuard, 4);
                    got.rows.insert(got.rows.end(), guard.begin(), guard.end());
                    EXPECT_EQ(turn(got.rows.data()), 1);
                    EXPECT_TRUE(std::equal(guard.begin(), guard.end(), got.rows.end() - kGuard)) << "past the end";
                    got.rows.resize(want.rows.size());
                    EXPECT_EQ(got, want);
                };
                for (const int32_t bClockwise : {0, 1})
                    turned(bClockwise ? src.clockwise() : src.counterclockwise(), [&](uint8_t* p) {
                        return R_RotateBuffer90(src.rows.data(), p, bClockwise, nWidth, nHeight, nBits);
                    });
                turned(src.half(),
                       [&](uint8_t* p) { return R_RotateBuffer180(src.rows.data(), p, nWidth, nHeight, nBits); });
                Bitmap bm(nBits, nWidth, nHeight);
                setContents(bm.record, src.rows);
                EXPECT_EQ(rv::rotate180(bm.record, 0, 100), 1);
                EXPECT_EQ(Picture(bm.record), src.half());
                // The form that processors without vectors have.
                const auto nIn = ptrdiff_t(lineOf(nWidth, nBits)), nOut = ptrdiff_t(lineOf(nHeight, nBits));
                turned(src.clockwise(), [&](uint8_t* p) {
                    rv::plainTranspose(nBits)(src.row(nHeight - 1), -nIn, p, nOut, size_t(nHeight), size_t(nWidth));
                    return 1;
                });
            }
    uint8_t byte[8] = {};
    EXPECT_EQ(R_RotateBuffer90(nullptr, byte, 1, 1, 1, 8), -13);
    EXPECT_EQ(R_RotateBuffer90(byte, nullptr, 1, 1, 1, 8), -13);
    EXPECT_EQ(R_RotateBuffer180(byte, nullptr, 1, 1, 8), -13);
    EXPECT_EQ(R_RotateBuffer180(byte, byte + 4, 1, 0, 8), 1);
}

TEST(Rotate90, bitmapsOfAllStorageTurnAsTheyAreSeen) {
    for (const int32_t nBits : kDepths)
        for (const Holding holding : holdingsOf(nBits)) {
            Bitmap bm(nBits, 77, 45, holding);
            ASSERT_EQ(bm.nStatus, 1);
            fillRandom(bm.record, 9);
            bm->XResolution = 300;
            bm->YResolution = 200;
            R_AccessBitmap(&bm);
            for (int32_t nView = 1; nView <= 8; ++nView) {
                SCOPED_TRACE(testing::Message() << nBits << " bits, " << nameOf(holding) << ", view " << nView);
                const bool bOther = nView == 2 || nView == 4 || nView == 5 || nView == 7;
                bm->ViewPerspective = nView;
                Picture first(bm.record), want = bOther ? first.counterclockwise() : first.clockwise();
                ASSERT_EQ(R_RotateBitmap90(&bm, 1, 0, 100), 1);
                ASSERT_EQ(Picture(bm.record), want);
                EXPECT_TRUE(bm->XResolution == 200 && bm->YResolution == 300 && bm->ViewPerspective == nView);
                EXPECT_EQ(bm->nLockCount, 1);
                ASSERT_EQ(R_RotateBitmap90(&bm, 1, 0, 100), 1);
                ASSERT_EQ(Picture(bm.record), first.half());
                ASSERT_EQ(rv::rotate180(bm.record, 0, 100), 1);
                ASSERT_EQ(Picture(bm.record), first);
                ASSERT_EQ(R_RotateBitmap90(&bm, 1, 0, 100), 1);
                ASSERT_EQ(R_RotateBitmap90(&bm, 0, 0, 100), 1);
                ASSERT_EQ(Picture(bm.record), first);
            }
            if (holding == Holding::super || holding == Holding::disk) {
                EXPECT_TRUE(bm.isHeld(holding));
            }
            R_ReleaseBitmap(&bm);
        }
}

// Pictures beyond the buffers: in several bands, of several blocks.
TEST(Rotate90, largePicturesTurnBandByBand) {
    for (const Holding holding : {Holding::disk, Holding::tiledMixed, Holding::super}) {
        if (!allows(holding, 8)) continue;
        Bitmap bm(8, 4300, 4100, holding);
        ASSERT_EQ(bm.nStatus, 1);
        Bytes rows(size_t(bm->BytesPerLine) * 4100);
        for (size_t i = 0; i < rows.size(); ++i) rows[i] = uint8_t((i / 4300 * 7 + i % 4300 * 3) >> 5);
        setContents(bm.record, rows);
        Picture first(bm.record);
        ASSERT_EQ(R_RotateBitmap90(&bm, 0, 0, 100), 1);
        EXPECT_EQ(Picture(bm.record), first.turned(0)) << nameOf(holding);
        ASSERT_EQ(rv::rotate180(bm.record, 0, 100), 1);
        EXPECT_EQ(Picture(bm.record), first.turned(1)) << nameOf(holding);
    }
}

TEST(Rotate90, runListsTurnIntoRunLists) {
    enum { blank, runs, noise };
    for (const auto& [nWidth, nHeight] : {std::pair(77, 45), std::pair(70001, 31), std::pair(31, 70001)})
        for (const int nKind : {blank, runs, noise})
            for (const bool bUp : {false, true}) {
                SCOPED_TRACE(testing::Message() << nWidth << " x " << nHeight << ", kind " << nKind << ", up " << bUp);
                Bitmap src(1, nWidth, nHeight, Holding::compressed), dst(1, nHeight, nWidth, Holding::compressed);
                if (nKind == runs) setContents(src.record, runsOf(src.record));
                if (nKind == noise) fillRandom(src.record, 6);
                rv::ProgressShare progress(nHeight, double(nWidth) * nHeight, 0, 100);
                ASSERT_EQ(rv::turnRunLists(dst.record, src.record, bUp, progress), 1);
                ASSERT_TRUE(!(dst->Flags & BMF_COMPRESSED) || rv::isWellFormedRunLists(dst.record));
                Picture first(src.record);
                ASSERT_EQ(Picture(dst.record), first.turned(bUp));
                ASSERT_EQ(rv::rotate180(src.record, 0, 100), 1);
                ASSERT_TRUE(rv::isWellFormedRunLists(src.record));
                ASSERT_EQ(Picture(src.record), first.half());
            }
    // A large one stays in its class, a small one doesn't.
    for (const auto& [nHeight, bStays] : {std::pair(18000, false), std::pair(18001, true)}) {
        Bitmap bm(1, 8000, nHeight, Holding::compressed);
        setContents(bm.record, runsOf(bm.record));
        Picture first(bm.record);
        ASSERT_EQ(R_RotateBitmap90(&bm, 1, 0, 100), 1);
        EXPECT_EQ((bm->Flags & BMF_COMPRESSED) != 0, bStays);
        EXPECT_EQ(Picture(bm.record), first.turned(1));
    }
}

TEST(Rotate90, progressGoesFromStartToEndByRows) {
    Bitmap bm(8, 60, 7);
    const auto heard = [&](auto&& turn) {
        Listener listener;
        EXPECT_EQ(turn(), 1);
        return listener.heard;
    };
    // 30 percent in 7 rows of 4 and 2/7, in 60 rows of a half, in 4 pairs of 7 and a half.
    EXPECT_EQ(heard([&] { return R_RotateBitmap90(&bm, 1, 20, 50); }),
              (std::vector<int32_t>{20, 24, 28, 32, 37, 41, 45, 50}));
    std::vector<int32_t> want(31);
    for (int32_t i = 0; i <= 30; ++i) want[size_t(i)] = 20 + i;
    EXPECT_EQ(heard([&] { return R_RotateBitmap90(&bm, 0, 20, 50); }), want);
    EXPECT_EQ(heard([&] { return rv::rotate180(bm.record, 20, 50); }), (std::vector<int32_t>{20, 27, 35, 42, 50}));
}

using Turn = int32_t (*)(BITMAPRECORD& bm);
const Turn kQuarter = [](BITMAPRECORD& bm) { return R_RotateBitmap90(&bm, 1, 0, 100); };
const Turn kHalf = [](BITMAPRECORD& bm) { return rv::rotate180(bm, 0, 100); };

TEST(Rotate90, whatStopsOrFailsLeavesTheBitmap) {
    for (const int32_t nBits : {1, 8})
        for (const Holding holding : holdingsOf(nBits))
            for (const Turn turn : {kQuarter, kHalf}) {
                SCOPED_TRACE(testing::Message() << nBits << " bits, " << nameOf(holding) << ", " << (turn == kHalf));
                Bitmap bm(nBits, 50, 131, holding);
                fillRandom(bm.record, 2);
                Picture first(bm.record), want = turn == kHalf ? first.half() : first.clockwise();
                for (const int32_t nCall : {1, 2, 30, 101}) {
                    if (turn == kHalf && nCall > 60) continue;
                    const Listener listener(nCall);
                    ASSERT_EQ(turn(bm.record), -100) << nCall;
                    ASSERT_EQ(Picture(bm.record), first) << nCall;
                }
                const long nBlocks = faults::liveBlocks();
                for (int k = 0;; ++k) {
                    ASSERT_LT(k, 5000);
                    faults::FailFromNthAllocation fail(k);
                    const int32_t nStatus = turn(bm.record);
                    fail.stop();
                    if (nStatus == 1) break;
                    ASSERT_TRUE(fail.fired()) << nStatus;
                    ASSERT_EQ(faults::liveBlocks(), nBlocks) << k;
                    ASSERT_EQ(Picture(bm.record), first) << k;
                }
                ASSERT_EQ(Picture(bm.record), want);
            }
}

// What was begun on a bitmap before it is turned, or for the turn, ends with it: copies of its callbacks, a dither.
TEST(Rotate90, whatWasBegunEnds) {
    const Turn kSlanted = [](BITMAPRECORD& bm) { return R_RotateBitmap(&bm, 4500, 0, 0); };
    for (const Turn turn : {kQuarter, kSlanted}) {
        Bitmap bm(24, 20, 20);
        int nBegun = 0;
        BITMAPDATACALLBACKS callbacks{};
        callbacks.uStructSize = sizeof callbacks;
        callbacks.pUserData = &nBegun;
        callbacks.pfnBeginCopy = [](BITMAPRECORD*, int32_t, BITMAPALLOCATEINFO*, BITMAPDATACALLBACKS*, void* p) {
            return ++*static_cast<int*>(p), 2;
        };
        callbacks.pfnEndCopy = [](BITMAPRECORD*, int32_t, void* p, BITMAPDATACALLBACKS*) {
            return --*static_cast<int*>(p), 1;
        };
        const long nBlocks = faults::liveBlocks();
        ASSERT_EQ(R_StartDithering(&bm, nullptr, 256), 1);
        R_SetBitmapDataCallbacks(&bm, &callbacks);
        {
            const Listener stop(2);
            EXPECT_EQ(turn(bm.record), -100);
        }
        EXPECT_EQ(nBegun, 0);
        EXPECT_EQ(turn(bm.record), 1);
        EXPECT_EQ(nBegun, 0);
        EXPECT_EQ(faults::liveBlocks(), nBlocks);
    }
}

// Hooks of a test: what they were asked, and whether the overlays refuse.
std::vector<int32_t> g_asked;
int32_t g_nOverlays = 1;

TEST(Rotate90, regionAndOverlaysHearOfTheTurn) {
    const rv::Attachments& old = rv::attachments();
    rv::Attachments hooks = old;
    hooks.rotateRegion = [](BITMAPRECORD&, int32_t nWidth, int32_t nHeight, int32_t nAngle) noexcept {
        g_asked.insert(g_asked.end(), {nWidth, nHeight, nAngle});
        return 1;
    };
    hooks.rotateOverlays = [](BITMAPRECORD&, int32_t, int32_t, int32_t nAngle) noexcept {
        g_asked.push_back(nAngle);
        return g_nOverlays;
    };
    rv::registerAttachments(hooks);
    Bitmap bm(8, 30, 20);
    fillRandom(bm.record, 1);
    const auto asked = [&](int32_t nStatus, Turn turn) {
        g_asked.clear();
        EXPECT_EQ(turn(bm.record), nStatus);
        return g_asked;
    };
    using Asked = std::vector<int32_t>;
    EXPECT_EQ(asked(1, kQuarter), (Asked{30, 20, 9000, 9000}));
    EXPECT_EQ(asked(1, [](BITMAPRECORD& r) { return R_RotateBitmap90(&r, 0, 0, 100); }), (Asked{20, 30, -9000, 27000}));
    EXPECT_EQ(asked(1, kHalf), (Asked{30, 20, 18000, 18000}));
    g_nOverlays = -1;
    Picture first(bm.record);
    EXPECT_EQ(asked(-1, kQuarter), (Asked{30, 20, 9000, 9000, 20, 30, -9000}));
    EXPECT_EQ(Picture(bm.record), first);
    EXPECT_EQ(asked(-1, kHalf), (Asked{30, 20, 18000, 18000, 30, 20, -18000}));
    EXPECT_EQ(Picture(bm.record), first);
    rv::registerAttachments(old);
}

TEST(Rotate90, statusesInOrder) {
    BITMAPRECORD bm{};
    EXPECT_EQ(R_RotateBitmap90(nullptr, 1, 0, 100), -2);
    EXPECT_EQ(kQuarter(bm), -789);
    R_InitBitmap(&bm, sizeof bm, 4, 4, 8);
    EXPECT_EQ(kQuarter(bm), -2);
    EXPECT_EQ(kHalf(bm), -2);
}

}  // namespace
