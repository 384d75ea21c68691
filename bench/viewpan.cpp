// What moving the view costs: a picture of 4000 x 3000 in 24 bits at its own size in a window of 1920 x 1080. One line
// for each way of moving, in milliseconds: the surface's pixels move, the strip that comes into sight is painted, and
// the surface is handed over, which is a copy here. The last number compares all three with a copy of the surface.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "picture.h"
#include "viewer.h"

namespace {

using namespace ravo;
using Clock = std::chrono::steady_clock;

constexpr SIZE kWindow{1920, 1080};
constexpr size_t kRuns = 41;

Picture photo() {
    Picture picture(4000, 3000, 24, ORDER_BGR);
    const Access lock(picture);
    Row row(picture->BytesPerLine);
    uint32_t uNoise = 1;
    for (int32_t y = 0; y < picture->Height; ++y) {
        for (size_t i = 0; i < row.size(); ++i) {
            uNoise = uNoise * 1664525 + 1013904223;
            row[i] = uint8_t(40 + i / 150 + size_t(y) / 40 + (uNoise >> 29));
        }
        putRow(picture, row.data(), y);
    }
    return picture;
}

double middle(std::vector<double> times) {
    std::nth_element(times.begin(), times.begin() + kRuns / 2, times.end());
    return times[kRuns / 2];
}

template <class Body>
double timed(Body&& body) {
    const auto start = Clock::now();
    body();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct Bench {
    Viewer viewer{std::make_unique<Document>(photo()), kWindow};
    Canvas canvas{kWindow};
    std::vector<uint8_t> shown = std::vector<uint8_t>(size_t(kWindow.width) * size_t(kWindow.height) * 4);
    double dCopy = 0;

    Bench() {
        viewer.take({.kind = Happening::key, .key = "1"});
        viewer.draw(canvas);
        present();
        std::vector<double> times(kRuns);
        for (double& d : times) d = timed([&] { present(); });
        dCopy = middle(times);
        std::printf("copying the surface %.2f ms\n", dCopy);
    }

    void present() { std::memcpy(shown.data(), canvas.row(0), shown.size()); }

    // Back and forth, so that the picture's edges stay away.
    void run(const char* pName, POINT by) {
        std::vector<double> moving(kRuns), painting(kRuns), presenting(kRuns), all(kRuns);
        for (size_t i = 0; i < kRuns; ++i) {
            const POINT at{900, 500}, to = i % 2 ? POINT{at.x + by.x, at.y + by.y} : POINT{at.x - by.x, at.y - by.y};
            all[i] = timed([&] {
                viewer.take({.kind = Happening::pressed, .at = at, .n = 3});
                viewer.take({.kind = Happening::moved, .at = to});
                viewer.take({.kind = Happening::released, .at = to, .n = 3});
                viewer.draw(canvas);
                presenting[i] = timed([&] { present(); });
            });
            moving[i] = viewer.times().dMoving;
            painting[i] = viewer.times().dPainting;
        }
        std::printf("%-12s moved %.2f, painted %.2f, presented %.2f, all %.2f ms, %.2f copies\n", pName, middle(moving),
                    middle(painting), middle(presenting), middle(all), middle(all) / dCopy);
    }

    void whole() {
        std::vector<double> all(kRuns), painting(kRuns);
        for (size_t i = 0; i < kRuns; ++i) {
            viewer.forgetSurface();
            all[i] = timed([&] {
                viewer.draw(canvas);
                present();
            });
            painting[i] = viewer.times().dPainting;
        }
        std::printf("%-12s painted %.2f, all %.2f ms, %.2f copies\n", "whole", middle(painting), middle(all),
                    middle(all) / dCopy);
    }
};

}  // namespace

int main() {
    Bench bench;
    bench.run("50 across", {50, 0});
    bench.run("50 down", {0, 50});
    bench.run("50 both ways", {50, 50});
    bench.whole();
}
