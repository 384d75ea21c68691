// The row converter once more, one pixel and one bit at a time, from the tables of formats: slow, and nothing shared
// with the library but the palette search.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "internal/convert_.h"

namespace test {

class ConvertReference {
    rv::ConvertArgs a;
    const int S, D;
    bool graySrc, grayDst, rangeSrc, rangeDst, table;
    int kept = 0, shift = 0;  // of the source's level or of the destination's place
    uint64_t mask = 0;

    struct Colour {
        uint32_t b = 0, g = 0, r = 0;
        bool wide = false;
        uint32_t gray() const { return (b + 5 * g + 2 * (r + 2)) / 8; }
        Colour high() const { return wide ? Colour{b >> 8, g >> 8, r >> 8, false} : *this; }
        Colour words() const { return wide ? *this : Colour{b * 257, g * 257, r * 257, true}; }
    };

    static uint64_t get(const std::vector<uint8_t>& row, int depth, size_t x) {
        uint64_t v = 0;
        if (depth == 0) depth = 8;
        if (depth < 8) {
            for (size_t k = x * unsigned(depth); k < (x + 1) * unsigned(depth); ++k)
                v = v << 1 | (row[k / 8] >> (7 - k % 8) & 1);
        } else {
            for (size_t j = unsigned(depth) / 4, k = x * j + j; j-- > 0;)
                --k, v = v << 4 | (row[k / 2] >> (k % 2 * 4) & 15);
        }
        return v;
    }
    static void put(std::vector<uint8_t>& row, int depth, size_t x, uint64_t v, int written = 64) {
        if (depth == 0) depth = 8;
        if (depth < 8) {
            for (int j = 0; j < depth; ++j) {
                const size_t k = x * unsigned(depth) + unsigned(j), bit = 7 - k % 8;
                row[k / 8] = uint8_t((row[k / 8] & ~(1u << bit)) | (v >> (depth - 1 - j) & 1) << bit);
            }
        } else {
            for (int j = 0; j < std::min(depth, written) / 4; ++j) {
                const size_t k = x * unsigned(depth / 4) + unsigned(j);
                row[k / 2] = uint8_t((row[k / 2] & ~(15u << (k % 2 * 4))) | (v >> (4 * j) & 15) << (k % 2 * 4));
            }
        }
    }

    void keepTop(int high, int low, int limit) {
        kept = std::min(high - low + 1, limit);
        shift = high - kept + 1;
        mask = kept < 64 ? (uint64_t(1) << kept) - 1 : ~uint64_t(0);
    }

    void findKeptBits() {
        const int n = D ? D : 8, low = std::max(a.nLowBit, 0);
        const auto highOr = [&](int other) { return a.nHighBit < 0 ? other : a.nHighBit; };
        if (S != 12 && S != 16 && S != 32) {
            if (rangeDst)
                keepTop(highOr(S >= 48 ? 15 : n - 1), low, n);
            else
                keepTop(n - 1, 0, n);
        } else if (rangeSrc) {
            int limit = 16;
            if (table)
                limit = S;
            else if (D == 32)
                limit = grayDst ? 32 : 8;
            else if (D == 0 || D == 24)
                limit = 8;
            else if (D < 16)
                limit = D;
            else if (D == 16)
                limit = grayDst ? 16 : 8;
            keepTop(highOr(S - 1), low, limit);
        } else if (rangeDst) {
            keepTop(highOr(n - 1), low, a.pLUT16Src ? 16 : a.pPaletteSrc ? 8 : n);
        } else if (grayDst && (!graySrc || table)) {
            keepTop(n - 1, 0, D >= 48 || a.pLUT16Src || (D == 16 && S == 16) ? 16 : 8);
        } else {
            keepTop(S - 1, 0, graySrc && table ? S : D >= 48 ? 16 : D && grayDst ? D : 8);
        }
    }

