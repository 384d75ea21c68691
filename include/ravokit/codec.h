// Codec modules: plug-ins that compress the strips of super-compressed bitmaps.
//
// A codec module is a shared library of the name that the module loader gives to its format (loader.h). It has two
// entry points under the names below, which are called from any thread, also from several at once for different
// buffers. Both may be asked for other strips than those that a bitmap makes, and refuse what they can't do.
#pragma once

#include "types.h"

RV_C_BEGIN

/// Formats of strips: lossless photographs of 8 and 24 bits, and pages of 1 bit.
enum { CODEC_FORMAT_PHOTO = 5, CODEC_FORMAT_FAX = 68 };

/// nQuality of photographs without loss. Pages have 0.
enum { CODEC_QUALITY_LOSSLESS = -1 };

/// Compresses pixels. pInfo tells width, depth and rows (biHeight is negative: top down). A row takes
/// (biWidth x biBitCount + 31) / 32 x 4 bytes, all of which come back from FLTLOADBUFFER as they were, those behind the
/// last pixel too. uPixelBytes is the rows' sum. At most uDataSize bytes are written to pData, and *puWritten tells how
/// many. Returns 1; any other status refuses, such as -13 bad arguments, -15 unknown format, -21 unknown quality,
/// -27 unknown depth, -290 the data doesn't fit, -1 no memory.
typedef int32_t (*FLTSAVEBUFFER)(const BITMAPINFOHEADER* pInfo, const uint8_t* pPixels, uint32_t uPixelBytes,
                                 uint8_t* pData, uint32_t uDataSize, uint32_t* puWritten, uint32_t uFormat,
                                 int32_t nQuality);
/// The way back. pInfo tells the same as at the saving, and uPixelSize is the rows' sum. Nothing is written outside of
/// pPixels, whatever the data. Returns 1; any other status is failure, such as those above and -1859 for data that is
/// corrupted. The pixels are undefined then.
typedef int32_t (*FLTLOADBUFFER)(const BITMAPINFOHEADER* pInfo, const uint8_t* pData, uint32_t uDataBytes,
                                 uint8_t* pPixels, uint32_t uPixelSize, uint32_t uFormat);

/// The names of the entry points.
#define CODEC_SAVE_NAME "fltSaveBuffer"
#define CODEC_LOAD_NAME "fltLoadBuffer"

RV_C_END
