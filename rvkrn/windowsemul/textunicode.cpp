// The text test: whether a buffer is likely to hold UTF-16 text.
#include <cstring>

#include "ravokit/text.h"

namespace rv {
namespace {

constexpr int32_t kMadeTests = IS_TEXT_UNICODE_ASCII16 | IS_TEXT_UNICODE_CONTROLS | IS_TEXT_UNICODE_SIGNATURE |
                               IS_TEXT_UNICODE_REVERSE_ASCII16 | IS_TEXT_UNICODE_REVERSE_CONTROLS |
                               IS_TEXT_UNICODE_REVERSE_SIGNATURE | IS_TEXT_UNICODE_ILLEGAL_CHARS |
                               IS_TEXT_UNICODE_ODD_LENGTH;
static_assert(kMadeTests == 989);
constexpr int32_t kMachineOrder = IS_TEXT_UNICODE_ASCII16 | IS_TEXT_UNICODE_CONTROLS | IS_TEXT_UNICODE_SIGNATURE;

constexpr uint16_t kMark = 0xFEFF, kReverseMark = 0xFFFE;

constexpr uint16_t exchanged(uint16_t u) noexcept { return uint16_t(u << 8 | u >> 8); }

constexpr bool isNarrowControl(uint16_t u) noexcept { return u == '\r' || u == '\n' || u == '\t' || u == ' '; }
constexpr bool isIllegal(uint16_t u) noexcept {
    constexpr uint16_t kPackedReturn = 0x0A0D;
    return u == 0 || u == kReverseMark || u == 0xFFFF || u == kPackedReturn;
}

// Those of the tests that hold for n units without a byte-order mark.
int32_t holdingTests(const uint8_t* p, size_t n) noexcept {
    constexpr uint16_t kIdeographicSpace = 0x3000;
    bool bAscii = true, bReverseAscii = true, bControls = false, bReverseControls = false, bIllegal = false;
    for (size_t i = 0; i < n; ++i) {
        uint16_t u;
        std::memcpy(&u, p + 2 * i, sizeof u);
        bAscii &= u < 0x80;
        bReverseAscii &= exchanged(u) < 0x80;
        bControls |= isNarrowControl(u) || u == kIdeographicSpace;
        bReverseControls |= isNarrowControl(exchanged(u));
        bIllegal |= isIllegal(u);
    }
    return (bAscii ? IS_TEXT_UNICODE_ASCII16 : 0) | (bReverseAscii ? IS_TEXT_UNICODE_REVERSE_ASCII16 : 0) |
           (bControls ? IS_TEXT_UNICODE_CONTROLS : 0) | (bReverseControls ? IS_TEXT_UNICODE_REVERSE_CONTROLS : 0) |
           (bIllegal ? IS_TEXT_UNICODE_ILLEGAL_CHARS : 0);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" int32_t IsTextUnicode(const void* pData, int32_t nBytes, int32_t* pnTests) noexcept {
    int32_t nAllTests = kMadeTests;
    int32_t& nTests = pnTests ? *pnTests : nAllTests;
    nTests &= kMadeTests;
    if (!pData || nBytes <= 0) {
        nTests = 0;
        return 0;
    }
    if (nBytes & 1) {
        nTests &= IS_TEXT_UNICODE_ODD_LENGTH;
        return 0;
    }
    uint16_t uFirst;
    std::memcpy(&uFirst, pData, sizeof uFirst);
    if (uFirst == kMark) {
        nTests &= IS_TEXT_UNICODE_SIGNATURE;
        return 1;
    }
    if (uFirst == kReverseMark) {
        nTests &= IS_TEXT_UNICODE_REVERSE_SIGNATURE;
        return 0;
    }
    nTests &= holdingTests(static_cast<const uint8_t*>(pData), size_t(nBytes) / 2);
    return !(nTests & IS_TEXT_UNICODE_ILLEGAL_CHARS) && (nTests & kMachineOrder) ? 1 : 0;
}
