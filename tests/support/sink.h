// A paint sink for tests: it draws what it is sent to a canvas of device pixels, minding clips and saved states, and
// notes the calls.
#pragma once

#include <gtest/gtest.h>

#include <optional>

#include "support/bitmaps.h"

namespace test {

// A part of the device, pixel by pixel.
struct Canvas {
    static constexpr uint64_t kBlank = 0x00B1A7C000B1A7C0;  // nobody drew it

    RECT area;
    std::vector<uint64_t> pixels;

    explicit Canvas(const RECT& r)
        : area(r), pixels(size_t(int64_t(r.right) - r.left) * size_t(int64_t(r.bottom) - r.top), kBlank) {}
    int64_t width() const { return int64_t(area.right) - area.left; }
    bool has(int64_t x, int64_t y) const {
        return x >= area.left && x < area.right && y >= area.top && y < area.bottom;
    }
    size_t index(int64_t x, int64_t y) const { return size_t((y - area.top) * width() + x - area.left); }
    uint64_t& at(int64_t x, int64_t y) { return pixels[index(x, y)]; }
    template <class F>
    void forEach(F&& f) {  // f(x, y, pixel)
        for (int64_t y = area.top; y < area.bottom; ++y)
            for (int64_t x = area.left; x < area.right; ++x) f(x, y, at(x, y));
    }
};

inline testing::AssertionResult same(const Canvas& got, const Canvas& want) {
    if (got.pixels == want.pixels) return testing::AssertionSuccess();
    const auto n = std::mismatch(got.pixels.begin(), got.pixels.end(), want.pixels.begin()).first - got.pixels.begin();
    const auto bad = std::count(got.pixels.begin(), got.pixels.end(), Canvas::kBlank);
    return testing::AssertionFailure() << std::hex << "at " << std::dec << n % got.width() + got.area.left << ", "
                                       << n / got.width() + got.area.top << std::hex << " is " << got.pixels[size_t(n)]
                                       << ", not " << want.pixels[size_t(n)] << "; blank " << std::dec << bad << " of "
                                       << got.pixels.size();
}

// What pfnStretchBits was given.
struct Band {
    int32_t x, y, w, h, sx, sy, sw, sh;
    PAINTBITMAPINFO info;
    uint32_t uUsage, uRop;
    const void* pPixels;
};

class Sink {
    std::vector<uint8_t> m_open;  // where the clip lets pixels through
    std::vector<std::vector<uint8_t>> m_saved;
    std::vector<const BITMAPRECORD*> m_begun;

    static Sink& of(void* pUser) { return *static_cast<Sink*>(pUser); }

    void clip(bool bReplace, const std::vector<RECT>& rects) {  // of the device
        std::vector<uint8_t> open(m_open.size());
        for (const RECT& r : rects)
            for (int64_t y = std::max(r.top, canvas.area.top); y < std::min(r.bottom, canvas.area.bottom); ++y)
                for (int64_t x = std::max(r.left, canvas.area.left); x < std::min(r.right, canvas.area.right); ++x)
                    open[canvas.index(x, y)] = bReplace || m_open[canvas.index(x, y)];
        m_open = open;
    }

    uint64_t colour(const uint8_t* row, size_t x, const PAINTBITMAPINFO& info, uint32_t uUsage) const {
        const int32_t nDepth = info.Header.biBitCount;
        const uint64_t v = pixelAt(row, nDepth, x);
        if (bRaw) return v;
        if (nDepth <= 8) {
            const RGBQUAD* const pIndexed = pIndexColors ? pIndexColors : m_begun.back()->pPalette;
            const bool bIndex = uUsage == PAINTUSAGE_INDICES && pIndexed;
            EXPECT_EQ(bIndex, uUsage == PAINTUSAGE_INDICES) << "indices, but no palette";
            const RGBQUAD& q = bIndex ? pIndexed[info.Table.Indices[v]] : info.Table.Colors[v];
            return uint64_t(q.rgbRed) << 16 | uint64_t(q.rgbGreen) << 8 | q.rgbBlue;
        }
        const bool bRed = calls.pfnGetBitmapInfo && asked.nOrder == ORDER_RGB;
        return bRed && nDepth == 24 ? (v & 0xFF00) | (v & 0xFF) << 16 | v >> 16 : v;
    }

