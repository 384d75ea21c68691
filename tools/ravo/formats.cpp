#include "formats.h"

#include <strings.h>

#include <cmath>
#include <cstdio>
#include <sstream>

#include "failure.h"
#include "outfile.h"
#include "progress.h"

namespace ravo {

namespace {

constexpr const Format* kFormats[] = {&kPng, &kJpeg, &kTiff, &kBmp, &kI420, &kNv12, &kNv21, &kYuy2};

std::string baseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

const Format* findByName(const std::string& path) {
    const std::string name = baseName(path);
    const size_t nDot = name.rfind('.');
    if (nDot == std::string::npos) return nullptr;
    for (const Format* pFormat : kFormats) {
        std::istringstream extensions(pFormat->pExtensions);
        for (std::string extension; extensions >> extension;)
            if (strcasecmp(extension.c_str(), name.c_str() + nDot) == 0) return pFormat;
    }
    return nullptr;
}

}  // namespace

std::span<const Format* const> formats() noexcept { return kFormats; }

const Format& formatOfName(const std::string& path) {
    if (const Format* pFormat = findByName(path)) return *pFormat;
    std::string known;
    for (const Format* pFormat : kFormats) known += std::string(" ") + pFormat->pExtensions;
    throw Failure("no file format has this extension; known are" + known);
}

const Format& formatOfFile(const std::string& path) {
    uint8_t start[16];
    const File file = openFile(path, "rb");
    const size_t nBytes = std::fread(start, 1, sizeof start, file.get());
    if (std::ferror(file.get())) throw Failure("cannot be read");
    // Bare samples may begin in any way.
    if (const Format* pFormat = findByName(path); pFormat && pFormat->loadSized) return *pFormat;
    for (const Format* pFormat : kFormats)
        if (pFormat->recognises && pFormat->recognises(start, nBytes)) return *pFormat;
    throw Failure("is no PNG, JPEG, TIFF or BMP file");
}

Picture loadPicture(const std::string& path, SIZE size) {
    const Format& format = formatOfFile(path);
    const Progress progress("loading " + baseName(path));
    if (!size.width) {
        if (!format.load) throw Failure("is bare samples, whose size has to be told: --size WxH");
        return format.load(path);
    }
    if (!format.loadSized) throw Failure(std::string("is a ") + format.pName + " file, which tells its size itself");
    checkSize(uint64_t(int64_t(size.width)), uint64_t(int64_t(size.height)));
    return format.loadSized(path, size);
}

void savePicture(Picture& picture, const std::string& path) {
    const Format& format = formatOfName(path);
    const Progress progress("writing " + baseName(path));
    OutputFile output(path);
    format.save(picture, output.path());
    output.commit();
}

void note(const std::string& path, const std::string& text) {
    std::fprintf(stderr, "ravo: %s: %s\n", path.c_str(), text.c_str());
}

void checkSize(uint64_t nWidth, uint64_t nHeight) {
    constexpr uint64_t kMost = 1'000'000;
    if (nWidth == 0 || nHeight == 0 || nWidth > kMost || nHeight > kMost)
        throw Failure("has an impossible size: " + std::to_string(nWidth) + " x " + std::to_string(nHeight));
}

int32_t dotsPerInch(double dDotsPerUnit, double dUnitsPerInch) noexcept {
    const double dDots = dDotsPerUnit * dUnitsPerInch;
    return dDots >= 0.5 && dDots < 1e9 ? int32_t(std::lround(dDots)) : 0;
}

}  // namespace ravo