    // A grey of full scale `white` to the kept bits of the destination.
    uint64_t place(uint64_t gray, uint64_t white) const {
        if (white == 255 && kept <= 8) return gray >> (8 - kept) << shift;
        return gray * mask / white << shift;
    }

    bool equalsTransparent(const Colour& c, uint64_t index, bool indexed) const {
        const uint32_t cr = a.crTransparent;
        if (!(a.uFlags & CONVERT_TRANSPARENT)) return false;
        if (cr >> 24 == 1) return indexed && index == (cr & 255);
        const Colour h = c.high();
        return h.r == (cr & 255) && h.g == (cr >> 8 & 255) && h.b == (cr >> 16 & 255);
    }

    uint64_t nearest(const Colour& c, bool match) const {
        const Colour h = c.high();
        if (match && a.pMatchRoot)
            return uint32_t(rv::matchLookup(a.pMatchRoot, uint8_t(h.b), uint8_t(h.g), uint8_t(h.r)));
        return uint32_t(R_FindPaletteIndex(a.pPaletteDst ? a.pPaletteDst : R_IntGetFixedPalette(D), 1u << D,
                                           int32_t(h.r), int32_t(h.g), int32_t(h.b)));
    }

    // A colour as a pixel of a destination above 8 bits that holds colours; alpha is 0 to 65535.
    uint64_t pack(const Colour& c, uint32_t alpha) const {
        const Colour h = c.high(), w = c.words();
        const bool rgb = a.nOrderDst == ORDER_RGB;
        const uint64_t low = rgb ? h.r : h.b, top = rgb ? h.b : h.r;
        switch (D) {
            case 16:
                if (a.nOrderDst == ORDER_BGR565) return h.b >> 3 | h.g >> 2 << 5 | h.r >> 3 << 11;
                return low >> 3 | h.g >> 3 << 5 | top >> 3 << 10;
            case 24:
                return low | h.g << 8 | top << 16;
            case 32:
                return low | h.g << 8 | top << 16 | uint64_t(alpha >> 8) << 24;
            default:
                return uint64_t(rgb ? w.r : w.b) | uint64_t(w.g) << 16 | uint64_t(rgb ? w.b : w.r) << 32 |
                       uint64_t(alpha) << 48;
        }
    }

    uint64_t grayRow(uint64_t s) const {
        const int64_t sample = S == 16 && D == 16 && a.uFlags & CONVERT_SIGNED ? int16_t(s) : int64_t(s);
        const uint64_t v = uint64_t(sample >> shift) & mask, raw = S == 32 ? v : s;
        const uint64_t full = D == 32 ? 0xFFFFFFFFu : (uint64_t(1) << D) - 1;
        if (a.pLUT16Src) {
            const RGBQUAD64 q = a.pLUT16Src[rangeSrc ? v : raw];
            const uint32_t sum = q.rgbBlue + 5u * q.rgbGreen + 2u * (q.rgbRed + 2u);
            if (rangeSrc) return sum >> (D == 8 ? 11 : D == 12 ? 7 : 3);
            return place(sum >> 3, 65535);
        }
        if (a.pPaletteSrc) {
            const RGBQUAD q = a.pPaletteSrc[rangeSrc ? v : raw];
            const uint64_t g = Colour{q.rgbBlue, q.rgbGreen, q.rgbRed}.gray();
            if (rangeSrc) return D == 8 ? g : D == 12 ? (g << 4) + g / 17 : D == 16 ? g * 257 : g * 0x01010101;
            return place(g, 255);
        }
        if (rangeSrc) return S == 32 && (D == 12 || D == 16) ? (v * full + mask / 2) / mask : v * full / mask;
        if (rangeDst) return kept > S ? s << (kept - S) << shift : (uint64_t(sample >> (S - kept)) & mask) << shift;
        return D == S ? s : D < S ? s >> (S - D) : v * full / mask;
    }

