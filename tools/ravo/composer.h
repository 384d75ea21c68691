// The frames of an animation composed one after the other by the playback calls. Their waits are left to the caller.
#pragma once

#include <ravokit/playback.h>

#include "gif.h"

namespace ravo {

class Composer {
    Animation m_animation;
    BITMAPRECORD& m_target;
    HPLAYBACK m_hPlayback = nullptr;
    int32_t m_nFrame = -1;

public:
    /// Composes onto the target, which stays where it is as long as this lives. Nothing is composed yet.
    Composer(Animation animation, Picture& target);
    Composer(const Composer&) = delete;
    Composer& operator=(const Composer&) = delete;
    ~Composer() { R_DestroyPlayback(m_hPlayback, nullptr); }

    /// Goes on to the next frame. False at the end of the animation, behind which the first frame comes next. Frames
    /// go by the target's rows and columns, whatever view it has got meanwhile.
    bool next();
    /// What the target has of changes since the last call, in its rows and columns.
    RECT takeChanged();

    const Animation& animation() const noexcept { return m_animation; }
    /// The frame that was composed last; -1 before the first.
    int32_t frameIndex() const noexcept { return m_nFrame; }
    BITMAPRECORD frame() const noexcept { return m_animation.frames.at(uint32_t(m_nFrame)); }
};

}  // namespace ravo
