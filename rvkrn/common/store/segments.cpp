// Writing the pixels of a list of segments of a row, and no others: how regions write.
#include "internal/pixels.h"
#include "internal/rowaccess.h"

namespace rv {

int32_t putRowSegments(BITMAPRECORD& bm, const uint8_t* pRow, int32_t nRow, const uint32_t* pWords, uint32_t nWords,
                       uint8_t* pScratch) noexcept {
    const auto put = [&](const uint8_t* p, uint32_t nBytes) {
        const int32_t n = R_PutBitmapRow(&bm, p, nRow, nBytes);
        return n < 0 ? n : n == int32_t(nBytes) ? 1 : -1;
    };
    if (isWholeRow(bm, pWords, nWords))
        return put(pRow, uint32_t(packedBytes(uint32_t(bm.Width), uint32_t(bm.BitsPerPixel))));
    uint8_t* pFlat = flatRow(bm, nRow);
    uint8_t* pTo = pFlat ? pFlat : pScratch;
    if (!pFlat) {
        if (const int32_t n = readRow(bm, pTo, nRow, bm.BytesPerLine); n < 0) return n;
    }
    for (uint32_t i = 0; i + 1 < nWords; i += 2)
        if (pWords[i] < pWords[i + 1])
            copyPixels(bm.BitsPerPixel, pTo, pWords[i], pRow, pWords[i], pWords[i + 1] - pWords[i]);
    return pFlat ? 1 : put(pTo, bm.BytesPerLine);
}

}  // namespace rv
