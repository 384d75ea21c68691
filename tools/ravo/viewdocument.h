// What the viewer shows: a picture, as it came or as an animation composes it, with the state that the user gives it.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "picture.h"
#include "region.h"
#include "viewplayer.h"

namespace ravo {

/// Where and how the wand was put last.
struct WandTouch {
    POINT seed;      // stored column and row
    uint32_t uMode;  // RGN_MODE_
};

class Document {
public:
    /// What a file holds; throws a Failure.
    static std::unique_ptr<Document> open(const std::string& path);
    explicit Document(Picture picture, std::string name = "picture");
    explicit Document(Animation animation, std::string name = "animation");
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    const std::string& name() const noexcept { return m_name; }
    Picture& picture() noexcept { return m_picture; }
    SIZE size() const noexcept { return viewedSize(*m_picture); }
    /// Null for a single picture.
    Player* player() noexcept { return m_pPlayer.get(); }

    // ---- window level: grey of 12 and 16 bits ----

    bool hasLevels() const noexcept { return m_range.has_value(); }
    int32_t center() const noexcept { return m_nCenter; }
    int32_t width() const noexcept { return m_nWidth; }
    /// Distance of the smallest and the largest sample.
    int32_t range() const noexcept { return m_range->second - m_range->first; }
    /// Kept to what samples of the depth can be. The table is made by applyLevel.
    void setLevel(int32_t nCenter, int32_t nWidth) noexcept;
    /// From the smallest sample to the largest.
    void setWholeLevel() noexcept;
    void applyLevel();

    // ---- the wand ----

    /// Selects the area around a point of the picture as seen. False where the picture has no colour there.
    bool touch(POINT viewed, uint32_t uMode, int32_t nTolerance);
    /// Puts the wand again where it was put last, with another tolerance.
    void touchAgain(int32_t nTolerance);
    void dropRegion() noexcept;
    bool hasRegion() noexcept { return R_BitmapHasRgn(m_picture.get()); }

    // ---- overlays ----

    bool hasOverlays() noexcept;
    void showOverlays(bool bShow);

    /// What stands at a point of the picture as seen: index and colour, or sample.
    std::string valueAt(POINT viewed);

private:
    void findRange();
    int32_t sample(uint64_t uPixel) const noexcept;

    std::string m_name;
    Picture m_picture;
    std::unique_ptr<Player> m_pPlayer;
    bool m_bSigned = false;
    std::optional<std::pair<int32_t, int32_t>> m_range;  // of the samples, where there are levels
    int32_t m_nCenter = 0, m_nWidth = 2;
    bool m_bLevelApplied = true;
    std::optional<WandTouch> m_touch;
    Region m_pBefore;  // the region before the last touch
};

}  // namespace ravo
