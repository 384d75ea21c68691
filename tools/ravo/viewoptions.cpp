#include "failure.h"
#include "parse.h"
#include "view.h"

namespace ravo {

const char* const kViewHelp =
    "  ravo view FILE... [--size WxH] [--overlay FILE[,X,Y[,RRGGBB]]] [--script FILE] [--times]\n"
    "                                         look at pictures and animations; F1 tells the keys\n";

ViewOptions parseView(const std::vector<std::string>& arguments) {
    ViewOptions options;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        if (!name.starts_with("-")) {
            options.files.push_back(name);
            continue;
        }
        if (name == "--times") {
            options.bTimes = true;
            continue;
        }
        if (name != "--size" && name != "--overlay" && name != "--script")
            throw Misuse{"view has no option '" + name + "'"};
        if (++i == arguments.size()) throw Misuse{name + " needs an argument"};
        try {
            if (name == "--size") options.size = parseSize(arguments[i]);
            if (name == "--overlay") options.overlays.push_back(arguments[i]);
            if (name == "--script") options.script = arguments[i];
        } catch (const Failure& failure) {
            throw Misuse{name + ": " + failure.what()};
        }
    }
    if (options.files.empty()) throw Misuse{"view needs a file"};
    return options;
}

}  // namespace ravo
