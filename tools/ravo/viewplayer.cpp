#include "viewplayer.h"

#include "canvas.h"

namespace ravo {

namespace {

// Frames that tell a shorter time than the least, or none, take the usual one.
constexpr uint64_t kLeastDelay = 20, kUsualDelay = 100;
constexpr uint64_t kMostArrears = 1000;  // a clock that stood still for longer has nothing to make up for

}  // namespace

RECT Player::nextFrame(uint64_t uFrom) {
    while (!m_composer.next()) continue;  // from the last frame to the first
    const BITMAPRECORD frame = m_composer.frame();
    const bool bWaits = frame.Flags & BMF_WAIT_USER_INPUT;
    if (frame.Delay >= kLeastDelay)
        m_uDue = uFrom + frame.Delay;
    else
        m_uDue = bWaits && !frame.Delay ? kNever : uFrom + kUsualDelay;
    return m_composer.takeChanged();
}

// The last frame of the last play stays, whatever is to become of it.
bool Player::isOver() noexcept {
    if (!isLast() || std::exchange(m_bAnew, false)) return false;
    return frames() == 1 || ++m_uPlays == m_composer.animation().uPlays;
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
    if (bRuns && !runs()) {
        m_uDue = uNow;
        const bool bOver = m_uPlays == m_composer.animation().uPlays;
        m_bAnew = bOver && isLast();
        if (bOver) m_uPlays = 0;
    }
    m_bRuns = bRuns;
}

}  // namespace ravo
