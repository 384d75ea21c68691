// A codec module that tests can make fail: pairs of a count and a byte, which noise makes twice as long. It takes both
// formats.
#include <ravokit/codec.h>
#include <stdatomic.h>
#include <string.h>

// What the next calls do, as fakeControl was told: nothing special; refuse to save; claim more bytes than there was
// room for; claim none; refuse to load; give another status than 1 for a load that went well; be short of memory for a load.
enum { kWell, kRefuseSave, kSaveTooMuch, kSaveNothing, kRefuseLoad, kLoadOddly, kShortForLoad };
static atomic_int g_nMode = kWell, g_nSaves = 0, g_nLoads = 0;

// Counts of the calls so far come back.
RV_API void fakeControl(int nMode, int* pnSaves, int* pnLoads);
void fakeControl(int nMode, int* pnSaves, int* pnLoads) {
    g_nMode = nMode;
    *pnSaves = g_nSaves;
    *pnLoads = g_nLoads;
}

static int isStrip(const BITMAPINFOHEADER* p, uint32_t uBytes) {
    const uint32_t nLine = ((uint32_t)p->biWidth * p->biBitCount + 31) / 32 * 4;
    return p->biSize == 40 && p->biPlanes == 1 && p->biHeight < 0 && p->biHeight >= -32 &&
           uBytes == nLine * (uint32_t)-p->biHeight;
}

#ifndef WITHOUT_SAVE
RV_API int32_t fltSaveBuffer(const BITMAPINFOHEADER* pInfo, const uint8_t* pPixels, uint32_t uPixelBytes,
                             uint8_t* pData, uint32_t uDataSize, uint32_t* puWritten, uint32_t uFormat,
                             int32_t nQuality) {
    ++g_nSaves;
    if (g_nMode == kRefuseSave || !isStrip(pInfo, uPixelBytes)) return -1;
    if (uFormat != (pInfo->biBitCount == 1 ? 68u : 5u) || nQuality != (pInfo->biBitCount == 1 ? 0 : -1)) return -15;
    uint32_t n = 0;
    for (uint32_t i = 0; i < uPixelBytes;) {
        uint32_t nRun = 1;
        while (nRun < 255 && i + nRun < uPixelBytes && pPixels[i + nRun] == pPixels[i]) ++nRun;
        if (uDataSize - n < 2) return -290;
        pData[n++] = (uint8_t)nRun;
        pData[n++] = pPixels[i];
        i += nRun;
    }
    *puWritten = g_nMode == kSaveTooMuch ? uDataSize + 1 : g_nMode == kSaveNothing ? 0 : n;
    return 1;
}
#endif

RV_API int32_t fltLoadBuffer(const BITMAPINFOHEADER* pInfo, const uint8_t* pData, uint32_t uDataBytes, uint8_t* pPixels,
                             uint32_t uPixelSize, uint32_t uFormat) {
    ++g_nLoads;
    if (g_nMode == kShortForLoad) return -1;
    if (g_nMode == kRefuseLoad || !isStrip(pInfo, uPixelSize) || uFormat == 0) return -1859;
    uint32_t n = 0;
    for (uint32_t i = 0; i + 1 < uDataBytes; i += 2) {
        if (pData[i] > uPixelSize - n) return -1859;
        memset(pPixels + n, pData[i + 1], pData[i]);
        n += pData[i];
    }
    return n != uPixelSize ? -1859 : g_nMode == kLoadOddly ? 2 : 1;
}

// Found under the name without its last letter.
RV_API int onlyNarrowA(void);
int onlyNarrowA(void) { return 7; }
