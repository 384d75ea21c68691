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
    Picture (*loadSized)(const std::string& path, SIZE size) = nullptr;  // in place of load: bare samples
};

extern const Format kPng, kJpeg, kTiff, kBmp, kI420, kNv12, kNv21, kYuy2;

std::span<const Format* const> formats() noexcept;

/// The format whose extension the name has; throws if there is none.
const Format& formatOfName(const std::string& path);
/// The format of a file by its first bytes, or of bare samples by its name; throws if it is none of the table's.
const Format& formatOfFile(const std::string& path);

/// Both throw a Failure without the file's name; the caller knows it. A file that is bare samples needs its size told.
Picture loadPicture(const std::string& path, SIZE size = {});
void savePicture(Picture& picture, const std::string& path);

/// Says something on standard error that is no failure: what a file holds that does not come into the picture.
void note(const std::string& path, const std::string& text);

/// Refuses sizes that no picture has, before anything is allocated for them.
void checkSize(uint64_t nWidth, uint64_t nHeight);

/// Dots per inch from dots per centimetre or metre, 0 where that is no sensible resolution.
int32_t dotsPerInch(double dDotsPerUnit, double dUnitsPerInch) noexcept;

}  // namespace ravo
