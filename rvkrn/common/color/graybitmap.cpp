// Turning a bitmap into a grey one. Rows go from the old storage to the new one, by address where both are flat,
// through a list of steps that is settled once.
#include <algorithm>
#include <utility>

#include "internal/bgrrows.h"
#include "internal/bitmap_.h"
#include "internal/grayrows.h"
#include "internal/progress.h"
#include "ravokit/copy.h"

namespace rv {
namespace {

bool isGrayDepth(int32_t nBits) noexcept { return nBits == 8 || nBits == 12 || nBits == 16 || nBits == 32; }

bool isDeepGray(const BITMAPRECORD& bm) noexcept { return bm.Order == ORDER_GRAY && bm.BitsPerPixel > 8; }

bool hasWholeRange(const BITMAPRECORD& bm) noexcept {
    return bm.PhysicalLowBit <= 0 && (bm.PhysicalHighBit < 0 || bm.PhysicalHighBit == bm.BitsPerPixel - 1);
}

// The greys of palette indices; a grey bitmap without a palette has a ramp.
void greysOf(const BITMAPRECORD& bm, uint8_t* pGreys) noexcept {
    const PaletteOf palette(bm);
    const uint32_t nColors = 1u << bm.BitsPerPixel;
    const bool bRamp = bm.Order == ORDER_GRAY && !bm.pPalette;
    for (uint32_t i = 0; i < nColors; ++i) {
        const RGBQUAD& q = palette.entries[i];
        pGreys[i] = uint8_t(bRamp ? i * 255 / (nColors - 1) : grayOf(q.rgbBlue, q.rgbGreen, q.rgbRed));
    }
}

// From a row of the source to the grey row.
class GrayRows {
    RowPlan m_plan;
    RowWork m_work;
    const int32_t m_nBitsSrc, m_nBitsDst;
    const size_t m_nWidth;
    void (*m_pfnStretch)(uint32_t, const uint8_t*, uint8_t*, uint32_t, int32_t, int64_t, int64_t) noexcept = nullptr;
    int64_t m_nMin = 0, m_nMax = 0;

    void planConverter(ConvertArgs args) noexcept { m_plan = planConversion(args, m_work, ConvertLoops::best); }

    void planIndices(const BITMAPRECORD& bm) noexcept {
        greysOf(bm, m_work.table);
        if (m_nBitsSrc == 8 && m_nBitsDst == 8) {
            m_plan.bWhole = true;
            return m_plan.add(mapBytes);
        }
        if (m_nBitsDst == 8 && addTableKernel(m_plan, m_work, m_nBitsSrc, 8)) return;
        m_plan.add(levelReader(m_nBitsSrc));
        m_plan.add(levelToTable);
        addFullGray();
    }

    // Grey of 8 bits to the full scale of the destination.
    void addFullGray() noexcept {
        m_work.target = {uint32_t(m_nBitsDst), 0};
        m_plan.add(placeGray);
        m_plan.add(levelWriter(m_nBitsDst));
    }

    // The converter keeps but the top eight bits of deeper grey from colour of 16 and 32 bits: here it fills the
    // sample.
    void planColor(ConvertArgs args) noexcept {
        args.nOrderDst = m_nBitsDst == 8 ? int32_t(ORDER_RGB) : int32_t(ORDER_GRAY);
        args.uFlags = m_nBitsDst == 8 ? 0 : CONVERT_DST_GRAY;
        if (m_nBitsDst == 8) args.nBitsDst = 0;
        if (m_nBitsDst == 8 || (m_nBitsSrc != 16 && m_nBitsSrc != 32)) return planConverter(args);
        m_plan.add(colorReader(m_nBitsSrc, args.nOrderSrc));
        m_plan.add(colorToGray);
        addFullGray();
    }

