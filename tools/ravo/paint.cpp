#include "paint.h"

#include <ravokit/bitmaprgn.h>
#include <ravokit/paint.h>

#include "canvas.h"
#include "failure.h"
#include "formats.h"
#include "progress.h"

namespace ravo {

namespace {

constexpr uint32_t kAllModes = 0xFFFFFFFF;

// The thread's display mode for the time of a scope.
class DisplayMode {
    uint32_t m_uOld = R_GetDisplayMode();

public:
    explicit DisplayMode(const std::optional<uint32_t>& mode) {
        if (mode) R_SetDisplayMode(kAllModes, *mode);
    }
    DisplayMode(const DisplayMode&) = delete;
    DisplayMode& operator=(const DisplayMode&) = delete;
    ~DisplayMode() { R_SetDisplayMode(kAllModes, m_uOld); }
};

void setColors(Picture& picture, const PaintSettings& settings) {
    check(R_SetPaintIntensity(picture.get(), settings.nIntensity), "R_SetPaintIntensity");
    check(R_SetPaintContrast(picture.get(), settings.nContrast), "R_SetPaintContrast");
    check(R_SetPaintGamma(picture.get(), settings.uGamma), "R_SetPaintGamma");
}

constexpr uint32_t rgbOf(COLORREF cr) noexcept { return (cr & 255) << 16 | (cr & 0xFF00) | (cr >> 16 & 255); }

}  // namespace

uint32_t parseFit(const std::string& text) {
    static constexpr std::pair<const char*, uint32_t> kFits[] = {{"normal", FIT_NORMAL},   {"if-larger", FIT_IF_LARGER},
                                                                 {"always", FIT_ALWAYS},   {"width", FIT_WIDTH},
                                                                 {"stretch", FIT_STRETCH}, {"height", FIT_HEIGHT}};
    return byName(kFits, text, "fit");
}

int32_t parseDevice(const std::string& text) {
    const int32_t nBits = parseNumber(text);
    if (nBits != 1 && nBits != 4 && nBits != 8 && nBits != 24) throw Failure("a device has 1, 4, 8 or 24 bits");
    return nBits;
}

uint32_t parseDisplayMode(const std::string& text) {
    static constexpr std::pair<const char*, uint32_t> kModes[] = {{"ordered-dither", DM_ORDERED_DITHER},
                                                                  {"direct-stretch", DM_DIRECT_STRETCH},
                                                                  {"indexed-paint", DM_INDEXED_PAINT},
                                                                  {"dither", DM_DITHER},
                                                                  {"bitonal-coverage", DM_BITONAL_COVERAGE},
                                                                  {"dither-clustered", DM_DITHER_CLUSTERED},
                                                                  {"bitonal-smooth", DM_BITONAL_SMOOTH},
                                                                  {"dither-8bit", DM_DITHER_8BIT},
                                                                  {"fixed-palette-alt", DM_FIXED_PALETTE_ALT},
                                                                  {"resample", DM_RESAMPLE},
                                                                  {"bicubic", DM_BICUBIC},
                                                                  {"rgb-swap", DM_RGB_SWAP},
                                                                  {"reset-indices", DM_RESET_INDICES}};
    if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos) return uint32_t(parseNumber(text));
    uint32_t uMode = 0;
    for (const std::string& name : split(text, '+')) uMode |= byName(kModes, name, "flag of the display mode");
    return uMode;
}

void paintPicture(Picture& picture, SIZE size, const PaintSettings& settings, const Color& background) {
    const Progress progress("painting");
    checkSize(uint64_t(int64_t(size.width)), uint64_t(int64_t(size.height)));
    const SIZE from = viewedSize(*picture);
    RECT place{0, 0, size.width, size.height};
    check(R_CalculatePaintModeRectangle(from.width, from.height, &place, settings.uFit, ALIGN_CENTER, ALIGN_CENTER),
          "R_CalculatePaintModeRectangle");
    setColors(picture, settings);
    Canvas canvas(size);
    canvas.pretendDepth(settings.nDeviceBits);
    canvas.fill(canvas.rect(), rgbOf(background.cr));
    const PAINTCALLBACKS sink = canvas.sink();
    const DisplayMode mode(settings.displayMode);
    if (R_BitmapHasRgn(picture.get()))
        check(R_PaintRgnDCCallback(&sink, picture.get(), nullptr, nullptr, &place, nullptr, 0), "R_PaintRgnDCCallback");
    else
        check(R_PaintDCCallback(&sink, picture.get(), nullptr, nullptr, &place, nullptr, 0), "R_PaintDCCallback");
    Picture painted = canvas.picture();
    painted->XResolution = picture->XResolution;
    painted->YResolution = picture->YResolution;
    picture = std::move(painted);
}

}  // namespace ravo
