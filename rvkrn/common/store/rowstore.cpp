// Storing rows past the caches. Only whole cache lines are streamed, and nothing is written over them: a line that is
// streamed in part has to be fetched after all.
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

RV_AVX2 void streamLines(uint8_t* dst, const uint8_t* src, size_t n) noexcept {
    size_t i = std::min(n, size_t(-reinterpret_cast<uintptr_t>(dst) % kLine));
    std::memcpy(dst, src, i);
    for (; i + kLine <= n; i += kLine) {
        const __m256i v0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i)),
                      v1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i + 32));
        _mm256_stream_si256(reinterpret_cast<__m256i*>(dst + i), v0);
        _mm256_stream_si256(reinterpret_cast<__m256i*>(dst + i + 32), v1);
    }
    std::memcpy(dst + i, src + i, n - i);
}

}  // namespace

void streamRow(uint8_t* dst, const uint8_t* src, size_t n) noexcept {
    if (cpuHasAvx2())
        streamLines(dst, src, n);
    else
        std::memcpy(dst, src, n);
}
void endStream() noexcept { _mm_sfence(); }
#else
void streamRow(uint8_t* dst, const uint8_t* src, size_t n) noexcept { std::memcpy(dst, src, n); }
void endStream() noexcept {}
#endif

}  // namespace rv
