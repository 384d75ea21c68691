// Failing on purpose what the library asks of the system, and counting what it holds. The linker puts these functions
// in the place of the C library's for the test program, so the library knows nothing of it, and the sanitizers' heap
// serves as well.
#pragma once

namespace faults {

enum class Kind {
    allocation,  // of the heap: no memory
    mapping,     // mmap, memfd_create: no memory
    open,        // a file or a descriptor: no more of them
    write        // bytes or length of a file: no room on the disk
};
inline constexpr Kind kKinds[] = {Kind::allocation, Kind::mapping, Kind::open, Kind::write};
const char* nameOf(Kind kind) noexcept;

// What this thread took less what it gave back; differences count. Descriptors are the process's.
long liveBlocks() noexcept;
long liveMappedBytes() noexcept;
int liveDescriptors() noexcept;

// For the time of a scope, fails this thread's call number n (from 0) of a kind, and if bAndAfter every one after it.
class FailNth {
public:
    FailNth(Kind kind, int n, bool bAndAfter) noexcept;
    FailNth(const FailNth&) = delete;
    FailNth& operator=(const FailNth&) = delete;
    ~FailNth() { stop(); }
    void stop() noexcept;                             // before the scope's end
    bool fired() const noexcept { return m_bFired; }  // after stop

private:
    bool m_bFired = false;
};

struct FailFromNthAllocation : FailNth {
    explicit FailFromNthAllocation(int n) noexcept : FailNth(Kind::allocation, n, true) {}
};

}  // namespace faults
