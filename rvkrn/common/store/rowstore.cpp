// Copying rows. For some kilobytes in the cache a plain loop of aligned vectors is faster than the processor's string
// move, which memcpy takes there. Past the caches only whole cache lines are streamed, and nothing is written over
// them: a line that is streamed in part has to be fetched after all.
#include "internal/rowstore.h"

#include <algorithm>
#include <cstring>

#include "internal/simd.h"

#ifdef RV_X86
#include <immintrin.h>
#endif

namespace rv {

#ifdef RV_X86
namespace {

constexpr size_t kLine = 64;
constexpr size_t kLeastRow = 512, kMostRow = 128 * 1024;  // lengths that copyLines is for

RV_AVX2 inline __m256i load32(const uint8_t* p) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

RV_AVX2 void copyLines(uint8_t* dst, const uint8_t* src, size_t n) noexcept {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), load32(src));
    size_t i = size_t(-reinterpret_cast<uintptr_t>(dst) % 32);
    for (; i + 128 <= n; i += 128) {
        const __m256i v0 = load32(src + i), v1 = load32(src + i + 32), v2 = load32(src + i + 64),
                      v3 = load32(src + i + 96);
        auto* to = reinterpret_cast<__m256i*>(dst + i);
        _mm256_store_si256(to, v0);
        _mm256_store_si256(to + 1, v1);
        _mm256_store_si256(to + 2, v2);
        _mm256_store_si256(to + 3, v3);
    }
    std::memcpy(dst + i, src + i, n - i);
}

RV_AVX2 void streamLines(uint8_t* dst, const uint8_t* src, size_t n) noexcept {
    size_t i = std::min(n, size_t(-reinterpret_cast<uintptr_t>(dst) % kLine));
    std::memcpy(dst, src, i);
    for (; i + kLine <= n; i += kLine) {
        const __m256i v0 = load32(src + i), v1 = load32(src + i + 32);
        _mm256_stream_si256(reinterpret_cast<__m256i*>(dst + i), v0);
        _mm256_stream_si256(reinterpret_cast<__m256i*>(dst + i + 32), v1);
    }
    std::memcpy(dst + i, src + i, n - i);
}

}  // namespace

void copyRow(uint8_t* dst, const uint8_t* src, size_t n) noexcept {
    if (n >= kLeastRow && n <= kMostRow && cpuHasAvx2())
        copyLines(dst, src, n);
    else
        std::memcpy(dst, src, n);
}
void streamRow(uint8_t* dst, const uint8_t* src, size_t n) noexcept {
    if (cpuHasAvx2())
        streamLines(dst, src, n);
    else
        std::memcpy(dst, src, n);
}
void endStream() noexcept { _mm_sfence(); }
#else
void copyRow(uint8_t* dst, const uint8_t* src, size_t n) noexcept { std::memcpy(dst, src, n); }
void streamRow(uint8_t* dst, const uint8_t* src, size_t n) noexcept { std::memcpy(dst, src, n); }
void endStream() noexcept {}
#endif

}  // namespace rv
