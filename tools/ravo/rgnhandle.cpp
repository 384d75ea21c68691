#include "rgnhandle.h"

#include <ravokit/region.h>

namespace ravo {

std::vector<RECT> rectsOf(RVHANDLE h) {
    const uint32_t nBytes = GetRegionData(h, 0, nullptr);
    std::vector<uint32_t> words((nBytes + 3) / 4);
    auto* pData = reinterpret_cast<RGNDATA*>(words.data());
    if (!nBytes || !GetRegionData(h, nBytes, pData)) return {};
    const auto* pRects = reinterpret_cast<const RECT*>(pData + 1);
    return {pRects, pRects + pData->nCount};
}

}  // namespace ravo