    // One pixel; `written` is less than 64 where the top of the destination's pixel stays.
    uint64_t convert(uint64_t s, int& written) const {
        const bool level = graySrc && (S == 12 || S == 16 || S == 32);
        if (level && grayDst && (D == 8 || D == 12 || D == 16 || D == 32)) return grayRow(s);

        Colour c;
        uint64_t index = s;
        uint32_t alpha = 65535;
        bool indexed = false, tested = false;
        if (S == 0) {
            c = {uint32_t(s), uint32_t(s), uint32_t(s)};
            indexed = tested = true;
        } else if (S <= 8) {
            const RGBQUAD q = (a.pPaletteSrc ? a.pPaletteSrc : R_IntGetFixedPalette(S))[s];
            c = {q.rgbBlue, q.rgbGreen, q.rgbRed};
            indexed = tested = true;
        } else if (level) {
            index = s >> shift & mask;
            if (table && S != 32 && !rangeSrc && !rangeDst) index = s;
            indexed = true;
            tested = D == 64 ? S == 12 : table;
            if (D == 64 && S == 16) written = 48;
            if (a.pLUT16Src) {
                const RGBQUAD64 q = a.pLUT16Src[index];
                c = {q.rgbBlue, q.rgbGreen, q.rgbRed, true};
                if (D == 0) return c.gray() >> 8;
            } else if (a.pPaletteSrc) {
                const RGBQUAD q = a.pPaletteSrc[index];
                c = {q.rgbBlue, q.rgbGreen, q.rgbRed};
            } else if (D == 0) {
                return rangeSrc && S == 32 ? (index * 255 + mask / 2) / mask : mask < 255 ? index * 255 / mask : index;
            } else {
                const bool wide = D >= 48;
                const auto v = uint32_t(wide ? index * 65535 / mask : index & 255);
                c = {v, v, v, wide};
            }
        } else if (S == 16) {
            const auto five = [&](int bit) { return uint32_t(s >> bit & 31) << 3 | uint32_t(s >> bit & 31) >> 2; };
            const auto six = [&](int bit) { return uint32_t(s >> bit & 63) << 2 | uint32_t(s >> bit & 63) >> 4; };
            if (a.nOrderSrc == ORDER_BGR565) c = {five(0), six(5), five(11)};
            if (a.nOrderSrc == ORDER_BGR) c = {five(0), five(5), five(10)};
            if (a.nOrderSrc == ORDER_RGB) c = {five(10), five(5), five(0)};
            if (D == 64 && !(s >> 15)) alpha = 0;
        } else {
            const int bits = S >= 48 ? 16 : 8;
            const uint64_t one = (uint64_t(1) << bits) - 1;
            const auto sample = [&](int i) { return uint32_t(s >> (i * bits) & one); };
            const bool both = a.nOrderSrc == ORDER_ROMM && a.nOrderDst == ORDER_ROMM;
            const bool red = a.nOrderSrc == ORDER_RGB || (both && D < 12);
            c = {sample(red ? 2 : 0), sample(1), sample(red ? 0 : 2), S >= 48};
            if (S == 32) alpha = sample(3) * 257;
            if (S == 64) alpha = sample(3);
            tested = S == 24 || S == 48;
            if (a.nOrderSrc == ORDER_ROMM && !both) {
                const auto matrix = [&](int64_t p, int64_t q, int64_t r) {
                    return uint32_t(std::clamp<int64_t>((p * c.b + q * c.g + r * c.r + 4095) / 8192, 0, int64_t(one)));
                };
                c = {matrix(9467, -1151, -125), matrix(-305, 10232, -1735), matrix(-2156, -6498, 16846), c.wide};
            }
        }

        if (D == 0) return S >= 48 ? c.high().gray() : c.gray();
        if (D <= 8) {
            if (S >= 1 && S <= 8) {
                const RGBQUAD* from = a.pPaletteSrc ? a.pPaletteSrc : R_IntGetFixedPalette(S);
                const RGBQUAD* to = a.pPaletteDst ? a.pPaletteDst : R_IntGetFixedPalette(D);
                if (D >= S && std::equal((const uint8_t*)from, (const uint8_t*)(from + (1 << S)), (const uint8_t*)to))
                    return s;
                return nearest(c, false);
            }
            return nearest(c, !level || table);
        }
        if (grayDst && c.wide) {
            if (D == 32) return uint32_t(uint32_t(uint64_t(c.gray()) >> (32 - kept) << shift) * 65537u);
            return c.gray() >> (16 - kept) << shift;
        }
        if (grayDst) return place(c.gray(), 255);
        const bool hit = equalsTransparent(c, index, indexed);
        if (tested && hit) alpha = 0;
        if (S == 0 && D == 64) alpha = hit ? 65535 : 0;
        uint64_t v = pack(c, alpha);
        if (D == 16 && a.nOrderDst != ORDER_BGR565) {
            if (S == 32 && !level && alpha >> 8 >= 128) v |= 0x8000;
            if (S == 16 && !level && a.nOrderSrc != ORDER_BGR565) v |= s & 0x8000;
        }
        return v;
    }

