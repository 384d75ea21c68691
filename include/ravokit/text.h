// Text: conversions between narrow and wide text, and steps from one character to the next.
//
// Wide text is UTF-16. Narrow text is UTF-8, which is also the process's code page. A sequence that is no character is
// converted to U+FFFD: one for each unpaired surrogate, and one for the longest run of bytes that begins a character,
// or for the one byte that begins none (the practice recommended in chapter 3.9 of the Unicode standard). Lengths and
// sizes are counted in units: char16_t of wide text, bytes of narrow text.
#pragma once

#include "types.h"

RV_C_BEGIN

// ---- conversions that allocate -----------------------------------------------------------------------------------

/// pszNarrow as wide text, in a block of length + 1 characters that the caller frees with R_LocalFree. A text that is
/// not valid UTF-8 is taken as Latin-1, a byte a character. Null for null, or when memory is short.
RV_API char16_t* R_A2THelper(const char* pszNarrow) RV_NOEXCEPT;
/// pszWide as UTF-8, in a block of length + 1 bytes that the caller frees with R_LocalFree. Null for null, when memory
/// is short, or when the text doesn't fit the block: any character outside ASCII takes more than a byte.
RV_API char* R_W2AHelper(const char16_t* pszWide) RV_NOEXCEPT;
/// R_W2AHelper with a block of two bytes a character + 1: texts with characters of U+0800 to U+FFFF may not fit it.
RV_API char* R_T2AHelper(const char16_t* pszWide) RV_NOEXCEPT;

// ---- conversions into the caller's buffer ------------------------------------------------------------------------

/// Copies pSrc, cut to uSize - 1 characters, with its terminator; nothing when uSize is 0. A null pSrc counts as an
/// empty text. Returns pDst; a null pDst is returned as it is.
RV_API char16_t* R_T2WConvert(char16_t* pDst, const char16_t* pSrc, uint32_t uSize) RV_NOEXCEPT;

/// Converts nWideLength characters to UTF-8 and returns the bytes written. An nWideLength of 0 takes the text up to its
/// terminator, a negative one takes the terminator with it. If at least one byte was written, there is room left and
/// the last byte is not 0, a terminator is added, which is not counted. With uUtf8Size 0 nothing is written, and the
/// result is the size that is needed. Returns 0, and writes nothing, for a null text, an empty one, a null buffer with
/// a size, and a text that doesn't fit the buffer (or 2147483647 bytes).
RV_API int32_t R_WideToUTF8(const char16_t* pWide, int32_t nWideLength, char* pUtf8, uint32_t uUtf8Size) RV_NOEXCEPT;
/// The reverse of R_WideToUTF8, by the same rules; uWideSize and the result count characters.
RV_API int32_t R_WideFromUTF8(const char* pUtf8, int32_t nLength, char16_t* pWide, uint32_t uWideSize) RV_NOEXCEPT;
/// Copies nLength bytes, at most uDstSize, and adds a terminator if there is room. An nLength of 0 takes the text up to
/// its terminator, a negative one takes the terminator with it. Nothing is copied where a pointer is null. Always 1.
RV_API int32_t R_UTF8ToUTF8(const char* pSrc, int32_t nLength, char* pDst, uint32_t uDstSize) RV_NOEXCEPT;

// ---- steps -------------------------------------------------------------------------------------------------------

/// The character behind pChar: two units on from a surrogate pair, else one. pChar itself if it is null or uRemaining,
/// the units left, is 0.
RV_API const char16_t* R_CharNextUTF16(const char16_t* pChar, uint32_t uRemaining) RV_NOEXCEPT;
/// The character behind pChar: one byte on, and on past as many continuation bytes as the first byte announces, so far
/// as they are there. pChar itself if it is null or uRemaining, the bytes left, is 0.
RV_API const char* R_CharNextUTF8(const char* pChar, uint32_t uRemaining) RV_NOEXCEPT;

// ---- what a text is ----------------------------------------------------------------------------------------------

/// Tests of IsTextUnicode. The four that are statistics of words or of narrow text (2, 0x20, 0x400 and 0x1000) are not
/// made.
enum {
    IS_TEXT_UNICODE_ASCII16 = 0x0001,             ///< all units are ASCII
    IS_TEXT_UNICODE_STATISTICS = 0x0002,          ///< not made
    IS_TEXT_UNICODE_CONTROLS = 0x0004,            ///< there is a return, line feed, tab, space or ideographic space
    IS_TEXT_UNICODE_SIGNATURE = 0x0008,           ///< the text begins with a byte-order mark
    IS_TEXT_UNICODE_REVERSE_ASCII16 = 0x0010,     ///< all units are ASCII once their bytes are exchanged
    IS_TEXT_UNICODE_REVERSE_STATISTICS = 0x0020,  ///< not made
    IS_TEXT_UNICODE_REVERSE_CONTROLS = 0x0040,  ///< there is a return, line feed, tab or space with its bytes exchanged
    IS_TEXT_UNICODE_REVERSE_SIGNATURE = 0x0080,  ///< the text begins with a byte-order mark, its bytes exchanged
    IS_TEXT_UNICODE_ILLEGAL_CHARS = 0x0100,      ///< there is a 0, 0xFFFE, 0xFFFF, or return and line feed in one unit
    IS_TEXT_UNICODE_ODD_LENGTH = 0x0200,         ///< the number of bytes is odd
    IS_TEXT_UNICODE_NULL_BYTES = 0x1000          ///< not made
};

/// Whether a buffer of nBytes bytes, of any alignment, is likely to hold UTF-16 text in the byte order of the machine.
/// *pnTests, if given, names the tests to make and receives those that hold; without it all are made. In order:
/// - no data: 0, and *pnTests is cleared (a negative count and a null pointer count as none);
/// - an odd count: 0, and of *pnTests only IS_TEXT_UNICODE_ODD_LENGTH remains;
/// - a byte-order mark: 1, or 0 where its bytes are exchanged, and of *pnTests only the bit of that mark remains;
/// - 0 if IS_TEXT_UNICODE_ILLEGAL_CHARS holds; else 1 if a test of the machine's order holds, and 0 if none does.
/// The reverse of the ideographic space is no sign of exchanged bytes, since it is the digit 0.
RV_API int32_t IsTextUnicode(const void* pData, int32_t nBytes, int32_t* pnTests) RV_NOEXCEPT;

RV_C_END
