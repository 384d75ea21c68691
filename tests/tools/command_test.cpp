// The command as a process: its exit code, its messages, and what it leaves behind.
#include "command.h"

#include "formats.h"
#include "pictures.h"

namespace ravo {
namespace {

TEST(RavoCommand, RunsAChain) {
    const TemporaryDirectory directory;
    Picture picture = randomPicture(60, 40, 24, ORDER_RGB);
    savePicture(picture, directory / "in.png");
    const Result result = ravo((directory / "in.png") + " --crop 10,5,30x20 --fill '#010203,0,0,1x1' -o " +
                               (directory / "a.tif") + " --bits 8 --palette web -o " + (directory / "b.png"));
    EXPECT_EQ(result.nExit, 0) << result.output;
    EXPECT_EQ(result.output, "");
    Picture a = loadPicture(directory / "a.tif"), b = loadPicture(directory / "b.png");
    EXPECT_EQ(a->Width, 30);
    EXPECT_EQ(pixelAt(a, 0, 0), 0x030201u);
    EXPECT_EQ(pixelAt(a, 1, 0), pixelAt(picture, 11, 5));
    EXPECT_EQ(b->BitsPerPixel, 8);

    EXPECT_EQ(ravo((directory / "b.png") + " --warp 0,0 29,0 29,19 0,19 --region rect 1,2,3x4 --save-region " +
                   (directory / "region"))
                  .nExit,
              0)
        << "a chain may end with its region";
    const Result region = ravo("info " + (directory / "b.png") + " --region-file " + (directory / "region"));
    EXPECT_TRUE(has(region.output, "12 pixels within 1,2,3x4")) << region.output;

    const Result info = ravo("info " + (directory / "b.png"));
    EXPECT_EQ(info.nExit, 0);
    for (const char* pPart : {"30 x 20", "8 bits", "256 entries", "TOP_LEFT", "640, 32 a row"})
        EXPECT_TRUE(has(info.output, pPart)) << pPart << " in\n" << info.output;
}

TEST(RavoCommand, FailuresNameTheFileTheStepAndTheStatusAndLeaveNothing) {
    const TemporaryDirectory directory;
    const std::string in = directory / "in.png", out = directory / "out.png", cut = directory / "cut.jpg";
    Picture picture = randomPicture(60, 40, 24, ORDER_RGB);
    savePicture(picture, in);
    savePicture(picture, cut);
    std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
    const auto fails = [&](const std::string& arguments, int nExit, const std::vector<std::string>& parts) {
        const Result result = ravo(arguments);
        EXPECT_EQ(result.nExit, nExit) << arguments << "\n" << result.output;
        for (const std::string& part : parts) EXPECT_TRUE(has(result.output, part)) << part << " in\n" << result.output;
    };
    fails(in + " --crop 0,0,-3x4 -o " + out, 1,
          {in, "--crop 0,0,-3x4", "R_CopyBitmapRect", "-11", "Invalid width or height"});
    fails(cut + " -o " + out, 1, {cut, "damaged"});
    fails(in + " --alpha set", 2, {"--alpha set needs one more"});
    fails(in + " --warp 0,0 9,0", 2, {"--warp 0,0 9,0 needs 2 more"});
    fails(in + " --region rect", 2, {"--region rect needs one more"});
    fails(in + " --region none --mask " + (directory / "out.gif"), 2, {"out.gif"});
    fails(in + " --region-file " + in + " -o " + out, 1, {"--region-file", "damaged"});
    fails(in + " --palette " + in + " -o " + out, 1, {"--palette", "no palette"});
    fails(in + " --alpha set " + in + "x -o " + out, 1, {"--alpha set", "No such file"});
    fails(in + " --gray 9 -o " + out, 1, {"--gray 9"});
    fails(in + " --size 60x40 -o " + out, 1, {"tells its size itself"});
    fails((directory / "none.png") + " -o " + out, 1, {"none.png", "No such file"});
    fails(in + " -o " + (directory / "no/where.png"), 1, {"-o", "where.png", "No such file"});
    fails(in + " --bits 24 --order gray -o " + out, 1, {in, "--bits 24 --order gray"});
    fails(in + " -o /dev/null.png --copy", 2, {"-o OUT"});
    fails(in + " -o " + (directory / "out.gif"), 2, {"out.gif", ".png"});
    fails(in + " --frobnicate -o " + out, 2, {"--frobnicate"});
    fails("", 2, {"--help"});
    EXPECT_EQ(directory.names(), (std::vector<std::string>{"cut.jpg", "in.png"}));

    // What is there stays, until a complete picture takes its place.
    writeBytes(out, reinterpret_cast<const uint8_t*>("old"), 3);
    fails(in + " --crop 0,0,0x4 -o " + out, 1, {"-11"});
    EXPECT_EQ(readBytes(out), (Bytes{'o', 'l', 'd'}));
    std::filesystem::permissions(out, std::filesystem::perms(0640));
    EXPECT_EQ(ravo(in + " -o " + out).nExit, 0);
    EXPECT_EQ(loadPicture(out)->Width, 60);
    EXPECT_EQ(std::filesystem::status(out).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(directory.names(), (std::vector<std::string>{"cut.jpg", "in.png", "out.png"}));
}

TEST(RavoCommand, HelpTellsEveryStep) {
    const Result help = ravo("--help");
    EXPECT_EQ(help.nExit, 0);
    size_t nAt = 0;
    for (const char* pStep :
         {"play GIF",    "--crop X,Y,WxH", "--trim",         "--bits N",      "--order",       "--palette",
          "--gray [8|",  "--colors N",     "--dither",       "clustered",     "--alpha",       "--premultiply",
          "--fill",      "--combine",      "--mode",         "--region KIND", "--region-file", "--mask",
          "--outline",   "--save-region",  "--invert-view",  "--shear",       "--warp",        "--overlay",
          "--paint WxH", "--fit",          "--display-mode", "--device",      "--intensity",   "--contrast",
          "--gamma",     "--copy",         "--tile-size",    "--storage",     "--space",       "-o OUT"}) {
        const size_t nFound = help.output.find(pStep, nAt);
        ASSERT_NE(nFound, std::string::npos) << pStep;
        nAt = nFound;
    }
}

TEST(RavoCommand, RealPicturesComeBackAsTheyWere) {
    if (!std::filesystem::is_directory(RAVO_IMAGES)) GTEST_SKIP() << "no pictures beside the project";
    const TemporaryDirectory directory;
    for (const auto& entry : std::filesystem::directory_iterator(RAVO_IMAGES)) {
        const std::string extension = entry.path().extension();
        if (extension != ".png" && extension != ".jpg") continue;
        const std::string path = entry.path();
        ASSERT_EQ(
            ravo(path + " --copy --invert-view -o " + (directory / "a.tif") + " -o " + (directory / "b.png")).nExit, 0);
        Picture source = loadPicture(path);
        for (const char* pName : {"a.tif", "b.png"}) {
            Picture loaded = loadPicture(directory / pName);
            EXPECT_EQ(loaded->XResolution, source->XResolution) << path;
            if (loaded->BitsPerPixel == source->BitsPerPixel)
                EXPECT_EQ(pixelsOf(loaded), pixelsOf(source)) << path << " by " << pName;
            else
                EXPECT_EQ(colorsOf(loaded), colorsOf(source)) << path << " by " << pName;
        }
    }
}

TEST(RavoCommand, EveryStorageGivesTheSameFile) {
    if (!std::filesystem::is_directory(RAVO_IMAGES)) GTEST_SKIP() << "no pictures beside the project";
    const TemporaryDirectory directory;
    for (const auto& entry : std::filesystem::directory_iterator(RAVO_IMAGES)) {
        if (entry.path().extension() != ".png" && entry.path().extension() != ".jpg") continue;
        const std::string path = entry.path(), want = directory / "want.png", got = directory / "got.png";
        ASSERT_EQ(ravo(path + " -o " + want).nExit, 0);
        const int32_t nBits = loadPicture(path)->BitsPerPixel;
        for (const std::string storage : {"disk", "tiled", "compressed", "super"}) {
            const std::string there = path + " --tile-size 20k --storage " + storage;
            const Result moved = ravo(there + " -o " + got);
            const bool bHeld =
                storage == "compressed" ? nBits == 1 : storage != "super" || nBits == 1 || nBits == 8 || nBits == 24;
            if (bHeld && has(moved.output, "codec library")) continue;  // a build without it
            ASSERT_EQ(moved.nExit, bHeld ? 0 : 1) << there << "\n" << moved.output;
            if (!bHeld) continue;
            EXPECT_EQ(readBytes(got), readBytes(want)) << there;
            ASSERT_EQ(ravo(there + " --storage conventional -o " + got).nExit, 0) << there;
            EXPECT_EQ(readBytes(got), readBytes(want)) << there << " and back";
        }
    }
}

TEST(RavoCommand, InfoTellsStorage) {
    const TemporaryDirectory directory;
    const std::string in = directory / "in.png";
    Picture picture = randomPicture(100, 40, 24, ORDER_RGB);  // rows of 300 bytes
    savePicture(picture, in);
    const auto storage = [&](const std::string& steps) {
        const std::string output = ravo("info " + in + steps).output;
        const size_t nAt = output.find("storage"), nEnd = output.find('\n', nAt);
        return output.substr(nAt + 12, nEnd - nAt - 12);
    };
    EXPECT_EQ(storage(""), "memory");
    EXPECT_EQ(storage(" --storage disk"), "temporary file");
    EXPECT_EQ(storage(" --tile-size 3k --storage tiled"), "4 tiles of 3300 bytes, 0 in memory, 1 of 1 views")
        << "whole rows";
    EXPECT_EQ(storage(" --storage tiled"), "memory") << "one tile holds it";
    EXPECT_EQ(storage(" --bits 1 --storage compressed").substr(0, 11), "run lists, ");
    for (const char* pWrong : {" --storage tape", " --tile-size 0", " --tile-size 5000m", " --storage compressed"})
        EXPECT_EQ(ravo("info " + in + pWrong).nExit, 1) << pWrong;
}

}  // namespace
}  // namespace ravo
