// Super-compressed bitmaps: strips against flat rows, saves that fail, heights, and the codec modules by themselves.
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>
#include <vector>

#include "support/bitmaps.h"
#include "support/modules.h"

namespace {

using namespace test;

uint32_t memoryOf(const BITMAPRECORD& bm) {
    uint32_t memory = 0;
    R_GetBitmapMemoryInfo(&bm, &memory, nullptr, nullptr, nullptr, nullptr, nullptr);
    return memory;
}

// A locked super-compressed bitmap and the bytes that its rows ought to have.
struct Strips {
    BITMAPRECORD bm{};
    Bytes model;
    int32_t status;

    Strips(int32_t bits, int32_t width, int32_t height) {
        status = R_CreateBitmap(&bm, sizeof bm, BMMEM_SUPERCOMPRESSED, width, height, bits, defaultOrder(bits), nullptr,
                                TOP_LEFT, nullptr, 0);
        if (status != 1) return;
        R_AccessBitmap(&bm);
        model.resize(size_t(bm.BytesPerLine) * unsigned(height));
    }
    ~Strips() {
        if (status != 1) return;
        R_ReleaseBitmap(&bm);
        R_FreeBitmap(&bm);
    }
    size_t at(int32_t row) const { return size_t(row) * bm.BytesPerLine; }
    int32_t put(int32_t row, const Bytes& data) {
        std::copy(data.begin(), data.end(), model.begin() + ptrdiff_t(at(row)));
        return R_PutBitmapRow(&bm, data.data(), row, uint32_t(data.size()));
    }
    // Rows of which half are noise, the others of few values.
    Bytes someRow(uint32_t seed) const {
        Bytes row = randomBytes(bm.BytesPerLine, seed);
        if (seed % 2) std::fill(row.begin() + ptrdiff_t(row.size() / 3), row.end(), row[0]);
        return row;
    }
    void fill(uint32_t seed) {
        for (int32_t y = 0; y < bm.Height; ++y)
            ASSERT_EQ(put(y, someRow(seed + uint32_t(y))), int32_t(bm.BytesPerLine)) << y;
    }
    void expectModel() { ASSERT_EQ(contents(bm), model); }
    // What the record tells is what the strips hold.
    void expectSize() {
        const uint64_t size = bm.Size64;
        EXPECT_EQ(R_UpdateBitmapSize(&bm, 0), 1);
        EXPECT_EQ(bm.Size64, size);
    }
};

constexpr int32_t kStripDepths[] = {1, 8, 24};

// With the codecs of this build, and with the tests' own, which are there in every build.
class StripsOf : public testing::TestWithParam<std::tuple<int32_t, bool>> {
protected:
    const int32_t bits = std::get<0>(GetParam());
    std::optional<FakeCodec> fake;
    void SetUp() override {
        if (std::get<1>(GetParam()))
            fake.emplace(bits);
        else if (!hasCodec(bits))
            GTEST_SKIP() << "this build has no codec of that depth";
    }
};
INSTANTIATE_TEST_SUITE_P(Depths, StripsOf, testing::Combine(testing::ValuesIn(kStripDepths), testing::Bool()),
                         [](const auto& p) {
                             return std::to_string(std::get<0>(p.param)) + (std::get<1>(p.param) ? "Fake" : "Real");
                         });

TEST_P(StripsOf, HoldWholeRowsOfEveryWidthAndHeight) {
    for (const int32_t height : {1, 31, 32, 33, 65})
        for (int32_t width = 1; width <= 70; width += width < 9 ? 1 : 13) {
            SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
            Strips strips(bits, width, height);
            ASSERT_EQ(strips.status, 1);
            EXPECT_EQ(strips.bm.Size64, 0u);
            strips.expectModel();  // clear at first
            strips.fill(uint32_t(width));
            strips.expectModel();
            // Noise that doesn't become shorter still fits, but for bits behind the last pixel of narrow pages.
            if (bits != 1 || width > 8) {
                EXPECT_EQ(memoryOf(strips.bm), uint32_t(BMMEM_SUPERCOMPRESSED));
                strips.expectSize();
            }
        }
}

TEST_P(StripsOf, GiveTheBytesOfFlatRowsOnRandomReadsAndWrites) {
    Strips strips(bits, 61, 107);
    ASSERT_EQ(strips.status, 1);
    std::mt19937 random(5);
    const uint32_t line = strips.bm.BytesPerLine;
    for (int i = 0; i < 600; ++i) {
        const auto row = int32_t(random() % 107), col = int32_t(random() % 19);
        const size_t at = strips.at(row) + size_t(bits == 1 ? col / 8 : col * 3);  // three bytes, at 8 bits, too
        const auto n = uint32_t(random() % (i % 20 ? 2 * line : 70 * line)) + 1;
        const auto inside = uint32_t(std::min<size_t>(n, strips.model.size() - at));
        Bytes data = randomBytes(n, uint32_t(i));
        if (random() % 2) {
            ASSERT_EQ(R_PutBitmapRowCol(&strips.bm, data.data(), row, col, n), int32_t(inside));
            std::copy_n(data.begin(), inside, strips.model.begin() + ptrdiff_t(at));
        } else {
            const Bytes before = data;
            ASSERT_EQ(R_GetBitmapRowCol(&strips.bm, data.data(), row, col, n), int32_t(inside));
            ASSERT_TRUE(std::equal(data.begin(), data.begin() + inside, strips.model.begin() + ptrdiff_t(at))) << i;
            ASSERT_TRUE(std::equal(data.begin() + inside, data.end(), before.begin() + inside)) << "past the end";
        }
    }
    strips.expectModel();
    EXPECT_EQ(memoryOf(strips.bm), uint32_t(BMMEM_SUPERCOMPRESSED));
    uint8_t b = 0;
    for (const int32_t row : {-1, 107, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(R_GetBitmapRow(&strips.bm, &b, row, 1), 0);
        EXPECT_EQ(R_PutBitmapRow(&strips.bm, &b, row, 1), 0);
    }
}

TEST_P(StripsOf, FollowChangesOfHeight) {
    Strips strips(bits, 43, 70);
    ASSERT_EQ(strips.status, 1);
    strips.fill(1);
    std::mt19937 random(9);
    for (int i = 0; i < 60; ++i) {
        const auto height = int32_t(random() % 140) + 1;
        SCOPED_TRACE("step " + std::to_string(i) + " to " + std::to_string(height));
        ASSERT_EQ(R_ChangeBitmapHeight(&strips.bm, height), 1);
        strips.model.resize(strips.at(height));
        if (random() % 2) strips.put(int32_t(random() % unsigned(height)), strips.someRow(uint32_t(i)));
        strips.expectSize();
        if (random() % 3) {
            ASSERT_NO_FATAL_FAILURE(strips.expectModel());
        }
    }
    strips.expectModel();
}

class FakeStripsOf : public testing::TestWithParam<int32_t> {
protected:
    const int32_t bits = GetParam();
    FakeCodec fake{bits};
};
INSTANTIATE_TEST_SUITE_P(Depths, FakeStripsOf, testing::ValuesIn(kStripDepths),
                         [](const auto& p) { return std::to_string(p.param); });

TEST_P(FakeStripsOf, SaveOnceAndOnlyWhatWasWritten) {
    Strips strips(bits, 50, 100);
    strips.fill(2);
    fake.set(FakeCodec::well);
    EXPECT_EQ(fake.saves, 3) << "the fourth strip is open";
    EXPECT_EQ(fake.loads, 0) << "a strip that was never saved is clear";
    strips.expectModel();
    strips.expectModel();
    fake.set(FakeCodec::well);
    EXPECT_EQ(fake.saves, 1);
    EXPECT_EQ(fake.loads, 8);
}

TEST_P(FakeStripsOf, LeaveTheClassButNotThePixelsWhenASaveFails) {
    const auto refuseMemory = [](BITMAPALLOCATEINFO* p, void* pUser) -> int32_t {
        return p->uMemoryFlags == BMMEM_CONVENTIONAL || pUser ? -1 : 1;
    };
    for (const auto mode : {FakeCodec::refuseSave, FakeCodec::saveTooMuch, FakeCodec::saveNothing})
        for (const uint32_t target : {uint32_t(BMMEM_CONVENTIONAL), uint32_t(BMMEM_DISK), 0u}) {
            SCOPED_TRACE("mode " + std::to_string(mode) + ", to " + std::to_string(target));
            Strips strips(bits, 50, 100);
            ASSERT_EQ(strips.status, 1);
            strips.fill(3);
            const uint64_t size = strips.bm.Size64;
            fake.set(mode);
            if (target != BMMEM_CONVENTIONAL)
                R_SetAllocateBitmapCallback(refuseMemory, target ? nullptr : &strips, nullptr, nullptr);
            const Bytes before = strips.model, row = strips.someRow(77);
            const int32_t n = strips.put(10, row);  // the open strip is the last, and written to
            R_SetAllocateBitmapCallback(nullptr, nullptr, nullptr, nullptr);
            if (target) {
                EXPECT_EQ(n, int32_t(row.size()));
                EXPECT_EQ(memoryOf(strips.bm), target);
                EXPECT_EQ(strips.bm.nLockCount, 1);
            } else {
                EXPECT_EQ(n, -1) << "there is nowhere to go";
                strips.model = before;
                Bytes got(row.size());
                EXPECT_EQ(R_GetBitmapRow(&strips.bm, got.data(), 0, uint32_t(got.size())), 0) << "reads give up";
                EXPECT_EQ(R_GetBitmapRow(&strips.bm, got.data(), 99, uint32_t(got.size())), int32_t(got.size()));
                EXPECT_EQ(strips.bm.Size64, size);
            }
            fake.set(FakeCodec::well);
            strips.expectModel();
        }
}

TEST_P(FakeStripsOf, LeaveARecordThatCanBeAllocatedAgain) {
    BITMAPDATACALLBACKS callbacks{};
    callbacks.uStructSize = sizeof callbacks;
    for (const bool saved : {false, true}) {
        BITMAPRECORD bm;
        ASSERT_EQ(R_InitBitmapWithCallbacks(&bm, sizeof bm, 50, 100, bits, &callbacks), 1);
        ASSERT_EQ(R_AllocateBitmap(&bm, BMMEM_SUPERCOMPRESSED), 1);
        const Bytes rows = randomBytes(100 * bm.BytesPerLine, 6);
        if (saved) R_PutBitmapRow(&bm, rows.data(), 0, uint32_t(rows.size()));
        R_FreeBitmap(&bm);
        EXPECT_EQ(bm.pCallbacks, nullptr);
        ASSERT_EQ(bm.Size64, rows.size()) << "not that of the strips";
        EXPECT_EQ(R_AllocateBitmap(&bm, BMMEM_CONVENTIONAL), 1);
        R_FreeBitmap(&bm);
    }
}

TEST_P(FakeStripsOf, ReadShortWhatCannotBeOpened) {
    for (const auto mode : {FakeCodec::refuseLoad, FakeCodec::loadOddly}) {
        Strips strips(bits, 50, 100);
        strips.fill(4);
        fake.set(mode);
        const uint32_t line = strips.bm.BytesPerLine;
        Bytes got(10 * line);
        EXPECT_EQ(R_GetBitmapRow(&strips.bm, got.data(), 90, uint32_t(got.size())), 0);
        strips.put(99, strips.someRow(5));  // the open strip was saved: it can't come back, so the bitmap moves
        EXPECT_EQ(memoryOf(strips.bm), uint32_t(BMMEM_CONVENTIONAL));
        fake.set(FakeCodec::well);
        Bytes last(line);
        R_GetBitmapRow(&strips.bm, last.data(), 99, line);
        EXPECT_EQ(last, strips.someRow(5));
    }
}

// Nothing is given up for a lack of memory that passes: the write fails, and all is there when it is over.
TEST_P(FakeStripsOf, KeepWhatMemoryIsTooShortFor) {
    Strips strips(bits, 50, 100);
    strips.fill(4);
    fake.set(FakeCodec::shortForLoad);
    const Bytes row = strips.someRow(5);
    EXPECT_LT(R_PutBitmapRow(&strips.bm, row.data(), 2, strips.bm.BytesPerLine), 0);
    EXPECT_EQ(memoryOf(strips.bm), uint32_t(BMMEM_SUPERCOMPRESSED));
    fake.set(FakeCodec::well);
    strips.expectModel();
}

TEST(StripModules, AreCountedAndMissed) {
    for (const int32_t bits : kStripDepths) {
        const int32_t missing = bits == 1 ? -357 : -356;
        {
            const ModuleFolder folder("none");
            EXPECT_EQ(Strips(bits, 8, 8).status, missing);
        }
        if (bits != 1) {
            const ModuleFolder folder("half");
            EXPECT_EQ(Strips(bits, 8, 8).status, missing);
            EXPECT_FALSE(isResident("half", "Ravokit.Codecs.Photo"));
        }
        const ModuleFolder folder("whole");
        const std::string name = bits == 1 ? "Ravokit.Codecs.Fax" : "Ravokit.Codecs.Photo";
        {
            std::optional<Strips> first(std::in_place, bits, 8, 8);
            Strips second(bits, 8, 40);
            first.reset();
            second.fill(1);
            second.expectModel();
            EXPECT_TRUE(isResident("whole", name));
        }
        EXPECT_FALSE(isResident("whole", name));
    }
}

TEST(StripModules, ThreadsShareOneModule) {
    const ModuleFolder folder("whole");
    std::atomic<int> wrong{0};
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&wrong, t] {
                for (int i = 0; i < 50; ++i) {
                    Strips strips(t % 2 ? 1 : 24, 9, 40);
                    if (strips.status == 1) strips.fill(uint32_t(i));
                    wrong += strips.status != 1 || contents(strips.bm) != strips.model;
                }
            });
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_FALSE(isResident("whole", "Ravokit.Codecs.Photo") || isResident("whole", "Ravokit.Codecs.Fax"));
}

