#include <fcntl.h>
#include <gtest/gtest.h>
#include <locale.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "internal/handles.h"
#include "internal/rvsystem_.h"
#include "ravokit/ravokit.h"
#include "support/faults.h"
#include "support/folder.h"

namespace {

using rv::SysObject;
using rv::SysWait;
namespace fs = std::filesystem;
using support::Folder;

RVHANDLE const kAllOnes = reinterpret_cast<RVHANDLE>(UINTPTR_MAX);

SysObject& objectOf(RVHANDLE h) { return *static_cast<SysObject*>(R_ExtractHandle(h)); }
int descriptorOf(RVHANDLE h) { return int(reinterpret_cast<uintptr_t>(R_ExtractHandle(h))); }

constexpr uint32_t kRead = 0x80000000, kWrite = 0x40000000;

RVHANDLE openFile(const std::u16string& name, uint32_t uAccess, uint32_t uDisposition, uint32_t uFlags = 0) {
    return R_WinCreateFileW(name.c_str(), uAccess, 3, nullptr, uDisposition, uFlags, nullptr);
}

RVHANDLE closedByCallback = nullptr;
int32_t closeOther(RVHANDLE h) {
    closedByCallback = h;
    return 42;
}

TEST(Objects, ClosingAndExtracting) {
    EXPECT_EQ(DeleteObject(kAllOnes), 0);
    EXPECT_EQ(CloseHandle(nullptr), 1);
    EXPECT_EQ(R_ExtractHandle(kAllOnes), kAllOnes);
    EXPECT_EQ(R_ExtractHandle(nullptr), nullptr);

    const RGBQUAD black{};
    auto* hPalette = reinterpret_cast<RVHANDLE>(R_CreatePalette(&black, 1));
    EXPECT_EQ(R_ExtractHandle(hPalette), nullptr);
    EXPECT_EQ(R_WinDeleteObject(hPalette), 1);
    EXPECT_EQ(CloseHandle(R_OsAllocHandle(0, 100, 0, nullptr)), 1);

    // The record of another kind stays with the callback, and goes where there is none.
    MEMHANDLE* h = rv::newHandle(7);
    R_SetCloseHandleEx(closeOther);
    EXPECT_EQ(CloseHandle(h), 42);
    EXPECT_EQ(closedByCallback, h);
    R_SetCloseHandleEx(nullptr);
    EXPECT_EQ(CloseHandle(h), 1);

    // A handle of the system's gives the system's result.
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    h = R_CreateHandle(reinterpret_cast<void*>(intptr_t(fd)));
    EXPECT_EQ(descriptorOf(h), fd);
    EXPECT_EQ(CloseHandle(h), 1);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_EQ(CloseHandle(R_CreateHandle(reinterpret_cast<void*>(intptr_t(fd)))), 0);
}

TEST(Objects, Rectangles) {
    // Against the set of points, for all pairs of small rectangles, among them empty and inverted ones.
    std::vector<RECT> all;
    for (int n = 0; n < 256; ++n) all.push_back({n & 3, n >> 2 & 3, n >> 4 & 3, n >> 6});
    const auto points = [](const RECT& r) {
        uint32_t uSet = 0;
        for (int32_t i = 0; i < 16; ++i) uSet |= uint32_t(PtInRect(&r, {i & 3, i >> 2})) << i;
        return uSet;
    };
    const auto equal = [](const RECT& a, const RECT& b) { return std::memcmp(&a, &b, sizeof a) == 0; };
    for (const RECT& a : all) {
        ASSERT_EQ(IsRectEmpty(&a), points(a) == 0);
        for (const RECT& b : all) {
            RECT both{9, 9, 9, 9}, around = a;  // the result may be an operand
            const int32_t nBoth = IntersectRect(&both, &a, &b), nAround = UnionRect(&around, &around, &b);
            ASSERT_EQ(points(both), points(a) & points(b));
            ASSERT_EQ(nBoth, points(both) != 0);
            ASSERT_TRUE(nBoth || equal(both, {}));
            const uint32_t uUnion = points(a) | points(b);
            ASSERT_EQ(points(around) & uUnion, uUnion);
            ASSERT_EQ(nAround, uUnion != 0);
            ASSERT_TRUE(nAround || equal(around, {}));
            for (int nSide = 0; nSide < 4 && nAround; ++nSide) {  // no side can be drawn in
                RECT less = around;
                (&less.left)[nSide] += nSide < 2 ? 1 : -1;
                ASSERT_NE(points(less) & uUnion, uUnion);
            }
        }
    }
    RECT r;
    EXPECT_EQ(SetRect(&r, 1, 2, 30, 40), 1);
    EXPECT_EQ(InflateRect(&r, 5, -6), 1);
    EXPECT_TRUE(equal(r, {-4, 8, 35, 34}));
    EXPECT_EQ(OffsetRect(&r, -10, INT32_MAX), 1);
    EXPECT_TRUE(equal(r, {-14, INT32_MIN + 7, 25, INT32_MIN + 33}));
    RECT copy{};
    EXPECT_EQ(CopyRect(&copy, &r), 1);
    EXPECT_TRUE(equal(copy, r));
    EXPECT_EQ(InflateRect(&r, INT32_MIN, 0), 1);
    EXPECT_TRUE(equal(r, {INT32_MAX - 13, INT32_MIN + 7, INT32_MIN + 25, INT32_MIN + 33}));

    EXPECT_EQ(SetRect(nullptr, 0, 0, 1, 1) | IsRectEmpty(nullptr) | PtInRect(nullptr, {0, 0}), 0);
    EXPECT_EQ(IntersectRect(&copy, &r, nullptr) | UnionRect(&copy, nullptr, &r) | CopyRect(&copy, nullptr), 0);
    EXPECT_EQ(IntersectRect(nullptr, &r, &r) | InflateRect(nullptr, 1, 1) | OffsetRect(nullptr, 1, 1), 0);
    EXPECT_TRUE(equal(copy, {-14, INT32_MIN + 7, 25, INT32_MIN + 33}));
}

TEST(Objects, OpeningFiles) {
    const Folder folder("/tmp");
    ASSERT_TRUE(folder);
    const auto name = folder("f\u00FC.bin");
    const auto opened = [&](uint32_t uAccess, uint32_t uDisposition, uint32_t uFlags = 0) {
        RVHANDLE h = openFile(name, uAccess, uDisposition, uFlags);
        if (h == kAllOnes) return false;
        return CloseHandle(h) == 1;
    };
    const auto contents = [&] { return folder.contents("f\u00FC.bin"); };

    // By disposition, first without the file and then with it.
    for (uint32_t u : {3u, 5u, 0u, 6u}) EXPECT_FALSE(opened(kRead | kWrite, u)) << u;
    EXPECT_FALSE(opened(0, 3));
    EXPECT_EQ(contents(), "missing");
    for (uint32_t u : {1u, 2u, 4u}) {
        EXPECT_TRUE(opened(kWrite, u)) << u;
        EXPECT_EQ(contents(), "") << u;
        fs::remove(folder.narrow("f\u00FC.bin"));
    }
    const struct {
        uint32_t uDisposition, uAccess;
        bool bOpens;
        const char* pLeft;
    } cases[] = {{1, kWrite, false, "text"}, {2, kWrite, true, ""}, {3, kRead, true, "text"},
                 {4, kWrite, true, "text"},  {5, kWrite, true, ""}, {5, kRead, false, "text"},
                 {3, 0, true, "text"}};
    for (const auto& c : cases) {
        folder.write("f\u00FC.bin", "text");
        EXPECT_EQ(opened(c.uAccess, c.uDisposition), c.bOpens) << c.uDisposition;
        EXPECT_EQ(contents(), c.pLeft) << c.uDisposition;
    }

    // The access is what was asked for.
    char ch = 'x';
    for (uint32_t uAccess : {kRead, kWrite, kRead | kWrite, 0x10000000u, 1u, 2u, 4u, 0u}) {
        folder.write("f\u00FC.bin", "text");
        RVHANDLE h = openFile(name, uAccess, 3);
        ASSERT_NE(h, kAllOnes) << uAccess;
        EXPECT_EQ(read(descriptorOf(h), &ch, 1) == 1, (uAccess & 0x90000001) != 0) << uAccess;
        EXPECT_EQ(write(descriptorOf(h), "y", 1) == 1, (uAccess & 0x50000006) != 0) << uAccess;
        EXPECT_EQ(CloseHandle(h), 1);
        if (uAccess == 4) {
            EXPECT_EQ(contents(), "texty");
        }
    }

    EXPECT_EQ(R_WinCreateFileW(nullptr, kRead, 0, nullptr, 3, 0, nullptr), kAllOnes);
    EXPECT_EQ(openFile(folder("."), kRead, 3), kAllOnes);
    RVHANDLE h = openFile(folder("."), kRead, 3, 0x02000000);
    EXPECT_EQ(CloseHandle(h), 1);
    h = openFile(folder("gone"), kRead | kWrite, 2, 0x04000000);
    EXPECT_EQ(write(descriptorOf(h), "y", 1), 1);
    EXPECT_EQ(folder.contents("gone"), "missing");
    EXPECT_EQ(CloseHandle(h), 1);
    struct stat info;
    EXPECT_EQ(CloseHandle(openFile(folder("fixed"), kWrite, 1, 1 | 0x80000000)), 1);
    EXPECT_EQ(stat(folder.narrow("fixed").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0222, 0u);
}

TEST(Objects, FilePositions) {
    const Folder folder("/tmp");
    ASSERT_TRUE(folder);
    RVHANDLE h = openFile(folder("f"), kRead | kWrite, 1);
    ASSERT_NE(h, kAllOnes);
    int32_t nHigh = 2;
    EXPECT_EQ(R_SetFilePointer(h, 5, &nHigh, 0), 5u);
    EXPECT_EQ(nHigh, 2);
    nHigh = -1;
    EXPECT_EQ(R_SetFilePointer(h, -6, &nHigh, 1), UINT32_MAX);  // 5 less 6: a borrow from the high half
    EXPECT_EQ(errno, 0);                                        // a position
    EXPECT_EQ(nHigh, 1);
    EXPECT_EQ(R_SetFilePointer(h, 0, nullptr, 1), UINT32_MAX);  // 32 bits can't tell it
    EXPECT_NE(errno, 0);
    nHigh = 0;
    EXPECT_EQ(R_SetFilePointer(h, 0, &nHigh, 1), UINT32_MAX);  // where it was
    EXPECT_EQ(nHigh, 1);
    EXPECT_EQ(R_SetFilePointer(h, 100, nullptr, 0), 100u);
    EXPECT_EQ(R_SetFilePointer(h, -1, nullptr, 1), 99u);
    EXPECT_EQ(R_SetFilePointer(h, -100, nullptr, 1), UINT32_MAX);
    EXPECT_NE(errno, 0);
    EXPECT_EQ(R_SetFilePointer(h, 0, nullptr, 3), UINT32_MAX);
    EXPECT_EQ(R_SetFilePointer(h, 0, nullptr, 1), 99u);
    EXPECT_EQ(write(descriptorOf(h), "x", 1), 1);
    EXPECT_EQ(R_SetFilePointer(h, -10, nullptr, 2), 90u);

    // A duplicate has the position in common, and its own life.
    RVHANDLE hSecond = nullptr;
    ASSERT_EQ(R_WinDuplicateHandle(kAllOnes, h, kAllOnes, &hSecond, 0, 0, 2), 1);
    EXPECT_EQ(R_SetFilePointer(h, 7, nullptr, 0), 7u);
    EXPECT_EQ(CloseHandle(h), 1);
    EXPECT_EQ(R_SetFilePointer(hSecond, 0, nullptr, 1), 7u);
    EXPECT_EQ(fcntl(descriptorOf(hSecond), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    ASSERT_EQ(R_WinDuplicateHandle(kAllOnes, hSecond, kAllOnes, &h, 0, 1, 3), 1);  // closes its source
    EXPECT_EQ(fcntl(descriptorOf(h), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(R_WinDuplicateHandle(nullptr, h, kAllOnes, &hSecond, 0, 0, 2), 0);
    EXPECT_EQ(R_WinDuplicateHandle(kAllOnes, h, kAllOnes, nullptr, 0, 0, 2), 0);
    EXPECT_EQ(R_WinDuplicateHandle(kAllOnes, nullptr, kAllOnes, &hSecond, 0, 0, 2), 0);
    EXPECT_EQ(R_WinDuplicateHandle(kAllOnes, h, kAllOnes, nullptr, 0, 0, 1), 1);

    RVHANDLE hEvent = R_WinCreateEventW(nullptr, 1, 0, nullptr);
    EXPECT_EQ(R_SetFilePointer(hEvent, 0, nullptr, 0), UINT32_MAX);
    EXPECT_EQ(R_SetFilePointer(kAllOnes, 0, nullptr, 0), UINT32_MAX);
    CloseHandle(hEvent);
}

TEST(Objects, MovingFiles) {
    const Folder folder("/tmp");
    ASSERT_TRUE(folder);
    const auto move = [&](const Folder& to, const char* pOld, const char* pNew, uint32_t uFlags) {
        return R_MoveFileEx(folder(pOld).c_str(), to(pNew).c_str(), uFlags);
    };
    folder.write("a", "first");
    folder.write("b", "second");
    EXPECT_EQ(move(folder, "a", "b", 0), 0);
    EXPECT_EQ(move(folder, "a", "b", 2), 0);
    EXPECT_EQ(folder.contents("a") + folder.contents("b"), "firstsecond");
    EXPECT_EQ(move(folder, "a", "b", 1), 1);
    EXPECT_EQ(folder.contents("a") + folder.contents("b"), "missingfirst");
    EXPECT_EQ(move(folder, "b", "c\u00FC", 8), 1);
    EXPECT_EQ(folder.contents("c\u00FC"), "first");
    EXPECT_EQ(move(folder, "a", "d", 0), 0);        // no source
    EXPECT_EQ(move(folder, "c\u00FC", "d", 4), 0);  // a flag that isn't known
    fs::create_directory(folder.narrow("dir"));
    EXPECT_EQ(move(folder, "dir", "dir2", 0), 1);
    fs::create_directory(folder.narrow("dir"));
    EXPECT_EQ(move(folder, "dir", "dir2", 1), 0);
    EXPECT_EQ(R_MoveFileEx(nullptr, u"x", 0) | R_MoveFileEx(u"x", nullptr, 0), 0);

    const Folder other("/dev/shm");
    struct stat here, there;
    if (!other || stat(folder.narrow(".").c_str(), &here) != 0 || stat(other.narrow(".").c_str(), &there) != 0 ||
        here.st_dev == there.st_dev)
        GTEST_SKIP() << "no second device";
    const std::string text(300000, 'q');
    folder.write("e", text);
    chmod(folder.narrow("e").c_str(), 0640);
    other.write("e", "old");
    EXPECT_EQ(move(other, "e", "e", 1), 0);  // a copy isn't allowed
    EXPECT_EQ(move(other, "e", "e", 2), 0);  // nor to replace
    EXPECT_EQ(other.contents("e"), "old");
    EXPECT_EQ(folder.contents("e"), text);
    EXPECT_EQ(move(other, "e", "e", 1 | 2 | 8), 1);
    EXPECT_EQ(other.contents("e"), text);
    EXPECT_EQ(folder.contents("e"), "missing");
    EXPECT_EQ(stat(other.narrow("e").c_str(), &there), 0);
    EXPECT_EQ(there.st_mode & 0777, 0640u);
    EXPECT_EQ(move(other, "dir", "dir", 2), 0);  // a directory isn't copied
    EXPECT_EQ(other.count(), 1u);                // no half a copy stays behind
}

TEST(Objects, Mappings) {
    const Folder folder("/tmp");
    ASSERT_TRUE(folder);
    folder.write("f", "0123456789");
    RVHANDLE hFile = openFile(folder("f"), kRead | kWrite, 3), hReadOnly = openFile(folder("f"), kRead, 3);
    const auto create = [](RVHANDLE h, uint32_t uProtect, uint32_t uSize, const char16_t* pName = nullptr) {
        return R_WinCreateFileMappingW(h, nullptr, uProtect, 0, uSize, pName);
    };
    const auto map = [](RVHANDLE h, size_t n) { return static_cast<char*>(rv::sysMapView(objectOf(h), 0, n)); };

    EXPECT_EQ(create(hFile, 2, 11), nullptr);  // would have to grow
    EXPECT_EQ(create(hReadOnly, 4, 0), nullptr);
    EXPECT_EQ(create(hFile, 3, 0), nullptr);
    EXPECT_EQ(create(kAllOnes, 4, 0), nullptr);
    EXPECT_EQ(create(nullptr, 4, 100), nullptr);
    EXPECT_EQ(folder.contents("f"), "0123456789");

    RVHANDLE hWrite = create(hFile, 4 | 0x8000000, 12), hRead = create(hReadOnly, 2, 0),
             hCopy = create(hReadOnly, 8, 0);
    EXPECT_EQ(CloseHandle(hFile) + CloseHandle(hReadOnly), 2);  // mappings keep the file
    EXPECT_EQ(folder.contents("f"), std::string("0123456789\0\0", 12));
    EXPECT_EQ(map(hWrite, 13), nullptr);
    EXPECT_EQ(map(hWrite, 0), nullptr);
    EXPECT_EQ(rv::sysMapView(objectOf(hWrite), 1, 4), nullptr);  // not on a page
    char *pWrite = map(hWrite, 12), *pRead = map(hRead, 12), *pCopy = map(hCopy, 12);
    ASSERT_TRUE(pWrite && pRead && pCopy);
    EXPECT_EQ(CloseHandle(hWrite) + CloseHandle(hRead) + CloseHandle(hCopy), 3);  // views outlive mappings
    pCopy[0] = '#';
    pWrite[1] = '#';
    EXPECT_EQ(std::string(pRead, 3), "0#2");
    EXPECT_EQ(folder.contents("f").substr(0, 3), "0#2");
    EXPECT_EQ(std::string(pCopy, 1), "#");
    for (char* p : {pWrite, pRead, pCopy}) rv::sysUnmapView(p, 12);

    // Memory, found again by its name; a view of each is one and the same.
    RVHANDLE hFirst = create(kAllOnes, 4, 5000, u"objects.test"), hAgain = create(kAllOnes, 4, 5000, u"objects.test");
    ASSERT_TRUE(hFirst && hAgain);
    EXPECT_EQ(R_ExtractHandle(hFirst), R_ExtractHandle(hAgain));
    EXPECT_EQ(R_WinCreateEventW(nullptr, 0, 0, u"objects.test"), nullptr);  // another kind
    char *pFirst = map(hFirst, 5000), *pAgain = map(hAgain, 5000);
    EXPECT_EQ(pAgain[4999], 0);
    pFirst[4999] = 'x';
    EXPECT_EQ(pAgain[4999], 'x');
    rv::sysUnmapView(pFirst, 5000);
    rv::sysUnmapView(pAgain, 5000);
    EXPECT_EQ(CloseHandle(hFirst) + CloseHandle(hAgain), 2);
    RVHANDLE hEvent = R_WinCreateEventW(nullptr, 0, 0, u"objects.test");  // the name is free again
    EXPECT_EQ(CloseHandle(hEvent), 1);
    EXPECT_NE(hEvent, nullptr);
}

TEST(Objects, ShortOfMemory) {
    // What a thread keeps for the mutexes that it owns comes with the first one.
    RVHANDLE hFirst = R_WinCreateMutexW(nullptr, 1, nullptr);
    EXPECT_TRUE(rv::sysMutexRelease(objectOf(hFirst)) && CloseHandle(hFirst));
    const Folder folder("/tmp");
    folder.write("f", "text");
    const auto name = folder("f");
    RVHANDLE hFile = openFile(name, kRead, 3);
    const int fdFree = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(fdFree);
    const auto makers = std::vector<RVHANDLE (*)(RVHANDLE, const std::u16string&)>{
        [](RVHANDLE, const std::u16string& n) { return openFile(n, kRead, 3); },
        [](RVHANDLE h, const std::u16string&) { return R_WinCreateFileMappingW(h, nullptr, 2, 0, 0, u"short"); },
        [](RVHANDLE, const std::u16string&) { return R_WinCreateEventW(nullptr, 1, 1, u"short"); },
        [](RVHANDLE, const std::u16string&) { return R_WinCreateMutexW(nullptr, 0, u"short"); },
        [](RVHANDLE, const std::u16string&) { return R_WinCreateMutexW(nullptr, 1, u"short"); },
        [](RVHANDLE h, const std::u16string&) {
            RVHANDLE hNew = nullptr;
            R_WinDuplicateHandle(kAllOnes, h, kAllOnes, &hNew, 0, 0, 2);
            return hNew;
        }};
    for (size_t i = 0; i < makers.size(); ++i) {
        const bool bOwned = i == 4;
        for (int n = 0;; ++n) {
            const long nBlocks = faults::liveBlocks();
            faults::FailFromNthAllocation fail(n);
            RVHANDLE h = makers[i](hFile, name);
            fail.stop();
            const bool bMade = h && h != kAllOnes;
            ASSERT_EQ(bMade, !fail.fired()) << i << " " << n;
            if (bMade) {
                if (bOwned) {
                    EXPECT_TRUE(rv::sysMutexRelease(objectOf(h)));
                }
                EXPECT_EQ(CloseHandle(h), 1);
            }
            ASSERT_EQ(faults::liveBlocks(), nBlocks) << i << " " << n;
            const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);  // no descriptor was lost either
            ASSERT_EQ(fd, fdFree) << i << " " << n;
            close(fd);
            if (bMade) break;
        }
    }
    CloseHandle(hFile);
}

TEST(Objects, LocaleStaysInItsThread) {
    const std::string global = setlocale(LC_ALL, nullptr);
    ASSERT_STREQ(R_Setlocale(LC_ALL, "C"), "C");
    if (!R_Setlocale(LC_CTYPE, "C.UTF-8")) GTEST_SKIP() << "no second locale";
    EXPECT_STREQ(R_Setlocale(LC_CTYPE, nullptr), "C.UTF-8");
    EXPECT_STREQ(R_Setlocale(LC_NUMERIC, nullptr), "C");
    EXPECT_EQ(MB_CUR_MAX, 6u);
    const std::string mixed = R_Setlocale(LC_ALL, nullptr);
    EXPECT_EQ(mixed.find("LC_CTYPE=C.UTF-8;LC_NUMERIC=C;"), 0u);
    EXPECT_EQ(R_Setlocale(LC_CTYPE, "no such locale"), nullptr);
    EXPECT_EQ(R_Setlocale(99, "C"), nullptr);
    EXPECT_EQ(R_Setlocale(-1, nullptr), nullptr);
    EXPECT_EQ(R_Setlocale(LC_ALL, nullptr), mixed);
    EXPECT_EQ(setlocale(LC_ALL, nullptr), global);
    std::thread([&] {
        EXPECT_EQ(R_Setlocale(LC_ALL, nullptr), global);
        EXPECT_STREQ(R_Setlocale(LC_TIME, "C.UTF-8"), "C.UTF-8");
    }).join();
    EXPECT_EQ(std::u16string(R_SetlocaleW(LC_ALL, u"C")), u"C");
    EXPECT_EQ(R_Setlocale(LC_ALL, mixed.c_str()), mixed);  // a list sets each category again
    EXPECT_EQ(std::u16string(R_SetlocaleW(LC_CTYPE, nullptr)), u"C.UTF-8");
    R_Setlocale(LC_ALL, global.c_str());
}

// ---- threads -----------------------------------------------------------------------------------------------------

uint32_t runFunction(void* p) {
    (*static_cast<std::function<void()>*>(p))();
    return 0;
}
RVHANDLE startThread(std::function<void()>& body, uint32_t* pId = nullptr) {
    return R_WinCreateThread(nullptr, 100000, runFunction, &body, 0, pId);
}

TEST(ThreadObjects, Events) {
    RVHANDLE hAuto = R_WinCreateEventW(nullptr, 0, 1, nullptr), hManual = R_WinCreateEventW(nullptr, 1, 0, nullptr);
    SysObject &once = objectOf(hAuto), &always = objectOf(hManual);
    EXPECT_EQ(sysWait(once, 0), SysWait::kSignalled);
    EXPECT_EQ(sysWait(once, 1), SysWait::kTimedOut);
    EXPECT_EQ(sysWait(always, 0), SysWait::kTimedOut);
    rv::sysEventSet(always);
    EXPECT_EQ(sysWait(always, 0), SysWait::kSignalled);
    EXPECT_EQ(sysWait(always, rv::kSysForever), SysWait::kSignalled);
    rv::sysEventReset(always);
    EXPECT_EQ(sysWait(always, 0), SysWait::kTimedOut);
    EXPECT_FALSE(rv::sysMutexRelease(always));

    const uint64_t nStart = GetCurrentTime();
    EXPECT_EQ(sysWait(once, 30), SysWait::kTimedOut);
    EXPECT_GE(GetCurrentTime() - nStart, 29u);

    // Each signal of the one lets one thread through, the other lets all through.
    std::atomic<int> nThrough{0};
    std::function<void()> body = [&] {
        sysWait(always, rv::kSysForever);
        sysWait(once, rv::kSysForever);
        ++nThrough;
    };
    std::vector<RVHANDLE> threads;
    for (int i = 0; i < 4; ++i) threads.push_back(startThread(body));
    rv::sysEventSet(always);
    for (int i = 1; i <= 4; ++i) {
        rv::sysEventSet(once);
        while (nThrough < i) rv::sysSleep(1);
        EXPECT_EQ(sysWait(once, 0), SysWait::kTimedOut);
        EXPECT_EQ(nThrough, i);
    }
    for (RVHANDLE h : threads) {
        EXPECT_EQ(sysWait(objectOf(h), rv::kSysForever), SysWait::kSignalled);
        EXPECT_EQ(sysWait(objectOf(h), 0), SysWait::kSignalled);
        EXPECT_EQ(CloseHandle(h), 1);
    }
    EXPECT_EQ(CloseHandle(hAuto) + CloseHandle(hManual), 2);
}

TEST(ThreadObjects, AnEventMayGoAtItsSignal) {
    for (int i = 0; i < 200; ++i) {
        RVHANDLE hEvent = R_WinCreateEventW(nullptr, 0, 0, nullptr);
        SysObject& event = objectOf(hEvent);
        std::function<void()> body = [&event] { rv::sysEventSet(event); };
        RVHANDLE hThread = startThread(body);
        EXPECT_EQ(sysWait(event, rv::kSysForever), SysWait::kSignalled);
        EXPECT_EQ(CloseHandle(hEvent), 1);
        EXPECT_EQ(sysWait(objectOf(hThread), rv::kSysForever), SysWait::kSignalled);
        EXPECT_EQ(CloseHandle(hThread), 1);
    }
}

TEST(ThreadObjects, Mutexes) {
    RVHANDLE h = R_WinCreateMutexW(nullptr, 1, u"objects.mutex"),
             hSame = R_WinCreateMutexW(nullptr, 1, u"objects.mutex");
    SysObject& mutex = objectOf(h);
    EXPECT_EQ(&mutex, &objectOf(hSame));  // not taken twice by the second
    std::function<void()> body = [&] {
        EXPECT_EQ(sysWait(mutex, 1), SysWait::kTimedOut);
        EXPECT_FALSE(rv::sysMutexRelease(mutex));
    };
    const auto runThread = [&] {
        RVHANDLE hThread = startThread(body);
        EXPECT_EQ(sysWait(objectOf(hThread), rv::kSysForever), SysWait::kSignalled);
        CloseHandle(hThread);
    };
    EXPECT_EQ(sysWait(mutex, 0), SysWait::kSignalled);
    EXPECT_TRUE(rv::sysMutexRelease(mutex));
    runThread();  // still owned once
    EXPECT_TRUE(rv::sysMutexRelease(mutex));
    EXPECT_FALSE(rv::sysMutexRelease(mutex));

    body = [&] {  // ends as its owner, twice over
        EXPECT_EQ(sysWait(mutex, 0), SysWait::kSignalled);
        EXPECT_EQ(sysWait(mutex, 0), SysWait::kSignalled);
    };
    runThread();
    EXPECT_EQ(sysWait(mutex, 0), SysWait::kAbandoned);
    EXPECT_EQ(sysWait(mutex, 0), SysWait::kSignalled);
    EXPECT_TRUE(rv::sysMutexRelease(mutex) && rv::sysMutexRelease(mutex));

    int nCount = 0;
    body = [&] {
        for (int i = 0; i < 1000; ++i) {
            sysWait(mutex, rv::kSysForever);
            ++nCount;
            rv::sysMutexRelease(mutex);
        }
    };
    RVHANDLE threads[] = {startThread(body), startThread(body)};
    for (RVHANDLE hThread : threads) {
        sysWait(objectOf(hThread), rv::kSysForever);
        CloseHandle(hThread);
    }
    EXPECT_EQ(nCount, 2000);
    // An owner may close its last handle first.
    EXPECT_EQ(sysWait(mutex, 0), SysWait::kSignalled);
    EXPECT_EQ(CloseHandle(h) + CloseHandle(hSame), 2);
    EXPECT_TRUE(rv::sysMutexRelease(mutex));
}

struct ExitHook {
    std::atomic<bool>* pRan = nullptr;
    ~ExitHook() {
        if (!pRan) return;
        rv::sysSleep(10);
        *pRan = true;
    }
};
thread_local ExitHook hook;

TEST(ThreadObjects, Threads) {
    std::atomic<bool> bRan{false};
    RVHANDLE hGo = R_WinCreateEventW(nullptr, 1, 0, nullptr);
    uint32_t uId = 0, uOwnId = 0;
    std::function<void()> body = [&] {
        hook.pRan = &bRan;
        uOwnId = uint32_t(gettid());
        sysWait(objectOf(hGo), rv::kSysForever);
    };
    RVHANDLE h = startThread(body, &uId), hSecond = nullptr;
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(sysWait(objectOf(h), 1), SysWait::kTimedOut);
    EXPECT_EQ(R_WinDuplicateHandle(kAllOnes, h, kAllOnes, &hSecond, 0, 0, 3), 1);
    rv::sysEventSet(objectOf(hGo));
    EXPECT_EQ(sysWait(objectOf(hSecond), rv::kSysForever), SysWait::kSignalled);
    EXPECT_TRUE(bRan);  // the hooks of the thread are part of it
    EXPECT_EQ(uId, uOwnId);
    EXPECT_NE(uId, 0u);
    EXPECT_EQ(CloseHandle(hSecond), 1);

    // A thread runs on without its handle.
    RVHANDLE hDone = R_WinCreateEventW(nullptr, 1, 0, nullptr);
    body = [&] {
        sysWait(objectOf(hGo), rv::kSysForever);
        rv::sysEventSet(objectOf(hDone));
    };
    rv::sysEventReset(objectOf(hGo));
    EXPECT_EQ(CloseHandle(startThread(body)), 1);
    rv::sysEventSet(objectOf(hGo));
    EXPECT_EQ(sysWait(objectOf(hDone), rv::kSysForever), SysWait::kSignalled);
    EXPECT_EQ(CloseHandle(hGo) + CloseHandle(hDone), 2);

    EXPECT_EQ(R_WinCreateThread(nullptr, 0, nullptr, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(R_WinCreateThread(nullptr, 0, runFunction, &body, 4, nullptr), nullptr);  // suspended
    EXPECT_EQ(R_WinCreateThread(nullptr, SIZE_MAX, runFunction, &body, 0, nullptr), nullptr);
}

TEST(ThreadObjects, NamesComeAndGo) {
    // Threads that make and close the same name never meet an object that is on its way out.
    std::function<void()> body = [] {
        for (int i = 0; i < 500; ++i) {
            RVHANDLE h = R_WinCreateEventW(nullptr, 0, 0, u"objects.race");
            ASSERT_NE(h, nullptr);
            rv::sysEventSet(objectOf(h));
            CloseHandle(h);
        }
    };
    RVHANDLE threads[] = {startThread(body), startThread(body), startThread(body)};
    for (RVHANDLE h : threads) {
        sysWait(objectOf(h), rv::kSysForever);
        CloseHandle(h);
    }
}

TEST(ThreadObjects, CriticalSections) {
    CRITICALSECTION section;
    ASSERT_EQ(R_IntInitializeCriticalSection(&section), 1);
    int nCount = 0;
    std::function<void()> body = [&] {
        for (int i = 0; i < 1000; ++i) {
            R_IntEnterCriticalSection(&section);
            R_IntEnterCriticalSection(&section);
            ++nCount;
            R_IntLeaveCriticalSection(&section);
            R_IntLeaveCriticalSection(&section);
        }
    };
    RVHANDLE threads[] = {startThread(body), startThread(body)};
    for (RVHANDLE h : threads) {
        sysWait(objectOf(h), rv::kSysForever);
        CloseHandle(h);
    }
    EXPECT_EQ(nCount, 2000);
    R_IntDeleteCriticalSection(&section);
}

}  // namespace
