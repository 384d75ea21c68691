// Sizes by the nearest pixel and by black counted, against their formulas; single rows; what goes along.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

#include "internal/attachments.h"
#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

constexpr uint32_t kSize = sizeof(BITMAPRECORD);

uint64_t at(const Bytes& data, const BITMAPRECORD& bm, int64_t x, int64_t y) {
    return pixelAt(&data[size_t(y) * bm.BytesPerLine], bm.BitsPerPixel, size_t(x));
}

// dst is the source's nearest pixels.
void expectNearest(const Bytes& from, const BITMAPRECORD& src, BITMAPRECORD& dst, bool mirrored = false) {
    const Bytes got = contents(dst);
    for (int64_t y = 0; y < dst.Height; ++y)
        for (int64_t x = 0; x < dst.Width; ++x)
            ASSERT_EQ(at(got, dst, x, mirrored ? dst.Height - 1 - y : y),
                      at(from, src, x * src.Width / dst.Width, y * src.Height / dst.Height))
                << src.BitsPerPixel << " bits, " << src.Width << "x" << src.Height << " to " << dst.Width << "x"
                << dst.Height << " at " << x << "," << y;
}

TEST(Resize, NearestPixelAtEveryDepthStepAndHolding) {
    for (const int32_t bits : kDepths) {
        for (const int32_t to : {1, 59, 60, 61, 80, 120, 167, 239, 240, 241, 480, 701})
            for (const Holding h : {Holding::conventional, Holding::callbacks}) {
                Bitmap src(bits, 240, 5), dst(bits, to, to % 2 ? 3 : 11, h);
                const Bytes data = fillRandom(src.record, unsigned(to));
                ASSERT_EQ(R_IntResizeBitmap(&src, &dst, RSZ_RESAMPLE_COARSE), 1);
                ASSERT_NO_FATAL_FAILURE(expectNearest(data, src.record, dst.record));
            }
        const auto holdings = holdingsOf(bits);
        for (size_t i = 0; i < holdings.size(); ++i) {
            Bitmap src(bits, 67, 12, holdings[i]), dst(bits, 40, 19, holdings[(i + 3) % holdings.size()]);
            fillRandom(src.record, unsigned(i));
            const Bytes data = contents(src.record);
            dst->ViewPerspective = BOTTOM_LEFT;
            ASSERT_EQ(R_ResizeBitmap(&src, &dst, bits == 1 ? 0 : RSZ_FAVOUR_BLACK), 1) << nameOf(holdings[i]);
            if (holdings[(i + 3) % holdings.size()] != Holding::super || bits != 24) {  // its codec may lose
                ASSERT_NO_FATAL_FAILURE(expectNearest(data, src.record, dst.record, true)) << nameOf(holdings[i]);
            }
            EXPECT_EQ(src->nLockCount + dst->nLockCount, 0);
        }
    }
}

// ---- black counted

struct Axis {
    int64_t from, to;
    int64_t step() const { return std::max<int64_t>(from / to, 1); }
    int64_t first(int64_t i) const { return i * from / to; }
    int64_t end(int64_t i) const { return std::max((i + 1) * from / to, first(i) + 1); }
    int64_t endOfColumn(int64_t i) const { return to >= from ? first(i) + 1 : end(i); }
};

void expectBlackCounted(const Bytes& from, const BITMAPRECORD& src, BITMAPRECORD& dst, bool oneIsBlack) {
    const Axis ax{src.Width, dst.Width}, ay{src.Height, dst.Height};
    const auto root = int64_t(std::sqrt(double(ax.step() * ay.step())));
    const int64_t limit = root == 2 ? 1 : root == 3 || root == 4 ? root - 1 : root;
    const auto stored = [](const BITMAPRECORD& bm, int64_t y) {
        return bm.ViewPerspective == BOTTOM_LEFT ? bm.Height - 1 - y : y;
    };
    const Bytes got = contents(dst);
    for (int64_t y = 0; y < dst.Height; ++y)
        for (int64_t x = 0; x < dst.Width; ++x) {
            int64_t n = 0;
            for (int64_t v = ay.first(y); v < ay.end(y); ++v)
                for (int64_t u = ax.first(x); u < ax.endOfColumn(x); ++u)
                    n += (at(from, src, u, stored(src, v)) != 0) == oneIsBlack;
            ASSERT_EQ((at(got, dst, x, stored(dst, y)) != 0) == oneIsBlack, n >= limit)
                << src.Width << "x" << src.Height << " to " << dst.Width << "x" << dst.Height << " at " << x << ","
                << y;
        }
}

