// The locale of a thread on Linux. Each thread has one of its own from its first change on, so nothing here is shared.
#include <langinfo.h>
#include <locale.h>

#include <cstring>
#include <string_view>

#include "internal/text.h"
#include "rvkrn/linux/perthread.h"

namespace rv {
namespace {

struct Category {
    int nCategory;
    const char* pName;
};
constexpr Category kCategories[] = {{LC_CTYPE, "LC_CTYPE"},
                                    {LC_NUMERIC, "LC_NUMERIC"},
                                    {LC_TIME, "LC_TIME"},
                                    {LC_COLLATE, "LC_COLLATE"},
                                    {LC_MONETARY, "LC_MONETARY"},
                                    {LC_MESSAGES, "LC_MESSAGES"},
                                    {LC_PAPER, "LC_PAPER"},
                                    {LC_NAME, "LC_NAME"},
                                    {LC_ADDRESS, "LC_ADDRESS"},
                                    {LC_TELEPHONE, "LC_TELEPHONE"},
                                    {LC_MEASUREMENT, "LC_MEASUREMENT"},
                                    {LC_IDENTIFICATION, "LC_IDENTIFICATION"}};

class ThreadLocale {
    locale_t m_own{};  // the one that this thread was given here; null at first
    Buffer<char> m_name;
    Buffer<char16_t> m_wideName;

    static const char* nameIn(locale_t locale, int nCategory) noexcept {
        if (locale == LC_GLOBAL_LOCALE) return setlocale(nCategory, nullptr);
        return nl_langinfo_l(NL_LOCALE_NAME(nCategory), locale);
    }

public:
    // The name as setlocale gives it: where the categories differ, LC_ALL lists them all. Null when memory is short.
    const char* name(int nCategory) noexcept {
        const locale_t locale = uselocale(locale_t{});
        const std::string_view first = nameIn(locale, nCategory == LC_ALL ? LC_CTYPE : nCategory);
        size_t nList = 0;
        bool bAlike = true;
        if (nCategory == LC_ALL) {
            for (const Category& c : kCategories) {
                const std::string_view one = nameIn(locale, c.nCategory);
                bAlike = bAlike && one == first;
                nList += std::strlen(c.pName) + one.size() + 2;
            }
        }
        if (!m_name.allocate(bAlike ? first.size() + 1 : nList)) return nullptr;
        char* p = m_name.get();
        const auto append = [&p](std::string_view text, char chEnd) {
            std::memcpy(p, text.data(), text.size());
            p += text.size();
            *p++ = chEnd;
        };
        if (bAlike) {
            append(first, 0);
        } else {
            for (const Category& c : kCategories) {
                append(c.pName, '=');
                append(nameIn(locale, c.nCategory), ';');
            }
            p[-1] = 0;
        }
        return m_name.get();
    }

    bool set(int nCategory, const char* pLocale) noexcept {
        // Nothing of the old locale is wanted where all of it changes, and the system would lose it.
        const bool bAll = nCategory == LC_ALL;
        const locale_t base = bAll ? locale_t{} : duplocale(uselocale(locale_t{}));
        if (!base && !bAll) return false;
        const locale_t changed = newlocale(bAll ? LC_ALL_MASK : 1 << nCategory, pLocale, base);
        if (!changed) {
            if (base) freelocale(base);
            return false;
        }
        uselocale(changed);
        if (m_own) freelocale(m_own);
        m_own = changed;
        return true;
    }

    const char16_t* wideName(int nCategory) noexcept {
        const char* pName = name(nCategory);
        const size_t n = pName ? std::strlen(pName) + 1 : 0;
        if (!pName || !m_wideName.allocate(n)) return nullptr;
        wideFromUtf8(pName, n, m_wideName.get());
        return m_wideName.get();
    }

    ~ThreadLocale() {
        if (!m_own) return;
        if (uselocale(locale_t{}) == m_own) uselocale(LC_GLOBAL_LOCALE);
        freelocale(m_own);
    }
};
PerThread<ThreadLocale> g_locale;

bool isCategory(int32_t nCategory) noexcept {
    for (const Category& c : kCategories)
        if (c.nCategory == nCategory) return true;
    return nCategory == LC_ALL;
}

// This thread's locale, changed as asked for; null where that can't be done.
ThreadLocale* settled(int32_t nCategory, const char* pLocale) noexcept {
    ThreadLocale* p = isCategory(nCategory) ? g_locale.get() : nullptr;
    return p && (!pLocale || p->set(nCategory, pLocale)) ? p : nullptr;
}

}  // namespace

const char* sysSetLocale(int32_t nCategory, const char* pLocale) noexcept {
    ThreadLocale* p = settled(nCategory, pLocale);
    return p ? p->name(nCategory) : nullptr;
}
const char16_t* sysSetLocaleWide(int32_t nCategory, const char16_t* pLocale) noexcept {
    const Utf8Text locale(pLocale);
    if (pLocale && !locale.get()) return nullptr;
    ThreadLocale* p = settled(nCategory, locale.get());
    return p ? p->wideName(nCategory) : nullptr;
}

}  // namespace rv
