#include "viewdraw.h"

#include <ravokit/bitmaprgn.h>
#include <ravokit/paint.h>
#include <ravokit/paintsettings.h>

#include <algorithm>

#include "failure.h"
#include "rgnhandle.h"
#include "viewtext.h"

namespace ravo {

namespace {

constexpr uint32_t kGround = 0x2B2B2B, kLightSquare = 0xC8C8C8, kDarkSquare = 0x909090;
constexpr uint32_t kPanel = 0x101820, kText = 0xE0E0E0, kKeys = 0xF0C060;
constexpr int32_t kSquare = 8, kDash = 4;

void fillGround(Canvas& canvas, const RECT& place, const RECT& part) {
    const RECT in = intersection(place, part);
    if (isEmpty(in)) {
        canvas.fill(part, kGround);
        return;
    }
    canvas.fill({part.left, part.top, part.right, in.top}, kGround);
    canvas.fill({part.left, in.bottom, part.right, part.bottom}, kGround);
    canvas.fill({part.left, in.top, in.left, in.bottom}, kGround);
    canvas.fill({in.right, in.top, part.right, in.bottom}, kGround);
}

// The squares belong to the picture, and move with it.
void fillSquares(Canvas& canvas, const RECT& place, const RECT& part) {
    const RECT in = intersection(place, part);
    for (int32_t y = in.top; y < in.bottom; ++y) {
        uint32_t* pRow = canvas.row(y);
        const int32_t nRow = (y - place.top) / kSquare;
        for (int32_t x = in.left; x < in.right; ++x)
            pRow[x] = 0xFF000000 | (((x - place.left) / kSquare + nRow) & 1 ? kDarkSquare : kLightSquare);
    }
}

// What the region has of a part, a byte for each pixel, with a margin of one.
class Mask {
    RECT m_part;
    size_t m_nStride;
    std::vector<uint8_t> m_bytes;

public:
    Mask(Picture& picture, const RECT& place, const RECT& part)
        : m_part{part.left - 1, part.top - 1, part.right + 1, part.bottom + 1},
          m_nStride(size_t(m_part.right - m_part.left)),
          m_bytes(m_nStride * size_t(m_part.bottom - m_part.top)) {
        RVHANDLE h = nullptr;
        int32_t bOwned = 0;
        check(R_GetResizedRgnHandle(picture.get(), nullptr, &place, &h, &bOwned), "R_GetResizedRgnHandle");
        const RgnHandle owned(bOwned ? h : nullptr);
        const RgnHandle cut(R_WinCreateRectRgnIndirect(&m_part));
        if (!CombineRgn(cut.get(), cut.get(), h, 1)) return;
        for (const RECT& r : rectsOf(cut.get()))
            for (int32_t y = r.top; y < r.bottom; ++y)
                std::fill(at(r.left, y), at(r.left, y) + (r.right - r.left), uint8_t(1));
    }
    uint8_t* at(int32_t x, int32_t y) noexcept {
        return &m_bytes[size_t(y - m_part.top) * m_nStride + size_t(x - m_part.left)];
    }
    bool isEdge(int32_t x, int32_t y) noexcept {
        const uint8_t* p = at(x, y);
        return *p && !(p[-1] & p[1] & *(p - m_nStride) & p[m_nStride]);
    }
};

}  // namespace

bool PaintMode::spreads() const noexcept { return nDepth < 24 && !(uDisplayMode & DM_ORDERED_DITHER); }

void drawPicture(Canvas& canvas, Picture& picture, const RECT& place, const PaintMode& mode, const RECT& part) {
    fillGround(canvas, place, part);
    if (hasAlpha(*picture)) fillSquares(canvas, place, part);
    R_SetDisplayMode(UINT32_MAX, mode.uDisplayMode);
    canvas.pretendDepth(mode.nDepth);
    canvas.setClip(part);
    const PAINTCALLBACKS sink = canvas.sink();
    const int32_t nStatus = R_PaintDCCallback(&sink, picture.get(), nullptr, nullptr, &place, &part, 0);
    canvas.resetClip();
    check(nStatus, "R_PaintDCCallback");
}

void drawOutline(Canvas& canvas, Picture& picture, const RECT& place, const RECT& part) {
    Mask mask(picture, place, part);
    const RECT in = intersection(part, canvas.rect());
    for (int32_t y = in.top; y < in.bottom; ++y)
        for (int32_t x = in.left; x < in.right; ++x)
            if (mask.isEdge(x, y))
                canvas.row(y)[x] = ((x - place.left + y - place.top) / kDash) & 1 ? 0xFF000000 : 0xFFFFFFFF;
}

// ---- text --------------------------------------------------------------------------------------------------------

int32_t textScale(int32_t nWidth) noexcept { return nWidth >= 720 ? 2 : 1; }
int32_t statusHeight(int32_t nWidth) noexcept { return (kGlyphHeight + 2) * textScale(nWidth) + 6; }

void drawStatus(Canvas& canvas, const RECT& where, const std::string& left, const std::string& right) {
    const int32_t nScale = textScale(where.right - where.left);
    canvas.setClip(where);
    canvas.fill(where, kPanel);
    const int32_t nRight = std::max(where.right - textWidth(right, nScale) - 4, where.left + 4);
    drawText(canvas, {nRight, where.top + 3}, right, kText, nScale);
    canvas.setClip({where.left, where.top, nRight - kGlyphWidth * nScale, where.bottom});
    drawText(canvas, {where.left + 4, where.top + 3}, left, kText, nScale);
    canvas.resetClip();
}

void drawHelp(Canvas& canvas, const RECT& where, const std::vector<std::pair<std::string, std::string>>& lines) {
    int32_t nKeys = 0, nTexts = 0;
    for (const auto& [keys, text] : lines) {
        nKeys = std::max(nKeys, textWidth(keys, 1) + 2 * kGlyphWidth);
        nTexts = std::max(nTexts, textWidth(text, 1));
    }
    const int32_t nLine = kGlyphHeight + 4, nMargin = 10, nLines = int32_t(lines.size());
    const SIZE room{where.right - where.left, where.bottom - where.top};
    const bool bLarge =
        2 * (nKeys + nTexts + 2 * nMargin) <= room.width && 2 * (nLines * nLine + 2 * nMargin) <= room.height;
    const int32_t nScale = bLarge ? 2 : 1;
    const SIZE panel{nScale * (nKeys + nTexts + 2 * nMargin), nScale * (nLines * nLine + 2 * nMargin)};
    const POINT at{where.left + std::max((room.width - panel.width) / 2, 0),
                   where.top + std::max((room.height - panel.height) / 2, 0)};
    canvas.setClip(where);
    canvas.fill({at.x, at.y, at.x + panel.width, at.y + panel.height}, kPanel);
    for (int32_t i = 0; i < nLines; ++i) {
        const POINT line{at.x + nScale * nMargin, at.y + nScale * (nMargin + i * nLine)};
        drawText(canvas, line, lines[size_t(i)].first, kKeys, nScale);
        drawText(canvas, {line.x + nScale * nKeys, line.y}, lines[size_t(i)].second, kText, nScale);
    }
    canvas.resetClip();
}

}  // namespace ravo
