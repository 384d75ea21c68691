// Region handles of the library: one that is deleted with its owner, and the rectangles of one.
#pragma once

#include <ravokit/objects.h>

#include <memory>
#include <vector>

namespace ravo {

struct DeleteHandle {
    void operator()(RVHANDLE h) const noexcept { DeleteObject(h); }
};
using RgnHandle = std::unique_ptr<MEMHANDLE, DeleteHandle>;

/// One for each span of each row, or for several rows that are alike, sorted by rows; none for an empty region or one
/// that can't be told.
std::vector<RECT> rectsOf(RVHANDLE h);

}  // namespace ravo
