// The viewer's keys: a table that is the help page too, and what they do.
#include <ravokit/paintsettings.h>
#include <ravokit/view.h>

#include <algorithm>
#include <iterator>

#include "failure.h"
#include "viewer.h"

namespace ravo {

namespace {

constexpr int32_t kDepths[] = {24, 8, 4, 1};
// Bits of the display mode, and what the status line calls them.
struct Choice {
    uint32_t uMode;
    const char* pName;
};
constexpr Choice kDithers[] = {
    {0, "diffused"}, {DM_ORDERED_DITHER, "ordered"}, {DM_ORDERED_DITHER | DM_DITHER_CLUSTERED, "clustered"}};
// The last two are for pictures of 1 bit.
constexpr Choice kSamplings[] = {{0, "nearest"},
                                 {DM_RESAMPLE, "area"},
                                 {DM_BICUBIC, "bicubic"},
                                 {DM_BITONAL_COVERAGE, "coverage"},
                                 {DM_BITONAL_SMOOTH, "smooth"}};
constexpr size_t kArea = 1, kCoverage = 3;

constexpr int32_t kKeyPan = 50, kFineKeyPan = 10;  // pixels

}  // namespace

std::span<const KeyCommand> Viewer::commands() noexcept {
    static constexpr KeyCommand kCommands[] = {
        {"F1", "F1", "this page", &Viewer::help},
        {"q", "q, Esc Esc", "quit", &Viewer::quit},
        {"Escape", "Esc", "drop the region", &Viewer::escape},
        {"PageDown PageUp", "PageDown PageUp", "next and previous file", &Viewer::otherFile},
        {"1 f a w e x", "1 f a w e x", "own size; fit if larger, always, width, height; stretch", &Viewer::changeFit},
        {"+ = -", "+ -, wheel", "zoom at the pointer", &Viewer::zoom},
        {"Left Right Up Down", "arrows, Shift", "move the view, a little", &Viewer::moveView},
        {nullptr, "right drag", "move the view; middle and, on pictures without levels, left too", nullptr},
        {nullptr, "left drag", "window level of deep gray: right is wider, up is brighter", nullptr},
        {"l", "l", "window of all levels", &Viewer::wholeLevel},
        {nullptr, "click, Shift, Ctrl", "magic wand: select, add, take away", nullptr},
        {nullptr, "Alt wheel", "tolerance of the wand", nullptr},
        {"b c g", "b c g, Shift", "more brightness, contrast, gamma; less", &Viewer::changePaint},
        {"n", "n", "none of these", &Viewer::neutralPaint},
        {"r h v", "r h v", "turn (Shift: back), mirror, flip the view", &Viewer::turn},
        {"d", "d", "colours of a device of 24, 8, 4, 1 bits", &Viewer::changeDepth},
        {"o", "o", "dithering: diffused, ordered, clustered", &Viewer::changeDither},
        {"s", "s", "scaling: nearest, area, bicubic; 1 bit: coverage, smooth", &Viewer::changeSampling},
        {"y", "y", "overlays on and off", &Viewer::toggleOverlays},
        {"i", "i", "status line on and off", &Viewer::toggleStatus},
        {"Space .", "Space .", "stop and go on; one frame", &Viewer::play},
    };
    return kCommands;
}

// ---- what is shown -----------------------------------------------------------------------------------------------

void Viewer::help(const Input&) {
    m_bHelp = !m_bHelp;
    forgetSurface();
}

void Viewer::quit(const Input&) { m_bEnded = true; }

// Takes away what stands in the way, one thing at a time, and at last the window.
void Viewer::escape(const Input& input) {
    if (m_bHelp) {
        help(input);
    } else if (m_pDocument->hasRegion()) {
        m_pDocument->dropRegion();
        forgetSurface();
    } else if (m_bEscaped) {
        m_bEnded = true;
    } else {
        m_bEscaped = true;
        m_message = "Esc again quits";
    }
}

// Files that can't be opened are passed over.
void Viewer::otherFile(const Input& input) {
    const size_t nFiles = m_paths.size();
    const size_t nStep = input.key == "PageDown" ? 1 : nFiles - 1;
    std::string skipped;
    for (size_t i = 1, n = m_nFile; i < nFiles; ++i) {
        n = (n + nStep) % nFiles;
        if (open(n)) {
            m_message = skipped;
            return;
        }
        skipped = m_message;
    }
}

void Viewer::toggleOverlays(const Input&) {
    m_bOverlays = !m_bOverlays;
    m_pDocument->showOverlays(m_bOverlays);
    m_message = !m_pDocument->hasOverlays() ? "there are no overlays" : m_bOverlays ? "overlays" : "no overlays";
    forgetSurface();
}

void Viewer::toggleStatus(const Input&) {
    m_bStatus = !m_bStatus;
    layOut();
}

void Viewer::play(const Input& input) {
    Player* pPlayer = m_pDocument->player();
    if (!pPlayer) return;
    m_pDocument->dropRegion();
    forgetSurface();
    if (input.key == ".")
        damageStored(pPlayer->step(m_uNow));
    else
        pPlayer->run(!pPlayer->runs(), m_uNow);
    advance(0);
}

// ---- where it is shown -------------------------------------------------------------------------------------------

void Viewer::changeFit(const Input& input) {
    static constexpr std::pair<char, uint32_t> kFits[] = {
        {'f', FIT_IF_LARGER}, {'a', FIT_ALWAYS}, {'w', FIT_WIDTH}, {'e', FIT_HEIGHT}, {'x', FIT_STRETCH}};
    if (input.key == "1") m_viewport.zoomTo(m_pointer, 1);
    for (const auto& [cKey, uFit] : kFits)
        if (input.key[0] == cKey) m_viewport.fit(uFit);
    forgetSurface();
}

void Viewer::zoom(const Input& input) {
    m_viewport.zoomAt(m_pointer, input.key == "-" ? 0.8 : 1.25);
    forgetSurface();
}

void Viewer::moveView(const Input& input) {
    const int32_t n = input.bShift ? kFineKeyPan : kKeyPan;
    const int32_t nX = input.key == "Left" ? n : input.key == "Right" ? -n : 0;
    const int32_t nY = input.key == "Up" ? n : input.key == "Down" ? -n : 0;
    pan({nX, nY});
}

void Viewer::turn(const Input& input) {
    BITMAPRECORD* pBitmap = m_pDocument->picture().get();
    if (input.key == "h")
        check(R_ReverseBitmapViewPerspective(pBitmap), "R_ReverseBitmapViewPerspective");
    else if (input.key == "v")
        check(R_FlipBitmapViewPerspective(pBitmap), "R_FlipBitmapViewPerspective");
    else
        check(R_RotateBitmapViewPerspective(pBitmap, input.bShift ? -90 : 90), "R_RotateBitmapViewPerspective");
    layOut();
}

// ---- how it is shown ---------------------------------------------------------------------------------------------

void Viewer::wholeLevel(const Input&) {
    if (!m_pDocument->hasLevels()) return;
    m_pDocument->setWholeLevel();
    forgetSurface();
}

void Viewer::changePaint(const Input& input) {
    BITMAPRECORD* pBitmap = m_pDocument->picture().get();
    const int32_t nSign = input.bShift ? -1 : 1;
    const auto next = [&](int32_t n) { return std::clamp(n + nSign * 50, -1000, 1000); };
    if (input.key == "b") check(R_SetPaintIntensity(pBitmap, next(pBitmap->PaintIntensity)), "R_SetPaintIntensity");
    if (input.key == "c") check(R_SetPaintContrast(pBitmap, next(pBitmap->PaintContrast)), "R_SetPaintContrast");
    if (input.key == "g")
        check(R_SetPaintGamma(pBitmap, uint32_t(std::clamp(int32_t(pBitmap->PaintGamma) + nSign * 10, 10, 500))),
              "R_SetPaintGamma");
    forgetSurface();
}

void Viewer::neutralPaint(const Input&) {
    BITMAPRECORD* pBitmap = m_pDocument->picture().get();
    check(R_SetPaintIntensity(pBitmap, 0), "R_SetPaintIntensity");
    check(R_SetPaintContrast(pBitmap, 0), "R_SetPaintContrast");
    check(R_SetPaintGamma(pBitmap, 100), "R_SetPaintGamma");
    forgetSurface();
}

void Viewer::changeDepth(const Input&) {
    m_nDepth = (m_nDepth + 1) % std::size(kDepths);
    forgetSurface();
}

void Viewer::changeDither(const Input&) {
    m_nDither = (m_nDither + 1) % std::size(kDithers);
    forgetSurface();
}

void Viewer::changeSampling(const Input&) {
    size_t n = sampling();
    do {
        n = (n + 1) % std::size(kSamplings);
    } while (!suits(n));
    m_sampling = n;
    forgetSurface();
}

bool Viewer::suits(size_t nSampling) const noexcept {
    return nSampling < kCoverage || m_pDocument->picture()->BitsPerPixel == 1;
}

// What was chosen, or else what reads best.
size_t Viewer::sampling() const noexcept {
    if (m_sampling && suits(*m_sampling)) return *m_sampling;
    return suits(kCoverage) ? kCoverage : kArea;
}

const char* Viewer::ditherName() const noexcept { return kDithers[m_nDither].pName; }
const char* Viewer::samplingName() const noexcept { return kSamplings[sampling()].pName; }

PaintMode Viewer::paintMode() const noexcept {
    const int32_t nDepth = kDepths[m_nDepth];
    return {DM_DITHER | (nDepth == 8 ? uint32_t(DM_DITHER_8BIT) : 0) | kDithers[m_nDither].uMode |
                kSamplings[sampling()].uMode,
            nDepth};
}

}  // namespace ravo
