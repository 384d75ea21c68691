// Clearing negative samples: a signed bitmap becomes an unsigned one.
#include "internal/opening.h"
#include "internal/pixels.h"
#include "internal/progress.h"
#include "internal/rowaccess.h"
#include "internal/simd.h"
#include "ravokit/grayscale.h"

namespace rv {

// Samples of whole words.
template <class T>
static inline void clearSamples(uint8_t* p, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) {
        const T v = loadLittle<T>(p + i * sizeof(T));
        storeLittle(p + i * sizeof(T), v < 0 ? T(0) : v);
    }
}
RV_CLONES void clearBytes(uint8_t* p, size_t n) noexcept { clearSamples<int8_t>(p, n); }
RV_CLONES void clearWords(uint8_t* p, size_t n) noexcept { clearSamples<int16_t>(p, n); }
RV_CLONES void clearDwords(uint8_t* p, size_t n) noexcept { clearSamples<int32_t>(p, n); }

namespace {

template <int Bits>
void clearPacked(uint8_t* p, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i)
        if (Pixel<Bits>::get(p, i) >> (Bits - 1)) Pixel<Bits>::put(p, i, 0);
}

using Clear = void (*)(uint8_t* p, size_t n) noexcept;
struct Samples {
    Clear pfnClear;
    size_t nInPixel;
};

Samples samplesOf(const BITMAPRECORD& bm) noexcept {
    return visitDepth(bm.BitsPerPixel, [&](auto bits) -> Samples {
        if constexpr (bits < 8 || bits == 12)
            return {clearPacked<bits>, 1};
        else if constexpr (bits == 48 || bits == 64)
            return {clearWords, bits / 16};
        else if constexpr (bits == 16)
            return {clearWords, 1};
        else if (bits == 32 && bm.Order == ORDER_GRAY)
            return {clearDwords, 1};
        else
            return {clearBytes, bits / 8};
    });
}

int32_t clearRows(BITMAPRECORD& bm, RowEditor& rows) noexcept {
    const Samples samples = samplesOf(bm);
    const size_t nSamples = size_t(bm.Width) * samples.nInPixel;
    ProgressStepper progress(bm.Height);
    if (const int32_t n = progress.start(); n != 1) return n;
    for (int32_t y = 0; y < bm.Height; ++y) {
        uint8_t* pRow = rows.read(y);
        if (!pRow) return rows.status();
        samples.pfnClear(pRow, nSamples);
        if (const int32_t n = rows.write(y); n != 1) return n;
        if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_ClearNegativePixels(BITMAPRECORD* pBitmap) noexcept {
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD& bm = *pBitmap;
    if (!(bm.Flags & BMF_SIGNED) || (bm.BitsPerPixel == 16 && bm.Order != ORDER_GRAY)) return tellNothingToDo();
    BitmapLock lock(bm);  // movable memory is flat only now
    RowEditor rows(bm);
    if (rows.status() != 1) return -1;
    bm.Flags &= ~uint32_t(BMF_SIGNED);
    if (lock.status() != 1) return lock.status();
    return lock.release(clearRows(bm, rows));
}
