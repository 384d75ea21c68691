// Combines against the formula, pixel by pixel: every flag at every depth, regions, holdings, views, one bitmap twice.
#include <gtest/gtest.h>

#include <optional>

#include "geometry/seen.h"
#include "internal/attachments.h"
#include "support/faults.h"

using namespace test;

namespace {

// A region of two pieces in rows 1 and up; the cut through its first piece moves with the row.
class FakeRegion {
    static uint32_t most(const BITMAPRECORD&) noexcept { return 4; }
    static int32_t segments(const BITMAPRECORD& bm, int32_t row, uint32_t* words, uint32_t* count) noexcept {
        *count = row ? 4 : 0;
        const uint32_t all[] = {1, uint32_t(5 + row % 7), uint32_t(13 + row % 3), uint32_t(bm.Width)};
        std::copy_n(all, *count, words);
        return 1;
    }
    const rv::Attachments& m_old = rv::attachments();
    rv::Attachments m_fake = m_old;

public:
    FakeRegion() {
        m_fake.clipSegmentsMax = most;
        m_fake.clipSegments = segments;
        rv::registerAttachments(m_fake);
    }
    FakeRegion(const FakeRegion&) = delete;
    ~FakeRegion() { rv::registerAttachments(m_old); }
    static bool has(const BITMAPRECORD& bm, int32_t x, int32_t row) {
        return row && ((x >= 1 && x < 5 + row % 7) || (x >= 13 + row % 3 && x < bm.Width));
    }
};

uint64_t digit(uint32_t d, uint64_t v, uint64_t most) { return d == 0 ? v : d == 1 ? most - v : d == 2 ? 0 : most; }

// The two columns of results by operation; samples have up to 32 bits.
uint64_t onBits(uint32_t op, uint64_t s, uint64_t d) {
    const uint64_t all[] = {s & d, s | d, s ^ d, s | d, d & ~s, s & ~d, s & d, d, s, s | d, s & d, s | d};
    return all[op];
}
uint64_t onSamples(uint32_t op, uint64_t s, uint64_t d, uint64_t most) {
    const auto quotient = [most](uint64_t a, uint64_t b) { return b ? std::min(a * most / b, most) : most; };
    const uint64_t all[] = {std::min(d + s, most), d > s ? d - s : 0, s > d ? s - d : 0, d * s / most,  quotient(d, s),
                            quotient(s, d),        (d + s) / 2,       std::min(s, d),    std::max(s, d)};
    return all[op - 3];
}

// The pixel that a combine makes of two, in the format of bm.
uint64_t combined(const BITMAPRECORD& bm, uint32_t flags, uint64_t s, uint64_t d) {
    const auto depth = uint32_t(bm.BitsPerPixel);
    const uint32_t op = flags >> 8 & 15, result = flags >> 12;
    const uint64_t all = depth == 64 ? ~uint64_t(0) : (uint64_t(1) << depth) - 1;
    if (depth == 1 || op < 3 || result > 1)
        return digit(result, onBits(op, digit(flags & 15, s, all), digit(flags >> 4 & 15, d, all)) & all, all);
    uint32_t low = 0, bits = depth, count = 1;
    if (depth == 12 || (depth >= 16 && bm.Order == ORDER_GRAY)) {
        low = uint32_t(bm.PhysicalLowBit);
        bits = (bm.PhysicalHighBit < 0 ? depth : uint32_t(bm.PhysicalHighBit) + 1) - low;
    } else if (depth == 16) {
        bits = 5, count = 3;
    } else if (depth > 8) {
        bits = depth > 32 ? 16 : 8, count = depth / bits;
    }
    const uint64_t most = (uint64_t(1) << bits) - 1;
    for (uint32_t i = 0, shift = low; i < count; ++i, shift += bits) {
        const uint64_t v = onSamples(op, digit(flags & 15, s >> shift & most, most),
                                     digit(flags >> 4 & 15, d >> shift & most, most), most);
        d = (d & ~(most << shift)) | digit(result, v, most) << shift;
    }
    return d;
}

struct Call {
    int32_t toX, toY, width, height, fromX, fromY;
    int32_t run(BITMAPRECORD* to, BITMAPRECORD* from, uint32_t flags) const {
        return R_CombineBitmapKrn(to, toX, toY, width, height, from, fromX, fromY, flags);
    }
    // What should be seen, when the source was seen as from.
    Seen expect(BITMAPRECORD& to, Seen from, uint32_t flags, bool region = false) const {
        Seen out(to);
        for (int64_t y = 0; y < height; ++y)
            for (int64_t x = 0; x < width; ++x) {
                if (!out.has(toX + x, toY + y) || !from.has(fromX + x, fromY + y)) continue;
                if (region && !FakeRegion::has(to, int32_t(toX + x), int32_t(toY + y))) continue;
                uint64_t& d = out.at(toX + x, toY + y);
                d = combined(to, flags, from.at(fromX + x, fromY + y), d);
            }
        return out;
    }
};

// Random pixels with many that are all zeros or all ones.
void fillExtreme(BITMAPRECORD& bm, uint32_t seed) {
    Bytes data = randomBytes(size_t(bm.BytesPerLine) * unsigned(bm.Height), seed);
    const Bytes choice = randomBytes(data.size(), seed + 1);
    for (size_t i = 0; i < data.size(); ++i)
        if (choice[i / 9] < 100) data[i] = choice[i / 9] & 1 ? 0xFF : 0;
    if (bm.Flags & BMF_COMPRESSED) clearPadding(data, bm);
    setContents(bm, data);
}

struct Format {
    int32_t bits, order = -1, low = 0, high = -1;
};
std::vector<Format> formats() {
    std::vector<Format> out;
    for (const int32_t bits : kDepths) out.push_back({bits, defaultOrder(bits)});
    for (const Format& gray :
         {Format{16, ORDER_GRAY, 0, 15}, Format{16, ORDER_GRAY, 3, 13}, Format{12, ORDER_GRAY, 2, 9},
          Format{32, ORDER_GRAY, 0, 31}, Format{32, ORDER_GRAY, 4, 27}})
        out.push_back(gray);
    return out;
}

constexpr bool isFlags(uint32_t f) {
    return f <= 0x3FFF && (f & 15) <= 3 && (f & 0xF0) <= 0x30 && (f & 0xF00) <= 0xB00;
}

TEST(Combine, EveryFlagAtEveryDepth) {
    std::mt19937 random(5);
    const auto pick = [&](int32_t from, int32_t to) { return from + int32_t(random() % unsigned(to - from + 1)); };
    for (const Format& f : formats()) {
        Bitmap to(f.bits, 61, 5, Holding::conventional, f.order), from(f.bits, 67, 4, Holding::conventional, f.order);
        if (f.high >= 0) to->PhysicalLowBit = f.low, to->PhysicalHighBit = f.high;
        for (uint32_t flags = 0; flags <= 0x4100; ++flags) {
            const Call call{pick(-9, 20), pick(-2, 3), pick(1, 70), pick(1, 6), pick(-9, 20), pick(-2, 3)};
            fillExtreme(to.record, flags);
            fillExtreme(from.record, flags + 77);
            if (!isFlags(flags)) {
                const Bytes before = contents(to.record);
                ASSERT_EQ(call.run(&to, &from, flags), -13) << std::hex << flags;
                ASSERT_EQ(contents(to.record), before);
                flags = flags | 15;  // the rest of the sixteen fail as well
                continue;
            }
            const bool region = flags & 1;
            const Seen want = call.expect(to.record, Seen(from.record), flags, region);
            std::optional<FakeRegion> fake;
            if (region) fake.emplace();
            ASSERT_EQ(call.run(&to, &from, flags), 1);
            ASSERT_EQ(Seen(to.record), want)
                << f.bits << " order " << f.order << " low " << f.low << " flags " << std::hex << flags;
        }
    }
}

constexpr uint32_t kSome[] = {COMBINE_COPY, COMBINE_XOR, COMBINE_ADD | COMBINE_SRC_NOT, COMBINE_DIV_SRC};

TEST(Combine, LongRows) {
    for (const Format& f : formats()) {
        Bitmap to(f.bits, 1501, 2, Holding::conventional, f.order),
            from(f.bits, 1501, 2, Holding::conventional, f.order);
        for (uint32_t op = 0; op <= 0xB00; op += 0x100)
            for (const int32_t shift : {0, 3, 8}) {
                const Call call{shift, 0, 1490, 2, 2, 0};
                fillExtreme(to.record, op);
                fillExtreme(from.record, op + 77);
                const Seen want = call.expect(to.record, Seen(from.record), op);
                ASSERT_EQ(call.run(&to, &from, op), 1);
                ASSERT_EQ(Seen(to.record), want) << f.bits << " " << std::hex << op << " " << shift;
            }
    }
}

TEST(Combine, EveryHoldingWithItselfAndWithAnother) {
    for (const int32_t bits : kDepths)
        for (const Holding holding : holdingsOf(bits)) {
            Bitmap one(bits, 45, 9, holding), other(bits, 45, 9);
            ASSERT_EQ(one.nStatus, 1);
            fillRandom(one.record, 1);
            for (const uint32_t flags : kSome)
                for (const POINT off : {POINT{-5, -2}, POINT{2, 0}, POINT{-3, 0}, POINT{0, 3}})
                    for (BITMAPRECORD* from : {&one.record, &other.record}) {
                        const Call call{6, 3, 30, 5, 6 + off.x, 3 + off.y};
                        fillRandom(other.record, flags + unsigned(off.x));
                        const Seen want = call.expect(one.record, Seen(*from), flags);
                        ASSERT_EQ(call.run(&one, from, flags), 1);
                        ASSERT_EQ(Seen(one.record), want)
                            << bits << nameOf(holding) << flags << " " << off.x << " " << off.y;
                    }
        }
}

TEST(Combine, SegmentsOfARowAreReadBeforeTheyAreWritten) {
    for (const int32_t bits : kDepths)
        for (const int32_t off : {-13, -6, 6, 13})
            for (const uint32_t flags : kSome) {
                Bitmap bm(bits, 45, 9);
                fillRandom(bm.record, 1);
                const Call call{off < 0 ? -off : 0, 0, 45 - std::abs(off), 9, off < 0 ? 0 : off, 0};
                const FakeRegion region;
                const Seen want = call.expect(bm.record, Seen(bm.record), flags, true);
                ASSERT_EQ(call.run(&bm, &bm, flags), 1);
                ASSERT_EQ(Seen(bm.record), want) << bits << " " << off << " " << flags;
            }
}

TEST(Combine, ViewsAreOfWhatIsSeen) {
    for (int32_t to = TOP_LEFT; to <= LEFT_BOTTOM; ++to)
        for (int32_t from = TOP_LEFT; from <= LEFT_BOTTOM; ++from) {
            Bitmap a(24, 23, 17), b(24, 19, 31);
            a->ViewPerspective = to;
            b->ViewPerspective = from;
            fillRandom(a.record, 1);
            const Bytes source = fillRandom(b.record, 2);
            const Call call{3, -2, 40, 12, 5, 1};
            for (const uint32_t flags : {uint32_t(COMBINE_ADD), uint32_t(COMBINE_SRC_ONE | COMBINE_OR)}) {
                const Seen want = call.expect(a.record, Seen(b.record), flags);
                ASSERT_EQ(call.run(&a, &b, flags), 1) << to << from;
                ASSERT_EQ(Seen(a.record), want) << to << " from " << from;
                ASSERT_TRUE(b->ViewPerspective == from && contents(b.record) == source);
            }
        }
}

std::vector<int32_t> g_heard;
int32_t listen(int32_t percent, void* stop) {
    g_heard.push_back(percent);
    return stop && percent >= 40 ? -100 : 1;
}

TEST(Combine, StatusesProgressAndFaults) {
    Bitmap a(8, 40, 10), b(8, 40, 10), c(4, 40, 10);
    const Call call{0, 0, 40, 10, 0, 0};
    BITMAPRECORD bare{}, bad{};
    bare.uStructSize = sizeof bare;
    EXPECT_EQ(call.run(nullptr, &bad, 0x4000), -13);
    EXPECT_EQ(call.run(&a, nullptr, 0), -13);
    EXPECT_EQ(call.run(&bare, &bad, 0), -789);
    EXPECT_EQ(call.run(&a, &bare, 0), -2);
    EXPECT_EQ(call.run(&a, &c, 0), -27);
    // As far as 32 bits go, there is nothing to write and nothing breaks.
    const Bytes before = fillRandom(a.record, 1);
    for (const int32_t far : {INT32_MIN, INT32_MAX})
        for (const int32_t size : {INT32_MIN, -1, 0, INT32_MAX}) {
            EXPECT_EQ((Call{far, 0, size, size, 0, far}.run(&a, &b, 0x3000)), 1);
            EXPECT_EQ((Call{0, far, size, size, far, 0}.run(&a, &b, 0x3000)), 1);
        }
    EXPECT_EQ(contents(a.record), before);

    STATUSCALLBACK old;
    void* oldUser;
    R_SetStatusCallBack(listen, nullptr, &old, &oldUser);
    for (const uint32_t idle : {0x0003u, 0x0102u, 0x0302u, 0x0703u, 0x0A03u, 0x1112u, 0x1713u}) {
        g_heard.clear();
        EXPECT_EQ(call.run(&a, &b, idle), 1) << std::hex << idle;
        EXPECT_EQ(g_heard, (std::vector<int32_t>{0, 100})) << std::hex << idle;
    }
    EXPECT_EQ(contents(a.record), before);
    g_heard.clear();
    EXPECT_EQ(call.run(&a, &b, COMBINE_COPY), 1);
    EXPECT_EQ(g_heard, (std::vector<int32_t>{0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100}));
    R_SetStatusCallBack(listen, &a, nullptr, nullptr);
    EXPECT_EQ(call.run(&a, &b, COMBINE_RESULT_ONE), -100);
    R_SetStatusCallBack(old, oldUser, nullptr, nullptr);
    const Bytes rows = contents(a.record);
    EXPECT_EQ(std::count(rows.begin(), rows.end(), 0xFF) / 40, 4) << "the rows done so far";

    Bitmap disk(5, 90, 12, Holding::disk);
    Bitmap from(5, 90, 12);
    const Bytes stored = fillRandom(disk.record, 4);
    for (int n = 0;; ++n) {
        const long blocks = faults::liveBlocks();
        faults::FailFromNthAllocation fail(n);
        const int32_t status = Call{1, 0, 80, 12, 0, 0}.run(&disk, &from, COMBINE_MEAN);
        fail.stop();
        ASSERT_EQ(faults::liveBlocks(), blocks) << n;
        if (!fail.fired()) {
            EXPECT_EQ(status, 1);
            break;
        }
        ASSERT_EQ(status, -1) << n;
        ASSERT_EQ(contents(disk.record), stored) << n;
    }
}

}  // namespace
