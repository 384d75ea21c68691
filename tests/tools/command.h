// The command run as a process.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace ravo {

struct Result {
    int nExit;
    std::string output;  // standard output and error together
};

// What stands before the command may set variables, or be another command that runs it.
inline Result ravo(const std::string& arguments, const std::string& before = {}) {
    Result result{-1, {}};
    FILE* pPipe = popen((before + " " + RAVO_COMMAND + " " + arguments + " 2>&1").c_str(), "r");
    char buffer[4096];
    for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pPipe)) > 0;) result.output.append(buffer, n);
    const int nStatus = pclose(pPipe);
    if (WIFEXITED(nStatus)) result.nExit = WEXITSTATUS(nStatus);
    return result;
}

inline bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace ravo
