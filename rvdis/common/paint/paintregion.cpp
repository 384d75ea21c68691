// Painting through the picture's region: it becomes the sink's clip.
#include <cmath>
#include <limits>

#include "internal/paintwork.h"
#include "internal/region_.h"
#include "ravokit/bitmaprgn.h"
#include "ravokit/objects.h"
#include "ravokit/region.h"

namespace rv {
namespace {

// A region handle, and whether it is to be ended here.
struct ClipHandle {
    RVHANDLE h = nullptr;
    int32_t bOwned = 0;

    ClipHandle() = default;
    ClipHandle(const ClipHandle&) = delete;
    ClipHandle& operator=(const ClipHandle&) = delete;
    ~ClipHandle() {
        if (bOwned && h) DeleteObject(h);
    }
    // Another one takes its place.
    void own(RVHANDLE hNew) noexcept {
        if (bOwned && h) DeleteObject(h);
        h = hNew;
        bOwned = 1;
    }
};

constexpr int32_t kTransformed = 2;  // of pfnGetGraphicsMode

bool isIdentity(const float (&m)[6]) noexcept {
    constexpr float kIdentity[6] = {1, 0, 0, 1, 0, 0};
    for (int i = 0; i < 6; ++i)
        if (!(std::abs(double(m[i]) - double(kIdentity[i])) <= std::numeric_limits<double>::epsilon())) return false;
    return true;
}

// The region under the world transform of the device. 1, or -1.
int32_t transform(const PAINTCALLBACKS& calls, ClipHandle& clip) noexcept {
    if (!calls.pDisplay || (calls.uSinkFlags & PAINTSINK_NO_TRANSFORM) || !calls.pfnGetGraphicsMode ||
        !calls.pfnGetWorldTransform)
        return 1;
    if (calls.pfnGetGraphicsMode(calls.pDisplay, calls.pUserData, 1.0, 0.0) != kTransformed) return 1;
    float m[6] = {1, 0, 0, 1, 0, 0};
    calls.pfnGetWorldTransform(calls.pDisplay, m, calls.pUserData);
    if (isIdentity(m)) return 1;
    const uint32_t uBytes = GetRegionData(clip.h, 0, nullptr);
    Buffer<uint8_t> data;
    if (uBytes == 0 || !data.allocate(uBytes)) return -1;  // Not enough memory available
    auto* const pData = reinterpret_cast<RGNDATA*>(data.get());
    if (GetRegionData(clip.h, uBytes, pData) != uBytes) return -1;
    const RVHANDLE h = ExtCreateRegion(m, uBytes, pData);
    if (!h) return -1;
    clip.own(h);
    return 1;
}

// The region goes along with the origin of the device; a shared one is copied first. 1, or a status.
int32_t moveToOrigin(const PAINTCALLBACKS& calls, ClipHandle& clip) noexcept {
    POINT origin{0, 0};
    if (calls.pfnGetOrigin) calls.pfnGetOrigin(calls.pDisplay, &origin, calls.pUserData);
    if (origin.x == 0 && origin.y == 0) return 1;
    if (!clip.bOwned) {
        const RVHANDLE hCopy = DuplicateRgnHandle(clip.h);
        if (!hCopy) return -1;  // Not enough memory available
        clip.own(hCopy);
    }
    return OffsetRgn(clip.h, origin.x, origin.y);
}

}  // namespace

int32_t selectRegion(const PaintSink& sink, const PaintJob& job, const RECT* pSource, int32_t nMode) noexcept {
    const PAINTCALLBACKS& calls = sink.calls();
    ClipHandle clip;
    if (const int32_t n = R_GetResizedRgnHandle(&job.bm, pSource, &job.dest, &clip.h, &clip.bOwned); n != 1) return n;
    const bool bOnTop = nMode == PAINTCLIP_AND;  // of what clips the device already
    if (bOnTop)
        if (const int32_t n = transform(calls, clip); n != 1) return n;
    sink.saveState();
    if (bOnTop)
        if (const int32_t n = moveToOrigin(calls, clip); n != 1) {
            sink.restoreState();
            return n;
        }
    if (calls.pfnSelectClipRgn) calls.pfnSelectClipRgn(calls.pDisplay, clip.h, nMode, calls.pUserData);
    return 1;
}

}  // namespace rv
