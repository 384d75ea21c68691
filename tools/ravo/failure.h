// What goes wrong, in words: every error of the command is a Failure, and statuses of the library carry their meaning.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace ravo {

class Failure : public std::runtime_error {
public:
    explicit Failure(const std::string& text) : std::runtime_error(text) {}
};

/// A command line that cannot be meant; nothing is done then.
struct Misuse {
    std::string text;
};

/// The meaning of a status that the calls used here can give.
const char* statusText(int32_t nStatus) noexcept;

/// Throws unless nStatus is 1; pCall is the name of the call that gave it.
void check(int32_t nStatus, const char* pCall);

/// Throws unless a row call moved all of its bytes.
void checkMoved(int32_t nMoved, uint32_t nBytes, const char* pCall);

}  // namespace ravo
