// Names of temporary files. The system makes them together with their files; where files are to stay in memory, the
// library makes them itself and keeps a list.
#include <chrono>
#include <cstring>
#include <mutex>
#include <random>
#include <string_view>

#include "internal/redirect_.h"
#include "internal/tempfile_.h"
#include "internal/text.h"

namespace rv {
namespace {

constinit SharedList<char16_t> g_names([](char16_t* p) noexcept { std::free(p); });

constexpr std::u16string_view kEnding = u".tmp";  // of every name that is made

constexpr bool isSeparator(char16_t ch) noexcept { return ch == u'/' || ch == u'\\'; }

const char16_t* lastPart(const char16_t* pszName) noexcept {
    const char16_t* pPart = pszName;
    for (const char16_t* p = pszName; *p; ++p)
        if (isSeparator(*p)) pPart = p + 1;
    return pPart;
}

char16_t* listed(const char16_t* pszName) noexcept {
    return g_names.find([=](const char16_t& first) { return isSameName(&first, pszName); });
}

bool addToList(const char16_t* pszName) noexcept {
    const size_t n = (wideLength(pszName) + 1) * sizeof(char16_t);
    auto* psz = static_cast<char16_t*>(std::malloc(n));
    if (!psz) return false;
    std::memcpy(psz, pszName, n);
    if (g_names.add(psz)) return true;
    std::free(psz);
    return false;
}

// A name under construction, within the room that every caller has: in wide text and in UTF-8.
class NameBuilder {
    char16_t* m_psz;
    size_t m_n = 0;
    bool m_bFits = true;

public:
    // Goes on behind the first n units.
    explicit NameBuilder(char16_t* psz, size_t n = 0) noexcept : m_psz(psz), m_n(n) { psz[n] = 0; }
    NameBuilder& operator<<(const char16_t* psz) noexcept {
        const size_t n = wideLength(psz);
        m_bFits = m_bFits && n < RV_TEMP_NAME_SIZE - m_n;
        if (m_bFits) m_n += copyText(m_psz + m_n, psz, RV_TEMP_NAME_SIZE - m_n);
        return *this;
    }
    NameBuilder& operator<<(uint32_t u) noexcept {  // in hexadecimal
        char16_t digits[9]{};
        char16_t* p = digits + 8;
        do *--p = u"0123456789abcdef"[u & 15];
        while (u >>= 4);
        return *this << p;
    }
    bool fits() const noexcept { return m_bFits && utf8Size(m_psz, m_n) < RV_TEMP_NAME_SIZE; }
};

uint32_t startNumber() noexcept {
    constexpr uint64_t kJustStarted = 100;  // ticks by which a machine isn't told from its last start
    const uint64_t nTicks = sysTickCount64();
    if (nTicks >= kJustStarted) return uint32_t(nTicks);
    return uint32_t(std::mt19937(uint32_t(std::chrono::system_clock::now().time_since_epoch().count()))());
}

// A name up to its first ".", without its directories.
std::u16string_view stemOf(const char16_t* pszName) noexcept {
    const std::u16string_view part = lastPart(pszName);
    return part.substr(0, part.find(u'.'));
}

bool isStemTaken(std::u16string_view stem) noexcept {
    return g_names.find(
        [=](const char16_t& first) { return std::u16string_view(lastPart(&first)).substr(0, stem.size()) == stem; });
}

// Sets a name aside without a file.
bool makeName(const char16_t* pszDirectory, const char16_t* pszPrefix, char16_t* pszName) noexcept {
    const size_t nDirectory = wideLength(pszDirectory);
    const char16_t chLast = nDirectory ? pszDirectory[nDirectory - 1] : u':';
    const char16_t* pSeparator = isSeparator(chLast) || chLast == u':' ? u"" : u"\\";
    const std::scoped_lock lock(g_names);
    const uint32_t uStart = startNumber();
    uint32_t u = uStart;
    do {
        NameBuilder name(pszName);
        name << pszDirectory << pSeparator << (*pszPrefix ? pszPrefix : u"rtmp") << u << kEnding.data();
        if (!name.fits()) return false;
        const std::u16string_view stem = stemOf(pszName);
        if (isStemTaken(stem)) {
            if (stem.data()[stem.size() + kEnding.size()]) return false;  // the number lies behind: all have this stem
        } else if (!hasMemoryFile(pszName)) {
            const FileName onDisk(pszName);
            if (!onDisk.get()) return false;
            if (sysFileKind(onDisk.get()) == SysFileKind::none) return addToList(pszName);
        }
    } while (++u != uStart);
    return false;
}

// Has the system make a name and its file.
bool makeFile(const char16_t* pszDirectory, const char16_t* pszPrefix, char16_t* pszName) noexcept {
    const FileName directory(pszDirectory), prefix(pszPrefix);
    char szName[RV_TEMP_NAME_SIZE];
    if (!directory.get() || !prefix.get()) return false;
    if (!sysTempFile(directory.get(), prefix.get(), szName, sizeof szName)) return false;
    wideFromUtf8(szName, std::strlen(szName) + 1, pszName);
    return true;
}

}  // namespace

bool isSameName(const char16_t* pszA, const char16_t* pszB) noexcept {
    while (*pszA && (*pszA == *pszB || (isSeparator(*pszA) && isSeparator(*pszB)))) ++pszA, ++pszB;
    return *pszA == *pszB;
}

bool isTemporaryName(const char16_t* pszName) noexcept {
    const std::scoped_lock lock(g_names);
    return pszName && listed(pszName);
}

bool addTemporaryName(const char16_t* pszName) noexcept {
    const std::scoped_lock lock(g_names);
    return listed(pszName) || addToList(pszName);
}

void removeTemporaryName(const char16_t* pszName) noexcept {
    const std::scoped_lock lock(g_names);
    if (char16_t* psz = listed(pszName)) {
        g_names.remove(psz);
        std::free(psz);
    }
}

namespace {

int32_t nameIn(const char16_t* pszDirectory, char16_t* pszName, const char16_t* pszPrefix) noexcept {
    if (!pszPrefix) pszPrefix = u"R_";
    // What doesn't become a name leaves the caller's buffer alone.
    char16_t szName[RV_TEMP_NAME_SIZE];
    const bool bMade = R_GetTempFileMode() == 3 && makeName(pszDirectory, pszPrefix, szName);
    if (!bMade && !makeFile(pszDirectory, pszPrefix, szName)) return -1;
    copyText(pszName, szName, RV_TEMP_NAME_SIZE);
    return 1;
}

// The narrow forms, whose code page is UTF-8.
int32_t narrowNameIn(const char16_t* pszDirectory, char* pszName, const char* pszPrefix) noexcept {
    const WideText prefix(pszPrefix);
    if (pszPrefix && !prefix.get()) return -1;
    char16_t szName[RV_TEMP_NAME_SIZE];
    const int32_t nStatus = nameIn(pszDirectory, szName, prefix.get());
    if (nStatus == 1) utf8FromWide(szName, wideLength(szName) + 1, pszName);
    return nStatus;
}

int32_t narrowNameIn(const char* pszDirectory, char* pszName, const char* pszPrefix) noexcept {
    if (!pszName || !pszDirectory) return -13;
    const WideText directory(pszDirectory);
    return directory.get() ? narrowNameIn(directory.get(), pszName, pszPrefix) : -1;
}

// Sets a name aside: 1, or 0 where it is taken, or -1.
int32_t claimName(const char16_t* pszName) noexcept {
    const FileName onDisk(pszName);
    if (!onDisk.get()) return -1;
    const std::scoped_lock lock(g_names);
    if (listed(pszName) || sysFileKind(onDisk.get()) != SysFileKind::none) return 0;
    return addToList(pszName) ? 1 : -1;
}

bool isTmp(const char16_t* psz) noexcept {
    return (psz[0] | 0x20) == u't' && (psz[1] | 0x20) == u'm' && (psz[2] | 0x20) == u'p' && !psz[3];
}

// A name with an extension, in a buffer of RV_TEMP_NAME_SIZE.
int32_t nameWithExtension(char16_t* pszName, const char16_t* pszPrefix, const char16_t* pszExtension) noexcept {
    if (pszExtension && *pszExtension == u'.') ++pszExtension;
    if (const int32_t nStatus = R_GetTempFileName(pszName, pszPrefix); nStatus != 1) return nStatus;
    if (!pszExtension || !*pszExtension || isTmp(pszExtension)) return 1;
    R_DeleteTempFile(pszName);
    if (!(NameBuilder(pszName, wideLength(pszName) - kEnding.size() + 1) << pszExtension).fits()) return -290;

    const std::u16string_view part = lastPart(pszName);
    const size_t nDot = part.find(u'.');
    const size_t nKept = size_t(part.data() - pszName) + nDot + 1;
    uint32_t u = 0;
    int32_t nStatus;
    while ((nStatus = claimName(pszName)) == 0) {
        if (nDot == part.npos || u == UINT32_MAX) return -74;  // Internal error
        if (!(NameBuilder(pszName, nKept) << u++ << u"." << pszExtension).fits()) return -290;
    }
    return nStatus;
}

int32_t narrowNameWithExtension(char* pszName, uint32_t uSize, const char* pszPrefix,
                                const char* pszExtension) noexcept {
    if (!pszName) return -13;
    const WideText prefix(pszPrefix), extension(pszExtension);
    if ((pszPrefix && !prefix.get()) || (pszExtension && !extension.get())) return -1;
    char16_t szName[RV_TEMP_NAME_SIZE];
    if (const int32_t nStatus = nameWithExtension(szName, prefix.get(), extension.get()); nStatus != 1) return nStatus;
    const size_t n = wideLength(szName) + 1;
    if (utf8Size(szName, n) > uSize) {
        R_DeleteTempFile(szName);
        return -290;
    }
    utf8FromWide(szName, n, pszName);
    return 1;
}

int32_t narrowName(char* pszName, const char* pszPrefix) noexcept {
    if (!pszName) return -13;
    char16_t szDirectory[RV_TEMP_NAME_SIZE];
    if (R_GetTempDirectory(szDirectory, RV_TEMP_NAME_SIZE) != 1) return -1;
    return narrowNameIn(szDirectory, pszName, pszPrefix);
}

}  // namespace
}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_GetTempFileName(char16_t* pszName, const char16_t* pszPrefix) noexcept {
    if (!pszName) return -13;
    char16_t szDirectory[RV_TEMP_NAME_SIZE];
    if (R_GetTempDirectory(szDirectory, RV_TEMP_NAME_SIZE) != 1) return -1;
    return nameIn(szDirectory, pszName, pszPrefix);
}
int32_t R_GetTempFileNameA(char* pszName, const char* pszPrefix) noexcept { return narrowName(pszName, pszPrefix); }
int32_t R_GetTempFileNameUTF8(char* pszName, const char* pszPrefix) noexcept { return narrowName(pszName, pszPrefix); }

