// Files: what is written is what is read, what others write is read, what is damaged is refused.
#include <png.h>
#include <tiffio.h>

#include <cstdio>
// jpeglib.h asks for the above.
#include <jpeglib.h>

#include <cstring>
#include <functional>

#include "failure.h"
#include "formats.h"
#include "pictures.h"

namespace ravo {
namespace {

struct Kind {
    int32_t nBits, nOrder;
    Palette palette;
};

TEST(RavoFiles, LosslessFormatsKeepWhatTheyHaveAFormFor) {
    const TemporaryDirectory directory;
    std::vector<Kind> kinds{{24, ORDER_RGB, {}}, {32, ORDER_RGB, {}},  {48, ORDER_RGB, {}},
                            {64, ORDER_RGB, {}}, {16, ORDER_GRAY, {}}, {32, ORDER_GRAY, {}}};
    for (const int32_t nBits : {1, 2, 4, 8})
        for (const Palette& palette : {grayPalette(nBits), grayPalette(nBits, true), randomPalette(nBits, 5)})
            kinds.push_back({nBits, ORDER_RGB, palette});
    for (const char* pName : {"a.png", "a.tif"}) {
        const bool bTiff = formatOfName(pName).pName == std::string("TIFF");
        for (const Kind& kind : kinds) {
            if (bTiff ? kind.nBits == 2 : kind.nBits == 32 && kind.nOrder == ORDER_GRAY) continue;
            for (const int32_t nWidth : {1, 7, 64, 301}) {
                SCOPED_TRACE(std::string(pName) + " " + std::to_string(kind.nBits) + " bits, width " +
                             std::to_string(nWidth));
                Picture picture = randomPicture(nWidth, 9, kind.nBits, kind.nOrder, kind.palette);
                picture->XResolution = 203;
                picture->YResolution = 98;
                savePicture(picture, directory / pName);
                Picture loaded = loadPicture(directory / pName);
                ASSERT_EQ(loaded->BitsPerPixel, kind.nBits);
                ASSERT_EQ(loaded->Order, kind.nOrder);
                ASSERT_EQ(loaded->XResolution, 203);
                ASSERT_EQ(loaded->YResolution, 98);
                ASSERT_EQ(loaded->ViewPerspective, TOP_LEFT);
                ASSERT_TRUE(samePalette(loaded.palette(), kind.palette));
                ASSERT_EQ(pixelsOf(loaded), pixelsOf(picture));
            }
        }
    }
}

TEST(RavoFiles, DepthsWithoutAFormTakeTheNearestOne) {
    const TemporaryDirectory directory;
    const auto reload = [&](Picture& picture, const char* pName) {
        savePicture(picture, directory / pName);
        return loadPicture(directory / pName);
    };
    for (const char* pName : {"a.png", "a.tif"}) {
        for (const int32_t nBits : {2, 3, 5, 6, 7}) {
            for (const Palette& palette : {randomPalette(nBits, 6), grayPalette(nBits)}) {
                if (nBits == 2 && formatOfName(pName).pName == std::string("PNG")) continue;
                Picture picture = randomPicture(53, 6, nBits, ORDER_RGB, palette);
                Picture loaded = reload(picture, pName);
                EXPECT_EQ(loaded->BitsPerPixel, nBits == 2 ? 4 : 8) << pName;
                EXPECT_EQ(colorsOf(loaded), colorsOf(picture)) << pName << " " << nBits;
            }
        }
        Picture wide = randomPicture(33, 4, 12, ORDER_GRAY), loadedWide = reload(wide, pName);
        EXPECT_EQ(loadedWide->BitsPerPixel, 16);
        EXPECT_EQ(loadedWide->Order, ORDER_GRAY);
        const auto wideSamples = pixelsOf(wide), loadedSamples = pixelsOf(loadedWide);
        for (size_t i = 0; i < wideSamples.size(); ++i)
            ASSERT_NEAR(double(loadedSamples[i]) / 65535, double(wideSamples[i]) / 4095, 0.001) << pName;

        Picture high = randomPicture(33, 4, 16, ORDER_BGR), loadedHigh = reload(high, pName);
        EXPECT_EQ(loadedHigh->BitsPerPixel, 24);
        const auto highPixels = pixelsOf(high), loadedPixels = pixelsOf(loadedHigh);
        for (size_t i = 0; i < highPixels.size(); ++i) {
            for (int nChannel = 0; nChannel < 3; ++nChannel) {  // red in bits 14-10 and in the first byte
                const uint64_t nFive = highPixels[i] >> (10 - 5 * nChannel) & 31;
                ASSERT_EQ(loadedPixels[i] >> 8 * nChannel & 255, nFive << 3 | nFive >> 2) << pName;
            }
        }
        Picture swapped = randomPicture(33, 4, 24, ORDER_BGR), loadedSwapped = reload(swapped, pName);
        EXPECT_EQ(loadedSwapped->Order, ORDER_RGB);
        const uint64_t nFrom = pixelAt(swapped, 20, 2), nTo = pixelAt(loadedSwapped, 20, 2);
        EXPECT_EQ(nTo, (nFrom & 255) << 16 | (nFrom & 0xFF00) | nFrom >> 16);
    }
}

TEST(RavoFiles, ViewsAreTurnedUprightOnTheWayOut) {
    const TemporaryDirectory directory;
    for (int32_t nView = TOP_LEFT; nView <= LEFT_BOTTOM; ++nView) {
        for (const int32_t nBits : {1, 3, 12, 24}) {
            Picture picture = randomPicture(21, 13, nBits, nBits == 12 ? ORDER_GRAY : ORDER_RGB, {}, nView);
            Picture turned = upright(picture);
            const std::string a = directory / "a.png", b = directory / "b.png";
            savePicture(picture, a);
            savePicture(turned, b);
            EXPECT_EQ(readBytes(a), readBytes(b)) << nView << " " << nBits;
            // The corner of the picture at which the stored first pixel stands.
            const int32_t nLastX = turned->Width - 1, nLastY = turned->Height - 1;
            static constexpr bool kRight[] = {false, true, true, false, false, true, true, false};
            static constexpr bool kBottom[] = {false, false, true, true, false, false, true, true};
            EXPECT_EQ(pixelAt(turned, kRight[nView - 1] ? nLastX : 0, kBottom[nView - 1] ? nLastY : 0),
                      pixelAt(picture, 0, 0));
            EXPECT_EQ(turned->Width, nView >= LEFT_TOP ? 13 : 21);
        }
    }
}

TEST(RavoFiles, TransparentColorsAndAlphaSurvivePng) {
    const TemporaryDirectory directory;
    const std::string path = directory / "a.png";
    for (const Kind& kind :
         {Kind{4, ORDER_RGB, randomPalette(4, 9)}, Kind{8, ORDER_RGB, grayPalette(8)}, Kind{24, ORDER_RGB, {}}}) {
        Picture picture = randomPicture(12, 5, kind.nBits, kind.nOrder, kind.palette);
        picture->Flags |= BMF_TRANSPARENCY;
        picture->Transparency = kind.nBits == 24 ? 0x00C08040 : 0x01000007;
        savePicture(picture, path);
        Picture loaded = loadPicture(path);
        EXPECT_EQ(loaded->BitsPerPixel, kind.nBits);
        EXPECT_TRUE(loaded->Flags & BMF_TRANSPARENCY);
        EXPECT_EQ(loaded->Transparency, picture->Transparency);
    }
    // A file has its colour not multiplied by alpha, whatever the picture has.
    Picture picture(2, 1, 32, ORDER_RGB);
    picture->Flags |= BMF_PREMULTIPLIED;
    Row row{100, 50, 0, 128, 9, 8, 7, 255};
    {
        const Access lock(picture);
        putRow(picture, row.data(), 0);
    }
    savePicture(picture, path);
    Picture loaded = loadPicture(path);
    EXPECT_EQ(pixelAt(loaded, 0, 0) & 255, 199u);
    EXPECT_EQ(pixelAt(loaded, 0, 0) >> 8 & 255, 99u);
    EXPECT_EQ(pixelAt(loaded, 1, 0), 0xFF070809u);
}

// ---- files of others ---------------------------------------------------------------------------------------------

void writePng(const std::string& path, int nWidth, int nHeight, int nBits, int nType, int nInterlace,
              const std::function<void(png_structp, png_infop)>& more, const std::vector<Bytes>& rows) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    FILE* pFile = std::fopen(path.c_str(), "wb");
    png_init_io(png, pFile);
    png_set_IHDR(png, info, png_uint_32(nWidth), png_uint_32(nHeight), nBits, nType, nInterlace, 0, 0);
    if (more) more(png, info);
    std::vector<png_bytep> pointers;
    for (const Bytes& row : rows) pointers.push_back(const_cast<png_bytep>(row.data()));
    png_set_rows(png, info, pointers.data());
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(pFile);
}

TEST(RavoFiles, PngOfOtherKinds) {
    const TemporaryDirectory directory;
    const std::string plain = directory / "plain.png", laced = directory / "laced.png";
    std::mt19937 random(3);
    for (const auto& [nType, nBits, nPixelBits] :
         {std::tuple(PNG_COLOR_TYPE_GRAY, 1, 1), std::tuple(PNG_COLOR_TYPE_GRAY, 4, 4),
          std::tuple(PNG_COLOR_TYPE_RGB, 8, 24), std::tuple(PNG_COLOR_TYPE_RGBA, 16, 64)}) {
        std::vector<Bytes> rows(19, Bytes(size_t(37 * nPixelBits + 7) / 8));
        for (Bytes& row : rows)
            for (uint8_t& n : row) n = uint8_t(random());
        writePng(plain, 37, 19, nBits, nType, PNG_INTERLACE_NONE, {}, rows);
        writePng(laced, 37, 19, nBits, nType, PNG_INTERLACE_ADAM7, {}, rows);
        Picture a = loadPicture(plain), b = loadPicture(laced);
        EXPECT_EQ(a->BitsPerPixel, nPixelBits);
        EXPECT_EQ(pixelsOf(a), pixelsOf(b)) << nPixelBits;
    }
    // Grey with alpha, and a palette of several alphas, become colour with alpha.
    writePng(plain, 2, 1, 8, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_INTERLACE_NONE, {}, {{10, 20, 30, 40}});
    Picture gray = loadPicture(plain);
    EXPECT_EQ(gray->BitsPerPixel, 32);
    EXPECT_EQ(pixelsOf(gray), (std::vector<uint64_t>{0x140A0A0A, 0x281E1E1E}));
    const auto indexed = [](png_structp png, png_infop info) {
        const png_color palette[]{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
        const png_byte alpha[]{11, 0, 255};
        png_set_PLTE(png, info, palette, 3);
        png_set_tRNS(png, info, alpha, 3, nullptr);
    };
    writePng(plain, 3, 1, 2, PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE, indexed, {{0x18}});
    Picture expanded = loadPicture(plain);
    EXPECT_EQ(pixelsOf(expanded), (std::vector<uint64_t>{0x0B030201, 0x00060504, 0xFF090807}));
    // Sixteen bits: the file has the high byte first.
    writePng(plain, 1, 1, 16, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, {}, {{0x12, 0x34}});
    Picture deep = loadPicture(plain);
    EXPECT_EQ(pixelAt(deep, 0, 0), 0x1234u);
}

using TagSetter = std::function<void(TIFF*)>;

TIFF* startTiff(const std::string& path, uint32_t nWidth, uint32_t nHeight, int nBits, int nSamples, int nPhotometric,
                int nCompression = COMPRESSION_NONE, int nPlanar = PLANARCONFIG_CONTIG) {
    TIFF* pTiff = TIFFOpen(path.c_str(), "w");
    TIFFSetField(pTiff, TIFFTAG_IMAGEWIDTH, nWidth);
    TIFFSetField(pTiff, TIFFTAG_IMAGELENGTH, nHeight);
    TIFFSetField(pTiff, TIFFTAG_BITSPERSAMPLE, nBits);
    TIFFSetField(pTiff, TIFFTAG_SAMPLESPERPIXEL, nSamples);
    TIFFSetField(pTiff, TIFFTAG_PHOTOMETRIC, nPhotometric);
    TIFFSetField(pTiff, TIFFTAG_COMPRESSION, nCompression);
    TIFFSetField(pTiff, TIFFTAG_PLANARCONFIG, nPlanar);
    return pTiff;
}

// A picture of one kind, as strips and as tiles, is the same picture.
TEST(RavoFiles, TiffTilesAndPlanesGiveThePixelsOfStrips) {
    const TemporaryDirectory directory;
    const std::string path = directory / "a.tif";
    for (const auto& [nBits, nSamples] : {std::pair(1, 1), std::pair(8, 1), std::pair(8, 3), std::pair(16, 4)}) {
        const int nPhotometric = nSamples == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB;
        constexpr uint32_t nWidth = 83, nHeight = 45, nTile = 32;
        Picture wanted = randomPicture(int32_t(nWidth), int32_t(nHeight), nBits * nSamples, ORDER_RGB,
                                       nSamples == 1 ? grayPalette(nBits) : Palette());
        const std::vector<uint64_t> pixels = pixelsOf(wanted);
        const int32_t nPixelBits = nBits * nSamples;

        TIFF* pTiled = startTiff(path, nWidth, nHeight, nBits, nSamples, nPhotometric, COMPRESSION_LZW);
        TIFFSetField(pTiled, TIFFTAG_TILEWIDTH, nTile);
        TIFFSetField(pTiled, TIFFTAG_TILELENGTH, nTile);
        Bytes tile(size_t(TIFFTileSize(pTiled)));
        const size_t nTileRow = tile.size() / nTile;
        for (uint32_t y = 0; y < nHeight; y += nTile) {
            for (uint32_t x = 0; x < nWidth; x += nTile) {
                std::fill(tile.begin(), tile.end(), uint8_t(0xFF));
                for (uint32_t j = y; j < std::min(y + nTile, nHeight); ++j)
                    for (uint32_t i = x; i < std::min(x + nTile, nWidth); ++i)
                        writePixel(tile.data() + (j - y) * nTileRow, int32_t(i - x), nPixelBits,
                                   pixels[j * nWidth + i]);
                TIFFWriteTile(pTiled, tile.data(), x, y, 0, 0);
            }
        }
        TIFFClose(pTiled);
        Picture tiled = loadPicture(path);
        EXPECT_EQ(tiled->BitsPerPixel, nPixelBits);
        EXPECT_EQ(pixelsOf(tiled), pixels) << nPixelBits;

        if (nSamples == 1) continue;
        TIFF* pPlanes =
            startTiff(path, nWidth, nHeight, nBits, nSamples, nPhotometric, COMPRESSION_LZW, PLANARCONFIG_SEPARATE);
        TIFFSetField(pPlanes, TIFFTAG_ROWSPERSTRIP, 7);
        Bytes plane(nWidth * size_t(nBits) / 8);
        for (int s = 0; s < nSamples; ++s) {
            for (uint32_t y = 0; y < nHeight; ++y) {
                for (uint32_t x = 0; x < nWidth; ++x)
                    writePixel(plane.data(), int32_t(x), nBits, pixels[y * nWidth + x] >> (s * nBits));
                TIFFWriteScanline(pPlanes, plane.data(), y, uint16_t(s));
            }
        }
        TIFFClose(pPlanes);
        Picture planes = loadPicture(path);
        EXPECT_EQ(pixelsOf(planes), pixels) << nPixelBits;
    }
}

TEST(RavoFiles, TiffOfOtherKinds) {
    const TemporaryDirectory directory;
    const std::string path = directory / "a.tif";
    const auto write = [&](uint32_t nWidth, int nBits, int nSamples, int nPhotometric, Bytes row,
                           const TagSetter& more = {}) {
        TIFF* pTiff = startTiff(path, nWidth, 1, nBits, nSamples, nPhotometric);
        if (more) more(pTiff);
        TIFFWriteScanline(pTiff, row.data(), 0, 0);
        TIFFClose(pTiff);
        return loadPicture(path);
    };
    // Twelve bits: 0xABC and 0x123 with the high bits first, then a lone 0x456.
    Picture twelve = write(3, 12, 1, PHOTOMETRIC_MINISBLACK, {0xAB, 0xC1, 0x23, 0x45, 0x60});
    EXPECT_EQ(twelve->BitsPerPixel, 12);
    EXPECT_EQ(pixelsOf(twelve), (std::vector<uint64_t>{0xABC, 0x123, 0x456}));
    Picture white8 = write(2, 8, 1, PHOTOMETRIC_MINISWHITE, {0, 200});
    EXPECT_EQ(colorsOf(white8), (std::vector<uint64_t>{0xFFFFFF, 0x373737}));
    Picture white16 = write(1, 16, 1, PHOTOMETRIC_MINISWHITE, {0x34, 0x12});
    EXPECT_EQ(pixelAt(white16, 0, 0), 0xEDCBu);
    Picture alpha = write(2, 8, 2, PHOTOMETRIC_MINISBLACK, {10, 20, 30, 40}, [](TIFF* pTiff) {
        const uint16_t nKind = EXTRASAMPLE_ASSOCALPHA;
        TIFFSetField(pTiff, TIFFTAG_EXTRASAMPLES, 1, &nKind);
    });
    EXPECT_EQ(pixelsOf(alpha), (std::vector<uint64_t>{0x140A0A0A, 0x281E1E1E}));
    EXPECT_TRUE(alpha->Flags & BMF_PREMULTIPLIED);
    Picture turned = write(2, 8, 1, PHOTOMETRIC_MINISBLACK, {1, 2}, [](TIFF* pTiff) {
        TIFFSetField(pTiff, TIFFTAG_ORIENTATION, ORIENTATION_RIGHTTOP);
        TIFFSetField(pTiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
        TIFFSetField(pTiff, TIFFTAG_XRESOLUTION, 100.0);
        TIFFSetField(pTiff, TIFFTAG_YRESOLUTION, 50.0);
    });
    EXPECT_EQ(turned->ViewPerspective, RIGHT_TOP);
    EXPECT_EQ(turned->XResolution, 254);
    EXPECT_EQ(turned->YResolution, 127);
    Picture inks = write(1, 8, 4, PHOTOMETRIC_SEPARATED, {255, 0, 0, 0});  // by libtiff's own way
    EXPECT_EQ(pixelAt(inks, 0, 0), 0xFFFF00u);
    EXPECT_THROW(write(1, 32, 1, PHOTOMETRIC_MINISBLACK, {0, 0, 0, 0},
                       [](TIFF* pTiff) { TIFFSetField(pTiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP); }),
                 Failure);
}

void writeJpeg(const std::string& path, J_COLOR_SPACE space, int nComponents, bool bProgressive,
               const Bytes& marker = {}) {
    jpeg_compress_struct state{};
    jpeg_error_mgr errors;
    state.err = jpeg_std_error(&errors);
    jpeg_create_compress(&state);
    FILE* pFile = std::fopen(path.c_str(), "wb");
    jpeg_stdio_dest(&state, pFile);
    state.image_width = 40;
    state.image_height = 24;
    state.input_components = nComponents;
    state.in_color_space = space;
    jpeg_set_defaults(&state);
    if (bProgressive) jpeg_simple_progression(&state);
    jpeg_start_compress(&state, TRUE);
    if (!marker.empty()) jpeg_write_marker(&state, JPEG_APP0 + 1, marker.data(), unsigned(marker.size()));
    Bytes row(40 * size_t(nComponents));
    for (int y = 0; y < 24; ++y) {
        for (size_t i = 0; i < row.size(); ++i) row[i] = uint8_t(i * 2 + size_t(y) * 5);
        JSAMPROW pRow = row.data();
        jpeg_write_scanlines(&state, &pRow, 1);
    }
    jpeg_finish_compress(&state);
    jpeg_destroy_compress(&state);
    std::fclose(pFile);
}

TEST(RavoFiles, Jpeg) {
    const TemporaryDirectory directory;
    const std::string path = directory / "a.jpg";
    for (const int32_t nBits : {8, 24}) {
        Picture picture(64, 48, nBits, ORDER_RGB, nBits == 8 ? grayPalette(8) : Palette());
        {
            const Access lock(picture);
            Row row(picture->BytesPerLine);
            for (int32_t y = 0; y < 48; ++y) {
                for (size_t i = 0; i < row.size(); ++i) row[i] = uint8_t(i * 3 / size_t(nBits) + size_t(y) * 4);
                putRow(picture, row.data(), y);
            }
        }
        picture->XResolution = 300;
        picture->YResolution = 150;
        savePicture(picture, path);
        Picture loaded = loadPicture(path);
        EXPECT_EQ(loaded->BitsPerPixel, nBits);
        EXPECT_EQ(loaded->XResolution, 300);
        EXPECT_EQ(loaded->YResolution, 150);
        const auto before = pixelsOf(picture), after = pixelsOf(loaded);
        for (size_t i = 0; i < before.size(); ++i)
            ASSERT_NEAR(double(before[i] & 255), double(after[i] & 255), 12) << i;
    }
    Picture deep = randomPicture(20, 20, 16, ORDER_GRAY);
    savePicture(deep, path);
    EXPECT_TRUE(isGrayPalette(loadPicture(path).palette()));

    // A camera's orientation, in either byte order.
    const Bytes little{'E', 'x', 'i',  'f', 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0,
                       1,   0,   0x12, 1,   3, 0, 1,   0,   0,  0, 8, 0, 0, 0};
    const Bytes big{'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0, 3, 0, 0, 0, 1, 0, 6, 0, 0};
    writeJpeg(path, JCS_RGB, 3, false, little);
    EXPECT_EQ(loadPicture(path)->ViewPerspective, LEFT_BOTTOM);
    writeJpeg(path, JCS_RGB, 3, false, big);
    EXPECT_EQ(loadPicture(path)->ViewPerspective, RIGHT_TOP);

    writeJpeg(path, JCS_CMYK, 4, false);
    try {
        loadPicture(path);
        FAIL() << "CMYK was taken";
    } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()).find("CMYK"), std::string::npos);
    }
}

// ---- damage ------------------------------------------------------------------------------------------------------

class Damage : public testing::Test {
protected:
    const TemporaryDirectory m_directory;

