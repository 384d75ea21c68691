// Overlays: what a bitmap's slots hold, handed in and out.
#include "ravokit/overlay.h"

#include <algorithm>
#include <cstring>

#include "internal/bitmap_.h"
#include "internal/overlay_.h"
#include "internal/text.h"
#include "internal/views_.h"
#include "ravokit/palette.h"

namespace rv {
namespace {

constexpr uint32_t kOwnsAll = DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;

void clearRecord(BITMAPRECORD& overlay) noexcept {
    overlay = {};
    overlay.uStructSize = sizeof overlay;
}

}  // namespace

void emptyOverlay(BITMAPRECORD& overlay) noexcept {
    R_FreeDuplicateBitmap(&overlay, kOwnsAll);
    clearRecord(overlay);
}

int32_t copyOverlay(BITMAPRECORD& dst, BITMAPRECORD& src) noexcept {
    if (isAllocated(&src)) return R_CopyBitmap(&dst, &src, sizeof dst);
    if (const int32_t n = R_InitBitmap(&dst, sizeof dst, src.Width, src.Height, src.BitsPerPixel); n != 1) return n;
    dst.ViewPerspective = src.ViewPerspective;
    if (!src.pPalette) return 1;
    dst.nColors = src.nColors;
    dst.pPalette = R_CreateNewPalette(src.pPalette, src.nColors);
    return dst.pPalette ? 1 : -1;
}

int32_t initRemaining(BITMAPRECORD& overlay, const BITMAPRECORD& bm, const OVERLAYSLOT& slot) noexcept {
    const auto rest = [](int64_t nAll, int32_t nFrom) {
        return int32_t(std::clamp<int64_t>(nAll - nFrom, 0, INT32_MAX));
    };
    const SIZE seen = seenSize(bm);
    return R_InitBitmap(&overlay, sizeof overlay, rest(seen.width, slot.nOriginX), rest(seen.height, slot.nOriginY), 1);
}

namespace {

bool isHandOver(uint32_t uFlags) noexcept {
    return uFlags == OVERLAY_COPY || uFlags == OVERLAY_SHARE || uFlags == OVERLAY_MOVE;
}

// The slot, made if need be, with an empty record.
int32_t openSlot(BITMAPRECORD& bm, uint32_t uIndex, OVERLAYSLOT*& pSlot) noexcept {
    if (uIndex >= OVERLAY_COUNT) return -13;
    if (!bm.pOverlays) {
        OVERLAYSET* const pSet = newBlock<OVERLAYSET>(1);
        if (!pSet) return -1;
        pSet->uStructSize = sizeof *pSet;
        bm.pOverlays = pSet;
    }
    pSlot = &overlaysOf(bm)->Slots[uIndex];
    if (pSlot->pBitmap) return 1;
    BITMAPRECORD* const pRecord = newBlock<BITMAPRECORD>(1);
    if (!pRecord) return -1;
    pRecord->uStructSize = sizeof *pRecord;
    pSlot->pBitmap = pRecord;
    return 1;
}

// On failure the old palette stands.
int32_t normalisePalette(BITMAPRECORD& overlay) noexcept {
    if (!overlay.pPalette || overlay.nColors < 2) {
        RGBQUAD* const pNew = R_CreateGrayPalette(1);
        if (!pNew) return -1;
        freeBlock(overlay.pPalette);
        overlay.pPalette = pNew;
    }
    overlay.nColors = 2;
    return 1;
}

int32_t takeCopy(BITMAPRECORD& overlay, BITMAPRECORD& from) noexcept {
    int32_t n = 1;
    if (isAllocated(&from)) {
        n = R_CopyBitmap(&overlay, &from, sizeof overlay);
    } else {
        n = R_InitBitmap(&overlay, sizeof overlay, from.Width, from.Height, 1);
        overlay.ViewPerspective = from.ViewPerspective;
    }
    if (n == 1) n = normalisePalette(overlay);
    if (n != 1) emptyOverlay(overlay);
    return n;
}

int32_t takeRecord(BITMAPRECORD& overlay, BITMAPRECORD& from, bool bMove) noexcept {
    R_CopyBitmapHandle(&overlay, &from, sizeof overlay);
    if (const int32_t n = normalisePalette(overlay); n != 1) return clearRecord(overlay), n;
    if (bMove)
        R_InitBitmap(&from, from.uStructSize, 0, 0, 0);
    else
        R_CopyBitmapHandle(&from, &overlay, from.uStructSize);
    return 1;
}

void takeAttributes(OVERLAYSLOT& slot, const OVERLAYATTRIBUTES& from, uint32_t uFlags) noexcept {
    if (uFlags & OVERLAYATTR_ORIGIN) {
        slot.nOriginX = from.nOriginX;
        slot.nOriginY = from.nOriginY;
    }
    if (uFlags & OVERLAYATTR_COLOUR)
        for (uint32_t i = 0; i < 3; ++i) slot.Colour[i] = uint8_t(from.Colour >> 8 * i);
    if (uFlags & OVERLAYATTR_FLAGS) slot.uFlags = from.uFlags;
    if (uFlags & OVERLAYATTR_BIT_POSITION) slot.nBitPosition = from.nBitPosition;
    if (uFlags & OVERLAYATTR_TEXT) slot.Text = from.Text;
}

template <class Attributes>
void giveNumbers(const OVERLAYSLOT& slot, Attributes& to, uint32_t uFlags) noexcept {
    to.uStructSize = sizeof to;
    if (uFlags & OVERLAYATTR_ORIGIN) {
        to.nOriginX = slot.nOriginX;
        to.nOriginY = slot.nOriginY;
    }
    if (uFlags & OVERLAYATTR_COLOUR)
        to.Colour = COLORREF(slot.Colour[0]) | COLORREF(slot.Colour[1]) << 8 | COLORREF(slot.Colour[2]) << 16;
    if (uFlags & OVERLAYATTR_FLAGS) to.uFlags = slot.uFlags;
    if (uFlags & OVERLAYATTR_BIT_POSITION) to.nBitPosition = slot.nBitPosition;
}

// What both fetches begin with: the checks, the slot, and all but its texts. 1 or a status.
template <class Attributes>
int32_t findAndGive(const BITMAPRECORD* pBitmap, uint32_t uIndex, Attributes* pAttributes, uint32_t uStructSize,
                    uint32_t uFlags, OVERLAYSLOT*& pSlot) noexcept {
    if (!pBitmap || !pAttributes) return -13;             // Invalid parameter passed
    if (uStructSize != sizeof *pAttributes) return -789;  // The structure size is invalid
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (uIndex >= OVERLAY_COUNT) return -13;
    pSlot = usedSlot(*pBitmap, uIndex);
    if (!pSlot) return -815;  // The overlay does not exist
    giveNumbers(*pSlot, *pAttributes, uFlags);
    return 1;
}

// ---- narrow and wide texts

// What both forms have in common, in front of the texts and behind them.
template <class To, class From>
void carryTextFields(To& to, const From& from) noexcept {
    constexpr size_t nHead = offsetof(OVERLAYTEXT, szText), nTail = sizeof(OVERLAYTEXT) - offsetof(OVERLAYTEXT, uUnit);
    static_assert(offsetof(OVERLAYTEXTA, szText) == nHead);
    static_assert(sizeof(OVERLAYTEXTA) - offsetof(OVERLAYTEXTA, uUnit) == nTail);
    const auto pTo = reinterpret_cast<uint8_t*>(&to);
    const auto pFrom = reinterpret_cast<const uint8_t*>(&from);
    std::memcpy(pTo, pFrom, nHead);
    std::memcpy(pTo + sizeof(To) - nTail, pFrom + sizeof(From) - nTail, nTail);
}

using WideField = char16_t[OVERLAY_TEXT_SIZE];
using NarrowField = char[OVERLAY_TEXT_SIZE];

int32_t widen(const NarrowField& from, void* pTo) noexcept {
    NarrowField narrow;
    std::memcpy(narrow, from, sizeof narrow - 1);
    narrow[sizeof narrow - 1] = 0;
    char16_t* const pWide = R_A2THelper(narrow);
    if (!pWide) return -1;
    WideField wide{};
    copyText(wide, pWide, OVERLAY_TEXT_SIZE);
    R_LocalFree(pWide);
    std::memcpy(pTo, wide, sizeof wide);
    return 1;
}

void narrow(const void* pFrom, NarrowField& to) noexcept {
    WideField wide;
    std::memcpy(wide, pFrom, sizeof wide);
    wide[OVERLAY_TEXT_SIZE - 1] = 0;
    size_t n = wideLength(wide);
    const auto splitsPair = [&] { return n && (wide[n - 1] & 0xFC00) == 0xD800 && (wide[n] & 0xFC00) == 0xDC00; };
    while (utf8Size(wide, n) >= sizeof to || splitsPair()) --n;
    std::memset(to, 0, sizeof to);
    utf8FromWide(wide, n, to);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_SetOverlayBitmap(BITMAPRECORD* pBitmap, uint32_t uIndex, BITMAPRECORD* pOverlay, uint32_t uFlags) noexcept {
    if (!pBitmap) return -2;                                    // Invalid image
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;  // Invalid record size
    if (pOverlay && !isKnownRecordSize(pOverlay->uStructSize)) return -789;
    if (!isHandOver(uFlags) || (uFlags != OVERLAY_COPY && pOverlay == pBitmap)) return -13;  // Invalid parameter
    OVERLAYSLOT* pSlot = nullptr;
    if (const int32_t n = openSlot(*pBitmap, uIndex, pSlot); n != 1) return n;
    BITMAPRECORD& overlay = *pSlot->pBitmap;
    if (pOverlay == &overlay) return -13;
    if (pOverlay && isSameData(*pOverlay, overlay))
        clearRecord(overlay);
    else
        emptyOverlay(overlay);
    pSlot->uFlags &= 0x7FFFFFFF;
    if (!pOverlay) return initRemaining(overlay, *pBitmap, *pSlot);
    if (pOverlay->BitsPerPixel != 1) return -27;  // Invalid bits per pixel
    return uFlags == OVERLAY_COPY ? takeCopy(overlay, *pOverlay)
                                  : takeRecord(overlay, *pOverlay, uFlags == OVERLAY_MOVE);
}

int32_t R_GetOverlayBitmap(const BITMAPRECORD* pBitmap, uint32_t uIndex, BITMAPRECORD* pOverlay, uint32_t uStructSize,
                           uint32_t uFlags) noexcept {
    if (!pBitmap) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize) || !isKnownRecordSize(uStructSize)) return -789;
    if (uIndex >= OVERLAY_COUNT || !pOverlay || !isHandOver(uFlags)) return -13;
    OVERLAYSLOT* const pSlot = usedSlot(*pBitmap, uIndex);
    if (!pSlot) return -815;  // The overlay does not exist
    BITMAPRECORD& overlay = *pSlot->pBitmap;
    if (uFlags == OVERLAY_COPY) return R_CopyBitmap(pOverlay, &overlay, uStructSize);
    const int32_t n = R_CopyBitmapHandle(pOverlay, &overlay, uStructSize);
    if (uFlags == OVERLAY_MOVE) clearRecord(overlay);
    return n;
}

int32_t R_SetOverlayAttributes(BITMAPRECORD* pBitmap, uint32_t uIndex, const OVERLAYATTRIBUTES* pAttributes,
                               uint32_t uFlags) noexcept {
    if (!pAttributes) return -814;  // A NULL pointer was passed
    if (pAttributes->uStructSize != sizeof *pAttributes) return -789;
    if (!pBitmap) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    OVERLAYSLOT* pSlot = nullptr;
    if (const int32_t n = openSlot(*pBitmap, uIndex, pSlot); n != 1) return n;
    takeAttributes(*pSlot, *pAttributes, uFlags);
    return 1;
}

int32_t R_SetOverlayAttributesA(BITMAPRECORD* pBitmap, uint32_t uIndex, const OVERLAYATTRIBUTESA* pAttributes,
                                uint32_t uFlags) noexcept {
    if (!pAttributes) return -814;
    if (pAttributes->uStructSize != sizeof *pAttributes) return -789;
    OVERLAYATTRIBUTES wide{};
    std::memcpy(&wide, pAttributes, offsetof(OVERLAYATTRIBUTES, Text));
    wide.uStructSize = sizeof wide;
    if (uFlags & OVERLAYATTR_TEXT) {
        carryTextFields(wide.Text, pAttributes->Text);
        for (int i = 0; i < 3; ++i)
            if (const int32_t n = widen(pAttributes->Text.szText[i], &wide.Text.szText[i]); n != 1) return n;
    }
    return R_SetOverlayAttributes(pBitmap, uIndex, &wide, uFlags);
}

int32_t R_GetOverlayAttributes(const BITMAPRECORD* pBitmap, uint32_t uIndex, OVERLAYATTRIBUTES* pAttributes,
                               uint32_t uStructSize, uint32_t uFlags) noexcept {
    OVERLAYSLOT* pSlot = nullptr;
    if (const int32_t n = findAndGive(pBitmap, uIndex, pAttributes, uStructSize, uFlags, pSlot); n != 1) return n;
    if (uFlags & OVERLAYATTR_TEXT) pAttributes->Text = pSlot->Text;
    return 1;
}

int32_t R_GetOverlayAttributesA(const BITMAPRECORD* pBitmap, uint32_t uIndex, OVERLAYATTRIBUTESA* pAttributes,
                                uint32_t uStructSize, uint32_t uFlags) noexcept {
    OVERLAYSLOT* pSlot = nullptr;
    if (const int32_t n = findAndGive(pBitmap, uIndex, pAttributes, uStructSize, uFlags, pSlot); n != 1) return n;
    if (!(uFlags & OVERLAYATTR_TEXT)) return 1;
    carryTextFields(pAttributes->Text, pSlot->Text);
    for (int i = 0; i < 3; ++i) narrow(&pSlot->Text.szText[i], pAttributes->Text.szText[i]);
    return 1;
}

int32_t R_GetOverlayCount(const BITMAPRECORD* pBitmap, uint32_t* puCount) noexcept {
    if (!pBitmap) return -2;
    if (!isKnownRecordSize(pBitmap->uStructSize)) return -789;
    if (!puCount) return -814;
    uint32_t nCount = 0;
    forOverlays(*pBitmap, [&](const OVERLAYSLOT&, const BITMAPRECORD&) { return ++nCount, 1; });
    *puCount = nCount;
    return 1;
}

}  // extern "C"
