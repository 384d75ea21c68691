// The magic wand against a fill with a stack of spans that tests single pixels.
#include <gtest/gtest.h>

#include "ravokit/ravokit.h"
#include "region/fewcolors.h"

namespace {

using namespace test;

struct Span {
    int32_t nRow, nLeft, nRight, nDirection;
};

// The fill as it was first told: a run goes on in its direction, and back where it leaks past the span it came from.
template <class Matches>
Selection stackFill(int32_t nWidth, int32_t nHeight, int32_t nSeedRow, int32_t nSeedCol, Matches matches) {
    Selection visited(size_t(nWidth) * unsigned(nHeight)), filled = visited;
    std::vector<Span> stack{{nSeedRow, nSeedCol, nSeedCol, 1}, {}};
    if (nSeedRow > 0) stack[1] = {nSeedRow - 1, nSeedCol, nSeedCol, 0};
    while (!stack.empty()) {
        const auto [row, left, right, direction] = stack.back();
        stack.pop_back();
        const auto at = [&, row = row](int32_t x) { return size_t(row) * unsigned(nWidth) + unsigned(x); };
        const auto open = [&, row = row](int32_t x) { return !visited[at(x)] && matches(row, x); };
        const auto mark = [&](int32_t a, int32_t b) { std::fill(&visited[at(a)], &visited[at(b)] + 1, 1); };
        const auto push = [&, row = row](bool bDown, int32_t a, int32_t b) {
            if (bDown ? row + 1 < nHeight : row >= 1) stack.push_back({bDown ? row + 1 : row - 1, a, b, bDown});
        };
        int32_t x = left;
        while (x >= 0 && open(x)) --x;
        const int32_t nFrom = std::max(x, 0);
        int32_t nStart = x + 1;
        if (nStart > left) {
            while (nStart <= right && !open(nStart)) ++nStart;
            if (nStart > right) {
                mark(nFrom, right);
                continue;
            }
        } else if (nStart < left) {
            push(!direction, nStart, left - 1);
        }
        for (;;) {
            int32_t nEnd = nStart;
            while (nEnd + 1 < nWidth && open(nEnd + 1)) ++nEnd;
            for (int32_t i = nStart; i <= nEnd; ++i) filled[at(i)] = 1;
            push(direction, nStart, nEnd);
            if (nEnd >= right) {
                if (nEnd > right) push(!direction, right, nEnd);
                mark(nFrom, nEnd);
                break;
            }
            for (nStart = nEnd + 2; nStart <= right && !open(nStart);) ++nStart;
            if (nStart > right) {
                mark(nFrom, right);
                break;
            }
        }
    }
    return filled;
}

// Pixels as the wand sees them, one by one.
class Wand {
    using Three = std::array<int32_t, 3>;  // red, green, blue
    Picture& m_picture;
    BITMAPRECORD& m_bm;
    bool m_bDeepGray, m_bLUT, m_bWide, m_bSigned, m_bDirect = false, m_bBorder;
    Three m_low{}, m_high{}, m_border{};
    int32_t m_nShift;

