// The module loader: names, finding and counting modules, their functions, the display table, the drawing engine.
#include <gtest/gtest.h>

#include <cstring>

#include "support/faults.h"
#include "support/modules.h"

namespace {

using test::isResident, test::ModuleFolder;

std::u16string libName(uint32_t flags, int32_t id, int32_t format = 0) {
    char16_t name[LIBRARY_NAME_LENGTH] = u"untouched";
    const int32_t status = R_GetLibName(flags, id, format, name, LIBRARY_NAME_LENGTH);
    if (status != 1) return name[0] ? u"not cleared" : status == -16 ? u"-16" : u"other status";
    return name;
}

TEST(LibraryNames, FollowTheRules) {
    EXPECT_EQ(libName(0, RV_LIBID_FILTER, 68), u"Ravokit.Codecs.Fax.DLL");
    EXPECT_EQ(libName(LIBNAME_NO_EXTENSION, RV_LIBID_FILTER, 5), u"Ravokit.Codecs.Photo");
    EXPECT_EQ(libName(LIBNAME_BASE, RV_LIBID_FILTER, 5), u"Photo");
    EXPECT_EQ(libName(0, 8, -1), libName(0, RV_LIBID_FILTER, 0)) << "the first filter, whatever the format";

    // Rows below 38 and from 47 on are native, but for 55; 49 always has its extension, except as a base name.
    EXPECT_EQ(libName(0, RV_LIBID_KERNEL), u"Ravokit.Kernel.Native.DLL");
    EXPECT_EQ(libName(LIBNAME_NO_EXTENSION, RV_LIBID_KERNEL), u"Ravokit.Kernel.Native");
    EXPECT_EQ(libName(LIBNAME_BASE, RV_LIBID_KERNEL), u"Ravokit.Kernel.Native");
    EXPECT_EQ(libName(0, 38), u"Ravokit.Scan.DLL");
    EXPECT_EQ(libName(0, 47), u"Ravokit.Documents.Native.DLL");
    EXPECT_EQ(libName(LIBNAME_NO_EXTENSION, 47), u"Ravokit.Documents.Native");
    EXPECT_EQ(libName(LIBNAME_NO_EXTENSION, 49), u"Ravokit.Recognition.Native.DLL");
    EXPECT_EQ(libName(LIBNAME_BASE, 49), u"Ravokit.Recognition.Native");
    EXPECT_EQ(libName(0, 55), u"Ravokit.Annotation.DLL");

    constexpr struct { int32_t format, row; } kMapped[] = {{25, 30}, {56, 5}, {87, 6}, {80, 7}, {50, 9}, {53, 23}};
    for (const auto& m : kMapped) EXPECT_EQ(libName(0, 0, m.format), libName(0, m.row)) << m.format;

    for (const int32_t id : {-1, 13, 60, 61, 84, INT32_MAX, INT32_MIN}) EXPECT_EQ(libName(0, id), u"-16") << id;
    for (const int32_t format : {-1, 115, 116, INT32_MAX, INT32_MIN})
        EXPECT_EQ(libName(0, 0, format), u"-16") << format;
}

TEST(LibraryNames, AreCutToTheBuffer) {
    char16_t name[8] = {};
    name[5] = u'#';
    EXPECT_EQ(R_GetLibName(0, RV_LIBID_KERNEL, 0, name, 5), 1);
    EXPECT_EQ(std::u16string(name), u"Ravo");
    EXPECT_EQ(name[5], u'#');
    EXPECT_EQ(R_GetLibName(0, RV_LIBID_KERNEL, 0, nullptr, 5), -13);
    EXPECT_EQ(R_GetLibName(0, RV_LIBID_KERNEL, 0, name, 0), -13);
}

TEST(LibraryPaths, AreTakenApartAndPutTogether) {
    const auto dir = [](const char16_t* path, const char16_t* file = nullptr) {
        char16_t out[32];
        std::fill(std::begin(out), std::end(out), u'#');
        EXPECT_EQ(R_DllLoader::GetDir(path, file, out, 32), 1);
        const std::u16string text(out);
        EXPECT_EQ(out[text.size() + 1], 0) << "closed twice";
        return text;
    };
    EXPECT_EQ(dir(u"/opt/lib/x.so"), u"/opt/lib");
    EXPECT_EQ(dir(u"c:\\lib\\x.so"), u"c:\\lib");
    EXPECT_EQ(dir(u"c:x.so"), u"c:");
    EXPECT_EQ(dir(u"/x.so"), u"/");
    EXPECT_EQ(dir(u"x.so"), u"");
    const char16_t* deep = u"/a/b/c";
    EXPECT_EQ(dir(deep, deep + 3), u"/a");
    char16_t small[5] = u"####";
    EXPECT_EQ(R_DllLoader::GetDir(u"/opt/x", nullptr, small, 4), 1);
    EXPECT_EQ(std::u16string(small, 5), (std::u16string{u'/', u'o', 0, 0, 0}));
    EXPECT_EQ(R_DllLoader::GetDir(deep, nullptr, small, 1), -13);

    EXPECT_EQ(std::u16string(R_SkipPath(u"c:\\a/b")), u"b");
    EXPECT_EQ(std::u16string(R_SkipPath(u"a/b\\c:d")), u"d");
    EXPECT_EQ(std::u16string(R_SkipPath(u"a\\b/c\\d")), u"d") << "no slash behind the last backslash";
    EXPECT_EQ(std::u16string(R_SkipPath(u"a/")), u"");

    char16_t full[64];
    EXPECT_EQ(R_GetLibFullPath(u"x.DLL", full, 64), 1);
    EXPECT_EQ(std::u16string(full), u"x.DLL");
    R_SetResourceDirectory(0, u"/opt");
    EXPECT_EQ(R_GetLibFullPath(u"x.DLL", full, 64), 1);
    R_SetResourceDirectory(0, u"");
    EXPECT_EQ(std::u16string(full), u"/opt/x.DLL");

    EXPECT_EQ(R_IsMissingFile(u"/proc/self/exe"), 0);
    EXPECT_EQ(R_IsMissingFile(u"/nowhere/x"), 1);
    EXPECT_EQ(R_IsMissingFile(nullptr), 1);
}

// Names a module in the place of the library.
struct NameScope {
    std::u16string name;
    int32_t id = -1, format = -1;
    explicit NameScope(std::u16string n) : name(std::move(n)) {
        R_SetLoadLibCallback(
            [](int32_t nLibId, int32_t nFormat, char16_t* pBuffer, uint32_t uSize, void* pUser) {
                auto& self = *static_cast<NameScope*>(pUser);
                self.id = nLibId;
                self.format = nFormat;
                self.name.copy(pBuffer, uSize - 1);
                return 0;
            },
            this);
    }
    ~NameScope() { R_SetLoadLibCallback(nullptr, nullptr); }
};

TEST(Loader, CountsUsersAndGoesWithTheLast) {
    const std::string file = "Ravokit.Codecs.Photo";
    const ModuleFolder folder("whole");
    R_DllLoader loader;
    EXPECT_EQ(loader.AddFunction("fltLoadBuffer"), -9) << "no module";
    loader.SetErrorIfMissing(-356);
    EXPECT_EQ(loader.AddFunction("fltLoadBuffer"), -356);
    loader.Unload();
    EXPECT_FALSE(loader.IsLoaded());
    loader.Load();

    ASSERT_EQ(loader.LoadLib(0, 5, nullptr), 1);
    ASSERT_EQ(loader.LoadLib(0, 5, nullptr), 1);
    EXPECT_EQ(loader.LoadLib(0, -1, nullptr), 1) << "a loaded one doesn't look at the name";
    loader.Unload();
    loader.Unload();
    EXPECT_TRUE(loader.IsLoaded() && isResident("whole", file));
    loader.Unload();
    EXPECT_FALSE(loader.IsLoaded() || isResident("whole", file));
    EXPECT_EQ(loader.GetHInstance(), nullptr);
    {
        R_DllLoader other;
        ASSERT_EQ(other.LoadLib(0, 5, nullptr), 1);
        other.Load();
    }
    EXPECT_FALSE(isResident("whole", file)) << "an object's end doesn't ask for the count";
}

TEST(Loader, FindsFunctionsByNameAndByTheNarrowName) {
    const ModuleFolder folder("whole");
    R_DllLoader loader;
    ASSERT_EQ(loader.LoadLib(0, 5, nullptr), 1);
    EXPECT_FALSE(loader.IsFunctionOk("fltLoadBuffer")) << "not added";
    EXPECT_EQ(loader.AddFunction("fltLoadBuffer", ADDFUNCTION_REQUIRED), 1);
    EXPECT_EQ(loader.GetFunction("fltLoadBuffer"), dlsym(loader.GetHInstance(), "fltLoadBuffer"));
    ASSERT_EQ(loader.AddFunction("onlyNarrow", ADDFUNCTION_REQUIRED), 1);
    EXPECT_EQ(reinterpret_cast<int (*)()>(loader.GetFunction("onlyNarrow"))(), 7);
    EXPECT_EQ(loader.GetFunction("onlyNarrowA"), nullptr) << "kept under the name that was asked for";
    EXPECT_EQ(loader.AddFunction("nowhere"), 1);
    EXPECT_FALSE(loader.IsFunctionOk("nowhere"));
    EXPECT_EQ(loader.AddFunction("nowhere", ADDFUNCTION_REQUIRED), -9) << "kept as missing";
    EXPECT_EQ(loader.AddFunction("", ADDFUNCTION_REQUIRED), -9);
    EXPECT_EQ(loader.AddFunction(nullptr), -13);
    loader.Unload();
    EXPECT_EQ(loader.GetFunction("fltLoadBuffer"), nullptr);
}

TEST(Loader, LooksWhereItIsTold) {
    const auto loads = [](const std::filesystem::path& name) {
        NameScope scope(name.u16string());
        R_DllLoader loader;
        const int32_t n = loader.LoadLib(47, 11, nullptr);
        EXPECT_EQ(scope.id, 47);
        EXPECT_EQ(scope.format, 11);
        EXPECT_FALSE(loader.IsSystemOutOfMemory());
        return n == 1 && loader.AddFunction("fltLoadBuffer", ADDFUNCTION_REQUIRED) == 1;
    };
    const auto whole = ModuleFolder::path("whole");
    EXPECT_TRUE(loads(whole / "libRavokit.Codecs.Fax.so")) << "as it stands";
    EXPECT_TRUE(loads(whole / "Ravokit.Codecs.Fax.DLL")) << "the platform's form of the name";
    EXPECT_TRUE(loads(whole / "Ravokit.Codecs.Fax"));
    EXPECT_FALSE(loads(ModuleFolder::path("none") / "Ravokit.Codecs.Fax.DLL"));
    EXPECT_FALSE(loads("Ravokit.Nowhere.DLL"));
    const ModuleFolder folder("whole");
    EXPECT_TRUE(loads("libRavokit.Codecs.Fax.so"));
    EXPECT_FALSE(loads("x/Ravokit.Codecs.Fax.DLL")) << "a name with a directory is not looked for in another";
    EXPECT_FALSE(loads("")) << "row 47 has a name of its own, but no module";
}

TEST(Loader, TellsThatMemoryWasShortWhereverItLooked) {
    const ModuleFolder folder("none");
    R_DllLoader loader;
    for (int n = 0, done = 0; !done; ++n) {
        faults::FailNth fail(faults::Kind::allocation, n, false);
        EXPECT_EQ(loader.LoadLib(47, 0, nullptr), 0);
        fail.stop();
        done = !fail.fired();
        EXPECT_EQ(loader.IsSystemOutOfMemory(), fail.fired()) << n;
    }
}

TEST(DisplayDispatch, StaysOnceSet) {
    DISDISPATCH table{}, got{};
    ASSERT_EQ(R_GetDisDispatch(&got), -30);
    EXPECT_EQ(R_GetDisDispatch(nullptr), -13);
    EXPECT_EQ(R_SetDisDispatch(nullptr), -13);
    table.uStructSize = sizeof table;
    table.pfnEntries[0] = table.pfnEntries[19] = R_ResetDisDispatch;
    EXPECT_EQ(R_SetDisDispatch(&table), 1);
    R_ResetDisDispatch();
    EXPECT_EQ(R_GetDisDispatch(&got), 1);
    EXPECT_EQ(std::memcmp(&got, &table, sizeof got), 0) << "a reset doesn't take back what was set";
}

TEST(DrawEngine, KeepsOptionsAndPassesFontsOn) {
    DRAWENGINEOPTIONS options{sizeof options, 3, 4}, got{sizeof got, 0, 0};
    EXPECT_EQ(R_DrawSetEngineOptions(&options), 1);
    EXPECT_EQ(R_DrawGetEngineOptions(&got), 1);
    EXPECT_TRUE(got.uEngine == 3 && got.uFlags == 4);
    options.uStructSize = 8;
    EXPECT_EQ(R_DrawSetEngineOptions(&options), -789);
    EXPECT_EQ(R_DrawGetEngineOptions(&options), -789);
    EXPECT_EQ(R_DrawGetEngineOptions(nullptr), -13);

    {
        const ModuleFolder folder("half");
        EXPECT_EQ(R_DrawAddUserFontFromFile(u"x"), -9) << "an entry point is missing";
        EXPECT_FALSE(isResident("half", "Ravokit.Drawing.Native"));
    }
    const ModuleFolder folder("whole");
    EXPECT_EQ(R_DrawAddUserFontFromFile(nullptr), -13);
    EXPECT_EQ(R_DrawAddUserFontFromFileA("\xC3\xA4"), 1000 + 0xE4);
    EXPECT_EQ(R_DrawAddUserFontFromMemory("\x05", 1), 2006);
    EXPECT_EQ(R_DrawClearUserFonts(), 3000);
    EXPECT_TRUE(isResident("whole", "Ravokit.Drawing.Native"));
}

}  // namespace