    int32_t draw(const Band& band) {
        if (bOnlyCounts) return nBands++ == nFailAt ? -1 : 1;
        note('D');
        bands.push_back(band);
        const BITMAPINFOHEADER& header = band.info.Header;
        const int64_t nLines = std::abs(int64_t(header.biHeight));
        EXPECT_TRUE(band.w > 0 && band.h > 0 && band.sx >= 0 && band.sy >= 0 && band.sw > 0 && band.sh > 0);
        EXPECT_TRUE(int64_t(band.sx) + band.sw <= header.biWidth && int64_t(band.sy) + band.sh <= nLines);
        const int64_t nOwn = (int64_t(header.biWidth) * header.biBitCount + 31) / 32 * 4;
        const int64_t nStride = asked.nBytesPerLine ? asked.nBytesPerLine : nOwn;
        EXPECT_EQ(header.biSizeImage, uint32_t(nStride * nLines));
        if (nBands++ == nFailAt) return -1;
        const int64_t left = int64_t(band.x) + origin.x, top = int64_t(band.y) + origin.y;
        const int64_t from = std::max<int64_t>(left, canvas.area.left);
        const int64_t to = std::min<int64_t>(left + band.w, canvas.area.right);
        for (int64_t y = std::max<int64_t>(top, canvas.area.top);
             y < std::min<int64_t>(top + band.h, canvas.area.bottom); ++y) {
            const int64_t k = (y - top) * band.sh / band.h;
            const int64_t line = header.biHeight < 0 ? band.sy + k : band.sy + band.sh - 1 - k;
            const uint8_t* const row = static_cast<const uint8_t*>(band.pPixels) + line * nStride;
            for (int64_t x = from; x < to; ++x) {
                const auto col = size_t(band.sx + (x - left) * band.sw / band.w);
                if (!m_open[canvas.index(x, y)]) continue;
                if ((band.uRop & PAINTROP_OVERLAY) && pixelAt(row, 1, col) == 0) continue;
                canvas.at(x, y) = colour(row, col, band.info, band.uUsage);
            }
        }
        return 1;
    }

    void selectRgn(RVHANDLE h, int32_t nMode) {
        note('G');
        const uint32_t n = GetRegionData(h, 0, nullptr);
        Bytes bytes(n);
        auto* const pData = reinterpret_cast<RGNDATA*>(bytes.data());
        ASSERT_EQ(GetRegionData(h, n, pData), n);
        const auto* const p = reinterpret_cast<const RECT*>(pData + 1);
        clip(nMode == PAINTCLIP_COPY, {p, p + pData->nCount});
        nClipMode = nMode;
    }

public:
    Canvas canvas;
    PAINTCALLBACKS calls{};
    std::string log;  // Begin, End, Save, Restore, Clip, Draw, reGion, stretch Mode
    std::vector<Band> bands;
    int32_t nBands = 0, nClipMode = 0, nStretchMode = 0;
    // What it says.
    int32_t nFailAt = -1, nBegin = 1, nBeginOverlay = 1, nValid = 1, nAsked = 1;
    int32_t nTechnology = 0, nBits = 24, nPlanes = 1, nGraphicsMode = 1;
    SINKBITMAPINFO asked{};  // with ask()
    POINT origin{0, 0};
    float transform[6] = {1, 0, 0, 1, 0, 0};
    const RGBQUAD* pIndexColors = nullptr;  // of indices; null: the bitmap's
    bool bRaw = false;                      // pixels of the canvas are samples, not colours
    bool bOnlyCounts = false;               // takes no memory