    void planLevels(const BITMAPRECORD& bm, ConvertArgs args) noexcept {
        const KeptBits kept = physicalBits(bm);
        args.nOrderDst = ORDER_GRAY;
        args.uFlags = CONVERT_SRC_GRAY | CONVERT_DST_GRAY | CONVERT_SRC_BITRANGE;
        args.nLowBit = bm.PhysicalLowBit;
        args.nHighBit = bm.PhysicalHighBit;
        if (m_nBitsSrc != 32) {
            const RGBQUAD64* pLUT16 = R_GetLUT16(&bm, 0);
            if (pLUT16 && coversLevels(bm.LUT16Length, kept))
                args.pLUT16Src = pLUT16;
            else if (bm.pLUT && coversLevels(bm.LUTLength, kept))
                args.pPaletteSrc = bm.pLUT;
        } else if (m_nBitsDst != 32) {
            m_work.source = kept;
            m_pfnStretch = m_nBitsDst == 8 ? R_Gray32To8 : m_nBitsDst == 12 ? gray32To12 : R_Gray32To16;
            return;
        }
        planConverter(args);
    }

public:
    GrayRows(const BITMAPRECORD& bm, int32_t nBitsDst) noexcept
        : m_nBitsSrc(bm.BitsPerPixel), m_nBitsDst(nBitsDst), m_nWidth(size_t(bm.Width)) {
        ConvertArgs args;
        args.nWidth = bm.Width;
        args.nBitsSrc = m_nBitsSrc;
        args.nBitsDst = nBitsDst;
        args.nOrderSrc = bm.Order;
        if (m_nBitsSrc <= 8)
            planIndices(bm);
        else if (isDeepGray(bm))
            planLevels(bm, args);
        else
            planColor(args);
    }
    GrayRows(const GrayRows&) = delete;
    GrayRows& operator=(const GrayRows&) = delete;

    // What has to be known of the picture before its first row; 1 or a status.
    int32_t start(BITMAPRECORD& bm) noexcept { return m_pfnStretch ? R_IntGetMinMaxValGray(&bm, &m_nMin, &m_nMax) : 1; }

