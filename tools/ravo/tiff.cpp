// TIFF files through libtiff. Bilevel, palette, grey and colour samples come as they are stored, from strips or tiles,
// interleaved or plane by plane; what else libtiff can make into pixels comes as 24 or 32-bit colour, and that is said.
// Written: CCITT G4 for black and white, LZW otherwise, always interleaved strips.

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "convert.h"
#include "failure.h"
#include "formats.h"
#include "pixel.h"
#include "progress.h"

namespace ravo {

namespace {

constexpr double kCentimetresPerInch = 2.54;
constexpr uint32_t kStripBytes = 65536;
constexpr uint64_t kMostTileBytes = uint64_t(1) << 28;
constexpr uint64_t kMostPixelsAsColor = uint64_t(1) << 28;  // held in memory as a whole

// libtiff tells errors to process-wide handlers. The first text counts: what follows comes of it.
char g_errorText[256];
bool g_bWarningsCount;  // while pixels are decoded, a warning tells of damage that the decoder papers over

void onError(const char*, const char* pFormat, va_list arguments) {
    if (!g_errorText[0]) std::vsnprintf(g_errorText, sizeof g_errorText, pFormat, arguments);
}

// A tag behind the end of the file is a warning to libtiff, and left out; other warnings about tags are harmless.
void onWarning(const char* pModule, const char* pFormat, va_list arguments) {
    if (g_bWarningsCount || std::strstr(pFormat, "IO error")) onError(pModule, pFormat, arguments);
}

struct CloseTiff {
    void operator()(TIFF* pTiff) const noexcept { TIFFClose(pTiff); }
};
using Tiff = std::unique_ptr<TIFF, CloseTiff>;

Tiff openTiff(const std::string& path, const char* pMode) {
    TIFFSetErrorHandler(onError);
    TIFFSetWarningHandler(onWarning);
    g_errorText[0] = 0;
    g_bWarningsCount = false;
    return Tiff(TIFFOpen(path.c_str(), pMode));
}

[[noreturn]] void failReading() {
    throw Failure(std::string("is damaged: ") + (g_errorText[0] ? g_errorText : "pixels are missing"));
}

[[noreturn]] void failWriting() {
    throw Failure(std::string("cannot be written: ") + (g_errorText[0] ? g_errorText : "unknown error"));
}

bool recognises(const uint8_t* pStart, size_t nBytes) {
    if (nBytes < 4) return false;
    const bool bLittle = std::memcmp(pStart, "II", 2) == 0, bBig = std::memcmp(pStart, "MM", 2) == 0;
    const uint8_t nVersion = bLittle ? pStart[2] : pStart[3], nZero = bLittle ? pStart[3] : pStart[2];
    return (bLittle || bBig) && (nVersion == 42 || nVersion == 43) && nZero == 0;
}

// ---- reading -----------------------------------------------------------------------------------------------------

// The tags that decide how pixels are laid out.
struct Layout {
    uint32_t nWidth = 0, nHeight = 0;
    uint16_t nBits = 1, nSamples = 1, nPhotometric = 0, nPlanar = PLANARCONFIG_CONTIG, nCompression = COMPRESSION_NONE;
    uint16_t nFormat = SAMPLEFORMAT_UINT, nOrientation = ORIENTATION_TOPLEFT;
    uint16_t nExtra = 0;
    const uint16_t* pExtra = nullptr;
    bool bTiled = false;

