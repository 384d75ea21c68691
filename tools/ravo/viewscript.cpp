#include "viewscript.h"

#include <sstream>

#include "failure.h"
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
        case Verb::tick:
        case Verb::wait:
            line.n[0] = parseNumber(word(words));
            break;
        case Verb::move:
        case Verb::resize:
            line.n[0] = parseNumber(word(words));
            line.n[1] = parseNumber(word(words));
            break;
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
        if (line.find_first_not_of(" \t\r") == std::string::npos || line.starts_with("#")) continue;
        try {
            script.push_back(parseLine(line));
            script.back().nLine = nLine;
        } catch (const Failure& failure) {
            throw Failure("line " + std::to_string(nLine) + " of the script: " + failure.what());
        }
    }
    return script;
}

}  // namespace ravo
