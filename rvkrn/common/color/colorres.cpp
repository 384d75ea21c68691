// Colour resolution of one bitmap.
//
// The source is worked on through a copy of its record, so that the destination may be the very same record; that is
// put back as it was when the run fails. Rows go from the source to the destination by address where both are flat.
#include <algorithm>
#include <cstring>

#include "internal/attachments.h"
#include "internal/bgrrows.h"
#include "internal/bitmap_.h"
#include "internal/colorres_.h"
#include "internal/grayrows.h"
#include "internal/progress.h"
#include "ravokit/dither.h"
#include "ravokit/grayscale.h"

namespace rv {
namespace {

// The order of a destination above 8 bits; 1 or the status of flags that don't go with the depth.
int32_t orderOf(const Resolution& r, int32_t& nOrder) noexcept {
    switch (r.uFlags & (CRF_BYTEORDERBGR | CRF_GRAY | CRF_ROMM | CRF_565)) {
        case 0:
            nOrder = ORDER_RGB;
            return 1;
        case CRF_BYTEORDERBGR:
            nOrder = ORDER_BGR;
            return 1;
        case CRF_GRAY:
            nOrder = ORDER_GRAY;
            return r.nBits < 24 || r.nBits == 32 ? 1 : -27;
        case CRF_BYTEORDERBGR | CRF_GRAY:
            nOrder = r.nBits >= 24 ? ORDER_BGR : ORDER_GRAY;
            return 1;
        case CRF_ROMM:
            nOrder = ORDER_ROMM;
            return r.nBits == 24 || r.nBits == 48 ? 1 : -27;
        case CRF_565:
            nOrder = ORDER_BGR565;
            return 1;
        default:
            return -13;
    }
}

// The destination's record, which is put back as it was unless it is kept.
class Target {
    uint8_t m_before[sizeof(BITMAPRECORD)];
    uint32_t m_nSize;
    bool m_bKept = false;

public:
    BITMAPRECORD& record;

    Target(BITMAPRECORD& bm, uint32_t nSize) noexcept : m_nSize(nSize), record(bm) {
        std::memcpy(m_before, &bm, nSize);
        std::memset(static_cast<void*>(&bm), 0, nSize);
    }
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;
    ~Target() {
        if (m_bKept) return;
        releaseAll(record);
        R_FreeBitmap(&record);
        std::memcpy(static_cast<void*>(&record), m_before, m_nSize);
    }
    void keep() noexcept { m_bKept = true; }
};

// The callbacks' part in a copy. bReplace: the copy takes the place of the source.
class CopyState {
    BITMAPRECORD& m_src;
    bool m_bReplace, m_bOpen = false;

public:
    CopyState(BITMAPRECORD& src, bool bReplace) noexcept : m_src(src), m_bReplace(bReplace) {}
    CopyState(const CopyState&) = delete;
    CopyState& operator=(const CopyState&) = delete;
    ~CopyState() { end(); }
    int32_t begin(BITMAPRECORD& dst, uint32_t& uMemory) noexcept {
        const int32_t n = R_IntBeginCopyBitmap(&dst, &m_src, !m_bReplace, &uMemory);
        m_bOpen = n == 1;
        return n;
    }
    void end() noexcept {
        if (std::exchange(m_bOpen, false)) R_IntEndCopyBitmap(&m_src, !m_bReplace);
    }
};

struct DitherStop {
    BITMAPRECORD& bm;
    ~DitherStop() { R_StopDithering(&bm); }
};

class MatchTree {
    MatchCell* m_pRoot = nullptr;

public:
    MatchTree() = default;
    MatchTree(const MatchTree&) = delete;
    MatchTree& operator=(const MatchTree&) = delete;
    ~MatchTree() { freeMatchTable(m_pRoot); }
    const MatchCell* build(const RGBQUAD* pEntries) noexcept {
        return m_pRoot = buildMatchTable(pEntries, kMostColors);
    }
};

// One run: from the source's row to the finished row of the destination.
class RowResolver {
    BITMAPRECORD &m_src, &m_dst;
    ConvertArgs m_args;
    bool m_bDither;
    bool m_bInPlace;  // the wide gamut is entered and left in a buffer
    Buffer<uint8_t> m_work;

