// Colour resolution inside: what a run is told, and the palettes that it chooses.
#pragma once

#include "internal/palette_.h"
#include "internal/rvclasses_.h"
#include "ravokit/colorres.h"

namespace rv {

// What is asked for.
struct Resolution {
    int32_t nBits;
    uint32_t uFlags;
    RGBQUAD* pPalette;
    HPALETTE hPalette;
    uint32_t uColors;

    bool isPaletted() const noexcept { return nBits <= 8; }
    // The choice of the palette, once settled.
    uint32_t choice() const noexcept { return uFlags & 0x3FF; }
    bool isUserPalette() const noexcept { return (choice() & ~uint32_t(CRF_USERMATCHTABLE)) == CRF_USERPALETTE; }
};

// Settles the colours and flags by the depth; 1, or -13 for what can't be asked for.
int32_t settle(Resolution& r) noexcept;

// A user match table that is freed with its scope.
class OwnMatchTable {
    uint32_t* m_p = nullptr;

public:
    OwnMatchTable() = default;
    OwnMatchTable(const OwnMatchTable&) = delete;
    OwnMatchTable& operator=(const OwnMatchTable&) = delete;
    ~OwnMatchTable() { R_FreeUserMatchTable(m_p); }
    uint32_t** address() noexcept { return &m_p; }
    uint32_t* get() const noexcept { return m_p; }
};

// A palette with slots to be filled by the best one.
struct SlotPalette {
    RGBQUAD entries[kMostColors];
    uint32_t nColors;
    uint32_t nFree = 0;
    bool bRun = true;  // the free slots are the first ones: then a place in the best palette is an index

    // All of nColors slots are free but those that pPalette, which may be null, tells as fixed.
    SlotPalette(const RGBQUAD* pPalette, uint32_t nEntries) noexcept;
    bool isFree(uint32_t i) const noexcept { return entries[i].rgbReserved & 2; }
    // The fixed entries; gives their number.
    uint32_t fixedEntries(RGBQUAD* pFixed) const noexcept;
    // Puts nBest entries into the free slots in turn, and into those of pPalette if it is given; cuts free slots that
    // are left at the end.
    void fill(const RGBQUAD* pBest, uint32_t nBest, RGBQUAD* pPalette) noexcept;
};

struct ChosenPalette {
    RGBQUAD entries[kMostColors];
    uint32_t nColors = 0;
    bool bDither = true;
    uint32_t* pMatchTable = nullptr;  // for the dither, or null
    OwnMatchTable own;                // where it is no one else's

    // Gives the entries past nColors a colour that changes no match.
    void pad() noexcept;
};

// Chooses the palette of a settled run. 1 or a status; the caller's palette changes with 1 only.
int32_t choosePalette(ChosenPalette& chosen, BITMAPRECORD& src, const Resolution& r) noexcept;

}  // namespace rv
