// Whether cost grows with the picture alone: sizes, turns and flips of 1 to 64 Mpixel at 24 bits, each in a process of
// its own. Printed are the time per pixel, its ratio to that of the smallest picture, and the most memory that was ever
// resident, in bytes for each byte of the picture itself. An argument is the largest size in Mpixel.
//
// Time and memory are those of the first call in the process: what a program pays that does it once. Time is the
// processor's, so that a busy machine changes little.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "ravokit/ravokit.h"

namespace {

struct Cost {
    double seconds;
    uint64_t bytes;  // the peak above what the process has before the picture
    int32_t status;
};

uint64_t peakResident() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return uint64_t(usage.ru_maxrss) << 10;
}

double processorSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

int32_t half(BITMAPRECORD& bm) { return R_SizeBitmap(&bm, bm.Width / 2, bm.Height / 2, RSZ_RESAMPLE); }
int32_t nearestHalf(BITMAPRECORD& bm) { return R_SizeBitmap(&bm, bm.Width / 2, bm.Height / 2, 0); }
int32_t turn17(BITMAPRECORD& bm) { return R_RotateBitmap(&bm, 1700, ROT_RESIZE, 0); }
int32_t turn90(BITMAPRECORD& bm) { return R_RotateBitmap(&bm, 9000, ROT_RESIZE, 0); }
int32_t flip(BITMAPRECORD& bm) { return R_FlipBitmap(&bm); }

struct Case {
    const char* name;
    int32_t (*run)(BITMAPRECORD& bm);
};
constexpr Case kCases[] = {
    {"half by area", half}, {"half by nearest", nearestHalf}, {"turn by 17", turn17}, {"turn by 90", turn90},
    {"flip", flip},
};

Cost measure(const Case& c, int32_t width, int32_t height) {
    Cost cost{};
    const uint64_t before = peakResident();
    BITMAPRECORD bm;
    cost.status =
        R_CreateBitmap(&bm, sizeof bm, BMMEM_CONVENTIONAL, width, height, 24, ORDER_BGR, nullptr, TOP_LEFT, nullptr, 0);
    if (cost.status != 1) return cost;
    R_AccessBitmap(&bm);
    for (int32_t y = 0; y < height; ++y) std::memset(bm.pData + size_t(y) * bm.BytesPerLine, y & 255, bm.BytesPerLine);
    R_ReleaseBitmap(&bm);
    const double start = processorSeconds();
    cost.status = c.run(bm);
    cost.seconds = processorSeconds() - start;
    cost.bytes = peakResident() - before;
    R_FreeBitmap(&bm);
    return cost;
}

// The same in a child, since a process keeps its peak. A child that dies tells 0.
Cost measureApart(const Case& c, int32_t width, int32_t height) {
    Cost cost{};
    int ends[2];
    if (pipe(ends) != 0) return cost;
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const Cost own = measure(c, width, height);
        const bool bSent = write(ends[1], &own, sizeof own) == ssize_t(sizeof own);
        _exit(bSent ? 0 : 1);
    }
    close(ends[1]);
    if (child < 0 || read(ends[0], &cost, sizeof cost) != ssize_t(sizeof cost)) cost = {};
    close(ends[0]);
    if (child > 0) waitpid(child, nullptr, 0);
    return cost;
}

Cost bestOf(int runs, const Case& c, int32_t width, int32_t height) {
    Cost best = measureApart(c, width, height);
    while (--runs > 0 && best.status == 1) {
        const Cost next = measureApart(c, width, height);
        if (next.status == 1 && next.seconds < best.seconds) best = next;
    }
    return best;
}

}  // namespace

int main(int argc, char** argv) {
    const int32_t most = argc > 1 ? std::atoi(argv[1]) : 64;
    int failures = 0;
    std::printf("%-16s %8s %10s %10s %8s %12s\n", "operation", "Mpixel", "ms", "ns/pixel", "ratio", "peak/picture");
    for (const Case& c : kCases) {
        double first = 0;
        for (int32_t side = 1; side * side <= most; side *= 2) {
            const int32_t width = 1024 * side, height = 1024 * side;
            const double pixels = double(width) * height;
            const Cost cost = bestOf(side < 8 ? 5 : 3, c, width, height);
            if (cost.status != 1) {
                std::fprintf(stderr, "%s of %d Mpixel gave %d\n", c.name, side * side, cost.status);
                ++failures;
                continue;
            }
            const double ns = cost.seconds * 1e9 / pixels;
            if (first == 0) first = ns;
            std::printf("%-16s %8d %10.2f %10.3f %8.2f %12.2f\n", c.name, side * side, cost.seconds * 1e3, ns,
                        ns / first, double(cost.bytes) / (pixels * 3));
        }
    }
    return failures ? 1 : 0;
}
