// Makes a slice through a body as a scanner measures it: densities from air to bone in 16 bits of grey, of which no
// screen shows all at once. Stored values are 1024 above the scale on which water is 0 and air -1000.
//
//     phantom OUT [WIDTH HEIGHT]        OUT is a .png or .tif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "failure.h"
#include "formats.h"
#include "picture.h"

namespace {

constexpr int kStored = 1024, kAir = -1000;
constexpr double kPi = 3.14159265358979;

// An ellipse about x, y, turned clockwise, in a space whose shorter side goes from -1 to 1. Later ones lie over
// earlier ones.
struct Organ {
    double x, y, dHalfWidth, dHalfHeight, dDegrees;
    int nDensity;
};

constexpr Organ kOrgans[] = {
    // fat under the skin, the wall, fat inside
    {0, 0, 1.16, 0.86, 0, -95},
    {0, 0.02, 1.08, 0.79, 0, 48},
    {0, 0.02, 0.96, 0.69, 0, -85},
    // liver, with vessels and a cyst
    {-0.42, -0.10, 0.50, 0.50, 14, 62},
    {-0.28, -0.16, 0.15, 0.035, 28, 96},
    {-0.52, -0.02, 0.17, 0.03, -34, 94},
    {-0.58, -0.30, 0.09, 0.08, 0, 6},
    // stomach, with gas that has risen
    {0.30, -0.30, 0.33, 0.20, -18, 34},
    {0.27, -0.38, 0.20, 0.075, -8, -900},
    // spleen
    {0.66, -0.02, 0.16, 0.30, -16, 54},
    // kidneys
    {0.50, 0.28, 0.15, 0.20, 20, 42},
    {0.47, 0.28, 0.07, 0.11, 20, 128},
    {-0.46, 0.36, 0.15, 0.18, -20, 42},
    {-0.43, 0.36, 0.07, 0.10, -20, 126},
    // muscles of the back
    {-0.16, 0.50, 0.19, 0.13, 24, 56},
    {0.16, 0.50, 0.19, 0.13, -24, 56},
    // great vessels
    {0.08, 0.12, 0.09, 0.09, 0, 160},
    {-0.10, 0.12, 0.08, 0.065, 0, 118},
    // vertebra: body, arch and processes
    {0, 0.33, 0.175, 0.145, 0, 640},
    {0, 0.33, 0.145, 0.115, 0, 250},
    {0, 0.52, 0.105, 0.085, 0, 560},
    {0, 0.50, 0.06, 0.05, 0, 26},
    {0, 0.66, 0.026, 0.10, 0, 520},
    {-0.19, 0.49, 0.12, 0.028, 20, 480},
    {0.19, 0.49, 0.12, 0.028, -20, 480},
};

// How much of a spot of the size dSoft lies inside, by the distance to the edge.
double coverage(const Organ& organ, double x, double y, double dSoft) {
    const double a = organ.dDegrees * kPi / 180, dx = x - organ.x, dy = y - organ.y;
    const double u = (dx * std::cos(a) + dy * std::sin(a)) / organ.dHalfWidth;
    const double v = (dy * std::cos(a) - dx * std::sin(a)) / organ.dHalfHeight;
    const double dInside = (1 - std::hypot(u, v)) * std::min(organ.dHalfWidth, organ.dHalfHeight);
    return std::clamp(dInside / dSoft + 0.5, 0.0, 1.0);
}

double densityAt(double x, double y, double dSoft) {
    double dDensity = kAir;
    const auto lay = [&](const Organ& organ) {
        dDensity += (organ.nDensity - dDensity) * coverage(organ, x, y, dSoft);
    };
    for (const Organ& organ : kOrgans) lay(organ);
    for (int i = 0; i < 14; ++i) {  // ribs: compact outside, spongy inside
        const double a = (i * 360.0 / 14 + 13) * kPi / 180, rx = 1.02 * std::cos(a), ry = 0.02 + 0.74 * std::sin(a);
        const double dAlong = std::atan2(0.74 * std::cos(a), -1.02 * std::sin(a)) * 180 / kPi;
        lay({rx, ry, 0.095, 0.038, dAlong, 760});
        lay({rx, ry, 0.070, 0.018, dAlong, 300});
    }
    return dDensity;
}

ravo::Picture slice(int nWidth, int nHeight) {
    ravo::Picture picture(nWidth, nHeight, 16, ORDER_GRAY);
    std::mt19937 random(5);  // its numbers are the same everywhere; so is this sum of twelve, which is nearly normal
    const auto noise = [&] {
        double dSum = -6;
        for (int i = 0; i < 12; ++i) dSum += double(random()) / 4294967296.0;
        return 6 * dSum;
    };
    const double dScale = 2.0 / std::min(nWidth, nHeight);
    const ravo::Access lock(picture);
    ravo::Row row(picture->BytesPerLine);
    for (int y = 0; y < nHeight; ++y) {
        for (int x = 0; x < nWidth; ++x) {
            const double d =
                densityAt((x + 0.5 - nWidth / 2.0) * dScale, (y + 0.5 - nHeight / 2.0) * dScale, 1.4 * dScale);
            const int n = std::clamp(int(std::lround(d + noise())) + kStored, 0, 4095);
            row[size_t(x) * 2] = uint8_t(n);
            row[size_t(x) * 2 + 1] = uint8_t(n >> 8);
        }
        ravo::putRow(picture, row.data(), y);
    }
    return picture;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2 && argc != 4) {
        std::fprintf(stderr, "phantom OUT [WIDTH HEIGHT]\n");
        return 2;
    }
    ravo::Picture picture = slice(argc == 4 ? std::atoi(argv[2]) : 480, argc == 4 ? std::atoi(argv[3]) : 360);
    ravo::savePicture(picture, argv[1]);
    return 0;
} catch (const ravo::Failure& failure) {
    std::fprintf(stderr, "phantom: %s\n", failure.what());
    return 1;
}
