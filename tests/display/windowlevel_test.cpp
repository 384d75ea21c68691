// Window level: the curves against a literal model of one sample, and what a bitmap's fields become.
#include "ravokit/windowlevel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

// ---- curves ------------------------------------------------------------------------------------------------------

enum class Form { bytes, shifted, words };
struct Call {
    Form form;
    int64_t nLength, nLow, nHigh, nLowBit, nMin, nMax;
    int32_t nFactor;
    uint32_t uFlags;
    uint64_t uStart, uEnd;
    bool isSigned() const { return uFlags & FILLLUT_SIGNED; }
};
void PrintTo(const Call& c, std::ostream* p) {
    *p << int(c.form) << " length " << c.nLength << " window " << c.nLow << ".." << c.nHigh << " bit " << c.nLowBit
       << " range " << c.nMin << ".." << c.nMax << " factor " << c.nFactor << " flags " << c.uFlags;
}

int64_t curveAt(const Call& c, double i, double low, double high, int64_t s, int64_t e) {
    const double n = high - low, x = c.nFactor / 10.0, k = 2 * x;
    const auto g = [&](double v) { return 1 / (std::exp((v - (low + high) / 2) * k / n) + 1); };
    const uint32_t uCurve = c.nFactor ? c.uFlags & 0xF0 : uint32_t(FILLLUT_LINEAR);
    if (n == 0) return s;
    if (uCurve == FILLLUT_LINEAR) return s + (int64_t(i) - int64_t(low)) * (e - s) / int64_t(n);
    double d = 0;
    if (uCurve == FILLLUT_EXP) d = (std::exp((i - low) * x / n) - 1) * double(e - s) / (std::exp(x) - 1);
    if (uCurve == FILLLUT_LOG) d = std::log((i - low) * x / n + 1) * double(e - s) / std::log(x + 1);
    if (uCurve == FILLLUT_SIGMOID) d = (g(i) - g(low)) * double(e - s) / (g(high) - g(low));
    return std::isnan(d) ? s : s + int64_t(std::clamp(std::trunc(d + 0.000005), -1e9, 1e9));
}

// What one sample of one entry becomes; nothing where it stays. nChannel is that of the entry.
std::optional<int64_t> modelled(const Call& c, int64_t i, int nChannel) {
    const bool bWords = c.form == Form::words, bInside = c.uFlags & FILLLUT_INSIDE;
    const bool bExtend = !(c.uFlags & FILLLUT_NO_EXTEND);
    const auto sampleOf = [&](uint64_t u) {  // the colours of bytes have red in the lowest one
        return int64_t(bWords ? u >> 16 * nChannel & 65535 : nChannel == 3 ? 0 : u >> 8 * (2 - nChannel) & 255);
    };
    int64_t s = sampleOf(c.uStart), e = sampleOf(c.uEnd), nFull = bWords ? 65535 : 255;
    const int64_t nFirst = c.isSigned() ? -(c.nLength / 2) : 0,
                  nLast = c.isSigned() ? (c.nLength - 1) / 2 : c.nLength - 1;
    const auto shifted = [&](int64_t n) { return c.form == Form::bytes ? n : n >> std::min<int64_t>(c.nLowBit, 40); };
    const auto cut = [&](int64_t n) { return shifted(std::clamp(std::clamp(n, c.nMin, c.nMax), nFirst, nLast)); };
    const int64_t low = shifted(c.nLow), high = shifted(c.nHigh), L = cut(c.nLow), H = cut(c.nHigh);
    const auto drawn = [&](int64_t at, int64_t from, int64_t to) {
        return std::clamp<int64_t>(curveAt(c, double(at), double(low), double(high), from, to), 0, nFull);
    };
    if (bInside) {
        if (i >= L && i <= H) return drawn(i, s, e);
        if (!bExtend || c.form == Form::shifted || (i > H && high >= nLast)) return {};
        return bWords ? (i < L ? 0 : 65535) : drawn(i < L ? L : H, s, e);
    }
    if (i < L || i > H) return i < L ? s : e;
    if (low >= high - (c.form == Form::shifted ? 0 : 1)) return {};
    if (bExtend && c.form != Form::shifted) s = 0, e = nChannel == 3 && !bWords ? 0 : nFull;
    return drawn(i, s, e);
}

bool isTaken(const Call& c) {
    if (c.form == Form::bytes) return true;
    const int64_t L = std::clamp(c.nLow, c.nMin, c.nMax), H = std::clamp(c.nHigh, c.nMin, c.nMax);
    if (c.isSigned() && (L < -32768 || H > 32767 || (L < 0 && H - L >= c.nLength))) return false;
    return H < c.nLength && (c.isSigned() || H <= 65535);
}

