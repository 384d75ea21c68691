#include "viewdocument.h"

#include <ravokit/colorrgn.h>
#include <ravokit/overlay.h>
#include <ravokit/pixel.h>

#include <algorithm>
#include <cstdio>

#include "failure.h"
#include "formats.h"
#include "level.h"
#include "pixel.h"

namespace ravo {

namespace {

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

bool isDeepGray(const BITMAPRECORD& bm) noexcept {
    return bm.Order == ORDER_GRAY && (bm.BitsPerPixel == 12 || bm.BitsPerPixel == 16);
}

COLORREF grayColor(int32_t n) noexcept { return COLORREF(n) * 0x010101u; }

}  // namespace

Document::Document(Picture picture, std::string name) : m_name(std::move(name)), m_picture(std::move(picture)) {
    findRange();
}

Document::Document(Animation animation, std::string name) : m_name(std::move(name)), m_picture(canvasOf(animation)) {
    m_pPlayer = std::make_unique<Player>(std::move(animation), m_picture);
}

std::unique_ptr<Document> Document::open(const std::string& path) {
    if (isGifFile(path)) return std::make_unique<Document>(loadGif(path), baseName(path));
    return std::make_unique<Document>(loadPicture(path), baseName(path));
}

// ---- window level ------------------------------------------------------------------------------------------------

int32_t Document::sample(uint64_t uPixel) const noexcept {
    const int32_t nBits = m_picture->BitsPerPixel;
    const auto n = int32_t(uPixel);
    return m_bSigned && n >> (nBits - 1) ? n - (1 << nBits) : n;
}

void Document::findRange() {
    if (!isDeepGray(*m_picture)) return;
    m_bSigned = m_picture->Flags & BMF_SIGNED;
    int32_t nLeast = INT32_MAX, nMost = INT32_MIN;
    Row row(m_picture->BytesPerLine);
    const Access lock(m_picture);
    for (int32_t y = 0; y < m_picture->Height; ++y) {
        getRow(m_picture, row.data(), y);
        for (int32_t x = 0; x < m_picture->Width; ++x) {
            const int32_t n = sample(readPixel(row.data(), x, m_picture->BitsPerPixel));
            nLeast = std::min(nLeast, n);
            nMost = std::max(nMost, n);
        }
    }
    m_range = {nLeast, nMost};
    setWholeLevel();
}

void Document::setLevel(int32_t nCenter, int32_t nWidth) noexcept {
    const int32_t nLevels = 1 << m_picture->BitsPerPixel, nFirst = m_bSigned ? -nLevels / 2 : 0;
    m_nCenter = std::clamp(nCenter, nFirst, nFirst + nLevels - 1);
    m_nWidth = std::clamp(nWidth, 2, 2 * nLevels);
    m_bLevelApplied = false;
}

void Document::setWholeLevel() noexcept {
    const int32_t nWidth = range() + 1;
    setLevel(m_range->first + nWidth / 2, nWidth);
}

void Document::applyLevel() {
    if (std::exchange(m_bLevelApplied, true)) return;
    const int32_t nLow = m_nCenter - m_nWidth / 2;
    setWindow(m_picture, {nLow, nLow + m_nWidth - 1, FILLLUT_LINEAR, 0}, m_bSigned);
}

// ---- the wand ----------------------------------------------------------------------------------------------------

bool Document::touch(POINT viewed, uint32_t uMode, int32_t nTolerance) {
    applyLevel();  // colours are compared as they are shown
    RavoRgn* pBefore = nullptr;
    check(R_CopyRavoRgn(&pBefore, m_picture->pRgnInfo), "R_CopyRavoRgn");
    m_pBefore.reset(pBefore);
    const POINT seed = storedPoint(*m_picture, viewed.x, viewed.y);
    const COLORREF cr = grayColor(nTolerance);
    m_touch.reset();
    if (R_SetBitmapRgnMagicWand(m_picture.get(), seed.y, seed.x, cr, cr, uMode) != 1) return false;
    m_touch = WandTouch{seed, uMode};
    return true;
}

void Document::touchAgain(int32_t nTolerance) {
    if (!m_touch) return;
    RavoRgn* pBefore = nullptr;
    check(R_CopyRavoRgn(&pBefore, m_pBefore.get()), "R_CopyRavoRgn");
    check(R_SetBitmapRgn(m_picture.get(), nullptr, pBefore, RGN_MODE_SET), "R_SetBitmapRgn");
    const COLORREF cr = grayColor(nTolerance);
    check(R_SetBitmapRgnMagicWand(m_picture.get(), m_touch->seed.y, m_touch->seed.x, cr, cr, m_touch->uMode),
          "R_SetBitmapRgnMagicWand");
}

void Document::dropRegion() noexcept {
    R_FreeBitmapRgn(m_picture.get());
    m_touch.reset();
    m_pBefore.reset();
}

// ---- overlays ----------------------------------------------------------------------------------------------------

bool Document::hasOverlays() noexcept {
    uint32_t uCount = 0;
    return R_GetOverlayCount(m_picture.get(), &uCount) == 1 && uCount;
}

void Document::showOverlays(bool bShow) {
    for (uint32_t i = 0; i < OVERLAY_COUNT; ++i) {
        OVERLAYATTRIBUTES attributes{};
        attributes.uStructSize = sizeof attributes;
        if (R_GetOverlayAttributes(m_picture.get(), i, &attributes, sizeof attributes, OVERLAYATTR_FLAGS) != 1)
            continue;
        attributes.uFlags = bShow ? attributes.uFlags | OVERLAY_SHOW : attributes.uFlags & ~uint32_t(OVERLAY_SHOW);
        check(R_SetOverlayAttributes(m_picture.get(), i, &attributes, OVERLAYATTR_FLAGS), "R_SetOverlayAttributes");
    }
}

// ---- values ------------------------------------------------------------------------------------------------------

std::string Document::valueAt(POINT viewed) {
    const POINT at = storedPoint(*m_picture, viewed.x, viewed.y);
    char text[64];
    if (hasLevels() || m_picture->BitsPerPixel <= 8) {
        Row row(m_picture->BytesPerLine);
        const Access lock(m_picture);
        getRow(m_picture, row.data(), at.y);
        const uint64_t uPixel = readPixel(row.data(), at.x, m_picture->BitsPerPixel);
        if (hasLevels()) return std::to_string(sample(uPixel));
        const RGBQUAD& entry = m_picture->pPalette[uPixel];
        std::snprintf(text, sizeof text, "%u #%02X%02X%02X", unsigned(uPixel), entry.rgbRed, entry.rgbGreen,
                      entry.rgbBlue);
        return text;
    }
    uint8_t nAlpha = 255;
    const COLORREF cr = R_IntGetPixelColor(m_picture.get(), at.y, at.x, &nAlpha);
    std::snprintf(text, sizeof text, hasAlpha(*m_picture) ? "#%02X%02X%02X alpha %u" : "#%02X%02X%02X", cr & 255,
                  cr >> 8 & 255, cr >> 16 & 255, nAlpha);
    return text;
}

}  // namespace ravo
