// The codec of photographs: lossless JPEG-LS (ITU-T T.87) of 8 and 24 bits.
//
// At 8 bits what stands behind the last pixel of a row is coded like pixels. At 24 bits it can't be, and where it isn't
// clear it follows the coded data row by row.
#include <charls/charls.h>

#include <algorithm>
#include <memory>

#include "strip.h"

namespace {

constexpr Accepted kAccepted{CODEC_FORMAT_PHOTO, CODEC_QUALITY_LOSSLESS, {8, 24}, kCodedWithPadding};

bool ok(charls_jpegls_errc error) { return error == charls_jpegls_errc::success; }

struct Layout {
    charls_frame_info frame;
    charls_interleave_mode interleave;
    charls_color_transformation transformation;  // of colours; they are coded as differences from the green one
    uint32_t nPadding;                           // bytes of a row that are not coded
};

Layout layoutOf(const Strip& strip, uint32_t nBits) {
    if (nBits == 8)
        return {{strip.nStride, strip.nRows, 8, 1}, charls_interleave_mode::none, charls_color_transformation::none, 0};
    return {{strip.nWidth, strip.nRows, 8, 3},
            charls_interleave_mode::line,
            charls_color_transformation::hp1,
            strip.nStride - strip.nWidth * 3};
}

// Copies between the ends of rows and a packed buffer.
template <class From, class To>
void copyPadding(const Strip& strip, uint32_t nPadding, From from, To to) {
    for (uint32_t y = 0; y < strip.nRows; ++y) {
        const size_t nInRows = size_t(strip.nStride) * (y + 1) - nPadding, nPacked = size_t(nPadding) * y;
        for (uint32_t i = 0; i < nPadding; ++i) to(nInRows + i, nPacked + i) = from(nInRows + i, nPacked + i);
    }
}

bool hasPadding(const Strip& strip, uint32_t nPadding, const uint8_t* pPixels) {
    uint8_t uAll = 0;
    for (uint32_t y = 0; y < strip.nRows; ++y)
        for (uint32_t i = 1; i <= nPadding; ++i) uAll |= pPixels[size_t(strip.nStride) * (y + 1) - i];
    return uAll != 0;
}

// The coded length, 0 when it doesn't fit or can't be had.
size_t encode(const Layout& layout, const uint8_t* pPixels, const Strip& strip, uint8_t* pData, size_t nRoom) {
    const std::unique_ptr<charls_jpegls_encoder, void (*)(const charls_jpegls_encoder*)> encoder(
        charls_jpegls_encoder_create(), [](const charls_jpegls_encoder* p) { charls_jpegls_encoder_destroy(p); });
    auto* p = encoder.get();
    size_t nWritten = 0;
    const bool bDone = p && ok(charls_jpegls_encoder_set_frame_info(p, &layout.frame)) &&
                       ok(charls_jpegls_encoder_set_interleave_mode(p, layout.interleave)) &&
                       ok(charls_jpegls_encoder_set_color_transformation(p, layout.transformation)) &&
                       ok(charls_jpegls_encoder_set_destination_buffer(p, pData, nRoom)) &&
                       ok(charls_jpegls_encoder_encode_from_buffer(p, pPixels, strip.bytes(), strip.nStride)) &&
                       ok(charls_jpegls_encoder_get_bytes_written(p, &nWritten));
    return bDone ? nWritten : 0;
}

int32_t decode(const Layout& layout, const Strip& strip, const uint8_t* pData, size_t nBytes, uint8_t* pPixels) {
    const std::unique_ptr<charls_jpegls_decoder, void (*)(const charls_jpegls_decoder*)> decoder(
        charls_jpegls_decoder_create(), [](const charls_jpegls_decoder* p) { charls_jpegls_decoder_destroy(p); });
    auto* p = decoder.get();
    if (!p) return -1;
    charls_frame_info frame{};
    charls_interleave_mode interleave{};
    int32_t nNear = 0;
    const bool bRead = ok(charls_jpegls_decoder_set_source_buffer(p, pData, nBytes)) &&
                       ok(charls_jpegls_decoder_read_header(p)) &&
                       ok(charls_jpegls_decoder_get_frame_info(p, &frame)) &&
                       ok(charls_jpegls_decoder_get_interleave_mode(p, &interleave)) &&
                       ok(charls_jpegls_decoder_get_near_lossless(p, 0, &nNear));
    // What the data tells of itself has to be what was asked for: the buffer is of that size.
    const bool bSame = bRead && frame.width == layout.frame.width && frame.height == layout.frame.height &&
                       frame.bits_per_sample == 8 && frame.component_count == layout.frame.component_count &&
                       interleave == layout.interleave && nNear == 0;
    if (!bSame) return kCorrupted;
    const charls_jpegls_errc error = charls_jpegls_decoder_decode_to_buffer(p, pPixels, strip.bytes(), strip.nStride);
    return ok(error) ? 1 : error == charls_jpegls_errc::not_enough_memory ? -1 : kCorrupted;
}

}  // namespace

