#include <gtest/gtest.h>
#include <langinfo.h>
#include <locale.h>

#include <cerrno>
#include <cstring>
#include <regex>
#include <string>

#include "internal/diagnostics.h"
#include "internal/rvsystem_.h"
#include "ravokit/frame.h"
#include "ravokit/memory.h"

namespace {

int g_nCleaned = 0;

TEST(Version, TellsTheBuild) {
    VERSIONINFO info;
    std::memset(&info, 0xA5, sizeof info);
    EXPECT_EQ(R_VersionInfo(nullptr, 1), -13);
    EXPECT_EQ(R_VersionInfo(&info, 111), -789);
    EXPECT_EQ(info.uStructSize, 0xA5A5A5A5u);
    ASSERT_EQ(R_VersionInfo(&info, sizeof info), 1);
    EXPECT_EQ(info.uStructSize, 112u);
    EXPECT_EQ(std::string(info.Product).rfind("Ravokit", 0), 0u) << info.Product;
    EXPECT_TRUE(std::regex_match(info.BuildDate, std::regex("[A-Z][a-z]{2} [ 0-9][0-9] [0-9]{4}"))) << info.BuildDate;
    EXPECT_TRUE(std::regex_match(info.BuildTime, std::regex("[0-9]{2}:[0-9]{2}:[0-9]{2}"))) << info.BuildTime;
    EXPECT_EQ(info.nReserved, 0);
}

TEST(Version, TellsTheSystem) {
    SYSTEMINFO system{};
    EXPECT_EQ(R_GetSystemInfo(nullptr), -13);
    EXPECT_EQ(R_GetSystemInfo(&system), 1);
    EXPECT_GE(system.nProcessors, 1u);
    EXPECT_GE(system.nPageSize, 4096u);
    EXPECT_EQ(system.nAllocationGranularity % system.nPageSize, 0u);

    OSINFO os{11, 0, 0};
    EXPECT_EQ(R_KrnGetOSInfo(nullptr), -13);
    EXPECT_EQ(R_KrnGetOSInfo(&os), -789);
    EXPECT_EQ(os.nMajor, 0u);
    os.uStructSize = 12;
    EXPECT_EQ(R_KrnGetOSInfo(&os), 1);
    EXPECT_EQ(os.nMajor, 7u);
    EXPECT_EQ(os.nMinor, 1u);
}

TEST(Dispatch, FillsTheFormThatWasAsked) {
    KRNDISPATCH table, before;
    std::memset(&table, 0xA5, sizeof table);
    std::memcpy(&before, &table, sizeof table);
    for (uint32_t uBad : {0u, KRNDISPATCH_OLD_SIZE - 1, uint32_t(sizeof table) + 1}) {
        EXPECT_EQ(R_GetKrnDispatch(&table, uBad), -789);
        EXPECT_EQ(std::memcmp(&table, &before, sizeof table), 0);
    }
    ASSERT_EQ(R_GetKrnDispatch(&table, KRNDISPATCH_OLD_SIZE), 1);
    EXPECT_EQ(table.uStructSize, KRNDISPATCH_OLD_SIZE);
    EXPECT_EQ(table.pfnTlsGetValue, before.pfnTlsGetValue);  // beyond the older form

    ASSERT_EQ(R_GetKrnDispatch(&table, sizeof table), 1);
    EXPECT_EQ(table.uStructSize, sizeof table);
    table.pfnReservedNoOp();
    const uint32_t uIndex = R_TlsAlloc();
    EXPECT_EQ(table.pfnTlsSetValue(uIndex, 9), 1);
    EXPECT_EQ(table.pfnTlsGetValue(uIndex), R_TlsGetValue(uIndex));
    EXPECT_EQ(table.pfnTlsFree(uIndex), 1);
    EXPECT_EQ(R_TlsFree(uIndex), 0);
    EXPECT_EQ(table.pfnGlobalFree(R_GlobalAlloc(1, 10, 0, nullptr)), 1);
    table.pfnLocalFree(R_LocalAlloc(1, 10, 0, nullptr));
    R_RegisterCleanupFunction(
        77, [](void* p, void*) { ++*static_cast<int*>(p); }, &g_nCleaned, nullptr);
    table.pfnUnregisterCleanupFunction(77, nullptr, nullptr, nullptr, 1);
    EXPECT_EQ(g_nCleaned, 1);
}

std::u16string g_text, g_title;
int g_nReports = 0;
int32_t hear(void* hOwner, const char16_t* pText, const char16_t* pTitle, uint32_t uKind) {
    EXPECT_EQ(hOwner, nullptr);
    EXPECT_EQ(uKind, 48u);
    g_text = pText;
    g_title = pTitle;
    ++g_nReports;
    return 1;
}

TEST(Diagnostics, SinkHearsReportsAndTheLockTrace) {
    EXPECT_EQ(R_IntStartupBuffers(hear, 104), 0);
    rv::ReportMessage("title", "nobody listens");
    EXPECT_EQ(g_nReports, 0);
    EXPECT_EQ(R_IntStartupBuffers(hear, 105), 1);
    rv::ReportMessage("title", "%s %d", "value", -3);
    EXPECT_EQ(g_text, u"value -3");
    EXPECT_EQ(g_title, u"title");
    rv::ReportMessage("title", "%5000d", 1);
    EXPECT_EQ(g_text, std::u16string(4095, u' '));

    g_nReports = 0;
    EXPECT_FALSE(rv::g_bLockTrace);  // off at start
    rv::traceLockCount("R_AccessBitmap", -1, false);
    EXPECT_EQ(g_nReports, 0);
    rv::g_bLockTrace = true;
    rv::traceLockCount("R_AccessBitmap", 1, true);
    EXPECT_EQ(g_nReports, 0);
    rv::traceLockCount("R_AccessBitmap", -1, false);
    EXPECT_EQ(g_title, u"R_AccessBitmap");
    EXPECT_EQ(g_text, u"pBitmap->nLockCount = -1\n");
    rv::traceLockCount("R_GetBitmapRow", 0, false, true);
    EXPECT_EQ(g_text, u"pBitmap->nLockCount = 0\r\n");
    rv::g_bLockTrace = false;
    EXPECT_EQ(R_IntStartupBuffers(nullptr, 105), 1);
}

TEST(Diagnostics, TraceSurvivesOddText) {
    errno = 7;
    rv::Trace("%5000d %s", 1, "\xFF\xFE");
    rv::Trace("%ls", L"\x6F22\x5B57");  // not representable in the C locale
    EXPECT_EQ(errno, 7);
}

TEST(Diagnostics, LocaleLastsForOnePieceOfCode) {
    const locale_t before = uselocale(locale_t{});
    const std::string set = nl_langinfo(CODESET);
    ASSERT_NE(set, "UTF-8") << "the tests run in the C locale";
    std::string seen;
    const auto look = [](void* p) { *static_cast<std::string*>(p) = nl_langinfo(CODESET); };
    EXPECT_TRUE(rv::sysWithLocale("C.UTF-8", look, &seen));
    EXPECT_EQ(seen, "UTF-8");
    EXPECT_EQ(uselocale(locale_t{}), before);
    EXPECT_EQ(nl_langinfo(CODESET), set);

    seen.clear();
    EXPECT_FALSE(rv::sysWithLocale("no such language", look, &seen));
    EXPECT_EQ(seen, "");
    EXPECT_EQ(uselocale(locale_t{}), before);
}

}  // namespace
