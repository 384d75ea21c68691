// Painting inside the library: from stored rows to bands.
//
// A PaintRows gives the rows of the painted part, resized, in the order in which they are stored; SeenRows bring
// them to the order in which they are seen; a PaintRenderer gives them the form in which they go out; PaintBands
// collect them and hand them to the sink.
#pragma once

#include <memory>

#include "internal/rvclasses_.h"
#include "ravokit/paint.h"
#include "ravokit/paintsettings.h"

namespace rv {

// ---- where ---------------------------------------------------------------------------------------------------------

// One axis of the picture as it is stored: nSrc pixels from nSrcFirst on, inside of the picture or not, become nDst
// pixels, of which nCount from nFrom on are painted. The painted ones come from pixels that the picture has.
struct PaintAxis {
    int32_t nSrcFirst, nSrc, nDst, nFrom, nCount;

    // The stored pixel of the n-th new one of all nDst; also the first one of its box.
    int32_t source(int64_t n) const noexcept { return int32_t(nSrcFirst + n * nSrc / nDst); }
    bool keepsSize() const noexcept { return nSrc == nDst; }
};

// ---- rows that come
// --------------------------------------------------------------------------------------------------

// Rows of the painted part: pixels x.nFrom on, x.nCount of them, from the first bit of a row on.
class PaintRows {
public:
    virtual ~PaintRows() = default;
    // The record that tells their format: BitsPerPixel, Order, palette, tables, bit ranges. It has no storage.
    virtual const BITMAPRECORD& format() const noexcept = 0;
    // Row nRow of all y.nDst: in pBuffer, or where it lies. Null with status() on failure.
    virtual const uint8_t* row(int32_t nRow, uint8_t* pBuffer) noexcept = 0;
    virtual int32_t status() const noexcept = 0;
    // Whether two rows are the same by the way they are made.
    virtual bool areSame(int32_t, int32_t) const noexcept { return false; }
};

// ---- rows that go out
// ------------------------------------------------------------------------------------------------

// How rows become what goes out.
enum class PaintMethod {
    asStored = 0,
    convert = 1,
    dither = 2,
    coverage = 3,          // of 1-bit gray where index 0 is black
    coverageInverted = 4,  // where index 1 is
    smooth = 5,
    smoothInverted = 6,
    anyBit = 7  // white where a 1-bit is: overlays
};

// What the sink said of the rows that it wants.
struct PaintWish {
    uint32_t uMode = 0;        // the thread's display mode
    int32_t nDeviceBits = 24;  // 1, 4, 8 or 24; with a record: its depth
    bool bAlpha = false;       // alpha may go out
    bool bAsked = false;       // there is a record, which holds:
    int32_t nOrder = ORDER_BGR;
    uint32_t uInfoFlags = 0;
    int32_t nLowBit = 0, nHighBit = 0;
};

// The order of colours that go out: red first where the sink asks for it, else blue.
inline int32_t colorOrder(const PaintWish& wish) noexcept {
    return wish.bAsked && wish.nOrder == ORDER_RGB ? ORDER_RGB : ORDER_BGR;
}

// The table that goes with rows of up to 8 bits.
enum class PaintTable {
    none,        // wider rows
    picture,     // the picture's palette
    device,      // the fixed palette of the depth, which dithering used
    blackWhite,  // of 1 bit, decided through pPaintLUT already
    grayRamp
};

// Gives rows their last form.
class PaintRenderer {
public:
    virtual ~PaintRenderer() = default;
    virtual int32_t bits() const noexcept = 0;  // of a pixel that goes out
    virtual PaintTable table() const noexcept = 0;
    // Whether a row becomes the same wherever it stands.
    virtual bool isPure() const noexcept = 0;
    // Writes a row's n pixels, which stand in row nRow of all that the whole destination has, to pDest. Rows come from
    // the top down. Bits behind the last pixel may become anything.
    virtual void render(const uint8_t* pSource, uint8_t* pDest, size_t n, int32_t nRow) noexcept = 0;
};

// The converter of method 1 for rows of that format: 1, -27 where the sink asks for what it can't give, or -1.
int32_t makeRowConverter(const BITMAPRECORD& format, const PaintWish& wish,
                         std::unique_ptr<PaintRenderer>& pRenderer) noexcept;
// The dithering of method 2 for rows of nWidth pixels, of which the first stands in column nColumn of the destination:
// 1 or -1.
int32_t makeRowDither(const BITMAPRECORD& format, const PaintWish& wish, size_t nWidth, int32_t nColumn,
                      std::unique_ptr<PaintRenderer>& pRenderer) noexcept;
// The fixed palette of a device of 1, 4 or 8 bits.
const RGBQUAD* devicePalette(int32_t nBits, uint32_t uMode) noexcept;

// Whether the picture's table of brightness, contrast and gamma changes anything.
inline const uint8_t* paintTable(const BITMAPRECORD& bm) noexcept {
    return bm.Flags & BMF_PAINT_LUT ? bm.pPaintLUT : nullptr;
}

// ---- bi-level
// --------------------------------------------------------------------------------------------------------

// Rows of 8-bit gray, where 0 is black, that methods coverage to anyBit make of a locked 1-bit bitmap.
int32_t makeBitonalRows(BITMAPRECORD& bm, PaintMethod method, const PaintAxis& x, const PaintAxis& y,
                        std::unique_ptr<PaintRows>& pRows) noexcept;

}  // namespace rv
