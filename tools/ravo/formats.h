// The file formats: one line each in the table, one source file each.
#pragma once

#include <span>
#include <string>

#include "picture.h"

namespace ravo {

struct Format {
    const char* pName;
    const char* pExtensions;  // separated by spaces
    bool (*recognises)(const uint8_t* pStart, size_t nBytes);
    Picture (*load)(const std::string& path);
    void (*save)(Picture& picture, const std::string& path);
};

extern const Format kPng, kJpeg, kTiff, kBmp;

std::span<const Format* const> formats() noexcept;

/// The format whose extension the name has; throws if there is none.
const Format& formatOfName(const std::string& path);
/// The format of a file by its first bytes; throws if it is none of the table's.
const Format& formatOfFile(const std::string& path);

/// Both throw a Failure without the file's name; the caller knows it.
Picture loadPicture(const std::string& path);
void savePicture(Picture& picture, const std::string& path);

/// Says something on standard error that is no failure: what a file holds that does not come into the picture.
void note(const std::string& path, const std::string& text);

/// Refuses sizes that no picture has, before anything is allocated for them.
void checkSize(uint64_t nWidth, uint64_t nHeight);

/// Dots per inch from dots per centimetre or metre, 0 where that is no sensible resolution.
int32_t dotsPerInch(double dDotsPerUnit, double dUnitsPerInch) noexcept;

}  // namespace ravo
