// Bitmaps to DIBs. Rows go straight into the block; those of a depth or order that a DIB doesn't have come from colour
// resolution one by one.
#include <algorithm>
#include <cstring>

#include "internal/alloc.h"
#include "internal/bgrrows.h"
#include "internal/bitmap_.h"
#include "internal/dib_.h"
#include "ravokit/colorres.h"
#include "ravokit/copy.h"
#include "ravokit/dib.h"
#include "ravokit/view.h"

namespace rv {
namespace {

// A DIB can tell of these.
bool hasPlainView(const BITMAPRECORD& bm) noexcept {
    return bm.ViewPerspective < TOP_RIGHT || bm.ViewPerspective > LEFT_BOTTOM || bm.ViewPerspective == BOTTOM_LEFT;
}

// ---- the block ---------------------------------------------------------------------------------------------------

constexpr int32_t pelsPerMeter(int32_t nResolution) noexcept {
    return int32_t((int64_t(nResolution) * 10000 + 127) / 254);
}

class DibWriter {
    MemoryKind m_kind;
    MEMHANDLE* m_h = nullptr;
    uint8_t* m_p = nullptr;
    uint32_t m_nSize = 0, m_nUsed = 0, m_nStride = 0, m_nRows = 0;

    bool allocate() noexcept {
        if (m_kind == MemoryKind::kHandle) {
            m_h = R_OsAllocHandle(kMemoryMovable, m_nSize, __LINE__, __FILE__);
            m_p = m_h ? static_cast<uint8_t*>(R_OsLockHandle(m_h)) : nullptr;
        } else {
            m_p = static_cast<uint8_t*>(R_LocalAlloc(1, m_nSize, __LINE__, __FILE__));
        }
        return m_p != nullptr;
    }

    uint8_t* rowAt(const BITMAPRECORD& bm, int32_t y) const noexcept {
        const uint32_t nFromBottom = bm.ViewPerspective == BOTTOM_LEFT ? uint32_t(y) : m_nRows - 1 - uint32_t(y);
        return m_p + (m_nSize - m_nStride * m_nRows) + size_t(m_nStride) * nFromBottom;
    }

public:
    explicit DibWriter(MemoryKind kind) noexcept : m_kind(kind) {}
    DibWriter(const DibWriter&) = delete;
    DibWriter& operator=(const DibWriter&) = delete;
    ~DibWriter() {
        if (m_h)
            R_OsFreeHandle(m_h);
        else
            R_LocalFree(m_p);
    }

    // Header and colours of a bitmap with a DIB's format.
    int32_t begin(const BITMAPRECORD& bm) noexcept {
        const auto nBits = uint32_t(bm.BitsPerPixel);
        const uint32_t nMost = nBits <= 8 ? 1u << nBits : 0;
        const uint32_t nColors = bm.nColors && bm.nColors < nMost ? bm.nColors : nMost;
        const uint64_t nStride = rowBytes(uint32_t(bm.Width), nBits), nImage = nStride * uint32_t(bm.Height);
        const uint64_t nSize = sizeof(DibHeader) + nColors * sizeof(RGBQUAD) + nImage;
        if (nSize > UINT32_MAX) return -1;  // no handle tells more
        m_nSize = uint32_t(nSize);
        m_nStride = uint32_t(nStride);
        m_nUsed = uint32_t(packedBytes(uint32_t(bm.Width), nBits));
        m_nRows = uint32_t(bm.Height);
        if (!allocate()) return -1;
        const DibHeader header = {sizeof(DibHeader),
                                  bm.Width,
                                  bm.Height,
                                  1,
                                  uint16_t(nBits),
                                  0,
                                  uint32_t(nImage),
                                  pelsPerMeter(bm.XResolution),
                                  pelsPerMeter(bm.YResolution),
                                  nColors,
                                  0};
        std::memcpy(m_p, &header, sizeof header);
        if (nColors) std::memcpy(m_p + sizeof header, PaletteOf(bm).entries, nColors * sizeof(RGBQUAD));
        return 1;
    }

    int32_t put(const BITMAPRECORD& bm, const uint8_t* pRow, int32_t y) noexcept {
        uint8_t* const p = rowAt(bm, y);
        std::memcpy(p, pRow, m_nUsed);
        std::memset(p + m_nUsed, 0, m_nStride - m_nUsed);
        return 1;
    }