    bool isGray() const noexcept {
        return nPhotometric == PHOTOMETRIC_MINISBLACK || nPhotometric == PHOTOMETRIC_MINISWHITE;
    }
    bool isWide() const noexcept { return nBits == 16; }
    // Grey with alpha, which becomes colour with alpha.
    bool isGrayAlpha() const noexcept { return isGray() && nSamples == 2; }
    bool isPremultiplied() const noexcept { return nExtra > 0 && pExtra[0] == EXTRASAMPLE_ASSOCALPHA; }
    size_t rowBytes(uint32_t nPixels) const noexcept { return (size_t(nPixels) * nBits * nSamples + 7) / 8; }
};

Layout readLayout(TIFF* pTiff) {
    Layout layout;
    if (!TIFFGetField(pTiff, TIFFTAG_IMAGEWIDTH, &layout.nWidth) ||
        !TIFFGetField(pTiff, TIFFTAG_IMAGELENGTH, &layout.nHeight))
        throw Failure("is damaged: it has no size");
    checkSize(layout.nWidth, layout.nHeight);
    TIFFGetFieldDefaulted(pTiff, TIFFTAG_BITSPERSAMPLE, &layout.nBits);
    TIFFGetFieldDefaulted(pTiff, TIFFTAG_SAMPLESPERPIXEL, &layout.nSamples);
    TIFFGetFieldDefaulted(pTiff, TIFFTAG_PLANARCONFIG, &layout.nPlanar);
    TIFFGetFieldDefaulted(pTiff, TIFFTAG_COMPRESSION, &layout.nCompression);
    TIFFGetFieldDefaulted(pTiff, TIFFTAG_SAMPLEFORMAT, &layout.nFormat);
    TIFFGetFieldDefaulted(pTiff, TIFFTAG_ORIENTATION, &layout.nOrientation);
    TIFFGetFieldDefaulted(pTiff, TIFFTAG_EXTRASAMPLES, &layout.nExtra, &layout.pExtra);
    if (!TIFFGetField(pTiff, TIFFTAG_PHOTOMETRIC, &layout.nPhotometric))
        layout.nPhotometric = layout.nSamples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    if (layout.nOrientation < TOP_LEFT || layout.nOrientation > LEFT_BOTTOM) layout.nOrientation = TOP_LEFT;
    layout.bTiled = TIFFIsTiled(pTiff) != 0;
    if (layout.nPhotometric == PHOTOMETRIC_YCBCR && layout.nCompression == COMPRESSION_JPEG &&
        layout.nPlanar == PLANARCONFIG_CONTIG) {  // the JPEG decoder gives RGB
        TIFFSetField(pTiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        layout.nPhotometric = PHOTOMETRIC_RGB;
    }
    return layout;
}

// An empty picture of the form in which these pixels are kept; without one (width 0) they are not of a kind known here.
Picture makePicture(TIFF* pTiff, const Layout& layout) {
    const auto nWidth = int32_t(layout.nWidth), nHeight = int32_t(layout.nHeight), nView = int32_t(layout.nOrientation);
    const int32_t nBits = layout.nBits;
    const bool bSigned = layout.nFormat == SAMPLEFORMAT_INT;
    if (layout.nFormat != SAMPLEFORMAT_UINT && layout.nFormat != SAMPLEFORMAT_VOID &&
        !(bSigned && nBits == 16 && layout.isGray() && layout.nSamples == 1))
        throw Failure("has samples that are not supported: signed ones other than 16-bit grey, or floating point");
    if (layout.bTiled && layout.nPlanar == PLANARCONFIG_SEPARATE && layout.nSamples > 1) return {};

    if (layout.nSamples == 1 && layout.isGray()) {
        if (nBits <= 8)
            return Picture(nWidth, nHeight, nBits, ORDER_RGB,
                           grayPalette(nBits, layout.nPhotometric == PHOTOMETRIC_MINISWHITE), nView);
        if (nBits != 12 && nBits != 16 && nBits != 32) return {};
        Picture picture(nWidth, nHeight, nBits, ORDER_GRAY, {}, nView);
        if (bSigned) picture->Flags |= BMF_SIGNED;
        return picture;
    }
    if (layout.nSamples == 1 && layout.nPhotometric == PHOTOMETRIC_PALETTE && nBits <= 8) {
        uint16_t *pRed = nullptr, *pGreen = nullptr, *pBlue = nullptr;
        if (!TIFFGetField(pTiff, TIFFTAG_COLORMAP, &pRed, &pGreen, &pBlue))
            throw Failure("is damaged: it has no palette");
        Palette palette(size_t(1) << nBits);
        // Sixteen bits an entry, but some writers stored eight.
        const auto isWide = [&](const uint16_t* p) {
            return std::any_of(p, p + palette.size(), [](uint16_t n) { return n > 255; });
        };
        const int nShift = isWide(pRed) || isWide(pGreen) || isWide(pBlue) ? 8 : 0;
        for (size_t i = 0; i < palette.size(); ++i)
            palette[i] = {uint8_t(pBlue[i] >> nShift), uint8_t(pGreen[i] >> nShift), uint8_t(pRed[i] >> nShift), 0};
        return Picture(nWidth, nHeight, nBits, ORDER_RGB, palette, nView);
    }
    const bool bColor = layout.nPhotometric == PHOTOMETRIC_RGB && (layout.nSamples == 3 || layout.nSamples == 4);
    if ((nBits != 8 && nBits != 16) || !(bColor || layout.isGrayAlpha())) return {};
    const bool bAlpha = layout.nSamples != 3;
    Picture picture(nWidth, nHeight, (bAlpha ? 32 : 24) * (layout.isWide() ? 2 : 1), ORDER_RGB, {}, nView);
    if (bAlpha && layout.isPremultiplied()) picture->Flags |= BMF_PREMULTIPLIED;
    return picture;
}

// Makes samples as TIFF packs them into pixels as a bitmap packs them, in place; the buffer holds the larger of both.
void toBitmapPixels(uint8_t* pRow, uint32_t nPixels, const Layout& layout) noexcept {
    if (layout.nBits == 12) {  // most significant bits first, to little-endian pairs
        for (uint8_t *p = pRow, *pEnd = pRow + layout.rowBytes(nPixels); p < pEnd; p += 3) {
            const uint32_t nFirst = uint32_t(p[0] << 4 | p[1] >> 4);
            const bool bPair = pEnd - p > 2;
            const uint32_t nSecond = bPair ? uint32_t((p[1] & 15) << 8 | p[2]) : 0;
            p[0] = uint8_t(nFirst);
            p[1] = uint8_t(nFirst >> 8 | (nSecond & 15) << 4);
            if (bPair) p[2] = uint8_t(nSecond >> 4);
        }
    }
    if (layout.nPhotometric == PHOTOMETRIC_MINISWHITE && (layout.nBits > 8 || layout.nSamples > 1)) {
        const size_t nSampleBytes = layout.nBits / 8, nPixelBytes = nSampleBytes * layout.nSamples;
        if (layout.nSamples == 1)
            for (uint8_t *p = pRow, *pEnd = pRow + layout.rowBytes(nPixels); p < pEnd; ++p) *p = uint8_t(~*p);
        else
            for (uint8_t *p = pRow, *pEnd = pRow + nPixels * nPixelBytes; p < pEnd; p += nPixelBytes)
                for (size_t i = 0; i < nSampleBytes; ++i) p[i] = uint8_t(~p[i]);
    }
    if (layout.isGrayAlpha()) {
        const size_t n = layout.nBits / 8;
        for (size_t x = nPixels; x-- > 0;) {
            uint8_t pixel[4];
            std::memcpy(pixel, pRow + x * 2 * n, 2 * n);
            uint8_t* pTo = pRow + x * 4 * n;
            for (size_t i = 0; i < 3; ++i) std::memcpy(pTo + i * n, pixel, n);
            std::memcpy(pTo + 3 * n, pixel + n, n);
        }
    }
}

void loadStrips(TIFF* pTiff, const Layout& layout, Picture& picture) {
    if (size_t(std::max<tmsize_t>(TIFFScanlineSize(pTiff), 0)) != layout.rowBytes(layout.nWidth))
        throw Failure("has rows of an unexpected length");
    Row row(picture->BytesPerLine);
    for (uint32_t y = 0; y < layout.nHeight; ++y) {
        if (TIFFReadScanline(pTiff, row.data(), y, 0) < 0 || g_errorText[0]) failReading();
        toBitmapPixels(row.data(), layout.nWidth, layout);
        clearTail(row.data(), picture->Width, picture->BitsPerPixel, row.size());
        putRow(picture, row.data(), int32_t(y));
        Progress::report(y + 1, layout.nHeight);
    }
}

// One plane after the other, since a plane can't be entered in its middle: each pass adds its samples to the rows.
void loadPlanes(TIFF* pTiff, const Layout& layout, Picture& picture) {
    const size_t nSampleBytes = layout.nBits / 8, nPixelBytes = nSampleBytes * layout.nSamples;
    Row plane(size_t(std::max<tmsize_t>(TIFFScanlineSize(pTiff), 0))), row(picture->BytesPerLine);
    if (plane.size() != nSampleBytes * layout.nWidth) throw Failure("has rows of an unexpected length");
    for (uint16_t nPlane = 0; nPlane < layout.nSamples; ++nPlane) {
        for (uint32_t y = 0; y < layout.nHeight; ++y) {
            if (TIFFReadScanline(pTiff, plane.data(), y, nPlane) < 0 || g_errorText[0]) failReading();
            getRow(picture, row.data(), int32_t(y));
            for (size_t x = 0; x < layout.nWidth; ++x)
                std::memcpy(row.data() + x * nPixelBytes + nPlane * nSampleBytes, plane.data() + x * nSampleBytes,
                            nSampleBytes);
            if (nPlane + 1 == layout.nSamples) toBitmapPixels(row.data(), layout.nWidth, layout);
            putRow(picture, row.data(), int32_t(y));
        }
    }
}

void loadTiles(TIFF* pTiff, const Layout& layout, Picture& picture) {
    uint32_t nTileWidth = 0, nTileHeight = 0;
    TIFFGetField(pTiff, TIFFTAG_TILEWIDTH, &nTileWidth);
    TIFFGetField(pTiff, TIFFTAG_TILELENGTH, &nTileHeight);
    if (nTileWidth == 0 || nTileWidth % 8 || nTileHeight == 0 ||
        uint64_t(layout.rowBytes(nTileWidth)) > kMostTileBytes / nTileHeight)
        throw Failure("has tiles of an unusual size");
    const size_t nTileRow = layout.rowBytes(nTileWidth);
    Row tile(nTileRow * nTileHeight), row(size_t(nTileWidth) * 8);
    if (size_t(std::max<tmsize_t>(TIFFTileSize(pTiff), 0)) != tile.size())
        throw Failure("has tiles of an unexpected length");
    for (uint32_t y = 0; y < layout.nHeight; y += nTileHeight) {
        for (uint32_t x = 0; x < layout.nWidth; x += nTileWidth) {
            const tmsize_t nRead =
                TIFFReadEncodedTile(pTiff, TIFFComputeTile(pTiff, x, y, 0, 0), tile.data(), tmsize_t(tile.size()));
            if (nRead < 0 || g_errorText[0]) failReading();
            const uint32_t nPixels = std::min(nTileWidth, layout.nWidth - x);
            const auto nBytes = uint32_t((uint64_t(nPixels) * uint32_t(picture->BitsPerPixel) + 7) / 8);
            for (uint32_t i = 0; i < std::min(nTileHeight, layout.nHeight - y); ++i) {
                std::memcpy(row.data(), tile.data() + i * nTileRow, nTileRow);
                toBitmapPixels(row.data(), nTileWidth, layout);
                clearTail(row.data(), int32_t(nPixels), picture->BitsPerPixel, nBytes);
                checkMoved(R_PutBitmapRowCol(picture.get(), row.data(), int32_t(y + i), int32_t(x), nBytes), nBytes,
                           "R_PutBitmapRowCol");
            }
        }
        Progress::report(std::min(y + nTileHeight, layout.nHeight), layout.nHeight);
    }
}

// libtiff's own way to pixels, for every kind of file that it knows; it makes 8-bit colour with alpha of the whole
// picture.
Picture loadAsColor(TIFF* pTiff, const Layout& layout, const std::string& path) {
    char text[1024] = "";
    if (!TIFFRGBAImageOK(pTiff, text)) throw Failure(std::string("has pixels that are not supported: ") + text);
    const bool bAlpha = layout.nExtra > 0 && layout.pExtra[0] != EXTRASAMPLE_UNSPECIFIED;
    if (uint64_t(layout.nWidth) * layout.nHeight > kMostPixelsAsColor)
        throw Failure("is too large for pixels of this kind");
    note(path, "pixels of this kind are not kept as stored: they are loaded as 8-bit colour");
    Picture picture(int32_t(layout.nWidth), int32_t(layout.nHeight), bAlpha ? 32 : 24, ORDER_RGB);
    std::vector<uint32_t> pixels(size_t(layout.nWidth) * layout.nHeight);
    if (!TIFFReadRGBAImageOriented(pTiff, layout.nWidth, layout.nHeight, pixels.data(), ORIENTATION_TOPLEFT, 1) ||
        g_errorText[0])
        failReading();
    if (bAlpha) picture->Flags |= BMF_PREMULTIPLIED;
    Row row(picture->BytesPerLine);
    const Access lock(picture);
    const size_t nPixelBytes = bAlpha ? 4 : 3;
    for (uint32_t y = 0; y < layout.nHeight; ++y) {
        for (uint32_t x = 0; x < layout.nWidth; ++x) {
            const uint32_t n = pixels[size_t(y) * layout.nWidth + x];
            const uint8_t pixel[] = {uint8_t(TIFFGetR(n)), uint8_t(TIFFGetG(n)), uint8_t(TIFFGetB(n)),
                                     uint8_t(TIFFGetA(n))};
            std::memcpy(row.data() + x * nPixelBytes, pixel, nPixelBytes);
        }
        putRow(picture, row.data(), int32_t(y));
    }
    return picture;
}

void readResolution(TIFF* pTiff, BITMAPRECORD& bm) {
    uint16_t nUnit = RESUNIT_INCH;
    float fX = 0, fY = 0;
    TIFFGetFieldDefaulted(pTiff, TIFFTAG_RESOLUTIONUNIT, &nUnit);
    if (nUnit == RESUNIT_NONE || !TIFFGetField(pTiff, TIFFTAG_XRESOLUTION, &fX) ||
        !TIFFGetField(pTiff, TIFFTAG_YRESOLUTION, &fY))
        return;
    const double dUnits = nUnit == RESUNIT_CENTIMETER ? kCentimetresPerInch : 1;
    if (const int32_t n = dotsPerInch(double(fX), dUnits)) bm.XResolution = n;
    if (const int32_t n = dotsPerInch(double(fY), dUnits)) bm.YResolution = n;
}

Picture load(const std::string& path) {
    const Tiff tiff = openTiff(path, "r");
    if (!tiff || g_errorText[0]) failReading();
    const Layout layout = readLayout(tiff.get());
    Picture picture = makePicture(tiff.get(), layout);
    g_bWarningsCount = true;
    if (picture->Width == 0) {
        picture = loadAsColor(tiff.get(), layout, path);
    } else {
        const Access lock(picture);
        if (layout.bTiled)
            loadTiles(tiff.get(), layout, picture);
        else if (layout.nPlanar == PLANARCONFIG_SEPARATE && layout.nSamples > 1)
            loadPlanes(tiff.get(), layout, picture);
        else
            loadStrips(tiff.get(), layout, picture);
    }
    g_bWarningsCount = false;
    readResolution(tiff.get(), *picture);
    if (!TIFFLastDirectory(tiff.get())) note(path, "has more pages; the first one is loaded");
    return picture;
}

// ---- writing -----------------------------------------------------------------------------------------------------

Form nearestForm(const Picture& picture) {
    const int32_t nBits = picture->BitsPerPixel;
    if (nBits <= 8) return paletteForm(picture, nBits == 1 ? 1 : nBits == 2 || nBits == 4 ? 4 : 8);
    if (picture->Order == ORDER_GRAY) return {nBits == 32 ? 32 : 16, ORDER_GRAY};
    return colorForm(*picture);
}

uint16_t photometricOf(const Form& form) {
    if (form.nBits > 8) return form.nOrder == ORDER_GRAY ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB;
    if (samePalette(form.palette, grayPalette(form.nBits))) return PHOTOMETRIC_MINISBLACK;
    return samePalette(form.palette, grayPalette(form.nBits, true)) ? PHOTOMETRIC_MINISWHITE : PHOTOMETRIC_PALETTE;
}

void setColorMap(TIFF* pTiff, const Palette& palette) {
    std::vector<uint16_t> red, green, blue;
    for (const RGBQUAD& entry : palette) {
        red.push_back(uint16_t(entry.rgbRed * 257));
        green.push_back(uint16_t(entry.rgbGreen * 257));
        blue.push_back(uint16_t(entry.rgbBlue * 257));
    }
    TIFFSetField(pTiff, TIFFTAG_COLORMAP, red.data(), green.data(), blue.data());
}

void save(Picture& picture, const std::string& path) {
    const Form form = nearestForm(picture);
    RowSource source(picture, form);
    const bool bColor = form.nBits > 8 && form.nOrder != ORDER_GRAY;
    const bool bAlpha = bColor && (form.nBits == 32 || form.nBits == 64);
    const int nSamples = bAlpha ? 4 : bColor ? 3 : 1;
    const uint16_t nPhotometric = photometricOf(form);
    const bool bFax = form.nBits == 1 && nPhotometric != PHOTOMETRIC_PALETTE;
    const uint64_t nRowBytes = (uint64_t(source.width()) * uint32_t(form.nBits) + 7) / 8;
    const bool bBig = nRowBytes * uint64_t(source.height()) > 0xF0000000u;  // offsets of 32 bits would not reach

    const Tiff tiff = openTiff(path, bBig ? "w8" : "w");
    if (!tiff) failWriting();
    TIFF* pTiff = tiff.get();
    TIFFSetField(pTiff, TIFFTAG_IMAGEWIDTH, uint32_t(source.width()));
    TIFFSetField(pTiff, TIFFTAG_IMAGELENGTH, uint32_t(source.height()));
    TIFFSetField(pTiff, TIFFTAG_BITSPERSAMPLE, form.nBits / nSamples);
    TIFFSetField(pTiff, TIFFTAG_SAMPLESPERPIXEL, nSamples);
    TIFFSetField(pTiff, TIFFTAG_PHOTOMETRIC, int(nPhotometric));
    TIFFSetField(pTiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(pTiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(pTiff, TIFFTAG_ROWSPERSTRIP, std::max(1u, uint32_t(kStripBytes / std::max<uint64_t>(1, nRowBytes))));
    TIFFSetField(pTiff, TIFFTAG_COMPRESSION, bFax ? COMPRESSION_CCITTFAX4 : COMPRESSION_LZW);
    if (form.nBits > 8) TIFFSetField(pTiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    if (picture->Flags & BMF_SIGNED && form.nBits == 16) TIFFSetField(pTiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_INT);
    if (bAlpha) {
        const uint16_t nAlpha = picture->Flags & BMF_PREMULTIPLIED ? EXTRASAMPLE_ASSOCALPHA : EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(pTiff, TIFFTAG_EXTRASAMPLES, 1, &nAlpha);
    }
    if (nPhotometric == PHOTOMETRIC_PALETTE) setColorMap(pTiff, form.palette);
    if (source.xResolution() > 0 && source.yResolution() > 0) {
        TIFFSetField(pTiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        TIFFSetField(pTiff, TIFFTAG_XRESOLUTION, double(source.xResolution()));
        TIFFSetField(pTiff, TIFFTAG_YRESOLUTION, double(source.yResolution()));
    }
    TIFFSetField(pTiff, TIFFTAG_SOFTWARE, "ravo");

    for (int32_t y = 0; y < source.height(); ++y) {
        if (TIFFWriteScanline(pTiff, source.row(y), uint32_t(y), 0) < 0) failWriting();
        Progress::report(y + 1, source.height());
    }
    if (!TIFFFlush(pTiff) || g_errorText[0]) failWriting();
}

}  // namespace

const Format kTiff{"TIFF", ".tif .tiff", recognises, load, save};

}  // namespace ravo
