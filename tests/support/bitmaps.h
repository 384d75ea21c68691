// Bitmaps for tests: random contents, every depth, every way to hold the data.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "internal/pixels.h"
#include "ravokit/ravokit.h"

namespace test {

struct Format {
    int32_t nBits, nOrder;
};
inline constexpr int32_t kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

using Bytes = std::vector<uint8_t>;

inline Bytes randomBytes(size_t n, uint32_t seed) {
    std::mt19937 random(seed);
    Bytes out(n);
    for (auto& b : out) b = uint8_t(random());
    return out;
}

inline int32_t defaultOrder(int32_t nBits) { return nBits <= 8 ? ORDER_RGB : nBits == 12 ? ORDER_GRAY : ORDER_BGR; }

// One pixel of a row, whatever its depth.
inline uint64_t pixelAt(const uint8_t* row, int32_t nBits, size_t x) {
    return rv::visitDepth(nBits, [&](auto bits) { return uint64_t(rv::Pixel<bits>::get(row, x)); });
}

// How a bitmap holds its data. Callbacks own none: they serve the rows. Small tiles make several of a small bitmap.
enum class Holding {
    conventional,
    movable,
    user,
    callbacks,
    disk,
    tiledMemory,
    tiledFile,    // one view
    tiledMixed,   // some tiles in memory, the others in files with one view
    tiledNoView,  // rows go through the files
    compressed,
    super
};
inline constexpr Holding kHoldings[] = {Holding::conventional, Holding::movable,    Holding::user,
                                        Holding::callbacks,    Holding::disk,       Holding::tiledMemory,
                                        Holding::tiledFile,    Holding::tiledMixed, Holding::tiledNoView,
                                        Holding::compressed,   Holding::super};
inline std::string nameOf(Holding h) {
    constexpr const char* kNames[] = {"conventional", "movable",    "user",        "callbacks",  "disk", "tiledMemory",
                                      "tiledFile",    "tiledMixed", "tiledNoView", "compressed", "super"};
    return kNames[int(h)];
}

inline void PrintTo(Holding h, std::ostream* pOut) { *pOut << nameOf(h); }

// The thresholds of this thread as they were, once the scope ends.
class KeepThresholds {
    int32_t m_n[5];

public:
    KeepThresholds() { R_GetMemoryThresholds(&m_n[0], &m_n[1], &m_n[2], &m_n[3], &m_n[4]); }
    KeepThresholds(const KeepThresholds&) = delete;
    KeepThresholds& operator=(const KeepThresholds&) = delete;
    ~KeepThresholds() { R_SetMemoryThresholds(m_n[0], m_n[1], m_n[2], m_n[3], m_n[4], 31); }
};

// Whether this build has the codec of compressed strips of that depth.
inline bool hasCodec(int32_t nBits) {
    const auto ask = [](int32_t n) {
        BITMAPRECORD bm{};
        const bool b = R_CreateBitmap(&bm, sizeof bm, BMMEM_SUPERCOMPRESSED, 8, 8, n, n <= 8 ? ORDER_RGB : ORDER_BGR,
                                      nullptr, TOP_LEFT, nullptr, 0) == 1;
        return R_FreeBitmap(&bm), b;
    };
    static const bool bFax = ask(1), bPhoto = ask(24);
    return nBits == 1 ? bFax : bPhoto;
}

inline bool allows(Holding h, int32_t nBits) {
    if (h == Holding::compressed) return nBits == 1;
    return h != Holding::super || ((nBits == 1 || nBits == 8 || nBits == 24) && hasCodec(nBits));
}
inline std::vector<Holding> holdingsOf(int32_t nBits) {
    std::vector<Holding> out;
    for (const Holding h : kHoldings)
        if (allows(h, nBits)) out.push_back(h);
    return out;
}

// The memory flags of the classes that the allocator makes, with thresholds to suit: they give four tiles or some more.
inline uint32_t memoryFlags(Holding h, uint64_t nSize, uint32_t nRowBytes, int32_t nHeight) {
    const int32_t nTile = int32_t(nRowBytes) * std::max(nHeight / 4, 1);
    switch (h) {
        case Holding::disk:
            return BMMEM_DISK;
        case Holding::tiledMemory:
            R_SetMemoryThresholds(0, 0, nTile, 0, 0, 4);
            return BMMEM_TILED | BMMEM_NO_DISK;
        case Holding::tiledFile:
        case Holding::tiledNoView:
            R_SetMemoryThresholds(0, 0, nTile, 0, 1, 4 | 16);
            return BMMEM_TILED;
        case Holding::tiledMixed:
            R_SetMemoryThresholds(0, int32_t(nSize * 3 / 4), nTile, -100, 1, 2 | 4 | 8 | 16);
            return BMMEM_CONVENTIONAL;
        case Holding::compressed:
            return BMMEM_COMPRESSED;
        case Holding::super:
            return BMMEM_SUPERCOMPRESSED;
        default:
            return h == Holding::conventional ? BMMEM_CONVENTIONAL : BMMEM_USER;
    }
}

// A bitmap that frees itself, with its storage held in the way asked for.
class Bitmap {
    Bytes m_data;  // of the holdings whose data the library doesn't own

