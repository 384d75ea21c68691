#include "convert.h"

#include <ravokit/bitmaprgn.h>
#include <ravokit/colorres.h>
#include <ravokit/convert.h>
#include <ravokit/dither.h>
#include <ravokit/grayscale.h>
#include <ravokit/palette.h>

#include <algorithm>
#include <utility>

#include "failure.h"
#include "overlay.h"
#include "pixel.h"
#include "progress.h"

namespace ravo {

namespace {

bool isGrayDepth(int32_t nBits) noexcept { return nBits == 12 || nBits == 16 || nBits == 32; }

Palette copyPalette(const RGBQUAD* pEntries, int32_t nBits) {
    return pEntries ? Palette(pEntries, pEntries + (size_t(1) << nBits)) : Palette();
}

int32_t depthOf(const Palette& palette) noexcept {
    int32_t nBits = 1;
    while ((size_t(1) << nBits) < palette.size()) ++nBits;
    return nBits;
}

Palette namedPalette(const std::string& name, int32_t nBits) {
    if (name == "gray") return grayPalette(nBits);
    if (name == "web") {
        if (nBits != 8) throw Failure("the web palette has 256 entries: it needs 8 bits");
        return copyPalette(R_IntGetNetscapePalette(), 8);
    }
    Palette palette(256);
    check(R_GetFixedPalette(palette.data(), nBits), "R_GetFixedPalette");
    palette.resize(size_t(1) << nBits);
    return palette;
}

}  // namespace

Form formOf(const Picture& picture) {
    return {picture->BitsPerPixel, picture->Order, picture->BitsPerPixel <= 8 ? picture.palette() : Palette()};
}

Form colorForm(const BITMAPRECORD& bm) {
    return {(hasAlpha(bm) ? 32 : 24) * (bm.BitsPerPixel >= 48 ? 2 : 1), ORDER_RGB};
}

Form paletteForm(const Picture& picture, int32_t nBits) {
    Palette palette = picture.palette();
    if (samePalette(palette, grayPalette(picture->BitsPerPixel))) return {nBits, ORDER_RGB, grayPalette(nBits)};
    return {nBits, ORDER_RGB, wholePalette(std::move(palette), nBits)};
}

RowConverter::RowConverter(const Picture& picture, Form to)
    : m_bm(*picture),
      m_from(formOf(picture)),
      m_to(std::move(to)),
      m_bNothing(m_from.nBits == m_to.nBits && m_from.nOrder == m_to.nOrder &&
                 samePalette(m_from.palette, m_to.palette)) {
    m_from.palette.resize(m_from.nBits <= 8 ? size_t(1) << m_from.nBits : 0);  // the converter reads the whole range
}

size_t RowConverter::bufferBytes() const {
    return std::max(size_t(R_CalcConvertSize(m_bm.Width, m_from.nBits, m_bm.Width, m_to.nBits)),
                    size_t(m_bm.BytesPerLine));
}

void RowConverter::convert(uint8_t* pRow) const {
    if (m_bNothing) return;
    if (m_from.nOrder == ORDER_GRAY && m_to.nBits >= 1 && m_to.nBits <= 8) {
        // A level of few bits would be taken for a dark grey as it stands, so deep grey gets to a palette in two steps.
        const Form gray8{0, ORDER_RGB};
        convertStep(pRow, m_from, gray8);
        convertStep(pRow, gray8, m_to);
    } else {
        convertStep(pRow, m_from, m_to);
    }
}

void RowConverter::convertStep(uint8_t* pRow, const Form& from, const Form& to) const {
    uint32_t uFlags = 0;
    if (from.nOrder == ORDER_GRAY) uFlags |= CONVERT_SRC_GRAY | CONVERT_SRC_BITRANGE;
    if (to.nOrder == ORDER_GRAY) uFlags |= CONVERT_DST_GRAY;
    if (m_bm.Flags & BMF_TRANSPARENCY) uFlags |= CONVERT_TRANSPARENT;
    check(R_ConvertBufferExt3(pRow, m_bm.Width, from.nBits, to.nBits, from.nOrder, to.nOrder,
                              from.palette.empty() ? nullptr : from.palette.data(),
                              to.palette.empty() ? nullptr : to.palette.data(), nullptr, 0, uFlags, m_bm.LowBit,
                              m_bm.HighBit, m_bm.Transparency),
          "R_ConvertBufferExt3");
}

RowSource::RowSource(Picture& picture, Form form)
    : m_upright(picture->ViewPerspective == TOP_LEFT || picture->ViewPerspective == BOTTOM_LEFT ? Picture()
                                                                                                : upright(picture)),
      m_picture(m_upright->Width ? m_upright : picture),
      m_converter(m_picture, std::move(form)),
      m_row(m_converter.bufferBytes()),
      m_lock(m_picture) {}

uint8_t* RowSource::row(int32_t y) {
    getRow(m_picture, m_row.data(), m_picture->ViewPerspective == BOTTOM_LEFT ? m_picture->Height - 1 - y : y);
    m_converter.convert(m_row.data());
    return m_row.data();
}

namespace {

// The nearest entries of a palette, by all bits of a colour.
Picture nearestColors(Picture& picture, const Form& form) {
    Picture result(picture->Width, picture->Height, form.nBits, form.nOrder, form.palette, picture->ViewPerspective);
    result->XResolution = picture->XResolution;
    result->YResolution = picture->YResolution;
    check(R_CopyBitmapRgn(result.get(), picture.get(), 0, 0), "R_CopyBitmapRgn");
    copyOverlays(picture, result);
    const RowConverter converter(picture, form);
    Row row(std::max(converter.bufferBytes(), size_t(result->BytesPerLine)));
    const Access lockFrom(picture), lockTo(result);
    for (int32_t y = 0; y < picture->Height; ++y) {
        getRow(picture, row.data(), y);
        converter.convert(row.data());
        clearTail(row.data(), result->Width, result->BitsPerPixel, result->BytesPerLine);
        putRow(result, row.data(), y);
        Progress::report(y + 1, picture->Height);
    }
    return result;
}

Picture resolved(Picture& picture, int32_t nBits, uint32_t uFlags, Palette palette, uint32_t uColors) {
    Picture result;
    check(R_ColorResBitmap(picture.get(), result.get(), sizeof(BITMAPRECORD), nBits, uFlags,
                           palette.empty() ? nullptr : palette.data(), nullptr, uColors, nullptr, nullptr),
          "R_ColorResBitmap");
    copyOverlays(picture, result);
    return result;
}

// What a conversion makes of the transparent colour, and of alpha that goes.
void carryTransparency(Picture& from, Picture& to) {
    to->Flags &= ~uint32_t(BMF_TRANSPARENCY);
    if ((from->Flags & BMF_TRANSPARENCY) && to->Order != ORDER_GRAY && !hasAlpha(*to)) {
        to->Flags |= BMF_TRANSPARENCY;
        to->Transparency = R_GetTrueColorValue(from.get(), from->Transparency);
    }
    if (!hasAlpha(*to)) to->Flags &= ~uint32_t(BMF_PREMULTIPLIED);
}

}  // namespace

Picture grayPicture(Picture& picture, int32_t nBits) {
    const Progress progress("converting to grey");
    if (picture->Flags & BMF_SIGNED) check(R_ClearNegativePixels(picture.get()), "R_ClearNegativePixels");
    Picture result;
    check(R_CreateGrayScaleBitmap(result.get(), picture.get(), nBits - 1), "R_CreateGrayScaleBitmap");
    carryTransparency(picture, result);
    return result;
}

Picture bestColors(Picture& picture, uint32_t nColors, uint32_t uDither) {
    int32_t nBits = 1;
    while ((1u << nBits) < nColors) ++nBits;
    const Progress progress("reducing colours");
    Picture result = resolved(picture, nBits, CRF_OPTIMIZEDPALETTE | uDither << CRF_DITHERING_SHIFT, {}, nColors);
    carryTransparency(picture, result);
    return result;
}

Picture convertPicture(Picture& picture, const Form& form, uint32_t uDither) {
    const Form from = formOf(picture);
    Picture result;
    if (from.nBits == form.nBits && from.nOrder == form.nOrder && samePalette(from.palette, form.palette)) {
        check(R_CopyBitmap(result.get(), picture.get(), sizeof(BITMAPRECORD)), "R_CopyBitmap");
        return result;
    }
    if (form.nBits == 0 || form.nOrder == ORDER_GRAY) return grayPicture(picture, form.nBits ? form.nBits : 8);
    if (uDither != DITHER_NONE && form.nBits > 1 && isGrayPalette(form.palette) && from.nBits > 8 &&
        from.nOrder != ORDER_GRAY) {
        // The errors of colours that no grey can make good would only pile up.
        Picture gray = grayPicture(picture, 8);
        return convertPicture(gray, form, uDither);
    }
    const Progress progress("converting to " + std::to_string(form.nBits) + " bits");
    if (form.nBits > 8)
        result = resolved(picture, form.nBits, form.nOrder == ORDER_BGR ? CRF_BYTEORDERBGR : 0, {}, 0);
    else if (uDither != DITHER_NONE)
        result = resolved(picture, form.nBits, CRF_USERPALETTE | uDither << CRF_DITHERING_SHIFT, form.palette,
                          uint32_t(form.palette.size()));
    else
        result = nearestColors(picture, form);
    carryTransparency(picture, result);
    return result;
}

Form resolveForm(const Picture& picture, const WantedForm& wanted) {
    const bool bWasGray = picture->Order == ORDER_GRAY;
    const bool bWantGray = wanted.nOrder == ORDER_GRAY;
    int32_t nBits = wanted.nBits;
    if (nBits == 0) {  // the depth nearest to the picture's own that has what is asked for
        nBits = picture->BitsPerPixel;
        if (!wanted.entries.empty())
            nBits = depthOf(wanted.entries);
        else if (!wanted.palette.empty())
            nBits = wanted.palette == "web" ? 8 : std::min(nBits, 8);
        else if (bWantGray)
            nBits = bWasGray ? nBits : nBits >= 48 ? 16 : 8;
        else if (wanted.nOrder >= 0)
            nBits = nBits <= 8 ? 24 : bWasGray ? 48 : nBits;
    }
    const std::string depth = std::to_string(nBits) + " bits per pixel";
    if (nBits <= 8) {
        if (wanted.nOrder == ORDER_RGB || wanted.nOrder == ORDER_BGR)
            throw Failure(depth + " have a palette and no colour order");
        if (bWantGray && !wanted.palette.empty() && wanted.palette != "gray")
            throw Failure("a gray order does not go with the " + wanted.palette + " palette");
        if (!wanted.entries.empty()) {
            if (depthOf(wanted.entries) > nBits)
                throw Failure("the palette of " + wanted.palette + " has " + std::to_string(wanted.entries.size()) +
                              " entries: too many for " + depth);
            return {nBits, ORDER_RGB, wholePalette(wanted.entries, nBits)};
        }
        if (wanted.palette.empty() && !bWantGray && picture->BitsPerPixel == nBits) return formOf(picture);
        const bool bGray = bWantGray || (wanted.palette.empty() && (bWasGray || isGrayPalette(picture.palette())));
        const std::string name = !wanted.palette.empty() ? wanted.palette : bGray ? "gray" : "fixed";
        // Eight bits of grey are converted as samples, which takes the whole range of deeper grey.
        return nBits == 8 && name == "gray" ? Form{0, ORDER_RGB} : Form{nBits, ORDER_RGB, namedPalette(name, nBits)};
    }
    if (!wanted.palette.empty()) throw Failure(depth + " have no palette");
    if (nBits == 12 && wanted.nOrder >= 0 && !bWantGray) throw Failure("12 bits per pixel are always gray");
    if (bWantGray && !isGrayDepth(nBits)) throw Failure(depth + " have no gray order; 8, 12, 16 and 32 have one");
    if (nBits == 12) return {12, ORDER_GRAY};
    if (wanted.nOrder >= 0) return {nBits, wanted.nOrder};
    if (bWasGray) return {nBits, isGrayDepth(nBits) ? ORDER_GRAY : ORDER_RGB};
    return {nBits, picture->BitsPerPixel > 8 ? picture->Order : int32_t(ORDER_RGB)};
}

}  // namespace ravo