    Three channels(COLORREF cr) const {
        if (COLOR_IS_GRAY(cr)) {
            const int32_t n = int32_t(cr & 0xFFFF) >> (m_bWide ? 0 : 8);
            return {n, n, n};
        }
        const int32_t m = m_bWide ? 257 : 1;
        return {int32_t(cr & 255) * m, int32_t(cr >> 8 & 255) * m, int32_t(cr >> 16 & 255) * m};
    }
    int32_t raw(int32_t y, int32_t x) const {
        const auto n = int32_t(m_picture.at(y, x));
        return m_bSigned ? int16_t(n << m_nShift) / (1 << m_nShift) : n;
    }
    Three pixel(int32_t y, int32_t x) const {
        const uint64_t v = m_picture.at(y, x);
        const auto byte = [&](int i) { return int32_t(v >> (8 * i) & 255); };
        const int n = m_bm.BitsPerPixel;
        const auto quad = [](const RGBQUAD& q) { return Three{q.rgbRed, q.rgbGreen, q.rgbBlue}; };
        if (n <= 8) return quad(m_bm.pPalette[v]);
        if (m_bm.Order == ORDER_GRAY) {
            const int32_t nKept = m_bm.PhysicalHighBit - m_bm.PhysicalLowBit + 1, nMask = (1 << nKept) - 1;
            const int32_t nLevel = int32_t(v) >> m_bm.PhysicalLowBit & nMask;
            if (m_bLUT) return quad(m_bm.pLUT[nLevel]);
            const auto nScaled = int32_t(int64_t(nLevel) * 65535 / nMask);
            return {nScaled, nScaled, nScaled};
        }
        const bool bRedFirst = m_bm.Order == ORDER_RGB;
        Three c{};
        if (m_bm.Order == ORDER_ROMM) {
            uint8_t bytes[8];
            std::memcpy(bytes, &v, 8);
            R_ConvertBuffer(bytes, 1, n, 24, ORDER_ROMM, ORDER_BGR, nullptr, nullptr);
            return {bytes[2], bytes[1], bytes[0]};
        }
        for (int i = 0; i < 3; ++i) {
            const int32_t n5 = int32_t(v >> (5 * i) & 31);
            c[size_t(i)] = n == 16 ? n5 << 3 | n5 >> 2 : byte(n <= 32 ? i : 2 * i + 1);
        }
        return bRedFirst ? c : Three{c[2], c[1], c[0]};
    }

public:
    int32_t nStatus = 1;

