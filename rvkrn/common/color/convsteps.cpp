// Steps between the canonical forms of a row conversion: tables, widths, palette searches, alpha.
#include "internal/convsteps.h"
#include "internal/simd.h"

namespace rv {
namespace {

constexpr uint32_t colorKey(const Bgra8& c) noexcept { return c.b | uint32_t(c.g) << 8 | uint32_t(c.r) << 16; }
constexpr uint32_t colorKey(const Bgra16& c) noexcept {
    return c.b >> 8 | uint32_t(c.g >> 8) << 8 | uint32_t(c.r >> 8) << 16;
}

// Sets alpha by whether key(i) is the transparent one.
template <class Color, class Key>
inline void markAlpha(const RowWork& w, Color* to, size_t n, Key&& key) noexcept {
    constexpr uint32_t nWiden = sizeof to->a == 1 ? 1 : 257;
    const auto nHit = decltype(to->a)(w.uAlphaHit * nWiden), nMiss = decltype(to->a)(w.uAlphaMiss * nWiden);
    for (size_t i = 0; i < n; ++i) to[i].a = key(i) == w.uTransparent ? nHit : nMiss;
}

// Photographs and scans repeat their colours: a run of one colour is searched once.
template <class Find>
inline void searchColors(RowWork& w, size_t n, Find&& find) noexcept {
    for (size_t i = 0; i < n; ++i) {
        const Bgra8 c = w.color[i];
        if (const uint32_t uColor = colorKey(c); uColor != w.uColor) {
            w.uColor = uColor;
            w.nColorIndex = uint32_t(find(c));
        }
        w.level[i] = w.nColorIndex;
    }
}

}  // namespace

void levelToColor(RowWork& w, size_t n) noexcept {
    const RGBQUAD* table = w.pPaletteSrc;
    for (size_t i = 0; i < n; ++i) {
        const RGBQUAD q = table[w.level[i]];
        w.color[i] = {q.rgbBlue, q.rgbGreen, q.rgbRed, 255};
    }
}

void levelToWide(RowWork& w, size_t n) noexcept {
    const RGBQUAD64* table = w.pLUT16Src;
    for (size_t i = 0; i < n; ++i) {
        const RGBQUAD64 q = table[w.level[i]];
        w.wide[i] = {q.rgbBlue, q.rgbGreen, q.rgbRed, 65535};
    }
}

RV_CLONES void levelToGrayColor(RowWork& w, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) {
        const auto v = uint8_t(w.level[i]);
        w.color[i] = {v, v, v, 255};
    }
}

RV_CLONES void levelToGrayWide(RowWork& w, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) {
        const auto v = uint16_t(w.level[i]);
        w.wide[i] = {v, v, v, 65535};
    }
}

void levelToTable(RowWork& w, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) w.level[i] = w.table[w.level[i]];
}

RV_CLONES void colorToWide(RowWork& w, size_t n) noexcept {
    const auto widen = [](uint8_t v) { return uint16_t(v * 257); };
    for (size_t i = 0; i < n; ++i) {
        const Bgra8 c = w.color[i];
        w.wide[i] = {widen(c.b), widen(c.g), widen(c.r), widen(c.a)};
    }
}

RV_CLONES void wideToColor(RowWork& w, size_t n) noexcept {
    const auto high = [](uint16_t v) { return uint8_t(v >> 8); };
    for (size_t i = 0; i < n; ++i) {
        const Bgra16 c = w.wide[i];
        w.color[i] = {high(c.b), high(c.g), high(c.r), high(c.a)};
    }
}

void colorToIndex(RowWork& w, size_t n) noexcept {
    searchColors(w, n, [&](Bgra8 c) { return R_FindPaletteIndex(w.pPaletteDst, w.nColorsDst, c.r, c.g, c.b); });
}

void colorToMatch(RowWork& w, size_t n) noexcept {
    searchColors(w, n, [&](Bgra8 c) { return matchLookup(w.pMatchRoot, c.b, c.g, c.r); });
}

void fillAlpha(RowWork& w, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) w.color[i].a = w.uAlphaMiss;
}
void alphaByColor(RowWork& w, size_t n) noexcept {
    markAlpha(w, w.color, n, [&](size_t i) { return colorKey(w.color[i]); });
}
void alphaByIndex(RowWork& w, size_t n) noexcept {
    markAlpha(w, w.color, n, [&](size_t i) { return w.level[i]; });
}
void alphaByWide(RowWork& w, size_t n) noexcept {
    markAlpha(w, w.wide, n, [&](size_t i) { return colorKey(w.wide[i]); });
}
void alphaByWideIndex(RowWork& w, size_t n) noexcept {
    markAlpha(w, w.wide, n, [&](size_t i) { return w.level[i]; });
}

}  // namespace rv
