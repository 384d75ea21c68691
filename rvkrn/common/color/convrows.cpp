// Reading the pixels of a row into the canonical forms, and writing them back.
#include "internal/convsteps.h"

namespace rv {
namespace {

// ---- levels and indices ------------------------------------------------------------------------------------------

template <int Bits>
void readLevels(RowWork& w, size_t n) noexcept {
    const uint8_t* src = w.pSrc;
    for (size_t i = 0; i < n; ++i) w.level[i] = Pixel<Bits>::get(src, i);
}

template <int Bits>
void writeLevels(RowWork& w, size_t n) noexcept {
    uint8_t* dst = w.pDst;
    for (size_t i = 0; i < n; ++i) Pixel<Bits>::put(dst, i, w.level[i]);
}

// ---- 16-bit colour -----------------------------------------------------------------------------------------------

template <int Order>
void readPacked16(RowWork& w, size_t n) noexcept {
    const uint8_t* src = w.pSrc;
    Bgra8* to = w.color;
    for (size_t i = 0; i < n; ++i) {
        const uint32_t v = Pixel<16>::get(src, i);
        const uint8_t a = v >> 15 ? 255 : 0;  // the top bit of red in 5-6-5, where 64 bits take it for alpha as well
        if constexpr (Order == ORDER_BGR565)
            to[i] = {expand5(v), expand6(v >> 5), expand5(v >> 11), a};
        else if constexpr (Order == ORDER_BGR)
            to[i] = {expand5(v), expand5(v >> 5), expand5(v >> 10), a};
        else
            to[i] = {expand5(v >> 10), expand5(v >> 5), expand5(v), a};
    }
}

template <int Order, bool Alpha>
void writePacked16(RowWork& w, size_t n) noexcept {
    uint8_t* dst = w.pDst;
    const Bgra8* from = w.color;
    for (size_t i = 0; i < n; ++i) {
        const uint32_t b = from[i].b >> 3, r = from[i].r >> 3;
        uint32_t v;
        if constexpr (Order == ORDER_BGR565)
            v = b | uint32_t(from[i].g >> 2) << 5 | r << 11;
        else if constexpr (Order == ORDER_BGR)
            v = b | uint32_t(from[i].g >> 3) << 5 | r << 10;
        else
            v = r | uint32_t(from[i].g >> 3) << 5 | b << 10;
        if constexpr (Alpha) v |= uint32_t(from[i].a >> 7) << 15;
        Pixel<16>::put(dst, i, v);
    }
}

// ---- three and four samples --------------------------------------------------------------------------------------

template <size_t Samples, bool RedFirst>
void readColor(RowWork& w, size_t n) noexcept {
    const uint8_t* p = w.pSrc;
    Bgra8* to = w.color;
    for (size_t i = 0; i < n; ++i, p += Samples)
        to[i] = {p[RedFirst ? 2 : 0], p[1], p[RedFirst ? 0 : 2], Samples == 4 ? p[Samples - 1] : uint8_t(255)};
}

template <size_t Samples, bool RedFirst>
void writeColor(RowWork& w, size_t n) noexcept {
    uint8_t* p = w.pDst;
    const Bgra8* from = w.color;
    for (size_t i = 0; i < n; ++i, p += Samples) {
        p[RedFirst ? 2 : 0] = from[i].b;
        p[1] = from[i].g;
        p[RedFirst ? 0 : 2] = from[i].r;
        if constexpr (Samples == 4) p[3] = from[i].a;
    }
}

template <size_t Samples, bool RedFirst>
void readWide(RowWork& w, size_t n) noexcept {
    const uint8_t* p = w.pSrc;
    Bgra16* to = w.wide;
    for (size_t i = 0; i < n; ++i, p += Samples * 2) {
        to[i].b = loadLittle<uint16_t>(p + (RedFirst ? 4 : 0));
        to[i].g = loadLittle<uint16_t>(p + 2);
        to[i].r = loadLittle<uint16_t>(p + (RedFirst ? 0 : 4));
        to[i].a = Samples == 4 ? loadLittle<uint16_t>(p + (Samples - 1) * 2) : uint16_t(65535);
    }
}

template <size_t Samples, bool RedFirst, bool Alpha>
void writeWide(RowWork& w, size_t n) noexcept {
    uint8_t* p = w.pDst;
    const Bgra16* from = w.wide;
    for (size_t i = 0; i < n; ++i, p += Samples * 2) {
        storeLittle(p + (RedFirst ? 4 : 0), from[i].b);
        storeLittle(p + 2, from[i].g);
        storeLittle(p + (RedFirst ? 0 : 4), from[i].r);
        if constexpr (Samples == 4 && Alpha) storeLittle(p + 6, from[i].a);
    }
}

}  // namespace

Step levelReader(int32_t nBits) noexcept {
    return visitDepth(nBits, [](auto bits) -> Step {
        if constexpr (bits <= 32)
            return readLevels<bits>;
        else
            return nullptr;
    });
}

Step levelWriter(int32_t nBits) noexcept {
    return visitDepth(nBits, [](auto bits) -> Step {
        if constexpr (bits <= 32)
            return writeLevels<bits>;
        else
            return nullptr;
    });
}

Step colorReader(int32_t nBits, int32_t nOrder) noexcept {
    if (nBits == 16)
        return nOrder == ORDER_BGR565 ? readPacked16<ORDER_BGR565>
               : nOrder == ORDER_BGR  ? readPacked16<ORDER_BGR>
                                      : readPacked16<ORDER_RGB>;
    if (nBits == 24) return nOrder == ORDER_RGB ? readColor<3, true> : readColor<3, false>;
    return nOrder == ORDER_RGB ? readColor<4, true> : readColor<4, false>;
}

Step colorWriter(int32_t nBits, int32_t nOrder, bool bAlpha) noexcept {
    if (nBits == 16) {
        if (nOrder == ORDER_BGR565) return writePacked16<ORDER_BGR565, false>;
        if (nOrder == ORDER_BGR) return bAlpha ? writePacked16<ORDER_BGR, true> : writePacked16<ORDER_BGR, false>;
        return bAlpha ? writePacked16<ORDER_RGB, true> : writePacked16<ORDER_RGB, false>;
    }
    if (nBits == 24) return nOrder == ORDER_RGB ? writeColor<3, true> : writeColor<3, false>;
    return nOrder == ORDER_RGB ? writeColor<4, true> : writeColor<4, false>;
}

Step wideReader(int32_t nBits, bool bRedFirst) noexcept {
    if (nBits == 48) return bRedFirst ? readWide<3, true> : readWide<3, false>;
    return bRedFirst ? readWide<4, true> : readWide<4, false>;
}

Step wideWriter(int32_t nBits, bool bRedFirst, bool bAlpha) noexcept {
    if (nBits == 48) return bRedFirst ? writeWide<3, true, false> : writeWide<3, false, false>;
    if (bAlpha) return bRedFirst ? writeWide<4, true, true> : writeWide<4, false, true>;
    return bRedFirst ? writeWide<4, true, false> : writeWide<4, false, false>;
}

void mapBytes(RowWork& w, size_t n) noexcept {
    const uint8_t* src = w.pSrc;
    uint8_t* dst = w.pDst;
    for (; n >= 4; n -= 4, src += 4, dst += 4) {
        const uint8_t a = w.table[src[0]], b = w.table[src[1]], c = w.table[src[2]], d = w.table[src[3]];
        dst[0] = a, dst[1] = b, dst[2] = c, dst[3] = d;
    }
    for (size_t i = 0; i < n; ++i) dst[i] = w.table[src[i]];
}

}  // namespace rv
