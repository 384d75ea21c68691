// All storage classes hold the same pixels: a random walk of reads, writes and changes of class, mirrored on a plain
// array of rows.
#include <gtest/gtest.h>

#include "internal/rowaccess.h"
#include "support/bitmaps.h"
#include "support/directory.h"

using namespace test;

namespace {

class Walk {
    const int32_t m_nBits, m_nWidth, m_nLocks;
    std::mt19937 m_random;
    KeepThresholds m_keep;
    BITMAPRECORD m_bm{};
    Bytes m_model;  // rows of BytesPerLine
    std::string m_path;

    uint32_t below(uint32_t n) { return uint32_t(m_random() % n); }
    int32_t anyRow() { return int32_t(below(uint32_t(m_bm.Height))); }
    uint8_t* modelRow(int32_t y) { return &m_model[size_t(y) * m_bm.BytesPerLine]; }
    void copyPixel(uint8_t* to, size_t x, const uint8_t* from, size_t fromX) const {
        rv::visitDepth(m_nBits, [=](auto bits) { rv::Pixel<bits>::put(to, x, rv::Pixel<bits>::get(from, fromX)); });
    }
    void lock() {
        for (int32_t i = 0; i < m_nLocks; ++i) ASSERT_EQ(R_AccessBitmap(&m_bm), 1);
    }
    void step(const std::string& text) { m_path += " " + text; }

    // A stretch of bytes that starts in a column of a row and may run on into the rows that follow.
    struct Stretch {
        int32_t row, col;
        size_t at;
        uint32_t n;
    };
    Stretch anyStretch() {
        const bool wide = (m_bm.Flags & BMF_SUPERCOMPRESSED) && m_nBits == 8;  // strips count three bytes a column
        const auto row = anyRow();
        const auto col = below(3) ? int32_t(below(uint32_t(wide ? m_bm.Width / 3 : m_bm.Width))) : 0;
        const size_t at =
            size_t(row) * m_bm.BytesPerLine + (wide ? size_t(col) * 3 : size_t(col) * unsigned(m_nBits) / 8);
        return {row, col, at, below(uint32_t(std::min<size_t>(m_model.size() - at, 3 * m_bm.BytesPerLine))) + 1};
    }