TEST(Resize, BlackIsCountedInEveryKindOfBox) {
    const struct {
        int32_t width, height, toWidth, toHeight;
    } cases[] = {{528, 40, 264, 20}, {524, 40, 131, 10}, {528, 41, 66, 5},  {300, 30, 41, 4},
                 {64, 300, 16, 2},   {700, 9, 3, 2},     {90, 200, 90, 10}, {90, 20, 200, 5},
                 {50, 12, 71, 30},   {201, 6, 100, 20},  {68, 7, 17, 7},    {300, 90, 2, 1},
                 {48, 300, 12, 20},  {33, 33, 1, 100},   {90, 300, 91, 2},  {66, 20, 33, 9}};
    const RGBQUAD inkOnPaper[2] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
    for (const auto& c : cases) {
        std::vector<Holding> holdings{Holding::conventional, Holding::compressed, Holding::callbacks};
        if (c.toHeight == 10) holdings = holdingsOf(1);
        for (size_t i = 0; i < holdings.size(); ++i)
            for (const size_t other : {i, (i + size_t(c.toWidth)) % holdings.size()}) {
                Bitmap src(1, c.width, c.height, holdings[i]), dst(1, c.toWidth, c.toHeight, holdings[other]);
                const bool oneIsBlack = (i + other) % 2;
                if (oneIsBlack) R_SetBitmapNewPalette(&src, inkOnPaper, 2);
                if (i % 3 == 1) src->ViewPerspective = BOTTOM_LEFT;
                if (other % 3 == 1) dst->ViewPerspective = BOTTOM_LEFT;
                Bytes sparse = randomBytes(size_t(src->BytesPerLine) * unsigned(c.height), unsigned(i));
                for (uint8_t& b : sparse) b = b % 5 ? 0 : b;
                if (!oneIsBlack)
                    for (uint8_t& b : sparse) b = uint8_t(~b);
                clearPadding(sparse, src.record);
                setContents(src.record, sparse);
                ASSERT_EQ(R_IntResizeBitmap(&src, &dst, RSZ_FAVOUR_BLACK | RSZ_RESAMPLE), 1);
                ASSERT_NO_FATAL_FAILURE(expectBlackCounted(sparse, src.record, dst.record, oneIsBlack))
                    << nameOf(holdings[i]) << " to " << nameOf(holdings[other]);
            }
    }
}

// ---- single rows

