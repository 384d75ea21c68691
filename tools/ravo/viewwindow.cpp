// The window. SDL's events become the viewer's input, and the window's surface is its canvas. A script pushes SDL's own
// events, so that it goes the way of a user's; then time stands still but for what the script tells.
#include <SDL.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>

#include "failure.h"
#include "formats.h"
#include "view.h"
#include "viewer.h"
#include "viewscript.h"

namespace ravo {

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kScriptMouse = 0x5C;  // tells a script's events from those of a pointer that happens to be there

[[noreturn]] void failSdl(const char* pWhat) { throw Failure(std::string(pWhat) + ": " + SDL_GetError()); }

struct Sdl {
    Sdl() {
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
        SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");  // a texture would be handed over whole each time
        if (SDL_Init(SDL_INIT_VIDEO) != 0) failSdl("there is no display");
    }
    Sdl(const Sdl&) = delete;
    Sdl& operator=(const Sdl&) = delete;
    ~Sdl() { SDL_Quit(); }
};

struct DestroyWindow {
    void operator()(SDL_Window* p) const noexcept { SDL_DestroyWindow(p); }
};

// A letter is itself; other names lose their spaces, and the number block its own.
std::string keyName(SDL_Keycode key) {
    std::string name = SDL_GetKeyName(key);
    if (name.starts_with("Keypad ")) name.erase(0, 7);
    if (name == "Enter") name = "Return";
    if (name.size() == 1) return {char(std::tolower(uint8_t(name[0])))};
    std::erase(name, ' ');
    return name;
}

class Window {
    Sdl m_sdl;
    ViewOptions m_options;
    Viewer m_viewer;
    std::unique_ptr<SDL_Window, DestroyWindow> m_pWindow;
    std::unique_ptr<Canvas> m_pCanvas;  // over the window's surface, which goes with every change of size
    std::optional<std::vector<ScriptLine>> m_script;
    Clock::time_point m_tick = Clock::now();

public:
    explicit Window(const ViewOptions& options)
        : m_options(options), m_viewer(options.files, options.size, options.overlays) {
        if (!options.script.empty()) m_script = readScript(options.script);
        m_pWindow.reset(SDL_CreateWindow(m_viewer.title().c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                                         options.size.width, options.size.height, SDL_WINDOW_RESIZABLE));
        if (!m_pWindow) failSdl("there is no window");
    }

    void run() {
        SDL_SetModState(KMOD_NONE);
        handlePending();
        draw();
        if (m_script) return runScript();
        while (!m_viewer.ended()) {
            waitForEvent();
            handlePending();
            draw();
        }
    }

private:
    // ---- events in ----

    void waitForEvent() {
        const uint64_t uDue = m_viewer.due();
        if (uDue == Player::kNever)
            SDL_WaitEvent(nullptr);
        else if (uDue > m_viewer.now())
            SDL_WaitEventTimeout(nullptr, int(std::min<uint64_t>(uDue - m_viewer.now(), 1000)));
        tick();
    }

    void tick() {
        const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_tick);
        m_tick += elapsed;
        m_viewer.take({.kind = Happening::tick, .n = int32_t(elapsed.count())});
    }

    // All that is there is handled before anything is drawn.
    void handlePending() {
        for (SDL_Event event; SDL_PollEvent(&event);) handle(event);
    }

