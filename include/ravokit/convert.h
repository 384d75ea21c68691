// The row converter: one row of pixels from any format to any other, in place.
//
// Depths are values of BitsPerPixel, and 0 for eight-bit grey without a palette. The buffer starts with the source row
// and ends with the destination row; it must hold the larger of the two (R_CalcConvertSize). The caller keeps it.
// Nothing here allocates, locks or keeps a state: any number of threads may convert at once.
//
// Layouts, multi-byte words little-endian:
//   0        a byte of grey
//   1 to 8   palette index in a bit stream, most significant bit first
//   12       grey (ORDER_GRAY only), two pixels in three bytes, the first in the low 12 bits of the first two bytes
//   16       ORDER_BGR: alpha in bit 15, red 14-10, green 9-5, blue 4-0. ORDER_RGB: red and blue change places.
//            ORDER_BGR565: red 15-11, green 10-5, blue 4-0. ORDER_GRAY: a grey word
//   24, 32   bytes red, green, blue for ORDER_RGB, else blue, green, red; then alpha. 32 with ORDER_GRAY: a grey word
//   48, 64   as 24 and 32, with words of 16 bits
// Writing to depths below 8 and to 12 keeps the bits of the last byte that belong to no pixel.
//
// Orders that a depth takes: 16 RGB, BGR, GRAY, BGR565; 32 RGB, BGR, GRAY; 24 and 48 RGB, BGR, ROMM; 64 RGB, BGR, and
// as a destination also ROMM; a 32-bit destination takes ROMM from sources of 1 to 4 bits. Others have none to check.
// What is asked for in ORDER_ROMM at a depth other than 24 and 48 is laid out as ORDER_BGR, and the status is -16.
//
// Colour becomes grey by (blue + 5 green + 2 (red + 2)) >> 3, at 8 and at 16 bits a sample.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Conversion flags.
enum {
    CONVERT_SRC_GRAY = 0x001,      ///< the source holds grey samples; follows from its order
    CONVERT_DST_GRAY = 0x002,      ///< the destination holds grey samples; follows from its order
    CONVERT_SRC_BITRANGE = 0x004,  ///< nLowBit and nHighBit describe the source sample
    CONVERT_DST_BITRANGE = 0x008,  ///< nLowBit and nHighBit describe the destination sample
    CONVERT_TRANSPARENT = 0x080,   ///< alpha is 0 where a pixel equals crTransparent
    CONVERT_SIGNED = 0x100         ///< 16-bit grey samples are signed; for 16-bit grey to 16-bit grey
};

/// Converts nWidth pixels. pPaletteSrc is the table of a source of 1 to 8 bits, or a table of grey levels for a grey
/// source of 12, 16 or 32 bits; pPaletteDst that of a destination of 1 to 8 bits. Tables have 2^depth entries; null is
/// the fixed palette of the depth, and for grey sources no table. The caller keeps them.
///
/// ORDER_ROMM is reached and left by a matrix in 13-bit fixed point. Going there from 48 bits, the matrix of 48-bit
/// rows first runs over nWidth pixels of 6 bytes of the buffer, whatever the destination, and then once more as for any
/// other source; its results above 65535 are cut to 16 bits. With both sides in ORDER_ROMM there is no matrix: grey and
/// palette destinations take the samples as red, green, blue; others copy.
///
/// Alpha made from formats without one is opaque. A 5-5-5 pixel is opaque at 32 bits; its bit 15 counts at 64 bits,
/// where it does so for ORDER_BGR565 too. 16-bit grey to 64 bits leaves the alpha words of the buffer as they are.
/// Depth 0 to 64 bits has alpha 0.
///
/// A negative nWidth changes nothing. A destination depth of 8 with ORDER_GRAY holds grey samples where the source is
/// grey of 12, 16 or 32 bits, and indices otherwise.
///
/// Returns 1, or: -13 null pBuffer or nWidth 0; an unknown depth or an order that the depth doesn't take. -16 a
/// destination in ORDER_ROMM that is not of 24 or 48 bits, from another order, after the conversion was done.
RV_API int32_t R_ConvertBuffer(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                               int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc,
                               const RGBQUAD* pPaletteDst) RV_NOEXCEPT;

