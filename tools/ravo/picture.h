// The picture that a chain works on: a bitmap that frees itself, its rows, and its view.
#pragma once

#include <ravokit/ravokit.h>

#include <utility>
#include <vector>

namespace ravo {

using Palette = std::vector<RGBQUAD>;
using Row = std::vector<uint8_t>;

/// The kind of a colour that is an index into the palette.
constexpr COLORREF kIndexReference = 0x01000000;

class Picture {
    BITMAPRECORD m_bm{};

public:
    Picture() = default;
    /// A new bitmap, cleared. A palette has 2^nBits entries; an empty one asks for the fixed palette.
    Picture(int32_t nWidth, int32_t nHeight, int32_t nBits, int32_t nOrder, const Palette& palette = {},
            int32_t nView = TOP_LEFT);
    Picture(Picture&& other) noexcept : m_bm(std::exchange(other.m_bm, {})) {}
    Picture& operator=(Picture&& other) noexcept {
        std::swap(m_bm, other.m_bm);
        return *this;
    }
    Picture(const Picture&) = delete;
    ~Picture() { R_FreeBitmap(&m_bm); }  // a record without a size is left alone

    BITMAPRECORD* get() noexcept { return &m_bm; }
    BITMAPRECORD* operator->() noexcept { return &m_bm; }
    BITMAPRECORD& operator*() noexcept { return m_bm; }
    const BITMAPRECORD* operator->() const noexcept { return &m_bm; }
    const BITMAPRECORD& operator*() const noexcept { return m_bm; }

    Palette palette() const { return {m_bm.pPalette, m_bm.pPalette + (m_bm.pPalette ? m_bm.nColors : 0)}; }
};

/// A picture is locked for the time of this object.
class Access {
    BITMAPRECORD& m_bm;

public:
    explicit Access(Picture& picture);
    Access(const Access&) = delete;
    Access& operator=(const Access&) = delete;
    ~Access() { R_ReleaseBitmap(&m_bm); }
};

/// Row nRow as stored, in and out; the buffer has BytesPerLine bytes. The picture is locked.
void getRow(Picture& picture, uint8_t* pRow, int32_t nRow);
void putRow(Picture& picture, const uint8_t* pRow, int32_t nRow);

/// A grey palette of 2^nBits entries from black to white, or from white to black.
Palette grayPalette(int32_t nBits, bool bDescending = false);
/// A palette with all entries of its depth. Those that are not there become a colour that is, so that none comes in.
Palette wholePalette(Palette palette, int32_t nBits);
bool samePalette(const Palette& a, const Palette& b) noexcept;
/// All entries are grey, in whatever order.
bool isGrayPalette(const Palette& palette) noexcept;

/// The pixels have a fourth sample for alpha.
bool hasAlpha(const BITMAPRECORD& bm) noexcept;

/// Size of the picture as seen, which is the stored size, or that turned.
SIZE viewedSize(const BITMAPRECORD& bm) noexcept;
/// The stored column and row of a pixel of the picture as seen.
POINT storedPoint(const BITMAPRECORD& bm, int32_t x, int32_t y) noexcept;
/// The stored place of a rectangle of the picture as seen; it may reach outside.
RECT storedRect(const BITMAPRECORD& bm, RECT viewed) noexcept;
const char* viewName(int32_t nView) noexcept;
/// The same picture with TOP_LEFT as its view.
Picture upright(Picture& picture);

}  // namespace ravo
