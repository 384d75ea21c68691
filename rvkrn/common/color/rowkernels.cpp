// The tables of row kernels, and the choice among them.
#include "internal/rowkernels.h"

#include "internal/rowblocks.h"

namespace rv {

constinit const RowKernels kPlainRowKernels{kPlainShuffle, kPlainGray, kPlainPalette, kPlainPacked16, kPlainAlpha};

#ifdef RV_X86
namespace {
constinit const RowKernels kAvx2RowKernels{kAvx2Shuffle, kAvx2Gray, kAvx2Palette, kAvx2Packed16, kAvx2Alpha};
}
const RowKernels& bestRowKernels() noexcept { return cpuHasAvx2() ? kAvx2RowKernels : kPlainRowKernels; }
#else
const RowKernels& bestRowKernels() noexcept { return kPlainRowKernels; }
#endif

}  // namespace rv