extern "C" {

RV_API int32_t fltSaveBuffer(const BITMAPINFOHEADER* pInfo, const uint8_t* pPixels, uint32_t uPixelBytes,
                             uint8_t* pData, uint32_t uDataSize, uint32_t* puWritten, uint32_t uFormat,
                             int32_t nQuality) noexcept {
    Strip strip;
    if (const int32_t n = openSave(kAccepted, pInfo, pPixels, uPixelBytes, pData, puWritten, uFormat, nQuality, strip);
        n != 1)
        return n;

    const Layout layout = layoutOf(strip, pInfo->biBitCount);
    const bool bPadding = hasPadding(strip, layout.nPadding, pPixels);
    const uint64_t nBeside = 1 + (bPadding ? uint64_t(layout.nPadding) * strip.nRows : 0) + kChecksumBytes;
    const uint64_t nRoom = std::min<uint64_t>(uDataSize, uPixelBytes);
    const size_t nCoded = nRoom > nBeside ? encode(layout, pPixels, strip, pData + 1, size_t(nRoom - nBeside)) : 0;
    if (!nCoded) return savePlain(pPixels, uPixelBytes, pData, uDataSize, puWritten);
    pData[0] = bPadding ? kCodedWithPadding : kCoded;
    if (bPadding)
        copyPadding(
            strip, layout.nPadding, [=](size_t nInRows, size_t) { return pPixels[nInRows]; },
            [=](size_t, size_t nPacked) -> uint8_t& { return pData[1 + nCoded + nPacked]; });
    *puWritten = uint32_t(nCoded + nBeside);
    seal(pData, *puWritten - kChecksumBytes);
    return 1;
}

RV_API int32_t fltLoadBuffer(const BITMAPINFOHEADER* pInfo, const uint8_t* pData, uint32_t uDataBytes, uint8_t* pPixels,
                             uint32_t uPixelSize, uint32_t uFormat) noexcept {
    Strip strip;
    if (const int32_t n = openLoad(kAccepted, pInfo, pData, uDataBytes, pPixels, uPixelSize, uFormat, strip); n != 1)
        return n;
    if (pData[0] == kPlain) return loadPlain(pData, uDataBytes, pPixels, uPixelSize);

    if (!unseal(pData, uDataBytes)) return kCorrupted;
    const Layout layout = layoutOf(strip, pInfo->biBitCount);
    const bool bPadding = pData[0] == kCodedWithPadding;
    const uint64_t nBeside = 1 + (bPadding ? uint64_t(layout.nPadding) * strip.nRows : 0);
    if (uDataBytes <= nBeside) return kCorrupted;
    const auto nCoded = size_t(uDataBytes - nBeside);
    if (const int32_t n = decode(layout, strip, pData + 1, nCoded, pPixels); n != 1) return n;
    copyPadding(
        strip, layout.nPadding,
        [=](size_t, size_t nPacked) { return bPadding ? pData[1 + nCoded + nPacked] : uint8_t(0); },
        [=](size_t nInRows, size_t) -> uint8_t& { return pPixels[nInRows]; });
    return 1;
}

}  // extern "C"
