#include "viewscript.h"

#include <sstream>

#include "failure.h"
#include "outfile.h"
#include "parse.h"

namespace ravo {

namespace {

using Verb = ScriptLine::Verb;

constexpr std::pair<const char*, Verb> kVerbs[] = {{"key", Verb::key},
                                                   {"move", Verb::move},
                                                   {"down", Verb::down},
                                                   {"up", Verb::up},
                                                   {"wheel", Verb::wheel},
                                                   {"resize", Verb::resize},
                                                   {"tick", Verb::tick},
                                                   {"wait", Verb::wait},
                                                   {"shot", Verb::shot},
                                                   {"quit", Verb::quit},
                                                   {"expect-title", Verb::expectTitle}};
constexpr std::pair<const char*, int32_t> kButtons[] = {{"left", 1}, {"middle", 2}, {"right", 3}};

std::string word(std::istream& words) {
    std::string text;
    if (!(words >> text)) throw Failure("something is missing");
    return text;
}

constexpr int32_t kMost = 1000000;  // more has no meaning, and would leave the range of coordinates

int32_t number(std::istream& words, int32_t nLeast) {
    const std::string text = word(words);
    const int32_t n = parseNumber(text);
    if (n < nLeast || n > kMost) throw Failure("'" + text + "' is out of range");
    return n;
}

void readModifiers(std::istream& words, ScriptLine& line) {
    for (std::string name; words >> name;) {
        if (name == "shift")
            line.bShift = true;
        else if (name == "ctrl")
            line.bControl = true;
        else if (name == "alt")
            line.bAlt = true;
        else
            throw Failure("'" + name + "' is too much");
    }
}

ScriptLine parseLine(const std::string& text) {
    std::istringstream words(text);
    ScriptLine line{byName(kVerbs, word(words), "line of a script")};
    switch (line.verb) {
        case Verb::key:
            line.text = word(words);
            break;
        case Verb::down:
        case Verb::up:
            line.n[0] = byName(kButtons, word(words), "button");
            break;
        case Verb::wheel:
            line.n[0] = number(words, -kMost);
            break;
        case Verb::tick:
        case Verb::wait:
            line.n[0] = number(words, 0);
            break;
        case Verb::move:
        case Verb::resize: {
            const int32_t nLeast = line.verb == Verb::resize ? 1 : -kMost;
            line.n[0] = number(words, nLeast);
            line.n[1] = number(words, nLeast);
            break;
        }
        case Verb::shot:
        case Verb::expectTitle:
            std::getline(words >> std::ws, line.text);
            if (line.text.empty()) throw Failure("something is missing");
            break;
        case Verb::quit:
            break;
    }
    readModifiers(words, line);
    return line;
}

}  // namespace

std::vector<ScriptLine> parseScript(const std::string& text) {
    std::vector<ScriptLine> script;
    std::istringstream lines(text);
    int32_t nLine = 0;
    for (std::string line; std::getline(lines, line);) {
        ++nLine;
        line.erase(line.find_last_not_of(" \t\r") + 1);
        if (line.empty() || line[line.find_first_not_of(" \t")] == '#') continue;
        try {
            script.push_back(parseLine(line));
            script.back().nLine = nLine;
        } catch (const Failure& failure) {
            throw Failure("line " + std::to_string(nLine) + " of the script: " + failure.what());
        }
    }
    return script;
}

std::vector<ScriptLine> readScript(const std::string& path) {
    std::vector<uint8_t> bytes;
    try {
        bytes = readFile(path);
    } catch (const Failure& failure) {
        throw Failure(path + ": " + failure.what());
    }
    return parseScript({bytes.begin(), bytes.end()});
}

}  // namespace ravo