    void describeSource() noexcept {
        m_args.nWidth = m_src.Width;
        m_args.nBitsSrc = m_src.BitsPerPixel;
        m_args.nOrderSrc = m_src.BitsPerPixel <= 8 ? int32_t(ORDER_RGB) : m_src.Order;
        if (m_args.nOrderSrc == ORDER_GRAY) {
            m_args.uFlags = CONVERT_SRC_GRAY | CONVERT_SRC_BITRANGE;
            const KeptBits kept = physicalBits(m_src);
            if (m_src.pLUT && coversLevels(m_src.LUTLength, kept)) m_args.pPaletteSrc = m_src.pLUT;
            const RGBQUAD64* pLUT16 = R_GetLUT16(&m_src, 0);
            if (pLUT16 && coversLevels(m_src.LUT16Length, kept)) m_args.pLUT16Src = pLUT16;
        }
        if (m_src.Flags & BMF_TRANSPARENCY) m_args.uFlags |= CONVERT_TRANSPARENT;
        m_args.nLowBit = m_src.PhysicalLowBit;
        m_args.nHighBit = m_src.PhysicalHighBit;
        m_args.crTransparent = m_src.Transparency;
    }

public:
    // pPalette, the source's, and pTable, the destination's with its tree, may be null.
    RowResolver(BITMAPRECORD& src, BITMAPRECORD& dst, const RGBQUAD* pPalette, const RGBQUAD* pTable,
                const MatchCell* pTree, bool bDither) noexcept
        : m_src(src), m_dst(dst), m_bDither(bDither) {
        describeSource();
        if (pPalette) m_args.pPaletteSrc = pPalette;
        m_args.nBitsDst = dst.BitsPerPixel;
        m_args.nOrderDst = dst.Order;
        m_args.pPaletteDst = pTable;
        m_args.pMatchRoot = pTree;
        m_bInPlace = m_args.nOrderSrc == ORDER_ROMM || dst.Order == ORDER_ROMM;
        if (m_bInPlace) m_work.allocate(R_CalcConvertSize(src.Width, src.BitsPerPixel, dst.Width, dst.BitsPerPixel));
    }
    int32_t status() const noexcept { return !m_bInPlace || m_work ? 1 : -1; }

