// Paints for tests: their arguments, pictures, and a model that tells pixel by pixel what should come of them.
#pragma once

#include <sstream>

#include "support/sink.h"

namespace test {

// The thread's display mode for the time of a scope.
class DisplayMode {
    uint32_t m_uOld;

public:
    explicit DisplayMode(uint32_t u) : m_uOld(R_SetDisplayMode(~0u & ~uint32_t(DM_RESET_INDICES), u)) {}
    DisplayMode(const DisplayMode&) = delete;
    DisplayMode& operator=(const DisplayMode&) = delete;
    ~DisplayMode() { R_SetDisplayMode(~0u & ~uint32_t(DM_RESET_INDICES), m_uOld); }
};

inline bool contains(const RECT& r, int64_t x, int64_t y) {
    return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
}

// The arguments of a paint, and what should come of it.
struct Painting {
    RECT dest;
    std::optional<RECT> source = {}, sourceClip = {}, destClip = {};
    uint32_t uRop = 0;

    static const RECT* of(const std::optional<RECT>& r) { return r ? &*r : nullptr; }
    int32_t paint(const Sink& sink, BITMAPRECORD& bm) const {
        return R_PaintDCCallback(&sink.calls, &bm, of(source), of(sourceClip), &dest, of(destClip), uRop);
    }
    int32_t paintRgn(const Sink& sink, BITMAPRECORD& bm) const {
        return R_PaintRgnDCCallback(&sink.calls, &bm, of(source), of(sourceClip), &dest, of(destClip), uRop);
    }
    int32_t paintBuffer(const Sink& sink, BITMAPRECORD& bm, const void* pRows, int32_t nRow, int32_t nRows) const {
        return R_PaintDCBufferCallback(&sink.calls, &bm, of(source), of(sourceClip), &dest, of(destClip), uRop,
                                       static_cast<const uint8_t*>(pRows), nRow, nRows);
    }

    // The stored pixel that stands at a device pixel when a picture of w x h is seen through that view; the scale goes
    // on outside of the rectangles.
    std::pair<int64_t, int64_t> storedPlace(int32_t view, int32_t w, int32_t h, int64_t x, int64_t y) const {
        const RECT s = source.value_or(RECT{0, 0, w, h});
        const int64_t dw = int64_t(dest.right) - dest.left, dh = int64_t(dest.bottom) - dest.top;
        int64_t i = x - dest.left, j = y - dest.top, iw = dw, jh = dh;
        if (view == 2 || view == 3 || view == 6 || view == 7) i = dw - 1 - i;
        if (view % 4 == 3 || view % 4 == 0) j = dh - 1 - j;
        if (view > 4) std::swap(i, j), std::swap(iw, jh);
        const auto down = [](int64_t a, int64_t b) { return a >= 0 ? a / b : -((b - 1 - a) / b); };
        return {s.left + down(i * (int64_t(s.right) - s.left), iw), s.top + down(j * (int64_t(s.bottom) - s.top), jh)};
    }
    // The stored pixel that a device pixel shows, if it shows one.
    std::optional<POINT> storedPixel(int32_t view, int32_t w, int32_t h, int64_t x, int64_t y) const {
        if (!contains(dest, x, y) || (destClip && !contains(*destClip, x, y))) return {};
        const auto [col, row] = storedPlace(view, w, h, x, y);
        if (!contains({0, 0, w, h}, col, row) || (sourceClip && !contains(*sourceClip, col, row))) return {};
        return POINT{int32_t(col), int32_t(row)};
    }
};

inline constexpr Format kPaintFormats[] = {
    {1, ORDER_RGB},   {2, ORDER_RGB},  {3, ORDER_RGB},   {4, ORDER_RGB},   {5, ORDER_RGB},  {6, ORDER_RGB},
    {7, ORDER_RGB},   {8, ORDER_RGB},  {8, ORDER_GRAY},  {12, ORDER_GRAY}, {16, ORDER_BGR}, {16, ORDER_RGB},
    {16, ORDER_GRAY}, {24, ORDER_BGR}, {24, ORDER_RGB},  {24, ORDER_ROMM}, {32, ORDER_BGR}, {32, ORDER_RGB},
    {48, ORDER_BGR},  {48, ORDER_RGB}, {48, ORDER_ROMM}, {64, ORDER_BGR},  {64, ORDER_RGB}};

// A picture of noise, with random colours where it has a palette.
struct NoisePicture : Bitmap {
    NoisePicture(const Format& f, int32_t w, int32_t h, uint32_t seed, Holding holding = Holding::conventional)
        : Bitmap(f.nBits, w, h, holding, f.nOrder) {
        EXPECT_EQ(nStatus, 1);
        if (f.nOrder != ORDER_GRAY && record.pPalette) {
            const Bytes colours = randomBytes(record.nColors * sizeof(RGBQUAD), seed);
            std::memcpy(record.pPalette, colours.data(), colours.size());
        }
        fillRandom(record, seed + 1);
    }
};

// The colours of a stored picture, red in the high byte, in rows.
struct Colours {
    int32_t w, h;
    std::vector<uint64_t> pixels;