TEST(ResizeRows, WalkByItsRuleForwardAndBackward) {
    std::mt19937 random(11);
    const auto upTo = [&](int n) { return int32_t(random() % unsigned(n)); };
    for (const int32_t bits : kDepths)
        for (int k = 0; k < 300; ++k) {
            const int32_t den = 1 + upTo(90), start = upTo(9), count = upTo(90), grows = k % 2;
            const int32_t step = k % 5 ? upTo(6) : 2, acc = upTo(den), rem = k % 5 ? upTo(den + 1) : 0;
            std::vector<size_t> columns;
            for (int32_t i = 0, c = start, a = acc; i < count; ++i) {
                columns.push_back(size_t(c));
                a += rem;
                c += (grows ? 0 : step) + (a >= den);
                a -= a >= den ? den : 0;
            }
            // The source ends with the last pixel that is taken.
            const size_t pixels = columns.empty() ? 1 : columns.back() + 1;
            const Bytes src = randomBytes((pixels * unsigned(bits) + 7) / 8, unsigned(k));
            const size_t room = (size_t(count) * unsigned(bits) + 7) / 8 + 5;
            Bytes want = randomBytes(room + 4, 3), got = want, back = want;
            if (bits % 8) std::fill_n(want.begin(), room, uint8_t(0));
            for (size_t i = 0; i < columns.size(); ++i)
                rv::visitDepth(bits, [&](auto b) {
                    rv::Pixel<b>::put(want.data(), i, rv::Pixel<b>::get(src.data(), columns[i]));
                });
            R_GetResizedScanLine(bits, uint32_t(room), start, step, acc, rem, src.data(), got.data(), count, den,
                                 grows);
            R_ReverseGetResizedScanLine(bits, uint32_t(room), start, step, acc, rem, src.data(), back.data(), count,
                                        den, grows);
            ASSERT_EQ(got, want) << bits << " bits, case " << k;
            ASSERT_EQ(back, want) << bits << " bits, case " << k;
        }
    uint8_t row[4] = {1, 2, 3, 4};
    R_GetResizedScanLine(9, 4, 0, 1, 0, 0, row, row, 4, 4, 0);
    R_GetResizedScanLine(1, 4, 0, 1, 0, 0, nullptr, row, 4, 4, 0);
    R_ReverseGetResizedScanLine(1, 4, 0, 1, 0, 0, row, row, 4, 0, 1);
    EXPECT_EQ(row[0] + row[1] + row[2] + row[3], 10);
}

TEST(ResizeRows, InPlaceInBothDirections) {
    const int32_t heights[][2] = {{10, 7}, {10, 23}, {10, 10}, {3, 1}};
    for (const int32_t bits : kDepths)
        for (const int32_t to : {1, 13, 40, 41, 97})
            for (const auto& [from, toHeight] : heights) {
                void* state = nullptr;
                ASSERT_EQ(R_StartResize(40, from, to, toHeight, &state), 1);
                // Down and up again, and a jump. A row that follows the one below it counts as the one above it does.
                std::vector<int32_t> rows;
                for (int32_t y = 0; y < from; ++y) rows.push_back(y);
                for (int32_t y = from - 2; y >= 0; --y) rows.push_back(y);
                rows.push_back(from - 1);
                int32_t last = -1, total = 0;
                for (size_t i = 0; i < rows.size(); ++i) {
                    const int32_t y = rows[i], first = rows[i] == last - 1 ? y - 1 : y;
                    const auto edge = [&](int32_t r) {
                        return int32_t(std::floor(double(r) * toHeight / from + 1e-9));
                    };
                    const int32_t times = from == toHeight && to == 40 ? 1 : edge(first + 1) - edge(first);
                    const Bytes old = randomBytes(40 * 8, unsigned(y));
                    Bytes row = old;
                    row.resize(97 * 8);
                    int32_t width = 0, height = -1;
                    ASSERT_EQ(R_Resize(row.data(), y, bits, &width, &height, state), times) << y << " of " << from;
                    ASSERT_EQ(height, times);
                    ASSERT_EQ(width, to);
                    for (int32_t x = 0; x < to && times > 0; ++x)
                        ASSERT_EQ(pixelAt(row.data(), bits, size_t(x)), pixelAt(old.data(), bits, size_t(x * 40 / to)))
                            << bits << " bits to " << to << " at " << x;
                    if (i < size_t(from)) total += times;
                    last = y;
                }
                EXPECT_EQ(total, toHeight);
                EXPECT_EQ(R_StopResize(state), 1);
            }
    void* state = nullptr;
    int32_t n = 0;
    uint8_t row[8] = {};
    EXPECT_EQ(R_StartResize(10, 10, 5, 5, nullptr), -13);
    EXPECT_EQ(R_StartResize(10, 10, 0, 0, &state), -13);
    EXPECT_EQ(R_StartResize(10, 10, -1, 5, &state), -13);
    EXPECT_EQ(R_StopResize(nullptr), -13);
    {
        faults::FailFromNthAllocation fail(0);
        EXPECT_EQ(R_StartResize(10, 10, 5, 5, &state), -1);
    }
    ASSERT_EQ(R_StartResize(40, 20, 0, 10, &state), 1);
    EXPECT_EQ(static_cast<RESIZEDATA*>(state)->nNewWidth, 20);
    EXPECT_EQ(R_Resize(nullptr, 0, 8, &n, &n, state), -13);
    EXPECT_EQ(R_Resize(row, 0, 8, nullptr, &n, state), -13);
    EXPECT_EQ(R_Resize(row, 0, 8, &n, &n, nullptr), -13);
    R_StopResize(state);
}

