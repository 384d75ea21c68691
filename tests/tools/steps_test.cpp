// Steps: what they do to pixels, in every view; and the forms that conversions choose.
#include "steps.h"

#include "convert.h"
#include "failure.h"
#include "pictures.h"

namespace ravo {
namespace {

Chain chainOf(Picture picture) { return Chain{std::move(picture), {}}; }

void step(Chain& chain, const std::string& name, const std::string& argument = {}) {
    runStep(chain, *findStep(name), argument);
}

const std::vector<int32_t> kDepths{1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

Picture randomOf(int32_t nBits, int32_t nView) {
    return randomPicture(23, 17, nBits, nBits == 12 ? ORDER_GRAY : ORDER_RGB, {}, nView);
}

TEST(RavoSteps, CropTakesCoordinatesOfThePictureAsSeen) {
    for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
        for (const int32_t nBits : kDepths) {
            Picture source = randomOf(nBits, nView);
            Picture seen = upright(source);
            Chain chain = chainOf(std::move(source));
            step(chain, "--crop", "3,5,9x7");
            Picture cropped = upright(chain.picture);
            ASSERT_EQ(cropped->Width, 9);
            ASSERT_EQ(cropped->Height, 7);
            for (int32_t y = 0; y < 7; ++y)
                for (int32_t x = 0; x < 9; ++x)
                    ASSERT_EQ(pixelAt(cropped, x, y), pixelAt(seen, x + 3, y + 5)) << nView << " " << nBits;
        }
    }
    Chain chain = chainOf(randomOf(8, TOP_LEFT));
    EXPECT_THROW(step(chain, "--crop", "0,0,-3x4"), Failure);
    EXPECT_THROW(step(chain, "--crop", "0,0,3x4y"), Failure);
    EXPECT_THROW(step(chain, "--crop", "0,0,3"), Failure);
}

TEST(RavoSteps, FillOfARectangleTouchesNothingElse) {
    for (const int32_t nView : {TOP_LEFT, BOTTOM_LEFT, RIGHT_BOTTOM}) {
        for (const int32_t nBits : kDepths) {
            Picture source = randomOf(nBits, nView);
            Picture before = upright(source);
            Chain chain = chainOf(std::move(source));
            step(chain, "--fill", "white,-4,6,13x100");
            Picture after = upright(chain.picture);
            Picture all(1, 1, nBits, nBits == 12 ? ORDER_GRAY : ORDER_RGB);
            ASSERT_EQ(R_FillBitmap(all.get(), 0xFFFFFF), 1);
            const uint64_t nWhite = pixelAt(all, 0, 0);
            for (int32_t y = 0; y < after->Height; ++y)
                for (int32_t x = 0; x < after->Width; ++x)
                    ASSERT_EQ(pixelAt(after, x, y), x < 9 && y >= 6 ? nWhite : pixelAt(before, x, y))
                        << nView << " " << nBits << " at " << x << "," << y;
        }
    }
}

TEST(RavoSteps, TrimLeavesWhatTheBorderSurrounds) {
    for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
        for (const int32_t nBits : kDepths) {
            Picture source(40, 30, nBits, nBits == 12 ? ORDER_GRAY : ORDER_RGB, {}, nView);
            Chain chain = chainOf(std::move(source));
            step(chain, "--fill", "white");
            step(chain, "--fill", "black,11,7,2x3");
            step(chain, "--fill", "black,20,12,1x1");
            step(chain, "--trim");
            const SIZE size = viewedSize(*chain.picture);
            EXPECT_EQ(size.width, 10) << nView << " " << nBits;
            EXPECT_EQ(size.height, 6) << nView << " " << nBits;
        }
    }
    // Two entries of one colour are one colour.
    Picture doubled(8, 4, 1, ORDER_RGB, {{9, 9, 9, 0}, {9, 9, 9, 0}});
    Chain chain = chainOf(std::move(doubled));
    step(chain, "--fill", "white");
    EXPECT_THROW(step(chain, "--trim"), Failure);
}

TEST(RavoSteps, InvertViewTurnsStorageAndNotThePicture) {
    for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
        Picture source = randomOf(5, nView);
        Picture seen = upright(source);
        const auto stored = pixelsOf(source);
        Chain chain = chainOf(std::move(source));
        step(chain, "--invert-view");
        Picture after = upright(chain.picture);
        EXPECT_EQ(pixelsOf(after), pixelsOf(seen)) << nView;
        EXPECT_NE(pixelsOf(chain.picture), stored) << nView;
        step(chain, "--copy");
        step(chain, "--invert-view");
        EXPECT_EQ(chain.picture->ViewPerspective, nView);
        EXPECT_EQ(pixelsOf(chain.picture), stored) << nView;
    }
}

