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

// Greys from black to white, from left to right.
Picture ramp() {
    Picture picture(256, 60, 24, ORDER_RGB);
    Row row(picture->BytesPerLine);
    for (size_t i = 0; i < 768; ++i) row[i] = uint8_t(i / 3);
    const Access lock(picture);
    for (int32_t y = 0; y < 60; ++y) putRow(picture, row.data(), y);
    return picture;
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
        const char *pFit, *pSize;
        RECT place;
    };
    const Case cases[] = {{"normal", "40x30", {10, 10, 30, 20}}, {"if-larger", "40x30", {10, 10, 30, 20}},
                          {"always", "40x30", {0, 5, 40, 25}},   {"if-larger", "10x10", {0, 2, 10, 7}},
                          {"width", "40x10", {0, 0, 40, 10}},    {"height", "60x20", {10, 0, 50, 20}},
                          {"stretch", "40x30", {0, 0, 40, 30}}};
    for (const Case& c : cases) {
        Picture red(20, 10, 24, ORDER_RGB);
        ASSERT_EQ(R_FillBitmap(red.get(), 0x0000FF), 1);
        Picture got = after(std::move(red), {{"--paint", c.pSize}, {"--fit", c.pFit}, {"--background", "navy"}});
        const SIZE size = parseSize(c.pSize);
        ASSERT_TRUE(got->Width == size.width && got->Height == size.height) << c.pFit;
        const Bytes bytes = colorsAsSeen(std::move(got));
        for (int32_t y = 0; y < size.height; ++y) {
            for (int32_t x = 0; x < size.width; ++x) {
                const uint8_t* p = &bytes[size_t(y * size.width + x) * 3];
                const bool bInside = x >= c.place.left && x < c.place.right && y >= c.place.top && y < c.place.bottom;
                ASSERT_EQ(p[0] << 16 | p[1] << 8 | p[2], bInside ? 0xFF0000 : 0x000080)
                    << c.pFit << " at " << x << "," << y;
            }
        }
    }
}

TEST(RavoPaint, DevicesOfFewColors) {
    const double dMean = meanOf(colorsAsSeen(ramp()));
    std::set<std::string> forms;
    for (const char* pMode : {"dither", "dither+ordered-dither", "dither+ordered-dither+dither-clustered", "8"}) {
        const Bytes bits =
            colorsAsSeen(after(ramp(), {{"--paint", "256x60"}, {"--device", "1"}, {"--display-mode", pMode}}));
        forms.emplace(bits.begin(), bits.end());
        EXPECT_EQ(std::set<uint8_t>(bits.begin(), bits.end()), (std::set<uint8_t>{0, 255})) << pMode;
        EXPECT_NEAR(meanOf(bits), dMean, 4) << pMode;
        // Also the halves have their own means, so it's no threshold.
        EXPECT_GT(std::count(bits.begin(), bits.begin() + 3 * 100, 255), 10) << pMode;
    }
    EXPECT_EQ(forms.size(), 3u) << "8 is the number of dither";
    const Bytes hard = colorsAsSeen(after(ramp(), {{"--device", "1"}, {"--display-mode", "0"}, {"--paint", "256x60"}}));
    EXPECT_EQ(std::count(hard.begin(), hard.begin() + 3 * 100, 255), 0);
    const Bytes few = colorsAsSeen(after(ramp(), {{"--device", "4"}, {"--paint", "256x60"}}));
    std::set<int32_t> colors;
    for (size_t i = 0; i < few.size(); i += 3) colors.insert(few[i] << 16 | few[i + 1] << 8 | few[i + 2]);
    EXPECT_TRUE(colors.size() > 2 && colors.size() <= 16) << colors.size();
    EXPECT_EQ(R_GetDisplayMode(), uint32_t(DM_INDEXED_PAINT | DM_DITHER)) << "the thread's mode is as it was";
}

TEST(RavoPaint, BrightnessContrastAndGamma) {
    const auto mean = [](const Steps& steps) {
        Steps all = steps;
        all.push_back({"--paint", "256x60"});
        return meanOf(colorsAsSeen(after(ramp(), all)));
    };
    const double dPlain = mean({});
    EXPECT_GT(mean({{"--intensity", "300"}}), dPlain + 20);
    EXPECT_LT(mean({{"--intensity", "-300"}}), dPlain - 20);
    EXPECT_GT(mean({{"--gamma", "220"}}), dPlain + 20);
    EXPECT_EQ(meanOf(colorsAsSeen(after(ramp(), {{"--paint", "256x60"}, {"--gamma", "220"}}))),
              mean({{"--gamma", "220"}}));
    const Bytes strong = colorsAsSeen(after(ramp(), {{"--contrast", "600"}, {"--paint", "256x60"}}));
    EXPECT_TRUE(strong[3 * 64] < 64 && strong[3 * 192] > 192) << int(strong[3 * 64]) << " " << int(strong[3 * 192]);
}

TEST(RavoPaint, KeepsInsideTheRegion) {
    Picture got = after(ramp(), {{"--fill", "black"}, {"--region", "rect 10,20,30x15"}, {"--paint", "256x60"}});
    EXPECT_EQ(meanOf(colorsAsSeen(std::move(got))), 255 * (1 - 30 * 15 / (256.0 * 60)));
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
    Picture white(20, 10, 24, ORDER_RGB);
    ASSERT_EQ(R_FillBitmap(white.get(), 0xFFFFFF), 1);
    const Bytes bytes = colorsAsSeen(after(std::move(white), both));
    for (int32_t y = 0; y < 10; ++y) {
        for (int32_t x = 0; x < 20; ++x) {
            const uint8_t* p = &bytes[size_t(y * 20 + x) * 3];
            const bool bGreen = (x == 7 || x == 11) && y >= 2 && y < 5, bRed = (x == 0 || x == 4) && y < 3;
            ASSERT_EQ(p[0] << 16 | p[1] << 8 | p[2], bGreen ? 0x00FF00 : bRed ? 0xFF0000 : 0xFFFFFF) << x << "," << y;
        }
    }
    EXPECT_THROW(after(ramp(), Steps(OVERLAY_COUNT + 1, {"--overlay", directory / "b.png"})), Failure);
    Picture gray = ramp();
    savePicture(gray, directory / "gray.png");
    EXPECT_THROW(after(ramp(), {{"--overlay", directory / "gray.png"}}), Failure);
}

TEST(RavoPaint, WrongArgumentsAreRefused) {
    for (const auto& [pStep, pArgument] : {std::pair{"--paint", "20"},
                                           {"--fit", "best"},
                                           {"--device", "2"},
                                           {"--display-mode", "dither+fine"},
                                           {"--display-mode", ""},
                                           {"--intensity", "1001"},
                                           {"--contrast", "-1001"},
                                           {"--gamma", "0"}})
        EXPECT_THROW(after(ramp(), {{pStep, pArgument}}), Failure) << pStep << " " << pArgument;
}

}  // namespace
}  // namespace ravo
