// Text inside the library: the two conversions behind the exported ones, and owners of converted texts.
#pragma once

#include "internal/rvclasses_.h"
#include "ravokit/text.h"

namespace rv {

// Units that the converted text takes, and the conversion into a buffer that holds them; gives the units written.
uint64_t utf8Size(const char16_t* pWide, size_t n) noexcept;
size_t utf8FromWide(const char16_t* pWide, size_t n, char* pUtf8) noexcept;
uint64_t wideSize(const char* pUtf8, size_t n) noexcept;
size_t wideFromUtf8(const char* pUtf8, size_t n, char16_t* pWide) noexcept;

bool isValidUtf8(const char* pUtf8, size_t n) noexcept;

size_t wideLength(const char16_t* pWide) noexcept;

// Copies a text of at most nRoom characters with its terminator, cutting it where it must; gives its length. nRoom > 0.
size_t copyText(char16_t* pDst, const char16_t* pSrc, size_t nRoom) noexcept;

// A text in the other form, with its terminator, for the time of a scope: a name for the system, a narrow argument of a
// wide call. Null for null, and when memory is short.
class Utf8Text {
    Buffer<char> m_text;

public:
    explicit Utf8Text(const char16_t* pWide) noexcept;
    char* get() const noexcept { return m_text.get(); }
};
// A file's name as the system takes it: UTF-8, with "/" where the caller may have written "\\". Null as above.
class FileName {
    Utf8Text m_text;

public:
    explicit FileName(const char16_t* pWide) noexcept : m_text(pWide) {
        for (char* p = m_text.get(); p && *p; ++p)
            if (*p == '\\') *p = '/';
    }
    const char* get() const noexcept { return m_text.get(); }
};
class WideText {
    Buffer<char16_t> m_text;

public:
    explicit WideText(const char* pUtf8) noexcept;
    const char16_t* get() const noexcept { return m_text.get(); }
};

}  // namespace rv
