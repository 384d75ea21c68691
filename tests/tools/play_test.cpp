// Animations: a GIF file that the test makes, its frames as they are read, and what playing them leaves behind.
#include "gif.h"

#include <array>

#include "command.h"
#include "failure.h"
#include "formats.h"
#include "pictures.h"

// Behind the library's headers, with which it shares a name.
#include <gif_lib.h>

namespace ravo {
namespace {

struct TestFrame {
    RECT box;                                              // right and bottom as sizes
    int nIndex, nDisposal, nTicks = 0, nTransparent = -1;  // -1 for nDisposal leaves all such words out
    bool bInterlaced = false, bOwnPalette = false, bWaits = false;
};

const GifColorType kColors[4] = {{10, 20, 30}, {255, 0, 0}, {0, 255, 0}, {255, 0, 0}};
const GifColorType kOwnColors[4] = {{0, 0, 255}, {1, 2, 3}, {4, 5, 6}, {7, 8, 9}};

// A frame is of one index, but for its top left pixel and its second row, which are index 0 and 3.
void writeGif(const std::string& path, const std::vector<TestFrame>& frames, int nRepeats) {
    int nError = 0;
    GifFileType* pGif = EGifOpenFileName(path.c_str(), false, &nError);
    ASSERT_NE(pGif, nullptr);
    EGifSetGifVersion(pGif, true);
    ColorMapObject* pMap = GifMakeMapObject(4, kColors);
    ColorMapObject* pOwnMap = GifMakeMapObject(4, kOwnColors);
    EXPECT_EQ(EGifPutScreenDesc(pGif, 6, 4, 2, 2, pMap), GIF_OK);
    const uint8_t loops[] = {1, uint8_t(nRepeats), uint8_t(nRepeats >> 8)};
    EGifPutExtensionLeader(pGif, APPLICATION_EXT_FUNC_CODE);
    EGifPutExtensionBlock(pGif, 11, "NETSCAPE2.0");
    EGifPutExtensionBlock(pGif, sizeof loops, loops);
    EGifPutExtensionTrailer(pGif);
    for (const TestFrame& frame : frames) {
        const GraphicsControlBlock control{frame.nDisposal, frame.bWaits, frame.nTicks, frame.nTransparent};
        uint8_t bytes[4];
        if (frame.nDisposal >= 0)
            EGifPutExtension(pGif, GRAPHICS_EXT_FUNC_CODE, int(EGifGCBToExtension(&control, bytes)), bytes);
        const RECT& box = frame.box;
        GifFreeMapObject(std::exchange(pGif->Image.ColorMap, nullptr));  // which is forgotten otherwise
        EXPECT_EQ(EGifPutImageDesc(pGif, box.left, box.top, box.right, box.bottom, frame.bInterlaced,
                                   frame.bOwnPalette ? pOwnMap : nullptr),
                  GIF_OK);
        std::vector<int32_t> order;
        for (const auto& [nFirst, nStep] : {std::pair{0, 8}, {4, 8}, {2, 4}, {1, 2}})
            for (int32_t y = nFirst; y < box.bottom; y += nStep) order.push_back(y);
        if (!frame.bInterlaced) std::sort(order.begin(), order.end());
        for (const int32_t y : order) {
            Bytes row(size_t(box.right), uint8_t(y == 1 ? 3 : frame.nIndex));
            if (y == 0) row[0] = 0;
            EXPECT_EQ(EGifPutLine(pGif, row.data(), box.right), GIF_OK);
        }
    }
    EXPECT_EQ(EGifCloseFile(pGif, &nError), GIF_OK);
    GifFreeMapObject(pMap);
    GifFreeMapObject(pOwnMap);
}

TEST(RavoPlay, FramesComeAsTheFileHasThem) {
    const TemporaryDirectory directory;
    const std::string path = directory / "in.gif";
    writeGif(path, {{{0, 0, 6, 4}, 1, 1, 7, -1}, {{2, 1, 5, 9}, 2, 2, 300, 3, true, true, true}, {{0, 0, 1, 1}, 1, -1}},
             4);
    Animation animation = loadGif(path);
    EXPECT_EQ(animation.size.width, 6);
    EXPECT_EQ(animation.size.height, 4);
    EXPECT_EQ(animation.background, 0x00FF00u);
    EXPECT_EQ(animation.uPlays, 5u);
    ASSERT_EQ(animation.frames.count(), 3u);
    const BITMAPRECORD first = animation.frames.at(0), second = animation.frames.at(1);
    EXPECT_EQ(first.Delay, 70u);
    for (const BITMAPRECORD& frame : {first, animation.frames.at(2)})
        EXPECT_EQ(frame.Flags & (BMF_TRANSPARENCY | BMF_WAIT_USER_INPUT), 0u);
    EXPECT_EQ(animation.frames.at(2).Delay + animation.frames.at(2).DisposalMethod, 0u);
    EXPECT_EQ(second.Flags & (BMF_TRANSPARENCY | BMF_WAIT_USER_INPUT),
              uint32_t(BMF_TRANSPARENCY | BMF_WAIT_USER_INPUT));
    EXPECT_EQ(second.Transparency, kIndexReference | 3u);
    EXPECT_EQ(second.DisposalMethod, uint32_t(DISPOSE_BACKGROUND));
    EXPECT_EQ(second.Left * 100 + second.Top, 201);
    EXPECT_EQ(second.pPalette[0].rgbBlue, 255);
    Picture copy;
    ASSERT_EQ(R_CopyBitmap(copy.get(), const_cast<BITMAPRECORD*>(&second), sizeof(BITMAPRECORD)), 1);
    for (int32_t y = 0; y < 9; ++y) EXPECT_EQ(pixelAt(copy, 1, y), y == 1 ? 3u : 2u) << "interlaced row " << y;

    const Bytes whole = readBytes(path);
    for (const size_t nBytes : {size_t(5), size_t(12), whole.size() / 2, whole.size() - 1}) {
        writeBytes(directory / "cut.gif", whole.data(), nBytes);
        EXPECT_THROW(loadGif(directory / "cut.gif"), Failure) << nBytes;
    }
    writeGif(directory / "empty.gif", {}, 0);
    EXPECT_THROW(loadGif(directory / "empty.gif"), Failure);
}

// As letters: r and g, and a point for the dark colour of index 0.
std::string drawn(const std::string& path) {
    Picture picture = loadPicture(path);
    std::string text;
    for (int32_t y = 0; y < picture->Height; ++y) {
        for (int32_t x = 0; x < picture->Width; ++x) {
            const uint64_t n = pixelAt(picture, x, y);  // red first
            text += n == 0x0000FF ? 'r' : n == 0x00FF00 ? 'g' : n == 0x1E140A ? '.' : '?';
        }
        text += ' ';
    }
    return text;
}

// Index 3 has the red of index 1, and is transparent where a frame says so.
TEST(RavoPlay, LeavesWhatFramesAndTheirDisposalLeave) {
    const TemporaryDirectory directory;
    const std::string path = directory / "in.gif", folder = directory / "a/frames";
    writeGif(path,
             {{{0, 0, 6, 4}, 1, 1, 7, -1},
              {{1, 1, 3, 3}, 2, 3, 25, 3, true},
              {{3, 0, 4, 3}, 2, 2, 4, -1, false, false, true},
              {{2, 0, 3, 3}, 1, 0, 0, 3}},
             0);
    const Result result = ravo("play " + path + " --plays 2 --limit 5 -o " + folder);
    EXPECT_EQ(result.nExit, 0);
    EXPECT_EQ(
        result.output,
        "0001.png at 0 ms, for 70 ms\n0002.png at 70 ms, for 250 ms\n0003.png at 320 ms, for 40 ms or until a key\n"
        "0004.png at 360 ms, passed at once\n0005.png at 360 ms, for 70 ms\n");
    const std::array<std::string, 5> wanted{".rrrrr rrrrrr rrrrrr rrrrrr ", ".rrrrr r.ggrr rrrrrr rgggrr ",
                                            ".rr.gg rrrrrr rrrggg rrrrrr ", ".r.rrg rrrggg rrrrrg rrrrrr ",
                                            ".rrrrr rrrrrr rrrrrr rrrrrr "};
    for (size_t i = 0; i < wanted.size(); ++i)
        EXPECT_EQ(drawn(folder + "/000" + std::to_string(i + 1) + ".png"), wanted[i]) << i;
    EXPECT_FALSE(std::filesystem::exists(folder + "/0006.png"));

    // What no frame covers is of the background.
    writeGif(path, {{{1, 1, 3, 2}, 1, 0, 1, -1}}, 0);
    EXPECT_EQ(ravo("play " + path + " -o " + folder).nExit, 0);
    EXPECT_EQ(drawn(folder + "/0001.png"), "gggggg g.rrgg grrrgg gggggg ");
    EXPECT_EQ(ravo("play " + path + " --background '#0A141E' -o " + folder).nExit, 0);
    EXPECT_EQ(drawn(folder + "/0001.png"), "...... ..rr.. .rrr.. ...... ");

    for (const char* pWrong : {"", " -o", " -o x --limit 0", " -o x --speed 2"})
        EXPECT_EQ(ravo("play " + path + pWrong).nExit, 2) << pWrong;
    EXPECT_EQ(ravo("play " + folder + "/0001.png -o " + folder).nExit, 1) << "no GIF file";
}

}  // namespace
}  // namespace ravo
