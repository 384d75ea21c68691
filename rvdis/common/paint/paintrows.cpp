// Rows of painting that are converted: stored rows to the depth and order that go out.
//
// What a row needs is settled once for a paint, as an object of one of a few classes: formats that the row converter
// knows, gray that becomes bytes, gray that stays deep.
#include <algorithm>
#include <cstring>

#include "internal/bgrrows.h"
#include "internal/paint_.h"
#include "internal/paintgray.h"
#include "internal/resizerows_.h"
#include "ravokit/grayscale.h"

namespace rv {
namespace {

constexpr size_t kBlock = 512;  // pixels of a row that passes through a buffer; even, for samples of 12 bits

// n bytes through a table. The rows may be the same.
void mapThrough(const uint8_t* pTable, const uint8_t* pSrc, uint8_t* pDst, size_t n) noexcept {
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const uint8_t a = pTable[pSrc[i]], b = pTable[pSrc[i + 1]], c = pTable[pSrc[i + 2]], d = pTable[pSrc[i + 3]];
        pDst[i] = a, pDst[i + 1] = b, pDst[i + 2] = c, pDst[i + 3] = d;
    }
    for (; i < n; ++i) pDst[i] = pTable[pSrc[i]];
}

class Converter : public PaintRenderer {
    const int32_t m_nBits;
    const PaintTable m_table;

public:
    Converter(int32_t nBits, PaintTable table) noexcept : m_nBits(nBits), m_table(table) {}
    int32_t bits() const noexcept override { return m_nBits; }
    PaintTable table() const noexcept override { return m_table; }
    bool isPure() const noexcept override { return true; }
};

// ---- formats that the row converter knows ------------------------------------------------------------------------

class PlainRows : public Converter {
protected:
    ConvertArgs m_args;

private:
    const uint8_t* const m_pPaint;  // the paint table, for colours of 8 bits
    const bool m_bRomm, m_bKeeps;

    void paint(const uint8_t* pSource, uint8_t* pDest, size_t n) const noexcept {
        if (m_args.nBitsDst == 24) return mapThrough(m_pPaint, pSource, pDest, n * 3);
        for (size_t i = 0; i < n; ++i, pSource += 4, pDest += 4) {
            for (int c = 0; c < 3; ++c) pDest[c] = m_pPaint[pSource[c]];
            pDest[3] = pSource[3];
        }
    }

    void renderPart(const uint8_t* pSource, uint8_t* pDest, size_t n) noexcept {
        if (m_bKeeps && m_pPaint) return paint(pSource, pDest, n);
        m_args.nWidth = int32_t(n);
        convertRow(m_args, pDest, pSource);
        if (m_pPaint) paint(pDest, pDest, n);  // it is in the cache
    }

public:
    PlainRows(const ConvertArgs& args, PaintTable table, const uint8_t* pPaint, bool bRomm = false) noexcept
        : Converter(args.nBitsDst, table),
          m_args(args),
          m_pPaint(pPaint),
          m_bRomm(bRomm),
          m_bKeeps(args.nBitsSrc == args.nBitsDst && args.nOrderSrc == args.nOrderDst) {}

