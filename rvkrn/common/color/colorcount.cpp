// Counting the distinct colours of a bitmap. A set with a bit for each possible colour tells which have been seen; the
// test of a colour that was seen writes nothing, so that a row of a photo is a run of independent reads, group by
// group.
#include <algorithm>

#include "internal/attachments.h"
#include "internal/bgrrows.h"
#include "internal/progress.h"
#include "ravokit/optpal.h"

namespace rv {
namespace {

constexpr uint64_t kColors24 = uint64_t(1) << 24;

RGBQUAD grayEntry(uint32_t nLevel) noexcept { return {uint8_t(nLevel), uint8_t(nLevel), uint8_t(nLevel), 0}; }

// The colours seen, and the caller's list of them.
class ColorSet {
    Buffer<uint32_t> m_seen;
    RGBQUAD* m_pList;
    uint32_t m_nRoom;
    uint32_t m_nCount = 0;

public:
    ColorSet(uint64_t nColors, RGBQUAD* pList, uint32_t nRoom) noexcept : m_pList(pList), m_nRoom(nRoom) {
        m_seen.allocateCleared((nColors + 31) / 32);
    }
    explicit operator bool() const noexcept { return bool(m_seen); }
    uint32_t count() const noexcept { return m_nCount; }

    // Whether the colours of n pixels of three bytes, and a byte behind them, have all been seen. There is nothing to
    // wait for between the look-ups.
    template <size_t n>
    bool hasAll(const uint8_t* p) const noexcept {
        const uint32_t* const pSeen = m_seen.get();
        uint32_t uAll = 1;
        for (size_t i = 0; i < n; ++i) {
            const uint32_t nKey = loadLittle<uint32_t>(p + i * 3) & 0xFFFFFF;
            uAll &= pSeen[nKey >> 5] >> (nKey & 31);
        }
        return uAll != 0;
    }

    // False when a new colour has no room in the list. entryOf(key) makes the list's entry of a key.
    template <class EntryOf>
    bool add(uint32_t nKey, EntryOf&& entryOf) noexcept {
        uint32_t& word = m_seen[nKey >> 5];
        const uint32_t uBit = uint32_t(1) << (nKey & 31);
        if (word & uBit) [[likely]]
            return true;
        word |= uBit;
        ++m_nCount;
        if (!m_pList) return true;
        if (m_nCount > m_nRoom) return false;
        m_pList[m_nCount - 1] = entryOf(nKey);
        return true;
    }
};

// Calls count(row, first, end) for each stretch of each row inside the region. It gives 1 to go on, 0 to end the walk.
template <class Rows, class Count>
int32_t walkRows(BITMAPRECORD& bm, Rows& rows, Count&& count) noexcept {
    if (rows.status() != 1) return rows.status();
    const RECT bounds = attachments().regionBounds(bm);
    const int32_t nTop = std::max(bounds.top, 0), nBottom = std::min(bounds.bottom, bm.Height);
    Buffer<uint32_t> words(std::max(attachments().clipSegmentsMax(bm), 2u));
    if (!words) return -1;
    ProgressStepper progress(std::max(nBottom - nTop, 0));
    if (const int32_t n = progress.start(); n != 1) return n;
    for (int32_t y = nTop; y < nBottom; ++y) {
        uint32_t nWords = 0;
        if (const int32_t n = attachments().clipSegments(bm, y, words.get(), &nWords); n != 1) return n;
        const uint8_t* pRow = rows.read(y);
        if (!pRow) return rows.status();
        for (uint32_t i = 0; i + 1 < nWords; i += 2)
            if (words[i] < words[i + 1] && !count(pRow, words[i], words[i + 1])) return 1;
        if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

template <int Bits>
int32_t countIndices(BITMAPRECORD& bm, ColorSet& set) noexcept {
    const PaletteOf palette(bm);
    const auto entryOf = [&](uint32_t n) { return palette.entries[n]; };
    RowReader rows(bm, bm.BytesPerLine);
    return walkRows(bm, rows, [&](const uint8_t* pRow, size_t x, size_t xEnd) {
        for (; x < xEnd; ++x)
            if (!set.add(uint32_t(Pixel<Bits>::get(pRow, x)), entryOf)) return false;
        return true;
    });
}

template <int Bits>
int32_t countLevels(BITMAPRECORD& bm, const KeptBits& kept, ColorSet& set) noexcept {
    const uint32_t uMask = kept.mask();
    const auto entryOf = [&](uint32_t n) {
        return grayEntry(kept.nBits >= 8 ? n >> (kept.nBits - 8) : n * 255 / uMask);
    };
    RowReader rows(bm, bm.BytesPerLine);
    return walkRows(bm, rows, [&](const uint8_t* pRow, size_t x, size_t xEnd) {
        for (; x < xEnd; ++x)
            if (!set.add(uint32_t(uint64_t(Pixel<Bits>::get(pRow, x)) >> kept.nShift) & uMask, entryOf)) return false;
        return true;
    });
}

int32_t countColors(BITMAPRECORD& bm, ColorSet& set) noexcept {
    const auto entryOf = [](uint32_t n) { return RGBQUAD{uint8_t(n), uint8_t(n >> 8), uint8_t(n >> 16), 0}; };
    BgrRows rows(bm, true);
    return walkRows(bm, rows, [&](const uint8_t* pRow, size_t x, size_t xEnd) {
        constexpr size_t kGroup = 16;
        bool bRoom = true;
        while (x < xEnd && bRoom) {
            const size_t n = std::min(kGroup, xEnd - x);
            const uint8_t* p = pRow + x * 3;
            if (n < kGroup || x + n == xEnd || !set.hasAll<kGroup>(p))
                forEachBgr(p, n, [&](uint32_t v) { bRoom = bRoom && set.add(v & 0xFFFFFF, entryOf); });
            x += n;
        }
        return bRoom;
    });
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_GetBitmapColorCountExt(BITMAPRECORD* pBitmap, uint32_t* puColors, RGBQUAD* pPalette) noexcept {
    if (!isAllocated(pBitmap) || !puColors) return -13;         // Invalid parameter passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    BITMAPRECORD& bm = *pBitmap;
    const bool bIndices = bm.BitsPerPixel <= 8, bLevels = !bIndices && bm.Order == ORDER_GRAY;
    const KeptBits kept = physicalBits(bm);
    ColorSet set(bIndices  ? uint64_t(1) << bm.BitsPerPixel
                 : bLevels ? uint64_t(kept.mask()) + 1
                           : kColors24,
                 pPalette, *puColors);
    if (!set) return -1;
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    const int32_t nStatus = lock.release(visitDepth(bm.BitsPerPixel, [&](auto bits) {
        if constexpr (bits <= 8)
            return countIndices<bits>(bm, set);
        else if constexpr (bits == 12 || bits == 16 || bits == 32)
            return bLevels ? countLevels<bits>(bm, kept, set) : countColors(bm, set);
        else
            return countColors(bm, set);
    }));
    if (nStatus == 1) *puColors = set.count();
    return nStatus;
}