    void put() {
        const Stretch s = anyStretch();
        step("put " + std::to_string(s.row) + "," + std::to_string(s.col) + "," + std::to_string(s.n));
        const Bytes data = randomBytes(s.n, uint32_t(m_random()));
        const int32_t n = s.col || below(2) ? R_PutBitmapRowCol(&m_bm, data.data(), s.row, s.col, s.n)
                                            : R_PutBitmapRow(&m_bm, data.data(), s.row, s.n);
        ASSERT_EQ(n, int32_t(s.n));
        std::memcpy(&m_model[s.at], data.data(), s.n);
    }
    void get() {
        const Stretch s = anyStretch();
        step("get " + std::to_string(s.row) + "," + std::to_string(s.col) + "," + std::to_string(s.n));
        Bytes got(s.n + 1, 0xA5);
        const int32_t n = s.col || below(2) ? R_GetBitmapRowCol(&m_bm, got.data(), s.row, s.col, s.n)
                                            : R_GetBitmapRow(&m_bm, got.data(), s.row, s.n);
        ASSERT_EQ(n, int32_t(s.n));
        ASSERT_EQ(got[s.n], 0xA5) << "written past the request";
        Bytes seen = m_model;
        std::memcpy(&seen[s.at], got.data(), s.n);
        expectModel(std::move(seen));
    }
    void putColumn() {
        const auto col = int32_t(below(uint32_t(m_bm.Width)));
        const bool reverse = below(2);
        step("column " + std::to_string(col));
        const Bytes data = randomBytes(size_t(m_bm.Height) * 8, uint32_t(m_random()));
        ASSERT_EQ(rv::R_PutBitmapCol(&m_bm, data.data(), col, m_bm.Height, reverse), 1);
        for (int32_t y = 0; y < m_bm.Height; ++y)
            copyPixel(modelRow(reverse ? m_bm.Height - 1 - y : y), size_t(col), data.data(), size_t(y));
    }
    void putSegments() {
        const auto row = anyRow();
        const auto col = below(uint32_t(m_bm.Width));
        const bool keepAlpha = below(2);
        step("segments " + std::to_string(row) + "," + std::to_string(col) + (keepAlpha ? " keeping alpha" : ""));
        std::vector<uint32_t> words;
        for (uint32_t x = col + below(9); x < uint32_t(m_bm.Width); x = words.back() + col + 1 + below(9)) {
            words.push_back(x - col);
            words.push_back(std::min(x + 1 + below(30), uint32_t(m_bm.Width)) - col);
        }
        if (words.empty()) return;
        const Bytes data = randomBytes(m_bm.BytesPerLine, uint32_t(m_random()));
        ASSERT_EQ(R_PutBitmapRowSegments(&m_bm, data.data(), row, int32_t(col), words.data(), uint32_t(words.size()),
                                         keepAlpha),
                  1);
        for (size_t i = 0; i < words.size(); i += 2)
            for (size_t x = col + words[i]; x < col + words[i + 1]; ++x) {
                uint8_t* p = modelRow(row) + x * unsigned(m_nBits) / 8;
                const uint8_t* from = &data[x * unsigned(m_nBits) / 8];
                if (keepAlpha && (m_nBits == 32 || m_nBits == 64)) {
                    std::memcpy(p, from, unsigned(m_nBits) / 32 * 3);
                } else if (keepAlpha && m_nBits == 16 && m_bm.Order != ORDER_GRAY) {
                    p[0] = from[0];
                    p[1] = uint8_t((p[1] & 0x80) | (from[1] & 0x7F));
                } else {
                    copyPixel(modelRow(row), x, data.data(), x);
                }
            }
    }
    void changeHeight() {
        const auto height = int32_t(1 + below(100));
        step("height " + std::to_string(height));
        ASSERT_EQ(R_ChangeBitmapHeight(&m_bm, height), 1);
        ASSERT_EQ(m_bm.Height, height);
        m_model.resize(size_t(height) * m_bm.BytesPerLine);  // rows that are added are cleared
    }
    void changeClass() {
        constexpr uint32_t kMemory[] = {BMMEM_CONVENTIONAL, BMMEM_TILED, BMMEM_DISK, BMMEM_COMPRESSED,
                                        BMMEM_SUPERCOMPRESSED};
        const uint32_t memory = kMemory[below(5)], flags = 1 | (below(64) & (2 | 8 | 16 | 32));
        const bool allowed = memory == BMMEM_COMPRESSED        ? allows(Holding::compressed, m_nBits)
                             : memory == BMMEM_SUPERCOMPRESSED ? allows(Holding::super, m_nBits)
                                                               : true;
        step("class " + std::to_string(memory));
        const uint32_t tile = m_bm.BytesPerLine * (1 + below(9));
        const int32_t status = R_SetBitmapMemoryInfo(&m_bm, memory, tile, 0, below(4), below(4), below(4), flags);
        ASSERT_EQ(status == 1, allowed) << status;
        uint32_t now = 0;
        ASSERT_EQ(R_GetBitmapMemoryInfo(&m_bm, &now, nullptr, nullptr, nullptr, nullptr, nullptr), 1);
        if (allowed && memory != BMMEM_TILED) {
            EXPECT_EQ(now, memory);
        }
    }
    void changeTiles() {
        step("tiles");
        const uint32_t tile = m_bm.BytesPerLine * (1 + below(9));
        ASSERT_EQ(R_SetBitmapMemoryInfo(&m_bm, 0, tile, 0, below(9), below(5), below(5), below(64) & (2 | 8 | 16 | 32)),
                  1);
    }
    void changeCompression() {
        const auto wanted = int32_t(below(3));
        const bool allowed = wanted == 0 || allows(wanted == 1 ? Holding::compressed : Holding::super, m_nBits);
        step("compression " + std::to_string(wanted));
        const int32_t status = R_ChangeBitmapCompression(&m_bm, wanted);
        ASSERT_EQ(status == 1, allowed) << status;
        if (allowed) {
            EXPECT_EQ(m_bm.Flags & (BMF_COMPRESSED | BMF_SUPERCOMPRESSED),
                      wanted == 0 ? 0u : uint32_t(wanted == 1 ? BMF_COMPRESSED : BMF_SUPERCOMPRESSED));
        }
        if (m_bm.Flags & BMF_COMPRESSED) {
            EXPECT_EQ(R_TrimBitmapHeap(&m_bm, 0) & ~1, 0);
        }
    }
    void cut() {
        const auto left = int32_t(below(12)) - 4, top = int32_t(below(12)) - 4;
        const int32_t width = m_nWidth / 2 + int32_t(below(uint32_t(m_nWidth))), height = int32_t(1 + below(100));
        step("cut " + std::to_string(left) + "," + std::to_string(top) + "," + std::to_string(width) + "x" +
             std::to_string(height));
        const int32_t oldWidth = m_bm.Width, oldHeight = m_bm.Height;
        const size_t oldLine = m_bm.BytesPerLine;
        ASSERT_EQ(R_CopyBitmapRect(&m_bm, &m_bm, sizeof m_bm, left, top, width, height), 1);
        const Bytes old = std::exchange(m_model, Bytes(size_t(height) * m_bm.BytesPerLine));
        for (int32_t y = std::max(0, -top); y < std::min(height, oldHeight - top); ++y)
            for (int32_t x = std::max(0, -left); x < std::min(width, oldWidth - left); ++x)
                copyPixel(modelRow(y), size_t(x), &old[size_t(y + top) * oldLine], size_t(x + left));
    }
    void copy() {
        step("copy");
        BITMAPRECORD fresh{};
        ASSERT_EQ(R_CopyBitmap(&fresh, &m_bm, sizeof fresh), 1);
        R_FreeBitmap(&m_bm);
        m_bm = fresh;
        lock();
    }

