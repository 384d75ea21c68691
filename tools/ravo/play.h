// An animation played without waiting: what each frame leaves to be seen becomes a file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "parse.h"

namespace ravo {

struct PlayOptions {
    std::string path{};
    std::string folder{};
    int32_t nLimit = INT32_MAX;  // pictures at most
    int32_t nPlays = 1;
    std::optional<Color> background{};  // in place of the file's own
};

extern const char* const kPlayHelp;

/// Reads what follows the word play; throws a Misuse.
PlayOptions parsePlay(const std::vector<std::string>& arguments);

/// Writes the composed pictures as 0001.png and so on into the folder, and prints a line for each: its name, the time
/// at which it would be shown, and for how long. Returns the number of pictures.
int32_t playAnimation(const PlayOptions& options);

}  // namespace ravo
