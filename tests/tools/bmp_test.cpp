// BMP files: every depth comes back, headers of other writers are read, lies are refused.
#include <cstring>

#include "convert.h"
#include "failure.h"
#include "formats.h"
#include "pictures.h"

namespace ravo {
namespace {

template <class T>
void append(Bytes& bytes, std::initializer_list<T> values) {
    for (const T value : values) {
        const size_t nAt = bytes.size();
        bytes.resize(nAt + sizeof value);
        std::memcpy(bytes.data() + nAt, &value, sizeof value);
    }
}

// A file of one header, what follows it, a gap, and rows.
struct BmpFile {
    uint32_t nHeader = 40;
    int32_t nWidth = 2, nHeight = 1;
    uint16_t nBits = 24;
    uint32_t uCompression = 0, nColors = 0;
    Bytes more{};  // of a longer header, masks, colours
    size_t nGap = 0;
    Bytes rows{};
    uint32_t nRowsAt = 0;  // 0: where they are

    Bytes bytes() const {
        Bytes result{'B', 'M'};
        append<uint32_t>(result, {0, 0, 0, nHeader});
        if (nHeader == 12) {
            append<uint16_t>(result, {uint16_t(nWidth), uint16_t(nHeight), 1, nBits});
        } else {
            append<int32_t>(result, {nWidth, nHeight});
            append<uint16_t>(result, {1, nBits});
            append<uint32_t>(result, {uCompression, 0, 0, 0, nColors, 0});
        }
        result.insert(result.end(), more.begin(), more.end());
        result.insert(result.end(), nGap, 0xEE);
        const uint32_t nAt = nRowsAt ? nRowsAt : uint32_t(result.size());
        std::memcpy(result.data() + 10, &nAt, 4);
        result.insert(result.end(), rows.begin(), rows.end());
        return result;
    }
};

class RavoBmp : public testing::Test {
protected:
    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory / "a.bmp";

