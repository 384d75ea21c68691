// An animation that runs by a clock which its owner tells: the playback calls, without waiting.
#pragma once

#include <ravokit/playback.h>

#include "gif.h"

namespace ravo {

class Player {
public:
    static constexpr uint64_t kNever = UINT64_MAX;

    /// Composes onto the target, which stays where it is as long as the player lives. Nothing is composed yet.
    Player(Animation animation, Picture& target);
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    ~Player() { R_DestroyPlayback(m_hPlayback, nullptr); }

    /// Composes what is due by a time in milliseconds, and tells which part of the target changed, in its rows and
    /// columns. The first call shows the first frame and starts the clock.
    RECT advance(uint64_t uNow);
    /// Goes on to the next frame at once, and stops.
    RECT step(uint64_t uNow);
    /// When the next frame is due; kNever while nothing runs.
    uint64_t due() const noexcept { return m_bRuns ? m_uDue : kNever; }

    bool runs() const noexcept { return m_bRuns; }
    /// Stops, or goes on; one that is over begins anew.
    void run(bool bRuns, uint64_t uNow) noexcept;

    int32_t frame() const noexcept { return m_nFrame; }
    uint32_t frames() const noexcept { return m_animation.frames.count(); }

private:
    RECT nextFrame(uint64_t uFrom);
    bool isOver() noexcept;

    Animation m_animation;
    HPLAYBACK m_hPlayback = nullptr;
    bool m_bRuns = true, m_bStarted = false;
    bool m_bAnew = false;  // the frame that was the last one goes on to the first
    uint32_t m_uPlays = 0;
    int32_t m_nFrame = -1;
    uint64_t m_uDue = 0;
};

}  // namespace ravo
