#include "space.h"

#include <ravokit/colorspace.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "convert.h"
#include "failure.h"
#include "progress.h"

namespace ravo {

namespace {

struct Model {
    const char* pName;
    int32_t nCode;
    const char* channels[4];
    bool bWords = false;  // signed ones
};

constexpr Model kModels[] = {
    {"rgb", COLORSPACE_BGR, {"blue", "green", "red"}},
    {"yuv", COLORSPACE_YUV, {"Y", "U", "V"}, true},
    {"cmyk", COLORSPACE_CMYK, {"cyan", "magenta", "yellow", "black"}},
    {"hsv", COLORSPACE_HSV, {"hue", "saturation", "value"}},
    {"hls", COLORSPACE_HLS, {"hue", "lightness", "saturation"}},
    {"yiq", COLORSPACE_YIQ, {"Y", "I", "Q"}, true},
    {"cmy", COLORSPACE_CMY, {"cyan", "magenta", "yellow"}},
};

struct Range {
    int32_t nLeast = INT32_MAX, nMost = INT32_MIN;
    int64_t nSum = 0;
    void add(int32_t n) noexcept {
        nLeast = std::min(nLeast, n);
        nMost = std::max(nMost, n);
        nSum += n;
    }
};

int32_t wordAt(const uint8_t* p) noexcept {
    int16_t n;
    std::memcpy(&n, p, sizeof n);
    return n;
}

}  // namespace

std::string spaceText(Picture& picture, const std::string& model) {
    const auto* pModel =
        std::find_if(std::begin(kModels), std::end(kModels), [&](const Model& m) { return model == m.pName; });
    if (pModel == std::end(kModels)) {
        std::string names;
        for (const Model& m : kModels) names += std::string(" ") + m.pName;
        throw Failure("'" + model + "' is no colour model; there are" + names);
    }
    const Progress progress("measuring");
    const size_t nChannels = pModel->channels[3] ? 4 : 3, nSampleBytes = pModel->bWords ? 2 : 1;
    Range ranges[4];
    RowSource source(picture, {24, ORDER_BGR});
    Row samples(size_t(source.width()) * nChannels * nSampleBytes);
    for (int32_t y = 0; y < source.height(); ++y) {
        check(R_ConvertColorSpace(source.row(y), samples.data(), source.width(), COLORSPACE_BGR, pModel->nCode),
              "R_ConvertColorSpace");
        for (const uint8_t* p = samples.data(); p < samples.data() + samples.size(); p += nChannels * nSampleBytes)
            for (size_t i = 0; i < nChannels; ++i) ranges[i].add(pModel->bWords ? wordAt(p + 2 * i) : p[i]);
        Progress::report(y + 1, source.height());
    }
    std::string text;
    for (size_t i = 0; i < nChannels; ++i) {
        char line[96];
        std::snprintf(line, sizeof line, "%-11s %6d  %9.2f  %6d\n", pModel->channels[i], ranges[i].nLeast,
                      double(ranges[i].nSum) / source.width() / source.height(), ranges[i].nMost);
        text += line;
    }
    return text;
}

}  // namespace ravo
