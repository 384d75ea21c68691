#include "ravokit/extradata.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "ravokit/memory.h"
#include "support/bitmaps.h"

namespace {

using test::Bytes;
using Entries = std::vector<std::pair<uint32_t, Bytes>>;  // tag and data, in order

// A record without pixels, in a block that frees what hangs from it.
struct Record : BITMAPRECORD {
    explicit Record(int32_t nBits = 16, int32_t nOrder = ORDER_GRAY) : BITMAPRECORD{} {
        uStructSize = sizeof(BITMAPRECORD);
        BitsPerPixel = nBits;
        Order = nOrder;
    }
    Record(const Record&) = delete;
    ~Record() {
        R_FreeBitmapExtraData(this);
        R_FreeGrayParams(this);
    }
};

Bytes block(const BITMAPRECORD& bm) {
    const auto* p = static_cast<const uint8_t*>(bm.pExtraData);
    return p ? Bytes(p, p + bm.ExtraDataSize) : Bytes();
}

// The layout written down from its description.
Bytes laidOut(const Entries& entries) {
    Bytes out{'R', 'A', 'V', 'O'};
    const auto word = [&](size_t v) {
        for (int i = 0; i < 4; ++i) out.push_back(uint8_t(v >> (8 * i)));
    };
    word(entries.size());
    for (const auto& [uTag, data] : entries) {
        word(data.size());
        word(uTag);
        out.insert(out.end(), data.begin(), data.end());
    }
    return out;
}

TEST(ExtraData, EntriesKeepTheirLayout) {
    Record bm;
    Entries want;
    std::mt19937 engine(11);
    const auto random = [&] { return uint32_t(engine()); };
    for (uint32_t k = 0; k < 600; ++k) {
        const uint32_t uTag = random() % 6, nSize = random() % 4 ? random() % 40 : 0;
        const Bytes data = test::randomBytes(nSize, k);
        ASSERT_EQ(R_SetBitmapExtraData(&bm, uTag, nSize, nSize ? data.data() : nullptr), 1);
        auto it = want.begin();
        while (it != want.end() && it->first != uTag) ++it;
        if (nSize == 0 && it != want.end())
            want.erase(it);
        else if (nSize && it != want.end())
            it->second = data;
        else if (nSize)
            want.emplace_back(uTag, data);
        ASSERT_EQ(block(bm), bm.pExtraData ? laidOut(want) : Bytes()) << k;
        ASSERT_TRUE(bm.pExtraData || want.empty());

        // Only the first entry is ever found.
        for (uint32_t t = 0; t < 6; ++t) {
            Bytes got(64, 0xA5);
            uint32_t n = 64;
            const bool bFirst = !want.empty() && want[0].first == t;
            ASSERT_EQ(R_GetBitmapExtraData(&bm, t, &n, got.data()), bFirst ? 1 : -404);
            if (bFirst) {
                ASSERT_EQ(Bytes(got.begin(), got.begin() + int32_t(n)), want[0].second);
            }
            ASSERT_EQ(got[n < 64 ? n : 63], 0xA5);
        }
    }
}

TEST(ExtraData, StatusesAndRoom) {
    Record bm, other;
    const uint8_t data[4] = {1, 2, 3, 4};
    uint8_t out[4] = {9, 9, 9, 9};
    uint32_t n = 3;
    EXPECT_EQ(R_SetBitmapExtraData(&bm, 7, 4, nullptr), -814);
    EXPECT_EQ(R_SetBitmapExtraData(&bm, 7, 0, nullptr), 1);
    EXPECT_EQ(bm.pExtraData, nullptr);
    ASSERT_EQ(R_SetBitmapExtraData(&bm, 7, 4, data), 1);
    EXPECT_EQ(R_GetBitmapExtraData(&bm, 7, nullptr, out), -814);
    EXPECT_EQ(R_GetBitmapExtraData(&bm, 7, &n, out), -290);
    EXPECT_EQ(n, 4u);
    EXPECT_EQ(out[0], 9);
    n = 0;
    EXPECT_EQ(R_GetBitmapExtraData(&bm, 7, &n, nullptr), 1);
    EXPECT_EQ(n, 4u);
    EXPECT_EQ(R_SetBitmapExtraData(&bm, 8, UINT32_MAX, data), -1);  // no block is that large
    EXPECT_EQ(R_GetBitmapExtraData(&bm, 7, &n, out), 1);
    EXPECT_EQ(out[3], 4);

    EXPECT_EQ(R_CopyBitmapExtraData(&other, &bm, 1), -13);
    EXPECT_EQ(R_CopyBitmapExtraData(&bm, &bm, 0), -13);
    EXPECT_EQ(R_CopyBitmapExtraData(&other, &bm, 0), 1);
    EXPECT_NE(other.pExtraData, bm.pExtraData);
    EXPECT_EQ(block(other), block(bm));
    EXPECT_EQ(R_FreeBitmapExtraData(&bm), 1);
    EXPECT_EQ(R_CopyBitmapExtraData(&other, &bm, 0), 1);
    EXPECT_TRUE(!other.pExtraData && !other.ExtraDataSize);

    EXPECT_EQ(R_AllocateBitmapExtraData(nullptr, 0, 4), -2);
    EXPECT_EQ(R_AllocateBitmapExtraData(&bm, 1, 4), -13);
    EXPECT_EQ(R_AllocateBitmapExtraData(&bm, 0, 4), 1);
    EXPECT_EQ(block(bm), Bytes(4, 0));
    EXPECT_EQ(R_GetBitmapExtraData(&bm, 0, &n, out), -404);
    EXPECT_EQ(R_SetBitmapExtraData(&bm, 1, 2, data), 1);  // a raw block is dropped
    EXPECT_EQ(block(bm), laidOut({{1, {1, 2}}}));
    EXPECT_EQ(R_AllocateBitmapExtraData(&bm, 0, 0), 1);
    EXPECT_EQ(bm.pExtraData, nullptr);
    bm.uStructSize = 5;
    EXPECT_EQ(R_SetBitmapExtraData(&bm, 1, 2, data), -789);
    EXPECT_EQ(R_GetBitmapExtraData(&bm, 1, &n, out), -789);
    bm.uStructSize = sizeof bm;
}

// Blocks that a caller spoilt: whatever they say, the calls stay inside, and a stored entry leaves a sound block.
TEST(ExtraData, SpoiltBlocks) {
    std::mt19937 engine(21);
    const auto random = [&] { return uint32_t(engine()); };
    const Bytes data(5, 0x77);
    for (uint32_t k = 0; k < 3000; ++k) {
        Record bm;
        const uint32_t nSize = 1 + random() % 60;
        Bytes raw = laidOut({{1, Bytes(random() % 20)}, {2, Bytes(random() % 20)}, {1, Bytes(3)}});
        raw.resize(nSize);
        if (nSize > 7) raw[4] = uint8_t(random() % 9);
        for (uint32_t i = random() % 3; i > 0; --i) raw[random() % nSize] = uint8_t(random());
        ASSERT_EQ(R_AllocateBitmapExtraData(&bm, 0, nSize), 1);
        std::memcpy(bm.pExtraData, raw.data(), nSize);
        uint32_t n = 64;
        uint8_t out[64];
        const int32_t nStatus = R_GetBitmapExtraData(&bm, 1, &n, out);
        ASSERT_TRUE(nStatus == 1 || nStatus == -404);
        ASSERT_TRUE(nStatus != 1 || n + 16 <= nSize);

        ASSERT_EQ(R_SetBitmapExtraData(&bm, 9, 5, data.data()), 1);
        const Bytes got = block(bm);
        size_t nPlace = 8;
        const uint32_t nEntries = rv::loadLittle<uint32_t>(&got[4]);
        bool bFound = false;
        for (uint32_t i = 0; i < nEntries; ++i) {
            ASSERT_LE(nPlace + 8, got.size());
            bFound |= rv::loadLittle<uint32_t>(&got[nPlace + 4]) == 9;
            nPlace += 8 + rv::loadLittle<uint32_t>(&got[nPlace]);
            ASSERT_LE(nPlace, got.size());
        }
        ASSERT_TRUE(bFound);
    }
}

TEST(GrayParams, SampleRanges) {
    const auto params = [](int32_t nBits, int32_t nMax, int32_t nLow, int32_t nHigh) {
        int32_t nUsed = -99, nShift = -99;
        uint32_t nMask = 0;
        R_GetGrayParams(nBits, nMax, nLow, nHigh, &nUsed, &nMask, &nShift);
        return std::tuple(nUsed, nMask, nShift);
    };
    EXPECT_EQ(params(16, 12, -1, -1), std::tuple(12, 0xFFFu, 4));
    EXPECT_EQ(params(12, 8, 2, 9), std::tuple(8, 0xFFu, 2));
    EXPECT_EQ(params(16, 12, 3, 7), std::tuple(5, 0x1Fu, 3));
    EXPECT_EQ(params(32, 32, -1, -1), std::tuple(32, 0xFFFFFFFFu, 0));
    EXPECT_EQ(std::get<1>(params(16, 16, 9, 3)), 0u);
    int32_t nUsed = 5, nShift = 6;
    R_GetGrayParams(16, 12, -1, -1, &nUsed, nullptr, &nShift);
    EXPECT_TRUE(nUsed == 5 && nShift == 6);

    for (const auto& [nBits, nMax] : {std::pair(12, 4095), std::pair(16, 65535), std::pair(32, -1)}) {
        Record bm(nBits);
        bm.pLUT = static_cast<RGBQUAD*>(R_GlobalAlloc(4, 4, 0, nullptr));
        bm.LUTLength = 4;
        bm.MinVal = bm.LowBit = 3;
        EXPECT_EQ(R_InitGrayParams(&bm), 1);
        EXPECT_TRUE(bm.HighBit == nBits - 1 && bm.PhysicalHighBit == nBits - 1 && bm.LowBit == 0 && bm.MinVal == 0);
        EXPECT_EQ(bm.MaxVal, nMax);
        EXPECT_TRUE(!bm.pLUT && !bm.LUTLength);
    }
}

TEST(GrayParams, TablesAreCopiedOrShared) {
    Record src, dst;
    R_InitGrayParams(&src);
    src.HighBit = 11;
    src.MaxVal = 4000;
    src.Flags = BMF_USE_LUT | BMF_SIGNED;
    src.LUTLength = 3;
    src.pLUT = static_cast<RGBQUAD*>(R_GlobalAlloc(3, 4, 0, nullptr));
    src.pLUT[2] = {1, 2, 255, 4};
    EXPECT_EQ(R_HasLUT(&dst), 0);
    EXPECT_EQ(R_DuplicateLUT(&src.pLUT, &src.LUTLength, &src.pLUT16, &src.LUT16Length, 3), -13);
    EXPECT_EQ(R_DuplicateLUT(&src.pLUT, nullptr, &src.pLUT16, &src.LUT16Length, 1), -814);
    EXPECT_EQ(R_DuplicateLUT(&src.pLUT, &src.LUTLength, &src.pLUT16, &src.LUT16Length, 1), 1);
    ASSERT_EQ(src.LUT16Length, 3u);
    EXPECT_TRUE(src.pLUT16[2].rgbBlue == 0x0101 && src.pLUT16[2].rgbRed == 0xFFFF &&
                src.pLUT16[2].rgbReserved == 0x0404);

    EXPECT_EQ(R_CopyGrayParams(&dst, &src, 1), 1);
    EXPECT_TRUE(dst.HighBit == 11 && dst.MaxVal == 4000 && dst.LUTLength == 3 && dst.LUT16Length == 3);
    EXPECT_EQ(dst.Flags, uint32_t(BMF_USE_LUT));
    EXPECT_NE(dst.pLUT, src.pLUT);
    EXPECT_EQ(std::memcmp(dst.pLUT, src.pLUT, 12), 0);
    EXPECT_EQ(std::memcmp(dst.pLUT16, src.pLUT16, 24), 0);
    // Back from 16 bits: the high bytes, into a table that is large enough to stay.
    dst.pLUT16[2] = {0x1234, 0x00FF, 0x8000, 0};
    const RGBQUAD* pBefore = dst.pLUT;
    EXPECT_EQ(R_DuplicateLUT(&dst.pLUT, &dst.LUTLength, &dst.pLUT16, &dst.LUT16Length, 2), 1);
    EXPECT_EQ(dst.pLUT, pBefore);
    EXPECT_TRUE(dst.pLUT[2].rgbBlue == 0x12 && dst.pLUT[2].rgbGreen == 0 && dst.pLUT[2].rgbRed == 0x80);

    Record shared, empty;
    EXPECT_EQ(R_CopyGrayParams(&shared, &src, 0), 1);
    EXPECT_TRUE(shared.pLUT == src.pLUT && shared.pLUT16 == src.pLUT16);
    EXPECT_EQ(R_GetLUT16(&shared, 0), src.pLUT16);
    shared.Flags = 0;
    EXPECT_EQ(R_GetLUT16(&shared, 0), nullptr);
    EXPECT_EQ(R_GetLUT16(&shared, 1), src.pLUT16);
    EXPECT_EQ(R_CopyGrayParams(&shared, &empty, 1), 1);  // clears the pointers; the tables are the source's
    EXPECT_TRUE(!shared.pLUT && !shared.pLUT16 && !shared.LUTLength);
    EXPECT_EQ(R_CopyGrayParams(&shared, nullptr, 1), -13);

    // The older form has no room for the 16-bit table.
    Record old;
    old.uStructSize = BITMAPRECORD_OLD_SIZE;
    EXPECT_EQ(R_CopyGrayParams(&old, &src, 1), 1);
    EXPECT_TRUE(old.pLUT && !old.pLUT16);
    EXPECT_EQ(R_FreeGrayParams(&old), 1);
    EXPECT_EQ(old.pLUT, nullptr);
}

TEST(GrayParams, TableLengths) {
    RGBQUAD lut[1];
    RGBQUAD64 lut16[1];
    BITMAPRECORD bm{};
    bm.uStructSize = sizeof bm;
    bm.BitsPerPixel = 12;
    bm.Order = ORDER_GRAY;
    bm.HighBit = 9;
    bm.PhysicalLowBit = 4;
    bm.PhysicalHighBit = 11;
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 1);
    bm.pLUT = lut;
    bm.LUTLength = 1024;
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 1);
    bm.Flags = BMF_USE_LUT;
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 0);
    bm.LUTLength = 256;
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 1);
    bm.pLUT16 = lut16;
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 0);
    bm.LUT16Length = 256;
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 1);
    bm.pLUT = nullptr;
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 0);
    EXPECT_EQ(R_HasLUT(&bm), 1);
    bm.uStructSize = BITMAPRECORD_OLD_SIZE;  // and then there is no 16-bit table
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 1);
    EXPECT_EQ(R_HasLUT(&bm), 0);
    bm.pLUT = lut;
    bm.PhysicalHighBit = -1;
    bm.PhysicalLowBit = 0;
    bm.LUTLength = 4096;
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 1);
    bm.BitsPerPixel = 32;  // no table has 2^32 entries
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 0);
    bm.Order = ORDER_BGR;
    EXPECT_EQ(R_IsBitmapLUTLengthValid(&bm), 1);
}

TEST(PlaybackFields, AreCopied) {
    BITMAPRECORD src{}, dst{};
    src.Left = -3, src.Top = 4, src.Delay = 5, src.Background = 6, src.Transparency = 7, src.DisposalMethod = 8;
    src.Flags = BMF_TRANSPARENCY | BMF_DISK;
    dst.Flags = BMF_WAIT_USER_INPUT | BMF_SIGNED;
    EXPECT_EQ(R_CopyPlaybackParms(&dst, &src), 1);
    EXPECT_EQ(dst.Flags, uint32_t(BMF_TRANSPARENCY | BMF_SIGNED));
    EXPECT_TRUE(dst.Left == -3 && dst.Top == 4 && dst.Delay == 5 && dst.Background == 6 && dst.Transparency == 7 &&
                dst.DisposalMethod == 8);
    EXPECT_EQ(R_CopyPlaybackParms(nullptr, &src), -13);
    EXPECT_EQ(R_CopyPlaybackParms(&dst, nullptr), -13);
}

}  // namespace
