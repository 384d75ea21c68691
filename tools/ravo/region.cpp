#include "region.h"

#include <ravokit/colorrgn.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "failure.h"
#include "formats.h"

namespace ravo {

namespace {

constexpr RgnMapping kAsSeen{TOP_LEFT, 1, 1, 1, 1, 0, 0};

// ---- kinds -------------------------------------------------------------------------------------------------------

constexpr int32_t kFarthest = 1'000'000;  // a region takes memory by its rows

void checkNear(int32_t n) {
    if (n < -kFarthest || n > kFarthest) throw Failure("coordinates go up to " + std::to_string(kFarthest) + " here");
}

RECT parseBox(const std::string& text) {
    const RECT rect = parseRect(text);
    if (rect.left >= rect.right || rect.top >= rect.bottom) throw Failure("width and height are at least 1");
    return rect;
}

// What a rectangle has in common with the picture, all zero for nothing.
RECT cutRect(const Picture& picture, RECT rect) noexcept {
    const SIZE size = viewedSize(*picture);
    rect = {std::max(rect.left, 0), std::max(rect.top, 0), std::min(rect.right, size.width),
            std::min(rect.bottom, size.height)};
    return rect.left < rect.right && rect.top < rect.bottom ? rect : RECT{};
}

void setRect(Picture& picture, const std::string& text, const RegionSettings& settings) {
    const RECT rect = cutRect(picture, parseBox(text));
    check(R_SetBitmapRgnRect(picture.get(), &kAsSeen, &rect, settings.uMode), "R_SetBitmapRgnRect");
}

void setEllipse(Picture& picture, const std::string& text, const RegionSettings& settings) {
    const RECT rect = parseBox(text);
    for (const int32_t n : {rect.left, rect.top, rect.right, rect.bottom}) checkNear(n);
    check(R_SetBitmapRgnEllipse(picture.get(), &kAsSeen, &rect, settings.uMode), "R_SetBitmapRgnEllipse");
}

void setPolygon(Picture& picture, const std::string& text, const RegionSettings& settings) {
    const std::vector<POINT> points = parsePoints(text, ';');
    if (points.size() < 3) throw Failure("a polygon has three points at least: X,Y;X,Y;X,Y is expected");
    for (const POINT& point : points) checkNear(std::max(std::abs(point.x), std::abs(point.y)));
    check(R_SetBitmapRgnPolygon(picture.get(), &kAsSeen, points.data(), int32_t(points.size()), settings.nFillMode,
                                settings.uMode),
          "R_SetBitmapRgnPolygon");
}

void setColor(Picture& picture, const std::string& text, const RegionSettings& settings) {
    check(R_SetBitmapRgnColor(picture.get(), parseColor(text).cr, settings.uMode), "R_SetBitmapRgnColor");
}

void setRange(Picture& picture, const std::string& text, const RegionSettings& settings) {
    const std::vector<std::string> colors = split(text, ',');
    if (colors.size() != 2) throw Failure("two colours are expected: the least and the largest samples");
    check(
        R_SetBitmapRgnColorRGBRange(picture.get(), parseColor(colors[0]).cr, parseColor(colors[1]).cr, settings.uMode),
        "R_SetBitmapRgnColorRGBRange");
}

// A pixel of the picture as it is stored.
POINT parseSeed(const Picture& picture, const std::string& x, const std::string& y) {
    const POINT seen{parseNumber(x), parseNumber(y)};
    const SIZE size = viewedSize(*picture);
    if (seen.x < 0 || seen.y < 0 || seen.x >= size.width || seen.y >= size.height)
        throw Failure("the pixel lies outside the picture");
    return storedPoint(*picture, seen.x, seen.y);
}

COLORREF parseTolerance(const std::string& text) {
    const int32_t n = parseNumber(text);
    if (n < 0 || n > 255) throw Failure("a tolerance goes from 0 to 255");
    return COLORREF(n) * 0x010101;
}

void setWand(Picture& picture, const std::string& text, const RegionSettings& settings) {
    const std::vector<std::string> parts = split(text, ',');
    if (parts.size() != 2 && parts.size() != 3) throw Failure("X,Y[,TOLERANCE] is expected");
    const POINT seed = parseSeed(picture, parts[0], parts[1]);
    const COLORREF crTolerance = parts.size() == 3 ? parseTolerance(parts[2]) : 0;
    check(R_SetBitmapRgnMagicWand(picture.get(), seed.y, seed.x, crTolerance, crTolerance, settings.uMode),
          "R_SetBitmapRgnMagicWand");
}

void setBorder(Picture& picture, const std::string& text, const RegionSettings& settings) {
    const std::vector<std::string> parts = split(text, ',');
    if (parts.size() != 3 && parts.size() != 4) throw Failure("X,Y,COLOR[,TOLERANCE] is expected");
    const POINT seed = parseSeed(picture, parts[0], parts[1]);
    const COLORREF crTolerance = parts.size() == 4 ? parseTolerance(parts[3]) : 0xFFFFFF;  // the border alone counts
    check(R_SetBitmapRgnBorder(picture.get(), seed.y, seed.x, parseColor(parts[2]).cr, crTolerance, crTolerance,
                               settings.uMode),
          "R_SetBitmapRgnBorder");
}

void setMask(Picture& picture, const std::string& path, const RegionSettings& settings) {
    Picture mask = loadPicture(path);
    if (mask->ViewPerspective != TOP_LEFT) mask = upright(mask);
    check(R_SetBitmapRgnFromMask(picture.get(), &kAsSeen, mask.get(), settings.uMode), "R_SetBitmapRgnFromMask");
}

void setNone(Picture& picture, const std::string&, const RegionSettings&) {
    check(R_FreeBitmapRgn(picture.get()), "R_FreeBitmapRgn");
}

}  // namespace

uint32_t parseMode(const std::string& text) {
    static constexpr std::pair<const char*, uint32_t> kModes[] = {{"set", RGN_MODE_SET},
                                                                  {"and", RGN_MODE_AND},
                                                                  {"or", RGN_MODE_OR},
                                                                  {"xor", RGN_MODE_XOR},
                                                                  {"minus", RGN_MODE_OLD_MINUS_NEW},
                                                                  {"not", RGN_MODE_SET_NOT}};
    return byName(kModes, text, "mode");
}

int32_t parseFillMode(const std::string& text) {
    static constexpr std::pair<const char*, int32_t> kRules[] = {{"nonzero", 0}, {"evenodd", 1}};
    return byName(kRules, text, "rule");
}

int32_t argumentsOfKind(const std::string& kind) noexcept { return kind == "none" ? 0 : 1; }

void setRegion(Picture& picture, const std::string& text, const RegionSettings& settings) {
    using Set = void (*)(Picture & picture, const std::string& text, const RegionSettings& settings);
    static constexpr std::pair<const char*, Set> kKinds[] = {
        {"rect", setRect}, {"ellipse", setEllipse}, {"polygon", setPolygon}, {"color", setColor}, {"range", setRange},
        {"wand", setWand}, {"border", setBorder},   {"mask", setMask},       {"none", setNone}};
    const size_t nSpace = std::min(text.find(' '), text.size());
    const Set set = byName(kKinds, text.substr(0, nSpace), "region");
    set(picture, text.substr(std::min(nSpace + 1, text.size())), settings);
}

Region regionOf(const Picture& picture) {
    RavoRgn* pRgn = nullptr;
    check(R_CloneRavoRgn(&*picture, &pRgn, nullptr), "R_CloneRavoRgn");
    if (!pRgn) {
        const SIZE size = viewedSize(*picture);
        const RECT all{0, 0, size.width, size.height};
        check(R_CreateRavoRgnRect(&pRgn, &all), "R_CreateRavoRgnRect");
    }
    return Region(pRgn);
}

void fillRect(Picture& picture, RECT rect, Color color) {
    rect = cutRect(picture, rect);
    if (rect.left == rect.right) throw Failure("the rectangle lies outside the picture");
    RavoRgn* pKept = nullptr;
    check(R_CopyRavoRgn(&pKept, picture->pRgnInfo), "R_CopyRavoRgn");
    Region kept(pKept);
    check(R_SetBitmapRgnRect(picture.get(), &kAsSeen, &rect, RGN_MODE_AND), "R_SetBitmapRgnRect");
    check(R_FillBitmap2(picture.get(), color.cr, color.nAlpha), "R_FillBitmap2");
    check(R_SetBitmapRgn(picture.get(), nullptr, kept.release(), RGN_MODE_SET), "R_SetBitmapRgn");
}

void saveMask(const Picture& picture, const std::string& path) {
    Picture mask;
    check(R_CreateMaskFromBitmapRgn(&*picture, mask.get(), sizeof(BITMAPRECORD)), "R_CreateMaskFromBitmapRgn");
    savePicture(mask, path);
}

void setRegionOfFile(Picture& picture, const std::string& path, const RegionSettings& settings) {
    Region region = loadRegion(path);
    const SIZE size = viewedSize(*picture);
    const RECT all{0, 0, size.width, size.height};  // far coordinates would not stand a turn
    check(R_ClipRavoRgnRect(region.get(), &all), "R_ClipRavoRgnRect");
    check(R_SetBitmapRgn(picture.get(), &kAsSeen, region.release(), settings.uMode), "R_SetBitmapRgn");
}

}  // namespace ravo
