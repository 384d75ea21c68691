// Whole numbers that stay within 32 bits: a product divided, as the platform call of that name does it, and the nearest
// number that fits.
#pragma once

#include <algorithm>
#include <cstdint>

namespace rv {

// nNumber x nNumerator / nDenominator with a product of 64 bits, rounded to nearest, ties away from zero. -1 for a zero
// denominator and for a quotient that 32 bits don't hold.
constexpr int32_t mulDiv(int32_t nNumber, int32_t nNumerator, int32_t nDenominator) noexcept {
    if (nDenominator == 0) return -1;
    const int64_t nProduct = int64_t(nNumber) * nNumerator, nDivisor = nDenominator;
    const int64_t nHalf = (nDivisor < 0 ? -nDivisor : nDivisor) / 2;
    const int64_t nQuotient = (nProduct + (nProduct < 0 ? -nHalf : nHalf)) / nDivisor;
    return nQuotient == int32_t(nQuotient) ? int32_t(nQuotient) : -1;
}

constexpr int32_t saturated(int64_t n) noexcept { return int32_t(std::clamp<int64_t>(n, INT32_MIN, INT32_MAX)); }

}  // namespace rv