// ---- colours under transparency

using Pixels = std::vector<std::array<int64_t, 4>>;

template <class T>
void expectBled(int32_t toWidth, int32_t toHeight) {
    constexpr int64_t full = std::numeric_limits<T>::max(), half = (full + 1) / 2;
    const int32_t w = 23, h = 9;
    Bitmap bm(sizeof(T) * 32, w, h);
    Bytes data = randomBytes(size_t(bm->Size64), 5);
    Pixels p(size_t(w * h));
    for (size_t i = 0; i < p.size(); ++i) {
        T s[4];
        std::memcpy(s, &data[i * sizeof s], sizeof s);
        s[3] = T(i % 3 == 0 ? 0 : i % 7 == 1 ? half : i % 5 == 2 ? full : s[3]);
        std::memcpy(&data[i * sizeof s], s, sizeof s);
        std::copy_n(s, 4, p[i].begin());
    }
    setContents(bm.record, data);
    const auto take = [&](size_t to, size_t from) {
        for (size_t c = 0; c < 3; ++c)
            p[to][c] = ((full - p[from][3]) * p[to][c] + p[from][3] * p[from][c]) / (full + 1);
    };
    for (int32_t y = 0; y < h && toWidth >= w; ++y)
        for (int32_t x = 0; x < w; ++x) {
            const size_t row = size_t(y * w), i = row + size_t(x);
            const size_t sides[2] = {row + size_t(std::min(x + 1, w - 1)), row + size_t(std::max(x - 1, 0))};
            for (int s = 0; s < 2 && p[i][3] < half; ++s)
                if (p[sides[s]][3] >= half) {
                    take(i, sides[s]);
                    if (p[sides[1 - s]][3] < half) take(sides[1 - s], sides[s]);
                    break;
                }
        }
    const Pixels before = p;
    for (size_t i = 0; i < p.size() && toHeight >= h; ++i) {
        const size_t below = i + w < p.size() ? i + w : i, above = i >= size_t(w) ? i - w : i;
        const auto& from = before[below][3] ? before[below] : before[above];
        if (p[i][3] == 0 && from[3]) std::copy_n(from.begin(), 3, p[i].begin());
    }
    ASSERT_EQ(R_SizeBitmap(&bm, toWidth, toHeight, RSZ_ALPHA_WEIGHTED), 1);
    const Bytes got = contents(bm.record);
    for (int32_t y = 0; y < toHeight; ++y)
        for (int32_t x = 0; x < toWidth; ++x) {
            T s[4];
            std::memcpy(s, &got[size_t(y) * bm->BytesPerLine + size_t(x) * sizeof s], sizeof s);
            const auto& want = p[size_t(y * h / toHeight * w + x * w / toWidth)];
            for (size_t c = 0; c < 4; ++c) ASSERT_EQ(s[c], want[c]) << x << "," << y << " to " << toWidth;
        }
}

TEST(Resize, ColoursBleedUnderTransparency) {
    for (const auto& [width, height] : {std::pair{46, 9}, {23, 18}, {30, 11}, {12, 9}, {23, 4}, {10, 4}}) {
        ASSERT_NO_FATAL_FAILURE(expectBled<uint8_t>(width, height));
        ASSERT_NO_FATAL_FAILURE(expectBled<uint16_t>(width, height));
    }
    // Not where all is visible, nor in grey, which has no alpha.
    for (const int32_t order : {ORDER_BGR, ORDER_GRAY}) {
        Bitmap bm(32, 4, 2, Holding::conventional, order);
        const Bytes data(32, order == ORDER_GRAY ? 1 : 2);
        setContents(bm.record, data);
        bm->pData[4] = 99;
        ASSERT_EQ(R_SizeBitmap(&bm, 4, 4, RSZ_ALPHA_WEIGHTED), 1);
        EXPECT_EQ(std::count(bm->pData, bm->pData + 64, 99), 2);
    }
}

