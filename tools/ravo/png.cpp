// PNG files through libpng. Indexed and grey pictures keep their depth, colour stays 24 to 64 bits, 16-bit samples
// change their byte order on the way. An alpha of one colour becomes the bitmap's transparent colour, any other a
// channel.
//
// libpng leaves a failing call by longjmp. Each call into it goes through attempt(), whose frames own nothing, so that
// no destructor is jumped over; the failure is thrown outside.

#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <vector>

#include "convert.h"
#include "failure.h"
#include "formats.h"
#include "outfile.h"
#include "pixel.h"
#include "progress.h"

namespace ravo {

namespace {

constexpr double kMetresPerInch = 0.0254;

struct ErrorText {
    char text[160] = "is damaged";
};

[[noreturn]] void onError(png_structp png, png_const_charp pText) {
    auto& error = *static_cast<ErrorText*>(png_get_error_ptr(png));
    std::snprintf(error.text, sizeof error.text, "%s", pText);
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

// A reader or writer with its error text.
class Png {
    ErrorText m_error;
    bool m_bWrite;

public:
    png_structp png;
    png_infop info;

    explicit Png(bool bWrite)
        : m_bWrite(bWrite),
          png(bWrite ? png_create_write_struct(PNG_LIBPNG_VER_STRING, &m_error, onError, onWarning)
                     : png_create_read_struct(PNG_LIBPNG_VER_STRING, &m_error, onError, onWarning)),
          info(png ? png_create_info_struct(png) : nullptr) {
        if (!info) {
            destroy();
            throw std::bad_alloc();
        }
    }
    Png(const Png&) = delete;
    Png& operator=(const Png&) = delete;
    ~Png() { destroy(); }

    // The body calls libpng and owns nothing.
    template <class Body>
    void attempt(Body&& body) {
        if (!run(body))
            throw Failure(m_bWrite ? std::string("cannot be written: ") + m_error.text
                                   : std::string("is damaged: ") + m_error.text);
    }

private:
    template <class Body>
    bool run(Body& body) noexcept {
        if (setjmp(png_jmpbuf(png))) return false;
        body();
        return true;
    }
    void destroy() noexcept {
        if (m_bWrite)
            png_destroy_write_struct(&png, &info);
        else
            png_destroy_read_struct(&png, &info, nullptr);
    }
};

bool recognises(const uint8_t* pStart, size_t nBytes) { return nBytes >= 8 && png_sig_cmp(pStart, 0, 8) == 0; }

// ---- reading -----------------------------------------------------------------------------------------------------

// What the chunks before the pixels tell.
struct Header {
    png_uint_32 nWidth = 0, nHeight = 0;
    int nBits = 0, nType = 0;
    png_colorp pPalette = nullptr;
    int nPalette = 0;
    png_bytep pAlpha = nullptr;
    int nAlpha = 0;
    png_color_16p pColorKey = nullptr;
    bool bTransparency = false;
    png_uint_32 nXPerMetre = 0, nYPerMetre = 0;
    int nUnit = PNG_RESOLUTION_UNKNOWN;
};

Header readHeader(Png& file) {
    Header header;
    file.attempt([&] {
        png_read_info(file.png, file.info);
        png_get_IHDR(file.png, file.info, &header.nWidth, &header.nHeight, &header.nBits, &header.nType, nullptr,
                     nullptr, nullptr);
        png_get_PLTE(file.png, file.info, &header.pPalette, &header.nPalette);
        header.bTransparency =
            png_get_tRNS(file.png, file.info, &header.pAlpha, &header.nAlpha, &header.pColorKey) != 0;
        png_get_pHYs(file.png, file.info, &header.nXPerMetre, &header.nYPerMetre, &header.nUnit);
    });
    return header;
}

// The one palette entry that is wholly transparent while all others are opaque; -1 if alpha is not of that kind.
int32_t soleTransparentEntry(const Header& header) noexcept {
    int32_t nFound = -1;
    for (int32_t i = 0; i < header.nAlpha; ++i) {
        if (header.pAlpha[i] == 255) continue;
        if (header.pAlpha[i] != 0 || nFound >= 0) return -1;
        nFound = i;
    }
    return nFound;
}

bool isOpaque(const Header& header) noexcept {
    return std::all_of(header.pAlpha, header.pAlpha + header.nAlpha, [](png_byte n) { return n == 255; });
}

Picture makePicture(const Header& header, bool bExpandAlpha) {
    const auto nWidth = int32_t(header.nWidth), nHeight = int32_t(header.nHeight);
    if (bExpandAlpha || (header.nType & PNG_COLOR_MASK_ALPHA))
        return Picture(nWidth, nHeight, header.nBits == 16 ? 64 : 32, ORDER_RGB);
    if (header.nType == PNG_COLOR_TYPE_GRAY)
        return header.nBits == 16 ? Picture(nWidth, nHeight, 16, ORDER_GRAY)
                                  : Picture(nWidth, nHeight, header.nBits, ORDER_RGB, grayPalette(header.nBits));
    if (header.nType == PNG_COLOR_TYPE_RGB) return Picture(nWidth, nHeight, header.nBits * 3, ORDER_RGB);
    Palette palette(std::min(size_t(1) << header.nBits, size_t(header.nPalette)));
    for (size_t i = 0; i < palette.size(); ++i)
        palette[i] = {header.pPalette[i].blue, header.pPalette[i].green, header.pPalette[i].red, 0};
    return Picture(nWidth, nHeight, header.nBits, ORDER_RGB, wholePalette(std::move(palette), header.nBits));
}

void setTransparency(BITMAPRECORD& bm, const Header& header) noexcept {
    bm.Flags |= BMF_TRANSPARENCY;
    if (header.nType == PNG_COLOR_TYPE_PALETTE)
        bm.Transparency = kIndexReference | COLORREF(soleTransparentEntry(header));
    else if (header.nType == PNG_COLOR_TYPE_GRAY)
        bm.Transparency = kIndexReference | header.pColorKey->gray;
    else
        bm.Transparency = COLORREF((header.pColorKey->red & 255) | (header.pColorKey->green & 255) << 8 |
                                   (header.pColorKey->blue & 255) << 16);
}

Picture load(const std::string& path) {
    const File input = openFile(path, "rb");
    Png file(false);
    file.attempt([&] { png_init_io(file.png, input.get()); });
    const Header header = readHeader(file);
    checkSize(header.nWidth, header.nHeight);

    const bool bPalette = header.nType == PNG_COLOR_TYPE_PALETTE;
    const bool bAlphaMatters = header.bTransparency && !(bPalette && isOpaque(header));
    const bool bOneColor = bPalette ? soleTransparentEntry(header) >= 0 : header.nBits <= 8;
    const bool bExpandAlpha = bAlphaMatters && !bOneColor;
    Picture picture = makePicture(header, bExpandAlpha);
    if (bAlphaMatters && bOneColor) setTransparency(*picture, header);
    if (header.nUnit == PNG_RESOLUTION_METER) {
        if (const int32_t n = dotsPerInch(header.nXPerMetre, kMetresPerInch)) picture->XResolution = n;
        if (const int32_t n = dotsPerInch(header.nYPerMetre, kMetresPerInch)) picture->YResolution = n;
    }

    int nPasses = 1;
    size_t nRowBytes = 0;
    file.attempt([&] {
        if (header.nBits == 16) png_set_swap(file.png);
        if (bExpandAlpha) {
            if (bPalette) png_set_palette_to_rgb(file.png);
            png_set_tRNS_to_alpha(file.png);
        }
        if (picture->BitsPerPixel >= 32 && !(header.nType & PNG_COLOR_MASK_COLOR)) png_set_gray_to_rgb(file.png);
        nPasses = png_set_interlace_handling(file.png);
        png_read_update_info(file.png, file.info);
        nRowBytes = png_get_rowbytes(file.png, file.info);
    });
    if (nRowBytes > picture->BytesPerLine) throw Failure("has rows of an unexpected length");

    // The passes of an interlaced file fill the rows bit by bit, so they take up what the earlier ones left.
    Row row(picture->BytesPerLine);
    const Access lock(picture);
    for (int nPass = 0; nPass < nPasses; ++nPass) {
        for (int32_t y = 0; y < picture->Height; ++y) {
            if (nPass > 0) getRow(picture, row.data(), y);
            file.attempt([&] { png_read_row(file.png, row.data(), nullptr); });
            if (nPass == nPasses - 1) clearTail(row.data(), picture->Width, picture->BitsPerPixel, row.size());
            putRow(picture, row.data(), y);
            Progress::report(int64_t(nPass) * picture->Height + y + 1, int64_t(nPasses) * picture->Height);
        }
    }
    file.attempt([&] { png_read_end(file.png, nullptr); });
    return picture;
}

// ---- writing -----------------------------------------------------------------------------------------------------

Form nearestForm(const Picture& picture) {
    const int32_t nBits = picture->BitsPerPixel;
    if (nBits <= 8) return paletteForm(picture, nBits == 1 || nBits == 2 || nBits == 4 ? nBits : 8);
    if (picture->Order == ORDER_GRAY) return {16, ORDER_GRAY};
    return colorForm(*picture);
}

struct Head {
    int nBits, nType;
    png_color palette[256];
    int nPalette = 0;
    png_byte alpha[256];
    int nAlpha = 0;
    png_color_16 colorKey{};
    bool bColorKey = false;
};

Head headOf(const Form& form) {
    Head head{};
    if (form.nBits > 8) {
        const bool bAlpha = form.nBits == 32 || form.nBits == 64;
        head.nType = form.nOrder == ORDER_GRAY ? PNG_COLOR_TYPE_GRAY
                     : bAlpha                  ? PNG_COLOR_TYPE_RGBA
                                               : PNG_COLOR_TYPE_RGB;
        head.nBits = form.nOrder == ORDER_GRAY || form.nBits >= 48 ? 16 : 8;
        return head;
    }
    head.nBits = form.nBits;
    head.nType = samePalette(form.palette, grayPalette(form.nBits)) ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_PALETTE;
    if (head.nType == PNG_COLOR_TYPE_PALETTE) {
        for (const RGBQUAD& entry : form.palette)
            head.palette[head.nPalette++] = {entry.rgbRed, entry.rgbGreen, entry.rgbBlue};
    }
    return head;
}

void setTransparency(Head& head, const Form& form, COLORREF crTransparency) noexcept {
    const auto nRed = uint8_t(crTransparency), nGreen = uint8_t(crTransparency >> 8),
               nBlue = uint8_t(crTransparency >> 16);
    if (head.nType == PNG_COLOR_TYPE_RGB && form.nBits == 24 && crTransparency >> 24 == 0) {
        head.colorKey.red = nRed;
        head.colorKey.green = nGreen;
        head.colorKey.blue = nBlue;
        head.bColorKey = true;
    }
    if (form.nBits > 8) return;
    size_t nIndex = crTransparency & 0xFFFF;
    if (crTransparency >> 24 == 0) {
        const auto found = std::find_if(form.palette.begin(), form.palette.end(), [=](const RGBQUAD& entry) {
            return entry.rgbRed == nRed && entry.rgbGreen == nGreen && entry.rgbBlue == nBlue;
        });
        nIndex = size_t(found - form.palette.begin());
    }
    if (nIndex >= form.palette.size()) return;
    if (head.nType == PNG_COLOR_TYPE_GRAY) {
        head.colorKey.gray = png_uint_16(nIndex);
        head.bColorKey = true;
    } else {
        std::memset(head.alpha, 255, nIndex);
        head.alpha[nIndex] = 0;
        head.nAlpha = int(nIndex) + 1;
    }
}

void save(Picture& picture, const std::string& path) {
    const Form form = nearestForm(picture);
    RowSource source(picture, form);
    Head head = headOf(form);
    if (picture->Flags & BMF_TRANSPARENCY) setTransparency(head, form, picture->Transparency);
    const auto toMetre = [](int32_t n) { return n > 0 ? png_uint_32(std::lround(n / kMetresPerInch)) : 0; };
    const bool bUnpremultiply = (picture->Flags & BMF_PREMULTIPLIED) != 0 && (form.nBits == 32 || form.nBits == 64);

    File output = openFile(path, "wb");
    Png file(true);
    const auto nWidth = png_uint_32(source.width()), nHeight = png_uint_32(source.height());
    const uint32_t nRowBytes = nWidth * uint32_t(form.nBits / 8);  // where there is alpha to divide by
    const png_uint_32 nXPerMetre = toMetre(source.xResolution()), nYPerMetre = toMetre(source.yResolution());
    file.attempt([&] {
        png_init_io(file.png, output.get());
        png_set_IHDR(file.png, file.info, nWidth, nHeight, head.nBits, head.nType, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        if (head.nPalette) png_set_PLTE(file.png, file.info, head.palette, head.nPalette);
        if (head.nAlpha || head.bColorKey) png_set_tRNS(file.png, file.info, head.alpha, head.nAlpha, &head.colorKey);
        if (nXPerMetre && nYPerMetre) png_set_pHYs(file.png, file.info, nXPerMetre, nYPerMetre, PNG_RESOLUTION_METER);
        png_write_info(file.png, file.info);
        if (head.nBits == 16) png_set_swap(file.png);
    });
    for (int32_t y = 0; y < source.height(); ++y) {
        uint8_t* pRow = source.row(y);
        if (bUnpremultiply) R_ConvertFromPremultipliedAlpha(form.nBits, pRow, nRowBytes);
        file.attempt([&] { png_write_row(file.png, pRow); });
        Progress::report(y + 1, source.height());
    }
    file.attempt([&] { png_write_end(file.png, file.info); });
    if (std::fclose(output.release()) != 0) throw Failure("cannot be written");
}

}  // namespace

const Format kPng{"PNG", ".png", recognises, load, save};

}  // namespace ravo
