// Lays out pictures on one sheet, each with a title and what it is.
//
//     contactsheet OUT TITLE FILE=CAPTION...

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "common/canvas.h"
#include "convert.h"
#include "failure.h"
#include "formats.h"
#include "picture.h"

namespace {

using examples::Canvas;
using examples::Rgb;

constexpr int kColumns = 5, kTileWidth = 240, kTileHeight = 180, kGap = 24, kMargin = 36, kHead = 84, kCaption = 54;
// Flat areas have colours of five bits a channel, which stay as they are when the sheet is reduced to a palette.
constexpr Rgb kPaper{247, 247, 239}, kInk{41, 41, 49}, kPale{115, 115, 123}, kFrame{206, 206, 198},
    kTray{231, 231, 222};

// A picture as 24 bits; alpha is laid over a chequered ground.
Canvas colorsOf(ravo::Picture& picture) {
    ravo::RowSource source(
        picture, ravo::colorForm(*picture).nBits % 32 == 0 ? ravo::Form{32, ORDER_RGB} : ravo::Form{24, ORDER_RGB});
    const bool bAlpha = ravo::colorForm(*picture).nBits % 32 == 0;
    Canvas canvas(source.width(), source.height(), {});
    for (int y = 0; y < canvas.nHeight; ++y) {
        const uint8_t* p = source.row(y);
        for (int x = 0; x < canvas.nWidth; ++x, p += bAlpha ? 4 : 3) {
            const uint8_t nGround = ((x >> 4) + (y >> 4)) & 1 ? 255 : 204;
            canvas.at(x, y) = bAlpha ? Rgb{nGround, nGround, nGround} : Rgb{p[0], p[1], p[2]};
            if (bAlpha) canvas.blend(x, y, {p[0], p[1], p[2]}, p[3] / 255.0);
        }
    }
    return canvas;
}

// Draws a picture into a box of the sheet at the middle, made smaller by the mean of areas where it does not fit.
void place(Canvas& sheet, const Canvas& picture, int nLeft, int nTop) {
    const double dScale = std::max({1.0, double(picture.nWidth) / kTileWidth, double(picture.nHeight) / kTileHeight});
    const int w = std::max(1, int(picture.nWidth / dScale)), h = std::max(1, int(picture.nHeight / dScale));
    nLeft += (kTileWidth - w) / 2;
    nTop += (kTileHeight - h) / 2;
    sheet.fill(nLeft - 1, nTop - 1, w + 2, h + 2, kFrame);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const double x0 = x * dScale, x1 = std::min(x0 + dScale, double(picture.nWidth));
            const double y0 = y * dScale, y1 = std::min(y0 + dScale, double(picture.nHeight));
            double dRed = 0, dGreen = 0, dBlue = 0, dArea = 0;
            for (int j = int(y0); j < std::ceil(y1); ++j) {
                for (int i = int(x0); i < std::ceil(x1); ++i) {
                    const double d = (std::min(i + 1.0, x1) - std::max(double(i), x0)) *
                                     (std::min(j + 1.0, y1) - std::max(double(j), y0));
                    const Rgb& pixel = picture.at(i, j);
                    dRed += d * pixel.red;
                    dGreen += d * pixel.green;
                    dBlue += d * pixel.blue;
                    dArea += d;
                }
            }
            sheet.at(nLeft + x, nTop + y) = {uint8_t(std::lround(dRed / dArea)), uint8_t(std::lround(dGreen / dArea)),
                                             uint8_t(std::lround(dBlue / dArea))};
        }
    }
}

std::string describe(const ravo::Picture& picture, const std::string& path) {
    std::string text = std::to_string(picture->Width) + " x " + std::to_string(picture->Height) + ", " +
                       std::to_string(picture->BitsPerPixel) + (picture->BitsPerPixel == 1 ? " bit" : " bits");
    if (picture->Order == ORDER_GRAY) text += " grey";
    const auto nKilobytes = (std::filesystem::file_size(path) + 999) / 1000;
    return text + ", " + ravo::formatOfFile(path).pName + " " + std::to_string(nKilobytes) + " kB";
}

void draw(Canvas& sheet, const std::string& item, int nIndex) {
    const size_t nEqual = item.find('=');
    const std::string path = item.substr(0, nEqual),
                      caption = item.substr(nEqual == std::string::npos ? 0 : nEqual + 1);
    const int nLeft = kMargin + nIndex % kColumns * (kTileWidth + kGap);
    const int nTop = kHead + nIndex / kColumns * (kTileHeight + kCaption + kGap);
    try {
        ravo::Picture picture = ravo::loadPicture(path);
        sheet.fill(nLeft, nTop, kTileWidth, kTileHeight, kTray);
        place(sheet, colorsOf(picture), nLeft, nTop);
        sheet.text(nLeft + 1, nTop + kTileHeight + 24, 12, kInk, caption, 0.16);
        sheet.text(nLeft + 1, nTop + kTileHeight + 44, 9, kPale, describe(picture, path), 0.13);
    } catch (const ravo::Failure& failure) {
        throw ravo::Failure(path + ": " + failure.what());
    }
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 4) {
        std::fprintf(stderr, "contactsheet OUT TITLE FILE=CAPTION...\n");
        return 2;
    }
    const std::vector<std::string> items(argv + 3, argv + argc);
    const int nRows = (int(items.size()) + kColumns - 1) / kColumns;
    Canvas sheet(2 * kMargin + kColumns * kTileWidth + (kColumns - 1) * kGap,
                 kHead + nRows * (kTileHeight + kCaption + kGap) + kMargin - kGap, kPaper);
    sheet.text(kMargin, 54, 24, kInk, argv[2], 0.14);
    for (size_t i = 0; i < items.size(); ++i) draw(sheet, items[i], int(i));

    ravo::Picture picture(sheet.nWidth, sheet.nHeight, 24, ORDER_RGB);
    {
        const ravo::Access lock(picture);
        ravo::Row row(picture->BytesPerLine);
        for (int y = 0; y < sheet.nHeight; ++y) {
            std::copy_n(sheet.row(y), size_t(sheet.nWidth) * 3, row.begin());
            ravo::putRow(picture, row.data(), y);
        }
    }
    ravo::savePicture(picture, argv[1]);
    return 0;
} catch (const ravo::Failure& failure) {
    std::fprintf(stderr, "contactsheet: %s\n", failure.what());
    return 1;
}