// The codec modules of the build through their entry points.
class CodecOf : public testing::TestWithParam<int32_t> {
protected:
    const int32_t bits = GetParam();
    const uint32_t format = bits == 1 ? CODEC_FORMAT_FAX : CODEC_FORMAT_PHOTO;
    const int32_t quality = bits == 1 ? 0 : CODEC_QUALITY_LOSSLESS;
    R_DllLoader loader;
    FLTSAVEBUFFER save = nullptr;
    FLTLOADBUFFER load = nullptr;
    void SetUp() override {
        if (!hasCodec(bits)) GTEST_SKIP() << "this build has no codec of that depth";
        ASSERT_EQ(loader.LoadLib(RV_LIBID_FILTER, int32_t(format), nullptr), 1);
        ASSERT_EQ(loader.AddFunction(CODEC_SAVE_NAME, ADDFUNCTION_REQUIRED), 1);
        ASSERT_EQ(loader.AddFunction(CODEC_LOAD_NAME, ADDFUNCTION_REQUIRED), 1);
        save = reinterpret_cast<FLTSAVEBUFFER>(loader.GetFunction(CODEC_SAVE_NAME));
        load = reinterpret_cast<FLTLOADBUFFER>(loader.GetFunction(CODEC_LOAD_NAME));
    }
    BITMAPINFOHEADER info(int32_t width, int32_t rows) const {
        return {40, width, -rows, 1, uint16_t(bits), 0, 0, 0, 0, 0, 0};
    }
    static Bytes exact(const Bytes& data, size_t n) { return Bytes(data.begin(), data.begin() + ptrdiff_t(n)); }
    // Pixels that can be compressed: steps in every row, at other places in each.
    Bytes smoothPixels(size_t line, int32_t rows) const {
        Bytes out(line * size_t(rows));
        for (size_t i = 0; i < out.size(); ++i)
            out[i] = uint8_t(bits == 1 ? (i % line > (i / line * 7) % line ? 0xFF : 0) : i % line / 4 + i / line);
        return out;
    }
};
INSTANTIATE_TEST_SUITE_P(Depths, CodecOf, testing::ValuesIn(kStripDepths),
                         [](const auto& p) { return std::to_string(p.param); });

