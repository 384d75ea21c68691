// The two codec modules of super-compressed bitmaps, loaded while there is a bitmap that needs them.
#include "internal/modules_.h"
#include "internal/strips_.h"

namespace rv {
namespace {

constexpr StripCodec kCodecs[] = {{CODEC_FORMAT_PHOTO, CODEC_QUALITY_LOSSLESS}, {CODEC_FORMAT_FAX, 0}};
SharedModule g_codecs[2];

}  // namespace

const StripCodec& stripCodec(uint32_t nCodec) noexcept { return kCodecs[nCodec]; }

int32_t acquireCodec(uint32_t nCodec) noexcept {
    const auto nFormat = int32_t(kCodecs[nCodec].nFormat);
    const bool b = g_codecs[nCodec].acquire(RV_LIBID_FILTER, nFormat, {CODEC_LOAD_NAME, CODEC_SAVE_NAME}) == 1;
    return b ? 1 : filterRow(nFormat).nErrorIfMissing;
}
void releaseCodec(uint32_t nCodec) noexcept { g_codecs[nCodec].release(); }

uint32_t encodeStrip(uint32_t nCodec, const BITMAPINFOHEADER& info, const uint8_t* pPixels, uint32_t uPixelBytes,
                     uint8_t* pData, uint32_t uDataSize) noexcept {
    const auto pfn = reinterpret_cast<FLTSAVEBUFFER>(g_codecs[nCodec].function(CODEC_SAVE_NAME));
    const StripCodec& codec = kCodecs[nCodec];
    uint32_t n = 0;
    if (pfn(&info, pPixels, uPixelBytes, pData, uDataSize, &n, codec.nFormat, codec.nQuality) != 1) return 0;
    return n <= uDataSize ? n : 0;
}
int32_t decodeStrip(uint32_t nCodec, const BITMAPINFOHEADER& info, const uint8_t* pData, uint32_t uDataBytes,
                 uint8_t* pPixels, uint32_t uPixelSize) noexcept {
    const auto pfn = reinterpret_cast<FLTLOADBUFFER>(g_codecs[nCodec].function(CODEC_LOAD_NAME));
    return pfn(&info, pData, uDataBytes, pPixels, uPixelSize, kCodecs[nCodec].nFormat);
}

}  // namespace rv
