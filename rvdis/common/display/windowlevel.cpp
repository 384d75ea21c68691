// Window level of a bitmap: the bits that count, the tables that go with them, and the palette of 8 bits in their
// place.
#include "ravokit/windowlevel.h"

#include <algorithm>

#include "internal/bitmap_.h"
#include "internal/palette_.h"
#include "ravokit/extradata.h"

namespace rv {
namespace {

// ---- bits --------------------------------------------------------------------------------------------------------

struct BitWindow {
    int32_t nLow, nHigh;
    BitWindow(const BITMAPRECORD& bm, int32_t nLowBit, int32_t nHighBit) noexcept
        : nLow(std::max(nLowBit, 0)), nHigh(nHighBit < 0 ? bm.BitsPerPixel - 1 : nHighBit) {}
    int64_t count() const noexcept { return int64_t(nHigh) - nLow + 1; }
};

bool areSound(const BitWindow& bits, const void* pLUT, uint32_t uLength, int32_t nMode) noexcept {
    return bits.nLow <= bits.nHigh && (pLUT || uLength == 0) && (nMode == 0 || nMode == 1);
}

void setBits(BITMAPRECORD& bm, const BitWindow& bits, int32_t nMode) noexcept {
    bm.LowBit = bits.nLow;
    bm.HighBit = bits.nHigh;
    if (nMode == 0 || (bm.PhysicalLowBit == bits.nLow && bm.PhysicalHighBit == bits.nHigh)) return;
    bm.PhysicalLowBit = bits.nLow;
    bm.PhysicalHighBit = bits.nHigh;
    bm.MinVal = 0;
    bm.MaxVal = bits.count() < 32 ? int32_t((1u << bits.count()) - 1) : -1;
}

// ---- tables ------------------------------------------------------------------------------------------------------

// The bitmap's table with entries of that kind; there is one of words only in the current form of the record.
template <class Entry>
struct TableOf;
template <>
struct TableOf<RGBQUAD> {
    static RGBQUAD*& table(BITMAPRECORD& bm) noexcept { return bm.pLUT; }
    static uint32_t& length(BITMAPRECORD& bm) noexcept { return bm.LUTLength; }
    static bool isThere(const BITMAPRECORD&) noexcept { return true; }
};
template <>
struct TableOf<RGBQUAD64> {
    static RGBQUAD64*& table(BITMAPRECORD& bm) noexcept { return bm.pLUT16; }
    static uint32_t& length(BITMAPRECORD& bm) noexcept { return bm.LUT16Length; }
    static bool isThere(const BITMAPRECORD& bm) noexcept { return hasWideFields(bm); }
};

// Puts pNew, which may be the old table or null, in the place of the table.
template <class Entry>
void putTable(BITMAPRECORD& bm, Entry* pNew, uint32_t nEntries) noexcept {
    if (!TableOf<Entry>::isThere(bm)) return;
    if (TableOf<Entry>::table(bm) != pNew) freeBlock(TableOf<Entry>::table(bm));
    TableOf<Entry>::table(bm) = pNew;
    TableOf<Entry>::length(bm) = pNew ? nEntries : 0;
}

template <class Entry>
bool isOwn(BITMAPRECORD& bm, const Entry* pLUT) noexcept {
    return pLUT && TableOf<Entry>::isThere(bm) && TableOf<Entry>::table(bm) == pLUT;
}

// Frees both tables, but not the one that the caller gave.
template <class Entry>
void dropTables(BITMAPRECORD& bm, const Entry* pGiven) noexcept {
    if constexpr (sizeof(Entry) != sizeof(RGBQUAD)) putTable<RGBQUAD>(bm, nullptr, 0);
    if constexpr (sizeof(Entry) != sizeof(RGBQUAD64)) putTable<RGBQUAD64>(bm, nullptr, 0);
    if (!isOwn(bm, pGiven)) putTable<Entry>(bm, nullptr, 0);
}

int32_t makeOther(BITMAPRECORD& bm, const RGBQUAD*) noexcept {
    putTable<RGBQUAD64>(bm, nullptr, 0);
    return hasWideFields(bm) ? R_DuplicateLUT(&bm.pLUT, &bm.LUTLength, &bm.pLUT16, &bm.LUT16Length, 1) : 1;
}
int32_t makeOther(BITMAPRECORD& bm, const RGBQUAD64*) noexcept {  // the old block of bytes may do
    return R_DuplicateLUT(&bm.pLUT, &bm.LUTLength, &bm.pLUT16, &bm.LUT16Length, 2);
}

// The copy is made before anything is freed: the table may lie in what the bitmap has.
template <class Entry>
int32_t storeTable(BITMAPRECORD& bm, const Entry* pLUT, uint32_t uLength) noexcept {
    Entry* pNew = isOwn(bm, pLUT) ? TableOf<Entry>::table(bm) : copyBlock(pLUT, uLength);
    if (pNew) putTable(bm, pNew, uLength);
    if (pNew && makeOther(bm, pLUT) == 1) return 1;
    dropTables(bm, pLUT);
    return -1;  // Not enough memory available
}

int32_t isNonLinear(int32_t bSigned, const RGBQUAD* pLUT, uint32_t uLength) noexcept {
    return R_IsNonLinearLUT(bSigned, pLUT, uLength);
}
int32_t isNonLinear(int32_t bSigned, const RGBQUAD64* pLUT, uint32_t uLength) noexcept {
    return R_IsNonLinearLUT16(bSigned, pLUT, uLength);
}

template <class Entry>
int32_t setTable(BITMAPRECORD& bm, const Entry* pLUT, uint32_t uLength, int32_t nMode) noexcept {
    if (uLength == 0) {
        dropTables<Entry>(bm, nullptr);
    } else if (const int32_t n = storeTable(bm, pLUT, uLength); n != 1) {
        return n;
    }
    const Entry* pStored = uLength ? TableOf<Entry>::table(bm) : nullptr;
    bm.Flags &= ~uint32_t(BMF_USE_LUT | BMF_NONLINEAR_LUT);
    if (nMode == 0) return 1;
    bm.Flags |= BMF_USE_LUT;
    if (isNonLinear(bm.Flags & BMF_SIGNED, pStored, uLength)) bm.Flags |= BMF_NONLINEAR_LUT;
    return 1;
}

// ---- the palette of 8 bits ---------------------------------------------------------------------------------------

RGBQUAD paletteEntry(const RGBQUAD& q) noexcept { return q; }
RGBQUAD paletteEntry(const RGBQUAD64& q) noexcept {
    const auto rounded = [](uint16_t v) { return uint8_t(std::min((v + 127) >> 8, 255)); };
    return {rounded(q.rgbBlue), rounded(q.rgbGreen), rounded(q.rgbRed), rounded(q.rgbReserved)};
}

template <class Entry>
int32_t setPalette(BITMAPRECORD& bm, const BitWindow& bits, const Entry* pLUT, uint32_t uLength) noexcept {
    const auto nWidth = uint32_t(std::min<int64_t>(bits.count(), 8));
    const uint32_t nShift = std::min(uint32_t(bits.nHigh) - nWidth + 1, 31u), uMask = (1u << nWidth) - 1;
    RGBQUAD entries[kMostColors];  // the table may be the palette that is written
    for (uint32_t i = 0; i < kMostColors; ++i) {
        const uint32_t k = i >> nShift & uMask;
        const auto nGray = uint8_t(k);
        entries[i] = uLength == 0 ? RGBQUAD{nGray, nGray, nGray, 0} : k < uLength ? paletteEntry(pLUT[k]) : RGBQUAD{};
    }
    dropTables(bm, pLUT);
    if (!bm.pPalette || bm.nColors != kMostColors) {
        RGBQUAD* pNew = newTable();
        if (!pNew) return -1;  // Not enough memory available
        replaceTable(bm, pNew);
        bm.nColors = kMostColors;
    }
    std::copy(entries, entries + kMostColors, bm.pPalette);
    bm.Flags &= ~uint32_t(BMF_USE_LUT);
    return 1;
}

template <class Entry>
int32_t setWindow(BITMAPRECORD& bm, const BitWindow& bits, const Entry* pLUT, uint32_t uLength,
                  int32_t nMode) noexcept {
    return bm.BitsPerPixel == 8 ? setPalette(bm, bits, pLUT, uLength) : setTable(bm, pLUT, uLength, nMode);
}

// The older form of the record has no place for words: their high bytes do for it.
int32_t setWindowOfBytes(BITMAPRECORD& bm, const BitWindow& bits, const RGBQUAD64* pLUT, uint32_t uLength,
                         int32_t nMode) noexcept {
    RGBQUAD* pBytes = nullptr;
    uint32_t uBytes = 0;
    auto* pWords = const_cast<RGBQUAD64*>(pLUT);  // only read in this direction
    int32_t nStatus = R_DuplicateLUT(&pBytes, &uBytes, &pWords, &uLength, 2);
    if (nStatus == 1)
        nStatus = setWindow(bm, bits, pBytes, uLength, nMode);
    else
        dropTables(bm, pBytes);
    freeBlock(pBytes);
    return nStatus;
}

// ---- the shape of a table ----------------------------------------------------------------------------------------

// Which channels rise and which fall, step by step.
template <class Entry>
struct Slopes {
    using Sample = decltype(Entry::rgbRed);
    uint8_t rises[4] = {}, falls[4] = {};

