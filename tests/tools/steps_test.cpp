// Steps: what they do to pixels, in every view; and the forms that conversions choose.
#include "steps.h"

#include "convert.h"
#include "failure.h"
#include "formats.h"
#include "pictures.h"
#include "space.h"

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

// ---- colour ------------------------------------------------------------------------------------------------------

Picture copyOf(Picture& source) {
    Picture copy;
    EXPECT_EQ(R_CopyBitmap(copy.get(), source.get(), sizeof(BITMAPRECORD)), 1);
    return copy;
}

// A picture after steps, each a name and an argument.
Picture after(Picture& source, const std::vector<std::pair<const char*, std::string>>& calls) {
    Chain chain = chainOf(copyOf(source));
    for (const auto& [pName, argument] : calls) step(chain, pName, argument);
    finishSteps(chain);
    return std::move(chain.picture);
}

// By colour resolution itself.
Picture resolvedBy(Picture& source, int32_t nBits, uint32_t uFlags, Palette palette, uint32_t nColors) {
    Picture result;
    EXPECT_EQ(R_ColorResBitmap(source.get(), result.get(), sizeof(BITMAPRECORD), nBits, uFlags,
                               palette.empty() ? nullptr : palette.data(), nullptr, nColors, nullptr, nullptr),
              1);
    return result;
}

