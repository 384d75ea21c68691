// Text: UTF-16 and UTF-8 into each other, and steps from character to character.
#include "internal/text.h"

#include <algorithm>
#include <cstring>

#include "ravokit/memory.h"

namespace rv {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kInvalid = UINT32_MAX;

constexpr bool isHighSurrogate(char32_t ch) noexcept { return (ch & 0xFFFFFC00) == 0xD800; }
constexpr bool isLowSurrogate(char32_t ch) noexcept { return (ch & 0xFFFFFC00) == 0xDC00; }
constexpr bool isContinuation(uint8_t b) noexcept { return (b & 0xC0) == 0x80; }

struct Decoded {
    char32_t ch;  // kInvalid for what is no character
    size_t nUnits;
};

// The character at p, of which n units are left; n > 0.
Decoded decode(const char16_t* p, size_t n) noexcept {
    const char32_t ch = p[0];
    if (isHighSurrogate(ch) && n > 1 && isLowSurrogate(p[1]))
        return {0x10000 + ((ch & 0x3FF) << 10 | (p[1] & 0x3FFu)), 2};
    return {isHighSurrogate(ch) || isLowSurrogate(ch) ? kInvalid : ch, 1};
}

// Which bytes may follow is table 3-7 of the Unicode standard: only the second byte knows narrower bounds, which keep
// out overlong forms, surrogates and what lies above U+10FFFF.
Decoded decode(const uint8_t* p, size_t n) noexcept {
    const uint8_t b = p[0];
    if (b < 0x80) return {b, 1};
    if (b < 0xC2 || b > 0xF4) return {kInvalid, 1};
    const size_t nUnits = b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
    uint8_t bLeast = b == 0xE0 ? 0xA0 : b == 0xF0 ? 0x90 : 0x80;
    uint8_t bMost = b == 0xED ? 0x9F : b == 0xF4 ? 0x8F : 0xBF;
    char32_t ch = b & (0x7Fu >> nUnits);
    for (size_t i = 1; i < nUnits; ++i) {
        if (i >= n || p[i] < bLeast || p[i] > bMost) return {kInvalid, i};
        ch = ch << 6 | (p[i] & 0x3Fu);
        bLeast = 0x80;
        bMost = 0xBF;
    }
    return {ch, nUnits};
}

char16_t* encode(char32_t ch, char16_t* p) noexcept {
    if (ch < 0x10000) {
        *p++ = char16_t(ch);
    } else {
        *p++ = char16_t(0xD7C0 + (ch >> 10));
        *p++ = char16_t(0xDC00 | (ch & 0x3FF));
    }
    return p;
}
uint8_t* encode(char32_t ch, uint8_t* p) noexcept {
    if (ch < 0x80) {
        *p++ = uint8_t(ch);
        return p;
    }
    if (ch < 0x800) {
        *p++ = uint8_t(0xC0 | ch >> 6);
    } else {
        if (ch < 0x10000) {
            *p++ = uint8_t(0xE0 | ch >> 12);
        } else {
            *p++ = uint8_t(0xF0 | ch >> 18);
            *p++ = uint8_t(0x80 | (ch >> 12 & 0x3F));
        }
        *p++ = uint8_t(0x80 | (ch >> 6 & 0x3F));
    }
    *p++ = uint8_t(0x80 | (ch & 0x3F));
    return p;
}

// Copies the ASCII that a text begins with, in blocks that the compiler vectorises; gives its length.
template <class From, class To>
size_t copyAscii(const From* p, size_t n, To* q) noexcept {
    constexpr size_t kBlock = 16;
    size_t i = 0;
    for (; n - i >= kBlock; i += kBlock) {
        unsigned uAll = 0;
        for (size_t k = 0; k < kBlock; ++k) uAll |= p[i + k];
        if (uAll >= 0x80) break;
        for (size_t k = 0; k < kBlock; ++k) q[i + k] = To(p[i + k]);
    }
    for (; i < n && p[i] < 0x80; ++i) q[i] = To(p[i]);
    return i;
}

template <class From, class To>
size_t convert(const From* p, size_t n, To* q) noexcept {
    To* const qStart = q;
    for (size_t i = 0; i < n;) {
        const size_t nAscii = copyAscii(p + i, n - i, q);
        i += nAscii;
        q += nAscii;
        while (i < n && p[i] >= 0x80) {
            const Decoded d = decode(p + i, n - i);
            q = encode(d.ch == kInvalid ? kReplacement : d.ch, q);
            i += d.nUnits;
        }
    }
    return size_t(q - qStart);
}

const uint8_t* bytes(const char* p) noexcept { return reinterpret_cast<const uint8_t*>(p); }
uint8_t* bytes(char* p) noexcept { return reinterpret_cast<uint8_t*>(p); }

// What both directions of the exported conversion share.
template <class From, class To>
struct Conversion {
    size_t (*pfnLength)(const From*) noexcept;
    uint64_t nMostGrowth;  // units for a unit, at most
    uint64_t (*pfnSize)(const From*, size_t) noexcept;
    size_t (*pfnConvert)(const From*, size_t, To*) noexcept;
};
constexpr Conversion<char16_t, char> kToUtf8{wideLength, 3, utf8Size, utf8FromWide};
constexpr Conversion<char, char16_t> kToWide{[](const char* p) noexcept { return std::strlen(p); }, 1, wideSize,
                                             wideFromUtf8};

template <class From, class To>
int32_t convertText(const Conversion<From, To>& way, const From* pSrc, int32_t nLength, To* pDst,
                    uint32_t uSize) noexcept {
    if (!pSrc || (!pDst && uSize)) return 0;
    const size_t n = nLength > 0 ? size_t(nLength) : way.pfnLength(pSrc) + (nLength < 0 ? 1 : 0);
    constexpr uint64_t kMost = INT32_MAX;
    const bool bSurelyFits = uint64_t(n) * way.nMostGrowth <= std::min<uint64_t>(uSize, kMost);
    if (!bSurelyFits) {
        const uint64_t nNeeded = way.pfnSize(pSrc, n);
        if (nNeeded > kMost) return 0;
        if (uSize == 0) return int32_t(nNeeded);
        if (nNeeded > uSize) return 0;
    }
    const size_t nWritten = way.pfnConvert(pSrc, n, pDst);
    if (nWritten >= 1 && nWritten < uSize && pDst[nWritten - 1] != 0) pDst[nWritten] = 0;
    return int32_t(nWritten);
}

// A narrow form of pszWide in a block of nSize bytes, or null where it doesn't fit.
char* narrowText(const char16_t* pszWide, uint64_t nLength, uint64_t nSize) noexcept {
    if (nSize > UINT32_MAX || utf8Size(pszWide, size_t(nLength)) >= nSize) return nullptr;
    auto* p = static_cast<char*>(R_LocalAlloc(uint32_t(nSize), 1, 0, nullptr));
    if (p) p[utf8FromWide(pszWide, size_t(nLength), p)] = 0;
    return p;
}

}  // namespace