    void handle(const SDL_Event& event) {
        const auto take = [&](Happening kind, POINT at, int32_t n, uint32_t uModifiers, const std::string& key = {}) {
            m_viewer.take({kind, key, at, n, (uModifiers & KMOD_SHIFT) != 0, (uModifiers & KMOD_CTRL) != 0,
                           (uModifiers & KMOD_ALT) != 0});
        };
        const auto isForeign = [&](uint32_t uWhich) { return m_script && uWhich != kScriptMouse; };
        const uint32_t uModifiers = SDL_GetModState();
        switch (event.type) {
            case SDL_QUIT:
                take(Happening::key, {}, 0, 0, "q");
                break;
            case SDL_KEYDOWN:
                if (event.key.repeat && event.key.keysym.sym == SDLK_ESCAPE) break;  // held, it isn't a second one
                take(Happening::key, {}, 0, event.key.keysym.mod, keyName(event.key.keysym.sym));
                break;
            case SDL_MOUSEMOTION:
                if (!isForeign(event.motion.which))
                    take(Happening::moved, {event.motion.x, event.motion.y}, 0, uModifiers);
                break;
            case SDL_MOUSEBUTTONDOWN:
            case SDL_MOUSEBUTTONUP:
                if (!isForeign(event.button.which))
                    take(event.type == SDL_MOUSEBUTTONDOWN ? Happening::pressed : Happening::released,
                         {event.button.x, event.button.y}, event.button.button, uModifiers);
                break;
            case SDL_MOUSEWHEEL:
                if (!isForeign(event.wheel.which)) take(Happening::wheel, {}, event.wheel.y, uModifiers);
                break;
            case SDL_WINDOWEVENT:
                if (event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED)
                    take(Happening::resized, {event.window.data1, event.window.data2}, 0, 0);
                if (event.window.event == SDL_WINDOWEVENT_EXPOSED) m_viewer.forgetSurface();
                break;
            default:
                break;
        }
    }

    // ---- pictures out ----

    // The surface may have become another one, without an event or before it.
    Canvas& canvas() {
        SDL_Surface* pSurface = SDL_GetWindowSurface(m_pWindow.get());
        if (!pSurface) failSdl("there is no surface");
        const SDL_PixelFormat& format = *pSurface->format;
        if (format.BytesPerPixel != 4 || format.Bmask != 0xFF || format.Rmask != 0xFF0000)
            throw Failure("the display has no pixels of 32 bits");
        const SIZE size{pSurface->w, pSurface->h};
        const bool bSame = m_pCanvas && m_pCanvas->size().width == size.width &&
                           m_pCanvas->size().height == size.height &&
                           m_pCanvas->row(0) == static_cast<uint32_t*>(pSurface->pixels);
        if (!bSame) {
            m_pCanvas = std::make_unique<Canvas>(pSurface->pixels, size, size_t(pSurface->pitch));
            m_viewer.take({.kind = Happening::resized, .at = {size.width, size.height}});
        }
        return *m_pCanvas;
    }

    void draw() {
        Canvas& target = canvas();
        if (!m_viewer.isStale()) return;
        std::vector<RECT> changed{target.rect()};
        try {
            changed = m_viewer.draw(target);
        } catch (const Failure& failure) {  // a picture that can't be painted leaves the window to the next one
            if (m_script) throw;
            note(m_viewer.title(), failure.what());
        }
        std::vector<SDL_Rect> rects;
        for (const RECT& r : changed) {
            const RECT in = intersection(r, target.rect());
            if (!isEmpty(in)) rects.push_back({in.left, in.top, in.right - in.left, in.bottom - in.top});
        }
        const auto start = Clock::now();
        if (!rects.empty()) SDL_UpdateWindowSurfaceRects(m_pWindow.get(), rects.data(), int(rects.size()));
        const std::chrono::duration<double, std::milli> presented = Clock::now() - start;
        if (m_viewer.title() != SDL_GetWindowTitle(m_pWindow.get()))
            SDL_SetWindowTitle(m_pWindow.get(), m_viewer.title().c_str());
        if (m_options.bTimes)
            std::fprintf(stderr, "moved %.2f ms, painted %.2f ms, presented %.2f ms\n", m_viewer.times().dMoving,
                         m_viewer.times().dPainting, presented.count());
    }

    // ---- scripts ----

    void runScript() {
        for (const ScriptLine& line : *m_script) {
            try {
                runLine(line);
            } catch (const Failure& failure) {
                throw Failure("line " + std::to_string(line.nLine) + " of the script: " + failure.what());
            }
            if (m_viewer.ended()) return;
        }
    }

