// Regions: what is selected, in every view, what keeps inside and follows, and their files; and pictures in one.
#include "region.h"

#include <cstring>
#include <functional>
#include <sstream>

#include "failure.h"
#include "formats.h"
#include "outfile.h"
#include "pictures.h"
#include "steps.h"

namespace ravo {
namespace {

using Calls = std::vector<std::pair<const char*, std::string>>;
using Pixels = std::vector<uint64_t>;

Chain chainOf(Picture picture) { return Chain{std::move(picture), {}}; }

void runAll(Chain& chain, const Calls& calls) {
    for (const auto& [pName, argument] : calls) runStep(chain, *findStep(pName), argument);
    finishSteps(chain);
}

Pixels seenPixels(Picture& picture) {
    Picture seen = upright(picture);
    return pixelsOf(seen);
}

// A picture that looks like another one, stored for a view.
Picture storedFor(Picture& picture, int32_t nView) {
    Picture result;
    EXPECT_EQ(R_ChangeBitmapViewPerspective(result.get(), picture.get(), sizeof(BITMAPRECORD), nView), 1);
    return result;
}

// The region as seen, 1 inside, by way of the mask file.
Pixels maskOf(Chain& chain, const TemporaryDirectory& directory) {
    runAll(chain, {{"--mask", directory / "seen.png"}});
    Picture mask = loadPicture(directory / "seen.png");
    EXPECT_EQ(mask->BitsPerPixel, 1);
    Pixels pixels = colorsOf(mask);
    for (uint64_t& n : pixels) n = n == 0xFFFFFF;
    return pixels;
}

constexpr int32_t kWidth = 29, kHeight = 17;

TEST(RavoRegions, ModesJoinAndFillsKeepInsideInEveryView) {
    const TemporaryDirectory directory;
    const std::pair<const char*, std::function<bool(bool, bool)>> modes[] = {
        {"set", [](bool, bool b) { return b; }},       {"and", [](bool a, bool b) { return a && b; }},
        {"or", [](bool a, bool b) { return a || b; }}, {"xor", [](bool a, bool b) { return a != b; }},
        {"not", [](bool, bool b) { return !b; }},      {"minus", [](bool a, bool b) { return a && !b; }}};
    for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
        for (const int32_t nBits : {1, 12, 24}) {
            for (const auto& [pMode, inside] : modes) {
                SCOPED_TRACE(std::string(pMode) + ", view " + std::to_string(nView) + ", " + std::to_string(nBits));
                Picture source = randomPicture(kWidth, kHeight, nBits, nBits == 12 ? ORDER_GRAY : ORDER_RGB);
                Chain chain = chainOf(storedFor(source, nView));
                runAll(chain, {{"--region", "polygon 3,-2;3,9;12,9;12,4;20,4;20,-2"},  // an L upside down
                               {"--mode", pMode},
                               {"--region", "rect 10,2,500000000x5"}});
                Picture white(1, 1, nBits, nBits == 12 ? ORDER_GRAY : ORDER_RGB);
                ASSERT_EQ(R_FillBitmap(white.get(), 0xFFFFFF), 1);
                Pixels want, before = pixelsOf(source);
                for (int32_t y = 0; y < kHeight; ++y)
                    for (int32_t x = 0; x < kWidth; ++x)
                        want.push_back(
                            inside(x >= 3 && (y < 4 ? x < 20 : y < 9 && x < 12), x >= 10 && y >= 2 && y < 7));
                ASSERT_EQ(maskOf(chain, directory), want);

                // Its file, and its mask, select the same on a picture of another view.
                runAll(chain, {{"--save-region", directory / "region"}});
                Chain other = chainOf(storedFor(source, 1 + (nView + 2) % 8));
                runAll(other, {{"--region-file", directory / "region"}});
                ASSERT_EQ(maskOf(other, directory), want);
                runAll(other, {{"--region", "none"}, {"--region", "mask " + (directory / "seen.png")}});
                ASSERT_EQ(maskOf(other, directory), want);

                runAll(chain, {{"--fill", "white,0,0,15x5"}});
                const auto filled = seenPixels(chain.picture);
                for (size_t i = 0; i < filled.size(); ++i) {
                    const bool bFilled = want[i] && i % kWidth < 15 && i / kWidth < 5;
                    ASSERT_EQ(filled[i], bFilled ? pixelAt(white, 0, 0) : before[i]) << i;
                }
                ASSERT_EQ(maskOf(chain, directory), want) << "a rectangle that is filled leaves it alone";
            }
        }
    }
}

// Drawn: # and 1 are dark red, o is light red, + is white, the rest is black.
TEST(RavoRegions, ColoursAndAreasAreThoseOfTheDrawing) {
    const TemporaryDirectory directory;
    const std::string drawing =
        ".......1"
        ".++++++."
        ".+##oo+."
        ".+#,oo+."
        ".+##oo+."
        ".++++++.";
    Picture source(8, 6, 24, ORDER_BGR);
    for (int32_t i = 0; i < 48; ++i) {
        const char c = drawing[size_t(i)];
        const COLORREF cr = c == '#' || c == '1' ? 0xA0 : c == 'o' ? 0xC0 : c == '+' ? 0xFFFFFF : 0;
        ASSERT_EQ(R_PutPixelColor(source.get(), i / 8, i % 8, cr), 1);
    }
    const std::pair<const char*, std::string> cases[] = {{"color #A00000", "#1"},     {"range #900000,#D01010", "#1o"},
                                                         {"wand 2,3", "#"},           {"wand 4,3,32", "#o"},
                                                         {"border 5,3,white", "#o,"}, {"border 5,3,white,32", "#o"}};
    for (const auto& [pRegion, selected] : cases) {
        for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
            Chain chain = chainOf(storedFor(source, nView));
            runAll(chain, {{"--region", pRegion}});
            const auto got = maskOf(chain, directory);
            for (size_t i = 0; i < got.size(); ++i)
                ASSERT_EQ(got[i], selected.find(drawing[i]) != std::string::npos)
                    << pRegion << " in view " << nView << " at " << i % 8 << "," << i / 8;
        }
    }
    Chain chain = chainOf(std::move(source));
    for (const char* pWrong :
         {"rect 1,1,0x3", "rect", "ellipse 0,0,-4x5", "ellipse 0,0,9x2000000", "polygon 0,0;4,4", "polygon 0,0;4,4;5",
          "color", "color puce", "range red", "wand 8,0", "wand 0,-1", "wand 1,1,256", "border 1,1,3", "star 1", ""})
        EXPECT_THROW(runAll(chain, {{"--region", pWrong}}), Failure) << pWrong;
    EXPECT_THROW(runAll(chain, {{"--mode", "nor"}}), Failure);
    EXPECT_THROW(runAll(chain, {{"--fill-rule", "odd"}}), Failure);

