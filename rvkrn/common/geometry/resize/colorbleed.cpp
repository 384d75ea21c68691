// Colours of transparent pixels, taken from visible neighbours: a filter averages them in, and what lies under
// transparency is often black.
#include <limits>

#include "internal/pixels.h"
#include "internal/resize_.h"
#include "internal/rowaccess.h"

namespace rv {
namespace {

// Pixels of four samples of type T, the last one alpha.
template <class T>
struct Colors {
    static constexpr uint32_t kFull = std::numeric_limits<T>::max(), kVisible = kFull / 2 + 1, kBits = sizeof(T) * 8;
    static constexpr size_t kPixel = 4 * sizeof(T);

    static uint32_t sample(const uint8_t* pixel, size_t i) noexcept { return loadLittle<T>(pixel + i * sizeof(T)); }
    static uint32_t alpha(const uint8_t* pixel) noexcept { return sample(pixel, 3); }

    static bool hasTransparent(const uint8_t* row, int32_t nWidth) noexcept {
        for (const uint8_t* p = row; p < row + size_t(nWidth) * kPixel; p += kPixel)
            if (alpha(p) < 2) return true;
        return false;
    }

    // A colour moves towards a visible one, as far as that is visible.
    static void blend(uint8_t* to, const uint8_t* from) noexcept {
        const uint32_t a = alpha(from);
        for (size_t i = 0; i < 3; ++i)
            storeLittle(to + i * sizeof(T), T(((kFull - a) * sample(to, i) + a * sample(from, i)) >> kBits));
    }

    // Each pixel that is rather transparent asks its right, then its left neighbour; the first visible one colours it
    // and the neighbour on the other side. At the ends a pixel is its own neighbour.
    static void bleedRow(uint8_t* row, int32_t nWidth) noexcept {
        uint8_t* const pLast = row + size_t(nWidth - 1) * kPixel;
        for (uint8_t* p = row; p <= pLast; p += kPixel) {
            if (alpha(p) >= kVisible) continue;
            uint8_t *from = p < pLast ? p + kPixel : p, *other = p > row ? p - kPixel : p;
            if (alpha(from) < kVisible) std::swap(from, other);
            if (alpha(from) < kVisible) continue;
            blend(p, from);
            if (alpha(other) < kVisible) blend(other, from);
        }
    }

    // Wholly transparent pixels take the colour of the row below, else of the row above. Whether any did.
    static bool bleedFromRows(uint8_t* row, const uint8_t* above, const uint8_t* below, int32_t nWidth) noexcept {
        bool bAny = false;
        for (size_t i = 0; i < size_t(nWidth) * kPixel; i += kPixel) {
            if (alpha(row + i) != 0) continue;
            const uint8_t* from = alpha(below + i) ? below + i : above + i;
            if (alpha(from) == 0) continue;
            std::memcpy(row + i, from, 3 * sizeof(T));
            bAny = true;
        }
        return bAny;
    }

    static int32_t bleedColumns(BITMAPRECORD& bm) noexcept {
        RowReader above(bm, bm.BytesPerLine), below(bm, bm.BytesPerLine);
        RowEditor rows(bm);
        for (const int32_t n : {above.status(), below.status(), rows.status()})
            if (n != 1) return n;
        for (int32_t y = 0; y < bm.Height; ++y) {
            uint8_t* pRow = rows.read(y);
            if (!pRow) return rows.status();
            if (!hasTransparent(pRow, bm.Width)) continue;
            const uint8_t* pAbove = y > 0 ? above.read(y - 1) : pRow;
            if (!pAbove) return above.status();
            const uint8_t* pBelow = y + 1 < bm.Height ? below.read(y + 1) : pRow;
            if (!pBelow) return below.status();
            if (!bleedFromRows(pRow, pAbove, pBelow, bm.Width)) continue;
            if (const int32_t n = rows.write(y); n != 1) return n;
        }
        return 1;
    }

    static int32_t bleed(BITMAPRECORD& bm, bool bWidens, bool bHeightens) noexcept {
        RowEditor rows(bm);
        if (rows.status() != 1) return rows.status();
        bool bFound = false;
        for (int32_t y = 0; y < bm.Height && !bFound; ++y) {
            const uint8_t* pRow = rows.read(y);
            if (!pRow) return rows.status();
            bFound = hasTransparent(pRow, bm.Width);
        }
        if (!bFound) return 1;
        for (int32_t y = 0; y < bm.Height && bWidens; ++y) {
            uint8_t* pRow = rows.read(y);
            if (!pRow) return rows.status();
            bleedRow(pRow, bm.Width);
            if (const int32_t n = rows.write(y); n != 1) return n;
        }
        return bHeightens ? bleedColumns(bm) : 1;
    }
};

}  // namespace

int32_t bleedColors(BITMAPRECORD& bm, bool bWidens, bool bHeightens) noexcept {
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    return lock.release(bm.BitsPerPixel == 32 ? Colors<uint8_t>::bleed(bm, bWidens, bHeightens)
                                              : Colors<uint16_t>::bleed(bm, bWidens, bHeightens));
}

}  // namespace rv
