// The end of the pool of worker threads.
#pragma once

namespace rv {

// Runs what is queued and ends the workers; what is queued meanwhile is refused, and afterwards too if this is for
// good. Called by an item, it leaves that one's worker.
void finishThreadPool(bool bForGood) noexcept;

}  // namespace rv
