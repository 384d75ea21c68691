// The rows that a paint reads, as they are stored or by the nearest pixels.
#include <algorithm>
#include <new>

#include "internal/opening.h"
#include "internal/paintwork.h"
#include "internal/pixels.h"
#include "internal/scanline.h"

namespace rv {

int32_t PaintStore::nearest(int32_t nRow) const noexcept {
    if (pBuffer) return int32_t(std::clamp<int64_t>(nRow, nFirst, int64_t(nFirst) + nCount - 1));
    return std::clamp(nRow, 0, bm.Height - 1);
}

const uint8_t* PaintStore::inMemory(int32_t nRow) const noexcept {
    const int32_t n = nearest(nRow);
    return pBuffer ? pBuffer + uint64_t(bm.BytesPerLine) * uint32_t(n - nFirst) : flatRow(bm, n);
}

// Compressed strips of 8 bits count columns in their own way.
bool PaintStore::takesWholeRows() const noexcept {
    return !pBuffer && (bm.Flags & BMF_SUPERCOMPRESSED) && bm.BitsPerPixel == 8;
}

uint64_t PaintStore::bufferBytes(int32_t nCol, uint32_t nBytes) const noexcept {
    return uint64_t(nBytes) + (takesWholeRows() ? uint32_t(nCol) : 0);
}

const uint8_t* PaintStore::read(int32_t nRow, int32_t nCol, uint32_t nBytes, uint8_t* pTo,
                                int32_t& nStatus) const noexcept {
    nStatus = 1;
    if (const uint8_t* p = inMemory(nRow)) return p + uint64_t(uint32_t(nCol)) * uint32_t(bm.BitsPerPixel) / 8;
    const bool bWhole = takesWholeRows();
    const int32_t n = readRow(bm, pTo, nearest(nRow), uint32_t(bufferBytes(nCol, nBytes)), bWhole ? 0 : nCol);
    if (n < 0) nStatus = n;
    return n < 0 ? nullptr : pTo + (bWhole ? nCol : 0);
}

BITMAPRECORD formatOf(const BITMAPRECORD& bm) noexcept {
    BITMAPRECORD format{};
    R_CopyBitmapHandle(&format, &bm, sizeof format);
    format.hMemory = nullptr;
    format.pData = nullptr;
    format.Flags &= ~kStorageFlags;
    format.pDitherData = nullptr;
    format.pRgnInfo = nullptr;
    format.pOverlays = nullptr;
    format.pExtraData = nullptr;
    format.pCallbacks = nullptr;
    format.nLockCount = 0;
    return format;
}

namespace {

class NearestRows final : public PaintRows {
    PaintStore m_store;
    PaintAxis m_x, m_y;
    BITMAPRECORD m_format;
    NearestColumns m_columns;
    int32_t m_nCol = 0, m_nSkipped = 0;  // stored column of the byte to read first, and pixels before the first one
    uint32_t m_nBytes = 0;
    Buffer<uint8_t> m_fetched;
    int32_t m_nStatus = 1;

public:
    NearestRows(const PaintStore& store, const PaintAxis& x, const PaintAxis& y) noexcept
        : m_store(store), m_x(x), m_y(y), m_format(formatOf(store.bm)) {}

    int32_t prepare() noexcept {
        const int32_t nBits = m_format.BitsPerPixel;
        const int32_t nFirst = m_x.source(m_x.nFrom), nEnd = m_x.source(int64_t(m_x.nFrom) + m_x.nCount - 1) + 1;
        m_nSkipped = nFirst % pixelsToByte(nBits);
        m_nCol = nFirst - m_nSkipped;
        m_nBytes = uint32_t(packedBytes(uint32_t(nEnd - m_nCol), uint32_t(nBits)));
        if (!m_store.inMemory(m_y.source(m_y.nFrom)) && !m_fetched.allocate(m_store.bufferBytes(m_nCol, m_nBytes)))
            return -1;  // Not enough memory available
        if (m_x.keepsSize()) return 1;
        const auto inFrame = [&](int32_t nCol) { return int32_t(int64_t(nCol) - m_x.nSrcFirst); };
        return m_columns.prepare(nBits, m_x.nSrc, m_x.nDst, m_x.nFrom, m_x.nCount, inFrame(m_nCol), inFrame(nEnd));
    }

    const BITMAPRECORD& format() const noexcept override { return m_format; }
    int32_t status() const noexcept override { return m_nStatus; }
    bool areSame(int32_t nRow, int32_t nOther) const noexcept override {
        return m_y.source(nRow) == m_y.source(nOther);
    }
    const uint8_t* row(int32_t nRow, uint8_t* pBuffer) noexcept override {
        const uint8_t* p = m_store.read(m_y.source(nRow), m_nCol, m_nBytes, m_fetched.get(), m_nStatus);
        const int32_t nBits = m_format.BitsPerPixel;
        if (!p || (m_x.keepsSize() && m_nSkipped == 0)) return p;
        if (m_x.keepsSize())
            copyPixels(nBits, pBuffer, 0, p, uint32_t(m_nSkipped), uint32_t(m_x.nCount));
        else
            m_columns.apply(p, pBuffer, size_t(packedBytes(uint32_t(m_x.nCount), uint32_t(nBits))));
        return pBuffer;
    }
};

}  // namespace

int32_t makeNearestRows(const PaintStore& store, const PaintAxis& x, const PaintAxis& y,
                        std::unique_ptr<PaintRows>& pRows) noexcept {
    std::unique_ptr<NearestRows> p(new (std::nothrow) NearestRows(store, x, y));
    const int32_t n = p ? p->prepare() : -1;  // Not enough memory available
    if (n == 1) pRows = std::move(p);
    return n;
}

}  // namespace rv