// ---- whole bitmaps

struct Progress {
    std::vector<int32_t> heard;
    int32_t stopAt;
    explicit Progress(int32_t stop = 101) : stopAt(stop) {
        R_SetStatusCallBack(
            [](int32_t n, void* p) {
                auto& self = *static_cast<Progress*>(p);
                self.heard.push_back(n);
                return n >= self.stopAt ? -100 : 1;
            },
            this, nullptr, nullptr);
    }
    ~Progress() { R_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr); }
};

TEST(Resize, InPlaceKeepsWhatTheBitmapIs) {
    for (const int32_t bits : kDepths)
        for (const Holding h : holdingsOf(bits)) {
            if (h == Holding::callbacks || h == Holding::super) continue;  // rebuilt into memory; a codec that loses
            Bitmap bm(bits, 50, 12, h);
            const Bytes data = fillRandom(bm.record, 4);
            const BITMAPRECORD before = bm.record;
            bm->ViewPerspective = RIGHT_TOP;
            bm->XResolution = 77;
            R_AccessBitmap(&bm);
            ASSERT_EQ(R_SizeBitmap(&bm, 31, 20, bits == 1 ? 0 : RSZ_TO_GRAY | RSZ_FAVOUR_BLACK), 1) << nameOf(h);
            EXPECT_EQ(bm->nLockCount, 1);
            EXPECT_EQ(bm->ViewPerspective, RIGHT_TOP);
            EXPECT_EQ(bm->XResolution, 77);
            EXPECT_EQ(bm->BitsPerPixel, bits);
            EXPECT_EQ(bm->Flags & (BMF_DISK | BMF_COMPRESSED), before.Flags & (BMF_DISK | BMF_COMPRESSED));
            ASSERT_NO_FATAL_FAILURE(expectNearest(data, before, bm.record)) << nameOf(h);
            R_ReleaseBitmap(&bm);
        }
}

TEST(Resize, StatusesInOrderAndProgress) {
    Bitmap bm(8, 20, 10), out(8, 10, 4), page(1, 8, 8), none;
    EXPECT_EQ(R_SizeBitmap(nullptr, 5, 5, 0), -13);
    EXPECT_EQ(R_SizeBitmap(&none, 5, 5, 0), -13);
    EXPECT_EQ(R_SizeBitmap(&bm, -5, 5, 0), -11);
    EXPECT_EQ(R_SizeBitmap(&bm, 0, 5, 0), -11);
    EXPECT_EQ(R_SizeBitmap(&bm, 20, 10, 0xFFFFFFFF), 1);
    EXPECT_EQ(R_ResizeBitmap(&bm, nullptr, 0), -13);
    EXPECT_EQ(R_ResizeBitmap(&bm, &none, 0), -789);
    EXPECT_EQ(R_IntResizeBitmap(&bm, nullptr, 0), -2);
    EXPECT_EQ(R_IntResizeBitmap(&none, &bm, 0), -2);
    EXPECT_EQ(R_IntResizeBitmap(&bm, &page, RSZ_FAVOUR_BLACK), -27);
    bm->uStructSize = 5;
    EXPECT_EQ(R_SizeBitmap(&bm, 5, 5, 0), -789);
    EXPECT_EQ(R_ResizeBitmap(&bm, &out, 0), -789);
    bm->uStructSize = kSize;
    for (const uint32_t uFlags : {0, int(RSZ_FAVOUR_BLACK)}) {
        Bitmap from(uFlags ? 1 : 8, 20, 10), to(uFlags ? 1 : 8, 7, 3);
        const Bytes data = fillRandom(from.record, 1);
        {
            const Progress progress;
            EXPECT_EQ(R_IntResizeBitmap(&from, &to, uFlags), 1);
            EXPECT_EQ(progress.heard, (std::vector<int32_t>{0, 33, 66, 100}));
        }
        const Progress stop(50);
        EXPECT_EQ(R_SizeBitmap(&from, 7, 3, uFlags), -100);
        EXPECT_EQ(stop.heard.size(), 3u);
        EXPECT_EQ(from->Width, 20);
        EXPECT_EQ(from->nLockCount, 0);
        EXPECT_EQ(contents(from.record), data);
    }
}