int32_t fill(const Call& c, Bytes& table) {
    const auto low = int32_t(c.nLow), high = int32_t(c.nHigh), min = int32_t(c.nMin), max = int32_t(c.nMax);
    const auto bit = uint32_t(c.nLowBit), length = uint32_t(c.nLength);
    if (c.form == Form::words) {
        const uint32_t start[] = {uint32_t(c.uStart), uint32_t(c.uStart >> 32)};
        const uint32_t end[] = {uint32_t(c.uEnd), uint32_t(c.uEnd >> 32)};
        return R_WindowLevelFillLUTExt2(reinterpret_cast<RGBQUAD64*>(table.data()), length, start, end, low, high, bit,
                                        bit, min, max, c.nFactor, c.uFlags);
    }
    return (c.form == Form::bytes ? R_WindowLevelFillLUT : R_WindowLevelFillLUT2)(
        reinterpret_cast<RGBQUAD*>(table.data()), length, COLORREF(c.uStart), COLORREF(c.uEnd), low, high, bit, bit,
        min, max, c.nFactor, c.uFlags);
}

TEST(FillLut, AgreesWithAModelOfOneSample) {
    std::mt19937 random(62);
    const auto pick = [&](int64_t a, int64_t b) { return std::uniform_int_distribution<int64_t>(a, b)(random); };
    int nTaken[3] = {};
    for (int nRun = 0; nRun < 30000; ++nRun) {
        const int64_t nLength = nRun % 3 ? pick(1, 9) : pick(10, 90), nFar = nRun % 7 ? nLength : INT32_MAX - 1;
        Call c{};
        c.form = Form(nRun % 3), c.nLength = nLength, c.nLow = pick(-nFar, nFar);
        c.nLowBit = nRun % 5 ? 0 : pick(0, 6) * pick(0, 6);
        c.nFactor = int32_t(pick(0, 3) ? pick(-60, 60) : pick(-9000, 9000));
        c.nMin = pick(-nLength, nLength);
        c.nHigh = pick(0, 4) ? pick(c.nLow, nFar) : std::min(c.nLow + pick(0, 2), nFar);
        c.nMax = pick(c.nMin, nLength);
        if (pick(0, 1)) c.nMin = INT32_MIN, c.nMax = INT32_MAX;
        c.uFlags = uint32_t(pick(1, 2) | pick(1, 4) * 16 | pick(0, 1) * 256 | pick(0, 1) * 4096);
        if ((c.uFlags & 0xF0) == FILLLUT_LOG) c.nFactor = std::abs(c.nFactor);
        c.uStart = uint64_t(random()) << 32 | random();
        c.uEnd = uint64_t(random()) << 32 | random();
        const size_t nSample = c.form == Form::words ? 2 : 1;
        Bytes got(size_t(nLength) * 4 * nSample, 0xA5), want = got;
        ASSERT_EQ(fill(c, got), isTaken(c) ? 1 : -13) << testing::PrintToString(c);
        if (isTaken(c)) {
            ++nTaken[int(c.form)];
            for (int64_t at = 0; at < nLength; ++at)
                for (int n = 0; n < 4; ++n) {
                    const int64_t i = c.isSigned() && at > (nLength - 1) / 2 ? at - nLength : at;
                    if (const auto v = modelled(c, i, n))
                        std::memcpy(&want[(size_t(at) * 4 + size_t(n)) * nSample], &*v, nSample);
                }
        }
        ASSERT_EQ(got, want) << testing::PrintToString(c);
    }
    for (const int n : nTaken) EXPECT_GT(n, 2000);
}

