// Regions of bitmaps by colour: all pixels of one colour or of a range, and the area around a pixel.
//
// The pixels that a call finds go to R_SetBitmapRgn, with no mapping and the caller's mode (RGN_MODE_ of bitmaprgn.h).
// A colour that isn't there gives an empty region, which the mode combines as any other. Rows and columns are those of
// the storage. The bitmap is locked for the time of the scan.
//
// A colour is plain (red in the low byte, then green and blue), or grey: with COLOR_IS_GRAY its low 16 bits are a
// level. Where bytes are compared, the high byte of the level stands for all three channels. Pixels of more than 8 bits
// are compared as the row converter gives them: wide samples by their high bytes, grey by its physical bits, through
// pLUT under BMF_USE_LUT. A table that has no entry for some level doesn't count. "Wide grey" is grey of 12 and 16 bits
// without a table in force: its samples are compared in 16 bits.
//
// All calls return 1, or: -789 unknown record size (not those named R_Int), -2 a null bitmap or one without storage;
// the status of the lock or of a row, -1 no memory, and then the bitmap's region is as it was; those of R_SetBitmapRgn.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

#define COLOR_IS_GRAY(cr) (((cr)&0x4000000u) != 0)

/// All pixels of a colour. Up to 8 bits the top byte 1 marks a palette index, cut to the depth. Any other colour is
/// looked for in the palette: below 8 bits its first entry of that colour counts, at 8 bits each one does. A grey level
/// on wide grey is compared with the sample at full scale; else grey of signed samples goes by all of their bits.
RV_API int32_t R_SetBitmapRgnColor(BITMAPRECORD* pBitmap, COLORREF crColor, uint32_t uMode) RV_NOEXCEPT;
RV_API int32_t R_IntSetBitmapRgnColor(BITMAPRECORD* pBitmap, COLORREF crColor, uint32_t uMode) RV_NOEXCEPT;

/// All pixels with each channel from crLow's to crHigh's. On a grey bitmap a plain limit becomes its grey.
///
/// Grey of 12 and 16 bits is compared in 16 bits as soon as one of the limits is a grey level; a plain one then becomes
/// 256 times its largest channel as crLow, and 256 times its smallest as crHigh, as it has always been. Signed samples
/// are compared as such: all bits at full scale, without those above the physical range.
RV_API int32_t R_SetBitmapRgnColorRGBRange(BITMAPRECORD* pBitmap, COLORREF crLow, COLORREF crHigh,
                                           uint32_t uMode) RV_NOEXCEPT;

/// All pixels with hue, saturation and value (as R_RGBtoHSV packs them) in a box, whose hues wrap around where the low
/// one exceeds the high one. On wide grey hue and saturation are 0, and the values of the limits count 257 times.
///
/// Kept as it has always been: elsewhere the hue limits are held against the value. A pixel whose saturation and value
/// are within theirs passes if low hue <= value <= high hue; or, where the low hue exceeds the high one, if low hue <=
/// hue or value <= high hue.
RV_API int32_t R_SetBitmapRgnColorHSVRange(BITMAPRECORD* pBitmap, uint32_t hsvLow, uint32_t hsvHigh,
                                           uint32_t uMode) RV_NOEXCEPT;
/// The same; also -13 for a null pointer, after -2.
RV_API int32_t R_SetBitmapRgnColorHSVRange2(BITMAPRECORD* pBitmap, const uint32_t* pHsvLow, const uint32_t* pHsvHigh,
                                            uint32_t uMode) RV_NOEXCEPT;

/// The magic wand: the area around the pixel (nRow, nCol), connected by edges, of pixels that in each channel are at
/// most crLower below and crUpper above that pixel's colour. The channels of wide grey have 16 bits: those of plain
/// tolerances count 257 times. On grey bitmaps the smallest of three tolerances holds for all. Where both are grey
/// levels, grey of 12 and 16 bits is compared as it is stored; then signed samples are without the bits above the
/// physical range.
///
/// Kept as it has always been: the pixel above the seed starts a fill too, and so does, for a seed on row 0, the pixel
/// (0, 0); where (0, 1) doesn't match, that one stays alone. Each must match by itself.
///
/// Also -13: a pixel outside of the bitmap, or one that has no colour (grey of 32 bits).
RV_API int32_t R_SetBitmapRgnMagicWand(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crLower,
                                       COLORREF crUpper, uint32_t uMode) RV_NOEXCEPT;
RV_API int32_t R_IntSetBitmapRgnMagicWand(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crLower,
                                          COLORREF crUpper, uint32_t uMode) RV_NOEXCEPT;
/// The same, and a pixel of which a channel, any one, equals that of crBorder is outside. Samples that are compared as
/// they are stored count as 0 here.
RV_API int32_t R_SetBitmapRgnBorder(BITMAPRECORD* pBitmap, int32_t nRow, int32_t nCol, COLORREF crBorder,
                                    COLORREF crLower, COLORREF crUpper, uint32_t uMode) RV_NOEXCEPT;

RV_C_END
