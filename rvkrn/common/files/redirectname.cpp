// Pseudo file names: two numbers behind a scheme, and the tables that are registered for them.
#include <algorithm>
#include <atomic>
#include <new>
#include <string_view>

#include "internal/redirect_.h"
#include "internal/sharedlist.h"
#include "internal/text.h"

namespace rv {
namespace {

constexpr std::u16string_view kScheme = u"RAVORedirect://";
constexpr size_t kDigits = 8;
constexpr size_t kNumbers = 2 * kDigits + 1;
static_assert(kScheme.size() + kNumbers < RV_REDIRECT_NAME_SIZE);

struct RegisteredName {
    uint32_t uLow, uHigh;
    REDIRECTIO table;
};
RV_RECORD_SIZE(RegisteredName, 72, 128);

SharedList<RegisteredName> g_names([](RegisteredName* p) noexcept { delete p; });

RegisteredName* findName(uint64_t uName) noexcept {
    return g_names.find([=](const RegisteredName& name) {
        return name.uLow == uint32_t(uName) && name.uHigh == uint32_t(uName >> 32);
    });
}

int32_t addName(uint64_t uName, const REDIRECTIO& table) noexcept {
    const std::scoped_lock lock(g_names);
    if (findName(uName)) return -1850;  // (Internal) Filename already registered
    auto* p = new (std::nothrow) RegisteredName{uint32_t(uName), uint32_t(uName >> 32), table};
    if (p && g_names.add(p)) return 1;
    delete p;
    return -1;  // Not enough memory available
}

int32_t removeName(uint64_t uName) noexcept {
    const std::scoped_lock lock(g_names);
    RegisteredName* p = findName(uName);
    if (!p) return -10;  // File not found
    g_names.remove(p);
    delete p;
    return 1;
}

// A number as far as its digits go.
uint32_t readHexadecimal(std::u16string_view digits) noexcept {
    uint32_t u = 0;
    for (const char16_t ch : digits) {
        const char16_t chSmall = char16_t(ch | 0x20);
        if (ch >= u'0' && ch <= u'9')
            u = u << 4 | uint32_t(ch - u'0');
        else if (chSmall >= u'a' && chSmall <= u'f')
            u = u << 4 | uint32_t(chSmall - u'a' + 10);
        else
            break;
    }
    return u;
}

// The two numbers of a name, the high one first; false where it has not the form of one.
bool parseName(const char16_t* pszName, uint64_t& uName) noexcept {
    if (!isSchemeName(pszName)) return false;
    const std::u16string_view numbers(pszName + kScheme.size());
    if (numbers.size() != kNumbers || numbers[kDigits] != u'-') return false;
    uName = uint64_t(readHexadecimal(numbers.substr(0, kDigits))) << 32 | readHexadecimal(numbers.substr(kDigits + 1));
    return true;
}

void writeName(uint64_t uName, char16_t* p) noexcept {
    p = std::copy(kScheme.begin(), kScheme.end(), p);
    for (int nShift = 60; nShift >= 0; nShift -= 4) {
        *p++ = u"0123456789ABCDEF"[uName >> nShift & 15];
        if (nShift == 32) *p++ = u'-';
    }
    *p = 0;
}

uint64_t nextUniqueName() noexcept {
    static std::atomic<uint64_t> uLast{0};
    return uLast.fetch_add(1, std::memory_order_relaxed) + 1;
}

// Registers a table for a name that nobody has, be it given out by us or not.
int32_t addUniqueName(uint64_t& uName, const REDIRECTIO& table) noexcept {
    int32_t nStatus;
    do nStatus = addName(uName = nextUniqueName(), table);
    while (nStatus == -1850);
    return nStatus;
}

// All but the making of names.
int32_t setTable(const char16_t* pszName, const REDIRECTIO* pTable) noexcept {
    uint64_t uName;
    if (!parseName(pszName, uName)) return -8;  // Invalid filename specified
    return pTable ? addName(uName, resolvedTable(*pTable)) : removeName(uName);
}

bool hasUnknownSize(const REDIRECTIO* pTable) noexcept { return pTable && pTable->uStructSize != sizeof(REDIRECTIO); }

// The names that are made are ASCII: a byte a character.
void copyNarrow(const char16_t* pszName, char* pszNarrow) noexcept {
    utf8FromWide(pszName, wideLength(pszName) + 1, pszNarrow);
}

}  // namespace

bool isSchemeName(const char16_t* pszName) noexcept {
    if (!pszName) return false;
    for (const char16_t ch : kScheme)
        if (*pszName++ != ch) return false;
    return true;
}

int32_t findRegisteredTable(const char16_t* pszName, REDIRECTIO& table) noexcept {
    uint64_t uName;
    if (!parseName(pszName, uName)) return -8;  // Invalid filename specified
    const std::scoped_lock lock(g_names);
    const RegisteredName* p = findName(uName);
    if (!p) return -10;  // File not found
    table = p->table;
    return 1;
}

}  // namespace rv

using namespace rv;

extern "C" {

int32_t R_GetUniqueRedirectFileName(char16_t* pszName, uint32_t uSize) noexcept {
    if (!pszName) return -814;                       // A NULL pointer was passed
    if (uSize < RV_REDIRECT_NAME_SIZE) return -290;  // The buffer size is too small
    writeName(nextUniqueName(), pszName);
    return 1;
}
int32_t R_GetUniqueRedirectFileNameA(char* pszName, uint32_t uSize) noexcept {
    char16_t szName[RV_REDIRECT_NAME_SIZE];
    if (!pszName) return -814;                       // A NULL pointer was passed
    if (uSize < RV_REDIRECT_NAME_SIZE) return -290;  // The buffer size is too small
    writeName(nextUniqueName(), szName);
    copyNarrow(szName, pszName);
    return 1;
}

int32_t R_SetGlobalRedirectFunctions(char16_t* pszName, uint32_t uSize, const REDIRECTIO* pTable) noexcept {
    if (!pszName) return -814;                // A NULL pointer was passed
    if (hasUnknownSize(pTable)) return -789;  // The structure size is invalid
    if (!pTable || *pszName) return setTable(pszName, pTable);
    if (uSize < RV_REDIRECT_NAME_SIZE) return -290;  // The buffer size is too small
    uint64_t uName;
    const int32_t nStatus = addUniqueName(uName, resolvedTable(*pTable));
    if (nStatus == 1) writeName(uName, pszName);
    return nStatus;
}

int32_t R_SetGlobalRedirectFunctionsA(char* pszName, uint32_t uSize, const REDIRECTIO* pTable) noexcept {
    if (!pszName) return -814;  // A NULL pointer was passed
    if (!pTable || *pszName) {
        if (hasUnknownSize(pTable)) return -789;  // The structure size is invalid
        const WideText name(pszName);
        return name.get() ? setTable(name.get(), pTable) : -1;
    }
    char16_t szName[RV_REDIRECT_NAME_SIZE] = u"";
    const int32_t nStatus = R_SetGlobalRedirectFunctions(szName, RV_REDIRECT_NAME_SIZE, pTable);
    if (nStatus != 1) return nStatus;
    if (wideLength(szName) >= uSize) {
        R_SetGlobalRedirectFunctions(szName, 0, nullptr);
        return -1851;  // the text can't be converted
    }
    copyNarrow(szName, pszName);
    return 1;
}

}  // extern "C"