TEST(RavoSteps, ReducingStepsDitherByTheMethodThatStandsBeforeThem) {
    const TemporaryDirectory directory;
    const std::string path = directory / "palette.png";
    Picture source = randomPicture(61, 20, 24, ORDER_RGB);
    Picture holder = randomPicture(3, 3, 4, ORDER_RGB, randomPalette(4, 8));
    savePicture(holder, path);
    uint32_t uMethod = 0;
    std::vector<std::vector<uint64_t>> seen;
    for (const char* pMethod :
         {"none", "floyd", "stucki", "burkes", "sierra", "stevenson", "jarvis", "ordered", "clustered"}) {
        SCOPED_TRACE(pMethod);
        const uint32_t uBits = uMethod++ << CRF_DITHERING_SHIFT;
        Picture best = after(source, {{"--dither", pMethod}, {"--colors", "20"}});
        Picture wantBest = resolvedBy(source, 5, CRF_OPTIMIZEDPALETTE | uBits, {}, 20);
        EXPECT_EQ(best->BitsPerPixel, 5);
        EXPECT_EQ(colorsOf(best), colorsOf(wantBest));
        Picture page = after(source, {{"--dither", pMethod}, {"--bits", "1"}});
        Picture late = after(source, {{"--bits", "1"}, {"--dither", pMethod}, {"--copy", ""}});
        EXPECT_EQ(colorsOf(late) == colorsOf(page), uBits == 0) << "from here on";
        seen.push_back(colorsOf(page));
        Picture given = after(source, {{"--dither", pMethod}, {"--palette", path}});
        EXPECT_TRUE(samePalette(given.palette(), holder.palette()));
        if (!uBits) continue;
        Picture wantPage = resolvedBy(source, 1, CRF_FIXEDPALETTE | uBits, {}, 0);
        EXPECT_EQ(colorsOf(page), colorsOf(wantPage));
        Picture wantGiven = resolvedBy(source, 4, CRF_USERPALETTE | uBits, holder.palette(), 16);
        EXPECT_EQ(colorsOf(given), colorsOf(wantGiven));
    }
    Picture red(64, 64, 24, ORDER_RGB);  // which is a grey of 72
    ASSERT_EQ(R_FillBitmap(red.get(), 0x2020C0), 1);
    Picture grays = after(red, {{"--dither", "floyd"}, {"--palette", "gray"}, {"--bits", "4"}});
    uint64_t uSum = 0;
    for (const uint64_t n : colorsOf(grays)) uSum += n & 255;
    EXPECT_NEAR(double(uSum) / 4096, (32 + 5 * 32 + 2 * 194) >> 3, 1);

    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(std::unique(seen.begin(), seen.end()), seen.end()) << "two methods are one";

    // The colours of a palette stay in it, near ones too; slots that a larger depth has are none of their own.
    Picture near(16, 1, 4, ORDER_RGB, randomPalette(4, 8));
    for (uint8_t i = 0; i < 16; ++i) near->pPalette[i] = {uint8_t(200 + i), 200, 200, 0};
    Row row{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
    row.resize(near->BytesPerLine);
    {
        const Access lock(near);
        putRow(near, row.data(), 0);
    }
    savePicture(near, path);
    Picture back = after(near, {{"--bits", "24"}, {"--copy", ""}, {"--palette", path}, {"--bits", "7"}});
    EXPECT_EQ(back->BitsPerPixel, 7);
    EXPECT_EQ(colorsOf(back), colorsOf(near));
    Picture dark(2, 1, 24, ORDER_RGB);
    Picture nearest = after(dark, {{"--palette", path}, {"--bits", "8"}});
    EXPECT_EQ(colorsOf(nearest)[0], 0xC8C8C8u) << "black is none of them";
    EXPECT_THROW(after(source, {{"--palette", path}, {"--bits", "3"}}), Failure);
    for (const char* pWrong : {"1", "257"}) EXPECT_THROW(after(source, {{"--colors", pWrong}}), Failure);
    EXPECT_THROW(after(source, {{"--dither", "floid"}}), Failure);
}

TEST(RavoSteps, Gray) {
    for (const int32_t nFrom : {4, 16, 24, 48, 64}) {
        Picture source = randomPicture(23, 5, nFrom, ORDER_RGB);
        for (const int32_t nTo : {8, 12, 16, 32}) {
            Picture got = after(source, {{"--gray", nTo == 8 ? "" : std::to_string(nTo)}});
            Picture want = copyOf(source);
            ASSERT_EQ(R_GrayScaleBitmap(want.get(), nTo), 1);
            EXPECT_EQ(pixelsOf(got), pixelsOf(want)) << nFrom << " to " << nTo;
            EXPECT_EQ(got->Order, want->Order);
        }
    }
    Picture deep = randomPicture(9, 5, 16, ORDER_GRAY);
    deep->Flags |= BMF_SIGNED;
    Picture shallow = after(deep, {{"--gray", "8"}});
    for (size_t i = 0; i < 45; ++i)  // what is negative is black
        ASSERT_EQ(pixelsOf(shallow)[i], pixelsOf(deep)[i] >> 15 ? 0 : pixelsOf(deep)[i] >> 8) << i;
}

TEST(RavoSteps, AlphaGoesInAndOut) {
    const TemporaryDirectory directory;
    const std::string path = directory / "alpha.png";
    for (const int32_t nBits : {4, 24, 32, 48, 64}) {
        for (const int32_t nView : {TOP_LEFT, RIGHT_BOTTOM}) {
            SCOPED_TRACE(std::to_string(nBits) + " bits, view " + std::to_string(nView));
            Picture source = randomPicture(12, 7, nBits, ORDER_RGB, {}, nView);
            const SIZE size = viewedSize(*source);
            Picture mask =
                randomPicture(size.width, size.height, nBits >= 48 ? 16 : 8, nBits >= 48 ? ORDER_GRAY : ORDER_RGB,
                              nBits >= 48 ? Palette() : grayPalette(8));
            savePicture(mask, path);
            Picture both = after(source, {{"--alpha", "set " + path}});
            Picture out = after(both, {{"--alpha", "extract"}});
            EXPECT_EQ(both->BitsPerPixel, nBits >= 48 ? 64 : 32);
            EXPECT_EQ(pixelsOf(out), pixelsOf(mask));
            const int32_t nPlain = nBits >= 48 ? 48 : 24;
            Picture colors = after(both, {{"--bits", std::to_string(nPlain)}, {"--order", "rgb"}});
            Picture seen = upright(source), before = convertPicture(seen, {nPlain, ORDER_RGB});
            EXPECT_EQ(pixelsOf(colors), pixelsOf(before)) << "colours stay";

            Picture even = after(source, {{"--alpha", "set 51"}, {"--premultiply", ""}, {"--alpha", "extract"}});
            for (const uint64_t n : pixelsOf(even)) ASSERT_EQ(n, nBits >= 48 ? 51u * 257 : 51u);
        }
    }
    Picture flat(1, 1, 32, ORDER_RGB);
    ASSERT_EQ(R_FillBitmap2(flat.get(), 0x3264C8, 51), 1);
    Picture multiplied = after(flat, {{"--premultiply", ""}, {"--premultiply", ""}});
    EXPECT_EQ(pixelAt(multiplied, 0, 0), 0x330A1428u) << "once";
    Picture divided = after(multiplied, {{"--alpha", "set 255"}});
    EXPECT_EQ(pixelAt(divided, 0, 0), 0xFF3264C8u);
    EXPECT_FALSE(divided->Flags & BMF_PREMULTIPLIED);
    Picture plain(3, 3, 24, ORDER_RGB);
    EXPECT_THROW(after(plain, {{"--premultiply", ""}}), Failure);
    for (const std::string& wrong :
         std::vector<std::string>{"set 256", "set", "take 3", "set " + path})  // of another size
        EXPECT_THROW(after(plain, {{"--alpha", wrong}}), Failure) << wrong;
}

TEST(RavoSteps, SamplesOfVideoAndColourModels) {
    const TemporaryDirectory directory;
    Picture flat(6, 4, 24, ORDER_RGB);
    ASSERT_EQ(R_FillBitmap(flat.get(), 0x3264C8), 1);
    for (const char* pName : {"a.i420", "a.nv12", "a.NV21", "a.yuy2"}) {
        const std::string path = directory / pName;
        savePicture(flat, path);
        const bool bPacked = std::string(pName) == "a.yuy2";
        EXPECT_EQ(std::filesystem::file_size(path), bPacked ? 48u : 36u);
        Picture loaded = loadPicture(path, {6, 4});
        for (const uint64_t n : pixelsOf(loaded))  // blue first
            for (int i = 0; i < 3; ++i) ASSERT_NEAR(double(n >> 8 * i & 255), double(0xC86432 >> 8 * i & 255), 4);
        for (const SIZE& size : {SIZE{}, SIZE{8, 4}, SIZE{3, 8}, SIZE{-6, 4}})
            EXPECT_THROW(loadPicture(path, size), Failure);
    }
    // Value is red, saturation (200 - 50) of 200, hue a quarter of the third from red to green.
    EXPECT_EQ(spaceText(flat, "hsv"),
              "hue             21      21.00      21\nsaturation     191     191.00     191\n"
              "value          200     200.00     200\n");
    EXPECT_THROW(spaceText(flat, "hsx"), Failure);
}

// Where each pixel of a step's result comes from, told in the picture as seen, whatever view it is stored for.
TEST(RavoSteps, GeometryActsOnThePictureAsSeen) {
    struct Case {
        std::vector<std::pair<const char*, const char*>> steps;
        SIZE (*size)(SIZE);
        POINT (*from)(SIZE, int32_t x, int32_t y);
    };
    static constexpr auto kSame = [](SIZE s) { return s; };
    static constexpr auto kSamePlace = [](SIZE, int32_t x, int32_t y) { return POINT{x, y}; };
    const Case cases[] = {
        {{{"--flip", ""}},
         kSame,
         [](SIZE s, int32_t x, int32_t y) {
             return POINT{x, s.height - 1 - y};
         }},
        {{{"--mirror", ""}},
         kSame,
         [](SIZE s, int32_t x, int32_t y) {
             return POINT{s.width - 1 - x, y};
         }},
        {{{"--rotate", "90"}, {"--resize-canvas", ""}},
         [](SIZE s) {
             return SIZE{s.height, s.width};
         },
         [](SIZE s, int32_t x, int32_t y) {
             return POINT{y, s.height - 1 - x};
         }},
        {{{"--rotate", "180"}},
         kSame,
         [](SIZE s, int32_t x, int32_t y) {
             return POINT{s.width - 1 - x, s.height - 1 - y};
         }},
        {{{"--resize", "200%"}},
         [](SIZE s) {
             return SIZE{s.width * 2, s.height * 2};
         },
         [](SIZE, int32_t x, int32_t y) {
             return POINT{x / 2, y / 2};
         }},
        {{{"--view", "7"}}, kSame, kSamePlace},
        {{{"--auto-orient", ""}}, kSame, kSamePlace},
        {{{"--scramble", "4000000000"}, {"--unscramble", "4000000000"}}, kSame, kSamePlace},
    };
    for (const Case& c : cases) {
        for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
            for (const int32_t nBits : {1, 8, 12, 24}) {
                Picture source = randomOf(nBits, nView);
                Picture seen = upright(source);
                Chain chain = chainOf(std::move(source));
                for (const auto& [pName, pArgument] : c.steps) step(chain, pName, pArgument);
                finishSteps(chain);
                const std::string where = std::string(c.steps[0].first) + ", view " + std::to_string(nView) + ", " +
                                          std::to_string(nBits) + " bits";
                if (std::string(c.steps[0].first) == "--view") {
                    ASSERT_EQ(chain.picture->ViewPerspective, 7);
                }
                Picture result = upright(chain.picture);
                const SIZE size = viewedSize(*seen), wanted = c.size(size), got = viewedSize(*result);
                ASSERT_EQ(got.width, wanted.width) << where;
                ASSERT_EQ(got.height, wanted.height) << where;
                for (int32_t y = 0; y < got.height; ++y) {
                    for (int32_t x = 0; x < got.width; ++x) {
                        const POINT from = c.from(size, x, y);
                        ASSERT_EQ(pixelAt(result, x, y), pixelAt(seen, from.x, from.y))
                            << where << " at " << x << "," << y;
                    }
                }
            }
        }
    }
    Chain chain = chainOf(randomOf(8, TOP_LEFT));
    for (const auto& [pName, pArgument] : {std::pair{"--resize", "0%"},
                                           {"--resize", "3"},
                                           {"--rotate", "x"},
                                           {"--filter", "sharp"},
                                           {"--view", "9"},
                                           {"--scramble", "-1"}})
        EXPECT_THROW(step(chain, pName, pArgument), Failure) << pName;
}

