// Bitmaps for tests: random contents, every depth, every way to hold the data.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "internal/pixels.h"
#include "ravokit/ravokit.h"

namespace test {

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

// How a bitmap holds its data. The last one owns none: callbacks serve its rows.
enum class Holding { conventional, movable, user, callbacks };
inline constexpr Holding kHoldings[] = {Holding::conventional, Holding::movable, Holding::user, Holding::callbacks};
inline std::string nameOf(Holding h) {
    constexpr const char* kNames[] = {"conventional", "movable", "user", "callbacks"};
    return kNames[int(h)];
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

public:
    BITMAPRECORD record{};
    int32_t nStatus = 0;

    Bitmap() = default;
    Bitmap(int32_t nBits, int32_t nWidth, int32_t nHeight, Holding holding = Holding::conventional,
           int32_t nOrder = -1) {
        const bool bOwn = holding == Holding::conventional;
        nStatus = R_CreateBitmap(&record, sizeof record, bOwn ? BMMEM_CONVENTIONAL : BMMEM_USER, nWidth, nHeight, nBits,
                                 nOrder < 0 ? defaultOrder(nBits) : nOrder, nullptr, TOP_LEFT, nullptr, 0);
        if (nStatus != 1 || bOwn) return;
        if (holding == Holding::movable) {
            record.hMemory = WinGlobalAlloc(66, record.Size);
            record.Flags = (record.Flags & ~uint32_t(BMF_USER_DATA)) | BMF_GLOBAL;
            return;
        }
        m_data.resize(size_t(record.Size64));
        if (holding == Holding::user) {
            nStatus = R_SetBitmapDataPointer(&record, m_data.data(), record.Size);
        } else {
            BITMAPDATACALLBACKS callbacks{};
            callbacks.uStructSize = sizeof callbacks;
            callbacks.pUserData = this;
            callbacks.pfnGetRow = getRow;
            callbacks.pfnPutRow = putRow;
            nStatus = R_SetBitmapDataCallbacks(&record, &callbacks);
        }
    }
    Bitmap(const Bitmap&) = delete;
    Bitmap& operator=(const Bitmap&) = delete;
    ~Bitmap() { R_FreeBitmap(&record); }
    BITMAPRECORD* operator&() { return &record; }
    BITMAPRECORD* operator->() { return &record; }
};

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
    setContents(bm, data);
    return data;
}

}  // namespace test
