#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <map>
#include <random>
#include <thread>
#include <vector>

#include "internal/library.h"
#include "internal/redirect_.h"
#include "internal/text.h"
#include "internal/threaddata.h"
#include "ravokit/ravokit.h"
#include "support/faults.h"
#include "support/folder.h"

namespace {

// Files in memory behind callbacks; a handle is a position. The user data of every slot is the disk.
struct Disk {
    std::map<std::u16string, std::string> files;
    int nOpen = 0;
    int32_t nReadable = INT32_MAX, nWritable = INT32_MAX;  // bytes after which reading fails, and writing is cut short
    int32_t nCloseStatus = 0;

    struct File {
        std::string* p;
        size_t n;
    };
    static Disk& of(void* p) { return *static_cast<Disk*>(p); }
    static RVFILE open(const char16_t* pszName, int32_t nFlags, int32_t, void* pUserData) {
        Disk& disk = of(pUserData);
        if (!pszName || (!(nFlags & 0x100) && !disk.files.count(pszName))) return RV_INVALID_FILE;
        ++disk.nOpen;
        std::string& text = disk.files[pszName];
        if (nFlags & 0x300) text.clear();
        return new File{&text, 0};
    }
    static int32_t read(RVFILE h, void* pBuffer, uint32_t uBytes, void* pUserData) {
        auto& file = *static_cast<File*>(h);
        if (file.n >= size_t(of(pUserData).nReadable)) return -1;
        const size_t n = file.p->copy(static_cast<char*>(pBuffer), uBytes, file.n);
        file.n += n;
        return int32_t(n);
    }
    static int32_t write(RVFILE h, const void* pBuffer, uint32_t uBytes, void* pUserData) {
        auto& file = *static_cast<File*>(h);
        const size_t n = std::min<size_t>(uBytes, size_t(of(pUserData).nWritable) - file.n);
        file.p->replace(file.n, n, static_cast<const char*>(pBuffer), n);
        file.n += n;
        return int32_t(n);
    }
    static int64_t seek(RVFILE h, int64_t nOffset, int32_t, void*) {
        return int64_t(static_cast<File*>(h)->n = size_t(nOffset));
    }
    static int32_t close(RVFILE h, void* pUserData) {
        if (of(pUserData).nCloseStatus < 0) return of(pUserData).nCloseStatus;
        --of(pUserData).nOpen;
        delete static_cast<File*>(h);
        return 7;
    }
    REDIRECTIO table() {
        REDIRECTIO t{};
        t.uStructSize = sizeof t;
        t.pfnOpen = open, t.pfnRead = read, t.pfnWrite = write, t.pfnSeek = seek, t.pfnClose = close;
        t.pOpenUserData = t.pReadUserData = t.pWriteUserData = t.pSeekUserData = t.pCloseUserData = this;
        return t;
    }
};

template <class Function>
const Function kEmpty = reinterpret_cast<Function>(UINTPTR_MAX);
template <class Function>
const Function kDefault = reinterpret_cast<Function>(UINTPTR_MAX - 1);

// Two functions that stand in for those of a file, to be told apart by.
template <int N>
int32_t readAs(RVFILE, void*, uint32_t, void*) {
    return N;
}

bool operator==(const REDIRECTIO& a, const REDIRECTIO& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

REDIRECTIO tableOf(int32_t nScope, bool bGlobal = false) {
    REDIRECTIO table;
    EXPECT_EQ(R_GetRedirectFunctions(&table, sizeof table, nScope, bGlobal), 1);
    return table;
}

// Puts a table in force for a scope of code.
class Redirected {
    REDIRECTIO m_table;
    int32_t m_nScope, m_bGlobal;

public:
    explicit Redirected(const REDIRECTIO& table, int32_t nScope = 0, int32_t bGlobal = 0)
        : m_table(table), m_nScope(nScope), m_bGlobal(bGlobal) {
        EXPECT_EQ(R_SetRedirectFunctions(&m_table, nScope, bGlobal), 1);
    }
    Redirected(const Redirected&) = delete;
    ~Redirected() { R_SetRedirectFunctions(&m_table, m_nScope, m_bGlobal); }
    const REDIRECTIO& old() const { return m_table; }
};

TEST(Redirect, SettingIsAnExchange) {
    const REDIRECTIO byDefault = tableOf(3);
    int nData1 = 0, nData2 = 0;
    for (const int32_t nScope : {0, 1})
        for (const bool bGlobal : {false, true}) {
            SCOPED_TRACE(testing::Message() << nScope << bGlobal);
            REDIRECTIO first{};
            first.uStructSize = sizeof first;
            first.pfnRead = readAs<1>;
            first.pReadUserData = &nData1;
            first.pfnDelete = [](const char16_t*, void*) { return 5; };
            const Redirected outer(first, nScope, bGlobal);
            EXPECT_EQ(outer.old().pfnRead, bGlobal ? &R_OsRead : kEmpty<PFNREDIRECTREAD>);
            const REDIRECTIO before = tableOf(nScope);

            REDIRECTIO table{};
            table.uStructSize = sizeof table;
            table.pfnOpen = kDefault<PFNREDIRECTOPEN>;
            table.pfnRead = readAs<2>;
            table.pReadUserData = table.pCloseUserData = &nData2;  // pfnClose is left alone, and its data too
            table.pfnSeek = kEmpty<PFNREDIRECTSEEK>;
            table.pfnDelete = kEmpty<PFNREDIRECTDELETE>;
            EXPECT_EQ(R_SetRedirectFunctions(&table, nScope, bGlobal), 1);
            EXPECT_EQ(table.pfnRead, readAs<1>);
            EXPECT_EQ(table.pReadUserData, &nData1);
            EXPECT_EQ(table.pfnSeek, bGlobal ? nullptr : kEmpty<PFNREDIRECTSEEK>);
            REDIRECTIO wanted = before;
            wanted.pfnRead = readAs<2>;
            wanted.pReadUserData = &nData2;
            if (!bGlobal) wanted.pfnDelete = byDefault.pfnDelete;  // the process's is in force again
            EXPECT_TRUE(tableOf(nScope) == wanted);
            EXPECT_TRUE(tableOf(1 - nScope) == byDefault);
            EXPECT_EQ(tableOf(nScope, true) == byDefault, !bGlobal);
            EXPECT_EQ(R_SetRedirectFunctions(&table, nScope, bGlobal), 1);
            EXPECT_TRUE(tableOf(nScope) == before);
            for (const uintptr_t u : rv::threadData().TempOptions1.slots) EXPECT_NE(u, UINTPTR_MAX);
        }
    EXPECT_EQ(tableOf(0) == byDefault && tableOf(1) == byDefault, true);

    REDIRECTIO table = byDefault, got{};
    EXPECT_EQ(R_SetRedirectFunctions(nullptr, 5, 0), -814);
    EXPECT_EQ(R_SetRedirectFunctions(&table, 2, 0), -16);
    EXPECT_EQ(R_SetRedirectFunctions(&table, 3, 0), -13);
    table.uStructSize--;
    EXPECT_EQ(R_SetRedirectFunctions(&table, 2, 0), -789);
    EXPECT_EQ(R_GetRedirectFunctions(nullptr, 0, 9, 0), -814);
    EXPECT_EQ(R_GetRedirectFunctions(&got, sizeof got - 1, 9, 0), -789);
    EXPECT_EQ(R_GetRedirectFunctions(&got, sizeof got, 4, 0), -13);
    EXPECT_EQ(got.uStructSize, 0u);
}

TEST(Redirect, ThreadSlotsLieOverThoseOfTheProcess) {
    REDIRECTIO table{};
    table.uStructSize = sizeof table;
    table.pfnRead = readAs<1>;
    table.pReadUserData = &table;
    const Redirected process(table, 0, 1);
    table.pfnRead = readAs<2>;
    table.pReadUserData = nullptr;
    const Redirected own(table);
    EXPECT_EQ(tableOf(0).pfnRead, readAs<2>);
    EXPECT_EQ(tableOf(0).pReadUserData, nullptr);  // function and user data together
    EXPECT_EQ(tableOf(0, true).pfnRead, readAs<1>);
    std::thread([&] { EXPECT_EQ(tableOf(0).pReadUserData, &table); }).join();

    uintptr_t& slot = rv::threadData().TempOptions1.slots[0];  // what is stored as emptied has no function at all
    slot = UINTPTR_MAX;
    EXPECT_EQ(tableOf(0).pfnOpen, nullptr);
    EXPECT_EQ(R_RedirectedOpen(u"/dev/null", 0, 0), RV_INVALID_FILE);
    slot = 0;
}

TEST(Redirect, FilterAndShortForms) {
    int nData = 0;
    EXPECT_EQ(R_UsesRedirectIO(nullptr, nullptr), 0);
    EXPECT_EQ(R_UsesRedirectIO(u"RAVORedirect://", nullptr), 1);
    EXPECT_EQ(R_UsesRedirectIO(u"ravoredirect://", RV_INVALID_FILE), 0);
    EXPECT_EQ(R_RedirectIO(nullptr, readAs<1>, nullptr, kEmpty<PFNREDIRECTSEEK>, nullptr, &nData), 1);
    EXPECT_EQ(R_UsesRedirectIO(nullptr, nullptr), 1);
    RVFILE hFile = R_RedirectedOpen(u"/dev/null", 0, 0);  // by the default
    void *pOpenData = nullptr, *pSeekData = nullptr;
    EXPECT_EQ(R_GetFilterIOData(&pOpenData, nullptr, nullptr, &pSeekData, nullptr), 1);
    EXPECT_EQ(pOpenData, &nData);
    EXPECT_EQ(pSeekData, nullptr);  // the process's

    PFNREDIRECTOPEN pfnOpen = kEmpty<PFNREDIRECTOPEN>;
    PFNREDIRECTREAD pfnRead = nullptr;
    PFNREDIRECTSEEK pfnSeek = kDefault<PFNREDIRECTSEEK>;
    void* pReadData = &pfnOpen;
    EXPECT_EQ(
        R_FilterIO(&pfnOpen, &pfnRead, nullptr, &pfnSeek, nullptr, nullptr, &pReadData, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(pfnOpen, &R_OsOpen);
    EXPECT_EQ(pfnRead, readAs<1>);  // told, and left alone
    EXPECT_EQ(pfnSeek, kEmpty<PFNREDIRECTSEEK>);
    EXPECT_EQ(pReadData, &nData);
    EXPECT_EQ(tableOf(0).pfnRead, readAs<1>);
    EXPECT_EQ(tableOf(0).pReadUserData, &pfnOpen);
    EXPECT_EQ(rv::threadData().TempOptions1.slots[0], 0u);

    const auto open = [](const char* pszName, int32_t nFlags, int32_t, void* pUserData) {
        *static_cast<int*>(pUserData) = pszName ? int(std::strlen(pszName)) : nFlags;
        return RV_INVALID_FILE;
    };
    EXPECT_EQ(R_RedirectIOA(open, nullptr, nullptr, nullptr, nullptr, &nData), 1);
    EXPECT_EQ(R_RedirectedOpenA("\xC3\xBC", 5, 0), RV_INVALID_FILE);
    EXPECT_EQ(nData, 2);
    EXPECT_EQ(R_RedirectedOpenUTF8(nullptr, 5, 0), RV_INVALID_FILE);  // null is passed on
    EXPECT_EQ(nData, 5);
    EXPECT_EQ(R_RedirectIOA(kEmpty<PFNREDIRECTOPENA>, kEmpty<PFNREDIRECTREAD>, kEmpty<PFNREDIRECTWRITE>,
                            kEmpty<PFNREDIRECTSEEK>, kEmpty<PFNREDIRECTCLOSE>, nullptr),
              1);
    EXPECT_EQ(R_UsesRedirectIO(nullptr, nullptr), 0);
    EXPECT_EQ(R_UsesRedirectIO(nullptr, hFile), 1);  // opened meanwhile
    EXPECT_EQ(R_RedirectedClose(hFile), 0);
}

TEST(Redirect, FileKeepsItsTable) {
    Disk disk, other;
    disk.files[u"f"] = "0123456789";
    RVFILE h;
    {
        const Redirected redirected(disk.table(), 0, 1);
        ASSERT_NE(h = R_RedirectedOpenA("f", 2, 0), RV_INVALID_FILE);
    }
    const Redirected redirected(other.table(), 0, 1);
    char text[20];
    EXPECT_EQ(R_RedirectedSeek(h, 3, 0), 3);
    EXPECT_EQ(R_RedirectedRead(h, text, 4), 4);
    EXPECT_EQ(R_RedirectedWrite(h, "x", 1), 1);
    EXPECT_EQ(R_RedirectedReadBig(h, text, 20), 2);  // a piece of 0 ends it
    disk.nWritable = 12;
    EXPECT_EQ(R_RedirectedWriteBig(h, "yyyyy", 5), 2);
    disk.nReadable = 12;
    EXPECT_EQ(R_RedirectedReadBig(h, text, 1), -1);
    EXPECT_EQ(R_RedirectedReadBig(h, text, 0), 0);
    EXPECT_EQ(disk.files[u"f"], "0123456x89yy");

    REDIRECTIO table{}, got, kept;
    EXPECT_EQ(R_ExtractRedirectFunctions(h, &kept, sizeof kept), 1);
    EXPECT_EQ(R_UpdateRedirectFunctions(h, nullptr), -814);
    EXPECT_EQ(R_UpdateRedirectFunctions(nullptr, &table), -789);
    table.uStructSize = sizeof table;
    EXPECT_EQ(R_UpdateRedirectFunctions(nullptr, &table), -1852);
    table.pfnRead = readAs<6>;
    table.pfnSeek = kEmpty<PFNREDIRECTSEEK>;
    EXPECT_EQ(R_UpdateRedirectFunctions(h, &table), 1);
    EXPECT_EQ(R_RedirectedRead(h, text, 1), 6);
    EXPECT_EQ(R_RedirectedReadBig(h, text, 5), -1);  // more than was asked for
    EXPECT_EQ(R_RedirectedSeek(h, 0, 0), -1);
    EXPECT_EQ(R_UpdateRedirectFunctions(h, &table), 1);
    EXPECT_EQ(R_ExtractRedirectFunctions(h, &got, sizeof got), 1);
    EXPECT_TRUE(got == kept);

    RVFILE hWrapped = nullptr, hInner = R_ExtractRedirectedFileHandle(h);
    EXPECT_EQ(R_CreateRedirectedFileHandle(RV_INVALID_FILE, nullptr), -13);
    EXPECT_EQ(R_CreateRedirectedFileHandle(hInner, nullptr), -814);
    EXPECT_EQ(R_CreateRedirectedFileHandle(hInner, &hWrapped), 1);
    EXPECT_EQ(R_RedirectedSeek(hWrapped, 1, 0), 1);
    EXPECT_EQ(R_RedirectedClose(hWrapped), 0);
    EXPECT_EQ(disk.nOpen, 1);
    disk.nCloseStatus = -9;
    EXPECT_EQ(R_RedirectedClose(h), -9);
    disk.nCloseStatus = 0;
    EXPECT_EQ(R_RedirectedRead(h, text, 1), 1);  // still open
    EXPECT_EQ(R_RedirectedClose(h), 7);
    EXPECT_EQ(disk.nOpen, 0);

    char noWrapper[sizeof(rv::RFILEHANDLE)] = "RFIX";
    for (RVFILE hOther : {RVFILE(nullptr), RV_INVALID_FILE, RVFILE(noWrapper)}) {
        EXPECT_EQ(R_RedirectedRead(hOther, text, 1), -1);
        EXPECT_EQ(R_RedirectedWrite(hOther, text, 0), -1);
        EXPECT_EQ(R_RedirectedSeek(hOther, 0, 0), -1);
        EXPECT_EQ(R_RedirectedWriteBig(hOther, text, 0), -1);
        EXPECT_EQ(R_RedirectedClose(hOther), hOther ? -261 : -814);
        EXPECT_EQ(R_ExtractRedirectedFileHandle(hOther), RV_INVALID_FILE);
        EXPECT_EQ(R_ExtractRedirectFunctions(hOther, nullptr, 0), -1852);
    }
}

TEST(Redirect, PseudoNames) {
    Disk disk;
    REDIRECTIO table = disk.table(), got;
    table.pfnSeek = kEmpty<PFNREDIRECTSEEK>;
    table.pfnDelete = kDefault<PFNREDIRECTDELETE>;
    const auto set = [](const char16_t* pszName, const REDIRECTIO* p, uint32_t uSize = 50) {
        std::u16string name = pszName;
        return R_SetGlobalRedirectFunctions(name.data(), uSize, p);
    };
    const auto get = [&](const char16_t* pszName) { return R_GetRedirectFunctions2(pszName, &got, sizeof got, 3, 0); };
    char16_t szName[50] = u"";
    rv::runCleanupPass();  // no registry
    EXPECT_EQ(set(u"RAVORedirect://00000001-00000002", nullptr), -10);
    EXPECT_EQ(get(u"RAVORedirect://00000001-00000002"), -10);
    for (const char16_t* psz :
         {u"RAVORedirect://", u"RAVORedirect://00000001000000020", u"RAVORedirect://0000001-00000002",
          u"RAVORedirect://0000000000000001-0000000000000002", u"ravoredirect://00000001-00000002"})
        EXPECT_EQ(set(psz, &table), -8) << std::string(psz, psz + rv::wideLength(psz));
    EXPECT_EQ(set(u"", nullptr), -8);
    EXPECT_EQ(set(u"", &table, 49), -290);
    EXPECT_EQ(R_SetGlobalRedirectFunctions(nullptr, 50, &table), -814);
    table.uStructSize = 0;
    EXPECT_EQ(set(u"x", &table), -789);
    table.uStructSize = sizeof table;

    EXPECT_EQ(set(u"RAVORedirect://0000aBc1-FFFFFFFF", &table), 1);
    EXPECT_EQ(set(u"RAVORedirect://0000ABC1-ffffffff", &table), -1850);
    EXPECT_EQ(set(u"RAVORedirect://ABC1 xyz-FFFFFFFF", &table), -1850);  // read as far as the digits go
    EXPECT_EQ(get(u"RAVORedirect://0000ABC1-FFFFFFFF"), 1);
    EXPECT_EQ(got.pfnSeek == nullptr && got.pfnDelete == tableOf(3).pfnDelete && got.pOpenUserData == &disk, true);
    EXPECT_EQ(get(u"plain"), 1);
    EXPECT_TRUE(got == tableOf(3));
    EXPECT_EQ(get(nullptr), 1);
    RVFILE h = R_RedirectedOpen(u"RAVORedirect://0000ABC1-FFFFFFFF", 0x100, 0);
    EXPECT_EQ(disk.files.begin()->first, u"RAVORedirect://0000ABC1-FFFFFFFF");  // the whole name
    EXPECT_EQ(set(u"RAVORedirect://0000ABC1-FFFFFFFF", nullptr), 1);
    EXPECT_EQ(R_RedirectedOpen(u"RAVORedirect://0000ABC1-FFFFFFFF", 0x100, 0), RV_INVALID_FILE);
    EXPECT_EQ(R_RedirectedSeek(h, 0, 0), -1);  // an empty slot
    EXPECT_EQ(R_RedirectedClose(h), 7);

    // Names that are made: past the first growth, passing by those that others took, and each with its own table.
    char szNarrow[50] = "";
    EXPECT_EQ(R_GetUniqueRedirectFileName(szName, 49), -290);
    EXPECT_EQ(R_GetUniqueRedirectFileName(nullptr, 49), -814);
    EXPECT_EQ(R_GetUniqueRedirectFileNameA(szNarrow, 50), 1);
    unsigned uHigh, uLow;
    ASSERT_EQ(sscanf(szNarrow, "RAVORedirect://%08X-%08X", &uHigh, &uLow), 2);
    snprintf(szNarrow, sizeof szNarrow, "RAVORedirect://%08X-%08X", uHigh, uLow + 2);
    EXPECT_EQ(R_SetGlobalRedirectFunctionsA(szNarrow, 0, &table), 1);
    std::vector<std::u16string> names;
    int nData[8];
    for (int& n : nData) {
        table.pOpenUserData = &n;
        szName[0] = 0;
        ASSERT_EQ(R_SetGlobalRedirectFunctions(szName, 50, &table), 1);
        names.push_back(szName);
    }
    EXPECT_EQ(R_SetGlobalRedirectFunctionsA(szNarrow, 0, nullptr), 1);
    for (size_t i = 0; i < 8; i += 3) EXPECT_EQ(set(names[i].c_str(), nullptr), 1);
    for (size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(get(names[i].c_str()), i % 3 ? 1 : -10);
        EXPECT_TRUE(i % 3 == 0 || got.pOpenUserData == &nData[i]);
    }
    szNarrow[0] = 0;
    EXPECT_EQ(R_SetGlobalRedirectFunctionsA(szNarrow, 32, &table), -1851);
    EXPECT_EQ(szNarrow[0], 0);
    EXPECT_EQ(R_SetGlobalRedirectFunctionsA(szNarrow, 33, &table), 1);
    EXPECT_EQ(std::strlen(szNarrow), 32u);
    rv::runCleanupPass();
    EXPECT_EQ(get(names[1].c_str()), -10);
}

// All flags, with and without a buffer, against a vector that is as long as the buffer.
TEST(Redirect, Buffers) {
    std::mt19937 random(5);
    for (uint32_t uFlags = 0; uFlags < 16; ++uFlags)
        for (const uint32_t uSize : {0u, 100u, 32768u}) {
            SCOPED_TRACE(testing::Message() << uFlags << " " << uSize);
            const bool bGrows = uFlags & 1, bWrites = uFlags & 8;
            auto* p = uSize ? static_cast<uint8_t*>(R_GlobalAlloc(uSize, 1, 0, nullptr)) : nullptr;
            std::vector<uint8_t> model(uSize), bytes(70000);
            for (uint32_t i = 0; i < uSize; ++i) p[i] = model[i] = uint8_t(i * 7);
            size_t nLength = uFlags & 4 ? uSize : 0, nPosition = 0;
            bool bBuffer = p;
            RVBUFFERIO hBuffer;
            ASSERT_EQ(R_StartRedirectToBuffer(&hBuffer, nullptr, uFlags, p, uSize), 1);
            RVFILE h = R_RedirectedOpenA("any name", 0, 0);
            for (int nStep = 1; nStep <= 150; ++nStep) {
                if (nStep % 50 == 0) {
                    EXPECT_EQ(R_RedirectedClose(h), 0);
                    if ((uFlags & 7) == 3) model.resize(nLength);
                    h = R_RedirectedOpenA("other", nStep == 100 ? 0x200 : 0, 0);
                    nPosition = 0;
                    if (nStep == 100) nLength = 0;
                }
                const size_t n = random() % 3 ? random() % 300 : random() % bytes.size();
                switch (random() % 4) {
                    case 0:
                        nPosition = n % (nLength + 200);
                        ASSERT_EQ(R_RedirectedSeek(h, int64_t(nPosition) - int64_t(nLength), 2), int64_t(nPosition));
                        break;
                    case 1: {
                        const bool bFails = nPosition > nLength || !bBuffer;
                        const size_t nThere = bFails ? 0 : std::min(n, nLength - nPosition);
                        ASSERT_EQ(R_RedirectedRead(h, bytes.data(), uint32_t(n)), bFails ? -1 : int32_t(nThere));
                        ASSERT_TRUE(!nThere || std::memcmp(bytes.data(), &model[nPosition], nThere) == 0);
                        nPosition += nThere;
                        break;
                    }
                    default: {
                        const size_t nAsked = random() % 8 ? n : 0;
                        for (uint8_t& b : bytes) b = uint8_t(b * 5 + n);
                        if (bWrites && bGrows && nAsked && nPosition + nAsked > model.size()) {
                            model.resize((nPosition + nAsked + 32767) / 32768 * 32768);
                            bBuffer = true;
                        }
                        const bool bFails = !bWrites || nPosition > model.size();
                        const size_t nDone = bFails ? 0 : std::min(nAsked, model.size() - nPosition);
                        ASSERT_EQ(R_RedirectedWrite(h, bytes.data(), uint32_t(nAsked)), bFails ? -1 : int32_t(nDone));
                        std::copy_n(bytes.begin(), nDone, model.begin() + ptrdiff_t(bFails ? 0 : nPosition));
                        nPosition += nDone;
                        if (!bFails) nLength = nAsked ? std::max(nLength, nPosition) : nPosition;
                    }
                }
            }
            EXPECT_EQ(R_RedirectedClose(h), 0);
            void* pLast;
            uint32_t uLength;
            EXPECT_EQ(R_StopRedirectToBuffer(hBuffer, &pLast, &uLength), 1);
            EXPECT_EQ(uLength, nLength);
            EXPECT_TRUE(bGrows || pLast == p);
            EXPECT_TRUE((uFlags & 7) != 3 || !pLast || WinGlobalSize(WinGlobalHandle(pLast)) == nLength);
            if (pLast) R_GlobalFree(pLast);
            EXPECT_EQ(R_UsesRedirectIO(nullptr, nullptr), 0);
        }
}

TEST(Redirect, BufferEdges) {
    RVBUFFERIO hOuter, hInner;
    RVFILE hFile;
    char text[] = "0123456789", got[16];
    EXPECT_EQ(R_StartRedirectToBuffer(nullptr, &hFile, 0, text, 10), -13);
    ASSERT_EQ(R_StartRedirectToBuffer(&hOuter, &hFile, 0xF, text, 10), 1);
    ASSERT_EQ(R_StartRedirectToBuffer(&hInner, nullptr, 0x9, nullptr, 500), 1);
    RVFILE h = R_RedirectedOpenA("x", 0, 0);
    EXPECT_EQ(R_RedirectedWrite(h, "abc", 3), 3);
    for (const int64_t nFar : {int64_t(-1), int64_t(UINT32_MAX) - 1, int64_t(1) << 40, INT64_MAX}) {
        EXPECT_EQ(R_RedirectedSeek(h, nFar, 0), nFar);
        EXPECT_EQ(R_RedirectedRead(h, got, 9), -1);
        EXPECT_EQ(R_RedirectedWrite(h, text, 9), -1);
        EXPECT_EQ(R_RedirectedWrite(h, text, 0), -1);  // no length past the buffer
    }
    EXPECT_EQ(R_RedirectedSeek(h, 0, 3), -1);
    EXPECT_EQ(R_RedirectedClose(h), 0);
    EXPECT_EQ(R_StopRedirectToBuffer(hInner, nullptr, nullptr), 1);  // nobody knows its buffer

    // What is no block of the library's doesn't grow, and isn't cut.
    EXPECT_EQ(R_RedirectedRead(hFile, got, 16), 10);
    EXPECT_EQ(R_RedirectedSeek(hFile, -2, 1), 8);
    EXPECT_EQ(R_RedirectedWrite(hFile, "abcdef", 6), 2);
    EXPECT_EQ(R_RedirectedClose(hFile), 0);
    void* pLast;
    EXPECT_EQ(R_StopRedirectToBuffer(hOuter, &pLast, nullptr), 1);
    EXPECT_EQ(pLast, text);
    EXPECT_STREQ(text, "01234567ab");
}

TEST(Redirect, Copies) {
    const support::Folder folder("/tmp");
    ASSERT_TRUE(folder);
    std::string text(100000, 'x');
    for (size_t i = 0; i < text.size(); ++i) text[i] = char(i * i >> 3);
    folder.write("f", text);
    const std::u16string name = folder("f"), copy = folder("copy");
    const auto copied = [&](int32_t bFail = 0) { return R_CopyFile(name.c_str(), copy.c_str(), bFail); };
    folder.write("copy", std::string(200000, 'y'));
    EXPECT_EQ(copied(1), 0);
    EXPECT_EQ(rv::sysLastError(), 80u);
    EXPECT_EQ(copied(), 1);
    EXPECT_EQ(folder.contents("copy"), text);
    std::filesystem::create_hard_link(folder.narrow("f"), folder.narrow("link"));
    EXPECT_EQ(R_CopyFile(name.c_str(), folder("link").c_str(), 0), 0);  // onto itself
    EXPECT_EQ(R_CopyFile2(name.c_str(), name.c_str(), 0), 0);
    EXPECT_EQ(folder.contents("f"), text);
    EXPECT_EQ(R_CopyFile(folder("none").c_str(), copy.c_str(), 0), 0);
    for (const uint32_t uFlags : {0u, 0x0Eu, 0x70u, 0x81u})
        EXPECT_EQ(rv::R_IntCopyFile(name.c_str(), copy.c_str(), uFlags), -13);

    Disk disk;
    REDIRECTIO table = disk.table();
    table.pfnCopy = [](const char16_t*, const char16_t*, uint32_t uFlags, void* p) {
        return *static_cast<int*>(p) = int(uFlags);
    };
    int nCopied = 0;
    table.pCopyUserData = &nCopied;
    const Redirected redirected(table);
    EXPECT_EQ(copied(1), 1);  // the redirected name isn't that on disk
    EXPECT_EQ(disk.files[copy], text);
    EXPECT_EQ(copied(1), 0);
    EXPECT_EQ(R_CopyFile2(copy.c_str(), folder("back").c_str(), 1), 1);
    EXPECT_EQ(folder.contents("back"), text);
    for (const int32_t nLimit : {0, 32768, 50000}) {
        disk.nReadable = disk.nWritable = nLimit;
        EXPECT_EQ(copied(), 0);
        EXPECT_EQ(rv::sysLastError(), 29u);
        EXPECT_EQ(disk.files[copy], text.substr(0, size_t(nLimit)));
        EXPECT_EQ(R_CopyFile2(copy.c_str(), folder("back").c_str(), 0), 0);
        EXPECT_EQ(rv::sysLastError(), 30u);
    }
    disk.nReadable = disk.nWritable = INT32_MAX;
    EXPECT_EQ(disk.nOpen, 0);
    EXPECT_EQ(nCopied, 0);
    EXPECT_EQ(rv::R_IntCopyFile(name.c_str(), copy.c_str(), 0x24), 0x24);  // both redirected: the table's own
    const Redirected temporary(table, 1);
    EXPECT_EQ(rv::R_IntCopyFile(name.c_str(), copy.c_str(), 0x48), 0x48);

    const auto pfnDelete = tableOf(3).pfnDelete;
    EXPECT_EQ(pfnDelete(name.c_str(), nullptr), 1);
    EXPECT_EQ(pfnDelete(name.c_str(), nullptr), -10);
    EXPECT_EQ(pfnDelete(folder(".").c_str(), nullptr), -1847);
    EXPECT_EQ(pfnDelete(nullptr, nullptr), -1847);
}

// Each allocation fails in turn: nothing stays open, nothing is lost, and nothing is changed.
TEST(Redirect, NoMemory) {
    int nOpen = 0;
    REDIRECTIO table = tableOf(3);
    table.pfnOpen = [](const char16_t*, int32_t, int32_t, void* p) { return ++*static_cast<int*>(p), p; };
    table.pfnClose = [](RVFILE, void* p) { return --*static_cast<int*>(p); };
    table.pOpenUserData = table.pCloseUserData = &nOpen;
    const Redirected redirected(table);
    const REDIRECTIO before = tableOf(0);
    const long nBlocks = faults::liveBlocks();
    for (int n = 0, bDone = 0; !bDone; ++n) {
        faults::FailFromNthAllocation fail(n);
        RVFILE h = R_RedirectedOpenA("f", 0x100, 0);
        fail.stop();
        bDone = !fail.fired();
        ASSERT_EQ(h != RV_INVALID_FILE && nOpen == 1, bDone) << n;
        ASSERT_TRUE(bDone || nOpen == 0) << n;
        if (bDone) R_RedirectedClose(h);
        ASSERT_EQ(faults::liveBlocks(), nBlocks) << n;
    }
    for (int n = 0, bDone = 0; !bDone; ++n) {
        RVBUFFERIO hBuffer = nullptr;
        RVFILE h = nullptr;
        faults::FailFromNthAllocation fail(n);
        const int32_t nStatus = R_StartRedirectToBuffer(&hBuffer, &h, 1, nullptr, 0);
        fail.stop();
        bDone = !fail.fired();
        ASSERT_EQ(nStatus, bDone ? 1 : -1) << n;
        ASSERT_EQ(!hBuffer && !h && tableOf(0) == before, !bDone) << n;
        if (bDone) R_RedirectedClose(h), R_StopRedirectToBuffer(hBuffer, nullptr, nullptr);
        ASSERT_EQ(faults::liveBlocks(), nBlocks) << n;
    }
}

TEST(ThreadRedirect, NamesAndProcessTablesAreShared) {
    std::atomic<int> nTorn{0}, nReady{0};
    const auto work = [&] {
        for (++nReady; nReady < 4;) std::this_thread::yield();
        static int nData[2];
        REDIRECTIO table{};
        table.uStructSize = sizeof table;
        for (int i = 0; i < 1000; ++i) {
            table.pfnRead = i % 2 ? readAs<1> : readAs<2>;
            table.pReadUserData = &nData[i % 2];
            char16_t szName[50] = u"";
            REDIRECTIO got, process = table;
            nTorn += R_SetGlobalRedirectFunctions(szName, 50, &table) != 1;
            R_SetRedirectFunctions(&process, 1, 1);
            got = tableOf(1);  // function and user data are one thread's
            nTorn += got.pReadUserData != &nData[got.pfnRead == readAs<1>];
            nTorn += R_GetRedirectFunctions2(szName, &got, sizeof got, 0, 0) != 1 || !(got == table);
            nTorn += R_SetGlobalRedirectFunctions(szName, 50, nullptr) != 1;
        }
    };
    const Redirected restored(tableOf(3), 1, 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(nTorn, 0);
}

}  // namespace
