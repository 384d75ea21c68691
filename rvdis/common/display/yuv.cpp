// Bitmaps from and to the sample layouts of video: rows of flat storage by address, those of other classes by way of a
// buffer.
#include "ravokit/yuv.h"

#include <algorithm>
#include <cstring>

#include "internal/bgrrows.h"
#include "internal/bitmap_.h"
#include "internal/palette_.h"
#include "internal/yuvrows.h"

namespace rv {
namespace {

bool takesDepth(int32_t nBits) noexcept { return nBits == 8 || nBits == 24 || nBits == 32; }
bool isLayout(int32_t nFormat) noexcept { return nFormat >= 0 && nFormat < kYuvLayouts; }

// Bytes of the samples of a whole picture, of even width, and of even height but for YUV_YUY2.
uint64_t sampleBytes(int32_t nWidth, int32_t nHeight, int32_t nFormat) noexcept {
    const uint64_t nPixels = uint64_t(uint32_t(nWidth)) * uint32_t(nHeight);
    return nFormat == YUV_YUY2 ? nPixels * 2 : nPixels / 2 * 3;
}

// Whether uSize bytes are the samples of such a picture: 1, or the status.
int32_t checkSamples(int32_t nWidth, int32_t nHeight, uint32_t uSize, int32_t nFormat) noexcept {
    if (!isLayout(nFormat)) return -1782;  // The YUV format is not supported
    const int32_t nOdd = nFormat == YUV_YUY2 ? nWidth : nWidth | nHeight;
    if (nOdd & 1 || nWidth < 0 || nHeight < 0) return -11;                       // Invalid width or height
    return sampleBytes(nWidth, nHeight, nFormat) == uSize ? 1 : int32_t(-1783);  // The size of the buffer is incorrect
}

// The rows of samples in a buffer: Y of row n, and the chroma that goes with it.
template <class Byte>
class SampleRows {
    Byte *m_pY, *m_pU, *m_pV;
    size_t m_nWidth;
    int32_t m_nFormat;

public:
    SampleRows(Byte* p, int32_t nWidth, int32_t nHeight, int32_t nFormat) noexcept
        : m_pY(p), m_pU(nullptr), m_pV(nullptr), m_nWidth(size_t(nWidth)), m_nFormat(nFormat) {
        if (nFormat == YUV_YUY2) return;
        m_pU = m_pY + m_nWidth * size_t(nHeight);
        if (nFormat == YUV_PLANAR_420) m_pV = m_pU + m_nWidth / 2 * size_t(nHeight / 2);
    }
    Byte* y(int32_t nRow) const noexcept { return m_pY + size_t(nRow) * m_nWidth * (m_nFormat == YUV_YUY2 ? 2 : 1); }
    Byte* u(int32_t nRow) const noexcept {
        return m_pU ? m_pU + size_t(nRow / 2) * (m_pV ? m_nWidth / 2 : m_nWidth) : nullptr;
    }
    Byte* v(int32_t nRow) const noexcept { return m_pV ? m_pV + size_t(nRow / 2) * (m_nWidth / 2) : nullptr; }
};

// Writes every row: fill(row, pRow) makes its pixels, in the storage where that is flat. A result of a row call that is
// not the whole row ends it.
template <class Fill>
int32_t writeRows(BITMAPRECORD& bm, const Fill& fill) noexcept {
    Buffer<uint8_t> buffer;
    for (int32_t y = 0; y < bm.Height; ++y) {
        if (uint8_t* pRow = flatRow(bm, y)) {
            fill(y, pRow);
            continue;
        }
        if (!buffer && !buffer.allocateCleared(bm.BytesPerLine)) return -1;  // Not enough memory available
        fill(y, buffer.get());
        const int32_t n = R_PutBitmapRow(&bm, buffer.get(), y, bm.BytesPerLine);
        if (n != int32_t(bm.BytesPerLine)) return n;
    }
    return 1;
}

// --- setting ---------------------------------------------------------------------------------------------------------

int32_t setRows(BITMAPRECORD& bm, const uint8_t* pSamples, int32_t nFormat) noexcept {
    const SampleRows rows(pSamples, bm.Width, bm.Height, nFormat);
    const auto n = size_t(bm.Width);
    if (bm.BitsPerPixel == 8)
        return writeRows(bm, [&](int32_t nRow, uint8_t* pRow) {
            const uint8_t* y = rows.y(nRow);
            if (nFormat != YUV_YUY2) {
                std::memcpy(pRow, y, n);
            } else {
                for (size_t x = 0; x < n; ++x) pRow[x] = y[2 * x];
            }
        });
    const YuvKernels& kernels = bestYuv();
    const auto kernel = (bm.BitsPerPixel == 24 ? kernels.toPixels24 : kernels.toPixels32)[nFormat];
    return writeRows(bm,
                     [&](int32_t nRow, uint8_t* pRow) { kernel(rows.y(nRow), rows.u(nRow), rows.v(nRow), pRow, n); });
}

// --- planes with steps of their own ----------------------------------------------------------------------------------

// The samples of one kind: p[y rows][x columns].
struct Plane {
    const uint8_t* p;
    int32_t nRowStep, nPixelStep;
    const uint8_t* row(int32_t y) const noexcept { return p + ptrdiff_t(int64_t(nRowStep) * y); }
    int32_t at(const uint8_t* pRow, int32_t x) const noexcept { return pRow[ptrdiff_t(int64_t(nPixelStep) * x)]; }
};

// Samples of full range.
template <size_t Bytes>
void genericRow(const YUVDESCRIPTOR& d, int32_t nRow, uint8_t* pRow) noexcept {
    const Plane Y{d.pYBuffer, d.nYRowStep, d.nYPixelStep}, U{d.pUBuffer, d.nURowStep, d.nUPixelStep},
        V{d.pVBuffer, d.nVRowStep, d.nVPixelStep};
    const uint8_t *y = Y.row(nRow), *u = U.row(nRow / 2), *v = V.row(nRow / 2);
    const auto clampByte = [](int32_t n) { return uint8_t(std::clamp(n, 0, 255)); };
    for (int32_t x = 0; x < d.Width;) {
        const int32_t nU = U.at(u, x / 2), nV = V.at(v, x / 2);
        const int32_t nBlue = ((nU * 1814) >> 10) - 227, nGreen = 135 - nU * 46549 / 131072 - ((nV * 93604) >> 17),
                      nRed = ((nV * 1436) >> 10) - 179;
        const int32_t nEnd = std::min(x | 1, d.Width - 1);
        for (; x <= nEnd; ++x, pRow += Bytes) {
            const int32_t nY = Y.at(y, x);
            pRow[0] = clampByte(nY + nBlue), pRow[1] = clampByte(nY + nGreen), pRow[2] = clampByte(nY + nRed);
            if (Bytes == 4) pRow[3] = 255;
        }
    }
}

int32_t setGenericRows(BITMAPRECORD& bm, const YUVDESCRIPTOR& d) noexcept {
    if (bm.BitsPerPixel == 24) return writeRows(bm, [&](int32_t y, uint8_t* pRow) { genericRow<3>(d, y, pRow); });
    if (bm.BitsPerPixel == 32) return writeRows(bm, [&](int32_t y, uint8_t* pRow) { genericRow<4>(d, y, pRow); });
    return writeRows(bm, [&](int32_t nRow, uint8_t* pRow) {
        const Plane Y{d.pYBuffer, d.nYRowStep, d.nYPixelStep};
        const uint8_t* y = Y.row(nRow);
        for (int32_t x = 0; x < d.Width; ++x) pRow[x] = uint8_t(Y.at(y, x));
    });
}

// --- getting ---------------------------------------------------------------------------------------------------------

int32_t getLevels(BITMAPRECORD& bm, const SampleRows<uint8_t>& rows, int32_t nWidth, int32_t nHeight,
                  int32_t nFormat) noexcept {
    RowReader reader(bm, uint32_t(nWidth));
    if (reader.status() != 1) return reader.status();
    for (int32_t nRow = 0; nRow < nHeight; ++nRow) {
        const uint8_t* pRow = reader.read(nRow);
        if (!pRow) return reader.status();
        uint8_t* y = rows.y(nRow);
        if (nFormat == YUV_YUY2) {
            for (size_t x = 0; x < size_t(nWidth); ++x) y[2 * x] = pRow[x], y[2 * x + 1] = 128;
        } else {
            std::memcpy(y, pRow, size_t(nWidth));
        }
    }
    if (nFormat != YUV_YUY2) std::memset(rows.u(0), 128, size_t(nWidth) * size_t(nHeight / 2));  // V lies behind U
    return 1;
}

int32_t getColors(BITMAPRECORD& bm, const SampleRows<uint8_t>& rows, int32_t nWidth, int32_t nHeight,
                  int32_t nFormat) noexcept {
    BgrRows first(bm), second(bm);  // a row of each pair
    if (first.status() != 1) return first.status();
    if (second.status() != 1) return second.status();
    const auto kernel = bestYuv().toSamples[nFormat];
    const bool bPairs = nFormat != YUV_YUY2;
    for (int32_t nRow = 0; nRow < nHeight; nRow += bPairs ? 2 : 1) {
        const uint8_t* pRow0 = first.read(nRow);
        if (!pRow0) return first.status();
        const uint8_t* pRow1 = bPairs ? second.read(nRow + 1) : nullptr;
        if (bPairs && !pRow1) return second.status();
        kernel(pRow0, pRow1, rows.y(nRow), bPairs ? rows.y(nRow + 1) : nullptr, rows.u(nRow), rows.v(nRow),
               size_t(nWidth));
    }
    return 1;
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetBitmapYUVData(BITMAPRECORD* pBitmap, const uint8_t* pYUVData, uint32_t uSize,
                           int32_t nYUVFormat) noexcept {
    if (!pBitmap || !pYUVData) return -814;                     // A NULL pointer was passed
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!takesDepth(pBitmap->BitsPerPixel)) return -27;         // Invalid BitsPerPixel
    BITMAPRECORD& bm = *pBitmap;
    if (const int32_t n = checkSamples(bm.Width, bm.Height, uSize, nYUVFormat); n != 1) return n;

    RGBQUAD* pGray = bm.BitsPerPixel == 8 ? R_CreateGrayPalette(8) : nullptr;
    if (bm.BitsPerPixel == 8 && !pGray) return -1;  // Not enough memory available
    if (!isAllocated(&bm)) {
        if (const int32_t n = R_AllocateBitmap(&bm, BMMEM_CONVENTIONAL); n != 1) {
            freeBlock(pGray);
            return n;
        }
    }
    bm.Order = pGray ? ORDER_RGB : ORDER_BGR;
    if (pGray) {
        replaceTable(bm, pGray);
        bm.nColors = kMostColors;
    }
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    return lock.release(setRows(bm, pYUVData, nYUVFormat));
}

int32_t R_GetBitmapYUVData(BITMAPRECORD* pBitmap, uint8_t* pYUVData, uint32_t* puSize, int32_t nYUVFormat) noexcept {
    if (!isAllocated(pBitmap)) return -2;                       // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // The structure size is invalid
    if (!puSize) return -814;                                   // A NULL pointer was passed
    if (!takesDepth(pBitmap->BitsPerPixel)) return -27;         // Invalid BitsPerPixel
    if (!isLayout(nYUVFormat)) return -1782;                    // The YUV format is not supported
    BITMAPRECORD& bm = *pBitmap;
    const int32_t nWidth = bm.Width & ~1, nHeight = nYUVFormat == YUV_YUY2 ? bm.Height : bm.Height & ~1;
    const uint64_t nBytes = sampleBytes(nWidth, nHeight, nYUVFormat);
    if (!pYUVData || nBytes > *puSize) {
        *puSize = uint32_t(std::min<uint64_t>(nBytes, UINT32_MAX));
        return pYUVData || nBytes > UINT32_MAX ? -1783 : 1;  // The size of the YUV buffer is incorrect
    }
    BitmapLock lock(bm);
    if (lock.status() != 1) return lock.status();
    const SampleRows rows(pYUVData, nWidth, nHeight, nYUVFormat);
    return lock.release((bm.BitsPerPixel == 8 ? getLevels : getColors)(bm, rows, nWidth, nHeight, nYUVFormat));
}

int32_t R_BitmapFromYUV(BITMAPRECORD* pBitmap, uint32_t uStructSize, const YUVDESCRIPTOR* pDescriptor,
                        int32_t nBitsPerPixel) noexcept {
    if (uStructSize != sizeof(BITMAPRECORD)) return -789;                 // The structure size is invalid
    if (!pBitmap || !pDescriptor || !pDescriptor->pYBuffer) return -814;  // A NULL pointer was passed
    if (!takesDepth(nBitsPerPixel)) return -27;                           // Invalid BitsPerPixel
    const YUVDESCRIPTOR& d = *pDescriptor;
    const bool bGeneric = d.nFormat == YUV_GENERIC;
    if (bGeneric && d.nPlanes != 3) return -794;  // Unsupported conversion
    if (bGeneric && nBitsPerPixel != 8 && (!d.pUBuffer || !d.pVBuffer)) return -814;
    if (const int32_t n = bGeneric ? 1 : checkSamples(d.Width, d.Height, d.uYSize, d.nFormat); n != 1) return n;

    int32_t nStatus = R_CreateBitmap(pBitmap, uStructSize, BMMEM_CONVENTIONAL, d.Width, d.Height, nBitsPerPixel,
                                     nBitsPerPixel == 8 ? ORDER_GRAY : ORDER_BGR, nullptr, TOP_LEFT, nullptr, 0);
    if (nStatus != 1) return nStatus;
    if (bGeneric) {
        BitmapLock lock(*pBitmap);
        nStatus = lock.status() == 1 ? lock.release(setGenericRows(*pBitmap, d)) : lock.status();
    } else {
        nStatus = R_SetBitmapYUVData(pBitmap, d.pYBuffer, d.uYSize, d.nFormat);
    }
    if (nStatus != 1) R_FreeBitmap(pBitmap);
    return nStatus;
}
}