/// The same with a bit range of the grey samples of one side: bits nLowBit to nHighBit, -1 for the whole sample. With
/// CONVERT_SRC_BITRANGE a grey sample of 12, 16 or 32 bits is its range, of which the top bits are kept when the
/// destination holds fewer. With CONVERT_DST_BITRANGE grey is put at these bits. A range that is the whole sample is no
/// range. nLowBit above nHighBit keeps one bit.
///
/// Grey without a table becomes deeper grey, with no range given, by v x M / m, truncated, with the full scales M and
/// m. With CONVERT_SRC_BITRANGE m is the full scale of the kept bits; then 32-bit samples round to nearest into depths
/// 0, 12 and 16, and all other pairs of grey truncate.
///
/// Returns as R_ConvertBuffer, and in the same place as unknown depths: -13 both ranges, or CONVERT_DST_BITRANGE for a
/// destination that is not grey. CONVERT_SRC_BITRANGE of a source that is not grey is dropped.
RV_API int32_t R_ConvertBufferExt(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                                  int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc,
                                  const RGBQUAD* pPaletteDst, uint32_t uFlags, int32_t nLowBit,
                                  int32_t nHighBit) RV_NOEXCEPT;

/// The same with a table of 16-bit colours for a grey source of 12, 16 or 32 bits, which has precedence over
/// pPaletteSrc. It must hold an entry for every level; uLUT16Length is not consulted. 16-bit greys of the table scale
/// to n bits by g x (2^n - 1) / 65535.
RV_API int32_t R_ConvertBufferExt2(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                                   int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc,
                                   const RGBQUAD* pPaletteDst, const RGBQUAD64* pLUT16Src, uint32_t uLUT16Length,
                                   uint32_t uFlags, int32_t nLowBit, int32_t nHighBit) RV_NOEXCEPT;

/// The same with the colour of CONVERT_TRANSPARENT. A colour of kind 1 names, by its low byte, a palette index of the
/// source, a level of a grey source with a table (at 12 bits to 64 also without), or a grey of depth 0; pixels of 24
/// and 48 bits never match it. Any other kind is compared by its three bytes, with the high bytes of wide samples. From
/// depth 0 to 64 bits alpha is the other way round: 65535 where the grey equals the colour, else 0. The flag changes
/// nothing between depths of 32 and 64, from 16-bit colour, from 16 and 32-bit grey to 64 bits, and from grey without a
/// table to 32 bits.
RV_API int32_t R_ConvertBufferExt3(uint8_t* pBuffer, int32_t nWidth, int32_t nBitsPerPixelSrc, int32_t nBitsPerPixelDst,
                                   int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc,
                                   const RGBQUAD* pPaletteDst, const RGBQUAD64* pLUT16Src, uint32_t uLUT16Length,
                                   uint32_t uFlags, int32_t nLowBit, int32_t nHighBit,
                                   COLORREF crTransparent) RV_NOEXCEPT;

/// R_ConvertBuffer from one row to another that does not overlap it. pDst may hold just the destination row; where the
/// conversion leaves bits of the buffer alone, those of pDst stay. ORDER_ROMM is not for here: its matrices work in
/// place. Returns 1, or -13: null pDst or pSrc, nWidth 0, ORDER_ROMM on either side, or as R_ConvertBuffer.
RV_API int32_t R_ConvertRow(uint8_t* pDst, const uint8_t* pSrc, int32_t nWidth, int32_t nBitsPerPixelSrc,
                            int32_t nBitsPerPixelDst, int32_t nOrderSrc, int32_t nOrderDst, const RGBQUAD* pPaletteSrc,
                            const RGBQUAD* pPaletteDst) RV_NOEXCEPT;

/// Bytes of a buffer in which a row of nWidthSrc pixels is resized to nWidthDst and converted: the largest of the rows,
/// in whole 32-bit words, of (nWidthSrc, source depth), (nWidthDst, source depth) and (nWidthDst, destination depth).
/// Depth 0 counts as 8, a negative width or depth as none. The size doesn't wrap.
RV_API uint64_t R_CalcConvertSize(int32_t nWidthSrc, int32_t nBitsPerPixelSrc, int32_t nWidthDst,
                                  int32_t nBitsPerPixelDst) RV_NOEXCEPT;

/// Keeps nCount samples of 16 bits off the ends of the bit range nLowBit to nHighBit, so that a later window level has
/// head room. The head room is nPad, at most a quarter of the range; a range of all 16 bits needs none. Bits outside
/// the range stay.
///
/// Kept as it has always been: an nHighBit above 15 counts as 1 and a negative one as 0; the lower bound is shifted to
/// nLowBit, the upper one, 2^(nHighBit + 1) - 1 less the head room, is not. nLowBit is limited to nHighBit - 1, and to
/// 0. A negative nPad or nCount changes nothing.
///
/// Returns 1, or -13 for a null pBuffer or an nBitsPerPixel other than 16.
RV_API int32_t R_PadPixelData(uint8_t* pBuffer, int32_t nBitsPerPixel, int32_t nCount, int32_t nHighBit,
                              int32_t nLowBit, int32_t nPad) RV_NOEXCEPT;

RV_C_END
