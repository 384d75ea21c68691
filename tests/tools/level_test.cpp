// Windows of deep grey, worked out by hand and on real slices.
#include "level.h"

#include <cmath>

#include "failure.h"
#include "formats.h"
#include "pictures.h"
#include "steps.h"

namespace ravo {
namespace {

Picture grayOf(const std::vector<int32_t>& samples, int32_t nWidth, int32_t nBits, bool bSigned) {
    Picture picture(nWidth, int32_t(samples.size()) / nWidth, nBits, nBits == 8 ? ORDER_RGB : ORDER_GRAY,
                    nBits == 8 ? grayPalette(8) : Palette());
    if (bSigned) picture->Flags |= BMF_SIGNED;
    Row row(picture->BytesPerLine);
    const Access lock(picture);
    for (int32_t y = 0; y < picture->Height; ++y) {
        for (int32_t x = 0; x < nWidth; ++x)
            writePixel(row.data(), x, nBits, uint64_t(samples[size_t(y * nWidth + x)]) & ((uint64_t(1) << nBits) - 1));
        putRow(picture, row.data(), y);
    }
    return picture;
}

std::vector<uint64_t> shown(Picture picture, const char* pStep, const std::string& argument,
                            const std::string& path = {}) {
    Chain chain{std::move(picture), {}};
    runStep(chain, *findStep(pStep), argument);
    EXPECT_TRUE(chain.picture->BitsPerPixel == 8 && samePalette(chain.picture.palette(), grayPalette(8)));
    if (!path.empty()) savePicture(chain.picture, path);
    return pixelsOf(chain.picture);
}

TEST(RavoLevel, GoesFromBlackToWhite) {
    using Grays = std::vector<uint64_t>;
    for (const int32_t nBits : {8, 12, 16}) {
        EXPECT_EQ(shown(grayOf({0, 99, 100, 150, 151, 200, 255}, 7, nBits, false), "--window", "150,101"),
                  (Grays{0, 0, 0, 127, 130, 255, 255}));
        EXPECT_EQ(shown(grayOf({99, 101, 102, 103}, 4, nBits, false), "--level", "100,102,log,10"),
                  (Grays{0, 149, 255, 255}));
    }
    for (const int32_t nBits : {12, 16})
        EXPECT_EQ(shown(grayOf({-2000, -51, -50, 0, 49, 50, 2000}, 7, nBits, true), "--level", "-50,50,sigmoid"),
                  (Grays{0, 0, 0, 127, 253, 255, 255}));
    for (const char* pWrong : {"5", "5,1", "1,2,3", "a,b"})
        EXPECT_THROW(shown(grayOf({0}, 1, 16, false), "--window", pWrong), Failure) << pWrong;
    for (const char* pWrong : {"5", "5,5", "1,2,cubic", "1,2,log,-1", "1,2,exp,1,1"})
        EXPECT_THROW(shown(grayOf({0}, 1, 16, false), "--level", pWrong), Failure) << pWrong;
    EXPECT_THROW(shown(Picture(1, 1, 32, ORDER_GRAY), "--window", "5,9"), Failure);
}

// Each pixel against the window's own line, by the samples that the scanner stored.
TEST(RavoLevel, WindowsOfRealSlices) {
    struct Slice {
        const char* pName;
        int32_t nSide, nOffset, nCenter, nWidth;
    };
    // Stored densities are 1024 above those of the scale that has water at 0 and air at -1000.
    const Slice slices[] = {{"ct_128x128_i16le.raw", 128, -1024, 40, 400},
                            {"ct_128x128_i16le.raw", 128, -1024, 400, 1800},
                            {"mr_64x64_i16le.raw", 64, 0, 600, 1200}};
    const TemporaryDirectory directory;
    for (const Slice& slice : slices) {
        const Bytes bytes = readBytes(std::string(RAVO_IMAGES "/") + slice.pName);
        if (bytes.empty()) GTEST_SKIP() << slice.pName << " is absent";
        ASSERT_EQ(bytes.size(), size_t(slice.nSide * slice.nSide * 2));
        std::vector<int32_t> samples;
        for (size_t i = 0; i < bytes.size(); i += 2)
            samples.push_back(int16_t(bytes[i] | bytes[i + 1] << 8) + slice.nOffset);
        const std::string path = directory / "slice.png";
        const auto got = shown(grayOf(samples, slice.nSide, 16, true), "--window",
                               std::to_string(slice.nCenter) + "," + std::to_string(slice.nWidth), path);
        Picture loaded = loadPicture(path);
        EXPECT_EQ(pixelsOf(loaded), got);
        size_t nBetween = 0;
        for (size_t i = 0; i < samples.size(); ++i) {
            const double d = (samples[i] - slice.nCenter + slice.nWidth / 2) * 255.0 / (slice.nWidth - 1);
            ASSERT_EQ(double(got[i]), std::floor(std::clamp(d, 0.0, 255.0))) << samples[i];
            nBetween += got[i] > 0 && got[i] < 255;
        }
        EXPECT_GT(nBetween, samples.size() / 10) << "the window shows something";
    }
}

}  // namespace
}  // namespace ravo
