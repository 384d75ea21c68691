#include "play.h"

#include <cstdio>
#include <filesystem>

#include "composer.h"
#include "failure.h"
#include "formats.h"

namespace ravo {

namespace {

int32_t parseCount(const std::string& text) {
    const int32_t n = parseNumber(text);
    if (n < 1) throw Failure("'" + text + "' is less than 1");
    return n;
}

std::string nameOf(int32_t nPicture) {
    char name[32];
    std::snprintf(name, sizeof name, "%04d.png", nPicture);
    return name;
}

void tell(const std::string& name, uint64_t uTime, const BITMAPRECORD& frame) {
    std::printf("%s at %llu ms, ", name.c_str(), static_cast<unsigned long long>(uTime));
    if (frame.Delay) std::printf("for %u ms", frame.Delay);
    const bool bWaits = frame.Flags & BMF_WAIT_USER_INPUT;
    std::printf("%s\n", bWaits ? frame.Delay ? " or until a key" : "until a key" : frame.Delay ? "" : "passed at once");
}

}  // namespace

const char* const kPlayHelp =
    "  ravo play GIF -o FOLDER [--limit N] [--plays N] [--background COLOR]\n"
    "                                         write what each frame leaves to be seen, and print its times\n";

PlayOptions parsePlay(const std::vector<std::string>& arguments) {
    if (arguments.empty() || arguments[0].starts_with("-")) throw Misuse{"play needs a GIF file first"};
    PlayOptions options;
    options.path = arguments[0];
    for (size_t i = 1; i < arguments.size(); i += 2) {
        const std::string& name = arguments[i];
        if (name != "-o" && name != "--limit" && name != "--plays" && name != "--background")
            throw Misuse{"play has no option '" + name + "'"};
        if (i + 1 == arguments.size()) throw Misuse{name + " needs an argument"};
        const std::string& value = arguments[i + 1];
        try {
            if (name == "-o") options.folder = value;
            if (name == "--limit") options.nLimit = parseCount(value);
            if (name == "--plays") options.nPlays = parseCount(value);
            if (name == "--background") options.background = parseColor(value);
        } catch (const Failure& failure) {
            throw Misuse{name + ": " + failure.what()};
        }
    }
    if (options.folder.empty()) throw Misuse{"play needs -o FOLDER"};
    return options;
}

int32_t playAnimation(const PlayOptions& options) {
    Animation animation = loadGif(options.path);
    Picture canvas = canvasOf(animation);
    if (options.background) canvas->Background = options.background->cr;
    Composer composer(std::move(animation), canvas);
    std::error_code error;
    std::filesystem::create_directories(options.folder, error);
    if (error) throw Failure(options.folder + ": " + error.message());
    int32_t nPictures = 0;
    uint64_t uTime = 0;
    for (int32_t nPlay = 0; nPlay < options.nPlays && nPictures < options.nLimit;) {
        if (!composer.next()) {
            ++nPlay;
            continue;
        }
        const std::string name = nameOf(++nPictures);
        savePicture(canvas, (std::filesystem::path(options.folder) / name).string());
        const BITMAPRECORD frame = composer.frame();
        tell(name, uTime, frame);
        uTime += frame.Delay;
    }
    return nPictures;
}

}  // namespace ravo