// Settings hold for the step before them and for those to come; a scrambled picture can't be seen.
TEST(RavoSteps, SettingsReachAStepFromBehind) {
    const auto run = [](const std::vector<std::pair<const char*, const char*>>& steps) {
        Chain chain = chainOf(randomOf(24, TOP_LEFT));
        for (const auto& [pName, pArgument] : steps) step(chain, pName, pArgument);
        finishSteps(chain);
        return pixelsOf(chain.picture);
    };
    const auto nearest = run({{"--resize", "50%"}});
    const auto before = run({{"--filter", "resample"}, {"--resize", "50%"}});
    EXPECT_EQ(before, run({{"--resize", "50%"}, {"--filter", "resample"}}));
    EXPECT_NE(before, nearest);
    EXPECT_NE(run({{"--scramble", "7"}}), run({{"--copy", ""}}));
    EXPECT_NE(run({{"--rotate", "20"}, {"--background", "red"}}), run({{"--rotate", "20"}}));
}

TEST(RavoSteps, UnderlayTakesAFile) {
    const TemporaryDirectory directory;
    Picture texture(2, 1, 8, ORDER_RGB, grayPalette(8));
    {
        const Access lock(texture);
        putRow(texture, Bytes{128, 138, 0, 0}.data(), 0);
    }
    savePicture(texture, directory / "t.png");
    const auto run = [&](const std::string& argument) {
        Picture black(8, 1, 24, ORDER_BGR);
        Chain chain = chainOf(std::move(black));
        step(chain, "--underlay", directory / argument);
        return pixelsOf(chain.picture);
    };
    const uint64_t a = 0, b = 0x0A0A0A;
    EXPECT_EQ(run("t.png"), (std::vector<uint64_t>{a, b, a, b, a, b, a, b}));
    EXPECT_EQ(run("t.png,stretch"), (std::vector<uint64_t>{a, a, a, a, b, b, b, b}));
    EXPECT_THROW(run("none.png"), Failure);
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