    // A path that goes twice round its middle.
    runAll(chain, {{"--region", "polygon 0,0;6,0;6,6;2,6;2,2;8,2;8,4;0,4"}});
    const auto nonzero = maskOf(chain, directory);
    runAll(chain, {{"--fill-rule", "evenodd"}, {"--region", "polygon 0,0;6,0;6,6;2,6;2,2;8,2;8,4;0,4"}});
    const auto evenodd = maskOf(chain, directory);
    for (size_t i = 0; i < 48; ++i)
        ASSERT_EQ(nonzero[i] - evenodd[i], i % 8 >= 2 && i % 8 < 6 && i / 8 >= 2 && i / 8 < 4) << i;
}

// Steps do to a region what they do to the picture of it.
TEST(RavoRegions, RegionsFollowThePicture) {
    const TemporaryDirectory directory;
    for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
        for (const Calls& calls :
             {Calls{{"--crop", "5,2,17x12"}}, Calls{{"--flip", ""}}, Calls{{"--mirror", ""}},
              Calls{{"--rotate", "90"}, {"--resize-canvas", ""}}, Calls{{"--view", "6"}}, Calls{{"--invert-view", ""}},
              Calls{{"--copy", ""}}, Calls{{"--storage", "disk"}}, Calls{{"--bits", "8"}, {"--palette", "web"}},
              Calls{{"--gray", "16"}}, Calls{{"--colors", "9"}}, Calls{{"--dither", "floyd"}, {"--bits", "4"}},
              Calls{{"--warp", "1,2 20,0 28,16 3,9"}}}) {
            SCOPED_TRACE(std::string(calls[0].first) + ", view " + std::to_string(nView));
            Picture source = randomPicture(kWidth, kHeight, 24, ORDER_RGB);
            Chain chain = chainOf(storedFor(source, nView));
            runAll(chain, {{"--region", "ellipse 2,3,20x13"}, {"--mask", directory / "before.png"}});
            runAll(chain, calls);
            Chain drawn = chainOf(loadPicture(directory / "before.png"));
            const std::string name = calls[0].first;
            const bool bMoves = name == "--crop" || name == "--flip" || name == "--mirror" || name == "--rotate";
            if (bMoves) runAll(drawn, calls);
            ASSERT_EQ(maskOf(chain, directory), seenPixels(drawn.picture));
        }
    }
}

