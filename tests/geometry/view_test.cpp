// Flips, views, and the mirror kernels below them.
#include <gtest/gtest.h>

#include "internal/mirror.h"
#include "support/bitmaps.h"
#include "support/faults.h"

using namespace test;

namespace {

// The same pixels in reverse, one by one.
Bytes mirrored(const uint8_t* row, int32_t nBits, size_t n) {
    Bytes out((n * size_t(nBits) + 7) / 8 + 1, 0);
    for (size_t i = 0; i < n; ++i)
        rv::visitDepth(nBits, [&](auto bits) {
            using P = rv::Pixel<bits>;
            P::put(out.data(), i, P::get(row, n - 1 - i));
        });
    out.pop_back();
    return out;
}

}  // namespace

TEST(Mirror, RowsInPlaceAndApartAtEveryDepth) {
    for (const int32_t nBits : kDepths)
        for (size_t n = 0; n <= 300; n += n < 140 ? 1 : 37) {
            const size_t nBytes = (n * size_t(nBits) + 7) / 8, nGuard = 5;
            const Bytes row = randomBytes(nBytes + 2 * nGuard, uint32_t(n) * 64 + uint32_t(nBits));
            Bytes want = row;
            const Bytes reverse = mirrored(&row[nGuard], nBits, n);
            std::copy(reverse.begin(), reverse.end(), want.begin() + nGuard);
            for (const rv::MirrorKernel mirror : {rv::plainMirrorKernel(nBits), rv::mirrorKernel(nBits)}) {
                Bytes inPlace = row, apart = row;
                mirror(&inPlace[nGuard], &inPlace[nGuard], n);
                mirror(&row[nGuard], &apart[nGuard], n);
                ASSERT_EQ(inPlace, want) << nBits << " bits, " << n;
                ASSERT_EQ(apart, want) << nBits << " bits, " << n;
            }
        }
}

TEST(Mirror, LineChecksAndLeavesUnknownDepthsAlone) {
    Bytes row = {0xD0, 0x7F};
    EXPECT_EQ(R_MirrorLine(nullptr, 8, 1), -13);
    EXPECT_EQ(R_MirrorLine(row.data(), 2, 9), 1);
    EXPECT_EQ(R_MirrorLine(row.data(), -3, 8), 1);
    EXPECT_EQ(row, (Bytes{0xD0, 0x7F}));
    EXPECT_EQ(R_MirrorLine(row.data(), 10, 1), 1);  // 1101000001 and six bits behind it
    EXPECT_EQ(row, (Bytes{0x82, 0xC0}));
}
