// Shuffles the pixels of a rectangle by a number, and puts them back.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

/// Bits of R_ScrambleBitmap's uFlags: just one of the first two.
enum {
    SCR_ENCRYPT = 1,  ///< shuffle
    SCR_DECRYPT = 2,  ///< undo the shuffle of the same number
    SCR_CLIP = 4      ///< cut the rectangle to the bitmap first
};

/// Shuffles the pixels of a rectangle, told as the top-left view sees it, by a permutation made from uKey. The same key
/// gives the same permutation on every machine: the generator starts with state uKey; each value is made by
/// state = state * 214013 + 2531011 in 32 bits, and is (state >> 16) & 0x7FFF. For each i from 0 on, with r1 and r2 the
/// next two values and j = (r1 * 0x8000 + r2) mod (i + 1), index[i] becomes index[j], and index[j] becomes i. Pixel i
/// of the stored rectangle, row by row, is then the one that stood at index[i]. Bits of uFlags from 8 to 0x200 mean
/// nothing. Returns 1, or: -2 null or without storage; -789 unknown record size; -13 other flags, or not just one of
/// the first two; -13 a ViewPerspective that isn't 1 to 8, a rectangle that is empty or not inside the bitmap; -1 no
/// memory; the status of the lock; those of row calls; the status callback's, which leaves the rows done so far
/// shuffled.
RV_API int32_t R_ScrambleBitmap(BITMAPRECORD* pBitmap, int32_t nLeft, int32_t nTop, int32_t nWidth, int32_t nHeight,
                                uint32_t uKey, uint32_t uFlags) RV_NOEXCEPT;

RV_C_END
