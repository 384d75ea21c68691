#include "steps.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "alpha.h"
#include "compose.h"
#include "failure.h"
#include "formats.h"
#include "level.h"
#include "overlay.h"
#include "parse.h"
#include "pixel.h"
#include "progress.h"
#include "space.h"
#include "storage.h"
#include "underlay.h"

namespace ravo {

namespace {

// ---- parts of the picture ----------------------------------------------------------------------------------------

void cutStored(Picture& picture, RECT rect) {
    const Progress progress("cropping");
    check(R_CopyBitmapRect(picture.get(), picture.get(), sizeof(BITMAPRECORD), rect.left, rect.top,
                           rect.right - rect.left, rect.bottom - rect.top),
          "R_CopyBitmapRect");
}

void crop(Chain& chain, const std::string& argument) {
    cutStored(chain.picture, storedRect(*chain.picture, parseRect(argument)));
}

// Gives equal colours equal numbers, in palettes that hold a colour more than once.
class PixelReader {
    int32_t m_nBits;
    std::array<uint16_t, 256> m_first{};

public:
    explicit PixelReader(const Picture& picture) : m_nBits(picture->BitsPerPixel) {
        const Palette palette = picture.palette();
        for (size_t i = 0; i < palette.size(); ++i)
            for (m_first[i] = 0; !samePalette({palette[m_first[i]]}, {palette[i]});) ++m_first[i];
    }
    uint64_t operator()(const uint8_t* pRow, int32_t x) const noexcept {
        const uint64_t n = readPixel(pRow, x, m_nBits);
        return m_nBits <= 8 ? m_first[size_t(n)] : n;
    }
};

// The border is what has the colour of the top left pixel; the rest is found in stored rows.
void trim(Chain& chain, const std::string&) {
    Picture& picture = chain.picture;
    RECT inner{picture->Width, picture->Height, 0, 0};
    {
        const PixelReader read(picture);
        const POINT corner = storedPoint(*picture, 0, 0);
        Row row(picture->BytesPerLine);
        const Access lock(picture);
        getRow(picture, row.data(), corner.y);
        const uint64_t nBorder = read(row.data(), corner.x);
        for (int32_t y = 0; y < picture->Height; ++y) {
            getRow(picture, row.data(), y);
            int32_t nLeft = 0, nRight = picture->Width;
            while (nLeft < nRight && read(row.data(), nLeft) == nBorder) ++nLeft;
            while (nRight > nLeft && read(row.data(), nRight - 1) == nBorder) --nRight;
            if (nLeft == nRight) continue;
            inner = {std::min(inner.left, nLeft), std::min(inner.top, y), std::max(inner.right, nRight), y + 1};
        }
    }
    if (inner.right == 0) throw Failure("the picture is all of one colour, so nothing would be left");
    cutStored(picture, inner);
}

// ---- form of the pixels ------------------------------------------------------------------------------------------

void wantBits(Chain& chain, const std::string& argument) {
    static constexpr int32_t kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};
    const int32_t nBits = parseNumber(argument);
    if (std::find(std::begin(kDepths), std::end(kDepths), nBits) == std::end(kDepths))
        throw Failure("there are depths of 1 to 8, 12, 16, 24, 32, 48 and 64 bits");
    chain.wanted.nBits = nBits;
}

void wantOrder(Chain& chain, const std::string& argument) {
    if (argument != "rgb" && argument != "bgr" && argument != "gray") throw Failure("the orders are rgb, bgr and gray");
    chain.wanted.nOrder = argument == "rgb" ? ORDER_RGB : argument == "bgr" ? ORDER_BGR : ORDER_GRAY;
}

void wantPalette(Chain& chain, const std::string& argument) {
    chain.wanted.palette = argument;
    if (argument == "fixed" || argument == "gray" || argument == "web") return;
    chain.wanted.entries = loadPicture(argument).palette();
    if (chain.wanted.entries.empty()) throw Failure("the picture has no palette");
    for (RGBQUAD& entry : chain.wanted.entries) entry.rgbReserved = 0;  // would tell a role
}

void convertAsWanted(Chain& chain) {
    const WantedForm wanted = std::exchange(chain.wanted, {});
    try {
        const Form form = resolveForm(chain.picture, wanted);
        chain.picture = convertPicture(chain.picture, form, chain.uDither);
    } catch (const Failure& failure) {
        throw Failure(wanted.steps + ": " + failure.what());
    }
}

void gray(Chain& chain, const std::string& argument) {
    const int32_t nBits = argument.empty() ? 8 : parseNumber(argument);
    if (nBits != 8 && nBits != 12 && nBits != 16 && nBits != 32) throw Failure("grey has 8, 12, 16 or 32 bits");
    chain.picture = grayPicture(chain.picture, nBits);
}

void window(Chain& chain, const std::string& argument) { showWindow(chain.picture, parseWindow(argument)); }
void level(Chain& chain, const std::string& argument) { showWindow(chain.picture, parseLevel(argument)); }

void colors(Chain& chain, const std::string& argument) {
    const int32_t nColors = parseNumber(argument);
    if (nColors < 2 || nColors > 256) throw Failure("there may be 2 to 256 colours");
    chain.picture = bestColors(chain.picture, uint32_t(nColors), chain.uDither);
}

void setDither(Chain& chain, const std::string& argument) {
    // By the number of the method.
    static constexpr const char* kMethods[] = {"none",      "floyd",  "stucki",  "burkes",   "sierra",
                                               "stevenson", "jarvis", "ordered", "clustered"};
    const auto* pMethod = std::find(std::begin(kMethods), std::end(kMethods), argument);
    if (pMethod == std::end(kMethods)) {
        std::string names;
        for (const char* pName : kMethods) names += std::string(" ") + pName;
        throw Failure("'" + argument + "' is no method of dithering; there are" + names);
    }
    chain.uDither = uint32_t(pMethod - kMethods);
}

void alpha(Chain& chain, const std::string& argument) {
    Picture& picture = chain.picture;
    if (argument == "extract") {
        picture = alphaOf(picture);
        return;
    }
    if (!argument.starts_with("set ")) throw Failure("extract, set FILE or set VALUE is expected");
    const std::string source = argument.substr(4);
    if (source.find_first_not_of("0123456789") != std::string::npos) {
        setAlpha(picture, loadPicture(source));
        return;
    }
    const int32_t nAlpha = parseNumber(source);
    if (nAlpha > 255) throw Failure("alpha goes from 0 to 255");
    setAlpha(picture, uint32_t(nAlpha));
}

void premultiply(Chain& chain, const std::string&) {
    if (!hasAlpha(*chain.picture)) throw Failure("the picture has no alpha");
    multiplyAlpha(chain.picture, true);
}

// ---- pixels ------------------------------------------------------------------------------------------------------

void fill(Chain& chain, const std::string& argument) {
    Picture& picture = chain.picture;
    const size_t nComma = argument.find(',');
    const Color color = parseColor(argument.substr(0, nComma));
    if (nComma == std::string::npos) {
        check(R_FillBitmap2(picture.get(), color.cr, color.nAlpha), "R_FillBitmap2");
        return;
    }
    fillRect(picture, parseRect(argument.substr(nComma + 1)), color);
}

void underlay(Chain& chain, const std::string& argument) { underlayPicture(chain.picture, argument); }
void combine(Chain& chain, const std::string& argument) { combineFile(chain.picture, argument, chain.uDither); }

// Stored rows turn round, and the view tells it, so that the picture stays as it is.
void invertView(Chain& chain, const std::string&) {
    check(R_IntFlipBitmap(chain.picture.get()), "R_IntFlipBitmap");
    BITMAPRECORD& bm = *chain.picture;
    check((bm.ViewPerspective >= LEFT_TOP ? R_ReverseBitmapViewPerspective : R_FlipBitmapViewPerspective)(&bm),
          "R_FlipBitmapViewPerspective");
}

// ---- size and direction ------------------------------------------------------------------------------------------

void resize(Chain& chain, const std::string& argument) {
    const SIZE size = parseScale(argument, viewedSize(*chain.picture));
    chain.waiting = [size](Chain& c) { resizePicture(c.picture, size, c.geometry); };
}

void setFilter(Chain& chain, const std::string& argument) {
    static constexpr std::pair<const char*, uint32_t> kFilters[] = {{"nearest", 0},
                                                                    {"resample", RSZ_RESAMPLE},
                                                                    {"coarse", RSZ_RESAMPLE_COARSE},
                                                                    {"bicubic", RSZ_BICUBIC},
                                                                    {"favor-black", RSZ_FAVOUR_BLACK}};
    chain.geometry.uFilter = byName(kFilters, argument, "filter");
}

void weighByAlpha(Chain& chain, const std::string&) { chain.geometry.bAlphaWeighted = true; }

void rotate(Chain& chain, const std::string& argument) {
    const int32_t nAngle = parseAngle(argument);
    chain.waiting = [nAngle](Chain& c) { turnPicture(c.picture, nAngle, c.geometry); };
}

void turnBilinear(Chain& chain, const std::string&) { chain.geometry.uTurn |= ROT_BILINEAR; }
void turnBicubic(Chain& chain, const std::string&) { chain.geometry.uTurn |= ROT_BICUBIC; }
void resizeCanvas(Chain& chain, const std::string&) { chain.geometry.uTurn |= ROT_RESIZE; }
void setBackground(Chain& chain, const std::string& argument) { chain.geometry.background = parseColor(argument); }

void shear(Chain& chain, const std::string& argument) {
    const std::vector<std::string> parts = split(argument, ',');
    const int32_t nAngle = parseAngle(parts[0]);
    if (parts.size() > 2) throw Failure("an angle is expected, and h or v");
    if (nAngle < -8999 || nAngle > 8999) throw Failure("the angle is less than 90 degrees");
    static constexpr std::pair<const char*, bool> kDirections[] = {{"h", true}, {"v", false}};
    const bool bHorizontal = parts.size() == 1 || byName(kDirections, parts[1], "direction");
    chain.waiting = [=](Chain& c) { shearPicture(c.picture, nAngle, bHorizontal, c.geometry); };
}

void warp(Chain& chain, const std::string& argument) {
    const std::vector<POINT> points = parsePoints(argument, ' ');
    std::array<POINT, 4> corners;
    if (points.size() != corners.size()) throw Failure("four points are expected");
    std::copy(points.begin(), points.end(), corners.begin());
    chain.waiting = [=](Chain& c) { warpPicture(c.picture, corners, c.geometry); };
}

void flip(Chain& chain, const std::string&) { flipPicture(chain.picture); }
void mirror(Chain& chain, const std::string&) { mirrorPicture(chain.picture); }

void view(Chain& chain, const std::string& argument) {
    const int32_t nView = parseNumber(argument);
    if (nView < TOP_LEFT || nView > LEFT_BOTTOM) throw Failure("the views are 1 to 8");
    storeForView(chain.picture, nView);
}

void autoOrient(Chain& chain, const std::string&) { storeForView(chain.picture, TOP_LEFT); }

void scramble(Chain& chain, const std::string& argument) {
    scramblePicture(chain.picture, parseKey(argument), SCR_ENCRYPT);
}
void unscramble(Chain& chain, const std::string& argument) {
    scramblePicture(chain.picture, parseKey(argument), SCR_DECRYPT);
}

// ---- regions -----------------------------------------------------------------------------------------------------

void setMode(Chain& chain, const std::string& argument) { chain.region.uMode = parseMode(argument); }
void setFillRule(Chain& chain, const std::string& argument) { chain.region.nFillMode = parseFillMode(argument); }
void region(Chain& chain, const std::string& argument) { setRegion(chain.picture, argument, chain.region); }
void regionFile(Chain& chain, const std::string& argument) { setRegionOfFile(chain.picture, argument, chain.region); }
void writeMask(Chain& chain, const std::string& argument) { saveMask(chain.picture, argument); }
void writeOutline(Chain& chain, const std::string& argument) { saveOutline(chain.picture, argument); }
void writeRegion(Chain& chain, const std::string& argument) { saveRegion(chain.picture, argument); }

// ---- painting ----------------------------------------------------------------------------------------------------

void overlay(Chain& chain, const std::string& argument) { addOverlay(chain.picture, argument); }

void paint(Chain& chain, const std::string& argument) {
    const SIZE size = parseSize(argument);
    chain.waiting = [size](Chain& c) { paintPicture(c.picture, size, c.paint, c.geometry.background); };
}

void setFit(Chain& chain, const std::string& argument) { chain.paint.uFit = parseFit(argument); }
void setDevice(Chain& chain, const std::string& argument) { chain.paint.nDeviceBits = parseDevice(argument); }
void setDisplayMode(Chain& chain, const std::string& argument) { chain.paint.displayMode = parseDisplayMode(argument); }

int32_t parseThousandths(const std::string& argument) {
    const int32_t n = parseNumber(argument);
    if (n < -1000 || n > 1000) throw Failure("it goes from -1000 to 1000");
    return n;
}
void setIntensity(Chain& chain, const std::string& argument) { chain.paint.nIntensity = parseThousandths(argument); }
void setContrast(Chain& chain, const std::string& argument) { chain.paint.nContrast = parseThousandths(argument); }
void setGamma(Chain& chain, const std::string& argument) {
    const int32_t n = parseNumber(argument);
    if (n < 1) throw Failure("gamma is above 0");
    chain.paint.uGamma = uint32_t(n);
}

// ---- storage and files -------------------------------------------------------------------------------------------

void copy(Chain& chain, const std::string&) {
    const Progress progress("copying");
    Picture result;
    check(R_CopyBitmap(result.get(), chain.picture.get(), sizeof(BITMAPRECORD)), "R_CopyBitmap");
    chain.picture = std::move(result);
}

void setTileSize(Chain& chain, const std::string& argument) { chain.nTileBytes = parseBytes(argument); }

void store(Chain& chain, const std::string& argument) {
    moveToStorage(chain.picture, parseStorage(argument), chain.nTileBytes);
}

void tellSpace(Chain& chain, const std::string& argument) {
    std::fputs(spaceText(chain.picture, argument).c_str(), stdout);
}

void write(Chain& chain, const std::string& argument) { savePicture(chain.picture, argument); }

// ---- the table ---------------------------------------------------------------------------------------------------

constexpr Step kSteps[] = {
    {"--crop", "X,Y,WxH", "keep this rectangle; what lies outside the picture is cleared", crop},
    {"--trim", nullptr, "cut away the border that has the colour of the top left pixel", trim},
    {"--bits", "N", "bits per pixel: 1 to 8, 12, 16, 24, 32, 48 or 64", wantBits, When::joined},
    {"--order", "rgb|bgr|gray", "colour order; gray has 1 to 8, 12, 16 or 32 bits", wantOrder, When::joined},
    {"--palette", "fixed|gray|web|FILE", "palette of up to 8 bits; web has 8; FILE gives the palette of a picture",
     wantPalette, When::joined},
    {"--gray", "[8|12|16|32]", "grey of so many bits, 8 if none are told", gray},
    {"--window", "CENTER,WIDTH", "grey of 8 bits, in which these samples go from black to white", window},
    {"--level", "LOW,HIGH[,CURVE[,N]]", "the same by ends; linear, exp, log or sigmoid, bent by N tenths", level},
    {"--colors", "N", "the best 2 to 256 colours for the picture", colors},
    {"--dither", "METHOD",
     "how colours are reduced from here on: none, floyd, stucki, burkes, sierra,\n"
     "                                 stevenson, jarvis, ordered or clustered",
     setDither},
    {"--alpha", "extract|set FILE|VALUE", "go on with the alpha; or set it: a picture's greys, or 0 to 255", alpha,
     When::now, [](const std::string& first) { return first == "set" ? 1 : 0; }},
    {"--premultiply", nullptr, "multiply the colours by their alpha", premultiply},
    {"--fill", "COLOR[,X,Y,WxH]", "fill all, or a rectangle; #RRGGBB, #RRGGBBAA or a name", fill},
    {"--underlay", "FILE[,stretch]", "brighter and darker by the greys of a picture, repeated or resized to fit",
     underlay},
    {"--combine", "FILE,OP[,X,Y]",
     "combine the samples of a file with those that are there: copy, and, or,\n"
     "                                 xor, add, subtract, min, max, multiply, divide or average",
     combine},
    {"--mode", "NAME",
     "how a region joins the one that is there, from here on: set, and, or, xor or\n"
     "                                 minus; not takes all but the region",
     setMode},
    {"--fill-rule", "nonzero|evenodd", "of polygons from here on", setFillRule},
    {"--region", "KIND ARGUMENT",
     "what --fill, --underlay, --combine, --paint and --alpha set VALUE keep\n"
     "                                 inside of:\n"
     "                                 rect or ellipse X,Y,WxH; polygon 'X,Y;X,Y;...'; color COLOR;\n"
     "                                 range COLOR,COLOR, the least and the largest samples;\n"
     "                                 wand X,Y[,TOLERANCE], the area around a pixel of its colour;\n"
     "                                 border X,Y,COLOR[,TOLERANCE], the area up to samples of a colour;\n"
     "                                 mask FILE, its white pixels; none",
     region, When::now, argumentsOfKind},
    {"--region-file", "FILE", "a region that --save-region wrote", regionFile},
    {"--mask", "OUT", "write the region as a picture, white inside", writeMask, When::now, nullptr, Output::picture},
    {"--outline", "OUT", "write the region's contours as SVG", writeOutline, When::now, nullptr, Output::other},
    {"--save-region", "OUT", "write the region for --region-file", writeRegion, When::now, nullptr, Output::other},
    {"--invert-view", nullptr, "store the rows in the other order; the picture stays as it is", invertView},
    {"--resize", "WxH|N%", "another size", resize, When::late},
    {"--filter", "NAME", "of resizing: nearest, resample, coarse, bicubic or favor-black (1 bit)", setFilter,
     When::setting},
    {"--alpha-weighted", nullptr, "resizing counts colours by their alpha", weighByAlpha, When::setting},
    {"--rotate", "DEGREES", "turn clockwise about the middle", rotate, When::late},
    {"--shear", "DEGREES[,h|v]", "move rows to the right, or columns upwards; the canvas grows", shear, When::late},
    {"--warp", "X,Y X,Y X,Y X,Y",
     "draw the picture between four corners, clockwise from the top left one,\n"
     "                                 on a canvas of its size; the region stays where it is",
     warp, When::late, [](const std::string& first) { return first.find(' ') == std::string::npos ? 3 : 0; }},
    {"--bilinear", nullptr, "turning and warping blend neighbours", turnBilinear, When::setting},
    {"--bicubic", nullptr, "turning takes a spline of 4 by 4 pixels", turnBicubic, When::setting},
    {"--resize-canvas", nullptr, "turning keeps the whole picture in sight", resizeCanvas, When::setting},
    {"--background", "COLOR", "of what turns, shears, warps and paints leave bare; white if none is told",
     setBackground, When::setting},
    {"--flip", nullptr, "mirror top to bottom", flip},
    {"--mirror", nullptr, "mirror left to right", mirror},
    {"--view", "N", "store the picture for a view of 1 to 8; it stays as it is", view},
    {"--auto-orient", nullptr, "store the rows as they are seen, by the file's orientation tag: --view 1", autoOrient},
    {"--scramble", "KEY", "shuffle the pixels by a number", scramble},
    {"--unscramble", "KEY", "put them back", unscramble},
    {"--overlay", "FILE[,X,Y[,RRGGBB]]",
     "give the picture an overlay: the white pixels of one of 1 bit, in a colour,\n"
     "                                 red if none is told; it is seen where the picture is painted",
     overlay},
    {"--paint", "WxH",
     "paint the picture and its overlays, inside the region, as on a device of\n"
     "                                 this size; go on with what is there then, of 24 bits",
     paint, When::late},
    {"--fit", "MODE",
     "of painting: stretch, if none is told, normal, if-larger, always, width or\n"
     "                                 height; the rest is of the background",
     setFit, When::setting},
    {"--display-mode", "FLAGS",
     "how to paint, joined by +: dither, ordered-dither, dither-clustered,\n"
     "                                 dither-8bit, fixed-palette-alt, bitonal-coverage, bitonal-smooth,\n"
     "                                 resample, bicubic, rgb-swap, indexed-paint, direct-stretch or\n"
     "                                 reset-indices; or their number. Else it is indexed-paint+dither",
     setDisplayMode, When::setting},
    {"--device", "1|4|8|24", "bits that the device has for a pixel, 24 if none are told", setDevice, When::setting},
    {"--intensity", "N", "painting brighter, up to 1000, or darker, down to -1000", setIntensity, When::setting},
    {"--contrast", "N", "painting with more contrast, up to 1000, or less, down to -1000", setContrast, When::setting},
    {"--gamma", "N", "painting by a gamma of N hundredths", setGamma, When::setting},
    {"--copy", nullptr, "go on with a copy of the bitmap", copy},
    {"--tile-size", "BYTES[k|m]", "size of the tiles that --storage tiled makes from here on", setTileSize},
    {"--storage", "CLASS", "hold the data as conventional, tiled, disk, compressed (1 bit) or super (1, 8, 24)", store},
    {"--space", "MODEL", "print the least, mean and largest samples as rgb, yuv, cmyk, hsv, hls, yiq or cmy",
     tellSpace},
    {"-o", "OUT", "write the picture as it is here; the name tells the format", write, When::now, nullptr,
     Output::picture},
};

}  // namespace

