// Conversion between colour models: a source row becomes blue, green, red, and that the destination row. Here are the
// models that are linear forms of these three; the others have files of their own.
#include "ravokit/colorspace.h"

#include <algorithm>
#include <cstring>

#include "internal/colorspace_.h"
#include "internal/pixels.h"
#include "internal/rowblocks.h"
#include "internal/rvclasses_.h"

namespace rv {
namespace {

template <class T>
constexpr int32_t kFull = T(~T(0));
constexpr int32_t kScale = 16384;  // of Y, I, Q, U and V

// Sample i of a pixel, and its place in another. Y, I, Q, U and V are signed words at both sizes.
template <class T>
int32_t sample(const uint8_t* p, size_t i) noexcept {
    return loadLittle<T>(p + i * sizeof(T));
}
template <class T, class Value>
void store(uint8_t* p, size_t i, Value v) noexcept {
    storeLittle(p + i * sizeof(T), T(v));  // cut to the width
}

// --- Y, U, V and Y, I, Q ---------------------------------------------------------------------------------------------

struct Scaled {
    int32_t b, g, r;
    int32_t luma() const noexcept { return (299 * r + 587 * g + 114 * b) / 1000; }
};
template <class T>
Scaled scaled(const uint8_t* p) noexcept {  // 65535 x 16384 fits
    const auto scale = [p](size_t i) { return sample<T>(p, i) * kScale / kFull<T>; };
    return {scale(0), scale(1), scale(2)};
}

// Sums of any words fit 32 bits; times the full scale of 16 bits they may need more.
template <class T>
void storeScaled(uint8_t* p, int32_t b, int32_t g, int32_t r) noexcept {
    using Wide = std::conditional_t<sizeof(T) == 1, int32_t, int64_t>;
    store<T>(p, 0, Wide(b) * kFull<T> / kScale);
    store<T>(p, 1, Wide(g) * kFull<T> / kScale);
    store<T>(p, 2, Wide(r) * kFull<T> / kScale);
}

template <class T>
void yuvFromBgr(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<3 * sizeof(T), 6>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const Scaled c = scaled<T>(s);
        const int32_t y = c.luma();
        store<int16_t>(d, 0, y), store<int16_t>(d, 1, c.b - y), store<int16_t>(d, 2, c.r - y);
    });
}

template <class T>
void bgrFromYuv(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<6, 3 * sizeof(T)>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const int32_t y = sample<int16_t>(s, 0), b = sample<int16_t>(s, 1) + y, r = sample<int16_t>(s, 2) + y;
        storeScaled<T>(d, b, (1000 * y - 299 * r - 114 * b) / 587, r);
    });
}

template <class T>
void yiqFromBgr(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<3 * sizeof(T), 6>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const Scaled c = scaled<T>(s);
        store<int16_t>(d, 0, c.luma());
        store<int16_t>(d, 1, (596 * c.r - 275 * c.g - 321 * c.b) / 1000);
        store<int16_t>(d, 2, (212 * c.r - 528 * c.g + 311 * c.b) / 1000);
    });
}

template <class T>
void bgrFromYiq(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<6, 3 * sizeof(T)>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const int32_t y = sample<int16_t>(s, 0), i = sample<int16_t>(s, 1), q = sample<int16_t>(s, 2);
        storeScaled<T>(d, (1008 * y - 1110 * i + 1700 * q) / 1000, (997 * y - 271 * i - 645 * q) / 1000,
                       (1003 * y + 955 * i + 618 * q) / 1000);
    });
}

// --- cyan, magenta, yellow, and black --------------------------------------------------------------------------------

// Its own inverse.
template <class T>
void cmyAndBgr(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<3 * sizeof(T), 3 * sizeof(T)>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const int32_t c0 = ~sample<T>(s, 2), c1 = ~sample<T>(s, 1), c2 = ~sample<T>(s, 0);
        store<T>(d, 0, c0), store<T>(d, 1, c1), store<T>(d, 2, c2);
    });
}

template <class T>
void cmykFromBgr(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<3 * sizeof(T), 4 * sizeof(T)>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const int32_t c = kFull<T> - sample<T>(s, 2), m = kFull<T> - sample<T>(s, 1), y = kFull<T> - sample<T>(s, 0);
        const int32_t k = std::min({c, m, y});
        store<T>(d, 0, c - k), store<T>(d, 1, m - k), store<T>(d, 2, y - k), store<T>(d, 3, k);
    });
}