    void render(const uint8_t* pSource, uint8_t* pDest, size_t n, int32_t) noexcept override {
        if (!m_bRomm) return renderPart(pSource, pDest, n);
        // The way out of the wide gamut goes in place, and the source is not ours.
        const auto nBytes = size_t(m_args.nBitsSrc / 8);
        uint8_t part[kBlock * 6];
        for (size_t x = 0; x < n; x += kBlock, pSource += kBlock * nBytes, pDest += kBlock * size_t(bits() / 8)) {
            const size_t nNow = std::min(n - x, kBlock);
            std::memcpy(part, pSource, nNow * nBytes);
            R_ConvertBuffer(part, int32_t(nNow), m_args.nBitsSrc, m_args.nBitsSrc, ORDER_ROMM, ORDER_BGR, nullptr,
                            nullptr);
            renderPart(part, pDest, nNow);
        }
    }
};

// The same with a table of its own.
class TableRows final : public PlainRows {
    Buffer<RGBQUAD> m_entries;

public:
    TableRows(const ConvertArgs& args, const uint8_t* pPaint) noexcept : PlainRows(args, PaintTable::none, pPaint) {}
    // The table, still black; null for no memory.
    RGBQUAD* start(uint32_t nEntries) noexcept {
        m_entries.allocateCleared(nEntries);
        m_args.pPaletteSrc = m_entries.get();
        return m_entries.get();
    }
};

// ---- gray to bytes -----------------------------------------------------------------------------------------------

class GrayRows final : public Converter {
    GrayBytes m_bytes;

public:
    GrayRows() noexcept : Converter(8, PaintTable::grayRamp) {}
    bool start(const BITMAPRECORD& format, const RGBQUAD* pLUT, KeptBits place) noexcept {
        return m_bytes.start(format, pLUT, place);
    }
    void render(const uint8_t* pSource, uint8_t* pDest, size_t n, int32_t) noexcept override {
        m_bytes.row(pSource, pDest, n);
    }
};

// Samples of 32 bits, stretched from their smallest to their largest value. Bounds that make no range of signed numbers
// are unsigned ones.
class Gray32Rows final : public Converter {
    int64_t m_nMin, m_nMax;
    const KeptBits m_place;

public:
    Gray32Rows(const BITMAPRECORD& format, KeptBits place) noexcept
        : Converter(8, PaintTable::grayRamp), m_nMin(format.MinVal), m_nMax(format.MaxVal), m_place(place) {
        if (m_nMin <= m_nMax && m_nMax >= 0) return;
        m_nMin = uint32_t(format.MinVal);
        m_nMax = uint32_t(format.MaxVal);
    }
    void render(const uint8_t* pSource, uint8_t* pDest, size_t n, int32_t) noexcept override {
        R_Gray32To8(uint32_t(n), pSource, pDest, UINT32_MAX, 0, m_nMin, m_nMax);
        for (size_t i = 0; m_place.nBits < 8 && i < n; ++i) pDest[i] = placedGray(pDest[i], m_place);
    }
};

// ---- gray that stays deep ----------------------------------------------------------------------------------------

// Through the formats of the resize engine, so that a picture that keeps its size has the bytes of one that doesn't.
class DeepGrayRows final : public Converter {
    ResizeFormats m_formats;

    const uint8_t* step(ConvertArgs args, const uint8_t* pSource, uint8_t* pDest, size_t n) const noexcept {
        args.nWidth = int32_t(n);
        convertRow(args, pDest, pSource);
        return pDest;
    }

public:
    explicit DeepGrayRows(int32_t nBits) noexcept : Converter(nBits, PaintTable::none) {}

    int32_t start(const BITMAPRECORD& format, const PaintWish& wish, bool bTable) noexcept {
        ResizeOutput output{bits(), nullptr, 0, RSR_OUT_GRAY, {wish.nLowBit, wish.nHighBit}};
        output.uFlags |= bTable ? RSR_LUT_AFTER : RSR_NO_LUT;
        if (wish.uInfoFlags & SINKINFO_GRAY_RANGE) output.uFlags |= RSR_GRAY_RANGE;
        return chooseFormats(format, output, false, m_formats);
    }