    void operator()(const uint8_t* pSrc, uint8_t* pDst) noexcept {
        if (m_pfnStretch)
            m_pfnStretch(uint32_t(m_nWidth), pSrc, pDst, m_work.source.mask(), int32_t(m_work.source.nShift), m_nMin,
                         m_nMax);
        else
            runPlan(m_plan, m_work, m_nWidth, m_nBitsSrc, m_nBitsDst, pDst, pSrc);
    }
};

int32_t grayRows(BITMAPRECORD& dst, BITMAPRECORD& src) noexcept {
    RowReader from(src, src.BytesPerLine);
    RowEditor to(dst);
    if (from.status() != 1 || to.status() != 1) return -1;
    GrayRows convert(src, dst.BitsPerPixel);
    if (const int32_t n = convert.start(src); n != 1) return n;
    ProgressStepper progress(src.Height);
    if (const int32_t n = progress.start(); n != 1) return n;
    for (int32_t y = 0; y < src.Height; ++y) {
        const uint8_t* pRow = from.read(y);
        if (!pRow) return from.status();
        convert(pRow, to.place(y));
        if (const int32_t n = to.write(y); n != 1) return n;
        if (const int32_t n = progress.step(); n != 1) return n;
    }
    return 1;
}

// The grey bitmap's record.
int32_t initTarget(BITMAPRECORD& dst, const BITMAPRECORD& src, int32_t nBits) noexcept {
    if (const int32_t n = R_InitBitmap(&dst, src.uStructSize, src.Width, src.Height, nBits); n != 1) return n;
    dst.ViewPerspective = src.ViewPerspective;
    dst.XResolution = src.XResolution;
    dst.YResolution = src.YResolution;
    dst.Flags |= src.Flags & (BMF_RGN_NOCLIP | BMF_PREMULTIPLIED);
    R_CopyPlaybackParms(&dst, &src);
    if (nBits == 8) return R_CreateBitmapGrayPalette(&dst);
    dst.Order = ORDER_GRAY;
    return R_InitGrayParams(&dst);
}

int32_t fillTarget(BITMAPRECORD& dst, BITMAPRECORD& src) noexcept {
    BitmapLock lockSrc(src);
    if (lockSrc.status() != 1) return lockSrc.status();
    BitmapLock lockDst(dst);
    if (lockDst.status() != 1) return lockDst.status();
    if (const int32_t n = lockDst.release(grayRows(dst, src)); n != 1) return n;
    return lockSrc.release(1);
}

// The bitmap's place is taken: what travels on goes to the new one. Cannot fail.
void takePlace(BITMAPRECORD& bm, BitmapOwner& fresh) noexcept {
    fresh.record.pRgnInfo = std::exchange(bm.pRgnInfo, nullptr);
    fresh.record.pOverlays = std::exchange(bm.pOverlays, nullptr);
    fresh.record.pExtraData = std::exchange(bm.pExtraData, nullptr);
    fresh.record.ExtraDataSize = std::exchange(bm.ExtraDataSize, 0);
    fresh.record.nCarriedTag = bm.nCarriedTag;
    replaceBitmap(bm, fresh.record, false);
    fresh.record = {};
}

int32_t replaceByGray(BITMAPRECORD& bm, int32_t nBits) noexcept {
    BitmapOwner fresh;
    if (const int32_t n = initTarget(fresh.record, bm, nBits); n != 1) return n;
    uint32_t uMemory = bm.Flags & BMF_DISK ? BMMEM_DISK : BMMEM_CONVENTIONAL;
    if (const int32_t n = R_IntBeginCopyBitmap(&fresh.record, &bm, 0, &uMemory); n != 1) return n;
    int32_t nStatus = allocateBitmap(fresh.record, uMemory, fresh.record.pPalette);
    if (nStatus == 1) nStatus = fillTarget(fresh.record, bm);
    if (nStatus == 1) nStatus = refreshGrayRange(fresh.record);
    if (nStatus == 1) nStatus = copyLockCount(fresh.record, bm);
    if (nStatus != 1) {
        releaseAll(fresh.record);
        R_IntEndCopyBitmap(&bm, 0);
        return nStatus;
    }
    takePlace(bm, fresh);
    return 1;
}

// The least depth of a grey bitmap that has that many bits.
constexpr int32_t depthFor(uint32_t nBits) noexcept {
    return nBits <= 8 ? 8 : nBits <= 12 ? 12 : nBits <= 16 ? 16 : 32;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_GrayScaleBitmap(BITMAPRECORD* pBitmap, int32_t nBitsPerPixel) noexcept {
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!R_IsBitmapLUTLengthValid(pBitmap)) return -1486;       // Invalid LUT length
    if (!isGrayDepth(nBitsPerPixel)) return -27;                // Invalid bits per pixel
    BITMAPRECORD& bm = *pBitmap;
    if (bm.Order == ORDER_GRAY && bm.BitsPerPixel == nBitsPerPixel && !R_HasLUT(&bm) && hasWholeRange(bm))
        return tellNothingToDo();
    return replaceByGray(bm, nBitsPerPixel);
}

int32_t R_CreateGrayScaleBitmap(BITMAPRECORD* pBitmapDst, BITMAPRECORD* pBitmapSrc, int32_t nHighBit) noexcept {
    if (!pBitmapDst || !isAllocated(pBitmapSrc)) return -2;        // Invalid image
    if (!isKnownRecordSize(pBitmapSrc->uStructSize)) return -789;  // The structure size is invalid
    if (nHighBit > 31) return -13;                                 // Invalid parameter passed
    const uint32_t nRange = isDeepGray(*pBitmapSrc) ? physicalBits(*pBitmapSrc).nBits : 8;
    const uint32_t nSize =
        isKnownRecordSize(pBitmapDst->uStructSize) ? pBitmapDst->uStructSize : pBitmapSrc->uStructSize;
    BitmapOwner copy;
    if (const int32_t n = R_CopyBitmap(&copy.record, pBitmapSrc, nSize); n != 1) return n;
    if (const int32_t n = R_GrayScaleBitmap(&copy.record, depthFor(nHighBit < 0 ? nRange : uint32_t(nHighBit) + 1));
        n != 1)
        return n;
    if (isAllocated(pBitmapDst)) R_FreeBitmap(pBitmapDst);
    R_CopyBitmapHandle(pBitmapDst, &copy.record, nSize);
    copy.record = {};
    return 1;
}

}  // extern "C"
