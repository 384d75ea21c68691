#include "viewplayer.h"

#include "canvas.h"
#include "failure.h"

namespace ravo {

namespace {

// Frames that tell a shorter time than the least, or none, take the usual one.
constexpr uint64_t kLeastDelay = 20, kUsualDelay = 100;
constexpr uint64_t kMostArrears = 1000;  // a clock that stood still for longer has nothing to make up for

}  // namespace

Player::Player(Animation animation, Picture& target) : m_animation(std::move(animation)) {
    check(R_CreatePlayback(&m_hPlayback, target.get(), m_animation.frames.get()), "R_CreatePlayback");
}

RECT Player::nextFrame(uint64_t uFrom) {
    for (int32_t nState = -1; nState != PB_RENDERED;) {
        R_CancelPlaybackWait(m_hPlayback);  // the time is ours
        check(R_ProcessPlayback(m_hPlayback, &nState), "R_ProcessPlayback");
    }
    check(R_GetPlaybackIndex(m_hPlayback, &m_nFrame), "R_GetPlaybackIndex");
    const BITMAPRECORD frame = m_animation.frames.at(uint32_t(m_nFrame));
    const bool bWaits = frame.Flags & BMF_WAIT_USER_INPUT;
    if (frame.Delay >= kLeastDelay)
        m_uDue = uFrom + frame.Delay;
    else
        m_uDue = bWaits && !frame.Delay ? kNever : uFrom + kUsualDelay;
    RECT changed{};
    check(R_GetPlaybackUpdateRect(m_hPlayback, &changed, 1), "R_GetPlaybackUpdateRect");
    return changed;
}

// The last frame of the last play stays, whatever is to become of it.
bool Player::isOver() noexcept {
    if (m_nFrame + 1 != int32_t(frames()) || std::exchange(m_bAnew, false)) return false;
    return frames() == 1 || ++m_uPlays == m_animation.uPlays;
}

RECT Player::advance(uint64_t uNow) {
    if (!std::exchange(m_bStarted, true)) m_uDue = uNow;
    if (m_uDue != kNever && uNow > m_uDue + kMostArrears) m_uDue = uNow;
    RECT changed{};
    while (m_bRuns && m_uDue <= uNow) {
        if (isOver())
            m_bRuns = false;
        else
            changed = bounds(changed, nextFrame(m_uDue));
    }
    return changed;
}

RECT Player::step(uint64_t uNow) {
    m_bStarted = true;
    m_bRuns = false;
    return nextFrame(uNow);
}

void Player::run(bool bRuns, uint64_t uNow) noexcept {
    if (bRuns && !m_bRuns) {
        m_uDue = uNow;
        m_bAnew = m_uPlays == m_animation.uPlays;
        if (m_bAnew) m_uPlays = 0;
    }
    m_bRuns = bRuns;
}

}  // namespace ravo