template <class T>
void bgrFromCmyk(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    eachPixel<4 * sizeof(T), 3 * sizeof(T)>(src, dst, n, [](const uint8_t* s, uint8_t* d) {
        const int32_t nRest = kFull<T> - sample<T>(s, 3), c = sample<T>(s, 0), m = sample<T>(s, 1), y = sample<T>(s, 2);
        store<T>(d, 0, std::max(nRest - y, 0));
        store<T>(d, 1, std::max(nRest - m, 0));
        store<T>(d, 2, std::max(nRest - c, 0));
    });
}

// --- the models ------------------------------------------------------------------------------------------------------

constexpr bool isWide(int32_t nFormat) noexcept { return nFormat >= COLORSPACE_BGR16; }

// The pivot itself has no kernels.
struct Model {
    int32_t nFormat = -1;
    uint32_t nBytes = 0;  // of a pixel
    RowKernel fromBgr = nullptr, toBgr = nullptr;
};

Model modelOf(int32_t nFormat) noexcept {
    switch (nFormat) {
        case COLORSPACE_BGR:
            return {nFormat, 3};
        case COLORSPACE_BGR16:
            return {nFormat, 6};
        case COLORSPACE_YUV:
            return {nFormat, 6, yuvFromBgr<uint8_t>, bgrFromYuv<uint8_t>};
        case COLORSPACE_YUV16:
            return {nFormat, 6, yuvFromBgr<uint16_t>, bgrFromYuv<uint16_t>};
        case COLORSPACE_YIQ:
            return {nFormat, 6, yiqFromBgr<uint8_t>, bgrFromYiq<uint8_t>};
        case COLORSPACE_YIQ16:
            return {nFormat, 6, yiqFromBgr<uint16_t>, bgrFromYiq<uint16_t>};
        case COLORSPACE_CMY:
            return {nFormat, 3, cmyAndBgr<uint8_t>, cmyAndBgr<uint8_t>};
        case COLORSPACE_CMY16:
            return {nFormat, 6, cmyAndBgr<uint16_t>, cmyAndBgr<uint16_t>};
        case COLORSPACE_CMYK:
            return {nFormat, 4, cmykFromBgr<uint8_t>, bgrFromCmyk<uint8_t>};
        case COLORSPACE_CMYK16:
            return {nFormat, 8, cmykFromBgr<uint16_t>, bgrFromCmyk<uint16_t>};
        case COLORSPACE_HSV:
            return {nFormat, 3, bestHsvFromBgr8(), bgrFromHsv8};
        case COLORSPACE_HSV16:
            return {nFormat, 6, hsvFromBgr16, bgrFromHsv16};
        case COLORSPACE_HLS:
            return {nFormat, 3, hlsFromBgr8, bgrFromHls8};
        case COLORSPACE_HLS16:
            return {nFormat, 6, hlsFromBgr16, bgrFromHls16};
        default:
            return {};
    }
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_ConvertColorSpace(const uint8_t* pBufferSrc, uint8_t* pBufferDst, int32_t nWidth,
                                       int32_t nFormatSrc, int32_t nFormatDst) noexcept {
    if (!pBufferSrc || !pBufferDst || isWide(nFormatSrc) != isWide(nFormatDst)) return -13;  // Invalid parameter passed
    const Model src = modelOf(nFormatSrc), dst = modelOf(nFormatDst);
    if (!src.nBytes || !dst.nBytes || nWidth < 0) return -13;
    const auto n = size_t(nWidth);

    // With the pivot on one side or the other a row needs no place in between.
    if (!src.toBgr && !dst.fromBgr) {
        std::memmove(pBufferDst, pBufferSrc, n * src.nBytes);
    } else if (!src.toBgr) {
        dst.fromBgr(pBufferSrc, pBufferDst, n);
    } else if (!dst.fromBgr) {
        src.toBgr(pBufferSrc, pBufferDst, n);
    } else {
        Buffer<uint8_t> pivot(uint64_t(n) * (isWide(nFormatSrc) ? 6 : 3));
        if (!pivot) return -1;  // Not enough memory available
        src.toBgr(pBufferSrc, pivot.get(), n);
        dst.fromBgr(pivot.get(), pBufferDst, n);
    }
    return 1;
}