TEST(RavoRegions, AlphaOfARegionLeavesTheRest) {
    Chain chain = chainOf(randomPicture(kWidth, kHeight, 64, ORDER_RGB));
    const auto before = pixelsOf(chain.picture);
    runAll(chain, {{"--region", "rect 4,5,6x7"}, {"--alpha", "set 51"}});
    const auto after = pixelsOf(chain.picture);
    for (size_t i = 0; i < after.size(); ++i) {
        const bool bInside = i % kWidth >= 4 && i % kWidth < 10 && i / kWidth >= 5 && i / kWidth < 12;
        ASSERT_EQ(after[i], bInside ? (before[i] & 0xFFFFFFFFFFFF) | uint64_t(51 * 257) << 48 : before[i]) << i;
    }
}

// ---- files -------------------------------------------------------------------------------------------------------

TEST(RavoRegions, DamagedFilesAreRefused) {
    const TemporaryDirectory directory;
    const std::string path = directory / "region";
    for (const int32_t nView : {TOP_LEFT, BOTTOM_LEFT}) {  // whose rows stand the other way round
        Chain chain = chainOf(Picture(20, 20, 8, ORDER_RGB, {}, nView));
        runAll(chain, {{"--region", "rect 2,3,5x4"}, {"--mode", "or"}, {"--region", "rect 9,5,6x6"}});
        runAll(chain, {{"--mode", "minus"}, {"--region", "rect 0,8,20x1"}, {"--save-region", path}});
        const Bytes whole = readBytes(path);
        ASSERT_EQ(whole.size(), 24u + 8 * 8 + 4 * 18);  // eight rows, of which one is empty; nine spans
        std::vector<uint32_t> words(whole.size() / 4);
        std::memcpy(words.data(), whole.data(), whole.size());
        const auto refused = [&](const uint8_t* p, size_t nBytes) {
            writeBytes(path, p, nBytes);
            try {
                runAll(chain, {{"--region-file", path}});
                return false;
            } catch (const Failure&) {
                return true;
            }
        };
        ASSERT_FALSE(refused(whole.data(), whole.size()));
        for (size_t nBytes = 0; nBytes < whole.size(); ++nBytes) ASSERT_TRUE(refused(whole.data(), nBytes)) << nBytes;
        Bytes longer = whole;
        longer.resize(whole.size() + 8);
        ASSERT_TRUE(refused(longer.data(), longer.size()));
        const size_t nSpansAt = 6 + 2 * 8;
        for (size_t i = 0; i < words.size(); ++i) {
            for (const uint32_t nOther : {0u, 1u, 2u, words[i] + 1, words[i] - 1, words[i] + 2, words[i] + 4,
                                          0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 0x40000000u}) {
                if (nOther == words[i]) continue;
                std::vector<uint32_t> changed = words;
                changed[i] = nOther;
                const bool bRefused = refused(reinterpret_cast<const uint8_t*>(changed.data()), whole.size());
                // Spans that end elsewhere may be another region, as long as they stay inside.
                const bool bMayPass = i >= nSpansAt && nOther >= 2 && nOther <= 15;
                ASSERT_TRUE(bRefused || bMayPass) << "word " << i << " as " << nOther;
            }
        }
        const uint32_t row[] = {2, 7, 9, 15};
        const auto at = std::search(words.begin(), words.end(), std::begin(row), std::end(row));
        ASSERT_NE(at, words.end());
        for (const uint32_t nEnd : {9u, 10u, 2u, 1u}) {  // touching, overlapping, empty, turned round
            at[1] = nEnd;
            EXPECT_TRUE(refused(reinterpret_cast<const uint8_t*>(words.data()), whole.size())) << nEnd;
        }
    }
}