    Colours(int32_t nWidth, int32_t nHeight) : w(nWidth), h(nHeight), pixels(size_t(w) * size_t(h)) {}
    // Those that the calls on single pixels tell; wide grays by their high byte.
    explicit Colours(BITMAPRECORD& bm) : Colours(bm.Width, bm.Height) {
        Bitmap flat(bm.BitsPerPixel, w, h, Holding::conventional, bm.Order);  // whatever holds the picture
        setContents(flat.record, contents(bm));
        if (bm.nColors) std::memcpy(flat->pPalette, bm.pPalette, bm.nColors * sizeof(RGBQUAD));
        for (int32_t y = 0; y < h; ++y)
            for (int32_t x = 0; x < w; ++x) {
                const COLORREF c = R_GetPixelColor(&flat, y, x);
                const uint64_t level = c >> 8 & 0xFF;
                at(x, y) = c >> 24 == 4 ? level * 0x10101 : (c & 0xFF) << 16 | (c & 0xFF00) | (c >> 16 & 0xFF);
            }
    }
    uint64_t& at(int32_t x, int32_t y) { return pixels[size_t(y) * size_t(w) + size_t(x)]; }
    // Through a paint table.
    Colours& through(const uint8_t* pTable) {
        for (uint64_t& p : pixels)
            p = uint64_t(pTable[p >> 16]) << 16 | uint64_t(pTable[p >> 8 & 0xFF]) << 8 | pTable[p & 0xFF];
        return *this;
    }
};

// What a painting should leave on a canvas.
inline Canvas wanted(const RECT& area, const Painting& p, int32_t nView, Colours& colours) {
    Canvas canvas(area);
    canvas.forEach([&](int64_t x, int64_t y, uint64_t& pixel) {
        if (const auto at = p.storedPixel(nView, colours.w, colours.h, x, y)) pixel = colours.at(at->x, at->y);
    });
    return canvas;
}

inline constexpr RECT kDevice{-30, -20, 90, 70};

inline std::string tell(const Painting& p) {
    std::ostringstream out;
    const auto add = [&](const char* name, const std::optional<RECT>& r) {
        if (r) out << name << " " << r->left << " " << r->top << " " << r->right << " " << r->bottom << "; ";
    };
    add("dest", p.dest), add("source", p.source), add("source clip", p.sourceClip), add("dest clip", p.destClip);
    return out.str();
}

// Paints it, and compares; the colours may be those of the resized picture, of that size.
inline void expectPainted(const Sink& sink, const Painting& p, BITMAPRECORD& bm, Colours& colours) {
    ASSERT_EQ(p.paint(sink, bm), 1);
    Painting shown = p;
    if (colours.w != bm.Width || colours.h != bm.Height) shown.source.reset();
    EXPECT_TRUE(same(sink.canvas, wanted(sink.canvas.area, shown, bm.ViewPerspective, colours)))
        << tell(p) << "view " << bm.ViewPerspective << ", bits " << bm.BitsPerPixel << ", order " << bm.Order;
    EXPECT_TRUE(sink.isClosed());
    EXPECT_EQ(bm.nLockCount, 0);
}

}  // namespace test
