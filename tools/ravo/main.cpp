// The command: reads its arguments, runs the chain, tells failures.

#include <cstdio>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "failure.h"
#include "formats.h"
#include "info.h"
#include "parse.h"
#include "play.h"
#include "steps.h"
#include "view.h"

namespace {

using namespace ravo;

constexpr int kFailed = 1, kMisused = 2;

struct Call {
    const Step* pStep;
    std::string argument;
};

void printHelp() {
    std::printf(
        "ravo: runs a picture through the steps of a chain\n"
        "\n"
        "  ravo FILE [--size WxH] STEP... -o OUT\n"
        "  ravo info FILE [--size WxH] [STEP...]  print the record of the picture as loaded, or after the steps\n"
        "%s%s"
        "  ravo --help\n"
        "\n"
        "Steps, done in the order in which they are given:\n",
        kViewHelp, kPlayHelp);
    for (const Step& step : steps()) {
        const std::string left = step.pName + (step.pArgument ? std::string(" ") + step.pArgument : "");
        std::printf("  %-30s %s\n", left.c_str(), step.pHelp);
    }
    std::printf(
        "\n"
        "Coordinates are those of the picture as seen, from its top left corner. Neighbouring --bits, --order\n"
        "and --palette are one conversion; naming one of them again starts the next. A region follows the\n"
        "picture; without one every pixel is inside. An existing OUT is replaced only by a complete one.\n"
        "--size is for files of bare samples, which have no header.\n"
        "\n"
        "Files:\n");
    for (const Format* pFormat : formats()) std::printf("  %-8s%s\n", pFormat->pName, pFormat->pExtensions);
}

void checkName(const std::string& path) {
    try {
        formatOfName(path);
    } catch (const Failure& failure) {
        throw Misuse{path + ": " + failure.what()};
    }
}

// What follows the step at i, which moves past it. Only steps begin with a hyphen where an argument may be left out.
std::string takeArgument(const std::vector<std::string>& arguments, size_t& i, const Step& step) {
    if (!step.pArgument) return {};
    const bool bOptional = step.pArgument[0] == '[';
    const bool bEnds = i + 1 == arguments.size();
    if (bOptional && (bEnds || arguments[i + 1].starts_with("-"))) return {};
    if (bEnds) throw Misuse{arguments[i] + " needs an argument: " + step.pArgument};
    std::string argument = arguments[++i];
    for (int32_t nMore = step.more ? step.more(argument) : 0; nMore > 0; --nMore) {
        if (i + 1 == arguments.size())
            throw Misuse{std::string(step.pName) + " " + argument + " needs " +
                         (nMore == 1 ? "one more argument" : std::to_string(nMore) + " more arguments")};
        argument += " " + arguments[++i];
    }
    return argument;
}

// Names of steps and of formats, and missing arguments, are judged before a file is touched.
std::vector<Call> parseCalls(const std::vector<std::string>& arguments, size_t nFirst) {
    std::vector<Call> calls;
    for (size_t i = nFirst; i < arguments.size(); ++i) {
        const Step* pStep = findStep(arguments[i]);
        if (!pStep) throw Misuse{"there is no step '" + arguments[i] + "'"};
        calls.push_back({pStep, takeArgument(arguments, i, *pStep)});
        if (pStep->output == Output::picture) checkName(calls.back().argument);
    }
    return calls;
}

int run(const std::vector<std::string>& arguments) {
    if (arguments.empty()) throw Misuse{"a file is missing"};
    if (arguments[0] == "--help" || arguments[0] == "-h") {
        printHelp();
        return 0;
    }
    std::string where = arguments[0];  // the file that a failure is about
    try {
        if (arguments[0] == "view") {  // what fails names its file, as there may be several
            runView(parseView({arguments.begin() + 1, arguments.end()}));
            return 0;
        }
        if (arguments[0] == "play") {
            const PlayOptions options = parsePlay({arguments.begin() + 1, arguments.end()});
            where = options.path;
            playAnimation(options);
            return 0;
        }
        const bool bInfo = arguments[0] == "info";
        const size_t nFile = bInfo ? 1 : 0;
        if (nFile == arguments.size() || arguments[nFile].starts_with("-"))
            throw Misuse{"the file comes first, then its steps"};
        const bool bSized = nFile + 1 < arguments.size() && arguments[nFile + 1] == "--size";
        if (bSized && nFile + 2 == arguments.size()) throw Misuse{"--size needs an argument: WxH"};
        const std::vector<Call> calls = parseCalls(arguments, nFile + (bSized ? 3 : 1));
        if (!bInfo && (calls.empty() || calls.back().pStep->output == Output::none))
            throw Misuse{"a chain ends with -o OUT, or a region that is written, or its result is lost"};
        where = arguments[nFile];
        Chain chain;
        chain.picture = loadPicture(where, bSized ? parseSize(arguments[nFile + 2]) : SIZE{});
        for (const Call& call : calls) runStep(chain, *call.pStep, call.argument);
        finishSteps(chain);
        if (bInfo) printInfo(where, chain.picture);
        return 0;
    } catch (const Failure& failure) {
        std::fprintf(stderr, "ravo: %s: %s\n", where.c_str(), failure.what());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "ravo: %s: Not enough memory available\n", where.c_str());
    }
    return kFailed;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run({argv + 1, argv + argc});
    } catch (const Misuse& misuse) {
        std::fprintf(stderr, "ravo: %s\nravo --help tells the steps.\n", misuse.text.c_str());
        return kMisused;
    }
}
