#include "level.h"

#include <ravokit/windowlevel.h>

#include <algorithm>
#include <iterator>

#include "convert.h"
#include "failure.h"
#include "parse.h"

namespace ravo {

namespace {

constexpr int32_t kUsualFactor = 20;

uint32_t parseCurve(const std::string& name) {
    static constexpr std::pair<const char*, uint32_t> kCurves[] = {
        {"linear", FILLLUT_LINEAR}, {"exp", FILLLUT_EXP}, {"log", FILLLUT_LOG}, {"sigmoid", FILLLUT_SIGMOID}};
    const auto* pCurve =
        std::find_if(std::begin(kCurves), std::end(kCurves), [&](const auto& curve) { return name == curve.first; });
    if (pCurve == std::end(kCurves)) throw Failure("the curves are linear, exp, log and sigmoid");
    return pCurve->second;
}

}  // namespace

Window parseWindow(const std::string& text) {
    const auto parts = split(text, ',');
    if (parts.size() != 2) throw Failure("'" + text + "' is no window: CENTER,WIDTH is expected");
    const int32_t nCenter = parseNumber(parts[0]), nWidth = parseNumber(parts[1]);
    if (nWidth < 2) throw Failure("a window is at least 2 wide");
    const int32_t nLow = nCenter - nWidth / 2;
    return {nLow, nLow + nWidth - 1, FILLLUT_LINEAR, 0};
}

Window parseLevel(const std::string& text) {
    const auto parts = split(text, ',');
    if (parts.size() < 2 || parts.size() > 4)
        throw Failure("'" + text + "' is no level: LOW,HIGH, a curve and its factor are expected");
    const Window window{parseNumber(parts[0]), parseNumber(parts[1]),
                        parts.size() > 2 ? parseCurve(parts[2]) : uint32_t(FILLLUT_LINEAR),
                        parts.size() > 3 ? parseNumber(parts[3]) : kUsualFactor};
    if (window.nLow >= window.nHigh) throw Failure("LOW is below HIGH");
    if (window.uCurve == FILLLUT_LOG && window.nFactor < 0) throw Failure("the factor of log is not below 0");
    return window;
}

void setWindow(Picture& picture, const Window& window, bool bSigned) {
    const int32_t nLowBit = std::max(picture->LowBit, 0);
    const int32_t nHighBit = picture->HighBit < 0 ? picture->BitsPerPixel - 1 : picture->HighBit;
    if (nHighBit - nLowBit >= 16) throw Failure("a window has samples of up to 16 bits; --gray 16 makes them");

    const int32_t nLevels = 1 << (nHighBit - nLowBit + 1);
    Palette table(size_t(nLevels), RGBQUAD{});
    check(R_WindowLevelFillLUT(table.data(), uint32_t(nLevels), 0x000000, 0xFFFFFF, window.nLow, window.nHigh,
                               uint32_t(nLowBit), uint32_t(nHighBit), bSigned ? -nLevels / 2 : 0,
                               bSigned ? nLevels / 2 - 1 : nLevels - 1, window.nFactor,
                               FILLLUT_INSIDE | window.uCurve | (bSigned ? FILLLUT_SIGNED : 0)),
          "R_WindowLevelFillLUT");
    check(R_WindowLevel(picture.get(), nLowBit, nHighBit, table.data(), uint32_t(nLevels), 1), "R_WindowLevel");
    picture->Flags &= ~uint32_t(BMF_SIGNED);  // from here on the table tells what is negative
}

void showWindow(Picture& picture, const Window& window) {
    if (picture->Order != ORDER_GRAY) picture = grayPicture(picture, picture->BitsPerPixel >= 48 ? 16 : 8);
    setWindow(picture, window, picture->Flags & BMF_SIGNED);
    picture = grayPicture(picture, 8);
}

}  // namespace ravo