TEST(FillLut, WorkedOutByHand) {
    const auto reds = [](uint32_t uFlags, int32_t nLow, int32_t nHigh, int32_t nFactor) {
        RGBQUAD table[8];
        std::fill_n(table, 8, RGBQUAD{9, 9, 9, 9});
        EXPECT_EQ(R_WindowLevelFillLUT(table, 8, 0x14, 0xFF, nLow, nHigh, 0, 2, -100, 100, nFactor, uFlags), 1);
        std::vector<int> out;
        for (const RGBQUAD& q : table) out.push_back(q.rgbRed);
        return out;
    };
    using Reds = std::vector<int>;
    EXPECT_EQ(reds(FILLLUT_INSIDE | FILLLUT_LINEAR, 2, 6, 7), (Reds{20, 20, 20, 78, 137, 196, 255, 255}));
    EXPECT_EQ(reds(FILLLUT_INSIDE | FILLLUT_LOG, 2, 6, 0), (Reds{20, 20, 20, 78, 137, 196, 255, 255}));
    EXPECT_EQ(reds(FILLLUT_INSIDE | FILLLUT_EXP, 2, 4, 10), (Reds{20, 20, 20, 108, 255, 255, 255, 255}));  // x = 1
    EXPECT_EQ(reds(FILLLUT_INSIDE | FILLLUT_LOG, 2, 4, 10), (Reds{20, 20, 20, 157, 255, 255, 255, 255}));
    EXPECT_EQ(reds(FILLLUT_INSIDE | FILLLUT_SIGMOID, 2, 6, 20), (Reds{20, 20, 20, 66, 137, 208, 255, 255}));
    EXPECT_EQ(reds(FILLLUT_OUTSIDE | FILLLUT_LINEAR, 3, 4, 0), (Reds{20, 20, 20, 9, 9, 255, 255, 255}));
    EXPECT_EQ(reds(FILLLUT_OUTSIDE | FILLLUT_LINEAR, 2, 5, 0), (Reds{20, 20, 0, 85, 170, 255, 255, 255}));
    EXPECT_EQ(reds(FILLLUT_INSIDE | FILLLUT_LINEAR | FILLLUT_SIGNED, -1, 4, 0),  // 0 to 3, then -4 to -1
              (Reds{67, 114, 161, 208, 20, 20, 20, 20}));
}

TEST(FillLut, RefusesArguments) {
    RGBQUAD table[4];
    const auto status = [&](RGBQUAD* p, uint32_t n, int32_t nLow, uint32_t uLowBit, int32_t nMin, int32_t nFactor,
                            uint32_t uFlags) {
        return R_WindowLevelFillLUT(p, n, 0, 0xFF, nLow, 3, uLowBit, 8, nMin, 3, nFactor, uFlags);
    };
    constexpr uint32_t kGood = FILLLUT_INSIDE | FILLLUT_LINEAR;
    EXPECT_EQ(status(table, 4, 3, 8, 3, -1, kGood | 0xF0000 | 0x2000), 1);
    EXPECT_EQ(status(nullptr, 4, 0, 0, 0, 0, kGood), -13);
    EXPECT_EQ(status(table, 0, 0, 0, 0, 0, kGood), -13);
    EXPECT_EQ(status(table, 4, 4, 0, 0, 0, kGood), -13);
    EXPECT_EQ(status(table, 4, 0, 9, 0, 0, kGood), -13);
    EXPECT_EQ(status(table, 4, 0, 0, 4, 0, kGood), -13);
    EXPECT_EQ(status(table, 4, 0, 0, 0, -1, FILLLUT_INSIDE | FILLLUT_LOG), -13);
    for (const uint32_t u : {0u, 1u, 16u, 3u | 16u, 1u | 80u, 1u | 24u, 1u | 16u | 512u, 1u | 16u | 1024u})
        EXPECT_EQ(status(table, 4, 0, 0, 0, 0, u), -13) << u;
}

// ---- bitmaps -----------------------------------------------------------------------------------------------------

struct Grays : Bitmap {
    explicit Grays(int32_t nBits, uint32_t uSize = sizeof(BITMAPRECORD)) {
        nStatus = R_CreateBitmap(&record, uSize, BMMEM_CONVENTIONAL, 3, 2, nBits, nBits > 8 ? ORDER_GRAY : ORDER_RGB,
                                 nullptr, TOP_LEFT, nullptr, 0);
    }
};

template <class Entry>
std::vector<Entry> wedge(size_t n, bool bFallsToo = false) {
    std::vector<Entry> out(n);
    for (size_t i = 0; i < n; ++i) {
        const auto v = decltype(Entry::rgbRed)(i * 7 + 300);
        out[i] = {v, v, v, v};
    }
    if (bFallsToo) out[n / 2].rgbGreen = 0;
    return out;
}

