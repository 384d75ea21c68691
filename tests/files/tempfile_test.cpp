#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "internal/library.h"
#include "internal/redirect_.h"
#include "internal/storage_.h"
#include "internal/tempfile_.h"
#include "support/bitmaps.h"
#include "support/faults.h"

namespace {

namespace fs = std::filesystem;
using Name = std::u16string;
using test::Bytes;

using rv::kOpenCreate, rv::kOpenRead, rv::kOpenReadWrite, rv::kOpenTemporary, rv::kOpenTruncate;
constexpr int32_t kAppend = 8;
constexpr uint32_t kMiB = 1 << 20;

Name made(const char16_t* pszPrefix = u"t") {
    char16_t sz[RV_TEMP_NAME_SIZE];
    EXPECT_EQ(R_GetTempFileName(sz, pszPrefix), 1);
    return sz;
}
Name madeWith(const char16_t* pszExtension, const char16_t* pszPrefix = u"t") {
    char16_t sz[RV_TEMP_NAME_SIZE];
    EXPECT_EQ(R_GetTempFileName3(sz, RV_TEMP_NAME_SIZE, pszPrefix, pszExtension), 1);
    return sz;
}
RVFILE open(const Name& name, int32_t nFlags = kOpenReadWrite | kOpenCreate) {
    return R_RedirectedTempFileOpen(name.c_str(), nFlags, 0x180);
}
int32_t write(RVFILE h, const Bytes& bytes) {
    return R_RedirectedTempFileWrite(h, bytes.data(), uint32_t(bytes.size()));
}
int64_t seek(RVFILE h, int64_t n, int32_t nOrigin = 0) { return R_RedirectedTempFileSeek(h, n, nOrigin); }
int64_t positionOf(RVFILE h) { return seek(h, 0, 1); }
Bytes contents(RVFILE h) {  // all of it, the position kept
    const int64_t nPosition = positionOf(h);
    Bytes out(size_t(seek(h, 0, 2)) + 1);
    seek(h, 0);
    out.resize(size_t(std::max(0, R_RedirectedTempFileRead(h, out.data(), uint32_t(out.size())))));
    seek(h, nPosition);
    return out;
}
void setOptions(uint32_t uMode, uint32_t uTotalMB = 64, uint32_t uMaxMB = 8, uint32_t uBlockMB = 16) {
    const TEMPFILEOPTIONS options{sizeof options, uMode, 0, uTotalMB, uMaxMB, uBlockMB};
    ASSERT_EQ(R_SetTempFileOptions(&options), 1);
}

// Works in a directory of its own, in which nothing may be left, as in memory.
class TempFile : public testing::Test {
    TEMPFILEOPTIONS m_options{};
    char16_t m_szDirectory[RV_TEMP_NAME_SIZE];

protected:
    fs::path directory = fs::path(testing::TempDir()) / ("ravokit-t\u00E9mp-" + std::to_string(std::random_device{}()));