    // A row from colour resolution; the first one brings the format.
    static int32_t hear(BITMAPRECORD* pBitmap, uint8_t* pRow, int32_t nRow, int32_t, void* pThis) {
        auto& self = *static_cast<DibWriter*>(pThis);
        if (!self.m_p)
            if (const int32_t n = self.begin(*pBitmap); n != 1) return n;
        return self.put(*pBitmap, pRow, nRow);
    }

    uint32_t size() const noexcept { return m_nSize; }
    MEMHANDLE* takeHandle() noexcept { return m_p = nullptr, std::exchange(m_h, nullptr); }
    void* takeBlock() noexcept { return std::exchange(m_p, nullptr); }
};

// ---- the depths --------------------------------------------------------------------------------------------------

// The depth that a bitmap is resolved to, or 0 where a DIB takes its rows as they are.
int32_t resolvedDepth(const BITMAPRECORD& bm) noexcept {
    switch (bm.BitsPerPixel) {
        case 1:
        case 4:
        case 8:
            return 0;
        case 2:
        case 3:
            return 4;
        case 5:
        case 6:
        case 7:
            return 8;
        case 12:
        case 48:
            return 24;
        case 64:
            return 32;
        default:
            if (bm.Order == ORDER_BGR) return 0;
            return bm.BitsPerPixel == 16 && bm.Order == ORDER_GRAY ? 24 : bm.BitsPerPixel;
    }
}

int32_t writeRows(DibWriter& writer, BITMAPRECORD& bm) noexcept {
    if (const int32_t n = writer.begin(bm); n != 1) return n;
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    RowReader rows(bm, bm.BytesPerLine);
    if (rows.status() != 1) return rows.status();
    for (int32_t y = 0; y < bm.Height; ++y) {
        const uint8_t* pRow = rows.read(y);
        if (!pRow) return rows.status();
        writer.put(bm, pRow, y);
    }
    return lock.release(1);
}

int32_t write(DibWriter& writer, BITMAPRECORD& bm) noexcept {
    const int32_t nBits = resolvedDepth(bm);
    if (nBits == 0) return writeRows(writer, bm);
    const uint32_t uFlags = nBits <= 8 ? CRF_OPTIMIZEDPALETTE : CRF_BYTEORDERBGR;
    return R_ColorResBitmap(&bm, nullptr, 0, nBits, uFlags, nullptr, nullptr, 0, DibWriter::hear, &writer);
}

bool toDib(DibWriter& writer, const BITMAPRECORD* pBitmap) noexcept {
    if (!pBitmap || !isKnownRecordSize(pBitmap->uStructSize) || !isAllocated(pBitmap)) return false;
    if (pBitmap->Width < 1 || pBitmap->Height < 1 || !isKnownDepth(pBitmap->BitsPerPixel)) return false;
    BITMAPRECORD copy;
    R_CopyBitmapHandle(&copy, pBitmap, pBitmap->uStructSize);
    if (hasPlainView(copy)) return write(writer, copy) == 1;
    BitmapOwner turned;
    constexpr uint32_t kOwnTables = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;
    return R_IntChangeBitmapViewPerspective(&turned.record, &copy, copy.uStructSize, TOP_LEFT, kOwnTables) == 1 &&
           write(writer, turned.record) == 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

MEMHANDLE* R_ConvertToDIB(BITMAPRECORD* pBitmap) noexcept {
    DibWriter writer(MemoryKind::kHandle);
    return toDib(writer, pBitmap) ? writer.takeHandle() : nullptr;
}

void* R_ConvertToDIB2(BITMAPRECORD* pBitmap, uint32_t uFlags, uint32_t* puSize) noexcept {
    return R_ConvertToDIBPTR(pBitmap, uFlags, puSize);
}

void* R_ConvertToDIBPTR(BITMAPRECORD* pBitmap, uint32_t, uint32_t* puSize) noexcept {
    DibWriter writer(MemoryKind::kPlain);
    const bool bMade = toDib(writer, pBitmap);
    if (puSize) *puSize = bMade ? writer.size() : 0;
    return bMade ? writer.takeBlock() : nullptr;
}

MEMHANDLE* R_ChangeToDIB(BITMAPRECORD* pBitmap) noexcept {
    MEMHANDLE* const h = R_ConvertToDIB(pBitmap);
    if (h) {
        releaseAll(*pBitmap);
        R_FreeBitmap(pBitmap);
    }
    return h;
}

}  // extern "C"
