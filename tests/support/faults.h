// Failing allocations on purpose, and counting blocks.
#pragma once

namespace faults {

// Whether allocations can be made to fail: not under the sanitizers, which bring a heap of their own.
bool available() noexcept;

// Heap blocks that this thread took less those that it gave back; differences count. 0 under the sanitizers.
long liveBlocks() noexcept;

// For the time of a scope, fails this thread's allocation number n (from 0) and every one after it.
class FailFromNthAllocation {
public:
    explicit FailFromNthAllocation(int n) noexcept;
    FailFromNthAllocation(const FailFromNthAllocation&) = delete;
    FailFromNthAllocation& operator=(const FailFromNthAllocation&) = delete;
    ~FailFromNthAllocation() { stop(); }
    void stop() noexcept;                             // before the scope's end
    bool fired() const noexcept { return m_bFired; }  // after stop

private:
    bool m_bFired = false;
};

}  // namespace faults