    static int32_t getRow(BITMAPRECORD* p, uint8_t* to, int32_t row, int32_t col, uint32_t n, void* user) {
        auto& self = *static_cast<Bitmap*>(user);
        std::memcpy(to, &self.m_data[size_t(row) * p->BytesPerLine + size_t(col) * unsigned(p->BitsPerPixel) / 8], n);
        return int32_t(n);
    }
    static int32_t putRow(BITMAPRECORD* p, const uint8_t* from, int32_t row, int32_t col, uint32_t n, void* user) {
        auto& self = *static_cast<Bitmap*>(user);
        std::memcpy(&self.m_data[size_t(row) * p->BytesPerLine + size_t(col) * unsigned(p->BitsPerPixel) / 8], from, n);
        return int32_t(n);
    }
    int32_t serveRows() {
        BITMAPDATACALLBACKS callbacks{};
        callbacks.uStructSize = sizeof callbacks;
        callbacks.pUserData = this;
        callbacks.pfnGetRow = getRow;
        callbacks.pfnPutRow = putRow;
        return R_SetBitmapDataCallbacks(&record, &callbacks);
    }

public:
    static constexpr int32_t kOtherClass = -10000;  // no status of the library

    BITMAPRECORD record{};
    int32_t nStatus = 0;  // 1 once the bitmap is there, and held as asked for

    Bitmap() = default;
    Bitmap(int32_t nBits, int32_t nWidth, int32_t nHeight, Holding holding = Holding::conventional,
           int32_t nOrder = -1) {
        const KeepThresholds keep;
        const auto nRowBytes = uint32_t((int64_t(nWidth) * nBits + 31) / 32 * 4);
        const uint32_t uFlags = memoryFlags(holding, uint64_t(nRowBytes) * unsigned(nHeight), nRowBytes, nHeight);
        nStatus = R_CreateBitmap(&record, sizeof record, uFlags, nWidth, nHeight, nBits,
                                 nOrder < 0 ? defaultOrder(nBits) : nOrder, nullptr, TOP_LEFT, nullptr, 0);
        if (nStatus != 1) return;
        switch (holding) {
            case Holding::movable:
                record.hMemory = WinGlobalAlloc(66, record.Size);
                record.Flags = (record.Flags & ~uint32_t(BMF_USER_DATA)) | BMF_GLOBAL;
                break;
            case Holding::user:
                m_data.resize(size_t(record.Size64));
                nStatus = R_SetBitmapDataPointer(&record, m_data.data(), record.Size);
                break;
            case Holding::callbacks:
                m_data.resize(size_t(record.Size64));
                nStatus = serveRows();
                break;
            case Holding::tiledNoView:
                nStatus = R_SetBitmapMemoryInfo(&record, 0, 0, 0, 0, 0, 0, 16 | 32);
                break;
            default:
                break;
        }
        if (nStatus == 1 && !isHeld(holding)) nStatus = kOtherClass;
    }
    Bitmap(const Bitmap&) = delete;
    Bitmap& operator=(const Bitmap&) = delete;
    ~Bitmap() { R_FreeBitmap(&record); }
    BITMAPRECORD* operator&() { return &record; }
    BITMAPRECORD* operator->() { return &record; }

    // Whether the storage is of the class that the holding names.
    bool isHeld(Holding holding) const {
        uint32_t uMemory = 0, uTiles = 0, uConventional = 0, uMaxViews = 0;
        R_GetBitmapMemoryInfo(&record, &uMemory, nullptr, &uTiles, &uConventional, &uMaxViews, nullptr);
        switch (holding) {
            case Holding::disk:
                return uMemory == BMMEM_DISK;
            case Holding::compressed:
                return uMemory == BMMEM_COMPRESSED;
            case Holding::super:
                return uMemory == BMMEM_SUPERCOMPRESSED;
            case Holding::tiledMemory:
                return uMemory == BMMEM_TILED && uTiles > 1 && uConventional == uTiles;
            case Holding::tiledFile:
                return uMemory == BMMEM_TILED && uTiles > 1 && uConventional == 0 && uMaxViews == 1;
            case Holding::tiledMixed:
                return uMemory == BMMEM_TILED && uTiles > 1 && uConventional < uTiles && uMaxViews == 1;
            case Holding::tiledNoView:
                return uMemory == BMMEM_TILED && uTiles > 1 && uConventional == 0 && uMaxViews == 0;
            default:
                return uMemory == BMMEM_CONVENTIONAL;
        }
    }
};

// Clears what stands behind the last pixel of each row: some classes keep it, others don't.
inline void clearPadding(Bytes& rows, const BITMAPRECORD& bm) {
    const size_t nUsed = size_t(bm.Width) * unsigned(bm.BitsPerPixel), nLine = bm.BytesPerLine;
    for (size_t at = 0; at < rows.size(); at += nLine) {
        if (nUsed % 8) rows[at + nUsed / 8] &= uint8_t(bm.BitsPerPixel == 12 ? 0x0F : 0xFF00 >> nUsed % 8);
        std::memset(&rows[at + (nUsed + 7) / 8], 0, nLine - (nUsed + 7) / 8);
    }
}

// All rows of a bitmap, one after the other.
inline Bytes contents(BITMAPRECORD& bm) {
    Bytes out(size_t(bm.BytesPerLine) * unsigned(bm.Height));
    R_AccessBitmap(&bm);
    for (int32_t y = 0; y < bm.Height; ++y) R_GetBitmapRow(&bm, &out[size_t(y) * bm.BytesPerLine], y, bm.BytesPerLine);
    R_ReleaseBitmap(&bm);
    return out;
}

inline void setContents(BITMAPRECORD& bm, const Bytes& data) {
    R_AccessBitmap(&bm);
    for (int32_t y = 0; y < bm.Height; ++y) R_PutBitmapRow(&bm, &data[size_t(y) * bm.BytesPerLine], y, bm.BytesPerLine);
    R_ReleaseBitmap(&bm);
}

inline Bytes fillRandom(BITMAPRECORD& bm, uint32_t seed) {
    Bytes data = randomBytes(size_t(bm.BytesPerLine) * unsigned(bm.Height), seed);
    if (bm.Flags & BMF_COMPRESSED) clearPadding(data, bm);  // run lists end with the last pixel
    setContents(bm, data);
    return data;
}

}  // namespace test