TEST(Resize, WithoutMemoryTheBitmapStands) {
    for (const Holding h : {Holding::conventional, Holding::compressed})
        for (const uint32_t uFlags : {0, int(RSZ_FAVOUR_BLACK)})
            for (int n = 0;; ++n) {
                Bitmap bm(1, 300, 40, h);
                const Bytes data = fillRandom(bm.record, 6);
                const long nBlocks = faults::liveBlocks();
                faults::FailFromNthAllocation fail(n);
                const int32_t nStatus = R_SizeBitmap(&bm, 41, 17, uFlags);
                fail.stop();
                if (!fail.fired()) {
                    EXPECT_EQ(nStatus, 1);
                    EXPECT_GT(n, 3);
                    break;
                }
                // Run lists that don't pay want to become flat, and may stay where that fails.
                if (nStatus == 1 && uFlags && h == Holding::compressed) continue;
                ASSERT_EQ(nStatus, -1) << n;
                ASSERT_EQ(faults::liveBlocks(), nBlocks) << n;
                ASSERT_EQ(bm->Width, 300);
                ASSERT_EQ(contents(bm.record), data) << n;
            }
}

// The region and the overlays follow: what does so here is a name, and tells the sizes that it was asked for.
std::vector<int32_t> g_asked;
int32_t g_answer = 1;
int g_thing;

TEST(Resize, AttachmentsFollowOrNothingHappens) {
    rv::Attachments bodies = rv::kNoAttachments;
    bodies.deleteRegion = [](RavoRgn*) noexcept {};
    bodies.copyRegion = [](BITMAPRECORD& dst, const BITMAPRECORD&) noexcept {
        dst.pRgnInfo = reinterpret_cast<RavoRgn*>(&g_answer);
        return 1;
    };
    bodies.sizeRegion = [](BITMAPRECORD& bm, int32_t nWidth, int32_t nHeight) noexcept {
        g_asked = {bm.Width, bm.Height, nWidth, nHeight, bm.pRgnInfo == reinterpret_cast<RavoRgn*>(&g_answer)};
        bm.pRgnInfo = reinterpret_cast<RavoRgn*>(&g_asked);
        return g_answer;
    };
    const rv::Attachments& old = rv::attachments();
    rv::registerAttachments(bodies);
    for (const int32_t answer : {-1, 1}) {
        Bitmap bm(8, 20, 10);
        bm->pRgnInfo = reinterpret_cast<RavoRgn*>(&g_thing);
        g_answer = answer;
        EXPECT_EQ(R_SizeBitmap(&bm, 7, 3, 0), answer);
        EXPECT_EQ(g_asked, (std::vector<int32_t>{20, 10, 7, 3, 1}));
        EXPECT_EQ(bm->Width, answer == 1 ? 7 : 20);
        EXPECT_EQ(static_cast<void*>(bm->pRgnInfo), answer == 1 ? static_cast<void*>(&g_asked) : &g_thing);
    }
    static int32_t s_nOverlays;
    bodies.copyOverlays = [](BITMAPRECORD& dst, const BITMAPRECORD&) noexcept {
        dst.pOverlays = &g_answer;
        return 1;
    };
    bodies.sizeOverlays = [](BITMAPRECORD&, int32_t, int32_t) noexcept { return s_nOverlays; };
    rv::registerAttachments(bodies);
    for (const uint32_t uFlags : {0, int(RSZ_RESAMPLE), int(RSZ_BICUBIC)})
        for (const int32_t answer : {-1, 1}) {
            Bitmap bm(8, 20, 10);
            bm->pRgnInfo = reinterpret_cast<RavoRgn*>(&g_thing);
            bm->pOverlays = &g_thing;
            s_nOverlays = answer;
            EXPECT_EQ(R_SizeBitmap(&bm, 7, 13, uFlags), answer);
            EXPECT_EQ(bm->Width, answer == 1 ? 7 : 20);
            EXPECT_EQ(static_cast<void*>(bm->pRgnInfo), answer == 1 ? static_cast<void*>(&g_asked) : &g_thing);
            EXPECT_EQ(bm->pOverlays, answer == 1 ? static_cast<void*>(&g_answer) : &g_thing);
        }
    rv::registerAttachments(old);
}