    void render(const uint8_t* pSource, uint8_t* pDest, size_t n, int32_t) noexcept override {
        const ResizeFormats& f = m_formats;
        uint8_t work[kBlock * 2], colors[kBlock * 2];
        for (size_t x = 0; x < n; x += kBlock) {
            const size_t nNow = std::min(n - x, kBlock);
            const uint8_t* p = pSource + packedBytes(x, uint32_t(f.nSrcBits));
            uint8_t* const pOut = pDest + packedBytes(x, uint32_t(bits()));
            if (f.step != FetchStep::keep) p = step(f.fetch, p, work, nNow);
            if (f.lut.nBitsSrc) p = step(f.lut, p, colors, nNow);
            step(f.out, p, pOut, nNow);
        }
    }
};

// ---- the choice --------------------------------------------------------------------------------------------------

constexpr int32_t kInvalidBits = -27;  // Invalid bits per pixel

int32_t handOver(PaintRenderer* p, std::unique_ptr<PaintRenderer>& pRenderer) noexcept {
    pRenderer.reset(p);
    return p ? 1 : -1;  // Not enough memory available
}

bool isGray(const BITMAPRECORD& format) noexcept { return format.BitsPerPixel > 8 && format.Order == ORDER_GRAY; }
bool asksRange(const PaintWish& wish) noexcept { return wish.bAsked && wish.uInfoFlags & SINKINFO_GRAY_RANGE; }
uint32_t infoFlags(const PaintWish& wish) noexcept { return wish.bAsked ? wish.uInfoFlags : 0; }

// Rows with a table of their own, which is still black. Null for no memory.
RGBQUAD* makeTable(const BITMAPRECORD& format, const ConvertArgs& args, uint32_t nEntries,
                   std::unique_ptr<PaintRenderer>& p) noexcept {
    auto* const pRows = new (std::nothrow) TableRows(args, paintTable(format));
    p.reset(pRows);
    return pRows ? pRows->start(nEntries) : nullptr;
}

// Indices keep their number, in the next depth that bands have.
int32_t makeIndices(const BITMAPRECORD& format, const PaintWish& wish, std::unique_ptr<PaintRenderer>& p) noexcept {
    const int32_t nBits = format.BitsPerPixel, nLeast = nBits == 1 ? 1 : nBits <= 4 ? 4 : 8;
    ConvertArgs args;
    args.nBitsSrc = nBits;
    args.nBitsDst = wish.bAsked ? wish.nDeviceBits : nLeast;
    if (args.nBitsDst == 24) {
        args.nOrderDst = colorOrder(wish);
        RGBQUAD* const pEntries = makeTable(format, args, kMostColors, p);
        if (pEntries) std::copy_n(PaletteOf(format).entries, kMostColors, pEntries);
        return pEntries ? 1 : -1;
    }
    const int32_t n = args.nBitsDst;
    if (n < nBits || (n != 1 && n != 4 && n != 8)) return kInvalidBits;
    args.pPaletteSrc = args.pPaletteDst = R_IntGetFixedPalette(8);  // the same on both sides, whatever it is
    return handOver(new (std::nothrow) PlainRows(args, PaintTable::picture, nullptr), p);
}

// Levels as colours: those of a table, black past its end, or grays.
int32_t makeGrayColors(const BITMAPRECORD& format, const PaintWish& wish, const RGBQUAD* pTable, uint32_t nLength,
                       std::unique_ptr<PaintRenderer>& p) noexcept {
    const KeptBits levels = paintLevels(format, true);
    ConvertArgs args;
    args.nBitsSrc = format.BitsPerPixel;
    args.nBitsDst = 24;
    args.nOrderSrc = ORDER_GRAY;
    args.nOrderDst = colorOrder(wish);
    args.uFlags = CONVERT_SRC_BITRANGE;
    args.nLowBit = int32_t(levels.nShift);
    args.nHighBit = int32_t(levels.nShift + levels.nBits) - 1;

    const uint32_t nCount = levels.mask() + 1;
    RGBQUAD* const pEntries = makeTable(format, args, nCount, p);
    if (!pEntries) return -1;
    if (pTable) std::copy_n(pTable, std::min(nLength, nCount), pEntries);
    for (uint32_t k = 0; !pTable && k < nCount; ++k) {
        const auto v = uint8_t(levels.nBits < 8 ? k * 255 / levels.mask() : k >> (levels.nBits - 8));
        pEntries[k] = {v, v, v, 0};
    }
    return 1;
}

int32_t makeGray(const BITMAPRECORD& format, const PaintWish& wish, std::unique_ptr<PaintRenderer>& p) noexcept {
    const int32_t nBits = format.BitsPerPixel, nWanted = wish.bAsked ? wish.nDeviceBits : 8;
    const RGBQUAD* const pLUT = paintLUT(format, infoFlags(wish));
    KeptBits place{8, 0};
    if (asksRange(wish)) place = placeOfGrayBytes({wish.nLowBit, wish.nHighBit});

    if (nBits == 32) {
        if (nWanted != 8) return kInvalidBits;
        return handOver(new (std::nothrow) Gray32Rows(format, place), p);
    }
    if (nWanted == 8) {
        auto* const pRows = new (std::nothrow) GrayRows;
        p.reset(pRows);
        return pRows && pRows->start(format, pLUT, place) ? 1 : -1;
    }
    if (nWanted == 24) return makeGrayColors(format, wish, pLUT, format.LUTLength, p);
    if (nWanted != 12 && nWanted != 16) return kInvalidBits;
    if (nWanted == nBits && !pLUT && !asksRange(wish)) {
        ConvertArgs args;
        args.nBitsSrc = args.nBitsDst = nBits;
        args.nOrderSrc = args.nOrderDst = ORDER_GRAY;
        return handOver(new (std::nothrow) PlainRows(args, PaintTable::none, nullptr), p);
    }
    auto* const pRows = new (std::nothrow) DeepGrayRows(nWanted);
    p.reset(pRows);
    return pRows ? pRows->start(format, wish, pLUT) : -1;
}

// Depths that colour of a depth can go out in.
bool canGoOut(int32_t nBits, int32_t nWanted) noexcept {
    return nWanted == 24 || (nWanted == nBits && nBits != 12) || (nWanted == 32 && nBits == 64);
}

int32_t makeColors(const BITMAPRECORD& format, const PaintWish& wish, std::unique_ptr<PaintRenderer>& p) noexcept {
    const int32_t nBits = format.BitsPerPixel;
    const int32_t nUsual = wish.bAlpha && (nBits == 32 || nBits == 64) ? 32 : 24;
    ConvertArgs args;
    args.nBitsSrc = nBits;
    args.nBitsDst = wish.bAsked ? wish.nDeviceBits : nUsual;
    if (!canGoOut(nBits, args.nBitsDst)) return kInvalidBits;
    if (nBits == 12) {
        const RGBQUAD* const pLUT = paintLUT(format, infoFlags(wish));
        return makeGrayColors(format, wish, pLUT ? pLUT : format.pPalette, pLUT ? format.LUTLength : format.nColors, p);
    }
    const bool bKeeps = format.Order == ORDER_RGB || (nBits == 16 && format.Order == ORDER_BGR565);
    args.nOrderSrc = bKeeps ? format.Order : int32_t(ORDER_BGR);
    const bool bStored = args.nBitsDst == 16 || (args.nBitsDst >= 48 && infoFlags(wish) & SINKINFO_AS_STORED);
    const bool bSwapped = !wish.bAsked && nBits >= 24 && wish.uMode & DM_RGB_SWAP;
    args.nOrderDst = bStored || bSwapped ? args.nOrderSrc : colorOrder(wish);
    const bool bRomm = format.Order == ORDER_ROMM && (nBits == 24 || nBits == 48) && !bStored;
    const bool bPaint = args.nBitsDst == 24 || args.nBitsDst == 32;
    return handOver(new (std::nothrow) PlainRows(args, PaintTable::none, bPaint ? paintTable(format) : nullptr, bRomm),
                    p);
}

}  // namespace

int32_t makeRowConverter(const BITMAPRECORD& format, const PaintWish& wish,
                         std::unique_ptr<PaintRenderer>& pRenderer) noexcept {
    const auto make = format.BitsPerPixel <= 8 ? makeIndices : isGray(format) ? makeGray : makeColors;
    const int32_t nStatus = make(format, wish, pRenderer);
    if (nStatus != 1) pRenderer.reset();
    return nStatus;
}

}  // namespace rv