TEST_P(CodecOf, TakesNoMoreRoomThanItIsGivenAndRefusesWhatItCannotDo) {
    const BITMAPINFOHEADER strip = info(100, 32);
    const size_t line = size_t((100 * bits + 31) / 32 * 4);
    for (const bool noise : {false, true}) {
        const Bytes pixels = noise ? randomBytes(line * 32, 3) : smoothPixels(line, 32);
        const auto bytes = uint32_t(pixels.size());
        Bytes data(bytes + 1);
        uint32_t n = 0;
        ASSERT_EQ(save(&strip, pixels.data(), bytes, data.data(), bytes + 1, &n, format, quality), 1);
        EXPECT_TRUE(noise ? n == bytes + 1 : n < bytes / 3) << n;
        for (const uint32_t room : {n + 16, n, n - 1, n / 2, 1u, 0u}) {  // a codec may want some room to turn in
            Bytes small(room + 8, 0xA5);
            uint32_t written = 0;
            const int32_t status = save(&strip, pixels.data(), bytes, small.data(), room, &written, format, quality);
            ASSERT_TRUE(status == (room < n ? -290 : 1) || (room == n && status == -290)) << room << " of " << n;
            ASSERT_LE(written, room);
            ASSERT_EQ(Bytes(small.begin() + room, small.end()), Bytes(8, 0xA5)) << room << " of " << n;
        }
        Bytes back(bytes);
        ASSERT_EQ(load(&strip, exact(data, n).data(), n, back.data(), bytes, format), 1);
        EXPECT_EQ(back, pixels);

        EXPECT_EQ(save(nullptr, pixels.data(), bytes, data.data(), bytes, &n, format, quality), -13);
        EXPECT_EQ(save(&strip, pixels.data(), bytes - 1, data.data(), bytes, &n, format, quality), -13);
        EXPECT_EQ(save(&strip, pixels.data(), bytes, data.data(), bytes, &n, format + 1, quality), -15);
        EXPECT_EQ(save(&strip, pixels.data(), bytes, data.data(), bytes, &n, format, 50), -21);
        BITMAPINFOHEADER odd = strip;
        odd.biBitCount = bits == 1 ? 8 : 1;
        const uint32_t oddBytes = uint32_t((100 * odd.biBitCount + 31) / 32 * 4) * 32;
        const Bytes oddPixels(oddBytes);
        EXPECT_EQ(save(&odd, oddPixels.data(), oddBytes, data.data(), bytes, &n, format, quality), -27);
        EXPECT_EQ(load(&odd, data.data(), n, back.data(), bytes, format), -13) << "other pixels than the buffer has";
    }
}