TEST(ResizeFilters, DepthsViewsAndFiltersMeet) {
    Bitmap photo(24, 40, 30), gray(8, 20, 15), turned(24, 15, 20), page(1, 64, 32), small(8, 16, 8);
    const Bytes data = fillRandom(photo.record, 2);
    // Another depth, as colour resolution gives it.
    ASSERT_EQ(R_ResizeBitmap(&photo, &gray, 0), 1);
    Bitmap resolved;
    ASSERT_EQ(
        R_ColorResBitmap(&photo, &resolved, kSize, 8, CRF_OPTIMIZEDPALETTE, nullptr, nullptr, 0, nullptr, nullptr), 1);
    ASSERT_NO_FATAL_FAILURE(expectNearest(contents(resolved.record), resolved.record, gray.record));
    // Another view: what is seen stays.
    turned->ViewPerspective = RIGHT_TOP;
    ASSERT_EQ(R_ResizeBitmap(&photo, &turned, 0), 1);
    Bitmap whole;
    ASSERT_EQ(R_ChangeBitmapViewPerspective(&whole, &photo, kSize, RIGHT_TOP), 1);
    ASSERT_NO_FATAL_FAILURE(expectNearest(contents(whole.record), whole.record, turned.record));
    EXPECT_EQ(contents(photo.record), data);
    // 1-bit grey becomes 8 bits, where white stays white; the other flags of 1-bit grey are out of force.
    setContents(page.record, Bytes(page->Size, 0xFF));
    ASSERT_EQ(R_ResizeBitmap(&page, &small, RSZ_TO_GRAY | RSZ_FAVOUR_BLACK), 1);
    ASSERT_EQ(R_SizeBitmap(&page, 16, 8, RSZ_TO_GRAY | RSZ_FAVOUR_BLACK), 1);
    EXPECT_EQ(page->BitsPerPixel, 8);
    EXPECT_EQ(page->nColors, 256u);
    EXPECT_EQ(contents(page.record), Bytes(16 * 8, 255));
    // A filter gives what its own call does, whatever brings it.
    const auto expectSame = [&](uint32_t uFlags, int32_t w, int32_t h, const std::function<int32_t(Bitmap&)>& direct) {
        Bitmap a, b;
        R_CopyBitmap(&a, &photo, kSize);
        R_CopyBitmap(&b, &photo, kSize);
        ASSERT_EQ(R_SizeBitmap(&a, w, h, uFlags), 1);
        ASSERT_EQ(direct(b), 1);
        EXPECT_EQ(a->Height, h);
        EXPECT_EQ(contents(a.record), contents(b.record)) << uFlags;
    };
    expectSame(RSZ_RESAMPLE | RSZ_BICUBIC, 30, 50, [](Bitmap& b) { return R_ResampleBitmap(&b, 30, 50, 0); });
    expectSame(RSZ_RESAMPLE_COARSE | RSZ_BICUBIC, 30, 50,
               [](Bitmap& b) { return R_ResampleBitmap(&b, 30, 50, RSZ_RESAMPLE_COARSE); });
    expectSame(RSZ_BICUBIC, 30, 50, [](Bitmap& b) { return R_BicubicResampleBitmap(&b, 30, 50, 0); });
    expectSame(RSZ_BICUBIC, 30, 30, [](Bitmap& b) { return R_ResampleBitmap(&b, 30, 30, 0); });
}

}  // namespace
