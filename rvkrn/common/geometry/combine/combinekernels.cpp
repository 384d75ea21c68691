// The loops of a combine: sixteen truth tables on bytes, nine operations on samples.
#include <algorithm>

#include "internal/combine_.h"
#include "internal/pixels.h"
#include "internal/simd.h"

namespace rv {
namespace {

#define RV_LOOP __attribute__((always_inline)) inline

// ---- bits

template <int Table, class T>
constexpr T byTable(T s, T d) noexcept {
    // The sum, without carries, of the terms 1, d, s and s and d.
    constexpr int t0 = Table & 1, t1 = Table >> 1 & 1, t2 = Table >> 2 & 1, t3 = Table >> 3 & 1;
    T r = t0 ? T(~T(0)) : T(0);
    if constexpr (t0 != t1) r = T(r ^ d);
    if constexpr (t0 != t2) r = T(r ^ s);
    if constexpr (t0 ^ t1 ^ t2 ^ t3) r = T(r ^ (s & d));
    return r;
}

template <int Table>
RV_LOOP void tableLoop(const uint8_t* __restrict s, uint8_t* __restrict d, size_t n) noexcept {
    const size_t nWords = n / 8;
    for (size_t i = 0; i < nWords; ++i)
        storeLittle(d + i * 8, byTable<Table>(loadLittle<uint64_t>(s + i * 8), loadLittle<uint64_t>(d + i * 8)));
    for (size_t i = nWords * 8; i < n; ++i) d[i] = byTable<Table>(s[i], d[i]);
}

// ---- samples

// a x nMax / b, at most nMax, and nMax where b is 0. Quotients of samples of up to 16 bits are exact in floating point:
// none comes nearer to the next whole number than its last place. No comparison there, so that loops have no branches.
template <class Wide, class T>
RV_LOOP T quotient(T a, T b, T nMax) noexcept {
    if constexpr (sizeof(T) == 4) {
        return a >= b ? nMax : T(Wide(a) * nMax / b);
    } else {
        using Real = std::conditional_t<(sizeof(Wide) > 2), double, float>;
        const int32_t nNum = std::min<int32_t>(a, b), nDen = int32_t(b) + int32_t(b == 0);
        const T q = T(int32_t(Real(nNum) * Real(int32_t(nMax)) / Real(nDen)));
        return T(q | (-int32_t(b == 0) & nMax));  // q is 0 there
    }
}

// Samples of up to nMax = 2^nBits - 1. No step needs more than T but for products and quotients.
template <int Operation, class T, class Wide>
RV_LOOP T bySample(T s, T d, T nMax, uint32_t nBits) noexcept {
    if constexpr (Operation == 3) return T(std::min<T>(s, T(nMax - d)) + d);
    if constexpr (Operation == 4) return T(d - std::min(s, d));
    if constexpr (Operation == 5) return T(s - std::min(s, d));
    if constexpr (Operation == 6) {
        const Wide p = Wide(Wide(s) * Wide(d) + 1);  // p / nMax, exact for all products
        return T(Wide(p + Wide(Wide(p - 1) >> nBits)) >> nBits);
    }
    if constexpr (Operation == 7) return quotient<Wide>(d, s, nMax);
    if constexpr (Operation == 8) return quotient<Wide>(s, d, nMax);
    if constexpr (Operation == 9) return T((s & d) + (T(s ^ d) >> 1));
    if constexpr (Operation == 10) return std::min(s, d);
    return std::max(s, d);
}

template <int Operation, class T, class Wide>
RV_LOOP void laneLoop(const uint8_t* __restrict s, uint8_t* __restrict d, size_t n, const SampleTerms& t) noexcept {
    const auto sAnd = T(t.uSrcAnd), sXor = T(t.uSrcXor), dAnd = T(t.uDstAnd), dXor = T(t.uDstXor), rXor = T(t.uXor),
               nMax = T(t.max());
    const uint32_t nBits = t.nBits;
    for (size_t i = 0; i < n; ++i) {
        const T a = T((loadLittle<T>(s + i * sizeof(T)) & sAnd) ^ sXor),
                b = T((loadLittle<T>(d + i * sizeof(T)) & dAnd) ^ dXor);
        storeLittle(d + i * sizeof(T), T(bySample<Operation, T, Wide>(a, b, nMax, nBits) ^ rXor));
    }
}

template <int Operation>
RV_LOOP void loop555(const uint8_t* __restrict s, uint8_t* __restrict d, size_t n, const SampleTerms& t) noexcept {
    using T = uint16_t;
    const auto sAnd = T(t.uSrcAnd), sXor = T(t.uSrcXor), dAnd = T(t.uDstAnd), dXor = T(t.uDstXor), rXor = T(t.uXor);
    for (size_t i = 0; i < n; ++i) {
        const T a = loadLittle<T>(s + i * 2), b = loadLittle<T>(d + i * 2);
        const auto channel = [=](int nShift) {
            const T x = T((T(a >> nShift) & sAnd) ^ sXor), y = T((T(b >> nShift) & dAnd) ^ dXor);
            return T(T(bySample<Operation, T, T>(x, y, 31, 5) ^ rXor) << nShift);
        };
        storeLittle(d + i * 2, T((b & 0x8000) | channel(0) | channel(5) | channel(10)));
    }
}

template <int Operation, class T, class Wide>
RV_LOOP void windowLoop(const uint8_t* __restrict s, uint8_t* __restrict d, size_t n, const SampleTerms& t) noexcept {
    const auto sAnd = T(t.uSrcAnd), sXor = T(t.uSrcXor), dAnd = T(t.uDstAnd), dXor = T(t.uDstXor), rXor = T(t.uXor),
               nMax = T(t.max()), uKeep = T(~T(nMax << t.nLow));
    const uint32_t nBits = t.nBits, nLow = t.nLow;
    for (size_t i = 0; i < n; ++i) {
        const T b = loadLittle<T>(d + i * sizeof(T));
        const T x = T((T(loadLittle<T>(s + i * sizeof(T)) >> nLow) & sAnd) ^ sXor), y = T((T(b >> nLow) & dAnd) ^ dXor);
        const T r = T(bySample<Operation, T, Wide>(x, y, nMax, nBits) ^ rXor);
        storeLittle(d + i * sizeof(T), T((b & uKeep) | T(r << nLow)));
    }
}

// Calls f with a value of First to Last as a constant.
template <int First, int Last, class F>
RV_LOOP void visitValue(uint32_t u, F f) noexcept {
    if constexpr (First == Last) {
        f(std::integral_constant<int, Last>{});
    } else {
        if (u == First) return f(std::integral_constant<int, First>{});
        visitValue<First + 1, Last>(u, f);
    }
}

}  // namespace

// Always inlined, so that each clone has loops of its own level.
#define RV_INLINE_LAMBDA(argument) [&](auto argument) __attribute__((always_inline))

RV_CLONES void combineBits(uint32_t uTable, const uint8_t* s, uint8_t* d, size_t n) noexcept {
    visitValue<0, 15>(
        uTable, RV_INLINE_LAMBDA(table) { tableLoop<table>(s, d, n); });
}
RV_CLONES void combineBytes(uint32_t uOp, const uint8_t* s, uint8_t* d, size_t n, const SampleTerms& t) noexcept {
    visitValue<3, 11>(
        uOp, RV_INLINE_LAMBDA(op) { laneLoop<op, uint8_t, uint16_t>(s, d, n, t); });
}
RV_CLONES void combineWords(uint32_t uOp, const uint8_t* s, uint8_t* d, size_t n, const SampleTerms& t) noexcept {
    visitValue<3, 11>(
        uOp, RV_INLINE_LAMBDA(op) { laneLoop<op, uint16_t, uint32_t>(s, d, n, t); });
}
RV_CLONES void combine555(uint32_t uOp, const uint8_t* s, uint8_t* d, size_t n, const SampleTerms& t) noexcept {
    visitValue<3, 11>(
        uOp, RV_INLINE_LAMBDA(op) { loop555<op>(s, d, n, t); });
}
RV_CLONES void combineWindow16(uint32_t uOp, const uint8_t* s, uint8_t* d, size_t n, const SampleTerms& t) noexcept {
    visitValue<3, 11>(
        uOp, RV_INLINE_LAMBDA(op) { windowLoop<op, uint16_t, uint32_t>(s, d, n, t); });
}
RV_CLONES void combineWindow32(uint32_t uOp, const uint8_t* s, uint8_t* d, size_t n, const SampleTerms& t) noexcept {
    visitValue<3, 11>(
        uOp, RV_INLINE_LAMBDA(op) { windowLoop<op, uint32_t, uint64_t>(s, d, n, t); });
}

}  // namespace rv
