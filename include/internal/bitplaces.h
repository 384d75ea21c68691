// The places of the 1-bits of words.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace rv {

// A few at a time cost less than a branch that is guessed wrong.
constexpr size_t kBatch = 4;

// Writes the places of the 1-bits of a word that has any, lowest first, counted on from nBase; gives the place behind
// them. With bBatch it goes past the last one, within the room of 64.
template <bool bBatch, class T>
[[gnu::always_inline]] inline T* writePlaces(T* p, uint64_t v, size_t nBase) noexcept {
    const auto place = [&] {
        const auto n = T(nBase + size_t(std::countr_zero(v)));
        v &= v - 1;
        return n;
    };
    if constexpr (bBatch) {
        T* const pEnd = p + std::popcount(v);
        do {
            for (size_t i = 0; i < kBatch; ++i) p[i] = place();
            p += kBatch;
        } while (p < pEnd);
        return pEnd;
    } else {
        do *p++ = place();
        while (v);
        return p;
    }
}

}  // namespace rv
