#include "parse.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

namespace ravo {

namespace {

// Sums and differences of coordinates stay far inside 32 bits.
constexpr int32_t kMostCoordinate = 1 << 29;

struct NamedColor {
    const char* pName;
    uint32_t nRgba;
};

constexpr NamedColor kColors[] = {
    {"black", 0x000000FF},   {"white", 0xFFFFFFFF},  {"gray", 0x808080FF},   {"silver", 0xC0C0C0FF},
    {"red", 0xFF0000FF},     {"maroon", 0x800000FF}, {"orange", 0xFFA500FF}, {"yellow", 0xFFFF00FF},
    {"olive", 0x808000FF},   {"lime", 0x00FF00FF},   {"green", 0x008000FF},  {"teal", 0x008080FF},
    {"cyan", 0x00FFFFFF},    {"blue", 0x0000FFFF},   {"navy", 0x000080FF},   {"purple", 0x800080FF},
    {"magenta", 0xFF00FFFF}, {"brown", 0xA52A2AFF},  {"pink", 0xFFC0CBFF},   {"transparent", 0},
};

template <class T, class... How>
bool parseWhole(const char* p, const char* pEnd, T& value, How... how) {
    const auto result = std::from_chars(p, pEnd, value, how...);
    return result.ec == std::errc() && result.ptr == pEnd;
}

}  // namespace

int32_t parseNumber(const std::string& text) {
    int32_t n = 0;
    if (!parseWhole(text.data(), text.data() + text.size(), n) || n > kMostCoordinate || n < -kMostCoordinate)
        throw Failure("'" + text + "' is no number that fits here");
    return n;
}

uint32_t parseBytes(const std::string& text) {
    const char* pEnd = text.data() + text.size();
    uint32_t nUnit = 1;
    if (text.ends_with('k') || text.ends_with('m')) nUnit = *--pEnd == 'k' ? 1u << 10 : 1u << 20;
    uint32_t n = 0;
    if (!parseWhole(text.data(), pEnd, n) || n == 0 || n > UINT32_MAX / nUnit)
        throw Failure("'" + text + "' is no number of bytes that fits here: N, Nk or Nm is expected");
    return n * nUnit;
}

SIZE parseSize(const std::string& text) {
    const size_t nCross = text.find('x');
    const SIZE size = nCross == std::string::npos
                          ? SIZE{}
                          : SIZE{parseNumber(text.substr(0, nCross)), parseNumber(text.substr(nCross + 1))};
    if (size.width <= 0 || size.height <= 0) throw Failure("'" + text + "' is no size: WxH is expected");
    return size;
}

uint32_t parseKey(const std::string& text) {
    uint32_t n = 0;
    if (!parseWhole(text.data(), text.data() + text.size(), n))
        throw Failure("'" + text + "' is no key: a number of 0 to 4294967295 is expected");
    return n;
}

int32_t parseAngle(const std::string& text) {
    double d = 0;
    if (!parseWhole(text.data(), text.data() + text.size(), d) || !(std::abs(d) <= 36000))
        throw Failure("'" + text + "' is no angle in degrees");
    return int32_t(std::lround(d * 100));
}

SIZE parseScale(const std::string& text, SIZE of) {
    if (!text.ends_with('%')) return parseSize(text);
    double d = 0;
    if (!parseWhole(text.data(), text.data() + text.size() - 1, d) || !(d > 0))
        throw Failure("'" + text + "' is no percentage");
    const auto scaled = [d](int32_t n) {
        const double dScaled = std::max(1.0, std::round(n * d / 100));
        if (dScaled > kMostCoordinate) throw Failure("the picture would be too large");
        return int32_t(dScaled);
    };
    return {scaled(of.width), scaled(of.height)};
}

RECT parseRect(const std::string& text) {
    const size_t nFirst = text.find(','), nSecond = text.find(',', nFirst + 1), nCross = text.find('x', nSecond + 1);
    if (nFirst == std::string::npos || nSecond == std::string::npos || nCross == std::string::npos)
        throw Failure("'" + text + "' is no rectangle: X,Y,WxH is expected");
    const int32_t x = parseNumber(text.substr(0, nFirst));
    const int32_t y = parseNumber(text.substr(nFirst + 1, nSecond - nFirst - 1));
    const int32_t w = parseNumber(text.substr(nSecond + 1, nCross - nSecond - 1));
    const int32_t h = parseNumber(text.substr(nCross + 1));
    return {x, y, x + w, y + h};
}

std::vector<std::string> split(const std::string& text, char cSeparator) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == cSeparator)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

std::vector<POINT> parsePoints(const std::string& text, char cSeparator) {
    std::vector<POINT> points;
    for (const std::string& part : split(text, cSeparator)) {
        const std::vector<std::string> xy = split(part, ',');
        if (xy.size() != 2) throw Failure("'" + part + "' is no point: X,Y is expected");
        points.push_back({parseNumber(xy[0]), parseNumber(xy[1])});
    }
    return points;
}

Color parseColor(const std::string& text) {
    uint32_t nRgba = 0;
    if (!text.empty() && text[0] == '#') {
        const char *p = text.data() + 1, *pEnd = text.data() + text.size();
        const size_t nDigits = text.size() - 1;
        if ((nDigits != 6 && nDigits != 8) || !parseWhole(p, pEnd, nRgba, 16))
            throw Failure("'" + text + "' is no colour: #RRGGBB or #RRGGBBAA is expected");
        if (nDigits == 6) nRgba = nRgba << 8 | 0xFF;
    } else {
        const auto* pColor = std::find_if(std::begin(kColors), std::end(kColors), [&](const NamedColor& color) {
            return strcasecmp(color.pName, text.c_str()) == 0;
        });
        if (pColor == std::end(kColors)) {
            std::string names;
            for (const NamedColor& color : kColors) names += std::string(" ") + color.pName;
            throw Failure("'" + text + "' is no colour: #RRGGBB, #RRGGBBAA or one of" + names);
        }
        nRgba = pColor->nRgba;
    }
    return {nRgba >> 24 | (nRgba >> 8 & 0xFF00) | (nRgba & 0xFF00) << 8, nRgba & 0xFF};
}

}  // namespace ravo
