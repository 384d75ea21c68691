// Painting as a step: what is painted, where, by which settings, and overlays.
#include "paint.h"

#include <ravokit/overlay.h>

#include <numeric>
#include <set>

#include "alpha.h"
#include "convert.h"
#include "failure.h"
#include "formats.h"
#include "pictures.h"
#include "steps.h"

namespace ravo {
namespace {

using Steps = std::vector<std::pair<const char*, std::string>>;

Picture after(Picture picture, const Steps& steps) {
    Chain chain{std::move(picture), {}};
    for (const auto& [pName, argument] : steps) runStep(chain, *findStep(pName), argument);
    finishSteps(chain);
    return std::move(chain.picture);
}

// Three bytes a pixel, red first, as seen.
Bytes colorsAsSeen(Picture picture) {
    RowSource source(picture, {24, ORDER_RGB});
    Bytes bytes;
    for (int32_t y = 0; y < source.height(); ++y) {
        const uint8_t* p = source.row(y);
        bytes.insert(bytes.end(), p, p + source.width() * 3);
    }
    return bytes;
}

double meanOf(const Bytes& bytes) { return std::accumulate(bytes.begin(), bytes.end(), 0.0) / double(bytes.size()); }

Picture plain(const std::string& color, SIZE size) {
    return after(Picture(size.width, size.height, 24, ORDER_RGB), {{"--fill", color}});
}

// Greys from black to white, from left to right.
Picture ramp() {
    Picture picture(256, 60, 24, ORDER_RGB);
    Row row(picture->BytesPerLine);
    for (size_t i = 0; i < 768; ++i) row[i] = uint8_t(i / 3);
    const Access lock(picture);
    for (int32_t y = 0; y < 60; ++y) putRow(picture, row.data(), y);
    return picture;
}

// The ramp painted behind some steps.
Bytes painted(Steps steps) {
    steps.push_back({"--paint", "256x60"});
    return colorsAsSeen(after(ramp(), steps));
}

TEST(RavoPaint, OneToOneIsThePicture) {
    for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
        for (const int32_t nBits : {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48}) {
            const auto make = [&] {
                const Palette palette = nBits <= 8 ? randomPalette(nBits, 5) : Palette();
                Picture picture =
                    randomPicture(23, 17, nBits, nBits == 12 || nBits == 16 ? ORDER_GRAY : ORDER_RGB, palette, nView);
                if (nBits == 32) setAlpha(picture, 255u);
                return picture;
            };
            const std::string size = nView >= LEFT_TOP ? "17x23" : "23x17";
            EXPECT_EQ(colorsAsSeen(after(make(), {{"--paint", size}})), colorsAsSeen(make())) << nBits << " " << nView;
        }
    }
}

TEST(RavoPaint, FitTellsThePlaceAndTheBackgroundTheRest) {
    struct Case {
        const char *pFit, *pSize, *pPlace;
    };
    for (const Case& c : {Case{"normal", "40x30", "10,10,20x10"},
                          {"if-larger", "40x30", "10,10,20x10"},
                          {"always", "40x30", "0,5,40x20"},
                          {"if-larger", "12x12", "0,3,12x6"},
                          {"width", "40x10", "0,0,40x10"},
                          {"height", "60x20", "10,0,40x20"},
                          {"stretch", "40x30", "0,0,40x30"}})
        EXPECT_EQ(colorsAsSeen(after(plain("red", {20, 10}),
                                     {{"--paint", c.pSize}, {"--fit", c.pFit}, {"--background", "navy"}})),
                  colorsAsSeen(after(plain("navy", parseSize(c.pSize)), {{"--fill", "red," + std::string(c.pPlace)}})))
            << c.pFit << " " << c.pSize;
}

TEST(RavoPaint, ADeviceOfOneBitIsDithered) {
    const double dMean = meanOf(colorsAsSeen(ramp()));
    std::set<std::string> forms;
    for (const char* pMode : {"dither", "dither+ordered-dither", "dither+ordered-dither+dither-clustered", "8"}) {
        const Bytes bits = painted({{"--device", "1"}, {"--display-mode", pMode}});
        forms.emplace(bits.begin(), bits.end());
        EXPECT_EQ(std::set<uint8_t>(bits.begin(), bits.end()), (std::set<uint8_t>{0, 255})) << pMode;
        EXPECT_NEAR(meanOf(bits), dMean, 4) << pMode;
        EXPECT_GT(std::count(bits.begin(), bits.begin() + 3 * 100, 255), 30) << pMode << ", of the darker greys";
    }
    EXPECT_EQ(forms.size(), 3u) << "8 is the number of dither";
    EXPECT_EQ(painted({{"--device", "1"}, {"--display-mode", "0"}}), colorsAsSeen(ramp())) << "the device's affair";
    EXPECT_EQ(R_GetDisplayMode(), uint32_t(DM_INDEXED_PAINT | DM_DITHER)) << "the thread's mode is as it was";
}

TEST(RavoPaint, BrightnessContrastGammaAndRegion) {
    const double dPlain = meanOf(painted({}));
    EXPECT_GT(meanOf(painted({{"--intensity", "300"}})), dPlain + 20);
    EXPECT_LT(meanOf(painted({{"--intensity", "-300"}})), dPlain - 20);
    EXPECT_GT(meanOf(painted({{"--gamma", "220"}})), dPlain + 20);
    const Bytes strong = painted({{"--contrast", "600"}});
    EXPECT_GT(strong[3 * 192] - strong[3 * 64], 160);
    EXPECT_EQ(meanOf(painted({{"--fill", "black"}, {"--region", "rect 10,20,30x15"}})),
              255 * (1 - 30 * 15 / (256.0 * 60)));
}

TEST(RavoPaint, OverlaysShowTheirColorsAtTheirPlaces) {
    const TemporaryDirectory directory;
    Picture dots(5, 3, 1, ORDER_RGB, grayPalette(1, true));  // index 0 is white
    {
        Row row(dots->BytesPerLine, 0xFF);
        writePixel(row.data(), 0, 1, 0);
        writePixel(row.data(), 4, 1, 0);
        const Access lock(dots);
        for (int32_t y = 0; y < 3; ++y) putRow(dots, row.data(), y);
    }
    savePicture(dots, directory / "a,1.tif");
    savePicture(dots, directory / "b.png");
    const Steps both{{"--overlay", (directory / "a,1.tif") + ",7,2,00FF00"},
                     {"--overlay", directory / "b.png"},
                     {"--palette", "web"},  // a conversion on the way
                     {"--paint", "20x10"}};
    EXPECT_EQ(colorsAsSeen(after(plain("white", {20, 10}), both)),
              colorsAsSeen(after(plain("white", {20, 10}), {{"--fill", "lime,7,2,1x3"},
                                                            {"--fill", "lime,11,2,1x3"},
                                                            {"--fill", "red,0,0,1x3"},
                                                            {"--fill", "red,4,0,1x3"}})));
    EXPECT_THROW(after(ramp(), Steps(OVERLAY_COUNT + 1, {"--overlay", directory / "b.png"})), Failure);
    Picture gray = ramp();
    savePicture(gray, directory / "gray.png");
    for (const auto& [pStep, argument] : Steps{{"--overlay", directory / "gray.png"},
                                               {"--paint", "20"},
                                               {"--fit", "best"},
                                               {"--device", "2"},
                                               {"--display-mode", "dither+fine"},
                                               {"--contrast", "-1001"},
                                               {"--gamma", "0"}})
        EXPECT_THROW(after(ramp(), {{pStep, argument}}), Failure) << pStep << " " << argument;
}

}  // namespace
}  // namespace ravo