    Picture reload(Picture& picture) {
        savePicture(picture, m_path);
        Picture loaded = loadPicture(m_path);
        return upright(loaded);
    }
    Picture read(const BmpFile& file) {
        const Bytes bytes = file.bytes();
        writeBytes(m_path, bytes.data(), bytes.size());
        Picture loaded = loadPicture(m_path);
        return upright(loaded);
    }
};

TEST_F(RavoBmp, EveryDepthAndViewComesBack) {
    for (const int32_t nBits : {1, 2, 3, 4, 5, 6, 7, 8, 16, 24, 32}) {
        for (const int32_t nWidth : {1, 7, 64, 301}) {
            for (const int32_t nView : {TOP_LEFT, BOTTOM_LEFT, RIGHT_TOP}) {
                SCOPED_TRACE(std::to_string(nBits) + " bits, width " + std::to_string(nWidth) + ", view " +
                             std::to_string(nView));
                Picture picture = randomPicture(nWidth, 9, nBits, nBits > 8 ? ORDER_BGR : ORDER_RGB,
                                                nBits > 8 ? Palette() : randomPalette(nBits, 4), nView);
                picture->XResolution = picture->YResolution = 203;
                Picture seen = upright(picture), loaded = reload(picture);
                ASSERT_EQ(loaded->BitsPerPixel, nBits == 2 || nBits == 3 ? 4 : nBits > 4 && nBits < 8 ? 8 : nBits);
                ASSERT_EQ(loaded->XResolution, 203);
                if (nBits <= 8) {
                    ASSERT_EQ(colorsOf(loaded), colorsOf(seen));
                    continue;
                }
                std::vector<uint64_t> want = pixelsOf(seen), got = pixelsOf(loaded);
                const uint64_t uKept = nBits == 16 ? 0x7FFF : UINT64_MAX;
                for (uint64_t& n : want) n &= uKept;
                for (uint64_t& n : got) n &= uKept;
                if (nBits == 32 && nWidth * 9 < 20) continue;  // may have no alpha that tells anything
                ASSERT_EQ(got, want);
            }
        }
    }
    // Alpha in a file is not multiplied in: 100 of 200 is 127 of 255.
    Picture multiplied(2, 1, 32, ORDER_BGR);
    ASSERT_EQ(R_FillBitmap2(multiplied.get(), 0x323264, 200), 1);
    multiplied->Flags |= BMF_PREMULTIPLIED;
    Picture divided = reload(multiplied);
    EXPECT_EQ(pixelAt(divided, 0, 0), 0xC87F3F3Fu);
}

TEST_F(RavoBmp, HeadersOfOtherWriters) {
    Picture old = read({.nHeader = 12,
                        .nBits = 4,
                        .more =
                            [] {
                                Bytes palette(48);
                                palette[9] = 7, palette[10] = 8, palette[11] = 9;  // entry 3: blue, green, red
                                return palette;
                            }(),
                        .nGap = 5,
                        .rows = {0x3F, 0, 0, 0}});
    EXPECT_EQ(colorsOf(old), (std::vector<uint64_t>{0x070809, 0}));

    Bytes masks;
    append<uint32_t>(masks, {0xF800, 0x07E0, 0x001F});
    const Bytes pixels16{0x00, 0xF8, 0xE0, 0x07};  // red, green
    Picture wide = read({.nBits = 16, .uCompression = 3, .more = masks, .rows = pixels16});
    EXPECT_EQ(pixelsOf(wide), (std::vector<uint64_t>{0x7C00, 0x03E0}));

    Bytes rest;  // of a header of 124 bytes
    append<uint32_t>(rest, {0xFF0000, 0xFF00, 0xFF, 0xFF000000});
    rest.resize(84);
    const Bytes pixels32{1, 2, 3, 4, 5, 6, 7, 0};
    Picture alpha = read({.nHeader = 124, .nBits = 32, .uCompression = 3, .more = rest, .rows = pixels32});
    EXPECT_EQ(pixelsOf(alpha), (std::vector<uint64_t>{0x04030201, 0x00070605}));
    Picture opaque = read({.nBits = 32, .rows = {1, 2, 3, 0, 5, 6, 7, 0}});
    EXPECT_EQ(pixelsOf(opaque), (std::vector<uint64_t>{0xFF030201, 0xFF070605}));
    Picture down = read({.nWidth = 1, .nHeight = -2, .nBits = 24, .rows = {1, 2, 3, 0, 4, 5, 6, 0}});
    EXPECT_EQ(pixelsOf(down), (std::vector<uint64_t>{0x030201, 0x060504}));
}

TEST_F(RavoBmp, LiesAreRefused) {
    const BmpFile sound{.nBits = 8, .nColors = 2, .more = Bytes(8), .rows = Bytes(4)};
    ASSERT_NO_THROW(read(sound));
    const auto refuse = [&](const char* pLie, auto change) {
        BmpFile file = sound;
        change(file);
        EXPECT_THROW(read(file), Failure) << pLie;
    };
    refuse("wide", [](BmpFile& f) { f.nWidth = 5; });
    refuse("very high", [](BmpFile& f) { f.nHeight = INT32_MIN; });
    refuse("negative width", [](BmpFile& f) { f.nWidth = -2; });
    refuse("empty", [](BmpFile& f) { f.nHeight = 0; });
    refuse("colours that are not there", [](BmpFile& f) { f.nColors = 0; });
    refuse("more colours than the depth has", [](BmpFile& f) { f.nColors = 257; });
    refuse("very many colours", [](BmpFile& f) { f.nColors = UINT32_MAX; });
    refuse("rows before the colours' end", [](BmpFile& f) { f.nRowsAt = 58; });
    refuse("rows behind the file", [](BmpFile& f) { f.nRowsAt = 0xFFFFFFF0; });
    refuse("long header", [](BmpFile& f) { f.nHeader = UINT32_MAX - 10; });
    refuse("short header", [](BmpFile& f) { f.nHeader = 20; });
    refuse("depth", [](BmpFile& f) { f.nBits = 5; });
    refuse("runs", [](BmpFile& f) { f.uCompression = 1; });
}

}  // namespace
}  // namespace ravo
