// Holds the shared library to its headers: what they declare with RV_API resolves, and nothing else is exported. Of a
// class that is declared so, all members may be.
//
//     ravokit_exports <folder of public headers> <shared library> <nm>
#include <dlfcn.h>
#include <stdio.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

// Comments and the lines of the preprocessor, with their continuations, become blanks.
std::string withoutComments(const std::string& text) {
    static const std::regex comments(R"(//[^\n]*|/\*[^*]*\*+(?:[^/*][^*]*\*+)*/)");
    static const std::regex directives(R"((^|\n)[ \t]*#(?:[^\\\n]|\\[\s\S])*)");
    return std::regex_replace(std::regex_replace(text, comments, " "), directives, "\n");
}

// Names and their headers.
using Names = std::map<std::string, std::string>;
struct Declared {
    Names plain, classes;
};

// What is declared with RV_API: a class, or the last word before the parameters, or before the end of data.
Declared declaredNames(const std::filesystem::path& folder) {
    static const std::regex declaration(
        R"((?:\b(class|struct)\s+)?\bRV_API\b[^;({\[=:]*?(\w+)\s*(?:final\s*)?[;({\[=:])");
    Declared names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".h") continue;
        std::ifstream file(entry.path());
        const std::string text = withoutComments({std::istreambuf_iterator<char>(file), {}});
        for (std::sregex_iterator it(text.begin(), text.end(), declaration), end; it != end; ++it)
            ((*it)[1].matched ? names.classes : names.plain).emplace((*it)[2], entry.path().filename());
    }
    return names;
}

// The class that a mangled name is of, be it a member or what the compiler makes for the class; else empty.
std::string classOf(const std::string& mangled) {
    static const std::regex member(R"(_Z(?:NK?|T[VIS])(\d+)(.*))");
    std::smatch match;
    return std::regex_match(mangled, match, member) ? match[2].str().substr(0, std::stoul(match[1])) : "";
}

// The defined names of the dynamic symbol table, without versions.
std::set<std::string> exportedNames(const std::string& library, const std::string& nm) {
    std::set<std::string> names;
    const auto close = [](FILE* p) { pclose(p); };
    const std::unique_ptr<FILE, decltype(close)> pipe(
        popen(("'" + nm + "' -D --defined-only --format=posix '" + library + "'").c_str(), "r"), close);
    char line[4096];
    while (pipe && fgets(line, sizeof line, pipe.get())) {
        std::string name;
        std::istringstream(line) >> name;
        if (name.starts_with("__odr_asan")) continue;  // the address sanitizer's marks on data
        names.insert(name.substr(0, name.find('@')));
    }
    return names;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return fprintf(stderr, "usage: %s <headers> <library> <nm>\n", argv[0]), 2;
    const auto declared = declaredNames(argv[1]);
    const auto exported = exportedNames(argv[2], argv[3]);
    void* const library = dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
    if (!library) return fprintf(stderr, "%s\n", dlerror()), 1;
    if (declared.plain.size() < 100 || exported.empty())
        return fprintf(stderr, "read %zu declarations and %zu exports\n", declared.plain.size(), exported.size()), 1;

    size_t nFaults = 0;
    for (const auto& [name, header] : declared.plain)
        if (!dlsym(library, name.c_str())) nFaults++, printf("missing: %s (%s)\n", name.c_str(), header.c_str());
    std::set<std::string> classes;
    for (const std::string& name : exported)
        if (const std::string owner = classOf(name); declared.classes.contains(owner))
            classes.insert(owner);
        else if (!declared.plain.contains(name))
            nFaults++, printf("not declared: %s\n", name.c_str());
    for (const auto& [name, header] : declared.classes)
        if (!classes.contains(name)) nFaults++, printf("missing: class %s (%s)\n", name.c_str(), header.c_str());
    printf("%zu and %zu classes declared, %zu exported, %zu faults\n", declared.plain.size(), declared.classes.size(),
           exported.size(), nFaults);
    return nFaults != 0;
}
