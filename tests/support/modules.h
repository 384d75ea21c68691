// Where the modules of tests are, and a codec that does as it is told.
#pragma once

#include <dlfcn.h>

#include <filesystem>
#include <string>

#include "ravokit/ravokit.h"

namespace test {

// The loader looks into a folder of the tests' modules, "whole" or "half", for the time of a scope; "none" has nothing.
class ModuleFolder {
public:
    static std::filesystem::path path(const std::string& name) { return std::filesystem::path(TEST_MODULES) / name; }
    explicit ModuleFolder(const std::string& name) { R_SetResourceDirectory(0, path(name).u16string().c_str()); }
    ModuleFolder(const ModuleFolder&) = delete;
    ModuleFolder& operator=(const ModuleFolder&) = delete;
    ~ModuleFolder() { R_SetResourceDirectory(0, u""); }
};

// Whether a module of the tests is in the process.
inline bool isResident(const std::string& folder, const std::string& name) {
    void* h = dlopen((ModuleFolder::path(folder) / ("lib" + name + ".so")).c_str(), RTLD_NOLOAD | RTLD_NOW);
    if (h) dlclose(h);
    return h != nullptr;
}

// The codec in "whole", and what it is to do next.
class FakeCodec {
    ModuleFolder m_folder{"whole"};
    int m_nSaves = 0, m_nLoads = 0;
    void* m_h;
    void (*m_control)(int, int*, int*);

public:
    enum Mode { well, refuseSave, saveTooMuch, saveNothing, refuseLoad, loadOddly, shortForLoad };
    int saves = 0, loads = 0;  // calls between the last two sets

    explicit FakeCodec(int32_t nBits)
        : m_h(dlopen(
              (ModuleFolder::path("whole") / (nBits == 1 ? "libRavokit.Codecs.Fax.so" : "libRavokit.Codecs.Photo.so"))
                  .c_str(),
              RTLD_NOW)),
          m_control(reinterpret_cast<void (*)(int, int*, int*)>(dlsym(m_h, "fakeControl"))) {
        set(well);
    }
    FakeCodec(const FakeCodec&) = delete;
    FakeCodec& operator=(const FakeCodec&) = delete;
    ~FakeCodec() {
        set(well);
        dlclose(m_h);
    }
    void set(Mode mode) {
        int nSaves = 0, nLoads = 0;
        m_control(mode, &nSaves, &nLoads);
        saves = nSaves - m_nSaves;
        loads = nLoads - m_nLoads;
        m_nSaves = nSaves;
        m_nLoads = nLoads;
    }
};

}  // namespace test
