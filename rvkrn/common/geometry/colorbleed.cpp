// Colours of transparent pixels, taken from visible neighbours: a filter averages them in, and what lies under
// transparency is often black.
#include <limits>

#include "internal/resize_.h"
#include "internal/rowaccess.h"

namespace rv {
namespace {

// Four samples of type T; the last one is alpha.
template <class T>
struct Colors {
    static constexpr uint32_t kFull = std::numeric_limits<T>::max(), kVisible = kFull / 2 + 1, kBits = sizeof(T) * 8;

    static bool hasTransparent(const uint8_t* row, int32_t nWidth) noexcept {
        const T* p = reinterpret_cast<const T*>(row) + 3;
        for (int32_t x = 0; x < nWidth; ++x)
            if (p[size_t(x) * 4] < 2) return true;
        return false;
    }

    // Colour c under its own alpha moves towards the visible colour.
    static void blend(T* to, const T* from) noexcept {
        for (int i = 0; i < 3; ++i) to[i] = T(((kFull - from[3]) * to[i] + uint32_t(from[3]) * from[i]) >> kBits);
    }

    // Each pixel that is rather transparent asks its right, then its left neighbour; the first visible one colours it
    // and the neighbour on the other side. Past the ends a pixel is its own neighbour.
    static void bleedRow(uint8_t* row, int32_t nWidth) noexcept {
        T* const pFirst = reinterpret_cast<T*>(row);
        T* const pLast = pFirst + size_t(nWidth - 1) * 4;
        for (T* p = pFirst; p <= pLast; p += 4) {
            if (p[3] >= kVisible) continue;
            T *pRight = p < pLast ? p + 4 : p, *pLeft = p > pFirst ? p - 4 : p;
            if (pRight[3] < kVisible) std::swap(pRight, pLeft);
            if (pRight[3] < kVisible) continue;
            blend(p, pRight);
            if (pLeft[3] < kVisible) blend(pLeft, pRight);
        }
    }

    // Wholly transparent pixels take the colour of the row below, else of the row above. Whether any did.
    static bool bleedFromRows(uint8_t* row, const uint8_t* above, const uint8_t* below, int32_t nWidth) noexcept {
        T* const to = reinterpret_cast<T*>(row);
        const T *pAbove = reinterpret_cast<const T*>(above), *pBelow = reinterpret_cast<const T*>(below);
        bool bAny = false;
        for (size_t i = 0; i < size_t(nWidth) * 4; i += 4) {
            if (to[i + 3] != 0) continue;
            const T* from = pBelow[i + 3] ? pBelow : pAbove;
            if (from[i + 3] == 0) continue;
            std::memcpy(to + i, from + i, 3 * sizeof(T));
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
