// Nearest columns of whole pictures: small even steps have kernels of their own, for all others the places are worked
// out once for the picture.
#include "internal/rowblocks.h"
#include "internal/rowstore.h"
#include "internal/scanline.h"

namespace rv {
namespace {

// ---- even steps

template <int Bits, int Step>
void everyNth(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    constexpr size_t kPixel = Bits / 8;
    if constexpr (Step == 1) {
        copyRow(dst, src, n * kPixel);
    } else {
        size_t i = 0;
        // Words in place of three-byte pixels, as long as another pixel follows.
        if constexpr (Bits == 24)
            for (; i + 1 < n; ++i) storeLittle(dst + i * 3, loadLittle<uint32_t>(src + i * 3 * Step));
        for (; i < n; ++i) std::memcpy(dst + i * kPixel, src + i * kPixel * Step, kPixel);
    }
}

template <int Bits>
void copyPacked(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    copyRow(dst, src, size_t(packedBytes(n, Bits)));
}

#ifdef RV_X86
// Where in 32 bytes from kHalfStart[k] on the k-th 16 bytes of 16 pixels are, of which every second one is taken. The
// second half of the bytes gives what the first one doesn't have.
constexpr int kHalfStart[3] = {0, 31, 62};
constexpr int halfPlace(int k, int j) { return (16 * k + j) / 3 * 6 + (16 * k + j) % 3 - kHalfStart[k]; }
template <int K>
constexpr avx2::Bytes32 halfShuffle() {
    return avx2::bytes32([](int i) {
        const int nPlace = halfPlace(K, i % 16);
        return nPlace / 16 == i / 16 ? nPlace % 16 : avx2::kNone;
    });
}
static_assert(halfPlace(0, 15) < 32 && halfPlace(1, 15) < 32 && halfPlace(2, 15) < 31 && halfPlace(1, 0) >= 0);

template <int K>
RV_AVX2_INLINE void store16Halved(const uint8_t* src, uint8_t* dst) noexcept {
    static constexpr avx2::Bytes32 kShuffle = halfShuffle<K>();
    const __m256i v = _mm256_shuffle_epi8(avx2::load32(src + kHalfStart[K]), kShuffle.vector());
    avx2::store16(dst + 16 * K, _mm_or_si128(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}

RV_AVX2 void everySecond24(const uint8_t* src, uint8_t* dst, size_t n) noexcept {
    size_t i = 0;
    for (; i + 16 < n; i += 16) {
        store16Halved<0>(src + i * 6, dst + i * 3);
        store16Halved<1>(src + i * 6, dst + i * 3);
        store16Halved<2>(src + i * 6, dst + i * 3);
    }
    everyNth<24, 2>(src + i * 6, dst + i * 3, n - i);
}
#endif

// ---- other steps

// Pixels that don't fill a word are moved as words as far as these stay inside of both rows.
template <int Bits>
constexpr size_t kMovedBytes = Bits == 24   ? 4
                               : Bits == 48 ? 8
                                            : size_t(Bits / 8);

template <int Bits>
void pickByTable(const uint8_t* src, uint8_t* dst, const uint32_t* places, size_t n, size_t nInside) noexcept {
    if constexpr (Bits % 8 != 0) {
        pickPixels<Bits>(src, dst, n, [&places] { return size_t(*places++); });
    } else {
        constexpr size_t kPixel = Bits / 8;
        size_t i = 0;
        for (; i < nInside; ++i) std::memcpy(dst + i * kPixel, src + places[i], kMovedBytes<Bits>);
        for (; i < n; ++i) std::memcpy(dst + i * kPixel, src + places[i], kPixel);
    }
}

#ifdef __x86_64__
// Every Step-th pixel of a word of packed pixels, gathered by one instruction.
template <int Bits, int Step>
constexpr uint64_t kTaken = [] {
    uint64_t u = 0;
    for (int i = 0; i < 64; ++i) u |= uint64_t(i / Bits % Step == 0) << (63 - i);
    return u;
}();

template <int Bits, int Step>
RV_AVX2 void gatherPacked(const uint8_t* src, uint8_t* dst, const uint32_t* places, size_t n, size_t) noexcept {
    constexpr size_t kPixels = 64 / Bits / Step, kBytes = 8 / Step;
    size_t i = 0;
    for (; i + kPixels <= n; i += kPixels, src += 8, dst += kBytes) {
        const uint64_t v = _pext_u64(__builtin_bswap64(loadLittle<uint64_t>(src)), kTaken<Bits, Step>);
        const uint64_t u = __builtin_bswap64(v << (64 - 64 / Step));
        std::memcpy(dst, &u, kBytes);
    }
    // The steps are even: from the last word on, the places are those of the first pixels.
    pickPixels<Bits>(src, dst, n - i, [p = places]() mutable { return size_t(*p++); });
}

template <int Bits>
auto gatherRow(int32_t nStep) noexcept {
    auto row = pickByTable<Bits>;
    if constexpr (Bits == 1 || Bits == 2 || Bits == 4) {
        if (cpuHasAvx2() && nStep == 2) row = gatherPacked<Bits, 2>;
        if (cpuHasAvx2() && nStep == 4) row = gatherPacked<Bits, 4>;
    }
    return row;
}
#else
template <int Bits>
auto gatherRow(int32_t) noexcept {
    return pickByTable<Bits>;
}
#endif

template <int Bits>
EveryNthRow everyNthOf(int32_t nStep) noexcept {
#ifdef RV_X86
    if (Bits == 24 && nStep == 2 && cpuHasAvx2()) return everySecond24;
#endif
    constexpr EveryNthRow kRows[] = {everyNth<Bits, 1>, everyNth<Bits, 2>, everyNth<Bits, 3>, everyNth<Bits, 4>};
    return nStep >= 1 && nStep <= 4 ? kRows[nStep - 1] : nullptr;
}

}  // namespace

EveryNthRow everyNthRow(int32_t nBits, int32_t nStep) noexcept {
    return visitDepth(nBits, [nStep](auto bits) -> EveryNthRow {
        if constexpr (bits % 8 == 0)
            return everyNthOf<bits>(nStep);
        else
            return nStep == 1 ? copyPacked<bits> : nullptr;
    });
}

int32_t NearestColumns::prepare(int32_t nBits, int32_t nOldWidth, int32_t nNewWidth, int32_t nCol, int32_t nCount,
                                int32_t nOldCol, int32_t nOldEnd) noexcept {
    AxisWalk walk(nOldWidth, nNewWidth, nCol, nOldCol);
    const bool bEven = nOldWidth % nNewWidth == 0 && walk.nAt == 0;
    const int32_t nStep = nOldWidth / nNewWidth, nOld = nOldEnd - nOldCol;
    m_nBits = nBits;
    m_n = size_t(nCount);
    m_nInside = 0;
    m_every = bEven ? everyNthRow(nBits, nStep) : nullptr;
    if (m_every) return 1;
    return visitDepth(nBits, [&](auto bits) {
        m_row = bEven ? gatherRow<bits>(nStep) : pickByTable<bits>;
        if (!m_places.allocate(m_n)) return -1;
        if constexpr (bits % 8 == 0) {
            constexpr size_t kPixel = bits / 8;
            const size_t nLast = size_t(nOld) * kPixel - kMovedBytes<bits>;
            for (size_t i = 0; i < m_n; ++i) m_places[i] = uint32_t(walk.next() * kPixel);
            if (kMovedBytes<bits> == kPixel)
                m_nInside = m_n;
            else if (nOld > 1)
                while (m_nInside + 1 < m_n && m_places[m_nInside] <= nLast) ++m_nInside;
        } else {
            for (size_t i = 0; i < m_n; ++i) m_places[i] = uint32_t(walk.next());
        }
        return 1;
    });
}

void NearestColumns::apply(const uint8_t* src, uint8_t* dst, size_t nDstBytes) const noexcept {
    if (m_every)
        m_every(src, dst, m_n);
    else
        m_row(src, dst, m_places.get(), m_n, m_nInside);
    clearBehindPixels(m_nBits, dst, m_n, nDstBytes);
}

}  // namespace rv