TEST_P(CodecOf, SurvivesCorruptData) {
    const BITMAPINFOHEADER strip = info(101, 32);
    const size_t line = size_t((101 * bits + 31) / 32 * 4);
    const Bytes pixels = smoothPixels(line, 32);
    const auto bytes = uint32_t(pixels.size());
    Bytes data(bytes + 1);
    uint32_t n = 0;
    ASSERT_EQ(save(&strip, pixels.data(), bytes, data.data(), bytes + 1, &n, format, quality), 1);
    ASSERT_LT(n, bytes);
    std::mt19937 random(11);
    int refused = 0;
    for (int i = 0; i < 600; ++i) {
        Bytes bad = exact(data, i % 3 ? n : random() % n);  // at its own end, so that reading past it is seen
        for (uint32_t k = 0; i % 3 && k <= random() % 4; ++k) bad[random() % bad.size()] = uint8_t(random());
        Bytes back(bytes + 64, 0xA5);
        refused += load(&strip, bad.data(), uint32_t(bad.size()), back.data(), bytes, format) != 1;
        ASSERT_EQ(Bytes(back.begin() + bytes, back.end()), Bytes(64, 0xA5)) << i;
    }
    EXPECT_GE(refused, 595) << "a byte may become what it was";
    // Data of another strip, which is sound but not of this size.
    const BITMAPINFOHEADER shorter = info(101, 16);
    Bytes back(bytes);
    if (bits != 1) {
        EXPECT_EQ(load(&shorter, data.data(), n, back.data(), bytes / 2, format), -1859);
    }
}

}  // namespace