size_t wideLength(const char16_t* pWide) noexcept {
    const char16_t* p = pWide;
    while (*p) ++p;
    return size_t(p - pWide);
}

uint64_t utf8Size(const char16_t* pWide, size_t n) noexcept {
    // Three bytes for each half of a surrogate pair, which are two too many.
    uint64_t nSize = n;
    for (size_t i = 0; i < n; ++i) nSize += (pWide[i] >= 0x80) + (pWide[i] >= 0x800);
    for (size_t i = 1; i < n; ++i) nSize -= isHighSurrogate(pWide[i - 1]) && isLowSurrogate(pWide[i]) ? 2 : 0;
    return nSize;
}
size_t utf8FromWide(const char16_t* pWide, size_t n, char* pUtf8) noexcept { return convert(pWide, n, bytes(pUtf8)); }

uint64_t wideSize(const char* pUtf8, size_t n) noexcept {
    uint64_t nSize = 0;
    for (size_t i = 0; i < n;) {
        const Decoded d = decode(bytes(pUtf8) + i, n - i);
        nSize += d.ch != kInvalid && d.ch >= 0x10000 ? 2 : 1;
        i += d.nUnits;
    }
    return nSize;
}
size_t wideFromUtf8(const char* pUtf8, size_t n, char16_t* pWide) noexcept { return convert(bytes(pUtf8), n, pWide); }

bool isValidUtf8(const char* pUtf8, size_t n) noexcept {
    for (size_t i = 0; i < n;) {
        const Decoded d = decode(bytes(pUtf8) + i, n - i);
        if (d.ch == kInvalid) return false;
        i += d.nUnits;
    }
    return true;
}

