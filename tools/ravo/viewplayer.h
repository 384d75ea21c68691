// An animation that runs by a clock which its owner tells: the playback calls, without waiting.
#pragma once

#include "composer.h"

namespace ravo {

class Player {
public:
    static constexpr uint64_t kNever = UINT64_MAX;

    /// Composes onto the target, which stays where it is as long as the player lives. Nothing is composed yet.
    Player(Animation animation, Picture& target) : m_composer(std::move(animation), target) {}

    /// Composes what is due by a time in milliseconds, and tells which part of the target changed, in its rows and
    /// columns. The first call shows the first frame and starts the clock.
    RECT advance(uint64_t uNow);
    /// Goes on to the next frame at once, and stops.
    RECT step(uint64_t uNow);
    /// When the next frame is due; kNever while nothing runs.
    uint64_t due() const noexcept { return m_bRuns ? m_uDue : kNever; }

    /// False too where a frame waits for the user, who goes on by run.
    bool runs() const noexcept { return m_bRuns && m_uDue != kNever; }
    /// Stops, or goes on; one that is over begins anew.
    void run(bool bRuns, uint64_t uNow) noexcept;

    int32_t frame() const noexcept { return m_composer.frameIndex(); }
    uint32_t frames() const noexcept { return m_composer.animation().frames.count(); }

private:
    RECT nextFrame(uint64_t uFrom);
    bool isLast() const noexcept { return frame() + 1 == int32_t(frames()); }
    bool isOver() noexcept;

    Composer m_composer;
    bool m_bRuns = true, m_bStarted = false;
    bool m_bAnew = false;  // the frame that was the last one goes on to the first
    uint32_t m_uPlays = 0;
    uint64_t m_uDue = 0;
};

}  // namespace ravo
