// Combining a rectangle of one bitmap with one of another by bit logic or arithmetic, warping one into a quadrilateral,
// and shearing. Coordinates are those in which the pictures are seen, whatever their views.
#pragma once

#include "bitmap.h"
#include "numeric.h"

RV_C_BEGIN

/// uFlags of R_CombineBitmapKrn: one of each group. S and D are the operands after their groups, M is the largest value
/// of a sample.
enum {
    COMBINE_SRC_NOT = 0x0001,   ///< S is the source inverted; without a bit of this group as it is
    COMBINE_SRC_ZERO = 0x0002,  ///< S is all zeros
    COMBINE_SRC_ONE = 0x0003,   ///< S is all ones

    COMBINE_DST_NOT = 0x0010,  ///< the same for the destination
    COMBINE_DST_ZERO = 0x0020,
    COMBINE_DST_ONE = 0x0030,

    COMBINE_AND = 0x0000,  ///< these three are bitwise at every depth
    COMBINE_OR = 0x0100,
    COMBINE_XOR = 0x0200,
    COMBINE_ADD = 0x0300,       ///< min(D + S, M); 1 bit: S or D
    COMBINE_SUB_SRC = 0x0400,   ///< max(D - S, 0); 1 bit: D and not S
    COMBINE_SUB_DST = 0x0500,   ///< max(S - D, 0); 1 bit: S and not D
    COMBINE_MULTIPLY = 0x0600,  ///< D x S / M; 1 bit: S and D
    COMBINE_DIV_SRC = 0x0700,   ///< D x M / S, at most M, and M where S is 0; 1 bit: D
    COMBINE_DIV_DST = 0x0800,   ///< S x M / D, at most M, and M where D is 0; 1 bit: S
    COMBINE_MEAN = 0x0900,      ///< (D + S) / 2; 1 bit: S or D
    COMBINE_MIN = 0x0A00,       ///< the lesser; 1 bit: S and D
    COMBINE_MAX = 0x0B00,       ///< the greater; 1 bit: S or D

    COMBINE_RESULT_NOT = 0x1000,  ///< the result inverted; all zeros; all ones
    COMBINE_RESULT_ZERO = 0x2000,
    COMBINE_RESULT_ONE = 0x3000,

    COMBINE_COPY = COMBINE_AND | COMBINE_DST_ONE
};

/// Combines nWidth x nHeight pixels of pSource at (nSrcLeft, nSrcTop) with those of pDest at (nDestLeft, nDestTop),
/// into pDest and as far as its region reaches. What lies outside of either bitmap is left out. Divisions are
/// truncated.
///
/// Samples are bytes; at 2 to 7 bits the pixel; at 16 bits in colour the three of 5 bits, at 48 and 64 bits 16-bit
/// words; of gray pixels of 12, 16 and 32 bits the physical bit range of pDest. The arithmetic leaves bits that belong
/// to no sample as they are in pDest. Samples are taken as they are stored: no palette or order is looked at.
///
/// The bitmaps may be one: then the result is as if the source had been read before anything was written. A source of
/// another view is copied. Tells the thread's status callback 0 and then each new percent; where the flags leave the
/// destination as it is, just 0 and 100.
///
/// Returns 1, or: -13 flags outside their groups, or null; -789 unknown record size; -2 without storage; -27 different
/// depths; -13 an unknown view; those of R_IntChangeBitmapViewPerspective, of a lock; -1 no memory; those of row calls;
/// the status callback's. A failure leaves the rows done so far.
RV_API int32_t R_CombineBitmapKrn(BITMAPRECORD* pDest, int32_t nDestLeft, int32_t nDestTop, int32_t nWidth,
                                  int32_t nHeight, BITMAPRECORD* pSource, int32_t nSrcLeft, int32_t nSrcTop,
                                  uint32_t uFlags) RV_NOEXCEPT;

/// uFlags of R_CombineBitmapWarp; the other bits below 0x400 are taken and do nothing.
enum {
    WARP_BILINEAR = 1  ///< blends four neighbours; not where values aren't levels: gray with a table, coloured palettes
};

/// Writes a rectangle of pSource into a convex quadrilateral of pDest: its corner pixels, clockwise from the top left
/// one, land on the four pixels pPoints, and what lies between follows the projective map through them (P. Heckbert,
/// Fundamentals of Texture Mapping and Image Warping, 1989). The pixels whose points lie in the quadrilateral or on its
/// edges are written, and no others, with the nearest pixel of the source, or with WARP_BILINEAR the blend of its four
/// neighbours, rounded down; 1-bit pixels are set where ones have half the weight. Regions are not looked at. The
/// bitmaps may be one: then the result is as if the source had been read first.
///
/// Returns 1, or: -2 null or without storage; -789 unknown record size; -13 bits above 0x3FF, null points, corners that
/// don't all turn the same way; -27 different depths; -13 palettes that differ in the entries that both have (depths up
/// to 8), gray with colour at 16 bits, a source rectangle that is empty or not inside, a corner outside of pDest, no
/// projective map; the status of a lock; -1 no memory; those of row calls; the status callback's, which is told 0 and
/// then each new percent of the rows. A failure leaves the rows done so far.
RV_API int32_t R_CombineBitmapWarp(BITMAPRECORD* pDest, const POINT* pPoints, BITMAPRECORD* pSource, int32_t nSrcLeft,
                                   int32_t nSrcTop, int32_t nSrcWidth, int32_t nSrcHeight, uint32_t uFlags) RV_NOEXCEPT;
/// The same with corners in real numbers, each taken for the nearest pixel.
RV_API int32_t R_CombineBitmapWarp2(BITMAPRECORD* pDest, const PointD* pPoints, BITMAPRECORD* pSource, int32_t nSrcLeft,
                                    int32_t nSrcTop, int32_t nSrcWidth, int32_t nSrcHeight,
                                    uint32_t uFlags) RV_NOEXCEPT;

/// Shears what is seen by nAngle hundredths of a degree, -8999 to 8999: bHorizontal moves rows, to the right the more
/// the higher they stand for a positive angle; else columns move, upwards the more the farther left. The canvas grows
/// to hold the picture, and crFill colours what it leaves uncovered. The region follows.
///
/// Stored row k from where the picture stands still moves by k x R_SinValue / R_CosValue pixels, truncated; where
/// stored rows run to the left or upwards, what truncation leaves free of the canvas is at its other end. Tells the
/// thread's status callback rising percents: a turn, of which columns take one before and one after, is 20 of them, a
/// reversal, of which a negative angle takes two, 5. Columns of the views 5 to 8 and rows of the others keep the view;
/// else it becomes what R_RotateBitmap makes of it.
///
/// Returns 1, or: -2 null or without storage, -789 unknown record size, -13 another angle, -1 no memory; those of
/// R_DupBitmapNewDim, R_RotateBitmap90, R_RotateBitmap, of the lock and of row calls; the status callback's. On failure
/// the bitmap stands as it was.
RV_API int32_t R_ShearBitmap(BITMAPRECORD* pBitmap, int32_t nAngle, int32_t bHorizontal, COLORREF crFill) RV_NOEXCEPT;

RV_C_END
