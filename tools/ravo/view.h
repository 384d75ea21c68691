// ravo view: pictures in a window.
#pragma once

#include <string>
#include <vector>

#include "picture.h"

namespace ravo {

struct ViewOptions {
    std::vector<std::string> files;
    SIZE size{1024, 768};
    std::string script;   // a file that drives the viewer; empty for the user
    bool bTimes = false;  // tells on standard error what each drawing took
};

/// Runs until the window is closed. Throws a Failure where there is no window to be had, and where a script fails.
void runView(const ViewOptions& options);

}  // namespace ravo
