// A drawing surface of 24-bit pixels for the example programs, with lettering of strokes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace examples {

struct Rgb {
    uint8_t red, green, blue;
};

class Canvas {
public:
    const int nWidth, nHeight;

    Canvas(int width, int height, Rgb color)
        : nWidth(width), nHeight(height), m_pixels(size_t(width) * size_t(height), color) {}

    Rgb& at(int x, int y) noexcept { return m_pixels[size_t(y) * size_t(nWidth) + size_t(x)]; }
    const Rgb& at(int x, int y) const noexcept { return m_pixels[size_t(y) * size_t(nWidth) + size_t(x)]; }
    /// A row as a bitmap of 24 bits in ORDER_RGB holds it.
    const uint8_t* row(int y) const noexcept { return &at(0, y).red; }

    void fill(int x, int y, int w, int h, Rgb color) noexcept;
    /// Mixes a colour into a pixel; dCoverage 0 to 1. Pixels outside are dropped.
    void blend(int x, int y, Rgb color, double dCoverage) noexcept;

    /// Letters whose capitals are dSize pixels high, with their baseline at y. Returns the x behind the text.
    double text(double x, double y, double dSize, Rgb color, const std::string& text, double dWeight = 0.13);
    static double textWidth(double dSize, const std::string& text);

private:
    std::vector<Rgb> m_pixels;
};

}  // namespace examples
