#include "composer.h"

#include "failure.h"

namespace ravo {

namespace {

// A playback places frames as its target is seen, but takes them away by rows and columns. Both are the same while the
// target counts as upright.
class Upright {
    BITMAPRECORD& m_bm;
    int32_t m_nView;

public:
    explicit Upright(BITMAPRECORD& bm) noexcept : m_bm(bm), m_nView(std::exchange(bm.ViewPerspective, TOP_LEFT)) {}
    Upright(const Upright&) = delete;
    Upright& operator=(const Upright&) = delete;
    ~Upright() { m_bm.ViewPerspective = m_nView; }
};

}  // namespace

Composer::Composer(Animation animation, Picture& target) : m_animation(std::move(animation)), m_target(*target) {
    check(R_CreatePlayback(&m_hPlayback, &m_target, m_animation.frames.get()), "R_CreatePlayback");
}

bool Composer::next() {
    const Upright meanwhile(m_target);
    int32_t nState = -1;
    do {
        R_CancelPlaybackWait(m_hPlayback);
        check(R_ProcessPlayback(m_hPlayback, &nState), "R_ProcessPlayback");
        if (nState == PB_END) return false;
    } while (nState != PB_RENDERED);
    check(R_GetPlaybackIndex(m_hPlayback, &m_nFrame), "R_GetPlaybackIndex");
    return true;
}

RECT Composer::takeChanged() {
    RECT changed{};
    check(R_GetPlaybackUpdateRect(m_hPlayback, &changed, 1), "R_GetPlaybackUpdateRect");
    return changed;
}

}  // namespace ravo
