#include "canvasrows.h"

#include <ravokit/convert.h>

#include <cstring>

// Built for plain processors and for wide ones; the loader of the system takes the one that fits. Sanitizers don't
// stand its early call.
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define RAVO_CLONES __attribute__((target_clones("default", "avx2")))
#else
#define RAVO_CLONES
#endif

namespace ravo {

namespace {

// A whole byte is eight pixels at once: each takes the second colour where its bit is set.
void fetch1(uint32_t* pDest, const uint8_t* pSource, int32_t nFirst, int32_t n, const uint32_t* pTable) {
    const uint32_t uZero = pTable[0], uChange = pTable[0] ^ pTable[1];
    const auto one = [&](int32_t x) {
        const uint32_t uBit = pSource[x >> 3] >> (7 - (x & 7)) & 1;
        return uZero ^ (uChange & (0u - uBit));
    };
    int32_t i = 0;
    for (; i < n && ((nFirst + i) & 7); ++i) pDest[i] = one(nFirst + i);
    for (; i + 8 <= n; i += 8) {
        const uint32_t uByte = pSource[(nFirst + i) >> 3];
        for (uint32_t k = 0; k < 8; ++k) pDest[i + int32_t(k)] = uZero ^ (uChange & (0u - (uByte >> (7 - k) & 1)));
    }
    for (; i < n; ++i) pDest[i] = one(nFirst + i);
}

void fetch4(uint32_t* pDest, const uint8_t* pSource, int32_t nFirst, int32_t n, const uint32_t* pTable) {
    for (int32_t i = 0; i < n; ++i) {
        const int32_t x = nFirst + i;
        pDest[i] = pTable[pSource[x >> 1] >> (x & 1 ? 0 : 4) & 15];
    }
}

void fetch8(uint32_t* pDest, const uint8_t* pSource, int32_t nFirst, int32_t n, const uint32_t* pTable) {
    for (int32_t i = 0; i < n; ++i) pDest[i] = pTable[pSource[nFirst + i]];
}

void fetch16(uint32_t* pDest, const uint8_t* pSource, int32_t nFirst, int32_t n, const uint32_t*) {
    for (int32_t i = 0; i < n; ++i) {
        uint16_t nPacked;
        std::memcpy(&nPacked, pSource + 2 * size_t(nFirst + i), 2);
        const uint32_t uColor = (nPacked & 0x7C00u) << 9 | (nPacked & 0x3E0u) << 6 | (nPacked & 0x1Fu) << 3;
        pDest[i] = kOpaque | uColor | (uColor >> 5 & 0x070707);
    }
}

// The library has the widest loop for this, the most frequent one. It makes rows opaque.
void fetch24(uint32_t* pDest, const uint8_t* pSource, int32_t nFirst, int32_t n, const uint32_t*) {
    R_ConvertRow(reinterpret_cast<uint8_t*>(pDest), pSource + 3 * size_t(nFirst), n, 24, 32, ORDER_BGR, ORDER_BGR,
                 nullptr, nullptr);
}

void fetch32(uint32_t* pDest, const uint8_t* pSource, int32_t nFirst, int32_t n, const uint32_t*) {
    std::memcpy(pDest, pSource + 4 * size_t(nFirst), 4 * size_t(n));
}

// The high bytes.
void fetch64(uint32_t* pDest, const uint8_t* pSource, int32_t nFirst, int32_t n, const uint32_t*) {
    const uint8_t* p = pSource + 8 * size_t(nFirst);
    for (int32_t i = 0; i < n; ++i, p += 8)
        pDest[i] = uint32_t(p[7]) << 24 | uint32_t(p[5]) << 16 | uint32_t(p[3]) << 8 | p[1];
}

// n / 255, rounded, for n up to 65025.
constexpr uint32_t by255(uint32_t n) noexcept { return (n + 128 + ((n + 128) >> 8)) >> 8; }
static_assert(by255(65025) == 255 && by255(127) == 0 && by255(128) == 1);

}  // namespace

FetchRow fetchRowOf(int32_t nBits) noexcept {
    switch (nBits) {
        case 1:
            return fetch1;
        case 4:
            return fetch4;
        case 8:
            return fetch8;
        case 16:
            return fetch16;
        case 24:
            return fetch24;
        case 32:
            return fetch32;
        case 64:
            return fetch64;
        default:
            return nullptr;
    }
}

RAVO_CLONES void blendRow(uint32_t* pDest, const uint32_t* pSource, int32_t n) noexcept {
    for (int32_t i = 0; i < n; ++i) {
        const uint32_t s = pSource[i], d = pDest[i], a = s >> 24, b = 255 - a;
        const uint32_t uBlue = by255((s & 255) * a + (d & 255) * b);
        const uint32_t uGreen = by255((s >> 8 & 255) * a + (d >> 8 & 255) * b);
        const uint32_t uRed = by255((s >> 16 & 255) * a + (d >> 16 & 255) * b);
        pDest[i] = kOpaque | uRed << 16 | uGreen << 8 | uBlue;
    }
}

RAVO_CLONES void blendPremultipliedRow(uint32_t* pDest, const uint32_t* pSource, int32_t n) noexcept {
    const auto channel = [](uint32_t s, uint32_t d, uint32_t b) {
        const uint32_t u = s + by255(d * b);  // past 255 only where a colour exceeds its alpha
        return u < 255 ? u : 255u;
    };
    for (int32_t i = 0; i < n; ++i) {
        const uint32_t s = pSource[i], d = pDest[i], b = 255 - (s >> 24);
        pDest[i] = kOpaque | channel(s >> 16 & 255, d >> 16 & 255, b) << 16 |
                   channel(s >> 8 & 255, d >> 8 & 255, b) << 8 | channel(s & 255, d & 255, b);
    }
}

void maskRow(uint32_t* pDest, const uint32_t* pSource, int32_t n) noexcept {
    for (int32_t i = 0; i < n; ++i) pDest[i] = pSource[i] >> 24 ? pSource[i] : pDest[i];
}

void gatherRow(uint32_t* pDest, const uint32_t* pSource, const int32_t* pColumns, int32_t n) noexcept {
    for (int32_t i = 0; i < n; ++i) pDest[i] = pSource[pColumns[i]];
}

}  // namespace ravo
