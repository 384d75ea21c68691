// What travels with a bitmap through copies: a caller's tagged data, the parameters of deep gray samples, and the
// fields of playback.
//
// Calls on bitmaps return -13 for a null bitmap where nothing else is said. Tables and extra data of a bitmap are
// blocks of R_GlobalAlloc that the bitmap owns.
#pragma once

#include "bitmap.h"

RV_C_BEGIN

// ---- extra data --------------------------------------------------------------------------------------------------
//
// A block is raw, of the caller's own layout, or tagged: the bytes "RAVO", the number of entries, then entries, each a
// size, a tag and as many bytes of data, in little-endian words of 32 bits.

/// Gives the bitmap a cleared raw block of nSize bytes in place of its old one; 0 leaves none.
/// Returns 1, or: -2 null bitmap, -13 uReserved not 0, -1 no memory, and then the bitmap has no block.
RV_API int32_t R_AllocateBitmapExtraData(BITMAPRECORD* pBitmap, uint32_t uReserved, uint32_t nSize) RV_NOEXCEPT;
/// Frees the block, if there is one. Returns 1, or -13 for a null bitmap.
RV_API int32_t R_FreeBitmapExtraData(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Gives pDst a copy of the other's block in place of its own, or none if that has none. A block that both records
/// point to stays with the source. Returns 1, or: -13 uReserved not 0, null, or one and the same bitmap; -1 no memory,
/// and pDst keeps what it had.
RV_API int32_t R_CopyBitmapExtraData(BITMAPRECORD* pDst, const BITMAPRECORD* pSrc, uint32_t uReserved) RV_NOEXCEPT;
/// Stores nSize bytes under a tag, in place of an older entry of that tag; nSize 0 removes the entry, if there is one.
/// A block that is not tagged is dropped first, and so is what lies behind the last sound entry. Returns 1, or: -13
/// null, -789 unknown record size, -814 a size with a null pData, -1 no memory.
RV_API int32_t R_SetBitmapExtraData(BITMAPRECORD* pBitmap, uint32_t uTag, uint32_t nSize,
                                    const void* pData) RV_NOEXCEPT;
/// Fetches the data of a tag, with the room at pData in *pnSize on the way in and the entry's size on the way out. A
/// null pData only asks for the size. Only the first entry is looked at: a tag that was stored behind another one is
/// not found. Returns 1, or: -13 null, -789 unknown record size, -814 null pnSize, -404 not found, -290 too little room
/// (*pnSize tells the size, nothing is written).
RV_API int32_t R_GetBitmapExtraData(const BITMAPRECORD* pBitmap, uint32_t uTag, uint32_t* pnSize,
                                    void* pData) RV_NOEXCEPT;

// ---- gray parameters ---------------------------------------------------------------------------------------------

/// Sets the bit ranges to all of BitsPerPixel and MinVal and MaxVal to its range (cut to 32 bits); frees pLUT and
/// pLUT16. Returns 1, or: -13 null, -789 unknown record size.
RV_API int32_t R_InitGrayParams(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// Copies the bit ranges, MinVal, MaxVal, BMF_USE_LUT and the tables: copies of them if bDeep is not 0, else the
/// pointers are shared. pLUT16 is carried where both records have it. Tables that pDst points to are not freed: it may
/// share them, so R_FreeGrayParams comes first where it owns some. Returns 1 (also for one and the same bitmap), or:
/// -13 null, -789 unknown record size, -1 no memory, and pDst is as it was.
RV_API int32_t R_CopyGrayParams(BITMAPRECORD* pDst, const BITMAPRECORD* pSrc, int32_t bDeep) RV_NOEXCEPT;
/// Frees pLUT, pPaintLUT, pLUT16 and pPaintLUT16. Returns 1, or: -13 null, -789 unknown record size.
RV_API int32_t R_FreeGrayParams(BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// How to read samples of nBits bits whose range is nLowBit to nHighBit (negative: from 0, to nBits - 1), keeping the
/// upper nMaxBits of them: value = sample >> *pnShift & *pnMask, of *pnUsedBits bits (which may be null). Nothing is
/// done when pnMask or pnShift is null.
RV_API void R_GetGrayParams(int32_t nBits, int32_t nMaxBits, int32_t nLowBit, int32_t nHighBit, int32_t* pnUsedBits,
                            uint32_t* pnMask, int32_t* pnShift) RV_NOEXCEPT;

/// 1 if the tables of a gray bitmap have the length of its bit range (the physical one under BMF_USE_LUT) and agree, if
/// it has none, or if it isn't gray; else 0. 0 also for a null bitmap.
RV_API int32_t R_IsBitmapLUTLengthValid(const BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// 1 if the bitmap has pLUT, or is gray and has pLUT16; else 0.
RV_API int32_t R_HasLUT(const BITMAPRECORD* pBitmap) RV_NOEXCEPT;
/// pLUT16 of a gray bitmap if it is in force (BMF_NONLINEAR_LUT or BMF_USE_LUT) or bForce is not 0; else null. The
/// bitmap owns it.
RV_API RGBQUAD64* R_GetLUT16(const BITMAPRECORD* pBitmap, int32_t bForce) RV_NOEXCEPT;
/// Makes one table from the other. nDirection 1 widens pLUT entries to 16 bits a channel (x 257), 2 narrows 16-bit
/// entries to their high bytes. A target too small is replaced by a new block; its length becomes the source's. Returns
/// 1 (also for a source of no entries, when nothing changes), or: -13 another direction, -814 null, also of the source
/// table; -1 no memory, when nothing changes.
RV_API int32_t R_DuplicateLUT(RGBQUAD** ppLUT8, uint32_t* pnLength8, RGBQUAD64** ppLUT16, uint32_t* pnLength16,
                              int32_t nDirection) RV_NOEXCEPT;

// ---- playback ----------------------------------------------------------------------------------------------------

/// Copies Left, Top, Delay, Background, Transparency, DisposalMethod, BMF_WAIT_USER_INPUT and BMF_TRANSPARENCY.
/// Returns 1, or -13 for null.
RV_API int32_t R_CopyPlaybackParms(BITMAPRECORD* pDst, const BITMAPRECORD* pSrc) RV_NOEXCEPT;

RV_C_END
