// Arguments of steps. Each call takes the whole text or throws a Failure that says what was expected.
#pragma once

#include <ravokit/types.h>

#include <string>
#include <utility>
#include <vector>

#include "failure.h"

namespace ravo {

int32_t parseNumber(const std::string& text);
/// A number of bytes above 0, with k or m for 1024 and 1024 x 1024; it fits 32 bits.
uint32_t parseBytes(const std::string& text);
/// WxH, both above 0.
SIZE parseSize(const std::string& text);
/// X,Y,WxH as left, top and sizes; right and bottom are sums.
RECT parseRect(const std::string& text);

/// A whole number of 32 bits.
uint32_t parseKey(const std::string& text);
/// Degrees, to the hundredth, as hundredths.
int32_t parseAngle(const std::string& text);
/// WxH, or N% of a size; at least 1 x 1.
SIZE parseScale(const std::string& text, SIZE of);

/// The parts between separators, one at least.
std::vector<std::string> split(const std::string& text, char cSeparator);
/// X,Y with separators between.
std::vector<POINT> parsePoints(const std::string& text, char cSeparator);

/// The value that a table has for a name; pWhat tells what it has names of.
template <class T, size_t N>
T byName(const std::pair<const char*, T> (&table)[N], const std::string& name, const char* pWhat) {
    std::string names;
    for (const auto& [pName, value] : table) {
        if (name == pName) return value;
        names += std::string(" ") + pName;
    }
    throw Failure("'" + name + "' is no " + pWhat + "; there are" + names);
}

struct Color {
    COLORREF cr;
    uint32_t nAlpha;
};
/// #RRGGBB, #RRGGBBAA or a name.
Color parseColor(const std::string& text);

}  // namespace ravo