std::span<const Step> steps() noexcept { return kSteps; }

const Step* findStep(const std::string& name) noexcept {
    const auto* pStep =
        std::find_if(std::begin(kSteps), std::end(kSteps), [&](const Step& s) { return name == s.pName; });
    return pStep != std::end(kSteps) ? pStep : nullptr;
}

namespace {

// Runs what a step does now; a failure tells the step.
template <class Body>
void named(const std::string& text, Body&& body) {
    try {
        body();
    } catch (const Failure& failure) {
        throw Failure(text + ": " + failure.what());
    }
}

void doWaiting(Chain& chain) {
    if (const auto waiting = std::exchange(chain.waiting, nullptr)) waiting(chain);
}

}  // namespace

void runStep(Chain& chain, const Step& step, const std::string& argument) {
    const bool bJoins = step.when == When::joined;
    const bool bRepeats = chain.wanted.steps.find(std::string(step.pName) + " ") != std::string::npos;
    if (step.when != When::setting) {
        doWaiting(chain);
        if (chain.wanted.any() && (!bJoins || bRepeats)) convertAsWanted(chain);
    }
    const std::string text = step.pName + (step.pArgument ? " " + argument : std::string());
    named(text, [&] { step.run(chain, argument); });
    if (bJoins) chain.wanted.steps += (chain.wanted.any() ? " " : "") + text;
    if (step.when == When::late)
        chain.waiting = [text, waiting = std::move(chain.waiting)](Chain& c) { named(text, [&] { waiting(c); }); };
}

void finishSteps(Chain& chain) {
    doWaiting(chain);
    if (chain.wanted.any()) convertAsWanted(chain);
}

}  // namespace ravo
