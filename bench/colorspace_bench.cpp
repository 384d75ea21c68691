// Colour models on a row of 4000 pixels, and samples of video on pictures of 4000 x 3000.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ravokit/colorspace.h"
#include "ravokit/yuv.h"

namespace {

constexpr int32_t kWidth = 4000, kHeight = 3000;

template <class F>
double secondsOf(F f) {
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::vector<uint8_t> randomBytes(size_t n) {
    std::mt19937 random(1);
    std::vector<uint8_t> out(n);
    for (uint8_t& b : out) b = uint8_t(random());
    return out;
}

// f and a memcpy of half the bytes that it reads and writes, in turn; the fastest of each counts.
template <class F>
void measure(benchmark::State& state, double nPixels, size_t nBytes, F f) {
    std::vector<uint8_t> from(nBytes / 2, 1), to(nBytes / 2, 2);
    double best = 1e9, copyBest = 1e9;
    for (auto _ : state) {
        copyBest = std::min(copyBest, secondsOf([&] {
                                std::memcpy(to.data(), from.data(), from.size());
                                benchmark::ClobberMemory();
                            }));
        const double seconds = secondsOf(f);
        best = std::min(best, seconds);
        state.SetIterationTime(seconds);
    }
    state.counters["Mpix/s"] = nPixels / best / 1e6;
    state.counters["vs_memcpy"] = copyBest / best;
}

void model(const char* name, int32_t nFrom, int32_t nTo, size_t nBytesFrom, size_t nBytesTo) {
    benchmark::RegisterBenchmark(name, [=](benchmark::State& state) {
        const std::vector<uint8_t> src = randomBytes(kWidth * nBytesFrom);
        std::vector<uint8_t> dst(kWidth * nBytesTo);
        measure(state, kWidth, src.size() + dst.size(),
                [&] { R_ConvertColorSpace(src.data(), dst.data(), kWidth, nFrom, nTo); });
    })->UseManualTime();
}

void video(const std::string& name, int32_t nFormat, int32_t nBits) {
    const size_t nSamples = size_t(kWidth) * kHeight * (nFormat == YUV_YUY2 ? 4 : 3) / 2;
    const auto run = [=](benchmark::State& state, bool bSet) {
        std::vector<uint8_t> samples = randomBytes(nSamples);
        auto uSize = uint32_t(nSamples);
        BITMAPRECORD bm;
        R_CreateBitmap(&bm, sizeof bm, BMMEM_CONVENTIONAL, kWidth, kHeight, nBits, ORDER_BGR, nullptr, TOP_LEFT,
                       nullptr, 0);
        R_SetBitmapYUVData(&bm, samples.data(), uSize, nFormat);
        measure(state, double(kWidth) * kHeight, nSamples + size_t(bm.BytesPerLine) * kHeight, [&] {
            if (bSet)
                R_SetBitmapYUVData(&bm, samples.data(), uSize, nFormat);
            else
                R_GetBitmapYUVData(&bm, samples.data(), &uSize, nFormat);
        });
        R_FreeBitmap(&bm);
    };
    benchmark::RegisterBenchmark((name + "_to_" + std::to_string(nBits)).c_str(), run, true)->UseManualTime();
    benchmark::RegisterBenchmark((std::to_string(nBits) + "_to_" + name).c_str(), run, false)->UseManualTime();
}

const bool kRegistered = [] {
    model("bgr_to_hsv", COLORSPACE_BGR, COLORSPACE_HSV, 3, 3);
    model("hsv_to_bgr", COLORSPACE_HSV, COLORSPACE_BGR, 3, 3);
    model("bgr_to_hls", COLORSPACE_BGR, COLORSPACE_HLS, 3, 3);
    model("hls_to_bgr", COLORSPACE_HLS, COLORSPACE_BGR, 3, 3);
    model("bgr_to_yuv", COLORSPACE_BGR, COLORSPACE_YUV, 3, 6);
    model("yuv_to_bgr", COLORSPACE_YUV, COLORSPACE_BGR, 6, 3);
    model("bgr_to_yiq", COLORSPACE_BGR, COLORSPACE_YIQ, 3, 6);
    model("bgr_to_cmyk", COLORSPACE_BGR, COLORSPACE_CMYK, 3, 4);
    model("cmyk_to_bgr", COLORSPACE_CMYK, COLORSPACE_BGR, 4, 3);
    model("bgr_to_hsv_16", COLORSPACE_BGR16, COLORSPACE_HSV16, 6, 6);
    for (const int32_t nBits : {24, 32}) {
        video("i420", YUV_PLANAR_420, nBits);
        video("nv12", YUV_NV12, nBits);
        video("yuy2", YUV_YUY2, nBits);
    }
    return true;
}();

}  // namespace