size_t copyText(char16_t* pDst, const char16_t* pSrc, size_t nRoom) noexcept {
    size_t n = 0;
    for (; n + 1 < nRoom && pSrc[n]; ++n) pDst[n] = pSrc[n];
    pDst[n] = 0;
    return n;
}

Utf8Text::Utf8Text(const char16_t* pWide) noexcept {
    if (!pWide) return;
    const size_t n = wideLength(pWide) + 1;
    if (m_text.allocate(utf8Size(pWide, n))) utf8FromWide(pWide, n, m_text.get());
}
WideText::WideText(const char* pUtf8) noexcept {
    if (!pUtf8) return;
    const size_t n = std::strlen(pUtf8) + 1;
    if (m_text.allocate(n)) wideFromUtf8(pUtf8, n, m_text.get());
}

}  // namespace rv

using namespace rv;

extern "C" {

char16_t* R_A2THelper(const char* pszNarrow) noexcept {
    if (!pszNarrow) return nullptr;
    const size_t n = std::strlen(pszNarrow);
    if (n >= UINT32_MAX) return nullptr;
    auto* p = static_cast<char16_t*>(R_LocalAlloc(uint32_t(n + 1), sizeof(char16_t), 0, nullptr));
    if (!p) return nullptr;
    if (isValidUtf8(pszNarrow, n))
        wideFromUtf8(pszNarrow, n + 1, p);
    else
        std::transform(bytes(pszNarrow), bytes(pszNarrow) + n + 1, p, [](uint8_t b) { return char16_t(b); });
    return p;
}
char* R_W2AHelper(const char16_t* pszWide) noexcept {
    if (!pszWide) return nullptr;
    const uint64_t n = wideLength(pszWide);
    return narrowText(pszWide, n, n + 1);
}
char* R_T2AHelper(const char16_t* pszWide) noexcept {
    if (!pszWide) return nullptr;
    const uint64_t n = wideLength(pszWide);
    return narrowText(pszWide, n, 2 * n + 1);
}

char16_t* R_T2WConvert(char16_t* pDst, const char16_t* pSrc, uint32_t uSize) noexcept {
    if (pDst && uSize) copyText(pDst, pSrc ? pSrc : u"", uSize);
    return pDst;
}
int32_t R_WideToUTF8(const char16_t* pWide, int32_t nWideLength, char* pUtf8, uint32_t uUtf8Size) noexcept {
    return convertText(kToUtf8, pWide, nWideLength, pUtf8, uUtf8Size);
}
int32_t R_WideFromUTF8(const char* pUtf8, int32_t nLength, char16_t* pWide, uint32_t uWideSize) noexcept {
    return convertText(kToWide, pUtf8, nLength, pWide, uWideSize);
}
int32_t R_UTF8ToUTF8(const char* pSrc, int32_t nLength, char* pDst, uint32_t uDstSize) noexcept {
    if (!pSrc || !pDst) return 1;
    size_t n = nLength > 0 ? size_t(nLength) : std::strlen(pSrc) + (nLength < 0 ? 1 : 0);
    n = std::min<size_t>(n, uDstSize);
    std::memcpy(pDst, pSrc, n);
    if (n < uDstSize) pDst[n] = 0;
    return 1;
}

const char16_t* R_CharNextUTF16(const char16_t* pChar, uint32_t uRemaining) noexcept {
    if (!pChar || !uRemaining) return pChar;
    return pChar + decode(pChar, uRemaining).nUnits;
}
const char* R_CharNextUTF8(const char* pChar, uint32_t uRemaining) noexcept {
    if (!pChar || !uRemaining) return pChar;
    // Only the form of each byte counts here, and not whether the sequence is a character.
    const uint8_t b = uint8_t(*pChar);
    const uint32_t nAnnounced = (b & 0xE0) == 0xC0 ? 2 : (b & 0xF0) == 0xE0 ? 3 : (b & 0xF8) == 0xF0 ? 4 : 1;
    const uint32_t nMost = std::min(nAnnounced, uRemaining);
    uint32_t n = 1;
    while (n < nMost && isContinuation(uint8_t(pChar[n]))) ++n;
    return pChar + n;
}

}  // extern "C"