TEST(WindowLevel, FieldsOfDeepGray) {
    Grays bm(16);
    const auto table = wedge<RGBQUAD>(16);
    bm->MinVal = 5;
    ASSERT_EQ(R_WindowLevel(&bm, 4, 7, table.data(), 16, 0), 1);
    EXPECT_TRUE(bm->LowBit == 4 && bm->HighBit == 7 && bm->PhysicalLowBit == 0 && bm->PhysicalHighBit == 15);
    EXPECT_TRUE(bm->MinVal == 5 && !(bm->Flags & (BMF_USE_LUT | BMF_NONLINEAR_LUT)) && R_IsBitmapLUTLengthValid(&bm));
    ASSERT_EQ(R_WindowLevel(&bm, 4, 7, bm->pLUT, 16, 1), 1);  // its own table stays
    EXPECT_TRUE(bm->PhysicalLowBit == 4 && bm->PhysicalHighBit == 7 && bm->MinVal == 0 && bm->MaxVal == 15);
    EXPECT_EQ(std::memcmp(bm->pLUT, table.data(), 64), 0);
    ASSERT_TRUE(R_IsBitmapLUTLengthValid(&bm) && R_GetLUT16(&bm, 0));
    EXPECT_EQ(bm->pLUT16[3].rgbRed, table[3].rgbRed * 257);
    bm->MaxVal = 9;
    ASSERT_EQ(R_WindowLevel(&bm, 4, 7, bm->pLUT + 4, 8, 1), 1);  // a part of what goes
    EXPECT_TRUE(bm->MaxVal == 9 && bm->LUTLength == 8 && bm->LUT16Length == 8);
    EXPECT_EQ(std::memcmp(bm->pLUT, &table[4], 32), 0);
    EXPECT_EQ(bm->Flags & (BMF_USE_LUT | BMF_NONLINEAR_LUT), uint32_t(BMF_USE_LUT));
    ASSERT_EQ(R_WindowLevel(&bm, 0, -3, wedge<RGBQUAD>(20, true).data(), 20, 1), 1);
    EXPECT_TRUE((bm->Flags & BMF_NONLINEAR_LUT) && bm->HighBit == 15 && bm->MaxVal == 65535);

    const auto words = wedge<RGBQUAD64>(20, true);
    const RGBQUAD* pBytes = bm->pLUT;
    ASSERT_EQ(R_Dis_WindowLevelExt(&bm, 0, 15, words.data(), 20, 1), 1);
    EXPECT_TRUE(bm->pLUT == pBytes && bm->LUT16Length == 20 && (bm->Flags & BMF_NONLINEAR_LUT));
    EXPECT_TRUE(bm->pLUT[1].rgbRed == words[1].rgbRed >> 8 && bm->pLUT16[1].rgbRed == words[1].rgbRed);
    ASSERT_EQ(R_WindowLevelExt(&bm, 0, 15, bm->pLUT16, 20, 0), 1);
    EXPECT_TRUE(!(bm->Flags & (BMF_USE_LUT | BMF_NONLINEAR_LUT)) && bm->pLUT16[1].rgbRed == words[1].rgbRed);
    ASSERT_EQ(R_WindowLevel(&bm, 0, 40, nullptr, 0, 1), 1);
    EXPECT_TRUE(!R_HasLUT(&bm) && !bm->LUTLength && !bm->LUT16Length && (bm->Flags & BMF_USE_LUT) && bm->MaxVal == -1);

    Grays old(12, BITMAPRECORD_OLD_SIZE);
    const auto wide = wedge<RGBQUAD64>(4096);
    ASSERT_EQ(R_WindowLevelExt(&old, 0, 11, wide.data(), 4096, 1), 1);
    EXPECT_TRUE(old->LUTLength == 4096 && old->pLUT[4000].rgbBlue == wide[4000].rgbBlue >> 8 && !R_GetLUT16(&old, 1));
}

TEST(WindowLevel, PaletteOfEightBits) {
    Grays bm(8);
    const RGBQUAD* pPalette = bm->pPalette;
    ASSERT_EQ(R_WindowLevel(&bm, 2, 5, nullptr, 0, 1), 1);
    for (uint32_t i = 0; i < 256; ++i) ASSERT_EQ(bm->pPalette[i].rgbGreen, i >> 2 & 15);
    ASSERT_EQ(R_WindowLevel(&bm, 0, 7, bm->pPalette, 200, 0), 1);  // the table is what is written
    EXPECT_TRUE(bm->pPalette == pPalette && bm->pPalette[199].rgbRed == 1 && bm->pPalette[200].rgbRed == 0);
    auto words = wedge<RGBQUAD64>(256);
    words[1].rgbRed = 65535, words[2].rgbRed = 65153, words[3].rgbRed = 129;
    for (const bool bOld : {false, true}) {
        Grays b(8, bOld ? BITMAPRECORD_OLD_SIZE : uint32_t(sizeof(BITMAPRECORD)));
        b->Flags |= BMF_USE_LUT;
        b->nColors = 16;  // so it is another table that has 256
        ASSERT_EQ(R_WindowLevelExt(&b, 0, 9, words.data(), 256, 1), 1);
        EXPECT_TRUE(b->nColors == 256 && !(b->Flags & BMF_USE_LUT) && b->PhysicalHighBit == 9 && b->MaxVal == 1023);
        const auto red = [&](int i) { return int(b->pPalette[i].rgbRed); };  // bits 2 to 9 of an index
        EXPECT_TRUE(red(4) == 255 && red(11) == (bOld ? 254 : 255) && red(12) == (bOld ? 0 : 1));
    }
}

