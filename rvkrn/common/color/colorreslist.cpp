// Colour resolution of a list: one palette for all bitmaps, found once, then each of them in place.
#include <algorithm>

#include "internal/colorres_.h"
#include "internal/list_.h"
#include "internal/opening.h"
#include "ravokit/frame.h"
#include "ravokit/optpal.h"

namespace rv {
namespace {

// Another user match table is the thread's for a scope.
class ThreadMatchTable {
    void* m_pBefore;

public:
    explicit ThreadMatchTable(uint32_t* p) noexcept : m_pBefore(R_SetUserMatchTable(p)) {}
    ThreadMatchTable(const ThreadMatchTable&) = delete;
    ThreadMatchTable& operator=(const ThreadMatchTable&) = delete;
    ~ThreadMatchTable() { R_SetUserMatchTable(m_pBefore); }
};

// Turns the rows of one bitmap into those of the list.
struct ListSink {
    COLORRESLISTCALLBACK pfn;
    void* pUserData;
    uint32_t uIndex = 0;
    int32_t nFirstRow = 0;

    static int32_t hear(BITMAPRECORD* pBitmap, uint8_t* pRow, int32_t nRow, int32_t nLines, void* pThis) {
        const auto& self = *static_cast<const ListSink*>(pThis);
        return self.pfn(pBitmap, pRow, self.nFirstRow + nRow, nLines, self.uIndex, self.pUserData);
    }
};

int32_t resolveEach(BITMAPLIST& list, const Resolution& r, ListSink sink) noexcept {
    for (; sink.uIndex < list.nCount; ++sink.uIndex) {
        BITMAPRECORD bm = list.pItems[sink.uIndex];
        const int32_t n = R_ColorResBitmap(&bm, &bm, bm.uStructSize, r.nBits, r.uFlags, r.pPalette, r.hPalette,
                                           r.uColors, sink.pfn ? ListSink::hear : nullptr, &sink);
        if (n != 1) return n;
        list.pItems[sink.uIndex] = bm;
        sink.nFirstRow += bm.Height;
    }
    return 1;
}

constexpr uint32_t withChoice(uint32_t uFlags, uint32_t uChoice) noexcept { return (uFlags & ~0x3FFu) | uChoice; }

// The best palette for all, and the match table that goes with it.
int32_t resolveShared(BITMAPLIST& list, Resolution r, const ListSink& sink) noexcept {
    SlotPalette slots(r.pPalette, r.uColors);
    OwnMatchTable table;
    if (slots.nFree) {
        RGBQUAD best[kMostColors];
        uint32_t nBest = slots.nFree;
        int32_t bCut = 0;
        if (const int32_t n =
                R_CreateBitmapListOptPal(&list, best, &nBest, slots.bRun ? table.address() : nullptr, &bCut);
            n != 1)
            return n;
        slots.fill(best, nBest, r.pPalette);
    }
    const ThreadMatchTable use(table.get());
    r.uFlags = withChoice(r.uFlags, CRF_USERPALETTE | CRF_USERMATCHTABLE);
    r.pPalette = slots.entries;
    r.uColors = slots.nColors;
    return resolveEach(list, r, sink);
}

// The caller's palette: what is searched for one bitmap is found for the next.
int32_t resolveToUser(BITMAPLIST& list, Resolution r, const ListSink& sink) noexcept {
    OwnMatchTable table;
    *table.address() = static_cast<uint32_t*>(R_LocalAllocInit(kColorKeys, sizeof(uint32_t), __LINE__, __FILE__));
    if (!table.get()) return -1;  // Not enough memory available
    const ThreadMatchTable use(table.get());
    r.uFlags |= CRF_USERMATCHTABLE;
    return resolveEach(list, r, sink);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_ColorResBitmapListExt(HBITMAPLIST hList, int32_t nBitsPerPixel, uint32_t uFlags, RGBQUAD* pPalette,
                                HPALETTE hPalette, uint32_t uColors, COLORRESLISTCALLBACK pfnCallback,
                                void* pUserData) noexcept {
    if (!hList || (pPalette && hPalette)) return -13;  // Invalid parameter passed
    Resolution r{nBitsPerPixel, uFlags, pPalette, hPalette, uColors};
    if (const int32_t n = settle(r); n != 1) return n;
    const ListSink sink{pfnCallback, pUserData};
    if (!r.isPaletted()) return resolveEach(*hList, r, sink);
    constexpr uint32_t kBest = CRF_OPTIMIZEDPALETTE | CRF_RESERVEDENTRIES;
    if ((r.choice() & ~kBest) == 0) return resolveShared(*hList, r, sink);
    if (r.choice() == CRF_USERPALETTE) return resolveToUser(*hList, r, sink);
    return resolveEach(*hList, r, sink);
}

int32_t R_ColorResBitmapList(HBITMAPLIST hList, int32_t nBitsPerPixel, uint32_t uFlags, RGBQUAD* pPalette,
                             HPALETTE hPalette, uint32_t uColors) noexcept {
    return R_ColorResBitmapListExt(hList, nBitsPerPixel, uFlags, pPalette, hPalette, uColors, nullptr, nullptr);
}

}  // extern "C"