    void runLine(const ScriptLine& line) {
        const int modifiers =
            (line.bShift ? KMOD_LSHIFT : 0) | (line.bControl ? KMOD_LCTRL : 0) | (line.bAlt ? KMOD_LALT : 0);
        SDL_SetModState(SDL_Keymod(modifiers));
        push(line, modifiers);
        handlePending();
        if (line.verb == ScriptLine::Verb::tick) m_viewer.take({.kind = Happening::tick, .n = line.n[0]});
        draw();
        SDL_SetModState(KMOD_NONE);
        if (line.verb == ScriptLine::Verb::shot) {
            Picture picture = m_pCanvas->picture();
            savePicture(picture, line.text);
        }
        if (line.verb == ScriptLine::Verb::expectTitle) {
            const std::string title = SDL_GetWindowTitle(m_pWindow.get());
            if (title.find(line.text) == std::string::npos) throw Failure("the title is '" + title + "'");
        }
    }

    void push(const ScriptLine& line, int modifiers) {
        SDL_Event event{};
        switch (line.verb) {
            case ScriptLine::Verb::key:
                event.key.keysym.sym = keyOf(line.text);
                event.key.keysym.mod = uint16_t(modifiers);
                for (const uint32_t uType : {SDL_KEYDOWN, SDL_KEYUP}) {
                    event.type = uType;
                    SDL_PushEvent(&event);
                }
                return;
            case ScriptLine::Verb::move:
                m_scriptPointer = {line.n[0], line.n[1]};
                event.type = SDL_MOUSEMOTION;
                event.motion.which = kScriptMouse;
                event.motion.x = m_scriptPointer.x;
                event.motion.y = m_scriptPointer.y;
                break;
            case ScriptLine::Verb::down:
            case ScriptLine::Verb::up:
                event.type = line.verb == ScriptLine::Verb::down ? SDL_MOUSEBUTTONDOWN : SDL_MOUSEBUTTONUP;
                event.button.which = kScriptMouse;
                event.button.button = uint8_t(line.n[0]);
                event.button.x = m_scriptPointer.x;
                event.button.y = m_scriptPointer.y;
                break;
            case ScriptLine::Verb::wheel:
                event.type = SDL_MOUSEWHEEL;
                event.wheel.which = kScriptMouse;
                event.wheel.y = line.n[0];
                break;
            case ScriptLine::Verb::quit:
                event.type = SDL_QUIT;
                break;
            case ScriptLine::Verb::resize:
                SDL_SetWindowSize(m_pWindow.get(), line.n[0], line.n[1]);
                settle(50);  // the display may take its time
                return;
            case ScriptLine::Verb::wait:
                settle(line.n[0]);
                return;
            default:
                return;
        }
        SDL_PushEvent(&event);
    }

    void settle(int32_t nMilliseconds) {
        const auto until = Clock::now() + std::chrono::milliseconds(nMilliseconds);
        while (Clock::now() < until) {
            handlePending();
            draw();
            SDL_Delay(5);
        }
    }

    // The key that has this name here.
    static SDL_Keycode keyOf(const std::string& name) {
        static constexpr std::pair<const char*, SDL_Keycode> kNamed[] = {
            {"Left", SDLK_LEFT},     {"Right", SDLK_RIGHT},       {"Up", SDLK_UP},
            {"Down", SDLK_DOWN},     {"PageDown", SDLK_PAGEDOWN}, {"PageUp", SDLK_PAGEUP},
            {"Escape", SDLK_ESCAPE}, {"Space", SDLK_SPACE},       {"F1", SDLK_F1}};
        if (name.size() == 1) return SDL_Keycode(uint8_t(name[0]));
        for (const auto& [pName, key] : kNamed)
            if (name == pName) return key;
        throw Failure("'" + name + "' is no key that the viewer knows");
    }

    POINT m_scriptPointer{};
};

}  // namespace

void runView(const ViewOptions& options) { Window(options).run(); }

}  // namespace ravo
