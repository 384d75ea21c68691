// Input and drawing. Input changes the state at once and only notes what it damages; the drawing brings the canvas up
// to date, so that a hurried mouse costs one paint for all of its moves.
#include "viewer.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <sstream>

#include "failure.h"
#include "formats.h"
#include "overlay.h"

namespace ravo {

namespace {

constexpr int32_t kClickSlack = 3;   // a press that moves farther is a drag
constexpr double kWheelZoom = 1.25;  // for a turn of the wheel
constexpr int32_t kLevelDrag = 512;  // pixels of mouse for the whole range of the samples

using Clock = std::chrono::steady_clock;
double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

RECT moved(const RECT& r, POINT by) noexcept { return {r.left + by.x, r.top + by.y, r.right + by.x, r.bottom + by.y}; }

// A failure is about the overlay's file then, not the picture's.
void giveOverlay(Picture& picture, const std::string& text) {
    try {
        addOverlay(picture, text);
    } catch (const Failure& failure) {
        throw Failure("--overlay " + text + ": " + failure.what());
    }
}

bool isAmong(const char* pKeys, const std::string& key) {
    std::istringstream words(pKeys);
    return std::find(std::istream_iterator<std::string>(words), {}, key) != std::istream_iterator<std::string>();
}

}  // namespace

// ---- documents ---------------------------------------------------------------------------------------------------

Viewer::Viewer(std::vector<std::string> paths, SIZE window, std::vector<std::string> overlays)
    : m_paths(std::move(paths)), m_overlays(std::move(overlays)), m_window(window) {
    for (size_t i = 0; i < m_paths.size(); ++i)
        if (open(i)) return;
    throw Failure("there is no picture to show");
}

Viewer::Viewer(std::unique_ptr<Document> pDocument, SIZE window) : m_window(window) { show(std::move(pDocument)); }

bool Viewer::open(size_t nFile) {
    try {
        std::unique_ptr<Document> pDocument = Document::open(m_paths[nFile]);
        for (const std::string& overlay : m_overlays) giveOverlay(pDocument->picture(), overlay);
        m_nFile = nFile;
        show(std::move(pDocument));
        return true;
    } catch (const Failure& failure) {
        m_message = m_paths[nFile] + ": " + failure.what();
        note(m_paths[nFile], failure.what());
        return false;
    }
}

void Viewer::show(std::unique_ptr<Document> pDocument) {
    m_pDocument = std::move(pDocument);
    m_message.clear();
    m_press.nButton = 0;
    if (!m_bOverlays) m_pDocument->showOverlays(false);
    advance(0);
    m_viewport.refit();
    layOut();
}

void Viewer::layOut() {
    const RECT room = area();
    m_viewport.setWindow({room.right, room.bottom});
    m_viewport.setPicture(m_pDocument->size());
    forgetSurface();
}

RECT Viewer::area() const noexcept {
    return {0, 0, m_window.width, std::max(m_window.height - (m_bStatus ? statusHeight(m_window.width) : 0), 1)};
}

std::string Viewer::title() {
    const SIZE size = m_pDocument->size();
    std::string title = m_pDocument->name() + " - " + std::to_string(size.width) + " x " + std::to_string(size.height) +
                        ", " + std::to_string(m_pDocument->picture()->BitsPerPixel) + " bits";
    if (m_paths.size() > 1) title += " - " + std::to_string(m_nFile + 1) + " of " + std::to_string(m_paths.size());
    return title;
}

// ---- time --------------------------------------------------------------------------------------------------------

uint64_t Viewer::due() const noexcept {
    Player* pPlayer = m_pDocument->player();
    return pPlayer ? pPlayer->due() : Player::kNever;
}

void Viewer::advance(uint64_t uMilliseconds) {
    m_uNow += uMilliseconds;
    if (Player* pPlayer = m_pDocument->player()) damageStored(pPlayer->advance(m_uNow));
}

// What changed of the picture, in stored rows and columns; filters spread it a little.
void Viewer::damageStored(RECT stored) {
    if (isEmpty(stored)) return;
    constexpr int32_t kReach = 4;
    R_RectFromBitmap(m_pDocument->picture().get(), TOP_LEFT, &stored);
    const RECT& place = m_viewport.place();
    const SIZE size = m_pDocument->size();
    const double dX = double(place.right - place.left) / size.width,
                 dY = double(place.bottom - place.top) / size.height;
    const auto near = [](double d) { return int32_t(std::clamp(d, -1e6, 1e6)); };
    const RECT shown{
        near(place.left + (stored.left - kReach) * dX - 1), near(place.top + (stored.top - kReach) * dY - 1),
        near(place.left + (stored.right + kReach) * dX + 2), near(place.top + (stored.bottom + kReach) * dY + 2)};
    m_damage.part = bounds(m_damage.part, intersection(shown, area()));
}

// ---- input -------------------------------------------------------------------------------------------------------

void Viewer::take(const Input& input) {
    try {
        switch (input.kind) {
            case Happening::key:
                key(input);
                break;
            case Happening::moved:
                moved(input);
                break;
            case Happening::pressed:
                m_pointer = input.at;
                m_message.clear();
                m_press = {input.n, input.at, input.at, false, m_pDocument->center(), m_pDocument->width()};
                break;
            case Happening::released:
                released(input);
                break;
            case Happening::wheel:
                wheel(input);
                break;
            case Happening::resized:
                m_window = {std::max(input.at.x, 1), std::max(input.at.y, 1)};
                layOut();
                break;
            case Happening::tick:
                advance(uint64_t(input.n));
                break;
        }
    } catch (const Failure& failure) {  // an operation that fails leaves things as they are
        m_message = failure.what();
    }
}

void Viewer::key(const Input& input) {
    if (input.key != "Escape") m_bEscaped = false;
    m_message.clear();
    for (const KeyCommand& command : commands())
        if (command.pKeys && isAmong(command.pKeys, input.key)) {
            (this->*command.run)(input);
            return;
        }
}

void Viewer::moved(const Input& input) {
    const POINT by{input.at.x - m_press.last.x, input.at.y - m_press.last.y};
    m_pointer = input.at;
    if (!m_press.nButton) return;
    const POINT all{input.at.x - m_press.at.x, input.at.y - m_press.at.y};
    if (!m_press.bDrags) {
        if (std::abs(all.x) <= kClickSlack && std::abs(all.y) <= kClickSlack) return;
        m_press.bDrags = true;
    }
    m_press.last = input.at;
    if (m_press.nButton == 1 && m_pDocument->hasLevels())
        dragLevel(all);
    else
        pan(by);
}

void Viewer::released(const Input& input) {
    if (input.n != m_press.nButton) return;
    m_press.nButton = 0;
    if (input.n == 1 && !m_press.bDrags) touch(input);
}

void Viewer::wheel(const Input& input) {
    if (!input.n) return;  // sideways
    if (!input.bAlt) {
        m_viewport.zoomAt(m_pointer, std::pow(kWheelZoom, input.n));
        forgetSurface();
        return;
    }
    m_nTolerance = std::clamp(m_nTolerance + 2 * input.n, 0, 255);
    m_message = m_pDocument->hasRegion() ? "" : "tolerance " + std::to_string(m_nTolerance);
    m_pDocument->touchAgain(m_nTolerance);
    forgetSurface();
}

void Viewer::pan(POINT by) {
    const POINT d = m_viewport.pan(by);
    if (!d.x && !d.y) return;
    m_damage.part = intersection(ravo::moved(m_damage.part, d), area());
    m_damage.scroll = {m_damage.scroll.x + d.x, m_damage.scroll.y + d.y};
}

// To the right the window grows wider, and upwards brighter.
void Viewer::dragLevel(POINT by) {
    const double dUnit = std::max(double(m_pDocument->range()) / kLevelDrag, 1.0);
    m_pDocument->setLevel(m_press.nCenter + int32_t(std::lround(by.y * dUnit)),
                          m_press.nWidth + int32_t(std::lround(by.x * dUnit)));
    forgetSurface();
}

void Viewer::touch(const Input& input) {
    const auto at = m_viewport.pictureAt(input.at);
    if (!at || m_bHelp) return;
    // A region would keep the next frames inside of it.
    if (Player* pPlayer = m_pDocument->player()) pPlayer->run(false, m_uNow);
    const uint32_t uMode = input.bControl ? RGN_MODE_OLD_MINUS_NEW : input.bShift ? RGN_MODE_OR : RGN_MODE_SET;
    // Added to nothing it is all there is.
    const bool bFirst = input.bShift && !m_pDocument->hasRegion();
    if (!m_pDocument->touch(*at, bFirst ? uint32_t(RGN_MODE_SET) : uMode, m_nTolerance))
        m_message = "there is no colour to go by";
    forgetSurface();
}

// ---- status ------------------------------------------------------------------------------------------------------

std::string Viewer::leftStatus() {
    if (!m_message.empty()) return m_message;
    const auto at = m_viewport.pictureAt(m_pointer);
    if (!at) return m_pDocument->name();
    return std::to_string(at->x) + "," + std::to_string(at->y) + "  " + m_pDocument->valueAt(*at);
}

std::string Viewer::rightStatus() {
    std::string text;
    const auto add = [&](const std::string& part) { text += (text.empty() ? "" : "  ") + part; };
    Picture& picture = m_pDocument->picture();
    if (Player* pPlayer = m_pDocument->player())
        add("frame " + std::to_string(pPlayer->frame() + 1) + "/" + std::to_string(pPlayer->frames()) +
            (pPlayer->runs() ? "" : " stopped"));
    if (m_pDocument->hasRegion()) {
        uint32_t uPixels = 0;
        R_GetBitmapRgnArea(picture.get(), &uPixels);
        add("region " + std::to_string(uPixels) + " (tolerance " + std::to_string(m_nTolerance) + ")");
    }
    if (m_pDocument->hasLevels())
        add("C " + std::to_string(m_pDocument->center()) + " W " + std::to_string(m_pDocument->width()));
    if (picture->PaintIntensity) add("brightness " + std::to_string(picture->PaintIntensity));
    if (picture->PaintContrast) add("contrast " + std::to_string(picture->PaintContrast));
    if (picture->PaintGamma != 100) add("gamma " + std::to_string(picture->PaintGamma));
    if (const int32_t nDepth = paintMode().nDepth; nDepth != 24)
        add(std::to_string(nDepth) + (nDepth == 1 ? " bit " : " bits ") + ditherName());
    if (m_viewport.zoom() != 1) add(samplingName());
    char zoom[16];
    std::snprintf(zoom, sizeof zoom, "%.4g%%", m_viewport.zoom() * 100);
    add(zoom);
    return text;
}

// ---- drawing -----------------------------------------------------------------------------------------------------

bool Viewer::isStale() {
    const Damage& d = m_damage;
    if (d.bAll || d.bStatus || !isEmpty(d.part) || d.scroll.x || d.scroll.y) return true;
    return m_bStatus && (leftStatus() != m_shownLeft || rightStatus() != m_shownRight);
}

void Viewer::drawArea(Canvas& canvas, const RECT& part) {
    if (isEmpty(part)) return;
    Picture& picture = m_pDocument->picture();
    drawPicture(canvas, picture, m_viewport.place(), paintMode(), part);
    if (m_pDocument->hasRegion()) drawOutline(canvas, picture, m_viewport.place(), part);
}

std::vector<RECT> Viewer::draw(Canvas& canvas) {
    m_pDocument->applyLevel();
    const RECT all = area();
    Damage damage = std::exchange(m_damage, {false, false, {}, {}});
    m_times = {};
    std::vector<RECT> changed;
    const POINT by = damage.scroll;
    const bool bMoves = by.x || by.y;
    const bool bWhole = damage.bAll || m_bHelp || (paintMode().spreads() && (bMoves || !isEmpty(damage.part)));

    auto start = Clock::now();
    if (bMoves && !bWhole) canvas.scroll(all, by.x, by.y);
    m_times.dMoving = millisecondsSince(start);

    start = Clock::now();
    if (bWhole) {
        drawArea(canvas, all);
    } else {
        // What the move uncovers: whole rows above or below, and what is left of a column beside them.
        const RECT rows{0, by.y < 0 ? std::max(all.bottom + by.y, 0) : 0, all.right,
                        by.y < 0 ? all.bottom : std::min(by.y, all.bottom)};
        const RECT columns{by.x < 0 ? std::max(all.right + by.x, 0) : 0, by.y > 0 ? rows.bottom : 0,
                           by.x < 0 ? all.right : std::min(by.x, all.right), by.y < 0 ? rows.top : all.bottom};
        if (bMoves) drawArea(canvas, rows);
        if (bMoves) drawArea(canvas, columns);
        drawArea(canvas, damage.part);
    }
    if (m_bHelp) {
        std::vector<std::pair<std::string, std::string>> lines;
        for (const KeyCommand& command : commands()) lines.emplace_back(command.pShown, command.pHelp);
        drawHelp(canvas, all, lines);
    }
    if (bWhole || bMoves)
        changed.push_back(all);
    else if (!isEmpty(damage.part))
        changed.push_back(damage.part);

    const std::string left = leftStatus(), right = rightStatus();
    if (m_bStatus && (damage.bStatus || left != m_shownLeft || right != m_shownRight)) {
        changed.push_back({0, all.bottom, m_window.width, m_window.height});
        drawStatus(canvas, changed.back(), left, right);
        m_shownLeft = left;
        m_shownRight = right;
    }
    m_times.dPainting = millisecondsSince(start);
    return changed;
}

}  // namespace ravo
