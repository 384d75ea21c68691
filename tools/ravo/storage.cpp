#include "storage.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "failure.h"
#include "progress.h"

namespace ravo {

namespace {

struct StorageClass {
    const char* pName;
    uint32_t uMemory;
    const char* pDepths;  // that it is limited to, or null
    bool (*holds)(int32_t nBits);
};

constexpr StorageClass kClasses[] = {
    {"conventional", BMMEM_CONVENTIONAL, nullptr, nullptr},
    {"tiled", BMMEM_TILED, nullptr, nullptr},
    {"disk", BMMEM_DISK, nullptr, nullptr},
    {"compressed", BMMEM_COMPRESSED, "1 bit", [](int32_t n) { return n == 1; }},
    {"super", BMMEM_SUPERCOMPRESSED, "1, 8 or 24 bits", [](int32_t n) { return n == 1 || n == 8 || n == 24; }},
};

uint64_t flatBytes(const BITMAPRECORD& bm) noexcept { return uint64_t(bm.BytesPerLine) * uint32_t(bm.Height); }

std::string compressedText(const char* pWhat, const BITMAPRECORD& bm) {
    if (!bm.Size64) return std::string(pWhat) + ", nothing stored yet";
    char ratio[32];
    std::snprintf(ratio, sizeof ratio, "%.2f", double(flatBytes(bm)) / double(bm.Size64));
    return std::string(pWhat) + ", " + std::to_string(bm.Size64) + " bytes, 1 : " + ratio;
}

}  // namespace

uint32_t parseStorage(const std::string& text) {
    const auto* pClass =
        std::find_if(std::begin(kClasses), std::end(kClasses), [&](const StorageClass& c) { return text == c.pName; });
    if (pClass != std::end(kClasses)) return pClass->uMemory;
    std::string names;
    for (const StorageClass& c : kClasses) names += std::string(" ") + c.pName;
    throw Failure("'" + text + "' is no storage; there are" + names);
}

void moveToStorage(Picture& picture, uint32_t uMemory, uint32_t nTileBytes) {
    const auto* pClass = std::find_if(std::begin(kClasses), std::end(kClasses),
                                      [&](const StorageClass& c) { return c.uMemory == uMemory; });
    if (pClass->holds && !pClass->holds(picture->BitsPerPixel))
        throw Failure(std::string("this storage is for ") + pClass->pDepths + ", and the picture has " +
                      std::to_string(picture->BitsPerPixel));
    const Progress progress("moving");
    check(R_SetBitmapMemoryInfo(picture.get(), uMemory, nTileBytes, 0, 0, 0, 0, nTileBytes ? 1 | 2 : 1),
          "R_SetBitmapMemoryInfo");
    if (picture->Flags & BMF_COMPRESSED) R_TrimBitmapHeap(picture.get(), 0);  // so that the size tells what is used
}

std::string storageText(const BITMAPRECORD& bm) {
    uint32_t uMemory = 0, nTileBytes = 0, nTiles = 0, nInMemory = 0, nMaxViews = 0, nViews = 0;
    check(R_GetBitmapMemoryInfo(&bm, &uMemory, &nTileBytes, &nTiles, &nInMemory, &nMaxViews, &nViews),
          "R_GetBitmapMemoryInfo");
    switch (uMemory) {
        case BMMEM_COMPRESSED:
            return compressedText("run lists", bm);
        case BMMEM_SUPERCOMPRESSED:
            return compressedText("compressed strips", bm);
        case BMMEM_DISK:
            return "temporary file";
        case BMMEM_TILED:
            return std::to_string(nTiles) + " tiles of " + std::to_string(nTileBytes) + " bytes, " +
                   std::to_string(nInMemory) + " in memory, " + std::to_string(nViews) + " of " +
                   std::to_string(nMaxViews) + " views";
        default:
            return "memory";
    }
}

}  // namespace ravo
