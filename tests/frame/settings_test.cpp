#include <gtest/gtest.h>

#include <string>

#include "ravokit/frame.h"

namespace {

TEST(Settings, DefaultsAreExchangedAndChecked) {
    const int32_t nX = R_SetDefaultXResolution(-7), nY = R_SetDefaultYResolution(0);
    EXPECT_EQ(R_GetDefaultXResolution(), -7);
    EXPECT_EQ(R_SetDefaultXResolution(nX), -7);
    EXPECT_EQ(R_SetDefaultYResolution(nY), 0);

    const uint32_t uMethod = R_GetDefaultDithering();
    for (uint32_t u = 0; u <= 8; ++u) {
        EXPECT_EQ(R_DefaultDithering(u), 1);
        EXPECT_EQ(R_GetDefaultDithering(), u);
    }
    EXPECT_EQ(R_DefaultDithering(9), -13);
    EXPECT_EQ(R_DefaultDithering(UINT32_MAX), -13);
    EXPECT_EQ(R_GetDefaultDithering(), 8u);
    R_DefaultDithering(uMethod);

    uint32_t nType = 0;
    EXPECT_EQ(R_SetDefaultMemoryType(128), 1);
    for (uint32_t nBad : {0u, 2u, 127u, 129u}) EXPECT_EQ(R_SetDefaultMemoryType(nBad), -13);
    EXPECT_EQ(R_GetDefaultMemoryType(nullptr), -13);
    EXPECT_EQ(R_GetDefaultMemoryType(&nType), 1);
    EXPECT_EQ(nType, 128u);
    EXPECT_EQ(R_SetDefaultMemoryType(1), 1);

    int cell = 0;
    EXPECT_EQ(R_SetUserMatchTable(&cell), nullptr);
    EXPECT_EQ(R_SetUserMatchTable(nullptr), &cell);
}

TEST(Settings, TheTwoCallbackPairsAreApart) {
    const STATUSCALLBACK pfnA = [](int32_t, void*) { return int32_t(1); }, pfnB = [](int32_t n, void*) { return n; };
    int a = 0, b = 0;
    EXPECT_EQ(R_SetStatusCallBack(pfnA, &a, nullptr, nullptr), 1);
    EXPECT_EQ(R_SetCopyStatusCallBack(pfnB, &b, nullptr, nullptr), 1);
    void* pUser = nullptr;
    EXPECT_EQ(R_GetStatusCallBack(&pUser), pfnA);
    EXPECT_EQ(pUser, &a);
    EXPECT_EQ(R_GetCopyStatusCallBack(&pUser), pfnB);
    EXPECT_EQ(pUser, &b);
    STATUSCALLBACK pfnOld = nullptr;
    EXPECT_EQ(R_SetStatusCallBack(nullptr, nullptr, &pfnOld, &pUser), 1);
    EXPECT_EQ(pfnOld, pfnA);
    EXPECT_EQ(pUser, &a);
    EXPECT_EQ(R_SetCopyStatusCallBack(nullptr, nullptr, &pfnOld, &pUser), 1);
    EXPECT_EQ(pfnOld, pfnB);
    EXPECT_EQ(pUser, &b);
    EXPECT_EQ(R_GetStatusCallBack(&pUser), nullptr);
    EXPECT_EQ(pUser, nullptr);
}

std::u16string kept(uint32_t uType, const std::u16string& path) {
    char16_t got[RESOURCE_DIRECTORY_LENGTH + 2];
    for (char16_t& c : got) c = u'#';
    EXPECT_EQ(R_SetResourceDirectory(uType, path.c_str()), 1);
    EXPECT_EQ(R_GetResourceDirectory(uType, got, RESOURCE_DIRECTORY_LENGTH), 1);
    EXPECT_EQ(got[RESOURCE_DIRECTORY_LENGTH], u'#');
    return got;
}

TEST(Settings, ResourceDirectories) {
    EXPECT_EQ(kept(1, u"/usr/share"), u"/usr/share/");
    EXPECT_EQ(kept(2, u"c:\\data\\"), u"c:\\data\\");
    EXPECT_EQ(kept(0, u"/"), u"/");
    EXPECT_EQ(kept(0, u""), u"");
    const size_t nMost = RESOURCE_DIRECTORY_LENGTH - 1;
    EXPECT_EQ(kept(0, std::u16string(nMost - 1, u'x')), std::u16string(nMost - 1, u'x') + u"/");
    EXPECT_EQ(kept(0, std::u16string(nMost, u'x')), std::u16string(nMost, u'x'));  // no room for the separator
    EXPECT_EQ(kept(0, std::u16string(1000, u'x')), std::u16string(nMost, u'x'));
    EXPECT_EQ(kept(0, u""), u"");

    char16_t small[4] = {u'#', u'#', u'#', u'#'};
    EXPECT_EQ(R_GetResourceDirectory(1, small, 0), 1);
    EXPECT_EQ(small[0], u'#');
    EXPECT_EQ(R_GetResourceDirectory(1, small, 3), 1);
    EXPECT_EQ(std::u16string(small), u"/u");
    EXPECT_EQ(small[3], u'#');
    EXPECT_EQ(R_SetResourceDirectory(3, u"x"), -13);
    EXPECT_EQ(R_SetResourceDirectory(0, nullptr), -13);
    EXPECT_EQ(R_GetResourceDirectory(3, small, 4), -13);
    EXPECT_EQ(R_GetResourceDirectory(0, nullptr, 4), -13);
    for (uint32_t u = 0; u < 3; ++u) R_SetResourceDirectory(u, u"");
}

}  // namespace