    static void forward(std::vector<uint8_t>& row, int depth, size_t n) {
        const int bits = depth / 3;
        for (size_t x = 0; x < n; ++x) {
            uint64_t c[3], out = 0;
            for (int i = 0; i < 3; ++i) c[i] = get(row, bits, x * 3 + unsigned(i));
            constexpr uint64_t kRows[3][3] = {{7151, 897, 145}, {394, 7067, 731}, {1067, 2841, 4284}};
            for (int i = 0; i < 3; ++i) {
                const auto& m = kRows[i];
                const uint64_t v = (m[0] * c[0] + m[1] * c[1] + m[2] * c[2] + 4095) / 8192;
                out |= (v & ((uint64_t(1) << bits) - 1)) << (i * bits);
            }
            put(row, depth, x, out);
        }
    }

public:
    explicit ConvertReference(const rv::ConvertArgs& args) : a(args), S(args.nBitsSrc), D(args.nBitsDst) {
        graySrc = a.nOrderSrc == ORDER_GRAY;
        grayDst = a.nOrderDst == ORDER_GRAY;
        const auto given = [&](int depth) { return a.nLowBit >= 1 || (a.nHighBit >= 0 && a.nHighBit != depth - 1); };
        rangeSrc = graySrc && a.uFlags & CONVERT_SRC_BITRANGE && given(S);
        rangeDst = grayDst && a.uFlags & CONVERT_DST_BITRANGE && given(D);
        table = a.pPaletteSrc || a.pLUT16Src;
        findKeptBits();
    }

    // Converts a row into one that starts as the caller wants the rest of it to be. The status of valid arguments.
    int32_t run(const std::vector<uint8_t>& src, std::vector<uint8_t>& dst) const {
        const auto n = size_t(a.nWidth);
        if (S == 16 && D == 16 && a.nOrderSrc == a.nOrderDst && !graySrc) {
            for (size_t i = 0; i < n * 2; ++i) dst[i] = src[i];
        } else {
            for (size_t x = 0; x < n; ++x) {
                uint64_t s = get(src, S, x);
                int written = 64;
                const bool signedStay = a.uFlags & CONVERT_SIGNED && S == 16 && D == 16 && graySrc && grayDst &&
                                        !rangeSrc && !rangeDst && !table;
                const uint64_t v = signedStay ? s : convert(s, written);
                put(dst, D, x, v, written);
            }
        }
        if (a.nOrderDst != ORDER_ROMM || a.nOrderSrc == ORDER_ROMM) return 1;
        if (S == 48) forward(dst, 48, n);
        if (D == 24 || D == 48) return forward(dst, D, n), 1;
        return -16;
    }
};

}  // namespace test
