#include <gtest/gtest.h>

#include <set>
#include <string>

#include "internal/messages_.h"
#include "ravokit/loader.h"
#include "ravokit/messages.h"

namespace {

std::u16string messageOf(int32_t nStatus) {
    char16_t text[MESSAGE_LENGTH];
    EXPECT_EQ(R_GetFriendlyErrorMessage(nStatus, text, MESSAGE_LENGTH, nullptr), 1);
    return text;
}

// A row out of order would hide others from the search; a percent sign out of place would reach the caller.
TEST(Messages, TableIsSortedWithoutOverlapAndItsTextsAreClean) {
    const std::set<int32_t> templates{-154, -900, -1868, -1871};
    int32_t nLast = INT32_MIN;
    size_t nStatuses = 0, nMissing = 0;
    for (const rv::Message& row : rv::messages()) {
        ASSERT_LE(row.nFirst, row.nLast);
        ASSERT_LT(nLast, row.nFirst);
        nLast = row.nLast;
        const size_t n = size_t(row.nLast - row.nFirst) + 1;
        nStatuses += n;
        const std::u16string text = row.pText;
        ASSERT_FALSE(text.empty());
        for (const char16_t c : text) ASSERT_TRUE(c >= 0x20 && c < 0x7F) << row.nFirst;
        if (text == u"The %s library is missing.") {
            nMissing += n;
            continue;
        }
        EXPECT_EQ(text.find(u'%') != text.npos, templates.contains(row.nFirst)) << row.nFirst;
        EXPECT_EQ(text.find(u'%'), text.find(u"%s")) << row.nFirst;
        EXPECT_EQ(text.find(u'%'), text.rfind(u'%')) << row.nFirst;
    }
    EXPECT_EQ(nStatuses, 757u);
    EXPECT_EQ(nMissing, 133u);
    EXPECT_EQ(rv::messages().front().nFirst, -1875);
    EXPECT_EQ(nLast, 104);
}

TEST(Messages, StatusesHaveTheirTexts) {
    const std::pair<int32_t, const char16_t*> kSpots[] = {
        {104,
         u"dialog exits successfully after selecting exit and export option, dialog parameters will have the resulting "
         u"bitmap allocated"},
        {8, u"Function called recursively. A least one call was successful, but some failed"},
        {1, u"Success"},
        {0, u"Function not successful"},
        {-1, u"Not enough memory available"},
        {-13, u"Invalid parameter passed"},
        {-29, u"Escape key pressed - or user aborted operation"},
        {-53, u"Internal error - call RAVO"},
        {-351, u"There is nothing to do.  No items were found"},
        {-789, u"The structure size is invalid"},
        {-1314, u"Operation canceled "},
        {-1468, u"No Description available"},
        {-1498, u"Annotation option is not enabled.  Call R_AnnSetOptions to enable this option"},
        {-1872, u"The file passed to this function is not a TIFF file"},
    };
    for (const auto& [nStatus, pText] : kSpots) EXPECT_EQ(messageOf(nStatus), pText) << nStatus;
    for (int32_t nStatus : {9, 99, 105, -16, -33, -61, -1873, -1876, -2000, INT32_MIN, INT32_MAX})
        EXPECT_EQ(messageOf(nStatus), u"Internal or Unrecognized Error!") << nStatus;
}

TEST(Messages, ShortBuffersReceiveShortTexts) {
    char16_t text[8] = u"zzzzzzz";
    EXPECT_EQ(R_GetFriendlyErrorMessage(-13, nullptr, 10, text), -13);
    for (int32_t nLength : {0, -1, INT32_MIN}) EXPECT_EQ(R_GetFriendlyErrorMessage(-13, text, nLength, nullptr), 1);
    EXPECT_EQ(std::u16string(text), u"zzzzzzz");
    EXPECT_EQ(R_GetFriendlyErrorMessage(-13, text, 5, nullptr), 1);
    EXPECT_EQ(std::u16string(text, 8), std::u16string(u"Inva\0zz\0", 8));
}

// Statuses of one text differ in the library, and the package is told for that text alone.
TEST(Messages, MissingLibrariesHaveSelectorsAndPackages) {
    struct Case {
        int32_t nStatus, nClass, nId;
        const char16_t* pPackage;
    };
    for (const Case& c : {Case{-824, 0, 83, u"Ravokit Codecs"}, Case{-819, 0, 72, u"Ravokit Codecs"},
                          Case{-818, 7, 80, u"Ravokit Codecs"}, Case{-807, 24, -1, u"Ravokit Dialogs"},
                          Case{-825, 0, -1, u"UnknownPackage"}, Case{-1875, 0, -1, u"UnknownPackage"},
                          Case{-900, 0, -1, u"as before"}, Case{1, 0, -1, u"as before"}}) {
        int32_t nClass = 7, nId = 7;
        EXPECT_EQ(R_GetLibIdFromErrorCode(c.nStatus, &nClass, &nId), 1);
        EXPECT_EQ(nClass, c.nClass) << c.nStatus;
        EXPECT_EQ(nId, c.nId) << c.nStatus;
        char16_t text[MESSAGE_LENGTH], package[PACKAGE_NAME_LENGTH] = u"as before";
        EXPECT_EQ(R_GetFriendlyErrorMessage(c.nStatus, text, MESSAGE_LENGTH, package), 1);
        EXPECT_EQ(std::u16string(package), c.pPackage) << c.nStatus;
    }
    int32_t n = 7;
    EXPECT_EQ(R_GetLibIdFromErrorCode(-824, nullptr, &n), -13);
    EXPECT_EQ(R_GetLibIdFromErrorCode(-824, &n, nullptr), -13);
    EXPECT_EQ(n, 7);
}

TEST(Messages, TemplatesTakeTheNameThatTheLoaderKnows) {
    struct Case {
        int32_t nStatus, nClass, nId;
        const char16_t *pBefore, *pAfter;
    };
    for (const Case& c :
         {Case{-824, 0, 83, u"The ", u" library is missing."}, Case{-807, 24, -1, u"The ", u" library is missing."},
          Case{-825, 0, -1, u"The ", u" library is missing."},
          Case{-1868, 0, 55, u"The ", u" library is invalid or out of date."},
          Case{-1871, 0, 24, u"", u" is invalid or corrupted"}, Case{-900, 0, 24, u"Failed to load ", u""},
          Case{-154, 0, 24, u"The dialogs could not load ", u""}}) {
        char16_t name[512] = u"";
        if (R_GetLibName(0, c.nClass, c.nId, name, 512) != 1) name[0] = 0;
        EXPECT_EQ(messageOf(c.nStatus), std::u16string(c.pBefore) + name + c.pAfter) << c.nStatus;
    }
}

}  // namespace
