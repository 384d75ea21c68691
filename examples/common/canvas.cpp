#include "canvas.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace examples {

namespace {

// A glyph is strokes between points of a grid: column 0 to 4, row 0 (top of capitals) to 6 (baseline) and 8
// (descenders). Two digits a point, a blank between strokes, a point by itself is doubled.
struct Glyph {
    char ch;
    const char* pStrokes;
};

constexpr Glyph kGlyphs[] = {
    {'A', "062046 1434"},
    {'B', "06003041423303 3344453606"},
    {'C', "4130100105163645"},
    {'D', "06003041453606"},
    {'E', "40000646 0333"},
    {'F', "400006 0333"},
    {'G', "41301001051636454323"},
    {'H', "0006 4046 0343"},
    {'I', "0006"},
    {'J', "303525160504"},
    {'K', "0006 4004 1346"},
    {'L', "000636"},
    {'M', "0600244046"},
    {'N', "06004640"},
    {'O', "100105163645413010"},
    {'P', "06003041423303"},
    {'Q', "100105163645413010 2446"},
    {'R', "06003041423303 2346"},
    {'S', "413010010213334445361605"},
    {'T', "0040 2026"},
    {'U', "000516364540"},
    {'V', "002640"},
    {'W', "0016223640"},
    {'X', "0046 4006"},
    {'Y', "002340 2326"},
    {'Z', "00400646"},
    {'a', "3322120305162635 3236"},
    {'b', "0006 0312223335261605"},
    {'c', "3322120305162635"},
    {'d', "3036 3322120305162635"},
    {'e', "04343322120305162635"},
    {'f', "20111116 0222"},
    {'g', "3322120305162635 3237281807"},
    {'h', "0006 0312223336"},
    {'i', "0206 0000"},
    {'j', "121708 1010"},
    {'k', "0006 3204 1336"},
    {'l', "0006"},
    {'m', "0206 03122326 23324346"},
    {'n', "0206 0312223336"},
    {'o', "120305162635332212"},
    {'p', "0208 0312223335261605"},
    {'q', "3238 3322120305162635"},
    {'r', "0206 031222"},
    {'s', "3212031424352606"},
    {'t', "101526 0222"},
    {'u', "0205162635 3236"},
    {'v', "022642"},
    {'w', "0216233642"},
    {'x', "0236 3206"},
    {'y', "0226 4218"},
    {'z', "02320636"},
    {'0', "100105162635312010"},
    {'1', "011016"},
    {'2', "01102031320636"},
    {'3', "01102031322313 233435261605"},
    {'4', "26200434"},
    {'5', "300003233435261605"},
    {'6', "312010010516263534231304"},
    {'7', "003016"},
    {'8', "130201102031322313 1304051626353423"},
    {'9', "051626353120100102132332"},
    {'.', "0606"},
    {',', "1607"},
    {':', "0303 0606"},
    {';', "1313 1607"},
    {'-', "0424"},
    {'+', "0424 1315"},
    {'/', "0630"},
    {'#', "1016 3036 0242 0444"},
    {'%', "0640 0001 4546"},
    {'(', "10010516"},
    {')', "00111506"},
    {'=', "0333 0535"},
    {'\'', "0001"},
    {'!', "0004 0606"},
    {'?', "01103041422324 2626"},
    {'<', "310335"},
    {'>', "013305"},
    {'_', "0747"},
    {'&', "46110110201105162634"},
};

const char* strokesOf(char ch) noexcept {
    const auto* pGlyph =
        std::find_if(std::begin(kGlyphs), std::end(kGlyphs), [=](const Glyph& glyph) { return glyph.ch == ch; });
    return pGlyph != std::end(kGlyphs) ? pGlyph->pStrokes : "";
}

// Columns from the start of a glyph to that of the next one.
double advance(char ch) noexcept {
    const char* pStrokes = strokesOf(ch);
    if (!*pStrokes) return 2.2;
    int nLast = 0;
    for (const char* p = pStrokes; *p; p += *p == ' ' ? 1 : 2)
        if (*p != ' ') nLast = std::max(nLast, *p - '0');
    return nLast + 1.7;
}

double distanceToSegment(double x, double y, double x0, double y0, double x1, double y1) noexcept {
    const double dx = x1 - x0, dy = y1 - y0, dLength = dx * dx + dy * dy;
    const double t = dLength > 0 ? std::clamp(((x - x0) * dx + (y - y0) * dy) / dLength, 0.0, 1.0) : 0;
    return std::hypot(x - x0 - t * dx, y - y0 - t * dy);
}

// The strokes of one glyph as a soft distance, so that joints are not drawn twice.
void drawGlyph(Canvas& canvas, double x, double y, double dUnit, double dRadius, Rgb color, const char* pStrokes) {
    const int nLeft = int(x - dRadius - 1), nRight = int(x + 4 * dUnit + dRadius + 2);
    const int nTop = int(y - 6 * dUnit - dRadius - 1), nBottom = int(y + 2 * dUnit + dRadius + 2);
    for (int j = nTop; j <= nBottom; ++j) {
        for (int i = nLeft; i <= nRight; ++i) {
            double dNearest = 1e9;
            for (const char* p = pStrokes; p[0] && p[1]; p += 2) {
                if (*p == ' ') ++p;
                const bool bLast = !p[2] || p[2] == ' ';
                if (bLast) continue;
                dNearest = std::min(dNearest, distanceToSegment(i + 0.5, j + 0.5, x + (p[0] - '0') * dUnit,
                                                                y + (p[1] - '0' - 6) * dUnit, x + (p[2] - '0') * dUnit,
                                                                y + (p[3] - '0' - 6) * dUnit));
            }
            canvas.blend(i, j, color, std::clamp(dRadius + 0.5 - dNearest, 0.0, 1.0));
        }
    }
}

}  // namespace

void Canvas::fill(int x, int y, int w, int h, Rgb color) noexcept {
    for (int j = std::max(y, 0); j < std::min(y + h, nHeight); ++j)
        for (int i = std::max(x, 0); i < std::min(x + w, nWidth); ++i) at(i, j) = color;
}

void Canvas::blend(int x, int y, Rgb color, double dCoverage) noexcept {
    if (x < 0 || y < 0 || x >= nWidth || y >= nHeight || dCoverage <= 0) return;
    Rgb& pixel = at(x, y);
    const auto mix = [=](uint8_t a, uint8_t b) { return uint8_t(std::lround(a + (b - a) * std::min(dCoverage, 1.0))); };
    pixel = {mix(pixel.red, color.red), mix(pixel.green, color.green), mix(pixel.blue, color.blue)};
}

double Canvas::text(double x, double y, double dSize, Rgb color, const std::string& text, double dWeight) {
    const double dUnit = dSize / 6;
    for (const char ch : text) {
        drawGlyph(*this, x, y, dUnit, std::max(dSize * dWeight / 2, 0.45), color, strokesOf(ch));
        x += advance(ch) * dUnit;
    }
    return x;
}

double Canvas::textWidth(double dSize, const std::string& text) {
    double dColumns = 0;
    for (const char ch : text) dColumns += advance(ch);
    return dColumns * dSize / 6;
}

}  // namespace examples