    void expectModel(Bytes seen) {
        Bytes want = m_model;
        clearPadding(want, m_bm);
        clearPadding(seen, m_bm);
        if (seen == want) return;
        const auto at = size_t(std::mismatch(seen.begin(), seen.end(), want.begin()).first - seen.begin());
        FAIL() << "row " << at / m_bm.BytesPerLine << " byte " << at % m_bm.BytesPerLine << " is " << int(seen[at])
               << " and not " << int(want[at]);
    }

public:
    // Wide rows make tiles of several pages.
    Walk(int32_t nBits, int32_t nOrder, uint32_t uSeed)
        : m_nBits(nBits), m_nWidth(uSeed % 4 ? 61 : 1300), m_nLocks(1 + int32_t(uSeed % 2)), m_random(uSeed) {
        EXPECT_EQ(R_CreateBitmap(&m_bm, sizeof m_bm, BMMEM_CONVENTIONAL, m_nWidth, 70, nBits, nOrder, nullptr, TOP_LEFT,
                                 nullptr, 0),
                  1);
        m_model.resize(size_t(m_bm.BytesPerLine) * 70);
        R_SetMemoryThresholds(0, 0, int32_t(m_bm.BytesPerLine) * 7, 0, 0, 4);
        lock();
    }
    ~Walk() { R_FreeBitmap(&m_bm); }
    const std::string& path() const { return m_path; }

    void go(int nSteps) {
        // Reads and writes are the most frequent; each change leaves something to them.
        constexpr void (Walk::*kSteps[])() = {
            &Walk::put,         &Walk::put,          &Walk::put,         &Walk::get,
            &Walk::get,         &Walk::get,          &Walk::putColumn,   &Walk::putSegments,
            &Walk::putSegments, &Walk::changeHeight, &Walk::copy,        &Walk::cut,
            &Walk::changeClass, &Walk::changeClass,  &Walk::changeTiles, &Walk::changeCompression};
        for (int i = 0; i < nSteps; ++i) {
            ASSERT_NO_FATAL_FAILURE((this->*kSteps[below(std::size(kSteps))])());
            ASSERT_NO_FATAL_FAILURE(expectModel(contents(m_bm)));
            ASSERT_EQ(m_bm.nLockCount, m_nLocks);
        }
    }
};

class StorageClasses : public testing::TestWithParam<int32_t> {};

TEST_P(StorageClasses, HoldTheSamePixelsOnARandomWalk) {
    const TemporaryDirectory directory;
    const int32_t bits = GetParam();
    for (uint32_t seed = 0; seed < 8; ++seed) {
        const int32_t order = bits == 16 && seed % 2 ? int32_t(ORDER_GRAY) : defaultOrder(bits);  // grey has no alpha
        Walk walk(bits, order, seed);
        walk.go(250);
        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed << walk.path();
    }
}
INSTANTIATE_TEST_SUITE_P(Depths, StorageClasses, testing::ValuesIn(kDepths),
                         [](const auto& p) { return std::to_string(p.param); });

}  // namespace
