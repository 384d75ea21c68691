// GIF files through giflib: the frames of an animation, as a playback takes them. They are only read.
#pragma once

#include <string>
#include <utility>

#include "picture.h"

namespace ravo {

/// A bitmap list that frees itself and its frames.
class FrameList {
    HBITMAPLIST m_hList = nullptr;

public:
    FrameList();
    FrameList(FrameList&& other) noexcept : m_hList(std::exchange(other.m_hList, nullptr)) {}
    FrameList& operator=(FrameList&& other) noexcept {
        std::swap(m_hList, other.m_hList);
        return *this;
    }
    FrameList(const FrameList&) = delete;
    ~FrameList() { R_DestroyBitmapList(m_hList); }

    HBITMAPLIST get() const noexcept { return m_hList; }
    uint32_t count() const noexcept;
    /// A look at a frame, which stays the list's; an empty record where there is none.
    BITMAPRECORD at(uint32_t uIndex) const noexcept;
    void append(Picture frame);
};

/// Frames have 8 bits and a palette, and tell Left, Top, Delay, DisposalMethod, Transparency and whether they wait for
/// the user.
struct Animation {
    SIZE size{};
    COLORREF background = 0xFFFFFF;  // white where the file tells none
    uint32_t uPlays = 1;             // how often the animation runs; 0 is without end
    FrameList frames{};
};

/// By the first bytes of the file.
bool isGifFile(const std::string& path);
/// All frames of a file; throws a Failure where it is damaged or has none.
Animation loadGif(const std::string& path);
/// What a playback of the animation composes onto: 24 bits, with the animation's background.
Picture canvasOf(const Animation& animation);

}  // namespace ravo