TEST(RavoSteps, NeighbouringWishesAreOneConversionInAnyOrder) {
    Picture source = randomPicture(31, 8, 48, ORDER_RGB);
    const auto samples = pixelsOf(source);
    const auto convert = [&](const std::vector<std::pair<const char*, const char*>>& wishes) {
        Picture copy;
        EXPECT_EQ(R_CopyBitmap(copy.get(), source.get(), sizeof(BITMAPRECORD)), 1);
        Chain chain = chainOf(std::move(copy));
        for (const auto& [pName, pArgument] : wishes) step(chain, pName, pArgument);
        step(chain, "--copy");
        return std::move(chain.picture);
    };
    Picture a = convert({{"--bits", "16"}, {"--order", "gray"}}), b = convert({{"--order", "gray"}, {"--bits", "16"}});
    EXPECT_EQ(a->Order, ORDER_GRAY);
    EXPECT_EQ(pixelsOf(a), pixelsOf(b));
    for (size_t i = 0; i < samples.size(); ++i) {  // the grey rule on 16-bit samples
        const uint64_t nRed = samples[i] & 0xFFFF, nGreen = samples[i] >> 16 & 0xFFFF, nBlue = samples[i] >> 32;
        ASSERT_EQ(pixelsOf(a)[i], (nBlue + 5 * nGreen + 2 * (nRed + 2)) >> 3);
    }
    Picture web = convert({{"--palette", "web"}});
    EXPECT_EQ(web->BitsPerPixel, 8);
    EXPECT_EQ(web.palette()[215].rgbRed, 255);
    EXPECT_EQ(web.palette()[1].rgbBlue, 51);
    Picture gray = convert({{"--order", "gray"}});
    EXPECT_EQ(gray->BitsPerPixel, 16);
    EXPECT_EQ(convert({{"--bits", "8"}, {"--order", "gray"}})->pPalette[77].rgbGreen, 77);
    EXPECT_EQ(convert({{"--bits", "5"}, {"--palette", "gray"}})->pPalette[31].rgbGreen, 255);
    EXPECT_EQ(convert({{"--bits", "12"}})->Order, ORDER_GRAY);
    EXPECT_EQ(convert({{"--bits", "24"}, {"--order", "bgr"}})->Order, ORDER_BGR);

    Picture twice = convert({{"--bits", "1"}, {"--bits", "24"}});  // a wish told again is another conversion
    for (const uint64_t n : pixelsOf(twice)) ASSERT_TRUE(n == 0 || n == 0xFFFFFF);

    using Wishes = std::vector<std::pair<const char*, const char*>>;
    for (const Wishes& wishes :
         {Wishes{{"--bits", "24"}, {"--order", "gray"}}, Wishes{{"--bits", "12"}, {"--order", "rgb"}},
          Wishes{{"--bits", "8"}, {"--order", "bgr"}}, Wishes{{"--bits", "4"}, {"--palette", "web"}},
          Wishes{{"--bits", "24"}, {"--palette", "fixed"}}, Wishes{{"--bits", "9"}},
          Wishes{{"--order", "gray"}, {"--palette", "web"}}})
        EXPECT_THROW(convert(wishes), Failure) << wishes[0].first << wishes[0].second;
}

// A grey ramp keeps its brightness in every depth that grey has, up and down.
TEST(RavoSteps, GrayKeepsItsBrightnessThroughAllDepths) {
    for (const int32_t nFrom : {8, 12, 16, 32}) {
        Picture ramp(256, 1, nFrom, nFrom == 8 ? ORDER_RGB : ORDER_GRAY, nFrom == 8 ? grayPalette(8) : Palette());
        {
            Row row(ramp->BytesPerLine);
            const uint64_t nFull = (uint64_t(1) << nFrom) - 1;
            for (int32_t x = 0; x < 256; ++x) writePixel(row.data(), x, nFrom, uint64_t(x) * nFull / 255);
            const Access lock(ramp);
            putRow(ramp, row.data(), 0);
        }
        for (const int32_t nTo : {3, 4, 8, 12, 16, 32}) {
            WantedForm wanted;
            wanted.nBits = nTo;
            wanted.nOrder = ORDER_GRAY;
            Picture result = convertPicture(ramp, resolveForm(ramp, wanted));
            ASSERT_EQ(result->BitsPerPixel, nTo);
            const auto samples = nTo <= 8 ? colorsOf(result) : pixelsOf(result);
            const double dFull = nTo <= 8 ? 255 : double((uint64_t(1) << nTo) - 1);
            const double dStep = nTo < 8 ? 1.0 / double((1 << nTo) - 1) : 1.0 / 255;
            for (int32_t x = 0; x < 256; ++x) {
                const double dSample = double(nTo <= 8 ? samples[size_t(x)] & 255 : samples[size_t(x)]);
                ASSERT_NEAR(dSample / dFull, x / 255.0, dStep) << nFrom << " to " << nTo << " at " << x;
            }
        }
    }
}

}  // namespace
}  // namespace ravo