    explicit Sink(const RECT& area) : m_open(Canvas(area).pixels.size(), 1), canvas(area) {
        log.reserve(4096);
        m_begun.reserve(64);
        calls.uStructSize = sizeof calls;
        calls.pUserData = this;
        calls.pfnGetDeviceCaps = [](void*, int32_t n, void* p) {
            return n == PAINTCAPS_TECHNOLOGY ? of(p).nTechnology : n == PAINTCAPS_BITS ? of(p).nBits : of(p).nPlanes;
        };
        calls.pfnSetStretchMode = [](void*, int32_t n, void* p) {
            of(p).note('M');
            return of(p).nStretchMode = n;
        };
        calls.pfnIntersectClip = [](void*, int32_t left, int32_t top, int32_t right, int32_t bottom, void* p) {
            Sink& s = of(p);
            s.note('C');
            if (!s.bOnlyCounts)
                s.clip(false, {{left + s.origin.x, top + s.origin.y, right + s.origin.x, bottom + s.origin.y}});
            return 1;
        };
        calls.pfnSaveState = [](void*, void* p) {
            of(p).note('S');
            if (!of(p).bOnlyCounts) of(p).m_saved.push_back(of(p).m_open);
            return 1;
        };
        calls.pfnRestoreState = [](void*, int32_t n, void* p) {
            of(p).note('R');
            EXPECT_EQ(n, -1);
            if (of(p).bOnlyCounts) return 1;
            EXPECT_FALSE(of(p).m_saved.empty());
            if (of(p).m_saved.empty()) return 0;
            of(p).m_open = of(p).m_saved.back();
            of(p).m_saved.pop_back();
            return 1;
        };
        calls.pfnStretchBits = [](void*, int32_t x, int32_t y, int32_t w, int32_t h, int32_t sx, int32_t sy, int32_t sw,
                                  int32_t sh, const void* pPixels, const PAINTBITMAPINFO* pInfo, uint32_t uUsage,
                                  uint32_t uRop, void* p) {
            return of(p).draw({x, y, w, h, sx, sy, sw, sh, *pInfo, uUsage, uRop, pPixels});
        };
        calls.pfnGetOrigin = [](void*, POINT* pPoint, void* p) { return *pPoint = of(p).origin, 1; };
        calls.pfnSelectClipRgn = [](void*, RVHANDLE h, int32_t n, void* p) {
            if (of(p).bOnlyCounts) return of(p).note('G'), 1;
            return of(p).selectRgn(h, n), 1;
        };
        calls.pfnGetGraphicsMode = [](void*, void* p, double one, double zero) {
            EXPECT_TRUE(one == 1 && zero == 0);
            return of(p).nGraphicsMode;
        };
        calls.pfnGetWorldTransform = [](void*, float* to, void* p) { return std::copy_n(of(p).transform, 6, to), 1; };
        calls.pfnValidate = [](void*, const BITMAPRECORD*, void* p) { return of(p).nValid; };
        calls.pfnBegin = [](void*, const BITMAPRECORD* pBitmap, const RECT*, void* p) {
            Sink& s = of(p);
            const int32_t n = s.m_begun.empty() ? s.nBegin : s.nBeginOverlay;
            if (n == 1) s.m_begun.push_back(pBitmap);
            s.note('B');
            return n;
        };
        calls.pfnEnd = [](void*, const BITMAPRECORD* pBitmap, void* p) {
            Sink& s = of(p);
            s.note('E');
            EXPECT_TRUE(!s.m_begun.empty() && s.m_begun.back() == pBitmap);
            if (!s.m_begun.empty()) s.m_begun.pop_back();
            return 1;
        };
    }
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    // Says what rows it wants.
    void ask(int32_t nWanted, int32_t nOrder = ORDER_BGR, int32_t nView = BOTTOM_LEFT, int32_t nStride = 0) {
        asked.nViewPerspective = nView;
        asked.nBitsPerPixel = nWanted;
        asked.nBytesPerLine = nStride;
        asked.nOrder = nOrder;
        calls.pfnGetBitmapInfo = [](void*, const BITMAPRECORD*, int32_t, SINKBITMAPINFO* pInfo, void* p) {
            EXPECT_TRUE(pInfo->uStructSize == sizeof *pInfo && pInfo->nBitsPerPixel == 0);
            const uint32_t uSize = of(p).asked.uStructSize ? of(p).asked.uStructSize : pInfo->uStructSize;
            *pInfo = of(p).asked;
            pInfo->uStructSize = uSize;
            return of(p).nAsked;
        };
    }
    void note(char c) {
        if (log.size() < log.capacity()) log += c;
    }
    // Every state that was saved is restored, and every begin ended.
    bool isClosed() const { return m_saved.empty() && m_begun.empty(); }
};

}  // namespace test