    // One small file of each kind that has a decoder of its own.
    std::vector<std::string> files() {
        std::vector<std::string> paths;
        const auto add = [&](const char* pName, Picture picture) {
            paths.push_back(m_directory / pName);
            savePicture(picture, paths.back());
        };
        add("color.png", randomPicture(17, 9, 24, ORDER_RGB));
        add("palette.png", randomPicture(17, 9, 4, ORDER_RGB, randomPalette(4, 1)));
        add("color.tif", randomPicture(17, 9, 24, ORDER_RGB));
        add("palette.tif", randomPicture(17, 9, 8, ORDER_RGB, randomPalette(8, 2)));
        add("color.bmp", randomPicture(17, 9, 24, ORDER_BGR));
        add("palette.bmp", randomPicture(17, 9, 4, ORDER_RGB, randomPalette(4, 3)));
        add("fax.tif", randomPicture(61, 30, 1, ORDER_RGB));
        add("gray.jpg", randomPicture(17, 9, 8, ORDER_RGB, grayPalette(8)));
        paths.push_back(m_directory / "laced.png");
        writePng(paths.back(), 17, 9, 8, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_ADAM7, {},
                 std::vector<Bytes>(9, Bytes(17, 77)));
        paths.push_back(m_directory / "progressive.jpg");
        writeJpeg(paths.back(), JCS_RGB, 3, true);
        paths.push_back(m_directory / "tiles.tif");
        TIFF* pTiff = startTiff(paths.back(), 33, 20, 8, 1, PHOTOMETRIC_MINISBLACK, COMPRESSION_ADOBE_DEFLATE);
        TIFFSetField(pTiff, TIFFTAG_TILEWIDTH, 16);
        TIFFSetField(pTiff, TIFFTAG_TILELENGTH, 16);
        Bytes tile(256, 9);
        for (uint32_t i = 0; i < 6; ++i) TIFFWriteEncodedTile(pTiff, i, tile.data(), 256);
        TIFFClose(pTiff);
        return paths;
    }
};

TEST_F(Damage, EveryTruncationIsRefused) {
    for (const std::string& path : files()) {
        ASSERT_NO_THROW(loadPicture(path)) << path;
        for (size_t n = std::filesystem::file_size(path); n-- > 0;) {
            std::filesystem::resize_file(path, n);
            EXPECT_THROW(loadPicture(path), Failure) << path << " cut to " << n;
        }
    }
}

TEST_F(Damage, WrongBytesNeitherCrashNorEscape) {
    std::mt19937 random(17);
    testing::internal::CaptureStderr();  // notes about pages and kinds of pixels
    for (const std::string& path : files()) {
        const Bytes whole = readBytes(path);
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        const auto put = [&](size_t nAt, uint8_t n) { file.seekp(std::streamoff(nAt)).put(char(n)).flush(); };
        for (int i = 0; i < 400; ++i) {
            std::vector<size_t> places(size_t(1 + i % 4));
            for (size_t& nAt : places) put(nAt = random() % whole.size(), uint8_t(random()));
            try {
                Picture picture = loadPicture(path);
                EXPECT_EQ(pixelsOf(picture).size(), size_t(picture->Width) * size_t(picture->Height));
            } catch (const Failure&) {
            } catch (const std::bad_alloc&) {
            }
            for (const size_t nAt : places) put(nAt, whole[nAt]);
        }
        EXPECT_EQ(readBytes(path), whole);
    }
    testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace ravo
