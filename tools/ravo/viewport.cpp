#include "viewport.h"

#include <algorithm>
#include <cmath>

namespace ravo {

namespace {

constexpr double kLeastZoom = 1.0 / 64, kMostZoom = 64;

// What is smaller than the window stands in its middle, what is larger leaves no gap.
int32_t kept(int32_t nStart, int32_t nSize, int32_t nWindow) noexcept {
    if (nSize <= nWindow) return (nWindow - nSize) / 2;
    return std::clamp(nStart, nWindow - nSize, 0);
}

int32_t scaled(int32_t nSize, double dZoom) noexcept { return std::max(int32_t(std::lround(nSize * dZoom)), 1); }

}  // namespace

void Viewport::setWindow(SIZE size) noexcept {
    const POINT old = middle();
    m_window = {std::max(size.width, 1), std::max(size.height, 1)};
    if (m_bFits) {
        refit();
        return;
    }
    const POINT now = middle();
    const SIZE shown{m_place.right - m_place.left, m_place.bottom - m_place.top};
    m_place.left = kept(m_place.left + now.x - old.x, shown.width, m_window.width);
    m_place.top = kept(m_place.top + now.y - old.y, shown.height, m_window.height);
    m_place.right = m_place.left + shown.width;
    m_place.bottom = m_place.top + shown.height;
}

void Viewport::setPicture(SIZE size) noexcept {
    m_picture = size;
    if (m_bFits)
        refit();
    else
        placeAt(middle(), 0.5, 0.5);
}

void Viewport::fit(uint32_t uFit) noexcept {
    m_uFit = uFit;
    m_bFits = true;
    m_place = {0, 0, m_window.width, m_window.height};
    R_CalculatePaintModeRectangle(m_picture.width, m_picture.height, &m_place, uFit, ALIGN_CENTER, ALIGN_CENTER);
    m_dZoom = double(m_place.right - m_place.left) / m_picture.width;
}

// Puts the part (dX, dY) of the picture, 0 to 1 each, at a point of the window.
void Viewport::placeAt(POINT at, double dX, double dY) noexcept {
    const SIZE shown{scaled(m_picture.width, m_dZoom), scaled(m_picture.height, m_dZoom)};
    const auto start = [](int32_t nAt, double d, int32_t nSize) { return int32_t(std::lround(nAt + 0.5 - d * nSize)); };
    m_place.left = kept(start(at.x, dX, shown.width), shown.width, m_window.width);
    m_place.top = kept(start(at.y, dY, shown.height), shown.height, m_window.height);
    m_place.right = m_place.left + shown.width;
    m_place.bottom = m_place.top + shown.height;
}

void Viewport::zoomTo(POINT at, double dZoom) noexcept {
    m_bFits = false;
    const double dX = (at.x + 0.5 - m_place.left) / (m_place.right - m_place.left);
    const double dY = (at.y + 0.5 - m_place.top) / (m_place.bottom - m_place.top);
    m_dZoom = std::clamp(dZoom, kLeastZoom, kMostZoom);
    placeAt(at, dX, dY);
}

POINT Viewport::pan(POINT by) noexcept {
    const SIZE shown{m_place.right - m_place.left, m_place.bottom - m_place.top};
    const auto moved = [](int32_t nStart, int32_t nBy, int32_t nSize, int32_t nWindow) {
        return nSize <= nWindow ? 0 : kept(nStart + nBy, nSize, nWindow) - nStart;
    };
    const POINT d{moved(m_place.left, by.x, shown.width, m_window.width),
                  moved(m_place.top, by.y, shown.height, m_window.height)};
    m_place = {m_place.left + d.x, m_place.top + d.y, m_place.right + d.x, m_place.bottom + d.y};
    return d;
}

std::optional<POINT> Viewport::pictureAt(POINT at) const noexcept {
    if (at.x < m_place.left || at.x >= m_place.right || at.y < m_place.top || at.y >= m_place.bottom) return {};
    const auto part = [](int32_t n, int32_t nOf, int32_t nAll) { return int32_t(int64_t(n) * nAll / nOf); };
    return POINT{part(at.x - m_place.left, m_place.right - m_place.left, m_picture.width),
                 part(at.y - m_place.top, m_place.bottom - m_place.top, m_picture.height)};
}

}  // namespace ravo
