#include "failure.h"

#include <algorithm>
#include <iterator>

namespace ravo {

namespace {

struct StatusText {
    int32_t nStatus;
    const char* pText;
};

constexpr StatusText kStatusTexts[] = {
    {1, "Success"},
    {0, "Function not successful"},
    {-1, "Not enough memory available"},
    {-2, "Invalid image"},
    {-3, "Not enough memory available"},
    {-4, "Error seeking to position"},
    {-5, "Error writing file"},
    {-7, "Error reading file"},
    {-11, "Invalid width or height"},
    {-13, "Invalid parameter passed"},
    {-16, "The order does not suit the depth"},
    {-27, "Invalid bits per pixel"},
    {-100, "User has aborted operation"},
    {-133, "User abort"},
    {-295, "Not enough disk space"},
    {-356, "The codec library is missing"},
    {-357, "The codec library is missing"},
    {-789, "The structure size is invalid"},
    {-814, "A NULL pointer was passed"},
};

}  // namespace

const char* statusText(int32_t nStatus) noexcept {
    const auto* pFound = std::find_if(std::begin(kStatusTexts), std::end(kStatusTexts),
                                      [=](const StatusText& text) { return text.nStatus == nStatus; });
    return pFound != std::end(kStatusTexts) ? pFound->pText : "unknown status";
}

void check(int32_t nStatus, const char* pCall) {
    if (nStatus != 1)
        throw Failure(std::string(pCall) + " gave " + std::to_string(nStatus) + " (" + statusText(nStatus) + ")");
}

void checkMoved(int32_t nMoved, uint32_t nBytes, const char* pCall) {
    if (nMoved < 0) check(nMoved, pCall);
    if (uint32_t(nMoved) != nBytes)
        throw Failure(std::string(pCall) + " moved " + std::to_string(nMoved) + " of " + std::to_string(nBytes) +
                      " bytes");
}

}  // namespace ravo
