// Where a picture stands in the window: fitted, zoomed, moved. Pure geometry.
#pragma once

#include <ravokit/paintsettings.h>

#include <optional>

namespace ravo {

class Viewport {
public:
    /// New sizes. A fit that is in force is made again; else the middle of the view stays where it is.
    void setWindow(SIZE size) noexcept;
    void setPicture(SIZE size) noexcept;

    /// FIT_ modes; they hold until the next zoom.
    void fit(uint32_t uFit) noexcept;
    /// Goes back to the fit that was in force before it was zoomed.
    void refit() noexcept { fit(m_uFit); }
    /// Zooms so that the picture stays where it is at a point of the window.
    void zoomAt(POINT at, double dFactor) noexcept { zoomTo(at, m_dZoom * dFactor); }
    void zoomTo(POINT at, double dZoom) noexcept;
    /// Moves the picture, as far as there is some of it outside of the window. Tells by how much.
    POINT pan(POINT by) noexcept;

    SIZE window() const noexcept { return m_window; }
    POINT middle() const noexcept { return {m_window.width / 2, m_window.height / 2}; }
    /// The rectangle of the whole picture in the window's coordinates. It may reach outside.
    const RECT& place() const noexcept { return m_place; }
    /// Pixels of the window for one of the picture, along a row.
    double zoom() const noexcept { return m_dZoom; }

    /// The picture's pixel that a paint shows at a point of the window; none outside of the picture.
    std::optional<POINT> pictureAt(POINT at) const noexcept;

private:
    void placeAt(POINT at, double dX, double dY) noexcept;

    SIZE m_window{1, 1}, m_picture{1, 1};
    RECT m_place{0, 0, 1, 1};
    double m_dZoom = 1;
    uint32_t m_uFit = FIT_IF_LARGER;
    bool m_bFits = true;
};

}  // namespace ravo
