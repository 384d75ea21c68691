#include "compose.h"

#include <ravokit/bitmaprgn.h>
#include <ravokit/combine.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "convert.h"
#include "failure.h"
#include "formats.h"
#include "progress.h"

namespace ravo {

namespace {

struct Operation {
    const char* pName;
    uint32_t uFlags;
};

constexpr Operation kOperations[] = {
    {"copy", COMBINE_COPY}, {"and", COMBINE_AND},           {"or", COMBINE_OR},
    {"xor", COMBINE_XOR},   {"add", COMBINE_ADD},           {"subtract", COMBINE_SUB_SRC},
    {"min", COMBINE_MIN},   {"multiply", COMBINE_MULTIPLY}, {"divide", COMBINE_DIV_SRC},
    {"max", COMBINE_MAX},   {"average", COMBINE_MEAN},
};

const Operation* findOperation(const std::string& name) noexcept {
    const auto* pFound = std::find_if(std::begin(kOperations), std::end(kOperations),
                                      [&](const Operation& operation) { return name == operation.pName; });
    return pFound != std::end(kOperations) ? pFound : nullptr;
}

struct Combination {
    std::string path{};
    const Operation* pOperation = nullptr;
    POINT at{};
};

// Read from its end, as the name of a file may have commas.
Combination parseCombination(const std::string& text) {
    const std::vector<std::string> parts = split(text, ',');
    for (const size_t nBehind : {size_t(0), size_t(2)}) {
        if (parts.size() < nBehind + 2) continue;
        const size_t nAt = parts.size() - 1 - nBehind;
        Combination result{parts[0], findOperation(parts[nAt])};
        if (!result.pOperation) continue;
        for (size_t i = 1; i < nAt; ++i) result.path += "," + parts[i];
        if (nBehind) result.at = {parseNumber(parts[nAt + 1]), parseNumber(parts[nAt + 2])};
        return result;
    }
    std::string names;
    for (const Operation& operation : kOperations) names += std::string(" ") + operation.pName;
    throw Failure("FILE,OP or FILE,OP,X,Y is expected, with OP one of" + names);
}

}  // namespace

void combineFile(Picture& picture, const std::string& text, uint32_t uDither) {
    const Combination wanted = parseCombination(text);
    Picture loaded = loadPicture(wanted.path);
    Picture other = convertPicture(loaded, formOf(picture), uDither);
    const SIZE size = viewedSize(*other);
    const Progress progress("combining");
    check(R_CombineBitmapKrn(picture.get(), wanted.at.x, wanted.at.y, size.width, size.height, other.get(), 0, 0,
                             wanted.pOperation->uFlags),
          "R_CombineBitmapKrn");
}

void warpPicture(Picture& picture, const std::array<POINT, 4>& corners, const GeometrySettings& settings) {
    const SIZE size = viewedSize(*picture);
    for (const POINT& corner : corners)
        if (corner.x < 0 || corner.y < 0 || corner.x >= size.width || corner.y >= size.height)
            throw Failure("a corner lies outside the picture");
    const Progress progress("warping");
    Picture canvas;
    check(R_CopyBitmap(canvas.get(), picture.get(), sizeof(BITMAPRECORD)), "R_CopyBitmap");
    check(R_FreeBitmapRgn(canvas.get()), "R_FreeBitmapRgn");
    check(R_FillBitmap2(canvas.get(), settings.background.cr, settings.background.nAlpha), "R_FillBitmap2");
    check(R_CombineBitmapWarp(canvas.get(), corners.data(), picture.get(), 0, 0, size.width, size.height,
                              settings.uTurn & ROT_BILINEAR ? uint32_t(WARP_BILINEAR) : 0),
          "R_CombineBitmapWarp");
    check(R_CopyBitmapRgn(canvas.get(), picture.get(), 0, 0), "R_CopyBitmapRgn");
    picture = std::move(canvas);
}

}  // namespace ravo
