// The steps of a chain: one line each in the table, which is also the help text.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "convert.h"
#include "paint.h"
#include "picture.h"
#include "region.h"
#include "turn.h"

namespace ravo {

/// The picture on its way through the steps.
struct Chain {
    Picture picture{};
    WantedForm wanted{};      // collected from neighbouring steps, done before the next one that is none of them
    uint32_t uDither = 0;     // DITHER_ method for steps that reduce colours from here on
    uint32_t nTileBytes = 0;  // for tiled storage from here on; 0 is the library's choice
    GeometrySettings geometry{};
    RegionSettings region{};
    PaintSettings paint{};
    std::function<void(Chain&)> waiting{};  // a resize, a turn or the like, until the settings that follow it are read
};

/// When a step is done.
enum class When {
    now,
    joined,  // only tells a wish; neighbours of this kind are one conversion
    late,    // behind the settings that follow it
    setting  // holds for the late step before it, and for those to come
};

/// What a step writes to the file that its argument names.
enum class Output { none, picture, other };

struct Step {
    const char* pName;
    const char* pArgument;  // its form, in brackets if it may be left out, or null for a step without one
    const char* pHelp;
    void (*run)(Chain& chain, const std::string& argument);
    When when = When::now;
    // How many arguments follow the first one, to which they are joined by spaces.
    int32_t (*more)(const std::string& first) = nullptr;
    Output output = Output::none;
};

std::span<const Step> steps() noexcept;
/// Null if there is no step of this name.
const Step* findStep(const std::string& name) noexcept;

/// Runs a step; before one that doesn't join, or that is wished for already, what was wished for is converted. A step
/// that waits is done before the next one that is no setting.
void runStep(Chain& chain, const Step& step, const std::string& argument);
/// Does what still waits, or is wished for, at the end of a chain.
void finishSteps(Chain& chain);

}  // namespace ravo