    void SetUp() override {
        ASSERT_EQ(R_GetTempFileOptions(&m_options, sizeof m_options), 1);
        ASSERT_EQ(R_GetTempDirectory(m_szDirectory, RV_TEMP_NAME_SIZE), 1);
        ASSERT_TRUE(fs::create_directory(directory));
        ASSERT_EQ(R_SetTempDirectory(directory.u16string().c_str()), 1);
    }
    void TearDown() override {
        EXPECT_EQ(rv::memoryFileTotal(), 0u);
        EXPECT_TRUE(fs::is_empty(directory));
        fs::remove_all(directory);
        R_SetTempFileOptions(&m_options);
        R_SetTempDirectory(m_szDirectory);
    }
};
using ThreadTempFile = TempFile;

bool isOnDisk(Name name) {
    std::replace(name.begin(), name.end(), u'\\', u'/');
    return fs::exists(name);
}

TEST_F(TempFile, OptionsAndDirectoryTellTheirStatusesInOrder) {
    TEMPFILEOPTIONS options{23, 0, 7, 1, 2, 3};
    EXPECT_EQ(R_SetTempFileOptions(&options), -789);
    EXPECT_EQ(R_GetTempFileOptions(nullptr, 23), -814);
    EXPECT_EQ(R_GetTempFileOptions(&options, 25), -789);
    setOptions(0);
    EXPECT_EQ(R_GetTempFileMode(), 2u);
    setOptions(3);
    EXPECT_TRUE(rv::temporaryFilesOff());

    std::ofstream(directory / "file").put('x');
    EXPECT_EQ(R_SetTempDirectory((directory / "none").u16string().c_str()), -13);
    EXPECT_EQ(R_SetTempDirectory((directory / "file").u16string().c_str()), 0);
    fs::remove(directory / "file");
    const Name expected = directory.u16string();
    Name told(expected.size() + 1, u'#');
    EXPECT_EQ(R_GetTempDirectory(told.data(), uint32_t(expected.size())), -290);
    EXPECT_EQ(told[0], u'#');
    EXPECT_EQ(R_GetTempDirectory(told.data(), uint32_t(told.size())), 1);
    EXPECT_EQ(told.c_str(), expected);
}

TEST_F(TempFile, NamesAreFilesOrAreSetAside) {
    EXPECT_EQ(R_GetTempFileName(nullptr, u"x"), -13);
    char16_t sz[RV_TEMP_NAME_SIZE] = u"#";
    for (const uint32_t uMode : {1u, 2u, 3u}) {
        SCOPED_TRACE(uMode);
        setOptions(uMode);
        std::set<Name> names;
        for (int i = 0; i < 12; ++i) names.insert(made());
        EXPECT_EQ(names.size(), 12u);
        for (const Name& name : names) {
            EXPECT_EQ(isOnDisk(name), uMode != 3);
            EXPECT_TRUE(R_FileExists(name.c_str()));
            R_DeleteTempFile(name.c_str());
            EXPECT_FALSE(R_FileExists(name.c_str()));
        }
        // A name whose file is still open is not made again, though it was deleted.
        names.clear();
        std::vector<RVFILE> opened;
        for (int i = 0; i < 12; ++i) {
            const Name& name = *names.insert(made()).first;
            opened.push_back(open(name));
            R_DeleteTempFile(name.c_str());
        }
        EXPECT_EQ(names.size(), 12u);
        for (const RVFILE h : opened) R_RedirectedTempFileClose(h);
        // A prefix that ends the stem leaves one name to set aside; the system makes the next one.
        const Name first = made(u"a.b"), second = made(u"a.b");
        EXPECT_EQ(isOnDisk(first), uMode != 3);
        EXPECT_TRUE(isOnDisk(second));
        R_DeleteTempFile(first.c_str());
        R_DeleteTempFile(second.c_str());
        EXPECT_EQ(R_GetTempFileName2(u"", sz, Name(RV_TEMP_NAME_SIZE, u'x').c_str()), -1);
        EXPECT_EQ(sz[0], u'#');

        char narrow[RV_TEMP_NAME_SIZE];
        ASSERT_EQ(R_GetTempFileNameUTF8(narrow, nullptr), 1);
        EXPECT_NE(std::string(narrow).find("R_"), std::string::npos);
        EXPECT_TRUE(R_FileExistsUTF8(narrow));
        R_DeleteTempFileUTF8(narrow);
        EXPECT_FALSE(R_FileExistsUTF8(narrow));
    }
}

TEST_F(TempFile, ExtensionsReplaceTheFirstName) {
    for (const uint32_t uMode : {2u, 3u}) {
        setOptions(uMode);
        for (const char16_t* pszNone : {u".tmp", u"TMP", u".", static_cast<const char16_t*>(nullptr)}) {
            const Name name = madeWith(pszNone);
            EXPECT_TRUE(name.ends_with(u".tmp"));
            EXPECT_EQ(isOnDisk(name), uMode == 2);
            R_DeleteTempFile(name.c_str());
        }
        const Name name = madeWith(u".tiff");
        EXPECT_TRUE(name.ends_with(u".tiff") && !name.ends_with(u"..tiff"));
        EXPECT_TRUE(fs::is_empty(directory));
        EXPECT_TRUE(R_FileExists(name.c_str()));
        R_DeleteTempFile(name.c_str());
        char16_t sz[8] = u"#";
        EXPECT_EQ(R_GetTempFileName3(sz, 8, u"t", u"tmp"), -290);
        EXPECT_EQ(sz[0], u'#');
        EXPECT_TRUE(fs::is_empty(directory));
    }
    // The numbers are the clock's: the names of a coming quarter second are taken, and it is waited for.
    Name name;
    for (uint32_t uAhead = 100; uAhead < 10000 && !name.ends_with(u".0.png"); uAhead *= 2) {
        const uint32_t uFirst = uint32_t(rv::sysTickCount64()) + uAhead;
        std::vector<fs::path> taken;
        for (uint32_t i = 0; i < 250; ++i) {
            char sz[16];
            std::snprintf(sz, sizeof sz, "n%x.png", uFirst + i);
            std::ofstream(taken.emplace_back(directory / sz));
        }
        while (int32_t(uint32_t(rv::sysTickCount64()) - uFirst) < 0) rv::sysSleep(1);
        name = madeWith(u"png", u"n");
        for (const fs::path& path : taken) fs::remove(path);
        R_DeleteTempFile(name.c_str());
    }
    EXPECT_TRUE(name.ends_with(u".0.png")) << fs::path(name);
}

// A file and its model get the same random calls.
void runModel(uint32_t uMode, uint32_t uBlockMB, uint32_t uSeed) {
    SCOPED_TRACE(testing::Message() << "mode " << uMode << " block " << uBlockMB);
    setOptions(uMode, 64, 2, uBlockMB);
    std::mt19937 random(uSeed);
    const auto below = [&](size_t n) { return random() % n; };
    const Bytes source = test::randomBytes(3 * kMiB, uSeed);
    const Name name = made();
    const RVFILE h = open(name);
    ASSERT_TRUE(rv::isOpenFile(h));
    Bytes model, buffer(source.size());
    size_t nPosition = 0;
    for (int i = 0; i < 400; ++i) {
        switch (below(7)) {
            case 0: {  // from any origin, at times past the end
                const auto nNew = int64_t(below(2) ? model.size() : below(model.size() + 9000));
                const int64_t origins[] = {0, int64_t(nPosition), int64_t(model.size())};
                const auto nOrigin = int32_t(below(3));
                ASSERT_EQ(seek(h, nNew - origins[nOrigin], nOrigin), nNew);
                nPosition = size_t(nNew);
                break;
            }
            case 1:
            case 2: {
                const size_t nWanted = below(kMiB / 4) + 1;
                const Bytes left(model.begin() + ptrdiff_t(std::min(nPosition, model.size())), model.end());
                const size_t n = std::min(nWanted, left.size());
                const int32_t nGot = R_RedirectedTempFileRead(h, buffer.data(), uint32_t(nWanted));
                ASSERT_EQ(std::max(nGot, 0), int32_t(n));
                ASSERT_TRUE(std::equal(left.begin(), left.begin() + ptrdiff_t(n), buffer.begin()));
                nPosition += n;
                break;
            }
            case 3:  // ends the file here, rarely
                if (below(4)) break;
                ASSERT_EQ(R_RedirectedTempFileWrite(h, buffer.data(), 0), 0);
                model.resize(nPosition);
                break;
            default: {
                const size_t n = below(below(3) ? 5000 : kMiB / 4) + 1, nFrom = below(source.size() - n);
                ASSERT_EQ(R_RedirectedTempFileWrite(h, &source[nFrom], uint32_t(n)), int32_t(n));
                model.resize(std::max(model.size(), nPosition + n));
                std::copy_n(&source[nFrom], n, &model[nPosition]);
                nPosition += n;
            }
        }
        ASSERT_EQ(positionOf(h), int64_t(nPosition)) << i;
    }
    ASSERT_EQ(contents(h), model);
    EXPECT_EQ(R_RedirectedTempFileClose(h), 0);
    EXPECT_EQ(R_DeleteTempFile(name.c_str()), 1);
}
TEST_F(TempFile, BehavesAsAPlainFileInEveryMode) {
    uint32_t uSeed = 1;
    for (const uint32_t uMode : {1u, 2u, 3u})
        for (const uint32_t uBlockMB : {0u, 1u, 16u}) runModel(uMode, uBlockMB, uSeed++);
}

TEST_F(TempFile, NineMegabytesMoveToDiskAtEight) {
    setOptions(2);
    const Name name = made();
    const RVFILE h = open(name);
    const fs::path path(name);
    const Bytes all = test::randomBytes(9 * kMiB, 9);
    constexpr uint32_t kPiece = kMiB / 4 - 1;
    for (uint32_t n = 0; n < all.size();) {
        const uint32_t nPiece = std::min(kPiece, uint32_t(all.size()) - n);
        ASSERT_EQ(R_RedirectedTempFileWrite(h, &all[n], nPiece), int32_t(nPiece));
        n += nPiece;
        ASSERT_EQ(fs::file_size(path), n <= 8 * kMiB ? 0 : n);  // the name's own file is empty as long
        ASSERT_EQ(rv::memoryFileTotal() > 0, n <= 8 * kMiB);
        ASSERT_EQ(positionOf(h), n);
    }
    EXPECT_EQ(contents(h), all);
    EXPECT_EQ(R_RedirectedTempFileClose(h), 0);
    EXPECT_EQ(R_DeleteTempFile(name.c_str()), 1);
}

TEST_F(TempFile, BudgetsAreCountedByTheOptionsAtOpen) {
    setOptions(2, 2, 8, 0);
    const Name a = made(), b = made(), c = made();
    const RVFILE hA = open(a), hB = open(b);
    EXPECT_EQ(write(hA, Bytes(1)), 1);
    EXPECT_EQ(rv::memoryFileTotal(), kMiB + 1u);
    // One whole MiB is used, and counts as 1: the second file may take 2 MiB - 1.
    EXPECT_EQ(write(hB, Bytes(2 * kMiB - 1)), int32_t(2 * kMiB - 1));
    EXPECT_EQ(rv::memoryFileTotal(), 3 * kMiB);
    const RVFILE hC = open(c);  // nothing is left for it
    EXPECT_EQ(write(hC, Bytes(5)), 5);
    EXPECT_EQ(fs::file_size(c), 5u);
    setOptions(2, 64, 8, 0);                           // is too late for those that are open
    EXPECT_EQ(write(hA, Bytes(kMiB)), int32_t(kMiB));  // fits what it has
    EXPECT_EQ(fs::file_size(a), 0u);
    EXPECT_EQ(write(hB, Bytes(1)), 1);
    EXPECT_EQ(fs::file_size(b), 2 * kMiB);
    EXPECT_EQ(rv::memoryFileTotal(), kMiB + 1u);
    EXPECT_EQ(seek(hA, 2047), 2047);  // the end of the first block: what is left has no slack
    EXPECT_EQ(R_RedirectedTempFileWrite(hA, nullptr, 0), 0);
    EXPECT_EQ(rv::memoryFileTotal(), 2047u);
    EXPECT_EQ(write(hA, Bytes(1)), 1);  // at its very end, too
    EXPECT_EQ(R_RedirectedTempFileWrite(hA, nullptr, 0), 0);
    EXPECT_EQ(rv::memoryFileTotal(), 2048u);
    for (const RVFILE h : {hA, hB, hC}) EXPECT_EQ(R_RedirectedTempFileClose(h), 0);
    for (const Name& name : {a, b, c}) EXPECT_EQ(R_DeleteTempFile(name.c_str()), 1);
}

TEST_F(TempFile, MemoryOnlyFilesNeedToBeCreatedAndHaveNoLimit) {
    setOptions(3, 1, 1, 1);
    const Name name = made();
    EXPECT_FALSE(rv::isOpenFile(open(name, kOpenReadWrite)));
    EXPECT_FALSE(rv::isOpenFile(open(u"")));
    RVFILE h = open(name);
    const Bytes all = test::randomBytes(3 * kMiB + 5, 3);
    EXPECT_EQ(write(h, all), int32_t(all.size()));
    for (const int64_t nOffset : {int64_t(1) << 32, INT64_MAX, INT64_MIN}) EXPECT_EQ(seek(h, nOffset, 1), -1);
    EXPECT_EQ(seek(h, UINT32_MAX), UINT32_MAX);
    EXPECT_EQ(write(h, Bytes(1)), -1);
    uint8_t b;
    EXPECT_EQ(R_RedirectedTempFileRead(h, &b, 1), -1);
    seek(h, 0, 2);
    EXPECT_EQ(R_RedirectedTempFileRead(h, &b, 1), 0);
    EXPECT_EQ(contents(h), all);
    EXPECT_EQ(R_RedirectedTempFileClose(h), 0);
    EXPECT_TRUE(fs::is_empty(directory));

    ASSERT_TRUE(rv::isOpenFile(h = open(name, kOpenRead | kOpenTruncate)));  // that it is emptied is the open's doing
    EXPECT_EQ(rv::memoryFileTotal(), 0u);
    EXPECT_EQ(write(h, Bytes(1)), -1);
    EXPECT_EQ(R_RedirectedTempFileClose(h), 0);
    EXPECT_EQ(R_DeleteTempFile(name.c_str()), 1);
    EXPECT_FALSE(rv::isOpenFile(open(name, kOpenReadWrite)));

    h = open(name, kOpenReadWrite | kOpenCreate | kOpenTemporary);
    EXPECT_TRUE(R_FileExists(name.c_str()));
    EXPECT_EQ(write(h, Bytes(3000, 0xFF)), 3000);
    seek(h, 8);
    EXPECT_EQ(R_RedirectedTempFileWrite(h, nullptr, 0), 0);
    seek(h, 3000);
    EXPECT_EQ(write(h, {1}), 1);
    EXPECT_EQ(contents(h)[1000], 0);  // what was cut off does not come back
    EXPECT_EQ(R_RedirectedTempFileClose(h), 0);
    EXPECT_FALSE(R_FileExists(name.c_str()));
}

TEST_F(TempFile, TwoOpensOfANameAreOneFile) {
    setOptions(3);
    Name name = made();
    const RVFILE h1 = open(name);
    EXPECT_EQ(write(h1, {1, 2, 3}), 3);
    std::replace(name.begin(), name.end(), u'/', u'\\');  // the same name
    const RVFILE h2 = open(name, kOpenReadWrite);
    EXPECT_EQ(positionOf(h1), 0);
    EXPECT_EQ(contents(h2), (Bytes{1, 2, 3}));
    const RVFILE h3 = open(name, kOpenReadWrite | kAppend);
    EXPECT_EQ(write(h3, {4}), 1);
    EXPECT_EQ(contents(h1), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(R_RedirectedTempFileClose(h3), 0);

    EXPECT_EQ(R_DeleteTempFile(name.c_str()), 1);
    EXPECT_FALSE(R_FileExists(name.c_str()));
    EXPECT_EQ(R_RedirectedTempFileClose(h1), 0);
    EXPECT_EQ(contents(h2), (Bytes{1, 2, 3, 4}));
    EXPECT_GT(rv::memoryFileTotal(), 0u);
    EXPECT_EQ(R_RedirectedTempFileClose(h2), 0);
    EXPECT_EQ(rv::memoryFileTotal(), 0u);
}

TEST_F(TempFile, TheLayerKnowsItsHandles) {
    const REDIRECTIO layer = rv::temporaryLayerTable();
    uint64_t notOurs[64]{};
    for (const RVFILE h : {RVFILE(nullptr), RV_INVALID_FILE, RVFILE(notOurs)}) {
        EXPECT_EQ(layer.pfnWrite(h, notOurs, 1, nullptr), -1);
        EXPECT_EQ(layer.pfnClose(h, nullptr), h ? -261 : -814);
    }
    // A pseudo name has a table of its own.
    REDIRECTIO table{};
    table.uStructSize = sizeof table;
    table.pfnOpen = [](const char16_t*, int32_t, int32_t, void* p) { return p; };
    table.pOpenUserData = notOurs;
    table.pfnClose = [](RVFILE, void*) { return 0; };
    char16_t szPseudo[RV_REDIRECT_NAME_SIZE] = u"";
    ASSERT_EQ(R_SetGlobalRedirectFunctions(szPseudo, RV_REDIRECT_NAME_SIZE, &table), 1);
    const RVFILE hPseudo = open(szPseudo);
    EXPECT_EQ(R_ExtractRedirectedFileHandle(hPseudo), RVFILE(notOurs));
    EXPECT_EQ(R_RedirectedTempFileClose(hPseudo), 0);
    EXPECT_EQ(R_SetGlobalRedirectFunctions(szPseudo, RV_REDIRECT_NAME_SIZE, nullptr), 1);

    // What was not given back is at the end of the process; an open file goes when it is closed.
    setOptions(3);
    const Name kept = made(), opened = made();
    const RVFILE h = open(opened);
    R_RedirectedTempFileClose(open(kept));
    EXPECT_EQ(write(h, {1}), 1);
    rv::runCleanupPass();
    EXPECT_FALSE(rv::isTemporaryName(kept.c_str()));
    EXPECT_FALSE(rv::isOpenFile(open(kept, kOpenRead)));
    EXPECT_EQ(contents(h), Bytes{1});
    EXPECT_EQ(R_RedirectedTempFileClose(h), 0);
}

// A disk on which one thing fails.
struct Faulty {
    enum Fault { none, opens, writes, seeks, closes } fault = none;
    int nOpen = 0, nDeleted = 0;
    int32_t nFlags = 0;

    static Faulty& of(void* p) { return *static_cast<Faulty*>(p); }
    REDIRECTIO table() {
        REDIRECTIO t{};
        t.uStructSize = sizeof t;
        t.pOpenUserData = t.pWriteUserData = t.pSeekUserData = t.pCloseUserData = t.pDeleteUserData = this;
        t.pfnOpen = [](const char16_t* psz, int32_t n, int32_t nMode, void* p) {
            of(p).nFlags = n;
            if (of(p).fault == opens) return RV_INVALID_FILE;
            ++of(p).nOpen;
            return R_OsOpen(psz, n, nMode);
        };
        t.pfnWrite = [](RVFILE h, const void* pBuffer, uint32_t n, void* p) {
            return of(p).fault == writes ? R_OsWrite(h, pBuffer, n / 2) : R_OsWrite(h, pBuffer, n);
        };
        t.pfnSeek = [](RVFILE h, int64_t n, int32_t nOrigin, void* p) {
            return R_OsSeek(h, n, nOrigin) + (of(p).fault == seeks);
        };
        t.pfnClose = [](RVFILE h, void* p) {
            if (of(p).fault == closes) return -5;
            --of(p).nOpen;
            return R_OsClose(h);
        };
        t.pfnDelete = [](const char16_t* psz, void* p) {
            ++of(p).nDeleted;
            return R_OsDelete(psz) + 1;
        };
        return t;
    }
};

TEST_F(TempFile, AFileThatCannotMoveToDiskStaysAsItWas) {
    setOptions(2, 64, 1, 0);
    Faulty disk;
    REDIRECTIO table = disk.table();
    ASSERT_EQ(R_SetRedirectFunctions(&table, 1, 0), 1);
    const Name name = (directory / "some.tmp").u16string();
    const RVFILE h = open(name, kOpenReadWrite | kOpenCreate | kOpenTemporary | kOpenTruncate | 0x4000);
    Bytes all = test::randomBytes(kMiB, 5);
    EXPECT_EQ(write(h, all), int32_t(kMiB));
    EXPECT_EQ(seek(h, kMiB - 2), kMiB - 2);
    const uint64_t nTotal = rv::memoryFileTotal();
    for (const auto fault : {Faulty::opens, Faulty::writes, Faulty::seeks}) {
        disk.fault = fault;
        EXPECT_EQ(write(h, {1, 2, 3}), -1) << fault;
        EXPECT_EQ(contents(h), all);
        EXPECT_EQ(positionOf(h), kMiB - 2);
        EXPECT_EQ(rv::memoryFileTotal(), nTotal);
        EXPECT_EQ(disk.nOpen, 0);
        EXPECT_EQ(disk.nDeleted, fault - Faulty::opens);
        EXPECT_TRUE(fs::is_empty(directory));
    }
    disk.fault = Faulty::none;
    EXPECT_EQ(write(h, {1, 2, 3}), 3);
    EXPECT_EQ(disk.nFlags, kOpenReadWrite | kOpenCreate | kOpenTemporary | 0x4000);
    EXPECT_EQ(rv::memoryFileTotal(), 0u);
    all.resize(kMiB - 2);
    all.insert(all.end(), {1, 2, 3});
    EXPECT_EQ(contents(h), all);
    EXPECT_EQ(R_SetRedirectFunctions(&table, 1, 0), 1);  // the file keeps its own
    disk.fault = Faulty::closes;
    EXPECT_EQ(R_RedirectedTempFileClose(h), -5);
    disk.fault = Faulty::none;
    EXPECT_EQ(contents(h), all);
    EXPECT_EQ(R_RedirectedTempFileClose(h), 0);
    EXPECT_EQ(disk.nOpen, 0);
    R_DeleteTempFile(name.c_str());
}

TEST_F(TempFile, MemoryThatRunsShortLeavesNothing) {
    setOptions(3, 64, 8, 1);
    const Name name = (directory / "x").u16string();
    for (int i = 0; i < 2; ++i) {  // the lists are there from the second round on
        R_RedirectedTempFileClose(open(name));
        R_DeleteTempFile(name.c_str());
    }
    const Bytes first = test::randomBytes(3000, 1), second = test::randomBytes(4 * kMiB, 2);
    Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    for (int n = 0, nDone = 0; nDone < 2; ++n) {
        const long nBlocks = faults::liveBlocks();
        faults::FailFromNthAllocation fail(n);
        const RVFILE h = open(name);
        nDone = !rv::isOpenFile(h) ? -1 : write(h, first) < 0 ? 0 : write(h, second) < 0 ? 1 : 2;
        fail.stop();
        ASSERT_TRUE(nDone == 2 || fail.fired());
        if (nDone >= 0) {
            const Bytes expected = nDone == 0 ? Bytes() : nDone == 1 ? first : both;
            EXPECT_LE(rv::memoryFileTotal(), expected.size() + 2 * kMiB) << n;  // a block may refuse to shrink
            EXPECT_EQ(contents(h), expected) << n;
            R_RedirectedTempFileClose(h);
        }
        R_DeleteTempFile(name.c_str());
        EXPECT_EQ(faults::liveBlocks(), nBlocks) << n;
    }
}

TEST_F(ThreadTempFile, NamesAndListsAreShared) {
    setOptions(3, 64, 8, 0);
    const Name shared = (directory / "shared").u16string();
    std::vector<std::vector<Name>> names(4);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < names.size(); ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 40; ++i) {
                const Name& name = names[t].emplace_back(madeWith(i % 2 ? u"tmp" : u"dat"));
                const Bytes bytes = test::randomBytes(5000, uint32_t(t * 100 + size_t(i)));
                const RVFILE h = open(name),
                             hShared = open(shared, kOpenRead | kOpenCreate | (i % 3 ? 0 : kOpenTemporary));
                EXPECT_EQ(write(h, bytes), 5000);
                EXPECT_EQ(contents(h), bytes);
                EXPECT_EQ(R_RedirectedTempFileClose(h), 0);
                EXPECT_EQ(R_RedirectedTempFileClose(hShared), 0);
                if (i % 8 == 0) R_DeleteTempFile(shared.c_str());
            }
        });
    for (auto& thread : threads) thread.join();
    std::set<Name> all;
    for (const auto& some : names) all.insert(some.begin(), some.end());
    EXPECT_EQ(all.size(), 160u);
    for (const Name& name : all) EXPECT_EQ(R_DeleteTempFile(name.c_str()), 1);
    R_DeleteTempFile(shared.c_str());
}

}  // namespace