    void walk(const Entry* pEntries, uint32_t nCount) noexcept {
        const auto* p = reinterpret_cast<const Sample*>(pEntries);
        for (uint32_t i = 1; i < nCount; ++i, p += 4)
            for (int c = 0; c < 4; ++c) {
                rises[c] |= p[c + 4] > p[c];
                falls[c] |= p[c + 4] < p[c];
            }
    }
    bool both() const noexcept {  // the fourth sample is no colour
        return (rises[0] & falls[0]) || (rises[1] & falls[1]) || (rises[2] & falls[2]);
    }
};

template <class Entry>
int32_t tellNonLinear(int32_t bSigned, const Entry* pLUT, uint32_t uLength) noexcept {
    if (!pLUT) return 0;
    const uint32_t nNegative = bSigned ? uLength / 2 : 0, nOthers = uLength - nNegative;
    Slopes<Entry> slopes;
    slopes.walk(pLUT + nOthers, nNegative);
    slopes.walk(pLUT, nOthers);
    return slopes.both();
}

// The checks that both calls open with: 1 or a status.
int32_t checkLevel(const BITMAPRECORD* pBitmap, int32_t nLowBit, int32_t nHighBit, const void* pLUT,
                   uint32_t uLUTLength, int32_t nMode) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    const BitWindow bits(*pBitmap, nLowBit, nHighBit);
    return areSound(bits, pLUT, uLUTLength, nMode) ? 1 : -13;  // Invalid parameter passed
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_WindowLevel(BITMAPRECORD* pBitmap, int32_t nLowBit, int32_t nHighBit, const RGBQUAD* pLUT,
                      uint32_t uLUTLength, int32_t nMode) noexcept {
    if (const int32_t n = checkLevel(pBitmap, nLowBit, nHighBit, pLUT, uLUTLength, nMode); n != 1) return n;
    BITMAPRECORD& bm = *pBitmap;
    const BitWindow bits(bm, nLowBit, nHighBit);
    setBits(bm, bits, nMode);
    return setWindow(bm, bits, pLUT, uLUTLength, nMode);
}

int32_t R_WindowLevelExt(BITMAPRECORD* pBitmap, int32_t nLowBit, int32_t nHighBit, const RGBQUAD64* pLUT,
                         uint32_t uLUTLength, int32_t nMode) noexcept {
    if (const int32_t n = checkLevel(pBitmap, nLowBit, nHighBit, pLUT, uLUTLength, nMode); n != 1) return n;
    BITMAPRECORD& bm = *pBitmap;
    const BitWindow bits(bm, nLowBit, nHighBit);
    if (bm.BitsPerPixel != 8 && bm.Order != ORDER_GRAY) return -13;
    setBits(bm, bits, nMode);
    return (hasWideFields(bm) ? setWindow<RGBQUAD64> : setWindowOfBytes)(bm, bits, pLUT, uLUTLength, nMode);
}

int32_t R_Dis_WindowLevelExt(BITMAPRECORD* pBitmap, int32_t nLowBit, int32_t nHighBit, const RGBQUAD64* pLUT,
                             uint32_t uLUTLength, int32_t nMode) noexcept {
    return R_WindowLevelExt(pBitmap, nLowBit, nHighBit, pLUT, uLUTLength, nMode);
}

int32_t R_IsNonLinearLUT(int32_t bSigned, const RGBQUAD* pLUT, uint32_t uLUTLength) noexcept {
    return tellNonLinear(bSigned, pLUT, uLUTLength);
}

int32_t R_IsNonLinearLUT16(int32_t bSigned, const RGBQUAD64* pLUT, uint32_t uLUTLength) noexcept {
    return tellNonLinear(bSigned, pLUT, uLUTLength);
}

}  // extern "C"
