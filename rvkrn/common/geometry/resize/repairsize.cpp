// The size of a resized picture of which the caller told one side.
#include "internal/resize_.h"

namespace rv {
namespace {

// The side that goes with nOther. Which factor comes first decides on the last bit of the product, and so on what is
// cut off.
bool missingSide(int32_t nSrcSide, int32_t nSrcOther, int32_t nOther, int32_t& nSide) noexcept {
    const double d = nOther > nSrcSide ? double(nOther) / nSrcOther * nSrcSide : double(nSrcSide) / nSrcOther * nOther;
    if (!(d >= 1 && d < 2147483648.0)) return false;
    nSide = int32_t(d);
    return true;
}

}  // namespace

bool repairSize(int32_t nSrcWidth, int32_t nSrcHeight, int32_t& nWidth, int32_t& nHeight) noexcept {
    if (nSrcWidth < 1 || nSrcHeight < 1 || nWidth < 0 || nHeight < 0) return false;
    if (nWidth > 0 && nHeight > 0) return true;
    if (nWidth > 0) return missingSide(nSrcHeight, nSrcWidth, nWidth, nHeight);
    return nHeight > 0 && missingSide(nSrcWidth, nSrcHeight, nHeight, nWidth);
}

}  // namespace rv
