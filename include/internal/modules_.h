// Modules inside the library: what the tables of names know, and modules that the process shares.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "ravokit/loader.h"

namespace rv {

// A row of the table of file filters.
struct FILTERROW {
    const char16_t* pName;    // null for a hole
    int32_t nErrorIfMissing;  // what its users report
};
// The row of a format; one of a hole for what is no format.
FILTERROW filterRow(int32_t nFormat) noexcept;

// A module that the process shares, with a reference for each of its users; it is unloaded with the last. The module
// lock guards it, but is free while the load callback runs. To be a static object.
class SharedModule {
    R_DllLoader* m_pLoader = nullptr;

public:
    // Takes a reference to the module, which has all of these functions. 1; else -1 no memory, or -9 and no reference.
    int32_t acquire(int32_t nLibId, int32_t nFormat, std::initializer_list<const char*> names) noexcept;
    void release() noexcept;
    // A function that was named to acquire; for those that have a reference.
    void* function(const char* pName) const noexcept { return m_pLoader->GetFunction(pName); }
};

}  // namespace rv
