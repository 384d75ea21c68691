// A surface in memory that paints go to: 32 bits a pixel, blue first, the last byte always 255.
//
// Its sink draws exactly what it gets: rows of 1, 4 and 8 bits with a table of colours, 16 bits (5-5-5), 24, and 32 and
// 64 with alpha, which are blended over what is there. Pixels of other sizes are stretched by the nearest one. Overlays
// change only the pixels with index 1. All of that stays inside the clip, a rectangle or a region.
//
//     Canvas canvas({640, 480});
//     canvas.fill({0, 0, 640, 480}, 0xFFFFFF);
//     const PAINTCALLBACKS sink = canvas.sink();
//     R_PaintDCCallback(&sink, picture.get(), nullptr, nullptr, &place, nullptr, 0);
//     savePicture(canvas.picture(), "out.png");
#pragma once

#include <ravokit/paint.h>

#include <memory>
#include <utility>
#include <vector>

#include "picture.h"

namespace ravo {

constexpr bool isEmpty(const RECT& r) noexcept { return r.left >= r.right || r.top >= r.bottom; }
constexpr RECT intersection(const RECT& a, const RECT& b) noexcept {
    return {a.left > b.left ? a.left : b.left, a.top > b.top ? a.top : b.top, a.right < b.right ? a.right : b.right,
            a.bottom < b.bottom ? a.bottom : b.bottom};
}
/// The bounds of both; an empty one doesn't count.
constexpr RECT bounds(const RECT& a, const RECT& b) noexcept {
    if (isEmpty(a)) return b;
    if (isEmpty(b)) return a;
    return {a.left < b.left ? a.left : b.left, a.top < b.top ? a.top : b.top, a.right > b.right ? a.right : b.right,
            a.bottom > b.bottom ? a.bottom : b.bottom};
}

class Canvas {
public:
    /// A black surface of its own.
    explicit Canvas(SIZE size);
    /// A surface over pixels that stay the caller's, nStride bytes from row to row.
    Canvas(void* pPixels, SIZE size, size_t nStride);
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    SIZE size() const noexcept { return m_size; }
    RECT rect() const noexcept { return {0, 0, m_size.width, m_size.height}; }
    uint32_t* row(int32_t y) noexcept { return reinterpret_cast<uint32_t*>(m_pPixels + size_t(y) * m_nStride); }
    const uint32_t* row(int32_t y) const noexcept { return const_cast<Canvas*>(this)->row(y); }

    /// The callbacks that paint here, for as long as the canvas stays where it is. They never take palette indices.
    PAINTCALLBACKS sink() noexcept;
    /// What the sink says to be: a device of 1, 4, 8, or 24 bits, as it is one at first. Pixels stay 32 bits wide.
    void pretendDepth(int32_t nBits) noexcept { m_nDeviceBits = nBits; }

    /// Confines what is drawn from here on, paints and fills.
    void setClip(const RECT& rect) noexcept;
    void resetClip() noexcept { setClip(rect()); }

    /// Fills with a colour, 0xRRGGBB.
    void fill(const RECT& where, uint32_t uColor) noexcept;
    /// Moves the pixels of a rectangle by (dx, dy) within it. Those for which none comes stay.
    void scroll(const RECT& where, int32_t dx, int32_t dy) noexcept;

    /// Bounds of what the sink drew since the last call.
    RECT takeDrawn() noexcept { return std::exchange(m_drawn, RECT{}); }

    /// A copy as a picture of 24 bits.
    Picture picture() const { return picture(rect()); }
    Picture picture(const RECT& part) const;

private:
    struct Region;
    struct Clip {
        RECT rect;
        std::shared_ptr<const Region> pRegion;  // null: all of rect
    };
    struct Band;
    struct Calls;

    void stretch(const Band& band);
    bool selectRegion(RVHANDLE h, int32_t nMode);
    void drawRow(const Band& band, int32_t y, const RECT& visible);
    template <class Body>
    void forSpans(int32_t y, const RECT& visible, Body&& body) const;

    std::vector<uint8_t> m_own;
    uint8_t* m_pPixels;
    SIZE m_size;
    size_t m_nStride;
    int32_t m_nDeviceBits = 24;
    bool m_bPremultiplied = false;
    Clip m_clip;
    std::vector<Clip> m_saved;
    RECT m_drawn{};
    std::vector<uint32_t> m_fetched;  // a source row in the canvas's pixels, with its alpha
    std::vector<uint32_t> m_placed;   // the same stretched
    std::vector<int32_t> m_columns;   // the source column of each visible one
    int32_t m_nFetchedRow = -1;
};

}  // namespace ravo
