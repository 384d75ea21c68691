// Counting the distinct colours of a bitmap. A set with a bit for each possible colour tells which have been seen; the
// test of a colour that was seen writes nothing, so that a row of a photo is a run of independent reads, group by
// group.
#include <algorithm>

#include "internal/attachments.h"
#include "internal/bgrrows.h"
#include "internal/progress.h"
#include "internal/rowblocks.h"
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

    const uint32_t* seen() const noexcept { return m_seen.get(); }

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

// The bit of a 24-bit colour. The low three bits of each channel make up a cache line: what is near in colour is near
// in memory, so that the noise of a photo stays in a few lines. The top byte is of no account.
constexpr uint32_t colorBit(uint32_t v) noexcept {
    return (v & 0x7) | (v >> 5 & 0x38) | (v >> 10 & 0x1C0) | (v << 6 & 0x3E00) | (v << 3 & 0x7C000) | (v & 0xF80000);
}

constexpr size_t kGroup = 32;  // pixels that are looked up at once

// How many of n pixels, in whole groups, have been seen for sure before the first group with a new colour.
using SeenRun = size_t (*)(const uint32_t* pSeen, const uint8_t* p, size_t n) noexcept;

size_t seenRunNone(const uint32_t*, const uint8_t*, size_t) noexcept { return 0; }

#ifdef RV_X86
RV_AVX2_INLINE __m256i part(__m256i v, int32_t uMask) noexcept { return _mm256_and_si256(v, _mm256_set1_epi32(uMask)); }

RV_AVX2 size_t seenRunAvx2(const uint32_t* pSeen, const uint8_t* p, size_t n) noexcept {
    alignas(32) uint32_t bits[kGroup];
    size_t nSeen = 0;
    for (; n - nSeen >= kGroup; nSeen += kGroup) {
        __m256i pixels[4];
        avx2::load24<false>(p + nSeen * 3, pixels);
        for (size_t k = 0; k < 4; ++k) {
            const __m256i v = pixels[k];
            const __m256i low = _mm256_or_si256(_mm256_or_si256(part(v, 0x7), part(_mm256_srli_epi32(v, 5), 0x38)),
                                                part(_mm256_srli_epi32(v, 10), 0x1C0));
            const __m256i high = _mm256_or_si256(
                _mm256_or_si256(part(_mm256_slli_epi32(v, 6), 0x3E00), part(_mm256_slli_epi32(v, 3), 0x7C000)),
                part(v, 0xF80000));
            _mm256_store_si256(reinterpret_cast<__m256i*>(bits + k * 8), _mm256_or_si256(low, high));
        }
        uint32_t uAll = 1;
        for (const uint32_t nBit : bits) uAll &= pSeen[nBit >> 5] >> (nBit & 31);
        if (!uAll) break;
    }
    return nSeen;
}
SeenRun bestSeenRun() noexcept { return cpuHasAvx2() ? seenRunAvx2 : seenRunNone; }
#else
SeenRun bestSeenRun() noexcept { return seenRunNone; }
#endif

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
    BgrRows rows(bm, true);
    const SeenRun seenRun = bestSeenRun();
    return walkRows(bm, rows, [&](const uint8_t* pRow, size_t x, size_t xEnd) {
        const uint8_t* p = pRow + x * 3;
        bool bRoom = true;
        for (size_t n = xEnd - x; n && bRoom;) {
            const size_t nSeen = seenRun(set.seen(), p, n), nTested = std::min(kGroup, n - nSeen);
            forEachBgr(p + nSeen * 3, nTested, [&](uint32_t v) {
                bRoom = bRoom && set.add(colorBit(v), [&](uint32_t) {
                    return RGBQUAD{uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), 0};
                });
            });
            p += (nSeen + nTested) * 3;
            n -= nSeen + nTested;
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