// The shoelace of the outlines, which run round holes the other way, is the number of pixels.
TEST(RavoRegions, OutlinesSurroundThePixels) {
    const TemporaryDirectory directory;
    Chain chain = chainOf(Picture(60, 50, 24, ORDER_RGB, {}, RIGHT_TOP));
    runAll(chain, {{"--region", "ellipse 10,-4,31x40"}, {"--mode", "xor"}, {"--region", "rect 20,10,8x9"}});
    runAll(chain, {{"--region", "wand 0,0"}, {"--region", "rect 22,12,3x2"}, {"--outline", directory / "a.svg"}});
    int64_t nPixels = 0;
    for (const uint64_t n : maskOf(chain, directory)) nPixels += int64_t(n);
    const Bytes bytes = readBytes(directory / "a.svg");
    const std::string text(bytes.begin(), bytes.end());
    EXPECT_NE(text.find("width=\"50\" height=\"60\" viewBox=\"0 0 50 60\""), std::string::npos) << text;
    int64_t nTwice = 0;
    int nContours = 0;
    for (size_t nAt = text.find("d=\"M"); (nAt = text.find('M', nAt)) != std::string::npos; ++nContours) {
        const size_t nEnd = text.find('Z', nAt);
        std::istringstream stream(text.substr(nAt + 1, nEnd - nAt - 1));
        std::vector<POINT> points;
        char cComma = 0;
        for (POINT point{}; stream >> point.x >> cComma >> point.y;) points.push_back(point);
        for (size_t i = 0; i < points.size(); ++i) {
            const POINT &a = points[i], &b = points[(i + 1) % points.size()];
            nTwice += int64_t(a.x) * b.y - int64_t(b.x) * a.y;
        }
        nAt = nEnd;
    }
    EXPECT_GE(nContours, 3);
    EXPECT_EQ(nTwice, 2 * nPixels);
}

// ---- pictures in one ---------------------------------------------------------------------------------------------

