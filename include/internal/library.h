// The library's own life: what start and stop do, and what other parts add to it.
#pragma once

#include <cstdint>

namespace rv {

// Runs every cleanup function, newest first, until none is left, and drops the registry.
void runCleanupPass() noexcept;

// Runs at stop, before the cleanup pass: the module loader lets go of the module that it keeps resident.
void setReleaseResidentModule(void (*pfn)() noexcept) noexcept;

// Where the library is loaded; null before start.
const void* libraryModule() noexcept;

// Starts less stops.
int32_t libraryLoadCount() noexcept;

}  // namespace rv
