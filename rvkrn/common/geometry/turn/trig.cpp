// Sine and cosine of hundredths of a degree as integers, from one table of a quarter turn.
#include <array>

#include "ravokit/rotate.h"

namespace rv {
namespace {

constexpr int32_t kQuarter = 9000, kTurn = 4 * kQuarter;

// The series, from its smallest term to its largest. Its error is far below a millionth of what the table counts in,
// and no value of the table is that near to a half: so rounding is exact, and the same in every build.
constexpr double sineOf(int32_t nAngle) {
    const double x = nAngle * (3.14159265358979323846 / (kTurn / 2)), xx = x * x;
    double sum = 1;
    for (int k = 25; k >= 3; k -= 2) sum = 1 - xx / (k * (k - 1)) * sum;
    return x * sum;
}

constexpr auto kSines = [] {
    std::array<int16_t, kQuarter + 1> table{};
    for (int32_t i = 0; i <= kQuarter; ++i) table[size_t(i)] = int16_t(16384 * sineOf(i) + 0.5);
    return table;
}();
static_assert(kSines[0] == 0 && kSines[3000] == 8192 && kSines[4500] == 11585 && kSines[kQuarter] == 16384);

int32_t sine(int64_t nAngle) noexcept {
    const auto n = int32_t((nAngle % kTurn + kTurn) % kTurn), nHalf = n % (2 * kQuarter);
    const int32_t nValue = kSines[size_t(nHalf <= kQuarter ? nHalf : 2 * kQuarter - nHalf)];
    return n < 2 * kQuarter ? nValue : -nValue;
}

}  // namespace
}  // namespace rv

extern "C" {

int32_t R_SinValue(int32_t nAngle) noexcept { return rv::sine(nAngle); }

int32_t R_CosValue(int32_t nAngle) noexcept { return rv::sine(int64_t(nAngle) + rv::kQuarter); }

}  // extern "C"