TEST(RavoCompose, CombinationsKeepInsideInEveryView) {
    const TemporaryDirectory directory;
    const std::string path = directory / "a,min,b,1.png";
    Picture other = randomPicture(12, 9, 24, ORDER_RGB);
    savePicture(other, path);
    const std::pair<const char*, int32_t (*)(int32_t, int32_t)> operations[] = {
        {"copy", [](int32_t, int32_t s) { return s; }},
        {"and", [](int32_t d, int32_t s) { return d & s; }},
        {"or", [](int32_t d, int32_t s) { return d | s; }},
        {"xor", [](int32_t d, int32_t s) { return d ^ s; }},
        {"add", [](int32_t d, int32_t s) { return std::min(d + s, 255); }},
        {"subtract", [](int32_t d, int32_t s) { return std::max(d - s, 0); }},
        {"min", [](int32_t d, int32_t s) { return std::min(d, s); }},
        {"max", [](int32_t d, int32_t s) { return std::max(d, s); }},
        {"multiply", [](int32_t d, int32_t s) { return d * s / 255; }},
        {"divide", [](int32_t d, int32_t s) { return s ? std::min(d * 255 / s, 255) : 255; }},
        {"average", [](int32_t d, int32_t s) { return (d + s) / 2; }}};
    for (const auto& [pName, combined] : operations) {
        for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
            Picture source = randomPicture(kWidth, kHeight, 24, ORDER_BGR);
            Chain chain = chainOf(storedFor(source, nView));
            runAll(chain, {{"--region", "rect 8,0,6x17"}, {"--combine", path + "," + pName + ",5,-3"}});
            const auto before = pixelsOf(source), after = seenPixels(chain.picture);
            for (size_t i = 0; i < after.size() * 3; ++i) {
                const int32_t x = int32_t(i / 3 % kWidth), y = int32_t(i / 3 / kWidth), nSample = int32_t(i % 3);
                const bool bInside = x >= 8 && x < 14 && y < 6;
                const int32_t d = int32_t(before[i / 3] >> 8 * nSample & 255);
                const int32_t s = bInside ? int32_t(pixelAt(other, x - 5, y + 3) >> 8 * (2 - nSample) & 255) : 0;
                ASSERT_EQ(int32_t(after[i / 3] >> 8 * nSample & 255), bInside ? combined(d, s) : d)
                    << pName << " in view " << nView << " at " << x << "," << y;
            }
        }
    }
    Chain chain = chainOf(randomPicture(kWidth, kHeight, 24, ORDER_BGR));
    for (const std::string& wrong : {path, path + ",plus", path + ",add,1", path + ",add,1,b", path + "x,add"})
        EXPECT_THROW(runAll(chain, {{"--combine", wrong}}), Failure) << wrong;
}

TEST(RavoCompose, WarpsAndShearsActOnThePictureAsSeen) {
    for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
        SCOPED_TRACE(nView);
        Picture source = randomPicture(20, 20, 24, ORDER_RGB);
        const auto after = [&](const Calls& calls) {
            Chain chain = chainOf(storedFor(source, nView));
            runAll(chain, calls);
            return seenPixels(chain.picture);
        };
        EXPECT_EQ(after({{"--warp", "19,0 19,19 0,19 0,0"}}), after({{"--rotate", "90"}}));
        const auto small = after({{"--warp", "4,5 12,5 12,16 4,16"}, {"--background", "#102030"}, {"--bilinear", ""}});
        for (size_t i = 0; i < small.size(); ++i) {
            const bool bInside = i % 20 >= 4 && i % 20 <= 12 && i / 20 >= 5 && i / 20 <= 16;
            ASSERT_EQ(small[i] == 0x302010, !bInside) << i;
        }
        EXPECT_EQ(small[5 * 20 + 4], pixelAt(source, 0, 0));
        EXPECT_EQ(small[16 * 20 + 12], pixelAt(source, 19, 19));
    }
    const auto sizeAfter = [](const char* pArgument) {
        Chain chain = chainOf(randomPicture(40, 30, 24, ORDER_RGB));
        runAll(chain, {{"--shear", pArgument}});
        return viewedSize(*chain.picture);
    };
    EXPECT_NEAR(sizeAfter("45").width, 70, 1);
    EXPECT_EQ(sizeAfter("45,h").height, 30);
    EXPECT_NEAR(sizeAfter("-45,v").height, 70, 1);
    Chain chain = chainOf(randomPicture(40, 30, 24, ORDER_RGB));
    for (const char* pWrong : {"90", "10,x", "10,h,v"})
        EXPECT_THROW(runAll(chain, {{"--shear", pWrong}}), Failure) << pWrong;
    for (const char* pWrong : {"0,0 9,0 9,9", "0,0 40,0 9,9 0,9", "0,0 9,9 9,0 0,9"})
        EXPECT_THROW(runAll(chain, {{"--warp", pWrong}}), Failure) << pWrong;
}

}  // namespace
}  // namespace ravo
