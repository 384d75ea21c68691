// Whole pictures from one pixel form to another, row by row through the row converter.
#pragma once

#include <ravokit/dither.h>

#include <string>

#include "picture.h"

namespace ravo {

/// A form of pixels. Depth 0 is eight-bit grey without a palette, for rows that go to a file; palettes are for depths 1
/// to 8 and have 2^nBits entries.
struct Form {
    int32_t nBits = 0;
    int32_t nOrder = ORDER_RGB;
    Palette palette{};
};

Form formOf(const Picture& picture);

// The forms that files have, nearest to a picture's own.
/// 24, 32, 48 or 64 bits in ORDER_RGB, by the samples and the alpha that the picture has.
Form colorForm(const BITMAPRECORD& bm);
/// A palette of nBits with the picture's entries first, or a grey one if the picture's is grey and ascending.
Form paletteForm(const Picture& picture, int32_t nBits);

/// Converts rows of one picture, in place in a buffer that holds the larger of both rows.
class RowConverter {
    const BITMAPRECORD& m_bm;
    Form m_from, m_to;
    bool m_bNothing;

    void convertStep(uint8_t* pRow, const Form& from, const Form& to) const;

public:
    RowConverter(const Picture& picture, Form to);
    size_t bufferBytes() const;
    void convert(uint8_t* pRow) const;
};

/// The rows of a picture from its top to its bottom as seen, in a wanted form: what a file writer asks for.
class RowSource {
    Picture m_upright;  // only where the stored rows are not the rows of the picture
    Picture& m_picture;
    RowConverter m_converter;
    Row m_row;
    Access m_lock;

public:
    RowSource(Picture& picture, Form form);
    int32_t width() const noexcept { return m_picture->Width; }
    int32_t height() const noexcept { return m_picture->Height; }
    int32_t xResolution() const noexcept { return m_picture->XResolution; }
    int32_t yResolution() const noexcept { return m_picture->YResolution; }
    uint8_t* row(int32_t y);
};

// New pictures of a picture. Resolution, view and the transparent colour go along; a method of dithering (DITHER_) is
// heard where colours are reduced.
/// In another form.
Picture convertPicture(Picture& picture, const Form& form, uint32_t uDither = DITHER_NONE);
/// In grey of 8, 12, 16 or 32 bits; negative samples of a signed picture become black in it, too.
Picture grayPicture(Picture& picture, int32_t nBits);
/// In the best 2 to 256 colours for it, with the least depth that has as many.
Picture bestColors(Picture& picture, uint32_t nColors, uint32_t uDither);

/// What neighbouring --bits, --order and --palette steps ask for: together they are one conversion.
struct WantedForm {
    int32_t nBits = 0;      // 0: not asked for
    int32_t nOrder = -1;    // -1: not asked for
    std::string palette{};  // a name, or the file that the entries are from
    Palette entries{};      // of a file
    std::string steps{};    // as they stand on the command line, for messages

    bool any() const noexcept { return !steps.empty(); }
};

/// The form that is asked for, for this picture; throws where the wishes exclude each other.
Form resolveForm(const Picture& picture, const WantedForm& wanted);

}  // namespace ravo
