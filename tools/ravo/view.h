// ravo view: pictures in a window.
#pragma once

#include <string>
#include <vector>

#include "picture.h"

namespace ravo {

struct ViewOptions {
    std::vector<std::string> files{};
    std::vector<std::string> overlays{};  // for each of the pictures, as --overlay takes them
    SIZE size{1024, 768};
    std::string script{};  // a file that drives the viewer; empty for the user
    bool bTimes = false;   // tells on standard error what each drawing took
};

extern const char* const kViewHelp;

/// Reads what follows the word view; throws a Misuse.
ViewOptions parseView(const std::vector<std::string>& arguments);

/// Runs until the window is closed. Throws a Failure where there is no window to be had, and where a script fails.
void runView(const ViewOptions& options);

}  // namespace ravo
