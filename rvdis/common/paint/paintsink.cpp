// The sink of a paint: a working copy of the caller's table, and calls that mind missing slots.
#include <cstring>

#include "internal/paintwork.h"

namespace rv {

PaintSink::~PaintSink() {
    if (m_pBegun && m.pfnEnd) m.pfnEnd(m.pDisplay, m_pBegun, m.pUserData);
}

int32_t PaintSink::open(const PAINTCALLBACKS& sink, const BITMAPRECORD& bm, const RECT* pDestClip) noexcept {
    std::memcpy(static_cast<void*>(&m), &sink, sink.uStructSize);  // an older one is continued with nulls
    m.uStructSize = sizeof m;
    if (m.pfnValidate && m.pfnValidate(m.pDisplay, &bm, m.pUserData) == 0) {
        constexpr size_t kKept = offsetof(PAINTCALLBACKS, pUserData);
        std::memset(reinterpret_cast<uint8_t*>(&m) + kKept, 0, sizeof m - kKept);
    }
    if (!m.pfnStretchBits) return -13;  // Invalid parameter passed
    if (m.pfnBegin)
        if (const int32_t n = m.pfnBegin(m.pDisplay, &bm, pDestClip, m.pUserData); n != 1) return n;
    m_pBegun = &bm;
    return 1;
}

int32_t PaintSink::deviceBits() const noexcept {
    if (!m.pfnGetDeviceCaps) return 24;
    const auto caps = [&](int32_t nIndex) { return int64_t(m.pfnGetDeviceCaps(m.pDisplay, nIndex, m.pUserData)); };
    if (caps(PAINTCAPS_TECHNOLOGY) == PAINTTECHNOLOGY_METAFILE) return 24;
    const int64_t nBits = caps(PAINTCAPS_BITS) * caps(PAINTCAPS_PLANES);
    return nBits >= 24 ? 24 : nBits >= 8 ? 8 : nBits >= 4 ? 4 : 1;
}

int32_t PaintSink::ask(const BITMAPRECORD& bm, int32_t nWidth, SINKBITMAPINFO& info) const noexcept {
    if (!m.pfnGetBitmapInfo) return 0;
    info = {};
    info.uStructSize = sizeof info;
    const int32_t n = m.pfnGetBitmapInfo(m.pDisplay, &bm, nWidth, &info, m.pUserData);
    if (n != 1) return n < 0 ? n : 0;
    const bool bSound = info.uStructSize == sizeof info &&
                        (info.nViewPerspective == TOP_LEFT || info.nViewPerspective == BOTTOM_LEFT) &&
                        info.nBitsPerPixel > 0 && info.nPlanes >= 0 && info.nPlanes <= 1 && info.uInfoLimit <= 65535;
    return bSound ? 1 : -1491;  // The DIB is invalid
}

void PaintSink::saveState() const noexcept {
    if (m.pfnSaveState) m.pfnSaveState(m.pDisplay, m.pUserData);
}
void PaintSink::restoreState() const noexcept {
    if (m.pfnRestoreState) m.pfnRestoreState(m.pDisplay, -1, m.pUserData);
}
void PaintSink::intersectClip(const RECT& r) const noexcept {
    if (m.pfnIntersectClip) m.pfnIntersectClip(m.pDisplay, r.left, r.top, r.right, r.bottom, m.pUserData);
}

int32_t PaintSink::stretchBits(const RECT& dst, const RECT& src, const void* pPixels, const PAINTBITMAPINFO& info,
                               uint32_t uUsage, uint32_t uRop) const noexcept {
    return m.pfnStretchBits(m.pDisplay, dst.left, dst.top, dst.right - dst.left, dst.bottom - dst.top, src.left,
                            src.top, src.right - src.left, src.bottom - src.top, pPixels, &info, uUsage, uRop,
                            m.pUserData) == -1
               ? -1
               : 1;
}

}  // namespace rv
