// Regions for tests, and what they are compared with: a plane of bytes, one for each pixel.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

#include "internal/region_.h"

namespace test {

inline constexpr int kReach = 128;  // the plane's rows and columns are -kReach to kReach - 1

struct Plane {
    std::vector<uint8_t> bytes = std::vector<uint8_t>(4 * kReach * kReach);
    uint8_t& at(int x, int y) { return bytes.at(size_t(y + kReach) * 2 * kReach + size_t(x + kReach)); }
    uint8_t at(int x, int y) const { return const_cast<Plane*>(this)->at(x, y); }
    bool operator==(const Plane&) const = default;
    void fill(const RECT& r, uint8_t value) {
        for (int y = r.top; y < r.bottom; ++y)
            for (int x = r.left; x < r.right; ++x) at(x, y) = value;
    }
    // The plane whose pixels test(x, y) tells.
    static Plane where(const std::function<bool(int, int)>& test) {
        Plane plane;
        for (int y = -kReach; y < kReach; ++y)
            for (int x = -kReach; x < kReach; ++x) plane.at(x, y) = test(x, y);
        return plane;
    }
};

// The caller's.
inline RavoRgn* regionOf(const Plane& plane) {
    rv::RgnBuilder builder;
    EXPECT_EQ(rv::RgnBuilderBegin(builder, {-kReach, -kReach, kReach, kReach}), 1);
    for (int y = -kReach; y < kReach; ++y) {
        for (int x = -kReach, from; x < kReach; ++x) {
            for (from = x; x < kReach && plane.at(x, y); ++x) continue;
            if (from < x) builder.add(from, x);
        }
        EXPECT_EQ(rv::RgnBuilderEndRow(builder), 1);
    }
    return rv::RgnBuilderFinish(builder);
}

inline Plane planeOf(const RavoRgn& rgn) {
    EXPECT_TRUE(rv::isWellFormed(rgn));
    Plane plane;
    rv::forEachSpan(rgn, [&](int y, int left, int right) { plane.fill({left, y, right, y + 1}, 1); });
    return plane;
}

// Empty, noise of some density, or rectangles and holes, around the origin.
inline Plane randomPlane(std::mt19937& random) {
    const auto below = [&](int n) { return int(random() % unsigned(n)); };
    Plane plane;
    const int kind = below(8);
    if (kind < 3) {
        const int density = 1 + below(9);
        for (int y = -20; y < 20; ++y)
            for (int x = -25; x < 25; ++x) plane.at(x, y) = below(10) < density;
    } else if (kind > 3) {
        for (int i = 0; i < 9; ++i) {
            const int left = below(40) - 30, top = below(40) - 25;
            plane.fill({left, top, left + 1 + below(25), top + 1 + below(20)}, below(3) > 0);
        }
    }
    return plane;
}

}  // namespace test