int32_t R_GetTempFileName2(const char16_t* pszDirectory, char16_t* pszName, const char16_t* pszPrefix) noexcept {
    if (!pszName || !pszDirectory) return -13;
    return nameIn(pszDirectory, pszName, pszPrefix);
}
int32_t R_GetTempFileName2A(const char* pszDirectory, char* pszName, const char* pszPrefix) noexcept {
    return narrowNameIn(pszDirectory, pszName, pszPrefix);
}
int32_t R_GetTempFileName2UTF8(const char* pszDirectory, char* pszName, const char* pszPrefix) noexcept {
    return narrowNameIn(pszDirectory, pszName, pszPrefix);
}

int32_t R_GetTempFileName3(char16_t* pszName, uint32_t uSize, const char16_t* pszPrefix,
                           const char16_t* pszExtension) noexcept {
    if (!pszName) return -13;
    char16_t szName[RV_TEMP_NAME_SIZE];
    if (const int32_t nStatus = nameWithExtension(szName, pszPrefix, pszExtension); nStatus != 1) return nStatus;
    if (wideLength(szName) >= uSize) {
        R_DeleteTempFile(szName);
        return -290;  // The buffer size is too small
    }
    copyText(pszName, szName, uSize);
    return 1;
}
int32_t R_GetTempFileName3A(char* pszName, uint32_t uSize, const char* pszPrefix, const char* pszExtension) noexcept {
    return narrowNameWithExtension(pszName, uSize, pszPrefix, pszExtension);
}
int32_t R_GetTempFileName3UTF8(char* pszName, uint32_t uSize, const char* pszPrefix,
                               const char* pszExtension) noexcept {
    return narrowNameWithExtension(pszName, uSize, pszPrefix, pszExtension);
}

int32_t R_OsGetTempName(char16_t* pszName) noexcept { return R_GetTempFileName(pszName, u"rv"); }

}  // extern "C"