TEST(WindowLevel, NonLinearTables) {
    const auto tell = [](int32_t bSigned, std::vector<uint8_t> v) {
        std::vector<RGBQUAD> bytes;
        std::vector<RGBQUAD64> words;
        for (const uint8_t n : v)
            bytes.push_back({0, 0, n, uint8_t(bytes.size() % 2)}), words.push_back({uint16_t(n + 999), 0, 0, n});
        const int32_t n = R_IsNonLinearLUT(bSigned, bytes.data(), uint32_t(v.size()));
        EXPECT_EQ(R_IsNonLinearLUT16(bSigned, words.data(), uint32_t(v.size())), n);
        return n;
    };
    EXPECT_EQ(tell(0, {1, 1, 4, 9}), 0);
    EXPECT_EQ(tell(0, {9, 4, 4, 1}), 0);
    EXPECT_EQ(tell(0, {1, 4, 4, 3}), 1);
    EXPECT_EQ(tell(0, {5, 6, 7, 1, 2}), 1);
    EXPECT_EQ(tell(1, {5, 6, 7, 1, 2}), 0);  // -2 to 2
    EXPECT_EQ(tell(1, {5, 6, 7, 2, 1}), 1);
    EXPECT_EQ(tell(0, {}), 0);
}

TEST(WindowLevel, StatusesInOrderAndWhatAFailureLeaves) {
    Grays bm(16), color(24);
    color->Order = ORDER_BGR;
    const auto words = wedge<RGBQUAD64>(8);
    const auto bytes = wedge<RGBQUAD>(8);
    EXPECT_EQ(R_WindowLevel(nullptr, 3, 1, nullptr, 1, 2), -2);
    bm->uStructSize = 7;
    EXPECT_EQ(R_WindowLevelExt(&bm, 3, 1, nullptr, 1, 2), -789);
    bm->uStructSize = sizeof(BITMAPRECORD);
    EXPECT_EQ(R_WindowLevel(&bm, 3, 2, bytes.data(), 8, 1), -13);
    EXPECT_EQ(R_WindowLevel(&bm, 3, 5, nullptr, 1, 1), -13);
    EXPECT_EQ(R_WindowLevel(&bm, 3, 5, bytes.data(), 8, 2), -13);
    EXPECT_EQ(R_WindowLevelExt(&color, 0, 2, words.data(), 8, 1), -13);
    EXPECT_EQ(R_WindowLevel(&color, 0, 2, bytes.data(), 8, 1), 1);
    EXPECT_TRUE(bm->LowBit == 0 && bm->HighBit == 15);

    for (const int32_t nBits : {8, 16})
        for (const bool bOld : {false, true})
            for (int nForm = 0, bDone = 0; nForm < 2; ++nForm, bDone = 0)
                for (int k = 0; !bDone; ++k) {
                    Grays b(nBits, bOld ? BITMAPRECORD_OLD_SIZE : uint32_t(sizeof(BITMAPRECORD)));
                    ASSERT_EQ(R_WindowLevel(&b, 0, 1, bytes.data(), 4, 1), 1);
                    b->nColors = nBits == 8 ? 16 : 0;
                    faults::FailFromNthAllocation fail(k);
                    const int32_t n = nForm ? R_WindowLevelExt(&b, 1, 3, words.data(), 8, 1)
                                            : R_WindowLevel(&b, 1, 3, bytes.data(), 8, 1);
                    fail.stop();
                    bDone = !fail.fired();
                    ASSERT_EQ(n, bDone ? 1 : -1) << nBits << " " << bOld << " " << nForm << " " << k;
                    ASSERT_TRUE(b->LowBit == 1 && b->PhysicalHighBit == 3 && b->MaxVal == 7);
                    if (!bDone) {
                        ASSERT_TRUE(!R_HasLUT(&b) && !b->LUTLength && (bOld || !b->LUT16Length));
                    }
                }
}

}  // namespace
