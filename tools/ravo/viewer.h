// The viewer without its window: what it shows, what keys and the mouse do to that, and which parts have to be drawn.
//
// It is told what happens by take, time included, and drawn onto whatever canvas the window has. Nothing here knows
// where input comes from, so that a script drives it as a user does.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "canvas.h"
#include "viewdocument.h"
#include "viewdraw.h"
#include "viewport.h"

namespace ravo {

enum class Happening { key, moved, pressed, released, wheel, resized, tick };

struct Input {
    Happening kind;
    std::string key{};  // one character as on the key, or a name without spaces: Left, PageDown, F1
    POINT at{};         // of the pointer; the new size for resized
    int32_t n = 0;      // number of the button, 1 left, 2 middle, 3 right; turns of the wheel; milliseconds of a tick
    bool bShift = false, bControl = false, bAlt = false;
};

struct KeyCommand;

class Viewer {
public:
    /// Opens the first file that can be opened, and throws if none can. Others are left out as they are come to.
    /// Each gets the overlays, as addOverlay takes them.
    Viewer(std::vector<std::string> paths, SIZE window, std::vector<std::string> overlays = {});
    /// Shows a document of its own alone.
    Viewer(std::unique_ptr<Document> pDocument, SIZE window);

    void take(const Input& input);
    bool ended() const noexcept { return m_bEnded; }

    /// When, by the clock that ticks make, something changes by itself; Player::kNever if nothing does.
    uint64_t due() const noexcept;
    uint64_t now() const noexcept { return m_uNow; }

    std::string title();

    /// Something has to be drawn.
    bool isStale();
    /// The surface has other contents than were drawn last.
    void forgetSurface() noexcept { m_damage.bAll = m_damage.bStatus = true; }
    /// Brings a canvas of the window's size up to date, and tells what changed of it.
    std::vector<RECT> draw(Canvas& canvas);

    /// Milliseconds that parts of the last drawing took.
    struct Times {
        double dMoving = 0, dPainting = 0;
    };
    const Times& times() const noexcept { return m_times; }

    Document& document() noexcept { return *m_pDocument; }
    const Viewport& viewport() const noexcept { return m_viewport; }
    /// The part of the window that shows the picture.
    RECT area() const noexcept;

private:
    struct Damage {
        bool bAll = true, bStatus = true;
        RECT part{};
        POINT scroll{};
    };

    static std::span<const KeyCommand> commands() noexcept;

    // Input.
    void key(const Input& input);
    void moved(const Input& input);
    void released(const Input& input);
    void wheel(const Input& input);
    void dragLevel(POINT by);
    void touch(const Input& input);

    // What the commands do.
    void help(const Input&);
    void escape(const Input& input);
    void quit(const Input&);
    void otherFile(const Input& input);
    void changeFit(const Input& input);
    void zoom(const Input& input);
    void moveView(const Input& input);
    void changePaint(const Input& input);
    void neutralPaint(const Input&);
    void wholeLevel(const Input&);
    void turn(const Input& input);
    void changeDepth(const Input&);
    void changeDither(const Input&);
    void changeSampling(const Input&);
    void toggleOverlays(const Input&);
    void toggleStatus(const Input&);
    void play(const Input& input);

    bool open(size_t nFile);
    void show(std::unique_ptr<Document> pDocument);
    void layOut();
    void pan(POINT by);
    void advance(uint64_t uMilliseconds);
    void damageStored(RECT stored);

    size_t sampling() const noexcept;
    bool suits(size_t nSampling) const noexcept;
    const char* ditherName() const noexcept;
    const char* samplingName() const noexcept;
    PaintMode paintMode() const noexcept;
    std::string leftStatus();
    std::string rightStatus();
    void drawArea(Canvas& canvas, const RECT& part);

    std::vector<std::string> m_paths, m_overlays;
    size_t m_nFile = 0;
    std::unique_ptr<Document> m_pDocument;
    SIZE m_window;
    Viewport m_viewport;
    uint64_t m_uNow = 0;
    bool m_bEnded = false;

    POINT m_pointer{};
    struct {
        int32_t nButton = 0;  // the one that is down
        POINT at{}, last{};
        bool bDrags = false;
        int32_t nCenter = 0, nWidth = 0;
    } m_press;

    bool m_bHelp = false, m_bStatus = true, m_bOverlays = true, m_bEscaped = false;
    size_t m_nDepth = 0, m_nDither = 0;
    std::optional<size_t> m_sampling;
    int32_t m_nTolerance = 20;
    std::string m_message, m_shownLeft, m_shownRight;
    Damage m_damage;
    Times m_times;
};

/// A line of the help page, and what its keys do.
struct KeyCommand {
    const char* pKeys;  // separated by spaces; null for a line that only tells about the mouse
    const char* pShown;
    const char* pHelp;
    void (Viewer::*run)(const Input& input);
};

}  // namespace ravo