    int32_t operator()(const uint8_t* pIn, uint8_t* pOut) noexcept {
        if (m_bInPlace) {
            const size_t nBytes = size_t(rowBytes(uint32_t(m_src.Width), uint32_t(m_src.BitsPerPixel)));
            pIn = static_cast<const uint8_t*>(std::memcpy(m_work.get(), pIn, nBytes));
        }
        // The dither writes to rows of the wide gamut alone, and these are in the buffer.
        if (m_bDither) return R_DitherLine(&m_src, const_cast<uint8_t*>(pIn), pOut);
        if (!m_bInPlace) return convertRow(m_args, pOut, pIn);
        const int32_t n = convertInPlace(m_args, m_work.get());
        if (n == 1) copyPixels(m_dst.BitsPerPixel, pOut, 0, m_work.get(), 0, size_t(m_dst.Width));
        return n;
    }
};

struct RowSink {
    COLORRESCALLBACK pfn;
    void* pUserData;
};

int32_t resolveRows(BITMAPRECORD& src, BITMAPRECORD& dst, RowResolver& resolve, const RowSink& sink) noexcept {
    const bool bStore = isAllocated(&dst);
    const bool bFlat = bStore && flatRow(dst, 0);
    Buffer<uint8_t> row;
    if (!bFlat && !row.allocateCleared(dst.BytesPerLine)) return -1;
    RowReader reader(src, src.BytesPerLine);
    if (reader.status() != 1) return reader.status();
    if (resolve.status() != 1) return resolve.status();
    ProgressStepper progress(src.Height);
    if (const int32_t n = progress.start(); n != 1) return n;
    for (int32_t y = 0; y < src.Height; ++y) {
        const uint8_t* pIn = reader.read(y);
        if (!pIn) return reader.status();
        uint8_t* const pOut = bFlat ? flatRow(dst, y) : row.get();
        if (const int32_t n = resolve(pIn, pOut); n != 1) return n;
        if (sink.pfn)
            if (const int32_t n = sink.pfn(&dst, pOut, y, 1, sink.pUserData); n != 1) return n;
        if (bStore && !bFlat)
            if (const int32_t n = R_PutBitmapRow(&dst, pOut, y, dst.BytesPerLine); n != int32_t(dst.BytesPerLine))
                return n < 0 ? n : -1;
        if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

// Geometry and belongings of the destination, but for its storage.
int32_t initTarget(BITMAPRECORD& dst, uint32_t uStructSize, const BITMAPRECORD& src, const Resolution& r,
                   int32_t nOrder, const ChosenPalette& palette) noexcept {
    if (const int32_t n = R_InitBitmap(&dst, uStructSize, src.Width, src.Height, r.nBits); n != 1) return n;
    dst.ViewPerspective = src.ViewPerspective;
    dst.XResolution = src.XResolution;
    dst.YResolution = src.YResolution;
    dst.Flags |= src.Flags & (BMF_RGN_NOCLIP | BMF_PREMULTIPLIED | BMF_NONLINEAR_LUT);
    dst.nColors = r.uColors;
    if (src.pRgnInfo)
        if (const int32_t n = attachments().copyRegion(dst, src); n != 1) return n;
    if (r.isPaletted()) return R_SetBitmapNewPalette(&dst, palette.entries, palette.nColors);
    dst.Order = nOrder;
    return nOrder == ORDER_GRAY ? R_InitGrayParams(&dst) : 1;
}

int32_t startDither(BITMAPRECORD& src, const Resolution& r, const ChosenPalette& palette) noexcept {
    const int32_t nMethod = src.DitheringMethod;
    src.DitheringMethod = int32_t(r.uFlags >> CRF_DITHERING_SHIFT & 0xFF);
    const int32_t n = R_StartDitheringExt(&src, palette.entries, palette.nColors, r.nBits, palette.pMatchTable);
    src.DitheringMethod = nMethod;
    return n;
}

// Fills the initialised and allocated destination.
int32_t fillTarget(BITMAPRECORD& src, BITMAPRECORD& dst, const Resolution& r, const ChosenPalette& palette,
                   const RowSink& sink) noexcept {
    const bool bDither = r.isPaletted() && palette.bDither;
    const DitherStop stop{src};
    if (bDither)
        if (const int32_t n = startDither(src, r, palette); n != 1) return n;
    BitmapLock lockSrc(src);
    if (lockSrc.status() != 1) return lockSrc.status();
    BitmapLock lockDst(dst);
    if (lockDst.status() != 1) return lockDst.status();
    R_CopyPlaybackParms(&dst, &src);

    RGBQUAD entries[kMostColors];
    const bool bTable = src.BitsPerPixel <= 8;
    if (bTable) std::copy_n(PaletteOf(src).entries, kMostColors, entries);
    MatchTree tree;
    const MatchCell* pTree = nullptr;
    if (r.isPaletted() && !bDither && !(pTree = tree.build(palette.entries))) return -1;
    RowResolver resolve(src, dst, bTable ? entries : nullptr, r.isPaletted() ? palette.entries : nullptr, pTree,
                        bDither);
    return lockSrc.release(lockDst.release(resolveRows(src, dst, resolve, sink)));
}

// The source's place is taken: what travels on goes to the destination, the rest is freed. Cannot fail.
void takePlace(BITMAPRECORD& dst, BITMAPRECORD& src) noexcept {
    dst.pOverlays = std::exchange(src.pOverlays, nullptr);
    dst.pExtraData = std::exchange(src.pExtraData, nullptr);
    dst.ExtraDataSize = std::exchange(src.ExtraDataSize, 0);
    dst.nCarriedTag = src.nCarriedTag;
    releaseAll(src);
    R_FreeBitmap(&src);
}

int32_t run(BITMAPRECORD& bm, BITMAPRECORD* pDst, uint32_t uStructSize, const Resolution& r, int32_t nOrder,
            const RowSink& sink) noexcept {
    const bool bInPlace = pDst == &bm;
    BITMAPRECORD src;
    R_CopyBitmapHandle(&src, &bm, bm.uStructSize);
    void* const pDitherBefore = std::exchange(src.pDitherData, nullptr);  // a run of the caller's own
    ChosenPalette palette;
    if (r.isPaletted())
        if (const int32_t n = choosePalette(palette, src, r); n != 1) return n;

    BITMAPRECORD standIn{};
    Target target(pDst ? *pDst : standIn, pDst ? uStructSize : uint32_t(sizeof standIn));
    BITMAPRECORD& dst = target.record;
    CopyState copy(src, bInPlace);
    if (const int32_t n = initTarget(dst, pDst ? uStructSize : uint32_t(sizeof standIn), src, r, nOrder, palette);
        n != 1)
        return n;
    uint32_t uMemory = src.Flags & BMF_DISK ? BMMEM_DISK : BMMEM_CONVENTIONAL;
    if (const int32_t n = copy.begin(dst, uMemory); n != 1) return n;
    if (pDst)
        if (const int32_t n = allocateBitmap(dst, uMemory, dst.pPalette); n != 1) return n;
    if (const int32_t n = fillTarget(src, dst, r, palette, sink); n != 1) return n;
    copy.end();
    if (!pDst) return 1;
    if (dst.Order == ORDER_GRAY)
        if (const int32_t n = refreshGrayRange(dst); n != 1) return n;
    if (const int32_t n = bInPlace ? copyLockCount(dst, src) : R_CopyBitmapExtraData(&dst, &src, 0); n != 1) return n;
    if (bInPlace) {
        src.pDitherData = pDitherBefore;  // of rows that are gone
        R_StopDithering(&src);
        takePlace(dst, src);
    }
    target.keep();
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t R_ColorResBitmap(BITMAPRECORD* pBitmapSrc, BITMAPRECORD* pBitmapDst, uint32_t uStructSize,
                                    int32_t nBitsPerPixel, uint32_t uFlags, RGBQUAD* pPalette, HPALETTE hPalette,
                                    uint32_t uColors, COLORRESCALLBACK pfnCallback, void* pUserData) noexcept {
    if (!isAllocated(pBitmapSrc)) return -13;                      // Invalid parameter passed
    if (!isKnownRecordSize(pBitmapSrc->uStructSize)) return -789;  // The structure size is invalid
    if (pBitmapDst && !isKnownRecordSize(uStructSize)) return -789;
    if (pPalette && hPalette) return -13;
    Resolution r{nBitsPerPixel, uFlags, pPalette, hPalette, uColors};
    if (const int32_t n = settle(r); n != 1) return n;
    int32_t nOrder = ORDER_RGB;
    if (!r.isPaletted())
        if (const int32_t n = orderOf(r, nOrder); n != 1) return n;
    return run(*pBitmapSrc, pBitmapDst, uStructSize, r, nOrder, {pfnCallback, pUserData});
}
