// A product divided, as the platform call of that name does it.
#pragma once

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

}  // namespace rv
