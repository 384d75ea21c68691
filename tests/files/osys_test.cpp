#include <gtest/gtest.h>

#include <numeric>
#include <thread>
#include <vector>

#include "internal/rvsystem_.h"
#include "ravokit/ravokit.h"
#include "support/folder.h"

namespace {

using support::Folder;

constexpr int32_t kRead = 0, kWrite = 1, kBoth = 2, kCreate = 0x100, kTruncate = 0x200, kTemporary = 0x40;
constexpr uint32_t kAll = UINT32_MAX;

class Os : public testing::Test {
protected:
    const Folder folder{"/tmp"};
    void SetUp() override { ASSERT_TRUE(folder); }
    RVFILE open(const char* pName, int32_t nFlags) const { return R_OsOpen(folder(pName).c_str(), nFlags, 0x180); }
    std::string contents(const char* pName = "f") const { return folder.contents(pName); }
};

TEST_F(Os, OpenFlags) {
    const struct {
        int32_t nFlags;
        const char *pMissing, *pThere;  // the contents after a write of "new", without the file and with "older text"
    } cases[] = {{kRead, nullptr, "older text"},
                 {kWrite, nullptr, "newer text"},
                 {kBoth, nullptr, "newer text"},
                 {3, nullptr, "newer text"},
                 {kRead | kTruncate, nullptr, nullptr},
                 {kWrite | kTruncate, nullptr, "new"},
                 {kBoth | kCreate, "new", "new"},
                 {kBoth | kCreate | kTruncate, "new", "new"},
                 {kRead | kCreate, "", ""},
                 {kWrite | kCreate | kTemporary, "missing", "missing"},
                 {kRead | kTemporary, nullptr, "missing"}};
    for (const auto& c : cases)
        for (const bool bThere : {false, true}) {
            std::filesystem::remove(folder.narrow("f"));
            if (bThere) folder.write("f", "older text");
            const char* pWanted = bThere ? c.pThere : c.pMissing;
            RVFILE h = open("f", c.nFlags);
            ASSERT_EQ(h != RV_INVALID_FILE, pWanted != nullptr) << c.nFlags << bThere;
            if (!pWanted) {
                EXPECT_EQ(contents(), bThere ? "older text" : "missing") << c.nFlags;
                continue;
            }
            char ch;
            EXPECT_EQ(R_OsWrite(h, "new", 3), c.nFlags & 3 ? 3 : -1) << c.nFlags;
            EXPECT_EQ(R_OsRead(h, &ch, 1) >= 0, (c.nFlags & 3) != kWrite) << c.nFlags;
            EXPECT_EQ(R_OsClose(h), 0);
            EXPECT_EQ(contents(), pWanted) << c.nFlags << bThere;
        }
    EXPECT_EQ(R_OsOpen(nullptr, kBoth | kCreate, 0), RV_INVALID_FILE);
    EXPECT_EQ(open(".", kRead), RV_INVALID_FILE);

    // What is made to be read can't be written, and the name separates by either slash.
    EXPECT_EQ(R_OsClose(open("fixed", kRead | kCreate)), 0);
    EXPECT_EQ(std::filesystem::status(folder.narrow("fixed")).permissions() & std::filesystem::perms::owner_write,
              std::filesystem::perms::none);
    RVFILE h = R_OsCreat((folder(".") + u"\\plain").c_str(), 2 | 4);
    char text[2];
    EXPECT_EQ(R_OsWrite(h, "ab", 2), 2);
    EXPECT_EQ(R_OsSeek(h, 0, 0), 0);
    EXPECT_EQ(R_OsRead(h, text, 2), 2);
    EXPECT_EQ(R_OsClose(h), 0);
    h = R_OsCreat(folder("plain").c_str(), 1 | 8);
    EXPECT_EQ(R_OsWrite(h, "ab", 2), -1);
    EXPECT_EQ(contents("plain"), "missing");
    EXPECT_EQ(R_OsClose(h), 0);
}

TEST_F(Os, MovingBytes) {
    std::vector<char> text(1000), got(1200);
    std::iota(text.begin(), text.end(), char(0));
    RVFILE h = open("f", kBoth | kCreate);
    EXPECT_EQ(R_OsWriteBig(h, text.data(), 1000), 1000);
    EXPECT_EQ(R_OsSeek(h, -1000, 1), 0);
    EXPECT_EQ(R_OsReadBig(h, got.data(), 1000), 1000);
    EXPECT_TRUE(std::equal(text.begin(), text.end(), got.begin()));
    EXPECT_EQ(R_OsSeek(h, -400, 2), 600);
    EXPECT_EQ(R_OsReadBig(h, got.data(), 401), -1);  // no short count
    EXPECT_EQ(R_OsSeek(h, 600, 0), 600);
    EXPECT_EQ(R_OsRead(h, got.data(), kAll), 400);
    EXPECT_EQ(got[0], text[600]);
    EXPECT_EQ(R_OsSeek(h, 0, 3), -1);
    EXPECT_EQ(R_OsSeek(h, 0, 1), 1000);

    // A write of nothing cuts, but not the big one.
    EXPECT_EQ(R_OsSeek(h, 250, 0), 250);
    EXPECT_EQ(R_OsWriteBig(h, nullptr, 0), 0);
    EXPECT_EQ(contents().size(), 1000u);
    EXPECT_EQ(R_OsWrite(h, nullptr, 0), 0);
    EXPECT_EQ(contents(), std::string(text.data(), 250));
    EXPECT_EQ(R_OsSetFileSize(h, 0x1'0000'0003), 0);  // past 32 bits
    EXPECT_EQ(R_OsSeek(h, 0, 1), 0x1'0000'0003);
    EXPECT_EQ(R_OsSetFileSize(h, -1), -1);
    EXPECT_EQ(R_OsSetFileSize(h, 260), 0);
    EXPECT_EQ(contents(), std::string(text.data(), 250) + std::string(10, '\0'));

    EXPECT_EQ(R_OsRead(h, nullptr, 0), -1);
    EXPECT_EQ(R_OsWrite(h, nullptr, 1), -1);
    EXPECT_EQ(R_OsReadBig(h, nullptr, 1), -1);
    EXPECT_EQ(R_OsReadBig(h, got.data(), UINT64_MAX), -1);
    EXPECT_EQ(R_OsClose(h), 0);
    h = open("f", kRead);
    EXPECT_EQ(R_OsSeek(h, 7, 0), 7);
    EXPECT_EQ(R_OsSetFileSize(h, 1), -1);
    EXPECT_EQ(R_OsSeek(h, 0, 1), 7);
    EXPECT_EQ(R_OsClose(h), 0);

    RVHANDLE hMemory = R_OsAllocHandle(0, 10, 0, nullptr);
    for (RVFILE hOther : {RVFILE(nullptr), RV_INVALID_FILE, RVFILE(hMemory)}) {
        EXPECT_EQ(R_OsRead(hOther, got.data(), 1), -1);
        EXPECT_EQ(R_OsWrite(hOther, got.data(), 0), -1);
        EXPECT_EQ(R_OsReadBig(hOther, got.data(), 0), -1);
        EXPECT_EQ(R_OsSeek(hOther, 0, 0), -1);
        EXPECT_EQ(R_OsSetFileSize(hOther, 0), -1);
        EXPECT_EQ(R_OsClose(hOther), -1);
    }
    R_OsFreeHandle(hMemory);
}

TEST_F(Os, NamesAndErrors) {
    folder.write("f\u00FC", "x");
    EXPECT_EQ(R_FileExists(folder("f\u00FC").c_str()), 1);
    EXPECT_EQ(R_FileExistsUTF8(folder.narrow("f\u00FC").c_str()), 1);
    EXPECT_EQ(R_FileExists(folder(".").c_str()), 1);
    EXPECT_EQ(R_OsDelete(folder("f\u00FC").c_str()), 0);
    EXPECT_EQ(R_FileExists(folder("f\u00FC").c_str()), 0);
    EXPECT_EQ(R_FileExists(nullptr) + R_FileExistsUTF8(nullptr) + R_FileExists(u""), 0);
    EXPECT_EQ(R_OsDelete(folder("f\u00FC").c_str()), -1);
    EXPECT_EQ(R_OsGetLastError(-74), -10);
    EXPECT_EQ(R_OsOpen(folder(".").c_str(), kRead, 0), RV_INVALID_FILE);
    EXPECT_EQ(R_OsGetLastError(-74), -74);
    if (RVFILE h = R_OsOpen(u"/dev/full", kWrite, 0); h != RV_INVALID_FILE) {
        EXPECT_EQ(R_OsWriteBig(h, "abc", 3), -1);
        EXPECT_EQ(R_OsGetLastError(-74), -295);
        EXPECT_EQ(R_OsClose(h), 0);
    }
    for (const auto& [nError, nStatus] : {std::pair(2u, -10),
                                          {8u, -1},
                                          {14u, -1},
                                          {112u, -295},
                                          {122u, -290},
                                          {5u, -74},
                                          {29u, -74},
                                          {30u, -74},
                                          {80u, -74},
                                          {1234u, -74}}) {
        R_OsSetLastError(nError);
        std::thread([] { EXPECT_EQ(R_OsGetLastError(-5), -5); }).join();
        EXPECT_EQ(rv::sysLastError(), nError);
        EXPECT_EQ(R_OsGetLastError(-74), nStatus) << nError;
    }
    // The kept one counts once, and before the system's.
    R_OsSetLastError(112);
    rv::sysSetLastError(2);
    EXPECT_EQ(R_OsGetLastError(-74), -295);
    EXPECT_EQ(R_OsGetLastError(-74), -10);
}

}  // namespace