    Wand(Picture& picture, int32_t y, int32_t x, const COLORREF* pBorder, COLORREF lower, COLORREF upper)
        : m_picture(picture), m_bm(picture.bm()), m_bSigned(m_bm.Flags & BMF_SIGNED), m_bBorder(pBorder) {
        m_bDeepGray = m_bm.Order == ORDER_GRAY && m_bm.BitsPerPixel <= 16;
        m_bLUT = m_bDeepGray && m_bm.pLUT && (m_bm.Flags & BMF_USE_LUT);
        m_bWide = m_bDeepGray && !m_bLUT;
        m_nShift = m_bm.BitsPerPixel - m_bm.PhysicalHighBit - 1;
        if (m_bDeepGray && COLOR_IS_GRAY(lower) && COLOR_IS_GRAY(upper)) {
            m_bDirect = true;
            m_high[0] = std::min(raw(y, x) + int32_t(upper & 0xFFFF), m_bSigned ? 32767 : 65535);
            m_low[0] = std::max(raw(y, x) - int32_t(lower & 0xFFFF), m_bSigned ? -32768 : 0);
        } else {
            const COLORREF seed = R_GetPixelColor(&m_bm, y, x);
            if (seed == 0x80000000) nStatus = -13;
            Three l = channels(lower), u = channels(upper), s = channels(seed);
            if (m_bm.Order == ORDER_GRAY) l.fill(std::ranges::min(l)), u.fill(std::ranges::min(u));
            const bool bSignedLimits = m_bSigned && !(m_bm.Flags & BMF_USE_LUT);
            for (size_t i = 0; i < 3; ++i) {
                const int32_t n = bSignedLimits ? int16_t(s[i]) : s[i], nCeiling = m_bWide ? 65535 : 255;
                m_high[i] = std::min(n + u[i], bSignedLimits ? 32767 : nCeiling);
                m_low[i] = std::max(n - l[i], bSignedLimits ? -32768 : 0);
            }
        }
        if (pBorder) m_border = channels(*pBorder);
    }
    bool matches(int32_t y, int32_t x) const {
        Three c{};
        if (m_bDirect) {
            if (raw(y, x) < m_low[0] || raw(y, x) > m_high[0]) return false;
        } else {
            c = pixel(y, x);
            for (size_t i = 0; i < 3; ++i)
                if (m_bSigned ? int16_t(c[i]) < int16_t(m_low[i]) || int16_t(c[i]) > int16_t(m_high[i])
                              : c[i] < m_low[i] || c[i] > m_high[i])
                    return false;
        }
        return !m_bBorder || (c[0] != m_border[0] && c[1] != m_border[1] && c[2] != m_border[2]);
    }
};

TEST(MagicWand, FillsWhatTheStackOfSpansFills) {
    int nMixed = 0, nRuns = 0;
    for (const Format& f : kFormats)
        for (uint32_t seed = 1; seed <= (f.nOrder == ORDER_GRAY ? 600 : 100); ++seed) {
            Picture picture(f, seed * 1000 + uint32_t(f.nBits));
            BITMAPRECORD& bm = picture.bm();
            const int32_t y = picture.roll(3) ? picture.randomRow() : 0, x = picture.roll(4) ? picture.randomCol() : 0;
            const auto tolerance = [&]() -> COLORREF {
                switch (picture.roll(4)) {
                    case 0:
                        return 0;
                    case 1:
                        return 0x4000000 | (picture.roll(2) ? picture.roll(65536) : picture.roll(600));
                    default:
                        return picture.roll(100) | picture.roll(100) << 8 | picture.roll(100) << 16;
                }
            };
            const COLORREF lower = tolerance(), upper = tolerance();
            const COLORREF border = R_GetPixelColor(&bm, picture.randomRow(), picture.randomCol());
            const COLORREF* pBorder = picture.roll(2) ? nullptr : &border;
            Wand wand(picture, y, x, pBorder, lower, upper);
            ASSERT_EQ(pBorder ? R_SetBitmapRgnBorder(&bm, y, x, border, lower, upper, RGN_MODE_SET)
                              : R_SetBitmapRgnMagicWand(&bm, y, x, lower, upper, RGN_MODE_SET),
                      wand.nStatus);
            if (wand.nStatus != 1) continue;
            const Selection want =
                stackFill(bm.Width, bm.Height, y, x, [&](int32_t r, int32_t c) { return wand.matches(r, c); });
            nMixed += isMixed(want), ++nRuns;
            ASSERT_EQ(picture.selected(), want)
                << "bits " << f.nBits << " order " << f.nOrder << " seed " << seed << " row " << y << " col " << x
                << " border " << bool(pBorder) << " flags " << bm.Flags;
        }
    EXPECT_GT(nMixed, nRuns / 4);
}

// Shapes that wind: many sweeps, runs over several words, both sides of a word.
TEST(MagicWand, FindsItsWayThroughMazes) {
    for (uint32_t seed = 1; seed <= 120; ++seed) {
        std::mt19937 random(seed);
        const int32_t w = int32_t(1 + random() % 300), h = int32_t(1 + random() % 60), nKind = int32_t(seed % 4);
        Bitmap bm(1, w, h);
        Bytes rows(size_t(bm->BytesPerLine) * unsigned(h));
        const auto at = [&](int32_t y, int32_t x) {
            return rv::Pixel<1>::get(&rows[size_t(y) * bm->BytesPerLine], size_t(x));
        };
        const auto wall = [&](int32_t y, int32_t x) -> uint32_t {
            switch (nKind) {
                case 0:
                    return x % 2 && y != (x % 4 == 1 ? 0 : h - 1);  // up and down
                case 1:
                    return y % 2 && x != (y % 4 == 1 ? w - 1 : 0);  // to and fro
                case 2:
                    return random() % 10 < 4;
                default:
                    return random() % 25 == 0;
            }
        };
        for (int32_t y = 0; y < h; ++y)
            for (int32_t x = 0; x < w; ++x)
                rv::Pixel<1>::put(&rows[size_t(y) * bm->BytesPerLine], size_t(x), wall(y, x));
        setContents(bm.record, rows);
        const int32_t y = int32_t(random() % unsigned(h)) * int32_t(seed % 3 != 0),
                      x = int32_t(random() % unsigned(w)) * int32_t(seed % 5 != 0);
        ASSERT_EQ(R_SetBitmapRgnMagicWand(&bm, y, x, 0, 0, RGN_MODE_SET), 1);
        const Selection want = stackFill(w, h, y, x, [&](int32_t r, int32_t c) { return at(r, c) == at(y, x); });
        Selection got;
        for (int32_t r = 0; r < h; ++r)
            for (int32_t c = 0; c < w; ++c) got.push_back(uint8_t(R_IsPtInRavoRgn(bm->pRgnInfo, r, c)));
        ASSERT_EQ(got, want) << "seed " << seed << " " << w << " x " << h << " from " << y << ", " << x;
    }
}

}  // namespace
