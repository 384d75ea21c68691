// Scripts that drive the viewer: a line for each thing that happens.
//
//   key NAME [shift] [ctrl] [alt]   presses and releases a key, by its name in the help page
//   move X Y                        moves the pointer
//   down BUTTON, up BUTTON          left, middle or right; with modifiers too
//   wheel N                         turns it, away from the user if N is above 0; with modifiers too
//   resize W H                      gives the window another size
//   tick MS                         lets the viewer's clock go on, which stands still otherwise
//   wait MS                         waits
//   shot FILE.png                   writes a picture of the window
//   expect-title TEXT               fails unless the window's title has this in it
//   quit                            closes the window; so does the end of the script
#pragma once

#include <string>
#include <vector>

namespace ravo {

struct ScriptLine {
    enum class Verb { key, move, down, up, wheel, resize, tick, wait, shot, expectTitle, quit };
    Verb verb;
    std::string text{};     // key, file or title
    int32_t n[2] = {0, 0};  // numbers, or the button
    bool bShift = false, bControl = false, bAlt = false;
    int32_t nLine = 0;
};

/// Throws a Failure that tells the line. Empty lines and those that begin with # don't count.
std::vector<ScriptLine> parseScript(const std::string& text);
/// The script of a file, which is named where it can't be read.
std::vector<ScriptLine> readScript(const std::string& path);

}  // namespace ravo
